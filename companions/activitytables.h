/*
 * activitytables.h - what the activity companions share: the handle a call
 * works under, the audit stamp of the rows they write, and the column lists
 * of F01301 and F01331 read from the data structures' own templates (the
 * first members of DSACTIVITY and DSRECURRENCE are the columns, in catalogue
 * order), so that comparing, listing and copying columns is written once.
 */
#ifndef FAMOFLAS_COMPANIONS_ACTIVITYTABLES_H
#define FAMOFLAS_COMPANIONS_ACTIVITYTABLES_H

#include <string.h>

#include "frame/companions.h"

#define ACTIVITY_TABLE u"F01301"
#define ACTIVITY_DELETED_TABLE u"F01302"
#define RECURRENCE_TABLE u"F01331"

/* Most columns one data structure lists: F01301's 21, audit columns and stamps added. */
#define ACTIVITY_MAX_COLUMNS 32

/* The outcome of a keyed read: the one place where "no row" and "could not read" part. */
typedef enum { ROW_FOUND, ROW_ABSENT, ROW_UNREADABLE } ROWLOOKUP;

static inline ROWLOOKUP ActivityRowLookup(ID idFetch) {
  if (idFetch == VDB_SUCCESS) return ROW_FOUND;
  return idFetch == VDB_NOT_FOUND ? ROW_ABSENT : ROW_UNREADABLE;
}

/*
 * One call of an activity companion: its context and how its errors go. Each
 * error is recorded in the data structure's szErrorMessageID and raised on
 * the context unless the caller suppressed it.
 */
typedef struct tagACTIVITYCALL {
  LPBHVRCOM lpBhvrCom;
  LPVOID lpVoid;
  BOOL bSuppress;
  JCHAR *lpszErrorId; /* szErrorMessageID, 11 JCHAR */
  const char *szSource;
} ACTIVITYCALL;

static inline ACTIVITYCALL ActivityCallOf(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR cSuppressErrorMessage,
                                          JCHAR *lpszErrorId, const char *szSource) {
  ACTIVITYCALL call = {lpBhvrCom, lpVoid, cSuppressErrorMessage == u'1', lpszErrorId, szSource};
  vyrStrcpyFillAndTerminate(lpszErrorId, NULL, 11, 0);
  return call;
}

/* Records the error (text: lpszText, or none) and raises it unless suppressed. */
static inline void ActivityError(const ACTIVITYCALL *lpCall, ID idItem, const JCHAR *lpszErrorId, const JCHAR *lpszText,
                                 int nLine) {
  vyrStrcpyFillAndTerminate(lpCall->lpszErrorId, lpszErrorId, 11, 0);
  if (lpCall->bSuppress) return;
  if (lpszText != NULL)
    BsfnErrorWithText(lpCall->lpBhvrCom, lpCall->lpVoid, idItem, lpszErrorId, lpszText, lpCall->szSource, nLine);
  else
    vyrErrorSetEx(lpCall->lpBhvrCom, lpCall->lpVoid, idItem, lpszErrorId, NULL, lpCall->szSource, nLine);
}

/* The handle a call works under: the caller's, or one of its own that it ends. */
typedef struct tagACTIVITYHANDLE {
  HUSER hUser;
  BOOL bOwned;
  BOOL bTransaction; /* owned, commit mode 1 */
} ACTIVITYHANDLE;

/*
 * The caller's user handle (idHUser, parked with vyrStoreDataPtr), or a new
 * one: a user handle in commit mode 1 when bTransaction (the call's
 * statements go together), else a behaviour handle. FALSE with "4363" for an
 * index that holds no handle, "078S" when none can be had.
 */
