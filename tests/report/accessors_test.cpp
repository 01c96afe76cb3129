// The report accessors as event rules call them: each family against a report
// state, the two ways of passing section names, the template query's handle,
// and the argument check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "frame/N94NM16A.h"
#include "frame/N94NM16B.h"
#include "frame/N94NM16C.h"
#include "runtime/context.h"
#include "runtime/report.h"

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

MATH_NUMERIC number(long value) {
  MATH_NUMERIC out;
  LongToMathNumeric(value, &out);
  return out;
}

class ReportAccessors : public ::testing::Test {
 protected:
  void SetUp() override {
    context_ = vyr::createContext();
    vyr::ReportState state;
    std::string error;
    ASSERT_TRUE(vyr::reportFromJson(kReport, &state, &error)) << error;
    ASSERT_TRUE(vyr::attachReport(context_, state));
  }
  void TearDown() override { vyr::freeContext(context_); }

  template <typename DS>
  ID call(LPBSFN fn, DS &ds) {
    return fn(context_, vyr::userEnvironment(context_), &ds);
  }
  vyr::ReportState &state() const { return *vyr::attachedReport(context_); }

  LPBHVRCOM context_ = nullptr;
};

TEST_F(ReportAccessors, ReportQueriesAnswerFromTheReport) {
  DSD94NM16A1 preview;
  DSD94NM16A2 page;
  DSD94NM16A3 source, target;
  DSD94NM16A4 name;
  std::memset(&preview, 0, sizeof preview);
  page.nPageNumber = -1;
  ASSERT_EQ(call(ubeReportGetPreviewMode, preview), ER_SUCCESS);
  ASSERT_EQ(call(ubeReportGetPageNumber, page), ER_SUCCESS);
  ASSERT_EQ(call(ubeGetSourceEnvironment, source), ER_SUCCESS);
  ASSERT_EQ(call(ubeGetTargetEnvironment, target), ER_SUCCESS);
  ASSERT_EQ(call(ubeReportGetName, name), ER_SUCCESS);
  EXPECT_EQ(std::u16string(preview.szPreviewMode), u"TRUE");
  EXPECT_EQ(page.nPageNumber, 4);
  EXPECT_EQ(std::u16string(source.szEnvironment), u"PROD");
  EXPECT_EQ(std::u16string(target.szEnvironment), u"TEST");
  EXPECT_EQ(std::u16string(name.szReportName), u"RPT0008");

  state().preview = false;
  ASSERT_EQ(call(ubeReportGetPreviewMode, preview), ER_SUCCESS);
  EXPECT_EQ(std::u16string(preview.szPreviewMode), u"FALSE");
}

TEST_F(ReportAccessors, SetPageNumberMovesThePageOrSaysWhyNot) {
  struct Case {
    int32_t page;
    const char16_t *answer;
    int32_t pageAfter;
  } const cases[] = {{9, u"TRUE", 9}, {1, u"TRUE", 1}, {0, u"FALSE", 1}, {-3, u"FALSE", 1}};
  for (const Case &c : cases) {
    DSD94NM16A5 ds;
    ds.nPageNumber = c.page;
    ASSERT_EQ(call(ubeSetPageNumber, ds), ER_SUCCESS);
    EXPECT_EQ(std::u16string(ds.szPageNumberSet), c.answer) << c.page;
    DSD94NM16A2 page;
    call(ubeReportGetPageNumber, page);
    EXPECT_EQ(page.nPageNumber, c.pageAfter) << c.page;
  }
  EXPECT_EQ(vyr::reportToJson(state())["pageNumber"], 1);
}

