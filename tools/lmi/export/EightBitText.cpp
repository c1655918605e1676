#include "export/EightBitText.h"

#include <fmt/core.h>
#include <iconv.h>

#include <array>
#include <string_view>
#include <utility>

#include "output/Text.h"

namespace lmi {
namespace {

// False where the target lacks a character.
bool Convert(const char* target, const std::string& utf8, std::string& bytes) {
  const iconv_t conversion = ::iconv_open(target, "UTF-8");
  if (conversion == reinterpret_cast<iconv_t>(-1)) return false;  // NOLINT: as it is documented
  std::string source = utf8;
  bytes.assign(4 * source.size() + 4, '\0');
  char* from = source.data();
  char* to = bytes.data();
  std::size_t left = source.size();
  std::size_t room = bytes.size();
  const bool good = ::iconv(conversion, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
  ::iconv_close(conversion);
  bytes.resize(bytes.size() - room);
  return good;
}

void ReplaceAll(std::string& text, std::string_view what, std::string_view with) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + with.size()))
    text.replace(at, what.size(), with);
}

}  // namespace

bool ToCodePage(int page, const std::string& utf8, std::string& bytes) {
  constexpr int utf8Page = 65001;
  bytes = utf8;
  return page == utf8Page || Convert(fmt::format("CP{}", page).c_str(), utf8, bytes);
}

std::string ToAscii(const std::string& utf8) {
  std::string text = OneLine(utf8);
  // Signs of units, which the C library spells in its own ways.
  constexpr std::array<std::pair<const char*, const char*>, 5> signs = {
      {{"\u00b5", "u"}, {"\u03bc", "u"}, {"\u03a9", "Ohm"}, {"\u2126", "Ohm"}, {"\u00b0", "deg"}}};
  for (const auto& [sign, ascii] : signs) ReplaceAll(text, sign, ascii);
  std::string bytes;
  if (!Convert("ASCII//TRANSLIT", text, bytes)) bytes = text;
  for (char& c : bytes) c = c >= ' ' && c <= '~' ? c : '?';
  return bytes;
}

}  // namespace lmi
