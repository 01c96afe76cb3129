// UTIME: an instant in microseconds since 1970 UTC plus the zone it is shown
// in. Calendar fields are always computed through an explicit zone; values
// whose fields cannot be named (garbage microseconds, a display zone beyond a
// day) are refused rather than wrapped.
#include <string_view>

#include "time/calendar.h"
#include "vyrdate.h"

using namespace std::chrono;
using vyr::cal::kFirstDay;
using vyr::cal::kLastDay;

namespace {

using Instant = sys_time<microseconds>;

struct LocalTime {
  sys_days day;
  microseconds timeOfDay;
};

bool isSet(const UTIME *time) { return time != nullptr && time->cSet != 0; }

bool isValidZone(int minutesEast) {
  return minutesEast >= -vyr::cal::kMaxZoneMinutes && minutesEast <= vyr::cal::kMaxZoneMinutes;
}

// The zone named by the text, or the value's display zone when there is no text.
bool zoneFor(const UTIME &time, const JCHAR *text, int &minutesEast) {
  if (text != nullptr) return vyr::cal::parseZone(text, minutesEast);
  minutesEast = time.nDisplayZoneMinutes;
  return isValidZone(minutesEast);
}

// Calendar day and time of day of an instant in a zone; false when the day
// falls outside the years chrono can name.
bool localOf(int64_t micros, int zoneMinutes, LocalTime &out) {
  int64_t local = 0;
  if (__builtin_add_overflow(micros, int64_t{zoneMinutes} * 60'000'000, &local)) return false;
  const Instant instant{microseconds{local}};
  const sys_days day = floor<days>(instant);
  if (day < kFirstDay || day > kLastDay) return false;
  out = LocalTime{day, instant - day};
  return true;
}

// Cannot overflow: the day is inside chrono's years, the zone within a day.
int64_t instantOf(sys_days day, microseconds timeOfDay, int zoneMinutes) {
  return (Instant{day} + timeOfDay - minutes{zoneMinutes}).time_since_epoch().count();
}

bool inDisplayYears(sys_days day) {
  const int y = int(year_month_day{day}.year());
  return y >= 1 && y <= 9999;
}

bool isValidValue(const UTIME &time) {
  LocalTime local{};
  return time.cSet != 0 && isValidZone(time.nDisplayZoneMinutes) &&
         localOf(time.llMicroseconds, time.nDisplayZoneMinutes, local) && inDisplayYears(local.day);
}

// Replaces the instant when the moved value is still valid; otherwise 1 and untouched.
int storeMoved(LPUTIME time, int64_t micros) {
  UTIME moved = *time;
  moved.llMicroseconds = micros;
  if (!isValidValue(moved)) return 1;
  *time = moved;
  return 0;
}

int setFields(LPUTIME time, int y, int mo, int d, int h, int mi, int s, const JCHAR *zone) {
  int zoneMinutes = 0;  // no zone text: UTC
  if (time == nullptr || (zone != nullptr && !vyr::cal::parseZone(zone, zoneMinutes))) return 1;
  if (y < 1 || y > 9999 || !vyr::cal::isRealDate(y, mo, d) || h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59)
    return 1;
  const sys_days day{year{y} / month{static_cast<unsigned>(mo)} / std::chrono::day{static_cast<unsigned>(d)}};
  time->llMicroseconds = instantOf(day, hours{h} + minutes{mi} + seconds{s}, zoneMinutes);
  time->nDisplayZoneMinutes = static_cast<short>(zoneMinutes);
  time->cSet = 1;
  time->cReserved = 0;
  return 0;
}

}  // namespace

void vyrUTime_Copy(LPUTIME lpDest, const UTIME *lpSource) {
  if (lpDest == nullptr) return;
  if (lpSource == nullptr)
    vyrUTime_SetToNull(lpDest);
  else
    *lpDest = *lpSource;
}

BOOL vyrUTime_IsNull(const UTIME *lpTime) { return isSet(lpTime) ? FALSE : TRUE; }

