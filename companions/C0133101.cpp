// The recurrence companions: the F01331 row of a pattern (TDEX null) and
// the rows of its exclusion dates.
#include "C0133101.h"

#include <stddef.h>

#include "activitytables.h"

namespace {

const char kSource[] = "C0133101";

const NID kRecurrenceAliases[DSRECURRENCE_COLUMN_COUNT] = {u"RECURID", u"RCTYP",  u"RCBGDT", u"RCENDT",
                                                           u"RCDOW",   u"RCFREQ", u"RCWOM"};
const ACTIVITYCOLUMNS kColumns = {&DSRECURRENCE_template, kRecurrenceAliases, DSRECURRENCE_COLUMN_COUNT};
const int kIdMember = 0;
// Member number of szUpdateColumns, for errors about it.
const ID kUpdateColumnsItem = DSRECURRENCE_COLUMN_COUNT + 2;
const NID kExclusionColumns[] = {u"RECURID", u"TDEX", u"USER", u"PID", u"JOBN", u"UPMJ", u"UPMT"};
#define COLUMN_COUNT(list) ((ID)(sizeof(list) / sizeof((list)[0])))

#pragma pack(push, 1)
// Every column of F01331: the pattern's own row carries the null date in TDEX,
// written as such so that the unique key holds for it.
typedef struct {
  JCHAR szRecurrenceID[37];
  VYRDATE jdExclusionDate;
  unsigned char pattern[offsetof(DSRECURRENCE, idHUser) - offsetof(DSRECURRENCE, szRecurrenceType)];
  ACTIVITYAUDIT audit;
} PatternRow;
typedef struct {  // kExclusionColumns; its first two members are a key of index 1
  JCHAR szRecurrenceID[37];
  VYRDATE jdExclusionDate;
  ACTIVITYAUDIT audit;
} ExclusionRow;
typedef struct {  // index 1: RECURID, TDEX (null for the pattern)
  JCHAR szRecurrenceID[37];
  VYRDATE jdExclusionDate;
} RecurrenceKey;
#pragma pack(pop)

// The pattern row of the data structure's columns, and back.
void PatternToRow(const LPDSRECURRENCE lpDS, PatternRow *lpRow) {
  vyrStrcpyFillAndTerminate(lpRow->szRecurrenceID, lpDS->szRecurrenceID, 37, 0);
  memset(&lpRow->jdExclusionDate, 0, sizeof lpRow->jdExclusionDate);
  memcpy(lpRow->pattern, lpDS->szRecurrenceType, sizeof lpRow->pattern);
}
void RowToPattern(const PatternRow *lpRow, LPDSRECURRENCE lpDS) {
  memcpy(lpDS->szRecurrenceID, lpRow->szRecurrenceID, sizeof lpDS->szRecurrenceID);
  memcpy(lpDS->szRecurrenceType, lpRow->pattern, sizeof lpRow->pattern);
}

RecurrenceKey PatternKey(const JCHAR *lpszRecurrenceID) {
  RecurrenceKey key;
  memset(&key, 0, sizeof key);
  vyrStrcpyFillAndTerminate(key.szRecurrenceID, lpszRecurrenceID, 37, 0);
  return key;
}

// Reads the pattern row (locked when bLock); FALSE with the error set when there is none.
BOOL FetchPattern(const ACTIVITYCALL *lpCall, HREQUEST hRequest, const JCHAR *lpszRecurrenceID, BOOL bLock,
                  PatternRow *lpRow) {
  const RecurrenceKey key = PatternKey(lpszRecurrenceID);
  return ActivityFetchRequired(lpCall, hRequest, &key, 2, bLock, lpRow, key.szRecurrenceID, RECURRENCE_TABLE, __LINE__);
}

// Reads the stored pattern of the data structure's id into lpRow.
BOOL ReadPattern(const ACTIVITYCALL *lpCall, const LPDSRECURRENCE lpDS, PatternRow *lpRow) {
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(lpCall, lpDS->idHUser, FALSE, &handle, __LINE__)) return FALSE;
  const BOOL bRead = ActivityTableOpen(lpCall, handle.hUser, RECURRENCE_TABLE, NULL, 0, &hRequest, __LINE__) &&
                     FetchPattern(lpCall, hRequest, lpDS->szRecurrenceID, FALSE, lpRow);
  VDB_CloseTable(hRequest);
  ActivityHandleClose(lpCall, &handle, FALSE, RECURRENCE_TABLE, __LINE__);
  return bRead;
}

