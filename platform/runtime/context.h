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

namespace vyr {

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

}  // namespace vyr

struct tagBHVRCOM {
  vyr::UserEnvironment user;              // what lpVoid points at
  std::map<std::string, std::string> settings;  // by key (see settingKeys())
  vyr::ThreadSettings threadSettings;     // number and date format derived from settings
  std::vector<vyr::ErrorRecord> errors;
  size_t errorWalk = 0;                   // position of vyrErrorGetNextDDItemNameInfoEx
  ID eventRuleReturnCode = 0;
  HENV environment = nullptr;             // database environment, owned by the host
  std::vector<std::u16string> trace;      // debug-trace lines written while a call of this context ran
  std::vector<vyr::ContextResource> resources;
  void *report = nullptr;                 // running batch report attached by the host, if any
  std::u16string pimRequest;              // request text of a sync call
  std::u16string pimResponse;             // response text stored by the sync call
  bool pimResponseStored = false;
};

namespace vyr {

// ---- Settings --------------------------------------------------------------

struct SettingKey {
  const char *key;
  const char *defaultValue;
  const char *meaning;
};
// Every setting the runtime knows, with its default and meaning.
VYR_EXPORT const std::vector<SettingKey> &settingKeys();
// Checks a value for its key; on failure returns false and explains in *error.
VYR_EXPORT bool validSetting(std::string_view key, std::string_view value, std::string *error);

// ---- Contexts --------------------------------------------------------------

// A new context with the defaults, then the given settings applied (invalid
// ones are refused: returns NULL and explains in *error).
VYR_EXPORT LPBHVRCOM createContext(const std::map<std::string, std::string> &settings = {},
                        std::string *error = nullptr);
// Releases resources still registered, then the context.
VYR_EXPORT void freeContext(LPBHVRCOM context) noexcept;
VYR_EXPORT LPVOID userEnvironment(LPBHVRCOM context) noexcept;
VYR_EXPORT bool setSetting(LPBHVRCOM context, std::string_view key, std::string_view value, std::string *error);
VYR_EXPORT std::string setting(LPBHVRCOM context, std::string_view key);

VYR_EXPORT void registerResource(LPBHVRCOM context, ContextResource resource);
VYR_EXPORT void unregisterResource(LPBHVRCOM context, void *handle) noexcept;

// The context current on this thread (the one whose function is running), or NULL.
VYR_EXPORT LPBHVRCOM currentContext() noexcept;
// Makes context current and returns the one it replaces (ContextScope uses it).
VYR_EXPORT LPBHVRCOM exchangeCurrentContext(LPBHVRCOM context) noexcept;

// Makes a context current on this thread for the guard's lifetime: its number
// and date format, and its trace capture (lines go to context->trace). The
// previous context comes back when the guard ends, so nested calls restore
// the outer one. A null context makes none current.
class VYR_EXPORT ContextScope {
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
VYR_EXPORT bool faultRequested(LPBHVRCOM context, std::string_view operation, std::u16string_view detail = {}) noexcept;

// ---- Business functions ----------------------------------------------------

// Adds a library's entries (or single entries a host or test defines at run
// time). Names are unique; a later entry with a known name replaces it.
VYR_EXPORT void registerCatalog(const BSFN_CATALOG_ENTRY *entries, size_t count);
VYR_EXPORT void registerFunction(const BSFN_CATALOG_ENTRY &entry);
// dlopens a library and registers the catalogue its symbol returns.
VYR_EXPORT bool loadLibrary(const std::string &path, const char *catalogSymbol, std::string *error);
VYR_EXPORT const BSFN_CATALOG_ENTRY *findFunction(std::string_view name);
VYR_EXPORT const BSFN_CATALOG_ENTRY *findFunction(std::u16string_view name);
// Every registered function, sorted by name.
VYR_EXPORT std::vector<const BSFN_CATALOG_ENTRY *> allFunctions();
VYR_EXPORT const DSTMPL *findTemplate(std::string_view name);

// Runs a business function on the context: makes the context current (its
// settings, its trace capture), calls, restores what was current before, and
// returns the function's code. Nothing thrown inside escapes: it becomes
// ER_ERROR with error "BSFNEX" on the context.
VYR_EXPORT ID callFunction(LPBHVRCOM context, const BSFN_CATALOG_ENTRY &entry, void *lpDS);

// ---- Message box -----------------------------------------------------------

using MessageBoxHandler = void (*)(std::u16string_view text, std::u16string_view caption) noexcept;
// Installs the process's handler (the default writes "caption: text" to stderr).
VYR_EXPORT void setMessageBoxHandler(MessageBoxHandler handler) noexcept;

}  // namespace vyr
