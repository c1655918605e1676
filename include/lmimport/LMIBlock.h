// One block of the open recording: its description, its comments and its samples.
#pragma once

#include <lmimport/Types.h>

#include <span>
#include <string>
#include <vector>

namespace lmimport {

struct BlockRec;
struct ChannelRec;

/// A view on one block of the open file. It turns invalid for good when the file is closed, and
/// gives empty texts and 0 from then on. It belongs to the thread that made it: a call from any
/// other throws std::logic_error; letting go is harmless everywhere.
///
/// Channels, samples, frames and comments are counted from 1. A bad index gives 0 or an empty text;
/// a range that sticks out of the block is cut, and the result tells how much was delivered. A
/// stored 16-bit count n is the physical value n * A + B.
class LMIMPORT_API LMIBlock {
 public:
  LMIBlock(const LMIBlock&) = delete;
  LMIBlock& operator=(const LMIBlock&) = delete;

  Integer BlockIndex() const;  // from 1; 0 for an invalid object
  String ADCName() const;      // device or source
  String Title() const;
  String Notes() const;
  String DataPad() const;
  Date StartDateTime() const;
  Double SamplingRate() const;  // samples per second of each channel
  Long SizeChannel() const;     // samples of one channel, which is the number of frames
  Long SizeData() const;        // samples of all channels
  Integer ChannelCount() const;

  Integer ChannelGlobalIndex(
      Integer ChannelIndex) const;  // the channel's number in the file, from 1
  String ChannelTitle(Integer ChannelIndex) const;
  String ChannelUnitName(Integer ChannelIndex) const;
  Single ChannelSingleA(Integer ChannelIndex) const;  // units per count
  Single ChannelSingleB(Integer ChannelIndex) const;  // value of count 0, in units
  Double ChannelDoubleA(Integer ChannelIndex) const;
  Double ChannelDoubleB(Integer ChannelIndex) const;

  /// Samples of one channel into Data, which has room for SampleCount of them: counts as Integer
  /// (rounded to nearest, ties to even, and held at the limits of 16 bits where the file has real
  /// numbers), values in units as Single and Double. Samples that a cut-off file lacks read as
  /// stored zeros. Gives the number delivered; throws std::system_error when the file can't be
  /// read.
  Long GetChannelInteger(Integer ChannelIndex, Long SampleStart, Long SampleCount, Integer* Data);
  Long GetChannelSingle(Integer ChannelIndex, Long SampleStart, Long SampleCount, Single* Data);
  Long GetChannelDouble(Integer ChannelIndex, Long SampleStart, Long SampleCount, Double* Data);

  /// The same for whole frames (Kadr): the sample of channel c in frame f, both from 0 here, comes
  /// to element f * ChannelCount() + c. Data has room for KadrCount frames.
  Long GetDataInteger(Long KadrStart, Long KadrCount, Integer* Data);
  Long GetDataSingle(Long KadrStart, Long KadrCount, Single* Data);
  Long GetDataDouble(Long KadrStart, Long KadrCount, Double* Data);

  /// The same, never writing past the span: delivers only as many samples, or whole frames, as it
  /// has room for.
  Long GetChannelInteger(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                         std::span<Integer> Data);
  Long GetChannelSingle(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                        std::span<Single> Data);
  Long GetChannelDouble(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                        std::span<Double> Data);
  Long GetDataInteger(Long KadrStart, Long KadrCount, std::span<Integer> Data);
  Long GetDataSingle(Long KadrStart, Long KadrCount, std::span<Single> Data);
  Long GetDataDouble(Long KadrStart, Long KadrCount, std::span<Double> Data);

  Long DataPtr() const;  // position of the first frame in the file, in bytes

  Long CommentCount() const;
  Long CommentPosition(Long CommentIndex) const;  // a sample position in the block
  String CommentText(Long CommentIndex) const;

  /// The same reads into an array that is dimensioned for the part of the range that lies in the
  /// block. It is left alone when that is empty; a wrong ChannelIndex gives zeros and the result 0.
  /// A damaged header can claim more samples than there is memory for: std::bad_alloc then.
  Long GetChannelIntegerArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                              std::vector<Integer>& DataArray);
  Long GetChannelSingleArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                             std::vector<Single>& DataArray);
  Long GetChannelDoubleArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                             std::vector<Double>& DataArray);
  Long GetDataIntegerArray(Long KadrStart, Long KadrCount, SampleTable<Integer>& DataArray);
  Long GetDataSingleArray(Long KadrStart, Long KadrCount, SampleTable<Single>& DataArray);
  Long GetDataDoubleArray(Long KadrStart, Long KadrCount, SampleTable<Double>& DataArray);

 private:
  friend class LMIFile;
  LMIBlock();
  const BlockRec& Record() const;
  const BlockRec* RecordWithChannel(Integer channelIndex) const;
  const ChannelRec* Channel(Integer channelIndex) const;
  template <class T>
  T Entry(const std::vector<T> BlockRec::*table, Integer channelIndex, T none) const;

  std::uint64_t thread_;
  Integer blockNumber_ = -1;  // from 0; -1 for an invalid object
};

}  // namespace lmimport
