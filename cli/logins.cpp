#include "logins.h"

#include <sodium.h>

#include <algorithm>

namespace famoflas {
namespace {

// Bounds on what one process remembers: names beyond these are not tracked
// rather than letting a flood of names grow the maps.
constexpr size_t kMaxTrackedNames = 10000;
// A name's failures are forgotten this long after its block ended.
constexpr std::chrono::minutes kFailureMemory{15};

}  // namespace

std::optional<BasicCredentials> basicCredentials(std::string_view header) {
  constexpr std::string_view scheme = "basic ";
  if (header.size() <= scheme.size()) return std::nullopt;
  for (size_t i = 0; i < scheme.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(header[i])) != scheme[i]) return std::nullopt;
  std::string_view encoded = header.substr(scheme.size());
  while (!encoded.empty() && encoded.front() == ' ') encoded.remove_prefix(1);
  while (!encoded.empty() && encoded.back() == ' ') encoded.remove_suffix(1);
  if (encoded.empty() || encoded.size() > 4096 || sodium_init() < 0) return std::nullopt;
  std::string decoded(encoded.size(), '\0');
  size_t length = 0;
  if (sodium_base642bin(reinterpret_cast<unsigned char *>(decoded.data()), decoded.size(), encoded.data(),
                        encoded.size(), nullptr, &length, nullptr, sodium_base64_VARIANT_ORIGINAL) != 0)
    return std::nullopt;
  decoded.resize(length);
  const size_t colon = decoded.find(':');
  if (colon == std::string::npos) return std::nullopt;
  return BasicCredentials{decoded.substr(0, colon), decoded.substr(colon + 1)};
}

Logins::Logins() {
  if (sodium_init() < 0) return;  // every verification then fails: nobody signs on
  randombytes_buf(key_, sizeof key_);
  unsigned char random[16];
  randombytes_buf(random, sizeof random);
  char hash[crypto_pwhash_STRBYTES];
  if (crypto_pwhash_str(hash, reinterpret_cast<const char *>(random), sizeof random, crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) == 0)
    dummyHash_ = hash;
}

void Logins::tagOf(std::string_view password, unsigned char (&tag)[32]) const {
  crypto_generichash(tag, sizeof tag, reinterpret_cast<const unsigned char *>(password.data()), password.size(), key_,
                     sizeof key_);
}

bool Logins::verify(const std::string &hash, std::string_view password) {
  // Each verification takes tens of megabytes: a few at a time keep a flood
  // of wrong passwords from exhausting memory.
  verifications_.acquire();
  const bool match = passwordMatches(hash, password);
  verifications_.release();
  return match;
}

LoginOutcome Logins::check(const std::map<std::string, std::string> &settings, const BasicCredentials &credentials) {
  LoginOutcome outcome;
  const auto now = std::chrono::steady_clock::now();
  {
    std::lock_guard guard(lock_);
    const auto it = failures_.find(credentials.name);
    if (it != failures_.end() && now < it->second.until) {
      outcome.verdict = LoginVerdict::Throttled;
      const auto wait = std::chrono::ceil<std::chrono::seconds>(it->second.until - now);
      outcome.retryAfter = static_cast<int>(std::max<int64_t>(1, wait.count()));
      return outcome;
    }
  }
  std::string error;
  const UserLookup found = findUser(settings, credentials.name, &outcome.user, &error);
  if (found == UserLookup::Failed) {
    outcome.verdict = LoginVerdict::Unavailable;
    outcome.error = error;
    return outcome;
  }
  bool accepted = false;
  if (found == UserLookup::Missing) {
    if (!dummyHash_.empty()) verify(dummyHash_, credentials.password);
  } else {
    unsigned char tag[32];
    tagOf(credentials.password, tag);
    bool remembered = false;
    {
      std::lock_guard guard(lock_);
      const auto it = verified_.find(outcome.user.name);
      remembered = it != verified_.end() && it->second.hash == outcome.user.hash &&
                   sodium_memcmp(it->second.tag, tag, sizeof tag) == 0;
    }
    accepted = remembered || verify(outcome.user.hash, credentials.password);
    if (accepted && !remembered) {
      std::lock_guard guard(lock_);
      if (verified_.size() >= kMaxTrackedNames) verified_.clear();
      Verified &entry = verified_[outcome.user.name];
      entry.hash = outcome.user.hash;
      std::copy(std::begin(tag), std::end(tag), std::begin(entry.tag));
    }
  }

  // The block counts from the answer, not from the start of a slow verification.
  const auto answered = std::chrono::steady_clock::now();
  std::lock_guard guard(lock_);
  if (accepted) {
    failures_.erase(credentials.name);
    outcome.verdict = LoginVerdict::Accepted;
    return outcome;
  }
  outcome.user = ServiceUser{};
  outcome.verdict = LoginVerdict::Refused;
  if (failures_.size() >= kMaxTrackedNames)
    std::erase_if(failures_, [&](const auto &entry) { return entry.second.until + kFailureMemory < answered; });
  auto it = failures_.find(credentials.name);
  if (it == failures_.end()) {
    if (failures_.size() >= kMaxTrackedNames) return outcome;
    it = failures_.emplace(credentials.name, Failures{}).first;
  } else if (it->second.until + kFailureMemory < answered) {
    it->second.count = 0;
  }
  Failures &failures = it->second;
  failures.count = std::min(failures.count + 1, 30);
  const auto block = std::min<std::chrono::steady_clock::duration>(
      kFirstBlock * (int64_t{1} << std::min(failures.count - 1, 20)), kLongestBlock);
  failures.until = answered + block;
  return outcome;
}

}  // namespace famoflas
