// famoflas serve over real HTTP: each endpoint, each error status, logins,
// connections that stall, and what the command refuses to start with.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "serve_fixture.h"

namespace servetest {
namespace {

TEST_F(ServeTest, EndpointsAnswerWhatTheCommandPrints) {
  Server &server = serve();
  auto anonymous = server.client();
  auto alice = server.client("alice", kAlicePassword);

  auto health = anonymous->Get("/v1/health");
  ASSERT_TRUE(health);
  EXPECT_EQ(health->status, 200);
  EXPECT_EQ(body(health)["status"], "ok");

  const nlohmann::json functions = body(alice->Get("/v1/functions"));
  ASSERT_TRUE(functions.is_array());
  EXPECT_NE(std::find(functions.begin(), functions.end(),
                      nlohmann::json{{"function", "GetExchRate"}, {"source", "B0000033"}}),
            functions.end());
  EXPECT_NE(std::find(functions.begin(), functions.end(),
                      nlohmann::json{{"function", "SleepMillis"}, {"source", "SERVETEST"}}),
            functions.end());
  EXPECT_EQ(body(alice->Get("/v1/functions/GetExchRate")), famoflas({"describe", "GetExchRate"}).result());

  auto called = alice->Post("/v1/call/AlgebraicExpressionCalculate",
                            callBody({{"szAlgebraicExpression", "12.5*(3+4)"}}), "application/json; charset=utf-8");
  ASSERT_TRUE(called);
  EXPECT_EQ(called->status, 200);
  nlohmann::json expected =
      famoflas({"call", "AlgebraicExpressionCalculate", "szAlgebraicExpression=12.5*(3+4)", "--setting", "user=alice"})
          .result();
  EXPECT_EQ(body(called), expected);

  // A function that fails still answers 200: the failure is in "return" and "errors".
  auto failed = alice->Post("/v1/call/AlgebraicExpressionCalculate", callBody({{"szAlgebraicExpression", "1/0"}}),
                            "application/json");
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->status, 200);
  EXPECT_EQ(body(failed)["return"], 2);

  const std::string lines =
      "{\"function\": \"AlgebraicExpressionCalculate\", \"ds\": {\"szAlgebraicExpression\": \"2*3\"}}\n\n"
      "not json\n"
      "{\"function\": \"SleepMillis\", \"settings\": {\"user\": \"bob\"}}\n";
  auto batch = alice->Post("/v1/batch", lines, "application/x-ndjson");
  ASSERT_TRUE(batch);
  EXPECT_EQ(batch->status, 200);
  std::istringstream out(batch->body);
  std::vector<nlohmann::json> results;
  for (std::string line; std::getline(out, line);) results.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[0]["ds"]["mnCalculatedValue"], "6");
  EXPECT_EQ(results[1], (nlohmann::json{{"line", 3}, {"function", nullptr}, {"error", "not valid JSON (byte 2)"}}));
  EXPECT_EQ(results[2]["line"], 4);  // settings come from the user, never from the request
  EXPECT_NE(results[2]["error"].get<std::string>().find("settings"), std::string::npos);

  auto metrics = alice->Get("/metrics");
  ASSERT_TRUE(metrics);
  for (const char *counter : {"famoflas_calls_total{function=\"AlgebraicExpressionCalculate\",return=\"0\"} 2",
                              "famoflas_calls_total{function=\"AlgebraicExpressionCalculate\",return=\"2\"} 1",
                              "famoflas_http_requests_total{endpoint=\"/v1/call/{name}\",status=\"200\"} 2",
                              "famoflas_http_request_duration_seconds_count{endpoint=\"/v1/batch\"} 1"})
    EXPECT_NE(metrics->body.find(counter), std::string::npos) << counter << "\n" << metrics->body;

  ASSERT_EQ(server.stop(), 0);
  const std::vector<nlohmann::json> log = server.logLines();
  const auto logged =
      std::find_if(log.begin(), log.end(), [](const nlohmann::json &l) { return l.value("path", "") == "/v1/batch"; });
  ASSERT_NE(logged, log.end());
  EXPECT_EQ((*logged)["user"], "alice");
  EXPECT_EQ((*logged)["method"], "POST");
  EXPECT_EQ((*logged)["status"], 200);
  EXPECT_TRUE((*logged)["ms"].is_number());
  EXPECT_TRUE((*logged)["time"].is_string());
}

