// Shared helpers of the MATH_NUMERIC tests: values are written and read as
// narrow text so the tables stay readable.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "runtime/current.h"
#include "vyrmath.h"

namespace mathtest {

inline std::u16string wide(std::string_view text) { return std::u16string(text.begin(), text.end()); }

inline std::string narrow(const JCHAR *text) {
  std::string out;
  for (; *text; ++text) out += static_cast<char>(*text);
  return out;
}

// A value parsed in the current number format; the parse must succeed.
inline MATH_NUMERIC num(std::string_view text) {
  MATH_NUMERIC value;
  std::memset(&value, 0, sizeof value);
  const std::u16string w = wide(text);
  EXPECT_EQ(ParseNumericString(&value, w.c_str()), ER_SUCCESS) << text;
  return value;
}

inline std::string str(const MATH_NUMERIC &value) {
  JCHAR out[VYR_MATH_TEXT_SIZE];
  FormatMathNumeric(out, &value);
  return narrow(out);
}

// The record every operation leaves behind (an unparsable text excepted).
inline void expectCanonical(const MATH_NUMERIC &v) {
  const int length = v.nLength, decimals = v.nDecimalPosition, precision = v.nPrecision;
  ASSERT_GE(length, 1);
  ASSERT_LE(length, 32);
  ASSERT_EQ(static_cast<int>(strnlen(v.String, sizeof v.String)), length);
  bool nonzero = false;
  for (int i = 0; i < length; ++i) {
    ASSERT_TRUE(v.String[i] >= '0' && v.String[i] <= '9') << v.String;
    nonzero = nonzero || v.String[i] != '0';
  }
  ASSERT_GE(decimals, 0);
  ASSERT_LT(decimals, length);
  if (length > decimals + 1) {
    ASSERT_NE(v.String[0], '0') << v.String;
  }
  if (v.Sign != 0) {
    ASSERT_TRUE(v.Sign == '-' && nonzero);
  }
  ASSERT_EQ(precision, 32);
}

// Comma as decimal separator, point for grouping.
inline const vyr::ThreadSettings kDecimalComma{u',', u'.', u"DD.MM.YYYY"};

}  // namespace mathtest
