// Work days counted and rolled over a calendar of weekends and holidays (with
// the cost of each walk in row fetches and the date left where a walk failed),
// the century pivot, leap days, the month back, today and the date patterns.
#include <chrono>
#include <ctime>

#include "dates/B0000018.h"
#include "dates/B0000022.h"
#include "dates/B0000127.h"
#include "dates/B0000150.h"
#include "dates/B0000154.h"
#include "dates/B0000171.h"
#include "dates/N74U0214.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;
using namespace std::chrono;

#pragma pack(push, 1)
struct F0007Row {  // every column, in catalogue order
  JCHAR mmcu[13], wdct[11], wdck[11];
  MATH_NUMERIC ctry, yr, mt;
  JCHAR shft;
  JCHAR td[31];
};
#pragma pack(pop)

class WorkDays : public BsfnTest {
 protected:
  void SetUp() override {
    BsfnTest::SetUp();
    for (const auto &[from, to] : {std::pair{1900 * 12, 1900 * 12 + 1},
                                   {1999 * 12 + 10, 2000 * 12 + 1},
                                   {2023 * 12 + 11, 2024 * 12 + 5},
                                   {2099 * 12 + 10, 2099 * 12 + 11}})
      for (int m = from; m <= to; ++m) {
        std::u16string flags;
        for (unsigned d = 1; d <= 31; ++d) flags += flagOf(year{m / 12} / month(unsigned(m % 12 + 1)) / day(d));
        putRow(u'B', m / 1200 - 19, m / 12 % 100, m % 12 + 1, flags);
      }
    // Another shift with every day a work day: only a fetch that leaves the shift out would find it.
    putRow(u'A', 1, 24, 3, std::u16string(31, u'W'));
  }

  // Weekends blank, holidays "H", two days with a lower-case "w".
  static JCHAR flagOf(year_month_day d) {
    const int n = int(d.year()) * 10000 + int(unsigned(d.month())) * 100 + int(unsigned(d.day()));
    if (!d.ok() || weekday{sys_days{d}}.c_encoding() % 6 == 0) return u' ';
    if (n == 19991231 || n == 20240101 || n == 20240329 || n == 19000101) return u'H';
    return n == 20240501 || n == 20240502 ? u'w' : u'W';
  }

  void putRow(JCHAR shift, int ctry, int yr, int mt, const std::u16string &flags) {
    F0007Row row{u"M30", u"STD", u"K1", {}, {}, {}, shift, {}};
    IntToMathNumeric(ctry, &row.ctry);
    IntToMathNumeric(yr, &row.yr);
    IntToMathNumeric(mt, &row.mt);
    flags.copy(row.td, 31);
    insert(u"F0007", &row);
  }
};

