// JCHAR counterparts of the C string, character and number functions. Null
// strings read as empty; a null destination makes a writing function a no-op.
#include <unicode/uchar.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace {

// ICU maps a few characters to strings or to supplementary code points; a
// one-unit mapping keeps the character when the result does not fit a JCHAR.
JCHAR upperUnit(JCHAR c) {
  const UChar32 upper = u_toupper(c);
  return U_IS_BMP(upper) ? JCHAR(upper) : c;
}

JCHAR foldUnit(JCHAR c) {
  const UChar32 folded = u_foldCase(c, U_FOLD_CASE_DEFAULT);
  return U_IS_BMP(folded) ? JCHAR(folded) : c;
}

const JCHAR kEmpty[1] = {0};

const JCHAR *orEmpty(const JCHAR *s) { return s ? s : kEmpty; }

bool contains(const JCHAR *set, JCHAR c) {
  for (; *set; ++set)
    if (*set == c) return true;
  return false;
}

// The numeric prefix the C parsers can see: every ASCII unit copied as is,
// the first other unit ends the copy (it cannot belong to a number). Offsets
// in the copy equal offsets in the JCHAR text, so end pointers map back 1:1.
std::string asciiPrefix(const JCHAR *s) {
  std::string out;
  for (; *s && *s < 0x80; ++s) out.push_back(char(*s));
  return out;
}

template <typename Result, typename Parse>
Result parseNumber(const JCHAR *s, JCHAR **end, Parse parse) {
  if (end) *end = const_cast<JCHAR *>(s);
  if (!s) return Result(0);
  try {
    const std::string text = asciiPrefix(s);
    char *textEnd = nullptr;
    const Result value = parse(text.c_str(), &textEnd);
    if (end) *end = const_cast<JCHAR *>(s) + (textEnd - text.c_str());
    return value;
  } catch (...) {
    errno = ENOMEM;
    return Result(0);
  }
}

JCHAR *writeRadix(unsigned long value, bool negative, JCHAR *out, int radix) {
  if (!out) return out;
  if (radix < 2 || radix > 36) {
    out[0] = 0;
    return out;
  }
  JCHAR digits[64];
  size_t n = 0;
  do {
    const unsigned digit = unsigned(value % unsigned(radix));
    digits[n++] = JCHAR(digit < 10 ? u'0' + digit : u'a' + digit - 10);
    value /= unsigned(radix);
  } while (value);
  size_t pos = 0;
  if (negative) out[pos++] = u'-';
  while (n) out[pos++] = digits[--n];
  out[pos] = 0;
  return out;
}

}  // namespace

VYR_EXPORT size_t vyrStrlen(const JCHAR *lpsz) {
  size_t n = 0;
  if (lpsz)
    while (lpsz[n]) ++n;
  return n;
}

VYR_EXPORT JCHAR *vyrStrcpy(JCHAR *lpszDest, const JCHAR *lpszSrc) {
  if (!lpszDest) return lpszDest;
  const JCHAR *src = orEmpty(lpszSrc);
  JCHAR *d = lpszDest;
  while ((*d++ = *src++)) {
  }
  return lpszDest;
}

VYR_EXPORT JCHAR *vyrStrncpy(JCHAR *lpszDest, const JCHAR *lpszSrc, size_t n) {
  if (!lpszDest || n == 0) return lpszDest;
  const JCHAR *src = orEmpty(lpszSrc);
  size_t i = 0;
  for (; i + 1 < n && src[i]; ++i) lpszDest[i] = src[i];
  for (; i < n; ++i) lpszDest[i] = 0;
  return lpszDest;
}

VYR_EXPORT JCHAR *vyrStrcat(JCHAR *lpszDest, const JCHAR *lpszSrc) {
  if (lpszDest) vyrStrcpy(lpszDest + vyrStrlen(lpszDest), lpszSrc);
  return lpszDest;
}

VYR_EXPORT JCHAR *vyrStrncat(JCHAR *lpszDest, const JCHAR *lpszSrc, size_t n) {
  if (!lpszDest) return lpszDest;
  const JCHAR *src = orEmpty(lpszSrc);
  JCHAR *d = lpszDest + vyrStrlen(lpszDest);
  for (size_t i = 0; i < n && src[i]; ++i) *d++ = src[i];
  *d = 0;
  return lpszDest;
}

VYR_EXPORT int vyrStrcmp(const JCHAR *lpsz1, const JCHAR *lpsz2) { return vyrStrncmp(lpsz1, lpsz2, SIZE_MAX); }

VYR_EXPORT int vyrStrncmp(const JCHAR *lpsz1, const JCHAR *lpsz2, size_t n) {
  const JCHAR *a = orEmpty(lpsz1), *b = orEmpty(lpsz2);
  for (size_t i = 0; i < n; ++i) {
    if (a[i] != b[i]) return int(a[i]) - int(b[i]);
    if (!a[i]) break;
  }
  return 0;
}

VYR_EXPORT int vyrStricmp(const JCHAR *lpsz1, const JCHAR *lpsz2) {
  const JCHAR *a = orEmpty(lpsz1), *b = orEmpty(lpsz2);
  for (;; ++a, ++b) {
    const JCHAR fa = foldUnit(*a), fb = foldUnit(*b);
    if (fa != fb) return int(fa) - int(fb);
    // Only the terminator folds to 0, so one string's end is both strings' end here.
    if (!*a || !*b) return 0;
  }
}

