// Fetch for update, user-handle transactions, concurrent handles, and
// handles released with their context.
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <latch>
#include <numeric>
#include <thread>

#include "db_fixture.h"

extern char **environ;

namespace {

using dbtest::number;
using dbtest::set;
using dbtest::text;

#pragma pack(push, 1)
struct Counter {  // F00022
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
#pragma pack(pop)

class Transactions : public dbtest::DbTest {
 protected:
  void addCounter(std::u16string_view name, const char *value) {
    HREQUEST counters = open(u"F00022");
    Counter c{};
    set(c.obnm, name);
    c.ukid = number(value);
    ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
    VDB_CloseTable(counters);
  }
  // The counter as a handle of its own sees it (committed state).
  std::string committed(std::u16string_view name) {
    LPBHVRCOM observer = extraContext();
    HUSER user = nullptr;
    EXPECT_EQ(VDB_InitBhvr(observer, &user, nullptr, 0), 1u);
    HREQUEST counters = nullptr;
    EXPECT_EQ(VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
    JCHAR key[11];
    set(key, name);
    Counter c{};
    const std::string value = VDB_FetchKeyed(counters, 1, key, 1, &c, 0) == 1 ? text(c.ukid) : "none";
    VDB_FreeBhvr(user);
    return value;
  }
};

// Takes `count` numbers one at a time, each by fetch for update and update
// current, with a pause between the two where a lost update would slip in.
// The numbers taken (the counter's value after each increment) go to `taken`.
void increment(LPBHVRCOM context, int count, std::latch *start, std::atomic<int> *failures,
               std::vector<long long> *taken = nullptr) {
  HUSER user = nullptr;
  HREQUEST counters = nullptr;
  const bool opened = VDB_InitBhvr(context, &user, nullptr, 0) == 1 &&
                      VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters) == 1;
  start->arrive_and_wait();
  if (!opened) {
    ++*failures;
    return;
  }
  JCHAR key[11];
  set(key, u"SHARED");
  for (int i = 0; i < count; ++i) {
    Counter c{};
    if (VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0) != 1) {
      ++*failures;
      continue;
    }
    const long long next = std::stoll(text(c.ukid)) + 1;
    c.ukid = number(std::to_string(next));
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    if (VDB_UpdateCurrent(counters, &c) != 1)
      ++*failures;
    else if (taken)
      taken->push_back(next);
  }
  VDB_CloseTable(counters);
  VDB_FreeBhvr(user);
}

// A block allocator's pattern from many processes at once.
constexpr int kProcesses = 8;
constexpr int kPerProcess = 500;

// The same work from another process: when the test below starts this program
// with VDBTEST_COUNTER_LOCATION set, it increments the counter in that
// database, writes the numbers it took to VDBTEST_COUNTER_OUT, and exits
// before any test runs.
const bool kCounterProcess = [] {
  const char *location = std::getenv("VDBTEST_COUNTER_LOCATION");
  const char *out = std::getenv("VDBTEST_COUNTER_OUT");
  if (location == nullptr || out == nullptr) return false;
  LPBHVRCOM context = vyr::createContext({{"env", "TEST"}, {"env.TEST", location}});
  std::atomic<int> failures{0};
  std::latch start(1);
  std::vector<long long> taken;
  increment(context, kPerProcess, &start, &failures, &taken);
  vyr::freeContext(context);
  std::ofstream file(out);
  for (long long n : taken) file << n << "\n";
  file.close();
  std::_Exit(failures == 0 && file ? 0 : 1);
}();

TEST_P(Transactions, ProcessesTakingNumbersFromOneCounterGetEachOnce) {
  addCounter(u"SHARED", "0");
  const std::string base = (std::filesystem::temp_directory_path() / "vdbcounterXXXXXX").string();
  std::vector<char> dir(base.begin(), base.end());
  dir.push_back('\0');
  ASSERT_NE(mkdtemp(dir.data()), nullptr);
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    // Each child gets this process's environment and where to work and report.
    std::vector<std::string> variables = {"VDBTEST_COUNTER_LOCATION=" + location_,
                                          "VDBTEST_COUNTER_OUT=" + std::string(dir.data()) + "/" + std::to_string(p)};
    for (char **e = environ; *e != nullptr; ++e)
      if (std::string_view(*e).rfind("VDBTEST_", 0) != 0) variables.push_back(*e);
    std::vector<char *> envp;
    for (std::string &v : variables) envp.push_back(v.data());
    envp.push_back(nullptr);
    char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, argv, envp.data()), 0);
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  }
  std::vector<long long> taken;
  for (int p = 0; p < kProcesses; ++p) {
    std::ifstream file(std::string(dir.data()) + "/" + std::to_string(p));
    for (long long n; file >> n;) taken.push_back(n);
  }
  std::filesystem::remove_all(dir.data());
  std::sort(taken.begin(), taken.end());
  std::vector<long long> expected(kProcesses * kPerProcess);
  std::iota(expected.begin(), expected.end(), 1);
  EXPECT_EQ(taken, expected);  // every number handed out once, none skipped
  EXPECT_EQ(committed(u"SHARED"), std::to_string(kProcesses * kPerProcess));
}

