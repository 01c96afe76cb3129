/*
 * X00500ED.h - amounts in German words, digit by digit, for cheques:
 * ConvertNumbersToWordsED spells the euro digits and the cent digits with the
 * currency words ("EINS-ZWEI Euro FUENF-NULL Cents"). The data structure is
 * shared with ConvertNumbersToWordsGERMANY (X00500D.h).
 *
 * The text is padded with '*' to 70 characters. An amount of 12 or more
 * digits (decimals included), or whose words would pass 70 characters, is
 * written as formatted digits instead. The sign is never written in words.
 */
#ifndef FAMOFLAS_UTILITIES_X00500ED_H
#define FAMOFLAS_UTILITIES_X00500ED_H

#include "frame/bsfn.h"

#define X00500_WORDS_LENGTH 100
/* The field the words fill, padded with asterisks. */
#define X00500_FIELD_LENGTH 70
/* Amounts of this many digits or more are written as digits. */
#define X00500_MAX_SPELLED_DIGITS 12

#define DSDX00500_MEMBERS(M, S)  \
  M(S, MATH, mnAmount, 0)        \
  M(S, STRING, szAmountInWords, X00500_WORDS_LENGTH)
FAMOFLAS_DS(DSDX00500, DSDX00500_MEMBERS)

FAMOFLAS_BSFN ID ConvertNumbersToWordsED(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_UTILITIES_X00500ED_H */
