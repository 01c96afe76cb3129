// The localization dispatch: what every plug-and-play entry and country
// server of entries.h does. Written from B0400017's pair, the entry and
// server every other follows.
#include <string.h>

#include "localization/dispatch.h"

// Member 1 as " " or "" (compared as such, within its width): no localization.
static BOOL CountryCodeIsBlank(const DSLOCALIZATION *lpDS) {
  return lpDS->szCountryCode[0] == 0 || (lpDS->szCountryCode[0] == u' ' && lpDS->szCountryCode[1] == 0);
}

// A fixed-width member as text for comparing and tracing: at most nWidth
// characters, trailing blanks dropped, terminated in lpszOut (nWidth + 1).
static void TrimmedMember(JCHAR *lpszOut, const JCHAR *lpszMember, size_t nWidth) {
  size_t n = 0;
  while (n < nWidth && lpszMember[n] != 0) {
    lpszOut[n] = lpszMember[n];
    ++n;
  }
  while (n > 0 && lpszOut[n - 1] == u' ') --n;
  lpszOut[n] = 0;
}

// TRUE when lpszCountry (trimmed) is one of the two-letter codes "AR CL PE".
static BOOL CountryListed(const JCHAR *lpszCodes, const JCHAR *lpszCountry) {
  if (lpszCountry[0] == 0 || lpszCountry[1] == 0 || lpszCountry[2] != 0) return FALSE;
  for (const JCHAR *p = lpszCodes;; p += 3) {
    if (p[0] == lpszCountry[0] && p[1] == lpszCountry[1]) return TRUE;
    if (p[2] == 0) return FALSE;
  }
}

// Member by member at full widths, as a callee's record is filled.
static void CopyLocalizationRecord(LPDSLOCALIZATION lpTo, const DSLOCALIZATION *lpFrom) {
  vyrStrcpyFillAndTerminate(lpTo->szCountryCode, lpFrom->szCountryCode, 4, 0);
  vyrStrcpyFillAndTerminate(lpTo->szCompanyKey, lpFrom->szCompanyKey, 6, 0);
  vyrStrcpyFillAndTerminate(lpTo->szRecordKey1, lpFrom->szRecordKey1, 11, 0);
  vyrStrcpyFillAndTerminate(lpTo->szRecordKey2, lpFrom->szRecordKey2, 11, 0);
  vyrStrcpyFillAndTerminate(lpTo->szRecordKey3, lpFrom->szRecordKey3, 11, 0);
  vyrStrcpyFillAndTerminate(lpTo->szMode, lpFrom->szMode, 4, 0);
  MathCopy(&lpTo->mnAmount1, &lpFrom->mnAmount1);
  MathCopy(&lpTo->mnAmount2, &lpFrom->mnAmount2);
  lpTo->cResultFlag = lpFrom->cResultFlag;
}

// The one trace line of a dispatch: entry, country and its origin, callee, code.
static void TraceDispatch(const LOCENTRY *lpEntry, const JCHAR *lpszCountry, LOC_COUNTRY_SOURCE eSource,
                          const JCHAR *lpszCallee, ID idReturn) {
  DebugTraceFn(u"%ls: country '%ls' from %ls, called %ls, return %u", lpEntry->lpszName, lpszCountry,
               eSource == LOC_COUNTRY_USER ? u"user CTR" : u"data structure", lpszCallee[0] != 0 ? lpszCallee : u"none",
               (unsigned)idReturn);
}

// The line of a server that called nothing: the countries it compared, each
// with its origin (a null country was not compared).
static void TraceNothingCalled(const LOCENTRY *lpEntry, const JCHAR *lpszDsCountry, const JCHAR *lpszUserCountry) {
  if (lpszDsCountry != NULL && lpszUserCountry != NULL) {
    DebugTraceFn(u"%ls: country '%ls' from data structure, '%ls' from user CTR, called none, return 0",
                 lpEntry->lpszName, lpszDsCountry, lpszUserCountry);
  } else if (lpszUserCountry != NULL) {
    TraceDispatch(lpEntry, lpszUserCountry, LOC_COUNTRY_USER, u"", ER_SUCCESS);
  } else {
    TraceDispatch(lpEntry, lpszDsCountry, LOC_COUNTRY_DS, u"", ER_SUCCESS);
  }
}

