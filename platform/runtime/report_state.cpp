// Attaching a report state to a context, and reading and writing its JSON
// form (docs/report-state.md).
#include <algorithm>
#include <climits>
#include <initializer_list>
#include <new>
#include <string_view>

#include "runtime/context.h"
#include "runtime/jtext.h"
#include "runtime/report.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

using nlohmann::json;

// The first violation of the form ends the reading; reportFromJson turns it into the message.
struct FormError {
  std::string message;
};

[[noreturn]] void fail(const std::string &path, const std::string &why) { throw FormError{path + ": " + why}; }

// JSON text as JCHAR text; NUL cannot be passed on in a terminated string.
std::u16string textOf(std::string_view in, const std::string &path) {
  std::u16string out;
  if (!decodeUtf8(in, &out)) fail(path, "is not valid UTF-8");
  if (out.find(u'\0') != std::u16string::npos) fail(path, "must not contain a NUL character");
  return out;
}

const char *const kComparisons[] = {"<", "<=", "=", ">=", ">", "<>"};  // indexed by UBE_CMP_*
const char *const kConnectors[] = {"AND", "OR"};                       // indexed by UBE_AND, UBE_OR

// Reads the members of one JSON object, each by its rules, and refuses keys it does not know.
class ObjectReader {
 public:
  ObjectReader(const json &object, std::string path, std::initializer_list<const char *> known)
      : object_(object), path_(std::move(path)) {
    if (!object.is_object()) fail(path_, "must be an object");
    for (const auto &item : object.items())
      if (std::none_of(known.begin(), known.end(), [&](const char *k) { return item.key() == k; }))
        fail(path_ + "." + item.key(), "is not a known key");
  }

  std::string pathOf(const char *key) const { return path_ + "." + key; }
  const json *find(const char *key) const {
    const auto it = object_.find(key);
    return it == object_.end() ? nullptr : &*it;
  }

  std::u16string text(const char *key, size_t maxWidth, bool required = false) const {
    const json *value = find(key);
    if (value == nullptr) {
      if (required) fail(pathOf(key), "is required");
      return {};
    }
    if (!value->is_string()) fail(pathOf(key), "must be a string");
    std::u16string out = textOf(value->get_ref<const std::string &>(), pathOf(key));
    if (out.size() > maxWidth) {
      const bool surrogates =
          std::any_of(out.begin(), out.end(), [](char16_t u) { return u >= 0xD800 && u <= 0xDFFF; });
      fail(pathOf(key),
           "is longer than " + std::to_string(maxWidth) +
               (surrogates ? " UTF-16 code units (a character beyond U+FFFF counts as two)" : " characters"));
    }
    return out;
  }

  int32_t integer(const char *key, int32_t min, int32_t max, int32_t fallback, bool required = false) const {
    const json *value = find(key);
    if (value == nullptr) {
      if (required) fail(pathOf(key), "is required");
      return fallback;
    }
    return integerValue(*value, pathOf(key), min, max);
  }

  bool flag(const char *key) const {
    const json *value = find(key);
    if (value == nullptr) return false;
    if (!value->is_boolean()) fail(pathOf(key), "must be true or false");
    return value->get<bool>();
  }

  // The array under key (empty when absent).
  const json &array(const char *key) const {
    static const json kEmpty = json::array();
    const json *value = find(key);
    if (value == nullptr) return kEmpty;
    if (!value->is_array()) fail(pathOf(key), "must be an array");
    return *value;
  }

  static int32_t integerValue(const json &value, const std::string &path, int32_t min, int32_t max) {
    if (!value.is_number_integer()) fail(path, "must be an integer");
    const bool tooLarge = value.is_number_unsigned() && value.get<uint64_t>() > static_cast<uint64_t>(max);
    const int64_t number = tooLarge ? int64_t{max} + 1 : value.get<int64_t>();
    if (number < min || number > max) fail(path, "must be from " + std::to_string(min) + " to " + std::to_string(max));
    return static_cast<int32_t>(number);
  }

 private:
  const json &object_;
  std::string path_;
};

int32_t symbolIndex(const ObjectReader &reader, const char *key, const char *const *symbols, size_t count,
                    int32_t fallback) {
  const json *value = reader.find(key);
  if (value == nullptr) return fallback;
  if (value->is_string())
    for (size_t i = 0; i < count; ++i)
      if (value->get_ref<const std::string &>() == symbols[i]) return static_cast<int32_t>(i);
  std::string allowed;
  for (size_t i = 0; i < count; ++i) allowed += std::string(i ? ", " : "") + '"' + symbols[i] + '"';
  fail(reader.pathOf(key), "must be one of " + allowed);
}

