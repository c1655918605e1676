// What a plot shows, before it is drawn: channels one below the other over one axis of time, each as
// an envelope or, where there are few, as samples.
#pragma once

#include <lmimport/Recording.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "recordings/Selection.h"

namespace lmi {

/// A channel of one block.
struct Curve {
  double Start, End;  // seconds from the start of the recording
  bool IsSecond;      // of the second reading of a comparison
  bool IsEnvelope;    // else each of Points is one sample, smallest and largest being the same
  std::vector<lmimport::Extremes> Points;  // equally far apart from Start to End
};

/// All that is drawn on one scale.
struct Lane {
  std::string Title;
  std::string Unit;
  int Number;  // of the channel, in the file
  std::vector<Curve> Curves;
  double Low, High;  // of all curves; NaN where they have no value
};

struct Mark {
  double Time;
  std::string Text;
};

struct Picture {
  std::string Title;
  std::string Subtitle;
  double From, To;  // seconds from the start of the recording
  std::optional<lmimport::Date> Start;
  std::vector<Lane> Lanes;
  std::vector<Mark> Marks;
  bool HasSecond = false;  // compares two readings
};

struct PictureOptions {
  SelectionOptions Selection;
  std::size_t Columns;                   // points of an envelope over the whole width
  std::function<bool(double)> Progress;  // of reading, from any one thread at a time
};

/// Reads what the picture needs, each channel in one pass, on all processors. `second` is the same
/// recording in the other reading, or null. Throws as Select does, and std::runtime_error where
/// there is nothing to draw.
Picture MakePicture(const lmimport::Recording& recording, const lmimport::Recording* second,
                    const PictureOptions& options);

/// Places of an axis that people count by, such as 0, 20, 40: at most `most` from low to high.
std::vector<double> TicksOf(double low, double high, int most);

/// The same for seconds: whole minutes, hours and days where they are long.
std::vector<double> TimeTicksOf(double from, double to, int most);

/// "12.5", "2:30", "1:02:30", as far apart as the ticks are.
std::string TimeTickText(double seconds, double step);

/// The clock at a tick, "14:16:29", to the millisecond where ticks are closer than a second; with its
/// month and day where `isLong`. Empty where it is no date.
std::string ClockTickText(lmimport::Date start, double seconds, double step, bool isLong);

}  // namespace lmi
