// Value texts of data-structure members and table columns (see valuetext.h).
#include "runtime/valuetext.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>

#include "unicode/jchar_utf8.h"
#include "vyrdstmpl.h"

namespace vyr {
namespace {

bool fail(std::string *error, std::string why) {
  if (error) *error = std::move(why);
  return false;
}

// Quotes a text for a message, shortened so a huge value does not flood it.
std::string quoted(std::string_view text) {
  constexpr size_t kShown = 40;
  if (text.size() <= kShown) return "'" + std::string(text) + "'";
  size_t cut = kShown;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;  // whole characters
  return "'" + std::string(text.substr(0, cut)) + "...'";
}

// ---- strings and flags -----------------------------------------------------

std::string counted(size_t count, const char *noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string formatString(uint32_t width, const void *bytes) {
  std::u16string text;
  const auto *units = static_cast<const unsigned char *>(bytes);
  for (uint32_t i = 0; i < width; ++i) {
    char16_t unit;
    std::memcpy(&unit, units + size_t{2} * i, sizeof unit);
    if (unit == 0) break;
    text.push_back(unit);
  }
  return toUtf8(text);
}

bool parseString(uint32_t width, std::string_view text, void *bytes, std::string *error) {
  std::u16string units;
  if (!decodeUtf8(text, &units)) return fail(error, quoted(text) + " is not valid UTF-8");
  if (units.find(u'\0') != std::u16string::npos) return fail(error, "the text contains a NUL character");
  if (units.size() > width) {
    // The width counts UTF-16 code units: say so when they are not characters.
    const size_t characters =
        size_t(std::count_if(units.begin(), units.end(), [](char16_t u) { return u < 0xDC00 || u > 0xDFFF; }));
    if (characters == units.size())
      return fail(error, quoted(text) + " is " + std::to_string(characters) + " characters; the member holds " +
                             std::to_string(width));
    return fail(error, quoted(text) + " is " + counted(characters, "character") + ", " +
                           counted(units.size(), "UTF-16 code unit") + "; the member holds " +
                           counted(width, "code unit"));
  }
  auto *out = static_cast<unsigned char *>(bytes);
  std::memset(out, 0, (size_t(width) + 1) * 2);
  // NOLINTNEXTLINE(bugprone-not-null-terminated-result): the memset above wrote the terminator
  std::memcpy(out, units.data(), units.size() * 2);
  return true;
}

std::string formatChar(const void *bytes) {
  char16_t unit;
  std::memcpy(&unit, bytes, sizeof unit);
  if (unit == 0) return {};
  return toUtf8(std::u16string_view(&unit, 1));
}

bool parseChar(std::string_view text, void *bytes, std::string *error) {
  std::u16string units;
  if (!decodeUtf8(text, &units)) return fail(error, quoted(text) + " is not valid UTF-8");
  if (units.size() > 1 || (units.size() == 1 && units[0] == 0))
    return fail(error, quoted(text) + " is not one character");
  const char16_t unit = units.empty() ? 0 : units[0];
  std::memcpy(bytes, &unit, sizeof unit);
  return true;
}

// ---- MATH_NUMERIC ----------------------------------------------------------

// The digits as a MATH_NUMERIC holds them: at least one before the decimals,
// no other leading zeros.
std::string canonicalDigits(std::string digits, size_t decimals) {
  if (digits.size() < decimals + 1) digits.insert(0, decimals + 1 - digits.size(), '0');
  size_t lead = 0;
  while (lead + decimals + 1 < digits.size() && digits[lead] == '0') ++lead;
  return digits.erase(0, lead);
}

bool allZero(const std::string &digits) { return digits.find_first_not_of('0') == std::string::npos; }

// Read as the math operations read it: the digits of String up to its
// terminator, the decimal position clamped to 0..32.
std::string formatMath(const void *bytes) {
  MATH_NUMERIC value;
  std::memcpy(&value, bytes, sizeof value);
  std::string digits;
  for (size_t i = 0; i < MAXLEN_MATH_NUMERIC && value.String[i] != '\0'; ++i)
    if (value.String[i] >= '0' && value.String[i] <= '9') digits.push_back(value.String[i]);
  const size_t decimals = size_t(std::clamp<int>(value.nDecimalPosition, 0, MAXLEN_MATH_NUMERIC));
  digits = canonicalDigits(std::move(digits), decimals);
  std::string text = value.Sign == '-' && !allZero(digits) ? "-" : "";
  text += digits.substr(0, digits.size() - decimals);
  if (decimals > 0) text += "." + digits.substr(digits.size() - decimals);
  return text;
}

// [sign] digits [. digits] [e|E [sign] digits], the point shifted exactly by
// the exponent: 1.50e1 is 15.0 (the decimals given, less the exponent, are kept).
bool parseMath(std::string_view text, void *bytes, std::string *error) {
  const std::string shape = " is not a decimal number (digits with an optional sign, '.' and exponent)";
  std::string_view rest = text;
  bool negative = false;
  if (!rest.empty() && (rest.front() == '-' || rest.front() == '+')) {
    negative = rest.front() == '-';
    rest.remove_prefix(1);
  }
  std::string integer, fraction;
  bool point = false;
  size_t i = 0;
  for (; i < rest.size() && rest[i] != 'e' && rest[i] != 'E'; ++i) {
    const char c = rest[i];
    if (c >= '0' && c <= '9') {
      (point ? fraction : integer).push_back(c);
    } else if (c == '.' && !point) {
      point = true;
    } else {
      return fail(error, quoted(text) + shape);
    }
  }
  if (integer.empty() && fraction.empty()) return fail(error, quoted(text) + shape);
  // Beyond this the number cannot fit whatever its digits: no need to read more.
  constexpr int64_t kExponentLimit = 1000000;
  int64_t exponent = 0;
  if (i < rest.size()) {
    std::string_view digits = rest.substr(i + 1);
    bool negativeExponent = false;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
      negativeExponent = digits.front() == '-';
      digits.remove_prefix(1);
    }
    if (digits.empty()) return fail(error, quoted(text) + shape);
    for (char c : digits) {
      if (c < '0' || c > '9') return fail(error, quoted(text) + shape);
      exponent = std::min(exponent * 10 + (c - '0'), kExponentLimit);
    }
    if (negativeExponent) exponent = -exponent;
  }
  std::string all = integer + fraction;
  const size_t significant = all.size() - std::min(all.find_first_not_of('0'), all.size());
  const int64_t decimals = std::max<int64_t>(int64_t(fraction.size()) - exponent, 0);
  const int64_t zerosAfter = std::max<int64_t>(exponent - int64_t(fraction.size()), 0);
  // A zero needs no digits for its integer part whatever the exponent.
  const int64_t needed = std::max<int64_t>(significant == 0 ? 0 : int64_t(significant) + zerosAfter, decimals + 1);
  if (needed > MAXLEN_MATH_NUMERIC)
    return fail(error, quoted(text) + " needs " + std::to_string(needed) + " digits; at most " +
                           std::to_string(MAXLEN_MATH_NUMERIC) + " fit");
  if (significant != 0) all.append(size_t(zerosAfter), '0');
  const std::string digits = canonicalDigits(std::move(all), size_t(decimals));
  MATH_NUMERIC value{};
  std::memcpy(value.String, digits.data(), digits.size());
  value.Sign = negative && !allZero(digits) ? '-' : '\0';
  value.nLength = static_cast<unsigned char>(digits.size());
  value.nDecimalPosition = static_cast<short>(decimals);
  value.nPrecision = MAXLEN_MATH_NUMERIC;
  std::memcpy(bytes, &value, sizeof value);
  return true;
}

// ---- dates and UTIME -------------------------------------------------------

// Reads a fixed run of digits; false when any position is not a digit.
bool digitsAt(std::string_view text, size_t pos, size_t count, int *value) {
  if (pos + count > text.size()) return false;
  *value = 0;
  for (size_t i = pos; i < pos + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    *value = *value * 10 + (text[i] - '0');
  }
  return true;
}

// "YYYY-MM-DD" of a real calendar date in years 1..9999.
bool readCalendarDate(std::string_view text, std::chrono::year_month_day *date) {
  int y, m, d;
  if (text.size() < 10 || !digitsAt(text, 0, 4, &y) || text[4] != '-' || !digitsAt(text, 5, 2, &m) || text[7] != '-' ||
      !digitsAt(text, 8, 2, &d))
    return false;
  *date =
      std::chrono::year_month_day{std::chrono::year{y}, std::chrono::month{unsigned(m)}, std::chrono::day{unsigned(d)}};
  return y >= 1 && date->ok();
}

std::optional<std::string> formatDate(const void *bytes) {
  VYRDATE date;
  std::memcpy(&date, bytes, sizeof date);
  if (date.nYear == 0 && date.nMonth == 0 && date.nDay == 0) return std::nullopt;
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", date.nYear, date.nMonth, date.nDay);
  return std::string(text);
}

bool parseDate(std::string_view text, void *bytes, std::string *error) {
  VYRDATE date{};
  if (!text.empty()) {
    std::chrono::year_month_day ymd;
    if (text.size() != 10 || !readCalendarDate(text, &ymd))
      return fail(error, quoted(text) + " is not a date (YYYY-MM-DD, a real calendar day)");
    date.nYear = static_cast<short>(int(ymd.year()));
    date.nMonth = static_cast<short>(unsigned(ymd.month()));
    date.nDay = static_cast<short>(unsigned(ymd.day()));
  }
  std::memcpy(bytes, &date, sizeof date);
  return true;
}

using Micros = std::chrono::sys_time<std::chrono::microseconds>;
// Years 1..9999, the span texts can show.
constexpr int64_t kFirstMicros = -62135596800LL * 1000000;          // 0001-01-01T00:00:00Z
constexpr int64_t kLastMicros = 253402300799LL * 1000000 + 999999;  // 9999-12-31T23:59:59.999999Z

std::optional<std::string> formatUtime(const void *bytes) {
  UTIME value;
  std::memcpy(&value, bytes, sizeof value);
  if (value.cSet == 0) return std::nullopt;
  const int64_t us = value.llMicroseconds;
  if (us < kFirstMicros || us > kLastMicros) return "out of range (" + std::to_string(us) + " microseconds since 1970)";
  const Micros when{std::chrono::microseconds{us}};
  const auto day = std::chrono::floor<std::chrono::days>(when);
  const std::chrono::year_month_day ymd{day};
  const std::chrono::hh_mm_ss<std::chrono::microseconds> time{when - day};
  char text[48];
  int n = std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", int(ymd.year()), unsigned(ymd.month()),
                        unsigned(ymd.day()), int(time.hours().count()), int(time.minutes().count()),
                        int(time.seconds().count()));
  if (time.subseconds().count() != 0)
    n += std::snprintf(text + n, sizeof text - size_t(n), ".%06lld", static_cast<long long>(time.subseconds().count()));
  std::snprintf(text + n, sizeof text - size_t(n), "Z");
  return std::string(text);
}

bool parseUtime(std::string_view text, void *bytes, std::string *error) {
  UTIME value{};
  if (!text.empty()) {
    const std::string shape = " is not a UTC timestamp (YYYY-MM-DDTHH:MM:SSZ)";
    std::chrono::year_month_day ymd;
    int hour, minute, second;
    if (text.size() < 20 || !readCalendarDate(text, &ymd) || text[10] != 'T' || !digitsAt(text, 11, 2, &hour) ||
        text[13] != ':' || !digitsAt(text, 14, 2, &minute) || text[16] != ':' || !digitsAt(text, 17, 2, &second) ||
        text.back() != 'Z' || hour > 23 || minute > 59 || second > 59)
      return fail(error, quoted(text) + shape);
    int64_t micros = 0;
    std::string_view fraction = text.substr(19, text.size() - 20);
    if (!fraction.empty()) {
      if (fraction.front() != '.' || fraction.size() < 2 || fraction.size() > 7)
        return fail(error, quoted(text) + shape);
      int digits;
      if (!digitsAt(fraction, 1, fraction.size() - 1, &digits)) return fail(error, quoted(text) + shape);
      micros = digits;
      for (size_t i = fraction.size() - 1; i < 6; ++i) micros *= 10;
    }
    const auto day = std::chrono::sys_days{ymd};
    value.llMicroseconds = std::chrono::duration_cast<std::chrono::microseconds>(day.time_since_epoch()).count() +
                           ((hour * 60LL + minute) * 60 + second) * 1000000 + micros;
    value.cSet = 1;
  }
  std::memcpy(bytes, &value, sizeof value);
  return true;
}

// ---- integers, pointers, bytes ---------------------------------------------

bool parseInteger(std::string_view text, int64_t low, int64_t high, const char *what, int64_t *value,
                  std::string *error) {
  std::string_view digits = text;
  // from_chars takes a '-' but no '+'; one sign at most either way.
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  int64_t read = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), read);
  if (digits.empty() || (digits.size() < text.size() && (digits.front() == '-' || digits.front() == '+')) ||
      end != digits.data() + digits.size() || ec == std::errc::invalid_argument)
    return fail(error, quoted(text) + " is not an integer");
  if (ec == std::errc::result_out_of_range || read < low || read > high)
    return fail(error, quoted(text) + " is outside the range of " + what + " (" + std::to_string(low) + " to " +
                           std::to_string(high) + ")");
  *value = read;
  return true;
}

