#include "run.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

#include "db/host.h"
#include "dsjson.h"
#include "runtime/context.h"
#include "runtime/report.h"

namespace famoflas {
namespace {

std::filesystem::path libraryFolder() {
  std::error_code ec;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) return "lib";
  return exe.parent_path().parent_path() / "lib";
}

// Frees the context on every path out of runCall.
struct ContextOwner {
  LPBHVRCOM context = nullptr;
  ~ContextOwner() { vyr::freeContext(context); }
};

}  // namespace

bool loadLibraries(const std::vector<std::string> &extra, std::string *error,
                   const std::vector<std::string> &overrides) {
  const std::filesystem::path folder = libraryFolder();
  const std::pair<const char *, const char *> libraries[] = {
      {"libfamoflas.so", "famoflasLibraryCatalog"},
      {"libfamoflascompanions.so", "famoflasCompanionsCatalog"},
  };
  for (const auto &[file, symbol] : libraries) {
    const std::filesystem::path path = folder / file;
    if (!std::filesystem::exists(path)) {
      if (error) *error = "library " + path.string() + " is missing (build it first)";
      return false;
    }
    if (!vyr::loadLibrary(path.string(), symbol, error)) return false;
  }
  for (const std::string &path : extra) {
    std::error_code ec;
    const std::string absolute = std::filesystem::absolute(path, ec).string();
    if (!vyr::loadLibrary(ec ? path : absolute, "famoflasCatalog", error, overrides)) return false;
  }
  // An override nothing used is a mistyped name or a forgotten --library.
  for (const std::string &name : overrides)
    if (vyr::functionOrigin(name).replaced.empty()) {
      if (error) *error = "--override " + name + ": no --library replaced a function of that name";
      return false;
    }
  return true;
}

std::optional<std::string> readInput(const std::string &source) {
  std::ostringstream text;
  if (source == "-") {
    text << std::cin.rdbuf();
  } else {
    std::ifstream file(source, std::ios::binary);
    if (!file) return std::nullopt;
    text << file.rdbuf();
  }
  return text.str();
}

std::map<std::string, std::string> contextSettings(std::map<std::string, std::string> settings,
                                                   const std::string &database) {
  const auto env = settings.find("env");
  std::string name = "DEFAULT";
  for (const vyr::SettingKey &key : vyr::settingKeys())
    if (std::string_view(key.key) == "env") name = key.defaultValue;
  if (env != settings.end()) name = env->second;
  const std::string key = "env." + name;
  if (!settings.count(key) && !database.empty()) {
    if (vyr::db::isPostgresLocation(database)) {  // a server location, not a file
      settings[key] = database;
      return settings;
    }
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(database, ec);
    settings[key] = ec ? database : absolute.string();
  }
  return settings;
}

CallOutcome runCall(const CallRequest &request) {
  CallOutcome outcome;
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(request.function);
  if (entry == nullptr) {
    outcome.error = "unknown business function '" + request.function + "'";
    return outcome;
  }
  const DSTMPL *tmpl = entry->lpTemplate;
  if (tmpl != nullptr) {
    if (std::string problem = vyr::templateProblem(*tmpl); !problem.empty()) {
      outcome.error = request.function + ": " + problem;
      return outcome;
    }
  }
  DataStructure ds(tmpl);
  if (tmpl == nullptr && (request.members.has_value() || !request.assignments.empty())) {
    const bool empty = request.assignments.empty() && request.members->is_object() && request.members->empty();
    if (!empty) {
      outcome.error = request.function + " takes no data structure";
      return outcome;
    }
  }
  if (tmpl != nullptr) {
    if (request.members && !setMembersJson(*tmpl, ds.data(), *request.members, &outcome.error)) return outcome;
    for (const auto &[member, text] : request.assignments)
      if (!setMemberText(*tmpl, ds.data(), member, text, &outcome.error)) return outcome;
  }
  vyr::ReportState report;
  if (request.report && !vyr::reportFromJson(*request.report, &report, &outcome.error)) return outcome;
  std::string why;
  ContextOwner owner{vyr::createContext(request.settings, &why)};
  if (owner.context == nullptr) {
    outcome.error = "bad setting: " + why;
    return outcome;
  }
  if (request.report && !vyr::attachReport(owner.context, report)) {
    outcome.error = "the report state could not be attached (out of memory)";
    return outcome;
  }
  outcome.code = vyr::callFunction(owner.context, *entry, ds.data());
  outcome.ran = true;
  outcome.platformFailures = owner.context->platformFailures;
  outcome.result["function"] = request.function;
  outcome.result["return"] = outcome.code;
  outcome.result["ds"] = membersJson(tmpl, ds.data());
  outcome.result["errors"] = errorsJson(owner.context);
  outcome.result["trace"] = traceJson(owner.context);
  if (const vyr::ReportState *after = vyr::attachedReport(owner.context); after != nullptr)
    outcome.result["report"] = vyr::reportToJson(*after);
  return outcome;
}

bool readBatchLine(std::string_view text, const std::map<std::string, std::string> &base, CallRequest *request,
                   std::string *error) {
  const std::optional<nlohmann::json> parsed = parseJson(text, error);
  if (!parsed) return false;
  const nlohmann::json &line = *parsed;
  if (!line.is_object()) return *error = "a batch line must be a JSON object", false;
  const auto function = line.find("function");
  if (function == line.end() || !function->is_string()) return *error = "\"function\" must name a business function", false;
  request->function = function->get<std::string>();
  for (const auto &[key, value] : line.items())
    if (key != "function" && key != "ds" && key != "settings" && key != "report")
      return *error = "unknown key \"" + key + "\"", false;
  if (const auto report = line.find("report"); report != line.end() && !report->is_null()) request->report = *report;
  if (const auto ds = line.find("ds"); ds != line.end() && !ds->is_null()) {
    if (!ds->is_object()) return *error = "\"ds\" must be a JSON object of member: value", false;
    request->members = *ds;
  }
  request->settings = base;
  if (const auto settings = line.find("settings"); settings != line.end() && !settings->is_null()) {
    if (!settings->is_object()) return *error = "\"settings\" must be a JSON object of key: value", false;
    for (const auto &[key, value] : settings->items()) {
      const std::optional<std::string> setting = scalarText(value);
      if (!setting) return *error = "setting " + key + " must be a string or a number", false;
      request->settings[key] = *setting;
    }
  }
  return true;
}

}  // namespace famoflas
