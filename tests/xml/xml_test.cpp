// The XML wrapper: what untrusted text it refuses and why, what it accepts
// and how it reads, handles after their document is released, escaping, and
// the decoding of documents that arrive as bytes.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "vyrl.h"
#include "xerceswrapper.h"
#include "xml/host.h"

namespace {

using vyr::xml::liveObjects;

std::u16string repeat(std::u16string_view part, size_t times) {
  std::u16string out;
  for (size_t k = 0; k < times; ++k) out += part;
  return out;
}

std::u16string take(JCHAR *text) {
  std::u16string out = text ? text : u"<null>";
  XRCS_freeString(text);
  return out;
}

// A context current on the thread, so parsers take its limits and traces land in it.
class XmlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    context_ = vyr::createContext(settings_);
    ASSERT_NE(context_, nullptr);
    scope_ = std::make_unique<vyr::ContextScope>(context_);
    ASSERT_EQ(XRCS_getParser(&parser_), XRCS_SUCCESS);
  }
  void TearDown() override {
    XRCS_freeParser(parser_);
    scope_.reset();
    vyr::freeContext(context_);
    EXPECT_EQ(liveObjects(), before_) << "handles or strings were left unreleased";
  }
  XRCS_Status parse(std::u16string_view text, XRCS_hDocument *document) {
    return XRCS_parseXMLString(parser_, std::u16string(text).c_str(), document);
  }
  std::string lastTrace() const { return context_->trace.empty() ? "" : vyr::toUtf8(context_->trace.back()); }

  std::map<std::string, std::string> settings_;
  vyr::xml::LiveObjects before_ = liveObjects();
  LPBHVRCOM context_ = nullptr;
  std::unique_ptr<vyr::ContextScope> scope_;
  XRCS_hParser parser_ = nullptr;
};

class XmlLimitsTest : public XmlTest {
 protected:
  XmlLimitsTest() { settings_ = {{"xmlmaxchars", "64"}, {"xmlmaxdepth", "2"}}; }
};

