/*
 * N94NM16A - report-level accessors for the event rules of batch reports:
 * name, page number, preview and template flags, environments, the completion
 * message and stop requests. Each checks its arguments, asks the report
 * runtime (vyrreport.h) with its own lpBhvrCom as the report handle, writes
 * the answer and returns ER_SUCCESS. Section accessors are in N94NM16B, level
 * breaks in N94NM16C.
 *
 * Layouts: yes/no answers are "TRUE"/"FALSE" in a string of 10 + 1, names and
 * environments strings of 10 + 1, page numbers signed 32-bit. The control
 * accessors (send message, stop) answer nothing; their data structure carries
 * one unused flag so that they are called with the usual three arguments.
 */
#ifndef N94NM16A_H
#define N94NM16A_H

#include "frame/bsfn.h"

/* ubeReportIsTemplate. Member 2 is never read: its address is what the
 * function hands over as the report handle (see N94NM16A.cpp). */
#define DSD94NM16A_MEMBERS(M, S) \
  M(S, STRING, szIsTemplate, 10) \
  M(S, ID, idReportHandle, 0)
FAMOFLAS_DS(DSD94NM16A, DSD94NM16A_MEMBERS)

/* ubeReportGetPreviewMode */
#define DSD94NM16A1_MEMBERS(M, S) M(S, STRING, szPreviewMode, 10)
FAMOFLAS_DS(DSD94NM16A1, DSD94NM16A1_MEMBERS)

/* ubeReportGetPageNumber */
#define DSD94NM16A2_MEMBERS(M, S) M(S, INT, nPageNumber, 0)
FAMOFLAS_DS(DSD94NM16A2, DSD94NM16A2_MEMBERS)

/* ubeGetSourceEnvironment, ubeGetTargetEnvironment */
#define DSD94NM16A3_MEMBERS(M, S) M(S, STRING, szEnvironment, 10)
FAMOFLAS_DS(DSD94NM16A3, DSD94NM16A3_MEMBERS)

/* ubeReportGetName */
#define DSD94NM16A4_MEMBERS(M, S) M(S, STRING, szReportName, 10)
FAMOFLAS_DS(DSD94NM16A4, DSD94NM16A4_MEMBERS)

/* ubeSetPageNumber: the page to move to, and whether the report took it. */
#define DSD94NM16A5_MEMBERS(M, S) \
  M(S, INT, nPageNumber, 0)       \
  M(S, STRING, szPageNumberSet, 10)
FAMOFLAS_DS(DSD94NM16A5, DSD94NM16A5_MEMBERS)

/* ubeReportDisableSendMessage, ubeReportStopBatch, ubeReportStopBatchWithError */
#define DSD94NM16A6_MEMBERS(M, S) M(S, CHAR, cReserved, 0)
FAMOFLAS_DS(DSD94NM16A6, DSD94NM16A6_MEMBERS)

/* The message every stop in error carries. */
#define N94NM16A_STOP_MESSAGE u"This is a test for the system API ubeSection_StopBatchProcessWithError"

FAMOFLAS_BSFN ID ubeReportIsTemplate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportGetPreviewMode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportGetPageNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeGetSourceEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeGetTargetEnvironment(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportGetName(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSetPageNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportDisableSendMessage(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportStopBatch(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeReportStopBatchWithError(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* N94NM16A_H */
