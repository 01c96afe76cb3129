// The data dictionary: items with their defaults, some of which the
// installation sets (the century-change year, for instance).
#include <algorithm>
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
  const char *settingKey;  // the default comes from this setting when not null
  std::u16string_view fixedDefault;
};

const DictionaryItem kItems[] = {
    {u"CENTCHG", u"Century Change Year", "CENTCHG", u""},
};

// The message texts of the error ids the library, the companions and the
// runtime raise: what the user reads beside the id. The substitution text of
// an error (a table or cache name, say) completes them. Sorted by id.
struct ErrorText {
  std::u16string_view id;
  std::string_view message;
};

constexpr ErrorText kErrorTexts[] = {
    {u"0002", "No record was found for the key given"},
    {u"0177", "The date pattern is not defined for this fiscal year"},
    {u"019T", "The value is outside what the function accepts (see the item named)"},
    {u"032E", "The cache action code is not one the function knows"},
    {u"070Q", "Not enough memory to carry out the request"},
    {u"078D", "The table could not be opened or read"},
    {u"078F", "The record could not be added to the table"},
    {u"078H", "The record could not be changed in the table"},
    {u"078I", "A record the function needs is missing from the table"},
    {u"078K", "The sort order could not be set on the table"},
    {u"078L", "The cache could not be started"},
    {u"078N", "The cache record could not be read"},
    {u"078S", "Database access could not be started for the function"},
    {u"0949", "Exchange rate not found"},
    {u"1212", "The address number is already in use"},
    {u"187A", "The password is shorter than the policy allows"},
    {u"187B", "The password has fewer digits than the policy requires"},
    {u"187C", "The password repeats a character more often in a row than the policy allows"},
    {u"187D", "The password has fewer special characters than the policy requires"},
    {u"187Q", "The password has fewer letters than the policy requires"},
    {u"2721", "The work-day calendar has no month for this date"},
    {u"3143", "The table could not be opened"},
    {u"3199", "The parentheses of the expression do not pair"},
    {u"3449", "The expression cannot be calculated"},
    {u"4363", "The function was called without its context, environment or data structure"},
    {u"4364", "Database access could not be started for the function"},
    {u"4456", "No next number could be assigned"},
    {u"4771", "The expression is not valid"},
    {u"ACTCHG", "The activity was changed by someone else since it was read"},
    {u"ACTCOL", "The column list names a column that cannot be changed"},
    {u"ACTDB", "The activity tables refused the read or write"},
    {u"ACTDUP", "An activity (or recurrence pattern) of that id already exists"},
    {u"ACTNF", "No activity (or recurrence pattern) of that id exists"},
    {u"BSFNEX", "The business function stopped on an unexpected exception"},
    {u"BSFNNF", "No business function of that name is registered"},
    {u"BSFNRC", "The business function answered a code other than 0, 1 or 2"},
    {u"CRM0071", "The number given collides with next numbers already assigned"},
    {u"DBCM", "A database commit failed; the work of its transaction was rolled back"},
    {u"DBDK", "A row with the same unique key already exists"},
    {u"DBER", "The database refused the statement"},
    {u"DBLK", "A lock held by another session did not come free in time"},
    {u"DBLS", "The database connection was lost; the work of the open transaction was rolled back"},
    {u"DBNO", "The database cannot be opened"},
    {u"DBTO", "A database statement ran past its time limit and was cancelled"},
    {u"PIMREQ", "The PIM sync request is malformed (see the attribute or element named)"},
    {u"PIMRUN", "The PIM sync could not complete the command on the server"},
    {u"PIMUSR", "The PIM sync request is for another user than the one signed on"},
    {u"TXIN", "The external tax interface refused to start"},
    {u"TXLB", "The external tax interface library is not configured, cannot be loaded or is incomplete"},
    {u"UDCNF", "The user-defined code is not in the code table"},
    {u"USRAN8", "The user has no address number in their settings"},
};

constexpr bool errorTextsSorted() {
  for (size_t i = 1; i < std::size(kErrorTexts); ++i)
    if (!(kErrorTexts[i - 1].id < kErrorTexts[i].id)) return false;
  return true;
}
static_assert(errorTextsSorted(), "errorMessage searches kErrorTexts by id: keep it sorted");

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

std::string_view errorMessage(std::u16string_view id) noexcept {
  const auto *end = std::end(kErrorTexts);
  const auto *found =
      std::lower_bound(std::begin(kErrorTexts), end, id,
                       [](const ErrorText &text, std::u16string_view wanted) { return text.id < wanted; });
  return found != end && found->id == id ? found->message : std::string_view();
}

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
