// UTF-8 <-> JCHAR conversion and UTF-8 text files under JCHAR paths.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <unistd.h>

#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace {

TEST(Conversion, RoundTripsNeverSplitsACharacterAndReplacesIllFormedInput) {
  const std::u16string_view text = u"Gr\u00fc\u00dfe \u20ac\U0001D11E";
  const std::string_view utf8 =
      "Gr\xC3\xBC\xC3\x9F"
      "e \xE2\x82\xAC\xF0\x9D\x84\x9E";
  char bytes[64];
  JCHAR back[64];
  EXPECT_EQ(vyrFromUnicode(bytes, text.data(), sizeof bytes), utf8.size());
  EXPECT_EQ(vyrToUnicode(back, bytes, 64), text.size());
  EXPECT_EQ(std::string_view(bytes), utf8);
  EXPECT_EQ(std::u16string_view(back), text);
  struct Case {
    const char *utf8;
    size_t size;
    std::u16string_view expected;
  } const toUnicode[] = {
      {"a\xF0\x9D\x84\x9E", 3, u"a"},  // the pair needs two positions plus terminator
      {"a\xF0\x9D\x84\x9E", 4, u"a\U0001D11E"},
      {"\xC3(", 8, u"\uFFFD("},                    // truncated sequence
      {"\xED\xA0\x80", 8, u"\uFFFD\uFFFD\uFFFD"},  // encoded surrogate
      {"\xC0\xAF", 8, u"\uFFFD\uFFFD"},            // overlong
      {nullptr, 8, u""},
  };
  for (const Case &c : toUnicode) {
    JCHAR out[8];
    EXPECT_EQ(vyrToUnicode(out, c.utf8, c.size), c.expected.size());
    EXPECT_EQ(std::u16string_view(out), c.expected);
  }
  EXPECT_EQ(vyrFromUnicode(bytes, u"x\u00e9", 3), 1u);
  EXPECT_EQ(std::string_view(bytes), "x");
  EXPECT_EQ(vyrFromUnicode(bytes, u"\xD800z", 8), 4u);  // lone surrogate
  EXPECT_EQ(std::string_view(bytes), "\xEF\xBF\xBDz");
  EXPECT_EQ(vyrToUnicode(nullptr, "a", 4), 0u);
}

// The platform's own text: ill-formed input repaired, or refused when strict.
TEST(Conversion, PlatformTextIsRepairedOrRefused) {
  const std::pair<std::string_view, std::u16string_view> cases[] = {
      {"a\xC3\xA9\xF0\x9D\x84\x9E", u"a\u00e9\U0001D11E"},
      {std::string_view("a\0b", 3), std::u16string_view(u"a\0b", 3)},
      {"a\xFF"
       "b",
       u"a\uFFFDb"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},            // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},  // encoded surrogate
      {"ab\xE2\x82", u"ab\uFFFD"},              // cut short
  };
  for (const auto &[utf8, text] : cases) {
    std::u16string strict;
    EXPECT_EQ(vyr::fromUtf8(utf8), text);
    EXPECT_EQ(vyr::decodeUtf8(utf8, &strict), text.find(u'\uFFFD') == text.npos) << utf8;
  }
  EXPECT_EQ(vyr::toUtf8(u"a\xD800"
                        u"b\U0001D11E"),
            "a\xEF\xBF\xBD"
            "b\xF0\x9D\x84\x9E");
}

TEST(Files, FprintfWritesUtf8ThatFgetsReadsBack) {
  const std::string name = testing::TempDir() + "vyr_\xC3\xA9t\xC3\xA9_" + std::to_string(getpid()) + ".txt";
  JCHAR path[512];
  vyrToUnicode(path, name.c_str(), 512);
  FILE *file = vyrFopen(path, u"w, ccs=UTF-8");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(vyrFprintf(file, u"%ls %d\n", u"Gr\u00fc\u00dfe \U0001D11E", 7) + vyrFprintf(file, u"a\U0001D11E"), 14);
  EXPECT_EQ(vyrFclose(file), 0);
  struct stat info;
  ASSERT_EQ(vyrStat(path, &info), 0);
  EXPECT_EQ(info.st_size, 20);

  file = vyrFopen(path, u"r");
  ASSERT_NE(file, nullptr);
  // Two positions hold one character and the terminator: the pair waits for the next call.
  std::u16string lines;
  JCHAR line[64];
  for (const int size : {64, 3, 3}) lines += vyrFgets(line, size, file) ? line + std::u16string(u"|") : u"null|";
  EXPECT_EQ(lines, u"Gr\u00fc\u00dfe \U0001D11E 7\n|a|\U0001D11E|");
  EXPECT_EQ(vyrFgets(line, 64, file), nullptr);
  vyrFclose(file);
  std::remove(name.c_str());
  EXPECT_TRUE(vyrFopen(nullptr, u"r") == nullptr && vyrFgets(line, 64, nullptr) == nullptr);
  EXPECT_TRUE(vyrFprintf(nullptr, u"x") == -1 && vyrFclose(nullptr) == EOF);
}

}  // namespace
