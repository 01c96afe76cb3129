#include "dsjson.h"

#include <cstring>

#include "runtime/valuetext.h"
#include "unicode/jchar_utf8.h"

namespace famoflas {
namespace {

bool fail(std::string *error, std::string why) {
  if (error) *error = std::move(why);
  return false;
}

// The member of that name; null with the reason in *error.
const DSTMPL_MEMBER *findMember(const DSTMPL &tmpl, std::string_view name, std::string *error) {
  for (uint32_t i = 0; i < tmpl.nMembers; ++i)
    if (tmpl.lpMembers[i].szName != nullptr && name == tmpl.lpMembers[i].szName) return &tmpl.lpMembers[i];
  fail(error, "unknown member '" + std::string(name) + "' of " + (tmpl.szName ? tmpl.szName : "the data structure"));
  return nullptr;
}

}  // namespace

DataStructure::DataStructure(const DSTMPL *tmpl) {
  if (tmpl != nullptr && tmpl->nSize > 0)
    words_.assign((tmpl->nSize + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t), std::max_align_t{});
}

std::string templateProblem(const DSTMPL &tmpl) {
  const std::string name = tmpl.szName ? tmpl.szName : "(unnamed)";
  if (tmpl.nMembers > 0 && tmpl.lpMembers == nullptr) return "template " + name + " has no member list";
  for (uint32_t i = 0; i < tmpl.nMembers; ++i) {
    const DSTMPL_MEMBER &m = tmpl.lpMembers[i];
    const std::string member = m.szName ? m.szName : "#" + std::to_string(i + 1);
    if (vyr::valueKindName(m.nKind) == nullptr)
      return "template " + name + ": member " + member + " has an unknown kind";
    if (vyr::valueSize(m.nKind, m.nWidth) != m.nSize)
      return "template " + name + ": member " + member + " has a size that does not match its kind";
    if (uint64_t(m.nOffset) + m.nSize > tmpl.nSize)
      return "template " + name + ": member " + member + " lies outside the data structure";
  }
  return {};
}

std::optional<std::string> scalarText(const nlohmann::json &value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  return std::nullopt;
}

bool setMemberText(const DSTMPL &tmpl, void *ds, std::string_view member, std::string_view text,
                   std::string *error) {
  const DSTMPL_MEMBER *m = findMember(tmpl, member, error);
  if (m == nullptr) return false;
  std::string why;
  if (!vyr::parseValue(m->nKind, m->nWidth, text, static_cast<unsigned char *>(ds) + m->nOffset, &why))
    return fail(error, "member " + std::string(member) + ": " + why);
  return true;
}

bool setMembersJson(const DSTMPL &tmpl, void *ds, const nlohmann::json &members, std::string *error) {
  if (!members.is_object()) return fail(error, "the data structure must be a JSON object of member: value");
  for (const auto &[name, value] : members.items()) {
    if (const auto text = scalarText(value)) {
      if (!setMemberText(tmpl, ds, name, *text, error)) return false;
      continue;
    }
    const DSTMPL_MEMBER *m = findMember(tmpl, name, error);
    if (m == nullptr) return false;
    std::string why = std::string("a JSON ") + value.type_name() + " is not a value (give a string or a number)";
    if (value.is_null() && vyr::parseNullValue(m->nKind, m->nWidth, static_cast<unsigned char *>(ds) + m->nOffset, &why))
      continue;
    return fail(error, "member " + name + ": " + why);
  }
  return true;
}

nlohmann::ordered_json membersJson(const DSTMPL *tmpl, const void *ds) {
  nlohmann::ordered_json members = nlohmann::ordered_json::object();
  if (tmpl == nullptr || ds == nullptr) return members;
  for (uint32_t i = 0; i < tmpl->nMembers; ++i) {
    const DSTMPL_MEMBER &m = tmpl->lpMembers[i];
    const auto text = vyr::formatValue(m.nKind, m.nWidth, static_cast<const unsigned char *>(ds) + m.nOffset);
    auto &slot = members[m.szName ? m.szName : "#" + std::to_string(i + 1)];
    if (!text) {
      slot = nullptr;
    } else if (vyr::valueIsInteger(m.nKind)) {
      slot = std::stoll(*text);
    } else {
      slot = *text;
    }
  }
  return members;
}

nlohmann::ordered_json errorsJson(LPBHVRCOM context) {
  nlohmann::ordered_json errors = nlohmann::ordered_json::array();
  if (context == nullptr) return errors;
  for (const vyr::ErrorRecord &e : context->errors) {
    nlohmann::ordered_json error;
    error["item"] = e.item;
    error["id"] = vyr::toUtf8(e.id);
    error["text"] = vyr::toUtf8(e.text);
    error["source"] = e.source;
    error["line"] = e.line;
    errors.push_back(std::move(error));
  }
  return errors;
}

nlohmann::ordered_json traceJson(LPBHVRCOM context) {
  nlohmann::ordered_json lines = nlohmann::ordered_json::array();
  if (context == nullptr) return lines;
  for (const std::u16string &line : context->trace) lines.push_back(vyr::toUtf8(line));
  return lines;
}

std::string dumpJson(const nlohmann::ordered_json &value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace famoflas
