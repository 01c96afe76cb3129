// MATH_NUMERIC to and from JCHAR text, in the number format of the context
// current on the thread.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "math/boundary.h"
#include "math/decimal.h"
#include "runtime/current.h"
#include "vyrmath.h"

namespace {

using namespace vyr::math;

bool isDigit(JCHAR c) { return c >= u'0' && c <= u'9'; }
bool isBlank(JCHAR c) { return c == u' ' || c == u'\t'; }
bool isPlaceholder(JCHAR c) { return c == u'0' || c == u'#'; }

// Text that held no digit: an empty String, which reads as zero.
void writeEmpty(MATH_NUMERIC &out) {
  std::memset(out.String, 0, sizeof out.String);
  out.Sign = '\0';
  out.nLength = 0;
  out.nDecimalPosition = 0;
  out.nPrecision = kDigits;
}

// kBounded: the text may end at length before its terminator.
template <bool kBounded>
ID parse(MATH_NUMERIC &out, const JCHAR *text, size_t length) {
  const vyr::ThreadSettings &format = vyr::currentSettings();
  const JCHAR decimalSeparator = format.decimalSeparator;
  const JCHAR groupSeparator = format.thousandsSeparator;
  // Never reads past the terminator: look-ahead happens only from a non-zero character.
  auto at = [&](size_t k) -> JCHAR { return !kBounded || k < length ? text[k] : JCHAR(0); };

  size_t i = 0;
  while (isBlank(at(i))) ++i;
  bool negative = false;
  if (at(i) == u'+' || at(i) == u'-') negative = at(i++) == u'-';

  // The digits as written, leading zeros left out. Integer digits beyond 32
  // overflow; decimals beyond 33 cannot change a value that keeps at most 31
  // of them, so they are read but not kept.
  char digits[2 * kDigits + 1] = {};
  int integerDigits = 0;
  int decimals = 0;
  bool anyDigit = false, nonzero = false;
  for (;;) {
    const JCHAR c = at(i);
    if (isDigit(c)) {
      anyDigit = true;
      if ((integerDigits != 0 || c != u'0') && ++integerDigits <= kDigits) {
        digits[integerDigits - 1] = static_cast<char>(c);
        nonzero = true;
      }
      ++i;
    } else if (c != 0 && c == groupSeparator && c != decimalSeparator && anyDigit && isDigit(at(i + 1))) {
      ++i;
    } else {
      break;
    }
  }
  if (integerDigits > kDigits) integerDigits = kDigits + 1;  // refused below; keeps the decimals in bounds
  const int decimalsAt = std::min(integerDigits, kDigits);
  if (decimalSeparator != 0 && at(i) == decimalSeparator) {
    for (++i; isDigit(at(i)); ++i) {
      anyDigit = true;
      if (decimals <= kDigits) {
        digits[decimalsAt + decimals++] = static_cast<char>(at(i));
        nonzero = nonzero || at(i) != u'0';
      }
    }
  }
  while (isBlank(at(i))) ++i;

  if (!anyDigit) {
    writeEmpty(out);
    return ER_ERROR;
  }
  if (integerDigits > kDigits) {
    writeZero(out);
    return ER_ERROR;
  }
  const ID rest = at(i) == 0 ? ER_SUCCESS : ER_WARNING;
  if (std::max(integerDigits, 1) + decimals <= kDigits) {
    // Already the record's form once a zero stands before a bare fraction.
    if (integerDigits != 0) {
      writeDigits(out, digits, integerDigits + decimals, decimals, negative && nonzero);
    } else {
      char padded[kDigits + 1] = {};
      padded[0] = '0';
      std::memcpy(padded + 1, digits, static_cast<size_t>(decimals));
      writeDigits(out, padded, decimals + 1, decimals, negative && nonzero);
    }
    return rest;
  }
  // Too many digits for the record: the decimals that do not fit are rounded away.
  U256 magnitude = 0;
  for (int k = 0; k < integerDigits + decimals; ++k) magnitude = magnitude * 10 + (digits[k] - '0');
  const ID rc = store(out, magnitude, decimals, negative);
  return rc != ER_SUCCESS ? rc : rest;
}

// Sign, integer digits (grouped when a separator is given), decimal separator
// and every decimal, from n digits with scale decimals. out holds
// VYR_MATH_TEXT_SIZE (48 when grouped).
template <class Char>
int formatDigits(JCHAR *out, const Char *digits, int n, int scale, bool negative, JCHAR groupSeparator) {
  const int integerDigits = n - scale;
  int k = 0;
  if (negative) out[k++] = u'-';
  if (groupSeparator == 0) {
    for (int i = 0; i < integerDigits; ++i) out[k++] = static_cast<JCHAR>(digits[i]);
  } else {
    for (int i = 0; i < integerDigits; ++i) {
      if (i > 0 && (integerDigits - i) % 3 == 0) out[k++] = groupSeparator;
      out[k++] = static_cast<JCHAR>(digits[i]);
    }
  }
  if (scale > 0) {
    out[k++] = vyr::currentSettings().decimalSeparator;
    for (int i = integerDigits; i < n; ++i) out[k++] = static_cast<JCHAR>(digits[i]);
  }
  out[k] = 0;
  return k;
}

// Bounded writer: keeps room for the terminator, counts what it wrote.
struct BoundedText {
  JCHAR *out;
  size_t size;
  size_t count = 0;
  void put(JCHAR c) {
    if (count + 1 < size) out[count++] = c;
  }
  int finish() {
    if (size > 0) out[count] = 0;
    return static_cast<int>(count);
  }
};

// Adds `extra` digit places in front of the first placeholder of an integer
// mask, continuing its grouping (the group after its first separator).
void widenIntegerMask(std::u16string &mask, int extra) {
  size_t first = mask.find_first_of(u"0#");
  if (first == std::u16string::npos) first = mask.size();
  auto placesIn = [&](size_t from, size_t to) {
    return static_cast<int>(std::count_if(mask.begin() + static_cast<std::ptrdiff_t>(from),
                                          mask.begin() + static_cast<std::ptrdiff_t>(to), isPlaceholder));
  };
  std::u16string insert;
  const size_t comma = mask.find(u',', first);
  if (comma != std::u16string::npos) {
    const int lead = placesIn(first, comma);
    const size_t next = std::min(mask.find(u',', comma + 1), mask.size());
    const int group = placesIn(comma + 1, next);
    if (group > 0) {
      const int fill = std::min(extra, std::max(0, group - lead));
      insert.assign(static_cast<size_t>(fill), u'#');
      extra -= fill;
      while (extra > 0) {
        const int take = std::min(group, extra);
        insert = std::u16string(static_cast<size_t>(take), u'#') + u',' + insert;
        extra -= take;
      }
    }
  }
  insert.insert(0, static_cast<size_t>(extra), u'#');
  mask.insert(first, insert);
}

// The formatted value; an empty text for a missing one. A record in its
// canonical form is shown from its own digits.
int formatOrEmpty(JCHAR *out, const MATH_NUMERIC *value, JCHAR groupSeparator) {
  if (!out) return 0;
  if (!value) {
    out[0] = 0;
    return 0;
  }
  int n = 0;
  bool nonzero = false;
  if (isCanonical(*value, n, nonzero))
    return formatDigits(out, value->String, n, value->nDecimalPosition, value->Sign == '-' && nonzero, groupSeparator);
  const Decimal d = read(*value);
  JCHAR digits[40];
  return formatDigits(out, digits, spellDigits(d.magnitude, d.scale + 1, digits), d.scale, d.negative, groupSeparator);
}

int formatWithMask(BoundedText &text, Decimal d, std::u16string_view mask) {
  const vyr::ThreadSettings &format = vyr::currentSettings();
  const size_t dot = mask.find(u'.');
  std::u16string integerMask(mask.substr(0, dot));
  const std::u16string_view fractionMask = dot == mask.npos ? std::u16string_view() : mask.substr(dot + 1);
  const int places = static_cast<int>(std::count_if(fractionMask.begin(), fractionMask.end(), isPlaceholder));

  if (places < d.scale) {
    d.magnitude = rescale(d.magnitude, d.scale, places, Rounding::HalfAwayFromZero, d.negative);
    d.scale = places;
    d.negative = d.negative && d.magnitude != 0;
  }
  JCHAR digits[40];
  const int n = spellDigits(d.magnitude, d.scale + 1, digits);
  std::u16string_view integer(digits, static_cast<size_t>(n - d.scale));
  const std::u16string_view fraction(digits + n - d.scale, static_cast<size_t>(d.scale));
  while (!integer.empty() && integer.front() == u'0') integer.remove_prefix(1);
  const int significant = static_cast<int>(integer.size());

  int integerPlaces = static_cast<int>(std::count_if(integerMask.begin(), integerMask.end(), isPlaceholder));
  if (significant > integerPlaces) {
    widenIntegerMask(integerMask, significant - integerPlaces);
    integerPlaces = significant;
  }

  // A '#' shows when its digit is significant or a '0' stands further out.
  int outermostZero = -1;
  for (int index = 0; const JCHAR c : integerMask) {
    if (!isPlaceholder(c)) continue;
    if (c == u'0') outermostZero = std::max(outermostZero, integerPlaces - 1 - index);
    ++index;
  }
  if (d.negative) text.put(u'-');
  bool digitShown = false;
  for (int index = 0; const JCHAR c : integerMask) {
    if (isPlaceholder(c)) {
      const int position = integerPlaces - 1 - index++;
      if (position < significant || position <= outermostZero) {
        text.put(position < significant ? integer[static_cast<size_t>(significant - 1 - position)] : u'0');
        digitShown = true;
      }
    } else if (c == u',') {
      // Shown digits are contiguous, so a separator after one has one after it too.
      if (digitShown && index < integerPlaces && format.thousandsSeparator != 0) text.put(format.thousandsSeparator);
    } else {
      text.put(c);
    }
  }
  if (dot == mask.npos) return text.finish();

  // Decimal places show up to the last significant digit or the last '0'.
  int lastShown = -1;
  for (int index = 0; const JCHAR c : fractionMask) {
    if (!isPlaceholder(c)) continue;
    const bool nonzero = index < d.scale && fraction[static_cast<size_t>(index)] != u'0';
    if (c == u'0' || nonzero) lastShown = index;
    ++index;
  }
  if (lastShown >= 0) text.put(format.decimalSeparator);
  digitShown = false;
  for (int index = 0; const JCHAR c : fractionMask) {
    if (isPlaceholder(c)) {
      if (index <= lastShown) {
        text.put(index < d.scale ? fraction[static_cast<size_t>(index)] : u'0');
        digitShown = true;
      }
      ++index;
    } else if (c == u',') {
      if (digitShown && index <= lastShown && format.thousandsSeparator != 0) text.put(format.thousandsSeparator);
    } else {
      text.put(c);
    }
  }
  return text.finish();
}

}  // namespace

