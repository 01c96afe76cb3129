// vyrInitEnvBSFN: starts the external tax interface for an environment.
#include "frame/B0000182.h"

static const char kSource[] = "B0000182";

#define PLUGIN_PATH_SIZE 1024

/* F7306 read through its key column and the interface flag only. */
typedef struct tagF7306KEY {
  JCHAR szControlKey[6]; /* CTLKEY */
} F7306KEY;

typedef struct tagF7306FLAG {
  JCHAR cInterfaceFlag; /* TXIF */
} F7306FLAG;

/*
 * Loads the plug-in named by the environment value. NULL after error "TXLB"
 * (with the setting's name when none is given, else the file name).
 */
static HMODULE LoadTaxInterface(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, int nLine) {
  JCHAR szPath[PLUGIN_PATH_SIZE];
  memset(szPath, 0, sizeof szPath);
  if (vyrGetEnvironmentValue(lpBhvrCom, B0000182_PLUGIN_VALUE, szPath, PLUGIN_PATH_SIZE) != ER_SUCCESS ||
      vyrIsBlankOrNull(szPath)) {
    vyrWriteLogEntry(kSource, nLine, u"F7306 switches the tax interface on, but setting taxplugin names no library");
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, B0000182_ERROR_LIBRARY, u"taxplugin", kSource, nLine);
    return NULL;
  }
  HMODULE hLibrary = LoadLibraryW(szPath);
  if (hLibrary == NULL) {
    // The file name tells the user more than the head of a long path.
    const JCHAR *lpszName = vyrStrrchr(szPath, u'/');
    lpszName = lpszName != NULL ? lpszName + 1 : szPath;
    vyrWriteLogEntry(kSource, nLine, u"cannot load the tax-interface library %ls", szPath);
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, B0000182_ERROR_LIBRARY, lpszName, kSource, nLine);
  }
  return hLibrary;
}

/* An entry point of the plug-in, or NULL after error "TXLB" naming it. */
static FARPROC FindEntry(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HMODULE hLibrary, const char *szName, int nLine) {
  FARPROC lpfnEntry = GetProcAddress(hLibrary, szName);
  if (lpfnEntry == NULL) {
    JCHAR szText[41];
    vyrToUnicode(szText, szName, 41);
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, B0000182_ERROR_LIBRARY, szText, kSource, nLine);
  }
  return lpfnEntry;
}

static void ReportRefusal(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const char *szEntry, int nLine) {
  JCHAR szText[41];
  vyrToUnicode(szText, szEntry, 41);
  BsfnErrorWithText(lpBhvrCom, lpVoid, 0, B0000182_ERROR_INITIALIZE, szText, kSource, nLine);
}

/*
 * Opens an interface cache. Returns VYRCACHE_SUCCESS when the interface is
 * already recorded there (hCache then released), VYRCACHE_NOT_FOUND when it
 * still has to be started (hCache open), anything else after "078L".
 */
static ID OpenInterfaceCache(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const JCHAR *lpszName, HCACHE *lphCache,
                             TAXINTERFACEREC *lpRecord) {
  JCHAR szKey[2];
  if (!B0000182_OpenInterfaceCache(lpBhvrCom, lpVoid, hUser, lpszName, lphCache, kSource, __LINE__))
    return VYRCACHE_FAILURE;
  // The key is the record's first segment, so a key alone is a record-shaped key.
  vyrStrcpyFillAndTerminate(szKey, B0000182_INTERFACE_KEY, 2, 0);
  if (vyrCacheFetch(*lphCache, szKey, 1, lpRecord, sizeof *lpRecord) == VYRCACHE_SUCCESS) {
    vyrCacheTerminate(hUser, *lphCache);
    *lphCache = NULL;
    return VYRCACHE_SUCCESS;
  }
  return VYRCACHE_NOT_FOUND;
}

/*
 * Records a started interface. TRUE when it is in the cache (or another call
 * recorded one meanwhile: then the caller ends its own); FALSE after "078L".
 */
static BOOL RecordInterface(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HCACHE hCache, const JCHAR *lpszName,
                            const TAXINTERFACEREC *lpRecord, BOOL *lpbDuplicate) {
  const ID idAdded = vyrCacheAdd(hCache, lpRecord, sizeof *lpRecord);
  *lpbDuplicate = idAdded == VYRCACHE_DUPLICATE;
  if (idAdded == VYRCACHE_SUCCESS || *lpbDuplicate) return TRUE;
  BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078L", lpszName, kSource, __LINE__);
  return FALSE;
}

/* One interface: its cache and its entry points (no close entry: NULL). */
typedef struct {
  const JCHAR *lpszCache;
  const char *szInitialize;
  const char *szClose;
  const char *szTerminate;
} INTERFACEENTRIES;

static const INTERFACEENTRIES kGeoCodeInterface = {B0000182_GEOCODE_CACHE, TAXINTERFACE_GEOCODE_INITIALIZE, NULL,
                                                   TAXINTERFACE_GEOCODE_TERMINATE};
