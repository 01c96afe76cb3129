// The XML wrapper as hosts (the famoflas command, the HTTP service, tests)
// see it: the limits a context sets, the decoding of a document that arrives
// as bytes, and the count of what the wrapper has handed out and not had back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr VYR_HOST_API {
namespace xml {

struct Limits {
  size_t maxChars;    // longest text in JCHAR
  unsigned maxDepth;  // deepest nesting of elements (the document element is 1)
};

// The limits the settings "xmlmaxchars" and "xmlmaxdepth" of the context give
// (the defaults of xerceswrapper.h for a null context or an unset value).
Limits contextLimits(LPBHVRCOM context);

// A document as a client sends it: UTF-8 (a byte-order mark is dropped), or
// UTF-16 in either byte order when it starts with a byte-order mark. Ill-formed
// text is refused, never repaired: false, with the reason in *why.
bool decodeDocumentBytes(std::string_view bytes, std::u16string *text, std::string *why);

// Handles and strings handed out on the calling thread and not yet released
// there, by kind. Tests compare them before and after a piece of work to show
// that it released everything.
struct LiveObjects {
  long parsers = 0, documents = 0, elements = 0, attributes = 0, strings = 0;
  bool operator==(const LiveObjects &) const = default;
};
LiveObjects liveObjects() noexcept;

}  // namespace xml
}  // namespace VYR_HOST_API
