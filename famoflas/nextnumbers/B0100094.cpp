// GetAndValidateAddressBookNumber: address numbers for connected and
// disconnected clients, and validation of a number entered by hand.
#include "nextnumbers/B0100094.h"

#include <string.h>

#include "frame/companions.h"
#include "nextnumbers/nextnumbertables.h"

namespace {

const char kSource[] = "B0100094";
const JCHAR kAddressBook[] = u"F0101";
const JCHAR kDistributed[] = u"F90CA001";
const JCHAR kNextNumbers[] = u"F0002";
const JCHAR kAddressSystem[] = u"01";
const JCHAR kDistributedStatus = u'1';

/*
 * The helpers' error convention: raise the id (with the table as text when
 * given) unless the caller suppressed messages; always record it in the data
 * structure. Returns ER_ERROR for the caller to return.
 */
ID Fail(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSD0100094 lpDS, ID idItem, const JCHAR *lpszErrorId,
        const JCHAR *lpszTable, int nLine) {
  if (lpDS->cSuppressErrorMessage != u'1') {
    if (lpszTable != NULL)
      BsfnErrorWithText(lpBhvrCom, lpVoid, idItem, lpszErrorId, lpszTable, kSource, nLine);
    else
      vyrErrorSetEx(lpBhvrCom, lpVoid, idItem, lpszErrorId, NULL, kSource, nLine);
  }
  lpDS->cErrorCode = u'1';
  vyrStrcpyFillAndTerminate(lpDS->szErrorMessageID, lpszErrorId, 11, 0);
  return ER_ERROR;
}

/*
 * *lpbFree := TRUE when the table (index 1, key: the address number) has no
 * row of mnAddressNumber. A number outside AN8 is refused before the table is
 * asked: a key the table cannot hold would read as free.
 */
ID CheckNumberAbsent(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, LPDSD0100094 lpDS, const JCHAR *lpszTable,
                     BOOL *lpbFree) {
  HREQUEST hRequest = NULL;
  if (lpDS == NULL || lpbFree == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  *lpbFree = FALSE;
  if (!NextNumberFitsDigits(&lpDS->mnAddressNumber, ADDRESS_NUMBER_DIGITS))
    return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"0002", NULL, __LINE__);
  // Only the number is read: the same one-column record serves both tables.
  if (VDB_OpenTable(hUser, lpszTable, 1, kAddressNumberColumns, NEXTNUMBER_COLUMN_COUNT(kAddressNumberColumns), NULL,
                    &hRequest) != VDB_SUCCESS)
    return Fail(lpBhvrCom, lpVoid, lpDS, 0, u"078D", lpszTable, __LINE__);
  KEY1_F0101 key, row;
  MathCopy(&key.mnAddressNumber, &lpDS->mnAddressNumber);
  const ID idFound = VDB_FetchKeyed(hRequest, 1, &key, 1, &row, 0);
  VDB_CloseTable(hRequest);
  // A fetch that failed cannot tell a taken number from a free one: the table could not be used.
  if (idFound != VDB_SUCCESS && idFound != VDB_NOT_FOUND)
    return Fail(lpBhvrCom, lpVoid, lpDS, 0, u"078D", lpszTable, __LINE__);
  *lpbFree = idFound == VDB_NOT_FOUND;
  return ER_SUCCESS;
}

}  // namespace

FAMOFLAS_INTERNAL ID IB0100094_CheckAddressBookNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                      LPDSD0100094 lpDS, BOOL *lpbFree) {
  return CheckNumberAbsent(lpBhvrCom, lpVoid, hUser, lpDS, kAddressBook, lpbFree);
}

FAMOFLAS_INTERNAL ID IB0100094_CheckDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                          LPDSD0100094 lpDS, BOOL *lpbFree) {
  return CheckNumberAbsent(lpBhvrCom, lpVoid, hUser, lpDS, kDistributed, lpbFree);
}

