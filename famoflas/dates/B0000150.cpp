// Work-day calendar: counts and rolls dates over the day flags of F0007.
#include "dates/B0000150.h"

#include <stddef.h>
#include <string.h>

namespace {

const char kSource[] = "B0000150";
const ID kCalendarIndex = 2;
const JCHAR kWorkDay = u'W';

static_assert(sizeof(KEY2_F0007) == 13 * 2 + 11 * 2 + 11 * 2 + 3 * 49 + 2, "F0007 key is packed");
static_assert(sizeof(DSF0007_WORKDAYS) == 13 * 2 + 11 * 2 + 11 * 2 + 2 * 49 + 2 + 31 * 2, "F0007 row is packed");
static_assert(offsetof(DSF0007_WORKDAYS, acDayFlags) + 31 * sizeof(JCHAR) == sizeof(DSF0007_WORKDAYS),
              "TD31 ends the row");

// The 37 columns, in the order of DSF0007_WORKDAYS.
void fillCalendarColumns(NID *lpColumns) {
  static const JCHAR *const kLeading[] = {u"MMCU", u"WDCT", u"WDCK", u"YR", u"MT", u"SHFT"};
  const size_t nLeading = sizeof kLeading / sizeof kLeading[0];
  for (size_t i = 0; i < nLeading; ++i) vyrStrncpy(lpColumns[i], kLeading[i], 11);
  for (int nDay = 1; nDay <= 31; ++nDay) vyrSprintf(lpColumns[nLeading + nDay - 1], u"TD%02d", nDay);
}

// The flag of the day the date is on; a day field outside 1-31 has none and is no work day.
JCHAR dayFlag(const WorkDayCalendarContext *lpContext) {
  const short nDay = lpContext->lpDate->nDay;
  if (nDay < 1 || nDay > 31) return 0;
  return lpContext->szDayFlags[nDay - 1];
}

void copyDayFlags(LPWORKDAYCALENDARCONTEXT lpContext) {
  memcpy(lpContext->szDayFlags, lpContext->record.acDayFlags, sizeof lpContext->record.acDayFlags);
  lpContext->szDayFlags[31] = 0;
}

// Fetches the row the key names into the record and takes its flags; "2721" when there is none.
ID fetchMonth(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext, int nLine) {
  if (VDB_FetchKeyed(lpContext->hRequest, kCalendarIndex, &lpContext->key, (short)lpContext->idNumKeys,
                     &lpContext->record, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"2721", NULL, kSource, nLine);
    return ER_ERROR;
  }
  copyDayFlags(lpContext);
  return ER_SUCCESS;
}

// One day forward (nDays 1) or back (-1): the day goes into the caller's date
// at once, month and year follow when the month row is refreshed.
ID stepOneDay(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext, int nDays) {
  AdvanceDate(&lpContext->jdNextDate, lpContext->lpDate, 0, nDays);
  lpContext->lpDate->nDay = lpContext->jdNextDate.nDay;
  return I0000150_GetNextF0007Record(lpBhvrCom, lpVoid, lpContext);
}

BOOL contextUsable(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const WorkDayCalendarContext *lpContext, int nLine) {
  if (lpContext != NULL && lpContext->lpDate != NULL) return TRUE;
  vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, nLine);
  return FALSE;
}

ID rollToWorkDay(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext, int nDays) {
  if (!contextUsable(lpBhvrCom, lpVoid, lpContext, __LINE__)) return ER_ERROR;
  ID idReturn = ER_SUCCESS;
  memset(&lpContext->jdNextDate, 0, sizeof lpContext->jdNextDate);
  while (dayFlag(lpContext) != kWorkDay && idReturn == ER_SUCCESS)
    idReturn = stepOneDay(lpBhvrCom, lpVoid, lpContext, nDays);
  return idReturn;
}

}  // namespace

FAMOFLAS_BSFN ID AdvanceWorkDays(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  WorkDayCalendarContext dsContext;
  memset(&dsContext, 0, sizeof dsContext);
  NID aColumns[B0000150_F0007_COLUMNS];
  memset(aColumns, 0, sizeof aColumns);
  HUSER hUser = NULL;

  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000150 lpDS = (LPDSD0000150)lpVoidDS;

  // Nothing asked: the date stays as it is and no table is touched.
  if (lpDS->cAdvanceMode == u' ' || lpDS->cAdvanceMode == 0) return ER_SUCCESS;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }

  fillCalendarColumns(aColumns);
  ID idReturn = ER_SUCCESS;
  if (VDB_OpenTable(hUser, u"F0007", kCalendarIndex, aColumns, B0000150_F0007_COLUMNS, NULL, &dsContext.hRequest) !=
      VDB_SUCCESS) {
    dsContext.hRequest = NULL;
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", u"F0007", kSource, __LINE__);
    idReturn = ER_ERROR;
  }

  if (idReturn == ER_SUCCESS) {
    vyrStrncpy(dsContext.key.szBusinessUnit, lpDS->szBusinessUnit, 13);
    vyrStrncpy(dsContext.key.szCalendarType, lpDS->szCalendarType, 11);
    vyrStrncpy(dsContext.key.szCalendarKey, lpDS->szCalendarKey, 11);
    dsContext.key.cShiftCode = lpDS->cShiftCode;
    dsContext.idNumKeys = B0000150_F0007_KEYS;
    dsContext.lpDate = &lpDS->jdWorkDate;
    idReturn = I0000150_PrepDateItemsF0007Fetch(lpBhvrCom, lpVoid, &dsContext);
  }

  if (idReturn == ER_SUCCESS) idReturn = fetchMonth(lpBhvrCom, lpVoid, &dsContext, __LINE__);

  if (idReturn == ER_SUCCESS) {
    switch (lpDS->cAdvanceMode) {
      case B0000150_MODE_COUNT_WORK_DAYS:
        MathCopy(&dsContext.mnDaysToMove, &lpDS->mnNumberOfDays);
        idReturn = I0000150_ActualDays(lpBhvrCom, lpVoid, &dsContext);
        break;
      case B0000150_MODE_ROLL_FORWARD:
        idReturn = I0000150_GoForwards(lpBhvrCom, lpVoid, &dsContext);
        break;
      case B0000150_MODE_ROLL_BACKWARD:
        idReturn = I0000150_GoBackwards(lpBhvrCom, lpVoid, &dsContext);
        break;
      default:
        BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"019T", u"WKDY", kSource, __LINE__);
        idReturn = ER_ERROR;
        break;
    }
  }

  if (dsContext.hRequest != NULL) VDB_CloseTable(dsContext.hRequest);
  VDB_FreeBhvr(hUser);
  return idReturn == ER_SUCCESS ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(AdvanceWorkDays, &DSD0000150_template, "B0000150")

