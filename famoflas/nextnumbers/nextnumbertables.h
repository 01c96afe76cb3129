/*
 * nextnumbertables.h - the row and key records of the tables the next-number
 * objects read and write, each as the table catalogue lays it out, and the
 * column lists the objects open them with. One place for each, so that a
 * change of the catalogue is made here once.
 */
#ifndef FAMOFLAS_NEXTNUMBERS_NEXTNUMBERTABLES_H
#define FAMOFLAS_NEXTNUMBERS_NEXTNUMBERTABLES_H

#include "frame/bsfn.h"
#include "vyrrecord.h"

/* Number of next-number indexes of one F0002 row. */
#define NEXTNUMBER_INDEXES 10
/* Digits of the number columns: F0002 N001-N010 and F00021 N001, F00022 UKID, F0101 AN8, F0911 JELN. */
#define NEXTNUMBER_DIGITS 8
#define UNIQUE_KEY_DIGITS 15
#define ADDRESS_NUMBER_DIGITS 8
#define DOCUMENT_NUMBER_DIGITS 8
#define JE_LINE_DIGITS 7

#pragma pack(push, 1)

/* F0002, every column in catalogue order; index 1 is SY. */
typedef struct tagROW_F0002 {
  JCHAR szSystemCode[5];                         /* SY */
  JCHAR szDescription[NEXTNUMBER_INDEXES][31];   /* UD01-UD10 */
  MATH_NUMERIC mnNextNumber[NEXTNUMBER_INDEXES]; /* N001-N010 */
  JCHAR cCheckDigit[NEXTNUMBER_INDEXES];         /* CK01-CK10: "Y" when the index's numbers carry one */
} ROW_F0002;
VYR_ROW_RECORD(ROW_F0002, F0002);
VYR_ROW_MEMBER(ROW_F0002, szDescription, F0002, UD01);
VYR_ROW_MEMBER(ROW_F0002, mnNextNumber, F0002, N001);
VYR_ROW_MEMBER(ROW_F0002, cCheckDigit, F0002, CK01);

typedef struct tagKEY1_F0002 {
  JCHAR szSystemCode[5]; /* SY */
} KEY1_F0002;
VYR_KEY_RECORD(KEY1_F0002, F0002, 1);

/* F00021, every column in catalogue order; its first four columns are index 1. */
typedef struct tagROW_F00021 {
  JCHAR szCompany[6];        /* KCO */
  JCHAR szDocumentType[3];   /* DCT */
  MATH_NUMERIC mnCentury;    /* CTRY: 20 for 2024; 0 in a row of every year */
  MATH_NUMERIC mnFiscalYear; /* FY: 0-99; 0 in a row of every year */
  MATH_NUMERIC mnNextNumber; /* N001 */
  JCHAR cImbedDigits;        /* IMB: "1" or "2" fiscal-year digits to imbed */
  JCHAR cCheckDigit;         /* CK01: "Y" when the numbers carry a check digit */
} ROW_F00021;
VYR_ROW_RECORD(ROW_F00021, F00021);
VYR_ROW_MEMBER(ROW_F00021, szDocumentType, F00021, DCT);
VYR_ROW_MEMBER(ROW_F00021, mnCentury, F00021, CTRY);
VYR_ROW_MEMBER(ROW_F00021, mnFiscalYear, F00021, FY);
VYR_ROW_MEMBER(ROW_F00021, mnNextNumber, F00021, N001);
VYR_ROW_MEMBER(ROW_F00021, cImbedDigits, F00021, IMB);
VYR_ROW_MEMBER(ROW_F00021, cCheckDigit, F00021, CK01);

typedef struct tagKEY1_F00021 {
  JCHAR szCompany[6];
  JCHAR szDocumentType[3];
  MATH_NUMERIC mnCentury;
  MATH_NUMERIC mnFiscalYear;
} KEY1_F00021;
VYR_KEY_RECORD(KEY1_F00021, F00021, 1);

/* F00022, every column in catalogue order; index 1 is OBNM. */
typedef struct tagROW_F00022 {
  JCHAR szObjectName[11];     /* OBNM */
  MATH_NUMERIC mnUniqueKeyId; /* UKID: the next free identifier */
} ROW_F00022;
VYR_ROW_RECORD(ROW_F00022, F00022);
VYR_ROW_MEMBER(ROW_F00022, mnUniqueKeyId, F00022, UKID);

typedef struct tagKEY1_F00022 {
  JCHAR szObjectName[11];
} KEY1_F00022;
VYR_KEY_RECORD(KEY1_F00022, F00022, 1);

/* F0101 index 1 (AN8); also the row of F0101 or F90CA001 opened with AN8 alone. */
typedef struct tagKEY1_F0101 {
  MATH_NUMERIC mnAddressNumber;
} KEY1_F0101;
VYR_KEY_RECORD(KEY1_F0101, F0101, 1);
VYR_KEY_RECORD(KEY1_F0101, F90CA001, 1);

/* F90CA001, every column in catalogue order; index 1 is AN8. */
typedef struct tagROW_F90CA001 {
  MATH_NUMERIC mnAddressNumber; /* AN8 */
  JCHAR cStatus;                /* DSTS: "1" distributed */
  JCHAR szMachineKey[16];       /* MKEY */
  VYRDATE jdDistributed;        /* DTDS */
} ROW_F90CA001;
VYR_ROW_RECORD(ROW_F90CA001, F90CA001);
VYR_ROW_MEMBER(ROW_F90CA001, cStatus, F90CA001, DSTS);
VYR_ROW_MEMBER(ROW_F90CA001, szMachineKey, F90CA001, MKEY);
VYR_ROW_MEMBER(ROW_F90CA001, jdDistributed, F90CA001, DTDS);

