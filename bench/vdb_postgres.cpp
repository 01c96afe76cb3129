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
// (throughput), so above 1 means the layer is slower either way.
//
// Needs a server: FAMOFLAS_BENCH_POSTGRES=postgresql://... (scripts/bench-postgres
// starts a throw-away one). Works in a schema of its own, dropped at the end.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libpq-fe.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "db/host.h"
#include "runtime/context.h"
#include "vyrdb.h"

extern char **environ;

namespace {

constexpr int kRows = 100000;
constexpr size_t kKeys = 4096;
constexpr int kProcesses = 8;
constexpr int kPerProcess = 500;

#pragma pack(push, 1)
struct AddressRow {  // F0101, every column
  MATH_NUMERIC an8;
  JCHAR alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11];
  VYRDATE upmj;
};
struct Counter {  // F00022
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
#pragma pack(pop)

template <size_t N>
void put(JCHAR (&field)[N], const std::string &text) {
  std::memset(field, 0, sizeof field);
  for (size_t i = 0; i < text.size() && i < N - 1; ++i) field[i] = static_cast<JCHAR>(text[i]);
}

MATH_NUMERIC integer(long long value) {
  MATH_NUMERIC m{};
  const std::string digits = std::to_string(value);
  std::memcpy(m.String, digits.data(), digits.size());
  m.nLength = static_cast<unsigned char>(digits.size());
  return m;
}

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

// A child waits on fd VDBBENCH_START until the parent closes it, so all start
// together, after saying on fd VDBBENCH_READY that it is connected and prepared.
int incrementChild(const char *mode, const char *location) {
  const int ready = std::atoi(std::getenv("VDBBENCH_READY"));
  const int start = std::atoi(std::getenv("VDBBENCH_START"));
  auto waitForStart = [&] {
    const char byte = 'r';
    if (write(ready, &byte, 1) != 1) return false;
    close(ready);
    char ignored;
    return read(start, &ignored, 1) == 0;  // end of file: go
  };
  int failures = 0;
  if (std::strcmp(mode, "raw") == 0) {
    PGconn *conn = PQconnectdb(location);
    PGresult *prepared = PQprepare(conn, "take",
                                   "UPDATE \"F00022\" SET \"UKID\" = \"UKID\" + 1 WHERE \"OBNM\" = $1 RETURNING \"UKID\"",
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
  int readyPipe[2], startPipe[2];
  if (pipe(readyPipe) != 0 || pipe(startPipe) != 0) die("pipe failed");
  // The children keep only the write end of "ready" and the read end of "start".
  fcntl(readyPipe[0], F_SETFD, FD_CLOEXEC);
  fcntl(startPipe[1], F_SETFD, FD_CLOEXEC);
  std::vector<std::string> variables = {"VDBBENCH_MODE=" + mode, "VDBBENCH_LOCATION=" + location,
                                        "VDBBENCH_READY=" + std::to_string(readyPipe[1]),
                                        "VDBBENCH_START=" + std::to_string(startPipe[0])};
  for (char **e = environ; *e != nullptr; ++e)
    if (std::strncmp(*e, "VDBBENCH_", 9) != 0) variables.push_back(*e);
  std::vector<char *> envp;
  for (std::string &v : variables) envp.push_back(v.data());
  envp.push_back(nullptr);
  char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t child = 0;
    if (posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, argv, envp.data()) != 0) die("cannot start a child");
    children.push_back(child);
  }
  close(readyPipe[1]);
  close(startPipe[0]);
  char byte;
  int ready = 0;
  while (ready < kProcesses && read(readyPipe[0], &byte, 1) == 1) ++ready;
  close(readyPipe[0]);
  if (ready != kProcesses) die(mode + ": a child failed before starting");
  const auto begin = std::chrono::steady_clock::now();
  close(startPipe[1]);
  bool ok = true;
  for (pid_t child : children) {
    int status = 0;
    ok = waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  if (!ok) die(mode + ": a child failed");
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
    PQsetNoticeProcessor(admin, [](void *, const char *) {}, nullptr);
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
    VDB_OpenTable(loader, u"F0101", 1, nullptr, 0, nullptr, &request);
    for (int i = 1; i <= kRows; ++i) {
      AddressRow row{};
      row.an8 = integer(i);
      put(row.alky, "K" + std::to_string(i)), put(row.tax, "TX" + std::to_string(i * 7));
      put(row.alph, "Customer number " + std::to_string(i)), put(row.at1, "C");
      put(row.mcu, "BU" + std::to_string(i % 50)), put(row.user, "LOADER"), put(row.pid, "BENCH");
      row.upmj = VYRDATE{2024, static_cast<short>(i % 12 + 1), static_cast<short>(i % 28 + 1)};
      if (VDB_InsertTable(request, &row) != 1) die("cannot load F0101");
    }
    VDB_CloseTable(request);
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

void KeyedFetchRaw(benchmark::State &state) {
  size_t i = 0;
  char an8[24], alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11], upmj[16];
  for (auto _ : state) {
    const char *value[] = {fixture->rawKeys[i++ % kKeys].c_str()};
    PGresult *result = PQexecPrepared(fixture->raw, "fetch", 1, value, nullptr, nullptr, 0);
    if (PQresultStatus(result) != PGRES_TUPLES_OK || PQntuples(result) != 1) state.SkipWithError("row missing");
    copyField(result, 0, an8, sizeof an8), copyField(result, 1, alky, sizeof alky);
    copyField(result, 2, tax, sizeof tax), copyField(result, 3, alph, sizeof alph);
    copyField(result, 4, at1, sizeof at1), copyField(result, 5, mcu, sizeof mcu);
    copyField(result, 6, user, sizeof user), copyField(result, 7, pid, sizeof pid);
    copyField(result, 8, upmj, sizeof upmj);
    benchmark::DoNotOptimize(std::atoll(an8));
    benchmark::DoNotOptimize(alph);
    benchmark::DoNotOptimize(upmj);
    PQclear(result);
  }
}

void KeyedFetchVdb(benchmark::State &state) {
  size_t i = 0;
  AddressRow row;
  for (auto _ : state) {
    if (VDB_FetchKeyed(fixture->addresses, 1, &fixture->keys[i++ % kKeys], 1, &row, 0) != 1)
      state.SkipWithError("row missing");
    benchmark::DoNotOptimize(row);
  }
}

BENCHMARK(KeyedFetchRaw);
BENCHMARK(KeyedFetchVdb);

// Keeps the time per iteration of each run (the median when repetitions are asked for).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      const std::string name = r.run_name.function_name;
      const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      if ((r.run_type == Run::RT_Iteration && !hasMedian_[name]) || median) {
        times_[name] = {r.GetAdjustedRealTime(), r.GetAdjustedCPUTime()};
        hasMedian_[name] = hasMedian_[name] || median;
      }
    }
  }
  void printRatio() {
    if (times_.count("KeyedFetchVdb") == 0 || times_.count("KeyedFetchRaw") == 0) return;
    const Times v = times_["KeyedFetchVdb"], r = times_["KeyedFetchRaw"];
    std::printf("keyed fetch   wall: VDB %8.0f ns  raw %8.0f ns  ratio %.2f   cpu (client): VDB %6.0f ns  raw %6.0f ns\n",
                v.real, r.real, v.real / r.real, v.cpu, r.cpu);
  }

 private:
  struct Times {
    double real = 0, cpu = 0;
  };
  std::map<std::string, Times> times_;
  std::map<std::string, bool> hasMedian_;
};

}  // namespace

