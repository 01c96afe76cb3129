/*
 * C9800002.h - GetEnvironmentValue, one environment value of the calling
 * context by key. Its data structure, DSGETENVVALUE, is declared in
 * frame/companions.h, where its callers see it too.
 */
#ifndef FAMOFLAS_COMPANIONS_C9800002_H
#define FAMOFLAS_COMPANIONS_C9800002_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID GetEnvironmentValue(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C9800002_H */
