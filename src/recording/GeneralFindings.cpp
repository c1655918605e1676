#include "recording/GeneralFindings.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "recording/Formats.h"

namespace lmimport {
namespace {

constexpr std::size_t HeadBytes = 64;

// How many there are of something, and the first of them.
struct Tally {
  std::int64_t Count = 0;
  int Block = -1;
  int Channel = -1;

  void Add(std::size_t block, int channel = -1) {
    if (Count++ > 0) return;
    Block = static_cast<int>(block);
    Channel = channel;
  }
  void Warn(Opening& opening, std::string_view code, std::string_view what,
            std::string_view kind) const {
    if (Count > 0)
      opening.Warn(code, {-1, Block, Channel}, what, Count, " ", kind, Count == 1 ? "." : "s.");
  }
};

// One warning for all blocks, with the numbers of the first that ends early. Samples that are to be
// unpacked are as many as it says.
//
// As written, what lacks reads as zeros. In the published reading a block has what the file holds.
void NoteCutData(Opening& opening) {
  RecordingStore& store = opening.Store;
  if (store.Work(Later::Samples)) return;
  const char* const rest =
      opening.IsPublished() ? "those are shown." : "the rest reads as stored zeros.";
  const std::int64_t size = store.DataFile->Size();
  Tally cut;
  std::string first;
  for (std::size_t i = 0; i < store.Blocks.size(); ++i) {
    BlockRec& block = store.Blocks[i];
    const std::int64_t there = block.FramesIn(size);
    const Long claimed = block.SizeChannel;
    block.HeldFrames = HeldAsLong(there);
    if (opening.IsPublished()) block.SizeChannel = HeldAsLong(there);
    if (block.OpenLength) {
      opening.Note("length-open", {block.DataPtr, static_cast<int>(i)},
                   "The length of the recording is open; the file holds ", there,
                   " frames: ", rest);
      continue;
    }
    if (there >= claimed) continue;
    cut.Add(i);
    if (cut.Count > 1) continue;
    first = Sentence("Block ", i + 1, " claims ", claimed, " frames, and the file holds ", there,
                     "; ", rest);
  }
  if (cut.Count > 1)
    first += Sentence(" So it is with ", cut.Count, " of ", store.Blocks.size(), " blocks.");
  if (cut.Count > 0) opening.Warn("data-cut-off", {size, cut.Block}, first);
}

// What readers take as it is stated, and no value comes of.
void NoteNumbers(Opening& opening) {
  Tally rates, lengths, noScales, noRanges, noOffsets;
  for (std::size_t i = 0; i < opening.Store.Blocks.size(); ++i) {
    const BlockRec& block = opening.Store.Blocks[i];
    if (block.SamplingRate <= 0) rates.Add(i);
    if (block.SizeChannel == std::numeric_limits<Long>::max() && !block.OpenLength) lengths.Add(i);
    if (block.HasRealSamples()) continue;
    for (Integer c = 0; c < block.ChannelCount; ++c) {
      const auto channel = static_cast<std::size_t>(c);
      if (block.ChannelScale[channel] == 0) noScales.Add(i, c);
      if (std::isinf(block.ChannelScale[channel])) noRanges.Add(i, c);
      if (!std::isfinite(block.ChannelOffset[channel])) noOffsets.Add(i, c);
    }
  }
  rates.Warn(opening, "no-rate", "The rate is not above 0 Hz in ", "block");
  lengths.Warn(opening, "length-held",
               "Only 2147483647 frames, the most that can be shown, are shown of ", "block");
  noScales.Warn(opening, "no-scale",
                "A scale of 0 counts per unit makes all values but 0 infinite in ", "channel");
  noRanges.Warn(opening, "no-range", "A count is 0 units, so all samples read as one value in ",
                "channel");
  noOffsets.Warn(opening, "no-offset", "The value of count 0 is infinite or not a number in ",
                 "channel");
}

// Long enough, and of nothing but printable characters and line ends, in ASCII or UTF-8.
bool IsText(std::string_view head) {
  constexpr std::size_t shortest = 16;
  constexpr std::size_t perhapsCut = 3;  // bytes of a last character
  if (head.size() < shortest) return false;
  const String text = FromUtf8(head.substr(0, head.size() - perhapsCut));
  return std::all_of(text.begin(), text.end() - 1, [](char16_t c) {
    const bool lineEnd = c == u'\t' || c == u'\r' || c == u'\n';
    return lineEnd || (c >= u' ' && c != 0x7f && (c < 0xdc80 || c > 0xdcff));
  });
}

}  // namespace

void NoteGeneralFindings(Opening& opening) {
  NoteCutData(opening);
  NoteNumbers(opening);
}

// Comments that only repeat the last record count with it.
void NoteCommentsPastEnd(Opening& opening) {
  Tally past;
  for (std::size_t i = 0; i < opening.Store.Blocks.size(); ++i) {
    const BlockRec& block = opening.Store.Blocks[i];
    // One with a time of its own can lie between two blocks.
    const auto isPast = [&block](const CommentRec& comment) {
      return comment.Position > block.SizeChannel && std::isnan(comment.Time);
    };
    for (const CommentRec& comment : block.Comments) {
      if (isPast(comment)) past.Add(i);
    }
    if (!block.Comments.empty() && isPast(block.Comments.back()))
      past.Count += block.CommentCount - std::ssize(block.Comments);
  }
  if (past.Count > 0)
    opening.Note("comments-behind-end", {-1, past.Block}, past.Count,
                 past.Count == 1 ? " comment is" : " comments are",
                 " past the last frame of the block.");
}

// The recording of which the file, by its name, is the flat data file; empty where there is none.
std::string RecordingOfFlatFile(const Opening& opening) {
  constexpr std::u16string_view ending = u"dat";
  const String& name = opening.Store.FileName;
  if (!LowerCase(name).ends_with(ending)) return {};
  const String recording = name.substr(0, name.size() - ending.size());
  std::string title = ToUtf8(PathTools::TitleOf(recording));
  if (!MayBeRewritten(recording)) return {};
  try {
    return opening.DataFile.Source()->Beside(title) ? title : std::string();
  } catch (const std::system_error&) {
    return title;  // it is there, and can't be read
  }
}

void NoteUnreadFormat(Opening& opening, bool read) {
  const RecordingStore& store = opening.Store;
  if (read && (store.Format != "raw" || !store.Sidecar.empty())) return;
  const std::string recording = RecordingOfFlatFile(opening);
  if (!recording.empty())
    opening.Warn("flat-data-file", -1, "The file holds the samples of ", recording,
                 ", rewritten without a header; that recording beside it is the one to open.");
  if (read) {
    const BlockRec& block = store.Blocks.front();
    opening.Warn("undescribed", -1, "Nothing describes the file: its bytes are shown as ",
                 block.ChannelCount, block.ChannelCount == 1 ? " channel" : " channels",
                 " of 16-bit samples at ", block.SamplingRate, " Hz.");
  }
  std::array<char, HeadBytes> bytes{};
  opening.DataFile.Seek(0);
  const std::int64_t done = opening.DataFile.ReadBytes(bytes.data(), HeadBytes);
  const std::string_view head(bytes.data(), static_cast<std::size_t>(done));
  std::string known = KnownUnreadFormat(head, store.FileName, opening.Rules.As);
  // A format of text can be refused for many reasons, and raw data for none.
  if (known.empty() && read && IsText(head)) known = "begins like text";
  if (known.empty()) return;
  opening.Warn("format-not-read", 0, "The file ", known,
               read ? ", and is shown as raw 16-bit data." : ", a format that isn't read.");
}

}  // namespace lmimport
