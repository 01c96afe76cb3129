// Shared set-up of the environment tests: two databases (MAIN, the context's
// own, and SECOND), the test tax plug-in, and readers of the process-wide
// caches the functions leave behind.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "C0900001.h"
#include "C7300001.h"
#include "X0901.h"
#include "db/host.h"
#include "frame/B0000182.h"
#include "runtime/context.h"
#include "unicode/jchar_utf8.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace envtest {

inline const std::string kPlugin = std::string(FAMOFLAS_BINARY_DIR) + "/tests/fixtures/libtaxplugin.so";
inline const char16_t *const kJobCaches[] = {C7300001_LOOKUP_CACHE, X0901_ACCOUNTS_BY_ID_CACHE,
                                             X0901_ACCOUNTS_BY_NUMBER_CACHE, C0900001_RANGE_CACHE};

// The test's own reference to the plug-in: the instance the functions load.
struct PlugIn {
  void *library = dlopen(kPlugin.c_str(), RTLD_NOW | RTLD_LOCAL);
  const char *(*calls)() = library ? (const char *(*)())dlsym(library, "TaxFixtureCalls") : nullptr;
  void (*reset)(int, int) = library ? (void (*)(int, int))dlsym(library, "TaxFixtureReset") : nullptr;
};
inline PlugIn &plugIn() {
  static PlugIn instance;
  return instance;
}

// Opens a cache by name with n records added (n < 0: ends it instead); returns
// its record count afterwards, -1 when it could not be opened.
inline int cache(const char16_t *name, int n = 0, HCACHE *keep = nullptr) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  HCACHE handle = nullptr;
  if (vyrCacheInit(nullptr, &handle, name, &index) != VYRCACHE_SUCCESS) return -1;
  for (int i = 0; i < n; ++i) {
    const JCHAR record[2] = {static_cast<JCHAR>(u'a' + i), 0};
    EXPECT_EQ(vyrCacheAdd(handle, record, sizeof record), VYRCACHE_SUCCESS);
  }
  const int count = vyrCacheGetNumRecords(handle);
  if (keep != nullptr) {
    *keep = handle;
  } else if (n < 0) {
    vyrCacheTerminateAll(nullptr, handle);
  } else {
    vyrCacheTerminate(nullptr, handle);
  }
  return count;
}

#pragma pack(push, 1)
struct F7306Row {
  JCHAR szControlKey[6], cInterfaceFlag, szVendor[11], szUser[11];
  VYRDATE jdUpdated;
};
#pragma pack(pop)

class EnvTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
      size_t count = 0;
      const BSFN_CATALOG_ENTRY *entries = catalog(&count);
      vyr::registerCatalog(entries, count);
    }
    ASSERT_NE(plugIn().reset, nullptr) << "no test plug-in at " << kPlugin;
    plugIn().reset(0, 0);
    char pattern[] = "/tmp/envfnXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    context_ = newContext({});
  }

  void TearDown() override {
    // Whatever a test left running is ended, so the next one starts clean.
    if (cache(B0000182_GEOCODE_CACHE) > 0 || cache(B0000182_SALESTAX_CACHE) > 0)
      call("vyrFreeEnvBSFN", nullptr, newContext({}));
    for (const char16_t *name : kJobCaches) cache(name, -1);
    for (LPBHVRCOM c : contexts_) vyr::freeContext(c);
    contexts_.clear();
    vyr::db::closeUnusedEnvironments();
    std::filesystem::remove_all(dir_);
  }

  void restart() {
    TearDown();
    SetUp();
  }

  LPBHVRCOM newContext(std::map<std::string, std::string> settings) {
    settings.emplace("env", "MAIN");
    settings.emplace("env.MAIN", dir_ + "/main.db");
    settings.emplace("env.SECOND", dir_ + "/second.db");
    settings.emplace("taxplugin", kPlugin);
    contexts_.push_back(vyr::createContext(settings));
    return contexts_.back();
  }

  ID call(const char *name, void *ds, LPBHVRCOM context = nullptr) {
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(name));
    return entry ? vyr::callFunction(context ? context : context_, *entry, ds) : 99;
  }

  // Each error as "id text@item".
  std::vector<std::string> errors(LPBHVRCOM context = nullptr) {
    std::vector<std::string> out;
    for (const vyr::ErrorRecord &e : (context ? context : context_)->errors)
      out.push_back(vyr::toUtf8(e.id + u" " + e.text) + "@" + std::to_string(e.item));
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
    VDB_FreeBhvr(user);
  }

  static std::string calls() { return plugIn().calls(); }

  std::string dir_;
  LPBHVRCOM context_ = nullptr;
  std::vector<LPBHVRCOM> contexts_;
};

}  // namespace envtest
