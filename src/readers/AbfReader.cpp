// Axon Binary Files of generation 1.x, by the published header: one run of interleaved 16-bit words
// or Singles. Sweeps of an episodic file follow each other in it, and each is a block of its own.
//
// As written, sweeps are one block, floating-point files are refused, what an amplifier told of its
// gain is left out, and gain and offset of a signal conditioner always count.
//
//   offset  type       field
//        0  4 chars    "ABF ", "FTCX" or "CLPX"
//        4  single     version; from 1.6 on, 4096 bytes of header follow the first 2048
//        8  int16      acquisition mode; 3 is gap-free
//       10  int32      samples of all channels; 16: int32 sweeps
//       20  int32      start: YYMMDD or YYYYMMDD; 24: seconds since midnight; 366: milliseconds
//       40  int32      data, 44: tags, in blocks of 512 bytes; 48: number of tags
//       92  int32      sweeps, in blocks of 512 bytes; 96: their number
//      100  int16      sample format, 0 is 16-bit, 1 Single
//      120  int16      channels
//      122  single     microseconds from sample to sample, over all channels
//      130  single     microseconds of a unit of times; 0: times are samples
//      138  int32      samples of a sweep; 178: single seconds from one to the next
//      244  single     range of the converter in volts; 252: int32 its counts
//      294  16 chars   creator; 310: 56 chars comment
//       14  int16      samples ignored at the start of a gap-free recording
//      410  16 int16   physical channel of each channel; by physical channel, 16 of each:
//      442  10 chars   name; 602: 8 chars unit; 730 single programmable gain; 922 single instrument
//                      scale; 986 offset; 1050 single signal gain; 1114 offset
//     1410  int16      a signal conditioner is in use, and its gain and offset count
//     4512  16 int16   telegraph in use; 4576: 16 single its gain
//     5154  128 chars  comment
//
//   tag, 64 bytes: int32 time, 56 chars text, 4 bytes
//   sweep, 8 bytes: int32 time, int32 samples of all channels
#include <cmath>

#include "model/Date.h"
#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AbfSmallestFile = 2052, AbfSectionUnit = 512, AbfLargestMissingTags = 65535;
constexpr std::size_t AbfBaseBytes = 2048, AbfHeaderBytes = 6144, AbfTagBytes = 64;
constexpr Single AbfFirstExtended = 1.6F;
constexpr Integer AbfPhysicalChannels = 16, AbfGapFree = 3;

constexpr std::int64_t AbfSweepBytes = 8;
constexpr Integer AbfInt16Format = 0, AbfSingleFormat = 1;

constexpr Field<Single> AbfVersion{4}, AbfSampleInterval{122}, AbfSynchTimeUnit{130},
    AbfSweepDistance{178}, AbfRange{244};
constexpr Field<Integer> AbfMode{8}, AbfPointsIgnored{14}, AbfSignalType{1410}, AbfDataFormat{100},
    AbfChannelCount{120}, AbfMilliseconds{366}, AbfSequence{410};
constexpr Field<Long> AbfAcquiredSamples{10}, AbfSweeps{16}, AbfStartDate{20}, AbfStartTime{24},
    AbfDataSection{40}, AbfTagSection{44}, AbfTagCount{48}, AbfSweepSection{92}, AbfSweepCount{96},
    AbfSweepSamples{138}, AbfResolution{252};
constexpr TextField AbfCreator{294, 16}, AbfShortComment{310, 56}, AbfLongComment{5154, 128};
// by physical channel
constexpr TextField AbfName{442, 10}, AbfUnits{602, 8};
constexpr Field<Single> AbfProgrammableGain{730}, AbfInstrumentScale{922}, AbfInstrumentOffset{986},
    AbfSignalGain{1050}, AbfSignalOffset{1114}, AbfTelegraphGain{4576};
constexpr Field<Integer> AbfTelegraphInUse{4512};
// of a tag
constexpr Field<Long> AbfTagTime{0};
constexpr TextField AbfTagText{4, 56};

class AbfFile {
 public:
  explicit AbfFile(Opening& opening)
      : opening_(opening), file_(opening.DataFile), header_(opening.Texts) {}

  void Read();

