// Named caches: process-wide tables of fixed-size records, ordered under each
// of their indexes, with cursors.
//
// Locking: one registry lock guards names, handles and cursor ownership; each
// cache has its own lock for its records and cursor positions. The two are
// never held together, so an operation resolves its handle under the
// registry lock, lets go, and then works under the cache lock; a cache ended
// in between is seen through its `ended` flag.
//
// Handles and cursors are ids that are never reused, disguised as pointers
// and only ever looked up, so stale or foreign values fail cleanly.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "cache/keys.h"
#include "runtime/context.h"
#include "vyrcache.h"

namespace vyr::cache {
namespace {

struct Record {
  uint64_t id = 0;
  std::vector<unsigned char> bytes;
};

// A record-shaped key of which the first nKeys segments count.
struct Probe {
  const unsigned char *bytes;
  int nKeys;
};

// Orders the records of one index. Keys are unique under every index, so a
// set of records is the whole index; probes with fewer segments find the
// first record of their group through lower_bound.
// The segments live in the cache, which outlives its sets; the order itself
// stays a pointer and a count, cheap to copy (key_comp() returns copies).
struct RecordOrder {
  using is_transparent = void;
  const VYRCACHE_SEGMENT *segments = nullptr;
  int count = 0;

  bool operator()(const Record *a, const Record *b) const noexcept {
    return compareKeys(segments, count, a->bytes.data(), b->bytes.data()) < 0;
  }
  bool operator()(const Record *a, const Probe &p) const noexcept {
    return compareKeys(segments, p.nKeys, a->bytes.data(), p.bytes) < 0;
  }
  bool operator()(const Probe &p, const Record *b) const noexcept {
    return compareKeys(segments, p.nKeys, p.bytes, b->bytes.data()) < 0;
  }
};

using IndexSet = std::set<Record *, RecordOrder>;

// Where a cursor stands: after the record it fetched last (by that record's
// bytes, so it survives adds and deletes of any record, its own included).
struct CursorState {
  bool positioned = false;
  uint64_t lastId = 0;
  std::vector<unsigned char> lastBytes;
  std::string openedBy;  // source and line of the opener, for a debugger or a leak hunt
};

struct Cache {
  std::u16string name;
  size_t extent = 0;                                // bytes every record needs for its segments
  std::vector<std::vector<VYRCACHE_SEGMENT>> keys;  // per index, fixed at creation
  std::vector<IndexSet> indexes;                    // their contents change only under mutex

  std::mutex mutex;
  bool ended = false;
  size_t recordSize = 0;  // fixed by the first add
  uint64_t nextRecordId = 1;
  std::unordered_map<uint64_t, std::unique_ptr<Record>> records;
  std::unordered_map<uint64_t, CursorState> cursors;

  int indexCount() const noexcept { return static_cast<int>(indexes.size()); }
  int segmentCount(int index) const noexcept { return static_cast<int>(keys[index - 1].size()); }
};

struct HandleEntry {
  std::shared_ptr<Cache> cache;
  int currentIndex = 1;
  std::vector<uint64_t> cursors;
};

struct CursorEntry {
  uint64_t handle = 0;
  std::shared_ptr<Cache> cache;
};

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::u16string, std::shared_ptr<Cache>> byName;
  std::unordered_map<uint64_t, HandleEntry> handles;
  std::unordered_map<uint64_t, CursorEntry> cursors;
};

// Deliberately never destroyed: caches are process-wide, and code running in
// other static destructors may still end theirs.
Registry &registry() {
  static Registry *instance = new Registry;
  return *instance;
}

// Ids start well above the small indexes of the data-pointer store, so one of
// those passed by mistake for a handle is refused rather than matched.
std::atomic<uint64_t> nextHandleId{0x10000};

uint64_t idOf(const void *handle) noexcept { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(handle)); }
template <class Handle>
Handle handleOf(uint64_t id) noexcept {
  return reinterpret_cast<Handle>(static_cast<uintptr_t>(id));
}

// What an operation needs of its handle, taken under the registry lock.
struct Resolved {
  std::shared_ptr<Cache> cache;
  int index = 1;
};