static inline BOOL ActivityHandleOpen(const ACTIVITYCALL *lpCall, ID idHUser, BOOL bTransaction,
                                      ACTIVITYHANDLE *lpHandle, int nLine) {
  memset(lpHandle, 0, sizeof *lpHandle);
  if (idHUser != 0) {
    lpHandle->hUser = (HUSER)vyrRetrieveDataPtr(lpCall->lpVoid, idHUser);
    if (lpHandle->hUser != NULL) return TRUE;
    ActivityError(lpCall, 0, u"4363", NULL, nLine);
    return FALSE;
  }
  const ID idOpened = bTransaction ? VDB_InitUser(lpCall->lpBhvrCom, &lpHandle->hUser, NULL, 1)
                                   : VDB_InitBhvr(lpCall->lpBhvrCom, &lpHandle->hUser, NULL, 0);
  if (idOpened != VDB_SUCCESS) {
    ActivityError(lpCall, 0, u"078S", NULL, nLine);
    return FALSE;
  }
  lpHandle->bOwned = TRUE;
  lpHandle->bTransaction = bTransaction;
  return TRUE;
}

/*
 * Ends a handle of the call's own: its transaction committed when bCommit,
 * else rolled back. FALSE with ACTIVITY_ERROR_TABLE when the commit fails.
 * The caller's handle is left as it is.
 */
static inline BOOL ActivityHandleClose(const ACTIVITYCALL *lpCall, ACTIVITYHANDLE *lpHandle, BOOL bCommit,
                                       const JCHAR *lpszTable, int nLine) {
  BOOL bDone = TRUE;
  if (!lpHandle->bOwned) return TRUE;
  if (lpHandle->bTransaction) {
    if (bCommit && VDB_CommitUser(lpHandle->hUser) != VDB_SUCCESS) {
      ActivityError(lpCall, 0, ACTIVITY_ERROR_TABLE, lpszTable, nLine);
      bDone = FALSE;
    }
    VDB_FreeUser(lpHandle->hUser);
  } else {
    VDB_FreeBhvr(lpHandle->hUser);
  }
  lpHandle->hUser = NULL;
  return bDone;
}

/* Opens a request on the table (all columns when lpColumns is NULL); FALSE with "078D". */
static inline BOOL ActivityTableOpen(const ACTIVITYCALL *lpCall, HUSER hUser, const JCHAR *lpszTable,
                                     const NID *lpColumns, ID nColumns, HREQUEST *lphRequest, int nLine) {
  if (VDB_OpenTable(hUser, lpszTable, 1, lpColumns, nColumns, NULL, lphRequest) == VDB_SUCCESS) return TRUE;
  ActivityError(lpCall, 0, u"078D", lpszTable, nLine);
  return FALSE;
}

/*
 * A keyed read that must find its row: TRUE when found; otherwise FALSE with
 * ACTIVITY_ERROR_NOT_FOUND (text: lpszId) or ACTIVITY_ERROR_TABLE.
 */
static inline BOOL ActivityFetchRequired(const ACTIVITYCALL *lpCall, HREQUEST hRequest, const void *lpKey, short nKeys,
                                         BOOL bLock, void *lpRow, const JCHAR *lpszId, const JCHAR *lpszTable,
                                         int nLine) {
  const ID idFetch = bLock ? VDB_FetchKeyedForUpdate(hRequest, 1, lpKey, nKeys, lpRow, 0)
                           : VDB_FetchKeyed(hRequest, 1, lpKey, nKeys, lpRow, 0);
  switch (ActivityRowLookup(idFetch)) {
    case ROW_FOUND:
      return TRUE;
    case ROW_ABSENT:
      ActivityError(lpCall, 1, ACTIVITY_ERROR_NOT_FOUND, lpszId, nLine);
      return FALSE;
    default:
      ActivityError(lpCall, 1, ACTIVITY_ERROR_TABLE, lpszTable, nLine);
      return FALSE;
  }
}

/*
 * After an insert the table refused: ACTIVITY_ERROR_DUPLICATE (text: lpszId)
 * when the row of the key is there, else ACTIVITY_ERROR_TABLE.
 */
static inline void ActivityInsertRefused(const ACTIVITYCALL *lpCall, HREQUEST hRequest, const void *lpKey, short nKeys,
                                         void *lpScratch, const JCHAR *lpszId, const JCHAR *lpszTable, int nLine) {
  const BOOL bTaken = ActivityRowLookup(VDB_FetchKeyed(hRequest, 1, lpKey, nKeys, lpScratch, 0)) == ROW_FOUND;
  ActivityError(lpCall, 1, bTaken ? ACTIVITY_ERROR_DUPLICATE : ACTIVITY_ERROR_TABLE, bTaken ? lpszId : lpszTable,
                nLine);
}

