// Next numbers through the inquiry, the assignment by system and by company,
// unique-key blocks and journal-entry lines; what bad input is refused with
// and that a refused call moves no counter.
#include <cstring>

#include "frame/companions.h"
#include "nextnumbers/B0000009.h"
#include "nextnumbers/B0001010.h"
#include "nextnumbers/B7400210.h"
#include "support/bsfn_fixture.h"

namespace {

using namespace bsfntest;

#pragma pack(push, 1)
struct SystemRow {  // F0002: SY, N001, N002, CK01, CK02
  JCHAR sy[5];
  MATH_NUMERIC n001, n002;
  JCHAR ck01, ck02;
};
#pragma pack(pop)

const std::vector<const char16_t *> kLineColumns = {u"DCT", u"DOC", u"KCO", u"DGJ", u"JELN", u"LT", u"EXTL"};

class Numbering : public BsfnTest {
 protected:
  void addSystem(const char16_t *sy, const char16_t *n001, JCHAR ck01 = u'N', const char16_t *n002 = u"0",
                 JCHAR ck02 = u'N') {
    SystemRow row{{}, math(n001), math(n002), ck01, ck02};
    vyrStrcpy(row.sy, sy);
    insert(u"F0002", &row, {u"SY", u"N001", u"N002", u"CK01", u"CK02"});
  }
  void addCompany(const char16_t *kco, const char16_t *ctry, const char16_t *fy, const char16_t *n001, JCHAR imb,
                  JCHAR ck) {
    ROW_F00021 row{{}, u"JE", math(ctry), math(fy), math(n001), imb, ck};
    vyrStrcpy(row.szCompany, kco);
    insert(u"F00021", &row);
  }
  void addLine(const char16_t *dct, const char16_t *doc, VYRDATE date, const char16_t *jeln) {
    KEY1_F0911 row{{}, math(doc), u"00001", date, math(jeln), u"AA", u""};
    vyrStrcpy(row.szDocumentType, dct);
    insert(u"F0911", &row, kLineColumns);
  }

  // One number column of the row of a one-field key, as a handle of its own reads it; "none" without a row.
  std::u16string stored(const char16_t *table, const char16_t *column, std::u16string key) {
    key.resize(11);  // room for the widest key field
    NID columns[1];
    vyrStrcpyFillAndTerminate(columns[0], column, 11, 0);
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    MATH_NUMERIC value{};
    EXPECT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    const bool found = VDB_OpenTable(user, table, 1, columns, 1, nullptr, &request) == 1 &&
                       VDB_FetchKeyed(request, 1, key.data(), 1, &value, 0) == 1;
    VDB_FreeBhvr(user);
    return found ? text(value) : u"none";
  }

