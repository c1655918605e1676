// The recordings that are measured, made once: random samples under the headers of the tests'
// builders.
#pragma once

#include <cstdint>
#include <string>

namespace lmimport::bench {

constexpr std::int64_t InputBytes = 200'000'000;  // of samples, a little less in most files

/// Makes the file in the folder unless it is there, and gives its name.
std::string WindaqFile(const std::string& folder, int channels, std::int64_t bytes = InputBytes);
std::string WaveFile(const std::string& folder, int channels);
std::string ChartFile(const std::string& folder, int channels);
std::string AbfFile(const std::string& folder);
std::string Matlab5File(const std::string& folder, int channels);
std::string EdfFile(const std::string& folder, bool mixedRates);
/// The frames of the EDF file of one rate, as a chart file would hold them: values are the same.
std::string FramesOfEdf(const std::string& folder);

/// A wave file of 8 channels of so many bits, whole numbers or real ones, big-endian ones as "RIFX". All
/// hold the same values.
std::string KindFile(const std::string& folder, int bits, bool real, bool bigEndian);

/// One compressed variable of Doubles that repeat now and then.
std::string PackedMatFile(const std::string& folder);

std::string AcqFile(const std::string& folder, bool mixedRates);

}  // namespace lmimport::bench
