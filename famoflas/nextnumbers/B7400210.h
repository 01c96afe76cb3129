/*
 * B7400210 - NextNumberInquiry: which number the next-number tables would
 * hand out next, with the check digit and imbedded fiscal-year digits applied
 * and pushed past documents that already exist in the ledgers. An inquiry: it
 * reads F0002 and F00021 and never writes them. Its data structure is the
 * next-number parameter record DSNEXTNUMBER (frame/companions.h), which
 * X0010GetNextNumber shares.
 *
 * Numbering method: the system constant "NNO" (blank or missing: "0");
 * "0" whenever szDocumentType is empty or one blank.
 *   "0"  by system: F0002 row of szSystemCode, index mnNextNumberingIndexNo.
 *   "1"  by company: the F00021 row of the company and document type with
 *        century and fiscal year 0 (one counter for every year).
 *   "2"  by company and fiscal year: the F00021 row of the company, document
 *        type, mnCentury and mnFiscalYear.
 * Search order of "1" and "2" (I7400210_FindCompanyNextNumber):
 *   1. the row of szCompany;
 *   2. the row of the default company "00000" with the same document type
 *      (and year), the installation's counter for companies without one;
 *   3. F0002 by system, as method "0"; the F00021 record then carries that
 *      index's check-digit flag and no imbedding, so steps 7 and 8 treat the
 *      number as F0002 would.
 * A blank company is looked up as given (no row will have it), then "00000".
 *
 * Errors of NextNumberInquiry (item 0): "4363" null argument, "4364"
 * behaviour, "3143" a table cannot be opened, "4456" empty system code with
 * method "0" or a numbering, check-digit or imbedding step failed. A failed
 * step ends the inquiry with mnNextNumber 0 and ER_ERROR. Steps fail for an
 * index that is not a whole number 1-10 (numbering from F0002), for a century
 * or fiscal year that is not a whole number 0-99 (method "2"), and for a
 * counter that holds no whole number of at least 0. A counter of 0 answers 1,
 * as the assignment hands out 1 for it.
 *
 * Duplicate search (system codes "04", "03B", "09", compared without trailing
 * blanks): a ledger table that cannot be opened leaves the number as it is.
 * The assignment (GetDistributedNextNumber, X0010GetNextNumber) does not make
 * this search: pushing past existing documents is the inquiry's.
 */
#ifndef FAMOFLAS_NEXTNUMBERS_B7400210_H
#define FAMOFLAS_NEXTNUMBERS_B7400210_H

#include "frame/companions.h"
#include "nextnumbers/nextnumbertables.h"

/* Results of I7400210_FindCompanyNextNumber. */
#define I7400210_ROW_FOUND 1
#define I7400210_ROW_ABSENT 0
#define I7400210_BAD_YEAR 2

