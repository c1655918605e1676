// Texts and numbers out of the bytes of a file.
#pragma once

#include <lmimport/Text.h>

#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace lmimport {

/// Decodes the 8-bit texts of files by a code page: see SetCodePage of the interface.
class TextTools {
 public:
  /// Gives false, and changes nothing, for a page that isn't known.
  bool SetCodePage(int number);

  /// All bytes as text; nothing is cut off, neither zero bytes nor blanks.
  String Text(std::string_view bytes) const;

  /// The bytes are UTF-8 beyond ASCII, and read by another page.
  bool MisreadsUtf8(std::string_view bytes) const;

  /// The bytes as text, up to the first zero byte.
  String TextFromBytes(std::span<const Byte> bytes) const;

 private:
  int Page() const;

  int codePage_ = 0;
};

/// A text field of fixed width: cut at the first zero byte, without the blanks at both ends.
String FixedText(const TextTools& texts, std::span<const Byte> Field);

/// The number that a text begins with: blanks, a sign, digits with a point or a comma among them,
/// an exponent. What follows it is passed over; a text without a number gives 0, one beyond the
/// range of the type an infinity.
Single ParseSingle(std::u16string_view text);
bool BeginsWithNumber(std::u16string_view text);
Single ParseSingle(std::string_view bytes);  // of an ASCII field
Double ParseDouble(std::u16string_view text);
Double ParseDouble(std::string_view bytes);

/// A whole ASCII field as a number, blanks around it and a sign allowed; a fraction is rounded to
/// nearest, ties to even. Throws std::invalid_argument, which names `field` and the bytes, where it
/// is no number, and std::range_error where the number doesn't fit 32 bits.
Long ParseWholeNumber(std::string_view bytes, std::string_view field);

/// The text without the blanks at both ends: the part of it, and a text of its own.
std::u16string_view WithoutBlanks(std::u16string_view text);
std::string_view WithoutBlanks(std::string_view text);
String TrimBlanks(std::u16string_view text);

/// ASCII letters in lower case.
String LowerCase(std::u16string_view text);

/// The last four characters in lower case: the extension, by which a format is known.
String LastFour(std::u16string_view fileName);

/// Decimal digits; as few as give the number back.
std::string NumberText(std::int64_t number);
std::string NumberText(Single number);
std::string NumberText(Double number);

/// A sentence of texts and numbers, one after the other.
template <class... Parts>
std::string Sentence(const Parts&... parts) {
  std::string sentence;
  const auto append = [&sentence](const auto& part) {
    using Part = std::remove_cvref_t<decltype(part)>;
    if constexpr (std::is_integral_v<Part>) {
      sentence += NumberText(static_cast<std::int64_t>(part));
    } else if constexpr (std::is_floating_point_v<Part>) {
      sentence += NumberText(part);
    } else {
      sentence += part;
    }
  };
  (append(parts), ...);
  return sentence;
}

/// Kinds of things and how many there are of each.
using Counts = std::vector<std::pair<std::string_view, std::int64_t>>;

/// "2 too long, 1 without a name": what there is any of.
std::string Listed(const Counts& counts);

}  // namespace lmimport
