// Inserts, updates and deletes, what unset columns become, exact round trips
// of numbers, dates, timestamps and binary columns.
#include <numeric>

#include "db/catalog.h"
#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::set;
using dbtest::str;
using dbtest::text;

#pragma pack(push, 1)
struct Party {  // F0101: AN8, ALPH
  MATH_NUMERIC an8;
  JCHAR alph[41];
};
struct PartyRow {  // F0101, every column
  MATH_NUMERIC an8;
  JCHAR alky[21], tax[21], alph[41], at1[4], mcu[13], user[11], pid[11];
  VYRDATE upmj;
};
struct Policy {  // F98QXSEC: QXUSR, QXTYP, SRVBLOBA
  JCHAR qxusr[11], qxtyp[11];
  const void *blob;
};
struct Activity {  // F01301: ACTVID, BGTM, DUEDT, TDLDS
  JCHAR actvid[37];
  UTIME bgtm;
  VYRDATE duedt;
  UTIME tdlds;
};
struct NameFirst {  // F0101: ALPH, AN8
  JCHAR alph[41];
  MATH_NUMERIC an8;
};
struct Rate {  // F0015: CRCD, CRDC, AN8, RTTYP, EFT, CRR
  JCHAR crcd[4], crdc[4];
  MATH_NUMERIC an8;
  JCHAR rttyp[3];
  VYRDATE eft;
  MATH_NUMERIC crr;
};
struct Named {  // F00022, every column
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
struct Counter {  // F00022: UKID only (the key column OBNM is not selected)
  MATH_NUMERIC ukid;
};
struct Kinds {  // ZKINDS, every column
  int32_t count;
  JCHAR flag;
  MATH_NUMERIC amount;
};
#pragma pack(pop)

// A table of this test program only, for the kinds the library tables do not use.
const vyr::db::schema::CatalogSection kTestTables([] {
  using namespace vyr::db::schema;
  return std::vector<TableSpec>{{u"ZKINDS",
                                 "test: integer and character columns",
                                 {integer(u"CNT"), chr(u"FLAG"), num(u"AMT", 6, 3)},
                                 {unique(1, {asc(u"CNT")}), index(2, {desc(u"FLAG"), asc(u"AMT")})}}};
});

class Write : public dbtest::DbTest {
 protected:
  std::vector<std::string> names(HREQUEST request) {
    std::vector<std::string> out;
    EXPECT_EQ(VDB_SelectKeyed(request, 1, nullptr, 0), 1u);
    Party p;
    while (VDB_Fetch(request, &p, 0) == 1) {
      std::u16string n = str(p.alph);
      out.push_back(text(p.an8) + ":" + std::string(n.begin(), n.begin() + static_cast<long>(n.find(u' '))));
    }
    return out;
  }
};

TEST_P(Write, InsertUpdateDeleteByFullAndPartialKeys) {
  HREQUEST parties = open(u"F0101", 1, {u"AN8", u"ALPH"});
  for (const char *an8 : {"10", "20", "30"}) {
    Party p{number(an8), {}};
    set(p.alph, u"Old");
    ASSERT_EQ(VDB_InsertTable(parties, &p), 1u);
  }
  Party again{number("10"), {}};
  EXPECT_NE(VDB_InsertTable(parties, &again), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_InsertTable", u"already exists", u"F0101"}));

  const MATH_NUMERIC twenty = number("20"), missing = number("99");
  Party changed{number("20"), {}};
  set(changed.alph, u"New");
  EXPECT_EQ(VDB_UpdateTable(parties, 1, &twenty, 1, &changed), 1u);
  EXPECT_NE(VDB_UpdateTable(parties, 1, &missing, 1, &changed), 1u);  // nothing changed

  NID nameOnly[1];
  dbtest::setName(nameOnly[0], u"ALPH");
  JCHAR renamed[41];
  set(renamed, u"Cols");
  const MATH_NUMERIC thirty = number("30");
  EXPECT_EQ(VDB_UpdateTableColsExtended(parties, 1, &thirty, 1, nameOnly, 1, renamed), 0u);  // 0 is success here
  EXPECT_NE(VDB_UpdateTableColsExtended(parties, 1, &missing, 1, nameOnly, 1, renamed), 0u);
  EXPECT_EQ(names(parties), (std::vector<std::string>{"10:Old", "20:New", "30:Cols"}));

  EXPECT_EQ(VDB_DeleteTable(parties, 1, &twenty, 1), 1u);
  EXPECT_NE(VDB_DeleteTable(parties, 1, &twenty, 1), 1u);
  EXPECT_EQ(names(parties), (std::vector<std::string>{"10:Old", "30:Cols"}));
  EXPECT_EQ(VDB_DeleteTable(parties, 1, nullptr, 0), 1u);  // no key: every row
  EXPECT_TRUE(names(parties).empty());
  VDB_CloseTable(parties);
}

TEST_P(Write, ColumnsLeftOutAreBlankZeroOrNull) {
  HREQUEST narrow = open(u"F0101", 1, {u"ALPH", u"AN8"});
  NameFirst reversed{};
  set(reversed.alph, u"Only name");
  reversed.an8 = number("7");
  ASSERT_EQ(VDB_InsertTable(narrow, &reversed), 1u);
  NID listed[1];
  dbtest::setName(listed[0], u"AN8");
  const MATH_NUMERIC eight = number("8");
  ASSERT_EQ(VDB_InsertTableCols(narrow, listed, 1, &eight), 1u);

  HREQUEST whole = open(u"F0101");
  PartyRow row{};
  std::memset(&row, 0x7f, sizeof row);
  const MATH_NUMERIC seven = number("7");
  ASSERT_EQ(VDB_FetchKeyed(whole, 0, &seven, 1, &row, 0), 1u);
  EXPECT_EQ(str(row.alph), u"Only name" + std::u16string(31, u' '));
  EXPECT_EQ(str(row.tax), std::u16string(20, u' '));
  EXPECT_EQ(row.upmj.nYear, 0);
  EXPECT_EQ(row.upmj.nMonth, 0);
  ASSERT_EQ(VDB_FetchKeyed(whole, 0, &eight, 1, &row, 0), 1u);
  EXPECT_EQ(str(row.alph), std::u16string(40, u' '));
  VDB_CloseTable(whole);
  VDB_CloseTable(narrow);
}

TEST_P(Write, NumbersDatesAndTimestampsRoundTripExactly) {
  HREQUEST rates = open(u"F0015", 1, {u"CRCD", u"CRDC", u"AN8", u"RTTYP", u"EFT", u"CRR"});
  Rate rate{}, back{};
  struct Case {
    const char *stored, *fetched;
  } const cases[] = {{"1.2345678", "1.2345678"},
                     {"-12345678.1234567", "-12345678.1234567"},
                     {"0.000000049", "0.0000000"},
                     {"0.00000005", "0.0000001"},
                     {"3", "3.0000000"}};
  int day = 1;
  for (const Case &c : cases) {
    set(rate.crcd, u"EUR"), set(rate.crdc, u"USD");
    rate.an8 = number("0");
    rate.eft = VYRDATE{2024, 2, static_cast<short>(day++)};
    rate.crr = number(c.stored);
    ASSERT_EQ(VDB_InsertTable(rates, &rate), 1u) << c.stored;
    ASSERT_EQ(VDB_FetchKeyed(rates, 1, &rate, 5, &back, 0), 1u);
    EXPECT_EQ(text(back.crr), c.fetched);
    EXPECT_EQ(std::memcmp(&back.eft, &rate.eft, sizeof rate.eft), 0);
  }
  rate.crr = number("123456789.5");  // 15 digits with 7 decimals leave 8 before the point
  rate.eft = VYRDATE{2024, 3, 1};
  EXPECT_NE(VDB_InsertTable(rates, &rate), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"CRR", u"does not fit"}));
  VDB_CloseTable(rates);

