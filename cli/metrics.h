// What the service counts for GET /metrics, in Prometheus's text format:
// requests by endpoint and status, their latency, and business-function calls
// by function and return code. Safe to use from every request thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "vyrtypes.h"

namespace famoflas {

class ServiceMetrics {
 public:
  void countRequest(std::string_view endpoint, int status, double seconds);
  void countCall(std::string_view function, ID code);
  std::string text() const;

  // Upper bounds of the latency buckets, in seconds.
  static constexpr std::array<double, 14> kBuckets = {0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                                      0.1,    0.25,  0.5,    1,     2.5,  5,     10};

 private:
  struct Latency {
    std::array<uint64_t, kBuckets.size()> buckets{};  // not cumulative; text() adds them up
    uint64_t count = 0;
    double sum = 0;
  };
  mutable std::mutex lock_;
  std::map<std::pair<std::string, int>, uint64_t> requests_;
  std::map<std::string, Latency, std::less<>> latency_;
  std::map<std::pair<std::string, ID>, uint64_t> calls_;
};

}  // namespace famoflas
