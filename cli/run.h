// Running business functions for the command (and the HTTP service): the
// libraries to load, the settings of a fresh context, one call from its
// request to its result object.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "dsjson.h"
#include "runtime/report.h"
#include "vyrdstmpl.h"
#include "vyrtypes.h"

namespace famoflas {

// A command line or input that a command cannot carry out (exit 64).
struct CommandError {
  std::string message;
};

// Loads libfamoflas.so and libfamoflascompanions.so from the folder that holds
// the platform library the command runs on, then every extra library (each exporting its
// catalogue as famoflasCatalog). An extra library may replace a function
// already registered only when overrides names it, and each override must be
// used. False with the reason when one cannot be loaded.
bool loadLibraries(const std::vector<std::string> &extra, std::string *error,
                   const std::vector<std::string> &overrides = {});

// The text of a file, or of stdin for "-"; nullopt when the file cannot be read.
std::optional<std::string> readInput(const std::string &source);

// Settings of a context: the given ones, plus the database location of the
// context's environment ("env.<env>" = absolute path of database) unless that
// key is among them.
std::map<std::string, std::string> contextSettings(std::map<std::string, std::string> settings,
                                                   const std::string &database);

struct CallRequest {
  std::string function;
  std::map<std::string, std::string> settings;
  std::optional<nlohmann::json> members;                         // JSON object of member: value
  std::vector<std::pair<std::string, std::string>> assignments;  // MEMBER=VALUE, applied after members
  std::optional<nlohmann::json> report;  // report state attached to the context (docs/report-state.md)
};

// NOLINTNEXTLINE(bugprone-exception-escape): the implicit move of nlohmann::json is noexcept; tidy reads its internals
struct CallOutcome {
  bool ran = false;  // false: refused before the call, see error
  std::string error;
  ID code = ER_ERROR;  // the function's return code when it ran
  // What the platform itself failed at while the function ran (see
  // vyr::notePlatformFailure): when not empty, the call could not be carried
  // out, whatever code it returned.
  std::vector<std::string> platformFailures;
  nlohmann::ordered_json result;  // {"function", "return", "ds", "errors", "trace"[, "report"]}
};

struct PreparedCall {
  const BSFN_CATALOG_ENTRY *entry = nullptr;
  std::optional<DataStructure> ds;
  vyr::ReportState report;
};

// Everything of a call before it runs: finds the function, fills its data
// structure and reads the report state. False with the reason (nothing to run).
bool prepareCall(const CallRequest &request, PreparedCall *prepared, std::string *error);

// Creates a context, fills the data structure, attaches the report state when
// there is one, calls, prints the report state back, frees the context.
CallOutcome runCall(const CallRequest &request);

// One JSON document of a request (a batch line, a request body), read by
// parseJson: numbers kept exact, a key given twice refused. False with the
// reason.
bool parseRequestJson(std::string_view text, nlohmann::json *document, std::string *error);

// Reads one call written as JSON, {"function", "ds", "settings", "report"}
// (a batch line), onto request, whose settings start as base. Without
// takesSettings a "settings" key is refused: the service's callers run with
// their user's settings only. False with the reason.
bool readCallLine(const nlohmann::json &line, const std::map<std::string, std::string> &base, bool takesSettings,
                  CallRequest *request, std::string *error);

// NOLINTNEXTLINE(bugprone-exception-escape): as CallOutcome
struct BatchLineOutcome {
  bool ran = false;
  std::string error;                          // why the line did not run
  std::vector<std::string> platformFailures;  // of a line that ran: see CallOutcome
  nlohmann::ordered_json output;              // the call's result, or {"line", "function", "error"}
};

// Runs one line of a batch: parses it, reads the call (settings on top of
// base; `database` is the location of the context's environment), runs it.
// The body of POST /v1/call/NAME, {"ds": {...}[, "report": {...}]}, as a
// call of function with the settings base. False with the reason.
bool readCallBody(std::string_view body, const std::string &function, const std::map<std::string, std::string> &base,
                  CallRequest *request, std::string *error);

BatchLineOutcome runBatchLine(std::string_view text, size_t number, const std::map<std::string, std::string> &base,
                              bool takesSettings, const std::string &database);

// What describe prints of a function: its name, source object and members.
nlohmann::ordered_json describeFunction(const std::string &name, const BSFN_CATALOG_ENTRY &entry);

}  // namespace famoflas
