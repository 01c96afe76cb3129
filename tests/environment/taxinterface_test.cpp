// Starting and ending the external tax interface: vyrInitEnvBSFN and
// vyrFreeEnvBSFN with and without the plug-in, and their failure paths.
#include "fixture.h"

namespace envtest {
namespace {

const std::string kSalesTaxEnded =
    "SalesTaxClose(0) SalesTaxClose(1) SalesTaxClose(2) SalesTaxClose(3) SalesTaxTerminate";
const std::string kEnded = "GeoCodeTerminate " + kSalesTaxEnded;
using Strings = std::vector<std::string>;

using TaxInterface = EnvTest;

TEST_F(TaxInterface, StartsThePlugInOnlyWhenTheControlFlagIsYAndEndsItInOrder) {
  for (const JCHAR flag : {u'Y', u'N', u'y'}) {
    SCOPED_TRACE(static_cast<char>(flag));
    restart();
    putControlRecord(flag);
    const int records = flag == u'Y' ? 1 : 0;
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
    EXPECT_EQ(calls(), records ? "GeoCodeInitialize SalesTaxInitialize" : "");
    EXPECT_EQ(cache(B0000182_GEOCODE_CACHE) + cache(B0000182_SALESTAX_CACHE), 2 * records);
    // Another environment of the process finds the interface running.
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, newContext({})), ER_SUCCESS);
    EXPECT_EQ(calls(), records ? "GeoCodeInitialize SalesTaxInitialize" : "");
    EXPECT_TRUE(errors().empty());
    if (!records) continue;

    plugIn().reset(0, 0);
    EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_SUCCESS);
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(calls(), kEnded);
    EXPECT_EQ(cache(B0000182_GEOCODE_CACHE) + cache(B0000182_SALESTAX_CACHE), 0);
  }
}

TEST_F(TaxInterface, StartFailuresLeaveNothingStartedByTheFailedStep) {
  struct Case {
    std::string plugin, fault;
    int geoCodeResult, salesTaxResult;
    std::string error, calls;
    int geoCodeRecords;  // the geocode step stays when only sales tax failed
  } const cases[] = {
      {"", "", 0, 0, "TAXLIB taxplugin@0", "", 0},
      {"/nonexistent/libnotax.so", "", 0, 0, "TAXLIB libnotax.so@0", "", 0},
      {std::string(FAMOFLAS_BINARY_DIR) + "/lib/libfamoflas.so", "", 0, 0, "TAXLIB TaxGeoCodeInitialize@0", "", 0},
      {kPlugin, "", 1, 0, "TAXINI TaxGeoCodeInitialize@0", "GeoCodeInitialize", 0},
      {kPlugin, "", 0, 1, "TAXINI TaxSalesTaxInitialize@0", "GeoCodeInitialize SalesTaxInitialize", 1},
      {kPlugin, "VDB_OpenTable:F7306", 0, 0, "078D F7306@0", "", 0},
      {kPlugin, "VDB_InitBhvr", 0, 0, "078S @0", "", 0},
      {kPlugin, "vyrCacheInit:GeoCodeInit", 0, 0, "078L GeoCodeInit@0", "", 0},
      {kPlugin, "vyrCacheInit:SalesTaxInit", 0, 0, "078L SalesTaxInit@0", "GeoCodeInitialize", 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.plugin + " " + c.fault + " " + c.error);
    restart();
    putControlRecord(u'Y');
    plugIn().reset(c.geoCodeResult, c.salesTaxResult);
    LPBHVRCOM context = newContext({{"taxplugin", c.plugin}, {"fail", c.fault}});
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, context), ER_ERROR);
    EXPECT_EQ(errors(context), Strings{c.error});
    EXPECT_EQ(calls(), c.calls);
    EXPECT_EQ(cache(B0000182_GEOCODE_CACHE), c.geoCodeRecords);
    EXPECT_EQ(cache(B0000182_SALESTAX_CACHE), 0);
    EXPECT_LE(context->resources.size(), 1u) << "at most its environment, no behaviour handle";
  }
}

TEST_F(TaxInterface, AMissingControlRecordFailsSilentlyAndLeavesTheHandleToTheContext) {
  putControlRecord(u'Y', u"OTHER");
  const size_t held = context_->resources.size();
  EXPECT_EQ(call("vyrInitEnvBSFN", nullptr), ER_ERROR);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(context_->resources.size(), held + 1);
}

TEST_F(TaxInterface, EmptyCachesReport078NTwiceAndTheCleanUpsStillRun) {
  HCACHE lookups = nullptr;
  for (const char16_t *name : kJobCaches) cache(name, 1);
  cache(C7300001_LOOKUP_CACHE, 0, &lookups);
  EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr), ER_ERROR);
  EXPECT_EQ(errors(), (Strings{"078N GeoCodeInit@0", "078N SalesTaxInit@0"}));
  for (const char16_t *name : kJobCaches) EXPECT_EQ(cache(name), 0);
  const JCHAR record[2] = {u'z', 0};
  EXPECT_NE(vyrCacheAdd(lookups, record, sizeof record), VYRCACHE_SUCCESS) << "ended, not only emptied";
}

TEST_F(TaxInterface, FailuresWhileEndingAreReportedAndTheRestGoesOn) {
  struct Case {
    const char *fault;
    std::string error, calls;
    int recordsLeft, rangesLeft;  // interface records kept for a later call; AAI ranges not cleared
  } const cases[] = {
      {"VDB_InitBhvr", "3143 @0", "", 2, 1},
      {"vyrCacheInit:GeoCodeInit", "078L GeoCodeInit@0", kSalesTaxEnded, 1, 0},
      {"vyrCacheOpenCursorX:SalesTaxInit", "078N SalesTaxInit@0", "GeoCodeTerminate", 1, 0},
      {"vyrCacheFetchPosition:GeoCodeInit", "078N GeoCodeInit@0", kSalesTaxEnded, 1, 0},
      {"vyrCacheDelete:GeoCodeInit", "078N GeoCodeInit@0", kEnded, 1, 0},
      {"vyrCacheInit:AAIRangeOfAccounts", "078L AAIRangeOfAccounts@0", kEnded, 0, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fault);
    restart();
    putControlRecord(u'Y');
    ASSERT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
    plugIn().reset(0, 0);
    cache(C0900001_RANGE_CACHE, 1);
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr, context), ER_ERROR);
    EXPECT_EQ(errors(context), Strings{c.error});
    EXPECT_EQ(calls(), c.calls);
    EXPECT_EQ(cache(B0000182_GEOCODE_CACHE) + cache(B0000182_SALESTAX_CACHE), c.recordsLeft);
    EXPECT_EQ(cache(C0900001_RANGE_CACHE), c.rangesLeft);
  }
}

}  // namespace
}  // namespace envtest
