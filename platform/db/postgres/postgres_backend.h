// PostgreSQL as a table backend, through libpq: one server database shared by
// the connections of many application processes. Statements are prepared on
// the server once per connection and always run with bound parameters; rows
// come back in binary form. A statement that fails inside a transaction has
// the server abort it, so the connection rolls it back at once; a connection
// that broke reports so and is discarded by the layer. Nothing waits on the
// server without a deadline (the statement timeout plus a few seconds): a
// server that stops answering breaks the connection instead. Scans read
// their rows through a cursor, a page at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "db/backend.h"
#include "db/host.h"

namespace vyr::db {

// A backend for a postgresql:// or postgres:// location (libpq's URI form).
// Connecting happens on first use.
std::unique_ptr<Backend> openPostgresBackend(const std::string &location, std::string *error);

}  // namespace vyr::db
