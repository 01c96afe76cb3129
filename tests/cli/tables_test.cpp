// famoflas db: what load takes, dump gives back exactly, into any database;
// a bad file loads nothing.
#include <libpq-fe.h>

#include <cstring>

#include "cli/command.h"

namespace {

using nlohmann::json;

class TablesCommand : public clitest::CommandTest {
 protected:
  int load(const std::string &database, const std::string &rows) const {
    return run({"--db", database, "db", "load", "-"}, rows).status;
  }
  std::string dump(const std::string &database, const char *table) const {
    const clitest::Outcome r = run({"--db", database, "db", "dump", table});
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
  }
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
  ],
  "F98QXSEC": [{"QXUSR": "A", "QXTYP": "T", "SRVBLOBA": "00fFa1"}, {"QXUSR": "B", "QXTYP": "T", "SRVBLOBA": ""}]})";

TEST_F(TablesCommand, DumpGivesBackWhatLoadTookAndReloadsIdentically) {
  const clitest::Outcome loaded = run({"--db", "first.db", "db", "load", "-"}, kRows);
  ASSERT_EQ(loaded.status, 0) << loaded.err;
  EXPECT_EQ(loaded.result(), json::parse(R"({"loaded": {"F0007": 2, "F0015": 2, "F98QXSEC": 2}})"));

  const std::string calendar = dump("first.db", "F0007"), rates = dump("first.db", "F0015");
  const json days = json::parse(calendar)["F0007"], rows = json::parse(rates)["F0015"];
  ASSERT_EQ(days.size(), 2u);
  EXPECT_EQ(days[0]["MT"], "2") << "rows come back in primary-key order";
  EXPECT_EQ(days[1]["TD03"], " ") << "columns not given are blank";
  EXPECT_EQ(days[1]["MMCU"], "PLANT1      ") << "strings come back blank-padded";
  EXPECT_EQ(rows[0]["CRRD"], "0.9214000") << "numbers carry the column's decimals";
  EXPECT_EQ(rows[1]["EFT"], "2024-06-30");
  const json secured = json::parse(dump("first.db", "F98QXSEC"))["F98QXSEC"];
  EXPECT_TRUE(secured[0]["SRVBLOBA"] == "00ffa1" && secured[1]["SRVBLOBA"].is_null()) << "binary columns in hex";

  // The dumps load into another database and dump to the same text.
  ASSERT_EQ(load("second.db", calendar) + load("second.db", rates), 0);
  EXPECT_EQ(dump("second.db", "F0007"), calendar);
  EXPECT_EQ(dump("second.db", "F0015"), rates);
}

TEST_F(TablesCommand, ABadRowLoadsNothingOfTheFile) {
  struct Case {
    const char *file;
    std::string message;  // part of the refusal
  } const cases[] = {
      {R"({"F0015": [{"CRCD": "EUR", "EFT": "2024-01-01"}, {"CRCD": "USD", "EFT": "2024-02-30"}]})", "row 2"},
      {R"({"F0015": [{"CRCD": "EUR"}], "F9999": []})", "unknown table F9999"},
      {R"({"F0015": [{"CRCD": "EUR"}, {"NOSUCH": "1"}]})", "unknown column NOSUCH"},
      {R"({"F0015": [{"CRCD": "EUROS"}]})", "column CRCD"},
      // the same key twice: refused by the database
      {R"({"F0015": [{"CRCD": "EUR", "EFT": "2024-01-01"}, {"CRCD": "EUR", "EFT": "2024-01-01"}]})", "row 2"},
      // nothing is rounded on the way in
      {R"({"F0015": [{"CRCD": "EUR"}, {"CRCD": "USD", "AN8": "1.5"}]})",
       "table F0015, row 2: column AN8: '1.5' has more decimals than the column's 0"},
      {R"({"F0015": [{"CRCD": "EUR", "CRR": 1.085300000000001}]})",
       "column CRR: '1.085300000000001' has more decimals than the column's 7"},
      {R"({"F0015": [{"CRCD": "EUR", "AN8": "123456789"}]})", "column AN8: '123456789' does not fit"},
      {R"({"F0015": [{"CRCD": "EUR"}], "F0015": [{"CRCD": "USD"}]})", "duplicate key \"F0015\""},
  };
  ASSERT_EQ(run({"--db", "bad.db", "db", "init"}).status, 0);
  for (const Case &c : cases) {
    const clitest::Outcome r = run({"--db", "bad.db", "db", "load", "-"}, c.file);
    EXPECT_EQ(r.status, 64) << c.file;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(json::parse(dump("bad.db", "F0015"))["F0015"].size(), 0u) << c.file;
  }
  // Decimals that are only zeros lose nothing.
  ASSERT_EQ(load("bad.db", R"({"F0015": [{"CRCD": "EUR", "AN8": "7.000", "CRR": 1.08530000000000}]})"), 0);
  const json row = json::parse(dump("bad.db", "F0015"))["F0015"][0];
  EXPECT_TRUE(row["AN8"] == "7" && row["CRR"] == "1.0853000") << row;
}

