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

template <bool kNarrow>
void Add(benchmark::State &state) {
  const Decimal a = read(kAmount), b = read(kRate);
  for (auto _ : state) {
    Result r = add<kNarrow>(a, b);
    benchmark::DoNotOptimize(r);
  }
}

template <bool kNarrow>
void Multiply(benchmark::State &state) {
  const Decimal a = read(kAmount), b = read(kRate);
  for (auto _ : state) {
    Result r = multiply<kNarrow>(a, b);
    benchmark::DoNotOptimize(r);
  }
}

template <bool kNarrow>
void Divide(benchmark::State &state) {
  const Decimal a = read(kAmount), b = read(kThree);
  for (auto _ : state) {
    Division r = divide<kNarrow>(a, b, 9, true);
    benchmark::DoNotOptimize(r);
  }
}

void MathMultiplyEntryPoint(benchmark::State &state) {
  MATH_NUMERIC r;
  for (auto _ : state) {
    MathMultiply(&r, &kAmount, &kRate);
    benchmark::DoNotOptimize(r);
  }
}

BENCHMARK_TEMPLATE(Add, true)->Name("Add/int128");
BENCHMARK_TEMPLATE(Add, false)->Name("Add/uint256");
BENCHMARK_TEMPLATE(Multiply, true)->Name("Multiply/int128");
BENCHMARK_TEMPLATE(Multiply, false)->Name("Multiply/uint256");
BENCHMARK_TEMPLATE(Divide, true)->Name("Divide/int128");
BENCHMARK_TEMPLATE(Divide, false)->Name("Divide/uint512");
BENCHMARK(MathMultiplyEntryPoint);

}  // namespace

BENCHMARK_MAIN();
