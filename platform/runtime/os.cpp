// Loading libraries at run time over dlopen/dlsym/dlclose. Module handles are
// ids into a registry, so a stale or foreign handle is refused instead of
// being passed to dlclose.
#include <dlfcn.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include "base/trace.h"
#include "unicode/jchar_utf8.h"
#include "vyros.h"

namespace {

// Ids carry a tag in their high byte so they are not mistaken for small integers.
constexpr uint64_t kModuleTag = 0x4d00000000000000ull;

struct Modules {
  std::mutex lock;
  std::unordered_map<uint64_t, void *> byId;
  uint64_t next = 1;
};

Modules &modules() {
  static Modules *const instance = new Modules;
  return *instance;
}

uint64_t idOf(HMODULE handle) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(handle)); }

void traceFailure(const char *operation, const std::string &why) noexcept {
  try {
    vyr::writeTraceLine(vyr::fromUtf8(std::string(operation) + ": " + why));
  } catch (...) {
  }
}

// dlerror's text, or a stand-in when it has none.
std::string lastLoaderError() {
  const char *text = dlerror();
  return text != nullptr ? text : "unknown loader error";
}

}  // namespace

VYR_EXPORT HMODULE LoadLibraryW(const JCHAR *lpszPath) {
  try {
    const std::u16string_view path = vyr::jcharView(lpszPath);
    if (path.empty()) {
      traceFailure("LoadLibraryW", "no library path given");
      return nullptr;
    }
    const std::string utf8 = vyr::toUtf8(path);
    // A path with an embedded terminator would load some other file.
    if (utf8.find('\0') != std::string::npos) return nullptr;
    void *library = dlopen(utf8.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      traceFailure("LoadLibraryW", "cannot load " + utf8 + ": " + lastLoaderError());
      return nullptr;
    }
    Modules &m = modules();
    std::lock_guard<std::mutex> guard(m.lock);
    try {
      const uint64_t id = kModuleTag | m.next;
      m.byId.emplace(id, library);
      ++m.next;
      return reinterpret_cast<HMODULE>(static_cast<uintptr_t>(id));
    } catch (...) {
      dlclose(library);
      return nullptr;
    }
  } catch (...) {
    return nullptr;
  }
}

VYR_EXPORT FARPROC GetProcAddress(HMODULE hModule, const char *lpszName) {
  try {
    if (lpszName == nullptr || lpszName[0] == '\0') return nullptr;
    Modules &m = modules();
    std::lock_guard<std::mutex> guard(m.lock);
    const auto found = m.byId.find(idOf(hModule));
    if (found == m.byId.end()) {
      traceFailure("GetProcAddress", "unknown or freed module handle");
      return nullptr;
    }
    dlerror();  // clear, so a stale message is not taken for this lookup's
    void *entry = dlsym(found->second, lpszName);
    if (entry == nullptr) {
      traceFailure("GetProcAddress", std::string("no entry point ") + lpszName + ": " + lastLoaderError());
      return nullptr;
    }
    return reinterpret_cast<FARPROC>(entry);
  } catch (...) {
    return nullptr;
  }
}

VYR_EXPORT BOOL FreeLibrary(HMODULE hModule) {
  void *library = nullptr;
  try {
    Modules &m = modules();
    std::lock_guard<std::mutex> guard(m.lock);
    const auto found = m.byId.find(idOf(hModule));
    if (found == m.byId.end()) return FALSE;
    library = found->second;
    m.byId.erase(found);
  } catch (...) {
    return FALSE;
  }
  // Outside the lock: the library's destructors may load or free others.
  if (dlclose(library) != 0) {
    try {
      traceFailure("FreeLibrary", lastLoaderError());
    } catch (...) {
    }
    return FALSE;
  }
  return TRUE;
}