TEST_P(Transactions, ConcurrentFetchForUpdateLosesNoIncrement) {
  addCounter(u"SHARED", "1000");
  constexpr int kPerThread = 150;
  std::atomic<int> failures{0};
  std::latch start(2);
  LPBHVRCOM first = extraContext(), second = extraContext();
  std::thread a(increment, first, kPerThread, &start, &failures, nullptr);
  std::thread b(increment, second, kPerThread, &start, &failures, nullptr);
  a.join();
  b.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(committed(u"SHARED"), std::to_string(1000 + 2 * kPerThread));
}

TEST_P(Transactions, RowFetchedForUpdateStaysLockedUntilUpdateCurrent) {
  addCounter(u"LOCKED", "1");
  HREQUEST counters = open(u"F00022");
  JCHAR key[11];
  set(key, u"LOCKED");
  Counter mine{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &mine, 0), 1u);

  // Another handle's write has to wait for the lock.
  std::atomic<bool> written{false};
  LPBHVRCOM other = extraContext();
  std::thread writer([&] {
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    VDB_InitBhvr(other, &user, nullptr, 0);
    VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &request);
    Counter c{};
    set(c.obnm, u"LOCKED");
    c.ukid = number("100");
    VDB_UpdateTable(request, 1, key, 1, &c);
    written = true;
    VDB_FreeBhvr(user);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(written.load());
  mine.ukid = number("2");
  ASSERT_EQ(VDB_UpdateCurrent(counters, &mine), 1u);
  writer.join();
  EXPECT_TRUE(written.load());
  EXPECT_EQ(committed(u"LOCKED"), "100");  // the waiting write came after ours

  // Closing the request releases a lock without changing the row.
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &mine, 0), 1u);
  ASSERT_EQ(VDB_CloseTable(counters), 1u);
  EXPECT_EQ(committed(u"LOCKED"), "100");
  addCounter(u"AFTER", "5");  // would wait on a lock left behind
}

TEST_P(Transactions, RefusedWriteOfALockedRowReleasesTheLockAndChangesNothing) {
  addCounter(u"X", "1");
  addCounter(u"Y", "2");
  HREQUEST counters = open(u"F00022");
  JCHAR y[11];
  set(y, u"Y");
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, y, 1, &c, 0), 1u);
  set(c.obnm, u"X");  // taken
  c.ukid = number("9");
  EXPECT_NE(VDB_UpdateCurrent(counters, &c), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_UpdateCurrent", u"already exists"}));
  EXPECT_EQ(committed(u"Y"), "2");
  EXPECT_EQ(committed(u"X"), "1");
  addCounter(u"Z", "3");  // would wait on a lock left behind
  HUSER other = nullptr;
  ASSERT_EQ(VDB_InitBhvr(extraContext(), &other, nullptr, 0), 1u);
  HREQUEST theirs = nullptr;
  ASSERT_EQ(VDB_OpenTable(other, u"F00022", 1, nullptr, 0, nullptr, &theirs), 1u);
  Counter changed{};
  set(changed.obnm, u"Y");
  changed.ukid = number("20");
  EXPECT_EQ(VDB_UpdateTable(theirs, 1, y, 1, &changed), 1u);
  VDB_FreeBhvr(other);
  EXPECT_EQ(committed(u"Y"), "20");
  VDB_CloseTable(counters);
}

TEST_P(Transactions, ScanForUpdateUpdatesEachRowAndEndsWithTheScan) {
  addCounter(u"A", "1");
  addCounter(u"B", "2");
  HREQUEST counters = open(u"F00022");
  ASSERT_EQ(VDB_SelectKeyedForUpdate(counters, 1, nullptr, 0), 1u);
  Counter c{};
  int rows = 0;
  while (VDB_FetchForUpdate(counters, &c, 0) == 1) {
    c.ukid = number(std::to_string(std::stoll(text(c.ukid)) * 10));
    ASSERT_EQ(VDB_UpdateCurrent(counters, &c), 1u);
    ++rows;
  }
  EXPECT_EQ(rows, 2);
  EXPECT_EQ(committed(u"A"), "10");
  EXPECT_EQ(committed(u"B"), "20");
  addCounter(u"C", "3");  // the lock ended with the scan
  VDB_CloseTable(counters);
}

