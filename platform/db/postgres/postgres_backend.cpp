#include "db/postgres/postgres_backend.h"

#include <libpq-fe.h>

#include <poll.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "db/values.h"

namespace vyr::db {
namespace {

// Oids of the built-in types (fixed in every server).
constexpr Oid kBool = 16, kBytea = 17, kInt8 = 20, kInt2 = 21, kInt4 = 23, kText = 25, kBpchar = 1042, kVarchar = 1043,
              kDate = 1082, kTimestamp = 1114, kTimestampTz = 1184, kNumeric = 1700;

// The binary date and timestamp forms count from 2000-01-01.
constexpr int64_t kEpochDays = 10957;  // 1970-01-01 to 2000-01-01
constexpr int64_t kEpochMicros = kEpochDays * 86400 * 1000000;
// Timestamps the server accepts, in microseconds since 2000: 4714-11-24 BC to 294277-01-01.
constexpr int64_t kMinTimestamp = -211813488000000000;
constexpr int64_t kEndTimestamp = 9223371331200000000;
// The binary forms of the dates -infinity (the null date here) and infinity.
constexpr int32_t kDateMinusInfinity = std::numeric_limits<int32_t>::min();
constexpr int32_t kDateInfinity = std::numeric_limits<int32_t>::max();

// How long a statement waits for another session's lock before failing (as SQLite's busy wait).
constexpr int kLockTimeoutMs = 30000;

// Rows a scan's cursor hands over per round trip: what a scan holds in memory, whatever its size.
constexpr int kScanPage = 500;

// Key of the advisory lock held while tables are created.
constexpr int64_t kSchemaLockKey = 0x46414d4f464c4153;  // "FAMOFLAS"

uint64_t readBigEndian(const char *data, int bytes) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8 | static_cast<unsigned char>(data[i]);
  return value;
}

void putBigEndian(std::string &out, uint64_t value, int bytes) {
  out.resize(static_cast<size_t>(bytes));
  for (int i = bytes - 1; i >= 0; --i, value >>= 8) out[static_cast<size_t>(i)] = static_cast<char>(value & 0xff);
}

__extension__ typedef __int128 Wide;

Wide powerOfTen(int exponent) {
  Wide p = 1;
  while (exponent-- > 0) p *= 10;
  return p;
}

// value * 10^decimals of a NUMERIC in binary form: digit groups of base 10000,
// the first one worth 10000^weight. Digits below the decimals are dropped
// (a column's values have none); what would not fit 64 bits saturates.
int64_t decodeNumeric(const char *data, int length, unsigned decimals) {
  if (length < 8) return 0;
  const auto groups = static_cast<int>(readBigEndian(data, 2));
  const auto weight = static_cast<int16_t>(readBigEndian(data + 2, 2));
  const auto sign = static_cast<uint16_t>(readBigEndian(data + 4, 2));
  if (sign != 0x0000 && sign != 0x4000) return 0;  // NaN and the infinities have no exact value
  if (length < 8 + 2 * groups) return 0;
  const Wide limit = std::numeric_limits<int64_t>::max();
  Wide sum = 0;
  for (int i = 0; i < groups; ++i) {
    const auto group = static_cast<Wide>(readBigEndian(data + 8 + ptrdiff_t{2} * i, 2));
    const int exponent = 4 * (weight - i) + static_cast<int>(decimals);
    if (exponent >= 0)
      sum += exponent > 19 ? limit + 1 : group * powerOfTen(exponent);
    else if (exponent > -4)
      sum += group / powerOfTen(-exponent);
    if (sum > limit) {
      sum = limit;
      break;
    }
  }
  return static_cast<int64_t>(sign == 0x4000 ? -sum : sum);
}

// "-123.4500000": scaled / 10^decimals in decimal notation.
std::string numberText(int64_t scaled, unsigned decimals) {
  uint64_t magnitude = scaled < 0 ? 0 - static_cast<uint64_t>(scaled) : static_cast<uint64_t>(scaled);
  std::string digits = std::to_string(magnitude);
  if (decimals > 0) {
    if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
    digits.insert(digits.size() - decimals, 1, '.');
  }
  return scaled < 0 ? "-" + digits : digits;
}

bool isTextType(Oid type) { return type == kText || type == kVarchar || type == kBpchar; }

std::string trimmed(const char *message) {
  std::string text = message ? message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

ErrorKind kindOf(const char *state) {
  if (state == nullptr) return ErrorKind::Other;
  const std::string_view code(state);
  if (code == "23505") return ErrorKind::Constraint;  // unique violation
  // Deadlock, serialization failure, lock not available.
  if (code == "40P01" || code == "40001" || code == "55P03") return ErrorKind::Busy;
  if (code == "57014") return ErrorKind::Timeout;  // cancelled: the statement timeout
  return ErrorKind::Other;
}

bool succeeded(const PGresult *result) {
  const ExecStatusType status = PQresultStatus(result);
  return result != nullptr && (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
}

// The message of a failed result, with its detail.
std::string messageOf(const PGresult *result) {
  const char *primary = result ? PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY) : nullptr;
  if (primary == nullptr) return {};
  std::string message = primary;
  if (const char *detail = PQresultErrorField(result, PG_DIAG_MESSAGE_DETAIL))
    message += " (" + std::string(detail) + ")";
  return message;
}

// A cursor a scan declared on the session. A held one outlives the
// transaction that declared it if that commits; any other dies with it.
struct Cursor {
  std::string name;
  bool hold = false;
  bool inTransaction = false;  // declared in the transaction still open
  bool alive = false;          // exists on the server
  bool closing = false;        // its CLOSE goes with the next round trip
};

// One command of a round trip.
struct Command {
  enum class Kind { Prepare, Describe, Execute, Query } kind = Kind::Query;
  const char *name = nullptr;  // statement name (Prepare, Describe, Execute)
  const char *sql = nullptr;   // text (Prepare, Query: a single statement)
  int count = 0;
  const char *const *values = nullptr;
  const int *lengths = nullptr, *formats = nullptr;
};

using Clock = std::chrono::steady_clock;

// What a connection and its statements share; the connection owns the PGconn.
// Everything goes through libpq's asynchronous calls with a deadline, so a
// server that stops answering fails the statement instead of blocking.
struct Session {
  PGconn *conn = nullptr;  // null once the connection closed
  ConnectOptions options;
  std::string error;
  ErrorKind kind = ErrorKind::None;
  uint64_t statementCount = 0;
  bool unusable = false;  // the protocol state is unknown after a send that failed halfway, or the server went silent

  // Round trips saved on transactions: BEGIN waits for the next statement and
  // goes with it; a COMMIT asked for goes right after the next statement.
  bool beginPending = false;
  bool commitPending = false;
  int commitOutcome = 0;  // of a COMMIT that went along: 1 done, -1 failed (commitError says why), 0 none
  std::string commitError;

  std::vector<std::shared_ptr<Cursor>> transactionCursors;  // declared in the open transaction
  std::vector<std::shared_ptr<Cursor>> closes;              // to close with the next round trip

  void noteError(std::string message, ErrorKind errorKind) {
    error = std::move(message);
    kind = errorKind;
  }

  // The server cancels a statement at the statement timeout; one that has
  // said nothing some seconds later is gone (stopped, unreachable).
  Clock::time_point deadline() const { return Clock::now() + std::chrono::seconds(options.statementSeconds + 5); }

  void transactionEnded(bool committed) {
    for (const std::shared_ptr<Cursor> &cursor : transactionCursors) {
      if (committed && cursor->hold)
        cursor->inTransaction = false;
      else
        cursor->alive = false;
    }
    transactionCursors.clear();
    std::erase_if(closes, [](const std::shared_ptr<Cursor> &cursor) { return !cursor->alive; });
  }

  // Takes the failure of a result (or of the connection when there is none),
  // frees the result, and rolls back a transaction the failure aborted: the
  // server would refuse every further statement in it anyway.
  void fail(PGresult *result) {
    std::string message = messageOf(result);
    if (!message.empty()) {
      const char *state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
      noteError(std::move(message), kindOf(state));
    } else if (!unusable) {
      message = conn ? trimmed(PQerrorMessage(conn)) : std::string("the connection is closed");
      noteError(message.empty() ? "unknown database error" : message, ErrorKind::Other);
    }
    PQclear(result);
    commitOutcome = 0;
    if (conn && !unusable && PQstatus(conn) == CONNECTION_OK && PQtransactionStatus(conn) == PQTRANS_INERROR) {
      PQclear(exec("ROLLBACK"));
      transactionEnded(false);
    }
  }

  // Runs one simple query (several statements allowed) outside a pipeline;
  // its last result, or the first failed one; null when the server did not answer.
  PGresult *exec(const char *sql) {
    if (!usable()) return nullptr;
    if (PQsendQuery(conn, sql) != 1) return sendFailed();
    return collect(deadline());
  }

  // Sends the commands in one round trip: the CLOSEs due first (a segment
  // of their own, so one that fails spoils nothing else), then a pending
  // BEGIN, the commands, and a pending COMMIT (its outcome in commitOutcome;
  // neither goes along without `carryTransaction`). Each command's first
  // result lands in results; false (error noted) when the round trip itself
  // failed: nothing could be sent or the server went silent.
  bool roundTrip(const std::vector<Command> &commands, std::vector<PGresult *> &results, bool carryTransaction = true) {
    results.assign(commands.size(), nullptr);
    if (!usable()) return false;
    const bool withBegin = carryTransaction && beginPending, withCommit = carryTransaction && commitPending;
    if (carryTransaction) beginPending = commitPending = false;
    std::vector<std::shared_ptr<Cursor>> closing;
    closing.swap(closes);
    if (PQenterPipelineMode(conn) != 1) {
      noteError("cannot talk to the server: " + trimmed(PQerrorMessage(conn)), ErrorKind::Other);
      return false;
    }
    bool sent = true;
    for (const std::shared_ptr<Cursor> &cursor : closing) sent = sent && sendQuery(("CLOSE " + cursor->name).c_str());
    if (!closing.empty()) sent = sent && PQpipelineSync(conn) == 1;
    if (withBegin) sent = sent && sendQuery("BEGIN");
    for (const Command &command : commands) sent = sent && send(command);
    if (withCommit) sent = sent && sendQuery("COMMIT");
    sent = sent && PQpipelineSync(conn) == 1;
    if (!sent) {
      sendFailed();
      return false;
    }
    const Clock::time_point until = deadline();
    // A CLOSE that fails finds the cursor gone already: either way it is no more.
    for (const std::shared_ptr<Cursor> &cursor : closing) {
      PQclear(queryResult(until));
      cursor->alive = cursor->closing = false;
    }
    if (!closing.empty()) PQclear(queryResult(until));  // the sync
    PGresult *begin = withBegin ? queryResult(until) : nullptr;
    for (PGresult *&result : results) result = queryResult(until);
    PGresult *commit = withCommit ? queryResult(until) : nullptr;
    PQclear(queryResult(until));  // the sync
    if (unusable) {
      PQclear(begin), PQclear(commit);
      for (PGresult *&result : results) PQclear(result), result = nullptr;
      return false;
    }
    if (PQexitPipelineMode(conn) != 1) unusable = true;
    // A BEGIN that failed explains why the commands did not run.
    if (withBegin && !succeeded(begin) && !results.empty() && !succeeded(results[0])) std::swap(begin, results[0]);
    PQclear(begin);
    if (withCommit) {
      const bool committed = succeeded(commit) && std::strcmp(PQcmdStatus(commit), "COMMIT") == 0;
      commitOutcome = committed ? 1 : -1;
      commitError = committed ? std::string() : messageOf(commit);
      if (!committed && commitError.empty()) commitError = "the transaction had failed and was rolled back";
      PQclear(commit);
      transactionEnded(committed);
    }
    return true;
  }

  // Sends a pending BEGIN on its own (before a statement that cannot go with it).
  bool flushBegin() {
    if (!beginPending) return true;
    beginPending = false;
    PGresult *result = exec("BEGIN");
    if (!succeeded(result)) {
      fail(result);
      return false;
    }
    PQclear(result);
    return true;
  }

 private:
  bool usable() {
    if (conn != nullptr && !unusable) return true;
    if (!unusable) noteError("the connection is closed", ErrorKind::Other);
    return false;
  }

  PGresult *sendFailed() {
    unusable = true;
    noteError("cannot send to the server: " + trimmed(PQerrorMessage(conn)), ErrorKind::Other);
    return nullptr;
  }

  // The server said nothing in time: the connection is given up.
  PGresult *silent() {
    unusable = true;
    noteError("the database server did not answer within " + std::to_string(options.statementSeconds + 5) +
                  " s; the connection was given up",
              ErrorKind::Other);
    return nullptr;
  }

  bool sendQuery(const char *sql) {
    return PQsendQueryParams(conn, sql, 0, nullptr, nullptr, nullptr, nullptr, 1) == 1;
  }

  bool send(const Command &c) {
    switch (c.kind) {
      case Command::Kind::Prepare:
        return PQsendPrepare(conn, c.name, c.sql, 0, nullptr) == 1;
      case Command::Kind::Describe:
        return PQsendDescribePrepared(conn, c.name) == 1;
      case Command::Kind::Execute:
        return PQsendQueryPrepared(conn, c.name, c.count, c.values, c.lengths, c.formats, 1) == 1;
      case Command::Kind::Query:
        return sendQuery(c.sql);
    }
    return false;
  }

  // Waits until the socket is readable (or writable, with `write`): 1 ready, 0 the deadline passed, -1 it failed.
  int wait(Clock::time_point until, bool write) {
    for (;;) {
      pollfd socket{PQsocket(conn), static_cast<short>(POLLIN | (write ? POLLOUT : 0)), 0};
      if (socket.fd < 0) return -1;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
      if (left <= 0) return 0;
      const int ready = poll(&socket, 1, static_cast<int>(std::min<int64_t>(left, 60000)));
      if (ready > 0) return 1;
      if (ready < 0 && errno != EINTR) return -1;
    }
  }

  // The next result of what was sent, waiting no longer than until; null at
  // the end of a query's results, or when the server went silent (unusable).
  PGresult *next(Clock::time_point until) {
    for (int flushed; (flushed = PQflush(conn)) != 0;) {
      if (flushed < 0) break;  // the result says what went wrong
      const int ready = wait(until, true);
      if (ready == 0) return silent();
      if (ready < 0 || PQconsumeInput(conn) != 1) break;
    }
    while (PQisBusy(conn) == 1) {
      const int ready = wait(until, false);
      if (ready == 0) return silent();
      if (ready < 0 || PQconsumeInput(conn) != 1) break;
    }
    return PQgetResult(conn);
  }

  // The first result of the next query of a pipeline; the rest of its results are dropped.
  PGresult *queryResult(Clock::time_point until) {
    if (unusable) return nullptr;
    PGresult *first = next(until);
    if (first == nullptr || PQresultStatus(first) == PGRES_PIPELINE_SYNC) return first;
    while (PGresult *more = next(until)) PQclear(more);
    return first;
  }

  // The results of a query sent outside a pipeline: the last one, or the first that failed.
  PGresult *collect(Clock::time_point until) {
    PGresult *kept = nullptr;
    while (PGresult *result = next(until)) {
      if (kept != nullptr && !succeeded(kept)) {
        PQclear(result);
      } else {
        PQclear(kept);
        kept = result;
      }
    }
    if (!unusable) return kept;
    PQclear(kept);
    return nullptr;
  }
};

class PgStatement final : public Statement {
 public:
  // `cursor`: the statement declares it, and its rows come a page at a time.
  PgStatement(std::shared_ptr<Session> session, std::string name, std::vector<Oid> types,
              std::shared_ptr<Cursor> cursor = nullptr)
      : session_(std::move(session)),
        name_(std::move(name)),
        types_(std::move(types)),
        params_(types_.size()),
        cursor_(std::move(cursor)) {
    if (cursor_) fetchSql_ = "FETCH " + std::to_string(kScanPage) + " FROM " + cursor_->name;
  }
  // The server keeps the prepared statement for its session; it goes with the connection.
  ~PgStatement() override {
    PQclear(result_);
    closeCursor();
  }
  PgStatement(const PgStatement &) = delete;
  PgStatement &operator=(const PgStatement &) = delete;

  void bindNull(int position) override {
    if (Param *p = param(position)) p->clear();
  }

  void bindInt(int position, int64_t value) override {
    Param *p = param(position);
    if (p == nullptr) return;
    p->clear();
    switch (type(position)) {
      case kInt2:
      case kInt4:
      case kInt8: {
        const int bytes = type(position) == kInt8 ? 8 : type(position) == kInt4 ? 4 : 2;
        const int64_t limit = bytes == 8 ? std::numeric_limits<int64_t>::max() : (int64_t{1} << (8 * bytes - 1)) - 1;
        if (value > limit || value < -limit - 1) {
          p->error = std::to_string(value) + " does not fit placeholder $" + std::to_string(position);
          return;
        }
        p->setBinary();
        putBigEndian(p->data, static_cast<uint64_t>(value), bytes);
        return;
      }
      default:
        p->setText(std::to_string(value));
    }
  }

  void bindText(int position, std::string_view utf8) override {
    Param *p = param(position);
    if (p == nullptr) return;
    p->clear();
    if (isTextType(type(position))) {
      p->setBinary();  // the binary form of text is its bytes
      p->data.assign(utf8);
    } else if (utf8.find('\0') != std::string_view::npos) {
      p->error = "text with a NUL character for placeholder $" + std::to_string(position);
    } else {
      p->setText(std::string(utf8));
    }
  }

  void bindBlob(int position, const void *data, size_t size) override {
    Param *p = param(position);
    if (p == nullptr) return;
    p->clear();
    if (type(position) != kBytea) {
      p->error = "bytes for placeholder $" + std::to_string(position) + ", which is not a binary column";
      return;
    }
    p->setBinary();
    p->data.assign(static_cast<const char *>(data), size);
  }

  void bindNumber(int position, int64_t scaled, unsigned decimals) override {
    if (Param *p = param(position)) {
      p->clear();
      p->setText(numberText(scaled, decimals));
    }
  }

  void bindDate(int position, int64_t yyyymmdd) override {
    Param *p = param(position);
    if (p == nullptr) return;
    p->clear();
    if (yyyymmdd == kNullDate) {
      if (type(position) != kDate) {
        p->setText("-infinity");
        return;
      }
      p->setBinary();
      putBigEndian(p->data, static_cast<uint32_t>(kDateMinusInfinity), 4);
      return;
    }
    using namespace std::chrono;
    const year_month_day ymd{year{static_cast<int>(yyyymmdd / 10000)},
                             month{static_cast<unsigned>(yyyymmdd / 100 % 100)},
                             day{static_cast<unsigned>(yyyymmdd % 100)}};
    if (!ymd.ok()) {
      p->error = std::to_string(yyyymmdd) + " is not a calendar date";
      return;
    }
    if (type(position) != kDate) {
      char text[16];
      std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(ymd.year()),
                    static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()));
      p->setText(text);
      return;
    }
    const int64_t sinceY2k = sys_days(ymd).time_since_epoch().count() - kEpochDays;
    p->setBinary();
    putBigEndian(p->data, static_cast<uint64_t>(sinceY2k), 4);
  }

