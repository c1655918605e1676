// The native chart format: a header, a table of up to 32 channels that belong to the whole file,
// and blocks, each one run with its own channels out of that table, its rate, scales, samples and
// comments. Texts are counted strings (a signed 32-bit count of bytes, then the bytes), so only the
// head has fixed offsets.
//
//   header   0  signature "LMC" 0        10  channel count           18  current block
//            4  version major            12  two words               20  total samples
//            6  version minor            16  block count             24  16 bytes, skipped
//            8  version build
//           40  texts: chart name, notes, chart text, data pad; 2 longs, 32 words, 8 bytes;
//               32 bytes for each channel, skipped
//   channel  "ADCh", 28 bytes; texts: title, unit; long, single, 2 words, long; 4 texts; 3 longs
//   block    "ADBl", long frames, single rate, byte bits, 3 bytes; texts: ADC name, title, notes,
//            chart text 1, data pad, chart text 2; double start, long, word channel count, word;
//            for each channel a word of its global channel, then a single of its scale, then a
//            single of its offset; "data", long size, samples; long comment count, comments;
//            3 longs
//   comment  long position, long stamp, text
//
// Samples are signed 16-bit words. The head of the file and its channels must be whole; of the
// blocks, the first that isn't ends the file, and those before it are kept.
#include <algorithm>
#include <cmath>
#include <utility>

#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr Long ChannelSignature = FourCharacters("ADCh"), BlockSignature = FourCharacters("ADBl"),
               DataChunk = FourCharacters("data");
constexpr std::int64_t SkippedInHeader = 16, SkippedPerChannel = 32;
constexpr Long CommentLimit = 65536;  // the first count that isn't believed

enum class BlockEnd { Whole, NotABlock, Damaged };

bool IsChannelCount(Integer count) {
  return count >= 1 && count <= LargestChannelCount;
}

class ChartFile {
 public:
  explicit ChartFile(Opening& opening)
      : opening_(opening), store_(opening.Store), file_(opening.DataFile) {}

  void Read();

 private:
  void ReadHeader();
  void ReadHeaderTexts();
  bool ReadChannel(ChannelRec& channel);
  BlockEnd ReadBlock(BlockRec& block);
  BlockEnd ReadChannelTables(BlockRec& block);
  void ReadComments(BlockRec& block);
  void TellBlock(const BlockRec& block);
  void NoteShortChunks();

  template <class T, std::size_t N>
  void ReadTable(std::array<T, N>& table) {
    file_.ReadArray(table.data(), static_cast<std::int64_t>(N));
  }

  Opening& opening_;
  RecordingStore& store_;
  BinaryFile& file_;
  std::int64_t ratePosition_ = 0;    // of the current block, these three
  std::int64_t tables_ = 0;          // start, and channels
  std::int64_t chunkFrames_ = 0;     // what its data chunk holds
  Long shortChunks_ = 0;             // blocks that claim more frames than their data chunk holds
  std::size_t firstShortChunk_ = 0;  // from 0
};

void ChartFile::Read() {
  FileRec& header = store_.FileRec;
  ReadHeader();
  ReadHeaderTexts();
  for (Integer i = 0; i < header.ChannelCount; ++i) {
    const std::int64_t start = file_.Position();
    if (!ReadChannel(store_.Channel(i)))
      RefuseAsDamaged(start, "Channel ", i + 1, " of ", header.ChannelCount,
                      " is damaged or missing.");
  }
  std::int64_t total = 0;
  for (Integer i = 0; i < header.BlockCount; ++i) {
    const std::int64_t start = file_.Position();
    BlockRec block;
    const BlockEnd end = ReadBlock(block);
    if (end != BlockEnd::Whole && i == 0)
      Refuse(end == BlockEnd::Damaged ? Refusal::FormatError : Refusal::UnknownFormat, "damaged",
             start, "The first of ", header.BlockCount, " blocks is damaged or missing.");
    if (end != BlockEnd::Whole) {
      opening_.Warn("blocks-cut", start, "Of the ", header.BlockCount,
                    " blocks that the header claims, block ", i + 1,
                    " is damaged or missing; it and all that follow are left out.");
      header.BlockCount = i;
      break;
    }
    total += block.SizeChannel;
    if (block.SizeChannel > chunkFrames_ && shortChunks_++ == 0)
      firstShortChunk_ = store_.Blocks.size();
    TellBlock(block);
    store_.Blocks.push_back(std::move(block));
  }
  header.TotalSamples = HeldAsLong(total);
  NoteShortChunks();
  opening_.TellFormula("count / scale + offset");
  header.CurrentBlock = 0;
}