std::optional<Resolved> resolveHandle(HCACHE hCache) {
  if (hCache == nullptr) return std::nullopt;
  Registry &r = registry();
  std::lock_guard lock(r.mutex);
  const auto it = r.handles.find(idOf(hCache));
  if (it == r.handles.end()) return std::nullopt;
  return Resolved{it->second.cache, it->second.currentIndex};
}

// A cursor counts only together with the handle that opened it.
std::optional<Resolved> resolveCursor(HCACHE hCache, HCUR hCursor) {
  if (hCache == nullptr || hCursor == nullptr) return std::nullopt;
  Registry &r = registry();
  std::lock_guard lock(r.mutex);
  const auto cursor = r.cursors.find(idOf(hCursor));
  if (cursor == r.cursors.end() || cursor->second.handle != idOf(hCache)) return std::nullopt;
  const auto handle = r.handles.find(cursor->second.handle);
  if (handle == r.handles.end()) return std::nullopt;
  return Resolved{handle->second.cache, handle->second.currentIndex};
}

// Lets tests of calling code make an operation fail ("vyrCacheInit:GeoCodeInit").
bool injectedFault(const char *operation, const std::u16string &name) noexcept {
  return faultRequested(currentContext(), operation, name);
}

// A resolved handle, or nothing when a test asked the operation on its cache to fail.
std::optional<Resolved> unlessFaulted(std::optional<Resolved> resolved, const char *operation) noexcept {
  if (resolved && injectedFault(operation, resolved->cache->name)) return std::nullopt;
  return resolved;
}

// Where a cursor of this cache stands; null for a cursor the cache does not know.
CursorState *stateOf(Cache &cache, HCUR hCursor) noexcept {
  const auto it = cache.cursors.find(idOf(hCursor));
  return it == cache.cursors.end() ? nullptr : &it->second;
}

std::shared_ptr<Cache> makeCache(std::u16string name, const VYRCACHE_INDEX *indexes, int nIndexes) {
  auto cache = std::make_shared<Cache>();
  cache->name = std::move(name);
  for (int i = 0; i < nIndexes; ++i) {
    const VYRCACHE_INDEX &index = indexes[i];
    cache->keys.emplace_back(index.Segment, index.Segment + index.nSegments);
    cache->extent = std::max(cache->extent, indexExtent(index));
  }
  // Only now that `keys` no longer grows may the orders point into it.
  cache->indexes.reserve(cache->keys.size());
  for (const auto &segments : cache->keys)
    cache->indexes.emplace_back(RecordOrder{segments.data(), static_cast<int>(segments.size())});
  return cache;
}

ID initCache(const char *operation, HCACHE *lphCache, const JCHAR *lpszCacheName, const VYRCACHE_INDEX *lpIndexes,
             int nIndexes) {
  if (lphCache == nullptr) return VYRCACHE_FAILURE;
  *lphCache = nullptr;
  if (lpszCacheName == nullptr || lpszCacheName[0] == 0 || lpIndexes == nullptr || nIndexes < 1)
    return VYRCACHE_FAILURE;
  for (int i = 0; i < nIndexes; ++i)
    if (!validIndex(lpIndexes[i])) return VYRCACHE_FAILURE;
  std::u16string name(lpszCacheName);
  if (injectedFault(operation, name)) return VYRCACHE_FAILURE;

  // Built before taking the lock; thrown away if the name already exists.
  std::shared_ptr<Cache> fresh = makeCache(name, lpIndexes, nIndexes);
  const uint64_t id = nextHandleId++;
  Registry &r = registry();
  std::lock_guard lock(r.mutex);
  auto [named, created] = r.byName.try_emplace(std::move(name), fresh);
  try {
    r.handles.emplace(id, HandleEntry{named->second, 1, {}});
  } catch (...) {
    if (created) r.byName.erase(named);
    throw;
  }
  *lphCache = handleOf<HCACHE>(id);
  return VYRCACHE_SUCCESS;
}

