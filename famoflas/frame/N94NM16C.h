/*
 * N94NM16C - level-break accessors for the event rules of batch reports: the
 * current section's level breaks and their ids, its level number, the level
 * breaking now and whether its header is being written. Each checks its
 * arguments, asks the report runtime (vyrreport.h) with its own lpBhvrCom as
 * the report handle, writes the answer and returns ER_SUCCESS.
 *
 * Layouts: the level asked for is signed 16-bit; counts, levels and level ids
 * signed 32-bit; yes/no answers "TRUE"/"FALSE" in a string of 10 + 1.
 */
#ifndef N94NM16C_H
#define N94NM16C_H

#include "frame/bsfn.h"

/* ubeSectionGetLevelNID: the id of level nLevel, and whether there is one. */
#define DSD94NM16C_MEMBERS(M, S) \
  M(S, SHORT, nLevel, 0)         \
  M(S, INT, idLevel, 0)          \
  M(S, STRING, szLevelFound, 10)
FAMOFLAS_DS(DSD94NM16C, DSD94NM16C_MEMBERS)

/* ubeSectionGetNumLevelBreaks */
#define DSD94NM16C1_MEMBERS(M, S) M(S, INT, nNumberLevelBreaks, 0)
FAMOFLAS_DS(DSD94NM16C1, DSD94NM16C1_MEMBERS)

/* ubeTabGetLevelBreak: the level breaking now, 0 none. */
#define DSD94NM16C2_MEMBERS(M, S) M(S, INT, nLevelBreak, 0)
FAMOFLAS_DS(DSD94NM16C2, DSD94NM16C2_MEMBERS)

/* ubeTabGetLevelNumber */
#define DSD94NM16C3_MEMBERS(M, S) M(S, INT, nLevelNumber, 0)
FAMOFLAS_DS(DSD94NM16C3, DSD94NM16C3_MEMBERS)

/* ubeTabIsLevelBrkHdrActive */
#define DSD94NM16C4_MEMBERS(M, S) M(S, STRING, szHeaderActive, 10)
FAMOFLAS_DS(DSD94NM16C4, DSD94NM16C4_MEMBERS)

FAMOFLAS_BSFN ID ubeSectionGetLevelNID(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetNumLevelBreaks(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeTabGetLevelBreak(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeTabGetLevelNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeTabIsLevelBrkHdrActive(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* N94NM16C_H */
