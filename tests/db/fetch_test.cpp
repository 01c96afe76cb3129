// Keyed fetches, scans, selection and sequencing against a real database.
#include <thread>

#include "db_fixture.h"
#include "unicode/jchar_utf8.h"

namespace {

using dbtest::entry;
using dbtest::number;
using dbtest::Party;
using dbtest::Rate;
using dbtest::set;
using dbtest::str;
using dbtest::text;

class Fetch : public dbtest::DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    rates_ = open(u"F0015", 3, kRateColumns);
    people_ = open(u"F0101", 1, kPartyColumns);
  }
  void addRate(std::u16string_view to, const char *an8, VYRDATE eft, const char *value) {
    const Rate r = dbtest::rate(u"USD", to, an8, eft, value);
    ASSERT_EQ(VDB_InsertTable(rates_, &r), 1u);
  }
  void addPerson(const char *an8, std::u16string_view name, std::u16string_view type, VYRDATE updated = {}) {
    const Party p = dbtest::party(an8, name, type, updated);
    ASSERT_EQ(VDB_InsertTable(people_, &p), 1u);
  }
  // AN8 of every person a scan returns, in order.
  std::vector<std::string> people(ID index = 1) {
    return scan<Party>(people_, index, [](const Party &p) { return text(p.an8); });
  }

  HREQUEST rates_ = nullptr, people_ = nullptr;
};

TEST_P(Fetch, DescendingIndexPartialKeysKeyBuffersAndSelectionFindTheRateInForce) {
  addRate(u"EUR", "0", {2023, 1, 1}, "0.9");
  addRate(u"EUR", "0", {2024, 6, 1}, "0.95");
  addRate(u"EUR", "0", {2024, 1, 1}, "0.92");
  addRate(u"GBP", "0", {2024, 1, 1}, "0.8");
  addRate(u"EUR", "4242", {2024, 2, 1}, "0.91");
  Rate k = dbtest::rate(u"USD", u"EUR", "0", {}, "0");

  const VYRDATE asOf{2024, 3, 15};
  const SELECTSTRUCT onDate = entry(u"EFT", VDB_CMP_LE, &asOf);
  ASSERT_EQ(VDB_SetSelection(rates_, &onDate, 1), 1u);
  Rate r{};
  ASSERT_EQ(VDB_FetchKeyed(rates_, 0, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nYear * 100 + r.eft.nMonth, 202401);
  EXPECT_EQ(text(r.crr), "0.9200000");  // seven decimals, exact

  // Without the date limit the newest rate comes first; through ascending index 1 the oldest.
  ASSERT_EQ(VDB_ClearSelection(rates_), 1u);
  ASSERT_EQ(VDB_FetchKeyed(rates_, 0, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nMonth, 6);
  ASSERT_EQ(VDB_FetchKeyed(rates_, 1, &k, 4, &r, 0), 1u);
  EXPECT_EQ(r.eft.nYear, 2023);

  // Two key fields cover every party of the pair (AN8 0 first, newest first), one the whole currency.
  auto month = [](const Rate &rate) { return std::to_string(rate.eft.nYear * 100 + rate.eft.nMonth); };
  EXPECT_EQ(scan<Rate>(rates_, 3, month, &k, 2), (std::vector<std::string>{"202406", "202401", "202301", "202402"}));
  EXPECT_EQ(scan<Rate>(rates_, 3, month, &k, 1).size(), 5u);

  // A key buffer is built column by column, for one index.
  void *keyBuffer = VDB_BuildKeyBuffer(rates_, 3);
  ASSERT_NE(keyBuffer, nullptr);
  const MATH_NUMERIC zero = number("0");
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRCD", u"USD"), 1u);  // shorter than the field
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRDC", u"GBP"), 1u);
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"AN8", &zero), 1u);
  EXPECT_EQ(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"RTTYP", u""), 1u);
  EXPECT_NE(VDB_AssignColumnValue(rates_, keyBuffer, 3, u"CRR", &zero), 1u);    // not a key column
  EXPECT_NE(VDB_AssignColumnValue(rates_, keyBuffer, 1, u"CRCD", u"USD"), 1u);  // built for index 3
  ASSERT_EQ(VDB_FetchKeyed(rates_, 3, keyBuffer, 4, &r, 0), 1u);
  EXPECT_EQ(text(r.crr), "0.8000000");
  EXPECT_EQ(VDB_FreeKeyBuffer(keyBuffer), 1u);
  EXPECT_NE(VDB_FreeKeyBuffer(keyBuffer), 1u);
  int local = 0;
  EXPECT_NE(VDB_AssignColumnValue(rates_, &local, 3, u"CRCD", u"USD"), 1u);
  set(k.crdc, u"JPY");
  EXPECT_NE(VDB_FetchKeyed(rates_, 0, &k, 2, &r, 0), 1u);
}

