// What the readers of both MATLAB versions share: the naming convention, the blocks that variables
// become, and the round scale that is fitted to the range of floating-point samples.
#pragma once

#include "model/Unpacking.h"

namespace lmimport {

/// Scales the frames of a Single or a Double block: reads them and fits ChannelScale and
/// ChannelOffset to the range of each channel. NaN is passed over, infinities count as the largest
/// Single. A channel of nothing but NaN keeps its scale and offset, and so do all when the file
/// doesn't hold the first frame; frames cut off by its end are left out.
void ScanSingleFrames(BinaryFile& File, BlockRec& Block, Progress& Progress);
void ScanDoubleFrames(BinaryFile& File, BlockRec& Block, Progress& Progress);

/// A round number of counts per unit, 1, 2, 4, 5 or 8 times a power of ten, such that the range
/// fits a 16-bit word with a little room, and an offset at its middle that is a whole number of
/// counts. An empty range gives 1000 and its value.
void FitChannelScale(Single Min, Single Max, Single& Scale, Single& Offset);

/// The power of ten of the first decimal digit; 0 for 0.
Integer DecimalExponent(Single Value);

/// The variables of one file, as they are walked.
class MatlabVariables {
 public:
  enum class Kind { Samples, Rate, LeftOut };

  /// The values of a rate variable, and where they are, so many bytes each; -1: they were compressed.
  struct Rates {
    std::vector<Double> Values;
    std::int64_t Position = -1;
    std::int64_t Width = 0;

    std::int64_t PositionOf(std::size_t number) const {
      return Position < 0 ? -1 : Position + static_cast<std::int64_t>(number) * Width;
    }
  };

  explicit MatlabVariables(Opening& opening) : opening_(opening) {}

  /// By the naming convention: "x_Data" holds samples, and its title loses the suffix;
  /// "x_SamplingRate" holds rates; any other name holds samples until the first of those names.
  Kind Classify(String& title);

  static bool IsRateName(const String& title);

  /// Of the variable of that name. As written, rates by the order of the blocks, in the place of those
  /// before; more than there can be blocks aren't kept. In the published reading "x_SamplingRate" is
  /// the rate of "x_Data", and only what has no such counterpart goes by the order.
  void SetRates(const String& name, Rates rates);
  std::int64_t RateCount() const { return std::ssize(rates_.Values); }
  static constexpr std::int64_t LargestBlockCount = INT16_MAX;

  /// Completes a block of ChannelCount, SizeChannel, SampleType, SampleUnsigned, DataPtr and Title,
  /// and adds it. False where there is no room: it is left out.
  bool Add(BlockRec block);

  /// What Add gave true for has its samples in a compressed element, or beside such.
  Unpacking& Packed() { return packed_; }

  /// Makes the last block the real part of a complex variable, and adds a copy of it for the
  /// imaginary one, whose samples lie at `dataPtr`.
  void AddImaginary(std::int64_t dataPtr);

  /// Ranges, rates, FileRec, type, and the findings of all this. Refuses a file without a block,
  /// with a detail for the message, and one with a rate that isn't finite, as damage.
  void Finish(Integer versionMajor, const std::string& detail = {});

  /// Counted, and told once at the end: a reason for a variable to be left out, or something that a
  /// user would take wrong about one that is shown.
  void LeaveOut(std::string_view reason) { ++CountOf(leftOut_, reason); }
  void Warn(std::string_view what) { ++CountOf(warnings_, what); }

 private:
  static std::int64_t& CountOf(Counts& counts, std::string_view what);
  bool HasRoom();
  void GiveRates();
  void GiveRate(std::size_t number, Double rate, std::int64_t position);
  void TellFormula() const;
  void GiveRatesByName();
  void NoteFindings();

  Opening& opening_;
  bool named_ = false;
  Rates rates_;
  Long rateVariables_ = 0;
  std::int64_t given_ = 0;                             // rates, to blocks
  std::vector<std::pair<String, Rates>> ratesByName_;  // in the published reading
  std::int64_t channelCount_ = 0;                      // of all blocks
  Unpacking packed_;
  Counts leftOut_;
  Counts warnings_;
};

}  // namespace lmimport
