#include <lmimport/LMIBlock.h>

#include <algorithm>

#include "extract/ChannelReads.h"
#include "extract/ClampRange.h"
#include "extract/FrameReads.h"
#include "model/ImportState.h"

namespace lmimport {
namespace {

BinaryFile& OpenDataFile() {
  return *CurrentState().DataFile;
}

template <class T>
using ChannelRoutine = Long (*)(BinaryFile&, const BlockRec&, Integer, T*, Long, Long);

template <class T>
using FrameRoutine = Long (*)(BinaryFile&, const BlockRec&, T*, Long, Long);

// A host's channel index, from 1, as a channel, from 0; out of range stays out of range.
Integer ChannelNumber(Integer channelIndex) {
  return static_cast<Integer>(channelIndex - 1);
}

template <class T>
Long ReadChannel(ChannelRoutine<T> read, const BlockRec* block, Integer channelIndex, Long start,
                 Long count, T* data) {
  if (block == nullptr) return 0;
  return read(OpenDataFile(), *block, ChannelNumber(channelIndex), data, start, count);
}

template <class T>
Long ReadChannel(ChannelRoutine<T> read, const BlockRec* block, Integer channelIndex, Long start,
                 Long count, std::span<T> data) {
  if (block == nullptr || !ClampRange(*block, start, count)) return 0;
  const auto room = HeldAsLong(static_cast<std::int64_t>(data.size()));
  return ReadChannel(read, block, channelIndex, start, std::min(count, room), data.data());
}

template <class T>
Long ReadChannel(ChannelRoutine<T> read, const BlockRec* block, Integer channelIndex, Long start,
                 Long count, std::vector<T>& data) {
  if (block == nullptr || !ClampRange(*block, start, count)) return 0;
  data.assign(static_cast<std::size_t>(count), T{});
  return ReadChannel(read, block, channelIndex, start, count, data.data());
}

template <class T>
Long ReadFrames(FrameRoutine<T> read, const BlockRec* block, Long start, Long count, T* data) {
  return block == nullptr ? 0 : read(OpenDataFile(), *block, data, start, count);
}

template <class T>
Long ReadFrames(FrameRoutine<T> read, const BlockRec* block, Long start, Long count,
                std::span<T> data) {
  if (block == nullptr || !ClampRange(*block, start, count)) return 0;
  const auto room = static_cast<std::int64_t>(data.size()) / block->ChannelCount;
  return ReadFrames(read, block, start, std::min(count, HeldAsLong(room)), data.data());
}

template <class T>
Long ReadFrames(FrameRoutine<T> read, const BlockRec* block, Long start, Long count,
                SampleTable<T>& data) {
  if (block == nullptr || !ClampRange(*block, start, count)) return 0;
  data = SampleTable<T>(block->ChannelCount, count);
  return ReadFrames(read, block, start, count, data.Values().data());
}

const ChannelRec& GlobalChannel(const BlockRec& block, Integer channelIndex) {
  const Integer number = block.ChannelIndex[static_cast<std::size_t>(channelIndex - 1)];
  return CurrentState().Channels[static_cast<std::size_t>(number)];
}

Single Scale(const BlockRec& block, Integer channelIndex) {
  return block.ChannelScale[static_cast<std::size_t>(channelIndex - 1)];
}

Single Offset(const BlockRec& block, Integer channelIndex) {
  return block.ChannelOffset[static_cast<std::size_t>(channelIndex - 1)];
}

}  // namespace

LMIBlock::LMIBlock() : thread_(CurrentState().ThreadNumber) {}

const BlockRec* LMIBlock::Record() const {
  const ImportState& state = StateOf(thread_);
  return blockNumber_ < 0 ? nullptr : &state.Blocks[static_cast<std::size_t>(blockNumber_)];
}

const BlockRec* LMIBlock::RecordWithChannel(Integer channelIndex) const {
  const BlockRec* block = Record();
  if (block == nullptr || channelIndex < 1 || channelIndex > block->ChannelCount) return nullptr;
  return block;
}

const BlockRec* LMIBlock::RecordWithComment(Long commentIndex) const {
  const BlockRec* block = Record();
  if (block == nullptr || commentIndex < 1 || commentIndex > block->CommentCount) return nullptr;
  return block;
}

Integer LMIBlock::BlockIndex() const {
  return Record() != nullptr ? static_cast<Integer>(blockNumber_ + 1) : Integer{0};
}

String LMIBlock::ADCName() const {
  const BlockRec* block = Record();
  return block != nullptr ? TrimBlanks(block->ADCName) : String();
}

String LMIBlock::Title() const {
  const BlockRec* block = Record();
  return block != nullptr ? TrimBlanks(block->Title) : String();
}

String LMIBlock::Notes() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->Notes : String();
}

String LMIBlock::DataPad() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->DataPad : String();
}

Date LMIBlock::StartDateTime() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->StartDateTime : 0;
}

Double LMIBlock::SamplingRate() const {
  const BlockRec* block = Record();
  return block != nullptr ? Double{block->SamplingRate} : 0;
}

Long LMIBlock::SizeChannel() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->SizeChannel : 0;
}

Long LMIBlock::SizeData() const {
  const BlockRec* block = Record();
  return block != nullptr ? HeldAsLong(std::int64_t{block->SizeChannel} * block->ChannelCount) : 0;
}

