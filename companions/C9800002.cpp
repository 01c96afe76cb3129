// GetEnvironmentValue: an environment value of the calling context.
#include "C9800002.h"

#include <string.h>

namespace {

const char kSource[] = "C9800002";
const ID kKeyItem = 1;
// Room for a value's first character; longer values are cut, which is all the caller reads.
const size_t kValueSize = 2;

}  // namespace

FAMOFLAS_BSFN ID GetEnvironmentValue(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSGETENVVALUE lpDS = (LPDSGETENVVALUE)lpVoidDS;
  JCHAR szKey[sizeof lpDS->szKey / sizeof(JCHAR)];
  JCHAR szValue[kValueSize] = {0, 0};
  // The member may arrive filled to its last position.
  vyrStrcpyFillAndTerminate(szKey, lpDS->szKey, sizeof szKey / sizeof(JCHAR), 0);
  lpDS->cValue = 0;
  if (vyrGetEnvironmentValue(lpBhvrCom, szKey, szValue, kValueSize) != ER_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, kKeyItem, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  lpDS->cValue = szValue[0];
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(GetEnvironmentValue, &DSGETENVVALUE_template, "C9800002")
