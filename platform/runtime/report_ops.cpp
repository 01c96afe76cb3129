// The report runtime's operations (vyrreport.h) over the report state a host
// attached to the behaviour context that serves as the report handle.
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/trace.h"
#include "runtime/context.h"
#include "runtime/jtext.h"
#include "runtime/report.h"

namespace vyr {
namespace {

// A refused call leaves one line on the trace, so a report author can see why
// an answer came back empty.
void refuse(const char *operation, const char *why) noexcept {
  try {
    writeTraceLine(asciiToJchar(std::string(operation) + ": " + why));
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

// The section a name and version pick: null name, the current one; a null
// version with a name matches any version.
ReportSection *sectionNamed(HREPORT handle, const JCHAR *name, const JCHAR *version, const char *operation) noexcept {
  if (name == nullptr) return currentSection(handle, operation);
  ReportState *report = reportOf(handle, operation);
  if (report == nullptr) return nullptr;
  for (ReportSection &section : report->sections)
    if (trimmed(name) == trimmed(section.name) && (version == nullptr || trimmed(version) == trimmed(section.version)))
      return &section;
  refuse(operation, "no section of the report has that name and version");
  return nullptr;
}

// Text answers: the value when the report is there, else an empty buffer and FALSE.
BOOL textAnswer(const std::u16string *value, JCHAR *out, size_t nSize) noexcept {
  const bool written = copyOut(value ? std::u16string_view(*value) : std::u16string_view(), out, nSize);
  return value != nullptr && written;
}

// Number answers: the value when known, else 0 and FALSE.
BOOL numberAnswer(const int32_t *value, int32_t *out) noexcept {
  if (out == nullptr) return FALSE;
  *out = value ? *value : 0;
  return value != nullptr;
}

// Most operations answer one field of the report or of its current section.
template <class Owner>
Owner *ownerOf(HREPORT handle, const char *operation) noexcept {
  if constexpr (std::is_same_v<Owner, ReportState>)
    return reportOf(handle, operation);
  else
    return currentSection(handle, operation);
}

template <class Owner>
BOOL textField(HREPORT handle, const char *operation, std::u16string Owner::*field, JCHAR *out, size_t nSize) noexcept {
  const Owner *owner = ownerOf<Owner>(handle, operation);
  return textAnswer(owner ? &(owner->*field) : nullptr, out, nSize);
}

template <class Owner>
BOOL numberField(HREPORT handle, const char *operation, int32_t Owner::*field, int32_t *out) noexcept {
  const Owner *owner = ownerOf<Owner>(handle, operation);
  return numberAnswer(owner ? &(owner->*field) : nullptr, out);
}

template <class Owner>
BOOL flagField(HREPORT handle, const char *operation, bool Owner::*field) noexcept {
  const Owner *owner = ownerOf<Owner>(handle, operation);
  return owner != nullptr && owner->*field;
}

}  // namespace
}  // namespace vyr

using vyr::ReportSection;
using vyr::ReportState;

BOOL ubeReport_GetName(HREPORT hReport, JCHAR *lpszName, size_t nSize) {
  return vyr::textField(hReport, __func__, &ReportState::name, lpszName, nSize);
}

BOOL ubeReport_GetPageNumber(HREPORT hReport, int32_t *lpnPage) {
  return vyr::numberField(hReport, __func__, &ReportState::pageNumber, lpnPage);
}

BOOL ubeReport_SetPageNumber(HREPORT hReport, int32_t nPage) {
  ReportState *report = vyr::reportOf(hReport, __func__);
  if (report == nullptr) return FALSE;
  if (nPage < 1) {
    vyr::refuse(__func__, "pages are numbered from 1");
    return FALSE;
  }
  report->pageNumber = nPage;
  return TRUE;
}

BOOL ubeReport_IsTemplate(HREPORT hReport) { return vyr::flagField(hReport, __func__, &ReportState::isTemplate); }

BOOL ubeReport_GetPreviewMode(HREPORT hReport) { return vyr::flagField(hReport, __func__, &ReportState::preview); }

BOOL ubeReport_GetSourceEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize) {
  return vyr::textField(hReport, __func__, &ReportState::sourceEnvironment, lpszEnvironment, nSize);
}

BOOL ubeReport_GetTargetEnvironment(HREPORT hReport, JCHAR *lpszEnvironment, size_t nSize) {
  return vyr::textField(hReport, __func__, &ReportState::targetEnvironment, lpszEnvironment, nSize);
}

BOOL ubeReport_DisableSendMessage(HREPORT hReport) {
  ReportState *report = vyr::reportOf(hReport, __func__);
  if (report == nullptr) return FALSE;
  report->sendMessageDisabled = true;
  return TRUE;
}

BOOL ubeReport_StopBatchProcess(HREPORT hReport) {
  ReportState *report = vyr::reportOf(hReport, __func__);
  if (report == nullptr) return FALSE;
  // A stop in error requested earlier stays one: its message is the reason the job ends.
  if (!report->stop) report->stop.emplace();
  return TRUE;
}

BOOL ubeReport_StopBatchProcessWithError(HREPORT hReport, const JCHAR *lpszMessage) {
  ReportState *report = vyr::reportOf(hReport, __func__);
  if (report == nullptr) return FALSE;
  if (report->stop && report->stop->withError) return TRUE;  // the first error is the one the job reports
  try {
    vyr::ReportStopRequest request{true, lpszMessage ? std::u16string(lpszMessage) : std::u16string()};
    report->stop = std::move(request);
  } catch (...) {
    vyr::refuse(__func__, "out of memory");
    return FALSE;
  }
  return TRUE;
}

BOOL ubeReport_AddSubsystemRecord(HREPORT hReport, const JCHAR *lpszReport, const JCHAR *lpszVersion,
                                  const JCHAR *lpszKey) {
  ReportState *report = vyr::reportOf(hReport, __func__);
  if (report == nullptr) return FALSE;
  const std::u16string_view name = vyr::trimmed(lpszReport), version = vyr::trimmed(lpszVersion);
  if (name.empty() || name.size() >= UBE_NAME_SIZE || version.size() >= UBE_NAME_SIZE) {
    vyr::refuse(__func__, "the subsystem report needs a name and version of up to 10 characters");
    return FALSE;
  }
  try {
    report->subsystemRecords.push_back(
        {std::u16string(name), std::u16string(version), lpszKey ? std::u16string(lpszKey) : std::u16string()});
  } catch (...) {
    vyr::refuse(__func__, "out of memory");
    return FALSE;
  }
  return TRUE;
}

BOOL ubeSection_GetID(HREPORT hReport, int32_t *lpnSectionId) {
  return vyr::numberField(hReport, __func__, &ReportSection::id, lpnSectionId);
}

BOOL ubeSection_GetCurrentRowNumber(HREPORT hReport, int32_t *lpnRow) {
  return vyr::numberField(hReport, __func__, &ReportSection::row, lpnRow);
}

BOOL ubeSection_GetCurrentColumnNumber(HREPORT hReport, int32_t *lpnColumn) {
  return vyr::numberField(hReport, __func__, &ReportSection::column, lpnColumn);
}

BOOL ubeSection_GetReverseSign(HREPORT hReport) {
  return vyr::flagField(hReport, __func__, &ReportSection::reverseSign);
}

BOOL ubeSection_IsBalanceAuditorDefined(HREPORT hReport) {
  return vyr::flagField(hReport, __func__, &ReportSection::balanceAuditor);
}

BOOL ubeSection_GetTableInfo(HREPORT hReport, JCHAR *lpszTable, size_t nSize) {
  return vyr::textField(hReport, __func__, &ReportSection::tableInfo, lpszTable, nSize);
}

BOOL ubeSection_GetDataSequenceItem(HREPORT hReport, int32_t nItem, JCHAR *lpszDataItem, size_t nSize) {
  const ReportSection *section = vyr::currentSection(hReport, __func__);
  const bool known = section != nullptr && nItem >= 1 && static_cast<size_t>(nItem) <= section->dataSequence.size();
  if (section != nullptr && !known) vyr::refuse(__func__, "no such sequence item");
  return vyr::textAnswer(known ? &section->dataSequence[nItem - 1].dataItem : nullptr, lpszDataItem, nSize);
}

BOOL ubeSection_GetNumberLevelBreaks(HREPORT hReport, int32_t *lpnCount) {
  const ReportSection *section = vyr::currentSection(hReport, __func__);
  const int32_t count = section ? static_cast<int32_t>(section->levelBreaks.size()) : 0;
  return vyr::numberAnswer(section ? &count : nullptr, lpnCount);
}

BOOL ubeSection_GetLevelNID(HREPORT hReport, int16_t nLevel, int32_t *lpnLevelId) {
  const ReportSection *section = vyr::currentSection(hReport, __func__);
  const bool known = section != nullptr && nLevel >= 1 && static_cast<size_t>(nLevel) <= section->levelBreaks.size();
  if (section != nullptr && !known) vyr::refuse(__func__, "no such level");
  return vyr::numberAnswer(known ? &section->levelBreaks[nLevel - 1] : nullptr, lpnLevelId);
}

BOOL ubeSection_GetDataSequence(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion, int32_t nItem,
                                LPUBE_SEQUENCE_ITEM lpItem) {
  if (lpItem == nullptr) return FALSE;
  std::memset(lpItem, 0, sizeof *lpItem);
  const ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, __func__);
  if (section == nullptr) return FALSE;
  if (nItem < 1 || static_cast<size_t>(nItem) > section->dataSequence.size()) {
    vyr::refuse(__func__, "no such sequence item");
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
  ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, __func__);
  if (section == nullptr) return FALSE;
  if (nSelection < 0 || static_cast<size_t>(nSelection) > section->dataSelections.size()) {
    vyr::refuse(__func__, "the section has no data selection of that number");
    return FALSE;
  }
  section->dataSelectionInUse = nSelection;
  return TRUE;
}

