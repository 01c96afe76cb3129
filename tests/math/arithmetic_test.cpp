// Exact results of the arithmetic, rounding and comparison operations.
#include <cstdlib>

#include "math/helpers.h"

namespace {

using namespace mathtest;

const std::string k32Nines(32, '9'), kMinus32Nines = "-" + k32Nines;

// One operation named by a character, its result as a MATH_NUMERIC; `b` is the
// right operand or the places.
ID apply(char op, const char *a, const char *b, MATH_NUMERIC &r) {
  const MATH_NUMERIC x = num(a);
  const MATH_NUMERIC y = std::strchr("+-*cC", op) ? num(b) : MATH_NUMERIC{};
  switch (op) {
    case '+':
      return MathAdd(&r, &x, &y);
    case '-':
      return MathSubtract(&r, &x, &y);
    case '*':
      return MathMultiply(&r, &x, &y);
    case 'r':
      return MathRound(&r, &x, std::atoi(b));
    case 'f':
      return MathFloor(&r, &x);
    case 'a':
      return MathAbs(&r, &x);
    case 'c':
      return IntToMathNumeric(MathCompare(&x, &y), &r);
    case 'C':
      return IntToMathNumeric(MathCompareAbsolute(&x, &y), &r);
    case 'z':
      return IntToMathNumeric(MathZeroTest(&x), &r);
    case 'i':
      return IntToMathNumeric(MathNumericToInt(&x), &r);
    case 'l':
      return LongToMathNumeric(MathNumericToLong(&x), &r);
    case 'n':
      return MathCopy(&r, &x), ReverseMathNumeric(&r), ER_SUCCESS;  // in place
    case 'I':
      return MathCopy(&r, &x), IncrementMathNumeric(&r);
    default:
      return MathExecuteRoundingRuleEx(&r, &x, std::atoi(b), op - '0');
  }
}

TEST(MathArithmetic, OperationsGiveExactCanonicalResults) {
  struct Case {
    char op;
    const char *a, *b, *result;
    ID rc = ER_SUCCESS;
  } const cases[] = {
      // Carries and borrows across the point, mixed decimals, signs, no negative zero.
      {'+', "0.99", "0.01", "1.00"},
      {'+', "9.5", "0.5", "10.0"},
      {'+', "1.5", "2.25", "3.75"},
      {'+', "123", "-0.001", "122.999"},
      {'+', "-1.25", "1.25", "0.00"},
      {'-', "10", "0.01", "9.99"},
      {'-', "1.000", "0.001", "0.999"},
      {'-', "1", "2.5", "-1.5"},
      {'-', "-0.5", "0.5", "-1.0"},
      {'-', "-0.5", "-0.5", "0.0"},
      {'*', "1.5", "1.5", "2.25"},
      {'*', "0.1", "0.01", "0.001"},
      {'*', "-2.50", "4", "-10.00"},
      {'*', "-3", "0.0", "0.0"},
      {'*', "-1.1", "-1.1", "1.21"},
      // 32 digits: the largest value, one integer digit too many, one decimal too many.
      {'+', k32Nines.c_str(), "0", k32Nines.c_str()},
      {'+', k32Nines.c_str(), "1", "0", ER_ERROR},
      {'-', kMinus32Nines.c_str(), "1", "0", ER_ERROR},
      {'*', "12345678901234567", "98765432109876543", "0", ER_ERROR},
      {'I', k32Nines.c_str(), "", "0", ER_ERROR},
      {'I', "-0.75", "", "0.25"},
      {'+', "9999999999999999999999999999999.9", "0.01", "9999999999999999999999999999999.9"},
      {'+', "9999999999999999999999999999999.9", "0.05", "10000000000000000000000000000000"},
      {'*', "0.5", k32Nines.c_str(), "50000000000000000000000000000000"},
      {'*', "1234567890123456.7890123456789012", "10", "12345678901234567.890123456789012"},
      {'*', "0.0000000000000001", "0.0000000000000005", "0.0000000000000000000000000000001"},
      // Rounding half away from zero, padding, floor, abs, negation and the rules 0-3.
      {'r', "2.345", "2", "2.35"},
      {'r', "-2.345", "2", "-2.35"},
      {'r', "-2.5", "0", "-3"},
      {'r', "1.5", "3", "1.500"},
      {'r', "-0.004", "2", "0.00"},
      {'f', "1.5", "", "1"},
      {'f', "-1.5", "", "-2"},
      {'f', "-2.0", "", "-2"},
      {'f', "-0.3", "", "-1"},
      {'a', "-1.50", "", "1.50"},
      {'n', "0.25", "", "-0.25"},
      {'n', "0.0", "", "0.0"},
      {'0', "-2.349", "2", "-2.34"},
      {'1', "2.345", "2", "2.35"},
      {'2', "-2.341", "2", "-2.35"},
      {'3', "2.345", "2", "2.34"},
      {'3', "2.355", "2", "2.36"},
      // Comparison by value whatever the decimal positions.
      {'c', "1.5", "1.50", "0"},
      {'c', "-0.0", "0", "0"},
      {'c', "-2", "1", "-1"},
      {'c', "0.001", "0.0009", "1"},
      {'c', "-0.001", "-0.0009", "-1"},
      {'c', k32Nines.c_str(), "0.9999999999999999999999999999999", "1"},
      {'C', "-3", "3.000", "0"},
      {'C', "-0.001", "-0.0009", "1"},
      {'z', "-0.01", "", "-1"},
      {'z', "0.000", "", "0"},
      // Integers truncate toward zero and saturate.
      {'i', "-12.9", "", "-12"},
      {'i', "2147483648", "", "2147483647"},
      {'i', "-2147483649", "", "-2147483648"},
      {'l', "9223372036854775807.9", "", "9223372036854775807"},
      {'l', "-9223372036854775808", "", "-9223372036854775808"},
      {'l', kMinus32Nines.c_str(), "", "-9223372036854775808"},
      {'i', kMinus32Nines.c_str(), "", "-2147483648"},
  };
  for (const Case &c : cases) {
    MATH_NUMERIC r;
    std::memset(&r, 0x5a, sizeof r);
    EXPECT_EQ(apply(c.op, c.a, c.b, r), c.rc) << c.a << c.op << c.b;
    EXPECT_EQ(str(r), c.result) << c.a << c.op << c.b;
    expectCanonical(r);
  }
  MATH_NUMERIC r = num("9");
  EXPECT_EQ(apply('4', "1.25", "1", r), ER_ERROR);  // unknown rule leaves the result alone
  EXPECT_EQ(str(r), "9");
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
      {"-1", "8", 2, 1, "-0.13", "0.04"},
      {"-1", "8", 2, 0, "-0.12", "-0.04"},
      {"7", "2", 0, 1, "4", "-1"},
      {"10.5", "0.25", 0, 0, "42", "0.00"},
      {"100", "7", 3, 0, "14.285", "0.005"},
      {"1", "3", -1, 0, "0.3333333333333333333333333333333", "0.0000000000000000000000000000001"},
      {k32Nines.c_str(), "0.5", 2, 1, "0", "0"},  // 33 integer digits
      {"1.5", "0.00", 2, 1, "0", "0"},            // zero divisor
  };
  for (const Case &c : cases) {
    const MATH_NUMERIC dividend = num(c.dividend), divisor = num(c.divisor);
    MATH_NUMERIC q, r, back;
    const ID rc = MathDivide(&q, &r, &dividend, &divisor, c.places, c.round);
    EXPECT_EQ(rc, std::string(c.quotient) == "0" ? ER_ERROR : ER_SUCCESS) << c.dividend << "/" << c.divisor;
    EXPECT_EQ(str(q) + " " + str(r), std::string(c.quotient) + " " + c.remainder) << c.dividend << "/" << c.divisor;
    expectCanonical(q);
    expectCanonical(r);
    MathMultiply(&back, &q, &divisor);  // quotient * divisor + remainder is the dividend again
    MathAdd(&back, &back, &r);
    EXPECT_TRUE(rc != ER_SUCCESS || MathCompare(&back, &dividend) == 0) << c.dividend << "/" << c.divisor;
  }
}

