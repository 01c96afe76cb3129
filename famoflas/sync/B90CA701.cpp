// beginAppointmentSync: a user's appointments or tasks kept in step with the
// user's PIM client. The choices the exchange leaves open are in B90CA701.h.
#include "sync/B90CA701.h"

#include <string.h>

namespace {

const char kSource[] = "B90CA701";

const JCHAR kActivityTable[] = u"F01301";
const JCHAR kDeletedTable[] = u"F01302";
const JCHAR kRecurrenceTable[] = u"F01331";

// F01301's columns as DSACTIVITY's first members hold them.
const NID kActivityColumns[DSACTIVITY_COLUMN_COUNT] = {
    u"ACTVID",  u"INDID",  u"ACTTYP", u"ACTSUBJ", u"ACTDSC",  u"ACTLOC", u"ALLDAY",
    u"BGTM",    u"ENDTM",  u"DUEDT",  u"ISTODO",  u"CMPLFL",  u"CMPLTM", u"LEADTM",
    u"LEADINC", u"ALRMFL", u"PRIVFL", u"STPIM",   u"RECURID", u"TDLDS",  u"UDTTM"};

#pragma pack(push, 1)
typedef struct {  // F01302, every column
  JCHAR szActivityID[37];
  MATH_NUMERIC mnAddressNumber;
  JCHAR cToDoTask;
  UTIME utDeleted;
} DeletedRow;
typedef struct {  // F01302 index 1
  MATH_NUMERIC mnAddressNumber;
  JCHAR szActivityID[37];
} DeletedKey;
typedef struct {  // F01331 index 1
  JCHAR szRecurrenceID[37];
  VYRDATE jdDate;
} RecurrenceKey;
#pragma pack(pop)

// ---- Response text ----------------------------------------------------------

// Room for nMore JCHARs after what the text holds; FALSE when memory fails.
BOOL TextReserve(LPB90CA701_TEXT lpText, size_t nMore) {
  if (lpText->nLength + nMore + 1 <= lpText->nCapacity) return TRUE;
  size_t nCapacity = lpText->nCapacity == 0 ? 4096 : lpText->nCapacity;
  while (nCapacity < lpText->nLength + nMore + 1) nCapacity *= 2;
  JCHAR *lpszGrown = (JCHAR *)vyrRealloc(lpText->lpszText, nCapacity * sizeof(JCHAR));
  if (lpszGrown == NULL) return FALSE;
  lpText->lpszText = lpszGrown;
  lpText->nCapacity = nCapacity;
  lpText->lpszText[lpText->nLength] = 0;
  return TRUE;
}

JCHAR *TextEnd(LPB90CA701_TEXT lpText) { return lpText->lpszText + lpText->nLength; }

// Appends a text as it stands.
BOOL TextAppend(LPB90CA701_TEXT lpText, const JCHAR *lpszValue) {
  const size_t nValue = vyrStrlen(lpszValue);
  if (!TextReserve(lpText, nValue)) return FALSE;
  memcpy(TextEnd(lpText), lpszValue, (nValue + 1) * sizeof(JCHAR));
  lpText->nLength += nValue;
  return TRUE;
}

// Appends ` name="value"` with the value as it stands (short values: anchors, flags, numbers).
BOOL TextAttribute(LPB90CA701_TEXT lpText, const JCHAR *lpszName, const JCHAR *lpszValue) {
  if (!TextReserve(lpText, vyrStrlen(lpszName) + vyrStrlen(lpszValue) + 4)) return FALSE;
  lpText->nLength += (size_t)vyrSprintf(TextEnd(lpText), u" %ls=\"%ls\"", lpszName, lpszValue);
  return TRUE;
}

// Appends ` name="value"` with the value escaped.
BOOL TextEscapedAttribute(LPB90CA701_TEXT lpText, const JCHAR *lpszName, const JCHAR *lpszValue) {
  JCHAR szFormat[48];
  vyrSprintf(szFormat, u" %ls=\"%%ls\"", lpszName);
  // An escaped character is at most six: "&quot;".
  if (!TextReserve(lpText, vyrStrlen(lpszValue) * 6 + vyrStrlen(szFormat))) return FALSE;
  if (lpszValue[0] == 0) return TextAttribute(lpText, lpszName, u"");
  const int nWritten = B90CA700_EscapeXMLChars(TextEnd(lpText), szFormat, lpszValue);
  if (nWritten <= 0) return FALSE;
  lpText->nLength += (size_t)nWritten;
  return TRUE;
}

// ---- Values ---------------------------------------------------------------------

// A copy without trailing blanks (nSize JCHAR).
void CopyTrimmed(JCHAR *lpszOut, const JCHAR *lpszValue, size_t nSize) {
  vyrStrcpyFillAndTerminate(lpszOut, lpszValue, nSize, 0);
  vyrStripTrailingBlanks(lpszOut);
}

void FormatDate(JCHAR *lpszOut, const VYRDATE *lpDate) {
  if (lpDate->nYear == 0 && lpDate->nMonth == 0 && lpDate->nDay == 0)
    vyrStrcpy(lpszOut, B90CA701_EOA);
  else
    vyrSprintf(lpszOut, u"%04d%02d%02d", lpDate->nYear, lpDate->nMonth, lpDate->nDay);
}

// The UTIME's date and time in zone "UTC -0:00" ("EOA" both when null).
void FormatDateTime(const UTIME *lpTime, JCHAR *lpszDate, JCHAR *lpszTime) {
  short nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
  if (vyrUTime_IsNull(lpTime) ||
      vyrUTime_Get(lpTime, &nYear, &nMonth, &nDay, &nHour, &nMinute, &nSecond, B90CA700_ANCHOR_ZONE) != 0) {
    vyrStrcpy(lpszDate, B90CA701_EOA);
    vyrStrcpy(lpszTime, B90CA701_EOA);
    return;
  }
  vyrSprintf(lpszDate, u"%04d%02d%02d", nYear, nMonth, nDay);
  vyrSprintf(lpszTime, u"%02d%02d", nHour, nMinute);
}

// Exactly nDigits decimal digits: their value, else -1.
int ReadDigits(const JCHAR *lpszText, int nDigits) {
  int nValue = 0;
  for (int i = 0; i < nDigits; ++i) {
    if (lpszText[i] < u'0' || lpszText[i] > u'9') return -1;
    nValue = nValue * 10 + (lpszText[i] - u'0');
  }
  return lpszText[nDigits] == 0 ? nValue : -1;
}

// "%04d%02d%02d" of a real day into the date, "EOA" into the null date: TRUE, else FALSE.
BOOL DecodeDate(const JCHAR *lpszDate, LPVYRDATE lpDate) {
  memset(lpDate, 0, sizeof *lpDate);
  if (vyrStrcmp(lpszDate, B90CA701_EOA) == 0) return TRUE;
  const int nDate = ReadDigits(lpszDate, 8);
  if (nDate < 0) return FALSE;
  const short nYear = (short)(nDate / 10000), nMonth = (short)(nDate / 100 % 100), nDay = (short)(nDate % 100);
  if (nYear < 1 || nDay < 1 || nDay > NumberOfDays(nMonth, nYear)) return FALSE;
  lpDate->nYear = nYear;
  lpDate->nMonth = nMonth;
  lpDate->nDay = nDay;
  return TRUE;
}

// A copy of the attribute's value (released with XRCS_freeString), or NULL when there is none.
JCHAR *AttributeValue(XRCS_hElement hElement, const JCHAR *lpszName) {
  JCHAR *lpszValue = NULL;
  if (XRCS_getElementAttributeValueByName(hElement, lpszName, &lpszValue) != XRCS_SUCCESS) return NULL;
  return lpszValue;
}

BOOL HasAttribute(XRCS_hElement hElement, const JCHAR *lpszName) {
  JCHAR *lpszValue = AttributeValue(hElement, lpszName);
  XRCS_freeString(lpszValue);
  return lpszValue != NULL;
}

// The attribute into a member of nWidth characters (nWidth + 1 JCHAR): 1 read, 0 absent, -1 too long.
int ReadText(XRCS_hElement hElement, const JCHAR *lpszName, JCHAR *lpszOut, size_t nWidth) {
  JCHAR *lpszValue = AttributeValue(hElement, lpszName);
  if (lpszValue == NULL) return 0;
  const BOOL bFits = vyrStrlen(lpszValue) <= nWidth;
  if (bFits) vyrStrcpyFillAndTerminate(lpszOut, lpszValue, nWidth + 1, 0);
  XRCS_freeString(lpszValue);
  return bFits ? 1 : -1;
}

// A flag attribute of two forms into '1'/'0' style JCHARs: 1 read, 0 absent, -1 neither form.
int ReadFlag(XRCS_hElement hElement, const JCHAR *lpszName, const JCHAR *lpszYes, const JCHAR *lpszNo, JCHAR cYes,
             JCHAR cNo, JCHAR *lpcOut) {
  JCHAR szValue[8];
  const int nRead = ReadText(hElement, lpszName, szValue, 7);
  if (nRead <= 0) return nRead;
  if (vyrStrcmp(szValue, lpszYes) == 0)
    *lpcOut = cYes;
  else if (vyrStrcmp(szValue, lpszNo) == 0)
    *lpcOut = cNo;
  else
    return -1;
  return 1;
}

void ParkHandle(LPB90CA701_CONTEXT lpContext, HUSER hUser, ID *lpidIndex) {
  *lpidIndex = vyrStoreDataPtr(lpContext->lpVoid, hUser);
}

// ---- Companion calls ---------------------------------------------------------------

// Calls the companion with its errors suppressed, under the given user handle index.
ID CallActivity(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszName, LPDSACTIVITY lpActivity, ID idHUser) {
  lpActivity->idHUser = idHUser;
  lpActivity->cSuppressErrorMessage = u'1';
  const ID idResult =
      vyrCallObject(lpszName, NULL, lpContext->lpBhvrCom, lpContext->lpVoid, lpActivity, NULL, 0, NULL, 0, 0);
  if (idResult != ER_SUCCESS) DebugTraceFn(u"B90CA701: %ls failed: %ls", lpszName, lpActivity->szErrorMessageID);
  return idResult;
}

ID CallRecurrence(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszName, LPDSRECURRENCE lpRecurrence, ID idHUser) {
  lpRecurrence->idHUser = idHUser;
  lpRecurrence->cSuppressErrorMessage = u'1';
  const ID idResult =
      vyrCallObject(lpszName, NULL, lpContext->lpBhvrCom, lpContext->lpVoid, lpRecurrence, NULL, 0, NULL, 0, 0);
  if (idResult != ER_SUCCESS) DebugTraceFn(u"B90CA701: %ls failed: %ls", lpszName, lpRecurrence->szErrorMessageID);
  return idResult;
}

// The handle index companions work under: the call's transaction when one is open.
ID WritesHandle(LPB90CA701_CONTEXT lpContext) {
  return lpContext->idWrites != 0 ? lpContext->idWrites : lpContext->idHUser;
}

// ---- Request reading ----------------------------------------------------------------

void RequestFault(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszText, int nLine) {
  BsfnErrorWithText(lpContext->lpBhvrCom, lpContext->lpVoid, 0, B90CA701_ERROR_REQUEST, lpszText, kSource, nLine);
}

void RunFault(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszText, int nLine) {
  BsfnErrorWithText(lpContext->lpBhvrCom, lpContext->lpVoid, 0, B90CA701_ERROR_RUN, lpszText, kSource, nLine);
}

// The first child of the root when it is named lpszName, else NULL (released by the caller).
XRCS_hElement CommandElement(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszName) {
  XRCS_hElement hChild = NULL;
  if (XRCS_getElementFirstChild(lpContext->sync.hRootElement, &hChild) != XRCS_SUCCESS) return NULL;
  JCHAR *lpszChild = NULL;
  const BOOL bNamed = XRCS_getElementName(hChild, &lpszChild) == XRCS_SUCCESS && vyrStrcmp(lpszChild, lpszName) == 0;
  XRCS_freeString(lpszChild);
  if (bNamed) return hChild;
  XRCS_freeElement(hChild);
  return NULL;
}

// An integer attribute (an optional '-' and 1-9 digits): TRUE and the value, FALSE when absent or not a number.
BOOL ReadInteger(XRCS_hElement hElement, const JCHAR *lpszName, int *lpnValue) {
  JCHAR szValue[12];
  if (ReadText(hElement, lpszName, szValue, 11) != 1) return FALSE;
  const BOOL bNegative = szValue[0] == u'-';
  const size_t nDigits = vyrStrlen(szValue + bNegative);
  if (nDigits == 0 || nDigits > 9) return FALSE;
  const int nValue = ReadDigits(szValue + bNegative, (int)nDigits);
  if (nValue < 0) return FALSE;
  *lpnValue = bNegative ? -nValue : nValue;
  return TRUE;
}

// ---- Caches --------------------------------------------------------------------------

BOOL ReadState(LPB90CA701_CONTEXT lpContext) {
  B90CA701_STATE key;
  memset(&key, 0, sizeof key);
  key.idKey = 1;
  lpContext->bRunOpen = vyrCacheFetch(lpContext->sync.hStateCache, &key, 1, &lpContext->state,
                                      sizeof lpContext->state) == VYRCACHE_SUCCESS;
  return lpContext->bRunOpen;
}

// The run's anchor when a run is open, else the time now.
void CurrentAnchor(LPB90CA701_CONTEXT lpContext) {
  if (lpContext->bRunOpen) {
    vyrStrcpy(lpContext->sync.szSyncAnchor, lpContext->state.szSyncAnchor);
    return;
  }
  UTIME utNow;
  vyrUTime_SetToNow(&utNow);
  B90CA700_FormatUTime(lpContext->sync.szSyncAnchor, &utNow);
}

// ---- Alarm increments (UDC 01/LT) ------------------------------------------------------

void ReadIncrements(LPB90CA701_CONTEXT lpContext) {
  if (lpContext->nIncrements != 0) return;
  static const struct {
    const JCHAR *lpszDescription;
    int nMinutes;
  } kIncrements[] = {{u"Days", 1440}, {u"Hours", 60}, {u"Minutes", 1}};
  lpContext->nIncrements = -1;  // looked up, none found (until one is)
  for (const auto &increment : kIncrements) {
    JCHAR *lpszCode = NULL;
    if (B90CA700_getUDCByDescriptionLineOne(u"01", u"LT", increment.lpszDescription, &lpszCode,
                                            lpContext->sync.hUser) != 0 ||
        lpszCode == NULL)
      continue;
    if (lpContext->nIncrements < 0) lpContext->nIncrements = 0;
    B90CA701_INCREMENT *lpEntry = &lpContext->increments[lpContext->nIncrements++];
    vyrStrcpyFillAndTerminate(lpEntry->szCode, lpszCode, 11, 0);
    lpEntry->nMinutes = increment.nMinutes;
    vyrFree(lpszCode);
  }
}

// Minutes of one increment of the code, 0 when UDC 01/LT has no such increment.
int IncrementMinutes(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszCode) {
  ReadIncrements(lpContext);
  JCHAR szCode[11];
  CopyTrimmed(szCode, lpszCode, 11);
  for (int i = 0; i < lpContext->nIncrements; ++i)
    if (vyrStrcmp(lpContext->increments[i].szCode, szCode) == 0) return lpContext->increments[i].nMinutes;
  return 0;
}

// The time the activity's alarm is measured from: its start, or a task's due date at 00:00 UTC.
BOOL AlarmBase(const DSACTIVITY *lpActivity, LPUTIME lpBase) {
  if (!vyrUTime_IsNull(&lpActivity->utStartTime)) {
    vyrUTime_Copy(lpBase, &lpActivity->utStartTime);
    return TRUE;
  }
  const VYRDATE *lpDue = &lpActivity->jdDueDate;
  if (lpDue->nYear == 0) return FALSE;
  return vyrUTime_Set(lpBase, lpDue->nYear, lpDue->nMonth, lpDue->nDay, 0, 0, 0, B90CA700_ANCHOR_ZONE) == 0;
}

// ---- Tables ------------------------------------------------------------------------------

// Deletes the pattern row and exclusions of the recurrence id unless another activity still uses it.
BOOL DropRecurrence(HUSER hUser, const JCHAR *lpszRecurrenceID) {
  if (vyrIsBlankOrNull(lpszRecurrenceID)) return TRUE;
  HREQUEST hActivities = NULL, hRecurrences = NULL;
  RecurrenceKey key;
  memset(&key, 0, sizeof key);
  vyrStrcpyFillAndTerminate(key.szRecurrenceID, lpszRecurrenceID, 37, 0);
  DSACTIVITY other;
  BOOL bDone = FALSE;
  if (VDB_OpenTable(hUser, kActivityTable, 3, kActivityColumns, DSACTIVITY_COLUMN_COUNT, NULL, &hActivities) ==
      VDB_SUCCESS) {
    const ID idFetch = VDB_FetchKeyed(hActivities, 3, key.szRecurrenceID, 1, &other, 0);
    if (idFetch == VDB_SUCCESS) {
      bDone = TRUE;  // shared
    } else if (idFetch == VDB_NOT_FOUND &&
               VDB_OpenTable(hUser, kRecurrenceTable, 1, NULL, 0, NULL, &hRecurrences) == VDB_SUCCESS) {
      // Deleting nothing is no failure: the pattern may be gone already.
      VDB_DeleteTable(hRecurrences, 1, &key, 1);
      bDone = TRUE;
    }
  }
  VDB_CloseTable(hRecurrences);
  VDB_CloseTable(hActivities);
  return bDone;
}

// Reads the exclusion dates of the pattern into a text of EXCLUSION elements.
BOOL AppendExclusions(LPB90CA701_CONTEXT lpContext, LPB90CA701_TEXT lpText, const JCHAR *lpszRecurrenceID) {
  if (lpContext->hExclusions == NULL && VDB_OpenTable(lpContext->sync.hUser, kRecurrenceTable, 1, NULL, 0, NULL,
                                                      &lpContext->hExclusions) != VDB_SUCCESS) {
    lpContext->hExclusions = NULL;
    return FALSE;
  }
  RecurrenceKey key;
  memset(&key, 0, sizeof key);
  vyrStrcpyFillAndTerminate(key.szRecurrenceID, lpszRecurrenceID, 37, 0);
  if (VDB_SelectKeyed(lpContext->hExclusions, 1, &key, 1) != VDB_SUCCESS) return FALSE;
  // A whole F01331 row: the key columns lead it.
  unsigned char row[1024];
  while (VDB_Fetch(lpContext->hExclusions, row, 0) == VDB_SUCCESS) {
    const RecurrenceKey *lpRow = (const RecurrenceKey *)row;
    if (lpRow->jdDate.nYear == 0) continue;  // the pattern's own row
    JCHAR szDate[12];
    FormatDate(szDate, &lpRow->jdDate);
    if (!TextAppend(lpText, u"<EXCLUSION") || !TextAttribute(lpText, u"exclusionDate", szDate) ||
        !TextAppend(lpText, u"/>"))
      return FALSE;
  }
  return TRUE;
}

}  // namespace

