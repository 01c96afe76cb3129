// UTIME: one instant seen through several zones, refusals, text and moves.
#include <array>
#include <climits>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "vyrdate.h"

namespace {

using Fields = std::array<short, 6>;  // year, month, day, hour, minute, second

int set(UTIME &t, const Fields &f, const char16_t *zone) {
  return vyrUTime_Set(&t, f[0], f[1], f[2], f[3], f[4], f[5], zone);
}
UTIME at(const Fields &f, const char16_t *zone) {
  UTIME t{};
  return set(t, f, zone), t;
}
Fields fieldsIn(const UTIME &t, const char16_t *zone) {
  Fields f{};
  EXPECT_EQ(vyrUTime_Get(&t, &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], zone), 0);
  return f;
}
std::u16string text(const UTIME &t, const char16_t *zone) {
  JCHAR out[20] = {u'?', 0};
  return vyrUTime_Format(out, 20, &t, zone) == 0 ? out : u"refused";
}
bool same(const UTIME &a, const UTIME &b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const UTIME kBase = at({2024, 1, 5, 8, 3, 9}, u"UTC -0:00");

TEST(UTime, OneInstantGivesDifferentFieldsPerZone) {
  EXPECT_EQ(kBase.llMicroseconds, 1704441789LL * 1000000);
  const struct {
    const char16_t *zone;
    Fields fields;
  } cases[] = {{u"UTC -0:00", {2024, 1, 5, 8, 3, 9}},   {u"UTC", {2024, 1, 5, 8, 3, 9}},
               {u"UTC +5:30", {2024, 1, 5, 13, 33, 9}}, {u"UTC +10:00", {2024, 1, 5, 18, 3, 9}},
               {u"UTC -3:30", {2024, 1, 5, 4, 33, 9}},  {u"UTC -10:00", {2024, 1, 4, 22, 3, 9}}};
  for (const auto &c : cases) {
    EXPECT_EQ(fieldsIn(kBase, c.zone), c.fields) << c.fields[3];
    const UTIME local = at(c.fields, c.zone);
    EXPECT_EQ(vyrUTime_Compare(&local, &kBase), 0) << c.fields[3];
    EXPECT_EQ(fieldsIn(local, nullptr), c.fields);  // shown in the zone it was set in
  }
}

TEST(UTime, ConvertToVYRDateNearMidnight) {
  const UTIME eve = at({2024, 12, 31, 23, 30, 0}, nullptr), march = at({2024, 3, 1, 2, 0, 0}, u"UTC"), null{};
  const struct {
    const UTIME *time;
    const char16_t *zone;
    long date;
  } cases[] = {{&eve, u"UTC +5:30", 20250101},   {&eve, u"UTC -3:30", 20241231},    {&eve, nullptr, 20241231},
               {&march, u"UTC -3:30", 20240229}, {&march, u"UTC +10:00", 20240301}, {&null, u"UTC", 0}};
  for (const auto &c : cases) {
    VYRDATE d{1, 1, 1};
    EXPECT_EQ(vyrUTime_ConvertToVYRDate(c.time, &d, c.zone), 0);
    EXPECT_EQ(d.nYear * 10000L + d.nMonth * 100 + d.nDay, c.date);
  }
}

TEST(UTime, SetRefusesFieldsOutOfRangeAndLeavesTheValue) {
  const Fields refused[] = {{2024, 0, 1, 0, 0, 0},   {2024, 13, 1, 0, 0, 0},
                            {2024, 1, 0, 0, 0, 0},   {2023, 2, 29, 0, 0, 0},
                            {2024, 2, 30, 0, 0, 0},  {2024, 4, 31, 0, 0, 0},
                            {2024, 1, 1, 24, 0, 0},  {2024, 1, 1, 0, 60, 0},
                            {2024, 1, 1, 0, 0, 60},  {2024, 1, 1, -1, 0, 0},
                            {0, 1, 1, 0, 0, 0},      {10000, 1, 1, 0, 0, 0},
                            {-32768, 1, 1, 0, 0, 0}, {32767, 32767, 32767, 32767, 32767, 32767}};
  for (const Fields &f : refused) {
    UTIME t = kBase;
    EXPECT_EQ(set(t, f, u"UTC +5:30"), 1) << f[0] << '-' << f[1] << '-' << f[2] << ' ' << f[3];
    EXPECT_TRUE(same(t, kBase));
  }
  EXPECT_EQ(fieldsIn(at({2024, 2, 29, 23, 59, 59}, u"UTC +5:30"), nullptr), (Fields{2024, 2, 29, 23, 59, 59}));
  const UTIME last = at({9999, 12, 31, 23, 59, 59}, u"UTC -3:30");
  EXPECT_TRUE(vyrUTime_IsValid(&last));
}

TEST(UTime, MalformedZoneTextsAreRefusedEverywhere) {
  for (const char16_t *zone : {u"", u"UTC +5", u"UTC +5:3", u"UTC 5:30", u"UTC +24:00", u"UTC +5:60", u"GMT +1:00",
                               u"UTC +5:30x", u"UTC +123:00", u"utc +1:00", u"UTC +:30", u"UTC -5-30"}) {
    UTIME t = kBase;
    short year = 0;
    VYRDATE d{7, 7, 7};
    EXPECT_EQ(set(t, {2024, 1, 1, 0, 0, 0}, zone), 1) << std::u16string(zone).size();
    EXPECT_EQ(vyrUTime_Get(&t, &year, nullptr, nullptr, nullptr, nullptr, nullptr, zone), 1);
    EXPECT_EQ(vyrUTime_ChangeDisplayTimeZone(&t, zone) + vyrUTime_ConvertToVYRDate(&t, &d, zone), 2);
    EXPECT_EQ(text(t, zone), u"refused");
    EXPECT_TRUE(same(t, kBase) && year == 0 && d.nDay == 7);
  }
  for (const char16_t *zone : {u"UTC+05:30", u" UTC  +5:30 ", u"UTC +23:59"})
    EXPECT_EQ(fieldsIn(at({2024, 1, 1, 0, 0, 0}, zone), zone), (Fields{2024, 1, 1, 0, 0, 0}));
}

TEST(UTime, FormatAndDeformatRoundTrip) {
  EXPECT_EQ(text(kBase, u"UTC +5:30"), u"2024-01-05 13:33:09");
  UTIME back{};
  EXPECT_EQ(vyrUTime_Deformat(&back, u"2024-01-05 13:33:09", u"UTC +5:30"), 0);
  EXPECT_EQ(vyrUTime_Compare(&back, &kBase), 0);
  EXPECT_EQ(vyrUTime_Deformat(&back, u"2024-01-05", u"UTC +10:00"), 0);
  EXPECT_EQ(fieldsIn(back, u"UTC"), (Fields{2024, 1, 4, 14, 0, 0}));
  EXPECT_EQ(text(back, nullptr), u"2024-01-05 00:00:00");
  JCHAR small[19] = {u'?'};
  EXPECT_EQ(vyrUTime_Format(small, 19, &kBase, nullptr) + small[0], 1 + u'?');
  EXPECT_EQ(text(UTIME{}, nullptr), u"");
  EXPECT_TRUE(vyrUTime_Deformat(&back, u"  ", nullptr) == 0 && vyrUTime_IsNull(&back));
  for (const char16_t *bad : {u"2024-1-05", u"2024-01-05T08:03:09", u"2024-02-30", u"2024-01-05 24:00:00",
                              u"2024-01-05 08:03", u"20240105", u"2024-01-0x"}) {
    UTIME t = kBase;
    EXPECT_EQ(vyrUTime_Deformat(&t, bad, u"UTC"), 1) << std::u16string(bad).size();
    EXPECT_TRUE(same(t, kBase));
  }
}

TEST(UTime, CompareAndTimeBetween) {
  const UTIME null{}, later = at({2024, 1, 6, 8, 3, 8}, u"UTC +5:30");
  UTIME almostTwoBack = kBase;
  almostTwoBack.llMicroseconds -= 1'999'999;
  const struct {
    const UTIME *from, *to;
    int cmp, rc;
    int64_t seconds;
  } cases[] = {{&null, &kBase, -1, 1, 42},
               {&kBase, nullptr, 1, 1, 42},
               {&null, nullptr, 0, 1, 42},
               {&kBase, &later, -1, 0, 86399 - 19800},
               {&later, &kBase, 1, 0, 19800 - 86399},
               {&kBase, &almostTwoBack, 1, 0, -1}};
  for (const auto &c : cases) {
    int64_t seconds = 42;
    EXPECT_EQ(vyrUTime_Compare(c.from, c.to), c.cmp);
    EXPECT_EQ(vyrUTime_TimeBetween(c.from, c.to, &seconds), c.rc);
    EXPECT_EQ(seconds, c.seconds);
  }
}

TEST(UTime, AdvanceAcrossMidnightAndMonthEndInTheDisplayZone) {
  UTIME t = at({2024, 1, 31, 23, 30, 0}, u"UTC +5:30");
  const struct {
    int years, months, days, hours, minutes, seconds;
    Fields shown;
  } steps[] = {{0, 1, 0, 0, 0, 0, {2024, 2, 29, 23, 30, 0}},
               {1, 0, 1, 0, 0, 0, {2025, 3, 1, 23, 30, 0}},
               {0, 0, 0, 0, 45, 0, {2025, 3, 2, 0, 15, 0}},
               {0, 0, 0, -24, -15, -16, {2025, 2, 28, 23, 59, 44}},
               {0, -1, -28, 0, 0, 0, {2024, 12, 31, 23, 59, 44}}};
  for (const auto &s : steps) {
    EXPECT_EQ(vyrUTime_AdvanceDate(&t, s.years, s.months, s.days), 0);
    EXPECT_EQ(vyrUTime_AdvanceTime(&t, s.hours, s.minutes, s.seconds), 0);
    EXPECT_EQ(fieldsIn(t, nullptr), s.shown);
  }
  UTIME last = at({9999, 12, 31, 12, 0, 0}, u"UTC"), null{};
  const UTIME before = last;
  EXPECT_EQ(vyrUTime_AdvanceDate(&last, 0, 0, 1) + vyrUTime_AdvanceDate(&last, INT_MIN, INT_MIN, INT_MIN), 2);
  EXPECT_EQ(vyrUTime_AdvanceTime(&last, INT_MAX, INT_MAX, INT_MAX) + vyrUTime_AdvanceTime(&last, 12, 0, 0), 2);
  EXPECT_TRUE(same(last, before));
  EXPECT_EQ(vyrUTime_AdvanceDate(&null, 0, 0, 1), 1);
}

TEST(UTime, GarbageValuesAreRefusedNotWrapped) {
  UTIME now{};
  EXPECT_TRUE(vyrUTime_SetToNow(&now) == 0 && vyrUTime_IsValid(&now) && vyrUTime_Compare(&now, &kBase) == 1);
  const UTIME farFuture{INT64_MAX, 0, 1, 0}, farPast{INT64_MIN, 0, 1, 0}, badZone{0, 32767, 1, 0};
  for (const UTIME &g : {farFuture, farPast, badZone}) {
    UTIME t = g;
    short year = 0;
    EXPECT_FALSE(vyrUTime_IsValid(&t));
    EXPECT_EQ(vyrUTime_Get(&t, &year, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(text(t, nullptr), u"refused");
    EXPECT_EQ(vyrUTime_AdvanceTime(&t, 0, 0, 1) + vyrUTime_AdvanceDate(&t, 0, 0, 1), 2);
    EXPECT_TRUE(same(t, g));
  }
  int64_t seconds = 0;
  EXPECT_EQ(vyrUTime_TimeBetween(&farPast, &farFuture, &seconds), 1);
}

}  // namespace