TEST_P(Fetch, SelectionOrsWithThePreviousEntryAndsTheGroupsComparesByValueAndTestsForNull) {
  const char16_t *names[] = {u"Smith   ", u"  Jones", u"P", u"P", u"P", u"P"};
  const char16_t *types[] = {u"C", u"V", u"E", u"C", u"V", u"E"};
  const VYRDATE dates[] = {{2024, 1, 5}, {}, {2024, 1, 6}, {}, {2023, 12, 31}, {2024, 2, 1}};
  for (int i = 0; i < 6; ++i) addPerson(std::to_string(i + 1).c_str(), names[i], types[i], dates[i]);
  const JCHAR c[4] = u"C", v[4] = u"V", e[4] = u"E", smith[41] = u"Smith", smithPadded[41] = u"Smith          ",
              jones[41] = u"Jones", jonesLeading[41] = u"  Jones";
  const MATH_NUMERIC two = number("2"), five = number("5"), twoAndHalf = number("2.5");
  const VYRDATE nullDate{}, jan6{2024, 1, 6};
  const std::vector<std::string> all = {"1", "2", "3", "4", "5", "6"};
  const struct {
    std::vector<SELECTSTRUCT> entries;
    std::vector<std::string> expected;
  } cases[] = {
      {{entry(u"AT1", VDB_CMP_EQ, c), entry(u"AT1", VDB_CMP_EQ, v, VDB_OR), entry(u"AN8", VDB_CMP_GT, &two)},
       {"4", "5"}},
      {{entry(u"AN8", VDB_CMP_GT, &two), entry(u"AT1", VDB_CMP_EQ, c), entry(u"AT1", VDB_CMP_EQ, e, VDB_OR)},
       {"3", "4", "6"}},
      {{entry(u"AN8", VDB_CMP_LT, &two), entry(u"AN8", VDB_CMP_GE, &five, VDB_OR)}, {"1", "5", "6"}},
      {{entry(u"AT1", VDB_CMP_NE, c), entry(u"AN8", VDB_CMP_LE, &five)}, {"2", "3", "5"}},
      // A leading OR has no entry before it and opens the first group.
      {{entry(u"AT1", VDB_CMP_EQ, e, VDB_OR), entry(u"AN8", VDB_CMP_GT, &five)}, {"6"}},
      // Numbers with more decimals than the column compare by value.
      {{entry(u"AN8", VDB_CMP_LT, &twoAndHalf)}, {"1", "2"}},
      {{entry(u"AN8", VDB_CMP_GT, &twoAndHalf)}, {"3", "4", "5", "6"}},
      {{entry(u"AN8", VDB_CMP_EQ, &twoAndHalf)}, {}},
      {{entry(u"AN8", VDB_CMP_NE, &twoAndHalf)}, all},
      // Strings compare without trailing blanks; leading ones are data.
      {{entry(u"ALPH", VDB_CMP_EQ, smith)}, {"1"}},
      {{entry(u"ALPH", VDB_CMP_EQ, smithPadded)}, {"1"}},
      {{entry(u"ALPH", VDB_CMP_EQ, jonesLeading)}, {"2"}},
      {{entry(u"ALPH", VDB_CMP_EQ, jones)}, {}},
      // A null pointer or the null date is IS NULL with =, IS NOT NULL with <>.
      {{entry(u"UPMJ", VDB_CMP_EQ, nullptr)}, {"2", "4"}},
      {{entry(u"UPMJ", VDB_CMP_EQ, &nullDate)}, {"2", "4"}},
      {{entry(u"UPMJ", VDB_CMP_NE, nullptr)}, {"1", "3", "5", "6"}},
      {{entry(u"UPMJ", VDB_CMP_NE, &nullDate), entry(u"AT1", VDB_CMP_EQ, c)}, {"1"}},
      // The null date is no date: not before, after or other than one.
      {{entry(u"UPMJ", VDB_CMP_LT, &jan6)}, {"1", "5"}},
      {{entry(u"UPMJ", VDB_CMP_LE, &jan6)}, {"1", "3", "5"}},
      {{entry(u"UPMJ", VDB_CMP_GE, &jan6)}, {"3", "6"}},
      {{entry(u"UPMJ", VDB_CMP_NE, &jan6)}, {"1", "5", "6"}},
      {{entry(u"UPMJ", VDB_CMP_EQ, &nullDate), entry(u"UPMJ", VDB_CMP_GT, &jan6, VDB_OR)}, {"2", "4", "6"}},
  };
  for (const auto &test : cases) {
    ASSERT_EQ(VDB_SetSelection(people_, test.entries.data(), static_cast<short>(test.entries.size())), 1u);
    EXPECT_EQ(people(), test.expected) << &test - cases;
  }
}

