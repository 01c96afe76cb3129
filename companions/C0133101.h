/*
 * C0133101.h - the recurrence companions over F01331: patterns
 * (InitializeRecurrence, SelectRecurrenceUTC, InsertRecurrence,
 * BuildRecurrenceUpdateColsString, UpdateRecurrenceUTC) and their exclusion
 * dates (InitializeExclusion, InsertExclusion). Their data structures,
 * DSRECURRENCE and DSEXCLUSION, are in frame/companions.h.
 */
#ifndef FAMOFLAS_COMPANIONS_C0133101_H
#define FAMOFLAS_COMPANIONS_C0133101_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID InitializeRecurrence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID SelectRecurrenceUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID InsertRecurrence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID BuildRecurrenceUpdateColsString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID UpdateRecurrenceUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID InitializeExclusion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID InsertExclusion(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0133101_H */