#pragma pack(push, 1)
/* The audit columns USER, PID, JOBN, UPMJ, UPMT, in that order. */
typedef struct tagACTIVITYAUDIT {
  JCHAR szUserId[11];
  JCHAR szProgramId[11];
  JCHAR szJobName[11];
  VYRDATE jdDate;
  MATH_NUMERIC mnTime;
} ACTIVITYAUDIT;
#pragma pack(pop)

static const NID kActivityAuditColumns[] = {u"USER", u"PID", u"JOBN", u"UPMJ", u"UPMT"};
#define ACTIVITY_AUDIT_COLUMNS 5

/* The audit stamp of the calling context (GetAuditInfo); FALSE when it cannot be had (its error stays). */
static inline BOOL ActivityAuditStamp(const ACTIVITYCALL *lpCall, ACTIVITYAUDIT *lpAudit) {
  DSGETAUDITINFO dsAudit;
  memset(&dsAudit, 0, sizeof dsAudit);
  memset(lpAudit, 0, sizeof *lpAudit);
  if (vyrCallObject(u"GetAuditInfo", NULL, lpCall->lpBhvrCom, lpCall->lpVoid, &dsAudit, NULL, 0, NULL, 0, 0) !=
      ER_SUCCESS) {
    // GetAuditInfo raised its own error; the caller still learns that there was one.
    vyrStrcpyFillAndTerminate(lpCall->lpszErrorId, u"4363", 11, 0);
    return FALSE;
  }
  vyrStrcpyFillAndTerminate(lpAudit->szUserId, dsAudit.szUserId, 11, 0);
  vyrStrcpyFillAndTerminate(lpAudit->szProgramId, dsAudit.szProgramId, 11, 0);
  // The workstation is wider than JOBN: its first characters are kept.
  vyrStrcpyFillAndTerminate(lpAudit->szJobName, dsAudit.szWorkstationId, 11, 0);
  lpAudit->jdDate = dsAudit.jdDate;
  MathCopy(&lpAudit->mnTime, &dsAudit.mnTime);
  return TRUE;
}

/*
 * The columns of a table as one data structure lists them: its template's
 * first nColumns members, with the catalogue aliases in the same order.
 */
typedef struct tagACTIVITYCOLUMNS {
  const DSTMPL *lpTemplate;
  const NID *lpAliases;
  int nColumns;
} ACTIVITYCOLUMNS;

/* The member of the alias, or -1. */
static inline int ActivityColumnIndex(const ACTIVITYCOLUMNS *lpColumns, const JCHAR *lpszAlias) {
  for (int i = 0; i < lpColumns->nColumns; ++i)
    if (vyrStrcmp(lpColumns->lpAliases[i], lpszAlias) == 0) return i;
  return -1;
}

/* TRUE when member i holds the same value in both records. */
static inline BOOL ActivityColumnEqual(const ACTIVITYCOLUMNS *lpColumns, int i, const void *lpLeft,
                                       const void *lpRight) {
  const DSTMPL_MEMBER *lpMember = &lpColumns->lpTemplate->lpMembers[i];
  const unsigned char *lpA = (const unsigned char *)lpLeft + lpMember->nOffset;
  const unsigned char *lpB = (const unsigned char *)lpRight + lpMember->nOffset;
  switch (lpMember->nKind) {
    case VYR_DSK_STRING: {
      // Stored strings come back blank-padded: trailing blanks do not count.
      size_t nA = vyrStrlen((const JCHAR *)lpA), nB = vyrStrlen((const JCHAR *)lpB);
      while (nA > 0 && ((const JCHAR *)lpA)[nA - 1] == u' ') --nA;
      while (nB > 0 && ((const JCHAR *)lpB)[nB - 1] == u' ') --nB;
      return nA == nB && memcmp(lpA, lpB, nA * sizeof(JCHAR)) == 0;
    }
    case VYR_DSK_MATH:
      return MathCompare((const MATH_NUMERIC *)lpA, (const MATH_NUMERIC *)lpB) == 0;
    case VYR_DSK_UTIME:
      return vyrUTime_Compare((const UTIME *)lpA, (const UTIME *)lpB) == 0;
    default:
      return memcmp(lpA, lpB, lpMember->nSize) == 0;
  }
}

