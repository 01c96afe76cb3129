// Named caches: key order under several indexes, cursors, shared names,
// handle validity and concurrent use.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "runtime/context.h"
#include "vyrcache.h"

namespace {

#pragma pack(push, 1)
struct Row {
  JCHAR szName[6];
  int32_t nSeq;
  MATH_NUMERIC mnAmount;
};
#pragma pack(pop)

// Digits as written, leading zeros and a negative zero included: keys compare by value.
MATH_NUMERIC number(const std::string &text) {
  MATH_NUMERIC mn{};
  if (text[0] == '-') mn.Sign = '-';
  for (size_t i = mn.Sign ? 1 : 0; i < text.size(); ++i) {
    if (text[i] == '.')
      mn.nDecimalPosition = static_cast<short>(text.size() - i - 1);
    else
      mn.String[mn.nLength++] = text[i];
  }
  mn.nPrecision = MAXLEN_MATH_NUMERIC;
  return mn;
}

Row row(const std::u16string &name, int32_t seq, const std::string &amount) {
  Row r{};
  name.copy(r.szName, 5);
  r.nSeq = seq;
  r.mnAmount = number(amount);
  return r;
}

const VYRCACHE_INDEX kByNameSeq{2, {{0, 12, VYRCACHE_KEY_STRING}, {12, 4, VYRCACHE_KEY_INT}}};
const VYRCACHE_INDEX kByAmount{1, {{16, 49, VYRCACHE_KEY_MATH}}};

HCACHE openTwoIndexes(const char16_t *name) {
  const VYRCACHE_INDEX indexes[2] = {kByNameSeq, kByAmount};
  HCACHE h = nullptr;
  EXPECT_EQ(vyrCacheInitMultipleIndex(nullptr, &h, name, indexes, 2), VYRCACHE_SUCCESS);
  return h;
}

// Seq of every record, in the cursor order of the handle's current index.
std::vector<int> walk(HCACHE h) {
  std::vector<int> seqs;
  HCUR cursor = nullptr;
  EXPECT_EQ(vyrCacheOpenCursorX(h, &cursor, __FILE__, __LINE__), VYRCACHE_SUCCESS);
  Row r{};
  while (seqs.size() <= 10000 && vyrCacheFetchPosition(h, cursor, nullptr, 0, &r, sizeof r) == VYRCACHE_SUCCESS)
    seqs.push_back(r.nSeq);  // bounded: a cursor stuck on one record must fail, not hang
  EXPECT_EQ(vyrCacheCloseCursor(h, cursor), VYRCACHE_SUCCESS);
  return seqs;
}

// Six records added out of order under both keys.
HCACHE filled(const char16_t *name) {
  HCACHE h = openTwoIndexes(name);
  for (const Row &r : {row(u"B", 2, "10"), row(u"A", 1, "-0.5"), row(u"AB", 3, "1.5"), row(u"B", -1, "2.25"),
                       row(u"A", 7, "-3"), row(u"", 5, "0.05")})
    EXPECT_EQ(vyrCacheAdd(h, &r, sizeof r), VYRCACHE_SUCCESS);
  return h;
}

template <class T>
std::vector<unsigned char> bytesOf(const T &value) {
  const auto *p = reinterpret_cast<const unsigned char *>(&value);
  return {p, p + sizeof value};
}

TEST(CacheOrder, EachSegmentTypeComparesByItsValue) {
  const UTIME unset{}, early{-10, 0, 1, 0}, at5{5, 0, 1, 0}, at5Shown{5, 60, 1, 0};
  const char16_t endsEarlyX[] = {u'A', u'B', 0, u'x'}, endsEarlyY[] = {u'A', u'B', 0, u'y'};
  struct Case {
    int type;
    std::vector<unsigned char> low, high;
    bool equal;
  } const cases[] = {
      {VYRCACHE_KEY_BYTES, {0x7f}, {0x80}, false},
      {VYRCACHE_KEY_STRING, bytesOf(u"AB\0\0"), bytesOf(u"ABC\0"), false},
      {VYRCACHE_KEY_STRING, bytesOf(endsEarlyX), bytesOf(endsEarlyY), true},
      {VYRCACHE_KEY_MATH, bytesOf(number("-2")), bytesOf(number("-1")), false},
      {VYRCACHE_KEY_MATH, bytesOf(number("0.05")), bytesOf(number("0.1")), false},
      {VYRCACHE_KEY_MATH, bytesOf(number("-100")), bytesOf(number("0.001")), false},
      {VYRCACHE_KEY_MATH, bytesOf(number("1.5")), bytesOf(number("1.50")), true},
      {VYRCACHE_KEY_MATH, bytesOf(number("-0.0")), bytesOf(number("0")), true},
      {VYRCACHE_KEY_MATH, bytesOf(MATH_NUMERIC{}), bytesOf(number("000")), true},
      {VYRCACHE_KEY_MATH, bytesOf(number("0012")), bytesOf(number("12")), true},
      {VYRCACHE_KEY_INT, bytesOf(int32_t{-5}), bytesOf(int32_t{3}), false},
      {VYRCACHE_KEY_ID, bytesOf(uint32_t{1}), bytesOf(uint32_t{0x80000000u}), false},
      {VYRCACHE_KEY_DATE, bytesOf(VYRDATE{2023, 12, 31}), bytesOf(VYRDATE{2024, 1, 1}), false},
      {VYRCACHE_KEY_UTIME, bytesOf(unset), bytesOf(early), false},
      {VYRCACHE_KEY_UTIME, bytesOf(early), bytesOf(at5Shown), false},
      {VYRCACHE_KEY_UTIME, bytesOf(at5), bytesOf(at5Shown), true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(&c - cases);
    const VYRCACHE_INDEX index{1, {{0, static_cast<uint32_t>(c.low.size()), c.type}}};
    HCACHE h = nullptr;
    ASSERT_EQ(vyrCacheInit(nullptr, &h, u"types", &index), VYRCACHE_SUCCESS);
    EXPECT_EQ(vyrCacheAdd(h, c.high.data(), c.high.size()), VYRCACHE_SUCCESS);
    EXPECT_EQ(vyrCacheAdd(h, c.low.data(), c.low.size()), c.equal ? VYRCACHE_DUPLICATE : VYRCACHE_SUCCESS);
    std::vector<unsigned char> first(c.low.size());
    HCUR cursor = nullptr;
    ASSERT_EQ(vyrCacheOpenCursorX(h, &cursor, __FILE__, __LINE__), VYRCACHE_SUCCESS);
    EXPECT_EQ(vyrCacheFetchPosition(h, cursor, nullptr, 0, first.data(), first.size()), VYRCACHE_SUCCESS);
    EXPECT_EQ(first, c.equal ? c.high : c.low);
    EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
  }
}

TEST(CacheFetch, KeyOrderPartialKeysDuplicatesAndUpdates) {
  HCACHE h = filled(u"fetch");
  EXPECT_EQ(walk(h), (std::vector<int>{5, 1, 7, 3, -1, 2}));
  ASSERT_EQ(vyrCacheSetIndex(h, 2), VYRCACHE_SUCCESS);
  EXPECT_EQ(walk(h), (std::vector<int>{7, 1, 5, 3, -1, 2}));  // by value, not by text
  ASSERT_EQ(vyrCacheSetIndex(h, 1), VYRCACHE_SUCCESS);
  Row out{};
  const Row a7 = row(u"A", 7, "4"), key1 = row(u"A", 0, "0"), a2 = row(u"A", 2, "0");
  auto fetched = [&](const Row &key, int nKeys) {
    return vyrCacheFetch(h, &key, nKeys, &out, sizeof out) == VYRCACHE_SUCCESS ? out.nSeq : 99;
  };
  EXPECT_EQ(fetched(key1, 1), 1);  // first of the "A" group
  EXPECT_EQ(fetched(a7, 2), 7);
  EXPECT_EQ(fetched(a2, 2), 99);

  // A key taken under either index is a duplicate; an update may not take another record's keys.
  const Row sameName = row(u"A", 1, "99"), sameAmount = row(u"C", 9, "10.00"), takesTen = row(u"A", 7, "10"),
            missing = row(u"Z", 0, "1");
  EXPECT_EQ((std::vector<ID>{vyrCacheAdd(h, &sameName, sizeof sameName), vyrCacheAdd(h, &sameAmount, sizeof sameAmount),
                             vyrCacheUpdate(h, &a7, sizeof a7), vyrCacheUpdate(h, &takesTen, sizeof takesTen),
                             vyrCacheUpdate(h, &missing, sizeof missing), vyrCacheSetIndex(h, 2)}),
            (std::vector<ID>{VYRCACHE_DUPLICATE, VYRCACHE_DUPLICATE, VYRCACHE_SUCCESS, VYRCACHE_DUPLICATE,
                             VYRCACHE_NOT_FOUND, VYRCACHE_SUCCESS}));
  EXPECT_EQ(walk(h), (std::vector<int>{1, 5, 3, -1, 7, 2}));
  EXPECT_EQ(fetched(a7, 1), 7);
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
}

TEST(CacheCursor, PositionWalkDeleteAddAndReset) {
  HCACHE h = filled(u"cursor");
  HCUR c = nullptr;
  ASSERT_EQ(vyrCacheOpenCursorX(h, &c, __FILE__, __LINE__), VYRCACHE_SUCCESS);
  Row out{};
  auto next = [&](const Row *key = nullptr) {
    return vyrCacheFetchPosition(h, c, key, key ? 1 : 0, &out, sizeof out) == VYRCACHE_SUCCESS ? out.nSeq : 99;
  };
  const Row groupA = row(u"A", 0, "0"), before = row(u"A", 0, "7"), after = row(u"AC", 8, "8");
  EXPECT_EQ((std::vector<int>{next(&groupA), next()}), (std::vector<int>{1, 7}));
  // Deleted once (not twice); the walk goes on after it and past records added meanwhile.
  EXPECT_EQ((std::vector<ID>{vyrCacheDelete(h, c), vyrCacheDelete(h, c)}),
            (std::vector<ID>{VYRCACHE_SUCCESS, VYRCACHE_NOT_FOUND}));
  EXPECT_EQ(next(), 3);
  EXPECT_EQ(vyrCacheAdd(h, &before, sizeof before) + vyrCacheAdd(h, &after, sizeof after), 2 * VYRCACHE_SUCCESS);
  EXPECT_EQ((std::vector<int>{next(), next(), next(), next()}), (std::vector<int>{8, -1, 2, 99}));
  EXPECT_EQ(vyrCacheResetCursor(h, c), VYRCACHE_SUCCESS);
  EXPECT_EQ(next(), 5);
  EXPECT_EQ(vyrCacheDeleteAll(h), VYRCACHE_SUCCESS);
  EXPECT_EQ(next(), 99);
  EXPECT_EQ((std::vector<ID>{vyrCacheCloseCursor(h, c), vyrCacheFetchPosition(h, c, nullptr, 0, &out, sizeof out),
                             vyrCacheCloseCursor(h, c)}),
            (std::vector<ID>{VYRCACHE_SUCCESS, VYRCACHE_FAILURE, VYRCACHE_FAILURE}));
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
}

TEST(CacheSharing, HandlesOnOneNameTerminateAndTerminateAll) {
  HCACHE h1 = filled(u"shared"), h2 = nullptr, h3 = nullptr, again = nullptr;
  // The existing cache keeps its own indexes: h2 walks by name, not by amount.
  ASSERT_EQ(vyrCacheInit(nullptr, &h2, u"shared", &kByAmount), VYRCACHE_SUCCESS);
  EXPECT_EQ(walk(h2), (std::vector<int>{5, 1, 7, 3, -1, 2}));
  EXPECT_EQ((std::vector<ID>{vyrCacheTerminate(nullptr, h2), vyrCacheTerminate(nullptr, h2)}),
            (std::vector<ID>{VYRCACHE_SUCCESS, VYRCACHE_FAILURE}));
  EXPECT_EQ(vyrCacheGetNumRecords(h1), 6) << "ending one handle leaves the cache";

  ASSERT_EQ(vyrCacheInit(nullptr, &h3, u"shared", &kByNameSeq), VYRCACHE_SUCCESS);
  HCUR c = nullptr;
  ASSERT_EQ(vyrCacheOpenCursorX(h3, &c, __FILE__, __LINE__), VYRCACHE_SUCCESS);
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, h1), VYRCACHE_SUCCESS);
  Row out = row(u"Q", 1, "1");  // every handle and cursor of the cache ended with it
  EXPECT_EQ(vyrCacheAdd(h3, &out, sizeof out) + vyrCacheFetchPosition(h3, c, nullptr, 0, &out, sizeof out) +
                vyrCacheTerminateAll(nullptr, h1),
            VYRCACHE_FAILURE);
  ASSERT_EQ(vyrCacheInit(nullptr, &again, u"shared", &kByNameSeq), VYRCACHE_SUCCESS);
  EXPECT_EQ(vyrCacheGetNumRecords(again), 0);
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, again), VYRCACHE_SUCCESS);
}

