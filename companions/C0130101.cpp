// The activity companions: F01301 rows read, written and deleted for the
// library (the PIM sync) and for the server's own programs, and the F01302
// record of a deletion that the PIM client has yet to take.
#include "C0130101.h"

#include <stddef.h>

#include "activitytables.h"

namespace {

const char kSource[] = "C0130101";

const NID kActivityAliases[DSACTIVITY_COLUMN_COUNT] = {
    u"ACTVID",  u"INDID",  u"ACTTYP", u"ACTSUBJ", u"ACTDSC",  u"ACTLOC", u"ALLDAY",
    u"BGTM",    u"ENDTM",  u"DUEDT",  u"ISTODO",  u"CMPLFL",  u"CMPLTM", u"LEADTM",
    u"LEADINC", u"ALRMFL", u"PRIVFL", u"STPIM",   u"RECURID", u"TDLDS",  u"UDTTM"};
const ACTIVITYCOLUMNS kColumns = {&DSACTIVITY_template, kActivityAliases, DSACTIVITY_COLUMN_COUNT};
// Members that the functions treat apart: the key, the PIM timestamp and the change stamp.
const int kIdMember = 0;
const int kPIMTimestampMember = 19;
const int kUpdateTimeMember = 20;
// Member number of szUpdateColumns, for errors about it.
const ID kUpdateColumnsItem = DSACTIVITY_COLUMN_COUNT + 4;

#pragma pack(push, 1)
typedef struct {  // every column of F01301
  unsigned char columns[offsetof(DSACTIVITY, idHUser)];
  ACTIVITYAUDIT audit;
} ActivityRow;
typedef struct {  // F01302, every column
  JCHAR szActivityID[37];
  MATH_NUMERIC mnAddressNumber;
  JCHAR cToDoTask;
  UTIME utDeleted;
} DeletedRow;
typedef struct {  // F01302 index 1
  MATH_NUMERIC mnAddressNumber;
  JCHAR szActivityID[37];
} DeletedKey;
#pragma pack(pop)

static_assert(sizeof(((ActivityRow *)0)->columns) ==
                  offsetof(DSACTIVITY, utUpdateTime) + sizeof(((DSACTIVITY *)0)->utUpdateTime),
              "the column members of DSACTIVITY end with UDTTM");

// The row's columns as a whole data structure (the steering members zero), to read them by name.
void ActivityOfRow(const ActivityRow *lpRow, DSACTIVITY *lpActivity) {
  memset(lpActivity, 0, sizeof *lpActivity);
  memcpy(lpActivity, lpRow->columns, sizeof lpRow->columns);
}

BOOL OpenActivities(const ACTIVITYCALL *lpCall, HUSER hUser, HREQUEST *lphRequest) {
  return ActivityTableOpen(lpCall, hUser, ACTIVITY_TABLE, NULL, 0, lphRequest, __LINE__);
}

// Reads the row of szActivityID (locked for update when bLock); FALSE with the error set when there is none.
BOOL FetchActivity(const ACTIVITYCALL *lpCall, HREQUEST hRequest, const JCHAR *lpszActivityID, BOOL bLock,
                   ActivityRow *lpRow) {
  JCHAR szKey[37];
  vyrStrcpyFillAndTerminate(szKey, lpszActivityID, 37, 0);
  return ActivityFetchRequired(lpCall, hRequest, szKey, 1, bLock, lpRow, szKey, ACTIVITY_TABLE, __LINE__);
}

/*
 * A change stamp later than both stored stamps: the clock, or when it stands
 * at or behind them (a clock stepped back, another machine's clock ahead) one
 * second past the later one, so that a version never repeats and the PIM
 * client's version never looks current after a change.
 */
void NextStamp(const UTIME *lpStoredUpdate, const UTIME *lpStoredPIM, UTIME *lpStamp) {
  UTIME utNow;
  vyrUTime_SetToNow(&utNow);
  const UTIME *lpLatest = vyrUTime_Compare(lpStoredUpdate, lpStoredPIM) >= 0 ? lpStoredUpdate : lpStoredPIM;
  if (vyrUTime_Compare(&utNow, lpLatest) > 0) {
    vyrUTime_Copy(lpStamp, &utNow);
  } else {
    vyrUTime_Copy(lpStamp, lpLatest);
    vyrUTime_AdvanceTime(lpStamp, 0, 0, 1);
  }
}

// Records the deletion for the owner's next sync (a deletion already waiting takes the new time).
BOOL RecordDeletion(const ACTIVITYCALL *lpCall, HUSER hUser, const LPDSACTIVITY lpActivity) {
  HREQUEST hRequest = NULL;
  if (!ActivityTableOpen(lpCall, hUser, ACTIVITY_DELETED_TABLE, NULL, 0, &hRequest, __LINE__)) return FALSE;
  DeletedKey key;
  DeletedRow row;
  memset(&key, 0, sizeof key);
  MathCopy(&key.mnAddressNumber, &lpActivity->mnAddressNumber);
  vyrStrcpyFillAndTerminate(key.szActivityID, lpActivity->szActivityID, 37, 0);
  const ROWLOOKUP lookup = ActivityRowLookup(VDB_FetchKeyed(hRequest, 1, &key, 2, &row, 0));
  memset(&row, 0, sizeof row);
  vyrStrcpyFillAndTerminate(row.szActivityID, lpActivity->szActivityID, 37, 0);
  MathCopy(&row.mnAddressNumber, &lpActivity->mnAddressNumber);
  row.cToDoTask = lpActivity->cToDoTask;
  vyrUTime_SetToNow(&row.utDeleted);
  BOOL bDone = FALSE;
  if (lookup == ROW_FOUND)
    bDone = VDB_UpdateTable(hRequest, 1, &key, 2, &row) == VDB_SUCCESS;
  else if (lookup == ROW_ABSENT)
    bDone = VDB_InsertTable(hRequest, &row) == VDB_SUCCESS;
  VDB_CloseTable(hRequest);
  if (!bDone) ActivityError(lpCall, 0, ACTIVITY_ERROR_TABLE, ACTIVITY_DELETED_TABLE, __LINE__);
  return bDone;
}

// Drops a deletion of the owner and id that waits in F01302: the activity exists again.
BOOL ForgetDeletion(const ACTIVITYCALL *lpCall, HUSER hUser, const LPDSACTIVITY lpActivity) {
  HREQUEST hRequest = NULL;
  if (!ActivityTableOpen(lpCall, hUser, ACTIVITY_DELETED_TABLE, NULL, 0, &hRequest, __LINE__)) return FALSE;
  DeletedKey key;
  DeletedRow row;
  memset(&key, 0, sizeof key);
  MathCopy(&key.mnAddressNumber, &lpActivity->mnAddressNumber);
  vyrStrcpyFillAndTerminate(key.szActivityID, lpActivity->szActivityID, 37, 0);
  BOOL bDone = FALSE;
  switch (ActivityRowLookup(VDB_FetchKeyed(hRequest, 1, &key, 2, &row, 0))) {
    case ROW_FOUND:
      bDone = VDB_DeleteTable(hRequest, 1, &key, 2) == VDB_SUCCESS;
      break;
    case ROW_ABSENT:
      bDone = TRUE;
      break;
    default:
      break;
  }
  VDB_CloseTable(hRequest);
  if (!bDone) ActivityError(lpCall, 0, ACTIVITY_ERROR_TABLE, ACTIVITY_DELETED_TABLE, __LINE__);
  return bDone;
}

// Deletes the pattern and exclusions of szRecurrenceID unless another activity still uses them.
BOOL DropUnsharedRecurrence(const ACTIVITYCALL *lpCall, HUSER hUser, HREQUEST hActivities,
                            const JCHAR *lpszRecurrenceID) {
  JCHAR szKey[37];
  vyrStrcpyFillAndTerminate(szKey, lpszRecurrenceID, 37, 0);
  ActivityRow other;
  switch (ActivityRowLookup(VDB_FetchKeyed(hActivities, 3, szKey, 1, &other, 0))) {
    case ROW_FOUND:
      return TRUE;
    case ROW_ABSENT:
      break;
    default:
      ActivityError(lpCall, 0, ACTIVITY_ERROR_TABLE, ACTIVITY_TABLE, __LINE__);
      return FALSE;
  }
  HREQUEST hRequest = NULL;
  if (!ActivityTableOpen(lpCall, hUser, RECURRENCE_TABLE, NULL, 0, &hRequest, __LINE__)) return FALSE;
  // Deleting nothing is no failure: a pattern may have gone before its activity.
  VDB_DeleteTable(hRequest, 1, szKey, 1);
  VDB_CloseTable(hRequest);
  return TRUE;
}

}  // namespace

