// Where debug-trace lines go. A host installs a sink per thread (the runtime
// captures the lines of one call this way) or for the whole process.
#pragma once

#include "vyrtypes.h"

#include <string_view>

namespace vyr VYR_HOST_API {

using TraceSinkFn = void (*)(void *user, std::u16string_view line) noexcept;

struct TraceSink {
  TraceSinkFn fn = nullptr;
  void *user = nullptr;
};

// Installs the sink of the calling thread and returns the one it replaces.
TraceSink setThreadTraceSink(TraceSink sink) noexcept;
// Installs the sink used by threads that have none of their own. Calls to the
// process sink are serialised, and once this returns the old sink is neither
// running nor called again, so its user data may be released.
void setProcessTraceSink(TraceSink sink) noexcept;
// Hands one line (without newline) to the thread's sink, else the process sink.
// A line written from inside a sink is dropped rather than recursing.
void writeTraceLine(std::u16string_view line) noexcept;
// Whether a line written now from this thread would reach a sink, so callers
// can skip formatting text nobody reads.
bool traceEnabled() noexcept;

}  // namespace VYR_HOST_API