TEST(CacheBadInput, FailsCleanlyWithoutCrashing) {
  HCACHE h = nullptr, other = nullptr;
  HCUR c = nullptr, foreign = nullptr;
  const VYRCACHE_INDEX none{0, {}}, badType{1, {{0, 4, 9}}}, shortMath{1, {{0, 10, VYRCACHE_KEY_MATH}}},
      overflow{1, {{0xFFFFFFF0u, 0x20, VYRCACHE_KEY_BYTES}}};
  for (const VYRCACHE_INDEX *index : {(const VYRCACHE_INDEX *)nullptr, &none, &badType, &shortMath, &overflow})
    EXPECT_EQ(vyrCacheInit(nullptr, &h, u"bad", index), VYRCACHE_FAILURE);
  const Row r = row(u"A", 1, "1");
  Row out{};
  const auto garbage = reinterpret_cast<HCACHE>(uintptr_t{0xdeadbeef});
  // Calls refused for the same reason share a row: VYRCACHE_FAILURE is 0, and so is their sum.
  struct Call {
    int line;
    ID got, want;
  } const calls[] = {
      {__LINE__,
       vyrCacheInit(nullptr, nullptr, u"bad", &kByNameSeq) + vyrCacheInit(nullptr, &h, u"", &kByNameSeq) +
           vyrCacheInitMultipleIndex(nullptr, &h, u"bad", &kByNameSeq, 0),
       VYRCACHE_FAILURE},
      {__LINE__, vyrCacheInit(nullptr, &h, u"bad", &kByAmount), VYRCACHE_SUCCESS},
      {__LINE__, vyrCacheInit(nullptr, &other, u"bad2", &kByAmount), VYRCACHE_SUCCESS},
      {__LINE__, vyrCacheAdd(h, nullptr, sizeof r), VYRCACHE_FAILURE},
      {__LINE__, vyrCacheAdd(h, &r, 64), VYRCACHE_FAILURE},  // amount would end outside the record
      {__LINE__, vyrCacheAdd(h, &r, sizeof r), VYRCACHE_SUCCESS},
      {__LINE__, vyrCacheAdd(h, &r, sizeof r + 1), VYRCACHE_FAILURE},
      {__LINE__,
       vyrCacheFetch(h, &r, 1, &out, sizeof out - 1) + vyrCacheFetch(h, nullptr, 1, &out, sizeof out) +
           vyrCacheFetch(h, &r, 2, &out, sizeof out) + vyrCacheSetIndex(h, 2),
       VYRCACHE_FAILURE},
      {__LINE__, vyrCacheOpenCursorX(h, &c, nullptr, 0), VYRCACHE_SUCCESS},
      {__LINE__, vyrCacheOpenCursorX(other, &foreign, "", 0), VYRCACHE_SUCCESS},
      {__LINE__,
       vyrCacheFetchPosition(h, foreign, nullptr, 0, &out, sizeof out) +
           vyrCacheFetchPosition(h, c, &r, 2, &out, sizeof out) +
           vyrCacheFetchPosition(h, c, nullptr, -1, &out, sizeof out),
       VYRCACHE_FAILURE},
      {__LINE__, vyrCacheDelete(h, c), VYRCACHE_NOT_FOUND},  // nothing fetched yet
      {__LINE__, vyrCacheCloseCursor(other, c), VYRCACHE_FAILURE},
      {__LINE__, vyrCacheAdd(reinterpret_cast<HCACHE>(c), &r, sizeof r), VYRCACHE_FAILURE},
      {__LINE__,
       vyrCacheAdd(garbage, &r, sizeof r) + vyrCacheDeleteAll(garbage) + vyrCacheTerminate(nullptr, garbage) +
           vyrCacheTerminateAll(nullptr, nullptr) + ID(vyrCacheGetNumRecords(garbage)),
       VYRCACHE_FAILURE},
      {__LINE__, vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS},
      {__LINE__, vyrCacheTerminateAll(nullptr, other), VYRCACHE_SUCCESS},
  };
  for (const Call &call : calls) EXPECT_EQ(call.got, call.want) << "call on line " << call.line;

  LPBHVRCOM context = vyr::createContext({{"fail", "vyrCacheInit:hooked,vyrCacheAdd:unhooked"}});
  {
    vyr::ContextScope scope(context);
    EXPECT_EQ(vyrCacheInit(nullptr, &h, u"hooked", &kByNameSeq), VYRCACHE_FAILURE) << "a requested fault";
    EXPECT_EQ(vyrCacheInit(nullptr, &h, u"unhooked", &kByNameSeq), VYRCACHE_SUCCESS);
    EXPECT_EQ(vyrCacheAdd(h, &r, sizeof r), VYRCACHE_FAILURE) << "a requested fault on an open cache";
    EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
  }
  vyr::freeContext(context);
}

