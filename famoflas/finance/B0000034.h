/*
 * B0000034 - readers of the company constants (F0010) and currency codes
 * (F0013): a company's currency, the installation's currency-conversion
 * switch, and a currency's number of decimals. Each opens its table on
 * index 1 with the columns it needs, makes one keyed read, copies the answer
 * and closes again. On every failure the outputs are left as they were.
 *
 * Errors (item 0 unless given; "078D" and "078I" carry the table name):
 *                                 null arg  behaviour  open    no row
 *   RetrieveCompanyCurrencyCode   "4363"    "078S"     "078D"  "0002" on item 1
 *   RetrieveCurrencyConvFlag      "4363"    "3143"     "3143"  "3143"
 *   RetrieveCurrencyConversion    "4363"    "078S"     "078D"  "078I" on item 1
 *   RetrieveCurrencyDecimals      "4363"    "078S"     "078D"  "0002" on item 1
 */
#ifndef FAMOFLAS_FINANCE_B0000034_H
#define FAMOFLAS_FINANCE_B0000034_H

#include "frame/bsfn.h"

/*
 * Data structure of RetrieveCompanyCurrencyCode.
 *   1 szCompany       in   company (CO); "00000" holds the installation defaults
 *   2 szCurrencyCode  out  the company's currency (CRCD)
 *   3 cBKTX           out  column BKTX of the company
 *   4 cABIN           out  column ABIN of the company
 */
#define DSD0000034A_MEMBERS(M, S) \
  M(S, STRING, szCompany, 5)      \
  M(S, STRING, szCurrencyCode, 3) \
  M(S, CHAR, cBKTX, 0)            \
  M(S, CHAR, cABIN, 0)
FAMOFLAS_DS(DSD0000034A, DSD0000034A_MEMBERS)

/*
 * Data structure of RetrieveCurrencyConvFlag and RetrieveCurrencyConversion.
 *   1 cCurrencyConversion  out  CRYR of company "00000": the installation's
 *                               currency-conversion switch
 */
#define DSD0000034B_MEMBERS(M, S) M(S, CHAR, cCurrencyConversion, 0)
FAMOFLAS_DS(DSD0000034B, DSD0000034B_MEMBERS)

/*
 * Data structure of RetrieveCurrencyDecimals.
 *   1 szCurrencyCode     in   currency (CRCD)
 *   2 cCurrencyDecimals  out  its number of decimals (CDEC), one character
 */
#define DSD0000034C_MEMBERS(M, S) \
  M(S, STRING, szCurrencyCode, 3) \
  M(S, CHAR, cCurrencyDecimals, 0)
FAMOFLAS_DS(DSD0000034C, DSD0000034C_MEMBERS)

FAMOFLAS_BSFN ID RetrieveCompanyCurrencyCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID RetrieveCurrencyConvFlag(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID RetrieveCurrencyConversion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID RetrieveCurrencyDecimals(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_FINANCE_B0000034_H */
