// Exchange rates, company and currency constants read from a database of the
// test's own, and what each function reports and leaves when a step fails.
#include "finance/B0000033.h"
#include "finance/B0000034.h"
#include "finance/B0000164.h"
#include "security/security_fixture.h"  // a database per test, contexts on it, calls by name

namespace {

using namespace sectest;

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

const struct Rate {
  const char16_t *from, *to, *party, *type;
  VYRDATE eft;
  JCHAR method3, method;
  const char16_t *multiplier, *divisor;
} kRates[] = {
    {u"EUR", u"USD", u"0", u"", {2024, 1, 1}, u' ', u'Y', u"1.1", u"0.91"},   // 0
    {u"EUR", u"USD", u"0", u"", {2024, 4, 1}, u' ', u'Y', u"1.2", u"0.83"},   // 1
    {u"EUR", u"USD", u"0", u"", {2024, 7, 1}, u' ', u'Y', u"1.3", u"0.77"},   // 2
    {u"EUR", u"USD", u"7", u"", {2024, 2, 1}, u' ', u'y', u"1.5", u"0.66"},   // 3
    {u"EUR", u"GBP", u"0", u"", {2024, 1, 1}, u' ', u'Z', u"0.8", u"1.25"},   // 4
    {u"EUR", u"CHF", u"0", u"", {2024, 1, 1}, u' ', u'z', u"0.95", u"1.05"},  // 5
    {u"EUR", u"SEK", u"0", u"", {2024, 1, 1}, u' ', u'X', u"11", u"0.09"},    // 6
    {u"EUR", u"JPY", u"0", u"", {2024, 1, 1}, u'3', u'Y', u"160", u"0.005"},  // 7
    {u"EUR", u"USD", u"0", u"AV", {2024, 5, 1}, u' ', u'Y', u"9", u"9"},      // another rate type
    {u"USD", u"EUR", u"0", u"", {2024, 5, 1}, u' ', u'Y', u"8", u"8"},        // the other direction
};

bool same(const MATH_NUMERIC &value, const char16_t *text) {
  const MATH_NUMERIC expected = math(text);
  return MathCompare(&value, &expected) == 0;
}

class Currency : public PolicyTest {
 protected:
  void SetUp() override {
    PolicyTest::SetUp();
    for (const Rate &r : kRates) {
      RateRow row{{}, {}, math(r.party), {}, r.eft, r.method3, r.method, {}, math(r.multiplier), math(r.divisor)};
      vyrStrcpyFillAndTerminate(row.from, r.from, 4, 0);
      vyrStrcpyFillAndTerminate(row.to, r.to, 4, 0);
      vyrStrcpyFillAndTerminate(row.type, r.type, 3, 0);
      insert(u"F0015", nullptr, 0, &row);
    }
    const NID companyColumns[] = {u"CO", u"CRCD", u"BKTX", u"ABIN", u"CRYR"};
    const struct { JCHAR co[6], crcd[4], bktx, abin, cryr; } companies[] = {{u"00000", u"EUR", u'N', u'Y', u'N'},
                                                                           {u"00200", u"USD", u'Y', u'N', u'Y'}};
    for (const auto &row : companies) insert(u"F0010", companyColumns, 5, &row);
    const NID currencyColumns[] = {u"CRCD", u"CDEC"};
    const struct { JCHAR crcd[4], cdec; } currencies[] = {{u"BHD", u'3'}, {u"JPY", u'0'}};
    for (const auto &row : currencies) insert(u"F0013", currencyColumns, 2, &row);
  }

