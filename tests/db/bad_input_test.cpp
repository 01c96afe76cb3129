// Bad input fails cleanly (VDB_FAILED, never "no row") with one trace line
// saying what was wrong and no database error; forced failures take every
// path; stale and foreign handles find nothing.
#include <algorithm>
#include <cstddef>

#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::Party;
using dbtest::party;
using dbtest::Rate;
using dbtest::rate;
using dbtest::set;
using dbtest::traced;

class BadInput : public dbtest::DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    parties_ = open(u"F0101", 1, kPartyColumns);
  }
  HREQUEST parties_ = nullptr;
};

TEST_P(BadInput, EachMistakeFailsWithATraceLineNamingIt) {
  Party row = party("1", u""), big = party("123456789", u""), noDate = party("5", u"", u"", {2023, 2, 29});
  const MATH_NUMERIC key = number("1");
  HREQUEST request = nullptr;
  NID columns[12], unknown[1], twice[2];
  for (NID &c : columns) set(c, u"CRCD");
  set(unknown[0], u"NOPE"), set(twice[0], u"AN8"), set(twice[1], u"AN8");
  SELECTSTRUCT entry = dbtest::entry(u"AN8", 6, &key), badOr = dbtest::entry(u"AN8", VDB_CMP_EQ, &key, 2),
               nullLess = dbtest::entry(u"AN8", VDB_CMP_LT, nullptr);
  SORTSTRUCT sort{};
  set(sort.szColumn, u"ALPH");
  sort.nDirection = 3;
  MATH_NUMERIC notANumber = number("12");
  notANumber.String[0] = '?';

  HUSER u = user_;
  HREQUEST r = parties_;
  const struct {
    std::function<ID()> call;
    std::u16string fragment;  // of the one trace line
  } cases[] = {
      {[&] { return VDB_OpenTable(u, u"F9999", 1, nullptr, 0, nullptr, &request); }, u"unknown table 'F9999'"},
      {[&] { return VDB_OpenTable(u, nullptr, 1, nullptr, 0, nullptr, &request); }, u"no table name"},
      {[&] { return VDB_OpenTable(u, u"F0101", 3, nullptr, 0, nullptr, &request); }, u"index 3 does not exist"},
      {[&] { return VDB_OpenTable(u, u"F0013", 1, columns, 12, nullptr, &request); }, u"12 columns listed"},
      {[&] { return VDB_OpenTable(u, u"F0101", 1, unknown, 1, nullptr, &request); }, u"unknown column 'NOPE'"},
      {[&] { return VDB_OpenTable(u, u"F0101", 1, twice, 2, nullptr, &request); }, u"listed twice"},
      {[&] { return VDB_OpenTable(u, u"F0101", 1, nullptr, 0, nullptr, nullptr); }, u"null lphRequest"},
      {[&] { return VDB_FetchKeyed(r, 1, &key, 2, &row, 0); }, u"2 key fields given"},
      {[&] { return VDB_SelectKeyed(r, 1, &key, -1); }, u"-1 key fields given"},
      {[&] { return VDB_FetchKeyed(r, 7, &key, 1, &row, 0); }, u"index 7 does not exist"},
      {[&] { return VDB_FetchKeyed(r, 1, &key, 1, nullptr, 0); }, u"no row buffer"},
      {[&] { return VDB_FetchKeyed(r, 1, &notANumber, 1, &row, 0); }, u"key field AN8"},
      {[&] { return VDB_Fetch(r, &row, 0); }, u"no scan started"},
      {[&] { return VDB_UpdateCurrent(r, &row); }, u"no current row"},
      {[&] { return VDB_InsertTable(r, nullptr); }, u"no row record"},
      {[&] { return VDB_DeleteTable(r, 1, nullptr, 1); }, u"no key record"},
      {[&] { return VDB_InsertTable(r, &big); }, u"does not fit its 8 digits"},
      {[&] { return VDB_InsertTable(r, &noDate); }, u"UPMJ holds no calendar date"},
      {[&] { return VDB_SetSelection(r, &entry, 1); }, u"comparison code 6"},
      {[&] { return VDB_SetSelection(r, &badOr, 1); }, u"connector 2"},
      {[&] { return VDB_SetSelection(r, &nullLess, 1); }, u"null value compares only"},
      {[&] { return VDB_SetSelection(r, nullptr, 2); }, u"no selection entries"},
      {[&] { return VDB_SetSequencing(r, &sort, 1); }, u"direction 3"},
  };
  for (const auto &c : cases) {
    context_->trace.clear();
    EXPECT_EQ(c.call(), VDB_FAILED) << testing::PrintToString(c.fragment);
    EXPECT_TRUE(context_->errors.empty()) << testing::PrintToString(c.fragment);
    ASSERT_EQ(context_->trace.size(), 1u) << testing::PrintToString(c.fragment);
    EXPECT_NE(context_->trace[0].find(c.fragment), std::u16string::npos) << testing::PrintToString(c.fragment);
  }
  EXPECT_EQ(request, nullptr);
  noDate.upmj = VYRDATE{2024, 2, 29};
  EXPECT_EQ(VDB_InsertTable(parties_, &noDate), 1u);
}

