#include "picture/CairoPicture.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "output/Digits.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr double LeftMargin = 90, RightMargin = 20, TopMargin = 52, AxisHeight = 26,
                 ClockHeight = 15, MarkHeight = 18, BottomMargin = 8, LaneGap = 8, TitleHeight = 17;
constexpr double FontSize = 11, TitleSize = 15;
constexpr double MostHeight = 30000;  // of an image that cairo draws

struct Shade {
  double Red, Green, Blue;
};
constexpr Shade Ink{0.13, 0.13, 0.13}, Faint{0.45, 0.45, 0.45}, Grid{0.90, 0.90, 0.90},
    Frame{0.70, 0.70, 0.70}, MarkShade{0.45, 0.25, 0.55}, SecondShade{0.84, 0.37, 0.0};
// Okabe and Ito's, which people with any colour vision tell apart, without the yellow.
constexpr Shade Palette[] = {{0.00, 0.45, 0.70},
                             {0.00, 0.62, 0.45},
                             {0.80, 0.47, 0.65},
                             {0.34, 0.55, 0.80},
                             {0.55, 0.40, 0.10}};

class Canvas {
 public:
  Canvas(cairo_surface_t* surface, double width)
      : Width(width), surface_(surface), context_(cairo_create(surface)) {
    cairo_select_font_face(context_, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context_, FontSize);
  }
  ~Canvas() {
    cairo_destroy(context_);
    cairo_surface_destroy(surface_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  const double Width;

  cairo_t* Context() const { return context_; }

  void SetShade(const Shade& shade, double alpha = 1) const {
    cairo_set_source_rgba(context_, shade.Red, shade.Green, shade.Blue, alpha);
  }

  double WidthOf(const std::string& text) const {
    cairo_text_extents_t extents;
    cairo_text_extents(context_, text.c_str(), &extents);
    return extents.x_advance;
  }

  // The beginning of it that has room, with an ellipsis.
  std::string Cut(const std::string& text, double room) const {
    const auto start = [&text](std::size_t end) {
      while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
      return text.substr(0, end) + "…";
    };
    // No character is narrower than a tenth of a pixel.
    std::size_t low = 0;
    std::size_t high =
        std::min(text.size() - 1, static_cast<std::size_t>(std::max(0.0, room) * 10));
    while (low < high) {
      const std::size_t middle = (low + high + 1) / 2;
      if (WidthOf(start(middle)) <= room)
        low = middle;
      else
        high = middle - 1;
    }
    return low == 0 ? std::string() : start(low);
  }

  // `anchor` 0: x is the left end; 0.5: the middle; 1: the right end.
  void Text(double x, double y, const std::string& text, const Shade& shade,
            double anchor = 0) const {
    SetShade(shade);
    // All of it, also at the edges.
    const double width = WidthOf(text);
    cairo_move_to(context_, std::max(2.0, std::min(x - anchor * width, Width - width - 2)), y);
    cairo_show_text(context_, text.c_str());
  }

  void Line(double x1, double y1, double x2, double y2, const Shade& shade) const {
    SetShade(shade);
    cairo_set_line_width(context_, 1);
    cairo_move_to(context_, x1, y1);
    cairo_line_to(context_, x2, y2);
    cairo_stroke(context_);
  }

  // Ends the drawing; a PNG is written now.
  void Finish(const std::string& kind, const std::filesystem::path& file) const {
    cairo_status_t status = cairo_status(context_);
    if (status == CAIRO_STATUS_SUCCESS && kind == ".png")
      status = cairo_surface_write_to_png(surface_, file.c_str());
    if (kind != ".png") {
      cairo_surface_finish(surface_);
      if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface_);
    }
    if (status != CAIRO_STATUS_SUCCESS)
      throw std::runtime_error(fmt::format("the picture: {}", cairo_status_to_string(status)));
  }

 private:
  cairo_surface_t* surface_;
  cairo_t* context_;
};

// Where what is.
struct Layout {
  Layout(const Picture& picture, const CairoStyle& style) : Width(style.Width) {
    constexpr double smallest = 56;
    constexpr double largest = 150;
    constexpr double wanted = 800;
    const auto lanes = static_cast<double>(picture.Lanes.size());
    LaneHeight =
        style.LaneHeight > 0 ? style.LaneHeight : std::clamp(wanted / lanes, smallest, largest);
    Marks = picture.Marks.empty() ? 0 : MarkHeight;
    Top = TopMargin + Marks;
    const double fixed = Top + AxisHeight + (picture.Start ? ClockHeight : 0) + BottomMargin;
    // What is too high for an image gets lower lanes.
    LaneHeight = std::min(LaneHeight, (MostHeight - fixed) / lanes - LaneGap - TitleHeight);
    if (LaneHeight < 1) throw std::runtime_error("there are too many channels for one picture");
    Bottom = Top + lanes * (LaneHeight + LaneGap + TitleHeight);
    Height = Bottom + fixed - Top;
    From = picture.From;
    PerSecond = (Width - LeftMargin - RightMargin) / (picture.To - picture.From);
  }
  double X(double time) const { return LeftMargin + (time - From) * PerSecond; }
  double Right() const { return Width - RightMargin; }
  double LaneTop(std::size_t lane) const {
    return Top + static_cast<double>(lane) * (LaneHeight + LaneGap + TitleHeight) + TitleHeight;
  }

