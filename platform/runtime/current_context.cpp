// Which context is current on the calling thread.
#include "runtime/context.h"

namespace vyr {
namespace {
thread_local LPBHVRCOM tCurrentContext = nullptr;
}  // namespace

LPBHVRCOM currentContext() noexcept { return tCurrentContext; }

// Used by ContextScope to switch contexts.
LPBHVRCOM exchangeCurrentContext(LPBHVRCOM context) noexcept {
  LPBHVRCOM previous = tCurrentContext;
  tCurrentContext = context;
  return previous;
}

}  // namespace vyr
