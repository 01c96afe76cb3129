// ReviseDecimalSeparatorInString: decides which '.' or ',' of a number text
// is its decimal mark, drops the grouping marks and writes the decimal mark
// the reader expects.
#include "C0000500.h"

#include <string.h>

namespace {

const char kSource[] = "C0000500";

// The decimal mark of the current number format, as FormatMathNumeric writes
// it (the same format ParseNumericString reads).
JCHAR CurrentDecimalMark() {
  MATH_NUMERIC mnHalf;
  ZeroMathNumeric(&mnHalf);
  memcpy(mnHalf.String, "05", 3);
  mnHalf.nLength = 2;
  mnHalf.nDecimalPosition = 1;
  JCHAR szText[VYR_MATH_TEXT_SIZE] = {0};
  FormatMathNumeric(szText, &mnHalf);
  for (const JCHAR *p = szText; *p != 0; ++p)
    if (*p == u'.' || *p == u',') return *p;
  return u'.';
}

bool IsMark(JCHAR c) { return c == u'.' || c == u','; }

}  // namespace

FAMOFLAS_BSFN ID ReviseDecimalSeparatorInString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSREVISEDECSEP lpDS = (LPDSREVISEDECSEP)lpVoidDS;
  if (lpDS->cRevisionMode != u'1' && lpDS->cRevisionMode != u'2') {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 2, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  // The member may arrive without a terminator: read at most its width.
  JCHAR szText[DSREVISEDECSEP_STRING_LENGTH + 1] = {0};
  size_t nLength = 0;
  while (nLength < DSREVISEDECSEP_STRING_LENGTH && lpDS->szNumericString[nLength] != 0) {
    szText[nLength] = lpDS->szNumericString[nLength];
    ++nLength;
  }

  const JCHAR cFormatMark = CurrentDecimalMark();
  const JCHAR cWrittenMark = lpDS->cRevisionMode == u'1' ? cFormatMark : u'.';

  // Which positions hold a decimal mark; every other mark is grouping.
  size_t nDecimalAt = (size_t)-1;
  if (lpDS->cEitherMarkIsDecimal == u'Y') {
    size_t nLastMark = (size_t)-1, nPoints = 0, nCommas = 0;
    for (size_t i = 0; i < nLength; ++i) {
      if (!IsMark(szText[i])) continue;
      nLastMark = i;
      (szText[i] == u'.' ? nPoints : nCommas) += 1;
    }
    // "1,5" and "1.5" are one and a half; "1.234,5" and "1,234.5" too; in
    // "1,234,567" the repeated mark can only be grouping.
    if (nLastMark != (size_t)-1 && (szText[nLastMark] == u'.' ? nPoints : nCommas) == 1) nDecimalAt = nLastMark;
  }

  JCHAR szRevised[DSREVISEDECSEP_STRING_LENGTH + 1] = {0};
  size_t nOut = 0;
  for (size_t i = 0; i < nLength; ++i) {
    const JCHAR c = szText[i];
    if (!IsMark(c)) {
      szRevised[nOut++] = c;
    } else if (lpDS->cEitherMarkIsDecimal == u'Y' ? i == nDecimalAt : c == cFormatMark) {
      szRevised[nOut++] = cWrittenMark;
    }
  }
  vyrStrcpyFillAndTerminate(lpDS->szNumericString, szRevised, DSREVISEDECSEP_STRING_LENGTH + 1, 0);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ReviseDecimalSeparatorInString, &DSREVISEDECSEP_template, "C0000500")