TEST_F(ReportAccessors, TemplateQueryHandsOverItsOwnMemberAndAnswersFalse) {
  // The report is a template and the runtime says so when asked with the context...
  ASSERT_TRUE(ubeReport_IsTemplate(reinterpret_cast<HREPORT>(context_)));
  // ...but the accessor passes the address of its member 2, which the runtime refuses.
  DSD94NM16A ds;
  std::memset(&ds, 0, sizeof ds);
  ds.idReportHandle = 0xFFFFFFFFu;
  static_assert(offsetof(DSD94NM16A, idReportHandle) == 11 * sizeof(JCHAR), "member 2 follows the 10 + 1 string");
  const ID result = call(ubeReportIsTemplate, ds);
  EXPECT_EQ(result, ER_SUCCESS);
  EXPECT_EQ(std::u16string(ds.szIsTemplate), u"FALSE");
  EXPECT_EQ(ds.idReportHandle, 0xFFFFFFFFu) << "member 2 is only pointed at, never written";
  EXPECT_TRUE(context_->errors.empty());
}

TEST_F(ReportAccessors, ControlsRecordSendMessageAndStopRequests) {
  DSD94NM16A6 ds{};
  ASSERT_EQ(call(ubeReportDisableSendMessage, ds), ER_SUCCESS);
  EXPECT_TRUE(state().sendMessageDisabled);
  ASSERT_EQ(call(ubeReportStopBatch, ds), ER_SUCCESS);
  EXPECT_EQ(vyr::reportToJson(state())["stop"], (nlohmann::ordered_json{{"withError", false}, {"message", ""}}));
  ASSERT_EQ(call(ubeReportStopBatchWithError, ds), ER_SUCCESS);
  EXPECT_EQ(vyr::reportToJson(state())["stop"],
            (nlohmann::ordered_json{{"withError", true},
                  {"message", "This is a test for the system API ubeSection_StopBatchProcessWithError"}}));
}

TEST_F(ReportAccessors, SectionQueriesAnswerForTheCurrentSection) {
  DSD94NM16B id;
  DSD94NM16B1 row;
  DSD94NM16B2 column;
  DSD94NM16B3 reverse;
  DSD94NM16B4 auditor;
  DSD94NM16B6 item;
  DSD94NM16B7 table;
  item.mnSequenceItem = number(2);
  call(ubeSectionGetID, id);
  call(ubeSectionGetCurrRowNumber, row);
  call(ubeSectionGetColumnNumber, column);
  call(ubeSectionGetReverseSign, reverse);
  call(ubeSectionIsBalanceAuditorDefine, auditor);
  call(ubeSectionGetDataSequenceItem, item);
  call(ubeSectionGetTableInfo, table);
  EXPECT_EQ(id.idSection, 20);
  EXPECT_EQ(row.nRowNumber, 31);
  EXPECT_EQ(column.nColumnNumber, 6);
  EXPECT_EQ(reverse.cReverseSign, u'1');
  EXPECT_EQ(std::u16string(auditor.szBalanceAuditorDefined), u"TRUE");
  EXPECT_EQ(std::u16string(item.szDataItem), u"MMCU");
  EXPECT_EQ(std::u16string(table.szTableName), u"F0015");
  state().sections[1].reverseSign = state().sections[1].balanceAuditor = false;
  call(ubeSectionGetReverseSign, reverse);
  call(ubeSectionIsBalanceAuditorDefine, auditor);
  EXPECT_EQ(reverse.cReverseSign, u'0');
  EXPECT_EQ(std::u16string(auditor.szBalanceAuditorDefined), u"FALSE");
}

TEST_F(ReportAccessors, SequenceItemNumbersOutOfRangeFindNothing) {
  // 2^32 + 1 must not wrap onto item 1.
  const long numbers[] = {0, -1, 3, 4294967297L};
  for (long n : numbers) {
    DSD94NM16B6 item;
    item.mnSequenceItem = number(n);
    vyrStrcpy(item.szDataItem, u"STALE");
    ASSERT_EQ(call(ubeSectionGetDataSequenceItem, item), ER_SUCCESS);
    EXPECT_EQ(std::u16string(item.szDataItem), u"") << n;
  }
}

