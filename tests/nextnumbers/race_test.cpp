// Numbers drawn by eight processes at once from one database, on SQLite and
// on PostgreSQL: unique-key blocks of a new object name, X0010GetNextNumber,
// and address numbers while another process fills the address book. Nothing
// may be handed out twice, and nothing may be lost.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "db/db_fixture.h"
#include "frame/companions.h"
#include "nextnumbers/B0001010.h"
#include "nextnumbers/B0100094.h"
#include "unicode/jchar_utf8.h"

extern char **environ;
extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

using Lines = std::vector<std::vector<long long>>;

constexpr int kProcesses = 8;
// Calls per worker process of each role.
const std::map<std::string, int> kCalls = {{"blocks", 500}, {"counter", 250}, {"address", 200}};

long long nowNs() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
MATH_NUMERIC number(long long value) { return dbtest::number(std::to_string(value)); }
long long value(const MATH_NUMERIC &m) { return std::stoll(dbtest::text(m)); }

void registerCatalogs() {
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
}

bool callByName(LPBHVRCOM context, const char *function, void *ds) {
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
  return entry != nullptr && vyr::callFunction(context, *entry, ds) == ER_SUCCESS;
}

bool takeBlock(LPBHVRCOM context, std::u16string_view name, long long keys, long long *first) {
  DSD0001010 ds{};
  dbtest::set(ds.szObjectName, name);
  ds.mnNumberOfKeys = number(keys);
  const bool taken = callByName(context, "GetDistributedNextNumber", &ds);
  *first = value(ds.mnNextNumber);
  return taken;
}

// The i-th call of a worker: the line it writes, empty when the call failed.
std::vector<long long> drawOnce(const std::string &role, LPBHVRCOM context, int i) {
  long long first = 0;
  if (role == "blocks") {
    const long long keys = (i * 7 + getpid()) % 20 + 1;
    if (takeBlock(context, u"BLOCKS", keys, &first)) return {first, keys};
  } else if (role == "counter") {
    DSNEXTNUMBER ds{};
    dbtest::set(ds.szSystemCode, u"RC");
    ds.mnNextNumberingIndexNo = number(1);
    if (callByName(context, "X0010GetNextNumber", &ds)) return {value(ds.mnNextNumber)};
  } else if (role == "address") {
    DSD0100094 ds{number(0), u'1', {}, u'0', u'1'};
    const long long started = nowNs();
    if (callByName(context, "GetAndValidateAddressBookNumber", &ds)) return {value(ds.mnAddressNumber), started};
  }
  return {};
}

// Inserts F0101 rows just ahead of the address counter until `stop` reads end of file;
// writes "number time" per row, the time taken after the insert returned.
bool fillAddressBook(LPBHVRCOM context, int stop, std::ostream &out) {
  HUSER user = nullptr;
  HREQUEST addresses = nullptr, counters = nullptr;
  if (VDB_InitBhvr(context, &user, nullptr, 0) != 1 ||
      VDB_OpenTable(user, u"F0101", 1, kAddressNumberColumns, 1, nullptr, &addresses) != 1 ||
      VDB_OpenTable(user, u"F0002", 1, nullptr, 0, nullptr, &counters) != 1)
    return false;
  pollfd stopped{stop, POLLIN, 0};
  const KEY1_F0002 key{u"01"};
  for (ROW_F0002 row{}; poll(&stopped, 1, 2) == 0 && VDB_FetchKeyed(counters, 1, &key, 1, &row, 0) == 1;) {
    for (long long ahead : {1, 3}) {
      const KEY1_F0101 address{number(value(row.mnNextNumber[0]) + ahead)};
      if (VDB_InsertTable(addresses, &address) == 1) out << value(address.mnAddressNumber) << " " << nowNs() << "\n";
    }
  }
  VDB_FreeBhvr(user);
  return true;
}

// When the test below starts this program with NNRACE_ROLE set, it is one
// worker: connected and prepared, it says it is ready, waits for the start,
// works and exits before any test runs, with 0 when every call succeeded.
const bool kWorkerProcess = [] {
  const char *role = std::getenv("NNRACE_ROLE");
  if (role == nullptr) return false;
  registerCatalogs();
  LPBHVRCOM context = vyr::createContext({{"env", "TEST"}, {"env.TEST", std::getenv("NNRACE_LOCATION")}});
  std::ofstream out(std::getenv("NNRACE_OUT"));
  const int ready = std::atoi(std::getenv("NNRACE_READY")), start = std::atoi(std::getenv("NNRACE_START"));
  long long warmUp = 0;
  char byte = 'r';
  // A name of its own: the warm-up does not race for a first row.
  const std::u16string warmUpName = u"W" + vyr::fromUtf8(std::to_string(getpid()));
  if (context == nullptr || !takeBlock(context, warmUpName, 1, &warmUp) || write(ready, &byte, 1) != 1 ||
      close(ready) != 0 || read(start, &byte, 1) != 0)  // end of file: go
    std::_Exit(2);
  bool ok = true;
  if (std::string(role) == "inserter") ok = fillAddressBook(context, std::atoi(std::getenv("NNRACE_STOP")), out);
  for (int i = 0; kCalls.count(role) && i < kCalls.at(role); ++i) {
    const std::vector<long long> line = drawOnce(role, context, i);
    if (line.empty() && ok) std::fprintf(stderr, "race worker %d: %s call %d failed\n", getpid(), role, i);
    ok = ok && !line.empty();
    for (size_t n = 0; n < line.size(); ++n) out << line[n] << (n + 1 < line.size() ? " " : "\n");
  }
  out.close();
  vyr::freeContext(context);
  std::_Exit(ok && out ? 0 : 1);
}();

