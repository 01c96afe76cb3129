// Races between processes: the test program starts copies of itself with a
// variable set; a copy sees it in its static initialisation, does the work
// and exits with 0 when all went well, before any test runs.
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

extern char **environ;

namespace racetest {

// Runs `count` copies at once with variable=value and expects each to exit with 0.
inline void expectCopiesSucceed(const char *variable, const std::string &value, int count) {
  setenv(variable, value.c_str(), 1);
  std::vector<pid_t> copies(static_cast<size_t>(count));
  char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
  for (pid_t &copy : copies)
    if (posix_spawn(&copy, argv[0], nullptr, nullptr, argv, environ) != 0) copy = -1;
  unsetenv(variable);
  for (pid_t copy : copies) {
    int status = 0;
    ASSERT_GT(copy, 0) << "cannot start a process";
    ASSERT_EQ(waitpid(copy, &status, 0), copy);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "a copy ended with status " << (WIFEXITED(status) ? WEXITSTATUS(status) : -1);
  }
}

}  // namespace racetest
