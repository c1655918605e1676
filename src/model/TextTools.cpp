#include "model/TextTools.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/CodePage.h"
#include "platform/System.h"

namespace lmimport {
namespace {

constexpr int Utf8Page = 65001;
constexpr char32_t EscapeBase = 0xdc00;  // a byte b that is not UTF-8 is EscapeBase + b

constexpr bool IsHighSurrogate(char32_t c) {
  return c >= 0xd800 && c < 0xdc00;
}
constexpr bool IsLowSurrogate(char32_t c) {
  return c >= 0xdc00 && c < 0xe000;
}
constexpr bool IsEscape(char32_t c) {
  return c >= EscapeBase + 0x80 && c <= EscapeBase + 0xff;
}

struct Decoded {
  char32_t Character;
  std::size_t Length;  // bytes; 0 for bytes that are no UTF-8
};

// The first character of the bytes, by the table of well-formed sequences: no overlong forms, no
// surrogates, nothing above U+10FFFF.
Decoded DecodeFirst(std::string_view bytes) {
  const auto at = [&](std::size_t i) -> char32_t {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
  };
  const char32_t lead = at(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4) return {0, 0};
  char32_t character = lead & (0xffU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xc0) != 0x80) return {0, 0};
    character = character << 6 | (at(i) & 0x3f);
  }
  constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
  if (character < smallest[length] || character > 0x10ffff) return {0, 0};
  if (IsHighSurrogate(character) || IsLowSurrogate(character)) return {0, 0};
  return {character, length};
}

void AppendUtf8(std::string& bytes, char32_t character) {
  const auto append = [&](char32_t byte) { bytes += static_cast<char>(byte); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xc0 | character >> 6);
    append(0x80 | (character & 0x3f));
  } else if (character < 0x10000) {
    append(0xe0 | character >> 12);
    append(0x80 | (character >> 6 & 0x3f));
    append(0x80 | (character & 0x3f));
  } else {
    append(0xf0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3f));
    append(0x80 | (character >> 6 & 0x3f));
    append(0x80 | (character & 0x3f));
  }
}

// Characters are those of a text, or bytes of which only ASCII counts.
template <class Character>
constexpr bool IsDigit(Character c) {
  return c >= '0' && c <= '9';
}

template <class Character>
std::size_t CountDigits(std::basic_string_view<Character> text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

// The power of ten of the first digit that isn't 0: tells which end of the range a number fell off.
std::int64_t Magnitude(std::string_view digits) {
  const std::size_t exponentMark = std::min(digits.find('e'), digits.size());
  const std::string_view mantissa = digits.substr(0, exponentMark);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = mantissa.find_first_of("123456789");
  std::int64_t exponent = 0;
  std::string_view exponentText = digits.substr(std::min(exponentMark + 1, digits.size()));
  const bool negative = exponentText.starts_with('-');
  if (exponentText.starts_with('-') || exponentText.starts_with('+')) exponentText.remove_prefix(1);
  for (const char digit : exponentText.substr(0, 9)) exponent = exponent * 10 + (digit - '0');
  if (exponentText.size() > 9) exponent = std::numeric_limits<std::int32_t>::max();
  const auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  return place + (negative ? -exponent : exponent);
}

// The number at the head of the text as plain ASCII with a point; empty if there is none.
template <class Character>
std::string LeadingNumber(std::basic_string_view<Character> text) {
  std::string number;
  const auto take = [&](std::size_t count) {
    for (const Character c : text.substr(0, count)) number += c == ',' ? '.' : static_cast<char>(c);
    text.remove_prefix(count);
  };
  const auto begins = [&text](Character c) { return !text.empty() && text.front() == c; };
  while (!text.empty() && std::make_unsigned_t<Character>(text.front()) <= ' ')
    text.remove_prefix(1);
  if (begins('+'))
    text.remove_prefix(1);
  else if (begins('-'))
    take(1);
  const std::size_t whole = CountDigits(text);
  take(whole);
  std::size_t fraction = 0;
  if (begins('.') || begins(',')) {
    fraction = CountDigits(text.substr(1));
    if (whole + fraction > 0) take(1 + fraction);
  }
  if (whole + fraction == 0) return {};
  if (begins('e') || begins('E')) {
    const std::size_t sign = text.size() > 1 && (text[1] == '-' || text[1] == '+') ? 1 : 0;
    const std::size_t digits = CountDigits(text.substr(1 + sign));
    if (digits > 0) {
      number += 'e';
      text.remove_prefix(1);
      take(sign + digits);
    }
  }
  return number;
}

template <class Real, class Character>
Real ParseReal(std::basic_string_view<Character> text) {
  const std::string number = LeadingNumber(text);
  Real value = 0;
  // Not the C library's conversion: that one follows the locale of the host.
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    const bool negative = number.starts_with('-');
    const std::string_view digits = std::string_view(number).substr(negative ? 1 : 0);
    value = Magnitude(digits) > 0 ? std::numeric_limits<Real>::infinity() : Real{0};
    if (negative) value = -value;
  }
  return value;
}

template <class Number, class... Format>
std::string ShortestText(Number number, Format... format) {
  std::array<char, 64> buffer{};
  const auto result =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format...);
  return {buffer.data(), result.ptr};
}

// In plain digits unless there would be many of them.
template <class Real>
std::string RealText(Real number) {
  const Real size = std::abs(number);
  const bool plain = size == 0 || (size >= Real{1e-5F} && size < Real{1e15F});
  return ShortestText(number, plain ? std::chars_format::fixed : std::chars_format::scientific);
}

