/*
 * vyrdb.h - table access (part of the kernel).
 *
 * Tables, their columns (alias, kind, width, decimals) and numbered indexes
 * are declared in the platform's table catalogue. Records cross this
 * interface packed, column after column, each column in its kind's form:
 *   string of width N  JCHAR[N + 1] (blank-padded to N on fetch, terminated)
 *   character          JCHAR
 *   number             MATH_NUMERIC (exact, with the column's decimals)
 *   integer            int32_t
 *   date               VYRDATE (all zero = null)
 *   timestamp          UTIME
 *   binary (BLOB)      void * to the bytes (see VDB_SetBLOBSize)
 * A row record holds the columns the request was opened with, in that order
 * (all columns in catalogue order when the list was null). A key record holds
 * the index's key columns in index order; nKeys says how many leading ones
 * take part.
 *
 * Strings are stored without trailing blanks and compared ignoring them.
 * Rows come back in the order of the index used (or of the sequencing set).
 *
 * Results. Success is VDB_SUCCESS (1) for every operation here except
 * VDB_UpdateTableColsExtended, which returns 0 for success. Anything else is
 * failure, and two failures are told apart:
 *   VDB_NOT_FOUND (0)  no (further) row: a fetch found none, a scan is at its
 *                      end, an update or delete matched no row. Nothing failed.
 *   VDB_FAILED (2)     the operation did not happen: the database failed or
 *                      refused it, or the call itself was wrong.
 * VDB_UpdateTableColsExtended answers VDB_FAILED for both (an error on the
 * context tells them apart). Bad input (unknown table or column, index out of
 * range, more keys than the index has, a null record, a request used after
 * close) is a failure, never a crash; where a context is known, a trace line
 * says what was wrong.
 *
 * When the database itself fails or refuses, the handle's context also gets
 * an error (item 0, source "vyrdb", the table or environment name as text),
 * so a business function that answers failure because of it has said why:
 *   "DBNO"  the database cannot be opened (no such file, server unreachable)
 *   "DBLS"  the connection was lost or the server stopped answering; the work
 *           of the open transaction was rolled back
 *   "DBTO"  the server cancelled a statement that ran past its time limit
 *   "DBLK"  a lock held by another session did not come free in time
 *           (also a deadlock or serialisation failure)
 *   "DBDK"  a row with the same unique key already exists
 *   "DBCM"  a commit failed; the transaction's work was rolled back
 *   "DBER"  the database refused the statement for another reason
 * A failure forced by the context's "fail" test setting answers VDB_FAILED
 * with a trace line but raises none of these.
 */
#ifndef VYRDB_H
#define VYRDB_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

#define VDB_SUCCESS 1
#define VDB_NOT_FOUND 0
#define VDB_FAILED 2

/* A table or column name (data-dictionary alias), e.g. u"F0007", u"MMCU". */
typedef JCHAR NID[11];

/* ---- Behaviour and user handles ------------------------------------------- */

/* A behaviour handle on the context's environment; each statement commits on its own. Pass (lpBhvrCom, &hUser, NULL,
 * 0). */
VYR_EXPORT ID VDB_InitBhvr(LPBHVRCOM lpBhvrCom, HUSER *lphUser, const JCHAR *lpszReserved, int nReserved);
/* Closes every request still open under the handle, then frees it. */
VYR_EXPORT ID VDB_FreeBhvr(HUSER hUser);
/*
 * A user handle on an environment (null: the context's). With nCommitMode 1
 * its statements run in one transaction that VDB_CommitUser / VDB_RollbackUser
 * end (a new one starts after each); with 0 it behaves as a behaviour handle.
 * An insert refused for a duplicate key leaves the transaction as it was. A
 * statement the database refuses otherwise may end the transaction (PostgreSQL
 * does; so does a lost connection): its work is rolled back, a trace line says
 * so, and the next VDB_CommitUser fails.
 */
VYR_EXPORT ID VDB_InitUser(LPBHVRCOM lpBhvrCom, HUSER *lphUser, HENV hEnv, int nCommitMode);
/* Rolls back what was not committed, closes its requests, frees the handle. */
VYR_EXPORT ID VDB_FreeUser(HUSER hUser);
VYR_EXPORT ID VDB_CommitUser(HUSER hUser);
VYR_EXPORT ID VDB_RollbackUser(HUSER hUser);

/* ---- Environments -----------------------------------------------------------
 * Environments are named databases configured in the context's settings
 * ("env" names the current one; "env.NAME" gives the database of NAME: an
 * SQLite file path, which must exist, or a postgresql://... location for a
 * PostgreSQL server). On a server a statement may run "dbtimeout" seconds
 * (default 60) before the server cancels it ("DBTO"); a server silent 5 s
 * longer counts as lost ("DBLS"), so nothing waits for ever. Idle TCP
 * connections are probed after "dbkeepalive" seconds (default 30).
 */
