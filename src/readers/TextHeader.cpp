// Text headers beside raw data ("_binheader.txt") and wave files ("_wavheader.txt"): 8-bit text,
// one "key=value" a line, each line ended by a line feed; other control characters are dropped.
//
//   [Ch2]              the lines that follow are about channel 2 of the block, from 0, up to the next
//                      line without a key; an empty line is one, too
//   NumAChannels=4     channels; makes the ranges new, so it precedes them
//   MaxRange=10        of a channel: the value at the highest count
//   MinRange=-10       of a channel: the value at the lowest count
//   Name=, YUnit=      of a channel
//   MaxADCValue=2048   highest count; without it, or 0, it follows from the resolution
//   Resolution=16      bits
//   Samplerate=1000    Hz
//
// Keys count with their case; a later line replaces an earlier one; other keys are passed over.
#include <cmath>
#include <limits>

#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr Integer NoSection = -1;

// The leading number, to the nearest whole one, ties to even.
Double WholeNumber(std::u16string_view text) {
  return std::nearbyint(ParseDouble(text));
}

// The beginning of a value, for a message.
std::string Quoted(std::u16string_view value) {
  constexpr std::size_t longest = 40;
  return ToUtf8(value.substr(0, longest));
}

Single Number(std::string_view key, std::u16string_view value) {
  if (!BeginsWithNumber(value))
    Refuse(Refusal::TextFault, "not-a-number", -1, key, " is not a number: ", Quoted(value));
  const Single number = ParseSingle(value);
  if (std::isinf(number))
    Refuse(Refusal::RangeFault, "number-too-large", -1, key,
           " is too large for a Single: ", Quoted(value));
  return number;
}

Double WholeNumberOf32Bits(std::string_view key, std::u16string_view value) {
  const Double number = WholeNumber(value);
  if (number < std::numeric_limits<Long>::min() || number > std::numeric_limits<Long>::max())
    Refuse(Refusal::RangeFault, "number-too-large", -1, key,
           " doesn't fit 32 bits: ", Quoted(value));
  return number;
}

class TextHeader {
 public:
  TextHeader(Opening& opening, BlockRec& block) : opening_(opening), block_(block) {
    if (block.ChannelCount > 0) DimensionRanges();
  }

  void Read(std::string_view text);
  void FillBlock();

 private:
  // A line as it grows. A second "=" makes a new key of all before it, while the value goes on
  // growing; so only the length of the key is kept, and a line of nothing but "=" costs no more
  // than another.
  struct Line {
    std::string Text;
    std::string Value;
    std::size_t KeyLength = 0;
    bool HasKey = false;  // something else than blanks precedes the last "="

    void Add(char c);
  };

  void EndLine(const Line& line);
  void Act(std::u16string_view key, std::u16string_view value);
  void ActOnChannel(std::u16string_view key, std::u16string_view value, std::size_t channel);
  void DimensionRanges();
  void TellSettings() const;

  Opening& opening_;
  BlockRec& block_;
  std::vector<Single> maxRange_;
  std::vector<Single> minRange_;
  Double section_ = NoSection;
  Double maxAdc_ = 0;
  bool hasRate_ = false;
};

void TextHeader::Line::Add(char c) {
  if (c == '=') {
    KeyLength = Text.size();
    HasKey = HasKey || Text.find_first_not_of(' ') != std::string::npos;
  } else if (HasKey) {
    Value += c;
  }
  Text += c;
}

void TextHeader::Read(std::string_view text) {
  Line line;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= ' ') {
      line.Add(c);
    } else if (c == '\n') {
      EndLine(line);
      line = Line();
    }
  }
}

void TextHeader::EndLine(const Line& line) {
  const std::string_view text = line.Text;
  if (line.HasKey) {
    const String key = TrimBlanks(opening_.Texts.Text(text.substr(0, line.KeyLength)));
    return Act(key, TrimBlanks(opening_.Texts.Text(line.Value)));
  }
  section_ = NoSection;
  if (!text.starts_with("[Ch")) return;
  section_ = WholeNumberOf32Bits("section", opening_.Texts.Text(text.substr(3)));
}

