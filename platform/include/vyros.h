/*
 * vyros.h - the operating-system services the libraries use: loading a
 * library at run time and finding its entry points (part of the kernel).
 *
 * A module handle is an id disguised as a pointer: a stale, foreign or null
 * handle is refused (NULL / FALSE), never followed. Each LoadLibraryW returns
 * a handle of its own that holds one reference to the library; FreeLibrary
 * drops that reference once, and the library is unloaded with its last one.
 * Nothing here throws; a failure writes a trace line saying why.
 */
#ifndef VYROS_H
#define VYROS_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

typedef struct tagHMODULE *HMODULE; /* a loaded library */
typedef void (*FARPROC)(void);      /* an entry point; cast to its real type before calling */

/* Loads the shared library at lpszPath (UTF-16). NULL when the path is null or empty or the library cannot be loaded.
 */
VYR_EXPORT HMODULE LoadLibraryW(const JCHAR *lpszPath);
/* The exported entry point named lpszName (8-bit text) of a loaded library, NULL when it has none. */
VYR_EXPORT FARPROC GetProcAddress(HMODULE hModule, const char *lpszName);
/* Drops the handle's reference; FALSE for an unknown or already freed handle. */
VYR_EXPORT BOOL FreeLibrary(HMODULE hModule);

VYR_END_DECLS

#endif /* VYROS_H */
