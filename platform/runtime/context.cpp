// Creating and freeing contexts, their settings, the resources they hold and
// the fault-injection hook.
#include "runtime/context.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <mutex>
#include <unordered_set>

namespace vyr {
namespace {

bool oneOf(std::string_view value, std::initializer_list<std::string_view> allowed) {
  return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

std::string hostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof name) != 0) return "localhost";
  name[HOST_NAME_MAX] = '\0';
  return name;
}

// Number and date format of the settings, as the context-free operations read them.
void deriveThreadSettings(tagBHVRCOM &context) {
  const bool comma = context.settings["decimal"] == "comma";
  context.threadSettings.decimalSeparator = comma ? u',' : u'.';
  context.threadSettings.thousandsSeparator = comma ? u'.' : u',';
  const std::string &mask = context.settings["dateformat"];
  context.threadSettings.dateMask.assign(mask.begin(), mask.end());
}

std::mutex gLiveMutex;
std::unordered_set<const void *> gLiveContexts;

}  // namespace

bool isLiveContext(const void *pointer) noexcept {
  if (pointer == nullptr) return false;
  std::lock_guard lock(gLiveMutex);
  return gLiveContexts.count(pointer) != 0;
}

const std::vector<SettingKey> &settingKeys() {
  static const std::vector<SettingKey> keys = {
      {"user", "FAMOFLAS", "signed-on user id"},
      {"an8", "0", "address number of the signed-on user"},
      {"CTR", "", "user's localization country (two letters, blank: none)"},
      {"LNGP", "", "user's language"},
      {"program", "FAMOFLAS", "program id recorded in audit columns"},
      {"machine", "", "workstation recorded in audit columns (blank: this host's name)"},
      {"env", "DEFAULT", "name of the environment the context runs in"},
      {"NNO", "0", "system constant: next-number method (0 by system, 1 or 2 by company and fiscal year)"},
      {"CENTCHG", "50", "data dictionary: century-change year (two-digit years up to it are 20xx)"},
      {"CRMMSL", "0", "environment value: mobile sales switch (anything but 0 is on)"},
      {"clienttype", "1", "client type: 1 connected, 2 disconnected (mobile)"},
      {"decimal", "point", "decimal separator: point or comma"},
      {"dateformat", "YYYY-MM-DD", "date display mask (YYYY YY MM DD, other characters literal)"},
      {"currency", "", "installation's domestic currency code"},
      {"ldap", "0", "1 when passwords are checked by a directory service"},
      {"taxplugin", "", "path of the external tax-interface library"},
      {"dbtimeout", "60",
       "seconds a PostgreSQL statement may run before the server cancels it; a server silent 5 s longer counts "
       "as lost"},
      {"dbkeepalive", "30",
       "seconds an idle PostgreSQL TCP connection waits before keepalive probes (lost after twice that)"},
      {"fail", "", "test hook: operations that must fail (see faultRequested)"},
  };
  return keys;
}

bool validSetting(std::string_view key, std::string_view value, std::string *error) {
  auto fail = [&](std::string why) {
    if (error) *error = std::move(why);
    return false;
  };
  // Environments are open-ended: "env.NAME" gives the database of NAME.
  if (key.size() > 4 && key.substr(0, 4) == "env.") {
    if (value.empty()) return fail("setting " + std::string(key) + " needs a database location");
    return true;
  }
  const auto &keys = settingKeys();
  const auto known = std::find_if(keys.begin(), keys.end(), [&](const SettingKey &k) { return k.key == key; });
  if (known == keys.end()) return fail("unknown setting '" + std::string(key) + "'");
  if (key == "decimal" && !oneOf(value, {"point", "comma"}))
    return fail("setting decimal must be point or comma");
  if (key == "ldap" && !oneOf(value, {"0", "1"})) return fail("setting ldap must be 0 or 1");
  if (key == "clienttype" && !oneOf(value, {"1", "2"})) return fail("setting clienttype must be 1 or 2");
  if (key == "NNO" && value.size() > 1) return fail("setting NNO is one character");
  if (key == "CENTCHG" && (value.empty() || value.size() > 2 ||
                           !std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; })))
    return fail("setting CENTCHG is a two-digit year");
  if ((key == "an8") && (value.empty() || !std::all_of(value.begin(), value.end(),
                                                        [](char c) { return c >= '0' && c <= '9'; })))
    return fail("setting an8 is a number");
  if (key == "dateformat" && value.empty()) return fail("setting dateformat needs a mask");
  if (key == "dbtimeout" || key == "dbkeepalive") {
    const bool digits = !value.empty() && value.size() <= 5 &&
                        std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digits || std::stoi(std::string(value)) < 1 || std::stoi(std::string(value)) > 86400)
      return fail("setting " + std::string(key) + " is a number of seconds from 1 to 86400");
  }
  if ((key == "env" || key == "user" || key == "program") && (value.empty() || value.size() > 10))
    return fail("setting " + std::string(key) + " is 1 to 10 characters");
  return true;
}

