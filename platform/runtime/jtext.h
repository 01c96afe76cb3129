// Small helpers of the runtime for JCHAR text that crosses the C boundary.
#pragma once

#include <cstddef>
#include <string_view>

#include "vyrtypes.h"

namespace vyr {

// The text at p up to its terminator, reading at most maxUnits positions
// (fixed-width members need not be terminated); null reads as empty.
inline std::u16string_view boundedView(const JCHAR *p, size_t maxUnits) noexcept {
  if (p == nullptr) return {};
  size_t n = 0;
  while (n < maxUnits && p[n] != 0) ++n;
  return {p, n};
}

// Names and item codes arrive from blank-padded fixed-width members: they
// compare without their trailing blanks. Null reads as empty.
inline std::u16string_view trimmed(std::u16string_view text) noexcept {
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  return text;
}
inline std::u16string_view trimmed(const JCHAR *text) noexcept {
  return trimmed(text ? std::u16string_view(text) : std::u16string_view());
}

// Writes value into out (nSize positions, terminator included), cut to fit.
// False, writing nothing, when there is no room at all.
inline bool copyOut(std::u16string_view value, JCHAR *out, size_t nSize) noexcept {
  if (out == nullptr || nSize == 0) return false;
  const size_t n = value.size() < nSize - 1 ? value.size() : nSize - 1;
  for (size_t i = 0; i < n; ++i) out[i] = value[i];
  out[n] = 0;
  return true;
}

// ASCII text as JCHAR (names, ids and numbers the runtime produces itself).
inline std::u16string asciiToJchar(std::string_view text) { return std::u16string(text.begin(), text.end()); }

}  // namespace vyr
