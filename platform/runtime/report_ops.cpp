// The report runtime's operations (vyrreport.h) over the report state a host
// attached to the behaviour context that serves as the report handle.
#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "base/trace.h"
#include "runtime/context.h"
#include "runtime/report.h"

namespace vyr {
namespace {

// A refused call leaves one line on the trace, so a report author can see why
// an answer came back empty.
void refuse(const char *operation, const char *why) noexcept {
  try {
    std::u16string line;
    for (const char *p = operation; *p; ++p) line.push_back(static_cast<char16_t>(*p));
    line += u": ";
    for (const char *p = why; *p; ++p) line.push_back(static_cast<char16_t>(*p));
    writeTraceLine(line);
  } catch (...) {
    // Without memory for the line there is nothing more to say.
  }
}

// The report behind a handle, or NULL (refused) when the handle is not a live
// context with a report. Only a pointer the context registry knows is followed.
ReportState *reportOf(HREPORT handle, const char *operation) noexcept {
  if (!isLiveContext(handle)) {
    refuse(operation, "the report handle is not a behaviour context");
    return nullptr;
  }
  auto *state = static_cast<ReportState *>(reinterpret_cast<LPBHVRCOM>(handle)->report);
  if (state == nullptr) refuse(operation, "no report runs under this behaviour context");
  return state;
}

ReportSection *currentSection(HREPORT handle, const char *operation) noexcept {
  ReportState *report = reportOf(handle, operation);
  if (report == nullptr) return nullptr;
  if (report->currentSection)
    for (ReportSection &section : report->sections)
      if (section.id == *report->currentSection) return &section;
  refuse(operation, "the report has no current section");
  return nullptr;
}

std::u16string_view trimmed(const JCHAR *text) noexcept {
  std::u16string_view view = text ? std::u16string_view(text) : std::u16string_view();
  while (!view.empty() && view.back() == u' ') view.remove_suffix(1);
  return view;
}

// The section a name and version pick: null name, the current one; a null
// version with a name matches any version.
ReportSection *sectionNamed(HREPORT handle, const JCHAR *name, const JCHAR *version,
                            const char *operation) noexcept {
  if (name == nullptr) return currentSection(handle, operation);
  ReportState *report = reportOf(handle, operation);
  if (report == nullptr) return nullptr;
  for (ReportSection &section : report->sections)
    if (trimmed(name) == trimmed(section.name.c_str()) &&
        (version == nullptr || trimmed(version) == trimmed(section.version.c_str())))
      return &section;
  refuse(operation, "no section of the report has that name and version");
  return nullptr;
}

// Copies text out, cut to nSize (terminator included); FALSE when there is no room at all.
BOOL copyOut(std::u16string_view text, JCHAR *out, size_t nSize) noexcept {
  if (out == nullptr || nSize == 0) return FALSE;
  const size_t n = text.size() < nSize - 1 ? text.size() : nSize - 1;
  std::copy_n(text.data(), n, out);
  out[n] = 0;
  return TRUE;
}

// Text answers: the value when the report is there, else an empty buffer and FALSE.
BOOL textAnswer(const std::u16string *value, JCHAR *out, size_t nSize) noexcept {
  const BOOL written = copyOut(value ? std::u16string_view(*value) : std::u16string_view(), out, nSize);
  return value != nullptr && written;
}

// Number answers: the value when known, else 0 and FALSE.
BOOL numberAnswer(const int32_t *value, int32_t *out) noexcept {
  if (out == nullptr) return FALSE;
  *out = value ? *value : 0;
  return value != nullptr;
}

}  // namespace
}  // namespace vyr

using vyr::ReportSection;
using vyr::ReportState;

BOOL ubeReport_GetName(HREPORT hReport, JCHAR *lpszName, size_t nSize) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_GetName");
  return vyr::textAnswer(report ? &report->name : nullptr, lpszName, nSize);
}

BOOL ubeReport_GetPageNumber(HREPORT hReport, int32_t *lpnPage) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_GetPageNumber");
  return vyr::numberAnswer(report ? &report->pageNumber : nullptr, lpnPage);
}

BOOL ubeReport_SetPageNumber(HREPORT hReport, int32_t nPage) {
  ReportState *report = vyr::reportOf(hReport, "ubeReport_SetPageNumber");
  if (report == nullptr) return FALSE;
  if (nPage < 1) {
    vyr::refuse("ubeReport_SetPageNumber", "pages are numbered from 1");
    return FALSE;
  }
  report->pageNumber = nPage;
  return TRUE;
}

BOOL ubeReport_IsTemplate(HREPORT hReport) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_IsTemplate");
  return report != nullptr && report->isTemplate;
}

BOOL ubeReport_GetPreviewMode(HREPORT hReport) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_GetPreviewMode");
  return report != nullptr && report->preview;
}