/* Opens the named environment (null: the context's current one). */
VYR_EXPORT ID VDB_InitEnv(LPBHVRCOM lpBhvrCom, HENV *lphEnv, const JCHAR *lpszEnvironment);
/* Opens a second, independent environment by name, for reading from one database and writing to another. */
VYR_EXPORT ID VDB_InitSecondaryEnv(LPBHVRCOM lpBhvrCom, const JCHAR *lpszEnvironment, HENV *lphEnv);
/* Frees an environment opened by VDB_InitEnv or VDB_InitSecondaryEnv. */
VYR_EXPORT ID VDB_FreeEnv(HENV hEnv);
/* The environment a user handle works on (the handle's own: not to be freed by the caller). */
VYR_EXPORT ID VDB_GetEnv(HUSER hUser, HENV *lphEnv);
/* The environment's name, at most nSize JCHAR with the terminator. */
VYR_EXPORT ID VDB_GetEnvironment(HENV hEnv, JCHAR *lpszName, size_t nSize);

/* ---- Requests ---------------------------------------------------------------- */

/*
 * Opens a request on a table. idIndex is the index fetches use by default (0: index 1);
 * lpColumns lists nColumns columns (null / 0: all). Pass NULL for lpszReserved.
 */
VYR_EXPORT ID VDB_OpenTable(HUSER hUser, const JCHAR *lpszTable, ID idIndex, const NID *lpColumns, ID nColumns,
                            const JCHAR *lpszReserved, HREQUEST *lphRequest);
VYR_EXPORT ID VDB_CloseTable(HREQUEST hRequest);

/*
 * The first row whose first nKeys key columns of index idIndex (0: the
 * request's index) equal the key, among rows the selection admits. 1 = found,
 * VDB_NOT_FOUND = no such row. nKeys 0 or a null key: the first row of all.
 */
VYR_EXPORT ID VDB_FetchKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, void *lpRow, int nReserved);
/* Starts a scan of the rows matching the key (nKeys 0 or a null key: all rows) and the selection. */
VYR_EXPORT ID VDB_SelectKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys);
/* The next row of the scan; VDB_NOT_FOUND at its end. */
VYR_EXPORT ID VDB_Fetch(HREQUEST hRequest, void *lpRow, int nReserved);

/* Comparison codes and connectors of a selection entry. */
#define VDB_CMP_LT 0
#define VDB_CMP_LE 1
#define VDB_CMP_EQ 2
#define VDB_CMP_GE 3
#define VDB_CMP_GT 4
#define VDB_CMP_NE 5
#define VDB_AND 0
#define VDB_OR 1

/*
 * One condition: column <comparison> value. lpValue points at a value in the
 * column's form; a null pointer, the null date or a null UTIME with "=" means
 * IS NULL (with "<>" IS NOT NULL). An OR entry joins the entry before it in one
 * parenthesised disjunction; the groups are ANDed.
 */
typedef struct tagSELECTSTRUCT {
  NID szColumn;
  int nComparison;
  int nAndOr;
  const void *lpValue;
} SELECTSTRUCT, *LPSELECTSTRUCT;

/* Sets the selection of later fetches and scans (replacing the previous one). */
VYR_EXPORT ID VDB_SetSelection(HREQUEST hRequest, const SELECTSTRUCT *lpSelection, short nEntries);
VYR_EXPORT ID VDB_ClearSelection(HREQUEST hRequest);

#define VDB_ASCENDING 0
#define VDB_DESCENDING 1
typedef struct tagSORTSTRUCT {
  NID szColumn;
  int nDirection;
} SORTSTRUCT, *LPSORTSTRUCT;

/* Orders later scans by these columns instead of by the index. */
VYR_EXPORT ID VDB_SetSequencing(HREQUEST hRequest, const SORTSTRUCT *lpSort, short nEntries);
VYR_EXPORT ID VDB_ClearSequencing(HREQUEST hRequest);
/* Forgets the row the request last fetched (the one VDB_UpdateCurrent would write). */
VYR_EXPORT ID VDB_ClearColBuffer(HREQUEST hRequest);

/* Inserts a row record of the request's columns; the table's other columns take blank, zero or null. */
VYR_EXPORT ID VDB_InsertTable(HREQUEST hRequest, const void *lpRow);
/* Inserts a row record made of the nColumns listed columns. */
VYR_EXPORT ID VDB_InsertTableCols(HREQUEST hRequest, const NID *lpColumns, ID nColumns, const void *lpRow);
/* Writes the request's columns of every row matching the key; 1 when at least one row changed,
   VDB_NOT_FOUND when none matched. */
