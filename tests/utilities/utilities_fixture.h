// Shared by the utilities tests: a context per test (point or comma number
// format), the libraries' catalogues registered with the runtime, and helpers
// to fill JCHAR members and compare MATH_NUMERIC values exactly.
#pragma once

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "C0000500.h"
#include "runtime/context.h"
#include "utilities/B0000500.h"
#include "utilities/B7602041.h"
#include "utilities/X00500D.h"
#include "utilities/X00500ED.h"

namespace utilities_test {

// The functions come from the libraries' own catalogues, so a function that
// is not registered there is not found here either.
extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

inline void RegisterUtilities() {
  static const bool registered = [] {
    for (LPFNBSFNCATALOG catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
      size_t count = 0;
      const BSFN_CATALOG_ENTRY *entries = catalog(&count);
      vyr::registerCatalog(entries, count);
    }
    return true;
  }();
  (void)registered;
}

// A context whose number format has a decimal comma or point.
class UtilitiesTest : public ::testing::Test {
 protected:
  void SetUp() override { RegisterUtilities(); }
  void TearDown() override {
    if (context_ != nullptr) vyr::freeContext(context_);
  }

  LPBHVRCOM Context(bool decimalComma = false) {
    if (context_ != nullptr) vyr::freeContext(context_);
    context_ = vyr::createContext({{"decimal", decimalComma ? "comma" : "point"}});
    return context_;
  }

  ID Call(const char *function, void *ds, bool decimalComma = false) {
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
    EXPECT_NE(entry, nullptr) << function;
    if (entry == nullptr) return ER_ERROR;
    return vyr::callFunction(Context(decimalComma), *entry, ds);
  }

  LPBHVRCOM context_ = nullptr;
};

// Fills a member of N + 1 JCHAR (terminated, zero tail).
template <size_t N>
void SetText(JCHAR (&member)[N], std::u16string_view text) {
  std::memset(member, 0, sizeof(member));
  std::memcpy(member, text.data(), std::min(text.size(), N - 1) * sizeof(JCHAR));
}

inline std::string Utf8(std::u16string_view text) {
  std::string out;
  for (char16_t c : text) out += c < 0x80 ? char(c) : '?';
  return out;
}

// A number written with a decimal point, read outside any context.
inline MATH_NUMERIC Number(const char16_t *text) {
  MATH_NUMERIC value;
  ZeroMathNumeric(&value);
  EXPECT_EQ(ParseNumericString(&value, text), ER_SUCCESS) << Utf8(text);
  return value;
}

// Same digits, decimals and sign: 3.0 and 3 differ here, as they do on a cheque.
inline ::testing::AssertionResult SameNumber(const MATH_NUMERIC &actual, const char16_t *expected) {
  const MATH_NUMERIC want = Number(expected);
  if (std::strcmp(actual.String, want.String) == 0 && actual.nDecimalPosition == want.nDecimalPosition &&
      (actual.Sign == '-') == (want.Sign == '-'))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << (actual.Sign == '-' ? "-" : "") << actual.String << " with "
                                       << actual.nDecimalPosition << " decimals";
}

}  // namespace utilities_test
