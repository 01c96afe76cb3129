/*
 * catalog.h - how a library registers its business functions.
 *
 * FAMOFLAS_REGISTER(fn, template, source) places one BSFN_CATALOG_ENTRY in the
 * module's catalogue section (FAMOFLAS_CATALOG_SECTION, set per library by
 * the build); FAMOFLAS_DEFINE_CATALOG(symbol) defines the exported function
 * that returns every entry of that section. No list to keep by hand: a
 * function is in the catalogue exactly when its source object registers it.
 */
#ifndef FAMOFLAS_CATALOG_H
#define FAMOFLAS_CATALOG_H

#include "vyrdstmpl.h"

/* The build names the section of each library; anything else that registers
 * (a test program, say) gets a section of its own. */
#ifndef FAMOFLAS_CATALOG_SECTION
#define FAMOFLAS_CATALOG_SECTION famoflas_host_catalog
#endif

#define FAMOFLAS_CATALOG_STRINGIFY2(x) #x
#define FAMOFLAS_CATALOG_STRINGIFY(x) FAMOFLAS_CATALOG_STRINGIFY2(x)
#define FAMOFLAS_CATALOG_CONCAT2(a, b) a##b
#define FAMOFLAS_CATALOG_CONCAT(a, b) FAMOFLAS_CATALOG_CONCAT2(a, b)

#define FAMOFLAS_REGISTER(fn, tmpl, source)                                                 \
  __attribute__((used, section(FAMOFLAS_CATALOG_STRINGIFY(FAMOFLAS_CATALOG_SECTION))))      \
  static const BSFN_CATALOG_ENTRY famoflasCatalogEntry_##fn = {#fn, fn, tmpl, source};

/* The linker defines these bounds of the section (one pair per shared object). */
#define FAMOFLAS_DEFINE_CATALOG(symbol)                                                      \
  extern "C" const BSFN_CATALOG_ENTRY FAMOFLAS_CATALOG_CONCAT(__start_, FAMOFLAS_CATALOG_SECTION)[] \
      __attribute__((weak, visibility("hidden")));                                          \
  extern "C" const BSFN_CATALOG_ENTRY FAMOFLAS_CATALOG_CONCAT(__stop_, FAMOFLAS_CATALOG_SECTION)[] \
      __attribute__((weak, visibility("hidden")));                                          \
  extern "C" VYR_EXPORT const BSFN_CATALOG_ENTRY *symbol(size_t *lpnCount) {                \
    const BSFN_CATALOG_ENTRY *first = FAMOFLAS_CATALOG_CONCAT(__start_, FAMOFLAS_CATALOG_SECTION); \
    const BSFN_CATALOG_ENTRY *last = FAMOFLAS_CATALOG_CONCAT(__stop_, FAMOFLAS_CATALOG_SECTION);   \
    if (lpnCount != NULL) *lpnCount = (first != NULL && last != NULL) ? (size_t)(last - first) : 0; \
    return first;                                                                           \
  }

#endif /* FAMOFLAS_CATALOG_H */
