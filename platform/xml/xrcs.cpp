// The XRCS_* handles over pugixml. A document and every element or attribute
// handle taken from it share a small liveness record; releasing the document
// marks it dead, so later uses of those handles are refused without touching
// the freed tree, and the record itself goes with the last handle.
#include <unicode/utf8.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "base/trace.h"
#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "xerceswrapper.h"
#include "xml/host.h"
#include "xml/parse.h"

namespace {

// A document and its handles are used by one thread at a time, so the
// record needs no atomics.
struct Liveness {
  uint32_t references = 1;
  bool alive = true;
};

Liveness *share(Liveness *liveness) {
  ++liveness->references;
  return liveness;
}

void unshare(Liveness *liveness) {
  if (--liveness->references == 0) delete liveness;
}

// What this thread was handed and has not released (a diagnostic for tests;
// per thread, so counting costs no shared memory traffic).
// Initial-exec: the platform is linked, not loaded late, and the general
// model would cost a call per count.
thread_local vyr::xml::LiveObjects tLive __attribute__((tls_model("initial-exec")));

// Each kind is told apart by its first word, so a handle of another kind or
// one already released (while its memory is not reused) is refused.
constexpr uint32_t kParserMagic = 0x58505253;
constexpr uint32_t kDocumentMagic = 0x58444f43;
constexpr uint32_t kElementMagic = 0x58454c4d;
constexpr uint32_t kAttributeMagic = 0x58415454;

void trace(const char *operation, const char *why) noexcept {
  if (!vyr::traceEnabled()) return;
  try {
    vyr::writeTraceLine(vyr::fromUtf8(std::string(operation) + ": " + why));
  } catch (...) {
  }
}

}  // namespace

struct tagXRCS_PARSER {
  uint32_t magic;
  vyr::xml::Limits limits;
};

struct tagXRCS_DOCUMENT {
  uint32_t magic;
  Liveness *liveness;
  vyr::xml::ParsedText parsed;
};

// An element or attribute of a document.
template <typename Node>
struct NodeHandle {
  uint32_t magic;
  Liveness *liveness;
  Node *node;
};
struct tagXRCS_ELEMENT : NodeHandle<pugi::xml_node_struct> {};
struct tagXRCS_ATTRIBUTE : NodeHandle<pugi::xml_attribute_struct> {};

