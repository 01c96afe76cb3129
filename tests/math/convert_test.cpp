// Doubles: the only place where floating point meets MATH_NUMERIC.
#include <cmath>
#include <limits>
#include <random>

#include "math/helpers.h"

namespace {

using namespace mathtest;

TEST(MathConvert, DoublesUseTheShortestTextAndRoundTrip) {
  struct Case {
    double value;
    ID rc;
    const char *text;
  } const cases[] = {
      {0.1, ER_SUCCESS, "0.1"}, {-2.5, ER_SUCCESS, "-2.5"}, {-0.0, ER_SUCCESS, "0"},
      {1e20, ER_SUCCESS, "100000000000000000000"}, {1e40, ER_ERROR, "0"},
      {std::numeric_limits<double>::quiet_NaN(), ER_ERROR, "0"}, {-HUGE_VAL, ER_ERROR, "0"},
  };
  MATH_NUMERIC v;
  for (const Case &c : cases) {
    EXPECT_EQ(DoubleToMathNumeric(c.value, &v), c.rc) << c.value;
    EXPECT_EQ(str(v), c.text) << c.value;
  }
  std::mt19937_64 random(20260521);
  std::uniform_real_distribution<double> exponent(-9.0, 15.0);
  for (int i = 0; i < 2000; ++i) {
    const double value = (i % 2 ? -1 : 1) * std::pow(10.0, exponent(random));
    ASSERT_EQ(DoubleToMathNumeric(value, &v), ER_SUCCESS);
    EXPECT_EQ(MathNumericToDouble(&v), value) << str(v);
  }
}

}  // namespace
