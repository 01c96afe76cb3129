// The password policy: its row through the database, validation against it,
// the rules called directly, and what each function holds and releases.
#include <cstring>

#include "frame/companions.h"
#include "security/B9500929.h"
#include "support/bsfn_fixture.h"
#include "support/processes.h"

namespace {

using namespace bsfntest;

// Limits in record order: length, digits, letters, consecutive, special.
PasswordPolicy policy(const char16_t *length, const char16_t *digits, const char16_t *letters,
                      const char16_t *consecutive, const char16_t *special) {
  return PasswordPolicy{math(length), math(digits), math(letters), math(consecutive), math(special)};
}

#pragma pack(push, 1)
struct PolicyRow {  // the columns the functions write
  JCHAR user[11], type[11];
  void *blob;
  JCHAR auditUser[11], program[11], workstation[11];
  VYRDATE date;
  MATH_NUMERIC time;
};
#pragma pack(pop)

class Policy : public BsfnTest {
 protected:
  // The "*POLICY" rows of F98QXSEC, read without the functions under test;
  // the first one's columns and policy bytes go to row_ and blob_.
  int stored() {
    const NID columns[] = {u"QXUSR", u"QXTYP", u"SRVBLOBA", u"USER", u"PID", u"JOBN", u"UPMJ", u"UPMT"};
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    EXPECT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    EXPECT_EQ(VDB_OpenTable(user, u"F98QXSEC", 2, columns, 8, nullptr, &request), 1u);
    JCHAR key[11] = u"*POLICY";
    EXPECT_EQ(VDB_SelectKeyed(request, 2, key, 1), 1u);
    int rows = 0;
    for (PolicyRow row{}; VDB_Fetch(request, &row, 0) == 1;) {
      if (rows++ > 0) continue;
      row_ = row;
      uint32_t size = 0;
      EXPECT_EQ(VDB_GetBLOBSize(request, u"SRVBLOBA", &size), 1u);
      blob_.assign(static_cast<const char *>(row.blob), size);
    }
    VDB_FreeBhvr(user);
    return rows;
  }
  bool holds(const PasswordPolicy &p) { return stored() == 1 && blob_ == std::string((const char *)&p, 245); }

  ID validate(const std::u16string &password, LPBHVRCOM context = nullptr) {
    ds_ = DSD9500929B{};
    password.copy(ds_.szPassword, B9500929_PASSWORD_LENGTH + 1);
    return call("ValidatePasswordPolicyFromF98QXSEC", &ds_, context);
  }