  void insert(const char16_t *table, const NID *columns, ID count, const void *row) {
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    ASSERT_EQ(VDB_OpenTable(user, table, 1, nullptr, 0, nullptr, &request), 1u);
    EXPECT_EQ(columns ? VDB_InsertTableCols(request, columns, count, row) : VDB_InsertTable(request, row), 1u);
    VDB_CloseTable(request);
    VDB_FreeBhvr(user);
  }
};

// Outputs prefilled with values no row holds, so that clearing, copying and
// leaving alone can be told apart.
DSD0000033 rateRequest(const char16_t *from, const char16_t *to, const char16_t *party, VYRDATE date) {
  DSD0000033 ds{};
  vyrStrcpyFillAndTerminate(ds.szFromCurrency, from, 4, 0);
  vyrStrcpyFillAndTerminate(ds.szToCurrency, to, 4, 0);
  ds.mnAddressNumber = math(party);
  ds.jdEffectiveDate = date;
  for (MATH_NUMERIC *m : {&ds.mnMultiplier, &ds.mnDivisor, &ds.mnExchangeRate, &ds.mnMethod3Multiplier,
                          &ds.mnMethod3Divisor})
    *m = math(u"42");
  ds.jdRateEffectiveDate = ds.jdMethod3EffectiveDate = VYRDATE{1999, 9, 9};
  ds.cConversionMethod = u'?';
  return ds;
}

TEST_F(Currency, GetExchRateFindsTheRateInForcePartyFirst) {
  const struct {
    const char16_t *from, *to, *party;
    VYRDATE date;
    int row;               // of kRates expected; -1 when no rate is in force
    const char16_t *rate;  // what mnExchangeRate must hold then
  } cases[] = {
      {u"EUR", u"USD", u"4242", {2024, 5, 15}, 1, u"1.2"},  {u"EUR", u"USD", u"0", {2023, 12, 31}, -1, nullptr},
      {u"EUR", u"USD", u"4242", {2023, 12, 31}, -1, nullptr}, {u"EUR", u"USD", u"0", {2024, 1, 1}, 0, u"1.1"},
      {u"EUR", u"USD", u"0", {2024, 3, 31}, 0, u"1.1"},     {u"EUR", u"USD", u"0", {2024, 4, 1}, 1, u"1.2"},
      {u"EUR", u"USD", u"0", {2031, 2, 28}, 2, u"1.3"},     {u"EUR", u"USD", u"7", {2024, 8, 1}, 3, u"1.5"},
      {u"EUR", u"USD", u"7", {2024, 1, 31}, 0, u"1.1"},     {u"EUR", u"GBP", u"0", {2024, 6, 1}, 4, u"1.25"},
      {u"EUR", u"CHF", u"9", {2024, 6, 1}, 5, u"1.05"},     {u"EUR", u"SEK", u"0", {2024, 6, 1}, 6, u"42"},
      {u"EUR", u"JPY", u"0", {2024, 6, 1}, 7, u"0"},        {u"EUR", u"USD", u"0", {}, -1, nullptr},
      {u"EU", u"USD", u"0", {2024, 6, 1}, -1, nullptr},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const auto &c = cases[i];
    LPBHVRCOM context = newContext();
    DSD0000033 ds = rateRequest(c.from, c.to, c.party, c.date);
    const DSD0000033 before = ds;
    ASSERT_EQ(call(context, "GetExchRate", &ds), c.row >= 0 ? ER_SUCCESS : ER_ERROR);
    if (c.row < 0) {
      ASSERT_EQ(context->errors.size(), 1u) << "one search, one error";
      EXPECT_TRUE(context->errors[0].id == u"0949" && context->errors[0].item == 8);
      EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "outputs are written only when a rate was found";
      continue;
    }
    const Rate &r = kRates[c.row];
    const bool method3 = r.method3 == u'3';
    const VYRDATE method3Eft = method3 ? r.eft : VYRDATE{};
    EXPECT_TRUE(context->errors.empty());
    EXPECT_EQ(std::memcmp(&ds.jdRateEffectiveDate, &r.eft, sizeof r.eft), 0);
    EXPECT_EQ(std::memcmp(&ds.jdMethod3EffectiveDate, &method3Eft, sizeof r.eft), 0);
    EXPECT_EQ(ds.cConversionMethod, r.method);
    EXPECT_TRUE(same(ds.mnExchangeRate, c.rate));
    EXPECT_TRUE(same(ds.mnMultiplier, method3 ? u"0" : r.multiplier));
    EXPECT_TRUE(same(ds.mnDivisor, method3 ? u"0" : r.divisor));
    EXPECT_TRUE(same(ds.mnMethod3Multiplier, method3 ? r.multiplier : u"0"));
    EXPECT_TRUE(same(ds.mnMethod3Divisor, method3 ? r.divisor : u"0"));
  }
}

// The readers' answers and every failure path: null argument, no row, and the
// platform's failures through the fault hook.
TEST_F(Currency, FailuresReportTheirErrorAndLeaveTheOutputs) {
  const struct {
    const char *function;
    const char *fail;       // fault hook; "empty": a database without rows; "null": no data structure
    const char16_t *input;  // company or currency code
    const char16_t *error;  // nullptr: success
    ID item;
    const char16_t *text;
    std::u16string output;  // the reader's outputs as text on success
  } cases[] = {
      {"RetrieveCompanyCurrencyCode", "", u"00200", nullptr, 0, u"", u"USDYN"},
      {"RetrieveCompanyCurrencyCode", "", u"0020099", nullptr, 0, u"", u"USDYN"},  // cut at its width
      {"RetrieveCompanyCurrencyCode", "", u"00999", u"0002", 1, u"", u""},
      {"RetrieveCompanyCurrencyCode", "VDB_InitBhvr", u"00200", u"078S", 0, u"", u""},
      {"RetrieveCompanyCurrencyCode", "VDB_OpenTable:F0010", u"00200", u"078D", 0, u"F0010", u""},
      {"RetrieveCurrencyConvFlag", "", u"", nullptr, 0, u"", u"N"},
      {"RetrieveCurrencyConversion", "", u"", nullptr, 0, u"", u"N"},
      {"RetrieveCurrencyConvFlag", "empty", u"", u"3143", 0, u"", u""},
      {"RetrieveCurrencyConversion", "empty", u"", u"078I", 1, u"F0010", u""},
      {"RetrieveCurrencyConvFlag", "VDB_InitBhvr", u"", u"3143", 0, u"", u""},
      {"RetrieveCurrencyConversion", "VDB_InitBhvr", u"", u"078S", 0, u"", u""},
      {"RetrieveCurrencyConvFlag", "VDB_OpenTable:F0010", u"", u"3143", 0, u"", u""},
      {"RetrieveCurrencyConversion", "VDB_OpenTable:F0010", u"", u"078D", 0, u"F0010", u""},
      {"RetrieveCurrencyDecimals", "", u"BHD", nullptr, 0, u"", u"3"},
      {"RetrieveCurrencyDecimals", "", u"XXX", u"0002", 1, u"", u""},
      {"RetrieveCurrencyDecimals", "VDB_InitBhvr", u"BHD", u"078S", 0, u"", u""},
      {"RetrieveCurrencyDecimals", "VDB_OpenTable:F0013", u"BHD", u"078D", 0, u"F0013", u""},
      {"GetExchRate", "VDB_InitBhvr", u"", u"078S", 0, u"", u""},
      {"GetExchRate", "VDB_OpenTable:F0015", u"", u"078D", 0, u"F0015", u""},
      {"GetExchRate", "VDB_SetSelection:F0015", u"", u"0949", 8, u"", u""},
      {"GetExchRate", "VDB_Fetch:F0015", u"", u"0949", 8, u"", u""},
  };
  const char *everyFunction[] = {"GetExchRate", "RetrieveCompanyCurrencyCode", "RetrieveCurrencyConvFlag",
                                 "RetrieveCurrencyConversion", "RetrieveCurrencyDecimals", "CurrencyDecimalsGet"};
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " with " + c.fail);
    const std::string f = c.function, fail = c.fail;
    std::map<std::string, std::string> settings = {{"fail", fail}};
    if (fail == "empty") settings = {{"env.PWTEST", dir_ + "/empty.db"}};
    LPBHVRCOM context = newContext(settings);
    const size_t held = settle(context);
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
    EXPECT_EQ(call(context, c.function, &ds), c.error ? ER_ERROR : ER_SUCCESS);
    EXPECT_EQ(context->resources.size(), held) << "a handle was left open";
    if (!c.error) {
      EXPECT_TRUE(context->errors.empty());
      std::u16string output(1, ds.conversion.cCurrencyConversion);
      if (f == "RetrieveCompanyCurrencyCode")
        output = std::u16string(ds.company.szCurrencyCode) + ds.company.cBKTX + ds.company.cABIN;
      if (f == "RetrieveCurrencyDecimals") output.assign(1, ds.decimals.cCurrencyDecimals);
      EXPECT_EQ(output, c.output);
      continue;
    }
    EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "outputs are left as they were";
    ASSERT_EQ(context->errors.size(), 1u);
    EXPECT_EQ(context->errors[0].id, c.error);
    EXPECT_EQ(context->errors[0].item, c.item);
    EXPECT_EQ(context->errors[0].text, c.text);
  }
  for (const char *function : everyFunction) {  // a null argument is refused before any table is read
    LPBHVRCOM context = newContext({{"fail", "VDB_InitBhvr"}});
    EXPECT_EQ(call(context, function, nullptr), ER_ERROR) << function;
    ASSERT_EQ(context->errors.size(), 1u) << function;
    EXPECT_TRUE(context->errors[0].id == u"4363" && context->errors[0].item == 0) << function;
  }
}

TEST_F(Currency, CurrencyDecimalsGetKeepsTheFirstCharacterOfTheCount) {
  const struct {
    short decimals;
    JCHAR expected;
  } cases[] = {{2, u'2'}, {0, u'0'}, {10, u'1'}, {-3, u'-'}};
  for (const auto &c : cases) {
    DSD0000164 ds{math(u"123.456"), u'?'};
    vyrMathSetCurrencyDecimals(&ds.mnAmount, c.decimals);
    EXPECT_EQ(call(context_, "CurrencyDecimalsGet", &ds), ER_SUCCESS);
    EXPECT_EQ(ds.cCurrencyDecimals, c.expected) << c.decimals;
  }
  EXPECT_TRUE(context_->errors.empty());
}

}  // namespace
