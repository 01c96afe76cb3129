// Comparison, arithmetic, rounding and currency information on MATH_NUMERIC.
#include <cstring>

#include "math/boundary.h"
#include "math/decimal.h"
#include "vyrmath.h"

namespace {

using namespace vyr::math;

// Currency code and decimals travel with a value through arithmetic.
struct Currency {
  JCHAR code[4] = {};
  short decimals = 0;
};

Currency currencyOf(const MATH_NUMERIC &value) {
  Currency c;
  std::memcpy(c.code, value.szCurrency, sizeof c.code);
  c.code[3] = 0;
  c.decimals = value.nCurrencyDecimals;
  return c;
}

Currency resultCurrency(const MATH_NUMERIC &left, const MATH_NUMERIC &right) {
  return currencyOf(left.szCurrency[0] != 0 ? left : right);
}

void setCurrency(MATH_NUMERIC &out, const Currency &c) {
  std::memcpy(out.szCurrency, c.code, sizeof c.code);
  out.nCurrencyDecimals = c.decimals;
}

ID emit(MATH_NUMERIC &out, const Result &r) {
  write(out, r.value);
  return r.ok ? ER_SUCCESS : ER_ERROR;
}

ID emit(MATH_NUMERIC &out, const Result &r, const Currency &c) {
  setCurrency(out, c);
  return emit(out, r);
}

int compareValues(const Decimal &a, const Decimal &b) {
  if (a.negative != b.negative) return a.negative ? -1 : 1;
  const int m = compareMagnitude(a, b);
  return a.negative ? -m : m;
}

// A null operand of a predicate counts as zero.
Decimal readOrZero(const MATH_NUMERIC *value) { return value ? read(*value) : Decimal{}; }

template <class Operation>
ID binary(LPMATH_NUMERIC result, const MATH_NUMERIC *left, const MATH_NUMERIC *right, Operation operation) noexcept {
  if (!result || !left || !right) return ER_ERROR;
  return guarded([&] {
    const Currency c = resultCurrency(*left, *right);
    return emit(*result, operation(read(*left), read(*right)), c);
  });
}

ID roundValue(LPMATH_NUMERIC result, const MATH_NUMERIC *value, int places, Rounding mode) noexcept {
  if (!result || !value) return ER_ERROR;
  return guarded([&] {
    const Currency c = currencyOf(*value);
    return emit(*result, roundTo(read(*value), places, mode), c);
  });
}

void copyCode(JCHAR *dest, const JCHAR *source) {
  int i = 0;
  for (; i < 3 && source[i] != 0; ++i) dest[i] = source[i];
  for (; i < 4; ++i) dest[i] = 0;
}

}  // namespace

void ZeroMathNumeric(LPMATH_NUMERIC lpValue) {
  if (!lpValue) return;
  std::memset(lpValue, 0, sizeof *lpValue);
  writeZero(*lpValue);
}

void MathCopy(LPMATH_NUMERIC lpDest, const MATH_NUMERIC *lpSource) {
  if (lpDest && lpSource) std::memmove(lpDest, lpSource, sizeof *lpDest);
}

int MathCompare(const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight) {
  return compareValues(readOrZero(lpLeft), readOrZero(lpRight));
}

int MathCompareAbsolute(const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight) {
  return compareMagnitude(readOrZero(lpLeft), readOrZero(lpRight));
}

int MathZeroTest(const MATH_NUMERIC *lpValue) {
  const Decimal d = readOrZero(lpValue);
  if (d.magnitude == 0) return 0;
  return d.negative ? -1 : 1;
}

ID MathAdd(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight) {
  return binary(lpResult, lpLeft, lpRight, [](const Decimal &a, const Decimal &b) { return add(a, b); });
}

ID MathSubtract(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight) {
  return binary(lpResult, lpLeft, lpRight, [](const Decimal &a, const Decimal &b) { return subtract(a, b); });
}

ID MathMultiply(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight) {
  return binary(lpResult, lpLeft, lpRight, [](const Decimal &a, const Decimal &b) { return multiply(a, b); });
}

