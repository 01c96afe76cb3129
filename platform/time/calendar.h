// Calendar helpers shared by the VYRDATE and UTIME operations. Every date is
// handled as a std::chrono::sys_days confined to the years chrono can name
// (-32767 to 32767); anything that would leave that range is clamped to its
// first or last day, so no arithmetic here can overflow.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vyrtypes.h"

namespace vyr::cal {

using std::chrono::sys_days;

inline constexpr sys_days kFirstDay{std::chrono::year::min() / std::chrono::January / 1};
inline constexpr sys_days kLastDay{std::chrono::year::max() / std::chrono::December / 31};

inline int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }
inline int64_t floorMod(int64_t a, int64_t b) { return a - floorDiv(a, b) * b; }

// The day with this serial number (days since 1970-01-01), clamped to the range.
sys_days dayFromCount(int64_t count);
// Moves by nDays, clamped to the range.
sys_days addDays(sys_days day, int64_t nDays);
// Moves by nMonths keeping the day of the month, clamped to the target month's end.
sys_days addMonths(sys_days day, int64_t nMonths);
// Reads fields by carrying the excess: month 13 is January of the next year,
// month 0 December of the year before, day 0 the last day of the month before.
sys_days dayFromFields(int64_t year, int64_t month, int64_t day);
inline sys_days dayOf(const VYRDATE &date) { return dayFromFields(date.nYear, date.nMonth, date.nDay); }
VYRDATE dateOf(sys_days day);

inline bool isNull(const VYRDATE *date) {
  return date == nullptr || (date->nYear == 0 && date->nMonth == 0 && date->nDay == 0);
}
bool isRealDate(int64_t year, int64_t month, int64_t day);

// Offsets from UTC are kept within a day either way.
inline constexpr int kMaxZoneMinutes = 23 * 60 + 59;
// Reads "UTC", "UTC +5:30", "UTC -0:00" (blanks around and after "UTC" are
// allowed, the sign is required, minutes have two digits). False when malformed.
bool parseZone(const char16_t *text, int &minutesEast);

// Writes |value| with at least `width` digits (a '-' first when negative) into
// out[pos..room); characters that do not fit are dropped. Returns the new pos.
size_t putNumber(char16_t *out, size_t pos, size_t room, int64_t value, int width);

// The text without leading and trailing blanks.
std::u16string_view trimBlanks(std::u16string_view text);

}  // namespace vyr::cal
