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

std::u16string nameOf(const void *env) {
  JCHAR name[11] = {};
  return VDB_GetEnvironment(static_cast<HENV>(const_cast<void *>(env)), name, 11) == 1 ? name : u"(freed)";
}

TEST_F(EnvHandles, OnlyAnotherEnvironmentIsOpenedAndFreed) {
  struct Case {
    const char16_t *input, *output;
  } const cases[] = {{u"MAIN", u"MAIN"}, {u"SECOND", u"MAIN"}, {u"MAIN", u"SECOND"}};
  for (const Case &c : cases) {
    SCOPED_TRACE(vyr::toUtf8(std::u16string(c.input) + u"->" + c.output));
    restart();
    DSD8000007 ds = pair(c.input, c.output);
    ASSERT_EQ(call("GetInputOutputEnvHandles", &ds), ER_SUCCESS);
    const HENV own = vyrGetBhvrEnvironment(context_);
    void *input = vyrRetrieveDataPtr(nullptr, ds.idInputEnvHandle);
    void *output = vyrRetrieveDataPtr(nullptr, ds.idOutputEnvHandle);
    EXPECT_EQ(nameOf(input), c.input);
    EXPECT_EQ(nameOf(output), c.output);
    EXPECT_EQ(input == own, std::u16string(c.input) == u"MAIN");
    EXPECT_EQ(output == own, std::u16string(c.output) == u"MAIN");

    // A row written through the SECOND handle lands in its database only.
    void *second = input == own ? output : input;
    if (second != own) {
      F7306Row row{};
      vyrStrcpyFillAndTerminate(row.szControlKey, u"ONLY2", 6, 0);
      HUSER user = nullptr;
      HREQUEST request = nullptr;
      ASSERT_EQ(VDB_InitUser(context_, &user, static_cast<HENV>(second), 0), 1u);
      ASSERT_EQ(VDB_OpenTable(user, u"F7306", 1, nullptr, 0, nullptr, &request), 1u);
      EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
      VDB_FreeUser(user);
      ASSERT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
      ASSERT_EQ(VDB_OpenTable(user, u"F7306", 1, nullptr, 0, nullptr, &request), 1u);
      EXPECT_NE(VDB_FetchKeyed(request, 0, row.szControlKey, 1, &row, 0), 1u);
      VDB_FreeBhvr(user);
    }

    const ID ids[] = {ds.idInputEnvHandle, ds.idOutputEnvHandle};
    const size_t held = context_->resources.size();
    ASSERT_EQ(call("FreeInputOutputEnvHandles", &ds), ER_SUCCESS);
    EXPECT_TRUE(ds.idInputEnvHandle == 0 && ds.idOutputEnvHandle == 0);
    for (ID id : ids) EXPECT_EQ(vyrRetrieveDataPtr(nullptr, id), nullptr);
    EXPECT_EQ(nameOf(own), u"MAIN") << "the context's own handle is never freed";
    EXPECT_EQ(nameOf(second), second != own ? u"(freed)" : u"MAIN");
    EXPECT_EQ(context_->resources.size(), held) << "behaviour handles are freed";
    EXPECT_TRUE(errors().empty());
  }
}

TEST_F(EnvHandles, EveryFailureIs078SAndLeavesNothingParkedOrOpen) {
  struct Case {
    const char16_t *input, *output, *current;
    const char *fault;
  } const cases[] = {
      {u"MAIN", u"MAIN", u"MAIN", "VDB_InitBhvr"},
      {u"SECOND", u"MAIN", u"MAIN", "VDB_InitSecondaryEnv:SECOND"},
      {u"NOSUCH", u"MAIN", u"MAIN", ""},  // no database for it
      {u"MAIN", u"MAIN", u"MAIN", "vyrStoreDataPtr"},
      {u"SECOND", u"MAIN", u"MAIN", "vyrStoreDataPtr"},
      {u"NODB", u"NODB", u"NODB", ""},     // the context has no handle of its own
      {u"SECOND", u"NOSUCH", u"MAIN", ""},  // the input side is undone
      {u"MAIN", u"SECOND", u"MAIN", "VDB_InitSecondaryEnv:SECOND"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(vyr::toUtf8(std::u16string(c.input) + u"->" + c.output) + " " + c.fault);
    LPBHVRCOM context = newContext({{"env", vyr::toUtf8(c.current)}, {"fail", c.fault}});
    DSD8000007 ds = pair(c.input, c.output, c.current);
    ds.idInputEnvHandle = ds.idOutputEnvHandle = 77;
    const ID mark = vyrStoreDataPtr(nullptr, &ds);  // the function's first index comes next
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
    const bool takesRecord = std::string(name).rfind("vyr", 0) != 0;
    for (int missing = 1; missing <= (takesRecord ? 2 : 1); ++missing) {
      context_->errors.clear();
      EXPECT_EQ(fn(context_, missing == 1 ? nullptr : vyr::userEnvironment(context_), missing == 2 ? nullptr : &ds),
                ER_ERROR);
      EXPECT_EQ(errors(), std::vector<std::string>{"4363 @0"});
    }
    EXPECT_EQ(fn(nullptr, vyr::userEnvironment(context_), &ds), ER_ERROR);
  }
}

}  // namespace
}  // namespace envtest
