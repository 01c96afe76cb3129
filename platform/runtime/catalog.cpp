// The registry of business functions: every catalogue a host loaded, looked
// up by name. Built at registration, read from many threads (the HTTP service
// calls concurrently), so reads share a lock and entries never move.
#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <shared_mutex>

#include "runtime/context.h"
#include "runtime/jtext.h"
#include "runtime/valuetext.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

// An entry with its own copies of the names: a host may register entries
// built from temporary strings.
struct StoredEntry {
  std::string name;
  std::string source;
  FunctionOrigin origin;
  BSFN_CATALOG_ENTRY entry{};
};

struct Registry {
  std::shared_mutex lock;
  std::deque<StoredEntry> store;  // never shrinks: handed-out pointers stay valid
  std::map<std::string, const StoredEntry *, std::less<>> byName;
  std::map<std::string, const DSTMPL *, std::less<>> templates;
  std::set<void *> libraries;  // dlopen handles whose catalogue is registered
};

// Never destroyed: functions of loaded libraries may still be looked up while
// statics are torn down.
Registry &registry() {
  static Registry *const instance = new Registry;
  return *instance;
}

// Callers hold the lock exclusively.
void addLocked(Registry &r, const BSFN_CATALOG_ENTRY &entry, FunctionOrigin origin = {}) {
  if (entry.szFunction == nullptr || entry.szFunction[0] == '\0' || entry.lpfnEntry == nullptr) return;
  StoredEntry &stored = r.store.emplace_back();
  stored.name = entry.szFunction;
  stored.source = entry.szSource ? entry.szSource : "";
  stored.origin = std::move(origin);
  stored.entry = entry;
  stored.entry.szFunction = stored.name.c_str();
  stored.entry.szSource = stored.source.c_str();
  r.byName[stored.name] = &stored;
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

// Bounds of what a loaded library may declare: generous for any real data
// structure, small enough that nothing built from them can exhaust the process.
constexpr size_t kMaxEntries = 100000;
constexpr size_t kMaxNameLength = 128;
constexpr uint32_t kMaxRecordSize = 1u << 20;
constexpr uint32_t kMaxMembers = 10000;

// A name of letters, digits and '_', not starting with a digit, of at most
// kMaxNameLength characters; read no further than that.
bool validName(const char *name) {
  if (name == nullptr) return false;
  const size_t length = strnlen(name, kMaxNameLength + 1);
  if (length == 0 || length > kMaxNameLength || (name[0] >= '0' && name[0] <= '9')) return false;
  for (size_t i = 0; i < length; ++i) {
    const char c = name[i];
    if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_')) return false;
  }
  return true;
}

std::string shown(const char *name) {
  return name == nullptr ? "(none)" : "'" + std::string(name, strnlen(name, kMaxNameLength)) + "'";
}

// Why the entry cannot be registered from a library ("" when it can).
std::string entryProblem(const BSFN_CATALOG_ENTRY &entry) {
  if (!validName(entry.szFunction)) return "function name " + shown(entry.szFunction) + " is not a valid name";
  const std::string name = entry.szFunction;
  if (entry.lpfnEntry == nullptr) return name + " has no entry point";
  Dl_info where{};
  if (dladdr(reinterpret_cast<const void *>(entry.lpfnEntry), &where) == 0)
    return name + ": its entry point lies in no loaded library";
  if (entry.szSource != nullptr && !validName(entry.szSource))
    return name + ": source object " + shown(entry.szSource) + " is not a valid name";
  if (entry.lpTemplate == nullptr) return {};
  const std::string problem = templateProblem(*entry.lpTemplate);
  return problem.empty() ? problem : name + ": " + problem;
}

// Whether the symbol is a function (not data that merely has a name).
bool isFunctionSymbol(void *address) {
  Dl_info where{};
  void *entry = nullptr;
  if (dladdr1(address, &where, &entry, RTLD_DL_SYMENT) == 0 || entry == nullptr) return false;
  const auto *symbol = static_cast<const ElfW(Sym) *>(entry);
  const unsigned type = ELF64_ST_TYPE(symbol->st_info);
  return type == STT_FUNC || type == STT_GNU_IFUNC;
}

// Whether two templates describe the same record (libraries that share a
// header each have their own copy of its templates).
bool sameLayout(const DSTMPL &a, const DSTMPL &b) {
  if (&a == &b) return true;
  if (a.nSize != b.nSize || a.nMembers != b.nMembers) return false;
  for (uint32_t i = 0; i < a.nMembers; ++i) {
    const DSTMPL_MEMBER &x = a.lpMembers[i], &y = b.lpMembers[i];
    if (std::strcmp(x.szName, y.szName) != 0 || x.nKind != y.nKind || x.nWidth != y.nWidth || x.nOffset != y.nOffset ||
        x.nSize != y.nSize)
      return false;
  }
  return true;
}

// Checks every entry of a library's catalogue, and its names against those
// registered, before anything is registered; "" when all can be.
std::string catalogProblem(Registry &r, const BSFN_CATALOG_ENTRY *entries, size_t count,
                           const std::set<std::string, std::less<>> &overrides) {
  if (count > kMaxEntries) return "its catalogue claims " + std::to_string(count) + " entries";
  if (count > 0 && entries == nullptr) return "its catalogue has no entries";
  std::set<std::string_view> names;
  std::map<std::string_view, const DSTMPL *> templates;
  for (size_t i = 0; i < count; ++i) {
    const BSFN_CATALOG_ENTRY &entry = entries[i];
    if (std::string problem = entryProblem(entry); !problem.empty()) return problem;
    const std::string_view name = entry.szFunction;
    if (!names.insert(name).second) return std::string(name) + " is in its catalogue twice";
    const auto known = r.byName.find(name);
    if (known != r.byName.end() && !overrides.count(name))
      return std::string(name) + " is already registered (from " + known->second->source +
             (known->second->origin.library.empty() ? "" : " in " + known->second->origin.library) + "); --override " +
             std::string(name) + " replaces it";
    const DSTMPL *tmpl = entry.lpTemplate;
    if (tmpl == nullptr) continue;
    if (!sameLayout(*templates.emplace(tmpl->szName, tmpl).first->second, *tmpl))
      return std::string(name) + ": its catalogue has two data structures named " + tmpl->szName;
    const auto sameName = r.templates.find(std::string_view(tmpl->szName));
    if (sameName != r.templates.end() && !sameLayout(*sameName->second, *tmpl) && !overrides.count(name))
      return std::string(name) + ": data structure " + tmpl->szName + " is already registered with another layout";
  }
  return {};
}

}  // namespace

