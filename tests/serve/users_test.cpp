// famoflas user: users and their settings kept beside the application
// tables, passwords only through the installation's password policy.
#include "serve_fixture.h"

namespace servetest {
namespace {

TEST_F(ServeTest, UsersAreListedWithTheirSettingsButNeverAHash) {
  const clitest::Outcome list = famoflas({"user", "list"});
  ASSERT_EQ(list.status, 0);
  EXPECT_EQ(list.out.find("$argon2"), std::string::npos);
  std::istringstream lines(list.out);
  std::string alice, bob;
  std::getline(lines, alice);
  std::getline(lines, bob);
  EXPECT_EQ(nlohmann::json::parse(alice)["settings"], nlohmann::json::object());
  EXPECT_EQ(nlohmann::json::parse(bob)["settings"], (nlohmann::json{{"decimal", "comma"}}));
  ASSERT_EQ(famoflas({"user", "set", "bob", "decimal=", "CTR=BR"}).status, 0);
  EXPECT_EQ(famoflas({"user", "set", "bob", "CTR=DE"}).result()["settings"], (nlohmann::json{{"CTR", "DE"}}));
}

TEST_F(ServeTest, UserCommandsRefuseWhatTheyCannotKeep) {
  const struct {
    std::vector<std::string> args;
    std::string input;
    const char *error;
  } cases[] = {
      {{"user", "add", "alice"}, "another secret 5\n", "exists already"},
      {{"user", "add", "dave"}, "short1\n", "error 187A"},
      {{"user", "add", "dave"}, "no digits in this one\n", "error 187B"},
      {{"user", "add", "dave"}, "two\nlines 123456\n", "one line"},
      {{"user", "add", "a:b"}, "whatever secret 6\n", "user name"},
      {{"user", "add", "elevenchars"}, "whatever secret 6\n", "1 to 10"},
      {{"user", "passwd", "nobody"}, "whatever secret 6\n", "no user nobody"},
      {{"user", "remove", "nobody"}, "", "no user nobody"},
      {{"user", "set", "alice", "decimal=dot"}, "", "decimal must be point or comma"},
      {{"user", "set", "alice", "colour=red"}, "", "unknown setting"},
      {{"user", "set", "alice", "user=bob"}, "", "not a user's"},
      {{"user", "set", "alice", "env.DEFAULT=/tmp/other.db"}, "", "not a user's"},
      {{"user", "frobnicate"}, "", "user needs"},
      // A table that cannot be read is no missing user and no short list.
      {{"user", "remove", "alice", "--setting", "fail=VDB_FetchKeyed:F98SVUSR"}, "", "cannot read F98SVUSR"},
      {{"user", "list", "--setting", "fail=VDB_Fetch:F98SVUSR"}, "", "cannot read F98SVUSR"},
      // A write that fails is neither a taken name nor a missing user.
      {{"user", "add", "dave", "--setting", "fail=VDB_InsertTable:F98SVUSR"},
       "dave's secret 7\n",
       "dave not written, nothing changed"},
      {{"user", "passwd", "alice", "--setting", "fail=VDB_UpdateTable:F98SVUSR"},
       "another secret 5\n",
       "alice not written, nothing changed"},
      {{"user", "set", "alice", "decimal=comma", "--setting", "fail=VDB_DeleteTable:F98SVSET"},
       "",
       "decimal not written, nothing changed"},
  };
  for (const auto &c : cases) {
    const clitest::Outcome outcome = famoflas(c.args, c.input);
    EXPECT_EQ(outcome.status, 64) << c.error;
    EXPECT_NE(outcome.err.find(c.error), std::string::npos) << outcome.err;
  }
}

TEST_F(ServeTest, WithoutAPolicyRowNoPasswordPassesAndTheCommandSaysWhy) {
  ASSERT_EQ(famoflas({"call", "DeletePasswordPolicyFromF98QXSEC"}).status, 0);
  const clitest::Outcome refused = famoflas({"user", "add", "dave"}, "dave's secret 7\n");
  EXPECT_EQ(refused.status, 64);
  EXPECT_NE(refused.err.find("famoflas db init"), std::string::npos) << refused.err;
  const nlohmann::json init = famoflas({"db", "init"}).result();
  EXPECT_NE(init["passwordPolicy"].get<std::string>().find("installed the default"), std::string::npos);
  EXPECT_NE(famoflas({"db", "init"}).result()["passwordPolicy"].get<std::string>().find("kept"), std::string::npos);
  EXPECT_EQ(famoflas({"user", "add", "dave"}, "dave's secret 7\n").status, 0);
}

}  // namespace
}  // namespace servetest
