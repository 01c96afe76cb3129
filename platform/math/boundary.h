// Entry points of the kernel are C functions: nothing may escape them.
#pragma once

#include <type_traits>

#include "vyrtypes.h"

namespace vyr::math {

// Runs an operation; anything thrown becomes onFailure (ER_ERROR by default).
template <class Operation, class Result = std::invoke_result_t<Operation>>
Result guarded(Operation &&operation, Result onFailure = Result(ER_ERROR)) noexcept {
  try {
    return operation();
  } catch (...) {
    return onFailure;
  }
}

}  // namespace vyr::math
