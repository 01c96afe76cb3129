/*
 * B0000150.h - work-day calendar. AdvanceWorkDays moves a date along the
 * calendar of table F0007 (one row per business unit, calendar type, calendar
 * key, century code, year, month and shift, with one flag per day; "W" marks
 * a work day): it counts work days forward or backward, or rolls a date to
 * the next or previous work day, and writes the result into the caller's date.
 *
 * The walk moves one day at a time and fetches a calendar row only when it
 * enters another month. On an error the caller's date is left where the walk
 * stopped (the first day of a missing month walking forward, its last day
 * walking backward).
 */
#ifndef FAMOFLAS_DATES_B0000150_H
#define FAMOFLAS_DATES_B0000150_H

#include "frame/bsfn.h"
#include "vyrrecord.h"

/* Advance modes. */
#define B0000150_MODE_COUNT_WORK_DAYS u'1'
#define B0000150_MODE_ROLL_FORWARD u'2'
#define B0000150_MODE_ROLL_BACKWARD u'3'

#define DSD0000150_MEMBERS(M, S)   \
  M(S, STRING, szBusinessUnit, 12) \
  M(S, DATE, jdWorkDate, 0)        \
  M(S, CHAR, cAdvanceMode, 0)      \
  M(S, MATH, mnNumberOfDays, 0)    \
  M(S, CHAR, cShiftCode, 0)        \
  M(S, STRING, szCalendarType, 10) \
  M(S, STRING, szCalendarKey, 10)
FAMOFLAS_DS(DSD0000150, DSD0000150_MEMBERS)

#pragma pack(push, 1)

/* Key of F0007 index 2, all seven fields take part in every fetch. */
typedef struct tagKEY2_F0007 {
  JCHAR szBusinessUnit[13]; /* MMCU */
  JCHAR szCalendarType[11]; /* WDCT */
  JCHAR szCalendarKey[11];  /* WDCK */
  MATH_NUMERIC mnCentury;   /* CTRY: 0 for 19xx, 1 for 20xx */
  MATH_NUMERIC mnYear;      /* YR: year within the century */
  MATH_NUMERIC mnMonth;     /* MT */
  JCHAR cShiftCode;         /* SHFT */
} KEY2_F0007;
VYR_KEY_RECORD(KEY2_F0007, F0007, 2);
VYR_MEMBER_IS(KEY2_F0007, szBusinessUnit, F0007, MMCU);
VYR_MEMBER_IS(KEY2_F0007, szCalendarType, F0007, WDCT);
VYR_MEMBER_IS(KEY2_F0007, szCalendarKey, F0007, WDCK);

/* The 37 columns the calendar is read with: MMCU, WDCT, WDCK, YR, MT, SHFT, TD01-TD31. */
typedef struct tagDSF0007_WORKDAYS {
  JCHAR szBusinessUnit[13];
  JCHAR szCalendarType[11];
  JCHAR szCalendarKey[11];
  MATH_NUMERIC mnYear;
  MATH_NUMERIC mnMonth;
  JCHAR cShiftCode;
  JCHAR acDayFlags[31]; /* TD01 ... TD31 */
} DSF0007_WORKDAYS;
VYR_MEMBER_IS(DSF0007_WORKDAYS, szBusinessUnit, F0007, MMCU);
VYR_MEMBER_IS(DSF0007_WORKDAYS, szCalendarType, F0007, WDCT);
VYR_MEMBER_IS(DSF0007_WORKDAYS, szCalendarKey, F0007, WDCK);
VYR_MEMBER_IS(DSF0007_WORKDAYS, mnYear, F0007, YR);
VYR_MEMBER_IS(DSF0007_WORKDAYS, mnMonth, F0007, MT);
VYR_MEMBER_IS(DSF0007_WORKDAYS, cShiftCode, F0007, SHFT);
VYR_MEMBERS_ARE(DSF0007_WORKDAYS, acDayFlags, F0007, TD01, 31);

#pragma pack(pop)

#define B0000150_F0007_COLUMNS 37
#define B0000150_F0007_KEYS 7

/*
 * The working record of one call, owned by AdvanceWorkDays and handed to every
 * helper. lpDate points at the caller's date, so each step of the walk writes
 * the caller's field. szDayFlags[d - 1] is the flag of day d of the month the
 * date is in (terminated at position 31).
 */
typedef struct tagWorkDayCalendarContext {
  HREQUEST hRequest;
  KEY2_F0007 key;
  ID idNumKeys;
  DSF0007_WORKDAYS record;
  LPVYRDATE lpDate;
  MATH_NUMERIC mnDaysToMove;
  MATH_NUMERIC mnYear;
  MATH_NUMERIC mnMonth;
  MATH_NUMERIC mnCentury;
  JCHAR szDayFlags[32];
  VYRDATE jdNextDate;
} WorkDayCalendarContext, *LPWORKDAYCALENDARCONTEXT;

/* Returns ER_SUCCESS or ER_ERROR. */
FAMOFLAS_BSFN ID AdvanceWorkDays(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/* Counts mnDaysToMove work days (sign: direction), never counting the start date; 0 or 2. */
FAMOFLAS_INTERNAL ID I0000150_ActualDays(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext);
/* Rolls the date forward, or backward, to the nearest work day (itself if it is one); 0 or 2. */
FAMOFLAS_INTERNAL ID I0000150_GoForwards(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext);
FAMOFLAS_INTERNAL ID I0000150_GoBackwards(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPWORKDAYCALENDARCONTEXT lpContext);
/*
 * Called after a step to jdNextDate, whose day is already in *lpDate: when the
 * month changed, moves *lpDate's month and year along and loads that month's
 * flags ("2721" when it has no row); 0 or 2.
 */
FAMOFLAS_INTERNAL ID I0000150_GetNextF0007Record(LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                                                 LPWORKDAYCALENDARCONTEXT lpContext);
/* Clears the request's column buffer and puts century code, year and month of *lpDate into the key; 0 or 2. */
FAMOFLAS_INTERNAL ID I0000150_PrepDateItemsF0007Fetch(LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                                                      LPWORKDAYCALENDARCONTEXT lpContext);
/* Century 19 becomes code 0 and 20 code 1, in place; any other: "019T"/"CTRY", value kept, 2. */
FAMOFLAS_INTERNAL ID I0000150_FormatCenturyForF0007(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPMATH_NUMERIC lpmnCentury);

#endif /* FAMOFLAS_DATES_B0000150_H */
