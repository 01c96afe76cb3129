// Contexts: settings defaults and refusals, live-context checks, resources
// released when a context ends, and the fault hook.
#include <gtest/gtest.h>

#include "runtime/context.h"

namespace {

TEST(Context, SettingsStartAtDefaultsAndRefuseBadValues) {
  std::string error;
  LPBHVRCOM context = vyr::createContext({{"CTR", "JP"}, {"decimal", "comma"}}, &error);
  ASSERT_NE(context, nullptr) << error;
  EXPECT_EQ(vyr::setting(context, "CTR"), "JP");
  EXPECT_EQ(vyr::setting(context, "NNO"), "0");
  EXPECT_EQ(vyr::setting(context, "CENTCHG"), "50");
  EXPECT_EQ(context->threadSettings.decimalSeparator, u',');
  EXPECT_EQ(context->threadSettings.thousandsSeparator, u'.');

  struct Refusal {
    const char *key, *value;
  } const refusals[] = {{"decimal", "dot"}, {"ldap", "yes"}, {"CENTCHG", "5x"},
                        {"clienttype", "3"}, {"nosuchkey", "1"}, {"env.PROD", ""}};
  for (const Refusal &r : refusals) {
    error.clear();
    EXPECT_FALSE(vyr::setSetting(context, r.key, r.value, &error)) << r.key;
    EXPECT_FALSE(error.empty()) << r.key;
  }
  EXPECT_EQ(vyr::setting(context, "decimal"), "comma") << "a refused value changes nothing";
  EXPECT_TRUE(vyr::setSetting(context, "env.PROD", "/tmp/prod.db", &error));
  vyr::freeContext(context);

  EXPECT_EQ(vyr::createContext({{"ldap", "2"}}, &error), nullptr);
}

int gReleased = 0;
void countRelease(void *) noexcept { ++gReleased; }

TEST(Context, ResourcesLeftOpenAreReleasedWithTheContextOnly) {
  LPBHVRCOM context = vyr::createContext();
  int a = 0, b = 0, c = 0;
  gReleased = 0;
  vyr::registerResource(context, {&a, countRelease});
  vyr::registerResource(context, {&b, countRelease});
  vyr::registerResource(context, {&c, countRelease});
  vyr::unregisterResource(context, &b);
  EXPECT_TRUE(vyr::isLiveContext(context));
  vyr::freeContext(context);
  EXPECT_EQ(gReleased, 2);
  EXPECT_FALSE(vyr::isLiveContext(context));
  EXPECT_FALSE(vyr::isLiveContext(&a));
}

TEST(Context, FaultHookMatchesOperationAndDetail) {
  LPBHVRCOM context = vyr::createContext({{"fail", "VDB_InitBhvr,VDB_OpenTable:F0007"}});
  EXPECT_TRUE(vyr::faultRequested(context, "VDB_InitBhvr"));
  EXPECT_TRUE(vyr::faultRequested(context, "VDB_OpenTable", u"F0007"));
  EXPECT_FALSE(vyr::faultRequested(context, "VDB_OpenTable", u"F0015"));
  EXPECT_FALSE(vyr::faultRequested(context, "VDB_Fetch"));
  EXPECT_FALSE(vyr::faultRequested(nullptr, "VDB_InitBhvr"));
  vyr::freeContext(context);
}

}  // namespace
