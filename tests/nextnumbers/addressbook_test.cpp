// Address numbers: drawn for connected and disconnected clients, entered by
// hand and validated against the address book, the distributed numbers and
// the current next number; the error convention with and without messages.
#include <cstring>

#include "frame/companions.h"
#include "nextnumbers/B0100094.h"
#include "nextnumbers/nextnumbertables.h"
#include "runtime/context.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

#pragma pack(push, 1)
struct SystemRow {  // F0002: SY, N001, CK01
  JCHAR sy[5];
  MATH_NUMERIC n001;
  JCHAR ck01;
};
#pragma pack(pop)

class AddressNumbers : public BsfnTest {
 protected:
  void SetUp() override {
    BsfnTest::SetUp();
    real_ = *vyr::findFunction(std::string_view("X0010GetNextNumber"));
  }
  void TearDown() override {
    vyr::registerFunction(real_);  // a test may have put a stand-in in its place
    BsfnTest::TearDown();
  }

  void counter(const char16_t *n001, JCHAR ck01 = u'N') {
    SystemRow row{u"01", math(n001), ck01};
    insert(u"F0002", &row, {u"SY", u"N001", u"CK01"});
  }
  void addresses(std::initializer_list<const char16_t *> numbers) {
    for (const char16_t *n : numbers) {
      KEY1_F0101 row{math(n)};
      insert(u"F0101", &row, {u"AN8"});
    }
  }
  void distributed(std::initializer_list<const char16_t *> numbers, JCHAR status = u'1') {
    for (const char16_t *n : numbers) {
      ROW_F90CA001 row{math(n), status, u"CLIENT", {2024, 5, 1}};
      insert(u"F90CA001", &row);
    }
  }
  ID run(const char16_t *number, JCHAR assign, LPBHVRCOM context = nullptr, JCHAR suppress = u'0') {
    ds_ = DSD0100094{math(number), suppress, u"junk", u'?', assign};
    return call("GetAndValidateAddressBookNumber", &ds_, context);
  }
  std::string outcome() const {
    return toUtf8(text(ds_.mnAddressNumber)) + " " + char(ds_.cErrorCode) + " '" + toUtf8(text(ds_.szErrorMessageID)) +
           "'";
  }

  BSFN_CATALOG_ENTRY real_{};
  DSD0100094 ds_{};
};

TEST_F(AddressNumbers, DrawnNumbersSkipTheAddressBookAndOnDisconnectedClientsTheDistributedOnes) {
  counter(u"1");
  addresses({u"1", u"2", u"4"});
  distributed({u"3", u"5"});
  EXPECT_EQ(run(u"0", u'1'), ER_SUCCESS);
  EXPECT_EQ(outcome(), "3 0 ''");  // szErrorMessageID is four blanks
  EXPECT_EQ(run(u"0", u'1'), ER_SUCCESS);
  EXPECT_EQ(outcome(), "5 0 ''");
  EXPECT_EQ(run(u"0", u'0'), ER_SUCCESS);  // nothing asked for
  EXPECT_EQ(outcome(), "0 0 ''");

  // Disconnected: 6 and 7 are distributed; that they are skipped without F0101
  // shows in where the failing F0101 stops the draw.
  distributed({u"6", u"7"});
  LPBHVRCOM mobile = newContext({{"clienttype", "2"}, {"fail", "VDB_OpenTable:F0101"}});
  EXPECT_EQ(run(u"0", u'1', mobile), ER_ERROR);
  EXPECT_EQ(outcome(), "8 1 '078D'");
  EXPECT_EQ(errors(mobile), Strings{"078D F0101@0"});
  mobile = newContext({{"clienttype", "2"}});
  addresses({u"9"});
  EXPECT_EQ(run(u"0", u'1', mobile), ER_SUCCESS);
  EXPECT_EQ(outcome(), "10 0 ''");
  EXPECT_EQ(run(u"1", u'0', mobile), ER_SUCCESS);  // a number entered there is not validated
  EXPECT_EQ(handlesLeft_, 0u);
}

