#include "dsjson.h"

#include <cstring>
#include <utility>
#include <vector>

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

// Builds the document from the parser's events: numbers that are not integers
// keep their text, and a key seen twice in one object ends the parse.
// NOLINTNEXTLINE(bugprone-exception-escape): the implicit move of nlohmann::json is noexcept; tidy reads its internals
class ExactDocument {
 public:
  using json = nlohmann::json;

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(json::number_integer_t value) { return add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return add(value); }
  bool number_float(json::number_float_t, const std::string &lexeme) {
    std::string text = lexeme;
    // The parser writes the locale's decimal point into the lexeme.
    for (char &c : text)
      if ((c < '0' || c > '9') && c != '-' && c != '+' && c != 'e' && c != 'E') c = '.';
    return add(std::move(text));
  }
  bool string(std::string &value) { return add(std::move(value)); }
  bool binary(json::binary_t &) { return fail("binary values are not JSON"); }
  bool start_object(size_t) { return open(json::object()); }
  bool key(std::string &key) {
    if (open_.back()->contains(key)) {
      std::string where;
      for (size_t i = 0; i + 1 < keys_.size(); ++i)  // the innermost enclosing key
        if (!keys_[i].empty()) where = keys_[i];
      return fail("duplicate key \"" + key + "\"" + (where.empty() ? "" : " in \"" + where + "\""));
    }
    keys_.back() = std::move(key);
    return true;
  }
  bool end_object() { return close(); }
  bool start_array(size_t) { return open(json::array()); }
  bool end_array() { return close(); }
  template <class Exception>
  bool parse_error(size_t position, const std::string &token, const Exception &exception) {
    if (error_.empty())
      error_ = exception.id == 406 ? "the number " + token + " is out of range"
                                   : "not valid JSON (byte " + std::to_string(position) + ")";
    return false;
  }

  json root;
  const std::string &error() const { return error_; }

 private:
  bool fail(std::string why) {
    error_ = std::move(why);
    return false;
  }
  // The value's place: the root, the end of the open array, or the open object's last key.
  json *place(json value) {
    if (open_.empty()) return &(root = std::move(value));
    json &container = *open_.back();
    if (container.is_array()) {
      container.push_back(std::move(value));
      return &container.back();
    }
    return &(container[keys_.back()] = std::move(value));
  }
  bool add(json value) {
    place(std::move(value));
    return true;
  }
  // A container stays where it was placed until it is closed: nothing is added
  // to its parent before then.
  bool open(json container) {
    open_.push_back(place(std::move(container)));
    keys_.emplace_back();
    return true;
  }
  bool close() {
    open_.pop_back();
    keys_.pop_back();
    return true;
  }

  std::vector<json *> open_;
  std::vector<std::string> keys_;  // the key being filled in each open object
  std::string error_;
};

}  // namespace

std::optional<nlohmann::json> parseJson(std::string_view text, std::string *error) {
  ExactDocument document;
  if (!nlohmann::json::sax_parse(text, &document)) {
    fail(error, document.error().empty() ? "not valid JSON" : document.error());
    return std::nullopt;
  }
  return std::move(document.root);
}

DataStructure::DataStructure(const DSTMPL *tmpl) {
  if (tmpl != nullptr && tmpl->nSize > 0)
    words_.assign((tmpl->nSize + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t), std::max_align_t{});
}

std::optional<std::string> scalarText(const nlohmann::json &value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_integer()) return value.dump();
  return std::nullopt;
}

bool setMemberText(const DSTMPL &tmpl, void *ds, std::string_view member, std::string_view text, std::string *error) {
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
    if (value.is_number_float())  // only a document not read by parseJson has these
      why = "a number held in binary floating point is not exact; read the document with parseJson";
    if (value.is_null() &&
        vyr::parseNullValue(m->nKind, m->nWidth, static_cast<unsigned char *>(ds) + m->nOffset, &why))
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
    const std::string_view message = vyr::errorMessage(e.id);
    error["message"] = message.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(message);
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
