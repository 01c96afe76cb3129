// VDB_* entry points of behaviour and user handles and of environments.
#include <cstring>

#include "db/host.h"
#include "db/layer.h"
#include "db/values.h"
#include "runtime/context.h"
#include "vyrdb.h"

namespace vyr::db {
namespace {

constexpr ID kFailure = VDB_FAILED;

void releaseUserResource(void *handle) noexcept {
  try {
    if (std::shared_ptr<User> user = users().take(handleId(handle))) {
      std::lock_guard<std::mutex> guard(user->lock);
      freeUser(*user);
    }
  } catch (...) {
  }
}

std::u16string nameOf(const JCHAR *text) {
  std::u16string buffer;
  if (text == nullptr) return {};
  return std::u16string(readField(text, 64, buffer));
}

// A new handle on the given environment handle (0: the context's).
ID newUser(LPBHVRCOM context, HENV hEnv, bool userTransaction, std::string_view operation, HUSER *out) {
  auto user = std::make_shared<User>();
  user->context = context;
  user->failSetting = &context->settings["fail"];  // map nodes stay put while the context lives
  user->userTransaction = userTransaction;
  if (hEnv == nullptr) {
    std::string error;
    hEnv = contextEnvironment(context, &error);
    if (hEnv == nullptr && !error.empty()) {
      traceFailure(context, operation, error);
      raiseDatabaseError(context, DatabaseFailure::CannotOpen, fromUtf8(setting(context, "env")));
      return kFailure;
    }
    user->environmentName = fromUtf8(setting(context, "env"));
  }
  if (hEnv != nullptr) {
    std::shared_ptr<EnvHandle> env = envHandles().find(handleId(hEnv));
    if (!env) {
      traceFailure(context, operation, "unknown or freed environment handle");
      return kFailure;
    }
    user->environment = env->environment;
    user->environmentName = env->name;
    user->envHandle = handleId(hEnv);
  }
  user->id = users().add(user);
  HUSER handle = asHandle<HUSER>(user->id);
  registerResource(context, ContextResource{handle, releaseUserResource});
  *out = handle;
  return VDB_SUCCESS;
}

ID freeHandle(HUSER hUser) {
  std::shared_ptr<User> user = users().take(handleId(hUser));
  if (!user) return kFailure;
  std::lock_guard<std::mutex> guard(user->lock);
  const bool committed = freeUser(*user);
  unregisterResource(user->context, hUser);
  return committed ? VDB_SUCCESS : kFailure;
}

// An environment handle for `name` (blank: the context's own environment).
ID newEnvironmentHandle(LPBHVRCOM context, const JCHAR *lpszName, std::string_view operation, HENV *out) {
  const std::string current = setting(context, "env");
  std::u16string name = nameOf(lpszName);
  if (name.empty()) name = fromUtf8(current);
  const std::string utf8Name = toUtf8(name);
  std::shared_ptr<Environment> environment;
  if (utf8Name == current) {
    std::string error;
    if (HENV own = contextEnvironment(context, &error)) {
      if (std::shared_ptr<EnvHandle> handle = envHandles().find(handleId(own))) environment = handle->environment;
    } else if (!error.empty()) {
      traceFailure(context, operation, error);
      raiseDatabaseError(context, DatabaseFailure::CannotOpen, name);
      return kFailure;
    }
  }
  if (!environment) {
    const std::string location = setting(context, "env." + utf8Name);
    if (location.empty()) {
      traceFailure(context, operation, "environment " + utf8Name + " has no database (setting env." + utf8Name + ")");
      return kFailure;
    }
    std::string error;
    environment = openEnvironment(location, &error);
    if (!environment) {
      traceFailure(context, operation, error);
      raiseDatabaseError(context, DatabaseFailure::CannotOpen, name);
      return kFailure;
    }
  }
  auto handle = std::make_shared<EnvHandle>();
  handle->environment = std::move(environment);
  handle->name = name;
  *out = asHandle<HENV>(envHandles().add(std::move(handle)));
  return VDB_SUCCESS;
}

}  // namespace
}  // namespace vyr::db

using namespace vyr::db;

