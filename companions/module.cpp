// The companions library's catalogue.
#include "frame/bsfn.h"

FAMOFLAS_DEFINE_CATALOG(famoflasCompanionsCatalog)
