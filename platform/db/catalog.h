// The table catalogue: every table the libraries use, its columns (alias,
// kind, width or digits, decimals) and its numbered indexes. The platform
// creates tables from it and maps packed row and key records to SQL with it.
// The declarations themselves live in schema/*.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vyrtypes.h"

namespace vyr VYR_HOST_API {
namespace db {

enum class ColumnKind : uint8_t {
  String,   // JCHAR[width + 1], blank-padded on fetch
  Char,     // one JCHAR
  Number,   // MATH_NUMERIC, exact with `decimals` of `width` digits
  Integer,  // int32_t
  Date,     // VYRDATE
  UTime,    // UTIME
  Binary,   // void * to bytes (size declared per request)
};

struct ColumnDef {
  std::u16string alias;
  ColumnKind kind = ColumnKind::String;
  uint16_t width = 0;    // string: characters; number: total digits
  uint8_t decimals = 0;  // number only
};

struct IndexDef {
  ID id = 0;
  bool unique = false;
  std::vector<size_t> columns;   // positions in TableDef::columns, in key order
  std::vector<bool> descending;  // one per key column
};

struct TableDef {
  std::u16string name;
  std::string description;
  std::vector<ColumnDef> columns;
  std::vector<IndexDef> indexes;  // index id n sits at position n - 1

  const IndexDef *primary() const { return indexes.empty() ? nullptr : &indexes.front(); }
};

// ---- Declaring tables (schema/*.cpp) ----------------------------------------

namespace schema {
ColumnDef str(std::u16string_view alias, uint16_t width);
ColumnDef chr(std::u16string_view alias);
ColumnDef num(std::u16string_view alias, uint16_t digits, uint8_t decimals = 0);
ColumnDef integer(std::u16string_view alias);
ColumnDef date(std::u16string_view alias);
ColumnDef utime(std::u16string_view alias);
ColumnDef binary(std::u16string_view alias);

struct KeyColumn {
  std::u16string_view alias;
  bool descending = false;
};
KeyColumn asc(std::u16string_view alias);
KeyColumn desc(std::u16string_view alias);

struct IndexSpec {
  ID id;
  std::vector<KeyColumn> keys;
  bool unique = false;
};
IndexSpec unique(ID id, std::vector<KeyColumn> keys);
IndexSpec index(ID id, std::vector<KeyColumn> keys);

struct TableSpec {
  std::u16string_view name;
  std::string_view description;
  std::vector<ColumnDef> columns;
  std::vector<IndexSpec> indexes;
};

// Adds tables to the catalogue. A schema file calls it from a static
// initialiser (see CatalogSection); a table declared twice keeps its first
// declaration and the second is reported by catalogProblems().
void addTables(const std::vector<TableSpec> &tables);

struct CatalogSection {
  explicit CatalogSection(std::vector<TableSpec> (*declare)()) { addTables(declare()); }
};
}  // namespace schema

// ---- Looking things up -------------------------------------------------------

// Every table, in declaration order.
std::vector<const TableDef *> allTables();
// A table by name (trailing blanks ignored); NULL when unknown.
const TableDef *findTable(std::u16string_view name);
// Position of a column in its table (trailing blanks ignored); -1 when unknown.
int findColumn(const TableDef &table, std::u16string_view alias);
// An index by id; NULL when the table has no such index.
const IndexDef *findIndex(const TableDef &table, ID id);
// Declaration mistakes (unknown key column, duplicate alias, gaps in index ids,
// digits beyond what an exact 64-bit column holds, ...), one line each.
std::vector<std::string> catalogProblems();

// Bytes a column occupies in a packed row or key record.
size_t recordSize(const ColumnDef &column);
// Largest digit count a number column may declare (values are kept as scaled 64-bit integers).
constexpr unsigned kMaxNumberDigits = 18;

}  // namespace db
}  // namespace VYR_HOST_API
