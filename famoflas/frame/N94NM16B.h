/*
 * N94NM16B - section accessors for the event rules of batch reports: the
 * current section's id, row and column, reverse-sign and balance-auditor
 * flags, table, data sequence, and the choice of data selection. Each checks
 * its arguments, asks the report runtime (vyrreport.h) with its own lpBhvrCom
 * as the report handle, writes the answer and returns ER_SUCCESS.
 *
 * Layouts: section names are strings of 40 + 1, versions, tables and data
 * items 10 + 1; ids, rows and columns signed 32-bit; the reverse sign a
 * single "1"/"0" flag; the balance auditor "TRUE"/"FALSE" in 10 + 1. Sequence
 * item and selection numbers are MATH_NUMERIC, as event rules hold numbers.
 */
#ifndef N94NM16B_H
#define N94NM16B_H

#include "frame/bsfn.h"

/* ubeSectionGetID */
#define DSD94NM16B_MEMBERS(M, S) M(S, INT, idSection, 0)
FAMOFLAS_DS(DSD94NM16B, DSD94NM16B_MEMBERS)

/* ubeSectionGetCurrRowNumber */
#define DSD94NM16B1_MEMBERS(M, S) M(S, INT, nRowNumber, 0)
FAMOFLAS_DS(DSD94NM16B1, DSD94NM16B1_MEMBERS)

/* ubeSectionGetColumnNumber */
#define DSD94NM16B2_MEMBERS(M, S) M(S, INT, nColumnNumber, 0)
FAMOFLAS_DS(DSD94NM16B2, DSD94NM16B2_MEMBERS)

/* ubeSectionGetReverseSign */
#define DSD94NM16B3_MEMBERS(M, S) M(S, CHAR, cReverseSign, 0)
FAMOFLAS_DS(DSD94NM16B3, DSD94NM16B3_MEMBERS)

/* ubeSectionIsBalanceAuditorDefine */
#define DSD94NM16B4_MEMBERS(M, S) M(S, STRING, szBalanceAuditorDefined, 10)
FAMOFLAS_DS(DSD94NM16B4, DSD94NM16B4_MEMBERS)

/* ubeSectionGetDataSequence: item mnSequenceItem (from 1) of the named
 * section (blank names: the current section), its table and data item out. */
#define DSD94NM16B5_MEMBERS(M, S) \
  M(S, STRING, szSectionName, 40) \
  M(S, STRING, szVersion, 10)     \
  M(S, MATH, mnSequenceItem, 0)   \
  M(S, STRING, szTableName, 10)   \
  M(S, STRING, szDataItem, 10)
FAMOFLAS_DS(DSD94NM16B5, DSD94NM16B5_MEMBERS)

/* ubeSectionGetDataSequenceItem: the data item of the current section's sequence item. */
#define DSD94NM16B6_MEMBERS(M, S) \
  M(S, MATH, mnSequenceItem, 0)   \
  M(S, STRING, szDataItem, 10)
FAMOFLAS_DS(DSD94NM16B6, DSD94NM16B6_MEMBERS)

/* ubeSectionGetTableInfo */
#define DSD94NM16B7_MEMBERS(M, S) M(S, STRING, szTableName, 10)
FAMOFLAS_DS(DSD94NM16B7, DSD94NM16B7_MEMBERS)

/* ubeSectionUseDataSelection: no answer; the report shows the selection in use. */
#define DSD94NM16B8_MEMBERS(M, S) \
  M(S, STRING, szSectionName, 40) \
  M(S, STRING, szVersion, 10)     \
  M(S, MATH, mnDataSelection, 0)
FAMOFLAS_DS(DSD94NM16B8, DSD94NM16B8_MEMBERS)

FAMOFLAS_BSFN ID ubeSectionGetID(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetCurrRowNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetColumnNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetReverseSign(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionIsBalanceAuditorDefine(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetDataSequence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetDataSequenceItem(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionGetTableInfo(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);
FAMOFLAS_BSFN ID ubeSectionUseDataSelection(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* N94NM16B_H */
