// GetInputOutputEnvHandles / FreeInputOutputEnvHandles: the current
// environment's own handle is parked and never freed; another environment is
// opened as a secondary one and freed again.
#include "fixture.h"
#include "frame/B8000007.h"

namespace envtest {
namespace {

using EnvHandles = EnvTest;

DSD8000007 pair(const char16_t *input, const char16_t *output, const char16_t *current = u"MAIN") {
  DSD8000007 ds{};
  vyrStrcpyFillAndTerminate(ds.szInputEnvironment, input, 11, 0);
  vyrStrcpyFillAndTerminate(ds.szOutputEnvironment, output, 11, 0);
  vyrStrcpyFillAndTerminate(ds.szCurrentEnvironment, current, 11, 0);
  return ds;
}

std::u16string environmentName(HENV env) {
  JCHAR name[11] = {};
  return VDB_GetEnvironment(env, name, 11) == 1 ? std::u16string(name) : u"(freed)";
}

TEST_F(EnvHandles, EqualEnvironmentsParkTheContextsOwnHandleAndFreeNothing) {
  DSD8000007 ds = pair(u"MAIN", u"MAIN");
  ASSERT_EQ(call("GetInputOutputEnvHandles", &ds), ER_SUCCESS);
  const HENV own = vyrGetBhvrEnvironment(context_);
  ASSERT_NE(own, nullptr);
  EXPECT_NE(ds.idInputEnvHandle, ds.idOutputEnvHandle);
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, ds.idInputEnvHandle), own);
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, ds.idOutputEnvHandle), own);

  const ID input = ds.idInputEnvHandle, output = ds.idOutputEnvHandle;
  const size_t held = context_->resources.size();
  ASSERT_EQ(call("FreeInputOutputEnvHandles", &ds), ER_SUCCESS);
  EXPECT_TRUE(ds.idInputEnvHandle == 0 && ds.idOutputEnvHandle == 0);
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, input), nullptr);
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, output), nullptr);
  EXPECT_EQ(environmentName(own), u"MAIN") << "the context's own handle is not freed";
  EXPECT_EQ(context_->resources.size(), held) << "behaviour handles are freed";
  EXPECT_TRUE(errors().empty());
}

TEST_F(EnvHandles, ASecondEnvironmentIsOpenedOnItsOwnDatabaseAndFreed) {
  DSD8000007 ds = pair(u"SECOND", u"MAIN");
  ASSERT_EQ(call("GetInputOutputEnvHandles", &ds), ER_SUCCESS);
  const HENV second = static_cast<HENV>(vyrRetrieveDataPtr(nullptr, ds.idInputEnvHandle));
  ASSERT_NE(second, vyrGetBhvrEnvironment(context_));
  EXPECT_EQ(environmentName(second), u"SECOND");
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, ds.idOutputEnvHandle), vyrGetBhvrEnvironment(context_));

  // A row written through the secondary handle lands in SECOND only.
  F7306Row row{};
  vyrStrcpyFillAndTerminate(row.szControlKey, u"ONLY2", 6, 0);
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &user, second, 0), 1u);
  ASSERT_EQ(VDB_OpenTable(user, u"F7306", 1, nullptr, 0, nullptr, &request), 1u);
  EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
  VDB_FreeUser(user);
  ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
  ASSERT_EQ(VDB_OpenTable(user, u"F7306", 1, nullptr, 0, nullptr, &request), 1u);
  EXPECT_NE(VDB_FetchKeyed(request, 0, row.szControlKey, 1, &row, 0), 1u);
  VDB_FreeBhvr(user);

  ASSERT_EQ(call("FreeInputOutputEnvHandles", &ds), ER_SUCCESS);
  EXPECT_EQ(environmentName(second), u"(freed)");
  EXPECT_EQ(environmentName(vyrGetBhvrEnvironment(context_)), u"MAIN");
  EXPECT_TRUE(errors().empty());
}

TEST_F(EnvHandles, EveryFailureIs078SAndLeavesNothingParkedOrOpen) {
  struct Case {
    const char16_t *input, *output;
    const char *fault;
    bool database;  // whether the context has a database at all
  } const cases[] = {
      {u"MAIN", u"MAIN", "VDB_InitBhvr", true},
      {u"SECOND", u"MAIN", "VDB_InitSecondaryEnv:SECOND", true},
      {u"NOSUCH", u"MAIN", "", true},                 // no database for it
      {u"MAIN", u"MAIN", "vyrStoreDataPtr", true},     // the store is full
      {u"SECOND", u"MAIN", "vyrStoreDataPtr", true},
      {u"MAIN", u"MAIN", "", false},                  // no handle of its own to park
      {u"SECOND", u"NOSUCH", "", true},               // the input side is undone
      {u"MAIN", u"SECOND", "VDB_InitSecondaryEnv:SECOND", true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.fault) + (c.database ? "" : " without database"));
    std::map<std::string, std::string> settings{{"fail", c.fault}};
    if (!c.database) settings = {{"env", "NODB"}};
    LPBHVRCOM context = newContext(settings);
    DSD8000007 ds = pair(c.input, c.output, c.database ? u"MAIN" : u"NODB");
    if (!c.database) ds = pair(u"NODB", u"NODB", u"NODB");
    ds.idInputEnvHandle = ds.idOutputEnvHandle = 77;
    const ID mark = vyrStoreDataPtr(nullptr, &ds);  // the function's first index would be the next one
    vyrRemoveDataPtr(nullptr, mark);
    EXPECT_EQ(call("GetInputOutputEnvHandles", &ds, context), ER_ERROR);
    EXPECT_EQ(errors(context), std::vector<std::string>{"078S @0"});
    EXPECT_TRUE(ds.idInputEnvHandle == 0 && ds.idOutputEnvHandle == 0);
    EXPECT_EQ(vyrRetrieveDataPtr(nullptr, mark + 1), nullptr);
    EXPECT_LE(context->resources.size(), 1u) << "at most its environment, no behaviour handle";
  }
}

TEST_F(EnvHandles, MissingArgumentsAre4363) {
  DSD8000007 ds = pair(u"MAIN", u"MAIN");
  for (const char *name : {"GetInputOutputEnvHandles", "FreeInputOutputEnvHandles", "vyrInitEnvBSFN",
                           "vyrFreeEnvBSFN", "ValidateGeoCode", "X0901TerminateCaches", "AAIRangeOfAccountsClear"}) {
    SCOPED_TRACE(name);
    const LPBSFN fn = vyr::findFunction(std::string_view(name))->lpfnEntry;
    context_->errors.clear();
    EXPECT_EQ(fn(context_, nullptr, &ds), ER_ERROR);
    EXPECT_EQ(errors(), std::vector<std::string>{"4363 @0"});
    EXPECT_EQ(fn(nullptr, vyr::userEnvironment(context_), &ds), ER_ERROR);
    if (std::string(name).rfind("vyr", 0) == 0) continue;  // these take no data structure
    context_->errors.clear();
    EXPECT_EQ(fn(context_, vyr::userEnvironment(context_), nullptr), ER_ERROR);
    EXPECT_EQ(errors(), std::vector<std::string>{"4363 @0"});
  }
}

}  // namespace
}  // namespace envtest
