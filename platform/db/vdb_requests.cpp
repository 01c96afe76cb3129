// VDB_* entry points of requests: open and close, keyed fetches and scans,
// selection and sequencing, writes, fetch for update, key buffers and binary
// columns. Each entry point checks its arguments, takes its user's lock, and
// turns every failure into a result (with one trace line where a context is known).
#include <unicode/utf16.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>

#include "db/host.h"
#include "db/layer.h"
#include "db/sql.h"
#include "db/values.h"
#include "runtime/context.h"
#include "vyrdb.h"

namespace vyr::db {
namespace {

constexpr ID kFailure = VDB_FAILED;
constexpr ID kNotFound = VDB_NOT_FOUND;
// VDB_UpdateTableColsExtended reports success as 0, so "no row" cannot be 0 there.
constexpr ID kColsExtendedFailure = VDB_FAILED;
// Compared with a stored number this matches nothing with = and everything with <>:
// stored values have at most 18 digits.
constexpr int64_t kBeyondAnyNumber = std::numeric_limits<int64_t>::max();

// Row reads that reached the database on this thread (see rowFetchCount in host.h).
thread_local uint64_t tRowFetches = 0;

std::string nameText(const TableDef &table) { return toUtf8(table.name); }
std::string aliasText(const ColumnDef &column) { return toUtf8(column.alias); }

// ---- Access to a request ----------------------------------------------------------------

struct Access {
  std::shared_ptr<Request> request;
  std::shared_ptr<User> user;
  std::unique_lock<std::mutex> guard;
  std::string_view operation;

