// PpatGetUserIdAddressNumber: the signed-on user's address number.
#include "C0100001.h"

#include <string.h>

namespace {

const char kSource[] = "C0100001";

}  // namespace

FAMOFLAS_BSFN ID PpatGetUserIdAddressNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSPPATUSERADDRESS lpDS = (LPDSPPATUSERADDRESS)lpVoidDS;
  ZeroMathNumeric(&lpDS->mnAddressNumber);
  JCHAR szSignedOn[11], szAsked[11], szNumber[32];
  vyrStripBlanks(vyrStrcpyFillAndTerminate(szAsked, lpDS->szUserId, 11, 0));
  if (vyrGetUserInfo(lpBhvrCom, u"USER", szSignedOn, 11) != ER_SUCCESS ||
      (szAsked[0] != 0 && vyrStrcmp(szAsked, szSignedOn) != 0)) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 1, PPAT_ERROR_NO_ADDRESS_NUMBER, szAsked, kSource, __LINE__);
    return ER_ERROR;
  }
  MATH_NUMERIC mnNumber;
  ZeroMathNumeric(&mnNumber);
  // The settings hold a whole number (0 when the user has none).
  if (vyrGetUserInfo(lpBhvrCom, u"AN8", szNumber, sizeof szNumber / sizeof(JCHAR)) != ER_SUCCESS ||
      ParseNumericString(&mnNumber, szNumber) != ER_SUCCESS || MathZeroTest(&mnNumber) == 0) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 2, PPAT_ERROR_NO_ADDRESS_NUMBER, szSignedOn, kSource, __LINE__);
    return ER_ERROR;
  }
  MathCopy(&lpDS->mnAddressNumber, &mnNumber);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(PpatGetUserIdAddressNumber, &DSPPATUSERADDRESS_template, "C0100001")
