// Loading other libraries: every catalogue entry is checked before any is
// registered, a registered name is replaced only when an override says so,
// and the command shows the override.
#include "cli/command.h"
#include "runtime/context.h"

namespace {

const std::string kHostile = FAMOFLAS_BINARY_DIR "/tests/plugins/libcli_hostile_plugin.so";

TEST(Loading, EachFaultyCatalogueIsRefusedWholeWithItsReason) {
  vyr::registerFunction({"HostileKnown", [](LPBHVRCOM, LPVOID, LPVOID) -> ID { return ER_WARNING; }, nullptr, "HOST"});
  static const DSTMPL_MEMBER twoInts[] = {{"nFirst", VYR_DSK_INT, 1, 0, 4}, {"nSecond", VYR_DSK_INT, 1, 4, 4}};
  static const DSTMPL shared = {"DSHOSTSHARED", 8, 2, twoInts};
  vyr::registerFunction({"HostShared", [](LPBHVRCOM, LPVOID, LPVOID) -> ID { return ER_SUCCESS; }, &shared, "HOST"});
  struct Case {
    const char *symbol;
    std::string reason;  // part of the message
  } const cases[] = {
      {"dataCatalog", "dataCatalog is not a function"},
      {"hugeMemberCatalog", "claims 4000000000 bytes"},
      {"outsideCatalog", "(nValue) lies outside the record"},
      {"overlapCatalog", "(nSecond) lies outside the record or over the member before"},
      {"badMemberNameCatalog", "'n Value' is not a valid name"},
      {"badNameCatalog", "'Hostile Bad' is not a valid name"},
      {"noEntryCatalog", "HostileNoEntry has no entry point"},
      {"twiceCatalog", "HostileTwice is in its catalogue twice"},
      {"tooManyCatalog", "claims 18446744073709551615 entries"},
      {"knownNameCatalog", "HostileKnown is already registered (from HOST); --override HostileKnown replaces it"},
      {"otherLayoutCatalog", "data structure DSHOSTSHARED is already registered with another layout"},
  };
  for (const Case &c : cases) {
    std::string error;
    EXPECT_FALSE(vyr::loadLibrary(kHostile, c.symbol, &error)) << c.symbol;
    EXPECT_NE(error.find(c.reason), std::string::npos) << c.symbol << ": " << error;
    EXPECT_NE(error.find("nothing of it is registered"), std::string::npos) << error;
  }
  EXPECT_EQ(vyr::findFunction(std::string_view("HostileGood")), nullptr) << "a good entry beside a bad one stays out";
  EXPECT_EQ(vyr::findFunction(std::string_view("HostileKnown"))->lpfnEntry(nullptr, nullptr, nullptr), ER_WARNING);

  std::string error;
  ASSERT_TRUE(vyr::loadLibrary(kHostile, "knownNameCatalog", &error, {"HostileKnown"})) << error;
  EXPECT_EQ(vyr::findFunction(std::string_view("HostileKnown"))->lpfnEntry(nullptr, nullptr, nullptr), ER_SUCCESS);
  const vyr::FunctionOrigin origin = vyr::functionOrigin("HostileKnown");
  EXPECT_TRUE(origin.library == kHostile && origin.replaced == "HOST") << origin.library << " / " << origin.replaced;
  EXPECT_TRUE(vyr::loadLibrary(kHostile, "knownNameCatalog", &error)) << "the same catalogue again changes nothing";
}

class LoadingCommand : public clitest::CommandTest {};

TEST_F(LoadingCommand, ABuiltInNameIsReplacedOnlyWithAnOverrideThatListShows) {
  clitest::Outcome r = run({"list", "--library", kHostile});
  EXPECT_EQ(r.status, 69);
  EXPECT_NE(r.err.find("GetExchRate is already registered (from B0000033 in "), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");

  r = run({"list", "--library", kHostile, "--override", "GetExchRate"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("GetExchRate HOSTILE (--override: from " + kHostile + ", replacing B0000033 of "),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("\nHostileExtra HOSTILE\n"), std::string::npos) << "a new name needs no override";
  EXPECT_NE(r.out.find("\nGetAuditInfo C9800001\n"), std::string::npos) << "the others stay as they are";

  r = run({"list", "--library", kHostile, "--override", "GetExchRate", "--override", "GetExchRat"});
  EXPECT_EQ(r.status, 69);
  EXPECT_NE(r.err.find("--override GetExchRat: no --library replaced"), std::string::npos) << r.err;
}

}  // namespace
