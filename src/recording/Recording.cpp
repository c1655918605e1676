#include <lmimport/Recording.h>
#include <lmimport/Text.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "extract/ChannelReads.h"
#include "extract/FrameReads.h"
#include "extract/Overview.h"
#include "model/Date.h"
#include "platform/System.h"
#include "recording/FormatTexts.h"
#include "recording/Formats.h"
#include "recording/GeneralFindings.h"
#include "recording/Once.h"
#include "recording/OpenPipeline.h"

namespace lmimport {
namespace {

// Refusals have the order of OpenFault; those of numbers and texts are errors in the format.
std::error_code CodeOf(const RefusedOpen& refused) {
  if (refused.Why == Refusal::SystemFault) return refused.Error;
  if (refused.Why > Refusal::NoData) return OpenFault::FormatError;
  return static_cast<OpenFault>(static_cast<int>(refused.Why) + 1);
}

// Work on an opening, whose failures leave as OpenError.
template <class Work>
void Guard(const Opening& opening, const std::string& name, const Work& work) {
  try {
    work();
  } catch (const RefusedOpen& refused) {
    const std::string sentence =
        refused.Error ? refused.Text : Sentence("Can't open \"", name, "\": ", refused.Text);
    throw OpenError(CodeOf(refused), sentence, opening.Store.Found);
  } catch (const std::system_error& fault) {
    if (fault.code() != std::errc::operation_canceled)
      throw OpenError(fault.code(),
                      opening.DataFile.File() == nullptr
                          ? Sentence("Can't read \"", name, "\": ", fault.what())
                          : std::string(fault.what()),
                      opening.Store.Found);
    throw OpenError(OpenFault::GivenUp, Sentence("\"", name, "\": the work was given up"),
                    opening.Store.Found);
  }
}

TextTools TextsOf(const OpenOptions& options) {
  // The system's page, as it is now: what is read later is read by the same.
  const int page = options.CodePage != 0 ? options.CodePage : platform::SystemCodePage();
  TextTools texts;
  if (!texts.SetCodePage(page))
    throw std::invalid_argument(Sentence("Recording::Open: no code page ", options.CodePage));
  return texts;
}

OpenRules RulesOf(const OpenOptions& options) {
  constexpr double largestRate = 1e10;
  OpenRules rules{.As = options.As,
                  .Raw = {},
                  .AllAtOnce = false,
                  .KeepsFlatFile = false,
                  .DatesByFile = false,
                  .KeepsFields = options.KeepFields};
  if (!options.Raw) return rules;
  const auto& [channels, rate] = *options.Raw;
  if (channels < 1 || channels > LargestChannelCount)
    throw std::invalid_argument(Sentence("Recording::Open: ", channels, " channels of raw data"));
  if (!(static_cast<Single>(rate) > 0) || rate >= largestRate)
    throw std::invalid_argument(Sentence("Recording::Open: raw data of ", rate, " Hz"));
  rules.SamplingRate = static_cast<Single>(rate);
  rules.Raw = RawDefaults{static_cast<Integer>(channels), rules.SamplingRate};
  return rules;
}

// A block states its start.
bool HasStart(const BlockRec& block) {
  return block.StartDateTime != 0 && std::isfinite(block.StartDateTime);
}

// Of the block that starts first; nothing where none states its start.
std::optional<Date> StartOf(const RecordingStore& store) {
  std::optional<Date> start;
  if (store.Start != 0) return store.Start;
  for (const BlockRec& block : store.Blocks) {
    if (HasStart(block)) start = std::min(start.value_or(block.StartDateTime), block.StartDateTime);
  }
  return start;
}

Block Describe(const RecordingStore& store, const BlockRec& block, std::optional<Date> start) {
  Block described;
  described.Device = ToUtf8(WithoutBlanks(block.ADCName));
  described.Title = ToUtf8(WithoutBlanks(block.Title));
  described.Notes = ToUtf8(block.Notes);
  if (!std::isnan(block.StartTime))
    described.StartTime = block.StartTime;
  else if (start && HasStart(block))
    described.StartTime = (block.StartDateTime - *start) * SecondsPerDay;
  described.SamplingRate = block.ExactRate();
  described.FrameCount = block.SizeChannel;
  described.HeldFrames = block.HeldFrames < 0 ? block.SizeChannel : block.HeldFrames;
  described.SampleBits = 8 * SampleWidth(block.SampleType);
  const bool isLaw = block.SampleType == SampleALaw || block.SampleType == SampleMuLaw;
  described.CountBits = isLaw ? 16 : described.SampleBits;
  described.RealSamples = block.HasRealSamples();
  described.Channels.reserve(block.ChannelIndex.size());
  for (std::size_t c = 0; c < block.ChannelIndex.size(); ++c) {
    const ChannelRec& record = store.ChannelOf(block, c);
    Channel& channel = described.Channels.emplace_back();
    channel.Title = ToUtf8(WithoutBlanks(record.ChannelTitle));
    channel.Unit = ToUtf8(WithoutBlanks(record.ChannelUnitName));
    channel.Number = block.ChannelIndex[c] + 1;
    if (block.HasRealSamples()) continue;
    channel.Factor = block.FactorOf(c);
    channel.Offset = block.OffsetOf(c);
  }
  return described;
}

}  // namespace

// The store as it was opened, and what is read later: each a store of its own, so that none changes.
class Recording::State {
 public:
  struct CommentList {
    std::vector<Comment> List;
    std::vector<Finding> Found;
  };
  using StorePtr = std::shared_ptr<const RecordingStore>;