// GetDataSequence names the section only when both names are filled; blank
// names ask about the current section (Totals, sequence CO then MCU).
TEST_F(ReportAccessors, DataSequencePassesNamesOnlyWhenBothAreFilled) {
  struct Case {
    const char16_t *section, *version;
    long item;
    const char16_t *table, *dataItem;
  } const cases[] = {
      {u"Detail", u"STD0001", 1, u"F0101", u"AN8"},  // names passed: Detail
      {u"Detail", u"        ", 1, u"F0015", u"CRCD"},   // blank version: current section
      {u"", u"STD0001", 2, u"F0015", u"MMCU"},        // empty name: current section
      {u"", u"", 1, u"F0015", u"CRCD"},
      {u"Detail", u"STD0002", 1, u"", u""},  // names passed, no such section
  };
  for (const Case &c : cases) {
    DSD94NM16B5 ds;
    std::memset(&ds, 0, sizeof ds);
    vyrStrcpyFillAndTerminate(ds.szSectionName, c.section, 41, 0);
    vyrStrcpyFillAndTerminate(ds.szVersion, c.version, 11, 0);
    ds.mnSequenceItem = number(c.item);
    ASSERT_EQ(call(ubeSectionGetDataSequence, ds), ER_SUCCESS);
    const std::string label(c.section, c.section + std::char_traits<char16_t>::length(c.section));
    EXPECT_EQ(std::u16string(ds.szTableName), c.table) << label;
    EXPECT_EQ(std::u16string(ds.szDataItem), c.dataItem) << label;
  }
}

// UseDataSelection is the other way round: names go to the runtime when
// either is empty, and both filled means the current section (Totals).
TEST_F(ReportAccessors, DataSelectionPassesNamesOnlyWhenOneIsEmpty) {
  struct Case {
    const char16_t *section, *version;
    int32_t totalsAfter, detailAfter;  // selection in use afterwards
  } const cases[] = {
      {u"Detail", u"STD0001", 2, 0},  // both filled: null names, the current section changes
      {u"Detail", u"", 0, 0},          // names passed; no Detail of version "" exists
      {u"", u"STD0001", 0, 0},        // names passed; no section without a name
      {u"   ", u"STD0001", 2, 0},     // blank is not empty: null names again
  };
  for (const Case &c : cases) {
    state().sections[0].dataSelectionInUse = 0;
    state().sections[1].dataSelectionInUse = 0;
    DSD94NM16B8 ds;
    vyrStrcpyFillAndTerminate(ds.szSectionName, c.section, 41, 0);
    vyrStrcpyFillAndTerminate(ds.szVersion, c.version, 11, 0);
    ds.mnDataSelection = number(2);
    ASSERT_EQ(call(ubeSectionUseDataSelection, ds), ER_SUCCESS);
    const std::string label(c.section, c.section + std::char_traits<char16_t>::length(c.section));
    EXPECT_EQ(state().sections[1].dataSelectionInUse, c.totalsAfter) << label;
    EXPECT_EQ(state().sections[0].dataSelectionInUse, c.detailAfter) << label;
  }
  // With names the runtime did receive: a named section of that version exists.
  state().sections[0].version.clear();
  state().sections[1].dataSelectionInUse = 0;
  DSD94NM16B8 ds;
  vyrStrcpyFillAndTerminate(ds.szSectionName, u"Detail", 41, 0);
  vyrStrcpyFillAndTerminate(ds.szVersion, u"", 11, 0);
  ds.mnDataSelection = number(1);
  call(ubeSectionUseDataSelection, ds);
  EXPECT_EQ(state().sections[0].dataSelectionInUse, 1);
  EXPECT_EQ(state().sections[1].dataSelectionInUse, 0);
}

