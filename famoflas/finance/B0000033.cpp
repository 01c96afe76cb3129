// GetExchRate: the rate in force between two currencies on a date, the
// party's own rate first, else the general one.
#include "finance/B0000033.h"

#include <string.h>

#include "vyrrecord.h"

namespace {

const char kSource[] = "B0000033";
const JCHAR kTable[] = u"F0015";
// Currency pair, party, rate type, then EFT newest first.
const ID kRateIndex = 3;
// The effective date is left to the selection, so that the newest row not
// after it comes first.
const short kRateKeyFields = 4;

#pragma pack(push, 1)
// Every column of F0015, in catalogue order.
typedef struct {
  JCHAR szFromCurrency[4];       // CRCD
  JCHAR szToCurrency[4];         // CRDC
  MATH_NUMERIC mnAddressNumber;  // AN8
  JCHAR szRateType[3];           // RTTYP
  VYRDATE jdEffective;           // EFT
  JCHAR cMethod3;                // CSR: "3" marks method-3 rates
  JCHAR cConversionMethod;       // CRCM
  JCHAR szTriangulation[4];      // CRCX
  MATH_NUMERIC mnMultiplier;     // CRR
  MATH_NUMERIC mnDivisor;        // CRRD
} RateRow;
VYR_ROW_RECORD(RateRow, F0015);
VYR_ROW_MEMBER(RateRow, szToCurrency, F0015, CRDC);
VYR_ROW_MEMBER(RateRow, mnAddressNumber, F0015, AN8);
VYR_ROW_MEMBER(RateRow, szRateType, F0015, RTTYP);
VYR_ROW_MEMBER(RateRow, jdEffective, F0015, EFT);
VYR_ROW_MEMBER(RateRow, cMethod3, F0015, CSR);
VYR_ROW_MEMBER(RateRow, cConversionMethod, F0015, CRCM);
VYR_ROW_MEMBER(RateRow, szTriangulation, F0015, CRCX);
VYR_ROW_MEMBER(RateRow, mnMultiplier, F0015, CRR);
VYR_ROW_MEMBER(RateRow, mnDivisor, F0015, CRRD);

// Key of index 3.
typedef struct {
  JCHAR szFromCurrency[4];
  JCHAR szToCurrency[4];
  MATH_NUMERIC mnAddressNumber;
  JCHAR szRateType[3];
  VYRDATE jdEffective;
} RateKey;
VYR_KEY_RECORD(RateKey, F0015, 3);
VYR_MEMBER_IS(RateKey, szFromCurrency, F0015, CRCD);
VYR_MEMBER_IS(RateKey, szToCurrency, F0015, CRDC);
VYR_MEMBER_IS(RateKey, szRateType, F0015, RTTYP);
#pragma pack(pop)

// Selects the key's rows that the selection admits; TRUE when a first row came.
BOOL FetchRateInForce(HREQUEST hRequest, const RateKey *lpKey, RateRow *lpRow) {
  return VDB_SelectKeyed(hRequest, kRateIndex, lpKey, kRateKeyFields) == VDB_SUCCESS &&
         VDB_Fetch(hRequest, lpRow, 0) == VDB_SUCCESS;
}

/*
 * Limits later searches to rows in force on the date: EFT <= date. FALSE when
 * the date is null (no rate is in force on no date) or the selection cannot
 * be set; without it the newest rate of all would come first.
 */
BOOL SelectInForceOn(HREQUEST hRequest, const VYRDATE *lpDate) {
  if (IsVYRDATENull(lpDate)) return FALSE;
  SELECTSTRUCT selection;
  memset(&selection, 0, sizeof selection);
  vyrStrcpyFillAndTerminate(selection.szColumn, u"EFT", 11, 0);
  selection.nComparison = VDB_CMP_LE;
  selection.nAndOr = VDB_AND;
  selection.lpValue = lpDate;
  return VDB_SetSelection(hRequest, &selection, 1) == VDB_SUCCESS;
}

void CopyRate(LPDSD0000033 lpDS, const RateRow *lpRow) {
  lpDS->jdRateEffectiveDate = lpRow->jdEffective;
  lpDS->cConversionMethod = lpRow->cConversionMethod;
  if (lpRow->cMethod3 == u'3') {
    ZeroMathNumeric(&lpDS->mnMultiplier);
    ZeroMathNumeric(&lpDS->mnDivisor);
    ZeroMathNumeric(&lpDS->mnExchangeRate);
    MathCopy(&lpDS->mnMethod3Multiplier, &lpRow->mnMultiplier);
    MathCopy(&lpDS->mnMethod3Divisor, &lpRow->mnDivisor);
    lpDS->jdMethod3EffectiveDate = lpRow->jdEffective;
    return;
  }
  MathCopy(&lpDS->mnMultiplier, &lpRow->mnMultiplier);
  MathCopy(&lpDS->mnDivisor, &lpRow->mnDivisor);
  ZeroMathNumeric(&lpDS->mnMethod3Multiplier);
  ZeroMathNumeric(&lpDS->mnMethod3Divisor);
  memset(&lpDS->jdMethod3EffectiveDate, 0, sizeof lpDS->jdMethod3EffectiveDate);
  switch (lpRow->cConversionMethod) {
    case u'Y':
    case u'y':
      MathCopy(&lpDS->mnExchangeRate, &lpRow->mnMultiplier);
      break;
    case u'Z':
    case u'z':
      MathCopy(&lpDS->mnExchangeRate, &lpRow->mnDivisor);
      break;
    default:  // an unknown method leaves the caller's rate as it was
      break;
  }
}

}  // namespace

