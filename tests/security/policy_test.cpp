// The policy row through the database, validation against it, and what each
// function holds and releases on its failure paths.
#include <gtest/gtest.h>

#include "security_fixture.h"

namespace {

using namespace sectest;

#pragma pack(push, 1)
struct StoredColumns {
  JCHAR user[11], type[11];
  void *blob;
  JCHAR auditUser[11], program[11], workstation[11];
  VYRDATE date;
  MATH_NUMERIC time;
};
#pragma pack(pop)

struct Stored {
  int rows = 0;
  StoredColumns row{};
  std::vector<unsigned char> blob;
};

// What F98QXSEC holds under "*POLICY", read without the functions under test.
Stored stored(LPBHVRCOM context) {
  const NID columns[] = {u"QXUSR", u"QXTYP", u"SRVBLOBA", u"USER", u"PID", u"JOBN", u"UPMJ", u"UPMT"};
  Stored out;
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  EXPECT_EQ(VDB_InitBhvr(context, &user, nullptr, 0), 1u);
  EXPECT_EQ(VDB_OpenTable(user, u"F98QXSEC", 2, columns, 8, nullptr, &request), 1u);
  JCHAR key[11] = u"*POLICY";
  EXPECT_EQ(VDB_SelectKeyed(request, 2, key, 1), 1u);
  StoredColumns row{};
  while (VDB_Fetch(request, &row, 0) == 1) {
    if (out.rows++ > 0) continue;
    out.row = row;
    uint32_t size = 0;
    EXPECT_EQ(VDB_GetBLOBSize(request, u"SRVBLOBA", &size), 1u);
    const auto *bytes = static_cast<const unsigned char *>(row.blob);
    out.blob.assign(bytes, bytes + size);
  }
  VDB_CloseTable(request);
  VDB_FreeBhvr(user);
  return out;
}

bool holds(const Stored &s, const PasswordPolicy &p) {
  return s.rows == 1 && s.blob.size() == 245 && std::memcmp(s.blob.data(), &p, 245) == 0;
}

class Policy : public PolicyTest {
 protected:
  // Calls a maintenance function and checks it left nothing behind.
  static ID maintain(LPBHVRCOM context, const char *function, PasswordPolicy *p) {
    const size_t held = settle(context);
    const ID result = call(context, function, p);
    EXPECT_EQ(context->resources.size(), held) << function << " left a handle open";
    return result;
  }
  PasswordPolicy first = policy(u"8", u"2", u"3", u"1", u"1");
  PasswordPolicy second = policy(u"10", u"0", u"0", u"2.5", u"0");
  void SetUp() override {
    PolicyTest::SetUp();
    vyrMathSetCurrencyCodeUNI(&first.mnMinimumSpecial, u"EUR");  // every byte must survive
  }
};

TEST_F(Policy, AddUpdateGetDeleteRoundTrip) {
  PasswordPolicy got{};
  EXPECT_EQ(maintain(context_, "UpdatePasswordPolicyToF98QXSEC", &first), ER_SUCCESS);  // inserts
  Stored s = stored(context_);
  EXPECT_TRUE(holds(s, first));
  EXPECT_EQ(text(s.row.type), u"OSASE");
  EXPECT_EQ(maintain(context_, "GetPasswordPolicyFromF98QXSEC", &got), ER_SUCCESS);
  EXPECT_EQ(std::memcmp(&got, &first, sizeof got), 0);

  EXPECT_EQ(maintain(context_, "AddPasswordPolicyToF98QXSEC", &second), ER_ERROR) << "the row exists";
  EXPECT_TRUE(holds(stored(context_), first));
  EXPECT_EQ(maintain(context_, "UpdatePasswordPolicyToF98QXSEC", &second), ER_SUCCESS);
  EXPECT_TRUE(holds(stored(context_), second));
  EXPECT_EQ(maintain(context_, "GetPasswordPolicyFromF98QXSEC", &got), ER_SUCCESS);
  EXPECT_EQ(std::memcmp(&got, &second, sizeof got), 0);

  EXPECT_EQ(maintain(context_, "DeletePasswordPolicyFromF98QXSEC", &got), ER_SUCCESS);
  EXPECT_EQ(stored(context_).rows, 0);
  EXPECT_EQ(maintain(context_, "GetPasswordPolicyFromF98QXSEC", &got), ER_ERROR);
  EXPECT_EQ(maintain(context_, "DeletePasswordPolicyFromF98QXSEC", &got), ER_ERROR);
  EXPECT_EQ(maintain(context_, "AddPasswordPolicyToF98QXSEC", &first), ER_SUCCESS);
  EXPECT_TRUE(holds(stored(context_), first));
  EXPECT_TRUE(context_->errors.empty());
}

TEST_F(Policy, AuditColumnsComeFromTheContextAndTheClock) {
  LPBHVRCOM context = newContext({{"user", "PWADMIN"}, {"program", "P9500929"},
                                  {"machine", "WS-0042-EAST-WING"}, {"dateformat", "DD.MM.YY"}});
  DSGETAUDITINFO audit{};
  ASSERT_EQ(call(context, "GetAuditInfo", &audit), ER_SUCCESS);
  EXPECT_EQ(text(audit.szUserId), u"PWADMIN");
  EXPECT_EQ(text(audit.szProgramId), u"P9500929");
  EXPECT_EQ(text(audit.szWorkstationId), u"WS-0042-EAST-WI");

  UTIME before, after, stamp;
  vyrUTime_SetToNow(&before);
  vyrUTime_AdvanceTime(&before, 0, 0, -1);  // the stamp has whole seconds
  ASSERT_EQ(call(context, "AddPasswordPolicyToF98QXSEC", &first), ER_SUCCESS);
  vyrUTime_SetToNow(&after);
  const Stored s = stored(context);
  EXPECT_EQ(text(s.row.auditUser), u"PWADMIN");
  EXPECT_EQ(text(s.row.program), u"P9500929");
  EXPECT_EQ(text(s.row.workstation), u"WS-0042-EA");  // the column's width
  const int hhmmss = MathNumericToInt(&s.row.time);
  ASSERT_EQ(vyrUTime_Set(&stamp, s.row.date.nYear, s.row.date.nMonth, s.row.date.nDay, short(hhmmss / 10000),
                         short(hhmmss / 100 % 100), short(hhmmss % 100), u"UTC"),
            0);
  EXPECT_GE(vyrUTime_Compare(&stamp, &before), 0);
  EXPECT_LE(vyrUTime_Compare(&stamp, &after), 0);
}

TEST_F(Policy, ValidationReportsOnlyTheFirstBrokenRuleOnMemberThree) {
  struct Case {
    PasswordPolicy limits;
    std::u16string password;
    const char16_t *error;  // nullptr: accepted
  };
  const PasswordPolicy strict = policy(u"8", u"2", u"2", u"1", u"1");
  const PasswordPolicy none = policy(u"0", u"0", u"0", u"0", u"0");
  const Case cases[] = {
      {strict, u"Ab1!Cd2x", nullptr},   {strict, u"Ab1!Cd2", u"187A"},  {strict, u"Ab1!Cdex", u"187B"},
      {strict, u"Abb1!!d2", u"187C"},   {strict, u"Ab1xCd2x", u"187D"}, {strict, u"12!!34!5", u"187Q"},
      {strict, u"a", u"187A"},          {strict, u"aaaaaaaa", u"187B"}, {strict, u"11!!22!!", u"187C"},
      {strict, u"1a2b3c4d", u"187D"},
      {policy(u"0", u"0", u"0", u"0", u"2"), u"\u00e9\u00e8", nullptr},
      {policy(u"0", u"0", u"0", u"0", u"2"), u"ab", u"187D"},
      {policy(u"0", u"0", u"1", u"0", u"0"), u"\u00e9\u00e8", u"187Q"},
      {policy(u"0", u"0", u"0", u"1", u"0"), u"aabb", u"187C"},
      {policy(u"0", u"0", u"0", u"1", u"0"), u"abab", nullptr},
      {none, std::u16string(256, u'a'), nullptr},
      {policy(u"256", u"0", u"0", u"0", u"0"), std::u16string(256, u'x'), nullptr},
      {policy(u"257", u"0", u"0", u"0", u"0"), std::u16string(256, u'x'), u"187A"},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    PasswordPolicy limits = cases[i].limits;
    ASSERT_EQ(call(context_, "UpdatePasswordPolicyToF98QXSEC", &limits), ER_SUCCESS);
    LPBHVRCOM context = newContext();
    DSD9500929B ds;
    const char16_t *error = cases[i].error;
    EXPECT_EQ(validate(context, cases[i].password, &ds), error ? ER_ERROR : ER_SUCCESS);
    EXPECT_EQ(ds.cPolicyApplied, u'1');
    EXPECT_EQ(text(ds.szErrorId), error ? error : u"");
    ASSERT_EQ(context->errors.size(), error ? 1u : 0u);
    EXPECT_TRUE(!error || (context->errors[0].id == error && context->errors[0].item == 3));
  }
}

TEST_F(Policy, AFullMemberWithoutTerminatorIsReadToItsWidth) {
  PasswordPolicy limits = policy(u"257", u"0", u"0", u"0", u"0");
  ASSERT_EQ(call(context_, "AddPasswordPolicyToF98QXSEC", &limits), ER_SUCCESS);
  DSD9500929B ds;
  for (JCHAR &c : ds.szPassword) c = u'a';
  ds.cPolicyApplied = u'a';  // the member after it is not part of the password either
  EXPECT_EQ(call(context_, "ValidatePasswordPolicyFromF98QXSEC", &ds), ER_ERROR);
  EXPECT_EQ(text(ds.szErrorId), u"187A");
}

TEST_F(Policy, MaintenanceFailuresReleaseTheirHandlesAndChangeNothing) {
  struct Case {
    const char *function;
    const char *fail;
    bool rowBefore;
  };
  const Case cases[] = {
      {"AddPasswordPolicyToF98QXSEC", "VDB_InitBhvr", false},
      {"AddPasswordPolicyToF98QXSEC", "VDB_OpenTable:F98QXSEC", false},
      {"AddPasswordPolicyToF98QXSEC", "VDB_SetBLOBSize:F98QXSEC", false},
      {"AddPasswordPolicyToF98QXSEC", "VDB_InsertTable:F98QXSEC", false},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_InsertTable:F98QXSEC", false},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_UpdateTable:F98QXSEC", true},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_FetchKeyed:F98QXSEC", true},  // insert then meets the row
      {"GetPasswordPolicyFromF98QXSEC", "VDB_InitBhvr", true},
      {"GetPasswordPolicyFromF98QXSEC", "VDB_OpenTable:F98QXSEC", true},
      {"GetPasswordPolicyFromF98QXSEC", "VDB_FetchKeyed:F98QXSEC", true},
      {"DeletePasswordPolicyFromF98QXSEC", "VDB_OpenTable:F98QXSEC", true},
      {"DeletePasswordPolicyFromF98QXSEC", "VDB_DeleteTable:F98QXSEC", true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " with " + c.fail);
    PasswordPolicy clear{};
    call(context_, "DeletePasswordPolicyFromF98QXSEC", &clear);
    if (c.rowBefore) {
      ASSERT_EQ(call(context_, "AddPasswordPolicyToF98QXSEC", &first), ER_SUCCESS);
    }
    LPBHVRCOM failing = newContext({{"fail", c.fail}});
    PasswordPolicy ds = second;
    EXPECT_EQ(maintain(failing, c.function, &ds), ER_ERROR);
    EXPECT_TRUE(failing->errors.empty());
    EXPECT_EQ(std::memcmp(&ds, &second, sizeof ds), 0) << "the data structure is untouched";
    if (c.rowBefore) {
      EXPECT_TRUE(holds(stored(context_), first));
    } else {
      EXPECT_EQ(stored(context_).rows, 0);
    }
  }
}

