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

void AskProperties(const LMIBlock& block) {
  for (const String& text : {block.ADCName(), block.Title(), block.Notes(), block.DataPad()})
    ToUtf8(text);
  block.StartDateTime();
  block.DataPtr();
  for (Integer c = 0; c <= block.ChannelCount() + 1; ++c) {
    block.ChannelTitle(c);
    block.ChannelUnitName(c);
    block.ChannelGlobalIndex(c);
    block.ChannelSingleA(c);
    block.ChannelDoubleB(c);
  }
  for (Long c = 0; c <= std::min(100, block.CommentCount()) + 1; ++c) {
    block.CommentText(c);
    block.CommentPosition(c);
  }
  block.CommentText(block.CommentCount());
}

template <class T>
bool AreEqual(T a, T b) {
  return a == b || (a != a && b != b);
}

// A frame read and the reads of its channels give the same.
template <class T>
bool ReadsAgree(LMIBlock& block, Long start,
                Long (LMIBlock::*channelRead)(Integer, Long, Long, std::span<T>),
                Long (LMIBlock::*frameRead)(Long, Long, std::span<T>)) {
  const auto channels = static_cast<std::size_t>(block.ChannelCount());
  std::array<T, Frames * 32> frames{};
  std::array<T, Frames> samples{};
  const Long count = (block.*frameRead)(start, Frames, frames);
  for (Integer c = 0; c <= block.ChannelCount() + 1; ++c) {
    const Long done = (block.*channelRead)(c, start, Frames, samples);
    if (c < 1 || c > block.ChannelCount()) {
      if (done != 0) return false;
      continue;
    }
    if (done != count) return false;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
      if (!AreEqual(samples[i], frames[i * channels + static_cast<std::size_t>(c) - 1]))
        return false;
  }
  return true;
}

bool ReadsAgree(LMIBlock& block, Long start) {
  return ReadsAgree<Integer>(block, start, &LMIBlock::GetChannelInteger,
                             &LMIBlock::GetDataInteger) &&
         ReadsAgree<Single>(block, start, &LMIBlock::GetChannelSingle, &LMIBlock::GetDataSingle) &&
         ReadsAgree<Double>(block, start, &LMIBlock::GetChannelDouble, &LMIBlock::GetDataDouble);
}

}  // namespace

std::string AskEverything(LMIFile& file) {
  for (const String& text : {file.FileName(), file.FileTitle(), file.Notes(), file.DataPad()})
    ToUtf8(text);
  file.FileHandle();
  if (file.BlockCount() < 1) return "no block";
  if (file.Block(static_cast<Integer>(file.BlockCount() + 1))) return "a block too many";
  for (Integer i = 1; i <= file.BlockCount(); ++i) {
    LMIBlock& block = *file.Block(i);
    AskProperties(block);
    if (block.ChannelCount() < 1 || block.ChannelCount() > 32 || block.SizeChannel() < 0)
      return "a block of no shape";
    if (!std::isfinite(block.SamplingRate())) return "a rate that is no number";
    const Long size = block.SizeChannel();
    for (const Long start : {-1, 1, size / 2, std::max(1, size - 2), size, INT32_MAX})
      if (!ReadsAgree(block, start)) return "a frame differs from its channels";
  }
  return {};
}

std::string OpenAndAsk(LMImport& import, const std::string& name, bool& isOpen) {
  isOpen = false;
  constexpr std::size_t mostFindings = 16;
  try {
    LMIFilePtr file;
    isOpen = import.OpenFile(FromUtf8(name), file);
    if (isOpen != (file != nullptr)) return "a result that differs from the file";
    if (!isOpen && import.ErrorString().empty()) return "a refusal without a word";
    if (Findings().size() > mostFindings) return "findings without a bound";
    return isOpen ? AskEverything(*file) : "";
  } catch (const std::system_error&) {
  } catch (const std::domain_error&) {
  } catch (const std::range_error&) {
  } catch (const std::invalid_argument&) {
  } catch (const std::length_error&) {
  }
  return {};
}

}  // namespace lmimport::test
