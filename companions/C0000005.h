/*
 * C0000005.h - GetUDC, the lookup of one user-defined code in F0005; its data
 * structure, DSGETUDC, is declared with the other companions
 * (frame/companions.h).
 */
#ifndef FAMOFLAS_COMPANIONS_C0000005_H
#define FAMOFLAS_COMPANIONS_C0000005_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID GetUDC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0000005_H */
