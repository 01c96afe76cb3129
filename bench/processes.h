// Rounds of benchmark processes that start together: the program runs copies
// of itself, waits until every one says it is ready (connected, prepared),
// then lets them all go at once and times them until the last one ends.
// The variables PREFIX_READY and PREFIX_START name the two pipe ends a copy
// uses (see waitForStart).
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern char **environ;

namespace benchprocesses {

// In a copy: says it is ready, then waits until the parent lets it go.
inline bool waitForStart(const std::string &prefix) {
  const int ready = std::atoi(std::getenv((prefix + "_READY").c_str()));
  const int start = std::atoi(std::getenv((prefix + "_START").c_str()));
  char byte = 'r';
  if (write(ready, &byte, 1) != 1) return false;
  close(ready);
  return read(start, &byte, 1) == 0;  // end of file: go
}

// Runs `processes` copies of this program with `variables` ("NAME=value")
// added to the environment (the caller's own PREFIX_ variables left out).
// Returns the seconds from the moment all were ready until the last one
// ended, or a negative value when one could not start or did not exit with 0.
inline double timedRound(const std::string &prefix, const std::vector<std::string> &variables, int processes) {
  int readyPipe[2], startPipe[2];
  if (pipe(readyPipe) != 0 || pipe(startPipe) != 0) return -1;
  // The copies keep only the write end of "ready" and the read end of "start".
  fcntl(readyPipe[0], F_SETFD, FD_CLOEXEC);
  fcntl(startPipe[1], F_SETFD, FD_CLOEXEC);
  std::vector<std::string> all = variables;
  all.push_back(prefix + "_READY=" + std::to_string(readyPipe[1]));
  all.push_back(prefix + "_START=" + std::to_string(startPipe[0]));
  for (char **e = environ; *e != nullptr; ++e)
    if (std::strncmp(*e, (prefix + "_").c_str(), prefix.size() + 1) != 0) all.push_back(*e);
  std::vector<char *> envp;
  for (std::string &v : all) envp.push_back(v.data());
  envp.push_back(nullptr);
  char *const argv[] = {const_cast<char *>("/proc/self/exe"), nullptr};
  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    pid_t child = 0;
    if (posix_spawn(&child, argv[0], nullptr, nullptr, argv, envp.data()) == 0) children.push_back(child);
  }
  close(readyPipe[1]);
  close(startPipe[0]);
  char byte;
  int ready = 0;
  while (ready < processes && read(readyPipe[0], &byte, 1) == 1) ++ready;
  close(readyPipe[0]);
  const auto begin = std::chrono::steady_clock::now();
  close(startPipe[1]);
  bool ok = ready == processes;
  for (pid_t child : children) {
    int status = 0;
    ok = waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return ok ? seconds : -1;
}

}  // namespace benchprocesses
