#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "model/Date.h"
#include "model/TextTools.h"
#include "platform/System.h"
#include "readers/AdcTables.h"
#include "support/Builders.h"

namespace lmimport::test {
namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();

TEST(Utf8, ComesBackByteForByte) {
  const std::string_view texts[] = {"plain",
                                    "\xd0\x9f\xd1\x80\xd0\xb8",
                                    "\xe2\x82\xac \xf0\x9f\x93\x88",
                                    "cut \xe2\x82",
                                    "\xff\xfe lone \x80",
                                    "\xc0\xaf overlong",
                                    "\xed\xa0\x80 surrogate",
                                    "\xf4\x90\x80\x80 beyond the last"};
  for (const std::string_view text : texts) EXPECT_EQ(ToUtf8(FromUtf8(text)), text);
  EXPECT_EQ(FromUtf8("\xe2\x82\xac\xf0\x9f\x93\x88\xff"), u"\u20ac\U0001f4c8\xdcff");
  EXPECT_EQ(ToUtf8(u"a\xd800z"), "a\xef\xbf\xbdz");
}

TEST(CodePage, DecodesFileTexts) {
  const struct {
    int Page;
    const char* Bytes;
    const char16_t* Text;
  } rows[] = {{1251, "\xc4\xe0 V", u"Да V"}, {1252, "\xb5V \x80", u"µV €"},
              {1250, "\xb3\x9c", u"łś"},     {1253, "\xec\xdf", u"μί"},
              {874, "\xa1", u"\u0e01"},      {1252, "\x80", u"€"},
              {1252, "\x81", u"\x81"},       {65001, "\xc2\xb5V\xff", u"µV\xdcff"}};
  for (const auto& row : rows) {
    TextTools texts;
    ASSERT_TRUE(texts.SetCodePage(row.Page));
    EXPECT_EQ(texts.Text(row.Bytes), row.Text) << row.Page;
  }
  TextTools texts;
  EXPECT_FALSE(texts.SetCodePage(437));
  EXPECT_THROW(SetCodePage(437), std::invalid_argument);
}

TEST(CodePage, FollowsTheLocale) {
  const struct {
    const char* Locale;
    int Page;
    bool Russian;
  } rows[] = {{"ru_RU.UTF-8", 1251, true},  {"uk_UA", 1251, false},   {"de_DE.UTF-8", 1252, false},
              {"pl_PL", 1250, false},       {"el_GR", 1253, false},   {"tr_TR", 1254, false},
              {"he_IL", 1255, false},       {"ar", 1256, false},      {"lt_LT", 1257, false},
              {"sr_RS@latin", 1250, false}, {"C.UTF-8", 1252, false}, {"POSIX", 1252, false}};
  for (const auto& row : rows) {
    const Environment locale("LC_ALL", row.Locale);
    EXPECT_EQ(platform::SystemCodePage(), row.Page) << row.Locale;
    EXPECT_EQ(platform::MessagesInRussian(), row.Russian) << row.Locale;
  }
  const Environment none("LC_ALL", "");
  const Environment messages("LC_MESSAGES", "en_US");
  const Environment types("LC_CTYPE", "ru_RU");
  const Environment language("LANG", "ru_RU");
  EXPECT_EQ(platform::SystemCodePage(), 1251);
  EXPECT_FALSE(platform::MessagesInRussian());
}

TEST(ParseNumber, TakesTheLeadingNumber) {
  const struct {
    const char16_t* Text;
    double Value;
  } rows[] = {// clang-format off
      {u" 12.5 ", 12.5}, {u"-3,25 mV", -3.25}, {u"+7", 7}, {u"\t.5", 0.5}, {u"1.5e3x", 1500},
      {u"2E-2", 0.02}, {u"4e", 4}, {u"5e+", 5}, {u"1,2,3", 1.2}, {u"1.234,5", 1.234}, {u"6.", 6},
      {u"", 0}, {u"abc", 0}, {u".", 0}, {u"-", 0}, {u"- 1", 0}, {u"inf", 0}, {u"0x10", 0},
      {u"1e999", Infinity}, {u"-1e999", -Infinity}, {u"1e-999", 0}, {u"0.0e999", 0}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(ParseDouble(row.Text), row.Value) << ToUtf8(row.Text);
    EXPECT_EQ(ParseSingle(row.Text), static_cast<Single>(row.Value)) << ToUtf8(row.Text);
  }
  // Rounded once: by way of a Double this one would come out a Single lower.
  EXPECT_EQ(ParseSingle(u"1.000000059604644775390626"), 1.00000012F);
  EXPECT_EQ(ParseSingle(u"1e39"), std::numeric_limits<Single>::infinity());
  EXPECT_EQ(ParseSingle(u"0.1"), 0.1F);
}

TEST(FixedText, IsCutAtZeroAndTrimmed) {
  const TextTools texts;
  const auto fixed = [&](std::string_view bytes) {
    return FixedText(texts, {reinterpret_cast<const Byte*>(bytes.data()), bytes.size()});
  };
  EXPECT_EQ(fixed("      "), u"");
  EXPECT_EQ(fixed(" mmHg "), u"mmHg");
  EXPECT_EQ(fixed(std::string_view(" V \0 x", 6)), u"V");
}

TEST(Date, CarriesOver) {
  const struct {
    int Year, Month, Day;
    double Date;
  } rows[] = {{1899, 12, 30, 0},    {1970, 1, 1, 25569},   {2000, 2, 29, 36585},
              {1900, 3, 1, 61},     {2000, 13, 1, 36892},  {2001, 0, 31, 36891},
              {2001, 1, 0, 36891},  {2001, -11, 1, 36526}, {0, 1, 1, 36526},
              {29, 12, 31, 47483},  {30, 1, 1, 10959},     {99, 12, 31, 36525},
              {100, 1, 1, -657434}, {2001, 1, 366, 37257}};
  for (const auto& row : rows)
    EXPECT_EQ(DateSerial(row.Year, row.Month, row.Day), row.Date)
        << row.Year << '-' << row.Month << '-' << row.Day;
  EXPECT_EQ(TimeSerial(6, 0, 0), 0.25);
  EXPECT_EQ(TimeSerial(23, 59, 60), 1);
  EXPECT_EQ(TimeSerial(0, -1440, 0), -1);
}

TEST(AdcTables, GoByTheBeginningOfTheName) {
  const struct {
    const char16_t* Name;
    Integer Gain;
    Single Scale;
    int Bits;
  } rows[] = {
      {u"L-783", 1, 800, 12},         {u"L-78", 1, 6400, 14},        {u"L761", 2, 25600, 14},
      {u"L-791", 1, 1638.4F, 14},     {u"L-502", 0, 3000, 16},       {u"L-502", 1, 6000, 16},
      {u"L502", 5, 150000, 16},       {u"L502", 6, 3000, 16},        {u"E-154", 3, 12500, 12},
      {u"E15", 4, 400, 12},           {u"E14-440", 1, 3200, 14},     {u"E-4400", 0, 800, 14},
      {u"E20-10", 2, 26666.666F, 14}, {u"E2010", 0, 2666.6667F, 14}, {u"USB-3000", 7, 1600, 14},
      {u"E-24", 0, 12800, 16},        {u"F-Generator", 0, 3200, 16}, {u"E-241", 0, 6400, 16},
      {u"E-44", 0, 6400, 16},         {u"DAT", 0, 6400, 16},         {u"Sound", -1, 3200, 16},
      {u"l-783", 0, 6400, 16}};
  for (const auto& row : rows) {
    EXPECT_FLOAT_EQ(AdcScale(row.Name, row.Gain), row.Scale) << ToUtf8(row.Name) << row.Gain;
    EXPECT_EQ(AdcResolution(row.Name), row.Bits) << ToUtf8(row.Name);
  }
}

}  // namespace
}  // namespace lmimport::test
