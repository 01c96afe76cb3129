/*
 * companions.h - data structures of the companion business functions that the
 * library calls by name (they live in libfamoflascompanions.so). One
 * description serves both sides: the library fills the record, the companion
 * includes this header for its own definition and template. Among them are
 * the clean-up companions that end what a job kept in named caches, which
 * vyrFreeEnvBSFN calls when an environment is released.
 */
#ifndef FAMOFLAS_FRAME_COMPANIONS_H
#define FAMOFLAS_FRAME_COMPANIONS_H

#include "frame/bsfn.h"

/*
 * GetAuditInfo (source object C9800001): the audit stamp of the calling
 * context, with which the library fills the audit columns of the rows it
 * writes.
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
#define DSGETAUDITINFO_MEMBERS(M, S) \
  M(S, STRING, szUserId, 10)         \
  M(S, STRING, szProgramId, 10)      \
  M(S, STRING, szWorkstationId, 15)  \
  M(S, DATE, jdDate, 0)              \
  M(S, MATH, mnTime, 0)
FAMOFLAS_DS(DSGETAUDITINFO, DSGETAUDITINFO_MEMBERS)

/*
 * GetUDC (source object C0000005): one user-defined code of F0005 by its key,
 * with its descriptions and special-handling code.
 *
 *  szProductCode          in   product code (F0005 SY), e.g. "01"
 *  szRecordType           in   record type (RT), e.g. "SG"
 *  szUserDefinedCode      in   the code (KY), e.g. "PIMSG"
 *  szDescription001       out  description line 1 (DL01)
 *  szDescription002       out  description line 2 (DL02)
 *  szSpecialHandlingCode  out  special-handling code (SPHD)
 *  cSuppressErrorMessage  in   '1': a code that is not found sets no error
 * The outputs carry no trailing blanks and are blank ("") unless found.
 * Returns ER_SUCCESS when found; otherwise ER_ERROR with error
 * GETUDC_ERROR_NOT_FOUND on item 3 (unless suppressed), "4363" on item 0 for a
 * null argument, "078S" when no behaviour handle can be had, or "078D"
 * ("F0005") when the table cannot be opened.
 */
#define GETUDC_ERROR_NOT_FOUND u"UDCNF"
#define DSGETUDC_MEMBERS(M, S)            \
  M(S, STRING, szProductCode, 4)          \
  M(S, STRING, szRecordType, 2)           \
  M(S, STRING, szUserDefinedCode, 10)     \
  M(S, STRING, szDescription001, 30)      \
  M(S, STRING, szDescription002, 30)      \
  M(S, STRING, szSpecialHandlingCode, 10) \
  M(S, CHAR, cSuppressErrorMessage, 0)
FAMOFLAS_DS(DSGETUDC, DSGETUDC_MEMBERS)

/*
 * ReviseDecimalSeparatorInString (source object C0000500): rewrites the
 * separators of a number text so that it reads as meant.
 *
 *  szNumericString        in/out  the number text (sign, blanks and other
 *                                 characters are kept where they are)
 *  cRevisionMode          in      '1': to the form ParseNumericString reads under
 *                                      the current number format (decimal mark of
 *                                      that format, no grouping);
 *                                 '2': to program form ('.' decimal mark, no
 *                                      grouping), as vyrAtof reads it
 *  cEitherMarkIsDecimal   in      'Y': the decimal mark is recognised whichever of
 *                                      '.' and ',' the user typed: a mark that
 *                                      occurs once and is the last mark of the
 *                                      text is the decimal mark, every other
 *                                      mark is grouping;
 *                                 otherwise only the current format's decimal
 *                                      mark is decimal and its other mark is
 *                                      grouping
 * Returns ER_SUCCESS; ER_ERROR with "4363" on item 2 for an unknown mode.
 */
#define DSREVISEDECSEP_STRING_LENGTH 40
#define DSREVISEDECSEP_MEMBERS(M, S)                          \
  M(S, STRING, szNumericString, DSREVISEDECSEP_STRING_LENGTH) \
  M(S, CHAR, cRevisionMode, 0)                                \
  M(S, CHAR, cEitherMarkIsDecimal, 0)
FAMOFLAS_DS(DSREVISEDECSEP, DSREVISEDECSEP_MEMBERS)

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

/*
 * The next-number parameter record. NextNumberInquiry (B7400210) and
 * X0010GetNextNumber share it whole; GetDistributedNextNumber (B0001010)
 * takes its first six members and adds its own before mnNextNumber.
 *
 *   1 szSystemCode            in   system code, key of F0002 ("01", "04", "09")
 *   2 mnNextNumberingIndexNo  in   next-number index 1-10 of the system
 *   3 szCompany               in   company (KCO) for numbering by company
 *   4 szDocumentType          in   document type (DCT) for numbering by company;
 *                                  empty or one blank forces numbering by system
 *   5 mnCentury               in   century of the fiscal year (20 for 2024),
 *                                  numbering by company and fiscal year
 *   6 mnFiscalYear            in   fiscal year within the century, 0-99
 *   7 mnNextNumber            out  the next number, 0 when none
 */