  void bindTimestamp(int position, int64_t micros) override {
    Param *p = param(position);
    if (p == nullptr) return;
    p->clear();
    if (type(position) != kTimestampTz && type(position) != kTimestamp) {
      p->setText(std::to_string(micros));
      return;
    }
    // Checked here so an impossible instant fails alone instead of aborting a transaction on the server.
    const bool inRange = micros >= kMinTimestamp + kEpochMicros && micros - kEpochMicros < kEndTimestamp;
    if (!inRange) {
      p->error =
          "timestamp " + std::to_string(micros) + " (microseconds since 1970) is outside what the database holds";
      return;
    }
    p->setBinary();
    putBigEndian(p->data, static_cast<uint64_t>(micros - kEpochMicros), 8);
  }

  StepResult step() override {
    if (!executed_) {
      executed_ = true;
      failed_ = !execute();
      row_ = -1;
    }
    if (failed_) return StepResult::Error;
    if (result_ != nullptr && row_ + 1 < rows_) {
      ++row_;
      return StepResult::Row;
    }
    // A full page: the cursor may hold more.
    if (cursor_ && result_ != nullptr && rows_ == kScanPage) {
      PQclear(result_);
      result_ = nullptr;
      rows_ = 0;
      row_ = -1;
      failed_ = !take(Command{Command::Kind::Query, nullptr, fetchSql_.c_str()});
      if (failed_) return StepResult::Error;
      if (rows_ > 0) {
        row_ = 0;
        return StepResult::Row;
      }
    }
    row_ = rows_;
    return StepResult::Done;
  }

