// The command line: what is asked for, and with which defaults. Exit status 0, 1 when a file
// failed, 2 when the command line makes no sense; check has 3, too.
#include <lmimport/Version.h>

#include <CLI/CLI.hpp>
#include <csignal>

#include "Commands.h"
#include "Interrupt.h"
#include "Output.h"
#include "Text.h"

namespace {

constexpr int UsageError = 2;

// A number that counts something.
CLI::Validator FromOne() {
  return {[](const std::string& text) {
            std::int64_t number = 0;
            const bool counts = CLI::detail::lexical_cast(text, number) && number >= 1;
            return counts ? "" : "\"" + text + "\" is not a whole number from 1 on";
          },
          "from 1"};
}

void AddOpenSettings(CLI::App& command, lmi::OpenSettings& settings) {
  command
      .add_option("--default-path", settings.DefaultPath,
                  "folder in which files are looked for too")
      ->check(CLI::ExistingDirectory);
  command
      .add_option("--channels", settings.Channels, "channels of raw data that nothing describes")
      ->check(CLI::Range(1, 32));
  command.add_option("--rate", settings.Rate, "samples per second where the file states none")
      ->check(CLI::Validator(
          [](const std::string& text) {
            const double rate = std::strtod(text.c_str(), nullptr);
            return rate > 1e-38 && rate < 1e10
                       ? std::string()
                       : "\"" + text + "\" is not a number above 0 and below 1e10";
          },
          "above 0, below 1e10"));
  command.add_flag("--as-written", settings.AsWritten,
                   "by the rules of LMImport, not by the layout that the format's maker published");
  command
      .add_option("--code-page", settings.CodePage,
                  "code page of the texts in files; 65001 for UTF-8")
      ->check(CLI::IsMember({0, 874, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 65001}));
}

void AddInfo(CLI::App& app, const char* name, const char* what, lmi::InfoOptions& options) {
  CLI::App* info = app.add_subcommand(name, what);
  info->add_option("FILE", options.Files, "recordings, or folders of them")->required();
  info->add_flag("--json", options.Json, "for programs, with the names of the interface");
  AddOpenSettings(*info, options.Open);
}

void AddRead(CLI::App& app, lmi::ReadOptions& options) {
  CLI::App* read = app.add_subcommand("read", "write samples to standard output");
  read->add_option("FILE", options.File, "recording")->required();
  read->add_option("--block", options.Block, "block, from 1; without it, the first")
      ->check(FromOne());
  read->add_option("--channel", options.Channels, "number from 1, or title; may be given again")
      ->allow_extra_args(false);
  read->add_option("--start", options.Start, "first frame, from 1")->check(FromOne());
  read->add_option("--count", options.Count, "frames; without it, to the end of the block")
      ->check(FromOne());
  read->add_option(
          "--as", options.As,
          "integer (counts, of 16 bits, or of 32 where they are stored with more), single or "
          "double (values)")
      ->check(CLI::IsMember({"integer", "single", "double"}));
  read->add_option("--format", options.Format, "csv, or raw: little-endian, frame by frame")
      ->check(CLI::IsMember({"csv", "raw"}));
  read->add_flag("--times", options.Times,
                 "seconds from the start of the block as the first column of csv");
  read->final_callback([&options] {
    if (options.Times && options.Format == "raw")
      throw CLI::ValidationError("--times", "has no place in --format raw");
  });
  AddOpenSettings(*read, options.Open);
}

int Run(int argc, char** argv) {
  CLI::App app("Reads recordings of data-acquisition systems.", "lmi");
  app.set_version_flag("--version", "Lumetra Import Library " LMIMPORT_VERSION);
  app.require_subcommand(1);
  lmi::InfoOptions info;
  lmi::ReadOptions read;
  AddInfo(app, "info", "show what recordings are", info);
  AddInfo(app, "check", "list what is wrong with recordings, or misleading", info);
  AddRead(app, read);
  app.add_subcommand("formats", "list the formats and their files");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : UsageError;
  }
  if (app.got_subcommand("formats")) return lmi::Formats();
  if (app.got_subcommand("check")) return lmi::Check(info);
  return app.got_subcommand("info") ? lmi::Info(info) : lmi::Read(read);
}

}  // namespace

int main(int argc, char** argv) {
  // A pipe that closes ends the output, not the program.
  std::signal(SIGPIPE, SIG_IGN);
  lmi::WatchForInterrupt();
  try {
    const int status = Run(argc, argv);
    return lmi::IsInterrupted() ? lmi::InterruptedStatus : status;
  } catch (const lmi::OutputClosed&) {
    return 0;
  } catch (const lmi::OutputFailed& failure) {
    lmi::PrintFailure("standard output", failure.Reason);
    return 1;
  } catch (const std::exception& fault) {
    lmi::PrintFailure("lmi", fault.what());
    return 1;
  }
}
