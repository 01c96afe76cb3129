// Shared set-up of the environment tests: two databases (MAIN, the context's
// own, and SECOND), the test tax plug-in, the business functions by name, and
// readers for the process-wide caches they leave behind.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "db/host.h"
#include "C0900001.h"
#include "C7300001.h"
#include "X0901.h"
#include "frame/B0000182.h"
#include "runtime/context.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace envtest {

inline const std::string kPlugin = std::string(FAMOFLAS_BINARY_DIR) + "/tests/fixtures/libtaxplugin.so";

inline void registerLibraries() {
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
}

// The test's own reference to the plug-in: the same instance the functions
// load, so what it recorded can be read back.
struct PlugIn {
  void *library = nullptr;
  const char *(*calls)() = nullptr;
  void (*reset)(int, int) = nullptr;
  PlugIn() {
    library = dlopen(kPlugin.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return;
    calls = reinterpret_cast<const char *(*)()>(dlsym(library, "TaxFixtureCalls"));
    reset = reinterpret_cast<void (*)(int, int)>(dlsym(library, "TaxFixtureReset"));
  }
  ~PlugIn() {
    if (library) dlclose(library);
  }
};

inline PlugIn &plugIn() {
  static PlugIn instance;
  return instance;
}

// Records in a cache, read without changing it (0 when it does not exist).
inline int recordsIn(const char16_t *cache) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  HCACHE handle = nullptr;
  if (vyrCacheInit(nullptr, &handle, cache, &index) != VYRCACHE_SUCCESS) return -1;
  const int count = vyrCacheGetNumRecords(handle);
  vyrCacheTerminate(nullptr, handle);
  return count;
}

// A cache holding n records of two JCHAR keys each; returns a handle to it.
inline HCACHE fillCache(const char16_t *cache, int n) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  HCACHE handle = nullptr;
  EXPECT_EQ(vyrCacheInit(nullptr, &handle, cache, &index), VYRCACHE_SUCCESS);
  for (int i = 0; i < n; ++i) {
    const JCHAR record[2] = {static_cast<JCHAR>(u'a' + i), 0};
    EXPECT_EQ(vyrCacheAdd(handle, record, sizeof record), VYRCACHE_SUCCESS);
  }
  return handle;
}

inline void endCache(const char16_t *cache) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  HCACHE handle = nullptr;
  if (vyrCacheInit(nullptr, &handle, cache, &index) == VYRCACHE_SUCCESS) vyrCacheTerminateAll(nullptr, handle);
}

#pragma pack(push, 1)
struct F7306Row {
  JCHAR szControlKey[6];
  JCHAR cInterfaceFlag;
  JCHAR szVendor[11];
  JCHAR szUser[11];
  VYRDATE jdUpdated;
};
#pragma pack(pop)

class EnvTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { registerLibraries(); }

  void SetUp() override {
    ASSERT_NE(plugIn().calls, nullptr) << "test plug-in not found at " << kPlugin;
    plugIn().reset(0, 0);
    char pattern[] = "/tmp/envfnXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    context_ = newContext({});
  }

  void TearDown() override {
    // Whatever a test left running is ended, so the next one starts clean.
    if (recordsIn(B0000182_GEOCODE_CACHE) > 0 || recordsIn(B0000182_SALESTAX_CACHE) > 0) {
      vyr::setSetting(context_, "fail", "", nullptr);
      call("vyrFreeEnvBSFN", nullptr);
    }
    for (const char16_t *cache : {C7300001_LOOKUP_CACHE, X0901_ACCOUNTS_BY_ID_CACHE, X0901_ACCOUNTS_BY_NUMBER_CACHE,
                                  C0900001_RANGE_CACHE})
      endCache(cache);
    for (LPBHVRCOM c : contexts_) vyr::freeContext(c);
    contexts_.clear();
    vyr::db::closeUnusedEnvironments();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // A fresh start within one test: new databases and a new context.
  void restart() {
    TearDown();
    SetUp();
  }

  LPBHVRCOM newContext(std::map<std::string, std::string> settings) {
    settings.emplace("env", "MAIN");
    settings.emplace("env.MAIN", dir_ + "/main.db");
    settings.emplace("env.SECOND", dir_ + "/second.db");
    settings.emplace("taxplugin", kPlugin);
    std::string error;
    LPBHVRCOM context = vyr::createContext(settings, &error);
    EXPECT_NE(context, nullptr) << error;
    contexts_.push_back(context);
    return context;
  }

  ID call(const char *name, void *ds, LPBHVRCOM context = nullptr) {
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(name));
    EXPECT_NE(entry, nullptr) << name;
    return entry ? vyr::callFunction(context ? context : context_, *entry, ds) : ER_ERROR;
  }

  void fail(const std::string &operations) { ASSERT_TRUE(vyr::setSetting(context_, "fail", operations, nullptr)); }

  // Each error as "id text@item".
  std::vector<std::string> errors(LPBHVRCOM context = nullptr) {
    std::vector<std::string> out;
    for (const vyr::ErrorRecord &e : (context ? context : context_)->errors) {
      std::string text;
      for (char16_t c : e.id + u" " + e.text) text += static_cast<char>(c);
      out.push_back(text + "@" + std::to_string(e.item));
    }
    return out;
  }

  void putControlRecord(JCHAR flag, const char16_t *key = B0000182_F7306_CONTROL_KEY) {
    F7306Row row{};
    vyrStrcpyFillAndTerminate(row.szControlKey, key, 6, 0);
    row.cInterfaceFlag = flag;
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    ASSERT_EQ(VDB_OpenTable(user, u"F7306", 1, nullptr, 0, nullptr, &request), 1u);
    EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
    VDB_CloseTable(request);
    VDB_FreeBhvr(user);
  }

  std::string calls() const { return plugIn().calls(); }

  std::string dir_;
  LPBHVRCOM context_ = nullptr;
  std::vector<LPBHVRCOM> contexts_;
};

}  // namespace envtest
