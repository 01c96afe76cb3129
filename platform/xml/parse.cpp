// Checked parsing of untrusted text. pugixml builds the tree; before it runs,
// one pass copies the JCHAR text to UTF-8 and refuses what pugixml would let
// through: DTDs (pugixml skips them, but nothing declared there may count),
// references to anything but the predefined entities and XML characters,
// unpaired surrogates, control characters, '<' in attribute values, and
// nesting beyond the limit (so a hostile depth never becomes a tree) and
// attributes given twice. After it, the top of the tree is checked for one
// document element and a Unicode encoding.
#include "xml/parse.h"

#include <unicode/utf16.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

namespace vyr::xml {
namespace {

bool isXmlChar(uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0x10FFFF);
}

bool isSpace(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

// Which ASCII characters end a run of plain text, by where the run is: in
// character data, in a quoted attribute value, or between the attributes of a
// tag. Control characters end every run (the slow path refuses them).
enum : uint8_t { kStopText = 1, kStopQuoted = 2, kStopTag = 4 };
constexpr std::array<uint8_t, 128> kStops = [] {
  std::array<uint8_t, 128> stops{};
  for (int c = 0; c < 0x20; ++c) stops[c] = kStopText | kStopQuoted | kStopTag;
  stops['\t'] = stops['\n'] = stops['\r'] = 0;
  stops['<'] = kStopText | kStopQuoted | kStopTag;
  stops['&'] = kStopText | kStopQuoted;
  stops['"'] = stops['\''] = kStopQuoted | kStopTag;
  stops['>'] = stops['='] = kStopTag;
  return stops;
}();

// The first pass. Every character is copied exactly once, so the pass is
// linear whatever the input; markup it does not judge (a truncated comment,
// a mismatched end tag) is copied for pugixml to refuse.
struct Transcoder {
  Transcoder(const char16_t *text, size_t length, char *buffer, unsigned depthLimit)
      : s(text), n(length), out(buffer), maxDepth(depthLimit) {}

  const char16_t *s;
  size_t n;
  char *out;
  unsigned maxDepth;
  size_t i = 0;
  size_t o = 0;
  unsigned depth = 0;
  const char *refusal = nullptr;
  XRCS_Status status = XRCS_SUCCESS;
  size_t at = 0;

  bool fail(const char *why, size_t where, XRCS_Status code = XRCS_PARSE_ERROR) {
    refusal = why;
    at = where;
    status = code;
    return false;
  }

  bool startsWith(std::u16string_view token) const {
    return n - i >= token.size() && std::u16string_view(s + i, token.size()) == token;
  }

  void putAscii(std::u16string_view ascii) {
    for (char16_t c : ascii) out[o++] = static_cast<char>(c);
    i += ascii.size();
  }

  // Copies plain ASCII up to the next character in the stop class: eight
  // units at a time where SSE2 is there, then one by one. Locals, since
  // stores through `out` could otherwise alias the counters.
  template <uint8_t Stops>
  void copyPlain() {
    const char16_t *const src = s;
    char *const dst = out;
    size_t ii = i, oo = o;
#if defined(__SSE2__)
    // A block of eight goes whole when it holds only printable ASCII other
    // than the stops (tabs and line ends go the slow way).
    while (ii + 8 <= n) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + ii));
      __m128i stop = _mm_or_si128(_mm_cmplt_epi16(v, _mm_set1_epi16(0x20)), _mm_cmpgt_epi16(v, _mm_set1_epi16(0x7F)));
      stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('<')));
      if constexpr ((Stops & kStopTag) == 0) stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('&')));
      if constexpr ((Stops & kStopText) == 0) {
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('"')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('\'')));
      }
      if constexpr ((Stops & kStopTag) != 0) {
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('>')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(v, _mm_set1_epi16('=')));
      }
      if (_mm_movemask_epi8(stop) != 0) break;
      _mm_storel_epi64(reinterpret_cast<__m128i *>(dst + oo), _mm_packus_epi16(v, v));
      ii += 8;
      oo += 8;
    }
