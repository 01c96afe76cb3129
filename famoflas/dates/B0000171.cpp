// The date one month before, as the platform settles the day.
#include "dates/B0000171.h"

#include <string.h>

namespace {
const char kSource[] = "B0000171";
}  // namespace

FAMOFLAS_BSFN ID DecrementDateOneMonth(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000171 lpDS = (LPDSD0000171)lpVoidDS;
  VYRDATE jdWork;
  memcpy(&jdWork, &lpDS->jdDate, sizeof jdWork);
  DecrementOneMonth(&jdWork);
  memcpy(&lpDS->jdDateLessOneMonth, &jdWork, sizeof jdWork);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(DecrementDateOneMonth, &DSD0000171_template, "B0000171")
