// Garbage records, null pointers and the agreement of the 128-bit and the wide path.
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "math/decimal.h"
#include "math/helpers.h"

namespace {

using namespace mathtest;

// Random bytes; half of the records get plausible digits so the arithmetic runs on real values.
MATH_NUMERIC randomRecord(std::mt19937_64 &random) {
  MATH_NUMERIC v;
  for (size_t i = 0; i < sizeof v; ++i) reinterpret_cast<unsigned char *>(&v)[i] = static_cast<unsigned char>(random());
  if (random() % 2) {
    const int digits = static_cast<int>(random() % 34);
    for (int i = 0; i < digits; ++i) v.String[i] = static_cast<char>('0' + random() % 10);
    if (digits < 33 && random() % 4) v.String[digits] = '\0';
    v.nDecimalPosition = static_cast<short>(static_cast<int>(random() % 40) - 4);
    v.Sign = random() % 2 ? '-' : '\0';
  }
  return v;
}

TEST(MathRobustness, GarbageRecordsGiveCanonicalResults) {
  std::mt19937_64 random(49);
  const char16_t *masks[] = {u"#,##0.00", u"0", u"", u"$#,###.##0#,", u"#.#.#"};
  static const char16_t kAlphabet[] = u"0123456789012345.,.,+- -\tx\0e";
  for (int round = 0; round < 3000; ++round) {
    const MATH_NUMERIC a = randomRecord(random), b = randomRecord(random);
    MATH_NUMERIC r = randomRecord(random), s = randomRecord(random);
    const int places = static_cast<int>(random() % 46) - 6;
    MathAdd(&r, &a, &b), expectCanonical(r);
    MathSubtract(&r, &a, &b), expectCanonical(r);
    MathMultiply(&r, &a, &b), expectCanonical(r);
    MathDivide(&r, &s, &a, &b, places, static_cast<int>(random() % 3)), expectCanonical(r), expectCanonical(s);
    MathRound(&r, &a, places), expectCanonical(r);
    MathExecuteRoundingRuleEx(&r, &a, places, static_cast<int>(random() % 4)), expectCanonical(r);
    MathFloor(&r, &a), expectCanonical(r);
    MathAbs(&r, &a), expectCanonical(r);
    r = a, IncrementMathNumeric(&r), expectCanonical(r);
    r = a, ReverseMathNumeric(&r), expectCanonical(r);
    DoubleToMathNumeric(MathNumericToDouble(&a), &r), expectCanonical(r);
    IntToMathNumeric(MathNumericToInt(&a), &r), expectCanonical(r);
    LongToMathNumeric(MathNumericToLong(&a), &r), expectCanonical(r);
    (void)MathCompare(&a, &b), (void)MathCompareAbsolute(&a, &b);
    // A canonical record is shown from its own digits; with a zero in front it
    // takes the long way, and must show the same.
    if (std::strlen(r.String) < 32) {
      MATH_NUMERIC padded = r;
      std::memmove(padded.String + 1, r.String, sizeof r.String - 1);
      padded.String[0] = '0';
      JCHAR direct[VYR_MATH_TEXT_SIZE], longWay[VYR_MATH_TEXT_SIZE];
      FormatMathNumeric(direct, &r), FormatMathNumeric(longWay, &padded);
      EXPECT_EQ(std::u16string(direct), std::u16string(longWay));
    }

    // Exact-size heap buffers: the sanitizer build catches any write past them.
    std::vector<JCHAR> plain(VYR_MATH_TEXT_SIZE), grouped(48), masked(20), raw(33);
    FormatMathNumericDefault(grouped.data(), &a);
    FormatMathNumericWithMask(masked.data(), masked.size(), &a, masks[random() % 5]);
    vyrMathGetRawStringEx(raw.data(), &a, raw.size());
    // What is formatted reads back as the same value when it fits the canonical form.
    FormatMathNumeric(plain.data(), &a);
    if (a.nDecimalPosition <= 31 && ParseNumericString(&r, plain.data()) == ER_SUCCESS) {
      EXPECT_EQ(MathCompare(&r, &a), 0) << narrow(plain.data());
    }
    std::vector<JCHAR> text(random() % 45);  // no terminator to lean on
    for (JCHAR &c : text) c = kAlphabet[random() % (sizeof kAlphabet / sizeof kAlphabet[0])];
    if (ParseNumericStringEx(&r, text.data(), text.size()) != ER_ERROR || r.nLength != 0) expectCanonical(r);
  }
}

TEST(MathRobustness, NullPointersAreRefused) {
  MATH_NUMERIC v = num("1.5");
  JCHAR out[48] = u"x";
  for (const ID rc :
       {MathAdd(nullptr, &v, &v), MathSubtract(&v, nullptr, &v), MathMultiply(&v, &v, nullptr),
        MathDivide(&v, nullptr, &v, nullptr, 2, 1), MathRound(&v, nullptr, 2), MathFloor(nullptr, &v),
        IncrementMathNumeric(nullptr), ParseNumericString(nullptr, u"1"), vyrUpdateMathCurrency(nullptr, u"EUR", 2)})
    EXPECT_EQ(rc, ER_ERROR);
  ZeroMathNumeric(nullptr), MathCopy(nullptr, &v), ReverseMathNumeric(nullptr);
  EXPECT_EQ(FormatMathNumeric(out, nullptr) + FormatMathNumericWithMask(out, 48, &v, nullptr), 0);
  EXPECT_EQ(str(v) + narrow(out), "1.5");
}

// Doubles, the only place where floating point meets MATH_NUMERIC: the
// shortest text, refusals, and a round trip of random values.
TEST(MathRobustness, DoublesUseTheShortestTextAndRoundTrip) {
  const std::pair<double, const char *> cases[] = {
      {0.1, "0.1"},        {-2.5, "-2.5"},
      {-0.0, "0"},         {1e20, "100000000000000000000"},
      {1e40, nullptr},     {std::numeric_limits<double>::quiet_NaN(), nullptr},
      {-HUGE_VAL, nullptr}};
  MATH_NUMERIC v;
  for (const auto &[value, text] : cases) {
    EXPECT_EQ(DoubleToMathNumeric(value, &v), text ? ER_SUCCESS : ER_ERROR) << value;
    EXPECT_EQ(str(v), text ? text : "0") << value;
  }
  std::mt19937_64 random(20260521);
  std::uniform_real_distribution<double> exponent(-9.0, 15.0);
  for (int i = 0; i < 2000; ++i) {
    const double value = (i % 2 ? -1 : 1) * std::pow(10.0, exponent(random));
    ASSERT_EQ(DoubleToMathNumeric(value, &v), ER_SUCCESS);
    EXPECT_EQ(MathNumericToDouble(&v), value) << str(v);
  }
}

// The 128-bit path must give what the wide path gives, bit for bit.
TEST(MathRobustness, NarrowPathAgreesWithWidePath) {
  using namespace vyr::math;
  std::mt19937_64 random(128);
  auto same = [](const Result &x, const Result &y) {
    return x.ok == y.ok && x.value.magnitude == y.value.magnitude && x.value.scale == y.value.scale &&
           x.value.negative == y.value.negative;
  };
  for (int round = 0; round < 20000; ++round) {
    const Decimal a = read(randomRecord(random)), b = read(randomRecord(random));
    const int places = static_cast<int>(random() % 36) - 2;
    const Division x = divide<true>(a, b, places, round % 2), y = divide<false>(a, b, places, round % 2);
    ASSERT_TRUE(same(add<true>(a, b), add<false>(a, b)) && same(subtract<true>(a, b), subtract<false>(a, b)) &&
                same(multiply<true>(a, b), multiply<false>(a, b)) && same(x.quotient, y.quotient) &&
                same(x.remainder, y.remainder));
  }
}

}  // namespace
