// The localization entries as the famoflas command shows them: every one
// listed under its source object, and B0400017's server running stand-in
// country functions loaded with --library.
#include <map>
#include <sstream>

#include "cli/command.h"

namespace {

using clitest::CommandTest;

const std::string kPlugin = FAMOFLAS_BINARY_DIR "/tests/plugins/liblocalization_countries_plugin.so";

// The 213 entries; "=SOURCE" where the source object is known beforehand.
const char kEntries[] = R"(
B03B0011_CS_Process_N7000571=N7000571 B03B0011_PlugAndPlay_N7000570 B0400007_Country_Server=N7000111
B0400017_CountryServer=N7000741 B0400017_PlugAndPlay=N7000740 B0400047_CountryServer=N7000331
B0400076_CountryServer=N7000781 B0400076_PlugAndPlay B0400093_CountryServer
B0900049_CS_Process_N7000091=N7000091 B4100040_Country_Server B4100040_Plug_and_Play=N7002020
B4200311_CountryServer=N7001380 B4200311_Country_Server=N7001381 B4200311_CtryServer B4200311_PlugAndPlay
CS_P051121_ProcessLocalization IDXX00026_CallLocalizationPlugAndPlay CountryServerB03B0013ProcessLoc
CountryServerP03B103Localization F0101_CountryServerII=N7000151 F03B11_CS_P03B11SI F0411_CS_P0411=N7000341
F0411_CS_P0411S=N7000371 F0411_CS_P0411SV=N7000391 F0411_CountryServer_P041017 F0413_CountryServer=N7000261
F0414_CS_P0413M=N7000361 F0414_CS_P0413V=N7000381 F04571_CountryServer=N7000251 F04572_CountryServer=N7000101
F4312_CS_AfterReceipt=N7000953 N0701130CountryServer=N7001281 N0701130PlugAndPlay N4101060PlugAndPlayNER
N7000011_CS_P4101 N7000021_CS_P41024 N7000031_CS_N0100041=N7000031 N7000041_CS_P0030A=N7000041
N7000070_PlugAndPlay_B0400093 N70000731_CS_F03B13 N7000081_CS_B0400206=N7000081
N70000940PlugandPlayF03B13Z1=N7000940 N70000941_CS_F03B13Z1 N7000121_CS_P04572 N7000241_CS_B0400022
N7000291_CS_P4008 N7000310_PlugAndPlay_P4210 N7000320_PlugAndPlay_B4200310 N7000400_PlugAndPlay_P4314
N7000401_CS_P4314=N7000401 N7000441_CS_B0400233=N7000441 N7000450_PlugAndPlay_P03B11 N7000451_CS_P03B11=N7000451
N7000491_CS_P42230=N7000491 N7000600_PlugAndPlay_R07200 N7000620_PlugAndPlay_R07250
N7000650_PlugAndPlay_P03B11SI N7000660_PlugAndPlay_P03B675 N7000661_CS_P03B675 N7000670_PlugAndPlay_R03B672
N7000671_CS_R03B672 N7000680_PlugAndPlay_R03B680 N7000681_CS_R03B680 N7000690_PlugAndPlay_B03B0020
N7000691_CS_B03B0020 N7000700_PlugAndPlay_B0400035 N7000701_CS__B0400035=N7000701 N7000710_PlugAndPlay_P03B602
N7000711_CS_P03B602 N7000730_PlugAndPlay_F03B13 N7000750_PlugAndPlay_P03B2002 N7000751_CS_P03B2002=N7000751
N7000790_PlugAndPlay_P04572W N7000791_CS_P04572W N7000830_PlugAndPlay_P03B2501 N7000831_CS_P03B2501
N7000840_PlugAndPlay_R03B11Z1I N7000841_CS_R03B11Z1I=N7000841 N7000850_PlugAndPlay_B03B0029 N7000851_CS_B03B0029
N7000860_PlugAndPlay_P0030A N7000861_CS_P0030A N7000870_PlugAndPlay_B4200450 N7000871_CS_B4200450
N7000880_PlugAndPlay_B0400205 N7000881_CS_B0400205 N7000890_PlugAndPlay_F4101 N7000891_CS_F4101
N7000900_PlugAndPlay_F41021 N7000901_CS_F41021 N7000910_PlugAndPlay_B0400074 N7000911_CS_B0400074
N7000921_CS_P041016 N7000930_PlugAndPlay_P0801 N7000931_CS_P0801 N7000950_PlugAndPlay_B4100201
N7000951_CS_B4100201 N7000980_PlugAndPlay_P0030G N7000981_CS_P0030G N7001000_PlugAndPlay_P07200
N7001120_PlugAndPlay_P05001C N7001121_CS_P05001C N7001130_PlugAndPlay_P059116 N7001131_CS_P059116
N7001140_PlugAndPlay_P07351 N7001141_CS_P07351 N7001150_PlugAndPlay_P059101 N7001151_CS_P059101
N7001240_PlugAndPlay_P0801CMP N7001241_CS_P0801CMP N7001250_PlugAndPlay_P0801EMP N7001251_CS_P0801EMP
N7001260_PlugAndPlay_P0801ORG N7001261_CS_P0801EMP N7001451_CS_P0801_MBF N7001510_PlugAndPlay_F04572
N7001511_CS_F04572 N7001520_PlugAndPlay_F04573 N7001521_CS_F04573=N7001521 N7002011_CS_B0000122
N7003030_PlugAndPlay_B1200006 N7003041_CS_B0100016 N7003061_CS_B0400115 N7003071_CS_B4001090
N7003101_CS_R43500=N7003101 N7003111_CS_P430114=N7003111 N7003120_PlugAndPlay_R03B8101
N7003131_CS_P42232=N7003131 N7003140_PlugAndPlay_N0100061 N7003141_CS_N0100061 N703110_PlugAndPlay_P430114
N7400370_CS_N7000881 P0101_CS_ValidateTaxID=N7000030 P04571PlugAndPlay P04572UCSProcessLocalization
P04573_CountryServer=N7000271 P051131_CS_Localisation P051131_PlugAndPlay P0801_PlugAndPlay_WithMBF
P1201CSProcessLocalization P1201PlugAndPlay P1204CSProcessLocalization P1204PlugAndPlay P42025_CtryServer
P42025_PlugAndPlay P4210_CountryServer P42230PlugPlayNER=N7000490 PlugAndPlayB0400115 PlugAndPlayNER_B0000122
PlugAndPlayNER_P051121 PlugAndPlayNER_P07210 PlugAndPlayNER_P4101 PlugAndPlayNER_P41026 PlugAndPlayNER_P4314
PlugAndPlayP041017 PlugAndPlayP4008TaxRateArea PlugAndPlay_B0100016 PlugAndPlay_B03B0025 PlugAndPlay_B0400007
PlugAndPlay_B0400047 PlugAndPlay_B0400233 PlugAndPlay_B0400394 PlugAndPlay_B4001090 PlugAndPlay_P0030
PlugAndPlay_P0101 PlugAndPlay_P041016 PlugAndPlay_P0411 PlugAndPlay_P0411S PlugAndPlay_P0411SV
PlugAndPlay_P0411S_76A PlugAndPlay_P0413M PlugAndPlay_P0413V PlugAndPlay_P04573 PlugAndPlay_P0911
PlugAndPlay_P42232 PlugAndPlay_P44200 PlugAndPlay_R04570 PlugAndPlay_R04570AR PlugAndPlay_R04575
PlugAndPlay_R42800 PlugAndPlay_X00TAX PlugPlayCountryServerDeleteF0311=N7000530
PlugPlayCountryServerExit=N7000540 PlugPlayNERDeleteF03B11Records=N7000520
PlugandPlay_P4312AfterReceipt=N7000952 R03B5051_PlugAndPlay_N7000770 R03B551ProcessLocalization
R03B551ProcessLocalizationReq=N7000560 R03B800_PlugAndPlay_N7001370 R04110Z2_CountryServer
R04110Z2_Plug_and_Play=N7000460 R04571Country_Server R04571Plug_And_Play=N7000480 R04580_Country_Server
R04580_PlugAndPlay R04800_Country_Server R04803_Country_Server R04803_Plug_and_Play=N7000470
R07200_CS_CreateTaxWorkfile R07250_CS_UpdateTaxHistory R09801CSProcessLocalization R09801PlugAndPlay
R12845_Country_Server R12845_Plug_and_Play=N7002030 R42565PlugPlay=N7000501 R42565PlugPlayNER=N7000500
R43500_PlugAndPlay X00TAX_CS_N7000141 XPlugAndPlay_XT4314Z2 XT4312Z1_CS_Process_N7001471
XT4312Z2_PlugAndPlay_N7001660 XT4314Z2_CountryServer=N7001601
)";

