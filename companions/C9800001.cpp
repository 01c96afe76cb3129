// GetAuditInfo: the audit stamp of the calling context.
#include "C9800001.h"

#include <string.h>

namespace {

const char kSource[] = "C9800001";

}  // namespace

FAMOFLAS_BSFN ID GetAuditInfo(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSGETAUDITINFO lpDS = (LPDSGETAUDITINFO)lpVoidDS;
  memset(lpDS, 0, sizeof *lpDS);
  ZeroMathNumeric(&lpDS->mnTime);

  // The queries fail only for a context the platform does not know.
  if (vyrGetUserInfo(lpBhvrCom, u"USER", lpDS->szUserId, sizeof lpDS->szUserId / sizeof(JCHAR)) != ER_SUCCESS ||
      vyrGetUserInfo(lpBhvrCom, u"PROGRAM", lpDS->szProgramId, sizeof lpDS->szProgramId / sizeof(JCHAR)) !=
          ER_SUCCESS ||
      vyrGetUserInfo(lpBhvrCom, u"MACHINE", lpDS->szWorkstationId, sizeof lpDS->szWorkstationId / sizeof(JCHAR)) !=
          ER_SUCCESS) {
    memset(lpDS, 0, sizeof *lpDS);
    ZeroMathNumeric(&lpDS->mnTime);
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  // Date and time from one reading of the clock, so that they agree at midnight.
  // The clock cannot fail in practice; if it did, no stamp beats a wrong one.
  UTIME utNow;
  short nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
  if (vyrUTime_SetToNow(&utNow) != 0 ||
      vyrUTime_Get(&utNow, &nYear, &nMonth, &nDay, &nHour, &nMinute, &nSecond, u"UTC") != 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  VYRDate2(&lpDS->jdDate, nYear, nMonth, nDay);
  IntToMathNumeric(nHour * 10000 + nMinute * 100 + nSecond, &lpDS->mnTime);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(GetAuditInfo, &DSGETAUDITINFO_template, "C9800001")
