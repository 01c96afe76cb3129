/*
 * vyrbhvr.h - the behaviour context as the libraries use it: errors, calls by
 * name, the event rule's return code, user/system/environment queries, the
 * data dictionary, the platform log and the message box (part of the kernel).
 *
 * A host creates the behaviour context (lpBhvrCom) and the user environment
 * (lpVoid); while a business function runs, its context is current on the
 * thread, and operations that take no context read that one.
 */
#ifndef VYRBHVR_H
#define VYRBHVR_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* ---- Errors -------------------------------------------------------------- */

/* Widths of the parts of an error record. */
#define VYR_ERROR_ID_SIZE 11   /* error id, e.g. "4363", "CRM0071" */
#define VYR_ERROR_TEXT_SIZE 41 /* substitution text */
#define VYR_ERROR_SOURCE_SIZE 33

/*
 * Appends {idItem, error id, substitution text, source, line} to the context's
 * error list. lpSubstitution is null or a record whose first member is a JCHAR
 * string of 41 positions (read up to its terminator, at most 40 characters).
 * With a null lpBhvrCom the error has nowhere to go and is written to the
 * debug trace instead.
 */
VYR_EXPORT void vyrErrorSetEx(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, ID idItem, const JCHAR *lpszErrorId,
                              const void *lpSubstitution, const char *szSource, int nLine);

typedef struct tagVYRERRORINFO {
  ID idItem;
  JCHAR szErrorId[VYR_ERROR_ID_SIZE];
  JCHAR szText[VYR_ERROR_TEXT_SIZE];
  char szSource[VYR_ERROR_SOURCE_SIZE];
  int32_t nLine;
} VYRERRORINFO, *LPVYRERRORINFO;

/* Starts a walk over the context's errors; returns how many there are. */
VYR_EXPORT int vyrErrorSetToFirstEx(LPBHVRCOM lpBhvrCom, LPVOID lpVoid);
/* The next error of the walk; FALSE when there is none left. */
VYR_EXPORT BOOL vyrErrorGetNextDDItemNameInfoEx(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVYRERRORINFO lpInfo);

/* ---- Calling business functions ----------------------------------------- */

/*
 * Runs the business function named lpszFunctionName (or lpfnEntry when not
 * null) on the same context with lpDS, and returns its code unchanged.
 * Afterwards the errors the callee added are re-attached: an error on a
 * callee member named in lpMap moves to the paired caller member; an error on
 * any other member is kept with item 0 (the call as a whole). With no mapping
 * (null or 0 pairs) the callee's errors keep item 0 as well, so they never
 * point at an unrelated member of the caller.
 * An unknown name sets error "BSFNNF" (substitution: the name), writes a trace
 * line and returns ER_ERROR. The last three arguments are reserved (0).
 */
VYR_EXPORT ID vyrCallObject(const JCHAR *lpszFunctionName, LPBSFN lpfnEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                            LPVOID lpDS, const CallMapEntry *lpMap, ID nMapEntries, LPVOID lpReserved, ID idReserved1,
                            ID idReserved2);

/* The return-code slot of the calling event rule. */
VYR_EXPORT void vyrSetEventRuleReturnCode(LPBHVRCOM lpBhvrCom, ID idReturnCode);
VYR_EXPORT ID vyrGetEventRuleReturnCode(LPBHVRCOM lpBhvrCom);

/* The database environment the context runs in (NULL when it has none). */
VYR_EXPORT HENV vyrGetBhvrEnvironment(LPBHVRCOM lpBhvrCom);

/* ---- User, system and environment queries --------------------------------
 * Each writes at most nSize JCHAR (terminator included) and returns
 * ER_SUCCESS, or ER_ERROR for an unknown item (output then empty).
 */

/*
 * Items: "USER" user id, "AN8" address number, "CTR" localization country,
 * "LNGP" language, "ENV" environment name, "PROGRAM" program id,
 * "MACHINE" workstation.
 */