FAMOFLAS_INTERNAL ID I0000150_ActualDays(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext) {
  if (!contextUsable(lpBhvrCom, lpVoid, lpContext, __LINE__)) return ER_ERROR;
  MATH_NUMERIC mnCounted, mnZero;
  ZeroMathNumeric(&mnCounted);
  ZeroMathNumeric(&mnZero);
  memset(&lpContext->jdNextDate, 0, sizeof lpContext->jdNextDate);
  // Zero or less walks back: with zero the loop never runs.
  const int nStep = MathCompare(&lpContext->mnDaysToMove, &mnZero) <= 0 ? -1 : 1;

  // The count is met only when the work days seen equal it exactly; a
  // fractional count is never met and the walk ends at the calendar's edge.
  ID idReturn = ER_SUCCESS;
  while (MathCompareAbsolute(&mnCounted, &lpContext->mnDaysToMove) != 0 && idReturn == ER_SUCCESS) {
    idReturn = stepOneDay(lpBhvrCom, lpVoid, lpContext, nStep);
    if (idReturn == ER_SUCCESS && dayFlag(lpContext) == kWorkDay) IncrementMathNumeric(&mnCounted);
  }
  return idReturn;
}

FAMOFLAS_INTERNAL ID I0000150_GoForwards(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext) {
  return rollToWorkDay(lpBhvrCom, lpVoid, lpContext, 1);
}

FAMOFLAS_INTERNAL ID I0000150_GoBackwards(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext) {
  return rollToWorkDay(lpBhvrCom, lpVoid, lpContext, -1);
}

FAMOFLAS_INTERNAL ID I0000150_GetNextF0007Record(LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                                                 LPWORKDAYCALENDARCONTEXT lpContext) {
  if (!contextUsable(lpBhvrCom, lpVoid, lpContext, __LINE__)) return ER_ERROR;
  // One-day steps change the year only together with the month.
  if (lpContext->jdNextDate.nMonth == lpContext->lpDate->nMonth) return ER_SUCCESS;

  lpContext->lpDate->nMonth = lpContext->jdNextDate.nMonth;
  lpContext->lpDate->nYear = lpContext->jdNextDate.nYear;
  memset(lpContext->szDayFlags, 0, sizeof lpContext->szDayFlags);
  const ID idReturn = I0000150_PrepDateItemsF0007Fetch(lpBhvrCom, lpVoid, lpContext);
  if (idReturn != ER_SUCCESS) return idReturn;
  return fetchMonth(lpBhvrCom, lpVoid, lpContext, __LINE__);
}

FAMOFLAS_INTERNAL ID I0000150_PrepDateItemsF0007Fetch(LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                                                      LPWORKDAYCALENDARCONTEXT lpContext) {
  if (!contextUsable(lpBhvrCom, lpVoid, lpContext, __LINE__)) return ER_ERROR;
  VDB_ClearColBuffer(lpContext->hRequest);

  short nCentury = 0, nYear = 0;
  VYRDATEToCenturyAndYear(lpContext->lpDate, &nCentury, &nYear);
  IntToMathNumeric(nYear, &lpContext->mnYear);
  IntToMathNumeric(lpContext->lpDate->nMonth, &lpContext->mnMonth);
  IntToMathNumeric(nCentury, &lpContext->mnCentury);

  const ID idReturn = I0000150_FormatCenturyForF0007(lpBhvrCom, lpVoid, &lpContext->mnCentury);
  if (idReturn == ER_SUCCESS) MathCopy(&lpContext->key.mnCentury, &lpContext->mnCentury);
  MathCopy(&lpContext->key.mnYear, &lpContext->mnYear);
  MathCopy(&lpContext->key.mnMonth, &lpContext->mnMonth);
  return idReturn;
}

FAMOFLAS_INTERNAL ID I0000150_FormatCenturyForF0007(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPMATH_NUMERIC lpmnCentury) {
  if (lpmnCentury == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  MATH_NUMERIC mn19, mn20;
  ZeroMathNumeric(&mn19);
  ZeroMathNumeric(&mn20);
  ParseNumericString(&mn19, u"19");
  ParseNumericString(&mn20, u"20");
  if (MathCompare(lpmnCentury, &mn20) == 0) {
    ParseNumericString(lpmnCentury, u"1");
  } else if (MathCompare(lpmnCentury, &mn19) == 0) {
    ZeroMathNumeric(lpmnCentury);
  } else {
    // The table has codes for 1900-2099 only.
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"019T", u"CTRY", kSource, __LINE__);
    return ER_ERROR;
  }
  return ER_SUCCESS;
}
