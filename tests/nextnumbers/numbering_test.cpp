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
struct Document {  // F0411 / F03B11: DOC, DCT, KCO, SFX
  MATH_NUMERIC doc;
  JCHAR dct[3], kco[6], sfx[4];
};
struct JournalLine {  // F0911: DCT, DOC, KCO, DGJ, JELN, LT, EXTL
  JCHAR dct[3];
  MATH_NUMERIC doc;
  JCHAR kco[6];
  VYRDATE dgj;
  MATH_NUMERIC jeln;
  JCHAR lt[3], extl[3];
};
#pragma pack(pop)

const std::vector<const char16_t *> kSystemColumns = {u"SY", u"N001", u"N002", u"CK01", u"CK02"};
const std::vector<const char16_t *> kLineColumns = {u"DCT", u"DOC", u"KCO", u"DGJ", u"JELN", u"LT", u"EXTL"};

class Numbering : public BsfnTest {
 protected:
  void addSystem(const char16_t *sy, const char16_t *n001, JCHAR ck01 = u'N', const char16_t *n002 = u"0",
                 JCHAR ck02 = u'N') {
    SystemRow row{{}, math(n001), math(n002), ck01, ck02};
    vyrStrcpy(row.sy, sy);
    insert(u"F0002", &row, kSystemColumns);
  }
  void addCompany(const char16_t *kco, const char16_t *dct, const char16_t *ctry, const char16_t *fy,
                  const char16_t *n001, JCHAR imb, JCHAR ck) {
    ROW_F00021 row{{}, {}, math(ctry), math(fy), math(n001), imb, ck};
    vyrStrcpy(row.szCompany, kco);
    vyrStrcpy(row.szDocumentType, dct);
    insert(u"F00021", &row);
  }
  void addDocument(const char16_t *table, const char16_t *doc, const char16_t *dct, const char16_t *kco) {
    Document row{math(doc), {}, {}, u"001"};
    vyrStrcpy(row.dct, dct);
    vyrStrcpy(row.kco, kco);
    insert(table, &row, {u"DOC", u"DCT", u"KCO", u"SFX"});
  }

  // A counter as a handle of its own reads it: N00n of F0002, N001 of F00021 or UKID of F00022; "none" when absent.
  std::u16string counter(const char16_t *table, const void *key, short keys, int index = 1) {
    HUSER user = nullptr;
    HREQUEST request = nullptr;
    EXPECT_EQ(VDB_InitBhvr(context_, &user, nullptr, 0), 1u);
    EXPECT_EQ(VDB_OpenTable(user, table, 1, nullptr, 0, nullptr, &request), 1u);
    union {
      ROW_F0002 system;
      ROW_F00021 company;
      ROW_F00022 unique;
    } row{};
    std::u16string value = u"none";
    if (VDB_FetchKeyed(request, 1, key, keys, &row, 0) == 1)
      value = text(std::u16string_view(table) == u"F0002"    ? row.system.mnNextNumber[index - 1]
                   : std::u16string_view(table) == u"F00021" ? row.company.mnNextNumber
                                                             : row.unique.mnUniqueKeyId);
    VDB_FreeBhvr(user);
    return value;
  }
  std::u16string systemCounter(const char16_t *sy, int index = 1) {
    KEY1_F0002 key{};
    vyrStrcpy(key.szSystemCode, sy);
    return counter(u"F0002", &key, 1, index);
  }
  std::u16string uniqueKeys(const char16_t *name) {
    KEY1_F00022 key{};
    vyrStrcpy(key.szObjectName, name);
    return counter(u"F00022", &key, 1);
  }

