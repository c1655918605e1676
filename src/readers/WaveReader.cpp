// RIFF wave files, by the published layout of the format (Multimedia Programming Interface 1.0, the
// extensible format, EBU Tech 3306 for RF64 and BW64, ITU-T G.711).
//
//   offset  type      field
//        0  4 chars   "RIFF"; "RF64", "BW64": above 4 GiB; "RIFX": all in big-endian order
//        4  int32     size, not used
//        8  4 chars   form "WAVE"; any other RIFF file is raw data
//       12            chunks: 4 chars id, uint32 size of the body, body, a pad byte behind an odd one
//   body of "fmt "                                body of "ds64", of a file above 4 GiB
//        0  int16     coding, below                   8  int64  size of the body of "data"
//        2  int16     channels
//        4  int32     samples per second
//       12  int16     bytes of a frame
//       14  int16     bits of a sample
//       24  int16     coding of an extensible format
//
// A sample of whole numbers takes all of its bytes, whatever its bits say; one of a single byte has no
// sign. Full scale is 1, unless a text header beside the file calibrates the channels.
//
// As written, only PCM of 9 to 16 bits in "RIFF" is read, as counts / 6400; no pad byte is allowed for,
// and no chunk but "fact" may precede "fmt " or lie between it and "data".
#include <algorithm>
#include <array>
#include <cmath>

#include "model/HeaderView.h"
#include "readers/AdcTables.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::int64_t WaveSmallestFile = 48, WaveFormPosition = 8, WaveFirstChunk = 12,
                       WaveChunkHeadBytes = 8;
constexpr std::size_t WaveFormatBytes = 16;
constexpr Long WaveRiff = FourCharacters("RIFF"), WaveForm = FourCharacters("WAVE"),
               WaveFormatChunk = FourCharacters("fmt "), WaveFactChunk = FourCharacters("fact"),
               WaveDataChunk = FourCharacters("data"), WaveBigRiff = FourCharacters("RIFX"),
               WaveSizeChunk = FourCharacters("ds64");
constexpr std::size_t WaveExtensibleBytes = 40, WaveSizeBytes = 28;
constexpr Integer WavePcm = 1, WaveFloat = 3, WaveALaw = 6, WaveMuLaw = 7, WaveExtensible = -2;

// of the body of "fmt "
constexpr Field<Integer> WaveTag{0}, WaveChannels{2}, WaveFrameBytes{12}, WaveBits{14};
constexpr Field<Long> WaveRate{4};
constexpr Field<Integer> WaveSubFormat{24};
// of the body of "ds64"
constexpr Field<std::int64_t> WaveDataSize{8};

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

void TellFormat(Opening& opening, const HeaderView& format, std::int64_t position) {
  // What can't be below 0 is shown without a sign.
  const Field<std::uint16_t> tag{WaveTag.Offset}, subFormat{WaveSubFormat.Offset},
      frameBytes{WaveFrameBytes.Offset};
  const Field<std::uint32_t> rate{WaveRate.Offset};
  opening.Tell(format, tag, "wFormatTag",
               "kind of samples: 1 PCM, 3 floating point, 6 A-law, 7 mu-law", position);
  if (format[WaveTag] == WaveExtensible)
    opening.Tell(format, subFormat, "SubFormat", "kind of samples, as of wFormatTag", position);
  opening.Tell(format, WaveBits, "wBitsPerSample", "bits of a sample that are data", position);
  opening.Tell(format, frameBytes, "wBlockAlign", "bytes of a frame", position);
  opening.Tell(format, rate, "dwSamplesPerSec", "samples per second", position);
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
  TellFormat(opening, format, formatPosition);
  const bool described = ReadBeside(opening, "_wavheader.txt", ReadBinHeader, block);
  opening.TellFormula(described ? TextHeaderFormula : "count / 6400");
  if (!described)
    opening.Warn("wave-scale", {formatPosition, 0}, "Samples are shown as count / ",
                 block.ChannelScale.front(),
                 "; the format has no unit, and a full scale of 1, which is count / 32768.");
  opening.FinishFile(WaveForm, described ? 1 : 0);
}

// The published layout: any chunks in any order, and the kinds of samples that there are.
class PublishedWave {
 public:
  explicit PublishedWave(Opening& opening) : opening_(opening), file_(opening.DataFile) {}
  void Read();

