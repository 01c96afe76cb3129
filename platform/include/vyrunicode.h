/*
 * vyrunicode.h - JCHAR (UTF-16) counterparts of the C string, character,
 * conversion and stdio functions.
 *
 * Semantics are those of the C functions over char16_t code units, with these
 * platform decisions:
 *  - vyrStrncpy always leaves the destination terminated: it copies at most
 *    n - 1 characters, then fills the rest of the n positions with 0, so a
 *    member copied with its full size N + 1 holds at most N characters.
 *  - Classification and case (vyrIs*, vyrToupper, vyrStrupr, vyrStricmp) follow
 *    Unicode (ICU), one code unit at a time.
 *  - Text files are UTF-8 on disk: vyrFgets/vyrFprintf convert; vyrFread and
 *    vyrFwrite move raw bytes. Paths are JCHAR and converted to UTF-8.
 *  - vyrStrtok keeps its position per thread.
 *  - A null pointer where a string is expected is treated as an empty string
 *    by the read-only functions (length 0, compares equal to ""), and makes
 *    writing functions do nothing; nothing here dereferences null.
 */
#ifndef VYRUNICODE_H
#define VYRUNICODE_H

#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* Strings */
VYR_EXPORT size_t vyrStrlen(const JCHAR *lpsz);
VYR_EXPORT JCHAR *vyrStrcpy(JCHAR *lpszDest, const JCHAR *lpszSrc);
VYR_EXPORT JCHAR *vyrStrncpy(JCHAR *lpszDest, const JCHAR *lpszSrc, size_t n);
VYR_EXPORT JCHAR *vyrStrcat(JCHAR *lpszDest, const JCHAR *lpszSrc);
/* Appends at most n characters and a terminator. */
VYR_EXPORT JCHAR *vyrStrncat(JCHAR *lpszDest, const JCHAR *lpszSrc, size_t n);
VYR_EXPORT int vyrStrcmp(const JCHAR *lpsz1, const JCHAR *lpsz2);
VYR_EXPORT int vyrStrncmp(const JCHAR *lpsz1, const JCHAR *lpsz2, size_t n);
VYR_EXPORT int vyrStricmp(const JCHAR *lpsz1, const JCHAR *lpsz2);
VYR_EXPORT JCHAR *vyrStrchr(const JCHAR *lpsz, JCHAR c);
VYR_EXPORT JCHAR *vyrStrrchr(const JCHAR *lpsz, JCHAR c);
VYR_EXPORT JCHAR *vyrStrstr(const JCHAR *lpszHaystack, const JCHAR *lpszNeedle);
VYR_EXPORT size_t vyrStrspn(const JCHAR *lpsz, const JCHAR *lpszAccept);
VYR_EXPORT JCHAR *vyrStrpbrk(const JCHAR *lpsz, const JCHAR *lpszAccept);
VYR_EXPORT JCHAR *vyrStrtok(JCHAR *lpsz, const JCHAR *lpszDelimiters);
VYR_EXPORT JCHAR *vyrStrupr(JCHAR *lpsz);
/* Sets n JCHAR positions to c. */
VYR_EXPORT JCHAR *vyrMemset(JCHAR *lpDest, JCHAR c, size_t n);

/* Numbers in text. vyrAtoi clamps a value outside int to INT_MIN/INT_MAX. */
VYR_EXPORT int vyrAtoi(const JCHAR *lpsz);
VYR_EXPORT long vyrAtol(const JCHAR *lpsz);
VYR_EXPORT double vyrAtof(const JCHAR *lpsz);
VYR_EXPORT long vyrStrtol(const JCHAR *lpsz, JCHAR **lppszEnd, int nBase);
VYR_EXPORT unsigned long vyrStrtoul(const JCHAR *lpsz, JCHAR **lppszEnd, int nBase);
/* Write value in radix 2-36 into lpszOut (which must hold 66 JCHAR); return lpszOut. */
VYR_EXPORT JCHAR *vyrItoa(int nValue, JCHAR *lpszOut, int nRadix);
VYR_EXPORT JCHAR *vyrUltoa(unsigned long nValue, JCHAR *lpszOut, int nRadix);

