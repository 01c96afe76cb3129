// Shared helpers of the table-layer tests: a fresh database per test on each
// engine, a context pointing at it, and small builders for the record forms.
#pragma once

#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "db/host.h"
#include "runtime/context.h"
#include "vyrdb.h"

namespace dbtest {

// A MATH_NUMERIC from text such as "-12.345" (digits, optional sign and point).
inline MATH_NUMERIC number(std::string_view text) {
  MATH_NUMERIC m{};
  const size_t point = text.find('.');
  for (size_t i = 0; i < text.size(); ++i)
    if (text[i] == '-')
      m.Sign = '-';
    else if (i != point)
      m.String[m.nLength++] = text[i];
  m.nDecimalPosition = static_cast<short>(point == text.npos ? 0 : text.size() - point - 1);
  return m;
}

// The text of a MATH_NUMERIC as number() reads it ("-12.345").
inline std::string text(const MATH_NUMERIC &m) {
  std::string digits(m.String, strnlen(m.String, sizeof m.String));
  const size_t d = static_cast<size_t>(m.nDecimalPosition);
  if (d > 0) {
    while (digits.size() <= d) digits.insert(digits.begin(), '0');
    digits.insert(digits.end() - static_cast<long>(d), '.');
  }
  return (m.Sign == '-' ? "-" : "") + digits;
}

template <size_t N>
void set(JCHAR (&field)[N], std::u16string_view value) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, value.data(), std::min(value.size(), N - 1) * sizeof(JCHAR));
}

template <size_t N>
std::u16string str(const JCHAR (&field)[N]) {
  size_t n = 0;
  while (n < N && field[n] != 0) ++n;
  return std::u16string(field, n);
}

inline SELECTSTRUCT entry(std::u16string_view column, int comparison, const void *value, int connector = VDB_AND) {
  SELECTSTRUCT e{};
  set(e.szColumn, column);
  e.nComparison = comparison, e.nAndOr = connector, e.lpValue = value;
  return e;
}

// True when some trace line of the context contains every fragment.
inline bool traced(LPBHVRCOM context, std::initializer_list<std::u16string_view> fragments) {
  for (const std::u16string &line : context->trace) {
    bool all = true;
    for (std::u16string_view f : fragments) all = all && line.find(f) != std::u16string::npos;
    if (all) return true;
  }
  return false;
}

#pragma pack(push, 1)
struct Counter {  // F00022, every column
  JCHAR obnm[11];
  MATH_NUMERIC ukid;
};
struct Party {  // F0101: AN8, ALPH, AT1, UPMJ
  MATH_NUMERIC an8;
  JCHAR alph[41], at1[4];
  VYRDATE upmj;
};
struct Rate {  // F0015: CRCD, CRDC, AN8, RTTYP, EFT (index 1 and 3, so a key record too), CRR
  JCHAR crcd[4], crdc[4];
  MATH_NUMERIC an8;
  JCHAR rttyp[3];
  VYRDATE eft;
  MATH_NUMERIC crr;
};
#pragma pack(pop)

inline Counter counter(std::u16string_view name, const char *value) {
  Counter c{};
  set(c.obnm, name);
  c.ukid = number(value);
  return c;
}
inline Party party(const char *an8, std::u16string_view name, std::u16string_view type = u"", VYRDATE updated = {}) {
  Party p{number(an8), {}, {}, updated};
  set(p.alph, name), set(p.at1, type);
  return p;
}
inline Rate rate(std::u16string_view from, std::u16string_view to, const char *an8, VYRDATE eft, const char *value) {
  Rate r{{}, {}, number(an8), {}, eft, number(value)};
  set(r.crcd, from), set(r.crdc, to), set(r.rttyp, u"  ");
  return r;
}

enum class Engine { Sqlite, Postgres };

inline auto engines() { return ::testing::Values(Engine::Sqlite, Engine::Postgres); }
inline std::string engineName(const ::testing::TestParamInfo<Engine> &info) {
  return info.param == Engine::Sqlite ? "Sqlite" : "Postgres";
}
inline void PrintTo(Engine engine, std::ostream *out) { *out << (engine == Engine::Sqlite ? "SQLite" : "PostgreSQL"); }