FAMOFLAS_BSFN ID GetExchRate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  HUSER hUser = NULL;
  HREQUEST hRequest = NULL;
  RateKey key;
  RateRow row;
  VYRDATE jdEffective;
  memset(&key, 0, sizeof key);
  memset(&row, 0, sizeof row);
  memset(&jdEffective, 0, sizeof jdEffective);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD0000033 lpDS = (LPDSD0000033)lpVoidDS;

  if (VDB_InitBhvr(lpBhvrCom, &hUser, NULL, 0) != VDB_SUCCESS) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"078S", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (VDB_OpenTable(hUser, kTable, kRateIndex, NULL, 0, NULL, &hRequest) != VDB_SUCCESS) {
    BsfnErrorWithText(lpBhvrCom, lpVoid, 0, u"078D", kTable, kSource, __LINE__);
    VDB_FreeBhvr(hUser);
    return ER_ERROR;
  }

  // Members may arrive filled to their last position: take at most their width.
  vyrStrcpyFillAndTerminate(key.szFromCurrency, lpDS->szFromCurrency, 4, 0);
  vyrStrcpyFillAndTerminate(key.szToCurrency, lpDS->szToCurrency, 4, 0);
  MathCopy(&key.mnAddressNumber, &lpDS->mnAddressNumber);
  vyrStrcpyFillAndTerminate(key.szRateType, u"  ", 3, 0);
  jdEffective = lpDS->jdEffectiveDate;

  BOOL bFound = FALSE;
  if (SelectInForceOn(hRequest, &jdEffective)) {
    bFound = FetchRateInForce(hRequest, &key, &row);
    // A party without a rate of its own converts at the general rate.
    if (!bFound && MathZeroTest(&key.mnAddressNumber) != 0) {
      ZeroMathNumeric(&key.mnAddressNumber);
      bFound = FetchRateInForce(hRequest, &key, &row);
    }
  }

  ID idResult = ER_SUCCESS;
  if (bFound) {
    CopyRate(lpDS, &row);
  } else {
    vyrErrorSetEx(lpBhvrCom, lpVoid, B0000033_NO_RATE_ITEM, u"0949", NULL, kSource, __LINE__);
    idResult = ER_ERROR;
  }
  VDB_CloseTable(hRequest);
  VDB_FreeBhvr(hUser);
  return idResult;
}
FAMOFLAS_REGISTER(GetExchRate, &DSD0000033_template, "B0000033")