  bool isNull(int column) override { return !valid(column) || PQgetisnull(result_, row_, column); }

  int64_t readInt(int column) override {
    if (isNull(column)) return 0;
    const char *data = PQgetvalue(result_, row_, column);
    const int length = PQgetlength(result_, row_, column);
    switch (PQftype(result_, column)) {
      case kBool:
        return length == 1 && data[0] != 0;
      case kInt2:
        return length == 2 ? static_cast<int16_t>(readBigEndian(data, 2)) : 0;
      case kInt4:
        return length == 4 ? static_cast<int32_t>(readBigEndian(data, 4)) : 0;
      case kInt8:
        return length == 8 ? static_cast<int64_t>(readBigEndian(data, 8)) : 0;
      case kNumeric:
        return decodeNumeric(data, length, 0);
      default:
        return 0;
    }
  }

  std::string_view readText(int column) override { return bytes(column); }
  std::string_view readBlob(int column) override { return bytes(column); }

  int64_t readNumber(int column, unsigned decimals) override {
    if (isNull(column)) return 0;
    if (PQftype(result_, column) == kNumeric)
      return decodeNumeric(PQgetvalue(result_, row_, column), PQgetlength(result_, row_, column), decimals);
    return static_cast<int64_t>(readInt(column) * powerOfTen(static_cast<int>(decimals)));
  }

