#include <lmimport/Findings.h>
#include <lmimport/LMIFile.h>
#include <lmimport/LMImport.h>
#include <lmimport/Text.h>

#include <cmath>

#include "model/ImportState.h"
#include "model/Version.h"
#include "platform/System.h"
#include "service/Filters.h"
#include "service/OpenPipeline.h"

namespace lmimport {
namespace {

constexpr Single FallbackSamplingRate = 100;
constexpr Double SamplingRateLimit = 1e10;

}  // namespace

LMImport::LMImport() : thread_(CurrentState().ThreadNumber) {}

LMImport::~LMImport() {
  ImportState* state = StateIfOwned(thread_);
  if (state == nullptr || !state->CurrentFile) return;
  state->CurrentFile->CloseInternal();
  state->CurrentFile.reset();
}

String LMImport::Name() const {
  return String(LibraryName);
}
String LMImport::Version() const {
  return String(LibraryVersion);
}
Integer LMImport::Major() const {
  return LibraryMajor;
}
Integer LMImport::Minor() const {
  return LibraryMinor;
}
Integer LMImport::Revision() const {
  return LibraryRevision;
}

bool LMImport::OpenFile(const String& FileName, LMIFilePtr& ObjectFile) {
  ImportState& state = StateOf(thread_);
  ObjectFile.reset();
  if (!state.CurrentFile) state.CurrentFile.reset(new LMIFile);
  state.CurrentFile->CloseInternal();
  try {
    if (!OpenDataFile(state, FileName)) return false;
  } catch (...) {
    state.ResetStore();
    throw;
  }
  ObjectFile = state.CurrentFile;
  return true;
}

bool LMImport::SelectAndOpenFile(LMIFilePtr& /*ObjectFile*/) {
  // No file selector belongs to the library on this system.
  StateOf(thread_).ErrorString.clear();
  return false;
}

void LMImport::CloseFile(const LMIFilePtr& ObjectFile) {
  StateOf(thread_);
  if (ObjectFile) ObjectFile->CloseInternal();
}

String LMImport::ErrorString() const {
  return StateOf(thread_).ErrorString;
}

Long LMImport::FilterCount() const {
  return NumberOfFilters;
}

Long LMImport::FilterIndex() const {
  return StateOf(thread_).FilterIndex;
}

void LMImport::SetFilterIndex(Long Index) {
  StateOf(thread_).FilterIndex = Index >= 1 && Index <= NumberOfFilters ? Index : 0;
}

String LMImport::FilterTitle(Long FilterIndex) const {
  return TitleOfFilter(FilterIndex);
}

String LMImport::FilterFiles(Long FilterIndex) const {
  return PatternsOfFilter(FilterIndex);
}

String LMImport::DefaultPath() {
  return StateOf(thread_).DefaultPath;
}

void LMImport::SetDefaultPath(const String& Path) {
  ImportState& state = StateOf(thread_);
  String path = Path;
  // The root folder keeps its separator, which is all of its name.
  if (path.size() > 1 && path.ends_with(platform::PathSeparator)) path.pop_back();
  if (PathTools::FolderExists(path)) state.DefaultPath = path;
}

Integer LMImport::DefaultChannelCount() {
  Integer& count = StateOf(thread_).DefaultChannelCount;
  if (count < 1) count = 1;
  return count;
}

void LMImport::SetDefaultChannelCount(Integer Count) {
  ImportState& state = StateOf(thread_);
  if (Count >= 1 && Count <= LargestChannelCount) state.DefaultChannelCount = Count;
}

Double LMImport::DefaultSamplingRate() {
  Single& rate = StateOf(thread_).DefaultSamplingRate;
  if (!(rate > 0)) rate = FallbackSamplingRate;
  return rate;
}

void LMImport::SetDefaultSamplingRate(Double Rate) {
  ImportState& state = StateOf(thread_);
  if (Rate > 0 && Rate < SamplingRateLimit) state.DefaultSamplingRate = static_cast<Single>(Rate);
}

LMIFilePtr LMImport::OpenFileObject(const String& FileName) {
  LMIFilePtr file;
  OpenFile(FileName, file);
  return file;
}

LMIFilePtr LMImport::SelectAndOpenFileObject() {
  LMIFilePtr file;
  return SelectAndOpenFile(file) ? file : LMIFilePtr();
}

std::vector<Finding> Findings() {
  return CurrentState().Found;
}

void SetCodePage(int Number) {
  if (!CurrentState().Texts.SetCodePage(Number))
    throw std::invalid_argument("SetCodePage: no code page " + std::to_string(Number));
}

}  // namespace lmimport