TEST_P(BadInput, ForcedFailuresTakeEveryPath) {
  Party row = party("1", u"");
  const MATH_NUMERIC key = number("1");
  HREQUEST opened = nullptr;
  ASSERT_EQ(VDB_InsertTable(parties_, &row), 1u);
  const struct {
    const char *fail;
    std::function<ID(HUSER, HREQUEST)> call;
  } cases[] = {
      {"VDB_OpenTable:F0101",
       [&](HUSER u, HREQUEST) { return VDB_OpenTable(u, u"F0101", 1, nullptr, 0, nullptr, &opened); }},
      {"VDB_FetchKeyed:F0101", [&](HUSER, HREQUEST r) { return VDB_FetchKeyed(r, 1, &key, 1, &row, 0); }},
      {"VDB_FetchKeyedForUpdate", [&](HUSER, HREQUEST r) { return VDB_FetchKeyedForUpdate(r, 1, &key, 1, &row, 0); }},
      {"VDB_SelectKeyed:F0101", [&](HUSER, HREQUEST r) { return VDB_SelectKeyed(r, 1, nullptr, 0); }},
      {"VDB_InsertTable:F0101", [&](HUSER, HREQUEST r) { return VDB_InsertTable(r, &row); }},
      {"VDB_UpdateTable:F0101", [&](HUSER, HREQUEST r) { return VDB_UpdateTable(r, 1, &key, 1, &row); }},
      {"VDB_DeleteTable:F0101", [&](HUSER, HREQUEST r) { return VDB_DeleteTable(r, 1, &key, 1); }},
      {"VDB_SetSelection", [&](HUSER, HREQUEST r) { return VDB_SetSelection(r, nullptr, 0); }},
      {"VDB_CommitUser", [&](HUSER u, HREQUEST) { return VDB_CommitUser(u); }},
  };
  for (const auto &c : cases) {
    LPBHVRCOM failing = extraContext({{"fail", c.fail}});
    HUSER user = nullptr;
    ASSERT_EQ(VDB_InitBhvr(failing, &user, nullptr, 0), 1u) << c.fail;
    HREQUEST request = nullptr;
    if (std::string_view(c.fail).rfind("VDB_OpenTable", 0) != 0) request = open(u"F0101", 1, {}, user);
    EXPECT_EQ(c.call(user, request), VDB_FAILED) << c.fail;
    EXPECT_TRUE(traced(failing, {u"forced"})) << c.fail;
    EXPECT_TRUE(failing->errors.empty()) << c.fail;
    VDB_FreeBhvr(user);
  }
  // A failure narrowed to one table leaves the others alone; InitBhvr fails as asked.
  LPBHVRCOM narrowed = extraContext({{"fail", "VDB_OpenTable:F0013,VDB_InitUser"}});
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(narrowed, &user, nullptr, 0), 1u);
  HREQUEST request = open(u"F0101", 1, {}, user);
  EXPECT_NE(VDB_OpenTable(user, u"F0013", 1, nullptr, 0, nullptr, &request), 1u);
  HUSER second = nullptr;
  EXPECT_NE(VDB_InitUser(narrowed, &second, nullptr, 1), 1u);
  EXPECT_EQ(second, nullptr);
  VDB_FreeBhvr(user);
  EXPECT_NE(VDB_InitBhvr(extraContext({{"fail", "VDB_InitBhvr"}}), &user, nullptr, 0), 1u);
  EXPECT_EQ(user, nullptr);
}

