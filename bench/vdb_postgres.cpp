// Table access on PostgreSQL against raw libpq on the same server and schema:
//  - a keyed fetch of one F0101 row (100,000 rows) through VDB_FetchKeyed,
//    and through PQexecPrepared of "SELECT <every column> FROM F0101 WHERE
//    AN8 = $1" (text results, every column copied out);
//  - a block allocator's pattern: 8 processes each taking 500 numbers from
//    one F00022 counter, through VDB_FetchKeyedForUpdate + VDB_UpdateCurrent
//    (a transaction each), and through a prepared
//    "UPDATE F00022 SET UKID = UKID + 1 WHERE OBNM = $1 RETURNING UKID"
//    (one statement each), in transactions per second.
// It prints VDB / raw for the fetch (time) and raw / VDB for the increments
// (throughput), so above 1 means the layer is slower either way. The two sides
// take turns in batches and rounds; medians are reported.
//
// Needs a server: FAMOFLAS_BENCH_POSTGRES=postgresql://... (scripts/bench-postgres
// starts a throw-away one). Works in a schema of its own, dropped at the end.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libpq-fe.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "db/host.h"
#include "processes.h"
#include "runtime/context.h"
#include "vdb_rows.h"
#include "vyrdb.h"

extern char **environ;

namespace {

using namespace vdbbench;

constexpr int kRows = 100000;
constexpr size_t kKeys = 4096;
constexpr int kProcesses = 8;
constexpr int kPerProcess = 500;

#pragma pack(push, 1)
struct Counter {  // F00022
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
#pragma pack(pop)

long long valueOf(const MATH_NUMERIC &m) {
  long long v = 0;
  for (size_t i = 0; i < sizeof m.String && m.String[i] != '\0'; ++i) v = v * 10 + (m.String[i] - '0');
  for (short d = 0; d < m.nDecimalPosition; ++d) v /= 10;
  return m.Sign == '-' ? -v : v;
}

[[noreturn]] void die(const std::string &message) {
  std::fprintf(stderr, "bench_vdb_postgres: %s\n", message.c_str());
  std::exit(1);
}

bool run(PGconn *conn, const char *sql) {
  PGresult *result = PQexec(conn, sql);
  const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
  if (!ok) std::fprintf(stderr, "%s: %s", sql, PQerrorMessage(conn));
  PQclear(result);
  return ok;
}

// ---- Increment processes ------------------------------------------------------------------------

// A child says it is connected and prepared, then waits for the start (processes.h).
int incrementChild(const char *mode, const char *location) {
  auto waitForStart = [] { return benchprocesses::waitForStart("VDBBENCH"); };
  int failures = 0;
  if (std::strcmp(mode, "raw") == 0) {
    PGconn *conn = PQconnectdb(location);
    PGresult *prepared =
        PQprepare(conn, "take", "UPDATE \"F00022\" SET \"UKID\" = \"UKID\" + 1 WHERE \"OBNM\" = $1 RETURNING \"UKID\"",
                  1, nullptr);
    const bool ok = PQresultStatus(prepared) == PGRES_COMMAND_OK;
    PQclear(prepared);
    if (!ok || !waitForStart()) return 2;
    const char *name[] = {"BENCH"};
    for (int i = 0; i < kPerProcess; ++i) {
      PGresult *result = PQexecPrepared(conn, "take", 1, name, nullptr, nullptr, 0);
      if (PQresultStatus(result) != PGRES_TUPLES_OK || PQntuples(result) != 1)
        ++failures;
      else
        benchmark::DoNotOptimize(std::atoll(PQgetvalue(result, 0, 0)));
      PQclear(result);
    }
    PQfinish(conn);
  } else {
    LPBHVRCOM context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", location}});
    HUSER user = nullptr;
    HREQUEST counters = nullptr;
    if (context == nullptr || VDB_InitBhvr(context, &user, nullptr, 0) != 1 ||
        VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters) != 1)
      return 2;
    JCHAR key[11];
    put(key, "BENCH");
    Counter warm{};  // prepares both statements before the clock starts (writes the value back unchanged)
    if (VDB_FetchKeyedForUpdate(counters, 1, key, 1, &warm, 0) != 1 || VDB_UpdateCurrent(counters, &warm) != 1)
      return 2;
    if (!waitForStart()) return 2;
    for (int i = 0; i < kPerProcess; ++i) {
      Counter c{};
      if (VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0) != 1) {
        ++failures;
        continue;
      }
      c.ukid = integer(valueOf(c.ukid) + 1);
      if (VDB_UpdateCurrent(counters, &c) != 1) ++failures;
    }
    VDB_CloseTable(counters);
    VDB_FreeBhvr(user);
    vyr::freeContext(context);
  }
  return failures == 0 ? 0 : 1;
}

