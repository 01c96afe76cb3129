// The clean-up companions end exactly the caches their flags name.
#include "fixture.h"

namespace envtest {
namespace {

using CleanUpCompanions = EnvTest;

TEST_F(CleanUpCompanions, EndTheCachesTheyAreAskedFor) {
  struct Case {
    const char *function;
    JCHAR flag1, flag2;
    const char *fault;
    ID result, ended;  // ended: records reported as dropped
    int left;          // records left in the four job caches (filled with 1, 2, 3, 4)
    std::string error;
  } const cases[] = {
      {"ValidateGeoCode", u'1', 0, "", ER_SUCCESS, 1, 9, ""},
      {"ValidateGeoCode", u'2', 0, "", ER_ERROR, 0, 10, "4363 @1"},
      {"X0901TerminateCaches", u'1', u'1', "", ER_SUCCESS, 5, 5, ""},
      {"X0901TerminateCaches", u'1', u'0', "", ER_SUCCESS, 2, 8, ""},
      {"X0901TerminateCaches", u' ', u'1', "", ER_SUCCESS, 3, 7, ""},
      {"X0901TerminateCaches", u'1', u'1', "vyrCacheInit:X0901AccountsById", ER_ERROR, 3, 7,
       "078L X0901AccountsById@0"},
      {"AAIRangeOfAccountsClear", 0, 0, "", ER_SUCCESS, 4, 6, ""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + char(c.flag1) + char(c.flag2) + " " + c.fault);
    restart();
    for (int i = 0; i < 4; ++i) cache(kJobCaches[i], i + 1);
    DSVALIDATEGEOCODE geo{c.flag1, 0};
    DSX0901TERMINATECACHES x0901{c.flag1, c.flag2, 0};
    DSAAIRANGECLEAR aai{0};
    const std::string f = c.function;
    void *ds = f == "ValidateGeoCode" ? static_cast<void *>(&geo) : f == "X0901TerminateCaches" ? static_cast<void *>(&x0901) : &aai;
    LPBHVRCOM context = newContext({{"fail", c.fault}});
    EXPECT_EQ(call(c.function, ds, context), c.result);
    EXPECT_EQ(geo.idLookupsEnded + x0901.idRecordsEnded + aai.idRangesCleared, c.ended);
    EXPECT_EQ(errors(context), c.error.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.error});
    int left = 0;
    for (const char16_t *name : kJobCaches) left += cache(name);
    EXPECT_EQ(left, c.left) << "nothing else was touched";
  }
}

}  // namespace
}  // namespace envtest