// Checks a caller's record buffer against the cache's record size. Before the
// first add no size is known and nothing can be found.
ID checkRecordSize(const Cache &cache, size_t nRecordSize) noexcept {
  if (cache.recordSize == 0) return VYRCACHE_NOT_FOUND;
  return nRecordSize == cache.recordSize ? VYRCACHE_SUCCESS : VYRCACHE_FAILURE;
}

// The record of `index` whose first nKeys segments equal the key's, or end().
IndexSet::iterator findFirst(IndexSet &set, const unsigned char *key, int nKeys) {
  const Probe probe{key, nKeys};
  const auto it = set.lower_bound(probe);
  if (it == set.end() || set.key_comp()(probe, *it)) return set.end();
  return it;
}

void copyOut(const Record &record, void *lpRecord) noexcept {
  std::memcpy(lpRecord, record.bytes.data(), record.bytes.size());
}

void remember(CursorState &state, const Record &record) {
  state.positioned = true;
  state.lastId = record.id;
  state.lastBytes.assign(record.bytes.begin(), record.bytes.end());
}

ID addRecord(Cache &cache, const unsigned char *bytes, size_t size) {
  if (cache.recordSize == 0 ? size < cache.extent : size != cache.recordSize) return VYRCACHE_FAILURE;
  for (int i = 1; i <= cache.indexCount(); ++i)
    if (cache.indexes[i - 1].contains(Probe{bytes, cache.segmentCount(i)})) return VYRCACHE_DUPLICATE;
  auto owned = std::make_unique<Record>();
  owned->id = cache.nextRecordId++;
  owned->bytes.assign(bytes, bytes + size);
  Record *record = owned.get();
  cache.records.emplace(record->id, std::move(owned));
  size_t inserted = 0;
  try {
    for (; inserted < cache.indexes.size(); ++inserted) cache.indexes[inserted].insert(record);
  } catch (...) {
    for (size_t i = 0; i < inserted; ++i) cache.indexes[i].erase(record);
    cache.records.erase(record->id);
    throw;
  }
  cache.recordSize = size;
  return VYRCACHE_SUCCESS;
}

// Replaces the contents of the record with the same full key under `index`;
// no other record may hold the new keys of the other indexes.
ID updateRecord(Cache &cache, int index, const unsigned char *bytes) {
  IndexSet &current = cache.indexes[index - 1];
  const auto found = findFirst(current, bytes, cache.segmentCount(index));
  if (found == current.end()) return VYRCACHE_NOT_FOUND;
  Record *record = *found;
  for (int i = 1; i <= cache.indexCount(); ++i) {
    IndexSet &set = cache.indexes[i - 1];
    const auto other = set.find(Probe{bytes, cache.segmentCount(i)});
    if (other != set.end() && *other != record) return VYRCACHE_DUPLICATE;
  }
  // The sets order by the bytes: take the node out of each, change the bytes,
  // put the nodes back. Node handles move without allocating, so nothing here
  // can fail half-way.
  std::vector<IndexSet::node_type> nodes;
  nodes.reserve(cache.indexes.size());
  for (IndexSet &set : cache.indexes) nodes.push_back(set.extract(record));
  std::memcpy(record->bytes.data(), bytes, record->bytes.size());
  for (size_t i = 0; i < nodes.size(); ++i) cache.indexes[i].insert(std::move(nodes[i]));
  return VYRCACHE_SUCCESS;
}

ID fetchAtCursor(Cache &cache, int index, CursorState &state, const unsigned char *key, int nKeys, void *lpRecord) {
  IndexSet &set = cache.indexes[index - 1];
  IndexSet::iterator it;
  if (key != nullptr && nKeys > 0)
    it = findFirst(set, key, nKeys);
  else if (state.positioned)
    it = set.upper_bound(Probe{state.lastBytes.data(), cache.segmentCount(index)});
  else
    it = set.begin();
  if (it == set.end()) return VYRCACHE_NOT_FOUND;
  remember(state, **it);
  copyOut(**it, lpRecord);
  return VYRCACHE_SUCCESS;
}