FAMOFLAS_BSFN ID InitializeActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ID idHUser = lpDS->idHUser;
  const JCHAR cSuppress = lpDS->cSuppressErrorMessage;
  memset(lpDS, 0, sizeof *lpDS);
  lpDS->idHUser = idHUser;
  lpDS->cSuppressErrorMessage = cSuppress;
  ZeroMathNumeric(&lpDS->mnAddressNumber);
  ZeroMathNumeric(&lpDS->mnLeadTime);
  lpDS->cAllDayEvent = u'N';
  lpDS->cToDoTask = u'0';
  lpDS->cCompletedFlag = u'0';
  lpDS->cAlarmFlag = u'0';
  lpDS->cPrivateFlag = u'N';
  lpDS->cPIMFlag = u'1';
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(InitializeActivity, &DSACTIVITY_template, "C0130101")

FAMOFLAS_BSFN ID SelectActivityUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ACTIVITYCALL call =
      ActivityCallOf(lpBhvrCom, lpVoid, lpDS->cSuppressErrorMessage, lpDS->szErrorMessageID, kSource);
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, FALSE, &handle, __LINE__)) return ER_ERROR;
  ActivityRow row;
  const BOOL bRead =
      OpenActivities(&call, handle.hUser, &hRequest) && FetchActivity(&call, hRequest, lpDS->szActivityID, FALSE, &row);
  VDB_CloseTable(hRequest);
  ActivityHandleClose(&call, &handle, FALSE, ACTIVITY_TABLE, __LINE__);
  if (!bRead) return ER_ERROR;
  memcpy(lpDS, row.columns, sizeof row.columns);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(SelectActivityUTC, &DSACTIVITY_template, "C0130101")

