#include "support/AskEverything.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
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
  if (block.ChannelCount() < 1 || block.ChannelCount() > 32 || block.SizeChannel() < 0 ||
      block.SizeData() < block.SizeChannel())
    return "a block of no shape";
  if (!std::isfinite(block.SamplingRate())) return "a rate that is no number";
  for (Integer c = 0; c <= block.ChannelCount() + 1; ++c) {
    ToUtf8(block.ChannelTitle(c) + block.ChannelUnitName(c));
    block.ChannelGlobalIndex(c);
    // An offset is what the file says it is.
    if (std::isnan(block.ChannelDoubleA(c)) || std::isnan(block.ChannelSingleA(c)))
      return "a scale that is no number";
    if (!AreEqual<Double>(block.ChannelSingleB(c), block.ChannelDoubleB(c)))
      return "an offset that differs as Single";
  }
  for (Long c = 0; c <= std::min(100, block.CommentCount()) + 1; ++c) {
    ToUtf8(block.CommentText(c));
    block.CommentPosition(c);
  }
  block.CommentText(block.CommentCount());
  return {};
}

// The calls of one type; `to` is a pointer or a span.
template <class T>
Long ReadChannel(LMIBlock& block, Integer c, Long start, Long count, auto to) {
  if constexpr (std::same_as<T, Integer>)
    return block.GetChannelInteger(c, start, count, to);
  else if constexpr (std::same_as<T, Single>)
    return block.GetChannelSingle(c, start, count, to);
  else
    return block.GetChannelDouble(c, start, count, to);
}

template <class T>
Long ReadFrames(LMIBlock& block, Long start, Long count, auto to) {
  if constexpr (std::same_as<T, Integer>)
    return block.GetDataInteger(start, count, to);
  else if constexpr (std::same_as<T, Single>)
    return block.GetDataSingle(start, count, to);
  else
    return block.GetDataDouble(start, count, to);
}

template <class T>
Long ReadArray(LMIBlock& block, Integer c, Long start, Long count, std::vector<T>& to) {
  if constexpr (std::same_as<T, Integer>)
    return block.GetChannelIntegerArray(c, start, count, to);
  else if constexpr (std::same_as<T, Single>)
    return block.GetChannelSingleArray(c, start, count, to);
  else
    return block.GetChannelDoubleArray(c, start, count, to);
}

template <class T>
Long ReadTable(LMIBlock& block, Long start, Long count, SampleTable<T>& to) {
  if constexpr (std::same_as<T, Integer>)
    return block.GetDataIntegerArray(start, count, to);
  else if constexpr (std::same_as<T, Single>)
    return block.GetDataSingleArray(start, count, to);
  else
    return block.GetDataDoubleArray(start, count, to);
}

// All ways to the samples of a range give the same.
template <class T>
bool ReadsAgree(LMIBlock& block, Long start, Long count) {
  const auto channels = static_cast<std::size_t>(block.ChannelCount());
  std::array<T, Frames * 32> frames{};
  const Long done = ReadFrames<T>(block, start, count, std::span<T>(frames));
  const auto values = std::span(frames).first(static_cast<std::size_t>(done) * channels);
  const auto sameFrames = [&](std::span<const T> other) {
    return std::ranges::equal(values, other.first(std::min(other.size(), values.size())),
                              AreEqual<T>);
  };
  SampleTable<T> table;
  if (ReadTable<T>(block, start, count, table) != done || !sameFrames(table.Values())) return false;
  std::array<T, Frames * 32> framesAgain{};
  if (ReadFrames<T>(block, start, count, framesAgain.data()) != done || !sameFrames(framesAgain))
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
    if (ReadChannel<T>(block, c, start, count, std::span<T>(samples)) != expected ||
        !sameSamples(samples) || ReadChannel<T>(block, c, start, count, again.data()) != expected ||
        !sameSamples(again) || ReadArray<T>(block, c, start, count, array) != expected ||
        !sameSamples(array))
      return false;
  }
  return true;
}

// Reads around both ends of a block, and of all of it when it is short.
template <class T>
bool ReadsAgree(LMIBlock& block) {
  const Long size = block.SizeChannel();
  for (const Long start : {-1, 0, 1, size / 2, std::max(1, size - 2), size, INT32_MAX})
    if (!ReadsAgree<T>(block, start, Frames)) return false;
  for (const Long count : {0, -1, INT32_MIN})
    if (!ReadsAgree<T>(block, 1, count)) return false;
  SampleTable<T> whole;
  return block.SizeData() > WholeBlock || ReadTable<T>(block, 1, size, whole) == size;
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
    if (!ReadsAgree<Integer>(block) || !ReadsAgree<Single>(block) || !ReadsAgree<Double>(block))
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

}  // namespace lmimport::test
