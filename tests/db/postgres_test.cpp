// What only a database server brings: sessions that end under a handle, and
// statements the server refuses inside a transaction.
#include <limits>

#include "db_fixture.h"

namespace {

using dbtest::Counter;
using dbtest::counter;
using dbtest::number;
using dbtest::traced;

class ServerDatabase : public dbtest::DbTest {
 protected:
  static ID add(HREQUEST counters, std::u16string_view name, const char *value) {
    const Counter c = counter(name, value);
    return VDB_InsertTable(counters, &c);
  }
};

TEST_P(ServerDatabase, LostSessionFailsOneOperationAndTheRequestReconnects) {
  HREQUEST counters = open(u"F00022");
  ASSERT_EQ(add(counters, u"LOST", "1"), 1u);
  Counter c{};
  auto increment = [&](const char *value) {
    if (VDB_FetchKeyedForUpdate(counters, 1, u"LOST", 1, &c, 0) != 1) return false;
    c.ukid = number(value);
    return VDB_UpdateCurrent(counters, &c) == 1;
  };
  ASSERT_TRUE(increment("1"));  // both statements prepared

  // Lost while the row is locked: the write (sent with its commit) fails, and no lock outlives the session.
  ASSERT_EQ(VDB_FetchKeyedForUpdate(counters, 1, u"LOST", 1, &c, 0), 1u);
  ASSERT_GE(pg_->terminateSessions(location_), 1) << pg_->error();
  c.ukid = number("2");
  EXPECT_NE(VDB_UpdateCurrent(counters, &c), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_UpdateCurrent", u"connection to the database was lost"}));
  EXPECT_EQ(committed(u"LOST"), "1");
  ASSERT_TRUE(increment("3"));
  EXPECT_EQ(committed(u"LOST"), "3");

  // Lost between operations: the next lock (sent with its BEGIN) fails once, the one after works.
  ASSERT_GE(pg_->terminateSessions(location_), 1) << pg_->error();
  context_->trace.clear();
  EXPECT_NE(VDB_FetchKeyedForUpdate(counters, 1, u"LOST", 1, &c, 0), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_FetchKeyedForUpdate", u"connection to the database was lost"}));
  ASSERT_TRUE(increment("4"));
  EXPECT_EQ(committed(u"LOST"), "4");
}

TEST_P(ServerDatabase, PooledSessionEndedByTheServerIsReplacedUnnoticed) {
  ASSERT_EQ(add(open(u"F00022"), u"POOLED", "5"), 1u);
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
  HREQUEST counters = open(u"F00022", 1, {}, txn);
  ASSERT_EQ(add(counters, u"A", "1"), 1u);
  ASSERT_EQ(add(counters, u"B", "2"), 1u);
  Counter c{};
  ASSERT_EQ(VDB_FetchKeyed(counters, 1, u"B", 1, &c, 0), 1u);
  c = counter(u"A", "2");  // B's new key is taken: the server refuses the update
  EXPECT_NE(VDB_UpdateCurrent(counters, &c), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_UpdateCurrent", u"already exists"}));
  EXPECT_TRUE(traced(context_, {u"ended the transaction"}));
  EXPECT_EQ(committed(u"A"), "none");
  EXPECT_NE(VDB_CommitUser(txn), 1u);  // half the work is gone: none of it passes for committed
  EXPECT_TRUE(traced(context_, {u"VDB_CommitUser", u"nothing since the last commit"}));

  // The handle goes on in a new transaction.
  ASSERT_EQ(add(counters, u"C", "3"), 1u);
  ASSERT_EQ(VDB_CommitUser(txn), 1u);
  EXPECT_EQ(committed(u"C") + committed(u"A"), "3none");
  VDB_FreeUser(txn);
}

TEST_P(ServerDatabase, RefusedStatementUnderALockForgetsTheLockedRow) {
  HREQUEST locked = open(u"F00022"), other = open(u"F00022");
  ASSERT_EQ(add(locked, u"X", "1"), 1u);
  ASSERT_EQ(add(locked, u"Y", "2"), 1u);
  Counter cx{}, cy{};
  ASSERT_EQ(VDB_FetchKeyedForUpdate(locked, 1, u"X", 1, &cx, 0), 1u);
  ASSERT_EQ(VDB_FetchKeyed(other, 1, u"Y", 1, &cy, 0), 1u);
  cy = counter(u"X", "2");
  EXPECT_NE(VDB_UpdateCurrent(other, &cy), 1u);  // refused inside the lock's transaction, which ends
  EXPECT_TRUE(traced(context_, {u"ended the transaction"}));
  // The row is no longer locked: writing it back now could undo another handle's update.
  cx.ukid = number("5");
  EXPECT_NE(VDB_UpdateCurrent(locked, &cx), 1u);
  EXPECT_TRUE(traced(context_, {u"VDB_UpdateCurrent", u"no current row"}));
  EXPECT_EQ(committed(u"X"), "1");
  ASSERT_EQ(VDB_FetchKeyedForUpdate(locked, 1, u"X", 1, &cx, 0), 1u);
  cx.ukid = number("5");
  ASSERT_EQ(VDB_UpdateCurrent(locked, &cx), 1u);
  EXPECT_EQ(committed(u"X"), "5");
}

TEST_P(ServerDatabase, TimestampBeyondTheServerRangeFailsAloneInsideATransaction) {
  HUSER txn = nullptr;
  ASSERT_EQ(VDB_InitUser(context_, &txn, nullptr, 1), 1u);
  HREQUEST activities = open(u"F01301", 1, {u"ACTVID", u"BGTM"}, txn);
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
  struct {
    JCHAR actvid[37];
    UTIME bgtm;
  } a{};
  for (const auto &c : cases) {
    dbtest::set(a.actvid, c.id);
    a.bgtm = UTIME{c.micros, 60, 1, 0};
    context_->trace.clear();
    EXPECT_EQ(VDB_InsertTable(activities, &a) == 1, c.stored) << c.micros;
    EXPECT_EQ(traced(context_, {u"outside what the database holds"}), !c.stored) << c.micros;
  }
  ASSERT_EQ(VDB_CommitUser(txn), 1u);  // the refused ones took nothing else with them
  for (const auto &c : cases) {
    EXPECT_EQ(VDB_FetchKeyed(activities, 1, c.id, 1, &a, 0) == 1, c.stored);
    if (c.stored) {
      EXPECT_EQ(a.bgtm.llMicroseconds, c.micros);
    }
  }
}

// A fetch that waits for another session's lock past the lock timeout, or
// past the statement timeout the "dbtimeout" setting gives, fails as such,
// with its error: it is not "no row", which a caller may answer with an insert.
TEST_P(ServerDatabase, FetchThatGivesUpOnALockIsAFailureNotAMissingRow) {
  ASSERT_EQ(add(open(u"F00022"), u"HELD", "1"), 1u);
  std::string impatient = location_;
  impatient.replace(impatient.find("options="), 8, "options=-clock_timeout%3D200%20");
  ASSERT_TRUE(pg_->run("BEGIN; LOCK TABLE \"" + dbtest::PgScratch::schemaOf(location_) +
                       "\".\"F00022\" IN ACCESS EXCLUSIVE MODE"))
      << pg_->error();
  for (const auto &[settings, error] :
       {std::pair<std::map<std::string, std::string>, std::u16string>{{{"env.TEST", impatient}}, u"DBLK F00022"},
        {{{"dbtimeout", "1"}}, u"DBTO F00022"}}) {
    LPBHVRCOM context = extraContext(settings);
    HUSER user = nullptr;
    ASSERT_EQ(VDB_InitBhvr(context, &user, nullptr, 0), 1u);
    Counter c{};
    EXPECT_EQ(VDB_FetchKeyed(open(u"F00022", 1, {}, user), 1, u"NONE", 1, &c, 0), VDB_FAILED);
    ASSERT_EQ(context->errors.size(), 1u);
    EXPECT_EQ(context->errors[0].id + u" " + context->errors[0].text, error);
  }
  ASSERT_TRUE(pg_->run("ROLLBACK")) << pg_->error();
}

INSTANTIATE_TEST_SUITE_P(Server, ServerDatabase, ::testing::Values(dbtest::Engine::Postgres), dbtest::engineName);

}  // namespace
