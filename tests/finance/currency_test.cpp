// Exchange rates, company and currency constants read from the test's own
// database, and what each function reports and leaves when a step fails.
#include <cstring>

#include "finance/B0000033.h"
#include "finance/B0000034.h"
#include "finance/B0000164.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

#pragma pack(push, 1)
struct RateRow {  // every column of F0015
  JCHAR from[4], to[4];
  MATH_NUMERIC party;
  JCHAR type[3];
  VYRDATE eft;
  JCHAR method3, method, via[4];
  MATH_NUMERIC multiplier, divisor;
};
#pragma pack(pop)

// The rows of F0015; the test cases name them by index.
const std::vector<RateRow> &rates() {
  static const std::vector<RateRow> rows = {
      {u"EUR", u"USD", math(u"0"), u"", {2024, 1, 1}, u' ', u'Y', u"", math(u"1.1"), math(u"0.91")},   // 0
      {u"EUR", u"USD", math(u"0"), u"", {2024, 4, 1}, u' ', u'Y', u"", math(u"1.2"), math(u"0.83")},   // 1
      {u"EUR", u"USD", math(u"0"), u"", {2024, 7, 1}, u' ', u'Y', u"", math(u"1.3"), math(u"0.77")},   // 2
      {u"EUR", u"USD", math(u"7"), u"", {2024, 2, 1}, u' ', u'y', u"", math(u"1.5"), math(u"0.66")},   // 3
      {u"EUR", u"GBP", math(u"0"), u"", {2024, 1, 1}, u' ', u'Z', u"", math(u"0.8"), math(u"1.25")},   // 4
      {u"EUR", u"CHF", math(u"0"), u"", {2024, 1, 1}, u' ', u'z', u"", math(u"0.95"), math(u"1.05")},  // 5
      {u"EUR", u"SEK", math(u"0"), u"", {2024, 1, 1}, u' ', u'X', u"", math(u"11"), math(u"0.09")},    // 6
      {u"EUR", u"JPY", math(u"0"), u"", {2024, 1, 1}, u'3', u'Y', u"", math(u"160"), math(u"0.005")},  // 7
      {u"EUR", u"USD", math(u"0"), u"AV", {2024, 5, 1}, u' ', u'Y', u"", math(u"9"), math(u"9")},  // another rate type
      {u"USD", u"EUR", math(u"0"), u"", {2024, 5, 1}, u' ', u'Y', u"", math(u"8"), math(u"8")},  // the other direction
  };
  return rows;
}

class Currency : public BsfnTest {
 protected:
  void SetUp() override {
    BsfnTest::SetUp();
    for (const RateRow &row : rates()) insert(u"F0015", &row);
    const struct {
      JCHAR co[6], crcd[4], bktx, abin, cryr;
    } companies[] = {{u"00000", u"EUR", u'N', u'Y', u'N'}, {u"00200", u"USD", u'Y', u'N', u'Y'}};
    for (const auto &row : companies) insert(u"F0010", &row, {u"CO", u"CRCD", u"BKTX", u"ABIN", u"CRYR"});
    const struct { JCHAR crcd[4], cdec; } currencies[] = {{u"BHD", u'3'}, {u"JPY", u'0'}};
    for (const auto &row : currencies) insert(u"F0013", &row, {u"CRCD", u"CDEC"});
  }
};

// Outputs prefilled with values no row holds, so that clearing, copying and
// leaving alone can be told apart.
DSD0000033 rateRequest(const char16_t *from, const char16_t *to, const char16_t *party, VYRDATE date) {
  DSD0000033 ds{};
  vyrStrcpy(ds.szFromCurrency, from);
  vyrStrcpy(ds.szToCurrency, to);
  ds.mnAddressNumber = math(party);
  ds.jdEffectiveDate = date;
  for (MATH_NUMERIC *m :
       {&ds.mnMultiplier, &ds.mnDivisor, &ds.mnExchangeRate, &ds.mnMethod3Multiplier, &ds.mnMethod3Divisor})
    *m = math(u"42");
  ds.jdRateEffectiveDate = ds.jdMethod3EffectiveDate = VYRDATE{1999, 9, 9};
  ds.cConversionMethod = u'?';
  return ds;
}

