// The environment functions: starting and ending the external tax interface
// (vyrInitEnvBSFN, vyrFreeEnvBSFN) with the test plug-in, the clean-up
// companions they call, and the input/output environment handles.
#include <dlfcn.h>

#include "C0900001.h"
#include "C7300001.h"
#include "X0901.h"
#include "frame/B0000182.h"
#include "frame/B8000007.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

const std::string kPlugin = std::string(FAMOFLAS_BINARY_DIR) + "/tests/fixtures/libtaxplugin.so";
const char16_t *const kJobCaches[] = {C7300001_LOOKUP_CACHE, X0901_ACCOUNTS_BY_ID_CACHE, X0901_ACCOUNTS_BY_NUMBER_CACHE,
                                      C0900001_RANGE_CACHE};
const std::string kSalesTaxEnded =
    "SalesTaxClose(0) SalesTaxClose(1) SalesTaxClose(2) SalesTaxClose(3) SalesTaxTerminate";
const std::string kEnded = "GeoCodeTerminate " + kSalesTaxEnded;

// The test's own reference to the plug-in: the instance the functions load.
struct PlugIn {
  void *library = dlopen(kPlugin.c_str(), RTLD_NOW | RTLD_LOCAL);
  const char *(*calls)() = library ? (const char *(*)())dlsym(library, "TaxFixtureCalls") : nullptr;
  void (*reset)(int, int) = library ? (void (*)(int, int))dlsym(library, "TaxFixtureReset") : nullptr;
} gPlugIn;

// Opens a cache by name with n records added (n < 0: ends it instead) and
// returns its record count before that; -1 when it cannot be opened.
int cache(const char16_t *name, int n = 0, HCACHE *keep = nullptr) {
  const VYRCACHE_INDEX index = B0000182_InterfaceCacheIndex();
  HCACHE handle = nullptr;
  if (vyrCacheInit(nullptr, &handle, name, &index) != VYRCACHE_SUCCESS) return -1;
  const int count = vyrCacheGetNumRecords(handle);
  for (int i = 0; i < n; ++i) {
    const JCHAR record[2] = {JCHAR(u'a' + i), 0};
    EXPECT_EQ(vyrCacheAdd(handle, record, sizeof record), VYRCACHE_SUCCESS);
  }
  if (keep != nullptr) *keep = handle;
  if (keep == nullptr) (n < 0 ? vyrCacheTerminateAll : vyrCacheTerminate)(nullptr, handle);
  return count;
}
int interfaceRecords() { return cache(B0000182_GEOCODE_CACHE) + cache(B0000182_SALESTAX_CACHE); }

// Whether every interface record left in the caches still reaches its plug-in.
bool recordsKeepTheirPlugIn() {
  bool kept = true;
  for (const char16_t *name : {B0000182_GEOCODE_CACHE, B0000182_SALESTAX_CACHE}) {
    HCACHE handle = nullptr;
    cache(name, 0, &handle);
    TAXINTERFACEREC record{};
    if (vyrCacheFetch(handle, B0000182_INTERFACE_KEY, 1, &record, sizeof record) == VYRCACHE_SUCCESS)
      kept = kept && GetProcAddress(record.hLibrary, "TaxFixtureCalls") != nullptr;
    vyrCacheTerminate(nullptr, handle);
  }
  return kept;
}

class Environment : public BsfnTest {
 protected:
  void SetUp() override {
    ASSERT_NE(gPlugIn.reset, nullptr) << "no test plug-in at " << kPlugin;
    gPlugIn.reset(0, 0);
    defaults_["taxplugin"] = kPlugin;
    BsfnTest::SetUp();
  }
  void TearDown() override {
    // Whatever a test left running is ended, so the next one starts clean.
    if (interfaceRecords() > 0) call("vyrFreeEnvBSFN", nullptr, newContext());
    for (const char16_t *name : kJobCaches) cache(name, -1);
    BsfnTest::TearDown();
  }
  void restart() {
    TearDown();
    SetUp();
  }
  // The F7306 control record: key and interface flag.
  void putControlRecord(JCHAR flag, const char16_t *key = B0000182_F7306_CONTROL_KEY) {
    struct {
      JCHAR key[6], flag;
    } row = {{}, flag};
    vyrStrcpy(row.key, key);
    insert(u"F7306", &row, {u"CTLKEY", u"TXIF"});
  }
  static std::string calls() { return gPlugIn.calls(); }
};

