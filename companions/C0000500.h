/*
 * C0000500.h - ReviseDecimalSeparatorInString, the companion that makes a
 * typed number text readable by ParseNumericString under the current number
 * format. Its data structure, DSREVISEDECSEP, is declared with the library's
 * companion records (frame/companions.h), where its callers see it too.
 */
#ifndef FAMOFLAS_COMPANIONS_C0000500_H
#define FAMOFLAS_COMPANIONS_C0000500_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID ReviseDecimalSeparatorInString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0000500_H */
