// What a localization hook costs a base function, in one run, each call by
// name through vyrCallObject as a base function makes it:
//  - PlugAndPlay_B0400007 with a blank country (no localization active: the
//    entry returns at once);
//  - PlugAndPlay_B0400007 with country JP: its server B0400007_Country_Server
//    calls the country function DraftValueDateCalculationJapan;
//  - DraftValueDateCalculationJapan called directly.
// The country function is a stand-in registered here that counts its calls
// and sets the result flag; a run whose count or flag is not what its path
// implies stops with an error. After the runs it prints each hook's CPU time
// per call against the direct call.
//   build/default/bin/bench_localization --benchmark_min_time=1
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

#include "localization/localization.h"
#include "runtime/context.h"

namespace {

LPBHVRCOM gContext = nullptr;
size_t gCountryCalls = 0;

ID CountryFunctionStandIn(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  ++gCountryCalls;
  static_cast<LPDSLOCALIZATION>(lpDS)->cResultFlag = u'1';
  return ER_SUCCESS;
}

// Calls name with a record of this country as many times as the state asks;
// expectCountryCall: whether each call must reach the country function.
void CallByName(benchmark::State &state, const char16_t *name, const char16_t *country, bool expectCountryCall) {
  DSLOCALIZATION ds{};
  vyrStrcpy(ds.szCountryCode, country);
  vyrStrcpy(ds.szMode, u"VAL");
  LPVOID lpVoid = vyr::userEnvironment(gContext);
  gCountryCalls = 0;
  int64_t calls = 0;
  for (auto _ : state) {
    ds.cResultFlag = u'0';
    benchmark::DoNotOptimize(vyrCallObject(name, nullptr, gContext, lpVoid, &ds, nullptr, 0, nullptr, 0, 0));
    if (++calls % 1024 == 0) {  // the context keeps every trace line of its calls
      state.PauseTiming();
      gContext->trace.clear();
      state.ResumeTiming();
    }
  }
  gContext->trace.clear();
  const bool reached = ds.cResultFlag == u'1';
  if (gCountryCalls != (expectCountryCall ? size_t(calls) : 0) || reached != expectCountryCall ||
      !gContext->errors.empty())
    state.SkipWithError("the call did not take the path it measures");
}

void PlugAndPlayBlankCountry(benchmark::State &state) { CallByName(state, u"PlugAndPlay_B0400007", u"", false); }
void PlugAndPlayOneCountryFunction(benchmark::State &state) { CallByName(state, u"PlugAndPlay_B0400007", u"JP", true); }
void CountryFunctionDirect(benchmark::State &state) {
  CallByName(state, u"DraftValueDateCalculationJapan", u"JP", true);
}

BENCHMARK(PlugAndPlayBlankCountry);
BENCHMARK(PlugAndPlayOneCountryFunction);
BENCHMARK(CountryFunctionDirect);

// Keeps the CPU time per call of each run (the median when repetitions are
// asked for), for the ratios; on a shared machine it is steadier than wall time.
class TimesReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type == Run::RT_Iteration || median) cpu[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
  }
  std::map<std::string, double> cpu;
};

}  // namespace

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  size_t count = 0;
  const BSFN_CATALOG_ENTRY *entries = famoflasLibraryCatalog(&count);
  vyr::registerCatalog(entries, count);
  vyr::registerFunction({"DraftValueDateCalculationJapan", CountryFunctionStandIn, &DSLOCALIZATION_template, "BENCH"});
  std::string error;
  gContext = vyr::createContext({}, &error);
  if (gContext == nullptr) {
    std::fprintf(stderr, "bench_localization: %s\n", error.c_str());
    return 1;
  }
  TimesReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double direct = reporter.cpu["CountryFunctionDirect"];
  if (direct > 0) {
    std::printf("\nCPU time per call against the country function called directly (%.0f ns):\n", direct);
    for (const char *name : {"PlugAndPlayBlankCountry", "PlugAndPlayOneCountryFunction"})
      if (reporter.cpu.count(name))
        std::printf("  %-30s %8.0f ns  ratio %.2f\n", name, reporter.cpu[name], reporter.cpu[name] / direct);
  }
  vyr::freeContext(gContext);
  benchmark::Shutdown();
  return 0;
}