// An integer of type T within T's range.
template <typename T>
bool parseIntegerAs(std::string_view text, const char *what, void *bytes, std::string *error) {
  int64_t number = 0;
  if (!parseInteger(text, std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), what, &number, error))
    return false;
  const T value = static_cast<T>(number);
  std::memcpy(bytes, &value, sizeof value);
  return true;
}

template <typename T>
T loadAs(const void *bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

std::string formatBytes(uint32_t width, const void *bytes) {
  static const char kHex[] = "0123456789abcdef";
  std::string text;
  text.reserve(size_t(width) * 2);
  const auto *in = static_cast<const unsigned char *>(bytes);
  for (uint32_t i = 0; i < width; ++i) {
    text.push_back(kHex[in[i] >> 4]);
    text.push_back(kHex[in[i] & 0x0F]);
  }
  return text;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Up to width bytes as hex; bytes not given are zero.
bool parseBytes(uint32_t width, std::string_view text, void *bytes, std::string *error) {
  if (text.size() % 2 != 0) return fail(error, quoted(text) + " is not hex bytes (two digits per byte)");
  if (text.size() / 2 > width)
    return fail(error, quoted(text) + " is " + std::to_string(text.size() / 2) + " bytes; the member holds " +
                           std::to_string(width));
  std::string decoded(width, '\0');
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = hexValue(text[i]), low = hexValue(text[i + 1]);
    if (high < 0 || low < 0) return fail(error, quoted(text) + " is not hex bytes (two digits per byte)");
    decoded[i / 2] = static_cast<char>(high * 16 + low);
  }
  std::memcpy(bytes, decoded.data(), width);
  return true;
}

}  // namespace

