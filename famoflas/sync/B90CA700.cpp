// The PIM sync envelope: response headers, escaping, sync timestamps, the
// readers of the request's attributes and end-of-sync element, the category
// of records and the end of a run's caches.
#include "sync/B90CA700.h"

#include <string.h>

#include "frame/companions.h"

namespace {

const JCHAR kUdcTable[] = u"F0005";
// Lookups by description line 1 use index 3, by line 2 index 2; both key on
// product code, record type and description.
const ID kUdcIndexLineOne = 3;
const ID kUdcIndexLineTwo = 2;
const NID kUdcCodeColumn[] = {u"KY"};
const int kUdcCodeSize = 11;
const short kUdcKeyFields = 3;

// Steps 1 and 2 of every response: the declaration and the root's open tag.
JCHAR *WriteResponseRoot(LPSYNCCONTEXT lpContext, JCHAR *lpszOut) {
  return lpszOut + vyrSprintf(lpszOut, u"<?xml version=\"1.0\"?> <PIMRESP username=\"%ls\" appDataType=\"%ls\">",
                              lpContext->szUsername, lpContext->szAppDataType);
}

void BuildUdcKey(B90CA700_UDCKEY *lpKey, const JCHAR *lpszProductCode, const JCHAR *lpszRecordType,
                 const JCHAR *lpszDescription) {
  memset(lpKey, 0, sizeof *lpKey);
  vyrStrcpyFillAndTerminate(lpKey->szProductCode, lpszProductCode, 5, 0);
  vyrStrcpyFillAndTerminate(lpKey->szRecordType, lpszRecordType, 3, 0);
  vyrStrcpyFillAndTerminate(lpKey->szDescription, lpszDescription, 31, 0);
}

// Ends one cache of the context; TRUE when it is absent or ended.
BOOL TerminateOneCache(HUSER hUser, HCACHE *lphCache) {
  if (*lphCache == NULL) return TRUE;
  if (vyrCacheTerminateAll(hUser, *lphCache) != VYRCACHE_SUCCESS) return FALSE;
  *lphCache = NULL;
  return TRUE;
}

}  // namespace

FAMOFLAS_INTERNAL JCHAR *B90CA700_createXMLGetHeader(LPSYNCCONTEXT lpContext, JCHAR *lpszOut, int nStartRec,
                                                     int nNewRecs, int nModifyRecs, int nDeleteRecs) {
  if (lpContext == NULL || lpszOut == NULL) return lpszOut;
  // Summed unsigned: counts that overflow an int wrap instead of being undefined.
  const int nTotalRecs = (int)((unsigned)nNewRecs + (unsigned)nModifyRecs + (unsigned)nDeleteRecs);
  lpszOut = WriteResponseRoot(lpContext, lpszOut);
  return lpszOut + vyrSprintf(lpszOut,
                              u"<GETRESP startRec=\"%d\" totalRecs=\"%d\" totalNewRecs=\"%d\" totalModifyRecs=\"%d\""
                              u" totalDeleteRecs=\"%d\" currentSyncAnchor=\"%ls\"/>",
                              nStartRec, nTotalRecs, nNewRecs, nModifyRecs, nDeleteRecs, lpContext->szSyncAnchor);
}

FAMOFLAS_INTERNAL JCHAR *B90CA700_createXMLPutHeader(LPSYNCCONTEXT lpContext, JCHAR *lpszOut, int nRecsRequested,
                                                     int nRecsWritten) {
  if (lpContext == NULL || lpszOut == NULL) return lpszOut;
  lpszOut = WriteResponseRoot(lpContext, lpszOut);
  return lpszOut + vyrSprintf(lpszOut,
                              u"<PUTRESP numRecsRequested=\"%d\" numRecsWritten=\"%d\" newSyncAnchor=\"%ls\"/>",
                              nRecsRequested, nRecsWritten, lpContext->szSyncAnchor);
}

FAMOFLAS_INTERNAL int B90CA700_EscapeXMLChars(JCHAR *lpszOut, const JCHAR *lpszFormat, const JCHAR *lpszValue) {
  if (lpszOut == NULL || lpszFormat == NULL || lpszValue == NULL) return 0;
  JCHAR *lpszEscaped = vyrAllocConvertToXMLEscapeChars(lpszValue);
  if (lpszEscaped == NULL) return 0;
  const int nWritten = vyrSprintf(lpszOut, lpszFormat, lpszEscaped);
  vyrFree(lpszEscaped);
  return nWritten > 0 ? nWritten : 0;
}