// Zero limits still need the row; LDAP needs no policy at all; the failure
// returns after the handle was opened leave it to the context, which frees it.
TEST_F(Policy, ValidationPathsAndTheHandlesTheyLeave) {
  enum Row { kNoRow, kStrict, kAllZero };
  struct Case {
    std::map<std::string, std::string> settings;
    Row row;
    const char16_t *password;
    ID expected;
    JCHAR applied;
    size_t handlesLeft;
  };
  const Case cases[] = {
      {{{"fail", "VDB_InitBhvr"}}, kStrict, u"Ab1!Cd2x", ER_ERROR, u'0', 0},
      {{}, kNoRow, u"Ab1!Cd2x", ER_ERROR, u'0', 1},
      {{{"fail", "VDB_FetchKeyed:F98QXSEC"}}, kStrict, u"Ab1!Cd2x", ER_ERROR, u'0', 1},
      {{}, kStrict, u"short", ER_ERROR, u'1', 1},
      {{}, kStrict, u"Ab1!Cd2x", ER_SUCCESS, u'1', 0},
      {{}, kAllZero, u"", ER_SUCCESS, u'1', 0},
      {{{"ldap", "1"}}, kStrict, u"", ER_SUCCESS, u'0', 0},
      {{{"ldap", "1"}, {"fail", "VDB_OpenTable:F98QXSEC"}}, kNoRow, u"", ER_SUCCESS, u'0', 0},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    PasswordPolicy limits = cases[i].row == kStrict ? policy(u"8", u"2", u"2", u"1", u"1")
                                                    : policy(u"0", u"0", u"0", u"0", u"0");
    call(context_, "DeletePasswordPolicyFromF98QXSEC", &limits);
    if (cases[i].row != kNoRow) {
      ASSERT_EQ(call(context_, "AddPasswordPolicyToF98QXSEC", &limits), ER_SUCCESS);
    }
    auto settings = cases[i].settings;
    settings.emplace("env", "PWTEST");
    settings.emplace("env.PWTEST", dir_ + "/policy.db");
    LPBHVRCOM context = vyr::createContext(settings);
    ASSERT_NE(context, nullptr);
    const size_t settled = settle(context);
    DSD9500929B ds;
    EXPECT_EQ(validate(context, cases[i].password, &ds), cases[i].expected);
    EXPECT_EQ(ds.cPolicyApplied, cases[i].applied);
    // Only a broken rule says why; the caller reports everything else.
    EXPECT_EQ(context->errors.size(), cases[i].applied == u'1' && cases[i].expected == ER_ERROR ? 1u : 0u);
    ASSERT_EQ(context->resources.size() - settled, cases[i].handlesLeft);
    std::vector<HUSER> left;
    for (size_t r = settled; r < context->resources.size(); ++r)
      left.push_back(static_cast<HUSER>(context->resources[r].handle));
    vyr::freeContext(context);
    for (HUSER handle : left) EXPECT_NE(VDB_FreeBhvr(handle), 1u) << "the handle outlived its context";
  }
}

