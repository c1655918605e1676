#include <lmimport/FileSelector.h>
#include <lmimport/Findings.h>
#include <lmimport/Import.h>
#include <lmimport/LMIFile.h>
#include <lmimport/Text.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "platform/FileDialog.h"
#include "platform/System.h"
#include "recording/OpenPipeline.h"
#include "service/DesktopSelector.h"
#include "service/Filters.h"
#include "service/ImportState.h"
#include "service/StartUp.h"

namespace lmimport {
namespace {

constexpr Double SamplingRateLimit = 1e10;
constexpr std::u16string_view LibraryName = u"Lumetra Import Library";

const std::shared_ptr<FileSelector>& Selector(ImportState& state) {
  if (!state.FileSelector) {
    state.FileSelector = MakeDesktopSelector();
    if (!state.DefaultPath.empty()) state.FileSelector->SetLastPath(state.DefaultPath);
  }
  return state.FileSelector;
}

// The messages of the first four refusals, in Russian on a Russian system.
String ErrorText(Refusal why) {
  constexpr std::array english = {u"Unknown file format", u"Unsupported file format",
                                  u"Error in the file format", u"No data in the file"};
  constexpr std::array russian = {u"Неизвестный формат файла", u"Неподдерживаемый формат файла",
                                  u"Ошибка формата файла", u"Нет данных в файле"};
  const auto number = static_cast<std::size_t>(why);
  return platform::MessagesInRussian() ? russian[number] : english[number];
}

// The message of a refusal, or the fault that it is.
String MessageOf(const RefusedOpen& refused) {
  switch (refused.Why) {
    case Refusal::DomainFault:
      throw std::domain_error(refused.Text);
    case Refusal::RangeFault:
      throw std::range_error(refused.Text);
    case Refusal::TextFault:
      throw std::invalid_argument(refused.Text);
    case Refusal::LengthFault:
      throw std::length_error(refused.Text);
    case Refusal::SystemFault:
      return FromUtf8(refused.Text);
    default:
      return ErrorText(refused.Why) + FromUtf8(refused.Detail);
  }
}

// Finds the file, as named or under DefaultPath, opens it, and has one reader fill the store. False:
// ErrorString says why, and no file is open. A fault passes through.
bool OpenDataFile(ImportState& state, const String& FileName) {
  String name = FileName;
  state.ErrorString.clear();
  state.Found.clear();
  state.Progress.Restart();
  state.SettleDefaults();
  if (!state.DefaultPath.empty() && !PathTools::FileExists(name)) {
    String candidate = PathTools::Join(state.DefaultPath, name);
    if (PathTools::FileExists(candidate)) name = std::move(candidate);
  }
  const bool written = state.As == Reading::Written;
  const OpenRules rules{.As = state.As,
                        .Raw = RawDefaults{state.DefaultChannelCount, state.DefaultSamplingRate},
                        .SamplingRate = state.DefaultSamplingRate,
                        .KeepsFlatFile = written};
  Opening opening(state.Texts, rules, state.Progress);
  try {
    OpenRecordingFile(opening, name);
    FillStore(opening);
  } catch (const RefusedOpen& refused) {
    state.Found = std::move(opening.Store.Found);
    state.ErrorString = MessageOf(refused);
    return false;
  } catch (...) {
    state.Found = std::move(opening.Store.Found);
    throw;
  }
  state.Found = opening.Store.Found;
  state.FileHandle = opening.DataFile.File()->Handle();
  state.Store = std::make_shared<const RecordingStore>(std::move(opening.Store));
  return true;
}

}  // namespace

LMImport::LMImport() : thread_(0) {
  ImportState& state = CurrentState();
  if (!state.Started) {
    platform::RegistryTools registry;
    Main(registry);
    state.Started = true;
  }
  thread_ = state.ThreadNumber;
  DefaultPath();
  DefaultChannelCount();
  DefaultSamplingRate();
}

LMImport::~LMImport() {
  ImportState* state = StateIfOwned(thread_);
  if (state == nullptr || !state->CurrentFile) return;
  state->CurrentFile->CloseInternal();
  state->CurrentFile.reset();
}

// What doesn't depend on the thread's state is given on the object's own thread only, all the same.
template <class T>
T LMImport::OnOwnThread(T value) const {
  StateOf(thread_);
  return value;
}

String LMImport::Name() const {
  return OnOwnThread(String(LibraryName));
}
String LMImport::Version() const {
  return OnOwnThread(FromUtf8(LMIMPORT_VERSION));
}
Integer LMImport::Major() const {
  return OnOwnThread(LibraryMajor);
}
Integer LMImport::Minor() const {
  return OnOwnThread(LibraryMinor);
}
Integer LMImport::Revision() const {
  return OnOwnThread(Integer{LMIMPORT_VERSION_PATCH});
}

bool LMImport::OpenFile(const String& FileName, LMIFilePtr& ObjectFile) {
  ImportState& state = StateOf(thread_);
  ObjectFile.reset();
  if (!state.CurrentFile) state.CurrentFile.reset(new LMIFile);
  state.CurrentFile->CloseInternal();
  if (!OpenDataFile(state, FileName)) return false;
  ObjectFile = state.CurrentFile;
  return true;
}

bool LMImport::SelectAndOpenFile(LMIFilePtr& ObjectFile) {
  ImportState& state = StateOf(thread_);
  state.ErrorString.clear();
  // Kept alive, should the host install another one while this is shown.
  const std::shared_ptr<FileSelector> selector = Selector(state);
  selector->SetFilter(DialogFilter(state.FilterIndex));
  selector->SetOwnerWindow(static_cast<Long>(platform::ForegroundWindow()));
  if (!selector->Show()) return false;
  state.DefaultPath = selector->LastPath();
  return OpenFile(selector->SelectedFile(), ObjectFile);
}

void LMImport::CloseFile(const LMIFilePtr& ObjectFile) {
  StateOf(thread_);
  if (ObjectFile) ObjectFile->CloseInternal();
}

String LMImport::ErrorString() const {
  return StateOf(thread_).ErrorString;
}

Long LMImport::FilterCount() const {
  return OnOwnThread(NumberOfFilters);
}

Long LMImport::FilterIndex() const {
  return StateOf(thread_).FilterIndex;
}

void LMImport::SetFilterIndex(Long Index) {
  StateOf(thread_).FilterIndex = Index >= 1 && Index <= NumberOfFilters ? Index : 0;
}

String LMImport::FilterTitle(Long FilterIndex) const {
  return OnOwnThread(TitleOfFilter(FilterIndex));
}

String LMImport::FilterFiles(Long FilterIndex) const {
  return OnOwnThread(PatternsOfFilter(FilterIndex));
}

String LMImport::DefaultPath() {
  ImportState& state = StateOf(thread_);
  if (state.DefaultPath.empty()) state.DefaultPath = Selector(state)->LastPath();
  return state.DefaultPath;
}

void LMImport::SetDefaultPath(const String& Path) {
  ImportState& state = StateOf(thread_);
  String path = Path;
  // The root folder keeps its separator, which is all of its name.
  if (path.size() > 1 && path.ends_with(platform::PathSeparator)) path.pop_back();
  if (!PathTools::FolderExists(path)) return;
  state.DefaultPath = path;
  Selector(state)->SetLastPath(path);
}

Integer LMImport::DefaultChannelCount() {
  ImportState& state = StateOf(thread_);
  state.SettleDefaults();
  return state.DefaultChannelCount;
}

void LMImport::SetDefaultChannelCount(Integer Count) {
  ImportState& state = StateOf(thread_);
  if (Count >= 1 && Count <= LargestChannelCount) state.DefaultChannelCount = Count;
}

Double LMImport::DefaultSamplingRate() {
  ImportState& state = StateOf(thread_);
  state.SettleDefaults();
  return state.DefaultSamplingRate;
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

void SetProgressHandler(std::function<bool(double Fraction)> Handler) {
  CurrentState().Progress.SetHandler(std::move(Handler));
}

void SetReading(Reading As) {
  CurrentState().As = As;
}

void SetFileSelector(std::shared_ptr<FileSelector> Selector) {
  ImportState& state = CurrentState();
  state.FileSelector = std::move(Selector);
  if (state.FileSelector && !state.DefaultPath.empty())
    state.FileSelector->SetLastPath(state.DefaultPath);
}

void SetCodePage(int Number) {
  if (!CurrentState().Texts.SetCodePage(Number))
    throw std::invalid_argument("SetCodePage: no code page " + std::to_string(Number));
}

}  // namespace lmimport