 private:
  void FillBlock(BlockRec& block);
  void FillChannel(BlockRec& block, std::size_t channel);
  void TellBlock();
  void TellChannel(std::size_t channel, std::size_t physical);
  bool HasTelegraph(std::size_t physical) const;
  void CalibrateAsWritten(BlockRec& block, std::size_t channel, std::size_t physical);
  void CalibrateAsPublished(BlockRec& block, std::size_t channel, std::size_t physical);
  Date Start() const;
  Double TimeUnit() const;
  void TellSweeps(bool hasTable);
  void CutIntoSweeps();
  void AddSweep(const BlockRec& whole, std::int64_t firstSample, std::int64_t samples,
                Double start);
  void FindTags();
  void NoteFindings(const BlockRec& block);
  void NoteCalibration(const BlockRec& block);

  Opening& opening_;
  BinaryFile& file_;
  Header<AbfHeaderBytes> header_;
  Single version_ = 0;
};

void AbfFile::Read() {
  opening_.NeedBytes(AbfSmallestFile, "an ABF header", Refusal::UnknownFormat);
  file_.Seek(0);
  header_.ReadMore(file_, 0, AbfBaseBytes);
  const Integer format = header_[AbfDataFormat];
  if (format != AbfInt16Format && !(opening_.IsPublished() && format == AbfSingleFormat))
    Refuse(Refusal::UnsupportedFormat, "coding-not-read", AbfDataFormat.Position(),
           "The samples are of format ", format,
           " (1 is floating point); only 16-bit integers (0) are read.");
  const Integer channels = header_[AbfChannelCount];
  if (channels < 1 || channels > LargestChannelCount)
    RefuseAsUnknown(AbfChannelCount.Position(), "The header states ", channels, " channels.");
  const Single stated = header_[AbfVersion];
  const Single version = stated > 0 ? stated : 0;  // of a NaN, too
  const bool extended = version >= AbfFirstExtended;
  if (extended) header_.ReadMore(file_, AbfBaseBytes, AbfHeaderBytes);

  if (channels > AbfPhysicalChannels)
    RefuseAsDamaged(AbfChannelCount.Position(), "The header states ", channels, " channels of ",
                    AbfPhysicalChannels, " physical ones.");
  version_ = version;
  BlockRec& block = opening_.Store.Blocks.emplace_back();
  block.DimensionChannels(channels);
  FillBlock(block);
  block.Notes = header_[extended ? AbfLongComment : AbfShortComment];
  if (opening_.IsPublished()) CutIntoSweeps();
  FindTags();
  const Single major = std::trunc(std::clamp<Single>(version, 0, INT16_MAX));
  const Single minor = std::nearbyint(std::clamp<Single>((version - major) * 10, 0, 10));
  opening_.FinishFile(FourCharacters("ABIN"), static_cast<Integer>(major),
                      static_cast<Integer>(minor));
  opening_.Store.FileRec.FileNotes = header_[AbfCreator];
  if (!opening_.IsPublished()) NoteFindings(block);
}

void AbfFile::FillBlock(BlockRec& block) {
  block.ADCName = u"ABF";
  block.Resolution = 16;
  block.SetRate(1e6 / (block.ChannelCount * Double{header_[AbfSampleInterval]}));
  if (!opening_.IsPublished()) block.Rate = 0;
  if (header_[AbfDataFormat] == AbfSingleFormat) block.SampleType = SampleSingle;
  TellBlock();
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) FillChannel(block, i);
  const Long samples = header_[AbfAcquiredSamples];
  const Long section = header_[AbfDataSection];
  if (samples < 0 || section < 0)
    RefuseAsDamaged(AbfAcquiredSamples.Position(), "The header states ", samples,
                    " samples from 512-byte block ", section, " on.");
  block.SizeChannel = samples / block.ChannelCount;
  block.DataPtr = section * AbfSectionUnit;
  const Integer ignored = header_[AbfPointsIgnored];
  if (opening_.IsPublished() && header_[AbfMode] == AbfGapFree && ignored > 0)
    block.DataPtr += std::int64_t{ignored} * SampleWidth(block.SampleType);
  block.StartDateTime = Start();
}

