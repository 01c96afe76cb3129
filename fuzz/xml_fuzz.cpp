// Feeds arbitrary bytes through what a PIM client's request meets: the
// decoding of a document's bytes, the transport's reading of the root, the
// XML wrapper (parse; walk every element with its name, text and attributes;
// elements by tag name) and the envelope readers (B90CA700_ParseEndSync,
// B90CA700_getElementAttribute). The bytes go in twice: decoded as a client
// sends them (UTF-8, or UTF-16 after a byte-order mark), and taken as they
// stand as little-endian UTF-16. Any crash or sanitizer report is a find; so
// is a status the header does not list, an element deeper than the limit, a
// walk that disagrees with XRCS_getElementsByTagName, an envelope result
// outside 0 and 1, or a handle or string left unreleased.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/context.h"
#include "runtime/pimsync.h"
#include "sync/B90CA700.h"
#include "xml/host.h"

namespace {

constexpr unsigned kMaxDepth = 24;

[[noreturn]] void Fail(const char *why) {
  std::fprintf(stderr, "xml_fuzz: %s\n", why);
  std::abort();
}

void Release(JCHAR *text) {
  if (text == nullptr) Fail("a successful read handed out no string");
  XRCS_freeString(text);
}

// Every element below and including root, depth first; returns how many.
size_t Walk(XRCS_hElement root) {
  struct Step {
    XRCS_hElement element;
    unsigned depth;
  };
  std::vector<Step> path{{root, 1}};
  size_t elements = 0;
  bool descend = true;
  while (!path.empty()) {
    const Step step = path.back();
    if (descend) {
      ++elements;
      if (step.depth > kMaxDepth) Fail("an element deeper than the limit was accepted");
      JCHAR *text = nullptr;
      if (XRCS_getElementName(step.element, &text) != XRCS_SUCCESS) Fail("an element without a name");
      Release(text);
      if (XRCS_getElementText(step.element, &text) != XRCS_SUCCESS) Fail("an element whose text cannot be read");
      Release(text);
      XRCS_hAttribute attribute = nullptr;
      for (XRCS_Status s = XRCS_getElementFirstAttribute(step.element, &attribute); s != XRCS_NOT_FOUND;) {
        if (s != XRCS_SUCCESS) Fail("walking attributes failed");
        XRCS_getAttributeName(attribute, &text);
        Release(text);
        XRCS_getAttributeValue(attribute, &text);
        Release(text);
        XRCS_hAttribute next = nullptr;
        s = XRCS_getAttributeNextSibling(attribute, &next);
        XRCS_freeAttribute(attribute);
        attribute = next;
      }
      XRCS_hElement child = nullptr;
      const XRCS_Status s = XRCS_getElementFirstChild(step.element, &child);
      if (s == XRCS_SUCCESS) {
        path.push_back({child, step.depth + 1});
        continue;
      }
      if (s != XRCS_NOT_FOUND) Fail("reading a first child failed");
    }
    // Done below this element: its next sibling, else back up.
    XRCS_hElement sibling = nullptr;
    const bool more = path.size() > 1 && XRCS_getElementNextSibling(step.element, &sibling) == XRCS_SUCCESS;
    if (path.size() > 1) XRCS_freeElement(step.element);
    path.pop_back();
    descend = more;
    if (more) path.push_back({sibling, step.depth});
  }
  return elements;
}

void Envelope(XRCS_hElement root) {
  SYNCCONTEXT sync = {};
  sync.hRootElement = root;
  int flag = 5;
  const int read = B90CA700_ParseEndSync(&sync, &flag);
  if ((read != 0 && read != 1) || (read == 1 && flag != 0 && flag != 1) || (read == 0 && flag != 5))
    Fail("B90CA700_ParseEndSync answered outside its values");
  if (B90CA700_ParseEndSync(&sync, nullptr) < read) Fail("reading ENDSYNC without the flag did worse than with it");
  for (const char16_t *name : {u"username", u"command", u"appDataType", u"numRecsToWrite"}) {
    JCHAR small[5], large[16];
    const int a = B90CA700_getElementAttribute(root, name, small, 5);
    const int b = B90CA700_getElementAttribute(root, name, large, 16);
    if (a != b || (a == 1 && (small[4] != 0 || large[15] != 0))) Fail("an attribute was read inconsistently");
  }
}

void Parse(LPBHVRCOM context, const std::u16string &text) {
  XRCS_hParser parser = nullptr;
  XRCS_hDocument document = nullptr;
  XRCS_hElement root = nullptr;
  if (XRCS_getParser(&parser) != XRCS_SUCCESS) Fail("no parser");
  const XRCS_Status status = XRCS_parseXMLString(parser, text.c_str(), &document);
  if (status != XRCS_SUCCESS && status != XRCS_PARSE_ERROR && status != XRCS_LIMIT_EXCEEDED)
    Fail("parsing answered a status it does not document");
  if ((status == XRCS_SUCCESS) != (document != nullptr)) Fail("a document without success, or none with it");
  if (status == XRCS_SUCCESS) {
    if (XRCS_getDocumentElement(document, &root) != XRCS_SUCCESS) Fail("a document without a root");
    const size_t elements = Walk(root);
    XRCS_hElement *all = nullptr;
    unsigned int count = 0;
    XRCS_getElementsByTagName(root, u"*", &all, &count);
    if (count != elements - 1) Fail("elements by tag name disagree with the walk");
    XRCS_freeElementArray(all, count);
    Envelope(root);
  }
  // The transport reads the same text: no sync function is registered, so nothing may run.
  if (vyr::runPimSync(context, text).status == vyr::PimSyncOutcome::Status::Ran) Fail("a sync function ran");
  XRCS_freeElement(root);
  XRCS_freeDocument(document);
  XRCS_freeParser(parser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static LPBHVRCOM context =
      vyr::createContext({{"user", "FUZZ"}, {"xmlmaxdepth", std::to_string(kMaxDepth)}, {"xmlmaxchars", "4000"}});
  vyr::ContextScope scope(context);
  const vyr::xml::LiveObjects before = vyr::xml::liveObjects();

  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  std::u16string text;
  std::string why;
  if (vyr::xml::decodeDocumentBytes(bytes, &text, &why))
    Parse(context, text);
  else if (why.empty())
    Fail("refused bytes without a reason");
  text.assign(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  Parse(context, text);

  context->trace.clear();
  if (!(vyr::xml::liveObjects() == before)) Fail("a handle or string was left unreleased");
  return 0;
}