VYR_EXPORT ID VDB_UpdateTable(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, const void *lpRow);
/* Writes the listed columns of every row matching the key; 0 when at least one row changed, else VDB_FAILED. */
VYR_EXPORT ID VDB_UpdateTableColsExtended(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys,
                                          const NID *lpColumns, ID nColumns, const void *lpRow);
/* Deletes every row matching the key; 1 when at least one row was deleted, VDB_NOT_FOUND when none matched. */
VYR_EXPORT ID VDB_DeleteTable(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys);

/*
 * Fetch for update: the row stays locked against other writers until
 * VDB_UpdateCurrent, an insert or delete on the same request, or the request's
 * close (which releases the lock without change). With commit mode 0 the
 * write that ends the lock (or the end of a scan for update) commits; when
 * that commit fails it answers VDB_FAILED ("DBCM") and none of the work stays. Rows of a scan started
 * with VDB_SelectKeyedForUpdate stay locked until the scan ends or the
 * request closes, so each can be updated with VDB_UpdateCurrent on the way.
 * Writes through other handles wait meanwhile (with SQLite, writes to any
 * table; with PostgreSQL, writes to the locked rows), also on the same thread:
 * do not write through a second handle while holding a lock. A handle with
 * commit mode 1 holds its locks until commit or rollback.
 */
VYR_EXPORT ID VDB_FetchKeyedForUpdate(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, void *lpRow,
                                      int nReserved);
VYR_EXPORT ID VDB_SelectKeyedForUpdate(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys);
VYR_EXPORT ID VDB_FetchForUpdate(HREQUEST hRequest, void *lpRow, int nReserved);
/* Writes the request's columns of the row last fetched for update. */
VYR_EXPORT ID VDB_UpdateCurrent(HREQUEST hRequest, const void *lpRow);

/*
 * States the size of the records the caller passes on the request, so that a
 * record laid out otherwise than the catalogue says (a library built against
 * another catalogue) is refused before it is read or written. idIndex 0: the
 * row record of the request's columns, which must match exactly. idIndex n:
 * the key record of index n, which must end at one of its key fields; later
 * calls on that index may then use no more key fields than it holds. On a
 * mismatch the request refuses every later operation but VDB_CloseTable, and
 * a trace line gives both sizes. Records compiled in the tree are checked when
 * they compile instead (vyrrecord.h).
 */
VYR_EXPORT ID VDB_CheckRecordSize(HREQUEST hRequest, ID idIndex, size_t nSize);

/* ---- Key buffers -------------------------------------------------------------- */

/* A zeroed key record for index idIndex of the request's table (free with VDB_FreeKeyBuffer); NULL on failure. */
VYR_EXPORT void *VDB_BuildKeyBuffer(HREQUEST hRequest, ID idIndex);
/* Copies a value in the column's form into its place in a key record. */
VYR_EXPORT ID VDB_AssignColumnValue(HREQUEST hRequest, void *lpKey, ID idIndex, const JCHAR *lpszColumn,
                                    const void *lpValue);
VYR_EXPORT ID VDB_FreeKeyBuffer(void *lpKey);

/* ---- Binary columns ------------------------------------------------------------ */

/*
 * Declares how many bytes the pointer of a binary column in later inserts and
 * updates points at (0 with a null pointer stores NULL). On fetch the pointer
 * is set to a buffer of the request, valid until its next fetch or close, and
 * VDB_GetBLOBSize tells its length.
 */
VYR_EXPORT ID VDB_SetBLOBSize(HREQUEST hRequest, const JCHAR *lpszColumn, uint32_t nSize);
VYR_EXPORT ID VDB_GetBLOBSize(HREQUEST hRequest, const JCHAR *lpszColumn, uint32_t *lpnSize);

/* ---- Cached lookups of company and currency constants ---------------------------- */

/* Every column of the F0010 row of a company, in catalogue order; 1 = found. */
VYR_EXPORT ID VDB_RetrieveF0010RowUsingCompanyNumber(HUSER hUser, const JCHAR *lpszCompany, void *lpRow);
/* Every column of the F0013 row of a currency, in catalogue order; 1 = found. */
VYR_EXPORT ID VDB_RetrieveF0013RowUsingCurrencyCode(HUSER hUser, const JCHAR *lpszCurrency, void *lpRow);

VYR_END_DECLS

#endif /* VYRDB_H */
