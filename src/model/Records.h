// The records of the recording store: what every reader fills, and all that a host ever sees.
// They hold no samples, only where the samples lie and how they are coded. Fields that say "chart"
// keep the header of a chart file whole; nothing reads them back.
#pragma once

#include <lmimport/Types.h>

#include <array>
#include <string_view>
#include <vector>

namespace lmimport {

inline constexpr Integer LargestChannelCount = 32;

/// Four characters, or three and a zero byte, as at the start of a file.
constexpr Long FourCharacters(const char (&text)[5]) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(text[i]);
  return static_cast<Long>(value);
}

/// How a sample is stored; any other number is a signed 16-bit integer too.
enum SampleTypes : Integer {
  SampleInt16 = 0,
  SampleInt32 = 1,
  SampleSingle = 2,  // a value in units, as the next one
  SampleDouble = 3,
  SampleInt8 = 5,
};

/// A number held at the limits of a Long.
constexpr Long HeldAsLong(std::int64_t number) {
  constexpr std::int64_t largest = INT32_MAX;
  constexpr std::int64_t smallest = INT32_MIN;
  return static_cast<Long>(number > largest ? largest : number < smallest ? smallest : number);
}

/// Bytes of a stored sample.
constexpr Long SampleWidth(Integer sampleType) {
  switch (sampleType) {
    case SampleInt8:
      return 1;
    case SampleInt32:
    case SampleSingle:
      return 4;
    case SampleDouble:
      return 8;
    default:
      return 2;
  }
}

struct FileRec {
  Long Signature = 0;
  Integer VersionMajor = 0;
  Integer VersionMinor = 0;
  Integer VersionBuild = 0;  // chart
  Integer ChannelCount = 0;  // global channels, 1 to 32
  std::array<Integer, 2> ChartFileWords{};
  Integer BlockCount = 0;    // at least 1 once a file is open
  Integer CurrentBlock = 0;  // from 0; what a block index of 0 selects
  Long TotalSamples = 0;     // sum of SizeChannel over all blocks
  Single FileSamplingRate = 0;
  String ChartFileName;
  String FileNotes;
  String ChartFileText;
  String FileDataPad;
  std::array<Long, 2> ChartFileLongs{};
  std::array<Integer, 32> ChartFileInts{};
  std::array<Byte, 8> ChartFileTail{};
};

struct ChannelRec {
  Long Signature = 0;  // chart
  std::array<Byte, 28> ChannelHead{};
  String ChannelTitle;
  String ChannelUnitName;
  Long ChannelLong1 = 0;
  Single ChannelSingle = 0;
  std::array<Integer, 2> ChannelWords{};
  Long ChannelLong2 = 0;
  std::array<String, 4> ChannelTexts;
  std::array<Long, 3> ChannelTail{};
};

struct CommentRec {
  Long Position = 0;      // a sample position in the block, as the format states it
  Long CommentStamp = 0;  // chart
  String Text;
  std::int64_t TextStart = -1;  // 0 or more: the text begins there in SharedTexts of the block
};

struct BlockRec {
  Long Signature = 0;       // chart
  Long SizeChannel = 0;     // frames, 0 or more
  bool OpenLength = false;  // no length is stated: SizeChannel is as large as it can be
  Single SamplingRate = 0;  // samples per second of each channel
  Byte Resolution = 0;      // bits of the converter, as far as the format tells
  std::array<Byte, 3> ChartBlockHead{};
  Integer SampleType = SampleInt16;
  Integer SampleUnsigned = 0;  // 0 or -1: the top bit of an integer sample is to be flipped
  String ADCName;
  String Title;
  String Notes;
  String ChartBlockText1;
  String DataPad;
  String ChartBlockText2;
  Date StartDateTime = 0;
  Long ChartBlockLong = 0;
  Integer ChannelCount = 0;  // samples of a frame, 1 to 32
  Integer ChartBlockWord = 0;
  std::vector<Integer> ChannelIndex;  // global channel of each, 0 to 31
  std::vector<Single> ChannelScale;   // counts per unit
  std::vector<Single> ChannelOffset;  // value of count 0, in units
  std::int64_t DataPtr = 0;           // first byte of the first frame
  Long CommentCount = 0;
  std::vector<CommentRec> Comments;
  Long RepeatedCommentStep = 0;  // where CommentCount is above the size of Comments: the last one
                                 // is repeated, each time so many frames later
  String SharedTexts;            // of the comments that have a TextStart; each ends with a zero
  std::array<Long, 3> ChartBlockTail{};

  /// Makes the three tables for that many channels: each channel its own global one, scales and
  /// offsets 0.
  void DimensionChannels(Integer count);

  /// SizeChannel of so many bytes of samples, without a rest that fills no frame.
  void FillFrom(std::int64_t bytes);

  std::int64_t FrameBytes() const { return std::int64_t{ChannelCount} * SampleWidth(SampleType); }
  bool HasRealSamples() const { return SampleType == SampleSingle || SampleType == SampleDouble; }
  String TextOf(const CommentRec& comment) const;
};

}  // namespace lmimport