TEST_F(AddressNumbers, ManualNumbersAgainstAddressBookDistributedAndCurrentNumbers) {
  counter(u"500", u'Y');  // limit 5000: numbers with a check digit have one digit more
  addresses({u"4242"});
  distributed({u"7000", u"3000"});
  distributed({u"100"}, u'2');  // another status is no distributed range
  const struct {
    const char16_t *number;
    const char *crmmsl, *outcome;
    bool readsF0002;  // otherwise F0002 cannot even be opened
  } cases[] = {
      {u"4242", "1", "4242 1 '1212'", false},
      {u"3000", "1", "3000 1 'CRM0071'", false},  // the lowest distributed number
      {u"2999", "1", "2999 0 ''", false},         // below it
      {u"4999", "1", "4999 1 'CRM0071'", true},
      {u"5000", "1", "5000 0 ''", true},
      {u"3000", "0", "3000 0 ''", false},         // switch off: free is enough
      {u"3000", "", "3000 1 'CRM0071'", false},   // empty counts as on
      {u"-5", "1", "-5 1 '0002'", false},
      {u"1.5", "1", "1.5 1 '0002'", false},
      {u"123456789", "1", "123456789 1 '0002'", false},
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"CRMMSL", c.crmmsl}, {"fail", c.readsF0002 ? "" : "VDB_OpenTable:F0002"}});
    const ID code = run(c.number, u'1', context);
    EXPECT_EQ(outcome(), c.outcome);
    EXPECT_EQ(code, ds_.cErrorCode == u'0' ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(errors(context).size(), code == ER_SUCCESS ? 0u : 1u);
    EXPECT_EQ(handlesLeft_, 0u);
  }
  // 5000 itself passes only because the current number was read.
  EXPECT_EQ(run(u"5000", u'1', newContext({{"CRMMSL", "1"}, {"fail", "VDB_OpenTable:F0002"}})), ER_ERROR);
  EXPECT_EQ(outcome(), "5000 1 '078D'");
}

TEST_F(AddressNumbers, SuppressedMessagesAreOnlyRecorded) {
  distributed({u"10"});
  LPBHVRCOM context = newContext({{"CRMMSL", "1"}});
  EXPECT_EQ(run(u"11", u'1', context, u'1'), ER_ERROR);  // above the lowest, and F0002 has no "01" row
  EXPECT_EQ(outcome(), "11 1 '078I'");
  EXPECT_TRUE(errors(context).empty());
  EXPECT_EQ(run(u"11", u'1', context), ER_ERROR);
  EXPECT_EQ(errors(context), Strings{"078I F0002@0"});
  EXPECT_EQ(run(u"0", u'1', context, u'1'), ER_ERROR);  // nothing to draw from: the companion's own error stays
  EXPECT_EQ(outcome(), "0 1 '4456'");
  EXPECT_EQ(errors(context), Strings{"078I F0002@0"});
}

// Stand-ins for X0010GetNextNumber: what the draw does with a zero, a failure,
// and a number that would be 0 both times.
int gCalls = 0;
ID ZeroThenSeven(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  IntToMathNumeric(++gCalls == 1 ? 0 : 7, &((LPDSNEXTNUMBER)lpDS)->mnNextNumber);
  return ER_SUCCESS;
}
ID AlwaysZero(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  ++gCalls;
  ZeroMathNumeric(&((LPDSNEXTNUMBER)lpDS)->mnNextNumber);
  return ER_SUCCESS;
}
ID Warns(LPBHVRCOM, LPVOID, LPVOID) {
  ++gCalls;
  return ER_WARNING;
}

TEST_F(AddressNumbers, ADrawnZeroIsDrawnOnceMoreAndAFailedDrawStops) {
  const struct {
    LPBSFN standIn;
    const char *outcome;
    int calls;
  } cases[] = {{ZeroThenSeven, "7 0 ''", 2}, {AlwaysZero, "0 1 '4456'", 2}, {Warns, "0 1 '4456'", 1}};
  for (const auto &c : cases) {
    gCalls = 0;
    vyr::registerFunction(BSFN_CATALOG_ENTRY{"X0010GetNextNumber", c.standIn, &DSNEXTNUMBER_template, "TEST"});
    run(u"0", u'1');
    EXPECT_EQ(outcome(), c.outcome);
    EXPECT_EQ(gCalls, c.calls);
  }
}

}  // namespace