  int64_t readDate(int column) override {
    if (isNull(column)) return 0;
    if (PQftype(result_, column) != kDate) return readInt(column);
    if (PQgetlength(result_, row_, column) != 4) return 0;
    using namespace std::chrono;
    const auto sinceY2k = static_cast<int32_t>(readBigEndian(PQgetvalue(result_, row_, column), 4));
    if (sinceY2k == kDateMinusInfinity || sinceY2k == kDateInfinity) return kNullDate;
    const year_month_day ymd{sys_days{} + days{int64_t{sinceY2k} + kEpochDays}};
    const int y = static_cast<int>(ymd.year());
    if (y < 1 || y > 9999) return kNullDate;  // years a VYRDATE cannot hold read as no date
    return int64_t{y} * 10000 + int64_t{static_cast<unsigned>(ymd.month())} * 100 + static_cast<unsigned>(ymd.day());
  }

  int64_t readTimestamp(int column) override {
    if (isNull(column)) return 0;
    const Oid type = PQftype(result_, column);
    if (type != kTimestampTz && type != kTimestamp) return readInt(column);
    if (PQgetlength(result_, row_, column) != 8) return 0;
    const auto sinceY2k = static_cast<int64_t>(readBigEndian(PQgetvalue(result_, row_, column), 8));
    if (sinceY2k > std::numeric_limits<int64_t>::max() - kEpochMicros) return std::numeric_limits<int64_t>::max();
    return sinceY2k + kEpochMicros;
  }

