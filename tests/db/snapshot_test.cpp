// What the fetches of one business-function call see: with SQLite one read
// snapshot per handle, which ends before the call writes, locks or commits,
// so the call reads its own writes and never fails to write.
#include "db_fixture.h"

namespace {

using dbtest::Counter;
using dbtest::text;

std::function<void()> gBody;  // of the business function the test runs as the runtime runs one
ID runBody(LPBHVRCOM, LPVOID, LPVOID) { return gBody(), ER_SUCCESS; }

class Snapshot : public dbtest::DbTest {};

TEST_P(Snapshot, ACallReadsOneSnapshotUntilItWritesAndNeverFailsToWriteOrLock) {
  addCounter(u"A", "1");
  HREQUEST reader = open(u"F00022"), writer = open(u"F00022", 1, {}, newUser());
  auto value = [&] {
    Counter c{};
    return VDB_FetchKeyed(reader, 1, u"A", 1, &c, 0) == 1 ? text(c.ukid) : "none";
  };
  // Another session writes, behind every handle of the test.
  auto setBehind = [&](int v) { ASSERT_TRUE(rawSql("UPDATE \"F00022\" SET \"UKID\" = " + std::to_string(v))); };
  gBody = [&] {
    EXPECT_EQ(value(), "1");
    setBehind(2);
    EXPECT_EQ(value(), postgres() ? "2" : "1");  // a server reads each statement afresh
    Counter c{};
    ASSERT_EQ(VDB_FetchKeyedForUpdate(reader, 1, u"A", 1, &c, 0), 1u);  // a lock reads the latest row
    EXPECT_EQ(text(c.ukid), "2");
    c.ukid = dbtest::number("3");
    ASSERT_EQ(VDB_UpdateCurrent(reader, &c), 1u);
    EXPECT_EQ(value(), "3");
    const Counter written = dbtest::counter(u"A", "4");
    ASSERT_EQ(VDB_UpdateTable(writer, 1, u"A", 1, &written), 1u);  // another handle of the call
    EXPECT_EQ(value(), "4");
    setBehind(5);
  };
  ASSERT_EQ(vyr::callFunction(context_, BSFN_CATALOG_ENTRY{"SnapshotProbe", runBody, nullptr, "TEST"}, nullptr),
            ER_SUCCESS);
  EXPECT_EQ(value(), "5");  // the call's snapshot ended with it
}

INSTANTIATE_TEST_SUITE_P(Engines, Snapshot, dbtest::engines(), dbtest::engineName);

}  // namespace
