// AAIRangeOfAccountsClear: the cached AAI account ranges are dropped, so the
// next lookup builds them afresh from the instructions.
#include "C0900001.h"

#include "cacheend.h"

static const char kSource[] = "C0900001";

FAMOFLAS_BSFN ID AAIRangeOfAccountsClear(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSAAIRANGECLEAR lpDS = (LPDSAAIRANGECLEAR)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  lpDS->idRangesCleared = 0;
  return CompanionEndCache(lpBhvrCom, lpVoid, C0900001_RANGE_CACHE, &lpDS->idRangesCleared, kSource, __LINE__);
}
FAMOFLAS_REGISTER(AAIRangeOfAccountsClear, &DSAAIRANGECLEAR_template, "C0900001")