// Runs the children of one mode and returns transactions per second, from the
// moment all are ready until the last one ends.
double incrementRound(const std::string &mode, const std::string &location) {
  const double seconds =
      benchprocesses::timedRound("VDBBENCH", {"VDBBENCH_MODE=" + mode, "VDBBENCH_LOCATION=" + location}, kProcesses);
  if (seconds <= 0) die(mode + ": a child failed");
  return kProcesses * kPerProcess / seconds;
}

// ---- Keyed fetch ----------------------------------------------------------------------------------

struct Fixture {
  std::string schema, location;
  PGconn *admin = nullptr, *raw = nullptr;
  LPBHVRCOM context = nullptr;
  HUSER user = nullptr;
  HREQUEST addresses = nullptr;
  std::vector<MATH_NUMERIC> keys;
  std::vector<std::string> rawKeys;

  explicit Fixture(const std::string &server) {
    admin = PQconnectdb(server.c_str());
    if (PQstatus(admin) != CONNECTION_OK) die("cannot connect to " + server + ": " + PQerrorMessage(admin));
    PQsetNoticeProcessor(
        admin, [](void *, const char *) {}, nullptr);
    schema = "vdbbench_" + std::to_string(getpid());
    if (!run(admin, ("CREATE SCHEMA \"" + schema + "\"").c_str())) die("cannot create the schema");
    location = server + (server.find('?') == std::string::npos ? "?" : "&") + "options=-csearch_path%3D" + schema;
    std::string error;
    context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", location}}, &error);
    if (!context || VDB_InitBhvr(context, &user, nullptr, 0) != 1) die("cannot open " + location + ": " + error);
    load();
    VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &addresses);

    raw = PQconnectdb(location.c_str());
    PGresult *prepared = PQprepare(raw, "fetch",
                                   "SELECT \"AN8\", \"ALKY\", \"TAX\", \"ALPH\", \"AT1\", \"MCU\", \"USER\", \"PID\", "
                                   "\"UPMJ\" FROM \"F0101\" WHERE \"AN8\" = $1",
                                   1, nullptr);
    if (PQresultStatus(prepared) != PGRES_COMMAND_OK) die(std::string("cannot prepare: ") + PQerrorMessage(raw));
    PQclear(prepared);

    std::mt19937 random(42);
    for (size_t i = 0; i < kKeys; ++i) {
      const int an8 = static_cast<int>(random() % kRows) + 1;
      keys.push_back(integer(an8));
      rawKeys.push_back(std::to_string(an8));
    }
  }

  ~Fixture() {
    PQfinish(raw);
    VDB_CloseTable(addresses);
    VDB_FreeBhvr(user);
    vyr::freeContext(context);
    vyr::db::closeUnusedEnvironments();
    run(admin, ("DROP SCHEMA \"" + schema + "\" CASCADE").c_str());
    PQfinish(admin);
  }

  // 100,000 address book rows in one transaction, and the counter.
  void load() {
    HUSER loader = nullptr;
    HREQUEST request = nullptr;
    VDB_InitUser(context, &loader, nullptr, 1);
    if (!loadAddresses(loader, kRows)) die("cannot load F0101");
    VDB_OpenTable(loader, u"F00022", 1, nullptr, 0, nullptr, &request);
    Counter counter{};
    put(counter.obnm, "BENCH");
    counter.ukid = integer(0);
    if (VDB_InsertTable(request, &counter) != 1) die("cannot add the counter");
    VDB_CloseTable(request);
    if (VDB_CommitUser(loader) != 1) die("cannot commit the rows");
    VDB_FreeUser(loader);
    run(admin, ("ANALYZE \"" + schema + "\".\"F0101\"").c_str());
  }

  long long counterValue() {
    JCHAR key[11];
    put(key, "BENCH");
    HREQUEST counters = nullptr;
    Counter c{};
    VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters);
    const bool found = VDB_FetchKeyed(counters, 1, key, 1, &c, 0) == 1;
    VDB_CloseTable(counters);
    return found ? valueOf(c.ukid) : -1;
  }
};

Fixture *fixture = nullptr;

void copyField(const PGresult *result, int column, char *out, size_t size) {
  const size_t n = std::min(static_cast<size_t>(PQgetlength(result, 0, column)), size - 1);
  std::memcpy(out, PQgetvalue(result, 0, column), n);
  out[n] = '\0';
}

// One keyed fetch through raw libpq, copying every column out as an application would.
bool fetchRaw(size_t i) {
  char an8[24], alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11], upmj[16];
  const char *value[] = {fixture->rawKeys[i % kKeys].c_str()};
  PGresult *result = PQexecPrepared(fixture->raw, "fetch", 1, value, nullptr, nullptr, 0);
  const bool found = PQresultStatus(result) == PGRES_TUPLES_OK && PQntuples(result) == 1;
  if (found) {
    copyField(result, 0, an8, sizeof an8), copyField(result, 1, alky, sizeof alky);
    copyField(result, 2, tax, sizeof tax), copyField(result, 3, alph, sizeof alph);
    copyField(result, 4, at1, sizeof at1), copyField(result, 5, mcu, sizeof mcu);
    copyField(result, 6, user, sizeof user), copyField(result, 7, pid, sizeof pid);
    copyField(result, 8, upmj, sizeof upmj);
    benchmark::DoNotOptimize(std::atoll(an8));
    benchmark::DoNotOptimize(alph);
    benchmark::DoNotOptimize(upmj);
  }
  PQclear(result);
  return found;
}