TEST_F(ServeTest, OpenApiDocumentPassesTheValidatorAndDescribesEachDataStructure) {
  Server &server = serve();
  auto document = server.client("alice", kAlicePassword)->Get("/v1/openapi.json");
  ASSERT_TRUE(document);
  ASSERT_EQ(document->status, 200);
  const nlohmann::json api = nlohmann::json::parse(document->body);
  const nlohmann::json &operation = api["paths"]["/v1/call/GetExchRate"]["post"];
  EXPECT_EQ(operation["operationId"], "GetExchRate");
  const nlohmann::json &member = api["components"]["schemas"]["DSD0000033"]["properties"]["szFromCurrency"];
  EXPECT_EQ(member["x-famoflas-kind"], "string");
  EXPECT_EQ(member["maxLength"], 3);
  EXPECT_EQ(api["components"]["schemas"]["DSSLEEP"]["properties"]["nMillis"]["format"], "int32");

  const fs::path file = dir / "openapi.json";
  std::ofstream(file) << document->body;
  const std::string check = FAMOFLAS_SOURCE_DIR "/tools/openapi-check";
  ASSERT_TRUE(fs::exists(check + "/node_modules")) << "the validator is not installed: run scripts/setup";
  const std::string command =
      "node '" + check + "/check.js' '" + file.string() + "' >'" + (dir / "check.out").string() + "' 2>&1";
  const int status = std::system(command.c_str());
  std::ifstream said(dir / "check.out");
  EXPECT_EQ(status, 0) << std::string(std::istreambuf_iterator<char>(said), {});
}

TEST_F(ServeTest, BadRequestsGetTheirStatusAndAnError) {
  Server &server = serve({"--max-body", "1K"});
  struct Case {
    const char *what, *user, *password, *path, *type;
    std::string body;
    int status;
    const char *error;
  };
  const std::string ds = callBody({{"szFromCurrency", "EUR"}});
  const Case cases[] = {
      {"malformed JSON", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "application/json", "{\"ds\": ", 400,
       "JSON"},
      {"unknown member", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "application/json",
       callBody({{"szNoSuchMember", "1"}}), 400, "szNoSuchMember"},
      {"value too wide", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "application/json",
       callBody({{"szFromCurrency", "EURO"}}), 400, "szFromCurrency"},
      {"body not an object", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "application/json", "[1]", 400,
       "object"},
      {"unknown function", "alice", kAlicePassword.c_str(), "/v1/call/NoSuchFunction", "application/json", ds, 404,
       "NoSuchFunction"},
      {"unknown path", "alice", kAlicePassword.c_str(), "/v2/call/GetExchRate", "application/json", ds, 404,
       "endpoint"},
      {"wrong content type", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "text/plain", ds, 415,
       "application/json"},
      {"batch as JSON", "alice", kAlicePassword.c_str(), "/v1/batch", "application/json", ds, 415, "x-ndjson"},
      {"over the limit", "alice", kAlicePassword.c_str(), "/v1/call/GetExchRate", "application/json",
       callBody({{"szFromCurrency", std::string(2000, 'x')}}), 413, "limit"},
      {"no credentials", "", "", "/v1/call/GetExchRate", "application/json", ds, 401, "Basic"},
      {"unknown user", "mallory", "x", "/v1/call/GetExchRate", "application/json", ds, 401, "wrong password"},
  };
  for (const Case &c : cases) {
    auto result = server.client(c.user, c.password)->Post(c.path, c.body, c.type);
    ASSERT_TRUE(result) << c.what;
    EXPECT_EQ(result->status, c.status) << c.what;
    EXPECT_NE(body(result).value("error", "").find(c.error), std::string::npos) << c.what << ": " << result->body;
  }
  auto unauthorised = server.client()->Get("/v1/functions");
  ASSERT_TRUE(unauthorised);
  EXPECT_EQ(unauthorised->status, 401);
  EXPECT_EQ(unauthorised->get_header_value("WWW-Authenticate").rfind("Basic", 0), 0u);
  EXPECT_EQ(server.stop(), 0);
}

TEST_F(ServeTest, FailedLoginsSlowDownTheirUserNameOnly) {
  Server &server = serve();
  auto wrong = server.client("alice", "not her password")->Get("/v1/functions");
  ASSERT_TRUE(wrong);
  EXPECT_EQ(wrong->status, 401);
  // Right away even the right password waits; another name does not.
  auto blocked = server.client("alice", kAlicePassword)->Get("/v1/functions");
  ASSERT_TRUE(blocked);
  EXPECT_EQ(blocked->status, 429);
  EXPECT_FALSE(blocked->get_header_value("Retry-After").empty());
  auto other = server.client("bob", kBobPassword)->Get("/v1/functions");
  ASSERT_TRUE(other);
  EXPECT_EQ(other->status, 200);
  std::this_thread::sleep_for(1200ms);
  auto later = server.client("alice", kAlicePassword)->Get("/v1/functions");
  ASSERT_TRUE(later);
  EXPECT_EQ(later->status, 200);
}

