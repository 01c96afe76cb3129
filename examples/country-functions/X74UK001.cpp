// X74UK001 - Construction Industry Scheme status of a supplier, for the UK
// branches of the localization servers (user setting CTR "UK", mode "VAL").
//
// This installation numbers its CIS subcontractors 700000 to 799999 in the
// address book; their status counts as verified when the server asks for a
// verified answer (processing mode "2").
#include "localization/localization.h"

/*
 * Member 1 the address number (positive, else error "019T" on it and code 2),
 * member 2 the processing mode; sets member 3 "1" for a subcontractor and
 * member 4 "1" when that status is verified, else "0".
 */
ID GetCISSubcontractorStatus(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "X74UK001", __LINE__)) return ER_ERROR;
  LPDSGETCISSUBCONTRACTORSTATUS lpDS = (LPDSGETCISSUBCONTRACTORSTATUS)lpVoidDS;
  lpDS->cIsSubcontractor = u'0';
  lpDS->cStatusVerified = u'0';
  const long nAddress = MathNumericToLong(&lpDS->mnAddressNumber);
  if (nAddress <= 0) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 1, u"019T", NULL, "X74UK001", __LINE__);
    return ER_ERROR;
  }
  if (nAddress >= 700000 && nAddress <= 799999) {
    lpDS->cIsSubcontractor = u'1';
    if (lpDS->cProcessingMode == u'2') lpDS->cStatusVerified = u'1';
  }
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(GetCISSubcontractorStatus, &DSGETCISSUBCONTRACTORSTATUS_template, "X74UK001")
