// MATH_NUMERIC arithmetic: the 128-bit path against the wide Boost path on
// business-sized amounts, plus the exported entry points end to end.
//   build/default/bin/bench_math --benchmark_min_time=0.5
#include <benchmark/benchmark.h>

#include "math/decimal.h"
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

}  // namespace

BENCHMARK_MAIN();
