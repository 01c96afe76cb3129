// beginAppointmentSync driven as a PIM client drives it: whole runs of
// documents against activities written through the companions.
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <regex>

#include "db/db_fixture.h"
#include "runtime/pimsync.h"
#include "support/bsfn_fixture.h"
#include "sync/B90CA701.h"

namespace {

using bsfntest::BsfnTest;
using vyr::toUtf8;

struct Answer {
  ID code = 99;
  std::string text;
};

class AppointmentSyncTest : public BsfnTest, public ::testing::WithParamInterface<dbtest::Engine> {
 protected:
  void SetUp() override {
    BsfnTest::SetUp();
    if (GetParam() == dbtest::Engine::Postgres) {
      const char *base = std::getenv("FAMOFLAS_TEST_POSTGRES");
      if (base == nullptr || *base == '\0') GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server";
      pg_ = std::make_unique<dbtest::PgScratch>(base);
      location_ = pg_->newLocation();
      ASSERT_FALSE(location_.empty()) << pg_->error();
    } else {
      location_ = dir_ + "/main.db";
    }
  }
  void TearDown() override {
    BsfnTest::TearDown();
    pg_.reset();
  }
  // The trace lines the context's calls wrote, taken away.
  static std::vector<std::string> traces(LPBHVRCOM context) {
    std::vector<std::string> out;
    for (const std::u16string &line : context->trace) out.push_back(toUtf8(line));
    context->trace.clear();
    return out;
  }
  std::unique_ptr<dbtest::PgScratch> pg_;
  std::string location_;  // the database of the test's engine

  LPBHVRCOM user(const std::string &name, const std::string &an8) {
    return newContext({{"user", name}, {"an8", an8}, {"env.MAIN", location_}});
  }

  static std::string document(const std::string &user, const std::string &command, const std::string &child,
                              const std::string &type = "Appointments") {
    return "<?xml version=\"1.0\"?><PIMREQ username=\"" + user + "\" command=\"" + command + "\" appDataType=\"" +
           type + "\">" + child + "</PIMREQ>";
  }
  static std::string getInfo(int start, int count, const std::string &anchor) {
    return "<GETINFO startRec=\"" + std::to_string(start) + "\" numRecsRequested=\"" + std::to_string(count) +
           "\" syncAnchor=\"" + anchor + "\"/>";
  }

  Answer sync(LPBHVRCOM context, const std::string &request) {
    const vyr::PimSyncOutcome outcome = vyr::runPimSync(context, vyr::fromUtf8(request));
    EXPECT_EQ(outcome.status, vyr::PimSyncOutcome::Status::Ran) << outcome.error;
    return {outcome.code, toUtf8(outcome.response)};
  }
  Answer sync(LPBHVRCOM context, const std::string &name, const std::string &command, const std::string &child,
              const std::string &type = "Appointments") {
    return sync(context, document(name, command, child, type));
  }

  // Adds an appointment of the user's address number through InsertActivity.
  void addActivity(LPBHVRCOM context, const std::u16string &id, const std::u16string &an8,
                   const std::u16string &subject, char16_t pimFlag = u'1', char16_t todo = u'0') {
    DSACTIVITY ds{};
    ASSERT_EQ(call("InitializeActivity", &ds, context), ER_SUCCESS);
    vyrStrcpyFillAndTerminate(ds.szActivityID, id.c_str(), 37, 0);
    ds.mnAddressNumber = bsfntest::math(an8.c_str());
    vyrStrcpyFillAndTerminate(ds.szSubject, subject.c_str(), 121, 0);
    vyrUTime_Set(&ds.utStartTime, 2024, 3, 4, 9, 30, 0, nullptr);
    vyrUTime_Set(&ds.utEndTime, 2024, 3, 4, 10, 0, 0, nullptr);
    ds.cPIMFlag = pimFlag;
    ds.cToDoTask = todo;
    ASSERT_EQ(call("InsertActivity", &ds, context), ER_SUCCESS) << ::testing::PrintToString(errors(context));
  }

  ID changeSubject(LPBHVRCOM context, const std::u16string &id, const std::u16string &subject) {
    DSACTIVITY ds{};
    vyrStrcpyFillAndTerminate(ds.szActivityID, id.c_str(), 37, 0);
    EXPECT_EQ(call("SelectActivityUTC", &ds, context), ER_SUCCESS);
    vyrStrcpyFillAndTerminate(ds.szSubject, subject.c_str(), 121, 0);
    vyrStrcpy(ds.szUpdateColumns, u"ACTSUBJ");
    return call("UpdateActivityUTC", &ds, context);
  }