TEST_F(WorkDays, CountsRollsAndStopsWhereTheCalendarEnds) {
  const Strings none, century = {"019T CTRY@0"}, noRow = {"2721 @0"};
  const struct {
    const char *name;
    VYRDATE start;
    JCHAR mode;
    const char16_t *days;
    ID code;
    VYRDATE end;
    Strings errors;
    uint64_t fetches;  // one per month entered, plus the first
    std::string fail;
  } cases[] = {
      {"minus two from a Monday is the Thursday before", {2024, 3, 4}, u'1', u"-2", 0, {2024, 2, 29}, none, 2, ""},
      {"the start day is never counted", {2024, 3, 2}, u'1', u"1", 0, {2024, 3, 4}, none, 1, ""},
      {"zero days on a Saturday stays put", {2024, 3, 2}, u'1', u"0", 0, {2024, 3, 2}, none, 1, ""},
      {"holiday and weekend into the next month", {2024, 3, 28}, u'1', u"1", 0, {2024, 4, 1}, none, 2, ""},
      {"a long count", {2024, 1, 2}, u'1', u"100", 0, {2024, 5, 24}, none, 5, ""},
      {"roll forward keeps a work day", {2024, 3, 4}, u'2', u"0", 0, {2024, 3, 4}, none, 1, ""},
      {"roll backward over a weekend", {2024, 3, 3}, u'3', u"0", 0, {2024, 3, 1}, none, 1, ""},
      {"roll from 1999 into 2000 (century code 0 to 1)", {1999, 12, 31}, u'2', u"0", 0, {2000, 1, 3}, none, 2, ""},
      {"roll from 2000 back into 1999", {2000, 1, 2}, u'3', u"0", 0, {1999, 12, 30}, none, 2, ""},
      {"a lower-case w is no work day", {2024, 4, 30}, u'1', u"1", 0, {2024, 5, 3}, none, 2, ""},
      {"a walk out of 2099", {2099, 12, 30}, u'1', u"5", 2, {2100, 1, 1}, century, 1, ""},
      {"a walk before 1900", {1900, 1, 1}, u'3', u"0", 2, {1899, 12, 31}, century, 1, ""},
      {"a start after 2099", {2100, 2, 1}, u'2', u"0", 2, {2100, 2, 1}, century, 0, ""},
      {"a start month without a row", {2024, 8, 15}, u'2', u"0", 2, {2024, 8, 15}, noRow, 1, ""},
      {"a fractional count runs into a missing month", {2024, 6, 20}, u'1', u"2.5", 2, {2024, 7, 1}, noRow, 2, ""},
      {"backwards it stops on that month's last day", {2023, 12, 5}, u'1', u"-2.5", 2, {2023, 11, 30}, noRow, 2, ""},
      {"an unknown mode", {2024, 3, 4}, u'X', u"0", 2, {2024, 3, 4}, {"019T WKDY@0"}, 1, ""},
      {"a blank mode touches no table", {2024, 3, 2}, u' ', u"1", 0, {2024, 3, 2}, none, 0, "VDB_InitBhvr"},
      {"a NUL mode touches no table", {2024, 3, 2}, 0, u"1", 0, {2024, 3, 2}, none, 0, "VDB_InitBhvr"},
      {"no behaviour handle", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, {"078S @0"}, 0, "VDB_InitBhvr"},
      {"no calendar table", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, {"078D F0007@0"}, 0, "VDB_OpenTable:F0007"},
      {"the first fetch fails", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, noRow, 0, "VDB_FetchKeyed:F0007"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    DSD0000150 ds{u"M30", c.start, c.mode, math(c.days), u'B', u"STD", u"K1"};
    LPBHVRCOM context = newContext({{"fail", c.fail}});
    const uint64_t before = vyr::db::rowFetchCount();
    EXPECT_EQ(call("AdvanceWorkDays", &ds, context), c.code);
    EXPECT_EQ(vyr::db::rowFetchCount() - before, c.fetches);
    EXPECT_EQ(iso(ds.jdWorkDate), iso(c.end));
    EXPECT_EQ(errors(context), c.errors);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

using DateUtilities = BsfnTest;

TEST_F(DateUtilities, CenturyFollowsTheChangeYear) {
  const struct {
    std::string pivot;
    const char16_t *year, *fullYear;
  } cases[] = {{"50", u"50", u"2050"},
               {"50", u"51", u"1951"},
               {"50", u"0", u"2000"},
               {"00", u"1", u"1901"},
               {"99", u"99", u"2099"}};
  for (const auto &c : cases) {
    DSD0000154 ds{math(c.year), {}, {}};
    EXPECT_EQ(call("RetrieveCorrectCentury", &ds, newContext({{"CENTCHG", c.pivot}})), ER_SUCCESS);
    // The century is the full year's first two digits.
    EXPECT_EQ(text(ds.mnCentury) + u" " + text(ds.mnFullYear), std::u16string(c.fullYear, 2) + u" " + c.fullYear)
        << c.pivot << " " << toUtf8(c.year);
  }
  DSD0000154 ds{math(u"12"), {}, {}};
  EXPECT_EQ(call("RetrieveCorrectCentury", &ds, newContext({{"fail", "vyrOpenDictionaryX"}})), ER_ERROR);
  EXPECT_EQ(errors(contexts_.back()), Strings{"019T CENTCHG@0"});
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
      {{0, 0, 0}, {2004, 3, 1}, u"0", u'0'},        // a null start ends the walk at once
  };
  for (const auto &c : cases) {
    DSD74U0214 ds{c.from, c.to, {}, u'X'};
    EXPECT_EQ(call("DaysBetweenExcludingLeapYearDay", &ds), ER_SUCCESS);
    EXPECT_EQ(text(ds.mnDaysBetween) + u" " + ds.cLeapDayIncluded, std::u16string(c.days) + u" " + c.leapDay)
        << iso(c.from) << " " << iso(c.to);
  }
}

TEST_F(DateUtilities, MonthBackAndToday) {
  for (const auto &[in, out] : {std::pair<VYRDATE, VYRDATE>{{2024, 3, 31}, {2024, 2, 29}},
                                {{2023, 3, 31}, {2023, 2, 28}},
                                {{2024, 1, 15}, {2023, 12, 15}}}) {
    DSD0000171 ds{in, {}};
    EXPECT_EQ(call("DecrementDateOneMonth", &ds), ER_SUCCESS);
    EXPECT_EQ(iso(ds.jdDateLessOneMonth), iso(out));
  }
  DSD0000127 ds{};
  const time_t before = time(nullptr);
  ASSERT_EQ(call("ReturnTodaysDate", &ds), ER_SUCCESS);
  const time_t after = time(nullptr);
  tm a{}, b{};
  localtime_r(&before, &a);
  localtime_r(&after, &b);
  if (a.tm_mday == b.tm_mday) {  // not across midnight
    EXPECT_EQ(iso(ds.jdToday), iso(VYRDATE{short(a.tm_year + 1900), short(a.tm_mon + 1), short(a.tm_mday)}));
  }
}

TEST_F(DateUtilities, DatePatternsAgainstTheirTables) {
  const struct {
    JCHAR dtpn;
    VYRDATE dfyj;
    MATH_NUMERIC fq;
  } pattern = {u'R', {2024, 1, 1}, math(u"12")};
  insert(u"F0008", &pattern, {u"DTPN", u"DFYJ", u"FQ"});
  const struct {
    JCHAR co[6], dtpn;
    VYRDATE dfyj;
  } company = {u"00100", u'R', {2024, 1, 1}};
  insert(u"F0010", &company, {u"CO", u"DTPN", u"DFYJ"});
  const Strings none, missing = {"0177 @2"}, cannotOpen = {"3143 @0"};
  const struct {
    JCHAR pattern;
    VYRDATE begin;
    std::string fail;
    ID code;  // ValidateDatePattern
    Strings errors;
    ID deletionCode;  // VldtDatePatternDeletion: a pattern in use raises nothing of its own
    JCHAR inUse;
    Strings deletionErrors;
  } cases[] = {
      {u'R', {2024, 1, 1}, "", 0, none, 2, u'1', none},
      {u'R', {2025, 1, 1}, "", 2, missing, 0, u'0', none},
      {u'F', {2024, 1, 1}, "", 2, missing, 0, u'0', none},
      {u'R', {2024, 1, 1}, "VDB_InitBhvr", 2, {"4364 @0"}, 2, u'0', cannotOpen},
      {u'R', {2024, 1, 1}, "VDB_OpenTable", 2, cannotOpen, 2, u'0', cannotOpen},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(1, char(c.pattern)) + " " + iso(c.begin) + " " + c.fail);
    LPBHVRCOM context = newContext({{"fail", c.fail}});
    DSD0000022 check{c.pattern, c.begin};
    EXPECT_EQ(call("ValidateDatePattern", &check, context), c.code);
    EXPECT_EQ(errors(context), c.errors);
    EXPECT_EQ(handlesLeft_, 0u);
    DSD0000018 deletion{c.pattern, c.begin, u'X'};
    EXPECT_EQ(call("VldtDatePatternDeletion", &deletion, context), c.deletionCode);
    EXPECT_EQ(deletion.cPatternInUse, c.inUse);
    EXPECT_EQ(errors(context), c.deletionErrors);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

}  // namespace
