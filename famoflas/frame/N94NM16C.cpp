// Level-break accessors: each hands one report-runtime answer about level breaks to an event rule.
#include "frame/N94NM16C.h"

static const char kSource[] = "N94NM16C";

static void AnswerTrueFalse(JCHAR *lpszAnswer, BOOL bYes) { vyrStrcpy(lpszAnswer, bYes ? u"TRUE" : u"FALSE"); }

FAMOFLAS_BSFN ID ubeSectionGetLevelNID(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C lpDS = (LPDSD94NM16C)lpVoidDS;
  int32_t idLevel = 0;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  AnswerTrueFalse(lpDS->szLevelFound, ubeSection_GetLevelNID((HREPORT)lpBhvrCom, lpDS->nLevel, &idLevel));
  lpDS->idLevel = idLevel;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetLevelNID, &DSD94NM16C_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeSectionGetNumLevelBreaks(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C1 lpDS = (LPDSD94NM16C1)lpVoidDS;
  int32_t nCount = 0;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeSection_GetNumberLevelBreaks((HREPORT)lpBhvrCom, &nCount);
  lpDS->nNumberLevelBreaks = nCount;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetNumLevelBreaks, &DSD94NM16C1_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabGetLevelBreak(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C2 lpDS = (LPDSD94NM16C2)lpVoidDS;
  int32_t nLevel = 0;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeTab_GetLevelBreak((HREPORT)lpBhvrCom, &nLevel);
  lpDS->nLevelBreak = nLevel;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabGetLevelBreak, &DSD94NM16C2_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabGetLevelNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C3 lpDS = (LPDSD94NM16C3)lpVoidDS;
  int32_t nLevel = 0;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeTab_GetLevelNumber((HREPORT)lpBhvrCom, &nLevel);
  lpDS->nLevelNumber = nLevel;
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabGetLevelNumber, &DSD94NM16C3_template, "N94NM16C")

FAMOFLAS_BSFN ID ubeTabIsLevelBrkHdrActive(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16C4 lpDS = (LPDSD94NM16C4)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  AnswerTrueFalse(lpDS->szHeaderActive, ubeTab_IsLevelBreakHeaderActive((HREPORT)lpBhvrCom));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeTabIsLevelBrkHdrActive, &DSD94NM16C4_template, "N94NM16C")
