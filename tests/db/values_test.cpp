// Conversions between record forms and stored values: exact numbers with
// rounding and range checks, calendar dates, and UTF-16 text.
#include "db/values.h"

#include <gtest/gtest.h>

#include "db_fixture.h"

namespace {

using namespace vyr::db;
using dbtest::number;
using dbtest::text;

TEST(Values, NumbersScaleExactlyRoundHalfAwayAndRefuseWhatDoesNotFit) {
  struct Case {
    const char *value;
    unsigned digits, decimals;
    Rounding rounding;
    NumberFit fit;
    int64_t scaled;
  } const cases[] = {
      {"1.2345678", 15, 7, Rounding::HalfAwayFromZero, NumberFit::Exact, 12345678},
      {"12.5", 15, 7, Rounding::HalfAwayFromZero, NumberFit::Exact, 125000000},
      {"1.23456785", 15, 7, Rounding::HalfAwayFromZero, NumberFit::Rounded, 12345679},
      {"-1.23456785", 15, 7, Rounding::HalfAwayFromZero, NumberFit::Rounded, -12345679},
      {"-0.5", 8, 0, Rounding::HalfAwayFromZero, NumberFit::Rounded, -1},
      {"0.49", 8, 0, Rounding::HalfAwayFromZero, NumberFit::Rounded, 0},
      {"1.5", 8, 0, Rounding::Floor, NumberFit::Rounded, 1},
      {"-1.5", 8, 0, Rounding::Floor, NumberFit::Rounded, -2},
      {"1.5", 8, 0, Rounding::Ceiling, NumberFit::Rounded, 2},
      {"-1.5", 8, 0, Rounding::Ceiling, NumberFit::Rounded, -1},
      {"99999999", 8, 0, Rounding::HalfAwayFromZero, NumberFit::Exact, 99999999},
      {"100000000", 8, 0, Rounding::HalfAwayFromZero, NumberFit::TooLarge, 0},
      {"99999999.5", 8, 0, Rounding::HalfAwayFromZero, NumberFit::TooLarge, 0},  // rounds past 8 digits
      {"10000000000000", 15, 2, Rounding::HalfAwayFromZero, NumberFit::TooLarge, 0},
      {"999999999999999999", 18, 0, Rounding::HalfAwayFromZero, NumberFit::Exact, 999999999999999999},
      {"12345678901234567890123456789012", 18, 0, Rounding::HalfAwayFromZero, NumberFit::TooLarge, 0},
      {"", 8, 2, Rounding::HalfAwayFromZero, NumberFit::Exact, 0},
  };
  for (const Case &c : cases) {
    int64_t scaled = 0;
    EXPECT_EQ(mathToScaled(number(c.value), c.digits, c.decimals, c.rounding, &scaled), c.fit) << c.value;
    if (c.fit == NumberFit::Exact || c.fit == NumberFit::Rounded) {
      EXPECT_EQ(scaled, c.scaled) << c.value;
    }
  }
  MATH_NUMERIC bad = number("12");
  bad.String[1] = 'x';
  int64_t ignored;
  EXPECT_EQ(mathToScaled(bad, 8, 0, Rounding::Floor, &ignored), NumberFit::Invalid);
  bad = number("12");
  bad.nDecimalPosition = -1;
  EXPECT_EQ(mathToScaled(bad, 8, 0, Rounding::Floor, &ignored), NumberFit::Invalid);
}

TEST(Values, ScaledNumbersComeBackInTheUsualForm) {
  struct Case {
    int64_t scaled;
    unsigned decimals;
    const char *text;
  } const cases[] = {{56, 2, "0.56"}, {-12345678, 7, "-1.2345678"}, {0, 2, "0.00"}, {42, 0, "42"}, {-1, 0, "-1"}};
  for (const Case &c : cases) {
    MATH_NUMERIC m;
    scaledToMath(c.scaled, c.decimals, &m);
    EXPECT_EQ(text(m), c.text);
    EXPECT_EQ(m.nLength, strlen(m.String));
  }
  MATH_NUMERIC zero;
  scaledToMath(0, 3, &zero);
  EXPECT_EQ(zero.Sign, 0);  // never a minus on zero
}

TEST(Values, DatesAreCalendarDatesOrNull) {
  struct Case {
    VYRDATE date;
    DateForm form;
  } const cases[] = {
      {{2024, 2, 29}, DateForm::Valid},   {{2023, 2, 29}, DateForm::Invalid}, {{0, 0, 0}, DateForm::Null},
      {{2024, 13, 1}, DateForm::Invalid}, {{2024, 0, 1}, DateForm::Invalid},  {{1, 1, 1}, DateForm::Valid},
      {{9999, 12, 31}, DateForm::Valid},  {{-5, 1, 1}, DateForm::Invalid},    {{2024, 4, 31}, DateForm::Invalid},
  };
  for (const Case &c : cases) {
    int64_t stored = 0;
    EXPECT_EQ(dateToStored(c.date, &stored), c.form) << c.date.nYear << "-" << c.date.nMonth << "-" << c.date.nDay;
    if (c.form != DateForm::Valid) continue;
    const VYRDATE back = storedToDate(stored);
    EXPECT_EQ(std::memcmp(&back, &c.date, sizeof back), 0);
  }
}

TEST(Values, TextRoundTripsThroughUtf8AndFieldsPadAndStrip) {
  const std::u16string samples[] = {u"plain", u"Zürich – Δ", u"\U0001F600 emoji", u""};
  for (const std::u16string &s : samples) EXPECT_EQ(fromUtf8(toUtf8(s)), s);
  // A pair that does not fit whole is left out rather than cut in half.
  JCHAR out[2];
  EXPECT_EQ(fromUtf8(toUtf8(u"a\U0001F600"), out, 2), 1u);

  JCHAR field[6];
  storedToField("ab", field, 5);
  EXPECT_EQ(std::u16string(field, 6), std::u16string(u"ab   \0", 6));
  std::string stored;
  fieldToStored(field, 5, stored);
  EXPECT_EQ(stored, "ab");
  // Leading blanks are data; only trailing ones go.
  const JCHAR shortValue[] = u"  x";
  fieldToStored(shortValue, 5, stored);
  EXPECT_EQ(stored, "  x");
}

}  // namespace
