// Feeds arbitrary bytes through what a PIM client's request meets: the
// decoding of a document's bytes, the transport's reading of the root, the
// XML wrapper (parse; walk every element with its name, text and attributes;
// elements by tag name) and the envelope readers (B90CA700_ParseEndSync,
// B90CA700_getElementAttribute) and the appointment sync (beginAppointmentSync
// on a database loaded with the fuzz user's appointments). The bytes go in twice: decoded as a client
// sends them (UTF-8, or UTF-16 after a byte-order mark), and taken as they
// stand as little-endian UTF-16. Any crash or sanitizer report is a find; so
// is a status the header does not list, an element deeper than the limit, a
// walk that disagrees with XRCS_getElementsByTagName, an envelope result
// outside 0 and 1, a sync answer that is neither a well-formed response nor a
// clean error, or a handle or string left unreleased.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "db/host.h"
#include "runtime/context.h"
#include "runtime/pimsync.h"
#include "sync/B90CA700.h"
#include "xml/host.h"

extern "C" const BSFN_CATALOG_ENTRY *famoflasLibraryCatalog(size_t *lpnCount);
extern "C" const BSFN_CATALOG_ENTRY *famoflasCompanionsCatalog(size_t *lpnCount);

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

// A sync answer: an error stores nothing; otherwise a response document that parses.
void Answered(const vyr::PimSyncOutcome &outcome) {
  if (outcome.code != ER_SUCCESS && outcome.code != ER_WARNING && outcome.code != ER_ERROR)
    Fail("the sync answered a code other than 0, 1 or 2");
  if (outcome.code == ER_ERROR) {
    if (!outcome.response.empty()) Fail("the sync failed but stored a response");
    return;
  }
  if (outcome.response.rfind(u"<?xml version=\"1.0\"?> <PIMRESP", 0) != 0) Fail("a response without its envelope");
  XRCS_hParser parser = nullptr;
  XRCS_hDocument document = nullptr;
  if (XRCS_getParser(&parser) != XRCS_SUCCESS) Fail("no parser");
  // Responses are larger than requests: parsed without the context's limits.
  if (XRCS_parseXMLString(parser, outcome.response.c_str(), &document) != XRCS_SUCCESS)
    Fail("the sync answered a document that does not parse");
  XRCS_freeDocument(document);
  XRCS_freeParser(parser);
}

// The fuzz user's database: a few appointments, one recurring with an exclusion, and a task.
std::string LoadedDatabase() {
  static char dir[] = "/tmp/xml_fuzz_XXXXXX";
  if (::mkdtemp(dir) == nullptr) Fail("no scratch folder");
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  });
  for (auto catalog : {famoflasLibraryCatalog, famoflasCompanionsCatalog}) {
    size_t count = 0;
    const BSFN_CATALOG_ENTRY *entries = catalog(&count);
    vyr::registerCatalog(entries, count);
  }
  const std::string location = std::string(dir) + "/sync.db";
  std::string error;
  if (!vyr::db::initDatabase(location, &error)) Fail("the database could not be created");
  return location;
}

void Seed(LPBHVRCOM context) {
  const std::u16string put =
      u"<PIMREQ username=\"FUZZ\" command=\"putnew\" appDataType=\"Appointments\"><PUTINFO numRecsToWrite=\"3\">"
      u"<APPT uid=\"F1\" subject=\"a &amp; b\" startDate=\"20240105\" startTime=\"0800\" endDate=\"20240105\" "
      u"endTime=\"0900\" alarmFlag=\"No\"/><APPT uid=\"F2\" startDate=\"20240106\" startTime=\"0800\" "
      u"endDate=\"20240106\" endTime=\"0800\" repeatType=\"WEEKLY\"><REPEAT startDate=\"20240106\" endDate=\"-1\" "
      u"dayOfWeek=\"S\" frequency=\"1\" weekOfMonth=\"0\"><EXCLUSION exclusionDate=\"20240113\"/></REPEAT></APPT>"
      u"<APPT uid=\"F3\"/></PUTINFO></PIMREQ>";
  const std::u16string task =
      u"<PIMREQ username=\"FUZZ\" command=\"putnew\" appDataType=\"Tasks\"><PUTINFO numRecsToWrite=\"1\">"
      u"<TASK uid=\"T1\" dueDate=\"20240110\" completedFlag=\"1\" completedDate=\"20240109\" "
      u"completedTime=\"1200\"/></PUTINFO></PIMREQ>";
  for (const std::u16string &document : {put, task})
    if (vyr::runPimSync(context, document).code != ER_SUCCESS) Fail("the database could not be loaded");
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
  // The transport reads the same text; a document of the fuzz user's appointments or tasks runs the sync.
  const vyr::PimSyncOutcome outcome = vyr::runPimSync(context, text);
  if (outcome.status == vyr::PimSyncOutcome::Status::Ran) Answered(outcome);
  XRCS_freeElement(root);
  XRCS_freeDocument(document);
  XRCS_freeParser(parser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static LPBHVRCOM context = vyr::createContext({{"user", "FUZZ"},
                                                 {"an8", "1"},
                                                 {"env", "MAIN"},
                                                 {"env.MAIN", LoadedDatabase()},
                                                 {"xmlmaxdepth", std::to_string(kMaxDepth)},
                                                 {"xmlmaxchars", "4000"}});
  vyr::ContextScope scope(context);
  static const bool seeded = (Seed(context), true);
  (void)seeded;
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
