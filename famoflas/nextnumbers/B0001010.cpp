// GetDistributedNextNumber: unique key identifiers in blocks, or one next
// number, each in one locked step.
#include "nextnumbers/B0001010.h"

#include <string.h>

#include "nextnumbers/B7400210.h"

namespace {

const char kSource[] = "B0001010";
const JCHAR kUniqueKeyTable[] = u"F00022";
const JCHAR kSystemTable[] = u"F0002";
const JCHAR kCompanyTable[] = u"F00021";

// The rows below are fetched for update: the lock lasts until the update
// through the same request (or its close), which is what makes a take atomic.
// Each function is the one place its table's row is declared absent.
// VDB_SUCCESS, VDB_NOT_FOUND when there is no row, anything else when the fetch failed.
ID FetchUniqueKeyRowForUpdate(HREQUEST hRequest, const KEY1_F00022 *lpKey, ROW_F00022 *lpRow) {
  return VDB_FetchKeyedForUpdate(hRequest, 1, lpKey, 1, lpRow, 0);
}

BOOL FetchSystemRowForUpdate(HREQUEST hRequest, const KEY1_F0002 *lpKey, ROW_F0002 *lpRow) {
  return VDB_FetchKeyedForUpdate(hRequest, 1, lpKey, 1, lpRow, 0) == VDB_SUCCESS;
}

BOOL FetchCompanyRowForUpdate(HREQUEST hRequest, const KEY1_F00021 *lpKey, ROW_F00021 *lpRow) {
  return VDB_FetchKeyedForUpdate(hRequest, 1, lpKey, 4, lpRow, 0) == VDB_SUCCESS;
}

/*
 * Writes the counter column of the locked row alone, through the request that
 * holds the lock (which the write ends). The key columns are left as they
 * are: rewriting them would rewrite their index entries too (SQLite does),
 * about doubling what each number costs.
 */
BOOL WriteCounter(HREQUEST hRequest, const void *lpKey, short nKeys, const JCHAR *lpszColumn,
                  const MATH_NUMERIC *lpValue) {
  NID column;
  vyrStrcpyFillAndTerminate(column, lpszColumn, 11, 0);
  return VDB_UpdateTableColsExtended(hRequest, 1, lpKey, nKeys, &column, 1, lpValue) == 0;
}

// The first number a counter hands out (1 for a counter at 0); FALSE when the
// counter holds no whole number of at least 0 within nDigits digits.
BOOL FirstFromCounter(const MATH_NUMERIC *lpCounter, int nDigits, MATH_NUMERIC *lpFirst) {
  if (!NextNumberFitsDigits(lpCounter, nDigits)) return FALSE;
  if (MathZeroTest(lpCounter) == 0)
    IntToMathNumeric(1, lpFirst);
  else
    MathCopy(lpFirst, lpCounter);
  return TRUE;
}

// lpCounter := lpFirst + lpCount; FALSE when the sum cannot be formed.
BOOL Advance(MATH_NUMERIC *lpCounter, const MATH_NUMERIC *lpFirst, const MATH_NUMERIC *lpCount) {
  return MathAdd(lpCounter, lpFirst, lpCount) == ER_SUCCESS;
}

BOOL AdvanceByOne(MATH_NUMERIC *lpCounter, const MATH_NUMERIC *lpFirst) {
  MATH_NUMERIC mnOne;
  IntToMathNumeric(1, &mnOne);
  return Advance(lpCounter, lpFirst, &mnOne);
}

// The block from an existing row, locked by the fetch: TRUE when written back.
BOOL TakeBlockFromRow(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HREQUEST hRequest, const KEY1_F00022 *lpKey,
                      const ROW_F00022 *lpRow, LPDSD0001010 lpDS) {
  MATH_NUMERIC mnFirst, mnNext;
  if (!FirstFromCounter(&lpRow->mnUniqueKeyId, UNIQUE_KEY_DIGITS, &mnFirst)) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4456", NULL, kSource, __LINE__);
    return FALSE;
  }
  if (!Advance(&mnNext, &mnFirst, &lpDS->mnNumberOfKeys) || !WriteCounter(hRequest, lpKey, 1, u"UKID", &mnNext)) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078H", kUniqueKeyTable, kSource, __LINE__);
    return FALSE;
  }
  MathCopy(&lpDS->mnNextNumber, &mnFirst);
  return TRUE;
}

// Opens the table on index 1 (all columns); reports "078D" with its name on failure.
BOOL OpenNextNumberTable(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, const JCHAR *lpszTable,
                         HREQUEST *lphRequest) {
  if (VDB_OpenTable(hUser, lpszTable, 1, NULL, 0, NULL, lphRequest) == VDB_SUCCESS) return TRUE;
  BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", lpszTable, kSource, __LINE__);
  return FALSE;
}

}  // namespace