TEST_P(Fetch, SequencingOrdersTextByCodePointAndNullDatesFirstUntilCleared) {
  addPerson("1", u"Miller", u"C", {2024, 5, 1});
  addPerson("2", u"Adams", u"V");  // no date
  addPerson("3", u"\u00C4hnlich", u"C", {2023, 1, 1});
  addPerson("4", u"Adams", u"E", {2024, 1, 1});
  addPerson("5", u"adams", u"E", {2023, 6, 1});
  const struct {
    std::vector<std::pair<const char16_t *, int>> sort;
    std::vector<std::string> expected;
  } cases[] = {
      // Whatever the database's collation: capitals, small letters, accented ones; equal names in index 1 order.
      {{{u"ALPH", VDB_ASCENDING}}, {"2", "4", "1", "5", "3"}},
      {{{u"ALPH", VDB_ASCENDING}, {u"AN8", VDB_DESCENDING}}, {"4", "2", "1", "5", "3"}},
      {{{u"ALPH", VDB_DESCENDING}}, {"3", "5", "1", "2", "4"}},
      {{{u"UPMJ", VDB_ASCENDING}}, {"2", "3", "5", "4", "1"}},
      {{{u"UPMJ", VDB_DESCENDING}}, {"1", "4", "5", "3", "2"}},
      {{}, {"1", "2", "3", "4", "5"}},
  };
  for (const auto &c : cases) {
    std::vector<SORTSTRUCT> sort(c.sort.size());
    for (size_t i = 0; i < sort.size(); ++i)
      set(sort[i].szColumn, c.sort[i].first), sort[i].nDirection = c.sort[i].second;
    ASSERT_EQ(c.sort.empty() ? VDB_ClearSequencing(people_)
                             : VDB_SetSequencing(people_, sort.data(), static_cast<short>(sort.size())),
              1u);
    EXPECT_EQ(people(), c.expected) << &c - cases;
  }
  EXPECT_EQ(people(2), (std::vector<std::string>{"2", "4", "1", "5", "3"}));  // index 2 orders by name
  JCHAR small[41];
  set(small, u"a");
  const SELECTSTRUCT below = entry(u"ALPH", VDB_CMP_LT, small);
  ASSERT_EQ(VDB_SetSelection(people_, &below, 1), 1u);
  EXPECT_EQ(people(), (std::vector<std::string>{"1", "2", "4"}));
}

TEST_P(Fetch, CompanyAndCurrencyRowsComeWhole) {
  struct {
    JCHAR crcd[4], dl01[31], cdec;
  } row{}, back{};
  set(row.crcd, u"JPY"), set(row.dl01, u"Yen"), row.cdec = u'0';
  const HREQUEST currencies = open(u"F0013");
  ASSERT_EQ(VDB_InsertTable(currencies, &row), 1u);
  ASSERT_EQ(VDB_RetrieveF0013RowUsingCurrencyCode(user_, u"JPY", &back), 1u);
  EXPECT_EQ(str(back.dl01), u"Yen" + std::u16string(27, u' '));
  EXPECT_EQ(back.cdec, u'0');
  EXPECT_NE(VDB_RetrieveF0013RowUsingCurrencyCode(user_, u"XXX", &back), 1u);
  unsigned char company[512];
  EXPECT_NE(VDB_RetrieveF0010RowUsingCompanyNumber(user_, u"00000", company), 1u);
}