void vyrUTime_SetToNull(LPUTIME lpTime) {
  if (lpTime != nullptr) *lpTime = UTIME{0, 0, 0, 0};
}

BOOL vyrUTime_IsValid(const UTIME *lpTime) { return lpTime != nullptr && isValidValue(*lpTime) ? TRUE : FALSE; }

int vyrUTime_SetToNow(LPUTIME lpTime) {
  if (lpTime == nullptr) return 1;
  const Instant now = floor<microseconds>(system_clock::now());
  *lpTime = UTIME{now.time_since_epoch().count(), 0, 1, 0};
  return 0;
}

int vyrUTime_Get(const UTIME *lpTime, short *lpnYear, short *lpnMonth, short *lpnDay, short *lpnHour, short *lpnMinute,
                 short *lpnSecond, const JCHAR *lpszZone) {
  int zone = 0;
  LocalTime local{};
  if (!isSet(lpTime) || !zoneFor(*lpTime, lpszZone, zone) || !localOf(lpTime->llMicroseconds, zone, local)) return 1;
  const year_month_day ymd{local.day};
  const hh_mm_ss<microseconds> clock{local.timeOfDay};
  const auto put = [](short *out, int64_t value) {
    if (out != nullptr) *out = static_cast<short>(value);
  };
  put(lpnYear, int(ymd.year()));
  put(lpnMonth, unsigned(ymd.month()));
  put(lpnDay, unsigned(ymd.day()));
  put(lpnHour, clock.hours().count());
  put(lpnMinute, clock.minutes().count());
  put(lpnSecond, clock.seconds().count());
  return 0;
}

int vyrUTime_Set(LPUTIME lpTime, short nYear, short nMonth, short nDay, short nHour, short nMinute, short nSecond,
                 const JCHAR *lpszZone) {
  return setFields(lpTime, nYear, nMonth, nDay, nHour, nMinute, nSecond, lpszZone);
}

int vyrUTime_Compare(const UTIME *lpTime1, const UTIME *lpTime2) {
  const bool set1 = isSet(lpTime1), set2 = isSet(lpTime2);
  if (!set1 || !set2) return set1 == set2 ? 0 : (set1 ? 1 : -1);
  const int64_t a = lpTime1->llMicroseconds, b = lpTime2->llMicroseconds;
  return a < b ? -1 : (a > b ? 1 : 0);
}

int vyrUTime_Format(JCHAR *lpszOut, size_t nSize, const UTIME *lpTime, const JCHAR *lpszZone) {
  constexpr size_t kLength = 19;  // YYYY-MM-DD HH:MM:SS
  int zone = 0;
  if (lpszOut == nullptr || nSize == 0 || (lpszZone != nullptr && !vyr::cal::parseZone(lpszZone, zone))) return 1;
  if (!isSet(lpTime)) {
    lpszOut[0] = 0;
    return 0;
  }
  LocalTime local{};
  if (nSize <= kLength || !zoneFor(*lpTime, lpszZone, zone) || !localOf(lpTime->llMicroseconds, zone, local)) return 1;
  const year_month_day ymd{local.day};
  const hh_mm_ss<microseconds> clock{local.timeOfDay};
  if (int(ymd.year()) < 0 || int(ymd.year()) > 9999) return 1;
  const int64_t parts[6] = {int(ymd.year()),       unsigned(ymd.month()),   unsigned(ymd.day()),
                            clock.hours().count(), clock.minutes().count(), clock.seconds().count()};
  const char16_t separators[6] = {u'-', u'-', u' ', u':', u':', 0};
  size_t pos = 0;
  for (int i = 0; i < 6; ++i) {
    pos = vyr::cal::putNumber(lpszOut, pos, kLength, parts[i], i == 0 ? 4 : 2);
    if (separators[i] != 0) lpszOut[pos++] = separators[i];
  }
  lpszOut[pos] = 0;
  return 0;
}

