// What an operation answers: "no row" is not a failure, and a failure of the
// database says so, both in the result and with an error on the context.
#include "db_fixture.h"
#include "unicode/jchar_utf8.h"

namespace {

using dbtest::Counter;
using dbtest::counter;
using dbtest::number;
using dbtest::set;

// The errors on a context, each as "id text".
std::vector<std::string> errorsOf(LPBHVRCOM context) {
  std::vector<std::string> out;
  for (const vyr::ErrorRecord &e : context->errors) out.push_back(vyr::toUtf8(e.id + u" " + e.text));
  return out;
}

class Outcomes : public dbtest::DbTest {};

TEST_P(Outcomes, NoRowIsNotFoundAndWhatTheDatabaseRefusesIsFailedWithItsError) {
  addCounter(u"HERE", "1");
  HREQUEST counters = open(u"F00022"), currencies = open(u"F0013");
  ASSERT_TRUE(rawSql("DROP TABLE \"F0013\""));  // behind the layer's back
  Counter c{};
  const Counter here = counter(u"HERE", "2");
  NID ukid[1];
  set(ukid[0], u"UKID");
  JCHAR currency[4] = u"EUR";
  std::vector<unsigned char> currencyRow(4096);
  using Errors = std::vector<std::string>;
  const struct {
    const char *what;
    std::function<ID()> call;
    ID answer;
    Errors errors;
  } cases[] = {
      {"fetch of a missing key", [&] { return VDB_FetchKeyed(counters, 1, u"NONE", 1, &c, 0); }, VDB_NOT_FOUND, {}},
      {"fetch past the end of a scan",
       [&] {
         const bool one = VDB_SelectKeyed(counters, 1, u"HERE", 1) == 1 && VDB_Fetch(counters, &c, 0) == 1;
         return one ? VDB_Fetch(counters, &c, 0) : ID{99};
       },
       VDB_NOT_FOUND,
       {}},
      {"update of a missing key", [&] { return VDB_UpdateTable(counters, 1, u"NONE", 1, &here); }, VDB_NOT_FOUND, {}},
      {"update of listed columns of a missing key",
       [&] { return VDB_UpdateTableColsExtended(counters, 1, u"NONE", 1, ukid, 1, &here.ukid); },
       VDB_FAILED,
       {}},
      {"insert of a key that is taken", [&] { return VDB_InsertTable(counters, &here); }, VDB_FAILED, {"DBDK F00022"}},
      {"fetch from a table the database lost",
       [&] { return VDB_FetchKeyed(currencies, 1, currency, 1, currencyRow.data(), 0); },
       VDB_FAILED,
       {"DBER F0013"}},
      {"scan of it", [&] { return VDB_SelectKeyed(currencies, 1, nullptr, 0); }, VDB_FAILED, {"DBER F0013"}},
  };
  for (const auto &k : cases) {
    context_->errors.clear();
    EXPECT_EQ(k.call(), k.answer) << k.what;
    EXPECT_EQ(errorsOf(context_), k.errors) << k.what;
  }
  EXPECT_EQ(committed(u"HERE"), "1");
}

// A write that ends a fetch-for-update lock commits; when that commit fails,
// the write answers failure and none of it stays. The fail setting stands for
// an engine that refuses the commit; PostgreSQL also refuses it for real, by
// a check deferred to the commit.
TEST_P(Outcomes, CommitFailingAfterTheWriteAnswersFailureAndLeavesNoneOfIt) {
  addCounter(u"KEPT", "1");
  Counter c{};
  const std::function<ID(HREQUEST)> writes[] = {
      [&](HREQUEST r) {  // the row fetched for update, written back
        c = counter(u"KEPT", "2");
        return VDB_FetchKeyedForUpdate(r, 1, u"KEPT", 1, &c, 0) == 1 ? VDB_UpdateCurrent(r, &c) : ID{99};
      },
      [&](HREQUEST r) {  // a row inserted where the fetch for update found none
        c = counter(u"NEW", "1");
        return VDB_FetchKeyedForUpdate(r, 1, u"NEW", 1, &c, 0) == VDB_NOT_FOUND ? VDB_InsertTable(r, &c) : ID{99};
      },
      [&](HREQUEST r) {  // rows of a scan for update, written back and committed at its end
        if (VDB_SelectKeyedForUpdate(r, 1, u"KEPT", 1) != 1 || VDB_FetchForUpdate(r, &c, 0) != 1) return ID{99};
        c.ukid = number("3");
        return VDB_UpdateCurrent(r, &c) == 1 ? VDB_FetchForUpdate(r, &c, 0) : ID{98};
      },
  };
  std::vector<std::map<std::string, std::string>> refusals = {{{"fail", "VDB_Commit:F00022"}}};
  if (postgres()) {
    ASSERT_TRUE(
        rawSql("CREATE FUNCTION refuse_at_commit() RETURNS trigger LANGUAGE plpgsql AS "
               "$$ BEGIN RAISE EXCEPTION 'refused at commit'; END $$; "
               "CREATE CONSTRAINT TRIGGER refuse AFTER INSERT OR UPDATE ON \"F00022\" "
               "DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION refuse_at_commit()"))
        << pg_->error();
    refusals.push_back({});  // refused by the server
  }
  for (const auto &settings : refusals) {
    for (size_t i = 0; i < std::size(writes); ++i) {
      LPBHVRCOM context = extraContext(settings);
      HUSER user = nullptr;
      ASSERT_EQ(VDB_InitBhvr(context, &user, nullptr, 0), 1u);
      EXPECT_EQ(writes[i](open(u"F00022", 1, {}, user)), VDB_FAILED) << i;
      EXPECT_EQ(errorsOf(context), std::vector<std::string>{"DBCM F00022"}) << i;
      // famoflas call and batch exit 69 on it: no answer of the function
      EXPECT_EQ(context->platformFailures.size(), 1u) << i;
      EXPECT_EQ(committed(u"KEPT") + committed(u"NEW"), "1none") << i;
      VDB_FreeBhvr(user);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, Outcomes, dbtest::engines(), dbtest::engineName);

}  // namespace
