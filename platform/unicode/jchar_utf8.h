// UTF-8 <-> JCHAR conversion for the platform's own C++ code (paths, file
// text, scanf input). Ill-formed input becomes U+FFFD rather than vanishing.
// These allocate and so may throw std::bad_alloc: callers at the C boundary
// catch it.
#pragma once

#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr {

VYR_EXPORT std::string toUtf8(std::u16string_view text);
VYR_EXPORT std::u16string fromUtf8(std::string_view text);
// A terminated JCHAR string as a view; null reads as empty.
VYR_EXPORT std::u16string_view jcharView(const JCHAR *text) noexcept;

}  // namespace vyr
