// SQLite as a table backend: one database file shared by every connection,
// in WAL mode with a busy wait, so threads and processes can use it together.
#pragma once

#include <memory>
#include <string>

#include "db/backend.h"

namespace vyr::db {

std::unique_ptr<Backend> openSqliteBackend(const std::string &path, std::string *error);

}  // namespace vyr::db
