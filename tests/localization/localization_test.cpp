// The plug-and-play entries and country servers against the stand-in country
// functions of countries_plugin.cpp, loaded into this process: which ran, in
// which order, with which data, and where their errors and codes end up.
#include <algorithm>
#include <regex>
#include <set>

#include "localization/localization.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

const std::string kPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/liblocalization_countries_plugin.so";

// Plug-and-play entries whose server is not in the library (the stand-ins
// play it here); *lpnNaming counts the entries named as plug-and-play entries
// that name a function they call.
std::set<std::string> entriesWithOutsideServer(size_t *lpnNaming) {
  std::vector<std::pair<std::string, std::string>> plugs;
  std::set<std::string> inside;
  std::vector<std::string> servers;
#define LOC_PLUG(source, entry, server) plugs.emplace_back(#entry, server), inside.insert(#entry);
#define LOC_SERVER(source, entry, ...) inside.insert(#entry), servers.push_back(#entry);
#define LOC_BRANCH(country, codes, mode, callee, record, mapping)
#include "localization/entries.h"
#undef LOC_PLUG
#undef LOC_SERVER
#undef LOC_BRANCH
  const std::regex plugName("PlugAndPlay|PlugPlay|Plug_and_Play|Plug_And_Play|PlugandPlay");
  std::set<std::string> outside;
  // R42565PlugPlay is named as an entry but chooses by country as a server does.
  *lpnNaming = std::count_if(servers.begin(), servers.end(),
                             [&](const std::string &entry) { return std::regex_search(entry, plugName); });
  for (const auto &[entry, server] : plugs) {
    if (!server.empty() && std::regex_search(entry, plugName)) ++*lpnNaming;
    if (!server.empty() && !inside.count(server)) outside.insert(entry);
  }
  return outside;
}

class Localization : public BsfnTest {
 protected:
  static void SetUpTestSuite() {
    BsfnTest::SetUpTestSuite();
    static const std::string loadError = [] {
      std::string error;
      return vyr::loadLibrary(kPlugin, "famoflasCatalog", &error) ? std::string() : error;
    }();
    ASSERT_EQ(loadError, "");
  }

  // A record as a base function fills it; order (member 5) steers the stand-ins.
  static DSLOCALIZATION record(const char16_t *country, const char16_t *mode, const char16_t *amount1 = u"12.50",
                               const char16_t *amount2 = u"3", const char16_t *order = u"") {
    DSLOCALIZATION ds{};
    vyrStrcpy(ds.szCountryCode, country);
    vyrStrcpy(ds.szCompanyKey, u"00070");
    vyrStrcpy(ds.szRecordKey1, u"K1");
    vyrStrcpy(ds.szRecordKey2, u"K2");
    vyrStrcpy(ds.szRecordKey3, order);
    vyrStrcpy(ds.szMode, mode);
    ds.mnAmount1 = math(amount1);
    ds.mnAmount2 = math(amount2);
    return ds;
  }

  // Runs an entry as the platform does, on a context whose user country is ctr.
  ID run(const char *entry, DSLOCALIZATION &ds, const std::string &ctr) {
    context_ = newContext({{"CTR", ctr}});
    vyrSetEventRuleReturnCode(context_, 7);
    return call(entry, &ds);
  }

  Strings trace() const {
    Strings lines;
    for (const std::u16string &line : context_->trace) lines.push_back(toUtf8(line));
    return lines;
  }

  // What one entry's dispatch lines say it called, in order.
  Strings calls(const std::string &entry) const {
    const std::regex line(entry + ": country .*, called (\\w+), return \\d");
    Strings called;
    std::smatch m;
    for (const std::string &text : trace())
      if (std::regex_match(text, m, line) && m[1] != "none") called.push_back(m[1]);
    return called;
  }
};

