// Business functions the service tests load with --library: one that takes
// its time (to stop the server while it runs) and one that hands out numbers
// from F00022 (to run two servers on one database).
#include <chrono>
#include <thread>

#include "frame/bsfn.h"
#include "vyrdb.h"

#define DSSLEEP_MEMBERS(M, S) M(S, INT, nMillis, 0)
FAMOFLAS_DS(DSSLEEP, DSSLEEP_MEMBERS)

FAMOFLAS_BSFN ID SleepMillis(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "SERVETEST", __LINE__)) return ER_ERROR;
  std::this_thread::sleep_for(std::chrono::milliseconds(static_cast<DSSLEEP *>(lpVoidDS)->nMillis));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(SleepMillis, &DSSLEEP_template, "SERVETEST")

#define DSTAKENUMBER_MEMBERS(M, S) \
  M(S, STRING, szCounter, 10)      \
  M(S, MATH, mnNumber, 0)
FAMOFLAS_DS(DSTAKENUMBER, DSTAKENUMBER_MEMBERS)

#pragma pack(push, 1)
struct CounterRow {  // F00022: OBNM, UKID
  JCHAR szObject[11];
  MATH_NUMERIC mnLast;
};
#pragma pack(pop)

// The counter's next value, taken under a row lock: the row counts up by one.
FAMOFLAS_BSFN ID TakeNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "SERVETEST", __LINE__)) return ER_ERROR;
  auto *ds = static_cast<DSTAKENUMBER *>(lpVoidDS);
  HUSER hUser = nullptr;
  HREQUEST hRequest = nullptr;
  if (VDB_InitBhvr(lpBhvrCom, &hUser, nullptr, 0) != VDB_SUCCESS) return ER_ERROR;
  ID result = ER_ERROR;
  if (VDB_OpenTable(hUser, u"F00022", 1, nullptr, 0, nullptr, &hRequest) == VDB_SUCCESS) {
    CounterRow key{}, row{};
    vyrStrcpyFillAndTerminate(key.szObject, ds->szCounter, 11, 0);
    if (VDB_FetchKeyedForUpdate(hRequest, 1, &key, 1, &row, 0) == VDB_SUCCESS) {
      MATH_NUMERIC one;
      ZeroMathNumeric(&one);
      IntToMathNumeric(1, &one);
      MathAdd(&row.mnLast, &row.mnLast, &one);
      if (VDB_UpdateCurrent(hRequest, &row) == VDB_SUCCESS) {
        MathCopy(&ds->mnNumber, &row.mnLast);
        result = ER_SUCCESS;
      }
    }
    VDB_CloseTable(hRequest);
  }
  VDB_FreeBhvr(hUser);
  return result;
}
FAMOFLAS_REGISTER(TakeNumber, &DSTAKENUMBER_template, "SERVETEST")

FAMOFLAS_DEFINE_CATALOG(famoflasCatalog)