FAMOFLAS_INTERNAL ID IB0100094_CheckLowestDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                                LPDSD0100094 lpDS, BOOL *lpbCheckFurther) {
  HREQUEST hRequest = NULL;
  KEY2_F90CA001 key;
  ROW_F90CA001 row;
  memset(&key, 0, sizeof key);
  memset(&row, 0, sizeof row);
  if (lpDS == NULL || lpbCheckFurther == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  *lpbCheckFurther = FALSE;
  if (VDB_OpenTable(hUser, kDistributed, 2, NULL, 0, NULL, &hRequest) != VDB_SUCCESS)
    return Fail(lpBhvrCom, lpVoid, lpDS, 0, u"078D", kDistributed, __LINE__);
  key.cStatus = kDistributedStatus;
  const BOOL bFound = VDB_FetchKeyed(hRequest, 0, &key, 1, &row, 0) == VDB_SUCCESS;
  VDB_CloseTable(hRequest);
  if (!bFound) return ER_SUCCESS;
  const int nComparison = MathCompare(&lpDS->mnAddressNumber, &row.mnAddressNumber);
  if (nComparison == 0) return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"CRM0071", NULL, __LINE__);
  *lpbCheckFurther = nComparison > 0;
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID IB0100094_CheckCurrentNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                      LPDSD0100094 lpDS) {
  HREQUEST hRequest = NULL;
  KEY1_F0002 key;
  ROW_F0002 row;
  memset(&key, 0, sizeof key);
  memset(&row, 0, sizeof row);
  if (lpDS == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (VDB_OpenTable(hUser, kNextNumbers, 1, NULL, 0, NULL, &hRequest) != VDB_SUCCESS)
    return Fail(lpBhvrCom, lpVoid, lpDS, 0, u"078D", kNextNumbers, __LINE__);
  vyrStrcpyFillAndTerminate(key.szSystemCode, kAddressSystem, 5, 0);
  const BOOL bFound = VDB_FetchKeyed(hRequest, 1, &key, 1, &row, 0) == VDB_SUCCESS;
  VDB_CloseTable(hRequest);
  if (!bFound) return Fail(lpBhvrCom, lpVoid, lpDS, 0, u"078I", kNextNumbers, __LINE__);
  // Numbers with a check digit carry one digit more than the counter.
  MATH_NUMERIC mnLimit;
  MathCopy(&mnLimit, &row.mnNextNumber[0]);
  if (row.cCheckDigit[0] == u'Y') {
    MATH_NUMERIC mnTen;
    IntToMathNumeric(10, &mnTen);
    MathMultiply(&mnLimit, &mnLimit, &mnTen);
  }
  if (MathCompare(&lpDS->mnAddressNumber, &mnLimit) < 0)
    return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"CRM0071", NULL, __LINE__);
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID IB0100094_GetNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSD0100094 lpDS) {
  DSNEXTNUMBER request;
  if (lpDS == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  for (int nCall = 0; nCall < 2; ++nCall) {
    memset(&request, 0, sizeof request);
    vyrStrcpyFillAndTerminate(request.szSystemCode, kAddressSystem, 5, 0);
    ParseNumericString(&request.mnNextNumberingIndexNo, u"1");
    ZeroMathNumeric(&request.mnCentury);
    ZeroMathNumeric(&request.mnFiscalYear);
    ZeroMathNumeric(&request.mnNextNumber);
    if (vyrCallObject(u"X0010GetNextNumber", NULL, lpBhvrCom, lpVoid, &request, NULL, 0, NULL, 0, 0) != ER_SUCCESS)
      return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"4456", NULL, __LINE__);
    if (MathZeroTest(&request.mnNextNumber) != 0) break;
  }
  MathCopy(&lpDS->mnAddressNumber, &request.mnNextNumber);
  // Zero is no address number; checked as free it would be handed out.
  if (MathZeroTest(&lpDS->mnAddressNumber) == 0)
    return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"4456", NULL, __LINE__);
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID IB0100094_CRM_MobileSales_Turned_ON(LPBHVRCOM lpBhvrCom, LPVOID lpVoid) {
  DSGETENVVALUE request;
  memset(&request, 0, sizeof request);
  vyrStrcpyFillAndTerminate(request.szKey, u"CRMMSL", 11, 0);
  // An empty value counts as on: only an explicit "0" turns the switch off.
  return vyrCallObject(u"GetEnvironmentValue", NULL, lpBhvrCom, lpVoid, &request, NULL, 0, NULL, 0, 0) == ER_SUCCESS &&
                 request.cValue != u'0'
             ? 1
             : 0;
}

