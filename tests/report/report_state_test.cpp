// The report state's JSON form: what it accepts, what it refuses and why, and
// that a state survives the trip through JSON and a context's lifetime.
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "runtime/context.h"
#include "runtime/report.h"

namespace {

using nlohmann::json;

TEST(ReportState, SampleReadsAndPrintsBackUnchanged) {
  std::ifstream file(FAMOFLAS_SOURCE_DIR "/schema/samples/report.json");
  std::stringstream text;
  text << file.rdbuf();
  vyr::ReportState state, again;
  std::string error;
  ASSERT_TRUE(vyr::reportFromJson(json::parse(text.str()), &state, &error)) << error;
  ASSERT_EQ(state.sections.size(), 2u);
  const vyr::ReportSection &section = state.sections[1];
  const vyr::ReportSelectionEntry &orEntry = section.dataSelections[1][1];
  EXPECT_TRUE(state.currentSection == 2 && section.dataSequence[1].descending && orEntry.comparison == UBE_CMP_NE &&
              orEntry.connector == UBE_OR && (section.levelBreaks == std::vector<int32_t>{101, 102}));
  // Printing gives the full form; reading that back and printing again changes nothing.
  const nlohmann::ordered_json printed = vyr::reportToJson(state);
  EXPECT_EQ(printed["sections"][0]["dataSelectionInUse"], 0);
  EXPECT_EQ(printed["sections"][1]["dataSelections"][0][0]["connector"], "AND");
  ASSERT_TRUE(vyr::reportFromJson(json::parse(printed.dump()), &again, &error)) << error;
  EXPECT_EQ(vyr::reportToJson(again), printed);
}

TEST(ReportState, DefaultsAndTextOfEveryCharacter) {
  vyr::ReportState state;
  std::string error;
  ASSERT_TRUE(vyr::reportFromJson(json::parse(R"({"name": "R1", "sections": [{"id": 7}, {"id": 8, "name": "B"}]})"),
                                  &state, &error));
  EXPECT_TRUE(state.pageNumber == 1 && state.currentSection == 7 && !state.stop)
      << "a report starts in its first section";
  ASSERT_TRUE(vyr::reportFromJson(json{{"name", "R1"}}, &state, &error)) << error;
  EXPECT_TRUE(vyr::reportToJson(state)["currentSection"].is_null());

  // "Grüße 𝄞" counts 8 UTF-16 units; a name of 10 units fits.
  const json report = {
      {"name", "R1"}, {"stop", {{"withError", true}, {"message", "Grüße 𝄞"}}}, {"sourceEnvironment", "ÄÄÄÄÄÄÄÄÄÄ"}};
  ASSERT_TRUE(vyr::reportFromJson(report, &state, &error)) << error;
  EXPECT_EQ(state.stop->message, u"Grüße 𝄞");
  EXPECT_EQ(vyr::reportToJson(state)["stop"]["message"], "Grüße 𝄞");
  EXPECT_FALSE(vyr::reportFromJson(json{{"name", "R\xC0\xAF"}}, &state, &error));  // built, not parsed: not checked
  EXPECT_EQ(error, "report.name: is not valid UTF-8");
  // A lone surrogate a function wrote prints as U+FFFD instead of breaking the JSON text.
  state.name = u"R\xD800";
  EXPECT_EQ(vyr::reportToJson(state)["name"], "R\xEF\xBF\xBD");
}

TEST(ReportState, RefusalsNameThePathAndLeaveTheStateAlone) {
  const std::pair<const char *, const char *> cases[] = {
      {R"([])", "report: must be an object"},
      {R"({"pageNumber": 2})", "report.name: is required"},
      {R"({"name": "R1", "colour": 1})", "report.colour: is not a known key"},
      {R"({"name": "ABCDEFGHIJK"})", "report.name: is longer than 10"},
      {R"({"name": "R\u0000"})", "report.name: must not contain a NUL"},
      {R"({"name": "R1", "pageNumber": 4294967296})", "report.pageNumber: must be from 1"},
      {R"({"name": "R1", "pageNumber": 1.5})", "report.pageNumber: must be an integer"},
      {R"({"name": "R1", "preview": "yes"})", "report.preview: must be true or false"},
      {R"({"name": "R1", "sections": [{"id": 1}, {"id": 1, "name": "B"}]})",
       "report.sections[1].id: repeats section id 1"},
      {R"({"name": "R1", "sections": [{"id": 1, "name": "A "}, {"id": 2, "name": "A"}]})",
       "report.sections[1].name: repeats the name and version"},
      {R"({"name": "R1", "sections": [{"id": 1}], "currentSection": 2})", "report.currentSection: names no section"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSequence": [{"table": "F0101"}]}]})",
       "report.sections[0].dataSequence[0].item: is required"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [[{"item": "AN8", "comparison": "=="}]]}]})",
       "report.sections[0].dataSelections[0][0].comparison: must be one of"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [[{"item": "AN8", "connector": "OR"}]]}]})",
       "report.sections[0].dataSelections[0][0].connector: the first condition has nothing to join"},
      {R"({"name": "R1", "sections": [{"id": 1, "dataSelections": [{"item": "AN8"}]}]})",
       "report.sections[0].dataSelections[0]: must be an array of conditions"},
      {R"({"name": "R1", "sections": [{"id": 1, "levelBreaks": [5], "levelBreak": 2}]})",
       "report.sections[0].levelBreak: must be from 0 to 1"},
      {R"({"name": "R1", "stop": {"message": 5}})", "report.stop.message: must be a string"},
      {R"({"name": "R1", "subsystemRecords": [{"version": "V1"}]})", "report.subsystemRecords[0].report: is required"},
  };
  for (const auto &[report, errorPart] : cases) {
    vyr::ReportState state;
    state.name = u"UNTOUCHED";
    std::string error;
    EXPECT_FALSE(vyr::reportFromJson(json::parse(report), &state, &error)) << report;
    EXPECT_NE(error.find(errorPart), std::string::npos) << report << " -> " << error;
    EXPECT_EQ(state.name, u"UNTOUCHED") << report;
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
  EXPECT_EQ(vyr::attachedReport(context)->name, u"R2") << "the context holds its own copy";
  EXPECT_EQ(context->resources.size(), 1u) << "the replaced report was released";
  vyr::detachReport(context);
  EXPECT_TRUE(vyr::attachedReport(context) == nullptr && context->resources.empty());
  ASSERT_TRUE(vyr::attachReport(context, state));
  vyr::freeContext(context);  // releases the report; the leak checker of the sanitize build sees it

  int notAContext = 0;
  EXPECT_FALSE(vyr::attachReport(reinterpret_cast<LPBHVRCOM>(&notAContext), state));
  EXPECT_EQ(vyr::attachedReport(reinterpret_cast<LPBHVRCOM>(&notAContext)), nullptr);
}

}  // namespace
