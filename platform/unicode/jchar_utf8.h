// UTF-8 <-> JCHAR conversion for the platform's own C++ code (paths, file
// text, scanf input). Ill-formed input becomes U+FFFD rather than vanishing.
// These allocate and so may throw std::bad_alloc: callers at the C boundary
// catch it.
#pragma once

#include <clocale>
#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr {

VYR_EXPORT std::string toUtf8(std::u16string_view text);
VYR_EXPORT std::u16string fromUtf8(std::string_view text);
// For text that must be refused rather than repaired: false, *out unspecified,
// on any ill-formed sequence.
VYR_EXPORT bool decodeUtf8(std::string_view text, std::u16string *out);
// A terminated JCHAR string as a view; null reads as empty.
VYR_EXPORT std::u16string_view jcharView(const JCHAR *text) noexcept;
// The C locale, for number text that must not follow a locale the host set;
// (locale_t)0 if it could not be created.
VYR_EXPORT locale_t cLocale() noexcept;

}  // namespace vyr
