// X74JP001 - Japanese withholding income tax on fees, for the country server
// of B0400017 (country "JP", mode "VAL").
//
// Withholding on a fee is 10.21% of the first 1,000,000 yen and 20.42% of the
// rest, in whole yen, rounded down. A withholding amount of zero is computed;
// one that was given is checked against it.
#include "localization/localization.h"

namespace {

// floor(amount * nPerTenThousand / 10000)
void percentOf(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpAmount, int nPerTenThousand) {
  MATH_NUMERIC mnRate, mnProduct, mnDivisor;
  IntToMathNumeric(nPerTenThousand, &mnRate);
  IntToMathNumeric(10000, &mnDivisor);
  MathMultiply(&mnProduct, lpAmount, &mnRate);
  MathDivide(lpResult, NULL, &mnProduct, &mnDivisor, 0, 0);
}

void withholdingOnFee(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpFee) {
  MATH_NUMERIC mnBracket, mnExcess, mnOnExcess;
  IntToMathNumeric(1000000, &mnBracket);
  if (MathCompare(lpFee, &mnBracket) <= 0) {
    percentOf(lpResult, lpFee, 1021);
    return;
  }
  percentOf(lpResult, &mnBracket, 1021);
  MathSubtract(&mnExcess, lpFee, &mnBracket);
  percentOf(&mnOnExcess, &mnExcess, 2042);
  MathAdd(lpResult, lpResult, &mnOnExcess);
}

}  // namespace

/*
 * Member 1 the fee (not negative, else error "019T" on it), member 2 the
 * withholding (computed when zero; a different amount is a warning "019T" on
 * it, and keeps its value), member 3 "1" when the withholding is right.
 */
ID WithholdingTaxValidation(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "X74JP001", __LINE__)) return ER_ERROR;
  LPDSWITHHOLDINGTAXVALIDATION lpDS = (LPDSWITHHOLDINGTAXVALIDATION)lpVoidDS;
  lpDS->cResultFlag = u'0';
  if (MathZeroTest(&lpDS->mnTaxableAmount) < 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 1, u"019T", NULL, "X74JP001", __LINE__);
    return ER_ERROR;
  }
  MATH_NUMERIC mnExpected;
  withholdingOnFee(&mnExpected, &lpDS->mnTaxableAmount);
  if (MathZeroTest(&lpDS->mnWithholdingAmount) == 0) {
    MathCopy(&lpDS->mnWithholdingAmount, &mnExpected);
  } else if (MathCompare(&lpDS->mnWithholdingAmount, &mnExpected) != 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 2, u"019T", NULL, "X74JP001", __LINE__);
    return ER_WARNING;
  }
  lpDS->cResultFlag = u'1';
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(WithholdingTaxValidation, &DSWITHHOLDINGTAXVALIDATION_template, "X74JP001")
