// Data structures as JSON: members filled from JSON values or MEMBER=VALUE
// texts, and printed back in declaration order (shared by the command's call
// and batch, and by the HTTP service).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "runtime/context.h"

namespace famoflas {

// Reads a JSON document for the command and the service: a number that is not
// an integer keeps its text (as a JSON string: "1.10" stays 1.10, and the
// value texts read it as they read a string), and a key given twice in one
// object is refused. nullopt with the reason in *error.
std::optional<nlohmann::json> parseJson(std::string_view text, std::string *error);

// A zero-filled buffer for one data structure of the template (none: empty).
class DataStructure {
 public:
  explicit DataStructure(const DSTMPL *tmpl);
  void *data() { return words_.empty() ? nullptr : words_.data(); }
  const void *data() const { return words_.empty() ? nullptr : words_.data(); }

 private:
  std::vector<std::max_align_t> words_;
};

// Sets one member from its value text; false with "member NAME: why".
bool setMemberText(const DSTMPL &tmpl, void *ds, std::string_view member, std::string_view text, std::string *error);
// A JSON string or integer as a value text (other numbers are strings once
// parseJson has read them); nullopt for any other JSON value.
std::optional<std::string> scalarText(const nlohmann::json &value);
// Sets members from a JSON object of member: value (strings, numbers, null).
bool setMembersJson(const DSTMPL &tmpl, void *ds, const nlohmann::json &members, std::string *error);
// Every member in declaration order; integers as numbers, null dates as null.
nlohmann::ordered_json membersJson(const DSTMPL *tmpl, const void *ds);

// The errors and trace lines of a context as the command prints them.
nlohmann::ordered_json errorsJson(LPBHVRCOM context);
nlohmann::ordered_json traceJson(LPBHVRCOM context);

// Text as JSON writes it: JSON cannot hold ill-formed UTF-8.
std::string dumpJson(const nlohmann::ordered_json &value);

}  // namespace famoflas
