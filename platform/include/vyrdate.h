/*
 * vyrdate.h - VYRDATE and UTIME operations (part of the kernel).
 *
 * Conventions of this platform:
 *  - The null date is all zero. Operations given a null date leave their
 *    output null (or answer 0), and never fail on it.
 *  - A date that is not a real calendar date (31 April, month 13) is read by
 *    carrying the excess forward (31 April is 1 May, month 13 is January of
 *    the next year); nothing here fails on it. Dates stay within the years
 *    -32767 to 32767: a move past either end stops at that end.
 *  - DateDifference(from, to) is to - from in days: 28 Feb 2004 to
 *    1 Mar 2004 is 2.
 *  - DecrementOneMonth keeps the day, clamped to the last day of the earlier
 *    month: 31 March becomes 28 or 29 February.
 *  - Date masks: "YYYY" four-digit year, "YY" two-digit year (read back as
 *    2000-2050 up to 50, 1951-1999 above), "MM" month, "DD" day; every other
 *    character stands for itself. A null mask is the user's date format (the
 *    context current on the thread; "YYYY-MM-DD" when there is none).
 *    When reading, a field takes one digit up to its width, and a "YYYY"
 *    year given with one or two digits is read as "YY".
 *  - UTIME time-zone texts have the form "UTC +5:30" / "UTC -0:00" (sign,
 *    hours, two-digit minutes; "UTC" alone is UTC). The zone given to an
 *    operation is the one its calendar fields are read or written in.
 *  - UTIME operations return 0 for success and 1 for a refused value (null
 *    timestamp, bad zone text, fields out of range); outputs are then untouched.
 */
#ifndef VYRDATE_H
#define VYRDATE_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* ---- VYRDATE ------------------------------------------------------------ */

VYR_EXPORT void VYRDATEToday(LPVYRDATE lpDate);
VYR_EXPORT BOOL IsVYRDATENull(const VYRDATE *lpDate);
/* Builds a date from its fields (no normalisation). */
VYR_EXPORT void VYRDate2(LPVYRDATE lpDate, short nYear, short nMonth, short nDay);
/* -1, 0 or 1; the null date sorts before every other date. */
VYR_EXPORT int VYRDATECmp(const VYRDATE *lpDate1, const VYRDATE *lpDate2);
VYR_EXPORT short VYRDATEToYear(const VYRDATE *lpDate);
/* 2024-03-01 gives century 20, year 24. */
VYR_EXPORT void VYRDATEToCenturyAndYear(const VYRDATE *lpDate, short *lpnCentury, short *lpnYear);
/* Days from lpFrom to lpTo (to - from); 0 when either is null. */
VYR_EXPORT long DateDifference(const VYRDATE *lpFrom, const VYRDATE *lpTo);
/*
 * lpOut := lpIn moved by nMonths (day clamped to the end of the target month)
 * and then by nDays. lpOut may be lpIn.
 */
VYR_EXPORT void AdvanceDate(LPVYRDATE lpOut, const VYRDATE *lpIn, int nMonths, int nDays);
VYR_EXPORT void AdvanceOneDay(LPVYRDATE lpDate);
VYR_EXPORT void DecrementOneDay(LPVYRDATE lpDate);
VYR_EXPORT void DecrementOneMonth(LPVYRDATE lpDate);
/* Moves the date in place by nDays. */
VYR_EXPORT void RTK_CER_AddDays(LPVYRDATE lpDate, long nDays);
/* 0 Sunday ... 6 Saturday; -1 for the null date. */
VYR_EXPORT int DayOfTheWeek(const VYRDATE *lpDate);
VYR_EXPORT BOOL IsLeapYear(short nYear);
/* Days in the month (28-31); 0 for a month outside 1-12. */
VYR_EXPORT int NumberOfDays(short nMonth, short nYear);
/* Serial day number: days since 1900-01-01 (which is 0); 0 for the null date. */
VYR_EXPORT long CalcN(const VYRDATE *lpDate);
/* Display text through a mask (see above); at most 40 JCHAR plus terminator; "" for the null date. Returns the count.
 */
