// Internal state of the table layer: environments with their connection
// pools, user handles with their connection and transaction, and requests
// with their statements, selection, sequencing, scan and current row.
// Handles given to callers are ids in registries, never these pointers.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/backend.h"
#include "db/catalog.h"
#include "vyrtypes.h"

namespace vyr::db {

// ---- Handle registries ---------------------------------------------------------

// Ids are never reused, so a stale or foreign handle finds nothing.
template <typename T>
class Registry {
 public:
  explicit Registry(uint64_t tag) : tag_(tag) {}
  uint64_t add(std::shared_ptr<T> object) {
    std::lock_guard<std::mutex> guard(lock_);
    const uint64_t id = tag_ | ++counter_;
    objects_.emplace(id, std::move(object));
    return id;
  }
  std::shared_ptr<T> find(uint64_t id) {
    std::lock_guard<std::mutex> guard(lock_);
    const auto it = objects_.find(id);
    return it == objects_.end() ? nullptr : it->second;
  }
  std::shared_ptr<T> take(uint64_t id) {
    std::lock_guard<std::mutex> guard(lock_);
    const auto it = objects_.find(id);
    if (it == objects_.end()) return nullptr;
    std::shared_ptr<T> object = std::move(it->second);
    objects_.erase(it);
    return object;
  }

 private:
  std::mutex lock_;
  std::unordered_map<uint64_t, std::shared_ptr<T>> objects_;
  uint64_t tag_;
  uint64_t counter_ = 0;
};

template <typename Handle>
uint64_t handleId(Handle handle) {
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(handle));
}
template <typename Handle>
Handle asHandle(uint64_t id) {
  return reinterpret_cast<Handle>(static_cast<uintptr_t>(id));
}

// ---- Environments ----------------------------------------------------------------

// A connection with the statements prepared on it, kept for reuse: a request
// takes the statement of a SQL text and gives it back when it closes.
struct PooledConnection {
  std::unique_ptr<Connection> connection;
  std::unordered_map<std::string, std::vector<std::unique_ptr<Statement>>> statements;

  std::unique_ptr<Statement> take(const std::string &sql, bool scan = false, bool locksRows = false);
  void giveBack(const std::string &sql, std::unique_ptr<Statement> statement);
};

// One database, shared process-wide by everything that opens its location.
struct Environment {
  std::string location;
  std::unique_ptr<Backend> backend;
  std::mutex poolLock;
  std::vector<std::unique_ptr<PooledConnection>> idle;

  std::unique_ptr<PooledConnection> acquire(const ConnectOptions &options, std::string *error);
  void release(std::unique_ptr<PooledConnection> connection);
};

struct EnvHandle {
  std::shared_ptr<Environment> environment;
  std::u16string name;
};

// The environment at a location, opened (and the tables it lacks created) on
// first use. A database that does not exist is an error unless `create`
// asks for it to be made (*created then says whether it was).
std::shared_ptr<Environment> openEnvironment(const std::string &location, std::string *error, bool create = false,
                                             bool *created = nullptr);
Registry<EnvHandle> &envHandles();

// ---- Values ---------------------------------------------------------------------------

struct Value {
  enum class Kind : uint8_t { Null, Int, Number, Date, Timestamp, Text, Blob } kind = Kind::Null;
  int64_t integer = 0;    // Int; Number scaled by 10^decimals; Date yyyymmdd; Timestamp microseconds since 1970 UTC
  unsigned decimals = 0;  // Number
  std::string text;
  const void *blob = nullptr;
  size_t blobSize = 0;

  void setNull() { kind = Kind::Null; }
  void setInt(int64_t v) { kind = Kind::Int, integer = v; }
  void setNumber(int64_t scaled, unsigned places) { kind = Kind::Number, integer = scaled, decimals = places; }
  void setDate(int64_t yyyymmdd) { kind = Kind::Date, integer = yyyymmdd; }
  void setTimestamp(int64_t micros) { kind = Kind::Timestamp, integer = micros; }
};

// ---- Requests ----------------------------------------------------------------------------

struct User;

enum class Op : uint8_t { Fetch, Scan, Insert, Update, UpdateCurrent, Delete };

// What makes two statements of a request the same SQL.
struct Shape {
  Op op = Op::Fetch;
  ID index = 0;
  int keys = 0;
  uint64_t nullKeys = 0;    // bit i: key i is the null date or timestamp
  uint32_t selection = 0;   // interned selection shape (0: none)
  uint32_t sequencing = 0;  // interned sequencing (0: index order)
  uint32_t columns = 0;     // interned column list of *Cols operations (0: the request's)
  bool lock = false;
  bool operator==(const Shape &) const = default;
};

struct Condition {
  size_t column = 0;
  int comparison = 0;
  bool orWithPrevious = false;
  bool isNull = false;  // the null value: = and <> test for it, with no placeholder
  Value value;
};

struct SortKey {
  size_t column = 0;
  bool descending = false;
};

// A column in a packed record: where it lies and where its value is in a select.
struct Field {
  size_t column = 0;
  size_t offset = 0;
  int sqlColumn = 0;
};

struct BlobState {
  bool declared = false;
  uint32_t declaredSize = 0;
  std::string fetched;  // bytes of the last fetch, handed out by pointer
  bool fetchedNull = true;
};