FAMOFLAS_BSFN ID InsertActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ACTIVITYCALL call =
      ActivityCallOf(lpBhvrCom, lpVoid, lpDS->cSuppressErrorMessage, lpDS->szErrorMessageID, kSource);
  ActivityRow row;
  memset(&row, 0, sizeof row);
  if (vyrIsBlankOrNull(lpDS->szActivityID) &&
      vyrCreateGuidString(lpDS->szActivityID, sizeof lpDS->szActivityID / sizeof(JCHAR)) != ER_SUCCESS) {
    ActivityError(&call, 1, ACTIVITY_ERROR_TABLE, ACTIVITY_TABLE, __LINE__);
    return ER_ERROR;
  }
  if (!ActivityAuditStamp(&call, &row.audit)) return ER_ERROR;
  UTIME utNull, utStamp;
  vyrUTime_SetToNull(&utNull);
  NextStamp(&utNull, &utNull, &utStamp);

  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, TRUE, &handle, __LINE__)) return ER_ERROR;
  BOOL bDone = FALSE;
  if (OpenActivities(&call, handle.hUser, &hRequest)) {
    DSACTIVITY written = *lpDS;
    const LPDSACTIVITY lpRow = &written;
    vyrUTime_Copy(&lpRow->utUpdateTime, &utStamp);
    if (lpDS->cChangedByPIM == u'1') vyrUTime_Copy(&lpRow->utPIMTimestamp, &utStamp);
    memcpy(row.columns, lpRow, sizeof row.columns);
    if (VDB_InsertTable(hRequest, &row) == VDB_SUCCESS) {
      bDone = ForgetDeletion(&call, handle.hUser, lpDS);
    } else {
      ActivityRow existing;
      ActivityInsertRefused(&call, hRequest, lpRow->szActivityID, 1, &existing, lpRow->szActivityID, ACTIVITY_TABLE,
                            __LINE__);
    }
  }
  VDB_CloseTable(hRequest);
  if (!ActivityHandleClose(&call, &handle, bDone, ACTIVITY_TABLE, __LINE__)) bDone = FALSE;
  if (!bDone) return ER_ERROR;
  vyrUTime_Copy(&lpDS->utUpdateTime, &utStamp);
  if (lpDS->cChangedByPIM == u'1') vyrUTime_Copy(&lpDS->utPIMTimestamp, &utStamp);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(InsertActivity, &DSACTIVITY_template, "C0130101")

