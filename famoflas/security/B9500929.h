/*
 * B9500929.h - the system-wide password policy.
 *
 * One row of F98QXSEC, user key "*POLICY" (index 2), holds the policy: its
 * five limits travel as one 245-byte binary value in column SRVBLOBA (the
 * PasswordPolicy record below, byte for byte), its record type QXTYP holds
 * "OSASE", and its audit columns (USER, PID, JOBN, UPMJ, UPMT) come from the
 * companion GetAuditInfo. A limit of zero switches its rule off.
 *
 * Add, Update, Get and Delete return ER_ERROR without an error of their own
 * when a table or handle operation fails; the caller reports. Every function
 * reports "4363" on item 0 for a null argument.
 */
#ifndef FAMOFLAS_SECURITY_B9500929_H
#define FAMOFLAS_SECURITY_B9500929_H

#include "frame/bsfn.h"

/*
 * The policy record (data structure of Add, Update, Get and Delete; Delete
 * reads none of it). The five members, 49 bytes each, are also the exact
 * layout of the SRVBLOBA value.
 *   mnMinimumLength       fewest characters              error "187A"
 *   mnMinimumNumerics     fewest digits 0-9              error "187B"
 *   mnMinimumCharacters   fewest letters A-Z, a-z        error "187Q"
 *   mnMaximumConsecutive  most places where a character
 *                         equals the next one            error "187C"
 *   mnMinimumSpecial      fewest other characters        error "187D"
 */
#define DSD9500929A_MEMBERS(M, S)     \
  M(S, MATH, mnMinimumLength, 0)      \
  M(S, MATH, mnMinimumNumerics, 0)    \
  M(S, MATH, mnMinimumCharacters, 0)  \
  M(S, MATH, mnMaximumConsecutive, 0) \
  M(S, MATH, mnMinimumSpecial, 0)
FAMOFLAS_DS(DSD9500929A, DSD9500929A_MEMBERS)
typedef DSD9500929A PasswordPolicy;

/* Bytes of the SRVBLOBA value: the five limits back to back. */
#define B9500929_POLICY_BLOB_SIZE 245
static_assert(sizeof(PasswordPolicy) == B9500929_POLICY_BLOB_SIZE, "policy record is five MATH_NUMERIC");

/*
 * Width of the candidate password: 256 characters. Policies that ask for a
 * pass-phrase need room well beyond the ten positions of a user id, and the
 * rules count JCHAR code units, so any text up to this width is checked as
 * typed (a longer one is cut at 256 by whoever fills the member).
 */
#define B9500929_PASSWORD_LENGTH 256

/*
 * Data structure of ValidatePasswordPolicyFromF98QXSEC.
 *   1 szPassword       in   the candidate password, any JCHAR text (empty too);
 *                           read up to its terminator or its full width
 *   2 cPolicyApplied   out  "1" when the policy's rules were applied to the
 *                           password (whether it passed or not); "0" when they
 *                           were not: passwords are checked by the directory
 *                           service (LDAP), or the policy could not be read.
 *                           A caller that must store a password itself tells
 *                           "accepted by the policy" from "left to the
 *                           directory" by this flag.
 *   3 szErrorId        out  id of the first broken rule ("187A", "187B",
 *                           "187C", "187D", "187Q"), blank when none broke.
 *                           The error itself is attached to this member, so a
 *                           caller maps its own field (the password entry) to
 *                           member 3 and finds the message there; callers that
 *                           do not walk the error list read the id here.
 *                           10 wide: the platform's error-id width.
 */
#define DSD9500929B_MEMBERS(M, S)                    \
  M(S, STRING, szPassword, B9500929_PASSWORD_LENGTH) \
  M(S, CHAR, cPolicyApplied, 0)                      \
  M(S, STRING, szErrorId, 10)
FAMOFLAS_DS(DSD9500929B, DSD9500929B_MEMBERS)

/* Member that rule violations are attached to. */
#define B9500929_RULE_ERROR_ITEM 3

/* Inserts the "*POLICY" row; ER_ERROR when it cannot (one exists already, say). */
FAMOFLAS_BSFN ID AddPasswordPolicyToF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
/* Rewrites the "*POLICY" row, inserting it when there is none. */
FAMOFLAS_BSFN ID UpdatePasswordPolicyToF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
/* Copies the five limits of the "*POLICY" row into lpDS; ER_ERROR when there is no such row. */
FAMOFLAS_BSFN ID GetPasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
/* Deletes the "*POLICY" row; ER_ERROR when nothing was deleted. */
FAMOFLAS_BSFN ID DeletePasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
/*
 * ER_SUCCESS when LDAP authentication is on, or when the password keeps every
 * rule whose limit is not zero. Otherwise ER_ERROR: with no error of its own
 * when the behaviour handle or the policy row cannot be had, else with the
 * first broken rule's error on member 3, rules checked in the order length,
 * digits, consecutive, special, letters. On those two ER_ERROR paths after the
 * handle was opened it is left open (the platform releases it with the
 * context).
 */
FAMOFLAS_BSFN ID ValidatePasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/*
 * The rules. Each takes a terminated password (null reads as empty) and one
 * limit, compared as a MATH_NUMERIC, and returns 1 when the password keeps
 * the rule, 0 when it breaks it. Length is the number of JCHAR before the
 * terminator.
 */
/* length + 1 > limit, i.e. at least limit characters. */
FAMOFLAS_INTERNAL int I9500929_CheckMinimumPasswordLength(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
/* At least limit digits; the walk covers the terminator position too. */
FAMOFLAS_INTERNAL int I9500929_CheckNumberOfNumerics(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
/* At least limit letters A-Z, a-z. */
FAMOFLAS_INTERNAL int I9500929_CheckMinimumCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
/*
 * Counts every place where a character equals the next one over the whole
 * password (runs are not reset: "aabb" counts 2, "aaa" counts 2); breaks the
 * rule as soon as the count exceeds the limit.
 */
FAMOFLAS_INTERNAL int I9500929_CheckMaximumConsecutiveCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
/* At least limit characters that are neither letters nor digits (blanks, punctuation, any non-ASCII). */
FAMOFLAS_INTERNAL int I9500929_CheckMinimumSpecialCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
/* 1 for code units 65-90 and 97-122, else 0. */
FAMOFLAS_INTERNAL int I9500929_isCharacter(JCHAR cCharacter);
/* 1 for code units 48-57, else 0. */
FAMOFLAS_INTERNAL int I9500929_isNumber(JCHAR cCharacter);

#endif /* FAMOFLAS_SECURITY_B9500929_H */
