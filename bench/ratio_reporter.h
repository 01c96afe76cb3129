// The console report of a table benchmark, keeping each run's times so the
// program can print VDB time / raw time of its pairs after the runs.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace vdbbench {

// Keeps the wall-clock and CPU time per iteration of each run (the medians
// when repetitions are asked for), by name ("CountWorkDays/250"). On a shared
// machine the CPU-time ratio is the steadier of the two.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  struct Times {
    double real = 0, cpu = 0;
  };

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      std::string name = run.run_name.function_name;
      if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if ((run.run_type == Run::RT_Iteration && !hasMedian_[name]) || median) {
        times_[name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        hasMedian_[name] = hasMedian_[name] || median;
      }
    }
  }

  // The times of a run, in its time unit; false when it did not run.
  bool times(const std::string &name, Times *out) const {
    const auto it = times_.find(name);
    if (it == times_.end()) return false;
    *out = it->second;
    return true;
  }

  void printRatio(const char *what, const std::string &vdb, const std::string &raw, const char *unit = "ns") const {
    Times v, r;
    if (!times(vdb, &v) || !times(raw, &r)) return;
    std::printf("%-12s wall: VDB %8.0f %s  raw %8.0f %s  ratio %.2f   cpu: VDB %8.0f %s  raw %8.0f %s  ratio %.2f\n",
                what, v.real, unit, r.real, unit, v.real / r.real, v.cpu, unit, r.cpu, unit, v.cpu / r.cpu);
  }

 private:
  std::map<std::string, Times> times_;
  std::map<std::string, bool> hasMedian_;
};

}  // namespace vdbbench