TEST_F(ServeTest, ChangedAndRemovedUsersTakeEffectAtOnce) {
  Server &server = serve();
  ASSERT_EQ(server.client("bob", kBobPassword)->Get("/v1/functions")->status, 200);
  ASSERT_EQ(famoflas({"user", "passwd", "bob"}, "bob's new secret 3\n").status, 0);
  EXPECT_EQ(server.client("bob", "bob's new secret 3")->Get("/v1/functions")->status, 200);
  ASSERT_EQ(famoflas({"user", "remove", "bob"}).status, 0);
  EXPECT_EQ(server.client("bob", "bob's new secret 3")->Get("/v1/functions")->status, 401);
}

// A connection to the server, for bytes that no HTTP client would send.
int rawConnection(const std::string &url) {
  const int port = std::stoi(url.substr(url.rfind(':') + 1));
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
  if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Seconds until the server closes the connection (reads return 0 or fail).
double secondsUntilClosed(int fd) {
  const auto start = std::chrono::steady_clock::now();
  timeval limit{30, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  char buffer[4096];
  while (recv(fd, buffer, sizeof buffer, 0) > 0) {
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(ServeTest, StalledAndHalfClosedConnectionsAreDropped) {
  Server &server = serve();
  const int stalled = rawConnection(server.url);
  const int halfClosed = rawConnection(server.url);
  ASSERT_GE(stalled, 0);
  ASSERT_GE(halfClosed, 0);
  const std::string partial = "POST /v1/call/GetExchRate HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\n{\"ds\"";
  send(stalled, partial.data(), partial.size(), 0);
  send(halfClosed, partial.data(), partial.size(), 0);
  shutdown(halfClosed, SHUT_WR);
  EXPECT_LT(secondsUntilClosed(halfClosed), 5.0);
  // Meanwhile the server answers others.
  EXPECT_EQ(server.client()->Get("/v1/health")->status, 200);
  const double waited = secondsUntilClosed(stalled);
  EXPECT_LT(waited, 20.0);
  close(stalled);
  close(halfClosed);
  EXPECT_EQ(server.stop(), 0);
}

TEST_F(ServeTest, RefusesToStartWithoutWhatItNeeds) {
  const struct {
    std::vector<std::string> args;
    const char *error;
  } cases[] = {
      {{"--listen", "0.0.0.0:0"}, "loopback"},
      {{"--listen", "127.0.0.1"}, "HOST:PORT"},
      {{"--listen", "127.0.0.1:70000"}, "HOST:PORT"},
      {{"--threads", "0"}, "--threads"},
      {{"--max-body", "lots"}, "--max-body"},
      {{"--tls-cert", "cert.pem"}, "go together"},
      {{"--tls-cert", "none.pem", "--tls-key", "none.pem"}, "cannot use"},
      {{"--db", "/nonexistent/dir/x.db"}, "serve:"},
  };
  for (const auto &c : cases) {
    std::vector<std::string> args = {"serve"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const clitest::Outcome outcome = run(args);
    EXPECT_EQ(outcome.status, 64) << c.error;
    EXPECT_NE(outcome.err.find(c.error), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(famoflas({"call", "GetExchRate", "--listen", "127.0.0.1:0"}).status, 64);
}

TEST_F(ServeTest, ServesHttpsWithTheGivenCertificate) {
  const std::string cert = (dir / "cert.pem").string(), key = (dir / "key.pem").string();
  const std::string make = "openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -days 1 -keyout '" + key +
                           "' -out '" + cert + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(make.c_str()), 0) << "openssl could not make a certificate";
  Server &server = serve({"--tls-cert", cert, "--tls-key", key});
  ASSERT_EQ(server.url.rfind("https://", 0), 0u);
  httplib::SSLClient client("127.0.0.1", std::stoi(server.url.substr(server.url.rfind(':') + 1)));
  client.enable_server_certificate_verification(false);
  client.set_basic_auth("alice", kAlicePassword.c_str());
  auto result = client.Post("/v1/call/AlgebraicExpressionCalculate", callBody({{"szAlgebraicExpression", "1+1"}}),
                            "application/json");
  ASSERT_TRUE(result);
  EXPECT_EQ(body(result)["ds"]["mnCalculatedValue"], "2");
  EXPECT_EQ(server.stop(), 0);
}

}  // namespace
}  // namespace servetest