static const INTERFACEENTRIES kSalesTaxInterface = {B0000182_SALESTAX_CACHE, TAXINTERFACE_SALESTAX_INITIALIZE,
                                                    TAXINTERFACE_SALESTAX_CLOSE, TAXINTERFACE_SALESTAX_TERMINATE};

/*
 * Resolves the interface's entry points in the order initialise, close,
 * terminate (the first one missing is reported), starts it and records it.
 * On failure nothing stays loaded or cached.
 */
static ID StartInterface(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const INTERFACEENTRIES *lpInterface) {
  TAXINTERFACEREC dsRecord;
  HCACHE hCache = NULL;
  BOOL bDuplicate = FALSE;
  memset(&dsRecord, 0, sizeof dsRecord);

  const ID idOpened = OpenInterfaceCache(lpBhvrCom, lpVoid, hUser, lpInterface->lpszCache, &hCache, &dsRecord);
  if (idOpened == VYRCACHE_SUCCESS) return ER_SUCCESS;
  if (idOpened != VYRCACHE_NOT_FOUND) return ER_ERROR;

  ID idResult = ER_ERROR;
  HMODULE hLibrary = LoadTaxInterface(lpBhvrCom, lpVoid, __LINE__);
  if (hLibrary != NULL) {
    LPFNTAXGEOCODEINITIALIZE lpfnInitialize =
        (LPFNTAXGEOCODEINITIALIZE)FindEntry(lpBhvrCom, lpVoid, hLibrary, lpInterface->szInitialize, __LINE__);
    BOOL bResolved = lpfnInitialize != NULL;
    if (bResolved && lpInterface->szClose != NULL) {
      dsRecord.lpfnClose = (LPFNTAXSALESTAXCLOSE)FindEntry(lpBhvrCom, lpVoid, hLibrary, lpInterface->szClose, __LINE__);
      bResolved = dsRecord.lpfnClose != NULL;
    }
    if (bResolved) {
      dsRecord.lpfnTerminate =
          (LPFNTAXGEOCODETERMINATE)FindEntry(lpBhvrCom, lpVoid, hLibrary, lpInterface->szTerminate, __LINE__);
      bResolved = dsRecord.lpfnTerminate != NULL;
    }
    if (bResolved) {
      if (lpfnInitialize() != 0) {
        ReportRefusal(lpBhvrCom, lpVoid, lpInterface->szInitialize, __LINE__);
      } else {
        vyrStrcpyFillAndTerminate(dsRecord.szKey, B0000182_INTERFACE_KEY, 2, 0);
        dsRecord.hLibrary = hLibrary;
        if (RecordInterface(lpBhvrCom, lpVoid, hCache, lpInterface->lpszCache, &dsRecord, &bDuplicate)) {
          idResult = ER_SUCCESS;
        }
        // What is not recorded could never be ended: end it now.
        if (idResult != ER_SUCCESS || bDuplicate) B0000182_EndInterface(&dsRecord);
      }
    }
    if (idResult != ER_SUCCESS || bDuplicate) FreeLibrary(hLibrary);
  }
  vyrCacheTerminate(hUser, hCache);
  return idResult;
}

FAMOFLAS_INTERNAL ID IB0000182_InitializeQuantumGeoCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser) {
  return StartInterface(lpBhvrCom, lpVoid, hUser, &kGeoCodeInterface);
}

FAMOFLAS_INTERNAL ID IB0000182_InitializeQuantumSalesTax(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser) {
  return StartInterface(lpBhvrCom, lpVoid, hUser, &kSalesTaxInterface);
}

FAMOFLAS_BSFN ID vyrInitEnvBSFN(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  F7306KEY dsKey;
  F7306FLAG dsRow;
  NID szColumns[1];
  ID idResult = ER_SUCCESS;
  (void)lpDS;
  memset(&dsKey, 0, sizeof dsKey);
  memset(&dsRow, 0, sizeof dsRow);
  memset(szColumns, 0, sizeof szColumns);

  if (!BsfnContextValid(lpBhvrCom, lpVoid, kSource, __LINE__)) return ER_ERROR;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  vyrStrcpyFillAndTerminate(szColumns[0], u"TXIF", 11, 0);
  if (VDB_OpenTable(hUser, u"F7306", 1, szColumns, 1, NULL, &hRequest) != VDB_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", u"F7306", kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  vyrStrcpyFillAndTerminate(dsKey.szControlKey, B0000182_F7306_CONTROL_KEY, 6, 0);
  if (VDB_FetchKeyed(hRequest, 0, &dsKey, 1, &dsRow, 0) != VDB_SUCCESS) {
    // Without a control record there is nothing to start; the behaviour
    // handle is left to the context, which releases it when it ends.
    VDB_CloseTable(hRequest);
    return ER_ERROR;
  }
  VDB_CloseTable(hRequest);

  if (dsRow.cInterfaceFlag == u'Y') {
    idResult = IB0000182_InitializeQuantumGeoCode(lpBhvrCom, lpVoid, hUser);
    if (idResult == ER_SUCCESS) idResult = IB0000182_InitializeQuantumSalesTax(lpBhvrCom, lpVoid, hUser);
  }

  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(vyrInitEnvBSFN, NULL, "B0000182")
