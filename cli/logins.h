// Who a request is: HTTP Basic credentials checked against F98SVUSR. Argon2id
// verification is slow on purpose, so a password once verified is remembered
// (as a keyed hash, beside the stored hash it matched) until the stored hash
// changes; failed logins block their user name for a time that doubles with
// each failure; only a few verifications run at once.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <unordered_map>

#include "users.h"

namespace famoflas {

struct BasicCredentials {
  std::string name;
  std::string password;
};

// The credentials of an Authorization header ("Basic base64(name:password)");
// nullopt when there are none or they cannot be read.
std::optional<BasicCredentials> basicCredentials(std::string_view header);

enum class LoginVerdict { Accepted, Refused, Throttled, Unavailable };

struct LoginOutcome {
  LoginVerdict verdict = LoginVerdict::Refused;
  ServiceUser user;    // Accepted: the user with their settings
  int retryAfter = 0;  // Throttled: seconds until the name may try again
  std::string error;   // Unavailable: why the users cannot be read
};

class Logins {
 public:
  Logins();
  // settings: the host's, naming the database of the users.
  LoginOutcome check(const std::map<std::string, std::string> &settings, const BasicCredentials &credentials);

  // The first failure blocks a name this long; each further one doubles it, up to kLongestBlock.
  static constexpr std::chrono::milliseconds kFirstBlock{1000};
  static constexpr std::chrono::seconds kLongestBlock{60};

 private:
  struct Failures {
    int count = 0;
    std::chrono::steady_clock::time_point until;
  };
  struct Verified {
    std::string hash;            // the stored hash the password matched
    unsigned char tag[32] = {};  // keyed hash of the password
  };

  bool verify(const std::string &hash, std::string_view password);
  void tagOf(std::string_view password, unsigned char (&tag)[32]) const;

  unsigned char key_[32] = {};  // per process: tags mean nothing outside it
  std::string dummyHash_;       // verified against for unknown names, so they take as long
  std::counting_semaphore<64> verifications_{2};
  std::mutex lock_;
  std::unordered_map<std::string, Failures> failures_;
  std::unordered_map<std::string, Verified> verified_;
};

}  // namespace famoflas