FAMOFLAS_BSFN ID BuildActivityUpdateColumnsString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ACTIVITYCALL call =
      ActivityCallOf(lpBhvrCom, lpVoid, lpDS->cSuppressErrorMessage, lpDS->szErrorMessageID, kSource);
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, FALSE, &handle, __LINE__)) return ER_ERROR;
  ActivityRow row;
  const BOOL bRead =
      OpenActivities(&call, handle.hUser, &hRequest) && FetchActivity(&call, hRequest, lpDS->szActivityID, FALSE, &row);
  VDB_CloseTable(hRequest);
  ActivityHandleClose(&call, &handle, FALSE, ACTIVITY_TABLE, __LINE__);
  if (!bRead) return ER_ERROR;
  const int nSkipped[] = {kIdMember, kUpdateTimeMember};
  ActivityListChangedColumns(&kColumns, row.columns, lpDS, nSkipped, 2, lpDS->szUpdateColumns,
                             sizeof lpDS->szUpdateColumns / sizeof(JCHAR));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(BuildActivityUpdateColumnsString, &DSACTIVITY_template, "C0130101")

FAMOFLAS_BSFN ID UpdateActivityUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ACTIVITYCALL call =
      ActivityCallOf(lpBhvrCom, lpVoid, lpDS->cSuppressErrorMessage, lpDS->szErrorMessageID, kSource);
  int nListed[ACTIVITY_MAX_COLUMNS];
  const int nCount = ActivityParseColumns(&kColumns, lpDS->szUpdateColumns, nListed, DSACTIVITY_COLUMN_COUNT);
  BOOL bChange = FALSE, bListsIdentity = FALSE;
  for (int i = 0; i < nCount; ++i) {
    bListsIdentity = bListsIdentity || nListed[i] == kIdMember;
    bChange = bChange || nListed[i] != kPIMTimestampMember;
  }
  if (nCount < 0 || bListsIdentity) {
    ActivityError(&call, kUpdateColumnsItem, ACTIVITY_ERROR_COLUMNS, lpDS->szUpdateColumns, __LINE__);
    return ER_ERROR;
  }
  if (nCount == 0) return ER_SUCCESS;
  ACTIVITYAUDIT audit;
  if (bChange && !ActivityAuditStamp(&call, &audit)) return ER_ERROR;

  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, FALSE, &handle, __LINE__)) return ER_ERROR;
  ActivityRow stored;
  BOOL bDone = FALSE;
  if (OpenActivities(&call, handle.hUser, &hRequest) &&
      FetchActivity(&call, hRequest, lpDS->szActivityID, TRUE, &stored)) {
    DSACTIVITY storedColumns;
    ActivityOfRow(&stored, &storedColumns);
    const LPDSACTIVITY lpStored = &storedColumns;
    if (lpDS->cCheckVersion == u'1' && vyrUTime_Compare(&lpStored->utUpdateTime, &lpDS->utUpdateTime) != 0) {
      ActivityError(&call, 1, ACTIVITY_ERROR_CHANGED, lpStored->szActivityID, __LINE__);
    } else {
      // The listed columns as the caller has them; a change adds its stamps and the audit columns.
      int nWritten[ACTIVITY_MAX_COLUMNS];
      int nWrite = 0;
      BOOL bPIMListed = FALSE;
      for (int i = 0; i < nCount; ++i) {
        if (nListed[i] == kUpdateTimeMember) continue;
        bPIMListed = bPIMListed || nListed[i] == kPIMTimestampMember;
        nWritten[nWrite++] = nListed[i];
      }
      UTIME utStamp;
      if (bChange) {
        NextStamp(&lpStored->utUpdateTime, &lpStored->utPIMTimestamp, &utStamp);
        vyrUTime_Copy(&lpDS->utUpdateTime, &utStamp);
        nWritten[nWrite++] = kUpdateTimeMember;
        if (lpDS->cChangedByPIM == u'1') {
          vyrUTime_Copy(&lpDS->utPIMTimestamp, &utStamp);
          if (!bPIMListed) nWritten[nWrite++] = kPIMTimestampMember;
        }
      }
      unsigned char record[sizeof(ActivityRow)];
      NID aliases[ACTIVITY_MAX_COLUMNS];
      const size_t nBytes = ActivityPackColumns(&kColumns, lpDS, nWritten, nWrite, record, aliases);
      ID nColumns = (ID)nWrite;
      if (bChange) {
        memcpy(record + nBytes, &audit, sizeof audit);
        memcpy(aliases + nWrite, kActivityAuditColumns, sizeof kActivityAuditColumns);
        nColumns += ACTIVITY_AUDIT_COLUMNS;
      }
      bDone = VDB_UpdateTableColsExtended(hRequest, 1, lpStored->szActivityID, 1, aliases, nColumns, record) == 0;
      if (!bDone) ActivityError(&call, 1, ACTIVITY_ERROR_TABLE, ACTIVITY_TABLE, __LINE__);
    }
  }
  VDB_CloseTable(hRequest);
  ActivityHandleClose(&call, &handle, bDone, ACTIVITY_TABLE, __LINE__);
  return bDone ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(UpdateActivityUTC, &DSACTIVITY_template, "C0130101")

