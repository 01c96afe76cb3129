/*
 * B90CA701 - beginAppointmentSync: a user's appointments ("Appointments",
 * record element "APPT") or tasks ("Tasks", "TASK") kept in step with the
 * user's PIM client, one request document (B90CA700 envelope) per call. The
 * activities are F01301 rows of the user's address number with STPIM "1";
 * recurrence patterns and exclusion dates live in F01331, deletions the
 * client has yet to take in F01302. Rows are read and written through the
 * activity companions (frame/companions.h), called by name.
 *
 * A run: "getcount" stages the changes since the client's anchor in the data
 * cache and answers the totals and the run's anchor; "getdetails" pages
 * through the staged records; "putnew", "putmodified" and "putdeleted" apply
 * the client's own changes; "endsync" closes the run.
 *
 * Choices where the exchange leaves them open:
 *
 * Caches. Named "LPB90CA701_Data:%ls" and "B90CA701_State:%ls" with the key
 *   text "USER:appDataType", so that no two users, and no user's appointment
 *   and task runs, share one. The data cache holds B90CA701_RECORDs keyed by a
 *   sequence number from 1 in staging order: the deletions first, then the
 *   activities in the order they changed (UDTTM, then ACTVID). Records are
 *   numbered by that key, so a page is found directly and a retried page
 *   gives the same records. The state cache holds one B90CA701_STATE (the
 *   run's anchor and the client's). "getcount" starts a new run (both caches
 *   refilled); "endsync" ends both.
 *
 * The PIM timestamp is TDLDS (the activity's utPIMTimestamp): the version
 *   (UDTTM) of the activity that the client holds. Null: never sent (the
 *   record goes as "New"). Equal to UDTTM: the client wrote this version
 *   itself (a put stamps both alike). Later than UDTTM: this version was sent
 *   to the client then (getdetails marks each record it writes, provided the
 *   row is still the version staged). Earlier: changed since the client had it.
 *
 * Selection. INDID = the user's address number, STPIM = "1", ISTODO = "1"
 *   (Tasks) or "0" (Appointments), (UDTTM > client's anchor - 300 s OR TDLDS
 *   is null OR UDTTM is null), (UDTTM <= run's anchor OR UDTTM is null). Then
 *   each row: on an initial sync (anchor "19700101000000Z") every one is
 *   "New"; otherwise TDLDS null is "New"; TDLDS equal to UDTTM is skipped (no
 *   echo of the client's own change); UDTTM after the client's anchor is
 *   "Modify"; at or before it (the 300 s margin) only when TDLDS is earlier
 *   than UDTTM, which catches a change stamped before the last anchor but
 *   committed after that run read the table, and nothing it already sent.
 *
 * No change lost, no change doubled. The run's anchor is the current time cut
 *   to whole seconds; stamps are microseconds, so a change in the anchor's own
 *   second, or any committed after the selection ran, sorts after the anchor:
 *   it is left to the next run (the upper bound above, checked again on the
 *   row as read), never sent twice. A change between "getcount" and
 *   "getdetails" leaves the staged version unmarked (the version check fails),
 *   so the next run sends the new one. A retried run (no "endsync" success,
 *   the client keeps its old anchor) sends again what the lost run sent.
 *   Deletions: every F01302 row of the user and type visible at "getcount" is
 *   staged; "endsync" with "Success" deletes exactly those (same owner, id
 *   and deletion time), so a deletion recorded during the run waits for the
 *   next. An initial sync stages no deletions; its "endsync" clears those
 *   recorded up to its anchor (the client holds nothing of them).
 *   Another "SyncResult" clears nothing: the client will run again.
 *
 * Conflicts. A "Modify" or "Delete" of an activity whose current version the
 *   client does not hold (TDLDS null or earlier than UDTTM: the server changed
 *   it since the client last had it, during this sync or before) is refused
 *   with "Record was changed during the sync" and changes nothing; the next
 *   run sends the server's version. Puts are meant to follow the run's pages.
 *
 * "HardDelete" deletes even so: the client insists. "Delete" and "HardDelete"
 *   of an activity that is not there succeed (it is gone, as asked). A client
 *   deletion removes the F01301 row and its recurrence pattern and
 *   exclusions (unless another activity shares them); it is not recorded in
 *   F01302, the client knowing of it already.
 * "putdeleted" applies its records as deletions: each is "Delete" unless its
 *   "requestedEvent" says "HardDelete"; "Modify" there is refused.
 * "putnew" keeps the client's "uid" as the activity id when it is at most 36
 *   characters and no activity has it; when the user already has an activity
 *   of that id the request is a retry whose answer was lost, and the
 *   activity is updated from the element instead of created twice; otherwise
 *   the server makes a new id. The result's "uid" is the id kept.
 * "Modify" of an activity not in F01301 creates it under that id. Attributes
 *   the element leaves out keep their stored value; "repeatType" left out
 *   keeps the recurrence, "None" or blank removes it, any other value sets
 *   it from the "REPEAT" child (required then); its "EXCLUSION" dates not yet
 *   in F01331 are added (dates the client no longer sends stay).
 * "EOA" stands for a date or time the record does not have: the element
 *   reader takes a date, time or alarm value "EOA" as none (null), and the
 *   writer sends "EOA" for a null date or time ("startDate", "endDate",
 *   "dueDate") and for "alarmDate" and "alarmTime" of an activity without an
 *   alarm; "completedDate" and "completedTime" are left out when null.
 * Alarm. alarmDate/alarmTime = start (for a task without one, its due date at
 *   00:00 UTC) less the lead time in its increment, a code of UDC 01/"LT"
 *   whose description is "Minutes", "Hours" or "Days". From the client the
 *   lead time is kept in the largest of those that divides it exactly.
 * Values refused (the record fails and nothing of it is written): a text
 *   longer than its column, a date other than eight digits of a real day (or
 *   "EOA"), a time other than HHMM, flags other than the forms sent, an alarm
 *   after the start or longer than 99,999 increments, a frequency or week of
 *   month that does not fit, an element other than the run's record element.
 *   Each record is applied in a transaction of its own: all or nothing.
 *
 * Faults of the request (missing or wrong attributes, elements or counts, an
 * unknown command or data type, a username that is not the signed-on user)
 * are traced with the texts of the exchange and raise B90CA701_ERROR_REQUEST
 * (or B90CA701_ERROR_USER) with ER_ERROR; nothing is written and no response
 * is stored. Faults of the server (caches, tables, memory) raise
 * B90CA701_ERROR_RUN. A put whose records partly fail answers in full and
 * returns ER_WARNING. "getdetails" with no run in this process (another
 * process ran "getcount") traces "cache does nto exists" and answers an empty
 * page (ER_WARNING).
 */