  PolicyRow row_{};
  std::string blob_;
  DSD9500929B ds_{};
  PasswordPolicy first = policy(u"8", u"2", u"3", u"1", u"1");
  PasswordPolicy second = policy(u"10", u"0", u"0", u"2.5", u"0");
};

TEST_F(Policy, AddUpdateGetDeleteRoundTripWithTheAuditStamp) {
  vyrMathSetCurrencyCodeUNI(&first.mnMinimumSpecial, u"EUR");  // every byte must survive
  PasswordPolicy got{};
  const struct {
    const char *function;
    PasswordPolicy *ds;
    ID code;
    const PasswordPolicy *stored;  // what the row (and a Get) holds afterwards; nullptr: no row
    Strings errors = {};
  } steps[] = {
      {"UpdatePasswordPolicyToF98QXSEC", &first, ER_SUCCESS, &first},                   // inserts
      {"AddPasswordPolicyToF98QXSEC", &second, ER_ERROR, &first, {"DBDK F98QXSEC@0"}},  // the row exists
      {"UpdatePasswordPolicyToF98QXSEC", &second, ER_SUCCESS, &second},
      {"GetPasswordPolicyFromF98QXSEC", &got, ER_SUCCESS, &second},
      {"DeletePasswordPolicyFromF98QXSEC", &got, ER_SUCCESS, nullptr},
      {"GetPasswordPolicyFromF98QXSEC", &got, ER_ERROR, nullptr},
      {"DeletePasswordPolicyFromF98QXSEC", &got, ER_ERROR, nullptr},
      {"AddPasswordPolicyToF98QXSEC", &first, ER_SUCCESS, &first},
      {"GetPasswordPolicyFromF98QXSEC", &got, ER_SUCCESS, &first},
  };
  LPBHVRCOM context = newContext(
      {{"user", "PWADMIN"}, {"program", "P9500929"}, {"machine", "WS-0042-EAST-WING"}, {"dateformat", "DD.MM.YY"}});
  UTIME before, after, stamp;
  vyrUTime_SetToNow(&before);
  vyrUTime_AdvanceTime(&before, 0, 0, -1);  // the stamp has whole seconds
  for (const auto &s : steps) {
    SCOPED_TRACE(s.function);
    EXPECT_EQ(call(s.function, s.ds, context), s.code);
    EXPECT_EQ(handlesLeft_, 0u);
    EXPECT_EQ(errors(context), s.errors);
    EXPECT_TRUE(s.stored ? holds(*s.stored) : stored() == 0);
    EXPECT_TRUE(s.ds != &got || s.stored == nullptr || std::memcmp(&got, s.stored, sizeof got) == 0);
  }
  vyrUTime_SetToNow(&after);
  EXPECT_EQ(text(row_.type) + u" " + text(row_.auditUser) + u" " + text(row_.program) + u" " + text(row_.workstation),
            u"OSASE PWADMIN P9500929 WS-0042-EA");  // the column's width
  const int hhmmss = MathNumericToInt(&row_.time);
  ASSERT_EQ(vyrUTime_Set(&stamp, row_.date.nYear, row_.date.nMonth, row_.date.nDay, short(hhmmss / 10000),
                         short(hhmmss / 100 % 100), short(hhmmss % 100), u"UTC"),
            0);
  EXPECT_GE(vyrUTime_Compare(&stamp, &before), 0);
  EXPECT_LE(vyrUTime_Compare(&stamp, &after), 0);
  DSGETAUDITINFO audit{};
  ASSERT_EQ(call("GetAuditInfo", &audit, context), ER_SUCCESS);
  EXPECT_EQ(text(audit.szWorkstationId), u"WS-0042-EAST-WI");
}

// Only the first broken rule is reported, on member 3; LDAP needs no policy;
// the failure returns after the handle was opened leave it to the context.
TEST_F(Policy, ValidationReportsTheFirstBrokenRuleAndLeavesHandlesAsSpecified) {
  const PasswordPolicy strict = policy(u"8", u"2", u"2", u"1", u"1"), zero = policy(u"0", u"0", u"0", u"0", u"0"),
                       pairs1 = policy(u"0", u"0", u"0", u"1", u"0"),
                       length257 = policy(u"257", u"0", u"0", u"0", u"0");
  const struct {
    const PasswordPolicy *limits;  // nullptr: no policy row
    std::u16string password;
    const char16_t *error;  // u"": none raised
    ID code;
    JCHAR applied;
    size_t handlesLeft;
    Settings settings = {};
  } cases[] = {
      {&strict, u"Ab1!Cd2x", u"", ER_SUCCESS, u'1', 0},
      {&strict, u"Ab1!Cd2", u"187A", ER_ERROR, u'1', 1},
      {&strict, u"Ab1!Cdex", u"187B", ER_ERROR, u'1', 1},
      {&strict, u"Abb1!!d2", u"187C", ER_ERROR, u'1', 1},
      {&strict, u"Ab1xCd2x", u"187D", ER_ERROR, u'1', 1},
      {&strict, u"12!!34!5", u"187Q", ER_ERROR, u'1', 1},
      {&strict, u"a", u"187A", ER_ERROR, u'1', 1},
      {&strict, u"aaaaaaaa", u"187B", ER_ERROR, u'1', 1},
      {&strict, u"11!!22!!", u"187C", ER_ERROR, u'1', 1},
      {&strict, u"aa1bb2cc", u"187C", ER_ERROR, u'1', 1},
      {&strict, u"1a2b3c4d", u"187D", ER_ERROR, u'1', 1},
      {&pairs1, u"aabb", u"187C", ER_ERROR, u'1', 1},
      {&pairs1, u"abab", u"", ER_SUCCESS, u'1', 0},
      {&zero, u"", u"", ER_SUCCESS, u'1', 0},
      {&length257, std::u16string(256, u'x'), u"187A", ER_ERROR, u'1', 1},
      {&length257, std::u16string(257, u'x'), u"187A", ER_ERROR, u'1', 1},  // no terminator: read to the width
      {nullptr, u"Ab1!Cd2x", u"", ER_ERROR, u'0', 1},
      {&strict, u"Ab1!Cd2x", u"", ER_ERROR, u'0', 0, {{"fail", "VDB_InitBhvr"}}},
      {&strict, u"Ab1!Cd2x", u"", ER_ERROR, u'0', 1, {{"fail", "VDB_FetchKeyed:F98QXSEC"}}},
      {&strict, u"", u"", ER_SUCCESS, u'0', 0, {{"ldap", "1"}}},
      {nullptr, u"", u"", ER_SUCCESS, u'0', 0, {{"ldap", "1"}, {"fail", "VDB_OpenTable:F98QXSEC"}}},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto &c = cases[i];
    SCOPED_TRACE("case " + std::to_string(i));
    PasswordPolicy limits = c.limits ? *c.limits : zero;
    call("DeletePasswordPolicyFromF98QXSEC", &limits);
    if (c.limits) {
      ASSERT_EQ(call("AddPasswordPolicyToF98QXSEC", &limits), ER_SUCCESS);
    }
    LPBHVRCOM context = newContext(c.settings);
    EXPECT_EQ(validate(c.password, context), c.code);
    EXPECT_EQ(ds_.cPolicyApplied, c.applied);
    EXPECT_EQ(text(ds_.szErrorId), c.error);
    EXPECT_EQ(errors(context), *c.error ? Strings{toUtf8(c.error) + " @3"} : Strings{});
    EXPECT_EQ(handlesLeft_, c.handlesLeft);
  }
}

TEST_F(Policy, MaintenanceFailuresReleaseTheirHandlesAndChangeNothing) {
  const struct {
    const char *function, *fail;
    bool rowBefore;
  } cases[] = {
      {"AddPasswordPolicyToF98QXSEC", "VDB_InitBhvr", false},
      {"AddPasswordPolicyToF98QXSEC", "VDB_OpenTable:F98QXSEC", false},
      {"AddPasswordPolicyToF98QXSEC", "VDB_SetBLOBSize:F98QXSEC", false},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_InsertTable:F98QXSEC", false},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_UpdateTable:F98QXSEC", true},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_FetchKeyed:F98QXSEC", true},
      {"UpdatePasswordPolicyToF98QXSEC", "VDB_FetchKeyed:F98QXSEC", false},  // a failed fetch is no missing row
      {"GetPasswordPolicyFromF98QXSEC", "VDB_InitBhvr", true},
      {"GetPasswordPolicyFromF98QXSEC", "VDB_FetchKeyed:F98QXSEC", true},
      {"DeletePasswordPolicyFromF98QXSEC", "VDB_OpenTable:F98QXSEC", true},
      {"DeletePasswordPolicyFromF98QXSEC", "VDB_DeleteTable:F98QXSEC", true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " with " + c.fail);
    PasswordPolicy ds = second;
    call("DeletePasswordPolicyFromF98QXSEC", &ds);
    if (c.rowBefore) {
      ASSERT_EQ(call("AddPasswordPolicyToF98QXSEC", &first), ER_SUCCESS);
    }
    const std::string fail = c.fail;
    LPBHVRCOM failing = newContext({{"fail", fail}});
    EXPECT_EQ(call(c.function, &ds, failing), ER_ERROR);
    EXPECT_EQ(handlesLeft_, 0u);
    EXPECT_EQ(errors(failing), Strings{}) << "the caller reports";
    EXPECT_EQ(std::memcmp(&ds, &second, sizeof ds), 0) << "the data structure is untouched";
    EXPECT_TRUE(c.rowBefore ? holds(first) : stored() == 0);
  }
}

