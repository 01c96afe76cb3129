// The report accessors as event rules call them: each family against a report
// state, the two ways of passing section names, the template query's handle,
// and the argument check. Data structures go in and come out as value texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/N94NM16A.h"
#include "frame/N94NM16B.h"
#include "frame/N94NM16C.h"
#include "report_test.h"
#include "runtime/valuetext.h"

namespace {

using nlohmann::json;

const json kReport = json::parse(R"({
  "name": "RPT0008", "pageNumber": 4, "preview": true, "template": true,
  "sourceEnvironment": "PROD", "targetEnvironment": "TEST",
  "currentSection": 20,
  "sections": [
    {"id": 10, "name": "Detail", "version": "STD0001",
     "dataSequence": [{"table": "F0101", "item": "AN8"}],
     "dataSelections": [[{"item": "CRCD", "value": "C"}]]},
    {"id": 20, "name": "Totals", "version": "STD0001", "row": 31, "column": 6,
     "reverseSign": true, "balanceAuditor": true, "tableInfo": "F0015",
     "dataSequence": [{"table": "F0015", "item": "CRCD"}, {"table": "F0015", "item": "MMCU"}],
     "dataSelections": [[{"item": "CRCD", "value": "EUR"}], [{"item": "CRCD", "value": "USD"}]],
     "levelBreaks": [301, 302, 303], "levelNumber": 2, "levelBreak": 3, "levelBreakHeaderActive": true}
  ]
})");

// "a=1|b=x" as (member, text) pairs.
std::vector<std::pair<std::string, std::string>> pairs(const std::string &text) {
  std::vector<std::pair<std::string, std::string>> out;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('|', at), text.size()), eq = text.find('=', at);
    out.emplace_back(text.substr(at, eq - at), text.substr(eq + 1, end - eq - 1));
    at = end + 1;
  }
  return out;
}

const DSTMPL_MEMBER &member(const DSTMPL &tmpl, const std::string &name) {
  const DSTMPL_MEMBER *m = std::find_if(tmpl.lpMembers, tmpl.lpMembers + tmpl.nMembers,
                                        [&](const DSTMPL_MEMBER &each) { return name == each.szName; });
  if (m == tmpl.lpMembers + tmpl.nMembers) throw std::invalid_argument(name);
  return *m;
}

class ReportAccessors : public ReportTest {
 protected:
  ReportAccessors() : ReportTest(kReport) {}

  // Fills a data structure from the input's member texts, calls the accessor
  // and gives back the members the output names, in its form.
  std::string call(LPBSFN fn, const DSTMPL &tmpl, const std::string &input, const std::string &output) {
    std::vector<unsigned char> ds(tmpl.nSize, 0);
    for (const auto &[name, text] : pairs(input)) {
      const DSTMPL_MEMBER &m = member(tmpl, name);
      EXPECT_TRUE(vyr::parseValue(m.nKind, m.nWidth, text, ds.data() + m.nOffset, nullptr)) << name;
    }
    EXPECT_EQ(fn(context_, vyr::userEnvironment(context_), ds.data()), ER_SUCCESS) << tmpl.szName;
    std::string answer;
    for (const auto &[name, text] : pairs(output)) {
      const DSTMPL_MEMBER &m = member(tmpl, name);
      answer += (answer.empty() ? "" : "|") + name + "=" +
                vyr::formatValue(m.nKind, m.nWidth, ds.data() + m.nOffset).value_or("null");
    }
    return answer;
  }
};

struct Case {
  LPBSFN fn;
  const DSTMPL *tmpl;
  const char *input, *output;
};

