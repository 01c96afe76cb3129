/*
 * B0000033 - GetExchRate: the exchange rate between two currencies in force
 * on a date, from F0015.
 *
 * The rate agreed with the party (mnAddressNumber) is looked up first; when
 * there is none, the general rate (address number 0). The rate in force is
 * the row with the latest EFT on or before jdEffectiveDate: F0015 index 3
 * keeps EFT newest first under each currency pair, party and rate type, and
 * the selection EFT <= date leaves the rate in force as the first row. Rate
 * type (RTTYP) is always blank here.
 *
 * Errors: "4363" (item 0) for a null argument, "078S" (item 0) when the
 * behaviour handle cannot be had, "078D" (item 0, text "F0015") when the table
 * cannot be opened, "0949" on item 8 (mnExchangeRate) when no rate is in
 * force; a null effective date finds none. Outputs are written only when a
 * rate was found.
 */
#ifndef FAMOFLAS_FINANCE_B0000033_H
#define FAMOFLAS_FINANCE_B0000033_H

#include "frame/bsfn.h"

/*
 * Data structure of GetExchRate.
 *   1 szFromCurrency        in   currency converted from (CRCD)
 *   2 szToCurrency          in   currency converted to (CRDC)
 *   3 mnAddressNumber       in   party with a rate of its own; 0 for the general rate
 *   4 jdEffectiveDate       in   date on which the rate must be in force
 *   5 mnMultiplier          out  CRR of the row (zero for a method "3" row)
 *   6 mnDivisor             out  CRRD of the row (zero for a method "3" row)
 *   7 jdRateEffectiveDate   out  EFT of the row
 *   8 mnExchangeRate        out  CRR when CRCM is "Y"/"y", CRRD when "Z"/"z",
 *                                unchanged for another CRCM; zero for method "3"
 *   9 mnMethod3Multiplier   out  CRR of a method "3" row, else zero
 *  10 mnMethod3Divisor      out  CRRD of a method "3" row, else zero
 *  11 cConversionMethod     out  CRCM of the row ("Y" multiply, "Z" divide)
 *  12 jdMethod3EffectiveDate out EFT of a method "3" row, else the null date
 */
#define DSD0000033_MEMBERS(M, S)     \
  M(S, STRING, szFromCurrency, 3)    \
  M(S, STRING, szToCurrency, 3)      \
  M(S, MATH, mnAddressNumber, 0)     \
  M(S, DATE, jdEffectiveDate, 0)     \
  M(S, MATH, mnMultiplier, 0)        \
  M(S, MATH, mnDivisor, 0)           \
  M(S, DATE, jdRateEffectiveDate, 0) \
  M(S, MATH, mnExchangeRate, 0)      \
  M(S, MATH, mnMethod3Multiplier, 0) \
  M(S, MATH, mnMethod3Divisor, 0)    \
  M(S, CHAR, cConversionMethod, 0)   \
  M(S, DATE, jdMethod3EffectiveDate, 0)
FAMOFLAS_DS(DSD0000033, DSD0000033_MEMBERS)

/* Member that "no rate in force" is attached to (mnExchangeRate). */
#define B0000033_NO_RATE_ITEM 8

FAMOFLAS_BSFN ID GetExchRate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_FINANCE_B0000033_H */