ID ParseNumericString(LPMATH_NUMERIC lpValue, const JCHAR *lpszText) {
  return ParseNumericStringEx(lpValue, lpszText, SIZE_MAX);
}

ID ParseNumericStringEx(LPMATH_NUMERIC lpValue, const JCHAR *lpszText, size_t nLength) {
  if (!lpValue) return ER_ERROR;
  static const JCHAR kEmpty[] = u"";
  const JCHAR *text = lpszText ? lpszText : kEmpty;
  return guarded([&] {
    return nLength == SIZE_MAX ? parse<false>(*lpValue, text, nLength) : parse<true>(*lpValue, text, nLength);
  });
}

int FormatMathNumeric(JCHAR *lpszOut, const MATH_NUMERIC *lpValue) { return formatOrEmpty(lpszOut, lpValue, 0); }

int FormatMathNumericDefault(JCHAR *lpszOut, const MATH_NUMERIC *lpValue) {
  return formatOrEmpty(lpszOut, lpValue, vyr::currentSettings().thousandsSeparator);
}

int FormatMathNumericWithMask(JCHAR *lpszOut, size_t nSize, const MATH_NUMERIC *lpValue, const JCHAR *lpszMask) {
  if (!lpszOut || nSize == 0) return 0;
  BoundedText text{lpszOut, nSize};
  if (!lpValue || !lpszMask) return text.finish();
  const int count = guarded([&] { return formatWithMask(text, read(*lpValue), lpszMask); }, -1);
  if (count >= 0) return count;
  lpszOut[0] = 0;
  return 0;
}

int vyrMathGetRawStringEx(JCHAR *lpszOut, const MATH_NUMERIC *lpValue, size_t nSize) {
  if (!lpszOut || nSize == 0) return 0;
  BoundedText text{lpszOut, nSize};
  // A value that failed to parse keeps its empty digit string.
  if (lpValue && hasDigits(*lpValue)) {
    const Decimal d = read(*lpValue);
    JCHAR digits[40];
    const int n = spellDigits(d.magnitude, d.scale + 1, digits);
    for (int i = 0; i < n; ++i) text.put(digits[i]);
  }
  return text.finish();
}
