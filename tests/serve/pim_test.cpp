// POST /v1/pim: PIM sync documents over HTTP, run by the appointment sync on
// the signed-on user's own activities.
#include <unistd.h>

#include "serve_fixture.h"

namespace servetest {
namespace {

std::string request(const std::string &user, const std::string &command, const std::string &dataType = "Appointments") {
  const std::string child = command == "endsync" ? "<ENDSYNC SyncResult=\"Success\"/>"
                            : command == "putnew"
                                ? "<PUTINFO numRecsToWrite=\"1\"><APPT uid=\"" + user + "-1\" subject=\"s\"/></PUTINFO>"
                                : "<GETINFO startRec=\"1\" numRecsRequested=\"-1\" syncAnchor=\"19700101000000Z\"/>";
  return "<?xml version=\"1.0\"?><PIMREQ username=\"" + user + "\" command=\"" + command + "\" appDataType=\"" +
         dataType + "\">" + child + "</PIMREQ>";
}

// The totalRecs of a get response.
std::string totalRecs(const httplib::Result &result) {
  if (!result) return "no answer";
  const size_t at = result->body.find("totalRecs=\"");
  if (at == std::string::npos) return result->body;
  return result->body.substr(at + 11, result->body.find('"', at + 11) - at - 11);
}

TEST_F(ServeTest, PimDocumentsRunAsTheirOwnUserOnly) {
  ASSERT_EQ(famoflas({"user", "set", "alice", "an8=100"}).status, 0);
  ASSERT_EQ(famoflas({"user", "set", "bob", "an8=200"}).status, 0);
  Server &server = serve();
  auto alice = server.client("alice", kAlicePassword);
  auto bob = server.client("bob", kBobPassword);

  // Each creates one appointment; a run counts only the user's own (after the second they were made in).
  for (auto [client, name] : {std::pair{alice.get(), "alice"}, std::pair{bob.get(), "bob"}}) {
    auto created = client->Post("/v1/pim", request(name, "putnew"), "application/xml");
    ASSERT_TRUE(created);
    EXPECT_NE(created->body.find("numRecsWritten=\"1\""), std::string::npos) << created->body;
  }
  ::usleep(1100 * 1000);
  EXPECT_EQ(totalRecs(alice->Post("/v1/pim", request("alice", "getcount"), "application/xml")), "1");
  // The run's staged records live in the server from one request to the next.
  auto details = alice->Post("/v1/pim", request("alice", "getdetails"), "text/xml; charset=utf-8");
  ASSERT_TRUE(details);
  EXPECT_EQ(details->get_header_value("Content-Type"), "application/xml; charset=utf-8");
  EXPECT_NE(details->body.find("<APPT uid=\"alice-1\""), std::string::npos) << details->body;
  EXPECT_EQ(details->body.find("bob-1"), std::string::npos) << details->body;

  // A document naming another user runs nothing.
  auto forged = alice->Post("/v1/pim", request("bob", "getcount"), "application/xml");
  ASSERT_TRUE(forged);
  EXPECT_EQ(forged->status, 403);
  auto bobs = bob->Post("/v1/pim", request("bob", "getdetails"), "application/xml");
  ASSERT_TRUE(bobs);
  EXPECT_EQ(bobs->body.find("alice-1"), std::string::npos) << bobs->body;

  auto ended = alice->Post("/v1/pim", request("alice", "endsync"), "application/xml");
  ASSERT_TRUE(ended);
  EXPECT_EQ(ended->status, 200);
  EXPECT_EQ(ended->body, "<?xml version=\"1.0\"?> <PIMRESP/>");

  struct Refusal {
    std::string body, type;
    int status;
  };
  const std::vector<Refusal> refusals = {
      {request("alice", "getcount"), "application/json", 415},
      {"<PIMREQ username=\"alice\"", "application/xml", 400},
      {std::string("<PIMREQ username=\"alice\" command=\"getcount\" appDataType=\"A\xff\"/>"), "application/xml", 400},
      {request("alice", "getcount", "Contacts"), "application/xml", 404},
  };
  for (const Refusal &refusal : refusals) {
    SCOPED_TRACE(refusal.body);
    auto answer = alice->Post("/v1/pim", refusal.body, refusal.type);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, refusal.status);
    EXPECT_TRUE(body(answer).contains("error")) << answer->body;
  }
  auto anonymous = server.client()->Post("/v1/pim", request("alice", "getcount"), "application/xml");
  ASSERT_TRUE(anonymous);
  EXPECT_EQ(anonymous->status, 401);
}

}  // namespace
}  // namespace servetest
