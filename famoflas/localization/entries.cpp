// The localization entries, exported and registered from entries.h: each
// row becomes its constant description, an exported business function that
// runs it, and its catalogue entry under its source object.
#include "localization/dispatch.h"

#define LOC_BRANCH(country, codes, mode, callee, record, mapping) \
  {LOC_COUNTRY_##country,      LocalizationCodes(u"" codes),      \
   LocalizationMode(u"" mode), u"" callee,                        \
   LOC_RECORD_##record,        LocalizationMap(mapping, LOC_RECORD_##record)},

#define LOC_ENTRY_FUNCTION(source, entry)                                         \
  FAMOFLAS_BSFN ID entry(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {       \
    return LocalizationDispatch(&kLocalization_##entry, lpBhvrCom, lpVoid, lpDS); \
  }                                                                               \
  FAMOFLAS_REGISTER(entry, &DSLOCALIZATION_template, #source)

#define LOC_PLUG(source, entry, server)                                  \
  static constexpr LOCENTRY kLocalization_##entry = {                    \
      LOC_ROLE_PLUG_AND_PLAY, u"" #entry, #source, u"" server, NULL, 0}; \
  LOC_ENTRY_FUNCTION(source, entry)

// The branches end with an empty one, so a server may have none.
#define LOC_SERVER(source, entry, ...)                                                           \
  static constexpr LOCBRANCH kLocalizationBranches_##entry[] = {__VA_ARGS__{}};                  \
  static constexpr LOCENTRY kLocalization_##entry = {                                            \
      LOC_ROLE_SERVER,                                                                           \
      u"" #entry,                                                                                \
      #source,                                                                                   \
      u"",                                                                                       \
      kLocalizationBranches_##entry,                                                             \
      (ID)(sizeof kLocalizationBranches_##entry / sizeof kLocalizationBranches_##entry[0] - 1)}; \
  LOC_ENTRY_FUNCTION(source, entry)

#include "localization/entries.h"
