// The data-pointer store: pointers parked under 32-bit indexes so handles can
// travel in data structures between calls. Indexes are never handed out
// twice in a process, so a stale index finds nothing instead of another
// caller's pointer.
#include <mutex>
#include <unordered_map>

#include "runtime/context.h"
#include "vyrl.h"

namespace {

struct Store {
  std::mutex lock;
  std::unordered_map<ID, void *> entries;
  ID next = 1;  // 0 once every index has been used
};

Store &store() {
  static Store *const instance = new Store;
  return *instance;
}

}  // namespace

// A null pointer is not stored: retrieving it could not be told from a miss.
VYR_EXPORT ID vyrStoreDataPtr(LPVOID, void *lpData) {
  if (!lpData) return 0;
  // Lets tests of calling code take the path of a full store.
  if (vyr::faultRequested(vyr::currentContext(), "vyrStoreDataPtr")) return 0;
  Store &s = store();
  std::lock_guard<std::mutex> guard(s.lock);
  if (s.next == 0) return 0;
  try {
    s.entries.emplace(s.next, lpData);
  } catch (...) {
    return 0;
  }
  const ID index = s.next;
  s.next = index == UINT32_MAX ? 0 : index + 1;
  return index;
}

VYR_EXPORT void *vyrRetrieveDataPtr(LPVOID, ID idIndex) {
  Store &s = store();
  std::lock_guard<std::mutex> guard(s.lock);
  const auto found = s.entries.find(idIndex);
  return found == s.entries.end() ? nullptr : found->second;
}

VYR_EXPORT void *vyrRemoveDataPtr(LPVOID, ID idIndex) {
  Store &s = store();
  std::lock_guard<std::mutex> guard(s.lock);
  const auto found = s.entries.find(idIndex);
  if (found == s.entries.end()) return nullptr;
  void *data = found->second;
  s.entries.erase(found);
  return data;
}