  HREQUEST activities = open(u"F01301", 1, {u"ACTVID", u"BGTM", u"DUEDT", u"TDLDS"});
  Activity a{}, b{};
  set(a.actvid, u"A-1");
  a.bgtm = UTIME{1704441789123456, -330, 1, 0};
  a.duedt = VYRDATE{2099, 12, 31};
  ASSERT_EQ(VDB_InsertTable(activities, &a), 1u);
  std::memset(&b, 0x55, sizeof b);
  ASSERT_EQ(VDB_FetchKeyed(activities, 1, a.actvid, 1, &b, 0), 1u);
  EXPECT_EQ(std::memcmp(&b.bgtm, &a.bgtm, sizeof a.bgtm), 0);
  EXPECT_EQ(std::memcmp(&b.duedt, &a.duedt, sizeof a.duedt), 0);
  EXPECT_EQ(b.tdlds.cSet, 0);
  EXPECT_EQ(b.tdlds.llMicroseconds, 0);

  // A null timestamp selects with = (IS NULL); a set one compares by instant.
  UTIME nullTime{};
  SELECTSTRUCT neverSent{};
  dbtest::setName(neverSent.szColumn, u"TDLDS");
  neverSent.nComparison = VDB_CMP_EQ;
  neverSent.lpValue = &nullTime;
  ASSERT_EQ(VDB_SetSelection(activities, &neverSent, 1), 1u);
  EXPECT_EQ(VDB_FetchKeyed(activities, 1, nullptr, 0, &b, 0), 1u);
  UTIME later{1704441789123457, 60, 1, 0};
  SELECTSTRUCT started{};
  dbtest::setName(started.szColumn, u"BGTM");
  started.nComparison = VDB_CMP_GE;
  started.lpValue = &later;
  ASSERT_EQ(VDB_SetSelection(activities, &started, 1), 1u);
  EXPECT_NE(VDB_FetchKeyed(activities, 1, nullptr, 0, &b, 0), 1u);
  VDB_CloseTable(activities);
}

