// GetNextJELineNumber: the next free line number of a journal entry.
#include "nextnumbers/B0000009.h"

#include <string.h>

#include "nextnumbers/nextnumbertables.h"

namespace {

const char kSource[] = "B0000009";
const JCHAR kTable[] = u"F0911";
// A line is DCT, DOC, KCO, DGJ, JELN; a document on a GL date the first four.
const short kLineKeys = 5;
const short kEntryKeys = 4;
const short kSortEntries = 5;

// VDB_SUCCESS when F0911 holds a row for the key's first nKeys fields, the
// first in the request's order then in lpRow; VDB_NOT_FOUND when it holds
// none; anything else when the table could not be read. The one place the
// function decides that a line or a document has no row.
ID FetchLine(HREQUEST hRequest, const KEY1_F0911 *lpKey, short nKeys, KEY1_F0911 *lpRow) {
  const ID idSelected = VDB_SelectKeyed(hRequest, 1, lpKey, nKeys);
  return idSelected == VDB_SUCCESS ? VDB_Fetch(hRequest, lpRow, 0) : idSelected;
}

void SetSortEntry(SORTSTRUCT *lpSort, const JCHAR *lpszColumn, int nDirection) {
  vyrStrcpyFillAndTerminate(lpSort->szColumn, lpszColumn, 11, 0);
  lpSort->nDirection = nDirection;
}

// The answer for a zero line number: the document's highest line plus one, or 1.
// Returns NULL, or the id of the error that ended it ("070Q", "078K"; "" when F0911 could not be read).
const JCHAR *NextLineAfterHighest(HREQUEST hRequest, const KEY1_F0911 *lpKey, MATH_NUMERIC *lpLine) {
  VDB_ClearSequencing(hRequest);
  SORTSTRUCT *lpSort = (SORTSTRUCT *)vyrCallocInternal(kSortEntries, sizeof(SORTSTRUCT), kSource, __LINE__);
  if (lpSort == NULL) return u"070Q";
  SetSortEntry(&lpSort[0], u"DCT", VDB_ASCENDING);
  SetSortEntry(&lpSort[1], u"DOC", VDB_ASCENDING);
  SetSortEntry(&lpSort[2], u"KCO", VDB_ASCENDING);
  SetSortEntry(&lpSort[3], u"DGJ", VDB_DESCENDING);
  SetSortEntry(&lpSort[4], u"JELN", VDB_DESCENDING);
  const JCHAR *lpszError = NULL;
  KEY1_F0911 highest;
  memset(&highest, 0, sizeof highest);
  if (VDB_SetSequencing(hRequest, lpSort, kSortEntries) != VDB_SUCCESS) {
    lpszError = u"078K";
  } else {
    const ID idFound = FetchLine(hRequest, lpKey, kEntryKeys, &highest);
    MATH_NUMERIC mnOne;
    IntToMathNumeric(1, &mnOne);
    if (idFound == VDB_SUCCESS)
      MathAdd(lpLine, &highest.mnLine, &mnOne);
    else if (idFound == VDB_NOT_FOUND)
      MathCopy(lpLine, &mnOne);
    else
      lpszError = u"";  // the table said why
  }
  vyrFreeInternal(lpSort, kSource, __LINE__);
  return lpszError;
}

}  // namespace

FAMOFLAS_BSFN ID GetNextJELineNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  KEY1_F0911 key, row;
  memset(&key, 0, sizeof key);
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000009 lpDS = (LPDSD0000009)lpVoidDS;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (VDB_OpenTable(hUser, kTable, 1, kF0911LineColumns, NEXTNUMBER_COLUMN_COUNT(kF0911LineColumns), NULL, &hRequest) !=
      VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  ID idResult = ER_SUCCESS;
  MATH_NUMERIC mnLine;
  ZeroMathNumeric(&mnLine);
  if (!NextNumberFitsDigits(&lpDS->mnDocumentNumber, DOCUMENT_NUMBER_DIGITS)) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, B0000009_ITEM_DOCUMENT, u"4363", NULL, kSource, __LINE__);
    idResult = ER_ERROR;
  } else if (!NextNumberFitsDigits(&lpDS->mnJELineNumber, JE_LINE_DIGITS)) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, B0000009_ITEM_LINE, u"4363", NULL, kSource, __LINE__);
    idResult = ER_ERROR;
  } else {
    vyrStrcpyFillAndTerminate(key.szDocumentType, lpDS->szDocumentType, 3, 0);
    MathCopy(&key.mnDocument, &lpDS->mnDocumentNumber);
    vyrStrcpyFillAndTerminate(key.szCompany, lpDS->szCompany, 6, 0);
    key.jdGLDate = lpDS->jdGLDate;
    MathCopy(&key.mnLine, &lpDS->mnJELineNumber);
    if (MathZeroTest(&key.mnLine) != 0) {
      // Upward from the given line; lines below it are never looked at. A
      // read that failed proves no line free: the table has said why.
      ID idFound;
      while ((idFound = FetchLine(hRequest, &key, kLineKeys, &row)) == VDB_SUCCESS) IncrementMathNumeric(&key.mnLine);
      MathCopy(&mnLine, &key.mnLine);
      if (idFound != VDB_NOT_FOUND) idResult = ER_ERROR;
    } else if (const JCHAR *lpszError = NextLineAfterHighest(hRequest, &key, &mnLine)) {
      if (lpszError[0] != 0) vyrErrorSetEx(lpBhvrCom, lpVoid, 0, lpszError, NULL, kSource, __LINE__);
      idResult = ER_ERROR;
    }
  }
  if (idResult == ER_SUCCESS) MathCopy(&lpDS->mnJELineNumber, &mnLine);
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(GetNextJELineNumber, &DSD0000009_template, "B0000009")