// Inserts a row of the request's columns; FALSE with the error set when refused.
BOOL InsertRow(const ACTIVITYCALL *lpCall, HREQUEST hRequest, const void *lpRow, const RecurrenceKey *lpKey,
               void *lpScratch) {
  if (VDB_InsertTable(hRequest, lpRow) == VDB_SUCCESS) return TRUE;
  ActivityInsertRefused(lpCall, hRequest, lpKey, 2, lpScratch, lpKey->szRecurrenceID, RECURRENCE_TABLE, __LINE__);
  return FALSE;
}

// Inserts a row under the data structure's handle (F01331 opened with the columns given).
BOOL InsertUnderHandle(const ACTIVITYCALL *lpCall, ID idHUser, const NID *lpColumns, ID nColumns, const void *lpRow,
                       const RecurrenceKey *lpKey, void *lpScratch) {
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(lpCall, idHUser, FALSE, &handle, __LINE__)) return FALSE;
  const BOOL bDone =
      ActivityTableOpen(lpCall, handle.hUser, RECURRENCE_TABLE, lpColumns, nColumns, &hRequest, __LINE__) &&
      InsertRow(lpCall, hRequest, lpRow, lpKey, lpScratch);
  VDB_CloseTable(hRequest);
  ActivityHandleClose(lpCall, &handle, bDone, RECURRENCE_TABLE, __LINE__);
  return bDone;
}

}  // namespace

#define RECURRENCE_CALL(lpDS) \
  ActivityCallOf(lpBhvrCom, lpVoid, (lpDS)->cSuppressErrorMessage, (lpDS)->szErrorMessageID, kSource)

FAMOFLAS_BSFN ID InitializeRecurrence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSRECURRENCE lpDS = (LPDSRECURRENCE)lpVoidDS;
  const ID idHUser = lpDS->idHUser;
  const JCHAR cSuppress = lpDS->cSuppressErrorMessage;
  memset(lpDS, 0, sizeof *lpDS);
  lpDS->idHUser = idHUser;
  lpDS->cSuppressErrorMessage = cSuppress;
  ZeroMathNumeric(&lpDS->mnFrequency);
  ZeroMathNumeric(&lpDS->mnWeekOfMonth);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(InitializeRecurrence, &DSRECURRENCE_template, "C0133101")

FAMOFLAS_BSFN ID SelectRecurrenceUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSRECURRENCE lpDS = (LPDSRECURRENCE)lpVoidDS;
  const ACTIVITYCALL call = RECURRENCE_CALL(lpDS);
  PatternRow row;
  if (!ReadPattern(&call, lpDS, &row)) return ER_ERROR;
  RowToPattern(&row, lpDS);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(SelectRecurrenceUTC, &DSRECURRENCE_template, "C0133101")

FAMOFLAS_BSFN ID InsertRecurrence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSRECURRENCE lpDS = (LPDSRECURRENCE)lpVoidDS;
  const ACTIVITYCALL call = RECURRENCE_CALL(lpDS);
  PatternRow row, existing;
  memset(&row, 0, sizeof row);
  if (vyrIsBlankOrNull(lpDS->szRecurrenceID) &&
      vyrCreateGuidString(lpDS->szRecurrenceID, sizeof lpDS->szRecurrenceID / sizeof(JCHAR)) != ER_SUCCESS) {
    ActivityError(&call, 1, ACTIVITY_ERROR_TABLE, RECURRENCE_TABLE, __LINE__);
    return ER_ERROR;
  }
  if (!ActivityAuditStamp(&call, &row.audit)) return ER_ERROR;
  PatternToRow(lpDS, &row);
  const RecurrenceKey key = PatternKey(lpDS->szRecurrenceID);
  return InsertUnderHandle(&call, lpDS->idHUser, NULL, 0, &row, &key, &existing) ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(InsertRecurrence, &DSRECURRENCE_template, "C0133101")

FAMOFLAS_BSFN ID BuildRecurrenceUpdateColsString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSRECURRENCE lpDS = (LPDSRECURRENCE)lpVoidDS;
  const ACTIVITYCALL call = RECURRENCE_CALL(lpDS);
  PatternRow row;
  if (!ReadPattern(&call, lpDS, &row)) return ER_ERROR;
  DSRECURRENCE stored;
  memset(&stored, 0, sizeof stored);
  RowToPattern(&row, &stored);
  const int nSkipped[] = {kIdMember};
  ActivityListChangedColumns(&kColumns, &stored, lpDS, nSkipped, 1, lpDS->szUpdateColumns,
                             sizeof lpDS->szUpdateColumns / sizeof(JCHAR));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(BuildRecurrenceUpdateColsString, &DSRECURRENCE_template, "C0133101")

