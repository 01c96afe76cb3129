// Runs `famoflas serve` for the service tests: a database of the test's own
// (an SQLite file, or a schema on the PostgreSQL server of
// FAMOFLAS_TEST_POSTGRES) with two users, servers started on port 0 with their
// stderr in a file, and HTTP clients signed on as either user.
#pragma once

#include <fcntl.h>
#include <httplib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

#include "../cli/command.h"
#include "../db/db_fixture.h"

extern char **environ;

namespace servetest {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

inline const std::string kPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/libserve_service_plugin.so";
inline const std::string kAlicePassword = "alice secret 1";
inline const std::string kBobPassword = "bob's secret 2";

// One `famoflas serve` process; killed if the test did not stop it.
class Server {
 public:
  Server(std::vector<std::string> args, const fs::path &log) : log_(log) {
    args.insert(args.begin(), {clitest::kCommand, "serve", "--listen", "127.0.0.1:0"});
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    // The bound address is the first line on stderr.
    for (auto deadline = std::chrono::steady_clock::now() + 30s;
         pid_ > 0 && std::chrono::steady_clock::now() < deadline;) {
      std::ifstream in(log_);
      std::string first;
      if (std::getline(in, first) && !in.eof() && first.starts_with("http")) {
        url = first;
        return;
      }
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        break;
      }
      std::this_thread::sleep_for(20ms);
    }
  }
  ~Server() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  bool up() const { return !url.empty(); }
  pid_t pid() const { return pid_; }

  // Sends the signal and waits for the exit: its status, or -1 when it did not end in time.
  int stop(int signal = SIGTERM, std::chrono::seconds patience = 30s) {
    kill(pid_, signal);
    for (auto deadline = std::chrono::steady_clock::now() + patience; std::chrono::steady_clock::now() < deadline;) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      std::this_thread::sleep_for(20ms);
    }
    return -1;
  }

  // The JSON lines after the address.
  std::vector<nlohmann::json> logLines() const {
    std::vector<nlohmann::json> lines;
    std::ifstream in(log_);
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) lines.push_back(nlohmann::json::parse(line, nullptr, false));
    return lines;
  }

  std::unique_ptr<httplib::Client> client(const std::string &user = "", const std::string &password = "") const {
    auto c = std::make_unique<httplib::Client>(url);
    if (!user.empty()) c->set_basic_auth(user.c_str(), password.c_str());
    c->set_read_timeout(30, 0);
    return c;
  }

  std::string url;

 private:
  pid_t pid_ = -1;
  fs::path log_;
};

// A database with a password policy and two users: alice with the default
// number format, bob with a decimal comma.
class ServeTest : public clitest::CommandTest {
 protected:
  virtual bool postgres() const { return false; }

  void SetUp() override {
    CommandTest::SetUp();
    if (postgres()) {
      const char *base = std::getenv("FAMOFLAS_TEST_POSTGRES");
      if (base == nullptr || *base == '\0') GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server";
      pg_ = std::make_unique<dbtest::PgScratch>(base);
      database = pg_->newLocation();
      ASSERT_FALSE(database.empty()) << pg_->error();
    } else {
      database = (dir / "service.db").string();
    }
    ASSERT_EQ(famoflas({"db", "init"}).status, 0);
    ASSERT_EQ(famoflas({"user", "add", "alice"}, kAlicePassword + "\n").status, 0);
    ASSERT_EQ(famoflas({"user", "add", "bob"}, kBobPassword + "\n").status, 0);
    ASSERT_EQ(famoflas({"user", "set", "bob", "decimal=comma"}).status, 0);
  }

  void TearDown() override {
    servers_.clear();
    pg_.reset();
    CommandTest::TearDown();
  }

  // The command on the test's database.
  clitest::Outcome famoflas(std::vector<std::string> args, const std::string &input = "") const {
    args.insert(args.end(), {"--db", database});
    return run(args, input);
  }

  // A server on the test's database with the test plugin loaded.
  Server &serve(std::vector<std::string> args = {}) {
    args.insert(args.end(), {"--db", database, "--library", kPlugin});
    servers_.push_back(std::make_unique<Server>(args, dir / ("serve" + std::to_string(servers_.size()) + ".log")));
    EXPECT_TRUE(servers_.back()->up()) << "famoflas serve did not start";
    return *servers_.back();
  }

  std::string database;
  std::unique_ptr<dbtest::PgScratch> pg_;

 private:
  std::vector<std::unique_ptr<Server>> servers_;
};

// The same tests on SQLite and on PostgreSQL.
class ServeEngineTest : public ServeTest, public ::testing::WithParamInterface<dbtest::Engine> {
 protected:
  bool postgres() const override { return GetParam() == dbtest::Engine::Postgres; }
};

inline nlohmann::json body(const httplib::Result &result) {
  return result ? nlohmann::json::parse(result->body, nullptr, false) : nlohmann::json();
}

// The body of a call: {"ds": ds}.
inline std::string callBody(const nlohmann::json &ds) { return nlohmann::json{{"ds", ds}}.dump(); }

}  // namespace servetest