BOOL ubeSection_GetDataSelection(HREPORT hReport, const JCHAR *lpszSection, const JCHAR *lpszVersion,
                                 LPUBE_DATA_SELECTION *lppSelection) {
  if (lppSelection == nullptr) return FALSE;
  *lppSelection = nullptr;
  const ReportSection *section = vyr::sectionNamed(hReport, lpszSection, lpszVersion, __func__);
  if (section == nullptr) return FALSE;
  const vyr::ReportSelection *entries =
      section->dataSelectionInUse > 0 ? &section->dataSelections[section->dataSelectionInUse - 1] : nullptr;
  const size_t count = entries ? entries->size() : 0;

  auto *selection = new (std::nothrow) UBE_DATA_SELECTION{};
  LPUBE_SELECTION_ENTRY copies = count ? new (std::nothrow) UBE_SELECTION_ENTRY[count]() : nullptr;
  if (selection == nullptr || (count && copies == nullptr)) {
    delete selection;
    delete[] copies;
    vyr::refuse(__func__, "out of memory");
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
  return vyr::numberField(hReport, __func__, &ReportSection::levelNumber, lpnLevel);
}

BOOL ubeTab_GetLevelBreak(HREPORT hReport, int32_t *lpnLevel) {
  return vyr::numberField(hReport, __func__, &ReportSection::levelBreak, lpnLevel);
}

BOOL ubeTab_IsLevelBreakHeaderActive(HREPORT hReport) {
  return vyr::flagField(hReport, __func__, &ReportSection::levelBreakHeaderActive);
}
