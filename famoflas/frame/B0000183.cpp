// vyrFreeEnvBSFN: ends the external tax interface and the job's caches.
#include "frame/B0000183.h"

static const char kSource[] = "B0000183";

/*
 * Opens the named interface cache and fetches its record "1" at a cursor.
 * VYRCACHE_SUCCESS: found, cache and cursor open. VYRCACHE_NOT_FOUND: "078N"
 * reported, the cache (and the cursor, when not NULL) still open. Anything
 * else: "078L" reported, nothing open.
 */
static ID FetchInterfaceRecord(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const JCHAR *lpszName, HCACHE *lphCache,
                               HCUR *lphCursor, TAXINTERFACEREC *lpRecord) {
  JCHAR szKey[2];
  *lphCursor = NULL;
  if (!B0000182_OpenInterfaceCache(lpBhvrCom, lpVoid, hUser, lpszName, lphCache, kSource, __LINE__))
    return VYRCACHE_FAILURE;
  if (vyrCacheOpenCursorX(*lphCache, lphCursor, kSource, __LINE__) != VYRCACHE_SUCCESS) {
    *lphCursor = NULL;
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078N", lpszName, kSource, __LINE__);
    return VYRCACHE_NOT_FOUND;
  }
  vyrStrcpyFillAndTerminate(szKey, B0000182_INTERFACE_KEY, 2, 0);
  if (vyrCacheFetchPosition(*lphCache, *lphCursor, szKey, 1, lpRecord, sizeof *lpRecord) != VYRCACHE_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078N", lpszName, kSource, __LINE__);
    return VYRCACHE_NOT_FOUND;
  }
  return VYRCACHE_SUCCESS;
}

/*
 * Ends the interface recorded in the named cache and drops its record; FALSE
 * when something was reported. The cache itself stays: a record that could
 * not be read or dropped is still there, its plug-in loaded, for a later call.
 */
static BOOL EndRecordedInterface(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const JCHAR *lpszName) {
  TAXINTERFACEREC dsRecord;
  HCACHE hCache = NULL;
  HCUR hCursor = NULL;
  BOOL bDropped = FALSE;
  memset(&dsRecord, 0, sizeof dsRecord);

  const ID idFetched = FetchInterfaceRecord(lpBhvrCom, lpVoid, hUser, lpszName, &hCache, &hCursor, &dsRecord);
  if (idFetched != VYRCACHE_SUCCESS && idFetched != VYRCACHE_NOT_FOUND) return FALSE;
  if (idFetched == VYRCACHE_SUCCESS) {
    B0000182_EndInterface(&dsRecord);
    bDropped = vyrCacheDelete(hCache, hCursor) == VYRCACHE_SUCCESS;
    if (!bDropped) BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078N", lpszName, kSource, __LINE__);
  }
  if (hCursor != NULL) vyrCacheCloseCursor(hCache, hCursor);
  vyrCacheTerminate(hUser, hCache);
  // Unloaded only once no cached record can lead to its entry points.
  if (bDropped) FreeLibrary(dsRecord.hLibrary);
  return bDropped;
}

FAMOFLAS_BSFN ID vyrFreeEnvBSFN(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  HUSER hUser = NULL;
  DSVALIDATEGEOCODE dsValidateGeoCode;
  DSX0901TERMINATECACHES dsTerminateCaches;
  DSAAIRANGECLEAR dsRangeClear;
  ID idResult = ER_SUCCESS;
  (void)lpDS;
  memset(&dsValidateGeoCode, 0, sizeof dsValidateGeoCode);
  memset(&dsTerminateCaches, 0, sizeof dsTerminateCaches);
  memset(&dsRangeClear, 0, sizeof dsRangeClear);

  if (!BsfnContextValid(lpBhvrCom, lpVoid, kSource, __LINE__)) return ER_ERROR;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  if (!EndRecordedInterface(lpBhvrCom, lpVoid, hUser, B0000182_GEOCODE_CACHE)) idResult = ER_ERROR;
  if (!EndRecordedInterface(lpBhvrCom, lpVoid, hUser, B0000182_SALESTAX_CACHE)) idResult = ER_ERROR;

  dsValidateGeoCode.cProcessingMode = u'1';
  if (vyrCallObject(u"ValidateGeoCode", NULL, lpBhvrCom, lpVoid, &dsValidateGeoCode, NULL, 0, NULL, 0, 0) == ER_ERROR) {
    idResult = ER_ERROR;
  }
  dsTerminateCaches.cTerminateAccountsById = u'1';
  dsTerminateCaches.cTerminateAccountsByNumber = u'1';
  if (vyrCallObject(u"X0901TerminateCaches", NULL, lpBhvrCom, lpVoid, &dsTerminateCaches, NULL, 0, NULL, 0, 0) ==
      ER_ERROR) {
    idResult = ER_ERROR;
  }
  if (vyrCallObject(u"AAIRangeOfAccountsClear", NULL, lpBhvrCom, lpVoid, &dsRangeClear, NULL, 0, NULL, 0, 0) ==
      ER_ERROR) {
    idResult = ER_ERROR;
  }

  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(vyrFreeEnvBSFN, NULL, "B0000183")
