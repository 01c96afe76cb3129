// Does F0008 hold the fiscal date pattern for this fiscal-year start?
#include "dates/B0000022.h"

#include <string.h>

namespace {

const char kSource[] = "B0000022";
const ID kPatternIndex = 1;
const ID idItemFiscalYearBegin = 2;

#pragma pack(push, 1)
struct KEY1_F0008 {
  JCHAR cDatePattern;         // DTPN
  VYRDATE jdFiscalYearBegin;  // DFYJ
};
struct DSF0008_PATTERN {
  JCHAR cDatePattern;
  VYRDATE jdFiscalYearBegin;
  MATH_NUMERIC mnPeriods;  // FQ
};
#pragma pack(pop)

}  // namespace

FAMOFLAS_BSFN ID ValidateDatePattern(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  KEY1_F0008 dsKey;
  DSF0008_PATTERN dsRow;
  NID aColumns[3];
  memset(&dsKey, 0, sizeof dsKey);
  memset(&dsRow, 0, sizeof dsRow);
  memset(aColumns, 0, sizeof aColumns);
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000022 lpDS = (LPDSD0000022)lpVoidDS;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4364", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStrncpy(aColumns[0], u"DTPN", 11);
  vyrStrncpy(aColumns[1], u"DFYJ", 11);
  vyrStrncpy(aColumns[2], u"FQ", 11);
  if (VDB_OpenTable(hUser, u"F0008", kPatternIndex, aColumns, 3, NULL, &hRequest) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  dsKey.cDatePattern = lpDS->cDatePattern;
  memcpy(&dsKey.jdFiscalYearBegin, &lpDS->jdFiscalYearBegin, sizeof dsKey.jdFiscalYearBegin);
  ID idReturn = ER_SUCCESS;
  if (VDB_FetchKeyed(hRequest, kPatternIndex, &dsKey, 2, &dsRow, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, idItemFiscalYearBegin, u"0177", NULL, kSource, __LINE__);
    idReturn = ER_ERROR;
  }

  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return idReturn;
}
FAMOFLAS_REGISTER(ValidateDatePattern, &DSD0000022_template, "B0000022")