  static DSNEXTNUMBER request(const char16_t *sy, const char16_t *index, const char16_t *kco = u"",
                              const char16_t *dct = u"", const char16_t *century = u"0", const char16_t *fy = u"0") {
    DSNEXTNUMBER ds{};
    vyrStrcpy(ds.szSystemCode, sy);
    ds.mnNextNumberingIndexNo = math(index);
    vyrStrcpy(ds.szCompany, kco);
    vyrStrcpy(ds.szDocumentType, dct);
    ds.mnCentury = math(century);
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
    const char16_t *number, *expected;
  } checks[] = {
      {u"1234", u"12343"},         // 16 + 16 + 12 + 8 = 52, 52 mod 11 = 8, 11 - 8 = 3
      {u"19", u"191"},             // sum 22 divisible by 11: check digit 1
      {u"6", u"60"},               // remainder 1: check digit 0
      {u"123456789", u"23456788"}, // nine digits: the first 8 are weighted, the leading one is lost
  };
  for (const auto &c : checks) {
    DSNEXTNUMBER ds = request(u"09", u"1");
    ds.mnNextNumber = math(c.number);
    EXPECT_EQ(I7400210_NextNumberCheckDigit(&ds), 0u);
    EXPECT_EQ(text(ds.mnNextNumber), c.expected) << toUtf8(c.number);
  }
  const struct {
    JCHAR flag;
    const char16_t *fy, *number, *expected;
    ID code;
  } imbeds[] = {
      {u'2', u"7", u"1234", u"7001234", 0},    // 00001234 -> 07001234
      {u'1', u"24", u"1234", u"40001234", 0},  // the last digit of the year
      {u' ', u"24", u"1234", u"1234", 0},      // no imbedding
      {u'2', u"-3", u"1234", u"1234", 2},      // a year that cannot be printed in two digits
  };
  for (const auto &c : imbeds) {
    DSNEXTNUMBER ds = request(u"09", u"1");
    ds.mnNextNumber = math(c.number);
    ROW_F00021 row{};
    row.mnFiscalYear = math(c.fy);
    row.cImbedDigits = c.flag;
    EXPECT_EQ(I7400210_NextNumberImbedDigit(&ds, &row), c.code);
    EXPECT_EQ(text(ds.mnNextNumber), c.expected) << toUtf8(c.number);
  }
}

TEST_F(Numbering, InquiryBySystemReadsWithoutWritingAndPushesPastLedgerDocuments) {
  addSystem(u"04", u"100");
  addSystem(u"03B", u"0");
  addSystem(u"09", u"1234", u'Y');
  addDocument(u"F0411", u"100", u"PV", u"00001");
  addDocument(u"F0411", u"101", u"PV", u"00001");
  addDocument(u"F0411", u"103", u"PV", u"00001");
  addDocument(u"F0411", u"102", u"PV", u"00002");  // another company's document is no obstacle
  addDocument(u"F03B11", u"1", u"RI", u"00001");
  JournalLine line{u"JE", math(u"12343"), u"00001", {2024, 1, 31}, math(u"1"), u"AA", u""};
  insert(u"F0911", &line, kLineColumns);
  const struct {
    const char16_t *sy, *dct, *expected;
  } cases[] = {
      {u"04", u"PV", u"102"},   // 100 and 101 exist
      {u"04", u"RI", u"100"},
      {u"03B", u"RI", u"2"},    // a counter at 0 answers 1, and document 1 exists
      {u"09", u"JE", u"12344"}, // 1234 with its check digit is 12343, which the ledger holds
      {u"77", u"PV", u"1"},     // no row for the system
  };
  for (const auto &c : cases) {
    DSNEXTNUMBER ds = request(c.sy, u"1", u"00001", c.dct);
    EXPECT_EQ(call("NextNumberInquiry", &ds), ER_SUCCESS) << toUtf8(c.sy);
    EXPECT_EQ(text(ds.mnNextNumber), c.expected) << toUtf8(c.sy);
    EXPECT_EQ(handlesLeft_, 0u);
  }
  EXPECT_EQ(systemCounter(u"04"), u"100");
}