FAMOFLAS_INTERNAL int B90CA700_FormatUTime(JCHAR *lpszOut, const UTIME *lpTime) {
  short nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
  if (lpszOut == NULL ||
      vyrUTime_Get(lpTime, &nYear, &nMonth, &nDay, &nHour, &nMinute, &nSecond, B90CA700_ANCHOR_ZONE) != 0)
    return 0;
  vyrSprintf(lpszOut, B90CA700_ANCHOR_FORMAT, nYear, nMonth, nDay, nHour, nMinute, nSecond);
  return 1;
}

FAMOFLAS_INTERNAL int B90CA700_ParseUTime(LPUTIME lpTime, const JCHAR *lpszText) {
  int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
  // Parts the text does not give stay 0; the platform then judges the values.
  vyrSscanf(lpszText, B90CA700_ANCHOR_SCAN, &nYear, &nMonth, &nDay, &nHour, &nMinute, &nSecond);
  return vyrUTime_Set(lpTime, (short)nYear, (short)nMonth, (short)nDay, (short)nHour, (short)nMinute, (short)nSecond,
                      B90CA700_ANCHOR_ZONE) == 0
             ? 1
             : 0;
}

FAMOFLAS_INTERNAL int B90CA700_getElementAttribute(XRCS_hElement hElement, const JCHAR *lpszName, JCHAR *lpszOut,
                                                   int nOutSize) {
  if (lpszOut == NULL || nOutSize < 1) return 0;
  JCHAR *lpszValue = NULL;
  if (XRCS_getElementAttributeValueByName(hElement, lpszName, &lpszValue) != XRCS_SUCCESS) return 0;
  // Cut silently to the caller's size.
  vyrStrncpy(lpszOut, lpszValue, (size_t)nOutSize);
  lpszOut[nOutSize - 1] = 0;
  XRCS_freeString(lpszValue);
  return 1;
}

FAMOFLAS_INTERNAL int B90CA700_ParseEndSync(LPSYNCCONTEXT lpContext, int *lpnSyncResult) {
  if (lpContext == NULL) return 0;
  XRCS_hElement hEndSync = NULL;
  if (XRCS_getElementFirstChild(lpContext->hRootElement, &hEndSync) != XRCS_SUCCESS) {
    DebugTraceFn(u"B90CA700: failed to get ENDSYNC element");
    return 0;
  }
  JCHAR *lpszName = NULL;
  if (XRCS_getElementName(hEndSync, &lpszName) != XRCS_SUCCESS) {
    DebugTraceFn(u"B90CA700: failed to get ENDSYNC element name");
    XRCS_freeElement(hEndSync);
    return 0;
  }
  if (vyrStrcmp(lpszName, u"ENDSYNC") != 0) {
    DebugTraceFn(u"B90CA700: wanted to get ENDSYNC element, but got wrong element: %ls", lpszName);
    XRCS_freeString(lpszName);
    XRCS_freeElement(hEndSync);
    return 0;
  }
  XRCS_freeString(lpszName);
  if (lpnSyncResult != NULL) {
    JCHAR *lpszResult = NULL;
    if (XRCS_getElementAttributeValueByName(hEndSync, u"SyncResult", &lpszResult) != XRCS_SUCCESS) {
      DebugTraceFn(u"B90CA700: failed to get SyncResult attribute from ENDSYNC element");
      XRCS_freeElement(hEndSync);
      return 0;
    }
    *lpnSyncResult = vyrStrcmp(lpszResult, u"Success") == 0 ? 1 : 0;
    XRCS_freeString(lpszResult);
  }
  XRCS_freeElement(hEndSync);
  return 1;
}

