// GetDistributedNextNumber through the whole stack against the same
// transaction written by hand, in blocks per second, with 1, 4 and 8
// processes taking blocks of 1-20 identifiers from one F00022 row:
//  - stack: each process runs the business function by name on a context of
//    its own (catalogue lookup, context, behaviour handle, open, fetch for
//    update, update current, close, free), as a host does for each call;
//  - raw: each process runs the transaction with the engine's own client on
//    one connection with prepared statements. SQLite: BEGIN IMMEDIATE,
//    SELECT UKID, UPDATE, COMMIT. PostgreSQL (libpq pipeline): BEGIN +
//    SELECT ... FOR UPDATE in one round trip, UPDATE + COMMIT in the next,
//    the fewest round trips that transaction allows and what the table layer
//    sends.
// SQLite always (a file in the temporary directory); PostgreSQL when
// FAMOFLAS_BENCH_POSTGRES=postgresql://... names a server (scripts/bench-postgres
// starts a throw-away one), in a schema of its own dropped at the end. The two
// sides take turns in rounds, each going first in half of them; the medians
// and the median of the per-round ratios stack / raw are printed. At the end
// the counter must equal 1 + every block taken, or the program fails.
#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "db/host.h"
#include "frame/companions.h"
#include "nextnumbers/B0001010.h"
#include "processes.h"
#include "runtime/context.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

// Blocks taken in a round, shared out among its processes, so that rounds of
// 1, 4 and 8 processes last about as long.
constexpr int kPerRound = 3200;
constexpr int kProcessCounts[] = {1, 4, 8};
constexpr long long kCounterStart = 1;

const char kSelectSql[] = "SELECT \"UKID\" FROM \"F00022\" WHERE \"OBNM\" = 'BENCH'";
const char kUpdateSqlite[] = "UPDATE \"F00022\" SET \"UKID\" = ?1 WHERE \"OBNM\" = 'BENCH'";
const char kUpdatePostgres[] = "UPDATE \"F00022\" SET \"UKID\" = $1 WHERE \"OBNM\" = 'BENCH'";

[[noreturn]] void die(const std::string &message) {
  std::fprintf(stderr, "bench_nextnumbers: %s\n", message.c_str());
  std::exit(1);
}

// The block size of a process's i-th transaction, the same on both sides.
long long blockSize(int i) { return i % 20 + 1; }

// How many blocks this process takes in its round.
int blocksEach() { return std::atoi(std::getenv("NNBENCH_BLOCKS")); }

// The identifiers one process takes in `count` blocks.
long long identifiers(int count) {
  long long total = 0;
  for (int i = 0; i < count; ++i) total += blockSize(i);
  return total;
}

MATH_NUMERIC integer(long long value) {
  MATH_NUMERIC m{};
  const std::string digits = std::to_string(value);
  std::memcpy(m.String, digits.data(), digits.size());
  m.nLength = static_cast<unsigned char>(digits.size());
  return m;
}

// ---- One process of a round -------------------------------------------------------------------------

int stackProcess(const char *location) {
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
  LPBHVRCOM context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", location}});
  auto take = [&](const char16_t *name, long long keys) {
    DSD0001010 ds{};
    std::memcpy(ds.szObjectName, name, std::char_traits<char16_t>::length(name) * sizeof(JCHAR));
    ds.mnNumberOfKeys = integer(keys);
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view("GetDistributedNextNumber"));
    return entry != nullptr && vyr::callFunction(context, *entry, &ds) == ER_SUCCESS;
  };
  // Connects and prepares before the clock starts, on a row of its own.
  if (context == nullptr || !take(u"WARMUP", 1) || !benchprocesses::waitForStart("NNBENCH")) return 2;
  int failures = 0;
  for (int i = 0, count = blocksEach(); i < count; ++i) failures += !take(u"BENCH", blockSize(i));
  vyr::freeContext(context);
  return failures == 0 ? 0 : 1;
}