  void reset() override {
    PQclear(result_);
    result_ = nullptr;
    closeCursor();
    executed_ = false;
    failed_ = false;
    rows_ = 0;
    row_ = -1;
  }

  int64_t changes() override { return changes_; }

 private:
  struct Param {
    bool null = true;
    bool binary = false;
    std::string data;
    std::string error;  // why the value bound here cannot be sent
    void clear() { null = true, binary = false, data.clear(), error.clear(); }
    void setBinary() { null = false, binary = true; }
    void setText(std::string text) { null = false, binary = false, data = std::move(text); }
  };

  Param *param(int position) {
    if (position < 1 || static_cast<size_t>(position) > params_.size()) {
      outOfRange_ = "no placeholder $" + std::to_string(position) + " in the statement";
      return nullptr;
    }
    return &params_[static_cast<size_t>(position) - 1];
  }
  Oid type(int position) const { return types_[static_cast<size_t>(position) - 1]; }

  bool valid(int column) const {
    return result_ != nullptr && row_ >= 0 && row_ < rows_ && column >= 0 && column < PQnfields(result_);
  }
  std::string_view bytes(int column) {
    if (isNull(column)) return {};
    return std::string_view(PQgetvalue(result_, row_, column), static_cast<size_t>(PQgetlength(result_, row_, column)));
  }

