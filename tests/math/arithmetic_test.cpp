// Exact results of the arithmetic, rounding and comparison operations.
#include "math/helpers.h"

namespace {

using namespace mathtest;

const std::string k32Nines = "99999999999999999999999999999999";
const std::string kMinus32Nines = "-" + k32Nines;

TEST(MathArithmetic, AddSubtractMultiplyGiveExactCanonicalResults) {
  enum Op { Add, Subtract, Multiply };
  struct Case {
    Op op;
    const char *left, *right, *result;
    ID rc;
  } const cases[] = {
      {Add, "0.99", "0.01", "1.00", ER_SUCCESS},  // carry across the point
      {Add, "9.5", "0.5", "10.0", ER_SUCCESS},
      {Add, "1.5", "2.25", "3.75", ER_SUCCESS},   // decimals of the finer operand
      {Add, "123", "-0.001", "122.999", ER_SUCCESS},
      {Add, "-1.25", "1.25", "0.00", ER_SUCCESS},  // no negative zero
      {Subtract, "10", "0.01", "9.99", ER_SUCCESS},  // borrow across the point
      {Subtract, "1.000", "0.001", "0.999", ER_SUCCESS},
      {Subtract, "1", "2.5", "-1.5", ER_SUCCESS},
      {Subtract, "-0.5", "0.5", "-1.0", ER_SUCCESS},
      {Subtract, "-0.5", "-0.5", "0.0", ER_SUCCESS},
      {Multiply, "1.5", "1.5", "2.25", ER_SUCCESS},  // decimals summed
      {Multiply, "0.1", "0.01", "0.001", ER_SUCCESS},
      {Multiply, "-2.50", "4", "-10.00", ER_SUCCESS},
      {Multiply, "-3", "0.0", "0.0", ER_SUCCESS},
      {Multiply, "-1.1", "-1.1", "1.21", ER_SUCCESS},
      // 32 digits: the largest value, and one digit too many.
      {Add, k32Nines.c_str(), "0", k32Nines.c_str(), ER_SUCCESS},
      {Add, k32Nines.c_str(), "1", "0", ER_ERROR},
      {Subtract, kMinus32Nines.c_str(), "1", "0", ER_ERROR},
      {Multiply, "12345678901234567", "98765432109876543", "0", ER_ERROR},
      // A decimal too many is dropped with rounding, carrying into the integer part.
      {Add, "9999999999999999999999999999999.9", "0.01", "9999999999999999999999999999999.9", ER_SUCCESS},
      {Add, "9999999999999999999999999999999.9", "0.05", "10000000000000000000000000000000", ER_SUCCESS},
      {Multiply, "0.5", k32Nines.c_str(), "50000000000000000000000000000000", ER_SUCCESS},
      {Multiply, "1234567890123456.7890123456789012", "10", "12345678901234567.890123456789012", ER_SUCCESS},
      {Multiply, "0.0000000000000001", "0.0000000000000005", "0.0000000000000000000000000000001", ER_SUCCESS},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC a = num(c.left), b = num(c.right);
    MATH_NUMERIC r;
    std::memset(&r, 0x5a, sizeof r);
    const ID rc = c.op == Add ? MathAdd(&r, &a, &b) : c.op == Subtract ? MathSubtract(&r, &a, &b) : MathMultiply(&r, &a, &b);
    EXPECT_EQ(rc, c.rc) << c.left << " op" << c.op << " " << c.right;
    EXPECT_EQ(str(r), c.result) << c.left << " op" << c.op << " " << c.right;
    expectCanonical(r);
  }
}

TEST(MathArithmetic, DivideRoundsOrTruncatesAndReturnsTheExactRemainder) {
  struct Case {
    const char *dividend, *divisor;
    int places, round;
    const char *quotient, *remainder;
  } const cases[] = {
      {"1", "3", 9, 1, "0.333333333", "0.000000001"},
      {"1", "3", 9, 0, "0.333333333", "0.000000001"},
      {"2", "3", 9, 1, "0.666666667", "-0.000000001"},
      {"2", "3", 9, 0, "0.666666666", "0.000000002"},
      {"-2", "3", 9, 1, "-0.666666667", "0.000000001"},
      {"2", "-3", 2, 1, "-0.67", "-0.01"},
      {"-1", "8", 2, 1, "-0.13", "0.04"},  // half away from zero
      {"-1", "8", 2, 0, "-0.12", "-0.04"},
      {"7", "2", 0, 1, "4", "-1"},
      {"10.5", "0.25", 0, 0, "42", "0.00"},
      {"100", "7", 3, 0, "14.285", "0.005"},
      {"1", "3", -1, 0, "0.3333333333333333333333333333333", "0.0000000000000000000000000000001"},
      {k32Nines.c_str(), "0.5", 2, 1, "0", "0"},  // quotient needs 33 integer digits
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC dividend = num(c.dividend), divisor = num(c.divisor);
    MATH_NUMERIC q, r;
    const ID rc = MathDivide(&q, &r, &dividend, &divisor, c.places, c.round);
    EXPECT_EQ(rc, std::string(c.quotient) == "0" ? ER_ERROR : ER_SUCCESS) << c.dividend << "/" << c.divisor;
    EXPECT_EQ(str(q), c.quotient) << c.dividend << "/" << c.divisor;
    EXPECT_EQ(str(r), c.remainder) << c.dividend << "/" << c.divisor;
    expectCanonical(q);
    expectCanonical(r);
    if (rc != ER_SUCCESS) continue;
    MATH_NUMERIC back;  // quotient * divisor + remainder is the dividend again
    MathMultiply(&back, &q, &divisor);
    MathAdd(&back, &back, &r);
    EXPECT_EQ(MathCompare(&back, &dividend), 0) << c.dividend << "/" << c.divisor;
  }
}

TEST(MathArithmetic, DivideByZeroClearsBothResults) {
  const MATH_NUMERIC one = num("1.5"), zero = num("0.00");
  MATH_NUMERIC q = num("7"), r = num("8");
  EXPECT_EQ(MathDivide(&q, &r, &one, &zero, 2, 1), ER_ERROR);
  EXPECT_EQ(MathZeroTest(&q), 0);
  EXPECT_EQ(MathZeroTest(&r), 0);
}

TEST(MathArithmetic, RoundingRulesFloorAndAbs) {
  struct Case {
    const char *value;
    int places, rule;  // rule -1: MathRound, -2: MathFloor, -3: MathAbs
    const char *result;
  } const cases[] = {
      {"2.345", 2, -1, "2.35"}, {"-2.345", 2, -1, "-2.35"}, {"2.5", 0, -1, "3"},   {"-2.5", 0, -1, "-3"},
      {"1.5", 3, -1, "1.500"},  {"-0.004", 2, -1, "0.00"},  {"2.345", 2, 0, "2.34"}, {"-2.349", 2, 0, "-2.34"},
      {"2.345", 2, 1, "2.35"},  {"-2.341", 2, 2, "-2.35"},  {"2.345", 2, 3, "2.34"}, {"2.355", 2, 3, "2.36"},
      {"1.5", 0, -2, "1"},      {"-1.5", 0, -2, "-2"},      {"-2.0", 0, -2, "-2"},   {"-0.3", 0, -2, "-1"},
      {"0.3", 0, -2, "0"},      {"-1.50", 0, -3, "1.50"},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC v = num(c.value);
    MATH_NUMERIC r;
    const ID rc = c.rule == -1   ? MathRound(&r, &v, c.places)
                  : c.rule == -2 ? MathFloor(&r, &v)
                  : c.rule == -3 ? MathAbs(&r, &v)
                                 : MathExecuteRoundingRuleEx(&r, &v, c.places, c.rule);
    EXPECT_EQ(rc, ER_SUCCESS);
    EXPECT_EQ(str(r), c.result) << c.value << " rule " << c.rule;
    expectCanonical(r);
  }
  const MATH_NUMERIC v = num("1.25");
  MATH_NUMERIC r = num("9");
  EXPECT_EQ(MathExecuteRoundingRuleEx(&r, &v, 1, 4), ER_ERROR);
  EXPECT_EQ(str(r), "9");
}

TEST(MathArithmetic, CompareByValueAcrossDecimalPositions) {
  struct Case {
    const char *left, *right;
    int compare, absolute;
  } const cases[] = {
      {"1.5", "1.50", 0, 0},     {"-0.0", "0", 0, 0},       {"-2", "1", -1, 1},
      {"0.001", "0.0009", 1, 1}, {"-0.001", "-0.0009", -1, 1}, {"-3", "3.000", -1, 0},
      {k32Nines.c_str(), "0.9999999999999999999999999999999", 1, 1},
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC a = num(c.left), b = num(c.right);
    EXPECT_EQ(MathCompare(&a, &b), c.compare) << c.left << " vs " << c.right;
    EXPECT_EQ(MathCompare(&b, &a), -c.compare) << c.left << " vs " << c.right;
    EXPECT_EQ(MathCompareAbsolute(&a, &b), c.absolute) << c.left << " vs " << c.right;
  }
  const MATH_NUMERIC negative = num("-0.01"), zero = num("0.000");
  EXPECT_EQ(MathZeroTest(&negative), -1);
  EXPECT_EQ(MathZeroTest(&zero), 0);
}

TEST(MathArithmetic, IncrementAndReverseInPlace) {
  MATH_NUMERIC v = num("-0.75");
  EXPECT_EQ(IncrementMathNumeric(&v), ER_SUCCESS);
  EXPECT_EQ(str(v), "0.25");
  ReverseMathNumeric(&v);
  EXPECT_EQ(str(v), "-0.25");
  MATH_NUMERIC zero = num("0.0");
  ReverseMathNumeric(&zero);
  EXPECT_EQ(zero.Sign, 0);
  MATH_NUMERIC top = num(k32Nines);
  EXPECT_EQ(IncrementMathNumeric(&top), ER_ERROR);
  EXPECT_EQ(str(top), "0");
}

TEST(MathArithmetic, ResultsMayAliasOperands) {
  MATH_NUMERIC a = num("1.5");
  MathAdd(&a, &a, &a);
  EXPECT_EQ(str(a), "3.0");
  MATH_NUMERIC x = num("2"), y = num("3");
  MathDivide(&x, &y, &x, &y, 2, 1);  // both operands overwritten by the results
  EXPECT_EQ(str(x), "0.67");
  EXPECT_EQ(str(y), "-0.01");
}

TEST(MathArithmetic, CurrencyFollowsTheLeftOperandWhenItHasOne) {
  MATH_NUMERIC eur = num("1.5"), usd = num("2"), plain = num("3"), r;
  vyrMathSetCurrencyCode(&eur, "EUR");
  vyrMathSetCurrencyDecimals(&eur, 2);
  vyrMathSetCurrencyCodeUNI(&usd, u"USDX");  // cut to three characters
  vyrMathSetCurrencyDecimals(&usd, 3);
  JCHAR code[4];
  struct Case {
    const MATH_NUMERIC *left, *right;
    const char *code;
    short decimals;
  } const cases[] = {{&eur, &usd, "EUR", 2}, {&plain, &usd, "USD", 3}, {&usd, &eur, "USD", 3}};
  for (const Case &c : cases) {
    MathMultiply(&r, c.left, c.right);
    vyrMathGetCurrencyCodeUNI(&r, code);
    EXPECT_EQ(narrow(code), c.code);
    EXPECT_EQ(vyrMathGetDecimals(&r), c.decimals);
  }
  MATH_NUMERIC yen = num("12.5");
  EXPECT_EQ(vyrUpdateMathCurrency(&yen, u"JPY", 0), ER_SUCCESS);
  EXPECT_EQ(str(yen), "13");
  vyrMathGetCurrencyCodeUNI(&yen, code);
  EXPECT_EQ(narrow(code), "JPY");
  ZeroMathNumeric(&yen);
  vyrMathGetCurrencyCodeUNI(&yen, code);
  EXPECT_EQ(narrow(code), "");
}

}  // namespace
