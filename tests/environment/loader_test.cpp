// LoadLibraryW / GetProcAddress / FreeLibrary: each handle holds its own
// reference; freed, foreign and bad arguments are refused without a crash.
#include "fixture.h"

namespace envtest {
namespace {

TEST(Loader, HandlesAreRefusedOnceFreedOrWhenForeign) {
  const std::u16string path(kPlugin.begin(), kPlugin.end()), directory = u"/tmp";
  for (const JCHAR *bad : {static_cast<const JCHAR *>(nullptr), u"", u"/nonexistent/lib.so", directory.c_str()})
    EXPECT_EQ(LoadLibraryW(bad), nullptr);
  const HMODULE first = LoadLibraryW(path.c_str()), second = LoadLibraryW(path.c_str());
  ASSERT_TRUE(first && second && first != second);
  for (const char *name : {static_cast<const char *>(nullptr), "", "NoSuchEntry"})
    EXPECT_EQ(GetProcAddress(first, name), nullptr);
  for (HMODULE foreign : {static_cast<HMODULE>(nullptr), reinterpret_cast<HMODULE>(0x1234)}) {
    EXPECT_EQ(GetProcAddress(foreign, "TaxFixtureCalls"), nullptr);
    EXPECT_FALSE(FreeLibrary(foreign));
  }
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(FreeLibrary(first));
  EXPECT_EQ(GetProcAddress(first, "TaxFixtureCalls"), nullptr);
  auto calls = reinterpret_cast<const char *(*)()>(GetProcAddress(second, "TaxFixtureCalls"));
  ASSERT_NE(calls, nullptr) << "the other handle still reaches the library";
  plugIn().reset(0, 0);
  reinterpret_cast<int (*)()>(GetProcAddress(second, TAXINTERFACE_GEOCODE_INITIALIZE))();
  EXPECT_STREQ(calls(), "GeoCodeInitialize");
  EXPECT_TRUE(FreeLibrary(second));
}

}  // namespace
}  // namespace envtest
