// What hosts need around the wrapper: a context's limits, and documents that
// arrive as bytes.
#include "xml/host.h"

#include <unicode/utf16.h>

#include <charconv>

#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "xerceswrapper.h"

namespace vyr::xml {
namespace {

// The setting's value when it is a number, else the default (settings are
// checked when set, so this is the unset case).
template <typename Number>
Number numberSetting(LPBHVRCOM context, std::string_view key, Number fallback) {
  const std::string text = setting(context, key);
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value > 0 ? value : fallback;
}

}  // namespace

Limits contextLimits(LPBHVRCOM context) {
  return {numberSetting<size_t>(context, "xmlmaxchars", XRCS_DEFAULT_MAX_CHARS),
          numberSetting<unsigned>(context, "xmlmaxdepth", XRCS_DEFAULT_MAX_DEPTH)};
}

bool decodeDocumentBytes(std::string_view bytes, std::u16string *text, std::string *why) {
  text->clear();
  const auto byte = [&](size_t k) { return k < bytes.size() ? static_cast<unsigned char>(bytes[k]) : 0x100u; };
  // UTF-16 is known by its byte-order mark, or by the "<" a document starts with.
  const bool markLittle = byte(0) == 0xFF && byte(1) == 0xFE;
  const bool markBig = byte(0) == 0xFE && byte(1) == 0xFF;
  const bool little = markLittle || (byte(0) == '<' && byte(1) == 0);
  const bool big = markBig || (byte(0) == 0 && byte(1) == '<');
  if (little || big) {
    if (bytes.size() % 2 != 0) {
      *why = "UTF-16 text of an odd number of bytes";
      return false;
    }
    const size_t skip = markLittle || markBig ? 2 : 0;
    text->reserve((bytes.size() - skip) / 2);
    for (size_t k = skip; k < bytes.size(); k += 2) {
      const unsigned first = byte(k), second = byte(k + 1);
      text->push_back(static_cast<char16_t>(little ? first | second << 8 : first << 8 | second));
    }
    for (size_t k = 0; k < text->size(); ++k) {
      const char16_t unit = (*text)[k];
      if (!U16_IS_SURROGATE(unit)) continue;
      if (U16_IS_SURROGATE_LEAD(unit) && k + 1 < text->size() && U16_IS_TRAIL((*text)[k + 1])) {
        ++k;
        continue;
      }
      text->clear();
      *why = "UTF-16 text with an unpaired surrogate";
      return false;
    }
    return true;
  }
  if (byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) bytes.remove_prefix(3);
  if (!decodeUtf8(bytes, text)) {
    text->clear();
    *why = "the text is not valid UTF-8";
    return false;
  }
  return true;
}

}  // namespace vyr::xml
