// The password policy: maintenance of the "*POLICY" row of F98QXSEC and the
// rules a candidate password is checked against.
#include "security/B9500929.h"

#include <string.h>

#include "frame/companions.h"
#include "vyrrecord.h"

namespace {

const char kSource[] = "B9500929";

const JCHAR kTable[] = u"F98QXSEC";
const ID kPolicyIndex = 2;
const JCHAR kPolicyUserKey[] = u"*POLICY";
const JCHAR kRecordType[] = u"OSASE";
const JCHAR kBlobColumn[] = u"SRVBLOBA";
// Full four-digit year both ways, so that the audit date's round trip through
// text cannot shift its century whatever the user's display format.
const JCHAR kAuditDateMask[] = u"YYYYMMDD";

// The columns the policy functions read and write, in the order of PolicyRow.
const NID kPolicyColumns[] = {u"QXUSR", u"QXTYP", u"SRVBLOBA", u"USER", u"PID", u"JOBN", u"UPMJ", u"UPMT"};
const ID kPolicyColumnCount = sizeof kPolicyColumns / sizeof kPolicyColumns[0];

#pragma pack(push, 1)
typedef struct {
  JCHAR szUserKey[11];         // QXUSR
  JCHAR szRecordType[11];      // QXTYP
  void *lpPolicy;              // SRVBLOBA
  JCHAR szUserId[11];          // USER
  JCHAR szProgramId[11];       // PID
  JCHAR szWorkstationId[11];   // JOBN
  VYRDATE jdDateUpdated;       // UPMJ
  MATH_NUMERIC mnTimeUpdated;  // UPMT
} PolicyRow;
VYR_ROW_RECORD(PolicyRow, F98QXSEC);
VYR_ROW_MEMBER(PolicyRow, szRecordType, F98QXSEC, QXTYP);
VYR_ROW_MEMBER(PolicyRow, lpPolicy, F98QXSEC, SRVBLOBA);
VYR_ROW_MEMBER(PolicyRow, szUserId, F98QXSEC, USER);
VYR_ROW_MEMBER(PolicyRow, szProgramId, F98QXSEC, PID);
VYR_ROW_MEMBER(PolicyRow, szWorkstationId, F98QXSEC, JOBN);
VYR_ROW_MEMBER(PolicyRow, jdDateUpdated, F98QXSEC, UPMJ);
VYR_ROW_MEMBER(PolicyRow, mnTimeUpdated, F98QXSEC, UPMT);

// Key of index 2: the user key alone.
typedef struct {
  JCHAR szUserKey[11];
} PolicyKey;
VYR_KEY_RECORD(PolicyKey, F98QXSEC, 2);
#pragma pack(pop)

void BuildPolicyKey(PolicyKey *lpKey) {
  memset(lpKey, 0, sizeof *lpKey);
  vyrStrcpyFillAndTerminate(lpKey->szUserKey, kPolicyUserKey, 11, 0);
}

// Opens a behaviour handle and F98QXSEC under index 2 with the policy
// columns; FALSE, with nothing left open, when either fails.
BOOL OpenPolicyTable(LPBHVRCOM lpBhvrCom, HUSER *lphUser, HREQUEST *lphRequest) {
  *lphUser = NULL;
  *lphRequest = NULL;
  if (VDB_InitBhvr(lpBhvrCom, lphUser, NULL, 0) != VDB_SUCCESS) return FALSE;
  if (VDB_OpenTable(*lphUser, kTable, kPolicyIndex, kPolicyColumns, kPolicyColumnCount, NULL, lphRequest) ==
      VDB_SUCCESS)
    return TRUE;
  VDB_FreeBhvr(*lphUser);
  return FALSE;
}

void ClosePolicyTable(HUSER hUser, HREQUEST hRequest) {
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
}

// Fetches the "*POLICY" row: VDB_SUCCESS, VDB_NOT_FOUND when there is none, anything else when the fetch failed.
ID FetchPolicyRow(HREQUEST hRequest, const PolicyKey *lpKey, PolicyRow *lpRow) {
  return VDB_FetchKeyed(hRequest, kPolicyIndex, lpKey, 1, lpRow, 0);
}

// The five limits in their stored form, 49 bytes each.
void PackPolicy(unsigned char *lpBlob, const PasswordPolicy *lpPolicy) {
  memset(lpBlob, 0, B9500929_POLICY_BLOB_SIZE);
  const MATH_NUMERIC *lpLimits[] = {&lpPolicy->mnMinimumLength, &lpPolicy->mnMinimumNumerics,
                                    &lpPolicy->mnMinimumCharacters, &lpPolicy->mnMaximumConsecutive,
                                    &lpPolicy->mnMinimumSpecial};
  for (int i = 0; i < 5; ++i) MathCopy((LPMATH_NUMERIC)(lpBlob + i * sizeof(MATH_NUMERIC)), lpLimits[i]);
}

/*
 * Fills the row to be written: key, record type, the policy bytes (lpBlob must
 * live until the write) and the audit stamp of GetAuditInfo. FALSE when the
 * stamp cannot be had; the companion has then said why.
 */
BOOL BuildPolicyRow(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, const PasswordPolicy *lpPolicy, unsigned char *lpBlob,
                    PolicyRow *lpRow) {
  DSGETAUDITINFO dsAudit;
  memset(&dsAudit, 0, sizeof dsAudit);
  memset(lpRow, 0, sizeof *lpRow);
  if (vyrCallObject(u"GetAuditInfo", NULL, lpBhvrCom, lpVoid, &dsAudit, NULL, 0, NULL, 0, 0) == ER_ERROR) return FALSE;

  vyrStrcpyFillAndTerminate(lpRow->szUserKey, kPolicyUserKey, 11, 0);
  vyrStrcpyFillAndTerminate(lpRow->szRecordType, kRecordType, 11, 0);
  PackPolicy(lpBlob, lpPolicy);
  lpRow->lpPolicy = lpBlob;
  vyrStrcpyFillAndTerminate(lpRow->szUserId, dsAudit.szUserId, 11, 0);
  vyrStrcpyFillAndTerminate(lpRow->szProgramId, dsAudit.szProgramId, 11, 0);
  vyrStrcpyFillAndTerminate(lpRow->szWorkstationId, dsAudit.szWorkstationId, 11, 0);

  // The stamp's date enters the row through its text form, which also
  // normalises a date off the calendar; unreadable text leaves it null.
  JCHAR szDate[41];
  memset(szDate, 0, sizeof szDate);
  FormatDate(szDate, &dsAudit.jdDate, kAuditDateMask);
  DeformatDate(&lpRow->jdDateUpdated, szDate, kAuditDateMask);
  MathCopy(&lpRow->mnTimeUpdated, &dsAudit.mnTime);
  return TRUE;
}

// Declares the policy bytes and writes the row: rewritten under lpKey, or
// inserted when lpKey is NULL or the row to rewrite has gone meanwhile. TRUE when written.
BOOL WritePolicyRow(HREQUEST hRequest, const PolicyKey *lpKey, const PolicyRow *lpRow) {
  if (VDB_SetBLOBSize(hRequest, kBlobColumn, B9500929_POLICY_BLOB_SIZE) != VDB_SUCCESS) return FALSE;
  if (lpKey != NULL) {
    const ID idUpdated = VDB_UpdateTable(hRequest, kPolicyIndex, lpKey, 1, lpRow);
    if (idUpdated != VDB_NOT_FOUND) return idUpdated == VDB_SUCCESS;
  }
  return VDB_InsertTable(hRequest, lpRow) == VDB_SUCCESS;
}

/*
 * Add and Update: builds the row from the policy record and inserts it, or
 * rewrites the row that is there when bRewriteExisting. nLine is the caller's,
 * for the argument check.
 */
ID StorePolicy(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS, BOOL bRewriteExisting, int nLine) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  PolicyKey key;
  PolicyRow fetched;
  PolicyRow row;
  unsigned char policyBytes[B9500929_POLICY_BLOB_SIZE];
  BuildPolicyKey(&key);
  memset(&fetched, 0, sizeof fetched);
  memset(&row, 0, sizeof row);
  memset(policyBytes, 0, sizeof policyBytes);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, nLine)) return ER_ERROR;

  if (!OpenPolicyTable(lpBhvrCom, &hUser, &hRequest)) return ER_ERROR;
  const ID idFound = bRewriteExisting ? FetchPolicyRow(hRequest, &key, &fetched) : VDB_NOT_FOUND;
  ID idResult = ER_ERROR;
  // A fetch that failed tells nothing about the row: an insert now could meet it, or create it behind a failure.
  if ((idFound == VDB_SUCCESS || idFound == VDB_NOT_FOUND) &&
      BuildPolicyRow(lpBhvrCom, lpVoid, (const PasswordPolicy *)lpVoidDS, policyBytes, &row) &&
      WritePolicyRow(hRequest, idFound == VDB_SUCCESS ? &key : NULL, &row))
    idResult = ER_SUCCESS;
  ClosePolicyTable(hUser, hRequest);
  return idResult;
}

