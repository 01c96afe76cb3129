// CurrencyDecimalsGet: the currency decimals of a number as one character.
#include "finance/B0000164.h"

#include <string.h>

namespace {
const char kSource[] = "B0000164";
}  // namespace

FAMOFLAS_BSFN ID CurrencyDecimalsGet(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  // Room for any short in decimal, sign included.
  JCHAR szDecimals[8];
  memset(szDecimals, 0, sizeof szDecimals);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000164 lpDS = (LPDSD0000164)lpVoidDS;

  vyrSnprintf(szDecimals, sizeof szDecimals / sizeof szDecimals[0], u"%d", (int)vyrMathGetDecimals(&lpDS->mnAmount));
  lpDS->cCurrencyDecimals = szDecimals[0];
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(CurrencyDecimalsGet, &DSD0000164_template, "B0000164")