#define DSNEXTNUMBER_KEY_MEMBERS(M, S)  \
  M(S, STRING, szSystemCode, 4)         \
  M(S, MATH, mnNextNumberingIndexNo, 0) \
  M(S, STRING, szCompany, 5)            \
  M(S, STRING, szDocumentType, 2)       \
  M(S, MATH, mnCentury, 0)              \
  M(S, MATH, mnFiscalYear, 0)
#define DSNEXTNUMBER_MEMBERS(M, S) \
  DSNEXTNUMBER_KEY_MEMBERS(M, S)   \
  M(S, MATH, mnNextNumber, 0)
FAMOFLAS_DS(DSNEXTNUMBER, DSNEXTNUMBER_MEMBERS)

/* Members of DSNEXTNUMBER that errors are attached to. */
#define DSNEXTNUMBER_ITEM_SYSTEM_CODE 1
#define DSNEXTNUMBER_ITEM_INDEX 2
#define DSNEXTNUMBER_ITEM_FISCAL_YEAR 6

/*
 * X0010GetNextNumber (source object X0010) hands out the next number of a
 * system code and next-number index from F0002 (DSNEXTNUMBER: members 1, 2
 * in, 7 out; the others are not read). Reading the counter and writing it
 * incremented is one locked step, so concurrent callers on any number of
 * processes never get the same number. A counter of 0 hands out 1. When the
 * index's check-digit flag is "Y" the number handed out carries the check
 * digit, as NextNumberInquiry shows it.
 * Errors: "4363" null argument, "078S" behaviour, "078D" (text F0002) table;
 * "4456" on item 2 for an index that is not a whole number 1-10; "078I"
 * (text F0002) on item 1 when the system code has no row; "4456" when the
 * counter holds no whole number of at least 0; "078H" (text F0002) when the
 * incremented counter cannot be written (its 8 digits are full). On every
 * error mnNextNumber is 0 and the counter is as it was.
 */

/*
 * GetEnvironmentValue (source object C9800002): the first character of an
 * environment value of the calling context ("CRMMSL", the mobile sales switch).
 *
 *   1 szKey     in   the value's key
 *   2 cValue    out  its first character; 0 when the value is empty
 * Returns ER_SUCCESS; ER_ERROR with "4363" on item 1 for a key the platform
 * does not know (cValue 0).
 */
#define DSGETENVVALUE_MEMBERS(M, S) \
  M(S, STRING, szKey, 10)           \
  M(S, CHAR, cValue, 0)
FAMOFLAS_DS(DSGETENVVALUE, DSGETENVVALUE_MEMBERS)

/*
 * The activity companions (source objects C0130101, C0133101) keep the
 * activity tables: F01301 activities, F01331 recurrence patterns (TDEX null)
 * and their exclusion dates, F01302 deletions the PIM client has not taken.
 * Every one takes idHUser: 0 works under a handle of its own (each statement
 * committed on its own, several statements of one call in one transaction);
 * otherwise the vyrStoreDataPtr index of the caller's user handle, whose
 * transaction the call joins and which the caller commits. Reads that must
 * see the caller's uncommitted writes pass it too.
 *
 * Errors (each ER_ERROR): "4363" null argument or unusable idHUser, "078S"
 * behaviour, "078D" (text: the table) table cannot be opened, ACTIVITY_ERROR_*
 * below (text: the activity or recurrence id). Each data structure ends with
 * cSuppressErrorMessage ("1": the error is not raised on the context, for a
 * caller that expects it and decides) and szErrorMessageID (out: the id of
 * the error, raised or not; blank when none).
 */
#define ACTIVITY_ERROR_NOT_FOUND u"ACTNF"  /* no activity (recurrence pattern) of that id */
#define ACTIVITY_ERROR_DUPLICATE u"ACTDUP" /* the id is taken */
#define ACTIVITY_ERROR_CHANGED u"ACTCHG"   /* the stored version is not utUpdateTime */
#define ACTIVITY_ERROR_COLUMNS u"ACTCOL"   /* szUpdateColumns names a column that cannot be updated */
#define ACTIVITY_ERROR_TABLE u"ACTDB"      /* the tables refused a read or write */

