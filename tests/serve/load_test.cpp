// The service under load: users whose calls run at once, a stop while calls
// run, and two servers on one PostgreSQL database.
#include <atomic>
#include <set>

#include "serve_fixture.h"

namespace servetest {
namespace {

// 8 threads x 200 calls, half of them alice's (decimal point), half bob's
// (decimal comma). Each evaluates 1,5*2 and revises its separators: the
// revision comes out differently for each user, so an answer built with the
// other user's settings shows.
TEST_P(ServeEngineTest, TwoUsersWithTheirOwnSettingsAtOnce) {
  Server &server = serve();
  std::atomic<int> wrong{0}, answered{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      const bool comma = t % 2 == 1;
      auto client = comma ? server.client("bob", kBobPassword) : server.client("alice", kAlicePassword);
      for (int i = 0; i < 200; ++i) {
        const bool evaluate = i % 2 == 0;
        auto result = evaluate ? client->Post("/v1/call/AlgebraicExpressionCalculate",
                                              callBody({{"szAlgebraicExpression", "1,5*2"}}), "application/json")
                               : client->Post("/v1/call/ReviseDecimalSeparatorInString",
                                              callBody({{"szNumericString", "1,5*2"}, {"cRevisionMode", "2"}}),
                                              "application/json");
        const nlohmann::json ds = body(result)["ds"];
        const std::string got = evaluate ? ds.value("mnCalculatedValue", "") : ds.value("szNumericString", "");
        const std::string expected = evaluate ? "3.0" : comma ? "1.5*2" : "15*2";
        if (!result || result->status != 200 || got != expected) ++wrong;
        ++answered;
      }
    });
  }
  for (std::thread &t : threads) t.join();
  EXPECT_EQ(answered.load(), 1600);
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(server.stop(), 0);
}

// SIGTERM while calls run: the one under way finishes and is answered, the
// server exits 0, and no transaction is left behind (the database takes
// writes at once).
TEST_P(ServeEngineTest, StopsGracefullyDuringLoad) {
  Server &server = serve();
  std::atomic<bool> stopping{false};
  std::atomic<int> completed{0}, broken{0};
  std::vector<std::thread> load;
  for (int t = 0; t < 4; ++t) {
    load.emplace_back([&] {
      auto client = server.client("alice", kAlicePassword);
      while (!stopping) {
        auto result = client->Post("/v1/call/AlgebraicExpressionCalculate",
                                   callBody({{"szAlgebraicExpression", "1+2"}}), "application/json");
        if (!result) continue;  // refused or closed: the server is going away
        if (result->status == 200 && body(result)["ds"]["mnCalculatedValue"] == "3")
          ++completed;
        else
          ++broken;
      }
    });
  }
  std::optional<httplib::Result> slow;
  std::thread slowCall([&] {
    slow = server.client("bob", kBobPassword)
               ->Post("/v1/call/SleepMillis", callBody({{"nMillis", 1500}}), "application/json");
  });
  std::this_thread::sleep_for(700ms);
  const auto signalled = std::chrono::steady_clock::now();
  EXPECT_EQ(server.stop(SIGTERM), 0);
  stopping = true;
  for (std::thread &t : load) t.join();
  slowCall.join();
  EXPECT_GE(std::chrono::steady_clock::now() - signalled, 700ms);  // it waited for the slow call
  ASSERT_TRUE(slow.has_value() && *slow);
  EXPECT_EQ((*slow)->status, 200);
  EXPECT_EQ(body(*slow)["return"], 0);
  EXPECT_GT(completed.load(), 0);
  EXPECT_EQ(broken.load(), 0);
  const std::vector<nlohmann::json> log = server.logLines();
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back()["event"], "stopped");
  EXPECT_EQ(famoflas({"user", "add", "carol"}, "carol's secret 4\n").status, 0);
}

TEST_P(ServeEngineTest, TwoServersOnOneDatabaseHandOutEachNumberOnce) {
  ASSERT_EQ(famoflas({"db", "load", "-"}, R"({"F00022": [{"OBNM": "SERVE", "UKID": 0}]})").status, 0);
  Server &first = serve();
  Server &second = serve();
  std::mutex lock;
  std::multiset<std::string> numbers;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      auto client = (t % 2 ? first : second).client(t < 2 ? "alice" : "bob", t < 2 ? kAlicePassword : kBobPassword);
      for (int i = 0; i < 50; ++i) {
        auto result = client->Post("/v1/call/TakeNumber", callBody({{"szCounter", "SERVE"}}), "application/json");
        const nlohmann::json answer = body(result);
        std::lock_guard guard(lock);
        numbers.insert(answer.value("return", 2) == 0 ? answer["ds"].value("mnNumber", "?") : "failed");
      }
    });
  }
  for (std::thread &t : threads) t.join();
  std::set<std::string> expected;
  for (int n = 1; n <= 200; ++n) expected.insert(std::to_string(n));
  EXPECT_EQ(std::set<std::string>(numbers.begin(), numbers.end()), expected);
  EXPECT_EQ(numbers.size(), 200u);
  EXPECT_EQ(first.stop(), 0);
  EXPECT_EQ(second.stop(), 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, ServeEngineTest, dbtest::engines(), dbtest::engineName);

}  // namespace
}  // namespace servetest
