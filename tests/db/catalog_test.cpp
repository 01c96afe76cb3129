// The catalogue declares what the business functions read: check the shapes
// they depend on, and that declaration mistakes are caught.
#include "db/catalog.h"

#include <gtest/gtest.h>

namespace {

using namespace vyr::db;

std::vector<std::u16string> aliases(const TableDef &table) {
  std::vector<std::u16string> out;
  for (const ColumnDef &c : table.columns) out.push_back(c.alias);
  return out;
}

std::vector<std::u16string> keyAliases(const TableDef &table, ID id) {
  std::vector<std::u16string> out;
  for (size_t c : findIndex(table, id)->columns) out.push_back(table.columns[c].alias);
  return out;
}

TEST(Catalog, EveryDeclaredTableIsConsistentAndPresent) {
  EXPECT_EQ(catalogProblems(), std::vector<std::string>{});
  for (const char16_t *name :
       {u"F0002", u"F00021", u"F00022", u"F0005", u"F0007", u"F0008", u"F0010", u"F0013", u"F0015", u"F0101", u"F0411",
        u"F03B11", u"F0911", u"F01301", u"F01302", u"F01331", u"F7306", u"F90CA001", u"F98QXSEC"}) {
    const TableDef *table = findTable(name);
    ASSERT_NE(table, nullptr) << std::string(name, name + std::char_traits<char16_t>::length(name));
    EXPECT_TRUE(table->primary()->unique);
  }
  EXPECT_EQ(findTable(u"F0101   "), findTable(u"F0101"));  // trailing blanks ignored
  EXPECT_EQ(findTable(u"F9999"), nullptr);
}

TEST(Catalog, ShapesTheBusinessFunctionsRelyOn) {
  const TableDef &rates = *findTable(u"F0015");
  EXPECT_EQ(aliases(rates), (std::vector<std::u16string>{u"CRCD", u"CRDC", u"AN8", u"RTTYP", u"EFT", u"CSR", u"CRCM",
                                                         u"CRCX", u"CRR", u"CRRD"}));
  EXPECT_EQ(keyAliases(rates, 3), (std::vector<std::u16string>{u"CRCD", u"CRDC", u"AN8", u"RTTYP", u"EFT"}));
  EXPECT_EQ(findIndex(rates, 3)->descending, (std::vector<bool>{false, false, false, false, true}));
  EXPECT_EQ(rates.columns[static_cast<size_t>(findColumn(rates, u"CRR"))].decimals, 7);

  const TableDef &calendar = *findTable(u"F0007");
  EXPECT_EQ(keyAliases(calendar, 2),
            (std::vector<std::u16string>{u"MMCU", u"WDCT", u"WDCK", u"CTRY", u"YR", u"MT", u"SHFT"}));
  EXPECT_EQ(calendar.columns.size(), 38u);  // 7 key columns and TD01..TD31
  EXPECT_EQ(calendar.columns.back().alias, u"TD31");

  const TableDef &security = *findTable(u"F98QXSEC");
  EXPECT_EQ(keyAliases(security, 2), std::vector<std::u16string>{u"QXUSR"});
  EXPECT_EQ(security.columns[static_cast<size_t>(findColumn(security, u"SRVBLOBA"))].kind, ColumnKind::Binary);

  const TableDef &numbers = *findTable(u"F0002");
  EXPECT_GE(findColumn(numbers, u"N010"), 0);
  EXPECT_GE(findColumn(numbers, u"CK10"), 0);
  EXPECT_EQ(findIndex(numbers, 2), nullptr);
}

TEST(Catalog, RecordSizesMatchTheRecordForms) {
  const TableDef &rates = *findTable(u"F0015");
  size_t row = 0;
  for (const ColumnDef &c : rates.columns) row += recordSize(c);
  // 3 strings of 3 and one of 2 (+1 each, 2 bytes a unit), 3 numbers, a date, 2 characters.
  EXPECT_EQ(row, 3 * 4 * 2 + 3 * 2 + 3 * sizeof(MATH_NUMERIC) + sizeof(VYRDATE) + 2 * 2);
}

TEST(Catalog, DeclarationMistakesKeepTheTableOut) {
  using namespace vyr::db::schema;
  struct Case {
    const char16_t *name;
    TableSpec declared;
    const char *problem;
  };
  const Case cases[] = {
      {u"ZBAD1", {u"ZBAD1", "", {str(u"A", 2)}, {unique(1, {asc(u"B")})}}, "unknown column B"},
      {u"ZBAD2", {u"ZBAD2", "", {str(u"A", 2), num(u"A", 3)}, {unique(1, {asc(u"A")})}}, "declared twice"},
      {u"ZBAD3", {u"ZBAD3", "", {num(u"A", 19)}, {unique(1, {asc(u"A")})}}, "1 to 18 digits"},
      {u"ZBAD4", {u"ZBAD4", "", {str(u"A", 2)}, {unique(2, {asc(u"A")})}}, "index ids run"},
      {u"ZBAD5", {u"ZBAD5", "", {str(u"A", 2)}, {index(1, {asc(u"A")})}}, "must exist and be unique"},
      {u"ZBAD6", {u"ZBAD6", "", {utime(u"T"), str(u"T_TZ", 2)}, {unique(1, {asc(u"T_TZ")})}}, "zone column"},
  };
  for (const Case &c : cases) {
    addTables({c.declared});
    EXPECT_EQ(findTable(c.name), nullptr);
    bool found = false;
    for (const std::string &p : catalogProblems()) found = found || p.find(c.problem) != std::string::npos;
    EXPECT_TRUE(found) << c.problem;
  }
  addTables({{u"F0013", "again", {str(u"CRCD", 3)}, {unique(1, {asc(u"CRCD")})}}});
  EXPECT_EQ(findTable(u"F0013")->description, "currency codes");  // the first declaration stays
}

}  // namespace
