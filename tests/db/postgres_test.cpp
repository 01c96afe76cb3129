// What only a database server brings: sessions that end under a handle, and
// statements the server refuses inside a transaction.
#include <limits>

#include "db_fixture.h"

namespace {

using dbtest::number;
using dbtest::set;
using dbtest::text;

#pragma pack(push, 1)
struct Counter {  // F00022
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
struct Activity {  // F01301: ACTVID, BGTM
  JCHAR actvid[37];
  UTIME bgtm;
};
#pragma pack(pop)

class ServerDatabase : public dbtest::DbTest {
 protected:
  static ID add(HREQUEST counters, std::u16string_view name, const char *value) {
    Counter c{};
    set(c.obnm, name);
    c.ukid = number(value);
    return VDB_InsertTable(counters, &c);
  }
  // The counter as a handle of its own sees it (committed state).
  std::string committed(std::u16string_view name) {
    HUSER user = nullptr;
    EXPECT_EQ(VDB_InitBhvr(extraContext(), &user, nullptr, 0), 1u);
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

TEST_P(ServerDatabase, LostSessionFailsOneOperationAndTheRequestReconnects) {
  HREQUEST counters = open(u"F00022");
  ASSERT_EQ(add(counters, u"LOST", "1"), 1u);
  JCHAR key[11];
  set(key, u"LOST");
  Counter c{};
  auto increment = [&](const char *value) {
    if (VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0) != 1) return false;
    c.ukid = number(value);
    return VDB_UpdateCurrent(counters, &c) == 1;
  };
  ASSERT_TRUE(increment("1"));  // both statements prepared

  // Lost while the row is locked: the write (sent with its commit) fails, and no lock outlives the session.
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0), 1u);
  ASSERT_GE(pg_->terminateSessions(location_), 1) << pg_->error();
  c.ukid = number("2");
  EXPECT_NE(VDB_UpdateCurrent(counters, &c), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_UpdateCurrent", u"connection to the database was lost"}));
  EXPECT_EQ(committed(u"LOST"), "1");
  ASSERT_TRUE(increment("3"));
  EXPECT_EQ(committed(u"LOST"), "3");

  // Lost between operations: the next lock (sent with its BEGIN) fails once, the one after works.
  ASSERT_GE(pg_->terminateSessions(location_), 1) << pg_->error();
  context_->trace.clear();
  EXPECT_NE(VDB_FetchKeyedForUpdate(counters, 1, key, 1, &c, 0), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_FetchKeyedForUpdate", u"connection to the database was lost"}));
  ASSERT_TRUE(increment("4"));
  EXPECT_EQ(committed(u"LOST"), "4");
  VDB_CloseTable(counters);
}

TEST_P(ServerDatabase, PooledSessionEndedByTheServerIsReplacedUnnoticed) {
  HREQUEST counters = open(u"F00022");
  ASSERT_EQ(add(counters, u"POOLED", "5"), 1u);
  VDB_CloseTable(counters);
  ASSERT_EQ(VDB_FreeBhvr(user_), 1u);  // its session goes back to the pool
  user_ = nullptr;
  ASSERT_GE(pg_->terminateSessions(location_), 1) << pg_->error();
  context_->trace.clear();
  EXPECT_EQ(committed(u"POOLED"), "5");  // at the first attempt
  EXPECT_TRUE(context_->trace.empty());
}

TEST_P(ServerDatabase, RefusedStatementEndsTheTransactionAndItsCommitFails) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST counters = nullptr;
  ASSERT_EQ(VDB_OpenTable(txn, u"F00022", 1, nullptr, 0, nullptr, &counters), 1u);
  ASSERT_EQ(add(counters, u"A", "1"), 1u);
  ASSERT_EQ(add(counters, u"B", "2"), 1u);
  JCHAR key[11];
  set(key, u"B");
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyed(counters, 1, key, 1, &c, 0), 1u);
  set(c.obnm, u"A");  // B's new key is taken: the server refuses the update
  EXPECT_NE(VDB_UpdateCurrent(counters, &c), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_UpdateCurrent", u"already exists"}));
  EXPECT_TRUE(dbtest::traced(context_, {u"ended the transaction"}));
  EXPECT_EQ(committed(u"A"), "none");
  EXPECT_NE(VDB_CommitUser(txn), 1u);  // half the work is gone: none of it passes for committed
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_CommitUser", u"nothing since the last commit"}));

  // The handle goes on in a new transaction.
  ASSERT_EQ(add(counters, u"C", "3"), 1u);
  ASSERT_EQ(VDB_CommitUser(txn), 1u);
  EXPECT_EQ(committed(u"C"), "3");
  EXPECT_EQ(committed(u"A"), "none");
  VDB_FreeUser(txn);
}

TEST_P(ServerDatabase, RefusedStatementUnderALockForgetsTheLockedRow) {
  HREQUEST locked = open(u"F00022"), other = open(u"F00022");
  ASSERT_EQ(add(locked, u"X", "1"), 1u);
  ASSERT_EQ(add(locked, u"Y", "2"), 1u);
  JCHAR x[11], y[11];
  set(x, u"X"), set(y, u"Y");
  Counter cx{}, cy{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(locked, 1, x, 1, &cx, 0), 1u);
  ASSERT_EQ(VDB_FetchKeyed(other, 1, y, 1, &cy, 0), 1u);
  set(cy.obnm, u"X");
  EXPECT_NE(VDB_UpdateCurrent(other, &cy), 1u);  // refused inside the lock's transaction, which ends
  EXPECT_TRUE(dbtest::traced(context_, {u"ended the transaction"}));
  // The row is no longer locked: writing it back now could undo another handle's update.
  cx.ukid = number("5");
  EXPECT_NE(VDB_UpdateCurrent(locked, &cx), 1u);
  EXPECT_TRUE(dbtest::traced(context_, {u"VDB_UpdateCurrent", u"no current row"}));
  EXPECT_EQ(committed(u"X"), "1");
  ASSERT_EQ(VDB_FetchKeyedForUpdate(locked, 1, x, 1, &cx, 0), 1u);
  cx.ukid = number("5");
  ASSERT_EQ(VDB_UpdateCurrent(locked, &cx), 1u);
  EXPECT_EQ(committed(u"X"), "5");
  VDB_CloseTable(locked);
  VDB_CloseTable(other);
}

TEST_P(ServerDatabase, TimestampBeyondTheServerRangeFailsAloneInsideATransaction) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST activities = nullptr;
  NID columns[2];
  dbtest::setName(columns[0], u"ACTVID"), dbtest::setName(columns[1], u"BGTM");
  ASSERT_EQ(VDB_OpenTable(txn, u"F01301", 1, columns, 2, nullptr, &activities), 1u);
  // The server holds 4714-11-24 BC to 294276 AD: the latest microsecond a
  // UTIME can name fits, the earliest does not.
  constexpr int64_t kServerFirst = -210866803200000000;  // 4714-11-24 BC, microseconds since 1970
  const struct {
    const char16_t *id;
    int64_t micros;
    bool stored;
  } cases[] = {{u"EPOCH", 0, true},
               {u"LATEST", std::numeric_limits<int64_t>::max(), true},
               {u"FIRST", kServerFirst, true},
               {u"TOOEARLY", kServerFirst - 1, false},
               {u"EARLIEST", std::numeric_limits<int64_t>::min(), false}};
  for (const auto &c : cases) {
    Activity a{};
    set(a.actvid, c.id);
    a.bgtm = UTIME{c.micros, 60, 1, 0};
    context_->trace.clear();
    EXPECT_EQ(VDB_InsertTable(activities, &a) == 1, c.stored) << c.micros;
    EXPECT_EQ(dbtest::traced(context_, {u"outside what the database holds"}), !c.stored) << c.micros;
  }
  ASSERT_EQ(VDB_CommitUser(txn), 1u);  // the refused ones took nothing else with them
  HREQUEST check = open(u"F01301", 1, {u"ACTVID", u"BGTM"});
  for (const auto &c : cases) {
    JCHAR key[37];
    set(key, c.id);
    Activity back{};
    EXPECT_EQ(VDB_FetchKeyed(check, 1, key, 1, &back, 0) == 1, c.stored);
    if (c.stored) {
      EXPECT_EQ(back.bgtm.llMicroseconds, c.micros);
    }
  }
  VDB_CloseTable(check);
  VDB_FreeUser(txn);
}

INSTANTIATE_TEST_SUITE_P(Server, ServerDatabase, ::testing::Values(dbtest::Engine::Postgres), dbtest::engineName);

}  // namespace
