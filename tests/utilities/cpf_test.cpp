// CPF mask: characters moved by position, the twelfth read and dropped, one
// separator skipped at a time, and members without terminator.
#include "utilities_fixture.h"

namespace utilities_test {
namespace {

class Cpf : public UtilitiesTest {
 protected:
  std::u16string Run(const char *function, std::u16string_view input) {
    std::memset(&ds_, 0, sizeof(ds_));
    SetText(ds_.szTaxIdNumber, input);
    EXPECT_EQ(Call(function, &ds_), ER_SUCCESS);
    return std::u16string(ds_.szTaxIdNumber);
  }
  DSD7602041 ds_{};
};

struct Move {
  const char16_t *input, *output;
};

TEST_F(Cpf, MaskMovesCharactersByPosition) {
  const Move cases[] = {
      {u"12345678901", u"123.456.789-01"},
      {u"123456789012", u"123.456.789-01"},
      {u"12345678901XYZ", u"123.456.789-01"},
      {u"123.456.789-01", u"123..45.6.7-89"},
      {u"ABCDEFGHIJK", u"ABC.DEF.GHI-JK"},
      {u"12345", u"123.45"},
      {u"", u""},
  };
  for (const Move &c : cases) EXPECT_EQ(Run("MaskBCPF", c.input), c.output) << Utf8(c.input);
}

TEST_F(Cpf, UnmaskSkipsOneSeparatorAtATime) {
  const Move cases[] = {
      {u"123.456.789-01", u"12345678901"},
      {u"12345678901", u"12345678901"},
      {u"123.456.789-0123", u"12345678901"},
      {u"1..2", u"1.2"},
      {u"12-.3", u"12.3"},
      {u".-.-.-.-.-.-.-.-.-.-", u"----------"},
      {u"", u""},
  };
  for (const Move &c : cases) EXPECT_EQ(Run("UnMaskBCPF", c.input), c.output) << Utf8(c.input);
}

TEST_F(Cpf, RoundTripsAndUnterminatedMembers) {
  for (const char16_t *number : {u"00000000000", u"52998224725", u"98765432100"})
    EXPECT_EQ(Run("UnMaskBCPF", Run("MaskBCPF", number)), number);

  for (const char *function : {"MaskBCPF", "UnMaskBCPF"}) {
    for (JCHAR &c : ds_.szTaxIdNumber) c = u'9';
    EXPECT_EQ(Call(function, &ds_), ER_SUCCESS);
    EXPECT_EQ(std::u16string(ds_.szTaxIdNumber), std::string_view(function) == "MaskBCPF" ? u"999.999.999-99" : u"99999999999");
  }

  LPBHVRCOM context = Context();
  EXPECT_EQ(MaskBCPF(context, vyr::userEnvironment(context), nullptr), ER_ERROR);
  EXPECT_EQ(UnMaskBCPF(nullptr, vyr::userEnvironment(context), &ds_), ER_ERROR);
  ASSERT_EQ(context->errors.size(), 1u);
  EXPECT_EQ(context->errors[0].id, u"4363");
}

}  // namespace
}  // namespace utilities_test
