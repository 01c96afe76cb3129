// Fetch for update, user-handle transactions, concurrent handles and
// processes, handles released with their context, environments.
#include <atomic>
#include <chrono>
#include <thread>

#include "db_fixture.h"
#include "support/processes.h"

namespace {

using dbtest::Counter;
using dbtest::counter;
using dbtest::number;
using dbtest::text;
using dbtest::traced;

// Takes `count` numbers from the counter SHARED one at a time, each by fetch
// for update and update current, with a pause between the two where a lost
// update would slip in. Counts what fails.
void increment(LPBHVRCOM context, int count, std::atomic<int> &failures) {
  HUSER user = nullptr;
  HREQUEST counters = nullptr;
  if (VDB_InitBhvr(context, &user, nullptr, 0) != 1 ||
      VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters) != 1)
    ++failures;
  for (int i = 0; i < count && counters != nullptr; ++i) {
    Counter c{};
    if (VDB_FetchKeyedForUpdate(counters, 1, u"SHARED", 1, &c, 0) != 1) {
      ++failures;
      continue;
    }
    c.ukid = number(std::to_string(std::stoll(text(c.ukid)) + 1));
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    if (VDB_UpdateCurrent(counters, &c) != 1) ++failures;
  }
  VDB_FreeBhvr(user);
}

// A block allocator's pattern from many processes at once, two threads each.
constexpr int kProcesses = 8;
constexpr int kThreads = 2;
constexpr int kPerThread = 250;

// The work of one process: when the test below starts this program with
// VDBTEST_COUNTER_LOCATION set, it increments the counter in that database
// from two threads and exits before any test runs, with 0 when nothing failed.
const bool kCounterProcess = [] {
  const char *location = std::getenv("VDBTEST_COUNTER_LOCATION");
  if (location == nullptr) return false;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&] {
      LPBHVRCOM context = vyr::createContext({{"env", "TEST"}, {"env.TEST", location}});
      increment(context, kPerThread, failures);
      vyr::freeContext(context);
    });
  for (std::thread &t : threads) t.join();
  std::_Exit(failures == 0 ? 0 : 1);
}();

// A next-number function's first use: it reads the counter (the call's read
// snapshot starts there), then takes it by fetch for update, inserting its
// first row when there is none. A process that inserts too late finds the
// key taken ("DBDK") and takes the row the other one inserted.
ID takeFirstRowNumber(LPBHVRCOM context, LPVOID, LPVOID) {
  HUSER user = nullptr;
  HREQUEST counters = nullptr;
  context->errors.clear();
  VDB_InitBhvr(context, &user, nullptr, 0);
  VDB_OpenTable(user, u"F00022", 1, nullptr, 0, nullptr, &counters);
  Counter c{};
  ID found = VDB_FetchKeyed(counters, 1, u"FIRST", 1, &c, 0), taken = VDB_FAILED;
  for (int attempt = 0; attempt < 3 && found != VDB_FAILED && taken != VDB_SUCCESS; ++attempt) {
    found = VDB_FetchKeyedForUpdate(counters, 1, u"FIRST", 1, &c, 0);
    c = found == VDB_SUCCESS ? counter(u"FIRST", std::to_string(std::stoll(text(c.ukid)) + 1).c_str())
                             : counter(u"FIRST", "1");
    if (found == VDB_SUCCESS) taken = VDB_UpdateCurrent(counters, &c);
    if (found == VDB_NOT_FOUND) taken = VDB_InsertTable(counters, &c);
    if (taken != VDB_SUCCESS && (context->errors.empty() || context->errors.back().id != u"DBDK")) break;
  }
  VDB_FreeBhvr(user);
  return taken == VDB_SUCCESS ? ER_SUCCESS : ER_ERROR;
}

constexpr int kFirstRowTakes = 100;

// With VDBTEST_FIRST_ROW_LOCATION set, this program takes kFirstRowTakes
// numbers in that database and exits before any test runs, 0 when all worked.
const bool kFirstRowProcess = [] {
  const char *location = std::getenv("VDBTEST_FIRST_ROW_LOCATION");
  if (location == nullptr) return false;
  LPBHVRCOM context = vyr::createContext({{"env", "TEST"}, {"env.TEST", location}});
  const BSFN_CATALOG_ENTRY entry{"TakeFirstRowNumber", takeFirstRowNumber, nullptr, "TEST"};
  int failures = context == nullptr ? 1 : 0;
  for (int i = 0; context != nullptr && i < kFirstRowTakes; ++i)
    if (vyr::callFunction(context, entry, nullptr) != ER_SUCCESS) ++failures;
  vyr::freeContext(context);
  std::_Exit(failures == 0 ? 0 : 1);
}();

class Transactions : public dbtest::DbTest {};

// Every increment succeeded and the counter went up by their number: each
// increment read the value the one before it wrote, none was lost or doubled.
TEST_P(Transactions, ProcessesAndThreadsIncrementingOneCounterLoseNoUpdate) {
  addCounter(u"SHARED", "0");
  racetest::expectCopiesSucceed("VDBTEST_COUNTER_LOCATION", location_, kProcesses);
  EXPECT_EQ(committed(u"SHARED"), std::to_string(kProcesses * kThreads * kPerThread));
}