  bool execute() {
    rows_ = 0;
    changes_ = 0;
    // A value that cannot be sent fails here, before the server sees anything.
    if (!outOfRange_.empty()) {
      session_->noteError(outOfRange_, ErrorKind::Other);
      return false;
    }
    for (const Param &p : params_)
      if (!p.error.empty()) {
        session_->noteError(p.error, ErrorKind::Other);
        return false;
      }
    if (session_->conn == nullptr) {
      session_->noteError("the connection is closed", ErrorKind::Other);
      return false;
    }
    const size_t n = params_.size();
    values_.resize(n);
    lengths_.resize(n);
    formats_.resize(n);
    for (size_t i = 0; i < n; ++i) {
      const Param &p = params_[i];
      values_[i] = p.null ? nullptr : p.data.c_str();
      lengths_[i] = static_cast<int>(p.data.size());
      formats_[i] = p.binary ? 1 : 0;
    }
    const Command run{Command::Kind::Execute, name_.c_str(),   nullptr,        static_cast<int>(n),
                      values_.data(),         lengths_.data(), formats_.data()};
    if (!cursor_) return take(run);
    // The cursor is declared and its first page fetched in one round trip.
    closeCursor();
    std::vector<PGresult *> results;
    if (!session_->roundTrip({run, Command{Command::Kind::Query, nullptr, fetchSql_.c_str()}}, results)) return false;
    if (!succeeded(results[0])) {
      PQclear(results[1]);
      session_->fail(results[0]);
      return false;
    }
    PQclear(results[0]);
    cursor_->alive = true;
    cursor_->inTransaction = PQtransactionStatus(session_->conn) == PQTRANS_INTRANS;
    if (cursor_->inTransaction) session_->transactionCursors.push_back(cursor_);
    return took(results[1]);
  }

  // Runs one command and takes its result.
  bool take(const Command &command) {
    std::vector<PGresult *> results;
    return session_->roundTrip({command}, results) && took(results[0]);
  }

  bool took(PGresult *result) {
    result_ = result;
    switch (PQresultStatus(result_)) {
      case PGRES_TUPLES_OK:
        rows_ = PQntuples(result_);
        return true;
      case PGRES_COMMAND_OK:
        std::from_chars(PQcmdTuples(result_), PQcmdTuples(result_) + std::strlen(PQcmdTuples(result_)), changes_);
        return true;
      default:
        session_->fail(result_);
        result_ = nullptr;
        return false;
    }
  }

  // A cursor the server still has is closed with the session's next round trip.
  void closeCursor() {
    if (!cursor_ || !cursor_->alive || cursor_->closing) return;
    cursor_->closing = true;
    session_->closes.push_back(cursor_);
  }

  std::shared_ptr<Session> session_;
  std::string name_;
  std::vector<Oid> types_;
  std::vector<Param> params_;
  std::shared_ptr<Cursor> cursor_;
  std::string fetchSql_;
  std::string outOfRange_;
  std::vector<const char *> values_;
  std::vector<int> lengths_, formats_;
  PGresult *result_ = nullptr;
  bool executed_ = false, failed_ = false;
  int rows_ = 0, row_ = -1;
  int64_t changes_ = 0;
};

class PgConnection final : public Connection {
 public:
  PgConnection(PGconn *conn, const ConnectOptions &options) : session_(std::make_shared<Session>()) {
    session_->conn = conn;
    session_->options = options;
  }
  ~PgConnection() override {
    PQfinish(session_->conn);
    session_->conn = nullptr;
  }
  PgConnection(const PgConnection &) = delete;
  PgConnection &operator=(const PgConnection &) = delete;

  std::unique_ptr<Statement> prepare(const std::string &sql) override { return prepared(sql, nullptr); }

  // The select is declared as a cursor: held past commits unless it locks rows (which the server does not allow).
  std::unique_ptr<Statement> prepareScan(const std::string &sql, bool locksRows) override {
    auto cursor = std::make_shared<Cursor>();
    cursor->name = "vdb" + std::to_string(session_->statementCount + 1) + "c";
    cursor->hold = !locksRows;
    const std::string declare =
        "DECLARE " + cursor->name + " NO SCROLL CURSOR " + (cursor->hold ? "WITH HOLD " : "") + "FOR " + sql;
    return prepared(declare, std::move(cursor));
  }

  bool opened(const ConnectOptions &options) const override { return session_->options == options; }

  bool execute(const std::string &sql) override {
    if (!session_->flushBegin()) return false;
    PGresult *result = session_->exec(sql.c_str());
    if (!succeeded(result)) {
      session_->fail(result);
      return false;
    }
    PQclear(result);
    return true;
  }

