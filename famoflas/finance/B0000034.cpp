// One keyed read of F0010 or F0013 per function: company currency,
// currency-conversion switch, currency decimals.
#include "finance/B0000034.h"

#include <string.h>

#include "vyrrecord.h"

namespace {

const char kSource[] = "B0000034";
const JCHAR kCompanyTable[] = u"F0010";
const JCHAR kCurrencyTable[] = u"F0013";
const ID kKeyIndex = 1;
// The company whose row holds the installation-wide defaults.
const JCHAR kDefaultsCompany[] = u"00000";

const NID kCompanyCurrencyColumns[] = {u"CO", u"CRCD", u"BKTX", u"ABIN"};
const NID kConversionColumns[] = {u"CO", u"CRYR"};
const NID kDecimalsColumns[] = {u"CRCD", u"CDEC"};

#pragma pack(push, 1)
typedef struct {
  JCHAR szCompany[6];       // CO
  JCHAR szCurrencyCode[4];  // CRCD
  JCHAR cBKTX;              // BKTX
  JCHAR cABIN;              // ABIN
} CompanyCurrencyRow;
VYR_MEMBER_IS(CompanyCurrencyRow, szCompany, F0010, CO);
VYR_MEMBER_IS(CompanyCurrencyRow, szCurrencyCode, F0010, CRCD);
VYR_MEMBER_IS(CompanyCurrencyRow, cBKTX, F0010, BKTX);
VYR_MEMBER_IS(CompanyCurrencyRow, cABIN, F0010, ABIN);

typedef struct {
  JCHAR szCompany[6];         // CO
  JCHAR cCurrencyConversion;  // CRYR
} ConversionRow;
VYR_MEMBER_IS(ConversionRow, szCompany, F0010, CO);
VYR_MEMBER_IS(ConversionRow, cCurrencyConversion, F0010, CRYR);

typedef struct {
  JCHAR szCurrencyCode[4];  // CRCD
  JCHAR cDecimals;          // CDEC
} DecimalsRow;
VYR_MEMBER_IS(DecimalsRow, szCurrencyCode, F0013, CRCD);
VYR_MEMBER_IS(DecimalsRow, cDecimals, F0013, CDEC);
#pragma pack(pop)

// The widest key of the readers: CO, five positions and the terminator.
const size_t kKeySize = 6;

// One error a step reports: its id, the member it is attached to, and the
// substitution text (null for none).
typedef struct {
  const JCHAR *lpszErrorId;
  ID idItem;
  const JCHAR *lpszText;
} StepError;

// What a reader reports when the behaviour handle, the open or the read fails.
typedef struct {
  StepError behaviour;
  StepError open;
  StepError noRow;
} ReaderErrors;

void Report(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const StepError *lpError, int nLine) {
  if (lpError->lpszText != NULL)
    BsfnErrorWithText(lpBhvrCom, lpVoid, lpError->idItem, lpError->lpszErrorId, lpError->lpszText, kSource, nLine);
  else
    vyrErrorSetEx(lpBhvrCom, lpVoid, lpError->idItem, lpError->lpszErrorId, NULL, kSource, nLine);
}

/*
 * Opens lpszTable on index 1 with the listed columns and fetches the row whose
 * one-field key is lpszKey (at most nKeySize - 1 characters of it) into lpRow.
 * TRUE when found; otherwise FALSE after reporting the failed step's error.
 * Everything opened is released on every path.
 */
BOOL ReadOneRow(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const JCHAR *lpszTable, const NID *lpColumns, ID nColumns,
                const JCHAR *lpszKey, size_t nKeySize, void *lpRow, const ReaderErrors *lpErrors) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  JCHAR szKey[kKeySize];
  memset(szKey, 0, sizeof szKey);
  // Members may arrive filled to their last position: take at most their width.
  vyrStrcpyFillAndTerminate(szKey, lpszKey, nKeySize, 0);
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    Report(lpBhvrCom, lpVoid, &lpErrors->behaviour, __LINE__);
    return FALSE;
  }
  if (VDB_OpenTable(hUser, lpszTable, kKeyIndex, lpColumns, nColumns, NULL, &hRequest) != VDB_SUCCESS) {
    Report(lpBhvrCom, lpVoid, &lpErrors->open, __LINE__);
    VDB_FreeBhvr(hUser);
    return FALSE;
  }
  const BOOL bFound = VDB_FetchKeyed(hRequest, kKeyIndex, szKey, 1, lpRow, 0) == VDB_SUCCESS;
  if (!bFound) Report(lpBhvrCom, lpVoid, &lpErrors->noRow, __LINE__);
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return bFound;
}

// Shared by the two conversion-switch readers, which differ in their errors only.
ID ReadConversionSwitch(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS, const ReaderErrors *lpErrors) {
  ConversionRow row;
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  if (!ReadOneRow(lpBhvrCom, lpVoid, kCompanyTable, kConversionColumns, 2, kDefaultsCompany, 6, &row, lpErrors))
    return ER_ERROR;
  ((LPDSD0000034B)lpVoidDS)->cCurrencyConversion = row.cCurrencyConversion;
  return ER_SUCCESS;
}

}  // namespace

FAMOFLAS_BSFN ID RetrieveCompanyCurrencyCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  static const ReaderErrors errors = {{u"078S", 0, NULL}, {u"078D", 0, kCompanyTable}, {u"0002", 1, NULL}};
  CompanyCurrencyRow row;
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000034A lpDS = (LPDSD0000034A)lpVoidDS;

  if (!ReadOneRow(lpBhvrCom, lpVoid, kCompanyTable, kCompanyCurrencyColumns, 4, lpDS->szCompany, 6, &row, &errors))
    return ER_ERROR;
  vyrStrcpyFillAndTerminate(lpDS->szCurrencyCode, row.szCurrencyCode, 4, 0);
  lpDS->cBKTX = row.cBKTX;
  lpDS->cABIN = row.cABIN;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(RetrieveCompanyCurrencyCode, &DSD0000034A_template, "B0000034")

FAMOFLAS_BSFN ID RetrieveCurrencyConvFlag(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  static const ReaderErrors errors = {{u"3143", 0, NULL}, {u"3143", 0, NULL}, {u"3143", 0, NULL}};
  return ReadConversionSwitch(lpBhvrCom, lpVoid, lpVoidDS, &errors);
}
FAMOFLAS_REGISTER(RetrieveCurrencyConvFlag, &DSD0000034B_template, "B0000034")

FAMOFLAS_BSFN ID RetrieveCurrencyConversion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  static const ReaderErrors errors = {{u"078S", 0, NULL}, {u"078D", 0, kCompanyTable}, {u"078I", 1, kCompanyTable}};
  return ReadConversionSwitch(lpBhvrCom, lpVoid, lpVoidDS, &errors);
}
FAMOFLAS_REGISTER(RetrieveCurrencyConversion, &DSD0000034B_template, "B0000034")

FAMOFLAS_BSFN ID RetrieveCurrencyDecimals(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  static const ReaderErrors errors = {{u"078S", 0, NULL}, {u"078D", 0, kCurrencyTable}, {u"0002", 1, NULL}};
  DecimalsRow row;
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000034C lpDS = (LPDSD0000034C)lpVoidDS;

  if (!ReadOneRow(lpBhvrCom, lpVoid, kCurrencyTable, kDecimalsColumns, 2, lpDS->szCurrencyCode, 4, &row, &errors))
    return ER_ERROR;
  lpDS->cCurrencyDecimals = row.cDecimals;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(RetrieveCurrencyDecimals, &DSD0000034C_template, "B0000034")
