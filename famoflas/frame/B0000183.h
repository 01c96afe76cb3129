/*
 * B0000183.h - releasing what a job started in an environment: the external
 * tax interface recorded by vyrInitEnvBSFN (B0000182) and the caches of the
 * geocode, account-master and AAI families.
 */
#ifndef FAMOFLAS_FRAME_B0000183_H
#define FAMOFLAS_FRAME_B0000183_H

#include "frame/B0000182.h"
#include "frame/companions.h"

/*
 * For "GeoCodeInit" and then "SalesTaxInit": ends the recorded interface (its
 * terminate entry points; the sales-tax close entry with each selector first),
 * drops the record and unloads the plug-in, then releases its cache handle. A
 * cache that cannot be opened is "078L", one without a readable record (or
 * whose record cannot be dropped) "078N", with the cache name as text; a
 * record left behind keeps its plug-in loaded for a later call. Either way
 * the other cache and the clean-up functions still run:
 * ValidateGeoCode (mode "1"), X0901TerminateCaches (both flags "1") and
 * AAIRangeOfAccountsClear. Uses lpBhvrCom and lpVoid only. Returns ER_ERROR
 * when any step failed ("4363" arguments, "3143" behaviour handle, the cache
 * errors, a clean-up function's ER_ERROR), else ER_SUCCESS.
 */
FAMOFLAS_BSFN ID vyrFreeEnvBSFN(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_FRAME_B0000183_H */
