// Century pivot, leap-day difference, month decrement, today, and the fiscal
// date-pattern checks against F0008 and F0010.
#include <ctime>
#include <tuple>

#include "dates/B0000018.h"
#include "dates/B0000022.h"
#include "dates/B0000127.h"
#include "dates/B0000150.h"
#include "dates/B0000154.h"
#include "dates/B0000171.h"
#include "dates/N74U0214.h"
#include "dates_fixture.h"

namespace {

using datestest::Errors;
using datestest::number;
using datestest::text;

#pragma pack(push, 1)
struct F0008Row {  // DTPN, DFYJ, FQ, D01J-D14J
  JCHAR dtpn;
  VYRDATE dfyj;
  MATH_NUMERIC fq;
  VYRDATE periodEnds[14];
};
struct F0010Row {  // CO, NAME, CRCD, BKTX, ABIN, CRYR, DTPN, DFYJ, PNC
  JCHAR co[6], name[31], crcd[4], bktx, abin, cryr, dtpn;
  VYRDATE dfyj;
  MATH_NUMERIC pnc;
};
#pragma pack(pop)

auto fields(const VYRDATE &d) { return std::make_tuple(d.nYear, d.nMonth, d.nDay); }

using DateUtilities = datestest::DatesTest;

TEST_F(DateUtilities, CenturyFollowsTheChangeYear) {
  const struct {
    const char *pivot;
    const char16_t *year, *century, *fullYear;
  } cases[] = {{"50", u"50", u"20", u"2050"}, {"50", u"51", u"19", u"1951"}, {"50", u"0", u"20", u"2000"},
               {"50", u"99", u"19", u"1999"}, {"30", u"30", u"20", u"2030"}, {"30", u"31", u"19", u"1931"},
               {"00", u"1", u"19", u"1901"},  {"99", u"99", u"20", u"2099"}};
  for (const auto &c : cases) {
    DSD0000154 ds{number(c.year), {}, {}};
    EXPECT_EQ(call(RetrieveCorrectCentury, &ds, "", c.pivot), ER_SUCCESS);
    EXPECT_EQ(text(ds.mnCentury) + u" " + text(ds.mnFullYear), std::u16string(c.century) + u" " + c.fullYear);
  }
  DSD0000154 ds{number(u"12"), {}, {}};
  EXPECT_EQ(call(RetrieveCorrectCentury, &ds, "vyrOpenDictionaryX"), ER_ERROR);
  EXPECT_EQ(errors(), (Errors{{u"019T", u"CENTCHG"}}));
}

TEST_F(DateUtilities, LeapDaysWalkedOverAreLeftOut) {
  const struct {
    VYRDATE from, to;
    const char16_t *days;
    JCHAR leapDay;
  } cases[] = {
      {{2004, 2, 28}, {2004, 3, 1}, u"1", u'1'},    // 29 February walked over
      {{2004, 2, 29}, {2004, 2, 29}, u"-1", u'1'},  // the start is examined even in an empty range
      {{2004, 2, 1}, {2004, 2, 29}, u"28", u'0'},   // the end is not
      {{2004, 1, 1}, {2009, 1, 1}, u"1825", u'1'},  // 1827 days, two leap days
      {{2004, 3, 1}, {2004, 2, 28}, u"-2", u'0'},   // reversed: only the start is examined
      {{2004, 2, 29}, {2004, 1, 1}, u"-60", u'1'},
      {{0, 0, 0}, {2004, 3, 1}, u"0", u'0'},        // a null start ends the walk at once
  };
  for (const auto &c : cases) {
    DSD74U0214 ds{c.from, c.to, {}, u'X'};
    EXPECT_EQ(call(DaysBetweenExcludingLeapYearDay, &ds), ER_SUCCESS);
    EXPECT_EQ(text(ds.mnDaysBetween), c.days) << c.from.nYear << "-" << c.from.nMonth << "-" << c.from.nDay;
    EXPECT_EQ(ds.cLeapDayIncluded, c.leapDay);
  }
}

TEST_F(DateUtilities, MonthBackAndToday) {
  for (const auto &[in, out] : {std::pair<VYRDATE, VYRDATE>{{2024, 3, 31}, {2024, 2, 29}},
                                {{2023, 3, 31}, {2023, 2, 28}},
                                {{2024, 1, 15}, {2023, 12, 15}}}) {
    DSD0000171 ds{in, {}};
    EXPECT_EQ(call(DecrementDateOneMonth, &ds), ER_SUCCESS);
    EXPECT_EQ(fields(ds.jdDateLessOneMonth), fields(out));
  }
  DSD0000127 ds{};
  const time_t before = time(nullptr);
  ASSERT_EQ(call(ReturnTodaysDate, &ds), ER_SUCCESS);
  const time_t after = time(nullptr);
  tm a{}, b{};
  localtime_r(&before, &a);
  localtime_r(&after, &b);
  const VYRDATE today{short(a.tm_year + 1900), short(a.tm_mon + 1), short(a.tm_mday)};
  if (a.tm_mday == b.tm_mday) {  // not across midnight
    EXPECT_EQ(fields(ds.jdToday), fields(today));
  }
}

TEST_F(DateUtilities, DatePatternsAgainstTheirTables) {
  insert(u"F0008", F0008Row{u'R', {2024, 1, 1}, number(u"12"), {}});
  insert(u"F0010", F0010Row{u"00100", u"", u"", 0, 0, 0, u'R', {2024, 1, 1}, {}});
  const Errors none, missing = {{u"0177", u""}}, cannotOpen = {{u"3143", u""}};
  const struct {
    const char *name;
    JCHAR pattern;
    VYRDATE begin;
    std::string fail;
    ID code;  // ValidateDatePattern
    Errors errors;
    ID deletionCode;  // VldtDatePatternDeletion: never raises an error of its own for a pattern in use
    JCHAR inUse;
    Errors deletionErrors;
  } cases[] = {
      {"known and in use", u'R', {2024, 1, 1}, "", 0, none, 2, u'1', none},
      {"another fiscal year", u'R', {2025, 1, 1}, "", 2, missing, 0, u'0', none},
      {"another pattern", u'F', {2024, 1, 1}, "", 2, missing, 0, u'0', none},
      {"no behaviour handle", u'R', {2024, 1, 1}, "VDB_InitBhvr", 2, {{u"4364", u""}}, 2, u'0', cannotOpen},
      {"no table", u'R', {2024, 1, 1}, "VDB_OpenTable", 2, cannotOpen, 2, u'0', cannotOpen},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    DSD0000022 check{c.pattern, c.begin};
    EXPECT_EQ(call(ValidateDatePattern, &check, c.fail), c.code);
    EXPECT_EQ(errors(), c.errors);
    if (c.errors == missing) {
      EXPECT_EQ(context_->errors.at(0).item, 2u);
    }

    DSD0000018 deletion{c.pattern, c.begin, u'X'};
    EXPECT_EQ(call(VldtDatePatternDeletion, &deletion, c.fail), c.deletionCode);
    EXPECT_EQ(deletion.cPatternInUse, c.inUse);
    EXPECT_EQ(errors(), c.deletionErrors);
  }
}

TEST_F(DateUtilities, NullArgumentsAreRefused) {
  for (LPBSFN fn : {AdvanceWorkDays, RetrieveCorrectCentury, DaysBetweenExcludingLeapYearDay, DecrementDateOneMonth,
                    ReturnTodaysDate, ValidateDatePattern, VldtDatePatternDeletion}) {
    EXPECT_EQ(call(fn, nullptr), ER_ERROR);
    EXPECT_EQ(errors(), (Errors{{u"4363", u""}}));
  }
}

}  // namespace