FAMOFLAS_BSFN ID NextNumberInquiry(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/*
 * The numbering method the caller's record asks for: the first character of
 * the system constant "NNO" ("0" when it is blank or cannot be read), forced
 * to "0" when szDocumentType is empty or one blank.
 */
FAMOFLAS_INTERNAL JCHAR I7400210_NextNumberMethod(LPBHVRCOM lpBhvrCom, const DSNEXTNUMBER *lpDS);

/*
 * The counter of F0002 (hRequest on index 1): mnNextNumber := N00n of the
 * row of szSystemCode and the row buffer's N00n + 1, in memory only. No row:
 * the buffer holds the system code, blank descriptions and zeros, and
 * mnNextNumber := mnNextNumber + 1. Returns 0, or 2 for a bad index or
 * counter (and "4363" for a null context or pointer).
 */
FAMOFLAS_INTERNAL ID I7400210_NextNumberByType(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, KEY1_F0002 *lpKey,
                                               DSNEXTNUMBER *lpDS, ROW_F0002 *lpRow, HREQUEST hRequest);

/*
 * Numbering by company (method "1") or company and fiscal year ("2") in the
 * search order above; fills mnNextNumber and the F00021 record buffer that
 * the check-digit and imbedding steps read. Returns 0 or 2.
 */
FAMOFLAS_INTERNAL ID I7400210_NextNumberByCompany(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, KEY1_F0002 *lpF0002Key,
                                                  KEY1_F00021 *lpF00021Key, DSNEXTNUMBER *lpDS, ROW_F0002 *lpF0002Row,
                                                  ROW_F00021 *lpF00021Row, HREQUEST hRequestF0002,
                                                  HREQUEST hRequestF00021);

/*
 * Steps 1 and 2 of the company search on F00021 (hRequest on index 1), without
 * locks: I7400210_ROW_FOUND with the row and its key, I7400210_ROW_ABSENT
 * (key: that of step 1), or I7400210_BAD_YEAR for a century or fiscal year of
 * method "2" that is not a whole number 0-99. The assignment locks the key
 * found here.
 */
FAMOFLAS_INTERNAL int I7400210_FindCompanyNextNumber(HREQUEST hRequest, const DSNEXTNUMBER *lpDS, JCHAR cMethod,
                                                     KEY1_F00021 *lpKey, ROW_F00021 *lpRow);

/* The F00021 record numbering by company leaves when it fell back to F0002 index n (1-10). */
FAMOFLAS_INTERNAL void I7400210_FallBackToF0002(const KEY1_F00021 *lpKey, const ROW_F0002 *lpF0002Row, int nIndex,
                                                ROW_F00021 *lpF00021Row);

/*
 * Modulus-11 check digit with the weights 256 .. 2 over mnNextNumber printed
 * in 8 digits; the result is the last seven of those digits followed by the
 * check digit (a longer number loses its leading digits). Returns 0.
 */
FAMOFLAS_INTERNAL ID I7400210_NextNumberCheckDigit(DSNEXTNUMBER *lpDS);

/*
 * Replaces the first one or two of the 8 printed digits of mnNextNumber by the
 * last one or two digits of the row's FY, as its imbedded-digits flag says.
 * Returns 0, or 2 when the row's FY is not a whole number 0-99.
 */
FAMOFLAS_INTERNAL ID I7400210_NextNumberImbedDigit(DSNEXTNUMBER *lpDS, const ROW_F00021 *lpRow);

/* FALSE when the row imbeds fiscal-year digits ("1" or "2") but its FY is not a whole number 0-99. */
FAMOFLAS_INTERNAL BOOL I7400210_ImbedDigitsValid(const ROW_F00021 *lpRow);

/*
 * Steps 7 and 8 on mnNextNumber: the check digit when the method is "1" or
 * higher and the F00021 record's flag is "Y", or the method is "0" and the
 * F0002 record's flag of the index is "Y"; then, for methods "1" and "2", the
 * imbedded digits. A null record counts as one without flags. Returns 0, or
 * 2 when a step failed.
 */
FAMOFLAS_INTERNAL ID I7400210_ApplyCheckAndImbedDigits(DSNEXTNUMBER *lpDS, JCHAR cMethod, const ROW_F0002 *lpF0002Row,
                                                       const ROW_F00021 *lpF00021Row);

/* Pushes mnNextNumber past documents of the company and type in F0411, F03B11, F0911. Return 0. */
FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentAP(DSNEXTNUMBER *lpDS, HUSER hUser);
FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentAR(DSNEXTNUMBER *lpDS, HUSER hUser);
FAMOFLAS_INTERNAL ID I7400210_DuplicateDocumentGL(DSNEXTNUMBER *lpDS, HUSER hUser);

/* The index n of mnNextNumberingIndexNo, or 0 when it is not a whole number 1-10. */
FAMOFLAS_INTERNAL int I7400210_NextNumberIndex(const DSNEXTNUMBER *lpDS);

#endif /* FAMOFLAS_NEXTNUMBERS_B7400210_H */
