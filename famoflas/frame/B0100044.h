/*
 * B0100044 - SetNERReturnCode: the event rule's side of a plug-and-play
 * entry; turns the code an event rule holds into the function's own result.
 */
#ifndef B0100044_H
#define B0100044_H

#include "frame/bsfn.h"

#define DSD0100044_MEMBERS(M, S) M(S, INT, idReturnCode, 0)
FAMOFLAS_DS(DSD0100044, DSD0100044_MEMBERS)

FAMOFLAS_BSFN ID SetNERReturnCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* B0100044_H */
