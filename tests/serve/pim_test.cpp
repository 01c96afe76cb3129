// POST /v1/pim: PIM sync documents over HTTP, with the sync test function of
// tests/sync loaded (it stages one record per "getcount" in a cache of the
// user's own, so a request that ran shows in the next one's totals).
#include "serve_fixture.h"

namespace servetest {
namespace {

const std::string kSyncPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/libsync_pimsync_plugin.so";

std::string request(const std::string &user, const std::string &command, const std::string &dataType = "Appointments") {
  const std::string child = command == "endsync" ? "<ENDSYNC SyncResult=\"Success\"/>"
                                                 : "<GETINFO startRec=\"1\" numRecsRequested=\"-1\" "
                                                   "syncAnchor=\"19700101000000Z\"/>";
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
  Server &server = serve({"--library", kSyncPlugin});
  auto alice = server.client("alice", kAlicePassword);
  auto bob = server.client("bob", kBobPassword);

  // The caches of a run live in the server from one request to the next.
  EXPECT_EQ(totalRecs(alice->Post("/v1/pim", request("alice", "getcount"), "application/xml")), "1");
  auto second = alice->Post("/v1/pim", request("alice", "getcount"), "text/xml; charset=utf-8");
  EXPECT_EQ(totalRecs(second), "2");
  ASSERT_TRUE(second);
  EXPECT_EQ(second->get_header_value("Content-Type"), "application/xml; charset=utf-8");

  // A document naming another user runs nothing: bob's own count starts at one.
  auto forged = alice->Post("/v1/pim", request("bob", "getcount"), "application/xml");
  ASSERT_TRUE(forged);
  EXPECT_EQ(forged->status, 403);
  EXPECT_EQ(totalRecs(bob->Post("/v1/pim", request("bob", "getcount"), "application/xml")), "1");

  auto ended = alice->Post("/v1/pim", request("alice", "endsync"), "application/xml");
  ASSERT_TRUE(ended);
  EXPECT_EQ(ended->status, 200);
  EXPECT_EQ(ended->body, "<?xml version=\"1.0\"?> <PIMRESP/>");
  EXPECT_EQ(totalRecs(alice->Post("/v1/pim", request("alice", "getcount"), "application/xml")), "1");

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
