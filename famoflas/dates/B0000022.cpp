// Does F0008 hold the fiscal date pattern for this fiscal-year start?
#include "dates/B0000022.h"

#include "dates/datepattern.h"

namespace {

const char kSource[] = "B0000022";
const NID kColumns[] = {u"DTPN", u"DFYJ", u"FQ"};
const ID idItemFiscalYearBegin = 2;

}  // namespace

FAMOFLAS_BSFN ID ValidateDatePattern(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  BOOL bFound = FALSE;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000022 lpDS = (LPDSD0000022)lpVoidDS;

  if (!DatePatternLookUp(lpBhvrCom, lpVoid, u"F0008", 1, kColumns, 3, lpDS->cDatePattern, &lpDS->jdFiscalYearBegin,
                         u"4364", kSource, &bFound))
    return ER_ERROR;
  if (bFound) return ER_SUCCESS;
  vyrErrorSetEx(lpBhvrCom, lpVoid, idItemFiscalYearBegin, u"0177", NULL, kSource, __LINE__);
  return ER_ERROR;
}
FAMOFLAS_REGISTER(ValidateDatePattern, &DSD0000022_template, "B0000022")