/*
 * DSACTIVITY: one activity, its members in F01301's column order (the first
 * DSACTIVITY_COLUMN_COUNT members are a row record of those columns), then
 * the members that steer the call. Flags: cAllDayEvent, cPrivateFlag "Y"/"N";
 * cToDoTask, cCompletedFlag, cAlarmFlag, cPIMFlag "1"/"0". UTIMEs are UTC.
 *
 *  szActivityID          ACTVID  the id (InsertActivity makes a GUID when blank)
 *  mnAddressNumber       INDID   the owner's address number
 *  szActivityType        ACTTYP  APPOINTMT, TODOTASK, PERSONAL
 *  szSubject, szDescription, szLocation   ACTSUBJ, ACTDSC, ACTLOC
 *  cAllDayEvent          ALLDAY
 *  utStartTime, utEndTime  BGTM, ENDTM
 *  jdDueDate             DUEDT
 *  cToDoTask             ISTODO  "1" task, "0" appointment
 *  cCompletedFlag, utCompletedTime   CMPLFL, CMPLTM
 *  mnLeadTime, szLeadTimeIncrement   LEADTM, LEADINC: the alarm sounds that
 *                        many increments (a code of UDC 01/LT) before the start
 *  cAlarmFlag            ALRMFL
 *  cPrivateFlag          PRIVFL
 *  cPIMFlag              STPIM   "1": kept in step with the owner's PIM client
 *  szRecurrenceID        RECURID the pattern in F01331, blank when none
 *  utPIMTimestamp        TDLDS   the version the PIM client holds: null never
 *                        sent; equal to utUpdateTime it wrote this version;
 *                        later, this version was sent to it at that time
 *  utUpdateTime          UDTTM   the last change (out of every write); in for
 *                        UpdateActivityUTC with cCheckVersion "1"
 *  idHUser               in   see above
 *  cChangedByPIM         in   "1": the write comes from the PIM client, which
 *                             therefore holds the new version: utPIMTimestamp
 *                             takes the new utUpdateTime
 *  cCheckVersion         in   "1" (UpdateActivityUTC): refuse with
 *                             ACTIVITY_ERROR_CHANGED unless the stored
 *                             UDTTM is utUpdateTime (the version the caller read)
 *  szUpdateColumns       in/out  aliases separated by blanks (UpdateActivityUTC
 *                             reads, BuildActivityUpdateColumnsString writes)
 *
 * InitializeActivity     sets every column member to its default (blank
 *                        strings and codes, zero numbers, null date and
 *                        UTIMEs, "N" and "0" flags, cPIMFlag "1") and clears
 *                        the steering members but idHUser and
 *                        cSuppressErrorMessage, which it keeps. No table is read.
 * SelectActivityUTC      reads the row of szActivityID into the column members.
 * InsertActivity         writes a new row (ACTIVITY_ERROR_DUPLICATE when the id
 *                        is taken) stamped with a new utUpdateTime; with
 *                        cChangedByPIM "1" utPIMTimestamp is that stamp, else
 *                        as given. A deletion of the same owner and id waiting
 *                        in F01302 is dropped: the activity exists again.
 * BuildActivityUpdateColumnsString  compares the column members with the
 *                        stored row and writes the aliases of those that
 *                        differ (strings ignoring trailing blanks, numbers by
 *                        value, UTIMEs by instant) into szUpdateColumns, ""
 *                        when none; ACTVID and UDTTM are never listed.
 * UpdateActivityUTC      writes the listed columns of the row of szActivityID
 *                        from the members, under a lock on the row. Any column
 *                        but TDLDS is a change: UDTTM takes a new stamp (later
 *                        than the stored UDTTM and TDLDS, so that a version
 *                        never repeats) and the audit columns are written;
 *                        "UDTTM" alone in the list marks a change without
 *                        writing a column. A list of TDLDS alone (a send to
 *                        the PIM client) stamps nothing. "" writes nothing.
 *                        The stamps are returned in the members.
 * DeleteActivity         deletes the activity of szActivityID, with its
 *                        recurrence pattern and exclusions when no other
 *                        activity shares them, and when it is kept with the
 *                        PIM client (STPIM "1") records the deletion in F01302
 *                        for the next sync; all or nothing.
 */