  LPBHVRCOM context() const { return user->context; }
  void fail(std::string_view message) const { traceFailure(user->context, operation, message); }
  // The database failed the operation's statement (already reset).
  void databaseFailed(const std::string &message) const {
    statementFailed(*user, operation, request->table->name, message);
  }
};

// Finds the request, locks its user, and honours a forced failure for its table.
bool access(HREQUEST hRequest, std::string_view operation, Access &a) {
  a.request = requests().find(handleId(hRequest));
  if (!a.request) return false;
  a.user = a.request->user;
  a.guard = std::unique_lock<std::mutex>(a.user->lock);
  a.operation = operation;
  if (a.request->closed || a.user->closed) return false;
  if (a.request->layoutRefused) {
    a.fail("refused: a record stated for " + nameText(*a.request->table) +
           " does not match the catalogue (VDB_CheckRecordSize)");
    return false;
  }
  if (!a.user->failSetting->empty() && faultRequested(a.user->context, operation, a.request->table->name)) {
    a.fail("failure forced by the fail setting for " + nameText(*a.request->table));
    return false;
  }
  return true;
}

// ---- Columns, layouts and values ------------------------------------------------------------

std::u16string_view columnName(const JCHAR *name, std::u16string &buffer) {
  return readField(name, sizeof(NID) / sizeof(JCHAR) - 1, buffer);
}

// The positions of a caller's column list; false with the reason when it names
// an unknown column, repeats one, or is longer than the table.
bool parseColumns(const TableDef &table, const NID *list, ID count, std::vector<size_t> &out, std::string &why) {
  out.clear();
  if (list == nullptr || count == 0) {
    if (list == nullptr && count != 0) {
      why = std::to_string(count) + " columns announced but no column list given";
      return false;
    }
    for (size_t i = 0; i < table.columns.size(); ++i) out.push_back(i);
    return true;
  }
  if (count > table.columns.size()) {
    why = std::to_string(count) + " columns listed but " + nameText(table) + " has " +
          std::to_string(table.columns.size());
    return false;
  }
  std::u16string buffer;
  for (ID i = 0; i < count; ++i) {
    const std::u16string_view name = columnName(list[i], buffer);
    const int position = findColumn(table, name);
    if (position < 0) {
      why = "unknown column '" + toUtf8(name) + "' in " + nameText(table);
      return false;
    }
    for (size_t seen : out)
      if (seen == static_cast<size_t>(position)) {
        why = "column " + toUtf8(name) + " listed twice";
        return false;
      }
    out.push_back(static_cast<size_t>(position));
  }
  return true;
}

std::vector<Field> layout(const TableDef &table, const std::vector<size_t> &columns, size_t *size) {
  std::vector<Field> fields;
  size_t offset = 0;
  int sqlColumn = 0;
  for (size_t position : columns) {
    fields.push_back(Field{position, offset, sqlColumn});
    offset += recordSize(table.columns[position]);
    sqlColumn += sqlWidth(table.columns[position]);
  }
  if (size) *size = offset;
  return fields;
}

size_t keyOffset(const TableDef &table, const IndexDef &index, size_t keyPosition) {
  size_t offset = 0;
  for (size_t k = 0; k < keyPosition; ++k) offset += recordSize(table.columns[index.columns[k]]);
  return offset;
}

// The stored form of a string, character or integer field: the kinds a write
// and a comparison take alike. False for the other kinds.
bool plainValue(const ColumnDef &column, const unsigned char *field, Value &out) {
  switch (column.kind) {
    case ColumnKind::String:
      out.kind = Value::Kind::Text;
      fieldToStored(field, column.width, out.text);
      return true;
    case ColumnKind::Char: {
      JCHAR c;
      std::memcpy(&c, field, sizeof c);
      out.kind = Value::Kind::Text;
      out.text.clear();
      if (c != u'\0' && c != u' ') out.text = toUtf8(std::u16string_view(&c, 1));
      return true;
    }
    case ColumnKind::Integer: {
      int32_t v;
      std::memcpy(&v, field, sizeof v);
      out.setInt(v);
      return true;
    }
    default:
      return false;
  }
}

// The stored form of a date field (kNullDate for the null date); false when it is no calendar date.
bool dateValue(const unsigned char *field, Value &out, bool &isNull, VYRDATE &date) {
  std::memcpy(&date, field, sizeof date);
  int64_t stored = kNullDate;
  const DateForm form = dateToStored(date, &stored);
  isNull = form == DateForm::Null;
  out.setDate(stored);
  return form != DateForm::Invalid;
}

// The stored form of a record field about to be written (main value, and zone of a timestamp).
bool storedValue(Request &request, size_t position, const unsigned char *field, Value &main, Value &zone,
                 std::string &why) {
  const ColumnDef &column = request.table->columns[position];
  if (plainValue(column, field, main)) return true;
  switch (column.kind) {
    case ColumnKind::Number: {
      MATH_NUMERIC number;
      std::memcpy(&number, field, sizeof number);
      int64_t scaled = 0;
      switch (mathToScaled(number, column.width, column.decimals, Rounding::HalfAwayFromZero, &scaled)) {
        case NumberFit::Invalid:
          why = "column " + aliasText(column) + " holds no valid number";
          return false;
        case NumberFit::TooLarge:
          why = "value of " + aliasText(column) + " does not fit its " + std::to_string(column.width) +
                " digits with " + std::to_string(column.decimals) + " decimals";
          return false;
        default:
          main.setNumber(scaled, column.decimals);
          return true;
      }
    }
    case ColumnKind::Date: {
      VYRDATE date;
      bool isNull = false;
      if (dateValue(field, main, isNull, date)) return true;
      why = "column " + aliasText(column) + " holds no calendar date (" + std::to_string(date.nYear) + "-" +
            std::to_string(date.nMonth) + "-" + std::to_string(date.nDay) + ")";
      return false;
    }
    case ColumnKind::UTime: {
      UTIME time;
      std::memcpy(&time, field, sizeof time);
      if (isNullUTime(time)) {
        main.setNull();
        zone.setNull();
      } else {
        main.setTimestamp(time.llMicroseconds);
        zone.setInt(time.nDisplayZoneMinutes);
      }
      return true;
    }
    case ColumnKind::Binary: {
      const void *data;
      std::memcpy(&data, field, sizeof data);
      BlobState &blob = request.blobs[position];
      if (data == nullptr) {
        if (blob.declared && blob.declaredSize > 0) {
          why = "column " + aliasText(column) + " has " + std::to_string(blob.declaredSize) +
                " bytes declared but no data pointer";
          return false;
        }
        main.setNull();
        return true;
      }
      size_t size;
      if (blob.declared)
        size = blob.declaredSize;
      else if (!blob.fetchedNull && data == blob.fetched.data())
        size = blob.fetched.size();  // writing back the buffer this request fetched
      else {
        why = "size of binary column " + aliasText(column) + " not declared (VDB_SetBLOBSize)";
        return false;
      }
      main.kind = Value::Kind::Blob;
      main.blob = data;
      main.blobSize = size;
      return true;
    }
    default:
      return false;
  }
}

// A key or selection value compared with a column: its stored form, or isNull
// for a null pointer, date or timestamp.
bool comparisonValue(const ColumnDef &column, const void *value, int comparison, Value &out, bool &isNull,
                     std::string &why) {
  isNull = false;
  if (value == nullptr) {
    isNull = true;
    return true;
  }
  const auto *field = static_cast<const unsigned char *>(value);
  if (plainValue(column, field, out)) return true;
  switch (column.kind) {
    case ColumnKind::Number: {
      MATH_NUMERIC number;
      std::memcpy(&number, value, sizeof number);
      // Against a column of D decimals, x < 1.25 is x < ceil, x <= 1.25 is x <= floor, and so on.
      const Rounding rounding = comparison == VDB_CMP_LT || comparison == VDB_CMP_GE   ? Rounding::Ceiling
                                : comparison == VDB_CMP_LE || comparison == VDB_CMP_GT ? Rounding::Floor
                                                                                       : Rounding::HalfAwayFromZero;
      int64_t scaled = 0;
      const NumberFit fit = mathToScaled(number, kMaxNumberDigits, column.decimals, rounding, &scaled);
      const bool equality = comparison == VDB_CMP_EQ || comparison == VDB_CMP_NE;
      if (fit == NumberFit::Invalid) {
        why = "value for " + aliasText(column) + " is not a valid number";
        return false;
      }
      if (fit == NumberFit::TooLarge || (fit == NumberFit::Rounded && equality))
        scaled = equality || number.Sign != '-' ? kBeyondAnyNumber : -kBeyondAnyNumber;
      out.setNumber(scaled, column.decimals);
      return true;
    }
    case ColumnKind::Date: {
      VYRDATE date;
      if (dateValue(field, out, isNull, date)) return true;
      why = "value for " + aliasText(column) + " is not a calendar date";
      return false;
    }
    case ColumnKind::UTime: {
      UTIME time;
      std::memcpy(&time, value, sizeof time);
      isNull = isNullUTime(time);
      out.setTimestamp(time.llMicroseconds);
      return true;
    }
    case ColumnKind::Binary:
      why = "binary column " + aliasText(column) + " cannot be compared";
      return false;
    default:
      return false;
  }
}

// Binds a value; with `untilReset` the value stays unchanged until the statement's reset (a statement run at once).
void bind(Statement &statement, int &position, const Value &value, bool untilReset) {
  switch (value.kind) {
    case Value::Kind::Null:
      statement.bindNull(position++);
      break;
    case Value::Kind::Int:
      statement.bindInt(position++, value.integer);
      break;
    case Value::Kind::Number:
      statement.bindNumber(position++, value.integer, value.decimals);
      break;
    case Value::Kind::Date:
      statement.bindDate(position++, value.integer);
      break;
    case Value::Kind::Timestamp:
      statement.bindTimestamp(position++, value.integer);
      break;
    case Value::Kind::Text:
      if (untilReset)
        statement.bindTextUntilReset(position++, value.text);
      else
        statement.bindText(position++, value.text);
      break;
    case Value::Kind::Blob:
      statement.bindBlob(position++, value.blob, value.blobSize);
      break;
  }
}

// Writes one selected column into its place in a row record.
void readInto(Request &request, Statement &statement, const Field &field, unsigned char *row) {
  const ColumnDef &column = request.table->columns[field.column];
  unsigned char *out = row + field.offset;
  const int c = field.sqlColumn;
  switch (column.kind) {
    case ColumnKind::String:  // NULL reads as empty text: blanks
      storedToField(statement.readText(c), out, column.width);
      break;
    case ColumnKind::Char: {
      // The first character stored; blank when there is none or it takes a surrogate pair.
      const std::string_view stored = statement.readText(c);
      JCHAR ch = u' ';
      if (!stored.empty() && static_cast<unsigned char>(stored[0]) < 0x80) {
        ch = static_cast<JCHAR>(stored[0]);
      } else if (!stored.empty()) {
        const std::u16string first = fromUtf8(stored.substr(0, 4));
        if (!U16_IS_SURROGATE(first[0])) ch = first[0];
      }
      std::memcpy(out, &ch, sizeof ch);
      break;
    }
    case ColumnKind::Number: {
      MATH_NUMERIC number;
      scaledToMath(statement.readNumber(c, column.decimals), column.decimals, &number);
      std::memcpy(out, &number, sizeof number);
      break;
    }
    case ColumnKind::Integer: {
      const auto v = static_cast<int32_t>(statement.readInt(c));
      std::memcpy(out, &v, sizeof v);
      break;
    }
    case ColumnKind::Date: {
      const VYRDATE date = statement.isNull(c) ? VYRDATE{} : storedToDate(statement.readDate(c));
      std::memcpy(out, &date, sizeof date);
      break;
    }
    case ColumnKind::UTime: {
      UTIME time{};
      if (!statement.isNull(c)) {
        time.llMicroseconds = statement.readTimestamp(c);
        time.nDisplayZoneMinutes = static_cast<short>(statement.readInt(c + 1));
        time.cSet = 1;
      }
      std::memcpy(out, &time, sizeof time);
      break;
    }
    case ColumnKind::Binary: {
      BlobState &blob = request.blobs[field.column];
      const void *data = nullptr;
      if (statement.isNull(c)) {
        blob.fetched.clear();
        blob.fetchedNull = true;
      } else {
        blob.fetched.assign(statement.readBlob(c));
        blob.fetchedNull = false;
        data = blob.fetched.data();
      }
      std::memcpy(out, &data, sizeof data);
      break;
    }
  }
}

// Reads the current row into the record and keeps what finds it again.
void readRow(Request &request, Statement &statement, void *row) {
  auto *out = static_cast<unsigned char *>(row);
  for (const Field &field : request.fields) readInto(request, statement, field, out);
  request.currentRecord.assign(out, out + request.rowSize);
  const IndexDef &primary = *request.table->primary();
  request.currentKey.resize(primary.columns.size());
  for (size_t k = 0; k < primary.columns.size(); ++k) {
    if (request.keyFields[k] >= 0) continue;  // taken from currentRecord when needed
    const ColumnDef &column = request.table->columns[primary.columns[k]];
    const int c = request.keySqlColumns[k];
    Value &value = request.currentKey[k];
    if (column.kind == ColumnKind::Date)  // NULL too: a row written before the null date had a value
      value.setDate(statement.isNull(c) ? kNullDate : statement.readDate(c));
    else if (statement.isNull(c))
      value.setNull();
    else if (column.kind == ColumnKind::String || column.kind == ColumnKind::Char)
      value.kind = Value::Kind::Text, value.text.assign(statement.readText(c));
    else if (column.kind == ColumnKind::Number)
      value.setNumber(statement.readNumber(c, column.decimals), column.decimals);
    else if (column.kind == ColumnKind::UTime)
      value.setTimestamp(statement.readTimestamp(c));
    else
      value.setInt(statement.readInt(c));
  }
  request.hasCurrent = true;
}

// Whether a key value is the null date or timestamp (matched without a placeholder).
bool isNullKey(const Value &value) {
  return value.kind == Value::Kind::Null || (value.kind == Value::Kind::Date && value.integer == kNullDate);
}

// The index 1 values of the current row, for finding it again.
bool currentKeyValues(Request &request) {
  const IndexDef &primary = *request.table->primary();
  Value zone;
  std::string why;
  for (size_t k = 0; k < primary.columns.size(); ++k) {
    if (request.keyFields[k] < 0) continue;
    const Field &field = request.fields[static_cast<size_t>(request.keyFields[k])];
    if (!storedValue(request, field.column, request.currentRecord.data() + field.offset, request.currentKey[k], zone,
                     why))
      return false;
  }
  return true;
}

uint32_t intern(std::vector<std::string> &shapes, std::string signature) {
  for (size_t i = 0; i < shapes.size(); ++i)
    if (shapes[i] == signature) return static_cast<uint32_t>(i + 1);
  shapes.push_back(std::move(signature));
  return static_cast<uint32_t>(shapes.size());
}

// The request's statement of a shape, prepared on first use.
Statement *statementFor(Access &a, const Shape &shape, const std::function<std::string()> &makeSql) {
  Request &request = *a.request;
  for (Request::Cached &cached : request.statements)
    if (cached.shape == shape) return cached.statement.get();
  Request::Cached cached{shape, makeSql(), nullptr};
  cached.statement = a.user->connection->take(cached.sql, shape.op == Op::Scan, shape.lock);
  if (!cached.statement) {
    a.databaseFailed("cannot prepare a statement on " + nameText(*request.table) + ": " +
                     a.user->connection->connection->lastError());
    return nullptr;
  }
  request.statements.push_back(std::move(cached));
  return request.statements.back().statement.get();
}

// The index a keyed operation uses, how many of its key columns take part,
// and which of those hold the null date or timestamp.
struct KeyMatch {
  const IndexDef *index = nullptr;
  int keys = 0;
  uint64_t nullKeys = 0;
};

// Checks the key arguments and converts the key record; keys may be cut to 0
// (a null key of a fetch or scan means all rows).
bool resolveKeys(Access &a, ID idIndex, const void *key, short nKeys, bool nullKeyMeansAll, KeyMatch &match) {
  Request &request = *a.request;
  const TableDef &table = *request.table;
  const ID id = idIndex == 0 ? request.index : idIndex;
  const IndexDef *index = match.index = findIndex(table, id);
  if (index == nullptr) {
    a.fail("index " + std::to_string(id) + " does not exist (" + nameText(table) + " has " +
           std::to_string(table.indexes.size()) + ")");
    return false;
  }
  if (nKeys < 0 || static_cast<size_t>(nKeys) > index->columns.size()) {
    a.fail(std::to_string(nKeys) + " key fields given; index " + std::to_string(id) + " of " + nameText(table) +
           " has " + std::to_string(index->columns.size()));
    return false;
  }
  if (!request.statedKeyFields.empty() && nKeys > request.statedKeyFields[id - 1] &&
      request.statedKeyFields[id - 1] >= 0) {
    a.fail(std::to_string(nKeys) + " key fields given; the key record stated for index " + std::to_string(id) +
           " holds " + std::to_string(request.statedKeyFields[id - 1]));
    return false;
  }
  match.keys = nKeys;
  if (key == nullptr && nKeys > 0) {
    if (!nullKeyMeansAll) {
      a.fail("no key record for " + std::to_string(nKeys) + " key fields");
      return false;
    }
    match.keys = 0;
  }
  match.nullKeys = 0;
  request.keyValues.resize(static_cast<size_t>(match.keys));
  const auto *record = static_cast<const unsigned char *>(key);
  for (int k = 0; k < match.keys; ++k) {
    const ColumnDef &column = table.columns[index->columns[static_cast<size_t>(k)]];
    bool isNull = false;
    std::string why;
    if (!comparisonValue(column, record + keyOffset(table, *index, static_cast<size_t>(k)), VDB_CMP_EQ,
                         request.keyValues[static_cast<size_t>(k)], isNull, why)) {
      a.fail("key field " + aliasText(column) + ": " + why);
      return false;
    }
    if (isNull) match.nullKeys |= uint64_t{1} << k;
  }
  return true;
}

// The shape of a fetch or scan through the matched keys, with the request's selection and sequencing.
Shape readShape(Op op, const KeyMatch &m, const Request &request, bool lock) {
  return Shape{op, m.index->id, m.keys, m.nullKeys, request.selectionShape, request.sequencingShape, 0, lock};
}

void bindKeysAndSelection(Request &request, Statement &statement, int &position, uint64_t nullKeys, bool untilReset) {
  for (size_t k = 0; k < request.keyValues.size(); ++k)
    if (!(nullKeys >> k & 1)) bind(statement, position, request.keyValues[k], untilReset);
  for (const Condition &condition : request.selection)
    if (!condition.isNull) bind(statement, position, condition.value, untilReset);
}

void endScan(Request &request) {
  if (request.scanStatement) request.scanStatement->reset();
  request.scanStatement = nullptr;
  request.scan = Request::Scan::None;
}

// After a write through the request, a lock taken by a keyed fetch for update
// ends; false when the commit that ends it failed.
bool releaseAfterWrite(User &user, Request &request) {
  return !(request.holdsLock && !request.lockForScan) || releaseLock(user, request);
}

// Called just before a write runs: when releaseAfterWrite will commit right
// after it, the engine may send the commit with the write.
void commitWithWriteWhenLast(User &user, const Request &request) {
  if (request.holdsLock && !request.lockForScan && !user.userTransaction && user.lockHolders == 1)
    user.connection->connection->commitWithNextStatement();
}

// Stored values of the listed columns of a record.
bool recordValues(Access &a, const std::vector<size_t> &columns, const void *row, std::vector<Value> &values) {
  Request &request = *a.request;
  values.resize(columns.size() * 2);
  size_t offset = 0;
  for (size_t i = 0; i < columns.size(); ++i) {
    std::string why;
    if (!storedValue(request, columns[i], static_cast<const unsigned char *>(row) + offset, values[2 * i],
                     values[2 * i + 1], why)) {
      a.fail(why);
      return false;
    }
    offset += recordSize(request.table->columns[columns[i]]);
  }
  return true;
}

void bindRecordValues(Request &request, Statement &statement, int &position, const std::vector<size_t> &columns,
                      const std::vector<Value> &values) {
  for (size_t i = 0; i < columns.size(); ++i) {
    bind(statement, position, values[2 * i], true);
    if (request.table->columns[columns[i]].kind == ColumnKind::UTime)
      bind(statement, position, values[2 * i + 1], true);
  }
}

// Runs a write of the request: binds the stored values of `columns` (from
// writeValues), then the keys that are not null; the engine may send the
// commit along when a lock ends right after it. The rows it changed, or -1
// when it could not run (traced).
int64_t runWrite(Access &a, const Shape &shape, const std::function<std::string()> &makeSql,
                 const std::vector<size_t> &columns, const std::vector<Value> &keys, uint64_t nullKeys) {
  Request &request = *a.request;
  User &user = *a.user;
  endReadSnapshots(user);
  if (!ensureTransaction(user, a.operation)) return -1;
  Statement *statement = statementFor(a, shape, makeSql);
  if (statement == nullptr) return -1;
  int position = 1;
  bindRecordValues(request, *statement, position, columns, request.writeValues);
  for (size_t k = 0; k < keys.size(); ++k)
    if (!(nullKeys >> k & 1)) bind(*statement, position, keys[k], true);
  commitWithWriteWhenLast(user, request);
  const StepResult result = statement->step();
  if (result == StepResult::Done) {
    const int64_t changed = statement->changes();
    statement->reset();
    return changed;
  }
  Connection &connection = *user.connection->connection;
  const std::string error = connection.lastError();
  const ErrorKind kind = connection.lastErrorKind();
  statement->reset();
  a.databaseFailed(kind == ErrorKind::Constraint
                       ? "a row with the same unique key already exists in " + nameText(*request.table)
                       : "database error on " + nameText(*request.table) + ": " + error);
  return -1;
}

std::vector<size_t> requestColumns(const Request &request) {
  std::vector<size_t> columns;
  for (const Field &field : request.fields) columns.push_back(field.column);
  return columns;
}

std::string columnsSignature(const std::vector<size_t> &columns) {
  std::string signature;
  for (size_t c : columns) signature += std::to_string(c) + ",";
  return signature;
}

// ---- Operations -----------------------------------------------------------------------------

ID openTable(HUSER hUser, const JCHAR *lpszTable, ID idIndex, const NID *lpColumns, ID nColumns, HREQUEST *lphRequest) {
  if (lphRequest) *lphRequest = nullptr;
  std::shared_ptr<User> user = users().find(handleId(hUser));
  if (!user) return kFailure;
  std::lock_guard<std::mutex> guard(user->lock);
  if (user->closed) return kFailure;
  const std::string_view op = "VDB_OpenTable";
  auto fail = [&](const std::string &message) {
    traceFailure(user->context, op, message);
    return kFailure;
  };
  if (lpszTable == nullptr) return fail("no table name");
  std::u16string buffer;
  const std::u16string_view tableName = readField(lpszTable, 64, buffer);
  if (faultRequested(user->context, op, tableName))
    return fail("failure forced by the fail setting for " + toUtf8(tableName));
  if (lphRequest == nullptr) return fail("no place for the request handle (null lphRequest)");
  const TableDef *table = findTable(tableName);
  if (table == nullptr) return fail("unknown table '" + toUtf8(tableName) + "'");
  const ID index = idIndex == 0 ? 1 : idIndex;
  if (findIndex(*table, index) == nullptr)
    return fail("index " + std::to_string(idIndex) + " does not exist (" + nameText(*table) + " has " +
                std::to_string(table->indexes.size()) + ")");
  std::vector<size_t> columns;
  std::string why;
  if (!parseColumns(*table, lpColumns, nColumns, columns, why)) return fail(why);
  if (!ensureConnection(*user, op)) return kFailure;

  auto request = std::make_shared<Request>();
  request->user = user;
  request->table = table;
  request->index = index;
  request->fields = layout(*table, columns, &request->rowSize);
  int width = 0;
  for (const Field &field : request->fields) width += sqlWidth(table->columns[field.column]);
  for (size_t primaryColumn : table->primary()->columns) {
    int fieldPosition = -1;
    for (size_t f = 0; f < request->fields.size(); ++f)
      if (request->fields[f].column == primaryColumn) fieldPosition = static_cast<int>(f);
    request->keyFields.push_back(fieldPosition);
    request->keySqlColumns.push_back(fieldPosition >= 0 ? request->fields[static_cast<size_t>(fieldPosition)].sqlColumn
                                                        : width++);
  }
  request->blobs.resize(table->columns.size());
  request->id = requests().add(request);
  user->requests.push_back(request->id);
  *lphRequest = asHandle<HREQUEST>(request->id);
  return VDB_SUCCESS;
}

ID closeTable(HREQUEST hRequest) {
  std::shared_ptr<Request> request = requests().take(handleId(hRequest));
  if (!request) return kFailure;
  std::lock_guard<std::mutex> guard(request->user->lock);
  return closeRequest(*request->user, *request) ? VDB_SUCCESS : kFailure;
}

ID fetchKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, void *lpRow, bool lock,
              std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  if (lpRow == nullptr) {
    a.fail("no row buffer");
    return kFailure;
  }
  KeyMatch m;
  if (!resolveKeys(a, idIndex, lpKey, nKeys, true, m)) return kFailure;
  if (!ensureTransaction(*a.user, op)) return kFailure;
  if (lock && !acquireLock(*a.user, request, op)) return kFailure;
  if (!lock) beginReadSnapshot(a.user);
  const Shape shape = readShape(Op::Fetch, m, request, lock);
  Statement *statement =
      statementFor(a, shape, [&] { return selectSql(request, shape, a.user->environment->backend->dialect()); });
  if (statement == nullptr) return kFailure;
  int position = 1;
  bindKeysAndSelection(request, *statement, position, m.nullKeys, true);
  ++tRowFetches;
  const StepResult result = statement->step();
  if (result == StepResult::Row) {
    readRow(request, *statement, lpRow);
    statement->reset();
    return VDB_SUCCESS;
  }
  request.hasCurrent = false;
  const std::string error = result == StepResult::Error ? a.user->connection->connection->lastError() : "";
  statement->reset();
  if (result != StepResult::Error) return kNotFound;
  a.databaseFailed("database error: " + error);
  return kFailure;
}

ID selectKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, bool lock, std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  KeyMatch m;
  if (!resolveKeys(a, idIndex, lpKey, nKeys, true, m)) return kFailure;
  endScan(request);
  if (!lock && request.holdsLock && request.lockForScan && !releaseLock(*a.user, request)) return kFailure;
  if (!ensureTransaction(*a.user, op)) return kFailure;
  if (lock) {
    if (!acquireLock(*a.user, request, op)) return kFailure;
    request.lockForScan = true;
  } else {
    beginReadSnapshot(a.user);
  }
  const Shape shape = readShape(Op::Scan, m, request, lock);
  Statement *statement =
      statementFor(a, shape, [&] { return selectSql(request, shape, a.user->environment->backend->dialect()); });
  if (statement == nullptr) return kFailure;
  int position = 1;
  bindKeysAndSelection(request, *statement, position, m.nullKeys, false);  // the scan outlives the key
  request.scanStatement = statement;
  request.scan = Request::Scan::Active;
  return VDB_SUCCESS;
}

