#include "model/Opening.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace lmimport {

void BlockRec::DimensionChannels(Integer count) {
  const auto size = static_cast<std::size_t>(count);
  ChannelCount = count;
  ChannelIndex.resize(size);
  std::iota(ChannelIndex.begin(), ChannelIndex.end(), Integer{0});
  ChannelScale.assign(size, 0);
  ChannelOffset.assign(size, 0);
}

void BlockRec::SetColumns() {
  const std::int64_t column = std::int64_t{SizeChannel} * SampleWidth(SampleType);
  Lanes.RecordFrames = SizeChannel;
  Lanes.RecordBytes = column * ChannelCount;
  for (std::int64_t c = 0; c < ChannelCount; ++c) Lanes.Starts.push_back(c * column);
}

void BlockRec::FillFrom(std::int64_t bytes) {
  SizeChannel = HeldAsLong(std::max<std::int64_t>(bytes, 0) / FrameBytes());
}

void BlockRec::Calibrate(std::size_t channel, Double factor, Double offset) {
  Factor.resize(ChannelScale.size(), 1);
  Offset.resize(ChannelScale.size());
  Factor[channel] = factor;
  Offset[channel] = offset;
  ChannelScale[channel] = static_cast<Single>(1 / factor);
  ChannelOffset[channel] = static_cast<Single>(offset);
}

std::int64_t BlockRec::FramesIn(std::int64_t size) const {
  const std::int64_t there = std::max<std::int64_t>(0, size - DataPtr);
  if (Lanes.Starts.empty()) return std::min<std::int64_t>(SizeChannel, there / FrameBytes());
  const std::int64_t width = SampleWidth(SampleType);
  const std::int64_t last = std::ranges::max(Lanes.Starts);
  const std::int64_t records = Lanes.RecordBytes > 0 ? there / Lanes.RecordBytes : 0;
  const std::int64_t ofLast = (there - records * Lanes.RecordBytes - last) / width;
  return std::min<std::int64_t>(
      SizeChannel,
      records * Lanes.RecordFrames + std::clamp<std::int64_t>(ofLast, 0, Lanes.RecordFrames));
}

String BlockRec::TextOf(const CommentRec& comment) const {
  if (comment.TextStart < 0) return comment.Text;
  return SharedTexts.c_str() + comment.TextStart;
}

Single Narrowed(Double value, std::string_view field, std::int64_t position) {
  const auto narrowed = static_cast<Single>(value);
  if (std::isinf(narrowed) && std::isfinite(value))
    Refuse(Refusal::RangeFault, "number-too-large", position, field, " of ", value,
           " is too large for a Single");
  return narrowed;
}

void Opening::AddField(const Place& place, std::string_view name, std::string value,
                       std::string_view meaning) {
  constexpr std::int64_t fewest = 256, bytesOfField = 16;
  if (std::ssize(Store.Fields) >= fewest + Store.FileSize / bytesOfField) return;
  const std::int64_t position = place.Position < Store.FileSize ? place.Position : -1;
  Store.Fields.push_back({std::string(name), position, std::move(value), std::string(meaning),
                          place.Block, place.Channel});
}

void Opening::NeedBytes(std::int64_t size, std::string_view what, Refusal why) const {
  const std::int64_t there = Store.FileSize;
  if (there < size)
    Refuse(why, why == Refusal::NoData ? "no-data" : "not-of-format", there,
           "The file ends at byte ", there, ", and ", what, " needs ", size, ".");
}

void Opening::CheckNumbers(const BlockRec& block) {
  if (!std::isfinite(block.SamplingRate))
    RefuseAsDamaged(-1, "The header states no rate that is a number.");
  const auto nan = std::ranges::find_if(block.ChannelScale, [](Single s) { return std::isnan(s); });
  if (nan != block.ChannelScale.end())
    RefuseAsDamaged(-1, "The scale of channel ", nan - block.ChannelScale.begin() + 1,
                    " is not a number.");
}

void Opening::AddComment(Double time, Double duration, String text) {
  std::vector<BlockRec>& blocks = Store.Blocks;
  const auto startOf = [](const BlockRec& block) {
    return std::isnan(block.StartTime) ? 0 : block.StartTime;
  };
  const auto after = std::ranges::upper_bound(blocks, time, {}, startOf);
  auto block = blocks.begin();
  if (after != blocks.begin())
    block = std::ranges::lower_bound(blocks, startOf(*std::prev(after)), {}, startOf);
  const Double frame = std::nearbyint((time - startOf(*block)) * block->ExactRate());
  const Double held = std::isnan(frame) ? 0 : std::clamp<Double>(frame, INT32_MIN, INT32_MAX - 1);
  CommentRec& comment = block->Comments.emplace_back();
  comment.Position = static_cast<Long>(held) + 1;
  comment.Text = std::move(text);
  comment.Time = time;
  comment.Duration = duration;
  block->CommentCount = HeldAsLong(std::ssize(block->Comments));
}

Date Opening::DateOfFile() {
  constexpr std::string_view code = "start-of-file";
  const Date date = Rules.DatesByFile ? DataFile.FileDateTime() : 0;
  if (date != 0 && std::ranges::count(Store.Found, code, &Finding::Code) == 0)
    Note(code, -1, "The file states no start: its own date is shown, that of its last write.");
  return date;
}

void Opening::DoOrDefer(Later kind, std::function<void(Opening&)> work) {
  if (Rules.AllAtOnce)
    work(*this);
  else
    Store.Works[static_cast<std::size_t>(kind)] = std::move(work);
}

void Opening::FinishFile(Long signature, Integer versionMajor, Integer versionMinor,
                         Long fileSubType) {
  Store.FileSubType = fileSubType;
  std::int64_t total = 0;
  for (const BlockRec& block : Store.Blocks) total += block.SizeChannel;
  FileRec& file = Store.FileRec;
  file.Signature = signature;
  file.VersionMajor = versionMajor;
  file.VersionMinor = versionMinor;
  file.FileSamplingRate = Store.Blocks.front().SamplingRate;
  file.ChannelCount = Store.Blocks.front().ChannelCount;
  file.TotalSamples = HeldAsLong(total);
  file.BlockCount = static_cast<Integer>(Store.Blocks.size());
  file.CurrentBlock = 0;
}

}  // namespace lmimport
