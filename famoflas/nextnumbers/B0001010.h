/*
 * B0001010 - GetDistributedNextNumber: blocks of unique key identifiers per
 * object name from F00022, or, without an object name, one number from the
 * next-number tables. Both are handed out in one locked step: the row is
 * fetched for update and written back incremented before the lock ends, so
 * callers on any number of processes and machines never get the same number.
 *
 * Unique keys (szObjectName not blank): mnNextNumber := UKID of the name's
 * row and UKID := UKID + mnNumberOfKeys; the caller owns mnNextNumber to
 * mnNextNumber + mnNumberOfKeys - 1. A name without a row gets one with
 * UKID 1 + mnNumberOfKeys and the block from 1.
 * First-row race: when several callers ask for a new name at once, the
 * database admits one insert and refuses the others. Each refused caller then
 * fetches the winner's row, again for update, and takes the next block, so
 * none of them fails; only when that second fetch finds no row either does
 * the call end with "078F".
 *
 * Next numbers (szObjectName blank), by the method NextNumberInquiry reads
 * ("NNO", "0" when szDocumentType is empty or one blank):
 *   "0"       the F0002 counter of szSystemCode and index mnNextNumberingIndexNo;
 *   "1", "2"  the F00021 row the inquiry's search finds (its order is in
 *             B7400210.h), else the F0002 counter as for "0";
 *   other     nothing is handed out ("4456").
 * The check digit and imbedded fiscal-year digits are applied as the inquiry
 * applies them, so the number is the one the inquiry showed just before,
 * except that the inquiry also pushes past documents already in the ledgers.
 * mnNumberOfKeys is not read on this path: one number is handed out. A
 * counter of 0 hands out 1, in F0002, F00021 and F00022 alike.
 *
 * Errors (item 0 unless given; "078D", "078F", "078H", "078I" carry the table):
 *   "4363" null argument; "078S" behaviour;
 *   "4456" on item 8 when mnNumberOfKeys is not a whole number from 1 to
 *          999,999,999,999,999 (UKID's 15 digits), before F00022 is touched;
 *   "078D" F00022, F0002 or F00021 cannot be opened;
 *   "078H" the incremented counter cannot be written (a block that would
 *          carry UKID, or a counter, past its digits);
 *   "078F" the first row of a name cannot be inserted, nor found afterwards;
 *   "4456" on item 2 for an index that is not a whole number 1-10 (numbering
 *          from F0002); "078I" (F0002) on item 1 for a system code without a
 *          row; "4456" for a counter that holds no whole number of at least 0,
 *          for an unknown method, and after any failure of methods "1" and "2"
 *          (on item 6 for a century or fiscal year of method "2" that is not
 *          a whole number 0-99).
 * On every error mnNextNumber is 0 and no counter has moved.
 */
#ifndef FAMOFLAS_NEXTNUMBERS_B0001010_H
#define FAMOFLAS_NEXTNUMBERS_B0001010_H

#include "frame/companions.h"
#include "nextnumbers/nextnumbertables.h"

/*
 * Data structure of GetDistributedNextNumber: the first six members of the
 * next-number record (DSNEXTNUMBER), then
 *   7 szObjectName    in   OBNM of F00022; blank: ordinary next numbers
 *   8 mnNumberOfKeys  in   how many identifiers the caller takes
 *   9 mnNextNumber    out  the first identifier or number handed out; 0 when none
 */
#define DSD0001010_MEMBERS(M, S) \
  DSNEXTNUMBER_KEY_MEMBERS(M, S) \
  M(S, STRING, szObjectName, 10) \
  M(S, MATH, mnNumberOfKeys, 0)  \
  M(S, MATH, mnNextNumber, 0)
FAMOFLAS_DS(DSD0001010, DSD0001010_MEMBERS)

#define B0001010_ITEM_NUMBER_OF_KEYS 8

FAMOFLAS_BSFN ID GetDistributedNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/* The unique-key block of szObjectName, on hUser. Returns 0, or 2 after reporting. */
FAMOFLAS_INTERNAL ID I0001010_TakeUniqueKeys(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, LPDSD0001010 lpDS);

/*
 * The next-number path (szObjectName blank) on hUser: opens F0002 (and
 * F00021 for methods "1" and "2"), takes the number and applies its digits.
 * Returns 0, or 2 after reporting, with mnNextNumber 0.
 */
FAMOFLAS_INTERNAL ID I0001010_TakeNextNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HUSER hUser, LPDSD0001010 lpDS);

/*
 * Hands out the F0002 counter of the record's system code and index
 * (hRequest on F0002 index 1): mnNextNumber := the counter (1 for 0), the
 * counter := that + 1, in one locked step; lpRow receives the row as it was
 * read, for the check-digit flag. No check digit is applied here. Returns 0,
 * or 2 after reporting, with mnNextNumber 0 and the counter unchanged.
 */
FAMOFLAS_INTERNAL ID I0001010_TakeNextNumberByType(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HREQUEST hRequest,
                                                   DSNEXTNUMBER *lpDS, ROW_F0002 *lpRow);

/*
 * The same by company (methods "1" and "2"): the F00021 row of the inquiry's
 * search, else F0002. lpF00021Row receives the flags the check-digit and
 * imbedding steps read. Returns 0, or 2 with mnNextNumber 0 and no counter
 * moved (the caller reports "4456").
 */
FAMOFLAS_INTERNAL ID I0001010_TakeNextNumberByCompany(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, HREQUEST hRequestF0002,
                                                      HREQUEST hRequestF00021, DSNEXTNUMBER *lpDS,
                                                      ROW_F0002 *lpF0002Row, ROW_F00021 *lpF00021Row);

#endif /* FAMOFLAS_NEXTNUMBERS_B0001010_H */