  static DSNEXTNUMBER request(const char16_t *sy, const char16_t *index, const char16_t *kco = u"",
                              const char16_t *dct = u"", const char16_t *fy = u"0") {
    DSNEXTNUMBER ds{};
    vyrStrcpy(ds.szSystemCode, sy);
    ds.mnNextNumberingIndexNo = math(index);
    vyrStrcpy(ds.szCompany, kco);
    vyrStrcpy(ds.szDocumentType, dct);
    ds.mnCentury = math(u"20");
    ds.mnFiscalYear = math(fy);
    ds.mnNextNumber = math(u"42");  // cleared by every call
    return ds;
  }
  static DSD0001010 distributed(const DSNEXTNUMBER &from, const char16_t *name = u"", const char16_t *keys = u"1") {
    DSD0001010 ds{};
    std::memcpy(&ds, &from, offsetof(DSD0001010, szObjectName));
    vyrStrcpy(ds.szObjectName, name);
    ds.mnNumberOfKeys = math(keys);
    return ds;
  }
};

TEST_F(Numbering, CheckDigitAndImbeddedDigitsAsPrinted) {
  const struct {
    JCHAR imbed;  // 'C': the check digit instead
    const char16_t *fy, *number, *expected;
    ID code;
  } cases[] = {
      {u'C', u"", u"1234", u"12343", 0},          // 16 + 16 + 12 + 8 = 52, 52 mod 11 = 8, 11 - 8 = 3
      {u'C', u"", u"19", u"191", 0},              // sum 22 divisible by 11: check digit 1
      {u'C', u"", u"6", u"60", 0},                // remainder 1: check digit 0
      {u'C', u"", u"123456789", u"23456788", 0},  // the first 8 of nine digits are weighted; the leading one is lost
      {u'2', u"7", u"1234", u"7001234", 0},       // 00001234 -> 07001234
      {u'1', u"24", u"1234", u"40001234", 0},     // the last digit of the year
      {u' ', u"24", u"1234", u"1234", 0},         // no imbedding
      {u'2', u"-3", u"1234", u"1234", 2},         // a year that cannot be printed in two digits
  };
  for (const auto &c : cases) {
    DSNEXTNUMBER ds = request(u"09", u"1");
    ds.mnNextNumber = math(c.number);
    const ROW_F00021 row{{}, {}, {}, math(c.imbed == u'C' ? u"0" : c.fy), {}, c.imbed, u'N'};
    EXPECT_EQ(c.imbed == u'C' ? I7400210_NextNumberCheckDigit(&ds) : I7400210_NextNumberImbedDigit(&ds, &row), c.code);
    EXPECT_EQ(text(ds.mnNextNumber), c.expected) << toUtf8(c.number);
  }
}

TEST_F(Numbering, InquiryBySystemReadsWithoutWritingAndPushesPastLedgerDocuments) {
  addSystem(u"04", u"100");
  addSystem(u"03B", u"0");
  addSystem(u"09", u"1234", u'Y');
  for (const char16_t *doc : {u"100", u"101", u"103"}) {
    const ROW_LEDGERDOC row{math(doc), u"PV", u"00001"};
    insert(u"F0411", &row, {u"DOC", u"DCT", u"KCO"});
  }
  const ROW_LEDGERDOC otherCompany{math(u"102"), u"PV", u"00002"}, receivable{math(u"1"), u"RI", u"00001"};
  insert(u"F0411", &otherCompany, {u"DOC", u"DCT", u"KCO"});
  insert(u"F03B11", &receivable, {u"DOC", u"DCT", u"KCO"});
  addLine(u"JE", u"12343", {2024, 1, 31}, u"1");
  const struct {
    const char16_t *sy, *dct, *expected;
  } cases[] = {
      {u"04", u"PV", u"102"},                           // 100 and 101 exist; 102 only for another company
      {u"04", u"RI", u"100"},   {u"03B", u"RI", u"2"},  // a counter at 0 answers 1, and document 1 exists
      {u"09", u"JE", u"12344"},                         // 1234 with its check digit is 12343, which the ledger holds
      {u"77", u"PV", u"1"},                             // no row for the system
  };
  for (const auto &c : cases) {
    DSNEXTNUMBER ds = request(c.sy, u"1", u"00001", c.dct);
    EXPECT_EQ(call("NextNumberInquiry", &ds), ER_SUCCESS) << toUtf8(c.sy);
    EXPECT_EQ(text(ds.mnNextNumber), c.expected) << toUtf8(c.sy);
    EXPECT_EQ(handlesLeft_, 0u);
  }
  EXPECT_EQ(stored(u"F0002", u"N001", u"04"), u"100");
}

// Each case: the inquiry shows a number, the assignment hands out that number
// (without the ledger push-past), and the inquiry then shows the following one.
TEST_F(Numbering, ByCompanySearchOrderIsTheSameForInquiryAndAssignment) {
  addSystem(u"09", u"300", u'N', u"900", u'Y');
  addCompany(u"00001", u"20", u"24", u"1234", u'2', u'N');
  addCompany(u"00000", u"20", u"24", u"10", u'1', u'Y');
  addCompany(u"00001", u"0", u"0", u"5000", u' ', u'N');
  const struct {
    const char *method;
    const char16_t *kco, *dct, *index, *fy, *first, *second;
  } cases[] = {
      {"2", u"00001", u"JE", u"1", u"24", u"24001234", u"24001235"},  // the company's row of the year
      {"2", u"00200", u"JE", u"1", u"24", u"40000107", u"40000115"},  // the default company's, check digit and year
      {"1", u"00001", u"JE", u"1", u"24", u"5000", u"5001"},          // method 1: the row of every year
      {"2", u"00001", u"JE", u"2", u"25", u"9005", u"9013"},          // no row of 2025: F0002 index 2, its check digit
      {"2", u"00001", u" ", u"1", u"24", u"300", u"301"},             // no document type: by system
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"NNO", c.method}});
    DSNEXTNUMBER ask = request(u"09", c.index, c.kco, c.dct, c.fy);
    DSD0001010 take = distributed(ask);
    EXPECT_EQ(call("NextNumberInquiry", &ask, context), ER_SUCCESS);
    EXPECT_EQ(text(ask.mnNextNumber), c.first) << toUtf8(c.kco) << " " << toUtf8(c.fy);
    EXPECT_EQ(call("GetDistributedNextNumber", &take, context), ER_SUCCESS);
    EXPECT_EQ(text(take.mnNextNumber), c.first);
    EXPECT_EQ(call("NextNumberInquiry", &ask, context), ER_SUCCESS);
    EXPECT_EQ(text(ask.mnNextNumber), c.second);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

