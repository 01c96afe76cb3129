// Conversion between JCHAR (UTF-16) and 8-bit UTF-8 text.
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <bit>
#include <cstring>

#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace vyr {

std::string toUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  const size_t length = text.size();
  for (size_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT_OR_FFFD(text.data(), i, length, c);
    char bytes[U8_MAX_LENGTH];
    size_t n = 0;
    U8_APPEND_UNSAFE(bytes, n, c);
    out.append(bytes, n);
  }
  return out;
}

namespace {

// The one UTF-8 decoder: an ill-formed sequence (overlong form, surrogate,
// beyond U+10FFFF, cut short) becomes U+FFFD, or fails the whole text when strict.
bool decode(std::string_view text, std::u16string *out, bool strict) {
  out->clear();
  out->reserve(text.size());
  const size_t length = text.size();
  for (size_t i = 0; i < length;) {
    UChar32 c;
    U8_NEXT(text.data(), i, length, c);
    if (c < 0) {
      if (strict) return false;
      c = 0xFFFD;
    }
    if (U_IS_BMP(c)) {
      out->push_back(char16_t(c));
    } else {
      out->push_back(U16_LEAD(c));
      out->push_back(U16_TRAIL(c));
    }
  }
  return true;
}

}  // namespace

std::u16string fromUtf8(std::string_view text) {
  std::u16string out;
  decode(text, &out, false);
  return out;
}

bool decodeUtf8(std::string_view text, std::u16string *out) { return decode(text, out, true); }

std::u16string_view jcharView(const JCHAR *text) noexcept {
  return text ? std::u16string_view(text) : std::u16string_view();
}

locale_t cLocale() noexcept {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", locale_t(0));
  return locale;
}

}  // namespace vyr

// Decodes UTF-8 into at most nSize - 1 JCHAR plus a terminator, stopping before
// a character that would not fit whole.
VYR_EXPORT size_t vyrToUnicode(JCHAR *lpszDest, const char *lpszSrc, size_t nSize) {
  if (!lpszDest || nSize == 0) return 0;
  size_t written = 0;
  if (lpszSrc) {
    const size_t length = std::strlen(lpszSrc);
    for (size_t i = 0; i < length;) {
      UChar32 c;
      size_t next = i;
      U8_NEXT_OR_FFFD(lpszSrc, next, length, c);
      if (written + U16_LENGTH(c) > nSize - 1) break;
      U16_APPEND_UNSAFE(lpszDest, written, c);
      i = next;
    }
  }
  lpszDest[written] = 0;
  return written;
}

// Encodes JCHAR as UTF-8 into at most nSize - 1 bytes plus a terminator, never
// leaving half a character at the end.
VYR_EXPORT size_t vyrFromUnicode(char *lpszDest, const JCHAR *lpszSrc, size_t nSize) {
  if (!lpszDest || nSize == 0) return 0;
  size_t written = 0;
  const std::u16string_view src = vyr::jcharView(lpszSrc);
  for (size_t i = 0; i < src.size();) {
    UChar32 c;
    U16_NEXT_OR_FFFD(src.data(), i, src.size(), c);
    if (written + U8_LENGTH(c) > nSize - 1) break;
    U8_APPEND_UNSAFE(lpszDest, written, c);
  }
  lpszDest[written] = 0;
  return written;
}

VYR_EXPORT JCHAR vyrToJCHAR(char c) { return JCHAR(static_cast<unsigned char>(c)); }

VYR_EXPORT int vyrUTF16ByteOrder(void) { return std::endian::native == std::endian::little ? 1 : 0; }