  double Width, Height, Top, Bottom, LaneHeight, Marks, From, PerSecond;
};

// The scale of a lane.
struct Scale {
  explicit Scale(const Lane& lane) : Low(lane.Low), High(lane.High) {
    const double span = High - Low;
    // A flat line is in the middle.
    const double room = span > 0 ? span * 0.05 : High != 0 ? std::abs(High) * 0.1 : 1;
    Low -= room;
    High += room;
    if (!std::isfinite(Low) || !std::isfinite(High)) {
      Low = 0;
      High = 1;
    }
  }
  double Low, High;
};

void DrawAxis(const Canvas& canvas, const Layout& layout, const Scale& scale, double top) {
  const int most = layout.LaneHeight > 100 ? 5 : 3;
  const std::vector<double> ticks = TicksOf(scale.Low, scale.High, most);
  const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : scale.High - scale.Low;
  for (const double tick : ticks) {
    const double y = top + layout.LaneHeight * (scale.High - tick) / (scale.High - scale.Low);
    canvas.Line(LeftMargin, std::round(y) + 0.5, layout.Right(), std::round(y) + 0.5, Grid);
    canvas.Text(LeftMargin - 6, y + FontSize * 0.35, Digits::OfStep(step, tick).Text(tick), Faint,
                1);
  }
}

void DrawEnvelope(cairo_t* context, const Curve& curve, std::size_t first, std::size_t end,
                  const auto& xOf, const auto& yOf) {
  // At least a hair high, or flat stretches couldn't be seen.
  constexpr double hair = 0.6;
  cairo_new_path(context);
  for (std::size_t i = first; i < end; ++i)
    cairo_line_to(context, xOf(static_cast<double>(i) + 0.5), yOf(curve.Points[i].Largest) - hair);
  for (std::size_t i = end; i-- > first;)
    cairo_line_to(context, xOf(static_cast<double>(i) + 0.5), yOf(curve.Points[i].Smallest) + hair);
  cairo_close_path(context);
  cairo_fill(context);
  // Steep edges between two columns are a line.
  cairo_new_path(context);
  for (std::size_t i = first; i < end; ++i) {
    cairo_line_to(context, xOf(static_cast<double>(i) + 0.5), yOf(curve.Points[i].Smallest));
    cairo_line_to(context, xOf(static_cast<double>(i) + 0.5), yOf(curve.Points[i].Largest));
  }
  cairo_set_line_width(context, 0.8);
  cairo_stroke(context);
}

void DrawSamples(cairo_t* context, const Curve& curve, std::size_t first, std::size_t end,
                 const auto& xOf, const auto& yOf) {
  cairo_new_path(context);
  for (std::size_t i = first; i < end; ++i)
    cairo_line_to(context, xOf(static_cast<double>(i)), yOf(curve.Points[i].Smallest));
  cairo_set_line_width(context, 1.2);
  cairo_stroke(context);
  // Few samples are shown as such.
  const double apart = xOf(1) - xOf(0);
  constexpr double roomForDots = 6;
  if (apart < roomForDots && end - first > 1) return;
  for (std::size_t i = first; i < end; ++i) {
    cairo_arc(context, xOf(static_cast<double>(i)), yOf(curve.Points[i].Smallest), 1.8, 0,
              2 * M_PI);
    cairo_fill(context);
  }
}

void DrawCurve(const Canvas& canvas, const Layout& layout, const Curve& curve, const Scale& scale,
               double top) {
  const double step = (curve.End - curve.Start) / static_cast<double>(curve.Points.size());
  const auto xOf = [&](double i) { return layout.X(curve.Start + i * step); };
  const auto yOf = [&](double value) {
    return top + layout.LaneHeight * (scale.High - value) / (scale.High - scale.Low);
  };
  const auto isThere = [](const Extremes& point) {
    return std::isfinite(point.Smallest) && std::isfinite(point.Largest);
  };
  // Between values that are no numbers, stretch by stretch.
  for (std::size_t i = 0; i < curve.Points.size();) {
    std::size_t end = i;
    while (end < curve.Points.size() && isThere(curve.Points[end])) ++end;
    if (end > i && curve.IsEnvelope)
      DrawEnvelope(canvas.Context(), curve, i, end, xOf, yOf);
    else if (end > i)
      DrawSamples(canvas.Context(), curve, i, end, xOf, yOf);
    i = end + 1;
  }
}

void DrawLane(const Canvas& canvas, const Layout& layout, const Picture& picture,
              std::size_t number) {
  const Lane& lane = picture.Lanes[number];
  const double top = layout.LaneTop(number);
  const Scale scale(lane);
  canvas.Text(LeftMargin, top - 4,
              lane.Title + (lane.Unit.empty() ? "" : fmt::format(" [{}]", lane.Unit)), Ink);
  DrawAxis(canvas, layout, scale, top);
  cairo_t* const context = canvas.Context();
  cairo_save(context);
  cairo_rectangle(context, LeftMargin, top - 2, layout.Right() - LeftMargin, layout.LaneHeight + 4);
  cairo_clip(context);
  cairo_set_line_join(context, CAIRO_LINE_JOIN_BEVEL);
  for (const bool second : {false, true}) {
    const Shade& shade = second              ? SecondShade
                         : picture.HasSecond ? Palette[0]
                                             : Palette[number % std::size(Palette)];
    for (const Curve& curve : lane.Curves) {
      canvas.SetShade(shade, second ? 0.55 : 1);
      if (curve.IsSecond == second) DrawCurve(canvas, layout, curve, scale, top);
    }
  }
  cairo_restore(context);
  canvas.SetShade(Frame);
  cairo_set_line_width(context, 1);
  cairo_rectangle(context, LeftMargin + 0.5, std::round(top) + 0.5, layout.Right() - LeftMargin - 1,
                  std::round(layout.LaneHeight) - 1);
  cairo_stroke(context);
}

void DrawTimes(const Canvas& canvas, const Layout& layout, const Picture& picture) {
  constexpr double room = 95;
  const auto ticks =
      TimeTicksOf(picture.From, picture.To,
                  std::max(2, static_cast<int>((layout.Right() - LeftMargin) / room)));
  const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1;
  for (const double tick : ticks) {
    const double x = layout.X(tick);
    canvas.Line(std::round(x) + 0.5, layout.Bottom - LaneGap, std::round(x) + 0.5,
                layout.Bottom - LaneGap + 5, Frame);
    const double y = layout.Bottom - LaneGap + 18;
    canvas.Text(x, y, TimeTickText(tick, step), Ink, 0.5);
    if (!picture.Start) continue;
    const std::string clock =
        ClockTickText(*picture.Start, tick, step, picture.To - picture.From > 86400);
    canvas.Text(x, y + ClockHeight, clock, Faint, 0.5);
  }
  canvas.Text(3, layout.Bottom - LaneGap + 18, step >= 10 ? "h:mm:ss" : "s", Faint);
}

void DrawMarks(const Canvas& canvas, const Layout& layout, const Picture& picture) {
  double free = 0;
  const double dashes[] = {3, 3};
  for (const Mark& mark : picture.Marks) {
    const double x = std::round(layout.X(mark.Time)) + 0.5;
    cairo_set_dash(canvas.Context(), dashes, 2, 0);
    // Not through the titles of the lanes.
    canvas.Line(x, layout.Top - 4, x, layout.Top + 2, MarkShade);
    for (std::size_t i = 0; i < picture.Lanes.size(); ++i)
      canvas.Line(x, layout.LaneTop(i), x, layout.LaneTop(i) + layout.LaneHeight, MarkShade);
    cairo_set_dash(canvas.Context(), nullptr, 0, 0);
    // The text, as far as there is room for it.
    if (x < free) continue;
    std::string text = mark.Text;
    const auto next = std::ranges::find_if(
        picture.Marks, [&](const Mark& other) { return layout.X(other.Time) > x + 20; });
    const double room =
        (next == picture.Marks.end() ? layout.Right() : layout.X(next->Time)) - x - 6;
    constexpr std::size_t longest = 1000;  // more is never shown whole
    if (text.size() > longest || canvas.WidthOf(text) > room) text = canvas.Cut(text, room);
    canvas.Text(x + 3, layout.Top - 6, text, MarkShade);
    free = x + 3 + canvas.WidthOf(text) + 6;
  }
}

void DrawHead(const Canvas& canvas, const Layout& layout, const Picture& picture) {
  cairo_set_font_size(canvas.Context(), TitleSize);
  const double room = layout.Right() - LeftMargin;
  const auto fitted = [&](const std::string& text) {
    return !text.empty() && canvas.WidthOf(text) > room ? canvas.Cut(text, room) : text;
  };
  canvas.Text(LeftMargin, 22, fitted(picture.Title), Ink);
  cairo_set_font_size(canvas.Context(), FontSize);
  canvas.Text(LeftMargin, 39, fitted(picture.Subtitle), Faint);
  if (!picture.HasSecond) return;
  canvas.Text(layout.Right(), 22, "by the published layout", Palette[0], 1);
  canvas.Text(layout.Right(), 39, "as written", SecondShade, 1);
}

cairo_surface_t* MakeSurface(const std::string& kind, const std::filesystem::path& file,
                             const Layout& layout) {
  if (kind == ".svg") return cairo_svg_surface_create(file.c_str(), layout.Width, layout.Height);
  if (kind == ".pdf") return cairo_pdf_surface_create(file.c_str(), layout.Width, layout.Height);
  return cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(layout.Width),
                                    static_cast<int>(layout.Height));
}

}  // namespace

std::size_t CairoColumns(const CairoStyle& style) {
  return static_cast<std::size_t>(std::max(10.0, style.Width - LeftMargin - RightMargin));
}

void DrawPicture(const Picture& picture, const CairoStyle& style, const std::string& kind,
                 const std::filesystem::path& file) {
  const Layout layout(picture, style);
  const Canvas canvas(MakeSurface(kind, file, layout), layout.Width);
  canvas.SetShade({1, 1, 1});
  cairo_paint(canvas.Context());
  for (std::size_t i = 0; i < picture.Lanes.size(); ++i) DrawLane(canvas, layout, picture, i);
  DrawMarks(canvas, layout, picture);
  DrawTimes(canvas, layout, picture);
  DrawHead(canvas, layout, picture);
  canvas.Finish(kind, file);
}

}  // namespace lmi