BOOL ubeReport_GetSourceEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_GetSourceEnvironment");
  return vyr::textAnswer(report ? &report->sourceEnvironment : nullptr, lpszEnvironment, nSize);
}

BOOL ubeReport_GetTargetEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize) {
  const ReportState *report = vyr::reportOf(hReport, "ubeReport_GetTargetEnvironment");
  return vyr::textAnswer(report ? &report->targetEnvironment : nullptr, lpszEnvironment, nSize);
}

BOOL ubeReport_DisableSendMessage(HREPORT hReport) {
  ReportState *report = vyr::reportOf(hReport, "ubeReport_DisableSendMessage");
  if (report == nullptr) return FALSE;
  report->sendMessageDisabled = true;
  return TRUE;
}

BOOL ubeReport_StopBatchProcess(HREPORT hReport) {
  ReportState *report = vyr::reportOf(hReport, "ubeReport_StopBatchProcess");
  if (report == nullptr) return FALSE;
  // A stop in error requested earlier stays one: its message is the reason the job ends.
  if (!report->stop) report->stop.emplace();
  return TRUE;
}

BOOL ubeReport_StopBatchProcessWithError(HREPORT hReport, const JCHAR *lpszMessage) {
  ReportState *report = vyr::reportOf(hReport, "ubeReport_StopBatchProcessWithError");
  if (report == nullptr) return FALSE;
  if (report->stop && report->stop->withError) return TRUE;  // the first error is the one the job reports
  try {
    vyr::ReportStopRequest request{true, lpszMessage ? std::u16string(lpszMessage) : std::u16string()};
    report->stop = std::move(request);
  } catch (...) {
    vyr::refuse("ubeReport_StopBatchProcessWithError", "out of memory");
    return FALSE;
  }
  return TRUE;
}

BOOL ubeReport_AddSubsystemRecord(HREPORT hReport, const JCHAR *lpszReport, const JCHAR *lpszVersion,
                                  const JCHAR *lpszKey) {
  ReportState *report = vyr::reportOf(hReport, "ubeReport_AddSubsystemRecord");
  if (report == nullptr) return FALSE;
  const std::u16string_view name = vyr::trimmed(lpszReport), version = vyr::trimmed(lpszVersion);
  if (name.empty() || name.size() >= UBE_NAME_SIZE || version.size() >= UBE_NAME_SIZE) {
    vyr::refuse("ubeReport_AddSubsystemRecord", "the subsystem report needs a name and version of up to 10 characters");
    return FALSE;
  }
  try {
    report->subsystemRecords.push_back(
        {std::u16string(name), std::u16string(version), lpszKey ? std::u16string(lpszKey) : std::u16string()});
  } catch (...) {
    vyr::refuse("ubeReport_AddSubsystemRecord", "out of memory");
    return FALSE;
  }
  return TRUE;
}

BOOL ubeSection_GetID(HREPORT hReport, int32_t *lpnSectionId) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetID");
  return vyr::numberAnswer(section ? &section->id : nullptr, lpnSectionId);
}

BOOL ubeSection_GetCurrentRowNumber(HREPORT hReport, int32_t *lpnRow) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetCurrentRowNumber");
  return vyr::numberAnswer(section ? &section->row : nullptr, lpnRow);
}

BOOL ubeSection_GetCurrentColumnNumber(HREPORT hReport, int32_t *lpnColumn) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetCurrentColumnNumber");
  return vyr::numberAnswer(section ? &section->column : nullptr, lpnColumn);
}

BOOL ubeSection_GetReverseSign(HREPORT hReport) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetReverseSign");
  return section != nullptr && section->reverseSign;
}

BOOL ubeSection_IsBalanceAuditorDefined(HREPORT hReport) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_IsBalanceAuditorDefined");
  return section != nullptr && section->balanceAuditor;
}

BOOL ubeSection_GetTableInfo(HREPORT hReport, JCHAR *lpszTable, size_t nSize) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetTableInfo");
  return vyr::textAnswer(section ? &section->tableInfo : nullptr, lpszTable, nSize);
}

BOOL ubeSection_GetDataSequenceItem(HREPORT hReport, int32_t nItem, JCHAR *lpszDataItem, size_t nSize) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetDataSequenceItem");
  const bool known = section != nullptr && nItem >= 1 && static_cast<size_t>(nItem) <= section->dataSequence.size();
  if (section != nullptr && !known) vyr::refuse("ubeSection_GetDataSequenceItem", "no such sequence item");
  return vyr::textAnswer(known ? &section->dataSequence[nItem - 1].dataItem : nullptr, lpszDataItem, nSize);
}

