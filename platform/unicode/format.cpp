// JCHAR printf, scanf and strftime. Strings are copied unit by unit; only the
// digits of numeric conversions come from the C library, always in the C
// locale so a host's setlocale never turns a decimal point into a comma.
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>

#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace {

// Widths past INT_MAX cannot be reported in an int, so such a format fails
// as in C. Numeric precisions are held far lower: the C library builds those
// digits in scratch memory.
constexpr size_t kMaxWidth = INT_MAX;
constexpr size_t kMaxNumericPrecision = 1 << 16;

// Switches the calling thread to the C locale for the guard's lifetime.
class CLocaleScope {
 public:
  CLocaleScope() : previous_(vyr::cLocale() ? uselocale(vyr::cLocale()) : locale_t(0)) {}
  ~CLocaleScope() {
    if (previous_) uselocale(previous_);
  }
  CLocaleScope(const CLocaleScope &) = delete;
  CLocaleScope &operator=(const CLocaleScope &) = delete;

 private:
  locale_t previous_;
};

// Output that stores what fits in size - 1 positions and counts everything.
class Sink {
 public:
  Sink(JCHAR *out, size_t size) : out_(out), size_(out ? size : 0) {}

  void put(JCHAR c) {
    if (count_ + 1 < size_) out_[count_] = c;
    ++count_;
  }
  void repeat(JCHAR c, size_t n) {
    const size_t room = count_ + 1 < size_ ? size_ - 1 - count_ : 0;
    for (size_t i = 0; i < n && i < room; ++i) out_[count_ + i] = c;
    count_ += n;
  }
  void terminate() {
    if (size_ > 0) out_[count_ < size_ ? count_ : size_ - 1] = 0;
  }
  size_t count() const { return count_; }

 private:
  JCHAR *out_;
  size_t size_;
  size_t count_ = 0;
};

// One conversion of a format: flags, width, precision and length modifier.
struct Field {
  bool left = false, plus = false, space = false, zero = false, alternate = false;
  size_t width = 0;
  bool hasPrecision = false;
  size_t precision = 0;
  // Integer length modifier as the C library spells it: "", "hh", "h", "l", "ll", "j", "z", "t".
  const char *length = "";
  bool longDouble = false;  // 'L' before a floating conversion
};

// Pads text of the given length to the field's width around emit().
template <typename Emit>
void padded(Sink &sink, const Field &field, size_t length, Emit emit) {
  const size_t pad = field.width > length ? field.width - length : 0;
  if (!field.left) sink.repeat(u' ', pad);
  emit();
  if (field.left) sink.repeat(u' ', pad);
}

void emitJcharString(Sink &sink, const Field &field, const JCHAR *s) {
  static const JCHAR kNull[] = u"(null)";
  if (!s) s = kNull;
  // With a precision the text need not be terminated within it.
  size_t length = 0;
  const size_t limit = field.hasPrecision ? field.precision : SIZE_MAX;
  while (length < limit && s[length]) ++length;
  padded(sink, field, length, [&] {
    for (size_t i = 0; i < length; ++i) sink.put(s[i]);
  });
}

// A char string is UTF-8. As in C, a precision counts bytes, so an array that
// is not terminated within it is never overrun; a character cut by the limit
// is left out whole.
void emitUtf8String(Sink &sink, const Field &field, const char *s) {
  if (!s) s = "(null)";
  size_t bytes = field.hasPrecision ? strnlen(s, field.precision) : std::strlen(s);
  if (field.hasPrecision && bytes == field.precision) U8_TRUNCATE_IF_INCOMPLETE(s, 0, bytes);
  size_t units = 0;
  for (size_t i = 0; i < bytes;) {
    UChar32 c;
    U8_NEXT_OR_FFFD(s, i, bytes, c);
    units += U16_LENGTH(c);
  }
  padded(sink, field, units, [&] {
    for (size_t i = 0; i < bytes;) {
      UChar32 c;
      U8_NEXT_OR_FFFD(s, i, bytes, c);
      JCHAR buffer[2];
      size_t n = 0;
      U16_APPEND_UNSAFE(buffer, n, c);
      for (size_t k = 0; k < n; ++k) sink.put(buffer[k]);
    }
  });
}

void emitChar(Sink &sink, const Field &field, JCHAR c) {
  padded(sink, field, 1, [&] { sink.put(c); });
}

