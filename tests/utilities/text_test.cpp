// Text utilities: the CPF mask, the German amounts in words and the decimal
// separator revision the evaluator relies on.
#include "C0000500.h"
#include "support/bsfn_fixture.h"
#include "utilities/B7602041.h"
#include "utilities/X00500D.h"
#include "utilities/X00500ED.h"

namespace {

using namespace bsfntest;

using TextUtilities = BsfnTest;

TEST_F(TextUtilities, CpfMovesCharactersByPositionOneSeparatorAtATime) {
  const struct {
    const char *function;
    std::u16string input, output;
  } cases[] = {
      {"MaskBCPF", u"12345678901", u"123.456.789-01"},
      {"MaskBCPF", u"123456789012", u"123.456.789-01"},  // the twelfth is read, never written
      {"MaskBCPF", u"123.456.789-01", u"123..45.6.7-89"},
      {"MaskBCPF", u"12345", u"123.45"},
      {"MaskBCPF", std::u16string(21, u'9'), u"999.999.999-99"},  // no terminator: read to the width
      {"UnMaskBCPF", u"123.456.789-01", u"12345678901"},
      {"UnMaskBCPF", u"12345678901", u"12345678901"},
      {"UnMaskBCPF", u"1..2", u"1.2"},
      {"UnMaskBCPF", u".-.-.-.-.-.-.-.-.-.-", u"----------"},
      {"UnMaskBCPF", std::u16string(21, u'9'), u"99999999999"},
  };
  for (const auto &c : cases) {
    DSD7602041 ds{};
    c.input.copy(ds.szTaxIdNumber, B7602041_TAXID_LENGTH + 1);
    EXPECT_EQ(call(c.function, &ds), ER_SUCCESS);
    EXPECT_EQ(std::u16string(ds.szTaxIdNumber), c.output) << c.function << " " << toUtf8(c.input);
  }
  for (const char16_t *number : {u"00000000000", u"52998224725"}) {
    DSD7602041 ds{};
    vyrStrcpy(ds.szTaxIdNumber, number);
    call("MaskBCPF", &ds);
    call("UnMaskBCPF", &ds);
    EXPECT_EQ(std::u16string(ds.szTaxIdNumber), number) << "round trip";
  }
}

TEST_F(TextUtilities, AmountsInWordsFillSeventyCharactersWithAsterisks) {
  const struct {
    const char *function;
    const char16_t *amount, *words;  // the words before the asterisks
  } cases[] = {
      {"ConvertNumbersToWordsED", u"1234.56", u"EINS-ZWEI-DREI-VIER Euro FUENF-SECHS Cents"},
      {"ConvertNumbersToWordsED", u"10.01", u"EINS-NULL Euro NULL-EINS Cent"},
      {"ConvertNumbersToWordsED", u"10.10", u"EINS-NULL Euro EINS-NULL Cents"},
      {"ConvertNumbersToWordsED", u"10.00", u"EINS-NULL Euro "},
      {"ConvertNumbersToWordsED", u"5.3", u"FUENF Euro DREI-NULL Cents"},
      {"ConvertNumbersToWordsED", u"-10.01", u"EINS-NULL Euro NULL-EINS Cent"},
      {"ConvertNumbersToWordsED", u"2.125", u"ZWEI Euro "},
      {"ConvertNumbersToWordsED", u"123456789012", u"123456789012"},
      {"ConvertNumbersToWordsED", u"1234567890.12", u"1234567890.12"},
      // 70 characters exactly stand; 71 fall back to digits.
      {"ConvertNumbersToWordsED", u"7777777.95",
       u"SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN Euro NEUN-FUENF Cents"},
      {"ConvertNumbersToWordsED", u"7777777.97", u"7777777.97"},
      {"ConvertNumbersToWordsED", u"77777777777", u"77777777777"},
      {"ConvertNumbersToWordsGERMANY", u"1234.56", u"EINS-ZWEI-DREI-VIER-56/100"},
      {"ConvertNumbersToWordsGERMANY", u"10.00", u"EINS-NULL-00/100"},
      {"ConvertNumbersToWordsGERMANY", u"5.3", u"FUENF-3/100"},
      {"ConvertNumbersToWordsGERMANY", u"12", u"EINS-ZWEI-/100"},
      {"ConvertNumbersToWordsGERMANY", u"123456789012", u"123456789012"},
      {"ConvertNumbersToWordsGERMANY", u"77777777777", u"77777777777"},
  };
  for (const auto &c : cases) {
    DSDX00500 ds{math(c.amount), {}};
    EXPECT_EQ(call(c.function, &ds), ER_SUCCESS);
    std::u16string expected = c.words;
    if (expected.size() < X00500_FIELD_LENGTH) expected.append(X00500_FIELD_LENGTH - expected.size(), u'*');
    EXPECT_EQ(std::u16string(ds.szAmountInWords), expected) << c.function << " " << toUtf8(c.amount);
  }
}

TEST_F(TextUtilities, SeparatorRevisionDecidesTheDecimalMark) {
  const struct {
    bool decimalComma;
    JCHAR mode, eitherMark;
    std::u16string input, output;
    ID code = ER_SUCCESS;
  } cases[] = {
      {false, u'1', u'Y', u"1,5", u"1.5"},
      {false, u'1', u'Y', u"1.234,5", u"1234.5"},
      {false, u'1', u'Y', u"1,234,567", u"1234567"},
      {true, u'1', u'Y', u"1,234.5", u"1234,5"},
      {false, u'1', u'N', u"1,5", u"15"},
      {true, u'1', u'N', u"1.234,5", u"1234,5"},
      {true, u'2', u'Y', u"1.234,5", u"1234.5"},
      {true, u'2', u'N', u"0,25", u"0.25"},
      {false, u'3', u'Y', u"1,5", u"1,5", ER_ERROR},
      // No terminator: read to the width of 40.
      {false, u'1', u'Y', u"777," + std::u16string(37, u'7'), u"777." + std::u16string(36, u'7')},
  };
  for (const auto &c : cases) {
    DSREVISEDECSEP ds{};
    c.input.copy(ds.szNumericString, DSREVISEDECSEP_STRING_LENGTH + 1);
    ds.cRevisionMode = c.mode;
    ds.cEitherMarkIsDecimal = c.eitherMark;
    EXPECT_EQ(
        call("ReviseDecimalSeparatorInString", &ds, newContext({{"decimal", c.decimalComma ? "comma" : "point"}})),
        c.code);
    EXPECT_EQ(std::u16string(ds.szNumericString), c.output) << toUtf8(c.input);
    EXPECT_EQ(errors(contexts_.back()), c.code == ER_SUCCESS ? Strings{} : Strings{"4363 @2"});
  }
}

}  // namespace