/* Characters */
VYR_EXPORT JCHAR vyrToupper(JCHAR c);
VYR_EXPORT int vyrIsdigit(JCHAR c);
VYR_EXPORT int vyrIsalpha(JCHAR c);
VYR_EXPORT int vyrIsalnum(JCHAR c);
VYR_EXPORT int vyrIsspace(JCHAR c);

/*
 * JCHAR printf. Conversions: %ls (JCHAR string), %lc (JCHAR), %s (char
 * string), %c (char), %d %i %u %x %X %ld %li %lu %lld %hd (with flags - + 0
 * blank #, width and precision, also '*'), %f %e %g (precision), %p and %%.
 * Returns the number of JCHAR written, not counting the terminator.
 * vyrSnprintf never writes more than nSize positions (terminator included)
 * and returns the length the whole text would have.
 * Details: %s is UTF-8 and, as in C, its precision counts bytes (a character
 * cut by it is left out whole); %S and %C are the JCHAR forms too; a null
 * string prints "(null)"; numbers always use the C locale; unknown
 * conversions and %n are copied as written. A width past INT_MAX or a
 * numeric precision past 65536 makes the call return -1 (output terminated).
 * vyrSprintf with a null output writes nothing and returns 0.
 */
VYR_EXPORT int vyrSprintf(JCHAR *lpszOut, const JCHAR *lpszFormat, ...);
VYR_EXPORT int vyrSnprintf(JCHAR *lpszOut, size_t nSize, const JCHAR *lpszFormat, ...);
VYR_EXPORT int vyrVsnprintf(JCHAR *lpszOut, size_t nSize, const JCHAR *lpszFormat, va_list args);
/* JCHAR scanf over integer, floating and literal conversions (%d %i %u %ld %hd %f %lf and widths).
 * A format with any other conversion (%s, %c, %[, %n) returns -1 and assigns nothing. */
VYR_EXPORT int vyrSscanf(const JCHAR *lpszInput, const JCHAR *lpszFormat, ...);
VYR_EXPORT size_t vyrStrftime(JCHAR *lpszOut, size_t nMax, const JCHAR *lpszFormat, const struct tm *lpTm);

/* Conversion between JCHAR and 8-bit (UTF-8) text. Both write at most nSize
 * units including the terminator, never split a character, and return the
 * number of units written (without the terminator). */
VYR_EXPORT size_t vyrToUnicode(JCHAR *lpszDest, const char *lpszSrc, size_t nSize);
VYR_EXPORT size_t vyrFromUnicode(char *lpszDest, const JCHAR *lpszSrc, size_t nSize);
/* One 8-bit (Latin-1) character as a JCHAR. */
VYR_EXPORT JCHAR vyrToJCHAR(char c);
/* 1 when JCHAR text is little-endian in memory (it is on every supported machine), 0 for big-endian. */
VYR_EXPORT int vyrUTF16ByteOrder(void);

/* Files */
/* A ",ccs=..." suffix of the mode is ignored: text is always UTF-8 bytes. */
VYR_EXPORT FILE *vyrFopen(const JCHAR *lpszPath, const JCHAR *lpszMode);
VYR_EXPORT int vyrFclose(FILE *lpFile);
/* Reads one line of UTF-8 text (up to n - 1 JCHAR, newline kept) into lpszOut. */
VYR_EXPORT JCHAR *vyrFgets(JCHAR *lpszOut, int n, FILE *lpFile);
VYR_EXPORT size_t vyrFread(void *lpBuffer, size_t nSize, size_t nCount, FILE *lpFile);
VYR_EXPORT size_t vyrFwrite(const void *lpBuffer, size_t nSize, size_t nCount, FILE *lpFile);
VYR_EXPORT int vyrFflush(FILE *lpFile);
/* Formats as vyrSprintf and writes UTF-8; returns the JCHAR count formatted, or -1. */
VYR_EXPORT int vyrFprintf(FILE *lpFile, const JCHAR *lpszFormat, ...);
VYR_EXPORT int vyrStat(const JCHAR *lpszPath, struct stat *lpStat);

VYR_END_DECLS

#endif /* VYRUNICODE_H */
