// ConvertNumbersToWordsED: euro digits, then cent digits, each digit named
// on its own ("EINS-NULL Euro NULL-EINS Cent").
#include "utilities/X00500ED.h"

namespace {

const char kSource[] = "X00500ED";

void SpellEuroAndCents(JCHAR *lpszWords, const JCHAR *lpszDigits, int nDigits, int nWhole, int nDecimals) {
  X00500_AppendDigitWords(lpszWords, lpszDigits, nWhole, u" Euro ");
  const JCHAR *lpCents = lpszDigits + nWhole;
  const int nCentDigits = nDigits - nWhole;
  if (nDecimals == 2 && nCentDigits == 2 && !(lpCents[0] == u'0' && lpCents[1] == u'0')) {
    X00500_AppendDigitWords(lpszWords, lpCents, 2, lpCents[0] == u'0' && lpCents[1] == u'1' ? u" Cent" : u" Cents");
  } else if (nDecimals == 1 && nCentDigits == 1) {
    // Tenths are spelled as two cent digits.
    const JCHAR szTenths[2] = {lpCents[0], u'0'};
    X00500_AppendDigitWords(lpszWords, szTenths, 2, u" Cents");
  }
}

}  // namespace

FAMOFLAS_BSFN ID ConvertNumbersToWordsED(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  X00500_FillAmountInWords((LPDSDX00500)lpVoidDS, SpellEuroAndCents);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ConvertNumbersToWordsED, &DSDX00500_template, "X00500ED")