void ChartFile::TellBlock(const BlockRec& block) {
  constexpr std::int64_t startBytes = 16;  // with what follows it
  constexpr std::int64_t indexBytes = 2, singleBytes = 4;
  const int number = static_cast<int>(store_.Blocks.size());
  opening_.Tell({ratePosition_, number}, "rate", block.SamplingRate, "samples per second");
  opening_.Tell({tables_, number}, "start", block.StartDateTime, "days since 1899-12-30");
  const std::int64_t scales = tables_ + startBytes + indexBytes * block.ChannelCount;
  const std::int64_t offsets = scales + singleBytes * block.ChannelCount;
  for (int c = 0; c < block.ChannelCount; ++c) {
    const auto channel = static_cast<std::size_t>(c);
    opening_.Tell({scales + singleBytes * c, number, c}, "scale", block.ChannelScale[channel],
                  "counts per unit");
    opening_.Tell({offsets + singleBytes * c, number, c}, "offset", block.ChannelOffset[channel],
                  "value of count 0");
  }
}

void ChartFile::ReadHeader() {
  constexpr std::int64_t versionPosition = 4;
  constexpr std::int64_t countPosition = 10;
  FileRec& header = store_.FileRec;
  file_.Seek(0);
  header.Signature = file_.ReadValue<Long>();
  header.VersionMajor = file_.ReadValue<Integer>();
  header.VersionMinor = file_.ReadValue<Integer>();
  header.VersionBuild = file_.ReadValue<Integer>();
  if (header.VersionMajor < 3 || (header.VersionMajor == 3 && header.VersionMinor < 2)) {
    const std::string version = Sentence("v", header.VersionMajor, ".", header.VersionMinor);
    throw RefusedOpen{Refusal::UnsupportedFormat, "version-not-read", versionPosition,
                      Sentence("The chart is of ", version, "; v3.2 and later are read."),
                      " (" + version + ")"};
  }
  header.ChannelCount = file_.ReadValue<Integer>();
  ReadTable(header.ChartFileWords);
  header.BlockCount = file_.ReadValue<Integer>();
  file_.ReadValue<Integer>();  // current block
  Long totalSamples = 0;
  if (file_.ReadInt32Array(&totalSamples, 1) < 1)
    RefuseAsUnknown(file_.Size(), "The file ends at byte ", file_.Size(),
                    ", in the middle of the chart header.");
  if (!IsChannelCount(header.ChannelCount) || header.BlockCount < 1)
    RefuseAsDamaged(countPosition, "The header states ", header.ChannelCount, " channels and ",
                    header.BlockCount, " blocks.");
}

void ChartFile::ReadHeaderTexts() {
  FileRec& header = store_.FileRec;
  file_.Skip(SkippedInHeader);
  for (String* text :
       {&header.ChartFileName, &header.FileNotes, &header.ChartFileText, &header.FileDataPad})
    file_.ReadCountedString(*text);
  ReadTable(header.ChartFileLongs);
  ReadTable(header.ChartFileInts);
  ReadTable(header.ChartFileTail);
  file_.Skip(header.ChannelCount * SkippedPerChannel);
}

bool ChartFile::ReadChannel(ChannelRec& channel) {
  channel.Signature = file_.ReadValue<Long>();
  const auto headSize = static_cast<std::int64_t>(channel.ChannelHead.size());
  if (file_.ReadByteArray(channel.ChannelHead.data(), headSize) < headSize) return false;
  if (channel.Signature != ChannelSignature) return false;
  file_.ReadCountedString(channel.ChannelTitle);
  file_.ReadCountedString(channel.ChannelUnitName);
  channel.ChannelLong1 = file_.ReadValue<Long>();
  channel.ChannelSingle = file_.ReadValue<Single>();
  ReadTable(channel.ChannelWords);
  channel.ChannelLong2 = file_.ReadValue<Long>();
  for (String& text : channel.ChannelTexts) file_.ReadCountedString(text);
  ReadTable(channel.ChannelTail);
  return true;
}