TEST_F(ReportAccessors, LevelBreaksOfTheCurrentSection) {
  DSD94NM16C1 count;
  DSD94NM16C2 breaking;
  DSD94NM16C3 level;
  DSD94NM16C4 header;
  call(ubeSectionGetNumLevelBreaks, count);
  call(ubeTabGetLevelBreak, breaking);
  call(ubeTabGetLevelNumber, level);
  call(ubeTabIsLevelBrkHdrActive, header);
  EXPECT_EQ(count.nNumberLevelBreaks, 3);
  EXPECT_EQ(breaking.nLevelBreak, 3);
  EXPECT_EQ(level.nLevelNumber, 2);
  EXPECT_EQ(std::u16string(header.szHeaderActive), u"TRUE");

  struct Case {
    int16_t level;
    const char16_t *found;
    int32_t id;
  } const cases[] = {{1, u"TRUE", 301}, {3, u"TRUE", 303}, {4, u"FALSE", 0}, {0, u"FALSE", 0}, {-1, u"FALSE", 0}};
  for (const Case &c : cases) {
    DSD94NM16C ds;
    ds.nLevel = c.level;
    ds.idLevel = 77;
    ASSERT_EQ(call(ubeSectionGetLevelNID, ds), ER_SUCCESS);
    EXPECT_EQ(std::u16string(ds.szLevelFound), c.found) << c.level;
    EXPECT_EQ(ds.idLevel, c.id) << c.level;
  }
}

// Every accessor refuses a missing argument with "4363" on item 0 and touches nothing.
TEST_F(ReportAccessors, MissingArgumentsAreRefusedWith4363) {
  const struct {
    const char *source;
    std::vector<LPBSFN> accessors;
  } objects[] = {
      {"N94NM16A",
       {ubeReportIsTemplate, ubeReportGetPreviewMode, ubeReportGetPageNumber, ubeGetSourceEnvironment,
        ubeGetTargetEnvironment, ubeReportGetName, ubeSetPageNumber, ubeReportDisableSendMessage, ubeReportStopBatch,
        ubeReportStopBatchWithError}},
      {"N94NM16B",
       {ubeSectionGetID, ubeSectionGetCurrRowNumber, ubeSectionGetColumnNumber, ubeSectionGetReverseSign,
        ubeSectionIsBalanceAuditorDefine, ubeSectionGetDataSequence, ubeSectionGetDataSequenceItem,
        ubeSectionGetTableInfo, ubeSectionUseDataSelection}},
      {"N94NM16C",
       {ubeSectionGetLevelNID, ubeSectionGetNumLevelBreaks, ubeTabGetLevelBreak, ubeTabGetLevelNumber,
        ubeTabIsLevelBrkHdrActive}},
  };
  const nlohmann::ordered_json before = vyr::reportToJson(state());
  LPVOID env = vyr::userEnvironment(context_);
  for (const auto &object : objects) {
    for (size_t i = 0; i < object.accessors.size(); ++i) {
      SCOPED_TRACE(testing::Message() << object.source << " accessor " << i);
      const LPBSFN fn = object.accessors[i];
      // Big enough for any of the data structures; a refused call leaves it as it was.
      unsigned char ds[256];
      std::memset(ds, 0xA5, sizeof ds);
      context_->errors.clear();
      EXPECT_EQ(fn(context_, env, nullptr), ER_ERROR);
      EXPECT_EQ(fn(context_, nullptr, ds), ER_ERROR);
      EXPECT_EQ(fn(nullptr, env, ds), ER_ERROR);
      ASSERT_EQ(context_->errors.size(), 2u) << "the call without a context has nowhere to report";
      for (const vyr::ErrorRecord &e : context_->errors) {
        EXPECT_EQ(e.id, u"4363");
        EXPECT_EQ(e.item, 0u);
        EXPECT_EQ(e.source, object.source);
      }
      EXPECT_TRUE(std::all_of(ds, ds + sizeof ds, [](unsigned char b) { return b == 0xA5; }));
    }
  }
  EXPECT_EQ(vyr::reportToJson(state()), before);
}

}  // namespace
