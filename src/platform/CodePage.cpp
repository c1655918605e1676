// Each table gives the characters of the bytes 0x80 to 0xFF, sixteen in a row. A byte that the page
// leaves undefined keeps its own number.
#include "platform/CodePage.h"

#include <array>

namespace lmimport::platform {
namespace {

// clang-format off
constexpr char16_t Page1250[] =
    u"€\u0081‚\u0083„…†‡\u0088‰Š‹ŚŤŽŹ"
    u"\u0090‘’“”•–—\u0098™š›śťžź"
    u"\u00a0\u02c7˘Ł¤Ą¦§¨©Ş«¬\u00ad®Ż"
    u"°±˛ł´µ¶·¸ąş»Ľ˝ľż"
    u"ŔÁÂĂÄĹĆÇČÉĘËĚÍÎĎ"
    u"ĐŃŇÓÔŐÖ×ŘŮÚŰÜÝŢß"
    u"ŕáâăäĺćçčéęëěíîď"
    u"đńňóôőö÷řůúűüýţ˙";

constexpr char16_t Page1251[] =
    u"ЂЃ‚ѓ„…†‡€‰Љ‹ЊЌЋЏ"
    u"ђ‘’“”•–—\u0098™љ›њќћџ"
    u"\u00a0ЎўЈ¤Ґ¦§Ё©Є«¬\u00ad®Ї"
    u"°±Ііґµ¶·ё№є»јЅѕї"
    u"АБВГДЕЖЗИЙКЛМНОП"
    u"РСТУФХЦЧШЩЪЫЬЭЮЯ"
    u"абвгдежзийклмноп"
    u"рстуфхцчшщъыьэюя";

constexpr char16_t Page1252[] =
    u"€\u0081‚ƒ„…†‡\u02c6‰Š‹Œ\u008dŽ\u008f"
    u"\u0090‘’“”•–—˜™š›œ\u009džŸ"
    u"\u00a0¡¢£¤¥¦§¨©ª«¬\u00ad®¯"
    u"°±²³´µ¶·¸¹º»¼½¾¿"
    u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏ"
    u"ÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞß"
    u"àáâãäåæçèéêëìíîï"
    u"ðñòóôõö÷øùúûüýþÿ";

constexpr char16_t Page1253[] =
    u"€\u0081‚ƒ„…†‡\u0088‰\u008a‹\u008c\u008d\u008e\u008f"
    u"\u0090‘’“”•–—\u0098™\u009a›\u009c\u009d\u009e\u009f"
    u"\u00a0΅Ά£¤¥¦§¨©ª«¬\u00ad®―"
    u"°±²³΄µ¶·ΈΉΊ»Ό½ΎΏ"
    u"ΐΑΒΓΔΕΖΗΘΙΚΛΜΝΞΟ"
    u"ΠΡÒΣΤΥΦΧΨΩΪΫάέήί"
    u"ΰαβγδεζηθικλμνξο"
    u"πρςστυφχψωϊϋόύώÿ";

constexpr char16_t Page1254[] =
    u"€\u0081‚ƒ„…†‡\u02c6‰Š‹Œ\u008d\u008e\u008f"
    u"\u0090‘’“”•–—˜™š›œ\u009d\u009eŸ"
    u"\u00a0¡¢£¤¥¦§¨©ª«¬\u00ad®¯"
    u"°±²³´µ¶·¸¹º»¼½¾¿"
    u"ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏ"
    u"ĞÑÒÓÔÕÖ×ØÙÚÛÜİŞß"
    u"àáâãäåæçèéêëìíîï"
    u"ğñòóôõö÷øùúûüışÿ";

constexpr char16_t Page1255[] =
    u"€\u0081‚ƒ„…†‡\u02c6‰\u008a‹\u008c\u008d\u008e\u008f"
    u"\u0090‘’“”•–—˜™\u009a›\u009c\u009d\u009e\u009f"
    u"\u00a0¡¢£₪¥¦§¨©×«¬\u00ad®¯"
    u"°±²³´µ¶·¸¹÷»¼½¾¿"
    u"\u05b0\u05b1\u05b2\u05b3\u05b4\u05b5\u05b6\u05b7\u05b8\u05b9Ê\u05bb\u05bc\u05bd\u05be\u05bf"
    u"\u05c0\u05c1\u05c2\u05c3\u05f0\u05f1\u05f2\u05f3\u05f4ÙÚÛÜÝÞß"
    u"\u05d0\u05d1\u05d2\u05d3\u05d4\u05d5\u05d6\u05d7\u05d8\u05d9\u05da\u05db\u05dc\u05dd\u05de\u05df"
    u"\u05e0\u05e1\u05e2\u05e3\u05e4\u05e5\u05e6\u05e7\u05e8\u05e9\u05eaûü\u200e\u200fÿ";

constexpr char16_t Page1256[] =
    u"€\u067e‚ƒ„…†‡\u02c6‰\u0679‹Œ\u0686\u0698\u0688"
    u"\u06af‘’“”•–—\u06a9™\u0691›œ\u200c\u200d\u06ba"
    u"\u00a0،¢£¤¥¦§¨©\u06be«¬\u00ad®¯"
    u"°±²³´µ¶·¸¹\u061b»¼½¾\u061f"
    u"\u06c1\u0621\u0622\u0623\u0624\u0625\u0626\u0627\u0628\u0629\u062a\u062b\u062c\u062d\u062e\u062f"
    u"\u0630\u0631\u0632\u0633\u0634\u0635\u0636×\u0637\u0638\u0639\u063a\u0640\u0641\u0642\u0643"
    u"à\u0644â\u0645\u0646\u0647\u0648çèéêë\u0649\u064aîï"
    u"\u064b\u064c\u064d\u064eô\u064f\u0650÷\u0651ù\u0652ûü\u200e\u200f\u06d2";

constexpr char16_t Page1257[] =
    u"€\u0081‚\u0083„…†‡\u0088‰\u008a‹\u008c¨\u02c7¸"
    u"\u0090‘’“”•–—\u0098™\u009a›\u009c¯˛\u009f"
    u"\u00a0¡¢£¤¥¦§Ø©Ŗ«¬\u00ad®Æ"
    u"°±²³´µ¶·ø¹ŗ»¼½¾æ"
    u"ĄĮĀĆÄÅĘĒČÉŹĖĢĶĪĻ"
    u"ŠŃŅÓŌÕÖ×ŲŁŚŪÜŻŽß"
    u"ąįāćäåęēčéźėģķīļ"
    u"šńņóōõö÷ųłśūüżž˙";

constexpr char16_t Page1258[] =
    u"€\u0081‚ƒ„…†‡\u02c6‰\u008a‹Œ\u008d\u008e\u008f"
    u"\u0090‘’“”•–—˜™\u009a›œ\u009d\u009eŸ"
    u"\u00a0¡¢£¤¥¦§¨©ª«¬\u00ad®¯"
    u"°±²³´µ¶·¸¹º»¼½¾¿"
    u"ÀÁÂĂÄÅÆÇÈÉÊË\u0300ÍÎÏ"
    u"ĐÑ\u0309ÓÔƠÖ×ØÙÚÛÜƯ\u0303ß"
    u"àáâăäåæçèéêë\u0301íîï"
    u"đñ\u0323óôơö÷øùúûüư₫ÿ";

constexpr char16_t Page874[] =
    u"€\u0081\u0082\u0083\u0084…\u0086\u0087\u0088\u0089\u008a\u008b\u008c\u008d\u008e\u008f"
    u"\u0090‘’“”•–—\u0098\u0099\u009a\u009b\u009c\u009d\u009e\u009f"
    u"\u00a0\u0e01\u0e02\u0e03\u0e04\u0e05\u0e06\u0e07\u0e08\u0e09\u0e0a\u0e0b\u0e0c\u0e0d\u0e0e\u0e0f"
    u"\u0e10\u0e11\u0e12\u0e13\u0e14\u0e15\u0e16\u0e17\u0e18\u0e19\u0e1a\u0e1b\u0e1c\u0e1d\u0e1e\u0e1f"
    u"\u0e20\u0e21\u0e22\u0e23\u0e24\u0e25\u0e26\u0e27\u0e28\u0e29\u0e2a\u0e2b\u0e2c\u0e2d\u0e2e\u0e2f"
    u"\u0e30\u0e31\u0e32\u0e33\u0e34\u0e35\u0e36\u0e37\u0e38\u0e39\u0e3aÛÜÝÞ\u0e3f"
    u"\u0e40\u0e41\u0e42\u0e43\u0e44\u0e45\u0e46\u0e47\u0e48\u0e49\u0e4a\u0e4b\u0e4c\u0e4d\u0e4e\u0e4f"
    u"\u0e50\u0e51\u0e52\u0e53\u0e54\u0e55\u0e56\u0e57\u0e58\u0e59\u0e5a\u0e5büýþÿ";
// clang-format on

struct Page {
  constexpr Page(int number, const char16_t (&upper)[129]) : Number(number), Upper(upper) {}
  int Number;
  const char16_t* Upper;
};

constexpr std::array Pages = {
    Page{1250, Page1250}, Page{1251, Page1251}, Page{1252, Page1252}, Page{1253, Page1253},
    Page{1254, Page1254}, Page{1255, Page1255}, Page{1256, Page1256}, Page{1257, Page1257},
    Page{1258, Page1258}, Page{874, Page874},
};

}  // namespace

const char16_t* UpperHalfOfCodePage(int number) {
  for (const Page& page : Pages) {
    if (page.Number == number) return page.Upper;
  }
  return nullptr;
}

}  // namespace lmimport::platform
