// Value texts: every kind read from text and written back, and what is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "runtime/valuetext.h"
#include "vyrdstmpl.h"
#include "vyrtypes.h"

namespace {

TEST(ValueText, TextsRoundTripForEveryKind) {
  struct Case {
    int kind;
    uint32_t width;
    std::string text;
    std::string back;  // what is printed again (the canonical form)
  } const cases[] = {
      {VYR_DSK_STRING, 5, "ab  ", "ab  "},  // trailing blanks are kept
      {VYR_DSK_STRING, 5, "", ""},
      {VYR_DSK_STRING, 5, "äöü€x", "äöü€x"},
      {VYR_DSK_STRING, 2, "😀", "😀"},  // two units fill a width of two
      {VYR_DSK_CHAR, 1, "", ""},
      {VYR_DSK_CHAR, 1, "é", "é"},
      {VYR_DSK_MATH, 1, "-12.50", "-12.50"},
      {VYR_DSK_MATH, 1, "+007.5", "7.5"},
      {VYR_DSK_MATH, 1, ".05", "0.05"},
      {VYR_DSK_MATH, 1, "-0.00", "0.00"},  // no sign on zero
      {VYR_DSK_MATH, 1, "12345678901234567890123456789012", "12345678901234567890123456789012"},
      // An exponent shifts the point exactly; the decimals left after it are kept.
      {VYR_DSK_MATH, 1, "1.50e1", "15.0"},
      {VYR_DSK_MATH, 1, "1E3", "1000"},
      {VYR_DSK_MATH, 1, "-2.5e-3", "-0.0025"},
      {VYR_DSK_MATH, 1, "0e-2", "0.00"},
      {VYR_DSK_MATH, 1, "1234.5678e+2", "123456.78"},
      {VYR_DSK_MATH, 1, "0.0e99", "0"},
      {VYR_DSK_DATE, 1, "2024-02-29", "2024-02-29"},
      {VYR_DSK_DATE, 1, "0001-01-01", "0001-01-01"},
      {VYR_DSK_UTIME, 1, "1969-12-31T23:59:59.5Z", "1969-12-31T23:59:59.500000Z"},
      {VYR_DSK_UTIME, 1, "9999-12-31T23:59:59.999999Z", "9999-12-31T23:59:59.999999Z"},
      {VYR_DSK_INT, 1, "-2147483648", "-2147483648"},
      {VYR_DSK_INT, 1, "+17", "17"},
      {VYR_DSK_ID, 1, "4294967295", "4294967295"},
      {VYR_DSK_SHORT, 1, "-32768", "-32768"},
      {VYR_DSK_BYTES, 4, "00ff10Ab", "00ff10ab"},
      {VYR_DSK_BYTES, 4, "01", "01000000"},  // the rest is zero
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(vyr::valueKindName(c.kind)) + " '" + c.text + "'");
    std::vector<unsigned char> bytes(vyr::valueSize(c.kind, c.width), 0xAB), again(bytes);
    std::string error;
    ASSERT_TRUE(vyr::parseValue(c.kind, c.width, c.text, bytes.data(), &error)) << error;
    const auto back = vyr::formatValue(c.kind, c.width, bytes.data());
    EXPECT_EQ(back.value_or("null"), c.back);
    ASSERT_TRUE(vyr::parseValue(c.kind, c.width, *back, again.data(), &error)) << error;
    EXPECT_EQ(again, bytes) << "the printed text reads back to the same bytes";
  }
}

TEST(ValueText, BytesAreLaidOutAsTheAbiSaysAndOnlyDatesAndTimesAreNull) {
  MATH_NUMERIC mn;
  ASSERT_TRUE(vyr::parseValue(VYR_DSK_MATH, 1, "-0.56", &mn, nullptr));
  EXPECT_TRUE(std::string(mn.String) == "056" && mn.Sign == '-' && mn.nLength == 3 && mn.nDecimalPosition == 2 &&
              mn.nPrecision == MAXLEN_MATH_NUMERIC);
  // Whatever the platform wrote, the text follows digits, sign and decimal position.
  MATH_NUMERIC raw{};
  std::strcpy(raw.String, "1250");
  raw.Sign = '-';
  raw.nDecimalPosition = 5;
  EXPECT_EQ(vyr::formatValue(VYR_DSK_MATH, 1, &raw), "-0.01250");
  raw = MATH_NUMERIC{};
  raw.nDecimalPosition = 2;
  EXPECT_EQ(vyr::formatValue(VYR_DSK_MATH, 1, &raw), "0.00") << "an empty String reads as zero";

  UTIME stamp{5, 0, 1, 0};
  ASSERT_TRUE(vyr::parseValue(VYR_DSK_UTIME, 1, "1970-01-02T00:00:01Z", &stamp, nullptr));
  EXPECT_TRUE(stamp.llMicroseconds == 86401LL * 1000000 && stamp.cSet == 1);
  JCHAR text[4] = {1, 1, 1, 1};
  ASSERT_TRUE(vyr::parseValue(VYR_DSK_STRING, 3, "ab", text, nullptr));
  EXPECT_TRUE(text[0] == u'a' && text[2] == 0 && text[3] == 0) << "the rest and the terminator are zero";

  VYRDATE date{2024, 1, 1};
  ASSERT_TRUE(vyr::parseNullValue(VYR_DSK_DATE, 1, &date, nullptr));
  ASSERT_TRUE(vyr::parseValue(VYR_DSK_UTIME, 1, "", &stamp, nullptr));
  EXPECT_FALSE(vyr::formatValue(VYR_DSK_DATE, 1, &date) || vyr::formatValue(VYR_DSK_UTIME, 1, &stamp));
  void *pointer = &date;
  EXPECT_EQ(vyr::formatValue(VYR_DSK_POINTER, 1, &pointer)->substr(0, 2), "0x");
  int32_t number = 4;
  EXPECT_FALSE(vyr::parseNullValue(VYR_DSK_INT, 1, &number, nullptr));
  EXPECT_EQ(number, 4);
}

