/*
 * B0000171.h - the date one month earlier. DecrementDateOneMonth passes the
 * date to the platform's one-month decrement, which keeps the day clamped to
 * the end of the earlier month (31 March gives 28 or 29 February).
 */
#ifndef FAMOFLAS_DATES_B0000171_H
#define FAMOFLAS_DATES_B0000171_H

#include "frame/bsfn.h"

#define DSD0000171_MEMBERS(M, S) \
  M(S, DATE, jdDate, 0)          \
  M(S, DATE, jdDateLessOneMonth, 0)
FAMOFLAS_DS(DSD0000171, DSD0000171_MEMBERS)

FAMOFLAS_BSFN ID DecrementDateOneMonth(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_B0000171_H */
