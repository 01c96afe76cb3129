// B0400017's server through the famoflas command, with the stand-in country
// functions loaded by --library: both calls show in the trace, in order.
#include "cli/command.h"

namespace {

const std::string kPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/liblocalization_countries_plugin.so";

using LocalizationCommand = clitest::CommandTest;

TEST_F(LocalizationCommand, CountryServerTraceShowsBothCountryFunctionsInOrder) {
  const clitest::Outcome called = run({"call", "B0400017_CountryServer", "szCountryCode=JP", "szMode=VAL",
                                       "mnAmount1=4001", "--setting", "CTR=UK", "--library", kPlugin});
  ASSERT_EQ(called.status, 0) << called.err;
  const nlohmann::json result = called.result();
  EXPECT_EQ(
      result["trace"],
      nlohmann::json({"stand-in WithholdingTaxValidation: taxable 4001 withholding 0 flag ''",
                      "B0400017_CountryServer: country 'JP' from data structure, called WithholdingTaxValidation, "
                      "return 0",
                      "stand-in GetCISSubcontractorStatus: address 4001 mode '2'",
                      "B0400017_CountryServer: country 'UK' from user CTR, called GetCISSubcontractorStatus, "
                      "return 0"}));
  EXPECT_EQ(result["ds"]["mnAmount2"], "4001");
  EXPECT_EQ(result["ds"]["cResultFlag"], "1");
}

}  // namespace