typedef struct tagKEY1_F90CA001 {
  MATH_NUMERIC mnAddressNumber;
} KEY1_F90CA001;
VYR_KEY_RECORD(KEY1_F90CA001, F90CA001, 1);

/* F90CA001 index 2: status, then number, so the first row of a status is its lowest number. */
typedef struct tagKEY2_F90CA001 {
  JCHAR cStatus;
  MATH_NUMERIC mnAddressNumber;
} KEY2_F90CA001;
VYR_KEY_RECORD(KEY2_F90CA001, F90CA001, 2);
VYR_MEMBER_IS(KEY2_F90CA001, cStatus, F90CA001, DSTS);

/*
 * F0411 and F03B11 opened with DOC, DCT, KCO; the same three lead their
 * index 1 (then SFX), so the record serves as the three-field key too.
 */
typedef struct tagROW_LEDGERDOC {
  MATH_NUMERIC mnDocument; /* DOC */
  JCHAR szDocumentType[3]; /* DCT */
  JCHAR szCompany[6];      /* KCO */
} ROW_LEDGERDOC;
VYR_MEMBER_IS(ROW_LEDGERDOC, mnDocument, F0411, DOC);
VYR_MEMBER_IS(ROW_LEDGERDOC, szDocumentType, F0411, DCT);
VYR_MEMBER_IS(ROW_LEDGERDOC, szCompany, F0411, KCO);
VYR_MEMBER_IS(ROW_LEDGERDOC, mnDocument, F03B11, DOC);
VYR_MEMBER_IS(ROW_LEDGERDOC, szDocumentType, F03B11, DCT);
VYR_MEMBER_IS(ROW_LEDGERDOC, szCompany, F03B11, KCO);

/* F0911 opened with KCO, DCT, DOC for the duplicate search. */
typedef struct tagROW_F0911DOC {
  JCHAR szCompany[6];
  JCHAR szDocumentType[3];
  MATH_NUMERIC mnDocument;
} ROW_F0911DOC;
VYR_MEMBER_IS(ROW_F0911DOC, szCompany, F0911, KCO);
VYR_MEMBER_IS(ROW_F0911DOC, szDocumentType, F0911, DCT);
VYR_MEMBER_IS(ROW_F0911DOC, mnDocument, F0911, DOC);

/*
 * F0911 index 1: DCT, DOC, KCO, DGJ, JELN, LT, EXTL. Opened with those seven
 * columns, the row record is the key record as well; a journal-entry line is
 * found by the first five.
 */
typedef struct tagKEY1_F0911 {
  JCHAR szDocumentType[3]; /* DCT */
  MATH_NUMERIC mnDocument; /* DOC */
  JCHAR szCompany[6];      /* KCO */
  VYRDATE jdGLDate;        /* DGJ */
  MATH_NUMERIC mnLine;     /* JELN */
  JCHAR szLedgerType[3];   /* LT */
  JCHAR szExtension[3];    /* EXTL */
} KEY1_F0911;
VYR_KEY_RECORD(KEY1_F0911, F0911, 1);
VYR_MEMBER_IS(KEY1_F0911, szDocumentType, F0911, DCT);
VYR_MEMBER_IS(KEY1_F0911, szCompany, F0911, KCO);
VYR_MEMBER_IS(KEY1_F0911, szLedgerType, F0911, LT);
VYR_MEMBER_IS(KEY1_F0911, szExtension, F0911, EXTL);

#pragma pack(pop)

/* Column lists the requests are opened with, in record order. */
static const NID kF00022Columns[] = {u"OBNM", u"UKID"};
static const NID kAddressNumberColumns[] = {u"AN8"}; /* F0101 and F90CA001: the record is KEY1_F0101 */
static const NID kLedgerDocColumns[] = {u"DOC", u"DCT", u"KCO"};
static const NID kF0911DocColumns[] = {u"KCO", u"DCT", u"DOC"};
static const NID kF0911LineColumns[] = {u"DCT", u"DOC", u"KCO", u"DGJ", u"JELN", u"LT", u"EXTL"};
#define NEXTNUMBER_COLUMN_COUNT(list) ((ID)(sizeof(list) / sizeof((list)[0])))

/* The installation's default company, whose F00021 rows serve companies without their own. */
#define NEXTNUMBER_DEFAULT_COMPANY u"00000"

/*
 * TRUE when the value is a whole number from 0 to 10^nDigits - 1: what a
 * number column of nDigits digits and no decimals can hold and a counter can
 * hand out.
 */
static inline BOOL NextNumberFitsDigits(const MATH_NUMERIC *lpValue, int nDigits) {
  MATH_NUMERIC mnWhole, mnLimit;
  JCHAR szLimit[MAXLEN_MATH_NUMERIC + 2];
  int i;
  if (lpValue == NULL || nDigits < 1 || nDigits > MAXLEN_MATH_NUMERIC - 1) return FALSE;
  if (MathZeroTest(lpValue) < 0) return FALSE;
  if (MathFloor(&mnWhole, lpValue) != ER_SUCCESS || MathCompare(&mnWhole, lpValue) != 0) return FALSE;
  szLimit[0] = u'1';
  for (i = 1; i <= nDigits; ++i) szLimit[i] = u'0';
  szLimit[nDigits + 1] = 0;
  if (ParseNumericString(&mnLimit, szLimit) != ER_SUCCESS) return FALSE;
  return MathCompare(lpValue, &mnLimit) < 0;
}

#endif /* FAMOFLAS_NEXTNUMBERS_NEXTNUMBERTABLES_H */
