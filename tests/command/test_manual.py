"""The pages of the manual and the completion of shells, tried with man's and the shells' own programs."""
import os
import pty
import re
import select
import shutil
import subprocess
import time

import pytest

from conftest import complaint, run

SHELLS = ["bash", "zsh", "fish"]


def commands():
    return re.findall(r"^  (\w+) ", run("--help").partition("Subcommands:")[2].partition("\n\n")[0], re.M)


def needs(program):
    return pytest.mark.skipif(not shutil.which(program), reason=f"there is no {program}")


def options(command):
    return set(re.findall(r"(?<![\w-])--?[a-z][\w-]*", "\n".join(
        line[:30] for line in run(command, "--help").splitlines() if re.match(r"  -", line))))


@pytest.mark.parametrize("command", [""] + commands())
def test_a_page_names_all_options(command):
    page = run("manual", *command.split()).replace("\\-", "-")
    assert f"\\fBlmi {command}".strip() in page or command == ""
    for option in options(command) if command else {"--help", "--version"}:
        assert f"\\fB{option}\\fR" in page, option
    for section in ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "SEE ALSO"]:
        assert f".SH {section}\n" in page, section
    assert "--help" in options("read") and "-o" in options("read")


@needs("mandoc")
@pytest.mark.parametrize("command", [""] + commands())
def test_a_page_is_good_troff(command):
    page = run("manual", *command.split())
    done = subprocess.run(["mandoc", "-Tlint", "-Wwarning"], input=page, capture_output=True, text=True)
    assert done.stdout == "" and done.returncode == 0


@needs("mandoc")
def test_a_page_shows_the_text_of_the_help():
    page = subprocess.run(["mandoc", "-Tutf8"], input=run("manual", "check"), capture_output=True,
                          text=True).stdout
    text = " ".join(re.sub(".\b", "", page).split())
    assert "lmi check [OPTION ...] [FILE ...]" in text
    assert "folder in which files are looked for too" in text
    assert "0 all went well 1 a file failed" in text
    assert "3 no file failed, and there is a warning" in text
    assert "lmi check --json archive/ > findings.json" in text


def test_the_program_lists_its_commands():
    page = run("manual").replace("\\-", "-")
    for command in commands():
        assert f".BR lmi-{command} (1)" in page


def test_a_page_of_no_command_is_refused():
    assert "reed" in complaint("manual", "reed", status=2)


def test_all_pages_go_to_a_folder(tmp_path):
    assert run("manual", "--all", tmp_path) == ""
    pages = {"lmi.1"} | {f"lmi-{command}.1" for command in commands()}
    assert {page.name for page in tmp_path.iterdir()} == pages
    assert (tmp_path / "lmi-read.1").read_text() == run("manual", "read")
    assert "excludes" in complaint("manual", "read", "--all", tmp_path, status=2)


def completed_by_bash(*words, folder=None):
    script = run("completion", "bash") + (
        f'COMP_WORDS=({" ".join(map(repr, words))}); COMP_CWORD={len(words) - 1}\n'
        '_lmi 2>/dev/null; printf "%s\\n" "${COMPREPLY[@]}"\n')
    done = subprocess.run(["bash", "--norc"], input=script, capture_output=True, text=True, cwd=folder)
    assert done.stderr == ""
    return done.stdout.split()


@pytest.mark.parametrize("words, expected", [
    (["lmi", "re"], ["read"]),
    (["lmi", ""], commands()),
    (["lmi", "--ver"], ["--version"]),
    (["lmi", "read", "--form"], ["--format"]),
    (["lmi", "read", "--as", ""], ["integer", "single", "double"]),
    (["lmi", "read", "--as", "=", "s"], ["single"]),
    (["lmi", "read", "--as", "="], ["integer", "single", "double"]),
    (["lmi", "read", "--separator", ""], []),
    (["lmi", "manual", "for"], ["formats"]),
    (["lmi", "completion", "f"], ["fish"]),
    (["lmi", "formats", ""], []),
    (["lmi", "nothing", ""], []),
])
def test_bash_completes(words, expected):
    assert completed_by_bash(*words) == expected


