#include "db/sql.h"

#include "db/values.h"
#include "vyrdb.h"

namespace vyr::db {
namespace {

std::string quoted(std::u16string_view name) { return "\"" + toUtf8(name) + "\""; }
std::string quoted(const ColumnDef &column) { return quoted(column.alias); }

// The column holds the null value (equal) or any other (not equal). A date
// holds the null date as the dialect's sentinel, or NULL when written before
// the sentinel was; every real date sorts after the sentinel.
std::string nullTest(const ColumnDef &column, bool equal, const Dialect &dialect) {
  const std::string name = quoted(column);
  if (column.kind != ColumnKind::Date) return name + (equal ? " IS NULL" : " IS NOT NULL");
  const std::string sentinel(dialect.nullDate());
  return equal ? "(" + name + " = " + sentinel + " OR " + name + " IS NULL)" : name + " > " + sentinel;
}

class Builder {
 public:
  explicit Builder(const Dialect &dialect) : dialect_(dialect) {}
  std::string next() { return dialect_.placeholder(position_++); }

  // "k1" = ? AND "k2" IS NULL ... for the leading key columns of an index.
  void keys(std::string &sql, const TableDef &table, const IndexDef &index, int count, uint64_t nullKeys,
            const char *&glue) {
    for (int i = 0; i < count; ++i) {
      const ColumnDef &column = table.columns[index.columns[static_cast<size_t>(i)]];
      sql += glue;
      glue = " AND ";
      sql += (nullKeys >> i & 1) ? nullTest(column, true, dialect_) : quoted(column) + " = " + next();
    }
  }

