#include "run.h"

#include <dlfcn.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

#include "db/host.h"
#include "dsjson.h"
#include "runtime/context.h"
#include "runtime/report.h"
#include "runtime/valuetext.h"
#include "vyrl.h"

namespace famoflas {
namespace {

// The folder the platform library was loaded from: the libraries sit beside
// it in the build tree and in every installed tree (lib/ or lib/<multiarch>/,
// under any prefix), wherever the command itself was started from.
std::filesystem::path libraryFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void *>(&vyrMemoryManagementInit), &info) != 0 && info.dli_fname != nullptr) {
    std::error_code ec;
    const std::filesystem::path platform = std::filesystem::canonical(info.dli_fname, ec);
    if (!ec) return platform.parent_path();
  }
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

bool prepareCall(const CallRequest &request, PreparedCall *prepared, std::string *error) {
  prepared->entry = vyr::findFunction(request.function);
  if (prepared->entry == nullptr) return *error = "unknown business function '" + request.function + "'", false;
  const DSTMPL *tmpl = prepared->entry->lpTemplate;
  if (tmpl != nullptr) {
    if (std::string problem = vyr::templateProblem(*tmpl); !problem.empty())
      return *error = request.function + ": " + problem, false;
  }
  prepared->ds.emplace(tmpl);
  if (tmpl == nullptr && (request.members.has_value() || !request.assignments.empty())) {
    const bool empty = request.assignments.empty() && request.members->is_object() && request.members->empty();
    if (!empty) return *error = request.function + " takes no data structure", false;
  }
  if (tmpl != nullptr) {
    if (request.members && !setMembersJson(*tmpl, prepared->ds->data(), *request.members, error)) return false;
    for (const auto &[member, text] : request.assignments)
      if (!setMemberText(*tmpl, prepared->ds->data(), member, text, error)) return false;
  }
  if (request.report && !vyr::reportFromJson(*request.report, &prepared->report, error)) return false;
  return true;
}

CallOutcome runCall(const CallRequest &request) {
  CallOutcome outcome;
  PreparedCall prepared;
  if (!prepareCall(request, &prepared, &outcome.error)) return outcome;
  std::string why;
  ContextOwner owner{vyr::createContext(request.settings, &why)};
  if (owner.context == nullptr) {
    outcome.error = "bad setting: " + why;
    return outcome;
  }
  if (request.report && !vyr::attachReport(owner.context, prepared.report)) {
    outcome.error = "the report state could not be attached (out of memory)";
    return outcome;
  }
  outcome.code = vyr::callFunction(owner.context, *prepared.entry, prepared.ds->data());
  outcome.ran = true;
  outcome.platformFailures = owner.context->platformFailures;
  outcome.result["function"] = request.function;
  outcome.result["return"] = outcome.code;
  outcome.result["ds"] = membersJson(prepared.entry->lpTemplate, prepared.ds->data());
  outcome.result["errors"] = errorsJson(owner.context);
  outcome.result["trace"] = traceJson(owner.context);
  if (const vyr::ReportState *after = vyr::attachedReport(owner.context); after != nullptr)
    outcome.result["report"] = vyr::reportToJson(*after);
  return outcome;
}

bool parseRequestJson(std::string_view text, nlohmann::json *document, std::string *error) {
  std::optional<nlohmann::json> parsed = parseJson(text, error);
  if (!parsed) return false;
  *document = std::move(*parsed);
  return true;
}

bool readCallLine(const nlohmann::json &line, const std::map<std::string, std::string> &base, bool takesSettings,
                  CallRequest *request, std::string *error) {
  if (!line.is_object()) return *error = "a batch line must be a JSON object", false;
  const auto function = line.find("function");
  if (function == line.end() || !function->is_string())
    return *error = "\"function\" must name a business function", false;
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
    if (!takesSettings) return *error = "\"settings\" cannot be given here: calls run with the user's settings", false;
    if (!settings->is_object()) return *error = "\"settings\" must be a JSON object of key: value", false;
    for (const auto &[key, value] : settings->items()) {
      const std::optional<std::string> text = scalarText(value);
      if (!text) return *error = "setting " + key + " must be a string or a number", false;
      request->settings[key] = *text;
    }
  }
  return true;
}

bool readCallBody(std::string_view body, const std::string &function, const std::map<std::string, std::string> &base,
                  CallRequest *request, std::string *error) {
  nlohmann::json document;
  if (!parseRequestJson(body, &document, error)) return false;
  if (!document.is_object()) return *error = "the body must be a JSON object {\"ds\": {member: value, ...}}", false;
  if (document.contains("function")) return *error = "the function is named by the path, not by the body", false;
  document["function"] = function;
  return readCallLine(document, base, false, request, error);
}

BatchLineOutcome runBatchLine(std::string_view text, size_t number, const std::map<std::string, std::string> &base,
                              bool takesSettings, const std::string &database) {
  BatchLineOutcome outcome;
  CallRequest request;
  nlohmann::json line;
  if (parseRequestJson(text, &line, &outcome.error) &&
      readCallLine(line, base, takesSettings, &request, &outcome.error)) {
    request.settings = contextSettings(request.settings, database);
    CallOutcome call = runCall(request);
    if (call.ran) {
      outcome.ran = true;
      outcome.platformFailures = std::move(call.platformFailures);
      outcome.output = std::move(call.result);
      return outcome;
    }
    outcome.error = call.error;
  }
  outcome.output["line"] = number;
  outcome.output["function"] =
      request.function.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(request.function);
  outcome.output["error"] = outcome.error;
  return outcome;
}

nlohmann::ordered_json describeFunction(const std::string &name, const BSFN_CATALOG_ENTRY &entry) {
  nlohmann::ordered_json out;
  out["function"] = name;
  out["source"] = entry.szSource ? entry.szSource : "";
  out["members"] = nlohmann::ordered_json::array();
  if (const DSTMPL *tmpl = entry.lpTemplate) {
    for (uint32_t i = 0; i < tmpl->nMembers; ++i) {
      const DSTMPL_MEMBER &m = tmpl->lpMembers[i];
      const char *kind = vyr::valueKindName(m.nKind);
      nlohmann::ordered_json member;
      member["name"] = m.szName ? m.szName : "";
      member["kind"] = kind ? kind : "unknown";
      member["width"] = m.nWidth;
      member["offset"] = m.nOffset;
      out["members"].push_back(std::move(member));
    }
  }
  return out;
}

}  // namespace famoflas
