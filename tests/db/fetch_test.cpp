// Keyed fetches, scans, selection and sequencing against a real database.
#include <algorithm>
#include <thread>

#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::set;
using dbtest::str;
using dbtest::text;

#pragma pack(push, 1)
struct Rate {  // F0015, every column
  JCHAR crcd[4], crdc[4];
  MATH_NUMERIC an8;
  JCHAR rttyp[3];
  VYRDATE eft;
  JCHAR csr, crcm;
  JCHAR crcx[4];
  MATH_NUMERIC crr, crrd;
};
struct RateKey {  // F0015 index 1 and 3
  JCHAR crcd[4], crdc[4];
  MATH_NUMERIC an8;
  JCHAR rttyp[3];
  VYRDATE eft;
};
struct Party {  // F0101: AN8, ALPH, AT1, UPMJ
  MATH_NUMERIC an8;
  JCHAR alph[41];
  JCHAR at1[4];
  VYRDATE upmj;
};
struct Currency {  // F0013, every column
  JCHAR crcd[4];
  JCHAR dl01[31];
  JCHAR cdec;
};
#pragma pack(pop)

class Fetch : public dbtest::DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    rates_ = open(u"F0015", 3);
    parties_ = open(u"F0101", 1, {u"AN8", u"ALPH", u"AT1", u"UPMJ"});
  }
  void TearDown() override {
    VDB_CloseTable(rates_);
    VDB_CloseTable(parties_);
    DbTest::TearDown();
  }

  void addRate(std::u16string_view from, std::u16string_view to, const char *an8, VYRDATE eft, const char *rate) {
    Rate r{};
    set(r.crcd, from), set(r.crdc, to), set(r.rttyp, u"  "), set(r.crcx, from);
    r.an8 = number(an8), r.eft = eft, r.csr = u' ', r.crcm = u'Y';
    r.crr = number(rate), r.crrd = number("1");
    ASSERT_EQ(VDB_InsertTable(rates_, &r), 1u);
  }
  void addParty(const char *an8, std::u16string_view name, std::u16string_view type, VYRDATE updated = {}) {
    Party p{};
    p.an8 = number(an8), set(p.alph, name), set(p.at1, type), p.upmj = updated;
    ASSERT_EQ(VDB_InsertTable(parties_, &p), 1u);
  }
  static RateKey key(std::u16string_view from, std::u16string_view to, const char *an8 = "0") {
    RateKey k{};
    set(k.crcd, from), set(k.crdc, to), set(k.rttyp, u"  ");
    k.an8 = number(an8);
    return k;
  }
  // AN8 of every party the scan returns, in order.
  std::vector<std::string> scanParties(ID index = 1) {
    std::vector<std::string> out;
    EXPECT_EQ(VDB_SelectKeyed(parties_, index, nullptr, 0), 1u);
    Party p;
    while (VDB_Fetch(parties_, &p, 0) == 1) out.push_back(text(p.an8));
    return out;
  }

  HREQUEST rates_ = nullptr, parties_ = nullptr;
};

