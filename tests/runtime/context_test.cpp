// Contexts: settings defaults and refusals, live-context checks, resources
// released when a context ends, and the fault hook.
#include <gtest/gtest.h>

#include "runtime/context.h"

namespace {

TEST(Context, SettingsStartAtDefaultsAndRefuseBadValues) {
  std::string error;
  LPBHVRCOM context = vyr::createContext({{"CTR", "JP"}, {"decimal", "comma"}}, &error);
  ASSERT_NE(context, nullptr) << error;
  EXPECT_EQ(vyr::setting(context, "CTR") + vyr::setting(context, "NNO") + vyr::setting(context, "CENTCHG"), "JP050");
  EXPECT_EQ(context->threadSettings.decimalSeparator, u',');
  EXPECT_EQ(context->threadSettings.thousandsSeparator, u'.');
  const std::pair<const char *, const char *> refusals[] = {{"decimal", "dot"},  {"ldap", "yes"},
                                                            {"CENTCHG", "5x"},   {"clienttype", "3"},
                                                            {"nosuchkey", "1"}, {"env.PROD", ""}};
  for (const auto &[key, value] : refusals) {
    error.clear();
    EXPECT_FALSE(vyr::setSetting(context, key, value, &error) || error.empty()) << key;
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
  EXPECT_TRUE(vyr::faultRequested(context, "VDB_InitBhvr") && vyr::faultRequested(context, "VDB_OpenTable", u"F0007"));
  EXPECT_FALSE(vyr::faultRequested(context, "VDB_OpenTable", u"F0015") || vyr::faultRequested(context, "VDB_Fetch") ||
               vyr::faultRequested(nullptr, "VDB_InitBhvr"));
  vyr::freeContext(context);
}

}  // namespace
