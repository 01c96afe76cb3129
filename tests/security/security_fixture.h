// Shared helpers of the password-policy tests: a database of its own per test,
// contexts on it, the catalogues registered, and builders for policy records.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "db/host.h"
#include "frame/companions.h"
#include "runtime/context.h"
#include "security/B9500929.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace sectest {

inline MATH_NUMERIC math(const char16_t *text) {
  MATH_NUMERIC value{};
  EXPECT_EQ(ParseNumericString(&value, text), ER_SUCCESS);
  return value;
}

// Limits in record order: length, digits, letters, consecutive, special.
inline PasswordPolicy policy(const char16_t *length, const char16_t *digits, const char16_t *letters,
                             const char16_t *consecutive, const char16_t *special) {
  return PasswordPolicy{math(length), math(digits), math(letters), math(consecutive), math(special)};
}

// A string member or column without its terminator and trailing blanks.
template <size_t N>
std::u16string text(const JCHAR (&field)[N]) {
  size_t n = 0;
  while (n < N && field[n] != 0) ++n;
  while (n > 0 && field[n - 1] == u' ') --n;
  return std::u16string(field, n);
}

// Opens and frees one behaviour handle so that the context's database is open
// (it stays registered with the context); returns the resources held then.
inline size_t settle(LPBHVRCOM context) {
  HUSER user = nullptr;
  if (VDB_InitBhvr(context, &user, nullptr, 0) == 1) VDB_FreeBhvr(user);
  return context->resources.size();
}

class PolicyTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
      size_t count = 0;
      const BSFN_CATALOG_ENTRY *entries = catalog(&count);
      vyr::registerCatalog(entries, count);
    }
  }

  void SetUp() override {
    const std::string base = (std::filesystem::temp_directory_path() / "pwpolicyXXXXXX").string();
    std::vector<char> name(base.begin(), base.end());
    name.push_back('\0');
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    dir_ = name.data();
    context_ = newContext();
  }

  void TearDown() override {
    for (LPBHVRCOM c : contexts_) vyr::freeContext(c);
    vyr::db::closeUnusedEnvironments();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  // A context on this test's database, freed at tear-down.
  LPBHVRCOM newContext(std::map<std::string, std::string> settings = {}) {
    settings.emplace("env", "PWTEST");
    settings.emplace("env.PWTEST", dir_ + "/policy.db");
    std::string error;
    LPBHVRCOM context = vyr::createContext(settings, &error);
    EXPECT_NE(context, nullptr) << error;
    contexts_.push_back(context);
    return context;
  }

  // Runs a business function by name the way the platform does.
  static ID call(LPBHVRCOM context, const char *function, void *ds) {
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
    EXPECT_NE(entry, nullptr) << function << " is not registered";
    return entry == nullptr ? ER_ERROR : vyr::callFunction(context, *entry, ds);
  }

  static ID validate(LPBHVRCOM context, const std::u16string &password, DSD9500929B *ds) {
    *ds = DSD9500929B{};
    vyrStrcpyFillAndTerminate(ds->szPassword, password.c_str(), B9500929_PASSWORD_LENGTH + 1, 0);
    return call(context, "ValidatePasswordPolicyFromF98QXSEC", ds);
  }

  std::string dir_;
  LPBHVRCOM context_ = nullptr;
  std::vector<LPBHVRCOM> contexts_;
};

}  // namespace sectest