TEST_P(Fetch, RateInForceComesFirstThroughTheDescendingIndex) {
  addRate(u"USD", u"EUR", "0", {2023, 1, 1}, "0.9");
  addRate(u"USD", u"EUR", "0", {2024, 6, 1}, "0.95");
  addRate(u"USD", u"EUR", "0", {2024, 1, 1}, "0.92");
  addRate(u"USD", u"GBP", "0", {2024, 1, 1}, "0.8");
  addRate(u"USD", u"EUR", "4242", {2024, 2, 1}, "0.91");

  const RateKey k = key(u"USD", u"EUR");
  const VYRDATE asOf{2024, 3, 15};
  SELECTSTRUCT onDate{};
  dbtest::setName(onDate.szColumn, u"EFT");
  onDate.nComparison = VDB_CMP_LE;
  onDate.lpValue = &asOf;
  ASSERT_EQ(VDB_SetSelection(rates_, &onDate, 1), 1u);
  Rate r{};
  ASSERT_EQ(VDB_FetchKeyed(rates_, 0, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nYear, 2024);
  EXPECT_EQ(r.eft.nMonth, 1);
  EXPECT_EQ(text(r.crr), "0.9200000");  // seven decimals, exact

  // Without the date limit the newest rate comes first; through ascending index 1 the oldest.
  ASSERT_EQ(VDB_ClearSelection(rates_), 1u);
  ASSERT_EQ(VDB_FetchKeyed(rates_, 0, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nMonth, 6);
  ASSERT_EQ(VDB_FetchKeyed(rates_, 1, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nYear, 2023);

  // Partial keys: two fields cover every party of the pair, one field the whole currency.
  std::vector<int> years;
  ASSERT_EQ(VDB_SelectKeyed(rates_, 3, &k, 2), 1u);
  while (VDB_Fetch(rates_, &r, 0) == 1) years.push_back(r.eft.nYear * 100 + r.eft.nMonth);
  EXPECT_EQ(years, (std::vector<int>{202406, 202401, 202301, 202402}));  // AN8 0 first, EFT newest first
  int count = 0;
  ASSERT_EQ(VDB_SelectKeyed(rates_, 3, &k, 1), 1u);
  while (VDB_Fetch(rates_, &r, 0) == 1) ++count;
  EXPECT_EQ(count, 5);
  const RateKey none = key(u"USD", u"JPY");
  EXPECT_NE(VDB_FetchKeyed(rates_, 0, &none, 2, &r, 0), 1u);
}

TEST_P(Fetch, StringsArePaddedOnFetchAndComparedWithoutTrailingBlanks) {
  addParty("1", u"Smith   ", u"C");
  addParty("2", u"  Jones", u"V");
  Party p{};
  const MATH_NUMERIC one = number("1");
  ASSERT_EQ(VDB_FetchKeyed(parties_, 1, &one, 1, &p, 0), 1u);
  EXPECT_EQ(str(p.alph), u"Smith" + std::u16string(35, u' '));
  EXPECT_EQ(str(p.at1), u"C  ");

  for (const char16_t *wanted : {u"Smith", u"Smith          ", u"  Jones"}) {
    JCHAR value[41];
    set(value, wanted);
    SELECTSTRUCT byName{};
    dbtest::setName(byName.szColumn, u"ALPH");
    byName.nComparison = VDB_CMP_EQ;
    byName.lpValue = value;
    ASSERT_EQ(VDB_SetSelection(parties_, &byName, 1), 1u);
    EXPECT_EQ(scanParties().size(), 1u);
  }
  JCHAR jones[41];
  set(jones, u"Jones");  // leading blanks are data
  SELECTSTRUCT byName{};
  dbtest::setName(byName.szColumn, u"ALPH");
  byName.lpValue = jones;
  byName.nComparison = VDB_CMP_EQ;
  ASSERT_EQ(VDB_SetSelection(parties_, &byName, 1), 1u);
  EXPECT_TRUE(scanParties().empty());
}

TEST_P(Fetch, SelectionGroupsOrWithThePreviousEntryAndAndTheGroups) {
  const char16_t *types[] = {u"C", u"V", u"E", u"C", u"V", u"E"};
  for (int i = 0; i < 6; ++i) addParty(std::to_string(i + 1).c_str(), u"P", types[i]);
  const JCHAR c[4] = u"C", v[4] = u"V", e[4] = u"E";
  const MATH_NUMERIC two = number("2"), five = number("5"), twoAndHalf = number("2.5");
  struct Entry {
    const char16_t *column;
    int comparison, connector;
    const void *value;
  };
  struct Case {
    std::vector<Entry> entries;
    std::vector<std::string> expected;
  } const cases[] = {
      {{{u"AT1", VDB_CMP_EQ, VDB_AND, c}, {u"AT1", VDB_CMP_EQ, VDB_OR, v}, {u"AN8", VDB_CMP_GT, VDB_AND, &two}},
       {"4", "5"}},
      {{{u"AN8", VDB_CMP_GT, VDB_AND, &two}, {u"AT1", VDB_CMP_EQ, VDB_AND, c}, {u"AT1", VDB_CMP_EQ, VDB_OR, e}},
       {"3", "4", "6"}},
      {{{u"AN8", VDB_CMP_LT, VDB_AND, &two}, {u"AN8", VDB_CMP_GE, VDB_OR, &five}}, {"1", "5", "6"}},
      {{{u"AT1", VDB_CMP_NE, VDB_AND, c}, {u"AN8", VDB_CMP_LE, VDB_AND, &five}}, {"2", "3", "5"}},
      // Numbers with more decimals than the column compare by value.
      {{{u"AN8", VDB_CMP_LT, VDB_AND, &twoAndHalf}}, {"1", "2"}},
      {{{u"AN8", VDB_CMP_GT, VDB_AND, &twoAndHalf}}, {"3", "4", "5", "6"}},
      {{{u"AN8", VDB_CMP_EQ, VDB_AND, &twoAndHalf}}, {}},
      {{{u"AN8", VDB_CMP_NE, VDB_AND, &twoAndHalf}}, {"1", "2", "3", "4", "5", "6"}},
      // A leading OR has no entry before it and opens the first group.
      {{{u"AT1", VDB_CMP_EQ, VDB_OR, e}, {u"AN8", VDB_CMP_GT, VDB_AND, &five}}, {"6"}},
  };
  for (const Case &test : cases) {
    std::vector<SELECTSTRUCT> selection(test.entries.size());
    for (size_t i = 0; i < test.entries.size(); ++i) {
      dbtest::setName(selection[i].szColumn, test.entries[i].column);
      selection[i].nComparison = test.entries[i].comparison;
      selection[i].nAndOr = test.entries[i].connector;
      selection[i].lpValue = test.entries[i].value;
    }
    ASSERT_EQ(VDB_SetSelection(parties_, selection.data(), static_cast<short>(selection.size())), 1u);
    EXPECT_EQ(scanParties(), test.expected);
  }
}

TEST_P(Fetch, NullValuesSelectIsNullAndIsNotNull) {
  addParty("1", u"A", u"C", {2024, 1, 5});
  addParty("2", u"B", u"C");
  addParty("3", u"C", u"C", {2024, 1, 6});
  const VYRDATE nullDate{};
  for (const void *value : {static_cast<const void *>(nullptr), static_cast<const void *>(&nullDate)}) {
    SELECTSTRUCT entry{};
    dbtest::setName(entry.szColumn, u"UPMJ");
    entry.lpValue = value;
    entry.nComparison = VDB_CMP_EQ;
    ASSERT_EQ(VDB_SetSelection(parties_, &entry, 1), 1u);
    EXPECT_EQ(scanParties(), std::vector<std::string>{"2"});
    entry.nComparison = VDB_CMP_NE;
    ASSERT_EQ(VDB_SetSelection(parties_, &entry, 1), 1u);
    EXPECT_EQ(scanParties(), (std::vector<std::string>{"1", "3"}));
  }
}

TEST_P(Fetch, SequencingReordersScansUntilCleared) {
  addParty("1", u"Miller", u"C");
  addParty("2", u"Adams", u"V");
  addParty("3", u"Young", u"C");
  addParty("4", u"Adams", u"E");
  SORTSTRUCT byName[2]{};
  dbtest::setName(byName[0].szColumn, u"ALPH");
  byName[0].nDirection = VDB_ASCENDING;
  dbtest::setName(byName[1].szColumn, u"AN8");
  byName[1].nDirection = VDB_DESCENDING;
  ASSERT_EQ(VDB_SetSequencing(parties_, byName, 2), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"4", "2", "1", "3"}));
  byName[0].nDirection = VDB_DESCENDING;
  ASSERT_EQ(VDB_SetSequencing(parties_, byName, 1), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"3", "1", "2", "4"}));  // equal names: index 1 order
  ASSERT_EQ(VDB_ClearSequencing(parties_), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"1", "2", "3", "4"}));
  // Index 2 orders by name.
  EXPECT_EQ(scanParties(2), (std::vector<std::string>{"2", "4", "1", "3"}));
}

