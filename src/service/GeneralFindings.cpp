#include "service/GeneralFindings.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace lmimport {
namespace {

// One warning for all blocks, with the numbers of the first that ends early.
void NoteCutData(ImportState& state) {
  const std::int64_t size = state.DataFile->Size();
  std::int64_t cutBlocks = 0;
  std::string first;
  for (std::size_t i = 0; i < state.Blocks.size(); ++i) {
    const BlockRec& block = state.Blocks[i];
    const std::int64_t frameBytes =
        std::int64_t{block.ChannelCount} * SampleWidth(block.SampleType);
    const std::int64_t there = std::max<std::int64_t>(0, size - block.DataPtr) / frameBytes;
    if (block.OpenLength) {
      state.Note("length-open", block.DataPtr,
                 Sentence("The length of the recording is open; the file holds ", there,
                          " frames, and those behind them read as stored zeros."));
      continue;
    }
    if (there >= block.SizeChannel || ++cutBlocks > 1) continue;
    first = Sentence("Block ", i + 1, " claims ", block.SizeChannel, " frames, and the file holds ",
                     there, "; the rest reads as stored zeros.");
  }
  if (cutBlocks > 1)
    first += Sentence(" So it is with ", cutBlocks, " of ", state.Blocks.size(), " blocks.");
  if (cutBlocks > 0) state.Warn("data-cut-off", size, first);
}

// Comments that only repeat the last record count with it.
void NoteCommentsBehindEnd(ImportState& state) {
  std::int64_t behind = 0;
  for (const BlockRec& block : state.Blocks) {
    const auto isBehind = [&block](const CommentRec& comment) {
      return comment.Position > block.SizeChannel;
    };
    behind += std::count_if(block.Comments.begin(), block.Comments.end(), isBehind);
    if (!block.Comments.empty() && isBehind(block.Comments.back()))
      behind += block.CommentCount - static_cast<std::int64_t>(block.Comments.size());
  }
  if (behind > 0)
    state.Note("comments-behind-end", 0,
               Sentence(behind, behind == 1 ? " comment stands" : " comments stand",
                        " behind the last frame of the block."));
}

// What readers take as it is stated, and no value comes of.
void NoteRatesAndScales(ImportState& state) {
  Long rates = 0;
  std::int64_t scales = 0;
  for (const BlockRec& block : state.Blocks) {
    if (block.SamplingRate <= 0) ++rates;
    scales += std::count(block.ChannelScale.begin(), block.ChannelScale.end(), Single{0});
  }
  if (rates > 0)
    state.Warn("no-rate", 0,
               Sentence("The rate of ", rates, " of ", state.Blocks.size(),
                        " blocks is not above 0; the first block states ",
                        state.Blocks.front().SamplingRate, " Hz."));
  if (scales > 0)
    state.Warn("no-scale", 0,
               Sentence("A scale of 0 counts per unit stands on ", scales,
                        " channels, counted in all blocks: their values read as infinite."));
}

struct KnownFormat {
  std::string_view Start;         // first bytes of a file
  std::u16string_view Extension;  // or end of a name, lower case; empty: by its bytes alone
  std::string_view Name;
};

using namespace std::string_view_literals;

constexpr std::array KnownFormats = {
    KnownFormat{"ABF2"sv, u"", "Axon Binary Format"},
    KnownFormat{"GDF "sv, u".gdf", "General Data Format for biosignals"},
    KnownFormat{"\xff"
                "BIOSEMI"sv,
                u".bdf", "BDF, the 24-bit kind of EDF"},
    KnownFormat{"RIFX"sv, u"", "RIFX, big-endian RIFF"},
    KnownFormat{"RF64"sv, u"", "RF64, RIFF above 4 GiB"},
    KnownFormat{"\x89HDF\r\n\x1a\n"sv, u".nwb", "HDF5"},
    KnownFormat{"FORM"sv, u".aif", "AIFF or another IFF file"},
    KnownFormat{"TDSm"sv, u".tdms", "TDMS"},
    KnownFormat{"fLaC"sv, u".flac", "FLAC"},
    KnownFormat{"OggS"sv, u".ogg", "Ogg"},
    KnownFormat{"ID3"sv, u".mp3", "MP3"},
    KnownFormat{"PK\x03\x04"sv, u".zip", "ZIP archive"},
    KnownFormat{"\x1f\x8b"sv, u".gz", "gzip archive"},
};

constexpr std::size_t HeadBytes = 64;

// The version, where the first bytes tell it.
std::string VersionIn(std::string_view head) {
  if (head.size() < 8) return {};
  if (head.starts_with("ABF2"))  // four bytes, the lowest part first
    return Sentence(" version ", static_cast<Byte>(head[7]), ".", static_cast<Byte>(head[6]), ".",
                    static_cast<Byte>(head[5]), ".", static_cast<Byte>(head[4]));
  if (head.starts_with("GDF ")) return Sentence(" version ", head.substr(4, 4));
  return {};
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

// "begins like HDF5", say; empty for what nothing is known of.
std::string KnownAs(std::string_view head, const String& fileName, bool read) {
  const String name = LowerCase(fileName);
  for (const KnownFormat& format : KnownFormats) {
    if (head.starts_with(format.Start))
      return Sentence("begins like ", format.Name, VersionIn(head));
    if (!format.Extension.empty() && name.ends_with(format.Extension))
      return Sentence("is named like ", format.Name);
  }
  // A format of text can be refused for many reasons, and raw data for none.
  return read && IsText(head) ? "begins like text" : "";
}

// Nothing claimed the file, and no sidecar described it.
bool IsUnclaimed(const ImportState& state) {
  return state.FileRec.Signature == FourCharacters("data") && state.FileType == 3 &&
         state.FileSubType == 0;
}

}  // namespace

void NoteGeneralFindings(ImportState& state) {
  NoteCutData(state);
  NoteCommentsBehindEnd(state);
  NoteRatesAndScales(state);
}

void NoteUnreadFormat(ImportState& state, bool read) {
  if (read && !IsUnclaimed(state)) return;
  std::array<char, HeadBytes> bytes{};
  state.DataFile->Seek(0);
  const std::int64_t done = state.DataFile->ReadBytes(bytes.data(), HeadBytes);
  const std::string_view head(bytes.data(), static_cast<std::size_t>(done));
  const std::string known = KnownAs(head, state.FileName, read);
  if (known.empty()) return;
  state.Warn("format-not-read", 0,
             Sentence("The file ", known,
                      read ? ", and is shown as raw 16-bit data." : ", a format that isn't read."));
}

}  // namespace lmimport
