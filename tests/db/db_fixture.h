// Shared helpers of the table-layer tests: a fresh database per test on each
// engine, a context pointing at it, and small builders for the record forms.
#pragma once

#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "db/host.h"
#include "runtime/context.h"
#include "vyrdb.h"

namespace dbtest {

// A MATH_NUMERIC from text such as "-12.345" (digits, optional sign and point).
inline MATH_NUMERIC number(const std::string &text) {
  MATH_NUMERIC m{};
  size_t i = 0;
  if (!text.empty() && text[0] == '-') m.Sign = '-', i = 1;
  short decimals = 0;
  bool point = false;
  size_t n = 0;
  for (; i < text.size(); ++i) {
    if (text[i] == '.') {
      point = true;
      continue;
    }
    m.String[n++] = text[i];
    if (point) ++decimals;
  }
  m.nLength = static_cast<unsigned char>(n);
  m.nDecimalPosition = decimals;
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

inline void setName(NID &nid, std::u16string_view name) { set(nid, name); }

// True when some trace line of the context contains every fragment.
inline bool traced(LPBHVRCOM context, std::initializer_list<std::u16string_view> fragments) {
  for (const std::u16string &line : context->trace) {
    bool all = true;
    for (std::u16string_view f : fragments) all = all && line.find(f) != std::u16string::npos;
    if (all) return true;
  }
  return false;
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
  explicit PgScratch(std::string base) : base_(std::move(base)) {
    admin_ = PQconnectdb(base_.c_str());
    if (PQstatus(admin_) != CONNECTION_OK) error_ = "cannot connect to " + base_ + ": " + PQerrorMessage(admin_);
    PQsetNoticeProcessor(
        admin_, [](void *, const char *) {}, nullptr);
  }
  ~PgScratch() {
    if (error_.empty()) {
      // A session left holding a lock must not hang the test.
      run("SET lock_timeout = '20s'");
      for (const std::string &schema : schemas_) run("DROP SCHEMA IF EXISTS \"" + schema + "\" CASCADE");
    }
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

  // Ends every server session working on the schema of `location` (as if the network failed); how many.
  int terminateSessions(const std::string &location) {
    const std::string schema = location.substr(location.rfind('=') + 1);
    const std::string sql =
        "SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity WHERE application_name = '" + schema + "'";
    PGresult *result = PQexec(admin_, sql.c_str());
    const int ended = PQresultStatus(result) == PGRES_TUPLES_OK ? PQntuples(result) : -1;
    PQclear(result);
    return ended;
  }

  // Runs a statement on the server outside the table layer; false with error() set when it fails.
  bool run(const std::string &sql) {
    PGresult *result = PQexec(admin_, sql.c_str());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
    if (!ok) error_ = sql + ": " + PQerrorMessage(admin_);
    PQclear(result);
    return ok;
  }

 private:
  std::string base_;
  PGconn *admin_ = nullptr;
  std::vector<std::string> schemas_;
  std::string error_;
};

// A database of its own for each test (a file, or a schema on the PostgreSQL
// server) and a context whose environment is it. Every suite deriving from
// this runs once per engine.
class DbTest : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (GetParam() == Engine::Postgres) {
      const char *base = std::getenv("FAMOFLAS_TEST_POSTGRES");
      if (base == nullptr || *base == '\0')
        GTEST_SKIP() << "FAMOFLAS_TEST_POSTGRES names no PostgreSQL server (postgresql://...); scripts/test starts "
                        "one and sets it";
      pg_ = std::make_unique<PgScratch>(base);
      location_ = pg_->newLocation();
      ASSERT_FALSE(location_.empty()) << pg_->error();
    } else {
      const std::string base = (std::filesystem::temp_directory_path() / "vdbtestXXXXXX").string();
      std::vector<char> name(base.begin(), base.end());
      name.push_back('\0');
      ASSERT_NE(mkdtemp(name.data()), nullptr);
      dir_ = name.data();
      location_ = dir_ + "/test.db";
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
  std::string otherLocation() { return postgres() ? pg_->newLocation() : dir_ + "/other.db"; }
  // A location of the test's engine where no database can be opened.
  std::string unreachableLocation() const {
    return postgres() ? "postgresql://nobody:secret@/nowhere?host=" + std::filesystem::temp_directory_path().string() +
                            "/no-such-socket-dir&connect_timeout=2&password=secret"
                      : dir_ + "/missing/dir/x.db";
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

  HREQUEST open(const char16_t *table, ID index = 1, std::vector<std::u16string> columns = {}) {
    std::vector<NID> list(columns.size());
    for (size_t i = 0; i < columns.size(); ++i) setName(list[i], columns[i]);
    HREQUEST request = nullptr;
    EXPECT_EQ(VDB_OpenTable(user_, table, index, columns.empty() ? nullptr : list.data(),
                            static_cast<ID>(columns.size()), nullptr, &request),
              1u);
    return request;
  }

  std::string dir_, location_;
  std::unique_ptr<PgScratch> pg_;
  LPBHVRCOM context_ = nullptr;
  HUSER user_ = nullptr;
  std::vector<LPBHVRCOM> extraContexts_;
};

}  // namespace dbtest
