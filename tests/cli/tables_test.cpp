// famoflas db: what load takes, dump gives back exactly, into any database;
// a bad file loads nothing.
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class TablesCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("famoflas_db_" + std::to_string(::getpid()) + "_" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  // famoflas ARGS in the test folder; returns the exit status, stdout in *out.
  int famoflas(const std::string &args, std::string *out, const std::string &input = "") {
    std::ofstream(dir / "stdin") << input;
    const std::string line = "cd '" + dir.string() + "' && '" FAMOFLAS_BINARY_DIR "/bin/famoflas' " + args +
                             " <stdin >stdout 2>stderr";
    const int raw = std::system(line.c_str());
    std::ifstream in(dir / "stdout");
    std::ostringstream text;
    text << in.rdbuf();
    *out = text.str();
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  fs::path dir;
};

const char kRows[] = R"({
  "F0007": [
    {"MMCU": "PLANT1", "WDCT": "", "WDCK": "", "CTRY": "1", "YR": "24", "MT": "3", "SHFT": "",
     "TD01": "W", "TD02": " ", "TD04": "W", "TD31": "W"},
    {"MMCU": "PLANT1", "CTRY": 1, "YR": 24, "MT": 2, "TD29": "W"}
  ],
  "F0015": [
    {"CRCD": "EUR", "CRDC": "USD", "AN8": "0", "EFT": "2024-01-01", "CRCM": "Y", "CRR": "1.0853000", "CRRD": "0.9214"},
    {"CRCD": "EUR", "CRDC": "USD", "AN8": "4242", "EFT": "2024-06-30", "CSR": "3", "CRCM": "Z", "CRR": "1.1", "CRRD": "0.9090909"}
  ]})";

TEST_F(TablesCommand, DumpGivesBackWhatLoadTookAndReloadsIdentically) {
  std::string out;
  ASSERT_EQ(famoflas("--db first.db db load -", &out, kRows), 0);
  EXPECT_EQ(json::parse(out), json::parse(R"({"loaded": {"F0007": 2, "F0015": 2}})"));

  std::string calendar, rates;
  ASSERT_EQ(famoflas("--db first.db db dump F0007", &calendar), 0);
  ASSERT_EQ(famoflas("--db first.db db dump F0015", &rates), 0);
  const json days = json::parse(calendar)["F0007"];
  ASSERT_EQ(days.size(), 2u);
  EXPECT_EQ(days[0]["MT"], "2") << "rows come back in primary-key order";
  EXPECT_EQ(days[1]["TD04"], "W");
  EXPECT_EQ(days[1]["TD03"], " ") << "columns not given are blank";
  EXPECT_EQ(days[1]["MMCU"], "PLANT1      ") << "strings come back blank-padded";
  const json rows = json::parse(rates)["F0015"];
  EXPECT_EQ(rows[0]["CRRD"], "0.9214000") << "numbers carry the column's decimals";
  EXPECT_EQ(rows[1]["EFT"], "2024-06-30");

  // The dumps load into another database and dump to the same text.
  ASSERT_EQ(famoflas("--db second.db db load -", &out, calendar), 0);
  ASSERT_EQ(famoflas("--db second.db db load -", &out, rates), 0);
  std::string again;
  ASSERT_EQ(famoflas("--db second.db db dump F0007", &again), 0);
  EXPECT_EQ(again, calendar);
  ASSERT_EQ(famoflas("--db second.db db dump F0015", &again), 0);
  EXPECT_EQ(again, rates);
}

TEST_F(TablesCommand, ABadRowLoadsNothingOfTheFile) {
  struct Case {
    const char *file;
  } const cases[] = {
      {R"({"F0015": [{"CRCD": "EUR", "EFT": "2024-01-01"}, {"CRCD": "USD", "EFT": "2024-02-30"}]})"},
      {R"({"F0015": [{"CRCD": "EUR"}], "F9999": []})"},
      {R"({"F0015": [{"CRCD": "EUR"}, {"NOSUCH": "1"}]})"},
      {R"({"F0015": [{"CRCD": "EUROS"}]})"},
      // the same key twice: refused by the database
      {R"({"F0015": [{"CRCD": "EUR", "EFT": "2024-01-01"}, {"CRCD": "EUR", "EFT": "2024-01-01"}]})"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.file);
    std::string out;
    EXPECT_EQ(famoflas("--db bad.db db load -", &out, c.file), 64);
    ASSERT_EQ(famoflas("--db bad.db db dump F0015", &out), 0);
    EXPECT_EQ(json::parse(out)["F0015"].size(), 0u);
  }
}

TEST_F(TablesCommand, ServerLocationReachesPostgresqlUnchanged) {
  const char *server = std::getenv("FAMOFLAS_TEST_POSTGRES");
  if (server == nullptr || *server == '\0')
    GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server; scripts/test starts one and sets it";
  // A schema of this test's own, named in the location.
  PGconn *admin = PQconnectdb(server);
  ASSERT_EQ(PQstatus(admin), CONNECTION_OK) << PQerrorMessage(admin);
  PQsetNoticeProcessor(admin, [](void *, const char *) {}, nullptr);
  const std::string schema = "clitest_" + std::to_string(::getpid());
  PQclear(PQexec(admin, ("CREATE SCHEMA \"" + schema + "\"").c_str()));
  const std::string location = std::string(server) + (std::strchr(server, '?') ? "&" : "?") +
                               "options=-csearch_path%3D" + schema;

  std::string out, rates;
  EXPECT_EQ(famoflas("--db '" + location + "' db load -", &out, kRows), 0) << out;
  EXPECT_EQ(famoflas("--db '" + location + "' db dump F0015", &rates), 0);
  const json rows = json::parse(rates)["F0015"];
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1]["CRR"], "1.1000000");
  EXPECT_EQ(rows[1]["EFT"], "2024-06-30");
  EXPECT_FALSE(fs::exists(dir / "postgresql:")) << "taken for a file path";

  PGresult *count = PQexec(admin, ("SELECT count(*) FROM \"" + schema + "\".\"F0015\"").c_str());
  EXPECT_EQ(std::string(PQgetvalue(count, 0, 0)), "2");
  PQclear(count);
  PQclear(PQexec(admin, ("DROP SCHEMA \"" + schema + "\" CASCADE").c_str()));
  PQfinish(admin);
}

}  // namespace
