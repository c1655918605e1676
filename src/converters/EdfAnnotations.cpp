#include "converters/EdfAnnotations.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lmimport {
namespace {

constexpr std::size_t PieceBytes = 16384;
constexpr std::size_t LongestText = 256;      // characters of a comment
constexpr std::size_t LongestList = 1 << 16;  // bytes; what a signal of garbage has more is dropped
constexpr Double LargestCapacity = 20000;

constexpr Byte ListEnd = 0, TextEnd = 20, DurationMark = 21, FirstCharacter = 32;

// Takes the signal byte by byte. A list is an onset, perhaps a duration, and texts, each with a
// mark after it, and a zero byte. Marks aren't told apart: a duration is part of the text.
class AnnotationWalk {
 public:
  AnnotationWalk(const TextTools& texts, BlockRec& block, std::size_t capacity, Single duration,
                 EdfAnnotationReport& report)
      : texts_(texts), block_(block), capacity_(capacity), duration_(duration), report_(report) {}

  void BeginRecord(std::int64_t record) {
    record_ = record;
    listIndex_ = 0;
  }

  void Take(Byte byte) {
    if (byte == ListEnd) {
      if (!onset_.empty()) EndList();
    } else if (byte == TextEnd || byte == DurationMark) {
      if (onset_.empty()) {
        onset_.swap(text_);
        isDuration_ = byte == DurationMark;
      } else {
        EndText();
        Add(' ');
      }
    } else if (byte >= FirstCharacter) {
      Add(static_cast<char>(byte));
    }
  }

 private:
  // The mark that ends a text, or the duration.
  void EndText() {
    keepsTime_ = keepsTime_ || text_.empty();
    if (text_.size() > textStart_) isDuration_ ? void(hasDuration_ = true) : void(++textCount_);
    isDuration_ = false;
    textStart_ = text_.size() + 1;
  }

  void Add(char c) {
    if (text_.size() < LongestList) text_ += c;
  }

  void EndList() {
    const Double onset = ParseDouble(texts_.Text(onset_));
    if (listIndex_ == 0 && keepsTime_) KeepTime(onset);
    const String text = TrimBlanks(texts_.Text(text_));
    if (!text.empty() || listIndex_ >= 1) Annotate(onset, text);
    onset_.clear();
    text_.clear();
    textStart_ = 0;
    textCount_ = 0;
    keepsTime_ = hasDuration_ = isDuration_ = false;
    ++listIndex_;
  }

  void Annotate(Double onset, const String& text) {
    const Double place = std::nearbyint(Double{block_.SamplingRate} * onset);
    if (place >= block_.SizeChannel) {
      ++report_.PastEnd;
    } else if (!(place >= 1)) {
      ++report_.AtOnset0;
    } else if (block_.Comments.size() >= capacity_) {
      ++report_.OutOfRoom;
    } else {
      if (hasDuration_) ++report_.Durations;
      if (textCount_ > 1) ++report_.JoinedTexts;
      report_.MisreadUtf8 = report_.MisreadUtf8 || texts_.MisreadsUtf8(text_);
      // A new text: the room of a long one would stay with the comment.
      block_.Comments.push_back({static_cast<Long>(place) + 1, 0, text.substr(0, LongestText)});
    }
  }

  // Less than half a sample apart is not a gap, but the rounding of a decimal number.
  void KeepTime(Double onset) {
    if (record_ == 0) report_.FirstOnset = onset;
    const Double expected = keptOnset_ + static_cast<Double>(record_ - keptRecord_) * duration_;
    const bool gap = std::abs(onset - expected) * block_.SamplingRate > 0.5;
    if (gap && keptRecord_ >= 0 && ++report_.Gaps == 1) {
      report_.FirstGapRecord = record_;
      report_.FirstGapOnset = onset;
    }
    keptRecord_ = record_;
    keptOnset_ = onset;
  }

  const TextTools& texts_;
  BlockRec& block_;
  std::size_t capacity_;
  Double duration_;
  EdfAnnotationReport& report_;
  std::int64_t record_ = 0;
  Long listIndex_ = 0;
  std::string onset_;  // these two go on from record to record
  std::string text_;
  std::size_t textStart_ = 0;     // of the current part of text_
  Long textCount_ = 0;            // that have ended in this list
  bool isDuration_ = false;       // the current part is the duration
  bool hasDuration_ = false;      // which ended in this list
  bool keepsTime_ = false;        // the first text of the list is empty
  std::int64_t keptRecord_ = -1;  // the last record whose first list kept its time
  Double keptOnset_ = 0;
};

}  // namespace

Long ReadEdfAnnotations(BinaryFile& File, const TextTools& Texts, BlockRec& Block,
                        std::int64_t Position, std::int64_t RecordBytes,
                        std::int64_t AnnotationBytes, std::int64_t RecordCount,
                        Single RecordDuration, EdfAnnotationReport& Report, Progress& Progress) {
  const Double room = static_cast<Double>(RecordCount) * static_cast<Double>(AnnotationBytes) / 4;
  const auto capacity = static_cast<std::size_t>(std::min(std::nearbyint(room), LargestCapacity));
  Block.Comments.clear();
  AnnotationWalk walk(Texts, Block, capacity, RecordDuration, Report);
  std::array<Byte, PieceBytes> piece;
  for (std::int64_t record = 0; record < RecordCount; ++record) {
    walk.BeginRecord(record);
    File.Seek(Position + record * RecordBytes);
    for (std::int64_t left = AnnotationBytes; left > 0;) {
      Progress.Report(record, RecordCount);
      const std::int64_t wanted = std::min<std::int64_t>(left, PieceBytes);
      const std::int64_t done = File.ReadByteArray(piece.data(), wanted);
      for (std::int64_t i = 0; i < done; ++i) walk.Take(piece[static_cast<std::size_t>(i)]);
      left = done < wanted ? 0 : left - done;
    }
  }
  Block.CommentCount = static_cast<Long>(Block.Comments.size());
  return Block.CommentCount;
}

}  // namespace lmimport