using LocalizationCommand = CommandTest;

TEST_F(LocalizationCommand, ListShowsEveryEntryWithItsSourceObject) {
  const clitest::Outcome listed = run({"list"});
  ASSERT_EQ(listed.status, 0) << listed.err;
  std::map<std::string, std::string> sources;
  std::istringstream lines(listed.out);
  for (std::string name, source; lines >> name >> source;) sources[name] = source;
  std::istringstream entries(kEntries);
  size_t count = 0;
  for (std::string entry; entries >> entry; ++count) {
    const size_t eq = entry.find('=');
    const std::string name = entry.substr(0, eq);
    ASSERT_TRUE(sources.count(name)) << name << " is not listed";
    if (eq != std::string::npos) {
      EXPECT_EQ(sources[name], entry.substr(eq + 1)) << name;
    }
  }
  EXPECT_EQ(count, 213u);
}

TEST_F(LocalizationCommand, CountryServerTraceShowsBothCountryFunctionsInOrder) {
  const clitest::Outcome called = run({"call", "B0400017_CountryServer", "szCountryCode=JP", "szMode=VAL",
                                       "mnAmount1=4001", "--setting", "CTR=UK", "--library", kPlugin});
  ASSERT_EQ(called.status, 0) << called.err;
  const nlohmann::json result = called.result();
  EXPECT_EQ(result["trace"],
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
