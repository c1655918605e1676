#include "service/ErrorText.h"

#include <array>

#include "platform/System.h"

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

}  // namespace

String ErrorText(Long Number) {
  const bool known = Number >= 0 && Number < static_cast<Long>(Messages.size());
  const Message& message = Messages[known ? static_cast<std::size_t>(Number) : 0];
  return platform::MessagesInRussian() ? message.Russian : message.English;
}

}  // namespace lmimport
