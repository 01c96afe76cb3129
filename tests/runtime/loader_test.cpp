// Loading a library at run time: entry points are found by name, each load
// holds its own reference, and a stale or foreign handle is refused.
#include <gtest/gtest.h>

#include <string>

#include "unicode/jchar_utf8.h"
#include "vyros.h"

namespace {

const std::u16string kPlugin = vyr::fromUtf8(FAMOFLAS_BINARY_DIR "/tests/fixtures/libtaxplugin.so");

TEST(Loader, EntryPointsByNameAndOneReferencePerLoad) {
  HMODULE first = LoadLibraryW(kPlugin.c_str());
  HMODULE second = LoadLibraryW(kPlugin.c_str());
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second) << "each load gets a handle of its own";
  EXPECT_NE(GetProcAddress(first, "TaxGeoCodeInitialize"), nullptr);
  EXPECT_EQ(GetProcAddress(first, "NoSuchEntry"), nullptr);
  EXPECT_EQ(GetProcAddress(first, nullptr), nullptr);

  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(FreeLibrary(first)) << "a handle is freed once";
  EXPECT_EQ(GetProcAddress(first, "TaxGeoCodeInitialize"), nullptr) << "a freed handle finds nothing";
  EXPECT_NE(GetProcAddress(second, "TaxGeoCodeInitialize"), nullptr) << "the other load still holds the library";
  EXPECT_TRUE(FreeLibrary(second));
}

TEST(Loader, RefusesWhatItCannotLoadOrDoesNotKnow) {
  const std::u16string missing = u"/nonexistent/libnothing.so";
  EXPECT_EQ(LoadLibraryW(missing.c_str()), nullptr);
  EXPECT_EQ(LoadLibraryW(u""), nullptr);
  EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
  int notAHandle = 0;
  EXPECT_FALSE(FreeLibrary(reinterpret_cast<HMODULE>(&notAHandle)));
  EXPECT_FALSE(FreeLibrary(nullptr));
  EXPECT_EQ(GetProcAddress(reinterpret_cast<HMODULE>(&notAHandle), "TaxGeoCodeInitialize"), nullptr);
}

}  // namespace
