// Feeds arbitrary bytes as the value text of every member kind (the texts
// the command, the service and db load read). A text that is taken must print
// back to a text that reads to the same bytes; a text that is refused must
// leave the bytes alone. Any crash, sanitizer report or broken round trip is
// a find.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "runtime/valuetext.h"
#include "vyrdstmpl.h"

namespace {

[[noreturn]] void Fail(const char *why, int kind) {
  std::fprintf(stderr, "valuetext_fuzz: %s (kind %d)\n", why, kind);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  for (int kind = VYR_DSK_STRING; kind <= VYR_DSK_BYTES; ++kind) {
    const uint32_t width = kind == VYR_DSK_STRING || kind == VYR_DSK_BYTES ? 12 : 1;
    std::vector<unsigned char> bytes(vyr::valueSize(kind, width), 0xA5), again(bytes.size(), 0x5A);
    const std::vector<unsigned char> before = bytes;
    std::string error;
    if (!vyr::parseValue(kind, width, text, bytes.data(), &error)) {
      if (bytes != before) Fail("a refused text changed the bytes", kind);
      if (error.empty()) Fail("a refusal without a reason", kind);
      continue;
    }
    const auto printed = vyr::formatValue(kind, width, bytes.data());
    if (!printed) {
      // Only the null date and time print as null, and they read back from "".
      if (!vyr::parseValue(kind, width, "", again.data(), &error) || again != bytes)
        Fail("null does not read back", kind);
      continue;
    }
    if (!vyr::parseValue(kind, width, *printed, again.data(), &error)) Fail("the printed text is refused", kind);
    if (again != bytes) Fail("the printed text reads to other bytes", kind);
  }
  return 0;
}
