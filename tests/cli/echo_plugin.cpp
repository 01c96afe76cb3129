// Business functions the command tests load with --library: one member of
// every kind, and a report of what the context was given.
#include <string>

#include "../types/every_kind.h"
#include "frame/bsfn.h"
#include "runtime/context.h"

#define DSECHO_MEMBERS(M, S) \
  EVERY_KIND_MEMBERS(M, S)   \
  M(S, INT, nLength, 0)      \
  M(S, ID, idReturn, 0)
FAMOFLAS_DS(DSECHO, DSECHO_MEMBERS)

// Leaves every member as given, counts the text's characters into nLength,
// traces the text, and returns idReturn (with an error on member 1 unless 0).
FAMOFLAS_BSFN ID EchoMembers(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<DSECHO *>(lpVoidDS);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "ECHOOBJ", __LINE__)) return ER_ERROR;
  ds->nLength = static_cast<int32_t>(vyrStrlen(ds->szText));
  DebugTraceFn(u"echo '%ls'", ds->szText);
  if (ds->idReturn != ER_SUCCESS) BsfnErrorWithText(lpBhvrCom, lpVoid, 1, u"ECHO", ds->szText, "ECHOOBJ", 42);
  return ds->idReturn;
}
FAMOFLAS_REGISTER(EchoMembers, &DSECHO_template, "ECHOOBJ")

#define DSECHOSETTINGS_MEMBERS(M, S) \
  M(S, STRING, szUser, 10)           \
  M(S, STRING, szCountry, 3)         \
  M(S, STRING, szDatabase, 200)
FAMOFLAS_DS(DSECHOSETTINGS, DSECHOSETTINGS_MEMBERS)

// The user, the country and the database location of the context's environment.
FAMOFLAS_BSFN ID EchoSettings(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<DSECHOSETTINGS *>(lpVoidDS);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "ECHOOBJ", __LINE__)) return ER_ERROR;
  vyrGetUserInfo(lpBhvrCom, u"USER", ds->szUser, 11);
  vyrGetUserInfo(lpBhvrCom, u"CTR", ds->szCountry, 4);
  const std::string database = vyr::setting(lpBhvrCom, "env." + vyr::setting(lpBhvrCom, "env"));
  vyrToUnicode(ds->szDatabase, database.c_str(), 201);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(EchoSettings, &DSECHOSETTINGS_template, "ECHOOBJ")

#define DSECHODATABASE_MEMBERS(M, S) M(S, CHAR, cOpened, 0)
FAMOFLAS_DS(DSECHODATABASE, DSECHODATABASE_MEMBERS)

// Asks for the context's database and says in cOpened whether it came;
// succeeds either way, as a function that can do without it would.
FAMOFLAS_BSFN ID EchoDatabase(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  auto *ds = static_cast<DSECHODATABASE *>(lpVoidDS);
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, "ECHOOBJ", __LINE__)) return ER_ERROR;
  ds->cOpened = vyrGetBhvrEnvironment(lpBhvrCom) != nullptr ? u'1' : u'0';
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(EchoDatabase, &DSECHODATABASE_template, "ECHOOBJ")

FAMOFLAS_DEFINE_CATALOG(famoflasCatalog)