ID deleteAtCursor(Cache &cache, const CursorState &state) {
  if (!state.positioned) return VYRCACHE_NOT_FOUND;
  const auto found = cache.records.find(state.lastId);
  if (found == cache.records.end()) return VYRCACHE_NOT_FOUND;
  for (IndexSet &set : cache.indexes) set.erase(found->second.get());
  cache.records.erase(found);
  return VYRCACHE_SUCCESS;
}

// Drops the positions of cursors the registry no longer knows.
void forgetCursors(Cache &cache, const std::vector<uint64_t> &cursors) {
  std::lock_guard lock(cache.mutex);
  for (const uint64_t id : cursors) cache.cursors.erase(id);
}

// Runs work under the cache lock when the cache is still alive.
template <class Work>
ID underCacheLock(const std::optional<Resolved> &resolved, Work &&work) {
  if (!resolved) return VYRCACHE_FAILURE;
  Cache &cache = *resolved->cache;
  std::lock_guard lock(cache.mutex);
  if (cache.ended) return VYRCACHE_FAILURE;
  return work(cache, resolved->index);
}

// Every entry point ends here: nothing thrown inside crosses the C boundary.
template <class Body>
ID guarded(Body &&body) noexcept {
  try {
    return body();
  } catch (...) {
    return VYRCACHE_FAILURE;
  }
}

}  // namespace
}  // namespace vyr::cache

using namespace vyr::cache;

VYR_EXTERN_C ID vyrCacheInit(HUSER, HCACHE *lphCache, const JCHAR *lpszCacheName, const VYRCACHE_INDEX *lpIndex) {
  return guarded([&] { return initCache("vyrCacheInit", lphCache, lpszCacheName, lpIndex, 1); });
}

VYR_EXTERN_C ID vyrCacheInitMultipleIndex(HUSER, HCACHE *lphCache, const JCHAR *lpszCacheName,
                                          const VYRCACHE_INDEX *lpIndexes, int nIndexes) {
  return guarded([&] { return initCache("vyrCacheInitMultipleIndex", lphCache, lpszCacheName, lpIndexes, nIndexes); });
}

VYR_EXTERN_C ID vyrCacheSetIndex(HCACHE hCache, int nIndex) {
  return guarded([&]() -> ID {
    if (hCache == nullptr) return VYRCACHE_FAILURE;
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    const auto it = r.handles.find(idOf(hCache));
    if (it == r.handles.end() || nIndex < 1 || nIndex > it->second.cache->indexCount()) return VYRCACHE_FAILURE;
    it->second.currentIndex = nIndex;
    return VYRCACHE_SUCCESS;
  });
}

VYR_EXTERN_C ID vyrCacheAdd(HCACHE hCache, const void *lpRecord, size_t nRecordSize) {
  return guarded([&]() -> ID {
    if (lpRecord == nullptr || nRecordSize == 0) return VYRCACHE_FAILURE;
    const auto resolved = unlessFaulted(resolveHandle(hCache), "vyrCacheAdd");
    return underCacheLock(resolved, [&](Cache &cache, int) {
      return addRecord(cache, static_cast<const unsigned char *>(lpRecord), nRecordSize);
    });
  });
}

VYR_EXTERN_C ID vyrCacheFetch(HCACHE hCache, const void *lpKey, int nKeys, void *lpRecord, size_t nRecordSize) {
  return guarded([&]() -> ID {
    if (lpKey == nullptr || lpRecord == nullptr) return VYRCACHE_FAILURE;
    const auto resolved = unlessFaulted(resolveHandle(hCache), "vyrCacheFetch");
    return underCacheLock(resolved, [&](Cache &cache, int index) -> ID {
      if (nKeys < 1 || nKeys > cache.segmentCount(index)) return VYRCACHE_FAILURE;
      if (const ID sized = checkRecordSize(cache, nRecordSize); sized != VYRCACHE_SUCCESS) return sized;
      IndexSet &set = cache.indexes[index - 1];
      const auto it = findFirst(set, static_cast<const unsigned char *>(lpKey), nKeys);
      if (it == set.end()) return VYRCACHE_NOT_FOUND;
      copyOut(**it, lpRecord);
      return VYRCACHE_SUCCESS;
    });
  });
}

