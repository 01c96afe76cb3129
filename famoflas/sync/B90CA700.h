/*
 * B90CA700 - the PIM sync envelope and the helpers every sync object shares:
 * response headers, XML escaping, the sync timestamp text, attribute reading,
 * the end-of-sync element, category lookup and cache termination.
 *
 * Request (from the client): a document element with "username", "command"
 * ("getcount", "getdetails", "endsync", "putnew", "putmodified",
 * "putdeleted") and "appDataType", whose first child is "GETINFO",
 * "PUTINFO" or "ENDSYNC". Response: "<?xml version=\"1.0\"?> <PIMRESP ...>"
 * with a "GETRESP" or "PUTRESP" header, the record elements and
 * "</PIMRESP>"; to "endsync" the whole of B90CA700_ENDSYNC_RESPONSE.
 *
 * These functions report faults by their result and a debug-trace line
 * beginning "B90CA700", never by vyrErrorSetEx; the calling sync function
 * decides on the error. Every element and string taken from the XML wrapper
 * is released on every path.
 */
#ifndef B90CA700_H
#define B90CA700_H

#include "frame/bsfn.h"
#include "vyrrecord.h"
#include "xerceswrapper.h"

/* Widths (with terminator) of the texts of the sync context. */
#define SYNC_USERNAME_SIZE 11 /* a sign-on name (the "user" setting is 1-10 characters) */
#define SYNC_ANCHOR_SIZE 16   /* a sync timestamp text */
#define SYNC_APPDATATYPE_SIZE 33
#define SYNC_COMMAND_SIZE 33

/* Sync timestamp text: UTC, written and read in these forms, zone as the UTIME operations take it. */
#define B90CA700_ANCHOR_FORMAT u"%04d%02d%02d%02d%02d%02dZ"
#define B90CA700_ANCHOR_SCAN u"%4d%2d%2d%2d%2d%2dZ"
#define B90CA700_ANCHOR_ZONE u"UTC -0:00"
/* The anchor of a client that has never synchronised. */
#define B90CA700_INITIAL_ANCHOR u"19700101000000Z"
#define B90CA700_ENDSYNC_RESPONSE u"<?xml version=\"1.0\"?> <PIMRESP/>"
/* Category of records when the "01"/"SG" code "PIMSG" gives none. */
#define B90CA700_DEFAULT_CATEGORY u"Quorvantel"

/*
 * The sync context: what one sync call keeps for its length. The B90CA700
 * operations read the fields marked "read"; hParser, hDocument and szCommand
 * are for the sync object that parses the request (it owns and releases
 * hParser, hDocument and hRootElement).
 */
typedef struct tagSYNCCONTEXT {
  HUSER hUser;        /* read: tables and caches are opened under it */
  HCACHE hDataCache;  /* read: records gathered for the client, or NULL */
  HCACHE hStateCache; /* read: the user's sync state, or NULL */
  XRCS_hParser hParser;
  XRCS_hDocument hDocument;
  XRCS_hElement hRootElement;                 /* read: the request's document element */
  JCHAR szUsername[SYNC_USERNAME_SIZE];       /* read: "username" of the request */
  JCHAR szClientSyncAnchor[SYNC_ANCHOR_SIZE]; /* "syncAnchor" the client sent in GETINFO */
  JCHAR szSyncAnchor[SYNC_ANCHOR_SIZE];       /* read: the anchor of this run */
  JCHAR szAppDataType[SYNC_APPDATATYPE_SIZE]; /* read: "appDataType" of the request */
  JCHAR szCommand[SYNC_COMMAND_SIZE];         /* "command" of the request */
} SYNCCONTEXT, *LPSYNCCONTEXT;

#pragma pack(push, 1)
/* Key of F0005's indexes 2 and 3: product code, record type, description (line 2 or line 1). */
typedef struct tagB90CA700_UDCKEY {
  JCHAR szProductCode[5];
  JCHAR szRecordType[3];
  JCHAR szDescription[31];
} B90CA700_UDCKEY, *LPB90CA700_UDCKEY;
VYR_KEY_RECORD(B90CA700_UDCKEY, F0005, 2);
VYR_KEY_RECORD(B90CA700_UDCKEY, F0005, 3);
VYR_MEMBER_IS(B90CA700_UDCKEY, szProductCode, F0005, SY);
VYR_MEMBER_IS(B90CA700_UDCKEY, szRecordType, F0005, RT);
#pragma pack(pop)

/*
 * Response builders. Each writes at lpszOut (the caller allocates room) and
 * returns the position after what it wrote, so calls chain. Root and header
 * attributes are written as they stand, unescaped.
 *   createXMLGetHeader: declaration, "<PIMRESP username appDataType>",
 *     "<GETRESP startRec totalRecs totalNewRecs totalModifyRecs
 *     totalDeleteRecs currentSyncAnchor/>" with totalRecs the sum of the three
 *     counts and currentSyncAnchor the context's szSyncAnchor.
 *   createXMLPutHeader: declaration, root, "<PUTRESP numRecsRequested
 *     numRecsWritten newSyncAnchor/>" with newSyncAnchor szSyncAnchor.
 */
