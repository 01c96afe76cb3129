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

#include "vyrtypes.h"

namespace famoflas {

// Loads libfamoflas.so and libfamoflascompanions.so from the lib folder beside
// the executable's bin folder, then every extra library (each exporting its
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
  std::optional<nlohmann::json> members;                     // JSON object of member: value
  std::vector<std::pair<std::string, std::string>> assignments;  // MEMBER=VALUE, applied after members
  std::optional<nlohmann::json> report;  // report state attached to the context (docs/report-state.md)
};

struct CallOutcome {
  bool ran = false;           // false: refused before the call, see error
  std::string error;
  ID code = ER_ERROR;         // the function's return code when it ran
  // What the platform itself failed at while the function ran (see
  // vyr::notePlatformFailure): when not empty, the call could not be carried
  // out, whatever code it returned.
  std::vector<std::string> platformFailures;
  nlohmann::ordered_json result;  // {"function", "return", "ds", "errors", "trace"[, "report"]}
};

// Creates a context, fills the data structure, attaches the report state when
// there is one, calls, prints the report state back, frees the context.
CallOutcome runCall(const CallRequest &request);

// Reads one batch line, a JSON object {"function": NAME, "ds": {...},
// "settings": {...}, "report": {...}}, into a request whose settings are base
// with the line's own over them. False with the reason (request->function is
// set when the line names one).
bool readBatchLine(std::string_view text, const std::map<std::string, std::string> &base, CallRequest *request,
                   std::string *error);

}  // namespace famoflas