// X0010GetNextNumber hands out the counter (1 for 0) with the index's check
// digit; every refusal leaves mnNextNumber 0 and every counter where it was,
// also through GetDistributedNextNumber's next-number path.
TEST_F(Numbering, CountersAreHandedOutOnceAndBadInputMovesNone) {
  addSystem(u"01", u"0", u'N', u"500", u'Y');
  addSystem(u"FULL", u"99999999");
  addSystem(u"NEG", u"-5");
  const struct {
    const char *function, *method;
    DSNEXTNUMBER ds;
    const char16_t *number;
    Strings errors;
  } cases[] = {
      {"X0010GetNextNumber", "0", request(u"01", u"1"), u"1", {}},
      {"X0010GetNextNumber", "0", request(u"01", u"1"), u"2", {}},
      {"X0010GetNextNumber", "0", request(u"01", u"2"), u"5004", {}},  // 00000500: 5 x 8 = 40, check digit 4
      {"NextNumberInquiry", "0", request(u"", u"1"), u"0", {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"01", u"0"), u"0", {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"01", u"11"), u"0", {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"NEG", u"1"), u"0", {"4456 @0"}},
      {"NextNumberInquiry", "2", request(u"01", u"1", u"00001", u"JE", u"100"), u"0", {"4456 @0"}},
      {"X0010GetNextNumber", "0", request(u"XX", u"1"), u"0", {"078I F0002@1"}},
      {"X0010GetNextNumber", "0", request(u"01", u"-1"), u"0", {"4456 @2"}},
      {"X0010GetNextNumber", "0", request(u"01", u"1.5"), u"0", {"4456 @2"}},
      {"X0010GetNextNumber", "0", request(u"NEG", u"1"), u"0", {"4456 @0"}},
      {"X0010GetNextNumber", "0", request(u"FULL", u"1"), u"0", {"078H F0002@0"}},
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"NNO", c.method}});
    DSNEXTNUMBER ds = c.ds;
    EXPECT_EQ(call(c.function, &ds, context), c.errors.empty() ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(errors(context), c.errors) << c.function << " " << toUtf8(ds.szSystemCode);
    EXPECT_EQ(text(ds.mnNextNumber), c.number);
    EXPECT_EQ(handlesLeft_, 0u);
    if (c.errors.empty()) continue;
    DSD0001010 taken = distributed(c.ds);
    EXPECT_EQ(call("GetDistributedNextNumber", &taken, context), ER_ERROR);
    EXPECT_EQ(text(taken.mnNextNumber), u"0");
  }
  EXPECT_EQ(stored(u"F0002", u"N001", u"01") + stored(u"F0002", u"N002", u"01"), u"3501");
  EXPECT_EQ(stored(u"F0002", u"N001", u"FULL") + u"," + stored(u"F0002", u"N001", u"NEG"), u"99999999,-5");
}

