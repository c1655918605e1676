// A recording for any host: any number open at once, on any thread.
#pragma once

#include <lmimport/ByteSource.h>
#include <lmimport/Fields.h>
#include <lmimport/Findings.h>

#include <concepts>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <ranges>
#include <system_error>

namespace lmimport {

/// How 16-bit data that nothing describes is read.
struct RawData {
  int ChannelCount = 1;       // 1 to 32
  double SamplingRate = 100;  // of each channel, above 0 and below 10 to the power of 10
};

struct OpenOptions {
  Reading As = Reading::Published;
  int CodePage = 1252;  // of 8-bit texts: 1250 to 1258, 874, 65001 for UTF-8; 0: the system's
  std::optional<RawData> Raw = {};  // without it, data that nothing describes is refused
  bool KeepFields = false;          // keeps what Fields() lists
  /// Of long work: is called with the part that is done, from 0 to 1, when the work begins and then
  /// some ten times a second, on the thread that opens or reads; gives false to give the work up.
  /// It must not read from the recording: what isn't read yet throws std::logic_error there.
  std::function<bool(double Fraction)> Progress = {};
};

struct Channel {
  std::string Title;
  std::string Unit;
  int Number = 1;  // in the file, from 1
  double Factor = 1;
  // value = count * Factor + Offset. 1 and 0 where the file has values: counts of those say no
  // value, as their scale is LMImport's own.
  double Offset = 0;
};

struct Block {
  std::string Device;
  std::string Title;
  std::string Notes;
  double StartTime = 0;         // seconds from the start of the recording
  double SamplingRate = 0;      // samples per second of each channel
  std::int64_t FrameCount = 0;  // samples of each channel
  // Frames whose samples all lie in the file; those after it read as stored zeros, or go on with the
  // last values where frames are worked out. Of packed samples, whose streams an open believes, all.
  std::int64_t HeldFrames = 0;
  int SampleBits = 16;       // as stored
  int CountBits = 16;        // of a count: 16 for the 8 bits of A-law and mu-law, else SampleBits
  bool RealSamples = false;  // Single or Double, values as they are
  std::vector<Channel> Channels;
};

struct Comment {
  double Time = 0;                                             // seconds from the recording's start
  double Duration = std::numeric_limits<double>::quiet_NaN();  // seconds; NaN: none stated
  std::size_t BlockIndex = 0;                                  // the block that it belongs to
  std::string Text;
};

/// Of a source that is not a file, Seconds and Nanoseconds are 0.
struct FileStamp {
  std::int64_t Size = 0;     // bytes
  std::int64_t Seconds = 0;  // last write, since 1970, UTC
  std::int64_t Nanoseconds = 0;
};

/// Why an open failed; an error_code of the category "lmimport". A file is of an unknown format where
/// what its name or first bytes promise isn't there, and of an unsupported one where it is, in a
/// coding or version that isn't read; a finding says more.
enum class OpenFault { UnknownFormat = 1, UnsupportedFormat, FormatError, NoData, GivenUp };
LMIMPORT_API std::error_code make_error_code(OpenFault Fault);  // named by the standard library

/// What Recording::Open throws. code() is an OpenFault, or the system's own error; what() is one
/// sentence with the name of the file.
class LMIMPORT_API OpenError : public std::system_error {
 public:
  OpenError(std::error_code Code, const std::string& Sentence, std::vector<Finding> Findings);
  const char* what() const noexcept override { return sentence_->c_str(); }

  /// What was noticed until the open failed; one of them says why it did.
  const std::vector<Finding>& Findings() const { return *findings_; }

 private:
  std::shared_ptr<const std::string> sentence_;
  std::shared_ptr<const std::vector<Finding>> findings_;
};

/// What samples are read as: counts, held or exact, or values.
template <class T>
concept Sample = std::same_as<T, std::int16_t> || std::same_as<T, std::int32_t> ||
    std::same_as<T, float> || std::same_as<T, double>;

/// An open recording: immutable, cheap to copy, and good on any thread, also on several at a time.
/// It depends on its options and its bytes alone, and writes nothing that outlives it. Texts are
/// UTF-8, indices count from 0, and a range is [first, first + size of the target).
///
/// An open reads headers. Comments, the ranges that counts of real numbers need, and what must be
/// unpacked into a temporary file are read when they are first asked for, once. What can't be read
/// then leaves as std::system_error, an OpenError where it is the file's or the host's doing, and
/// the next call tries again.
class LMIMPORT_API Recording {
 public:
  /// Throws OpenError; std::invalid_argument for options that make no sense.
  static Recording Open(const std::filesystem::path& path, const OpenOptions& options = {});