FAMOFLAS_BSFN ID DeleteActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSACTIVITY lpDS = (LPDSACTIVITY)lpVoidDS;
  const ACTIVITYCALL call =
      ActivityCallOf(lpBhvrCom, lpVoid, lpDS->cSuppressErrorMessage, lpDS->szErrorMessageID, kSource);
  ACTIVITYHANDLE handle;
  HREQUEST hRequest = NULL;
  if (!ActivityHandleOpen(&call, lpDS->idHUser, TRUE, &handle, __LINE__)) return ER_ERROR;
  ActivityRow stored;
  BOOL bDone = FALSE;
  if (OpenActivities(&call, handle.hUser, &hRequest) &&
      FetchActivity(&call, hRequest, lpDS->szActivityID, TRUE, &stored)) {
    DSACTIVITY storedColumns;
    ActivityOfRow(&stored, &storedColumns);
    const LPDSACTIVITY lpStored = &storedColumns;
    if (VDB_DeleteTable(hRequest, 1, lpStored->szActivityID, 1) != VDB_SUCCESS) {
      ActivityError(&call, 1, ACTIVITY_ERROR_TABLE, ACTIVITY_TABLE, __LINE__);
    } else {
      bDone = (vyrIsBlankOrNull(lpStored->szRecurrenceID) ||
               DropUnsharedRecurrence(&call, handle.hUser, hRequest, lpStored->szRecurrenceID)) &&
              (lpStored->cPIMFlag != u'1' || RecordDeletion(&call, handle.hUser, lpStored));
    }
  }
  VDB_CloseTable(hRequest);
  if (!ActivityHandleClose(&call, &handle, bDone, ACTIVITY_TABLE, __LINE__)) bDone = FALSE;
  return bDone ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(DeleteActivity, &DSACTIVITY_template, "C0130101")