/*
 * Writes into lpszOut (nSize JCHAR) the aliases, separated by a blank, of the
 * members that differ between the records, members lpnSkipped excepted.
 */
static inline void ActivityListChangedColumns(const ACTIVITYCOLUMNS *lpColumns, const void *lpStored,
                                              const void *lpWanted, const int *lpnSkipped, int nSkipped, JCHAR *lpszOut,
                                              size_t nSize) {
  size_t nUsed = 0;
  lpszOut[0] = 0;
  for (int i = 0; i < lpColumns->nColumns; ++i) {
    BOOL bSkipped = FALSE;
    for (int s = 0; s < nSkipped; ++s) bSkipped = bSkipped || lpnSkipped[s] == i;
    if (bSkipped || ActivityColumnEqual(lpColumns, i, lpStored, lpWanted)) continue;
    const size_t nAlias = vyrStrlen(lpColumns->lpAliases[i]);
    if (nUsed + nAlias + 2 > nSize) break;  // the member is wide enough for every alias
    if (nUsed > 0) lpszOut[nUsed++] = u' ';
    memcpy(lpszOut + nUsed, lpColumns->lpAliases[i], nAlias * sizeof(JCHAR));
    nUsed += nAlias;
    lpszOut[nUsed] = 0;
  }
}

/*
 * Reads a list of aliases separated by blanks into member numbers (each once).
 * Returns the count, or -1 when an alias is unknown or more than nMax are named.
 */
static inline int ActivityParseColumns(const ACTIVITYCOLUMNS *lpColumns, const JCHAR *lpszList, int *lpnOut, int nMax) {
  int nCount = 0;
  const JCHAR *lpszAt = lpszList;
  for (;;) {
    while (*lpszAt == u' ') ++lpszAt;
    if (*lpszAt == 0) return nCount;
    NID szAlias;
    size_t nLength = 0;
    while (lpszAt[nLength] != 0 && lpszAt[nLength] != u' ') ++nLength;
    if (nLength >= sizeof szAlias / sizeof(JCHAR)) return -1;
    memcpy(szAlias, lpszAt, nLength * sizeof(JCHAR));
    szAlias[nLength] = 0;
    lpszAt += nLength;
    const int nMember = ActivityColumnIndex(lpColumns, szAlias);
    if (nMember < 0) return -1;
    BOOL bListed = FALSE;
    for (int i = 0; i < nCount; ++i) bListed = bListed || lpnOut[i] == nMember;
    if (bListed) continue;
    if (nCount == nMax) return -1;
    lpnOut[nCount++] = nMember;
  }
}

/*
 * Packs members lpnMembers of the record one after the other into lpOut (a
 * record of those columns, as VDB_*Cols operations take it) and their aliases
 * into lpAliases; returns the bytes written.
 */
static inline size_t ActivityPackColumns(const ACTIVITYCOLUMNS *lpColumns, const void *lpRecord, const int *lpnMembers,
                                         int nMembers, unsigned char *lpOut, NID *lpAliases) {
  size_t nUsed = 0;
  for (int i = 0; i < nMembers; ++i) {
    const DSTMPL_MEMBER *lpMember = &lpColumns->lpTemplate->lpMembers[lpnMembers[i]];
    memcpy(lpOut + nUsed, (const unsigned char *)lpRecord + lpMember->nOffset, lpMember->nSize);
    nUsed += lpMember->nSize;
    memcpy(lpAliases[i], lpColumns->lpAliases[lpnMembers[i]], sizeof(NID));
  }
  return nUsed;
}

#endif /* FAMOFLAS_COMPANIONS_ACTIVITYTABLES_H */
