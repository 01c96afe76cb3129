// Conversions between MATH_NUMERIC and machine numbers.
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "math/helpers.h"

namespace {

using namespace mathtest;

TEST(MathConvert, ToIntegerTruncatesAndSaturates) {
  struct Case {
    const char *value;
    int asInt;
    long asLong;
  } const cases[] = {
      {"12.9", 12, 12},
      {"-12.9", -12, -12},
      {"2147483648", INT_MAX, 2147483648L},
      {"-2147483648", INT_MIN, -2147483648L},
      {"-2147483649", INT_MIN, -2147483649L},
      {"9223372036854775807.9", INT_MAX, LONG_MAX},
      {"-9223372036854775808", INT_MIN, LONG_MIN},
      {"-99999999999999999999999999999999", INT_MIN, LONG_MIN},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    EXPECT_EQ(MathNumericToInt(&v), c.asInt) << c.value;
    EXPECT_EQ(MathNumericToLong(&v), c.asLong) << c.value;
  }
}

TEST(MathConvert, FromIntegerCoversTheWholeRange) {
  MATH_NUMERIC v;
  IntToMathNumeric(INT_MIN, &v);
  EXPECT_EQ(str(v), "-2147483648");
  LongToMathNumeric(LONG_MIN, &v);
  EXPECT_EQ(str(v), "-9223372036854775808");
  LongToMathNumeric(0, &v);
  EXPECT_EQ(str(v), "0");
  expectCanonical(v);
}

TEST(MathConvert, DoubleUsesTheShortestText) {
  struct Case {
    double value;
    ID rc;
    const char *text;
  } const cases[] = {
      {0.1, ER_SUCCESS, "0.1"},
      {-2.5, ER_SUCCESS, "-2.5"},
      {-0.0, ER_SUCCESS, "0"},
      {1e20, ER_SUCCESS, "100000000000000000000"},
      {1e40, ER_ERROR, "0"},
      {std::numeric_limits<double>::quiet_NaN(), ER_ERROR, "0"},
      {-std::numeric_limits<double>::infinity(), ER_ERROR, "0"},
  };
  for (const Case &c : cases) {
    MATH_NUMERIC v;
    EXPECT_EQ(DoubleToMathNumeric(c.value, &v), c.rc) << c.value;
    EXPECT_EQ(str(v), c.text) << c.value;
    expectCanonical(v);
  }
}

TEST(MathConvert, DoubleRoundTripsExactly) {
  std::mt19937_64 random(20260521);
  std::uniform_real_distribution<double> exponent(-9.0, 15.0);
  for (int i = 0; i < 2000; ++i) {
    const double value = (i % 2 ? -1 : 1) * std::pow(10.0, exponent(random));
    MATH_NUMERIC v;
    ASSERT_EQ(DoubleToMathNumeric(value, &v), ER_SUCCESS);
    EXPECT_EQ(MathNumericToDouble(&v), value) << str(v);
  }
}

}  // namespace
