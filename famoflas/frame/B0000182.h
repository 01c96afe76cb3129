/*
 * B0000182.h - starting the external tax interface for an environment
 * (vyrInitEnvBSFN) and the interface records it leaves in two process-wide
 * caches for vyrFreeEnvBSFN (B0000183) to end.
 *
 * The control record of table F7306 says whether the interface is in use
 * (TXIF "Y"). The interface itself is a plug-in library (see taxinterface.h)
 * whose path the context setting "taxplugin" gives; the environment value
 * "TAXPLUGIN" reads it.
 */
#ifndef FAMOFLAS_FRAME_B0000182_H
#define FAMOFLAS_FRAME_B0000182_H

#include <stddef.h>
#include <string.h>

#include "frame/bsfn.h"
#include "frame/taxinterface.h"

/* Key (CTLKEY, five positions) of the single F7306 control record. */
#define B0000182_F7306_CONTROL_KEY u"TAXIF"
/* Environment value holding the path of the tax-interface library. */
#define B0000182_PLUGIN_VALUE u"TAXPLUGIN"

/*
 * Errors of the plug-in (substitution text in brackets):
 *   "TXLB"  the library is not configured ["taxplugin"], cannot be loaded
 *             [its file name] or lacks an entry point [the entry's name]
 *   "TXIN"  an initialisation entry point refused to start [its name]
 */
#define B0000182_ERROR_LIBRARY u"TXLB"
#define B0000182_ERROR_INITIALIZE u"TXIN"

/* The two process-wide caches; each holds at most one record, keyed "1". */
#define B0000182_GEOCODE_CACHE u"GeoCodeInit"
#define B0000182_SALESTAX_CACHE u"SalesTaxInit"
#define B0000182_INTERFACE_KEY u"1"

/*
 * A started interface, as its cache holds it: the plug-in reference it keeps
 * loaded and the entry points that end it (the sales-tax interface alone has
 * a close entry, called with each TAXINTERFACE_CLOSE_* selector first).
 */
typedef struct tagTAXINTERFACEREC {
  JCHAR szKey[2];                 /* "1" */
  HMODULE hLibrary;               /* this record's reference to the plug-in */
  LPFNTAXSALESTAXCLOSE lpfnClose; /* NULL for the geocode interface */
  void (*lpfnTerminate)(void);    /* called last */
} TAXINTERFACEREC;

/* Ends a started interface through its entry points; the plug-in stays loaded. */
static inline void B0000182_EndInterface(const TAXINTERFACEREC *lpRecord) {
  if (lpRecord->lpfnClose != NULL) {
    for (int nSelector = 0; nSelector < TAXINTERFACE_CLOSE_COUNT; ++nSelector) lpRecord->lpfnClose(nSelector);
  }
  if (lpRecord->lpfnTerminate != NULL) lpRecord->lpfnTerminate();
}

/* The index of both caches: the key at the start of the record. */
static inline VYRCACHE_INDEX B0000182_InterfaceCacheIndex(void) {
  VYRCACHE_INDEX index;
  memset(&index, 0, sizeof index);
  index.nSegments = 1;
  index.Segment[0].nPosition = 0;
  index.Segment[0].nSize = 2 * sizeof(JCHAR);
  index.Segment[0].nType = VYRCACHE_KEY_STRING;
  return index;
}

/* Opens the named interface cache; FALSE after "078L" with its name. */
static inline BOOL B0000182_OpenInterfaceCache(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const JCHAR *lpszName,
                                               HCACHE *lphCache, const char *szSource, int nLine) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  *lphCache = NULL;
  if (vyrCacheInit(hUser, lphCache, lpszName, &index) == VYRCACHE_SUCCESS) return TRUE;
  BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078L", lpszName, szSource, nLine);
  return FALSE;
}

/*
 * Reads the F7306 control record and, when its flag is "Y", starts the
 * geocode and then the sales-tax interface. Uses lpBhvrCom and lpVoid only.
 * Returns ER_SUCCESS, or ER_ERROR: "4363" (arguments), "078S" (behaviour
 * handle), "078D" with "F7306" (table), no error when the control record is
 * missing, or what a failed start reported.
 */
FAMOFLAS_BSFN ID vyrInitEnvBSFN(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/*
 * Loads the plug-in, resolves and calls its geocode initialisation and
 * records the interface in "GeoCodeInit". A process that already started it
 * keeps the one it has. Returns ER_SUCCESS, or ER_ERROR after "078L" (cache),
 * "TXLB" or "TXIN"; on failure nothing stays loaded or cached.
 */
FAMOFLAS_INTERNAL ID IB0000182_InitializeQuantumGeoCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser);
/* The same for the sales-tax interface and "SalesTaxInit". */
FAMOFLAS_INTERNAL ID IB0000182_InitializeQuantumSalesTax(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser);

#endif /* FAMOFLAS_FRAME_B0000182_H */