TEST(MathArithmetic, ResultsMayAliasOperands) {
  MATH_NUMERIC a = num("1.5"), x = num("2"), y = num("3");
  MathAdd(&a, &a, &a);
  MathDivide(&x, &y, &x, &y, 2, 1);  // both operands overwritten by the results
  EXPECT_EQ(str(a) + " " + str(x) + " " + str(y), "3.0 0.67 -0.01");
}

TEST(MathArithmetic, CurrencyFollowsTheLeftOperandWhenItHasOne) {
  MATH_NUMERIC eur = num("1.5"), usd = num("2"), plain = num("3"), yen = num("12.5"), r;
  vyrMathSetCurrencyCode(&eur, "EUR");
  vyrMathSetCurrencyDecimals(&eur, 2);
  vyrMathSetCurrencyCodeUNI(&usd, u"USDX");  // cut to three characters
  vyrMathSetCurrencyDecimals(&usd, 3);
  vyrUpdateMathCurrency(&yen, u"JPY", 0);  // rounds to the currency's decimals
  JCHAR code[4];
  std::string seen;
  for (const auto &[left, right] : {std::pair{&eur, &usd}, {&plain, &usd}, {&usd, &eur}, {&yen, &plain}}) {
    MathMultiply(&r, left, right);
    vyrMathGetCurrencyCodeUNI(&r, code);
    seen += str(r) + narrow(code) + std::to_string(vyrMathGetDecimals(&r)) + " ";
  }
  EXPECT_EQ(seen, "3.0EUR2 6USD3 3.0USD3 39JPY0 ");
  ZeroMathNumeric(&yen);
  vyrMathGetCurrencyCodeUNI(&yen, code);
  EXPECT_EQ(narrow(code), "");
}

}  // namespace