/*
 * Plug-and-play: a blank country returns ER_SUCCESS at once; otherwise a
 * copy of the record goes to the server with every member mapped onto
 * itself, the server's code lands in the event rule's slot, the copy comes
 * back whole, and the code is returned unchanged. An entry that names no
 * server has nothing to forward to and returns ER_SUCCESS.
 */
static ID RunPlugAndPlay(const LOCENTRY *lpEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSLOCALIZATION lpDS) {
  static constexpr LOCMAP kSameMembers = LocalizationMap(LOC_IDENTITY, LOC_RECORD_SHARED);
  DSLOCALIZATION dsServer;
  JCHAR szCountry[4];
  ID idReturn = ER_SUCCESS;
  memset(&dsServer, 0, sizeof dsServer);

  TrimmedMember(szCountry, lpDS->szCountryCode, 3);
  if (CountryCodeIsBlank(lpDS) || lpEntry->lpszServer[0] == 0) {
    TraceDispatch(lpEntry, szCountry, LOC_COUNTRY_DS, u"", ER_SUCCESS);
    return ER_SUCCESS;
  }
  CopyLocalizationRecord(&dsServer, lpDS);
  idReturn = vyrCallObject(lpEntry->lpszServer, NULL, lpBhvrCom, lpVoid, &dsServer, kSameMembers.aPairs,
                           kSameMembers.nPairs, NULL, 0, 0);
  vyrSetEventRuleReturnCode(lpBhvrCom, idReturn);
  CopyLocalizationRecord(lpDS, &dsServer);
  TraceDispatch(lpEntry, szCountry, LOC_COUNTRY_DS, lpEntry->lpszServer, idReturn);
  return idReturn;
}

// The record of one country function, built on the server's stack.
typedef union tagLOCCALLEERECORD {
  DSLOCALIZATION shared;
  DSWITHHOLDINGTAXVALIDATION withholding;
  DSGETCISSUBCONTRACTORSTATUS cisStatus;
} LOCCALLEERECORD;

static void BuildCalleeRecord(LOCCALLEERECORD *lpRecord, LOC_RECORD eRecord, const DSLOCALIZATION *lpDS) {
  switch (eRecord) {
    case LOC_RECORD_WITHHOLDING:
      MathCopy(&lpRecord->withholding.mnTaxableAmount, &lpDS->mnAmount1);
      MathCopy(&lpRecord->withholding.mnWithholdingAmount, &lpDS->mnAmount2);
      lpRecord->withholding.cResultFlag = lpDS->cResultFlag;
      break;
    case LOC_RECORD_CIS_STATUS:
      MathCopy(&lpRecord->cisStatus.mnAddressNumber, &lpDS->mnAmount1);
      lpRecord->cisStatus.cProcessingMode = u'2';
      break;
    case LOC_RECORD_SHARED:
      CopyLocalizationRecord(&lpRecord->shared, lpDS);
      break;
  }
}

static void ReturnCalleeOutputs(LPDSLOCALIZATION lpDS, LOC_RECORD eRecord, const LOCCALLEERECORD *lpRecord) {
  switch (eRecord) {
    case LOC_RECORD_WITHHOLDING:
      MathCopy(&lpDS->mnAmount2, &lpRecord->withholding.mnWithholdingAmount);
      lpDS->cResultFlag = lpRecord->withholding.cResultFlag;
      break;
    case LOC_RECORD_CIS_STATUS:
      lpDS->cResultFlag =
          lpRecord->cisStatus.cIsSubcontractor == u'1' && lpRecord->cisStatus.cStatusVerified == u'1' ? u'1' : u'0';
      break;
    case LOC_RECORD_SHARED:
      MathCopy(&lpDS->mnAmount1, &lpRecord->shared.mnAmount1);
      MathCopy(&lpDS->mnAmount2, &lpRecord->shared.mnAmount2);
      lpDS->cResultFlag = lpRecord->shared.cResultFlag;
      break;
  }
}

