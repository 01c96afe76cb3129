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
  std::u16string seen = vyrStrtok(text, u" ,;");
  // Another thread tokenising meanwhile must not move this thread's position.
  std::thread([] {
    JCHAR mine[] = u"x y";
    vyrStrtok(mine, u" ");
    vyrStrtok(nullptr, u" ");
  }).join();
  for (const JCHAR *token; (token = vyrStrtok(nullptr, u" ,;")) != nullptr;) seen += u"|" + std::u16string(token);
  EXPECT_EQ(seen, u"a|b|c");
  EXPECT_EQ(vyrStrtok(nullptr, u" ,;"), nullptr);
}

// As in C, only ASCII blanks are skipped and the first other character ends the number.
TEST(Numbers, ParseAndWriteLikeTheCLibrary) {
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
  EXPECT_TRUE(vyrAtoi(u"2147483648") == INT_MAX && vyrAtoi(u"-2147483649") == INT_MIN && vyrAtoi(u" -12x") == -12 &&
              vyrAtoi(nullptr) == 0 && vyrAtol(u"9000000000") == 9000000000L);
  EXPECT_DOUBLE_EQ(vyrAtof(u" -3.5e2z"), -350.0);

  JCHAR out[66];
  std::u16string written;
  for (const auto &[value, radix] : {std::pair{-255, 10}, {255, 16}, {-1, 16}, {INT_MIN, 10}, {5, 1}})
    written += vyrItoa(value, out, radix) + std::u16string(u"|");
  EXPECT_EQ(written, u"-255|ff|ffffffff|-2147483648||");
  EXPECT_EQ(std::u16string(vyrUltoa(ULONG_MAX, out, 8)), u"1777777777777777777777");
  EXPECT_EQ(vyrItoa(1, nullptr, 10), nullptr);
}

TEST(Strings, CompareSearchAndWriteTreatingNullAsEmpty) {
  EXPECT_TRUE(vyrStrcmp(nullptr, u"") == 0 && vyrStrcmp(nullptr, u"a") < 0);
  EXPECT_GT(vyrStrcmp(u"\uFFFF", u"a"), 0);  // code units compare unsigned
  EXPECT_TRUE(vyrStrncmp(u"abcX", u"abcY", 3) == 0 && vyrStrncmp(u"ab", u"abc", 11) < 0);
  EXPECT_TRUE(vyrStricmp(u"\u00c4bc", u"\u00e4BC") == 0 && vyrStricmp(u"abc", u"ABD") < 0);
  const JCHAR *text = u"a-b-c";
  EXPECT_TRUE(vyrStrchr(text, u'-') == text + 1 && vyrStrrchr(text, u'-') == text + 3 &&
              vyrStrchr(text, 0) == text + 5);
  EXPECT_TRUE(vyrStrstr(text, u"b-c") == text + 2 && vyrStrstr(text, u"c-") == nullptr &&
              vyrStrstr(text, nullptr) == text);
  EXPECT_TRUE(vyrStrspn(u"aab-", u"ab") == 3u && vyrStrpbrk(text, u"cb") == text + 2);

  JCHAR out[8];
  std::fill(std::begin(out), std::end(out), u'#');
  vyrStrcpy(out, u"ab");
  vyrStrncat(out, u"cdef", 2);
  EXPECT_EQ(std::u16string_view(out, 6), std::u16string_view(u"abcd\0#", 6));
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
