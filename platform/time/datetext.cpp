// Date display text through masks: "YYYY", "YY", "MM" and "DD" are fields,
// every other mask character stands for itself.
#include <string_view>

#include "runtime/current.h"
#include "time/calendar.h"
#include "vyrdate.h"

using namespace std::chrono;

namespace {

constexpr size_t kMaxFormattedLength = 40;

enum class Field { Literal, Year4, Year2, Month, Day };

struct Token {
  Field field;
  size_t length;
};

Token tokenAt(std::u16string_view mask, size_t at) {
  const std::u16string_view rest = mask.substr(at);
  if (rest.starts_with(u"YYYY")) return {Field::Year4, 4};
  if (rest.starts_with(u"YY")) return {Field::Year2, 2};
  if (rest.starts_with(u"MM")) return {Field::Month, 2};
  if (rest.starts_with(u"DD")) return {Field::Day, 2};
  return {Field::Literal, 1};
}

std::u16string_view maskOrUserFormat(const JCHAR *mask) {
  return mask != nullptr ? std::u16string_view{mask} : std::u16string_view{vyr::currentSettings().dateMask};
}

// Two-digit years up to 50 are this century, the rest the last one.
int64_t pivotYear(int64_t twoDigits) { return twoDigits <= 50 ? 2000 + twoDigits : 1900 + twoDigits; }

}  // namespace

int FormatDate(JCHAR *lpszOut, const VYRDATE *lpDate, const JCHAR *lpszMask) {
  if (lpszOut == nullptr) return 0;
  lpszOut[0] = 0;
  if (vyr::cal::isNull(lpDate)) return 0;
  const year_month_day ymd{vyr::cal::dayOf(*lpDate)};
  const int64_t y = int(ymd.year());
  const std::u16string_view mask = maskOrUserFormat(lpszMask);
  size_t pos = 0;
  for (size_t at = 0; at < mask.size() && pos < kMaxFormattedLength;) {
    const Token token = tokenAt(mask, at);
    switch (token.field) {
      case Field::Year4:
        pos = vyr::cal::putNumber(lpszOut, pos, kMaxFormattedLength, y, 4);
        break;
      case Field::Year2:
        pos = vyr::cal::putNumber(lpszOut, pos, kMaxFormattedLength, vyr::cal::floorMod(y, 100), 2);
        break;
      case Field::Month:
        pos = vyr::cal::putNumber(lpszOut, pos, kMaxFormattedLength, unsigned(ymd.month()), 2);
        break;
      case Field::Day:
        pos = vyr::cal::putNumber(lpszOut, pos, kMaxFormattedLength, unsigned(ymd.day()), 2);
        break;
      case Field::Literal:
        lpszOut[pos++] = mask[at];
        break;
    }
    at += token.length;
  }
  lpszOut[pos] = 0;
  return static_cast<int>(pos);
}

int DeformatDate(LPVYRDATE lpDate, const JCHAR *lpszText, const JCHAR *lpszMask) {
  if (lpDate == nullptr) return 1;
  *lpDate = VYRDATE{0, 0, 0};
  const std::u16string_view text = vyr::cal::trimBlanks(lpszText != nullptr ? lpszText : u"");
  if (text.empty()) return 0;
  const std::u16string_view mask = maskOrUserFormat(lpszMask);
  int64_t fields[3] = {-1, -1, -1};  // year, month, day
  size_t pos = 0;
  for (size_t at = 0; at < mask.size();) {
    const Token token = tokenAt(mask, at);
    at += token.length;
    if (token.field == Field::Literal) {
      if (pos >= text.size() || text[pos] != mask[at - 1]) return 1;
      ++pos;
      continue;
    }
    // Fields take as many digits as they have room for, so "YYYYMMDD" and
    // "D/M/YYYY"-style short entries both read.
    const size_t width = token.field == Field::Year4 ? 4 : 2;
    size_t digits = 0;
    int64_t value = 0;
    while (digits < width && pos < text.size() && text[pos] >= u'0' && text[pos] <= u'9') {
      value = value * 10 + (text[pos++] - u'0');
      ++digits;
    }
    if (digits == 0) return 1;
    switch (token.field) {
      // A year typed with two digits or fewer means the same under either mask.
      case Field::Year4:
        fields[0] = digits <= 2 ? pivotYear(value) : value;
        break;
      case Field::Year2:
        fields[0] = pivotYear(value);
        break;
      case Field::Month:
        fields[1] = value;
        break;
      default:
        fields[2] = value;
        break;
    }
  }
  if (pos != text.size() || fields[0] < 0 || !vyr::cal::isRealDate(fields[0], fields[1], fields[2])) return 1;
  *lpDate = VYRDATE{static_cast<short>(fields[0]), static_cast<short>(fields[1]), static_cast<short>(fields[2])};
  return 0;
}
