/*
 * dispatch.h - the rows of the localization table (entries.h) and the
 * routine that runs any of them.
 *
 * A row is either a plug-and-play entry, which forwards its record to the
 * country server it names, or a country server, whose branches are tested in
 * order; every branch whose country and mode match calls its country
 * function. The table is checked while it compiles: codes must be two
 * capital letters separated by single blanks, a mode three capitals or
 * empty, and every mapping pair must name members the two records have.
 */
#ifndef FAMOFLAS_LOCALIZATION_DISPATCH_H
#define FAMOFLAS_LOCALIZATION_DISPATCH_H

#include "localization/localization.h"

typedef enum { LOC_ROLE_PLUG_AND_PLAY, LOC_ROLE_SERVER } LOC_ROLE;

/* Where a branch reads the country it compares: member 1, or the user's "CTR". */
typedef enum { LOC_COUNTRY_DS, LOC_COUNTRY_USER } LOC_COUNTRY_SOURCE;

/* The record a branch builds for its country function (see localization.h). */
typedef enum { LOC_RECORD_SHARED, LOC_RECORD_WITHHOLDING, LOC_RECORD_CIS_STATUS } LOC_RECORD;

/* The longest error mapping: one pair per member of the shared record. */
#define LOC_MAX_PAIRS 9

typedef struct tagLOCMAP {
  CallMapEntry aPairs[LOC_MAX_PAIRS];
  ID nPairs;
} LOCMAP;

typedef struct tagLOCBRANCH {
  LOC_COUNTRY_SOURCE eCountry;
  const JCHAR *lpszCodes;  /* "AR CL PE" */
  const JCHAR *lpszMode;   /* "VAL", or "" for any mode */
  const JCHAR *lpszCallee; /* country function, or "" when none is called by name */
  LOC_RECORD eRecord;
  LOCMAP map; /* server member - callee member */
} LOCBRANCH;

typedef struct tagLOCENTRY {
  LOC_ROLE eRole;
  const JCHAR *lpszName;
  const char *szSource;
  const JCHAR *lpszServer; /* plug-and-play: the server it forwards to, "" for none */
  const LOCBRANCH *lpBranches;
  ID nBranches;
} LOCENTRY;

/* Every member of the shared record onto itself. */
#define LOC_IDENTITY "1-1 2-2 3-3 4-4 5-5 6-6 7-7 8-8 9-9"

/* Runs one row as the business function it stands for. */
ID LocalizationDispatch(const LOCENTRY *lpEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

/* ---- Compile-time reading of the table's columns ------------------------
 * Used only in constant initializers: a malformed column reaches
 * LocalizationTableError, which is not constexpr, so the build stops there. */

inline void LocalizationTableError(void) {}

constexpr bool LocalizationIsCapital(JCHAR c) { return c >= u'A' && c <= u'Z'; }

constexpr const JCHAR *LocalizationCodes(const JCHAR *lpszCodes) {
  for (const JCHAR *p = lpszCodes;; p += 3) {
    if (!LocalizationIsCapital(p[0]) || !LocalizationIsCapital(p[1])) LocalizationTableError();
    if (p[2] == 0) return lpszCodes;
    if (p[2] != u' ') LocalizationTableError();
  }
}

constexpr const JCHAR *LocalizationMode(const JCHAR *lpszMode) {
  if (lpszMode[0] != 0 && !(LocalizationIsCapital(lpszMode[0]) && LocalizationIsCapital(lpszMode[1]) &&
                            LocalizationIsCapital(lpszMode[2]) && lpszMode[3] == 0))
    LocalizationTableError();
  return lpszMode;
}

constexpr ID LocalizationRecordMembers(LOC_RECORD eRecord) {
  return eRecord == LOC_RECORD_WITHHOLDING ? 3 : eRecord == LOC_RECORD_CIS_STATUS ? 4 : 9;
}

/* "7-1 8-2 9-3": pairs of server member - callee member, separated by blanks. */
constexpr LOCMAP LocalizationMap(const char *szPairs, LOC_RECORD eRecord) {
  LOCMAP map = {};
  const char *p = szPairs;
  while (*p != 0) {
    if (map.nPairs == LOC_MAX_PAIRS || p[0] < '1' || p[0] > '9' || p[1] != '-' || p[2] < '1' || p[2] > '9' ||
        (p[3] != 0 && p[3] != ' ') || (ID)(p[2] - '0') > LocalizationRecordMembers(eRecord))
      LocalizationTableError();
    map.aPairs[map.nPairs].idCallerItem = p[0] - '0';
    map.aPairs[map.nPairs].idCalleeItem = p[2] - '0';
    ++map.nPairs;
    p += p[3] == 0 ? 3 : 4;
  }
  return map;
}

#endif /* FAMOFLAS_LOCALIZATION_DISPATCH_H */
