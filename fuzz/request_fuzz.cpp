// Feeds arbitrary bytes to the service's request reader: the body of
// POST /v1/call/NAME for a function the first byte picks, read as the service
// reads it and filled into the function's data structure as a call would be
// (the function itself does not run), and the same bytes as an Authorization
// header. Any crash or sanitizer report is a find, and so is a request that
// comes out with settings other than the user's or another function.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "dsjson.h"
#include "logins.h"
#include "run.h"
#include "runtime/context.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

[[noreturn]] void Fail(const char *why, const std::string &function) {
  std::fprintf(stderr, "request_fuzz: %s (function %s)\n", why, function.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::vector<const BSFN_CATALOG_ENTRY *> functions = [] {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = famoflasLibraryCatalog(&count);
    vyr::registerCatalog(entries, count);
    entries = famoflasCompanionsCatalog(&count);
    vyr::registerCatalog(entries, count);
    return vyr::allFunctions();
  }();
  static const std::map<std::string, std::string> user = {{"user", "FUZZ"}, {"decimal", "comma"}};
  if (size == 0 || functions.empty()) return 0;
  const std::string function = functions[data[0] % functions.size()]->szFunction;
  const std::string_view body(reinterpret_cast<const char *>(data) + 1, size - 1);

  famoflas::CallRequest request;
  std::string error;
  if (!famoflas::readCallBody(body, function, user, &request, &error)) {
    if (error.empty()) Fail("refused without a reason", function);
  } else {
    if (request.settings != user) Fail("the body changed the user's settings", function);
    if (request.function != function) Fail("the body changed the function", function);
    famoflas::PreparedCall prepared;
    if (famoflas::prepareCall(request, &prepared, &error)) {
      const std::string printed =
          famoflas::dumpJson(famoflas::membersJson(prepared.entry->lpTemplate, prepared.ds->data()));
      if (printed.empty()) Fail("the data structure printed as nothing", function);
    } else if (error.empty()) {
      Fail("not prepared, without a reason", function);
    }
  }
  famoflas::basicCredentials(body);
  return 0;
}
