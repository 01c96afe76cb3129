// A sync function for the command tests, under the name the runtime picks for
// appointments. It answers through the envelope's helpers and counts the
// "getcount" requests of a user in a named cache, so a test sees the caches
// of one process live from one request to the next:
//   getcount    stages one record; a get header with the records staged as new
//   getdetails  a get header with GETINFO's startRec and the records staged
//   endsync     reads ENDSYNC, ends the cache, answers the empty response
// The run's anchor is the client's "syncAnchor".
#include "sync/B90CA700.h"

#define DSTESTSYNC_MEMBERS(M, S) M(S, ID, idUnused, 0)
FAMOFLAS_DS(DSTESTSYNC, DSTESTSYNC_MEMBERS)

namespace {

ID Answer(LPSYNCCONTEXT lpContext, XRCS_hElement hInfo, JCHAR *lpszOut) {
  JCHAR szName[64];
  vyrSprintf(szName, u"TESTSYNC:%ls", lpContext->szUsername);
  VYRCACHE_INDEX index = {1, {{0, sizeof(ID), VYRCACHE_KEY_ID}}};
  if (vyrCacheInit(lpContext->hUser, &lpContext->hDataCache, szName, &index) != VYRCACHE_SUCCESS) return ER_ERROR;
  ID idStaged = (ID)vyrCacheGetNumRecords(lpContext->hDataCache);
  JCHAR szStartRec[12] = u"1";
  if (vyrStrcmp(lpContext->szCommand, u"endsync") == 0) {
    int nSuccess = 0;
    if (!B90CA700_ParseEndSync(lpContext, &nSuccess) || !B90CA700_TerminateCache(lpContext)) return ER_ERROR;
    vyrStrcpy(lpszOut, B90CA700_ENDSYNC_RESPONSE);
    return ER_SUCCESS;
  }
  if (vyrStrcmp(lpContext->szCommand, u"getcount") == 0) {
    ++idStaged;
    vyrCacheAdd(lpContext->hDataCache, &idStaged, sizeof idStaged);
  } else {
    B90CA700_getElementAttribute(hInfo, u"startRec", szStartRec, 12);
  }
  vyrCacheTerminate(lpContext->hUser, lpContext->hDataCache);
  B90CA700_getElementAttribute(hInfo, u"syncAnchor", lpContext->szSyncAnchor, SYNC_ANCHOR_SIZE);
  vyrStrcpy(B90CA700_createXMLGetHeader(lpContext, lpszOut, vyrAtoi(szStartRec), (int)idStaged, 0, 0), u"</PIMRESP>");
  return ER_SUCCESS;
}

}  // namespace

FAMOFLAS_BSFN ID beginAppointmentSync(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "TESTSYNC", __LINE__)) return ER_ERROR;
  const JCHAR *lpszRequest = vyrPIMSync_RetrieveXML(lpBhvrCom);
  SYNCCONTEXT context = {};
  XRCS_hElement hInfo = NULL;
  ID idResult = ER_ERROR;
  JCHAR szResponse[1024] = {0};
  if (lpszRequest != NULL && XRCS_getParser(&context.hParser) == XRCS_SUCCESS &&
      XRCS_parseXMLString(context.hParser, lpszRequest, &context.hDocument) == XRCS_SUCCESS &&
      XRCS_getDocumentElement(context.hDocument, &context.hRootElement) == XRCS_SUCCESS) {
    B90CA700_getElementAttribute(context.hRootElement, u"username", context.szUsername, SYNC_USERNAME_SIZE);
    B90CA700_getElementAttribute(context.hRootElement, u"appDataType", context.szAppDataType, SYNC_APPDATATYPE_SIZE);
    B90CA700_getElementAttribute(context.hRootElement, u"command", context.szCommand, SYNC_COMMAND_SIZE);
    XRCS_getElementFirstChild(context.hRootElement, &hInfo);
    idResult = Answer(&context, hInfo, szResponse);
  }
  XRCS_freeElement(hInfo);
  XRCS_freeElement(context.hRootElement);
  XRCS_freeDocument(context.hDocument);
  XRCS_freeParser(context.hParser);
  if (idResult == ER_SUCCESS) vyrPIMSync_StoreXML(lpBhvrCom, szResponse);
  return idResult;
}
FAMOFLAS_REGISTER(beginAppointmentSync, &DSTESTSYNC_template, "TESTSYNC")

FAMOFLAS_DEFINE_CATALOG(famoflasCatalog)
