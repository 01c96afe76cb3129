// Numbers drawn by eight processes at once from one database, on SQLite and
// on PostgreSQL: unique-key blocks, the first row of a new object name,
// X0010GetNextNumber, and address numbers while another process fills the
// address book. Nothing may be handed out twice, and nothing may be lost.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "db/db_fixture.h"
#include "frame/companions.h"
#include "nextnumbers/B0001010.h"
#include "nextnumbers/B0100094.h"
#include "nextnumbers/nextnumbertables.h"

extern char **environ;
extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

namespace {

using Lines = std::vector<std::vector<long long>>;

constexpr int kProcesses = 8;
constexpr int kBlockCalls = 500;
constexpr int kAddressCalls = 200;
constexpr int kCounterCalls = 250;
constexpr int kFirstRowKeys = 3;
constexpr int kFirstRowNames = 5;  // new names taken one after another: more chances to collide

long long nowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void registerCatalogs() {
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
}

MATH_NUMERIC number(long long value) { return dbtest::number(std::to_string(value)); }
long long value(const MATH_NUMERIC &m) { return std::stoll(dbtest::text(m)); }

ID callByName(LPBHVRCOM context, const char *function, void *ds) {
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(std::string_view(function));
  return entry == nullptr ? ER_ERROR : vyr::callFunction(context, *entry, ds);
}

// The F0002 counter of "01", index 1, as a handle of its own reads it.
long long addressCounter(HUSER user) {
  HREQUEST request = nullptr;
  ROW_F0002 row{};
  KEY1_F0002 key{u"01"};
  const bool found = VDB_OpenTable(user, u"F0002", 1, nullptr, 0, nullptr, &request) == 1 &&
                     VDB_FetchKeyed(request, 1, &key, 1, &row, 0) == 1;
  VDB_CloseTable(request);
  return found ? value(row.mnNextNumber[0]) : -1;
}

// ---- The workers ---------------------------------------------------------------------------------

// Inserts F0101 rows just ahead of the address counter until `stop` reads end of file; one line
// "number time" per row inserted, the time taken after the insert returned.
int fillAddressBook(LPBHVRCOM context, int stop, std::ostream &out) {
  HUSER user = nullptr;
  HREQUEST addresses = nullptr;
  if (VDB_InitBhvr(context, &user, nullptr, 0) != 1 ||
      VDB_OpenTable(user, u"F0101", 1, kAddressNumberColumns, 1, nullptr, &addresses) != 1)
    return 1;
  pollfd stopped{stop, POLLIN, 0};
  while (poll(&stopped, 1, 2) == 0) {
    const long long next = addressCounter(user);
    for (long long ahead : {next + 1, next + 3}) {
      const KEY1_F0101 row{number(ahead)};
      if (VDB_InsertTable(addresses, &row) == 1) out << ahead << " " << nowNs() << "\n";
    }
  }
  VDB_FreeBhvr(user);
  return 0;
}

// One worker process's calls; each line of `out` is what one call handed out.
int work(const std::string &role, LPBHVRCOM context, int stop, std::ostream &out) {
  std::mt19937 random(static_cast<unsigned>(getpid()));
  int failures = 0;
  auto failed = [&](const char *what) {
    if (++failures == 1) std::fprintf(stderr, "race worker %d: %s failed\n", getpid(), what);
  };
  if (role == "blocks" || role == "firstrow") {
    const bool first = role == "firstrow";
    for (int i = 0; i < (first ? kFirstRowNames : kBlockCalls); ++i) {
      const long long keys = first ? kFirstRowKeys : static_cast<long long>(random() % 20 + 1);
      DSD0001010 ds{};
      dbtest::set(ds.szObjectName, first ? u"FIRST" + std::u16string(1, static_cast<char16_t>(u'1' + i)) : u"BLOCKS");
      ds.mnNumberOfKeys = number(keys);
      if (callByName(context, "GetDistributedNextNumber", &ds) == ER_SUCCESS)
        out << i << " " << value(ds.mnNextNumber) << " " << keys << "\n";
      else
        failed("GetDistributedNextNumber");
    }
  } else if (role == "counter") {
    for (int i = 0; i < kCounterCalls; ++i) {
      DSNEXTNUMBER ds{};
      dbtest::set(ds.szSystemCode, u"RC");
      ds.mnNextNumberingIndexNo = number(1);
      if (callByName(context, "X0010GetNextNumber", &ds) == ER_SUCCESS)
        out << value(ds.mnNextNumber) << "\n";
      else
        failed("X0010GetNextNumber");
    }
  } else if (role == "address") {
    for (int i = 0; i < kAddressCalls; ++i) {
      DSD0100094 ds{number(0), u'1', {}, u'0', u'1'};
      const long long started = nowNs();
      if (callByName(context, "GetAndValidateAddressBookNumber", &ds) == ER_SUCCESS)
        out << value(ds.mnAddressNumber) << " " << started << "\n";
      else
        failed("GetAndValidateAddressBookNumber");
    }
  } else if (role == "inserter") {
    failures = fillAddressBook(context, stop, out);
  } else {
    failed(role.c_str());
  }
  return failures == 0 ? 0 : 1;
}

// When the test below starts this program with NNRACE_ROLE set, it is one
// worker: it says it is ready, waits for the start, works and exits before
// any test runs, with 0 when every call succeeded.
const bool kWorkerProcess = [] {
  const char *role = std::getenv("NNRACE_ROLE");
  if (role == nullptr) return false;
  registerCatalogs();
  LPBHVRCOM context = vyr::createContext({{"env", "TEST"}, {"env.TEST", std::getenv("NNRACE_LOCATION")}});
  std::ofstream out(std::getenv("NNRACE_OUT"));
  const int ready = std::atoi(std::getenv("NNRACE_READY"));
  const int start = std::atoi(std::getenv("NNRACE_START"));
  // Connected and prepared before the start, so the workers' first calls meet.
  DSD0001010 warmUp{};
  dbtest::set(warmUp.szObjectName, u"WARMUP");
  warmUp.mnNumberOfKeys = number(1);
  char byte = 'r';
  if (context == nullptr || callByName(context, "GetDistributedNextNumber", &warmUp) != ER_SUCCESS ||
      write(ready, &byte, 1) != 1)
    std::_Exit(2);
  close(ready);
  if (read(start, &byte, 1) != 0) std::_Exit(2);  // end of file: go
  const int code = work(role, context, std::atoi(std::getenv("NNRACE_STOP")), out);
  out.close();
  vyr::freeContext(context);
  std::_Exit(out ? code : 2);
}();

// ---- The races -----------------------------------------------------------------------------------

class Races : public dbtest::DbTest {
 protected:
  static void SetUpTestSuite() { registerCatalogs(); }

