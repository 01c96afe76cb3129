// The famoflas command.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "db/host.h"

int main(int argc, char **argv) {
  CLI::App app{"famoflas - call FAMOFLAS business functions by name"};
  app.set_version_flag("--version", std::string("famoflas ") + FAMOFLAS_VERSION);
  std::string database;
  app.add_option("--db", database,
                 "database to work on: an SQLite file, or postgresql://... (postgres://...) for a PostgreSQL "
                 "server; the catalogue tables it lacks are created");
  CLI11_PARSE(app, argc, argv);
  if (!database.empty()) {
    std::string error;
    if (!vyr::db::initDatabase(database, &error)) {
      std::fprintf(stderr, "famoflas: %s\n", error.c_str());
      return 1;
    }
    std::printf("famoflas %s: database ready\n", FAMOFLAS_VERSION);
    return 0;
  }
  std::printf("famoflas %s\n", FAMOFLAS_VERSION);
  return 0;
}