  // Row locks come with SELECT ... FOR UPDATE: the BEGIN goes with the first statement.
  bool beginWrite() override {
    if (inTransaction()) {
      session_->noteError("a transaction is already open", ErrorKind::Other);
      return false;
    }
    session_->beginPending = true;
    return true;
  }

  void commitWithNextStatement() override { session_->commitPending = true; }

  bool commit() override {
    Session &s = *session_;
    s.commitPending = false;
    if (s.commitOutcome != 0) {
      const bool committed = s.commitOutcome > 0;
      s.commitOutcome = 0;
      if (!committed) s.noteError(s.commitError, ErrorKind::Other);
      return committed;
    }
    if (s.beginPending) {  // nothing ran in it
      s.beginPending = false;
      return true;
    }
    PGresult *result = s.exec("COMMIT");
    if (!succeeded(result)) {
      s.fail(result);
      s.transactionEnded(false);
      return false;
    }
    // COMMIT of a transaction that had failed rolls it back and says so.
    const bool committed = std::strcmp(PQcmdStatus(result), "COMMIT") == 0;
    PQclear(result);
    s.transactionEnded(committed);
    if (!committed) s.noteError("the transaction had failed and was rolled back", ErrorKind::Other);
    return committed;
  }

  bool rollback() override {
    Session &s = *session_;
    s.commitPending = false;
    s.commitOutcome = 0;
    if (s.beginPending) {
      s.beginPending = false;
      return true;
    }
    const bool rolledBack = execute("ROLLBACK");
    s.transactionEnded(false);
    return rolledBack;
  }
  std::string lastError() override { return session_->error; }
  ErrorKind lastErrorKind() override { return session_->kind; }

  bool inTransaction() override {
    if (session_->conn == nullptr) return false;
    if (session_->beginPending) return true;
    const PGTransactionStatusType status = PQtransactionStatus(session_->conn);
    return status == PQTRANS_INTRANS || status == PQTRANS_INERROR || status == PQTRANS_ACTIVE;
  }

  bool broken() override {
    PGconn *conn = session_->conn;
    if (conn == nullptr || session_->unusable || PQstatus(conn) != CONNECTION_OK) return true;
    // A server that ended the session has said so and closed the socket: reading
    // what is waiting (libpq never blocks here), then the end of the stream, finds out.
    for (int read = 0; read < 2 && PQstatus(conn) == CONNECTION_OK; ++read) PQconsumeInput(conn);
    return PQstatus(conn) != CONNECTION_OK;
  }

  // Runs a setting statement right after connecting; false with the reason.
  bool configure(const std::string &sql, std::string *why) {
    PGresult *result = session_->exec(sql.c_str());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
    if (!ok) *why = result ? messageOf(result) : session_->error;
    PQclear(result);
    return ok;
  }
  // The value a SHOW of the server's setting gives ("" when it cannot be had).
  std::string show(const std::string &name) {
    PGresult *result = session_->exec(("SHOW " + name).c_str());
    const bool one = PQresultStatus(result) == PGRES_TUPLES_OK && PQntuples(result) == 1;
    std::string value = one ? PQgetvalue(result, 0, 0) : "";
    PQclear(result);
    return value;
  }

 private:
  // Prepares the statement and learns its parameter types in one round trip.
  std::unique_ptr<Statement> prepared(const std::string &sql, std::shared_ptr<Cursor> cursor) {
    const std::string name = "vdb" + std::to_string(++session_->statementCount);
    std::vector<PGresult *> results;
    if (!session_->roundTrip({Command{Command::Kind::Prepare, name.c_str(), sql.c_str()},
                              Command{Command::Kind::Describe, name.c_str()}},
                             results, false))
      return nullptr;
    if (!succeeded(results[0])) {
      PQclear(results[1]);
      session_->fail(results[0]);
      return nullptr;
    }
    PQclear(results[0]);
    if (!succeeded(results[1])) {
      session_->fail(results[1]);
      return nullptr;
    }
    // The parameter types the server inferred decide how each value is sent.
    std::vector<Oid> types(static_cast<size_t>(PQnparams(results[1])));
    for (size_t i = 0; i < types.size(); ++i) types[i] = PQparamtype(results[1], static_cast<int>(i));
    PQclear(results[1]);
    return std::make_unique<PgStatement>(session_, name, std::move(types), std::move(cursor));
  }

  std::shared_ptr<Session> session_;
};

