// The value types cross the ABI byte for byte: check the layouts callers rely on.
#include <cstddef>

#include <gtest/gtest.h>

#include "vyrtypes.h"

namespace {

#pragma pack(push, 1)
struct AmountThenFlag {
  MATH_NUMERIC mnAmount;
  JCHAR cFlag;
  JCHAR szName[11];
  VYRDATE jdDate;
  UTIME utStamp;
  MATH_NUMERIC mnSecond;
};
#pragma pack(pop)

TEST(Layout, FieldsSitWhereTheAbiSaysAndAFlagDirectlyFollowsAMathNumeric) {
  const size_t fields[][2] = {
      {offsetof(MATH_NUMERIC, String), 0},       {offsetof(MATH_NUMERIC, Sign), 33},
      {offsetof(MATH_NUMERIC, nLength), 34},     {offsetof(MATH_NUMERIC, nDecimalPosition), 35},
      {offsetof(MATH_NUMERIC, szCurrency), 37},  {offsetof(MATH_NUMERIC, nCurrencyDecimals), 45},
      {offsetof(MATH_NUMERIC, nPrecision), 47},  {sizeof(MATH_NUMERIC), 49},
      {sizeof(VYRDATE), 6},                      {offsetof(VYRDATE, nMonth), 2},
      {offsetof(VYRDATE, nDay), 4},              {sizeof(CallMapEntry), 8},
      {offsetof(AmountThenFlag, cFlag), 49},     {offsetof(AmountThenFlag, szName), 51},
      {offsetof(AmountThenFlag, jdDate), 73},    {offsetof(AmountThenFlag, utStamp), 79},
      {offsetof(AmountThenFlag, mnSecond), 91},  {sizeof(AmountThenFlag), 140},
  };
  for (const auto &field : fields) EXPECT_EQ(field[0], field[1]) << "row " << (&field - fields);
}

}  // namespace
