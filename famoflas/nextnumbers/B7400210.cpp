// NextNumberInquiry: the number the next-number tables would hand out next.
#include "nextnumbers/B7400210.h"

#include <string.h>

namespace {

const char kSource[] = "B7400210";

// Weights of the 8 digits of the check digit, from the left.
const int kCheckDigitWeights[8] = {256, 128, 64, 32, 16, 8, 4, 2};
// Printed width of a number for the check digit and the imbedded digits.
const int kPrintedDigits = 8;
// Room for a printed unsigned long and its terminator.
const size_t kPrintedSize = 24;

BOOL IsBlankOrOneBlank(const JCHAR *lpsz) { return lpsz[0] == 0 || (lpsz[0] == u' ' && lpsz[1] == 0); }

// TRUE when the F0002 row of the key was read. The one place the inquiry
// decides that the system has no row.
BOOL FetchSystemRow(HREQUEST hRequest, const KEY1_F0002 *lpKey, ROW_F0002 *lpRow) {
  return VDB_FetchKeyed(hRequest, 1, lpKey, 1, lpRow, 0) == VDB_SUCCESS;
}

// TRUE when the F00021 row of the key was read.
BOOL FetchCompanyRow(HREQUEST hRequest, const KEY1_F00021 *lpKey, ROW_F00021 *lpRow) {
  return VDB_FetchKeyed(hRequest, 1, lpKey, 4, lpRow, 0) == VDB_SUCCESS;
}

// TRUE when mnValue + 1 was written to lpResult.
BOOL AddOne(MATH_NUMERIC *lpResult, const MATH_NUMERIC *lpValue) {
  MATH_NUMERIC mnOne;
  IntToMathNumeric(1, &mnOne);
  return MathAdd(lpResult, lpValue, &mnOne) == ER_SUCCESS;
}

// mnNextNumber printed as the check digit and imbedding read it: at least 8
// digits with leading zeros; returns the count printed.
int PrintNextNumber(const DSNEXTNUMBER *lpDS, JCHAR *lpszOut) {
  const unsigned long ulNumber = (unsigned long)MathNumericToLong(&lpDS->mnNextNumber);
  return vyrSprintf(lpszOut, u"%08lu", ulNumber);
}

// The documents of one ledger table as the duplicate search reads them.
typedef struct {
  const JCHAR *lpszTable;
  const NID *lpColumns;
  ID nColumns;
  BOOL bGeneralLedger;  // F0911: columns KCO, DCT, DOC; key DCT, DOC, KCO
} LEDGERTABLE;

const LEDGERTABLE kPayables = {u"F0411", kLedgerDocColumns, NEXTNUMBER_COLUMN_COUNT(kLedgerDocColumns), FALSE};
const LEDGERTABLE kReceivables = {u"F03B11", kLedgerDocColumns, NEXTNUMBER_COLUMN_COUNT(kLedgerDocColumns), FALSE};
const LEDGERTABLE kGeneralLedger = {u"F0911", kF0911DocColumns, NEXTNUMBER_COLUMN_COUNT(kF0911DocColumns), TRUE};

// TRUE when the ledger holds a document with the number, type and company.
// The one place the duplicate search decides that a number is free.
BOOL DocumentExists(HREQUEST hRequest, const LEDGERTABLE *lpTable, const MATH_NUMERIC *lpDocument,
                    const DSNEXTNUMBER *lpDS) {
  ROW_LEDGERDOC docKey;
  KEY1_F0911 glKey;
  ROW_F0911DOC glRow;
  memset(&docKey, 0, sizeof docKey);
  memset(&glKey, 0, sizeof glKey);
  if (lpTable->bGeneralLedger) {
    vyrStrcpyFillAndTerminate(glKey.szDocumentType, lpDS->szDocumentType, 3, 0);
    MathCopy(&glKey.mnDocument, lpDocument);
    vyrStrcpyFillAndTerminate(glKey.szCompany, lpDS->szCompany, 6, 0);
    return VDB_FetchKeyed(hRequest, 1, &glKey, 3, &glRow, 0) == VDB_SUCCESS;
  }
  MathCopy(&docKey.mnDocument, lpDocument);
  vyrStrcpyFillAndTerminate(docKey.szDocumentType, lpDS->szDocumentType, 3, 0);
  vyrStrcpyFillAndTerminate(docKey.szCompany, lpDS->szCompany, 6, 0);
  ROW_LEDGERDOC row;
  return VDB_FetchKeyed(hRequest, 1, &docKey, 3, &row, 0) == VDB_SUCCESS;
}

// Moves mnNextNumber up to the first number the ledger does not hold.
ID PushPastDocuments(DSNEXTNUMBER *lpDS, HUSER hUser, const LEDGERTABLE *lpTable) {
  HREQUEST hRequest = NULL;
  if (lpDS == NULL) return 0;
  if (VDB_OpenTable(hUser, lpTable->lpszTable, 1, lpTable->lpColumns, lpTable->nColumns, NULL, &hRequest) !=
      VDB_SUCCESS)
    return 0;  // no ledger to look in: the number stands
  MATH_NUMERIC mnDocument;
  MathCopy(&mnDocument, &lpDS->mnNextNumber);
  while (DocumentExists(hRequest, lpTable, &mnDocument, lpDS)) {
    if (!AddOne(&mnDocument, &mnDocument)) break;
  }
  MathCopy(&lpDS->mnNextNumber, &mnDocument);
  VDB_CloseTable(hRequest);
  return 0;
}

// Compares a system code with a literal, trailing blanks of the code ignored.
BOOL SystemCodeIs(const JCHAR *lpszSystemCode, const JCHAR *lpszWanted) {
  JCHAR szCode[5];
  vyrStrcpyFillAndTerminate(szCode, lpszSystemCode, 5, 0);
  vyrStripTrailingBlanks(szCode);
  return vyrStrcmp(szCode, lpszWanted) == 0;
}

// Fills the key of F00021 for one company; FALSE when method "2" gets a bad year.
BOOL BuildCompanyKey(const DSNEXTNUMBER *lpDS, JCHAR cMethod, const JCHAR *lpszCompany, KEY1_F00021 *lpKey) {
  memset(lpKey, 0, sizeof *lpKey);
  vyrStrcpyFillAndTerminate(lpKey->szCompany, lpszCompany, 6, 0);
  vyrStrcpyFillAndTerminate(lpKey->szDocumentType, lpDS->szDocumentType, 3, 0);
  if (cMethod != u'2') {
    ZeroMathNumeric(&lpKey->mnCentury);
    ZeroMathNumeric(&lpKey->mnFiscalYear);
    return TRUE;
  }
  if (!NextNumberFitsDigits(&lpDS->mnCentury, 2) || !NextNumberFitsDigits(&lpDS->mnFiscalYear, 2)) return FALSE;
  MathCopy(&lpKey->mnCentury, &lpDS->mnCentury);
  MathCopy(&lpKey->mnFiscalYear, &lpDS->mnFiscalYear);
  return TRUE;
}

}  // namespace

