/*
 * X00500.h - what the two German digit-by-digit amount-in-words functions
 * share: ConvertNumbersToWordsED (X00500ED.h) and ConvertNumbersToWordsGERMANY
 * (X00500D.h) take the same data structure and fill the same 70-character
 * field, padded with '*'. An amount of 12 or more digits (decimals included),
 * or whose words would pass 70 characters, is written as formatted digits
 * instead. The sign is never written in words.
 */
#ifndef FAMOFLAS_UTILITIES_X00500_H
#define FAMOFLAS_UTILITIES_X00500_H

#include "frame/bsfn.h"

#define X00500_WORDS_LENGTH 100
/* The field the words fill, padded with asterisks. */
#define X00500_FIELD_LENGTH 70
/* Amounts of this many digits or more are written as digits. */
#define X00500_MAX_SPELLED_DIGITS 12

#define DSDX00500_MEMBERS(M, S) \
  M(S, MATH, mnAmount, 0)       \
  M(S, STRING, szAmountInWords, X00500_WORDS_LENGTH)
FAMOFLAS_DS(DSDX00500, DSDX00500_MEMBERS)

/* The German word of a digit character '0'-'9'. */
static inline const JCHAR *X00500_DigitWord(JCHAR cDigit) {
  static const JCHAR *const kWords[10] = {u"NULL",  u"EINS",  u"ZWEI",   u"DREI", u"VIER",
                                          u"FUENF", u"SECHS", u"SIEBEN", u"ACHT", u"NEUN"};
  return kWords[cDigit - u'0'];
}

/* The words of at most eleven digits stay well inside the member; a piece
 * that would not fit is dropped rather than written past it. */
static inline void X00500_Append(JCHAR *lpszWords, const JCHAR *lpszMore) {
  if (vyrStrlen(lpszWords) + vyrStrlen(lpszMore) < X00500_WORDS_LENGTH + 1) vyrStrcat(lpszWords, lpszMore);
}

/* Appends the word of each of the nDigits digits, joined by "-", and
 * lpszAfterLast after the last. */
static inline void X00500_AppendDigitWords(JCHAR *lpszWords, const JCHAR *lpszDigits, int nDigits,
                                           const JCHAR *lpszAfterLast) {
  for (int i = 0; i < nDigits; ++i) {
    X00500_Append(lpszWords, X00500_DigitWord(lpszDigits[i]));
    X00500_Append(lpszWords, i == nDigits - 1 ? lpszAfterLast : u"-");
  }
}

/* Replaces the words by the amount as formatted digits. */
static inline void X00500_WriteFormatted(JCHAR *lpszWords, const MATH_NUMERIC *lpAmount) {
  JCHAR szFormatted[VYR_MATH_TEXT_SIZE] = {0};
  FormatMathNumeric(szFormatted, lpAmount);
  // Clear the words entirely: padding later writes over what follows the digits.
  vyrMemset(lpszWords, 0, X00500_WORDS_LENGTH + 1);
  X00500_Append(lpszWords, szFormatted);
}

/*
 * Appends the words of an amount whose digit string lpszDigits holds nDigits
 * digits, the first nWhole of them whole units, with nDecimals decimal places.
 */
typedef void (*X00500_SPELLER)(JCHAR *lpszWords, const JCHAR *lpszDigits, int nDigits, int nWhole, int nDecimals);

/* Fills szAmountInWords with the words lpfnSpell writes, or the formatted
 * digits, padded with '*' to the field. */
static inline void X00500_FillAmountInWords(LPDSDX00500 lpDS, X00500_SPELLER lpfnSpell) {
  JCHAR szWords[X00500_WORDS_LENGTH + 1] = {0};
  JCHAR szDigits[MAXLEN_MATH_NUMERIC + 1] = {0};

  const int nDigits = vyrMathGetRawStringEx(szDigits, &lpDS->mnAmount, MAXLEN_MATH_NUMERIC + 1);
  int nDecimals = lpDS->mnAmount.nDecimalPosition;
  if (nDecimals < 0) nDecimals = 0;
  if (nDecimals > MAXLEN_MATH_NUMERIC) nDecimals = MAXLEN_MATH_NUMERIC;
  const bool bSpell =
      nDigits > 0 && nDigits < X00500_MAX_SPELLED_DIGITS && vyrStrspn(szDigits, u"0123456789") == (size_t)nDigits;

  if (!bSpell) {
    X00500_WriteFormatted(szWords, &lpDS->mnAmount);
  } else {
    lpfnSpell(szWords, szDigits, nDigits, nDigits > nDecimals ? nDigits - nDecimals : 0, nDecimals);
    if (vyrStrlen(szWords) > X00500_FIELD_LENGTH) X00500_WriteFormatted(szWords, &lpDS->mnAmount);
  }

  for (size_t n = vyrStrlen(szWords); n < X00500_FIELD_LENGTH; ++n) {
    szWords[n] = u'*';
    szWords[n + 1] = 0;
  }
  vyrStrcpyFillAndTerminate(lpDS->szAmountInWords, szWords, X00500_WORDS_LENGTH + 1, 0);
}

#endif /* FAMOFLAS_UTILITIES_X00500_H */
