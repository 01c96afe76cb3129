// X0010GetNextNumber: the next number by system code and index.
#include "X0010.h"

#include <string.h>

#include "nextnumbers/B0001010.h"
#include "nextnumbers/B7400210.h"

namespace {

const char kSource[] = "X0010";
const JCHAR kTable[] = u"F0002";

}  // namespace

FAMOFLAS_BSFN ID X0010GetNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  ROW_F0002 row;
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSNEXTNUMBER lpDS = (LPDSNEXTNUMBER)lpVoidDS;
  ZeroMathNumeric(&lpDS->mnNextNumber);
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (VDB_OpenTable(hUser, kTable, 1, NULL, 0, NULL, &hRequest) != VDB_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", kTable, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }
  // The locked read and write are the library's, shared with GetDistributedNextNumber.
  const ID idResult = I0001010_TakeNextNumberByType(lpBhvrCom, lpVoid, hRequest, lpDS, &row);
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  if (idResult != ER_SUCCESS) return ER_ERROR;
  I7400210_ApplyCheckAndImbedDigits(lpDS, u'0', &row, NULL);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(X0010GetNextNumber, &DSNEXTNUMBER_template, "X0010")
