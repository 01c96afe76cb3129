/*
 * C9800001.h - GetAuditInfo, the companion that tells a business function
 * who writes a row, from where and when: user, program and workstation of the
 * behaviour context, and the current date and time. Its data structure,
 * DSGETAUDITINFO, is declared in frame/companions.h, where its callers see it too.
 */
#ifndef FAMOFLAS_COMPANIONS_C9800001_H
#define FAMOFLAS_COMPANIONS_C9800001_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID GetAuditInfo(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C9800001_H */