namespace {

template <typename Handle>
XRCS_Status usable(const Handle *handle, uint32_t magic, const char *operation) {
  if (handle == nullptr) {
    trace(operation, "no handle given");
    return XRCS_INVALID_ARGUMENT;
  }
  if (handle->magic != magic) {
    trace(operation, "refused a handle that is released or of another kind");
    return XRCS_INVALID_HANDLE;
  }
  if constexpr (!std::is_same_v<Handle, tagXRCS_PARSER> && !std::is_same_v<Handle, tagXRCS_DOCUMENT>) {
    if (!handle->liveness->alive) {
      trace(operation, "refused a handle whose document was released");
      return XRCS_INVALID_HANDLE;
    }
  }
  return XRCS_SUCCESS;
}

XRCS_Status missingOutput(const char *operation) {
  trace(operation, "no place given for the result");
  return XRCS_INVALID_ARGUMENT;
}

XRCS_Status noMemory(const char *operation) {
  trace(operation, "out of memory");
  return XRCS_OUT_OF_MEMORY;
}

// A walk takes and releases one handle per attribute it reads by handle: the
// last few released on a thread serve its next ones. Not under
// AddressSanitizer, which must see each handle freed to catch a use after its
// release.
#if defined(__SANITIZE_ADDRESS__)
#define VYR_XML_KEEP_HANDLES 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VYR_XML_KEEP_HANDLES 0
#endif
#endif
#ifndef VYR_XML_KEEP_HANDLES
#define VYR_XML_KEEP_HANDLES 1
#endif
static_assert(sizeof(tagXRCS_ELEMENT) == sizeof(tagXRCS_ATTRIBUTE), "one block size serves both kinds");
constexpr size_t kHandleBytes = sizeof(tagXRCS_ELEMENT);

struct KeptHandles {
  void *blocks[16];
  int count = 0;
  ~KeptHandles() {
    while (count > 0) ::operator delete(blocks[--count]);
  }
};
thread_local KeptHandles tKept __attribute__((tls_model("initial-exec")));

void *handleBlock() {
  if (VYR_XML_KEEP_HANDLES && tKept.count > 0) return tKept.blocks[--tKept.count];
  return ::operator new(kHandleBytes, std::nothrow);
}

void releaseBlock(void *block) {
  if (VYR_XML_KEEP_HANDLES && tKept.count < int(std::size(tKept.blocks)))
    tKept.blocks[tKept.count++] = block;
  else
    ::operator delete(block);
}

template <typename Handle>
Handle *newHandle(uint32_t magic, Liveness *liveness, decltype(Handle::node) node, long &live) {
  void *block = handleBlock();
  if (block == nullptr) return nullptr;
  auto *handle = new (block) Handle;
  handle->magic = magic;
  handle->liveness = share(liveness);
  handle->node = node;
  ++live;
  return handle;
}

template <typename Handle>
void freeHandle(Handle *handle, uint32_t magic, const char *operation, long &live) {
  if (handle == nullptr) return;
  if (handle->magic != magic) {
    trace(operation, "refused a handle that is released or of another kind");
    return;
  }
  handle->magic = 0;
  // The analyser lets one handle's release free the document's record while
  // others still hold it; each handle holds a reference of its own.
  unshare(handle->liveness);  // NOLINT(clang-analyzer-cplusplus.NewDelete)
  releaseBlock(handle);
  --live;
}

XRCS_hElement newElement(Liveness *liveness, pugi::xml_node_struct *node) {
  return newHandle<tagXRCS_ELEMENT>(kElementMagic, liveness, node, tLive.elements);
}

// A JCHAR copy of UTF-8 that the parser produced (so it is well-formed),
// released with XRCS_freeString; NULL when out of memory.
JCHAR *newString(const char *utf8) {
  const size_t length = std::strlen(utf8);
  // Never more code units than bytes.
  auto *text = static_cast<JCHAR *>(std::malloc((length + 1) * sizeof(JCHAR)));
  if (text == nullptr) return nullptr;
  const auto *bytes = reinterpret_cast<const uint8_t *>(utf8);
  size_t units = 0;
  for (size_t k = 0; k < length;) {
#if defined(__SSE2__)
    // Eight ASCII bytes at a time, widened to JCHAR.
    if (k + 8 <= length) {
      const __m128i block = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(bytes + k));
      if (_mm_movemask_epi8(block) == 0) {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(text + units), _mm_unpacklo_epi8(block, _mm_setzero_si128()));
        k += 8;
        units += 8;
        continue;
      }
    }
#endif
    if (bytes[k] < 0x80) {
      text[units++] = bytes[k++];
      continue;
    }
    UChar32 c;
    U8_NEXT_UNSAFE(bytes, k, c);
    if (U_IS_BMP(c)) {
      text[units++] = static_cast<JCHAR>(c);
    } else {
      text[units++] = U16_LEAD(c);
      text[units++] = U16_TRAIL(c);
    }
  }
  text[units] = 0;
  ++tLive.strings;
  return text;
}

XRCS_Status giveString(const char *utf8, JCHAR **out, const char *operation) {
  *out = newString(utf8);
  return *out != nullptr ? XRCS_SUCCESS : noMemory(operation);
}

bool isElement(pugi::xml_node node) { return node.type() == pugi::node_element; }

pugi::xml_node nextElement(pugi::xml_node node) {
  do node = node.next_sibling();
  while (node && !isElement(node));
  return node;
}

pugi::xml_node firstElementChild(pugi::xml_node node) {
  pugi::xml_node child = node.first_child();
  return !child || isElement(child) ? child : nextElement(child);
}

