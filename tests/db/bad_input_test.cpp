// Bad input fails cleanly with one trace line saying what was wrong; forced
// failures take every path; stale and foreign handles find nothing.
#include <functional>

#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::set;

#pragma pack(push, 1)
struct Party {  // F0101: AN8, ALPH
  MATH_NUMERIC an8;
  JCHAR alph[41];
};
struct Dated {  // F0101: AN8, UPMJ
  MATH_NUMERIC an8;
  VYRDATE upmj;
};
#pragma pack(pop)

class BadInput : public dbtest::DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    parties_ = open(u"F0101", 1, {u"AN8", u"ALPH"});
  }
  HREQUEST parties_ = nullptr;
};

TEST_P(BadInput, EachMistakeFailsWithATraceLineNamingIt) {
  Party row{number("1"), {}};
  const MATH_NUMERIC key = number("1");
  HREQUEST request = nullptr;
  NID columns[12];
  for (NID &c : columns) dbtest::setName(c, u"CRCD");
  NID unknown[1];
  dbtest::setName(unknown[0], u"NOPE");
  NID twice[2];
  dbtest::setName(twice[0], u"AN8"), dbtest::setName(twice[1], u"AN8");
  SELECTSTRUCT entry{};
  dbtest::setName(entry.szColumn, u"AN8");
  entry.lpValue = &key;
  SORTSTRUCT sort{};
  dbtest::setName(sort.szColumn, u"ALPH");
  MATH_NUMERIC notANumber = number("12");
  notANumber.String[0] = '?';

  struct Case {
    const char *what;
    std::function<ID()> call;
    std::u16string fragment;
  };
  const std::vector<Case> cases = {
      {"unknown table", [&] { return VDB_OpenTable(user_, u"F9999", 1, nullptr, 0, nullptr, &request); },
       u"unknown table 'F9999'"},
      {"null table name", [&] { return VDB_OpenTable(user_, nullptr, 1, nullptr, 0, nullptr, &request); },
       u"no table name"},
      {"index out of range", [&] { return VDB_OpenTable(user_, u"F0101", 3, nullptr, 0, nullptr, &request); },
       u"index 3 does not exist"},
      {"column list longer than the table",
       [&] { return VDB_OpenTable(user_, u"F0013", 1, columns, 12, nullptr, &request); }, u"12 columns listed"},
      {"unknown column", [&] { return VDB_OpenTable(user_, u"F0101", 1, unknown, 1, nullptr, &request); },
       u"unknown column 'NOPE'"},
      {"column listed twice", [&] { return VDB_OpenTable(user_, u"F0101", 1, twice, 2, nullptr, &request); },
       u"listed twice"},
      {"no place for the request", [&] { return VDB_OpenTable(user_, u"F0101", 1, nullptr, 0, nullptr, nullptr); },
       u"null lphRequest"},
      {"more keys than the index", [&] { return VDB_FetchKeyed(parties_, 1, &key, 2, &row, 0); },
       u"2 key fields given"},
      {"negative key count", [&] { return VDB_SelectKeyed(parties_, 1, &key, -1); }, u"-1 key fields given"},
      {"fetch index out of range", [&] { return VDB_FetchKeyed(parties_, 7, &key, 1, &row, 0); },
       u"index 7 does not exist"},
      {"null row buffer", [&] { return VDB_FetchKeyed(parties_, 1, &key, 1, nullptr, 0); }, u"no row buffer"},
      {"key that is not a number", [&] { return VDB_FetchKeyed(parties_, 1, &notANumber, 1, &row, 0); },
       u"key field AN8"},
      {"fetch before select", [&] { return VDB_Fetch(parties_, &row, 0); }, u"no scan started"},
      {"update current before a fetch", [&] { return VDB_UpdateCurrent(parties_, &row); }, u"no current row"},
      {"insert without a record", [&] { return VDB_InsertTable(parties_, nullptr); }, u"no row record"},
      {"delete with a null key", [&] { return VDB_DeleteTable(parties_, 1, nullptr, 1); }, u"no key record"},
      {"number too large",
       [&] {
         Party big{number("123456789"), {}};
         return VDB_InsertTable(parties_, &big);
       },
       u"does not fit its 8 digits"},
      {"selection comparison code",
       [&] {
         entry.nComparison = 6;
         return VDB_SetSelection(parties_, &entry, 1);
       },
       u"comparison code 6"},
      {"selection connector",
       [&] {
         entry.nComparison = VDB_CMP_EQ, entry.nAndOr = 2;
         return VDB_SetSelection(parties_, &entry, 1);
       },
       u"connector 2"},
      {"null value with <",
       [&] {
         entry.nAndOr = VDB_AND, entry.nComparison = VDB_CMP_LT, entry.lpValue = nullptr;
         return VDB_SetSelection(parties_, &entry, 1);
       },
       u"null value compares only"},
      {"selection without entries", [&] { return VDB_SetSelection(parties_, nullptr, 2); }, u"no selection entries"},
      {"sequencing direction",
       [&] {
         sort.nDirection = 3;
         return VDB_SetSequencing(parties_, &sort, 1);
       },
       u"direction 3"},
  };
  for (const Case &c : cases) {
    context_->trace.clear();
    EXPECT_NE(c.call(), 1u) << c.what;
    ASSERT_EQ(context_->trace.size(), 1u) << c.what;
    EXPECT_NE(context_->trace[0].find(c.fragment), std::u16string::npos) << c.what;
  }
  EXPECT_EQ(request, nullptr);
}