// In order: the page number case sees the page set before it.
const Case kFamilies[] = {
    {ubeReportGetPreviewMode, &DSD94NM16A1_template, "", "szPreviewMode=TRUE"},
    {ubeGetSourceEnvironment, &DSD94NM16A3_template, "", "szEnvironment=PROD"},
    {ubeGetTargetEnvironment, &DSD94NM16A3_template, "", "szEnvironment=TEST"},
    {ubeReportGetName, &DSD94NM16A4_template, "", "szReportName=RPT0008"},
    {ubeReportGetPageNumber, &DSD94NM16A2_template, "", "nPageNumber=4"},
    {ubeSetPageNumber, &DSD94NM16A5_template, "nPageNumber=9", "szPageNumberSet=TRUE"},
    {ubeSetPageNumber, &DSD94NM16A5_template, "nPageNumber=0", "szPageNumberSet=FALSE"},
    {ubeReportGetPageNumber, &DSD94NM16A2_template, "", "nPageNumber=9"},
    // The report is a template, but the accessor hands over the address of its
    // member 2 instead of its context, which the runtime refuses.
    {ubeReportIsTemplate, &DSD94NM16A_template, "idReportHandle=4294967295",
     "szIsTemplate=FALSE|idReportHandle=4294967295"},
    {ubeSectionGetID, &DSD94NM16B_template, "", "idSection=20"},
    {ubeSectionGetCurrRowNumber, &DSD94NM16B1_template, "", "nRowNumber=31"},
    {ubeSectionGetColumnNumber, &DSD94NM16B2_template, "", "nColumnNumber=6"},
    {ubeSectionGetReverseSign, &DSD94NM16B3_template, "", "cReverseSign=1"},
    {ubeSectionIsBalanceAuditorDefine, &DSD94NM16B4_template, "", "szBalanceAuditorDefined=TRUE"},
    {ubeSectionGetTableInfo, &DSD94NM16B7_template, "", "szTableName=F0015"},
    {ubeSectionGetDataSequenceItem, &DSD94NM16B6_template, "mnSequenceItem=2", "szDataItem=MMCU"},
    {ubeSectionGetDataSequenceItem, &DSD94NM16B6_template, "mnSequenceItem=3|szDataItem=STALE", "szDataItem="},
    {ubeSectionGetDataSequenceItem, &DSD94NM16B6_template, "mnSequenceItem=-1|szDataItem=STALE", "szDataItem="},
    // 2^32 + 1 must not wrap onto item 1.
    {ubeSectionGetDataSequenceItem, &DSD94NM16B6_template, "mnSequenceItem=4294967297|szDataItem=STALE", "szDataItem="},
    {ubeSectionGetNumLevelBreaks, &DSD94NM16C1_template, "", "nNumberLevelBreaks=3"},
    {ubeTabGetLevelBreak, &DSD94NM16C2_template, "", "nLevelBreak=3"},
    {ubeTabGetLevelNumber, &DSD94NM16C3_template, "", "nLevelNumber=2"},
    {ubeTabIsLevelBrkHdrActive, &DSD94NM16C4_template, "", "szHeaderActive=TRUE"},
    {ubeSectionGetLevelNID, &DSD94NM16C_template, "nLevel=3|idLevel=77", "szLevelFound=TRUE|idLevel=303"},
    {ubeSectionGetLevelNID, &DSD94NM16C_template, "nLevel=4|idLevel=77", "szLevelFound=FALSE|idLevel=0"},
    {ubeSectionGetLevelNID, &DSD94NM16C_template, "nLevel=0|idLevel=77", "szLevelFound=FALSE|idLevel=0"},
    {ubeReportDisableSendMessage, &DSD94NM16A6_template, "", ""},
    {ubeReportStopBatchWithError, &DSD94NM16A6_template, "", ""},
    {ubeReportStopBatch, &DSD94NM16A6_template, "", ""},
};

TEST_F(ReportAccessors, EachFamilyAnswersFromTheReport) {
  for (const Case &c : kFamilies)
    EXPECT_EQ(call(c.fn, *c.tmpl, c.input, c.output), c.output) << c.tmpl->szName << " " << c.input;
  EXPECT_TRUE(context_->errors.empty());
  EXPECT_TRUE(state().sendMessageDisabled);
  EXPECT_EQ(
      vyr::reportToJson(state())["stop"],
      (nlohmann::ordered_json{{"withError", true},
                              {"message", "This is a test for the system API ubeSection_StopBatchProcessWithError"}}))
      << "a later plain stop keeps the stop in error";
  // The flags answer both ways.
  state().preview = state().sections[1].reverseSign = state().sections[1].balanceAuditor = false;
  EXPECT_EQ(call(ubeReportGetPreviewMode, DSD94NM16A1_template, "", "szPreviewMode=FALSE") + " " +
                call(ubeSectionGetReverseSign, DSD94NM16B3_template, "", "cReverseSign=0") + " " +
                call(ubeSectionIsBalanceAuditorDefine, DSD94NM16B4_template, "", "szBalanceAuditorDefined=FALSE"),
            "szPreviewMode=FALSE cReverseSign=0 szBalanceAuditorDefined=FALSE");
}

