// The report state's JSON form: what it accepts, what it refuses and why, and
// that a state survives the trip through JSON and a context's lifetime.
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "runtime/context.h"
#include "runtime/report.h"

namespace {

using nlohmann::json;

json sampleReport() {
  std::ifstream file(FAMOFLAS_SOURCE_DIR "/schema/samples/report.json");
  std::stringstream text;
  text << file.rdbuf();
  return json::parse(text.str());
}

TEST(ReportState, SampleReadsAndPrintsBackUnchanged) {
  vyr::ReportState state;
  std::string error;
  ASSERT_TRUE(vyr::reportFromJson(sampleReport(), &state, &error)) << error;
  EXPECT_EQ(state.name, u"RPT0006");
  EXPECT_EQ(state.currentSection, 2);
  ASSERT_EQ(state.sections.size(), 2u);
  const vyr::ReportSection &section = state.sections[1];
  EXPECT_TRUE(section.dataSequence[1].descending);
  EXPECT_EQ(section.dataSelections[1][0].comparison, UBE_CMP_EQ);
  EXPECT_EQ(section.dataSelections[1][1].comparison, UBE_CMP_NE);
  EXPECT_EQ(section.dataSelections[1][1].connector, UBE_OR);
  EXPECT_EQ(section.levelBreaks, (std::vector<int32_t>{101, 102}));

  // Printing gives the full form; reading that back and printing again changes nothing.
  const nlohmann::ordered_json printed = vyr::reportToJson(state);
  EXPECT_EQ(printed["sections"][0]["dataSelectionInUse"], 0);
  EXPECT_EQ(printed["sections"][1]["dataSelections"][0][0]["connector"], "AND");
  vyr::ReportState again;
  ASSERT_TRUE(vyr::reportFromJson(json::parse(printed.dump()), &again, &error)) << error;
  EXPECT_EQ(vyr::reportToJson(again), printed);
}

TEST(ReportState, DefaultsOfAMinimalReport) {
  vyr::ReportState state;
  std::string error;
  ASSERT_TRUE(vyr::reportFromJson(json::parse(R"({"name": "R1", "sections": [{"id": 7}, {"id": 8, "name": "B"}]})"),
                                  &state, &error))
      << error;
  EXPECT_EQ(state.pageNumber, 1);
  EXPECT_EQ(state.currentSection, 7) << "a report starts in its first section";
  EXPECT_FALSE(state.stop.has_value());

  ASSERT_TRUE(vyr::reportFromJson(json{{"name", "R1"}}, &state, &error)) << error;
  EXPECT_FALSE(state.currentSection.has_value());
  EXPECT_TRUE(vyr::reportToJson(state)["currentSection"].is_null());
}

TEST(ReportState, TextKeepsEveryCharacter) {
  vyr::ReportState state;
  std::string error;
  // "Grüße 𝄞" counts 8 UTF-16 units; a name of 10 units fits, 11 do not.
  const json report = {{"name", "R1"},
                       {"stop", {{"withError", true}, {"message", "Grüße 𝄞"}}},
                       {"sourceEnvironment", "ÄÄÄÄÄÄÄÄÄÄ"}};
  ASSERT_TRUE(vyr::reportFromJson(report, &state, &error)) << error;
  EXPECT_EQ(state.stop->message, u"Grüße 𝄞");
  EXPECT_EQ(vyr::reportToJson(state)["stop"]["message"], "Grüße 𝄞");
  // A lone surrogate a function wrote prints as U+FFFD instead of breaking the JSON text.
  state.name = u"R\xD800";
  EXPECT_EQ(vyr::reportToJson(state)["name"], "R\xEF\xBF\xBD");
  EXPECT_NO_THROW((void)vyr::reportToJson(state).dump());
}

TEST(ReportState, RefusalsNameThePathAndLeaveTheStateAlone) {
  struct Case {
    const char *report;
    const char *errorPart;
  } const cases[] = {
      {R"([])", "report: must be an object"},
      {R"({"pageNumber": 2})", "report.name: is required"},
      {R"({"name": "R1", "colour": 1})", "report.colour: is not a known key"},
      {R"({"name": "ABCDEFGHIJK"})", "report.name: is longer than 10"},
      {R"({"name": "R\u0000"})", "report.name: must not contain a NUL"},
      {R"({"name": "R1", "pageNumber": 0})", "report.pageNumber: must be from 1"},
      {R"({"name": "R1", "pageNumber": 4294967296})", "report.pageNumber: must be from 1"},
      {R"({"name": "R1", "pageNumber": 1.5})", "report.pageNumber: must be an integer"},
      {R"({"name": "R1", "preview": "yes"})", "report.preview: must be true or false"},
      {R"({"name": "R1", "sections": [{"name": "A"}]})", "report.sections[0].id: is required"},
      {R"({"name": "R1", "sections": [{"id": 1}, {"id": 1, "name": "B"}]})",
       "report.sections[1].id: repeats section id 1"},
      {R"({"name": "R1", "sections": [{"id": 1, "name": "A "}, {"id": 2, "name": "A"}]})",
       "report.sections[1].name: repeats the name and version"},
      {R"({"name": "R1", "sections": [{"id": 1}], "currentSection": 2})", "report.currentSection: names no section"},
      {R"({"name": "R1", "sections": [{"id": 1, "row": -1}]})", "report.sections[0].row: must be from 0"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSequence": [{"table": "F0101"}]}]})",
       "report.sections[0].dataSequence[0].item: is required"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [[{"item": "AN8", "comparison": "=="}]]}]})",
       "report.sections[0].dataSelections[0][0].comparison: must be one of"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [[{"item": "AN8", "connector": "OR"}]]}]})",
       "report.sections[0].dataSelections[0][0].connector: the first condition has nothing to join"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [{"item": "AN8"}]}]})",
       "report.sections[0].dataSelections[0]: must be an array of conditions"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelectionInUse": 1}]})",
       "report.sections[0].dataSelectionInUse: must be from 0 to 0"},
      {R"({"name": "R1", "sections": [{"id": 1, "levelBreaks": [5], "levelBreak": 2}]})",
       "report.sections[0].levelBreak: must be from 0 to 1"},
      {R"({"name": "R1", "stop": {"message": 5}})", "report.stop.message: must be a string"},
      {R"({"name": "R1", "subsystemRecords": [{"version": "V1"}]})", "report.subsystemRecords[0].report: is required"},
  };
  for (const Case &c : cases) {
    vyr::ReportState state;
    state.name = u"UNTOUCHED";
    std::string error;
    EXPECT_FALSE(vyr::reportFromJson(json::parse(c.report), &state, &error)) << c.report;
    EXPECT_NE(error.find(c.errorPart), std::string::npos) << c.report << " -> " << error;
    EXPECT_EQ(state.name, u"UNTOUCHED") << c.report;
  }
}