FAMOFLAS_BSFN ID UpdateRecurrenceUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSRECURRENCE lpDS = (LPDSRECURRENCE)lpVoidDS;
  const ACTIVITYCALL call = RECURRENCE_CALL(lpDS);
  int nListed[ACTIVITY_MAX_COLUMNS];
  const int nCount = ActivityParseColumns(&kColumns, lpDS->szUpdateColumns, nListed, DSRECURRENCE_COLUMN_COUNT);
  BOOL bListsIdentity = FALSE;
  for (int i = 0; i < nCount; ++i) bListsIdentity = bListsIdentity || nListed[i] == kIdMember;
  if (nCount < 0 || bListsIdentity) {
    ActivityError(&call, kUpdateColumnsItem, ACTIVITY_ERROR_COLUMNS, lpDS->szUpdateColumns, __LINE__);
    return ER_ERROR;
  }
  if (nCount == 0) return ER_SUCCESS;
  ACTIVITYAUDIT audit;
  if (!ActivityAuditStamp(&call, &audit)) return ER_ERROR;
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, FALSE, &handle, __LINE__)) return ER_ERROR;
  PatternRow stored;
  BOOL bDone = FALSE;
  if (ActivityTableOpen(&call, handle.hUser, RECURRENCE_TABLE, NULL, 0, &hRequest, __LINE__) &&
      FetchPattern(&call, hRequest, lpDS->szRecurrenceID, TRUE, &stored)) {
    unsigned char record[sizeof(PatternRow)];
    NID aliases[ACTIVITY_MAX_COLUMNS];
    const size_t nBytes = ActivityPackColumns(&kColumns, lpDS, nListed, nCount, record, aliases);
    memcpy(record + nBytes, &audit, sizeof audit);
    memcpy(aliases + nCount, kActivityAuditColumns, sizeof kActivityAuditColumns);
    const RecurrenceKey key = PatternKey(lpDS->szRecurrenceID);
    bDone =
        VDB_UpdateTableColsExtended(hRequest, 1, &key, 2, aliases, (ID)(nCount + ACTIVITY_AUDIT_COLUMNS), record) == 0;
    if (!bDone) ActivityError(&call, 1, ACTIVITY_ERROR_TABLE, RECURRENCE_TABLE, __LINE__);
  }
  VDB_CloseTable(hRequest);
  ActivityHandleClose(&call, &handle, bDone, RECURRENCE_TABLE, __LINE__);
  return bDone ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(UpdateRecurrenceUTC, &DSRECURRENCE_template, "C0133101")

FAMOFLAS_BSFN ID InitializeExclusion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSEXCLUSION lpDS = (LPDSEXCLUSION)lpVoidDS;
  const ID idHUser = lpDS->idHUser;
  const JCHAR cSuppress = lpDS->cSuppressErrorMessage;
  memset(lpDS, 0, sizeof *lpDS);
  lpDS->idHUser = idHUser;
  lpDS->cSuppressErrorMessage = cSuppress;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(InitializeExclusion, &DSEXCLUSION_template, "C0133101")

FAMOFLAS_BSFN ID InsertExclusion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSEXCLUSION lpDS = (LPDSEXCLUSION)lpVoidDS;
  const ACTIVITYCALL call = RECURRENCE_CALL(lpDS);
  // The null date is the pattern's own row, never an exclusion.
  if (vyrIsBlankOrNull(lpDS->szRecurrenceID) || IsVYRDATENull(&lpDS->jdExclusionDate)) {
    ActivityError(&call, vyrIsBlankOrNull(lpDS->szRecurrenceID) ? 1 : 2, u"4363", NULL, __LINE__);
    return ER_ERROR;
  }
  ExclusionRow row, existing;
  memset(&row, 0, sizeof row);
  vyrStrcpyFillAndTerminate(row.szRecurrenceID, lpDS->szRecurrenceID, 37, 0);
  row.jdExclusionDate = lpDS->jdExclusionDate;
  if (!ActivityAuditStamp(&call, &row.audit)) return ER_ERROR;
  RecurrenceKey key;
  memcpy(&key, &row, sizeof key);
  return InsertUnderHandle(&call, lpDS->idHUser, kExclusionColumns, COLUMN_COUNT(kExclusionColumns), &row, &key,
                           &existing)
             ? ER_SUCCESS
             : ER_ERROR;
}
FAMOFLAS_REGISTER(InsertExclusion, &DSEXCLUSION_template, "C0133101")
