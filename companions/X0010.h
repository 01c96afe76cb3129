/*
 * X0010.h - X0010GetNextNumber, the next number of a system code and index
 * from F0002, handed out atomically. Its data structure, DSNEXTNUMBER, and
 * what it reports are in frame/companions.h.
 */
#ifndef FAMOFLAS_COMPANIONS_X0010_H
#define FAMOFLAS_COMPANIONS_X0010_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID X0010GetNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_X0010_H */
