// A console reporter that also keeps the wall-clock and CPU time per
// iteration of each benchmark (the medians when repetitions are asked for),
// by name ("CountWorkDays/250"), so a program can print the ratio of two
// benchmarks run side by side. On a shared machine the CPU-time ratio is the
// steadier of the two.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

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

  // One line: what, both times and their ratio (ours / theirs), wall and CPU.
  void printRatio(const char *what, const std::string &ours, const std::string &theirs, const char *oursLabel,
                  const char *theirsLabel, const char *unit = "ns") const {
    Times o, t;
    if (!times(ours, &o) || !times(theirs, &t)) return;
    std::printf("%-12s wall: %s %8.0f %s  %s %8.0f %s  ratio %.2f   cpu: %s %8.0f %s  %s %8.0f %s  ratio %.2f\n", what,
                oursLabel, o.real, unit, theirsLabel, t.real, unit, o.real / t.real, oursLabel, o.cpu, unit,
                theirsLabel, t.cpu, unit, o.cpu / t.cpu);
  }

 private:
  std::map<std::string, Times> times_;
  std::map<std::string, bool> hasMedian_;
};
