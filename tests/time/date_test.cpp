// VYRDATE arithmetic and mask text across month, year and century ends.
#include <climits>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "runtime/current.h"
#include "vyrdate.h"

namespace {

constexpr VYRDATE kNull{0, 0, 0};
// 2024-02-29 reads as 20240229 in failure messages.
long key(const VYRDATE &d) { return d.nYear * 10000L + d.nMonth * 100 + d.nDay; }

enum Move { kAdvance, kMonthBack, kDayOn, kDayBack };

TEST(DateArithmetic, MovesClampToMonthEndsAndCarryInvalidFields) {
  const struct {
    Move move;
    VYRDATE in;
    int months, days;
    VYRDATE out;
  } cases[] = {{kAdvance, {2024, 1, 31}, 1, 0, {2024, 2, 29}},
               {kAdvance, {2023, 1, 31}, 1, 0, {2023, 2, 28}},
               {kAdvance, {1900, 1, 31}, 1, 0, {1900, 2, 28}},
               {kAdvance, {2100, 3, 31}, -1, 0, {2100, 2, 28}},
               {kAdvance, {2024, 3, 31}, -13, 0, {2023, 2, 28}},
               {kAdvance, {2024, 1, 31}, 1, -1, {2024, 2, 28}},
               {kAdvance, {2024, 5, 15}, -5, -20, {2023, 11, 25}},
               {kAdvance, {2000, 1, 1}, 0, -1, {1999, 12, 31}},
               {kAdvance, {2099, 11, 30}, 1, 2, {2100, 1, 1}},
               {kAdvance, {2023, 4, 31}, 0, 0, {2023, 5, 1}},
               {kAdvance, {2023, 13, 5}, 0, 0, {2024, 1, 5}},
               {kAdvance, {2024, 3, 0}, 0, 0, {2024, 2, 29}},
               {kAdvance, {2024, 0, 10}, 0, 0, {2023, 12, 10}},
               {kAdvance, {2023, 4, 31}, 1, 0, {2023, 6, 1}},
               {kAdvance, kNull, 3, 3, kNull},
               {kAdvance, {-32768, 32767, 32767}, 0, 0, {-29948, 3, 16}},
               {kAdvance, {32767, 12, 31}, 0, 1, {32767, 12, 31}},
               {kAdvance, {-32767, 1, 1}, 0, -1, {-32767, 1, 1}},
               {kAdvance, {2024, 1, 1}, INT_MAX, INT_MAX, {32767, 12, 31}},
               {kAdvance, {2024, 1, 1}, INT_MIN, 0, {-32767, 1, 1}},
               {kMonthBack, {2024, 3, 31}, 0, 0, {2024, 2, 29}},
               {kMonthBack, {2023, 3, 31}, 0, 0, {2023, 2, 28}},
               {kMonthBack, {2000, 3, 30}, 0, 0, {2000, 2, 29}},
               {kMonthBack, {1900, 3, 29}, 0, 0, {1900, 2, 28}},
               {kMonthBack, {2024, 1, 15}, 0, 0, {2023, 12, 15}},
               {kMonthBack, kNull, 0, 0, kNull},
               {kDayOn, {2024, 2, 28}, 0, 0, {2024, 2, 29}},
               {kDayOn, {1999, 12, 31}, 0, 0, {2000, 1, 1}},
               {kDayBack, {2100, 3, 1}, 0, 0, {2100, 2, 28}},
               {kDayBack, kNull, 0, 0, kNull}};
  for (const auto &c : cases) {
    VYRDATE d = c.in;
    switch (c.move) {
      case kAdvance:
        AdvanceDate(&d, &d, c.months, c.days);
        break;
      case kMonthBack:
        DecrementOneMonth(&d);
        break;
      case kDayOn:
        AdvanceOneDay(&d);
        break;
      case kDayBack:
        DecrementOneDay(&d);
        break;
    }
    EXPECT_EQ(key(d), key(c.out)) << c.move << ": " << key(c.in) << ' ' << c.months << ' ' << c.days;
  }
  VYRDATE d{2024, 1, 1};
  RTK_CER_AddDays(&d, 366);
  EXPECT_EQ(key(d), 20250101);
  RTK_CER_AddDays(&d, LONG_MIN);
  EXPECT_EQ(key(d), key({-32767, 1, 1}));
}

TEST(DateArithmetic, DateDifferenceIsToMinusFrom) {
  const struct {
    VYRDATE from, to;
    long days;
  } cases[] = {{{2004, 2, 28}, {2004, 3, 1}, 2},
               {{2004, 3, 1}, {2004, 2, 28}, -2},
               {{1900, 2, 28}, {1900, 3, 1}, 1},
               {{2100, 2, 28}, {2100, 3, 1}, 1},
               {{1970, 1, 1}, {2024, 1, 1}, 19723},
               {{2023, 4, 31}, {2023, 5, 1}, 0},
               {kNull, {2024, 1, 1}, 0},
               {{2024, 1, 1}, kNull, 0},
               {{-32767, 1, 1}, {32767, 12, 31}, 23936165}};
  for (const auto &c : cases) EXPECT_EQ(DateDifference(&c.from, &c.to), c.days) << key(c.from) << ' ' << key(c.to);
}

TEST(DateQueries, WeekdaySerialLeapYearsAndMonthLengths) {
  const struct {
    VYRDATE date;
    int weekday;
    long serial;
  } days[] = {{{2024, 1, 1}, 1, 45290}, {{2023, 12, 31}, 0, 45289}, {{2000, 2, 29}, 2, 36583}, {{1900, 1, 1}, 1, 0},
              {{1900, 3, 1}, 4, 59},    {{2100, 12, 31}, 5, 73413}, {{0, 1, 1}, 6, -693961},   {kNull, -1, 0}};
  for (const auto &c : days) {
    EXPECT_EQ(DayOfTheWeek(&c.date), c.weekday) << key(c.date);
    EXPECT_EQ(CalcN(&c.date), c.serial) << key(c.date);
  }
  for (short year : {2000, 1900, 2100, 2024, 2023, -32768, 32767}) {
    const bool leap = year == 2000 || year == 2024 || year == -32768;
    EXPECT_EQ(IsLeapYear(year), leap ? TRUE : FALSE) << year;
    EXPECT_EQ(NumberOfDays(2, year), leap ? 29 : 28) << year;
  }
  EXPECT_EQ(NumberOfDays(4, 2024) * 100 + NumberOfDays(12, 2024), 3031);
  EXPECT_EQ(NumberOfDays(0, 2024) + NumberOfDays(13, 2024), 0);
}

TEST(DateQueries, NullSortsFirstAndFieldsAreReadCarried) {
  const VYRDATE may1{2023, 5, 1}, april31{2023, 4, 31}, month13{2023, 13, 1}, y1999{1999, 6, 1}, dayOnly{0, 0, 1};
  const struct {
    const VYRDATE *a, *b;
    int cmp;
  } order[] = {
      {&kNull, &may1, -1}, {&may1, nullptr, 1}, {&kNull, nullptr, 0}, {&april31, &may1, 0}, {&y1999, &may1, -1}};
  for (const auto &c : order) EXPECT_EQ(VYRDATECmp(c.a, c.b), c.cmp) << (c.a ? key(*c.a) : -1);
  EXPECT_TRUE(IsVYRDATENull(&kNull) && !IsVYRDATENull(&dayOnly));
  EXPECT_EQ(VYRDATEToYear(&month13), 2024);
  short century = -1, year = -1;
  VYRDATEToCenturyAndYear(&month13, &century, &year);
  EXPECT_EQ(century * 1000 + year, 20024);
}

TEST(DateText, MasksReadAndWriteDisplayText) {
  // formats: FormatDate of the date gives exactly the text back.
  const struct {
    const char16_t *mask, *text;
    int rc;
    VYRDATE date;
    bool formats;
  } cases[] = {{u"YYYY-MM-DD", u"2024-03-05", 0, {2024, 3, 5}, true},
               {u"DD/MM/YYYY", u"31/12/1999", 0, {1999, 12, 31}, true},
               {u"MM/DD/YY", u"07/04/50", 0, {2050, 7, 4}, true},
               {u"MM/DD/YY", u"01/02/51", 0, {1951, 1, 2}, true},
               {u"YYYYMMDD", u"20000229", 0, {2000, 2, 29}, true},
               {nullptr, u"2024-03-05", 0, {2024, 3, 5}, true},
               {u"Day DD of MM, YYYY", u"Day 28 of 02, 1900", 0, {1900, 2, 28}, true},
               {u"YYYY-MM-DD", u"", 0, kNull, true},
               {u"DD/MM/YYYY", u"5/3/2024", 0, {2024, 3, 5}, false},
               {u"DD/MM/YYYY", u"1/1/24", 0, {2024, 1, 1}, false},
               {u"YYYY-MM-DD", u" 2024-03-05 ", 0, {2024, 3, 5}, false},
               {u"YYYY-MM-DD", nullptr, 0, kNull, false},
               {u"DD/MM/YYYY", u"31/02/2024", 1, kNull, false},
               {u"YYYY-MM-DD", u"2023-02-29", 1, kNull, false},
               {u"YYYY-MM-DD", u"2024-13-01", 1, kNull, false},
               {u"YYYY-MM-DD", u"2024-03-05x", 1, kNull, false},
               {u"YYYY-MM-DD", u"2024/03/05", 1, kNull, false},
               {u"YYYY-MM-DD", u"2024-03", 1, kNull, false},
               {u"MM/DD", u"03/05", 1, kNull, false}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto &c = cases[i];
    VYRDATE d{7, 7, 7};
    EXPECT_EQ(DeformatDate(&d, c.text, c.mask), c.rc) << "case " << i;
    EXPECT_EQ(key(d), key(c.date)) << "case " << i;
    if (!c.formats) continue;
    JCHAR text[41] = {u'?'};
    EXPECT_EQ(FormatDate(text, &c.date, c.mask), static_cast<int>(std::u16string(c.text).size())) << "case " << i;
    EXPECT_TRUE(text == std::u16string(c.text)) << "case " << i;
  }
}

TEST(DateText, NullMaskFollowsTheCurrentUserAndOutputIsBounded) {
  const VYRDATE date{2024, 3, 5}, april31{2023, 4, 31};
  JCHAR text[41];
  vyr::ThreadSettings german;
  german.dateMask = u"DD.MM.YYYY";
  {
    vyr::CurrentSettingsScope scope(&german);
    FormatDate(text, &april31, nullptr);
    EXPECT_TRUE(text == std::u16string{u"01.05.2023"});
    VYRDATE back{};
    EXPECT_EQ(DeformatDate(&back, u"05.03.2024", nullptr), 0);
    EXPECT_EQ(key(back), key(date));
  }
  EXPECT_EQ(FormatDate(text, &date, (std::u16string(50, u'x') + u"YYYY").c_str()), 40);
  EXPECT_TRUE(text == std::u16string(40, u'x'));
}

}  // namespace