  void SetUp() override {
    dbtest::DbTest::SetUp();
    out_ = (std::filesystem::temp_directory_path() / "nnraceXXXXXX").string();
    ASSERT_NE(mkdtemp(out_.data()), nullptr);
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(out_, ignored);
    dbtest::DbTest::TearDown();
  }

  // Runs one worker per role, all released at the same moment; an "inserter"
  // keeps going until the others have ended. TRUE when each exited with 0.
  bool race(const std::vector<std::string> &roles) {
    int ready[2], start[2], stop[2];
    if (pipe(ready) != 0 || pipe(start) != 0 || pipe(stop) != 0) return false;
    for (int parentEnd : {ready[0], start[1], stop[1]}) fcntl(parentEnd, F_SETFD, FD_CLOEXEC);
    std::vector<std::string> common = {"NNRACE_LOCATION=" + location_, "NNRACE_READY=" + std::to_string(ready[1]),
                                       "NNRACE_START=" + std::to_string(start[0]),
                                       "NNRACE_STOP=" + std::to_string(stop[0])};
    for (char **e = environ; *e != nullptr; ++e)
      if (std::strncmp(*e, "NNRACE_", 7) != 0) common.push_back(*e);
    std::vector<std::pair<pid_t, bool>> workers;  // pid, is the inserter
    for (size_t i = 0; i < roles.size(); ++i) {
      std::vector<std::string> variables = common;
      variables.push_back("NNRACE_ROLE=" + roles[i]);
      variables.push_back("NNRACE_OUT=" + out_ + "/" + roles[i] + "." + std::to_string(i));
      std::vector<char *> envp;
      for (std::string &v : variables) envp.push_back(v.data());
      envp.push_back(nullptr);
      char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
      pid_t child = 0;
      if (posix_spawn(&child, argv[0], nullptr, nullptr, argv, envp.data()) == 0)
        workers.emplace_back(child, roles[i] == "inserter");
    }
    close(ready[1]), close(start[0]), close(stop[0]);
    char byte;
    size_t started = 0;
    while (started < workers.size() && read(ready[0], &byte, 1) == 1) ++started;
    close(ready[0]);
    close(start[1]);  // go
    bool ok = workers.size() == roles.size() && started == roles.size();
    auto reap = [&](bool inserters) {
      for (const auto &[pid, inserter] : workers) {
        if (inserter != inserters) continue;
        int status = 0;
        ok = waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
      }
    };
    reap(false);
    close(stop[1]);
    reap(true);
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
        std::vector<long long> numbers;
        for (long long n; fields >> n;) numbers.push_back(n);
        all.push_back(numbers);
      }
    }
    return all;
  }

  // Blocks (first, count) of one name, sorted, must tile 1 .. next - 1 exactly.
  static void expectTiling(const Lines &lines, long long name, long long next) {
    Lines blocks;
    for (const auto &line : lines)
      if (line.size() == 3 && line[0] == name) blocks.push_back({line[1], line[2]});
    std::sort(blocks.begin(), blocks.end());
    long long expected = 1;
    for (const auto &block : blocks) {
      ASSERT_EQ(block[0], expected) << "a gap or an overlap before this block";
      expected += block[1];
    }
    EXPECT_EQ(expected, next);
  }

  void addSystem(const char16_t *system, long long counter) {
    ROW_F0002 row{};
    dbtest::set(row.szSystemCode, system);
    for (int i = 0; i < NEXTNUMBER_INDEXES; ++i) row.mnNextNumber[i] = number(i == 0 ? counter : 0), row.cCheckDigit[i] = u'N';
    HREQUEST request = open(u"F0002");
    EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
    VDB_CloseTable(request);
  }
  long long systemCounter(const char16_t *system) {
    HREQUEST request = open(u"F0002");
    ROW_F0002 row{};
    KEY1_F0002 key{};
    dbtest::set(key.szSystemCode, system);
    const long long counter = VDB_FetchKeyed(request, 1, &key, 1, &row, 0) == 1 ? value(row.mnNextNumber[0]) : -1;
    VDB_CloseTable(request);
    return counter;
  }

  std::string out_;
};