TEST(ReportState, AttachedReportLivesWithItsContext) {
  vyr::ReportState state;
  state.name = u"R1";
  LPBHVRCOM context = vyr::createContext();
  EXPECT_EQ(vyr::attachedReport(context), nullptr);
  ASSERT_TRUE(vyr::attachReport(context, state));
  state.name = u"R2";
  ASSERT_TRUE(vyr::attachReport(context, state)) << "a second report replaces the first";
  ASSERT_NE(vyr::attachedReport(context), nullptr);
  EXPECT_EQ(vyr::attachedReport(context)->name, u"R2") << "the context holds its own copy";
  EXPECT_EQ(context->resources.size(), 1u) << "the replaced report was released";
  vyr::detachReport(context);
  EXPECT_EQ(vyr::attachedReport(context), nullptr);
  EXPECT_TRUE(context->resources.empty());
  ASSERT_TRUE(vyr::attachReport(context, state));
  vyr::freeContext(context);  // releases the report; the leak checker of the sanitize build sees it

  int notAContext = 0;
  EXPECT_FALSE(vyr::attachReport(reinterpret_cast<LPBHVRCOM>(&notAContext), state));
  EXPECT_EQ(vyr::attachedReport(reinterpret_cast<LPBHVRCOM>(&notAContext)), nullptr);
}

}  // namespace