TEST_P(Write, BinaryColumnRoundTripsByteForByte) {
  HREQUEST policies = open(u"F98QXSEC", 2, {u"QXUSR", u"QXTYP", u"SRVBLOBA"});
  unsigned char limits[245];
  for (size_t i = 0; i < sizeof limits; ++i) limits[i] = static_cast<unsigned char>((i * 37 + 11) % 256);
  limits[0] = 0;  // zeros inside are data too
  Policy p{};
  set(p.qxusr, u"*POLICY"), set(p.qxtyp, u"OSASE");
  p.blob = limits;
  EXPECT_NE(VDB_InsertTable(policies, &p), 1u);  // size not declared yet
  EXPECT_TRUE(dbtest::traced(context_, {u"SRVBLOBA", u"VDB_SetBLOBSize"}));
  ASSERT_EQ(VDB_SetBLOBSize(policies, u"SRVBLOBA", sizeof limits), 1u);
  ASSERT_EQ(VDB_InsertTable(policies, &p), 1u);

  Policy back{};
  JCHAR key[11];
  set(key, u"*POLICY");
  ASSERT_EQ(VDB_FetchKeyed(policies, 2, key, 1, &back, 0), 1u);
  uint32_t size = 0;
  ASSERT_EQ(VDB_GetBLOBSize(policies, u"SRVBLOBA", &size), 1u);
  ASSERT_EQ(size, sizeof limits);
  EXPECT_EQ(std::memcmp(back.blob, limits, sizeof limits), 0);

  // A request that declared nothing may write back the buffer it fetched.
  HREQUEST again = open(u"F98QXSEC", 2, {u"QXUSR", u"QXTYP", u"SRVBLOBA"});
  ASSERT_EQ(VDB_FetchKeyedForUpdate(again, 2, key, 1, &back, 0), 1u);
  set(back.qxtyp, u"OTHER");
  ASSERT_EQ(VDB_UpdateCurrent(again, &back), 1u);
  VDB_CloseTable(again);
  ASSERT_EQ(VDB_FetchKeyed(policies, 2, key, 1, &back, 0), 1u);
  EXPECT_EQ(str(back.qxtyp), u"OTHER     ");
  EXPECT_EQ(std::memcmp(back.blob, limits, sizeof limits), 0);

  // A null pointer with size 0 stores NULL.
  ASSERT_EQ(VDB_FetchKeyedForUpdate(policies, 2, key, 1, &back, 0), 1u);
  VDB_SetBLOBSize(policies, u"SRVBLOBA", 0);
  back.blob = nullptr;
  ASSERT_EQ(VDB_UpdateCurrent(policies, &back), 1u);
  ASSERT_EQ(VDB_FetchKeyed(policies, 2, key, 1, &back, 0), 1u);
  EXPECT_EQ(back.blob, nullptr);
  ASSERT_EQ(VDB_GetBLOBSize(policies, u"SRVBLOBA", &size), 1u);
  EXPECT_EQ(size, 0u);
  EXPECT_NE(VDB_SetBLOBSize(policies, u"QXUSR", 4), 1u);  // not a binary column
  VDB_CloseTable(policies);
}

