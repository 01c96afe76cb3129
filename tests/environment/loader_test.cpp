// LoadLibraryW / GetProcAddress / FreeLibrary: handles are refused once
// freed or when foreign, and bad input never crashes.
#include "fixture.h"

namespace envtest {
namespace {

std::u16string jpath(const std::string &path) { return std::u16string(path.begin(), path.end()); }

TEST(Loader, BadInputIsRefused) {
  const std::u16string directory = jpath(FAMOFLAS_BINARY_DIR);
  for (const JCHAR *path : {static_cast<const JCHAR *>(nullptr), u"", u"/nonexistent/lib.so", directory.c_str()})
    EXPECT_EQ(LoadLibraryW(path), nullptr);
  const HMODULE foreign = reinterpret_cast<HMODULE>(0x1234);
  for (HMODULE handle : {static_cast<HMODULE>(nullptr), foreign}) {
    EXPECT_EQ(GetProcAddress(handle, "TaxFixtureCalls"), nullptr);
    EXPECT_FALSE(FreeLibrary(handle));
  }
}

TEST(Loader, EachHandleHoldsItsOwnReference) {
  const std::u16string path = jpath(kPlugin);
  const HMODULE first = LoadLibraryW(path.c_str());
  const HMODULE second = LoadLibraryW(path.c_str());
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  for (const char *name : {static_cast<const char *>(nullptr), "", "NoSuchEntry"})
    EXPECT_EQ(GetProcAddress(first, name), nullptr);

  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(FreeLibrary(first)) << "a handle is freed once";
  EXPECT_EQ(GetProcAddress(first, "TaxFixtureCalls"), nullptr);
  // The other handle still reaches the library.
  auto reset = reinterpret_cast<void (*)(int, int)>(GetProcAddress(second, "TaxFixtureReset"));
  auto calls = reinterpret_cast<const char *(*)()>(GetProcAddress(second, "TaxFixtureCalls"));
  ASSERT_TRUE(reset && calls);
  reset(0, 0);
  reinterpret_cast<int (*)()>(GetProcAddress(second, TAXINTERFACE_GEOCODE_INITIALIZE))();
  EXPECT_STREQ(calls(), "GeoCodeInitialize");
  EXPECT_TRUE(FreeLibrary(second));
}

}  // namespace
}  // namespace envtest
