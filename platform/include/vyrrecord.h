/*
 * vyrrecord.h - compile-time checks that a hand-written packed row or key
 * record is laid out as the table catalogue says.
 *
 * The catalogue (the .cpp files of schema/) is the one description of every table; the
 * build writes vyrtables.h from it. A library that keeps a record of its own
 * states, beside the struct, which table and columns it mirrors:
 *
 *   VYR_ROW_RECORD(Type, TABLE)                    every column, in catalogue order
 *   VYR_ROW_MEMBER(Type, member, TABLE, ALIAS)       ... and where one of them sits
 *   VYR_KEY_RECORD(Type, TABLE, n)                 every key column of index n
 *   VYR_MEMBER_IS(Type, member, TABLE, ALIAS)      a member holds that column
 *   VYR_MEMBERS_ARE(Type, member, TABLE, ALIAS, n) an array member holds n columns
 *                                                   of ALIAS's form (UD01-UD10)
 *
 * A width or kind changed on one side then fails the build instead of
 * corrupting memory. Records built by libraries compiled elsewhere are checked
 * at run time with VDB_CheckRecordSize (vyrdb.h).
 */
#ifndef VYRRECORD_H
#define VYRRECORD_H

#include <stddef.h>

#include "vyrtables.h"

#ifdef __cplusplus
#define VYR_STATIC_ASSERT(condition, message) static_assert(condition, message)
#else
#define VYR_STATIC_ASSERT(condition, message) _Static_assert(condition, message)
#endif

#define VYR_ROW_RECORD(Type, TABLE) \
  VYR_STATIC_ASSERT(sizeof(Type) == VYRROW_##TABLE##_SIZE, #Type " is not a " #TABLE " row of the catalogue")
#define VYR_ROW_MEMBER(Type, member, TABLE, ALIAS)                      \
  VYR_STATIC_ASSERT(offsetof(Type, member) == VYROFF_##TABLE##_##ALIAS, \
                    #Type "." #member " is not where the catalogue puts " #TABLE "." #ALIAS)
#define VYR_KEY_RECORD(Type, TABLE, n) \
  VYR_STATIC_ASSERT(sizeof(Type) == VYRKEY_##TABLE##_##n##_SIZE, #Type " is not the key of " #TABLE " index " #n)
#define VYR_MEMBER_IS(Type, member, TABLE, ALIAS)                                    \
  VYR_STATIC_ASSERT(sizeof(((Type *)0)->member) == sizeof(VYRCOL_##TABLE##_##ALIAS), \
                    #Type "." #member " does not have the catalogue's form of " #TABLE "." #ALIAS)
#define VYR_MEMBERS_ARE(Type, member, TABLE, ALIAS, n)                                     \
  VYR_STATIC_ASSERT(sizeof(((Type *)0)->member) == (n) * sizeof(VYRCOL_##TABLE##_##ALIAS), \
                    #Type "." #member " does not hold " #n " columns of the form of " #TABLE "." #ALIAS)

#endif /* VYRRECORD_H */