FAMOFLAS_INTERNAL JCHAR *B90CA700_createXMLGetHeader(LPSYNCCONTEXT lpContext, JCHAR *lpszOut, int nStartRec,
                                                     int nNewRecs, int nModifyRecs, int nDeleteRecs);
FAMOFLAS_INTERNAL JCHAR *B90CA700_createXMLPutHeader(LPSYNCCONTEXT lpContext, JCHAR *lpszOut, int nRecsRequested,
                                                     int nRecsWritten);

/*
 * Writes lpszFormat (one "%ls") at lpszOut with the escaped value; returns the
 * JCHARs written. 0, writing nothing, when any argument is null (or there is
 * no memory for the escaped copy).
 */
FAMOFLAS_INTERNAL int B90CA700_EscapeXMLChars(JCHAR *lpszOut, const JCHAR *lpszFormat, const JCHAR *lpszValue);

/* The UTIME as a sync timestamp text (lpszOut holds 16 JCHAR): 1, or 0 leaving the output untouched. */
FAMOFLAS_INTERNAL int B90CA700_FormatUTime(JCHAR *lpszOut, const UTIME *lpTime);
/*
 * Sets the UTIME from a sync timestamp text: 1, or 0 when the platform
 * refuses the values. Parts the text does not give are 0 ("2024" asks for
 * month 0, which is refused).
 */
FAMOFLAS_INTERNAL int B90CA700_ParseUTime(LPUTIME lpTime, const JCHAR *lpszText);

/*
 * Copies the attribute's value into lpszOut (nOutSize JCHAR, terminator
 * included; a longer value is cut): 1, or 0 touching nothing when there is no
 * such attribute (or an argument is null, or nOutSize is below 1).
 */
FAMOFLAS_INTERNAL int B90CA700_getElementAttribute(XRCS_hElement hElement, const JCHAR *lpszName, JCHAR *lpszOut,
                                                   int nOutSize);

/*
 * Reads the request's "ENDSYNC" element (the first child of hRootElement):
 * 1 when read, 0 on any fault (traced). With lpnSyncResult not null it is set
 * to 1 when "SyncResult" is exactly "Success", else 0; a missing "SyncResult"
 * returns 0 and leaves it as it was.
 */
FAMOFLAS_INTERNAL int B90CA700_ParseEndSync(LPSYNCCONTEXT lpContext, int *lpnSyncResult);

/*
 * The user-defined code of F0005 whose product code, record type and
 * description match the key: nLineSelector 1 looks at description line 1
 * (index 3), 2 at line 2 (index 2). 0 found: *lppszCode receives 11 JCHAR
 * (the code, as stored), which the caller releases with vyrFree. 2 when not
 * found, the table cannot be opened, or an argument is unusable; nothing is
 * handed over then.
 */
FAMOFLAS_INTERNAL int B90CA700_getUDCByDescription(const B90CA700_UDCKEY *lpKey, JCHAR **lppszCode, int nLineSelector,
                                                   HUSER hUser);
/* The same by description line 1 from three texts; the code handed over has its blanks stripped. */
FAMOFLAS_INTERNAL int B90CA700_getUDCByDescriptionLineOne(const JCHAR *lpszProductCode, const JCHAR *lpszRecordType,
                                                          const JCHAR *lpszDescription, JCHAR **lppszCode, HUSER hUser);
/*
 * The same by description line 2, the code (blanks stripped, or "" when none
 * was found) copied into lpszCode (11 JCHAR). With any null argument it
 * returns 0 at once, as a successful lookup does, and writes nothing.
 */
FAMOFLAS_INTERNAL int B90CA700_getUDCByDescriptionLineTwo(const JCHAR *lpszProductCode, const JCHAR *lpszRecordType,
                                                          const JCHAR *lpszDescription, JCHAR *lpszCode, HUSER hUser);

/*
 * Writes the attribute " category=\"...\"" (escaped) at lpszOut and returns
 * the position after it: the first description of "GetUDC" 01/SG/"PIMSG"
 * (trailing blanks dropped), or B90CA700_DEFAULT_CATEGORY when the call fails
 * or the description is blank.
 */
FAMOFLAS_INTERNAL JCHAR *B90CA700_AddCategoryToXML(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszOut);

/*
 * Ends the context's data cache, then its state cache, with
 * vyrCacheTerminateAll (an ended cache's handle is set to NULL). 1 when each
 * cache present ended (also when there is none); 0 at the first that did not,
 * leaving the later one alone; 0 for a null context.
 */
FAMOFLAS_INTERNAL int B90CA700_TerminateCache(LPSYNCCONTEXT lpContext);

#endif /* B90CA700_H */
