/*
 * B0000500.h - algebraic expression evaluator.
 *
 * AlgebraicExpressionCalculate evaluates a free-text arithmetic expression
 * such as "12.5*(3+4)-SQR(16)": + - * /, ** (power), nested parentheses and
 * the one-argument functions COS SIN TAN ARC (arc tangent) LN LOG INT SGN
 * (negates) SQR (square root) ABS. Plain arithmetic is exact (MATH_NUMERIC);
 * powers and functions go through double and come back with nine decimals.
 *
 * Failures are not raised on the context (except null arguments): the caller
 * reads szErrorMessageId.
 *   "4363"  null context (raised too unless cSuppressErrorMessage is "1");
 *           empty expression (ER_WARNING, nothing raised)
 *   "3199"  parentheses do not pair, or ")" followed by other than an
 *           operator, ")" or the end
 *   "4771"  forbidden text, unknown function, or any failure inside a
 *           parenthesised group (division by zero included)
 *   "3449"  failure in the flat remainder (missing operand, division by zero,
 *           zero to a negative power, a result beyond 32 digits)
 *   "   "   success
 */
#ifndef FAMOFLAS_UTILITIES_B0000500_H
#define FAMOFLAS_UTILITIES_B0000500_H

#include "frame/bsfn.h"

/* Longest expression, in characters. */
#define B0000500_EXPRESSION_LENGTH 500
/*
 * Size in JCHAR of every text buffer the internal functions rewrite in place
 * (the working text and its scratch copies): the expression plus terminator.
 * A rewrite that would not fit fails instead of growing the text.
 */
#define I0000500_TEXT_SIZE (B0000500_EXPRESSION_LENGTH + 1)

/*
 * szErrorMessageId is 10 characters wide: the width of a data-dictionary
 * error id (the platform keeps ids up to VYR_ERROR_ID_SIZE - 1 = 10), so a
 * caller can hand it to vyrErrorSetEx unchanged. The evaluator writes
 * four-character ids or the three-blank success marker.
 */
#define DSD0000500_MEMBERS(M, S)                                  \
  M(S, STRING, szAlgebraicExpression, B0000500_EXPRESSION_LENGTH) \
  M(S, MATH, mnCalculatedValue, 0)                                \
  M(S, CHAR, cSuppressErrorMessage, 0)                            \
  M(S, STRING, szErrorMessageId, 10)
FAMOFLAS_DS(DSD0000500, DSD0000500_MEMBERS)

FAMOFLAS_BSFN ID AlgebraicExpressionCalculate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/*
 * Internal functions. Every text argument is a terminated text; those that
 * rewrite it (InspectCharacters, CalBracketTrig, Trigonometry, CalcString,
 * GetNumber, String2Double) need a buffer of I0000500_TEXT_SIZE JCHAR.
 * Functions returning int answer 1 for success/valid and 0 otherwise; a null
 * pointer is a failure.
 */

/* 1 when parentheses pair up and each ")" is followed by an operator, ")" or the end. */
FAMOFLAS_INTERNAL int I0000500_InspectParentheses(const JCHAR *lpszText);
/* Rejects a leading * or /, rewrites each function name into "#" + its code. */
FAMOFLAS_INTERNAL int I0000500_InspectCharacters(JCHAR *lpszText);
/* Code character of the function named at lpszText ("COS(" -> '1' ... "ABS(" -> '|'), '0' when none. */
FAMOFLAS_INTERNAL JCHAR I0000500_TrigMode(const JCHAR *lpszText);
/* Evaluates the parenthesised groups innermost first until no parenthesis is left. */
FAMOFLAS_INTERNAL int I0000500_CalBracketTrig(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, BOOL bDecimalComma);
/* Replaces the number text by the value of function cCode, with nine decimals. */
FAMOFLAS_INTERNAL int I0000500_Trigonometry(JCHAR *lpszNumber, JCHAR cCode, BOOL bDecimalComma);
/* Evaluates a flat expression and writes its value (FormatMathNumeric) over the text. */
FAMOFLAS_INTERNAL int I0000500_CalcString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, BOOL bDecimalComma);
/* *lpLeft = *lpLeft op mnRight for op '*', '/' or '^'. */
FAMOFLAS_INTERNAL int I0000500_MultiplyDivide(LPMATH_NUMERIC lpLeft, MATH_NUMERIC mnRight, JCHAR cOperator,
                                              BOOL bDecimalComma);
/* Reads one operand; returns the characters consumed, 0 on failure. */
FAMOFLAS_INTERNAL int I0000500_GetNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, LPMATH_NUMERIC lpValue);
/* Number text to double; in decimal-comma mode it swaps the separators in the text first. */
FAMOFLAS_INTERNAL void I0000500_String2Double(JCHAR *lpszText, double *lpdValue, BOOL bDecimalComma);
/* Cuts (never rounds) a value to at most nine decimals. */
FAMOFLAS_INTERNAL void I0000500_RoundDownDecimal_9(LPMATH_NUMERIC lpValue);

#endif /* FAMOFLAS_UTILITIES_B0000500_H */
