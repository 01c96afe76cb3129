#include "base/trace.h"

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <string>

#include "vyrl.h"
#include "vyrunicode.h"

namespace vyr {
namespace {

thread_local TraceSink tThreadSink;
// Set while this thread runs a sink: a sink that traces would otherwise
// recurse, or deadlock on the process lock.
thread_local bool tInSink = false;

struct ProcessSink {
  std::mutex lock;
  TraceSink sink;
  std::atomic<bool> installed{false};
};

// Never destroyed: libraries may trace from their own static destructors.
ProcessSink &processSink() {
  static ProcessSink *const sink = new ProcessSink;
  return *sink;
}

}  // namespace

TraceSink setThreadTraceSink(TraceSink sink) noexcept {
  const TraceSink previous = tThreadSink;
  tThreadSink = sink;
  return previous;
}

void setProcessTraceSink(TraceSink sink) noexcept {
  ProcessSink &process = processSink();
  std::lock_guard<std::mutex> guard(process.lock);
  process.sink = sink;
  process.installed.store(sink.fn != nullptr, std::memory_order_release);
}

void writeTraceLine(std::u16string_view line) noexcept {
  if (tInSink) return;
  tInSink = true;
  if (tThreadSink.fn) {
    tThreadSink.fn(tThreadSink.user, line);
  } else {
    ProcessSink &process = processSink();
    if (process.installed.load(std::memory_order_acquire)) {
      std::lock_guard<std::mutex> guard(process.lock);
      if (process.sink.fn) process.sink.fn(process.sink.user, line);
    }
  }
  tInSink = false;
}

bool traceEnabled() noexcept {
  return !tInSink && (tThreadSink.fn || processSink().installed.load(std::memory_order_acquire));
}

}  // namespace vyr

// Trace lines are usually short: they are formatted on the stack and only a
// longer one takes a heap buffer of its exact size. A trailing newline the
// caller wrote ends the line; newlines inside it stay, the line is not split.
VYR_EXPORT void DebugTraceFn(const JCHAR *lpszFormat, ...) {
  if (!lpszFormat || !vyr::traceEnabled()) return;
  JCHAR local[1024];
  va_list args;
  va_start(args, lpszFormat);
  va_list copy;
  va_copy(copy, args);
  const int needed = vyrVsnprintf(local, sizeof local / sizeof *local, lpszFormat, args);
  va_end(args);
  std::u16string heap;
  std::u16string_view line;
  if (needed >= 0 && size_t(needed) < sizeof local / sizeof *local) {
    line = std::u16string_view(local, size_t(needed));
  } else if (needed >= 0) {
    try {
      heap.resize(size_t(needed) + 1);
      const int again = vyrVsnprintf(heap.data(), heap.size(), lpszFormat, copy);
      line = std::u16string_view(heap.data(), again >= 0 ? size_t(again) : 0);
    } catch (...) {
      // No room for the whole line: the part that fitted on the stack still goes out.
      line = std::u16string_view(local, sizeof local / sizeof *local - 1);
    }
  } else {
    line = std::u16string_view(local);
  }
  va_end(copy);
  while (!line.empty() && (line.back() == u'\n' || line.back() == u'\r')) line.remove_suffix(1);
  vyr::writeTraceLine(line);
}