  ID deleteActivity(LPBHVRCOM context, const std::u16string &id) {
    DSACTIVITY ds{};
    vyrStrcpyFillAndTerminate(ds.szActivityID, id.c_str(), 37, 0);
    return call("DeleteActivity", &ds, context);
  }

  static std::string attribute(const std::string &text, const std::string &name) {
    const std::string key = " " + name + "=\"";
    const size_t at = text.find(key);
    if (at == std::string::npos) return "<none>";
    return text.substr(at + key.size(), text.find('"', at + key.size()) - at - key.size());
  }
  // The uids of the record elements of a response, in order.
  static std::vector<std::string> uids(const std::string &text, const std::string &event = "") {
    std::vector<std::string> out;
    const std::regex record("<(APPT|TASK) uid=\"([^\"]*)\"[^>]*?lastEvent=\"([A-Za-z]+)\"");
    for (std::sregex_iterator it(text.begin(), text.end(), record), end; it != end; ++it)
      if (event.empty() || (*it)[3] == event) out.push_back((*it)[2]);
    return out;
  }

  // A whole run from the anchor: getcount, pages of pageSize, endsync. Returns the uids sent and the new anchor.
  std::vector<std::string> run(LPBHVRCOM context, const std::string &name, std::string *anchor, int pageSize,
                               const std::string &event = "") {
    const Answer count = sync(context, name, "getcount", getInfo(1, pageSize, *anchor));
    EXPECT_EQ(count.code, ER_SUCCESS) << count.text;
    const int total = std::stoi("0" + attribute(count.text, "totalRecs"));
    std::vector<std::string> sent;
    int pageTotals = 0;
    for (int start = 1; start <= total; start += pageSize) {
      const Answer page = sync(context, name, "getdetails", getInfo(start, pageSize, *anchor));
      EXPECT_EQ(page.code, ER_SUCCESS) << page.text;
      pageTotals += std::stoi("0" + attribute(page.text, "totalRecs"));
      for (const std::string &uid : uids(page.text, event)) sent.push_back(uid);
      if (pageSize < 0) break;
    }
    EXPECT_EQ(pageTotals, total) << "the pages add up to totalRecs";
    EXPECT_EQ(sync(context, name, "endsync", "<ENDSYNC SyncResult=\"Success\"/>").text,
              "<?xml version=\"1.0\"?> <PIMRESP/>");
    *anchor = attribute(count.text, "currentSyncAnchor");
    return sent;
  }

