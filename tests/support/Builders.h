// Recordings made byte by byte, in the order of their layout, and a folder to put them in.
#pragma once

#include <lmimport/lmimport.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lmimport::test {

/// Appends fields, little-endian ones unless it is said otherwise.
class Bytes {
 public:
  explicit Bytes(bool bigEndian = false) : bigEndian_(bigEndian) {}
  Bytes& Int8(int value) { return Append(static_cast<Byte>(value)); }
  Bytes& Int16(int value) { return Append(static_cast<std::uint16_t>(value)); }
  Bytes& Int32(std::int64_t value) { return Append(static_cast<std::uint32_t>(value)); }
  Bytes& Real32(float value) { return Append(value); }
  Bytes& Real64(double value) { return Append(value); }
  Bytes& Text(std::string_view text) { return bytes_ += text, *this; }
  Bytes& Zeros(std::size_t count) { return bytes_.append(count, '\0'), *this; }
  Bytes& PadTo(std::size_t size) { return Zeros(size - bytes_.size()); }
  Bytes& CountedText(std::string_view text) {
    return Int32(static_cast<std::int64_t>(text.size())).Text(text);
  }

  const std::string& Get() const { return bytes_; }
  std::size_t Size() const { return bytes_.size(); }

 private:
  template <class T>
  Bytes& Append(T value) {
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof(value));
    if (bigEndian_) std::reverse(bytes_.end() - sizeof(value), bytes_.end());
    return *this;
  }
  std::string bytes_;
  bool bigEndian_;
};

/// A zlib stream of the bytes, as they are.
std::string Zlib(std::string_view bytes);

/// The same bytes with some replaced, from an offset on.
std::string Patched(std::string bytes, std::size_t offset, const Bytes& patch);

using Fields = std::vector<std::pair<std::size_t, Bytes>>;

/// So many bytes, zeros but for the fields at their offsets.
std::string Filled(std::size_t size, const Fields& fields);

struct ChartComment {
  int Position;
  std::string Text;
};

/// What is not stated counts itself from the rest.
struct ChartBlock {
  std::string Signature = "ADBl";
  float Rate = 1000;
  std::vector<int> ChannelIndex = {0, 1};
  std::vector<float> Scale = {100, 200};
  std::vector<float> Offset = {0, 5};
  std::vector<int> Samples = {100, 200, -100, -200, 50, 60};  // interleaved
  std::optional<int> SizeChannel = {};
  std::optional<int> ChannelCount = {};
  std::optional<int> ChunkSize = {};
  std::string ChunkId = "data";
  std::vector<ChartComment> Comments = {{2, "begin"}};
  std::optional<int> CommentCount = {};
};

/// A chart file: by default of 2 channels and one block of 3 frames.
struct Chart {
  int Major = 3;
  int Minor = 2;
  std::optional<int> ChannelCount = {};
  std::optional<int> BlockCount = {};
  std::string ChannelSignature = "ADCh";
  std::vector<std::pair<std::string, std::string>> Channels = {{"Pressure", "mmHg"},
                                                               {"Flow", "l/s"}};
  std::vector<ChartBlock> Blocks = {ChartBlock{}};

  std::string Build() const;
};

struct WinDaqChannel {
  double Slope = 0.5;
  double Intercept = 0;
  std::string Unit = "V";
};

/// A WinDaq file: by default of 2 channels, one frame a second, and 4 frames.
struct WinDaq {
  std::optional<int> ChannelField = {};
  std::vector<WinDaqChannel> Channels = {{0.5, 1, "V"}, {2, -1, "degC"}};
  int StartTime = 86400;
  int EndTime = 86400 + 2;
  int Flags = 2;  // HiRes
  std::vector<int> Samples = {4, 8, -4, -8, 400, 800, 32767, -32768};
  std::optional<int> DataBytes = {};
  std::vector<std::int64_t> Markers = {};
  std::optional<int> TrailerBytes = {};
  std::string Annotations = std::string("Voltage\0Temperature\0", 20);
  std::optional<int> AnnotationBytes = {};
  std::string CommentTexts = {};  // after the annotations