// A library built against another catalogue states its record sizes; a
// mismatch refuses the request before any record is read or written.
TEST_P(BadInput, RecordsStatedInAnotherLayoutAreRefusedBeforeUse) {
  Party stored = party("1", u"Ann");
  ASSERT_EQ(VDB_InsertTable(parties_, &stored), 1u);
  const MATH_NUMERIC key = number("1");
  EXPECT_EQ(VDB_CheckRecordSize(parties_, 0, sizeof(Party)), 1u);
  EXPECT_EQ(VDB_CheckRecordSize(parties_, 1, sizeof key), 1u);
  Party row{};
  EXPECT_EQ(VDB_FetchKeyed(parties_, 1, &key, 1, &row, 0), 1u);

  // F0015 index 3 (CRCD, CRDC, AN8, RTTYP, EFT): a key record of its first three fields.
  const HREQUEST rates = open(u"F0015", 3);
  const Rate three = rate(u"USD", u"EUR", "0", {2024, 1, 1}, "1");
  const size_t threeFields = offsetof(Rate, rttyp);
  EXPECT_EQ(VDB_CheckRecordSize(rates, 3, threeFields), 1u);
  context_->trace.clear();
  EXPECT_NE(VDB_SelectKeyed(rates, 3, &three, 4), 1u);
  EXPECT_TRUE(traced(context_, {u"the key record stated for index 3 holds 3"}));
  EXPECT_EQ(VDB_SelectKeyed(rates, 3, &three, 3), 1u);

  const struct {
    HREQUEST request;
    ID index;
    size_t size;
    std::u16string fragment;
  } mismatches[] = {
      {open(u"F0101", 1, kPartyColumns), 0, sizeof(Party) + sizeof(JCHAR), u"the catalogue lays out"},
      {open(u"F0101", 1, kPartyColumns), 0, sizeof(Party) - 1, u"the catalogue lays out"},
      {open(u"F0015", 3), 3, threeFields + sizeof(JCHAR), u"does not end at a key field of index 3"},
  };
  for (const auto &m : mismatches) {
    SCOPED_TRACE(testing::PrintToString(m.fragment));
    context_->trace.clear();
    EXPECT_NE(VDB_CheckRecordSize(m.request, m.index, m.size), 1u);
    EXPECT_TRUE(traced(context_, {m.fragment}));
    // Refused from now on: the buffer stays untouched, nothing is written.
    unsigned char buffer[1024];
    std::memset(buffer, 0xA5, sizeof buffer);
    EXPECT_NE(VDB_FetchKeyed(m.request, 0, nullptr, 0, buffer, 0), 1u);
    EXPECT_TRUE(std::all_of(std::begin(buffer), std::end(buffer), [](unsigned char b) { return b == 0xA5; }));
    EXPECT_NE(VDB_InsertTable(m.request, &stored), 1u);
    EXPECT_TRUE(traced(context_, {u"does not match the catalogue"}));
    EXPECT_EQ(VDB_CloseTable(m.request), 1u);
  }
  EXPECT_NE(VDB_CheckRecordSize(parties_, 5, sizeof key), 1u);
}

TEST_P(BadInput, StaleAndForeignHandlesFindNothing) {
  Party row{};
  const MATH_NUMERIC key = number("1");
  ASSERT_EQ(VDB_CloseTable(parties_), 1u);
  EXPECT_EQ(VDB_CloseTable(parties_), VDB_FAILED);
  EXPECT_EQ(VDB_FetchKeyed(parties_, 1, &key, 1, &row, 0), VDB_FAILED);
  int notAHandle = 42;
  EXPECT_NE(VDB_FetchKeyed(reinterpret_cast<HREQUEST>(&notAHandle), 1, &key, 1, &row, 0), 1u);
  EXPECT_NE(VDB_FreeBhvr(reinterpret_cast<HUSER>(&notAHandle)), 1u);
  EXPECT_NE(VDB_OpenTable(nullptr, u"F0101", 1, nullptr, 0, nullptr, &parties_), 1u);
  EXPECT_EQ(VDB_FreeBhvr(user_), 1u);
  EXPECT_NE(VDB_FreeBhvr(user_), 1u);
  EXPECT_NE(VDB_OpenTable(user_, u"F0101", 1, nullptr, 0, nullptr, &parties_), 1u);
  user_ = nullptr;
  HUSER none = nullptr;
  EXPECT_NE(VDB_InitBhvr(nullptr, &none, nullptr, 0), 1u);
  EXPECT_NE(VDB_InitUser(context_, &none, reinterpret_cast<HENV>(&notAHandle), 0), 1u);
}

TEST_P(BadInput, EnvironmentWithoutADatabase) {
  // No location for the environment: handles work, tables do not, and the trace says which setting is missing.
  LPBHVRCOM bare = extraContext({{"env", "NODB"}});
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(bare, &user, nullptr, 0), 1u);
  HREQUEST request = nullptr;
  EXPECT_NE(VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &request), 1u);
  EXPECT_TRUE(traced(bare, {u"VDB_OpenTable", u"env.NODB"}));

  LPBHVRCOM broken = extraContext({{"env", "BAD"}, {"env.BAD", unreachableLocation()}});
  EXPECT_EQ(VDB_InitBhvr(broken, &user, nullptr, 0), VDB_FAILED);
  EXPECT_TRUE(traced(broken, {u"VDB_InitBhvr", postgres() ? u"cannot open" : u"no database at"}));
  EXPECT_FALSE(traced(broken, {u"secret"}));  // a password in the location stays out of traces
  ASSERT_EQ(broken->errors.size(), 1u);
  EXPECT_EQ(broken->errors[0].id + u" " + broken->errors[0].text, u"DBNO BAD");
}

INSTANTIATE_TEST_SUITE_P(Engines, BadInput, dbtest::engines(), dbtest::engineName);

}  // namespace
