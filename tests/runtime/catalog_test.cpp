// The registry of business functions: look-ups by either kind of name,
// replacement, templates, loading libraries, and concurrent readers.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "runtime/context.h"
#include "types/dsdesc.h"

namespace {

#define DSCATALOGTEST_MEMBERS(M, S) \
  M(S, STRING, szKey, 4)            \
  M(S, INT, nValue, 0)
FAMOFLAS_DS(DSCATALOGTEST, DSCATALOGTEST_MEMBERS)

ID First(LPBHVRCOM, LPVOID, LPVOID) { return 1; }
ID Second(LPBHVRCOM, LPVOID, LPVOID) { return 2; }

TEST(Catalogue, LooksUpByUtf8OrJcharNameAndReplacesByName) {
  const BSFN_CATALOG_ENTRY entries[] = {{"CatZeta", First, nullptr, "CAT1"},
                                        {"CatAlpha", First, &DSCATALOGTEST_template, "CAT1"},
                                        {nullptr, First, nullptr, "BROKEN"},
                                        {"CatNoEntry", nullptr, nullptr, "BROKEN"}};
  vyr::registerCatalog(entries, std::size(entries));
  {
    std::string temporary = "CatAlpha";
    vyr::registerFunction({temporary.c_str(), Second, &DSCATALOGTEST_template, "CAT2"});
    temporary = "garbage!";  // the registry keeps its own copy of the name
  }
  const BSFN_CATALOG_ENTRY *alpha = vyr::findFunction(std::string_view("CatAlpha"));
  ASSERT_NE(alpha, nullptr);
  EXPECT_TRUE(alpha->lpfnEntry == Second && std::string(alpha->szSource) == "CAT2") << "the later one replaces";
  EXPECT_EQ(vyr::findFunction(std::u16string_view(u"CatAlpha")), alpha);
  for (const char *missing : {"CatAlph", "catalpha", "CatNoEntry"})  // case counts; no entry point, no entry
    EXPECT_EQ(vyr::findFunction(std::string_view(missing)), nullptr) << missing;

  const auto all = vyr::allFunctions();
  EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](auto *a, auto *b) {
    return std::string_view(a->szFunction) < std::string_view(b->szFunction);
  }));
  EXPECT_EQ(
      std::count_if(all.begin(), all.end(), [](auto *e) { return std::string_view(e->szFunction) == "CatAlpha"; }), 1);

  const DSTMPL *found = nullptr;
  EXPECT_EQ(VDBRS_GetDSTMPLSpecs(nullptr, u"DSCATALOGTEST  ", &found), 1);
  EXPECT_EQ(found, &DSCATALOGTEST_template);
  EXPECT_EQ(VDBRS_GetDSTMPLSpecs(nullptr, u"DSNOSUCH", &found) + VDBRS_GetDSTMPLSpecs(nullptr, nullptr, &found) +
                VDBRS_GetDSTMPLSpecs(nullptr, u"DSCATALOGTEST", nullptr),
            0);
  EXPECT_EQ(found, nullptr);
}

TEST(Catalogue, LoadingReportsMissingLibrariesAndSymbols) {
  std::string error;
  EXPECT_FALSE(vyr::loadLibrary("/nonexistent/libnothing.so", "famoflasCatalog", &error));
  EXPECT_NE(error.find("/nonexistent/libnothing.so"), std::string::npos) << error;
  const std::string platform = std::string(FAMOFLAS_BINARY_DIR) + "/lib/libvyrplatform.so";
  EXPECT_FALSE(vyr::loadLibrary(platform, "noSuchCatalog", &error));
  EXPECT_NE(error.find("noSuchCatalog"), std::string::npos) << error;
  EXPECT_FALSE(vyr::loadLibrary(platform, nullptr, &error));
}

TEST(Catalogue, ReadersRunWhileFunctionsAreRegistered) {
  std::atomic<bool> done{false};
  std::atomic<int> misses{0};
  vyr::registerFunction({"CatStable", First, nullptr, "CAT3"});
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t)
    readers.emplace_back([&] {
      while (!done) {
        const BSFN_CATALOG_ENTRY *e = vyr::findFunction(std::string_view("CatStable"));
        if (e == nullptr || e->lpfnEntry != First) ++misses;
        (void)vyr::allFunctions();
      }
    });
  std::vector<std::string> names;
  for (int i = 0; i < 300; ++i) names.push_back("CatMany" + std::to_string(i));
  for (const std::string &name : names) vyr::registerFunction({name.c_str(), Second, nullptr, "CAT3"});
  done = true;
  for (auto &t : readers) t.join();
  EXPECT_EQ(misses, 0);
  EXPECT_NE(vyr::findFunction(std::string_view("CatMany299")), nullptr);
}

}  // namespace
