// The library's load-time work, its catalogue and its place-holder export.
#include "frame/bsfn.h"

// What the platform's memory management answered when the library was loaded.
static int gMemoryManagementState = 0;

// Runs once when the process maps the library; nothing is done at unload.
__attribute__((constructor)) static void famoflasLibraryAttach(void) {
  gMemoryManagementState = vyrMemoryManagementInit();
}

FAMOFLAS_DEFINE_CATALOG(famoflasLibraryCatalog)

/* Place-holder entry point: no arguments, no result, not a business function. */
FAMOFLAS_BSFN void dummyFunction(void) {}
