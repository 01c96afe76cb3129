// Address numbers: drawn for connected and disconnected clients, entered by
// hand and validated against the address book, the distributed numbers and
// the current next number; the error convention with and without messages.
#include "frame/companions.h"
#include "nextnumbers/B0100094.h"
#include "nextnumbers/nextnumbertables.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

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

  void counter(const char16_t *n001, JCHAR ck01) {
    ROW_F0002 row{};
    vyrStrcpy(row.szSystemCode, u"01");
    row.mnNextNumber[0] = math(n001);
    row.cCheckDigit[0] = ck01;
    insert(u"F0002", &row);
  }
  // Rows of F0101, or of F90CA001 with status "1" (another status is no distributed range).
  void add(const char16_t *table, std::initializer_list<const char16_t *> numbers, JCHAR status = u'1') {
    for (const char16_t *n : numbers) {
      const ROW_F90CA001 row{math(n), status, u"CLIENT", {2024, 5, 1}};
      if (table == std::u16string_view(u"F0101"))
        insert(table, &row, {u"AN8"});
      else
        insert(table, &row);
    }
  }
  // One call, as "return number cErrorCode 'szErrorMessageID'" and the errors raised.
  std::string run(const char16_t *number, Settings settings = {}, JCHAR assign = u'1', JCHAR suppress = u'0') {
    LPBHVRCOM context = newContext(settings);
    DSD0100094 ds{math(number), suppress, u"junk", u'?', assign};
    const ID code = call("GetAndValidateAddressBookNumber", &ds, context);
    std::string out = std::to_string(code) + " " + toUtf8(text(ds.mnAddressNumber)) + " " + char(ds.cErrorCode) + " '" +
                      toUtf8(text(ds.szErrorMessageID)) + "'";
    for (const std::string &e : errors(context)) out += " " + e;
    EXPECT_EQ(handlesLeft_, 0u);
    return out;
  }

  BSFN_CATALOG_ENTRY real_{};
};

TEST_F(AddressNumbers, DrawnNumbersSkipTheAddressBookAndOnDisconnectedClientsTheDistributedOnes) {
  counter(u"1", u'N');
  add(u"F0101", {u"1", u"2", u"4"});
  add(u"F90CA001", {u"3", u"5"});
  EXPECT_EQ(run(u"0"), "0 3 0 ''");  // szErrorMessageID is four blanks
  EXPECT_EQ(run(u"0"), "0 5 0 ''");
  EXPECT_EQ(run(u"0", {}, u'0'), "0 0 0 ''");  // nothing asked for

  // 6 and 7 are distributed: that they are skipped without F0101 shows in
  // where a failing F0101 stops the draw.
  add(u"F90CA001", {u"6", u"7"});
  EXPECT_EQ(run(u"0", {{"clienttype", "2"}, {"fail", "VDB_OpenTable:F0101"}}), "2 8 1 '078D' 078D F0101@0");
  add(u"F0101", {u"9"});
  EXPECT_EQ(run(u"0", {{"clienttype", "2"}}), "0 10 0 ''");
  EXPECT_EQ(run(u"1", {{"clienttype", "2"}}, u'0'), "0 1 0 ''");  // entered there: not validated
}

TEST_F(AddressNumbers, ManualNumbersAgainstAddressBookDistributedAndCurrentNumbers) {
  counter(u"500", u'Y');  // limit 5000: numbers with a check digit have one digit more
  add(u"F0101", {u"4242"});
  add(u"F90CA001", {u"7000", u"3000"});
  add(u"F90CA001", {u"100"}, u'2');
  const char *noF0002 = "VDB_OpenTable:F0002";  // where F0002 must not be read
  const struct {
    const char16_t *number;
    const char *crmmsl, *fail, *outcome;
    JCHAR suppress;
  } cases[] = {
      {u"4242", "1", noF0002, "2 4242 1 '1212' 1212 @1", u'0'},
      {u"3000", "1", noF0002, "2 3000 1 'CRM0071' CRM0071 @1", u'0'},  // the lowest distributed number
      {u"3000", "1", noF0002, "2 3000 1 'CRM0071'", u'1'},             // only recorded
      {u"2999", "1", noF0002, "0 2999 0 ''", u'0'},                    // below it
      {u"4999", "1", "", "2 4999 1 'CRM0071' CRM0071 @1", u'0'},
      {u"5000", "1", "", "0 5000 0 ''", u'0'},
      {u"5000", "1", noF0002, "2 5000 1 '078D' 078D F0002@0", u'0'},
      {u"5001", "1", "VDB_FetchKeyed:F0101", "2 5001 1 '078D' 078D F0101@0", u'0'},  // unread is not free
      {u"3000", "0", noF0002, "0 3000 0 ''", u'0'},                                  // switch off: free is enough
      {u"3000", "", noF0002, "2 3000 1 'CRM0071' CRM0071 @1", u'0'},                 // empty counts as on
      {u"-5", "1", noF0002, "2 -5 1 '0002' 0002 @1", u'0'},
      {u"1.5", "1", noF0002, "2 1.5 1 '0002' 0002 @1", u'0'},
      {u"123456789", "1", noF0002, "2 123456789 1 '0002' 0002 @1", u'0'},
  };
  for (const auto &c : cases)
    EXPECT_EQ(run(c.number, {{"CRMMSL", c.crmmsl}, {"fail", c.fail}}, u'1', c.suppress), c.outcome);
}

TEST_F(AddressNumbers, WithoutTheRowOfSystem01NothingIsDrawnOrCompared) {
  add(u"F90CA001", {u"10"});
  EXPECT_EQ(run(u"11", {{"CRMMSL", "1"}}), "2 11 1 '078I' 078I F0002@0");
  // The companion's own error stays; the draw's is only recorded.
  EXPECT_EQ(run(u"0", {}, u'1', u'1'), "2 0 1 '4456' 078I F0002@0");
}

// Stand-ins for X0010GetNextNumber: a first answer of 0 is drawn once more, a
// failure stops the draw, and a second 0 is no address number.
int gCalls = 0;
ID ZeroThenSeven(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  IntToMathNumeric(++gCalls == 1 ? 0 : 7, &((LPDSNEXTNUMBER)lpDS)->mnNextNumber);
  return ER_SUCCESS;
}
ID AlwaysZero(LPBHVRCOM, LPVOID, LPVOID) { return ++gCalls, ER_SUCCESS; }
ID Warns(LPBHVRCOM, LPVOID, LPVOID) { return ++gCalls, ER_WARNING; }

TEST_F(AddressNumbers, ADrawnZeroIsDrawnOnceMoreAndAFailedDrawStops) {
  const struct {
    LPBSFN standIn;
    const char *outcome;
    int calls;
  } cases[] = {
      {ZeroThenSeven, "0 7 0 ''", 2}, {AlwaysZero, "2 0 1 '4456' 4456 @1", 2}, {Warns, "2 0 1 '4456' 4456 @1", 1}};
  for (const auto &c : cases) {
    gCalls = 0;
    vyr::registerFunction(BSFN_CATALOG_ENTRY{"X0010GetNextNumber", c.standIn, &DSNEXTNUMBER_template, "TEST"});
    EXPECT_EQ(run(u"0"), c.outcome);
    EXPECT_EQ(gCalls, c.calls);
  }
}

}  // namespace
