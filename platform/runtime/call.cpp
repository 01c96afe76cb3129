// Running business functions: making a context current, calling by entry or
// by name, and re-attaching a callee's errors to the caller's members.
#include <exception>
#include <string>

#include "db/host.h"
#include "runtime/context.h"
#include "runtime/jtext.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

// The runtime's own errors carry this source name.
constexpr const char *kRuntimeSource = "vyrruntime";

// Captures the trace of a call: each physical line becomes one entry.
void appendToContextTrace(void *user, std::u16string_view line) noexcept {
  auto *context = static_cast<LPBHVRCOM>(user);
  try {
    size_t start = 0;
    while (true) {
      const size_t end = line.find(u'\n', start);
      std::u16string_view part = line.substr(start, end == std::u16string_view::npos ? end : end - start);
      if (!part.empty() && part.back() == u'\r') part.remove_suffix(1);
      context->trace.emplace_back(part);
      if (end == std::u16string_view::npos) break;
      start = end + 1;
    }
  } catch (...) {
    // Out of memory: the line is lost, the call goes on.
  }
}

TraceSink sinkFor(LPBHVRCOM context) noexcept {
  if (context == nullptr) return {};
  return TraceSink{appendToContextTrace, context};
}

void setTextError(LPBHVRCOM context, const char16_t *id, std::u16string_view text) noexcept {
  JCHAR record[VYR_ERROR_TEXT_SIZE];
  copyOut(text, record, VYR_ERROR_TEXT_SIZE);
  vyrErrorSetEx(context, userEnvironment(context), 0, id, record, kRuntimeSource, 0);
}

void traceFailure(std::u16string_view name, const char *what) noexcept {
  try {
    writeTraceLine(u"Business function " + std::u16string(name) + u" failed: " + fromUtf8(what));
  } catch (...) {
  }
}

// Calls entry with the context current; an exception becomes "BSFNEX".
ID runGuarded(LPBHVRCOM context, LPBSFN entry, LPVOID lpVoid, void *lpDS, std::u16string_view name) noexcept {
  ContextScope scope(context);
  db::ReadSnapshotScope snapshot;  // the call's fetches share one read transaction
  std::string what;
  try {
    return entry(context, lpVoid, lpDS);
  } catch (const std::exception &e) {
    try {
      what = e.what();  // the exception ends with its handler
    } catch (...) {
    }
  } catch (...) {
  }
  if (what.empty()) what = "unknown exception";
  traceFailure(name, what.c_str());
  setTextError(context, u"BSFNEX", name);
  try {
    notePlatformFailure(context, toUtf8(name) + " threw: " + what);
  } catch (...) {
  }
  return ER_ERROR;
}

// A code outside 0-2 is no answer a caller can act on: an error of the call
// ("BSFNRC", the code as text), never the raw number.
ID checkedReturnCode(LPBHVRCOM context, ID code, std::u16string_view name) noexcept {
  if (code <= ER_ERROR) return code;
  try {
    const std::string number = std::to_string(static_cast<int32_t>(code));
    setTextError(context, u"BSFNRC", std::u16string(name.substr(0, 20)) + u" returned " + asciiToJchar(number));
    notePlatformFailure(context, toUtf8(name) + " returned " + number + ", not 0, 1 or 2");
  } catch (...) {
    setTextError(context, u"BSFNRC", name);
  }
  return ER_ERROR;
}

std::u16string nameOf(const BSFN_CATALOG_ENTRY &entry) {
  return entry.szFunction ? fromUtf8(entry.szFunction) : std::u16string();
}

}  // namespace

ContextScope::ContextScope(LPBHVRCOM context) noexcept
    : previous_(exchangeCurrentContext(context)),
      settings_(context ? &context->threadSettings : nullptr),
      previousSink_(setThreadTraceSink(sinkFor(context))) {}

ContextScope::~ContextScope() {
  setThreadTraceSink(previousSink_);
  exchangeCurrentContext(previous_);
}

ID callFunction(LPBHVRCOM context, const BSFN_CATALOG_ENTRY &entry, void *lpDS) {
  std::u16string name;
  try {
    name = nameOf(entry);
  } catch (...) {
  }
  if (entry.lpfnEntry == nullptr) {
    setTextError(context, u"BSFNNF", name);
    return ER_ERROR;
  }
  return checkedReturnCode(context, runGuarded(context, entry.lpfnEntry, userEnvironment(context), lpDS, name), name);
}

}  // namespace vyr

