/*
 * entries.h - the localization table: every plug-and-play entry and country
 * server of the library, one row each, sorted by source object. A file that
 * includes it defines LOC_PLUG, LOC_SERVER and LOC_BRANCH first, and it has
 * no include guard, so that each includer expands the rows its own way
 * (entries.cpp turns each row into an exported business function and its
 * registration). Nothing else describes these functions.
 *
 * Why one table and not one file per source object: the entries differ only
 * in their names, their server and the countries a server knows, so the
 * table is their source code. The source object is the first column of every
 * row; search for it to find its functions. What they do is in dispatch.cpp,
 * and the records they pass in localization.h.
 *
 *   LOC_PLUG(source, entry, "server")
 *     A plug-and-play entry: with a country code it forwards its record to
 *     the server ("" when it names none, and then does nothing).
 *   LOC_SERVER(source, entry, branches...)
 *     A country server; its branches are tested in order and each one that
 *     matches calls its country function:
 *   LOC_BRANCH(country, "codes", "mode", "callee", record, "mapping")
 *     country  DS: compare member 1 of the record; USER: the user's "CTR"
 *     codes    two-letter codes separated by blanks
 *     mode     the mode (member 6) the branch acts in; "" for every mode
 *     callee   the country function called by name; "" when a code is known
 *              but no function is called by name for it
 *     record   SHARED (the localization record itself), WITHHOLDING or
 *              CIS_STATUS (the records of WithholdingTaxValidation and
 *              GetCISSubcontractorStatus)
 *     mapping  "server member-callee member ..."; LOC_IDENTITY maps all nine
 *
 * Adding a country to a server is adding its code to a branch, or a branch.
 *
 * Where a source object comes from: the pair numbers N70xxxx0 (plug-and-play)
 * and N70xxxx1 (server) where the entry's name carries one (N70000731 and
 * N703110 read as N7000731 and N7003110), or where the entry is the other half
 * of such a pair; otherwise the object the entry is named after (P1201,
 * R04580, B4200311; IDXX00026 is DXX00026), and a pair named after one object
 * shares it. A plug-and-play entry forwards to the server that is its pair by
 * number or by that object, or for five to the server named after what their
 * program maintains (P0101 F0101, P04571 F04571, R04570 F04572, P0030 P0030A,
 * P0911 B0900049), and for two to the server of their program's family
 * (XT4312Z2 XT4312Z1, P41026 P41024). An entry whose name carries N70xxxx0
 * but whose server N70xxxx1 is not in the library names that server as
 * N70xxxx1_CS_<program> (the installation registers it, as it does
 * CuntryServerB0300005DeleteF0311); until it does, a call with a country code
 * ends with the runtime's unknown-callee error. So 101 plug-and-play entries
 * name a server; the nine left have none within reach and name none.
 */