VYR_EXTERN_C ID vyrCacheUpdate(HCACHE hCache, const void *lpRecord, size_t nRecordSize) {
  return guarded([&]() -> ID {
    if (lpRecord == nullptr || nRecordSize == 0) return VYRCACHE_FAILURE;
    const auto resolved = unlessFaulted(resolveHandle(hCache), "vyrCacheUpdate");
    return underCacheLock(resolved, [&](Cache &cache, int index) -> ID {
      if (const ID sized = checkRecordSize(cache, nRecordSize); sized != VYRCACHE_SUCCESS) return sized;
      return updateRecord(cache, index, static_cast<const unsigned char *>(lpRecord));
    });
  });
}

VYR_EXTERN_C ID vyrCacheDeleteAll(HCACHE hCache) {
  return guarded([&]() -> ID {
    return underCacheLock(resolveHandle(hCache), [](Cache &cache, int) -> ID {
      for (IndexSet &set : cache.indexes) set.clear();
      cache.records.clear();
      return VYRCACHE_SUCCESS;
    });
  });
}

VYR_EXTERN_C int vyrCacheGetNumRecords(HCACHE hCache) {
  int count = 0;
  guarded([&]() -> ID {
    return underCacheLock(resolveHandle(hCache), [&](Cache &cache, int) -> ID {
      count = static_cast<int>(std::min<size_t>(cache.records.size(), INT32_MAX));
      return VYRCACHE_SUCCESS;
    });
  });
  return count;
}

VYR_EXTERN_C ID vyrCacheOpenCursorX(HCACHE hCache, HCUR *lphCursor, const char *szSource, int nLine) {
  return guarded([&]() -> ID {
    if (lphCursor == nullptr) return VYRCACHE_FAILURE;
    *lphCursor = nullptr;
    const auto resolved = unlessFaulted(resolveHandle(hCache), "vyrCacheOpenCursorX");
    const uint64_t id = nextHandleId++;
    // The position first, then the registry entry: a handle terminated in
    // between takes the new position away again below.
    const ID placed = underCacheLock(resolved, [&](Cache &cache, int) -> ID {
      CursorState state;
      state.openedBy = std::string(szSource != nullptr ? szSource : "?") + ":" + std::to_string(nLine);
      cache.cursors.emplace(id, std::move(state));
      return VYRCACHE_SUCCESS;
    });
    if (placed != VYRCACHE_SUCCESS) return placed;
    bool registered = false;
    try {
      Registry &r = registry();
      std::lock_guard lock(r.mutex);
      const auto handle = r.handles.find(idOf(hCache));
      if (handle != r.handles.end() && handle->second.cache == resolved->cache) {
        handle->second.cursors.push_back(id);
        try {
          r.cursors.emplace(id, CursorEntry{idOf(hCache), resolved->cache});
        } catch (...) {
          handle->second.cursors.pop_back();
          throw;
        }
        registered = true;
      }
    } catch (...) {
    }
    if (!registered) {
      forgetCursors(*resolved->cache, {id});
      return VYRCACHE_FAILURE;
    }
    *lphCursor = handleOf<HCUR>(id);
    return VYRCACHE_SUCCESS;
  });
}

VYR_EXTERN_C ID vyrCacheFetchPosition(HCACHE hCache, HCUR hCursor, const void *lpKey, int nKeys, void *lpRecord,
                                      size_t nRecordSize) {
  return guarded([&]() -> ID {
    if (lpRecord == nullptr || nKeys < 0) return VYRCACHE_FAILURE;
    const auto resolved = unlessFaulted(resolveCursor(hCache, hCursor), "vyrCacheFetchPosition");
    return underCacheLock(resolved, [&](Cache &cache, int index) -> ID {
      CursorState *state = stateOf(cache, hCursor);
      if (state == nullptr || nKeys > cache.segmentCount(index)) return VYRCACHE_FAILURE;
      if (const ID sized = checkRecordSize(cache, nRecordSize); sized != VYRCACHE_SUCCESS) return sized;
      return fetchAtCursor(cache, index, *state, static_cast<const unsigned char *>(lpKey), nKeys, lpRecord);
    });
  });
}

