// One description yields the packed struct and its template: they must agree.
#include <gtest/gtest.h>

#include "every_kind.h"
#include "frame/catalog.h"
#include "types/dsdesc.h"

namespace {

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
