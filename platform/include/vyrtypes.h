/*
 * vyrtypes.h - the value types that cross the boundary between the platform
 * and the business-function libraries, byte for byte.
 *
 * Rules of this ABI:
 *  - Every type here is plain data. Records are packed (no padding), so a
 *    MATH_NUMERIC (49 bytes) may start at an odd offset and be followed
 *    directly by a JCHAR; the platform reads such members where they lie.
 *  - JCHAR is one UTF-16 code unit in the machine's (little-endian) order.
 *  - Handles are opaque pointers owned by the platform. A handle that must
 *    outlive a call is parked with vyrStoreDataPtr and travels as a 32-bit
 *    index.
 *  - Nothing crossing this boundary throws, and nothing is freed by the side
 *    that did not allocate it unless the operation says so.
 */
#ifndef VYRTYPES_H
#define VYRTYPES_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <assert.h>
#include <uchar.h>
#endif

#ifdef __cplusplus
#define VYR_EXTERN_C extern "C"
#define VYR_BEGIN_DECLS extern "C" {
#define VYR_END_DECLS }
#else
#define VYR_EXTERN_C
#define VYR_BEGIN_DECLS
#define VYR_END_DECLS
#endif

/* Marks an entry point that leaves its shared object (everything else is hidden). */
#define VYR_EXPORT __attribute__((visibility("default")))
/* Platform internals that hosts (the command, the service, tests) call: wrap
 * them in `namespace vyr VYR_HOST_API { ... }`. */
#define VYR_HOST_API __attribute__((visibility("default")))
/* A platform operation as the libraries import it. */
#define VYRAPI VYR_EXTERN_C VYR_EXPORT

typedef char16_t JCHAR;
typedef JCHAR *LPJCHAR;
typedef const JCHAR *LPCJCHAR;

typedef uint32_t ID;
typedef ID *LPID;
typedef int BOOL;
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
typedef void *LPVOID;

/* Return codes of business functions. */
#define ER_SUCCESS ((ID)0)
#define ER_WARNING ((ID)1)
#define ER_ERROR ((ID)2)

/* Number of digit positions a MATH_NUMERIC carries. */
#define MAXLEN_MATH_NUMERIC 32

#pragma pack(push, 1)

/*
 * The platform's exact decimal number. The value is String (digits only, no
 * sign, no separator, terminated; nLength of them) divided by
 * 10^nDecimalPosition, negated when Sign is '-'. An empty String reads as zero.
 * Results of platform operations carry at least nDecimalPosition + 1 digits
 * (0.56 is "056"), no other leading zeros, and never a '-' on zero.
 */
typedef struct tagMATH_NUMERIC {
  char String[MAXLEN_MATH_NUMERIC + 1];
  char Sign;               /* '-' negative; 0 (or anything else) non-negative */
  unsigned char nLength;   /* number of digits in String */
  short nDecimalPosition;  /* digits after the decimal point */
  JCHAR szCurrency[4];     /* currency code, read through vyrMath*CurrencyCode* */
  short nCurrencyDecimals; /* decimals of that currency */
  short nPrecision;        /* digit positions available (MAXLEN_MATH_NUMERIC when set) */
} MATH_NUMERIC, *LPMATH_NUMERIC;

/* Calendar date; all zero is the null date. */
typedef struct tagVYRDATE {
  short nYear;  /* four digits */
  short nMonth; /* 1-12 */
  short nDay;   /* 1-31 */
} VYRDATE, *LPVYRDATE;

/*
 * Timestamp with time zone. Opaque to the libraries: read and written only
 * through the vyrUTime_* operations. All zero is the null timestamp.
 */
typedef struct tagUTIME {
  int64_t llMicroseconds;    /* since 1970-01-01 00:00:00 UTC */
  short nDisplayZoneMinutes; /* zone used to show the value, minutes east of UTC */
  unsigned char cSet;        /* 0 null, 1 holds a value */
  unsigned char cReserved;
} UTIME, *LPUTIME;

/* Re-attaches errors a callee set on its member to a member of the caller. */
typedef struct tagCallMapEntry {
  int32_t idCallerItem;
  int32_t idCalleeItem;
} CallMapEntry, *LPCALLMAP;

#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(MATH_NUMERIC) == 49, "MATH_NUMERIC is 49 bytes");
static_assert(offsetof(MATH_NUMERIC, String) == 0, "String at 0");
static_assert(offsetof(MATH_NUMERIC, Sign) == 33, "Sign at 33");
static_assert(offsetof(MATH_NUMERIC, nLength) == 34, "nLength at 34");
static_assert(offsetof(MATH_NUMERIC, nDecimalPosition) == 35, "nDecimalPosition at 35");
static_assert(offsetof(MATH_NUMERIC, szCurrency) == 37, "szCurrency at 37");
static_assert(offsetof(MATH_NUMERIC, nCurrencyDecimals) == 45, "nCurrencyDecimals at 45");
static_assert(offsetof(MATH_NUMERIC, nPrecision) == 47, "nPrecision at 47");
static_assert(sizeof(VYRDATE) == 6, "VYRDATE is 6 bytes");
static_assert(sizeof(UTIME) == 12, "UTIME is 12 bytes");
static_assert(sizeof(CallMapEntry) == 8, "CallMapEntry is two 32-bit ids");
static_assert(sizeof(JCHAR) == 2, "JCHAR is one UTF-16 code unit");
#endif

/* Opaque handles issued by the platform. */
typedef struct tagBHVRCOM *LPBHVRCOM;   /* behaviour context of a running application */
typedef struct tagHUSER *HUSER;         /* table behaviour (user) handle */
typedef struct tagHREQUEST *HREQUEST;   /* request on one open table */
typedef struct tagHENV *HENV;           /* database environment */
typedef struct tagHCACHE *HCACHE;       /* named cache */
typedef struct tagHCURSOR *HCUR;        /* cursor over a cache */
typedef struct tagLINKLIST *LPLINKLIST; /* linked list of the base library */
typedef struct tagDDDICT *LPDDDICT;     /* open data dictionary */
typedef struct tagHREPORT *HREPORT;     /* running batch report (its behaviour context) */

/* Shape of every business function. */
typedef ID (*LPBSFN)(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* VYRTYPES_H */
