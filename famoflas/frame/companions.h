/*
 * companions.h - data structures of the companion business functions that the
 * library calls by name (they live in libfamoflascompanions.so). One
 * description serves both sides: the library fills the record, the companion
 * includes this header for its own definition and template.
 */
#ifndef FAMOFLAS_FRAME_COMPANIONS_H
#define FAMOFLAS_FRAME_COMPANIONS_H

#include "frame/bsfn.h"

/*
 * ReviseDecimalSeparatorInString (source object C0000500): rewrites the
 * separators of a number text so that it reads as meant.
 *
 *  szNumericString        in/out  the number text (sign, blanks and other
 *                                 characters are kept where they are)
 *  cRevisionMode          in      '1': to the form ParseNumericString reads under
 *                                      the current number format (decimal mark of
 *                                      that format, no grouping);
 *                                 '2': to program form ('.' decimal mark, no
 *                                      grouping), as vyrAtof reads it
 *  cEitherMarkIsDecimal   in      'Y': the decimal mark is recognised whichever of
 *                                      '.' and ',' the user typed: a mark that
 *                                      occurs once and is the last mark of the
 *                                      text is the decimal mark, every other
 *                                      mark is grouping;
 *                                 otherwise only the current format's decimal
 *                                      mark is decimal and its other mark is
 *                                      grouping
 * Returns ER_SUCCESS; ER_ERROR with "4363" on item 2 for an unknown mode.
 */
#define DSREVISEDECSEP_STRING_LENGTH 40
#define DSREVISEDECSEP_MEMBERS(M, S)                                  \
  M(S, STRING, szNumericString, DSREVISEDECSEP_STRING_LENGTH)         \
  M(S, CHAR, cRevisionMode, 0)                                        \
  M(S, CHAR, cEitherMarkIsDecimal, 0)
FAMOFLAS_DS(DSREVISEDECSEP, DSREVISEDECSEP_MEMBERS)

#endif /* FAMOFLAS_FRAME_COMPANIONS_H */