void AbfFile::TellBlock() {
  const auto tell = [this](auto field, std::string_view name, std::string_view meaning) {
    opening_.Tell(header_, field, name, meaning);
  };
  tell(AbfDataFormat, "nDataFormat", "kind of samples: 0 16-bit integers, 1 Singles");
  tell(AbfChannelCount, "nADCNumChannels", "channels, which the sample interval runs over");
  tell(AbfSampleInterval, "fADCSampleInterval", "microseconds from sample to sample");
  tell(AbfStartDate, "lFileStartDate", "start, by its decimal digits YYMMDD or YYYYMMDD");
  tell(AbfStartTime, "lFileStartTime", "start, in seconds since midnight");
  if (opening_.IsPublished())
    tell(AbfMilliseconds, "nFileStartMillisecs", "start, in milliseconds to be added");
  if (header_[AbfDataFormat] == AbfSingleFormat)
    return opening_.TellFormula("the value, as stored");
  tell(AbfRange, "fADCRange", "volts of full scale");
  tell(AbfResolution, "lADCResolution", "counts of full scale");
}

// What counts for this channel: as written no gain of 0 does, and as published no gain where one is 0.
void AbfFile::TellChannel(std::size_t channel, std::size_t physical) {
  if (!opening_.Rules.KeepsFields || header_[AbfDataFormat] == AbfSingleFormat) return;
  const auto tell = [&](auto field, std::string_view name, std::string_view meaning) {
    opening_.Tell(header_, field(physical), name, meaning, Place::OfChannel(0, channel));
  };
  const bool published = opening_.IsPublished();
  std::string scale =
      published ? "lADCResolution / fADCRange" : "single(lADCResolution / fADCRange)";
  Double gain = 1;
  const auto multiply = [&](auto field, std::string_view name, std::string_view meaning) {
    tell(field, name, meaning);
    gain *= header_[field(physical)];
    if (published)
      scale = Sentence(scale, " * ", name);
    else if (header_[field(physical)] != 0)
      scale = Sentence("single(", scale, " * ", name, ")");
  };
  opening_.Tell(header_, AbfSequence(channel), "nADCSamplingSeq", "physical channel of the channel",
                Place::OfChannel(0, channel));
  tell(AbfUnits, "sADCUnits", "unit of values");
  multiply(AbfInstrumentScale, "fInstrumentScaleFactor", "volts of a unit");
  multiply(AbfProgrammableGain, "fADCProgrammableGain", "gain of the converter");
  const bool conditioned = header_[AbfSignalType] != 0;
  if (conditioned || !published) multiply(AbfSignalGain, "fSignalGain", "gain of the conditioner");
  if (published && HasTelegraph(physical))
    multiply(AbfTelegraphGain, "fTelegraphAdditGain", "gain that the amplifier told");
  if (published && gain == 0) scale = "lADCResolution / fADCRange";
  if (published) scale = Sentence("(", scale, ")");
  tell(AbfInstrumentOffset, "fInstrumentOffset", "units at 0 volts");
  if (conditioned || !published)
    tell(AbfSignalOffset, "fSignalOffset", "units, offset of the conditioner");
  const char* const offset = !published    ? "single(fSignalOffset + fInstrumentOffset)"
                             : conditioned ? "fInstrumentOffset - fSignalOffset"
                                           : "fInstrumentOffset";
  opening_.TellFormula(Sentence("count / ", scale, " + ", offset), Place::OfChannel(-1, channel));
}

// The global channel of a channel is its physical one.
void AbfFile::FillChannel(BlockRec& block, std::size_t channel) {
  const Integer number = header_[AbfSequence(channel)];
  if (number < 0 || number >= AbfPhysicalChannels)
    RefuseAsDamaged(AbfSequence(channel).Position(), "Channel ", channel + 1,
                    " is physical channel ", number, ", not 0 to 15.");
  const auto physical = static_cast<std::size_t>(number);
  block.ChannelIndex[channel] = number;
  if (opening_.IsPublished())
    CalibrateAsPublished(block, channel, physical);
  else
    CalibrateAsWritten(block, channel, physical);
  opening_.Store.Channel(physical).ChannelTitle = header_[AbfName(physical)];
  opening_.Store.Channel(physical).ChannelUnitName = header_[AbfUnits(physical)];
  TellChannel(channel, physical);
}

