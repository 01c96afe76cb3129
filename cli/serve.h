// famoflas serve: the business functions over HTTP (JSON in, JSON out) for
// the users of F98SVUSR, each request on a fresh context signed on as its user.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace famoflas {

// Whether an option takes a value and belongs to serve (--listen, --threads, ...).
bool isServeOption(std::string_view name);
void printServeHelp(std::ostream &out);

// Serves until SIGTERM or SIGINT, then finishes the calls under way and
// returns 0. options: serve's own, in command-line order; settings: the
// --setting values every call starts from; database: the location calls use.
// Throws CommandError for options it refuses or a service that cannot start.
int runServeCommand(const std::vector<std::pair<std::string, std::string>> &options,
                    const std::vector<std::string> &positionals, const std::map<std::string, std::string> &settings,
                    const std::string &database);

}  // namespace famoflas
