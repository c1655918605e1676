// What is known of one recording. Readers fill it; after the open it is never changed, so any number
// of threads look at it at once.
#pragma once

#include <lmimport/ByteSource.h>
#include <lmimport/Fields.h>
#include <lmimport/Findings.h>
#include <lmimport/Version.h>

#include <algorithm>
#include <concepts>
#include <functional>

#include "model/Records.h"

namespace lmimport {

struct Opening;

inline constexpr Integer LibraryMajor = LMIMPORT_VERSION_MAJOR;
inline constexpr Integer LibraryMinor = LMIMPORT_VERSION_MINOR;

/// What an open can leave for the moment when it is asked for.
enum class Later { Comments, Samples, Ranges };
inline constexpr std::size_t LaterKinds = 3;

/// A reader leaves it so:
///  - DataFile holds the samples;
///  - each block has SizeChannel frames one after the other at DataPtr, a frame being one
///    little-endian sample of each channel in the order of ChannelIndex; in the published reading
///    Lanes can say otherwise where the samples lie, and BigEndian and DataBits what they are;
///  - an integer sample n is the value n / ChannelScale + ChannelOffset, or n * Factor + Offset
///    where these are given, a real one is the value; rates and scales are not NaN, and rates are
///    finite.
/// Where there is work for later, this holds once it is done.
struct RecordingStore {
  std::string_view Format;  // id in the table of formats
  Long FileType = 0;
  Long FileSubType = 0;
  String FileName;            // with its folder
  std::int64_t FileSize = 0;  // as it was opened
  Date Start = 0;             // of the recording; 0: of the first block
  std::string Sidecar;        // file name of what described the samples; empty: nothing did
  struct FileRec FileRec;
  std::vector<ChannelRec>
      Channels;  // by global channel, as far as one has a title or is in a block
  std::vector<BlockRec> Blocks;
  std::shared_ptr<const ByteSource> DataFile;
  std::vector<Finding> Found;
  std::vector<HeaderField> Fields;                              // where the host asked for them
  std::array<std::function<void(Opening&)>, LaterKinds> Works;  // left for later; empty: none

  const std::function<void(Opening&)>& Work(Later kind) const {
    return Works[static_cast<std::size_t>(kind)];
  }
  /// A global channel, from 0, to be filled; the table grows as needed.
  ChannelRec& Channel(std::integral auto number) {
    const auto index = static_cast<std::size_t>(number);
    if (index >= Channels.capacity()) Channels.reserve(std::max<std::size_t>(8, 2 * index));
    if (index >= Channels.size()) Channels.resize(index + 1);
    return Channels[index];
  }
  const ChannelRec& ChannelOf(const BlockRec& block, std::size_t channel) const {
    return Channels[static_cast<std::size_t>(block.ChannelIndex[channel])];
  }
};

}  // namespace lmimport