TEST_P(Fetch, RowReadsThatReachTheDatabaseAreCountedPerThread) {
  addPerson("1", u"Ann", u"C");
  addPerson("2", u"Bob", u"C");
  const MATH_NUMERIC one = number("1"), nine = number("9");
  Party p;
  const uint64_t start = vyr::db::rowFetchCount();
  EXPECT_EQ(VDB_FetchKeyed(people_, 1, &one, 1, &p, 0), 1u);
  EXPECT_NE(VDB_FetchKeyed(people_, 1, &nine, 1, &p, 0), 1u);
  EXPECT_EQ(people().size(), 2u);                             // two rows and the end of the scan
  EXPECT_NE(VDB_Fetch(people_, &p, 0), 1u);                   // the scan is over: nothing read
  EXPECT_NE(VDB_FetchKeyed(people_, 7, &one, 1, &p, 0), 1u);  // refused before the database
  EXPECT_EQ(vyr::db::rowFetchCount() - start, 5u);
  uint64_t elsewhere = 1;
  std::thread([&] { elsewhere = vyr::db::rowFetchCount(); }).join();
  EXPECT_EQ(elsewhere, 0u);
}

// Long scans come in pages on a server: each goes on where it was whatever
// else the handle does meanwhile, survives a commit of its transaction, and
// starts afresh when abandoned or rolled back.
TEST_P(Fetch, LongScansGoOnAcrossPagesWhateverElseTheHandleDoes) {
  constexpr int kRows = 1234;
  HUSER loader = newUser(1);
  HREQUEST own = open(u"F00022", 1, {}, loader), outer = open(u"F00022"), inner = open(u"F00022");
  auto name = [](int i) { return u"N" + vyr::fromUtf8(std::to_string(10000 + i).substr(1)); };
  for (int i = 1; i <= kRows; ++i) {
    const dbtest::Counter c = dbtest::counter(name(i), std::to_string(i).c_str());
    ASSERT_EQ(VDB_InsertTable(own, &c), 1u);
  }
  ASSERT_EQ(VDB_CommitUser(loader), 1u);
  dbtest::Counter c{};
  // Reads up to `count` rows of a scan (all: -1), checking they follow from row `from`; how many.
  auto read = [&](HREQUEST request, int from, int count) {
    int seen = 0;
    for (; seen != count && VDB_Fetch(request, &c, 0) == 1; ++seen)
      if (str(c.obnm).substr(0, 5) != name(from + seen)) return -1;
    return seen;
  };
  ASSERT_EQ(VDB_SelectKeyed(outer, 1, nullptr, 0), 1u);
  EXPECT_EQ(read(outer, 1, 700), 700);
  ASSERT_EQ(VDB_SelectKeyed(inner, 1, nullptr, 0), 1u);  // a second scan and a fetch between pages
  EXPECT_EQ(read(inner, 1, 600), 600);
  EXPECT_EQ(VDB_FetchKeyed(inner, 1, name(1000).c_str(), 1, &c, 0), 1u);
  EXPECT_EQ(read(outer, 701, -1), kRows - 700);
  ASSERT_EQ(VDB_SelectKeyed(inner, 1, nullptr, 0), 1u);  // the abandoned one starts over
  EXPECT_EQ(read(inner, 1, -1), kRows);
  ASSERT_EQ(VDB_SelectKeyed(own, 1, nullptr, 0), 1u);
  EXPECT_EQ(read(own, 1, 600), 600);
  ASSERT_EQ(VDB_CommitUser(loader), 1u);
  EXPECT_EQ(read(own, 601, 100), 100);
  ASSERT_EQ(VDB_RollbackUser(loader), 1u);
  ASSERT_EQ(VDB_SelectKeyed(own, 1, nullptr, 0), 1u);
  EXPECT_EQ(read(own, 1, -1), kRows);
  ASSERT_EQ(VDB_CommitUser(loader), 1u);  // SQLite: its transaction holds the write lock
  // Rows locked page by page are each written back; the writes are committed when the scan ends.
  ASSERT_EQ(VDB_SelectKeyedForUpdate(outer, 1, nullptr, 0), 1u);
  int updated = 0;
  while (VDB_FetchForUpdate(outer, &c, 0) == 1) {
    c.ukid = number(std::to_string(std::stoi(text(c.ukid)) + 1));
    updated += VDB_UpdateCurrent(outer, &c) == 1;
  }
  EXPECT_EQ(updated, kRows);
  EXPECT_EQ(committed(name(kRows)), std::to_string(kRows + 1));
}

INSTANTIATE_TEST_SUITE_P(Engines, Fetch, dbtest::engines(), dbtest::engineName);

}  // namespace
