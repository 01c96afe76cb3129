/*
 * B0000018.h - may a fiscal date pattern be deleted? VldtDatePatternDeletion
 * looks for a company (F0010) that uses the pattern with the given
 * fiscal-year start.
 */
#ifndef FAMOFLAS_DATES_B0000018_H
#define FAMOFLAS_DATES_B0000018_H

#include "frame/bsfn.h"

#define DSD0000018_MEMBERS(M, S)   \
  M(S, CHAR, cDatePattern, 0)      \
  M(S, DATE, jdFiscalYearBegin, 0) \
  M(S, CHAR, cPatternInUse, 0)
FAMOFLAS_DS(DSD0000018, DSD0000018_MEMBERS)

/*
 * Not in use: cPatternInUse "0", ER_SUCCESS. In use: cPatternInUse "1" and
 * ER_ERROR with no error raised (the caller decides what to report).
 * Behaviour handle or F0010 failure: "3143", ER_ERROR.
 */
FAMOFLAS_BSFN ID VldtDatePatternDeletion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_B0000018_H */
