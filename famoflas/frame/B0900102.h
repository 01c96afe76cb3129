/*
 * B0900102 - WriteToVYRLog: writes its data structure, formatted, to the
 * debug trace. MDDebug (MD_DEBUG) shows the same text in a message box.
 *
 * Member widths: the comment holds 80 characters, each of the five strings 40.
 * The five values and the three short integers are 16-bit; the two long
 * integers are 32-bit.
 */
#ifndef B0900102_H
#define B0900102_H

#include "frame/bsfn.h"

#define DSD0900102_MEMBERS(M, S) \
  M(S, STRING, szComment, 80)    \
  M(S, STRING, szString1, 40)    \
  M(S, STRING, szString2, 40)    \
  M(S, STRING, szString3, 40)    \
  M(S, STRING, szString4, 40)    \
  M(S, STRING, szString5, 40)    \
  M(S, CHAR, cCharacter1, 0)     \
  M(S, CHAR, cCharacter2, 0)     \
  M(S, CHAR, cCharacter3, 0)     \
  M(S, CHAR, cCharacter4, 0)     \
  M(S, CHAR, cCharacter5, 0)     \
  M(S, SHORT, nValue1, 0)        \
  M(S, SHORT, nValue2, 0)        \
  M(S, SHORT, nValue3, 0)        \
  M(S, SHORT, nValue4, 0)        \
  M(S, SHORT, nValue5, 0)        \
  M(S, DATE, jdDate1, 0)         \
  M(S, DATE, jdDate2, 0)         \
  M(S, DATE, jdDate3, 0)         \
  M(S, DATE, jdDate4, 0)         \
  M(S, DATE, jdDate5, 0)         \
  M(S, MATH, mnNumeric1, 0)      \
  M(S, MATH, mnNumeric2, 0)      \
  M(S, MATH, mnNumeric3, 0)      \
  M(S, MATH, mnNumeric4, 0)      \
  M(S, MATH, mnNumeric5, 0)      \
  M(S, INT, nLong1, 0)           \
  M(S, INT, nLong2, 0)           \
  M(S, SHORT, nShort1, 0)        \
  M(S, SHORT, nShort2, 0)        \
  M(S, SHORT, nShort3, 0)
FAMOFLAS_DS(DSD0900102, DSD0900102_MEMBERS)

/* Room for the longest text FormatDebugDataStructure writes, terminator included. */
#define DEBUG_DS_TEXT_SIZE 2048

/* The text both functions show for lpDS (lines separated by '\n'). */
void FormatDebugDataStructure(const DSD0900102 *lpDS, JCHAR *lpszOut, size_t nSize);

FAMOFLAS_BSFN ID WriteToVYRLog(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* B0900102_H */