// Every entry, through vyrCallObject as a base function calls it: a blank
// country does nothing; a country no server knows reaches every server an
// entry names (none unknown) and calls no country function; null arguments
// are refused.
TEST_F(Localization, EveryEntryDispatchesBlankAndUnknownCountriesAndRefusesNullArguments) {
  size_t count = 0, walked = 0;
  size_t naming = 0;
  const std::set<std::string> outside = entriesWithOutsideServer(&naming);
  EXPECT_EQ(naming, 101u);
  EXPECT_EQ(outside.size(), 7u);
  const BSFN_CATALOG_ENTRY *entries = famoflasLibraryCatalog(&count);
  for (size_t i = 0; i < count; ++i) {
    if (entries[i].lpTemplate == nullptr || entries[i].lpTemplate->szName != std::string("DSLOCALIZATION")) continue;
    ++walked;
    const std::string name = entries[i].szFunction;
    const std::u16string name16 = vyr::fromUtf8(name);
    SCOPED_TRACE(name);
    for (const char16_t *country : {u"", u" ", u"ZZ"}) {
      DSLOCALIZATION ds = record(country, u"VAL");
      ds.cResultFlag = u'X';
      context_->trace.clear();
      context_->errors.clear();
      vyrSetEventRuleReturnCode(context_, 7);
      EXPECT_EQ(vyrCallObject(name16.c_str(), nullptr, context_, vyr::userEnvironment(context_), &ds, nullptr, 0,
                              nullptr, 0, 0),
                ER_SUCCESS);
      EXPECT_EQ(errors(), Strings{});
      const Strings lines = trace();
      if (country[0] != u'Z') {
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_TRUE(std::regex_match(lines[0], std::regex(name + ": country '' from [^']*('' from user CTR)?, "
                                                                 "called none, return 0")))
            << lines[0];
        EXPECT_EQ(vyrGetEventRuleReturnCode(context_), 7u);
        EXPECT_TRUE(ds.cResultFlag == u'X' || ds.cResultFlag == u'0');  // plug-and-play: untouched; server: reset
      } else if (outside.count(name)) {
        // Its server is a stand-in, whose change to key 1 comes back with the whole record.
        EXPECT_EQ(text(ds.szRecordKey1), u"TOUCHED");
      } else {
        for (const std::string &line : lines) EXPECT_EQ(line.find("stand-in"), std::string::npos) << line;
      }
    }
    DSLOCALIZATION ds = record(u"JP", u"VAL");
    context_->errors.clear();
    EXPECT_EQ(vyrCallObject(name16.c_str(), nullptr, context_, vyr::userEnvironment(context_), nullptr, nullptr, 0,
                            nullptr, 0, 0),
              ER_ERROR);
    EXPECT_EQ(vyrCallObject(name16.c_str(), nullptr, context_, nullptr, &ds, nullptr, 0, nullptr, 0, 0), ER_ERROR);
    EXPECT_EQ(errors(), Strings(2, "4363 @0"));
  }
  EXPECT_EQ(walked, 213u);
}