TEST_P(Transactions, UserHandleCommitsAndRollsBackItsOwnWork) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST counters = nullptr;
  ASSERT_EQ(VDB_OpenTable(txn, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
  Counter c{};
  set(c.obnm, u"T1");
  c.ukid = number("1");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  EXPECT_EQ(committed(u"T1"), "none");  // another handle does not see uncommitted work
  ASSERT_EQ(VDB_RollbackUser(txn), 1u);
  EXPECT_EQ(committed(u"T1"), "none");

  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  ASSERT_EQ(VDB_CommitUser(txn), 1u);
  EXPECT_EQ(committed(u"T1"), "1");

  set(c.obnm, u"T2");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  ASSERT_EQ(VDB_FreeUser(txn), 1u);  // rolls back what was not committed
  EXPECT_EQ(committed(u"T2"), "none");
  EXPECT_NE(VDB_CloseTable(counters), 1u);  // closed with its handle

  // A behaviour handle commits each statement: nothing to roll back.
  EXPECT_EQ(VDB_CommitUser(user_), 1u);
  EXPECT_NE(VDB_RollbackUser(user_), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_RollbackUser", u"nothing to roll back"}));
}

TEST_P(Transactions, DuplicateInsertInsideAUserTransactionKeepsTheRestOfTheWork) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST counters = nullptr;
  ASSERT_EQ(VDB_OpenTable(txn, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
  Counter c{};
  set(c.obnm, u"FIRST");
  c.ukid = number("1");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  c.ukid = number("2");
  EXPECT_NE(VDB_InsertTable(counters, &c), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_InsertTable", u"already exists"}));
  set(c.obnm, u"SECOND");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  ASSERT_EQ(VDB_CommitUser(txn), 1u);
  EXPECT_EQ(committed(u"FIRST"), "1");
  EXPECT_EQ(committed(u"SECOND"), "2");
  VDB_FreeUser(txn);
}

TEST_P(Transactions, HandleLeftOpenIsReleasedWithItsContext) {
  addCounter(u"LEFT", "1");
  LPBHVRCOM careless = newContext();
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(careless, &user, nullptr, 0), 1u);
  HREQUEST counters = nullptr;
  ASSERT_EQ(VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
  JCHAR key[11];
  set(key, u"LEFT");
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0), 1u);  // holds the write lock
  EXPECT_FALSE(careless->resources.empty());
  vyr::freeContext(careless);
  EXPECT_NE(VDB_FreeBhvr(user), 1u);
  EXPECT_NE(VDB_CloseTable(counters), 1u);
  addCounter(u"NEXT", "1");  // the lock went with the context
  EXPECT_EQ(committed(u"LEFT"), "1");
}

TEST_P(Transactions, EnvironmentHandlesNameTheirDatabases) {
  LPBHVRCOM context = extraContext({{"env.OTHER", otherLocation()}});
  HENV own = nullptr, other = nullptr;
  ASSERT_EQ(VDB_InitEnv(context, &own, nullptr), 1u);
  ASSERT_EQ(VDB_InitSecondaryEnv(context, u"OTHER", &other), 1u);
  JCHAR name[11];
  ASSERT_EQ(VDB_GetEnvironment(own, name, 11), 1u);
  EXPECT_EQ(dbtest::str(name), u"TEST");
  ASSERT_EQ(VDB_GetEnvironment(other, name, 3), 1u);
  EXPECT_EQ(dbtest::str(name), u"OT");  // cut to the room given

  // Work through the secondary environment lands in the other database only.
  HUSER otherUser = nullptr;
  ASSERT_EQ(VDB_InitUser(context, &otherUser, other, 0), 1u);
  HENV back = nullptr;
  ASSERT_EQ(VDB_GetEnv(otherUser, &back), 1u);
  EXPECT_EQ(back, other);
  HREQUEST counters = nullptr;
  ASSERT_EQ(VDB_OpenTable(otherUser, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
  Counter c{};
  set(c.obnm, u"ELSEWHERE");
  c.ukid = number("9");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  EXPECT_EQ(committed(u"ELSEWHERE"), "none");
  VDB_FreeUser(otherUser);

  EXPECT_EQ(VDB_FreeEnv(other), 1u);
  EXPECT_NE(VDB_FreeEnv(other), 1u);
  EXPECT_EQ(VDB_FreeEnv(own), 1u);
  EXPECT_NE(VDB_InitSecondaryEnv(context, u"NOWHERE", &other), 1u);
  EXPECT_TRUE(dbtest::traced(context, {u"VDB_InitSecondaryEnv", u"env.NOWHERE"}));
}

INSTANTIATE_TEST_SUITE_P(Engines, Transactions, dbtest::engines(), dbtest::engineName);

}  // namespace
