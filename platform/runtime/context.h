// The behaviour context (lpBhvrCom) and user environment (lpVoid) as the
// platform sees them, and the host interface that creates contexts, knows the
// business functions and runs them. Hosts are the famoflas command, the HTTP
// service and the tests; the libraries see only the opaque handles.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/trace.h"
#include "runtime/current.h"
#include "vyrbhvr.h"
#include "vyrdstmpl.h"
#include "vyrtypes.h"

namespace vyr VYR_HOST_API {

struct ErrorRecord {
  ID item = 0;
  std::u16string id;
  std::u16string text;  // substitution text
  std::string source;
  int line = 0;
};

// A resource a function acquired under a context (a table behaviour handle,
// for instance). Layers register what they hand out and unregister it when it
// is released; whatever is still registered when the context is freed is
// released then, so a function that leaves a handle open leaks nothing past
// its context.
struct ContextResource {
  void *handle = nullptr;
  void (*release)(void *handle) noexcept = nullptr;
};

struct UserEnvironment {
  tagBHVRCOM *context = nullptr;
};

}  // namespace VYR_HOST_API

struct tagBHVRCOM {
  vyr::UserEnvironment user;                    // what lpVoid points at
  std::map<std::string, std::string> settings;  // by key (see settingKeys())
  vyr::ThreadSettings threadSettings;           // number and date format derived from settings
  std::vector<vyr::ErrorRecord> errors;
  size_t errorWalk = 0;  // position of vyrErrorGetNextDDItemNameInfoEx
  ID eventRuleReturnCode = 0;
  HENV environment = nullptr;         // database environment, owned by the host
  std::vector<std::u16string> trace;  // debug-trace lines written while a call of this context ran
  std::vector<vyr::ContextResource> resources;
  void *report = nullptr;      // vyr::ReportState of the running batch report (runtime/report.h)
  std::u16string pimRequest;   // request text of a sync call
  std::u16string pimResponse;  // response text stored by the sync call
  bool pimResponseStored = false;
  std::vector<std::string> platformFailures;  // see notePlatformFailure
};

namespace vyr VYR_HOST_API {

// ---- Settings --------------------------------------------------------------

struct SettingKey {
  const char *key;
  const char *defaultValue;
  const char *meaning;
};
// Every setting the runtime knows, with its default and meaning.
const std::vector<SettingKey> &settingKeys();
// Checks a value for its key; on failure returns false and explains in *error.
bool validSetting(std::string_view key, std::string_view value, std::string *error);

// ---- Contexts --------------------------------------------------------------

// A new context with the defaults, then the given settings applied (invalid
// ones are refused: returns NULL and explains in *error).
LPBHVRCOM createContext(const std::map<std::string, std::string> &settings = {}, std::string *error = nullptr);
// Releases resources still registered, then the context.
void freeContext(LPBHVRCOM context) noexcept;
// TRUE when the pointer is a context created here and not yet freed. Operations
// that receive a context from a library (as a report handle, say) check it
// before looking inside, so a wrong pointer is refused instead of followed.
bool isLiveContext(const void *pointer) noexcept;
LPVOID userEnvironment(LPBHVRCOM context) noexcept;
bool setSetting(LPBHVRCOM context, std::string_view key, std::string_view value, std::string *error);
std::string setting(LPBHVRCOM context, std::string_view key);

void registerResource(LPBHVRCOM context, ContextResource resource);
void unregisterResource(LPBHVRCOM context, void *handle) noexcept;

// The context current on this thread (the one whose function is running), or NULL.
LPBHVRCOM currentContext() noexcept;
// Makes context current and returns the one it replaces (ContextScope uses it).
LPBHVRCOM exchangeCurrentContext(LPBHVRCOM context) noexcept;

// Makes a context current on this thread for the guard's lifetime: its number
// and date format, and its trace capture (lines go to context->trace). The
// previous context comes back when the guard ends, so nested calls restore
// the outer one. A null context makes none current.
class ContextScope {
 public:
  explicit ContextScope(LPBHVRCOM context) noexcept;
  ~ContextScope();
  ContextScope(const ContextScope &) = delete;
  ContextScope &operator=(const ContextScope &) = delete;

