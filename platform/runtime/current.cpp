#include "runtime/current.h"

namespace vyr {
namespace {
const ThreadSettings kDefaults{};
thread_local const ThreadSettings *tCurrent = nullptr;
}  // namespace

const ThreadSettings &currentSettings() noexcept { return tCurrent ? *tCurrent : kDefaults; }

CurrentSettingsScope::CurrentSettingsScope(const ThreadSettings *settings) noexcept
    : previous_(tCurrent) {
  tCurrent = settings;
}

CurrentSettingsScope::~CurrentSettingsScope() { tCurrent = previous_; }

}  // namespace vyr