class PgDialect final : public Dialect {
 public:
  std::string placeholder(int position) const override { return "$" + std::to_string(position); }
  std::string columnType(const ColumnDef &column) const override {
    switch (column.kind) {
      case ColumnKind::String:
      case ColumnKind::Char:
        // Byte order of UTF-8, whatever the database's collation: the order SQLite keeps.
        return "TEXT COLLATE \"C\"";
      case ColumnKind::Number:
        return "NUMERIC(" + std::to_string(column.width) + "," + std::to_string(column.decimals) + ")";
      case ColumnKind::Integer:
        return "INTEGER";
      case ColumnKind::Date:
        return "DATE";
      case ColumnKind::UTime:
        return "TIMESTAMPTZ";
      case ColumnKind::Binary:
        return "BYTEA";
    }
    return "TEXT";
  }
  std::string_view lockSuffix() const override { return " FOR UPDATE"; }
  // The server sorts NULL last ascending; the layer (like SQLite) sorts it first.
  std::string_view nullsOrder(bool descending) const override { return descending ? " NULLS LAST" : " NULLS FIRST"; }
  std::string_view nullDate() const override { return "'-infinity'"; }
  std::string relationsSql() const override {
    return "SELECT c.relname FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
           "WHERE n.nspname = current_schema()";
  }
  std::string schemaLockSql() const override {
    return "SELECT pg_catalog.pg_advisory_xact_lock(" + std::to_string(kSchemaLockKey) + ")";
  }
};

void ignoreNotice(void *, const char *) {}

class PgBackend final : public Backend {
 public:
  explicit PgBackend(std::string location) : location_(std::move(location)) {}

  std::unique_ptr<Connection> connect(const ConnectOptions &options, std::string *error) override {
    // Defaults before the location (which may override them), the text encoding after it (which it may not).
    // Keepalive probes find a peer that vanished while the connection was idle; a send it does not take
    // for twice the keepalive time fails.
    const int idle = options.keepaliveSeconds;
    const std::string probeEvery = std::to_string(std::max(1, idle / 3)), unacknowledged = std::to_string(2000 * idle);
    const std::string idleText = std::to_string(idle);
    const char *keywords[] = {
        "connect_timeout",  "application_name", "keepalives", "keepalives_idle", "keepalives_interval",
        "keepalives_count", "tcp_user_timeout", "dbname",     "client_encoding", nullptr};
    const char *values[] = {
        "10",   "famoflas", "1", idleText.c_str(), probeEvery.c_str(), "3", unacknowledged.c_str(), location_.c_str(),
        "UTF8", nullptr};
    PGconn *conn = PQconnectdbParams(keywords, values, 1);
    auto refuse = [&](const std::string &why) -> std::unique_ptr<Connection> {
      if (error) *error = "cannot open database " + redactLocation(location_) + ": " + why;
      PQfinish(conn);
      return nullptr;
    };
    if (conn == nullptr) return refuse("out of memory");
    if (PQstatus(conn) != CONNECTION_OK) return refuse(trimmed(PQerrorMessage(conn)));
    PQsetNoticeProcessor(conn, ignoreNotice, nullptr);
    if (PQserverVersion(conn) < 90500) return refuse("the server is older than PostgreSQL 9.5");
    const char *integerTimes = PQparameterStatus(conn, "integer_datetimes");
    if (integerTimes == nullptr || std::strcmp(integerTimes, "on") != 0)
      return refuse("the server keeps timestamps as floating point");
    if (PQsetnonblocking(conn, 1) != 0) return refuse(trimmed(PQerrorMessage(conn)));
    auto connection = std::make_unique<PgConnection>(conn, options);
    conn = nullptr;  // the connection owns it now
    // A statement ends in a failure after the timeout; a lock wait after a
    // while too, as with SQLite, unless the location or the server already chose a limit.
    std::string set = "SET statement_timeout = " + std::to_string(options.statementSeconds * 1000);
    if (connection->show("lock_timeout") == "0") set += "; SET lock_timeout = " + std::to_string(kLockTimeoutMs);
    std::string why;
    if (!connection->configure(set, &why)) return refuse(why.empty() ? "it does not answer" : why);
    return connection;
  }

  const Dialect &dialect() const override { return dialect_; }

 private:
  std::string location_;
  PgDialect dialect_;
};

}  // namespace

std::string redactLocation(std::string_view location) {
  std::string out(location);
  // user:password@ in the authority part.
  const size_t scheme = out.find("://");
  if (scheme != std::string::npos) {
    const size_t start = scheme + 3;
    const size_t end = std::min(out.find_first_of("/?", start), out.size());
    const size_t at = out.rfind('@', end);
    if (at != std::string::npos && at >= start) {
      const size_t colon = out.find(':', start);
      if (colon < at) out.replace(colon + 1, at - colon - 1, "***");
    }
  }
  // password=... among the parameters.
  for (size_t at = out.find("password="); at != std::string::npos; at = out.find("password=", at + 1)) {
    const size_t value = at + 9;
    const size_t end = std::min(out.find('&', value), out.size());
    out.replace(value, end - value, "***");
  }
  return out;
}

std::unique_ptr<Backend> openPostgresBackend(const std::string &location, std::string *error) {
  if (location.find("://") == std::string::npos) {
    if (error) *error = "not a PostgreSQL location: " + redactLocation(location);
    return nullptr;
  }
  return std::make_unique<PgBackend>(location);
}

}  // namespace vyr::db
