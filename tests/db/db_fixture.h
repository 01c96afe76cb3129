// Shared helpers of the table-layer tests: a fresh database per test, a
// context pointing at it, and small builders for the record forms.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "db/host.h"
#include "runtime/context.h"
#include "vyrdb.h"

namespace dbtest {

// A MATH_NUMERIC from text such as "-12.345" (digits, optional sign and point).
inline MATH_NUMERIC number(const std::string &text) {
  MATH_NUMERIC m{};
  size_t i = 0;
  if (!text.empty() && text[0] == '-') m.Sign = '-', i = 1;
  short decimals = 0;
  bool point = false;
  size_t n = 0;
  for (; i < text.size(); ++i) {
    if (text[i] == '.') {
      point = true;
      continue;
    }
    m.String[n++] = text[i];
    if (point) ++decimals;
  }
  m.nLength = static_cast<unsigned char>(n);
  m.nDecimalPosition = decimals;
  return m;
}

// The text of a MATH_NUMERIC as number() reads it ("-12.345").
inline std::string text(const MATH_NUMERIC &m) {
  std::string digits(m.String, strnlen(m.String, sizeof m.String));
  const size_t d = static_cast<size_t>(m.nDecimalPosition);
  if (d > 0) {
    while (digits.size() <= d) digits.insert(digits.begin(), '0');
    digits.insert(digits.end() - static_cast<long>(d), '.');
  }
  return (m.Sign == '-' ? "-" : "") + digits;
}

template <size_t N>
void set(JCHAR (&field)[N], std::u16string_view value) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, value.data(), std::min(value.size(), N - 1) * sizeof(JCHAR));
}

template <size_t N>
std::u16string str(const JCHAR (&field)[N]) {
  size_t n = 0;
  while (n < N && field[n] != 0) ++n;
  return std::u16string(field, n);
}

inline void setName(NID &nid, std::u16string_view name) { set(nid, name); }

// True when some trace line of the context contains every fragment.
inline bool traced(LPBHVRCOM context, std::initializer_list<std::u16string_view> fragments) {
  for (const std::u16string &line : context->trace) {
    bool all = true;
    for (std::u16string_view f : fragments) all = all && line.find(f) != std::u16string::npos;
    if (all) return true;
  }
  return false;
}

// A database file of its own for each test, and a context whose environment is it.
class DbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string base = (std::filesystem::temp_directory_path() / "vdbtestXXXXXX").string();
    std::vector<char> name(base.begin(), base.end());
    name.push_back('\0');
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    dir_ = name.data();
    path_ = dir_ + "/test.db";
    context_ = newContext();
    ASSERT_EQ(VDB_InitBhvr(context_, &user_, nullptr, 0), 1u);
  }

  void TearDown() override {
    if (user_) VDB_FreeBhvr(user_);
    for (LPBHVRCOM c : extraContexts_) vyr::freeContext(c);
    vyr::freeContext(context_);
    vyr::db::closeUnusedEnvironments();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }

  LPBHVRCOM newContext(std::map<std::string, std::string> settings = {}) {
    settings.emplace("env", "TEST");
    settings.emplace("env.TEST", path_);
    std::string error;
    LPBHVRCOM context = vyr::createContext(settings, &error);
    EXPECT_NE(context, nullptr) << error;
    return context;
  }
  // A context freed at tear-down.
  LPBHVRCOM extraContext(std::map<std::string, std::string> settings = {}) {
    extraContexts_.push_back(newContext(std::move(settings)));
    return extraContexts_.back();
  }

  HREQUEST open(const char16_t *table, ID index = 1, std::vector<std::u16string> columns = {}) {
    std::vector<NID> list(columns.size());
    for (size_t i = 0; i < columns.size(); ++i) setName(list[i], columns[i]);
    HREQUEST request = nullptr;
    EXPECT_EQ(VDB_OpenTable(user_, table, index, columns.empty() ? nullptr : list.data(),
                            static_cast<ID>(columns.size()), nullptr, &request),
              1u);
    return request;
  }

  std::string dir_, path_;
  LPBHVRCOM context_ = nullptr;
  HUSER user_ = nullptr;
  std::vector<LPBHVRCOM> extraContexts_;
};

}  // namespace dbtest
