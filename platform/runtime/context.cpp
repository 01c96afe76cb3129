// Creating and freeing contexts, their settings, the resources they hold and
// the fault-injection hook.
#include "runtime/context.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <mutex>
#include <unordered_set>

#include "unicode/jchar_utf8.h"
#include "xerceswrapper.h"

#define VYR_SETTING_TEXT2(x) #x
#define VYR_SETTING_TEXT(x) VYR_SETTING_TEXT2(x)

namespace vyr {
namespace {

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
      {"xmlmaxchars", VYR_SETTING_TEXT(XRCS_DEFAULT_MAX_CHARS), "longest XML text parsed, in characters"},
      {"xmlmaxdepth", VYR_SETTING_TEXT(XRCS_DEFAULT_MAX_DEPTH), "deepest nesting of XML elements parsed"},
      {"dbtimeout", "60",
       "seconds a PostgreSQL statement may run before the server cancels it; a server silent 5 s longer counts "
       "as lost"},
      {"dbkeepalive", "30",
       "seconds an idle PostgreSQL TCP connection waits before keepalive probes (lost after twice that)"},
      {"fail", "", "test hook: operations that must fail (see faultRequested)"},
  };
  return keys;
}

namespace {

// UTF-16 code units of UTF-8 text without control characters (what the
// JCHAR fields the settings end up in count); -1 for text that is not valid
// UTF-8 or holds a control character.
long printableLength(std::string_view text) {
  std::u16string units;
  if (!decodeUtf8(text, &units)) return -1;
  for (char16_t unit : units)
    if (unit < 0x20 || (unit >= 0x7F && unit <= 0x9F)) return -1;
  return long(units.size());
}

bool printable(std::string_view value, long least, long most) {
  const long length = printableLength(value);
  return length >= least && length <= most;
}
bool digits(std::string_view value, size_t least, size_t most) {
  return value.size() >= least && value.size() <= most &&
         std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
}
// A value digits() has passed, within low..high.
bool numberIn(std::string_view value, unsigned long low, unsigned long high) {
  const unsigned long number = std::stoul(std::string(value));
  return number >= low && number <= high;
}

bool capitals(std::string_view value, size_t count) {
  return value.size() == count && std::all_of(value.begin(), value.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}
bool environmentName(std::string_view value) {
  return !value.empty() && value.size() <= 10 && std::all_of(value.begin(), value.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
  });
}

// The form each setting's value must have, and how a refusal describes it.
struct SettingForm {
  const char *key;
  bool (*fits)(std::string_view value);
  const char *description;
};

const SettingForm kForms[] = {
    {"user", [](std::string_view v) { return printable(v, 1, 10); }, "1 to 10 characters"},
    {"an8", [](std::string_view v) { return digits(v, 1, 8); }, "a number of up to 8 digits"},
    {"CTR", [](std::string_view v) { return v.empty() || capitals(v, 2); }, "two capital letters (BR), or blank"},
    {"LNGP", [](std::string_view v) { return v.empty() || (v.size() <= 2 && printable(v, 1, 2)); },
     "up to two characters, or blank"},
    {"program", [](std::string_view v) { return printable(v, 1, 10); }, "1 to 10 characters"},
    {"machine", [](std::string_view v) { return printable(v, 0, 64); }, "up to 64 characters"},
    {"env", environmentName, "1 to 10 letters, digits or _"},
    {"NNO", [](std::string_view v) { return printable(v, 0, 1); }, "one character"},
    {"CENTCHG", [](std::string_view v) { return digits(v, 1, 2); }, "a two-digit year"},
    {"CRMMSL", [](std::string_view v) { return printable(v, 0, 64); }, "up to 64 characters"},
    {"clienttype", [](std::string_view v) { return v == "1" || v == "2"; }, "1 or 2"},
    {"decimal", [](std::string_view v) { return v == "point" || v == "comma"; }, "point or comma"},
    {"dateformat", [](std::string_view v) { return printable(v, 1, 20); }, "a mask of 1 to 20 characters"},
    {"currency", [](std::string_view v) { return v.empty() || capitals(v, 3); },
     "three capital letters (EUR), or blank"},
    {"ldap", [](std::string_view v) { return v == "0" || v == "1"; }, "0 or 1"},
    {"taxplugin", [](std::string_view v) { return printable(v, 0, 4096); }, "a file path"},
    {"fail", [](std::string_view v) { return printable(v, 0, 4096); }, "a list of operations"},
    {"xmlmaxchars", [](std::string_view v) { return digits(v, 1, 10) && numberIn(v, 1, 1073741823); },
     "a number of characters from 1 to 1073741823"},
    {"xmlmaxdepth", [](std::string_view v) { return digits(v, 1, 6) && numberIn(v, 1, 100000); },
     "a number from 1 to 100000"},
    {"dbtimeout", [](std::string_view v) { return digits(v, 1, 5) && numberIn(v, 1, 86400); },
     "a number of seconds from 1 to 86400"},
    {"dbkeepalive", [](std::string_view v) { return digits(v, 1, 5) && numberIn(v, 1, 86400); },
     "a number of seconds from 1 to 86400"},
};

}  // namespace

bool validSetting(std::string_view key, std::string_view value, std::string *error) {
  auto fail = [&](std::string why) {
    if (error) *error = std::move(why);
    return false;
  };
  // Environments are open-ended: "env.NAME" gives the database of NAME.
  if (key.size() > 4 && key.substr(0, 4) == "env.") {
    if (!environmentName(key.substr(4)))
      return fail("setting " + std::string(key) + ": an environment name is 1 to 10 letters, digits or _");
    if (!printable(value, 1, 4096)) return fail("setting " + std::string(key) + " needs a database location");
    return true;
  }
  const auto &keys = settingKeys();
  if (std::none_of(keys.begin(), keys.end(), [&](const SettingKey &k) { return k.key == key; }))
    return fail("unknown setting '" + std::string(key) + "'");
  for (const SettingForm &form : kForms) {
    if (form.key != key || form.fits(value)) continue;
    const bool beyondBmp = std::any_of(value.begin(), value.end(), [](char c) { return (unsigned char)c >= 0xF0; });
    return fail("setting " + std::string(key) + " must be " + form.description +
                (beyondBmp ? " (a character beyond U+FFFF, an emoji say, counts as two)" : ""));
  }
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

void notePlatformFailure(LPBHVRCOM context, std::string_view what) noexcept {
  // A function that fails in a loop says the same thing many times.
  constexpr size_t kKept = 20;
  if (!isLiveContext(context) || context->platformFailures.size() >= kKept) return;
  try {
    context->platformFailures.emplace_back(what);
  } catch (...) {
    // Out of memory: the failure's trace line or error still tells.
  }
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
  const auto it =
      std::find_if(list.rbegin(), list.rend(), [handle](const ContextResource &r) { return r.handle == handle; });
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
