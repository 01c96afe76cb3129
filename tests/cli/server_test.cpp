// famoflas batch against a PostgreSQL server that stops answering halfway:
// the line that meets it fails with the lost connection's error within the
// time allowed, and the command ends on its own.
#include <poll.h>
#include <signal.h>
#include <spawn.h>

#include <chrono>
#include <thread>

#include "cli/command.h"
#include "db/db_fixture.h"

extern char **environ;

namespace {

using nlohmann::json;

class ServerCommand : public clitest::CommandTest {
 protected:
  void SetUp() override {
    CommandTest::SetUp();
    const char *server = std::getenv("FAMOFLAS_TEST_POSTGRES");
    if (server == nullptr || *server == '\0')
      GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server; scripts/test starts one and sets it";
    pg_ = std::make_unique<dbtest::PgScratch>(server);
    location_ = pg_->newLocation();
    ASSERT_FALSE(location_.empty()) << pg_->error();
  }

  // One line of the child's output, waiting at most `seconds`; "" when none came.
  static std::string readLine(int fd, std::string &pending, double seconds) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (pending.find('\n') == std::string::npos) {
      pollfd p{fd, POLLIN, 0};
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
      if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) return "";
      char buffer[4096];
      const ssize_t n = read(fd, buffer, sizeof buffer);
      if (n <= 0) return "";
      pending.append(buffer, static_cast<size_t>(n));
    }
    const size_t end = pending.find('\n');
    std::string line = pending.substr(0, end);
    pending.erase(0, end + 1);
    return line;
  }

  std::unique_ptr<dbtest::PgScratch> pg_;
  std::string location_;
};

TEST_F(ServerCommand, BatchLineMeetingAStoppedServerFailsInBoundedTimeAndTheCommandEnds) {
  ASSERT_EQ(run({"--db", location_, "db", "init"}).status, 0);
  int toChild[2], fromChild[2];
  ASSERT_EQ(pipe(toChild), 0);
  ASSERT_EQ(pipe(fromChild), 0);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, toChild[0], 0);
  posix_spawn_file_actions_adddup2(&files, fromChild[1], 1);
  posix_spawn_file_actions_addclose(&files, toChild[1]);
  posix_spawn_file_actions_addclose(&files, fromChild[0]);
  std::vector<std::string> args = {clitest::kCommand, "--db", location_, "--setting", "dbtimeout=1", "batch", "-"};
  std::vector<char *> argv;
  for (std::string &a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t child = -1;
  ASSERT_EQ(posix_spawn(&child, argv[0], &files, nullptr, argv.data(), environ), 0);
  posix_spawn_file_actions_destroy(&files);
  close(toChild[0]);
  close(fromChild[1]);

  const std::string line = "{\"function\": \"GetPasswordPolicyFromF98QXSEC\"}\n";
  std::string pending;
  ASSERT_EQ(write(toChild[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
  const json first = json::parse(readLine(fromChild[0], pending, 30), nullptr, false);
  EXPECT_EQ(first["errors"], json::array()) << first.dump();  // no policy, but the database answered

  const std::vector<int> sessions = pg_->integers("SELECT pid FROM pg_stat_activity WHERE application_name = '" +
                                                  dbtest::PgScratch::schemaOf(location_) + "'");
  ASSERT_FALSE(sessions.empty()) << pg_->error();
  for (int pid : sessions) kill(pid, SIGSTOP);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(write(toChild[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
  close(toChild[1]);
  const std::string second = readLine(fromChild[0], pending, 30);
  int status = -1;
  for (int i = 0; i < 300 && waitpid(child, &status, WNOHANG) == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  for (int pid : sessions) kill(pid, SIGCONT);
  if (!WIFEXITED(status) && !WIFSIGNALED(status)) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    FAIL() << "the command did not end";
  }
  close(fromChild[0]);
  EXPECT_LT(waited, 20.0);
  EXPECT_TRUE(WIFEXITED(status)) << "ended by a signal";
  const json failed = json::parse(second, nullptr, false);
  ASSERT_TRUE(failed.is_object()) << second;
  EXPECT_EQ(failed["return"], 2);
  ASSERT_FALSE(failed["errors"].empty()) << second;
  EXPECT_EQ(failed["errors"][0]["id"], "DBLS") << second;
}

}  // namespace
