/*
 * X0901.h - X0901TerminateCaches, which ends the account caches of the
 * account-master family; its data structure, DSX0901TERMINATECACHES, is
 * declared with the other clean-up companions (frame/companions.h).
 */
#ifndef FAMOFLAS_COMPANIONS_X0901_H
#define FAMOFLAS_COMPANIONS_X0901_H

#include "frame/companions.h"

/* Accounts by account id (flag cTerminateAccountsById). */
#define X0901_ACCOUNTS_BY_ID_CACHE u"X0901AccountsById"
/* Account ids by business unit, object and subsidiary (flag cTerminateAccountsByNumber). */
#define X0901_ACCOUNTS_BY_NUMBER_CACHE u"X0901AccountsByNumber"

FAMOFLAS_BSFN ID X0901TerminateCaches(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_X0901_H */