TEST_F(XmlTest, HostileAndMalformedTextIsRefusedWithItsReason) {
  const std::u16string laughs =
      u"<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\">"
      u"<!ENTITY lol2 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">"
      u"<!ENTITY lol3 \"&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;\">]><lolz>&lol3;</lolz>";
  const std::u16string deep = repeat(u"<a>", 100000) + repeat(u"</a>", 100000);
  const JCHAR loneLead[] = {u'<', u'a', u'>', 0xD800, u'<', u'/', u'a', u'>', 0};
  const JCHAR loneTrail[] = {u'<', u'a', u' ', u'b', u'=', u'"', 0xDC00, u'"', u'/', u'>', 0};
  std::u16string many = u"<a";  // past the pairwise comparison
  for (int k = 0; k < 40; ++k) many += u" a" + vyr::fromUtf8(std::to_string(k)) + u"=''";
  // UTF-8 bytes taken two at a time as if they were UTF-16.
  const std::string utf8 = "<PIMREQ username=\"U\"/>";
  std::u16string misread;
  for (size_t k = 0; k + 1 < utf8.size(); k += 2) misread += char16_t(uint8_t(utf8[k]) | uint8_t(utf8[k + 1]) << 8);
  const struct {
    std::u16string text;
    XRCS_Status status;
    const char *why;
  } cases[] = {
      {laughs, XRCS_PARSE_ERROR, "a document type declaration at line 1, column 22"},
      {u"<!DOCTYPE r [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><r>&x;</r>", XRCS_PARSE_ERROR,
       "a document type declaration"},
      {u"<r>&x;</r>", XRCS_PARSE_ERROR, "a reference to an undeclared entity at line 1, column 4"},
      {u"<r a=\"&#0;\"/>", XRCS_PARSE_ERROR, "a reference to a character XML does not allow"},
      {u"<r>&#x4g;</r>", XRCS_PARSE_ERROR, "a malformed character reference"},
      {u"<r>a & b</r>", XRCS_PARSE_ERROR, "an '&' that starts no reference"},
      {deep, XRCS_LIMIT_EXCEEDED, "elements nested deeper than the limit of 256 at line 1, column 769"},
      {u"\xFEFF \r\n\t", XRCS_PARSE_ERROR, "empty text"},
      {u"<PIMREQ username=\"U\" command=\"endsync\"><ENDSYNC", XRCS_PARSE_ERROR, "not well-formed"},
      {u"<a>\n<b></a>", XRCS_PARSE_ERROR, "not well-formed: Start-end tags mismatch at line 2, column"},
      {u"<a/><b/>", XRCS_PARSE_ERROR, "not well-formed: a second document element"},
      {u"<a/>tail", XRCS_PARSE_ERROR, "text outside the document element at line 1, column 5"},
      {u"<a x = \"1\" y='2'x=\"3\"/>", XRCS_PARSE_ERROR, "an attribute given twice at line 1, column 1"},
      {many + u" a0=''/>", XRCS_PARSE_ERROR, "an attribute given twice"},
      {u"<a x=\"<b>\"/>", XRCS_PARSE_ERROR, "'<' in an attribute value"},
      {u"<a>\x01</a>", XRCS_PARSE_ERROR, "a control character"},
      {u"<a>\xFFFF</a>", XRCS_PARSE_ERROR, "a character XML does not allow"},
      {loneLead, XRCS_PARSE_ERROR, "an unpaired surrogate at line 1, column 4"},
      {loneTrail, XRCS_PARSE_ERROR, "an unpaired surrogate"},
      {u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>", XRCS_PARSE_ERROR,
       "not well-formed: a declaration of an encoding other than"},
      {misread, XRCS_PARSE_ERROR, "text outside the document element at line 1, column 1"},
  };
  for (const auto &c : cases) {
    XRCS_hDocument document = reinterpret_cast<XRCS_hDocument>(this);
    EXPECT_EQ(parse(c.text, &document), c.status) << c.why;
    EXPECT_EQ(document, nullptr);
    EXPECT_NE(lastTrace().find(std::string("XRCS_parseXMLString: refused: ") + c.why), std::string::npos)
        << c.why << " / " << lastTrace();
  }
}

TEST_F(XmlLimitsTest, SettingsOfTheCurrentContextSetTheLimits) {
  XRCS_hDocument document = nullptr;
  EXPECT_EQ(parse(u"<a><b/></a>", &document), XRCS_SUCCESS);
  XRCS_freeDocument(document);
  EXPECT_EQ(parse(u"<a><b><c/></b></a>", &document), XRCS_LIMIT_EXCEEDED);
  // A huge attribute value (a hostile record count, say) is refused by its length.
  EXPECT_EQ(parse(u"<PUTINFO numRecsToWrite=\"" + repeat(u"9", 1 << 20) + u"\"/>", &document), XRCS_LIMIT_EXCEEDED);
  EXPECT_NE(lastTrace().find("is longer than the limit of 64"), std::string::npos) << lastTrace();

  std::string why;
  for (const auto &[key, value] : {std::pair{"xmlmaxchars", "0"},
                                   {"xmlmaxchars", "-5"},
                                   {"xmlmaxchars", "1073741824"},
                                   {"xmlmaxdepth", "100001"},
                                   {"xmlmaxdepth", " 5"},
                                   {"xmlmaxdepth", ""}})
    EXPECT_FALSE(vyr::validSetting(key, value, &why)) << key << "=" << value;
  EXPECT_EQ(vyr::setting(context_, "xmlmaxdepth"), "2");
}

std::u16string nameOf(XRCS_hElement element) {
  JCHAR *text = nullptr;
  XRCS_getElementName(element, &text);
  return take(text);
}

std::u16string valueOf(XRCS_hElement element, const char16_t *name) {
  JCHAR *text = nullptr;
  const XRCS_Status status = XRCS_getElementAttributeValueByName(element, name, &text);
  return status == XRCS_SUCCESS ? take(text) : text == nullptr ? u"<none>" : u"<output set>";
}

