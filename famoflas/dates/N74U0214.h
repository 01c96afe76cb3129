/*
 * N74U0214.h - days between two dates without the 29ths of February.
 * DaysBetweenExcludingLeapYearDay takes the platform's day difference (to -
 * from) and subtracts each 29 February from jdFromDate up to, not including,
 * jdToDate; jdFromDate itself is always examined.
 */
#ifndef FAMOFLAS_DATES_N74U0214_H
#define FAMOFLAS_DATES_N74U0214_H

#include "frame/bsfn.h"

#define DSD74U0214_MEMBERS(M, S) \
  M(S, DATE, jdFromDate, 0)      \
  M(S, DATE, jdToDate, 0)        \
  M(S, MATH, mnDaysBetween, 0)   \
  M(S, CHAR, cLeapDayIncluded, 0)
FAMOFLAS_DS(DSD74U0214, DSD74U0214_MEMBERS)

/* cLeapDayIncluded is "1" when a 29 February was subtracted, else "0". ER_SUCCESS. */
FAMOFLAS_BSFN ID DaysBetweenExcludingLeapYearDay(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_N74U0214_H */
