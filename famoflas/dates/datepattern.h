/*
 * datepattern.h - the look-up both fiscal date-pattern checks make:
 * ValidateDatePattern (B0000022) in F0008 and VldtDatePatternDeletion
 * (B0000018) in F0010, each one keyed fetch by pattern (DTPN) and fiscal-year
 * start (DFYJ).
 */
#ifndef FAMOFLAS_DATES_DATEPATTERN_H
#define FAMOFLAS_DATES_DATEPATTERN_H

#include <string.h>

#include "frame/bsfn.h"
#include "vyrrecord.h"

#pragma pack(push, 1)
/* The key of both look-ups. */
typedef struct tagDATEPATTERNKEY {
  JCHAR cDatePattern;        /* DTPN */
  VYRDATE jdFiscalYearBegin; /* DFYJ */
} DATEPATTERNKEY;
VYR_KEY_RECORD(DATEPATTERNKEY, F0008, 1);
VYR_KEY_RECORD(DATEPATTERNKEY, F0010, 2);

/* The row either look-up reads: DTPN, DFYJ and, in F0008 only, FQ. */
typedef struct tagDATEPATTERNROW {
  JCHAR cDatePattern;
  VYRDATE jdFiscalYearBegin;
  MATH_NUMERIC mnPeriods;
} DATEPATTERNROW;
VYR_MEMBER_IS(DATEPATTERNROW, cDatePattern, F0008, DTPN);
VYR_MEMBER_IS(DATEPATTERNROW, jdFiscalYearBegin, F0008, DFYJ);
VYR_MEMBER_IS(DATEPATTERNROW, mnPeriods, F0008, FQ);
VYR_MEMBER_IS(DATEPATTERNROW, cDatePattern, F0010, DTPN);
VYR_MEMBER_IS(DATEPATTERNROW, jdFiscalYearBegin, F0010, DFYJ);
#pragma pack(pop)

/*
 * Fetches the row of the pattern from lpszTable on index idIndex, reading the
 * nColumns columns given (DTPN and DFYJ first), and sets *lpbFound. FALSE
 * after error lpszHandleError (no behaviour handle) or "3143" (table not
 * opened), on item 0; everything opened is released on every path.
 */
static inline BOOL DatePatternLookUp(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const JCHAR *lpszTable, ID idIndex,
                                     const NID *lpColumns, ID nColumns, JCHAR cPattern,
                                     const VYRDATE *lpFiscalYearBegin, const JCHAR *lpszHandleError,
                                     const char *szSource, BOOL *lpbFound) {
  DATEPATTERNKEY dsKey;
  DATEPATTERNROW dsRow;
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  memset(&dsKey, 0, sizeof dsKey);
  memset(&dsRow, 0, sizeof dsRow);
  *lpbFound = FALSE;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, lpszHandleError, NULL, szSource, __LINE__);
    return FALSE;
  }
  if (VDB_OpenTable(hUser, lpszTable, idIndex, lpColumns, nColumns, NULL, &hRequest) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, szSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return FALSE;
  }
  dsKey.cDatePattern = cPattern;
  memcpy(&dsKey.jdFiscalYearBegin, lpFiscalYearBegin, sizeof dsKey.jdFiscalYearBegin);
  *lpbFound = VDB_FetchKeyed(hRequest, idIndex, &dsKey, 2, &dsRow, 0) == VDB_SUCCESS;
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return TRUE;
}

#endif /* FAMOFLAS_DATES_DATEPATTERN_H */