TEST_F(XmlTest, ReferencesResolveAndNavigationSkipsWhatIsNotAnElement) {
  XRCS_hDocument document = nullptr;
  ASSERT_EQ(parse(u"\xFEFF<?xml version=\"1.0\" encoding=\"utf-16\"?>\r\n<!-- c --><?pi x?>"
                  u"<PIMREQ username=\"a&amp;b&#x41;&#66;&lt;&gt;&quot;&apos;\" appDataType='T\U0001F600'>"
                  u"text<!-- note --><GETINFO startRec=\"1\"/>more<![CDATA[<raw>&amp;]]>"
                  u"<PUTINFO><APPT uid=\"1\"/><x><APPT uid=\"2\"/></x></PUTINFO></PIMREQ>",
                  &document),
            XRCS_SUCCESS)
      << lastTrace();
  XRCS_hElement root = nullptr, first = nullptr, second = nullptr, none = nullptr;
  ASSERT_EQ(XRCS_getDocumentElement(document, &root), XRCS_SUCCESS);
  EXPECT_EQ(valueOf(root, u"username") + u"|" + valueOf(root, u"appDataType") + u"|" + valueOf(root, u"command"),
            u"a&bAB<>\"'|T\U0001F600|<none>");
  JCHAR *text = nullptr;
  ASSERT_EQ(XRCS_getElementText(root, &text), XRCS_SUCCESS);
  EXPECT_EQ(take(text), u"textmore<raw>&amp;");

  ASSERT_EQ(XRCS_getElementFirstChild(root, &first), XRCS_SUCCESS);
  ASSERT_EQ(XRCS_getElementNextSibling(first, &second), XRCS_SUCCESS);
  EXPECT_EQ(nameOf(first) + nameOf(second), u"GETINFOPUTINFO");
  EXPECT_EQ(XRCS_getElementNextSibling(second, &none) + XRCS_getElementFirstChild(first, &none), 2 * XRCS_NOT_FOUND);

  XRCS_hElement *found = nullptr;
  unsigned int count = 0;
  ASSERT_EQ(XRCS_getElementsByTagName(root, u"APPT", &found, &count), XRCS_SUCCESS);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(valueOf(found[1], u"uid"), u"2");
  XRCS_freeElementArray(found, count);
  ASSERT_EQ(XRCS_getElementsByTagName(root, u"*", &found, &count), XRCS_SUCCESS);
  EXPECT_EQ(count, 5u);
  XRCS_freeElementArray(found, count);
  EXPECT_EQ(XRCS_getElementsByTagName(first, u"APPT", &found, &count), XRCS_NOT_FOUND);

  // Attributes in document order, by handle.
  std::u16string names;
  XRCS_hAttribute attribute = nullptr;
  for (XRCS_Status s = XRCS_getElementFirstAttribute(root, &attribute); s == XRCS_SUCCESS;) {
    XRCS_getAttributeName(attribute, &text);
    XRCS_hAttribute next = nullptr;
    s = XRCS_getAttributeNextSibling(attribute, &next);
    XRCS_freeAttribute(attribute);
    names += take(text) + u";", attribute = next;
  }
  EXPECT_EQ(names, u"username;appDataType;");
  ASSERT_EQ(XRCS_getElementAttributeByName(first, u"startRec", &attribute), XRCS_SUCCESS);
  XRCS_getAttributeValue(attribute, &text);
  EXPECT_EQ(take(text), u"1");
  XRCS_freeAttribute(attribute);
  for (XRCS_hElement e : {root, first, second}) XRCS_freeElement(e);
  XRCS_freeDocument(document);
}

