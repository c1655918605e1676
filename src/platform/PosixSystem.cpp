#include <unistd.h>

#include <array>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

#include "platform/System.h"

namespace lmimport::platform {
namespace {

// The first variable that is set, as the C library looks them up; "ll_CC.charset@variant".
std::string_view LocaleName(std::initializer_list<const char*> variables) {
  for (const char* variable : variables) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

struct PageOfLanguages {
  int Page;
  std::string_view Languages;  // each of two letters, one blank between two
};

constexpr std::array PagesOfLanguages = {
    PageOfLanguages{1250, "bs cs hr hu pl ro sk sl sq"},
    PageOfLanguages{1251, "be bg kk ky mk mn ru sr tg tt uk"},
    PageOfLanguages{1253, "el"},
    PageOfLanguages{1254, "az tr"},
    PageOfLanguages{1255, "he iw yi"},
    PageOfLanguages{1256, "ar fa ur"},
    PageOfLanguages{1257, "et lt lv"},
};

}  // namespace

int SystemCodePage() {
  constexpr int western = 1252;
  constexpr int central = 1250;
  const std::string_view locale = LocaleName({"LC_ALL", "LC_CTYPE", "LANG"});
  const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
  if (language.size() != 2) return western;
  if (language == "sr" && locale.find("@latin") != std::string_view::npos) return central;
  for (const PageOfLanguages& row : PagesOfLanguages) {
    if (row.Languages.find(language) != std::string_view::npos) return row.Page;
  }
  return western;
}

bool MessagesInRussian() {
  return LocaleName({"LC_ALL", "LC_MESSAGES", "LANG"}).starts_with("ru");
}

std::tm LocalTime(std::time_t time) {
  ::tzset();
  std::tm local{};
  ::localtime_r(&time, &local);
  return local;
}

int ProcessNumber() {
  return ::getpid();
}

}  // namespace lmimport::platform
