// What the LMImport objects of one thread share: the open recording, the error text, the defaults.
#pragma once

#include <lmimport/FileSelector.h>

#include "model/Opening.h"

namespace lmimport {

struct ImportState {
  ImportState();
  ImportState(const ImportState&) = delete;
  ImportState& operator=(const ImportState&) = delete;

  const std::uint64_t ThreadNumber;  // never used again for another thread
  TextTools Texts;

  Reading As = Reading::Written;
  Long FilterIndex = 0;
  String DefaultPath;  // without a separator at its end
  Integer DefaultChannelCount = 1;
  Single DefaultSamplingRate = FallbackSamplingRate;
  Long FileHandle = 0;
  String ErrorString;
  std::shared_ptr<const RecordingStore> Store;  // of the open file; null: no file is open
  std::vector<Finding> Found;                   // of the last open
  std::shared_ptr<LMIFile> CurrentFile;
  std::shared_ptr<class FileSelector> FileSelector;  // made at its first use
  bool Started = false;                              // the start routine has run on this thread
  class Progress Progress;

  /// Defaults that make no sense are replaced, and the host reads that back.
  void SettleDefaults();

  /// Back to no file; the error text, the findings and the defaults stay.
  void ResetStore();
};

/// The state of this thread. Throws std::logic_error when the thread has already ended it, which
/// only the end of a static object can meet.
ImportState& CurrentState();

/// The state of the thread that an object belongs to, by its ThreadNumber. Throws std::logic_error
/// on any other thread, and while a progress handler runs.
ImportState& StateOf(std::uint64_t threadNumber);

/// The same for the end of an object: null instead.
ImportState* StateIfOwned(std::uint64_t threadNumber) noexcept;

}  // namespace lmimport
