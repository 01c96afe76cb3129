// What the table layer needs of a database engine. The layer above builds all
// SQL from the catalogue and the request state; a backend only prepares,
// binds, steps, reads columns and runs transactions. Every SQL text a backend
// receives comes from the layer, with values bound through placeholders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "db/catalog.h"

namespace vyr::db {

enum class StepResult { Row, Done, Error };

enum class ErrorKind {
  None,
  Constraint,  // a unique index refused the row
  Busy,        // another connection held the lock longer than the wait
  Timeout,     // the statement ran past its time limit and was cancelled
  Other,
};

class Statement {
 public:
  virtual ~Statement() = default;
  // Placeholders are numbered from 1.
  virtual void bindNull(int position) = 0;
  virtual void bindInt(int position, int64_t value) = 0;
  virtual void bindText(int position, std::string_view utf8) = 0;
  // Text that stays as it is until the statement's next reset: an engine may read it in place.
  virtual void bindTextUntilReset(int position, std::string_view utf8) { bindText(position, utf8); }
  virtual void bindBlob(int position, const void *data, size_t size) = 0;
  // An exact number given as value * 10^decimals. An engine with a decimal
  // type stores it as such; the default keeps the scaled integer.
  virtual void bindNumber(int position, int64_t scaled, unsigned decimals) {
    (void)decimals;
    bindInt(position, scaled);
  }
  virtual StepResult step() = 0;
  // Columns of the current row, numbered from 0.
  virtual bool isNull(int column) = 0;
  virtual int64_t readInt(int column) = 0;
  virtual std::string_view readText(int column) = 0;
  virtual std::string_view readBlob(int column) = 0;
  // A number column as value * 10^decimals (see bindNumber).
  virtual int64_t readNumber(int column, unsigned decimals) {
    (void)decimals;
    return readInt(column);
  }
  // A calendar date as yyyymmdd, for an engine with a date type; the default keeps the integer.
  // kNullDate (values.h) is the null date: an engine with a date type stores it as its sentinel
  // (Dialect::nullDate) and reads that back as kNullDate.
  virtual void bindDate(int position, int64_t yyyymmdd) { bindInt(position, yyyymmdd); }
  virtual int64_t readDate(int column) { return readInt(column); }
  // An instant as microseconds since 1970-01-01 UTC, for an engine with a timestamp type.
  virtual void bindTimestamp(int position, int64_t micros) { bindInt(position, micros); }
  virtual int64_t readTimestamp(int column) { return readInt(column); }
  // Ends the current execution (releasing what it holds) so the statement can run again.
  virtual void reset() = 0;
  // Rows the last completed insert, update or delete changed.
  virtual int64_t changes() = 0;
};

// How long a database server may take: a statement past `statementSeconds`
// is cancelled by the server, and a server that has sent nothing for a few
// seconds more counts as lost (the connection is given up). Idle TCP
// connections are probed after `keepaliveSeconds`. Engines without a server
// ignore them.
struct ConnectOptions {
  int statementSeconds = 60;
  int keepaliveSeconds = 30;
  bool operator==(const ConnectOptions &) const = default;
};

class Connection {
 public:
  virtual ~Connection() = default;
  virtual std::unique_ptr<Statement> prepare(const std::string &sql) = 0;
  // A select whose rows a scan steps through: an engine may read them in
  // pages, so a scan of any size holds only a page at a time. `locksRows`:
  // the select locks what it reads, inside a transaction.
  virtual std::unique_ptr<Statement> prepareScan(const std::string &sql, bool locksRows) {
    (void)locksRows;
    return prepare(sql);
  }
  // Whether the connection was opened with these options (a pooled one is reused only then).
  virtual bool opened(const ConnectOptions &options) const {
    (void)options;
    return true;
  }
  virtual bool execute(const std::string &sql) = 0;
  // A transaction that writes: it takes the database's write lock at once,
  // waiting for other writers, so rows read inside it stay as read until it ends
  // (an engine with row locks may send the BEGIN with the first statement).
  virtual bool beginWrite() = 0;
  virtual bool commit() = 0;
  virtual bool rollback() = 0;
  // A read transaction whose snapshot the reads after it share until endRead.
  // False when the engine's reads gain nothing from one: none is started.
  virtual bool beginRead() { return false; }
  virtual void endRead() {}
  // The next statement is the last of the transaction: an engine may send the
  // COMMIT along with it, to hold its locks one round trip less. commit() must
  // still follow and reports the outcome.
  virtual void commitWithNextStatement() {}
  // The last failure of this connection.
  virtual std::string lastError() = 0;
  virtual ErrorKind lastErrorKind() = 0;
  // Whether a transaction is open. An engine may end one by itself when a
  // statement in it fails; the layer asks after each failure.
  virtual bool inTransaction() = 0;
  // The connection is lost and must be discarded, not pooled.
  virtual bool broken() = 0;
};

// SQL differences between engines that the layer's SQL generation respects.
struct Dialect {
  virtual ~Dialect() = default;
  virtual std::string placeholder(int position) const = 0;
  virtual std::string columnType(const ColumnDef &column) const = 0;
  // Appended to a select that locks its rows ("" when beginWrite already locks).
  virtual std::string_view lockSuffix() const = 0;
  // Appended to an ORDER BY or index term of a column that may hold NULL, so
  // NULL sorts before every value ascending and after every value descending.
  virtual std::string_view nullsOrder(bool descending) const {
    (void)descending;
    return {};
  }
  // The stored null date as an SQL literal: it sorts before every real date (the default is kNullDate as an integer).
  virtual std::string_view nullDate() const { return "0"; }
  // A query whose rows name, in column 0, every table and index of the schema tables are created in.
  virtual std::string relationsSql() const = 0;
  // Run inside the transaction that creates tables, so processes creating them together wait for each other
  // ("" when beginWrite already excludes other writers).
  virtual std::string schemaLockSql() const { return {}; }
};

// One database: hands out connections.
class Backend {
 public:
  virtual ~Backend() = default;
  // Makes the database exist (an engine whose databases are made elsewhere has nothing to do);
  // *created says whether it was new. Connecting never creates one.
  virtual bool create(bool *created, std::string *error) {
    (void)error;
    *created = false;
    return true;
  }
  virtual std::unique_ptr<Connection> connect(const ConnectOptions &options, std::string *error) = 0;
  virtual const Dialect &dialect() const = 0;
};

// The backend for a location: postgresql://... or postgres://... is PostgreSQL,
// a plain file path SQLite. NULL (with *error) when it cannot be used.
std::unique_ptr<Backend> openBackend(const std::string &location, std::string *error);

}  // namespace vyr::db