void AbfFile::CalibrateAsWritten(BlockRec& block, std::size_t channel, std::size_t physical) {
  Single& scale = block.ChannelScale[channel];
  scale = Narrowed(header_[AbfResolution] / Double{header_[AbfRange]}, "ABF counts per volt",
                   AbfRange.Position());
  for (const auto& gain : {AbfInstrumentScale, AbfProgrammableGain, AbfSignalGain}) {
    const Single factor = header_[gain(physical)];
    if (factor != 0)
      scale = Narrowed(Double{scale} * factor, "ABF counts per unit", gain(physical).Position());
  }
  const Double signalOffset = header_[AbfSignalOffset(physical)];
  block.ChannelOffset[channel] = Narrowed(signalOffset + header_[AbfInstrumentOffset(physical)],
                                          "ABF offset", AbfSignalOffset(physical).Position());
}

// Gain and offset of the signal conditioner count where one is in use, and what the amplifier told
// of its gain from version 1.6 on: before, samples lie there.
void AbfFile::CalibrateAsPublished(BlockRec& block, std::size_t channel, std::size_t physical) {
  const bool conditioned = header_[AbfSignalType] != 0;
  Double gain = Double{header_[AbfInstrumentScale(physical)]} *
                Double{header_[AbfProgrammableGain(physical)]};
  Double offset = header_[AbfInstrumentOffset(physical)];
  if (conditioned) {
    gain *= header_[AbfSignalGain(physical)];
    offset -= header_[AbfSignalOffset(physical)];
  }
  if (HasTelegraph(physical)) gain *= header_[AbfTelegraphGain(physical)];
  if (gain == 0) gain = 1;
  block.Calibrate(channel, header_[AbfRange] / (Double{gain} * header_[AbfResolution]), offset);
}

bool AbfFile::HasTelegraph(std::size_t physical) const {
  return version_ >= AbfFirstExtended && header_[AbfTelegraphInUse(physical)] != 0 &&
         header_[AbfTelegraphGain(physical)] > 0;
}

// 0 where the number is too short to have a year, or below 0.
Date AbfFile::Start() const {
  constexpr Long shortest = 10000;
  const Long number = header_[AbfStartDate];
  if (number < shortest) return 0;
  Long year = number / 10000;
  if (year < 80) {
    year += 2000;
  } else if (year <= 99) {
    year += 1900;
  }
  const Double milliseconds = opening_.IsPublished() ? header_[AbfMilliseconds] : 0;
  return DateSerial(year, number / 100 % 100, number % 100) +
         (header_[AbfStartTime] + milliseconds / 1000) / SecondsPerDay;
}

// Seconds of a unit in which sweeps and tags state their times.
Double AbfFile::TimeUnit() const {
  const Single unit = header_[AbfSynchTimeUnit];
  return Double{unit > 0 ? unit : header_[AbfSampleInterval]} / 1e6;
}

void AbfFile::AddSweep(const BlockRec& whole, std::int64_t firstSample, std::int64_t samples,
                       Double start) {
  BlockRec& sweep = opening_.Store.Blocks.emplace_back(whole);
  sweep.SizeChannel = HeldAsLong(std::max<std::int64_t>(0, samples) / whole.ChannelCount);
  sweep.DataPtr += firstSample * SampleWidth(whole.SampleType);
  sweep.StartTime = start;
  if (whole.StartDateTime != 0) sweep.StartDateTime += start / SecondsPerDay;
}

void AbfFile::TellSweeps(bool hasTable) {
  if (hasTable) {
    opening_.Tell(header_, AbfSweepSection, "lSynchArrayPtr",
                  "table of times and lengths of sweeps, in blocks of 512 bytes");
    opening_.Tell(header_, AbfSynchTimeUnit, "fSynchTimeUnit",
                  "microseconds of a unit of times; 0: times are samples");
  } else {
    opening_.Tell(header_, AbfSweepSamples, "lNumSamplesPerEpisode", "samples of a sweep");
    opening_.Tell(header_, AbfSweepDistance, "fEpisodeStartToStart",
                  "seconds from sweep to sweep; 0: its length");
  }
}

