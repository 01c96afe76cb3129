// The appointment sync on SQLite, timed as a client drives it (one process,
// documents through the PIM transport):
//  - a full initial sync (getcount + getdetails of every record + endsync) of
//    a user with 1,000, 10,000 and 50,000 appointments, and its cost per
//    appointment, which must stay flat as the calendar grows;
//  - of that time, getcount (reading the tables: the selection and one read
//    per activity) against getdetails (building the XML, plus one update per
//    record sent to note that the client has it);
//  - of that time, the XML building against the rest. "xml" is the record
//    writer getdetails uses (B90CA701_AddRecordDetailsToXML), timed alone over
//    the same n appointments read back from F01301 after the sync (the reads
//    are not timed); "tables" is the full sync less "xml": the selection, the
//    reads, the staging cache, one update per record and the small documents;
//  - the cost per appointment at 50,000 over that at 1,000 (linear: near 1);
//  - a putmodified of 200 changes into a calendar of 10,000.
// Each figure is the best of three runs on a fresh database.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "db/host.h"
#include "frame/bsfn.h"
#include "frame/companions.h"
#include "runtime/context.h"
#include "runtime/pimsync.h"
#include "sync/B90CA701.h"
#include "unicode/jchar_utf8.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

using Clock = std::chrono::steady_clock;

const NID kColumns[DSACTIVITY_COLUMN_COUNT] = {u"ACTVID",  u"INDID",  u"ACTTYP",  u"ACTSUBJ", u"ACTDSC", u"ACTLOC",
                                               u"ALLDAY",  u"BGTM",   u"ENDTM",   u"DUEDT",   u"ISTODO", u"CMPLFL",
                                               u"CMPLTM",  u"LEADTM", u"LEADINC", u"ALRMFL",  u"PRIVFL", u"STPIM",
                                               u"RECURID", u"TDLDS",  u"UDTTM"};

std::string document(const std::string &command, const std::string &child) {
  return "<?xml version=\"1.0\"?><PIMREQ username=\"U\" command=\"" + command + "\" appDataType=\"Appointments\">" +
         child + "</PIMREQ>";
}
const std::string kAllFromStart = "<GETINFO startRec=\"1\" numRecsRequested=\"-1\" syncAnchor=\"19700101000000Z\"/>";

struct Database {
  std::filesystem::path dir;
  LPBHVRCOM context = nullptr;
  ~Database() {
    if (context) vyr::freeContext(context);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }
};

// A fresh database whose user U (address number 100) has n appointments, changed a day ago.
bool load(Database &db, int n, int round) {
  db.dir = std::filesystem::temp_directory_path() /
           ("bench_appointments_" + std::to_string(::getpid()) + "_" + std::to_string(n) + "_" + std::to_string(round));
  std::filesystem::create_directories(db.dir);
  std::string error;
  if (!vyr::db::initDatabase((db.dir / "main.db").string(), &error)) {
    std::fprintf(stderr, "database: %s\n", error.c_str());
    return false;
  }
  db.context = vyr::createContext(
      {{"user", "U"}, {"an8", "100"}, {"env", "MAIN"}, {"env.MAIN", (db.dir / "main.db").string()}}, &error);
  if (db.context == nullptr) {
    std::fprintf(stderr, "context: %s\n", error.c_str());
    return false;
  }
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  if (VDB_InitUser(db.context, &user, nullptr, 1) != VDB_SUCCESS) return false;
  bool ok = VDB_OpenTable(user, u"F01301", 1, kColumns, DSACTIVITY_COLUMN_COUNT, nullptr, &request) == VDB_SUCCESS;
  UTIME changed;
  vyrUTime_SetToNow(&changed);
  vyrUTime_AdvanceDate(&changed, 0, 0, -1);
  for (int i = 0; ok && i < n; ++i) {
    DSACTIVITY row{};
    const std::u16string id = vyr::fromUtf8("APPT-" + std::to_string(i));
    const std::u16string subject = vyr::fromUtf8("Review " + std::to_string(i) + " with the team & guests");
    vyrStrcpyFillAndTerminate(row.szActivityID, id.c_str(), 37, 0);
    ParseNumericString(&row.mnAddressNumber, u"100");
    vyrStrcpy(row.szActivityType, u"APPOINTMT");
    vyrStrcpyFillAndTerminate(row.szSubject, subject.c_str(), 121, 0);
    vyrStrcpy(row.szDescription, u"Agenda: figures, forecast; bring the minutes.");
    vyrStrcpy(row.szLocation, u"Building 4, room 2.17");
    row.cAllDayEvent = u'N';
    vyrUTime_Set(&row.utStartTime, 2024, short(1 + i % 12), short(1 + i % 28), 9, 0, 0, nullptr);
    vyrUTime_Set(&row.utEndTime, 2024, short(1 + i % 12), short(1 + i % 28), 10, 0, 0, nullptr);
    row.cToDoTask = u'0';
    row.cCompletedFlag = u'0';
    ZeroMathNumeric(&row.mnLeadTime);
    row.cAlarmFlag = u'0';
    row.cPrivateFlag = u'N';
    row.cPIMFlag = u'1';
    vyrUTime_Copy(&row.utUpdateTime, &changed);
    ok = VDB_InsertTable(request, &row) == VDB_SUCCESS;
  }
  VDB_CloseTable(request);
  ok = ok && VDB_CommitUser(user) == VDB_SUCCESS;
  VDB_FreeUser(user);
  return ok;
}