  std::string Build() const;
};

struct Wave {
  std::string Form = "WAVE";
  std::string BeforeFormat = {};  // whole chunks
  std::string BeforeData = {};
  int FormatBytes = 16;
  int Tag = 1;
  int Channels = 2;
  int Rate = 44100;
  std::optional<int> FrameBytes = {};
  int Bits = 16;
  std::vector<int> Samples = {6400, -6400, 3200, 0, 0, 64};  // interleaved
  std::optional<std::int64_t> DataBytes = {};

  std::string Build() const;
};

/// A chunk of a RIFF file, head and body.
std::string Chunk(std::string_view id, std::string_view body);

/// A variable of a MATLAB level 5 file; what is not stated is a row of Doubles.
struct Mat5Variable {
  std::string Name;
  std::vector<int> Dimensions = {1, 4};
  int Type = 9;
  std::string Data = Bytes().Real64(1).Real64(-3).Real64(0).Real64(0.5).Get();
  int Class = 6;
  int Flags = 0;
};

/// An element with its tag, padded to a multiple of 8.
std::string Mat5Element(int type, std::string_view data);
std::string Mat5(const std::vector<Mat5Variable>& variables);

/// A variable of a MATLAB version 4 file.
std::string Mat4(int type, int rows, int columns, bool imaginary, std::string_view name,
                 std::string_view data);

/// An ABF file of version 1.83: physical channels 2, "IN 2" in mV, and 0, "IN 0" in pA; 25 us from
/// sample to sample, 3 frames, and 2 tags.
std::string Abf();

/// ABIN of version 3.3: two channels, 7 "Flow" in l/s, 0.5 a count and 10 at count 0, and 1 "Gas";
/// 100 Hz, 3 frames.
std::string Abin();

/// CFWB: two channels, 0.5 a count and 8 counts on, and -0.25 a count; 1000 Hz, 3 frames.
std::string Cfwb();

/// A section of an ADCLab file, and whole ones: a plain one of two channels with ranges of 10
/// units, and one of a device whose two converters run in pairs. 8 words of samples.
std::string AlfSection(std::string_view name, std::string_view payload);
std::string PlainAlf();
std::string DeviceAlf();

/// An AR recorder file of inputs 0 and 15, 14 bits, 500 Hz, 3 frames.
std::string Ar();

/// A peak cache of layout 0 or 1 with so many sound channels, 50 Hz, and 64 bytes of samples.
std::string Peak(int layout, int sounds, int rate = 50);

struct EdfSignal {
  std::string Label = "EEG";
  std::string Unit = "mV";
  std::vector<std::string> Records;  // the bytes of each
  std::string RecordSamples = {};    // what is not stated counts itself
  std::string PhysicalMin = "-100";
  std::string PhysicalMax = "100";
  std::string DigitalMin = "-1000";
  std::string DigitalMax = "1000";
};

/// Little-endian 16-bit words.
std::string Words(const std::vector<int>& values);

/// The signal that keeps EDF+ annotations, padded to so many samples of a record.
EdfSignal EdfAnnotations(const std::vector<std::string>& records, std::size_t samples);

/// An EDF file: by default a signal of 4 samples a second and one of 2, and 2 records.
struct Edf {
  std::string Version = "0";
  std::string Patient = "patient";
  std::string Date = "02.03.04";
  std::string Time = "05.06.07";
  std::string HeaderBytes = {};
  std::string Reserved = {};
  std::string RecordCount = {};
  std::string Duration = "1";
  std::string SignalCount = {};
  std::vector<EdfSignal> Signals = {
      {.Label = "Fp1", .Records = {Words({1, 2, 3, 4}), Words({5, 6, 7, 8})}},
      {.Label = "Pulse", .Records = {Words({10, 20}), Words({30, 40})}}};

