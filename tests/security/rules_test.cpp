// The five password rules and the two character classes, called directly.
#include <gtest/gtest.h>

#include "security_fixture.h"

namespace {

using sectest::math;
using RuleFn = int (*)(const JCHAR *, MATH_NUMERIC);

struct RuleCase {
  const char *rule;
  RuleFn check;
  const char16_t *password;
  const char16_t *limit;
  int expected;
};

const RuleFn kLength = I9500929_CheckMinimumPasswordLength;
const RuleFn kDigits = I9500929_CheckNumberOfNumerics;
const RuleFn kLetters = I9500929_CheckMinimumCharacters;
const RuleFn kConsecutive = I9500929_CheckMaximumConsecutiveCharacters;
const RuleFn kSpecial = I9500929_CheckMinimumSpecialCharacters;

const RuleCase kRuleCases[] = {
    // Below, at and above each limit.
    {"length", kLength, u"abc", u"4", 0},
    {"length", kLength, u"abcd", u"4", 1},
    {"length", kLength, u"abcde", u"4", 1},
    {"length", kLength, u"", u"1", 0},
    {"length", kLength, u"", u"0", 1},
    {"length", kLength, u"abc", u"3.5", 1},  // length + 1 > limit, compared as decimals
    {"length", kLength, u"ab", u"3.5", 0},
    {"length", kLength, u"\u00e9\u00e9\u00e9\u00e9", u"4", 1},  // characters, not bytes
    {"digits", kDigits, u"a1b", u"2", 0},
    {"digits", kDigits, u"a1b2", u"2", 1},
    {"digits", kDigits, u"1a2b3", u"2", 1},
    {"digits", kDigits, u"\uff11\uff12", u"1", 0},  // full-width digits are not 0-9
    {"digits", kDigits, u"", u"0", 1},               // the terminator's position is walked too
    {"letters", kLetters, u"1a2", u"2", 0},
    {"letters", kLetters, u"ab1", u"2", 1},
    {"letters", kLetters, u"abc", u"2", 1},
    {"letters", kLetters, u"\u00e9\u0416", u"1", 0},  // non-ASCII letters are not letters here
    {"letters", kLetters, u"", u"0", 0},              // nothing walked, nothing reached
    {"special", kSpecial, u"a!b", u"2", 0},
    {"special", kSpecial, u"a!b?", u"2", 1},
    {"special", kSpecial, u" !?", u"2", 1},
    {"special", kSpecial, u"\u00e9\u20ac", u"2", 1},  // non-ASCII letters count as special
    {"special", kSpecial, u"Zz09", u"1", 0},
    {"consecutive", kConsecutive, u"aabb", u"1", 0},  // two equal pairs, one counter
    {"consecutive", kConsecutive, u"abab", u"1", 1},
    {"consecutive", kConsecutive, u"aab", u"1", 1},
    {"consecutive", kConsecutive, u"aaa", u"1", 0},
    {"consecutive", kConsecutive, u"aabb", u"2", 1},
    {"consecutive", kConsecutive, u"aabbcc", u"2", 0},
    {"consecutive", kConsecutive, u"aA", u"0", 1},  // case matters
    {"consecutive", kConsecutive, u"\u00e9\u00e9", u"0", 0},
    {"consecutive", kConsecutive, u"", u"0", 1},
};

TEST(PasswordRules, EachRuleBelowAtAndAboveItsLimit) {
  for (size_t i = 0; i < std::size(kRuleCases); ++i) {
    const RuleCase &c = kRuleCases[i];
    EXPECT_EQ(c.check(c.password, math(c.limit)), c.expected) << c.rule << " case " << i;
  }
}

TEST(PasswordRules, NullPasswordReadsAsEmpty) {
  EXPECT_EQ(kLength(nullptr, math(u"1")), 0);
  EXPECT_EQ(kLength(nullptr, math(u"0")), 1);
  EXPECT_EQ(kDigits(nullptr, math(u"1")), 0);
  EXPECT_EQ(kLetters(nullptr, math(u"1")), 0);
  EXPECT_EQ(kSpecial(nullptr, math(u"1")), 0);
  EXPECT_EQ(kConsecutive(nullptr, math(u"0")), 1);
}

TEST(PasswordRules, CharacterClassesAtTheirBoundaries) {
  struct {
    JCHAR c;
    int letter, digit;
  } const cases[] = {{47, 0, 0},   {48, 0, 1},     {57, 0, 1},     {58, 0, 0},     {64, 0, 0},
                     {65, 1, 0},   {90, 1, 0},     {91, 0, 0},     {96, 0, 0},     {97, 1, 0},
                     {122, 1, 0},  {123, 0, 0},    {0, 0, 0},      {0x00e9, 0, 0}, {0x0416, 0, 0},
                     {0xff11, 0, 0}, {0xd83d, 0, 0}, {0xff21, 0, 0}};
  for (const auto &c : cases) {
    EXPECT_EQ(I9500929_isCharacter(c.c), c.letter) << "unit " << int(c.c);
    EXPECT_EQ(I9500929_isNumber(c.c), c.digit) << "unit " << int(c.c);
  }
}

}  // namespace