#endif
    while (ii < n) {
      const char16_t c = src[ii];
      if (c >= 0x80 || (kStops[c] & Stops) != 0) break;
      dst[oo++] = static_cast<char>(c);
      ++ii;
    }
    i = ii;
    o = oo;
  }

  // One character (one or two code units) as UTF-8.
  bool copyChar() {
    const char16_t c = s[i];
    if (c < 0x80) {
      if (c < 0x20 && c != 0x9 && c != 0xA && c != 0xD) return fail("a control character", i);
      out[o++] = static_cast<char>(c);
      ++i;
      return true;
    }
    if (c < 0x800) {
      out[o++] = static_cast<char>(0xC0 | (c >> 6));
      out[o++] = static_cast<char>(0x80 | (c & 0x3F));
      ++i;
      return true;
    }
    if (U16_IS_SURROGATE(c)) {
      if (!U16_IS_SURROGATE_LEAD(c) || i + 1 >= n || !U16_IS_TRAIL(s[i + 1])) return fail("an unpaired surrogate", i);
      const uint32_t cp = U16_GET_SUPPLEMENTARY(c, s[i + 1]);
      out[o++] = static_cast<char>(0xF0 | (cp >> 18));
      out[o++] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      out[o++] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out[o++] = static_cast<char>(0x80 | (cp & 0x3F));
      i += 2;
      return true;
    }
    if (c >= 0xFFFE) return fail("a character XML does not allow", i);
    out[o++] = static_cast<char>(0xE0 | (c >> 12));
    out[o++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out[o++] = static_cast<char>(0x80 | (c & 0x3F));
    ++i;
    return true;
  }

  // "&...;": a predefined entity or a character reference, copied as written
  // (pugixml resolves it).
  bool reference() {
    const size_t start = i;
    constexpr size_t kLongest = 32;  // "#x" and leading zeros included
    size_t end = i + 1;
    while (end < n && end - start <= kLongest && s[end] != u';') ++end;
    if (end >= n || s[end] != u';') return fail("an '&' that starts no reference", start);
    const std::u16string_view name(s + start + 1, end - start - 1);
    if (name.size() > 1 && name[0] == u'#') {
      const bool hex = name[1] == u'x';
      const std::u16string_view digits = name.substr(hex ? 2 : 1);
      uint32_t value = 0;
      for (char16_t d : digits) {
        uint32_t v;
        if (d >= u'0' && d <= u'9')
          v = d - u'0';
        else if (hex && d >= u'a' && d <= u'f')
          v = d - u'a' + 10;
        else if (hex && d >= u'A' && d <= u'F')
          v = d - u'A' + 10;
        else
          return fail("a malformed character reference", start);
        value = std::min<uint32_t>(value * (hex ? 16 : 10) + v, 0x110000);
      }
      if (digits.empty()) return fail("a malformed character reference", start);
      if (!isXmlChar(value)) return fail("a reference to a character XML does not allow", start);
    } else if (name != u"amp" && name != u"lt" && name != u"gt" && name != u"quot" && name != u"apos") {
      return fail("a reference to an undeclared entity", start);
    }
    putAscii(std::u16string_view(s + start, end + 1 - start));
    return true;
  }

  // Copies an opener, then everything up to and including its closer (or to
  // the end of the text, which pugixml then refuses as truncated).
  bool copyThrough(size_t openerLength, std::u16string_view closer) {
    putAscii(std::u16string_view(s + i, openerLength));
    while (i < n) {
      if (s[i] == closer[0] && startsWith(closer)) {
        putAscii(closer);
        return true;
      }
      if (!copyChar()) return false;
    }
    return true;
  }

  bool quotedValue(char16_t quote) {
    out[o++] = static_cast<char>(quote);
    ++i;
    while (i < n) {
      copyPlain<kStopQuoted>();
      if (i >= n) break;
      const char16_t c = s[i];
      if (c == quote) {
        out[o++] = static_cast<char>(quote);
        ++i;
        return true;
      }
      if (c == u'<') return fail("'<' in an attribute value", i);
      if (c == u'&') {
        if (!reference()) return false;
      } else if (!copyChar()) {
        return false;
      }
    }
    return true;
  }

  // An attribute name with a hash of it, so that names are compared whole
  // only when their hashes agree.
  struct Name {
    std::u16string_view text;
    uint32_t hash;
    bool operator<(const Name &other) const { return text < other.text; }
    bool operator==(const Name &other) const { return hash == other.hash && text == other.text; }
  };
  std::vector<Name> names;  // attributes of the tag being read

  // The name before the '=' at i: back over blanks, then over the name.
  Name attributeName() const {
    size_t end = i;
    while (end > 0 && isSpace(s[end - 1])) --end;
    size_t begin = end;
    uint32_t hash = 0;
    while (begin > 0 && !isSpace(s[begin - 1]) && s[begin - 1] != u'"' && s[begin - 1] != u'\'' && s[begin - 1] != u'<')
      hash = hash * 31 + s[--begin];
    return {{s + begin, end - begin}, hash};
  }

  // A name given twice in one tag: pairwise for the usual handful, sorted past
  // that (a hostile tag), so it stays n log n.
  bool duplicateName() {
    constexpr size_t kPairwise = 32;
    if (names.size() <= kPairwise) {
      for (size_t x = 1; x < names.size(); ++x)
        for (size_t y = 0; y < x; ++y)
          if (names[x] == names[y]) return true;
      return false;
    }
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
  }

  bool startTag() {
    const size_t start = i;
    out[o++] = '<';
    ++i;
    names.clear();
    while (i < n) {
      copyPlain<kStopTag>();
      if (i >= n) break;
      const char16_t c = s[i];
      if (c == u'>') {
        if (duplicateName()) return fail("an attribute given twice", start);
        const bool empty = s[i - 1] == u'/';
        out[o++] = '>';
        ++i;
        // An empty element is as deep as one with content, but closes at once.
        if (depth + 1 > maxDepth) return fail("elements nested deeper than the limit", start, XRCS_LIMIT_EXCEEDED);
        if (!empty) ++depth;
        return true;
      }
      if (c == u'<') return true;  // not well-formed: pugixml refuses it
      if (c == u'=') {
        // Malformed names (none, say) are left for pugixml to refuse.
        if (const Name name = attributeName(); !name.text.empty()) names.push_back(name);
        out[o++] = '=';
        ++i;
      } else if (c == u'"' || c == u'\'') {
        if (!quotedValue(c)) return false;
      } else if (!copyChar()) {
        return false;
      }
    }
    return true;
  }

  bool markup() {
    if (startsWith(u"<!--")) return copyThrough(4, u"-->");
    if (startsWith(u"<![CDATA[")) {
      if (depth == 0) return fail("text outside the document element", i);
      return copyThrough(9, u"]]>");
    }
    if (startsWith(u"<?")) return copyThrough(2, u"?>");
    if (startsWith(u"<!")) return fail("a document type declaration", i);
    if (startsWith(u"</")) {
      if (depth > 0) --depth;
      return copyThrough(2, u">");
    }
    return startTag();
  }

  bool run() {
    while (i < n) {
      if (depth > 0) copyPlain<kStopText>();
      if (i >= n) break;
      const char16_t c = s[i];
      if (c == u'<') {
        if (!markup()) return false;
      } else if (depth == 0 && !isSpace(c)) {
        // pugixml would drop it unseen.
        return fail("text outside the document element", i);
      } else if (c == u'&') {
        if (!reference()) return false;
      } else if (!copyChar()) {
        return false;
      }
    }
    return true;
  }
};