// The plug-in starts only under the control flag "Y"; a failed step leaves
// nothing started by it; without a control record nothing is said and the
// behaviour handle is left to the context.
TEST_F(Environment, StartingTheInterface) {
  const std::string started = "GeoCodeInitialize SalesTaxInitialize";
  const struct {
    JCHAR flag;  // 0: no control record
    std::string plugin, fault;
    int geoCodeResult, salesTaxResult;
    ID code;
    Strings errors;
    std::string calls;
    int geoCodeRecords, salesTaxRecords;
    size_t handlesLeft = 0;
  } cases[] = {
      {u'Y', kPlugin, "", 0, 0, ER_SUCCESS, {}, started, 1, 1},
      {u'N', kPlugin, "", 0, 0, ER_SUCCESS, {}, "", 0, 0},
      {u'y', kPlugin, "", 0, 0, ER_SUCCESS, {}, "", 0, 0},
      {0, kPlugin, "", 0, 0, ER_ERROR, {}, "", 0, 0, 1},
      {u'Y', "", "", 0, 0, ER_ERROR, {"TXLB taxplugin@0"}, "", 0, 0},
      {u'Y', "/nonexistent/libnotax.so", "", 0, 0, ER_ERROR, {"TXLB libnotax.so@0"}, "", 0, 0},
      {u'Y',
       std::string(FAMOFLAS_BINARY_DIR) + "/lib/libfamoflas.so",
       "",
       0,
       0,
       ER_ERROR,
       {"TXLB TaxGeoCodeInitialize@0"},
       "",
       0,
       0},
      {u'Y', kPlugin, "", 1, 0, ER_ERROR, {"TXIN TaxGeoCodeInitialize@0"}, "GeoCodeInitialize", 0, 0},
      {u'Y', kPlugin, "", 0, 1, ER_ERROR, {"TXIN TaxSalesTaxInitialize@0"}, started, 1, 0},
      {u'Y', kPlugin, "VDB_InitBhvr", 0, 0, ER_ERROR, {"078S @0"}, "", 0, 0},
      {u'Y', kPlugin, "VDB_OpenTable:F7306", 0, 0, ER_ERROR, {"078D F7306@0"}, "", 0, 0},
      {u'Y', kPlugin, "vyrCacheInit:GeoCodeInit", 0, 0, ER_ERROR, {"078L GeoCodeInit@0"}, "", 0, 0},
      {u'Y', kPlugin, "vyrCacheInit:SalesTaxInit", 0, 0, ER_ERROR, {"078L SalesTaxInit@0"}, "GeoCodeInitialize", 1, 0},
      {u'Y',
       kPlugin,
       "vyrCacheAdd:SalesTaxInit",
       0,
       0,
       ER_ERROR,
       {"078L SalesTaxInit@0"},
       started + " " + kSalesTaxEnded,
       1,
       0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(1, char(c.flag)) + " " + c.plugin + " " + c.fault);
    restart();
    putControlRecord(c.flag, c.flag ? B0000182_F7306_CONTROL_KEY : u"OTHER");
    gPlugIn.reset(c.geoCodeResult, c.salesTaxResult);
    LPBHVRCOM context = newContext({{"taxplugin", c.plugin}, {"fail", c.fault}});
    EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, context), c.code);
    EXPECT_EQ(handlesLeft_, c.handlesLeft);
    EXPECT_EQ(errors(context), c.errors);
    if (c.code == ER_SUCCESS) {  // another environment of the process finds the interface as it is
      EXPECT_EQ(call("vyrInitEnvBSFN", nullptr, newContext()), ER_SUCCESS);
    }
    EXPECT_EQ(calls(), c.calls);
    EXPECT_EQ(cache(B0000182_GEOCODE_CACHE), c.geoCodeRecords);
    EXPECT_EQ(cache(B0000182_SALESTAX_CACHE), c.salesTaxRecords);
  }
}

