// Table access against raw SQLite on the same file and the same lookups:
//  - a keyed fetch of one F0101 row (100,000 rows) through VDB_FetchKeyed,
//    and through a prepared "SELECT ... WHERE AN8 = ?" reading every column;
//  - the same pair inside one read transaction: VDB fetches made while a
//    business-function call is running (the runtime's ReadSnapshotScope),
//    raw fetches between BEGIN and COMMIT;
//  - a 30-row scan of one journal entry of F0911 (100,000 rows) through
//    VDB_SelectKeyed + VDB_Fetch, and through a prepared select with the same
//    key and order stepping over the rows and reading every column.
// After the runs it prints VDB time / raw time for each pair.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "db/host.h"
#include "ratio.h"
#include "runtime/context.h"
#include "vdb_rows.h"
#include "vyrdb.h"

namespace {

using namespace vdbbench;

constexpr int kRows = 100000;
constexpr int kLinesPerEntry = 30;
constexpr int kEntries = kRows / kLinesPerEntry;
constexpr size_t kKeys = 4096;

#pragma pack(push, 1)
struct LedgerRow {  // F0911, every column
  JCHAR dct[3];
  MATH_NUMERIC doc;
  JCHAR kco[6];
  VYRDATE dgj;
  MATH_NUMERIC jeln;
  JCHAR lt[3], extl[3], ani[30];
  MATH_NUMERIC aa;
  JCHAR crcd[4], exa[31];
};
struct LedgerKey {  // F0911 index 1, first three fields
  JCHAR dct[3];
  MATH_NUMERIC doc;
  JCHAR kco[6];
};
#pragma pack(pop)

struct Fixture {
  std::string dir, path;
  LPBHVRCOM context = nullptr;
  HUSER user = nullptr;
  HREQUEST addresses = nullptr, ledger = nullptr;
  sqlite3 *raw = nullptr;
  sqlite3_stmt *rawFetch = nullptr, *rawScan = nullptr;
  std::vector<MATH_NUMERIC> addressKeys;
  std::vector<LedgerKey> ledgerKeys;
  std::vector<int> rawAddressKeys, rawLedgerDocs;

  Fixture() {
    dir = (std::filesystem::temp_directory_path() / ("vdbbench" + std::to_string(::getpid()))).string();
    std::filesystem::create_directories(dir);
    path = dir + "/bench.db";
    std::filesystem::remove(path);
    std::string error;
    context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", path}}, &error);
    if (!context || !vyr::db::initDatabase(path, &error) || VDB_InitBhvr(context, &user, nullptr, 0) != 1) {
      std::fprintf(stderr, "cannot open %s: %s\n", path.c_str(), error.c_str());
      std::exit(1);
    }
    load();
    VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &addresses);
    VDB_OpenTable(user, u"F0911", 1, nullptr, 0, nullptr, &ledger);

    sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_prepare_v2(raw, "SELECT AN8, ALKY, TAX, ALPH, AT1, MCU, USER, PID, UPMJ FROM F0101 WHERE AN8 = ?1", -1,
                       &rawFetch, nullptr);
    sqlite3_prepare_v2(raw,
                       "SELECT DCT, DOC, KCO, DGJ, JELN, LT, EXTL, ANI, AA, CRCD, EXA FROM F0911 "
                       "WHERE DCT = ?1 AND DOC = ?2 AND KCO = ?3 ORDER BY DGJ, JELN, LT, EXTL",
                       -1, &rawScan, nullptr);

    std::mt19937 random(42);
    for (size_t i = 0; i < kKeys; ++i) {
      const int an8 = static_cast<int>(random() % kRows) + 1;
      rawAddressKeys.push_back(an8);
      addressKeys.push_back(integer(an8));
      const int doc = static_cast<int>(random() % kEntries) + 1;
      rawLedgerDocs.push_back(doc);
      LedgerKey key{};
      put(key.dct, "JE"), put(key.kco, "00001");
      key.doc = integer(doc);
      ledgerKeys.push_back(key);
    }
  }

  ~Fixture() {
    sqlite3_finalize(rawFetch);
    sqlite3_finalize(rawScan);
    sqlite3_close(raw);
    VDB_CloseTable(addresses);
    VDB_CloseTable(ledger);
    VDB_FreeBhvr(user);
    vyr::freeContext(context);
    vyr::db::closeUnusedEnvironments();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }

  // 100,000 address book rows and 100,000 ledger lines (30 per journal entry), in one transaction each.
  void load() {
    HUSER loader = nullptr;
    HREQUEST request = nullptr;
    VDB_InitUser(context, &loader, nullptr, 1);
    if (!loadAddresses(loader, kRows)) {
      std::fprintf(stderr, "cannot load F0101\n");
      std::exit(1);
    }
    VDB_OpenTable(loader, u"F0911", 1, nullptr, 0, nullptr, &request);
    for (int entry = 1; entry <= kEntries + 1; ++entry) {
      for (int line = 1; line <= kLinesPerEntry; ++line) {
        LedgerRow row{};
        put(row.dct, "JE"), put(row.kco, "00001"), put(row.lt, "AA"), put(row.ani, "1.1110.0001");
        put(row.crcd, "EUR"), put(row.exa, "Journal line " + std::to_string(line));
        row.doc = integer(entry);
        row.dgj = VYRDATE{2024, 3, 31};
        row.jeln = integer(line);
        row.aa = integer(1000L * line + entry, 2);
        VDB_InsertTable(request, &row);
      }
    }
    VDB_CloseTable(request);
    VDB_CommitUser(loader);
    VDB_FreeUser(loader);
  }
};

