// The recording store of a thread: the one open file, its description, and the defaults.
#pragma once

#include <lmimport/FileSelector.h>
#include <lmimport/Findings.h>

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "model/BinaryFile.h"
#include "model/Progress.h"
#include "model/Records.h"
#include "model/TextTools.h"

namespace lmimport {

/// Samples per second where neither a file nor the host says better.
inline constexpr Single FallbackSamplingRate = 100;

/// Why a reader refuses a file; the numbers of the four messages.
enum class Refusal : Long { UnknownFormat = 0, UnsupportedFormat = 1, FormatError = 2, NoData = 3 };

/// A reader finds the file open in DataFile, its first bytes in Magic and its name in FileName, and
/// fills FileRec, Channels, Blocks, FileType and FileSubType. When it gives true:
///  - DataFile is the file that holds the samples;
///  - each block has SizeChannel frames one behind the other at DataPtr, a frame being one
///    little-endian sample of each channel in the order of ChannelIndex;
///  - an integer sample n stands for the value n / ChannelScale + ChannelOffset, a real one is the
///    value; rates and scales are no NaN, and rates are finite.
/// When it gives false, it need leave nothing in order.
struct ImportState {
  ImportState();
  ImportState(const ImportState&) = delete;
  ImportState& operator=(const ImportState&) = delete;

  const std::uint64_t ThreadNumber;  // never used again for another thread
  TextTools Texts;

  Long FilterIndex = 0;
  String DefaultPath;  // without a separator at its end
  Integer DefaultChannelCount = 1;
  Single DefaultSamplingRate = FallbackSamplingRate;
  Long FileHandle = 0;
  Long Magic = 0;  // first four bytes of the file
  Long FileType = 0;
  Long FileSubType = 0;
  bool IsOpen = false;
  String FileName;
  String ErrorString;
  struct FileRec FileRec;
  std::array<ChannelRec, LargestChannelCount> Channels;
  std::vector<BlockRec> Blocks;
  std::shared_ptr<LMIFile> CurrentFile;
  std::unique_ptr<BinaryFile> DataFile;
  std::shared_ptr<class FileSelector> FileSelector;  // made at its first use
  bool Started = false;                              // the start routine has run on this thread

  std::optional<Refusal> RefusedFor;  // what the reader that gave false says, if anything
  std::string RefusalDetail;          // put behind the message as it stands
  std::vector<Finding> Found;         // of the last open

  class Progress Progress;

  /// The false of a reader, with what it has to say.
  bool Refuse(Refusal why, std::string detail = {});

  void Note(std::string_view code, std::int64_t position, const std::string& text);
  void Warn(std::string_view code, std::int64_t position, const std::string& text);

  /// DefaultSamplingRate; one that is no rate from above 0 to 10^10 is put right to 100 first, and
  /// the host reads that back.
  Single SettledSamplingRate();

  /// The end of most readers: the type of the file, and FileRec of the blocks as they stand, with
  /// rate and channels of the first.
  void FinishFile(Long signature, Integer versionMajor, Integer versionMinor, Long fileType,
                  Long fileSubType = 0);

  /// Back to no file; the error text, the findings and the defaults stay.
  void ResetStore();
};

/// The store of this thread. Throws std::logic_error when the thread has already ended it, which
/// only the end of a static object can meet.
ImportState& CurrentState();

/// The store of the thread that an object belongs to, by its ThreadNumber. Throws std::logic_error
/// on any other thread, and while a progress handler runs.
ImportState& StateOf(std::uint64_t threadNumber);

/// The same for the end of an object: null instead.
ImportState* StateIfOwned(std::uint64_t threadNumber) noexcept;

/// A number held at the limits of a Long.
constexpr Long HeldAsLong(std::int64_t number) {
  constexpr std::int64_t largest = INT32_MAX;
  constexpr std::int64_t smallest = INT32_MIN;
  return static_cast<Long>(number > largest ? largest : number < smallest ? smallest : number);
}

}  // namespace lmimport
