// Allocation that remembers who asked. Every live block is registered with
// the caller's source name, line and size, so what was never freed can be
// listed, and a pointer the allocator never handed out is refused rather
// than passed to free().
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/trace.h"
#include "vyrl.h"
#include "vyrunicode.h"

namespace {

struct Block {
  const std::string *file;  // interned, so a library unloaded later leaves no dangling name
  int line;
  size_t size;
};

struct Registry {
  std::mutex lock;
  std::unordered_map<void *, Block> blocks;
  std::set<std::string, std::less<>> files;
};

// Never destroyed: blocks may be freed from other libraries' static destructors.
Registry &registry() {
  static Registry *const instance = new Registry;
  return *instance;
}

const std::string *intern(Registry &r, const char *file) {
  const std::string_view name = file ? file : "?";
  auto found = r.files.find(name);
  if (found == r.files.end()) found = r.files.emplace(name).first;
  return &*found;
}

// Registers a fresh block; on failure (out of memory) the block is released
// and null returned, so no block ever escapes the registry.
void *track(void *block, size_t size, const char *file, int line) {
  if (!block) return nullptr;
  Registry &r = registry();
  try {
    std::lock_guard<std::mutex> guard(r.lock);
    r.blocks.emplace(block, Block{intern(r, file), line, size});
    return block;
  } catch (...) {
    std::free(block);
    return nullptr;
  }
}

void traceUnknown(const char *what, void *block, const char *file, int line) {
  if (!vyr::traceEnabled()) return;
  JCHAR text[512];
  JCHAR name[256];
  vyrToUnicode(name, file ? file : "?", sizeof name / sizeof *name);
  const int n =
      vyrSnprintf(text, sizeof text / sizeof *text, u"%s: block %p was not allocated here or is already freed (%ls:%d)",
                  what, block, name, line);
  if (n >= 0) vyr::writeTraceLine(text);
}

}  // namespace

VYR_EXPORT void *vyrMallocInternal(size_t nSize, const char *szFile, int nLine) {
  // A zero-size request still gets a block of its own, so it can be tracked and freed.
  return track(std::malloc(nSize ? nSize : 1), nSize, szFile, nLine);
}

VYR_EXPORT void *vyrCallocInternal(size_t nCount, size_t nSize, const char *szFile, int nLine) {
  const bool empty = nCount == 0 || nSize == 0;
  if (!empty && nCount > SIZE_MAX / nSize) return nullptr;
  return track(empty ? std::calloc(1, 1) : std::calloc(nCount, nSize), nCount * nSize, szFile, nLine);
}

// A null block allocates; size 0 frees and returns null. The registry lock is
// held across realloc so no other thread can be handed the new address before
// it is registered. On failure the old block stays valid and registered.
VYR_EXPORT void *vyrReallocInternal(void *lpBlock, size_t nSize, const char *szFile, int nLine) {
  if (!lpBlock) return vyrMallocInternal(nSize, szFile, nLine);
  if (nSize == 0) {
    vyrFreeInternal(lpBlock, szFile, nLine);
    return nullptr;
  }
  Registry &r = registry();
  {
    std::lock_guard<std::mutex> guard(r.lock);
    try {
      // Room for the moved entry first, so re-registering cannot fail after realloc.
      r.blocks.reserve(r.blocks.size() + 1);
      auto found = r.blocks.find(lpBlock);
      if (found != r.blocks.end()) {
        const std::string *file = intern(r, szFile);
        void *moved = std::realloc(lpBlock, nSize);
        if (!moved) return nullptr;
        auto node = r.blocks.extract(found);
        node.key() = moved;
        node.mapped() = Block{file, nLine, nSize};
        r.blocks.insert(std::move(node));
        return moved;
      }
    } catch (...) {
      return nullptr;
    }
  }
  traceUnknown("vyrRealloc", lpBlock, szFile, nLine);
  return nullptr;
}

VYR_EXPORT void vyrFreeInternal(void *lpBlock, const char *szFile, int nLine) {
  if (!lpBlock) return;
  Registry &r = registry();
  bool known;
  {
    std::lock_guard<std::mutex> guard(r.lock);
    known = r.blocks.erase(lpBlock) > 0;
  }
  if (known)
    std::free(lpBlock);
  else
    traceUnknown("vyrFree", lpBlock, szFile, nLine);
}

VYR_EXPORT size_t vyrMemoryOutstanding(void) {
  Registry &r = registry();
  std::lock_guard<std::mutex> guard(r.lock);
  return r.blocks.size();
}

// Lines come out ordered by source and line. They are written after the lock
// is released, so a trace sink may itself allocate.
VYR_EXPORT size_t vyrMemoryReport(void) {
  struct Live {
    const std::string *file;
    int line;
    size_t size;
    void *block;
  };
  std::vector<Live> live;
  Registry &r = registry();
  try {
    std::lock_guard<std::mutex> guard(r.lock);
    live.reserve(r.blocks.size());
    for (const auto &[block, info] : r.blocks) live.push_back({info.file, info.line, info.size, block});
  } catch (...) {
    return 0;
  }
  std::sort(live.begin(), live.end(), [](const Live &a, const Live &b) {
    return *a.file != *b.file ? *a.file < *b.file : a.line != b.line ? a.line < b.line : a.block < b.block;
  });
  for (const Live &block : live) {
    JCHAR name[256];
    vyrToUnicode(name, block.file->c_str(), sizeof name / sizeof *name);
    DebugTraceFn(u"Memory not freed: %ls:%d, %zu bytes at %p", name, block.line, block.size, block.block);
  }
  return live.size();
}

VYR_EXPORT int vyrMemoryManagementInit(void) {
  registry();
  return 1;
}