// The C library's text for one numeric conversion, without the width (padding
// is ours, so a huge width never needs a huge scratch buffer).
template <typename Value>
bool formatDigits(std::string &out, const Field &field, char conversion, Value value) {
  char format[32];
  size_t n = 0;
  format[n++] = '%';
  if (field.plus) format[n++] = '+';
  if (field.space) format[n++] = ' ';
  if (field.alternate) format[n++] = '#';
  if (field.hasPrecision) {
    if (field.precision > kMaxNumericPrecision) return false;
    n += size_t(std::snprintf(format + n, sizeof format - n, ".%zu", field.precision));
  }
  for (const char *l = field.length; *l;) format[n++] = *l++;
  format[n++] = conversion;
  format[n] = 0;

  char local[128];
  const int needed = std::snprintf(local, sizeof local, format, value);
  if (needed < 0) return false;
  if (size_t(needed) < sizeof local) {
    out.assign(local, size_t(needed));
    return true;
  }
  out.resize(size_t(needed) + 1);
  std::snprintf(out.data(), out.size(), format, value);
  out.resize(size_t(needed));
  return true;
}

// Writes C-library digits, padding to width as the C library would: zeros go
// after the sign and any 0x prefix, and only where zero padding applies.
void emitDigits(Sink &sink, const Field &field, const std::string &digits, bool zeroPadAllowed) {
  const size_t pad = field.width > digits.size() ? field.width - digits.size() : 0;
  if (field.left || !field.zero || !zeroPadAllowed || pad == 0) {
    padded(sink, field, digits.size(), [&] {
      for (char c : digits) sink.put(JCHAR(static_cast<unsigned char>(c)));
    });
    return;
  }
  size_t prefix = 0;
  if (prefix < digits.size() && (digits[0] == '-' || digits[0] == '+' || digits[0] == ' ')) ++prefix;
  if (prefix + 1 < digits.size() && digits[prefix] == '0' && (digits[prefix + 1] == 'x' || digits[prefix + 1] == 'X'))
    prefix += 2;
  for (size_t i = 0; i < prefix; ++i) sink.put(JCHAR(digits[i]));
  sink.repeat(u'0', pad);
  for (size_t i = prefix; i < digits.size(); ++i) sink.put(JCHAR(static_cast<unsigned char>(digits[i])));
}

bool isFinite(const std::string &digits) { return digits.find_first_of("nNiI") == std::string::npos; }

// Reads a decimal field of the format, saturating just past kMaxWidth.
size_t readCount(const JCHAR *&p) {
  size_t value = 0;
  while (*p >= u'0' && *p <= u'9') {
    if (value <= kMaxWidth) value = value * 10 + size_t(*p - u'0');
    ++p;
  }
  return value;
}

