// vyrSprintf and friends: every conversion the business functions use, the
// bounded core, scanf over timestamps and strftime.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>

#include "vyrunicode.h"

namespace {

struct Row {
  std::u16string_view expected;
  std::function<int(JCHAR *, size_t)> format;
};

#define ROW(expected, ...)                                                                \
  Row {                                                                                   \
    expected, [](JCHAR *out, size_t size) { return vyrSnprintf(out, size, __VA_ARGS__); } \
  }

const JCHAR kUnterminated[3] = {u'x', u'y', u'z'};

const Row kRows[] = {
    ROW(u"ab|   ab|ab   |ab", u"%ls|%5ls|%-5ls|%.2ls", u"ab", u"ab", u"ab", u"abcdef"),
    ROW(u"xyz", u"%.3ls", kUnterminated),
    ROW(u"[(null)]", u"[%ls]", static_cast<const JCHAR *>(nullptr)),
    ROW(u"Z\u00e9 |  Q", u"%lc%-2lc|%3lc", u'Z', u'\u00e9', u'Q'),
    ROW(u"x|h\u00e9|h|h\u00e9", u"%c|%s|%.2s|%.3s", 'x', "h\xC3\xA9", "h\xC3\xA9llo", "h\xC3\xA9llo"),
    ROW(u"\U0001D11E!", u"%ls!", u"\U0001D11E"),
    ROW(u"  7|0042|05|42   |+5| 5|-042", u"%3d|%04d|%02d|%-5d|%+d|% d|%04d", 7, 42, 5, 42, 5, 5, -42),
    ROW(u"9000000000|-9223372036854775808|9000000000", u"%ld|%lld|%I64d", 9000000000L, LLONG_MIN, 9000000000LL),
    ROW(u"4464|4294967295|ff|0XFF|0x00ff|005", u"%hd|%u|%x|%#X|%#06x|%.3d", 70000, 4294967295u, 255, 255, 255, 5),
    ROW(u"    3|3    |12", u"%*d|%-*d|%i", 5, 3, -5, 3, 12),
    ROW(u"0.333333333333|    3.14|-000001.50", u"%.12f|%8.2f|%010.2f", 1.0 / 3, 3.14159, -1.5),
    ROW(u"1.234568e+04|0.0001|1e+20", u"%e|%g|%g", 12345.678, 0.0001, 1e20),
    ROW(u"100%|(nil)", u"100%%|%p", static_cast<void *>(nullptr)),
    ROW(u"%y|%-5k|end%", u"%y|%-5k|end%"),
};

TEST(Sprintf, ConversionsMatchTheTable) {
  for (const Row &row : kRows) {
    JCHAR out[128];
    const int n = row.format(out, 128);
    EXPECT_EQ(std::u16string_view(out), row.expected);
    EXPECT_EQ(n, int(row.expected.size()));
  }
}

// Every row cut at every size: never past the size, always terminated, the
// full length returned.
TEST(Sprintf, BoundedCoreTruncatesAtEverySize) {
  for (const Row &row : kRows) {
    for (size_t size = 0; size <= row.expected.size() + 1; ++size) {
      JCHAR out[130];
      std::fill(std::begin(out), std::end(out), u'#');
      EXPECT_EQ(row.format(out, size), int(row.expected.size()));
      // What fits, the terminator, and nothing written past the size.
      const size_t kept = size == 0 ? 0 : std::min(size - 1, row.expected.size());
      const std::u16string expected = size == 0 ? u"#" : std::u16string(row.expected.substr(0, kept)) + u'\0' + u'#';
      EXPECT_EQ(std::u16string_view(out, expected.size()), expected) << "size " << size;
    }
    EXPECT_EQ(row.format(nullptr, 50), int(row.expected.size()));
  }
  // Widths that cannot be counted in an int fail at once instead of padding for ever.
  JCHAR out[8];
  EXPECT_EQ(vyrSnprintf(out, 8, u"ab%99999999999999d", 1), -1);
  EXPECT_EQ(vyrSnprintf(out, 8, u"%2147483647d|", 1), -1);
  EXPECT_EQ(vyrSnprintf(out, 8, u"%2147483646d|", 1), INT_MAX);
  EXPECT_EQ(std::u16string_view(out), u"       ");
  EXPECT_EQ(vyrSnprintf(out, 8, u"%.100000d", 1), -1);
}

TEST(Sprintf, ChainsOutputByReturnedCount) {
  JCHAR buffer[64];
  JCHAR *p = buffer;
  p += vyrSprintf(p, u"<%ls id=\"%d\">", u"ITEM", 12);
  p += vyrSprintf(p, u"%ls", u"caf\u00e9");
  p += vyrSprintf(p, u"</%ls>", u"ITEM");
  EXPECT_EQ(std::u16string_view(buffer, p - buffer), u"<ITEM id=\"12\">caf\u00e9</ITEM>");
  EXPECT_EQ(vyrSprintf(nullptr, u"%d", 5) + vyrSprintf(buffer, nullptr), 0);
  EXPECT_EQ(buffer[0], 0);
}

TEST(Sscanf, ReadsTimestampFieldsAndRefusesTextTargets) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  EXPECT_EQ(vyrSscanf(u"20240131235958Z", u"%4d%2d%2d%2d%2d%2dZ", &year, &month, &day, &hour, &minute, &second), 6);
  EXPECT_EQ(std::to_string(year * 10000 + month * 100 + day) + std::to_string(hour * 10000 + minute * 100 + second),
            "20240131235958");
  double value = 0;
  long count = 0;
  EXPECT_EQ(vyrSscanf(u"  2.5 items:7", u"%lf items:%ld", &value, &count), 2);
  EXPECT_TRUE(value == 2.5 && count == 7);
  JCHAR text[8];
  EXPECT_EQ(vyrSscanf(u"abc", u"%ls", text), -1);
  EXPECT_EQ(vyrSscanf(nullptr, u"%d", &year), -1);
}

TEST(Strftime, FormatsAndRefusesTooSmallBuffers) {
  struct tm when = {};
  when.tm_year = 124;
  when.tm_mday = 31;
  when.tm_hour = 9;
  JCHAR out[32];
  EXPECT_EQ(vyrStrftime(out, 32, u"%Y-%m-%d %H\u00b7", &when), 14u);
  EXPECT_EQ(std::u16string_view(out), u"2024-01-31 09\u00b7");
  EXPECT_EQ(vyrStrftime(out, 10, u"%Y-%m-%d", &when) + vyrStrftime(out, 32, u"%Y", nullptr), 0u);
}

}  // namespace
