// The famoflas command as scripts use it: JSON out for every member kind, the
// exit status, and the refusals that call nothing (exit 64).
#include <sstream>

#include "cli/command.h"
#include "runtime/context.h"

namespace {

namespace fs = std::filesystem;
using clitest::kCommand;
using clitest::Outcome;
using nlohmann::json;

const std::string kPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/libcli_echo_plugin.so";

// The command with the echo library loaded (after the command word).
class Command : public clitest::CommandTest {
 protected:
  Outcome echo(std::vector<std::string> args, const std::string &input = "") const {
    args.insert(args.begin() + (args.empty() ? 0 : 1), {"--library", kPlugin});
    return run(args, input);
  }
  std::vector<json> lines(const std::string &out) const {
    std::vector<json> parsed;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) parsed.push_back(json::parse(line));
    return parsed;
  }
};

TEST_F(Command, EveryMemberKindRoundTripsThroughJson) {
  const Outcome r =
      echo({"call", "EchoMembers", "szText=ab é ", "cFlag=Y", "mnAmount=-12.50", "jdDate=2024-02-29",
            "utStamp=2024-03-10T08:30:00Z", "nCount=-7", "idHandle=4294967295", "nSmall=-32768", "abRaw=00ff10ab"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result(), json::parse(R"({
    "function": "EchoMembers", "return": 0,
    "ds": {"szText": "ab é ", "cFlag": "Y", "mnAmount": "-12.50", "jdDate": "2024-02-29",
           "utStamp": "2024-03-10T08:30:00Z", "nCount": -7, "idHandle": 4294967295, "nSmall": -32768,
           "lpAny": null, "abRaw": "00ff10ab", "nLength": 5, "idReturn": 0},
    "errors": [], "trace": ["echo 'ab é '"]})"));
  // Members come out in declaration order, one JSON object on one line.
  EXPECT_LT(r.out.find("\"szText\""), r.out.find("\"cFlag\""));
  EXPECT_LT(r.out.find("\"lpAny\""), r.out.find("\"abRaw\""));
  EXPECT_EQ(r.out.find('\n'), r.out.size() - 1);

  // Untouched members print as the zero of their kind; null dates and times as null.
  EXPECT_EQ(echo({"call", "EchoMembers"}).result()["ds"],
            json::parse(R"({"szText": "", "cFlag": "", "mnAmount": "0", "jdDate": null, "utStamp": null,
    "nCount": 0, "idHandle": 0, "nSmall": 0, "lpAny": null, "abRaw": "00000000", "nLength": 0, "idReturn": 0})"));
}

TEST_F(Command, DsJsonFromFileOrStdinWithPairsOverridingAndTheCodeAsExitStatus) {
  std::ofstream(dir / "ds.json") << R"({"szText": "from file", "mnAmount": 3.25, "nCount": 12, "jdDate": null})";
  Outcome r = echo({"call", "EchoMembers", "--ds-json", "ds.json", "nCount=13"});
  ASSERT_EQ(r.status, 0) << r.err;
  const json ds = r.result()["ds"];
  EXPECT_TRUE(ds["szText"] == "from file" && ds["mnAmount"] == "3.25" && ds["nCount"] == 13) << ds;

  r = echo({"call", "EchoMembers", "--ds-json", "-"}, R"({"szText": "stdin", "idReturn": 1})");
  EXPECT_EQ(r.status, 1) << "a warning is the exit status";
  EXPECT_EQ(r.result()["errors"], json::parse(R"([{"item": 1, "id": "ECHO", "message": null, "text": "stdin",
                                                  "source": "ECHOOBJ", "line": 42}])"));
  EXPECT_EQ(echo({"call", "EchoMembers", "idReturn=2"}).status, 2);
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
      {{"call", "ubeReportGetName", "--report", "-"}, "{not json", "--report -: not valid JSON (byte 3)"},
      {{"call", "ubeReportGetName", "--report", "-"},
       R"({"name": "R1", "page": 2})",
       "report.page: is not a known key"},
      {{"call", "EchoMembers", "--report", "-", "--ds-json", "-"}, "{}", "cannot both read stdin"},
      {{"list", "--report", "x"}, "", "--report belongs to call"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.args.front() + " " + (c.args.size() > 1 ? c.args[1] : "") + " " + c.message);
    const Outcome r = echo(c.args, c.stdinText);
    EXPECT_EQ(r.status, 64);
    EXPECT_EQ(r.out, "") << "nothing on stdout: nothing was called";
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
  }
  EXPECT_EQ(run({}).status, 64);
}