ID fetchNext(HREQUEST hRequest, void *lpRow, bool lock, std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  if (lpRow == nullptr) {
    a.fail("no row buffer");
    return kFailure;
  }
  if (request.scan == Request::Scan::None) {
    a.fail("no scan started on " + nameText(*request.table) + " (VDB_SelectKeyed first)");
    return kFailure;
  }
  if (request.scan == Request::Scan::Done) return kNotFound;
  if (lock && !request.holdsLock) {
    if (!acquireLock(*a.user, request, op)) return kFailure;
    request.lockForScan = true;
  }
  Statement &statement = *request.scanStatement;
  ++tRowFetches;
  const StepResult result = statement.step();
  if (result == StepResult::Row) {
    readRow(request, statement, lpRow);
    return VDB_SUCCESS;
  }
  const std::string error = result == StepResult::Error ? a.user->connection->connection->lastError() : "";
  endScan(request);
  if (result == StepResult::Error) a.databaseFailed("database error: " + error);
  request.scan = Request::Scan::Done;
  request.hasCurrent = false;
  // The scan that held rows for update is over: what was written under it is committed now.
  if (request.holdsLock && request.lockForScan && !releaseLock(*a.user, request)) return kFailure;
  return result == StepResult::Error ? kFailure : kNotFound;
}

