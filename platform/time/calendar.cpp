#include "time/calendar.h"

#include <algorithm>

namespace vyr::cal {
namespace {

using namespace std::chrono;

// The Gregorian calendar repeats every 400 years; years outside chrono's range
// are shifted by whole cycles so chrono still does the day counting.
constexpr int64_t kCycleDays = (sys_days{year{2400} / 1 / 1} - sys_days{year{2000} / 1 / 1}).count();
constexpr int64_t kSpanDays = (kLastDay - kFirstDay).count();

}  // namespace

sys_days dayFromCount(int64_t count) {
  count = std::clamp<int64_t>(count, kFirstDay.time_since_epoch().count(), kLastDay.time_since_epoch().count());
  return sys_days{days{count}};
}

sys_days addDays(sys_days day, int64_t nDays) {
  // Any move longer than the whole range lands on an end anyway.
  nDays = std::clamp<int64_t>(nDays, -2 * kSpanDays, 2 * kSpanDays);
  return dayFromCount(day.time_since_epoch().count() + nDays);
}

sys_days dayFromFields(int64_t y, int64_t m, int64_t d) {
  const int64_t monthIndex = y * 12 + (m - 1);
  const int64_t fullYear = floorDiv(monthIndex, 12);
  const unsigned monthOfYear = static_cast<unsigned>(floorMod(monthIndex, 12) + 1);
  const int64_t cycles = floorDiv(fullYear, 400);
  const int yearInCycle = static_cast<int>(fullYear - cycles * 400);
  const int64_t first =
      sys_days{year{yearInCycle} / month{monthOfYear} / 1}.time_since_epoch().count() + cycles * kCycleDays;
  return dayFromCount(first + (d - 1));
}

sys_days addMonths(sys_days day, int64_t nMonths) {
  const year_month_day from{day};
  const int64_t monthIndex = int64_t{int(from.year())} * 12 + (unsigned(from.month()) - 1) + nMonths;
  const int64_t fullYear = floorDiv(monthIndex, 12);
  if (fullYear < int(year::min())) return kFirstDay;
  if (fullYear > int(year::max())) return kLastDay;
  const year_month target{year{static_cast<int>(fullYear)}, month{static_cast<unsigned>(floorMod(monthIndex, 12) + 1)}};
  const std::chrono::day last = year_month_day_last{target / std::chrono::last}.day();
  return sys_days{target / std::min(from.day(), last)};
}

VYRDATE dateOf(sys_days day) {
  const year_month_day ymd{day};
  return VYRDATE{static_cast<short>(int(ymd.year())), static_cast<short>(unsigned(ymd.month())),
                 static_cast<short>(unsigned(ymd.day()))};
}

bool isRealDate(int64_t y, int64_t m, int64_t d) {
  if (y < int(year::min()) || y > int(year::max()) || m < 1 || m > 12 || d < 1 || d > 31) return false;
  const year_month target{year{static_cast<int>(y)}, month{static_cast<unsigned>(m)}};
  return (target / std::chrono::day{static_cast<unsigned>(d)}).ok();
}

std::u16string_view trimBlanks(std::u16string_view text) {
  while (!text.empty() && text.front() == u' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  return text;
}

bool parseZone(const char16_t *text, int &minutesEast) {
  if (text == nullptr) return false;
  std::u16string_view s = trimBlanks(text);
  if (s.substr(0, 3) != u"UTC") return false;
  s = trimBlanks(s.substr(3));
  if (s.empty()) {
    minutesEast = 0;
    return true;
  }
  const bool negative = s[0] == u'-';
  if (!negative && s[0] != u'+') return false;
  s.remove_prefix(1);
  const auto digit = [&](size_t i) { return i < s.size() && s[i] >= u'0' && s[i] <= u'9'; };
  size_t hourDigits = 0;
  int hours = 0;
  while (hourDigits < 2 && digit(hourDigits)) hours = hours * 10 + (s[hourDigits++] - u'0');
  if (hourDigits == 0 || s.size() != hourDigits + 3 || s[hourDigits] != u':' || !digit(hourDigits + 1) ||
      !digit(hourDigits + 2))
    return false;
  const int minutes = (s[hourDigits + 1] - u'0') * 10 + (s[hourDigits + 2] - u'0');
  if (hours > 23 || minutes > 59) return false;
  minutesEast = (negative ? -1 : 1) * (hours * 60 + minutes);
  return true;
}

size_t putNumber(char16_t *out, size_t pos, size_t room, int64_t value, int width) {
  const bool negative = value < 0;
  char16_t digits[24];
  int n = 0;
  // Digit by digit from a negative-safe remainder, so INT64_MIN needs no special case.
  do {
    const int64_t rest = value % 10;
    digits[n++] = static_cast<char16_t>(u'0' + (rest < 0 ? -rest : rest));
    value /= 10;
  } while (value != 0);
  while (n < width && n < 20) digits[n++] = u'0';
  if (negative) digits[n++] = u'-';
  while (n > 0 && pos < room) out[pos++] = digits[--n];
  return pos;
}

}  // namespace vyr::cal
