// Where the table layer says what went wrong: one line on the context's trace.
#include "db/layer.h"
#include "db/values.h"
#include "runtime/context.h"

namespace vyr::db {

void traceFailure(LPBHVRCOM context, std::string_view operation, std::string_view message) {
  if (context == nullptr) return;
  try {
    std::string line(operation);
    line += ": ";
    line += message;
    context->trace.push_back(fromUtf8(line));
  } catch (...) {
    // Out of memory while reporting: the failure itself still reaches the caller.
  }
}

}  // namespace vyr::db
