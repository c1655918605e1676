// "lmi info": what a recording is, as a table or as JSON.
#include <algorithm>

#include "Commands.h"
#include "Output.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;
using nlohmann::ordered_json;

constexpr Long ShownFrames = 4;
constexpr Long ShownComments = 20;
constexpr std::size_t LongestTitle = 40;  // in the table

struct Channel {
  Double Factor;
  Double Offset;
  Double Lowest;  // of the values that 16-bit counts stand for
  Double Highest;
  std::vector<Double> First;
};

Channel DescribeChannel(LMIBlock& block, Integer index) {
  Channel channel{};
  channel.Factor = block.ChannelDoubleA(index);
  channel.Offset = block.ChannelDoubleB(index);
  const Double smallest = INT16_MIN * channel.Factor + channel.Offset;
  const Double largest = INT16_MAX * channel.Factor + channel.Offset;
  channel.Lowest = std::min(smallest, largest);
  channel.Highest = std::max(smallest, largest);
  block.GetChannelDoubleArray(index, 1, ShownFrames, channel.First);
  return channel;
}

std::string Shortened(const String& text) {
  return OneLine(text.size() <= LongestTitle ? text : text.substr(0, LongestTitle - 3) + u"...");
}

void PrintChannels(LMIBlock& block) {
  std::size_t titleWidth = 5;
  std::size_t unitWidth = 4;
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    titleWidth = std::max(titleWidth, std::min(LongestTitle, block.ChannelTitle(i).size()));
    unitWidth = std::max(unitWidth, std::min(LongestTitle, block.ChannelUnitName(i).size()));
  }
  const auto row = [&](const auto& number, const std::string& title, const std::string& unit,
                       const std::string& factor, const std::string& offset,
                       const std::string& range, const std::string& first) {
    Print("  {:>3}  {:<{}}  {:<{}}  {:>12}  {:>12}  {:>24}  {}\n", number, title, titleWidth, unit,
          unitWidth, factor, offset, range, first);
  };
  row("#", "Title", "Unit", "Factor", "Offset", "Range", "First values");
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    const Channel channel = DescribeChannel(block, i);
    std::string first;
    for (const Double value : channel.First) first += fmt::format(" {:10.6g}", value);
    row(i, Shortened(block.ChannelTitle(i)), Shortened(block.ChannelUnitName(i)),
        fmt::format("{:.7g}", channel.Factor), fmt::format("{:.7g}", channel.Offset),
        fmt::format("{:.5g} .. {:.5g}", channel.Lowest, channel.Highest), first);
  }
}

void PrintComments(const LMIBlock& block) {
  const Long count = block.CommentCount();
  if (count == 0) return;
  Print("  {:>3}  {:>10}  {:>12}  {}\n", "#", "Frame", "Time", "Comment");
  for (Long i = 1; i <= std::min(count, ShownComments); ++i) {
    const Long position = block.CommentPosition(i);
    Print("  {:>3}  {:>10}  {:>12}  {}\n", i, position,
          SecondsText(position - 1.0, block.SamplingRate()), OneLine(block.CommentText(i)));
  }
  if (count > ShownComments)
    Print("       {} more comments (--json lists all)\n", count - ShownComments);
}

void PrintText(std::string_view label, const String& text) {
  const std::string line = OneLine(text);
  if (!line.empty()) Print("  {:<10}{}\n", label, line);
}

void PrintBlock(LMIBlock& block) {
  Print("\nBlock {}\n", block.BlockIndex());
  PrintText("Device", block.ADCName());
  PrintText("Title", block.Title());
  PrintText("Notes", block.Notes());
  PrintText("Data pad", block.DataPad());
  const std::string start = DateText(block.StartDateTime(), ' ');
  Print("  {:<10}{}\n", "Start", start.empty() ? "not stated" : start);
  Print("  {:<10}{} Hz\n", "Rate", static_cast<Single>(block.SamplingRate()));
  Print("  {:<10}{} frames, {}\n", "Length", block.SizeChannel(),
        SecondsText(block.SizeChannel(), block.SamplingRate()));
  Print("  {:<10}{}\n\n", "Channels", block.ChannelCount());
  PrintChannels(block);
  if (block.CommentCount() > 0) Print("\n");
  PrintComments(block);
}

void PrintFindings() {
  const std::vector<Finding> findings = Findings();
  if (!findings.empty()) Print("\nFindings\n");
  for (const Finding& finding : findings) Print("  {}\n", FindingText(finding));
}

// The ending of the file that described the samples, by the variants of the formats that have one;
// empty: none did. Null where the format needs none.
const char* Sidecar(LMIFile& file) {
  const auto variant = std::pair(file.FileType(), file.FileSubType());
  if (variant == std::pair(3, 1)) return ".par";
  if (variant == std::pair(3, 2)) return ".rvp";
  if (variant == std::pair(2, 2)) return "_binheader.txt";
  if (variant == std::pair(4, 1)) return "_wavheader.txt";
  if (variant == std::pair(3, 0) && file.Block(1)->ADCName() == u"DAT") return "";
  return nullptr;
}