// A null password reads as empty.
const JCHAR *PasswordText(const JCHAR *lpszPassword) { return lpszPassword == NULL ? u"" : lpszPassword; }

// Number of JCHAR before the terminator.
int PasswordLength(const JCHAR *lpszPassword) { return (int)vyrStrlen(PasswordText(lpszPassword)); }

// MATH_NUMERIC form of a count, for comparisons with a limit.
void CountToMath(int nCount, LPMATH_NUMERIC lpValue) {
  ZeroMathNumeric(lpValue);
  IntToMathNumeric(nCount, lpValue);
}

typedef int (*CharacterTest)(JCHAR cCharacter);

int IsSpecial(JCHAR cCharacter) { return I9500929_isCharacter(cCharacter) == 0 && I9500929_isNumber(cCharacter) == 0; }

/*
 * Walks positions 0 to nLast and passes as soon as the characters counted so
 * far reach the limit; fails when the walk ends first.
 */
int CountReachesLimit(const JCHAR *lpszPassword, int nLast, const MATH_NUMERIC *lpLimit, CharacterTest fnCounts) {
  MATH_NUMERIC mnCount;
  int nCount = 0;
  for (int i = 0; i <= nLast; ++i) {
    if (fnCounts(lpszPassword[i])) ++nCount;
    CountToMath(nCount, &mnCount);
    if (MathCompare(&mnCount, lpLimit) >= 0) return 1;
  }
  return 0;
}

