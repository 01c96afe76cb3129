/*
 * localization.h - what a country function sees: the data structures the
 * plug-and-play entries and country servers pass (entries.h lists them).
 *
 * DSLOCALIZATION is the localization interface of a base function, shared by
 * every plug-and-play entry, its country server and the country functions
 * that a server hands it to. Its members, numbered for error mappings:
 *
 *   1 szCountryCode  in      country the base record belongs to ("JP"); blank
 *                            (" " or ""): no localization is active
 *   2 szCompanyKey   in      company of the base record
 *   3 szRecordKey1   in      keys and identifying strings of the base record
 *   4 szRecordKey2   in      (document number, type, supplier, ... as the base
 *   5 szRecordKey3   in       function fills them)
 *   6 szMode         in      what the base function is doing:
 *                            "VAL" validate, "ADD" add, "UPD" update, "DEL" delete
 *   7 mnAmount1      in/out  amounts the country functions need
 *   8 mnAmount2      in/out
 *   9 cResultFlag    out     "1" or "0"; a server that calls nothing sets "0"
 *
 * A plug-and-play entry passes all nine members on and back. A server builds
 * a fresh copy for each country function that takes this record and copies
 * members 7 to 9 back after the call; members 1 to 6 are the base function's
 * and stay as they were.
 *
 * Two country functions have records of their own, which servers build from
 * the members named:
 *
 *   WithholdingTaxValidation (DSWITHHOLDINGTAXVALIDATION)
 *     1 mnTaxableAmount      in      from member 7
 *     2 mnWithholdingAmount  in/out  from member 8, copied back to 8
 *     3 cResultFlag          in/out  from member 9, copied back to 9
 *   GetCISSubcontractorStatus (DSGETCISSUBCONTRACTORSTATUS)
 *     1 mnAddressNumber      in      from member 7
 *     2 cProcessingMode      in      "2"
 *     3 cIsSubcontractor     out     "1" or "0"
 *     4 cStatusVerified      out     "1" or "0"; member 9 becomes "1" when
 *                                    both flags are "1", else "0"
 */
#ifndef FAMOFLAS_LOCALIZATION_H
#define FAMOFLAS_LOCALIZATION_H

#include "frame/bsfn.h"

#define DSLOCALIZATION_MEMBERS(M, S) \
  M(S, STRING, szCountryCode, 3)     \
  M(S, STRING, szCompanyKey, 5)      \
  M(S, STRING, szRecordKey1, 10)     \
  M(S, STRING, szRecordKey2, 10)     \
  M(S, STRING, szRecordKey3, 10)     \
  M(S, STRING, szMode, 3)            \
  M(S, MATH, mnAmount1, 0)           \
  M(S, MATH, mnAmount2, 0)           \
  M(S, CHAR, cResultFlag, 0)
FAMOFLAS_DS(DSLOCALIZATION, DSLOCALIZATION_MEMBERS)

#define DSWITHHOLDINGTAXVALIDATION_MEMBERS(M, S) \
  M(S, MATH, mnTaxableAmount, 0)                 \
  M(S, MATH, mnWithholdingAmount, 0)             \
  M(S, CHAR, cResultFlag, 0)
FAMOFLAS_DS(DSWITHHOLDINGTAXVALIDATION, DSWITHHOLDINGTAXVALIDATION_MEMBERS)

#define DSGETCISSUBCONTRACTORSTATUS_MEMBERS(M, S) \
  M(S, MATH, mnAddressNumber, 0)                  \
  M(S, CHAR, cProcessingMode, 0)                  \
  M(S, CHAR, cIsSubcontractor, 0)                 \
  M(S, CHAR, cStatusVerified, 0)
FAMOFLAS_DS(DSGETCISSUBCONTRACTORSTATUS, DSGETCISSUBCONTRACTORSTATUS_MEMBERS)

#endif /* FAMOFLAS_LOCALIZATION_H */
