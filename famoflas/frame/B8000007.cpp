// GetInputOutputEnvHandles / FreeInputOutputEnvHandles: environment handles
// of a process that reads from one environment and writes to another.
#include "frame/B8000007.h"

static const char kSource[] = "B8000007";

#define ENVIRONMENT_NAME_SIZE 11

/*
 * Parks the handle of one side and returns its index; 0 when the environment
 * could not be opened or parked (a secondary environment is then freed again).
 */
static ID ParkEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const JCHAR *lpszEnvironment, const JCHAR *lpszCurrent) {
  HENV hEnv = NULL;
  if (vyrStrncmp(lpszEnvironment, lpszCurrent, ENVIRONMENT_NAME_SIZE) == 0) {
    return vyrStoreDataPtr(lpVoid, vyrGetBhvrEnvironment(lpBhvrCom));
  }
  if (VDB_InitSecondaryEnv(lpBhvrCom, lpszEnvironment, &hEnv) != VDB_SUCCESS) return 0;
  const ID idIndex = vyrStoreDataPtr(lpVoid, hEnv);
  if (idIndex == 0) VDB_FreeEnv(hEnv);
  return idIndex;
}

/* Undoes ParkEnvironment: frees a secondary environment, drops the index. */
static void ReleaseEnvironment(LPVOID lpVoid, const JCHAR *lpszEnvironment, const JCHAR *lpszCurrent, ID idIndex) {
  if (vyrStrncmp(lpszEnvironment, lpszCurrent, ENVIRONMENT_NAME_SIZE) != 0) {
    HENV hEnv = (HENV)vyrRetrieveDataPtr(lpVoid, idIndex);
    if (hEnv != NULL) VDB_FreeEnv(hEnv);
  }
  vyrRemoveDataPtr(lpVoid, idIndex);
}

FAMOFLAS_BSFN ID GetInputOutputEnvHandles(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD8000007 lpDS = (LPDSD8000007)lpVoidDS;
  HUSER hUser = NULL;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  lpDS->idInputEnvHandle = 0;
  lpDS->idOutputEnvHandle = 0;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  lpDS->idInputEnvHandle = ParkEnvironment(lpBhvrCom, lpVoid, lpDS->szInputEnvironment, lpDS->szCurrentEnvironment);
  if (lpDS->idInputEnvHandle == 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  lpDS->idOutputEnvHandle = ParkEnvironment(lpBhvrCom, lpVoid, lpDS->szOutputEnvironment, lpDS->szCurrentEnvironment);
  if (lpDS->idOutputEnvHandle == 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    // A half-done pair is of no use to the caller, who will not free it.
    ReleaseEnvironment(lpVoid, lpDS->szInputEnvironment, lpDS->szCurrentEnvironment, lpDS->idInputEnvHandle);
    lpDS->idInputEnvHandle = 0;
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  VDB_FreeBhvr(hUser);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(GetInputOutputEnvHandles, &DSD8000007_template, "B8000007")

FAMOFLAS_BSFN ID FreeInputOutputEnvHandles(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD8000007 lpDS = (LPDSD8000007)lpVoidDS;
  HUSER hUser = NULL;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  // The current environment's own handle is only un-parked, never freed.
  ReleaseEnvironment(lpVoid, lpDS->szInputEnvironment, lpDS->szCurrentEnvironment, lpDS->idInputEnvHandle);
  lpDS->idInputEnvHandle = 0;
  ReleaseEnvironment(lpVoid, lpDS->szOutputEnvironment, lpDS->szCurrentEnvironment, lpDS->idOutputEnvHandle);
  lpDS->idOutputEnvHandle = 0;

  VDB_FreeBhvr(hUser);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(FreeInputOutputEnvHandles, &DSD8000007_template, "B8000007")
