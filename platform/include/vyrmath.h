/*
 * vyrmath.h - exact decimal arithmetic on MATH_NUMERIC (part of the kernel).
 *
 * Conventions of this platform:
 *  - Values are exact; no floating point touches them except in
 *    MathNumericToDouble and DoubleToMathNumeric.
 *  - Results are written to the first argument and may alias any operand.
 *  - Inputs are read defensively: the digits of String up to its terminator
 *    (at most 32; nLength is not trusted), nDecimalPosition clamped to 0..32.
 *    A String without digits reads as zero.
 *  - Results are canonical: at least nDecimalPosition + 1 digits, no other
 *    leading zeros, Sign '-' only on a non-zero negative value, nLength set,
 *    nPrecision 32.
 *  - Decimal positions of results: add/subtract max(da, db); multiply da + db.
 *  - Overflow: a result that needs more than 32 digits first loses decimals
 *    (rounded half away from zero) until it fits; when its integer part alone
 *    needs more than 32 digits the result is zero and the operation returns
 *    ER_ERROR. Otherwise operations return ER_SUCCESS.
 *  - Currency: an arithmetic result takes the currency code and decimals of
 *    the left operand when that carries a currency code, else of the right.
 *  - Text uses the number format of the context current on the thread
 *    (decimal point and ',' grouping when there is none).
 */
#ifndef VYRMATH_H
#define VYRMATH_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* Longest FormatMathNumeric output: sign, 32 digits, separator, leading 0, terminator. */
#define VYR_MATH_TEXT_SIZE 36

/* Zero with no decimals; clears currency information too. */
VYR_EXPORT void ZeroMathNumeric(LPMATH_NUMERIC lpValue);
/* Copies all 49 bytes. */
VYR_EXPORT void MathCopy(LPMATH_NUMERIC lpDest, const MATH_NUMERIC *lpSource);

/* -1, 0 or 1 by value (1.5 and 1.50 compare equal). */
VYR_EXPORT int MathCompare(const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight);
VYR_EXPORT int MathCompareAbsolute(const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight);
/* 0 when the value is zero, else its sign (-1 or 1). */
VYR_EXPORT int MathZeroTest(const MATH_NUMERIC *lpValue);

/*
 * Text to number. Leading and trailing blanks are ignored; one '+' or '-' may
 * precede the digits; thousands separators among the integer digits are
 * skipped; one decimal separator is taken; trailing decimal zeros are kept
 * ("1.50" has two decimals). Reading stops at the first other character.
 * Returns ER_SUCCESS when the whole text was read, ER_WARNING when characters
 * were left over, ER_ERROR when there was no digit (String is then empty,
 * nLength 0) or on overflow.
 * With a decimal comma "1,234" has three decimals; with a decimal point it is 1234.
 */
VYR_EXPORT ID ParseNumericString(LPMATH_NUMERIC lpValue, const JCHAR *lpszText);
/* As ParseNumericString over at most nLength JCHAR of lpszText. */
VYR_EXPORT ID ParseNumericStringEx(LPMATH_NUMERIC lpValue, const JCHAR *lpszText, size_t nLength);

/*
 * Number to text: '-' for negatives, the digits, the user's decimal separator
 * and every carried decimal, "0" before a leading separator, no grouping.
 * lpszOut must hold VYR_MATH_TEXT_SIZE JCHAR. Returns the JCHAR count written.
 */
VYR_EXPORT int FormatMathNumeric(JCHAR *lpszOut, const MATH_NUMERIC *lpValue);
/* As FormatMathNumeric with the integer digits grouped by the user's thousands
 * separator; lpszOut must hold 48 JCHAR. */
VYR_EXPORT int FormatMathNumericDefault(JCHAR *lpszOut, const MATH_NUMERIC *lpValue);
/*
 * Formats through a mask: '0' a digit always shown, '#' a digit shown when
 * significant, '.' the user's decimal separator, ',' the user's thousands
 * separator (shown only between shown digits); any other character is copied.
 * The value is rounded half away from zero to the mask's decimal places;
 * integer digits beyond the mask are still written; '-' leads a negative
 * value. Writes at most nSize JCHAR including the terminator; returns the count.
 */
