// Section accessors: each hands one report-runtime answer about a section to an event rule.
#include "frame/N94NM16B.h"

#include <limits.h>
#include <string.h>

#include "frame/ubeanswer.h"

static const char kSource[] = "N94NM16B";

/* A MATH_NUMERIC number as the 32-bit integer the runtime takes; values out of
 * range stay out of range instead of wrapping onto a valid number. */
static int32_t NumberArgument(const MATH_NUMERIC *lpValue) {
  const long nValue = MathNumericToLong(lpValue);
  if (nValue > INT32_MAX) return INT32_MAX;
  if (nValue < INT32_MIN) return INT32_MIN;
  return (int32_t)nValue;
}

FAMOFLAS_BSFN ID ubeSectionGetID(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16B)lpVoidDS)->idSection = UbeNumber(lpBhvrCom, ubeSection_GetID);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetID, &DSD94NM16B_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionGetCurrRowNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16B1)lpVoidDS)->nRowNumber = UbeNumber(lpBhvrCom, ubeSection_GetCurrentRowNumber);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetCurrRowNumber, &DSD94NM16B1_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionGetColumnNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ((LPDSD94NM16B2)lpVoidDS)->nColumnNumber = UbeNumber(lpBhvrCom, ubeSection_GetCurrentColumnNumber);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetColumnNumber, &DSD94NM16B2_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionGetReverseSign(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B3 lpDS = (LPDSD94NM16B3)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  lpDS->cReverseSign = ubeSection_GetReverseSign((HREPORT)lpBhvrCom) ? u'1' : u'0';
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetReverseSign, &DSD94NM16B3_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionIsBalanceAuditorDefine(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B4 lpDS = (LPDSD94NM16B4)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  UbeAnswerTrueFalse(lpDS->szBalanceAuditorDefined, ubeSection_IsBalanceAuditorDefined((HREPORT)lpBhvrCom));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionIsBalanceAuditorDefine, &DSD94NM16B4_template, "N94NM16B")

/* The names go to the runtime only when both are filled; otherwise it is
 * asked about the current section. */
FAMOFLAS_BSFN ID ubeSectionGetDataSequence(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B5 lpDS = (LPDSD94NM16B5)lpVoidDS;
  UBE_SEQUENCE_ITEM dsItem;
  const JCHAR *lpszSection = NULL;
  const JCHAR *lpszVersion = NULL;
  memset(&dsItem, 0, sizeof(dsItem));
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  if (!vyrIsBlankOrNull(lpDS->szSectionName) && !vyrIsBlankOrNull(lpDS->szVersion)) {
    lpszSection = lpDS->szSectionName;
    lpszVersion = lpDS->szVersion;
  }
  ubeSection_GetDataSequence((HREPORT)lpBhvrCom, lpszSection, lpszVersion, NumberArgument(&lpDS->mnSequenceItem),
                             &dsItem);
  vyrStrncpy(lpDS->szTableName, dsItem.szTable, UBE_MEMBER_SIZE(lpDS->szTableName));
  vyrStrncpy(lpDS->szDataItem, dsItem.szDataItem, UBE_MEMBER_SIZE(lpDS->szDataItem));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetDataSequence, &DSD94NM16B5_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionGetDataSequenceItem(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B6 lpDS = (LPDSD94NM16B6)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeSection_GetDataSequenceItem((HREPORT)lpBhvrCom, NumberArgument(&lpDS->mnSequenceItem), lpDS->szDataItem,
                                 UBE_MEMBER_SIZE(lpDS->szDataItem));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetDataSequenceItem, &DSD94NM16B6_template, "N94NM16B")

FAMOFLAS_BSFN ID ubeSectionGetTableInfo(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B7 lpDS = (LPDSD94NM16B7)lpVoidDS;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  ubeSection_GetTableInfo((HREPORT)lpBhvrCom, lpDS->szTableName, UBE_MEMBER_SIZE(lpDS->szTableName));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionGetTableInfo, &DSD94NM16B7_template, "N94NM16B")

/*
 * Unlike ubeSectionGetDataSequence, the names go to the runtime when either
 * of them is empty and are left out (the current section) when both are
 * filled. Event rules are written against exactly this; it is not to be
 * made to agree with its neighbour.
 */
FAMOFLAS_BSFN ID ubeSectionUseDataSelection(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD94NM16B8 lpDS = (LPDSD94NM16B8)lpVoidDS;
  const JCHAR *lpszSection = NULL;
  const JCHAR *lpszVersion = NULL;
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  if (vyrStrlen(lpDS->szSectionName) == 0 || vyrStrlen(lpDS->szVersion) == 0) {
    lpszSection = lpDS->szSectionName;
    lpszVersion = lpDS->szVersion;
  }
  ubeSection_UseDataSelection((HREPORT)lpBhvrCom, lpszSection, lpszVersion, NumberArgument(&lpDS->mnDataSelection));
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ubeSectionUseDataSelection, &DSD94NM16B8_template, "N94NM16B")
