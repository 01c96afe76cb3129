/*
 * B0000164 - CurrencyDecimalsGet: the currency decimals a number carries, as
 * one character. No table is read.
 *
 * The count is printed with "%d" and only the first character kept, so 10 or
 * more gives its first digit ("1" for 10) and a negative count "-". Callers
 * that need the whole count read nCurrencyDecimals of the number instead.
 * Errors: "4363" (item 0) for a null argument.
 */
#ifndef FAMOFLAS_FINANCE_B0000164_H
#define FAMOFLAS_FINANCE_B0000164_H

#include "frame/bsfn.h"

/*
 * Data structure of CurrencyDecimalsGet.
 *   1 mnAmount           in   a number with its currency information
 *   2 cCurrencyDecimals  out  first character of its currency decimals
 */
#define DSD0000164_MEMBERS(M, S) \
  M(S, MATH, mnAmount, 0)        \
  M(S, CHAR, cCurrencyDecimals, 0)
FAMOFLAS_DS(DSD0000164, DSD0000164_MEMBERS)

FAMOFLAS_BSFN ID CurrencyDecimalsGet(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_FINANCE_B0000164_H */