// Where a table states times and lengths of sweeps, by it; else sweeps of an episodic file are of one
// length. A gap-free file without a table is one block.
void AbfFile::CutIntoSweeps() {
  opening_.Store.Start = opening_.Store.Blocks.front().StartDateTime;
  const std::int64_t table = header_[AbfSweepSection] * AbfSectionUnit;
  const std::int64_t held = std::max<std::int64_t>(0, file_.Size() - table) / AbfSweepBytes;
  const bool hasTable = table > 0 && header_[AbfSweepCount] > 0 && held > 0;
  const Long sweeps = header_[AbfSweeps];
  const Long ofEach = header_[AbfSweepSamples];
  if (!hasTable && (header_[AbfMode] == AbfGapFree || sweeps <= 1 || ofEach <= 0)) return;
  TellSweeps(hasTable);
  const BlockRec whole = std::move(opening_.Store.Blocks.front());
  opening_.Store.Blocks.clear();
  // As many sweeps as the file has samples for, and blocks that it backs.
  const std::int64_t claimed = header_[AbfAcquiredSamples];
  const std::int64_t there =
      std::max<std::int64_t>(0, file_.Size() - whole.DataPtr) / SampleWidth(whole.SampleType);
  const std::int64_t all = std::min(claimed, there);
  if (claimed > there)
    opening_.Warn("data-cut-off", file_.Size(), "The header claims ", claimed,
                  " samples, and the file holds ", there, "; those are shown.");
  constexpr std::int64_t fewest = 64, bytesOfSweep = 64;
  const std::int64_t most = std::min<std::int64_t>(INT16_MAX, fewest + file_.Size() / bytesOfSweep);
  const auto hasRoom = [&] { return std::ssize(opening_.Store.Blocks) < most; };
  if (hasTable) {
    const std::int64_t count = std::min<std::int64_t>(held, header_[AbfSweepCount]);
    file_.Seek(table);
    for (std::int64_t i = 0, sample = 0; i < count && sample < all && hasRoom(); ++i) {
      const auto time = file_.ReadValue<Long>();
      const Long samples = file_.ReadValue<Long>();
      if (samples <= 0) continue;
      AddSweep(whole, sample, std::min<std::int64_t>(samples, all - sample), time * TimeUnit());
      sample += samples;
    }
  } else {
    const Long frames = ofEach / whole.ChannelCount;
    const Double length = frames / whole.Rate;
    const Single distance = header_[AbfSweepDistance];
    for (std::int64_t i = 0; i < sweeps && i * ofEach < all && hasRoom(); ++i)
      AddSweep(whole, i * ofEach, std::min<std::int64_t>(ofEach, all - i * ofEach),
               static_cast<Double>(i) * (distance > 0 ? distance : length));
  }
  if (opening_.Store.Blocks.empty()) opening_.Store.Blocks.push_back(whole);
}

struct Tags {
  std::int64_t Start;  // of the section, in bytes
  Long Count;
  Double TimeUnit;  // seconds of a tag time, in the published reading
  Double Unit;      // microseconds of a tag time; not above 0: tag times are samples
  Double Interval;  // microseconds from sample to sample, over all channels
};

Long TagPosition(const Tags& tags, Long time, Integer channels) {
  const Double position = tags.Unit > 0 ? tags.Unit * time / (channels * tags.Interval) + 1.0
                                        : static_cast<Double>(time) / channels + 1.0;
  const Double rounded = std::nearbyint(position);
  if (std::isnan(rounded)) return 0;
  return static_cast<Long>(std::clamp<Double>(rounded, INT32_MIN, INT32_MAX));
}

void ReadTagsAsPublished(Opening& opening, const Tags& tags) {
  Header<AbfTagBytes> tag(opening.Texts);
  opening.DataFile.Seek(tags.Start);
  for (Long i = 0; i < tags.Count; ++i) {
    if (tag.ReadMore(opening.DataFile, 0, AbfTagBytes) < std::int64_t{AbfTagBytes}) break;
    opening.AddComment(tag[AbfTagTime] * tags.TimeUnit, NotStated, tag[AbfTagText]);
  }
}

// Past the end of the file, the current tag is reused, so all that are missing are the last.
void ReadTags(Opening& opening, const Tags& tags) {
  if (opening.IsPublished()) return ReadTagsAsPublished(opening, tags);
  BlockRec& block = opening.Store.Blocks.front();
  Header<AbfTagBytes> tag(opening.Texts);
  opening.DataFile.Seek(tags.Start);
  for (Long i = 0; i < tags.Count; ++i) {
    if (tag.ReadOver(opening.DataFile) == 0 && i > 0) break;
    block.Comments.push_back(
        {TagPosition(tags, tag[AbfTagTime], block.ChannelCount), 0, tag[AbfTagText]});
  }
  block.CommentCount = tags.Count;
}

