// VYRDATE arithmetic. Dates are read with the carry rule of calendar.h, so a
// date that is not on the calendar (31 April, month 13) never fails; the null
// date passes through as null (or 0) and a null pointer reads as the null date.
#include <ctime>

#include "time/calendar.h"
#include "vyrdate.h"

using namespace std::chrono;
using vyr::cal::dateOf;
using vyr::cal::dayOf;
using vyr::cal::isNull;

namespace {

// The year the date falls in once its fields are carried.
year carriedYear(const VYRDATE &date) { return year_month_day{dayOf(date)}.year(); }

void moveInPlace(LPVYRDATE date, int64_t nDays) {
  if (isNull(date)) return;
  *date = dateOf(vyr::cal::addDays(dayOf(*date), nDays));
}

// Leap-ness repeats every 400 years; this keeps -32768 inside chrono's range.
year chronoYear(short y) { return year{y < int(year::min()) ? y + 400 : y}; }

}  // namespace

void VYRDATEToday(LPVYRDATE lpDate) {
  if (lpDate == nullptr) return;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    *lpDate = VYRDATE{0, 0, 0};
    return;
  }
  *lpDate = VYRDATE{static_cast<short>(local.tm_year + 1900), static_cast<short>(local.tm_mon + 1),
                    static_cast<short>(local.tm_mday)};
}

BOOL IsVYRDATENull(const VYRDATE *lpDate) { return isNull(lpDate) ? TRUE : FALSE; }

void VYRDate2(LPVYRDATE lpDate, short nYear, short nMonth, short nDay) {
  if (lpDate != nullptr) *lpDate = VYRDATE{nYear, nMonth, nDay};
}

int VYRDATECmp(const VYRDATE *lpDate1, const VYRDATE *lpDate2) {
  const bool null1 = isNull(lpDate1), null2 = isNull(lpDate2);
  if (null1 || null2) return null1 == null2 ? 0 : (null1 ? -1 : 1);
  const sys_days a = dayOf(*lpDate1), b = dayOf(*lpDate2);
  return a < b ? -1 : (a > b ? 1 : 0);
}

short VYRDATEToYear(const VYRDATE *lpDate) {
  return isNull(lpDate) ? short{0} : static_cast<short>(int(carriedYear(*lpDate)));
}

void VYRDATEToCenturyAndYear(const VYRDATE *lpDate, short *lpnCentury, short *lpnYear) {
  const int64_t full = isNull(lpDate) ? 0 : int(carriedYear(*lpDate));
  if (lpnCentury != nullptr) *lpnCentury = static_cast<short>(vyr::cal::floorDiv(full, 100));
  if (lpnYear != nullptr) *lpnYear = static_cast<short>(vyr::cal::floorMod(full, 100));
}

long DateDifference(const VYRDATE *lpFrom, const VYRDATE *lpTo) {
  if (isNull(lpFrom) || isNull(lpTo)) return 0;
  return static_cast<long>((dayOf(*lpTo) - dayOf(*lpFrom)).count());
}

void AdvanceDate(LPVYRDATE lpOut, const VYRDATE *lpIn, int nMonths, int nDays) {
  if (lpOut == nullptr) return;
  if (isNull(lpIn)) {
    *lpOut = VYRDATE{0, 0, 0};
    return;
  }
  // Walks day by day mostly stay inside a month: days 1-28 exist in every month of every year.
  const int64_t dayInMonth = int64_t{lpIn->nDay} + nDays;
  if (nMonths == 0 && lpIn->nMonth >= 1 && lpIn->nMonth <= 12 && lpIn->nDay >= 1 && lpIn->nDay <= 28 &&
      dayInMonth >= 1 && dayInMonth <= 28) {
    *lpOut = VYRDATE{lpIn->nYear, lpIn->nMonth, static_cast<short>(dayInMonth)};
    return;
  }
  sys_days day = dayOf(*lpIn);
  if (nMonths != 0) day = vyr::cal::addMonths(day, nMonths);
  *lpOut = dateOf(vyr::cal::addDays(day, nDays));
}

void AdvanceOneDay(LPVYRDATE lpDate) { moveInPlace(lpDate, 1); }

void DecrementOneDay(LPVYRDATE lpDate) { moveInPlace(lpDate, -1); }

void DecrementOneMonth(LPVYRDATE lpDate) { AdvanceDate(lpDate, lpDate, -1, 0); }

void RTK_CER_AddDays(LPVYRDATE lpDate, long nDays) { moveInPlace(lpDate, nDays); }

int DayOfTheWeek(const VYRDATE *lpDate) {
  if (isNull(lpDate)) return -1;
  return static_cast<int>(weekday{dayOf(*lpDate)}.c_encoding());
}

BOOL IsLeapYear(short nYear) { return chronoYear(nYear).is_leap() ? TRUE : FALSE; }

int NumberOfDays(short nMonth, short nYear) {
  if (nMonth < 1 || nMonth > 12) return 0;
  const year_month_day_last last{chronoYear(nYear) / month{static_cast<unsigned>(nMonth)} / std::chrono::last};
  return static_cast<int>(unsigned(last.day()));
}

long CalcN(const VYRDATE *lpDate) {
  if (isNull(lpDate)) return 0;
  return static_cast<long>((dayOf(*lpDate) - sys_days{year{1900} / January / 1}).count());
}