ID insertRow(HREQUEST hRequest, const NID *lpColumns, ID nColumns, bool ownColumns, const void *lpRow,
             std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  User &user = *a.user;
  std::vector<size_t> columns;
  uint32_t columnShape = 0;
  if (ownColumns) {
    columns = requestColumns(request);
  } else {
    std::string why;
    if (lpColumns == nullptr || nColumns == 0 || !parseColumns(*request.table, lpColumns, nColumns, columns, why)) {
      a.fail(why.empty() ? std::string("no column list") : why);
      return kFailure;
    }
    columnShape = intern(request.columnShapes, columnsSignature(columns));
  }
  if (lpRow == nullptr) {
    a.fail("no row record");
    return kFailure;
  }
  int64_t inserted = -1;
  if (recordValues(a, columns, lpRow, request.writeValues)) {
    const Shape shape{Op::Insert, 0, 0, 0, 0, 0, columnShape, false};
    inserted = runWrite(
        a, shape, [&] { return insertSql(*request.table, columns, user.environment->backend->dialect()); }, columns, {},
        0);
  }
  // A unique index refuses a row without failing the statement: no row changed says so.
  if (inserted == 0) {
    a.fail("a row with the same unique key already exists in " + nameText(*request.table));
    raiseDatabaseError(a.context(), DatabaseFailure::DuplicateKey, request.table->name);
  }
  const bool committed = releaseAfterWrite(user, request);
  return inserted > 0 && committed ? VDB_SUCCESS : kFailure;
}

