// A fresh database and context per test, rows put into it, and the errors a
// call left on the context.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "db/host.h"
#include "frame/bsfn.h"
#include "runtime/context.h"

namespace datestest {

using Errors = std::vector<std::pair<std::u16string, std::u16string>>;  // id, substitution text

inline MATH_NUMERIC number(const char16_t *text) {
  MATH_NUMERIC m{};
  ParseNumericString(&m, text);
  return m;
}

inline std::u16string text(const MATH_NUMERIC &m) {
  JCHAR out[VYR_MATH_TEXT_SIZE];
  FormatMathNumeric(out, &m);
  return out;
}

class DatesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = (std::filesystem::temp_directory_path() / "datestestXXXXXX").string();
    ASSERT_NE(mkdtemp(dir_.data()), nullptr);
    std::string error;
    context_ = vyr::createContext({{"env", "TEST"}, {"env.TEST", dir_ + "/test.db"}}, &error);
    ASSERT_NE(context_, nullptr) << error;
    // Opened now, so that a call's own handles are all the context gains.
    ASSERT_NE(vyr::db::contextEnvironment(context_, &error), nullptr) << error;
  }

  void TearDown() override {
    vyr::freeContext(context_);
    vyr::db::closeUnusedEnvironments();
    std::filesystem::remove_all(dir_);
  }

  // Inserts a row record of all the table's columns, in catalogue order.
  template <typename Row>
  void insert(const char16_t *table, const Row &row) {
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    ASSERT_EQ(VDB_OpenTable(user, table, 1, nullptr, 0, nullptr, &request), 1u);
    EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
    VDB_FreeBhvr(user);
  }

  // Runs fn from a clean error list with the "fail" setting given; checks that it released its handles.
  ID call(LPBSFN fn, void *ds, const std::string &fail = "", const std::string &centuryChange = "50") {
    EXPECT_TRUE(vyr::setSetting(context_, "fail", fail, nullptr));
    EXPECT_TRUE(vyr::setSetting(context_, "CENTCHG", centuryChange, nullptr));
    context_->errors.clear();
    const size_t resources = context_->resources.size();
    const ID code = fn(context_, vyr::userEnvironment(context_), ds);
    EXPECT_EQ(context_->resources.size(), resources) << "a handle was left open";
    return code;
  }

  Errors errors() const {
    Errors out;
    for (const vyr::ErrorRecord &e : context_->errors) out.emplace_back(e.id, e.text);
    return out;
  }

  std::string dir_;
  LPBHVRCOM context_ = nullptr;
};

}  // namespace datestest
