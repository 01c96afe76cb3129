// What context-free platform operations (number and date text) read from the
// behaviour context that is current on the calling thread.
#pragma once

#include "vyrtypes.h"

#include <string>

namespace vyr VYR_HOST_API {

struct ThreadSettings {
  char16_t decimalSeparator = u'.';
  char16_t thousandsSeparator = u',';
  std::u16string dateMask = u"YYYY-MM-DD";
};

// The settings of the context current on this thread, or the defaults above
// when none is current. The reference stays valid while that context is current.
const ThreadSettings &currentSettings() noexcept;

// Makes a settings record current on this thread for the guard's lifetime;
// the previous one comes back when the guard ends, so nested calls restore
// the outer context. The record must outlive the guard.
class CurrentSettingsScope {
 public:
  explicit CurrentSettingsScope(const ThreadSettings *settings) noexcept;
  ~CurrentSettingsScope();
  CurrentSettingsScope(const CurrentSettingsScope &) = delete;
  CurrentSettingsScope &operator=(const CurrentSettingsScope &) = delete;

 private:
  const ThreadSettings *previous_;
};

}  // namespace VYR_HOST_API
