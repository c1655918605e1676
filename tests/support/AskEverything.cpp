#include "support/AskEverything.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <system_error>

namespace lmimport::test {
namespace {

constexpr Long Frames = 5;
constexpr Long WholeBlock = 4096;  // samples of a block that is read at once, too

template <class T>
bool AreEqual(T a, T b) {
  return a == b || (a != a && b != b);
}

// The properties of a block; gives what is no answer.
std::string AskProperties(const LMIBlock& block) {
  for (const String& text : {block.ADCName(), block.Title(), block.Notes(), block.DataPad()})
    ToUtf8(text);
  block.StartDateTime();
  block.DataPtr();
  if (block.ChannelCount() < 1 || block.SizeChannel() < 0 || block.SizeData() < block.SizeChannel())
    return "a block of no shape";
  if (!std::isfinite(block.SamplingRate())) return "a rate that is no number";
  for (Integer c = 0; c <= block.ChannelCount() + 1; ++c) {
    ToUtf8(block.ChannelTitle(c) + block.ChannelUnitName(c));
    block.ChannelGlobalIndex(c);
    // An offset is what the file says it is.
    if (std::isnan(block.ChannelDoubleA(c)) || std::isnan(block.ChannelSingleA(c)))
      return "a scale that is no number";
    if (!AreEqual(block.ChannelSingleB(c), static_cast<Single>(block.ChannelDoubleB(c))))
      return "an offset that differs as Single";
  }
  for (Long c = 0; c <= std::min(100, block.CommentCount()) + 1; ++c) {
    ToUtf8(block.CommentText(c));
    block.CommentPosition(c);
  }
  block.CommentText(block.CommentCount());
  return {};
}

// The ways to the samples of one type.
template <class T>
struct Calls {
  Long (LMIBlock::*Channel)(Integer, Long, Long, std::span<T>);
  Long (LMIBlock::*ChannelTo)(Integer, Long, Long, T*);
  Long (LMIBlock::*ChannelArray)(Integer, Long, Long, std::vector<T>&);
  Long (LMIBlock::*Data)(Long, Long, std::span<T>);
  Long (LMIBlock::*DataTo)(Long, Long, T*);
  Long (LMIBlock::*DataTable)(Long, Long, SampleTable<T>&);
};
constexpr Calls<Integer> IntegerCalls = {
    &LMIBlock::GetChannelInteger, &LMIBlock::GetChannelInteger, &LMIBlock::GetChannelIntegerArray,
    &LMIBlock::GetDataInteger,    &LMIBlock::GetDataInteger,    &LMIBlock::GetDataIntegerArray};
constexpr Calls<Single> SingleCalls = {
    &LMIBlock::GetChannelSingle, &LMIBlock::GetChannelSingle, &LMIBlock::GetChannelSingleArray,
    &LMIBlock::GetDataSingle,    &LMIBlock::GetDataSingle,    &LMIBlock::GetDataSingleArray};
constexpr Calls<Double> DoubleCalls = {
    &LMIBlock::GetChannelDouble, &LMIBlock::GetChannelDouble, &LMIBlock::GetChannelDoubleArray,
    &LMIBlock::GetDataDouble,    &LMIBlock::GetDataDouble,    &LMIBlock::GetDataDoubleArray};

// All ways to the samples of a range give the same.
template <class T>
bool ReadsAgree(LMIBlock& block, const Calls<T>& calls, Long start, Long count) {
  const auto channels = static_cast<std::size_t>(block.ChannelCount());
  std::vector<T> frames(Frames * channels);
  const Long done = (block.*calls.Data)(start, count, frames);
  const auto values = std::span(frames).first(static_cast<std::size_t>(done) * channels);
  const auto sameFrames = [&](std::span<const T> other) {
    return std::ranges::equal(values, other.first(std::min(other.size(), values.size())),
                              AreEqual<T>);
  };
  SampleTable<T> table;
  if ((block.*calls.DataTable)(start, count, table) != done || !sameFrames(table.Values()))
    return false;
  std::vector<T> framesAgain(Frames * channels);
  if ((block.*calls.DataTo)(start, count, framesAgain.data()) != done || !sameFrames(framesAgain))
    return false;
  for (Integer c = 0; c <= block.ChannelCount() + 1; ++c) {
    const bool isThere = c >= 1 && c <= block.ChannelCount();
    const auto sameSamples = [&](std::span<const T> other) {
      for (std::size_t i = 0; isThere && i < static_cast<std::size_t>(done); ++i)
        if (!AreEqual(other[i], values[i * channels + static_cast<std::size_t>(c) - 1]))
          return false;
      return true;
    };
    const Long expected = isThere ? done : 0;
    std::array<T, Frames> samples{};
    std::array<T, Frames> again{};
    std::vector<T> array;
    if ((block.*calls.Channel)(c, start, count, samples) != expected || !sameSamples(samples) ||
        (block.*calls.ChannelTo)(c, start, count, again.data()) != expected ||
        !sameSamples(again) || (block.*calls.ChannelArray)(c, start, count, array) != expected ||
        !sameSamples(array))
      return false;
  }
  return true;
}

// Reads around both ends of a block, and of all of it when it is short.
template <class T>
bool ReadsAgree(LMIBlock& block, const Calls<T>& calls) {
  const Long size = block.SizeChannel();
  for (const Long start : {-1, 0, 1, size / 2, std::max(1, size - 2), size, INT32_MAX})
    if (!ReadsAgree(block, calls, start, Frames)) return false;
  for (const Long count : {0, -1, INT32_MIN})
    if (!ReadsAgree(block, calls, 1, count)) return false;
  SampleTable<T> whole;
  return block.SizeData() > WholeBlock || (block.*calls.DataTable)(1, size, whole) == size;
}

}  // namespace

std::string AskEverything(LMIFile& file) {
  for (const String& text : {file.FileName(), file.FileTitle(), file.Notes(), file.DataPad()})
    ToUtf8(text);
  file.FileHandle();
  if (file.FileType() < 1 || file.FileSubType() < 0) return "a file of no type";
  if (file.BlockCount() < 1 || file.Block(0) != file.Block(1)) return "no block";
  if (file.Block(-1) || file.Block(static_cast<Integer>(file.BlockCount() + 1)))
    return "a block too many";
  for (Integer i = 1; i <= file.BlockCount(); ++i) {
    LMIBlock& block = *file.Block(i);
    if (block.BlockIndex() != i) return "a block of another number";
    if (const std::string wrong = AskProperties(block); !wrong.empty()) return wrong;
    if (!ReadsAgree(block, IntegerCalls) || !ReadsAgree(block, SingleCalls) ||
        !ReadsAgree(block, DoubleCalls))
      return "reads of the same samples differ";
  }
  return {};
}

std::string OpenAndAsk(LMImport& import, const std::string& name, bool& isOpen) {
  constexpr std::size_t mostFindings = 16;
  isOpen = false;
  LMIFilePtr file;
  try {
    isOpen = import.OpenFile(FromUtf8(name), file);
    if (!isOpen && import.ErrorString().empty()) return "a refusal without a word";
  } catch (const std::system_error&) {
  } catch (const std::domain_error&) {
  } catch (const std::range_error&) {
  } catch (const std::invalid_argument&) {
  } catch (const std::length_error&) {
  }
  if (isOpen != (file != nullptr)) return "a result that differs from the file";
  if (Findings().size() > mostFindings) return "findings without a bound";
  return isOpen ? AskEverything(*file) : "";
}

namespace {

// Frames and the samples of each channel, around both ends of a block.
template <class T>
bool ReadsOfRecordingAgree(const Recording& recording, std::size_t number) {
  const Block& block = recording.Blocks()[number];
  const std::size_t channels = block.Channels.size();
  for (const std::int64_t first : {std::int64_t{0}, block.FrameCount / 2, block.FrameCount - 2}) {
    std::vector<T> frames(Frames * channels);
    std::vector<T> samples(Frames);
    if (first < 0) continue;
    const std::int64_t n = recording.ReadFrames(number, first, frames);
    if (n != std::min<std::int64_t>(Frames, block.FrameCount - first)) return false;
    for (std::size_t c = 0; c < channels; ++c) {
      if (recording.Read(number, c, first, samples) != n) return false;
      for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
        if (!AreEqual(samples[i], frames[i * channels + c])) return false;
    }
  }
  return true;
}

// The extremes of a few samples are among them.
bool OverviewAgrees(const Recording& recording, std::size_t number) {
  std::array<double, Frames> values{};
  std::array<Extremes, 1> bin{};
  const std::int64_t n = recording.Read(number, 0, 0, values);
  recording.Overview(number, 0, 0, n, bin);
  double smallest = std::nan("");
  double largest = smallest;
  for (const double value : std::span(values).first(static_cast<std::size_t>(n))) {
    smallest = std::fmin(smallest, value);
    largest = std::fmax(largest, value);
  }
  return AreEqual(bin[0].Smallest, smallest) && AreEqual(bin[0].Largest, largest);
}

}  // namespace

std::string AskRecording(const Recording& recording) {
  if (recording.Format().empty() || recording.FormatName().empty())
    return "a recording of no format";
  for (const Comment& comment : recording.Comments()) {
    if (comment.BlockIndex >= recording.Blocks().size()) return "a comment of no block";
  }
  for (const HeaderField& field : recording.Fields()) {
    if (field.Position < -1 || field.Position >= recording.Stamp().Size)
      return "a field outside the file";
    if (field.Block >= std::ssize(recording.Blocks())) return "a field of no block";
  }
  for (std::size_t i = 0; i < recording.Blocks().size(); ++i) {
    const Block& block = recording.Blocks()[i];
    if (block.HeldFrames < 0 || block.HeldFrames > block.FrameCount)
      return "more or less frames than there can be";
    if (!ReadsOfRecordingAgree<std::int16_t>(recording, i) ||
        !ReadsOfRecordingAgree<std::int32_t>(recording, i) ||
        !ReadsOfRecordingAgree<float>(recording, i) || !ReadsOfRecordingAgree<double>(recording, i))
      return "reads of the same samples differ";
    if (!OverviewAgrees(recording, i)) return "an overview of other samples";
  }
  return recording.Findings().size() > 16 ? "findings without a bound" : "";
}

std::string OpenAndAskRecording(const std::string& name, Reading as) {
  try {
    return AskRecording(Recording::Open(name, {.As = as, .Raw = RawData{}, .KeepFields = true}));
  } catch (const OpenError& error) {
    return error.Findings().empty() ? "a refusal without a finding" : "";
  }
}

}  // namespace lmimport::test
