/*
 * B0000154.h - full year of a two-digit year. RetrieveCorrectCentury reads
 * the century-change year (data-dictionary item "CENTCHG"): two-digit years
 * up to and including it are 20xx, later ones 19xx.
 */
#ifndef FAMOFLAS_DATES_B0000154_H
#define FAMOFLAS_DATES_B0000154_H

#include "frame/bsfn.h"

#define DSD0000154_MEMBERS(M, S) \
  M(S, MATH, mnYear, 0)          \
  M(S, MATH, mnCentury, 0)       \
  M(S, MATH, mnFullYear, 0)
FAMOFLAS_DS(DSD0000154, DSD0000154_MEMBERS)

/*
 * mnCentury := 19 or 20, mnFullYear := century * 100 + mnYear. When the
 * century-change year cannot be read: "019T" with "CENTCHG", outputs kept,
 * ER_ERROR.
 */
FAMOFLAS_BSFN ID RetrieveCorrectCentury(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_B0000154_H */