// "at line L, column C" of a JCHAR position.
std::string position(std::u16string_view text, size_t at) {
  at = std::min(at, text.size());
  size_t line = 1, lineStart = 0;
  for (size_t k = 0; k < at; ++k)
    if (text[k] == u'\n') ++line, lineStart = k + 1;
  return " at line " + std::to_string(line) + ", column " + std::to_string(at - lineStart + 1);
}

// The JCHAR position of a byte offset into the UTF-8 copy.
size_t unitsBefore(const char *utf8, size_t bytes) {
  size_t units = 0;
  for (size_t k = 0; k < bytes; ++k) {
    const auto b = static_cast<unsigned char>(utf8[k]);
    if ((b & 0xC0) != 0x80) units += b >= 0xF0 ? 2 : 1;
  }
  return units;
}

bool sameIgnoringCase(const char *a, const char *b) {
  for (; *a && *b; ++a, ++b)
    if ((*a | 0x20) != (*b | 0x20)) return false;
  return *a == *b;
}

// What the tree shows that the text pass could not; null when nothing. *node
// is where it was found.
const char *structureProblem(const pugi::xml_document &document, pugi::xml_node *node) {
  pugi::xml_node root;
  for (pugi::xml_node child = document.first_child(); child; child = child.next_sibling()) {
    *node = child;
    switch (child.type()) {
      case pugi::node_element:
        if (root) return "a second document element";
        root = child;
        break;
      case pugi::node_declaration:
        if (pugi::xml_attribute encoding = child.attribute("encoding")) {
          const char *name = encoding.value();
          if (!sameIgnoringCase(name, "UTF-8") && !sameIgnoringCase(name, "UTF-16") &&
              !sameIgnoringCase(name, "UTF-16LE") && !sameIgnoringCase(name, "UTF-16BE"))
            return "a declaration of an encoding other than UTF-8 or UTF-16";
        }
        break;
      default:
        break;
    }
  }
  return root ? nullptr : "no document element";
}

}  // namespace