int main(int argc, char **argv) {
  if (const char *mode = std::getenv("VDBBENCH_MODE")) return incrementChild(mode, std::getenv("VDBBENCH_LOCATION"));
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const char *server = std::getenv("FAMOFLAS_BENCH_POSTGRES");
  if (server == nullptr || *server == '\0')
    die("FAMOFLAS_BENCH_POSTGRES names no server (postgresql://...); scripts/bench-postgres starts one");
  fixture = new Fixture(server);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  // Three rounds each, alternating, so a busy moment of the machine does not fall on one side only.
  std::vector<double> raw, vdb;
  long long expected = fixture->counterValue();
  for (int round = 0; round < 3; ++round) {
    raw.push_back(incrementRound("raw", fixture->location));
    vdb.push_back(incrementRound("vdb", fixture->location));
    expected += 2 * kProcesses * kPerProcess;
  }
  const long long final = fixture->counterValue();
  std::sort(raw.begin(), raw.end());
  std::sort(vdb.begin(), vdb.end());

  std::printf("\nVDB on PostgreSQL against raw libpq (same server, same schema)\n");
  reporter.printRatio();
  std::printf("%d processes x %d increments, median of 3 rounds: VDB fetch-for-update + update-current %.0f tx/s,"
              " raw UPDATE ... RETURNING %.0f tx/s, raw / VDB %.2f\n",
              kProcesses, kPerProcess, vdb[1], raw[1], raw[1] / vdb[1]);
  std::printf("counter after all rounds: %lld (expected %lld)%s\n", final, expected,
              final == expected ? "" : "  LOST INCREMENTS");
  delete fixture;
  benchmark::Shutdown();
  return final == expected ? 0 : 1;
}
