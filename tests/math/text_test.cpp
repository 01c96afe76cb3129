// Parsing and formatting in both number formats.
#include "math/helpers.h"

namespace {

using namespace mathtest;

TEST(MathText, ParseInBothNumberFormats) {
  const std::string longDecimals = "1.5" + std::string(40, '0');
  struct Case {
    bool comma;
    const char *text;
    ID rc;
    const char *value;  // formatted back in the same format; "" for an empty String
    int decimals;
  } const cases[] = {
      {false, "  12.50  ", ER_SUCCESS, "12.50", 2},
      {false, "-1,234,567.8", ER_SUCCESS, "-1234567.8", 1},
      {false, "+5", ER_SUCCESS, "5", 0},
      {false, "1,234", ER_SUCCESS, "1234", 0},
      {false, ".5", ER_SUCCESS, "0.5", 1},
      {false, "5.", ER_SUCCESS, "5", 0},
      {false, "-0.00", ER_SUCCESS, "0.00", 2},
      {false, "0000000000000000000000000000000000001", ER_SUCCESS, "1", 0},
      {false, longDecimals.c_str(), ER_SUCCESS, "1.5000000000000000000000000000000", 31},
      {false, "12abc", ER_WARNING, "12", 0},
      {false, "1.2.3", ER_WARNING, "1.2", 1},
      {false, "1,,2", ER_WARNING, "1", 0},
      {false, "1, 234", ER_WARNING, "1", 0},
      {false, "", ER_ERROR, "", 0},
      {false, "   ", ER_ERROR, "", 0},
      {false, "abc", ER_ERROR, "", 0},
      {false, "-", ER_ERROR, "", 0},
      {false, "- 5", ER_ERROR, "", 0},
      {false, ",5", ER_ERROR, "", 0},
      {false, "123456789012345678901234567890123", ER_ERROR, "0", 0},
      {true, "1,234", ER_SUCCESS, "1,234", 3},
      {true, "1.234", ER_SUCCESS, "1234", 0},
      {true, "-1.234.567,89", ER_SUCCESS, "-1234567,89", 2},
      {true, ",5", ER_SUCCESS, "0,5", 1},
      {true, "1,2,3", ER_WARNING, "1,2", 1},
      {true, "1.5.", ER_WARNING, "15", 0},
  };
  for (const Case &c : cases) {
    vyr::CurrentSettingsScope scope(c.comma ? &kDecimalComma : nullptr);
    MATH_NUMERIC v;
    std::memset(&v, 0x5a, sizeof v);
    EXPECT_EQ(ParseNumericString(&v, wide(c.text).c_str()), c.rc) << '"' << c.text << '"';
    EXPECT_EQ(static_cast<int>(v.nDecimalPosition), c.decimals) << '"' << c.text << '"';
    if (*c.value == '\0') {
      EXPECT_TRUE(v.String[0] == '\0' && v.nLength == 0 && MathZeroTest(&v) == 0) << '"' << c.text << '"';
      continue;
    }
    EXPECT_EQ(str(v), c.value) << '"' << c.text << '"';
    expectCanonical(v);
  }
  MATH_NUMERIC v;
  EXPECT_EQ(ParseNumericStringEx(&v, u"12.345", 4), ER_SUCCESS);
  EXPECT_EQ(str(v), "12.3");
}

TEST(MathText, FormatPlainGroupedAndRaw) {
  struct Case {
    const char *value, *plain, *grouped, *commaPlain, *commaGrouped, *raw;
  } const cases[] = {
      {"0.5", "0.5", "0.5", "0,5", "0,5", "05"},
      {"-0.05", "-0.05", "-0.05", "-0,05", "-0,05", "005"},
      {"1234567.891", "1234567.891", "1,234,567.891", "1234567,891", "1.234.567,891", "1234567891"},
      {"-1234", "-1234", "-1,234", "-1234", "-1.234", "1234"},
      {"0.00", "0.00", "0.00", "0,00", "0,00", "000"},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    JCHAR plain[VYR_MATH_TEXT_SIZE], grouped[48], commaPlain[VYR_MATH_TEXT_SIZE], commaGrouped[48], raw[33];
    EXPECT_EQ(FormatMathNumeric(plain, &v), static_cast<int>(strlen(c.plain)));
    EXPECT_EQ(vyrMathGetRawStringEx(raw, &v, 33), static_cast<int>(strlen(c.raw)));
    FormatMathNumericDefault(grouped, &v);
    vyr::CurrentSettingsScope scope(&kDecimalComma);
    FormatMathNumeric(commaPlain, &v);
    FormatMathNumericDefault(commaGrouped, &v);
    EXPECT_EQ(narrow(plain) + " " + narrow(grouped) + " " + narrow(commaPlain) + " " + narrow(commaGrouped) + " " +
                  narrow(raw),
              std::string(c.plain) + " " + c.grouped + " " + c.commaPlain + " " + c.commaGrouped + " " + c.raw);
  }
  MATH_NUMERIC v = num("0.333333333333"), failed;
  v.String[10] = '\0';  // cut to nine decimals by hand, as callers do
  v.nDecimalPosition = 9;
  EXPECT_EQ(str(v), "0.333333333");
  JCHAR raw[33];
  EXPECT_EQ(vyrMathGetRawStringEx(raw, &v, 4), 3);  // cut to the buffer
  EXPECT_EQ(narrow(raw), "033");
  ParseNumericString(&failed, u"x");
  EXPECT_EQ(vyrMathGetRawStringEx(raw, &failed, 33), 0);  // an unparsable text has no digits
}

TEST(MathText, FormatWithMask) {
  struct Case {
    const char *mask, *value, *result;
    bool comma = false;
  } const cases[] = {
      {"#,##0.00", "1234567.891", "1,234,567.89"},
      {"#,##0.00", "0.5", "0.50"},
      {"#,##0.00", "-0.004", "0.00"},
      {"#,##0.00", "-1234.5", "-1,234.50"},
      {"#,##0.00", "1234.5", "1.234,50", true},
      {"000", "7", "007"},
      {"#.##", "1.5", "1.5"},
      {"#.##", "2", "2"},
      {"##0.0#", "3.14159", "3.14"},
      {"$#,##0", "999.5", "$1,000"},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    JCHAR out[64];
    vyr::CurrentSettingsScope scope(c.comma ? &kDecimalComma : nullptr);
    EXPECT_EQ(FormatMathNumericWithMask(out, 64, &v, wide(c.mask).c_str()), static_cast<int>(strlen(c.result)));
    EXPECT_EQ(narrow(out), c.result) << c.mask << " " << c.value;
  }
  const MATH_NUMERIC v = num("1234.5");
  JCHAR small[4];
  EXPECT_EQ(FormatMathNumericWithMask(small, 4, &v, u"#,##0.00"), 3);
  EXPECT_EQ(narrow(small), "1,2");
}

}  // namespace