  // Whole seconds: a new anchor must differ from the last.
  static void nextSecond() { ::usleep(1100 * 1000); }
};

TEST_P(AppointmentSyncTest, InitialThenIncrementalRunsReportExactlyTheChanges) {
  LPBHVRCOM alice = user("ALICE", "100");
  for (const char16_t *id : {u"A1", u"A2", u"A3", u"A4", u"A5"}) addActivity(alice, id, u"100", u"Meeting & <co>");
  addActivity(alice, u"T1", u"100", u"a task", u'1', u'1');      // a task: not in an appointment run
  addActivity(alice, u"X1", u"100", u"not synchronised", u'0');  // not kept with the PIM client

  // A change in the anchor's own second belongs to the next run.
  nextSecond();
  std::string anchor = "19700101000000Z";
  const Answer count = sync(alice, "ALICE", "getcount", getInfo(1, 2, anchor));
  EXPECT_EQ(attribute(count.text, "totalRecs"), "5");
  EXPECT_EQ(attribute(count.text, "totalNewRecs"), "5");
  EXPECT_EQ(attribute(count.text, "totalDeleteRecs"), "0");
  // Pages: 3 and 4 of five; from 3 to the end; past the end none.
  const struct {
    int start, count;
    size_t records;
  } pages[] = {{3, 2, 2}, {3, -1, 3}, {6, 2, 0}, {1, 2, 2}};
  for (const auto &page : pages) {
    const Answer answer = sync(alice, "ALICE", "getdetails", getInfo(page.start, page.count, anchor));
    EXPECT_EQ(uids(answer.text).size(), page.records) << answer.text;
    EXPECT_EQ(attribute(answer.text, "startRec"), std::to_string(page.start));
  }
  // A retried page gives the same records.
  const Answer first = sync(alice, "ALICE", "getdetails", getInfo(1, 2, anchor));
  const Answer again = sync(alice, "ALICE", "getdetails", getInfo(1, 2, anchor));
  EXPECT_EQ(uids(first.text), uids(again.text));
  EXPECT_EQ(uids(first.text), (std::vector<std::string>{"A1", "A2"}));
  EXPECT_NE(first.text.find("subject=\"Meeting &amp; &lt;co&gt;\" description=\"\" location=\"\" allDayEvent=\"N\" "
                            "startDate=\"20240304\" startTime=\"0930\" endDate=\"20240304\" endTime=\"1000\" "
                            "alarmDate=\"EOA\" alarmTime=\"EOA\" alarmFlag=\"No\" privateFlag=\"N\"></APPT>"),
            std::string::npos)
      << first.text;
  EXPECT_EQ(sync(alice, "ALICE", "endsync", "<ENDSYNC SyncResult=\"Success\"/>").code, ER_SUCCESS);
  anchor = attribute(count.text, "currentSyncAnchor");

  // Server-side changes, a deletion, a new one: the next run reports exactly those.
  nextSecond();
  ASSERT_EQ(changeSubject(alice, u"A2", u"moved"), ER_SUCCESS);
  ASSERT_EQ(deleteActivity(alice, u"A3"), ER_SUCCESS);
  addActivity(alice, u"A6", u"100", u"new one");
  nextSecond();
  const std::vector<std::string> sent = run(alice, "ALICE", &anchor, 2);
  EXPECT_EQ(sent, (std::vector<std::string>{"A3", "A2", "A6"}));
  // Nothing changed since: nothing to send; the deletion was taken.
  nextSecond();
  EXPECT_TRUE(run(alice, "ALICE", &anchor, -1).empty());
}

TEST_P(AppointmentSyncTest, AChangeDuringTheRunOrInTheAnchorsSecondIsReportedNextTime) {
  LPBHVRCOM alice = user("ALICE", "100");
  addActivity(alice, u"A1", u"100", u"one");
  addActivity(alice, u"A2", u"100", u"two");
  nextSecond();
  std::string anchor = "19700101000000Z";
  const Answer count = sync(alice, "ALICE", "getcount", getInfo(1, -1, anchor));
  // Changed between getcount and getdetails, and a new one in the anchor's own second.
  ASSERT_EQ(changeSubject(alice, u"A1", u"changed during the run"), ER_SUCCESS);
  addActivity(alice, u"A3", u"100", u"three");
  const Answer page = sync(alice, "ALICE", "getdetails", getInfo(1, -1, anchor));
  EXPECT_EQ(uids(page.text), (std::vector<std::string>{"A1", "A2"}));
  sync(alice, "ALICE", "endsync", "<ENDSYNC SyncResult=\"Success\"/>");
  anchor = attribute(count.text, "currentSyncAnchor");
  nextSecond();
  std::vector<std::string> next = run(alice, "ALICE", &anchor, -1);
  std::sort(next.begin(), next.end());
  EXPECT_EQ(next, (std::vector<std::string>{"A1", "A3"}));
}

TEST_P(AppointmentSyncTest, ClientPutsAreAppliedAndAServerChangeDuringTheSyncIsAConflict) {
  LPBHVRCOM alice = user("ALICE", "100");
  std::string anchor = "19700101000000Z";
  const std::string appointment =
      "<APPT uid=\"C1\" subject=\"weekly\" description=\"d\" location=\"here\" allDayEvent=\"N\" "
      "startDate=\"20240105\" startTime=\"0800\" endDate=\"20240105\" endTime=\"0900\" alarmFlag=\"No\" "
      "privateFlag=\"Y\" repeatType=\"WEEKLY\"><REPEAT startDate=\"20240105\" endDate=\"-1\" dayOfWeek=\"F\" "
      "frequency=\"1\" weekOfMonth=\"0\"><EXCLUSION exclusionDate=\"20240112\"/><EXCLUSION "
      "exclusionDate=\"20240119\"/></REPEAT></APPT>";
  const Answer created = sync(alice, "ALICE", "putnew", "<PUTINFO numRecsToWrite=\"1\">" + appointment + "</PUTINFO>");
  EXPECT_EQ(created.code, ER_SUCCESS) << created.text;
  EXPECT_EQ(attribute(created.text, "numRecsWritten"), "1");
  EXPECT_NE(created.text.find("<APPT uid=\"C1\" lastEvent=\"New\" putRequestIndex=\"0\" syncAnchor="),
            std::string::npos)
      << created.text;

  // The initial run sends the pattern; no end is "-1".
  nextSecond();
  const Answer count = sync(alice, "ALICE", "getcount", getInfo(1, -1, anchor));
  const Answer page = sync(alice, "ALICE", "getdetails", getInfo(1, -1, anchor));
  EXPECT_NE(page.text.find(" privateFlag=\"Y\" repeatType=\"WEEKLY\"><REPEAT startDate=\"20240105\" endDate=\"-1\" "
                           "dayOfWeek=\"F\" frequency=\"1\" weekOfMonth=\"0\"><EXCLUSION exclusionDate=\"20240112\"/>"
                           "<EXCLUSION exclusionDate=\"20240119\"/></REPEAT></APPT>"),
            std::string::npos)
      << page.text;

  // The server changes C1 during the sync: the client's modify is refused.
  ASSERT_EQ(changeSubject(alice, u"C1", u"server"), ER_SUCCESS);
  const Answer conflict = sync(alice, "ALICE", "putmodified",
                               "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"C1\" requestedEvent=\"Modify\" "
                               "subject=\"client\"/></PUTINFO>");
  EXPECT_EQ(conflict.code, ER_WARNING);
  EXPECT_NE(conflict.text.find("<APPT uid=\"C1\" lastEvent=\"Modify\" putRequestIndex=\"0\" resultID=\"2\" "
                               "resultSystemMessage=\"Failure\" resultUserMessage=\"Record was changed during the "
                               "sync\" syncAnchor=\"" +
                               attribute(count.text, "currentSyncAnchor") + "\"/>"),
            std::string::npos)
      << conflict.text;
  DSACTIVITY stored{};
  vyrStrcpy(stored.szActivityID, u"C1");
  ASSERT_EQ(call("SelectActivityUTC", &stored, alice), ER_SUCCESS);
  EXPECT_EQ(bsfntest::text(stored.szSubject), u"server");
  sync(alice, "ALICE", "endsync", "<ENDSYNC SyncResult=\"Success\"/>");

  // Once the client has the server's version, its modify applies; a delete removes row and pattern.
  anchor = attribute(count.text, "currentSyncAnchor");
  nextSecond();
  EXPECT_EQ(run(alice, "ALICE", &anchor, -1), (std::vector<std::string>{"C1"}));
  const Answer modified = sync(alice, "ALICE", "putmodified",
                               "<PUTINFO numRecsToWrite=\"2\"><APPT uid=\"C1\" requestedEvent=\"Modify\" "
                               "subject=\"client\"/><APPT uid=\"gone\" requestedEvent=\"Delete\"/></PUTINFO>");
  EXPECT_EQ(modified.code, ER_SUCCESS) << modified.text;
  ASSERT_EQ(call("SelectActivityUTC", &stored, alice), ER_SUCCESS);
  EXPECT_EQ(bsfntest::text(stored.szSubject), u"client");
  EXPECT_EQ(bsfntest::text(stored.szLocation), u"here") << "attributes left out keep their value";
  // A changed pattern is updated in place; a new exclusion date joins the two stored.
  const Answer repattern = sync(alice, "ALICE", "putmodified",
                                "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"C1\" requestedEvent=\"Modify\" "
                                "repeatType=\"DAILY\"><REPEAT startDate=\"20240106\" endDate=\"20240301\" "
                                "dayOfWeek=\"MT\" frequency=\"2\" weekOfMonth=\"0\"><EXCLUSION "
                                "exclusionDate=\"20240112\"/><EXCLUSION exclusionDate=\"20240126\"/></REPEAT></APPT>"
                                "</PUTINFO>");
  EXPECT_EQ(repattern.code, ER_SUCCESS) << repattern.text;
  DSACTIVITY after{};
  vyrStrcpy(after.szActivityID, u"C1");
  ASSERT_EQ(call("SelectActivityUTC", &after, alice), ER_SUCCESS);
  EXPECT_EQ(bsfntest::text(after.szRecurrenceID), bsfntest::text(stored.szRecurrenceID));
  DSRECURRENCE updated{};
  vyrStrcpy(updated.szRecurrenceID, after.szRecurrenceID);
  ASSERT_EQ(call("SelectRecurrenceUTC", &updated, alice), ER_SUCCESS);
  EXPECT_EQ(bsfntest::text(updated.szRecurrenceType), u"DAILY");
  EXPECT_EQ(bsfntest::iso(updated.jdEndDate), "2024-03-01");
  nextSecond();
  sync(alice, "ALICE", "getcount", getInfo(1, -1, "19700101000000Z"));
  const Answer withPattern = sync(alice, "ALICE", "getdetails", getInfo(1, -1, "19700101000000Z"));
  EXPECT_NE(withPattern.text.find("endDate=\"20240301\" dayOfWeek=\"MT\" frequency=\"2\" weekOfMonth=\"0\">"
                                  "<EXCLUSION exclusionDate=\"20240112\"/><EXCLUSION exclusionDate=\"20240119\"/>"
                                  "<EXCLUSION exclusionDate=\"20240126\"/></REPEAT>"),
            std::string::npos)
      << withPattern.text;
  vyrStrcpy(stored.szRecurrenceID, after.szRecurrenceID);
  EXPECT_EQ(sync(alice, "ALICE", "putdeleted",
                 "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"C1\" requestedEvent=\"Delete\"/></PUTINFO>")
                .code,
            ER_SUCCESS);
  EXPECT_EQ(call("SelectActivityUTC", &stored, alice), ER_ERROR);
  DSRECURRENCE pattern{};
  vyrStrcpy(pattern.szRecurrenceID, stored.szRecurrenceID);
  EXPECT_EQ(call("SelectRecurrenceUTC", &pattern, alice), ER_ERROR);
}

TEST_P(AppointmentSyncTest, TwoUsersNeverSeeEachOthersActivities) {
  LPBHVRCOM alice = user("ALICE", "100");
  LPBHVRCOM bob = user("BOB", "200");
  addActivity(alice, u"A1", u"100", u"alice's");
  addActivity(bob, u"B1", u"200", u"bob's");
  nextSecond();
  std::string aliceAnchor = "19700101000000Z", bobAnchor = aliceAnchor;
  EXPECT_EQ(run(alice, "ALICE", &aliceAnchor, -1), (std::vector<std::string>{"A1"}));
  EXPECT_EQ(run(bob, "BOB", &bobAnchor, -1), (std::vector<std::string>{"B1"}));
  // Bob cannot change or delete Alice's activity by naming its id; a new one of that id gets an id of its own.
  const Answer forged = sync(bob, "BOB", "putmodified",
                             "<PUTINFO numRecsToWrite=\"2\"><APPT uid=\"A1\" requestedEvent=\"Modify\" "
                             "subject=\"bob\"/><APPT uid=\"A1\" requestedEvent=\"HardDelete\"/></PUTINFO>");
  EXPECT_EQ(attribute(forged.text, "numRecsWritten"), "0") << forged.text;
  const Answer created = sync(bob, "BOB", "putnew",
                              "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"A1\" "
                              "subject=\"bob\"/></PUTINFO>");
  EXPECT_EQ(attribute(created.text, "numRecsWritten"), "1");
  EXPECT_NE(uids(created.text).at(0), "A1");
  DSACTIVITY stored{};
  vyrStrcpy(stored.szActivityID, u"A1");
  ASSERT_EQ(call("SelectActivityUTC", &stored, alice), ER_SUCCESS);
  EXPECT_EQ(bsfntest::text(stored.szSubject), u"alice's");
}

// Every F01331 row (patterns and exclusion dates), bytes as fetched.
std::vector<std::string> recurrenceRows(LPBHVRCOM context) {
  std::vector<std::string> rows;
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  if (VDB_InitUser(context, &user, nullptr, 1) != VDB_SUCCESS) return rows;
  if (VDB_OpenTable(user, u"F01331", 1, nullptr, 0, nullptr, &request) == VDB_SUCCESS &&
      VDB_SelectKeyed(request, 1, nullptr, 0) == VDB_SUCCESS) {
    unsigned char row[1024] = {};
    while (VDB_Fetch(request, row, 0) == VDB_SUCCESS) {
      rows.emplace_back(reinterpret_cast<const char *>(row), sizeof row);
      std::memset(row, 0, sizeof row);
    }
    VDB_CloseTable(request);
  }
  VDB_FreeUser(user);
  return rows;
}

TEST_P(AppointmentSyncTest, MalformedRequestsChangeNothingAndAnswerCleanly) {
  LPBHVRCOM alice = user("ALICE", "100");
  addActivity(alice, u"A1", u"100", u"kept");
  // R1 repeats weekly with two dates excluded: a pattern row and two exclusion rows.
  ASSERT_EQ(sync(alice, "ALICE", "putnew",
                 "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"R1\" subject=\"r\" startDate=\"20240105\" "
                 "startTime=\"0800\" endDate=\"20240105\" endTime=\"0900\" repeatType=\"WEEKLY\"><REPEAT "
                 "startDate=\"20240105\" endDate=\"-1\" dayOfWeek=\"F\" frequency=\"1\" weekOfMonth=\"0\">"
                 "<EXCLUSION exclusionDate=\"20240112\"/><EXCLUSION exclusionDate=\"20240119\"/></REPEAT></APPT>"
                 "</PUTINFO>")
                .code,
            ER_SUCCESS);
  const std::vector<std::string> recurrences = recurrenceRows(alice);
  ASSERT_EQ(recurrences.size(), 3u);
  const std::string badRepeat =
      "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"R1\" requestedEvent=\"Modify\" "
      "repeatType=\"DAILY\"><REPEAT startDate=\"20240105\" endDate=\"-1\" "
      "dayOfWeek=\"F\" frequency=\"1\" weekOfMonth=\"0\">";
  const std::string tooLong(121, 'x');
  const struct {
    std::string command, child;
    ID code;
  } cases[] = {
      {"getcount", "<GETINFO startRec=\"1\"/>", ER_ERROR},
      {"getcount", "<PUTINFO/>", ER_ERROR},
      {"getcount", getInfo(1, -1, "2024"), ER_ERROR},
      {"frobnicate", getInfo(1, -1, "19700101000000Z"), ER_ERROR},
      {"putnew", "<PUTINFO/>", ER_ERROR},
      {"putnew", "<PUTINFO numRecsToWrite=\"2\"><APPT uid=\"N1\"/></PUTINFO>", ER_ERROR},
      {"putnew", "<PUTINFO numRecsToWrite=\"0\"><APPT uid=\"N1\"/></PUTINFO>", ER_ERROR},
      {"putnew", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"N1\" subject=\"" + tooLong + "\"/></PUTINFO>", ER_WARNING},
      {"putnew", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"N1\" startDate=\"20241340\"/></PUTINFO>", ER_WARNING},
      {"putnew", "<PUTINFO numRecsToWrite=\"1\"><TASK uid=\"N1\"/></PUTINFO>", ER_WARNING},
      {"putnew", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"N1\" repeatType=\"DAILY\"/></PUTINFO>", ER_WARNING},
      {"putmodified", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"A1\" requestedEvent=\"Zap\"/></PUTINFO>", ER_WARNING},
      {"putmodified", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"A1\"/></PUTINFO>", ER_WARNING},
      {"putmodified", "<PUTINFO numRecsToWrite=\"1\"><APPT requestedEvent=\"Delete\"/></PUTINFO>", ER_WARNING},
      {"putdeleted", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"A1\" requestedEvent=\"Modify\"/></PUTINFO>",
       ER_WARNING},
      {"endsync", "<ENDSYNC/>", ER_ERROR},
      {"putmodified", badRepeat + "<EXCLUSION exclusionDate=\"20241340\"/></REPEAT></APPT></PUTINFO>", ER_WARNING},
      {"putmodified",
       "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"R1\" requestedEvent=\"Modify\" repeatType=\"DAILY\">"
       "<REPEAT startDate=\"2024\" endDate=\"-1\"/></APPT></PUTINFO>",
       ER_WARNING},
      {"putmodified",
       "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"R1\" requestedEvent=\"Modify\" subject=\"" + tooLong +
           "\" repeatType=\"DAILY\"><REPEAT startDate=\"20240106\" endDate=\"-1\"/></APPT></PUTINFO>",
       ER_WARNING},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.command + " " + c.child.substr(0, 120));
    const Answer answer = sync(alice, "ALICE", c.command, c.child);
    EXPECT_EQ(answer.code, c.code) << answer.text;
    const std::string message = c.code == ER_WARNING ? "Failed to change record" : "<none>";
    EXPECT_EQ(attribute(answer.text, "resultUserMessage"), message);
    EXPECT_EQ(answer.text.empty(), c.code == ER_ERROR);
    DSACTIVITY probe{};
    vyrStrcpy(probe.szActivityID, u"N1");
    EXPECT_EQ(call("SelectActivityUTC", &probe, alice), ER_ERROR) << "a refused record is not written";
    vyrStrcpy(probe.szActivityID, u"A1");
    ASSERT_EQ(call("SelectActivityUTC", &probe, alice), ER_SUCCESS);
    EXPECT_EQ(bsfntest::text(probe.szSubject), u"kept");
    EXPECT_EQ(recurrenceRows(alice), recurrences) << "patterns and exclusions stay as they were";
  }
}