// Formats one conversion starting after its '%'; p is left after it. Returns
// false for a width or precision too large to honour, or when the C library
// refused the numeric text.
bool formatOne(Sink &sink, const JCHAR *&p, va_list &args, std::string &scratch) {
  const JCHAR *const start = p - 1;
  Field field;
  for (;; ++p) {
    if (*p == u'-')
      field.left = true;
    else if (*p == u'+')
      field.plus = true;
    else if (*p == u' ')
      field.space = true;
    else if (*p == u'0')
      field.zero = true;
    else if (*p == u'#')
      field.alternate = true;
    else
      break;
  }
  if (*p == u'*') {
    ++p;
    const int width = va_arg(args, int);
    if (width < 0) field.left = true;
    field.width = width < 0 ? size_t(-(long long)width) : size_t(width);
  } else {
    field.width = readCount(p);
  }
  if (*p == u'.') {
    ++p;
    field.hasPrecision = true;
    if (*p == u'*') {
      ++p;
      const int precision = va_arg(args, int);
      field.hasPrecision = precision >= 0;
      field.precision = precision >= 0 ? size_t(precision) : 0;
    } else {
      field.precision = readCount(p);
    }
  }
  if (field.width > kMaxWidth || field.precision > kMaxWidth) return false;
  bool longText = false;
  if (*p == u'h') {
    ++p;
    field.length = "h";
    if (*p == u'h') {
      ++p;
      field.length = "hh";
    }
  } else if (*p == u'l') {
    ++p;
    field.length = "l";
    longText = true;
    if (*p == u'l') {
      ++p;
      field.length = "ll";
    }
  } else if (*p == u'L' || *p == u'q') {
    field.longDouble = *p == u'L';
    ++p;
    field.length = "ll";
  } else if (*p == u'j' || *p == u'z' || *p == u't') {
    field.length = *p == u'j' ? "j" : *p == u'z' ? "z" : "t";
    ++p;
  } else if (*p == u'I' && p[1] == u'6' && p[2] == u'4') {
    // The 64-bit size prefix some callers carry over from other compilers.
    p += 3;
    field.length = "ll";
  } else if (*p == u'I' && p[1] == u'3' && p[2] == u'2') {
    p += 3;
  }
  const std::string_view length(field.length);
  const JCHAR conversion = *p;
  if (conversion) ++p;
  switch (conversion) {
    case u'%':
      sink.put(u'%');
      return true;
    case u's':
    case u'S':
      if (longText || conversion == u'S')
        emitJcharString(sink, field, va_arg(args, const JCHAR *));
      else
        emitUtf8String(sink, field, va_arg(args, const char *));
      return true;
    case u'c':
    case u'C':
      if (longText || conversion == u'C')
        emitChar(sink, field, JCHAR(va_arg(args, unsigned)));
      else
        emitChar(sink, field, JCHAR(static_cast<unsigned char>(va_arg(args, int))));
      return true;
    case u'd':
    case u'i': {
      bool ok;
      if (length == "l")
        // NOLINTNEXTLINE(bugprone-branch-clone): intmax_t and ptrdiff_t are long here, not everywhere
        ok = formatDigits(scratch, field, 'd', va_arg(args, long));
      else if (length == "ll")
        ok = formatDigits(scratch, field, 'd', va_arg(args, long long));
      else if (length == "j")
        ok = formatDigits(scratch, field, 'd', va_arg(args, intmax_t));
      else if (length == "z")
        ok = formatDigits(scratch, field, 'd', va_arg(args, std::make_signed_t<size_t>));
      else if (length == "t")
        ok = formatDigits(scratch, field, 'd', va_arg(args, ptrdiff_t));
      else
        ok = formatDigits(scratch, field, 'd', va_arg(args, int));
      if (!ok) return false;
      emitDigits(sink, field, scratch, !field.hasPrecision);
      return true;
    }
    case u'u':
    case u'x':
    case u'X':
    case u'o': {
      const char c = char(conversion);
      bool ok;
      if (length == "l")
        // NOLINTNEXTLINE(bugprone-branch-clone): uintmax_t and size_t are unsigned long here, not everywhere
        ok = formatDigits(scratch, field, c, va_arg(args, unsigned long));
      else if (length == "ll")
        ok = formatDigits(scratch, field, c, va_arg(args, unsigned long long));
      else if (length == "j")
        ok = formatDigits(scratch, field, c, va_arg(args, uintmax_t));
      else if (length == "z")
        ok = formatDigits(scratch, field, c, va_arg(args, size_t));
      else if (length == "t")
        ok = formatDigits(scratch, field, c, va_arg(args, std::make_unsigned_t<ptrdiff_t>));
      else
        ok = formatDigits(scratch, field, c, va_arg(args, unsigned));
      if (!ok) return false;
      emitDigits(sink, field, scratch, !field.hasPrecision);
      return true;
    }
    case u'f':
    case u'F':
    case u'e':
    case u'E':
    case u'g':
    case u'G':
    case u'a':
    case u'A': {
      const char c = char(conversion);
      Field floating = field;
      floating.length = "";
      bool ok;
      if (field.longDouble) {
        floating.length = "L";
        ok = formatDigits(scratch, floating, c, va_arg(args, long double));
      } else {
        ok = formatDigits(scratch, floating, c, va_arg(args, double));
      }
      if (!ok) return false;
      emitDigits(sink, field, scratch, isFinite(scratch));
      return true;
    }
    case u'p': {
      Field pointer = field;
      pointer.length = "";
      pointer.hasPrecision = false;
      if (!formatDigits(scratch, pointer, 'p', va_arg(args, void *))) return false;
      emitDigits(sink, field, scratch, false);
      return true;
    }
    default:
      // Unknown (and %n, which would write through an argument): copied as written.
      for (const JCHAR *q = start; q < p; ++q) sink.put(*q);
      return true;
  }
}

// vyrFprintf's formatter into a growing string.
bool formatToString(std::u16string &out, const JCHAR *format, va_list args) {
  JCHAR local[512];
  va_list copy;
  va_copy(copy, args);
  const int needed = vyrVsnprintf(local, sizeof local / sizeof *local, format, copy);
  va_end(copy);
  if (needed < 0) return false;
  if (size_t(needed) < sizeof local / sizeof *local) {
    out.assign(local, size_t(needed));
    return true;
  }
  out.resize(size_t(needed) + 1);
  if (vyrVsnprintf(out.data(), out.size(), format, args) != needed) return false;
  out.resize(size_t(needed));
  return true;
}

// The conversions vsscanf may run: each writes a number. String, character,
// scan-set and %n targets would receive 8-bit text or UTF-8 offsets in JCHAR
// buffers, so a format with them is refused.
bool scanFormatIsNumeric(std::u16string_view format) {
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != u'%') continue;
    ++i;
    if (i < format.size() && format[i] == u'%') continue;
    while (i < format.size() && (format[i] == u'*' || (format[i] >= u'0' && format[i] <= u'9'))) ++i;
    while (i < format.size() && std::u16string_view(u"hlLqjzt").find(format[i]) != std::u16string_view::npos) ++i;
    if (i >= format.size() || std::u16string_view(u"diuoxXfFeEgGaA").find(format[i]) == std::u16string_view::npos)
      return false;
  }
  return true;
}

}  // namespace