const char *valueKindName(int kind) noexcept {
  switch (kind) {
    case VYR_DSK_STRING:
      return "string";
    case VYR_DSK_CHAR:
      return "char";
    case VYR_DSK_MATH:
      return "math";
    case VYR_DSK_DATE:
      return "date";
    case VYR_DSK_UTIME:
      return "utime";
    case VYR_DSK_INT:
      return "int";
    case VYR_DSK_ID:
      return "id";
    case VYR_DSK_SHORT:
      return "short";
    case VYR_DSK_POINTER:
      return "pointer";
    case VYR_DSK_BYTES:
      return "bytes";
    default:
      return nullptr;
  }
}

size_t valueSize(int kind, uint32_t width) noexcept {
  switch (kind) {
    case VYR_DSK_STRING:
      return (size_t(width) + 1) * sizeof(JCHAR);
    case VYR_DSK_CHAR:
      return sizeof(JCHAR);
    case VYR_DSK_MATH:
      return sizeof(MATH_NUMERIC);
    case VYR_DSK_DATE:
      return sizeof(VYRDATE);
    case VYR_DSK_UTIME:
      return sizeof(UTIME);
    case VYR_DSK_INT:
      return sizeof(int32_t);
    case VYR_DSK_ID:
      return sizeof(ID);
    case VYR_DSK_SHORT:
      return sizeof(int16_t);
    case VYR_DSK_POINTER:
      return sizeof(void *);
    case VYR_DSK_BYTES:
      return width;
    default:
      return 0;
  }
}