VYR_EXPORT int FormatDate(JCHAR *lpszOut, const VYRDATE *lpDate, const JCHAR *lpszMask);
/* Reads display text through a mask; 0 when read, 1 when not (lpDate is then null). Blank text gives the null date and
 * 0. */
VYR_EXPORT int DeformatDate(LPVYRDATE lpDate, const JCHAR *lpszText, const JCHAR *lpszMask);

/* ---- UTIME -------------------------------------------------------------- */

VYR_EXPORT void vyrUTime_Copy(LPUTIME lpDest, const UTIME *lpSource);
VYR_EXPORT BOOL vyrUTime_IsNull(const UTIME *lpTime);
VYR_EXPORT void vyrUTime_SetToNull(LPUTIME lpTime);
/* A value is valid when it is set and its fields lie in years 1-9999. */
VYR_EXPORT BOOL vyrUTime_IsValid(const UTIME *lpTime);
/* The current time (microsecond resolution), shown in UTC. */
VYR_EXPORT int vyrUTime_SetToNow(LPUTIME lpTime);
/* Calendar fields in the given zone (null: the display zone); null outputs are skipped. */
VYR_EXPORT int vyrUTime_Get(const UTIME *lpTime, short *lpnYear, short *lpnMonth, short *lpnDay, short *lpnHour,
                            short *lpnMinute, short *lpnSecond, const JCHAR *lpszZone);
/* Sets from calendar fields (years 1-9999) read in the given zone (null: UTC), also the display zone. */
VYR_EXPORT int vyrUTime_Set(LPUTIME lpTime, short nYear, short nMonth, short nDay, short nHour, short nMinute,
                            short nSecond, const JCHAR *lpszZone);
/* -1, 0 or 1 by instant; null sorts before every value. */
VYR_EXPORT int vyrUTime_Compare(const UTIME *lpTime1, const UTIME *lpTime2);
/*
 * "YYYY-MM-DD HH:MM:SS" in lpszZone (null: the value's display zone), at most
 * nSize JCHAR with the terminator; "" for null. Returns 0, or 1 when it does
 * not fit or the zone is bad.
 */
VYR_EXPORT int vyrUTime_Format(JCHAR *lpszOut, size_t nSize, const UTIME *lpTime, const JCHAR *lpszZone);
/*
 * Reads the text vyrUTime_Format writes ("YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DD") in lpszZone
 * (null: UTC) as vyrUTime_Set does; blank text gives the null timestamp and 0.
 */
VYR_EXPORT int vyrUTime_Deformat(LPUTIME lpTime, const JCHAR *lpszText, const JCHAR *lpszZone);
VYR_EXPORT int vyrUTime_ChangeDisplayTimeZone(LPUTIME lpTime, const JCHAR *lpszZone);
/*
 * Calendar move in the value's display zone: months clamp the day, then days.
 * A result outside years 1-9999 is refused.
 */
VYR_EXPORT int vyrUTime_AdvanceDate(LPUTIME lpTime, int nYears, int nMonths, int nDays);
VYR_EXPORT int vyrUTime_AdvanceTime(LPUTIME lpTime, int nHours, int nMinutes, int nSeconds);
/* *lpllSeconds := lpTo - lpFrom in whole seconds (truncated toward zero). */
VYR_EXPORT int vyrUTime_TimeBetween(const UTIME *lpFrom, const UTIME *lpTo, int64_t *lpllSeconds);
/* The calendar date of the value in the given zone (null zone: display zone); null gives the null date. */
VYR_EXPORT int vyrUTime_ConvertToVYRDate(const UTIME *lpTime, LPVYRDATE lpDate, const JCHAR *lpszZone);

VYR_END_DECLS

#endif /* VYRDATE_H */