void TextHeader::Act(std::u16string_view key, std::u16string_view value) {
  if (key == u"NumAChannels") {
    const Double count = WholeNumber(value);
    if (!(count >= 1 && count <= LargestChannelCount))
      Refuse(Refusal::LengthFault, "channel-count", -1,
             "NumAChannels is not from 1 to 32: ", Quoted(value));
    block_.DimensionChannels(static_cast<Integer>(count));
    DimensionRanges();
  } else if (key == u"MaxADCValue") {
    maxAdc_ = WholeNumberOf32Bits("MaxADCValue", value);
  } else if (key == u"Resolution") {
    const Double bits = WholeNumber(value);
    if (!(bits >= 0 && bits <= std::numeric_limits<Byte>::max()))
      Refuse(Refusal::RangeFault, "number-too-large", -1,
             "Resolution is not from 0 to 255: ", Quoted(value));
    block_.Resolution = static_cast<Byte>(bits);
  } else if (key == u"Samplerate") {
    block_.SamplingRate = Number("Samplerate", value);
    hasRate_ = true;
  } else if (section_ >= 0 && section_ < block_.ChannelCount) {
    ActOnChannel(key, value, static_cast<std::size_t>(section_));
  }
}

void TextHeader::ActOnChannel(std::u16string_view key, std::u16string_view value,
                              std::size_t channel) {
  if (key == u"MaxRange") maxRange_[channel] = Number("MaxRange", value);
  if (key == u"MinRange") minRange_[channel] = Number("MinRange", value);
  if (key == u"Name") opening_.Store.Channel(channel).ChannelTitle = value;
  if (key == u"YUnit") opening_.Store.Channel(channel).ChannelUnitName = value;
}

void TextHeader::DimensionRanges() {
  maxRange_.assign(static_cast<std::size_t>(block_.ChannelCount), 0);
  minRange_.assign(static_cast<std::size_t>(block_.ChannelCount), 0);
}

void TextHeader::TellSettings() const {
  if (hasRate_) opening_.Tell(-1, "Samplerate", block_.SamplingRate, "samples per second");
  opening_.Tell(-1, "Resolution", block_.Resolution, "bits of the converter");
  opening_.Tell(-1, "MaxADCValue", maxAdc_, "highest count, stated or by the resolution");
  for (std::size_t c = 0; c < maxRange_.size(); ++c) {
    const Place place = Place::OfChannel(-1, c);
    opening_.Tell(place, "MaxRange", maxRange_[c], "value at the highest count");
    opening_.Tell(place, "MinRange", minRange_[c], "value at the lowest count");
  }
}

void TextHeader::FillBlock() {
  if (maxAdc_ == 0) {
    if (block_.Resolution == 0) block_.Resolution = 16;
    maxAdc_ = std::exp2(block_.Resolution - 1);
  }
  TellSettings();
  for (std::size_t i = 0; i < block_.ChannelScale.size(); ++i) {
    const Double top = maxRange_[i];
    const Double bottom = minRange_[i];
    block_.ChannelIndex[i] = static_cast<Integer>(i);
    block_.ChannelOffset[i] =
        Narrowed(Narrowed(top + bottom, "MaxRange + MinRange") / 2.0, "offset");
    block_.ChannelScale[i] =
        Narrowed(maxAdc_ / ((top - bottom) / 2), "counts per unit of a channel");
  }
  if (block_.SamplingRate <= 0) {
    block_.SamplingRate = FallbackSamplingRate;
    opening_.TellDefaultRate(FallbackSamplingRate);
  }
  if (block_.ADCName.empty()) block_.ADCName = u"BIN_SBunch6";
  if (block_.SizeChannel == 0) block_.FillFrom(opening_.DataFile.Size());
  if (block_.StartDateTime == 0) block_.StartDateTime = opening_.DateOfFile();
}

}  // namespace

bool ReadBinHeader(Opening& opening, BinaryFile& sidecar, BlockRec& Block) {
  constexpr std::int64_t largestText = 64LL * 1024 * 1024;
  if (sidecar.Size() > largestText) return false;
  std::string text(static_cast<std::size_t>(sidecar.Size()), '\0');
  text.resize(static_cast<std::size_t>(sidecar.ReadBytes(text.data(), std::ssize(text))));
  TextHeader header(opening, Block);
  header.Read(text);
  if (Block.ChannelCount < 1) return false;
  header.FillBlock();
  return true;
}

}  // namespace lmimport