FAMOFLAS_INTERNAL int B90CA700_getUDCByDescription(const B90CA700_UDCKEY *lpKey, JCHAR **lppszCode, int nLineSelector,
                                                   HUSER hUser) {
  if (lpKey == NULL || lppszCode == NULL || (nLineSelector != 1 && nLineSelector != 2)) return (int)ER_ERROR;
  const ID idIndex = nLineSelector == 1 ? kUdcIndexLineOne : kUdcIndexLineTwo;
  HREQUEST hRequest = NULL;
  if (VDB_OpenTable(hUser, kUdcTable, idIndex, kUdcCodeColumn, 1, NULL, &hRequest) != VDB_SUCCESS) return (int)ER_ERROR;
  int nResult = (int)ER_ERROR;
  JCHAR szCode[kUdcCodeSize];
  if (VDB_FetchKeyed(hRequest, idIndex, lpKey, kUdcKeyFields, szCode, 0) == VDB_SUCCESS) {
    JCHAR *lpszCode = (JCHAR *)vyrCalloc(kUdcCodeSize, sizeof(JCHAR));
    if (lpszCode != NULL) {
      vyrStrncpy(lpszCode, szCode, kUdcCodeSize);
      *lppszCode = lpszCode;
      nResult = (int)ER_SUCCESS;
    }
  }
  VDB_CloseTable(hRequest);
  return nResult;
}

FAMOFLAS_INTERNAL int B90CA700_getUDCByDescriptionLineOne(const JCHAR *lpszProductCode, const JCHAR *lpszRecordType,
                                                          const JCHAR *lpszDescription, JCHAR **lppszCode,
                                                          HUSER hUser) {
  B90CA700_UDCKEY key;
  BuildUdcKey(&key, lpszProductCode, lpszRecordType, lpszDescription);
  const int nResult = B90CA700_getUDCByDescription(&key, lppszCode, 1, hUser);
  if (nResult == (int)ER_SUCCESS) vyrStripBlanks(*lppszCode);
  return nResult;
}

FAMOFLAS_INTERNAL int B90CA700_getUDCByDescriptionLineTwo(const JCHAR *lpszProductCode, const JCHAR *lpszRecordType,
                                                          const JCHAR *lpszDescription, JCHAR *lpszCode, HUSER hUser) {
  // Null arguments answer as a successful lookup does; callers rely on it.
  if (lpszProductCode == NULL || lpszRecordType == NULL || lpszDescription == NULL || lpszCode == NULL || hUser == NULL)
    return (int)ER_SUCCESS;
  B90CA700_UDCKEY key;
  BuildUdcKey(&key, lpszProductCode, lpszRecordType, lpszDescription);
  JCHAR *lpszFound = NULL;
  const int nResult = B90CA700_getUDCByDescription(&key, &lpszFound, 2, hUser);
  if (lpszFound != NULL) {
    vyrStrcpy(lpszCode, vyrStripBlanks(lpszFound));
    vyrFree(lpszFound);
  } else {
    lpszCode[0] = 0;
  }
  return nResult;
}

FAMOFLAS_INTERNAL JCHAR *B90CA700_AddCategoryToXML(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszOut) {
  if (lpszOut == NULL) return lpszOut;
  DSGETUDC dsUdc;
  memset(&dsUdc, 0, sizeof dsUdc);
  vyrStrcpyFillAndTerminate(dsUdc.szProductCode, u"01", 5, 0);
  vyrStrcpyFillAndTerminate(dsUdc.szRecordType, u"SG", 3, 0);
  vyrStrcpyFillAndTerminate(dsUdc.szUserDefinedCode, u"PIMSG", 11, 0);
  // A missing category code is not the sync call's error: the default stands in.
  dsUdc.cSuppressErrorMessage = u'1';
  const JCHAR *lpszCategory = B90CA700_DEFAULT_CATEGORY;
  const ID idReturn = vyrCallObject(u"GetUDC", NULL, lpBhvrCom, lpVoid, &dsUdc, NULL, 0, NULL, 0, 0);
  if (idReturn != ER_SUCCESS) {
    DebugTraceFn(u"B90CA700_AddCategoryToXML FAILED: return from GetUDC: %d", (int)idReturn);
  } else if (vyrIsBlankOrNull(dsUdc.szDescription001)) {
    DebugTraceFn(u"B90CA700_AddCategoryToXML : return from GetUDC was blank or null");
  } else {
    lpszCategory = dsUdc.szDescription001;
  }
  return lpszOut + B90CA700_EscapeXMLChars(lpszOut, u" category=\"%ls\"", lpszCategory);
}

FAMOFLAS_INTERNAL int B90CA700_TerminateCache(LPSYNCCONTEXT lpContext) {
  if (lpContext == NULL) return 0;
  if (!TerminateOneCache(lpContext->hUser, &lpContext->hDataCache)) return 0;
  return TerminateOneCache(lpContext->hUser, &lpContext->hStateCache) ? 1 : 0;
}
