// Level-break accessors: each hands one report-runtime answer about level breaks to an event rule.
#include "frame/N94NM16C.h"

#include "frame/ubeanswer.h"

static const char kSource[] = "N94NM16C";

FAMOFLAS_BSFN ID ubeSectionGetLevelNID(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C lpDS = (LPDSD94NM16C)lpVoidDS;
  int32_t idLevel = 0;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szLevelFound, ubeSection_GetLevelNID((HREPORT)lpBhvrCom, lpDS->nLevel, &idLevel));
  lpDS->idLevel = idLevel;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetLevelNID, &DSD94NM16C_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeSectionGetNumLevelBreaks(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16C1)lpVoidDS)->nNumberLevelBreaks = UbeNumber(lpBhvrCom, ubeSection_GetNumberLevelBreaks);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetNumLevelBreaks, &DSD94NM16C1_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabGetLevelBreak(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16C2)lpVoidDS)->nLevelBreak = UbeNumber(lpBhvrCom, ubeTab_GetLevelBreak);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabGetLevelBreak, &DSD94NM16C2_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabGetLevelNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16C3)lpVoidDS)->nLevelNumber = UbeNumber(lpBhvrCom, ubeTab_GetLevelNumber);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabGetLevelNumber, &DSD94NM16C3_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabIsLevelBrkHdrActive(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C4 lpDS = (LPDSD94NM16C4)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szHeaderActive, ubeTab_IsLevelBreakHeaderActive((HREPORT)lpBhvrCom));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabIsLevelBrkHdrActive, &DSD94NM16C4_template, "N94NM16C")
