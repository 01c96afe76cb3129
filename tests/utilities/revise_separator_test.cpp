// ReviseDecimalSeparatorInString: which mark is decimal, what the reader gets.
#include "utilities_fixture.h"

namespace utilities_test {
namespace {

class ReviseSeparator : public UtilitiesTest {};

TEST_F(ReviseSeparator, DecidesTheDecimalMarkAndDropsGrouping) {
  const struct {
    bool decimalComma;
    JCHAR mode, eitherMark;
    const char16_t *input, *output;
  } cases[] = {
      {false, u'1', u'Y', u"1,5", u"1.5"},
      {false, u'1', u'Y', u"-1.5", u"-1.5"},
      {false, u'1', u'Y', u"1.234,5", u"1234.5"},
      {false, u'1', u'Y', u"1,234,567", u"1234567"},
      {false, u'1', u'Y', u" 2", u" 2"},
      {true, u'1', u'Y', u"1.5", u"1,5"},
      {true, u'1', u'Y', u"1,234.5", u"1234,5"},
      {false, u'1', u'N', u"1,234.5", u"1234.5"},
      {false, u'1', u'N', u"1,5", u"15"},
      {true, u'1', u'N', u"1.234,5", u"1234,5"},
      {true, u'2', u'Y', u"1.234,5", u"1234.5"},
      {true, u'2', u'N', u"0,25", u"0.25"},
  };
  for (const auto &c : cases) {
    DSREVISEDECSEP ds;
    std::memset(&ds, 0, sizeof(ds));
    SetText(ds.szNumericString, c.input);
    ds.cRevisionMode = c.mode;
    ds.cEitherMarkIsDecimal = c.eitherMark;
    EXPECT_EQ(Call("ReviseDecimalSeparatorInString", &ds, c.decimalComma), ER_SUCCESS);
    EXPECT_EQ(std::u16string(ds.szNumericString), c.output)
        << Utf8(c.input) << (c.decimalComma ? " comma " : " point ") << char(c.mode) << char(c.eitherMark);
  }
}

TEST_F(ReviseSeparator, UnknownModeAndUnterminatedText) {
  DSREVISEDECSEP ds;
  std::memset(&ds, 0, sizeof(ds));
  SetText(ds.szNumericString, u"1,5");
  ds.cRevisionMode = u'3';
  EXPECT_EQ(Call("ReviseDecimalSeparatorInString", &ds), ER_ERROR);
  EXPECT_EQ(std::u16string(ds.szNumericString), u"1,5");
  ASSERT_EQ(context_->errors.size(), 1u);
  EXPECT_EQ(context_->errors[0].id, u"4363");
  EXPECT_EQ(context_->errors[0].item, 2u);

  for (JCHAR &c : ds.szNumericString) c = u'7';
  ds.szNumericString[3] = u',';
  ds.cRevisionMode = u'1';
  ds.cEitherMarkIsDecimal = u'Y';
  EXPECT_EQ(Call("ReviseDecimalSeparatorInString", &ds), ER_SUCCESS);
  EXPECT_EQ(std::u16string(ds.szNumericString), u"777." + std::u16string(36, u'7'));
}

}  // namespace
}  // namespace utilities_test
