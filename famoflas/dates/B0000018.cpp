// Is a fiscal date pattern still used by a company?
#include "dates/B0000018.h"

#include <string.h>

namespace {

const char kSource[] = "B0000018";
const ID kPatternIndex = 2;

#pragma pack(push, 1)
// Key of F0010 index 2, and the row read with the same two columns.
struct KEY2_F0010 {
  JCHAR cDatePattern;         // DTPN
  VYRDATE jdFiscalYearBegin;  // DFYJ
};
#pragma pack(pop)

}  // namespace

FAMOFLAS_BSFN ID VldtDatePatternDeletion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  KEY2_F0010 dsKey;
  KEY2_F0010 dsRow;
  NID aColumns[2];
  memset(&dsKey, 0, sizeof dsKey);
  memset(&dsRow, 0, sizeof dsRow);
  memset(aColumns, 0, sizeof aColumns);
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000018 lpDS = (LPDSD0000018)lpVoidDS;
  lpDS->cPatternInUse = u'0';

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStrncpy(aColumns[0], u"DTPN", 11);
  vyrStrncpy(aColumns[1], u"DFYJ", 11);
  if (VDB_OpenTable(hUser, u"F0010", kPatternIndex, aColumns, 2, NULL, &hRequest) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  dsKey.cDatePattern = lpDS->cDatePattern;
  memcpy(&dsKey.jdFiscalYearBegin, &lpDS->jdFiscalYearBegin, sizeof dsKey.jdFiscalYearBegin);
  ID idReturn = ER_SUCCESS;
  if (VDB_FetchKeyed(hRequest, kPatternIndex, &dsKey, 2, &dsRow, 0) == VDB_SUCCESS) {
    lpDS->cPatternInUse = u'1';
    idReturn = ER_ERROR;
  }

  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return idReturn;
}
FAMOFLAS_REGISTER(VldtDatePatternDeletion, &DSD0000018_template, "B0000018")
