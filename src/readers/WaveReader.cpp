// RIFF wave files with PCM samples of 9 to 16 bits, by the published layout of the format.
//
//   offset  type      field
//        0  4 chars   "RIFF"; int32 size, not used
//        8  4 chars   form "WAVE"; any other RIFF file is raw data
//       12            chunks: 4 chars id, int32 size of the body, body; no pad byte is allowed for
//   body of "fmt "
//        0  int16     coding, 1 is PCM
//        2  int16     channels
//        4  int32     samples per second
//       12  int16     bytes of a frame
//       14  int16     bits of a sample
//
// "fact" chunks are passed over. Nothing else may stand before "fmt " or between it and "data".
// Each sample takes a whole signed 16-bit word. A text header beside the file can calibrate the
// channels.
#include <array>

#include "model/Version.h"
#include "readers/AdcTables.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::int64_t WaveSmallestFile = 48;
constexpr std::size_t WaveFormatBytes = 16;
constexpr Long WaveFileType = 4;
constexpr Long WaveRiff = FourCharacters("RIFF");
constexpr Long WaveForm = FourCharacters("WAVE");
constexpr Long WaveFormatChunk = FourCharacters("fmt ");
constexpr Long WaveFactChunk = FourCharacters("fact");
constexpr Long WaveDataChunk = FourCharacters("data");
constexpr Integer WavePcm = 1;

struct Chunk {
  Long Id;
  Long Size;
};

Chunk ReadChunkHead(BinaryFile& file) {
  const Long id = file.ReadValue<Long>();
  return {id, file.ReadValue<Long>()};
}

// Goes on to the next chunk that isn't "fact". A size below 0 would lead back: it ends the walk
// with a chunk that is not understood.
Chunk SkipFacts(BinaryFile& file, Chunk chunk) {
  while (chunk.Id == WaveFactChunk) {
    if (chunk.Size < 0) return {WaveFactChunk, chunk.Size};
    file.Skip(chunk.Size);
    chunk = ReadChunkHead(file);
  }
  return chunk;
}

std::string ChunkName(Long id) {
  std::string name;
  for (int i = 0; i < 4; ++i) {
    const char c = static_cast<char>(id >> (8 * i));
    name += c >= ' ' && c <= '~' ? c : '?';
  }
  return name;
}

void NoteChunkInTheWay(ImportState& state, const BinaryFile& file, Long id, const char* wanted) {
  constexpr std::int64_t headBytes = 8;
  state.Warn("chunk-in-the-way", file.Position() - headBytes,
             id == 0 ? Sentence("The chunks of the wave file end before \"", wanted, "\".")
                     : Sentence("A chunk \"", ChunkName(id), "\" stands where \"", wanted,
                                "\" is needed."));
}

struct Coding {
  Integer Tag;
  const char* Name;
};

constexpr std::array Codings = {
    Coding{1, "PCM"},           Coding{2, "ADPCM"},       Coding{3, "floating point"},
    Coding{6, "A-law"},         Coding{7, "mu-law"},      Coding{17, "IMA ADPCM"},
    Coding{85, "MPEG layer 3"}, Coding{-2, "extensible"},
};

struct WaveFormat {
  explicit WaveFormat(const HeaderView& body)
      : Tag(body.Int16(0)),
        Channels(body.Int16(2)),
        SamplesPerSecond(body.Int32(4)),
        FrameBytes(body.Int16(12)),
        Bits(body.Int16(14)) {}

  Integer Tag;
  Integer Channels;
  Long SamplesPerSecond;
  Integer FrameBytes;
  Integer Bits;
};