std::string templateProblem(const DSTMPL &tmpl) {
  if (!validName(tmpl.szName)) return "data structure name " + shown(tmpl.szName) + " is not a valid name";
  const std::string name = tmpl.szName;
  if (tmpl.nSize > kMaxRecordSize)
    return "data structure " + name + " claims " + std::to_string(tmpl.nSize) + " bytes (at most " +
           std::to_string(kMaxRecordSize) + ")";
  if (tmpl.nMembers > kMaxMembers)
    return "data structure " + name + " claims " + std::to_string(tmpl.nMembers) + " members";
  if (tmpl.nMembers > 0 && tmpl.lpMembers == nullptr) return "data structure " + name + " has no member list";
  std::set<std::string_view> members;
  uint64_t end = 0;  // of the member before: members follow one another
  for (uint32_t i = 0; i < tmpl.nMembers; ++i) {
    const DSTMPL_MEMBER &m = tmpl.lpMembers[i];
    const std::string which = "data structure " + name + ", member " + std::to_string(i + 1);
    if (!validName(m.szName)) return which + ": " + shown(m.szName) + " is not a valid name";
    if (!members.insert(m.szName).second) return which + ": " + m.szName + " is there twice";
    if (valueKindName(m.nKind) == nullptr) return which + " (" + m.szName + ") has an unknown kind";
    if (valueSize(m.nKind, m.nWidth) != m.nSize)
      return which + " (" + m.szName + ") has a size that does not match its kind";
    if (m.nOffset < end || uint64_t(m.nOffset) + m.nSize > tmpl.nSize)
      return which + " (" + m.szName + ") lies outside the record or over the member before";
    end = uint64_t(m.nOffset) + m.nSize;
  }
  return {};
}

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

bool loadLibrary(const std::string &path, const char *catalogSymbol, std::string *error,
                 const std::vector<std::string> &overrides) {
  auto fail = [&](std::string why) {
    if (error) *error = std::move(why);
    return false;
  };
  if (catalogSymbol == nullptr) return fail("no catalogue symbol given for " + path);
  dlerror();
  void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char *why = dlerror();
    return fail("cannot load " + path + ": " + (why ? why : "unknown reason"));
  }
  // Closes the library again unless its catalogue ends up registered.
  auto refuse = [&](const std::string &why) {
    dlclose(handle);
    return fail(path + ": " + why + "; nothing of it is registered");
  };
  void *symbol = dlsym(handle, catalogSymbol);
  if (symbol == nullptr) {
    dlclose(handle);
    return fail(path + " has no catalogue " + catalogSymbol);
  }
  if (!isFunctionSymbol(symbol)) return refuse(std::string(catalogSymbol) + " is not a function");
  Registry &r = registry();
  {
    std::shared_lock guard(r.lock);
    if (r.libraries.count(handle)) {  // the same file again: registered already
      dlclose(handle);
      return true;
    }
  }
  size_t count = 0;
  const BSFN_CATALOG_ENTRY *entries = reinterpret_cast<LPFNBSFNCATALOG>(symbol)(&count);
  const std::set<std::string, std::less<>> allowed(overrides.begin(), overrides.end());
  std::unique_lock guard(r.lock);
  if (std::string problem = catalogProblem(r, entries, count, allowed); !problem.empty()) {
    guard.unlock();
    return refuse(problem);
  }
  // Kept open for the life of the process: its entry points stay registered.
  r.libraries.insert(handle);
  for (size_t i = 0; i < count; ++i) {
    FunctionOrigin origin{path, {}};
    if (const auto known = r.byName.find(std::string_view(entries[i].szFunction)); known != r.byName.end())
      origin.replaced =
          known->second->source +
          (known->second->origin.library.empty() ? std::string() : " of " + known->second->origin.library);
    addLocked(r, entries[i], std::move(origin));
  }
  return true;
}

const BSFN_CATALOG_ENTRY *findFunction(std::string_view name) {
  const StoredEntry *stored = lookUp(&Registry::byName, name);
  return stored ? &stored->entry : nullptr;
}

FunctionOrigin functionOrigin(std::string_view name) {
  const StoredEntry *stored = lookUp(&Registry::byName, name);
  return stored ? stored->origin : FunctionOrigin{};
}

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
  for (const auto &[name, stored] : r.byName) all.push_back(&stored->entry);
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
