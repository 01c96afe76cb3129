// JCHAR string, number and character functions, and their null safety.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <thread>

#include "vyrunicode.h"

namespace {

TEST(Strtok, SplitsOnAnyDelimiterAndKeepsPositionPerThread) {
  JCHAR text[] = u"  a,b;;c  ";
  EXPECT_EQ(std::u16string_view(vyrStrtok(text, u" ,;")), u"a");
  // Another thread tokenising meanwhile must not move this thread's position.
  std::thread other([] {
    JCHAR mine[] = u"x y";
    vyrStrtok(mine, u" ");
    vyrStrtok(nullptr, u" ");
  });
  other.join();
  EXPECT_EQ(std::u16string_view(vyrStrtok(nullptr, u" ,;")), u"b");
  EXPECT_EQ(std::u16string_view(vyrStrtok(nullptr, u" ,;")), u"c");
  EXPECT_EQ(vyrStrtok(nullptr, u" ,;"), nullptr);
  EXPECT_EQ(vyrStrtok(nullptr, u" ,;"), nullptr);
}

// As in C, only ASCII blanks are skipped and the first other character ends the number.
TEST(Numbers, ParseLikeTheCLibrary) {
  struct Case {
    const JCHAR *text;
    int base;
    long value;
    ptrdiff_t end;
  } const cases[] = {
      {u"  42abc", 10, 42, 4},  {u"-0x1F", 16, -31, 5}, {u"0x1F", 0, 31, 4},    {u"abc", 10, 0, 0},
      {u"12\u00e9", 10, 12, 2}, {u"+7", 10, 7, 2},      {u"\u00a05", 10, 0, 0}, {u"777", 8, 511, 3},
  };
  for (const Case &c : cases) {
    JCHAR *end = nullptr;
    EXPECT_EQ(vyrStrtol(c.text, &end, c.base), c.value);
    EXPECT_EQ(end - c.text, c.end);
  }
  errno = 0;
  EXPECT_EQ(vyrStrtol(u"99999999999999999999", nullptr, 10), LONG_MAX);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(vyrStrtoul(u"18446744073709551615", nullptr, 10), ULONG_MAX);
  JCHAR *end = reinterpret_cast<JCHAR *>(1);
  EXPECT_EQ(vyrStrtol(nullptr, &end, 10), 0);
  EXPECT_EQ(end, nullptr);

  EXPECT_EQ(vyrAtoi(u"2147483648"), INT_MAX);
  EXPECT_EQ(vyrAtoi(u"-2147483649"), INT_MIN);
  EXPECT_EQ(vyrAtoi(u" -12x"), -12);
  EXPECT_EQ(vyrAtoi(nullptr), 0);
  EXPECT_EQ(vyrAtol(u"9000000000"), 9000000000L);
  EXPECT_DOUBLE_EQ(vyrAtof(u" -3.5e2z"), -350.0);
}

TEST(Numbers, ItoaWritesEveryRadix) {
  struct Case {
    long long value;
    bool isUnsigned;
    int radix;
    std::u16string_view expected;
  } const cases[] = {
      {-255, false, 10, u"-255"},   {255, false, 16, u"ff"},
      {-1, false, 16, u"ffffffff"}, {INT_MIN, false, 10, u"-2147483648"},
      {5, false, 1, u""},           {(long long)ULONG_MAX, true, 8, u"1777777777777777777777"},
  };
  for (const Case &c : cases) {
    JCHAR out[66];
    if (c.isUnsigned)
      vyrUltoa((unsigned long)c.value, out, c.radix);
    else
      vyrItoa(int(c.value), out, c.radix);
    EXPECT_EQ(std::u16string_view(out), c.expected) << c.value << " radix " << c.radix;
  }
  EXPECT_EQ(vyrItoa(1, nullptr, 10), nullptr);
}

TEST(Strings, CompareAndSearchTreatNullAsEmpty) {
  EXPECT_EQ(vyrStrcmp(nullptr, u""), 0);
  EXPECT_LT(vyrStrcmp(nullptr, u"a"), 0);
  EXPECT_GT(vyrStrcmp(u"\uFFFF", u"a"), 0);  // code units compare unsigned
  EXPECT_EQ(vyrStrncmp(u"abcX", u"abcY", 3), 0);
  EXPECT_LT(vyrStrncmp(u"ab", u"abc", 11), 0);
  EXPECT_EQ(vyrStricmp(u"\u00c4bc", u"\u00e4BC"), 0);
  EXPECT_LT(vyrStricmp(u"abc", u"ABD"), 0);

  const JCHAR *text = u"a-b-c";
  EXPECT_EQ(vyrStrchr(text, u'-'), text + 1);
  EXPECT_EQ(vyrStrrchr(text, u'-'), text + 3);
  EXPECT_EQ(vyrStrchr(text, 0), text + 5);
  EXPECT_EQ(vyrStrstr(text, u"b-c"), text + 2);
  EXPECT_EQ(vyrStrstr(text, u"c-"), nullptr);
  EXPECT_EQ(vyrStrstr(text, nullptr), text);
  EXPECT_EQ(vyrStrspn(u"aab-", u"ab"), 3u);
  EXPECT_EQ(vyrStrpbrk(text, u"cb"), text + 2);
}

TEST(Strings, WritersStayInsideTheirBounds) {
  JCHAR out[8];
  std::fill(std::begin(out), std::end(out), u'#');
  vyrStrcpy(out, u"ab");
  vyrStrncat(out, u"cdef", 2);
  EXPECT_EQ(std::u16string_view(out), u"abcd");
  EXPECT_EQ(out[5], u'#');
  vyrStrcat(out, nullptr);
  vyrStrcpy(out, nullptr);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(vyrStrcpy(nullptr, u"x"), nullptr);
  vyrMemset(out, u'z', 3);
  EXPECT_EQ(std::u16string_view(out), u"zzzd");
}

TEST(Characters, FollowUnicode) {
  EXPECT_TRUE(vyrIsalpha(u'\u00e9') && vyrIsalnum(u'\u0416') && vyrIsspace(u'\u3000'));
  EXPECT_FALSE(vyrIsalpha(u'1') || vyrIsspace(u'_') || vyrIsdigit(u'x'));
  EXPECT_EQ(vyrToupper(u'\u00e9'), u'\u00c9');
  // A character whose capital is two characters stays as it is.
  JCHAR text[] = u"ab\u00e9\u00df1";
  EXPECT_EQ(std::u16string_view(vyrStrupr(text)), u"AB\u00c9\u00df1");
  EXPECT_EQ(vyrToJCHAR('\xE9'), u'\u00e9');
}

}  // namespace
