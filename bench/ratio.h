// A console reporter that also keeps the wall-clock and CPU time per
// iteration of each benchmark (the medians when repetitions are asked for),
// so a program can print the ratio of two benchmarks run side by side. On a
// shared machine the CPU-time ratio is the steadier of the two.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      const std::string name = run.run_name.function_name;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if ((run.run_type == Run::RT_Iteration && !hasMedian_[name]) || median) {
        times_[name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        hasMedian_[name] = hasMedian_[name] || median;
      }
    }
  }
  // One line: what, both times and their ratio (ours / theirs), wall and CPU.
  void printRatio(const char *what, const std::string &ours, const std::string &theirs, const char *oursLabel,
                  const char *theirsLabel) {
    if (times_.count(ours) == 0 || times_.count(theirs) == 0) return;
    const Times o = times_[ours], t = times_[theirs];
    std::printf("%-12s wall: %s %8.0f ns  %s %8.0f ns  ratio %.2f   cpu: %s %8.0f ns  %s %8.0f ns  ratio %.2f\n",
                what, oursLabel, o.real, theirsLabel, t.real, o.real / t.real, oursLabel, o.cpu, theirsLabel, t.cpu,
                o.cpu / t.cpu);
  }

 private:
  struct Times {
    double real = 0, cpu = 0;
  };
  std::map<std::string, Times> times_;
  std::map<std::string, bool> hasMedian_;
};
