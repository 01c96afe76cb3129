// Evaluations per second of AlgebraicExpressionCalculate (called through the
// runtime, as a host calls it) against muparser parsing and evaluating the
// same 20 expressions, written in its syntax, in one run; the ratio is
// printed at the end. Before timing, both engines must agree on every value.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include <benchmark/benchmark.h>
#include <muParser.h>

#include "C0000500.h"
#include "runtime/context.h"
#include "utilities/B0000500.h"

namespace {

struct Expression {
  const char16_t *ours;
  const char *muparser;  // SQR is sqrt, SGN(x) is -(x), ARC is atan, LOG is log10, ** is ^
};

const Expression kExpressions[20] = {
    {u"1+2*3-4/2", "1+2*3-4/2"},
    {u"12.5*(3+4)-SQR(16)", "12.5*(3+4)-sqrt(16)"},
    {u"((1+2)*(3+4))/((5-6)*(7+8))", "((1+2)*(3+4))/((5-6)*(7+8))"},
    {u"2**10", "2^10"},
    {u"2*3**2+1", "2*3^2+1"},
    {u"SQR(2)*SQR(8)", "sqrt(2)*sqrt(8)"},
    {u"COS(0.5)+SIN(0.5)", "cos(0.5)+sin(0.5)"},
    {u"TAN(0.25)*ARC(1)", "tan(0.25)*atan(1)"},
    {u"LN(10)+LOG(1000)", "ln(10)+log10(1000)"},
    {u"ABS(-2.5)*SGN(4)", "abs(-2.5)*(-(4))"},
    {u"1.5*2.5/0.5-3.25", "1.5*2.5/0.5-3.25"},
    {u"100/7/3", "100/7/3"},
    {u"(((((1+1)*2)+3)*4)+5)", "(((((1+1)*2)+3)*4)+5)"},
    {u"SQR(ABS(SGN(16)))", "sqrt(abs(-(16)))"},
    {u"1+2+3+4+5+6+7+8+9+10", "1+2+3+4+5+6+7+8+9+10"},
    {u"3.14159*2.5**2", "3.14159*2.5^2"},
    {u"(1.05**12-1)*1000", "(1.05^12-1)*1000"},
    {u"12345.678*0.0825+12345.678", "12345.678*0.0825+12345.678"},
    {u"COS(SIN(TAN(0.1)))", "cos(sin(tan(0.1)))"},
    {u"(2+3)*(4-1)/(6-1)**2", "(2+3)*(4-1)/(6-1)^2"},
};

const BSFN_CATALOG_ENTRY kEvaluator = {"AlgebraicExpressionCalculate", AlgebraicExpressionCalculate,
                                       &DSD0000500_template, "B0000500"};
const BSFN_CATALOG_ENTRY kCompanion = {"ReviseDecimalSeparatorInString", ReviseDecimalSeparatorInString,
                                       &DSREVISEDECSEP_template, "C0000500"};

LPBHVRCOM Context() {
  static LPBHVRCOM context = [] {
    vyr::registerFunction(kEvaluator);
    vyr::registerFunction(kCompanion);
    return vyr::createContext({{"decimal", "point"}});
  }();
  return context;
}

ID EvaluateOurs(const Expression &e, DSD0000500 &ds) {
  std::memset(&ds, 0, sizeof(ds));
  std::memcpy(ds.szAlgebraicExpression, e.ours, std::char_traits<char16_t>::length(e.ours) * sizeof(JCHAR));
  return vyr::callFunction(Context(), kEvaluator, &ds);
}

// Both engines must give the same value (to the nine decimals ours keeps).
bool EnginesAgree(std::string *why) {
  mu::Parser parser;
  for (const Expression &e : kExpressions) {
    DSD0000500 ds;
    if (EvaluateOurs(e, ds) != ER_SUCCESS) {
      *why = std::string("evaluator failed on ") + e.muparser;
      return false;
    }
    parser.SetExpr(e.muparser);
    const double theirs = parser.Eval();
    const double ours = MathNumericToDouble(&ds.mnCalculatedValue);
    if (std::fabs(ours - theirs) > 1e-8 * std::fmax(1.0, std::fabs(theirs))) {
      *why =
          std::string("values differ on ") + e.muparser + ": " + std::to_string(ours) + " vs " + std::to_string(theirs);
      return false;
    }
  }
  return true;
}

void BM_AlgebraicExpressionCalculate(benchmark::State &state) {
  std::string why;
  if (!EnginesAgree(&why)) {
    state.SkipWithError(why.c_str());
    return;
  }
  DSD0000500 ds;
  for (auto _ : state) {
    for (const Expression &e : kExpressions) {
      benchmark::DoNotOptimize(EvaluateOurs(e, ds));
      benchmark::DoNotOptimize(ds.mnCalculatedValue);
    }
  }
  state.SetItemsProcessed(state.iterations() * 20);
}
BENCHMARK(BM_AlgebraicExpressionCalculate);

void BM_Muparser(benchmark::State &state) {
  mu::Parser parser;
  for (auto _ : state) {
    for (const Expression &e : kExpressions) {
      // SetExpr drops the previous bytecode, so every Eval parses again.
      parser.SetExpr(e.muparser);
      benchmark::DoNotOptimize(parser.Eval());
    }
  }
  state.SetItemsProcessed(state.iterations() * 20);
}
BENCHMARK(BM_Muparser);

// Keeps the evaluations per second of each benchmark to print the ratio.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      const auto rate = run.counters.find("items_per_second");
      // With repetitions the mean (reported after the single runs) is the one kept.
      if (!run.error_occurred && rate != run.counters.end() &&
          (run.aggregate_name.empty() || run.aggregate_name == "mean"))
        perSecond[run.run_name.function_name] = rate->second.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> perSecond;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto ours = reporter.perSecond.find("BM_AlgebraicExpressionCalculate");
  const auto theirs = reporter.perSecond.find("BM_Muparser");
  if (ours != reporter.perSecond.end() && theirs != reporter.perSecond.end() && ours->second > 0) {
    std::printf("evaluations/s: AlgebraicExpressionCalculate %.0f, muparser %.0f; ratio (ours / muparser) %.2f\n",
                ours->second, theirs->second, ours->second / theirs->second);
  }
  benchmark::Shutdown();
  return 0;
}
