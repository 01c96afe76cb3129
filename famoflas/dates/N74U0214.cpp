// Day difference less the leap days walked over.
#include "dates/N74U0214.h"

#include <string.h>

namespace {

const char kSource[] = "N74U0214";

BOOL isLeapDay(const VYRDATE *lpDate, const MATH_NUMERIC *lpmnFebruary, const MATH_NUMERIC *lpmn29) {
  MATH_NUMERIC mnMonth, mnDay;
  IntToMathNumeric(lpDate->nMonth, &mnMonth);
  IntToMathNumeric(lpDate->nDay, &mnDay);
  return MathCompare(&mnMonth, lpmnFebruary) == 0 && MathCompare(&mnDay, lpmn29) == 0;
}

}  // namespace

FAMOFLAS_BSFN ID DaysBetweenExcludingLeapYearDay(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD74U0214 lpDS = (LPDSD74U0214)lpVoidDS;

  MATH_NUMERIC mnLeapDays, mnFebruary, mn29;
  ZeroMathNumeric(&mnLeapDays);
  ZeroMathNumeric(&mnFebruary);
  ZeroMathNumeric(&mn29);
  ParseNumericString(&mnFebruary, u"2");
  ParseNumericString(&mn29, u"29");
  lpDS->cLeapDayIncluded = u'0';
  VYRDATE jdWalk;
  memcpy(&jdWalk, &lpDS->jdFromDate, sizeof jdWalk);

  MATH_NUMERIC mnBase;
  LongToMathNumeric(DateDifference(&lpDS->jdFromDate, &lpDS->jdToDate), &mnBase);

  // The first date is examined even when the range is empty or reversed.
  for (;;) {
    if (isLeapDay(&jdWalk, &mnFebruary, &mn29)) {
      IncrementMathNumeric(&mnLeapDays);
      lpDS->cLeapDayIncluded = u'1';
    }
    VYRDATE jdBefore;
    memcpy(&jdBefore, &jdWalk, sizeof jdBefore);
    RTK_CER_AddDays(&jdWalk, 1);
    if (VYRDATECmp(&jdWalk, &lpDS->jdToDate) >= 0) break;
    // A null date or one at the end of the calendar does not move: stop there.
    if (VYRDATECmp(&jdWalk, &jdBefore) <= 0) break;
  }

  if (MathZeroTest(&mnLeapDays) == 0) {
    MathCopy(&lpDS->mnDaysBetween, &mnBase);
  } else {
    MathSubtract(&lpDS->mnDaysBetween, &mnBase, &mnLeapDays);
  }
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(DaysBetweenExcludingLeapYearDay, &DSD74U0214_template, "N74U0214")