VYR_EXPORT JCHAR *vyrStrchr(const JCHAR *lpsz, JCHAR c) {
  if (!lpsz) return nullptr;
  for (;; ++lpsz) {
    if (*lpsz == c) return const_cast<JCHAR *>(lpsz);
    if (!*lpsz) return nullptr;
  }
}

VYR_EXPORT JCHAR *vyrStrrchr(const JCHAR *lpsz, JCHAR c) {
  if (!lpsz) return nullptr;
  const JCHAR *found = nullptr;
  for (;; ++lpsz) {
    if (*lpsz == c) found = lpsz;
    if (!*lpsz) return const_cast<JCHAR *>(found);
  }
}

VYR_EXPORT JCHAR *vyrStrstr(const JCHAR *lpszHaystack, const JCHAR *lpszNeedle) {
  if (!lpszHaystack) return nullptr;
  const std::u16string_view haystack(lpszHaystack);
  const size_t at = haystack.find(vyr::jcharView(lpszNeedle));
  return at == haystack.npos ? nullptr : const_cast<JCHAR *>(lpszHaystack + at);
}

VYR_EXPORT size_t vyrStrspn(const JCHAR *lpsz, const JCHAR *lpszAccept) {
  const JCHAR *s = orEmpty(lpsz), *accept = orEmpty(lpszAccept);
  size_t n = 0;
  while (s[n] && contains(accept, s[n])) ++n;
  return n;
}

VYR_EXPORT JCHAR *vyrStrpbrk(const JCHAR *lpsz, const JCHAR *lpszAccept) {
  if (!lpsz) return nullptr;
  const JCHAR *accept = orEmpty(lpszAccept);
  for (; *lpsz; ++lpsz)
    if (contains(accept, *lpsz)) return const_cast<JCHAR *>(lpsz);
  return nullptr;
}

VYR_EXPORT JCHAR *vyrStrtok(JCHAR *lpsz, const JCHAR *lpszDelimiters) {
  thread_local JCHAR *next = nullptr;
  const JCHAR *delimiters = orEmpty(lpszDelimiters);
  JCHAR *s = lpsz ? lpsz : next;
  if (!s) return nullptr;
  while (*s && contains(delimiters, *s)) ++s;
  if (!*s) {
    next = nullptr;
    return nullptr;
  }
  JCHAR *token = s;
  while (*s && !contains(delimiters, *s)) ++s;
  if (*s) {
    *s = 0;
    next = s + 1;
  } else {
    next = nullptr;
  }
  return token;
}

VYR_EXPORT JCHAR *vyrStrupr(JCHAR *lpsz) {
  if (lpsz)
    for (JCHAR *p = lpsz; *p; ++p) *p = upperUnit(*p);
  return lpsz;
}

VYR_EXPORT JCHAR *vyrMemset(JCHAR *lpDest, JCHAR c, size_t n) {
  if (lpDest)
    for (size_t i = 0; i < n; ++i) lpDest[i] = c;
  return lpDest;
}

VYR_EXPORT long vyrStrtol(const JCHAR *lpsz, JCHAR **lppszEnd, int nBase) {
  return parseNumber<long>(lpsz, lppszEnd, [nBase](const char *s, char **end) { return std::strtol(s, end, nBase); });
}

VYR_EXPORT unsigned long vyrStrtoul(const JCHAR *lpsz, JCHAR **lppszEnd, int nBase) {
  return parseNumber<unsigned long>(lpsz, lppszEnd,
                                    [nBase](const char *s, char **end) { return std::strtoul(s, end, nBase); });
}

// atoi over a value that does not fit an int gives the nearest int, not the
// wrapped low bits.
VYR_EXPORT int vyrAtoi(const JCHAR *lpsz) {
  const long value = vyrStrtol(lpsz, nullptr, 10);
  return value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : int(value);
}

VYR_EXPORT long vyrAtol(const JCHAR *lpsz) { return vyrStrtol(lpsz, nullptr, 10); }

// Always the C locale's decimal point, whatever locale the host set.
VYR_EXPORT double vyrAtof(const JCHAR *lpsz) {
  return parseNumber<double>(lpsz, nullptr, [](const char *s, char **end) {
    return vyr::cLocale() ? strtod_l(s, end, vyr::cLocale()) : std::strtod(s, end);
  });
}

VYR_EXPORT JCHAR *vyrItoa(int nValue, JCHAR *lpszOut, int nRadix) {
  // Only decimal shows a sign; other radices show the two's-complement bits.
  const bool negative = nRadix == 10 && nValue < 0;
  const unsigned long magnitude = negative ? 0UL - (unsigned long)(long)nValue : (unsigned long)(unsigned)nValue;
  return writeRadix(magnitude, negative, lpszOut, nRadix);
}

VYR_EXPORT JCHAR *vyrUltoa(unsigned long nValue, JCHAR *lpszOut, int nRadix) {
  return writeRadix(nValue, false, lpszOut, nRadix);
}

VYR_EXPORT JCHAR vyrToupper(JCHAR c) { return upperUnit(c); }
VYR_EXPORT int vyrIsdigit(JCHAR c) { return u_isdigit(c) ? 1 : 0; }
VYR_EXPORT int vyrIsalpha(JCHAR c) { return u_isalpha(c) ? 1 : 0; }
VYR_EXPORT int vyrIsalnum(JCHAR c) { return u_isalnum(c) ? 1 : 0; }
VYR_EXPORT int vyrIsspace(JCHAR c) { return u_isspace(c) ? 1 : 0; }