// The answer of a write that changed `changed` rows (-1: it failed) and
// ended a lock with a commit that succeeded or not.
ID writeResult(int64_t changed, bool committed) {
  if (changed < 0 || !committed) return kFailure;
  return changed > 0 ? VDB_SUCCESS : kNotFound;
}

// Update of the rows matching a key.
ID updateRows(Access &a, ID idIndex, const void *lpKey, short nKeys, const std::vector<size_t> &columns,
              uint32_t columnShape, const void *lpRow) {
  Request &request = *a.request;
  User &user = *a.user;
  if (lpRow == nullptr) {
    a.fail("no row record");
    return kFailure;
  }
  KeyMatch m;
  if (!resolveKeys(a, idIndex, lpKey, nKeys, false, m)) return kFailure;
  int64_t changed = -1;
  if (recordValues(a, columns, lpRow, request.writeValues)) {
    const Shape shape{Op::Update, m.index->id, m.keys, m.nullKeys, 0, 0, columnShape, false};
    changed = runWrite(
        a, shape,
        [&] {
          return updateSql(*request.table, columns, *m.index, m.keys, m.nullKeys, user.environment->backend->dialect());
        },
        columns, request.keyValues, m.nullKeys);
  }
  const bool committed = releaseAfterWrite(user, request);
  return writeResult(changed, committed);
}

ID updateCurrent(HREQUEST hRequest, const void *lpRow) {
  Access a;
  const std::string_view op = "VDB_UpdateCurrent";
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  User &user = *a.user;
  if (lpRow == nullptr) {
    a.fail("no row record");
    return kFailure;
  }
  if (!request.hasCurrent) {
    a.fail("no current row on " + nameText(*request.table) + " (fetch one first)");
    return kFailure;
  }
  const IndexDef &primary = *request.table->primary();
  const std::vector<size_t> columns = requestColumns(request);
  if (!currentKeyValues(request)) {
    a.fail("the row fetched last cannot be found again");
    return kFailure;
  }
  uint64_t nullKeys = 0;
  for (size_t k = 0; k < request.currentKey.size(); ++k)
    if (isNullKey(request.currentKey[k])) nullKeys |= uint64_t{1} << k;
  int64_t changed = -1;
  if (recordValues(a, columns, lpRow, request.writeValues)) {
    const int keys = static_cast<int>(primary.columns.size());
    const Shape shape{Op::UpdateCurrent, primary.id, keys, nullKeys, 0, 0, 0, false};
    changed = runWrite(
        a, shape,
        [&] {
          return updateSql(*request.table, columns, primary, keys, nullKeys, user.environment->backend->dialect());
        },
        columns, request.currentKey, nullKeys);
  }
  if (changed == 0) a.fail("the row fetched last is no longer in " + nameText(*request.table));
  if (changed > 0) {
    // Key columns may have new values: the row is now found by those.
    const auto *written = static_cast<const unsigned char *>(lpRow);
    request.currentRecord.assign(written, written + request.rowSize);
  }
  const bool committed = releaseAfterWrite(user, request);
  return writeResult(changed, committed);
}

ID deleteRows(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys) {
  Access a;
  const std::string_view op = "VDB_DeleteTable";
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  User &user = *a.user;
  KeyMatch m;
  int64_t changed = -1;
  if (resolveKeys(a, idIndex, lpKey, nKeys, false, m)) {
    const Shape shape{Op::Delete, m.index->id, m.keys, m.nullKeys, 0, 0, 0, false};
    changed = runWrite(
        a, shape,
        [&] { return deleteSql(*request.table, *m.index, m.keys, m.nullKeys, user.environment->backend->dialect()); },
        {}, request.keyValues, m.nullKeys);
  }
  const bool committed = releaseAfterWrite(user, request);
  return writeResult(changed, committed);
}