TEST_F(Policy, MissingArgumentsAre4363OnItemZero) {
  for (const char *function : {"AddPasswordPolicyToF98QXSEC", "UpdatePasswordPolicyToF98QXSEC",
                               "GetPasswordPolicyFromF98QXSEC", "DeletePasswordPolicyFromF98QXSEC",
                               "ValidatePasswordPolicyFromF98QXSEC", "GetAuditInfo"}) {
    SCOPED_TRACE(function);
    LPBHVRCOM context = newContext();
    const size_t held = settle(context);
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
    ASSERT_NE(entry, nullptr);
    PasswordPolicy ds{};
    EXPECT_EQ(entry->lpfnEntry(nullptr, vyr::userEnvironment(context), &ds), ER_ERROR);
    EXPECT_EQ(entry->lpfnEntry(context, nullptr, &ds), ER_ERROR);
    EXPECT_EQ(entry->lpfnEntry(context, vyr::userEnvironment(context), nullptr), ER_ERROR);
    ASSERT_EQ(context->errors.size(), 2u);
    for (const vyr::ErrorRecord &e : context->errors) EXPECT_TRUE(e.id == u"4363" && e.item == 0);
    EXPECT_EQ(context->resources.size(), held);
  }
  EXPECT_EQ(stored(context_).rows, 0);
}

}  // namespace