 private:
  void FindChunks();
  void ReadSizes(std::int64_t position);
  void FillBlock();
  bool ReadSidecar(BlockRec& block) const;
  void TellFormula(const BlockRec& block, bool described, int bits) const;
  void ChooseKind(BlockRec& block, Integer tag, Integer width) const;
  [[noreturn]] void RefuseCoding(Integer tag) const;

  Opening& opening_;
  BinaryFile& file_;
  Header<WaveExtensibleBytes> format_{opening_.Texts};
  bool isBig_ = false;
  std::int64_t formatPosition_ = -1;
  std::int64_t dataPosition_ = -1;
  std::int64_t dataSize_ = 0;     // to the end of the file
  std::int64_t claimedSize_ = 0;  // as the file states it, if it does
  std::int64_t longSize_ = -1;    // that a file above 4 GiB states
};

void PublishedWave::Read() {
  file_.Seek(0);
  isBig_ = opening_.Magic == WaveBigRiff;
  format_.SetBigEndian(isBig_);
  FindChunks();
  if (formatPosition_ < 0 || dataPosition_ < 0)
    RefuseAsUnknown(file_.Size(), "The chunks of the wave file end before \"",
                    formatPosition_ < 0 ? "fmt " : "data", "\".");
  FillBlock();
}

void PublishedWave::FindChunks() {
  const std::int64_t size = file_.Size();
  for (std::int64_t next = WaveFirstChunk; next + WaveChunkHeadBytes <= size;) {
    Header<WaveChunkHeadBytes> head(file_, next);
    const Long id = head[Field<Long>{0}];
    head.SetBigEndian(isBig_);
    std::int64_t bytes = head[Field<std::uint32_t>{4}];
    const std::int64_t body = next + WaveChunkHeadBytes;
    if (id == WaveSizeChunk) ReadSizes(body);
    if (id == WaveFormatChunk && formatPosition_ < 0) {
      formatPosition_ = body;
      file_.Seek(body);
      format_.ReadMore(
          file_, 0, static_cast<std::size_t>(std::min<std::int64_t>(bytes, WaveExtensibleBytes)));
    }
    if (id == WaveDataChunk) {
      // A writer to a pipe couldn't go back to state the size.
      constexpr std::int64_t none = 0xffffffff;
      if (bytes == none && longSize_ >= 0) bytes = longSize_;
      dataPosition_ = body;
      dataSize_ = size - body;
      claimedSize_ = bytes == 0 || bytes == none ? dataSize_ : bytes;
    }
    if (formatPosition_ >= 0 && dataPosition_ >= 0) return;
    // Past what is claimed beyond the end, and past zeros, no chunk follows.
    if (bytes > size - body || (id == 0 && bytes == 0)) break;
    next = body + bytes + bytes % 2;
  }
}

void PublishedWave::ReadSizes(std::int64_t position) {
  const Header<WaveSizeBytes> sizes(file_, position);
  const std::int64_t size = sizes[WaveDataSize];
  if (size >= 0) longSize_ = size;
}

void PublishedWave::RefuseCoding(Integer tag) const {
  std::string name = "unknown";
  for (const Coding& coding : Codings) {
    if (coding.Tag == tag) name = coding.Name;
  }
  Refuse(Refusal::UnsupportedFormat, "coding-not-read", formatPosition_,
         "The samples are coded as ", name, " (format tag ", static_cast<std::uint16_t>(tag),
         ") with ", format_[WaveBits], " bits and ", format_[WaveFrameBytes], " bytes for ",
         format_[WaveChannels],
         " channels; PCM of 1 to 4 bytes, floating point of 4 or 8, A-law and mu-law are read.");
}

void PublishedWave::ChooseKind(BlockRec& block, Integer tag, Integer width) const {
  constexpr std::array<Integer, 4> wholeNumbers = {SampleInt8, SampleInt16, SampleInt24,
                                                   SampleInt32};
  if (tag == WavePcm && width >= 1 && width <= 4) {
    block.SampleType = wholeNumbers[static_cast<std::size_t>(width - 1)];
    block.SampleUnsigned = width == 1 ? -1 : 0;
  } else if (tag == WaveFloat && (width == 4 || width == 8)) {
    block.SampleType = width == 4 ? SampleSingle : SampleDouble;
  } else if ((tag == WaveALaw || tag == WaveMuLaw) && width == 1) {
    block.SampleType = tag == WaveALaw ? SampleALaw : SampleMuLaw;
  } else {
    RefuseCoding(tag);
  }
  block.BigEndian = isBig_ && width > 1;
}

