// The frame business functions, and the agreement between what the libraries
// export, what their catalogues register and what their templates describe.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "frame/B0100044.h"
#include "frame/B0900102.h"
#include "frame/MD_DEBUG.h"
#include "runtime/context.h"
#include "runtime/valuetext.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

void setMath(MATH_NUMERIC *mn, const char *text, const char16_t *currency = u"", short currencyDecimals = 0) {
  std::string error;
  ASSERT_TRUE(vyr::parseValue(VYR_DSK_MATH, 1, text, mn, &error)) << error;
  std::memcpy(mn->szCurrency, currency, (std::char_traits<char16_t>::length(currency) + 1) * sizeof(JCHAR));
  mn->nCurrencyDecimals = currencyDecimals;
}

DSD0900102 filledLogRecord() {
  DSD0900102 ds{};
  vyrStrcpyFillAndTerminate(ds.szComment, u"after posting", 81, 0);
  vyrStrcpyFillAndTerminate(ds.szString1, u"F0911", 41, 0);
  vyrStrcpyFillAndTerminate(ds.szString3, u"  padded  ", 41, 0);
  for (JCHAR &c : ds.szString5) c = u'z';  // filled to the last position, no terminator
  ds.cCharacter1 = u'Y';
  ds.cCharacter3 = u'0';
  ds.nValue1 = 7;
  ds.nValue2 = -12;
  ds.nValue5 = 1234;
  ds.jdDate1 = VYRDATE{2024, 2, 29};
  ds.jdDate4 = VYRDATE{1999, 12, 31};
  setMath(&ds.mnNumeric1, "12.50", u"USD", 2);
  setMath(&ds.mnNumeric2, "-3.5");
  setMath(&ds.mnNumeric4, "0.000");
  ds.nLong1 = -2147483647;
  ds.nLong2 = 99;
  ds.nShort1 = -1;
  ds.nShort3 = 32767;
  return ds;
}

const std::vector<std::u16string> kLogLines = {
    u"Comment: 'after posting'",
    u"Strings:",
    u"1: 'F0911'",
    u"2: ''",
    u"3: '  padded  '",
    u"4: ''",
    u"5: '" + std::u16string(40, u'z') + u"'",
    u"Characters:(* could be NULL if value is 0)",
    u"Char  1:'Y'  2:'*'  3:'0'  4:'*'  5:'*'",
    u"Value 1:  7  2:-12  3:  0  4:  0  5:1234",
    u"Dates:",
    u"1: '2024-02-29' 2: '' 3: ''",
    u"4: '1999-12-31' 5: ''",
    u"Math Numeric (Sign   String   DecimalPlace szCurrency CurrencyDecimals)",
    u"1: +   12.50   2   USD   2",
    u"2:     -3.5   1      0",  // a '-' sign shows as a blank
    u"3: +   0   0      0",
    u"4: +   0.000   3      0",
    u"5: +   0   0      0",
    u"Integers(2 Long 3 Short): 1:-2147483647 2:99",
    u" 1:-1 2:0 3:32767",
};

class Frame : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = famoflasLibraryCatalog(&count);
    vyr::registerCatalog(entries, count);
  }
  void SetUp() override { context = vyr::createContext(); }
  void TearDown() override { vyr::freeContext(context); }
  LPBHVRCOM context = nullptr;
};

TEST_F(Frame, WriteToVYRLogTracesEveryMemberWithTheSignQuirk) {
  DSD0900102 ds = filledLogRecord();
  const DSD0900102 before = ds;
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view("WriteToVYRLog"));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(vyr::callFunction(context, *entry, &ds), ER_SUCCESS);
  EXPECT_EQ(context->trace, kLogLines);
  EXPECT_TRUE(context->errors.empty());
  EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "the data structure is only read";

  // Numbers and dates are shown in the user's format.
  LPBHVRCOM comma = vyr::createContext({{"decimal", "comma"}, {"dateformat", "DD.MM.YYYY"}});
  ASSERT_EQ(vyr::callFunction(comma, *entry, &ds), ER_SUCCESS);
  ASSERT_EQ(comma->trace.size(), kLogLines.size());
  EXPECT_EQ(comma->trace[11], u"1: '29.02.2024' 2: '' 3: ''");
  EXPECT_EQ(comma->trace[14], u"1: +   12,50   2   USD   2");
  vyr::freeContext(comma);
}

std::u16string gBoxText, gBoxCaption;
void recordBox(std::u16string_view text, std::u16string_view caption) noexcept {
  gBoxText = text;
  gBoxCaption = caption;
}

TEST_F(Frame, MDDebugShowsTheSameTextInAMessageBox) {
  DSD0900102 ds = filledLogRecord();
  vyr::setMessageBoxHandler(recordBox);
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view("MDDebug"));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(vyr::callFunction(context, *entry, &ds), ER_SUCCESS);
  vyr::setMessageBoxHandler(nullptr);
  std::u16string joined;
  for (const auto &line : kLogLines) joined += (joined.empty() ? u"" : u"\n") + line;
  EXPECT_EQ(gBoxCaption, u"M & D Debug");
  EXPECT_EQ(gBoxText, joined);
  EXPECT_TRUE(context->trace.empty()) << "MDDebug writes nothing to the trace";
}