TEST(CacheThreads, ConcurrentAddsAndFetchesKeepEveryRecord) {
  constexpr int kThreads = 4, kPerThread = 500;
  std::vector<std::thread> threads;
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t, &failures] {
      HCACHE h = openTwoIndexes(u"threads");
      const std::u16string name = u"T" + std::u16string(1, static_cast<char16_t>(u'0' + t));
      for (int i = 0; i < kPerThread; ++i) {
        const int seq = i * 7919 % kPerThread;  // every seq once, out of order
        const Row r = row(name, seq, std::to_string(t * kPerThread + seq));
        Row out{};
        if (vyrCacheAdd(h, &r, sizeof r) != VYRCACHE_SUCCESS ||
            vyrCacheFetch(h, &r, 2, &out, sizeof out) != VYRCACHE_SUCCESS || std::memcmp(&out, &r, sizeof r) != 0)
          ++failures[t];
      }
      if (vyrCacheTerminate(nullptr, h) != VYRCACHE_SUCCESS) ++failures[t];
    });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
  HCACHE h = openTwoIndexes(u"threads");
  std::vector<int> expected;
  for (int t = 0; t < kThreads; ++t)
    for (int seq = 0; seq < kPerThread; ++seq) expected.push_back(seq);
  EXPECT_EQ(walk(h), expected);
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
}

