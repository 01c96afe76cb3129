// Stand-in country functions, loaded with --library (or vyr::loadLibrary):
// every function a server of entries.h calls by name and every server a
// plug-and-play entry names outside the library, except
// CheckSupplerNoForCISStatus, left out so that a server meets a callee nobody
// registered. Each writes one trace line "stand-in...: " with the data it
// got. Member 5 of the localization record, "E<n>" or "W<n>", makes a
// stand-in set error "STANDIN" on its member n and return ER_ERROR or
// ER_WARNING; WithholdingTaxValidation fails on a negative amount (member 1:
// error, member 2: warning), GetCISSubcontractorStatus on a negative address.
#include <set>
#include <string>
#include <vector>

#include "localization/localization.h"

namespace {

std::u16string amount(const MATH_NUMERIC &value) {
  JCHAR out[VYR_MATH_TEXT_SIZE] = {};
  FormatMathNumeric(out, &value);
  return out;
}

std::u16string flag(JCHAR c) { return c == 0 ? u"" : std::u16string(1, c); }

ID standInError(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, ID idItem, ID idReturn) {
  vyrErrorSetEx(lpBhvrCom, lpVoid, idItem, u"STANDIN", nullptr, "STANDIN", __LINE__);
  return idReturn;
}

// Copies amount 1 to amount 2, sets the flag and overwrites key 1 (a server
// must not take that back, a plug-and-play entry must).
ID sharedStandIn(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<LPDSLOCALIZATION>(lpVoidDS);
  DebugTraceFn(u"stand-in: country '%ls' company '%ls' keys '%ls' '%ls' '%ls' mode '%ls' amounts %ls %ls flag '%ls'",
               ds->szCountryCode, ds->szCompanyKey, ds->szRecordKey1, ds->szRecordKey2, ds->szRecordKey3, ds->szMode,
               amount(ds->mnAmount1).c_str(), amount(ds->mnAmount2).c_str(), flag(ds->cResultFlag).c_str());
  MathCopy(&ds->mnAmount2, &ds->mnAmount1);
  ds->cResultFlag = u'1';
  vyrStrcpyFillAndTerminate(ds->szRecordKey1, u"TOUCHED", 11, 0);
  const JCHAR *order = ds->szRecordKey3;
  if ((order[0] == u'E' || order[0] == u'W') && order[1] >= u'1' && order[1] <= u'9' && order[2] == 0)
    return standInError(lpBhvrCom, lpVoid, ID(order[1] - u'0'), order[0] == u'E' ? ER_ERROR : ER_WARNING);
  return ER_SUCCESS;
}

// Withholding := taxable + withholding, flag "1".
ID WithholdingTaxValidation(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<DSWITHHOLDINGTAXVALIDATION *>(lpVoidDS);
  DebugTraceFn(u"stand-in WithholdingTaxValidation: taxable %ls withholding %ls flag '%ls'",
               amount(ds->mnTaxableAmount).c_str(), amount(ds->mnWithholdingAmount).c_str(),
               flag(ds->cResultFlag).c_str());
  if (ds->mnTaxableAmount.Sign == '-') return standInError(lpBhvrCom, lpVoid, 1, ER_ERROR);
  const bool negative = ds->mnWithholdingAmount.Sign == '-';
  MathAdd(&ds->mnWithholdingAmount, &ds->mnTaxableAmount, &ds->mnWithholdingAmount);
  ds->cResultFlag = u'1';
  return negative ? standInError(lpBhvrCom, lpVoid, 2, ER_WARNING) : ER_SUCCESS;
}

// A subcontractor when the address is positive, verified when it is odd.
ID GetCISSubcontractorStatus(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<DSGETCISSUBCONTRACTORSTATUS *>(lpVoidDS);
  DebugTraceFn(u"stand-in GetCISSubcontractorStatus: address %ls mode '%ls'", amount(ds->mnAddressNumber).c_str(),
               flag(ds->cProcessingMode).c_str());
  const long address = MathNumericToLong(&ds->mnAddressNumber);
  if (address < 0) return standInError(lpBhvrCom, lpVoid, 1, ER_ERROR);
  ds->cIsSubcontractor = address > 0 ? u'1' : u'0';
  ds->cStatusVerified = address % 2 != 0 ? u'1' : u'0';
  return ER_SUCCESS;
}

// The table's names: its own entries, the servers its entries forward to and
// the country functions its branches call, each with the record it takes.
struct TableName {
  const char *name;
  const char *kind;
};
#define LOC_PLUG(source, entry, server) {#entry, "ENTRY"}, {server, "SHARED"},
#define LOC_SERVER(source, entry, ...) {#entry, "ENTRY"}, __VA_ARGS__
#define LOC_BRANCH(country, codes, mode, callee, record, mapping) {callee, #record},
const TableName kTable[] = {
#include "localization/entries.h"
};

std::vector<BSFN_CATALOG_ENTRY> standIns() {
  static std::vector<std::string> names;  // the entries point into it
  std::set<std::string> taken = {"", "CheckSupplerNoForCISStatus"};
  for (const TableName &t : kTable)
    if (std::string(t.kind) == "ENTRY") taken.insert(t.name);
  names.reserve(std::size(kTable));
  std::vector<BSFN_CATALOG_ENTRY> entries;
  for (const TableName &t : kTable) {
    if (!taken.insert(t.name).second) continue;
    const std::string kind = t.kind;
    const std::string &name = names.emplace_back(t.name);
    if (kind == "WITHHOLDING") {
      entries.push_back({name.c_str(), WithholdingTaxValidation, &DSWITHHOLDINGTAXVALIDATION_template, "STANDIN"});
    } else if (kind == "CIS_STATUS") {
      entries.push_back({name.c_str(), GetCISSubcontractorStatus, &DSGETCISSUBCONTRACTORSTATUS_template, "STANDIN"});
    } else {
      entries.push_back({name.c_str(), sharedStandIn, &DSLOCALIZATION_template, "STANDIN"});
    }
  }
  return entries;
}

}  // namespace

extern "C" VYR_EXPORT const BSFN_CATALOG_ENTRY *famoflasCatalog(size_t *lpnCount) {
  static const std::vector<BSFN_CATALOG_ENTRY> entries = standIns();
  if (lpnCount != nullptr) *lpnCount = entries.size();
  return entries.data();
}
