// Where the table layer says what went wrong: one debug-trace line for the
// context the failing handle belongs to, and an error on it when the
// database itself failed.
#include <algorithm>

#include "db/layer.h"
#include "db/values.h"
#include "runtime/context.h"
#include "vyrbhvr.h"
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

void raiseDatabaseError(LPBHVRCOM context, DatabaseFailure failure, std::u16string_view detail) {
  if (context == nullptr) return;
  static constexpr const char16_t *kIds[] = {u"DBNO", u"DBLS", u"DBTO", u"DBLK", u"DBDK", u"DBCM", u"DBER"};
  JCHAR text[VYR_ERROR_TEXT_SIZE] = {};
  const size_t n = std::min(detail.size(), size_t{VYR_ERROR_TEXT_SIZE - 1});
  std::copy_n(detail.data(), n, text);
  vyrErrorSetEx(context, userEnvironment(context), 0, kIds[static_cast<int>(failure)], text, "vyrdb", 0);
  // A database that is gone, silent or cannot keep a commit is no answer of
  // the business function: the call could not be carried out.
  static constexpr const char *kPlatform[] = {"the database cannot be opened",
                                              "the database connection was lost",
                                              "a database statement timed out",
                                              nullptr,
                                              nullptr,
                                              "a database commit failed",
                                              nullptr};
  if (const char *what = kPlatform[static_cast<int>(failure)]) {
    try {
      notePlatformFailure(context, std::string(what) + " (" + toUtf8(detail) + ")");
    } catch (...) {
      notePlatformFailure(context, what);
    }
  }
}

}  // namespace vyr::db