// Schemas of one test on the PostgreSQL server that FAMOFLAS_TEST_POSTGRES
// names, each a database of its own to the table layer (through search_path),
// dropped when the test ends.
class PgScratch {
 public:
  explicit PgScratch(std::string base) : base_(std::move(base)), admin_(PQconnectdb(base_.c_str())) {
    if (PQstatus(admin_) != CONNECTION_OK) error_ = "cannot connect to " + base_ + ": " + PQerrorMessage(admin_);
    PQsetNoticeProcessor(
        admin_, [](void *, const char *) {}, nullptr);
  }
  ~PgScratch() {
    run("SET lock_timeout = '20s'");  // a session left holding a lock must not hang the test
    for (const std::string &schema : schemas_) run("DROP SCHEMA IF EXISTS \"" + schema + "\" CASCADE");
    PQfinish(admin_);
  }
  PgScratch(const PgScratch &) = delete;
  PgScratch &operator=(const PgScratch &) = delete;

  const std::string &error() const { return error_; }

  // A new, empty schema; its location names it and tags its sessions with it.
  std::string newLocation() {
    static int counter = 0;
    const std::string schema = "vdbtest_" + std::to_string(getpid()) + "_" + std::to_string(++counter);
    if (!error_.empty() || !run("CREATE SCHEMA \"" + schema + "\"")) return {};
    schemas_.push_back(schema);
    const char *glue = base_.find('?') == std::string::npos ? "?" : "&";
    return base_ + glue + "options=-csearch_path%3D" + schema + "&application_name=" + schema;
  }
  static std::string schemaOf(const std::string &location) { return location.substr(location.rfind('=') + 1); }

  // Ends every server session working on the schema of `location` (as if the network failed); how many.
  int terminateSessions(const std::string &location) {
    const std::string sql = "SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity WHERE application_name = '" +
                            schemaOf(location) + "'";
    PGresult *result = PQexec(admin_, sql.c_str());
    const int ended = PQresultStatus(result) == PGRES_TUPLES_OK ? PQntuples(result) : -1;
    PQclear(result);
    return ended;
  }

  // The integers of a query's first column, one per row.
  std::vector<int> integers(const std::string &sql) {
    std::vector<int> values;
    PGresult *result = PQexec(admin_, sql.c_str());
    if (PQresultStatus(result) == PGRES_TUPLES_OK)
      for (int row = 0; row < PQntuples(result); ++row) values.push_back(std::atoi(PQgetvalue(result, row, 0)));
    else
      error_ = sql + ": " + PQerrorMessage(admin_);
    PQclear(result);
    return values;
  }

  // Runs statements on the server outside the table layer; false with error() set when they fail.
  bool run(const std::string &sql) {
    PGresult *result = PQexec(admin_, sql.c_str());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
    if (!ok) error_ = sql + ": " + PQerrorMessage(admin_);
    PQclear(result);
    return ok;
  }

 private:
  std::string base_;
  PGconn *admin_;
  std::vector<std::string> schemas_;
  std::string error_;
};

