// NumPy arrays in an archive: for block 2 the samples as "block2", frames by channels, and what is
// known of it as "block2_rate" and so on; comments and the start for all of it.
#include <fmt/core.h>
#include <lmimport/Text.h>

#include <algorithm>

#include "export/ExportFormats.h"
#include "export/NumpyArray.h"
#include "export/ZipWriter.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t LongestText = 1024;  // characters: the longest sets the width of all

std::u32string CharactersOf(const std::string& utf8) {
  std::u32string characters;
  const String units = FromUtf8(utf8);
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char32_t unit = units[i];
    const bool pair =
        (unit & 0xfc00) == 0xd800 && i + 1 < units.size() && (units[i + 1] & 0xfc00) == 0xdc00;
    const bool alone = !pair && (unit & 0xf800) == 0xd800;  // no character
    characters += pair    ? 0x10000 + ((unit & 0x3ff) << 10) + (units[++i] & 0x3ffU)
                  : alone ? U'?'
                          : unit;
  }
  return characters;
}

class Archive {
 public:
  explicit Archive(ExportTask& task) : task_(task), zip_(task.File()) {}

  void AddBlock(const Part& part);
  void AddComments();
  void Add(const std::string& name, const std::string& text) { AddTexts(name, {text}, {}); }
  void Close() { zip_.Close(); }

 private:
  void Add(const std::string& name, double value) { AddNumbers<double>(name, {value}, {}); }
  void AddNote(const std::string& name, const std::string& text) {
    if (!text.empty()) Add(name, text);
  }
  template <class T>
  void AddNumbers(const std::string& name, const std::vector<T>& values, const NumpyShape& shape);
  void AddTexts(const std::string& name, const std::vector<std::string>& texts,
                const NumpyShape& shape);
  void BeginArray(const std::string& name, const std::string& header, std::int64_t bytes) {
    zip_.Begin(name + ".npy", std::ssize(header) + bytes);
    zip_.Write(header.data(), header.size());
  }

  ExportTask& task_;
  ZipWriter zip_;
};

template <class T>
void Archive::AddNumbers(const std::string& name, const std::vector<T>& values,
                         const NumpyShape& shape) {
  const auto bytes = static_cast<std::int64_t>(values.size() * sizeof(T));
  BeginArray(name, NumpyHeader(NumpyTypeOf(T()), shape), bytes);
  zip_.Write(values.data(), values.size() * sizeof(T));
  zip_.End();
}

void Archive::AddTexts(const std::string& name, const std::vector<std::string>& texts,
                       const NumpyShape& shape) {
  std::size_t width = 1;
  for (const std::string& text : texts) width = std::max(width, CharactersOf(text).size());
  if (texts.size() > 1 && width > LongestText) {
    width = LongestText;
    task_.Say(fmt::format("texts of \"{}\" are cut to {} characters", name, width));
  }
  const std::size_t textBytes = width * sizeof(char32_t);
  BeginArray(name, NumpyHeader(fmt::format("<U{}", width), shape),
             static_cast<std::int64_t>(texts.size() * textBytes));
  for (const std::string& text : texts) {
    std::u32string characters = CharactersOf(text);
    characters.resize(width);
    zip_.Write(characters.data(), textBytes);
  }
  zip_.End();
}

void Archive::AddBlock(const Part& part) {
  const Block& block = task_.BlockOf(part);
  const std::string name = fmt::format("block{}", part.Block + 1);
  const NumpyShape channels = {std::ssize(part.Channels)};
  const SampleKind kind = KindOf(task_, block);
  WithKind(kind, [&]<class T>(T zero) {
    const std::int64_t frames = part.Frames();
    const std::string header = NumpyHeader(NumpyTypeOf(zero), {frames, channels[0]});
    BeginArray(name, header, frames * channels[0] * std::int64_t{sizeof(T)});
    ForEachPiece<T>(task_, part, [&](std::span<const T> samples, std::size_t) {
      zip_.Write(samples.data(), samples.size_bytes());
    });
    zip_.End();
  });
  const ChannelColumns columns = task_.ChannelsOf(part);
  AddTexts(name + "_titles", columns.Titles, channels);
  AddTexts(name + "_units", columns.Units, channels);
  Add(name + "_rate", block.SamplingRate);
  Add(name + "_start", task_.StartOf(part));
  if (kind == SampleKind::Word || kind == SampleKind::Long) {
    AddNumbers(name + "_factor", columns.Factors, channels);
    AddNumbers(name + "_offset", columns.Offsets, channels);
  }
  AddNote(name + "_title", block.Title);
  AddNote(name + "_device", block.Device);
  AddNote(name + "_notes", block.Notes);
}

void Archive::AddComments() {
  const CommentColumns comments = task_.Comments();
  const NumpyShape shape = {std::ssize(comments.Times)};
  AddNumbers("comment_times", comments.Times, shape);
  AddNumbers("comment_durations", comments.Durations, shape);
  AddNumbers("comment_blocks", comments.Blocks, shape);
  AddTexts("comment_texts", comments.Texts, shape);
}

}  // namespace

void ExportNpz(ExportTask& task) {
  Archive archive(task);
  const Recording& recording = task.Recording();
  archive.Add("file", FileTitle(recording));
  archive.Add("format", std::string(recording.FormatName()));
  archive.Add("start", DateText(recording.Start().value_or(0), 'T'));
  if (!recording.Notes().empty()) archive.Add("notes", recording.Notes());
  for (const Part& part : task.Parts()) archive.AddBlock(part);
  archive.AddComments();
  archive.Close();
}

}  // namespace lmi
