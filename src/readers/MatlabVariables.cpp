#include "readers/MatlabVariables.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "readers/FrameRange.h"

namespace lmimport {
namespace {

constexpr Long MatlabFileType = 10;
constexpr Single LargestSingle = std::numeric_limits<Single>::max();
constexpr std::u16string_view DataSuffix = u"_Data";
constexpr std::u16string_view RateSuffix = u"_SamplingRate";

// At least one character stands before the suffix.
bool HasSuffix(const String& name, std::u16string_view suffix) {
  return name.size() > suffix.size() && name.ends_with(suffix);
}

template <class Real>
void ScanAndFit(BinaryFile& file, BlockRec& block, Progress& progress) {
  if (block.SizeChannel < 2 || block.ChannelCount < 1) return;
  const std::int64_t channels = block.ChannelCount;
  const std::int64_t frameBytes = channels * static_cast<std::int64_t>(sizeof(Real));
  const std::int64_t there = std::max<std::int64_t>(0, file.Size() - block.DataPtr) / frameBytes;
  const std::int64_t frames = std::min<std::int64_t>(block.SizeChannel, there);
  const auto range = ScanFrames<Real>(file, block.DataPtr, channels, frames * channels, progress);
  const auto held = [](Real value) {
    return static_cast<Single>(std::clamp<Real>(value, -LargestSingle, LargestSingle));
  };
  for (std::size_t c = 0; c < block.ChannelScale.size(); ++c) {
    Real least = 0;
    Real greatest = 0;
    if (range.Of(c, least, greatest))
      FitChannelScale(held(least), held(greatest), block.ChannelScale[c], block.ChannelOffset[c]);
  }
}

}  // namespace

void ScanSingleFrames(BinaryFile& File, BlockRec& Block, Progress& Progress) {
  ScanAndFit<Single>(File, Block, Progress);
}
void ScanDoubleFrames(BinaryFile& File, BlockRec& Block, Progress& Progress) {
  ScanAndFit<Double>(File, Block, Progress);
}

Integer DecimalExponent(Single Value) {
  if (Value == 0) return 0;
  const Double value = std::abs(Double{Value});
  Double exponent = std::floor(std::log(value) / std::log(10.0));
  // The quotient of the logarithms of 1000 is a hair below 3 here. Powers of ten up to 10^22 are
  // exact, and a Single that isn't one is far from it by the measure of a Double, so a comparison
  // with the next power settles it.
  if (std::pow(10.0, exponent + 1) <= value) ++exponent;
  if (std::pow(10.0, exponent) > value) --exponent;
  return static_cast<Integer>(exponent);
}

void FitChannelScale(Single Min, Single Max, Single& Scale, Single& Offset) {
  constexpr Double countsOfRange = 65500;
  if (Max == Min) {
    Scale = 1000;
    Offset = Max;
    return;
  }
  const Double ideal = countsOfRange / (Double{Max} - Double{Min});
  Scale = static_cast<Single>(std::min(ideal, Double{LargestSingle}));
  const Double power = std::pow(10.0, DecimalExponent(Scale));
  Double digit = std::trunc(Scale / power);
  if (digit == 3 || digit == 6 || digit == 9) --digit;
  if (digit == 7) digit = 5;
  if (digit > 0) Scale = static_cast<Single>(digit * power);
  Offset = 0;
  if (-Max != Min) {
    const Double middle = std::trunc(Scale * 0.5 * (Double{Max} + Double{Min}));
    Offset = static_cast<Single>(middle / Scale);
  }
}

MatlabVariables::MatlabVariables(ImportState& state)
    : state_(state), date_(state.DataFile->FileDateTime()) {}

MatlabVariables::Kind MatlabVariables::Classify(String& title) {
  if (HasSuffix(title, DataSuffix)) {
    title.resize(title.size() - DataSuffix.size());
    named_ = true;
    return Kind::Samples;
  }
  if (IsRateName(title)) {
    named_ = true;
    return Kind::Rate;
  }
  if (!named_) return Kind::Samples;
  LeaveOut("without a name of the convention");
  return Kind::LeftOut;
}

bool MatlabVariables::IsRateName(const String& title) {
  return HasSuffix(title, RateSuffix);
}

void MatlabVariables::SetRates(std::vector<Double> rates) {
  rates_ = std::move(rates);
  ++rateVariables_;
}

bool MatlabVariables::HasRoom() {
  if (static_cast<std::int64_t>(state_.Blocks.size()) < LargestBlockCount) return true;
  LeaveOut("beyond the largest number of blocks");
  return false;
}

void MatlabVariables::Scan(BlockRec& block) {
  if (block.SampleType == SampleSingle) ScanSingleFrames(*state_.DataFile, block, state_.Progress);
  if (block.SampleType == SampleDouble) ScanDoubleFrames(*state_.DataFile, block, state_.Progress);
}

bool MatlabVariables::Add(BlockRec block) {
  constexpr Single tenUnits = 32768.0F / 10;  // the full range of a word is 10 units either way
  if (!HasRoom()) return false;
  block.Resolution = 16;
  block.DimensionChannels(block.ChannelCount);
  std::fill(block.ChannelScale.begin(), block.ChannelScale.end(), tenUnits);
  Scan(block);
  block.ADCName = u"MATLAB";
  block.SamplingRate = state_.SettledSamplingRate();
  block.StartDateTime = date_;
  state_.Blocks.push_back(std::move(block));
  return true;
}

void MatlabVariables::AddImaginary(std::int64_t dataPtr) {
  BlockRec imaginary = state_.Blocks.back();
  state_.Blocks.back().Title += u"Re";
  if (!HasRoom()) return;
  imaginary.Title += u"Im";
  imaginary.DataPtr = dataPtr;
  Scan(imaginary);
  state_.Blocks.push_back(std::move(imaginary));
}

bool MatlabVariables::Finish(Integer versionMajor) {
  if (state_.Blocks.empty()) return false;
  for (std::size_t i = 0; i < std::min(rates_.size(), state_.Blocks.size()); ++i) {
    const auto rate = static_cast<Single>(rates_[i]);
    if (rate > 0 && !std::isfinite(rate)) return state_.Refuse(Refusal::FormatError);
    if (rate > 0)
      state_.Blocks[i].SamplingRate = rate;
    else
      LeaveOut("rates that are not above 0");
  }
  state_.FinishFile(FourCharacters("MATL"), versionMajor, 0, MatlabFileType);
  return true;
}

std::int64_t& MatlabVariables::CountOf(Counts& counts, std::string_view what) {
  const auto found =
      std::find_if(counts.begin(), counts.end(), [what](const auto& c) { return c.first == what; });
  return found != counts.end() ? found->second : counts.emplace_back(what, 0).second;
}

void MatlabVariables::NoteFindings() {
  if (!warnings_.empty())
    state_.Warn("variables-misread", 0,
                Sentence("Of the variables that are shown as signals: ", Listed(warnings_), "."));
  const bool someOnly = !rates_.empty() && rates_.size() < state_.Blocks.size();
  if (someOnly || rateVariables_ > 1)
    state_.Warn(
        "rates-by-order", 0,
        Sentence("Rates go to the blocks in their order, not by name, and only those of the "
                 "last of ",
                 rateVariables_, " rate variables count: ", rates_.size(), " for ",
                 state_.Blocks.size(), " blocks."));
  if (rates_.size() > state_.Blocks.size()) LeaveOut("variable of more rates than blocks");
  if (!leftOut_.empty())
    state_.Note("variables-left-out", 0, Sentence("Left out: ", Listed(leftOut_), "."));
}

}  // namespace lmimport