void NoteCoding(ImportState& state, std::int64_t position, const WaveFormat& format) {
  std::string name = "unknown";
  for (const Coding& coding : Codings) {
    if (coding.Tag == format.Tag) name = coding.Name;
  }
  state.Warn("coding-not-read", position,
             Sentence("The samples are coded as ", name, " (format tag ",
                      static_cast<std::uint16_t>(format.Tag), ") with ", format.Bits, " bits and ",
                      format.FrameBytes, " bytes for ", format.Channels,
                      " channels; only PCM of 9 to 16 bits, with a frame of channels * bits / 8 "
                      "bytes and 1 to 32 channels, is read."));
}

bool CheckFormat(ImportState& state, const WaveFormat& format) {
  if (format.Tag != WavePcm) return state.Refuse(Refusal::UnsupportedFormat, " (compressed)");
  if (format.Bits > 16 || format.Bits <= 8)
    return state.Refuse(Refusal::UnsupportedFormat, Sentence(" (", format.Bits, "-bit)"));
  if (format.FrameBytes * 8 != format.Bits * format.Channels || format.Channels < 1 ||
      format.Channels > LargestChannelCount)
    return state.Refuse(Refusal::UnsupportedFormat);
  return true;
}

bool CheckData(ImportState& state, const WaveFormat& format, Long dataSize, std::int64_t position) {
  if (dataSize / format.FrameBytes >= 2) return true;
  if (dataSize == 0 || dataSize == -1) {
    state.Warn("streamed", position,
               "The file was streamed: its data chunk doesn't say how long it is.");
  } else if (dataSize < 0) {
    state.Warn("data-too-long", position,
               Sentence("The data chunk states ", static_cast<std::uint32_t>(dataSize),
                        " bytes; up to 2147483647 are read."));
  }
  return state.Refuse(Refusal::NoData);
}

void FillBlock(ImportState& state, const WaveFormat& format, Long dataSize) {
  BlockRec& block = state.Blocks.emplace_back();
  block.DataPtr = state.DataFile->Position();
  block.ADCName = u"Sound";
  block.SamplingRate = static_cast<Single>(format.SamplesPerSecond);
  block.DimensionChannels(format.Channels);
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  block.FillFrom(dataSize);
  block.StartDateTime = state.DataFile->FileDateTime();
  block.Title = FromUtf8(Sentence(format.SamplesPerSecond / 1000.0, " kHz, ", format.Bits, "-bit"));
  state.FileType = WaveFileType;
  state.FileSubType = ReadBeside(state, u"_wavheader.txt", ReadBinHeader, block) ? 1 : 0;
}

}  // namespace

bool ReadWaveFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < WaveSmallestFile) return state.Refuse(Refusal::NoData);
  file.Seek(0);
  const Chunk riff = ReadChunkHead(file);
  if (riff.Id != WaveRiff || file.ReadValue<Long>() != WaveForm) return ReadRawFile(state);

  const Chunk formatChunk = SkipFacts(file, ReadChunkHead(file));
  if (formatChunk.Id != WaveFormatChunk) {
    NoteChunkInTheWay(state, file, formatChunk.Id, "fmt ");
    return state.Refuse(Refusal::UnknownFormat);
  }
  const std::int64_t formatPosition = file.Position();
  std::array<Byte, WaveFormatBytes> body{};
  file.ReadByteArray(body.data(), WaveFormatBytes);
  const WaveFormat format{HeaderView(body)};
  if (!CheckFormat(state, format)) {
    NoteCoding(state, formatPosition, format);
    return false;
  }
  constexpr Long bodyBytes = WaveFormatBytes;
  if (formatChunk.Size > bodyBytes) file.Skip(formatChunk.Size - bodyBytes);

  const Chunk data = SkipFacts(file, ReadChunkHead(file));
  if (data.Id != WaveDataChunk) {
    NoteChunkInTheWay(state, file, data.Id, "data");
    return false;
  }
  if (!CheckData(state, format, data.Size, file.Position())) return false;
  FillBlock(state, format, data.Size);
  state.FinishFile(WaveForm, LibraryMajor, LibraryMinor, state.FileType, state.FileSubType);
  return true;
}

}  // namespace lmimport
