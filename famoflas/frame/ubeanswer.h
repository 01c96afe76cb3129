/*
 * ubeanswer.h - how the report-runtime accessors (N94NM16A, N94NM16B,
 * N94NM16C) hand the runtime's answers to an event rule.
 */
#ifndef FAMOFLAS_FRAME_UBEANSWER_H
#define FAMOFLAS_FRAME_UBEANSWER_H

#include "frame/bsfn.h"

/* Positions of a string member, terminator included. */
#define UBE_MEMBER_SIZE(member) (sizeof(member) / sizeof(JCHAR))

/* A yes/no answer, written as "TRUE" or "FALSE". */
static inline void UbeAnswerTrueFalse(JCHAR *lpszAnswer, BOOL bYes) {
  vyrStrcpy(lpszAnswer, bYes ? u"TRUE" : u"FALSE");
}

/* A runtime query that answers one 32-bit number. */
typedef BOOL (*LPFNUBENUMBER)(HREPORT hReport, int32_t *lpnValue);

/* What lpfnQuery answers for the report of lpBhvrCom; 0 when it answers nothing. */
static inline int32_t UbeNumber(LPBHVRCOM lpBhvrCom, LPFNUBENUMBER lpfnQuery) {
  int32_t nValue = 0;
  lpfnQuery((HREPORT)lpBhvrCom, &nValue);
  return nValue;
}

#endif /* FAMOFLAS_FRAME_UBEANSWER_H */