#define DSACTIVITY_COLUMN_COUNT 21
#define DSACTIVITY_MEMBERS(M, S)        \
  M(S, STRING, szActivityID, 36)        \
  M(S, MATH, mnAddressNumber, 0)        \
  M(S, STRING, szActivityType, 10)      \
  M(S, STRING, szSubject, 120)          \
  M(S, STRING, szDescription, 1200)     \
  M(S, STRING, szLocation, 60)          \
  M(S, CHAR, cAllDayEvent, 0)           \
  M(S, UTIME, utStartTime, 0)           \
  M(S, UTIME, utEndTime, 0)             \
  M(S, DATE, jdDueDate, 0)              \
  M(S, CHAR, cToDoTask, 0)              \
  M(S, CHAR, cCompletedFlag, 0)         \
  M(S, UTIME, utCompletedTime, 0)       \
  M(S, MATH, mnLeadTime, 0)             \
  M(S, STRING, szLeadTimeIncrement, 10) \
  M(S, CHAR, cAlarmFlag, 0)             \
  M(S, CHAR, cPrivateFlag, 0)           \
  M(S, CHAR, cPIMFlag, 0)               \
  M(S, STRING, szRecurrenceID, 36)      \
  M(S, UTIME, utPIMTimestamp, 0)        \
  M(S, UTIME, utUpdateTime, 0)          \
  M(S, ID, idHUser, 0)                  \
  M(S, CHAR, cChangedByPIM, 0)          \
  M(S, CHAR, cCheckVersion, 0)          \
  M(S, STRING, szUpdateColumns, 200)    \
  M(S, CHAR, cSuppressErrorMessage, 0)  \
  M(S, STRING, szErrorMessageID, 10)
FAMOFLAS_DS(DSACTIVITY, DSACTIVITY_MEMBERS)

/*
 * DSRECURRENCE: one recurrence pattern, the F01331 row whose TDEX is null,
 * its members in column order (TDEX left out), then the steering members.
 *
 *  szRecurrenceID    RECURID  the id (InsertRecurrence makes a GUID when blank)
 *  szRecurrenceType  RCTYP    the client's repeat type
 *  jdStartDate       RCBGDT
 *  jdEndDate         RCENDT   null: no end
 *  szDayOfWeek       RCDOW
 *  mnFrequency       RCFREQ   every how many periods
 *  mnWeekOfMonth     RCWOM
 *  idHUser           in   as for activities
 *  szUpdateColumns   in/out as for activities (RECURID never listed)
 *
 * InitializeRecurrence, SelectRecurrenceUTC, InsertRecurrence,
 * BuildRecurrenceUpdateColsString and UpdateRecurrenceUTC work as their
 * activity counterparts (without stamps; the audit columns are written).
 */
#define DSRECURRENCE_COLUMN_COUNT 7
#define DSRECURRENCE_MEMBERS(M, S)     \
  M(S, STRING, szRecurrenceID, 36)     \
  M(S, STRING, szRecurrenceType, 10)   \
  M(S, DATE, jdStartDate, 0)           \
  M(S, DATE, jdEndDate, 0)             \
  M(S, STRING, szDayOfWeek, 7)         \
  M(S, MATH, mnFrequency, 0)           \
  M(S, MATH, mnWeekOfMonth, 0)         \
  M(S, ID, idHUser, 0)                 \
  M(S, STRING, szUpdateColumns, 60)    \
  M(S, CHAR, cSuppressErrorMessage, 0) \
  M(S, STRING, szErrorMessageID, 10)
FAMOFLAS_DS(DSRECURRENCE, DSRECURRENCE_MEMBERS)

/*
 * DSEXCLUSION: a date on which a recurring activity does not occur (F01331
 * row with TDEX set). InitializeExclusion blanks it (keeping idHUser);
 * InsertExclusion writes it (ACTIVITY_ERROR_DUPLICATE when the pattern
 * already excludes the date).
 */
#define DSEXCLUSION_MEMBERS(M, S)      \
  M(S, STRING, szRecurrenceID, 36)     \
  M(S, DATE, jdExclusionDate, 0)       \
  M(S, ID, idHUser, 0)                 \
  M(S, CHAR, cSuppressErrorMessage, 0) \
  M(S, STRING, szErrorMessageID, 10)
FAMOFLAS_DS(DSEXCLUSION, DSEXCLUSION_MEMBERS)

/*
 * PpatGetUserIdAddressNumber (source object C0100001): the address number of
 * the signed-on user, from the user's settings.
 *
 *  szUserId         in   blank, or the signed-on user's id
 *  mnAddressNumber  out  the address number; 0 on error
 * ER_ERROR with PPAT_ERROR_NO_ADDRESS_NUMBER on item 2 when the user has none
 * (0), or on item 1 when szUserId names another user (only the signed-on
 * user's settings are known here).
 */
#define PPAT_ERROR_NO_ADDRESS_NUMBER u"USRAN8"
#define DSPPATUSERADDRESS_MEMBERS(M, S) \
  M(S, STRING, szUserId, 10)            \
  M(S, MATH, mnAddressNumber, 0)
FAMOFLAS_DS(DSPPATUSERADDRESS, DSPPATUSERADDRESS_MEMBERS)

#endif /* FAMOFLAS_FRAME_COMPANIONS_H */
