// MATH_NUMERIC arithmetic: the 128-bit path against the wide Boost path on
// business-sized amounts, plus the exported entry points end to end, and the
// decimal pipeline a caller runs (parse two texts, multiply, divide to 9
// decimals, format both results) against the same done by hand on __int128 in
// the same run; the ratio is printed last (target: 1.5 or less).
//   build/default/bin/bench_math --benchmark_min_time=0.5 --benchmark_repetitions=5
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "math/decimal.h"
#include "ratio.h"
#include "vyrmath.h"

namespace {

using namespace vyr::math;

MATH_NUMERIC parsed(const char16_t *text) {
  MATH_NUMERIC value{};
  ParseNumericString(&value, text);
  return value;
}

// An invoice line: amount with cents, a rate with four decimals.
const MATH_NUMERIC kAmount = parsed(u"1234567.89");
const MATH_NUMERIC kRate = parsed(u"1.0825");
const MATH_NUMERIC kThree = parsed(u"3");

// One operation of the decimal core, the operands read once outside the loop.
template <class Operation>
void Core(benchmark::State &state, const MATH_NUMERIC &left, const MATH_NUMERIC &right, Operation operation) {
  const Decimal a = read(left), b = read(right);
  for (auto _ : state) {
    auto r = operation(a, b);
    benchmark::DoNotOptimize(r);
  }
}

template <bool kNarrow>
Division divideToNine(const Decimal &a, const Decimal &b) {
  return divide<kNarrow>(a, b, 9, true);
}

void MathMultiplyEntryPoint(benchmark::State &state) {
  MATH_NUMERIC r;
  for (auto _ : state) {
    MathMultiply(&r, &kAmount, &kRate);
    benchmark::DoNotOptimize(r);
  }
}

BENCHMARK_CAPTURE(Core, AddNarrow, kAmount, kRate, add<true>)->Name("Add/int128");
BENCHMARK_CAPTURE(Core, AddWide, kAmount, kRate, add<false>)->Name("Add/uint256");
BENCHMARK_CAPTURE(Core, MultiplyNarrow, kAmount, kRate, multiply<true>)->Name("Multiply/int128");
BENCHMARK_CAPTURE(Core, MultiplyWide, kAmount, kRate, multiply<false>)->Name("Multiply/uint256");
BENCHMARK_CAPTURE(Core, DivideNarrow, kAmount, kThree, divideToNine<true>)->Name("Divide/int128");
BENCHMARK_CAPTURE(Core, DivideWide, kAmount, kThree, divideToNine<false>)->Name("Divide/uint512");
BENCHMARK(MathMultiplyEntryPoint);

// ---- The caller's pipeline ---------------------------------------------------

// Amounts and rates as callers hand them over: cents, rates of 4 to 7 decimals.
struct Operands {
  const char16_t *amount;
  const char16_t *rate;
};
constexpr Operands kOperands[] = {
    {u"1234567.89", u"1.0825"}, {u"-98765.43", u"0.9214"},      {u"0.05", u"1.1"}, {u"450000.00", u"1.0853000"},
    {u"17.5", u"-3.25"},        {u"99999999.99", u"0.0000042"}, {u"3", u"7"},      {u"-0.01", u"0.3333333"},
};

struct Formatted {
  char16_t product[VYR_MATH_TEXT_SIZE];
  char16_t quotient[VYR_MATH_TEXT_SIZE];
};

// The platform's entry points, as a business function calls them.
void platformPipeline(const Operands &in, Formatted &out) {
  MATH_NUMERIC amount, rate, product, quotient;
  ParseNumericString(&amount, in.amount);
  ParseNumericString(&rate, in.rate);
  MathMultiply(&product, &amount, &rate);
  MathDivide(&quotient, nullptr, &amount, &rate, 9, 1);
  FormatMathNumeric(out.product, &product);
  FormatMathNumeric(out.quotient, &quotient);
}

// The same by hand: value = units / 10^scale on a signed __int128, the
// quotient rounded half away from zero.
__extension__ typedef __int128 Wide;
struct Fixed {
  Wide units = 0;
  int scale = 0;
};

Wide powerOfTen(int n) {
  Wide p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

Fixed parseFixed(const char16_t *text) {
  Fixed f;
  bool negative = *text == u'-', point = false;
  if (negative) ++text;
  for (; *text != 0; ++text) {
    if (*text == u'.') {
      point = true;
      continue;
    }
    f.units = f.units * 10 + (*text - u'0');
    f.scale += point;
  }
  if (negative) f.units = -f.units;
  return f;
}

void formatFixed(const Fixed &f, char16_t *out) {
  char16_t reversed[48];
  int n = 0;
  const Wide magnitude = f.units < 0 ? -f.units : f.units;
  // Digit by digit on 64 bits when the magnitude fits, as one would write it.
  if (magnitude <= Wide(UINT64_MAX)) {
    uint64_t rest = uint64_t(magnitude);
    do {
      reversed[n++] = char16_t(u'0' + rest % 10);
      rest /= 10;
    } while (rest != 0 || n <= f.scale);
  } else {
    Wide rest = magnitude;
    do {
      reversed[n++] = char16_t(u'0' + int(rest % 10));
      rest /= 10;
    } while (rest != 0 || n <= f.scale);
  }
  if (f.units < 0) *out++ = u'-';
  for (int i = n - 1; i >= 0; --i) {
    *out++ = reversed[i];
    if (i == f.scale && i > 0) *out++ = u'.';
  }
  *out = 0;
}

void handPipeline(const Operands &in, Formatted &out) {
  const Fixed amount = parseFixed(in.amount), rate = parseFixed(in.rate);
  const Fixed product{amount.units * rate.units, amount.scale + rate.scale};
  const int shift = 9 + rate.scale - amount.scale;
  Wide numerator = amount.units < 0 ? -amount.units : amount.units;
  Wide denominator = rate.units < 0 ? -rate.units : rate.units;
  if (shift >= 0)
    numerator *= powerOfTen(shift);
  else
    denominator *= powerOfTen(-shift);
  Wide units = numerator / denominator;
  if (2 * (numerator % denominator) >= denominator) ++units;
  const Fixed quotient{(amount.units < 0) != (rate.units < 0) ? -units : units, 9};
  formatFixed(product, out.product);
  formatFixed(quotient, out.quotient);
}

template <void (*kPipeline)(const Operands &, Formatted &)>
void Pipeline(benchmark::State &state) {
  Formatted out;
  for (auto _ : state) {
    for (const Operands &operands : kOperands) {
      kPipeline(operands, out);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetItemsProcessed(state.iterations() * int64_t(std::size(kOperands)));
}
BENCHMARK_TEMPLATE(Pipeline, platformPipeline)->Name("PipelinePlatform");
BENCHMARK_TEMPLATE(Pipeline, handPipeline)->Name("PipelineInt128");

// Both pipelines must print the same texts, or the ratio compares different work.
bool pipelinesAgree() {
  for (const Operands &operands : kOperands) {
    Formatted platform, hand;
    platformPipeline(operands, platform);
    handPipeline(operands, hand);
    if (std::u16string(platform.product) != hand.product || std::u16string(platform.quotient) != hand.quotient) {
      std::fprintf(stderr, "bench_math: the pipelines disagree on one pair of operands\n");
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!pipelinesAgree()) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf(
      "\nParse x2, multiply, divide to 9 decimals, format x2: platform / by hand on __int128 "
      "(target: 1.5 or less)\n");
  reporter.printRatio("pipeline", "PipelinePlatform", "PipelineInt128", "platform", "int128");
  benchmark::Shutdown();
  return 0;
}