template <class Character>
std::basic_string_view<Character> Trimmed(std::basic_string_view<Character> text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

bool IsAscii(std::string_view bytes) {
  return std::ranges::none_of(bytes, [](char c) { return static_cast<unsigned char>(c) > 0x7f; });
}

}  // namespace

String FromUtf8(std::string_view bytes) {
  String text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Decoded decoded = DecodeFirst(bytes);
    if (decoded.Length == 0) {
      text += static_cast<char16_t>(EscapeBase + static_cast<unsigned char>(bytes[0]));
    } else if (decoded.Character < 0x10000) {
      text += static_cast<char16_t>(decoded.Character);
    } else {
      text += static_cast<char16_t>(0xd800 + ((decoded.Character - 0x10000) >> 10));
      text += static_cast<char16_t>(0xdc00 + ((decoded.Character - 0x10000) & 0x3ff));
    }
    bytes.remove_prefix(std::max<std::size_t>(decoded.Length, 1));
  }
  return text;
}

std::string ToUtf8(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsHighSurrogate(character) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      character = 0x10000 + ((character - 0xd800) << 10) + (text[++i] - 0xdc00U);
    } else if (IsEscape(character)) {
      bytes += static_cast<char>(character - EscapeBase);
      continue;
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
      character = 0xfffd;
    }
    AppendUtf8(bytes, character);
  }
  return bytes;
}

bool TextTools::SetCodePage(int number) {
  const bool known =
      number == 0 || number == Utf8Page || platform::UpperHalfOfCodePage(number) != nullptr;
  if (known) codePage_ = number;
  return known;
}

int TextTools::Page() const {
  return codePage_ != 0 ? codePage_ : platform::SystemCodePage();
}

bool TextTools::MisreadsUtf8(std::string_view bytes) const {
  if (IsAscii(bytes) || Page() == Utf8Page) return false;
  return std::ranges::none_of(FromUtf8(bytes), [](char16_t c) { return IsEscape(c); });
}

String TextTools::Text(std::string_view bytes) const {
  if (IsAscii(bytes)) return String(bytes.begin(), bytes.end());  // in every page
  const int page = Page();
  if (page == Utf8Page) return FromUtf8(bytes);
  const char16_t* upper = platform::UpperHalfOfCodePage(page);
  String text(bytes.size(), u'\0');
  std::transform(bytes.begin(), bytes.end(), text.begin(), [upper](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x80 ? static_cast<char16_t>(byte) : upper[byte - 0x80];
  });
  return text;
}

String TextTools::TextFromBytes(std::span<const Byte> bytes) const {
  const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return Text(all.substr(0, all.find('\0')));
}

String FixedText(const TextTools& texts, std::span<const Byte> Field) {
  return TrimBlanks(texts.TextFromBytes(Field));
}

bool BeginsWithNumber(std::u16string_view text) {
  return !LeadingNumber(text).empty();
}
Single ParseSingle(std::u16string_view text) {
  return ParseReal<Single>(text);
}
Single ParseSingle(std::string_view bytes) {
  return ParseReal<Single>(bytes);
}
Double ParseDouble(std::u16string_view text) {
  return ParseReal<Double>(text);
}
Double ParseDouble(std::string_view bytes) {
  return ParseReal<Double>(bytes);
}

Long ParseWholeNumber(std::string_view bytes, std::string_view field) {
  const auto fail = [&] {
    std::string shown(bytes);
    std::ranges::replace_if(
        shown, [](char c) { return c < ' ' || c > '~'; }, '?');
    return Sentence(field, " \"", shown, "\"");
  };
  std::string_view number = WithoutBlanks(bytes);
  const bool negative = number.starts_with('-');
  if (negative || number.starts_with('+')) number.remove_prefix(1);
  Double value = 0;
  // Neither a second sign nor the names of infinity and NaN.
  const bool begins =
      !number.empty() && (number[0] == '.' || (number[0] >= '0' && number[0] <= '9'));
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (!begins || result.ec == std::errc::invalid_argument ||
      result.ptr != number.data() + number.size())
    throw std::invalid_argument(fail() + " is no number");
  const Double rounded = std::nearbyint(negative ? -value : value);
  const bool fits =
      rounded >= std::numeric_limits<Long>::min() && rounded <= std::numeric_limits<Long>::max();
  const bool overflows = result.ec == std::errc::result_out_of_range && Magnitude(number) > 0;
  if (overflows || !fits) throw std::range_error(fail() + " is beyond 32 bits");
  return static_cast<Long>(rounded);
}

std::u16string_view WithoutBlanks(std::u16string_view text) {
  return Trimmed(text);
}
std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text);
}
String TrimBlanks(std::u16string_view text) {
  return String(WithoutBlanks(text));
}

String LowerCase(std::u16string_view text) {
  String lower(text);
  for (char16_t& c : lower) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  }
  return lower;
}

String LastFour(std::u16string_view fileName) {
  return LowerCase(fileName.substr(fileName.size() - std::min<std::size_t>(fileName.size(), 4)));
}

std::string Listed(const Counts& counts) {
  std::string list;
  for (const auto& [what, count] : counts) {
    if (count > 0) list += Sentence(list.empty() ? "" : ", ", count, " ", what);
  }
  return list;
}

std::string NumberText(std::int64_t number) {
  return ShortestText(number);
}
std::string NumberText(Single number) {
  return RealText(number);
}
std::string NumberText(Double number) {
  return RealText(number);
}

}  // namespace lmimport