// B0400017's pair through the plug-and-play entry: branches, flags, amounts,
// trace lines and the event rule's slot (7 = untouched). Key 2, filled to its
// last position, comes back cut to its width once the server got a copy.
TEST_F(Localization, B0400017PairRunsItsJapaneseAndUnitedKingdomBranches) {
  const std::string wht = "stand-in WithholdingTaxValidation: taxable 4001 withholding 5 flag 'X'";
  const std::string cis = "stand-in GetCISSubcontractorStatus: address 4001 mode '2'";
  const std::string server = "B0400017_CountryServer: country ", entry = "B0400017_PlugAndPlay: country ";
  const std::string jpCalled = server + "'JP' from data structure, called WithholdingTaxValidation, return 0";
  const std::string ukCalled = server + "'UK' from user CTR, called GetCISSubcontractorStatus, return 0";
  const std::string forwarded = "from data structure, called B0400017_CountryServer, return 0";
  const std::string blank = entry + "'' from data structure, called none, return 0";
  struct Case {
    const char16_t *country;
    const char *ctr;
    const char16_t *mode;
    Strings lines;
    JCHAR flag;
    const char16_t *amount2;
    ID slot;
  } cases[] = {
      {u"JP", "UK", u"VAL", {wht, jpCalled, cis, ukCalled, entry + "'JP' " + forwarded}, u'1', u"4006", 0},
      {u"JP", "FR", u"VAL", {wht, jpCalled, entry + "'JP' " + forwarded}, u'1', u"4006", 0},
      {u"UK", "UK", u"VAL", {cis, ukCalled, entry + "'UK' " + forwarded}, u'1', u"5", 0},
      {u"UK",
       "FR",
       u"VAL",
       {server + "'UK' from data structure, 'FR' from user CTR, called none, return 0", entry + "'UK' " + forwarded},
       u'0',
       u"5",
       0},
      {u"JP",
       "UK",
       u"ADD",
       {server + "'JP' from data structure, 'UK' from user CTR, called none, return 0", entry + "'JP' " + forwarded},
       u'0',
       u"5",
       0},
      {u"", "UK", u"VAL", {blank}, u'X', u"5", 7},
      {u" ", "UK", u"VAL", {blank}, u'X', u"5", 7},
      // Only " " and "" are blank: two blanks go on to the server.
      {u"  ", "UK", u"VAL", {cis, ukCalled, entry + "'' " + forwarded}, u'1', u"5", 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(toUtf8(c.country) + "/" + c.ctr + "/" + toUtf8(c.mode));
    DSLOCALIZATION ds = record(c.country, c.mode, u"4001", u"5");
    std::fill(std::begin(ds.szRecordKey2), std::end(ds.szRecordKey2), u'k');
    ds.cResultFlag = u'X';
    EXPECT_EQ(run("B0400017_PlugAndPlay", ds, c.ctr), ER_SUCCESS);
    EXPECT_EQ(trace(), c.lines);
    EXPECT_EQ(ds.cResultFlag, c.flag);
    EXPECT_EQ(text(ds.mnAmount2), c.amount2);
    EXPECT_EQ(vyrGetEventRuleReturnCode(context_), c.slot);
    EXPECT_EQ(ds.szRecordKey2[10], c.slot == 7 ? u'k' : u'\0');
    EXPECT_EQ(errors(), Strings{});
  }
  // An even address is a subcontractor not verified: "0", after "1" from the Japanese branch.
  DSLOCALIZATION ds = record(u"JP", u"VAL", u"4002");
  run("B0400017_CountryServer", ds, "UK");
  EXPECT_EQ(calls("B0400017_CountryServer"), (Strings{"WithholdingTaxValidation", "GetCISSubcontractorStatus"}));
  EXPECT_EQ(ds.cResultFlag, u'0');
}

// The servers' branches as the table has them.
struct Branch {
  const char *country;
  const char16_t *codes, *mode;
  const char *callee;
};
struct Server {
  const char *name;
  Branch branches[10];
};
#define LOC_PLUG(source, entry, server)
#define LOC_SERVER(source, entry, ...) {#entry, {__VA_ARGS__}},
#define LOC_BRANCH(country, codes, mode, callee, record, mapping) {#country, u"" codes, u"" mode, callee},
const Server kServers[] = {
#include "localization/entries.h"
};

// Every branch that names a country function calls it when its first code
// comes in where it looks (member 1 or the user's country) with its mode; the
// keys never come back from a callee. A country no branch knows calls nothing,
// resets the flag and leaves the event rule's slot alone.
TEST_F(Localization, EveryBranchCallsItsCountryFunctionForItsCountryAndMode) {
  for (const Server &server : kServers) {
    for (const Branch &b : server.branches) {
      if (b.callee == nullptr || b.callee[0] == 0) continue;
      SCOPED_TRACE(std::string(server.name) + " " + b.callee);
      const std::u16string code(b.codes, 2);
      const bool fromUser = b.country == std::string("USER");
      DSLOCALIZATION ds = record(fromUser ? u"ZZ" : code.c_str(), b.mode[0] != 0 ? b.mode : u"VAL", u"4001");
      EXPECT_EQ(run(server.name, ds, fromUser ? toUtf8(code) : "ZZ"), ER_SUCCESS);
      const Strings called = calls(server.name);
      EXPECT_NE(std::find(called.begin(), called.end(), b.callee), called.end());
      EXPECT_EQ(text(ds.szRecordKey1), u"K1");
      EXPECT_EQ(vyrGetEventRuleReturnCode(context_), ER_SUCCESS);
    }
    SCOPED_TRACE(server.name);
    DSLOCALIZATION ds = record(u"ZZ", u"VAL");
    ds.cResultFlag = u'1';
    EXPECT_EQ(run(server.name, ds, "ZZ"), ER_SUCCESS);
    EXPECT_EQ(calls(server.name), Strings{});
    EXPECT_EQ(ds.cResultFlag, u'0');
    EXPECT_EQ(vyrGetEventRuleReturnCode(context_), 7u);
  }
}

// Where several branches match, all run in the table's order, whichever
// country each compares; an unknown callee is the runtime's "BSFNNF" and the
// next branch still runs. Each callee sees the outputs of the one before.
TEST_F(Localization, MatchingBranchesRunInOrder) {
  struct Case {
    const char *server;
    const char16_t *country;
    const char *ctr;
    const char16_t *mode;
    Strings called;
  } cases[] = {
      {"B0400047_CountryServer",
       u"AR",
       "UK",
       u"VAL",
       {"B7400110ReadWTFromCache", "CheckSupplerNoForCISStatus", "UKEMP_DefaultValidateTaxInfo_AP"}},
      {"F0414_CS_P0413V",
       u"IT",
       "UK",
       u"DEL",
       {"DeleteWTPaymentInfoBrowse", "VoidACMPayments", "GetCISConstantInformation", "VoidCISPaymentF0411TagFile"}},
      {"N7000701_CS__B0400035",
       u"PL",
       "UK",
       u"DEL",
       {"DeleteWithholdingTaxFromBrowse", "GetCISConstantInformation", "DeleteAPDetailsCISTagFile"}},
      {"F0101_CountryServerII", u"SE", "UK", u"DEL", {}},  // a code it knows with no function by name
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.server);
    DSLOCALIZATION ds = record(c.country, c.mode);
    EXPECT_EQ(run(c.server, ds, c.ctr), ER_SUCCESS);
    EXPECT_EQ(calls(c.server), c.called);
    EXPECT_EQ(errors(), c.called.size() == 3 && c.called[1] == "CheckSupplerNoForCISStatus"
                            ? Strings{"BSFNNF CheckSupplerNoForCISStatus@0"}
                            : Strings{});
  }
  DSLOCALIZATION ds = record(u"CL", u"ADD", u"8.25", u"1");
  run("N7000841_CS_R03B11Z1I", ds, "");
  EXPECT_EQ(calls("N7000841_CS_R03B11Z1I"), (Strings{"LoadF76AUI24FromF76A19Z1", "DeleteRecordsFromF76A19Z1"}));
  const std::string seen = "stand-in: country 'CL' company '00070' keys 'K1' 'K2' '' mode 'ADD' amounts 8.25 ";
  EXPECT_EQ(trace()[0], seen + "1 flag ''");
  EXPECT_EQ(trace()[2], seen + "8.25 flag '1'");
}

