// What the fetches of one business-function call see: with SQLite one read
// snapshot per handle, which ends before the call writes, locks or commits,
// so the call reads its own writes and never fails to write.
#include "db_fixture.h"

namespace {

using dbtest::Counter;
using dbtest::counter;
using dbtest::text;

// The body of the business function the test runs as the runtime runs one.
std::function<void()> gBody;
ID runBody(LPBHVRCOM, LPVOID, LPVOID) {
  gBody();
  return ER_SUCCESS;
}

class Snapshot : public dbtest::DbTest {
 protected:
  void inCall(std::function<void()> body) {
    gBody = std::move(body);
    const BSFN_CATALOG_ENTRY entry{"SnapshotProbe", runBody, nullptr, "TEST"};
    ASSERT_EQ(vyr::callFunction(context_, entry, nullptr), ER_SUCCESS);
  }
  // A counter's value as the request reads it ("none" when missing).
  static std::string value(HREQUEST counters, const char16_t *name) {
    Counter c{};
    return VDB_FetchKeyed(counters, 1, name, 1, &c, 0) == 1 ? text(c.ukid) : "none";
  }
  // Another session writes, behind every handle of the test.
  void setBehind(const char *name, int value) {
    ASSERT_TRUE(
        rawSql("UPDATE \"F00022\" SET \"UKID\" = " + std::to_string(value) + " WHERE \"OBNM\" = '" + name + "'"));
  }
};

TEST_P(Snapshot, ACallReadsOneSnapshotUntilItWritesAndNeverFailsToWriteOrLock) {
  addCounter(u"A", "1");
  addCounter(u"B", "1");
  HREQUEST reader = open(u"F00022"), writer = open(u"F00022", 1, {}, newUser());
  const char *inSnapshot = postgres() ? "2" : "1";  // a server reads each statement afresh
  inCall([&] {
    EXPECT_EQ(value(reader, u"A"), "1");
    setBehind("A", 2);
    setBehind("B", 2);
    EXPECT_EQ(value(reader, u"A"), inSnapshot);
    EXPECT_EQ(value(reader, u"B"), inSnapshot);
    // A lock reads the latest row, though the snapshot is older.
    Counter c{};
    ASSERT_EQ(VDB_FetchKeyedForUpdate(reader, 1, u"A", 1, &c, 0), 1u);
    EXPECT_EQ(text(c.ukid), "2");
    c.ukid = dbtest::number("3");
    ASSERT_EQ(VDB_UpdateCurrent(reader, &c), 1u);
    EXPECT_EQ(value(reader, u"A"), "3");
    EXPECT_EQ(value(reader, u"B"), "2");  // a new snapshot after the lock
    // A write through another handle of the call ends this one's snapshot too.
    setBehind("A", 4);
    const Counter b = counter(u"B", "5");
    ASSERT_EQ(VDB_UpdateTable(writer, 1, u"B", 1, &b), 1u);
    EXPECT_EQ(value(reader, u"B"), "5");
    EXPECT_EQ(value(reader, u"A"), "4");
    ASSERT_EQ(VDB_InsertTable(reader, &c), VDB_FAILED);  // its own write ends it as well
    setBehind("B", 6);
    EXPECT_EQ(value(reader, u"B"), "6");
  });
  setBehind("A", 7);
  EXPECT_EQ(value(reader, u"A"), "7");  // the call's snapshot ended with it
}

INSTANTIATE_TEST_SUITE_P(Engines, Snapshot, dbtest::engines(), dbtest::engineName);

}  // namespace