// A report state goes in with the call and comes back as the call left it.
TEST_F(Command, ReportStateIsAttachedAndPrintedBack) {
  std::ofstream(dir / "report.json") << R"({"name": "RPT0006", "pageNumber": 2})";
  Outcome r = run({"call", "ubeSetPageNumber", "nPageNumber=7", "--report", "report.json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.result()["ds"]["szPageNumberSet"], "TRUE");
  EXPECT_EQ(r.result()["report"]["pageNumber"], 7);

  r = run({"call", "ubeReportStopBatchWithError", "--report", "-"}, R"({"name": "RPT0006"})");
  EXPECT_EQ(r.result()["report"]["stop"]["withError"], true) << r.err;
  r = run({"call", "ubeReportGetName"});
  EXPECT_FALSE(r.result().contains("report")) << "no report, no report state";

  std::ofstream(dir / "reports.jsonl")
      << R"({"function": "ubeReportGetPageNumber", "report": {"name": "R1", "pageNumber": 5}})"
         "\n"
      << R"({"function": "ubeReportGetPageNumber", "report": {"pageNumber": 5}})"
         "\n";
  const std::vector<json> out = lines(run({"batch", "reports.jsonl"}).out);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0]["ds"]["nPageNumber"], 5);
  EXPECT_NE(out[1]["error"].get<std::string>().find("report.name: is required"), std::string::npos);
}