// ---- The operations of the exchange ---------------------------------------------------------

FAMOFLAS_INTERNAL int B90CA701_init_XMLDoc(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszXML) {
  if (XRCS_getParser(&lpContext->sync.hParser) != XRCS_SUCCESS ||
      XRCS_parseXMLString(lpContext->sync.hParser, lpszXML, &lpContext->sync.hDocument) != XRCS_SUCCESS ||
      XRCS_getDocumentElement(lpContext->sync.hDocument, &lpContext->sync.hRootElement) != XRCS_SUCCESS) {
    DebugTraceFn(u"B90CA701 beginAppointmentSync - Error initializing XML Document");
    return 0;
  }
  return 1;
}

FAMOFLAS_INTERNAL int B90CA701_InitCache(LPB90CA701_CONTEXT lpContext) {
  JCHAR szName[64 + SYNC_USERNAME_SIZE + SYNC_APPDATATYPE_SIZE];
  VYRCACHE_INDEX dataIndex;
  memset(&dataIndex, 0, sizeof dataIndex);
  dataIndex.nSegments = 1;
  dataIndex.Segment[0].nPosition = offsetof(B90CA701_RECORD, idSequence);
  dataIndex.Segment[0].nSize = sizeof(ID);
  dataIndex.Segment[0].nType = VYRCACHE_KEY_ID;
  VYRCACHE_INDEX stateIndex = dataIndex;
  stateIndex.Segment[0].nPosition = offsetof(B90CA701_STATE, idKey);
  vyrSprintf(szName, B90CA701_DATA_CACHE_FORMAT, lpContext->szKeyText);
  if (vyrCacheInit(lpContext->sync.hUser, &lpContext->sync.hDataCache, szName, &dataIndex) != VYRCACHE_SUCCESS) {
    lpContext->sync.hDataCache = NULL;
    return 0;
  }
  vyrSprintf(szName, B90CA701_STATE_CACHE_FORMAT, lpContext->szKeyText);
  if (vyrCacheInit(lpContext->sync.hUser, &lpContext->sync.hStateCache, szName, &stateIndex) != VYRCACHE_SUCCESS) {
    lpContext->sync.hStateCache = NULL;
    return 0;
  }
  return 1;
}

FAMOFLAS_INTERNAL int B90CA701_InitActivityInfo(LPB90CA701_CONTEXT lpContext) {
  static const struct {
    const JCHAR *lpszName;
    int nCommand;
  } kCommands[] = {{u"getcount", B90CA701_GETCOUNT},       {u"getdetails", B90CA701_GETDETAILS},
                   {u"endsync", B90CA701_ENDSYNC},         {u"putnew", B90CA701_PUTNEW},
                   {u"putmodified", B90CA701_PUTMODIFIED}, {u"putdeleted", B90CA701_PUTDELETED}};
  LPSYNCCONTEXT lpSync = &lpContext->sync;
  JCHAR szSignedOn[SYNC_USERNAME_SIZE] = {0};
  if (ReadText(lpSync->hRootElement, u"username", lpSync->szUsername, SYNC_USERNAME_SIZE - 1) != 1 ||
      vyrGetUserInfo(lpContext->lpBhvrCom, u"USER", szSignedOn, SYNC_USERNAME_SIZE) != ER_SUCCESS ||
      vyrStrcmp(szSignedOn, lpSync->szUsername) != 0) {
    BsfnErrorWithText(lpContext->lpBhvrCom, lpContext->lpVoid, 0, B90CA701_ERROR_USER, lpSync->szUsername, kSource,
                      __LINE__);
    return 0;
  }
  if (ReadText(lpSync->hRootElement, u"command", lpSync->szCommand, SYNC_COMMAND_SIZE - 1) != 1)
    lpSync->szCommand[0] = 0;
  for (const auto &command : kCommands)
    if (vyrStrcmp(lpSync->szCommand, command.lpszName) == 0) lpContext->nCommand = command.nCommand;
  if (lpContext->nCommand == 0) {
    DebugTraceFn(u"B90CA701_InitActivityInfo: unrecognized command: %ls", lpSync->szCommand);
    RequestFault(lpContext, u"command", __LINE__);
    return 0;
  }
  if (ReadText(lpSync->hRootElement, u"appDataType", lpSync->szAppDataType, SYNC_APPDATATYPE_SIZE - 1) != 1) {
    DebugTraceFn(u"B90CA701 init: unable to get appDataType");
    RequestFault(lpContext, u"appDataType", __LINE__);
    return 0;
  }
  if (vyrStrcmp(lpSync->szAppDataType, u"Appointments") == 0) {
    vyrStrcpy(lpContext->szRecordName, u"APPT");
  } else if (vyrStrcmp(lpSync->szAppDataType, u"Tasks") == 0) {
    vyrStrcpy(lpContext->szRecordName, u"TASK");
    lpContext->bTasks = TRUE;
  } else {
    DebugTraceFn(u"B90CA701 init: unsupported application type: %ls", lpSync->szAppDataType);
    RequestFault(lpContext, u"appDataType", __LINE__);
    return 0;
  }
  vyrSprintf(lpContext->szKeyText, u"%ls:%ls", lpSync->szUsername, lpSync->szAppDataType);
  if (!B90CA701_InitCache(lpContext)) {
    RunFault(lpContext, u"cache", __LINE__);
    return 0;
  }
  ReadState(lpContext);
  return 1;
}