// False where there is none for the channels of the file.
bool PublishedWave::ReadSidecar(BlockRec& block) const {
  const Integer channels = block.ChannelCount;
  const std::size_t told = opening_.Store.Fields.size();
  if (!ReadBeside(opening_, "_wavheader.txt", ReadBinHeader, block)) return false;
  if (block.ChannelCount == channels) return true;
  opening_.Warn("sidecar-passed-over", -1, "The text beside the wave file describes ",
                block.ChannelCount, " channels, and was passed over: it has ", channels, ".");
  opening_.ForgetFields(told);
  block.DimensionChannels(channels);
  opening_.Store.Sidecar.clear();
  return false;
}

void PublishedWave::TellFormula(const BlockRec& block, bool described, int bits) const {
  if (!opening_.Rules.KeepsFields) return;
  if (block.HasRealSamples()) return opening_.TellFormula("the value, as stored");
  if (!described) return opening_.TellFormula(Sentence("count / ", std::exp2(bits - 1)));
  const Double words = std::exp2(bits - 16);
  opening_.TellFormula(
      words == 1 ? std::string(TextHeaderFormula)
                 : Sentence("count / ", words, TextHeaderFormula.substr(sizeof("count") - 1)));
}

void PublishedWave::FillBlock() {
  const Integer channels = format_[WaveChannels];
  const int frameBytes = static_cast<std::uint16_t>(format_[WaveFrameBytes]);
  Integer tag = format_[WaveTag];
  if (tag == WaveExtensible) tag = format_[WaveSubFormat];
  if (channels < 1 || frameBytes == 0 || frameBytes % channels != 0) RefuseCoding(tag);
  const std::int64_t held = std::min(dataSize_, claimedSize_);
  if (held < frameBytes)
    Refuse(Refusal::NoData, "no-data", dataPosition_, "The file has ", held,
           " bytes of samples, less than a frame of ", frameBytes, ".");
  BlockRec& block = opening_.Store.Blocks.emplace_back();
  ChooseKind(block, tag, static_cast<Integer>(frameBytes / channels));
  block.DataPtr = dataPosition_;
  block.ADCName = u"Sound";
  block.SetRate(static_cast<std::uint32_t>(format_[WaveRate]));
  block.DimensionChannels(channels);
  block.FillFrom(claimedSize_);
  block.StartDateTime = opening_.DateOfFile();
  block.Title = FromUtf8(Sentence(block.Rate / 1000.0, " kHz, ", format_[WaveBits], "-bit"));
  // The bits of a count; a byte of A-law or mu-law stands for one of 16.
  const bool isWord = block.SampleType == SampleALaw || block.SampleType == SampleMuLaw;
  const int bits = isWord ? 16 : 8 * static_cast<int>(SampleWidth(block.SampleType));
  TellFormat(opening_, format_, formatPosition_);
  const bool described = ReadSidecar(block);
  TellFormula(block, described, bits);
  if (described && block.SamplingRate != static_cast<Single>(block.Rate)) block.Rate = 0;
  // The text is made for words: of other counts, their upper 16 bits.
  for (std::size_t c = 0; c < block.ChannelScale.size(); ++c) {
    if (!described) block.ChannelScale[c] = 32768;
    if (block.HasRealSamples()) continue;
    const Double perWord = 1 / Double{block.ChannelScale[c]};
    block.Calibrate(c, perWord * std::exp2(16 - bits), block.ChannelOffset[c]);
  }
  opening_.FinishFile(WaveForm, described ? 1 : 0);
}

}  // namespace

void ReadWaveFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  const bool published = opening.IsPublished();
  opening.NeedBytes(published ? WaveFirstChunk : WaveSmallestFile, "a wave file");
  file.Seek(0);
  const Chunk riff = ReadChunkHead(file);
  const bool isWave = file.ReadValue<Long>() == WaveForm;
  if (published && !isWave)
    Refuse(Refusal::UnsupportedFormat, "coding-not-read", WaveFormPosition,
           "The file is RIFF of another form than \"WAVE\".");
  if (!isWave || (!published && riff.Id != WaveRiff)) return ReadRawFile(opening);
  if (published) return PublishedWave(opening).Read();

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
