// SQL text built from the catalogue and a request's state. Values never
// appear in it: every one is a placeholder, bound in the order the text
// numbers them (keys, then selection values; for writes the written columns
// first). A null key or selection value has no placeholder: the text tests for it.
#pragma once

#include <string>
#include <vector>

#include "db/backend.h"
#include "db/layer.h"

namespace vyr::db {

// A timestamp column is stored as two: the instant and the zone it is shown in.
inline int sqlWidth(const ColumnDef &column) { return column.kind == ColumnKind::UTime ? 2 : 1; }
std::string zoneColumnName(const ColumnDef &column);

// A table or index and the statement that creates it (IF NOT EXISTS).
struct SchemaObject {
  std::string name;
  std::string sql;
};
// The table first, then its indexes.
std::vector<SchemaObject> schemaSql(const TableDef &table, const Dialect &dialect);

// The select of a fetch or scan: the request's fields then the index 1 columns
// not among them; keys of shape.index; the selection; the order; one row for a fetch.
std::string selectSql(const Request &request, const Shape &shape, const Dialect &dialect);
// A row a unique index refuses is not inserted, without failing the statement
// (so a transaction it runs in goes on on every engine); no row changed says so.
std::string insertSql(const TableDef &table, const std::vector<size_t> &columns, const Dialect &dialect);
// Sets `columns` of the rows whose first `keys` columns of `index` match.
std::string updateSql(const TableDef &table, const std::vector<size_t> &columns, const IndexDef &index, int keys,
                      uint64_t nullKeys, const Dialect &dialect);
std::string deleteSql(const TableDef &table, const IndexDef &index, int keys, uint64_t nullKeys,
                      const Dialect &dialect);

}  // namespace vyr::db