FAMOFLAS_INTERNAL int B90CA701_getGetInformation(LPB90CA701_CONTEXT lpContext, LPB90CA701_GETINFO lpInfo, int nNeeded) {
  memset(lpInfo, 0, sizeof *lpInfo);
  lpInfo->nStartRec = 1;
  lpInfo->nNumRecsRequested = -1;
  XRCS_hElement hInfo = CommandElement(lpContext, u"GETINFO");
  const JCHAR *lpszFault = NULL;
  if (hInfo == NULL) {
    lpszFault = u"GETINFO";
  } else if (!ReadInteger(hInfo, u"startRec", &lpInfo->nStartRec) || lpInfo->nStartRec < 1) {
    if ((nNeeded & B90CA701_NEED_START_REC) != 0 || HasAttribute(hInfo, u"startRec")) lpszFault = u"startRec";
    lpInfo->nStartRec = 1;
  }
  if (lpszFault == NULL &&
      (!ReadInteger(hInfo, u"numRecsRequested", &lpInfo->nNumRecsRequested) || lpInfo->nNumRecsRequested < -1)) {
    if ((nNeeded & B90CA701_NEED_NUM_RECS) != 0) lpszFault = u"numRecsRequested";
    lpInfo->nNumRecsRequested = -1;
  }
  if (lpszFault == NULL) {
    UTIME utAnchor;
    const int nRead = ReadText(hInfo, u"syncAnchor", lpInfo->szSyncAnchor, SYNC_ANCHOR_SIZE - 1);
    if (nRead < 0 || (nRead == 0 && (nNeeded & B90CA701_NEED_ANCHOR) != 0) ||
        (nRead == 1 &&
         (vyrStrlen(lpInfo->szSyncAnchor) != 15 || !B90CA700_ParseUTime(&utAnchor, lpInfo->szSyncAnchor))))
      lpszFault = u"syncAnchor";
  }
  XRCS_freeElement(hInfo);
  if (lpszFault == NULL) return 1;
  DebugTraceFn(u"B90CA701: cannot read GETINFO: %ls", lpszFault);
  RequestFault(lpContext, lpszFault, __LINE__);
  return 0;
}

FAMOFLAS_INTERNAL void B90CA701_freePutInformation(LPB90CA701_PUTINFO lpInfo) {
  if (lpInfo->lphRecords != NULL)
    for (int i = 0; i < lpInfo->nRecsToWrite; ++i) XRCS_freeElement(lpInfo->lphRecords[i]);
  vyrFree(lpInfo->lphRecords);
  lpInfo->lphRecords = NULL;
  lpInfo->nRecsToWrite = 0;
}

FAMOFLAS_INTERNAL int B90CA701_getPutInformation(LPB90CA701_CONTEXT lpContext, LPB90CA701_PUTINFO lpInfo) {
  memset(lpInfo, 0, sizeof *lpInfo);
  XRCS_hElement hInfo = CommandElement(lpContext, u"PUTINFO");
  if (hInfo == NULL) {
    RequestFault(lpContext, u"PUTINFO", __LINE__);
    return 0;
  }
  int nRecs = 0;
  if (!ReadInteger(hInfo, u"numRecsToWrite", &nRecs) || nRecs < 0 || nRecs > 100000) {
    DebugTraceFn(u"B90CA701: unable to extract numRecsToWrite from XML document");
    XRCS_freeElement(hInfo);
    RequestFault(lpContext, u"numRecsToWrite", __LINE__);
    return 0;
  }
  lpInfo->lphRecords = (XRCS_hElement *)vyrCalloc((size_t)nRecs + 1, sizeof(XRCS_hElement));
  if (lpInfo->lphRecords == NULL) {
    XRCS_freeElement(hInfo);
    RunFault(lpContext, u"memory", __LINE__);
    return 0;
  }
  // Children are counted one past numRecsToWrite, so that one too many is seen.
  int nFound = 0;
  XRCS_hElement hChild = NULL;
  BOOL bMore = XRCS_getElementFirstChild(hInfo, &hChild) == XRCS_SUCCESS;
  while (bMore) {
    if (nFound == nRecs) {
      XRCS_freeElement(hChild);
      ++nFound;
      break;
    }
    lpInfo->lphRecords[nFound++] = hChild;
    XRCS_hElement hNext = NULL;
    bMore = XRCS_getElementNextSibling(hChild, &hNext) == XRCS_SUCCESS;
    hChild = hNext;
  }
  XRCS_freeElement(hInfo);
  lpInfo->nRecsToWrite = nFound < nRecs ? nFound : nRecs;
  if (nFound == nRecs) return 1;
  DebugTraceFn(u"B90CA701: read incorrect number of children");
  B90CA701_freePutInformation(lpInfo);
  RequestFault(lpContext, u"numRecsToWrite", __LINE__);
  return 0;
}

FAMOFLAS_INTERNAL int B90CA701_encodePIMAlarmValues(LPB90CA701_CONTEXT lpContext, const DSACTIVITY *lpActivity,
                                                    JCHAR *lpszAlarmDate, JCHAR *lpszAlarmTime, JCHAR *lpszAlarmFlag) {
  vyrStrcpy(lpszAlarmDate, B90CA701_EOA);
  vyrStrcpy(lpszAlarmTime, B90CA701_EOA);
  vyrStrcpy(lpszAlarmFlag, u"No");
  if (lpActivity->cAlarmFlag != u'1') return 1;
  const int nMinutes = IncrementMinutes(lpContext, lpActivity->szLeadTimeIncrement);
  if (nMinutes == 0) {
    DebugTraceFn(u"B90CA701_encodePIMAlarmValues: Did not find a valid LeadTimeIncrement Value");
    return 0;
  }
  UTIME utAlarm;
  if (!AlarmBase(lpActivity, &utAlarm)) return 1;
  const long nLead = MathNumericToLong(&lpActivity->mnLeadTime) * nMinutes;
  if (vyrUTime_AdvanceTime(&utAlarm, 0, (int)-nLead, 0) != 0) return 1;
  FormatDateTime(&utAlarm, lpszAlarmDate, lpszAlarmTime);
  vyrStrcpy(lpszAlarmFlag, u"Yes");
  return 1;
}

FAMOFLAS_INTERNAL int B90CA701_decodeDateAndTime(const JCHAR *lpszDate, const JCHAR *lpszTime, LPUTIME lpTime) {
  VYRDATE date;
  vyrUTime_SetToNull(lpTime);
  if (!DecodeDate(lpszDate, &date)) return 0;
  int nHour = 0, nMinute = 0;
  if (lpszTime != NULL && vyrStrcmp(lpszTime, B90CA701_EOA) != 0) {
    const int nTime = ReadDigits(lpszTime, 4);
    if (nTime < 0 || nTime / 100 > 23 || nTime % 100 > 59) return 0;
    nHour = nTime / 100;
    nMinute = nTime % 100;
  }
  if (date.nYear == 0) return 1;
  return vyrUTime_Set(lpTime, date.nYear, date.nMonth, date.nDay, (short)nHour, (short)nMinute, 0,
                      B90CA700_ANCHOR_ZONE) == 0;
}

FAMOFLAS_INTERNAL int B90CA701_decodePIMAlarmValues(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszAlarmDate,
                                                    const JCHAR *lpszAlarmTime, const JCHAR *lpszAlarmFlag,
                                                    LPDSACTIVITY lpActivity) {
  if (lpszAlarmFlag == NULL && lpszAlarmDate == NULL) return 1;  // the stored alarm stays
  const BOOL bAlarm = lpszAlarmFlag == NULL || vyrStrcmp(lpszAlarmFlag, u"Yes") == 0;
  if (lpszAlarmFlag != NULL && !bAlarm && vyrStrcmp(lpszAlarmFlag, u"No") != 0) return 0;
  if (!bAlarm || lpszAlarmDate == NULL || vyrStrcmp(lpszAlarmDate, B90CA701_EOA) == 0) {
    lpActivity->cAlarmFlag = u'0';
    ZeroMathNumeric(&lpActivity->mnLeadTime);
    vyrStrcpyFillAndTerminate(lpActivity->szLeadTimeIncrement, NULL, 11, 0);
    return 1;
  }
  UTIME utAlarm, utBase;
  int64_t llSeconds = 0;
  if (!B90CA701_decodeDateAndTime(lpszAlarmDate, lpszAlarmTime, &utAlarm) || !AlarmBase(lpActivity, &utBase) ||
      vyrUTime_TimeBetween(&utAlarm, &utBase, &llSeconds) != 0 || llSeconds < 0)
    return 0;
  const int64_t llMinutes = llSeconds / 60;
  ReadIncrements(lpContext);
  // The largest increment that states the lead exactly.
  for (int i = 0; i < lpContext->nIncrements; ++i) {
    const B90CA701_INCREMENT *lpIncrement = &lpContext->increments[i];
    if (llMinutes % lpIncrement->nMinutes != 0 || llMinutes / lpIncrement->nMinutes > 99999) continue;
    lpActivity->cAlarmFlag = u'1';
    LongToMathNumeric((long)(llMinutes / lpIncrement->nMinutes), &lpActivity->mnLeadTime);
    vyrStrcpyFillAndTerminate(lpActivity->szLeadTimeIncrement, lpIncrement->szCode, 11, 0);
    return 1;
  }
  return 0;
}