bool valueIsInteger(int kind) noexcept { return kind == VYR_DSK_INT || kind == VYR_DSK_ID || kind == VYR_DSK_SHORT; }

std::optional<std::string> formatValue(int kind, uint32_t width, const void *bytes) {
  if (bytes == nullptr) return std::nullopt;
  switch (kind) {
    case VYR_DSK_STRING:
      return formatString(width, bytes);
    case VYR_DSK_CHAR:
      return formatChar(bytes);
    case VYR_DSK_MATH:
      return formatMath(bytes);
    case VYR_DSK_DATE:
      return formatDate(bytes);
    case VYR_DSK_UTIME:
      return formatUtime(bytes);
    case VYR_DSK_INT:
      return std::to_string(loadAs<int32_t>(bytes));
    case VYR_DSK_ID:
      return std::to_string(loadAs<ID>(bytes));
    case VYR_DSK_SHORT:
      return std::to_string(loadAs<int16_t>(bytes));
    case VYR_DSK_POINTER: {
      const auto address = reinterpret_cast<uintptr_t>(loadAs<void *>(bytes));
      if (address == 0) return std::nullopt;
      char text[32];
      std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(address));
      return std::string(text);
    }
    case VYR_DSK_BYTES:
      return formatBytes(width, bytes);
    default:
      return std::nullopt;
  }
}