Fixture *fixture = nullptr;

// Reads a text column as an application would: copied out of the statement.
void readText(sqlite3_stmt *statement, int column, char *out, size_t size) {
  const auto *text = sqlite3_column_text(statement, column);
  const size_t n = std::min(static_cast<size_t>(sqlite3_column_bytes(statement, column)), size - 1);
  std::memcpy(out, text, n);
  out[n] = '\0';
}

void KeyedFetchRaw(benchmark::State &state) {
  size_t i = 0;
  char alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11];
  for (auto _ : state) {
    sqlite3_stmt *s = fixture->rawFetch;
    sqlite3_bind_int64(s, 1, fixture->rawAddressKeys[i++ % kKeys]);
    if (sqlite3_step(s) != SQLITE_ROW) state.SkipWithError("row missing");
    long long an8 = sqlite3_column_int64(s, 0);
    readText(s, 1, alky, sizeof alky), readText(s, 2, tax, sizeof tax), readText(s, 3, alph, sizeof alph);
    readText(s, 4, at1, sizeof at1), readText(s, 5, mcu, sizeof mcu), readText(s, 6, user, sizeof user);
    readText(s, 7, pid, sizeof pid);
    long long upmj = sqlite3_column_int64(s, 8);
    benchmark::DoNotOptimize(an8);
    benchmark::DoNotOptimize(upmj);
    benchmark::DoNotOptimize(alph);
    sqlite3_reset(s);
  }
}

void KeyedFetchVdb(benchmark::State &state) {
  size_t i = 0;
  AddressRow row;
  for (auto _ : state) {
    if (VDB_FetchKeyed(fixture->addresses, 1, &fixture->addressKeys[i++ % kKeys], 1, &row, 0) != 1)
      state.SkipWithError("row missing");
    benchmark::DoNotOptimize(row);
  }
}

void KeyedFetchInReadTransactionRaw(benchmark::State &state) {
  sqlite3_exec(fixture->raw, "BEGIN", nullptr, nullptr, nullptr);
  KeyedFetchRaw(state);
  sqlite3_exec(fixture->raw, "COMMIT", nullptr, nullptr, nullptr);
}

void KeyedFetchInReadTransactionVdb(benchmark::State &state) {
  const vyr::db::ReadSnapshotScope call;
  KeyedFetchVdb(state);
}

void Scan30Raw(benchmark::State &state) {
  size_t i = 0;
  char dct[3], kco[6], lt[3], extl[3], ani[30], crcd[4], exa[31];
  for (auto _ : state) {
    sqlite3_stmt *s = fixture->rawScan;
    sqlite3_bind_text(s, 1, "JE", 2, SQLITE_STATIC);
    sqlite3_bind_int64(s, 2, fixture->rawLedgerDocs[i++ % kKeys]);
    sqlite3_bind_text(s, 3, "00001", 5, SQLITE_STATIC);
    int rows = 0;
    while (sqlite3_step(s) == SQLITE_ROW) {
      readText(s, 0, dct, sizeof dct);
      long long doc = sqlite3_column_int64(s, 1);
      readText(s, 2, kco, sizeof kco);
      long long dgj = sqlite3_column_int64(s, 3), jeln = sqlite3_column_int64(s, 4);
      readText(s, 5, lt, sizeof lt), readText(s, 6, extl, sizeof extl), readText(s, 7, ani, sizeof ani);
      long long aa = sqlite3_column_int64(s, 8);
      readText(s, 9, crcd, sizeof crcd), readText(s, 10, exa, sizeof exa);
      benchmark::DoNotOptimize(doc + dgj + jeln + aa);
      benchmark::DoNotOptimize(exa);
      ++rows;
    }
    sqlite3_reset(s);
    if (rows != kLinesPerEntry) state.SkipWithError("wrong number of lines");
  }
}

void Scan30Vdb(benchmark::State &state) {
  size_t i = 0;
  LedgerRow row;
  for (auto _ : state) {
    VDB_SelectKeyed(fixture->ledger, 1, &fixture->ledgerKeys[i++ % kKeys], 3);
    int rows = 0;
    while (VDB_Fetch(fixture->ledger, &row, 0) == 1) {
      benchmark::DoNotOptimize(row);
      ++rows;
    }
    if (rows != kLinesPerEntry) state.SkipWithError("wrong number of lines");
  }
}

BENCHMARK(KeyedFetchRaw);
BENCHMARK(KeyedFetchVdb);
BENCHMARK(KeyedFetchInReadTransactionRaw);
BENCHMARK(KeyedFetchInReadTransactionVdb);
BENCHMARK(Scan30Raw);
BENCHMARK(Scan30Vdb);

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  fixture = new Fixture;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nVDB time / raw SQLite time (target: 1.5 or less; 1.2 or less in one read transaction)\n");
  reporter.printRatio("keyed fetch", "KeyedFetchVdb", "KeyedFetchRaw", "VDB", "raw");
  reporter.printRatio("keyed in txn", "KeyedFetchInReadTransactionVdb", "KeyedFetchInReadTransactionRaw", "VDB", "raw");
  reporter.printRatio("30-row scan", "Scan30Vdb", "Scan30Raw", "VDB", "raw");
  delete fixture;
  benchmark::Shutdown();
  return 0;
}