  explicit State(const OpenOptions& options)
      : texts_(TextsOf(options)), rules_(RulesOf(options)), handler_(options.Progress) {}

  // `findSource` gives the opening its source and its name.
  template <class FindSource>
  void Open(const std::string& name, std::shared_ptr<const ByteSource> source,
            const FindSource& findSource);

  const RecordingStore& Store() const { return *store_; }
  const CommentList& Comments() const {
    return comments_.Get(maker_, [this] { return ReadComments(); });
  }
  std::vector<Finding> Findings() const;

  // The block, which must have the channel; throws std::out_of_range.
  const BlockRec& Find(std::size_t block, std::size_t channel, std::int64_t first) const;

  // A block with its samples; for counts of real numbers, with their ranges, too.
  const RecordingStore& ForReading(const BlockRec& block, bool counts) const;

  std::filesystem::path Path;
  FileStamp Stamp;
  std::optional<Date> Start;
  std::string Notes;
  std::vector<Block> Blocks;
  std::vector<HeaderField> Fields;

 private:
  RecordingStore DoWork(Later kind) const;
  CommentList ReadComments() const;

  const TextTools texts_;
  const OpenRules rules_;
  const std::function<bool(double)> handler_;
  StorePtr store_;
  mutable Maker maker_;
  mutable Once<StorePtr> samples_;
  mutable Once<StorePtr> ranges_;
  mutable Once<CommentList> comments_;
};

template <class FindSource>
void Recording::State::Open(const std::string& name, std::shared_ptr<const ByteSource> source,
                            const FindSource& findSource) {
  Progress progress;
  progress.SetHandler(handler_);
  Opening opening(texts_, rules_, progress, std::move(source));
  Guard(opening, name, [&] {
    findSource(opening);
    FillStore(opening);
  });
  Stamp.Size = opening.Store.FileSize;
  if (const FileSource* file = opening.DataFile.File()) {
    Stamp.Seconds = file->TimesAtOpen().Written.Seconds;
    Stamp.Nanoseconds = file->TimesAtOpen().Written.Nanoseconds;
  }
  RecordingStore& store = opening.Store;
  Path = ToUtf8(store.FileName);
  Notes = ToUtf8(store.FileRec.FileNotes);
  Start = StartOf(store);
  Blocks.reserve(store.Blocks.size());
  for (const BlockRec& block : store.Blocks) Blocks.push_back(Describe(store, block, Start));
  Fields = std::move(store.Fields);
  store.Fields.clear();
  store_ = std::make_shared<const RecordingStore>(std::move(store));
}

RecordingStore Recording::State::DoWork(Later kind) const {
  Progress progress;
  progress.SetHandler(handler_);
  Opening opening(texts_, rules_, progress, store_->DataFile);
  opening.Store = *store_;
  opening.Store.Works = {};
  opening.Store.Found.clear();
  Guard(opening, Path.string(),
        [&] { NoteWhyItFails(opening, [&] { store_->Work(kind)(opening); }); });
  if (kind == Later::Comments) NoteCommentsPastEnd(opening);
  return std::move(opening.Store);
}

Recording::State::CommentList Recording::State::ReadComments() const {
  RecordingStore done;
  const bool later = static_cast<bool>(store_->Work(Later::Comments));
  if (later) done = DoWork(Later::Comments);
  const std::vector<BlockRec>& blocks = later ? done.Blocks : store_->Blocks;
  CommentList comments;
  comments.Found = std::move(done.Found);
  // Comments that share a text have a copy each, as far as the file stands behind them.
  constexpr std::int64_t largestGrowth = 16;
  std::int64_t room = store_->FileSize * largestGrowth;
  std::size_t leftOut = 0;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const BlockRec& block = blocks[i];
    for (const CommentRec& record : block.Comments) {
      Comment& comment = comments.List.emplace_back();
      comment.BlockIndex = i;
      comment.Time = record.Time;
      comment.Duration = record.Duration;
      if (std::isnan(comment.Time))
        comment.Time = Blocks[i].StartTime +
                       (block.SamplingRate > 0 ? (record.Position - 1.0) / block.ExactRate() : 0);
      if (room >= 0) comment.Text = ToUtf8(block.TextOf(record));
      leftOut += room < 0 ? 1 : 0;
      room -= std::ssize(comment.Text);
    }
  }
  if (leftOut > 0)
    comments.Found.push_back({.Warning = false,
                              .Code = "comment-texts-left-out",
                              .Position = -1,
                              .Block = -1,
                              .Channel = -1,
                              .Text = Sentence("Comments share long texts; the last ", leftOut,
                                               " of the file are shown without.")});
  std::ranges::stable_sort(comments.List, {}, &Comment::Time);
  return comments;
}

