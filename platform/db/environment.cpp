// Environments (one per database location, shared process-wide, with a pool
// of idle connections and their prepared statements), user handles and their
// transactions, and the host interface of host.h.
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <unordered_set>

#include "db/host.h"
#include "db/layer.h"
#include "db/postgres/postgres_backend.h"
#include "db/sql.h"
#include "db/sqlite/sqlite_backend.h"
#include "db/values.h"
#include "runtime/context.h"

namespace vyr::db {
namespace {

// Idle connections an environment keeps for the next handle; more are closed.
constexpr size_t kIdleConnections = 8;

struct EnvironmentCache {
  std::mutex lock;
  std::unordered_map<std::string, std::shared_ptr<Environment>> byLocation;
};

EnvironmentCache &cache() {
  static EnvironmentCache c;
  return c;
}

// One spelling per database file, so two paths to it share one environment.
std::string normalise(const std::string &location) {
  if (isPostgresLocation(location)) return location;
  std::error_code error;
  const std::filesystem::path path = std::filesystem::weakly_canonical(location, error);
  return error || path.empty() ? location : path.string();
}

// Names of the tables and indexes the database has; false (with *error) when it cannot be asked.
bool existingRelations(Connection &connection, const Dialect &dialect, std::unordered_set<std::string> &names,
                       std::string *error) {
  names.clear();
  std::unique_ptr<Statement> query = connection.prepare(dialect.relationsSql());
  StepResult step = StepResult::Error;
  if (query)
    while ((step = query->step()) == StepResult::Row) names.emplace(query->readText(0));
  if (step != StepResult::Done) {
    if (error) *error = "cannot read the tables of the database: " + connection.lastError();
    return false;
  }
  return true;
}

// Creates what the catalogue declares and the database lacks. Nothing is
// locked when everything is there, so processes starting together do not wait.
bool createTables(Connection &connection, const Dialect &dialect, std::string *error) {
  std::vector<SchemaObject> objects;
  for (const TableDef *table : allTables())
    for (SchemaObject &object : schemaSql(*table, dialect)) objects.push_back(std::move(object));
  std::unordered_set<std::string> existing;
  if (!existingRelations(connection, dialect, existing, error)) return false;
  bool complete = true;
  for (const SchemaObject &object : objects) complete = complete && existing.count(object.name) != 0;
  if (complete) return true;

  // One creator at a time; what another one created meanwhile is there when the lock is ours.
  auto fail = [&](const std::string &what) {
    if (error) *error = what + ": " + connection.lastError();
    if (connection.inTransaction()) connection.rollback();
    return false;
  };
  if (!connection.beginWrite()) return fail("cannot lock the database to create its tables");
  const std::string lock = dialect.schemaLockSql();
  if (!lock.empty() && !connection.execute(lock)) return fail("cannot lock the database to create its tables");
  for (const SchemaObject &object : objects)
    if (existing.count(object.name) == 0 && !connection.execute(object.sql))
      return fail("cannot create " + object.name);
  if (!connection.commit()) return fail("cannot create the tables");
  return true;
}

void releaseContextEnvironment(void *handle) noexcept { envHandles().take(handleId(handle)); }

}  // namespace

// ---- Connections and environments -------------------------------------------------------

std::unique_ptr<Statement> PooledConnection::take(const std::string &sql, bool scan, bool locksRows) {
  const auto it = statements.find(sql);
  if (it != statements.end() && !it->second.empty()) {
    std::unique_ptr<Statement> statement = std::move(it->second.back());
    it->second.pop_back();
    return statement;
  }
  return scan ? connection->prepareScan(sql, locksRows) : connection->prepare(sql);
}

void PooledConnection::giveBack(const std::string &sql, std::unique_ptr<Statement> statement) {
  if (!statement) return;
  statement->reset();
  statements[sql].push_back(std::move(statement));
}

std::unique_ptr<PooledConnection> Environment::acquire(const ConnectOptions &options, std::string *error) {
  for (;;) {
    std::unique_ptr<PooledConnection> connection;
    {
      std::lock_guard<std::mutex> guard(poolLock);
      const auto it = std::find_if(idle.rbegin(), idle.rend(), [&](const std::unique_ptr<PooledConnection> &c) {
        return c->connection->opened(options);
      });
      if (it == idle.rend()) break;
      connection = std::move(*it);
      idle.erase(std::next(it).base());
    }
    // One the server closed while it waited (a restart, an idle timeout) is dropped.
    if (!connection->connection->broken()) return connection;
  }
  std::unique_ptr<Connection> connection = backend->connect(options, error);
  if (!connection) return nullptr;
  auto pooled = std::make_unique<PooledConnection>();
  pooled->connection = std::move(connection);
  return pooled;
}

void Environment::release(std::unique_ptr<PooledConnection> connection) {
  if (!connection) return;
  // Only a healthy connection outside any transaction goes back to the pool.
  // Probing a server connection costs reads on its socket: once, and again
  // only when a rollback failed.
  Connection &c = *connection->connection;
  bool broken = c.broken();
  if (!broken && c.inTransaction() && !c.rollback()) broken = c.broken();
  if (broken || c.inTransaction()) return;
  std::lock_guard<std::mutex> guard(poolLock);
  if (idle.size() < kIdleConnections) idle.push_back(std::move(connection));
}

std::shared_ptr<Environment> openEnvironment(const std::string &location, std::string *error, bool create,
                                             bool *created) {
  bool made = false;
  if (created) *created = false;
  if (location.empty()) {
    if (error) *error = "no database location";
    return nullptr;
  }
  const std::string key = normalise(location);
  EnvironmentCache &c = cache();
  std::lock_guard<std::mutex> guard(c.lock);
  const auto it = c.byLocation.find(key);
  if (it != c.byLocation.end()) return it->second;
  auto environment = std::make_shared<Environment>();
  environment->location = key;
  environment->backend = openBackend(key, error);
  if (!environment->backend) return nullptr;
  if (create && !environment->backend->create(&made, error)) return nullptr;
  if (created) *created = made;
  std::unique_ptr<PooledConnection> first = environment->acquire(ConnectOptions{}, error);
  if (!first) return nullptr;
  if (!createTables(*first->connection, environment->backend->dialect(), error)) return nullptr;
  environment->release(std::move(first));
  c.byLocation.emplace(key, environment);
  return environment;
}

Registry<EnvHandle> &envHandles() {
  static Registry<EnvHandle> registry(0x4500000000000000ull);
  return registry;
}

Registry<User> &users() {
  static Registry<User> registry(0x5500000000000000ull);
  return registry;
}

Registry<Request> &requests() {
  static Registry<Request> registry(0x5200000000000000ull);
  return registry;
}

bool isPostgresLocation(std::string_view location) {
  return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

std::unique_ptr<Backend> openBackend(const std::string &location, std::string *error) {
  if (isPostgresLocation(location)) return openPostgresBackend(location, error);
  return openSqliteBackend(location, error);
}

// ---- Host interface ----------------------------------------------------------------------

HENV openEnvironment(std::u16string_view name, const std::string &location, std::string *error) {
  std::shared_ptr<Environment> environment = openEnvironment(location, error);
  if (!environment) return nullptr;
  auto handle = std::make_shared<EnvHandle>();
  handle->environment = std::move(environment);
  handle->name = std::u16string(name);
  return asHandle<HENV>(envHandles().add(std::move(handle)));
}

bool initDatabase(const std::string &location, std::string *error, bool *created) {
  return openEnvironment(location, error, true, created) != nullptr;
}

HENV contextEnvironment(LPBHVRCOM context, std::string *error) {
  if (error) error->clear();
  if (context == nullptr) {
    if (error) *error = "no context";
    return nullptr;
  }
  if (context->environment != nullptr) {
    if (envHandles().find(handleId(context->environment))) return context->environment;
    if (error) *error = "the context's environment handle was already freed";
    return nullptr;
  }
  const std::string name = setting(context, "env");
  const std::string location = setting(context, "env." + name);
  if (location.empty()) return nullptr;
  HENV handle = openEnvironment(fromUtf8(name), location, error);
  if (handle == nullptr) return nullptr;
  context->environment = handle;
  registerResource(context, ContextResource{handle, releaseContextEnvironment});
  return handle;
}

size_t closeUnusedEnvironments() {
  EnvironmentCache &c = cache();
  std::lock_guard<std::mutex> guard(c.lock);
  size_t closed = 0;
  for (auto it = c.byLocation.begin(); it != c.byLocation.end();) {
    if (it->second.use_count() == 1) {
      it = c.byLocation.erase(it);
      ++closed;
    } else {
      ++it;
    }
  }
  return closed;
}

// ---- Transactions ---------------------------------------------------------------------------

namespace {

// Business-function calls running on this thread, and the handles whose read
// snapshot one of them started.
thread_local int tCallDepth = 0;
thread_local std::vector<std::weak_ptr<User>> tReadSnapshots;

void endReadSnapshot(User &user) {
  if (!user.readSnapshot) return;
  user.readSnapshot = false;
  if (user.connection) user.connection->connection->endRead();
}

}  // namespace

ReadSnapshotScope::ReadSnapshotScope() noexcept { ++tCallDepth; }

ReadSnapshotScope::~ReadSnapshotScope() {
  if (--tCallDepth > 0) return;
  std::vector<std::weak_ptr<User>> started;
  started.swap(tReadSnapshots);
  for (const std::weak_ptr<User> &weak : started)
    if (std::shared_ptr<User> user = weak.lock()) {
      std::lock_guard<std::mutex> guard(user->lock);
      endReadSnapshot(*user);
    }
}

void beginReadSnapshot(const std::shared_ptr<User> &user) {
  if (tCallDepth == 0 || user->readSnapshot || user->inTransaction || user->userTransaction || !user->connection)
    return;
  if (!user->connection->connection->beginRead()) return;
  user->readSnapshot = true;
  tReadSnapshots.push_back(user);
}

void endReadSnapshots(User &user) {
  endReadSnapshot(user);
  std::vector<std::weak_ptr<User>> open;
  for (const std::weak_ptr<User> &weak : tReadSnapshots) {
    std::shared_ptr<User> other = weak.lock();
    if (!other || other.get() == &user) continue;
    // The caller holds its own handle's lock; another thread busy with this
    // handle keeps its snapshot until the call ends.
    std::unique_lock<std::mutex> guard(other->lock, std::try_to_lock);
    if (guard.owns_lock())
      endReadSnapshot(*other);
    else
      open.push_back(weak);
  }
  tReadSnapshots.swap(open);
}

ConnectOptions connectOptions(LPBHVRCOM context) {
  ConnectOptions options;
  const auto number = [&](const char *key, int &out) {
    const std::string text = setting(context, key);
    // Validated with the setting; a default stays otherwise.
    std::from_chars(text.data(), text.data() + text.size(), out);
  };
  number("dbtimeout", options.statementSeconds);
  number("dbkeepalive", options.keepaliveSeconds);
  return options;
}

bool ensureConnection(User &user, std::string_view operation) {
  if (user.connection) return true;
  if (!user.environment) {
    const std::string name = toUtf8(user.environmentName);
    traceFailure(user.context, operation, "environment " + name + " has no database (setting env." + name + ")");
    return false;
  }
  std::string error;
  user.connection = user.environment->acquire(connectOptions(user.context), &error);
  if (!user.connection) {
    traceFailure(user.context, operation, error);
    raiseDatabaseError(user.context, DatabaseFailure::CannotOpen, user.environmentName);
    return false;
  }
  return true;
}

void endTransaction(User &user, bool resetScans) {
  for (uint64_t id : user.requests) {
    std::shared_ptr<Request> request = requests().find(id);
    if (!request) continue;
    request->holdsLock = false;
    request->lockForScan = false;
    if (resetScans && request->scanStatement) {
      request->scanStatement->reset();
      request->scanStatement = nullptr;
      request->scan = Request::Scan::None;
    }
  }
  user.lockHolders = 0;
  user.inTransaction = false;
}

namespace {

// Drops a connection that broke: its statements go with it, and every request
// prepares again on the connection the handle takes next.
void discardConnection(User &user) {
  endTransaction(user, true);
  user.readSnapshot = false;
  for (uint64_t id : user.requests)
    if (std::shared_ptr<Request> request = requests().find(id)) {
      request->statements.clear();
      request->hasCurrent = false;
    }
  user.connection.reset();
}

}  // namespace

namespace {

DatabaseFailure failureOf(Connection &connection) {
  if (connection.broken()) return DatabaseFailure::Lost;
  switch (connection.lastErrorKind()) {
    case ErrorKind::Constraint:
      return DatabaseFailure::DuplicateKey;
    case ErrorKind::Busy:
      return DatabaseFailure::Lock;
    case ErrorKind::Timeout:
      return DatabaseFailure::Timeout;
    default:
      return DatabaseFailure::Refused;
  }
}

}  // namespace

void statementFailed(User &user, std::string_view operation, std::u16string_view table, const std::string &message) {
  traceFailure(user.context, operation, message);
  if (user.connection) raiseDatabaseError(user.context, failureOf(*user.connection->connection), table);
  afterFailure(user, operation);
}

void afterFailure(User &user, std::string_view operation) {
  if (!user.connection) return;
  Connection &connection = *user.connection->connection;
  const bool hadTransaction = user.inTransaction;
  if (connection.broken()) {
    discardConnection(user);
    if (hadTransaction) {
      user.transactionLost = user.transactionLost || user.userTransaction;
      traceFailure(user.context, operation,
                   "the connection to the database was lost; the work of its open transaction was rolled back");
    }
    return;
  }
  if (hadTransaction && !connection.inTransaction()) {
    // A row fetched for update is no longer locked: writing it back unguarded could lose another's update.
    for (uint64_t id : user.requests)
      if (std::shared_ptr<Request> request = requests().find(id); request && request->holdsLock)
        request->hasCurrent = false;
    endTransaction(user, true);
    user.transactionLost = user.transactionLost || user.userTransaction;
    traceFailure(user.context, operation, "the failed statement ended the transaction; its work was rolled back");
  }
}

bool ensureTransaction(User &user, std::string_view operation) {
  if (!ensureConnection(user, operation)) return false;
  if (!user.userTransaction || user.inTransaction) return true;
  if (!user.connection->connection->beginWrite()) {
    statementFailed(user, operation, user.environmentName,
                    "cannot start the handle's transaction: " + user.connection->connection->lastError());
    return false;
  }
  user.inTransaction = true;
  return true;
}

bool acquireLock(User &user, Request &request, std::string_view operation) {
  if (request.holdsLock) return true;
  endReadSnapshots(user);
  if (user.userTransaction) {
    if (!ensureTransaction(user, operation)) return false;
  } else if (!user.inTransaction) {
    if (!ensureConnection(user, operation)) return false;
    if (!user.connection->connection->beginWrite()) {
      statementFailed(
          user, operation, request.table->name,
          "cannot lock " + toUtf8(request.table->name) + " for update: " + user.connection->connection->lastError());
      return false;
    }
    user.inTransaction = true;
  }
  request.holdsLock = true;
  ++user.lockHolders;
  return true;
}

bool releaseLock(User &user, Request &request) {
  if (!request.holdsLock) return true;
  request.holdsLock = false;
  request.lockForScan = false;
  --user.lockHolders;
  if (user.userTransaction || user.lockHolders > 0 || !user.inTransaction || !user.connection) return true;
  Connection &connection = *user.connection->connection;
  // The test hook stands for an engine that refuses the commit: the work is rolled back instead.
  const bool forced = !user.failSetting->empty() && faultRequested(user.context, "VDB_Commit", request.table->name);
  const bool committed = !forced && connection.commit();
  if (!committed) {
    traceFailure(user.context, "VDB_Commit",
                 "cannot commit the work done under the lock on " + toUtf8(request.table->name) +
                     "; it was rolled back: " +
                     (forced ? std::string("failure forced by the fail setting") : connection.lastError()));
    raiseDatabaseError(user.context, DatabaseFailure::Commit, request.table->name);
    if (connection.inTransaction()) connection.rollback();
    if (connection.broken()) {
      user.inTransaction = false;
      discardConnection(user);
      return false;
    }
  }
  user.inTransaction = false;
  if (committed) endReadSnapshots(user);
  return committed;
}

bool closeRequest(User &user, Request &request) {
  if (request.closed) return true;
  if (request.scanStatement) request.scanStatement->reset();
  request.scanStatement = nullptr;
  request.scan = Request::Scan::None;
  for (Request::Cached &cached : request.statements)
    if (user.connection) user.connection->giveBack(cached.sql, std::move(cached.statement));
  request.statements.clear();
  const bool released = releaseLock(user, request);
  request.closed = true;
  std::erase(user.requests, request.id);
  return released;
}

bool freeUser(User &user) {
  if (user.closed) return true;
  bool committed = true;
  const std::vector<uint64_t> open = user.requests;
  for (uint64_t id : open)
    if (std::shared_ptr<Request> request = requests().take(id)) committed = closeRequest(user, *request) && committed;
  user.requests.clear();
  endReadSnapshot(user);
  bool reusable = true;
  if (user.connection && (user.inTransaction || user.connection->connection->inTransaction()))
    reusable = user.connection->connection->rollback();
  user.inTransaction = false;
  user.readSnapshot = false;
  user.transactionLost = false;
  user.lockHolders = 0;
  if (user.connection && user.environment && reusable) user.environment->release(std::move(user.connection));
  user.connection.reset();
  user.closed = true;
  return committed;
}

}  // namespace vyr::db
