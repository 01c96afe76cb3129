/*
 * vyrdstmpl.h - run-time templates of data structures and the catalogue of
 * business functions that a library exports.
 *
 * A library describes each data structure once; that description yields the
 * packed struct and the template below (member names, kinds, widths, offsets).
 * The platform uses templates to fill data structures from text and print
 * them back (command, HTTP service, tests) and to answer VDBRS_GetDSTMPLSpecs.
 */
#ifndef VYRDSTMPL_H
#define VYRDSTMPL_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* Kinds of data-structure members. */
typedef enum tagVYR_DS_KIND {
  VYR_DSK_STRING = 1, /* JCHAR[width + 1], terminated */
  VYR_DSK_CHAR,       /* one JCHAR flag */
  VYR_DSK_MATH,       /* MATH_NUMERIC */
  VYR_DSK_DATE,       /* VYRDATE */
  VYR_DSK_UTIME,      /* UTIME */
  VYR_DSK_INT,        /* signed 32-bit integer */
  VYR_DSK_ID,         /* unsigned 32-bit id, handle index or count */
  VYR_DSK_SHORT,      /* signed 16-bit integer */
  VYR_DSK_POINTER,    /* a pointer the caller passes through; never filled from text */
  VYR_DSK_BYTES       /* width raw bytes */
} VYR_DS_KIND;

typedef struct tagDSTMPL_MEMBER {
  const char *szName;
  int nKind;        /* VYR_DS_KIND */
  uint32_t nWidth;  /* characters for strings (terminator not counted), bytes for BYTES, else 1 */
  uint32_t nOffset; /* byte offset in the packed struct */
  uint32_t nSize;   /* bytes the member occupies */
} DSTMPL_MEMBER;

typedef struct tagDSTMPL {
  const char *szName; /* the data structure's name, e.g. "DSD0000500" */
  uint32_t nSize;     /* sizeof the packed struct */
  uint32_t nMembers;
  const DSTMPL_MEMBER *lpMembers; /* in declaration order; member n is lpMembers[n - 1] */
} DSTMPL;

/* One business function of a library. lpTemplate is NULL for functions that take no data structure. */
typedef struct tagBSFN_CATALOG_ENTRY {
  const char *szFunction;
  LPBSFN lpfnEntry;
  const DSTMPL *lpTemplate;
  const char *szSource; /* source object, e.g. "B0000500" */
} BSFN_CATALOG_ENTRY;

/* Exported by each library under its own name; returns its entries (in no particular order). */
typedef const BSFN_CATALOG_ENTRY *(*LPFNBSFNCATALOG)(size_t *lpnCount);

/*
 * The template of a data structure by its name, from every catalogue the
 * runtime knows. Returns 1 and sets *lppTemplate when found, else 0.
 */
VYR_EXPORT int VDBRS_GetDSTMPLSpecs(HUSER hUser, const JCHAR *lpszTemplateName, const DSTMPL **lppTemplate);

VYR_END_DECLS

#endif /* VYRDSTMPL_H */
