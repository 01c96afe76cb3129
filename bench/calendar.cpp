// AdvanceWorkDays counting 250, 2,500 and 25,000 work days forward from
// 1950-01-02 on a calendar of weekends and holidays (F0007 rows for every
// month of 1900-2099, SQLite). Reports the time per call and the row fetches
// per call as the table layer counts them; a call whose fetches differ from
// the months it crossed plus one, or whose result differs from a day-by-day
// count over the same flags, stops the program with exit status 1.
//   build/default/bin/bench_calendar --benchmark_min_time=2
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "dates/B0000150.h"
#include "db/host.h"
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

year_month_day expectedEnd(int workDays) {
  sys_days at{kStart};
  for (int seen = 0; seen < workDays;)
    if (isWorkDay(year_month_day{at += days{1}})) ++seen;
  return year_month_day{at};
}

void CountWorkDays(benchmark::State &state) {
  const int workDays = int(state.range(0));
  const year_month_day end = expectedEnd(workDays);
  const uint64_t monthsCrossed = uint64_t((int(end.year()) - int(kStart.year())) * 12 +
                                          int(unsigned(end.month())) - int(unsigned(kStart.month())));
  DSD0000150 ds{};
  vyrStrcpyFillAndTerminate(ds.szBusinessUnit, u"M30", 13, 0);
  ds.cShiftCode = u' ';
  ds.cAdvanceMode = u'1';
  IntToMathNumeric(workDays, &ds.mnNumberOfDays);
  LPVOID lpVoid = vyr::userEnvironment(gContext);

  uint64_t fetches = 0;
  for (auto _ : state) {
    ds.jdWorkDate = VYRDATE{short(int(kStart.year())), short(unsigned(kStart.month())), short(unsigned(kStart.day()))};
    const uint64_t before = vyr::db::rowFetchCount();
    const ID code = AdvanceWorkDays(gContext, lpVoid, &ds);
    fetches = vyr::db::rowFetchCount() - before;
    if (code != ER_SUCCESS) fail("AdvanceWorkDays failed");
    if (fetches != monthsCrossed + 1)
      fail(std::to_string(workDays) + " work days: " + std::to_string(fetches) + " fetches, expected " +
           std::to_string(monthsCrossed + 1) + " (months crossed + 1)");
    if (ds.jdWorkDate.nYear != int(end.year()) || ds.jdWorkDate.nMonth != int(unsigned(end.month())) ||
        ds.jdWorkDate.nDay != int(unsigned(end.day())))
      fail(std::to_string(workDays) + " work days: wrong result date");
  }
  state.counters["fetches/call"] = double(fetches);
  state.counters["months"] = double(monthsCrossed);
  state.counters["fetches/s"] = benchmark::Counter(double(fetches), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["work days/s"] = benchmark::Counter(double(workDays), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(CountWorkDays)->Arg(250)->Arg(2500)->Arg(25000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

  std::string dir = (std::filesystem::temp_directory_path() / "benchcalendarXXXXXX").string();
  if (mkdtemp(dir.data()) == nullptr) fail("cannot create a temporary folder");
  std::string error;
  gContext = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", dir + "/calendar.db"}}, &error);
  if (gContext == nullptr) fail("cannot create a context: " + error);
  loadCalendar();

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  vyr::freeContext(gContext);
  vyr::db::closeUnusedEnvironments();
  std::filesystem::remove_all(dir);
  return 0;
}
