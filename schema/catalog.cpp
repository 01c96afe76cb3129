// The tables of the library and its companions: columns in record order and
// numbered indexes. Index 1 of every table is unique: it is how a row once
// fetched is found again. Where the business functions leave a column open,
// the choice made here is noted beside it.
//
// This is the one description of each table. The build writes vyrtables.h
// from it (the type and offset of every column, the size of every row and key
// record); a library that keeps its own packed record of a table states which
// columns it mirrors with the checks of vyrrecord.h, so a width changed here
// and not there stops the build. Libraries built elsewhere state their record
// sizes at run time with VDB_CheckRecordSize.
#include <string>

#include "db/catalog.h"

namespace {

using namespace vyr::db;
using namespace vyr::db::schema;

// PREFIX01 .. PREFIXnn (or PREFIX001 ..) columns made by one maker.
template <typename Make>
std::vector<ColumnDef> numbered(std::u16string_view prefix, int count, int digits, Make make) {
  std::vector<ColumnDef> out;
  for (int i = 1; i <= count; ++i) {
    std::u16string alias(prefix);
    std::u16string n;
    for (int v = i, d = 0; d < digits; ++d, v /= 10) n.insert(n.begin(), static_cast<char16_t>(u'0' + v % 10));
    out.push_back(make(alias + n));
  }
  return out;
}

std::vector<ColumnDef> join(std::initializer_list<std::vector<ColumnDef>> parts) {
  std::vector<ColumnDef> out;
  for (const auto &part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// Audit columns written by GetAuditInfo callers: user, program, workstation, date, time (HHMMSS).
std::vector<ColumnDef> audit() {
  return {str(u"USER", 10), str(u"PID", 10), str(u"JOBN", 10), date(u"UPMJ"), num(u"UPMT", 6)};
}

std::vector<TableSpec> declare() {
  return {
      {u"F0002",
       "next numbers by system",
       join({{str(u"SY", 4)},
             numbered(u"UD", 10, 2, [](const std::u16string &a) { return str(a, 30); }),
             numbered(u"N0", 10, 2, [](const std::u16string &a) { return num(a, 8); }),
             // One check-digit flag per next-number index ("Y": numbers carry a check digit); named here.
             numbered(u"CK", 10, 2, [](const std::u16string &a) { return chr(a); })}),
       {unique(1, {asc(u"SY")})}},

      {u"F00021",
       "next numbers by company and fiscal year",
       {str(u"KCO", 5), str(u"DCT", 2), num(u"CTRY", 2),
        num(u"FY", 2),  // century (20 for 2024) and year 0-99; both 0: one counter for every year
        num(u"N001", 8),
        chr(u"IMB"),    // imbedded fiscal-year digits, "1" or "2" (named here)
        chr(u"CK01")},  // check-digit flag, "Y" (named here)
       {unique(1, {asc(u"KCO"), asc(u"DCT"), asc(u"CTRY"), asc(u"FY")})}},

      {u"F00022",
       "unique key identifiers by object name",
       {str(u"OBNM", 10), num(u"UKID", 15)},
       {unique(1, {asc(u"OBNM")})}},

      {u"F0005",
       "user-defined codes",
       {str(u"SY", 4), str(u"RT", 2), str(u"KY", 10), str(u"DL01", 30), str(u"DL02", 30), str(u"SPHD", 10),
        chr(u"HRDC")},
       {unique(1, {asc(u"SY"), asc(u"RT"), asc(u"KY")}),
        // Lookups of a code by its description: line two, then line one.
        index(2, {asc(u"SY"), asc(u"RT"), asc(u"DL02")}), index(3, {asc(u"SY"), asc(u"RT"), asc(u"DL01")})}},

      {u"F0007",
       "work-day calendar, one row per month and shift",
       join({{str(u"MMCU", 12), str(u"WDCT", 10), str(u"WDCK", 10),
              num(u"CTRY", 2),  // century code: 0 for 19xx, 1 for 20xx
              num(u"YR", 2), num(u"MT", 2), chr(u"SHFT")},
             numbered(u"TD", 31, 2, [](const std::u16string &a) { return chr(a); })}),
       {unique(1, {asc(u"CTRY"), asc(u"YR"), asc(u"MT"), asc(u"MMCU"), asc(u"WDCT"), asc(u"WDCK"), asc(u"SHFT")}),
        unique(2, {asc(u"MMCU"), asc(u"WDCT"), asc(u"WDCK"), asc(u"CTRY"), asc(u"YR"), asc(u"MT"), asc(u"SHFT")})}},

      {u"F0008",
       "fiscal date patterns",
       join({{chr(u"DTPN"), date(u"DFYJ"), num(u"FQ", 2)},  // number of periods in the fiscal year (chosen here)
             numbered(u"D", 14, 2, [](const std::u16string &a) { return date(a + u"J"); })}),  // period end dates
       {unique(1, {asc(u"DTPN"), asc(u"DFYJ")})}},

      {u"F0010",
       "company constants (company 00000: installation defaults)",
       {str(u"CO", 5), str(u"NAME", 30), str(u"CRCD", 3), chr(u"BKTX"), chr(u"ABIN"), chr(u"CRYR"), chr(u"DTPN"),
        date(u"DFYJ"), num(u"PNC", 2)},
       {unique(1, {asc(u"CO")}), index(2, {asc(u"DTPN"), asc(u"DFYJ")})}},

      {u"F0013", "currency codes", {str(u"CRCD", 3), str(u"DL01", 30), chr(u"CDEC")}, {unique(1, {asc(u"CRCD")})}},

      {u"F0015",
       "exchange rates",
       {str(u"CRCD", 3), str(u"CRDC", 3), num(u"AN8", 8), str(u"RTTYP", 2), date(u"EFT"),
        chr(u"CSR"),   // "3": the rates are method-3 rates
        chr(u"CRCM"),  // conversion method: "Y" multiply, "Z" divide
        str(u"CRCX", 3), num(u"CRR", 15, 7), num(u"CRRD", 15, 7)},
       {unique(1, {asc(u"CRCD"), asc(u"CRDC"), asc(u"AN8"), asc(u"RTTYP"), asc(u"EFT")}),
        index(2, {asc(u"EFT"), asc(u"CRCD"), asc(u"CRDC")}),
        // Newest first: the first row with EFT <= a date is the rate in force on it.
        unique(3, {asc(u"CRCD"), asc(u"CRDC"), asc(u"AN8"), asc(u"RTTYP"), desc(u"EFT")})}},

      {u"F0101",
       "address book",
       {num(u"AN8", 8), str(u"ALKY", 20), str(u"TAX", 20), str(u"ALPH", 40), str(u"AT1", 3), str(u"MCU", 12),
        str(u"USER", 10), str(u"PID", 10), date(u"UPMJ")},
       {unique(1, {asc(u"AN8")}), index(2, {asc(u"ALPH")})}},

      {u"F0411",
       "accounts payable ledger",
       {num(u"DOC", 8), str(u"DCT", 2), str(u"KCO", 5), str(u"SFX", 3), num(u"AN8", 8), date(u"DIVJ"),
        num(u"AG", 15, 2), num(u"AAP", 15, 2), str(u"CRCD", 3)},
       {unique(1, {asc(u"DOC"), asc(u"DCT"), asc(u"KCO"), asc(u"SFX")}), index(2, {asc(u"AN8"), asc(u"DIVJ")})}},

      {u"F03B11",
       "accounts receivable ledger",
       {num(u"DOC", 8), str(u"DCT", 2), str(u"KCO", 5), str(u"SFX", 3), num(u"AN8", 8), date(u"DIVJ"),
        num(u"AG", 15, 2), num(u"AAP", 15, 2), str(u"CRCD", 3)},
       {unique(1, {asc(u"DOC"), asc(u"DCT"), asc(u"KCO"), asc(u"SFX")}), index(2, {asc(u"AN8"), asc(u"DIVJ")})}},

      {u"F0911",
       "account ledger",
       {str(u"DCT", 2), num(u"DOC", 8), str(u"KCO", 5), date(u"DGJ"), num(u"JELN", 7), str(u"LT", 2), str(u"EXTL", 2),
        str(u"ANI", 29), num(u"AA", 15, 2), str(u"CRCD", 3), str(u"EXA", 30)},
       // The first five keys identify a journal-entry line; LT and EXTL make the row unique.
       {unique(1, {asc(u"DCT"), asc(u"DOC"), asc(u"KCO"), asc(u"DGJ"), asc(u"JELN"), asc(u"LT"), asc(u"EXTL")})}},

      // Activity tables: beyond the columns the sync names (INDID, STPIM, UDTTM, TDLDS, ISTODO,
      // RECURID, TDEX) the layout is chosen here to hold what a PIM record carries. Every UTIME
      // column is UTC, to the microsecond: finer than the whole seconds of a sync anchor, so a change
      // in the anchor's own second sorts after it.
      {u"F01301",
       "activities (appointments and tasks)",
       join({{str(u"ACTVID", 36),  // activity id (the uid sent to clients; a GUID when the server makes it)
              num(u"INDID", 8),    // owner's address number
              str(u"ACTTYP", 10),  // APPOINTMT, TODOTASK, PERSONAL
              str(u"ACTSUBJ", 120), str(u"ACTDSC", 1200), str(u"ACTLOC", 60),
              chr(u"ALLDAY"),  // "Y"/"N"
              utime(u"BGTM"), utime(u"ENDTM"), date(u"DUEDT"),
              chr(u"ISTODO"),                       // "1" task, "0" appointment
              chr(u"CMPLFL"),                       // "1"/"0"
              utime(u"CMPLTM"), num(u"LEADTM", 5),  // alarm lead time, before the start
              str(u"LEADINC", 10),                  // its increment, a code of UDC 01/LT (Minutes, Hours, Days)
              chr(u"ALRMFL"),                       // "1"/"0"
              chr(u"PRIVFL"),                       // "Y"/"N"
              chr(u"STPIM"),                        // "1": the activity is synchronised with the PIM client
              str(u"RECURID", 36),                  // recurrence pattern in F01331, blank when none
              // The version of the activity the PIM client holds: null never sent; equal to UDTTM the
              // client wrote this version; later than UDTTM this version was sent to it then.
              utime(u"TDLDS"), utime(u"UDTTM")},  // last change, stamped by the activity functions, never moving back
             audit()}),
       {unique(1, {asc(u"ACTVID")}),
        // A user's activities in the order they changed: the sync's selection.
        index(2, {asc(u"INDID"), asc(u"UDTTM")}),
        // Activities sharing a recurrence pattern.
        index(3, {asc(u"RECURID")})}},

      // One row per deletion the PIM client has not yet taken; the sync clears the rows it reported.
      {u"F01302",
       "deleted activities not yet taken by the PIM client",
       {str(u"ACTVID", 36), num(u"INDID", 8), chr(u"ISTODO"), utime(u"DLTTM")},
       {unique(1, {asc(u"INDID"), asc(u"ACTVID")}), index(2, {asc(u"ACTVID")})}},

      // One row per recurrence pattern (TDEX null) and one per exclusion date of it (TDEX set).
      {u"F01331",
       "activity recurrence patterns and exclusion dates",
       join({{str(u"RECURID", 36), date(u"TDEX"),
              str(u"RCTYP", 10),  // the client's repeat type (DAILY, WEEKLY, ...), as it sent it
              date(u"RCBGDT"),
              date(u"RCENDT"),   // null: the pattern has no end
              str(u"RCDOW", 7),  // days of the week, as the client writes them
              num(u"RCFREQ", 3), num(u"RCWOM", 1)},
             audit()}),
       {unique(1, {asc(u"RECURID"), asc(u"TDEX")})}},

      // Control record of the external tax interface; its key and columns are the interface's own.
      {u"F7306",
       "external tax interface control",
       {str(u"CTLKEY", 5), chr(u"TXIF"),  // "Y": the interface is in use
        str(u"TXVNDR", 10), str(u"USER", 10), date(u"UPMJ")},
       {unique(1, {asc(u"CTLKEY")})}},

      {u"F90CA001",
       "address numbers distributed to disconnected clients",
       {num(u"AN8", 8),    // the distributed number (first column, as the lowest-number lookup reads it)
        chr(u"DSTS"),      // status, "1": distributed
        str(u"MKEY", 15),  // client it went to (named here)
        date(u"DTDS")},    // when (named here)
       {unique(1, {asc(u"AN8")}), index(2, {asc(u"DSTS"), asc(u"AN8")})}},

      {u"F98QXSEC",
       "security records (the password policy row has user key *POLICY)",
       join({{str(u"QXUSR", 10),  // user key
              str(u"QXTYP", 10),  // record type; the policy row carries OSASE here
              binary(u"SRVBLOBA")},
             audit()}),
       {unique(1, {asc(u"QXUSR"), asc(u"QXTYP")}), index(2, {asc(u"QXUSR")})}},
  };
}

const CatalogSection kLibraryTables(declare);

}  // namespace