XRCS_Status giveElement(Liveness *liveness, pugi::xml_node node, XRCS_hElement *out, const char *operation) {
  if (!node) return XRCS_NOT_FOUND;
  *out = newElement(liveness, node.internal_object());
  return *out != nullptr ? XRCS_SUCCESS : noMemory(operation);
}

XRCS_Status giveAttribute(Liveness *liveness, pugi::xml_attribute attribute, XRCS_hAttribute *out,
                          const char *operation) {
  if (!attribute) return XRCS_NOT_FOUND;
  *out = newHandle<tagXRCS_ATTRIBUTE>(kAttributeMagic, liveness, attribute.internal_object(), tLive.attributes);
  return *out != nullptr ? XRCS_SUCCESS : noMemory(operation);
}

// The attribute of that name; the name arrives as JCHAR, pugixml keeps UTF-8.
pugi::xml_attribute attributeNamed(pugi::xml_node node, const JCHAR *name) {
  const std::string key = vyr::toUtf8(vyr::jcharView(name));
  return node.attribute(key.c_str());
}

}  // namespace

namespace vyr::xml {

LiveObjects liveObjects() noexcept { return tLive; }

}  // namespace vyr::xml

VYR_EXPORT XRCS_Status XRCS_initEngine(void) { return XRCS_SUCCESS; }

VYR_EXPORT XRCS_Status XRCS_terminateEngine(void) { return XRCS_SUCCESS; }

VYR_EXPORT XRCS_Status XRCS_getParser(XRCS_hParser *phParser) {
  if (phParser == nullptr) return missingOutput("XRCS_getParser");
  *phParser = nullptr;
  try {
    const vyr::xml::Limits limits = vyr::xml::contextLimits(vyr::currentContext());
    *phParser = new tagXRCS_PARSER{kParserMagic, limits};
    ++tLive.parsers;
    return XRCS_SUCCESS;
  } catch (...) {
    return noMemory("XRCS_getParser");
  }
}

VYR_EXPORT void XRCS_freeParser(XRCS_hParser hParser) {
  if (hParser == nullptr || usable(hParser, kParserMagic, "XRCS_freeParser") != XRCS_SUCCESS) return;
  hParser->magic = 0;
  delete hParser;
  --tLive.parsers;
}

VYR_EXPORT XRCS_Status XRCS_parseXMLString(XRCS_hParser hParser, const JCHAR *lpszXML, XRCS_hDocument *phDocument) {
  static const char kOperation[] = "XRCS_parseXMLString";
  if (phDocument == nullptr) return missingOutput(kOperation);
  *phDocument = nullptr;
  if (const XRCS_Status status = usable(hParser, kParserMagic, kOperation); status != XRCS_SUCCESS) return status;
  if (lpszXML == nullptr) {
    trace(kOperation, "no text given");
    return XRCS_INVALID_ARGUMENT;
  }
  // Never read past the limit: a text too long is refused by its first units.
  const size_t length = vyr::xml::boundedLength(lpszXML, hParser->limits.maxChars);
  try {
    auto *document = new tagXRCS_DOCUMENT{kDocumentMagic, nullptr, {}};
    std::string why;
    const XRCS_Status status = vyr::xml::parseText({lpszXML, length}, hParser->limits, &document->parsed, &why);
    if (status != XRCS_SUCCESS) {
      delete document;
      trace(kOperation, ("refused: " + why).c_str());
      return status;
    }
    document->liveness = new Liveness;
    ++tLive.documents;
    *phDocument = document;
    return XRCS_SUCCESS;
  } catch (...) {
    return noMemory(kOperation);
  }
}

VYR_EXPORT void XRCS_freeDocument(XRCS_hDocument hDocument) {
  if (hDocument == nullptr || usable(hDocument, kDocumentMagic, "XRCS_freeDocument") != XRCS_SUCCESS) return;
  hDocument->magic = 0;
  hDocument->liveness->alive = false;
  unshare(hDocument->liveness);
  delete hDocument;
  --tLive.documents;
}

