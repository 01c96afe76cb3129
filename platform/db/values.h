// Conversions between the record forms of vyrdb.h and what the database
// stores: text as UTF-8 without trailing blanks, numbers as integers scaled by
// the column's decimals, dates as yyyymmdd (the null date as kNullDate),
// timestamps as microseconds UTC. Plain UTF-8 conversion is unicode/jchar_utf8.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "unicode/jchar_utf8.h"
#include "vyrtypes.h"

namespace vyr VYR_HOST_API {
namespace db {

// ---- Text fields ---------------------------------------------------------------

// The characters of a JCHAR field (up to its terminator, at most width),
// without trailing blanks, copied out of a possibly misaligned record into
// buffer. Nothing after the terminator is read.
std::u16string_view readField(const void *field, size_t width, std::u16string &buffer);
// Writes text into a field of width + 1 positions: blank-padded to width and
// terminated (a character that would not fit whole is left out).
void writePaddedField(void *field, size_t width, std::u16string_view text);
// UTF-8 form of a JCHAR field without trailing blanks (what the database stores).
void fieldToStored(const void *field, size_t width, std::string &out);
// Fills a JCHAR field of width + 1 positions from stored UTF-8 text: blank-padded, terminated.
void storedToField(std::string_view stored, void *field, size_t width);

// ---- Exact numbers ---------------------------------------------------------------

enum class Rounding { HalfAwayFromZero, Floor, Ceiling };

enum class NumberFit {
  Exact,     // the value is exactly representable
  Rounded,   // digits beyond the column's decimals were dropped by the rounding asked for
  TooLarge,  // more integer digits than the column has
  Invalid,   // not a number: a non-digit in String, or an impossible decimal position
};

// value * 10^decimals of a MATH_NUMERIC, rounded as asked, for a column of
// `digits` digits with `decimals` of them after the point.
NumberFit mathToScaled(const MATH_NUMERIC &value, unsigned digits, unsigned decimals, Rounding rounding,
                       int64_t *scaled);
// The MATH_NUMERIC of scaled / 10^decimals (at least decimals + 1 digits, no sign on zero).
void scaledToMath(int64_t scaled, unsigned decimals, MATH_NUMERIC *out);

// ---- Dates and timestamps ----------------------------------------------------------

// The null date as stored. SQL NULL would repeat in a unique index and never
// equal itself in a key, so the null date is a value of its own that sorts
// before every real date (an engine with a date type maps it to its earliest).
// Rows written before it was stored so may still hold NULL: reads take both alike.
constexpr int64_t kNullDate = 0;

enum class DateForm { Null, Valid, Invalid };
// yyyymmdd of a valid date (kNullDate for the all-zero null date); anything
// else not a calendar date is invalid.
DateForm dateToStored(const VYRDATE &date, int64_t *stored);
VYRDATE storedToDate(int64_t stored);

bool isNullUTime(const UTIME &time);

}  // namespace db
}  // namespace VYR_HOST_API