FAMOFLAS_INTERNAL int B90CA701_PopulateRecordFromElement(LPB90CA701_CONTEXT lpContext, XRCS_hElement hElement,
                                                         LPDSACTIVITY lpActivity, LPDSRECURRENCE lpRecurrence,
                                                         LPB90CA701_EXCLUSIONS lpExclusions, int *lpnRepeat) {
  *lpnRepeat = B90CA701_REPEAT_KEPT;
  JCHAR *lpszName = NULL;
  const BOOL bNamed =
      XRCS_getElementName(hElement, &lpszName) == XRCS_SUCCESS && vyrStrcmp(lpszName, lpContext->szRecordName) == 0;
  XRCS_freeString(lpszName);
  if (!bNamed) return 0;
  MathCopy(&lpActivity->mnAddressNumber, &lpContext->mnAddressNumber);
  vyrStrcpyFillAndTerminate(lpActivity->szActivityType, lpContext->bTasks ? u"TODOTASK" : u"APPOINTMT", 11, 0);
  lpActivity->cToDoTask = lpContext->bTasks ? u'1' : u'0';
  lpActivity->cPIMFlag = u'1';
  if (ReadText(hElement, u"subject", lpActivity->szSubject, 120) < 0 ||
      ReadText(hElement, u"description", lpActivity->szDescription, 1200) < 0 ||
      ReadText(hElement, u"location", lpActivity->szLocation, 60) < 0 ||
      ReadFlag(hElement, u"allDayEvent", u"Y", u"N", u'Y', u'N', &lpActivity->cAllDayEvent) < 0 ||
      ReadFlag(hElement, u"privateFlag", u"Y", u"N", u'Y', u'N', &lpActivity->cPrivateFlag) < 0 ||
      ReadFlag(hElement, u"completedFlag", u"1", u"0", u'1', u'0', &lpActivity->cCompletedFlag) < 0)
    return 0;

  // Dates and times: each pair read together; a pair left out keeps the stored value.
  static const struct {
    const JCHAR *lpszDate;
    const JCHAR *lpszTime;
    size_t nOffset;
  } kTimes[] = {{u"startDate", u"startTime", offsetof(DSACTIVITY, utStartTime)},
                {u"endDate", u"endTime", offsetof(DSACTIVITY, utEndTime)},
                {u"completedDate", u"completedTime", offsetof(DSACTIVITY, utCompletedTime)}};
  for (const auto &pair : kTimes) {
    JCHAR szDate[12], szTime[8];
    const int nDate = ReadText(hElement, pair.lpszDate, szDate, 11);
    const int nTime = ReadText(hElement, pair.lpszTime, szTime, 7);
    if (nDate < 0 || nTime < 0 || (nDate == 0 && nTime == 1)) return 0;
    if (nDate == 0) continue;
    if (!B90CA701_decodeDateAndTime(szDate, nTime == 1 ? szTime : NULL,
                                    (LPUTIME)((unsigned char *)lpActivity + pair.nOffset)))
      return 0;
  }
  JCHAR szDue[12];
  const int nDue = ReadText(hElement, u"dueDate", szDue, 11);
  if (nDue < 0 || (nDue == 1 && !DecodeDate(szDue, &lpActivity->jdDueDate))) return 0;

  JCHAR szAlarmDate[12], szAlarmTime[8], szAlarmFlag[8];
  const int nAlarmDate = ReadText(hElement, u"alarmDate", szAlarmDate, 11);
  const int nAlarmTime = ReadText(hElement, u"alarmTime", szAlarmTime, 7);
  const int nAlarmFlag = ReadText(hElement, u"alarmFlag", szAlarmFlag, 7);
  if (nAlarmDate < 0 || nAlarmTime < 0 || nAlarmFlag < 0 ||
      !B90CA701_decodePIMAlarmValues(lpContext, nAlarmDate == 1 ? szAlarmDate : NULL,
                                     nAlarmTime == 1 ? szAlarmTime : NULL, nAlarmFlag == 1 ? szAlarmFlag : NULL,
                                     lpActivity))
    return 0;

  // Recurrence.
  JCHAR szRepeatType[12];
  const int nRepeat = ReadText(hElement, u"repeatType", szRepeatType, 10);
  if (nRepeat < 0) return 0;
  if (nRepeat == 0) return 1;
  vyrStripTrailingBlanks(szRepeatType);
  if (szRepeatType[0] == 0 || vyrStrcmp(szRepeatType, u"None") == 0) {
    *lpnRepeat = B90CA701_REPEAT_REMOVED;
    return 1;
  }
  XRCS_hElement hRepeat = NULL;
  if (XRCS_getElementFirstChild(hElement, &hRepeat) != XRCS_SUCCESS) return 0;
  BOOL bRead = FALSE;
  JCHAR *lpszRepeat = NULL;
  JCHAR szStart[12], szEnd[12];
  int nFrequency = 0, nWeekOfMonth = 0;
  if (XRCS_getElementName(hRepeat, &lpszRepeat) == XRCS_SUCCESS && vyrStrcmp(lpszRepeat, u"REPEAT") == 0 &&
      ReadText(hRepeat, u"startDate", szStart, 11) == 1 && DecodeDate(szStart, &lpRecurrence->jdStartDate) &&
      ReadText(hRepeat, u"endDate", szEnd, 11) == 1 &&
      (vyrStrcmp(szEnd, u"-1") == 0 ? (memset(&lpRecurrence->jdEndDate, 0, sizeof(VYRDATE)), TRUE)
                                    : DecodeDate(szEnd, &lpRecurrence->jdEndDate)) &&
      ReadText(hRepeat, u"dayOfWeek", lpRecurrence->szDayOfWeek, 7) >= 0 &&
      (!HasAttribute(hRepeat, u"frequency") || ReadInteger(hRepeat, u"frequency", &nFrequency)) && nFrequency >= 0 &&
      nFrequency <= 999 &&
      (!HasAttribute(hRepeat, u"weekOfMonth") || ReadInteger(hRepeat, u"weekOfMonth", &nWeekOfMonth)) &&
      nWeekOfMonth >= 0 && nWeekOfMonth <= 9) {
    vyrStrcpyFillAndTerminate(lpRecurrence->szRecurrenceType, szRepeatType, 11, 0);
    IntToMathNumeric(nFrequency, &lpRecurrence->mnFrequency);
    IntToMathNumeric(nWeekOfMonth, &lpRecurrence->mnWeekOfMonth);
    bRead = TRUE;
    XRCS_hElement hExclusion = NULL;
    BOOL bMore = XRCS_getElementFirstChild(hRepeat, &hExclusion) == XRCS_SUCCESS;
    while (bMore && bRead) {
      JCHAR szDate[12];
      VYRDATE date;
      bRead = ReadText(hExclusion, u"exclusionDate", szDate, 11) == 1 && DecodeDate(szDate, &date) && date.nYear != 0;
      if (bRead && lpExclusions->nCount == lpExclusions->nCapacity) {
        const int nCapacity = lpExclusions->nCapacity == 0 ? 8 : lpExclusions->nCapacity * 2;
        VYRDATE *lpGrown = (VYRDATE *)vyrRealloc(lpExclusions->lpDates, (size_t)nCapacity * sizeof(VYRDATE));
        bRead = lpGrown != NULL;
        if (bRead) {
          lpExclusions->lpDates = lpGrown;
          lpExclusions->nCapacity = nCapacity;
        }
      }
      if (bRead) lpExclusions->lpDates[lpExclusions->nCount++] = date;
      XRCS_hElement hNext = NULL;
      bMore = XRCS_getElementNextSibling(hExclusion, &hNext) == XRCS_SUCCESS;
      XRCS_freeElement(hExclusion);
      hExclusion = hNext;
    }
    XRCS_freeElement(hExclusion);
  }
  XRCS_freeString(lpszRepeat);
  XRCS_freeElement(hRepeat);
  if (!bRead) return 0;
  *lpnRepeat = B90CA701_REPEAT_SET;
  return 1;
}

FAMOFLAS_INTERNAL int B90CA701_GetRecurrenceXML(LPB90CA701_CONTEXT lpContext, LPB90CA701_TEXT lpText,
                                                const DSRECURRENCE *lpRecurrence) {
  JCHAR szType[12], szDayOfWeek[8], szStart[12], szEnd[12], szNumber[16];
  CopyTrimmed(szType, lpRecurrence->szRecurrenceType, 11);
  CopyTrimmed(szDayOfWeek, lpRecurrence->szDayOfWeek, 8);
  FormatDate(szStart, &lpRecurrence->jdStartDate);
  if (lpRecurrence->jdEndDate.nYear == 0)
    vyrStrcpy(szEnd, u"-1");  // a pattern without end
  else
    FormatDate(szEnd, &lpRecurrence->jdEndDate);
  if (!TextEscapedAttribute(lpText, u"repeatType", szType) || !TextAppend(lpText, u"><REPEAT") ||
      !TextAttribute(lpText, u"startDate", szStart) || !TextAttribute(lpText, u"endDate", szEnd) ||
      !TextEscapedAttribute(lpText, u"dayOfWeek", szDayOfWeek))
    return 0;
  vyrSprintf(szNumber, u"%d", MathNumericToInt(&lpRecurrence->mnFrequency));
  if (!TextAttribute(lpText, u"frequency", szNumber)) return 0;
  vyrSprintf(szNumber, u"%d", MathNumericToInt(&lpRecurrence->mnWeekOfMonth));
  if (!TextAttribute(lpText, u"weekOfMonth", szNumber) || !TextAppend(lpText, u">")) return 0;
  return AppendExclusions(lpContext, lpText, lpRecurrence->szRecurrenceID) && TextAppend(lpText, u"</REPEAT>");
}

FAMOFLAS_INTERNAL int B90CA701_AddRecordDetailsToXML(LPB90CA701_CONTEXT lpContext, LPB90CA701_TEXT lpText,
                                                     const B90CA701_RECORD *lpRecord) {
  const size_t nStart = lpText->nLength;
  const DSACTIVITY *lpActivity = &lpRecord->activity;
  const JCHAR *lpszName = lpContext->szRecordName;
  JCHAR szId[40], szDate[12], szTime[8], szAlarmDate[12], szAlarmTime[8], szAlarmFlag[8], szFlag[2] = {0, 0};
  CopyTrimmed(szId, lpActivity->szActivityID, 37);
  const JCHAR *lpszEvent = lpRecord->cKind == B90CA701_STAGED_DELETION    ? u"Delete"
                           : vyrUTime_IsNull(&lpActivity->utPIMTimestamp) ? u"New"
                                                                          : u"Modify";
  BOOL bDone = TextReserve(lpText, 64) && TextAppend(lpText, u"<") && TextAppend(lpText, lpszName) &&
               TextEscapedAttribute(lpText, u"uid", szId) &&
               TextAttribute(lpText, u"syncAnchor", lpContext->sync.szSyncAnchor) &&
               TextAttribute(lpText, u"lastEvent", lpszEvent);
  if (bDone && lpRecord->cKind == B90CA701_STAGED_DELETION) {
    bDone = TextAppend(lpText, u"></") && TextAppend(lpText, lpszName) && TextAppend(lpText, u">");
  } else if (bDone && lpActivity->cPIMFlag != u'1') {
    // The short form: an empty category and the closing tag straight after it.
    bDone = TextAttribute(lpText, u"category", u"") && TextAppend(lpText, u"</") && TextAppend(lpText, lpszName) &&
            TextAppend(lpText, u">");
  } else if (bDone) {
    if (!lpContext->bCategory) {
      B90CA700_AddCategoryToXML(lpContext->lpBhvrCom, lpContext->lpVoid, lpContext->szCategory);
      lpContext->bCategory = TRUE;
    }
    JCHAR szText[1201];
    bDone = TextAppend(lpText, lpContext->szCategory);
    CopyTrimmed(szText, lpActivity->szSubject, 1201);
    bDone = bDone && TextEscapedAttribute(lpText, u"subject", szText);
    CopyTrimmed(szText, lpActivity->szDescription, 1201);
    bDone = bDone && TextEscapedAttribute(lpText, u"description", szText);
    CopyTrimmed(szText, lpActivity->szLocation, 1201);
    bDone = bDone && TextEscapedAttribute(lpText, u"location", szText);
    bDone = bDone && TextAttribute(lpText, u"allDayEvent", lpActivity->cAllDayEvent == u'Y' ? u"Y" : u"N");
    if (!lpContext->bTasks && (vyrUTime_IsNull(&lpActivity->utStartTime) ||
                               vyrUTime_Compare(&lpActivity->utStartTime, &lpActivity->utEndTime) == 0))
      DebugTraceFn(
          u"B90CA701_AddRecordDetailsToXML: Activity %ls invalid for sync: Incorrect times: Either the start "
          u"date and end date are the same or null",
          szId);
    FormatDateTime(&lpActivity->utStartTime, szDate, szTime);
    bDone = bDone && TextAttribute(lpText, u"startDate", szDate) && TextAttribute(lpText, u"startTime", szTime);
    FormatDateTime(&lpActivity->utEndTime, szDate, szTime);
    bDone = bDone && TextAttribute(lpText, u"endDate", szDate) && TextAttribute(lpText, u"endTime", szTime);
    if (lpContext->bTasks) {
      FormatDate(szDate, &lpActivity->jdDueDate);
      bDone = bDone && TextAttribute(lpText, u"dueDate", szDate) &&
              TextAttribute(lpText, u"completedFlag", lpActivity->cCompletedFlag == u'1' ? u"1" : u"0");
      if (!vyrUTime_IsNull(&lpActivity->utCompletedTime)) {
        FormatDateTime(&lpActivity->utCompletedTime, szDate, szTime);
        bDone =
            bDone && TextAttribute(lpText, u"completedDate", szDate) && TextAttribute(lpText, u"completedTime", szTime);
      }
    }
    B90CA701_encodePIMAlarmValues(lpContext, lpActivity, szAlarmDate, szAlarmTime, szAlarmFlag);
    bDone = bDone && TextAttribute(lpText, u"alarmDate", szAlarmDate) &&
            TextAttribute(lpText, u"alarmTime", szAlarmTime) && TextAttribute(lpText, u"alarmFlag", szAlarmFlag);
    szFlag[0] = lpActivity->cPrivateFlag == u'Y' ? u'Y' : u'N';
    bDone = bDone && TextAttribute(lpText, u"privateFlag", szFlag);
    if (bDone && !vyrIsBlankOrNull(lpActivity->szRecurrenceID) &&
        !vyrIsBlankOrNull(lpRecord->recurrence.szRecurrenceID))
      bDone = B90CA701_GetRecurrenceXML(lpContext, lpText, &lpRecord->recurrence);
    else
      bDone = bDone && TextAppend(lpText, u">");
    bDone = bDone && TextAppend(lpText, u"</") && TextAppend(lpText, lpszName) && TextAppend(lpText, u">");
  }
  if (!bDone && lpText->lpszText != NULL) {
    lpText->nLength = nStart;
    lpText->lpszText[nStart] = 0;
  }
  return bDone;
}

