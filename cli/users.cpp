#include "users.h"

#include <sodium.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <iostream>

#include "dsjson.h"
#include "run.h"
#include "runtime/context.h"
#include "runtime/valuetext.h"
#include "tables.h"
#include "unicode/jchar_utf8.h"

namespace famoflas {
namespace {

const JCHAR kUsers[] = u"F98SVUSR";
const JCHAR kSettings[] = u"F98SVSET";
constexpr size_t kNameWidth = 10;
constexpr size_t kHashWidth = 128;
constexpr size_t kKeyWidth = 20;
constexpr size_t kValueWidth = 256;

#pragma pack(push, 1)
struct UserRow {  // F98SVUSR, every column
  JCHAR name[kNameWidth + 1];
  JCHAR hash[kHashWidth + 1];
  UTIME changed;
};
struct UserKey {
  JCHAR name[kNameWidth + 1];
};
struct SettingRow {  // F98SVSET, every column
  JCHAR name[kNameWidth + 1];
  JCHAR key[kKeyWidth + 1];
  JCHAR value[kValueWidth + 1];
};
struct SettingRowKey {
  JCHAR name[kNameWidth + 1];
  JCHAR key[kKeyWidth + 1];
};
#pragma pack(pop)

template <size_t N>
void put(JCHAR (&field)[N], std::string_view text) {
  const std::u16string wide = vyr::fromUtf8(text);
  std::memset(field, 0, sizeof field);
  std::memcpy(field, wide.data(), std::min(wide.size(), N - 1) * sizeof(JCHAR));
}

// A column's text as stored: without the blanks its width pads it with.
template <size_t N>
std::string get(const JCHAR (&field)[N]) {
  size_t n = 0;
  while (n < N && field[n] != 0) ++n;
  while (n > 0 && field[n - 1] == u' ') --n;
  return vyr::toUtf8(std::u16string_view(field, n));
}

// Whether the text fits a column of that many characters.
bool fits(std::string_view text, size_t width) { return vyr::fromUtf8(text).size() <= width; }

UserKey userKey(std::string_view name) {
  UserKey key{};
  put(key.name, name);
  return key;
}

// Settings a user may not carry: who they are, which database they reach and
// the fault-injection hook belong to the host, never to a user's profile.
bool reservedSetting(std::string_view key) {
  return key == "user" || key == "env" || key.starts_with("env.") || key == "fail";
}

bool openTable(TableSession &session, const JCHAR *table, std::string *error) {
  if (VDB_OpenTable(session.user, table, 1, nullptr, 0, nullptr, &session.request) == VDB_SUCCESS) return true;
  session.request = nullptr;
  *error = "cannot open " + vyr::toUtf8(table) + lastTrace(session.context);
  return false;
}

// A user's settings, read on the session's settings table.
bool readSettings(TableSession &session, std::string_view name, std::map<std::string, std::string> *settings,
                  std::string *error) {
  if (!openTable(session, kSettings, error)) return false;
  SettingRowKey key{};
  put(key.name, name);
  if (VDB_SelectKeyed(session.request, 1, &key, 1) != VDB_SUCCESS) {
    *error = "cannot read " + vyr::toUtf8(kSettings) + lastTrace(session.context);
    session.closeRequest();
    return false;
  }
  SettingRow row{};
  ID fetched;
  while ((fetched = VDB_Fetch(session.request, &row, 0)) == VDB_SUCCESS) (*settings)[get(row.key)] = get(row.value);
  // Some settings read are not a user's settings.
  if (fetched != VDB_NOT_FOUND) *error = "cannot read " + vyr::toUtf8(kSettings) + lastTrace(session.context);
  session.closeRequest();
  return fetched == VDB_NOT_FOUND;
}

std::string nowText() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

bool sodiumReady() {
  static const bool ready = sodium_init() >= 0;
  return ready;
}

// The password from stdin: one line, its line end dropped.
std::string readPassword() {
  const std::optional<std::string> input = readInput("-");
  std::string password = input.value_or("");
  if (password.ends_with('\n')) password.pop_back();
  if (password.ends_with('\r')) password.pop_back();
  if (password.find_first_of("\r\n") != std::string::npos) throw CommandError{"the password is one line of stdin"};
  std::u16string ignored;
  if (!vyr::decodeUtf8(password, &ignored)) throw CommandError{"the password is not valid UTF-8"};
  return password;
}

// What the rules of the password policy ask, by the error id of each.
const char *ruleMeaning(std::string_view id) {
  if (id == "187A") return "it is shorter than the policy's minimum length";
  if (id == "187B") return "it has fewer digits than the policy asks";
  if (id == "187C") return "it repeats a character in more places than the policy allows";
  if (id == "187D") return "it has fewer special characters than the policy asks";
  if (id == "187Q") return "it has fewer letters than the policy asks";
  return "it breaks the policy";
}

// Checks the password with ValidatePasswordPolicyFromF98QXSEC on the same
// database; throws with the policy's error id when it is refused.
void checkPolicy(const std::map<std::string, std::string> &settings, const std::string &password) {
  CallRequest request;
  request.function = "ValidatePasswordPolicyFromF98QXSEC";
  request.settings = settings;
  request.assignments.emplace_back("szPassword", password);
  const CallOutcome outcome = runCall(request);
  if (!outcome.ran) {
    if (outcome.error.find("szPassword") != std::string::npos)
      throw CommandError{"the password is longer than the policy function can check (256 characters)"};
    throw CommandError{"cannot check the password policy: " + outcome.error};
  }
  const std::string applied = outcome.result["ds"].value("cPolicyApplied", "");
  if (outcome.code == ER_SUCCESS && applied == "1") return;
  if (outcome.code == ER_SUCCESS)
    throw CommandError{
        "passwords are checked by the directory service here (setting ldap=1); the service keeps "
        "no passwords of its own then"};
  for (const auto &error : outcome.result["errors"]) {
    const std::string id = error.value("id", "");
    throw CommandError{"the password is refused by the password policy: error " + id + " (" + ruleMeaning(id) + ")"};
  }
  throw CommandError{
      "the database has no password policy (the *POLICY row of F98QXSEC), so no password can pass it: run "
      "`famoflas db init` to install the default policy, or set one with `famoflas call "
      "UpdatePasswordPolicyToF98QXSEC mnMinimumLength=12 mnMinimumNumerics=1 mnMinimumCharacters=1 "
      "mnMaximumConsecutive=3 mnMinimumSpecial=0`"};
}

std::string hashPassword(const std::string &password) {
  if (!sodiumReady()) throw CommandError{"libsodium cannot be initialised"};
  char hash[crypto_pwhash_STRBYTES];
  if (crypto_pwhash_str(hash, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
    throw CommandError{"cannot hash the password (out of memory)"};
  return hash;
}

UserRow userRow(const std::string &name, const std::string &hash) {
  UserRow row{};
  put(row.name, name);
  put(row.hash, hash);
  std::string why;
  if (!vyr::parseValue(VYR_DSK_UTIME, 1, nowText(), &row.changed, &why)) throw CommandError{"clock: " + why};
  return row;
}

void openForWriting(const std::map<std::string, std::string> &settings, TableSession *session) {
  std::string error;
  if (!openTableSession(settings, 1, session, &error)) throw CommandError{"user: " + error};
}

bool hasError(LPBHVRCOM context, std::u16string_view id) {
  return std::any_of(context->errors.begin(), context->errors.end(),
                     [&](const vyr::ErrorRecord &error) { return error.id == id; });
}

void commit(TableSession &session) {
  if (VDB_CommitUser(session.user) != VDB_SUCCESS)
    throw CommandError{"user: commit failed, nothing changed" + lastTrace(session.context)};
}

void requireUser(TableSession &session, const std::string &name) {
  std::string error;
  if (!openTable(session, kUsers, &error)) throw CommandError{"user: " + error};
  const UserKey key = userKey(name);
  UserRow row{};
  const ID found = VDB_FetchKeyed(session.request, 1, &key, 1, &row, 0);
  session.closeRequest();
  if (found == VDB_NOT_FOUND) throw CommandError{"no user " + name};
  if (found != VDB_SUCCESS) throw CommandError{"user: cannot read " + vyr::toUtf8(kUsers) + lastTrace(session.context)};
}

void printLine(const nlohmann::ordered_json &value) { std::cout << dumpJson(value) << '\n'; }

// add (replace false) and passwd: the password from stdin, checked by the policy, hashed and written.
int storePassword(const std::string &name, bool replace, const std::map<std::string, std::string> &settings) {
  const std::string password = readPassword();
  checkPolicy(settings, password);
  const UserRow row = userRow(name, hashPassword(password));
  TableSession session;
  openForWriting(settings, &session);
  std::string error;
  if (!openTable(session, kUsers, &error)) throw CommandError{"user: " + error};
  const UserKey key = userKey(name);
  const ID written =
      replace ? VDB_UpdateTable(session.request, 1, &key, 1, &row) : VDB_InsertTable(session.request, &row);
  if (written != VDB_SUCCESS) {
    // Only a missing row or a key already taken is the user's mistake; any
    // other failure is the database's and says so.
    const bool taken = !replace && hasError(session.context, u"DBDK");
    const std::string why = lastTrace(session.context);
    VDB_RollbackUser(session.user);
    if (replace && written == VDB_NOT_FOUND) throw CommandError{"no user " + name};
    if (taken) throw CommandError{"user " + name + " exists already (famoflas user passwd changes a password)"};
    throw CommandError{"user: " + name + " not written, nothing changed" + why};
  }
  session.closeRequest();
  commit(session);
  printLine({{"user", name}, {replace ? "passwordChanged" : "added", true}});
  return 0;
}

int removeCommand(const std::string &name, const std::map<std::string, std::string> &settings) {
  TableSession session;
  openForWriting(settings, &session);
  requireUser(session, name);
  std::string error;
  const UserKey key = userKey(name);
  SettingRowKey settingKey{};
  put(settingKey.name, name);
  if (!openTable(session, kSettings, &error)) throw CommandError{"user remove: " + error};
  VDB_DeleteTable(session.request, 1, &settingKey, 1);  // none to delete is fine
  session.closeRequest();
  if (!openTable(session, kUsers, &error)) throw CommandError{"user remove: " + error};
  if (VDB_DeleteTable(session.request, 1, &key, 1) != VDB_SUCCESS) {
    VDB_RollbackUser(session.user);
    throw CommandError{"user remove: " + name + " not removed" + lastTrace(session.context)};
  }
  session.closeRequest();
  commit(session);
  printLine({{"user", name}, {"removed", true}});
  return 0;
}

int listCommand(const std::map<std::string, std::string> &settings) {
  TableSession session;
  std::string error;
  if (!openTableSession(settings, 0, &session, &error)) throw CommandError{"user list: " + error};
  if (!openTable(session, kUsers, &error)) throw CommandError{"user list: " + error};
  std::vector<UserRow> rows;
  UserRow row{};
  if (VDB_SelectKeyed(session.request, 1, nullptr, 0) != VDB_SUCCESS)
    throw CommandError{"user list: cannot read F98SVUSR" + lastTrace(session.context)};
  ID fetched;
  while ((fetched = VDB_Fetch(session.request, &row, 0)) == VDB_SUCCESS) rows.push_back(row);
  session.closeRequest();
  if (fetched != VDB_NOT_FOUND) throw CommandError{"user list: cannot read F98SVUSR" + lastTrace(session.context)};
  for (const UserRow &user : rows) {
    std::map<std::string, std::string> userSettings;
    if (!readSettings(session, get(user.name), &userSettings, &error)) throw CommandError{"user list: " + error};
    nlohmann::ordered_json line;
    line["user"] = get(user.name);
    line["passwordChanged"] = vyr::formatValue(VYR_DSK_UTIME, 1, &user.changed).value_or("");
    line["settings"] = userSettings;
    printLine(line);
  }
  return 0;
}

int setCommand(const std::string &name, const std::vector<std::string> &pairs,
               const std::map<std::string, std::string> &settings) {
  if (pairs.empty()) throw CommandError{"user set needs KEY=VALUE (KEY= removes the setting)"};
  std::vector<std::pair<std::string, std::string>> changes;
  for (const std::string &pair : pairs) {
    const size_t eq = pair.find('=');
    if (eq == std::string::npos || eq == 0) throw CommandError{"user set needs KEY=VALUE, got '" + pair + "'"};
    std::string key = pair.substr(0, eq), value = pair.substr(eq + 1), why;
    if (reservedSetting(key))
      throw CommandError{"setting " + key + " is not a user's: the service sets it for every call"};
    const auto &known = vyr::settingKeys();
    if (std::none_of(known.begin(), known.end(), [&](const vyr::SettingKey &k) { return key == k.key; }))
      throw CommandError{"unknown setting '" + key + "' (see famoflas --help)"};
    if (!value.empty() && !vyr::validSetting(key, value, &why)) throw CommandError{"bad setting: " + why};
    if (!fits(value, kValueWidth)) throw CommandError{"setting " + key + " is longer than 256 characters"};
    changes.emplace_back(std::move(key), std::move(value));
  }
  TableSession session;
  openForWriting(settings, &session);
  requireUser(session, name);
  std::string error;
  if (!openTable(session, kSettings, &error)) throw CommandError{"user set: " + error};
  for (const auto &[key, value] : changes) {
    SettingRowKey rowKey{};
    put(rowKey.name, name);
    put(rowKey.key, key);
    // replaced, or removed when the value is empty
    if (VDB_DeleteTable(session.request, 1, &rowKey, 2) == VDB_FAILED) {
      const std::string why = lastTrace(session.context);
      VDB_RollbackUser(session.user);
      throw CommandError{"user set: " + key + " not written, nothing changed" + why};
    }
    if (value.empty()) continue;
    SettingRow row{};
    put(row.name, name);
    put(row.key, key);
    put(row.value, value);
    if (VDB_InsertTable(session.request, &row) != VDB_SUCCESS) {
      VDB_RollbackUser(session.user);
      throw CommandError{"user set: " + key + " not written, nothing changed" + lastTrace(session.context)};
    }
  }
  session.closeRequest();
  commit(session);
  std::map<std::string, std::string> now;
  if (!readSettings(session, name, &now, &error)) throw CommandError{"user set: " + error};
  printLine({{"user", name}, {"settings", now}});
  return 0;
}

}  // namespace

std::string userNameProblem(std::string_view name) {
  if (name.empty() || name.size() > kNameWidth) return "a user name is 1 to 10 characters";
  for (char c : name)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-')
      return "a user name has only letters A-Z a-z, digits and . _ -";
  return {};
}

UserLookup findUser(const std::map<std::string, std::string> &settings, std::string_view name, ServiceUser *user,
                    std::string *error) {
  if (!userNameProblem(name).empty()) return UserLookup::Missing;
  TableSession session;
  if (!openTableSession(settings, 0, &session, error)) return UserLookup::Failed;
  if (!openTable(session, kUsers, error)) return UserLookup::Failed;
  const UserKey key = userKey(name);
  UserRow row{};
  const ID found = VDB_FetchKeyed(session.request, 1, &key, 1, &row, 0);
  session.closeRequest();
  if (found == VDB_NOT_FOUND) return UserLookup::Missing;
  if (found != VDB_SUCCESS) {
    *error = "cannot read " + vyr::toUtf8(kUsers) + lastTrace(session.context);
    return UserLookup::Failed;
  }
  user->name = get(row.name);
  user->hash = get(row.hash);
  user->passwordChanged = vyr::formatValue(VYR_DSK_UTIME, 1, &row.changed).value_or("");
  user->settings.clear();
  return readSettings(session, name, &user->settings, error) ? UserLookup::Found : UserLookup::Failed;
}

bool passwordMatches(const std::string &hash, std::string_view password) {
  return sodiumReady() && crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

int runUserCommand(const std::vector<std::string> &arguments, const std::map<std::string, std::string> &settings) {
  const std::string usage = "user needs add NAME, passwd NAME, remove NAME, list or set NAME KEY=VALUE...";
  if (arguments.empty()) throw CommandError{usage};
  const std::string &action = arguments.front();
  if (action == "list" && arguments.size() == 1) return listCommand(settings);
  if (arguments.size() < 2) throw CommandError{usage};
  const std::string &name = arguments[1];
  if (const std::string problem = userNameProblem(name); !problem.empty())
    throw CommandError{problem + ", got '" + name + "'"};
  if ((action == "add" || action == "passwd") && arguments.size() == 2)
    return storePassword(name, action == "passwd", settings);
  if (action == "remove" && arguments.size() == 2) return removeCommand(name, settings);
  if (action == "set") return setCommand(name, {arguments.begin() + 2, arguments.end()}, settings);
  throw CommandError{usage};
}

bool ensurePasswordPolicy(const std::map<std::string, std::string> &settings, std::string *said) {
  const auto policyCall = [&](const char *function, std::vector<std::pair<std::string, std::string>> limits) {
    CallRequest request;
    request.function = function;
    request.settings = settings;
    request.assignments = std::move(limits);
    return runCall(request);
  };
  const CallOutcome current = policyCall("GetPasswordPolicyFromF98QXSEC", {});
  if (current.ran && current.code == ER_SUCCESS) {
    *said = "kept the policy in the database";
    return true;
  }
  // Long enough to resist guessing, with a digit and a letter; pass-phrases
  // need no special characters.
  const CallOutcome added = policyCall("AddPasswordPolicyToF98QXSEC", {{"mnMinimumLength", "12"},
                                                                       {"mnMinimumNumerics", "1"},
                                                                       {"mnMinimumCharacters", "1"},
                                                                       {"mnMaximumConsecutive", "3"},
                                                                       {"mnMinimumSpecial", "0"}});
  if (!added.ran || added.code != ER_SUCCESS) {
    *said = "cannot install the default password policy" + (added.error.empty() ? "" : ": " + added.error);
    return false;
  }
  *said =
      "installed the default: at least 12 characters, 1 digit and 1 letter, at most 3 places where a character "
      "repeats the one before";
  return true;
}

}  // namespace famoflas