  /// `name` is that of a file: its ending tells the format where the first bytes don't, and names
  /// of files beside it are made of it.
  static Recording Open(std::shared_ptr<const ByteSource> source, std::string_view name,
                        const OpenOptions& options = {});

  // Copying costs a counter, and so does moving: what was moved from stays open.
  Recording(const Recording&) = default;
  Recording& operator=(const Recording&) = default;

  const std::filesystem::path& Path() const;  // with its folder; of a source, its name
  std::string_view Format() const;            // short and stable, such as "edf": see KnownFormats
  std::string_view FormatName() const;        // "European Data Format"
  const std::string& Sidecar() const;  // file name of what described the samples; empty: nothing
  std::optional<Date> Start() const;   // nothing where the file states none
  FileStamp Stamp() const;             // as the file was opened
  const std::string& Notes() const;
  const std::vector<Block>& Blocks() const;  // in the order of the file

  /// What values, rates and times of this reading come from, in the order in which it was read; as
  /// many as the bytes of the file stand behind. Empty without OpenOptions::KeepFields.
  const std::vector<HeaderField>& Fields() const;

  /// By time, those that the file holds; read when first asked for. Where a block has no rate, its
  /// comments have its start time.
  const std::vector<Comment>& Comments() const;

  /// So far: what is read later may add some. What tells of times, such as gaps, is seen as the
  /// comments are read: call Comments first to know all of it.
  std::vector<Finding> Findings() const;

  /// Samples of one channel: fills the target, a span, vector or array of a kind of Sample, as far
  /// as the channel goes, and gives how far. Counts as int16_t, held at its limits, and int32_t,
  /// exact for every kind of integer; of real numbers those of the scale that LMImport gives them,
  /// rounded to nearest, ties to even, NaN as 0. Values as float and double. What a cut-off file
  /// lacks reads as stored zeros. A block or channel that doesn't exist and a `first` below 0 throw
  /// std::out_of_range.
  template <class Samples>
  std::int64_t Read(std::size_t block, std::size_t channel, std::int64_t first,
                    Samples&& target) const {
    return ReadSpan<std::ranges::range_value_t<Samples>>(block, channel, first, target);
  }

  /// The same for whole frames: the sample of channel c in frame first + i comes to element
  /// i * channels + c. Gives the number of frames, as many as the target has room for; the rest of
  /// the target is left alone.
  template <class Samples>
  std::int64_t ReadFrames(std::size_t block, std::int64_t first, Samples&& target) const {
    return ReadFrameSpan<std::ranges::range_value_t<Samples>>(block, first, target);
  }

  /// Smallest and largest value, as Read gives them as double, of `count` samples in as many parts
  /// as `bins` has, as equal as whole samples can be, in one pass. NaN among the samples is passed
  /// over. Throws as Read does, also for a `count` below 0.
  void Overview(std::size_t block, std::size_t channel, std::int64_t first, std::int64_t count,
                std::span<Extremes> bins) const;

  /// The same for all channels of the block in one pass: of part i, that of channel c comes to
  /// element i * channels + c. There are as many parts as `bins` has room for; the rest of it is
  /// left alone.
  void OverviewFrames(std::size_t block, std::int64_t first, std::int64_t count,
                      std::span<Extremes> bins) const;

 private:
  class State;
  explicit Recording(std::shared_ptr<const State> state) : state_(std::move(state)) {}
  template <Sample T>
  std::int64_t ReadSpan(std::size_t block, std::size_t channel, std::int64_t first,
                        std::span<T> target) const;
  template <Sample T>
  std::int64_t ReadFrameSpan(std::size_t block, std::int64_t first, std::span<T> target) const;

  std::shared_ptr<const State> state_;
};

/// A format that is read.
struct FormatDescription {
  std::string_view Id;
  std::string_view Name;
  std::string_view Patterns;  // of file names, separated by ";"; empty: no ending of its own
  int Number;                 // LMIFile::FileType

  // What a file is known by, in one reading or both; first bytes decide before the name does.
  std::vector<std::string_view> FirstBytes;
  std::string Extensions;  // "*.wdq;*.wdh;*.whc": all, also where a dialog shows none

  // Texts of a sentence or two.
  std::string_view Versions;
  std::string_view Limits;
  std::string_view Sidecars;  // files beside it, NAME being its own without the ending; empty: none
  std::string_view Published;  // what is read by the published layout
  std::string_view Written;    // what LMImport makes of it by its own rules
};
LMIMPORT_API std::vector<FormatDescription> KnownFormats();

}  // namespace lmimport

/// So that an error_code is compared with an OpenFault.
template <>
struct std::is_error_code_enum<lmimport::OpenFault> : std::true_type {};