ReportSelection readSelection(const json &array, const std::string &path) {
  if (!array.is_array()) fail(path, "must be an array of conditions");
  ReportSelection selection;
  for (size_t i = 0; i < array.size(); ++i) {
    const std::string entryPath = path + "[" + std::to_string(i) + "]";
    ObjectReader in(array[i], entryPath, {"table", "item", "comparison", "value", "connector"});
    ReportSelectionEntry entry;
    entry.table = in.text("table", UBE_TABLE_SIZE - 1);
    entry.dataItem = in.text("item", UBE_DATA_ITEM_SIZE - 1, true);
    entry.comparison = symbolIndex(in, "comparison", kComparisons, std::size(kComparisons), UBE_CMP_EQ);
    entry.value = in.text("value", UBE_VALUE_SIZE - 1);
    entry.connector = symbolIndex(in, "connector", kConnectors, std::size(kConnectors), UBE_AND);
    if (i == 0 && entry.connector == UBE_OR) fail(in.pathOf("connector"), "the first condition has nothing to join");
    selection.push_back(std::move(entry));
  }
  return selection;
}

ReportSection readSection(const json &object, const std::string &path) {
  ObjectReader in(
      object, path,
      {"id", "name", "version", "row", "column", "reverseSign", "balanceAuditor", "tableInfo", "dataSequence",
       "dataSelections", "dataSelectionInUse", "levelBreaks", "levelNumber", "levelBreak", "levelBreakHeaderActive"});
  ReportSection section;
  section.id = in.integer("id", INT32_MIN, INT32_MAX, 0, true);
  section.name = in.text("name", UBE_SECTION_NAME_SIZE - 1);
  section.version = in.text("version", UBE_NAME_SIZE - 1);
  section.row = in.integer("row", 0, INT32_MAX, 0);
  section.column = in.integer("column", 0, INT32_MAX, 0);
  section.reverseSign = in.flag("reverseSign");
  section.balanceAuditor = in.flag("balanceAuditor");
  section.tableInfo = in.text("tableInfo", UBE_TABLE_SIZE - 1);

  const json &sequence = in.array("dataSequence");
  for (size_t i = 0; i < sequence.size(); ++i) {
    ObjectReader item(sequence[i], in.pathOf("dataSequence") + "[" + std::to_string(i) + "]",
                      {"table", "item", "descending"});
    section.dataSequence.push_back({item.text("table", UBE_TABLE_SIZE - 1),
                                    item.text("item", UBE_DATA_ITEM_SIZE - 1, true), item.flag("descending")});
  }

  const json &selections = in.array("dataSelections");
  for (size_t i = 0; i < selections.size(); ++i)
    section.dataSelections.push_back(
        readSelection(selections[i], in.pathOf("dataSelections") + "[" + std::to_string(i) + "]"));
  section.dataSelectionInUse =
      in.integer("dataSelectionInUse", 0, static_cast<int32_t>(section.dataSelections.size()), 0);

  const json &levels = in.array("levelBreaks");
  if (levels.size() > INT16_MAX) fail(in.pathOf("levelBreaks"), "has more levels than a level number can address");
  for (size_t i = 0; i < levels.size(); ++i)
    section.levelBreaks.push_back(ObjectReader::integerValue(
        levels[i], in.pathOf("levelBreaks") + "[" + std::to_string(i) + "]", INT32_MIN, INT32_MAX));
  section.levelNumber = in.integer("levelNumber", 0, INT32_MAX, 0);
  section.levelBreak = in.integer("levelBreak", 0, static_cast<int32_t>(section.levelBreaks.size()), 0);
  section.levelBreakHeaderActive = in.flag("levelBreakHeaderActive");
  return section;
}

ReportState readReport(const json &object) {
  ObjectReader in(object, "report",
                  {"name", "pageNumber", "preview", "template", "sourceEnvironment", "targetEnvironment",
                   "sendMessageDisabled", "sections", "currentSection", "subsystemRecords", "stop"});
  ReportState state;
  state.name = in.text("name", UBE_NAME_SIZE - 1, true);
  state.pageNumber = in.integer("pageNumber", 1, INT32_MAX, 1);
  state.preview = in.flag("preview");
  state.isTemplate = in.flag("template");
  state.sourceEnvironment = in.text("sourceEnvironment", UBE_NAME_SIZE - 1);
  state.targetEnvironment = in.text("targetEnvironment", UBE_NAME_SIZE - 1);
  state.sendMessageDisabled = in.flag("sendMessageDisabled");

  const json &sections = in.array("sections");
  for (size_t i = 0; i < sections.size(); ++i) {
    const std::string path = in.pathOf("sections") + "[" + std::to_string(i) + "]";
    ReportSection section = readSection(sections[i], path);
    for (const ReportSection &other : state.sections) {
      if (other.id == section.id) fail(path + ".id", "repeats section id " + std::to_string(section.id));
      if (trimmed(other.name) == trimmed(section.name) && trimmed(other.version) == trimmed(section.version))
        fail(path + ".name", "repeats the name and version of section " + std::to_string(other.id));
    }
    state.sections.push_back(std::move(section));
  }

  const json *current = in.find("currentSection");
  if (current != nullptr && !current->is_null()) {
    const int32_t id = ObjectReader::integerValue(*current, in.pathOf("currentSection"), INT32_MIN, INT32_MAX);
    if (std::none_of(state.sections.begin(), state.sections.end(), [id](const ReportSection &s) { return s.id == id; }))
      fail(in.pathOf("currentSection"), "names no section of the report");
    state.currentSection = id;
  } else if (current == nullptr && !state.sections.empty()) {
    state.currentSection = state.sections.front().id;  // a report starts in its first section
  }

  const json &records = in.array("subsystemRecords");
  for (size_t i = 0; i < records.size(); ++i) {
    ObjectReader record(records[i], in.pathOf("subsystemRecords") + "[" + std::to_string(i) + "]",
                        {"report", "version", "key"});
    state.subsystemRecords.push_back({record.text("report", UBE_NAME_SIZE - 1, true),
                                      record.text("version", UBE_NAME_SIZE - 1), record.text("key", SIZE_MAX)});
  }

  const json *stop = in.find("stop");
  if (stop != nullptr && !stop->is_null()) {
    ObjectReader request(*stop, in.pathOf("stop"), {"withError", "message"});
    state.stop = ReportStopRequest{request.flag("withError"), request.text("message", SIZE_MAX)};
  }
  return state;
}