TEST_F(Frame, MissingArgumentsAreError4363OnItemZero) {
  DSD0900102 ds{};  // large enough for every one of them
  for (LPBSFN fn : {LPBSFN(WriteToVYRLog), LPBSFN(MDDebug), LPBSFN(SetNERReturnCode)}) {
    for (int missing = 0; missing < 3; ++missing) {
      context->errors.clear();
      context->trace.clear();
      EXPECT_EQ(fn(missing == 0 ? nullptr : context, missing == 1 ? nullptr : vyr::userEnvironment(context),
                   missing == 2 ? nullptr : &ds),
                ER_ERROR);
      if (missing == 0) continue;  // without a context the error has nowhere to go but the trace
      ASSERT_EQ(context->errors.size(), 1u);
      EXPECT_TRUE(context->errors[0].id == u"4363" && context->errors[0].item == 0);
      EXPECT_TRUE(context->trace.empty()) << "nothing else happened";
    }
  }
}

TEST_F(Frame, SetNERReturnCodeTurnsTheEventRuleCodeIntoTheResult) {
  struct Case {
    int32_t code;
    ID expected;
  } const cases[] = {{7, ER_SUCCESS}, {1, ER_WARNING}, {2, ER_ERROR}, {0, ER_SUCCESS}, {-1, ER_SUCCESS}};
  for (const Case &c : cases) {
    DSD0100044 ds{c.code};
    EXPECT_EQ(SetNERReturnCode(context, vyr::userEnvironment(context), &ds), c.expected) << c.code;
  }
  EXPECT_TRUE(context->errors.empty());
  EXPECT_TRUE(context->resources.empty()) << "the behaviour handle is freed";

  ASSERT_TRUE(vyr::setSetting(context, "fail", "VDB_InitBhvr", nullptr));
  DSD0100044 ds{1};
  EXPECT_EQ(SetNERReturnCode(context, vyr::userEnvironment(context), &ds), ER_ERROR);
  ASSERT_EQ(context->errors.size(), 1u);
  EXPECT_EQ(context->errors[0].id, u"3143");
}

// What a library exports, from its dynamic symbol table.
std::set<std::string> exportedFunctions(const std::string &library) {
  std::set<std::string> names;
  FILE *pipe = popen(("nm -D --defined-only " + library).c_str(), "r");
  if (pipe == nullptr) return names;
  char line[1024];
  while (std::fgets(line, sizeof line, pipe)) {
    char address[64], type[8], name[900];
    if (std::sscanf(line, "%63s %7s %899s", address, type, name) == 3 && std::strchr("TWi", type[0]))
      names.insert(name);
  }
  pclose(pipe);
  return names;
}

TEST(Libraries, EveryExportIsCatalogued) {
  const std::regex internal("IB?[0-9][0-9A-Z]*_[A-Za-z0-9_]+");
  struct Library {
    const char *file;
    const char *symbol;
    const BSFN_CATALOG_ENTRY *(*catalog)(size_t *);
  } const libraries[] = {{"libfamoflas.so", "famoflasLibraryCatalog", famoflasLibraryCatalog},
                         {"libfamoflascompanions.so", "famoflasCompanionsCatalog", famoflasCompanionsCatalog}};
  for (const Library &lib : libraries) {
    SCOPED_TRACE(lib.file);
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = lib.catalog(&count);
    std::set<std::string> catalogued;
    for (size_t i = 0; i < count; ++i) {
      EXPECT_TRUE(catalogued.insert(entries[i].szFunction).second) << "registered twice: " << entries[i].szFunction;
      EXPECT_NE(entries[i].lpfnEntry, nullptr) << entries[i].szFunction;
      EXPECT_TRUE(entries[i].szSource != nullptr && entries[i].szSource[0] != '\0') << entries[i].szFunction;
    }
    const std::set<std::string> exported = exportedFunctions(std::string(FAMOFLAS_BINARY_DIR) + "/lib/" + lib.file);
    ASSERT_FALSE(exported.empty());
    EXPECT_TRUE(exported.count(lib.symbol));
    for (const std::string &name : exported) {
      const bool known = catalogued.count(name) || std::regex_match(name, internal) || name == lib.symbol ||
                         name == "dummyFunction";
      EXPECT_TRUE(known) << "exported but neither catalogued nor internal: " << name;
    }
    for (const std::string &name : catalogued) EXPECT_TRUE(exported.count(name)) << "catalogued, not exported: " << name;
  }
  size_t count = 0;
  famoflasLibraryCatalog(&count);
  EXPECT_GE(count, 2u);
}

TEST(Libraries, EveryTemplateAgreesWithItsStruct) {
  std::map<std::string, const DSTMPL *> byName;
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    for (size_t i = 0; i < count; ++i) {
      const DSTMPL *t = entries[i].lpTemplate;
      if (t == nullptr) continue;
      SCOPED_TRACE(std::string(entries[i].szFunction) + " / " + t->szName);
      const auto [it, fresh] = byName.emplace(t->szName, t);
      EXPECT_EQ(it->second, t) << "two templates share a name";
      uint32_t next = 0;
      for (uint32_t m = 0; m < t->nMembers; ++m) {
        const DSTMPL_MEMBER &member = t->lpMembers[m];
        EXPECT_EQ(member.nOffset, next) << member.szName << " is not packed after its predecessor";
        EXPECT_EQ(member.nSize, vyr::valueSize(member.nKind, member.nWidth)) << member.szName;
        next = member.nOffset + member.nSize;
      }
      EXPECT_EQ(next, t->nSize) << "member sizes sum to the struct's size";
    }
  }
  EXPECT_EQ(byName.at("DSD0900102")->nSize, sizeof(DSD0900102));
}

}  // namespace
