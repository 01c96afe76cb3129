#include "runtime/current.h"

namespace vyr {
namespace {
const ThreadSettings kDefaults{};
// Initial-exec: read on every context-free number and date operation, it is
// then one load instead of a call; the library is loaded with the process.
thread_local const ThreadSettings *tCurrent __attribute__((tls_model("initial-exec"))) = nullptr;
}  // namespace

const ThreadSettings &currentSettings() noexcept { return tCurrent ? *tCurrent : kDefaults; }

CurrentSettingsScope::CurrentSettingsScope(const ThreadSettings *settings) noexcept : previous_(tCurrent) {
  tCurrent = settings;
}

CurrentSettingsScope::~CurrentSettingsScope() { tCurrent = previous_; }

}  // namespace vyr