// Sixteen aligned bytes at a time where SSE2 is there: an aligned block that
// holds one unit of the text lies in the same page as it, so reading the
// whole block is safe even past the terminator; only the sanitizer, which
// checks each byte against the allocation, must be told.
#if defined(__SSE2__)
__attribute__((no_sanitize("address")))
#endif
size_t
boundedLength(const char16_t *text, size_t limit) noexcept {
  size_t length = 0;
#if defined(__SSE2__)
  if ((reinterpret_cast<uintptr_t>(text) & 1) == 0) {
    while ((reinterpret_cast<uintptr_t>(text + length) & 15) != 0) {
      if (length > limit || text[length] == 0) return std::min(length, limit + 1);
      ++length;
    }
    const __m128i zero = _mm_setzero_si128();
    while (length <= limit) {
      const __m128i block = _mm_load_si128(reinterpret_cast<const __m128i *>(text + length));
      const int ends = _mm_movemask_epi8(_mm_cmpeq_epi16(block, zero));
      if (ends != 0) return std::min(length + static_cast<size_t>(__builtin_ctz(ends)) / 2, limit + 1);
      length += 8;
    }
    return limit + 1;
  }
#endif
  while (length <= limit && text[length] != 0) ++length;
  return length;
}

XRCS_Status parseText(std::u16string_view text, const Limits &limits, ParsedText *out, std::string *why) {
  out->document.reset();
  out->buffer.reset();
  if (text.size() > limits.maxChars) {
    *why = "text of " + std::to_string(text.size()) + " characters is longer than the limit of " +
           std::to_string(limits.maxChars);
    return XRCS_LIMIT_EXCEEDED;
  }
  const size_t skipped = !text.empty() && text.front() == 0xFEFF ? 1 : 0;
  const std::u16string_view body = text.substr(skipped);
  if (body.find_first_not_of(u" \t\r\n") == std::u16string_view::npos) {
    *why = "empty text";
    return XRCS_PARSE_ERROR;
  }
  // At most three UTF-8 bytes per code unit.
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[body.size() * 3 + 1]);
  if (!buffer) {
    *why = "no memory for a text of " + std::to_string(text.size()) + " characters";
    return XRCS_OUT_OF_MEMORY;
  }
  Transcoder pass{body.data(), body.size(), buffer.get(), limits.maxDepth};
  if (!pass.run()) {
    *why = pass.refusal;
    if (pass.status == XRCS_LIMIT_EXCEEDED) *why += " of " + std::to_string(limits.maxDepth);
    *why += position(text, pass.at + skipped);
    return pass.status;
  }
  const pugi::xml_parse_result result = out->document.load_buffer_inplace(
      buffer.get(), pass.o, pugi::parse_default | pugi::parse_declaration, pugi::encoding_utf8);
  if (!result) {
    const size_t offset = result.offset > 0 ? static_cast<size_t>(result.offset) : 0;
    *why = std::string("not well-formed: ") + result.description() +
           position(text, unitsBefore(buffer.get(), std::min(offset, pass.o)) + skipped);
    out->document.reset();
    return result.status == pugi::status_out_of_memory ? XRCS_OUT_OF_MEMORY : XRCS_PARSE_ERROR;
  }
  pugi::xml_node where;
  if (const char *problem = structureProblem(out->document, &where)) {
    *why = std::string("not well-formed: ") + problem;
    // Parsed in place: names and values point into the copy.
    const char *at =
        where.type() == pugi::node_pcdata || where.type() == pugi::node_cdata ? where.value() : where.name();
    if (at >= buffer.get() && at < buffer.get() + pass.o)
      *why += position(text, unitsBefore(buffer.get(), static_cast<size_t>(at - buffer.get())) + skipped);
    out->document.reset();
    return XRCS_PARSE_ERROR;
  }
  out->buffer = std::move(buffer);
  return XRCS_SUCCESS;
}

}  // namespace vyr::xml