BlockEnd ChartFile::ReadBlock(BlockRec& block) {
  block.Signature = file_.ReadValue<Long>();
  block.SizeChannel = file_.ReadValue<Long>();
  ratePosition_ = file_.Position();
  block.SamplingRate = file_.ReadValue<Single>();
  block.Resolution = file_.ReadValue<Byte>();
  const auto headSize = static_cast<std::int64_t>(block.ChartBlockHead.size());
  if (file_.ReadByteArray(block.ChartBlockHead.data(), headSize) < headSize)
    return BlockEnd::NotABlock;
  if (block.Signature != BlockSignature) return BlockEnd::NotABlock;
  for (String* text : {&block.ADCName, &block.Title, &block.Notes, &block.ChartBlockText1,
                       &block.DataPad, &block.ChartBlockText2})
    file_.ReadCountedString(*text);
  const BlockEnd tables = ReadChannelTables(block);
  if (tables != BlockEnd::Whole) return tables;

  const Long chunkId = file_.ReadValue<Long>();
  const Long chunkSize = file_.ReadValue<Long>();
  if (chunkId != DataChunk || chunkSize < block.ChannelCount * 4) return BlockEnd::NotABlock;
  block.DataPtr = file_.Position();
  chunkFrames_ = chunkSize / (block.ChannelCount * 2);
  file_.Seek(block.DataPtr + chunkSize);

  block.CommentCount = file_.ReadValue<Long>();
  if (block.CommentCount < 0 || block.CommentCount >= CommentLimit) return BlockEnd::Damaged;
  ReadComments(block);
  ReadTable(block.ChartBlockTail);
  return BlockEnd::Whole;
}

BlockEnd ChartFile::ReadChannelTables(BlockRec& block) {
  tables_ = file_.Position();
  block.StartDateTime = file_.ReadValue<Double>();
  block.ChartBlockLong = file_.ReadValue<Long>();
  const auto count = file_.ReadValue<Integer>();
  block.ChartBlockWord = file_.ReadValue<Integer>();
  if (!IsChannelCount(count)) return BlockEnd::NotABlock;
  block.DimensionChannels(count);
  file_.ReadInt16Array(block.ChannelIndex.data(), count);
  file_.ReadSingleArray(block.ChannelScale.data(), count);
  file_.ReadSingleArray(block.ChannelOffset.data(), count);
  const auto isChannel = [](Integer index) { return index >= 0 && index < LargestChannelCount; };
  if (!std::all_of(block.ChannelIndex.begin(), block.ChannelIndex.end(), isChannel))
    return BlockEnd::NotABlock;
  const auto isNan = [](Single scale) { return std::isnan(scale); };
  if (block.SizeChannel < 0 || !std::isfinite(block.SamplingRate) ||
      std::any_of(block.ChannelScale.begin(), block.ChannelScale.end(), isNan))
    return BlockEnd::Damaged;
  return BlockEnd::Whole;
}

// A count that promises more comments than the file holds costs nothing: they end with the file.
void ChartFile::ReadComments(BlockRec& block) {
  const Long claimed = block.CommentCount;
  const std::int64_t start = file_.Position();
  for (Long i = 0; i < claimed; ++i) {
    CommentRec comment;
    if (file_.ReadInt32Array(&comment.Position, 1) < 1) break;
    comment.CommentStamp = file_.ReadValue<Long>();
    file_.ReadCountedString(comment.Text);
    block.Comments.push_back(std::move(comment));
  }
  block.CommentCount = static_cast<Long>(block.Comments.size());
  if (block.CommentCount < claimed)
    opening_.Note("comments-cut", {start, static_cast<int>(store_.Blocks.size())}, "Block ",
                  store_.Blocks.size() + 1, " claims ", claimed, " comments, and the file holds ",
                  block.CommentCount, ".");
}

void ChartFile::NoteShortChunks() {
  if (shortChunks_ == 0) return;
  const BlockRec& block = store_.Blocks[firstShortChunk_];
  opening_.Warn("data-beyond-chunk", {block.DataPtr, static_cast<int>(firstShortChunk_)}, "Block ",
                firstShortChunk_ + 1, " claims ", block.SizeChannel,
                " frames, and its data chunk holds fewer: what is read past its end is "
                "not samples. So it is with ",
                shortChunks_, " of ", store_.Blocks.size(), " blocks.");
}

}  // namespace

void ReadChartFile(Opening& opening) {
  ChartFile(opening).Read();
}

}  // namespace lmimport