namespace vyr {
namespace {

void traceCallProblem(LPBHVRCOM context, std::u16string_view what, std::u16string_view name) noexcept {
  try {
    const std::u16string line = u"vyrCallObject: " + std::u16string(what) + u" '" + std::u16string(name) + u"'";
    if (context == nullptr) {
      writeTraceLine(line);
      return;
    }
    ContextScope scope(context);  // the line belongs to the context's trace
    writeTraceLine(line);
  } catch (...) {
  }
}

// Errors the callee added (from index first on) refer to its own members:
// move each to the caller member paired with it, or detach it (item 0).
void reattachErrors(LPBHVRCOM context, size_t first, const CallMapEntry *map, ID count) noexcept {
  auto &errors = context->errors;
  for (size_t i = first; i < errors.size(); ++i) {
    ID mapped = 0;
    if (map != nullptr && errors[i].item != 0) {
      for (ID m = 0; m < count; ++m) {
        if (map[m].idCalleeItem > 0 && static_cast<ID>(map[m].idCalleeItem) == errors[i].item) {
          mapped = map[m].idCallerItem > 0 ? static_cast<ID>(map[m].idCallerItem) : 0;
          break;
        }
      }
    }
    errors[i].item = mapped;
  }
}

}  // namespace
}  // namespace vyr

VYR_EXPORT ID vyrCallObject(const JCHAR *lpszFunctionName, LPBSFN lpfnEntry, LPBHVRCOM lpBhvrCom, LPVOID lpVoid,
                            LPVOID lpDS, const CallMapEntry *lpMap, ID nMapEntries, LPVOID /*lpReserved*/,
                            ID /*idReserved1*/, ID /*idReserved2*/) {
  const std::u16string_view name = vyr::trimmed(lpszFunctionName);
  if (!vyr::isLiveContext(lpBhvrCom)) {
    vyr::traceCallProblem(nullptr, u"no usable behaviour context to call", name);
    return ER_ERROR;
  }
  LPBSFN entry = lpfnEntry;
  if (entry == nullptr) {
    const BSFN_CATALOG_ENTRY *found = vyr::findFunction(name);
    if (found != nullptr) entry = found->lpfnEntry;
  }
  if (entry == nullptr) {
    vyr::traceCallProblem(lpBhvrCom, u"no business function named", name);
    vyr::setTextError(lpBhvrCom, u"BSFNNF", name);
    return ER_ERROR;
  }
  const size_t before = lpBhvrCom->errors.size();
  const ID result = vyr::runGuarded(lpBhvrCom, entry, lpVoid, lpDS, name);
  vyr::reattachErrors(lpBhvrCom, before, lpMap, nMapEntries);
  return result;
}

VYR_EXPORT void vyrSetEventRuleReturnCode(LPBHVRCOM lpBhvrCom, ID idReturnCode) {
  if (vyr::isLiveContext(lpBhvrCom)) lpBhvrCom->eventRuleReturnCode = idReturnCode;
}

VYR_EXPORT ID vyrGetEventRuleReturnCode(LPBHVRCOM lpBhvrCom) {
  return vyr::isLiveContext(lpBhvrCom) ? lpBhvrCom->eventRuleReturnCode : ER_SUCCESS;
}

// Opened on first use from the context's settings; why it cannot be goes to the trace.
VYR_EXPORT HENV vyrGetBhvrEnvironment(LPBHVRCOM lpBhvrCom) {
  if (!vyr::isLiveContext(lpBhvrCom)) return nullptr;
  try {
    std::string error;
    HENV environment = vyr::db::contextEnvironment(lpBhvrCom, &error);
    if (environment == nullptr && !error.empty()) {
      vyr::ContextScope scope(lpBhvrCom);  // the line belongs to the context's trace
      vyr::writeTraceLine(u"vyrGetBhvrEnvironment: " + vyr::fromUtf8(error));
      vyr::notePlatformFailure(lpBhvrCom, "vyrGetBhvrEnvironment: " + error);
    }
    return environment;
  } catch (...) {
    return nullptr;
  }
}
