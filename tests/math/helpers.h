// Shared helpers of the MATH_NUMERIC tests: values go in and out as narrow text.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "runtime/current.h"
#include "vyrmath.h"

namespace mathtest {

inline std::u16string wide(std::string_view text) { return std::u16string(text.begin(), text.end()); }

inline std::string narrow(const JCHAR *text) { return std::string(text, text + std::char_traits<JCHAR>::length(text)); }

// A value parsed in the current number format; the parse must succeed.
inline MATH_NUMERIC num(std::string_view text) {
  MATH_NUMERIC value{};
  EXPECT_EQ(ParseNumericString(&value, wide(text).c_str()), ER_SUCCESS) << text;
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
  ASSERT_TRUE(length >= 1 && length <= 32 && decimals >= 0 && decimals < length && precision == 32)
      << length << " " << decimals << " " << precision;
  ASSERT_EQ(static_cast<int>(strnlen(v.String, sizeof v.String)), length);
  ASSERT_EQ(std::strspn(v.String, "0123456789"), static_cast<size_t>(length)) << v.String;
  ASSERT_TRUE(length == decimals + 1 || v.String[0] != '0') << v.String;
  ASSERT_TRUE(v.Sign == 0 || (v.Sign == '-' && std::strspn(v.String, "0") < static_cast<size_t>(length)));
}

// Comma as decimal separator, point for grouping.
inline const vyr::ThreadSettings kDecimalComma{u',', u'.', u"DD.MM.YYYY"};

}  // namespace mathtest
