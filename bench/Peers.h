// Other readers of the same formats. Each call opens the file, reads, closes it, and gives the sum
// of what it read, to be compared.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lmimport::bench {

double SndfileReadAll(const std::string& name, std::vector<double>& out);
double SndfileReadAll(const std::string& name, std::vector<std::int16_t>& out);
double SndfileReadChannel(const std::string& name, int channel, std::vector<double>& out);
double SndfileReadWindows(const std::string& name, const std::vector<std::int64_t>& starts,
                          std::int64_t frames, std::vector<double>& out);

/// The first sample of the first channel.
double SndfileFirstSample(const std::string& name);
double EdflibFirstSample(const std::string& name);

/// Column by column, as the file has them.
double MatioReadAll(const std::string& name, std::vector<double>& out);

double EdflibReadAll(const std::string& name, std::vector<double>& out);
double EdflibReadAll(const std::string& name, std::vector<int>& out);
double EdflibReadChannel(const std::string& name, int channel, std::vector<double>& out);
double EdflibReadWindows(const std::string& name, const std::vector<std::int64_t>& starts,
                         std::int64_t frames, std::vector<double>& out);

/// Into memory of its own.
double BiosigReadAll(const std::string& name);

}  // namespace lmimport::bench
