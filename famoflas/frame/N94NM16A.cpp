// Report-level accessors: each hands one report-runtime answer to an event rule.
#include "frame/N94NM16A.h"

#include "frame/ubeanswer.h"

static const char kSource[] = "N94NM16A";

/*
 * The report handle handed over is the address of member 2, not lpBhvrCom.
 * Event rules have always received "FALSE" here; the platform refuses the
 * handle rather than following it, and the behaviour is kept as it is.
 */
FAMOFLAS_BSFN ID ubeReportIsTemplate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16A lpDS = (LPDSD94NM16A)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szIsTemplate, ubeReport_IsTemplate((HREPORT)&lpDS->idReportHandle));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeReportIsTemplate, &DSD94NM16A_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeReportGetPreviewMode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16A1 lpDS = (LPDSD94NM16A1)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szPreviewMode, ubeReport_GetPreviewMode((HREPORT)lpBhvrCom));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeReportGetPreviewMode, &DSD94NM16A1_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeReportGetPageNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16A2)lpVoidDS)->nPageNumber = UbeNumber(lpBhvrCom, ubeReport_GetPageNumber);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeReportGetPageNumber, &DSD94NM16A2_template, "N94NM16A")

/* The two environment accessors differ only in the runtime query. */
static ID AnswerEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS,
                            BOOL (*lpfnQuery)(HREPORT, JCHAR *, size_t), int nLine) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, nLine)) return ER_ERROR;
  LPDSD94NM16A3 lpDS = (LPDSD94NM16A3)lpVoidDS;
  lpfnQuery((HREPORT)lpBhvrCom, lpDS->szEnvironment, UBE_MEMBER_SIZE(lpDS->szEnvironment));
  return ER_SUCCESS;
}

FAMOFLAS_BSFN ID ubeGetSourceEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return AnswerEnvironment(lpBhvrCom, lpVoid, lpVoidDS, ubeReport_GetSourceEnvironment, __LINE__);
}
FAMOFLAS_REGISTER(ubeGetSourceEnvironment, &DSD94NM16A3_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeGetTargetEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return AnswerEnvironment(lpBhvrCom, lpVoid, lpVoidDS, ubeReport_GetTargetEnvironment, __LINE__);
}
FAMOFLAS_REGISTER(ubeGetTargetEnvironment, &DSD94NM16A3_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeReportGetName(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16A4 lpDS = (LPDSD94NM16A4)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeReport_GetName((HREPORT)lpBhvrCom, lpDS->szReportName, UBE_MEMBER_SIZE(lpDS->szReportName));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeReportGetName, &DSD94NM16A4_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeSetPageNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16A5 lpDS = (LPDSD94NM16A5)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szPageNumberSet, ubeReport_SetPageNumber((HREPORT)lpBhvrCom, lpDS->nPageNumber));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSetPageNumber, &DSD94NM16A5_template, "N94NM16A")

/* The control accessors answer nothing: they pass the request on. */
static ID PassControl(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS, BOOL (*lpfnControl)(HREPORT), int nLine) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, nLine)) return ER_ERROR;
  lpfnControl((HREPORT)lpBhvrCom);
  return ER_SUCCESS;
}

FAMOFLAS_BSFN ID ubeReportDisableSendMessage(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return PassControl(lpBhvrCom, lpVoid, lpVoidDS, ubeReport_DisableSendMessage, __LINE__);
}
FAMOFLAS_REGISTER(ubeReportDisableSendMessage, &DSD94NM16A6_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeReportStopBatch(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return PassControl(lpBhvrCom, lpVoid, lpVoidDS, ubeReport_StopBatchProcess, __LINE__);
}
FAMOFLAS_REGISTER(ubeReportStopBatch, &DSD94NM16A6_template, "N94NM16A")

FAMOFLAS_BSFN ID ubeReportStopBatchWithError(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeReport_StopBatchProcessWithError((HREPORT)lpBhvrCom, N94NM16A_STOP_MESSAGE);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeReportStopBatchWithError, &DSD94NM16A6_template, "N94NM16A")