// Ending goes on past every failure: the other interface and the clean-up
// companions still run, and what could not be ended stays for a later call.
TEST_F(Environment, EndingTheInterfaceAndTheJobCaches) {
  const struct {
    const char *fault;
    Strings errors;
    std::string calls;
    int recordsLeft, rangesLeft;  // interface records kept; AAI ranges not cleared
    bool started = true;
  } cases[] = {
      {"", {}, kEnded, 0, 0},
      {"", {"078N GeoCodeInit@0", "078N SalesTaxInit@0"}, "", 0, 0, false},
      {"VDB_InitBhvr", {"3143 @0"}, "", 2, 1},
      {"vyrCacheInit:GeoCodeInit", {"078L GeoCodeInit@0"}, kSalesTaxEnded, 1, 0},
      {"vyrCacheOpenCursorX:SalesTaxInit", {"078N SalesTaxInit@0"}, "GeoCodeTerminate", 1, 0},
      {"vyrCacheFetchPosition:GeoCodeInit", {"078N GeoCodeInit@0"}, kSalesTaxEnded, 1, 0},
      {"vyrCacheDelete:GeoCodeInit", {"078N GeoCodeInit@0"}, kEnded, 1, 0},
      {"vyrCacheInit:AAIRangeOfAccounts", {"078L AAIRangeOfAccounts@0"}, kEnded, 0, 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.fault);
    restart();
    putControlRecord(u'Y');
    if (c.started) {
      ASSERT_EQ(call("vyrInitEnvBSFN", nullptr), ER_SUCCESS);
    }
    gPlugIn.reset(0, 0);
    for (const char16_t *name : kJobCaches) cache(name, 1);
    HCACHE lookups = nullptr;
    cache(C7300001_LOOKUP_CACHE, 0, &lookups);
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call("vyrFreeEnvBSFN", nullptr, context), c.errors.empty() ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(handlesLeft_, 0u);
    EXPECT_EQ(errors(context), c.errors);
    EXPECT_EQ(calls(), c.calls);
    EXPECT_EQ(interfaceRecords(), c.recordsLeft);
    EXPECT_TRUE(recordsKeepTheirPlugIn()) << "a record left behind keeps its plug-in loaded";
    EXPECT_EQ(cache(C0900001_RANGE_CACHE), c.rangesLeft);
    // Unless the behaviour handle failed, the job caches are ended, not only emptied.
    const JCHAR record[2] = {u'z', 0};
    EXPECT_EQ(vyrCacheAdd(lookups, record, sizeof record) != VYRCACHE_SUCCESS,
              std::string_view(c.fault) != "VDB_InitBhvr");
  }
}

TEST_F(Environment, CleanUpCompanionsEndTheCachesTheyAreAskedFor) {
  const struct {
    const char *function;
    JCHAR flag1, flag2;
    std::string fault;
    ID result, ended;  // ended: records reported as dropped
    int left;          // records left in the four job caches (filled with 1, 2, 3, 4)
    Strings errors;
  } cases[] = {
      {"ValidateGeoCode", u'1', 0, "", ER_SUCCESS, 1, 9, {}},
      {"ValidateGeoCode", u'2', 0, "", ER_ERROR, 0, 10, {"4363 @1"}},
      {"X0901TerminateCaches", u'1', u'1', "", ER_SUCCESS, 5, 5, {}},
      {"X0901TerminateCaches", u'1', u'0', "", ER_SUCCESS, 2, 8, {}},
      {"X0901TerminateCaches", u' ', u'1', "", ER_SUCCESS, 3, 7, {}},
      {"X0901TerminateCaches",
       u'1',
       u'1',
       "vyrCacheInit:X0901AccountsById",
       ER_ERROR,
       3,
       7,
       {"078L X0901AccountsById@0"}},
      {"AAIRangeOfAccountsClear", 0, 0, "", ER_SUCCESS, 4, 6, {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + char(c.flag1) + char(c.flag2) + " " + c.fault);
    restart();
    for (int i = 0; i < 4; ++i) cache(kJobCaches[i], i + 1);
    DSVALIDATEGEOCODE geo{c.flag1, 0};
    DSX0901TERMINATECACHES x0901{c.flag1, c.flag2, 0};
    DSAAIRANGECLEAR aai{0};
    const std::string f = c.function;
    void *ds = f == "ValidateGeoCode" ? (void *)&geo : f == "X0901TerminateCaches" ? (void *)&x0901 : (void *)&aai;
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call(c.function, ds, context), c.result);
    EXPECT_EQ(geo.idLookupsEnded + x0901.idRecordsEnded + aai.idRangesCleared, c.ended);
    EXPECT_EQ(errors(context), c.errors);
    int left = 0;
    for (const char16_t *name : kJobCaches) left += cache(name);
    EXPECT_EQ(left, c.left) << "nothing else was touched";
  }
}