struct Request {
  std::shared_ptr<User> user;
  uint64_t id = 0;
  const TableDef *table = nullptr;
  ID index = 1;
  std::vector<Field> fields;
  size_t rowSize = 0;
  std::vector<int> keyFields;      // per index 1 column: its position in fields, -1 when not selected
  std::vector<int> keySqlColumns;  // per index 1 column: where the select has it

  std::vector<Condition> selection;
  uint32_t selectionShape = 0;
  std::vector<SortKey> sequencing;
  uint32_t sequencingShape = 0;
  std::vector<std::string> selectionShapes, sequencingShapes, columnShapes;

  struct Cached {
    Shape shape;
    std::string sql;
    std::unique_ptr<Statement> statement;
  };
  std::vector<Cached> statements;

  enum class Scan : uint8_t { None, Active, Done } scan = Scan::None;
  Statement *scanStatement = nullptr;

  // The row last fetched, as fetched: UpdateCurrent finds it again by its index 1 values,
  // taken from this copy (selected columns) or from currentKey (the others, read at fetch).
  bool hasCurrent = false;
  std::vector<unsigned char> currentRecord;
  std::vector<Value> currentKey;

  bool holdsLock = false;
  bool lockForScan = false;

  std::vector<BlobState> blobs;    // one per table column (used for binary ones)
  std::vector<Value> keyValues;    // key of the statement being run
  std::vector<Value> writeValues;  // written values of the statement being run (two per column)
  bool closed = false;
};

// ---- Users ------------------------------------------------------------------------------

struct User {
  std::mutex lock;  // one operation at a time on the handle and its requests
  uint64_t id = 0;
  LPBHVRCOM context = nullptr;
  // The context's "fail" setting, so operations ask for forced failures only when it names any.
  const std::string *failSetting = nullptr;
  std::shared_ptr<Environment> environment;  // null: the context names no database
  std::u16string environmentName;
  uint64_t envHandle = 0;
  bool userTransaction = false;  // commit mode 1
  std::unique_ptr<PooledConnection> connection;
  bool inTransaction = false;
  bool readSnapshot = false;  // a read transaction of the running call (beginReadSnapshot)
  // The engine ended the handle's transaction after a failed statement or a
  // lost connection: its next commit fails (mode 1), so no partial work is taken for whole.
  bool transactionLost = false;
  int lockHolders = 0;
  std::vector<uint64_t> requests;  // ids of its open requests (the registry owns them)
  bool closed = false;
};

Registry<User> &users();
Registry<Request> &requests();

// ---- Shared helpers -------------------------------------------------------------------------

// One trace line "operation: message" for the context (nothing without one).
void traceFailure(LPBHVRCOM context, std::string_view operation, std::string_view message);

// What went wrong when the database failed or refused (vyrdb.h lists the error ids).
enum class DatabaseFailure { CannotOpen, Lost, Timeout, Lock, DuplicateKey, Commit, Refused };
// Puts the failure's error on the context (item 0, the table or environment name as its text).
void raiseDatabaseError(LPBHVRCOM context, DatabaseFailure failure, std::u16string_view detail);

// The connection options a context's settings ask for ("dbtimeout", "dbkeepalive").
ConnectOptions connectOptions(LPBHVRCOM context);

// The handle's connection, taken from the pool when it has none (first use,
// or the last one broke). False (traced) when none can be had.
bool ensureConnection(User &user, std::string_view operation);
// Every request of the user forgets its lock (and, with resetScans, its scan): the transaction ended.
void endTransaction(User &user, bool resetScans);
// After a failure on the user's connection: a connection that broke is
// discarded (requests forget the statements prepared on it), and a transaction
// the engine ended is forgotten too, each with a trace line. Call it when no
// statement of the failed operation is in use any more.
void afterFailure(User &user, std::string_view operation);

// A statement on the user's connection failed (the statement already reset):
// one trace line, the error of what failed on the context, then afterFailure.
void statementFailed(User &user, std::string_view operation, std::u16string_view table, const std::string &message);

// Opens the transaction a statement of the user must run in (mode 1: one
// that lasts until commit or rollback). False (traced) when it cannot start.
bool ensureTransaction(User &user, std::string_view operation);
// Inside a business-function call, a plain fetch of a handle without a
// transaction reads in the call's snapshot: started here on first use.
void beginReadSnapshot(const std::shared_ptr<User> &user);
// The calling thread's handles are about to change the database or have
// committed: their read snapshots end, so no read after it sees older data
// (and SQLite never has to turn a stale snapshot into a write).
void endReadSnapshots(User &user);

// Takes the write lock for a request's fetch for update (already held: nothing).
bool acquireLock(User &user, Request &request, std::string_view operation);
// Gives up a request's lock; the last one out commits a lock transaction of
// mode 0. False (traced, "DBCM" raised) when that commit failed: the
// transaction's work is rolled back.
bool releaseLock(User &user, Request &request);
// Closes a request under its user's lock: scan ended, statements pooled, lock
// released; false when the commit that ends its lock failed (see releaseLock).
bool closeRequest(User &user, Request &request);
// Frees a user handle (requests closed, uncommitted work rolled back, connection
// pooled); false when closing a request's lock failed to commit what it covered.
bool freeUser(User &user);

}  // namespace vyr::db