// Whether a caller's list holds the count of entries it announces; traced when not.
bool entriesGiven(Access &a, const void *list, short count, std::string_view what) {
  if (count == 0 || (count > 0 && list != nullptr)) return true;
  a.fail("no " + std::string(what) + " entries for a count of " + std::to_string(count));
  return false;
}

ID setSelection(HREQUEST hRequest, const SELECTSTRUCT *lpSelection, short nEntries, std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  const TableDef &table = *request.table;
  if (!entriesGiven(a, lpSelection, nEntries, "selection")) return kFailure;
  std::vector<Condition> selection(static_cast<size_t>(nEntries));
  std::string signature;
  std::u16string buffer;
  for (short i = 0; i < nEntries; ++i) {
    const SELECTSTRUCT &entry = lpSelection[i];
    Condition &condition = selection[static_cast<size_t>(i)];
    const std::u16string_view name = columnName(entry.szColumn, buffer);
    const int position = findColumn(table, name);
    const std::string where = "selection entry " + std::to_string(i + 1) + ": ";
    if (position < 0) {
      a.fail(where + "unknown column '" + toUtf8(name) + "' in " + nameText(table));
      return kFailure;
    }
    if (entry.nComparison < VDB_CMP_LT || entry.nComparison > VDB_CMP_NE) {
      a.fail(where + "comparison code " + std::to_string(entry.nComparison) + " is not 0 to 5");
      return kFailure;
    }
    if (entry.nAndOr != VDB_AND && entry.nAndOr != VDB_OR) {
      a.fail(where + "connector " + std::to_string(entry.nAndOr) + " is neither 0 (and) nor 1 (or)");
      return kFailure;
    }
    condition.column = static_cast<size_t>(position);
    condition.comparison = entry.nComparison;
    condition.orWithPrevious = i > 0 && entry.nAndOr == VDB_OR;
    std::string why;
    if (!comparisonValue(table.columns[condition.column], entry.lpValue, entry.nComparison, condition.value,
                         condition.isNull, why)) {
      a.fail(where + why);
      return kFailure;
    }
    if (condition.isNull && entry.nComparison != VDB_CMP_EQ && entry.nComparison != VDB_CMP_NE) {
      a.fail(where + "a null value compares only with = or <>");
      return kFailure;
    }
    signature += std::to_string(condition.column) + (condition.orWithPrevious ? "|" : "&") +
                 std::to_string(condition.comparison) + (condition.isNull ? "n;" : ";");
  }
  request.selection = std::move(selection);
  request.selectionShape = nEntries == 0 ? 0 : intern(request.selectionShapes, signature);
  return VDB_SUCCESS;
}

ID setSequencing(HREQUEST hRequest, const SORTSTRUCT *lpSort, short nEntries, std::string_view op) {
  Access a;
  if (!access(hRequest, op, a)) return kFailure;
  Request &request = *a.request;
  const TableDef &table = *request.table;
  if (!entriesGiven(a, lpSort, nEntries, "sequencing")) return kFailure;
  std::vector<SortKey> order;
  std::string signature;
  std::u16string buffer;
  for (short i = 0; i < nEntries; ++i) {
    const std::u16string_view name = columnName(lpSort[i].szColumn, buffer);
    const int position = findColumn(table, name);
    if (position < 0 || table.columns[static_cast<size_t>(position)].kind == ColumnKind::Binary) {
      a.fail("sequencing entry " + std::to_string(i + 1) + ": no orderable column '" + toUtf8(name) + "' in " +
             nameText(table));
      return kFailure;
    }
    if (lpSort[i].nDirection != VDB_ASCENDING && lpSort[i].nDirection != VDB_DESCENDING) {
      a.fail("sequencing entry " + std::to_string(i + 1) + ": direction " + std::to_string(lpSort[i].nDirection) +
             " is neither 0 nor 1");
      return kFailure;
    }
    order.push_back({static_cast<size_t>(position), lpSort[i].nDirection == VDB_DESCENDING});
    signature += std::to_string(position) + (order.back().descending ? "d," : "a,");
  }
  request.sequencing = std::move(order);
  request.sequencingShape = nEntries == 0 ? 0 : intern(request.sequencingShapes, signature);
  return VDB_SUCCESS;
}

// ---- Key buffers -------------------------------------------------------------------------------

struct KeyBuffer {
  const TableDef *table;
  ID index;
  size_t size;
};

struct KeyBuffers {
  std::mutex lock;
  std::unordered_map<void *, KeyBuffer> byAddress;
};

KeyBuffers &keyBuffers() {
  static KeyBuffers buffers;
  return buffers;
}

void *buildKeyBuffer(HREQUEST hRequest, ID idIndex) {
  Access a;
  if (!access(hRequest, "VDB_BuildKeyBuffer", a)) return nullptr;
  const TableDef &table = *a.request->table;
  const ID id = idIndex == 0 ? a.request->index : idIndex;
  const IndexDef *index = findIndex(table, id);
  if (index == nullptr) {
    a.fail("index " + std::to_string(id) + " does not exist (" + nameText(table) + " has " +
           std::to_string(table.indexes.size()) + ")");
    return nullptr;
  }
  const size_t size = keyOffset(table, *index, index->columns.size());
  void *buffer = std::calloc(1, size);
  if (buffer == nullptr) {
    a.fail("out of memory");
    return nullptr;
  }
  KeyBuffers &buffers = keyBuffers();
  std::lock_guard<std::mutex> guard(buffers.lock);
  buffers.byAddress.emplace(buffer, KeyBuffer{&table, id, size});
  return buffer;
}

ID assignColumnValue(HREQUEST hRequest, void *lpKey, ID idIndex, const JCHAR *lpszColumn, const void *lpValue) {
  Access a;
  if (!access(hRequest, "VDB_AssignColumnValue", a)) return kFailure;
  const TableDef &table = *a.request->table;
  const ID id = idIndex == 0 ? a.request->index : idIndex;
  KeyBuffer buffer{};
  {
    KeyBuffers &buffers = keyBuffers();
    std::lock_guard<std::mutex> guard(buffers.lock);
    const auto it = buffers.byAddress.find(lpKey);
    if (it == buffers.byAddress.end()) {
      a.fail("not a key buffer from VDB_BuildKeyBuffer");
      return kFailure;
    }
    buffer = it->second;
  }
  if (buffer.table != &table || buffer.index != id) {
    a.fail("the key buffer was built for " + nameText(*buffer.table) + " index " + std::to_string(buffer.index));
    return kFailure;
  }
  if (lpszColumn == nullptr || lpValue == nullptr) {
    a.fail("no column name or no value");
    return kFailure;
  }
  const IndexDef &index = *findIndex(table, id);
  std::u16string nameBuffer;
  const std::u16string_view name = readField(lpszColumn, 10, nameBuffer);
  for (size_t k = 0; k < index.columns.size(); ++k) {
    const ColumnDef &column = table.columns[index.columns[k]];
    if (column.alias != name) continue;
    unsigned char *out = static_cast<unsigned char *>(lpKey) + keyOffset(table, index, k);
    if (column.kind == ColumnKind::String) {
      // Up to the value's terminator: the caller's text may be shorter than the field.
      std::u16string text;
      const std::u16string_view value = readField(lpValue, column.width, text);
      std::memset(out, 0, recordSize(column));
      std::memcpy(out, value.data(), value.size() * sizeof(JCHAR));
    } else {
      std::memcpy(out, lpValue, recordSize(column));
    }
    return VDB_SUCCESS;
  }
  a.fail("'" + toUtf8(name) + "' is not a key column of " + nameText(table) + " index " + std::to_string(id));
  return kFailure;
}