// Runs one document; the seconds it took, or -1 when it did not answer as expected.
double timed(LPBHVRCOM context, const std::string &request, const char *expect) {
  const auto start = Clock::now();
  const vyr::PimSyncOutcome outcome = vyr::runPimSync(context, vyr::fromUtf8(request));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (outcome.status != vyr::PimSyncOutcome::Status::Ran || outcome.code == ER_ERROR ||
      vyr::toUtf8(outcome.response).find(expect) == std::string::npos) {
    std::fprintf(stderr, "unexpected answer to %s: %s\n", request.substr(0, 120).c_str(),
                 vyr::toUtf8(outcome.response).substr(0, 300).c_str());
    return -1;
  }
  return seconds;
}

struct FullSync {
  double count = 1e9, details = 1e9, end = 1e9, xml = 0;
  double total() const { return count + details + end; }
};

// The writer of getdetails alone over every appointment of U, as an initial run sends them; the seconds it
// took, or -1 when the table could not be read or a record not written.
double timeXml(LPBHVRCOM context, int n) {
  std::vector<B90CA701_RECORD> records;
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  if (VDB_InitUser(context, &user, nullptr, 1) != VDB_SUCCESS) return -1;
  if (VDB_OpenTable(user, u"F01301", 1, kColumns, DSACTIVITY_COLUMN_COUNT, nullptr, &request) == VDB_SUCCESS &&
      VDB_SelectKeyed(request, 1, nullptr, 0) == VDB_SUCCESS) {
    B90CA701_RECORD record{};
    record.cKind = B90CA701_STAGED_ACTIVITY;
    while (VDB_Fetch(request, &record.activity, 0) == VDB_SUCCESS) {
      vyrUTime_SetToNull(&record.activity.utPIMTimestamp);
      records.push_back(record);
    }
    VDB_CloseTable(request);
  }
  VDB_FreeUser(user);
  if (int(records.size()) != n) return -1;
  B90CA701_CONTEXT writer{};
  writer.lpBhvrCom = context;
  vyrStrcpy(writer.szRecordName, u"APPT");
  vyrStrcpy(writer.sync.szSyncAnchor, u"20240301120000Z");
  B90CA701_TEXT text = {nullptr, 0, 0};
  const auto start = Clock::now();
  bool ok = true;
  for (const B90CA701_RECORD &record : records) ok = ok && B90CA701_AddRecordDetailsToXML(&writer, &text, &record);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  ok = ok && text.lpszText != nullptr && vyr::toUtf8(text.lpszText).find("<APPT uid=\"APPT-0\"") != std::string::npos;
  vyrFree(text.lpszText);
  return ok ? seconds : -1;
}

bool fullSync(int n, FullSync *best, double *putBest) {
  for (int round = 0; round < 3; ++round) {
    Database db;
    if (!load(db, n, round)) return false;
    const std::string total = "totalRecs=\"" + std::to_string(n) + "\"";
    const double count = timed(db.context, document("getcount", kAllFromStart), total.c_str());
    const double details = timed(db.context, document("getdetails", kAllFromStart), total.c_str());
    const double end = timed(db.context, document("endsync", "<ENDSYNC SyncResult=\"Success\"/>"), "<PIMRESP/>");
    if (count < 0 || details < 0 || end < 0) return false;
    const double xml = timeXml(db.context, n);
    if (xml < 0) return false;
    if (count + details + end < best->total()) *best = {count, details, end, xml};
    if (putBest == nullptr) continue;
    // 200 changes to appointments the client now holds.
    std::string changes;
    for (int i = 0; i < 200; ++i)
      changes += "<APPT uid=\"APPT-" + std::to_string(i * (n / 200)) +
                 "\" requestedEvent=\"Modify\" subject=\"Moved by the client\" startDate=\"20240301\" "
                 "startTime=\"1400\" endDate=\"20240301\" endTime=\"1500\"/>";
    const double put =
        timed(db.context, document("putmodified", "<PUTINFO numRecsToWrite=\"200\">" + changes + "</PUTINFO>"),
              "numRecsWritten=\"200\"");
    if (put < 0) return false;
    *putBest = std::min(*putBest, put);
  }
  return true;
}

}  // namespace

// Sizes may be named on the command line (e.g. to profile one); by default 1,000, 10,000 and 50,000.
int main(int argc, char **argv) {
  std::vector<int> sizes = {1000, 10000, 50000};
  if (argc > 1) sizes.clear();
  for (int i = 1; i < argc; ++i) sizes.push_back(std::max(200, std::atoi(argv[i])));
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
  std::printf("%-12s %12s %12s %12s %10s %10s %14s\n", "appointments", "full sync s", "getcount s", "getdetails s",
              "tables s", "xml s", "us/appointment");
  double putBest = 1e9;
  std::vector<std::pair<int, double>> perAppointment;
  for (int n : sizes) {
    FullSync best;
    if (!fullSync(n, &best, n == 10000 ? &putBest : nullptr)) {
      std::fprintf(stderr, "the sync of %d appointments failed\n", n);
      return 1;
    }
    perAppointment.emplace_back(n, best.total() * 1e6 / n);
    std::printf("%-12d %12.3f %12.3f %12.3f %10.3f %10.3f %14.1f\n", n, best.total(), best.count, best.details,
                best.total() - best.xml, best.xml, best.total() * 1e6 / n);
  }
  std::printf(
      "getcount reads the tables (the selection and one read per activity); getdetails builds the XML and\n"
      "writes one update per record sent. xml is the record writer alone over the same appointments;\n"
      "tables is the full sync less xml.\n");
  if (perAppointment.size() > 1)
    std::printf("cost per appointment at %d over that at %d: %.2f\n", perAppointment.back().first,
                perAppointment.front().first, perAppointment.back().second / perAppointment.front().second);
  if (putBest < 1e9) std::printf("putmodified of 200 changes into 10,000 appointments: %.3f s\n", putBest);
  return 0;
}
