// Users of the HTTP service: their names, Argon2id password hashes and
// settings in the platform tables F98SVUSR and F98SVSET of the database, the
// `famoflas user` command that maintains them, and the installation's
// password policy that every new password must pass.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "run.h"

namespace famoflas {

struct ServiceUser {
  std::string name;
  std::string hash;  // crypto_pwhash_str form
  std::string passwordChanged;
  std::map<std::string, std::string> settings;
};

enum class UserLookup { Found, Missing, Failed };

// The user of that name with their settings, read from the database that
// settings (the host's, with the environment's location) name. Failed sets
// *error.
UserLookup findUser(const std::map<std::string, std::string> &settings, std::string_view name, ServiceUser *user,
                    std::string *error);

// Whether password matches an Argon2id hash (constant time in the password).
bool passwordMatches(const std::string &hash, std::string_view password);

// Why a name cannot be a user's ("" when it can): 1 to 10 of A-Z a-z 0-9 . _ -
std::string userNameProblem(std::string_view name);

// arguments: add NAME | passwd NAME | remove NAME | list | set NAME KEY=VALUE...
// (passwords are read from stdin). Prints JSON, returns the exit status;
// throws CommandError for what it refuses.
int runUserCommand(const std::vector<std::string> &arguments, const std::map<std::string, std::string> &settings);

// Installs the default password policy when the database has none. True
// with what is in force in *said ("default installed: ..." or "kept the one
// there"); false with the reason.
bool ensurePasswordPolicy(const std::map<std::string, std::string> &settings, std::string *said);

}  // namespace famoflas
