// A library whose catalogues a careful loader must refuse, one fault per
// catalogue symbol, and whose famoflasCatalog reuses a built-in name.
#include "frame/bsfn.h"

namespace {

ID Answer(LPBHVRCOM, LPVOID, LPVOID) { return ER_SUCCESS; }

// A template of one member, as a faulty build might describe it.
constexpr DSTMPL_MEMBER kHugeMember[] = {{"abHuge", VYR_DSK_BYTES, 4000000000u, 0, 4000000000u}};
constexpr DSTMPL_MEMBER kOutside[] = {{"nValue", VYR_DSK_INT, 1, 8, 4}};
constexpr DSTMPL_MEMBER kOverlap[] = {{"nFirst", VYR_DSK_INT, 1, 0, 4}, {"nSecond", VYR_DSK_INT, 1, 2, 4}};
constexpr DSTMPL_MEMBER kOneInt[] = {{"nValue", VYR_DSK_INT, 1, 0, 4}};
constexpr DSTMPL_MEMBER kBadMemberName[] = {{"n Value", VYR_DSK_INT, 1, 0, 4}};
constexpr DSTMPL kHugeTemplate = {"DSHUGE", 4000000000u, 1, kHugeMember};
constexpr DSTMPL kOutsideTemplate = {"DSOUTSIDE", 8, 1, kOutside};
constexpr DSTMPL kOverlapTemplate = {"DSOVERLAP", 8, 2, kOverlap};
constexpr DSTMPL kBadMemberNameTemplate = {"DSBADMEMBER", 4, 1, kBadMemberName};
// The name of a data structure the host registered with another layout.
constexpr DSTMPL kOtherLayoutTemplate = {"DSHOSTSHARED", 4, 1, kOneInt};

const BSFN_CATALOG_ENTRY kClash[] = {{"GetExchRate", Answer, nullptr, "HOSTILE"},
                                     {"HostileExtra", Answer, nullptr, "HOSTILE"}};

}  // namespace

#define HOSTILE_CATALOG(symbol, ...)                                      \
  extern "C" VYR_EXPORT const BSFN_CATALOG_ENTRY *symbol(size_t *count) { \
    static const BSFN_CATALOG_ENTRY entries[] = {__VA_ARGS__};            \
    *count = sizeof entries / sizeof entries[0];                          \
    return entries;                                                       \
  }

HOSTILE_CATALOG(hugeMemberCatalog, {"HostileHuge", Answer, &kHugeTemplate, "HOSTILE"})
HOSTILE_CATALOG(outsideCatalog, {"HostileOutside", Answer, &kOutsideTemplate, "HOSTILE"})
HOSTILE_CATALOG(overlapCatalog, {"HostileOverlap", Answer, &kOverlapTemplate, "HOSTILE"})
HOSTILE_CATALOG(badMemberNameCatalog, {"HostileMember", Answer, &kBadMemberNameTemplate, "HOSTILE"})
HOSTILE_CATALOG(badNameCatalog, {"HostileGood", Answer, nullptr, "HOSTILE"},
                {"Hostile Bad", Answer, nullptr, "HOSTILE"})
HOSTILE_CATALOG(noEntryCatalog, {"HostileNoEntry", nullptr, nullptr, "HOSTILE"})
HOSTILE_CATALOG(twiceCatalog, {"HostileTwice", Answer, nullptr, "HOSTILE"},
                {"HostileTwice", Answer, nullptr, "HOSTILE"})
HOSTILE_CATALOG(otherLayoutCatalog, {"HostileLayout", Answer, &kOtherLayoutTemplate, "HOSTILE"})
// Names a host registered before the library is loaded.
HOSTILE_CATALOG(knownNameCatalog, {"HostileKnown", Answer, nullptr, "HOSTILE"})

extern "C" VYR_EXPORT const BSFN_CATALOG_ENTRY *tooManyCatalog(size_t *count) {
  *count = ~size_t{0};
  return kClash;
}

// Data under a catalogue's name: calling it would jump into it.
extern "C" VYR_EXPORT const unsigned char dataCatalog[16] = {0xFF, 0xFF, 0xFF, 0xFF};

extern "C" VYR_EXPORT const BSFN_CATALOG_ENTRY *famoflasCatalog(size_t *count) {
  *count = sizeof kClash / sizeof kClash[0];
  return kClash;
}