BOOL ubeSection_GetNumberLevelBreaks(HREPORT hReport, int32_t *lpnCount) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetNumberLevelBreaks");
  const int32_t count = section ? static_cast<int32_t>(section->levelBreaks.size()) : 0;
  return vyr::numberAnswer(section ? &count : nullptr, lpnCount);
}

BOOL ubeSection_GetLevelNID(HREPORT hReport, int16_t nLevel, int32_t *lpnLevelId) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeSection_GetLevelNID");
  const bool known = section != nullptr && nLevel >= 1 && static_cast<size_t>(nLevel) <= section->levelBreaks.size();
  if (section != nullptr && !known) vyr::refuse("ubeSection_GetLevelNID", "no such level");
  return vyr::numberAnswer(known ? &section->levelBreaks[nLevel - 1] : nullptr, lpnLevelId);
}

BOOL ubeSection_GetDataSequence(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                int32_t nItem, LPUBE_SEQUENCE_ITEM lpItem) {
  if (lpItem == nullptr) return FALSE;
  std::memset(lpItem, 0, sizeof *lpItem);
  const ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, "ubeSection_GetDataSequence");
  if (section == nullptr) return FALSE;
  if (nItem < 1 || static_cast<size_t>(nItem) > section->dataSequence.size()) {
    vyr::refuse("ubeSection_GetDataSequence", "no such sequence item");
    return FALSE;
  }
  const vyr::ReportSequenceItem &item = section->dataSequence[nItem - 1];
  vyr::copyOut(item.table, lpItem->szTable, UBE_TABLE_SIZE);
  vyr::copyOut(item.dataItem, lpItem->szDataItem, UBE_DATA_ITEM_SIZE);
  lpItem->cDescending = item.descending ? u'1' : u'0';
  return TRUE;
}

BOOL ubeSection_UseDataSelection(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                 int32_t nSelection) {
  ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, "ubeSection_UseDataSelection");
  if (section == nullptr) return FALSE;
  if (nSelection < 0 || static_cast<size_t>(nSelection) > section->dataSelections.size()) {
    vyr::refuse("ubeSection_UseDataSelection", "the section has no data selection of that number");
    return FALSE;
  }
  section->dataSelectionInUse = nSelection;
  return TRUE;
}

BOOL ubeSection_GetDataSelection(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                 LPUBE_DATA_SELECTION *lppSelection) {
  if (lppSelection == nullptr) return FALSE;
  *lppSelection = nullptr;
  const ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, "ubeSection_GetDataSelection");
  if (section == nullptr) return FALSE;
  const vyr::ReportSelection *entries =
      section->dataSelectionInUse > 0 ? &section->dataSelections[section->dataSelectionInUse - 1] : nullptr;
  const size_t count = entries ? entries->size() : 0;

  auto *selection = new (std::nothrow) UBE_DATA_SELECTION{};
  LPUBE_SELECTION_ENTRY copies = count ? new (std::nothrow) UBE_SELECTION_ENTRY[count]() : nullptr;
  if (selection == nullptr || (count && copies == nullptr)) {
    delete selection;
    delete[] copies;
    vyr::refuse("ubeSection_GetDataSelection", "out of memory");
    return FALSE;
  }
  for (size_t i = 0; i < count; ++i) {
    const vyr::ReportSelectionEntry &from = (*entries)[i];
    vyr::copyOut(from.table, copies[i].szTable, UBE_TABLE_SIZE);
    vyr::copyOut(from.dataItem, copies[i].szDataItem, UBE_DATA_ITEM_SIZE);
    copies[i].nComparison = from.comparison;
    copies[i].nConnector = from.connector;
    vyr::copyOut(from.value, copies[i].szValue, UBE_VALUE_SIZE);
  }
  selection->nSelection = section->dataSelectionInUse;
  selection->nEntries = static_cast<int32_t>(count);
  selection->lpEntries = copies;
  *lppSelection = selection;
  return TRUE;
}

void ubeSection_FreeDataSelection(LPUBE_DATA_SELECTION lpSelection) {
  if (lpSelection == nullptr) return;
  delete[] lpSelection->lpEntries;
  delete lpSelection;
}

BOOL ubeTab_GetLevelNumber(HREPORT hReport, int32_t *lpnLevel) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeTab_GetLevelNumber");
  return vyr::numberAnswer(section ? &section->levelNumber : nullptr, lpnLevel);
}

BOOL ubeTab_GetLevelBreak(HREPORT hReport, int32_t *lpnLevel) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeTab_GetLevelBreak");
  return vyr::numberAnswer(section ? &section->levelBreak : nullptr, lpnLevel);
}

BOOL ubeTab_IsLevelBreakHeaderActive(HREPORT hReport) {
  const ReportSection *section = vyr::currentSection(hReport, "ubeTab_IsLevelBreakHeaderActive");
  return section != nullptr && section->levelBreakHeaderActive;
}