// The writer's short form, for an activity not flagged for the PIM: the run's selection takes flagged
// activities only, so the writer is driven directly.
TEST(AppointmentSyncWriter, AnActivityNotFlaggedForThePimIsWrittenShort) {
  B90CA701_CONTEXT context{};
  vyrStrcpy(context.szRecordName, u"APPT");
  vyrStrcpy(context.sync.szSyncAnchor, u"20240301120000Z");
  context.bCategory = TRUE;
  vyrStrcpy(context.szCategory, u" category=\"Work\"");
  const struct {
    char16_t flag;
    const char *expect;
  } cases[] = {
      {u'0', "<APPT uid=\"X1\" syncAnchor=\"20240301120000Z\" lastEvent=\"New\" category=\"\"</APPT>"},
      {u' ', "<APPT uid=\"X1\" syncAnchor=\"20240301120000Z\" lastEvent=\"New\" category=\"\"</APPT>"},
      {u'1', "<APPT uid=\"X1\" syncAnchor=\"20240301120000Z\" lastEvent=\"New\" category=\"Work\" subject=\"s\""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(1, char(c.flag)));
    B90CA701_RECORD record{};
    record.cKind = B90CA701_STAGED_ACTIVITY;
    vyrStrcpyFillAndTerminate(record.activity.szActivityID, u"X1", 37, 0);
    vyrStrcpyFillAndTerminate(record.activity.szSubject, u"s", 121, 0);
    vyrUTime_SetToNull(&record.activity.utPIMTimestamp);
    record.activity.cPIMFlag = c.flag;
    B90CA701_TEXT text = {nullptr, 0, 0};
    ASSERT_TRUE(B90CA701_AddRecordDetailsToXML(&context, &text, &record));
    const std::string written = toUtf8(std::u16string(text.lpszText, text.nLength));
    vyrFree(text.lpszText);
    EXPECT_EQ(written.substr(0, std::strlen(c.expect)), c.expect);
    EXPECT_EQ(written.size() == std::strlen(c.expect), c.flag != u'1') << written;
  }
}