// Calls one branch's country function: record built, call, code in the event
// rule's slot, outputs back. Returns the callee's code.
static ID CallCountryFunction(const LOCENTRY *lpEntry, const LOCBRANCH *lpBranch, const JCHAR *lpszCountry,
                              LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSLOCALIZATION lpDS) {
  LOCCALLEERECORD dsCallee;
  memset(&dsCallee, 0, sizeof dsCallee);
  BuildCalleeRecord(&dsCallee, lpBranch->eRecord, lpDS);
  const ID idReturn = vyrCallObject(lpBranch->lpszCallee, NULL, lpBhvrCom, lpVoid, &dsCallee, lpBranch->map.aPairs,
                                    lpBranch->map.nPairs, NULL, 0, 0);
  vyrSetEventRuleReturnCode(lpBhvrCom, idReturn);
  ReturnCalleeOutputs(lpDS, lpBranch->eRecord, &dsCallee);
  TraceDispatch(lpEntry, lpszCountry, lpBranch->eCountry, lpBranch->lpszCallee, idReturn);
  return idReturn;
}

/*
 * Country server: the user's "CTR" is read once when a branch compares it;
 * each branch whose code and mode match calls its country function, in the
 * table's order, and more than one may run. A callee the runtime does not
 * know is its error "BSFNNF" with ER_ERROR, like any failing callee, and the
 * next branch is still tested. Returns the last callee's code; when none was
 * called the result flag is reset to "0" and the server returns ER_SUCCESS.
 */
static ID RunCountryServer(const LOCENTRY *lpEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSLOCALIZATION lpDS) {
  JCHAR szDsCountry[4];
  JCHAR szUserCountry[4];
  JCHAR szMode[4];
  BOOL bReadsUserCountry = FALSE;
  BOOL bReadsDsCountry = lpEntry->nBranches == 0;
  BOOL bCalled = FALSE;
  ID idReturn = ER_SUCCESS;
  memset(szUserCountry, 0, sizeof szUserCountry);

  for (ID i = 0; i < lpEntry->nBranches; ++i) {
    if (lpEntry->lpBranches[i].eCountry == LOC_COUNTRY_USER) {
      bReadsUserCountry = TRUE;
    } else {
      bReadsDsCountry = TRUE;
    }
  }
  if (bReadsUserCountry) {
    vyrGetUserInfo(lpBhvrCom, u"CTR", szUserCountry, 4);
    TrimmedMember(szUserCountry, szUserCountry, 3);
  }
  TrimmedMember(szDsCountry, lpDS->szCountryCode, 3);
  TrimmedMember(szMode, lpDS->szMode, 3);

  for (ID i = 0; i < lpEntry->nBranches; ++i) {
    const LOCBRANCH *lpBranch = &lpEntry->lpBranches[i];
    const JCHAR *lpszCountry = lpBranch->eCountry == LOC_COUNTRY_USER ? szUserCountry : szDsCountry;
    if (lpBranch->lpszCallee[0] == 0 || !CountryListed(lpBranch->lpszCodes, lpszCountry)) continue;
    if (lpBranch->lpszMode[0] != 0 && vyrStrcmp(lpBranch->lpszMode, szMode) != 0) continue;
    idReturn = CallCountryFunction(lpEntry, lpBranch, lpszCountry, lpBhvrCom, lpVoid, lpDS);
    bCalled = TRUE;
  }
  if (!bCalled) {
    lpDS->cResultFlag = u'0';
    TraceNothingCalled(lpEntry, bReadsDsCountry ? szDsCountry : NULL, bReadsUserCountry ? szUserCountry : NULL);
  }
  return idReturn;
}

ID LocalizationDispatch(const LOCENTRY *lpEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, lpEntry->szSource, __LINE__)) return ER_ERROR;
  LPDSLOCALIZATION lpDS = (LPDSLOCALIZATION)lpVoidDS;
  return lpEntry->eRole == LOC_ROLE_PLUG_AND_PLAY ? RunPlugAndPlay(lpEntry, lpBhvrCom, lpVoid, lpDS)
                                                  : RunCountryServer(lpEntry, lpBhvrCom, lpVoid, lpDS);
}
