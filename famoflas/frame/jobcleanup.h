/*
 * jobcleanup.h - data structures of the companion business functions that end
 * what a job kept in named caches (they live in libfamoflascompanions.so, and
 * vyrFreeEnvBSFN calls them by name when an environment is released). One
 * description serves both sides: the library fills the record, the companion
 * includes this header for its own definition and template.
 */
#ifndef FAMOFLAS_FRAME_JOBCLEANUP_H
#define FAMOFLAS_FRAME_JOBCLEANUP_H

#include "frame/bsfn.h"

/*
 * ValidateGeoCode: geocode validation through the external tax interface,
 * whose lookups are cached for the job.
 *
 *  cProcessingMode   in   '1': end of job: the cached geocode lookups are ended
 *  idLookupsEnded    out  how many cached lookups were dropped
 * The lookups themselves belong to the tax package; until this host offers
 * them, any other mode is refused with "4363" on item 1 (ER_ERROR).
 */
#define DSVALIDATEGEOCODE_MEMBERS(M, S) \
  M(S, CHAR, cProcessingMode, 0)        \
  M(S, ID, idLookupsEnded, 0)
FAMOFLAS_DS(DSVALIDATEGEOCODE, DSVALIDATEGEOCODE_MEMBERS)

/*
 * X0901TerminateCaches: ends the account caches of the account-master family.
 *
 *  cTerminateAccountsById      in   '1': end the cache of accounts by account id
 *  cTerminateAccountsByNumber  in   '1': end the cache of account ids by
 *                                        business unit, object and subsidiary
 *  idRecordsEnded              out  how many records the ended caches held
 * Any other flag value leaves its cache alone.
 */
#define DSX0901TERMINATECACHES_MEMBERS(M, S) \
  M(S, CHAR, cTerminateAccountsById, 0)      \
  M(S, CHAR, cTerminateAccountsByNumber, 0)  \
  M(S, ID, idRecordsEnded, 0)
FAMOFLAS_DS(DSX0901TERMINATECACHES, DSX0901TERMINATECACHES_MEMBERS)

/*
 * AAIRangeOfAccountsClear: forgets the account ranges of automatic accounting
 * instructions cached for the job, so the next lookup reads them afresh.
 *
 *  idRangesCleared   out  how many cached ranges were dropped
 */
#define DSAAIRANGECLEAR_MEMBERS(M, S) M(S, ID, idRangesCleared, 0)
FAMOFLAS_DS(DSAAIRANGECLEAR, DSAAIRANGECLEAR_MEMBERS)

#endif /* FAMOFLAS_FRAME_JOBCLEANUP_H */
