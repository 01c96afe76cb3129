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

// A zero-filled buffer for one data structure of the template (none: empty).
class DataStructure {
 public:
  explicit DataStructure(const DSTMPL *tmpl);
  void *data() { return words_.empty() ? nullptr : words_.data(); }
  const void *data() const { return words_.empty() ? nullptr : words_.data(); }

 private:
  std::vector<std::max_align_t> words_;
};

// Why the template cannot be used safely ("" when it can): members that lie
// outside the struct or disagree with their kind's size.
std::string templateProblem(const DSTMPL &tmpl);

// Sets one member from its value text; false with "member NAME: why".
bool setMemberText(const DSTMPL &tmpl, void *ds, std::string_view member, std::string_view text,
                   std::string *error);
// A JSON string or number as a value text (a number as JSON writes it);
// nullopt for any other JSON value.
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
