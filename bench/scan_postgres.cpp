// Memory of long scans on PostgreSQL: VDB_SelectKeyed + VDB_Fetch over every
// row of F0101, once with 10,000 rows in the table and once with 1,000,000,
// each row read into the same record. For each it prints the rows seen, the
// time per row and the peak resident memory of the process during the scan,
// above what it held before (Linux VmHWM, reset just before the scan). A scan
// that holds its rows in pages needs about the same memory for both; one that
// holds all its rows needs a hundred times more for the second.
//
// Needs a server: FAMOFLAS_BENCH_POSTGRES=postgresql://... (scripts/bench-postgres
// starts a throw-away one). Works in a schema of its own, dropped at the end.
#include <libpq-fe.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "db/host.h"
#include "runtime/context.h"
#include "vdb_rows.h"
#include "vyrdb.h"

namespace {

using vdbbench::AddressRow;

[[noreturn]] void die(const std::string &message) {
  std::fprintf(stderr, "bench_scan_postgres: %s\n", message.c_str());
  std::exit(1);
}

bool run(PGconn *conn, const std::string &sql) {
  PGresult *result = PQexec(conn, sql.c_str());
  const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
  if (!ok) std::fprintf(stderr, "%s: %s", sql.c_str(), PQerrorMessage(conn));
  PQclear(result);
  return ok;
}

// A line of /proc/self/status ("VmHWM", "VmRSS") in kilobytes.
long statusKb(const std::string &field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.compare(0, field.size() + 1, field + ":") == 0) return std::atol(line.c_str() + field.size() + 1);
  return -1;
}

struct Scan {
  long rows = 0;
  double nsPerRow = 0;
  long beforeKb = 0;  // resident memory before the scan
  long peakKb = 0;    // the peak during it, above beforeKb
};

Scan scanAll(HREQUEST addresses) {
  // Writing 5 to clear_refs starts the peak (VmHWM) again from the current resident size.
  std::ofstream("/proc/self/clear_refs") << "5";
  Scan scan;
  scan.beforeKb = statusKb("VmRSS");
  const auto start = std::chrono::steady_clock::now();
  if (VDB_SelectKeyed(addresses, 1, nullptr, 0) != VDB_SUCCESS) die("cannot start the scan");
  AddressRow row{};
  ID result;
  while ((result = VDB_Fetch(addresses, &row, 0)) == VDB_SUCCESS) ++scan.rows;
  if (result != VDB_NOT_FOUND) die("the scan failed after " + std::to_string(scan.rows) + " rows");
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  scan.nsPerRow = seconds * 1e9 / static_cast<double>(scan.rows);
  scan.peakKb = statusKb("VmHWM") - scan.beforeKb;
  return scan;
}

}  // namespace

int main() {
  const char *server = std::getenv("FAMOFLAS_BENCH_POSTGRES");
  if (server == nullptr || *server == '\0')
    die("FAMOFLAS_BENCH_POSTGRES names no server (postgresql://...); scripts/bench-postgres starts one");
  PGconn *admin = PQconnectdb(server);
  if (PQstatus(admin) != CONNECTION_OK) die(std::string("cannot connect: ") + PQerrorMessage(admin));
  PQsetNoticeProcessor(
      admin, [](void *, const char *) {}, nullptr);
  const std::string schema = "scanbench_" + std::to_string(getpid());
  const std::string location = std::string(server) + (std::string(server).find('?') == std::string::npos ? "?" : "&") +
                               "options=-csearch_path%3D" + schema;
  std::string error;
  if (!run(admin, "CREATE SCHEMA \"" + schema + "\"") || !vyr::db::initDatabase(location, &error))
    die("cannot set up the schema: " + error);
  LPBHVRCOM context = vyr::createContext({{"env", "BENCH"}, {"env.BENCH", location}}, &error);
  HUSER user = nullptr;
  HREQUEST addresses = nullptr;
  if (context == nullptr || VDB_InitBhvr(context, &user, nullptr, 0) != VDB_SUCCESS ||
      VDB_OpenTable(user, u"F0101", 1, nullptr, 0, nullptr, &addresses) != VDB_SUCCESS)
    die("cannot open F0101: " + error);

  std::printf("VDB scan of every F0101 row on PostgreSQL, one record reused for every row\n");
  long loaded = 0;
  long peaks[2] = {0, 0};
  for (long rows : {10000L, 1000000L}) {
    // The rows the benchmark rows of vdb_rows.h have, added by the server itself.
    const std::string insert =
        "INSERT INTO \"" + schema +
        "\".\"F0101\" (\"AN8\", \"ALKY\", \"TAX\", \"ALPH\", \"AT1\", \"MCU\", \"USER\", "
        "\"PID\", \"UPMJ\") SELECT g, 'K' || g, 'TX' || (g * 7), 'Customer number ' || g, 'C', 'BU' || (g % 50), "
        "'LOADER', 'BENCH', date '2024-01-01' + (g % 365) FROM generate_series(" +
        std::to_string(loaded + 1) + ", " + std::to_string(rows) + ") g";
    if (!run(admin, insert) || !run(admin, "ANALYZE \"" + schema + "\".\"F0101\"")) die("cannot load the rows");
    loaded = rows;
    const Scan scan = scanAll(addresses);
    if (scan.rows != rows) die("the scan saw " + std::to_string(scan.rows) + " of " + std::to_string(rows) + " rows");
    std::printf("  %8ld rows: %6.0f ns per row, peak memory during the scan %7.1f MB above the %.1f MB before it\n",
                scan.rows, scan.nsPerRow, static_cast<double>(scan.peakKb) / 1024.0,
                static_cast<double>(scan.beforeKb) / 1024.0);
    peaks[rows == 1000000L] = scan.beforeKb + scan.peakKb;
  }
  std::printf("  peak resident memory, 1,000,000-row scan / 10,000-row scan: %.2f (100 times the rows)\n",
              static_cast<double>(peaks[1]) / static_cast<double>(peaks[0] > 0 ? peaks[0] : 1));
  VDB_CloseTable(addresses);
  VDB_FreeBhvr(user);
  vyr::freeContext(context);
  vyr::db::closeUnusedEnvironments();
  run(admin, "DROP SCHEMA \"" + schema + "\" CASCADE");
  PQfinish(admin);
  return 0;
}
