/*
 * catalog.h - how a library registers its business functions.
 *
 * FAMOFLAS_REGISTER(fn, template, source) places one BSFN_CATALOG_ENTRY in the
 * module's catalogue section (FAMOFLAS_CATALOG_SECTION, set per library by
 * the build); FAMOFLAS_DEFINE_CATALOG(symbol) defines the exported function
 * that returns every entry of that section. No list to keep by hand: a
 * function is in the catalogue exactly when its source object registers it.
 *
 * A library built outside this project (against the installed SDK) sets no
 * section: its entries go to a section of their own and this header defines
 * its famoflasCatalog, the symbol `famoflas --library` looks for, so
 * FAMOFLAS_REGISTER is all such a library writes.
 */
#ifndef FAMOFLAS_CATALOG_H
#define FAMOFLAS_CATALOG_H

#include "vyrdstmpl.h"

/* The build names the section of each library; anything else that registers
 * (a test program, say) gets a section of its own. */
#ifndef FAMOFLAS_CATALOG_SECTION
#define FAMOFLAS_CATALOG_SECTION famoflas_host_catalog
#define FAMOFLAS_CATALOG_IMPLICIT 1
#endif

#define FAMOFLAS_CATALOG_STRINGIFY2(x) #x
#define FAMOFLAS_CATALOG_STRINGIFY(x) FAMOFLAS_CATALOG_STRINGIFY2(x)
#define FAMOFLAS_CATALOG_CONCAT2(a, b) a##b
#define FAMOFLAS_CATALOG_CONCAT(a, b) FAMOFLAS_CATALOG_CONCAT2(a, b)

#define FAMOFLAS_REGISTER(fn, tmpl, source)                                                                           \
  __attribute__((used, section(FAMOFLAS_CATALOG_STRINGIFY(                                                            \
                           FAMOFLAS_CATALOG_SECTION)))) static const BSFN_CATALOG_ENTRY famoflasCatalogEntry_##fn = { \
      #fn, fn, tmpl, source};

/* The linker defines these bounds of the section (one pair per shared object). */
#define FAMOFLAS_CATALOG_FUNCTION(linkage, symbol)                                                  \
  extern "C" const BSFN_CATALOG_ENTRY FAMOFLAS_CATALOG_CONCAT(__start_, FAMOFLAS_CATALOG_SECTION)[] \
      __attribute__((weak, visibility("hidden")));                                                  \
  extern "C" const BSFN_CATALOG_ENTRY FAMOFLAS_CATALOG_CONCAT(__stop_, FAMOFLAS_CATALOG_SECTION)[]  \
      __attribute__((weak, visibility("hidden")));                                                  \
  extern "C" linkage VYR_EXPORT const BSFN_CATALOG_ENTRY *symbol(size_t *lpnCount) {                \
    const BSFN_CATALOG_ENTRY *first = FAMOFLAS_CATALOG_CONCAT(__start_, FAMOFLAS_CATALOG_SECTION);  \
    const BSFN_CATALOG_ENTRY *last = FAMOFLAS_CATALOG_CONCAT(__stop_, FAMOFLAS_CATALOG_SECTION);    \
    if (lpnCount != NULL) *lpnCount = (first != NULL && last != NULL) ? (size_t)(last - first) : 0; \
    return first;                                                                                   \
  }
#define FAMOFLAS_DEFINE_CATALOG(symbol) FAMOFLAS_CATALOG_FUNCTION(, symbol)

/* Every source file of such a library carries the same inline definition; the
 * linker keeps one, and `used` keeps it in a file that registers nothing. */
#ifdef FAMOFLAS_CATALOG_IMPLICIT
FAMOFLAS_CATALOG_FUNCTION(inline __attribute__((used)), famoflasCatalog)
#endif

#endif /* FAMOFLAS_CATALOG_H */
