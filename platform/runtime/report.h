// The state of a running batch report as a host attaches it to a behaviour
// context, and its JSON form (docs/report-state.md). The report operations of
// vyrreport.h read and change the state attached to the context they are
// handed; the host prints it back after the call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vyrreport.h"
#include "vyrtypes.h"

namespace vyr VYR_HOST_API {

struct ReportSequenceItem {
  std::u16string table;
  std::u16string dataItem;
  bool descending = false;
};

struct ReportSelectionEntry {
  std::u16string table;
  std::u16string dataItem;
  int32_t comparison = UBE_CMP_EQ;  // UBE_CMP_*
  int32_t connector = UBE_AND;      // UBE_AND, UBE_OR
  std::u16string value;
};

// A data selection: conditions, the OR entries joining the one before them.
using ReportSelection = std::vector<ReportSelectionEntry>;

struct ReportSection {
  int32_t id = 0;
  std::u16string name;
  std::u16string version;
  int32_t row = 0;
  int32_t column = 0;
  bool reverseSign = false;
  bool balanceAuditor = false;
  std::u16string tableInfo;
  std::vector<ReportSequenceItem> dataSequence;
  std::vector<ReportSelection> dataSelections;  // selection n is dataSelections[n - 1]
  int32_t dataSelectionInUse = 0;               // 0: none
  std::vector<int32_t> levelBreaks;             // level ids, level n is levelBreaks[n - 1]
  int32_t levelNumber = 0;
  int32_t levelBreak = 0;  // level whose break is processed now, 0 none
  bool levelBreakHeaderActive = false;
};

struct ReportSubsystemRecord {
  std::u16string report;
  std::u16string version;
  std::u16string key;
};

struct ReportStopRequest {
  bool withError = false;
  std::u16string message;
};

struct ReportState {
  std::u16string name;
  int32_t pageNumber = 1;
  bool preview = false;
  bool isTemplate = false;
  std::u16string sourceEnvironment;
  std::u16string targetEnvironment;
  bool sendMessageDisabled = false;
  std::vector<ReportSection> sections;
  std::optional<int32_t> currentSection;  // id of the section whose event rules run
  std::vector<ReportSubsystemRecord> subsystemRecords;
  std::optional<ReportStopRequest> stop;  // set once a stop was requested
};

// Reads the JSON form into *state. Every rule of the form is checked (known
// keys only, types, widths, ranges, unique section ids and names); on the
// first violation returns false with the path and the reason in *error, and
// *state is left as it was.
bool reportFromJson(const nlohmann::json &json, ReportState *state, std::string *error);
// The JSON form of the state, every key present, in the order of the documentation.
nlohmann::ordered_json reportToJson(const ReportState &state);

// Attaches a copy of the state to the context, replacing the report it had.
// It lives until it is detached or the context is freed. False (nothing
// attached) for a context that is not live or when memory runs out.
bool attachReport(LPBHVRCOM context, const ReportState &state);
// The report attached to a live context, else NULL.
ReportState *attachedReport(LPBHVRCOM context) noexcept;
// Releases the attached report, if any.
void detachReport(LPBHVRCOM context) noexcept;

}  // namespace VYR_HOST_API
