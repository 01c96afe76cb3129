// Segment comparisons of cache indexes.
#include "cache/keys.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vyr::cache {
namespace {

// Records are packed, so every member is read through memcpy wherever it lies.
template <class T>
T readAt(const unsigned char *record, uint32_t position) noexcept {
  T value;
  std::memcpy(&value, record + position, sizeof value);
  return value;
}

template <class T>
int threeWay(T a, T b) noexcept {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// A MATH_NUMERIC laid out on a fixed grid: 32 integer positions right-aligned,
// then 32 fraction positions left-aligned, so magnitudes compare with memcmp.
struct FixedDecimal {
  bool negative = false;
  char digits[2 * MAXLEN_MATH_NUMERIC];
};

FixedDecimal toFixed(const MATH_NUMERIC &value) noexcept {
  FixedDecimal fixed;
  std::memset(fixed.digits, '0', sizeof fixed.digits);
  int length = 0;
  while (length < MAXLEN_MATH_NUMERIC && value.String[length] >= '0' && value.String[length] <= '9') ++length;
  const int decimals = std::clamp<int>(value.nDecimalPosition, 0, MAXLEN_MATH_NUMERIC);
  // Digit i of String stands at grid column (32 - (length - decimals)) + i.
  const int first = MAXLEN_MATH_NUMERIC - (length - decimals);
  bool zero = true;
  for (int i = 0; i < length; ++i) {
    const int column = first + i;
    if (column < 0 || column >= static_cast<int>(sizeof fixed.digits)) continue;
    fixed.digits[column] = value.String[i];
    if (value.String[i] != '0') zero = false;
  }
  fixed.negative = value.Sign == '-' && !zero;
  return fixed;
}

bool validSegment(const VYRCACHE_SEGMENT &segment) noexcept {
  if (segment.nSize == 0) return false;
  if (static_cast<uint64_t>(segment.nPosition) + segment.nSize > UINT32_MAX) return false;
  switch (segment.nType) {
    case VYRCACHE_KEY_BYTES:
      return true;
    case VYRCACHE_KEY_STRING:
      return segment.nSize % sizeof(JCHAR) == 0;
    case VYRCACHE_KEY_MATH:
      return segment.nSize == sizeof(MATH_NUMERIC);
    case VYRCACHE_KEY_INT:
      return segment.nSize == sizeof(int32_t);
    case VYRCACHE_KEY_DATE:
      return segment.nSize == sizeof(VYRDATE);
    case VYRCACHE_KEY_ID:
      return segment.nSize == sizeof(uint32_t);
    case VYRCACHE_KEY_UTIME:
      return segment.nSize == sizeof(UTIME);
    default:
      return false;
  }
}

}  // namespace

bool validIndex(const VYRCACHE_INDEX &index) noexcept {
  if (index.nSegments < 1 || index.nSegments > VYRCACHE_MAX_SEGMENTS) return false;
  return std::all_of(index.Segment, index.Segment + index.nSegments, validSegment);
}

size_t indexExtent(const VYRCACHE_INDEX &index) noexcept {
  size_t extent = 0;
  for (int i = 0; i < index.nSegments; ++i)
    extent = std::max<size_t>(extent, size_t{index.Segment[i].nPosition} + index.Segment[i].nSize);
  return extent;
}

int compareMathNumeric(const MATH_NUMERIC &left, const MATH_NUMERIC &right) noexcept {
  const FixedDecimal a = toFixed(left), b = toFixed(right);
  if (a.negative != b.negative) return a.negative ? -1 : 1;
  const int magnitude = std::memcmp(a.digits, b.digits, sizeof a.digits);
  const int sign = magnitude < 0 ? -1 : (magnitude > 0 ? 1 : 0);
  return a.negative ? -sign : sign;
}

int compareSegment(const VYRCACHE_SEGMENT &segment, const unsigned char *left, const unsigned char *right) noexcept {
  const uint32_t at = segment.nPosition;
  switch (segment.nType) {
    case VYRCACHE_KEY_STRING: {
      const uint32_t units = segment.nSize / sizeof(JCHAR);
      for (uint32_t i = 0; i < units; ++i) {
        const JCHAR a = readAt<JCHAR>(left, at + i * 2), b = readAt<JCHAR>(right, at + i * 2);
        if (a != b) return a < b ? -1 : 1;
        if (a == 0) return 0;
      }
      return 0;
    }
    case VYRCACHE_KEY_MATH:
      return compareMathNumeric(readAt<MATH_NUMERIC>(left, at), readAt<MATH_NUMERIC>(right, at));
    case VYRCACHE_KEY_INT:
      return threeWay(readAt<int32_t>(left, at), readAt<int32_t>(right, at));
    case VYRCACHE_KEY_ID:
      return threeWay(readAt<uint32_t>(left, at), readAt<uint32_t>(right, at));
    case VYRCACHE_KEY_DATE: {
      const auto a = readAt<VYRDATE>(left, at), b = readAt<VYRDATE>(right, at);
      if (a.nYear != b.nYear) return threeWay(a.nYear, b.nYear);
      if (a.nMonth != b.nMonth) return threeWay(a.nMonth, b.nMonth);
      return threeWay(a.nDay, b.nDay);
    }
    case VYRCACHE_KEY_UTIME: {
      // The instant alone decides; the display zone is presentation. Null
      // timestamps come before every set one.
      const auto a = readAt<UTIME>(left, at), b = readAt<UTIME>(right, at);
      if ((a.cSet == 0) != (b.cSet == 0)) return a.cSet == 0 ? -1 : 1;
      if (a.cSet == 0) return 0;
      return threeWay(a.llMicroseconds, b.llMicroseconds);
    }
    default: {
      const int c = std::memcmp(left + at, right + at, segment.nSize);
      return c < 0 ? -1 : (c > 0 ? 1 : 0);
    }
  }
}

int compareKeys(const VYRCACHE_SEGMENT *segments, int nKeys, const unsigned char *left,
                const unsigned char *right) noexcept {
  for (int i = 0; i < nKeys; ++i)
    if (const int c = compareSegment(segments[i], left, right); c != 0) return c;
  return 0;
}

}  // namespace vyr::cache