FAMOFLAS_INTERNAL int I7400210_NextNumberIndex(const DSNEXTNUMBER *lpDS) {
  if (lpDS == NULL || !NextNumberFitsDigits(&lpDS->mnNextNumberingIndexNo, 2)) return 0;
  const int nIndex = MathNumericToInt(&lpDS->mnNextNumberingIndexNo);
  return nIndex >= 1 && nIndex <= NEXTNUMBER_INDEXES ? nIndex : 0;
}

FAMOFLAS_INTERNAL JCHAR I7400210_NextNumberMethod(LPBHVRCOM lpBhvrCom, const DSNEXTNUMBER *lpDS) {
  JCHAR szMethod[2] = {0, 0};
  if (lpDS == NULL || IsBlankOrOneBlank(lpDS->szDocumentType)) return u'0';
  if (vyrGetSystemConstantValues(lpBhvrCom, u"NNO", szMethod, 2) != ER_SUCCESS || szMethod[0] == 0 ||
      szMethod[0] == u' ')
    return u'0';
  return szMethod[0];
}

FAMOFLAS_INTERNAL ID I7400210_NextNumberByType(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, KEY1_F0002 *lpKey,
                                               DSNEXTNUMBER *lpDS, ROW_F0002 *lpRow, HREQUEST hRequest) {
  if (lpBhvrCom == NULL || lpKey == NULL || lpDS == NULL || lpRow == NULL || hRequest == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  const int nIndex = I7400210_NextNumberIndex(lpDS);
  if (nIndex == 0) return ER_ERROR;
  memset(lpKey, 0, sizeof *lpKey);
  vyrStrcpyFillAndTerminate(lpKey->szSystemCode, lpDS->szSystemCode, 5, 0);
  if (FetchSystemRow(hRequest, lpKey, lpRow)) {
    MATH_NUMERIC *lpCounter = &lpRow->mnNextNumber[nIndex - 1];
    if (!NextNumberFitsDigits(lpCounter, MAXLEN_MATH_NUMERIC - 1)) return ER_ERROR;
    MathCopy(&lpDS->mnNextNumber, lpCounter);
    return AddOne(lpCounter, lpCounter) ? ER_SUCCESS : ER_ERROR;
  }
  memset(lpRow, 0, sizeof *lpRow);
  vyrStrcpyFillAndTerminate(lpRow->szSystemCode, lpKey->szSystemCode, 5, 0);
  for (int i = 0; i < NEXTNUMBER_INDEXES; ++i) {
    vyrStrcpyFillAndTerminate(lpRow->szDescription[i], u"", 31, u' ');
    ZeroMathNumeric(&lpRow->mnNextNumber[i]);
  }
  return AddOne(&lpDS->mnNextNumber, &lpDS->mnNextNumber) ? ER_SUCCESS : ER_ERROR;
}

FAMOFLAS_INTERNAL int I7400210_FindCompanyNextNumber(HREQUEST hRequest, const DSNEXTNUMBER *lpDS, JCHAR cMethod,
                                                     KEY1_F00021 *lpKey, ROW_F00021 *lpRow) {
  KEY1_F00021 defaultKey;
  if (hRequest == NULL || lpDS == NULL || lpKey == NULL || lpRow == NULL) return I7400210_ROW_ABSENT;
  if (!BuildCompanyKey(lpDS, cMethod, lpDS->szCompany, lpKey)) return I7400210_BAD_YEAR;
  if (FetchCompanyRow(hRequest, lpKey, lpRow)) return I7400210_ROW_FOUND;
  BuildCompanyKey(lpDS, cMethod, NEXTNUMBER_DEFAULT_COMPANY, &defaultKey);
  if (vyrStrcmp(defaultKey.szCompany, lpKey->szCompany) != 0 && FetchCompanyRow(hRequest, &defaultKey, lpRow)) {
    *lpKey = defaultKey;
    return I7400210_ROW_FOUND;
  }
  return I7400210_ROW_ABSENT;
}

FAMOFLAS_INTERNAL void I7400210_FallBackToF0002(const KEY1_F00021 *lpKey, const ROW_F0002 *lpF0002Row, int nIndex,
                                                ROW_F00021 *lpF00021Row) {
  if (lpKey == NULL || lpF0002Row == NULL || lpF00021Row == NULL) return;
  memset(lpF00021Row, 0, sizeof *lpF00021Row);
  vyrStrcpyFillAndTerminate(lpF00021Row->szCompany, lpKey->szCompany, 6, 0);
  vyrStrcpyFillAndTerminate(lpF00021Row->szDocumentType, lpKey->szDocumentType, 3, 0);
  MathCopy(&lpF00021Row->mnCentury, &lpKey->mnCentury);
  MathCopy(&lpF00021Row->mnFiscalYear, &lpKey->mnFiscalYear);
  ZeroMathNumeric(&lpF00021Row->mnNextNumber);
  lpF00021Row->cImbedDigits = u' ';
  lpF00021Row->cCheckDigit = nIndex >= 1 && nIndex <= NEXTNUMBER_INDEXES ? lpF0002Row->cCheckDigit[nIndex - 1] : u' ';
}

FAMOFLAS_INTERNAL ID I7400210_NextNumberByCompany(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, KEY1_F0002 *lpF0002Key,
                                                  KEY1_F00021 *lpF00021Key, DSNEXTNUMBER *lpDS, ROW_F0002 *lpF0002Row,
                                                  ROW_F00021 *lpF00021Row, HREQUEST hRequestF0002,
                                                  HREQUEST hRequestF00021) {
  if (lpBhvrCom == NULL || lpF00021Key == NULL || lpDS == NULL || lpF00021Row == NULL || hRequestF00021 == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  switch (I7400210_FindCompanyNextNumber(hRequestF00021, lpDS, I7400210_NextNumberMethod(lpBhvrCom, lpDS), lpF00021Key,
                                         lpF00021Row)) {
    case I7400210_ROW_FOUND:
      if (!NextNumberFitsDigits(&lpF00021Row->mnNextNumber, MAXLEN_MATH_NUMERIC - 1)) return ER_ERROR;
      MathCopy(&lpDS->mnNextNumber, &lpF00021Row->mnNextNumber);
      return AddOne(&lpF00021Row->mnNextNumber, &lpF00021Row->mnNextNumber) ? ER_SUCCESS : ER_ERROR;
    case I7400210_ROW_ABSENT:
      if (I7400210_NextNumberByType(lpBhvrCom, lpVoid, lpF0002Key, lpDS, lpF0002Row, hRequestF0002) != ER_SUCCESS)
        return ER_ERROR;
      I7400210_FallBackToF0002(lpF00021Key, lpF0002Row, I7400210_NextNumberIndex(lpDS), lpF00021Row);
      return ER_SUCCESS;
    default:
      return ER_ERROR;
  }
}

FAMOFLAS_INTERNAL ID I7400210_NextNumberCheckDigit(DSNEXTNUMBER *lpDS) {
  JCHAR szPrinted[kPrintedSize];
  if (lpDS == NULL) return 0;
  PrintNextNumber(lpDS, szPrinted);
  int nSum = 0;
  for (int i = 0; i < kPrintedDigits && szPrinted[i] >= u'0' && szPrinted[i] <= u'9'; ++i)
    nSum += (szPrinted[i] - u'0') * kCheckDigitWeights[i];
  int nCheckDigit = 11 - nSum % 11;
  if (nCheckDigit == 10) nCheckDigit = 0;
  if (nCheckDigit == 11) nCheckDigit = 1;
  // The last seven of the 8 weighted digits, then the check digit.
  JCHAR szResult[kPrintedDigits + 1];
  for (int i = 1; i < kPrintedDigits; ++i) szResult[i - 1] = szPrinted[i];
  szResult[kPrintedDigits - 1] = (JCHAR)(u'0' + nCheckDigit);
  szResult[kPrintedDigits] = 0;
  ParseNumericString(&lpDS->mnNextNumber, szResult);
  return 0;
}

FAMOFLAS_INTERNAL BOOL I7400210_ImbedDigitsValid(const ROW_F00021 *lpRow) {
  if (lpRow == NULL) return FALSE;
  return (lpRow->cImbedDigits != u'1' && lpRow->cImbedDigits != u'2') || NextNumberFitsDigits(&lpRow->mnFiscalYear, 2);
}

FAMOFLAS_INTERNAL ID I7400210_NextNumberImbedDigit(DSNEXTNUMBER *lpDS, const ROW_F00021 *lpRow) {
  JCHAR szPrinted[kPrintedSize];
  JCHAR szYear[kPrintedSize];
  if (lpDS == NULL || !I7400210_ImbedDigitsValid(lpRow)) return ER_ERROR;
  if (lpRow->cImbedDigits != u'1' && lpRow->cImbedDigits != u'2') return 0;
  PrintNextNumber(lpDS, szPrinted);
  vyrSprintf(szYear, u"%02d", MathNumericToInt(&lpRow->mnFiscalYear));
  if (lpRow->cImbedDigits == u'1') {
    szPrinted[0] = szYear[1];
  } else {
    szPrinted[0] = szYear[0];
    szPrinted[1] = szYear[1];
  }
  ParseNumericString(&lpDS->mnNextNumber, szPrinted);
  return 0;
}

FAMOFLAS_INTERNAL ID I7400210_ApplyCheckAndImbedDigits(DSNEXTNUMBER *lpDS, JCHAR cMethod, const ROW_F0002 *lpF0002Row,
                                                       const ROW_F00021 *lpF00021Row) {
  if (lpDS == NULL) return ER_ERROR;
  const int nIndex = I7400210_NextNumberIndex(lpDS);
  const BOOL bCheckDigit = cMethod >= u'1' ? lpF00021Row != NULL && lpF00021Row->cCheckDigit == u'Y'
                                           : cMethod == u'0' && nIndex != 0 && lpF0002Row != NULL &&
                                                 lpF0002Row->cCheckDigit[nIndex - 1] == u'Y';
  if (bCheckDigit && I7400210_NextNumberCheckDigit(lpDS) != 0) return ER_ERROR;
  // After the check digit, so that it covers the number before imbedding.
  if ((cMethod == u'1' || cMethod == u'2') && lpF00021Row != NULL)
    return I7400210_NextNumberImbedDigit(lpDS, lpF00021Row);
  return 0;
}

FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentAP(DSNEXTNUMBER *lpDS, HUSER hUser) {
  return PushPastDocuments(lpDS, hUser, &kPayables);
}

FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentAR(DSNEXTNUMBER *lpDS, HUSER hUser) {
  return PushPastDocuments(lpDS, hUser, &kReceivables);
}

FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentGL(DSNEXTNUMBER *lpDS, HUSER hUser) {
  return PushPastDocuments(lpDS, hUser, &kGeneralLedger);
}

FAMOFLAS_BSFN ID NextNumberInquiry(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequestF0002 = NULL, hRequestF00021 = NULL;
  KEY1_F0002 f0002Key;
  KEY1_F00021 f00021Key;
  ROW_F0002 f0002Row;
  ROW_F00021 f00021Row;
  memset(&f0002Key, 0, sizeof f0002Key);
  memset(&f00021Key, 0, sizeof f00021Key);
  memset(&f0002Row, 0, sizeof f0002Row);
  memset(&f00021Row, 0, sizeof f00021Row);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSNEXTNUMBER lpDS = (LPDSNEXTNUMBER)lpVoidDS;
  ZeroMathNumeric(&lpDS->mnNextNumber);

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4364", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  const JCHAR cMethod = I7400210_NextNumberMethod(lpBhvrCom, lpDS);
  BOOL bFailed = FALSE;
  if (cMethod == u'0') {
    if (vyrIsBlankOrNull(lpDS->szSystemCode)) {
      bFailed = TRUE;
    } else if (VDB_OpenTable(hUser, u"F0002", 1, NULL, 0, NULL, &hRequestF0002) != VDB_SUCCESS) {
      vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
      VDB_FreeBhvr(hUser);
      return ER_ERROR;
    } else {
      bFailed = I7400210_NextNumberByType(lpBhvrCom, lpVoid, &f0002Key, lpDS, &f0002Row, hRequestF0002) != ER_SUCCESS;
    }
  } else if (cMethod == u'1' || cMethod == u'2') {
    if (VDB_OpenTable(hUser, u"F0002", 1, NULL, 0, NULL, &hRequestF0002) != VDB_SUCCESS ||
        VDB_OpenTable(hUser, u"F00021", 1, NULL, 0, NULL, &hRequestF00021) != VDB_SUCCESS) {
      vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"3143", NULL, kSource, __LINE__);
      VDB_FreeBhvr(hUser);  // closes whichever table did open
      return ER_ERROR;
    }
    bFailed = I7400210_NextNumberByCompany(lpBhvrCom, lpVoid, &f0002Key, &f00021Key, lpDS, &f0002Row, &f00021Row,
                                           hRequestF0002, hRequestF00021) != ER_SUCCESS;
  }
  if (hRequestF00021 != NULL) VDB_CloseTable(hRequestF00021);
  if (hRequestF0002 != NULL) VDB_CloseTable(hRequestF0002);

  if (!bFailed && MathZeroTest(&lpDS->mnNextNumber) == 0) IntToMathNumeric(1, &lpDS->mnNextNumber);
  if (!bFailed) bFailed = I7400210_ApplyCheckAndImbedDigits(lpDS, cMethod, &f0002Row, &f00021Row) != 0;

  if (bFailed) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4456", NULL, kSource, __LINE__);
    ZeroMathNumeric(&lpDS->mnNextNumber);
  } else if (SystemCodeIs(lpDS->szSystemCode, u"04")) {
    I7400210_DuplicateDocumentAP(lpDS, hUser);
  } else if (SystemCodeIs(lpDS->szSystemCode, u"03B")) {
    I7400210_DuplicateDocumentAR(lpDS, hUser);
  } else if (SystemCodeIs(lpDS->szSystemCode, u"09")) {
    I7400210_DuplicateDocumentGL(lpDS, hUser);
  }
  VDB_FreeBhvr(hUser);
  return MathZeroTest(&lpDS->mnNextNumber) != 0 ? ER_SUCCESS : ER_ERROR;
}
FAMOFLAS_REGISTER(NextNumberInquiry, &DSNEXTNUMBER_template, "B7400210")
