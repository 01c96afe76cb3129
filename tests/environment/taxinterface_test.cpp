// Starting and ending the external tax interface: vyrInitEnvBSFN and
// vyrFreeEnvBSFN with and without the plug-in, and their failure paths.
#include "fixture.h"

namespace envtest {
namespace {

const std::string kEnded =
    "GeoCodeTerminate SalesTaxClose(0) SalesTaxClose(1) SalesTaxClose(2) SalesTaxClose(3) SalesTaxTerminate";
const std::string kSalesTaxEnded = kEnded.substr(kEnded.find("SalesTaxClose"));

using TaxInterface = EnvTest;

TEST_F(TaxInterface, StartsThePlugInOnlyWhenTheControlFlagIsY) {
  struct Case {
    JCHAR flag;
    std::string startCalls;
    int records;
  } const cases[] = {{u'Y', "GeoCodeInitialize SalesTaxInitialize", 1}, {u'N', "", 0}, {u'y', "", 0}};
  for (const Case &c : cases) {
    SCOPED_TRACE(static_cast<char>(c.flag));
    restart();
    putControlRecord(c.flag);
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(calls(), c.startCalls);
    EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE), c.records);
    EXPECT_EQ(recordsIn(B0000182_SALESTAX_CACHE), c.records);
    if (c.records == 0) continue;
    // Another environment of the process finds the interface running.
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, newContext({})), ER_SUCCESS);
    EXPECT_EQ(calls(), c.startCalls);

    plugIn().reset(0, 0);
    EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_SUCCESS);
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(calls(), kEnded);
    EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE), 0);
    EXPECT_EQ(recordsIn(B0000182_SALESTAX_CACHE), 0);
  }
}

TEST_F(TaxInterface, FlagYWithoutAUsablePlugInStartsNothing) {
  struct Case {
    std::string plugin;
    std::string error;
  } const cases[] = {
      {"", "TAXLIB taxplugin@0"},
      {"/nonexistent/libnotax.so", "TAXLIB libnotax.so@0"},
      {std::string(FAMOFLAS_BINARY_DIR) + "/lib/libfamoflas.so", "TAXLIB TaxGeoCodeInitialize@0"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.plugin);
    restart();
    context_ = newContext({{"taxplugin", c.plugin}});
    putControlRecord(u'Y');
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_ERROR);
    EXPECT_EQ(errors(), std::vector<std::string>{c.error});
    EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE), 0);
    EXPECT_EQ(recordsIn(B0000182_SALESTAX_CACHE), 0);
  }
}

TEST_F(TaxInterface, ARefusedStartIsReportedAndLeavesTheEarlierStepRunning) {
  putControlRecord(u'Y');
  plugIn().reset(1, 0);
  EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_ERROR);
  EXPECT_EQ(errors(), std::vector<std::string>{"TAXINI TaxGeoCodeInitialize@0"});
  EXPECT_EQ(calls(), "GeoCodeInitialize") << "sales tax is not tried after geocode failed";
  EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE), 0);

  context_->errors.clear();
  plugIn().reset(0, 1);
  EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_ERROR);
  EXPECT_EQ(errors(), std::vector<std::string>{"TAXINI TaxSalesTaxInitialize@0"});
  EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE), 1);
  EXPECT_EQ(recordsIn(B0000182_SALESTAX_CACHE), 0);

  context_->errors.clear();
  plugIn().reset(0, 0);
  EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_ERROR);
  EXPECT_EQ(calls(), "GeoCodeTerminate");
  EXPECT_EQ(errors(), std::vector<std::string>{"078N SalesTaxInit@0"});
}

TEST_F(TaxInterface, InitFailuresOfTheFrame) {
  // Without the control record: no message, and the behaviour handle is left
  // for the context to release.
  putControlRecord(u'Y', u"OTHER");
  const size_t held = context_->resources.size();
  EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_ERROR);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(context_->resources.size(), held + 1);

  putControlRecord(u'Y');
  struct Case {
    const char *fault;
    std::string error;
  } const cases[] = {{"VDB_OpenTable:F7306", "078D F7306@0"},
                     {"VDB_InitBhvr", "078S @0"},
                     {"vyrCacheInit:GeoCodeInit", "078L GeoCodeInit@0"},
                     {"vyrCacheInit:SalesTaxInit", "078L SalesTaxInit@0"}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fault);
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, context), ER_ERROR);
    EXPECT_EQ(errors(context), std::vector<std::string>{c.error});
    EXPECT_LE(context->resources.size(), 1u) << "at most its environment, no behaviour handle";
    EXPECT_EQ(recordsIn(B0000182_SALESTAX_CACHE), 0);
    if (recordsIn(B0000182_GEOCODE_CACHE) > 0) call("vyrFreeEnvBSFN", nullptr);
  }
}