def typed(shell, script, line, folder, wanted):
    """What a shell on a terminal makes of a line that ends in a tab."""
    process, terminal = pty.fork()
    if process == 0:
        os.chdir(folder)
        os.environ.update(TERM="dumb", PS1="> ", HOME=str(folder))
        os.execvp(shell[0], shell)
    shown = ""
    try:
        os.write(terminal, f"source {script}\n".encode())
        time.sleep(0.5)
        os.write(terminal, line.encode())
        end = time.monotonic() + 10
        while wanted not in shown and time.monotonic() < end:
            if select.select([terminal], [], [], 0.1)[0]:
                shown += os.read(terminal, 4096).decode(errors="replace")
    finally:
        os.close(terminal)
        os.kill(process, 9)
        os.waitpid(process, 0)
    return shown


@pytest.mark.parametrize("line, wanted", [
    ("lmi info tri\t", "trial\\ 1.edf"),
    ("lmi read --output tri\t", "trial\\ 1.edf"),
    ("lmi info --default-path arch\t", "archive/"),
    ("lmi read --as=in\t", "--as=integer"),
])
def test_bash_completes_files_and_folders(tmp_path, line, wanted):
    (tmp_path / "trial 1.edf").touch()
    (tmp_path / "archived").touch()
    (tmp_path / "archive").mkdir()
    script = tmp_path / "script"
    script.write_text(run("completion", "bash"))
    shown = typed(["bash", "--norc", "--noprofile", "-i"], script, line, tmp_path, wanted)
    assert wanted in shown


@needs("zsh")
@pytest.mark.parametrize("line, wanted", [
    ("lmi rea\t", "lmi read "),
    ("lmi read --forma\t", "--format"),
    ("lmi read --as in\t", "integer "),
    ("lmi info tri\t", "trial\\ 1.edf"),
])
def test_zsh_completes(tmp_path, line, wanted):
    (tmp_path / "trial 1.edf").touch()
    script = tmp_path / "script"
    script.write_text("autoload -U compinit; compinit -u -D\n" + run("completion", "zsh"))
    assert wanted in typed(["zsh", "-f", "-i"], script, line, tmp_path, wanted)


def completed_by_fish(line, folder):
    script = folder / "lmi.fish"
    script.write_text(run("completion", "fish"))
    done = subprocess.run(["fish", "--no-config", "-c", f"source {script}; complete -C '{line}'"],
                          capture_output=True, text=True, cwd=folder,
                          env={**os.environ, "HOME": str(folder)})
    assert done.stderr == ""
    return [found.split("\t")[0] for found in done.stdout.splitlines()]


@needs("fish")
@pytest.mark.parametrize("line, expected", [
    ("lmi rea", {"read"}),
    ("lmi ", set(commands())),
    ("lmi read --forma", {"--format"}),
    ("lmi read --as ", {"integer", "single", "double"}),
    ("lmi info tri", {"trial 1.edf"}),
    ("lmi info --default-path arch", {"archive/"}),
    ("lmi read --separator ", set()),
    ("lmi formats tri", set()),
    ("lmi completion z", {"zsh"}),
])
def test_fish_completes(tmp_path, line, expected):
    (tmp_path / "trial 1.edf").touch()
    (tmp_path / "archived").touch()
    (tmp_path / "archive").mkdir()
    assert set(completed_by_fish(line, tmp_path)) == expected


@pytest.mark.parametrize("shell", SHELLS)
def test_scripts_parse(tmp_path, shell):
    if not shutil.which(shell):
        pytest.skip(f"there is no {shell}")
    script = tmp_path / "script"
    script.write_text(run("completion", shell))
    subprocess.run([shell, "-n", script], check=True)