class Races : public dbtest::DbTest {
 protected:
  static void SetUpTestSuite() { registerCatalogs(); }
  void SetUp() override {
    dbtest::DbTest::SetUp();
    out_ = (std::filesystem::temp_directory_path() / "nnraceXXXXXX").string();
    ASSERT_NE(mkdtemp(out_.data()), nullptr);
  }
  void TearDown() override {
    std::filesystem::remove_all(out_);
    dbtest::DbTest::TearDown();
  }

  // Runs one worker per role, all released at the same moment (right after
  // beforeStart); an "inserter" goes on until the others have ended.
  // whileRunning runs meanwhile. TRUE when each exited with 0.
  bool race(
      const std::vector<std::string> &roles, const std::function<void()> &beforeStart = [] {},
      const std::function<void()> &whileRunning = [] {}) {
    int ready[2], start[2], stop[2];
    if (pipe(ready) != 0 || pipe(start) != 0 || pipe(stop) != 0) return false;
    for (int parentEnd : {ready[0], start[1], stop[1]}) fcntl(parentEnd, F_SETFD, FD_CLOEXEC);
    std::vector<std::pair<pid_t, bool>> workers;  // pid, is the inserter
    const std::map<std::string, std::string> common = {{"NNRACE_LOCATION", location_},
                                                       {"NNRACE_READY", std::to_string(ready[1])},
                                                       {"NNRACE_START", std::to_string(start[0])},
                                                       {"NNRACE_STOP", std::to_string(stop[0])}};
    for (const auto &[name, value] : common) setenv(name.c_str(), value.c_str(), 1);
    for (size_t i = 0; i < roles.size(); ++i) {
      setenv("NNRACE_ROLE", roles[i].c_str(), 1);
      setenv("NNRACE_OUT", (out_ + "/" + roles[i] + "." + std::to_string(i)).c_str(), 1);
      char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
      pid_t child = 0;
      if (posix_spawn(&child, argv[0], nullptr, nullptr, argv, environ) == 0)
        workers.emplace_back(child, roles[i] == "inserter");
    }
    for (const char *name :
         {"NNRACE_LOCATION", "NNRACE_READY", "NNRACE_START", "NNRACE_STOP", "NNRACE_ROLE", "NNRACE_OUT"})
      unsetenv(name);
    close(ready[1]), close(start[0]), close(stop[0]);
    char byte;
    size_t started = 0;
    while (started < workers.size() && read(ready[0], &byte, 1) == 1) ++started;
    beforeStart();
    close(ready[0]), close(start[1]);  // go
    whileRunning();
    bool ok = started == roles.size();
    for (bool inserters : {false, true}) {
      if (inserters) close(stop[1]);
      for (const auto &[pid, inserter] : workers) {
        int status = 0;
        if (inserter == inserters)
          ok = waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
      }
    }
    return ok;
  }

  // The numbers of every line the workers of a role wrote.
  Lines lines(const std::string &role) const {
    Lines all;
    for (const auto &file : std::filesystem::directory_iterator(out_)) {
      if (file.path().filename().string().rfind(role + ".", 0) != 0) continue;
      std::ifstream in(file.path());
      for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        all.emplace_back(std::istream_iterator<long long>(fields), std::istream_iterator<long long>());
      }
    }
    return all;
  }

  // Sessions on the test's PostgreSQL schema that wait for a lock.
  int lockWaiters() {
    PGconn *conn = PQconnectdb(location_.c_str());
    const std::string sql =
        "SELECT count(*) FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND "
        "application_name = '" +
        dbtest::PgScratch::schemaOf(location_) + "'";
    PGresult *result = PQexec(conn, sql.c_str());
    const int waiting = PQresultStatus(result) == PGRES_TUPLES_OK ? std::atoi(PQgetvalue(result, 0, 0)) : -1;
    PQclear(result);
    PQfinish(conn);
    return waiting;
  }

  // The F0002 counter of index 1 of a system; with an initial value, a new row holding it first.
  long long counterOf(const char16_t *system, long long initial = -1) {
    HREQUEST request = open(u"F0002");
    ROW_F0002 row{};
    KEY1_F0002 key{};
    dbtest::set(key.szSystemCode, system);
    dbtest::set(row.szSystemCode, system);
    row.mnNextNumber[0] = number(initial);
    if (initial >= 0) {
      EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
    }
    const long long counter = VDB_FetchKeyed(request, 1, &key, 1, &row, 0) == 1 ? value(row.mnNextNumber[0]) : -1;
    VDB_CloseTable(request);
    return counter;
  }

  std::string out_;
};