int rawSqliteProcess(const char *path) {
  sqlite3 *db = nullptr;
  sqlite3_stmt *begin = nullptr, *select = nullptr, *update = nullptr, *commit = nullptr;
  // As the table layer opens its connections.
  if (sqlite3_open_v2(path, &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) return 2;
  sqlite3_busy_timeout(db, 30000);
  if (sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(db, "BEGIN IMMEDIATE", -1, &begin, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(db, kSelectSql, -1, &select, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(db, kUpdateSqlite, -1, &update, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr) != SQLITE_OK || !benchprocesses::waitForStart("NNBENCH"))
    return 2;
  int failures = 0;
  for (int i = 0, count = blocksEach(); i < count; ++i) {
    bool ok = sqlite3_step(begin) == SQLITE_DONE && sqlite3_step(select) == SQLITE_ROW;
    const long long first = ok ? sqlite3_column_int64(select, 0) : 0;
    sqlite3_reset(select);
    ok = ok && sqlite3_bind_int64(update, 1, first + blockSize(i)) == SQLITE_OK && sqlite3_step(update) == SQLITE_DONE;
    sqlite3_reset(update);
    ok = ok && sqlite3_step(commit) == SQLITE_DONE;
    sqlite3_reset(commit);
    sqlite3_reset(begin);
    if (!ok) {
      ++failures;
      sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }
  for (sqlite3_stmt *s : {begin, select, update, commit}) sqlite3_finalize(s);
  sqlite3_close(db);
  return failures == 0 ? 0 : 1;
}

// Sends the queued statements with a sync and reads their results; the last
// statement's result is kept in *lpLast (when not null). FALSE when one failed.
bool roundTrip(PGconn *conn, int statements, PGresult **lpLast) {
  if (PQpipelineSync(conn) != 1) return false;
  bool ok = true;
  for (int s = 0; s < statements; ++s) {
    for (PGresult *r; (r = PQgetResult(conn)) != nullptr;) {
      const ExecStatusType status = PQresultStatus(r);
      ok = ok && (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
      if (s == statements - 1 && lpLast != nullptr && *lpLast == nullptr)
        *lpLast = r;
      else
        PQclear(r);
    }
  }
  PGresult *sync = PQgetResult(conn);
  ok = ok && PQresultStatus(sync) == PGRES_PIPELINE_SYNC;
  PQclear(sync);
  return ok;
}

int rawPostgresProcess(const char *location) {
  PGconn *conn = PQconnectdb(location);
  if (PQstatus(conn) != CONNECTION_OK) return 2;
  const std::string select = std::string(kSelectSql) + " FOR UPDATE";
  for (const auto &[name, sql] : {std::pair{"take", select.c_str()}, std::pair{"put", kUpdatePostgres}}) {
    PGresult *prepared = PQprepare(conn, name, sql, 0, nullptr);
    const bool ok = PQresultStatus(prepared) == PGRES_COMMAND_OK;
    PQclear(prepared);
    if (!ok) return 2;
  }
  if (PQenterPipelineMode(conn) != 1 || !benchprocesses::waitForStart("NNBENCH")) return 2;
  int failures = 0;
  for (int i = 0, count = blocksEach(); i < count; ++i) {
    PGresult *row = nullptr;
    bool ok = PQsendQueryParams(conn, "BEGIN", 0, nullptr, nullptr, nullptr, nullptr, 0) == 1 &&
              PQsendQueryPrepared(conn, "take", 0, nullptr, nullptr, nullptr, 0) == 1 && roundTrip(conn, 2, &row) &&
              PQntuples(row) == 1;
    const std::string next = ok ? std::to_string(std::atoll(PQgetvalue(row, 0, 0)) + blockSize(i)) : "";
    PQclear(row);
    const char *values[] = {next.c_str()};
    ok = ok && PQsendQueryPrepared(conn, "put", 1, values, nullptr, nullptr, 0) == 1 &&
         PQsendQueryParams(conn, "COMMIT", 0, nullptr, nullptr, nullptr, nullptr, 0) == 1 &&
         roundTrip(conn, 2, nullptr);
    failures += !ok;
  }
  PQfinish(conn);
  return failures == 0 ? 0 : 1;
}

int child(const std::string &mode, const char *location) {
  if (mode == "stack") return stackProcess(location);
  if (mode == "raw-sqlite") return rawSqliteProcess(location);
  if (mode == "raw-postgres") return rawPostgresProcess(location);
  return 2;
}

// ---- The rounds ---------------------------------------------------------------------------------------

// Runs `processes` copies in one mode; blocks per second.
double round(const std::string &mode, const std::string &location, int processes) {
  const double seconds = benchprocesses::timedRound("NNBENCH",
                                                    {"NNBENCH_MODE=" + mode, "NNBENCH_LOCATION=" + location,
                                                     "NNBENCH_BLOCKS=" + std::to_string(kPerRound / processes)},
                                                    processes);
  if (seconds <= 0) die(mode + ": a process failed");
  return kPerRound / seconds;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// The counter row, created and read through the table layer.
struct Counter {
  LPBHVRCOM context = nullptr;
  HUSER user = nullptr;
  HREQUEST request = nullptr;

  explicit Counter(const std::string &location) {
    std::string error;
    context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", location}}, &error);
    if (context == nullptr || VDB_InitBhvr(context, &user, nullptr, 0) != 1 ||
        VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &request) != 1)
      die("cannot open " + location + ": " + error);
    ROW_F00022 row{u"BENCH", integer(kCounterStart)};
    if (VDB_InsertTable(request, &row) != 1) die("cannot add the counter");
  }
  ~Counter() {
    VDB_FreeBhvr(user);
    vyr::freeContext(context);
    vyr::db::closeUnusedEnvironments();
  }
  long long value() {
    KEY1_F00022 key{u"BENCH"};
    ROW_F00022 row{};
    if (VDB_FetchKeyed(request, 1, &key, 1, &row, 0) != 1) return -1;
    return std::atoll(row.mnUniqueKeyId.String);
  }
};

// Every process count on one engine; false when the counter lost or gained a block.
bool compare(const char *engine, const std::string &rawMode, const std::string &location, int rounds) {
  Counter counter(location);
  long long expected = kCounterStart;
  std::printf(
      "%s: GetDistributedNextNumber through the whole stack against %s, %d blocks per round, "
      "median of %d rounds\n",
      engine, rawMode.c_str(), kPerRound, rounds);
  for (int processes : kProcessCounts) {
    std::vector<double> stack, raw, ratios;
    for (int r = 0; r < rounds; ++r) {
      if (r % 2 == 0) {
        raw.push_back(round(rawMode, location, processes));
        stack.push_back(round("stack", location, processes));
      } else {
        stack.push_back(round("stack", location, processes));
        raw.push_back(round(rawMode, location, processes));
      }
      ratios.push_back(stack.back() / raw.back());
      expected += 2 * processes * identifiers(kPerRound / processes);
    }
    std::printf("  %d process%s: stack %7.0f blocks/s  raw %7.0f blocks/s  stack / raw %.2f\n", processes,
                processes == 1 ? "  " : "es", median(stack), median(raw), median(ratios));
  }
  const long long final = counter.value();
  std::printf("  counter after all rounds: %lld (expected %lld)%s\n", final, expected,
              final == expected ? "" : "  LOST OR DOUBLED BLOCKS");
  return final == expected;
}

}  // namespace

int main(int argc, char **argv) {
  if (const char *mode = std::getenv("NNBENCH_MODE")) return child(mode, std::getenv("NNBENCH_LOCATION"));
  int rounds = 5;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0 && std::atoi(argv[i] + 9) > 0) {
      rounds = std::atoi(argv[i] + 9);
    } else {
      std::fprintf(stderr, "usage: %s [--rounds=N]   (N rounds of each comparison, default 5)\n", argv[0]);
      return 2;
    }
  }
  bool ok = true;
  const std::string dir = (std::filesystem::temp_directory_path() / ("nnbench" + std::to_string(getpid()))).string();
  std::filesystem::create_directories(dir);
  ok = compare("SQLite", "raw-sqlite", dir + "/bench.db", rounds) && ok;
  std::filesystem::remove_all(dir);

  const char *server = std::getenv("FAMOFLAS_BENCH_POSTGRES");
  if (server == nullptr || *server == '\0') {
    std::printf("PostgreSQL: skipped (FAMOFLAS_BENCH_POSTGRES names no server; scripts/bench-postgres starts one)\n");
    return ok ? 0 : 1;
  }
  PGconn *admin = PQconnectdb(server);
  if (PQstatus(admin) != CONNECTION_OK) die(std::string("cannot connect to ") + server + ": " + PQerrorMessage(admin));
  PQsetNoticeProcessor(
      admin, [](void *, const char *) {}, nullptr);
  const std::string schema = "nnbench_" + std::to_string(getpid());
  PQclear(PQexec(admin, ("CREATE SCHEMA \"" + schema + "\"").c_str()));
  const std::string location =
      std::string(server) + (std::strchr(server, '?') ? "&" : "?") + "options=-csearch_path%3D" + schema;
  ok = compare("PostgreSQL", "raw-postgres", location, rounds) && ok;
  PQclear(PQexec(admin, ("DROP SCHEMA \"" + schema + "\" CASCADE").c_str()));
  PQfinish(admin);
  return ok ? 0 : 1;
}
