// The report runtime's operations: refused handles, section lookup by name and
// version, data selections handed out and back, stop requests.
#include <cstring>

#include <gtest/gtest.h>

#include "report_test.h"
#include "vyrkrnl.h"

namespace {

using nlohmann::json;
using ordered = nlohmann::ordered_json;

const json kReport = json::parse(R"({
  "name": "RPT0010",
  "currentSection": 1,
  "sections": [
    {"id": 1, "name": "Main", "version": "V1", "dataSelections": [[{"item": "AN8"}]]},
    {"id": 2, "name": "Totals", "version": "V1",
     "dataSequence": [{"table": "F0015", "item": "MMCU", "descending": true}],
     "dataSelections": [[{"table": "F0015", "item": "AN8", "comparison": "<>", "value": "00000001"},
                         {"table": "F0015", "item": "CRCD", "value": "EUR", "connector": "OR"}]]}
  ]
})");

class ReportOperations : public ReportTest {
 protected:
  ReportOperations() : ReportTest(kReport) {}
  void SetUp() override {
    ReportTest::SetUp();
    bare_ = vyr::createContext();
  }
  void TearDown() override {
    vyr::freeContext(bare_);
    ReportTest::TearDown();
  }
  HREPORT report() const { return reinterpret_cast<HREPORT>(context_); }

  LPBHVRCOM bare_ = nullptr;  // a context running no report
};

TEST_F(ReportOperations, RefusedHandlesAnswerNothingAndChangeNothing) {
  LPBHVRCOM freed = vyr::createContext();
  vyr::freeContext(freed);
  struct {
    char bytes[64] = {'x'};
  } notAContext;
  const HREPORT handles[] = {nullptr, reinterpret_cast<HREPORT>(&notAContext), reinterpret_cast<HREPORT>(freed),
                             reinterpret_cast<HREPORT>(bare_)};
  for (HREPORT handle : handles) {
    SCOPED_TRACE(testing::Message() << "handle " << static_cast<const void *>(handle));
    JCHAR text[UBE_NAME_SIZE] = u"junk";
    int32_t number = 99;
    auto selection = reinterpret_cast<LPUBE_DATA_SELECTION>(&number);
    EXPECT_FALSE(ubeReport_GetName(handle, text, UBE_NAME_SIZE) || ubeReport_GetPageNumber(handle, &number) ||
                 ubeReport_SetPageNumber(handle, 5) || ubeReport_IsTemplate(handle) ||
                 ubeReport_StopBatchProcessWithError(handle, u"stop") ||
                 ubeSection_UseDataSelection(handle, nullptr, nullptr, 0) ||
                 ubeSection_GetDataSelection(handle, nullptr, nullptr, &selection));
    EXPECT_TRUE(text[0] == 0 && number == 0 && selection == nullptr) << "refused answers are empty";
  }
  EXPECT_EQ(state().pageNumber, 1);
  EXPECT_FALSE(state().stop.has_value());
}

TEST_F(ReportOperations, RefusalsAreTracedForTheReportAuthor) {
  std::vector<std::u16string> lines;
  const vyr::TraceSink previous =
      vyr::setThreadTraceSink({[](void *user, std::u16string_view line) noexcept {
                                 static_cast<std::vector<std::u16string> *>(user)->emplace_back(line);
                               },
                               &lines});
  int32_t level = 0;
  ubeReport_IsTemplate(reinterpret_cast<HREPORT>(&level));
  ubeSection_GetLevelNID(report(), 1, &level);
  ubeReport_GetPreviewMode(reinterpret_cast<HREPORT>(bare_));
  vyr::setThreadTraceSink(previous);
  EXPECT_EQ(lines,
            (std::vector<std::u16string>{u"ubeReport_IsTemplate: the report handle is not a behaviour context",
                                         u"ubeSection_GetLevelNID: no such level",
                                         u"ubeReport_GetPreviewMode: no report runs under this behaviour context"}));
}

TEST_F(ReportOperations, NamedSectionsMatchNameAndVersionWithoutTrailingBlanks) {
  struct Case {
    const JCHAR *name, *version;
    BOOL found;
    const char16_t *dataItem;  // item 1 of the section found
  } const cases[] = {
      {nullptr, nullptr, FALSE, u""},  // the current section has no sequence
      {u"Totals", u"V1", TRUE, u"MMCU"},   {u"Totals    ", u"V1   ", TRUE, u"MMCU"},  // blank-padded members
      {u"Totals", nullptr, TRUE, u"MMCU"},                                            // any version
      {u"Totals", u"V2", FALSE, u""},      {u"totals", u"V1", FALSE, u""},           {u"", u"V1", FALSE, u""},
  };
  for (const Case &c : cases) {
    UBE_SEQUENCE_ITEM item;
    std::memset(&item, 0x55, sizeof item);
    EXPECT_EQ(ubeSection_GetDataSequence(report(), c.name, c.version, 1, &item), c.found)
        << (c.name ? std::string(c.name, c.name + std::char_traits<char16_t>::length(c.name)) : "null");
    EXPECT_EQ(std::u16string(item.szDataItem), c.dataItem);
    EXPECT_EQ(item.cDescending, c.found ? u'1' : 0);
  }
  UBE_SEQUENCE_ITEM item;
  EXPECT_FALSE(ubeSection_GetDataSequence(report(), u"Totals", u"V1", 2, &item)) << "past the last item";
  EXPECT_FALSE(ubeSection_GetDataSequence(report(), u"Totals", u"V1", 0, &item));
  EXPECT_FALSE(ubeSection_GetDataSequence(report(), u"Totals", u"V1", 1, nullptr));
}

