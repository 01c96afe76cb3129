// AlgebraicExpressionCalculate: values with the decimals the evaluator
// carries, every error id with its return code, the decimal comma, the null
// context and texts that do not fit.
#include "support/bsfn_fixture.h"
#include "utilities/B0000500.h"

namespace {

using namespace bsfntest;

class Evaluator : public BsfnTest {
 protected:
  // mnCalculatedValue starts non-zero so that a failure that forgets to clear it shows.
  ID evaluate(std::u16string_view expression, bool decimalComma = false) {
    ds_ = DSD0000500{};
    expression.copy(ds_.szAlgebraicExpression, B0000500_EXPRESSION_LENGTH);
    ds_.mnCalculatedValue = math(u"7");
    return call("AlgebraicExpressionCalculate", &ds_, decimalComma ? newContext({{"decimal", "comma"}}) : context_);
  }
  DSD0000500 ds_{};
};

TEST_F(Evaluator, ComputesWithPrecedenceLeftToRightAndNineDecimals) {
  const struct {
    const char16_t *expression, *value;  // the value as FormatMathNumeric writes it with a decimal point
    bool decimalComma = false;
  } cases[] = {
      {u"1+2*3-4/2", u"5.000000000"},
      {u"8/4/2", u"1.000000000"},
      {u"5*-3", u"-15"},
      {u"5--3", u"8"},
      {u"+2", u"2"},
      {u" 1 +  2 ", u"3"},
      {u"12.5*(3+4)-SQR(16)", u"83.500000000"},
      {u"2(3)", u"23"},
      // Powers bind tighter than * and /; a doubled minus in an exponent cancels.
      {u"2**3", u"8.000000000"},
      {u"2*3**2", u"18.000000000"},
      {u"1+2**--3", u"9.000000000"},
      {u"2**-1", u"0.500000000"},
      // Division rounds at the ninth place; products, sums and results are cut there.
      {u"2/3", u"0.666666667"},
      {u"0.123456789*0.5", u"0.061728394"},
      {u"0.9999999999+0", u"0.999999999"},
      {u"-0.0000000001", u"0.000000000"},
      // Functions work in double, in radians, and come back cut to nine decimals.
      {u"ABS(-2.5)", u"2.500000000"},
      {u"SGN(3)", u"-3.000000000"},
      {u"INT(-2.7)", u"-2.000000000"},
      {u"INT(3000000000)", u"-2147483648.000000000"},
      {u"ARC(1)*4", u"3.141592652"},
      {u"LN(1)+LOG(1000)", u"3.000000000"},
      {u"TAN(0)+SIN(COS(0)-1)", u"0.000000000"},
      // A decimal comma in the user's number format; powers and functions keep it.
      {u"1,5*2", u"3.0", true},
      {u"2**0,5", u"1.414213562", true},
      {u"SQR(2)*2", u"2.828427124", true},
      {u"1,234,5+1", u"12346", true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(toUtf8(c.expression));
    EXPECT_EQ(evaluate(c.expression, c.decimalComma), ER_SUCCESS);
    EXPECT_EQ(text(ds_.mnCalculatedValue), c.value);
    EXPECT_EQ(std::u16string(ds_.szErrorMessageId), u"   ");
  }
}

TEST_F(Evaluator, FailuresStoreTheirIdClearTheValueAndRaiseNothing) {
  const struct {
    const char16_t *expression, *errorId;
    ID code = ER_ERROR;
  } cases[] = {
      {u"", u"4363", ER_WARNING},
      {u"(1))", u"3199"},
      {u"((1)", u"3199"},
      {u"(1)2", u"3199"},
      {u"1)+(2", u"3199"},
      {u"2***3", u"4771"},
      {u"2^3", u"4771"},
      {u"1@2", u"4771"},
      {u"CO(1)", u"4771"},
      {u"*2", u"4771"},
      {u"/2", u"4771"},
      {u"   ", u"4771"},
      // The same fault inside a group and in the flat remainder.
      {u"(1/0)", u"4771"},
      {u"1/0", u"3449"},
      {u"(0**-1)", u"4771"},
      {u"0**-1", u"3449"},
      {u"SQR(-4)", u"4771"},
      {u"LN(0)", u"4771"},
      {u"LOG(-1)", u"4771"},
      {u"1+", u"3449"},
      {u"(-8)**0.5", u"3449"},
      {u"9999999999999999*9999999999999999*10", u"3449"},  // beyond 32 digits
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(toUtf8(c.expression));
    EXPECT_EQ(evaluate(c.expression), c.code);
    EXPECT_EQ(std::u16string(ds_.szErrorMessageId), c.errorId);
    EXPECT_EQ(text(ds_.mnCalculatedValue), u"0");
    EXPECT_EQ(errors(), Strings{});
  }
}

TEST_F(Evaluator, ANullContextIsRaisedUnlessSuppressed) {
  for (const JCHAR suppress : {u'1', u'0', u' '}) {
    ds_ = DSD0000500{u"1+1", math(u"7"), suppress, {}};
    context_->errors.clear();
    EXPECT_EQ(AlgebraicExpressionCalculate(context_, nullptr, &ds_), ER_ERROR);
    EXPECT_EQ(std::u16string(ds_.szErrorMessageId), u"4363");
    EXPECT_EQ(text(ds_.mnCalculatedValue), u"0");
    EXPECT_EQ(errors(), suppress == u'1' ? Strings{} : Strings{"4363 @0"});
  }
}

TEST_F(Evaluator, TextsThatDoNotFitFailCleanly) {
  // Each "(1/3)" grows to eleven characters: the rewritten text would pass 500.
  std::u16string growing;
  while (growing.size() + 6 <= B0000500_EXPRESSION_LENGTH) growing += u"(1/3)+";
  EXPECT_EQ(evaluate(growing + u"1"), ER_ERROR);
  EXPECT_EQ(std::u16string(ds_.szErrorMessageId), u"4771");

  // A member filled to its last position without terminator: only 500 characters count,
  // and a 31-digit operand is followed by a digit where an operator is due.
  for (JCHAR &c : ds_.szAlgebraicExpression) c = u'1';
  EXPECT_EQ(call("AlgebraicExpressionCalculate", &ds_), ER_ERROR);
  EXPECT_EQ(std::u16string(ds_.szErrorMessageId), u"3449");

  EXPECT_EQ(evaluate(std::u16string(249, u'(') + u"2" + std::u16string(249, u')')), ER_SUCCESS);
  EXPECT_EQ(text(ds_.mnCalculatedValue), u"2");
}

}  // namespace
