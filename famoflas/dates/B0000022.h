/*
 * B0000022.h - fiscal date pattern check. ValidateDatePattern answers whether
 * F0008 holds the pattern (DTPN) with the given fiscal-year start (DFYJ).
 */
#ifndef FAMOFLAS_DATES_B0000022_H
#define FAMOFLAS_DATES_B0000022_H

#include "frame/bsfn.h"

#define DSD0000022_MEMBERS(M, S) \
  M(S, CHAR, cDatePattern, 0)    \
  M(S, DATE, jdFiscalYearBegin, 0)
FAMOFLAS_DS(DSD0000022, DSD0000022_MEMBERS)

/*
 * ER_SUCCESS when the pattern exists; else "0177" on item 2 and ER_ERROR.
 * Behaviour handle failure: "4364"; F0008 not opened: "3143".
 */
FAMOFLAS_BSFN ID ValidateDatePattern(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_B0000022_H */
