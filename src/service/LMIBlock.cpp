#include <lmimport/LMIBlock.h>

#include <algorithm>
#include <limits>

#include "extract/ChannelReads.h"
#include "extract/ClampRange.h"
#include "extract/FrameReads.h"
#include "service/ImportState.h"

namespace lmimport {
namespace {

const ByteSource& OpenDataFile() {
  return *CurrentState().Store->DataFile;
}

// An invalid block has no channel.
template <class T>
Long Samples(const BlockRec& block, Integer channelIndex, Long start, Long count, T* data) {
  if (block.ChannelCount == 0) return 0;
  const auto channel = static_cast<Integer>(channelIndex - 1);
  return ReadChannel(OpenDataFile(), block, channel, data, start, count);
}

template <class T>
Long Samples(const BlockRec& block, Integer channelIndex, Long start, Long count,
             std::span<T> data) {
  if (!ClampRange(block, start, count)) return 0;
  const auto room = HeldAsLong(std::ssize(data));
  return Samples(block, channelIndex, start, std::min(count, room), data.data());
}

template <class T>
Long Samples(const BlockRec& block, Integer channelIndex, Long start, Long count,
             std::vector<T>& data) {
  if (!ClampRange(block, start, count)) return 0;
  data.assign(static_cast<std::size_t>(count), T{});
  return Samples(block, channelIndex, start, count, data.data());
}

template <class T>
Long FrameSamples(const BlockRec& block, Long start, Long count, T* data) {
  return block.ChannelCount == 0 ? 0 : ReadFrames(OpenDataFile(), block, data, start, count);
}

template <class T>
Long FrameSamples(const BlockRec& block, Long start, Long count, std::span<T> data) {
  if (!ClampRange(block, start, count)) return 0;
  const std::int64_t room = std::ssize(data) / block.ChannelCount;
  return FrameSamples(block, start, std::min(count, HeldAsLong(room)), data.data());
}

template <class T>
Long FrameSamples(const BlockRec& block, Long start, Long count, SampleTable<T>& data) {
  if (!ClampRange(block, start, count)) return 0;
  data.Dimension(block.ChannelCount, count);
  return FrameSamples(block, start, count, data.Values().data());
}

}  // namespace

LMIBlock::LMIBlock() : thread_(CurrentState().ThreadNumber) {}

// An invalid object has the record of a block of nothing.
const BlockRec& LMIBlock::Record() const {
  static const BlockRec none;
  const ImportState& state = StateOf(thread_);
  return blockNumber_ < 0 ? none : state.Store->Blocks[static_cast<std::size_t>(blockNumber_)];
}

const BlockRec* LMIBlock::RecordWithChannel(Integer channelIndex) const {
  const BlockRec& block = Record();
  return channelIndex >= 1 && channelIndex <= block.ChannelCount ? &block : nullptr;
}

const ChannelRec* LMIBlock::Channel(Integer channelIndex) const {
  const BlockRec* block = RecordWithChannel(channelIndex);
  if (block == nullptr) return nullptr;
  return &CurrentState().Store->ChannelOf(*block, static_cast<std::size_t>(channelIndex - 1));
}

// Of the tables of a block; 0 for a channel that it hasn't.
template <class T>
T LMIBlock::Entry(const std::vector<T> BlockRec::*table, Integer channelIndex, T none) const {
  const BlockRec* block = RecordWithChannel(channelIndex);
  return block != nullptr ? (block->*table)[static_cast<std::size_t>(channelIndex - 1)] : none;
}

Integer LMIBlock::BlockIndex() const {
  StateOf(thread_);
  return static_cast<Integer>(blockNumber_ + 1);
}

String LMIBlock::ADCName() const {
  return TrimBlanks(Record().ADCName);
}

String LMIBlock::Title() const {
  return TrimBlanks(Record().Title);
}

String LMIBlock::Notes() const {
  return Record().Notes;
}

String LMIBlock::DataPad() const {
  return Record().DataPad;
}

Date LMIBlock::StartDateTime() const {
  return Record().StartDateTime;
}

Double LMIBlock::SamplingRate() const {
  return Record().ExactRate();
}

Long LMIBlock::SizeChannel() const {
  return Record().SizeChannel;
}

Long LMIBlock::SizeData() const {
  return HeldAsLong(std::int64_t{Record().SizeChannel} * Record().ChannelCount);
}

Integer LMIBlock::ChannelCount() const {
  return Record().ChannelCount;
}

Integer LMIBlock::ChannelGlobalIndex(Integer ChannelIndex) const {
  return static_cast<Integer>(Entry(&BlockRec::ChannelIndex, ChannelIndex, Integer{-1}) + 1);
}

String LMIBlock::ChannelTitle(Integer ChannelIndex) const {
  const ChannelRec* channel = Channel(ChannelIndex);
  return channel != nullptr ? TrimBlanks(channel->ChannelTitle) : String();
}

String LMIBlock::ChannelUnitName(Integer ChannelIndex) const {
  const ChannelRec* channel = Channel(ChannelIndex);
  return channel != nullptr ? TrimBlanks(channel->ChannelUnitName) : String();
}

Single LMIBlock::ChannelSingleA(Integer ChannelIndex) const {
  return 1 / Entry(&BlockRec::ChannelScale, ChannelIndex, std::numeric_limits<Single>::infinity());
}

Single LMIBlock::ChannelSingleB(Integer ChannelIndex) const {
  return Entry(&BlockRec::ChannelOffset, ChannelIndex, Single{0});
}

Double LMIBlock::ChannelDoubleA(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? block->FactorOf(static_cast<std::size_t>(ChannelIndex - 1)) : 0;
}

Double LMIBlock::ChannelDoubleB(Integer ChannelIndex) const {
  const BlockRec* block = RecordWithChannel(ChannelIndex);
  return block != nullptr ? block->OffsetOf(static_cast<std::size_t>(ChannelIndex - 1)) : 0;
}

Long LMIBlock::DataPtr() const {
  return HeldAsLong(Record().DataPtr);
}

Long LMIBlock::CommentCount() const {
  return Record().CommentCount;
}

Long LMIBlock::CommentPosition(Long CommentIndex) const {
  const BlockRec& block = Record();
  if (CommentIndex < 1 || CommentIndex > block.CommentCount) return 0;
  const auto index = static_cast<std::size_t>(CommentIndex - 1);
  if (index < block.Comments.size()) return block.Comments[index].Position;
  const auto repeats = static_cast<std::int64_t>(index + 1 - block.Comments.size());
  return HeldAsLong(block.Comments.back().Position + repeats * block.RepeatedCommentStep);
}

String LMIBlock::CommentText(Long CommentIndex) const {
  const BlockRec& block = Record();
  if (CommentIndex < 1 || CommentIndex > block.CommentCount) return {};
  const auto index = static_cast<std::size_t>(CommentIndex - 1);
  return block.TextOf(block.Comments[std::min(index, block.Comments.size() - 1)]);
}

// The reads of one type of sample, which bears its name in all of them.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define LMIMPORT_READS_OF(Type)                                                                    \
  Long LMIBlock::GetChannel##Type(Integer ChannelIndex, Long SampleStart, Long SampleCount,        \
                                  Type* Data) {                                                    \
    return Samples(Record(), ChannelIndex, SampleStart, SampleCount, Data);                        \
  }                                                                                                \
  Long LMIBlock::GetChannel##Type(Integer ChannelIndex, Long SampleStart, Long SampleCount,        \
                                  std::span<Type> Data) {                                          \
    return Samples(Record(), ChannelIndex, SampleStart, SampleCount, Data);                        \
  }                                                                                                \
  Long LMIBlock::GetChannel##Type##Array(Integer ChannelIndex, Long SampleStart, Long SampleCount, \
                                         std::vector<Type>& DataArray) {                           \
    return Samples(Record(), ChannelIndex, SampleStart, SampleCount, DataArray);                   \
  }                                                                                                \
  Long LMIBlock::GetData##Type(Long KadrStart, Long KadrCount, Type* Data) {                       \
    return FrameSamples(Record(), KadrStart, KadrCount, Data);                                     \
  }                                                                                                \
  Long LMIBlock::GetData##Type(Long KadrStart, Long KadrCount, std::span<Type> Data) {             \
    return FrameSamples(Record(), KadrStart, KadrCount, Data);                                     \
  }                                                                                                \
  Long LMIBlock::GetData##Type##Array(Long KadrStart, Long KadrCount,                              \
                                      SampleTable<Type>& DataArray) {                              \
    return FrameSamples(Record(), KadrStart, KadrCount, DataArray);                                \
  }
LMIMPORT_READS_OF(Integer)
LMIMPORT_READS_OF(Single)
LMIMPORT_READS_OF(Double)
#undef LMIMPORT_READS_OF
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace lmimport
