// AdvanceWorkDays counting 250, 2,500 and 25,000 work days forward from
// 1950-01-02 on a calendar of weekends and holidays (F0007 rows for every
// month of 1900-2099, SQLite), called as the runtime calls a business
// function. Reports the time per call, the row fetches per call as the table
// layer counts them and the time per fetch; a call whose fetches differ from
// the months it crossed plus one, or whose result differs from a day-by-day
// count over the same flags, stops the program with exit status 1.
// Its yardstick: the same month rows read by raw SQLite in one read
// transaction (a prepared select of the same columns by the same key, every
// column copied out), for the months of the 250-day call. After the runs it
// prints call time / raw time and each side's time per fetch.
//   build/default/bin/bench_calendar --benchmark_min_time=2
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "dates/B0000150.h"
#include "db/host.h"
#include "ratio.h"
#include "runtime/context.h"

namespace {

using namespace std::chrono;

#pragma pack(push, 1)
struct F0007Row {  // every column, in catalogue order
  JCHAR mmcu[13], wdct[11], wdck[11];
  MATH_NUMERIC ctry, yr, mt;
  JCHAR shft;
  JCHAR td[31];
};
#pragma pack(pop)

constexpr year_month_day kStart = 1950y / January / 2;

LPBHVRCOM gContext = nullptr;
std::string gDatabase;

// Weekends and four fixed holidays are off.
bool isWorkDay(year_month_day d) {
  const weekday w{sys_days{d}};
  if (w == Saturday || w == Sunday) return false;
  const unsigned m = unsigned(d.month()), day = unsigned(d.day());
  return !((m == 1 && day == 1) || (m == 5 && day == 1) || (m == 12 && (day == 25 || day == 26)));
}

[[noreturn]] void fail(const std::string &why) {
  std::fprintf(stderr, "bench_calendar: %s\n", why.c_str());
  std::exit(1);
}

void loadCalendar() {
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  if (VDB_InitUser(gContext, &user, nullptr, 1) != 1 ||
      VDB_OpenTable(user, u"F0007", 1, nullptr, 0, nullptr, &request) != 1)
    fail("cannot open F0007");
  for (int y = 1900; y <= 2099; ++y) {
    for (unsigned m = 1; m <= 12; ++m) {
      F0007Row row{};
      vyrStrcpyFillAndTerminate(row.mmcu, u"M30", 13, 0);
      IntToMathNumeric(y / 100 - 19, &row.ctry);
      IntToMathNumeric(y % 100, &row.yr);
      IntToMathNumeric(int(m), &row.mt);
      row.shft = u' ';
      for (unsigned d = 1; d <= 31; ++d) {
        const year_month_day date = year{y} / month{m} / day{d};
        row.td[d - 1] = date.ok() && isWorkDay(date) ? u'W' : u' ';
      }
      if (VDB_InsertTable(request, &row) != 1) fail("cannot insert a calendar row");
    }
  }
  VDB_CloseTable(request);
  if (VDB_CommitUser(user) != 1) fail("cannot commit the calendar");
  VDB_FreeUser(user);
}

// Months from kStart's to the one the count ends in.
uint64_t monthsCrossed(year_month_day end) {
  return uint64_t((int(end.year()) - int(kStart.year())) * 12 + int(unsigned(end.month())) -
                  int(unsigned(kStart.month())));
}

year_month_day expectedEnd(int workDays) {
  sys_days at{kStart};
  for (int seen = 0; seen < workDays;)
    if (isWorkDay(year_month_day{at += days{1}})) ++seen;
  return year_month_day{at};
}

void CountWorkDays(benchmark::State &state) {
  const int workDays = int(state.range(0));
  const year_month_day end = expectedEnd(workDays);
  const uint64_t months = monthsCrossed(end);
  const BSFN_CATALOG_ENTRY entry{"AdvanceWorkDays", AdvanceWorkDays, nullptr, "B0000150"};
  DSD0000150 ds{};
  vyrStrcpyFillAndTerminate(ds.szBusinessUnit, u"M30", 13, 0);
  ds.cShiftCode = u' ';
  ds.cAdvanceMode = u'1';
  IntToMathNumeric(workDays, &ds.mnNumberOfDays);

  uint64_t fetches = 0;
  for (auto _ : state) {
    ds.jdWorkDate = VYRDATE{short(int(kStart.year())), short(unsigned(kStart.month())), short(unsigned(kStart.day()))};
    const uint64_t before = vyr::db::rowFetchCount();
    const ID code = vyr::callFunction(gContext, entry, &ds);
    fetches = vyr::db::rowFetchCount() - before;
    if (code != ER_SUCCESS) fail("AdvanceWorkDays failed");
    if (fetches != months + 1)
      fail(std::to_string(workDays) + " work days: " + std::to_string(fetches) + " fetches, expected " +
           std::to_string(months + 1) + " (months crossed + 1)");
    if (ds.jdWorkDate.nYear != int(end.year()) || ds.jdWorkDate.nMonth != int(unsigned(end.month())) ||
        ds.jdWorkDate.nDay != int(unsigned(end.day())))
      fail(std::to_string(workDays) + " work days: wrong result date");
  }
  state.counters["fetches/call"] = double(fetches);
  state.counters["months"] = double(months);
  state.counters["fetches/s"] = benchmark::Counter(double(fetches), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["work days/s"] = benchmark::Counter(double(workDays), benchmark::Counter::kIsIterationInvariantRate);
}

// The month rows a count of range(0) work days reads, fetched by raw SQLite in one read transaction.
void RawMonthLookups(benchmark::State &state) {
  sqlite3 *db = nullptr;
  sqlite3_stmt *select = nullptr;
  std::string sql = "SELECT MMCU, WDCT, WDCK, YR, MT, SHFT";
  for (int d = 1; d <= 31; ++d) sql += (d < 10 ? ", TD0" : ", TD") + std::to_string(d);
  sql +=
      ", CTRY FROM F0007 WHERE MMCU = ?1 AND WDCT = '' AND WDCK = '' AND CTRY = ?2 AND YR = ?3 AND MT = ?4 "
      "AND SHFT = '' LIMIT 1";
  if (sqlite3_open_v2(gDatabase.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(db, sql.c_str(), -1, &select, nullptr) != SQLITE_OK)
    fail("raw lookups: " + std::string(sqlite3_errmsg(db)));
  const uint64_t lookups = monthsCrossed(expectedEnd(int(state.range(0)))) + 1;
  char text[32][16];
  for (auto _ : state) {
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    year_month_day month = kStart;
    for (uint64_t i = 0; i < lookups; ++i, month += months{1}) {
      const int y = int(month.year());
      sqlite3_bind_text(select, 1, "M30", 3, SQLITE_STATIC);
      sqlite3_bind_int64(select, 2, y / 100 - 19);
      sqlite3_bind_int64(select, 3, y % 100);
      sqlite3_bind_int64(select, 4, unsigned(month.month()));
      if (sqlite3_step(select) != SQLITE_ROW) fail("raw lookups: a month row is missing");
      for (int c = 0; c < 38; ++c) {
        if (c == 3 || c == 4 || c == 37) {
          benchmark::DoNotOptimize(sqlite3_column_int64(select, c));
          continue;
        }
        const auto *value = sqlite3_column_text(select, c);
        const size_t n = std::min(size_t(sqlite3_column_bytes(select, c)), sizeof text[0] - 1);
        std::memcpy(text[c % 32], value, n);
        text[c % 32][n] = '\0';
      }
      benchmark::DoNotOptimize(text);
      sqlite3_reset(select);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  }
  state.counters["fetches/call"] = double(lookups);
  sqlite3_finalize(select);
  sqlite3_close(db);
}

BENCHMARK(CountWorkDays)->Arg(250)->Arg(2500)->Arg(25000)->Unit(benchmark::kMicrosecond);
BENCHMARK(RawMonthLookups)->Arg(250)->Unit(benchmark::kMicrosecond);

// Time per fetch of a run (its time unit is microseconds), in nanoseconds.
void printPerFetch(const RatioReporter &reporter, const std::string &name, double fetches) {
  RatioReporter::Times t;
  if (reporter.times(name, &t))
    std::printf("%-20s %6.0f fetches   per fetch: wall %7.0f ns  cpu %7.0f ns\n", name.c_str(), fetches,
                t.real * 1000 / fetches, t.cpu * 1000 / fetches);
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  std::string dir = (std::filesystem::temp_directory_path() / "benchcalendarXXXXXX").string();
  if (mkdtemp(dir.data()) == nullptr) fail("cannot create a temporary folder");
  std::string error;
  gDatabase = dir + "/calendar.db";
  gContext = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", gDatabase}}, &error);
  if (gContext == nullptr) fail("cannot create a context: " + error);
  if (!vyr::db::initDatabase(gDatabase, &error)) fail(error);
  loadCalendar();

  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nTime per fetch\n");
  for (int workDays : {250, 2500, 25000})
    printPerFetch(reporter, "CountWorkDays/" + std::to_string(workDays),
                  double(monthsCrossed(expectedEnd(workDays)) + 1));
  printPerFetch(reporter, "RawMonthLookups/250", double(monthsCrossed(expectedEnd(250)) + 1));
  std::printf("\nAdvanceWorkDays over 250 work days / its raw lookups in one read transaction (target: 1.5 or less)\n");
  reporter.printRatio("250 days", "CountWorkDays/250", "RawMonthLookups/250", "VDB", "raw", "us");
  benchmark::Shutdown();

  vyr::freeContext(gContext);
  vyr::db::closeUnusedEnvironments();
  std::filesystem::remove_all(dir);
  return 0;
}