VYR_EXTERN_C ID vyrCacheDelete(HCACHE hCache, HCUR hCursor) {
  return guarded([&]() -> ID {
    const auto resolved = unlessFaulted(resolveCursor(hCache, hCursor), "vyrCacheDelete");
    return underCacheLock(resolved, [&](Cache &cache, int) -> ID {
      const CursorState *state = stateOf(cache, hCursor);
      return state ? deleteAtCursor(cache, *state) : VYRCACHE_FAILURE;
    });
  });
}

VYR_EXTERN_C ID vyrCacheResetCursor(HCACHE hCache, HCUR hCursor) {
  return guarded([&]() -> ID {
    return underCacheLock(resolveCursor(hCache, hCursor), [&](Cache &cache, int) -> ID {
      CursorState *state = stateOf(cache, hCursor);
      if (state == nullptr) return VYRCACHE_FAILURE;
      state->positioned = false;
      return VYRCACHE_SUCCESS;
    });
  });
}

VYR_EXTERN_C ID vyrCacheCloseCursor(HCACHE hCache, HCUR hCursor) {
  return guarded([&]() -> ID {
    if (hCache == nullptr || hCursor == nullptr) return VYRCACHE_FAILURE;
    std::shared_ptr<Cache> cache;
    {
      Registry &r = registry();
      std::lock_guard lock(r.mutex);
      const auto cursor = r.cursors.find(idOf(hCursor));
      if (cursor == r.cursors.end() || cursor->second.handle != idOf(hCache)) return VYRCACHE_FAILURE;
      cache = std::move(cursor->second.cache);
      r.cursors.erase(cursor);
      if (const auto handle = r.handles.find(idOf(hCache)); handle != r.handles.end())
        std::erase(handle->second.cursors, idOf(hCursor));
    }
    forgetCursors(*cache, {idOf(hCursor)});
    return VYRCACHE_SUCCESS;
  });
}

VYR_EXTERN_C ID vyrCacheTerminate(HUSER, HCACHE hCache) {
  return guarded([&]() -> ID {
    if (hCache == nullptr) return VYRCACHE_FAILURE;
    HandleEntry entry;
    {
      Registry &r = registry();
      std::lock_guard lock(r.mutex);
      const auto handle = r.handles.find(idOf(hCache));
      if (handle == r.handles.end()) return VYRCACHE_FAILURE;
      entry = std::move(handle->second);
      r.handles.erase(handle);
      for (const uint64_t cursor : entry.cursors) r.cursors.erase(cursor);
    }
    forgetCursors(*entry.cache, entry.cursors);
    return VYRCACHE_SUCCESS;
  });
}

VYR_EXTERN_C ID vyrCacheTerminateAll(HUSER, HCACHE hCache) {
  return guarded([&]() -> ID {
    const auto resolved = unlessFaulted(resolveHandle(hCache), "vyrCacheTerminateAll");
    if (!resolved) return VYRCACHE_FAILURE;
    const std::shared_ptr<Cache> &cache = resolved->cache;
    {
      Registry &r = registry();
      std::lock_guard lock(r.mutex);
      if (r.handles.find(idOf(hCache)) == r.handles.end()) return VYRCACHE_FAILURE;  // ended meanwhile
      if (const auto named = r.byName.find(cache->name); named != r.byName.end() && named->second == cache)
        r.byName.erase(named);
      std::erase_if(r.handles, [&](const auto &h) { return h.second.cache == cache; });
      std::erase_if(r.cursors, [&](const auto &c) { return c.second.cache == cache; });
    }
    // Freed outside the lock; operations already past the registry see `ended`.
    std::unordered_map<uint64_t, std::unique_ptr<Record>> dropped;
    {
      std::lock_guard lock(cache->mutex);
      cache->ended = true;
      for (IndexSet &set : cache->indexes) set.clear();
      cache->cursors.clear();
      dropped.swap(cache->records);
    }
    return VYRCACHE_SUCCESS;
  });
}