LPBHVRCOM createContext(const std::map<std::string, std::string> &settings, std::string *error) {
  try {
    auto *context = new tagBHVRCOM;
    context->user.context = context;
    for (const SettingKey &k : settingKeys()) context->settings[k.key] = k.defaultValue;
    context->settings["machine"] = hostName().substr(0, 15);
    for (const auto &[key, value] : settings) {
      if (!validSetting(key, value, error)) {
        delete context;
        return nullptr;
      }
      context->settings[key] = value;
    }
    deriveThreadSettings(*context);
    {
      std::lock_guard lock(gLiveMutex);
      gLiveContexts.insert(context);
    }
    return context;
  } catch (const std::exception &e) {
    if (error) *error = e.what();
    return nullptr;
  }
}

void freeContext(LPBHVRCOM context) noexcept {
  if (context == nullptr) return;
  {
    std::lock_guard lock(gLiveMutex);
    gLiveContexts.erase(context);
  }
  // Release in reverse order of acquisition, as the functions themselves would.
  while (!context->resources.empty()) {
    ContextResource resource = context->resources.back();
    context->resources.pop_back();
    if (resource.release) resource.release(resource.handle);
  }
  delete context;
}

LPVOID userEnvironment(LPBHVRCOM context) noexcept { return context ? &context->user : nullptr; }

bool setSetting(LPBHVRCOM context, std::string_view key, std::string_view value, std::string *error) {
  if (context == nullptr) {
    if (error) *error = "no context";
    return false;
  }
  if (!validSetting(key, value, error)) return false;
  context->settings[std::string(key)] = std::string(value);
  deriveThreadSettings(*context);
  return true;
}

std::string setting(LPBHVRCOM context, std::string_view key) {
  if (context == nullptr) return {};
  const auto it = context->settings.find(std::string(key));
  return it == context->settings.end() ? std::string() : it->second;
}

void registerResource(LPBHVRCOM context, ContextResource resource) {
  if (context != nullptr && resource.handle != nullptr) context->resources.push_back(resource);
}

void unregisterResource(LPBHVRCOM context, void *handle) noexcept {
  if (context == nullptr) return;
  auto &list = context->resources;
  const auto it = std::find_if(list.rbegin(), list.rend(),
                               [handle](const ContextResource &r) { return r.handle == handle; });
  if (it != list.rend()) list.erase(std::next(it).base());
}

bool faultRequested(LPBHVRCOM context, std::string_view operation, std::u16string_view detail) noexcept {
  if (context == nullptr) return false;
  const auto it = context->settings.find("fail");
  if (it == context->settings.end() || it->second.empty()) return false;
  std::string_view list = it->second;
  while (!list.empty()) {
    const size_t comma = list.find(',');
    std::string_view item = list.substr(0, comma);
    list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    const size_t colon = item.find(':');
    if (item.substr(0, colon) != operation) continue;
    if (colon == std::string_view::npos) return true;
    const std::string_view wanted = item.substr(colon + 1);
    // Details are short ASCII names (tables, caches): compare unit by unit.
    if (wanted.size() == detail.size() &&
        std::equal(wanted.begin(), wanted.end(), detail.begin(),
                   [](char a, char16_t b) { return static_cast<char16_t>(static_cast<unsigned char>(a)) == b; }))
      return true;
  }
  return false;
}

}  // namespace vyr