TEST(ValueText, WhatDoesNotFitIsRefusedWithTheReasonAndBytesUntouched) {
  struct Case {
    int kind;
    uint32_t width;
    std::string text;
    std::string reason;  // part of the message
  } const cases[] = {
      {VYR_DSK_STRING, 3, "abcd", "4 characters; the member holds 3"},
      {VYR_DSK_STRING, 1, "😀", "1 character, 2 UTF-16 code units; the member holds 1 code unit"},
      {VYR_DSK_STRING, 5, "a\xff", "UTF-8"},
      {VYR_DSK_STRING, 5, "\xc0\xaf", "UTF-8"},  // overlong '/'
      {VYR_DSK_STRING, 5, "\xed\xa0\x80", "UTF-8"},
      {VYR_DSK_STRING, 5, "ab\xe2\x82", "UTF-8"},  // cut short
      {VYR_DSK_STRING, 5, std::string("a\0b", 3), "NUL"},
      {VYR_DSK_CHAR, 1, "YN", "one character"},
      {VYR_DSK_CHAR, 1, "😀", "one character"},
      {VYR_DSK_MATH, 1, "12,50", "decimal number"},
      {VYR_DSK_MATH, 1, "1.2.3", "decimal number"},
      {VYR_DSK_MATH, 1, "-", "decimal number"},
      {VYR_DSK_MATH, 1, " 5", "decimal number"},
      {VYR_DSK_MATH, 1, "1e", "decimal number"},
      {VYR_DSK_MATH, 1, "e5", "decimal number"},
      {VYR_DSK_MATH, 1, "1e+-5", "decimal number"},
      {VYR_DSK_MATH, 1, "1e5.5", "decimal number"},
      {VYR_DSK_MATH, 1, "1e32", "33 digits"},
      {VYR_DSK_MATH, 1, "1e-32", "33 digits"},
      {VYR_DSK_MATH, 1, "5e99999999999999999999", "digits"},
      {VYR_DSK_MATH, 1, "123456789012345678901234567890123", "33 digits"},
      {VYR_DSK_MATH, 1, "0.00000000000000000000000000000001", "33 digits"},
      {VYR_DSK_DATE, 1, "2023-02-29", "date"},
      {VYR_DSK_DATE, 1, "2023-2-28", "date"},
      {VYR_DSK_DATE, 1, "0000-01-01", "date"},
      {VYR_DSK_DATE, 1, "2023-02-28x", "date"},
      {VYR_DSK_UTIME, 1, "2024-01-01 10:00:00", "timestamp"},
      {VYR_DSK_UTIME, 1, "2024-01-01T24:00:00Z", "timestamp"},
      {VYR_DSK_UTIME, 1, "2024-01-01T10:00:00.1234567Z", "timestamp"},
      {VYR_DSK_UTIME, 1, "2024-01-01T10:00:00+01:00", "timestamp"},
      {VYR_DSK_INT, 1, "2147483648", "range"},
      {VYR_DSK_INT, 1, "12abc", "integer"},
      {VYR_DSK_INT, 1, "", "integer"},
      {VYR_DSK_INT, 1, "+-1", "integer"},
      {VYR_DSK_ID, 1, "-1", "range"},
      {VYR_DSK_SHORT, 1, "32768", "range"},
      {VYR_DSK_INT, 1, "99999999999999999999", "range"},
      {VYR_DSK_POINTER, 1, "0x1234", "pointer"},
      {VYR_DSK_BYTES, 2, "abc", "hex"},
      {VYR_DSK_BYTES, 2, "zz", "hex"},
      {VYR_DSK_BYTES, 2, "010203", "3 bytes"},
      {99, 1, "1", "kind"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE("kind " + std::to_string(c.kind) + " '" + c.text + "'");
    std::vector<unsigned char> bytes(64, 0xAB);
    std::string error;
    EXPECT_FALSE(vyr::parseValue(c.kind, c.width, c.text, bytes.data(), &error));
    EXPECT_NE(error.find(c.reason), std::string::npos) << error;
    EXPECT_EQ(bytes, std::vector<unsigned char>(64, 0xAB));
  }
}

}  // namespace
