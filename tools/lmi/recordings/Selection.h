// Which samples of a recording are meant: blocks, channels, a stretch of time.
#pragma once

#include <lmimport/Recording.h>

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace lmi {

struct SelectionOptions {
  std::vector<std::int64_t> Blocks;   // from 1; none: all
  std::vector<std::string> Channels;  // numbers from 1, ranges, titles, patterns; none: all
  std::string From;                   // times, as TimeOf reads them; empty: the start
  std::string To;                     // what is at it is not meant any more; empty: the end
  std::string Duration;               // in the place of To
  std::int64_t Start = 1;             // first frame of each block
  std::int64_t Count = INT64_MAX;     // frames of each block
  bool Fill = false;                  // with zeros, what the header claims and the file lacks
};

/// Adds the options. `options` must outlive the command line.
void AddChannelOption(CLI::App& command, std::vector<std::string>& channels);
void AddSelection(CLI::App& command, SelectionOptions& options);

/// Some channels of a block, at the frames from First to before End. Numbers count from 0.
struct Part {
  std::size_t Block;
  std::vector<std::size_t> Channels;  // in the order in which they were named
  std::int64_t First;
  std::int64_t End;

  std::int64_t Frames() const { return End - First; }
};

/// The parts of all blocks that have something of what is meant, in the order of the file; a block
/// that was named is there even if that is nothing. Throws std::invalid_argument for a block or
/// channel that there isn't, with what there is.
std::vector<Part> Select(const lmimport::Recording& recording, const SelectionOptions& options);

/// The stretch of time that is asked for, in seconds from the start of the recording; nothing at an
/// end that isn't said. Throws as TimeOf does.
struct Stretch {
  std::optional<double> From;
  std::optional<double> To;
};
Stretch StretchOf(const lmimport::Recording& recording, const SelectionOptions& options);

/// Seconds from the start of the recording to the end of its last block.
double EndOf(const lmimport::Recording& recording);

/// The comments of the recording, each with the part that it is best shown with: one that has frames
/// at its time, its own block first; else its own block; else the first that begins before it. Where
/// the parts are a stretch of time, those in it alone.
std::vector<std::vector<const lmimport::Comment*>> CommentsOf(const lmimport::Recording& recording,
                                                              const std::vector<Part>& parts);

/// Seconds from the start of the recording: "12.5", "1:02:03.5" and "2:03" count from there, and
/// "T22:15:30" is a time of day, at the start or next after it, "2019-11-05T22:15:30" one of a day.
/// Throws std::invalid_argument for any other text, and for a clock where no start is stated.
double TimeOf(const std::string& text, const lmimport::Recording& recording);

}  // namespace lmi
