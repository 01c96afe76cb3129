/*
 * C0130101.h - the activity companions over F01301 (and F01302 for
 * deletions): InitializeActivity, SelectActivityUTC, InsertActivity,
 * BuildActivityUpdateColumnsString, UpdateActivityUTC and DeleteActivity.
 * Their data structure, DSACTIVITY, and what each does are in
 * frame/companions.h, where the library sees them.
 */
#ifndef FAMOFLAS_COMPANIONS_C0130101_H
#define FAMOFLAS_COMPANIONS_C0130101_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID InitializeActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID SelectActivityUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID InsertActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID BuildActivityUpdateColumnsString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID UpdateActivityUTC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID DeleteActivity(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0130101_H */
