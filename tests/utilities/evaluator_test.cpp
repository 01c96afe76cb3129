// AlgebraicExpressionCalculate through the runtime: values with the decimals
// the evaluator carries, every error id and its return code, the decimal
// comma, and texts that do not fit.
#include "utilities_fixture.h"

namespace utilities_test {
namespace {

class Evaluator : public UtilitiesTest {
 protected:
  // Runs one expression; mnCalculatedValue starts non-zero so that a failure
  // that forgets to clear it shows.
  ID Evaluate(std::u16string_view expression, bool decimalComma = false) {
    std::memset(&ds_, 0, sizeof(ds_));
    SetText(ds_.szAlgebraicExpression, expression);
    ds_.mnCalculatedValue = Number(u"7");
    return Call("AlgebraicExpressionCalculate", &ds_, decimalComma);
  }
  std::u16string ErrorId() const { return std::u16string(ds_.szErrorMessageId); }

  DSD0000500 ds_{};
};

struct Value {
  const char16_t *expression;
  const char16_t *value;  // written with a decimal point
  bool decimalComma = false;
};

TEST_F(Evaluator, ComputesWithPrecedenceLeftToRightAndNineDecimals) {
  const Value cases[] = {
      {u"1+2*3", u"7"},
      {u"1-2*3", u"-5"},
      {u"1+2*3-4/2", u"5.000000000"},
      {u"8/4/2", u"1.000000000"},
      {u"5*-3", u"-15"},
      {u"5--3", u"8"},
      {u"+2", u"2"},
      {u" 1 +  2 ", u"3"},
      {u"12.5*(3+4)-SQR(16)", u"83.500000000"},
      {u"(1+2)*(3+4)", u"21"},
      {u"2(3)", u"23"},
      {u"2*(3-(4-1))", u"0"},
      // Powers bind tighter than * and /; a doubled minus in an exponent cancels.
      {u"2**3", u"8.000000000"},
      {u"2*3**2", u"18.000000000"},
      {u"1+2**--3", u"9.000000000"},
      {u"2**-1", u"0.500000000"},
      {u"(2)**3", u"8.000000000"},
      // Division rounds at the ninth place; products, sums and results are cut there.
      {u"1/3", u"0.333333333"},
      {u"2/3", u"0.666666667"},
      {u"0.123456789*0.5", u"0.061728394"},
      {u"0.9999999999+0", u"0.999999999"},
      {u"0.1234567899", u"0.123456789"},
      {u"-0.0000000001", u"0.000000000"},
      // Functions work in double, in radians, and come back cut to nine decimals.
      {u"ABS(-2.5)", u"2.500000000"},
      {u"SGN(3)", u"-3.000000000"},
      {u"INT(-2.7)", u"-2.000000000"},
      {u"INT(3000000000)", u"-2147483648.000000000"},
      {u"COS(0)", u"1.000000000"},
      {u"ARC(1)*4", u"3.141592652"},
      {u"SQR(2)", u"1.414213562"},
      {u"LN(1)+LOG(1000)", u"3.000000000"},
      {u"TAN(0)+SIN(COS(0)-1)", u"0.000000000"},
      {u"3SQR(4)", u"32.000000000"},
      // A user whose number format has a decimal comma; results of powers and functions keep it.
      {u"1,5*2", u"3.0", true},
      {u"(1,5+1)*2", u"5.0", true},
      {u"1/3", u"0.333333333", true},
      {u"2**0,5", u"1.414213562", true},
      {u"SQR(2)*2", u"2.828427124", true},
      {u"1,234,5+1", u"12346", true},
  };
  for (const Value &c : cases) {
    SCOPED_TRACE(Utf8(c.expression));
    EXPECT_EQ(Evaluate(c.expression, c.decimalComma), ER_SUCCESS);
    EXPECT_TRUE(SameNumber(ds_.mnCalculatedValue, c.value));
    EXPECT_EQ(ErrorId(), u"   ");
    EXPECT_TRUE(context_->errors.empty());
  }
}

struct Failure {
  const char16_t *expression;
  const char16_t *errorId;
  ID returnCode = ER_ERROR;
};

TEST_F(Evaluator, FailuresReportTheirIdAndClearTheValue) {
  const Failure cases[] = {
      {u"", u"4363", ER_WARNING},
      {u"(1))", u"3199"},
      {u"((1)", u"3199"},
      {u"(1)2", u"3199"},
      {u"1)+(2", u"3199"},
      {u"2***3", u"4771"},
      {u"2^3", u"4771"},
      {u"1@2", u"4771"},
      {u"DIV(4)", u"4771"},
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
      {u"(9999999999999999*9999999999999999*10)", u"4771"},
  };
  for (const Failure &c : cases) {
    SCOPED_TRACE(Utf8(c.expression));
    EXPECT_EQ(Evaluate(c.expression), c.returnCode);
    EXPECT_EQ(ErrorId(), c.errorId);
    EXPECT_EQ(MathZeroTest(&ds_.mnCalculatedValue), 0);
    EXPECT_TRUE(context_->errors.empty()) << "only the null-argument error is raised";
  }
}

TEST_F(Evaluator, NullContextRaises4363UnlessSuppressed) {
  for (const JCHAR suppress : {u'1', u'0', u' '}) {
    LPBHVRCOM context = Context();
    std::memset(&ds_, 0, sizeof(ds_));
    SetText(ds_.szAlgebraicExpression, u"1+1");
    ds_.cSuppressErrorMessage = suppress;
    EXPECT_EQ(AlgebraicExpressionCalculate(context, nullptr, &ds_), ER_ERROR);
    EXPECT_EQ(ErrorId(), u"4363");
    ASSERT_EQ(context->errors.size(), suppress == u'1' ? 0u : 1u);
    if (suppress != u'1') {
      EXPECT_EQ(context->errors[0].id, u"4363");
    }
  }
  EXPECT_EQ(AlgebraicExpressionCalculate(Context(), vyr::userEnvironment(context_), nullptr), ER_ERROR);
  EXPECT_EQ(context_->errors.size(), 1u);
}

TEST_F(Evaluator, TextsThatDoNotFitFailCleanly) {
  // Each "(1/3)" grows to eleven characters: the rewritten text would pass 500.
  std::u16string growing;
  while (growing.size() + 6 <= B0000500_EXPRESSION_LENGTH) growing += u"(1/3)+";
  growing += u"1";
  EXPECT_EQ(Evaluate(growing), ER_ERROR);
  EXPECT_EQ(ErrorId(), u"4771");

  // A member filled to its last position without terminator: only 500 characters count.
  std::memset(&ds_, 0, sizeof(ds_));
  for (JCHAR &c : ds_.szAlgebraicExpression) c = u'1';
  EXPECT_EQ(Call("AlgebraicExpressionCalculate", &ds_), ER_ERROR);
  EXPECT_EQ(ErrorId(), u"3449") << "a 31-digit operand is followed by a digit where an operator is due";

  // 249 nested groups fill the member.
  std::u16string nested(249, u'(');
  nested += u"2" + std::u16string(249, u')');
  EXPECT_EQ(Evaluate(nested), ER_SUCCESS);
  EXPECT_TRUE(SameNumber(ds_.mnCalculatedValue, u"2"));
}

}  // namespace
}  // namespace utilities_test
