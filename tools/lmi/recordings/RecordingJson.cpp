#include "recordings/RecordingJson.h"

#include <algorithm>
#include <cmath>

#include "output/Interrupt.h"
#include "output/Json.h"
#include "output/Output.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;
using nlohmann::ordered_json;

constexpr std::size_t ShownFrames = 4;
constexpr double SecondsOfDay = 86400;

ordered_json ToJson(const Extremes& extremes) {
  return {JsonNumber(extremes.Smallest), JsonNumber(extremes.Largest)};
}

ordered_json ChannelToJson(const Recording& recording, std::size_t number, std::size_t c,
                           bool scan) {
  const Block& block = recording.Blocks()[number];
  const Channel& channel = block.Channels[c];
  ordered_json first = ordered_json::array();
  for (const double value : FirstValues(recording, number, c)) first.push_back(JsonNumber(value));
  ordered_json object = {
      {"ChannelIndex", c + 1},
      {"ChannelGlobalIndex", channel.Number},
      {"ChannelTitle", channel.Title},
      {"ChannelUnitName", channel.Unit},
      {"ChannelDoubleA", JsonNumber(channel.Factor)},
      {"ChannelDoubleB", JsonNumber(channel.Offset)},
      {"Range", block.RealSamples ? ordered_json() : ToJson(RangeOf(block, channel))},
      {"First", std::move(first)}};
  if (scan) object["Extremes"] = ToJson(ScannedExtremes(recording, number, c));
  return object;
}

ordered_json BlockToJson(const Recording& recording, std::size_t number, std::size_t comments,
                         bool scan) {
  const Block& block = recording.Blocks()[number];
  ordered_json channels = ordered_json::array();
  for (std::size_t c = 0; c < block.Channels.size(); ++c)
    channels.push_back(ChannelToJson(recording, number, c, scan));
  const std::optional<Date> start = StartOf(recording, number);
  return {{"BlockIndex", number + 1},
          {"ADCName", block.Device},
          {"Title", block.Title},
          {"Notes", block.Notes},
          {"StartDateTime", start ? ordered_json(*start) : ordered_json()},
          {"Start", DateText(start.value_or(0), 'T')},
          {"StartTime", JsonNumber(block.StartTime)},
          {"SamplingRate", JsonNumber(block.SamplingRate)},
          {"SampleBits", block.SampleBits},
          {"RealSamples", block.RealSamples},
          {"SizeChannel", block.FrameCount},
          {"SizeData", block.FrameCount * std::ssize(block.Channels)},
          {"ChannelCount", block.Channels.size()},
          {"Channels", std::move(channels)},
          {"CommentCount", comments}};
}

// An object without its closing brace, for what is written after it piece by piece.
std::string OpenObject(const ordered_json& object) {
  std::string text = JsonText(object);
  text.pop_back();
  return text;
}

// Comments go out one by one: a file can hold millions.
void PrintBlock(const Recording& recording, std::size_t number,
                const std::vector<const Comment*>& comments, bool scan) {
  const Block& block = recording.Blocks()[number];
  Print("{}, \"Comments\": [", OpenObject(BlockToJson(recording, number, comments.size(), scan)));
  const char* between = "\n";
  for (const Comment* comment : comments) {
    ordered_json object = {{"CommentPosition", FrameOf(block, *comment) + 1},
                           {"CommentText", comment->Text},
                           {"Time", JsonNumber(comment->Time)}};
    if (!std::isnan(comment->Duration)) object["Duration"] = JsonNumber(comment->Duration);
    Print("{}{}", between, JsonText(object));
    between = ",\n";
  }
  Print("]}}");
}

}  // namespace

std::vector<std::vector<const Comment*>> CommentsByBlock(const Recording& recording) {
  std::vector<std::vector<const Comment*>> comments(recording.Blocks().size());
  for (const Comment& comment : recording.Comments())
    comments[comment.BlockIndex].push_back(&comment);
  return comments;
}

std::optional<Date> StartOf(const Recording& recording, std::size_t block) {
  const std::optional<Date> start = recording.Start();
  if (!start) return {};
  return *start + recording.Blocks()[block].StartTime / SecondsOfDay;
}

Extremes RangeOf(const Block& block, const Channel& channel) {
  const double highest = std::ldexp(1.0, block.CountBits - 1);
  const double one = -highest * channel.Factor + channel.Offset;
  const double other = (highest - 1) * channel.Factor + channel.Offset;
  return {std::min(one, other), std::max(one, other)};
}

std::vector<double> FirstValues(const Recording& recording, std::size_t block,
                                std::size_t channel) {
  std::vector<double> values(ShownFrames);
  const std::int64_t count = recording.Read(block, channel, 0, values);
  values.resize(static_cast<std::size_t>(count));
  return values;
}

Extremes ScannedExtremes(const Recording& recording, std::size_t block, std::size_t channel) {
  // In pieces, so that an interrupt is seen.
  constexpr std::int64_t pieceFrames = 1 << 22;
  const std::int64_t frames = recording.Blocks()[block].FrameCount;
  Extremes all{NAN, NAN};
  for (std::int64_t first = 0; first < frames && !IsInterrupted(); first += pieceFrames) {
    Extremes piece{NAN, NAN};
    recording.Overview(block, channel, first, std::min(pieceFrames, frames - first), {&piece, 1});
    all = {std::fmin(all.Smallest, piece.Smallest), std::fmax(all.Largest, piece.Largest)};
  }
  return all;
}

std::string PrintRecordingJson(const Recording& recording, bool scan) {
  const ordered_json head = {
      {"FileName", recording.Path().string()},  {"FileTitle", FileTitle(recording)},
      {"Format", recording.Format()},           {"FormatName", recording.FormatName()},
      {"Sidecar", recording.Sidecar()},         {"Notes", recording.Notes()},
      {"BlockCount", recording.Blocks().size()}};
  Print("{}, \"Blocks\": [", OpenObject(head));
  std::string failure;
  try {
    const auto comments = CommentsByBlock(recording);
    for (std::size_t i = 0; i < recording.Blocks().size(); ++i) {
      Print("{}", i > 0 ? ",\n" : "\n");
      PrintBlock(recording, i, comments[i], scan);
    }
  } catch (const std::exception& fault) {
    failure = fault.what();
    Print("null");
  }
  Print("]");
  return failure;
}

}  // namespace lmi