Integer LMIBlock::ChannelCount() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->ChannelCount : Integer{0};
}

Integer LMIBlock::ChannelGlobalIndex(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  if (block == nullptr) return 0;
  return static_cast<Integer>(block->ChannelIndex[static_cast<std::size_t>(ChannelIndex - 1)] + 1);
}

String LMIBlock::ChannelTitle(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? TrimBlanks(GlobalChannel(*block, ChannelIndex).ChannelTitle) : String();
}

String LMIBlock::ChannelUnitName(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? TrimBlanks(GlobalChannel(*block, ChannelIndex).ChannelUnitName)
                          : String();
}

Single LMIBlock::ChannelSingleA(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? 1 / Scale(*block, ChannelIndex) : 0;
}

Single LMIBlock::ChannelSingleB(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? Offset(*block, ChannelIndex) : 0;
}

Double LMIBlock::ChannelDoubleA(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? 1 / Double{Scale(*block, ChannelIndex)} : 0;
}

Double LMIBlock::ChannelDoubleB(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? Double{Offset(*block, ChannelIndex)} : 0;
}

Long LMIBlock::DataPtr() const {
  const BlockRec* block = Record();
  return block != nullptr ? HeldAsLong(block->DataPtr) : 0;
}

Long LMIBlock::CommentCount() const {
  const BlockRec* block = Record();
  return block != nullptr ? block->CommentCount : 0;
}

Long LMIBlock::CommentPosition(Long CommentIndex) const {
  const BlockRec* block = RecordWithComment(CommentIndex);
  if (block == nullptr) return 0;
  const auto index = static_cast<std::size_t>(CommentIndex - 1);
  if (index < block->Comments.size()) return block->Comments[index].Position;
  const auto repeats = static_cast<std::int64_t>(index + 1 - block->Comments.size());
  return HeldAsLong(block->Comments.back().Position + repeats * block->RepeatedCommentStep);
}

String LMIBlock::CommentText(Long CommentIndex) const {
  const BlockRec* block = RecordWithComment(CommentIndex);
  if (block == nullptr) return {};
  const auto index = static_cast<std::size_t>(CommentIndex - 1);
  return block->Comments[std::min(index, block->Comments.size() - 1)].Text;
}

Long LMIBlock::GetChannelInteger(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                 Integer* Data) {
  return ReadChannel(&ReadChannelInteger, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelInteger(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                 std::span<Integer> Data) {
  return ReadChannel(&ReadChannelInteger, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelIntegerArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                      std::vector<Integer>& DataArray) {
  return ReadChannel(&ReadChannelInteger, Record(), ChannelIndex, SampleStart, SampleCount,
                     DataArray);
}

Long LMIBlock::GetChannelSingle(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                Single* Data) {
  return ReadChannel(&ReadChannelSingle, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelSingle(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                std::span<Single> Data) {
  return ReadChannel(&ReadChannelSingle, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelSingleArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                     std::vector<Single>& DataArray) {
  return ReadChannel(&ReadChannelSingle, Record(), ChannelIndex, SampleStart, SampleCount,
                     DataArray);
}

Long LMIBlock::GetChannelDouble(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                Double* Data) {
  return ReadChannel(&ReadChannelDouble, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelDouble(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                std::span<Double> Data) {
  return ReadChannel(&ReadChannelDouble, Record(), ChannelIndex, SampleStart, SampleCount, Data);
}

Long LMIBlock::GetChannelDoubleArray(Integer ChannelIndex, Long SampleStart, Long SampleCount,
                                     std::vector<Double>& DataArray) {
  return ReadChannel(&ReadChannelDouble, Record(), ChannelIndex, SampleStart, SampleCount,
                     DataArray);
}

Long LMIBlock::GetDataInteger(Long KadrStart, Long KadrCount, Integer* Data) {
  return ReadFrames(&ReadFramesInteger, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataInteger(Long KadrStart, Long KadrCount, std::span<Integer> Data) {
  return ReadFrames(&ReadFramesInteger, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataIntegerArray(Long KadrStart, Long KadrCount,
                                   SampleTable<Integer>& DataArray) {
  return ReadFrames(&ReadFramesInteger, Record(), KadrStart, KadrCount, DataArray);
}

Long LMIBlock::GetDataSingle(Long KadrStart, Long KadrCount, Single* Data) {
  return ReadFrames(&ReadFramesSingle, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataSingle(Long KadrStart, Long KadrCount, std::span<Single> Data) {
  return ReadFrames(&ReadFramesSingle, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataSingleArray(Long KadrStart, Long KadrCount, SampleTable<Single>& DataArray) {
  return ReadFrames(&ReadFramesSingle, Record(), KadrStart, KadrCount, DataArray);
}

Long LMIBlock::GetDataDouble(Long KadrStart, Long KadrCount, Double* Data) {
  return ReadFrames(&ReadFramesDouble, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataDouble(Long KadrStart, Long KadrCount, std::span<Double> Data) {
  return ReadFrames(&ReadFramesDouble, Record(), KadrStart, KadrCount, Data);
}

Long LMIBlock::GetDataDoubleArray(Long KadrStart, Long KadrCount, SampleTable<Double>& DataArray) {
  return ReadFrames(&ReadFramesDouble, Record(), KadrStart, KadrCount, DataArray);
}

}  // namespace lmimport