TEST_F(Command, DatabaseAndSettingsReachTheContext) {
  Outcome r = echo({"call", "EchoSettings", "--setting", "user=JDOE", "--setting", "CTR=BR"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(
      r.result()["ds"],
      (json{{"szUser", "JDOE"}, {"szCountry", "BR"}, {"szDatabase", (fs::canonical(dir) / "famoflas.db").string()}}))
      << "the default database is famoflas.db in the working directory";
  // --db anywhere on the line, for the environment the context runs in; an explicit location wins.
  r = echo({"call", "--db", "/data/x.db", "EchoSettings", "--setting=env=PROD"});
  EXPECT_EQ(r.result()["ds"]["szDatabase"], "/data/x.db") << r.err;
  r = echo({"call", "EchoSettings", "--setting", "env.DEFAULT=/explicit.db"});
  EXPECT_EQ(r.result()["ds"]["szDatabase"], "/explicit.db");
}

TEST_F(Command, BatchRunsEveryLineAndReportsBadOnes) {
  const std::string input = R"({"function": "EchoMembers", "ds": {"szText": "one", "idReturn": 1}})"
                            "\n"
                            "\n"
                            R"({"function": "EchoSettings", "settings": {"CTR": "JP"}})"
                            "\n"
                            "{broken\n"
                            R"({"function": "EchoMembers", "ds": {"nope": 1}})"
                            "\n"
                            R"({"function": "EchoSettings", "settings": {"ldap": "7"}})"
                            "\n"
                            R"({"function": "EchoMembers", "ds": {"szText": "last"}})"
                            "\n";
  std::ofstream(dir / "batch.jsonl") << input;
  for (const std::string source : {"batch.jsonl", "-"}) {
    SCOPED_TRACE(source);
    const Outcome r = echo({"batch", source, "--setting", "user=BATCHER"}, source == "-" ? input : "");
    EXPECT_EQ(r.status, 64) << "not every line ran";
    const std::vector<json> out = lines(r.out);
    ASSERT_EQ(out.size(), 6u) << r.out;
    EXPECT_TRUE(out[0]["return"] == 1 && out[0]["ds"]["nLength"] == 3) << out[0];
    EXPECT_TRUE(out[1]["ds"]["szCountry"] == "JP" && out[1]["ds"]["szUser"] == "BATCHER") << out[1];
    EXPECT_EQ(out[2]["line"], 4);
    EXPECT_NE(out[3]["error"].get<std::string>().find("nope"), std::string::npos);
    EXPECT_NE(out[4]["error"].get<std::string>().find("ldap"), std::string::npos);
    EXPECT_EQ(out[5]["ds"]["szText"], "last");
  }
  std::ofstream(dir / "good.jsonl") << R"({"function": "EchoMembers"})"
                                       "\n";
  EXPECT_EQ(echo({"batch", "good.jsonl"}).status, 0);
}

// JSON numbers are read from their text, as value texts are: nothing passes
// through binary floating point, and an exponent means the same in both.
TEST_F(Command, NumbersStayExactAndKeysAreGivenOnce) {
  struct Case {
    std::string ds;
    std::string amount;  // the member as printed back, or part of the refusal
  } const cases[] = {
      {R"({"mnAmount": 123456789012345.123})", "123456789012345.123"},
      {R"({"mnAmount": 1.10})", "1.10"},
      {R"({"mnAmount": 1e3})", "1000"},
      {R"({"mnAmount": "1e3"})", "1000"},
      {R"({"mnAmount": 12345678901234567890123})", "12345678901234567890123"},
      {R"({"mnAmount": 123456789012345678901234567890123})", "'123456789012345678901234567890123' needs 33 digits"},
      {R"({"mnAmount": 1e400})", "the number 1e400 is out of range"},
      {R"({"nCount": 1.0})", "'1.0' is not an integer"},
      {R"({"mnAmount": "1", "mnAmount": "2"})", "duplicate key \"mnAmount\""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.ds);
    const Outcome r = echo({"call", "EchoMembers", "--ds-json", "-"}, c.ds);
    if (r.status == 0)
      EXPECT_EQ(r.result()["ds"]["mnAmount"], c.amount);
    else
      EXPECT_NE(r.err.find(c.amount), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("e+"), std::string::npos) << "no float in a message: " << r.err;
  }
  EXPECT_EQ(echo({"call", "EchoMembers", "--ds-json", "-"}, R"({"szText": 1.50})").result()["ds"]["szText"], "1.50");

  // Batch lines: the same numbers, and a key given twice at any level refused.
  const std::string input = R"({"function": "EchoMembers", "ds": {"mnAmount": 0.1000000000000000055511151231257}})"
                            "\n"
                            R"({"function": "EchoMembers", "ds": {"nCount": 1, "nCount": 2}})"
                            "\n"
                            R"({"function": "EchoSettings", "settings": {"CTR": "JP", "CTR": "BR"}})"
                            "\n"
                            R"({"function": "EchoMembers", "function": "EchoSettings"})"
                            "\n";
  const Outcome r = echo({"batch", "-"}, input);
  const std::vector<json> out = lines(r.out);
  ASSERT_EQ(out.size(), 4u) << r.out;
  EXPECT_EQ(out[0]["ds"]["mnAmount"], "0.1000000000000000055511151231257");
  EXPECT_EQ(out[1]["error"], "duplicate key \"nCount\" in \"ds\"");
  EXPECT_EQ(out[2]["error"], "duplicate key \"CTR\" in \"settings\"");
  EXPECT_EQ(out[3]["error"], "duplicate key \"function\"");
}

// A function's own answer (even 2) leaves the exit status alone; a call the
// platform could not carry out does not.
TEST_F(Command, LinesThatCouldNotBeCarriedOutMakeTheBatchFail) {
  ASSERT_EQ(run({"db", "init"}).status, 0);
  const std::string input = R"({"function": "EchoMembers", "ds": {"idReturn": 2}})"
                            "\n"
                            R"({"function": "EchoMembers", "ds": {"idReturn": 4294967295}})"
                            "\n"
                            R"({"function": "EchoDatabase", "settings": {"env.DEFAULT": "/nonexistent/folder/x.db"}})"
                            "\n"
                            R"({"function": "EchoDatabase"})"
                            "\n";
  const Outcome r = echo({"batch", "-"}, input);
  EXPECT_EQ(r.status, 69);
  const std::vector<json> out = lines(r.out);
  ASSERT_EQ(out.size(), 4u) << r.out;
  EXPECT_EQ(out[0]["return"], 2);
  EXPECT_TRUE(out[1]["return"] == 2 && out[1]["errors"][1]["id"] == "BSFNRC") << out[1];
  EXPECT_EQ(out[1]["errors"][1]["text"], "EchoMembers returned -1");
  EXPECT_TRUE(out[2]["return"] == 0 && out[2]["ds"]["cOpened"] == "0") << "the function's answer stays as it was";
  EXPECT_EQ(out[3]["ds"]["cOpened"], "1");
  EXPECT_NE(r.err.find("line 2: could not be carried out: EchoMembers returned -1"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("line 3: could not be carried out: vyrGetBhvrEnvironment: "), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("line 1"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("2 line(s) could not be carried out, 0 line(s) refused"), std::string::npos) << r.err;

  const Outcome call = echo({"call", "EchoMembers", "idReturn=4294967295"});
  EXPECT_EQ(call.status, 69) << "not 255, not the raw code";
  EXPECT_EQ(call.result()["return"], 2);
  EXPECT_NE(call.err.find("could not be carried out: EchoMembers returned -1"), std::string::npos) << call.err;
}

TEST_F(Command, ErrorsShowTheirMessageAndStderrShowsNoRawControlBytes) {
  ASSERT_EQ(run({"db", "init"}).status, 0);
  const Outcome rate = run({"call", "GetExchRate", "szFromCurrency=EUR", "szToCurrency=USD"});
  ASSERT_EQ(rate.status, 2) << rate.err;
  EXPECT_EQ(rate.result()["errors"][0]["id"], "0949");
  EXPECT_EQ(rate.result()["errors"][0]["message"], "Exchange rate not found");

  const Outcome r = echo({"call", "EchoMembers", "szText=\x1b]0;owned\x07\x1b[2J\xff\xc2\x85long"});
  EXPECT_EQ(r.status, 64);
  EXPECT_EQ(r.err.find_first_of(std::string("\x1b\x07\xff", 3)), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("\\x1b]0;owned\\x07\\x1b[2J\\xff\\u0085long"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1);
}

TEST_F(Command, ListDescribeHelpAndVersion) {
  Outcome r = echo({"list"});
  EXPECT_NE(r.out.find("EchoMembers ECHOOBJ\nEchoSettings ECHOOBJ\n"), std::string::npos) << r.out;

  r = echo({"describe", "EchoMembers"});
  ASSERT_EQ(r.status, 0) << r.err;
  const json members = r.result()["members"];
  EXPECT_EQ(members[2], json::parse(R"({"name": "mnAmount", "kind": "math", "width": 1, "offset": 24})"));
  std::string kinds;
  for (const auto &m : members) kinds += m["kind"].get<std::string>() + " ";
  EXPECT_EQ(kinds, "string char math date utime int id short pointer bytes int id ");

  r = run({"call", "--help"});
  for (const vyr::SettingKey &key : vyr::settingKeys())  // each setting with its meaning and default
    EXPECT_NE(r.out.find(std::string(key.meaning) + " [" + key.defaultValue + "]\n"), std::string::npos) << key.key;
  r = run({"--version"});
  EXPECT_EQ(r.out.rfind("famoflas ", 0), 0u);
}

// The libraries are looked for beside the platform library the command runs
// on, here a copy that stands alone in a folder of its own.
TEST_F(Command, MissingLibraryIsAClearError) {
  const fs::path lib = dir / "lib";
  fs::create_directories(lib);
  fs::copy_file(fs::path(kCommand).parent_path().parent_path() / "lib" / "libvyrplatform.so",
                lib / "libvyrplatform.so");
  std::ofstream(dir / "famoflas") << "#!/bin/sh\nLD_LIBRARY_PATH='" << lib.string() << "' exec '" << kCommand
                                  << "' \"$@\"\n";
  fs::permissions(dir / "famoflas", fs::perms::owner_all, fs::perm_options::add);
  const Outcome r = run({"list"}, "", (dir / "famoflas").string());
  EXPECT_EQ(r.status, 69);
  EXPECT_NE(r.err.find("library " + (lib / "libfamoflas.so").string() + " is missing"), std::string::npos) << r.err;
}

}  // namespace