TEST_P(Fetch, TextOrdersByCodePointAndNullDatesComeFirst) {
  addParty("1", u"adams", u"C", {2024, 5, 1});
  addParty("2", u"Baker", u"C");  // no date
  addParty("3", u"\u00C4hnlich", u"C", {2023, 1, 1});
  addParty("4", u"Zoe", u"C", {2024, 1, 1});
  // Whatever the database's own collation: capitals, then small letters, then accented ones.
  EXPECT_EQ(scanParties(2), (std::vector<std::string>{"2", "4", "1", "3"}));
  JCHAR small[41];
  set(small, u"a");
  SELECTSTRUCT below{};
  dbtest::setName(below.szColumn, u"ALPH");
  below.nComparison = VDB_CMP_LT;
  below.lpValue = small;
  ASSERT_EQ(VDB_SetSelection(parties_, &below, 1), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"2", "4"}));
  ASSERT_EQ(VDB_ClearSelection(parties_), 1u);

  SORTSTRUCT byDate{};
  dbtest::setName(byDate.szColumn, u"UPMJ");
  byDate.nDirection = VDB_ASCENDING;
  ASSERT_EQ(VDB_SetSequencing(parties_, &byDate, 1), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"2", "3", "4", "1"}));
  byDate.nDirection = VDB_DESCENDING;
  ASSERT_EQ(VDB_SetSequencing(parties_, &byDate, 1), 1u);
  EXPECT_EQ(scanParties(), (std::vector<std::string>{"1", "4", "3", "2"}));
}

