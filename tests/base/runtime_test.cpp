// Allocator tracking, linked lists, the data-pointer store and trace sinks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <latch>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/trace.h"
#include "vyrl.h"

namespace {

void collect(void *user, std::u16string_view line) noexcept {
  static_cast<std::vector<std::u16string> *>(user)->emplace_back(line);
}

// Captures this thread's trace lines for the guard's lifetime.
struct Capture {
  std::vector<std::u16string> lines;
  vyr::TraceSink previous = vyr::setThreadTraceSink({collect, &lines});
  ~Capture() { vyr::setThreadTraceSink(previous); }
  bool saw(std::u16string_view part) const {
    return std::any_of(lines.begin(), lines.end(), [&](const std::u16string &l) { return l.find(part) != l.npos; });
  }
};

TEST(Memory, TracksLiveBlocksAndReportsBadFrees) {
  const size_t before = vyrMemoryOutstanding();
  char *a = static_cast<char *>(vyrMallocInternal(10, "alpha.cpp", 11));
  int *b = static_cast<int *>(vyrCallocInternal(4, sizeof(int), "beta.cpp", 22));
  ASSERT_TRUE(a && b);
  EXPECT_EQ(b[0] | b[1] | b[2] | b[3], 0);
  std::strcpy(a, "keep");
  a = static_cast<char *>(vyrReallocInternal(a, 4096, "gamma.cpp", 33));
  EXPECT_STREQ(a, "keep");
  {
    Capture capture;
    EXPECT_EQ(vyrMemoryReport(), before + 2);
    EXPECT_TRUE(capture.saw(u"gamma.cpp:33, 4096 bytes") && capture.saw(u"beta.cpp:22, 16 bytes"));
    EXPECT_FALSE(capture.saw(u"alpha.cpp"));
  }
  vyrFreeInternal(a, "alpha.cpp", 40);
  vyrFreeInternal(b, "beta.cpp", 41);
  EXPECT_EQ(vyrMemoryOutstanding(), before);
  EXPECT_EQ(vyrCallocInternal(SIZE_MAX / 2, 4, "huge.cpp", 1), nullptr);

  // Unknown and double frees are reported, not passed on.
  Capture capture;
  int onStack = 0;
  vyrFreeInternal(&onStack, "caller.cpp", 7);
  vyrFreeInternal(a, "twice.cpp", 9);
  EXPECT_EQ(vyrReallocInternal(&onStack, 16, "grow.cpp", 3), nullptr);
  vyrFree(nullptr);
  EXPECT_EQ(capture.lines.size(), 3u);
  EXPECT_TRUE(capture.saw(u"(caller.cpp:7)") && capture.saw(u"(twice.cpp:9)") && capture.saw(u"vyrRealloc"));
}

TEST(LinkList, KeepsInsertionOrderAndReleasesOwnedItems) {
  const size_t before = vyrMemoryOutstanding();
  LPLINKLIST list = CreateLinkList(TRUE);
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(AddLinkListItem(list, new (vyrMalloc(sizeof(int))) int(i * 10)));
  EXPECT_FALSE(AddLinkListItem(list, nullptr));
  EXPECT_EQ(GetLinkListCount(list), 4u);
  std::vector<int> seen;
  LPLINKLISTPOS pos = nullptr;
  for (void *item = GetFirstLinkListItem(list, &pos); item; item = GetNextLinkListItem(list, &pos))
    seen.push_back(*static_cast<int *>(item));
  EXPECT_EQ(seen, (std::vector<int>{0, 10, 20, 30}));
  DestroyLinkList(list);
  EXPECT_EQ(vyrMemoryOutstanding(), before);
  EXPECT_EQ(GetFirstLinkListItem(nullptr, &pos), nullptr);
}

TEST(DataPointers, StaleIndexesNeverFindAnotherPointerEvenUnderConcurrentStores) {
  int first = 1, second = 2;
  const ID a = vyrStoreDataPtr(nullptr, &first), b = vyrStoreDataPtr(nullptr, &second);
  EXPECT_TRUE(a != 0 && b != 0 && a != b);
  EXPECT_EQ(vyrRemoveDataPtr(nullptr, a), &first);
  EXPECT_EQ(vyrRemoveDataPtr(nullptr, a), nullptr);
  EXPECT_NE(vyrStoreDataPtr(nullptr, &first), a) << "indexes are not reused";
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, a), nullptr);
  EXPECT_EQ(vyrRetrieveDataPtr(nullptr, b), &second);
  EXPECT_EQ(vyrStoreDataPtr(nullptr, nullptr), 0u);

  std::vector<std::vector<ID>> perThread(4);
  std::vector<std::thread> threads;
  for (auto &ids : perThread)
    threads.emplace_back([&ids, &second] {
      for (int i = 0; i < 500; ++i) ids.push_back(vyrStoreDataPtr(nullptr, &second));
    });
  for (auto &t : threads) t.join();
  std::set<ID> all;
  for (const auto &ids : perThread) all.insert(ids.begin(), ids.end());
  EXPECT_EQ(all.size(), 2000u);
  EXPECT_EQ(all.count(0), 0u);
}

TEST(Trace, EachThreadSeesOnlyItsOwnLines) {
  std::vector<std::u16string> got[2];
  // Both sinks are installed before either thread writes, so one shared slot
  // would send every line to the last one installed.
  std::latch installed(2);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([t, &got, &installed] {
      const vyr::TraceSink old = vyr::setThreadTraceSink({collect, &got[t]});
      installed.arrive_and_wait();
      for (int i = 0; i < 50; ++i) DebugTraceFn(u"thread %d line %d\n", t, i);
      vyr::setThreadTraceSink(old);
    });
  for (auto &t : threads) t.join();
  for (int t = 0; t < 2; ++t) {
    ASSERT_EQ(got[t].size(), 50u);
    EXPECT_EQ(got[t][49], (t == 0 ? u"thread 0 line " : u"thread 1 line ") + std::u16string(u"49"));
  }
}

TEST(Trace, LinesStayWholeFallBackToTheProcessSinkAndDoNotRecurse) {
  std::vector<std::u16string> process;
  vyr::setProcessTraceSink({collect, &process});
  const std::u16string longText(5000, u'x');
  std::thread([&] {
    DebugTraceFn(u"first\nsecond\r\n");
    DebugTraceFn(u"[%ls]", longText.c_str());
  }).join();
  {
    Capture capture;
    DebugTraceFn(u"mine");
    EXPECT_EQ(capture.lines, std::vector<std::u16string>{u"mine"});
  }
  vyr::setProcessTraceSink({});
  DebugTraceFn(u"dropped");
  EXPECT_EQ(process, (std::vector<std::u16string>{u"first\nsecond", u"[" + longText + u"]"}));

  int calls = 0;
  const vyr::TraceSink old = vyr::setThreadTraceSink({[](void *user, std::u16string_view) noexcept {
                                                        ++*static_cast<int *>(user);
                                                        DebugTraceFn(u"from inside");
                                                      },
                                                      &calls});
  DebugTraceFn(u"outer");
  vyr::setThreadTraceSink(old);
  EXPECT_EQ(calls, 1);
}

}  // namespace
