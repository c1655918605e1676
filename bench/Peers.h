// Other readers of the same formats. Each call opens the file, reads, closes it, and gives the sum
// of what it read, to be compared. All throw std::runtime_error when a peer doesn't read all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lmimport::bench {

using Starts = std::vector<std::int64_t>;  // of windows, in frames from 0

double SndfileReadDoubles(const std::string& name);
double SndfileReadNormed(const std::string& name);  // full scale is 1
double SndfileReadIntegers(const std::string& name);
double SndfileReadChannel(const std::string& name, int channel);
double SndfileReadWindows(const std::string& name, const Starts& starts, std::int64_t frames);
double SndfileFirstSample(const std::string& name);

/// Column by column, as the file has them.
double MatioReadDoubles(const std::string& name);

/// Signal after signal; the counts as ints.
double EdflibReadDoubles(const std::string& name);
double EdflibReadIntegers(const std::string& name);
double EdflibReadChannel(const std::string& name, int channel);
double EdflibReadWindows(const std::string& name, const Starts& starts, std::int64_t frames);
double EdflibFirstSample(const std::string& name);

/// Into memory of its own.
double BiosigReadDoubles(const std::string& name);

}  // namespace lmimport::bench
