// A recording as JSON, in the form that docs/info.schema.json describes.
#pragma once

#include <lmimport/Recording.h>

#include <string>

namespace lmi {

/// The comments of each block, in the order of time.
std::vector<std::vector<const lmimport::Comment*>> CommentsByBlock(
    const lmimport::Recording& recording);

/// Start of a block by the clock; nothing where none is stated.
std::optional<lmimport::Date> StartOf(const lmimport::Recording& recording, std::size_t block);

/// The values that counts of the channel can have, smallest and largest.
lmimport::Extremes RangeOf(const lmimport::Block& block, const lmimport::Channel& channel);

/// The first values of a channel, four at most.
std::vector<double> FirstValues(const lmimport::Recording& recording, std::size_t block,
                                std::size_t channel);

/// Of all samples of the channel.
lmimport::Extremes ScannedExtremes(const lmimport::Recording& recording, std::size_t block,
                                   std::size_t channel);

/// Prints all of the object but its closing brace. A fault of the recording ends the list of
/// blocks, and is given back; else an empty text.
std::string PrintRecordingJson(const lmimport::Recording& recording, bool scan);

}  // namespace lmi
