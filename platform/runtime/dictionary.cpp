// The data dictionary: items with their defaults, some of which the
// installation sets (the century-change year, for instance).
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "runtime/context.h"
#include "runtime/jtext.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

struct DictionaryItem {
  std::u16string_view name;
  std::u16string_view description;
  const char *settingKey;       // the default comes from this setting when not null
  std::u16string_view fixedDefault;
};

const DictionaryItem kItems[] = {
    {u"CENTCHG", u"Century Change Year", "CENTCHG", u""},
};

// An open dictionary: the settings it answers from, taken when it was opened
// so that it stays usable whatever becomes of the context.
struct OpenDictionary {
  LPBHVRCOM context = nullptr;
  std::map<std::string, std::string> settings;
};

struct Registry {
  std::mutex lock;
  uintptr_t next = 1;
  std::map<uintptr_t, OpenDictionary> open;
  std::set<const DDITEM *> items;  // handed out and not yet freed
};

Registry &registry() {
  static Registry *const instance = new Registry;
  return *instance;
}

// Closes a dictionary the library left open when its context is freed.
void closeLeftOpen(void *handle) noexcept { vyrCloseDictionary(static_cast<LPDDDICT>(handle)); }

}  // namespace
}  // namespace vyr

VYR_EXPORT LPDDDICT vyrOpenDictionaryX(LPBHVRCOM lpBhvrCom) {
  LPBHVRCOM context = lpBhvrCom ? lpBhvrCom : vyr::currentContext();
  if (!vyr::isLiveContext(context) || vyr::faultRequested(context, "vyrOpenDictionaryX")) return nullptr;
  try {
    vyr::Registry &r = vyr::registry();
    uintptr_t id;
    {
      std::lock_guard guard(r.lock);
      id = r.next++;
      r.open[id] = vyr::OpenDictionary{context, context->settings};
    }
    auto handle = reinterpret_cast<LPDDDICT>(id);
    vyr::registerResource(context, {handle, vyr::closeLeftOpen});
    return handle;
  } catch (...) {
    return nullptr;
  }
}

VYR_EXPORT LPDDITEM vyrAllocFetchDDItemFromDDItemName(LPDDDICT lpDict, const JCHAR *lpszItem) {
  if (lpDict == nullptr || lpszItem == nullptr) return nullptr;
  const std::u16string_view wanted = vyr::trimmed(lpszItem);
  try {
    vyr::Registry &r = vyr::registry();
    std::lock_guard guard(r.lock);
    const auto open = r.open.find(reinterpret_cast<uintptr_t>(lpDict));
    if (open == r.open.end()) return nullptr;
    for (const vyr::DictionaryItem &known : vyr::kItems) {
      if (known.name != wanted) continue;
      std::u16string value(known.fixedDefault);
      if (known.settingKey != nullptr) {
        const auto it = open->second.settings.find(known.settingKey);
        if (it != open->second.settings.end()) value = vyr::fromUtf8(it->second);
      }
      auto *item = new DDITEM{};
      vyr::copyOut(known.name, item->szDict, std::size(item->szDict));
      vyr::copyOut(value, item->szDefaultValue, std::size(item->szDefaultValue));
      vyr::copyOut(known.description, item->szDescription, std::size(item->szDescription));
      try {
        r.items.insert(item);
      } catch (...) {
        delete item;
        throw;
      }
      return item;
    }
  } catch (...) {
  }
  return nullptr;
}

VYR_EXPORT void vyrFreeDDItem(LPDDITEM lpItem) {
  if (lpItem == nullptr) return;
  vyr::Registry &r = vyr::registry();
  std::lock_guard guard(r.lock);
  // A pointer this runtime did not hand out (or freed already) is left alone.
  if (r.items.erase(lpItem) == 1) delete lpItem;
}

VYR_EXPORT void vyrCloseDictionary(LPDDDICT lpDict) {
  if (lpDict == nullptr) return;
  LPBHVRCOM context = nullptr;
  {
    vyr::Registry &r = vyr::registry();
    std::lock_guard guard(r.lock);
    const auto open = r.open.find(reinterpret_cast<uintptr_t>(lpDict));
    if (open == r.open.end()) return;
    context = open->second.context;
    r.open.erase(open);
  }
  vyr::unregisterResource(context, lpDict);
}