ID checkRecordSize(HREQUEST hRequest, ID idIndex, size_t size) {
  Access a;
  if (!access(hRequest, "VDB_CheckRecordSize", a)) return kFailure;
  Request &request = *a.request;
  const TableDef &table = *request.table;
  if (idIndex == 0) {
    if (size == request.rowSize) return VDB_SUCCESS;
    request.layoutRefused = true;
    a.fail("row record of " + std::to_string(size) + " bytes; the catalogue lays out " +
           std::to_string(request.rowSize) + " for the columns of this request of " + nameText(table));
    return kFailure;
  }
  const IndexDef *index = findIndex(table, idIndex);
  if (index == nullptr) {
    a.fail("index " + std::to_string(idIndex) + " does not exist (" + nameText(table) + " has " +
           std::to_string(table.indexes.size()) + ")");
    return kFailure;
  }
  // A key record may hold only the leading fields the caller uses, but it must end at one.
  for (size_t fields = 1; fields <= index->columns.size(); ++fields) {
    if (keyOffset(table, *index, fields) != size) continue;
    if (request.statedKeyFields.empty()) request.statedKeyFields.assign(table.indexes.size(), -1);
    request.statedKeyFields[idIndex - 1] = static_cast<int>(fields);
    return VDB_SUCCESS;
  }
  request.layoutRefused = true;
  a.fail("key record of " + std::to_string(size) + " bytes does not end at a key field of index " +
         std::to_string(idIndex) + " of " + nameText(table) + " (all " + std::to_string(index->columns.size()) +
         " fields: " + std::to_string(keyOffset(table, *index, index->columns.size())) + " bytes)");
  return kFailure;
}

ID freeKeyBuffer(void *lpKey) {
  KeyBuffers &buffers = keyBuffers();
  {
    std::lock_guard<std::mutex> guard(buffers.lock);
    if (buffers.byAddress.erase(lpKey) == 0) return kFailure;
  }
  std::free(lpKey);
  return VDB_SUCCESS;
}

// ---- Binary columns ------------------------------------------------------------------------------

BlobState *binaryColumn(Access &a, const JCHAR *lpszColumn) {
  if (lpszColumn == nullptr) {
    a.fail("no column name");
    return nullptr;
  }
  std::u16string buffer;
  const std::u16string_view name = readField(lpszColumn, 10, buffer);
  const int position = findColumn(*a.request->table, name);
  if (position < 0 || a.request->table->columns[static_cast<size_t>(position)].kind != ColumnKind::Binary) {
    a.fail("'" + toUtf8(name) + "' is not a binary column of " + nameText(*a.request->table));
    return nullptr;
  }
  return &a.request->blobs[static_cast<size_t>(position)];
}

// ---- Company and currency rows --------------------------------------------------------------------

ID retrieveRow(HUSER hUser, const char16_t *table, uint16_t keyWidth, const JCHAR *lpszKey, void *lpRow,
               std::string_view op) {
  std::shared_ptr<User> user = users().find(handleId(hUser));
  if (!user) return kFailure;
  {
    std::lock_guard<std::mutex> guard(user->lock);
    if (user->closed) return kFailure;
    if (faultRequested(user->context, op, table)) {
      traceFailure(user->context, op, "failure forced by the fail setting");
      return kFailure;
    }
    if (lpszKey == nullptr || lpRow == nullptr) {
      traceFailure(user->context, op, "no key or no row buffer");
      return kFailure;
    }
  }
  std::u16string keyRecord(static_cast<size_t>(keyWidth) + 1, u'\0');
  std::u16string buffer;
  writePaddedField(keyRecord.data(), keyWidth, readField(lpszKey, keyWidth, buffer));
  HREQUEST hRequest = nullptr;
  if (openTable(hUser, table, 1, nullptr, 0, &hRequest) != VDB_SUCCESS) return kFailure;
  const ID found = fetchKeyed(hRequest, 1, keyRecord.data(), 1, lpRow, false, "VDB_FetchKeyed");
  closeTable(hRequest);
  return found;
}

}  // namespace

uint64_t rowFetchCount() noexcept { return tRowFetches; }

}  // namespace vyr::db

using namespace vyr::db;

namespace {
// Every entry point runs its body through this: nothing thrown inside leaves it.
template <typename Result, typename Body>
Result guarded(Result failure, Body &&body) noexcept {
  try {
    return body();
  } catch (...) {
    return failure;
  }
}
}  // namespace

VYR_EXPORT ID VDB_OpenTable(HUSER hUser, const JCHAR *lpszTable, ID idIndex, const NID *lpColumns, ID nColumns,
                            const JCHAR *, HREQUEST *lphRequest) {
  return guarded<ID>(kFailure,
                     [&]() -> ID { return openTable(hUser, lpszTable, idIndex, lpColumns, nColumns, lphRequest); });
}

VYR_EXPORT ID VDB_CloseTable(HREQUEST hRequest) {
  return guarded<ID>(kFailure, [&]() -> ID { return closeTable(hRequest); });
}

VYR_EXPORT ID VDB_FetchKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, void *lpRow, int) {
  return guarded<ID>(
      kFailure, [&]() -> ID { return fetchKeyed(hRequest, idIndex, lpKey, nKeys, lpRow, false, "VDB_FetchKeyed"); });
}

VYR_EXPORT ID VDB_SelectKeyed(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys) {
  return guarded<ID>(kFailure,
                     [&]() -> ID { return selectKeyed(hRequest, idIndex, lpKey, nKeys, false, "VDB_SelectKeyed"); });
}

VYR_EXPORT ID VDB_Fetch(HREQUEST hRequest, void *lpRow, int) {
  return guarded<ID>(kFailure, [&]() -> ID { return fetchNext(hRequest, lpRow, false, "VDB_Fetch"); });
}

VYR_EXPORT ID VDB_SetSelection(HREQUEST hRequest, const SELECTSTRUCT *lpSelection, short nEntries) {
  return guarded<ID>(kFailure,
                     [&]() -> ID { return setSelection(hRequest, lpSelection, nEntries, "VDB_SetSelection"); });
}

VYR_EXPORT ID VDB_ClearSelection(HREQUEST hRequest) {
  return guarded<ID>(kFailure, [&]() -> ID { return setSelection(hRequest, nullptr, 0, "VDB_ClearSelection"); });
}