 private:
  const Dialect &dialect_;
  int position_ = 1;
};

bool nullable(const ColumnDef &column) {
  return column.kind == ColumnKind::Date || column.kind == ColumnKind::UTime || column.kind == ColumnKind::Binary;
}

// "col", "col DESC", with the dialect's NULL placement for a column that may hold NULL.
std::string orderTerm(const ColumnDef &column, bool descending, const Dialect &dialect) {
  std::string term = quoted(column);
  if (descending) term += " DESC";
  if (nullable(column)) term += dialect.nullsOrder(descending);
  return term;
}

const char *comparisonText(int comparison) {
  static const char *const texts[] = {" < ", " <= ", " = ", " >= ", " > ", " <> "};
  return comparison >= 0 && comparison <= 5 ? texts[comparison] : " = ";
}

}  // namespace

std::string zoneColumnName(const ColumnDef &column) { return toUtf8(column.alias) + "_TZ"; }

std::vector<SchemaObject> schemaSql(const TableDef &table, const Dialect &dialect) {
  std::vector<SchemaObject> out;
  std::string create = "CREATE TABLE IF NOT EXISTS " + quoted(table.name) + " (";
  for (size_t i = 0; i < table.columns.size(); ++i) {
    const ColumnDef &column = table.columns[i];
    if (i > 0) create += ", ";
    create += quoted(column) + " " + dialect.columnType(column);
    switch (column.kind) {
      // A column a row was inserted without is blank or zero, never NULL.
      case ColumnKind::String:
      case ColumnKind::Char:
        create += " NOT NULL DEFAULT ''";
        break;
      case ColumnKind::Number:
      case ColumnKind::Integer:
        create += " NOT NULL DEFAULT 0";
        break;
      case ColumnKind::UTime:
        create += ", \"" + zoneColumnName(column) + "\" " + dialect.columnType(ColumnDef{u"", ColumnKind::Integer});
        break;
      default:
        break;
    }
  }
  create += ")";
  out.push_back({toUtf8(table.name), create});
  for (const IndexDef &index : table.indexes) {
    const std::string name = toUtf8(table.name) + "_" + std::to_string(index.id);
    std::string sql = index.unique ? "CREATE UNIQUE INDEX IF NOT EXISTS " : "CREATE INDEX IF NOT EXISTS ";
    sql += "\"" + name + "\" ON " + quoted(table.name) + " (";
    for (size_t k = 0; k < index.columns.size(); ++k) {
      if (k > 0) sql += ", ";
      sql += orderTerm(table.columns[index.columns[k]], index.descending[k], dialect);
    }
    sql += ")";
    out.push_back({name, sql});
  }
  return out;
}

std::string selectSql(const Request &request, const Shape &shape, const Dialect &dialect) {
  const TableDef &table = *request.table;
  const IndexDef &primary = *table.primary();
  Builder builder(dialect);
  std::string sql = "SELECT ";
  const char *comma = "";
  for (const Field &field : request.fields) {
    const ColumnDef &column = table.columns[field.column];
    sql += comma + quoted(column);
    if (column.kind == ColumnKind::UTime) sql += ", \"" + zoneColumnName(column) + "\"";
    comma = ", ";
  }
  for (size_t k = 0; k < primary.columns.size(); ++k) {
    bool selected = false;
    for (const Field &field : request.fields) selected = selected || field.column == primary.columns[k];
    if (!selected) sql += comma + quoted(table.columns[primary.columns[k]]), comma = ", ";
  }
  sql += " FROM " + quoted(table.name);

  const IndexDef &index = *findIndex(table, shape.index);
  const char *glue = " WHERE ";
  builder.keys(sql, table, index, shape.keys, shape.nullKeys, glue);
  // OR joins an entry to the one before it; the parenthesised groups are ANDed.
  for (size_t i = 0; i < request.selection.size(); ++i) {
    const Condition &condition = request.selection[i];
    const bool opensGroup = i == 0 || !condition.orWithPrevious;
    const bool closesGroup = i + 1 == request.selection.size() || !request.selection[i + 1].orWithPrevious;
    sql += opensGroup ? std::string(glue) + "(" : std::string(" OR ");
    glue = " AND ";
    const ColumnDef &column = table.columns[condition.column];
    const int comparison = condition.comparison;
    if (condition.isNull) {
      sql += nullTest(column, comparison != VDB_CMP_NE, dialect);
    } else if (column.kind == ColumnKind::Date &&
               (comparison == VDB_CMP_LT || comparison == VDB_CMP_LE || comparison == VDB_CMP_NE)) {
      // The null date sorts first but is no date: it does not come before or differ from one.
      sql += "(" + quoted(column) + comparisonText(comparison) + builder.next() + " AND " +
             nullTest(column, false, dialect) + ")";
    } else {
      sql += quoted(column) + comparisonText(comparison) + builder.next();
    }
    if (closesGroup) sql += ")";
  }

  // The index order (or the sequencing), then index 1 so equal keys come back the same way each time.
  std::vector<SortKey> order;
  if (!request.sequencing.empty()) {
    order = request.sequencing;
  } else {
    for (size_t k = 0; k < index.columns.size(); ++k) order.push_back({index.columns[k], index.descending[k]});
  }
  if (!request.sequencing.empty() || !index.unique) {
    for (size_t k = 0; k < primary.columns.size(); ++k) {
      bool present = false;
      for (const SortKey &s : order) present = present || s.column == primary.columns[k];
      if (!present) order.push_back({primary.columns[k], primary.descending[k]});
    }
  }
  sql += " ORDER BY ";
  for (size_t i = 0; i < order.size(); ++i) {
    if (i > 0) sql += ", ";
    sql += orderTerm(table.columns[order[i].column], order[i].descending, dialect);
  }
  if (shape.op == Op::Fetch) sql += " LIMIT 1";
  if (shape.lock) sql += dialect.lockSuffix();
  return sql;
}

std::string insertSql(const TableDef &table, const std::vector<size_t> &columns, const Dialect &dialect) {
  Builder builder(dialect);
  std::string names, values;
  for (size_t i = 0; i < columns.size(); ++i) {
    const ColumnDef &column = table.columns[columns[i]];
    if (i > 0) names += ", ", values += ", ";
    names += quoted(column);
    values += builder.next();
    if (column.kind == ColumnKind::UTime) {
      names += ", \"" + zoneColumnName(column) + "\"";
      values += ", " + builder.next();
    }
  }
  return "INSERT INTO " + quoted(table.name) + " (" + names + ") VALUES (" + values + ") ON CONFLICT DO NOTHING";
}

std::string updateSql(const TableDef &table, const std::vector<size_t> &columns, const IndexDef &index, int keys,
                      uint64_t nullKeys, const Dialect &dialect) {
  Builder builder(dialect);
  std::string sql = "UPDATE " + quoted(table.name) + " SET ";
  for (size_t i = 0; i < columns.size(); ++i) {
    const ColumnDef &column = table.columns[columns[i]];
    if (i > 0) sql += ", ";
    sql += quoted(column) + " = " + builder.next();
    if (column.kind == ColumnKind::UTime) sql += ", \"" + zoneColumnName(column) + "\" = " + builder.next();
  }
  const char *glue = " WHERE ";
  builder.keys(sql, table, index, keys, nullKeys, glue);
  return sql;
}

std::string deleteSql(const TableDef &table, const IndexDef &index, int keys, uint64_t nullKeys,
                      const Dialect &dialect) {
  Builder builder(dialect);
  std::string sql = "DELETE FROM " + quoted(table.name);
  const char *glue = " WHERE ";
  builder.keys(sql, table, index, keys, nullKeys, glue);
  return sql;
}

}  // namespace vyr::db
