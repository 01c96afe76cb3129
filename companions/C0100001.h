/*
 * C0100001.h - PpatGetUserIdAddressNumber, the address number of the
 * signed-on user from the user's settings. Its data structure,
 * DSPPATUSERADDRESS, is in frame/companions.h.
 */
#ifndef FAMOFLAS_COMPANIONS_C0100001_H
#define FAMOFLAS_COMPANIONS_C0100001_H

#include "frame/companions.h"

FAMOFLAS_BSFN ID PpatGetUserIdAddressNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C0100001_H */