std::vector<Finding> Recording::State::Findings() const {
  std::vector<Finding> all = store_->Found;
  const auto add = [&all](const std::vector<Finding>& more) {
    all.insert(all.end(), more.begin(), more.end());
  };
  if (const CommentList* comments = comments_.IfMade()) add(comments->Found);
  for (const Once<StorePtr>* once : {&samples_, &ranges_}) {
    if (const StorePtr* store = once->IfMade()) add((*store)->Found);
  }
  return all;
}

const BlockRec& Recording::State::Find(std::size_t block, std::size_t channel,
                                       std::int64_t first) const {
  if (block >= store_->Blocks.size())
    throw std::out_of_range(Sentence("Recording: no block ", block));
  const BlockRec& record = store_->Blocks[block];
  if (channel >= record.ChannelIndex.size())
    throw std::out_of_range(Sentence("Recording: no channel ", channel, " in block ", block));
  if (first < 0) throw std::out_of_range(Sentence("Recording: no sample ", first));
  return record;
}

const RecordingStore& Recording::State::ForReading(const BlockRec& block, bool counts) const {
  const auto once = [this](Once<StorePtr>& store, Later kind) -> const RecordingStore& {
    if (!store_->Work(kind)) return *store_;
    return *store.Get(maker_, [&] { return std::make_shared<const RecordingStore>(DoWork(kind)); });
  };
  // No recording leaves both: what is rewritten gets its ranges on the way.
  const bool ranges = counts && block.HasRealSamples() && store_->Work(Later::Ranges);
  return ranges ? once(ranges_, Later::Ranges) : once(samples_, Later::Samples);
}

Recording Recording::Open(const std::filesystem::path& path, const OpenOptions& options) {
  const auto state = std::make_shared<State>(options);
  state->Open(path.string(), {},
              [&path](Opening& opening) { OpenRecordingFile(opening, FromUtf8(path.string())); });
  return Recording(state);
}

Recording Recording::Open(std::shared_ptr<const ByteSource> source, std::string_view name,
                          const OpenOptions& options) {
  if (!source) throw std::invalid_argument("Recording::Open: no source");
  const auto state = std::make_shared<State>(options);
  state->Open(std::string(name), std::move(source),
              [&name](Opening& opening) { opening.Store.FileName = FromUtf8(name); });
  return Recording(state);
}

const std::filesystem::path& Recording::Path() const {
  return state_->Path;
}

std::string_view Recording::Format() const {
  return state_->Store().Format;
}

std::string_view Recording::FormatName() const {
  return FindFormat(Format())->Name;
}