TEST_F(Numbering, UniqueKeyBlocksAndTheirRefusals) {
  const struct {
    const char16_t *name, *keys, *first, *ukidAfter;
    Strings errors;
    const char *fail;
  } steps[] = {
      {u"BLOCKS", u"5", u"1", u"6", {}, ""},  // a first request creates the row
      {u"BLOCKS", u"2", u"6", u"8", {}, ""},
      {u"BLOCKS", u"0", u"0", u"8", {"4456 @8"}, ""},  // would hand 8 to the next caller too
      {u"BLOCKS", u"-3", u"0", u"8", {"4456 @8"}, ""},
      {u"BLOCKS", u"1.5", u"0", u"8", {"4456 @8"}, ""},
      {u"BLOCKS", u"1000000000000000", u"0", u"8", {"4456 @8"}, ""},       // 16 digits: UKID has 15
      {u"BLOCKS", u"999999999999999", u"0", u"8", {"078H F00022@0"}, ""},  // UKID would pass its 15 digits
      {u"NEWROW", u"999999999999999", u"0", u"none", {"078F F00022@0"}, ""},
      {u"BLOCKS", u"1", u"0", u"8", {"078D F00022@0"}, "VDB_OpenTable:F00022"},
      {u"NEWROW", u"1", u"0", u"none", {"078F F00022@0"}, "VDB_InsertTable:F00022"},
      {u"NEWROW", u"1", u"0", u"none", {"078H F00022@0"}, "VDB_FetchKeyedForUpdate:F00022"},  // no row is not known
      {u"BLOCKS", u"1", u"0", u"8", {"078S @0"}, "VDB_InitBhvr"},
  };
  for (const auto &s : steps) {
    LPBHVRCOM context = newContext({{"fail", s.fail}});
    DSD0001010 ds = distributed(request(u"", u"0"), s.name, s.keys);
    EXPECT_EQ(call("GetDistributedNextNumber", &ds, context), s.errors.empty() ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(errors(context), s.errors) << toUtf8(s.keys) << " " << s.fail;
    EXPECT_EQ(text(ds.mnNextNumber), s.first);
    EXPECT_EQ(stored(u"F00022", u"UKID", s.name), s.ukidAfter) << toUtf8(s.keys) << " " << s.fail;
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

TEST_F(Numbering, JournalEntryLinesProbeUpwardOrFollowTheHighest) {
  for (const char16_t *jeln : {u"1", u"2", u"5"}) addLine(u"JE", u"77", {2024, 3, 1}, jeln);
  addLine(u"JE", u"77", {2024, 3, 2}, u"9");
  const struct {
    const char16_t *doc, *from, *expected;
    short day;
    Strings errors;
    const char *fail;
  } cases[] = {
      {u"77", u"0", u"6", 1, {}, ""},
      {u"77", u"1", u"3", 1, {}, ""},  // gaps below are never filled
      {u"77", u"4", u"4", 1, {}, ""},
      {u"77", u"0", u"10", 2, {}, ""},
      {u"78", u"0", u"1", 1, {}, ""},
      {u"77", u"-1", u"-1", 1, {"4363 @5"}, ""},
      {u"77", u"12345678", u"12345678", 1, {"4363 @5"}, ""},  // JELN has 7 digits
      {u"-77", u"0", u"0", 1, {"4363 @2"}, ""},
      {u"77", u"0", u"0", 1, {"078K @0"}, "VDB_SetSequencing:F0911"},
      {u"77", u"0", u"0", 1, {"3143 @0"}, "VDB_OpenTable:F0911"},
      {u"77", u"1", u"1", 1, {}, "VDB_Fetch:F0911"},  // line 1 is taken: a failed read proves nothing free
      {u"77", u"0", u"0", 1, {}, "VDB_Fetch:F0911"},
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"fail", c.fail}});
    DSD0000009 ds{u"JE", math(c.doc), u"00001", {2024, 3, c.day}, math(c.from)};
    EXPECT_EQ(call("GetNextJELineNumber", &ds, context), c.errors.empty() && !*c.fail ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(text(ds.mnJELineNumber), c.expected) << toUtf8(c.from) << " " << c.fail;
    EXPECT_EQ(errors(context), c.errors);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

}  // namespace
