// The clean-up companions end exactly the caches their flags name.
#include <algorithm>

#include "fixture.h"

namespace envtest {
namespace {

using CleanUpCompanions = EnvTest;

TEST_F(CleanUpCompanions, EndTheCachesTheyAreAskedFor) {
  struct Case {
    const char *function;
    JCHAR flag1, flag2;
    ID ended;                          // records reported as dropped
    std::vector<const char16_t *> kept; // caches that must keep their records
  } const cases[] = {
      {"ValidateGeoCode", u'1', 0, 1, {X0901_ACCOUNTS_BY_ID_CACHE, C0900001_RANGE_CACHE}},
      {"X0901TerminateCaches", u'1', u'1', 5, {C7300001_LOOKUP_CACHE, C0900001_RANGE_CACHE}},
      {"X0901TerminateCaches", u'1', u'0', 2, {X0901_ACCOUNTS_BY_NUMBER_CACHE}},
      {"X0901TerminateCaches", u' ', u'1', 3, {X0901_ACCOUNTS_BY_ID_CACHE}},
      {"AAIRangeOfAccountsClear", 0, 0, 4, {C7300001_LOOKUP_CACHE, X0901_ACCOUNTS_BY_NUMBER_CACHE}},
  };
  const std::pair<const char16_t *, int> filled[] = {{C7300001_LOOKUP_CACHE, 1},
                                                     {X0901_ACCOUNTS_BY_ID_CACHE, 2},
                                                     {X0901_ACCOUNTS_BY_NUMBER_CACHE, 3},
                                                     {C0900001_RANGE_CACHE, 4}};
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.function) + " " + char(c.flag1) + char(c.flag2));
    restart();
    for (const auto &[cache, n] : filled) fillCache(cache, n);
    // Every record is three JCHAR wide at most, so any data structure of these fits here.
    union {
      DSVALIDATEGEOCODE geo;
      DSX0901TERMINATECACHES x0901;
      DSAAIRANGECLEAR aai;
    } ds{};
    ID *ended = &ds.aai.idRangesCleared;
    if (std::string(c.function) == "ValidateGeoCode") ds.geo.cProcessingMode = c.flag1, ended = &ds.geo.idLookupsEnded;
    if (std::string(c.function) == "X0901TerminateCaches") {
      ds.x0901.cTerminateAccountsById = c.flag1;
      ds.x0901.cTerminateAccountsByNumber = c.flag2;
      ended = &ds.x0901.idRecordsEnded;
    }
    EXPECT_EQ(call(c.function, &ds), ER_SUCCESS);
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(*ended, c.ended);
    int kept = 0;
    for (const auto &[cache, n] : filled) {
      const bool keep = std::any_of(c.kept.begin(), c.kept.end(),
                                    [&](const char16_t *k) { return std::u16string_view(k) == cache; });
      if (keep) {
        EXPECT_EQ(recordsIn(cache), n);
      }
      kept += recordsIn(cache);
    }
    EXPECT_EQ(static_cast<ID>(kept), 10 - c.ended) << "nothing else was touched";
  }
}

TEST_F(CleanUpCompanions, RefuseWhatTheyCannotDoAndReportCacheFailures) {
  fillCache(C7300001_LOOKUP_CACHE, 1);
  DSVALIDATEGEOCODE geo{};
  geo.cProcessingMode = u'2';
  EXPECT_EQ(call("ValidateGeoCode", &geo), ER_ERROR);
  EXPECT_EQ(errors(), std::vector<std::string>{"4363 @1"});
  EXPECT_EQ(recordsIn(C7300001_LOOKUP_CACHE), 1);

  // One cache that cannot be opened does not keep the other from ending.
  context_->errors.clear();
  fillCache(X0901_ACCOUNTS_BY_NUMBER_CACHE, 2);
  fail("vyrCacheInit:X0901AccountsById");
  DSX0901TERMINATECACHES x0901{u'1', u'1', 0};
  EXPECT_EQ(call("X0901TerminateCaches", &x0901), ER_ERROR);
  EXPECT_EQ(errors(), std::vector<std::string>{"078L X0901AccountsById@0"});
  EXPECT_EQ(x0901.idRecordsEnded, 2u);
  EXPECT_EQ(recordsIn(X0901_ACCOUNTS_BY_NUMBER_CACHE), 0);
}

}  // namespace
}  // namespace envtest
