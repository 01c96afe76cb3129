#include "metrics.h"

#include <cstdio>

namespace famoflas {
namespace {

// A label value as the text format writes it: \, " and newline escaped.
std::string label(std::string_view value) {
  std::string out;
  for (char c : value) {
    if (c == '\\' || c == '"') out += '\\';
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    out += c;
  }
  return out;
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

}  // namespace

void ServiceMetrics::countRequest(std::string_view endpoint, int status, double seconds) {
  std::lock_guard guard(lock_);
  ++requests_[{std::string(endpoint), status}];
  auto it = latency_.find(endpoint);
  if (it == latency_.end()) it = latency_.emplace(std::string(endpoint), Latency{}).first;
  Latency &latency = it->second;
  for (size_t i = 0; i < kBuckets.size(); ++i)
    if (seconds <= kBuckets[i]) {
      ++latency.buckets[i];
      break;
    }
  ++latency.count;
  latency.sum += seconds;
}

void ServiceMetrics::countCall(std::string_view function, ID code) {
  std::lock_guard guard(lock_);
  ++calls_[{std::string(function), code}];
}

std::string ServiceMetrics::text() const {
  std::lock_guard guard(lock_);
  std::string out =
      "# HELP famoflas_http_requests_total HTTP requests answered, by endpoint and status.\n"
      "# TYPE famoflas_http_requests_total counter\n";
  for (const auto &[key, count] : requests_)
    out += "famoflas_http_requests_total{endpoint=\"" + label(key.first) + "\",status=\"" + std::to_string(key.second) +
           "\"} " + std::to_string(count) + "\n";
  out +=
      "# HELP famoflas_http_request_duration_seconds Time from a request's head read to its answer, by endpoint.\n"
      "# TYPE famoflas_http_request_duration_seconds histogram\n";
  for (const auto &[endpoint, latency] : latency_) {
    const std::string name = "famoflas_http_request_duration_seconds";
    const std::string tag = "endpoint=\"" + label(endpoint) + "\"";
    uint64_t cumulative = 0;
    for (size_t i = 0; i < kBuckets.size(); ++i) {
      cumulative += latency.buckets[i];
      out += name + "_bucket{" + tag + ",le=\"" + number(kBuckets[i]) + "\"} " + std::to_string(cumulative) + "\n";
    }
    out += name + "_bucket{" + tag + ",le=\"+Inf\"} " + std::to_string(latency.count) + "\n";
    out += name + "_sum{" + tag + "} " + number(latency.sum) + "\n";
    out += name + "_count{" + tag + "} " + std::to_string(latency.count) + "\n";
  }
  out +=
      "# HELP famoflas_calls_total Business-function calls run, by function and return code.\n"
      "# TYPE famoflas_calls_total counter\n";
  for (const auto &[key, count] : calls_)
    out += "famoflas_calls_total{function=\"" + label(key.first) + "\",return=\"" + std::to_string(key.second) +
           "\"} " + std::to_string(count) + "\n";
  return out;
}

}  // namespace famoflas
