// ConvertNumbersToWordsGERMANY: each whole-unit digit named with a hyphen,
// then the decimal digits as a fraction of 100 ("EINS-ZWEI-56/100").
#include "utilities/X00500D.h"

namespace {

const char kSource[] = "X00500D";
const size_t kTextSize = X00500_WORDS_LENGTH + 1;

const JCHAR *const kDigitWords[10] = {u"NULL-",  u"EINS-",  u"ZWEI-",   u"DREI-", u"VIER-",
                                      u"FUENF-", u"SECHS-", u"SIEBEN-", u"ACHT-", u"NEUN-"};

// The words of at most eleven digits stay well inside the member; a piece
// that would not fit is dropped rather than written past it.
void Append(JCHAR *lpszText, const JCHAR *lpszMore) {
  if (vyrStrlen(lpszText) + vyrStrlen(lpszMore) < kTextSize) vyrStrcat(lpszText, lpszMore);
}

void WriteFormatted(JCHAR *lpszText, const MATH_NUMERIC *lpAmount) {
  JCHAR szFormatted[VYR_MATH_TEXT_SIZE] = {0};
  FormatMathNumeric(szFormatted, lpAmount);
  // Clear the words entirely: padding later writes over what follows the digits.
  vyrMemset(lpszText, 0, kTextSize);
  Append(lpszText, szFormatted);
}

}  // namespace

FAMOFLAS_BSFN ID ConvertNumbersToWordsGERMANY(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSDX00500 lpDS = (LPDSDX00500)lpVoidDS;
  JCHAR szWords[kTextSize] = {0};
  JCHAR szDigits[MAXLEN_MATH_NUMERIC + 1] = {0};

  const int nDigits = vyrMathGetRawStringEx(szDigits, &lpDS->mnAmount, MAXLEN_MATH_NUMERIC + 1);
  int nDecimals = lpDS->mnAmount.nDecimalPosition;
  if (nDecimals < 0) nDecimals = 0;
  if (nDecimals > MAXLEN_MATH_NUMERIC) nDecimals = MAXLEN_MATH_NUMERIC;
  const bool bSpell = nDigits > 0 && nDigits < X00500_MAX_SPELLED_DIGITS &&
                      vyrStrspn(szDigits, u"0123456789") == (size_t)nDigits;

  if (!bSpell) {
    WriteFormatted(szWords, &lpDS->mnAmount);
  } else {
    const int nWhole = nDigits > nDecimals ? nDigits - nDecimals : 0;
    for (int i = 0; i < nWhole; ++i) Append(szWords, kDigitWords[szDigits[i] - u'0']);
    // The (up to) two digits after the whole units, as numerals.
    JCHAR szHundredths[3] = {0};
    vyrStrncpy(szHundredths, szDigits + nWhole, 3);
    Append(szWords, szHundredths);
    Append(szWords, u"/100");
    if (vyrStrlen(szWords) > X00500_FIELD_LENGTH) WriteFormatted(szWords, &lpDS->mnAmount);
  }

  for (size_t n = vyrStrlen(szWords); n < X00500_FIELD_LENGTH; ++n) {
    szWords[n] = u'*';
    szWords[n + 1] = 0;
  }
  vyrStrcpyFillAndTerminate(lpDS->szAmountInWords, szWords, kTextSize, 0);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ConvertNumbersToWordsGERMANY, &DSDX00500_template, "X00500D")
