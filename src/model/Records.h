// The records of the recording store: what every reader fills, and all that a host ever sees.
// They hold no samples, only where the samples lie and how they are coded. Fields that say "chart"
// keep the header of a chart file whole; nothing reads them back.
#pragma once

#include <lmimport/Types.h>

#include <array>
#include <limits>
#include <string_view>
#include <vector>

namespace lmimport {

inline constexpr Integer LargestChannelCount = 32;                  // as written
inline constexpr Integer LargestPublishedChannelCount = INT16_MAX;  // what an Integer can number

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
  // Of the published reading alone.
  SampleInt24 = 6,
  SampleALaw = 7,  // one byte each, which stands for a count of 16 bits: ITU-T G.711
  SampleMuLaw = 8,
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
    case SampleALaw:
    case SampleMuLaw:
      return 1;
    case SampleInt24:
      return 3;
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

inline constexpr Double NotStated = std::numeric_limits<Double>::quiet_NaN();

struct CommentRec {
  Long Position = 0;      // a sample position in the block, as the format states it
  Long CommentStamp = 0;  // chart
  String Text;
  std::int64_t TextStart = -1;  // 0 or more: the text begins there in SharedTexts of the block
  Double Time = NotStated;      // seconds from the start of the recording; else by Position
  Double Duration = NotStated;  // seconds
};

/// Samples that aren't frames: a record holds a run of samples of each channel, one run after the
/// other. Sample i of channel c lies at DataPtr + i / RecordFrames * RecordBytes + Starts[c] +
/// i % RecordFrames * width.
struct SampleLanes {
  std::int64_t RecordFrames = 0;     // samples of a run
  std::int64_t RecordBytes = 0;      // whatever else a record holds among them
  std::vector<std::int64_t> Starts;  // bytes from the start of a record; empty: frames
};

struct BlockRec {
  Long Signature = 0;       // chart
  Long SizeChannel = 0;     // frames, 0 or more
  Long HeldFrames = -1;     // those that the file holds whole; -1: all
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

  // Of the published reading alone.
  Double StartTime = NotStated;  // seconds from the start of the recording; else by StartDateTime
  Double Rate = 0;               // samples per second of each channel; 0: SamplingRate
  std::vector<Double> Factor;    // a value is count * Factor + Offset; empty: by ChannelScale
  std::vector<Double> Offset;
  bool BigEndian = false;  // samples have their highest byte first
  Integer DataBits = -1;   // the bits of a 16-bit sample that are data
  SampleLanes Lanes;

  /// Makes the three tables for that many channels: each channel its own global one, scales and
  /// offsets 0.
  void DimensionChannels(Integer count);

  /// SizeChannel samples of each channel lie one after the other, and then those of the next.
  void SetColumns();

  /// SizeChannel of so many bytes of samples, without a rest that fills no frame.
  void FillFrom(std::int64_t bytes);

  /// Gives each channel the value count * Factor + Offset, as Single scales, too.
  void Calibrate(std::size_t channel, Double factor, Double offset);

  /// Frames, of SizeChannel, all samples of which lie in the first `size` bytes of the source.
  std::int64_t FramesIn(std::int64_t size) const;

  Double FactorOf(std::size_t channel) const {
    return Factor.empty() ? 1 / Double{ChannelScale[channel]} : Factor[channel];
  }
  Double OffsetOf(std::size_t channel) const {
    return Factor.empty() ? Double{ChannelOffset[channel]} : Offset[channel];
  }
  void SetRate(Double rate) {
    Rate = rate;
    SamplingRate = static_cast<Single>(rate);
  }
  Double ExactRate() const { return Rate > 0 ? Rate : SamplingRate; }

  std::int64_t FrameBytes() const { return std::int64_t{ChannelCount} * SampleWidth(SampleType); }
  bool HasRealSamples() const { return SampleType == SampleSingle || SampleType == SampleDouble; }
  String TextOf(const CommentRec& comment) const;
};

}  // namespace lmimport
