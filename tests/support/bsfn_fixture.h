// Shared by the tests of the business functions: both libraries' catalogues
// registered, databases of the test's own (MAIN, the contexts' default, and
// SECOND), contexts on them, calls by name, and readers of values and errors.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "db/host.h"
#include "frame/bsfn.h"
#include "runtime/context.h"
#include "unicode/jchar_utf8.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace bsfntest {

using Strings = std::vector<std::string>;
using Settings = std::map<std::string, std::string>;
using vyr::toUtf8;

inline MATH_NUMERIC math(const char16_t *text) {
  MATH_NUMERIC value{};
  EXPECT_EQ(ParseNumericString(&value, text), ER_SUCCESS) << toUtf8(text);
  return value;
}

inline std::string iso(const VYRDATE &d) {
  char out[32];
  std::snprintf(out, sizeof out, "%04d-%02d-%02d", d.nYear, d.nMonth, d.nDay);
  return out;
}

// As FormatMathNumeric writes it: every decimal the value carries, no grouping.
inline std::u16string text(const MATH_NUMERIC &value) {
  JCHAR out[VYR_MATH_TEXT_SIZE] = {};
  FormatMathNumeric(out, &value);
  return out;
}

// A string member up to its terminator (or its width), trailing blanks dropped.
template <size_t N>
std::u16string text(const JCHAR (&member)[N]) {
  size_t n = 0;
  while (n < N && member[n] != 0) ++n;
  while (n > 0 && member[n - 1] == u' ') --n;
  return std::u16string(member, n);
}

class BsfnTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
      size_t count = 0;
      const BSFN_CATALOG_ENTRY *entries = catalog(&count);
      vyr::registerCatalog(entries, count);
    }
  }

  void SetUp() override {
    dir_ = (std::filesystem::temp_directory_path() / "bsfntestXXXXXX").string();
    ASSERT_NE(mkdtemp(dir_.data()), nullptr);
    std::string error;
    for (const char *database : {"/main.db", "/second.db"})
      ASSERT_TRUE(vyr::db::initDatabase(dir_ + database, &error)) << error;
    context_ = newContext();
  }

  void TearDown() override {
    for (LPBHVRCOM context : contexts_) vyr::freeContext(context);
    contexts_.clear();
    vyr::db::closeUnusedEnvironments();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // A context on the test's databases with these settings (over defaults_), freed at tear-down.
  LPBHVRCOM newContext(Settings settings = {}) {
    settings.insert(defaults_.begin(), defaults_.end());
    settings.emplace("env", "MAIN");
    settings.emplace("env.MAIN", dir_ + "/main.db");
    settings.emplace("env.SECOND", dir_ + "/second.db");
    std::string error;
    LPBHVRCOM context = vyr::createContext(settings, &error);
    EXPECT_NE(context, nullptr) << error;
    if (context != nullptr) contexts_.push_back(context);
    return context;
  }

  // Runs a business function by name as the platform does, on a clean error
  // list (context_ by default); handlesLeft_ counts the handles it left open.
  ID call(const char *function, void *ds, LPBHVRCOM context = nullptr) {
    if (context == nullptr) context = context_;
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
    EXPECT_NE(entry, nullptr) << function << " is not registered";
    if (entry == nullptr) return 99;
    vyr::db::contextEnvironment(context, nullptr);  // opened now: not one of the call's handles
    context->errors.clear();
    const size_t held = context->resources.size();
    const ID code = vyr::callFunction(context, *entry, ds);
    handlesLeft_ = context->resources.size() - held;
    return code;
  }

  // The errors on the context, each as "id text@item".
  Strings errors(LPBHVRCOM context = nullptr) const {
    Strings out;
    for (const vyr::ErrorRecord &e : (context ? context : context_)->errors)
      out.push_back(toUtf8(e.id + u" " + e.text) + "@" + std::to_string(e.item));
    return out;
  }

  // Inserts a row of the listed columns (none: every column, in catalogue order).
  void insert(const char16_t *table, const void *row, const std::vector<const char16_t *> &columns = {}) {
    std::unique_ptr<NID[]> names(new NID[columns.size() + 1]());
    for (size_t i = 0; i < columns.size(); ++i) vyrStrcpyFillAndTerminate(names[i], columns[i], 11, 0);
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    ASSERT_EQ(VDB_OpenTable(user, table, 1, nullptr, 0, nullptr, &request), 1u);
    EXPECT_EQ(columns.empty() ? VDB_InsertTable(request, row)
                              : VDB_InsertTableCols(request, names.get(), ID(columns.size()), row),
              1u);
    VDB_FreeBhvr(user);
  }

  std::string dir_;
  Settings defaults_;  // settings every context of a test gets
  LPBHVRCOM context_ = nullptr;
  std::vector<LPBHVRCOM> contexts_;
  size_t handlesLeft_ = 0;
};

}  // namespace bsfntest
