// What one open works with.
#pragma once

#include <optional>
#include <string_view>

#include "model/BinaryFile.h"
#include "model/HeaderView.h"
#include "model/Progress.h"
#include "model/RecordingStore.h"

namespace lmimport {

/// Samples per second where neither a file nor the host says better.
inline constexpr Single FallbackSamplingRate = 100;

/// Why an open ends. The first four have a message each; the others are faults, of the kinds of the
/// standard library.
enum class Refusal : Long {
  UnknownFormat = 0,
  UnsupportedFormat = 1,
  FormatError = 2,
  NoData = 3,
  DomainFault,
  RangeFault,
  TextFault,  // a text that isn't what it should be: std::invalid_argument
  LengthFault,
  SystemFault,  // the file system didn't give what the open needs
};

/// The one way in which an open is refused: thrown by readers, and turned by each face into what its
/// hosts expect.
struct RefusedOpen {
  Refusal Why;
  std::string_view Code;  // of the finding, these three
  std::int64_t Position;
  std::string Text;
  std::string Detail = {};     // follows the message as it is
  std::error_code Error = {};  // of a SystemFault
};

/// Ends the open; the parts make up the text of the finding.
template <class... Parts>
[[noreturn]] void Refuse(Refusal why, std::string_view code, std::int64_t position,
                         const Parts&... parts) {
  throw RefusedOpen{why, code, position, Sentence(parts...)};
}
template <class... Parts>
[[noreturn]] void RefuseAsUnknown(std::int64_t position, const Parts&... parts) {
  Refuse(Refusal::UnknownFormat, "not-of-format", position, parts...);
}
template <class... Parts>
[[noreturn]] void RefuseAsDamaged(std::int64_t position, const Parts&... parts) {
  Refuse(Refusal::FormatError, "damaged", position, parts...);
}

/// The number as a Single. A finite one that is too large for it is a fault that names the field.
Single Narrowed(Double value, std::string_view field, std::int64_t position = -1);

/// Where a finding is.
struct Place {
  Place(std::int64_t position, int block = -1, int channel = -1)
      : Position(position), Block(block), Channel(channel) {}
  /// Both from 0.
  static Place OfChannel(std::int64_t position, std::size_t channel, std::size_t block = 0) {
    return {position, static_cast<int>(block), static_cast<int>(channel)};
  }
  std::int64_t Position;
  int Block;
  int Channel;
};

/// What describes raw data that nothing else does.
struct RawDefaults {
  Integer ChannelCount = 1;
  Single SamplingRate = FallbackSamplingRate;
};

struct OpenRules {
  Reading As = Reading::Written;
  std::optional<RawDefaults> Raw = RawDefaults();  // nothing: such data is refused
  Single SamplingRate = FallbackSamplingRate;      // where a format leaves it to the host
  bool AllAtOnce = true;      // comments, ranges and rewriting are part of the open
  bool KeepsFlatFile = true;  // what is rewritten stays beside the recording
  bool DatesByFile = true;    // a block without a start has the date of the file
  bool KeepsFields = false;   // the fields that are told
};

/// A reader finds the recording open in DataFile, its first bytes in Magic and its name in
/// Store.FileName, and fills the store. When it gives up, the half-filled store just goes.
struct Opening {
  Opening(const TextTools& texts, OpenRules rules, Progress& progress,
          std::shared_ptr<const ByteSource> source = {})
      : Texts(texts), Rules(rules), Progress(progress), DataFile(Texts, std::move(source)) {}
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

  /// By the layout that the format's maker published, else as the rules of LMImport have it.
  bool IsPublished() const { return Rules.As == Reading::Published; }

  /// What a header may state.
  Integer LargestChannels() const {
    return IsPublished() ? LargestPublishedChannelCount : LargestChannelCount;
  }

  const TextTools Texts;
  const OpenRules Rules;
  class Progress& Progress;
  BinaryFile DataFile;
  platform::Folder Folder;  // that DataFile was opened in, where a flat data file may stay in it
  Long Magic = 0;           // first four bytes of the file
  RecordingStore Store;

