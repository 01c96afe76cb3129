/*
 * B0100094 - GetAndValidateAddressBookNumber: assigns an address number, or
 * validates one entered by hand.
 *
 * A connected client draws numbers of system "01", index 1 (through
 * X0010GetNextNumber, which assigns atomically) until one is absent from the
 * address book F0101. A disconnected client (client type 2) also skips
 * numbers recorded in F90CA001 as distributed to other clients, and a number
 * entered by hand is not validated there. A number entered by hand on a
 * connected client must be absent from F0101; when the mobile-sales switch
 * (environment value "CRMMSL": anything but "0", and empty, is on) is on, it
 * must also lie below the lowest distributed number, or at or above the
 * current next number of "01" index 1 (times 10 when that index carries a
 * check digit).
 *
 * Errors of the helpers: each failure raises its id on the caller's context
 * unless cSuppressErrorMessage is "1", and always sets cErrorCode "1" and
 * szErrorMessageID; the call returns ER_ERROR.
 *   "078D" (item 0, text: the table) F0101, F90CA001 or F0002 cannot be opened
 *   "078I" (item 0, text F0002) no F0002 row for system "01"
 *   "1212" (item 1) the manual number is already in F0101
 *   "CRM0071" (item 1) the manual number collides with the distributed or
 *             current next numbers
 *   "4456" (item 1) no next number could be drawn, or the one drawn is 0
 *          (the callee's own errors stay on the context)
 *   "0002" (item 1) the number is not one an address can have: not a whole
 *          number from 0 to 99,999,999 (AN8's 8 digits); no table is asked
 * The business function itself: "4363" null argument, "078S" behaviour.
 */
#ifndef FAMOFLAS_NEXTNUMBERS_B0100094_H
#define FAMOFLAS_NEXTNUMBERS_B0100094_H

#include "frame/bsfn.h"

/*
 * Data structure of GetAndValidateAddressBookNumber (and its helpers).
 *   1 mnAddressNumber        in/out  a number entered by hand, or 0; the assigned number
 *   2 cSuppressErrorMessage  in      "1": record errors only in members 3 and 4
 *   3 szErrorMessageID       out     id of the last error, four blanks when none
 *   4 cErrorCode             out     "0" no error, "1" an error occurred
 *   5 cAssignNextNumber      in      "1": assign a next number when member 1 is 0
 */
#define DSD0100094_MEMBERS(M, S)       \
  M(S, MATH, mnAddressNumber, 0)       \
  M(S, CHAR, cSuppressErrorMessage, 0) \
  M(S, STRING, szErrorMessageID, 10)   \
  M(S, CHAR, cErrorCode, 0)            \
  M(S, CHAR, cAssignNextNumber, 0)
FAMOFLAS_DS(DSD0100094, DSD0100094_MEMBERS)

#define B0100094_ITEM_ADDRESS_NUMBER 1

FAMOFLAS_BSFN ID GetAndValidateAddressBookNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/* Draws numbers until one is absent from F0101. Returns 0 or 2. */
FAMOFLAS_INTERNAL ID IB0100094_ProcessConnectedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                          LPDSD0100094 lpDS);
/* Draws numbers until one is absent from F90CA001 and then from F0101. Returns 0 or 2. */
FAMOFLAS_INTERNAL ID IB0100094_ProcessDisconnectedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                             LPDSD0100094 lpDS);
/* Validates the number entered by hand. Returns 0 or 2. */
FAMOFLAS_INTERNAL ID IB0100094_ProcessManuallyEnteredAddressNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                                   LPDSD0100094 lpDS);
/* *lpbFree := TRUE when F0101 has no row of mnAddressNumber. Returns 0 or 2. */
FAMOFLAS_INTERNAL ID IB0100094_CheckAddressBookNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                      LPDSD0100094 lpDS, BOOL *lpbFree);
/* *lpbFree := TRUE when F90CA001 has no row of mnAddressNumber. Returns 0 or 2. */
FAMOFLAS_INTERNAL ID IB0100094_CheckDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                          LPDSD0100094 lpDS, BOOL *lpbFree);
/*
 * Compares mnAddressNumber with the lowest number of status "1" in F90CA001:
 * none, or below it: accepted; equal: "CRM0071"; above: *lpbCheckFurther :=
 * TRUE (the current next number decides). Returns 0 or 2.
 */
FAMOFLAS_INTERNAL ID IB0100094_CheckLowestDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                                LPDSD0100094 lpDS, BOOL *lpbCheckFurther);
/* "CRM0071" when mnAddressNumber lies below the current next number of "01" index 1 (x10 with a check digit). */
FAMOFLAS_INTERNAL ID IB0100094_CheckCurrentNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser,
                                                      LPDSD0100094 lpDS);
/* Draws the next number of "01" index 1 into mnAddressNumber (a second call when the first gives 0). */
FAMOFLAS_INTERNAL ID IB0100094_GetNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPDSD0100094 lpDS);
/* 1 when the mobile-sales switch "CRMMSL" is on (its value is not "0"; empty is on), else 0. */
FAMOFLAS_INTERNAL ID IB0100094_CRM_MobileSales_Turned_ON(LPBHVRCOM lpBhvrCom, LPVOID lpVoid);

#endif /* FAMOFLAS_NEXTNUMBERS_B0100094_H */
