// The records hold the samples of each signal in turn. Of EDF+, some signals hold lists instead, of
// bytes ("EDF+, an EDF extension", Clin. Neurophysiol. 114, 2003):
//
//   onset in seconds, with its sign; perhaps byte 21 and a duration; byte 20; texts in UTF-8, each
//   with byte 20 behind it; byte 0
//
// The first list of a record, in the first such signal, begins with an empty text and tells when the
// record begins.
#include "converters/EdfInPlace.h"

#include <cmath>
#include <map>

namespace lmimport {
namespace {

constexpr Byte TextEnd = 20, DurationMark = 21;
constexpr std::size_t OnsetBytes = 64;  // enough for the first list of a record

// A sign and a decimal number, and nothing else.
std::optional<Double> OnsetIn(std::string_view text) {
  const bool signedNumber = text.size() > 1 && (text[0] == '+' || text[0] == '-');
  if (!signedNumber || text.find_first_not_of("0123456789.", 1) != std::string_view::npos)
    return {};
  const Double onset = ParseDouble(text);
  return std::isfinite(onset) ? std::optional(onset) : std::nullopt;
}

struct TimedList {
  std::optional<Double> Onset;  // nothing where it is no number
  Double Duration = NotStated;
  std::vector<std::string_view> Texts;
};

// The list that begins the text, without its zero byte.
TimedList ListOf(std::string_view text) {
  constexpr std::string_view marks = "\x14\x15";
  TimedList list;
  const std::size_t onsetEnd = std::min(text.find_first_of(marks), text.size());
  list.Onset = OnsetIn(text.substr(0, onsetEnd));
  if (onsetEnd < text.size() && text[onsetEnd] == DurationMark) {
    const std::size_t end = std::min(text.find(TextEnd, onsetEnd), text.size());
    const std::string_view duration = text.substr(onsetEnd + 1, end - onsetEnd - 1);
    if (!duration.empty()) list.Duration = ParseDouble(duration);
    text.remove_prefix(end);
  } else {
    text.remove_prefix(onsetEnd);
  }
  // Now each mark is followed by a text, the last by nothing.
  while (!text.empty()) {
    text.remove_prefix(1);
    const std::size_t end = text.find(TextEnd);
    if (end == std::string_view::npos) break;
    list.Texts.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return list;
}

// Calls take(number, list) for the lists of one record.
template <class Take>
void WalkLists(std::string_view bytes, Take take) {
  std::int64_t number = 0;
  while (!bytes.empty()) {
    const std::size_t begin = bytes.find_first_not_of('\0');
    if (begin == std::string_view::npos) return;
    bytes.remove_prefix(begin);
    const std::size_t end = std::min(bytes.find('\0'), bytes.size());
    take(number++, ListOf(bytes.substr(0, end)));
    bytes.remove_prefix(end);
  }
}

// Where the bytes of a signal lie in a record.
struct SignalPlace {
  std::int64_t Start;
  std::int64_t Bytes;
};

std::vector<SignalPlace> AnnotationPlaces(const EdfLayout& layout) {
  std::vector<SignalPlace> places;
  std::int64_t start = 0;
  for (const EdfSignal& signal : layout.Header.Signals) {
    const std::int64_t bytes = signal.RecordSamples * layout.SampleBytes();
    if (signal.SignalKind == EdfSignal::Kind::Annotations) places.push_back({start, bytes});
    start += bytes;
  }
  return places;
}

// A piece of time without a gap.
struct Piece {
  std::int64_t FirstRecord = 0;
  std::int64_t RecordCount = 0;
  Double Onset = 0;
};

class EdfInPlace {
 public:
  EdfInPlace(Opening& opening, const EdfLayout& layout)
      : opening_(opening), file_(opening.DataFile), layout_(layout), header_(layout.Header) {}

  /// Fills the blocks; gives the onset of the first record.
  Double Read();

 private:
  Double FastestRate() const {
    return static_cast<Double>(layout_.MaxRecordSamples) / header_.RecordDuration;
  }
  std::optional<Double> OnsetOf(std::int64_t record, const SignalPlace& place);
  std::vector<Piece> FindPieces();
  void TellFields(const std::vector<BlockRec>& blocks);
  BlockRec BlockOf(Long recordSamples, const std::vector<std::size_t>& signals,
                   const std::vector<std::int64_t>& starts) const;

  Opening& opening_;
  BinaryFile& file_;
  const EdfLayout& layout_;
  const EdfHeader& header_;
};

std::optional<Double> EdfInPlace::OnsetOf(std::int64_t record, const SignalPlace& place) {
  std::array<char, OnsetBytes> bytes{};
  file_.Seek(header_.ChunkStart + record * layout_.RecordBytes() + place.Start);
  const std::int64_t wanted = std::min<std::int64_t>(place.Bytes, OnsetBytes);
  const std::int64_t done = file_.ReadBytes(bytes.data(), wanted);
  std::string_view text(bytes.data(), static_cast<std::size_t>(done));
  text.remove_prefix(std::min(text.find_first_not_of('\0'), text.size()));
  // What keeps the time has an empty text.
  const std::size_t end = text.find("\x14\x14");
  return end == std::string_view::npos ? std::nullopt : OnsetIn(text.substr(0, end));
}

// Less than half a sample apart is not a gap, but the rounding of a decimal number. A store of as many
// blocks as a file of nothing but gaps would ask for isn't backed by that file: what is beyond it is
// joined, and told.
std::vector<Piece> EdfInPlace::FindPieces() {
  constexpr std::int64_t bytesOfBlock = 1024, bytesOfChannel = 64, growth = 8;
  std::vector<Piece> pieces = {{0, header_.RecordCount, 0}};
  const std::vector<SignalPlace> places = AnnotationPlaces(layout_);
  if (places.empty() || header_.RecordCount == 0) return pieces;
  pieces[0].Onset = OnsetOf(0, places[0]).value_or(0);
  if (!header_.IsDiscontinuous) return pieces;
  const std::int64_t bytesOfPiece = bytesOfBlock + std::ssize(header_.Signals) * bytesOfChannel;
  const std::int64_t most =
      std::min<std::int64_t>(INT16_MAX / std::ssize(header_.Signals),
                             64 + opening_.Store.FileSize * growth / bytesOfPiece);
  Double expected = pieces[0].Onset;
  std::int64_t joined = 0;
  std::int64_t unstated = 0;
  for (std::int64_t record = 0; record < header_.RecordCount; ++record) {
    opening_.Progress.Report(record, header_.RecordCount);
    const std::optional<Double> stated = OnsetOf(record, places[0]);
    if (!stated) ++unstated;
    const Double onset = stated.value_or(expected);
    if (std::abs(onset - expected) * FastestRate() > 0.5) {
      if (std::ssize(pieces) < most) {
        pieces.back().RecordCount = record - pieces.back().FirstRecord;
        pieces.push_back({record, header_.RecordCount - record, onset});
      } else {
        ++joined;
      }
    }
    expected = onset + header_.RecordDuration;
  }
  if (unstated > 0)
    opening_.Warn("times-not-stated", {header_.ChunkStart, 0}, unstated, " of ",
                  header_.RecordCount,
                  " records don't state when they begin, and are taken to follow those before.");
  if (joined > 0)
    opening_.Warn("gaps-joined", -1, "The recording has more gaps than can be shown, and the last ",
                  joined, " of them are joined.");
  return pieces;
}

BlockRec EdfInPlace::BlockOf(Long recordSamples, const std::vector<std::size_t>& signals,
                             const std::vector<std::int64_t>& starts) const {
  BlockRec block;
  block.Notes = header_.Notes;
  block.ADCName = header_.IsBdf ? u"BDF" : u"EDF";
  block.Resolution = header_.IsBdf ? 24 : 16;
  block.SampleType = header_.IsBdf ? SampleInt24 : SampleInt16;
  block.SetRate(recordSamples / header_.RecordDuration);
  block.DimensionChannels(static_cast<Integer>(signals.size()));
  for (std::size_t c = 0; c < signals.size(); ++c) {
    const EdfSignal& signal = header_.Signals[signals[c]];
    block.ChannelIndex[c] = static_cast<Integer>(signals[c]);
    const Double counts = static_cast<Double>(signal.DigitalMax) - signal.DigitalMin;
    const Double factor = (signal.PhysicalMax - signal.PhysicalMin) / counts;
    block.Calibrate(c, factor, signal.PhysicalMin - factor * signal.DigitalMin);
  }
  const bool areFrames = header_.Signals.size() == 1;
  if (!areFrames) block.Lanes = {recordSamples, layout_.RecordBytes(), starts};
  return block;
}

void EdfInPlace::TellFields(const std::vector<BlockRec>& blocks) {
  if (!opening_.Rules.KeepsFields) return;
  TellEdfHeader(opening_, header_);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    for (std::size_t c = 0; c < blocks[i].ChannelIndex.size(); ++c)
      TellEdfSignal(opening_, header_, static_cast<std::size_t>(blocks[i].ChannelIndex[c]), i, c);
  }
  opening_.TellFormula(
      "(count - digital minimum) * (physical maximum - physical minimum) / "
      "(digital maximum - digital minimum) + physical minimum");
}

Double EdfInPlace::Read() {
  // By samples of a record, the most first.
  std::map<Long, std::pair<std::vector<std::size_t>, std::vector<std::int64_t>>, std::greater<>>
      rates;
  std::int64_t start = 0;
  for (std::size_t i = 0; i < header_.Signals.size(); ++i) {
    const EdfSignal& signal = header_.Signals[i];
    if (signal.IsChannel()) {
      auto& [signals, starts] = rates[signal.RecordSamples];
      signals.push_back(i);
      starts.push_back(start);
      ChannelRec& channel = opening_.Store.Channel(i);
      channel.ChannelTitle = signal.Label;
      channel.ChannelUnitName = signal.Unit;
    }
    start += signal.RecordSamples * layout_.SampleBytes();
  }
  std::vector<BlockRec> blocks;
  blocks.reserve(rates.size());
  for (const auto& [recordSamples, members] : rates)
    blocks.push_back(BlockOf(recordSamples, members.first, members.second));
  TellFields(blocks);
  std::vector<Piece> pieces = FindPieces();
  const Double firstOnset = pieces.front().Onset;
  std::ranges::stable_sort(pieces, {}, &Piece::Onset);
  Date& recordingStart = opening_.Store.Start;
  const Date origin = header_.StartDateTime;
  if (header_.HasStart) recordingStart = origin + firstOnset / 86400;
  for (const Piece& piece : pieces) {
    for (const BlockRec& rate : blocks) {
      BlockRec& block = opening_.Store.Blocks.emplace_back(rate);
      block.DataPtr = header_.ChunkStart + piece.FirstRecord * layout_.RecordBytes();
      block.SizeChannel = HeldAsLong(
          piece.RecordCount *
          header_.Signals[static_cast<std::size_t>(block.ChannelIndex[0])].RecordSamples);
      block.StartTime = piece.Onset - firstOnset;
      block.StartDateTime = origin == 0 ? 0 : origin + piece.Onset / 86400;
    }
  }
  return firstOnset;
}

// All lists of all annotation signals. An empty text is none, unless it is all that a list with a
// duration has.
void ReadLists(Opening& opening, const EdfLayout& layout, Double firstOnset) {
  struct Annotation {
    Double Time;
    Double Duration;
    String Text;
  };
  const EdfHeader& header = layout.Header;
  std::vector<Annotation> annotations;
  std::int64_t unplaced = 0;
  const std::vector<SignalPlace> places = AnnotationPlaces(layout);
  std::string bytes;
  for (std::int64_t record = 0; record < header.RecordCount; ++record) {
    opening.Progress.Report(record, header.RecordCount);
    for (const SignalPlace& place : places) {
      bytes.resize(static_cast<std::size_t>(place.Bytes));
      opening.DataFile.Seek(header.ChunkStart + record * layout.RecordBytes() + place.Start);
      opening.DataFile.ReadBytes(bytes.data(), place.Bytes);
      WalkLists(bytes, [&](std::int64_t, const TimedList& list) {
        if (!list.Onset) {
          ++unplaced;
          return;
        }
        const bool bare = list.Texts.size() == 1 && !std::isnan(list.Duration);
        for (const std::string_view text : list.Texts) {
          if (!text.empty() || bare)
            annotations.push_back({*list.Onset - firstOnset, list.Duration, FromUtf8(text)});
        }
      });
    }
  }
  if (unplaced > 0)
    opening.Note("annotations-left-out", {header.ChunkStart, 0}, unplaced,
                 " lists of annotations are left out, since their onset is no number.");
  std::ranges::stable_sort(annotations, {}, &Annotation::Time);
  for (Annotation& annotation : annotations)
    opening.AddComment(annotation.Time, annotation.Duration, std::move(annotation.Text));
}

}  // namespace

void ReadEdfInPlace(Opening& opening, const std::shared_ptr<EdfLayout>& layout) {
  const Double firstOnset = EdfInPlace(opening, *layout).Read();
  const bool hasLists = layout->Count([](const EdfSignal& signal) {
    return signal.SignalKind == EdfSignal::Kind::Annotations;
  }) > 0;
  if (hasLists)
    opening.DoOrDefer(Later::Comments, [layout, firstOnset](Opening& later) {
      ReadLists(later, *layout, firstOnset);
    });
  if (layout->Header.MisreadUtf8)
    opening.Warn("text-utf8", -1,
                 "Texts of the header are UTF-8, and are shown by another code page; the page "
                 "65001 shows them.");
  opening.FinishFile(FourCharacters("data"));
}

}  // namespace lmimport
