// ConvertNumbersToWordsGERMANY: each whole-unit digit named with a hyphen,
// then the decimal digits as a fraction of 100 ("EINS-ZWEI-56/100").
#include "utilities/X00500D.h"

namespace {

const char kSource[] = "X00500D";

void SpellDigitsAndHundredths(JCHAR *lpszWords, const JCHAR *lpszDigits, int nDigits, int nWhole, int nDecimals) {
  (void)nDigits;
  (void)nDecimals;
  X00500_AppendDigitWords(lpszWords, lpszDigits, nWhole, u"-");
  // The (up to) two digits after the whole units, as numerals.
  JCHAR szHundredths[3] = {0};
  vyrStrncpy(szHundredths, lpszDigits + nWhole, 3);
  X00500_Append(lpszWords, szHundredths);
  X00500_Append(lpszWords, u"/100");
}

}  // namespace

FAMOFLAS_BSFN ID ConvertNumbersToWordsGERMANY(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  X00500_FillAmountInWords((LPDSDX00500)lpVoidDS, SpellDigitsAndHundredths);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ConvertNumbersToWordsGERMANY, &DSDX00500_template, "X00500D")