  /// Refuses a file that is too short for `what`, such as "a WinDaq file".
  void NeedBytes(std::int64_t size, std::string_view what, Refusal why = Refusal::NoData) const;

  /// Refuses a block whose rate isn't finite, or of which a scale is NaN.
  static void CheckNumbers(const BlockRec& block);

  template <class... Parts>
  void Note(std::string_view code, const Place& place, const Parts&... parts) {
    Add(false, code, place, Sentence(parts...));
  }
  template <class... Parts>
  void Warn(std::string_view code, const Place& place, const Parts&... parts) {
    Add(true, code, place, Sentence(parts...));
  }

  /// A field of a header that values, rates or times come from: a number, or a text as UTF-8 or as a
  /// String. It becomes a text only where fields are kept. A place past the end of the file is none,
  /// since what isn't there reads as 0.
  template <class Value>
  void Tell(const Place& place, std::string_view name, const Value& value,
            std::string_view meaning) {
    if (!Rules.KeepsFields) return;
    if constexpr (std::is_convertible_v<Value, std::u16string_view>)
      AddField(place, name, ToUtf8(value), meaning);
    else
      AddField(place, name, Sentence(value), meaning);
  }

  /// The same of a header that begins at `origin`; at -1, it is not in the file of the recording.
  template <class AnyField>
  void Tell(const HeaderView& header, AnyField field, std::string_view name,
            std::string_view meaning, const Place& origin = 0) {
    if (!Rules.KeepsFields) return;
    const std::int64_t position = origin.Position < 0 ? -1 : origin.Position + field.Position();
    Tell({position, origin.Block, origin.Channel}, name, header[field], meaning);
  }

  /// The fields of a date: year, month, day, hour, minute, second.
  template <class... DateFields>
  void TellDate(const HeaderView& header, std::string_view meaning, const Place& origin,
                DateFields... fields) {
    static_assert(sizeof...(fields) == 6);
    std::size_t i = 0;
    constexpr std::array<std::string_view, 6> names = {"year", "month",  "day",
                                                       "hour", "minute", "second"};
    (Tell(header, fields, names[i++], meaning, origin), ...);
  }

  /// The rate where the file states none.
  void TellDefaultRate(Single rate) {
    Tell(-1, "default rate", rate, "samples per second where the file states none");
  }

  /// All that were told after the first `count`.
  void ForgetFields(std::size_t count) {
    if (count < Store.Fields.size()) Store.Fields.resize(count);
  }

  /// How a count becomes a value, in the names of the fields.
  void TellFormula(std::string_view formula, const Place& place = -1) {
    Tell(place, "formula", formula, "value of a count");
  }

  /// Does the work now, or leaves it in the store. It must not refer to this object, only to the
  /// one that it is called with, whose store is a copy.
  void DoOrDefer(Later kind, std::function<void(Opening&)> work);

  /// A comment of the published reading, at so many seconds from the start of the recording: it
  /// belongs to the last block that starts there or before, of several the first, else to the first
  /// of all. Blocks are sorted by their start.
  void AddComment(Double time, Double duration, String text);

  /// The date of the file, for a format that states no start; 0 where such a date is no start.
  Date DateOfFile();

  /// The end of most readers: the variant of the format, and FileRec of the blocks as they are, with
  /// rate and channels of the first. Without a version of its own, a format has that of the library.
  void FinishFile(Long signature, Integer versionMajor, Integer versionMinor, Long fileSubType = 0);
  void FinishFile(Long signature, Long fileSubType = 0) {
    FinishFile(signature, LibraryMajor, LibraryMinor, fileSubType);
  }

 private:
  void AddField(const Place& place, std::string_view name, std::string value,
                std::string_view meaning);
  void Add(bool warning, std::string_view code, const Place& place, std::string text) {
    Store.Found.push_back(
        {warning, code, place.Position, place.Block, place.Channel, std::move(text)});
  }
};

}  // namespace lmimport
