// What a person sees: columns that line up whatever the script, the width of the terminal, colours.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace lmi {

/// How much is said, and in which colours.
struct Appearance {
  std::string Color = "auto";  // or "always", "never"
  bool Quiet = false;
};

/// Adds --color and --quiet. `appearance` must outlive the command line.
void AddAppearance(CLI::App& command, Appearance& appearance);

enum class Color { None, Red, Yellow, Bold };

/// The text in a colour, where a person looks: the file is a terminal and NO_COLOR is not set, or
/// colours are asked for.
std::string Colored(const std::string& text, Color color, const Appearance& appearance,
                    std::FILE* file = stdout);

/// Columns of the terminal that standard output is, or of COLUMNS; 0: it is no terminal.
std::size_t TerminalWidth();

/// Columns that the text takes: two for wide characters, none for marks that combine.
std::size_t Width(std::string_view utf8);

/// Of one line and at most so many columns, with "..." where more was.
std::string Shortened(std::string_view utf8, std::size_t width);

/// The end of it, with "..." where more was before.
std::string EndOf(std::string_view utf8, std::size_t width);

/// With blanks after it (before it: `right`), so that it takes so many columns.
std::string Padded(const std::string& text, std::size_t width, bool right = false);

/// Rows of cells under a head, each column as wide as its widest cell.
class Table {
 public:
  struct Column {
    std::string Head;
    bool Right = false;
    int Shrinks = 0;         // where the terminal is narrow: those of 1 first; 0: never
    std::size_t Least = 8;   // columns that it keeps then
    bool CutsStart = false;  // its end says more than its start, as that of a path
  };
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  void Add(std::vector<std::string> cells, Color color = Color::None) {
    rows_.push_back({std::move(cells), color});
  }

  /// To Print, each line with so many blanks before it; in colours only with an appearance.
  void Write(std::size_t indent, std::size_t terminalWidth,
             const Appearance* appearance = nullptr) const;

 private:
  struct Row {
    std::vector<std::string> Cells;
    Color Shade;
  };
  std::vector<std::size_t> Widths(std::size_t indent, std::size_t terminalWidth) const;
  std::vector<Column> columns_;
  std::vector<Row> rows_;
};

}  // namespace lmi