// Each case: the inquiry shows a number, the assignment hands out that number
// (without the ledger push-past), and the inquiry then shows the following one.
TEST_F(Numbering, ByCompanySearchOrderIsTheSameForInquiryAndAssignment) {
  addSystem(u"09", u"300", u'N', u"900", u'Y');
  addCompany(u"00001", u"JE", u"20", u"24", u"1234", u'2', u'N');
  addCompany(u"00000", u"JE", u"20", u"24", u"10", u'1', u'Y');
  addCompany(u"00001", u"JE", u"0", u"0", u"5000", u' ', u'N');
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
    DSNEXTNUMBER ask = request(u"09", c.index, c.kco, c.dct, u"20", c.fy);
    DSD0001010 take = distributed(ask);
    EXPECT_EQ(call("NextNumberInquiry", &ask, context), ER_SUCCESS);
    EXPECT_EQ(text(ask.mnNextNumber), c.first) << toUtf8(c.kco) << " " << toUtf8(c.fy);
    EXPECT_EQ(call("GetDistributedNextNumber", &take, context), ER_SUCCESS) << errors(context)[0];
    EXPECT_EQ(text(take.mnNextNumber), c.first);
    EXPECT_EQ(call("NextNumberInquiry", &ask, context), ER_SUCCESS);
    EXPECT_EQ(text(ask.mnNextNumber), c.second);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

TEST_F(Numbering, X0010HandsOutTheCounterWithItsCheckDigit) {
  addSystem(u"01", u"0", u'N', u"500", u'Y');
  const struct {
    const char16_t *index, *expected, *counterAfter;
  } draws[] = {
      {u"1", u"1", u"2"},  // a counter at 0 hands out 1
      {u"1", u"2", u"3"},
      {u"2", u"5004", u"501"},  // 00000500: 5 x 8 = 40, 40 mod 11 = 7, check digit 4
  };
  for (const auto &d : draws) {
    DSNEXTNUMBER ds = request(u"01", d.index);
    EXPECT_EQ(call("X0010GetNextNumber", &ds), ER_SUCCESS);
    EXPECT_EQ(text(ds.mnNextNumber), d.expected);
    EXPECT_EQ(systemCounter(u"01", d.index[0] - u'0'), d.counterAfter);
  }
}

// Every refusal leaves mnNextNumber 0 and every counter where it was.
TEST_F(Numbering, BadInputIsRefusedAndMovesNoCounter) {
  addSystem(u"01", u"7");
  addSystem(u"FULL", u"99999999");
  addSystem(u"NEG", u"-5");
  const struct {
    const char *function, *method;
    DSNEXTNUMBER ds;
    Strings errors;
  } cases[] = {
      {"NextNumberInquiry", "0", request(u"", u"1"), {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"01", u"0"), {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"01", u"11"), {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"01", u"-1"), {"4456 @0"}},
      {"NextNumberInquiry", "0", request(u"NEG", u"1"), {"4456 @0"}},
      {"NextNumberInquiry", "2", request(u"01", u"1", u"00001", u"JE", u"20", u"100"), {"4456 @0"}},
      {"X0010GetNextNumber", "0", request(u"XX", u"1"), {"078I F0002@1"}},
      {"X0010GetNextNumber", "0", request(u"01", u"0"), {"4456 @2"}},
      {"X0010GetNextNumber", "0", request(u"01", u"11"), {"4456 @2"}},
      {"X0010GetNextNumber", "0", request(u"01", u"1.5"), {"4456 @2"}},
      {"X0010GetNextNumber", "0", request(u"NEG", u"1"), {"4456 @0"}},
      {"X0010GetNextNumber", "0", request(u"FULL", u"1"), {"078H F0002@0"}},
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"NNO", c.method}});
    DSNEXTNUMBER ds = c.ds;
    EXPECT_EQ(call(c.function, &ds, context), ER_ERROR) << c.function << " " << toUtf8(ds.szSystemCode);
    EXPECT_EQ(errors(context), c.errors) << c.function << " " << toUtf8(ds.szSystemCode);
    EXPECT_EQ(text(ds.mnNextNumber), u"0");
    EXPECT_EQ(handlesLeft_, 0u);
    // The same through GetDistributedNextNumber's next-number path, except the inquiry's own cases.
    if (std::string(c.function) == "X0010GetNextNumber" || c.errors[0] == "4456 @0") {
      DSD0001010 taken = distributed(c.ds);
      EXPECT_EQ(call("GetDistributedNextNumber", &taken, context), ER_ERROR);
      EXPECT_EQ(text(taken.mnNextNumber), u"0");
    }
  }
  EXPECT_EQ(systemCounter(u"01") + u"," + systemCounter(u"FULL") + u"," + systemCounter(u"NEG"), u"7,99999999,-5");
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
      {u"BLOCKS", u"1000000000000000", u"0", u"8", {"4456 @8"}, ""},  // 16 digits: UKID has 15
      {u"BLOCKS", u"999999999999999", u"0", u"8", {"078H F00022@0"}, ""},  // UKID would pass its 15 digits
      {u"NEWROW", u"999999999999999", u"0", u"none", {"078F F00022@0"}, ""},
      {u"BLOCKS", u"1", u"0", u"8", {"078D F00022@0"}, "VDB_OpenTable:F00022"},
      {u"BLOCKS", u"1", u"0", u"8", {"078H F00022@0"}, "VDB_UpdateTableColsExtended:F00022"},
      {u"NEWROW", u"1", u"0", u"none", {"078F F00022@0"}, "VDB_InsertTable:F00022"},
      {u"BLOCKS", u"1", u"0", u"8", {"078S @0"}, "VDB_InitBhvr"},
  };
  for (const auto &s : steps) {
    LPBHVRCOM context = newContext({{"fail", s.fail}});
    DSD0001010 ds = distributed(request(u"", u"0"), s.name, s.keys);
    EXPECT_EQ(call("GetDistributedNextNumber", &ds, context), s.errors.empty() ? ER_SUCCESS : ER_ERROR);
    EXPECT_EQ(errors(context), s.errors) << toUtf8(s.keys) << " " << s.fail;
    EXPECT_EQ(text(ds.mnNextNumber), s.first);
    EXPECT_EQ(uniqueKeys(s.name), s.ukidAfter) << toUtf8(s.keys) << " " << s.fail;
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

TEST_F(Numbering, JournalEntryLinesProbeUpwardOrFollowTheHighest) {
  for (const char16_t *jeln : {u"1", u"2", u"5"}) {
    JournalLine line{u"JE", math(u"77"), u"00001", {2024, 3, 1}, math(jeln), u"AA", u""};
    insert(u"F0911", &line, kLineColumns);
  }
  JournalLine otherDate{u"JE", math(u"77"), u"00001", {2024, 3, 2}, math(u"9"), u"AA", u""};
  insert(u"F0911", &otherDate, kLineColumns);
  const struct {
    const char16_t *doc, *from, *expected;
    VYRDATE date;
    ID code;
    Strings errors;
    const char *fail;
  } cases[] = {
      {u"77", u"0", u"6", {2024, 3, 1}, ER_SUCCESS, {}, ""},
      {u"77", u"1", u"3", {2024, 3, 1}, ER_SUCCESS, {}, ""},  // gaps below are never filled
      {u"77", u"4", u"4", {2024, 3, 1}, ER_SUCCESS, {}, ""},
      {u"77", u"0", u"10", {2024, 3, 2}, ER_SUCCESS, {}, ""},
      {u"78", u"0", u"1", {2024, 3, 1}, ER_SUCCESS, {}, ""},
      {u"77", u"-1", u"-1", {2024, 3, 1}, ER_ERROR, {"4363 @5"}, ""},
      {u"77", u"12345678", u"12345678", {2024, 3, 1}, ER_ERROR, {"4363 @5"}, ""},
      {u"-77", u"0", u"0", {2024, 3, 1}, ER_ERROR, {"4363 @2"}, ""},
      {u"77", u"0", u"0", {2024, 3, 1}, ER_ERROR, {"078K @0"}, "VDB_SetSequencing:F0911"},
      {u"77", u"0", u"0", {2024, 3, 1}, ER_ERROR, {"3143 @0"}, "VDB_OpenTable:F0911"},
  };
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"fail", c.fail}});
    DSD0000009 ds{u"JE", math(c.doc), u"00001", c.date, math(c.from)};
    EXPECT_EQ(call("GetNextJELineNumber", &ds, context), c.code);
    EXPECT_EQ(text(ds.mnJELineNumber), c.expected) << toUtf8(c.from) << " " << c.fail;
    EXPECT_EQ(errors(context), c.errors);
    EXPECT_EQ(handlesLeft_, 0u);
  }
}

TEST_F(Numbering, GetEnvironmentValueGivesTheFirstCharacter) {
  const struct {
    const char *crmmsl;
    const char16_t *key;
    JCHAR value;
    ID code;
  } cases[] = {{"1", u"CRMMSL", u'1', ER_SUCCESS},
               {"", u"CRMMSL", 0, ER_SUCCESS},
               {"0", u"CRMMSL", u'0', ER_SUCCESS},
               {"1", u"NOSUCHKEY", 0, ER_ERROR}};
  for (const auto &c : cases) {
    LPBHVRCOM context = newContext({{"CRMMSL", c.crmmsl}});
    DSGETENVVALUE ds{};
    vyrStrcpy(ds.szKey, c.key);
    ds.cValue = u'?';
    EXPECT_EQ(call("GetEnvironmentValue", &ds, context), c.code);
    EXPECT_EQ(ds.cValue, c.value);
    EXPECT_EQ(errors(context).size(), c.code == ER_SUCCESS ? 0u : 1u);
  }
}

}  // namespace
