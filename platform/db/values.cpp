#include "db/values.h"

#include <unicode/utf16.h>

#include <chrono>
#include <cstring>

namespace vyr::db {

// ---- Text fields ---------------------------------------------------------------

std::u16string_view readField(const void *field, size_t width, std::u16string &buffer) {
  // Unit by unit up to the terminator: a caller's value may be shorter than the field.
  buffer.resize(width);
  const auto *in = static_cast<const unsigned char *>(field);
  size_t length = 0;
  for (; length < width; ++length) {
    JCHAR c;
    std::memcpy(&c, in + length * sizeof(JCHAR), sizeof c);
    if (c == u'\0') break;
    buffer[length] = c;
  }
  while (length > 0 && buffer[length - 1] == u' ') --length;
  return std::u16string_view(buffer.data(), length);
}

void writePaddedField(void *field, size_t width, std::u16string_view text) {
  auto *out = static_cast<unsigned char *>(field);
  size_t n = std::min(text.size(), width);
  if (n > 0 && n < text.size() && U16_IS_LEAD(text[n - 1])) --n;  // no half of a pair
  std::memcpy(out, text.data(), n * sizeof(JCHAR));
  const JCHAR blank = u' ';
  for (size_t i = n; i < width; ++i) std::memcpy(out + i * sizeof(JCHAR), &blank, sizeof blank);
  const JCHAR terminator = 0;
  std::memcpy(out + width * sizeof(JCHAR), &terminator, sizeof terminator);
}

void fieldToStored(const void *field, size_t width, std::string &out) {
  // ASCII goes straight across; anything else takes the general road.
  out.clear();
  const auto *in = static_cast<const unsigned char *>(field);
  size_t kept = 0;  // length without trailing blanks
  for (size_t i = 0; i < width; ++i) {
    JCHAR c;
    std::memcpy(&c, in + i * sizeof(JCHAR), sizeof c);
    if (c == u'\0') break;
    if (c >= 0x80) {
      std::u16string buffer;
      out = toUtf8(readField(field, width, buffer));
      return;
    }
    out.push_back(static_cast<char>(c));
    if (c != u' ') kept = out.size();
  }
  out.resize(kept);
}

void storedToField(std::string_view stored, void *field, size_t width) {
  auto *out = static_cast<unsigned char *>(field);
  size_t n = 0;
  while (n < stored.size() && n < width && static_cast<unsigned char>(stored[n]) < 0x80) {
    const JCHAR c = static_cast<unsigned char>(stored[n]);
    std::memcpy(out + n * sizeof(JCHAR), &c, sizeof c);
    ++n;
  }
  if (n < stored.size() && n < width) {
    writePaddedField(field, width, fromUtf8(stored));
    return;
  }
  const JCHAR blank = u' ';
  for (size_t i = n; i < width; ++i) std::memcpy(out + i * sizeof(JCHAR), &blank, sizeof blank);
  const JCHAR terminator = 0;
  std::memcpy(out + width * sizeof(JCHAR), &terminator, sizeof terminator);
}

// ---- Exact numbers ---------------------------------------------------------------

namespace {

__extension__ typedef __int128 Wide;

Wide powerOfTen(unsigned exponent) {
  Wide p = 1;
  while (exponent-- > 0) p *= 10;
  return p;
}

}  // namespace

NumberFit mathToScaled(const MATH_NUMERIC &value, unsigned digits, unsigned decimals, Rounding rounding,
                       int64_t *scaled) {
  const short position = value.nDecimalPosition;
  if (position < 0 || position > MAXLEN_MATH_NUMERIC) return NumberFit::Invalid;
  Wide mantissa = 0;
  for (size_t i = 0; i < MAXLEN_MATH_NUMERIC && value.String[i] != '\0'; ++i) {
    const char c = value.String[i];
    if (c < '0' || c > '9') return NumberFit::Invalid;
    mantissa = mantissa * 10 + (c - '0');
  }
  const bool negative = value.Sign == '-';
  const Wide limit = powerOfTen(digits);
  NumberFit fit = NumberFit::Exact;
  Wide result;
  if (static_cast<unsigned>(position) <= decimals) {
    const Wide factor = powerOfTen(decimals - static_cast<unsigned>(position));
    if (mantissa >= limit) return NumberFit::TooLarge;  // factor >= 1 keeps it too large
    result = mantissa * factor;                         // below 10^36: no overflow
    if (negative) result = -result;
  } else {
    const Wide divisor = powerOfTen(static_cast<unsigned>(position) - decimals);
    Wide quotient = mantissa / divisor;
    const Wide remainder = mantissa % divisor;
    if (negative) quotient = -quotient;
    if (remainder != 0) {
      fit = NumberFit::Rounded;
      switch (rounding) {
        case Rounding::HalfAwayFromZero:
          if (remainder * 2 >= divisor) quotient += negative ? -1 : 1;
          break;
        case Rounding::Floor:
          if (negative) quotient -= 1;
          break;
        case Rounding::Ceiling:
          if (!negative) quotient += 1;
          break;
      }
    }
    result = quotient;
  }
  if (result >= limit || result <= -limit) return NumberFit::TooLarge;
  *scaled = static_cast<int64_t>(result);
  return fit;
}

void scaledToMath(int64_t scaled, unsigned decimals, MATH_NUMERIC *out) {
  std::memset(out, 0, sizeof *out);
  // Magnitude as unsigned so INT64_MIN has one too.
  uint64_t magnitude = scaled < 0 ? 0 - static_cast<uint64_t>(scaled) : static_cast<uint64_t>(scaled);
  char reversed[24];
  size_t n = 0;
  do {
    reversed[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  while (n < decimals + 1 && n < MAXLEN_MATH_NUMERIC) reversed[n++] = '0';
  for (size_t i = 0; i < n; ++i) out->String[i] = reversed[n - 1 - i];
  out->nLength = static_cast<unsigned char>(n);
  out->Sign = scaled < 0 ? '-' : 0;
  out->nDecimalPosition = static_cast<short>(decimals);
  out->nPrecision = MAXLEN_MATH_NUMERIC;
}

// ---- Dates and timestamps ----------------------------------------------------------

DateForm dateToStored(const VYRDATE &date, int64_t *stored) {
  if (date.nYear == 0 && date.nMonth == 0 && date.nDay == 0) {
    *stored = kNullDate;
    return DateForm::Null;
  }
  if (date.nYear < 1 || date.nYear > 9999) return DateForm::Invalid;
  using namespace std::chrono;
  const year_month_day ymd{year{date.nYear}, month{static_cast<unsigned>(date.nMonth)},
                           day{static_cast<unsigned>(date.nDay)}};
  if (date.nMonth < 1 || date.nDay < 1 || !ymd.ok()) return DateForm::Invalid;
  *stored = int64_t{date.nYear} * 10000 + int64_t{date.nMonth} * 100 + date.nDay;
  return DateForm::Valid;
}

VYRDATE storedToDate(int64_t stored) {
  VYRDATE date{};
  if (stored <= 0) return date;
  date.nYear = static_cast<short>(stored / 10000);
  date.nMonth = static_cast<short>(stored / 100 % 100);
  date.nDay = static_cast<short>(stored % 100);
  return date;
}

bool isNullUTime(const UTIME &time) { return time.cSet == 0; }

}  // namespace vyr::db