TEST_P(Write, UpdateCurrentFindsItsRowByIndexOneEvenUnselectedOrChanged) {
  HREQUEST counters = open(u"F00022", 1, {u"UKID"});
  HREQUEST whole = open(u"F00022");
  for (const char16_t *name : {u"A", u"B"}) {
    Named row{};
    set(row.obnm, name);
    row.ukid = number("1");
    ASSERT_EQ(VDB_InsertTable(whole, &row), 1u);
  }
  JCHAR key[11];
  set(key, u"B");
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0), 1u);
  c.ukid = number("7");
  ASSERT_EQ(VDB_UpdateCurrent(counters, &c), 1u);

  HREQUEST parties = open(u"F0101", 1, {u"AN8", u"ALPH"});
  Party p{number("1"), {}};
  set(p.alph, u"One");
  ASSERT_EQ(VDB_InsertTable(parties, &p), 1u);
  ASSERT_EQ(VDB_FetchKeyed(parties, 1, &p.an8, 1, &p, 0), 1u);
  p.an8 = number("2");  // the key itself changes
  ASSERT_EQ(VDB_UpdateCurrent(parties, &p), 1u);
  set(p.alph, u"Two");
  ASSERT_EQ(VDB_UpdateCurrent(parties, &p), 1u);  // found again by its new key
  EXPECT_EQ(names(parties), std::vector<std::string>{"2:Two"});
  ASSERT_EQ(VDB_ClearColBuffer(parties), 1u);
  EXPECT_NE(VDB_UpdateCurrent(parties, &p), 1u);
  VDB_CloseTable(parties);
  VDB_CloseTable(whole);
  VDB_CloseTable(counters);

  LPBHVRCOM observer = extraContext();
  HUSER other = nullptr;
  ASSERT_EQ(VDB_InitBhvr(observer, &other, nullptr, 0), 1u);
  HREQUEST check = nullptr;
  ASSERT_EQ(VDB_OpenTable(other, u"F00022", 1, nullptr, 0, nullptr, &check), 1u);
  Named row{};
  ASSERT_EQ(VDB_SelectKeyed(check, 1, nullptr, 0), 1u);
  std::vector<std::string> values;
  while (VDB_Fetch(check, &row, 0) == 1) values.push_back(text(row.ukid));
  EXPECT_EQ(values, (std::vector<std::string>{"1", "7"}));  // only B changed
  VDB_FreeBhvr(other);
}

TEST_P(Write, IntegerAndCharacterColumns) {
  HREQUEST kinds = open(u"ZKINDS", 2);
  const struct {
    int32_t count;
    JCHAR flag;
    const char *amount;
  } rows[] = {{-2147483647 - 1, u'Y', "1.5"}, {0, u' ', "-999.999"}, {2147483647, u'Y', "0.001"}, {7, u'\xE9', "2"}};
  for (const auto &r : rows) {
    Kinds k{r.count, r.flag, number(r.amount)};
    ASSERT_EQ(VDB_InsertTable(kinds, &k), 1u);
  }
  // Index 2: FLAG descending, then AMT.
  ASSERT_EQ(VDB_SelectKeyed(kinds, 2, nullptr, 0), 1u);
  Kinds k{};
  std::vector<std::string> order;
  while (VDB_Fetch(kinds, &k, 0) == 1)
    order.push_back(std::to_string(k.count) + "/" + std::to_string(static_cast<int>(k.flag)) + "/" + text(k.amount));
  EXPECT_EQ(order,
            (std::vector<std::string>{"7/233/2.000", "2147483647/89/0.001", "-2147483648/89/1.500", "0/32/-999.999"}));
  const JCHAR blank = u' ';
  ASSERT_EQ(VDB_FetchKeyed(kinds, 2, &blank, 1, &k, 0), 1u);  // a blank flag was stored blank
  EXPECT_EQ(k.count, 0);
  VDB_CloseTable(kinds);
}

INSTANTIATE_TEST_SUITE_P(Engines, Write, dbtest::engines(), dbtest::engineName);

}  // namespace