// One step of the validation order: its limit, its check and its error.
typedef struct {
  const MATH_NUMERIC *lpLimit;
  int (*fnCheck)(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit);
  const JCHAR *lpszErrorId;
} PolicyRule;

}  // namespace

/* ---- The rules ---------------------------------------------------------------- */

FAMOFLAS_INTERNAL int I9500929_isCharacter(JCHAR cCharacter) {
  return (cCharacter >= 65 && cCharacter <= 90) || (cCharacter >= 97 && cCharacter <= 122) ? 1 : 0;
}

FAMOFLAS_INTERNAL int I9500929_isNumber(JCHAR cCharacter) { return cCharacter >= 48 && cCharacter <= 57 ? 1 : 0; }

FAMOFLAS_INTERNAL int I9500929_CheckMinimumPasswordLength(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit) {
  MATH_NUMERIC mnLengthPlusOne;
  CountToMath(PasswordLength(lpszPassword) + 1, &mnLengthPlusOne);
  return MathCompare(&mnLengthPlusOne, &mnLimit) > 0 ? 1 : 0;
}

FAMOFLAS_INTERNAL int I9500929_CheckNumberOfNumerics(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit) {
  // The terminator's position is visited as well; it is never a digit.
  return CountReachesLimit(PasswordText(lpszPassword), PasswordLength(lpszPassword), &mnLimit, I9500929_isNumber);
}

FAMOFLAS_INTERNAL int I9500929_CheckMinimumCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit) {
  return CountReachesLimit(PasswordText(lpszPassword), PasswordLength(lpszPassword) - 1, &mnLimit,
                           I9500929_isCharacter);
}

FAMOFLAS_INTERNAL int I9500929_CheckMinimumSpecialCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit) {
  return CountReachesLimit(PasswordText(lpszPassword), PasswordLength(lpszPassword) - 1, &mnLimit, IsSpecial);
}

FAMOFLAS_INTERNAL int I9500929_CheckMaximumConsecutiveCharacters(const JCHAR *lpszPassword, MATH_NUMERIC mnLimit) {
  const JCHAR *lpszText = PasswordText(lpszPassword);
  const int nLength = PasswordLength(lpszText);
  MATH_NUMERIC mnPairs;
  int nPairs = 0;
  // One counter for the whole password: "aabb" has two equal pairs.
  for (int i = 0; i < nLength; ++i) {
    if (lpszText[i] == lpszText[i + 1]) ++nPairs;
    CountToMath(nPairs, &mnPairs);
    if (MathCompare(&mnPairs, &mnLimit) > 0) return 0;
  }
  return 1;
}

/* ---- Maintenance of the policy row ---------------------------------------------- */

FAMOFLAS_BSFN ID AddPasswordPolicyToF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return StorePolicy(lpBhvrCom, lpVoid, lpVoidDS, FALSE, __LINE__);
}
FAMOFLAS_REGISTER(AddPasswordPolicyToF98QXSEC, &DSD9500929A_template, "B9500929")

FAMOFLAS_BSFN ID UpdatePasswordPolicyToF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  return StorePolicy(lpBhvrCom, lpVoid, lpVoidDS, TRUE, __LINE__);
}
FAMOFLAS_REGISTER(UpdatePasswordPolicyToF98QXSEC, &DSD9500929A_template, "B9500929")

