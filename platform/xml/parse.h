// Checked parsing of untrusted JCHAR text into a pugixml tree: what the
// XRCS_* operations and the PIM sync transport parse with.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "xerceswrapper.h"
#include "xml/host.h"

namespace vyr::xml {

// pugixml's tree over the wrapper's own UTF-8 copy of the text (parsed in
// place, so the copy lives as long as the tree).
struct ParsedText {
  std::unique_ptr<char[]> buffer;
  pugi::xml_document document;
};

// The length of terminated text, or limit + 1 when it is longer than limit
// (nothing past the first limit + 1 units is looked for).
size_t boundedLength(const char16_t *text, size_t limit) noexcept;

// Parses text (without terminator; a leading U+FEFF is dropped) after the
// checks xerceswrapper.h lists. XRCS_SUCCESS fills *out; otherwise *out holds
// no document and *why says what was refused and where ("... at line L, column C").
XRCS_Status parseText(std::u16string_view text, const Limits &limits, ParsedText *out, std::string *why);

}  // namespace vyr::xml
