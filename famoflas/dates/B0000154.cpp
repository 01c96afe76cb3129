// Full year of a two-digit year, pivoted at the installation's century-change year.
#include "dates/B0000154.h"

namespace {

const char kSource[] = "B0000154";

// The century-change year from the data dictionary (first two characters of
// the default value of "CENTCHG"); FALSE when it cannot be read as a number.
BOOL readCenturyChangeYear(LPBHVRCOM lpBhvrCom, int *lpnPivot) {
  LPDDDICT lpDict = vyrOpenDictionaryX(lpBhvrCom);
  if (lpDict == NULL) return FALSE;
  JCHAR szPivot[3] = {0};
  LPDDITEM lpItem = vyrAllocFetchDDItemFromDDItemName(lpDict, u"CENTCHG");
  if (lpItem != NULL) {
    vyrStrncpy(szPivot, lpItem->szDefaultValue, 3);
    vyrFreeDDItem(lpItem);
  }
  vyrCloseDictionary(lpDict);
  if (lpItem == NULL || !vyrIsdigit(szPivot[0])) return FALSE;
  *lpnPivot = vyrAtoi(szPivot);
  return TRUE;
}

}  // namespace

FAMOFLAS_BSFN ID RetrieveCorrectCentury(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000154 lpDS = (LPDSD0000154)lpVoidDS;

  int nPivot = 0;
  if (!readCenturyChangeYear(lpBhvrCom, &nPivot)) {
    // Without the pivot any answer would be a guess.
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"019T", u"CENTCHG", kSource, __LINE__);
    return ER_ERROR;
  }

  const int nYear = MathNumericToInt(&lpDS->mnYear);
  // The pivot year itself belongs to the later century.
  const int nCentury = nPivot < nYear ? 19 : 20;
  IntToMathNumeric(nCentury, &lpDS->mnCentury);
  // Saturated years (MathNumericToInt) must not overflow the sum.
  const long nFullYear = (long)nCentury * 100 + (long)nYear;
  LongToMathNumeric(nFullYear, &lpDS->mnFullYear);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(RetrieveCorrectCentury, &DSD0000154_template, "B0000154")
