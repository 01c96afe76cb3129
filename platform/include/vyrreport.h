/*
 * vyrreport.h - the report runtime: queries and controls of a running batch
 * report (part of the kernel).
 *
 * Rules of this interface:
 *  - The report handle is the behaviour context of the report's call
 *    (lpBhvrCom, passed as HREPORT). The platform checks that a handle is a
 *    live behaviour context with a report attached before it looks inside;
 *    anything else (a null pointer, an address inside a data structure, a
 *    context with no report) is refused: the operation answers FALSE, 0 or an
 *    empty string, changes nothing, and writes one line to the debug trace.
 *  - Section operations work on the report's current section, the one whose
 *    event rules are running, unless they take a section name and version;
 *    null names mean the current section as well.
 *  - Text goes out into caller buffers of nSize JCHAR (terminator included),
 *    cut to fit. Numbers go out through pointers the caller owns; they are
 *    set to 0 when the operation is refused.
 *  - A data selection handed out by ubeSection_GetDataSelection belongs to the
 *    caller until it gives it back with ubeSection_FreeDataSelection.
 *  - Nothing here throws; an operation that runs out of memory answers FALSE.
 */
#ifndef VYRREPORT_H
#define VYRREPORT_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* Widths, terminator included. */
#define UBE_NAME_SIZE 11         /* report, version and environment names */
#define UBE_SECTION_NAME_SIZE 41 /* section names */
#define UBE_TABLE_SIZE 11        /* table names */
#define UBE_DATA_ITEM_SIZE 11    /* data-item aliases */
#define UBE_VALUE_SIZE 41        /* comparison values of data selections */

/* Comparisons and connectors of data-selection entries (as table selections). */
#define UBE_CMP_LT 0
#define UBE_CMP_LE 1
#define UBE_CMP_EQ 2
#define UBE_CMP_GE 3
#define UBE_CMP_GT 4
#define UBE_CMP_NE 5
#define UBE_AND 0
#define UBE_OR 1

#pragma pack(push, 1)

/* One item of a section's data sequence (its sort order). */
typedef struct tagUBE_SEQUENCE_ITEM {
  JCHAR szTable[UBE_TABLE_SIZE];
  JCHAR szDataItem[UBE_DATA_ITEM_SIZE];
  JCHAR cDescending; /* '1' descending, '0' ascending */
} UBE_SEQUENCE_ITEM, *LPUBE_SEQUENCE_ITEM;

/* One condition of a data selection; an OR entry joins the entry before it. */
typedef struct tagUBE_SELECTION_ENTRY {
  JCHAR szTable[UBE_TABLE_SIZE];
  JCHAR szDataItem[UBE_DATA_ITEM_SIZE];
  int32_t nComparison; /* UBE_CMP_* */
  int32_t nConnector;  /* UBE_AND, UBE_OR */
  JCHAR szValue[UBE_VALUE_SIZE];
} UBE_SELECTION_ENTRY, *LPUBE_SELECTION_ENTRY;

/* The data selection a section uses (number 0: none, every row). */
typedef struct tagUBE_DATA_SELECTION {
  int32_t nSelection;
  int32_t nEntries;
  LPUBE_SELECTION_ENTRY lpEntries; /* nEntries of them; NULL when there are none */
} UBE_DATA_SELECTION, *LPUBE_DATA_SELECTION;

#pragma pack(pop)

/* ---- The report ------------------------------------------------------------ */

