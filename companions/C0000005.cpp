// GetUDC: a user-defined code of F0005 by product code, record type and code.
#include "C0000005.h"

#include <string.h>

static const char kSource[] = "C0000005";

namespace {

const JCHAR kTable[] = u"F0005";
const ID kCodeIndex = 1;
const NID kColumns[] = {u"DL01", u"DL02", u"SPHD"};

#pragma pack(push, 1)
typedef struct {  // index 1: SY, RT, KY
  JCHAR szProductCode[5];
  JCHAR szRecordType[3];
  JCHAR szUserDefinedCode[11];
} UdcKey;

typedef struct {  // the columns of kColumns
  JCHAR szDescription001[31];
  JCHAR szDescription002[31];
  JCHAR szSpecialHandlingCode[11];
} UdcRow;
#pragma pack(pop)

// Fetches the row of the key; FALSE with an error set when the table cannot be
// read, *lpbFound FALSE when it holds no such code.
BOOL FetchUdc(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const UdcKey *lpKey, UdcRow *lpRow, BOOL *lpbFound) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return FALSE;
  }
  if (VDB_OpenTable(hUser, kTable, kCodeIndex, kColumns, sizeof kColumns / sizeof kColumns[0], NULL, &hRequest) !=
      VDB_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", kTable, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return FALSE;
  }
  const ID idFetched = VDB_FetchKeyed(hRequest, kCodeIndex, lpKey, 3, lpRow, 0);
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  *lpbFound = idFetched == VDB_SUCCESS;
  // A fetch that failed is no answer about the code: not "not found".
  if (idFetched == VDB_FAILED) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", kTable, kSource, __LINE__);
    return FALSE;
  }
  return TRUE;
}

}  // namespace

FAMOFLAS_BSFN ID GetUDC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSGETUDC lpDS = (LPDSGETUDC)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  vyrStrcpyFillAndTerminate(lpDS->szDescription001, NULL, 31, 0);
  vyrStrcpyFillAndTerminate(lpDS->szDescription002, NULL, 31, 0);
  vyrStrcpyFillAndTerminate(lpDS->szSpecialHandlingCode, NULL, 11, 0);

  UdcKey key;
  memset(&key, 0, sizeof key);
  vyrStrcpyFillAndTerminate(key.szProductCode, lpDS->szProductCode, 5, 0);
  vyrStrcpyFillAndTerminate(key.szRecordType, lpDS->szRecordType, 3, 0);
  vyrStrcpyFillAndTerminate(key.szUserDefinedCode, lpDS->szUserDefinedCode, 11, 0);
  UdcRow row;
  BOOL bFound = FALSE;
  if (!FetchUdc(lpBhvrCom, lpVoid, &key, &row, &bFound)) return ER_ERROR;
  if (!bFound) {
    if (lpDS->cSuppressErrorMessage != u'1')
      vyrErrorSetEx(lpBhvrCom, lpVoid, 3, GETUDC_ERROR_NOT_FOUND, NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStripTrailingBlanks(vyrStrcpyFillAndTerminate(lpDS->szDescription001, row.szDescription001, 31, 0));
  vyrStripTrailingBlanks(vyrStrcpyFillAndTerminate(lpDS->szDescription002, row.szDescription002, 31, 0));
  vyrStripTrailingBlanks(vyrStrcpyFillAndTerminate(lpDS->szSpecialHandlingCode, row.szSpecialHandlingCode, 11, 0));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(GetUDC, &DSGETUDC_template, "C0000005")
