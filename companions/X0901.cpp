// X0901TerminateCaches: ends the account caches the flags ask for.
#include "X0901.h"

#include "cacheend.h"

static const char kSource[] = "X0901";

FAMOFLAS_BSFN ID X0901TerminateCaches(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSX0901TERMINATECACHES lpDS = (LPDSX0901TERMINATECACHES)lpVoidDS;
  ID idResult = ER_SUCCESS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  lpDS->idRecordsEnded = 0;
  // Each cache on its own: one that cannot be ended does not keep the other.
  if (lpDS->cTerminateAccountsById == u'1' &&
      CompanionEndCache(lpBhvrCom, lpVoid, X0901_ACCOUNTS_BY_ID_CACHE, &lpDS->idRecordsEnded, kSource, __LINE__) !=
          ER_SUCCESS) {
    idResult = ER_ERROR;
  }
  if (lpDS->cTerminateAccountsByNumber == u'1' &&
      CompanionEndCache(lpBhvrCom, lpVoid, X0901_ACCOUNTS_BY_NUMBER_CACHE, &lpDS->idRecordsEnded, kSource, __LINE__) !=
          ER_SUCCESS) {
    idResult = ER_ERROR;
  }
  return idResult;
}
FAMOFLAS_REGISTER(X0901TerminateCaches, &DSX0901TERMINATECACHES_template, "X0901")
