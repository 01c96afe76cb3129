// The table layer as hosts (the famoflas command, the HTTP service, tests)
// drive it: opening databases, creating their tables, and the environment a
// context runs in.
//
// Settings of a context: "env" names its environment; "env.NAME" gives the
// location of NAME's database: postgresql://... (or postgres://...) is a
// PostgreSQL database in libpq's URI form, anything else an SQLite file path.
// Either gets every catalogue table it lacks on first open. Only
// initDatabase creates a database: opening an SQLite file that does not
// exist fails (so a mistyped path never passes for an empty database). A
// context whose environment has no location still gets behaviour handles;
// opening a table on them fails with a trace line that names the missing setting.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr VYR_HOST_API {
namespace db {

// A handle named `name` on the database at location (opened, and the tables
// it lacks created, when this process first uses it; the database must exist). Put it into a context's
// environment, pass it to VDB_InitUser, and release it with VDB_FreeEnv.
// NULL with *error when the database cannot be opened.
HENV openEnvironment(std::u16string_view name, const std::string &location, std::string *error);

// Creates the database at location when it does not exist (an SQLite file;
// *created says whether it was new), then every catalogue table and index it lacks.
bool initDatabase(const std::string &location, std::string *error, bool *created = nullptr);

// The environment of a context: the handle its host set, else the one its
// settings name, opened on first use and released with the context. NULL when
// the settings give no location (*error empty) or it cannot be opened (*error says why).
HENV contextEnvironment(LPBHVRCOM context, std::string *error);

// Closes the databases no handle uses any more (their pooled connections);
// returns how many. Databases stay open between calls otherwise.
size_t closeUnusedEnvironments();

// Row reads that reached the database on the calling thread since it started:
// each keyed fetch and each step of a scan (for update or not), found or not.
// Read it before and after a call to know what the call cost.
uint64_t rowFetchCount() noexcept;

// Kept by the runtime around each business-function call: while one lives on
// a thread, the fetches its SQLite handles make outside any transaction share
// one read snapshot per handle, taken by the first fetch and ended when the
// outermost scope ends, so a call pays for one read transaction instead of
// one per fetch. A write, lock or commit through the thread's handles ends
// their snapshots first, so reads never lag behind the call's own writes and
// a write never meets a stale snapshot. Other engines read as before.
class ReadSnapshotScope {
 public:
  ReadSnapshotScope() noexcept;
  ~ReadSnapshotScope();
  ReadSnapshotScope(const ReadSnapshotScope &) = delete;
  ReadSnapshotScope &operator=(const ReadSnapshotScope &) = delete;
};

// Whether a location names a PostgreSQL database (postgresql://... or postgres://...).
bool isPostgresLocation(std::string_view location);
// The location as messages show it: a password in it replaced by ***.
std::string redactLocation(std::string_view location);

}  // namespace db
}  // namespace VYR_HOST_API