// Errors of a country function reach the base function's members through the
// server's mapping and the entry's identity mapping; codes pass up unchanged
// and land in the event rule's slot. An unknown callee is the runtime's
// "BSFNNF", and the server goes on with its next branch.
TEST_F(Localization, ErrorsReachTheCallersMembersThroughBothMappings) {
  struct Case {
    const char *entry;
    const char16_t *country;
    const char *ctr;
    const char16_t *amount1, *amount2, *order;
    Strings errors;
    ID code;
  } cases[] = {
      {"B0400017_PlugAndPlay", u"JP", "FR", u"-1", u"5", u"", {"STANDIN @7"}, ER_ERROR},
      {"B0400017_PlugAndPlay", u"JP", "FR", u"4001", u"-5", u"", {"STANDIN @8"}, ER_WARNING},
      {"B0400017_PlugAndPlay", u"UK", "UK", u"-1", u"5", u"", {"STANDIN @7"}, ER_ERROR},
      {"PlugAndPlay_B0400007", u"JP", "", u"1", u"5", u"E9", {"STANDIN @9"}, ER_ERROR},
      {"PlugAndPlay_B0400007", u"JP", "", u"1", u"5", u"W3", {"STANDIN @3"}, ER_WARNING},
      {"PlugAndPlay_B0400047", u"FR", "UK", u"1", u"5", u"", {"BSFNNF CheckSupplerNoForCISStatus@0"}, ER_SUCCESS},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.entry) + " " + toUtf8(c.amount1) + "/" + toUtf8(c.amount2) + "/" + toUtf8(c.order));
    DSLOCALIZATION ds = record(c.country, u"VAL", c.amount1, c.amount2, c.order);
    EXPECT_EQ(run(c.entry, ds, c.ctr), c.code);
    EXPECT_EQ(errors(), c.errors);
    EXPECT_EQ(vyrGetEventRuleReturnCode(context_), c.code);
  }
}

}  // namespace
