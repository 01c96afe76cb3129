/*
 * cacheend.h - ending a job's named cache, shared by the clean-up companions.
 */
#ifndef FAMOFLAS_COMPANIONS_CACHEEND_H
#define FAMOFLAS_COMPANIONS_CACHEEND_H

#include <string.h>

#include "frame/bsfn.h"

/*
 * Ends the cache named lpszCacheName: its records are dropped and every handle
 * to it becomes invalid. A cache that does not exist is opened (empty) only to
 * be ended again. Adds the number of records it held to *lpnEnded. Returns
 * ER_SUCCESS, or ER_ERROR after error "078L" with the cache name.
 */
static inline ID CompanionEndCache(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const JCHAR *lpszCacheName, ID *lpnEnded,
                                   const char *szSource, int nLine) {
  VYRCACHE_INDEX index;
  HCACHE hCache = NULL;
  memset(&index, 0, sizeof index);
  // An existing cache keeps its own indexes; this one serves only to open it by name.
  index.nSegments = 1;
  index.Segment[0].nSize = 1;
  index.Segment[0].nType = VYRCACHE_KEY_BYTES;
  if (vyrCacheInit(NULL, &hCache, lpszCacheName, &index) != VYRCACHE_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078L", lpszCacheName, szSource, nLine);
    return ER_ERROR;
  }
  const int nRecords = vyrCacheGetNumRecords(hCache);
  if (vyrCacheTerminateAll(NULL, hCache) != VYRCACHE_SUCCESS) {
    vyrCacheTerminate(NULL, hCache);
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078L", lpszCacheName, szSource, nLine);
    return ER_ERROR;
  }
  if (nRecords > 0) *lpnEnded += (ID)nRecords;
  return ER_SUCCESS;
}

#endif /* FAMOFLAS_COMPANIONS_CACHEEND_H */
