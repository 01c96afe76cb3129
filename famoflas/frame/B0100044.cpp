// SetNERReturnCode: returns ER_WARNING for 1, ER_ERROR for 2, else ER_SUCCESS.
#include "frame/B0100044.h"

static const char kSource[] = "B0100044";

FAMOFLAS_BSFN ID SetNERReturnCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  const DSD0100044 *lpDS = (const DSD0100044 *)lpVoidDS;
  HUSER hUser = NULL;
  ID idResult = ER_SUCCESS;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (lpDS->idReturnCode == (int32_t)ER_WARNING) {
    idResult = ER_WARNING;
  } else if (lpDS->idReturnCode == (int32_t)ER_ERROR) {
    idResult = ER_ERROR;
  }
  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(SetNERReturnCode, &DSD0100044_template, "B0100044")