VYR_EXPORT int FormatMathNumericWithMask(JCHAR *lpszOut, size_t nSize, const MATH_NUMERIC *lpValue,
                                         const JCHAR *lpszMask);

VYR_EXPORT ID MathAdd(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight);
VYR_EXPORT ID MathSubtract(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight);
VYR_EXPORT ID MathMultiply(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpLeft, const MATH_NUMERIC *lpRight);
/*
 * Quotient of dividend by divisor with nPlaces decimals (0-32; negative: as
 * many as fit in 32 digits). nRound 1 rounds half away from zero at the last
 * place, 0 truncates toward zero. lpRemainder, when not null, receives
 * dividend - quotient * divisor exactly. A zero divisor sets both to zero and
 * returns ER_ERROR.
 */
VYR_EXPORT ID MathDivide(LPMATH_NUMERIC lpQuotient, LPMATH_NUMERIC lpRemainder, const MATH_NUMERIC *lpDividend,
                         const MATH_NUMERIC *lpDivisor, int nPlaces, int nRound);
/* Rounds half away from zero to exactly nPlaces decimals (0-32; padding when it has fewer). */
VYR_EXPORT ID MathRound(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue, int nPlaces);
/*
 * Rounds to nPlaces decimals by a rule: 0 truncate toward zero, 1 half away
 * from zero, 2 up (away from zero), 3 half to even. Other rules: ER_ERROR,
 * result unchanged.
 */
VYR_EXPORT ID MathExecuteRoundingRuleEx(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue, int nPlaces, int nRule);
/* Largest integer not above the value; no decimals. */
VYR_EXPORT ID MathFloor(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue);
VYR_EXPORT ID MathAbs(LPMATH_NUMERIC lpResult, const MATH_NUMERIC *lpValue);
/* Adds 1 in place, keeping the decimals. */
VYR_EXPORT ID IncrementMathNumeric(LPMATH_NUMERIC lpValue);
/* Negates in place; zero stays unsigned. */
VYR_EXPORT void ReverseMathNumeric(LPMATH_NUMERIC lpValue);

VYR_EXPORT ID IntToMathNumeric(int nValue, LPMATH_NUMERIC lpValue);
VYR_EXPORT ID LongToMathNumeric(long nValue, LPMATH_NUMERIC lpValue);
/* Shortest decimal text that reads back as the same double; NaN and infinities: zero, ER_ERROR. */
VYR_EXPORT ID DoubleToMathNumeric(double dValue, LPMATH_NUMERIC lpValue);
/* Truncate toward zero; values outside the target range saturate at its limits. */
VYR_EXPORT int MathNumericToInt(const MATH_NUMERIC *lpValue);
VYR_EXPORT long MathNumericToLong(const MATH_NUMERIC *lpValue);
VYR_EXPORT double MathNumericToDouble(const MATH_NUMERIC *lpValue);

/* The digit string without sign or separator, decimals last, at most nSize - 1 JCHAR; returns the count. */
VYR_EXPORT int vyrMathGetRawStringEx(JCHAR *lpszOut, const MATH_NUMERIC *lpValue, size_t nSize);

/* Currency information carried by a value. */
VYR_EXPORT short vyrMathGetDecimals(const MATH_NUMERIC *lpValue);
VYR_EXPORT void vyrMathSetCurrencyDecimals(LPMATH_NUMERIC lpValue, short nDecimals);
VYR_EXPORT void vyrMathSetCurrencyCode(LPMATH_NUMERIC lpValue, const char *szCurrency);
VYR_EXPORT void vyrMathSetCurrencyCodeUNI(LPMATH_NUMERIC lpValue, const JCHAR *lpszCurrency);
/* lpszOut must hold 4 JCHAR. */
VYR_EXPORT void vyrMathGetCurrencyCodeUNI(const MATH_NUMERIC *lpValue, JCHAR *lpszOut);
VYR_EXPORT void vyrMathCopyCurrencyInfo(LPMATH_NUMERIC lpDest, const MATH_NUMERIC *lpSource);
/* Sets code and decimals and rounds the value half away from zero to those decimals. */
VYR_EXPORT ID vyrUpdateMathCurrency(LPMATH_NUMERIC lpValue, const JCHAR *lpszCurrency, short nDecimals);

VYR_END_DECLS

#endif /* VYRMATH_H */