// Processes taking turns at the policy row of one database: when this program
// starts with BSFNTEST_POLICY_RACE naming the database, it updates, deletes
// and adds the policy there and exits before any test runs, with the number
// of calls that failed without an error saying why. A delete that finds no
// row is the one failure that stays silent: that is its own answer.
constexpr int kRacers = 8;
constexpr int kRounds = 40;
const bool kPolicyRacer = [] {
  const char *location = std::getenv("BSFNTEST_POLICY_RACE");
  if (location == nullptr) return false;
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
  LPBHVRCOM context = vyr::createContext({{"env", "MAIN"}, {"env.MAIN", location}});
  PasswordPolicy ds = policy(u"8", u"1", u"1", u"2", u"0");
  const char *const functions[] = {"UpdatePasswordPolicyToF98QXSEC", "DeletePasswordPolicyFromF98QXSEC",
                                   "UpdatePasswordPolicyToF98QXSEC", "AddPasswordPolicyToF98QXSEC"};
  int silent = 0;
  for (int i = 0; context != nullptr && i < 4 * kRounds; ++i) {
    const std::string_view function = functions[(i + getpid()) % 4];
    context->errors.clear();
    const ID code = vyr::callFunction(context, *vyr::findFunction(function), &ds);
    if (code != ER_SUCCESS && context->errors.empty() && !function.starts_with("Delete")) ++silent;
  }
  vyr::freeContext(context);
  std::_Exit(context == nullptr ? 100 : std::min(silent, 99));
}();

