/*
 * vyrcache.h - named caches (part of the kernel).
 *
 * A cache is a process-wide, in-memory table of fixed-size records, shared by
 * every call that opens the same name, kept in key order under one or more
 * indexes. It outlives the call that filled it and ends only when terminated
 * with vyrCacheTerminateAll. Every operation is safe from several threads.
 *
 * Records are passed whole (nRecordSize bytes). Keys are passed as a
 * record-shaped buffer: only the bytes of the index's segments are read,
 * at the segments' positions.
 *
 * Success is VYRCACHE_SUCCESS (3); anything else is failure or "not found".
 */
#ifndef VYRCACHE_H
#define VYRCACHE_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

#define VYRCACHE_SUCCESS 3
#define VYRCACHE_NOT_FOUND 1
#define VYRCACHE_DUPLICATE 2
#define VYRCACHE_FAILURE 0

/* How a key segment compares. */
#define VYRCACHE_KEY_BYTES 0  /* unsigned bytes */
#define VYRCACHE_KEY_STRING 1 /* JCHAR text up to its terminator within the segment */
#define VYRCACHE_KEY_MATH 2   /* MATH_NUMERIC by value */
#define VYRCACHE_KEY_INT 3    /* int32_t */
#define VYRCACHE_KEY_DATE 4   /* VYRDATE */
#define VYRCACHE_KEY_ID 5     /* uint32_t */
#define VYRCACHE_KEY_UTIME 6  /* UTIME by instant */

#define VYRCACHE_MAX_SEGMENTS 25

typedef struct tagVYRCACHE_SEGMENT {
  uint32_t nPosition; /* byte offset in the record */
  uint32_t nSize;     /* bytes */
  int nType;          /* VYRCACHE_KEY_* */
} VYRCACHE_SEGMENT;

typedef struct tagVYRCACHE_INDEX {
  int nSegments;
  VYRCACHE_SEGMENT Segment[VYRCACHE_MAX_SEGMENTS];
} VYRCACHE_INDEX, *LPVYRCACHE_INDEX;

/*
 * Opens the cache of that name, creating it with the index when it does not
 * exist; an existing cache keeps its own indexes. hUser may be null.
 */
VYR_EXPORT ID vyrCacheInit(HUSER hUser, HCACHE *lphCache, const JCHAR *lpszCacheName, const VYRCACHE_INDEX *lpIndex);
/* The same with nIndexes indexes (numbered from 1; index 1 is current after opening). */
VYR_EXPORT ID vyrCacheInitMultipleIndex(HUSER hUser, HCACHE *lphCache, const JCHAR *lpszCacheName,
                                        const VYRCACHE_INDEX *lpIndexes, int nIndexes);
/* Chooses the index (from 1) for the handle's later operations. */
VYR_EXPORT ID vyrCacheSetIndex(HCACHE hCache, int nIndex);
/*
 * Adds a record; VYRCACHE_DUPLICATE when another record has the same full key
 * under any of the indexes. The first add fixes the record size of the cache;
 * records of another size are refused.
 */
VYR_EXPORT ID vyrCacheAdd(HCACHE hCache, const void *lpRecord, size_t nRecordSize);
/* The first record whose first nKeys segments of the current index equal the key's. */
VYR_EXPORT ID vyrCacheFetch(HCACHE hCache, const void *lpKey, int nKeys, void *lpRecord, size_t nRecordSize);
/* Replaces the record with the same full key of the current index. */
VYR_EXPORT ID vyrCacheUpdate(HCACHE hCache, const void *lpRecord, size_t nRecordSize);
VYR_EXPORT ID vyrCacheDeleteAll(HCACHE hCache);
/* The number of records; 0 for an invalid handle. */
VYR_EXPORT int vyrCacheGetNumRecords(HCACHE hCache);

/*
 * Cursors walk the handle's current index (at the time of each fetch) in key
 * order. A cursor belongs to the handle that opened it and is used with that
 * handle only. szSource/nLine name the opener in traces.
 */
VYR_EXPORT ID vyrCacheOpenCursorX(HCACHE hCache, HCUR *lphCursor, const char *szSource, int nLine);
/*
 * With a key and nKeys > 0: positions on the first record whose first nKeys
 * segments equal the key's and fetches it. With a null key or nKeys 0: fetches
 * the record after the cursor's position (the first one after opening or a
 * reset). VYRCACHE_NOT_FOUND at the end.
 */
VYR_EXPORT ID vyrCacheFetchPosition(HCACHE hCache, HCUR hCursor, const void *lpKey, int nKeys, void *lpRecord,
                                    size_t nRecordSize);
/* Deletes the record the cursor last fetched; the next fetch returns the one after it. */
VYR_EXPORT ID vyrCacheDelete(HCACHE hCache, HCUR hCursor);
VYR_EXPORT ID vyrCacheResetCursor(HCACHE hCache, HCUR hCursor);
VYR_EXPORT ID vyrCacheCloseCursor(HCACHE hCache, HCUR hCursor);

/* Releases this handle (and its cursors); the cache and its records live on. */
VYR_EXPORT ID vyrCacheTerminate(HUSER hUser, HCACHE hCache);
/* Ends the cache itself: its records are dropped and every handle to it becomes invalid. */
VYR_EXPORT ID vyrCacheTerminateAll(HUSER hUser, HCACHE hCache);

VYR_END_DECLS

#endif /* VYRCACHE_H */