const std::string& Recording::Sidecar() const {
  return state_->Store().Sidecar;
}

std::optional<Date> Recording::Start() const {
  return state_->Start;
}

FileStamp Recording::Stamp() const {
  return state_->Stamp;
}

const std::string& Recording::Notes() const {
  return state_->Notes;
}

const std::vector<Block>& Recording::Blocks() const {
  return state_->Blocks;
}

const std::vector<HeaderField>& Recording::Fields() const {
  return state_->Fields;
}

const std::vector<Comment>& Recording::Comments() const {
  return state_->Comments().List;
}

std::vector<Finding> Recording::Findings() const {
  return state_->Findings();
}

template <Sample T>
std::int64_t Recording::ReadSpan(std::size_t block, std::size_t channel, std::int64_t first,
                                 std::span<T> target) const {
  const BlockRec& record = state_->Find(block, channel, first);
  const std::int64_t count =
      std::clamp<std::int64_t>(record.SizeChannel - first, 0, std::ssize(target));
  if (count == 0) return 0;
  const RecordingStore& store = state_->ForReading(record, std::integral<T>);
  ReadSamples(*store.DataFile, store.Blocks[block], channel, first,
              target.first(static_cast<std::size_t>(count)));
  return count;
}

template <Sample T>
std::int64_t Recording::ReadFrameSpan(std::size_t block, std::int64_t first,
                                      std::span<T> target) const {
  const BlockRec& record = state_->Find(block, 0, first);
  const std::int64_t room = std::ssize(target) / record.ChannelCount;
  const std::int64_t count = std::clamp<std::int64_t>(record.SizeChannel - first, 0, room);
  if (count == 0) return 0;
  const RecordingStore& store = state_->ForReading(record, std::integral<T>);
  ReadWholeFrames(*store.DataFile, store.Blocks[block], first,
                  target.first(static_cast<std::size_t>(count * record.ChannelCount)));
  return count;
}

#define LMIMPORT_READS(T)                                                                        \
  template LMIMPORT_API std::int64_t Recording::ReadSpan(std::size_t, std::size_t, std::int64_t, \
                                                         std::span<T>) const;                    \
  template LMIMPORT_API std::int64_t Recording::ReadFrameSpan(std::size_t, std::int64_t,         \
                                                              std::span<T>) const;
LMIMPORT_READS(std::int16_t)
LMIMPORT_READS(std::int32_t)
LMIMPORT_READS(float)
LMIMPORT_READS(double)
#undef LMIMPORT_READS

void Recording::Overview(std::size_t block, std::size_t channel, std::int64_t first,
                         std::int64_t count, std::span<Extremes> bins) const {
  const BlockRec& record = state_->Find(block, channel, first);
  if (count < 0) throw std::out_of_range(Sentence("Recording: ", count, " samples"));
  const RecordingStore& store = state_->ForReading(record, false);
  ReadOverview(*store.DataFile, store.Blocks[block], channel,
               std::min<std::int64_t>(first, record.SizeChannel), count, bins);
}

void Recording::OverviewFrames(std::size_t block, std::int64_t first, std::int64_t count,
                               std::span<Extremes> bins) const {
  const BlockRec& record = state_->Find(block, 0, first);
  if (count < 0) throw std::out_of_range(Sentence("Recording: ", count, " samples"));
  const RecordingStore& store = state_->ForReading(record, false);
  ReadFrameOverview(*store.DataFile, store.Blocks[block],
                    std::min<std::int64_t>(first, record.SizeChannel), count, bins);
}

std::vector<FormatDescription> KnownFormats() {
  std::vector<FormatDescription> formats;
  for (const lmimport::Format& format : ReadFormats()) {
    if (FindFormat(format.Id) == &format) {
      const FormatTexts& texts = TextsOfFormat(format.Id);
      formats.push_back({.Id = format.Id,
                         .Name = format.Name,
                         .Patterns = format.Patterns,
                         .Number = int{format.FileType},
                         .FirstBytes = MarksOf(format.Id),
                         .Extensions = ExtensionsOf(format.Id),
                         .Versions = texts.Versions,
                         .Limits = texts.Limits,
                         .Sidecars = texts.Sidecars,
                         .Published = texts.Published,
                         .Written = texts.Written});
    }
  }
  return formats;
}

}  // namespace lmimport