TEST_F(Policy, ProcessesRacingForThePolicyRowNeverFailWithoutSayingWhy) {
  PasswordPolicy ds = first;
  call("DeletePasswordPolicyFromF98QXSEC", &ds);  // the tables exist before the race
  racetest::expectCopiesSucceed("BSFNTEST_POLICY_RACE", dir_ + "/main.db", kRacers);
  EXPECT_LE(stored(), 1);
}

TEST(PasswordRules, EachRuleBelowAtAndAboveItsLimit) {
  using Rule = int (*)(const JCHAR *, MATH_NUMERIC);
  const Rule length = I9500929_CheckMinimumPasswordLength, digits = I9500929_CheckNumberOfNumerics,
             letters = I9500929_CheckMinimumCharacters, pairs = I9500929_CheckMaximumConsecutiveCharacters,
             special = I9500929_CheckMinimumSpecialCharacters;
  const struct {
    Rule rule;
    const char16_t *password, *limit;
    int passes;
  } cases[] = {
      {length, u"abc", u"4", 0},
      {length, u"abcd", u"4", 1},
      {length, u"abcde", u"4", 1},
      {length, u"abc", u"3.5", 1},                     // length + 1 > limit, compared as decimals
      {length, u"\u00e9\u00e9\u00e9\u00e9", u"4", 1},  // characters, not bytes
      {length, nullptr, u"1", 0},
      {length, nullptr, u"0", 1},  // a null password reads as empty
      {digits, u"a1b", u"2", 0},
      {digits, u"a1b2", u"2", 1},
      {digits, u"1a2b3", u"2", 1},
      {digits, u"\uff11\uff12", u"1", 0},  // full-width digits are not 0-9
      {digits, u"", u"0", 1},              // the terminator's position is walked too
      {letters, u"1a2", u"2", 0},
      {letters, u"ab1", u"2", 1},
      {letters, u"abc", u"2", 1},
      {letters, u"\u00e9\u0416", u"1", 0},
      {letters, u"", u"0", 0},  // nothing walked, nothing reached
      {special, u"a!b", u"2", 0},
      {special, u"a!b?", u"2", 1},
      {special, u" !?", u"2", 1},
      {special, u"\u00e9\u20ac", u"2", 1},  // non-ASCII letters count as special
      {special, nullptr, u"1", 0},
      {pairs, u"aabb", u"1", 0},
      {pairs, u"abab", u"1", 1},
      {pairs, u"aab", u"1", 1},
      {pairs, u"aabb", u"2", 1},
      {pairs, u"aabbcc", u"2", 0},
      {pairs, u"aA", u"0", 1},
      {pairs, nullptr, u"0", 1},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(cases[i].rule(cases[i].password, math(cases[i].limit)), cases[i].passes) << "case " << i;

  // Letters are A-Z and a-z, digits 0-9, by code unit: each boundary and its neighbours.
  const std::u16string units = u"/09:@AZ[`az{\u00e9\uff11";
  const std::string letter = "00000110011000", digit = "01100000000000";
  for (size_t i = 0; i < units.size(); ++i) {
    EXPECT_EQ(I9500929_isCharacter(units[i]), letter[i] - '0') << int(units[i]);
    EXPECT_EQ(I9500929_isNumber(units[i]), digit[i] - '0') << int(units[i]);
  }
}

}  // namespace