FAMOFLAS_BSFN ID GetPasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  PolicyKey key;
  PolicyRow row;
  BuildPolicyKey(&key);
  memset(&row, 0, sizeof row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  PasswordPolicy *lpDS = (PasswordPolicy *)lpVoidDS;

  if (!OpenPolicyTable(lpBhvrCom, &hUser, &hRequest)) return ER_ERROR;
  ID idResult = ER_ERROR;
  if (FetchPolicyRow(hRequest, &key, &row) == VDB_SUCCESS) {
    // A value shorter than the record (written by something else) is not a policy.
    uint32_t nBytes = 0;
    if (row.lpPolicy != NULL && VDB_GetBLOBSize(hRequest, kBlobColumn, &nBytes) == VDB_SUCCESS &&
        nBytes >= B9500929_POLICY_BLOB_SIZE) {
      const unsigned char *lpBlob = (const unsigned char *)row.lpPolicy;
      LPMATH_NUMERIC lpLimits[] = {&lpDS->mnMinimumLength, &lpDS->mnMinimumNumerics, &lpDS->mnMinimumCharacters,
                                   &lpDS->mnMaximumConsecutive, &lpDS->mnMinimumSpecial};
      for (int i = 0; i < 5; ++i) MathCopy(lpLimits[i], (const MATH_NUMERIC *)(lpBlob + i * sizeof(MATH_NUMERIC)));
      idResult = ER_SUCCESS;
    }
  }
  ClosePolicyTable(hUser, hRequest);
  return idResult;
}
FAMOFLAS_REGISTER(GetPasswordPolicyFromF98QXSEC, &DSD9500929A_template, "B9500929")

FAMOFLAS_BSFN ID DeletePasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  PolicyKey key;
  BuildPolicyKey(&key);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;

  if (!OpenPolicyTable(lpBhvrCom, &hUser, &hRequest)) return ER_ERROR;
  const ID idResult = VDB_DeleteTable(hRequest, kPolicyIndex, &key, 1) == VDB_SUCCESS ? ER_SUCCESS : ER_ERROR;
  ClosePolicyTable(hUser, hRequest);
  return idResult;
}
FAMOFLAS_REGISTER(DeletePasswordPolicyFromF98QXSEC, &DSD9500929A_template, "B9500929")

/* ---- Validation -------------------------------------------------------------------- */

FAMOFLAS_BSFN ID ValidatePasswordPolicyFromF98QXSEC(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  PasswordPolicy policy;
  MATH_NUMERIC mnZero;
  JCHAR szPassword[B9500929_PASSWORD_LENGTH + 1];
  int nLdapEnabled = 0;
  memset(&policy, 0, sizeof policy);
  memset(szPassword, 0, sizeof szPassword);
  ZeroMathNumeric(&mnZero);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD9500929B lpDS = (LPDSD9500929B)lpVoidDS;

  // The member may arrive filled to its last position: read at most its width.
  vyrStrncpy(szPassword, lpDS->szPassword, B9500929_PASSWORD_LENGTH + 1);
  lpDS->cPolicyApplied = u'0';
  vyrStrcpyFillAndTerminate(lpDS->szErrorId, u"", 11, 0);

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) return ER_ERROR;

  // Passwords checked by the directory service are not ours to judge.
  vyrSecIsLDAPAuthenticationEnabled(hUser, &nLdapEnabled);
  if (nLdapEnabled != 0) {
    VDB_FreeBhvr(hUser);
    return ER_SUCCESS;
  }

  // From here the failure returns leave hUser open; the context releases it.
  if (GetPasswordPolicyFromF98QXSEC(lpBhvrCom, lpVoid, &policy) != ER_SUCCESS) return ER_ERROR;
  lpDS->cPolicyApplied = u'1';

  // Letters come last although they are third in the record.
  const PolicyRule rules[] = {
      {&policy.mnMinimumLength, I9500929_CheckMinimumPasswordLength, u"187A"},
      {&policy.mnMinimumNumerics, I9500929_CheckNumberOfNumerics, u"187B"},
      {&policy.mnMaximumConsecutive, I9500929_CheckMaximumConsecutiveCharacters, u"187C"},
      {&policy.mnMinimumSpecial, I9500929_CheckMinimumSpecialCharacters, u"187D"},
      {&policy.mnMinimumCharacters, I9500929_CheckMinimumCharacters, u"187Q"},
  };
  for (const PolicyRule &rule : rules) {
    if (MathCompare(rule.lpLimit, &mnZero) == 0) continue;
    if (rule.fnCheck(szPassword, *rule.lpLimit) == 0) {
      vyrStrcpyFillAndTerminate(lpDS->szErrorId, rule.lpszErrorId, 11, 0);
      vyrErrorSetEx(lpBhvrCom, lpVoid, B9500929_RULE_ERROR_ITEM, rule.lpszErrorId, NULL, kSource, __LINE__);
      return ER_ERROR;
    }
  }

  VDB_FreeBhvr(hUser);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(ValidatePasswordPolicyFromF98QXSEC, &DSD9500929B_template, "B9500929")