  std::string Build() const;
};

struct AcqChannelOf {
  std::string Title = "ECG";
  std::string Unit = "mV";
  std::vector<double> Samples = {};
  bool IsDouble = false;
  double Scale = 0.5;
  double Offset = 10;
  std::optional<int> SampleCount = {};
  std::optional<int> Kind = {};
  std::optional<int> SampleBytes = {};
  int StatedDivider = 0;
};

struct AcqMarker {
  int Step;
  std::string Text;
  std::optional<int> TextLength = {};
  std::size_t EndBytes = 1;  // after the text
};

/// An ACQ file, its samples in the order of the steps: by default a channel of integers, and one of
/// Doubles at half its rate.
struct Acq {
  int Version = 38;
  int GraphLength = 160;
  std::optional<int> ChannelTotal = {};
  double Interval = 0.5;
  int ChannelLength = 254;
  std::vector<AcqChannelOf> Channels = {
      {.Samples = {1, 2, 3, 4}},
      {.Title = "Flow", .Unit = "l/s", .Samples = {-2, 2}, .IsDouble = true}};
  int ForeignBytes = 6;
  std::vector<AcqMarker> Markers = {{1, "begin"}, {4, "behind"}, {3, ""}};

  std::string Build() const;
};

/// An ACQ file as its published layout has it, by default of generation 4: big-endian, a channel of
/// integers and one of half its rate.
struct PublishedAcq {
  int Version = 84;
  bool IsBigEndian = true;
  bool IsCompressed = false;
  std::vector<AcqChannelOf> Channels = {
      {.Samples = {1, 2, 3, 4}},
      {.Title = "Flow", .Unit = "l/s", .Samples = {-2, 2}, .StatedDivider = 2}};
  std::vector<AcqMarker> Markers = {{0, "begin"}, {3, "late"}};

  std::string Build() const;
};

struct ParNote {
  int Step;
  std::string Text;
};

/// A ".par" file of the full layout, version "3": slots 0 and 5 of an "E14" at 2 kHz, gain code 1
/// on the second; of slot 5, factor 1 is 2, shift 1 100 counts, shift 2 3 units and factor 2 4.
std::string FullPar(const std::vector<ParNote>& notes, std::optional<int> noteCount = {});

/// ".par" files of the two other layouts: slot 2 of an "L-783" at 500 Hz, gain code 1.
std::string ShortPar();
std::string LongPar();

/// A ".rvp" file of two channels: 3 is "Flow" in l/s, 0.5 a count and 10 at count 0, and 1 is
/// "Gas"; 3 frames at 2 kHz that end 2001-02-03 04:05:06.
std::string Rvp();

/// A pointer to a comment text that is `offset` bytes after the start of the annotations.
std::int64_t CommentAt(std::int64_t offset);

/// A folder that goes with the object.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string Path() const { return path_.string(); }
  std::string PathOf(std::string_view name) const { return (path_ / name).string(); }

  /// Writes a file there and gives its name.
  std::string Write(std::string_view name, std::string_view bytes) const;

 private:
  std::filesystem::path path_;
};

/// The bytes of a file; empty where there is none.
std::string Contents(const std::string& name);

/// Sets the date of the last write, UTC since 1970.
void SetWriteTime(const std::string& name, std::int64_t seconds, long nanoseconds = 0);

/// Sets an environment variable, and what it was back at the end.
class Environment {
 public:
  Environment(const char* variable, const char* value);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* variable_;
  std::optional<std::string> before_;
};

/// The most bytes that came to the heap since this was made, above those that lay there.
class HeapUse {
 public:
  HeapUse();
  std::size_t Peak() const;

 private:
  std::size_t before_;
};

/// From now on, `count` allocations succeed and the one after them throws std::bad_alloc, once; a
/// negative count lets all succeed.
void FailAllocationAfter(long count);

}  // namespace lmimport::test