// A value without the decimals the column adds: "1.2000000" reads "1.2".
std::u16string value(const MATH_NUMERIC &m) {
  std::u16string t = text(m);
  if (t.find(u'.') == t.npos) return t;
  t.erase(t.find_last_not_of(u'0') + 1);
  return t.back() == u'.' ? t.substr(0, t.size() - 1) : t;
}

TEST_F(Currency, GetExchRateFindsTheRateInForcePartyFirst) {
  const struct {
    const char16_t *from, *to, *party;
    VYRDATE date;
    int row;               // of rates(); -1 when no rate is in force
    const char16_t *rate;  // what mnExchangeRate holds then
    uint64_t searches;     // row fetches: a second only for a party without its own rate
  } cases[] = {
      {u"EUR", u"USD", u"4242", {2024, 5, 15}, 1, u"1.2", 2},  // the general rate
      {u"EUR", u"USD", u"0", {2023, 12, 31}, -1, nullptr, 1},
      {u"EUR", u"USD", u"4242", {2023, 12, 31}, -1, nullptr, 2},
      {u"EUR", u"USD", u"0", {2024, 3, 31}, 0, u"1.1", 1},
      {u"EUR", u"USD", u"0", {2024, 4, 1}, 1, u"1.2", 1},
      {u"EUR", u"USD", u"0", {2031, 2, 28}, 2, u"1.3", 1},
      {u"EUR", u"USD", u"7", {2024, 8, 1}, 3, u"1.5", 1},
      {u"EUR", u"USD", u"7", {2024, 1, 31}, 0, u"1.1", 2},
      {u"EUR", u"GBP", u"0", {2024, 6, 1}, 4, u"1.25", 1},
      {u"EUR", u"CHF", u"9", {2024, 6, 1}, 5, u"1.05", 2},
      {u"EUR", u"SEK", u"0", {2024, 6, 1}, 6, u"42", 1},  // an unknown method leaves the rate
      {u"EUR", u"JPY", u"0", {2024, 6, 1}, 7, u"0", 1},
      {u"EUR", u"USD", u"0", {}, -1, nullptr, 0},  // no rate is in force on no date
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const auto &c = cases[i];
    DSD0000033 ds = rateRequest(c.from, c.to, c.party, c.date);
    const DSD0000033 before = ds;
    const uint64_t fetches = vyr::db::rowFetchCount();
    ASSERT_EQ(call("GetExchRate", &ds), c.row >= 0 ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(vyr::db::rowFetchCount() - fetches, c.searches);
    if (c.row < 0) {
      EXPECT_EQ(errors(), Strings{"0949 @8"});
      EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "outputs are written only when a rate was found";
      continue;
    }
    const RateRow &r = rates()[c.row];
    const bool method3 = r.method3 == u'3';
    const std::u16string rates = value(r.multiplier) + u" " + value(r.divisor);
    EXPECT_EQ(errors(), Strings{});
    EXPECT_EQ(iso(ds.jdRateEffectiveDate) + " " + iso(ds.jdMethod3EffectiveDate),
              iso(r.eft) + " " + iso(method3 ? r.eft : VYRDATE{}));
    EXPECT_EQ(ds.cConversionMethod, r.method);
    EXPECT_EQ(value(ds.mnExchangeRate), c.rate);
    EXPECT_EQ(value(ds.mnMultiplier) + u" " + value(ds.mnDivisor), method3 ? u"0 0" : rates);
    EXPECT_EQ(value(ds.mnMethod3Multiplier) + u" " + value(ds.mnMethod3Divisor), method3 ? rates : u"0 0");
  }
}

TEST_F(Currency, ReadersAnswerOrReportTheirErrorAndLeaveTheOutputs) {
  const struct {
    const char *function;
    std::string fail;       // fault hook; "empty": a database without rows
    const char16_t *input;  // company or currency code
    std::string result;     // the outputs on success, else the error
  } cases[] = {
      {"RetrieveCompanyCurrencyCode", "", u"00200", "USDYN"},
      {"RetrieveCompanyCurrencyCode", "", u"0020099", "USDYN"},  // cut at its width
      {"RetrieveCompanyCurrencyCode", "", u"00999", "0002 @1"},
      {"RetrieveCompanyCurrencyCode", "VDB_InitBhvr", u"00200", "078S @0"},
      {"RetrieveCompanyCurrencyCode", "VDB_OpenTable:F0010", u"00200", "078D F0010@0"},
      {"RetrieveCurrencyConvFlag", "", u"", "N"},
      {"RetrieveCurrencyConversion", "", u"", "N"},
      {"RetrieveCurrencyConvFlag", "empty", u"", "3143 @0"},
      {"RetrieveCurrencyConversion", "empty", u"", "078I F0010@1"},
      {"RetrieveCurrencyConvFlag", "VDB_InitBhvr", u"", "3143 @0"},
      {"RetrieveCurrencyConversion", "VDB_InitBhvr", u"", "078S @0"},
      {"RetrieveCurrencyConvFlag", "VDB_OpenTable:F0010", u"", "3143 @0"},
      {"RetrieveCurrencyConversion", "VDB_OpenTable:F0010", u"", "078D F0010@0"},
      {"RetrieveCurrencyDecimals", "", u"BHD", "3"},
      {"RetrieveCurrencyDecimals", "", u"XXX", "0002 @1"},
      {"RetrieveCurrencyDecimals", "VDB_InitBhvr", u"BHD", "078S @0"},
      {"RetrieveCurrencyDecimals", "VDB_OpenTable:F0013", u"BHD", "078D F0013@0"},
      {"GetExchRate", "VDB_InitBhvr", u"", "078S @0"},
      {"GetExchRate", "VDB_OpenTable:F0015", u"", "078D F0015@0"},
      {"GetExchRate", "VDB_SetSelection:F0015", u"", "0949 @8"},
      {"GetExchRate", "VDB_Fetch:F0015", u"", "0949 @8"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " with " + c.fail);
    const std::string f = c.function;
    std::string error;
    if (c.fail == "empty") {
      ASSERT_TRUE(vyr::db::initDatabase(dir_ + "/empty.db", &error)) << error;
    }
    LPBHVRCOM context =
        newContext(c.fail == "empty" ? Settings{{"env.MAIN", dir_ + "/empty.db"}} : Settings{{"fail", c.fail}});
    union {
      DSD0000033 rate;
      DSD0000034A company;
      DSD0000034B conversion;
      DSD0000034C decimals;
    } ds;
    std::memset(&ds, '?', sizeof ds);  // the readers' outputs hold '?' in every byte
    if (f == "GetExchRate") ds.rate = rateRequest(u"EUR", u"USD", u"0", VYRDATE{2024, 5, 1});
    if (f == "RetrieveCompanyCurrencyCode") vyrStrcpyFillAndTerminate(ds.company.szCompany, c.input, 6, 0);
    if (f == "RetrieveCurrencyDecimals") vyrStrcpyFillAndTerminate(ds.decimals.szCurrencyCode, c.input, 4, 0);
    const auto before = ds;
    const ID code = call(c.function, &ds, context);
    EXPECT_EQ(handlesLeft_, 0u);
    if (code == ER_SUCCESS) {
      std::u16string output(1, ds.conversion.cCurrencyConversion);
      if (f == "RetrieveCompanyCurrencyCode")
        output = std::u16string(ds.company.szCurrencyCode) + ds.company.cBKTX + ds.company.cABIN;
      if (f == "RetrieveCurrencyDecimals") output.assign(1, ds.decimals.cCurrencyDecimals);
      EXPECT_EQ(toUtf8(output), c.result);
      EXPECT_EQ(errors(context), Strings{});
      continue;
    }
    EXPECT_EQ(code, ER_ERROR);
    EXPECT_EQ(errors(context), Strings{c.result});
    EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "outputs are left as they were";
  }
}

TEST_F(Currency, CurrencyDecimalsGetKeepsTheFirstCharacterOfTheCount) {
  for (const auto &[decimals, expected] : {std::pair{2, u'2'}, {10, u'1'}, {-3, u'-'}}) {
    DSD0000164 ds{math(u"123.456"), u'?'};
    vyrMathSetCurrencyDecimals(&ds.mnAmount, short(decimals));
    EXPECT_EQ(call("CurrencyDecimalsGet", &ds), ER_SUCCESS);
    EXPECT_EQ(ds.cCurrencyDecimals, expected) << decimals;
  }
}

}  // namespace
