// Value texts: one data-structure member or table column value, converted
// between its bytes and the text the command, the HTTP service and the table
// loader use. By kind (VYR_DSK_*) and width:
//   string   the characters as given, no terminator, blanks kept; at most width
//   char     one character, "" for NUL
//   math     plain decimal with '.', whatever the user's format: "-12.50"
//            (the decimals carried are kept; the currency is not part of it)
//   date     "YYYY-MM-DD", or null
//   utime    "YYYY-MM-DDTHH:MM:SSZ" (UTC; ".ffffff" before Z when there are
//            microseconds), or null
//   int, id, short   decimal integers, range-checked
//   pointer  shown as "0x..." (null when 0), never set from text
//   bytes    lowercase hex, two digits per byte
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr VYR_HOST_API {

// The kind's word ("string", "char", "math", ...), nullptr for an unknown kind.
const char *valueKindName(int kind) noexcept;
// Bytes a value of the kind and width occupies; 0 for an unknown kind.
size_t valueSize(int kind, uint32_t width) noexcept;
// INT, ID and SHORT: texts that are integers (JSON writes them as numbers).
bool valueIsInteger(int kind) noexcept;

// The text of the value at bytes; nullopt for a null date, UTIME or pointer.
std::optional<std::string> formatValue(int kind, uint32_t width, const void *bytes);
// Sets the value at bytes from its text (UTF-8). When the text does not fit,
// returns false with the reason in *error and leaves the bytes untouched.
bool parseValue(int kind, uint32_t width, std::string_view text, void *bytes, std::string *error);
// Sets the null value; only dates and UTIMEs have one.
bool parseNullValue(int kind, uint32_t width, void *bytes, std::string *error);

}  // namespace VYR_HOST_API