ID MathDivide(LPMATH_NUMERIC lpQuotient, LPMATH_NUMERIC lpRemainder, const MATH_NUMERIC *lpDividend,
              const MATH_NUMERIC *lpDivisor, int nPlaces, int nRound) {
  if (!lpQuotient || !lpDividend || !lpDivisor) return ER_ERROR;
  return guarded([&] {
    const Currency c = resultCurrency(*lpDividend, *lpDivisor);
    const Division d = divide(read(*lpDividend), read(*lpDivisor), nPlaces, nRound != 0, lpRemainder != nullptr);
    // Written remainder first: when both pointers name one record the quotient stays.
    if (lpRemainder) emit(*lpRemainder, d.remainder, c);
    const ID rc = emit(*lpQuotient, d.quotient, c);
    return d.divisorZero || !d.remainder.ok ? ER_ERROR : rc;
  });
}

ID MathRound(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue, int nPlaces) {
  return roundValue(lpResult, lpValue, nPlaces, Rounding::HalfAwayFromZero);
}

ID MathExecuteRoundingRuleEx(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue, int nPlaces, int nRule) {
  static constexpr Rounding kRules[] = {Rounding::TowardZero, Rounding::HalfAwayFromZero, Rounding::AwayFromZero,
                                        Rounding::HalfEven};
  if (nRule < 0 || nRule > 3) return ER_ERROR;
  return roundValue(lpResult, lpValue, nPlaces, kRules[nRule]);
}

ID MathFloor(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue) {
  return roundValue(lpResult, lpValue, 0, Rounding::Floor);
}

ID MathAbs(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue) {
  if (!lpResult || !lpValue) return ER_ERROR;
  return guarded([&] {
    const Currency c = currencyOf(*lpValue);
    const Decimal d = read(*lpValue);
    return emit(*lpResult, fitted(d.magnitude, d.scale, false), c);
  });
}

ID IncrementMathNumeric(LPMATH_NUMERIC lpValue) {
  if (!lpValue) return ER_ERROR;
  return guarded([&] { return emit(*lpValue, add(read(*lpValue), Decimal{1, 0, false})); });
}

void ReverseMathNumeric(LPMATH_NUMERIC lpValue) {
  if (!lpValue) return;
  guarded([&] {
    const Decimal d = read(*lpValue);
    return emit(*lpValue, fitted(d.magnitude, d.scale, !d.negative));
  });
}

short vyrMathGetDecimals(const MATH_NUMERIC *lpValue) { return lpValue ? lpValue->nCurrencyDecimals : short{0}; }

void vyrMathSetCurrencyDecimals(LPMATH_NUMERIC lpValue, short nDecimals) {
  if (lpValue) lpValue->nCurrencyDecimals = nDecimals;
}

void vyrMathSetCurrencyCode(LPMATH_NUMERIC lpValue, const char *szCurrency) {
  if (!lpValue || !szCurrency) return;
  JCHAR code[4] = {};
  for (int i = 0; i < 3 && szCurrency[i] != '\0'; ++i) code[i] = static_cast<unsigned char>(szCurrency[i]);
  std::memcpy(lpValue->szCurrency, code, sizeof code);
}

void vyrMathSetCurrencyCodeUNI(LPMATH_NUMERIC lpValue, const JCHAR *lpszCurrency) {
  if (!lpValue || !lpszCurrency) return;
  JCHAR code[4];
  copyCode(code, lpszCurrency);
  std::memcpy(lpValue->szCurrency, code, sizeof code);
}

void vyrMathGetCurrencyCodeUNI(const MATH_NUMERIC *lpValue, JCHAR *lpszOut) {
  if (!lpszOut) return;
  if (!lpValue) {
    lpszOut[0] = 0;
    return;
  }
  JCHAR stored[4];
  std::memcpy(stored, lpValue->szCurrency, sizeof stored);
  copyCode(lpszOut, stored);
}

void vyrMathCopyCurrencyInfo(LPMATH_NUMERIC lpDest, const MATH_NUMERIC *lpSource) {
  if (lpDest && lpSource) setCurrency(*lpDest, currencyOf(*lpSource));
}

ID vyrUpdateMathCurrency(LPMATH_NUMERIC lpValue, const JCHAR *lpszCurrency, short nDecimals) {
  if (!lpValue || !lpszCurrency) return ER_ERROR;
  vyrMathSetCurrencyCodeUNI(lpValue, lpszCurrency);
  lpValue->nCurrencyDecimals = nDecimals;
  return MathRound(lpValue, lpValue, nDecimals);
}
