// Is a fiscal date pattern still used by a company?
#include "dates/B0000018.h"

#include "dates/datepattern.h"

namespace {

const char kSource[] = "B0000018";
const NID kColumns[] = {u"DTPN", u"DFYJ"};

}  // namespace

FAMOFLAS_BSFN ID VldtDatePatternDeletion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  BOOL bInUse = FALSE;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000018 lpDS = (LPDSD0000018)lpVoidDS;
  lpDS->cPatternInUse = u'0';

  if (!DatePatternLookUp(lpBhvrCom, lpVoid, u"F0010", 2, kColumns, 2, lpDS->cDatePattern, &lpDS->jdFiscalYearBegin,
                         u"3143", kSource, &bInUse))
    return ER_ERROR;
  if (!bInUse) return ER_SUCCESS;
  // The caller decides what to report about a pattern in use.
  lpDS->cPatternInUse = u'1';
  return ER_ERROR;
}
FAMOFLAS_REGISTER(VldtDatePatternDeletion, &DSD0000018_template, "B0000018")