VYR_EXPORT ID vyrGetUserInfo(LPBHVRCOM lpBhvrCom, const JCHAR *lpszItem, JCHAR *lpszOut, size_t nSize);
/* System constants, e.g. "NNO" (next-number method). */
VYR_EXPORT ID vyrGetSystemConstantValues(LPBHVRCOM lpBhvrCom, const JCHAR *lpszConstant, JCHAR *lpszOut, size_t nSize);
/* Environment values by key: "CRMMSL", "TAXPLUGIN" (path of the tax-interface library). */
VYR_EXPORT ID vyrGetEnvironmentValue(LPBHVRCOM lpBhvrCom, const JCHAR *lpszKey, JCHAR *lpszOut, size_t nSize);
/* The installation's domestic currency code. */
VYR_EXPORT ID vyrGetCurrencyCode(LPBHVRCOM lpBhvrCom, JCHAR *lpszOut, size_t nSize);
/* Client type of the current context: 1 connected, 2 disconnected (mobile). */
VYR_EXPORT int vyrGetClientType(void);
/* Sets *lpnEnabled to 1 when passwords are checked by a directory service, else 0; returns ER_SUCCESS. */
VYR_EXPORT ID vyrSecIsLDAPAuthenticationEnabled(HUSER hUser, int *lpnEnabled);
VYR_EXPORT ID vyrGetHostName(JCHAR *lpszOut, size_t nSize);
VYR_EXPORT int vyrGetPid(void);
/* A new random GUID as 36 characters plus terminator ("xxxxxxxx-xxxx-..."). */
VYR_EXPORT ID vyrCreateGuidString(JCHAR *lpszOut, size_t nSize);
/* A process-wide increasing number, never 0. */
VYR_EXPORT ID vyrUniqueId(void);

/* ---- Data dictionary ------------------------------------------------------ */

typedef struct tagDDITEM {
  JCHAR szDict[11];         /* the item's name */
  JCHAR szDefaultValue[41]; /* its default value */
  JCHAR szDescription[41];
} DDITEM, *LPDDITEM;

/* Opens the dictionary of the current context; NULL on failure. */
VYR_EXPORT LPDDDICT vyrOpenDictionaryX(LPBHVRCOM lpBhvrCom);
/* An allocated copy of the item (release with vyrFreeDDItem), NULL when unknown. "CENTCHG" defaults to "50". */
VYR_EXPORT LPDDITEM vyrAllocFetchDDItemFromDDItemName(LPDDDICT lpDict, const JCHAR *lpszItem);
VYR_EXPORT void vyrFreeDDItem(LPDDITEM lpItem);
VYR_EXPORT void vyrCloseDictionary(LPDDDICT lpDict);

/* ---- PIM sync transport ------------------------------------------------- */

/*
 * The request document the host attached to the context for the running sync
 * function: terminated JCHAR text owned by the context, valid until the
 * function returns (not to be freed). NULL when none is attached.
 */
VYR_EXPORT const JCHAR *vyrPIMSync_RetrieveXML(LPBHVRCOM lpBhvrCom);
/*
 * Hands the response document to the host. The text is copied; a later store
 * in the same call replaces it. ER_SUCCESS, or ER_ERROR for a null argument or
 * when out of memory.
 */
VYR_EXPORT ID vyrPIMSync_StoreXML(LPBHVRCOM lpBhvrCom, const JCHAR *lpszResponse);

/* ---- Platform log and message box ---------------------------------------- */

/* Formats as vyrSprintf and writes one line "szSource(nLine): text" to the trace. */
VYR_EXPORT void vyrWriteLogEntry(const char *szSource, int nLine, const JCHAR *lpszFormat, ...);
/*
 * Shows text under a caption through the host's message-box handler (the
 * command prints "caption: text" to stderr). Returns 1 (OK pressed).
 */
VYR_EXPORT int MessageBoxW(void *hWnd, const JCHAR *lpszText, const JCHAR *lpszCaption, unsigned int nType);

VYR_END_DECLS

#endif /* VYRBHVR_H */
