// Work days counted and rolled over a calendar of weekends and holidays, with
// the cost of each walk in row fetches and the date left where a walk failed.
#include <chrono>
#include <cstdio>

#include "dates/B0000150.h"
#include "dates_fixture.h"

namespace {

using namespace std::chrono;
using datestest::Errors;

#pragma pack(push, 1)
struct F0007Row {  // every column, in catalogue order
  JCHAR mmcu[13], wdct[11], wdck[11];
  MATH_NUMERIC ctry, yr, mt;
  JCHAR shft;
  JCHAR td[31];
};
#pragma pack(pop)

std::string iso(const VYRDATE &d) {
  char out[32];
  std::snprintf(out, sizeof out, "%04d-%02d-%02d", d.nYear, d.nMonth, d.nDay);
  return out;
}

class WorkDays : public datestest::DatesTest {
 protected:
  void SetUp() override {
    DatesTest::SetUp();
    for (const auto &[from, to] : {std::pair{1900 * 12, 1900 * 12 + 1}, {1999 * 12 + 10, 2000 * 12 + 1},
                                   {2023 * 12 + 11, 2024 * 12 + 5}, {2099 * 12 + 10, 2099 * 12 + 11}})
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
    F0007Row row{};
    vyrStrcpyFillAndTerminate(row.mmcu, u"M30", 13, 0);
    vyrStrcpyFillAndTerminate(row.wdct, u"STD", 11, 0);
    vyrStrcpyFillAndTerminate(row.wdck, u"K1", 11, 0);
    IntToMathNumeric(ctry, &row.ctry);
    IntToMathNumeric(yr, &row.yr);
    IntToMathNumeric(mt, &row.mt);
    row.shft = shift;
    flags.copy(row.td, 31);
    insert(u"F0007", row);
  }
};

TEST_F(WorkDays, CountsRollsAndStopsWhereTheCalendarEnds) {
  const Errors none, century = {{u"019T", u"CTRY"}}, noRow = {{u"2721", u""}};
  const struct {
    const char *name;
    VYRDATE start;
    JCHAR mode;
    const char16_t *days;
    ID code;
    VYRDATE end;
    Errors errors;
    uint64_t fetches;  // one per month entered, plus the first
    std::string fail;
  } cases[] = {
      {"minus two from a Monday is the Thursday before", {2024, 3, 4}, u'1', u"-2", 0, {2024, 2, 29}, none, 2, ""},
      {"three forward over a weekend", {2024, 3, 7}, u'1', u"3", 0, {2024, 3, 12}, none, 1, ""},
      {"the start day is never counted", {2024, 3, 2}, u'1', u"1", 0, {2024, 3, 4}, none, 1, ""},
      {"zero days on a Saturday stays put", {2024, 3, 2}, u'1', u"0", 0, {2024, 3, 2}, none, 1, ""},
      {"holiday and weekend into the next month", {2024, 3, 28}, u'1', u"1", 0, {2024, 4, 1}, none, 2, ""},
      {"forward across a year end", {2023, 12, 29}, u'1', u"1", 0, {2024, 1, 2}, none, 2, ""},
      {"back across a year end", {2024, 1, 2}, u'1', u"-1", 0, {2023, 12, 29}, none, 2, ""},
      {"a long count", {2024, 1, 2}, u'1', u"100", 0, {2024, 5, 24}, none, 5, ""},
      {"roll forward across a year end", {2023, 12, 30}, u'2', u"0", 0, {2024, 1, 2}, none, 2, ""},
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
      {"an unknown mode", {2024, 3, 4}, u'X', u"0", 2, {2024, 3, 4}, {{u"019T", u"WKDY"}}, 1, ""},
      {"a blank mode touches no table", {2024, 3, 2}, u' ', u"1", 0, {2024, 3, 2}, none, 0, "VDB_InitBhvr"},
      {"a NUL mode touches no table", {2024, 3, 2}, 0, u"1", 0, {2024, 3, 2}, none, 0, "VDB_InitBhvr"},
      {"no behaviour handle", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, {{u"078S", u""}}, 0, "VDB_InitBhvr"},
      {"no calendar table", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, {{u"078D", u"F0007"}}, 0, "VDB_OpenTable:F0007"},
      {"the first fetch fails", {2024, 3, 3}, u'2', u"0", 2, {2024, 3, 3}, noRow, 0, "VDB_FetchKeyed:F0007"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    DSD0000150 ds{u"M30", c.start, c.mode, datestest::number(c.days), u'B', u"STD", u"K1"};
    const uint64_t before = vyr::db::rowFetchCount();
    EXPECT_EQ(call(AdvanceWorkDays, &ds, c.fail), c.code);
    EXPECT_EQ(vyr::db::rowFetchCount() - before, c.fetches);
    EXPECT_EQ(iso(ds.jdWorkDate), iso(c.end));
    EXPECT_EQ(errors(), c.errors);
  }
}

}  // namespace
