/*
 * B0000127.h - today's date. ReturnTodaysDate reads the system clock in
 * local time.
 */
#ifndef FAMOFLAS_DATES_B0000127_H
#define FAMOFLAS_DATES_B0000127_H

#include "frame/bsfn.h"

#define DSD0000127_MEMBERS(M, S) M(S, DATE, jdToday, 0)
FAMOFLAS_DS(DSD0000127, DSD0000127_MEMBERS)

FAMOFLAS_BSFN ID ReturnTodaysDate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_DATES_B0000127_H */
