/*
 * vyrl.h - the platform's base library: blank handling and bounded copies,
 * memory with caller tracking, linked lists, the data-pointer store and the
 * debug trace.
 */
#ifndef VYRL_H
#define VYRL_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* ---- Blank handling and bounded copies ---------------------------------- */

/*
 * Copies at most nSize - 1 characters of lpszSrc into lpszDest, sets every
 * remaining position up to nSize - 2 to cFill, and terminates at nSize - 1.
 * With cFill 0 the tail is zero-filled. nSize 0 writes nothing; a null source
 * copies as the empty string. Returns lpszDest.
 */
VYR_EXPORT JCHAR *vyrStrcpyFillAndTerminate(JCHAR *lpszDest, const JCHAR *lpszSrc, size_t nSize, JCHAR cFill);
/* vyrStrcmp that accepts null on either side; null compares as the empty string. */
VYR_EXPORT int vyrstrcmpwithnull(const JCHAR *lpsz1, const JCHAR *lpsz2);
/* vyrStrncmp that accepts null on either side, as vyrstrcmpwithnull. */
VYR_EXPORT int vyrstrncmp(const JCHAR *lpsz1, const JCHAR *lpsz2, size_t n);
/* Compares in EBCDIC (code page 037) collating order, as a host database would sort. */
VYR_EXPORT int vyrstrcmpEBCDIC(const JCHAR *lpsz1, const JCHAR *lpsz2);
/* Removes trailing blanks in place; returns lpsz. */
VYR_EXPORT JCHAR *vyrStripTrailingBlanks(JCHAR *lpsz);
/* Removes leading and trailing blanks in place; returns lpsz. */
VYR_EXPORT JCHAR *vyrStripBlanks(JCHAR *lpsz);
/* TRUE when the pointer is null, the string empty, or all blanks. */
VYR_EXPORT BOOL vyrIsBlankOrNull(const JCHAR *lpsz);
/* The same test; kept as the second name the libraries call it by. */
VYR_EXPORT BOOL vyrZIsBlankOrNull(const JCHAR *lpsz);

/* ---- Memory ------------------------------------------------------------- */

/*
 * Allocation with the caller's source name and line recorded. Every block
 * stays registered until freed; vyrMemoryOutstanding counts the live blocks
 * and vyrMemoryReport writes one debug-trace line per live block (source,
 * line, size), so a debug build can show what was never freed.
 * vyrFreeInternal(NULL, ...) does nothing; freeing an unknown pointer is
 * reported on the trace and ignored. vyrReallocInternal(NULL, n) allocates,
 * vyrReallocInternal(p, 0) frees and returns NULL, and on failure the old
 * block stays valid. vyrMemoryReport returns the number of blocks it listed.
 */
VYR_EXPORT void *vyrMallocInternal(size_t nSize, const char *szFile, int nLine);
VYR_EXPORT void *vyrCallocInternal(size_t nCount, size_t nSize, const char *szFile, int nLine);
VYR_EXPORT void *vyrReallocInternal(void *lpBlock, size_t nSize, const char *szFile, int nLine);
VYR_EXPORT void vyrFreeInternal(void *lpBlock, const char *szFile, int nLine);
VYR_EXPORT size_t vyrMemoryOutstanding(void);
VYR_EXPORT size_t vyrMemoryReport(void);
/* Called once when a business-function library is loaded; returns 1. */
VYR_EXPORT int vyrMemoryManagementInit(void);

#define vyrMalloc(n) vyrMallocInternal((n), __FILE__, __LINE__)
#define vyrCalloc(c, n) vyrCallocInternal((c), (n), __FILE__, __LINE__)
#define vyrRealloc(p, n) vyrReallocInternal((p), (n), __FILE__, __LINE__)
#define vyrFree(p) vyrFreeInternal((p), __FILE__, __LINE__)

/* ---- Linked lists ------------------------------------------------------- */

/*
 * A list of item pointers in insertion order. The list owns the items only when
 * created with bOwnsItems TRUE (they are then released with vyrFree-compatible
 * free when the list is destroyed). A position is an opaque cursor held by the
 * caller.
 */
typedef struct tagLINKLISTPOS *LPLINKLISTPOS;
VYR_EXPORT LPLINKLIST CreateLinkList(BOOL bOwnsItems);
/* Appends; a null item is refused (FALSE), since iteration ends at null. */
VYR_EXPORT BOOL AddLinkListItem(LPLINKLIST lpList, void *lpItem);
VYR_EXPORT void *GetFirstLinkListItem(LPLINKLIST lpList, LPLINKLISTPOS *lpPos);
VYR_EXPORT void *GetNextLinkListItem(LPLINKLIST lpList, LPLINKLISTPOS *lpPos);
VYR_EXPORT size_t GetLinkListCount(LPLINKLIST lpList);
VYR_EXPORT void DestroyLinkList(LPLINKLIST lpList);

/* ---- Data-pointer store ------------------------------------------------- */

/*
 * Parks a pointer under a 32-bit index so that it can travel in a data
 * structure from one call to the next. Indexes start at 1; 0 means failure.
 * The store is process-wide and safe across threads; lpVoid is accepted for
 * the callers' convention and not used to scope the index. An index is never
 * issued twice in a process, so a stale index finds nothing; a null pointer
 * is not stored (0).
 */
VYR_EXPORT ID vyrStoreDataPtr(LPVOID lpVoid, void *lpData);
VYR_EXPORT void *vyrRetrieveDataPtr(LPVOID lpVoid, ID idIndex);
/* Drops the index and returns the pointer it held (NULL if none). */
VYR_EXPORT void *vyrRemoveDataPtr(LPVOID lpVoid, ID idIndex);

/* ---- XML text ----------------------------------------------------------- */

/*
 * A copy of the text with the five characters XML reserves written as their
 * predefined entities (& &amp;, < &lt;, > &gt;, " &quot;, ' &apos;), allocated
 * with vyrMalloc: the caller releases it with vyrFree. NULL for a null text
 * or when out of memory.
 */
VYR_EXPORT JCHAR *vyrAllocConvertToXMLEscapeChars(const JCHAR *lpszText);

/* ---- Debug trace -------------------------------------------------------- */

/*
 * Formats as vyrSprintf and writes one line to the debug trace. The trace goes
 * to the sink the host installed for the calling thread (the runtime captures
 * it per call), else to the process-wide sink a host installed (none by
 * default, so the line is dropped). Trailing line ends are dropped; newlines
 * inside the text stay, and the text goes out as one line.
 */
VYR_EXPORT void DebugTraceFn(const JCHAR *lpszFormat, ...);

VYR_END_DECLS

#endif /* VYRL_H */