TEST_F(XmlTest, HandlesOfAReleasedDocumentAreRefusedAndReleasesTolerateNull) {
  XRCS_hDocument document = nullptr;
  ASSERT_EQ(parse(u"<a x=\"1\"><b/></a>", &document), XRCS_SUCCESS);
  XRCS_hElement root = nullptr, child = nullptr;
  XRCS_hAttribute attribute = nullptr;
  XRCS_getDocumentElement(document, &root);
  XRCS_getElementAttributeByName(root, u"x", &attribute);
  JCHAR *name = nullptr;
  XRCS_getElementName(root, &name);
  XRCS_freeDocument(document);

  EXPECT_EQ(XRCS_getElementFirstChild(root, &child), XRCS_INVALID_HANDLE);
  EXPECT_EQ(child, nullptr);
  EXPECT_EQ(lastTrace(), "XRCS_getElementFirstChild: refused a handle whose document was released");
  JCHAR *value = nullptr;
  EXPECT_EQ(XRCS_getAttributeValue(attribute, &value), XRCS_INVALID_HANDLE);
  EXPECT_EQ(XRCS_getElementAttributeValueByName(root, u"x", &value), XRCS_INVALID_HANDLE);
  EXPECT_EQ(take(name), u"a") << "strings outlive their document";
  XRCS_freeElement(root);
  XRCS_freeAttribute(attribute);

  XRCS_freeElement(nullptr);
  XRCS_freeElementArray(nullptr, 3);
  XRCS_freeAttribute(nullptr);
  XRCS_freeString(nullptr);
  XRCS_freeDocument(nullptr);
  XRCS_freeParser(nullptr);
  EXPECT_EQ(XRCS_getElementName(nullptr, &value), XRCS_INVALID_ARGUMENT);
  EXPECT_EQ(XRCS_parseXMLString(parser_, nullptr, &document), XRCS_INVALID_ARGUMENT);
  EXPECT_EQ(XRCS_getParser(nullptr), XRCS_INVALID_ARGUMENT);
}

TEST(XmlEscape, TheFiveReservedCharactersBecomeEntities) {
  const std::pair<const char16_t *, const char16_t *> cases[] = {
      {u"", u""},
      {u"plain \U0001F600", u"plain \U0001F600"},
      {u"a<b>&\"c\"'", u"a&lt;b&gt;&amp;&quot;c&quot;&apos;"},
      {u"&amp;", u"&amp;amp;"},
  };
  for (const auto &[text, escaped] : cases) {
    JCHAR *copy = vyrAllocConvertToXMLEscapeChars(text);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::u16string(copy), escaped);
    vyrFree(copy);
  }
  EXPECT_EQ(vyrAllocConvertToXMLEscapeChars(nullptr), nullptr);
}

TEST(XmlBytes, DocumentsDecodeFromUtf8OrMarkedUtf16AndIllFormedBytesAreRefused) {
  const struct {
    std::string bytes;
    const char16_t *text;  // null: refused
  } cases[] = {
      {"<a>\xC3\xA9</a>", u"<a>\u00E9</a>"},
      {"\xEF\xBB\xBF<a/>", u"<a/>"},
      {std::string("\xFF\xFE<\0a\0/\0>\0", 10), u"<a/>"},
      {std::string("\xFE\xFF\0<\0a\0/\0>", 10), u"<a/>"},
      {std::string("<\0a\0/\0>\0", 8), u"<a/>"},
      {std::string("\xFF\xFE<\0\x00\xD8", 6), nullptr},  // unpaired surrogate
      {std::string("\xFF\xFE<\0a", 5), nullptr},         // odd length
      {"<a>\xC0\xAF</a>", nullptr},                      // overlong '/'
      {"<a>\xED\xA0\x80</a>", nullptr},                  // encoded surrogate
      {"<a>\xE2\x82</a>", nullptr},                      // cut short
      {"<a>\xFF</a>", nullptr},
  };
  for (const auto &c : cases) {
    std::u16string text;
    std::string why;
    const bool decoded = vyr::xml::decodeDocumentBytes(c.bytes, &text, &why);
    EXPECT_EQ(decoded, c.text != nullptr) << vyr::toUtf8(text) << why;
    EXPECT_EQ(decoded ? text : why.empty() ? u"<no reason>" : u"<refused>", c.text ? c.text : u"<refused>");
  }
}

}  // namespace
