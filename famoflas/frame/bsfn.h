/*
 * bsfn.h - the chief header of the library: everything a source object needs
 * to define business functions. Include it first in every source object.
 *
 * A source object defines each business function as
 *
 *   FAMOFLAS_BSFN ID SetNERReturnCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS)
 *   {
 *     LPDSD0100044 lpDS = (LPDSD0100044)lpVoidDS;
 *     if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
 *     ...
 *   }
 *   FAMOFLAS_REGISTER(SetNERReturnCode, &DSD0100044_template, "B0100044")
 *
 * and exports its internal functions under their own names with
 * FAMOFLAS_INTERNAL. Registration puts one catalogue entry into the library's
 * catalogue section; the library's catalogue function hands the runtime all of
 * them (see catalog.h).
 */
#ifndef FAMOFLAS_BSFN_H
#define FAMOFLAS_BSFN_H

#include "frame/catalog.h"
#include "types/dsdesc.h"
#include "vyrkrnl.h"
#include "vyrl.h"
#include "vyrunicode.h"

/* An exported business function or internal function, under its own name. */
#define FAMOFLAS_BSFN VYR_EXTERN_C VYR_EXPORT
#define FAMOFLAS_INTERNAL VYR_EXTERN_C VYR_EXPORT

/*
 * The opening check of every business function: TRUE when the three arguments
 * are usable; otherwise error "4363" on item 0 at the caller's source and line,
 * and FALSE (the caller then returns ER_ERROR and touches nothing else).
 */
static inline BOOL BsfnArgumentsValid(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS, const char *szSource,
                                      int nLine) {
  if (lpBhvrCom != NULL && lpVoid != NULL && lpDS != NULL) return TRUE;
  vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, szSource, nLine);
  return FALSE;
}

/* The same check for functions that take no data structure. */
static inline BOOL BsfnContextValid(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const char *szSource, int nLine) {
  if (lpBhvrCom != NULL && lpVoid != NULL) return TRUE;
  vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, szSource, nLine);
  return FALSE;
}

/* Substitution record of an error: its first member is the 41-position text. */
typedef struct tagDSDE0022 {
  JCHAR szErrorText[41];
} DSDE0022;

/* Reports an error whose substitution text is lpszText (cut at 40 characters). */
static inline void BsfnErrorWithText(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, ID idItem, const JCHAR *lpszErrorId,
                                     const JCHAR *lpszText, const char *szSource, int nLine) {
  DSDE0022 dsText;
  vyrStrcpyFillAndTerminate(dsText.szErrorText, lpszText, 41, 0);
  vyrErrorSetEx(lpBhvrCom, lpVoid, idItem, lpszErrorId, &dsText, szSource, nLine);
}

#endif /* FAMOFLAS_BSFN_H */
