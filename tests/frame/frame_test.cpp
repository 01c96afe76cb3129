// The frame: the opening check of every business function, the frame
// functions, and the agreement between what the libraries export and what
// their catalogues register.
#include <cstdio>
#include <cstring>
#include <regex>
#include <set>

#include "frame/B0100044.h"
#include "frame/B0900102.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

using Frame = BsfnTest;

// Each null argument is refused with "4363" on item 0 before anything else
// happens; the functions without a data structure check the other two only.
TEST_F(Frame, EveryFunctionRefusesNullArgumentsWith4363) {
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    for (size_t i = 0; i < count; ++i) {
      const BSFN_CATALOG_ENTRY &entry = entries[i];
      SCOPED_TRACE(entry.szFunction);
      LPBHVRCOM context = newContext({{"fail", "VDB_InitBhvr"}});
      std::vector<unsigned char> ds(entry.lpTemplate ? entry.lpTemplate->nSize : 1, '?');
      const std::vector<unsigned char> before = ds;
      EXPECT_EQ(entry.lpfnEntry(nullptr, vyr::userEnvironment(context), ds.data()), ER_ERROR);
      EXPECT_EQ(entry.lpfnEntry(context, nullptr, ds.data()), ER_ERROR);
      if (entry.lpTemplate != nullptr) {
        EXPECT_EQ(entry.lpfnEntry(context, vyr::userEnvironment(context), nullptr), ER_ERROR);
      }
      EXPECT_EQ(errors(context), Strings(entry.lpTemplate ? 2 : 1, "4363 @0"));
      // The evaluator alone also answers in its data structure.
      EXPECT_TRUE(ds == before || entry.szFunction == std::string("AlgebraicExpressionCalculate"))
          << "the data structure is touched";
    }
  }
}

DSD0900102 filledLogRecord() {
  DSD0900102 ds{};
  vyrStrcpy(ds.szComment, u"after posting");
  vyrStrcpy(ds.szString1, u"F0911");
  vyrStrcpy(ds.szString3, u"  padded  ");
  for (JCHAR &c : ds.szString5) c = u'z';  // filled to the last position, no terminator
  ds.cCharacter1 = u'Y';
  ds.cCharacter3 = u'0';
  ds.nValue1 = 7;
  ds.nValue2 = -12;
  ds.nValue5 = 1234;
  ds.jdDate1 = VYRDATE{2024, 2, 29};
  ds.jdDate4 = VYRDATE{1999, 12, 31};
  ds.mnNumeric1 = math(u"12.50");
  ds.mnNumeric2 = math(u"-3.5");
  ds.mnNumeric4 = math(u"0.000");
  vyrMathSetCurrencyCodeUNI(&ds.mnNumeric1, u"USD");
  ds.mnNumeric1.nCurrencyDecimals = 2;
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

std::u16string gBoxText, gBoxCaption;
void recordBox(std::u16string_view text, std::u16string_view caption) noexcept {
  gBoxText = text;
  gBoxCaption = caption;
}

TEST_F(Frame, WriteToVYRLogTracesEveryMemberAndMDDebugShowsTheSameText) {
  DSD0900102 ds = filledLogRecord();
  const DSD0900102 before = ds;
  EXPECT_EQ(call("WriteToVYRLog", &ds), ER_SUCCESS);
  EXPECT_EQ(context_->trace, kLogLines);
  EXPECT_EQ(std::memcmp(&ds, &before, sizeof ds), 0) << "the data structure is only read";

  // Numbers and dates are shown in the user's format.
  LPBHVRCOM comma = newContext({{"decimal", "comma"}, {"dateformat", "DD.MM.YYYY"}});
  ASSERT_EQ(call("WriteToVYRLog", &ds, comma), ER_SUCCESS);
  ASSERT_EQ(comma->trace.size(), kLogLines.size());
  EXPECT_EQ(comma->trace[11] + u"|" + comma->trace[14], u"1: '29.02.2024' 2: '' 3: ''|1: +   12,50   2   USD   2");

  vyr::setMessageBoxHandler(recordBox);
  LPBHVRCOM interactive = newContext();
  EXPECT_EQ(call("MDDebug", &ds, interactive), ER_SUCCESS);
  vyr::setMessageBoxHandler(nullptr);
  std::u16string joined;
  for (const auto &line : kLogLines) joined += (joined.empty() ? u"" : u"\n") + line;
  EXPECT_EQ(gBoxCaption, u"M & D Debug");
  EXPECT_EQ(gBoxText, joined);
  EXPECT_TRUE(interactive->trace.empty()) << "MDDebug writes nothing to the trace";
}

TEST_F(Frame, SetNERReturnCodeTurnsTheEventRuleCodeIntoTheResult) {
  for (const auto &[code, expected] : {std::pair{7, ER_SUCCESS}, {1, ER_WARNING}, {2, ER_ERROR}, {-1, ER_SUCCESS}}) {
    DSD0100044 ds{code};
    EXPECT_EQ(call("SetNERReturnCode", &ds), expected) << code;
    EXPECT_EQ(errors(), Strings{});
    EXPECT_EQ(handlesLeft_, 0u);
  }
  DSD0100044 ds{1};
  EXPECT_EQ(call("SetNERReturnCode", &ds, newContext({{"fail", "VDB_InitBhvr"}})), ER_ERROR);
  EXPECT_EQ(errors(contexts_.back()), Strings{"3143 @0"});
}

// What a library exports, from its dynamic symbol table.
std::set<std::string> exportedFunctions(const std::string &library) {
  std::set<std::string> names;
  FILE *pipe = popen(("nm -D --defined-only " + library).c_str(), "r");
  if (pipe == nullptr) return names;
  char line[1024], address[64], type[8], name[900];
  while (std::fgets(line, sizeof line, pipe))
    if (std::sscanf(line, "%63s %7s %899s", address, type, name) == 3 && std::strchr("TWi", type[0]))
      names.insert(name);
  pclose(pipe);
  return names;
}

TEST(Libraries, EveryExportIsCataloguedOnceAndEveryEntryExported) {
  // Internal functions ("I"/"IB" + digits) and the shared operations of a source object (its own name + "_").
  const std::regex internal("(IB?|B)[0-9][0-9A-Z]*_[A-Za-z0-9_]+");
  const struct {
    const char *file, *symbol;
    const BSFN_CATALOG_ENTRY *(*catalog)(size_t *);
  } libraries[] = {{"libfamoflas.so", "famoflasLibraryCatalog", famoflasLibraryCatalog},
                   {"libfamoflascompanions.so", "famoflasCompanionsCatalog", famoflasCompanionsCatalog}};
  for (const auto &lib : libraries) {
    SCOPED_TRACE(lib.file);
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = lib.catalog(&count);
    std::set<std::string> catalogued;
    for (size_t i = 0; i < count; ++i)
      EXPECT_TRUE(catalogued.insert(entries[i].szFunction).second) << "registered twice: " << entries[i].szFunction;
    const std::set<std::string> exported = exportedFunctions(std::string(FAMOFLAS_BINARY_DIR) + "/lib/" + lib.file);
    ASSERT_TRUE(exported.count(lib.symbol));
    for (const std::string &name : exported)
      EXPECT_TRUE(catalogued.count(name) || std::regex_match(name, internal) || name == lib.symbol ||
                  name == "dummyFunction")
          << "exported but neither catalogued nor internal: " << name;
    for (const std::string &name : catalogued)
      EXPECT_TRUE(exported.count(name)) << "catalogued, not exported: " << name;
  }
}

}  // namespace
