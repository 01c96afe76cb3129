#include "tables.h"

#include <cstring>
#include <iostream>

#include "db/catalog.h"
#include "db/host.h"
#include "db/values.h"
#include "dsjson.h"
#include "run.h"
#include "runtime/context.h"
#include "runtime/valuetext.h"
#include "unicode/jchar_utf8.h"
#include "users.h"
#include "vyrdb.h"

namespace famoflas {

std::string lastTrace(LPBHVRCOM context) {
  return context && !context->trace.empty() ? ": " + vyr::toUtf8(context->trace.back()) : std::string();
}

bool openTableSession(const std::map<std::string, std::string> &settings, int commitMode, TableSession *session,
                      std::string *error) {
  session->context = vyr::createContext(settings, error);
  if (session->context == nullptr) return false;
  if (VDB_InitUser(session->context, &session->user, nullptr, commitMode) != VDB_SUCCESS) {
    *error = "cannot open the database" + lastTrace(session->context);
    session->user = nullptr;
    return false;
  }
  return true;
}

namespace {

using vyr::db::ColumnDef;
using vyr::db::ColumnKind;
using vyr::db::TableDef;

// The member kind whose value text a column uses.
int valueKind(const ColumnDef &column) {
  switch (column.kind) {
    case ColumnKind::String:
      return VYR_DSK_STRING;
    case ColumnKind::Char:
      return VYR_DSK_CHAR;
    case ColumnKind::Number:
      return VYR_DSK_MATH;
    case ColumnKind::Integer:
      return VYR_DSK_INT;
    case ColumnKind::Date:
      return VYR_DSK_DATE;
    case ColumnKind::UTime:
      return VYR_DSK_UTIME;
    case ColumnKind::Binary:
      return VYR_DSK_BYTES;
  }
  return 0;
}

// One row record of every column of a table, in catalogue order, with the
// bytes that binary columns point at.
struct RowRecord {
  std::vector<unsigned char> bytes;
  std::vector<std::vector<unsigned char>> blobs;  // one per column (empty for other kinds)
};

std::vector<size_t> columnOffsets(const TableDef &table, size_t *size) {
  std::vector<size_t> offsets;
  size_t offset = 0;
  for (const ColumnDef &column : table.columns) {
    offsets.push_back(offset);
    offset += vyr::db::recordSize(column);
  }
  *size = offset;
  return offsets;
}

// Whether the column stores the number exactly: the table layer would round
// away decimals it has no room for, and a load must not change a value.
bool numberFits(const ColumnDef &column, const unsigned char *field, std::string *why) {
  MATH_NUMERIC number;
  std::memcpy(&number, field, sizeof number);
  int64_t scaled = 0;
  switch (vyr::db::mathToScaled(number, column.width, column.decimals, vyr::db::Rounding::HalfAwayFromZero, &scaled)) {
    case vyr::db::NumberFit::Exact:
      return true;
    case vyr::db::NumberFit::Rounded:
      *why = "has more decimals than the column's " + std::to_string(column.decimals) + " (it would be rounded)";
      return false;
    default:
      *why = "does not fit the column's " + std::to_string(column.width) + " digits with " +
             std::to_string(column.decimals) + " decimals";
      return false;
  }
}

// Builds the record of one JSON row; false with the reason.
bool rowFromJson(const TableDef &table, const nlohmann::json &row, RowRecord *record, std::string *error) {
  if (!row.is_object()) return *error = "a row must be a JSON object of column: value", false;
  size_t size = 0;
  const std::vector<size_t> offsets = columnOffsets(table, &size);
  record->bytes.assign(size, 0);
  record->blobs.assign(table.columns.size(), {});
  for (const auto &[name, value] : row.items()) {
    const int position = vyr::db::findColumn(table, vyr::fromUtf8(name));
    if (position < 0) return *error = "unknown column " + name, false;
    const ColumnDef &column = table.columns[static_cast<size_t>(position)];
    if (value.is_null()) continue;  // the column's blank, zero or null default
    const std::optional<std::string> text = scalarText(value);
    if (!text) return *error = "column " + name + ": a value is a string or a number", false;
    if (column.kind == ColumnKind::Binary) {
      // Any length: as many bytes as the hex gives.
      std::vector<unsigned char> &blob = record->blobs[static_cast<size_t>(position)];
      blob.resize(text->size() / 2);
      if (text->size() % 2 != 0 ||
          (!blob.empty() && !vyr::parseValue(VYR_DSK_BYTES, uint32_t(blob.size()), *text, blob.data(), nullptr)))
        return *error = "column " + name + ": binary values are hex, two digits per byte", false;
      continue;
    }
    std::string why;
    unsigned char *field = record->bytes.data() + offsets[static_cast<size_t>(position)];
    if (!vyr::parseValue(valueKind(column), column.width, *text, field, &why))
      return *error = "column " + name + ": " + why, false;
    if (column.kind == ColumnKind::Number && !numberFits(column, field, &why))
      return *error = "column " + name + ": '" + *text + "' " + why, false;
  }
  // Binary columns travel as pointers to their bytes.
  for (size_t i = 0; i < table.columns.size(); ++i) {
    if (table.columns[i].kind != ColumnKind::Binary) continue;
    void *pointer = record->blobs[i].empty() ? nullptr : record->blobs[i].data();
    std::memcpy(record->bytes.data() + offsets[i], &pointer, sizeof pointer);
  }
  return true;
}

// The database location the settings give the context's environment.
std::string databaseLocation(const char *action, const std::map<std::string, std::string> &settings) {
  TableSession session;
  std::string error;
  session.context = vyr::createContext(settings, &error);
  if (session.context == nullptr) throw TablesCommandError{std::string(action) + ": " + error};
  const std::string location = vyr::setting(session.context, "env." + vyr::setting(session.context, "env"));
  if (location.empty()) throw TablesCommandError{"no database location for the environment"};
  return location;
}

int initCommand(const std::map<std::string, std::string> &settings) {
  const std::string location = databaseLocation("db init", settings);
  std::string error;
  if (!vyr::db::initDatabase(location, &error)) throw TablesCommandError{"db init: " + error};
  nlohmann::ordered_json out;
  out["database"] = vyr::db::redactLocation(location);
  out["tables"] = vyr::db::allTables().size();
  // Users of the service cannot be added while the database has no policy.
  std::string policy;
  if (!ensurePasswordPolicy(settings, &policy)) throw TablesCommandError{"db init: " + policy};
  out["passwordPolicy"] = policy;
  std::cout << dumpJson(out) << '\n';
  return 0;
}

int loadCommand(const std::string &source, const std::map<std::string, std::string> &settings) {
  const std::optional<std::string> input = readInput(source);
  if (!input) throw TablesCommandError{"cannot read " + source};
  std::string unreadable;
  const std::optional<nlohmann::json> parsed = parseJson(*input, &unreadable);
  if (!parsed) throw TablesCommandError{source + ": " + unreadable};
  const nlohmann::json &document = *parsed;
  if (!document.is_object()) throw TablesCommandError{"expected {\"TABLE\": [rows...], ...}"};

  // Check everything before writing anything.
  std::vector<std::pair<const TableDef *, std::vector<RowRecord>>> tables;
  for (const auto &[name, rows] : document.items()) {
    const TableDef *table = vyr::db::findTable(vyr::fromUtf8(name));
    if (table == nullptr) throw TablesCommandError{"unknown table " + name};
    if (!rows.is_array()) throw TablesCommandError{"table " + name + ": expected an array of rows"};
    std::vector<RowRecord> records(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
      std::string why;
      if (!rowFromJson(*table, rows[i], &records[i], &why))
        throw TablesCommandError{"table " + name + ", row " + std::to_string(i + 1) + ": " + why};
    }
    tables.emplace_back(table, std::move(records));
  }

  // Loading into a new database is how one is often set up; the note tells a mistyped path from that.
  const std::string location = databaseLocation("db load", settings);
  std::string error;
  bool created = false;
  if (!vyr::db::initDatabase(location, &error, &created)) throw TablesCommandError{"db load: " + error};
  if (created) std::cerr << "famoflas: db load: created the database " << location << '\n';
  TableSession session;
  if (!openTableSession(settings, 1, &session, &error)) throw TablesCommandError{"db load: " + error};
  nlohmann::ordered_json loaded = nlohmann::ordered_json::object();
  for (auto &[table, records] : tables) {
    const std::string name = vyr::toUtf8(table->name);
    if (VDB_OpenTable(session.user, table->name.c_str(), 1, nullptr, 0, nullptr, &session.request) != VDB_SUCCESS) {
      session.request = nullptr;
      throw TablesCommandError{"db load: cannot open " + name + lastTrace(session.context)};
    }
    for (size_t i = 0; i < records.size(); ++i) {
      for (size_t c = 0; c < table->columns.size(); ++c)
        if (table->columns[c].kind == ColumnKind::Binary)
          VDB_SetBLOBSize(session.request, table->columns[c].alias.c_str(),
                          static_cast<uint32_t>(records[i].blobs[c].size()));
      if (VDB_InsertTable(session.request, records[i].bytes.data()) != VDB_SUCCESS) {
        const std::string why = lastTrace(session.context);
        VDB_RollbackUser(session.user);
        throw TablesCommandError{"table " + name + ", row " + std::to_string(i + 1) + ": not inserted, nothing loaded" +
                                 why};
      }
    }
    session.closeRequest();
    loaded[name] = records.size();
  }
  if (VDB_CommitUser(session.user) != VDB_SUCCESS)
    throw TablesCommandError{"db load: commit failed, nothing loaded" + lastTrace(session.context)};
  nlohmann::ordered_json out;
  out["loaded"] = loaded;
  std::cout << dumpJson(out) << '\n';
  return 0;
}

int dumpCommand(const std::string &name, const std::map<std::string, std::string> &settings) {
  const TableDef *table = vyr::db::findTable(vyr::fromUtf8(name));
  if (table == nullptr) throw TablesCommandError{"unknown table " + name};
  TableSession session;
  std::string error;
  if (!openTableSession(settings, 0, &session, &error)) throw TablesCommandError{"db dump: " + error};
  if (VDB_OpenTable(session.user, table->name.c_str(), 1, nullptr, 0, nullptr, &session.request) != VDB_SUCCESS) {
    session.request = nullptr;
    throw TablesCommandError{"db dump: cannot open " + name + lastTrace(session.context)};
  }
  size_t size = 0;
  const std::vector<size_t> offsets = columnOffsets(*table, &size);
  std::vector<unsigned char> record(size);
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  if (VDB_SelectKeyed(session.request, 1, nullptr, 0) != VDB_SUCCESS)
    throw TablesCommandError{"db dump: cannot read " + name + lastTrace(session.context)};
  ID fetched;
  while ((fetched = VDB_Fetch(session.request, record.data(), 0)) == VDB_SUCCESS) {
    nlohmann::ordered_json row;
    for (size_t c = 0; c < table->columns.size(); ++c) {
      const ColumnDef &column = table->columns[c];
      const std::string alias = vyr::toUtf8(column.alias);
      if (column.kind == ColumnKind::Binary) {
        void *pointer = nullptr;
        uint32_t length = 0;
        std::memcpy(&pointer, record.data() + offsets[c], sizeof pointer);
        VDB_GetBLOBSize(session.request, column.alias.c_str(), &length);
        row[alias] = pointer ? nlohmann::ordered_json(*vyr::formatValue(VYR_DSK_BYTES, length, pointer))
                             : nlohmann::ordered_json(nullptr);
        continue;
      }
      const auto text = vyr::formatValue(valueKind(column), column.width, record.data() + offsets[c]);
      row[alias] = text ? nlohmann::ordered_json(*text) : nlohmann::ordered_json(nullptr);
    }
    rows.push_back(std::move(row));
  }
  // A scan that failed halfway must not pass for the whole table.
  if (fetched != VDB_NOT_FOUND)
    throw TablesCommandError{"db dump: reading " + name + " failed after " + std::to_string(rows.size()) + " rows" +
                             lastTrace(session.context)};
  nlohmann::ordered_json out;
  out[vyr::toUtf8(table->name)] = std::move(rows);
  std::cout << dumpJson(out) << '\n';
  return 0;
}

// The catalogue as JSON: every table with its description, its columns
// (alias, kind, width and decimals where they apply, bytes in a packed row
// record) and its numbered indexes. The installed tree keeps this as catalog.json.
int catalogCommand() {
  static const char *const kKindNames[] = {"string", "char", "number", "integer", "date", "utime", "binary"};
  nlohmann::ordered_json tables = nlohmann::ordered_json::object();
  for (const TableDef *table : vyr::db::allTables()) {
    nlohmann::ordered_json columns = nlohmann::ordered_json::array();
    for (const ColumnDef &column : table->columns) {
      nlohmann::ordered_json entry = {{"alias", vyr::toUtf8(column.alias)},
                                      {"kind", kKindNames[static_cast<size_t>(column.kind)]}};
      if (column.kind == ColumnKind::String || column.kind == ColumnKind::Number) entry["width"] = column.width;
      if (column.kind == ColumnKind::Number) entry["decimals"] = column.decimals;
      entry["bytes"] = vyr::db::recordSize(column);
      columns.push_back(std::move(entry));
    }
    nlohmann::ordered_json indexes = nlohmann::ordered_json::array();
    for (const vyr::db::IndexDef &index : table->indexes) {
      nlohmann::ordered_json keys = nlohmann::ordered_json::array();
      for (size_t k = 0; k < index.columns.size(); ++k)
        keys.push_back({{"alias", vyr::toUtf8(table->columns[index.columns[k]].alias)},
                        {"descending", static_cast<bool>(index.descending[k])}});
      indexes.push_back({{"id", index.id}, {"unique", index.unique}, {"keys", std::move(keys)}});
    }
    tables[vyr::toUtf8(table->name)] = {
        {"description", table->description}, {"columns", std::move(columns)}, {"indexes", std::move(indexes)}};
  }
  std::cout << tables.dump(2) << '\n';
  return 0;
}

}  // namespace

int runTablesCommand(const std::vector<std::string> &arguments, const std::map<std::string, std::string> &settings) {
  if (arguments.empty()) throw TablesCommandError{"db needs init, load FILE|-, dump TABLE or catalog"};
  const std::string &action = arguments.front();
  if (action == "init" && arguments.size() == 1) return initCommand(settings);
  if (action == "load" && arguments.size() == 2) return loadCommand(arguments[1], settings);
  if (action == "dump" && arguments.size() == 2) return dumpCommand(arguments[1], settings);
  if (action == "catalog" && arguments.size() == 1) return catalogCommand();
  throw TablesCommandError{"db needs init, load FILE|-, dump TABLE or catalog"};
}

}  // namespace famoflas