VYR_EXPORT int vyrVsnprintf(JCHAR *lpszOut, size_t nSize, const JCHAR *lpszFormat, va_list args) {
  Sink sink(lpszOut, nSize);
  bool ok = true;
  try {
    CLocaleScope locale;
    std::string scratch;
    va_list local;
    va_copy(local, args);
    for (const JCHAR *p = lpszFormat; p && *p && ok;) {
      if (*p != u'%') {
        sink.put(*p++);
        continue;
      }
      ++p;
      ok = formatOne(sink, p, local, scratch);
    }
    va_end(local);
  } catch (...) {
    ok = false;
  }
  sink.terminate();
  if (!ok || sink.count() > size_t(INT_MAX)) {
    errno = EOVERFLOW;
    return -1;
  }
  return int(sink.count());
}

VYR_EXPORT int vyrSnprintf(JCHAR *lpszOut, size_t nSize, const JCHAR *lpszFormat, ...) {
  va_list args;
  va_start(args, lpszFormat);
  const int n = vyrVsnprintf(lpszOut, nSize, lpszFormat, args);
  va_end(args);
  return n;
}

VYR_EXPORT int vyrSprintf(JCHAR *lpszOut, const JCHAR *lpszFormat, ...) {
  if (!lpszOut) return 0;
  va_list args;
  va_start(args, lpszFormat);
  const int n = vyrVsnprintf(lpszOut, SIZE_MAX, lpszFormat, args);
  va_end(args);
  return n;
}

VYR_EXPORT int vyrFprintf(FILE *lpFile, const JCHAR *lpszFormat, ...) {
  if (!lpFile) return -1;
  try {
    std::u16string text;
    va_list args;
    va_start(args, lpszFormat);
    const bool ok = formatToString(text, lpszFormat, args);
    va_end(args);
    if (!ok) return -1;
    const std::string bytes = vyr::toUtf8(text);
    if (std::fwrite(bytes.data(), 1, bytes.size(), lpFile) != bytes.size()) return -1;
    return int(text.size());
  } catch (...) {
    return -1;
  }
}

VYR_EXPORT int vyrSscanf(const JCHAR *lpszInput, const JCHAR *lpszFormat, ...) {
  if (!lpszInput || !lpszFormat) return -1;
  try {
    if (!scanFormatIsNumeric(lpszFormat)) return -1;
    const std::string input = vyr::toUtf8(lpszInput);
    const std::string format = vyr::toUtf8(lpszFormat);
    CLocaleScope locale;
    va_list args;
    va_start(args, lpszFormat);
    const int n = std::vsscanf(input.c_str(), format.c_str(), args);
    va_end(args);
    return n;
  } catch (...) {
    return -1;
  }
}

// strftime over UTF-8, then back to JCHAR. Returns 0 when the text does not
// fit in nMax positions with its terminator, as strftime does.
VYR_EXPORT size_t vyrStrftime(JCHAR *lpszOut, size_t nMax, const JCHAR *lpszFormat, const struct tm *lpTm) {
  if (!lpszOut || nMax == 0) return 0;
  lpszOut[0] = 0;
  if (!lpTm || !lpszFormat || !*lpszFormat) return 0;
  try {
    const std::string format = vyr::toUtf8(lpszFormat);
    // Each JCHAR of the result takes at most 3 bytes of UTF-8, so a result that
    // fits nMax always fits 3 * nMax bytes; stop growing there.
    const size_t most = nMax > SIZE_MAX / 3 ? SIZE_MAX : 3 * nMax + 1;
    std::string bytes;
    size_t written = 0;
    for (size_t size = 256;; size *= 2) {
      if (size > most) size = most;
      bytes.resize(size);
      written = vyr::cLocale() ? strftime_l(bytes.data(), size, format.c_str(), lpTm, vyr::cLocale())
                               : std::strftime(bytes.data(), size, format.c_str(), lpTm);
      if (written > 0 || size >= most || size >= (size_t(1) << 20)) break;
    }
    if (written == 0) return 0;
    const std::u16string text = vyr::fromUtf8(std::string_view(bytes.data(), written));
    if (text.size() + 1 > nMax) return 0;
    std::memcpy(lpszOut, text.data(), text.size() * sizeof(JCHAR));
    lpszOut[text.size()] = 0;
    return text.size();
  } catch (...) {
    lpszOut[0] = 0;
    return 0;
  }
}