// A mistyped --db path is an error that names it, never a new empty database
// ("no policy" and "wrong file" must not look alike); init and load create one.
TEST_F(TablesCommand, OnlyInitAndLoadCreateADatabase) {
  const std::string line = R"({"function": "GetPasswordPolicyFromF98QXSEC"})";
  for (const clitest::Outcome &r : {run({"--db", "typo.db", "call", "GetPasswordPolicyFromF98QXSEC"}),
                                    run({"--db", "typo.db", "batch", "-"}, line)}) {
    EXPECT_NE(r.out.find(R"("id":"DBNO")"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("no database at"), std::string::npos) << r.out;
    EXPECT_EQ(r.status, 69) << "a missing database is no answer of the function";
    EXPECT_NE(r.err.find("could not be carried out: the database cannot be opened"), std::string::npos) << r.err;
  }
  const clitest::Outcome dumped = run({"--db", "typo.db", "db", "dump", "F0007"});
  EXPECT_EQ(dumped.status, 64);
  EXPECT_NE(dumped.err.find("no database at"), std::string::npos) << dumped.err;
  EXPECT_FALSE(clitest::fs::exists(dir / "typo.db"));

  const clitest::Outcome loaded = run({"--db", "new.db", "db", "load", "-"}, kRows);
  EXPECT_EQ(loaded.status, 0) << loaded.err;
  EXPECT_NE(loaded.err.find("created the database"), std::string::npos) << loaded.err;
  EXPECT_EQ(run({"--db", "new.db", "db", "load", "-"}, "{}").err, "") << "no note for a database that was there";
  // A table that cannot be read is not an empty one.
  const clitest::Outcome unread = run({"--db", "new.db", "--setting", "fail=VDB_Fetch:F0007", "db", "dump", "F0007"});
  EXPECT_EQ(unread.status, 64);
  EXPECT_NE(unread.err.find("reading F0007 failed"), std::string::npos) << unread.err;
}

TEST_F(TablesCommand, ServerLocationReachesPostgresqlUnchanged) {
  const char *server = std::getenv("FAMOFLAS_TEST_POSTGRES");
  if (server == nullptr || *server == '\0')
    GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server; scripts/test starts one and sets it";
  // A schema of this test's own, named in the location.
  PGconn *admin = PQconnectdb(server);
  ASSERT_EQ(PQstatus(admin), CONNECTION_OK) << PQerrorMessage(admin);
  PQsetNoticeProcessor(
      admin, [](void *, const char *) {}, nullptr);
  const std::string schema = "clitest_" + std::to_string(::getpid());
  PQclear(PQexec(admin, ("CREATE SCHEMA \"" + schema + "\"").c_str()));
  const std::string location =
      std::string(server) + (std::strchr(server, '?') ? "&" : "?") + "options=-csearch_path%3D" + schema;

  EXPECT_EQ(load(location, kRows), 0);
  const json rows = json::parse(dump(location, "F0015"))["F0015"];
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1]["CRR"], "1.1000000");
  EXPECT_FALSE(clitest::fs::exists(dir / "postgresql:")) << "taken for a file path";

  PGresult *count = PQexec(admin, ("SELECT count(*) FROM \"" + schema + "\".\"F0015\"").c_str());
  EXPECT_EQ(std::string(PQgetvalue(count, 0, 0)), "2");
  PQclear(count);
  PQclear(PQexec(admin, ("DROP SCHEMA \"" + schema + "\" CASCADE").c_str()));
  PQfinish(admin);
}

}  // namespace
