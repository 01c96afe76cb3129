// The one internal form of a MATH_NUMERIC: sign, unscaled magnitude, scale.
// Every operation reads its operands with read(), computes on magnitudes (an
// unsigned __int128 when the intermediate fits, a fixed-width Boost integer
// when it does not) and hands the result to fit() and write(), which produce
// the canonical 32-digit record. Header-only so the benchmark can run the
// narrow and the wide path side by side.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <boost/multiprecision/cpp_int.hpp>

#include "vyrtypes.h"

namespace vyr::math {

__extension__ typedef unsigned __int128 u128;
using U256 = boost::multiprecision::uint256_t;
using U512 = boost::multiprecision::uint512_t;

// Digit positions of a record; a canonical value keeps a digit before the
// point, so it carries 31 decimals at most.
inline constexpr int kDigits = MAXLEN_MATH_NUMERIC;

struct Decimal {
  u128 magnitude = 0;  // below 10^32 (10^33 for unfitted intermediate values)
  int scale = 0;       // digits after the point
  bool negative = false;
};

enum class Rounding { TowardZero, HalfAwayFromZero, AwayFromZero, HalfEven, Floor };

// Largest power of ten each magnitude type holds.
template <class U>
inline constexpr int kMaxPow10 = 0;
template <>
inline constexpr int kMaxPow10<u128> = 38;
template <>
inline constexpr int kMaxPow10<U256> = 77;
template <>
inline constexpr int kMaxPow10<U512> = 154;

// 10^0 .. 10^(N-1).
template <class U, size_t N>
constexpr std::array<U, N> powersOfTen() {
  std::array<U, N> table{};
  U value = 1;
  for (U &entry : table) {
    entry = value;
    value *= 10;
  }
  return table;
}

inline constexpr std::array<u128, 39> kPow10Narrow = powersOfTen<u128, 39>();

template <class U>
const U &pow10(int n) noexcept {
  if constexpr (std::is_same_v<U, u128>) {
    return kPow10Narrow[static_cast<size_t>(n)];
  } else {
    static const auto table = powersOfTen<U, kMaxPow10<U> + 1>();
    return table[static_cast<size_t>(n)];
  }
}

// Number of decimal digits; 0 for zero. Magnitudes stay below 10^kMaxPow10<U>.
template <class U>
int digitCount(const U &value) noexcept {
  if constexpr (std::is_same_v<U, u128>) {
    // From the bit length: 1233/4096 is just above log10(2), so the estimate
    // is the count or one less.
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a 64-bit shift of a 128-bit value is defined
    const uint64_t high = static_cast<uint64_t>(value >> 64);
    const int bits = high != 0 ? 128 - __builtin_clzll(high) : 64 - __builtin_clzll(static_cast<uint64_t>(value) | 1);
    const int estimate = (bits * 1233) >> 12;
    return estimate + (value >= kPow10Narrow[static_cast<size_t>(estimate)] ? 1 : 0) - (value == 0 ? 1 : 0);
  } else {
    int n = 0;
    while (n <= kMaxPow10<U> && value >= pow10<U>(n)) ++n;
    return n;
  }
}

template <class U>
U widen(u128 value) {
  if constexpr (std::is_same_v<U, u128>) {
    return value;
  } else {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a 64-bit shift of a 128-bit value is defined
    U wide = static_cast<uint64_t>(value >> 64);
    wide <<= 64;
    wide |= static_cast<uint64_t>(value);
    return wide;
  }
}

// Caller guarantees the value fits 128 bits.
template <class U>
u128 narrow(const U &value) {
  if constexpr (std::is_same_v<U, u128>) {
    return value;
  } else {
    const U low64 = UINT64_MAX;
    const auto low = static_cast<uint64_t>(value & low64);
    const auto high = static_cast<uint64_t>((value >> 64) & low64);
    return (static_cast<u128>(high) << 64) | low;
  }
}

// numerator / divisor on magnitudes of a value of the given sign.
template <class U>
U divideRounded(const U &numerator, const U &divisor, Rounding mode, bool negative) {
  U quotient = numerator / divisor;
  const U remainder = numerator - quotient * divisor;
  if (remainder == 0) return quotient;
  const U rest = divisor - remainder;  // compare 2r with d without overflow
  bool up = false;
  switch (mode) {
    case Rounding::TowardZero:
      up = false;
      break;
    case Rounding::AwayFromZero:
      up = true;
      break;
    case Rounding::HalfAwayFromZero:
      up = remainder >= rest;
      break;
    case Rounding::HalfEven:
      up = remainder > rest || (remainder == rest && (quotient & 1) != 0);
      break;
    case Rounding::Floor:
      up = negative;
      break;
  }
  if (up) ++quotient;
  return quotient;
}

// Changes the scale of a magnitude; the caller keeps both the upward change and
// the distance within the powers of ten of U.
template <class U>
U rescale(const U &magnitude, int from, int to, Rounding mode, bool negative) {
  if (to >= from) return magnitude * pow10<U>(to - from);
  return divideRounded(magnitude, pow10<U>(from - to), mode, negative);
}

// Brings a result into 32 digits by dropping decimals, rounded half away from
// zero. False when the integer part alone needs more than 32 digits.
template <class U>
bool fit(U magnitude, int scale, bool negative, Decimal &out) {
  scale = std::max(scale, 0);
  for (;;) {
    const int digits = digitCount(magnitude);
    const int need = std::max(digits, scale + 1);
    if (need <= kDigits) break;
    const int drop = need - kDigits;
    if (drop > scale) return false;
    // Below a tenth of the last kept unit nothing survives the rounding.
    if (drop > digits) {
      magnitude = 0;
    } else {
      magnitude = divideRounded(magnitude, pow10<U>(drop), Rounding::HalfAwayFromZero, negative);
    }
    scale -= drop;
  }
  out.magnitude = narrow(magnitude);
  out.scale = scale;
  out.negative = negative && out.magnitude != 0;
  return true;
}

// How many of the 8 characters of word (read from memory in order,
// little-endian) are digits before the first one that is not.
inline int leadingDigits(uint64_t word) noexcept {
  // A byte is a digit when its high nibble is 3 and stays 3 once 6 is added;
  // a carry out of a byte that is no digit only reaches bytes after it.
  const uint64_t misses =
      ((word & 0xF0F0F0F0F0F0F0F0) | (((word + 0x0606060606060606) & 0xF0F0F0F0F0F0F0F0) >> 4)) ^ 0x3333333333333333;
  return misses == 0 ? 8 : __builtin_ctzll(misses) / 8;
}

// The number 8 digit characters spell, the first one read from memory first
// (little-endian): pairs, then quads, then the whole, by multiplication.
inline uint64_t eightDigitValue(uint64_t word) noexcept {
  word -= 0x3030303030303030;
  word = (word * 10) + (word >> 8);
  return (((word & 0x000000FF000000FF) * (100 + (1000000ULL << 32))) +
          (((word >> 16) & 0x000000FF000000FF) * (1 + (10000ULL << 32)))) >>
         32;
}

// The digits of a value as it is stored: the String up to its terminator (at
// most 32 places, non-digits skipped), nDecimalPosition clamped to 0..32.
[[gnu::always_inline]] inline Decimal read(const MATH_NUMERIC &value) noexcept {
  // 64-bit steps while they suffice: 128-bit multiplication is the slow part,
  // and an amount of up to 19 digits needs none.
  u128 folded = 0;     // the digits before the current chunk
  uint64_t chunk = 0;  // the last (up to 19) digits
  int chunkDigits = 0;
  auto append = [&](uint64_t digits, int count) {
    if (chunkDigits + count > 19) {
      folded = folded * kPow10Narrow[static_cast<size_t>(chunkDigits)] + chunk;
      chunk = 0;
      chunkDigits = 0;
    }
    static constexpr uint64_t kScale[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    chunk = chunk * kScale[count] + digits;
    chunkDigits += count;
  };
  int i = 0;
  bool ended = false;  // the terminator was reached eight characters at a time
  // Up to eight digits at once while the String is plain digits; whatever else
  // it holds is read one character at a time.
  if constexpr (std::endian::native == std::endian::little) {
    for (uint64_t word; !ended && i + 8 <= kDigits;) {
      std::memcpy(&word, value.String + i, 8);
      const int count = leadingDigits(word);
      if (count < 8) {
        if (count == 0 || ((word >> (8 * count)) & 0xFF) != 0) break;
        // The digits moved to the end of the word, zeros in front of them.
        word = (word << (8 * (8 - count))) | (0x3030303030303030 >> (8 * count));
        ended = true;
      }
      append(eightDigitValue(word), count);
      i += count;
    }
  }
  for (; !ended && i < kDigits && value.String[i] != '\0'; ++i) {
    const auto digit = static_cast<unsigned>(value.String[i] - '0');
    if (digit <= 9) append(digit, 1);
  }
  Decimal d;
  d.magnitude = folded == 0 ? u128(chunk) : folded * kPow10Narrow[static_cast<size_t>(chunkDigits)] + chunk;
  d.scale = std::clamp<int>(value.nDecimalPosition, 0, kDigits);
  d.negative = value.Sign == '-' && d.magnitude != 0;
  return d;
}

inline bool hasDigits(const MATH_NUMERIC &value) noexcept {
  for (int i = 0; i < kDigits && value.String[i] != '\0'; ++i) {
    if (value.String[i] >= '0' && value.String[i] <= '9') return true;
  }
  return false;
}

inline constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Exactly 8 digits of value (below 10^8, zeros in front), written right to
// left before out[position].
template <class Char>
[[gnu::always_inline]] inline void spellEight(uint32_t value, Char *out, int &position) noexcept {
  for (int k = 0; k < 4; ++k) {
    const auto pair = static_cast<size_t>(value % 100) * 2;
    value /= 100;
    out[--position] = static_cast<Char>(kDigitPairs[pair + 1]);
    out[--position] = static_cast<Char>(kDigitPairs[pair]);
  }
}

// The digits of value (below 10^8, no zero in front but for zero itself),
// written right to left before out[position].
template <class Char>
[[gnu::always_inline]] inline void spellShort(uint32_t value, Char *out, int &position) noexcept {
  while (value >= 100) {
    const auto pair = static_cast<size_t>(value % 100) * 2;
    value /= 100;
    out[--position] = static_cast<Char>(kDigitPairs[pair + 1]);
    out[--position] = static_cast<Char>(kDigitPairs[pair]);
  }
  if (value >= 10) {
    out[--position] = static_cast<Char>(kDigitPairs[size_t{value} * 2 + 1]);
    out[--position] = static_cast<Char>(kDigitPairs[size_t{value} * 2]);
  } else {
    out[--position] = static_cast<Char>('0' + value);
  }
}

// Writes the digits of magnitude, at least minDigits of them (and at least
// one), most significant first; returns how many. out holds 40 characters.
template <class Char>
int spellDigits(u128 magnitude, int minDigits, Char *out) noexcept {
  const int n = std::min(std::max({digitCount(magnitude), minDigits, 1}), 40);
  int position = n;  // digits are written from the right
  // Groups of 8 digits on 32 bits; 128-bit division only for the rare
  // magnitude of 2^64 and more, 64-bit division only above 10^8.
  while (magnitude > UINT64_MAX) {
    const u128 high = magnitude / kPow10Narrow[16];
    const auto low = static_cast<uint64_t>(magnitude - high * kPow10Narrow[16]);
    spellEight(static_cast<uint32_t>(low % 100000000), out, position);
    spellEight(static_cast<uint32_t>(low / 100000000), out, position);
    magnitude = high;
  }
  auto rest = static_cast<uint64_t>(magnitude);
  while (rest >= 100000000) {
    spellEight(static_cast<uint32_t>(rest % 100000000), out, position);
    rest /= 100000000;
  }
  // A zero left over in front of groups already written is no digit of its own.
  if (rest != 0 || position == n) spellShort(static_cast<uint32_t>(rest), out, position);
  while (position > 0) out[--position] = static_cast<Char>('0');
  return n;
}

// The record of n canonical digits (no leading zero but the one before the
// point) with scale decimals; currency fields are left alone. digits holds
// at least kDigits + 1 characters, zeros after the n digits, so the String is
// copied whole.
inline void writeDigits(MATH_NUMERIC &out, const char *digits, int n, int scale, bool negative) noexcept {
  n = std::min(n, kDigits);
  std::memcpy(out.String, digits, sizeof out.String);
  out.String[kDigits] = '\0';
  out.Sign = negative ? '-' : '\0';
  out.nLength = static_cast<unsigned char>(n);
  out.nDecimalPosition = static_cast<short>(scale);
  out.nPrecision = kDigits;
}

// The canonical record of a fitted value; currency fields are left alone.
inline void write(MATH_NUMERIC &out, const Decimal &d) noexcept {
  char digits[40] = {};
  const int n = spellDigits(d.magnitude, d.scale + 1, digits);
  writeDigits(out, digits, n, d.scale, d.negative && d.magnitude != 0);
}

// True when the record is in the form write() leaves it: digits only up to
// the terminator, at least one before the point and no other leading zero.
// Its String then spells the value as it stands (n digits; nonzero tells
// whether any of them is not zero).
inline bool isCanonical(const MATH_NUMERIC &value, int &n, bool &nonzero) noexcept {
  n = 0;
  nonzero = false;
  // Eight characters at a time: the digits before the first non-digit, which
  // must be the terminator.
  if constexpr (std::endian::native == std::endian::little) {
    for (uint64_t word; n + 8 <= kDigits;) {
      std::memcpy(&word, value.String + n, 8);
      const int count = leadingDigits(word);
      const uint64_t mask = count == 8 ? ~uint64_t{0} : (uint64_t{1} << (8 * count)) - 1;
      nonzero = nonzero || ((word ^ 0x3030303030303030) & mask) != 0;
      n += count;
      if (count < 8) {
        if (((word >> (8 * count)) & 0xFF) != 0) return false;
        break;
      }
    }
  }
  for (; n < kDigits && value.String[n] != '\0'; ++n) {
    const char c = value.String[n];
    if (c < '0' || c > '9') return false;
    nonzero = nonzero || c != '0';
  }
  const int scale = value.nDecimalPosition;
  return scale >= 0 && n >= scale + 1 && (n == scale + 1 || value.String[0] != '0');
}

inline void writeZero(MATH_NUMERIC &out) noexcept { write(out, Decimal{}); }

// Fits and writes a result: ER_ERROR and zero when it cannot be held.
template <class U>
ID store(MATH_NUMERIC &out, const U &magnitude, int scale, bool negative) {
  Decimal d;
  if (!fit(magnitude, scale, negative, d)) {
    writeZero(out);
    return ER_ERROR;
  }
  write(out, d);
  return ER_SUCCESS;
}

// Result of an operation before it is written: ok is false on overflow.
struct Result {
  Decimal value;
  bool ok = true;
};

template <class U>
Result fitted(const U &magnitude, int scale, bool negative) {
  Result r;
  r.ok = fit(magnitude, scale, negative, r.value);
  if (!r.ok) r.value = Decimal{};
  return r;
}

template <class U>
Result addAligned(const U &x, bool xNegative, const U &y, bool yNegative, int scale) {
  if (xNegative == yNegative) return fitted(U(x + y), scale, xNegative);
  if (x >= y) return fitted(U(x - y), scale, xNegative);
  return fitted(U(y - x), scale, yNegative);
}

// a + b. kNarrow off forces the wide path (benchmark and tests).
template <bool kNarrow = true>
Result add(const Decimal &a, const Decimal &b) {
  const int scale = std::max(a.scale, b.scale);
  const int shiftA = scale - a.scale;
  const int shiftB = scale - b.scale;
  // Two addends below 10^37 cannot leave 128 bits, nor reach 10^38.
  if (kNarrow && a.magnitude < pow10<u128>(37 - shiftA) && b.magnitude < pow10<u128>(37 - shiftB)) {
    return addAligned(a.magnitude * pow10<u128>(shiftA), a.negative, b.magnitude * pow10<u128>(shiftB), b.negative,
                      scale);
  }
  return addAligned(U256(widen<U256>(a.magnitude) * pow10<U256>(shiftA)), a.negative,
                    U256(widen<U256>(b.magnitude) * pow10<U256>(shiftB)), b.negative, scale);
}

template <bool kNarrow = true>
Result subtract(const Decimal &a, Decimal b) {
  b.negative = !b.negative && b.magnitude != 0;
  return add<kNarrow>(a, b);
}

template <bool kNarrow = true>
Result multiply(const Decimal &a, const Decimal &b) {
  const int scale = a.scale + b.scale;
  const bool negative = a.negative != b.negative;
  if (kNarrow) {
    u128 product;
    if (!__builtin_mul_overflow(a.magnitude, b.magnitude, &product) && product < pow10<u128>(38)) {
      return fitted(product, scale, negative);
    }
  }
  return fitted(U256(widen<U256>(a.magnitude) * widen<U256>(b.magnitude)), scale, negative);
}

// Magnitude comparison at a common scale: -1, 0, 1.
inline int compareMagnitude(const Decimal &a, const Decimal &b) {
  const int scale = std::max(a.scale, b.scale);
  if (a.magnitude < pow10<u128>(kMaxPow10<u128> - (scale - a.scale)) &&
      b.magnitude < pow10<u128>(kMaxPow10<u128> - (scale - b.scale))) {
    const u128 x = a.magnitude * pow10<u128>(scale - a.scale);
    const u128 y = b.magnitude * pow10<u128>(scale - b.scale);
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  const U256 x = widen<U256>(a.magnitude) * pow10<U256>(scale - a.scale);
  const U256 y = widen<U256>(b.magnitude) * pow10<U256>(scale - b.scale);
  return x < y ? -1 : (x > y ? 1 : 0);
}

// Value rounded by a rule to exactly `places` decimals (padded when it has
// fewer), then fitted.
inline Result roundTo(const Decimal &value, int places, Rounding mode) {
  places = std::clamp(places, 0, kDigits);
  if (places >= value.scale) {
    return fitted(U256(widen<U256>(value.magnitude) * pow10<U256>(places - value.scale)), places, value.negative);
  }
  return fitted(rescale(value.magnitude, value.scale, places, mode, value.negative), places, value.negative);
}

// magnitude * 10^shift, in U.
template <class U>
U scaled(u128 magnitude, int shift) {
  return widen<U>(magnitude) * pow10<U>(shift);
}

// True when magnitude * 10^shift stays below 10^37, so that a sum or an
// integer quotient of two such numbers is still a 128-bit value below 10^38.
inline bool fitsNarrow(u128 magnitude, int shift) noexcept {
  return shift <= 37 && magnitude < pow10<u128>(37 - shift);
}

struct Division {
  Result quotient;
  Result remainder;
  bool divisorZero = false;
};

// dividend / divisor with `places` decimals (negative or above 32: as many as
// fit), truncated or rounded half away from zero; the remainder is
// dividend - quotient * divisor (left zero unless withRemainder).
template <bool kNarrow = true>
Division divide(const Decimal &dividend, const Decimal &divisor, int places, bool round, bool withRemainder = true) {
  Division out;
  if (divisor.magnitude == 0) {
    out.divisorZero = true;
    return out;
  }
  const bool negative = dividend.negative != divisor.negative;
  const Rounding mode = round ? Rounding::HalfAwayFromZero : Rounding::TowardZero;
  if (places < 0 || places > kDigits) places = kDigits;

  // Integer digits of the quotient decide how many decimals fit. The digit
  // counts bound them from above (by at most one too many); only a bound that
  // would cut the decimals asked for needs the exact count, a division.
  const int up0 = std::max(divisor.scale - dividend.scale, 0);
  const int down0 = std::max(dividend.scale - divisor.scale, 0);
  const int bound = digitCount(dividend.magnitude) + up0 - (digitCount(divisor.magnitude) + down0) + 1;
  if (bound > kDigits || places > kDigits - std::max(bound, 1)) {
    const int integerDigits =
        kNarrow && fitsNarrow(dividend.magnitude, up0) && fitsNarrow(divisor.magnitude, down0)
            ? digitCount(u128(scaled<u128>(dividend.magnitude, up0) / scaled<u128>(divisor.magnitude, down0)))
            : digitCount(U256(scaled<U256>(dividend.magnitude, up0) / scaled<U256>(divisor.magnitude, down0)));
    if (integerDigits > kDigits) {
      out.quotient.ok = out.remainder.ok = false;
      return out;
    }
    places = std::min(places, kDigits - std::max(integerDigits, 1));
  }

  // quotient * 10^places = dividend * 10^up / (divisor * 10^down) on magnitudes.
  const int up = std::max(divisor.scale - dividend.scale + places, 0);
  const int down = std::max(dividend.scale - divisor.scale - places, 0);
  if (kNarrow && fitsNarrow(dividend.magnitude, up) && fitsNarrow(divisor.magnitude, down)) {
    out.quotient = fitted(
        divideRounded(scaled<u128>(dividend.magnitude, up), scaled<u128>(divisor.magnitude, down), mode, negative),
        places, negative);
  } else {
    out.quotient = fitted(
        divideRounded(scaled<U512>(dividend.magnitude, up), scaled<U512>(divisor.magnitude, down), mode, negative),
        places, negative);
  }

  if (!withRemainder) return out;
  // Remainder at the finer of the two scales it involves, exact before fitting.
  const Decimal &q = out.quotient.value;
  const int scale = std::max(dividend.scale, q.scale + divisor.scale);
  const int leftShift = scale - dividend.scale, rightShift = scale - q.scale - divisor.scale;
  const bool subtrahendNegative = !(q.negative != divisor.negative);
  u128 product;
  if (kNarrow && fitsNarrow(dividend.magnitude, leftShift) &&
      !__builtin_mul_overflow(q.magnitude, divisor.magnitude, &product) && fitsNarrow(product, rightShift)) {
    out.remainder = addAligned(scaled<u128>(dividend.magnitude, leftShift), dividend.negative,
                               scaled<u128>(product, rightShift), subtrahendNegative, scale);
  } else {
    out.remainder = addAligned(scaled<U512>(dividend.magnitude, leftShift), dividend.negative,
                               U512(widen<U512>(q.magnitude) * scaled<U512>(divisor.magnitude, rightShift)),
                               subtrahendNegative, scale);
  }
  return out;
}

}  // namespace vyr::math
