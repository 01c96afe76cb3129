// German amounts in words: the digit words, cents, the 70-character field
// with asterisks and the fallbacks to formatted digits.
#include "utilities_fixture.h"

namespace utilities_test {
namespace {

// The words padded with '*' to the 70-character field.
std::u16string Field(std::u16string words) {
  if (words.size() < X00500_FIELD_LENGTH) words.append(X00500_FIELD_LENGTH - words.size(), u'*');
  return words;
}

class AmountInWords : public UtilitiesTest {
 protected:
  std::u16string Spell(const char *function, const char16_t *amount) {
    DSDX00500 ds;
    std::memset(&ds, 0, sizeof(ds));
    ds.mnAmount = Number(amount);
    EXPECT_EQ(Call(function, &ds), ER_SUCCESS);
    EXPECT_EQ(ds.szAmountInWords[X00500_WORDS_LENGTH], 0);
    return std::u16string(ds.szAmountInWords);
  }
};

struct Spelled {
  const char16_t *amount;
  const char16_t *words;  // before the asterisks
};

TEST_F(AmountInWords, EuroAndCentDigits) {
  const Spelled cases[] = {
      {u"1234.56", u"EINS-ZWEI-DREI-VIER Euro FUENF-SECHS Cents"},
      {u"10.01", u"EINS-NULL Euro NULL-EINS Cent"},
      {u"10.10", u"EINS-NULL Euro EINS-NULL Cents"},
      {u"10.00", u"EINS-NULL Euro "},
      {u"5.3", u"FUENF Euro DREI-NULL Cents"},
      {u"789", u"SIEBEN-ACHT-NEUN Euro "},
      {u"0.05", u"NULL Euro NULL-FUENF Cents"},
      {u"-10.01", u"EINS-NULL Euro NULL-EINS Cent"},
      {u"2.125", u"ZWEI Euro "},
      {u"123456789012", u"123456789012"},
      {u"1234567890.12", u"1234567890.12"},
      // 70 characters exactly stand; 71 fall back to digits.
      {u"7777777.95", u"SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN-SIEBEN Euro NEUN-FUENF Cents"},
      {u"7777777.97", u"7777777.97"},
      {u"77777777777", u"77777777777"},
  };
  for (const Spelled &c : cases) EXPECT_EQ(Spell("ConvertNumbersToWordsED", c.amount), Field(c.words)) << Utf8(c.amount);
}

TEST_F(AmountInWords, WholeDigitsAndHundredths) {
  const Spelled cases[] = {
      {u"1234.56", u"EINS-ZWEI-DREI-VIER-56/100"},
      {u"10.00", u"EINS-NULL-00/100"},
      {u"5.3", u"FUENF-3/100"},
      {u"12", u"EINS-ZWEI-/100"},
      {u"-0.99", u"NULL-99/100"},
      {u"123456789012", u"123456789012"},
      {u"77777777777", u"77777777777"},
      {u"9999999.99", u"NEUN-NEUN-NEUN-NEUN-NEUN-NEUN-NEUN-99/100"},
  };
  for (const Spelled &c : cases)
    EXPECT_EQ(Spell("ConvertNumbersToWordsGERMANY", c.amount), Field(c.words)) << Utf8(c.amount);
}

TEST_F(AmountInWords, NullArgumentsLeaveTheWordsAlone) {
  for (LPBSFN function : {ConvertNumbersToWordsED, ConvertNumbersToWordsGERMANY}) {
    LPBHVRCOM context = Context();
    DSDX00500 ds;
    std::memset(&ds, 0, sizeof(ds));
    SetText(ds.szAmountInWords, u"unchanged");
    EXPECT_EQ(function(context, nullptr, &ds), ER_ERROR);
    EXPECT_EQ(std::u16string(ds.szAmountInWords), u"unchanged");
    EXPECT_EQ(function(context, vyr::userEnvironment(context), nullptr), ER_ERROR);
    ASSERT_EQ(context->errors.size(), 2u);
    EXPECT_EQ(context->errors[1].id, u"4363");
  }
}

}  // namespace
}  // namespace utilities_test