FAMOFLAS_INTERNAL ID I0001010_TakeUniqueKeys(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, LPDSD0001010 lpDS) {
  HREQUEST hRequest = NULL;
  KEY1_F00022 key;
  ROW_F00022 row;
  memset(&key, 0, sizeof key);
  memset(&row, 0, sizeof row);
  if (lpBhvrCom == NULL || lpDS == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  ZeroMathNumeric(&lpDS->mnNextNumber);
  // Zero keys would hand the same identifier to the next caller too.
  if (!NextNumberFitsDigits(&lpDS->mnNumberOfKeys, UNIQUE_KEY_DIGITS) || MathZeroTest(&lpDS->mnNumberOfKeys) == 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, B0001010_ITEM_NUMBER_OF_KEYS, u"4456", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (VDB_OpenTable(hUser, kUniqueKeyTable, 1, kF00022Columns, NEXTNUMBER_COLUMN_COUNT(kF00022Columns), NULL,
                    &hRequest) != VDB_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", kUniqueKeyTable, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStrcpyFillAndTerminate(key.szObjectName, lpDS->szObjectName, 11, 0);

  BOOL bTaken = FALSE;
  const ID idFound = FetchUniqueKeyRowForUpdate(hRequest, &key, &row);
  if (idFound == VDB_SUCCESS) {
    bTaken = TakeBlockFromRow(lpBhvrCom, lpVoid, hRequest, &key, &row, lpDS);
  } else if (idFound == VDB_NOT_FOUND) {
    // The name's first block; the lock taken by the fetch lasts until the insert.
    vyrStrcpyFillAndTerminate(row.szObjectName, key.szObjectName, 11, 0);
    IntToMathNumeric(1, &lpDS->mnNextNumber);
    bTaken = Advance(&row.mnUniqueKeyId, &lpDS->mnNextNumber, &lpDS->mnNumberOfKeys) &&
             VDB_InsertTable(hRequest, &row) == VDB_SUCCESS;
    if (!bTaken) {
      // Refused: another caller's first row came in between; its row,
      // fetched for update, gives the next block.
      ZeroMathNumeric(&lpDS->mnNextNumber);
      if (FetchUniqueKeyRowForUpdate(hRequest, &key, &row) == VDB_SUCCESS)
        bTaken = TakeBlockFromRow(lpBhvrCom, lpVoid, hRequest, &key, &row, lpDS);
      else
        BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078F", kUniqueKeyTable, kSource, __LINE__);
    }
  } else {
    // A fetch that failed says nothing about the row: inserting now could start the name over.
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078H", kUniqueKeyTable, kSource, __LINE__);
  }
  VDB_CloseTable(hRequest);
  if (bTaken) return ER_SUCCESS;
  ZeroMathNumeric(&lpDS->mnNextNumber);
  return ER_ERROR;
}

FAMOFLAS_INTERNAL ID I0001010_TakeNextNumberByType(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HREQUEST hRequest,
                                                   DSNEXTNUMBER *lpDS, ROW_F0002 *lpRow) {
  KEY1_F0002 key;
  memset(&key, 0, sizeof key);
  if (lpBhvrCom == NULL || hRequest == NULL || lpDS == NULL || lpRow == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  ZeroMathNumeric(&lpDS->mnNextNumber);
  const int nIndex = I7400210_NextNumberIndex(lpDS);
  if (nIndex == 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, DSNEXTNUMBER_ITEM_INDEX, u"4456", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStrcpyFillAndTerminate(key.szSystemCode, lpDS->szSystemCode, 5, 0);
  if (!FetchSystemRowForUpdate(hRequest, &key, lpRow)) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, DSNEXTNUMBER_ITEM_SYSTEM_CODE, u"078I", kSystemTable, kSource, __LINE__);
    return ER_ERROR;
  }
  MATH_NUMERIC mnFirst;
  if (!FirstFromCounter(&lpRow->mnNextNumber[nIndex - 1], NEXTNUMBER_DIGITS, &mnFirst)) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4456", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  MATH_NUMERIC mnNext;
  JCHAR szColumn[11];
  vyrSprintf(szColumn, u"N0%02d", nIndex);  // N001 .. N010
  if (!AdvanceByOne(&mnNext, &mnFirst) || !WriteCounter(hRequest, &key, 1, szColumn, &mnNext)) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078H", kSystemTable, kSource, __LINE__);
    return ER_ERROR;
  }
  MathCopy(&lpDS->mnNextNumber, &mnFirst);
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID I0001010_TakeNextNumberByCompany(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HREQUEST hRequestF0002,
                                                      HREQUEST hRequestF00021, DSNEXTNUMBER *lpDS,
                                                      ROW_F0002 *lpF0002Row, ROW_F00021 *lpF00021Row) {
  KEY1_F00021 key;
  memset(&key, 0, sizeof key);
  if (lpBhvrCom == NULL || hRequestF00021 == NULL || lpDS == NULL || lpF0002Row == NULL || lpF00021Row == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  ZeroMathNumeric(&lpDS->mnNextNumber);
  ID idItem = 0;
  BOOL bTaken = FALSE;
  MATH_NUMERIC mnFirst;
  switch (I7400210_FindCompanyNextNumber(hRequestF00021, lpDS, I7400210_NextNumberMethod(lpBhvrCom, lpDS), &key,
                                         lpF00021Row)) {
    case I7400210_ROW_FOUND: {
      // Found without a lock; taken under one. A row gone meanwhile takes nothing.
      if (!FetchCompanyRowForUpdate(hRequestF00021, &key, lpF00021Row) || !I7400210_ImbedDigitsValid(lpF00021Row) ||
          !FirstFromCounter(&lpF00021Row->mnNextNumber, NEXTNUMBER_DIGITS, &mnFirst))
        break;
      MATH_NUMERIC mnNext;
      if (!AdvanceByOne(&mnNext, &mnFirst) || !WriteCounter(hRequestF00021, &key, 4, u"N001", &mnNext)) {
        BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078H", kCompanyTable, kSource, __LINE__);
        break;
      }
      MathCopy(&lpDS->mnNextNumber, &mnFirst);
      bTaken = TRUE;
      break;
    }
    case I7400210_ROW_ABSENT:
      bTaken = I0001010_TakeNextNumberByType(lpBhvrCom, lpVoid, hRequestF0002, lpDS, lpF0002Row) == ER_SUCCESS;
      if (bTaken) I7400210_FallBackToF0002(&key, lpF0002Row, I7400210_NextNumberIndex(lpDS), lpF00021Row);
      break;
    default:
      idItem = DSNEXTNUMBER_ITEM_FISCAL_YEAR;
      break;
  }
  if (bTaken) return ER_SUCCESS;
  vyrErrorSetEx(lpBhvrCom, lpVoid, idItem, u"4456", NULL, kSource, __LINE__);
  return ER_ERROR;
}

FAMOFLAS_INTERNAL ID I0001010_TakeNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, LPDSD0001010 lpDS) {
  HREQUEST hRequestF0002 = NULL, hRequestF00021 = NULL;
  DSNEXTNUMBER request;
  ROW_F0002 f0002Row;
  ROW_F00021 f00021Row;
  memset(&request, 0, sizeof request);
  memset(&f0002Row, 0, sizeof f0002Row);
  memset(&f00021Row, 0, sizeof f00021Row);
  if (lpBhvrCom == NULL || lpDS == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  vyrStrcpyFillAndTerminate(request.szSystemCode, lpDS->szSystemCode, 5, 0);
  MathCopy(&request.mnNextNumberingIndexNo, &lpDS->mnNextNumberingIndexNo);
  vyrStrcpyFillAndTerminate(request.szCompany, lpDS->szCompany, 6, 0);
  vyrStrcpyFillAndTerminate(request.szDocumentType, lpDS->szDocumentType, 3, 0);
  MathCopy(&request.mnCentury, &lpDS->mnCentury);
  MathCopy(&request.mnFiscalYear, &lpDS->mnFiscalYear);
  ZeroMathNumeric(&request.mnNextNumber);

  const JCHAR cMethod = I7400210_NextNumberMethod(lpBhvrCom, &request);
  ID idResult = ER_ERROR;
  if (cMethod == u'0') {
    if (OpenNextNumberTable(lpBhvrCom, lpVoid, hUser, kSystemTable, &hRequestF0002))
      idResult = I0001010_TakeNextNumberByType(lpBhvrCom, lpVoid, hRequestF0002, &request, &f0002Row);
  } else if (cMethod == u'1' || cMethod == u'2') {
    if (OpenNextNumberTable(lpBhvrCom, lpVoid, hUser, kSystemTable, &hRequestF0002) &&
        OpenNextNumberTable(lpBhvrCom, lpVoid, hUser, kCompanyTable, &hRequestF00021))
      idResult = I0001010_TakeNextNumberByCompany(lpBhvrCom, lpVoid, hRequestF0002, hRequestF00021, &request, &f0002Row,
                                                  &f00021Row);
  } else {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4456", NULL, kSource, __LINE__);
  }
  if (hRequestF00021 != NULL) VDB_CloseTable(hRequestF00021);
  if (hRequestF0002 != NULL) VDB_CloseTable(hRequestF0002);
  // Cannot fail once taken: an F00021 row whose year cannot be imbedded was not taken.
  if (idResult == ER_SUCCESS) I7400210_ApplyCheckAndImbedDigits(&request, cMethod, &f0002Row, &f00021Row);
  MathCopy(&lpDS->mnNextNumber, &request.mnNextNumber);
  return idResult;
}

FAMOFLAS_BSFN ID GetDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0001010 lpDS = (LPDSD0001010)lpVoidDS;
  ZeroMathNumeric(&lpDS->mnNextNumber);
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (!vyrIsBlankOrNull(lpDS->szObjectName))
    I0001010_TakeUniqueKeys(lpBhvrCom, lpVoid, hUser, lpDS);
  else
    I0001010_TakeNextNumber(lpBhvrCom, lpVoid, hUser, lpDS);
  VDB_FreeBhvr(hUser);
  return MathZeroTest(&lpDS->mnNextNumber) != 0 ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(GetDistributedNextNumber, &DSD0001010_template, "B0001010")
