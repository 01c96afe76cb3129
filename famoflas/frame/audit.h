/*
 * audit.h - data structure of the companion GetAuditInfo (source object
 * C9800001, in libfamoflascompanions.so), which the library calls by name to
 * fill the audit columns of the rows it writes. One description serves both
 * sides: the library fills and reads the record, the companion defines it.
 *
 *   szUserId          out  signed-on user ("USER" of vyrGetUserInfo)
 *   szProgramId       out  program id ("PROGRAM")
 *   szWorkstationId   out  workstation ("MACHINE"); 15 wide, the width the
 *                          platform gives it; a table whose column is narrower
 *                          keeps the first characters
 *   jdDate            out  today's date, UTC
 *   mnTime            out  time of day as HHMMSS (143005 is 14:30:05), UTC;
 *                          date and time come from one reading of the clock,
 *                          in UTC so that stamps written from machines in
 *                          different zones compare as they happened
 * Returns ER_SUCCESS; ER_ERROR with "4363" on item 0 when the context is not
 * usable (null argument, or a context the platform does not know) or the
 * clock cannot be read.
 */
#ifndef FAMOFLAS_FRAME_AUDIT_H
#define FAMOFLAS_FRAME_AUDIT_H

#include "frame/bsfn.h"

#define DSGETAUDITINFO_MEMBERS(M, S)     \
  M(S, STRING, szUserId, 10)             \
  M(S, STRING, szProgramId, 10)          \
  M(S, STRING, szWorkstationId, 15)      \
  M(S, DATE, jdDate, 0)                  \
  M(S, MATH, mnTime, 0)
FAMOFLAS_DS(DSGETAUDITINFO, DSGETAUDITINFO_MEMBERS)

#endif /* FAMOFLAS_FRAME_AUDIT_H */