void PrintSidecar(LMIFile& file) {
  const char* sidecar = Sidecar(file);
  if (sidecar == nullptr) return;
  const String name = file.FileTitle();
  Print("  {:<10}", "Described");
  if (*sidecar == '\0') {
    Print("by nothing: raw 16-bit data, channels: {}, at {} Hz by default (--channels, --rate)\n",
          file.Block(1)->ChannelCount(), static_cast<Single>(file.Block(1)->SamplingRate()));
  } else {
    Print("by {}{}\n", OneLine(name.substr(0, name.size() - std::min<std::size_t>(name.size(), 4))),
          sidecar);
  }
}

void PrintFile(const LMImport& import, LMIFile& file) {
  Print("{}\n", OneLine(file.FileTitle()));
  PrintText("File", file.FileName());
  Print("  {:<10}{} (type {}, variant {})\n", "Format", ToUtf8(import.FilterTitle(file.FileType())),
        file.FileType(), file.FileSubType());
  PrintSidecar(file);
  PrintText("Notes", file.Notes());
  PrintText("Data pad", file.DataPad());
  Print("  {:<10}{}\n", "Blocks", file.BlockCount());
  for (Long i = 1; i <= file.BlockCount(); ++i) PrintBlock(*file.Block(static_cast<Integer>(i)));
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
          {"CommentCount", block.CommentCount()}};
}

// An object without its closing brace, for what is written behind it piece by piece.
std::string OpenObject(const ordered_json& object) {
  std::string text = JsonText(object);
  text.pop_back();
  return text;
}

// Comments go out one by one: a file can hold millions.
void PrintBlockJson(LMIBlock& block) {
  Print("{}, \"Comments\": [", OpenObject(BlockToJson(block)));
  for (Long i = 1; i <= block.CommentCount(); ++i) {
    const ordered_json comment = {{"CommentPosition", block.CommentPosition(i)},
                                  {"CommentText", ToUtf8(block.CommentText(i))}};
    Print("{}{}", i > 1 ? ",\n" : "\n", JsonText(comment));
  }
  Print("]}}");
}

// A fault of the recording ends its list of blocks and is given.
std::string PrintBlocksJson(LMIFile& file) {
  Print(", \"Blocks\": [");
  std::string failure;
  try {
    for (Long i = 1; i <= file.BlockCount(); ++i) {
      Print("{}", i > 1 ? ",\n" : "\n");
      PrintBlockJson(*file.Block(static_cast<Integer>(i)));
    }
  } catch (const std::exception& fault) {
    failure = fault.what();
    Print("null");
  }
  Print("]");
  return failure;
}

// One file, opened, as an object; "" or the failure.
std::string PrintFileJson(LMIFile& file) {
  const ordered_json head = {
      {"FileName", ToUtf8(file.FileName())}, {"FileTitle", ToUtf8(file.FileTitle())},
      {"FileType", file.FileType()},         {"FileSubType", file.FileSubType()},
      {"Notes", ToUtf8(file.Notes())},       {"DataPad", ToUtf8(file.DataPad())},
      {"BlockCount", file.BlockCount()}};
  Print("{}", OpenObject(head));
  return PrintBlocksJson(file);
}

// The same as a table.
std::string PrintFileTable(const LMImport& import, LMIFile& file) {
  try {
    PrintFile(import, file);
    return {};
  } catch (const std::exception& fault) {
    return fault.what();
  }
}

void InfoOfFile(LMImport& import, const std::string& name, bool json, std::string& failure) {
  const LMIFilePtr file = OpenOrExplain(import, name, failure);
  if (json && file) {
    failure = PrintFileJson(*file);
  } else if (json) {
    Print("{}", OpenObject({{"FileName", name}}));
  } else if (file) {
    failure = PrintFileTable(import, *file);
  } else {
    Print("{}\n", OneLine(FromUtf8(name)));
  }
  if (!json && !failure.empty()) Print("  {:<10}{}\n", "Failed", OneLine(FromUtf8(failure)));
  if (!json) return PrintFindings();
  if (!failure.empty()) Print(", \"ErrorString\": {}", JsonText(failure));
  Print(", \"Findings\": {}}}", JsonText(FindingsToJson()));
}

}  // namespace

int Info(LMImport& import, const InfoOptions& options) {
  int status = 0;
  if (options.Json) Print("[\n");
  for (const std::string& name : options.Files) {
    if (&name != &options.Files.front()) Print("{}", options.Json ? ",\n" : "\n");
    std::string failure;
    InfoOfFile(import, name, options.Json, failure);
    if (failure.empty()) continue;
    Flush();
    PrintFailure(name, failure);
    status = 1;
  }
  if (options.Json) Print("\n]\n");
  Flush();
  return status;
}

}  // namespace lmi