// The trace texts of the exchange, each where it belongs.
TEST_P(AppointmentSyncTest, FaultsAreTracedWithTheTextsOfTheExchange) {
  LPBHVRCOM alice = user("ALICE", "100");
  LPBHVRCOM nobody = user("NOBODY", "0");
  DSACTIVITY ds{};
  ASSERT_EQ(call("InitializeActivity", &ds, alice), ER_SUCCESS);
  vyrStrcpy(ds.szActivityID, u"SAME");
  ds.mnAddressNumber = bsfntest::math(u"100");
  vyrUTime_Set(&ds.utStartTime, 2024, 3, 4, 9, 0, 0, nullptr);
  vyrUTime_Copy(&ds.utEndTime, &ds.utStartTime);
  ds.cAlarmFlag = u'1';
  vyrStrcpy(ds.szLeadTimeIncrement, u"WEEKS");
  ASSERT_EQ(call("InsertActivity", &ds, alice), ER_SUCCESS);
  nextSecond();
  const std::string all = getInfo(1, -1, "19700101000000Z");
  const struct {
    LPBHVRCOM context;
    std::string user, command, child, type, trace;
  } cases[] = {
      {alice, "ALICE", "getcount", all, "Appointments", ""},
      {alice, "ALICE", "getdetails", all, "Appointments",
       "B90CA701_AddRecordDetailsToXML: Activity SAME invalid for sync: Incorrect times: Either the start date and "
       "end date are the same or null"},
      {alice, "ALICE", "getdetails", all, "Appointments",
       "B90CA701_encodePIMAlarmValues: Did not find a valid LeadTimeIncrement Value"},
      {alice, "ALICE", "sleep", all, "Appointments", "B90CA701_InitActivityInfo: unrecognized command: sleep"},
      {alice, "ALICE", "putnew", "<PUTINFO numRecsToWrite=\"2\"><APPT/></PUTINFO>", "Appointments",
       "B90CA701: read incorrect number of children"},
      {alice, "ALICE", "putnew", "<PUTINFO/>", "Appointments",
       "B90CA701: unable to extract numRecsToWrite from XML document"},
      {alice, "ALICE", "putmodified", "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"SAME\"/></PUTINFO>", "Appointments",
       "B90CA701: unable to read requestedEvent from element"},
      {alice, "ALICE", "putmodified",
       "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"SAME\" requestedEvent=\"x\"/></PUTINFO>", "Appointments",
       "B90CA701: unknown requestedEvent type"},
      {alice, "ALICE", "putmodified", "<PUTINFO numRecsToWrite=\"1\"><APPT requestedEvent=\"Delete\"/></PUTINFO>",
       "Appointments", "B90CA701: unable to read uid from element"},
      {nobody, "NOBODY", "getcount", all, "Appointments", "B90CA701_getCount: Failed to convert USERID to AN8"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.command + " " + c.trace);
    traces(c.context);
    sync(c.context, c.user, c.command, c.child, c.type);
    const std::vector<std::string> lines = traces(c.context);
    if (c.trace.empty()) continue;
    EXPECT_NE(std::find(lines.begin(), lines.end(), c.trace), lines.end()) << ::testing::PrintToString(lines);
  }
  // The unsupported data type never reaches the sync: the transport has no function for it.
  EXPECT_EQ(vyr::runPimSync(alice, vyr::fromUtf8(document("ALICE", "getcount", all, "Notes"))).status,
            vyr::PimSyncOutcome::Status::NoSyncFunction);
}