TEST_P(Races, UniqueKeyBlocksNeverOverlapAndCoverTheCounter) {
  ASSERT_TRUE(race(std::vector<std::string>(kProcesses, "blocks")));
  Lines blocks = lines("blocks");
  for (auto &block : blocks) block[0] = 0;  // one name: the call's position does not matter
  EXPECT_EQ(blocks.size(), static_cast<size_t>(kProcesses * kBlockCalls));
  expectTiling(blocks, 0, std::stoll(committed(u"BLOCKS")));
}

// The losers of the insert wait for the winner's row and take the next blocks.
TEST_P(Races, FirstRowOfANewNameIsCreatedOnceAndEveryCallerGetsABlock) {
  ASSERT_TRUE(race(std::vector<std::string>(kProcesses, "firstrow")));
  const Lines blocks = lines("firstrow");
  EXPECT_EQ(blocks.size(), static_cast<size_t>(kProcesses * kFirstRowNames));
  HREQUEST counters = open(u"F00022");
  for (int name = 0; name < kFirstRowNames; ++name) {
    expectTiling(blocks, name, kProcesses * kFirstRowKeys + 1);
    KEY1_F00022 key{};
    dbtest::set(key.szObjectName, u"FIRST" + std::u16string(1, static_cast<char16_t>(u'1' + name)));
    EXPECT_EQ(committed(key.szObjectName), std::to_string(kProcesses * kFirstRowKeys + 1));
    ROW_F00022 row{};
    int rows = 0;
    ASSERT_EQ(VDB_SelectKeyed(counters, 1, &key, 1), 1u);
    while (VDB_Fetch(counters, &row, 0) == 1) ++rows;
    EXPECT_EQ(rows, 1);
  }
}

TEST_P(Races, X0010HandsOutEveryNumberOnce) {
  addSystem(u"RC", 1);
  ASSERT_TRUE(race(std::vector<std::string>(kProcesses, "counter")));
  std::vector<long long> drawn;
  for (const auto &line : lines("counter")) drawn.push_back(line.at(0));
  std::sort(drawn.begin(), drawn.end());
  ASSERT_EQ(drawn.size(), static_cast<size_t>(kProcesses * kCounterCalls));
  for (size_t i = 0; i < drawn.size(); ++i) ASSERT_EQ(drawn[i], static_cast<long long>(i) + 1) << "duplicate or gap";
  EXPECT_EQ(systemCounter(u"RC"), kProcesses * kCounterCalls + 1);
}

// Every number the counter passed was either handed out once or was in the
// address book; none was handed out when its row had been there before the call began.
TEST_P(Races, AddressNumbersAreUniqueAndAbsentFromTheAddressBookWhileItFills) {
  addSystem(u"01", 1);
  std::map<long long, long long> inserted;  // number -> when its row was known to be there
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
  std::set<long long> drawn;
  for (const auto &line : lines("address")) {
    EXPECT_TRUE(drawn.insert(line.at(0)).second) << line[0] << " handed out twice";
    const auto row = inserted.find(line[0]);
    EXPECT_TRUE(row == inserted.end() || row->second > line.at(1)) << line[0] << " was in F0101 before the call";
  }
  EXPECT_EQ(drawn.size(), static_cast<size_t>(kProcesses * kAddressCalls));
  std::set<long long> inBook;
  KEY1_F0101 row{};
  ASSERT_EQ(VDB_SelectKeyed(addresses, 1, nullptr, 0), 1u);
  while (VDB_Fetch(addresses, &row, 0) == 1) inBook.insert(value(row.mnAddressNumber));
  const long long next = systemCounter(u"01");
  int skipped = 0;
  for (long long n = 1; n < next; ++n) {
    EXPECT_TRUE(drawn.count(n) == 1 || inBook.count(n) == 1) << n << " was lost";
    skipped += drawn.count(n) == 0;
  }
  EXPECT_GE(skipped, 20);  // at least the rows there from the start
}

INSTANTIATE_TEST_SUITE_P(Engines, Races, dbtest::engines(), dbtest::engineName);

}  // namespace