// GetDataSequence names the section only when both names are filled; blank
// names ask about the current section (Totals, sequence CRCD then MMCU).
TEST_F(ReportAccessors, DataSequencePassesNamesOnlyWhenBothAreFilled) {
  const std::pair<const char *, const char *> cases[] = {
      {"szSectionName=Detail|szVersion=STD0001|mnSequenceItem=1", "szTableName=F0101|szDataItem=AN8"},
      {"szSectionName=Detail|szVersion=        |mnSequenceItem=1", "szTableName=F0015|szDataItem=CRCD"},
      {"szSectionName=|szVersion=STD0001|mnSequenceItem=2", "szTableName=F0015|szDataItem=MMCU"},
      {"szSectionName=Detail|szVersion=STD0002|mnSequenceItem=1", "szTableName=|szDataItem="},  // no such section
  };
  for (const auto &[input, output] : cases)
    EXPECT_EQ(call(ubeSectionGetDataSequence, DSD94NM16B5_template, input, output), output) << input;
}

// UseDataSelection is the other way round: names go to the runtime when
// either is empty, and both filled means the current section (Totals).
TEST_F(ReportAccessors, DataSelectionPassesNamesOnlyWhenOneIsEmpty) {
  struct Case {
    const char *input;
    int32_t detailAfter, totalsAfter;  // selection in use afterwards
  } const cases[] = {
      {"szSectionName=Detail|szVersion=STD0001|mnDataSelection=2", 0, 2},  // null names: the current section
      {"szSectionName=Detail|szVersion=|mnDataSelection=2", 0, 0},         // no Detail of version ""
      {"szSectionName=|szVersion=STD0001|mnDataSelection=2", 0, 0},        // no section without a name
      {"szSectionName=   |szVersion=STD0001|mnDataSelection=2", 0, 2},     // blank is not empty
  };
  for (const Case &c : cases) {
    state().sections[0].dataSelectionInUse = state().sections[1].dataSelectionInUse = 0;
    call(ubeSectionUseDataSelection, DSD94NM16B8_template, c.input, "");
    EXPECT_EQ(std::pair(state().sections[0].dataSelectionInUse, state().sections[1].dataSelectionInUse),
              std::pair(c.detailAfter, c.totalsAfter))
        << c.input;
  }
  // Names the runtime does receive find a section of that version.
  state().sections[0].version.clear();
  state().sections[1].dataSelectionInUse = 0;
  call(ubeSectionUseDataSelection, DSD94NM16B8_template, "szSectionName=Detail|szVersion=|mnDataSelection=1", "");
  EXPECT_EQ(std::pair(state().sections[0].dataSelectionInUse, state().sections[1].dataSelectionInUse), std::pair(1, 0));
}

// Every accessor refuses a missing argument with "4363" on item 0 and touches nothing.
TEST_F(ReportAccessors, MissingArgumentsAreRefusedWith4363) {
  std::vector<Case> all(std::begin(kFamilies), std::end(kFamilies));
  all.push_back({ubeSectionGetDataSequence, &DSD94NM16B5_template, "", ""});
  all.push_back({ubeSectionUseDataSelection, &DSD94NM16B8_template, "", ""});
  const nlohmann::ordered_json before = vyr::reportToJson(state());
  LPVOID env = vyr::userEnvironment(context_);
  for (const Case &c : all) {
    SCOPED_TRACE(c.tmpl->szName);
    const std::string source = "N" + std::string(c.tmpl->szName + 3, 7);  // DSD94NM16B6 belongs to N94NM16B
    std::vector<unsigned char> ds(256, 0xA5), untouched(ds);
    context_->errors.clear();
    EXPECT_EQ(c.fn(context_, env, nullptr), ER_ERROR);
    EXPECT_EQ(c.fn(context_, nullptr, ds.data()), ER_ERROR);
    EXPECT_EQ(c.fn(nullptr, env, ds.data()), ER_ERROR);
    ASSERT_EQ(context_->errors.size(), 2u) << "the call without a context has nowhere to report";
    for (const vyr::ErrorRecord &e : context_->errors)
      EXPECT_TRUE(e.id == u"4363" && e.item == 0u && e.source == source) << e.source;
    EXPECT_EQ(ds, untouched);
  }
  EXPECT_EQ(vyr::reportToJson(state()), before);
}

}  // namespace