TEST_P(BadInput, ImpossibleDatesAreRefused) {
  HREQUEST dated = open(u"F0101", 1, {u"AN8", u"UPMJ"});
  Dated row{number("5"), {2023, 2, 29}};
  EXPECT_NE(VDB_InsertTable(dated, &row), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"UPMJ", u"no calendar date"}));
  row.upmj = VYRDATE{2024, 2, 29};
  EXPECT_EQ(VDB_InsertTable(dated, &row), 1u);
}

TEST_P(BadInput, ForcedFailuresTakeEveryPath) {
  Party row{number("1"), {}};
  const MATH_NUMERIC key = number("1");
  ASSERT_EQ(VDB_InsertTable(parties_, &row), 1u);
  struct Case {
    const char *fail;
    std::function<ID(HUSER, HREQUEST)> call;
  };
  const std::vector<Case> cases = {
      {"VDB_OpenTable:F0101",
       [](HUSER u, HREQUEST) {
         HREQUEST r = nullptr;
         return VDB_OpenTable(u, u"F0101", 1, nullptr, 0, nullptr, &r);
       }},
      {"VDB_FetchKeyed:F0101", [&](HUSER, HREQUEST r) { return VDB_FetchKeyed(r, 1, &key, 1, &row, 0); }},
      {"VDB_FetchKeyedForUpdate", [&](HUSER, HREQUEST r) { return VDB_FetchKeyedForUpdate(r, 1, &key, 1, &row, 0); }},
      {"VDB_SelectKeyed:F0101", [&](HUSER, HREQUEST r) { return VDB_SelectKeyed(r, 1, nullptr, 0); }},
      {"VDB_InsertTable:F0101", [&](HUSER, HREQUEST r) { return VDB_InsertTable(r, &row); }},
      {"VDB_UpdateTable:F0101", [&](HUSER, HREQUEST r) { return VDB_UpdateTable(r, 1, &key, 1, &row); }},
      {"VDB_DeleteTable:F0101", [&](HUSER, HREQUEST r) { return VDB_DeleteTable(r, 1, &key, 1); }},
      {"VDB_SetSelection", [&](HUSER, HREQUEST r) { return VDB_SetSelection(r, nullptr, 0); }},
      {"VDB_CommitUser", [&](HUSER u, HREQUEST) { return VDB_CommitUser(u); }},
  };
  for (const Case &c : cases) {
    LPBHVRCOM failing = extraContext({{"fail", c.fail}});
    HUSER user = nullptr;
    ASSERT_EQ(VDB_InitBhvr(failing, &user, nullptr, 0), 1u) << c.fail;
    HREQUEST request = nullptr;
    if (std::string(c.fail).rfind("VDB_OpenTable", 0) != 0) {
      ASSERT_EQ(VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &request), 1u);
    }
    EXPECT_NE(c.call(user, request), 1u) << c.fail;
    EXPECT_TRUE(dbtest::traced(failing, {u"forced"})) << c.fail;
    VDB_FreeBhvr(user);
  }
  // A failure narrowed to one table leaves the others alone; InitBhvr fails as asked.
  LPBHVRCOM narrowed = extraContext({{"fail", "VDB_OpenTable:F0013,VDB_InitUser"}});
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(narrowed, &user, nullptr, 0), 1u);
  HREQUEST request = nullptr;
  EXPECT_EQ(VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &request), 1u);
  EXPECT_NE(VDB_OpenTable(user, u"F0013", 1, nullptr, 0, nullptr, &request), 1u);
  HUSER second = nullptr;
  EXPECT_NE(VDB_InitUser(narrowed, &second, nullptr, 1), 1u);
  EXPECT_EQ(second, nullptr);
  VDB_FreeBhvr(user);
  LPBHVRCOM noHandles = extraContext({{"fail", "VDB_InitBhvr"}});
  EXPECT_NE(VDB_InitBhvr(noHandles, &user, nullptr, 0), 1u);
  EXPECT_EQ(user, nullptr);
}

TEST_P(BadInput, StaleAndForeignHandlesFindNothing) {
  Party row{};
  const MATH_NUMERIC key = number("1");
  ASSERT_EQ(VDB_CloseTable(parties_), 1u);
  EXPECT_NE(VDB_CloseTable(parties_), 1u);
  EXPECT_NE(VDB_FetchKeyed(parties_, 1, &key, 1, &row, 0), 1u);
  EXPECT_NE(VDB_Fetch(parties_, &row, 0), 1u);
  EXPECT_NE(VDB_InsertTable(parties_, &row), 1u);
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
  LPBHVRCOM bare = vyr::createContext({{"env", "NODB"}});
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(bare, &user, nullptr, 0), 1u);
  HREQUEST request = nullptr;
  EXPECT_NE(VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &request), 1u);
  EXPECT_TRUE(dbtest::traced(bare, {u"VDB_OpenTable", u"env.NODB"}));
  vyr::freeContext(bare);

  LPBHVRCOM broken = vyr::createContext({{"env", "BAD"}, {"env.BAD", unreachableLocation()}});
  EXPECT_NE(VDB_InitBhvr(broken, &user, nullptr, 0), 1u);
  EXPECT_TRUE(dbtest::traced(broken, {u"VDB_InitBhvr", u"cannot open"}));
  EXPECT_FALSE(dbtest::traced(broken, {u"secret"}));  // a password in the location stays out of traces
  vyr::freeContext(broken);
}

INSTANTIATE_TEST_SUITE_P(Engines, BadInput, dbtest::engines(), dbtest::engineName);

}  // namespace
