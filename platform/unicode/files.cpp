// Files under JCHAR paths. Text is UTF-8 on disk; the bytes move untouched
// through vyrFread and vyrFwrite.
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cstdio>
#include <string>

#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace {

// Reads the bytes of one UTF-8 character whose lead byte was already read,
// leaving any byte that cannot continue it in the stream. Ill-formed input
// yields U+FFFD.
UChar32 readCharacter(FILE *file, int lead) {
  if (U8_IS_SINGLE(lead)) return lead;
  if (!U8_IS_LEAD(lead)) return 0xFFFD;
  const int trail = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  unsigned char bytes[4] = {static_cast<unsigned char>(lead)};
  for (int i = 1; i <= trail; ++i) {
    const int b = std::getc(file);
    bool fits = b != EOF && U8_IS_TRAIL(b);
    if (fits && i == 1 && trail == 2) fits = U8_IS_VALID_LEAD3_AND_T1(lead, b);
    if (fits && i == 1 && trail == 3) fits = U8_IS_VALID_LEAD4_AND_T1(lead, b);
    if (!fits) {
      if (b != EOF) std::ungetc(b, file);
      return 0xFFFD;
    }
    bytes[i] = static_cast<unsigned char>(b);
  }
  size_t at = 0;
  UChar32 c;
  U8_NEXT_OR_FFFD(bytes, at, size_t(trail + 1), c);
  return c;
}

}  // namespace

// glibc reads ",ccs=..." in a mode as a request for a wide-oriented stream,
// which the byte-level reads here cannot use; the suffix is dropped.
VYR_EXPORT FILE *vyrFopen(const JCHAR *lpszPath, const JCHAR *lpszMode) {
  if (!lpszPath || !lpszMode) return nullptr;
  try {
    std::string mode = vyr::toUtf8(lpszMode);
    mode = mode.substr(0, mode.find(','));
    return std::fopen(vyr::toUtf8(lpszPath).c_str(), mode.c_str());
  } catch (...) {
    return nullptr;
  }
}

VYR_EXPORT int vyrFclose(FILE *lpFile) { return lpFile ? std::fclose(lpFile) : EOF; }

// A supplementary character needs two positions; when only one is left the
// line ends before it and the character starts the next call.
VYR_EXPORT JCHAR *vyrFgets(JCHAR *lpszOut, int n, FILE *lpFile) {
  if (!lpszOut || n <= 0 || !lpFile) return nullptr;
  const size_t room = size_t(n) - 1;
  size_t written = 0;
  while (written < room) {
    const int lead = std::getc(lpFile);
    if (lead == EOF) break;
    if (U8_IS_LEAD(lead) && lead >= 0xF0 && written + 2 > room) {
      std::ungetc(lead, lpFile);
      break;
    }
    const UChar32 c = readCharacter(lpFile, lead);
    U16_APPEND_UNSAFE(lpszOut, written, c);
    if (c == u'\n') break;
  }
  lpszOut[written] = 0;
  if (written == 0 && room > 0) return nullptr;
  return lpszOut;
}

VYR_EXPORT size_t vyrFread(void *lpBuffer, size_t nSize, size_t nCount, FILE *lpFile) {
  return lpBuffer && lpFile ? std::fread(lpBuffer, nSize, nCount, lpFile) : 0;
}

VYR_EXPORT size_t vyrFwrite(const void *lpBuffer, size_t nSize, size_t nCount, FILE *lpFile) {
  return lpBuffer && lpFile ? std::fwrite(lpBuffer, nSize, nCount, lpFile) : 0;
}

// A null stream flushes every output stream, as fflush does.
VYR_EXPORT int vyrFflush(FILE *lpFile) { return std::fflush(lpFile); }

VYR_EXPORT int vyrStat(const JCHAR *lpszPath, struct stat *lpStat) {
  if (!lpszPath || !lpStat) return -1;
  try {
    return stat(vyr::toUtf8(lpszPath).c_str(), lpStat);
  } catch (...) {
    return -1;
  }
}
