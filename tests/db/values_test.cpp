// Conversions between record forms and stored values (exact numbers with
// rounding and range checks, calendar dates, text cut to a field), and the
// checks of catalogue declarations.
#include "db/values.h"

#include <gtest/gtest.h>

#include "db/catalog.h"
#include "db_fixture.h"

namespace {

using namespace vyr::db;
using dbtest::number;

TEST(Values, NumbersScaleExactlyRoundAsAskedAndRefuseWhatDoesNotFit) {
  constexpr auto Half = Rounding::HalfAwayFromZero;
  struct Case {
    const char *value;
    unsigned digits, decimals;
    Rounding rounding;
    NumberFit fit;
    int64_t scaled;
  } const cases[] = {
      {"1.2345678", 15, 7, Half, NumberFit::Exact, 12345678},
      {"1.23456785", 15, 7, Half, NumberFit::Rounded, 12345679},
      {"-1.23456785", 15, 7, Half, NumberFit::Rounded, -12345679},
      {"-0.5", 8, 0, Half, NumberFit::Rounded, -1},
      {"1.5", 8, 0, Rounding::Floor, NumberFit::Rounded, 1},
      {"-1.5", 8, 0, Rounding::Floor, NumberFit::Rounded, -2},
      {"1.5", 8, 0, Rounding::Ceiling, NumberFit::Rounded, 2},
      {"-1.5", 8, 0, Rounding::Ceiling, NumberFit::Rounded, -1},
      {"99999999", 8, 0, Half, NumberFit::Exact, 99999999},
      {"100000000", 8, 0, Half, NumberFit::TooLarge, 0},
      {"99999999.5", 8, 0, Half, NumberFit::TooLarge, 0},  // rounds past 8 digits
      {"10000000000000", 15, 2, Half, NumberFit::TooLarge, 0},
      {"999999999999999999", 18, 0, Half, NumberFit::Exact, 999999999999999999},
      {"12345678901234567890123456789012", 18, 0, Half, NumberFit::TooLarge, 0},
      {"", 8, 2, Half, NumberFit::Exact, 0},
      {"1x", 8, 0, Half, NumberFit::Invalid, 0},
  };
  for (const Case &c : cases) {
    int64_t scaled = -1;
    EXPECT_EQ(mathToScaled(number(c.value), c.digits, c.decimals, c.rounding, &scaled), c.fit) << c.value;
    if (c.fit == NumberFit::Exact || c.fit == NumberFit::Rounded) {
      EXPECT_EQ(scaled, c.scaled) << c.value;
    }
  }
  MATH_NUMERIC bad = number("12");
  bad.nDecimalPosition = -1;
  int64_t ignored;
  EXPECT_EQ(mathToScaled(bad, 8, 0, Rounding::Floor, &ignored), NumberFit::Invalid);
}

TEST(Values, DatesAreCalendarDatesOrTheNullDate) {
  const struct {
    VYRDATE date;
    DateForm form;
  } cases[] = {
      {{2024, 2, 29}, DateForm::Valid},   {{2023, 2, 29}, DateForm::Invalid}, {{0, 0, 0}, DateForm::Null},
      {{2024, 13, 1}, DateForm::Invalid}, {{2024, 0, 1}, DateForm::Invalid},  {{1, 1, 1}, DateForm::Valid},
      {{9999, 12, 31}, DateForm::Valid},  {{-5, 1, 1}, DateForm::Invalid},    {{2024, 4, 31}, DateForm::Invalid},
  };
  for (const auto &c : cases) {
    int64_t stored = -1;
    EXPECT_EQ(dateToStored(c.date, &stored), c.form) << c.date.nYear << "-" << c.date.nMonth << "-" << c.date.nDay;
    if (c.form == DateForm::Invalid) continue;
    EXPECT_EQ(c.form == DateForm::Null, stored == kNullDate);
    const VYRDATE back = storedToDate(stored);
    EXPECT_EQ(std::memcmp(&back, &c.date, sizeof back), 0);
  }
}

TEST(Values, TextFieldsKeepWholeCharactersOnly) {
  const std::u16string wide = u"Z\u00FCrich \U0001F600";
  std::string stored;
  fieldToStored(wide.c_str(), 9, stored);
  EXPECT_EQ(stored, vyr::toUtf8(wide));
  JCHAR field[6];
  storedToField(stored, field, 5);
  EXPECT_EQ(std::u16string(field, 6), std::u16string(u"Z\u00FCric\0", 6));
  storedToField(vyr::toUtf8(u"a\U0001F600"), field, 2);  // a pair that does not fit whole is left out
  EXPECT_EQ(std::u16string(field, 3), std::u16string(u"a \0", 3));
}

TEST(Catalog, DeclaredTablesAreConsistentAndMistakesKeepATableOut) {
  EXPECT_EQ(catalogProblems(), std::vector<std::string>{});
  EXPECT_EQ(findTable(u"F0101   "), findTable(u"F0101"));  // trailing blanks ignored
  EXPECT_EQ(findTable(u"F9999"), nullptr);

  using namespace vyr::db::schema;
  const struct {
    TableSpec declared;
    const char *problem;
  } cases[] = {
      {{u"ZBAD1", "", {str(u"A", 2)}, {unique(1, {asc(u"B")})}}, "unknown column B"},
      {{u"ZBAD2", "", {str(u"A", 2), num(u"A", 3)}, {unique(1, {asc(u"A")})}}, "declared twice"},
      {{u"ZBAD3", "", {num(u"A", 19)}, {unique(1, {asc(u"A")})}}, "1 to 18 digits"},
      {{u"ZBAD4", "", {str(u"A", 2)}, {unique(2, {asc(u"A")})}}, "index ids run"},
      {{u"ZBAD5", "", {str(u"A", 2)}, {index(1, {asc(u"A")})}}, "must exist and be unique"},
      {{u"ZBAD6", "", {utime(u"T"), str(u"T_TZ", 2)}, {unique(1, {asc(u"T_TZ")})}}, "zone column"},
      {{u"ZBAD7", "", {binary(u"B")}, {unique(1, {asc(u"B")})}}, "keys a binary column"},
  };
  for (const auto &c : cases) {
    addTables({c.declared});
    EXPECT_EQ(findTable(c.declared.name), nullptr);
    bool found = false;
    for (const std::string &p : catalogProblems()) found = found || p.find(c.problem) != std::string::npos;
    EXPECT_TRUE(found) << c.problem;
  }
  addTables({{u"F0013", "again", {str(u"CRCD", 3)}, {unique(1, {asc(u"CRCD")})}}});
  EXPECT_EQ(findTable(u"F0013")->description, "currency codes");  // the first declaration stays
}

}  // namespace
