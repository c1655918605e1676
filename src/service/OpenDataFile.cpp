#include "service/OpenDataFile.h"

#include <array>
#include <stdexcept>

#include "platform/System.h"
#include "recording/OpenPipeline.h"

namespace lmimport {
namespace {

struct Message {
  const char16_t* English;
  const char16_t* Russian;
};

constexpr std::array Messages = {
    Message{u"Unknown file format", u"Неизвестный формат файла"},
    Message{u"Unsupported file format", u"Неподдерживаемый формат файла"},
    Message{u"Error in the file format", u"Ошибка формата файла"},
    Message{u"No data in the file", u"Нет данных в файле"},
};

// In Russian on a Russian system and in English on every other.
String ErrorText(Long Number) {
  const bool known = Number >= 0 && Number < static_cast<Long>(Messages.size());
  const Message& message = Messages[known ? static_cast<std::size_t>(Number) : 0];
  return platform::MessagesInRussian() ? message.Russian : message.English;
}

// The message of a refusal, or the fault that it stands for.
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
      return ErrorText(static_cast<Long>(refused.Why)) + FromUtf8(refused.Detail);
  }
}

}  // namespace

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
  const OpenRules rules{.Raw = RawDefaults{state.DefaultChannelCount, state.DefaultSamplingRate},
                        .SamplingRate = state.DefaultSamplingRate};
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

}  // namespace lmimport