std::u16string nameOf(void *env) {
  JCHAR name[11] = {};
  return VDB_GetEnvironment(static_cast<HENV>(env), name, 11) == 1 ? name : u"(freed)";
}

// The current environment's own handle is parked and never freed; another
// environment is opened as a secondary one and freed again. Every failure is
// "078S" and leaves nothing parked or open.
TEST_F(Environment, InputOutputEnvironmentHandles) {
  const struct {
    const char16_t *input, *output, *current;
    std::string fault;
    ID code = ER_ERROR;
  } cases[] = {
      {u"MAIN", u"MAIN", u"MAIN", "", ER_SUCCESS},
      {u"SECOND", u"MAIN", u"MAIN", "", ER_SUCCESS},
      {u"MAIN", u"SECOND", u"MAIN", "", ER_SUCCESS},
      {u"MAIN", u"MAIN", u"MAIN", "VDB_InitBhvr"},
      {u"SECOND", u"MAIN", u"MAIN", "VDB_InitSecondaryEnv:SECOND"},
      {u"NOSUCH", u"MAIN", u"MAIN", ""},  // no database for it
      {u"SECOND", u"MAIN", u"MAIN", "vyrStoreDataPtr"},
      {u"NODB", u"NODB", u"NODB", ""},      // the context has no handle of its own
      {u"SECOND", u"NOSUCH", u"MAIN", ""},  // the input side is undone
      {u"MAIN", u"SECOND", u"MAIN", "VDB_InitSecondaryEnv:SECOND"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(toUtf8(std::u16string(c.input) + u"->" + c.output) + " " + c.fault);
    LPBHVRCOM context = newContext({{"env", toUtf8(c.current)}, {"fail", c.fault}});
    DSD8000007 ds{};
    vyrStrcpy(ds.szInputEnvironment, c.input);
    vyrStrcpy(ds.szOutputEnvironment, c.output);
    vyrStrcpy(ds.szCurrentEnvironment, c.current);
    ds.idInputEnvHandle = ds.idOutputEnvHandle = 77;
    const ID mark = vyrStoreDataPtr(nullptr, &ds);  // the function's first index comes next
    vyrRemoveDataPtr(nullptr, mark);
    EXPECT_EQ(call("GetInputOutputEnvHandles", &ds, context), c.code);
    EXPECT_EQ(handlesLeft_, 0u);
    if (c.code == ER_ERROR) {
      EXPECT_EQ(errors(context), Strings{"078S @0"});
      EXPECT_TRUE(ds.idInputEnvHandle == 0 && ds.idOutputEnvHandle == 0);
      EXPECT_EQ(vyrRetrieveDataPtr(nullptr, mark + 1), nullptr);
      continue;
    }
    const ID ids[] = {ds.idInputEnvHandle, ds.idOutputEnvHandle};
    void *const own = vyrGetBhvrEnvironment(context), *in = vyrRetrieveDataPtr(nullptr, ids[0]),
                *out = vyrRetrieveDataPtr(nullptr, ids[1]);
    EXPECT_EQ(nameOf(in) + u"->" + nameOf(out), std::u16string(c.input) + u"->" + c.output);
    EXPECT_EQ(in == own, std::u16string_view(c.input) == u"MAIN");
    EXPECT_EQ(out == own, std::u16string_view(c.output) == u"MAIN");
    ASSERT_EQ(call("FreeInputOutputEnvHandles", &ds, context), ER_SUCCESS);
    EXPECT_EQ(handlesLeft_, 0u);
    EXPECT_TRUE(ds.idInputEnvHandle == 0 && ds.idOutputEnvHandle == 0);
    for (ID id : ids) EXPECT_EQ(vyrRetrieveDataPtr(nullptr, id), nullptr);
    EXPECT_EQ(nameOf(own), u"MAIN") << "the context's own handle is never freed";
    EXPECT_EQ(nameOf(in == own ? out : in), in == out ? u"MAIN" : u"(freed)");
  }
}

}  // namespace