// The counter starts missing: one process inserts it, every other take updates it, none is lost.
TEST_P(Transactions, ProcessesCreatingACounterOnFirstUseLoseNoNumber) {
  racetest::expectCopiesSucceed("VDBTEST_FIRST_ROW_LOCATION", location_, kProcesses);
  EXPECT_EQ(committed(u"FIRST"), std::to_string(kProcesses * kFirstRowTakes));
}

TEST_P(Transactions, RowFetchedForUpdateStaysLockedUntilWrittenRefusedOrClosed) {
  addCounter(u"LOCKED", "1");
  addCounter(u"TAKEN", "7");
  HREQUEST counters = open(u"F00022");
  Counter mine{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, u"LOCKED", 1, &mine, 0), 1u);
  // Another handle's write has to wait for the lock.
  std::atomic<bool> written{false};
  HREQUEST theirs = open(u"F00022", 1, {}, newUser());
  std::thread writer([&] {
    const Counter c = counter(u"LOCKED", "100");
    VDB_UpdateTable(theirs, 1, u"LOCKED", 1, &c);
    written = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(written.load());
  mine.ukid = number("2");
  ASSERT_EQ(VDB_UpdateCurrent(counters, &mine), 1u);
  writer.join();
  EXPECT_EQ(committed(u"LOCKED"), "100");  // the waiting write came after ours

  // A write the database refuses ends the lock and changes nothing.
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, u"LOCKED", 1, &mine, 0), 1u);
  mine = counter(u"TAKEN", "9");
  EXPECT_NE(VDB_UpdateCurrent(counters, &mine), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_UpdateCurrent", u"already exists"}));
  const Counter changed = counter(u"LOCKED", "20");
  EXPECT_EQ(VDB_UpdateTable(theirs, 1, u"LOCKED", 1, &changed), 1u);  // would wait on a lock left behind
  EXPECT_EQ(committed(u"LOCKED") + "," + committed(u"TAKEN"), "20,7");

  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, u"LOCKED", 1, &mine, 0), 1u);
  ASSERT_EQ(VDB_CloseTable(counters), 1u);  // releases the lock without changing the row
  EXPECT_EQ(committed(u"LOCKED"), "20");
  addCounter(u"AFTER", "5");  // would wait on a lock left behind
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
  EXPECT_EQ(committed(u"A") + "," + committed(u"B"), "10,20");
  addCounter(u"C", "3");  // the lock ended with the scan
}

TEST_P(Transactions, UserHandleCommitsAndRollsBackItsOwnWork) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST counters = open(u"F00022", 1, {}, txn);
  Counter c = counter(u"T1", "1");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  EXPECT_EQ(committed(u"T1"), "none");  // another handle does not see uncommitted work
  ASSERT_EQ(VDB_RollbackUser(txn), 1u);
  EXPECT_EQ(committed(u"T1"), "none");

  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  c.ukid = number("2");
  EXPECT_NE(VDB_InsertTable(counters, &c), 1u);  // a duplicate leaves the rest of the work as it was
  EXPECT_TRUE(traced(context_, {u"VDB_InsertTable", u"already exists"}));
  c = counter(u"T2", "2");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  ASSERT_EQ(VDB_CommitUser(txn), 1u);
  EXPECT_EQ(committed(u"T1") + committed(u"T2"), "12");

  c = counter(u"T3", "3");
  ASSERT_EQ(VDB_InsertTable(counters, &c), 1u);
  ASSERT_EQ(VDB_FreeUser(txn), 1u);  // rolls back what was not committed
  EXPECT_EQ(committed(u"T3"), "none");
  EXPECT_NE(VDB_CloseTable(counters), 1u);  // closed with its handle

  // A behaviour handle commits each statement: nothing to roll back.
  EXPECT_EQ(VDB_CommitUser(user_), 1u);
  EXPECT_NE(VDB_RollbackUser(user_), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_RollbackUser", u"nothing to roll back"}));
}

TEST_P(Transactions, HandleLeftOpenIsReleasedWithItsContext) {
  addCounter(u"LEFT", "1");
  LPBHVRCOM careless = newContext();
  HUSER user = nullptr;
  ASSERT_EQ(VDB_InitBhvr(careless, &user, nullptr, 0), 1u);
  HREQUEST counters = open(u"F00022", 1, {}, user);
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, u"LEFT", 1, &c, 0), 1u);  // holds the write lock
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
  const Counter c = counter(u"ELSEWHERE", "9");
  ASSERT_EQ(VDB_InsertTable(open(u"F00022", 1, {}, otherUser), &c), 1u);
  EXPECT_EQ(committed(u"ELSEWHERE"), "none");
  VDB_FreeUser(otherUser);

  EXPECT_EQ(VDB_FreeEnv(other), 1u);
  EXPECT_NE(VDB_FreeEnv(other), 1u);
  EXPECT_EQ(VDB_FreeEnv(own), 1u);
  EXPECT_NE(VDB_InitSecondaryEnv(context, u"NOWHERE", &other), 1u);
  EXPECT_TRUE(traced(context, {u"VDB_InitSecondaryEnv", u"env.NOWHERE"}));
}

INSTANTIATE_TEST_SUITE_P(Engines, Transactions, dbtest::engines(), dbtest::engineName);

}  // namespace