VYR_EXPORT XRCS_Status XRCS_getDocumentElement(XRCS_hDocument hDocument, XRCS_hElement *phElement) {
  static const char kOperation[] = "XRCS_getDocumentElement";
  if (phElement == nullptr) return missingOutput(kOperation);
  *phElement = nullptr;
  if (const XRCS_Status status = usable(hDocument, kDocumentMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveElement(hDocument->liveness, hDocument->parsed.document.document_element(), phElement, kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getElementsByTagName(XRCS_hElement hElement, const JCHAR *lpszTagName,
                                                 XRCS_hElement **pphElements, unsigned int *pnCount) {
  static const char kOperation[] = "XRCS_getElementsByTagName";
  if (pphElements == nullptr || pnCount == nullptr) return missingOutput(kOperation);
  *pphElements = nullptr;
  *pnCount = 0;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  if (lpszTagName == nullptr) {
    trace(kOperation, "no tag name given");
    return XRCS_INVALID_ARGUMENT;
  }
  try {
    const std::string name = vyr::toUtf8(vyr::jcharView(lpszTagName));
    const bool every = name == "*";
    // Descendants in document order, without recursion.
    std::vector<pugi::xml_node_struct *> found;
    const pugi::xml_node top(hElement->node);
    for (pugi::xml_node at = firstElementChild(top); at;) {
      if (every || std::strcmp(at.name(), name.c_str()) == 0) found.push_back(at.internal_object());
      if (pugi::xml_node child = firstElementChild(at)) {
        at = child;
        continue;
      }
      while (at != top && !nextElement(at)) at = at.parent();
      at = at == top ? pugi::xml_node() : nextElement(at);
    }
    if (found.empty()) return XRCS_NOT_FOUND;
    auto *array = static_cast<XRCS_hElement *>(std::calloc(found.size(), sizeof(XRCS_hElement)));
    if (array == nullptr) return noMemory(kOperation);
    for (size_t k = 0; k < found.size(); ++k) {
      array[k] = newElement(hElement->liveness, found[k]);
      if (array[k] == nullptr) {
        XRCS_freeElementArray(array, static_cast<unsigned int>(k));
        return noMemory(kOperation);
      }
    }
    *pphElements = array;
    *pnCount = static_cast<unsigned int>(found.size());
    return XRCS_SUCCESS;
  } catch (...) {
    return noMemory(kOperation);
  }
}

VYR_EXPORT void XRCS_freeElementArray(XRCS_hElement *phElements, unsigned int nCount) {
  if (phElements == nullptr) return;
  for (unsigned int k = 0; k < nCount; ++k) XRCS_freeElement(phElements[k]);
  std::free(phElements);
}

VYR_EXPORT XRCS_Status XRCS_getElementFirstChild(XRCS_hElement hElement, XRCS_hElement *phChild) {
  static const char kOperation[] = "XRCS_getElementFirstChild";
  if (phChild == nullptr) return missingOutput(kOperation);
  *phChild = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveElement(hElement->liveness, firstElementChild(pugi::xml_node(hElement->node)), phChild, kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getElementNextSibling(XRCS_hElement hElement, XRCS_hElement *phSibling) {
  static const char kOperation[] = "XRCS_getElementNextSibling";
  if (phSibling == nullptr) return missingOutput(kOperation);
  *phSibling = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveElement(hElement->liveness, nextElement(pugi::xml_node(hElement->node)), phSibling, kOperation);
}

VYR_EXPORT void XRCS_freeElement(XRCS_hElement hElement) {
  freeHandle(hElement, kElementMagic, "XRCS_freeElement", tLive.elements);
}

VYR_EXPORT XRCS_Status XRCS_getElementName(XRCS_hElement hElement, JCHAR **plpszName) {
  static const char kOperation[] = "XRCS_getElementName";
  if (plpszName == nullptr) return missingOutput(kOperation);
  *plpszName = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveString(pugi::xml_node(hElement->node).name(), plpszName, kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getElementText(XRCS_hElement hElement, JCHAR **plpszText) {
  static const char kOperation[] = "XRCS_getElementText";
  if (plpszText == nullptr) return missingOutput(kOperation);
  *plpszText = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  try {
    std::string text;
    for (pugi::xml_node child = pugi::xml_node(hElement->node).first_child(); child; child = child.next_sibling())
      if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) text += child.value();
    return giveString(text.c_str(), plpszText, kOperation);
  } catch (...) {
    return noMemory(kOperation);
  }
}

VYR_EXPORT XRCS_Status XRCS_getElementAttributeByName(XRCS_hElement hElement, const JCHAR *lpszName,
                                                      XRCS_hAttribute *phAttribute) {
  static const char kOperation[] = "XRCS_getElementAttributeByName";
  if (phAttribute == nullptr) return missingOutput(kOperation);
  *phAttribute = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  if (lpszName == nullptr) return missingOutput(kOperation);
  try {
    return giveAttribute(hElement->liveness, attributeNamed(pugi::xml_node(hElement->node), lpszName), phAttribute,
                         kOperation);
  } catch (...) {
    return noMemory(kOperation);
  }
}

VYR_EXPORT XRCS_Status XRCS_getElementAttributeValueByName(XRCS_hElement hElement, const JCHAR *lpszName,
                                                           JCHAR **plpszValue) {
  static const char kOperation[] = "XRCS_getElementAttributeValueByName";
  if (plpszValue == nullptr) return missingOutput(kOperation);
  *plpszValue = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  if (lpszName == nullptr) return missingOutput(kOperation);
  try {
    const pugi::xml_attribute attribute = attributeNamed(pugi::xml_node(hElement->node), lpszName);
    if (!attribute) return XRCS_NOT_FOUND;
    return giveString(attribute.value(), plpszValue, kOperation);
  } catch (...) {
    return noMemory(kOperation);
  }
}

VYR_EXPORT XRCS_Status XRCS_getAttributeValue(XRCS_hAttribute hAttribute, JCHAR **plpszValue) {
  static const char kOperation[] = "XRCS_getAttributeValue";
  if (plpszValue == nullptr) return missingOutput(kOperation);
  *plpszValue = nullptr;
  if (const XRCS_Status status = usable(hAttribute, kAttributeMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveString(pugi::xml_attribute(hAttribute->node).value(), plpszValue, kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getElementFirstAttribute(XRCS_hElement hElement, XRCS_hAttribute *phAttribute) {
  static const char kOperation[] = "XRCS_getElementFirstAttribute";
  if (phAttribute == nullptr) return missingOutput(kOperation);
  *phAttribute = nullptr;
  if (const XRCS_Status status = usable(hElement, kElementMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveAttribute(hElement->liveness, pugi::xml_node(hElement->node).first_attribute(), phAttribute, kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getAttributeNextSibling(XRCS_hAttribute hAttribute, XRCS_hAttribute *phNext) {
  static const char kOperation[] = "XRCS_getAttributeNextSibling";
  if (phNext == nullptr) return missingOutput(kOperation);
  *phNext = nullptr;
  if (const XRCS_Status status = usable(hAttribute, kAttributeMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveAttribute(hAttribute->liveness, pugi::xml_attribute(hAttribute->node).next_attribute(), phNext,
                       kOperation);
}

VYR_EXPORT XRCS_Status XRCS_getAttributeName(XRCS_hAttribute hAttribute, JCHAR **plpszName) {
  static const char kOperation[] = "XRCS_getAttributeName";
  if (plpszName == nullptr) return missingOutput(kOperation);
  *plpszName = nullptr;
  if (const XRCS_Status status = usable(hAttribute, kAttributeMagic, kOperation); status != XRCS_SUCCESS) return status;
  return giveString(pugi::xml_attribute(hAttribute->node).name(), plpszName, kOperation);
}

VYR_EXPORT void XRCS_freeAttribute(XRCS_hAttribute hAttribute) {
  freeHandle(hAttribute, kAttributeMagic, "XRCS_freeAttribute", tLive.attributes);
}

VYR_EXPORT void XRCS_freeString(JCHAR *lpszString) {
  if (lpszString == nullptr) return;
  std::free(lpszString);
  --tLive.strings;
}
