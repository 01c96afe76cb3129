// User, system and environment queries, answered from the settings of the
// context, and the process facts (host, pid, GUIDs, unique ids).
#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <string>

#include "db/layer.h"
#include "runtime/context.h"
#include "runtime/jtext.h"
#include "unicode/jchar_utf8.h"

namespace vyr {
namespace {

struct ItemKey {
  std::u16string_view item;  // as the libraries ask
  const char *setting;       // key in the context's settings
};

// Answers one item from the context's settings (the current one when none is
// given); unknown items and missing contexts answer ER_ERROR and "".
template <size_t N>
ID answer(LPBHVRCOM context, const ItemKey (&items)[N], const JCHAR *lpszItem, JCHAR *out, size_t nSize) noexcept {
  if (out == nullptr || nSize == 0) return ER_ERROR;
  out[0] = 0;
  if (context == nullptr) context = currentContext();
  if (!isLiveContext(context) || lpszItem == nullptr) return ER_ERROR;
  const std::u16string_view wanted = trimmed(lpszItem);
  for (const ItemKey &item : items) {
    if (item.item != wanted) continue;
    try {
      copyOut(fromUtf8(setting(context, item.setting)), out, nSize);
      return ER_SUCCESS;
    } catch (...) {
      return ER_ERROR;
    }
  }
  return ER_ERROR;
}

const ItemKey kUserItems[] = {
    {u"USER", "user"}, {u"AN8", "an8"},         {u"CTR", "CTR"},         {u"LNGP", "LNGP"},
    {u"ENV", "env"},   {u"PROGRAM", "program"}, {u"MACHINE", "machine"},
};
const ItemKey kSystemConstants[] = {{u"NNO", "NNO"}};
const ItemKey kEnvironmentValues[] = {{u"CRMMSL", "CRMMSL"}, {u"TAXPLUGIN", "taxplugin"}};
const ItemKey kCurrency[] = {{u"", "currency"}};

std::atomic<ID> gNextUniqueId{0};

bool currentSettingIs(const char *key, std::string_view value) noexcept {
  LPBHVRCOM context = currentContext();
  if (context == nullptr) return false;
  const auto it = context->settings.find(key);
  return it != context->settings.end() && it->second == value;
}

}  // namespace
}  // namespace vyr

VYR_EXPORT ID vyrGetUserInfo(LPBHVRCOM lpBhvrCom, const JCHAR *lpszItem, JCHAR *lpszOut, size_t nSize) {
  return vyr::answer(lpBhvrCom, vyr::kUserItems, lpszItem, lpszOut, nSize);
}

VYR_EXPORT ID vyrGetSystemConstantValues(LPBHVRCOM lpBhvrCom, const JCHAR *lpszConstant, JCHAR *lpszOut, size_t nSize) {
  return vyr::answer(lpBhvrCom, vyr::kSystemConstants, lpszConstant, lpszOut, nSize);
}

VYR_EXPORT ID vyrGetEnvironmentValue(LPBHVRCOM lpBhvrCom, const JCHAR *lpszKey, JCHAR *lpszOut, size_t nSize) {
  return vyr::answer(lpBhvrCom, vyr::kEnvironmentValues, lpszKey, lpszOut, nSize);
}

VYR_EXPORT ID vyrGetCurrencyCode(LPBHVRCOM lpBhvrCom, JCHAR *lpszOut, size_t nSize) {
  return vyr::answer(lpBhvrCom, vyr::kCurrency, u"", lpszOut, nSize);
}

VYR_EXPORT int vyrGetClientType(void) {
  // Without a current context the process acts as a connected client.
  return vyr::currentSettingIs("clienttype", "2") ? 2 : 1;
}

// Read from the context the behaviour handle belongs to; a handle that is
// not (or no longer) one answers ER_ERROR.
VYR_EXPORT ID vyrSecIsLDAPAuthenticationEnabled(HUSER hUser, int *lpnEnabled) {
  if (lpnEnabled == nullptr) return ER_ERROR;
  *lpnEnabled = 0;
  const std::shared_ptr<vyr::db::User> user = vyr::db::users().find(vyr::db::handleId(hUser));
  if (user == nullptr || !vyr::isLiveContext(user->context)) return ER_ERROR;
  *lpnEnabled = vyr::setting(user->context, "ldap") == "1" ? 1 : 0;
  return ER_SUCCESS;
}

VYR_EXPORT ID vyrGetHostName(JCHAR *lpszOut, size_t nSize) {
  if (lpszOut == nullptr || nSize == 0) return ER_ERROR;
  lpszOut[0] = 0;
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof name - 1) != 0) return ER_ERROR;
  try {
    vyr::copyOut(vyr::fromUtf8(name), lpszOut, nSize);
  } catch (...) {
    return ER_ERROR;
  }
  return ER_SUCCESS;
}

VYR_EXPORT int vyrGetPid(void) { return static_cast<int>(getpid()); }

VYR_EXPORT ID vyrCreateGuidString(JCHAR *lpszOut, size_t nSize) {
  constexpr size_t kGuidChars = 36;
  if (lpszOut == nullptr || nSize == 0) return ER_ERROR;
  lpszOut[0] = 0;
  if (nSize < kGuidChars + 1) return ER_ERROR;
  unsigned char bytes[16];
  size_t got = 0;
  while (got < sizeof bytes) {
    const ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
    if (n < 0) return ER_ERROR;
    got += static_cast<size_t>(n);
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // variant 1
  static const char kHex[] = "0123456789abcdef";
  size_t pos = 0;
  for (size_t i = 0; i < sizeof bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) lpszOut[pos++] = u'-';
    lpszOut[pos++] = static_cast<JCHAR>(kHex[bytes[i] >> 4]);
    lpszOut[pos++] = static_cast<JCHAR>(kHex[bytes[i] & 0x0F]);
  }
  lpszOut[pos] = 0;
  return ER_SUCCESS;
}

VYR_EXPORT ID vyrUniqueId(void) {
  ID id;
  do {
    id = vyr::gNextUniqueId.fetch_add(1, std::memory_order_relaxed) + 1;
  } while (id == 0);  // skipped when the counter wraps
  return id;
}
