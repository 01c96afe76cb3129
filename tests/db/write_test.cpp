// Inserts, updates and deletes, what unset columns become, the null date in
// keys, exact round trips of numbers, dates, timestamps and binary columns.
#include <cstddef>

#include "db/catalog.h"
#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::Party;
using dbtest::party;
using dbtest::Rate;
using dbtest::set;
using dbtest::str;
using dbtest::text;
using dbtest::traced;

#pragma pack(push, 1)
struct Activity {  // F01301: ACTVID, INDID, BGTM, DUEDT, UDTTM
  JCHAR actvid[37];
  MATH_NUMERIC indid;
  UTIME bgtm;
  VYRDATE duedt;
  UTIME udttm;
};
struct Policy {  // F98QXSEC: QXUSR, QXTYP, SRVBLOBA
  JCHAR qxusr[11], qxtyp[11];
  const void *blob;
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

const std::vector<std::u16string> kActivityColumns = {u"ACTVID", u"INDID", u"BGTM", u"DUEDT", u"UDTTM"};

class Write : public dbtest::DbTest {
 protected:
  // AN8:ALPH/AT1/UPMJ year of every party, in index 1 order.
  std::vector<std::string> parties(HREQUEST request) {
    return scan<Party>(request, 1, [](const Party &p) {
      const std::u16string name = str(p.alph), type = str(p.at1);
      return text(p.an8) + ":" + std::string(name.begin(), name.begin() + static_cast<long>(name.find(u' '))) + "/" +
             std::string(type.begin(), type.end()) + "/" + std::to_string(p.upmj.nYear);
    });
  }
};

TEST_P(Write, InsertUpdateDeleteAndWhatColumnsLeftOutBecome) {
  HREQUEST request = open(u"F0101", 1, kPartyColumns);
  for (const char *an8 : {"10", "20", "30"}) {
    const Party p = party(an8, u"Old", u"C", {2024, 1, 1});
    ASSERT_EQ(VDB_InsertTable(request, &p), 1u);
  }
  const Party again = party("10", u"Again");
  EXPECT_NE(VDB_InsertTable(request, &again), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_InsertTable", u"already exists", u"F0101"}));

  const MATH_NUMERIC twenty = number("20"), thirty = number("30"), missing = number("99");
  const Party changed = party("20", u"New", u"V");
  EXPECT_EQ(VDB_UpdateTable(request, 1, &twenty, 1, &changed), 1u);
  EXPECT_NE(VDB_UpdateTable(request, 1, &missing, 1, &changed), 1u);  // nothing changed
  NID nameOnly[1];
  set(nameOnly[0], u"ALPH");
  JCHAR renamed[41];
  set(renamed, u"Cols");
  EXPECT_EQ(VDB_UpdateTableColsExtended(request, 1, &thirty, 1, nameOnly, 1, renamed), 0u);  // 0 is success here
  EXPECT_NE(VDB_UpdateTableColsExtended(request, 1, &missing, 1, nameOnly, 1, renamed), 0u);
  EXPECT_EQ(parties(request), (std::vector<std::string>{"10:Old/C  /2024", "20:New/V  /0", "30:Cols/C  /2024"}));
  EXPECT_EQ(VDB_DeleteTable(request, 1, &twenty, 1), 1u);
  EXPECT_NE(VDB_DeleteTable(request, 1, &twenty, 1), 1u);
  EXPECT_EQ(parties(request).size(), 2u);
  EXPECT_EQ(VDB_DeleteTable(request, 1, nullptr, 0), 1u);  // no key: every row
  EXPECT_TRUE(parties(request).empty());

  // Columns a request does not write are blank, zero or null; a record follows the request's column order.
  HREQUEST narrow = open(u"F0101", 1, {u"ALPH", u"AN8"});
  struct {
    JCHAR alph[41];
    MATH_NUMERIC an8;
  } reversed{{}, number("7")};
  set(reversed.alph, u"Name");
  ASSERT_EQ(VDB_InsertTable(narrow, &reversed), 1u);
  NID listed[1];
  set(listed[0], u"AN8");
  const MATH_NUMERIC eight = number("8");
  ASSERT_EQ(VDB_InsertTableCols(narrow, listed, 1, &eight), 1u);
  EXPECT_EQ(parties(request), (std::vector<std::string>{"7:Name/   /0", "8:/   /0"}));
}

TEST_P(Write, UpdateCurrentFindsItsRowByItsNewKeyUntilTheBufferIsCleared) {
  HREQUEST request = open(u"F0101", 1, kPartyColumns);
  Party p = party("1", u"One");
  ASSERT_EQ(VDB_InsertTable(request, &p), 1u);
  ASSERT_EQ(VDB_FetchKeyed(request, 1, &p.an8, 1, &p, 0), 1u);
  p.an8 = number("2");  // the key itself changes
  ASSERT_EQ(VDB_UpdateCurrent(request, &p), 1u);
  set(p.alph, u"Two");
  ASSERT_EQ(VDB_UpdateCurrent(request, &p), 1u);  // found again by its new key
  EXPECT_EQ(parties(request), std::vector<std::string>{"2:Two/   /0"});
  ASSERT_EQ(VDB_ClearColBuffer(request), 1u);
  EXPECT_NE(VDB_UpdateCurrent(request, &p), 1u);
}

TEST_P(Write, NullDateIsOneValueInKeys) {
  HREQUEST rates = open(u"F0015", 1, kRateColumns);
  Rate r = dbtest::rate(u"EUR", u"", "0", {}, "1"), back{};
  ASSERT_EQ(VDB_InsertTable(rates, &r), 1u);
  EXPECT_NE(VDB_InsertTable(rates, &r), 1u);  // the same key, null date and all
  EXPECT_TRUE(traced(context_, {u"VDB_InsertTable", u"already exists", u"F0015"}));
  const Rate dated = dbtest::rate(u"EUR", u"", "0", {2024, 1, 1}, "2");
  ASSERT_EQ(VDB_InsertTable(rates, &dated), 1u);
  auto rate = [](const Rate &x) { return text(x.crr).substr(0, 1) + "@" + std::to_string(x.eft.nYear); };
  EXPECT_EQ(scan<Rate>(rates, 1, rate), (std::vector<std::string>{"1@0", "2@2024"}));  // first ascending
  EXPECT_EQ(scan<Rate>(rates, 3, rate), (std::vector<std::string>{"2@2024", "1@0"}));  // last descending
  for (ID index : {1, 3}) {
    ASSERT_EQ(VDB_FetchKeyed(rates, index, &r, 5, &back, 0), 1u) << index;
    EXPECT_EQ(rate(back), "1@0");
  }
  r.crr = number("3");
  EXPECT_EQ(VDB_UpdateTable(rates, 1, &r, 5, &r), 1u);
  // Found again by its key when the date is not among the request's columns.
  HREQUEST narrow = open(u"F0015", 1, {u"CRR"});
  MATH_NUMERIC crr{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(narrow, 1, &r, 5, &crr, 0), 1u);
  EXPECT_EQ(text(crr), "3.0000000");
  crr = number("4");
  ASSERT_EQ(VDB_UpdateCurrent(narrow, &crr), 1u);
  EXPECT_EQ(scan<Rate>(rates, 1, rate), (std::vector<std::string>{"4@0", "2@2024"}));
  EXPECT_EQ(VDB_DeleteTable(rates, 1, &r, 5), 1u);
  EXPECT_EQ(scan<Rate>(rates, 1, rate), (std::vector<std::string>{"2@2024"}));

  // A row written while the null date was stored as NULL reads and matches as the null date.
  ASSERT_TRUE(rawSql("UPDATE \"F0015\" SET \"EFT\" = NULL")) << (pg_ ? pg_->error() : "");
  ASSERT_EQ(VDB_FetchKeyed(rates, 1, &r, 5, &back, 0), 1u);
  EXPECT_EQ(rate(back), "2@0");
  const SELECTSTRUCT undated = dbtest::entry(u"EFT", VDB_CMP_EQ, &r.eft);
  ASSERT_EQ(VDB_SetSelection(rates, &undated, 1), 1u);
  EXPECT_EQ(scan<Rate>(rates, 1, rate).size(), 1u);
  EXPECT_EQ(VDB_DeleteTable(rates, 1, &r, 5), 1u);

  // A null timestamp in a key (index 2 of F01301 is not unique) matches the rows without one.
  HREQUEST activities = open(u"F01301", 2, kActivityColumns);
  Activity a{};
  a.indid = number("5");
  for (const char16_t *id : {u"SET", u"UNSET"}) {
    set(a.actvid, id);
    a.udttm = UTIME{1, 0, id[0] == u'S', 0};
    ASSERT_EQ(VDB_InsertTable(activities, &a), 1u);
  }
  const struct {
    MATH_NUMERIC indid;
    UTIME udttm;
  } key{number("5"), {}};
  ASSERT_EQ(VDB_FetchKeyed(activities, 2, &key, 2, &a, 0), 1u);
  EXPECT_EQ(str(a.actvid).substr(0, 6), u"UNSET ");
}

TEST_P(Write, NumbersDatesAndTimestampsRoundTripExactly) {
  // CRR has 7 decimals: more are rounded half away from zero, and zero has no minus.
  HREQUEST rates = open(u"F0015", 1, kRateColumns);
  const struct {
    const char *stored, *fetched;
  } cases[] = {{"1.2345678", "1.2345678"},   {"-12345678.1234567", "-12345678.1234567"},
               {"0.000000049", "0.0000000"}, {"-0.000000049", "0.0000000"},
               {"0.00000005", "0.0000001"},  {"3", "3.0000000"}};
  short day = 1;
  for (const auto &c : cases) {
    const Rate rate = dbtest::rate(u"EUR", u"USD", "0", {2024, 2, day++}, c.stored);
    Rate back{};
    ASSERT_EQ(VDB_InsertTable(rates, &rate), 1u) << c.stored;
    ASSERT_EQ(VDB_FetchKeyed(rates, 1, &rate, 5, &back, 0), 1u);
    EXPECT_EQ(text(back.crr), c.fetched);
    EXPECT_EQ(std::memcmp(&back.eft, &rate.eft, sizeof rate.eft), 0);
  }

  HREQUEST activities = open(u"F01301", 1, kActivityColumns);
  Activity a{}, b;
  set(a.actvid, u"A-1");
  a.bgtm = UTIME{1704441789123456, -330, 1, 0};
  a.duedt = VYRDATE{2099, 12, 31};
  ASSERT_EQ(VDB_InsertTable(activities, &a), 1u);
  std::memset(&b, 0x55, sizeof b);
  ASSERT_EQ(VDB_FetchKeyed(activities, 1, a.actvid, 1, &b, 0), 1u);
  // The timestamps and the date, the unset timestamp too (all zero).
  EXPECT_EQ(std::memcmp(&b.bgtm, &a.bgtm, sizeof a - offsetof(Activity, bgtm)), 0);

  // A null timestamp selects with = (IS NULL); a set one compares by instant.
  const UTIME nullTime{}, later{1704441789123457, 60, 1, 0};
  const SELECTSTRUCT unset = dbtest::entry(u"UDTTM", VDB_CMP_EQ, &nullTime);
  ASSERT_EQ(VDB_SetSelection(activities, &unset, 1), 1u);
  EXPECT_EQ(VDB_FetchKeyed(activities, 1, nullptr, 0, &b, 0), 1u);
  const SELECTSTRUCT started = dbtest::entry(u"BGTM", VDB_CMP_GE, &later);
  ASSERT_EQ(VDB_SetSelection(activities, &started, 1), 1u);
  EXPECT_NE(VDB_FetchKeyed(activities, 1, nullptr, 0, &b, 0), 1u);
}

TEST_P(Write, BinaryColumnRoundTripsByteForByte) {
  HREQUEST policies = open(u"F98QXSEC", 2, {u"QXUSR", u"QXTYP", u"SRVBLOBA"});
  unsigned char limits[245];
  for (size_t i = 0; i < sizeof limits; ++i) limits[i] = static_cast<unsigned char>((i * 37 + 11) % 256);
  limits[0] = 0;  // zeros inside are data too
  Policy p{{}, {}, limits}, back{};
  set(p.qxusr, u"*POLICY"), set(p.qxtyp, u"OSASE");
  EXPECT_NE(VDB_InsertTable(policies, &p), 1u);  // size not declared yet
  EXPECT_TRUE(traced(context_, {u"SRVBLOBA", u"VDB_SetBLOBSize"}));
  ASSERT_EQ(VDB_SetBLOBSize(policies, u"SRVBLOBA", sizeof limits), 1u);
  ASSERT_EQ(VDB_InsertTable(policies, &p), 1u);
  uint32_t size = 0;
  auto fetched = [&](HREQUEST request) {
    return VDB_FetchKeyed(request, 2, u"*POLICY", 1, &back, 0) == 1 &&
           VDB_GetBLOBSize(request, u"SRVBLOBA", &size) == 1 && size == sizeof limits &&
           std::memcmp(back.blob, limits, sizeof limits) == 0;
  };
  ASSERT_TRUE(fetched(policies));
  // A request that declared nothing may write back the buffer it fetched.
  HREQUEST again = open(u"F98QXSEC", 2, {u"QXUSR", u"QXTYP", u"SRVBLOBA"});
  ASSERT_EQ(VDB_FetchKeyedForUpdate(again, 2, u"*POLICY", 1, &back, 0), 1u);
  set(back.qxtyp, u"OTHER");
  ASSERT_EQ(VDB_UpdateCurrent(again, &back), 1u);
  ASSERT_TRUE(fetched(policies));
  EXPECT_EQ(str(back.qxtyp), u"OTHER     ");

  // A null pointer with size 0 stores NULL.
  VDB_SetBLOBSize(policies, u"SRVBLOBA", 0);
  back.blob = nullptr;
  ASSERT_EQ(VDB_UpdateTable(policies, 2, u"*POLICY", 1, &back), 1u);
  ASSERT_EQ(VDB_FetchKeyed(again, 2, u"*POLICY", 1, &back, 0), 1u);
  EXPECT_EQ(back.blob, nullptr);
  ASSERT_EQ(VDB_GetBLOBSize(again, u"SRVBLOBA", &size), 1u);
  EXPECT_EQ(size, 0u);
  EXPECT_NE(VDB_SetBLOBSize(policies, u"QXUSR", 4), 1u);  // not a binary column
}

TEST_P(Write, IntegerAndCharacterColumns) {
  HREQUEST kinds = open(u"ZKINDS", 2);
  const Kinds rows[] = {{-2147483647 - 1, u'Y', number("1.5")},
                        {0, u' ', number("-999.999")},
                        {2147483647, u'Y', number("0.001")},
                        {7, u'\xE9', number("2")}};
  for (const Kinds &k : rows) ASSERT_EQ(VDB_InsertTable(kinds, &k), 1u);
  auto describe = [](const Kinds &k) {
    return std::to_string(k.count) + "/" + std::to_string(k.flag) + "/" + text(k.amount);
  };
  // Index 2: FLAG descending, then AMT.
  EXPECT_EQ(scan<Kinds>(kinds, 2, describe),
            (std::vector<std::string>{"7/233/2.000", "2147483647/89/0.001", "-2147483648/89/1.500", "0/32/-999.999"}));
  const JCHAR blank = u' ';
  Kinds k{};
  ASSERT_EQ(VDB_FetchKeyed(kinds, 2, &blank, 1, &k, 0), 1u);  // a blank flag was stored blank
  EXPECT_EQ(k.count, 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, Write, dbtest::engines(), dbtest::engineName);

}  // namespace
