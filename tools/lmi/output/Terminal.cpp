#include "output/Terminal.h"

#include <fmt/core.h>
#include <lmimport/Text.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>

#include "output/Output.h"
#include "output/Text.h"

namespace lmi {
namespace {

constexpr std::size_t BetweenColumns = 2;

bool ShowsColors(const Appearance& appearance, std::FILE* file) {
  if (appearance.Color != "auto") return appearance.Color == "always";
  const char* const off = std::getenv("NO_COLOR");
  const char* const kind = std::getenv("TERM");
  return (off == nullptr || *off == '\0') && ::isatty(::fileno(file)) != 0 &&
         (kind == nullptr || std::string_view(kind) != "dumb");
}

// The character that begins at text[i], and its units.
std::pair<char32_t, std::size_t> CharacterAt(const lmimport::String& text, std::size_t i) {
  const char32_t first = text[i];
  const bool pair = (first & 0xfc00) == 0xd800 && i + 1 < text.size();
  if (!pair) return {first, 1};
  return {0x10000 + ((first & 0x3ff) << 10) + (text[i + 1] & 0x3ffU), 2};
}

std::size_t WidthOf(char32_t character) {
  // By the table of the C library.
  const int width = ::wcwidth(static_cast<wchar_t>(character));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

void AddAppearance(CLI::App& command, Appearance& appearance) {
  command
      .add_option("--color", appearance.Color,
                  "auto (on a terminal, unless NO_COLOR is set), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN");
  command.add_flag("-q,--quiet", appearance.Quiet, "no notes, no progress, no last line of counts");
}

std::string Colored(const std::string& text, Color color, const Appearance& appearance,
                    std::FILE* file) {
  if (color == Color::None || !ShowsColors(appearance, file)) return text;
  const int code = color == Color::Red ? 31 : color == Color::Yellow ? 33 : 1;
  return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

std::size_t TerminalWidth() {
  if (::isatty(STDOUT_FILENO) == 0) return 0;
  if (const char* const columns = std::getenv("COLUMNS"); columns != nullptr) {
    const int width = std::atoi(columns);
    if (width > 0) return static_cast<std::size_t>(width);
  }
  winsize size{};
  const bool told = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return told ? size.ws_col : 80;
}

std::size_t Width(std::string_view utf8) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::ranges::all_of(utf8, isAscii)) return utf8.size();
  const lmimport::String text = lmimport::FromUtf8(utf8);
  std::size_t width = 0;
  for (std::size_t i = 0; i < text.size();) {
    const auto [character, units] = CharacterAt(text, i);
    width += WidthOf(character);
    i += units;
  }
  return width;
}

std::string Shortened(std::string_view utf8, std::size_t width) {
  std::string line = OneLine(utf8);
  if (Width(line) <= width) return line;
  const lmimport::String text = lmimport::FromUtf8(line);
  std::size_t end = 0;
  for (std::size_t taken = 3; end < text.size();) {
    const auto [character, units] = CharacterAt(text, end);
    taken += WidthOf(character);
    if (taken > width) break;
    end += units;
  }
  return lmimport::ToUtf8(std::u16string_view(text).substr(0, end)) + "...";
}

std::string EndOf(std::string_view utf8, std::size_t width) {
  std::string line = OneLine(utf8);
  if (Width(line) <= width) return line;
  const lmimport::String text = lmimport::FromUtf8(line);
  std::size_t start = 0;
  const auto rest = [&] { return lmimport::ToUtf8(std::u16string_view(text).substr(start)); };
  while (start < text.size() && Width(rest()) + 3 > width) start += CharacterAt(text, start).second;
  return "..." + rest();
}

std::string Padded(const std::string& text, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, Width(text)), ' ');
  return right ? blanks + text : text + blanks;
}

std::vector<std::size_t> Table::Widths(std::size_t indent, std::size_t terminalWidth) const {
  std::vector<std::size_t> widths;
  std::size_t total = indent + BetweenColumns * (columns_.size() - 1);
  for (std::size_t c = 0; c < columns_.size(); ++c) {
    std::size_t width = Width(columns_[c].Head);
    for (const Row& row : rows_) width = std::max(width, Width(row.Cells[c]));
    widths.push_back(width);
    total += width;
  }
  if (terminalWidth == 0) return widths;
  for (const int turn : {1, 2, 3}) {
    for (std::size_t c = columns_.size(); c-- > 0 && total > terminalWidth;) {
      if (columns_[c].Shrinks != turn) continue;
      const std::size_t least =
          std::min(widths[c], std::max(columns_[c].Least, Width(columns_[c].Head)));
      const std::size_t less = std::min(widths[c] - least, total - terminalWidth);
      widths[c] -= less;
      total -= less;
    }
  }
  return widths;
}

void Table::Write(std::size_t indent, std::size_t terminalWidth,
                  const Appearance* appearance) const {
  const std::vector<std::size_t> widths = Widths(indent, terminalWidth);
  const auto write = [&](const auto& cellOf, Color color) {
    std::string line(indent, ' ');
    for (std::size_t c = 0; c < columns_.size(); ++c) {
      const bool last = c + 1 == columns_.size();
      const std::string cell =
          columns_[c].CutsStart ? EndOf(cellOf(c), widths[c]) : Shortened(cellOf(c), widths[c]);
      if (c > 0) line.append(BetweenColumns, ' ');
      line += last && !columns_[c].Right ? cell : Padded(cell, widths[c], columns_[c].Right);
    }
    Print("{}\n", appearance != nullptr ? Colored(line, color, *appearance) : line);
  };
  write([this](std::size_t c) { return columns_[c].Head; }, Color::Bold);
  for (const Row& row : rows_) write([&row](std::size_t c) { return row.Cells[c]; }, row.Shade);
}

}  // namespace lmi
