// The value types cross the ABI byte for byte, and one description yields a
// packed struct and a template that agree.
#include <cstddef>

#include <gtest/gtest.h>

#include "every_kind.h"
#include "frame/catalog.h"
#include "types/dsdesc.h"

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
      {offsetof(MATH_NUMERIC, String), 0},
      {offsetof(MATH_NUMERIC, Sign), 33},
      {offsetof(MATH_NUMERIC, nLength), 34},
      {offsetof(MATH_NUMERIC, nDecimalPosition), 35},
      {offsetof(MATH_NUMERIC, szCurrency), 37},
      {offsetof(MATH_NUMERIC, nCurrencyDecimals), 45},
      {offsetof(MATH_NUMERIC, nPrecision), 47},
      {sizeof(MATH_NUMERIC), 49},
      {sizeof(VYRDATE), 6},
      {offsetof(VYRDATE, nMonth), 2},
      {offsetof(VYRDATE, nDay), 4},
      {sizeof(CallMapEntry), 8},
      {offsetof(AmountThenFlag, cFlag), 49},
      {offsetof(AmountThenFlag, szName), 51},
      {offsetof(AmountThenFlag, jdDate), 73},
      {offsetof(AmountThenFlag, utStamp), 79},
      {offsetof(AmountThenFlag, mnSecond), 91},
      {sizeof(AmountThenFlag), 140},
  };
  for (const auto &field : fields) EXPECT_EQ(field[0], field[1]) << "row " << (&field - fields);
}

FAMOFLAS_DS(DSEVERYKIND, EVERY_KIND_MEMBERS)

ID TestFunction(LPBHVRCOM, LPVOID, LPVOID) { return ER_WARNING; }
FAMOFLAS_REGISTER(TestFunction, &DSEVERYKIND_template, "TESTOBJ")
FAMOFLAS_DEFINE_CATALOG(testProgramCatalog)

TEST(DataStructureDescription, TemplateMatchesPackedStructAndIsCatalogued) {
  struct Expected {
    const char *name;
    int kind;
    uint32_t width, offset, size;
  } const expected[] = {
      {"szText", VYR_DSK_STRING, 10, offsetof(DSEVERYKIND, szText), 22},
      {"cFlag", VYR_DSK_CHAR, 1, offsetof(DSEVERYKIND, cFlag), 2},
      {"mnAmount", VYR_DSK_MATH, 1, offsetof(DSEVERYKIND, mnAmount), 49},
      {"jdDate", VYR_DSK_DATE, 1, offsetof(DSEVERYKIND, jdDate), 6},
      {"utStamp", VYR_DSK_UTIME, 1, offsetof(DSEVERYKIND, utStamp), 12},
      {"nCount", VYR_DSK_INT, 1, offsetof(DSEVERYKIND, nCount), 4},
      {"idHandle", VYR_DSK_ID, 1, offsetof(DSEVERYKIND, idHandle), 4},
      {"nSmall", VYR_DSK_SHORT, 1, offsetof(DSEVERYKIND, nSmall), 2},
      {"lpAny", VYR_DSK_POINTER, 1, offsetof(DSEVERYKIND, lpAny), sizeof(void *)},
      {"abRaw", VYR_DSK_BYTES, 4, offsetof(DSEVERYKIND, abRaw), 4},
  };
  ASSERT_EQ(DSEVERYKIND_template.nMembers, std::size(expected));
  uint32_t next = 0;  // members are packed back to back
  for (size_t i = 0; i < std::size(expected); ++i) {
    const DSTMPL_MEMBER &m = DSEVERYKIND_template.lpMembers[i];
    const Expected &e = expected[i];
    EXPECT_TRUE(std::string_view(m.szName) == e.name && m.nKind == e.kind && m.nWidth == e.width &&
                m.nOffset == e.offset && m.nOffset == next && m.nSize == e.size)
        << e.name;
    next = m.nOffset + m.nSize;
  }
  EXPECT_EQ(DSEVERYKIND_template.nSize, sizeof(DSEVERYKIND));
  EXPECT_EQ(next, sizeof(DSEVERYKIND));

  size_t count = 0;
  const BSFN_CATALOG_ENTRY *entries = testProgramCatalog(&count);
  ASSERT_EQ(count, 1u);
  EXPECT_STREQ(entries[0].szFunction, "TestFunction");
  EXPECT_STREQ(entries[0].szSource, "TESTOBJ");
  EXPECT_EQ(entries[0].lpTemplate, &DSEVERYKIND_template);
  EXPECT_EQ(entries[0].lpfnEntry(nullptr, nullptr, nullptr), ER_WARNING);
}

}  // namespace