// The name has no row yet. On PostgreSQL its first insert is held up until
// every worker has found no row and tries to insert it: one insert wins and
// the losers take the next blocks from the winner's row, so every call succeeds.
TEST_P(Races, UniqueKeyBlocksOfANewNameNeverOverlapAndCoverTheCounter) {
  auto holdInserts = [&] { ASSERT_TRUE(!postgres() || rawSql("BEGIN; LOCK TABLE \"F00022\" IN SHARE MODE")); };
  int waiting = kProcesses;
  auto releaseWhenAllWait = [&] {
    if (!postgres()) return;
    for (int tries = 0; tries < 300 && (waiting = lockWaiters()) < kProcesses; ++tries) usleep(100000);
    EXPECT_TRUE(rawSql("COMMIT"));  // in any case, or the workers would wait for good
  };
  ASSERT_TRUE(race(std::vector<std::string>(kProcesses, "blocks"), holdInserts, releaseWhenAllWait));
  EXPECT_EQ(waiting, kProcesses) << "not every worker tried the first insert at once";
  Lines blocks = lines("blocks");
  EXPECT_EQ(blocks.size(), static_cast<size_t>(kProcesses * kCalls.at("blocks")));
  std::sort(blocks.begin(), blocks.end());
  long long expected = 1;
  for (const auto &block : blocks) {
    ASSERT_EQ(block.at(0), expected) << "a gap or an overlap before this block";
    expected += block.at(1);
  }
  EXPECT_EQ(std::to_string(expected), committed(u"BLOCKS"));
}

TEST_P(Races, X0010HandsOutEveryNumberOnce) {
  counterOf(u"RC", 1);
  ASSERT_TRUE(race(std::vector<std::string>(kProcesses, "counter")));
  std::vector<long long> drawn;
  for (const auto &line : lines("counter")) drawn.push_back(line.at(0));
  std::sort(drawn.begin(), drawn.end());
  ASSERT_EQ(drawn.size(), static_cast<size_t>(kProcesses * kCalls.at("counter")));
  for (size_t i = 0; i < drawn.size(); ++i) ASSERT_EQ(drawn[i], static_cast<long long>(i) + 1) << "duplicate or gap";
  EXPECT_EQ(counterOf(u"RC"), static_cast<long long>(drawn.size()) + 1);
}

// Every number the counter passed was either handed out once or is in the
// address book; none was handed out when its row was there before the call began.
TEST_P(Races, AddressNumbersAreUniqueAndAbsentFromTheAddressBookWhileItFills) {
  counterOf(u"01", 1);
  std::map<long long, long long> inserted;  // number -> when its row was there
  HREQUEST addresses = open(u"F0101", 1, {u"AN8"});
  for (long long n = 5; n <= 100; n += 5) {
    const KEY1_F0101 row{number(n)};
    ASSERT_EQ(VDB_InsertTable(addresses, &row), 1u);
    inserted[n] = 0;
  }
  std::vector<std::string> roles(kProcesses, "address");
  roles.push_back("inserter");
  ASSERT_TRUE(race(roles));

  for (const auto &line : lines("inserter")) inserted[line.at(0)] = line.at(1);
  std::set<long long> drawn, inBook;
  for (const auto &line : lines("address")) {
    EXPECT_TRUE(drawn.insert(line.at(0)).second) << line[0] << " handed out twice";
    const auto row = inserted.find(line[0]);
    EXPECT_TRUE(row == inserted.end() || row->second > line.at(1)) << line[0] << " was in F0101 before the call";
  }
  EXPECT_EQ(drawn.size(), static_cast<size_t>(kProcesses * kCalls.at("address")));
  ASSERT_EQ(VDB_SelectKeyed(addresses, 1, nullptr, 0), 1u);
  for (KEY1_F0101 row{}; VDB_Fetch(addresses, &row, 0) == 1;) inBook.insert(value(row.mnAddressNumber));
  int skipped = 0;
  for (long long n = 1, next = counterOf(u"01"); n < next; ++n) {
    EXPECT_TRUE(drawn.count(n) == 1 || inBook.count(n) == 1) << n << " was lost";
    skipped += drawn.count(n) == 0;
  }
  EXPECT_GE(skipped, 20);  // at least the rows there from the start
}

INSTANTIATE_TEST_SUITE_P(Engines, Races, dbtest::engines(), dbtest::engineName);

}  // namespace