int vyrUTime_Deformat(LPUTIME lpTime, const JCHAR *lpszText, const JCHAR *lpszZone) {
  int zone = 0;
  if (lpTime == nullptr || (lpszZone != nullptr && !vyr::cal::parseZone(lpszZone, zone))) return 1;
  const std::u16string_view text = vyr::cal::trimBlanks(lpszText != nullptr ? lpszText : u"");
  if (text.empty()) {  // what Format writes for the null value
    vyrUTime_SetToNull(lpTime);
    return 0;
  }
  // '9' marks a digit; the time part is optional.
  constexpr std::u16string_view kPattern = u"9999-99-99 99:99:99";
  if (text.size() != 10 && text.size() != kPattern.size()) return 1;
  int parts[6] = {0, 0, 0, 0, 0, 0};
  int part = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (kPattern[i] != u'9') {
      if (text[i] != kPattern[i]) return 1;
      ++part;
    } else if (text[i] >= u'0' && text[i] <= u'9') {
      parts[part] = parts[part] * 10 + (text[i] - u'0');
    } else {
      return 1;
    }
  }
  return setFields(lpTime, parts[0], parts[1], parts[2], parts[3], parts[4], parts[5], lpszZone);
}

int vyrUTime_ChangeDisplayTimeZone(LPUTIME lpTime, const JCHAR *lpszZone) {
  int zone = 0;
  if (!isSet(lpTime) || lpszZone == nullptr || !vyr::cal::parseZone(lpszZone, zone)) return 1;
  lpTime->nDisplayZoneMinutes = static_cast<short>(zone);
  return 0;
}

int vyrUTime_AdvanceDate(LPUTIME lpTime, int nYears, int nMonths, int nDays) {
  LocalTime local{};
  if (!isSet(lpTime) || !isValidZone(lpTime->nDisplayZoneMinutes) ||
      !localOf(lpTime->llMicroseconds, lpTime->nDisplayZoneMinutes, local))
    return 1;
  const sys_days moved = vyr::cal::addDays(vyr::cal::addMonths(local.day, int64_t{nYears} * 12 + nMonths), nDays);
  return storeMoved(lpTime, instantOf(moved, local.timeOfDay, lpTime->nDisplayZoneMinutes));
}

int vyrUTime_AdvanceTime(LPUTIME lpTime, int nHours, int nMinutes, int nSeconds) {
  if (!isSet(lpTime)) return 1;
  // At most about 7.9e18 for the extreme int arguments, inside int64.
  const int64_t delta = (int64_t{nHours} * 3600 + int64_t{nMinutes} * 60 + nSeconds) * 1'000'000;
  int64_t moved = 0;
  if (__builtin_add_overflow(lpTime->llMicroseconds, delta, &moved)) return 1;
  return storeMoved(lpTime, moved);
}

int vyrUTime_TimeBetween(const UTIME *lpFrom, const UTIME *lpTo, int64_t *lpllSeconds) {
  int64_t micros = 0;
  if (!isSet(lpFrom) || !isSet(lpTo) || lpllSeconds == nullptr ||
      __builtin_sub_overflow(lpTo->llMicroseconds, lpFrom->llMicroseconds, &micros))
    return 1;
  *lpllSeconds = micros / 1'000'000;
  return 0;
}

int vyrUTime_ConvertToVYRDate(const UTIME *lpTime, LPVYRDATE lpDate, const JCHAR *lpszZone) {
  int zone = 0;
  if (lpDate == nullptr || (lpszZone != nullptr && !vyr::cal::parseZone(lpszZone, zone))) return 1;
  if (!isSet(lpTime)) {
    *lpDate = VYRDATE{0, 0, 0};
    return 0;
  }
  LocalTime local{};
  if (!zoneFor(*lpTime, lpszZone, zone) || !localOf(lpTime->llMicroseconds, zone, local)) return 1;
  *lpDate = vyr::cal::dateOf(local.day);
  return 0;
}
