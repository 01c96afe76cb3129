// A sync function for the transport tests, under the name the runtime picks
// for appointments. It answers through the envelope's helpers and keeps a
// count of "getcount" requests in a named cache, so a test can see that the
// caches of one process live from one request to the next:
//   getcount    stages one record; get header with the records staged as new
//   getdetails  get header with GETINFO's startRec and the records staged
//   endsync     reads ENDSYNC, ends the cache, answers the empty response
// The run's anchor is the client's "syncAnchor" read and written back.
#include "sync/B90CA700.h"

#define DSTESTSYNC_MEMBERS(M, S) M(S, ID, idUnused, 0)
FAMOFLAS_DS(DSTESTSYNC, DSTESTSYNC_MEMBERS)

namespace {

typedef struct {
  ID idSequence;
} StagedRecord;

BOOL OpenStage(LPSYNCCONTEXT lpContext) {
  JCHAR szName[64];
  vyrSprintf(szName, u"TESTSYNC:%ls", lpContext->szUsername);
  VYRCACHE_INDEX index = {};
  index.nSegments = 1;
  index.Segment[0] = {0, sizeof(ID), VYRCACHE_KEY_ID};
  return vyrCacheInit(lpContext->hUser, &lpContext->hDataCache, szName, &index) == VYRCACHE_SUCCESS;
}

void ReadAnchor(LPSYNCCONTEXT lpContext, XRCS_hElement hGetInfo) {
  JCHAR szClient[SYNC_ANCHOR_SIZE] = {0};
  UTIME anchor = {};
  if (B90CA700_getElementAttribute(hGetInfo, u"syncAnchor", szClient, SYNC_ANCHOR_SIZE) &&
      B90CA700_ParseUTime(&anchor, szClient))
    B90CA700_FormatUTime(lpContext->szSyncAnchor, &anchor);
}

ID Answer(LPSYNCCONTEXT lpContext, JCHAR *lpszOut) {
  XRCS_hElement hInfo = NULL;
  XRCS_getElementFirstChild(lpContext->hRootElement, &hInfo);
  if (vyrStrcmp(lpContext->szCommand, u"endsync") == 0) {
    int nSuccess = 0;
    if (!B90CA700_ParseEndSync(lpContext, &nSuccess) || !OpenStage(lpContext) ||
        !B90CA700_TerminateCache(lpContext)) {
      XRCS_freeElement(hInfo);
      return ER_ERROR;
    }
    vyrStrcpy(lpszOut, B90CA700_ENDSYNC_RESPONSE);
    XRCS_freeElement(hInfo);
    return ER_SUCCESS;
  }
  ID idResult = ER_ERROR;
  if (OpenStage(lpContext)) {
    ReadAnchor(lpContext, hInfo);
    int nStaged = vyrCacheGetNumRecords(lpContext->hDataCache);
    JCHAR szStartRec[12] = u"1";
    if (vyrStrcmp(lpContext->szCommand, u"getcount") == 0) {
      StagedRecord record = {(ID)nStaged + 1};
      if (vyrCacheAdd(lpContext->hDataCache, &record, sizeof record) == VYRCACHE_SUCCESS) ++nStaged;
      idResult = ER_SUCCESS;
    } else if (vyrStrcmp(lpContext->szCommand, u"getdetails") == 0) {
      B90CA700_getElementAttribute(hInfo, u"startRec", szStartRec, 12);
      idResult = ER_SUCCESS;
    }
    if (idResult == ER_SUCCESS) {
      JCHAR *lpszEnd = B90CA700_createXMLGetHeader(lpContext, lpszOut, vyrAtoi(szStartRec), nStaged, 0, 0);
      vyrStrcpy(lpszEnd, u"</PIMRESP>");
    }
    vyrCacheTerminate(lpContext->hUser, lpContext->hDataCache);
  }
  XRCS_freeElement(hInfo);
  return idResult;
}

}  // namespace

FAMOFLAS_BSFN ID beginAppointmentSync(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "TESTSYNC", __LINE__)) return ER_ERROR;
  const JCHAR *lpszRequest = vyrPIMSync_RetrieveXML(lpBhvrCom);
  SYNCCONTEXT context = {};
  ID idResult = ER_ERROR;
  JCHAR szResponse[1024] = {0};
  if (lpszRequest != NULL && XRCS_getParser(&context.hParser) == XRCS_SUCCESS &&
      XRCS_parseXMLString(context.hParser, lpszRequest, &context.hDocument) == XRCS_SUCCESS &&
      XRCS_getDocumentElement(context.hDocument, &context.hRootElement) == XRCS_SUCCESS) {
    B90CA700_getElementAttribute(context.hRootElement, u"username", context.szUsername, SYNC_USERNAME_SIZE);
    B90CA700_getElementAttribute(context.hRootElement, u"appDataType", context.szAppDataType, SYNC_APPDATATYPE_SIZE);
    B90CA700_getElementAttribute(context.hRootElement, u"command", context.szCommand, SYNC_COMMAND_SIZE);
    idResult = Answer(&context, szResponse);
  }
  XRCS_freeElement(context.hRootElement);
  XRCS_freeDocument(context.hDocument);
  XRCS_freeParser(context.hParser);
  if (idResult == ER_SUCCESS) vyrPIMSync_StoreXML(lpBhvrCom, szResponse);
  return idResult;
}
FAMOFLAS_REGISTER(beginAppointmentSync, &DSTESTSYNC_template, "TESTSYNC")

FAMOFLAS_DEFINE_CATALOG(famoflasCatalog)
