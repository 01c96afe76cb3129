// famoflas db: creating the tables of a database, loading rows from JSON and
// dumping a table back in the same form ({"F0007": [{"MMCU": "...", ...}, ...]},
// values in the command's value texts, binary columns in hex).
#pragma once

#include <map>
#include <string>
#include <vector>

namespace famoflas {

// A command line or input that cannot be carried out (exit 64).
struct TablesCommandError {
  std::string message;
};

// arguments: "init" | "load" FILE|- | "dump" TABLE. settings: the context's,
// with the database location of its environment. Prints JSON, returns the
// exit status; throws TablesCommandError for what it refuses (a bad table,
// column or value names its row, and then nothing of the file is loaded).
int runTablesCommand(const std::vector<std::string> &arguments, const std::map<std::string, std::string> &settings);

}  // namespace famoflas
