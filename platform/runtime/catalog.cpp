// The registry of business functions: every catalogue a host loaded, looked
// up by name. Built at registration, read from many threads (the HTTP service
// calls concurrently), so reads share a lock and entries never move.
#include <dlfcn.h>

#include <deque>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "runtime/context.h"
#include "runtime/jtext.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

// An entry with its own copies of the names: a host may register entries
// built from temporary strings.
struct StoredEntry {
  std::string name;
  std::string source;
  BSFN_CATALOG_ENTRY entry{};
};

struct Registry {
  std::shared_mutex lock;
  std::deque<StoredEntry> store;  // never shrinks: handed-out pointers stay valid
  std::map<std::string, const BSFN_CATALOG_ENTRY *, std::less<>> byName;
  std::map<std::string, const DSTMPL *, std::less<>> templates;
};

// Never destroyed: functions of loaded libraries may still be looked up while
// statics are torn down.
Registry &registry() {
  static Registry *const instance = new Registry;
  return *instance;
}

// Callers hold the lock exclusively.
void addLocked(Registry &r, const BSFN_CATALOG_ENTRY &entry) {
  if (entry.szFunction == nullptr || entry.szFunction[0] == '\0' || entry.lpfnEntry == nullptr) return;
  StoredEntry &stored = r.store.emplace_back();
  stored.name = entry.szFunction;
  stored.source = entry.szSource ? entry.szSource : "";
  stored.entry = entry;
  stored.entry.szFunction = stored.name.c_str();
  stored.entry.szSource = stored.source.c_str();
  r.byName[stored.name] = &stored.entry;
  if (entry.lpTemplate != nullptr && entry.lpTemplate->szName != nullptr)
    r.templates[entry.lpTemplate->szName] = entry.lpTemplate;
}

// A name in one of the registry's maps, or null.
template <class T>
const T *lookUp(std::map<std::string, const T *, std::less<>> Registry::*map, std::string_view name) {
  Registry &r = registry();
  std::shared_lock guard(r.lock);
  const auto it = (r.*map).find(name);
  return it == (r.*map).end() ? nullptr : it->second;
}

}  // namespace

void registerCatalog(const BSFN_CATALOG_ENTRY *entries, size_t count) {
  if (entries == nullptr) return;
  Registry &r = registry();
  std::unique_lock guard(r.lock);
  for (size_t i = 0; i < count; ++i) addLocked(r, entries[i]);
}

void registerFunction(const BSFN_CATALOG_ENTRY &entry) {
  Registry &r = registry();
  std::unique_lock guard(r.lock);
  addLocked(r, entry);
}

bool loadLibrary(const std::string &path, const char *catalogSymbol, std::string *error) {
  auto fail = [&](std::string why) {
    if (error) *error = std::move(why);
    return false;
  };
  if (catalogSymbol == nullptr) return fail("no catalogue symbol given for " + path);
  dlerror();
  // Kept open for the life of the process: its entry points stay registered.
  void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char *why = dlerror();
    return fail("cannot load " + path + ": " + (why ? why : "unknown reason"));
  }
  auto catalog = reinterpret_cast<LPFNBSFNCATALOG>(dlsym(handle, catalogSymbol));
  if (catalog == nullptr)
    return fail(path + " has no catalogue " + catalogSymbol);
  size_t count = 0;
  const BSFN_CATALOG_ENTRY *entries = catalog(&count);
  registerCatalog(entries, count);
  return true;
}

const BSFN_CATALOG_ENTRY *findFunction(std::string_view name) { return lookUp(&Registry::byName, name); }

const BSFN_CATALOG_ENTRY *findFunction(std::u16string_view name) {
  try {
    return findFunction(std::string_view(toUtf8(name)));
  } catch (...) {
    return nullptr;
  }
}

std::vector<const BSFN_CATALOG_ENTRY *> allFunctions() {
  Registry &r = registry();
  std::shared_lock guard(r.lock);
  std::vector<const BSFN_CATALOG_ENTRY *> all;
  all.reserve(r.byName.size());
  for (const auto &[name, entry] : r.byName) all.push_back(entry);
  return all;
}

const DSTMPL *findTemplate(std::string_view name) { return lookUp(&Registry::templates, name); }

}  // namespace vyr

VYR_EXPORT int VDBRS_GetDSTMPLSpecs(HUSER /*hUser*/, const JCHAR *lpszTemplateName, const DSTMPL **lppTemplate) {
  if (lppTemplate == nullptr) return 0;
  *lppTemplate = nullptr;
  if (lpszTemplateName == nullptr) return 0;
  try {
    *lppTemplate = vyr::findTemplate(vyr::toUtf8(vyr::trimmed(lpszTemplateName)));
  } catch (...) {
    return 0;
  }
  return *lppTemplate != nullptr ? 1 : 0;
}
