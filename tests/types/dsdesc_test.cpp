// One description yields the packed struct and its template: they must agree.
#include <cstring>

#include <gtest/gtest.h>

#include "frame/catalog.h"
#include "types/dsdesc.h"

namespace {

#define DSTESTLAYOUT_MEMBERS(M, S) \
  M(S, STRING, szName, 12)         \
  M(S, MATH, mnAmount, 0)          \
  M(S, CHAR, cFlag, 0)             \
  M(S, DATE, jdDate, 0)            \
  M(S, UTIME, utStamp, 0)          \
  M(S, INT, nCount, 0)             \
  M(S, ID, idHandle, 0)            \
  M(S, SHORT, nSmall, 0)           \
  M(S, POINTER, lpAny, 0)          \
  M(S, BYTES, abRaw, 7)
FAMOFLAS_DS(DSTESTLAYOUT, DSTESTLAYOUT_MEMBERS)

ID TestFunction(LPBHVRCOM, LPVOID, LPVOID) { return ER_WARNING; }
FAMOFLAS_REGISTER(TestFunction, &DSTESTLAYOUT_template, "TESTOBJ")
FAMOFLAS_DEFINE_CATALOG(testProgramCatalog)

TEST(DataStructureDescription, TemplateMatchesPackedStruct) {
  struct Expected {
    const char *name;
    int kind;
    uint32_t width, offset, size;
  } const expected[] = {
      {"szName", VYR_DSK_STRING, 12, offsetof(DSTESTLAYOUT, szName), 26},
      {"mnAmount", VYR_DSK_MATH, 1, offsetof(DSTESTLAYOUT, mnAmount), 49},
      {"cFlag", VYR_DSK_CHAR, 1, offsetof(DSTESTLAYOUT, cFlag), 2},
      {"jdDate", VYR_DSK_DATE, 1, offsetof(DSTESTLAYOUT, jdDate), 6},
      {"utStamp", VYR_DSK_UTIME, 1, offsetof(DSTESTLAYOUT, utStamp), 12},
      {"nCount", VYR_DSK_INT, 1, offsetof(DSTESTLAYOUT, nCount), 4},
      {"idHandle", VYR_DSK_ID, 1, offsetof(DSTESTLAYOUT, idHandle), 4},
      {"nSmall", VYR_DSK_SHORT, 1, offsetof(DSTESTLAYOUT, nSmall), 2},
      {"lpAny", VYR_DSK_POINTER, 1, offsetof(DSTESTLAYOUT, lpAny), sizeof(void *)},
      {"abRaw", VYR_DSK_BYTES, 7, offsetof(DSTESTLAYOUT, abRaw), 7},
  };
  ASSERT_EQ(DSTESTLAYOUT_template.nMembers, std::size(expected));
  uint32_t next = 0;
  for (size_t i = 0; i < std::size(expected); ++i) {
    const DSTMPL_MEMBER &m = DSTESTLAYOUT_template.lpMembers[i];
    SCOPED_TRACE(expected[i].name);
    EXPECT_STREQ(m.szName, expected[i].name);
    EXPECT_EQ(m.nKind, expected[i].kind);
    EXPECT_EQ(m.nWidth, expected[i].width);
    EXPECT_EQ(m.nOffset, expected[i].offset);
    EXPECT_EQ(m.nOffset, next) << "members are packed back to back";
    EXPECT_EQ(m.nSize, expected[i].size);
    next = m.nOffset + m.nSize;
  }
  EXPECT_EQ(DSTESTLAYOUT_template.nSize, sizeof(DSTESTLAYOUT));
  EXPECT_EQ(next, sizeof(DSTESTLAYOUT));
}

TEST(DataStructureDescription, RegisteredFunctionIsInTheCatalogue) {
  size_t count = 0;
  const BSFN_CATALOG_ENTRY *entries = testProgramCatalog(&count);
  ASSERT_EQ(count, 1u);
  EXPECT_STREQ(entries[0].szFunction, "TestFunction");
  EXPECT_STREQ(entries[0].szSource, "TESTOBJ");
  EXPECT_EQ(entries[0].lpTemplate, &DSTESTLAYOUT_template);
  EXPECT_EQ(entries[0].lpfnEntry(nullptr, nullptr, nullptr), ER_WARNING);
}

}  // namespace
