// How cache records are ordered: segment definitions are checked once when a
// cache is created, then records (and record-shaped keys) are compared segment
// by segment, each by its type.
#pragma once

#include <cstddef>

#include "vyrcache.h"

namespace vyr::cache {

// True when every segment has a known type, a size that suits it and a
// position that does not overflow, and nSegments is 1..VYRCACHE_MAX_SEGMENTS.
bool validIndex(const VYRCACHE_INDEX &index) noexcept;

// Bytes a record needs so that every segment of the index lies inside it.
size_t indexExtent(const VYRCACHE_INDEX &index) noexcept;

// Negative, 0 or positive as the segment in left orders before, with or after
// the one in right. Both buffers are record-shaped: the segment is read at its
// position.
int compareSegment(const VYRCACHE_SEGMENT &segment, const unsigned char *left, const unsigned char *right) noexcept;

// Compares the first nKeys segments in turn.
int compareKeys(const VYRCACHE_SEGMENT *segments, int nKeys, const unsigned char *left,
                const unsigned char *right) noexcept;

// MATH_NUMERIC by value: 1.5 equals 1.50, -0 equals 0, leading zeros count
// for nothing. Malformed values (stray characters, decimal positions out of
// range) still get a fixed place, so the order stays consistent.
int compareMathNumeric(const MATH_NUMERIC &left, const MATH_NUMERIC &right) noexcept;

}  // namespace vyr::cache
