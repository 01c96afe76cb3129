// The catalogue registry: schema files add their tables at load time; the
// table layer looks them up by name.
#include "db/catalog.h"

#include <deque>
#include <mutex>
#include <unordered_map>

#include "db/values.h"

namespace vyr::db {
namespace {

struct Registry {
  std::mutex lock;
  std::deque<TableDef> tables;  // deque: pointers handed out stay valid as tables are added
  std::unordered_map<std::u16string, const TableDef *> byName;
  std::vector<std::string> problems;
};

Registry &registry() {
  static Registry *const r = new Registry;  // never destroyed: lookups may run during static teardown
  return *r;
}

std::u16string_view withoutTrailingBlanks(std::u16string_view text) {
  while (!text.empty() && (text.back() == u' ' || text.back() == u'\0')) text.remove_suffix(1);
  return text;
}

ColumnDef column(std::u16string_view alias, ColumnKind kind, uint16_t width, uint8_t decimals) {
  return ColumnDef{std::u16string(alias), kind, width, decimals};
}

// Checks one declaration and turns it into the form the layer uses.
TableDef build(const schema::TableSpec &declared, std::vector<std::string> &problems) {
  TableDef table;
  table.name = std::u16string(declared.name);
  table.description = std::string(declared.description);
  table.columns = declared.columns;
  const std::string name = toUtf8(table.name);
  auto problem = [&](const std::string &text) { problems.push_back(name + ": " + text); };
  if (table.name.empty() || table.name.size() > 10) problem("table names are 1 to 10 characters");
  for (size_t i = 0; i < table.columns.size(); ++i) {
    const ColumnDef &c = table.columns[i];
    const std::string alias = toUtf8(c.alias);
    if (c.alias.empty() || c.alias.size() > 10) problem("column '" + alias + "': aliases are 1 to 10 characters");
    for (size_t j = 0; j < i; ++j)
      if (table.columns[j].alias == c.alias) problem("column " + alias + " declared twice");
    if (c.kind == ColumnKind::String && c.width == 0) problem("string column " + alias + " has no width");
    // A timestamp keeps its display zone in a second column named ALIAS_TZ.
    if (c.kind == ColumnKind::UTime)
      for (const ColumnDef &other : table.columns)
        if (other.alias == c.alias + u"_TZ")
          problem("column " + toUtf8(other.alias) + " clashes with the zone column of " + alias);
    if (c.kind == ColumnKind::Number && (c.width == 0 || c.width > kMaxNumberDigits || c.decimals > c.width))
      problem("number column " + alias + " needs 1 to 18 digits and no more decimals than digits");
  }
  for (size_t i = 0; i < declared.indexes.size(); ++i) {
    const schema::IndexSpec &ix = declared.indexes[i];
    if (ix.id != i + 1) problem("index ids run 1, 2, 3... (found " + std::to_string(ix.id) + ")");
    IndexDef index;
    index.id = ix.id;
    index.unique = ix.unique;
    for (const schema::KeyColumn &key : ix.keys) {
      const int position = findColumn(table, key.alias);
      if (position < 0) {
        problem("index " + std::to_string(ix.id) + " names unknown column " + toUtf8(key.alias));
        continue;
      }
      const ColumnKind kind = table.columns[static_cast<size_t>(position)].kind;
      if (kind == ColumnKind::Binary) problem("index " + std::to_string(ix.id) + " keys a binary column");
      index.columns.push_back(static_cast<size_t>(position));
      index.descending.push_back(key.descending);
    }
    if (index.columns.empty()) problem("index " + std::to_string(ix.id) + " has no key column");
    if (index.columns.size() > 32) problem("index " + std::to_string(ix.id) + " has more than 32 key columns");
    table.indexes.push_back(std::move(index));
  }
  // Updates of the row last fetched find it again by index 1.
  if (table.indexes.empty() || !table.indexes.front().unique) problem("index 1 must exist and be unique");
  return table;
}

}  // namespace

namespace schema {
ColumnDef str(std::u16string_view alias, uint16_t width) { return column(alias, ColumnKind::String, width, 0); }
ColumnDef chr(std::u16string_view alias) { return column(alias, ColumnKind::Char, 1, 0); }
ColumnDef num(std::u16string_view alias, uint16_t digits, uint8_t decimals) {
  return column(alias, ColumnKind::Number, digits, decimals);
}
ColumnDef integer(std::u16string_view alias) { return column(alias, ColumnKind::Integer, 10, 0); }
ColumnDef date(std::u16string_view alias) { return column(alias, ColumnKind::Date, 0, 0); }
ColumnDef utime(std::u16string_view alias) { return column(alias, ColumnKind::UTime, 0, 0); }
ColumnDef binary(std::u16string_view alias) { return column(alias, ColumnKind::Binary, 0, 0); }
KeyColumn asc(std::u16string_view alias) { return KeyColumn{alias, false}; }
KeyColumn desc(std::u16string_view alias) { return KeyColumn{alias, true}; }
IndexSpec unique(ID id, std::vector<KeyColumn> keys) { return IndexSpec{id, std::move(keys), true}; }
IndexSpec index(ID id, std::vector<KeyColumn> keys) { return IndexSpec{id, std::move(keys), false}; }

void addTables(const std::vector<TableSpec> &tables) {
  Registry &r = registry();
  std::lock_guard<std::mutex> guard(r.lock);
  for (const TableSpec &declared : tables) {
    std::vector<std::string> problems;
    TableDef table = build(declared, problems);
    if (r.byName.count(table.name) != 0) problems.push_back(toUtf8(table.name) + ": declared twice");
    r.problems.insert(r.problems.end(), problems.begin(), problems.end());
    // A table with declaration mistakes stays out: its SQL would be wrong.
    if (!problems.empty()) continue;
    r.tables.push_back(std::move(table));
    r.byName.emplace(r.tables.back().name, &r.tables.back());
  }
}
}  // namespace schema

std::vector<const TableDef *> allTables() {
  Registry &r = registry();
  std::lock_guard<std::mutex> guard(r.lock);
  std::vector<const TableDef *> out;
  for (const TableDef &t : r.tables) out.push_back(&t);
  return out;
}

const TableDef *findTable(std::u16string_view name) {
  Registry &r = registry();
  const std::u16string key(withoutTrailingBlanks(name));
  std::lock_guard<std::mutex> guard(r.lock);
  const auto it = r.byName.find(key);
  return it == r.byName.end() ? nullptr : it->second;
}

int findColumn(const TableDef &table, std::u16string_view alias) {
  alias = withoutTrailingBlanks(alias);
  for (size_t i = 0; i < table.columns.size(); ++i)
    if (table.columns[i].alias == alias) return static_cast<int>(i);
  return -1;
}

const IndexDef *findIndex(const TableDef &table, ID id) {
  return id >= 1 && id <= table.indexes.size() ? &table.indexes[id - 1] : nullptr;
}

std::vector<std::string> catalogProblems() {
  Registry &r = registry();
  std::lock_guard<std::mutex> guard(r.lock);
  return r.problems;
}

size_t recordSize(const ColumnDef &column) {
  switch (column.kind) {
    case ColumnKind::String:
      return (static_cast<size_t>(column.width) + 1) * sizeof(JCHAR);
    case ColumnKind::Char:
      return sizeof(JCHAR);
    case ColumnKind::Number:
      return sizeof(MATH_NUMERIC);
    case ColumnKind::Integer:
      return sizeof(int32_t);
    case ColumnKind::Date:
      return sizeof(VYRDATE);
    case ColumnKind::UTime:
      return sizeof(UTIME);
    case ColumnKind::Binary:
      return sizeof(void *);
  }
  return 0;
}

}  // namespace vyr::db
