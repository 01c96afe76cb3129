// MATH_NUMERIC to and from machine integers and doubles. Conversions into a
// value replace its number and keep its currency information.
#include <charconv>
#include <cmath>
#include <limits>

#include "math/boundary.h"
#include "math/decimal.h"
#include "vyrmath.h"

namespace {

using namespace vyr::math;

template <class T>
ID fromInteger(T n, LPMATH_NUMERIC value) {
  if (!value) return ER_ERROR;
  __extension__ const __int128 wide = n;
  write(*value, Decimal{static_cast<u128>(wide < 0 ? -wide : wide), 0, n < 0});
  return ER_SUCCESS;
}

// Truncates toward zero and saturates at the limits of T.
template <class T>
T toInteger(const MATH_NUMERIC *value) {
  if (!value) return 0;
  const Decimal d = read(*value);
  const u128 whole = d.magnitude / pow10<u128>(d.scale);
  const u128 largest = static_cast<u128>(std::numeric_limits<T>::max());
  if (!d.negative) return whole > largest ? std::numeric_limits<T>::max() : static_cast<T>(whole);
  if (whole > largest) return std::numeric_limits<T>::min();
  return static_cast<T>(-static_cast<T>(whole));
}

}  // namespace

ID IntToMathNumeric(int nValue, LPMATH_NUMERIC lpValue) { return fromInteger(nValue, lpValue); }

ID LongToMathNumeric(long nValue, LPMATH_NUMERIC lpValue) { return fromInteger(nValue, lpValue); }

int MathNumericToInt(const MATH_NUMERIC *lpValue) { return toInteger<int>(lpValue); }

long MathNumericToLong(const MATH_NUMERIC *lpValue) { return toInteger<long>(lpValue); }

ID DoubleToMathNumeric(double dValue, LPMATH_NUMERIC lpValue) {
  if (!lpValue) return ER_ERROR;
  if (!std::isfinite(dValue)) {
    writeZero(*lpValue);
    return ER_ERROR;
  }
  // The shortest text that reads back as dValue: [-]d[.ddd]e(+|-)xx.
  char text[64];
  const auto [end, error] = std::to_chars(text, text + sizeof text, dValue, std::chars_format::scientific);
  if (error != std::errc()) {
    writeZero(*lpValue);
    return ER_ERROR;
  }
  const char *p = text;
  const bool negative = *p == '-';
  if (negative) ++p;
  u128 mantissa = 0;
  int fractionDigits = 0;
  bool inFraction = false;
  for (; p < end && *p != 'e'; ++p) {
    if (*p == '.') {
      inFraction = true;
      continue;
    }
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    if (inFraction) ++fractionDigits;
  }
  int exponent = 0;
  if (p < end) std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);

  const int scale = fractionDigits - exponent;
  if (scale >= 0) return store(*lpValue, mantissa, scale, negative);
  if (digitCount(mantissa) - scale > kDigits) {
    writeZero(*lpValue);
    return ER_ERROR;
  }
  return store(*lpValue, u128(mantissa * pow10<u128>(-scale)), 0, negative);
}

double MathNumericToDouble(const MATH_NUMERIC *lpValue) {
  if (!lpValue) return 0.0;
  // Correctly rounded through decimal text, so no digit is lost on the way.
  const Decimal d = read(*lpValue);
  char text[48];
  char *p = text;
  if (d.negative) *p++ = '-';
  p += spellDigits(d.magnitude, 1, p);
  *p++ = 'e';
  *p++ = '-';
  p = std::to_chars(p, text + sizeof text, d.scale).ptr;
  double result = 0.0;
  std::from_chars(text, p, result);
  return result;
}
