#include "picture/BraillePicture.h"

#include <fmt/core.h>
#include <lmimport/Text.h>

#include <algorithm>
#include <cmath>

#include "output/Output.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t AxisWidth = 11;  // of the numbers beside a lane
constexpr std::size_t LaneRows = 4, DotRows = 4, DotColumns = 2;
constexpr std::size_t ShownMarks = 20;

// Dots of one lane; a braille character is two of them wide and four high.
class Dots {
 public:
  explicit Dots(std::size_t columns) : columns_(columns), cells_(columns * LaneRows) {}

  std::int64_t Width() const { return static_cast<std::int64_t>(columns_ * DotColumns); }
  static constexpr std::int64_t Height() { return LaneRows * DotRows; }

  // From the lower left corner.
  void Set(std::int64_t x, std::int64_t y) {
    if (x < 0 || x >= Width() || y < 0 || y >= Height()) return;
    constexpr std::uint8_t bits[DotRows][DotColumns] = {
        {0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
    const auto row = static_cast<std::size_t>(Height() - 1 - y);
    const auto column = static_cast<std::size_t>(x);
    cells_[row / DotRows * columns_ + column / DotColumns] |=
        bits[row % DotRows][column % DotColumns];
  }

  std::string Row(std::size_t row) const {
    String text;
    for (std::size_t c = 0; c < columns_; ++c) {
      const std::uint8_t cell = cells_[row * columns_ + c];
      text += cell == 0 ? u' ' : static_cast<char16_t>(0x2800 + cell);
    }
    return ToUtf8(text);
  }

 private:
  std::size_t columns_;
  std::vector<std::uint8_t> cells_;
};

void Draw(Dots& dots, const Picture& picture, const Lane& lane, const Curve& curve) {
  const double width = static_cast<double>(dots.Width());
  const double span = lane.High - lane.Low;
  const auto xOf = [&](double time) {
    return static_cast<std::int64_t>((time - picture.From) / (picture.To - picture.From) * width);
  };
  const auto yOf = [&](double value) {
    const double part = span > 0 ? (value - lane.Low) / span : 0.5;
    return std::llround(part * static_cast<double>(Dots::Height() - 1));
  };
  const double step = (curve.End - curve.Start) / static_cast<double>(curve.Points.size());
  const Extremes* before = nullptr;
  for (std::size_t i = 0; i < curve.Points.size(); ++i) {
    const Extremes& point = curve.Points[i];
    if (!std::isfinite(point.Smallest) || !std::isfinite(point.Largest)) {
      before = nullptr;
      continue;
    }
    // Joined with what came before, as one line.
    double low = point.Smallest;
    double high = point.Largest;
    if (before != nullptr) {
      low = std::min(low, before->Largest);
      high = std::max(high, before->Smallest);
    }
    // Up to where the next one begins, however wide that is.
    const std::int64_t first = xOf(curve.Start + static_cast<double>(i) * step);
    const std::int64_t next = xOf(curve.Start + static_cast<double>(i + 1) * step);
    for (std::int64_t x = first; x < std::max(next, first + 1); ++x) {
      for (std::int64_t y = yOf(x == first ? low : point.Smallest);
           y <= yOf(x == first ? high : point.Largest); ++y)
        dots.Set(x, y);
    }
    before = &point;
  }
}

void PrintLane(const Picture& picture, const Lane& lane, std::size_t columns,
               const Appearance& look) {
  const std::string unit = lane.Unit.empty() ? "" : fmt::format(" [{}]", lane.Unit);
  Print("{}{}\n", std::string(AxisWidth + 1, ' '),
        Colored(Shortened(lane.Title + unit, columns), Color::Bold, look));
  Dots dots(columns);
  for (const Curve& curve : lane.Curves) Draw(dots, picture, lane, curve);
  for (std::size_t row = 0; row < LaneRows; ++row) {
    std::string label;
    // A flat line has one value, and is in the middle.
    const bool isFlat = !(lane.High > lane.Low);
    if (isFlat && row == LaneRows / 2 - 1)
      label = std::isnan(lane.High) ? "no value" : fmt::format("{:.4g}", lane.High);
    if (!isFlat && row == 0) label = fmt::format("{:.4g}", lane.High);
    if (!isFlat && row == LaneRows - 1) label = fmt::format("{:.4g}", lane.Low);
    Print("{:>{}} {}\n", label, AxisWidth, dots.Row(row));
  }
}

// A line of texts, each at its place as long as there is room.
class LabelLine {
 public:
  explicit LabelLine(std::size_t columns) : text_(columns, ' ') {}
  void Put(double part, const std::string& label, bool centred) {
    const double place = part * static_cast<double>(text_.size() - 1) -
                         (centred ? static_cast<double>(label.size()) / 2 : 0);
    const auto last = static_cast<double>(text_.size() - std::min(text_.size(), label.size()));
    const auto start = static_cast<std::size_t>(std::clamp(place, 0.0, last));
    if (start < free_ || start + label.size() > text_.size()) return;
    text_.replace(start, label.size(), label);
    free_ = start + label.size() + 1;
  }
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
  std::size_t free_ = 0;
};

void PrintTimes(const Picture& picture, std::size_t columns) {
  const auto ticks = TimeTicksOf(picture.From, picture.To, static_cast<int>(columns / 12));
  const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1;
  const std::string margin(AxisWidth + 1, ' ');
  LabelLine times(columns);
  LabelLine clock(columns);
  for (const double tick : ticks) {
    const double part = (tick - picture.From) / (picture.To - picture.From);
    times.Put(part, TimeTickText(tick, step), true);
    if (picture.Start) clock.Put(part, ClockTickText(*picture.Start, tick, step, false), true);
  }
  Print("{:>{}} {}\n", "s", AxisWidth, times.Text());
  if (picture.Start) Print("{:>{}} {}\n", "clock", AxisWidth, clock.Text());
}

void PrintMarks(const Picture& picture, std::size_t columns) {
  if (picture.Marks.empty()) return;
  LabelLine numbers(columns);
  for (std::size_t i = 0; i < picture.Marks.size(); ++i)
    numbers.Put((picture.Marks[i].Time - picture.From) / (picture.To - picture.From),
                fmt::format("^{}", i + 1), false);
  Print("{:>{}} {}\n", "comments", AxisWidth, numbers.Text());
  for (std::size_t i = 0; i < std::min(ShownMarks, picture.Marks.size()); ++i)
    Print("{:>{}} {}\n", fmt::format("^{}", i + 1), AxisWidth,
          Shortened(fmt::format("{:.3f} s  {}", picture.Marks[i].Time, picture.Marks[i].Text),
                    columns));
  if (picture.Marks.size() > ShownMarks)
    Print("{} {} more\n", std::string(AxisWidth, ' '), picture.Marks.size() - ShownMarks);
}

}  // namespace

std::size_t BrailleColumns(std::size_t terminalWidth) {
  constexpr std::size_t usual = 80;
  constexpr std::size_t fewest = 20;
  const std::size_t width = terminalWidth == 0 ? usual : terminalWidth;
  return std::max(fewest, width - std::min(width, AxisWidth + 2));
}

void PrintBraille(const Picture& picture, std::size_t columns, const Appearance& look) {
  Print("{}  {}\n", Colored(picture.Title, Color::Bold, look), picture.Subtitle);
  for (const Lane& lane : picture.Lanes) PrintLane(picture, lane, columns, look);
  PrintTimes(picture, columns);
  PrintMarks(picture, columns);
}

}  // namespace lmi
