#include "readers/MatlabVariables.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>

#include "readers/FrameRange.h"

namespace lmimport {
namespace {

constexpr Single LargestSingle = std::numeric_limits<Single>::max();
constexpr std::u16string_view DataSuffix = u"_Data";
constexpr std::u16string_view RateSuffix = u"_SamplingRate";

// At least one character precedes the suffix.
bool HasSuffix(const String& name, std::u16string_view suffix) {
  return name.size() > suffix.size() && name.ends_with(suffix);
}

template <class Real>
void ScanAndFit(BinaryFile& file, BlockRec& block, Progress& progress) {
  if (block.SizeChannel < 2 || block.ChannelCount < 1) return;
  const auto held = [](Real value) {
    return static_cast<Single>(std::clamp<Real>(value, -LargestSingle, LargestSingle));
  };
  ScanBlock<Real>(file, block, progress, [&](std::size_t c, Real least, Real greatest) {
    FitChannelScale(held(least), held(greatest), block.ChannelScale[c], block.ChannelOffset[c]);
  });
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

void MatlabVariables::SetRates(const String& name, Rates rates) {
  if (opening_.IsPublished() && !rates.Values.empty() && IsRateName(name))
    ratesByName_.emplace_back(name.substr(0, name.size() - RateSuffix.size()), rates);
  rates_ = std::move(rates);
  ++rateVariables_;
}

bool MatlabVariables::HasRoom() {
  if (std::ssize(opening_.Store.Blocks) < LargestBlockCount) return true;
  LeaveOut("beyond the largest number of blocks");
  return false;
}

bool MatlabVariables::Add(BlockRec block) {
  constexpr std::int64_t fewest = 64,
                         bytesOfChannel = 2;  // a compressed file claims much with little
  constexpr Single tenUnits = 32768.0F / 10;  // the full range of a word is 10 units either way
  if (!HasRoom()) return false;
  channelCount_ += block.ChannelCount;
  if (opening_.IsPublished() && channelCount_ > fewest + opening_.Store.FileSize / bytesOfChannel) {
    channelCount_ -= block.ChannelCount;
    LeaveOut("of more channels than a file of that size can have");
    return false;
  }
  block.Resolution = 16;
  block.DimensionChannels(block.ChannelCount);
  std::fill(block.ChannelScale.begin(), block.ChannelScale.end(), tenUnits);
  block.ADCName = u"MATLAB";
  block.SamplingRate = opening_.Rules.SamplingRate;
  if (opening_.IsPublished() && !block.HasRealSamples()) {
    // The numbers are the values. Without a sign, they count from the middle of their range.
    const int bits = 8 * static_cast<int>(SampleWidth(block.SampleType));
    const Double middle = block.SampleUnsigned != 0 ? std::exp2(bits - 1) : 0;
    for (std::size_t c = 0; c < block.ChannelScale.size(); ++c) block.Calibrate(c, 1, middle);
  }
  opening_.Store.Blocks.push_back(std::move(block));
  TellFormula();
  return true;
}

// Of the last block.
void MatlabVariables::TellFormula() const {
  const std::vector<BlockRec>& blocks = opening_.Store.Blocks;
  const Place place = {-1, static_cast<int>(blocks.size()) - 1};
  if (blocks.back().HasRealSamples()) return opening_.TellFormula("the value, as stored", place);
  if (!opening_.IsPublished()) return opening_.TellFormula("count / single(3276.8)", place);
  if (blocks.back().SampleUnsigned == 0) return opening_.TellFormula("count", place);
  opening_.Tell({place.Position, place.Block}, "middle", blocks.back().OffsetOf(0),
                "value of count 0: numbers without a sign count from the middle of their range");
  opening_.TellFormula("count + middle", place);
}

void MatlabVariables::AddImaginary(std::int64_t dataPtr) {
  std::vector<BlockRec>& blocks = opening_.Store.Blocks;
  BlockRec imaginary = blocks.back();
  blocks.back().Title += u"Re";
  if (!HasRoom()) return;
  imaginary.Title += u"Im";
  imaginary.DataPtr = dataPtr;
  blocks.push_back(std::move(imaginary));
  TellFormula();
}

// `number` is that of the block.
void MatlabVariables::GiveRate(std::size_t number, Double rate, std::int64_t position) {
  BlockRec& block = opening_.Store.Blocks[number];
  const auto single = static_cast<Single>(rate);
  if (single > 0 && !std::isfinite(single))
    RefuseAsDamaged(-1, "Rate ", number + 1, " of the rate variable is ", rate,
                    ", too large for a rate.");
  if (!(single > 0)) return LeaveOut("rates that are not above 0");
  block.SamplingRate = single;
  if (opening_.IsPublished()) block.Rate = rate;
  opening_.Tell({position, static_cast<int>(number)}, "SamplingRate", rate, "samples per second");
  ++given_;
}

// What is left for the order of the blocks: the rates of the last variable that no other is named
// after, else those of one that states several.
void MatlabVariables::GiveRatesByName() {
  std::vector<BlockRec>& blocks = opening_.Store.Blocks;
  std::unordered_multimap<std::u16string_view, std::size_t> places;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const std::u16string_view title = blocks[i].Title;
    places.emplace(title, i);
    if (title.ends_with(u"Re") || title.ends_with(u"Im"))
      places.emplace(title.substr(0, title.size() - 2), i);
  }
  Rates unmatched;
  Rates several;
  for (const auto& [name, rates] : ratesByName_) {
    const auto [first, last] = places.equal_range(name);
    if (first == last) unmatched = rates;
    if (first != last && rates.Values.size() > 1) several = rates;
    for (auto place = first; place != last; ++place)
      GiveRate(place->second, rates.Values.front(), rates.Position);
  }
  rates_ = unmatched.Values.empty() ? several : unmatched;
  rateVariables_ = rates_.Values.empty() ? 0 : 1;
}

void MatlabVariables::GiveRates() {
  const std::vector<BlockRec>& blocks = opening_.Store.Blocks;
  if (!ratesByName_.empty()) GiveRatesByName();
  for (std::size_t i = 0; i < std::min(rates_.Values.size(), blocks.size()); ++i) {
    if (blocks[i].Rate == 0) GiveRate(i, rates_.Values[i], rates_.PositionOf(i));
  }
  if (given_ < std::ssize(blocks)) opening_.TellDefaultRate(opening_.Rules.SamplingRate);
}

void MatlabVariables::Finish(Integer versionMajor, const std::string& detail) {
  std::vector<BlockRec>& blocks = opening_.Store.Blocks;
  if (blocks.empty()) {
    NoteFindings();
    throw RefusedOpen{Refusal::UnsupportedFormat, "coding-not-read", -1,
                      "The file has no variable that is shown as samples" + detail + ".", detail};
  }
  GiveRates();
  NoteFindings();
  const Date date = opening_.DateOfFile();
  for (BlockRec& block : blocks) block.StartDateTime = date;
  const auto scanAll = [](Opening& later, BinaryFile& file) {
    for (BlockRec& block : later.Store.Blocks) {
      if (block.SampleType == SampleSingle) ScanSingleFrames(file, block, later.Progress);
      if (block.SampleType == SampleDouble) ScanDoubleFrames(file, block, later.Progress);
    }
  };
  if (packed_.IsEmpty()) {
    opening_.DoOrDefer(Later::Ranges,
                       [scanAll](Opening& later) { scanAll(later, later.DataFile); });
  } else {
    opening_.DoOrDefer(Later::Samples, [scanAll, packed = packed_](Opening& later) {
      packed.Unpack(later);
      BinaryFile unpacked(later.Texts, later.Store.DataFile);
      scanAll(later, unpacked);
    });
  }
  opening_.FinishFile(FourCharacters("MATL"), versionMajor, 0);
}

std::int64_t& MatlabVariables::CountOf(Counts& counts, std::string_view what) {
  const auto found =
      std::find_if(counts.begin(), counts.end(), [what](const auto& c) { return c.first == what; });
  return found != counts.end() ? found->second : counts.emplace_back(what, 0).second;
}

void MatlabVariables::NoteFindings() {
  if (!warnings_.empty())
    opening_.Warn("variables-misread", -1,
                  "Of the variables that are shown as signals: ", Listed(warnings_), ".");
  const bool someOnly =
      !rates_.Values.empty() && rates_.Values.size() < opening_.Store.Blocks.size();
  if (someOnly || rateVariables_ > 1)
    opening_.Warn("rates-by-order", -1,
                  "Rates go to the blocks in their order, not by name, and only those of the "
                  "last of ",
                  rateVariables_, " rate variables are used: ", rates_.Values.size(), " for ",
                  opening_.Store.Blocks.size(), " blocks.");
  if (rates_.Values.size() > opening_.Store.Blocks.size())
    LeaveOut("variable of more rates than blocks");
  const auto rateless = std::ranges::count(opening_.Store.Blocks, 0, &BlockRec::Rate);
  if (opening_.IsPublished() && rateless > 0)
    opening_.Note("rate-by-default", -1, rateless, " of ", opening_.Store.Blocks.size(),
                  " variables have no rate, and are shown at ", opening_.Rules.SamplingRate,
                  " Hz by default.");
  if (!leftOut_.empty())
    opening_.Note("variables-left-out", -1, "Left out: ", Listed(leftOut_), ".");
}

}  // namespace lmimport
