// The famoflas command.
#include <cstdio>

#include <CLI/CLI.hpp>

int main(int argc, char **argv) {
  CLI::App app{"famoflas - call FAMOFLAS business functions by name"};
  app.set_version_flag("--version", std::string("famoflas ") + FAMOFLAS_VERSION);
  CLI11_PARSE(app, argc, argv);
  std::printf("famoflas %s\n", FAMOFLAS_VERSION);
  return 0;
}