// Two devices of one user syncing at once, each in a process of its own, while
// the server changes activities: every activity ends up once, with every change.
TEST_P(AppointmentSyncTest, TwoProcessesSyncingOneUserAtOnceLoseAndDoubleNothing) {
  LPBHVRCOM alice = user("ALICE", "100");
  const int kEach = 20;
  for (int i = 0; i < kEach; ++i) addActivity(alice, u"S" + vyr::fromUtf8(std::to_string(i)), u"100", u"server");
  nextSecond();
  std::vector<pid_t> children;
  std::vector<std::string> outputs;
  for (int p = 0; p < 2; ++p) {
    const std::string prefix = dir_ + "/p" + std::to_string(p);
    std::string created, modified;
    for (int i = 0; i < kEach; ++i) {
      const std::string uid = "P" + std::to_string(p) + "-" + std::to_string(i);
      created += "<APPT uid=\"" + uid +
                 "\" subject=\"new\" startDate=\"20240105\" startTime=\"0800\" "
                 "endDate=\"20240105\" endTime=\"0900\"/>";
      modified +=
          "<APPT uid=\"" + uid + "\" requestedEvent=\"Modify\" subject=\"changed by " + std::to_string(p) + "\"/>";
    }
    const std::vector<std::pair<std::string, std::string>> files = {
        {"new", document("ALICE", "putnew", "<PUTINFO numRecsToWrite=\"20\">" + created + "</PUTINFO>")},
        {"count", document("ALICE", "getcount", getInfo(1, 7, "19700101000000Z"))},
        {"page1", document("ALICE", "getdetails", getInfo(1, 7, "19700101000000Z"))},
        {"rest", document("ALICE", "getdetails", getInfo(8, -1, "19700101000000Z"))},
        {"modify", document("ALICE", "putmodified", "<PUTINFO numRecsToWrite=\"20\">" + modified + "</PUTINFO>")},
        {"end", document("ALICE", "endsync", "<ENDSYNC SyncResult=\"Success\"/>")}};
    std::vector<std::string> args = {"famoflas", "sync", "--user", "ALICE", "--setting", "an8=100", "--db", location_};
    for (int round = 0; round < 3; ++round)
      for (const auto &[name, text] : files) {
        if (round > 0 && name == "new") continue;
        std::ofstream(prefix + name + ".xml") << text;
        args.push_back(prefix + name + ".xml");
      }
    outputs.push_back(prefix + ".out");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::vector<char *> argv;
      for (std::string &arg : args) argv.push_back(arg.data());
      argv.push_back(nullptr);
      if (std::freopen(outputs.back().c_str(), "w", stdout) == nullptr ||
          std::freopen((prefix + ".err").c_str(), "w", stderr) == nullptr)
        ::_exit(126);
      ::execv(FAMOFLAS_BINARY_DIR "/bin/famoflas", argv.data());
      ::_exit(127);
    }
    children.push_back(child);
  }
  for (int i = 0; i < kEach; ++i)
    EXPECT_EQ(changeSubject(alice, u"S" + vyr::fromUtf8(std::to_string(i)), u"changed"), ER_SUCCESS);
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 126 && WEXITSTATUS(status) != 127) << status;
  }
  for (const std::string &output : outputs) {
    std::ifstream in(output);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    size_t puts = 0;
    for (size_t at = 0; (at = text.find("numRecsWritten=\"20\"", at)) != std::string::npos; ++at) ++puts;
    EXPECT_EQ(puts, 4u) << "one putnew and three putmodified, every record written\n" << text;
  }
  nextSecond();
  std::string anchor = "19700101000000Z";
  std::vector<std::string> sent = run(alice, "ALICE", &anchor, 7);
  std::sort(sent.begin(), sent.end());
  EXPECT_EQ(std::adjacent_find(sent.begin(), sent.end()), sent.end()) << "an activity sent twice";
  EXPECT_EQ(sent.size(), size_t(3 * kEach));
  for (const char16_t *id : {u"S0", u"S19", u"P0-0", u"P1-19"}) {
    DSACTIVITY stored{};
    vyrStrcpy(stored.szActivityID, id);
    ASSERT_EQ(call("SelectActivityUTC", &stored, alice), ER_SUCCESS);
    EXPECT_EQ(bsfntest::text(stored.szSubject), id[0] == u'S' ? u"changed" : u"changed by " + std::u16string(1, id[1]));
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, AppointmentSyncTest, dbtest::engines(), dbtest::engineName);

}  // namespace