// A database of its own for each test (a file, or a schema on the PostgreSQL
// server) and a context whose environment is it. Every suite deriving from
// this runs once per engine.
class DbTest : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (postgres()) {
      const char *base = std::getenv("FAMOFLAS_TEST_POSTGRES");
      if (base == nullptr || *base == '\0')
        GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server (postgresql://...); scripts/test starts "
                        "one and sets it";
      pg_ = std::make_unique<PgScratch>(base);
      location_ = pg_->newLocation();
      ASSERT_FALSE(location_.empty()) << pg_->error();
    } else {
      std::string name = (std::filesystem::temp_directory_path() / "vdbtestXXXXXX").string();
      ASSERT_NE(mkdtemp(name.data()), nullptr);
      dir_ = name;
      location_ = dir_ + "/test.db";
      std::string error;
      ASSERT_TRUE(vyr::db::initDatabase(location_, &error)) << error;
    }
    context_ = newContext();
    ASSERT_EQ(VDB_InitBhvr(context_, &user_, nullptr, 0), 1u);
  }

  void TearDown() override {
    if (user_) VDB_FreeBhvr(user_);
    for (LPBHVRCOM c : extraContexts_) vyr::freeContext(c);
    if (context_) vyr::freeContext(context_);
    vyr::db::closeUnusedEnvironments();
    pg_.reset();
    std::error_code ignored;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ignored);
  }

  bool postgres() const { return GetParam() == Engine::Postgres; }

  // Another empty database of the test's engine.
  std::string otherLocation() {
    if (postgres()) return pg_->newLocation();
    std::string error;
    EXPECT_TRUE(vyr::db::initDatabase(dir_ + "/other.db", &error)) << error;
    return dir_ + "/other.db";
  }
  // A location of the test's engine where no database can be opened.
  std::string unreachableLocation() const {
    return postgres() ? "postgresql://nobody:secret@/nowhere?host=" + std::filesystem::temp_directory_path().string() +
                            "/no-such-socket-dir&connect_timeout=2&password=secret"
                      : dir_ + "/missing/dir/x.db";
  }
  // Runs SQL on the test's database behind the table layer's back.
  bool rawSql(const std::string &sql) {
    if (postgres()) return pg_->run("SET search_path = \"" + PgScratch::schemaOf(location_) + "\"; " + sql);
    sqlite3 *db = nullptr;
    const bool ok = sqlite3_open(location_.c_str(), &db) == SQLITE_OK &&
                    sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
  }

  LPBHVRCOM newContext(std::map<std::string, std::string> settings = {}) {
    settings.emplace("env", "TEST");
    settings.emplace("env.TEST", location_);
    std::string error;
    LPBHVRCOM context = vyr::createContext(settings, &error);
    EXPECT_NE(context, nullptr) << error;
    return context;
  }
  // A context freed at tear-down.
  LPBHVRCOM extraContext(std::map<std::string, std::string> settings = {}) {
    extraContexts_.push_back(newContext(std::move(settings)));
    return extraContexts_.back();
  }
  // A behaviour handle (commit mode -1) or user handle on a context of its own, freed with it.
  HUSER newUser(int commitMode = -1, std::map<std::string, std::string> settings = {}) {
    HUSER user = nullptr;
    LPBHVRCOM context = extraContext(std::move(settings));
    EXPECT_EQ(
        commitMode < 0 ? VDB_InitBhvr(context, &user, nullptr, 0) : VDB_InitUser(context, &user, nullptr, commitMode),
        1u);
    return user;
  }

  static inline const std::vector<std::u16string> kPartyColumns = {u"AN8", u"ALPH", u"AT1", u"UPMJ"};
  static inline const std::vector<std::u16string> kRateColumns = {u"CRCD", u"CRDC", u"AN8", u"RTTYP", u"EFT", u"CRR"};
  HREQUEST open(const char16_t *table, ID index = 1, std::vector<std::u16string> columns = {}, HUSER user = nullptr) {
    std::vector<NID> list(columns.size());
    for (size_t i = 0; i < columns.size(); ++i) set(list[i], columns[i]);
    HREQUEST request = nullptr;
    EXPECT_EQ(VDB_OpenTable(user ? user : user_, table, index, columns.empty() ? nullptr : list.data(),
                            static_cast<ID>(columns.size()), nullptr, &request),
              1u);
    return request;
  }

  // What a scan from the key returns, one description per row, in order.
  template <typename Row>
  std::vector<std::string> scan(HREQUEST request, ID index, const std::function<std::string(const Row &)> &describe,
                                const void *key = nullptr, short keys = 0) {
    std::vector<std::string> out;
    EXPECT_EQ(VDB_SelectKeyed(request, index, key, keys), 1u);
    Row row{};
    while (VDB_Fetch(request, &row, 0) == 1) out.push_back(describe(row));
    return out;
  }

  // A counter's value as a handle of its own sees it (committed state); "none" when missing.
  std::string committed(std::u16string_view name) {
    HUSER user = newUser();
    HREQUEST counters = open(u"F00022", 1, {}, user);
    const std::u16string key(name);
    Counter c{};
    const std::string value = VDB_FetchKeyed(counters, 1, key.c_str(), 1, &c, 0) == 1 ? text(c.ukid) : "none";
    VDB_FreeBhvr(user);
    return value;
  }
  void addCounter(std::u16string_view name, const char *value) {
    HREQUEST counters = open(u"F00022");
    const Counter c = counter(name, value);
    EXPECT_EQ(VDB_InsertTable(counters, &c), 1u);
    VDB_CloseTable(counters);
  }

  std::string dir_, location_;
  std::unique_ptr<PgScratch> pg_;
  LPBHVRCOM context_ = nullptr;
  HUSER user_ = nullptr;
  std::vector<LPBHVRCOM> extraContexts_;
};

}  // namespace dbtest
