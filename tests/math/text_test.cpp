// Parsing and formatting in both number formats.
#include <vector>

#include "math/helpers.h"

namespace {

using namespace mathtest;

struct ParseCase {
  const char *text;
  ID rc;
  const char *value;  // formatted back in the same format; "" for an empty String
  int decimals;
};

void checkParse(const ParseCase &c) {
  MATH_NUMERIC v;
  std::memset(&v, 0x5a, sizeof v);
  const std::u16string text = wide(c.text);
  EXPECT_EQ(ParseNumericString(&v, text.c_str()), c.rc) << '"' << c.text << '"';
  const int decimals = v.nDecimalPosition;
  EXPECT_EQ(decimals, c.decimals) << '"' << c.text << '"';
  if (*c.value == '\0') {
    EXPECT_EQ(v.String[0], '\0') << '"' << c.text << '"';
    EXPECT_EQ(v.nLength, 0);
    EXPECT_EQ(MathZeroTest(&v), 0);
    return;
  }
  EXPECT_EQ(str(v), c.value) << '"' << c.text << '"';
  expectCanonical(v);
}

TEST(MathText, ParseWithDecimalPoint) {
  const std::string longZeros = "1.5" + std::string(40, '0');
  const ParseCase cases[] = {
      {"  12.50  ", ER_SUCCESS, "12.50", 2},
      {"-1,234,567.8", ER_SUCCESS, "-1234567.8", 1},
      {"+5", ER_SUCCESS, "5", 0},
      {"1,234", ER_SUCCESS, "1234", 0},
      {".5", ER_SUCCESS, "0.5", 1},
      {"5.", ER_SUCCESS, "5", 0},
      {"007", ER_SUCCESS, "7", 0},
      {"-0.00", ER_SUCCESS, "0.00", 2},
      {"0000000000000000000000000000000000001", ER_SUCCESS, "1", 0},
      {longZeros.c_str(), ER_SUCCESS, "1.5000000000000000000000000000000", 31},
      {"12abc", ER_WARNING, "12", 0},
      {"1.2.3", ER_WARNING, "1.2", 1},
      {"1,,2", ER_WARNING, "1", 0},
      {"1, 234", ER_WARNING, "1", 0},
      {"", ER_ERROR, "", 0},
      {"   ", ER_ERROR, "", 0},
      {"abc", ER_ERROR, "", 0},
      {"-", ER_ERROR, "", 0},
      {"- 5", ER_ERROR, "", 0},
      {",5", ER_ERROR, "", 0},
      {"123456789012345678901234567890123", ER_ERROR, "0", 0},
  };
  for (const ParseCase &c : cases) checkParse(c);
}

TEST(MathText, ParseWithDecimalComma) {
  vyr::CurrentSettingsScope scope(&kDecimalComma);
  const ParseCase cases[] = {
      {"1,234", ER_SUCCESS, "1,234", 3},
      {"1.234", ER_SUCCESS, "1234", 0},
      {"-1.234.567,89", ER_SUCCESS, "-1234567,89", 2},
      {",5", ER_SUCCESS, "0,5", 1},
      {"1,2,3", ER_WARNING, "1,2", 1},
      {"1.5.", ER_WARNING, "15", 0},
  };
  for (const ParseCase &c : cases) checkParse(c);
}

TEST(MathText, ParseExStopsAtTheGivenLength) {
  MATH_NUMERIC v;
  EXPECT_EQ(ParseNumericStringEx(&v, u"12.345", 4), ER_SUCCESS);
  EXPECT_EQ(str(v), "12.3");
  EXPECT_EQ(ParseNumericStringEx(&v, u"12", 0), ER_ERROR);
}

TEST(MathText, FormatPlainAndGrouped) {
  struct Case {
    const char *value, *plain, *grouped, *commaPlain, *commaGrouped;
  } const cases[] = {
      {"0.5", "0.5", "0.5", "0,5", "0,5"},
      {"-0.05", "-0.05", "-0.05", "-0,05", "-0,05"},
      {"1234567.891", "1234567.891", "1,234,567.891", "1234567,891", "1.234.567,891"},
      {"-1234", "-1234", "-1,234", "-1234", "-1.234"},
      {"123", "123", "123", "123", "123"},
      {"0.00", "0.00", "0.00", "0,00", "0,00"},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    JCHAR out[48];
    EXPECT_EQ(FormatMathNumeric(out, &v), static_cast<int>(strlen(c.plain)));
    EXPECT_EQ(narrow(out), c.plain);
    FormatMathNumericDefault(out, &v);
    EXPECT_EQ(narrow(out), c.grouped);
    vyr::CurrentSettingsScope scope(&kDecimalComma);
    FormatMathNumeric(out, &v);
    EXPECT_EQ(narrow(out), c.commaPlain);
    FormatMathNumericDefault(out, &v);
    EXPECT_EQ(narrow(out), c.commaGrouped);
  }
}

TEST(MathText, FormatReadsDigitsAsStored) {
  MATH_NUMERIC v = num("5");
  v.nDecimalPosition = 3;  // "5" at three decimals, as a caller may leave it
  EXPECT_EQ(str(v), "0.005");
  std::strcpy(v.String, "0333333333333");  // cut to nine decimals by hand
  v.nDecimalPosition = 12;
  v.String[10] = '\0';
  v.nDecimalPosition = 9;
  EXPECT_EQ(str(v), "0.333333333");
}

TEST(MathText, FormatWithMask) {
  struct Case {
    const char *mask, *value, *result;
    bool comma;
  } const cases[] = {
      {"#,##0.00", "1234567.891", "1,234,567.89", false},
      {"#,##0.00", "0.5", "0.50", false},
      {"#,##0.00", "-0.004", "0.00", false},
      {"#,##0.00", "-1234.5", "-1,234.50", false},
      {"#,##0.00", "1234.5", "1.234,50", true},
      {"000", "7", "007", false},
      {"#.##", "1.5", "1.5", false},
      {"#.##", "2", "2", false},
      {"##0.0#", "3.14159", "3.14", false},
      {"$#,##0", "999.5", "$1,000", false},
      {"0", "123.4", "123", false},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    const std::u16string mask = wide(c.mask);
    JCHAR out[64];
    vyr::CurrentSettingsScope scope(c.comma ? &kDecimalComma : nullptr);
    EXPECT_EQ(FormatMathNumericWithMask(out, 64, &v, mask.c_str()), static_cast<int>(strlen(c.result)));
    EXPECT_EQ(narrow(out), c.result) << c.mask << " " << c.value;
  }
  const MATH_NUMERIC v = num("1234.5");
  std::vector<JCHAR> small(4);
  EXPECT_EQ(FormatMathNumericWithMask(small.data(), small.size(), &v, u"#,##0.00"), 3);
  EXPECT_EQ(narrow(small.data()), "1,2");
}

TEST(MathText, RawStringHasDigitsOnlyDecimalsLast) {
  struct Case {
    const char *value;
    size_t size;
    const char *raw;
  } const cases[] = {{"1234.56", 33, "123456"}, {"0.56", 33, "056"}, {"-5", 33, "5"}, {"1234.56", 3, "12"}};
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    JCHAR out[33];
    EXPECT_EQ(vyrMathGetRawStringEx(out, &v, c.size), static_cast<int>(strlen(c.raw)));
    EXPECT_EQ(narrow(out), c.raw);
  }
  MATH_NUMERIC failed;
  ParseNumericString(&failed, u"x");
  JCHAR out[33];
  EXPECT_EQ(vyrMathGetRawStringEx(out, &failed, 33), 0);
}

}  // namespace