VYR_EXPORT ID VDB_SetSequencing(HREQUEST hRequest, const SORTSTRUCT *lpSort, short nEntries) {
  return guarded<ID>(kFailure, [&]() -> ID { return setSequencing(hRequest, lpSort, nEntries, "VDB_SetSequencing"); });
}

VYR_EXPORT ID VDB_ClearSequencing(HREQUEST hRequest) {
  return guarded<ID>(kFailure, [&]() -> ID { return setSequencing(hRequest, nullptr, 0, "VDB_ClearSequencing"); });
}

VYR_EXPORT ID VDB_ClearColBuffer(HREQUEST hRequest) {
  return guarded<ID>(kFailure, [&]() -> ID {
    Access a;
    if (!access(hRequest, "VDB_ClearColBuffer", a)) return kFailure;
    a.request->hasCurrent = false;
    return VDB_SUCCESS;
  });
}

VYR_EXPORT ID VDB_InsertTable(HREQUEST hRequest, const void *lpRow) {
  return guarded<ID>(kFailure, [&]() -> ID { return insertRow(hRequest, nullptr, 0, true, lpRow, "VDB_InsertTable"); });
}

VYR_EXPORT ID VDB_InsertTableCols(HREQUEST hRequest, const NID *lpColumns, ID nColumns, const void *lpRow) {
  return guarded<ID>(
      kFailure, [&]() -> ID { return insertRow(hRequest, lpColumns, nColumns, false, lpRow, "VDB_InsertTableCols"); });
}

VYR_EXPORT ID VDB_UpdateTable(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, const void *lpRow) {
  return guarded<ID>(kFailure, [&]() -> ID {
    Access a;
    if (!access(hRequest, "VDB_UpdateTable", a)) return kFailure;
    return updateRows(a, idIndex, lpKey, nKeys, requestColumns(*a.request), 0, lpRow);
  });
}

VYR_EXPORT ID VDB_UpdateTableColsExtended(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys,
                                          const NID *lpColumns, ID nColumns, const void *lpRow) {
  return guarded<ID>(kColsExtendedFailure, [&]() -> ID {
    Access a;
    if (!access(hRequest, "VDB_UpdateTableColsExtended", a)) return kColsExtendedFailure;
    std::vector<size_t> columns;
    std::string why;
    if (lpColumns == nullptr || nColumns == 0 || !parseColumns(*a.request->table, lpColumns, nColumns, columns, why)) {
      a.fail(why.empty() ? std::string("no column list") : why);
      return kColsExtendedFailure;
    }
    const uint32_t shape = intern(a.request->columnShapes, columnsSignature(columns));
    return updateRows(a, idIndex, lpKey, nKeys, columns, shape, lpRow) == VDB_SUCCESS ? 0 : kColsExtendedFailure;
  });
}

VYR_EXPORT ID VDB_DeleteTable(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys) {
  return guarded<ID>(kFailure, [&]() -> ID { return deleteRows(hRequest, idIndex, lpKey, nKeys); });
}

VYR_EXPORT ID VDB_FetchKeyedForUpdate(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys, void *lpRow, int) {
  return guarded<ID>(kFailure, [&]() -> ID {
    return fetchKeyed(hRequest, idIndex, lpKey, nKeys, lpRow, true, "VDB_FetchKeyedForUpdate");
  });
}

VYR_EXPORT ID VDB_SelectKeyedForUpdate(HREQUEST hRequest, ID idIndex, const void *lpKey, short nKeys) {
  return guarded<ID>(
      kFailure, [&]() -> ID { return selectKeyed(hRequest, idIndex, lpKey, nKeys, true, "VDB_SelectKeyedForUpdate"); });
}

VYR_EXPORT ID VDB_FetchForUpdate(HREQUEST hRequest, void *lpRow, int) {
  return guarded<ID>(kFailure, [&]() -> ID { return fetchNext(hRequest, lpRow, true, "VDB_FetchForUpdate"); });
}

VYR_EXPORT ID VDB_UpdateCurrent(HREQUEST hRequest, const void *lpRow) {
  return guarded<ID>(kFailure, [&]() -> ID { return updateCurrent(hRequest, lpRow); });
}

VYR_EXPORT void *VDB_BuildKeyBuffer(HREQUEST hRequest, ID idIndex) {
  return guarded<void *>(nullptr, [&]() -> void * { return buildKeyBuffer(hRequest, idIndex); });
}

VYR_EXPORT ID VDB_AssignColumnValue(HREQUEST hRequest, void *lpKey, ID idIndex, const JCHAR *lpszColumn,
                                    const void *lpValue) {
  return guarded<ID>(kFailure,
                     [&]() -> ID { return assignColumnValue(hRequest, lpKey, idIndex, lpszColumn, lpValue); });
}

VYR_EXPORT ID VDB_CheckRecordSize(HREQUEST hRequest, ID idIndex, size_t nSize) {
  return guarded<ID>(kFailure, [&]() -> ID { return checkRecordSize(hRequest, idIndex, nSize); });
}

VYR_EXPORT ID VDB_FreeKeyBuffer(void *lpKey) {
  return guarded<ID>(kFailure, [&]() -> ID { return freeKeyBuffer(lpKey); });
}

VYR_EXPORT ID VDB_SetBLOBSize(HREQUEST hRequest, const JCHAR *lpszColumn, uint32_t nSize) {
  return guarded<ID>(kFailure, [&]() -> ID {
    Access a;
    if (!access(hRequest, "VDB_SetBLOBSize", a)) return kFailure;
    BlobState *blob = binaryColumn(a, lpszColumn);
    if (blob == nullptr) return kFailure;
    blob->declared = true;
    blob->declaredSize = nSize;
    return VDB_SUCCESS;
  });
}

VYR_EXPORT ID VDB_GetBLOBSize(HREQUEST hRequest, const JCHAR *lpszColumn, uint32_t *lpnSize) {
  return guarded<ID>(kFailure, [&]() -> ID {
    Access a;
    if (!access(hRequest, "VDB_GetBLOBSize", a)) return kFailure;
    if (lpnSize == nullptr) {
      a.fail("no place for the size");
      return kFailure;
    }
    BlobState *blob = binaryColumn(a, lpszColumn);
    if (blob == nullptr) return kFailure;
    *lpnSize = blob->fetchedNull ? 0 : static_cast<uint32_t>(blob->fetched.size());
    return VDB_SUCCESS;
  });
}

VYR_EXPORT ID VDB_RetrieveF0010RowUsingCompanyNumber(HUSER hUser, const JCHAR *lpszCompany, void *lpRow) {
  return guarded<ID>(kFailure, [&]() -> ID {
    return retrieveRow(hUser, u"F0010", 5, lpszCompany, lpRow, "VDB_RetrieveF0010RowUsingCompanyNumber");
  });
}

VYR_EXPORT ID VDB_RetrieveF0013RowUsingCurrencyCode(HUSER hUser, const JCHAR *lpszCurrency, void *lpRow) {
  return guarded<ID>(kFailure, [&]() -> ID {
    return retrieveRow(hUser, u"F0013", 3, lpszCurrency, lpRow, "VDB_RetrieveF0013RowUsingCurrencyCode");
  });
}