// The table is laid out in columns for its reader.
// clang-format off
LOC_PLUG(B03B0025, PlugAndPlay_B03B0025,                  "")
LOC_PLUG(B0400394, PlugAndPlay_B0400394,                  "")
LOC_SERVER(B4200311, B4200311_CtryServer)
LOC_PLUG(B4200311, B4200311_PlugAndPlay,                  "B4200311_CtryServer")
LOC_PLUG(DXX00026, IDXX00026_CallLocalizationPlugAndPlay, "")
LOC_PLUG(N4101060, N4101060PlugAndPlayNER,                "")
LOC_PLUG(N7000010, PlugAndPlayNER_P4101,                  "N7000011_CS_P4101")
LOC_SERVER(N7000011, N7000011_CS_P4101)
LOC_SERVER(N7000021, N7000021_CS_P41024)
LOC_PLUG(N7000030, P0101_CS_ValidateTaxID,                "N7000031_CS_N0100041")
LOC_SERVER(N7000031, N7000031_CS_N0100041,
  LOC_BRANCH(DS, "IT",                                     "", "ItalianTaxIDValidation", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AT BE DE DK EC ES FI FR GB NL SE TI UK", "", "",                       SHARED, ""))
LOC_PLUG(N7000040, PlugAndPlay_P0030,                     "N7000041_CS_P0030A")
LOC_SERVER(N7000041, N7000041_CS_P0030A,
  LOC_BRANCH(DS, "IT",       "VAL", "BankValidationItaly",    SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "JP",       "VAL", "BankValidationJapan",    SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "FR",       "VAL", "BankValidationFrance",   SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "BE",       "VAL", "BankValidationBelgium",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "FI",       "VAL", "BankValidationFinland",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "BI CN ES", "",    "RetrieveCompanyAddress", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000070, N7000070_PlugAndPlay_B0400093,         "B0400093_CountryServer")
LOC_SERVER(N7000071, B0400093_CountryServer)
LOC_SERVER(N7000081, N7000081_CS_B0400206,
  LOC_BRANCH(DS, "AR DK FI IT NO PE RU SE", "", "", SHARED, ""))
LOC_PLUG(N7000090, PlugAndPlay_P0911,                     "B0900049_CS_Process_N7000091")
LOC_SERVER(N7000091, B0900049_CS_Process_N7000091,
  LOC_BRANCH(USER, "UK",                   "VAL", "UK_EPM_ValidatePropertySubledger", SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "UPD", "UKEPM_UpdateAcctProfileAndStatus", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "BR CO IT PL RU TR VT", "",    "CurrencyConvSftRound",             SHARED, LOC_IDENTITY))
LOC_PLUG(N7000100, PlugAndPlay_R04570,                    "F04572_CountryServer")
LOC_SERVER(N7000101, F04572_CountryServer,
  LOC_BRANCH(DS,   "AR PE", "UPD", "PaymentStatusChange",       SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "AR PE", "UPD", "UpdateStatusAfterPayment",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",    "VAL", "GetCISConstantInformation", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000110, PlugAndPlay_B0400007,                  "B0400007_Country_Server")
LOC_SERVER(N7000111, B0400007_Country_Server,
  LOC_BRANCH(DS, "JP", "", "DraftValueDateCalculationJapan", SHARED, LOC_IDENTITY))
LOC_SERVER(N7000121, N7000121_CS_P04572)
LOC_PLUG(N7000140, PlugAndPlay_X00TAX,                    "X00TAX_CS_N7000141")
LOC_SERVER(N7000141, X00TAX_CS_N7000141)
LOC_PLUG(N7000150, PlugAndPlay_P0101,                     "F0101_CountryServerII")
LOC_SERVER(N7000151, F0101_CountryServerII,
  LOC_BRANCH(USER, "UK",                                        "VAL", "GetCISSubcontractorStatus", CIS_STATUS, "7-1")
  LOC_BRANCH(DS,   "JP",                                        "DEL", "DeleteP0101Japan",          SHARED,     LOC_IDENTITY)
  LOC_BRANCH(DS,   "IT",                                        "DEL", "DeleteP0101Italy",          SHARED,     LOC_IDENTITY)
  LOC_BRANCH(DS,   "AR BR CL CN CO DK EC FI NO OK PE PL RU SE", "",    "",                          SHARED,     ""))
LOC_SERVER(N7000241, N7000241_CS_B0400022)
LOC_PLUG(N7000250, P04571PlugAndPlay,                     "F04571_CountryServer")
LOC_SERVER(N7000251, F04571_CountryServer,
  LOC_BRANCH(DS, "AR DO IT PE", "VAL", "GetWhithholdingTaxAmount", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "DE DK NO SE", "ADD", "SaveHDCToCache",           SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "DE DK NO SE", "VAL", "RetrieveHDCFromCache",     SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "JP",          "",    "",                         SHARED, ""))
LOC_SERVER(N7000261, F0413_CountryServer,
  LOC_BRANCH(DS, "AR IT PE RU",       "", "UpdateWTPaymentInfoAuto", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "DE DK FI JP NO SE", "", "",                        SHARED, ""))
LOC_PLUG(N7000270, PlugAndPlay_P04573,                    "P04573_CountryServer")
LOC_SERVER(N7000271, P04573_CountryServer,
  LOC_BRANCH(DS, "IT",       "", "ProhibitSplitPaymentsItaly", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR DE JP", "", "ProhibitSplitingPayment",    SHARED, LOC_IDENTITY))
LOC_PLUG(N7000290, PlugAndPlayP4008TaxRateArea,           "N7000291_CS_P4008")
LOC_SERVER(N7000291, N7000291_CS_P4008)
LOC_PLUG(N7000310, N7000310_PlugAndPlay_P4210,            "P4210_CountryServer")
LOC_SERVER(N7000311, P4210_CountryServer)
LOC_PLUG(N7000320, N7000320_PlugAndPlay_B4200310,         "N7000321_CS_B4200310")
LOC_PLUG(N7000330, PlugAndPlay_B0400047,                  "B0400047_CountryServer")
LOC_SERVER(N7000331, B0400047_CountryServer,
  LOC_BRANCH(DS,   "AR CL CO EC IT PE PL", "VAL", "B7400110ReadWTFromCache",         SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "AR CL CO EC IT PE PL", "ADD", "UpdateWTBatchInput",              SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "AR CL CO EC IT PE PL", "UPD", "UpdateWTPMVoucher",               SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "FI",                   "VAL", "ReferenceNrValidationFinland",    SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "VAL", "CheckSupplerNoForCISStatus",      SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "VAL", "UKEMP_DefaultValidateTaxInfo_AP", SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "ADD", "CreateAPDetailsCISTagFile",       SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "UPD", "UpdateAPDetailsCISTagFile",       SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",                   "DEL", "DeleteAPDetailsCISTagFile",       SHARED, LOC_IDENTITY))
LOC_PLUG(N7000340, PlugAndPlay_P0411,                     "F0411_CS_P0411")
LOC_SERVER(N7000341, F0411_CS_P0411,
  LOC_BRANCH(USER, "UK",                            "VAL", "GetCISSubcontractorStatus", CIS_STATUS, "7-1")
  LOC_BRANCH(DS,   "AR CO EC IT OK PE PL RU TW VE", "",    "",                          SHARED,     ""))
LOC_PLUG(N7000360, PlugAndPlay_P0413M,                    "F0414_CS_P0413M")
LOC_SERVER(N7000361, F0414_CS_P0413M,
  LOC_BRANCH(DS, "AR IT OK PL RU", "VAL", "GetWhithholdingTaxAmount",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR IT OK PL RU", "UPD", "UpdateWTPaymentInfo_OK",    SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR IT OK PL RU", "DEL", "DeleteWTPaymentInfo",       SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR IT OK PL RU", "DEL", "DeleteWTPaymentInfoBrowse", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000370, PlugAndPlay_P0411S,                    "F0411_CS_P0411S")
LOC_SERVER(N7000371, F0411_CS_P0411S,
  LOC_BRANCH(DS, "IT",          "", "ProhibitSplitPaymentsItaly", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR FR PE VE", "", "",                           SHARED, ""))
LOC_PLUG(N7000380, PlugAndPlay_P0413V,                    "F0414_CS_P0413V")
LOC_SERVER(N7000381, F0414_CS_P0413V,
  LOC_BRANCH(DS,   "AR IT PE", "", "DeleteWTPaymentInfoBrowse",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "IT",       "", "VoidACMPayments",            SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",       "", "GetCISConstantInformation",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",       "", "VoidCISPaymentF0411TagFile", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000390, PlugAndPlay_P0411SV,                   "F0411_CS_P0411SV")
LOC_SERVER(N7000391, F0411_CS_P0411SV,
  LOC_BRANCH(USER, "UK",    "VAL", "GetCISSubcontractorStatus", CIS_STATUS, "7-1")
  LOC_BRANCH(DS,   "IT TW", "",    "",                          SHARED,     ""))
LOC_PLUG(N7000400, N7000400_PlugAndPlay_P4314,            "N7000401_CS_P4314")
LOC_SERVER(N7000401, N7000401_CS_P4314,
  LOC_BRANCH(DS, "AR EC IT OK PE PL TW VE", "", "", SHARED, ""))
LOC_PLUG(N7000440, PlugAndPlay_B0400233,                  "N7000441_CS_B0400233")
LOC_SERVER(N7000441, N7000441_CS_B0400233,
  LOC_BRANCH(DS, "NL", "VAL", "ValidatePCGDetailsNetherlands",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "NL", "UPD", "OverridePaymentFldsNetherlands", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "PE", "",    "",                               SHARED, ""))
LOC_PLUG(N7000450, N7000450_PlugAndPlay_P03B11,           "N7000451_CS_P03B11")
LOC_SERVER(N7000451, N7000451_CS_P03B11,
  LOC_BRANCH(DS, "AR CL EC OK PE PL RU TW", "", "", SHARED, ""))
LOC_PLUG(N7000460, R04110Z2_Plug_and_Play,                "R04110Z2_CountryServer")
LOC_SERVER(N7000461, R04110Z2_CountryServer)
LOC_PLUG(N7000470, R04803_Plug_and_Play,                  "R04803_Country_Server")
LOC_SERVER(N7000471, R04803_Country_Server)
LOC_PLUG(N7000480, R04571Plug_And_Play,                   "R04571Country_Server")
LOC_SERVER(N7000481, R04571Country_Server)
LOC_PLUG(N7000490, P42230PlugPlayNER,                     "N7000491_CS_P42230")
LOC_SERVER(N7000491, N7000491_CS_P42230,
  LOC_BRANCH(DS, "AR CO EC", "", "GetInternalNextNumber", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000500, R42565PlugPlayNER,                     "R42565PlugPlay")
LOC_SERVER(N7000501, R42565PlugPlay,
  LOC_BRANCH(DS, "AR CL CN CO DO EC PE PL RU", "", "AssignVYRInvoice_GUI", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000520, PlugPlayNERDeleteF03B11Records,        "CountryServerB03B0013ProcessLoc")
LOC_SERVER(N7000521, CountryServerB03B0013ProcessLoc)
LOC_PLUG(N7000530, PlugPlayCountryServerDeleteF0311,      "CuntryServerB0300005DeleteF0311")
LOC_PLUG(N7000540, PlugPlayCountryServerExit,             "CountryServerP03B103Localization")
LOC_SERVER(N7000541, CountryServerP03B103Localization)
LOC_PLUG(N7000560, R03B551ProcessLocalizationReq,         "R03B551ProcessLocalization")
LOC_SERVER(N7000561, R03B551ProcessLocalization)
LOC_PLUG(N7000570, B03B0011_PlugAndPlay_N7000570,         "B03B0011_CS_Process_N7000571")
LOC_SERVER(N7000571, B03B0011_CS_Process_N7000571,
  LOC_BRANCH(DS, "AR CL CO EC IT OK PE TW", "", "", SHARED, ""))
LOC_PLUG(N7000600, N7000600_PlugAndPlay_R07200,           "R07200_CS_CreateTaxWorkfile")
LOC_SERVER(N7000601, R07200_CS_CreateTaxWorkfile)
LOC_PLUG(N7000620, N7000620_PlugAndPlay_R07250,           "R07250_CS_UpdateTaxHistory")
LOC_SERVER(N7000621, R07250_CS_UpdateTaxHistory)
LOC_PLUG(N7000650, N7000650_PlugAndPlay_P03B11SI,         "F03B11_CS_P03B11SI")
LOC_SERVER(N7000651, F03B11_CS_P03B11SI)
LOC_PLUG(N7000660, N7000660_PlugAndPlay_P03B675,          "N7000661_CS_P03B675")
LOC_SERVER(N7000661, N7000661_CS_P03B675)
LOC_PLUG(N7000670, N7000670_PlugAndPlay_R03B672,          "N7000671_CS_R03B672")
LOC_SERVER(N7000671, N7000671_CS_R03B672)
LOC_PLUG(N7000680, N7000680_PlugAndPlay_R03B680,          "N7000681_CS_R03B680")
LOC_SERVER(N7000681, N7000681_CS_R03B680)
LOC_PLUG(N7000690, N7000690_PlugAndPlay_B03B0020,         "N7000691_CS_B03B0020")
LOC_SERVER(N7000691, N7000691_CS_B03B0020)
LOC_PLUG(N7000700, N7000700_PlugAndPlay_B0400035,         "N7000701_CS__B0400035")
LOC_SERVER(N7000701, N7000701_CS__B0400035,
  LOC_BRANCH(DS,   "AR CO IT PE PL", "DEL", "DeleteWithholdingTaxFromBrowse", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "JP",             "DEL", "DeleteRecord_F750411",           SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",             "DEL", "GetCISConstantInformation",      SHARED, LOC_IDENTITY)
  LOC_BRANCH(USER, "UK",             "DEL", "DeleteAPDetailsCISTagFile",      SHARED, LOC_IDENTITY))
LOC_PLUG(N7000710, N7000710_PlugAndPlay_P03B602,          "N7000711_CS_P03B602")
LOC_SERVER(N7000711, N7000711_CS_P03B602)
LOC_PLUG(N7000730, N7000730_PlugAndPlay_F03B13,           "N70000731_CS_F03B13")
LOC_SERVER(N7000731, N70000731_CS_F03B13)
LOC_PLUG(N7000740, B0400017_PlugAndPlay,                  "B0400017_CountryServer")
LOC_SERVER(N7000741, B0400017_CountryServer,
  LOC_BRANCH(DS,   "JP", "VAL", "WithholdingTaxValidation",  WITHHOLDING, "7-1 8-2 9-3")
  LOC_BRANCH(USER, "UK", "VAL", "GetCISSubcontractorStatus", CIS_STATUS,  "7-1"))
LOC_PLUG(N7000750, N7000750_PlugAndPlay_P03B2002,         "N7000751_CS_P03B2002")
LOC_SERVER(N7000751, N7000751_CS_P03B2002,
  LOC_BRANCH(DS, "AR CL CO EC PE PL RU TW", "", "", SHARED, ""))
LOC_PLUG(N7000770, R03B5051_PlugAndPlay_N7000770,         "N7000771_CS_R03B5051")
LOC_PLUG(N7000780, B0400076_PlugAndPlay,                  "B0400076_CountryServer")
LOC_SERVER(N7000781, B0400076_CountryServer,
  LOC_BRANCH(DS, "JP", "", "Delete_F750411", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000790, N7000790_PlugAndPlay_P04572W,          "N7000791_CS_P04572W")
LOC_SERVER(N7000791, N7000791_CS_P04572W)
LOC_PLUG(N7000830, N7000830_PlugAndPlay_P03B2501,         "N7000831_CS_P03B2501")
LOC_SERVER(N7000831, N7000831_CS_P03B2501)
LOC_PLUG(N7000840, N7000840_PlugAndPlay_R03B11Z1I,        "N7000841_CS_R03B11Z1I")
LOC_SERVER(N7000841, N7000841_CS_R03B11Z1I,
  LOC_BRANCH(DS, "AR CL PE", "", "LoadF76AUI24FromF76A19Z1",  SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS, "AR CL PE", "", "DeleteRecordsFromF76A19Z1", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000850, N7000850_PlugAndPlay_B03B0029,         "N7000851_CS_B03B0029")
LOC_SERVER(N7000851, N7000851_CS_B03B0029)
LOC_PLUG(N7000860, N7000860_PlugAndPlay_P0030A,           "N7000861_CS_P0030A")
LOC_SERVER(N7000861, N7000861_CS_P0030A)
LOC_PLUG(N7000870, N7000870_PlugAndPlay_B4200450,         "N7000871_CS_B4200450")
LOC_SERVER(N7000871, N7000871_CS_B4200450)
LOC_PLUG(N7000880, N7000880_PlugAndPlay_B0400205,         "N7000881_CS_B0400205")
LOC_SERVER(N7000881, N7000881_CS_B0400205)
LOC_PLUG(N7000890, N7000890_PlugAndPlay_F4101,            "N7000891_CS_F4101")
LOC_SERVER(N7000891, N7000891_CS_F4101)
LOC_PLUG(N7000900, N7000900_PlugAndPlay_F41021,           "N7000901_CS_F41021")
LOC_SERVER(N7000901, N7000901_CS_F41021)
LOC_PLUG(N7000910, N7000910_PlugAndPlay_B0400074,         "N7000911_CS_B0400074")
LOC_SERVER(N7000911, N7000911_CS_B0400074)
LOC_PLUG(N7000920, PlugAndPlay_P041016,                   "N7000921_CS_P041016")
LOC_SERVER(N7000921, N7000921_CS_P041016)
LOC_PLUG(N7000930, N7000930_PlugAndPlay_P0801,            "N7000931_CS_P0801")
LOC_SERVER(N7000931, N7000931_CS_P0801)
LOC_PLUG(N7000940, N70000940PlugandPlayF03B13Z1,          "N70000941_CS_F03B13Z1")
LOC_SERVER(N7000941, N70000941_CS_F03B13Z1)
LOC_PLUG(N7000950, N7000950_PlugAndPlay_B4100201,         "N7000951_CS_B4100201")
LOC_SERVER(N7000951, N7000951_CS_B4100201)
LOC_PLUG(N7000952, PlugandPlay_P4312AfterReceipt,         "F4312_CS_AfterReceipt")
LOC_SERVER(N7000953, F4312_CS_AfterReceipt,
  LOC_BRANCH(DS, "BR", "", "CallNotaFiscalCheck", SHARED, LOC_IDENTITY))
LOC_PLUG(N7000980, N7000980_PlugAndPlay_P0030G,           "N7000981_CS_P0030G")
LOC_SERVER(N7000981, N7000981_CS_P0030G)
LOC_PLUG(N7001000, N7001000_PlugAndPlay_P07200,           "N7001001_CS_P07200")
LOC_PLUG(N7001120, N7001120_PlugAndPlay_P05001C,          "N7001121_CS_P05001C")
LOC_SERVER(N7001121, N7001121_CS_P05001C)
LOC_PLUG(N7001130, N7001130_PlugAndPlay_P059116,          "N7001131_CS_P059116")
LOC_SERVER(N7001131, N7001131_CS_P059116)
LOC_PLUG(N7001140, N7001140_PlugAndPlay_P07351,           "N7001141_CS_P07351")
LOC_SERVER(N7001141, N7001141_CS_P07351)
LOC_PLUG(N7001150, N7001150_PlugAndPlay_P059101,          "N7001151_CS_P059101")
LOC_SERVER(N7001151, N7001151_CS_P059101)
LOC_PLUG(N7001240, N7001240_PlugAndPlay_P0801CMP,         "N7001241_CS_P0801CMP")
LOC_SERVER(N7001241, N7001241_CS_P0801CMP)
LOC_PLUG(N7001250, N7001250_PlugAndPlay_P0801EMP,         "N7001251_CS_P0801EMP")
LOC_SERVER(N7001251, N7001251_CS_P0801EMP)
LOC_PLUG(N7001260, N7001260_PlugAndPlay_P0801ORG,         "N7001261_CS_P0801EMP")
LOC_SERVER(N7001261, N7001261_CS_P0801EMP)
LOC_PLUG(N7001280, N0701130PlugAndPlay,                   "N0701130CountryServer")
LOC_SERVER(N7001281, N0701130CountryServer,
  LOC_BRANCH(DS, "NZ", "", "UpdateAverageGrossEarnings", SHARED, LOC_IDENTITY))
LOC_PLUG(N7001370, R03B800_PlugAndPlay_N7001370,          "N7001371_CS_R03B800")
LOC_PLUG(N7001380, B4200311_CountryServer,                "B4200311_Country_Server")
LOC_SERVER(N7001381, B4200311_Country_Server,
  LOC_BRANCH(USER, "UK", "", "UK_EPM_Validate_Subledger", SHARED, LOC_IDENTITY))
LOC_PLUG(N7001450, P0801_PlugAndPlay_WithMBF,             "N7001451_CS_P0801_MBF")
LOC_SERVER(N7001451, N7001451_CS_P0801_MBF)
LOC_SERVER(N7001471, XT4312Z1_CS_Process_N7001471)
LOC_PLUG(N7001510, N7001510_PlugAndPlay_F04572,           "N7001511_CS_F04572")
LOC_SERVER(N7001511, N7001511_CS_F04572)
LOC_PLUG(N7001520, N7001520_PlugAndPlay_F04573,           "N7001521_CS_F04573")
LOC_SERVER(N7001521, N7001521_CS_F04573,
  LOC_BRANCH(DS, "DE", "", "N7400370_CS_N7000881", SHARED, LOC_IDENTITY))
LOC_PLUG(N7001600, XPlugAndPlay_XT4314Z2,                 "XT4314Z2_CountryServer")
LOC_SERVER(N7001601, XT4314Z2_CountryServer,
  LOC_BRANCH(USER, "UK",             "", "UKEMP_DefaultValidateTaxInfo_AP", SHARED, LOC_IDENTITY)
  LOC_BRANCH(DS,   "AR CL CO EC PE", "", "",                                SHARED, ""))
LOC_PLUG(N7001660, XT4312Z2_PlugAndPlay_N7001660,         "XT4312Z1_CS_Process_N7001471")
LOC_PLUG(N7002010, PlugAndPlayNER_B0000122,               "N7002011_CS_B0000122")
LOC_SERVER(N7002011, N7002011_CS_B0000122)
LOC_PLUG(N7002020, B4100040_Plug_and_Play,                "B4100040_Country_Server")
LOC_SERVER(N7002021, B4100040_Country_Server)
LOC_PLUG(N7002030, R12845_Plug_and_Play,                  "R12845_Country_Server")
LOC_SERVER(N7002031, R12845_Country_Server)
LOC_PLUG(N7003030, N7003030_PlugAndPlay_B1200006,         "N7003031_CS_B1200006")
LOC_PLUG(N7003040, PlugAndPlay_B0100016,                  "N7003041_CS_B0100016")
LOC_SERVER(N7003041, N7003041_CS_B0100016)
LOC_PLUG(N7003060, PlugAndPlayB0400115,                   "N7003061_CS_B0400115")
LOC_SERVER(N7003061, N7003061_CS_B0400115)
LOC_PLUG(N7003070, PlugAndPlay_B4001090,                  "N7003071_CS_B4001090")
LOC_SERVER(N7003071, N7003071_CS_B4001090)
LOC_PLUG(N7003100, R43500_PlugAndPlay,                    "N7003101_CS_R43500")
LOC_SERVER(N7003101, N7003101_CS_R43500,
  LOC_BRANCH(DS, "CO DO EC", "", "GetInternalNextNumber", SHARED, LOC_IDENTITY))
LOC_PLUG(N7003110, N703110_PlugAndPlay_P430114,           "N7003111_CS_P430114")
LOC_SERVER(N7003111, N7003111_CS_P430114,
  LOC_BRANCH(DS, "CO EC", "", "GetInternalNextNumber", SHARED, LOC_IDENTITY))
LOC_PLUG(N7003120, N7003120_PlugAndPlay_R03B8101,         "N7003121_CS_R03B8101")
LOC_PLUG(N7003130, PlugAndPlay_P42232,                    "N7003131_CS_P42232")
LOC_SERVER(N7003131, N7003131_CS_P42232,
  LOC_BRANCH(DS, "CO", "", "GetInternalNextNumber", SHARED, LOC_IDENTITY))
LOC_PLUG(N7003140, N7003140_PlugAndPlay_N0100061,         "N7003141_CS_N0100061")
LOC_SERVER(N7003141, N7003141_CS_N0100061)
LOC_SERVER(N7400370, N7400370_CS_N7000881)
LOC_SERVER(P041017,  F0411_CountryServer_P041017)
LOC_PLUG(P041017,  PlugAndPlayP041017,                    "F0411_CountryServer_P041017")
LOC_PLUG(P0411S,   PlugAndPlay_P0411S_76A,                "F0411_CS_P0411S")
LOC_SERVER(P04572,   P04572UCSProcessLocalization)
LOC_SERVER(P051121,  CS_P051121_ProcessLocalization)
LOC_PLUG(P051121,  PlugAndPlayNER_P051121,                "CS_P051121_ProcessLocalization")
LOC_SERVER(P051131,  P051131_CS_Localisation)
LOC_PLUG(P051131,  P051131_PlugAndPlay,                   "P051131_CS_Localisation")
LOC_PLUG(P07210,   PlugAndPlayNER_P07210,                 "")
LOC_SERVER(P1201,    P1201CSProcessLocalization)
LOC_PLUG(P1201,    P1201PlugAndPlay,                      "P1201CSProcessLocalization")
LOC_SERVER(P1204,    P1204CSProcessLocalization)
LOC_PLUG(P1204,    P1204PlugAndPlay,                      "P1204CSProcessLocalization")
LOC_PLUG(P41026,   PlugAndPlayNER_P41026,                 "N7000021_CS_P41024")
LOC_SERVER(P42025,   P42025_CtryServer)
LOC_PLUG(P42025,   P42025_PlugAndPlay,                    "P42025_CtryServer")
LOC_PLUG(P4314,    PlugAndPlayNER_P4314,                  "N7000401_CS_P4314")
LOC_PLUG(P44200,   PlugAndPlay_P44200,                    "")
LOC_PLUG(R04570,   PlugAndPlay_R04570AR,                  "")
LOC_PLUG(R04575,   PlugAndPlay_R04575,                    "")
LOC_SERVER(R04580,   R04580_Country_Server)
LOC_PLUG(R04580,   R04580_PlugAndPlay,                    "R04580_Country_Server")
LOC_SERVER(R04800,   R04800_Country_Server)
LOC_SERVER(R09801,   R09801CSProcessLocalization)
LOC_PLUG(R09801,   R09801PlugAndPlay,                     "R09801CSProcessLocalization")
LOC_PLUG(R42800,   PlugAndPlay_R42800,                    "")
// clang-format on