void AbfFile::FindTags() {
  const Tags tags = {header_[AbfTagSection] * AbfSectionUnit, header_[AbfTagCount], TimeUnit(),
                     header_[AbfSynchTimeUnit], header_[AbfSampleInterval]};
  if (tags.Count <= 0) return;
  const std::int64_t held = tags.Start < 0 ? 0
                                           : std::max<std::int64_t>(0, file_.Size() - tags.Start) /
                                                 std::int64_t{AbfTagBytes};
  if (tags.Count - held > AbfLargestMissingTags && !opening_.IsPublished())
    RefuseAsDamaged(AbfTagCount.Position(), "The header claims ", tags.Count,
                    " tags, and the file holds ", held, ".");
  if (tags.Count > held)
    opening_.Warn("tags-cut-off", {tags.Start, 0}, "The header claims ", tags.Count,
                  " tags, and the file holds ", held,
                  opening_.IsPublished()
                      ? "."
                      : "; each that is missing is shown as the last one that is there.");
  opening_.DoOrDefer(Later::Comments, [tags](Opening& later) { ReadTags(later, tags); });
}

void AbfFile::NoteFindings(const BlockRec& block) {
  Long amplified = 0;
  int first = -1;
  Single gain = 1;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    const auto physical = static_cast<std::size_t>(block.ChannelIndex[i]);
    const Single telegraph = header_[AbfTelegraphGain(physical)];
    if (header_[AbfTelegraphInUse(physical)] != 1) continue;
    if (!(telegraph > 0) || telegraph == 1) continue;
    if (amplified++ > 0) continue;
    gain = telegraph;
    first = static_cast<int>(i);
  }
  if (amplified > 0)
    opening_.Warn("telegraph-gain", {AbfTelegraphGain.Position(), 0, first}, "The values of ",
                  amplified, " of ", block.ChannelCount,
                  " channels don't include the gain that the amplifier told, ", gain,
                  " on the first of them: they are that many times too large.");
  NoteCalibration(block);
  const Long sweeps = header_[AbfSweeps];
  const Integer mode = header_[AbfMode];
  const Integer ignored = header_[AbfPointsIgnored];
  if (mode == AbfGapFree && ignored > 0)
    opening_.Warn("points-ignored", AbfPointsIgnored.Position(), "The first ", ignored,
                  " samples of the data are to be ignored, and are shown.");
  if (sweeps > 1 && mode != AbfGapFree)
    opening_.Warn("sweeps-in-a-row", AbfSweeps.Position(), "The recording is of mode ", mode,
                  " with ", sweeps,
                  " sweeps, which are shown in a row, without the gaps between them.");
  const Integer milliseconds = header_[AbfMilliseconds];
  if (milliseconds > 0)
    opening_.Note("start-milliseconds", AbfMilliseconds.Position(), "The recording starts ",
                  milliseconds, " ms later than shown.");
}

// By the layout, gain and offset of the signal conditioner count only where one is in use, and its
// offset is taken from that of the instrument. Here they always count, and the offsets are added.
void AbfFile::NoteCalibration(const BlockRec& block) {
  const bool conditioned = header_[AbfSignalType] != 0;
  Long differing = 0;
  int first = -1;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    const auto physical = static_cast<std::size_t>(block.ChannelIndex[i]);
    const Single gain = header_[AbfSignalGain(physical)];
    const bool gainCounts = !conditioned && gain != 0 && gain != 1;
    if (!gainCounts && header_[AbfSignalOffset(physical)] == 0) continue;
    if (differing++ == 0) first = static_cast<int>(i);
  }
  if (differing > 0)
    opening_.Warn("signal-conditioner", {AbfSignalType.Position(), 0, first}, "The values of ",
                  differing, " of ", block.ChannelCount, " channels ",
                  conditioned ? "have the offset of the signal conditioner added, not taken off."
                              : "are worked out with gain and offset of a signal conditioner, and "
                                "the header says that none is in use.");
}

}  // namespace

void ReadAbfFile(Opening& opening) {
  AbfFile(opening).Read();
}

}  // namespace lmimport
