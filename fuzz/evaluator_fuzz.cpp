// Feeds arbitrary bytes to AlgebraicExpressionCalculate as a JCHAR expression
// (little-endian UTF-16), under a decimal point and a decimal comma, through
// the runtime. Any crash, sanitizer report, undocumented id, return code that
// does not match its id, non-zero value on failure or raised error is a find.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "C0000500.h"
#include "runtime/context.h"
#include "utilities/B0000500.h"

namespace {

const BSFN_CATALOG_ENTRY kEvaluator = {"AlgebraicExpressionCalculate", AlgebraicExpressionCalculate,
                                       &DSD0000500_template, "B0000500"};
const BSFN_CATALOG_ENTRY kCompanion = {"ReviseDecimalSeparatorInString", ReviseDecimalSeparatorInString,
                                       &DSREVISEDECSEP_template, "C0000500"};

[[noreturn]] void Fail(const char *why, const DSD0000500 &ds, ID id) {
  char errorId[12] = {0};
  for (int i = 0; i < 11 && ds.szErrorMessageId[i] != 0; ++i) errorId[i] = (char)ds.szErrorMessageId[i];
  std::fprintf(stderr, "evaluator_fuzz: %s (return %u, id '%s')\n", why, id, errorId);
  std::abort();
}

bool IdIs(const DSD0000500 &ds, const char16_t *id) { return std::u16string_view(ds.szErrorMessageId) == id; }

void Check(LPBHVRCOM context, const DSD0000500 &ds, ID id) {
  if (id == ER_SUCCESS) {
    if (!IdIs(ds, u"   ")) Fail("success without the blank id", ds, id);
  } else if (id == ER_WARNING) {
    if (!IdIs(ds, u"4363") || ds.szAlgebraicExpression[0] != 0) Fail("warning other than the empty expression", ds, id);
  } else if (id == ER_ERROR) {
    if (!IdIs(ds, u"3199") && !IdIs(ds, u"4771") && !IdIs(ds, u"3449")) Fail("undocumented error id", ds, id);
  } else {
    Fail("return code outside 0-2", ds, id);
  }
  if (id != ER_SUCCESS && MathZeroTest(&ds.mnCalculatedValue) != 0) Fail("value left on failure", ds, id);
  if (!context->errors.empty()) Fail("error raised through the platform", ds, id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static LPBHVRCOM contexts[2] = {nullptr, nullptr};
  if (contexts[0] == nullptr) {
    vyr::registerFunction(kEvaluator);
    vyr::registerFunction(kCompanion);
    contexts[0] = vyr::createContext({{"decimal", "point"}});
    contexts[1] = vyr::createContext({{"decimal", "comma"}});
  }

  // An odd last byte with its low bit set asks for a member without terminator:
  // the text is repeated up to the member's last position.
  const bool bUnterminated = (size % 2) == 1 && (data[size - 1] & 1) != 0;
  DSD0000500 ds;
  for (LPBHVRCOM context : contexts) {
    std::memset(&ds, 0, sizeof(ds));
    const size_t nChars = std::min(size / 2, (size_t)B0000500_EXPRESSION_LENGTH);
    std::memcpy(ds.szAlgebraicExpression, data, nChars * sizeof(JCHAR));
    if (bUnterminated && nChars > 0)
      for (size_t i = nChars; i <= B0000500_EXPRESSION_LENGTH; ++i)
        ds.szAlgebraicExpression[i] = ds.szAlgebraicExpression[i % nChars];
    ds.cSuppressErrorMessage = u'1';
    IntToMathNumeric(7, &ds.mnCalculatedValue);
    context->errors.clear();
    context->trace.clear();
    const ID id = vyr::callFunction(context, kEvaluator, &ds);
    Check(context, ds, id);
  }
  return 0;
}
