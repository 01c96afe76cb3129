// famoflas db: creating the tables of a database, loading rows from JSON and
// dumping a table back in the same form ({"F0007": [{"MMCU": "...", ...}, ...]},
// values in the command's value texts, binary columns in hex).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/context.h"
#include "vyrdb.h"

namespace famoflas {

// A command line or input that cannot be carried out (exit 64).
struct TablesCommandError {
  std::string message;
};

// Owns the handles of one command so every path releases them.
struct TableSession {
  LPBHVRCOM context = nullptr;
  HUSER user = nullptr;
  HREQUEST request = nullptr;
  TableSession() = default;
  TableSession(const TableSession &) = delete;
  TableSession &operator=(const TableSession &) = delete;
  ~TableSession() {
    closeRequest();
    if (user) VDB_FreeUser(user);
    vyr::freeContext(context);
  }
  void closeRequest() {
    if (request) VDB_CloseTable(request);
    request = nullptr;
  }
};

// A context on settings and a user handle on its database (commit mode 0:
// each statement commits; 1: VDB_CommitUser does). False with the reason.
bool openTableSession(const std::map<std::string, std::string> &settings, int commitMode, TableSession *session,
                      std::string *error);
// ": " and the context's last trace line (what the table layer said), or "".
std::string lastTrace(LPBHVRCOM context);

// arguments: "init" | "load" FILE|- | "dump" TABLE. settings: the context's,
// with the database location of its environment. Prints JSON, returns the
// exit status; throws TablesCommandError for what it refuses (a bad table,
// column or value names its row, and then nothing of the file is loaded).
int runTablesCommand(const std::vector<std::string> &arguments, const std::map<std::string, std::string> &settings);

}  // namespace famoflas
