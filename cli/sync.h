// famoflas sync: request documents of PIM clients run in order in this one
// process (the sync caches live from "getcount" to "getdetails"), each on a
// fresh context signed on as the given user, one response per stdout line.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace famoflas {

// files: paths, or - for stdin. settings: the context's, the user and the
// database location of its environment included. Prints the responses, says
// what went wrong on stderr, and returns the exit status: 0 when every
// document ran and its function returned 0 or 1, 2 when a function returned
// an error, 64 when a document was refused before anything ran.
int runSyncCommand(const std::vector<std::string> &files, const std::map<std::string, std::string> &settings);

}  // namespace famoflas