#ifndef FAMOFLAS_SYNC_B90CA701_H
#define FAMOFLAS_SYNC_B90CA701_H

#include "frame/companions.h"
#include "sync/B90CA700.h"

#define B90CA701_DATA_CACHE_FORMAT u"LPB90CA701_Data:%ls"
#define B90CA701_STATE_CACHE_FORMAT u"B90CA701_State:%ls"
/* Stands for a date or time a record does not have. */
#define B90CA701_EOA u"EOA"
/* How far before the client's anchor the selection looks for changes committed late. */
#define B90CA701_LATE_CHANGE_SECONDS 300

#define B90CA701_ERROR_REQUEST u"PIMREQ" /* text: the attribute, element or value at fault */
#define B90CA701_ERROR_USER u"PIMUSR"    /* text: the request's username */
#define B90CA701_ERROR_RUN u"PIMRUN"     /* text: what failed */

/* Texts of the failure triple of a put result. */
#define B90CA701_CHANGED_DURING_SYNC u"Record was changed during the sync"
#define B90CA701_FAILED_TO_CHANGE u"Failed to change record"

/*
 * Data structure of beginAppointmentSync.
 *   idRecordCount  out  getcount: records staged; getdetails: records in the
 *                       page; puts: records written
 */
#define DSB90CA701_MEMBERS(M, S) M(S, ID, idRecordCount, 0)
FAMOFLAS_DS(DSB90CA701, DSB90CA701_MEMBERS)

