/*
 * C0900001.h - AAIRangeOfAccountsClear, which forgets the account ranges of
 * automatic accounting instructions cached for the job; its data structure,
 * DSAAIRANGECLEAR, is declared with the other clean-up companions
 * (frame/companions.h).
 */
#ifndef FAMOFLAS_COMPANIONS_C0900001_H
#define FAMOFLAS_COMPANIONS_C0900001_H

#include "frame/companions.h"

/* The AAI account ranges of the job. */
#define C0900001_RANGE_CACHE u"AAIRangeOfAccounts"

FAMOFLAS_BSFN ID AAIRangeOfAccountsClear(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0900001_H */