FAMOFLAS_INTERNAL ID IB0100094_ProcessConnectedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                          LPDSD0100094 lpDS) {
  BOOL bFree = FALSE;
  while (!bFree) {
    if (IB0100094_GetNextNumber(lpBhvrCom, lpVoid, lpDS) != ER_SUCCESS ||
        IB0100094_CheckAddressBookNumber(lpBhvrCom, lpVoid, hUser, lpDS, &bFree) != ER_SUCCESS)
      return ER_ERROR;
  }
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID IB0100094_ProcessDisconnectedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                             LPDSD0100094 lpDS) {
  BOOL bFree = FALSE;
  while (!bFree) {
    if (IB0100094_GetNextNumber(lpBhvrCom, lpVoid, lpDS) != ER_SUCCESS ||
        IB0100094_CheckDistributedNextNumber(lpBhvrCom, lpVoid, hUser, lpDS, &bFree) != ER_SUCCESS)
      return ER_ERROR;
    if (bFree && IB0100094_CheckAddressBookNumber(lpBhvrCom, lpVoid, hUser, lpDS, &bFree) != ER_SUCCESS)
      return ER_ERROR;
  }
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID IB0100094_ProcessManuallyEnteredAddressNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                                   LPDSD0100094 lpDS) {
  BOOL bFree = FALSE;
  if (IB0100094_CheckAddressBookNumber(lpBhvrCom, lpVoid, hUser, lpDS, &bFree) != ER_SUCCESS) return ER_ERROR;
  if (!bFree) return Fail(lpBhvrCom, lpVoid, lpDS, B0100094_ITEM_ADDRESS_NUMBER, u"1212", NULL, __LINE__);
  if (!IB0100094_CRM_MobileSales_Turned_ON(lpBhvrCom, lpVoid)) return ER_SUCCESS;
  BOOL bCheckFurther = FALSE;
  if (IB0100094_CheckLowestDistributedNextNumber(lpBhvrCom, lpVoid, hUser, lpDS, &bCheckFurther) != ER_SUCCESS)
    return ER_ERROR;
  return bCheckFurther ? IB0100094_CheckCurrentNextNumber(lpBhvrCom, lpVoid, hUser, lpDS) : ER_SUCCESS;
}

FAMOFLAS_BSFN ID GetAndValidateAddressBookNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0100094 lpDS = (LPDSD0100094)lpVoidDS;
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  lpDS->cErrorCode = u'0';
  vyrStrcpyFillAndTerminate(lpDS->szErrorMessageID, u"    ", 11, 0);

  ID idResult = ER_SUCCESS;
  if (vyrGetClientType() == 2) {
    // A number entered by hand on a disconnected client is taken as it is.
    if (lpDS->cAssignNextNumber == u'1')
      idResult = IB0100094_ProcessDisconnectedNextNumber(lpBhvrCom, lpVoid, hUser, lpDS);
  } else if (MathZeroTest(&lpDS->mnAddressNumber) != 0) {
    idResult = IB0100094_ProcessManuallyEnteredAddressNumber(lpBhvrCom, lpVoid, hUser, lpDS);
  } else if (lpDS->cAssignNextNumber == u'1') {
    idResult = IB0100094_ProcessConnectedNextNumber(lpBhvrCom, lpVoid, hUser, lpDS);
  }
  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(GetAndValidateAddressBookNumber, &DSD0100094_template, "B0100094")