TEST_F(ReportOperations, DataSelectionInUseIsHandedOutAsACopy) {
  LPUBE_DATA_SELECTION selection = nullptr;
  ASSERT_TRUE(ubeSection_GetDataSelection(report(), u"Totals", u"V1", &selection));
  EXPECT_TRUE(selection->nSelection == 0 && selection->nEntries == 0 && selection->lpEntries == nullptr);
  ubeSection_FreeDataSelection(selection);

  EXPECT_FALSE(ubeSection_UseDataSelection(report(), u"Totals", u"V1", 2)) << "there is only one";
  EXPECT_FALSE(ubeSection_UseDataSelection(report(), u"Totals", u"V1", -1));
  ASSERT_TRUE(ubeSection_UseDataSelection(report(), u"Totals", u"V1", 1));
  EXPECT_EQ(state().sections[0].dataSelectionInUse, 0) << "only the named section changes";

  ASSERT_TRUE(ubeSection_GetDataSelection(report(), u"Totals", u"V1", &selection));
  ASSERT_EQ(selection->nEntries, 2);
  const UBE_SELECTION_ENTRY &first = selection->lpEntries[0], &second = selection->lpEntries[1];
  EXPECT_EQ(selection->nSelection, 1);
  EXPECT_EQ(std::u16string(first.szDataItem) + u" " + first.szValue, u"AN8 00000001");
  EXPECT_EQ((std::vector<int32_t>{first.nComparison, first.nConnector, second.nComparison, second.nConnector}),
            (std::vector<int32_t>{UBE_CMP_NE, UBE_AND, UBE_CMP_EQ, UBE_OR}));
  selection->lpEntries[0].szValue[0] = u'9';  // the caller's copy, not the report's
  ubeSection_FreeDataSelection(selection);
  EXPECT_EQ(state().sections[1].dataSelections[0][0].value, u"00000001");
  ubeSection_FreeDataSelection(nullptr);
}

TEST_F(ReportOperations, StopInErrorKeepsItsFirstMessage) {
  ASSERT_TRUE(ubeReport_StopBatchProcess(report()));
  EXPECT_FALSE(state().stop->withError);
  for (const char16_t *message : {u"first", u"second"})
    ASSERT_TRUE(ubeReport_StopBatchProcessWithError(report(), message));
  ASSERT_TRUE(ubeReport_StopBatchProcess(report()));
  EXPECT_EQ(vyr::reportToJson(state())["stop"], (ordered{{"withError", true}, {"message", "first"}}));
}

TEST_F(ReportOperations, SubsystemRecordsAreQueuedInOrder) {
  EXPECT_TRUE(ubeReport_AddSubsystemRecord(report(), u"RSUB0001", u"ALT0001  ", u"KEY 4711"));
  EXPECT_TRUE(ubeReport_AddSubsystemRecord(report(), u"RSUB0001", nullptr, nullptr));
  EXPECT_FALSE(ubeReport_AddSubsystemRecord(report(), u"   ", u"V1", u"k")) << "a record needs a report";
  EXPECT_FALSE(ubeReport_AddSubsystemRecord(report(), u"R123456789X", u"V1", u"k"));
  EXPECT_EQ(vyr::reportToJson(state())["subsystemRecords"],
            (ordered{{{"report", "RSUB0001"}, {"version", "ALT0001"}, {"key", "KEY 4711"}},
                     {{"report", "RSUB0001"}, {"version", ""}, {"key", ""}}}));
}

TEST_F(ReportOperations, TextAnswersAreCutToTheCallersBuffer) {
  state().sections[0].tableInfo = u"F0015XY";
  JCHAR table[4] = {u'x', u'x', u'x', u'x'};
  EXPECT_TRUE(ubeSection_GetTableInfo(report(), table, 4));
  EXPECT_EQ(std::u16string(table), u"F00");
  EXPECT_FALSE(ubeSection_GetTableInfo(report(), table, 0) || ubeSection_GetTableInfo(report(), nullptr, 11) ||
               ubeSection_GetID(report(), nullptr));
}

}  // namespace