bool parseValue(int kind, uint32_t width, std::string_view text, void *bytes, std::string *error) {
  if (bytes == nullptr) return fail(error, "no place for the value");
  switch (kind) {
    case VYR_DSK_STRING:
      return parseString(width, text, bytes, error);
    case VYR_DSK_CHAR:
      return parseChar(text, bytes, error);
    case VYR_DSK_MATH:
      return parseMath(text, bytes, error);
    case VYR_DSK_DATE:
      return parseDate(text, bytes, error);
    case VYR_DSK_UTIME:
      return parseUtime(text, bytes, error);
    case VYR_DSK_INT:
      return parseIntegerAs<int32_t>(text, "a 32-bit integer", bytes, error);
    case VYR_DSK_ID:
      return parseIntegerAs<ID>(text, "an id", bytes, error);
    case VYR_DSK_SHORT:
      return parseIntegerAs<int16_t>(text, "a 16-bit integer", bytes, error);
    case VYR_DSK_POINTER:
      return fail(error, "a pointer cannot be set from text");
    case VYR_DSK_BYTES:
      return parseBytes(width, text, bytes, error);
    default:
      return fail(error, "unknown member kind " + std::to_string(kind));
  }
}

bool parseNullValue(int kind, uint32_t width, void *bytes, std::string *error) {
  if (kind == VYR_DSK_DATE || kind == VYR_DSK_UTIME) return parseValue(kind, width, "", bytes, error);
  if (kind == VYR_DSK_POINTER) return fail(error, "a pointer cannot be set from text");
  const char *name = valueKindName(kind);
  return fail(error, std::string("a ") + (name ? name : "value of this kind") + " cannot be null");
}

}  // namespace vyr