// Ending a cache while other threads use it must only make their calls fail
// (the sanitizer build catches any use of freed records).
TEST(CacheThreads, TerminateAllRacingOtherCallsFailsThemCleanly) {
  std::vector<std::thread> threads;
  std::atomic<int> unexpected{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &unexpected] {
      for (int round = 0; round < 200; ++round) {
        HCACHE h = openTwoIndexes(u"race");
        HCUR c = nullptr;
        const Row r = row(u"R", t * 1000 + round, std::to_string(t * 1000 + round));
        Row out{};
        const ID results[] = {vyrCacheAdd(h, &r, sizeof r),
                              vyrCacheOpenCursorX(h, &c, __FILE__, __LINE__),
                              vyrCacheFetchPosition(h, c, nullptr, 0, &out, sizeof out),
                              vyrCacheDelete(h, c),
                              vyrCacheCloseCursor(h, c),
                              round % 3 == t % 3 ? vyrCacheTerminateAll(nullptr, h) : vyrCacheTerminate(nullptr, h)};
        for (const ID result : results)
          if (result == VYRCACHE_DUPLICATE || result > VYRCACHE_SUCCESS) ++unexpected;  // keys are all distinct
      }
    });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(unexpected, 0);
  HCACHE h = openTwoIndexes(u"race");
  EXPECT_EQ(vyrCacheTerminateAll(nullptr, h), VYRCACHE_SUCCESS);
}

}  // namespace
