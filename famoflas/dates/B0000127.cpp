// Today's date from the system clock, in local time.
#include "dates/B0000127.h"

#include <time.h>

namespace {
const char kSource[] = "B0000127";
}  // namespace

FAMOFLAS_BSFN ID ReturnTodaysDate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000127 lpDS = (LPDSD0000127)lpVoidDS;
  const time_t tNow = time(NULL);
  struct tm tmLocal;
  if (tNow == (time_t)-1 || localtime_r(&tNow, &tmLocal) == NULL) {
    // A clock that cannot be read leaves the platform's own idea of today.
    VYRDATEToday(&lpDS->jdToday);
    return ER_SUCCESS;
  }
  VYRDate2(&lpDS->jdToday, (short)(tmLocal.tm_year + 1900), (short)(tmLocal.tm_mon + 1), (short)tmLocal.tm_mday);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ReturnTodaysDate, &DSD0000127_template, "B0000127")
