// WriteToVYRLog: a data structure of assorted values, written to the debug trace.
#include "frame/B0900102.h"

#include <stdarg.h>

static const char kSource[] = "B0900102";

/* Appends formatted text at *lpnPos, never past nSize (the text is then cut). */
static void AppendText(JCHAR *lpszOut, size_t nSize, size_t *lpnPos, const JCHAR *lpszFormat, ...) {
  if (*lpnPos + 1 >= nSize) return;
  va_list args;
  va_start(args, lpszFormat);
  const int nWritten = vyrVsnprintf(lpszOut + *lpnPos, nSize - *lpnPos, lpszFormat, args);
  va_end(args);
  if (nWritten <= 0) return;
  *lpnPos += (size_t)nWritten < nSize - *lpnPos ? (size_t)nWritten : nSize - *lpnPos - 1;
}

/* Flags of value 0 are shown as '*'. */
static JCHAR ShownCharacter(JCHAR cValue) { return cValue == 0 ? u'*' : cValue; }

/* The sign column: 0 is shown as '+' and '-' as a blank; this is how the log has always read. */
static JCHAR ShownSign(char cSign) {
  if (cSign == 0) return u'+';
  if (cSign == '-') return u' ';
  return vyrToJCHAR(cSign);
}

void FormatDebugDataStructure(const DSD0900102 *lpDS, JCHAR *lpszOut, size_t nSize) {
  /* Local terminated copies: a member filled to its last position may lack its terminator. */
  JCHAR szComment[81];
  JCHAR szStrings[5][41];
  JCHAR szDates[5][41];
  const JCHAR *lpszMembers[5] = {lpDS->szString1, lpDS->szString2, lpDS->szString3, lpDS->szString4, lpDS->szString5};
  const VYRDATE *lpDates[5] = {&lpDS->jdDate1, &lpDS->jdDate2, &lpDS->jdDate3, &lpDS->jdDate4, &lpDS->jdDate5};
  const MATH_NUMERIC *lpNumerics[5] = {&lpDS->mnNumeric1, &lpDS->mnNumeric2, &lpDS->mnNumeric3, &lpDS->mnNumeric4,
                                       &lpDS->mnNumeric5};
  size_t nPos = 0;
  int i;

  if (lpszOut == NULL || nSize == 0) return;
  lpszOut[0] = 0;
  vyrStrcpyFillAndTerminate(szComment, lpDS->szComment, 81, 0);
  for (i = 0; i < 5; ++i) {
    vyrStrcpyFillAndTerminate(szStrings[i], lpszMembers[i], 41, 0);
    FormatDate(szDates[i], lpDates[i], NULL);
  }

  AppendText(lpszOut, nSize, &nPos, u"Comment: '%ls'\nStrings:\n1: '%ls'\n2: '%ls'\n3: '%ls'\n4: '%ls'\n5: '%ls'\n",
             szComment, szStrings[0], szStrings[1], szStrings[2], szStrings[3], szStrings[4]);
  AppendText(lpszOut, nSize, &nPos,
             u"Characters:(* could be NULL if value is 0)\nChar  1:'%lc'  2:'%lc'  3:'%lc'  4:'%lc'  5:'%lc'\n",
             ShownCharacter(lpDS->cCharacter1), ShownCharacter(lpDS->cCharacter2), ShownCharacter(lpDS->cCharacter3),
             ShownCharacter(lpDS->cCharacter4), ShownCharacter(lpDS->cCharacter5));
  AppendText(lpszOut, nSize, &nPos, u"Value 1:%3d  2:%3d  3:%3d  4:%3d  5:%3d\n", (int)lpDS->nValue1,
             (int)lpDS->nValue2, (int)lpDS->nValue3, (int)lpDS->nValue4, (int)lpDS->nValue5);
  AppendText(lpszOut, nSize, &nPos, u"Dates:\n1: '%ls' 2: '%ls' 3: '%ls'\n4: '%ls' 5: '%ls'\n", szDates[0], szDates[1],
             szDates[2], szDates[3], szDates[4]);
  AppendText(lpszOut, nSize, &nPos, u"Math Numeric (Sign   String   DecimalPlace szCurrency CurrencyDecimals)\n");
  for (i = 0; i < 5; ++i) {
    JCHAR szValue[VYR_MATH_TEXT_SIZE];
    JCHAR szCurrency[4];
    FormatMathNumeric(szValue, lpNumerics[i]);
    vyrMathGetCurrencyCodeUNI(lpNumerics[i], szCurrency);
    AppendText(lpszOut, nSize, &nPos, u"%d: %lc   %ls   %d   %ls   %d\n", i + 1, ShownSign(lpNumerics[i]->Sign),
               szValue, (int)lpNumerics[i]->nDecimalPosition, szCurrency, (int)lpNumerics[i]->nCurrencyDecimals);
  }
  AppendText(lpszOut, nSize, &nPos, u"Integers(2 Long 3 Short): 1:%li 2:%li\n 1:%i 2:%i 3:%i", (long)lpDS->nLong1,
             (long)lpDS->nLong2, (int)lpDS->nShort1, (int)lpDS->nShort2, (int)lpDS->nShort3);
}

FAMOFLAS_BSFN ID WriteToVYRLog(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  JCHAR szText[DEBUG_DS_TEXT_SIZE];
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  FormatDebugDataStructure((const DSD0900102 *)lpVoidDS, szText, DEBUG_DS_TEXT_SIZE);
  DebugTraceFn(u"%ls", szText);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(WriteToVYRLog, &DSD0900102_template, "B0900102")