// ---- Behaviour and user handles ------------------------------------------------------

VYR_EXPORT ID VDB_InitBhvr(LPBHVRCOM lpBhvrCom, HUSER *lphUser, const JCHAR *, int) {
  try {
    if (lphUser) *lphUser = nullptr;
    if (lpBhvrCom == nullptr) return kFailure;
    if (lphUser == nullptr) {
      traceFailure(lpBhvrCom, "VDB_InitBhvr", "no place for the handle (null lphUser)");
      return kFailure;
    }
    if (vyr::faultRequested(lpBhvrCom, "VDB_InitBhvr")) {
      traceFailure(lpBhvrCom, "VDB_InitBhvr", "failure forced by the fail setting");
      return kFailure;
    }
    return newUser(lpBhvrCom, nullptr, false, "VDB_InitBhvr", lphUser);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_FreeBhvr(HUSER hUser) {
  try {
    return freeHandle(hUser);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_InitUser(LPBHVRCOM lpBhvrCom, HUSER *lphUser, HENV hEnv, int nCommitMode) {
  try {
    if (lphUser) *lphUser = nullptr;
    if (lpBhvrCom == nullptr) return kFailure;
    if (lphUser == nullptr) {
      traceFailure(lpBhvrCom, "VDB_InitUser", "no place for the handle (null lphUser)");
      return kFailure;
    }
    if (nCommitMode != 0 && nCommitMode != 1) {
      traceFailure(lpBhvrCom, "VDB_InitUser", "commit mode " + std::to_string(nCommitMode) + " is neither 0 nor 1");
      return kFailure;
    }
    if (vyr::faultRequested(lpBhvrCom, "VDB_InitUser")) {
      traceFailure(lpBhvrCom, "VDB_InitUser", "failure forced by the fail setting");
      return kFailure;
    }
    return newUser(lpBhvrCom, hEnv, nCommitMode == 1, "VDB_InitUser", lphUser);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_FreeUser(HUSER hUser) {
  try {
    return freeHandle(hUser);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_CommitUser(HUSER hUser) {
  try {
    std::shared_ptr<User> user = users().find(handleId(hUser));
    if (!user) return kFailure;
    std::lock_guard<std::mutex> guard(user->lock);
    if (user->closed) return kFailure;
    if (vyr::faultRequested(user->context, "VDB_CommitUser")) {
      traceFailure(user->context, "VDB_CommitUser", "failure forced by the fail setting");
      return kFailure;
    }
    if (user->transactionLost) {
      // Part of the work since the last commit is gone: none of it may pass for committed.
      user->transactionLost = false;
      if (user->inTransaction && user->connection) user->connection->connection->rollback();
      endTransaction(*user, true);
      traceFailure(user->context, "VDB_CommitUser",
                   "a failed statement or a lost connection rolled back the transaction; nothing since the last "
                   "commit was committed");
      raiseDatabaseError(user->context, DatabaseFailure::Commit, user->environmentName);
      return kFailure;
    }
    // A handle without a transaction of its own has committed everything already.
    if (!user->userTransaction || !user->inTransaction) return VDB_SUCCESS;
    Connection &connection = *user->connection->connection;
    if (!connection.commit()) {
      traceFailure(user->context, "VDB_CommitUser", "commit failed: " + connection.lastError());
      raiseDatabaseError(user->context, DatabaseFailure::Commit, user->environmentName);
      afterFailure(*user, "VDB_CommitUser");
      user->transactionLost = false;  // this failure is the one reported
      return kFailure;
    }
    endTransaction(*user, false);
    endReadSnapshots(*user);
    return VDB_SUCCESS;
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_RollbackUser(HUSER hUser) {
  try {
    std::shared_ptr<User> user = users().find(handleId(hUser));
    if (!user) return kFailure;
    std::lock_guard<std::mutex> guard(user->lock);
    if (user->closed) return kFailure;
    if (vyr::faultRequested(user->context, "VDB_RollbackUser")) {
      traceFailure(user->context, "VDB_RollbackUser", "failure forced by the fail setting");
      return kFailure;
    }
    if (!user->userTransaction) {
      traceFailure(user->context, "VDB_RollbackUser",
                   "the handle commits each statement (commit mode 0); there is nothing to roll back");
      return kFailure;
    }
    user->transactionLost = false;
    if (!user->inTransaction) return VDB_SUCCESS;
    // Scans of the rolled-back transaction cannot go on.
    for (uint64_t id : user->requests)
      if (std::shared_ptr<Request> request = requests().find(id); request && request->scanStatement)
        request->scanStatement->reset();
    const bool rolledBack = user->connection->connection->rollback();
    endTransaction(*user, true);
    if (!rolledBack)
      statementFailed(*user, "VDB_RollbackUser", user->environmentName,
                      "rollback failed: " + user->connection->connection->lastError());
    return rolledBack ? VDB_SUCCESS : kFailure;
  } catch (...) {
    return kFailure;
  }
}

// ---- Environments ------------------------------------------------------------------------

VYR_EXPORT ID VDB_InitEnv(LPBHVRCOM lpBhvrCom, HENV *lphEnv, const JCHAR *lpszEnvironment) {
  try {
    if (lphEnv) *lphEnv = nullptr;
    if (lpBhvrCom == nullptr) return kFailure;
    if (lphEnv == nullptr) {
      traceFailure(lpBhvrCom, "VDB_InitEnv", "no place for the handle (null lphEnv)");
      return kFailure;
    }
    if (vyr::faultRequested(lpBhvrCom, "VDB_InitEnv", nameOf(lpszEnvironment))) {
      traceFailure(lpBhvrCom, "VDB_InitEnv", "failure forced by the fail setting");
      return kFailure;
    }
    return newEnvironmentHandle(lpBhvrCom, lpszEnvironment, "VDB_InitEnv", lphEnv);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_InitSecondaryEnv(LPBHVRCOM lpBhvrCom, const JCHAR *lpszEnvironment, HENV *lphEnv) {
  try {
    if (lphEnv) *lphEnv = nullptr;
    if (lpBhvrCom == nullptr) return kFailure;
    if (lphEnv == nullptr || nameOf(lpszEnvironment).empty()) {
      traceFailure(lpBhvrCom, "VDB_InitSecondaryEnv", "needs an environment name and a place for the handle");
      return kFailure;
    }
    if (vyr::faultRequested(lpBhvrCom, "VDB_InitSecondaryEnv", nameOf(lpszEnvironment))) {
      traceFailure(lpBhvrCom, "VDB_InitSecondaryEnv", "failure forced by the fail setting");
      return kFailure;
    }
    return newEnvironmentHandle(lpBhvrCom, lpszEnvironment, "VDB_InitSecondaryEnv", lphEnv);
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_FreeEnv(HENV hEnv) {
  try {
    return envHandles().take(handleId(hEnv)) ? VDB_SUCCESS : kFailure;
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_GetEnv(HUSER hUser, HENV *lphEnv) {
  try {
    if (lphEnv) *lphEnv = nullptr;
    std::shared_ptr<User> user = users().find(handleId(hUser));
    if (!user || lphEnv == nullptr) return kFailure;
    std::lock_guard<std::mutex> guard(user->lock);
    if (user->closed || user->envHandle == 0 || !envHandles().find(user->envHandle)) {
      traceFailure(user->context, "VDB_GetEnv", "the handle has no open environment");
      return kFailure;
    }
    *lphEnv = asHandle<HENV>(user->envHandle);
    return VDB_SUCCESS;
  } catch (...) {
    return kFailure;
  }
}

VYR_EXPORT ID VDB_GetEnvironment(HENV hEnv, JCHAR *lpszName, size_t nSize) {
  try {
    std::shared_ptr<EnvHandle> env = envHandles().find(handleId(hEnv));
    if (!env || lpszName == nullptr || nSize == 0) return kFailure;
    const size_t n = std::min(env->name.size(), nSize - 1);
    std::memcpy(lpszName, env->name.data(), n * sizeof(JCHAR));
    lpszName[n] = 0;
    return VDB_SUCCESS;
  } catch (...) {
    return kFailure;
  }
}