// Stand-ins for the clean-up functions that record how they were called.
std::vector<std::string> gCleanUps;
ID recordGeoCode(LPBHVRCOM, LPVOID, LPVOID ds) {
  gCleanUps.push_back(std::string("ValidateGeoCode ") + char(static_cast<LPDSVALIDATEGEOCODE>(ds)->cProcessingMode));
  return ER_SUCCESS;
}
ID recordX0901(LPBHVRCOM, LPVOID, LPVOID ds) {
  auto *d = static_cast<LPDSX0901TERMINATECACHES>(ds);
  gCleanUps.push_back(std::string("X0901TerminateCaches ") + char(d->cTerminateAccountsById) +
                      char(d->cTerminateAccountsByNumber));
  return ER_SUCCESS;
}
ID recordAAI(LPBHVRCOM, LPVOID, LPVOID) {
  gCleanUps.push_back("AAIRangeOfAccountsClear");
  return ER_ERROR;
}

TEST_F(TaxInterface, EmptyCachesReport078NTwiceAndTheCleanUpsStillRun) {
  HCACHE lookups = fillCache(C7300001_LOOKUP_CACHE, 2);
  fillCache(X0901_ACCOUNTS_BY_ID_CACHE, 1);
  fillCache(X0901_ACCOUNTS_BY_NUMBER_CACHE, 1);
  fillCache(C0900001_RANGE_CACHE, 3);
  EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_ERROR);
  EXPECT_EQ(errors(), (std::vector<std::string>{"078N GeoCodeInit@0", "078N SalesTaxInit@0"}));
  for (const char16_t *cache : {C7300001_LOOKUP_CACHE, X0901_ACCOUNTS_BY_ID_CACHE, X0901_ACCOUNTS_BY_NUMBER_CACHE,
                                C0900001_RANGE_CACHE})
    EXPECT_EQ(recordsIn(cache), 0);
  const JCHAR record[2] = {u'z', 0};
  EXPECT_NE(vyrCacheAdd(lookups, record, sizeof record), VYRCACHE_SUCCESS) << "ended, not only emptied";

  // The calls, their order and flags; a clean-up that fails makes the whole fail.
  const BSFN_CATALOG_ENTRY standIns[] = {{"ValidateGeoCode", recordGeoCode, nullptr, "TEST"},
                                         {"X0901TerminateCaches", recordX0901, nullptr, "TEST"},
                                         {"AAIRangeOfAccountsClear", recordAAI, nullptr, "TEST"}};
  vyr::registerCatalog(standIns, 3);
  putControlRecord(u'Y');
  EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
  context_->errors.clear();
  EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_ERROR);
  registerLibraries();
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(gCleanUps, (std::vector<std::string>{"ValidateGeoCode 1", "X0901TerminateCaches 11",
                                                 "AAIRangeOfAccountsClear"}));
}

TEST_F(TaxInterface, CacheFailuresWhileEndingAreReportedAndTheRestGoesOn) {
  struct Case {
    const char *fault;
    std::string error;
    std::string calls;
  } const cases[] = {
      {"VDB_InitBhvr", "3143 @0", ""},
      {"vyrCacheInit:GeoCodeInit", "078L GeoCodeInit@0", kSalesTaxEnded},
      {"vyrCacheOpenCursorX:SalesTaxInit", "078N SalesTaxInit@0", "GeoCodeTerminate"},
      {"vyrCacheFetchPosition:GeoCodeInit", "078N GeoCodeInit@0", kSalesTaxEnded},
      {"vyrCacheDelete:GeoCodeInit", "078N GeoCodeInit@0", kEnded},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fault);
    restart();
    putControlRecord(u'Y');
    ASSERT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
    plugIn().reset(0, 0);
    fillCache(C0900001_RANGE_CACHE, 1);
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr, context), ER_ERROR);
    EXPECT_EQ(errors(context), std::vector<std::string>{c.error});
    EXPECT_EQ(calls(), c.calls);
    // The clean-up functions run unless no behaviour handle could be had.
    EXPECT_EQ(recordsIn(C0900001_RANGE_CACHE), c.calls.empty() ? 1 : 0);
    // A record that could not be ended is still there for a later call.
    EXPECT_EQ(recordsIn(B0000182_GEOCODE_CACHE) + recordsIn(B0000182_SALESTAX_CACHE), c.calls.empty() ? 2 : 1);
  }
}

}  // namespace
}  // namespace envtest
