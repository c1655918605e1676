// "lmi info": what a recording is, as a table or as JSON.
#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;
using nlohmann::ordered_json;

constexpr Long ShownFrames = 4;
constexpr Long ShownComments = 20;

struct Channel {
  Integer Index;
  std::string Title;
  std::string Unit;
  Double Factor;
  Double Offset;
  Double Lowest;  // of the values that 16-bit counts stand for
  Double Highest;
  std::vector<Double> First;
};

Channel DescribeChannel(LMIBlock& block, Integer index) {
  Channel channel{};
  channel.Index = index;
  channel.Title = OneLine(block.ChannelTitle(index));
  channel.Unit = OneLine(block.ChannelUnitName(index));
  channel.Factor = block.ChannelDoubleA(index);
  channel.Offset = block.ChannelDoubleB(index);
  const Double smallest = INT16_MIN * channel.Factor + channel.Offset;
  const Double largest = INT16_MAX * channel.Factor + channel.Offset;
  channel.Lowest = std::min(smallest, largest);
  channel.Highest = std::max(smallest, largest);
  block.GetChannelDoubleArray(index, 1, ShownFrames, channel.First);
  return channel;
}

void PrintChannels(LMIBlock& block) {
  constexpr auto row = "  {:>3}  {:<{}}  {:<{}}  {:>12}  {:>12}  {:>24}  {}\n";
  std::vector<Channel> channels;
  std::size_t titleWidth = 5;
  std::size_t unitWidth = 4;
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    const Channel& channel = channels.emplace_back(DescribeChannel(block, i));
    titleWidth = std::max(titleWidth, channel.Title.size());
    unitWidth = std::max(unitWidth, channel.Unit.size());
  }
  fmt::print(row, "#", "Title", titleWidth, "Unit", unitWidth, "Factor", "Offset", "Range",
             "First values");
  for (const Channel& channel : channels) {
    std::string first;
    for (const Double value : channel.First) first += fmt::format(" {:10.6g}", value);
    fmt::print(row, channel.Index, channel.Title, titleWidth, channel.Unit, unitWidth,
               fmt::format("{:.7g}", channel.Factor), fmt::format("{:.7g}", channel.Offset),
               fmt::format("{:.5g} .. {:.5g}", channel.Lowest, channel.Highest), first);
  }
}

void PrintComments(const LMIBlock& block) {
  const Long count = block.CommentCount();
  if (count == 0) return;
  fmt::print("  {:>3}  {:>10}  {:>12}  {}\n", "#", "Frame", "Time", "Comment");
  for (Long i = 1; i <= std::min(count, ShownComments); ++i) {
    const Long position = block.CommentPosition(i);
    fmt::print("  {:>3}  {:>10}  {:>12}  {}\n", i, position,
               fmt::format("{:.3f} s", (position - 1.0) / block.SamplingRate()),
               OneLine(block.CommentText(i)));
  }
  if (count > ShownComments)
    fmt::print("       {} more comments (--json lists all)\n", count - ShownComments);
}

void PrintText(std::string_view label, const String& text) {
  const std::string line = OneLine(text);
  if (!line.empty()) fmt::print("  {:<10}{}\n", label, line);
}

void PrintBlock(LMIBlock& block) {
  fmt::print("\nBlock {}\n", block.BlockIndex());
  PrintText("Device", block.ADCName());
  PrintText("Title", block.Title());
  PrintText("Notes", block.Notes());
  PrintText("Data pad", block.DataPad());
  const std::string start = DateText(block.StartDateTime(), ' ');
  fmt::print("  {:<10}{}\n", "Start", start.empty() ? "not stated" : start);
  fmt::print("  {:<10}{} Hz\n", "Rate", static_cast<Single>(block.SamplingRate()));
  fmt::print("  {:<10}{} frames, {:.3f} s\n", "Length", block.SizeChannel(),
             block.SizeChannel() / block.SamplingRate());
  fmt::print("  {:<10}{}\n\n", "Channels", block.ChannelCount());
  PrintChannels(block);
  if (block.CommentCount() > 0) fmt::print("\n");
  PrintComments(block);
}

void PrintFindings() {
  const std::vector<Finding> findings = Findings();
  if (!findings.empty()) fmt::print("\nFindings\n");
  for (const Finding& finding : findings)
    fmt::print("  {} {}, at byte {}: {}\n", finding.Warning ? "warning" : "note", finding.Code,
               finding.Position, OneLine(finding.Text));
}

