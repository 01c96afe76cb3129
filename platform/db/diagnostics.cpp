// Where the table layer says what went wrong: one debug-trace line for the
// context the failing handle belongs to.
#include "db/layer.h"
#include "db/values.h"
#include "runtime/context.h"
#include "vyrl.h"

namespace vyr::db {

void traceFailure(LPBHVRCOM context, std::string_view operation, std::string_view message) {
  if (context == nullptr) return;
  try {
    std::string line(operation);
    line += ": ";
    line += message;
    const std::u16string text = fromUtf8(line);
    // While the context's function runs, its trace capture takes the line;
    // a handle used outside such a call writes to the context directly.
    if (currentContext() == context)
      DebugTraceFn(u"%ls", text.c_str());
    else
      context->trace.push_back(text);
  } catch (...) {
    // Out of memory while reporting: the failure itself still reaches the caller.
  }
}

}  // namespace vyr::db
