// Bounded copies, blank handling and EBCDIC order of the base library.
#include <gtest/gtest.h>

#include <string>

#include "vyrl.h"
#include "vyrunicode.h"

namespace {

// Each case copies into an 8-position buffer pre-filled with '#'; the
// expected text shows all 8 positions afterwards.
TEST(BoundedCopy, CutsAtSizeAndTerminates) {
  enum Copy { Strncpy, FillZero, FillBlank };
  struct Case {
    Copy copy;
    const JCHAR *source;
    size_t size;
    std::u16string_view expected;
  } const cases[] = {
      {Strncpy, u"abcdef", 0, u"########"},
      {Strncpy, u"abcdef", 1, std::u16string_view(u"\0#######", 8)},
      {Strncpy, u"abcdef", 4, std::u16string_view(u"abc\0####", 8)},
      {Strncpy, u"ab", 6, std::u16string_view(u"ab\0\0\0\0##", 8)},
      {Strncpy, nullptr, 3, std::u16string_view(u"\0\0\0#####", 8)},
      {FillZero, u"abcdef", 0, u"########"},
      {FillZero, u"abcdef", 1, std::u16string_view(u"\0#######", 8)},
      {FillZero, u"abcdefghij", 8, std::u16string_view(u"abcdefg\0", 8)},
      {FillZero, u"ab", 6, std::u16string_view(u"ab\0\0\0\0##", 8)},
      {FillBlank, u"ab", 6, std::u16string_view(u"ab   \0##", 8)},
      {FillBlank, u"abcdef", 4, std::u16string_view(u"abc\0####", 8)},
      {FillBlank, nullptr, 4, std::u16string_view(u"   \0####", 8)},
  };
  for (const Case &c : cases) {
    JCHAR out[8];
    std::fill(std::begin(out), std::end(out), u'#');
    if (c.copy == Strncpy)
      vyrStrncpy(out, c.source, c.size);
    else
      vyrStrcpyFillAndTerminate(out, c.source, c.size, c.copy == FillBlank ? u' ' : 0);
    EXPECT_EQ(std::u16string_view(out, 8), c.expected) << "case " << (&c - cases);
  }
  EXPECT_EQ(vyrStrcpyFillAndTerminate(nullptr, u"a", 4, 0), nullptr);
}

TEST(Blanks, BlankIsEmptyOrOnlySpacesAndStripRemovesOnlyTheOuterSpaces) {
  for (const JCHAR *blank : {(const JCHAR *)nullptr, u"", u"   "})
    EXPECT_TRUE(vyrIsBlankOrNull(blank) && vyrZIsBlankOrNull(blank));
  for (const JCHAR *text : {u"   x", u"x   ", u"\t"}) EXPECT_FALSE(vyrIsBlankOrNull(text) || vyrZIsBlankOrNull(text));
  struct Case {
    std::u16string_view text, trailing, both;
  } const cases[] = {{u"  ab c  ", u"  ab c", u"ab c"}, {u"   ", u"", u""}, {u"", u"", u""}, {u"x", u"x", u"x"}};
  for (const Case &c : cases) {
    std::u16string a(c.text), b(c.text);
    EXPECT_EQ(std::u16string_view(vyrStripTrailingBlanks(a.data())), c.trailing);
    EXPECT_EQ(std::u16string_view(vyrStripBlanks(b.data())), c.both);
  }
  EXPECT_EQ(vyrStripBlanks(nullptr), nullptr);
}

TEST(Compare, EbcdicOrderDiffersFromCodeUnitOrder) {
  struct Case {
    const JCHAR *left, *right;
    int sign;
  } const cases[] = {
      {u"a", u"A", -1},      {u"A", u"0", -1},          {u" ", u".", -1},          {u"ab", u"abc", -1},
      {u"Z", u"\u0100", -1}, {u"\u0101", u"\u0100", 1}, {u"\u00e9", u"\u00e9", 0}, {nullptr, u"", 0},
  };
  auto sign = [](int v) { return (v > 0) - (v < 0); };
  for (const Case &c : cases) {
    EXPECT_EQ(sign(vyrstrcmpEBCDIC(c.left, c.right)), c.sign) << "case " << (&c - cases);
    EXPECT_EQ(sign(vyrstrcmpEBCDIC(c.right, c.left)), -c.sign);
  }
  EXPECT_TRUE(vyrstrcmpwithnull(nullptr, nullptr) == 0 && vyrstrcmpwithnull(nullptr, u"a") < 0);
  EXPECT_EQ(vyrstrncmp(u"ENV1      X", u"ENV1      Y", 10), 0);
}

}  // namespace