FAMOFLAS_BSFN ID beginAppointmentSync(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/* Commands, as B90CA701_CONTEXT.nCommand. */
#define B90CA701_GETCOUNT 1
#define B90CA701_GETDETAILS 2
#define B90CA701_ENDSYNC 3
#define B90CA701_PUTNEW 4
#define B90CA701_PUTMODIFIED 5
#define B90CA701_PUTDELETED 6

/*
 * Written records. An appointment whose start equals its end (or has none) is
 * still sent, with the trace naming it, so that the pages add up to the
 * totals. The short form (PIM flag other than "1") comes from a run only
 * when a change clearing the flag, stamped before the run's anchor, commits
 * between the selection (flagged activities only) and the re-read of that
 * activity; otherwise it is for direct callers of
 * B90CA701_AddRecordDetailsToXML. It carries no ">" before the closing tag.
 */
/* Kinds of staged records. */
#define B90CA701_STAGED_ACTIVITY u'A'
#define B90CA701_STAGED_DELETION u'D'

/* The state cache's one record. */
typedef struct tagB90CA701_STATE {
  ID idKey; /* always 1 */
  JCHAR szSyncAnchor[SYNC_ANCHOR_SIZE];
  JCHAR szClientSyncAnchor[SYNC_ANCHOR_SIZE];
} B90CA701_STATE, *LPB90CA701_STATE;

/*
 * A data cache record: an activity with its recurrence pattern
 * (szRecurrenceID blank when none), or a deletion (szActivityID,
 * mnAddressNumber, cToDoTask and, in utUpdateTime, the deletion time).
 */
typedef struct tagB90CA701_RECORD {
  ID idSequence; /* the key: 1, 2, ... in staging order */
  JCHAR cKind;   /* B90CA701_STAGED_* */
  DSACTIVITY activity;
  DSRECURRENCE recurrence;
} B90CA701_RECORD, *LPB90CA701_RECORD;

/* A response under construction: grown as needed, always terminated. */
typedef struct tagB90CA701_TEXT {
  JCHAR *lpszText;
  size_t nLength;
  size_t nCapacity;
} B90CA701_TEXT, *LPB90CA701_TEXT;

/* A lead-time increment of UDC 01/LT as read once per call. */
typedef struct tagB90CA701_INCREMENT {
  JCHAR szCode[11];
  int nMinutes; /* 1, 60, 1440; 0 when the code is none of them */
} B90CA701_INCREMENT;
#define B90CA701_MAX_INCREMENTS 8

/* "GETINFO" as read. */
typedef struct tagB90CA701_GETINFO {
  int nStartRec;
  int nNumRecsRequested;
  JCHAR szSyncAnchor[SYNC_ANCHOR_SIZE];
} B90CA701_GETINFO, *LPB90CA701_GETINFO;
/* What B90CA701_getGetInformation must find besides the element. */
#define B90CA701_NEED_START_REC 1
#define B90CA701_NEED_NUM_RECS 2
#define B90CA701_NEED_ANCHOR 4

/* "PUTINFO" as read: its record elements, released with B90CA701_freePutInformation. */
typedef struct tagB90CA701_PUTINFO {
  int nRecsToWrite;
  XRCS_hElement *lphRecords;
} B90CA701_PUTINFO, *LPB90CA701_PUTINFO;

/* Exclusion dates read from a "REPEAT" element (vyrRealloc'd, distinct). */
typedef struct tagB90CA701_EXCLUSIONS {
  VYRDATE *lpDates;
  int nCount;
  int nCapacity;
} B90CA701_EXCLUSIONS, *LPB90CA701_EXCLUSIONS;

/* What an element says of the recurrence. */
#define B90CA701_REPEAT_KEPT 0    /* no "repeatType" */
#define B90CA701_REPEAT_SET 1     /* a type, with its "REPEAT" */
#define B90CA701_REPEAT_REMOVED 2 /* "None" or blank */

/* The record of one call: the envelope's context and what the call holds. */
typedef struct tagB90CA701_CONTEXT {
  SYNCCONTEXT sync;
  LPBHVRCOM lpBhvrCom;
  LPVOID lpVoid;
  int nCommand;
  BOOL bTasks;
  JCHAR szRecordName[5];                                       /* "APPT" or "TASK" */
  JCHAR szKeyText[SYNC_USERNAME_SIZE + SYNC_APPDATATYPE_SIZE]; /* "USER:appDataType" */
  ID idHUser;                                                  /* sync.hUser parked for the companions */
  HUSER hWrites; /* the call's transaction (commit mode 1), opened on first use */
  ID idWrites;
  BOOL bRunOpen; /* the state cache holds the run's state */
  B90CA701_STATE state;
  MATH_NUMERIC mnAddressNumber;
  HREQUEST hExclusions; /* F01331 read for the records written, opened on first use */
  BOOL bCategory;
  JCHAR szCategory[256]; /* the " category=..." attribute, made once per call */
  B90CA701_INCREMENT increments[B90CA701_MAX_INCREMENTS];
  int nIncrements;
  B90CA701_TEXT response;
  ID idRecordCount;
} B90CA701_CONTEXT, *LPB90CA701_CONTEXT;

/* Parses the request text into the context (parser, document, root): 1, or 0 traced. */
FAMOFLAS_INTERNAL int B90CA701_init_XMLDoc(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszXML);
/*
 * Reads "username" (which must be the signed-on user), "command" and
 * "appDataType"; opens the caches (B90CA701_InitCache) and reads the run's
 * state. 1, or 0 with the fault traced and raised.
 */
FAMOFLAS_INTERNAL int B90CA701_InitActivityInfo(LPB90CA701_CONTEXT lpContext);
/* Opens (creating when new) the data and state caches of the key text: 1, or 0. */
FAMOFLAS_INTERNAL int B90CA701_InitCache(LPB90CA701_CONTEXT lpContext);
/* Reads "GETINFO" (first child of the root) with the attributes nNeeded names: 1, or 0 traced and raised. */
FAMOFLAS_INTERNAL int B90CA701_getGetInformation(LPB90CA701_CONTEXT lpContext, LPB90CA701_GETINFO lpInfo, int nNeeded);
/* Reads "PUTINFO": "numRecsToWrite" and exactly that many child elements: 1, or 0 traced and raised. */
FAMOFLAS_INTERNAL int B90CA701_getPutInformation(LPB90CA701_CONTEXT lpContext, LPB90CA701_PUTINFO lpInfo);
FAMOFLAS_INTERNAL void B90CA701_freePutInformation(LPB90CA701_PUTINFO lpInfo);

/* The commands: each stores its response in lpContext->response; ER_SUCCESS, ER_WARNING or ER_ERROR. */
FAMOFLAS_INTERNAL ID B90CA701_getCount(LPB90CA701_CONTEXT lpContext);
/*
 * Stages the user's F01302 deletions of the run's type after *lpidSequence
 * (advanced); returns how many, or -1 when F01302 cannot be read.
 */
FAMOFLAS_INTERNAL int B90CA701_getDeletedCount(LPB90CA701_CONTEXT lpContext, ID *lpidSequence);
FAMOFLAS_INTERNAL ID B90CA701_getDetails(LPB90CA701_CONTEXT lpContext);
FAMOFLAS_INTERNAL ID B90CA701_putNew(LPB90CA701_CONTEXT lpContext);
/* "putmodified", and "putdeleted" (the context's command tells). */
FAMOFLAS_INTERNAL ID B90CA701_putModified(LPB90CA701_CONTEXT lpContext);
FAMOFLAS_INTERNAL ID B90CA701_endSync(LPB90CA701_CONTEXT lpContext);

/*
 * Fills the activity (and the recurrence and exclusions) from a record
 * element, over what they hold: 1, or 0 (traced) when a value is refused.
 * *lpnRepeat receives B90CA701_REPEAT_*.
 */
FAMOFLAS_INTERNAL int B90CA701_PopulateRecordFromElement(LPB90CA701_CONTEXT lpContext, XRCS_hElement hElement,
                                                         LPDSACTIVITY lpActivity, LPDSRECURRENCE lpRecurrence,
                                                         LPB90CA701_EXCLUSIONS lpExclusions, int *lpnRepeat);
/*
 * Appends the record element of a staged record to lpText: 1, or 0 when
 * memory or the exclusions' table failed (nothing appended then).
 */
FAMOFLAS_INTERNAL int B90CA701_AddRecordDetailsToXML(LPB90CA701_CONTEXT lpContext, LPB90CA701_TEXT lpText,
                                                     const B90CA701_RECORD *lpRecord);
/* Appends " repeatType=...>" and the "REPEAT" element with its "EXCLUSION"s: 1, or 0. */
FAMOFLAS_INTERNAL int B90CA701_GetRecurrenceXML(LPB90CA701_CONTEXT lpContext, LPB90CA701_TEXT lpText,
                                                const DSRECURRENCE *lpRecurrence);
/*
 * The alarm of an activity as the client gets it: alarmDate ("%04d%02d%02d",
 * 9 JCHAR), alarmTime ("%02d%02d", 5) and alarmFlag ("Yes"/"No", 4). 1, or 0
 * when the lead-time increment is none of UDC 01/LT's (traced; "EOA", "EOA",
 * "No" written then, as for an activity without an alarm).
 */
FAMOFLAS_INTERNAL int B90CA701_encodePIMAlarmValues(LPB90CA701_CONTEXT lpContext, const DSACTIVITY *lpActivity,
                                                    JCHAR *lpszAlarmDate, JCHAR *lpszAlarmTime, JCHAR *lpszAlarmFlag);
/*
 * The client's alarm (each text may be NULL: not sent) into the activity's
 * lead time, increment and flag, against its start as already read: 1, or 0
 * when refused.
 */
FAMOFLAS_INTERNAL int B90CA701_decodePIMAlarmValues(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszAlarmDate,
                                                    const JCHAR *lpszAlarmTime, const JCHAR *lpszAlarmFlag,
                                                    LPDSACTIVITY lpActivity);
/*
 * A client's date ("%04d%02d%02d" of a real day, or "EOA": null) and time
 * ("%02d%02d", "EOA" or NULL: 00:00) as a UTIME, zone "UTC -0:00": 1, or 0.
 */
FAMOFLAS_INTERNAL int B90CA701_decodeDateAndTime(const JCHAR *lpszDate, const JCHAR *lpszTime, LPUTIME lpTime);

/*
 * Looks the activity up in F01301 under the call's transaction: 1 when it is
 * there (its owner and kind in *lpActivity's columns), 0 when not, -1 when
 * the table cannot be read.
 */
FAMOFLAS_INTERNAL int B90CA701_checkForRecord(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszActivityID,
                                              LPDSACTIVITY lpActivity);
/* 1 when F01331 holds the exclusion date of the pattern, 0 when not, -1 when unreadable. */
FAMOFLAS_INTERNAL int B90CA701_ExclusionExists(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszRecurrenceID,
                                               const VYRDATE *lpDate);
/* Deletes the activity row, and its pattern and exclusions when not shared: 1, or 0 traced. */
FAMOFLAS_INTERNAL int B90CA701_DeleteActivity(LPB90CA701_CONTEXT lpContext, const DSACTIVITY *lpActivity);

/*
 * Thin callers of the activity companions of the same names (the update ones
 * with their column-string builders), under the call's transaction with the
 * companion's errors suppressed: the record's szErrorMessageID tells, and a
 * failure is traced. Each returns the companion's code.
 */
FAMOFLAS_INTERNAL ID B90CA701_InitializeActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity);
FAMOFLAS_INTERNAL ID B90CA701_InitializeRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence);
FAMOFLAS_INTERNAL ID B90CA701_InitializeExclusion(LPB90CA701_CONTEXT lpContext, LPDSEXCLUSION lpExclusion);
FAMOFLAS_INTERNAL ID B90CA701_SelectActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity);
FAMOFLAS_INTERNAL ID B90CA701_SelectRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence);
FAMOFLAS_INTERNAL ID B90CA701_InsertActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity);
FAMOFLAS_INTERNAL ID B90CA701_InsertRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence);
FAMOFLAS_INTERNAL ID B90CA701_InsertExclusion(LPB90CA701_CONTEXT lpContext, LPDSEXCLUSION lpExclusion);
/*
 * UpdateActivityUTC of the columns lpszColumns names; with NULL, of those
 * BuildActivityUpdateColumnsString finds changed (none: nothing written).
 */
FAMOFLAS_INTERNAL ID B90CA701_UpdateActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity,
                                             const JCHAR *lpszColumns);
/* BuildRecurrenceUpdateColsString, then UpdateRecurrenceUTC of the columns that differ. */
FAMOFLAS_INTERNAL ID B90CA701_UpdateRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence);

#endif /* FAMOFLAS_SYNC_B90CA701_H */