TEST_P(Fetch, KeyBuffersAreBuiltColumnByColumn) {
  addRate(u"USD", u"EUR", "0", {2024, 1, 1}, "0.92");
  void *keyBuffer = VDB_BuildKeyBuffer(rates_, 3);
  ASSERT_NE(keyBuffer, nullptr);
  const MATH_NUMERIC zero = number("0");
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRCD", u"USD"), 1u);  // shorter than the field
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRDC", u"EUR"), 1u);
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"AN8", &zero), 1u);
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"RTTYP", u""), 1u);
  EXPECT_NE(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRR", &zero), 1u);    // not a key column
  EXPECT_NE(VDB_AssignColumnValue(rates_, keyBuffer, 1, u"CRCD", u"USD"), 1u);  // built for index 3
  Rate r{};
  EXPECT_EQ(VDB_FetchKeyed(rates_, 3, keyBuffer, 4, &r, 0), 1u);
  EXPECT_EQ(VDB_FreeKeyBuffer(keyBuffer), 1u);
  EXPECT_NE(VDB_FreeKeyBuffer(keyBuffer), 1u);
  int local = 0;
  EXPECT_NE(VDB_AssignColumnValue(rates_, &local, 3, u"CRCD", u"USD"), 1u);
}

TEST_P(Fetch, CompanyAndCurrencyRowsComeWhole) {
  const HREQUEST currencies = open(u"F0013");
  Currency row{}, back{};
  set(row.crcd, u"JPY"), set(row.dl01, u"Yen"), row.cdec = u'0';
  ASSERT_EQ(VDB_InsertTable(currencies, &row), 1u);
  VDB_CloseTable(currencies);
  ASSERT_EQ(VDB_RetrieveF0013RowUsingCurrencyCode(user_, u"JPY", &back), 1u);
  EXPECT_EQ(str(back.dl01), u"Yen" + std::u16string(27, u' '));
  EXPECT_EQ(back.cdec, u'0');
  EXPECT_NE(VDB_RetrieveF0013RowUsingCurrencyCode(user_, u"XXX", &back), 1u);
  unsigned char company[512];
  EXPECT_NE(VDB_RetrieveF0010RowUsingCompanyNumber(user_, u"00000", company), 1u);
}

TEST_P(Fetch, RowReadsThatReachTheDatabaseAreCountedPerThread) {
  addParty("1", u"Ann", u"C");
  addParty("2", u"Bob", u"C");
  const MATH_NUMERIC one = number("1"), nine = number("9");
  Party p;
  const uint64_t start = vyr::db::rowFetchCount();
  EXPECT_EQ(VDB_FetchKeyed(parties_, 1, &one, 1, &p, 0), 1u);
  EXPECT_NE(VDB_FetchKeyed(parties_, 1, &nine, 1, &p, 0), 1u);
  EXPECT_EQ(scanParties().size(), 2u);  // two rows and the end of the scan
  EXPECT_NE(VDB_Fetch(parties_, &p, 0), 1u);  // the scan is over: nothing read
  EXPECT_NE(VDB_FetchKeyed(parties_, 7, &one, 1, &p, 0), 1u);  // refused before the database
  EXPECT_EQ(vyr::db::rowFetchCount() - start, 5u);
  uint64_t elsewhere = 1;
  std::thread([&] { elsewhere = vyr::db::rowFetchCount(); }).join();
  EXPECT_EQ(elsewhere, 0u);
}

INSTANTIATE_TEST_SUITE_P(Engines, Fetch, dbtest::engines(), dbtest::engineName);

}  // namespace
