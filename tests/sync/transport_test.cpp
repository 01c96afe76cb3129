// The PIM sync transport: what reaches the sync function and what comes back,
// what is refused before anything runs, and famoflas sync running several
// documents in one process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "cli/command.h"
#include "frame/bsfn.h"
#include "runtime/context.h"
#include "runtime/pimsync.h"

namespace {

using Status = vyr::PimSyncOutcome::Status;

const std::u16string kEndSync =
    u"<?xml version=\"1.0\"?><PIMREQ username=\"U\" command=\"endsync\" appDataType=\"Appointments\">"
    u"<ENDSYNC SyncResult=\"Success\"/></PIMREQ>";

// Declared first: the test program registers no sync function until a later test does.
TEST(PimSyncUnloaded, AppointmentsHaveNoSyncFunctionUntilOneIsLoaded) {
  LPBHVRCOM context = vyr::createContext({{"user", "U"}});
  const vyr::PimSyncOutcome outcome = vyr::runPimSync(context, kEndSync);
  EXPECT_EQ(outcome.status, Status::NoSyncFunction);
  EXPECT_EQ(outcome.error,
            "no sync function is registered for appDataType 'Appointments' (beginAppointmentSync is not loaded)");
  vyr::freeContext(context);
}

int gRuns = 0;
std::u16string gRequest;
bool gStore = true;

// Stands in for the appointment sync: notes the request, stores two responses (the last counts).
ID RecordingSync(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpDS, "TEST", __LINE__)) return ER_ERROR;
  ++gRuns;
  const JCHAR *request = vyrPIMSync_RetrieveXML(lpBhvrCom);
  gRequest = request ? request : u"<none>";
  if (!gStore) return ER_WARNING;
  vyrPIMSync_StoreXML(lpBhvrCom, u"<first/>");
  return vyrPIMSync_StoreXML(lpBhvrCom, u"<PIMRESP/>");
}

class PimSyncTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vyr::registerFunction({"beginAppointmentSync", RecordingSync, nullptr, "TEST"});
    gRuns = 0;
    gStore = true;
    context_ = vyr::createContext({{"user", "U"}, {"xmlmaxdepth", "3"}});
  }
  void TearDown() override { vyr::freeContext(context_); }
  LPBHVRCOM context_ = nullptr;
};

TEST_F(PimSyncTest, TheRequestReachesTheFunctionAndItsLastResponseComesBack) {
  vyr::PimSyncOutcome outcome = vyr::runPimSync(context_, kEndSync);
  EXPECT_EQ(outcome.status, Status::Ran);
  EXPECT_EQ(outcome.code, ER_SUCCESS);
  EXPECT_EQ(outcome.response, u"<PIMRESP/>");
  EXPECT_EQ(gRequest, kEndSync);
  EXPECT_EQ(vyrPIMSync_RetrieveXML(context_), nullptr) << "detached after the run";

  gStore = false;
  outcome = vyr::runPimSync(context_, u"<R username=\"U\" appDataType=\"Tasks\"/>");
  EXPECT_EQ(outcome.status, Status::Ran);
  EXPECT_EQ(outcome.code, ER_WARNING);
  EXPECT_EQ(outcome.response, u"");
  EXPECT_EQ(gRuns, 2);

  EXPECT_EQ(vyrPIMSync_StoreXML(context_, nullptr), ER_ERROR);
  EXPECT_EQ(vyrPIMSync_StoreXML(nullptr, u"<R/>"), ER_ERROR);
  EXPECT_EQ(vyrPIMSync_RetrieveXML(nullptr), nullptr);
}

TEST_F(PimSyncTest, RequestsAreRefusedBeforeAnythingRuns) {
  const struct {
    std::u16string request;
    Status status;
    const char *error;
  } cases[] = {
      {u"<R username=\"V\" appDataType=\"Tasks\"/>", Status::WrongUser,
       "the request is for user 'V', but the context is signed on as 'U'"},
      {u"<R username=\"u\" appDataType=\"Tasks\"/>", Status::WrongUser, "the request is for user 'u'"},
      {u"<R username=\"U \" appDataType=\"Tasks\"/>", Status::WrongUser, "the request is for user 'U '"},
      {u"<R appDataType=\"Tasks\"/>", Status::BadRequest, "the request's root element has no \"username\""},
      {u"<R username=\"U\"/>", Status::BadRequest, "the request's root element has no \"appDataType\""},
      {u"<R username=\"U\" appDataType=\"Contacts\"/>", Status::NoSyncFunction,
       "no sync function is registered for appDataType 'Contacts'"},
      {u"<!DOCTYPE R SYSTEM \"file:///etc/passwd\"><R username=\"U\" appDataType=\"Tasks\"/>", Status::BadRequest,
       "the request is not accepted: a document type declaration"},
      {u"<R username=\"U\" appDataType=\"Tasks\"><a><b><c/></b></a></R>", Status::BadRequest,
       "elements nested deeper than the limit of 3"},
      {u"<R username=\"U\" appDataType=\"Tasks\">" + std::u16string(1, u'\0') + u"</R>", Status::BadRequest,
       "a control character"},
  };
  for (const auto &c : cases) {
    const vyr::PimSyncOutcome outcome = vyr::runPimSync(context_, c.request);
    EXPECT_EQ(outcome.status, c.status) << c.error;
    EXPECT_NE(outcome.error.find(c.error), std::string::npos) << outcome.error;
  }
  EXPECT_EQ(gRuns, 0);
  EXPECT_EQ(vyr::runPimSync(nullptr, kEndSync).status, Status::BadRequest);
}

