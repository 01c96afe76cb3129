/*
 * dsdesc.h - one description per data structure.
 *
 * A data structure is written once, as a list of members, each
 * M(S, KIND, name, width):
 *
 *   #define DSD0000500_MEMBERS(M, S)              \
 *     M(S, STRING, szAlgebraicExpression, 500)    \
 *     M(S, MATH, mnCalculatedValue, 0)            \
 *     M(S, CHAR, cSuppressErrorMessage, 0)
 *   FAMOFLAS_DS(DSD0000500, DSD0000500_MEMBERS)
 *
 * which yields the packed struct DSD0000500 (and LPDSD0000500) and its
 * run-time template DSD0000500_template. KIND is one of STRING (width = N
 * characters, the member is JCHAR[N + 1]), CHAR, MATH, DATE, UTIME, INT
 * (signed 32-bit), ID (unsigned 32-bit), SHORT, POINTER, BYTES (width bytes);
 * width is 0 for the fixed-size kinds.
 */
#ifndef FAMOFLAS_DSDESC_H
#define FAMOFLAS_DSDESC_H

#include <stddef.h>
#include <stdint.h>

#include "vyrdstmpl.h"
#include "vyrtypes.h"

#define FAMOFLAS_DS_CTYPE_STRING(name, width) JCHAR name[(width) + 1];
#define FAMOFLAS_DS_CTYPE_CHAR(name, width) JCHAR name;
#define FAMOFLAS_DS_CTYPE_MATH(name, width) MATH_NUMERIC name;
#define FAMOFLAS_DS_CTYPE_DATE(name, width) VYRDATE name;
#define FAMOFLAS_DS_CTYPE_UTIME(name, width) UTIME name;
#define FAMOFLAS_DS_CTYPE_INT(name, width) int32_t name;
#define FAMOFLAS_DS_CTYPE_ID(name, width) ID name;
#define FAMOFLAS_DS_CTYPE_SHORT(name, width) int16_t name;
/* NOLINTNEXTLINE(bugprone-macro-parentheses): name is the member being declared */
#define FAMOFLAS_DS_CTYPE_POINTER(name, width) void *name;
#define FAMOFLAS_DS_CTYPE_BYTES(name, width) unsigned char name[width];

/* Width recorded in the template: characters for strings, bytes for BYTES, else 1. */
#define FAMOFLAS_DS_WIDTH_STRING(width) (width)
#define FAMOFLAS_DS_WIDTH_BYTES(width) (width)
#define FAMOFLAS_DS_WIDTH_CHAR(width) 1
#define FAMOFLAS_DS_WIDTH_MATH(width) 1
#define FAMOFLAS_DS_WIDTH_DATE(width) 1
#define FAMOFLAS_DS_WIDTH_UTIME(width) 1
#define FAMOFLAS_DS_WIDTH_INT(width) 1
#define FAMOFLAS_DS_WIDTH_ID(width) 1
#define FAMOFLAS_DS_WIDTH_SHORT(width) 1
#define FAMOFLAS_DS_WIDTH_POINTER(width) 1

#define FAMOFLAS_DS_FIELD(S, kind, name, width) FAMOFLAS_DS_CTYPE_##kind(name, width)
#define FAMOFLAS_DS_TEMPLATE_MEMBER(S, kind, name, width)                                         \
  {#name, VYR_DSK_##kind, (uint32_t)FAMOFLAS_DS_WIDTH_##kind(width), (uint32_t)offsetof(S, name), \
   (uint32_t)sizeof(((S *)0)->name)},

#define FAMOFLAS_DS(S, MEMBERS)                                                                              \
  /* NOLINTNEXTLINE(bugprone-macro-parentheses): S is the type being declared */                             \
  _Pragma("pack(push, 1)") typedef struct tag##S { MEMBERS(FAMOFLAS_DS_FIELD, S) } S, *LP##S;                \
  _Pragma("pack(pop)") inline const DSTMPL_MEMBER S##_members[] = {MEMBERS(FAMOFLAS_DS_TEMPLATE_MEMBER, S)}; \
  inline const DSTMPL S##_template = {#S, (uint32_t)sizeof(S),                                               \
                                      (uint32_t)(sizeof(S##_members) / sizeof(S##_members[0])), S##_members};

#endif /* FAMOFLAS_DSDESC_H */
