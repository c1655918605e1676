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
// "fact" chunks are passed over. No other chunk may precede "fmt " or lie between it and "data".
// Each sample takes a whole signed 16-bit word. A text header beside the file can calibrate the
// channels.
#include <array>

#include "model/HeaderView.h"
#include "readers/AdcTables.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::int64_t WaveSmallestFile = 48, WaveChunkHeadBytes = 8;
constexpr std::size_t WaveFormatBytes = 16;
constexpr Long WaveRiff = FourCharacters("RIFF"), WaveForm = FourCharacters("WAVE"),
               WaveFormatChunk = FourCharacters("fmt "), WaveFactChunk = FourCharacters("fact"),
               WaveDataChunk = FourCharacters("data");
constexpr Integer WavePcm = 1;

// of the body of "fmt "
constexpr Field<Integer> WaveTag{0}, WaveChannels{2}, WaveFrameBytes{12}, WaveBits{14};
constexpr Field<Long> WaveRate{4};

struct Chunk {
  Long Id;
  Long Size;
};

Chunk ReadChunkHead(BinaryFile& file) {
  const Long id = file.ReadValue<Long>();
  return {id, file.ReadValue<Long>()};
}

std::string ChunkName(Long id) {
  std::string name;
  for (int i = 0; i < 4; ++i) {
    const char c = static_cast<char>(id >> (8 * i));
    name += c >= ' ' && c <= '~' ? c : '?';
  }
  return name;
}

// Goes on to the wanted chunk, past those that are "fact"; any other refuses the file. So does a
// "fact" of a size below 0, which would lead back. Gives the size of the body.
Long FindChunk(BinaryFile& file, Long wanted) {
  Chunk chunk = ReadChunkHead(file);
  while (chunk.Id == WaveFactChunk && chunk.Size >= 0) {
    file.Skip(chunk.Size);
    chunk = ReadChunkHead(file);
  }
  if (chunk.Id != wanted)
    Refuse(Refusal::UnknownFormat, "chunk-in-the-way", file.Position() - WaveChunkHeadBytes,
           chunk.Id == 0
               ? Sentence("The chunks of the wave file end before \"", ChunkName(wanted), "\".")
               : Sentence("A chunk \"", ChunkName(chunk.Id), "\" lies where \"", ChunkName(wanted),
                          "\" is needed."));
  return chunk.Size;
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

void CheckFormat(const HeaderView& format, std::int64_t position) {
  const Integer bits = format[WaveBits];
  const Integer channels = format[WaveChannels];
  std::string detail;
  if (format[WaveTag] != WavePcm)
    detail = " (compressed)";
  else if (bits > 16 || bits <= 8)
    detail = Sentence(" (", bits, "-bit)");
  else if (format[WaveFrameBytes] * 8 == bits * channels && channels >= 1 &&
           channels <= LargestChannelCount)
    return;
  std::string name = "unknown";
  for (const Coding& coding : Codings) {
    if (coding.Tag == format[WaveTag]) name = coding.Name;
  }
  throw RefusedOpen{
      Refusal::UnsupportedFormat, "coding-not-read", position,
      Sentence("The samples are coded as ", name, " (format tag ",
               static_cast<std::uint16_t>(format[WaveTag]), ") with ", bits, " bits and ",
               format[WaveFrameBytes], " bytes for ", channels,
               " channels; only PCM of 9 to 16 bits, with a frame of channels * bits / "
               "8 bytes and 1 to 32 channels, is read."),
      std::move(detail)};
}

void CheckData(Long dataSize, Integer frameBytes, std::int64_t position) {
  if (dataSize / frameBytes >= 2) return;
  if (dataSize == 0 || dataSize == -1)
    Refuse(Refusal::NoData, "streamed", position,
           "The file was streamed: its data chunk doesn't say how long it is.");
  if (dataSize < 0)
    Refuse(Refusal::NoData, "data-too-long", position, "The data chunk states ",
           static_cast<std::uint32_t>(dataSize), " bytes; up to 2147483647 are read.");
  Refuse(Refusal::NoData, "no-data", position, "The data chunk has ", dataSize,
         " bytes, less than two frames of ", frameBytes, ".");
}

void FillBlock(Opening& opening, const HeaderView& format, std::int64_t formatPosition,
               Long dataSize) {
  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.DataPtr = opening.DataFile.Position();
  block.ADCName = u"Sound";
  block.SamplingRate = static_cast<Single>(format[WaveRate]);
  block.DimensionChannels(format[WaveChannels]);
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  block.FillFrom(dataSize);
  block.StartDateTime = opening.DateOfFile();
  block.Title = FromUtf8(Sentence(format[WaveRate] / 1000.0, " kHz, ", format[WaveBits], "-bit"));
  const bool described = ReadBeside(opening, "_wavheader.txt", ReadBinHeader, block);
  if (!described)
    opening.Warn("wave-scale", {formatPosition, 0}, "Samples are shown as count / ",
                 block.ChannelScale.front(),
                 "; the format has no unit, and a full scale of 1, which is count / 32768.");
  opening.FinishFile(WaveForm, described ? 1 : 0);
}

}  // namespace

void ReadWaveFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(WaveSmallestFile, "a wave file");
  file.Seek(0);
  const Chunk riff = ReadChunkHead(file);
  if (riff.Id != WaveRiff || file.ReadValue<Long>() != WaveForm) return ReadRawFile(opening);

  const Long formatSize = FindChunk(file, WaveFormatChunk);
  const std::int64_t formatPosition = file.Position();
  const Header<WaveFormatBytes> format(file);
  CheckFormat(format, formatPosition);
  constexpr Long bodyBytes = WaveFormatBytes;
  if (formatSize > bodyBytes) file.Skip(formatSize - bodyBytes);

  const Long dataSize = FindChunk(file, WaveDataChunk);
  CheckData(dataSize, format[WaveFrameBytes], file.Position());
  FillBlock(opening, format, formatPosition, dataSize);
}

}  // namespace lmimport
