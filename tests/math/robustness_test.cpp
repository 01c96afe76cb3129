// Garbage records, null pointers and the agreement of the 128-bit and the wide path.
#include <memory>
#include <random>
#include <vector>

#include "math/decimal.h"
#include "math/helpers.h"

namespace {

using namespace mathtest;

// Random bytes; half of the records get plausible digits so the arithmetic runs on real values.
MATH_NUMERIC randomRecord(std::mt19937_64 &random) {
  MATH_NUMERIC v;
  auto *bytes = reinterpret_cast<unsigned char *>(&v);
  for (size_t i = 0; i < sizeof v; ++i) bytes[i] = static_cast<unsigned char>(random());
  if (random() % 2) {
    const int digits = static_cast<int>(random() % 34);
    for (int i = 0; i < digits; ++i) v.String[i] = static_cast<char>('0' + random() % 10);
    if (digits < 33 && random() % 4) v.String[digits] = '\0';
    v.nDecimalPosition = static_cast<short>(static_cast<int>(random() % 40) - 4);
    v.Sign = random() % 2 ? '-' : '\0';
  }
  return v;
}

std::u16string randomText(std::mt19937_64 &random) {
  static const char16_t kAlphabet[] = u"0123456789012345.,.,+- -\tx\0e";
  std::u16string text(random() % 45, u' ');
  for (char16_t &c : text) c = kAlphabet[random() % (sizeof kAlphabet / sizeof kAlphabet[0])];
  return text;
}

TEST(MathRobustness, GarbageRecordsGiveCanonicalResults) {
  std::mt19937_64 random(49);
  const char16_t *masks[] = {u"#,##0.00", u"0", u"", u"$#,###.##0#,", u"#.#.#"};
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
    (void)MathCompare(&a, &b), (void)MathCompareAbsolute(&a, &b), (void)MathZeroTest(&a);

    // Exact-size heap buffers: the sanitizer build catches any write past them.
    auto plain = std::make_unique<JCHAR[]>(VYR_MATH_TEXT_SIZE);
    auto grouped = std::make_unique<JCHAR[]>(48);
    auto masked = std::make_unique<JCHAR[]>(20);
    auto raw = std::make_unique<JCHAR[]>(33);
    FormatMathNumeric(plain.get(), &a);
    FormatMathNumericDefault(grouped.get(), &a);
    FormatMathNumericWithMask(masked.get(), 20, &a, masks[random() % 5]);
    vyrMathGetRawStringEx(raw.get(), &a, 33);
    // What is formatted reads back as the same value when it fits the canonical form.
    const short decimals = a.nDecimalPosition;
    if (decimals <= 31 && ParseNumericString(&r, plain.get()) == ER_SUCCESS) {
      EXPECT_EQ(MathCompare(&r, &a), 0) << narrow(plain.get());
    }

    const std::u16string text = randomText(random);
    std::vector<JCHAR> unterminated(text.begin(), text.end());  // no terminator to lean on
    if (ParseNumericStringEx(&r, unterminated.data(), unterminated.size()) != ER_ERROR || r.nLength != 0) {
      expectCanonical(r);
    }
  }
}

TEST(MathRobustness, NullPointersAreRefused) {
  MATH_NUMERIC v = num("1.5");
  JCHAR out[48];
  EXPECT_EQ(MathAdd(nullptr, &v, &v), ER_ERROR);
  EXPECT_EQ(MathSubtract(&v, nullptr, &v), ER_ERROR);
  EXPECT_EQ(MathMultiply(&v, &v, nullptr), ER_ERROR);
  EXPECT_EQ(MathDivide(&v, nullptr, &v, nullptr, 2, 1), ER_ERROR);
  EXPECT_EQ(MathRound(&v, nullptr, 2), ER_ERROR);
  EXPECT_EQ(MathFloor(nullptr, &v), ER_ERROR);
  EXPECT_EQ(IncrementMathNumeric(nullptr), ER_ERROR);
  EXPECT_EQ(ParseNumericString(nullptr, u"1"), ER_ERROR);
  EXPECT_EQ(ParseNumericString(&v, nullptr), ER_ERROR);
  EXPECT_EQ(FormatMathNumeric(out, nullptr), 0);
  EXPECT_EQ(FormatMathNumericWithMask(out, 48, &v, nullptr), 0);
  EXPECT_EQ(vyrUpdateMathCurrency(nullptr, u"EUR", 2), ER_ERROR);
  EXPECT_EQ(MathCompare(nullptr, nullptr), 0);
  ZeroMathNumeric(nullptr);
  MathCopy(nullptr, &v);
  ReverseMathNumeric(nullptr);
  vyrMathGetCurrencyCodeUNI(nullptr, out);
  EXPECT_EQ(out[0], 0);
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
    const MATH_NUMERIC ra = randomRecord(random), rb = randomRecord(random);
    const Decimal a = read(ra), b = read(rb);
    ASSERT_TRUE(same(add<true>(a, b), add<false>(a, b)));
    ASSERT_TRUE(same(subtract<true>(a, b), subtract<false>(a, b)));
    ASSERT_TRUE(same(multiply<true>(a, b), multiply<false>(a, b)));
    const int places = static_cast<int>(random() % 36) - 2;
    const bool roundHalf = random() % 2;
    const Division x = divide<true>(a, b, places, roundHalf), y = divide<false>(a, b, places, roundHalf);
    ASSERT_TRUE(same(x.quotient, y.quotient) && same(x.remainder, y.remainder));
  }
}

}  // namespace
