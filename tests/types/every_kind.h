// One member of every kind: the data structure the layout check walks and the
// command's echo function fills from JSON.
#pragma once

#define EVERY_KIND_MEMBERS(M, S) \
  M(S, STRING, szText, 10)       \
  M(S, CHAR, cFlag, 0)           \
  M(S, MATH, mnAmount, 0)        \
  M(S, DATE, jdDate, 0)          \
  M(S, UTIME, utStamp, 0)        \
  M(S, INT, nCount, 0)           \
  M(S, ID, idHandle, 0)          \
  M(S, SHORT, nSmall, 0)         \
  M(S, POINTER, lpAny, 0)        \
  M(S, BYTES, abRaw, 4)