void PrintFile(const LMImport& import, LMIFile& file) {
  fmt::print("{}\n", OneLine(file.FileTitle()));
  PrintText("File", file.FileName());
  fmt::print("  {:<10}{} (type {}, variant {})\n", "Format",
             ToUtf8(import.FilterTitle(file.FileType())), file.FileType(), file.FileSubType());
  PrintText("Notes", file.Notes());
  PrintText("Data pad", file.DataPad());
  fmt::print("  {:<10}{}\n", "Blocks", file.BlockCount());
  for (Integer i = 1; i <= file.BlockCount(); ++i) PrintBlock(*file.Block(i));
}

ordered_json FindingsToJson() {
  ordered_json list = ordered_json::array();
  for (const Finding& finding : Findings())
    list.push_back({{"Warning", finding.Warning},
                    {"Code", finding.Code},
                    {"Position", finding.Position},
                    {"Text", ToUtf8(finding.Text)}});
  return list;
}

ordered_json BlockToJson(LMIBlock& block) {
  ordered_json channels = ordered_json::array();
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    const Channel channel = DescribeChannel(block, i);
    channels.push_back({{"ChannelIndex", i},
                        {"ChannelGlobalIndex", block.ChannelGlobalIndex(i)},
                        {"ChannelTitle", ToUtf8(block.ChannelTitle(i))},
                        {"ChannelUnitName", ToUtf8(block.ChannelUnitName(i))},
                        {"ChannelDoubleA", channel.Factor},
                        {"ChannelDoubleB", channel.Offset},
                        {"Range", {channel.Lowest, channel.Highest}},
                        {"First", channel.First}});
  }
  ordered_json comments = ordered_json::array();
  for (Long i = 1; i <= block.CommentCount(); ++i)
    comments.push_back({{"CommentPosition", block.CommentPosition(i)},
                        {"CommentText", ToUtf8(block.CommentText(i))}});
  return {{"BlockIndex", block.BlockIndex()},
          {"ADCName", ToUtf8(block.ADCName())},
          {"Title", ToUtf8(block.Title())},
          {"Notes", ToUtf8(block.Notes())},
          {"DataPad", ToUtf8(block.DataPad())},
          {"StartDateTime", block.StartDateTime()},
          {"Start", DateText(block.StartDateTime(), 'T')},
          {"SamplingRate", block.SamplingRate()},
          {"SizeChannel", block.SizeChannel()},
          {"SizeData", block.SizeData()},
          {"DataPtr", block.DataPtr()},
          {"ChannelCount", block.ChannelCount()},
          {"Channels", std::move(channels)},
          {"CommentCount", block.CommentCount()},
          {"Comments", std::move(comments)}};
}

ordered_json FileToJson(LMIFile& file) {
  ordered_json blocks = ordered_json::array();
  for (Integer i = 1; i <= file.BlockCount(); ++i) blocks.push_back(BlockToJson(*file.Block(i)));
  return {{"FileName", ToUtf8(file.FileName())}, {"FileTitle", ToUtf8(file.FileTitle())},
          {"FileType", file.FileType()},         {"FileSubType", file.FileSubType()},
          {"Notes", ToUtf8(file.Notes())},       {"DataPad", ToUtf8(file.DataPad())},
          {"BlockCount", file.BlockCount()},     {"Blocks", std::move(blocks)}};
}

// One file, to the end of its description or to the failure that ends it; "" or the failure.
std::string DescribeFile(LMImport& import, const std::string& name, const InfoOptions& options,
                         ordered_json& description) {
  try {
    LMIFilePtr file;
    if (!import.OpenFile(FromUtf8(name), file)) return ToUtf8(import.ErrorString());
    if (options.Json) {
      description = FileToJson(*file);
    } else {
      PrintFile(import, *file);
      PrintFindings();
    }
    return {};
  } catch (const std::exception& fault) {
    return fault.what();
  }
}

}  // namespace

int Info(LMImport& import, const InfoOptions& options) {
  int status = 0;
  ordered_json all = ordered_json::array();
  for (const std::string& name : options.Files) {
    ordered_json description;
    const std::string failure = DescribeFile(import, name, options, description);
    if (!failure.empty()) {
      description = {{"FileName", name}, {"ErrorString", failure}};
      std::fflush(stdout);
      PrintFailure(name, failure);
      if (!options.Json) PrintFindings();
      status = 1;
    }
    if (options.Json) {
      description["Findings"] = FindingsToJson();
      all.push_back(std::move(description));
    } else if (&name != &options.Files.back()) {
      fmt::print("\n");
    }
  }
  // Bytes of a name that are no UTF-8 must not end the output.
  constexpr auto replacing = ordered_json::error_handler_t::replace;
  if (options.Json) fmt::print("{}\n", all.dump(2, ' ', false, replacing));
  return status;
}

}  // namespace lmi
