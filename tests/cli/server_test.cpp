// famoflas batch against a PostgreSQL server that stops answering halfway:
// the line that meets it fails with the lost connection's error within the
// time allowed, and the command ends on its own.
#include <signal.h>

#include <thread>

#include "cli/command.h"
#include "db/db_fixture.h"

namespace {

class StoppedServer : public clitest::CommandTest {};

TEST_F(StoppedServer, BatchLineFailsInBoundedTimeAndTheCommandEnds) {
  const char *server = std::getenv("FAMOFLAS_TEST_POSTGRES");
  if (server == nullptr || *server == '\0') GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server";
  dbtest::PgScratch pg(server);
  const std::string location = pg.newLocation();
  ASSERT_EQ(run({"--db", location, "db", "init"}).status, 0) << pg.error();
  // The second line comes 3 s after the first; by then the server no longer answers.
  const std::string line = "echo '{\"function\": \"GetPasswordPolicyFromF98QXSEC\"}'";
  const std::string script = "{ " + line + "; sleep 3; " + line + "; } | timeout 60 '" + clitest::kCommand +
                             "' --db '" + location + "' --setting dbtimeout=1 batch -";
  clitest::Outcome batch;
  clitest::fs::remove(dir / "stdout");  // db init's
  std::thread command([&] { batch = run({"-c", script}, "", "sh"); });
  const std::string sessions =
      "SELECT pid FROM pg_stat_activity WHERE application_name = '" + dbtest::PgScratch::schemaOf(location) + "'";
  // Once the first line is answered, the server processes of the command's sessions stop.
  for (int i = 0; i < 600 && std::ifstream(dir / "stdout").peek() == EOF; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const std::vector<int> pids = pg.integers(sessions);
  for (int pid : pids) kill(pid, SIGSTOP);
  command.join();
  for (int pid : pids) kill(pid, SIGCONT);
  ASSERT_FALSE(pids.empty()) << pg.error();
  EXPECT_EQ(batch.status, 69) << "the command did not end, or ended as if all lines had run";
  EXPECT_NE(batch.err.find("line 2: could not be carried out: the database connection was lost"), std::string::npos)
      << batch.err;
  std::istringstream lines(batch.out);
  std::string first, second;
  std::getline(lines, first), std::getline(lines, second);
  EXPECT_EQ(nlohmann::json::parse(first)["errors"], nlohmann::json::array()) << first;  // no policy, but an answer
  EXPECT_NE(second.find("\"DBLS\""), std::string::npos) << batch.out << batch.err;
}

}  // namespace