/* The report's name (e.g. "RPT0006"); FALSE when refused. */
VYR_EXPORT BOOL ubeReport_GetName(HREPORT hReport, JCHAR *lpszName, size_t nSize);
/* The page being written; FALSE when refused. */
VYR_EXPORT BOOL ubeReport_GetPageNumber(HREPORT hReport, int32_t *lpnPage);
/* Moves the report to page nPage (1 or more); FALSE, unchanged, otherwise. */
VYR_EXPORT BOOL ubeReport_SetPageNumber(HREPORT hReport, int32_t nPage);
/* TRUE when the report is a template (it is never run for output itself). */
VYR_EXPORT BOOL ubeReport_IsTemplate(HREPORT hReport);
/* TRUE when the report writes to the screen preview instead of a printer. */
VYR_EXPORT BOOL ubeReport_GetPreviewMode(HREPORT hReport);
/* The environment the report reads from and the one it writes to. */
VYR_EXPORT BOOL ubeReport_GetSourceEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize);
VYR_EXPORT BOOL ubeReport_GetTargetEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize);
/* Stops the report from sending its completion message to the submitter. */
VYR_EXPORT BOOL ubeReport_DisableSendMessage(HREPORT hReport);
/* Asks the report to stop after the current event; the host ends it. */
VYR_EXPORT BOOL ubeReport_StopBatchProcess(HREPORT hReport);
/* The same, ending in error with lpszMessage (null: no text) in the job's log. */
VYR_EXPORT BOOL ubeReport_StopBatchProcessWithError(HREPORT hReport, const JCHAR *lpszMessage);
/* Queues a record (key text) for the subsystem job of report lpszReport, version lpszVersion. */
VYR_EXPORT BOOL ubeReport_AddSubsystemRecord(HREPORT hReport, const JCHAR *lpszReport, const JCHAR *lpszVersion,
                                             const JCHAR *lpszKey);

/* ---- The current section ---------------------------------------------------- */

VYR_EXPORT BOOL ubeSection_GetID(HREPORT hReport, int32_t *lpnSectionId);
VYR_EXPORT BOOL ubeSection_GetCurrentRowNumber(HREPORT hReport, int32_t *lpnRow);
VYR_EXPORT BOOL ubeSection_GetCurrentColumnNumber(HREPORT hReport, int32_t *lpnColumn);
/* TRUE when the section prints amounts with their sign reversed. */
VYR_EXPORT BOOL ubeSection_GetReverseSign(HREPORT hReport);
VYR_EXPORT BOOL ubeSection_IsBalanceAuditorDefined(HREPORT hReport);
/* The table (or view) the section reads. */
VYR_EXPORT BOOL ubeSection_GetTableInfo(HREPORT hReport, JCHAR *lpszTable, size_t nSize);
/* The data item of sequence item nItem (from 1); FALSE when there is none. */
VYR_EXPORT BOOL ubeSection_GetDataSequenceItem(HREPORT hReport, int32_t nItem, JCHAR *lpszDataItem, size_t nSize);
/* Number of level breaks and the id of level nLevel (from 1). */
VYR_EXPORT BOOL ubeSection_GetNumberLevelBreaks(HREPORT hReport, int32_t *lpnCount);
VYR_EXPORT BOOL ubeSection_GetLevelNID(HREPORT hReport, int16_t nLevel, int32_t *lpnLevelId);

/* ---- Any section, by name and version ---------------------------------------
 * A null section name means the current section. Otherwise the section whose
 * name and version match, compared without trailing blanks (a null version
 * matches any); an empty name matches only a section without a name.
 */

/* Sequence item nItem (from 1) of the section; *lpItem is zeroed first. */
VYR_EXPORT BOOL ubeSection_GetDataSequence(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                           int32_t nItem, LPUBE_SEQUENCE_ITEM lpItem);
/* Makes the section use its data selection nSelection (from 1; 0 none). */
VYR_EXPORT BOOL ubeSection_UseDataSelection(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                            int32_t nSelection);
/* A copy of the data selection the section uses, into *lppSelection (NULL when refused). */
VYR_EXPORT BOOL ubeSection_GetDataSelection(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                            LPUBE_DATA_SELECTION *lppSelection);
/* Gives back a selection from ubeSection_GetDataSelection; NULL does nothing. */
VYR_EXPORT void ubeSection_FreeDataSelection(LPUBE_DATA_SELECTION lpSelection);

/* ---- Level-break sections (tabs) ------------------------------------------- */

/* The level of the current section in the report's level-break hierarchy. */
VYR_EXPORT BOOL ubeTab_GetLevelNumber(HREPORT hReport, int32_t *lpnLevel);
/* The level whose break is being processed now (0: none). */
VYR_EXPORT BOOL ubeTab_GetLevelBreak(HREPORT hReport, int32_t *lpnLevel);
/* TRUE while the header of a level break is being written. */
VYR_EXPORT BOOL ubeTab_IsLevelBreakHeaderActive(HREPORT hReport);

VYR_END_DECLS

#endif /* VYRREPORT_H */
