// ValidateGeoCode: at the end of a job, drops the geocode lookups it cached.
#include "C7300001.h"

#include "cacheend.h"

static const char kSource[] = "C7300001";

FAMOFLAS_BSFN ID ValidateGeoCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSVALIDATEGEOCODE lpDS = (LPDSVALIDATEGEOCODE)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  lpDS->idLookupsEnded = 0;
  if (lpDS->cProcessingMode != u'1') {
    // Lookups are the tax package's; this host offers none to validate against.
    vyrErrorSetEx(lpBhvrCom, lpVoid, 1, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  return CompanionEndCache(lpBhvrCom, lpVoid, C7300001_LOOKUP_CACHE, &lpDS->idLookupsEnded, kSource, __LINE__);
}
FAMOFLAS_REGISTER(ValidateGeoCode, &DSVALIDATEGEOCODE_template, "C7300001")
