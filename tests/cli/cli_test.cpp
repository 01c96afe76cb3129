// The famoflas command as scripts use it: JSON out for every member kind, the
// exit status, and the refusals that call nothing (exit 64).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "runtime/context.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const std::string kCommand = std::string(FAMOFLAS_BINARY_DIR) + "/bin/famoflas";
const std::string kPlugin = std::string(FAMOFLAS_BINARY_DIR) + "/tests/plugins/libcli_echo_plugin.so";

std::string quote(const std::string &arg) {
  std::string out = "'";
  for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::string slurp(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct Outcome {
  int status = -1;
  std::string out, err;
  json result() const { return json::parse(out); }
};

class Command : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("famoflas_cli_" + std::to_string(::getpid()) + "_" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  // Runs the command in the test's folder with the echo library loaded.
  Outcome run(std::vector<std::string> args, const std::string &input = "", const std::string &command = kCommand,
          bool withPlugin = true) {
    if (withPlugin) args.insert(args.begin() + (args.empty() ? 0 : 1), {"--library", kPlugin});
    std::ofstream(dir / "stdin") << input;
    std::string line = "cd " + quote(dir.string()) + " && " + quote(command);
    for (const std::string &a : args) line += " " + quote(a);
    line += " <stdin >stdout 2>stderr";
    const int raw = std::system(line.c_str());
    Outcome r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = slurp(dir / "stdout");
    r.err = slurp(dir / "stderr");
    return r;
  }
  fs::path dir;
};

TEST_F(Command, EveryMemberKindRoundTripsThroughJson) {
  const Outcome r = run({"call", "EchoMembers", "szText=ab é ", "cFlag=Y", "mnAmount=-12.50", "jdDate=2024-02-29",
                     "utStamp=2024-03-10T08:30:00Z", "nCount=-7", "idHandle=4294967295", "nSmall=-32768",
                     "abRaw=00ff10ab"});
  ASSERT_EQ(r.status, 0) << r.err;
  const json expected = json::parse(R"({
    "function": "EchoMembers", "return": 0,
    "ds": {"szText": "ab é ", "cFlag": "Y", "mnAmount": "-12.50", "jdDate": "2024-02-29",
           "utStamp": "2024-03-10T08:30:00Z", "nCount": -7, "idHandle": 4294967295, "nSmall": -32768,
           "lpAny": null, "abRaw": "00ff10ab", "nLength": 5, "idReturn": 0},
    "errors": [], "trace": ["echo 'ab é '"]})");
  EXPECT_EQ(r.result(), expected);
  // Members come out in declaration order.
  EXPECT_LT(r.out.find("\"szText\""), r.out.find("\"cFlag\""));
  EXPECT_LT(r.out.find("\"lpAny\""), r.out.find("\"abRaw\""));
  EXPECT_EQ(r.out.back(), '\n');
  EXPECT_EQ(r.out.find('\n'), r.out.size() - 1) << "one JSON object on one line";

  // Untouched members print as the zero of their kind; null dates and times as null.
  const json empty = run({"call", "EchoMembers"}).result()["ds"];
  EXPECT_EQ(empty, json::parse(R"({"szText": "", "cFlag": "", "mnAmount": "0", "jdDate": null, "utStamp": null,
    "nCount": 0, "idHandle": 0, "nSmall": 0, "lpAny": null, "abRaw": "00000000", "nLength": 0, "idReturn": 0})"));
}

TEST_F(Command, DsJsonFromFileOrStdinWithPairsOverriding) {
  std::ofstream(dir / "ds.json") << R"({"szText": "from file", "mnAmount": 3.25, "nCount": 12, "jdDate": null})";
  Outcome r = run({"call", "EchoMembers", "--ds-json", "ds.json", "nCount=13"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["ds"]["szText"], "from file");
  EXPECT_EQ(r.result()["ds"]["mnAmount"], "3.25");
  EXPECT_EQ(r.result()["ds"]["nCount"], 13);

  r = run({"call", "EchoMembers", "--ds-json", "-"}, R"({"szText": "stdin", "idReturn": 1})");
  EXPECT_EQ(r.status, 1) << "a warning is the exit status";
  EXPECT_EQ(r.result()["return"], 1);
  EXPECT_EQ(r.result()["errors"], json::parse(R"([{"item": 1, "id": "ECHO", "text": "stdin",
                                                  "source": "ECHOOBJ", "line": 42}])"));
  r = run({"call", "EchoMembers", "idReturn=2"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Command, RefusalsCallNothingAndExit64WithOneLine) {
  struct Case {
    std::vector<std::string> args;
    std::string stdinText;
    std::string message;  // part of the one stderr line
  } const cases[] = {
      {{"call", "NoSuchFunction"}, "", "unknown business function 'NoSuchFunction'"},
      {{"call", "EchoMembers", "szNope=1"}, "", "unknown member 'szNope'"},
      {{"call", "EchoMembers", "szText=eleven char"}, "", "member szText: 'eleven char' is 11 characters"},
      {{"call", "EchoMembers", "mnAmount=1,5"}, "", "member mnAmount"},
      {{"call", "EchoMembers", "nSmall=40000"}, "", "member nSmall"},
      {{"call", "EchoMembers", "jdDate=2023-02-30"}, "", "member jdDate"},
      {{"call", "EchoMembers", "lpAny=0x10"}, "", "pointer"},
      {{"call", "EchoMembers", "justtext"}, "", "MEMBER=VALUE"},
      {{"call", "EchoMembers", "--setting", "ldap=yes"}, "", "bad setting"},
      {{"call", "EchoMembers", "--setting", "nosuch=1"}, "", "unknown setting 'nosuch'"},
      {{"call", "EchoMembers", "--setting", "novalue"}, "", "KEY=VALUE"},
      {{"call", "EchoMembers", "--ds-json", "-"}, "{not json", "not valid JSON"},
      {{"call", "EchoMembers", "--ds-json", "-"}, "[1]", "JSON object"},
      {{"call", "EchoMembers", "--ds-json", "-"}, R"({"nCount": true})", "member nCount"},
      {{"call", "EchoMembers", "--ds-json", "missing.json"}, "", "missing.json"},
      {{"call"}, "", "needs a business function name"},
      {{"frobnicate"}, "", "unknown command 'frobnicate'"},
      {{"call", "EchoMembers", "--bogus"}, "", "unknown option '--bogus'"},
      {{"call", "EchoMembers", "--db"}, "", "--db needs a value"},
      {{"describe", "NoSuchFunction"}, "", "unknown business function"},
      {{"list", "--ds-json", "x"}, "", "--ds-json"},
      {{"call", "ubeReportGetName", "--report", "missing.json"}, "", "missing.json"},
      {{"call", "ubeReportGetName", "--report", "-"}, "{not json", "--report - is not valid JSON"},
      {{"call", "ubeReportGetName", "--report", "-"}, R"({"name": "R1", "page": 2})", "report.page: is not a known key"},
      {{"call", "EchoMembers", "--report", "-", "--ds-json", "-"}, "{}", "cannot both read stdin"},
      {{"list", "--report", "x"}, "", "--report belongs to call"},
  };
  for (const Case &c : cases) {
    std::string shown;
    for (const auto &a : c.args) shown += a + " ";
    SCOPED_TRACE(shown);
    const Outcome r = run(c.args, c.stdinText);
    EXPECT_EQ(r.status, 64);
    EXPECT_EQ(r.out, "") << "nothing on stdout: nothing was called";
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
  }
  const Outcome none = run({}, "", kCommand, false);
  EXPECT_EQ(none.status, 64);
}

// A report state goes in with the call and comes back as the call left it.
TEST_F(Command, ReportStateIsAttachedAndPrintedBack) {
  std::ofstream(dir / "report.json") << R"({"name": "RPT0006", "pageNumber": 2})";
  Outcome r = run({"call", "ubeSetPageNumber", "nPageNumber=7", "--report", "report.json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["ds"]["szPageNumberSet"], "TRUE");
  EXPECT_EQ(r.result()["report"]["pageNumber"], 7);
  EXPECT_EQ(r.result()["report"]["name"], "RPT0006");

  r = run({"call", "ubeReportStopBatchWithError", "--report", "-"}, R"({"name": "RPT0006"})");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["report"]["stop"],
            (json{{"withError", true},
                  {"message", "This is a test for the system API ubeSection_StopBatchProcessWithError"}}));

  r = run({"call", "ubeReportGetName"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_FALSE(r.result().contains("report")) << "no report, no report state";
  EXPECT_EQ(r.result()["ds"]["szReportName"], "");

  std::ofstream(dir / "reports.jsonl")
      << R"({"function": "ubeReportGetPageNumber", "report": {"name": "R1", "pageNumber": 5}})" "\n"
      << R"({"function": "ubeReportGetPageNumber", "report": {"pageNumber": 5}})" "\n";
  r = run({"batch", "reports.jsonl"});
  std::istringstream out(r.out);
  std::string first, second;
  ASSERT_TRUE(std::getline(out, first) && std::getline(out, second)) << r.out;
  EXPECT_EQ(json::parse(first)["ds"]["nPageNumber"], 5);
  EXPECT_NE(json::parse(second)["error"].get<std::string>().find("report.name: is required"), std::string::npos);
}

TEST_F(Command, DatabaseAndSettingsReachTheContext) {
  Outcome r = run({"call", "EchoSettings", "--setting", "user=JDOE", "--setting", "CTR=BR"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["ds"]["szUser"], "JDOE");
  EXPECT_EQ(r.result()["ds"]["szCountry"], "BR");
  EXPECT_EQ(r.result()["ds"]["szDatabase"], (fs::canonical(dir) / "famoflas.db").string())
      << "the default database is famoflas.db in the working directory";

  // --db anywhere on the line, for the environment the context runs in.
  r = run({"call", "--db", "/data/x.db", "EchoSettings", "--setting=env=PROD"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["ds"]["szDatabase"], "/data/x.db");
  r = run({"call", "EchoSettings", "--setting", "env.DEFAULT=/explicit.db"});
  EXPECT_EQ(r.result()["ds"]["szDatabase"], "/explicit.db") << "an explicit location wins over the default";
}

TEST_F(Command, BatchRunsEveryLineAndReportsBadOnes) {
  const std::string input =
      R"({"function": "EchoMembers", "ds": {"szText": "one", "idReturn": 1}})" "\n"
      "\n"
      R"({"function": "EchoSettings", "settings": {"CTR": "JP"}})" "\n"
      "{broken\n"
      R"({"function": "EchoMembers", "ds": {"nope": 1}})" "\n"
      R"({"function": "EchoSettings", "settings": {"ldap": "7"}})" "\n"
      R"({"function": "EchoMembers", "ds": {"szText": "last"}})" "\n";
  std::ofstream(dir / "batch.jsonl") << input;
  for (const std::string &source : {std::string("batch.jsonl"), std::string("-")}) {
    SCOPED_TRACE(source);
    const Outcome r = run({"batch", source, "--setting", "user=BATCHER"}, source == "-" ? input : "");
    EXPECT_EQ(r.status, 64) << "not every line ran";
    std::vector<json> lines;
    std::istringstream out(r.out);
    for (std::string line; std::getline(out, line);) lines.push_back(json::parse(line));
    ASSERT_EQ(lines.size(), 6u) << r.out;
    EXPECT_EQ(lines[0]["return"], 1);
    EXPECT_EQ(lines[0]["ds"]["nLength"], 3);
    EXPECT_EQ(lines[1]["ds"]["szCountry"], "JP");
    EXPECT_EQ(lines[1]["ds"]["szUser"], "BATCHER") << "command-line settings apply to every line";
    EXPECT_TRUE(lines[2].contains("error"));
    EXPECT_EQ(lines[2]["line"], 4);
    EXPECT_NE(lines[3]["error"].get<std::string>().find("nope"), std::string::npos);
    EXPECT_NE(lines[4]["error"].get<std::string>().find("ldap"), std::string::npos);
    EXPECT_EQ(lines[5]["ds"]["szText"], "last");
  }
  std::ofstream(dir / "good.jsonl") << R"({"function": "EchoMembers"})" "\n";
  EXPECT_EQ(run({"batch", "good.jsonl"}).status, 0);
}

TEST_F(Command, ListDescribeHelpAndVersion) {
  Outcome r = run({"list"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("EchoMembers ECHOOBJ\n"), std::string::npos) << r.out;
  EXPECT_LT(r.out.find("EchoMembers"), r.out.find("EchoSettings"));

  r = run({"describe", "EchoMembers"});
  ASSERT_EQ(r.status, 0) << r.err;
  const json described = r.result();
  EXPECT_EQ(described["source"], "ECHOOBJ");
  ASSERT_EQ(described["members"].size(), 12u);
  EXPECT_EQ(described["members"][0], json::parse(R"({"name": "szText", "kind": "string", "width": 10, "offset": 0})"));
  EXPECT_EQ(described["members"][2], json::parse(R"({"name": "mnAmount", "kind": "math", "width": 1, "offset": 24})"));
  std::vector<std::string> kinds;
  for (const auto &m : described["members"]) kinds.push_back(m["kind"]);
  EXPECT_EQ(kinds, (std::vector<std::string>{"string", "char", "math", "date", "utime", "int", "id", "short",
                                             "pointer", "bytes", "int", "id"}));

  for (const std::vector<std::string> &args : {std::vector<std::string>{"--help"}, {"call", "--help"}}) {
    r = run(args, "", kCommand, false);
    EXPECT_EQ(r.status, 0);
    for (const vyr::SettingKey &key : vyr::settingKeys()) {
      const size_t at = r.out.find(std::string("\n  ") + key.key + " ");
      EXPECT_NE(at, std::string::npos) << key.key;
      EXPECT_EQ(r.out.find(std::string(key.meaning) + " [" + key.defaultValue + "]\n"), r.out.find('\n', at + 1) - std::strlen(key.meaning) - std::strlen(key.defaultValue) - 3) << key.key;
    }
  }
  r = run({"--version"}, "", kCommand, false);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("famoflas ", 0), 0u);
}

TEST_F(Command, MissingLibraryIsAClearError) {
  fs::create_directories(dir / "bin");
  fs::copy_file(kCommand, dir / "bin" / "famoflas");
  const Outcome r = run({"list"}, "", (dir / "bin" / "famoflas").string(), false);
  EXPECT_EQ(r.status, 69);
  EXPECT_NE(r.err.find("libfamoflas.so is missing"), std::string::npos) << r.err;
}

}  // namespace