// famoflas sync with the appointment sync of the library.
class SyncCommandTest : public clitest::CommandTest {
 protected:
  void SetUp() override {
    clitest::CommandTest::SetUp();
    ASSERT_EQ(run({"db", "init", "--db", "sync.db"}).status, 0);
  }
  void write(const std::string &name, const std::string &text) { std::ofstream(dir / name, std::ios::binary) << text; }
  static std::string request(const std::string &user, const std::string &command, const std::string &child) {
    return "<?xml version=\"1.0\"?>\n<PIMREQ username=\"" + user + "\" command=\"" + command +
           "\" appDataType=\"Appointments\">" + child + "</PIMREQ>\n";
  }
  const std::string info = "<GETINFO startRec=\"3\" numRecsRequested=\"2\" syncAnchor=\"19700101000000Z\"/>";
};

TEST_F(SyncCommandTest, DocumentsRunInOrderInOneProcessOneResponseALine) {
  write("count.xml", request("U", "getcount", info));
  write("details.xml", request("U", "getdetails", info));
  write("end.xml", request("U", "endsync", "<ENDSYNC SyncResult=\"Success\"/>"));
  const clitest::Outcome out =
      run({"sync", "--user", "U", "--setting", "an8=100", "--db", "sync.db", "count.xml", "details.xml", "end.xml"});
  EXPECT_EQ(out.status, 0) << out.err;
  // The run's anchor is kept in the process from getcount to getdetails.
  const std::regex lines(
      "<\\?xml version=\"1.0\"\\?> <PIMRESP username=\"U\" appDataType=\"Appointments\"><GETRESP startRec=\"3\" "
      "totalRecs=\"0\" totalNewRecs=\"0\" totalModifyRecs=\"0\" totalDeleteRecs=\"0\" "
      "currentSyncAnchor=\"(\\d{14}Z)\"/>"
      "</PIMRESP>\n"
      "<\\?xml version=\"1.0\"\\?> <PIMRESP username=\"U\" appDataType=\"Appointments\"><GETRESP startRec=\"3\" "
      "totalRecs=\"0\" totalNewRecs=\"0\" totalModifyRecs=\"0\" totalDeleteRecs=\"0\" currentSyncAnchor=\"\\1\"/>"
      "</PIMRESP>\n<\\?xml version=\"1.0\"\\?> <PIMRESP/>\n");
  EXPECT_TRUE(std::regex_match(out.out, lines)) << out.out;
}

TEST_F(SyncCommandTest, RefusedDocumentsLeaveAnEmptyLineAndSayWhy) {
  write("end.xml", request("U", "endsync", "<ENDSYNC SyncResult=\"Success\"/>"));
  write("other.xml", request("V", "endsync", "<ENDSYNC/>"));
  write("contacts.xml", "<PIMREQ username=\"U\" command=\"endsync\" appDataType=\"Contacts\"/>");
  write("latin1.xml", request("U", "endsync", "<ENDSYNC SyncResult=\"Succ\xE8s\"/>"));
  // A PUTINFO whose record count runs to a gibibyte: refused by its size, unread.
  const std::string huge = request("U", "putnew", "") + "<PUTINFO numRecsToWrite=\"";
  write("huge.xml", huge);
  ASSERT_EQ(truncate((dir / "huge.xml").c_str(), off_t(1) << 30), 0);
  const clitest::Outcome out = run({"sync", "--user", "U", "--db", "sync.db", "other.xml", "contacts.xml", "latin1.xml",
                                    "huge.xml", "missing.xml", "end.xml"});
  EXPECT_EQ(out.status, 64);
  EXPECT_EQ(out.out, "\n\n\n\n\n<?xml version=\"1.0\"?> <PIMRESP/>\n");
  for (const char *why : {"other.xml: the request is for user 'V', but the context is signed on as 'U'",
                          "contacts.xml: no sync function is registered for appDataType 'Contacts'",
                          "latin1.xml: the text is not valid UTF-8", "huge.xml: larger than the XML size limit",
                          "missing.xml: cannot be read"})
    EXPECT_NE(out.err.find(why), std::string::npos) << why << "\n" << out.err;

  EXPECT_EQ(run({"sync", "end.xml"}).status, 64) << "--user is required";
  EXPECT_EQ(run({"sync", "--user", "U", "--setting", "user=V", "end.xml"}).status, 64);
}

}  // namespace