bool fetchVdb(size_t i) {
  AddressRow row;
  const bool found = VDB_FetchKeyed(fixture->addresses, 1, &fixture->keys[i % kKeys], 1, &row, 0) == 1;
  benchmark::DoNotOptimize(row);
  return found;
}

struct Sample {
  double wall = 0, cpu = 0;  // nanoseconds per fetch
};

Sample timeBatch(bool (*fetch)(size_t), size_t first, size_t count) {
  timespec cpu0, cpu1;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu0);
  const auto begin = std::chrono::steady_clock::now();
  for (size_t i = first; i < first + count; ++i)
    if (!fetch(i)) die("a row is missing");
  const auto end = std::chrono::steady_clock::now();
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu1);
  const double cpu = (cpu1.tv_sec - cpu0.tv_sec) * 1e9 + static_cast<double>(cpu1.tv_nsec - cpu0.tv_nsec);
  return {std::chrono::duration<double, std::nano>(end - begin).count() / static_cast<double>(count),
          cpu / static_cast<double>(count)};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (const char *mode = std::getenv("VDBBENCH_MODE")) return incrementChild(mode, std::getenv("VDBBENCH_LOCATION"));
  int rounds = 15;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0 && std::atoi(argv[i] + 9) > 0) {
      rounds = std::atoi(argv[i] + 9);
    } else {
      std::fprintf(stderr, "usage: %s [--rounds=N]   (N rounds of each comparison, default 15)\n", argv[0]);
      return 2;
    }
  }
  const char *server = std::getenv("FAMOFLAS_BENCH_POSTGRES");
  if (server == nullptr || *server == '\0')
    die("FAMOFLAS_BENCH_POSTGRES names no server (postgresql://...); scripts/bench-postgres starts one");
  fixture = new Fixture(server);

  // Batches of the two sides alternate (and take turns going first), so a
  // busy moment of a shared machine does not fall on one side only.
  constexpr size_t kBatch = 2000;
  for (size_t i = 0; i < kBatch; ++i) fetchRaw(i), fetchVdb(i);  // warm caches and statements
  std::vector<double> rawWall, rawCpu, vdbWall, vdbCpu, ratios;
  for (int round = 0; round < rounds; ++round) {
    const size_t first = static_cast<size_t>(round) * kBatch;
    Sample raw, vdb;
    if (round % 2 == 0) {
      raw = timeBatch(fetchRaw, first, kBatch);
      vdb = timeBatch(fetchVdb, first, kBatch);
    } else {
      vdb = timeBatch(fetchVdb, first, kBatch);
      raw = timeBatch(fetchRaw, first, kBatch);
    }
    rawWall.push_back(raw.wall), rawCpu.push_back(raw.cpu), vdbWall.push_back(vdb.wall), vdbCpu.push_back(vdb.cpu);
    ratios.push_back(vdb.wall / raw.wall);
  }

  // Increments: rounds alternate too.
  const int incrementRounds = std::max(3, rounds / 5);
  std::vector<double> rawTps, vdbTps, tpsRatios;
  long long expected = fixture->counterValue();
  for (int round = 0; round < incrementRounds; ++round) {
    rawTps.push_back(incrementRound("raw", fixture->location));
    vdbTps.push_back(incrementRound("vdb", fixture->location));
    tpsRatios.push_back(rawTps.back() / vdbTps.back());
    expected += 2 * kProcesses * kPerProcess;
  }
  const long long final = fixture->counterValue();

  std::printf("VDB on PostgreSQL against raw libpq (same server, same schema)\n");
  std::printf("keyed fetch, median of %d interleaved batches of %zu:\n", rounds, kBatch);
  std::printf("  wall per fetch: VDB %7.0f ns  raw %7.0f ns  ratio %.2f (median of the per-batch ratios %.2f)\n",
              median(vdbWall), median(rawWall), median(vdbWall) / median(rawWall), median(ratios));
  std::printf("  client CPU per fetch: VDB %7.0f ns  raw %7.0f ns\n", median(vdbCpu), median(rawCpu));
  std::printf("%d processes x %d increments, median of %d interleaved rounds:\n", kProcesses, kPerProcess,
              incrementRounds);
  std::printf("  VDB fetch-for-update + update-current %.0f tx/s, raw UPDATE ... RETURNING %.0f tx/s, raw / VDB %.2f\n",
              median(vdbTps), median(rawTps), median(tpsRatios));
  std::printf("  counter after all rounds: %lld (expected %lld)%s\n", final, expected,
              final == expected ? "" : "  LOST INCREMENTS");
  delete fixture;
  return final == expected ? 0 : 1;
}