void releaseReport(void *handle) noexcept { delete static_cast<ReportState *>(handle); }

}  // namespace

bool reportFromJson(const json &json, ReportState *state, std::string *error) {
  if (state == nullptr) {
    if (error) *error = "no state to read into";
    return false;
  }
  try {
    *state = readReport(json);
    return true;
  } catch (const FormError &e) {
    if (error) *error = e.message;
  } catch (const std::exception &e) {
    if (error) *error = std::string("report: ") + e.what();
  }
  return false;
}

nlohmann::ordered_json reportToJson(const ReportState &state) {
  using json = nlohmann::ordered_json;
  json sections = json::array();
  for (const ReportSection &s : state.sections) {
    json sequence = json::array();
    for (const ReportSequenceItem &item : s.dataSequence)
      sequence.push_back(
          {{"table", toUtf8(item.table)}, {"item", toUtf8(item.dataItem)}, {"descending", item.descending}});
    json selections = json::array();
    for (const ReportSelection &selection : s.dataSelections) {
      json entries = json::array();
      for (const ReportSelectionEntry &e : selection)
        entries.push_back({{"table", toUtf8(e.table)},
                           {"item", toUtf8(e.dataItem)},
                           {"comparison", kComparisons[e.comparison]},
                           {"value", toUtf8(e.value)},
                           {"connector", kConnectors[e.connector]}});
      selections.push_back(std::move(entries));
    }
    sections.push_back({{"id", s.id},
                        {"name", toUtf8(s.name)},
                        {"version", toUtf8(s.version)},
                        {"row", s.row},
                        {"column", s.column},
                        {"reverseSign", s.reverseSign},
                        {"balanceAuditor", s.balanceAuditor},
                        {"tableInfo", toUtf8(s.tableInfo)},
                        {"dataSequence", std::move(sequence)},
                        {"dataSelections", std::move(selections)},
                        {"dataSelectionInUse", s.dataSelectionInUse},
                        {"levelBreaks", s.levelBreaks},
                        {"levelNumber", s.levelNumber},
                        {"levelBreak", s.levelBreak},
                        {"levelBreakHeaderActive", s.levelBreakHeaderActive}});
  }
  json records = json::array();
  for (const ReportSubsystemRecord &r : state.subsystemRecords)
    records.push_back({{"report", toUtf8(r.report)}, {"version", toUtf8(r.version)}, {"key", toUtf8(r.key)}});

  json out = {{"name", toUtf8(state.name)},
              {"pageNumber", state.pageNumber},
              {"preview", state.preview},
              {"template", state.isTemplate},
              {"sourceEnvironment", toUtf8(state.sourceEnvironment)},
              {"targetEnvironment", toUtf8(state.targetEnvironment)},
              {"sendMessageDisabled", state.sendMessageDisabled},
              {"sections", std::move(sections)},
              {"currentSection", state.currentSection ? json(*state.currentSection) : json(nullptr)},
              {"subsystemRecords", std::move(records)},
              {"stop", state.stop ? json{{"withError", state.stop->withError}, {"message", toUtf8(state.stop->message)}}
                                  : json(nullptr)}};
  return out;
}

bool attachReport(LPBHVRCOM context, const ReportState &state) {
  if (!isLiveContext(context)) return false;
  auto *copy = new (std::nothrow) ReportState;
  if (copy == nullptr) return false;
  try {
    *copy = state;
    // Register first: if that cannot be done the copy is dropped and the old report stays.
    registerResource(context, {copy, releaseReport});
  } catch (...) {
    delete copy;
    return false;
  }
  detachReport(context);
  context->report = copy;
  return true;
}

ReportState *attachedReport(LPBHVRCOM context) noexcept {
  return isLiveContext(context) ? static_cast<ReportState *>(context->report) : nullptr;
}

void detachReport(LPBHVRCOM context) noexcept {
  if (!isLiveContext(context) || context->report == nullptr) return;
  void *old = context->report;
  context->report = nullptr;
  unregisterResource(context, old);
  releaseReport(old);
}

}  // namespace vyr