 private:
  LPBHVRCOM previous_;
  CurrentSettingsScope settings_;
  TraceSink previousSink_;
};

// Test hook: the context's setting "fail" lists operations that must fail,
// separated by commas, each optionally narrowed by a detail
// ("VDB_InitBhvr,VDB_OpenTable:F0007,vyrCacheInit:GeoCodeInit"). Layers ask
// before doing the real work, so every failure path can be exercised.
// "VDB_Commit:TABLE" stands for a database refusing the commit that ends a
// fetch-for-update lock on TABLE.
bool faultRequested(LPBHVRCOM context, std::string_view operation, std::u16string_view detail = {}) noexcept;

// A failure of the platform itself during a call of the context, as opposed
// to the function's own answer: the database could not be opened or reached,
// a statement or commit failed, the function threw or returned a code outside
// 0-2. Whoever detects such a failure notes it here (besides its trace line or
// error); hosts read context->platformFailures after the call to tell "the
// function said no" from "the call could not be carried out" (famoflas batch
// exits non-zero for the latter). Kept to the first few of a call.
void notePlatformFailure(LPBHVRCOM context, std::string_view what) noexcept;

// ---- Business functions ----------------------------------------------------

// Adds entries a host or test defines (trusted: not checked). Names are
// unique; a later entry with a known name replaces it.
void registerCatalog(const BSFN_CATALOG_ENTRY *entries, size_t count);
void registerFunction(const BSFN_CATALOG_ENTRY &entry);
// dlopens a library and registers the catalogue its symbol returns, all or
// nothing: the symbol must be a function, and every entry must check out
// (valid names, an entry point, templateProblem) and bring a name not yet
// registered unless overrides lists it. Loading a file again does nothing.
// False with the reason, the library closed again.
bool loadLibrary(const std::string &path, const char *catalogSymbol, std::string *error,
                 const std::vector<std::string> &overrides = {});
// Why a data-structure template cannot be used safely ("" when it can):
// names, kinds, sizes bounded, each member inside the record after the one before.
std::string templateProblem(const DSTMPL &tmpl);
// Where a registered function came from: the library file (empty when the
// host registered it) and, when it replaced a function of the same name
// (an override), that one's source object and library.
struct FunctionOrigin {
  std::string library;
  std::string replaced;
};
FunctionOrigin functionOrigin(std::string_view name);
const BSFN_CATALOG_ENTRY *findFunction(std::string_view name);
const BSFN_CATALOG_ENTRY *findFunction(std::u16string_view name);
// Every registered function, sorted by name.
std::vector<const BSFN_CATALOG_ENTRY *> allFunctions();
const DSTMPL *findTemplate(std::string_view name);

// Runs a business function on the context: makes the context current (its
// settings, its trace capture), calls, restores what was current before, and
// returns the function's code. Nothing thrown inside escapes: it becomes
// ER_ERROR with error "BSFNEX" on the context; a code outside 0-2 becomes
// ER_ERROR with error "BSFNRC". Both are noted as platform failures.
ID callFunction(LPBHVRCOM context, const BSFN_CATALOG_ENTRY &entry, void *lpDS);

// ---- Data dictionary -------------------------------------------------------

// The message text of an error id ("" when the dictionary has none).
std::string_view errorMessage(std::u16string_view id) noexcept;

// ---- Message box -----------------------------------------------------------

using MessageBoxHandler = void (*)(std::u16string_view text, std::u16string_view caption) noexcept;
// Installs the process's handler (the default writes "caption: text" to stderr).
void setMessageBoxHandler(MessageBoxHandler handler) noexcept;

}  // namespace VYR_HOST_API
