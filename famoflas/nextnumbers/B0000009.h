/*
 * B0000009 - GetNextJELineNumber: the next free line number of a journal
 * entry in the account ledger F0911 (opened on index 1 with DCT, DOC, KCO,
 * DGJ, JELN, LT, EXTL; a line is found by the first five).
 *
 * Called with a line number, it probes upward from it and answers the first
 * number without a row, so gaps below the number are never filled. Called
 * with zero, it answers the highest line of the document for the GL date plus
 * one (1 for a document without lines), sorting DCT, DOC, KCO ascending and
 * DGJ, JELN descending.
 *
 * Errors (item 0 unless given): "4363" null argument, "078S" behaviour,
 * "3143" F0911 cannot be opened, "070Q" no memory for the sort entries,
 * "078K" the sort cannot be set; "4363" on item 2 for a document number and
 * on item 5 for a line number that is not a whole number of at least 0 that
 * fits its column (8 and 7 digits). On an error mnJELineNumber is left as it was.
 */
#ifndef FAMOFLAS_NEXTNUMBERS_B0000009_H
#define FAMOFLAS_NEXTNUMBERS_B0000009_H

#include "frame/bsfn.h"

/*
 * Data structure of GetNextJELineNumber.
 *   1 szDocumentType   in      DCT
 *   2 mnDocumentNumber in      DOC
 *   3 szCompany        in      KCO
 *   4 jdGLDate         in      DGJ
 *   5 mnJELineNumber   in/out  a line number to start from, or 0; the free line number
 */
#define DSD0000009_MEMBERS(M, S)  \
  M(S, STRING, szDocumentType, 2) \
  M(S, MATH, mnDocumentNumber, 0) \
  M(S, STRING, szCompany, 5)      \
  M(S, DATE, jdGLDate, 0)         \
  M(S, MATH, mnJELineNumber, 0)
FAMOFLAS_DS(DSD0000009, DSD0000009_MEMBERS)

#define B0000009_ITEM_DOCUMENT 2
#define B0000009_ITEM_LINE 5

FAMOFLAS_BSFN ID GetNextJELineNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_NEXTNUMBERS_B0000009_H */