// ---- Thin callers of the companions -------------------------------------------------------

FAMOFLAS_INTERNAL ID B90CA701_InitializeActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity) {
  return CallActivity(lpContext, u"InitializeActivity", lpActivity, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_InitializeRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence) {
  return CallRecurrence(lpContext, u"InitializeRecurrence", lpRecurrence, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_InitializeExclusion(LPB90CA701_CONTEXT lpContext, LPDSEXCLUSION lpExclusion) {
  lpExclusion->idHUser = WritesHandle(lpContext);
  lpExclusion->cSuppressErrorMessage = u'1';
  return vyrCallObject(u"InitializeExclusion", NULL, lpContext->lpBhvrCom, lpContext->lpVoid, lpExclusion, NULL, 0,
                       NULL, 0, 0);
}
FAMOFLAS_INTERNAL ID B90CA701_SelectActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity) {
  return CallActivity(lpContext, u"SelectActivityUTC", lpActivity, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_SelectRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence) {
  return CallRecurrence(lpContext, u"SelectRecurrenceUTC", lpRecurrence, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_InsertActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity) {
  return CallActivity(lpContext, u"InsertActivity", lpActivity, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_InsertRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence) {
  return CallRecurrence(lpContext, u"InsertRecurrence", lpRecurrence, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_InsertExclusion(LPB90CA701_CONTEXT lpContext, LPDSEXCLUSION lpExclusion) {
  lpExclusion->idHUser = WritesHandle(lpContext);
  lpExclusion->cSuppressErrorMessage = u'1';
  const ID idResult = vyrCallObject(u"InsertExclusion", NULL, lpContext->lpBhvrCom, lpContext->lpVoid, lpExclusion,
                                    NULL, 0, NULL, 0, 0);
  if (idResult != ER_SUCCESS) DebugTraceFn(u"B90CA701: InsertExclusion failed: %ls", lpExclusion->szErrorMessageID);
  return idResult;
}
FAMOFLAS_INTERNAL ID B90CA701_UpdateActivity(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity,
                                             const JCHAR *lpszColumns) {
  if (lpszColumns != NULL) {
    vyrStrcpyFillAndTerminate(lpActivity->szUpdateColumns, lpszColumns, 201, 0);
  } else {
    const ID idBuilt =
        CallActivity(lpContext, u"BuildActivityUpdateColumnsString", lpActivity, WritesHandle(lpContext));
    if (idBuilt != ER_SUCCESS) return idBuilt;
  }
  return CallActivity(lpContext, u"UpdateActivityUTC", lpActivity, WritesHandle(lpContext));
}
FAMOFLAS_INTERNAL ID B90CA701_UpdateRecurrence(LPB90CA701_CONTEXT lpContext, LPDSRECURRENCE lpRecurrence) {
  const ID idBuilt =
      CallRecurrence(lpContext, u"BuildRecurrenceUpdateColsString", lpRecurrence, WritesHandle(lpContext));
  if (idBuilt != ER_SUCCESS) return idBuilt;
  return CallRecurrence(lpContext, u"UpdateRecurrenceUTC", lpRecurrence, WritesHandle(lpContext));
}

FAMOFLAS_INTERNAL int B90CA701_checkForRecord(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszActivityID,
                                              LPDSACTIVITY lpActivity) {
  HUSER hUser = (HUSER)vyrRetrieveDataPtr(lpContext->lpVoid, WritesHandle(lpContext));
  HREQUEST hRequest = NULL;
  if (VDB_OpenTable(hUser, kActivityTable, 1, kActivityColumns, DSACTIVITY_COLUMN_COUNT, NULL, &hRequest) !=
      VDB_SUCCESS)
    return -1;
  JCHAR szKey[37];
  vyrStrcpyFillAndTerminate(szKey, lpszActivityID, 37, 0);
  const ID idFetch = VDB_FetchKeyed(hRequest, 1, szKey, 1, lpActivity, 0);
  VDB_CloseTable(hRequest);
  if (idFetch == VDB_SUCCESS) return 1;
  return idFetch == VDB_NOT_FOUND ? 0 : -1;
}

FAMOFLAS_INTERNAL int B90CA701_ExclusionExists(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszRecurrenceID,
                                               const VYRDATE *lpDate) {
  HUSER hUser = (HUSER)vyrRetrieveDataPtr(lpContext->lpVoid, WritesHandle(lpContext));
  HREQUEST hRequest = NULL;
  static const NID kKeyColumns[] = {u"RECURID", u"TDEX"};
  if (VDB_OpenTable(hUser, kRecurrenceTable, 1, kKeyColumns, 2, NULL, &hRequest) != VDB_SUCCESS) return -1;
  RecurrenceKey key, row;
  memset(&key, 0, sizeof key);
  vyrStrcpyFillAndTerminate(key.szRecurrenceID, lpszRecurrenceID, 37, 0);
  key.jdDate = *lpDate;
  const ID idFetch = VDB_FetchKeyed(hRequest, 1, &key, 2, &row, 0);
  VDB_CloseTable(hRequest);
  if (idFetch == VDB_SUCCESS) return 1;
  return idFetch == VDB_NOT_FOUND ? 0 : -1;
}

FAMOFLAS_INTERNAL int B90CA701_DeleteActivity(LPB90CA701_CONTEXT lpContext, const DSACTIVITY *lpActivity) {
  HUSER hUser = (HUSER)vyrRetrieveDataPtr(lpContext->lpVoid, WritesHandle(lpContext));
  HREQUEST hRequest = NULL;
  JCHAR szKey[37];
  vyrStrcpyFillAndTerminate(szKey, lpActivity->szActivityID, 37, 0);
  BOOL bDone = VDB_OpenTable(hUser, kActivityTable, 1, NULL, 0, NULL, &hRequest) == VDB_SUCCESS &&
               VDB_DeleteTable(hRequest, 1, szKey, 1) == VDB_SUCCESS;
  VDB_CloseTable(hRequest);
  bDone = bDone && DropRecurrence(hUser, lpActivity->szRecurrenceID);
  if (!bDone) DebugTraceFn(u"B90CA701_DeleteActivity: failed to delete record: %ls", szKey);
  return bDone;
}

// ---- Commands ------------------------------------------------------------------------------

namespace {

// The signed-on user's address number into the context: ER_SUCCESS, or the companion's error.
ID UserAddressNumber(LPB90CA701_CONTEXT lpContext) {
  DSPPATUSERADDRESS dsUser;
  memset(&dsUser, 0, sizeof dsUser);
  const ID idResult = vyrCallObject(u"PpatGetUserIdAddressNumber", NULL, lpContext->lpBhvrCom, lpContext->lpVoid,
                                    &dsUser, NULL, 0, NULL, 0, 0);
  MathCopy(&lpContext->mnAddressNumber, &dsUser.mnAddressNumber);
  return idResult;
}

// Opens the call's transaction (a user handle in commit mode 1, parked for the companions).
BOOL BeginWrites(LPB90CA701_CONTEXT lpContext) {
  if (VDB_InitUser(lpContext->lpBhvrCom, &lpContext->hWrites, NULL, 1) != VDB_SUCCESS) {
    lpContext->hWrites = NULL;
    return FALSE;
  }
  ParkHandle(lpContext, lpContext->hWrites, &lpContext->idWrites);
  if (lpContext->idWrites != 0) return TRUE;
  VDB_FreeUser(lpContext->hWrites);
  lpContext->hWrites = NULL;
  return FALSE;
}

// Ends the call's transaction: committed when bCommit (FALSE when that fails), else rolled back.
BOOL EndWrites(LPB90CA701_CONTEXT lpContext, BOOL bCommit) {
  if (lpContext->hWrites == NULL) return FALSE;
  BOOL bDone = bCommit && VDB_CommitUser(lpContext->hWrites) == VDB_SUCCESS;
  if (!bDone) VDB_RollbackUser(lpContext->hWrites);
  vyrRemoveDataPtr(lpContext->lpVoid, lpContext->idWrites);
  VDB_FreeUser(lpContext->hWrites);
  lpContext->hWrites = NULL;
  lpContext->idWrites = 0;
  return bDone;
}

// Response = header + body + "</PIMRESP>".
BOOL Respond(LPB90CA701_CONTEXT lpContext, const JCHAR *lpszHeader, const B90CA701_TEXT *lpBody) {
  return TextAppend(&lpContext->response, lpszHeader) &&
         (lpBody->lpszText == NULL || TextAppend(&lpContext->response, lpBody->lpszText)) &&
         TextAppend(&lpContext->response, u"</PIMRESP>");
}

// The header buffer: the root's attributes are at most a username and a data type.
#define B90CA701_HEADER_SIZE 512

void AddStaged(LPB90CA701_CONTEXT lpContext, B90CA701_RECORD *lpRecord, ID *lpidSequence, BOOL *lpbAdded) {
  lpRecord->idSequence = *lpidSequence + 1;
  *lpbAdded = vyrCacheAdd(lpContext->sync.hDataCache, lpRecord, sizeof *lpRecord) == VYRCACHE_SUCCESS;
  if (*lpbAdded)
    ++*lpidSequence;
  else
    DebugTraceFn(u"B90CA701 getCount: Failed to add the record to the cache");
}

}  // namespace

FAMOFLAS_INTERNAL int B90CA701_getDeletedCount(LPB90CA701_CONTEXT lpContext, ID *lpidSequence) {
  HREQUEST hRequest = NULL;
  if (VDB_OpenTable(lpContext->sync.hUser, kDeletedTable, 1, NULL, 0, NULL, &hRequest) != VDB_SUCCESS) return -1;
  const JCHAR cToDoTask = lpContext->bTasks ? u'1' : u'0';
  SELECTSTRUCT selection[1];
  memset(selection, 0, sizeof selection);
  vyrStrcpy(selection[0].szColumn, u"ISTODO");
  selection[0].nComparison = VDB_CMP_EQ;
  selection[0].lpValue = &cToDoTask;
  int nCount = 0;
  if (VDB_SetSelection(hRequest, selection, 1) != VDB_SUCCESS ||
      VDB_SelectKeyed(hRequest, 1, &lpContext->mnAddressNumber, 1) != VDB_SUCCESS) {
    VDB_CloseTable(hRequest);
    return -1;
  }
  B90CA701_RECORD *lpRecord = (B90CA701_RECORD *)vyrCalloc(1, sizeof(B90CA701_RECORD));
  DeletedRow row;
  while (lpRecord != NULL && VDB_Fetch(hRequest, &row, 0) == VDB_SUCCESS) {
    memset(lpRecord, 0, sizeof *lpRecord);
    lpRecord->cKind = B90CA701_STAGED_DELETION;
    vyrStrcpyFillAndTerminate(lpRecord->activity.szActivityID, row.szActivityID, 37, 0);
    MathCopy(&lpRecord->activity.mnAddressNumber, &row.mnAddressNumber);
    lpRecord->activity.cToDoTask = row.cToDoTask;
    vyrUTime_Copy(&lpRecord->activity.utUpdateTime, &row.utDeleted);
    BOOL bAdded = FALSE;
    AddStaged(lpContext, lpRecord, lpidSequence, &bAdded);
    nCount += bAdded;
  }
  VDB_CloseTable(hRequest);
  if (lpRecord == NULL) return -1;
  vyrFree(lpRecord);
  return nCount;
}

FAMOFLAS_INTERNAL ID B90CA701_getCount(LPB90CA701_CONTEXT lpContext) {
  if (UserAddressNumber(lpContext) == ER_ERROR) {
    DebugTraceFn(u"B90CA701_getCount: Failed to convert USERID to AN8");
    return ER_ERROR;
  }
  B90CA701_GETINFO info;
  if (!B90CA701_getGetInformation(lpContext, &info, B90CA701_NEED_ANCHOR)) return ER_ERROR;
  vyrStrcpy(lpContext->sync.szClientSyncAnchor, info.szSyncAnchor);

  // The run's anchor: now, cut to the whole second that the text holds.
  UTIME utNow, utRunAnchor, utClientAnchor;
  vyrUTime_SetToNow(&utNow);
  B90CA700_FormatUTime(lpContext->sync.szSyncAnchor, &utNow);
  B90CA700_ParseUTime(&utRunAnchor, lpContext->sync.szSyncAnchor);
  B90CA700_ParseUTime(&utClientAnchor, info.szSyncAnchor);
  memset(&lpContext->state, 0, sizeof lpContext->state);
  lpContext->state.idKey = 1;
  vyrStrcpy(lpContext->state.szSyncAnchor, lpContext->sync.szSyncAnchor);
  vyrStrcpy(lpContext->state.szClientSyncAnchor, info.szSyncAnchor);
  if (vyrCacheDeleteAll(lpContext->sync.hStateCache) != VYRCACHE_SUCCESS ||
      vyrCacheAdd(lpContext->sync.hStateCache, &lpContext->state, sizeof lpContext->state) != VYRCACHE_SUCCESS) {
    DebugTraceFn(u"B90CA701_getCount: Failed to add timestate record to state cache");
    RunFault(lpContext, u"state cache", __LINE__);
    return ER_ERROR;
  }
  lpContext->bRunOpen = TRUE;
  vyrCacheDeleteAll(lpContext->sync.hDataCache);

  const BOOL bInitial = vyrStrcmp(info.szSyncAnchor, B90CA700_INITIAL_ANCHOR) == 0;
  ID idSequence = 0;
  int nDeleted = 0, nNew = 0, nModified = 0;
  if (!bInitial && (nDeleted = B90CA701_getDeletedCount(lpContext, &idSequence)) < 0) {
    RunFault(lpContext, kDeletedTable, __LINE__);
    return ER_ERROR;
  }

  HREQUEST hRequest = NULL;
  if (VDB_OpenTable(lpContext->sync.hUser, kActivityTable, 2, kActivityColumns, DSACTIVITY_COLUMN_COUNT, NULL,
                    &hRequest) != VDB_SUCCESS) {
    DebugTraceFn(u"B90CA701_getCount: Open Table for %ls failed", lpContext->sync.szUsername);
    RunFault(lpContext, kActivityTable, __LINE__);
    return ER_ERROR;
  }
  if (VDB_ClearSelection(hRequest) != VDB_SUCCESS) {
    DebugTraceFn(u"B90CA701 getCount: Failed to clear the selection");
    VDB_CloseTable(hRequest);
    RunFault(lpContext, kActivityTable, __LINE__);
    return ER_ERROR;
  }
  // Changes since the anchor, less a margin for changes stamped before it but committed after the
  // last run read the table, or never sent; none after this run's anchor (the next run's).
  UTIME utLowered, utNull;
  vyrUTime_Copy(&utLowered, &utClientAnchor);
  vyrUTime_AdvanceTime(&utLowered, 0, 0, -B90CA701_LATE_CHANGE_SECONDS);
  vyrUTime_SetToNull(&utNull);
  const JCHAR cFlagged = u'1', cToDoTask = lpContext->bTasks ? u'1' : u'0';
  const SELECTSTRUCT selection[] = {{u"INDID", VDB_CMP_EQ, VDB_AND, &lpContext->mnAddressNumber},
                                    {u"STPIM", VDB_CMP_EQ, VDB_AND, &cFlagged},
                                    {u"ISTODO", VDB_CMP_EQ, VDB_AND, &cToDoTask},
                                    {u"UDTTM", VDB_CMP_GT, VDB_AND, &utLowered},
                                    {u"TDLDS", VDB_CMP_EQ, VDB_OR, &utNull},
                                    {u"UDTTM", VDB_CMP_LE, VDB_AND, &utRunAnchor}};
  B90CA701_RECORD *lpRecord = (B90CA701_RECORD *)vyrCalloc(1, sizeof(B90CA701_RECORD));
  DSACTIVITY row;
  BOOL bRead = lpRecord != NULL && VDB_SetSelection(hRequest, selection, 6) == VDB_SUCCESS &&
               VDB_SelectKeyed(hRequest, 2, &lpContext->mnAddressNumber, 1) == VDB_SUCCESS;
  while (bRead && VDB_Fetch(hRequest, &row, 0) == VDB_SUCCESS) {
    const BOOL bNeverSent = vyrUTime_IsNull(&row.utPIMTimestamp);
    BOOL bWanted = bInitial || bNeverSent;
    if (!bWanted && vyrUTime_Compare(&row.utPIMTimestamp, &row.utUpdateTime) != 0)
      bWanted = vyrUTime_Compare(&row.utUpdateTime, &utClientAnchor) > 0 ||
                vyrUTime_Compare(&row.utPIMTimestamp, &row.utUpdateTime) < 0;
    if (!bWanted) continue;  // the client holds this version: sent before, or its own change
    memset(lpRecord, 0, sizeof *lpRecord);
    B90CA701_InitializeActivity(lpContext, &lpRecord->activity);
    vyrStrcpyFillAndTerminate(lpRecord->activity.szActivityID, row.szActivityID, 37, 0);
    if (B90CA701_SelectActivity(lpContext, &lpRecord->activity) != ER_SUCCESS) {
      DebugTraceFn(u"B90CA701 getCount: Failed to SelectActivity");
      continue;
    }
    // Changed again since the selection read it: the next run sends that version.
    if (vyrUTime_Compare(&lpRecord->activity.utUpdateTime, &utRunAnchor) > 0) continue;
    if (!vyrIsBlankOrNull(lpRecord->activity.szRecurrenceID)) {
      B90CA701_InitializeRecurrence(lpContext, &lpRecord->recurrence);
      vyrStrcpyFillAndTerminate(lpRecord->recurrence.szRecurrenceID, lpRecord->activity.szRecurrenceID, 37, 0);
      if (B90CA701_SelectRecurrence(lpContext, &lpRecord->recurrence) != ER_SUCCESS)
        memset(&lpRecord->recurrence, 0, sizeof lpRecord->recurrence);
    }
    // An initial run sends everything as new: the client holds nothing.
    if (bInitial) vyrUTime_SetToNull(&lpRecord->activity.utPIMTimestamp);
    lpRecord->cKind = B90CA701_STAGED_ACTIVITY;
    BOOL bAdded = FALSE;
    AddStaged(lpContext, lpRecord, &idSequence, &bAdded);
    if (bAdded && vyrUTime_IsNull(&lpRecord->activity.utPIMTimestamp))
      ++nNew;
    else if (bAdded)
      ++nModified;
  }
  VDB_CloseTable(hRequest);
  vyrFree(lpRecord);
  if (!bRead) {
    RunFault(lpContext, kActivityTable, __LINE__);
    return ER_ERROR;
  }
  lpContext->idRecordCount = idSequence;
  JCHAR szHeader[B90CA701_HEADER_SIZE];
  B90CA701_TEXT body = {NULL, 0, 0};
  B90CA700_createXMLGetHeader(&lpContext->sync, szHeader, info.nStartRec, nNew, nModified, nDeleted);
  if (!Respond(lpContext, szHeader, &body)) {
    DebugTraceFn(u"B90CA701 getCount: vyrAlloc failed to allocate memory for XML document");
    RunFault(lpContext, u"memory", __LINE__);
    return ER_ERROR;
  }
  return ER_SUCCESS;
}

FAMOFLAS_INTERNAL ID B90CA701_getDetails(LPB90CA701_CONTEXT lpContext) {
  B90CA701_GETINFO info;
  if (!B90CA701_getGetInformation(lpContext, &info, B90CA701_NEED_START_REC | B90CA701_NEED_NUM_RECS)) return ER_ERROR;
  JCHAR szHeader[B90CA701_HEADER_SIZE];
  B90CA701_TEXT body = {NULL, 0, 0};
  if (!lpContext->bRunOpen) {
    DebugTraceFn(u"B90CA701_getDetails: cache does nto exists");
    CurrentAnchor(lpContext);
    B90CA700_createXMLGetHeader(&lpContext->sync, szHeader, info.nStartRec, 0, 0, 0);
    return Respond(lpContext, szHeader, &body) ? ER_WARNING : ER_ERROR;
  }
  vyrStrcpy(lpContext->sync.szSyncAnchor, lpContext->state.szSyncAnchor);
  const int64_t llEnd = info.nNumRecsRequested == -1 ? (int64_t)vyrCacheGetNumRecords(lpContext->sync.hDataCache) + 1
                                                     : (int64_t)info.nStartRec + info.nNumRecsRequested;
  int nCounts[3] = {0, 0, 0};  // new, modified, deleted
  B90CA701_RECORD *lpRecord = (B90CA701_RECORD *)vyrCalloc(1, sizeof(B90CA701_RECORD));
  HCUR hCursor = NULL;
  BOOL bDone = lpRecord != NULL && BeginWrites(lpContext) &&
               vyrCacheOpenCursorX(lpContext->sync.hDataCache, &hCursor, kSource, __LINE__) == VYRCACHE_SUCCESS;
  if (bDone && info.nStartRec < llEnd) {
    // Records are keyed by their number: the page starts at its first record directly.
    B90CA701_RECORD key;
    key.idSequence = (ID)info.nStartRec;
    ID idFetch = vyrCacheFetchPosition(lpContext->sync.hDataCache, hCursor, &key, 1, lpRecord, sizeof *lpRecord);
    for (int64_t n = info.nStartRec; n < llEnd && idFetch == VYRCACHE_SUCCESS && bDone; ++n) {
      bDone = B90CA701_AddRecordDetailsToXML(lpContext, &body, lpRecord);
      if (!bDone) break;
      if (lpRecord->cKind == B90CA701_STAGED_DELETION) {
        ++nCounts[2];
      } else {
        ++nCounts[vyrUTime_IsNull(&lpRecord->activity.utPIMTimestamp) ? 0 : 1];
        // The client now holds this version; a version changed since staging stays unmarked.
        DSACTIVITY *lpMark = &lpRecord->activity;
        UTIME utSent;
        vyrUTime_SetToNow(&utSent);
        if (vyrUTime_Compare(&utSent, &lpMark->utUpdateTime) <= 0) {
          vyrUTime_Copy(&utSent, &lpMark->utUpdateTime);
          vyrUTime_AdvanceTime(&utSent, 0, 0, 1);
        }
        vyrUTime_Copy(&lpMark->utPIMTimestamp, &utSent);
        lpMark->cCheckVersion = u'1';
        lpMark->cChangedByPIM = u'0';
        B90CA701_UpdateActivity(lpContext, lpMark, u"TDLDS");
      }
      idFetch = vyrCacheFetchPosition(lpContext->sync.hDataCache, hCursor, NULL, 0, lpRecord, sizeof *lpRecord);
    }
  }
  if (hCursor != NULL && vyrCacheCloseCursor(lpContext->sync.hDataCache, hCursor) != VYRCACHE_SUCCESS)
    DebugTraceFn(u"B90CA701_getDetails: cache cursor close failed");
  if (!EndWrites(lpContext, bDone)) bDone = FALSE;
  vyrFree(lpRecord);
  if (bDone) {
    B90CA700_createXMLGetHeader(&lpContext->sync, szHeader, info.nStartRec, nCounts[0], nCounts[1], nCounts[2]);
    bDone = Respond(lpContext, szHeader, &body);
    if (!bDone) DebugTraceFn(u"B90CA701_getDetails: vyrAlloc failed to allocate memory for XML body");
  }
  vyrFree(body.lpszText);
  if (!bDone) {
    RunFault(lpContext, u"getdetails", __LINE__);
    return ER_ERROR;
  }
  lpContext->idRecordCount = (ID)(nCounts[0] + nCounts[1] + nCounts[2]);
  return ER_SUCCESS;
}

// ---- Puts -----------------------------------------------------------------------------------

namespace {

// What a put record asks.
enum { PUT_NEW, PUT_MODIFY, PUT_DELETE, PUT_HARD_DELETE, PUT_REFUSED };

// Outcome of one put record.
enum { RESULT_WRITTEN, RESULT_CHANGED, RESULT_FAILED };

// The recurrence the element sets, with its exclusion dates; FALSE when a write fails.
BOOL ApplyRecurrence(LPB90CA701_CONTEXT lpContext, LPDSACTIVITY lpActivity, LPDSRECURRENCE lpRecurrence, BOOL bStored,
                     const B90CA701_EXCLUSIONS *lpExclusions) {
  if (bStored) {
    if (B90CA701_UpdateRecurrence(lpContext, lpRecurrence) != ER_SUCCESS) return FALSE;
  } else {
    vyrStrcpyFillAndTerminate(lpRecurrence->szRecurrenceID, NULL, 37, 0);
    if (B90CA701_InsertRecurrence(lpContext, lpRecurrence) != ER_SUCCESS) return FALSE;
    vyrStrcpyFillAndTerminate(lpActivity->szRecurrenceID, lpRecurrence->szRecurrenceID, 37, 0);
  }
  for (int i = 0; i < lpExclusions->nCount; ++i) {
    const int nExists = B90CA701_ExclusionExists(lpContext, lpRecurrence->szRecurrenceID, &lpExclusions->lpDates[i]);
    if (nExists < 0) return FALSE;
    if (nExists == 1) continue;
    DSEXCLUSION exclusion;
    memset(&exclusion, 0, sizeof exclusion);
    B90CA701_InitializeExclusion(lpContext, &exclusion);
    vyrStrcpyFillAndTerminate(exclusion.szRecurrenceID, lpRecurrence->szRecurrenceID, 37, 0);
    exclusion.jdExclusionDate = lpExclusions->lpDates[i];
    if (B90CA701_InsertExclusion(lpContext, &exclusion) != ER_SUCCESS) return FALSE;
  }
  return TRUE;
}

// Creates or changes the activity from the element; *lpszId receives the id kept.
BOOL ApplyElement(LPB90CA701_CONTEXT lpContext, XRCS_hElement hElement, BOOL bExists, JCHAR *lpszId) {
  B90CA701_RECORD *lpRecord = (B90CA701_RECORD *)vyrCalloc(1, sizeof(B90CA701_RECORD));
  if (lpRecord == NULL) return FALSE;
  DSACTIVITY *lpActivity = &lpRecord->activity;
  DSRECURRENCE *lpRecurrence = &lpRecord->recurrence;
  B90CA701_EXCLUSIONS exclusions = {NULL, 0, 0};
  B90CA701_InitializeActivity(lpContext, lpActivity);
  B90CA701_InitializeRecurrence(lpContext, lpRecurrence);
  vyrStrcpyFillAndTerminate(lpActivity->szActivityID, lpszId, 37, 0);
  BOOL bDone = TRUE, bPatternStored = FALSE;
  if (bExists && B90CA701_SelectActivity(lpContext, lpActivity) != ER_SUCCESS) {
    vyrWriteLogEntry(kSource, __LINE__, u"Failed to select activity with ID: %ls", lpszId);
    bDone = FALSE;
  }
  if (bDone && bExists && !vyrIsBlankOrNull(lpActivity->szRecurrenceID)) {
    vyrStrcpyFillAndTerminate(lpRecurrence->szRecurrenceID, lpActivity->szRecurrenceID, 37, 0);
    bPatternStored = B90CA701_SelectRecurrence(lpContext, lpRecurrence) == ER_SUCCESS;
  }
  JCHAR szOldPattern[37];
  vyrStrcpyFillAndTerminate(szOldPattern, lpActivity->szRecurrenceID, 37, 0);
  int nRepeat = B90CA701_REPEAT_KEPT;
  if (bDone &&
      !B90CA701_PopulateRecordFromElement(lpContext, hElement, lpActivity, lpRecurrence, &exclusions, &nRepeat)) {
    DebugTraceFn(u"B90CA701: record %ls refused: a value is missing, too long or malformed", lpszId);
    bDone = FALSE;
  }
  if (bDone && nRepeat == B90CA701_REPEAT_SET)
    bDone = ApplyRecurrence(lpContext, lpActivity, lpRecurrence, bPatternStored, &exclusions);
  if (bDone && nRepeat == B90CA701_REPEAT_REMOVED) vyrStrcpyFillAndTerminate(lpActivity->szRecurrenceID, NULL, 37, 0);
  if (bDone) {
    lpActivity->cChangedByPIM = u'1';
    lpActivity->cCheckVersion = u'0';
    bDone = (bExists ? B90CA701_UpdateActivity(lpContext, lpActivity, NULL)
                     : B90CA701_InsertActivity(lpContext, lpActivity)) == ER_SUCCESS;
  }
  if (bDone && nRepeat == B90CA701_REPEAT_REMOVED) {
    HUSER hUser = (HUSER)vyrRetrieveDataPtr(lpContext->lpVoid, WritesHandle(lpContext));
    bDone = DropRecurrence(hUser, szOldPattern);
  }
  if (bDone) CopyTrimmed(lpszId, lpActivity->szActivityID, 37);
  vyrFree(exclusions.lpDates);
  vyrFree(lpRecord);
  return bDone;
}

// Applies one put record in a transaction of its own; answers its result element into lpBody.
int ApplyPut(LPB90CA701_CONTEXT lpContext, XRCS_hElement hElement, int nRequest, int nIndex, LPB90CA701_TEXT lpBody) {
  JCHAR szId[40] = {0};
  int nResult = RESULT_FAILED;
  const int nRead = ReadText(hElement, u"uid", szId, 36);
  if (nRead < 0 || (nRead == 0 && nRequest != PUT_NEW)) {
    DebugTraceFn(u"B90CA701: unable to read uid from element");
    szId[0] = 0;
    nRequest = nRequest == PUT_NEW ? PUT_NEW : PUT_REFUSED;
  }
  vyrStripTrailingBlanks(szId);
  DSACTIVITY stored;
  if (nRequest != PUT_REFUSED && BeginWrites(lpContext)) {
    int nExists = szId[0] == 0 ? 0 : B90CA701_checkForRecord(lpContext, szId, &stored);
    // Another user's activity of that id is not this user's to see or change.
    BOOL bForeign = nExists == 1 && MathCompare(&stored.mnAddressNumber, &lpContext->mnAddressNumber) != 0;
    if (nRequest == PUT_NEW && bForeign) {
      szId[0] = 0;  // the server makes an id of its own
      nExists = 0;
      bForeign = FALSE;
    }
    // The client's change of a version it does not hold: changed on the server since it had it.
    const BOOL bChanged =
        nExists == 1 && !bForeign && (nRequest == PUT_MODIFY || nRequest == PUT_DELETE) &&
        (vyrUTime_IsNull(&stored.utPIMTimestamp) || vyrUTime_Compare(&stored.utPIMTimestamp, &stored.utUpdateTime) < 0);
    BOOL bDone = FALSE;
    if (nExists < 0 || bForeign) {
      bDone = FALSE;
    } else if (bChanged) {
      nResult = RESULT_CHANGED;
    } else if (nRequest == PUT_DELETE || nRequest == PUT_HARD_DELETE) {
      // An activity that is not there is gone, as asked.
      bDone = nExists == 0 || B90CA701_DeleteActivity(lpContext, &stored);
    } else {
      bDone = ApplyElement(lpContext, hElement, nExists == 1, szId);
    }
    if (EndWrites(lpContext, bDone)) nResult = RESULT_WRITTEN;
  }
  const JCHAR *lpszEvent = nRequest == PUT_NEW                                     ? u"New"
                           : nRequest == PUT_DELETE || nRequest == PUT_HARD_DELETE ? u"Delete"
                                                                                   : u"Modify";
  JCHAR szIndex[16];
  vyrSprintf(szIndex, u"%d", nIndex);
  BOOL bWritten = TextAppend(lpBody, u"<") && TextAppend(lpBody, lpContext->szRecordName) &&
                  TextEscapedAttribute(lpBody, u"uid", szId) && TextAttribute(lpBody, u"lastEvent", lpszEvent) &&
                  TextAttribute(lpBody, u"putRequestIndex", szIndex);
  if (nResult != RESULT_WRITTEN)
    bWritten = bWritten && TextAttribute(lpBody, u"resultID", u"2") &&
               TextAttribute(lpBody, u"resultSystemMessage", u"Failure") &&
               TextAttribute(lpBody, u"resultUserMessage",
                             nResult == RESULT_CHANGED ? B90CA701_CHANGED_DURING_SYNC : B90CA701_FAILED_TO_CHANGE);
  bWritten =
      bWritten && TextAttribute(lpBody, u"syncAnchor", lpContext->sync.szSyncAnchor) && TextAppend(lpBody, u"/>");
  return bWritten ? nResult : -1;
}

// The request of a "putmodified" or "putdeleted" element.
int ReadRequestedEvent(LPB90CA701_CONTEXT lpContext, XRCS_hElement hElement) {
  JCHAR szEvent[16];
  const int nRead = ReadText(hElement, u"requestedEvent", szEvent, 15);
  if (nRead == 0) {
    DebugTraceFn(u"B90CA701: unable to read requestedEvent from element");
    return PUT_REFUSED;
  }
  int nRequest = PUT_REFUSED;
  if (nRead == 1 && vyrStrcmp(szEvent, u"Modify") == 0)
    nRequest = PUT_MODIFY;
  else if (nRead == 1 && vyrStrcmp(szEvent, u"Delete") == 0)
    nRequest = PUT_DELETE;
  else if (nRead == 1 && vyrStrcmp(szEvent, u"HardDelete") == 0)
    nRequest = PUT_HARD_DELETE;
  else
    DebugTraceFn(u"B90CA701: unknown requestedEvent type");
  if (nRequest == PUT_MODIFY && lpContext->nCommand == B90CA701_PUTDELETED) {
    DebugTraceFn(u"B90CA701_putModified: modification type request not recognized");
    return PUT_REFUSED;
  }
  return nRequest;
}

ID ApplyPuts(LPB90CA701_CONTEXT lpContext) {
  if (UserAddressNumber(lpContext) == ER_ERROR) {
    DebugTraceFn(u"B90CA701_putModified: Failed to convert USERID to AN8");
    return ER_ERROR;
  }
  B90CA701_PUTINFO info;
  if (!B90CA701_getPutInformation(lpContext, &info)) {
    if (lpContext->nCommand != B90CA701_PUTNEW)
      DebugTraceFn(
          u"B90CA701_putModified: cannot parse XML request information - returning with no modifications made");
    return ER_ERROR;
  }
  CurrentAnchor(lpContext);
  B90CA701_TEXT body = {NULL, 0, 0};
  int nWritten = 0;
  BOOL bDone = TRUE;
  for (int i = 0; i < info.nRecsToWrite && bDone; ++i) {
    const int nRequest =
        lpContext->nCommand == B90CA701_PUTNEW ? PUT_NEW : ReadRequestedEvent(lpContext, info.lphRecords[i]);
    const int nResult = ApplyPut(lpContext, info.lphRecords[i], nRequest, i, &body);
    bDone = nResult >= 0;
    nWritten += nResult == RESULT_WRITTEN;
  }
  const int nRequested = info.nRecsToWrite;
  B90CA701_freePutInformation(&info);
  JCHAR szHeader[B90CA701_HEADER_SIZE];
  B90CA700_createXMLPutHeader(&lpContext->sync, szHeader, nRequested, nWritten);
  bDone = bDone && Respond(lpContext, szHeader, &body);
  vyrFree(body.lpszText);
  if (!bDone) {
    RunFault(lpContext, u"memory", __LINE__);
    return ER_ERROR;
  }
  lpContext->idRecordCount = (ID)nWritten;
  return nWritten == nRequested ? ER_SUCCESS : ER_WARNING;
}

}  // namespace

FAMOFLAS_INTERNAL ID B90CA701_putNew(LPB90CA701_CONTEXT lpContext) { return ApplyPuts(lpContext); }

FAMOFLAS_INTERNAL ID B90CA701_putModified(LPB90CA701_CONTEXT lpContext) { return ApplyPuts(lpContext); }

// ---- End of a run --------------------------------------------------------------------------

namespace {

// Deletes the F01302 row of the owner and id when it still records the deletion time given.
BOOL ClearDeletion(HREQUEST hRequest, const MATH_NUMERIC *lpmnOwner, const JCHAR *lpszActivityID,
                   const UTIME *lpDeleted) {
  DeletedKey key;
  DeletedRow row;
  memset(&key, 0, sizeof key);
  MathCopy(&key.mnAddressNumber, lpmnOwner);
  vyrStrcpyFillAndTerminate(key.szActivityID, lpszActivityID, 37, 0);
  const ID idFetch = VDB_FetchKeyed(hRequest, 1, &key, 2, &row, 0);
  if (idFetch == VDB_NOT_FOUND) return TRUE;
  if (idFetch != VDB_SUCCESS) return FALSE;
  // Deleted again during the run: the next run reports it.
  if (vyrUTime_Compare(&row.utDeleted, lpDeleted) != 0) return TRUE;
  return VDB_DeleteTable(hRequest, 1, &key, 2) == VDB_SUCCESS;
}

// The deletions the run reported (or, after an initial run, every one recorded before it) leave F01302.
BOOL ClearReportedDeletions(LPB90CA701_CONTEXT lpContext) {
  HREQUEST hRequest = NULL;
  if (VDB_OpenTable(lpContext->sync.hUser, kDeletedTable, 1, NULL, 0, NULL, &hRequest) != VDB_SUCCESS) {
    DebugTraceFn(u"B90CA701.endSync: failed to open Activity Deleted Table");
    return FALSE;
  }
  BOOL bDone = TRUE;
  B90CA701_RECORD *lpRecord = (B90CA701_RECORD *)vyrCalloc(1, sizeof(B90CA701_RECORD));
  HCUR hCursor = NULL;
  if (lpRecord == NULL ||
      vyrCacheOpenCursorX(lpContext->sync.hDataCache, &hCursor, kSource, __LINE__) != VYRCACHE_SUCCESS) {
    bDone = FALSE;
  } else if (vyrStrcmp(lpContext->state.szClientSyncAnchor, B90CA700_INITIAL_ANCHOR) == 0) {
    // The client started from nothing: deletions recorded up to the run's anchor are moot.
    UTIME utAnchor;
    B90CA700_ParseUTime(&utAnchor, lpContext->state.szSyncAnchor);
    const JCHAR cToDoTask = lpContext->bTasks ? u'1' : u'0';
    DeletedRow row;
    ID idSequence = 0;
    if (VDB_SelectKeyed(hRequest, 1, &lpContext->mnAddressNumber, 1) != VDB_SUCCESS) bDone = FALSE;
    while (bDone && VDB_Fetch(hRequest, &row, 0) == VDB_SUCCESS) {
      if (row.cToDoTask != cToDoTask || vyrUTime_Compare(&row.utDeleted, &utAnchor) > 0) continue;
      // Kept in the data cache meanwhile: deleting while scanning would disturb the scan.
      memset(lpRecord, 0, sizeof *lpRecord);
      lpRecord->cKind = B90CA701_STAGED_DELETION;
      vyrStrcpyFillAndTerminate(lpRecord->activity.szActivityID, row.szActivityID, 37, 0);
      MathCopy(&lpRecord->activity.mnAddressNumber, &row.mnAddressNumber);
      vyrUTime_Copy(&lpRecord->activity.utUpdateTime, &row.utDeleted);
      lpRecord->idSequence = 1000000000 + ++idSequence;
      bDone = vyrCacheAdd(lpContext->sync.hDataCache, lpRecord, sizeof *lpRecord) == VYRCACHE_SUCCESS;
    }
  }
  while (bDone && vyrCacheFetchPosition(lpContext->sync.hDataCache, hCursor, NULL, 0, lpRecord, sizeof *lpRecord) ==
                      VYRCACHE_SUCCESS) {
    if (lpRecord->cKind != B90CA701_STAGED_DELETION) continue;
    bDone = ClearDeletion(hRequest, &lpRecord->activity.mnAddressNumber, lpRecord->activity.szActivityID,
                          &lpRecord->activity.utUpdateTime);
    if (!bDone) DebugTraceFn(u"B90CA701.endSync: failed to delete record in Activity Deleted Table");
  }
  if (hCursor != NULL) vyrCacheCloseCursor(lpContext->sync.hDataCache, hCursor);
  vyrFree(lpRecord);
  VDB_CloseTable(hRequest);
  return bDone;
}

}  // namespace

FAMOFLAS_INTERNAL ID B90CA701_endSync(LPB90CA701_CONTEXT lpContext) {
  int nSuccess = 0;
  if (!B90CA700_ParseEndSync(&lpContext->sync, &nSuccess)) {
    RequestFault(lpContext, u"ENDSYNC", __LINE__);
    return ER_ERROR;
  }
  // A run the client did not take whole is sent again: its deletions stay.
  if (nSuccess == 1 && lpContext->bRunOpen) {
    if (UserAddressNumber(lpContext) == ER_ERROR || !ClearReportedDeletions(lpContext)) {
      RunFault(lpContext, kDeletedTable, __LINE__);
      return ER_ERROR;
    }
  }
  if (!B90CA700_TerminateCache(&lpContext->sync)) {
    RunFault(lpContext, u"cache", __LINE__);
    return ER_ERROR;
  }
  if (!TextAppend(&lpContext->response, B90CA700_ENDSYNC_RESPONSE)) {
    RunFault(lpContext, u"memory", __LINE__);
    return ER_ERROR;
  }
  return ER_SUCCESS;
}

// ---- Entry ------------------------------------------------------------------------------------

FAMOFLAS_BSFN ID beginAppointmentSync(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSB90CA701 lpDS = (LPDSB90CA701)lpVoidDS;
  lpDS->idRecordCount = 0;
  LPB90CA701_CONTEXT lpContext = (LPB90CA701_CONTEXT)vyrCalloc(1, sizeof(B90CA701_CONTEXT));
  if (lpContext == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  lpContext->lpBhvrCom = lpBhvrCom;
  lpContext->lpVoid = lpVoid;
  if (VDB_InitBhvr(lpBhvrCom, &lpContext->sync.hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    vyrFree(lpContext);
    return ER_ERROR;
  }
  ParkHandle(lpContext, lpContext->sync.hUser, &lpContext->idHUser);
  ID idResult = ER_ERROR;
  const JCHAR *lpszRequest = vyrPIMSync_RetrieveXML(lpBhvrCom);
  if (lpszRequest == NULL) {
    DebugTraceFn(u"B90CA701 beginAppointmentSync - NULL document returned from vyrPIMSync_RetrieveXML");
    RequestFault(lpContext, u"document", __LINE__);
  } else if (lpContext->idHUser == 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
  } else if (!B90CA701_init_XMLDoc(lpContext, lpszRequest)) {
    RequestFault(lpContext, u"document", __LINE__);
  } else if (B90CA701_InitActivityInfo(lpContext)) {
    switch (lpContext->nCommand) {
      case B90CA701_GETCOUNT:
        idResult = B90CA701_getCount(lpContext);
        break;
      case B90CA701_GETDETAILS:
        idResult = B90CA701_getDetails(lpContext);
        break;
      case B90CA701_ENDSYNC:
        idResult = B90CA701_endSync(lpContext);
        break;
      case B90CA701_PUTNEW:
        idResult = B90CA701_putNew(lpContext);
        break;
      default:
        idResult = B90CA701_putModified(lpContext);
        break;
    }
  }
  if (idResult != ER_ERROR && vyrPIMSync_StoreXML(lpBhvrCom, lpContext->response.lpszText) != ER_SUCCESS) {
    RunFault(lpContext, u"response", __LINE__);
    idResult = ER_ERROR;
  }
  lpDS->idRecordCount = lpContext->idRecordCount;
  // The caches live on for the run's next request; only this call's handles end.
  if (lpContext->sync.hDataCache != NULL) vyrCacheTerminate(lpContext->sync.hUser, lpContext->sync.hDataCache);
  if (lpContext->sync.hStateCache != NULL) vyrCacheTerminate(lpContext->sync.hUser, lpContext->sync.hStateCache);
  VDB_CloseTable(lpContext->hExclusions);
  if (lpContext->idHUser != 0) vyrRemoveDataPtr(lpVoid, lpContext->idHUser);
  XRCS_freeElement(lpContext->sync.hRootElement);
  XRCS_freeDocument(lpContext->sync.hDocument);
  XRCS_freeParser(lpContext->sync.hParser);
  vyrFree(lpContext->response.lpszText);
  VDB_FreeBhvr(lpContext->sync.hUser);
  vyrFree(lpContext);
  return idResult;
}
FAMOFLAS_REGISTER(beginAppointmentSync, &DSB90CA701_template, "B90CA701")
