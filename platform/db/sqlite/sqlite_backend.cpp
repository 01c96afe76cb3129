#include "db/sqlite/sqlite_backend.h"

#include <sqlite3.h>

#include <filesystem>

namespace vyr::db {
namespace {

// How long a connection waits for another one's write lock before failing.
constexpr int kBusyTimeoutMs = 30000;

ErrorKind kindOf(int code) {
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return ErrorKind::None;
    case SQLITE_CONSTRAINT:
      return ErrorKind::Constraint;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ErrorKind::Busy;
    default:
      return ErrorKind::Other;
  }
}

class SqliteStatement final : public Statement {
 public:
  SqliteStatement(sqlite3 *db, sqlite3_stmt *stmt) : db_(db), stmt_(stmt) {}
  ~SqliteStatement() override { sqlite3_finalize(stmt_); }
  SqliteStatement(const SqliteStatement &) = delete;
  SqliteStatement &operator=(const SqliteStatement &) = delete;

  void bindNull(int position) override { sqlite3_bind_null(stmt_, position); }
  void bindInt(int position, int64_t value) override { sqlite3_bind_int64(stmt_, position, value); }
  void bindText(int position, std::string_view utf8) override {
    sqlite3_bind_text64(stmt_, position, utf8.data(), utf8.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  void bindTextUntilReset(int position, std::string_view utf8) override {
    sqlite3_bind_text64(stmt_, position, utf8.data(), utf8.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void bindBlob(int position, const void *data, size_t size) override {
    // A zero-length blob is still a value, not NULL.
    static const char empty = 0;
    sqlite3_bind_blob64(stmt_, position, size ? data : &empty, size, SQLITE_TRANSIENT);
  }

  StepResult step() override {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return StepResult::Row;
    if (rc == SQLITE_DONE) {
      changes_ = sqlite3_changes64(db_);
      return StepResult::Done;
    }
    return StepResult::Error;
  }

  bool isNull(int column) override { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
  int64_t readInt(int column) override { return sqlite3_column_int64(stmt_, column); }
  std::string_view readText(int column) override {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt_, column));
    return text ? std::string_view(text, static_cast<size_t>(sqlite3_column_bytes(stmt_, column))) : std::string_view();
  }
  std::string_view readBlob(int column) override {
    const auto *data = static_cast<const char *>(sqlite3_column_blob(stmt_, column));
    return data ? std::string_view(data, static_cast<size_t>(sqlite3_column_bytes(stmt_, column))) : std::string_view();
  }
  void reset() override { sqlite3_reset(stmt_); }
  int64_t changes() override { return changes_; }

 private:
  sqlite3 *db_;
  sqlite3_stmt *stmt_;
  int64_t changes_ = 0;
};

class SqliteConnection final : public Connection {
 public:
  explicit SqliteConnection(sqlite3 *db) : db_(db) {}
  ~SqliteConnection() override {
    sqlite3_finalize(beginRead_);
    sqlite3_finalize(endRead_);
    sqlite3_close_v2(db_);
  }
  SqliteConnection(const SqliteConnection &) = delete;
  SqliteConnection &operator=(const SqliteConnection &) = delete;

  std::unique_ptr<Statement> prepare(const std::string &sql) override {
    sqlite3_stmt *stmt = nullptr;
    const int rc = sqlite3_prepare_v3(db_, sql.c_str(), static_cast<int>(sql.size() + 1), SQLITE_PREPARE_PERSISTENT,
                                      &stmt, nullptr);
    if (rc != SQLITE_OK || stmt == nullptr) {
      sqlite3_finalize(stmt);
      return nullptr;
    }
    return std::make_unique<SqliteStatement>(db_, stmt);
  }

  bool execute(const std::string &sql) override {
    return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  bool beginWrite() override { return execute("BEGIN IMMEDIATE"); }
  bool commit() override { return execute("COMMIT"); }
  bool rollback() override { return execute("ROLLBACK"); }
  std::string lastError() override { return sqlite3_errmsg(db_); }
  ErrorKind lastErrorKind() override { return kindOf(sqlite3_extended_errcode(db_)); }
  bool inTransaction() override { return sqlite3_get_autocommit(db_) == 0; }
  bool broken() override { return false; }

  // A deferred BEGIN: the snapshot is taken by the first read and kept until the COMMIT.
  bool beginRead() override { return run(beginRead_, "BEGIN"); }
  void endRead() override {
    if (!run(endRead_, "COMMIT") && sqlite3_get_autocommit(db_) == 0) execute("ROLLBACK");
  }

 private:
  // Runs one of the connection's own statements, prepared on first use.
  bool run(sqlite3_stmt *&statement, const char *sql) {
    if (statement == nullptr &&
        sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
      return false;
    const int rc = sqlite3_step(statement);
    sqlite3_reset(statement);
    return rc == SQLITE_DONE;
  }

  sqlite3 *db_;
  sqlite3_stmt *beginRead_ = nullptr, *endRead_ = nullptr;
};

class SqliteDialect final : public Dialect {
 public:
  std::string placeholder(int position) const override { return "?" + std::to_string(position); }
  std::string columnType(const ColumnDef &column) const override {
    switch (column.kind) {
      case ColumnKind::String:
      case ColumnKind::Char:
        return "TEXT";
      case ColumnKind::Binary:
        return "BLOB";
      default:
        return "INTEGER";
    }
  }
  // BEGIN IMMEDIATE already holds the write lock for the whole transaction.
  std::string_view lockSuffix() const override { return {}; }
  std::string relationsSql() const override { return "SELECT name FROM sqlite_master"; }
};

class SqliteBackend final : public Backend {
 public:
  explicit SqliteBackend(std::string path) : path_(std::move(path)) {}

  bool create(bool *created, std::string *error) override {
    *created = !std::filesystem::exists(path_);
    if (!*created) return true;
    sqlite3 *db = nullptr;
    const bool made =
        sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) == SQLITE_OK;
    if (!made && error) *error = "cannot create database " + path_ + ": " + (db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_close_v2(db);
    return made;
  }

  // A mistyped path must not pass for an empty database: a missing file is an error.
  std::unique_ptr<Connection> connect(const ConnectOptions &, std::string *error) override {
    sqlite3 *db = nullptr;
    if (!std::filesystem::exists(path_)) {
      if (error) *error = "no database at " + path_ + " (it is not created implicitly)";
      return nullptr;
    }
    if (sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
      if (error) *error = "cannot open database " + path_ + ": " + (db ? sqlite3_errmsg(db) : "out of memory");
      sqlite3_close_v2(db);
      return nullptr;
    }
    sqlite3_busy_timeout(db, kBusyTimeoutMs);
    sqlite3_extended_result_codes(db, 1);
    // WAL lets readers go on while one writer works; NORMAL sync is safe with WAL.
    if (sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr) !=
        SQLITE_OK) {
      if (error) *error = "cannot prepare database " + path_ + ": " + sqlite3_errmsg(db);
      sqlite3_close_v2(db);
      return nullptr;
    }
    return std::make_unique<SqliteConnection>(db);
  }

  const Dialect &dialect() const override { return dialect_; }

 private:
  std::string path_;
  SqliteDialect dialect_;
};

}  // namespace

std::unique_ptr<Backend> openSqliteBackend(const std::string &path, std::string *error) {
  if (path.empty()) {
    if (error) *error = "empty database path";
    return nullptr;
  }
  return std::make_unique<SqliteBackend>(path);
}

}  // namespace vyr::db
