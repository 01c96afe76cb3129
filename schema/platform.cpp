// The platform's own tables, kept in the same database as the application
// tables. No business function reads them: the famoflas command maintains
// them and the HTTP service reads them.
#include "db/catalog.h"

namespace {

using namespace vyr::db;
using namespace vyr::db::schema;

std::vector<TableSpec> declare() {
  return {
      // One row per user of `famoflas serve`. USER is the name a client
      // signs on with (and the context's user id); PWHASH is the Argon2id
      // string of libsodium's crypto_pwhash_str (parameters and salt included).
      {u"F98SVUSR",
       "users of the HTTP service: name, Argon2id password hash, when the password was set",
       {str(u"USER", 10), str(u"PWHASH", 128), utime(u"PWCHG")},
       {unique(1, {asc(u"USER")})}},

      // A user's settings, one row per key (the keys of --setting); they apply
      // to every call the user makes through the service.
      {u"F98SVSET",
       "settings of the HTTP service's users: user, setting key, value",
       {str(u"USER", 10), str(u"SETKEY", 20), str(u"SETVAL", 256)},
       {unique(1, {asc(u"USER"), asc(u"SETKEY")})}},
  };
}

const CatalogSection kPlatformTables(declare);

}  // namespace
