// Contexts (settings, resources released when a context ends, the fault hook)
// and what the libraries ask of them: user, system and environment values,
// the data dictionary, process facts, the log and the message box.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "runtime/context.h"
#include "vyrkrnl.h"
#include "vyrl.h"

namespace {

using Query = ID (*)(LPBHVRCOM, const JCHAR *, JCHAR *, size_t);

TEST(Context, SettingsStartAtDefaultsAndRefuseBadValues) {
  std::string error;
  LPBHVRCOM context = vyr::createContext({{"CTR", "JP"}, {"decimal", "comma"}}, &error);
  ASSERT_NE(context, nullptr) << error;
  EXPECT_EQ(vyr::setting(context, "CTR") + vyr::setting(context, "NNO") + vyr::setting(context, "CENTCHG"), "JP050");
  EXPECT_EQ(context->threadSettings.decimalSeparator, u',');
  EXPECT_EQ(context->threadSettings.thousandsSeparator, u'.');
  const std::pair<const char *, const char *> refusals[] = {
      {"decimal", "dot"}, {"ldap", "yes"},      {"CENTCHG", "5x"},  {"clienttype", "3"},    {"nosuchkey", "1"},
      {"env.PROD", ""},   {"CTR", "BRAZIL"},    {"CTR", "br"},      {"an8", "123456789"},   {"currency", "EURO"},
      {"env", "a b"},     {"user", "A\x1b[2J"}, {"user", "😀😀😀😀😀😀"}, {"machine", "bad\xff"}, {"env.PRO D", "/tmp/x.db"},
      {"NNO", "12"}};
  for (const auto &[key, value] : refusals) {
    error.clear();
    EXPECT_FALSE(vyr::setSetting(context, key, value, &error) || error.empty()) << key << "=" << value;
  }
  EXPECT_NE((vyr::setSetting(context, "user", "😀😀😀😀😀😀", &error), error).find("counts as two"), std::string::npos)
      << error;
  for (const vyr::SettingKey &key : vyr::settingKeys())  // every default has the form its key asks for
    EXPECT_TRUE(vyr::validSetting(key.key, key.defaultValue, &error)) << key.key << ": " << error;
  EXPECT_EQ(vyr::setting(context, "decimal"), "comma") << "a refused value changes nothing";
  EXPECT_TRUE(vyr::setSetting(context, "env.PROD", "/tmp/prod.db", &error));
  vyr::freeContext(context);

  EXPECT_EQ(vyr::createContext({{"ldap", "2"}}, &error), nullptr);
}

int gReleased = 0;
void countRelease(void *) noexcept { ++gReleased; }

TEST(Context, ResourcesLeftOpenAreReleasedWithTheContextOnly) {
  LPBHVRCOM context = vyr::createContext();
  int a = 0, b = 0, c = 0;
  gReleased = 0;
  vyr::registerResource(context, {&a, countRelease});
  vyr::registerResource(context, {&b, countRelease});
  vyr::registerResource(context, {&c, countRelease});
  vyr::unregisterResource(context, &b);
  EXPECT_TRUE(vyr::isLiveContext(context));
  vyr::freeContext(context);
  EXPECT_EQ(gReleased, 2);
  EXPECT_FALSE(vyr::isLiveContext(context));
  EXPECT_FALSE(vyr::isLiveContext(&a));
}

TEST(Context, FaultHookMatchesOperationAndDetail) {
  LPBHVRCOM context = vyr::createContext({{"fail", "VDB_InitBhvr,VDB_OpenTable:F0007"}});
  EXPECT_TRUE(vyr::faultRequested(context, "VDB_InitBhvr") && vyr::faultRequested(context, "VDB_OpenTable", u"F0007"));
  EXPECT_FALSE(vyr::faultRequested(context, "VDB_OpenTable", u"F0015") || vyr::faultRequested(context, "VDB_Fetch") ||
               vyr::faultRequested(nullptr, "VDB_InitBhvr"));
  vyr::freeContext(context);
}

TEST(Queries, AnswerFromSettingsWithDefaultsAndOverrides) {
  LPBHVRCOM context = vyr::createContext({{"user", "JDOE"}, {"CTR", "JP"}, {"NNO", "2"}, {"env", "PROD"}});
  ASSERT_NE(context, nullptr);
  struct Case {
    Query query;
    LPBHVRCOM context;
    const JCHAR *item;
    size_t size;
    std::u16string expected;
    ID code;
  } const cases[] = {
      {vyrGetUserInfo, context, u"USER", 41, u"JDOE", ER_SUCCESS},
      {vyrGetUserInfo, context, u"AN8", 41, u"0", ER_SUCCESS},
      {vyrGetUserInfo, context, u"CTR ", 41, u"JP", ER_SUCCESS},  // items from blank-padded members
      {vyrGetUserInfo, context, u"ENV", 41, u"PROD", ER_SUCCESS},
      {vyrGetUserInfo, context, nullptr, 41, u"", ER_ERROR},
      {vyrGetUserInfo, context, u"USER", 3, u"JD", ER_SUCCESS},  // cut to the buffer, terminated
      {vyrGetUserInfo, context, u"NNO", 41, u"", ER_ERROR},      // a system constant, not a user item
      {vyrGetUserInfo, nullptr, u"USER", 41, u"", ER_ERROR},     // none given, none current
      {vyrGetSystemConstantValues, context, u"NNO", 41, u"2", ER_SUCCESS},
      {vyrGetSystemConstantValues, context, u"XYZ", 41, u"", ER_ERROR},
      {vyrGetEnvironmentValue, context, u"CRMMSL", 41, u"0", ER_SUCCESS},
  };
  for (const Case &c : cases) {
    JCHAR out[64];
    std::fill(std::begin(out), std::end(out), u'?');
    EXPECT_EQ(c.query(c.context, c.item, out, c.size), c.code) << "case #" << (&c - cases);
    EXPECT_EQ(std::u16string(out), c.expected) << "case #" << (&c - cases);
  }
  JCHAR out[8] = {u'?'};
  EXPECT_EQ(vyrGetUserInfo(context, u"USER", out, 0), ER_ERROR);
  EXPECT_EQ(out[0], u'?') << "size 0 writes nothing";
  {
    vyr::ContextScope scope(context);  // without a context given, the current one answers
    EXPECT_EQ(vyrGetUserInfo(nullptr, u"USER", out, 8), ER_SUCCESS);
    EXPECT_EQ(std::u16string(out), u"JDOE");
  }
  ASSERT_TRUE(vyr::setSetting(context, "currency", "EUR", nullptr));
  EXPECT_EQ(vyrGetCurrencyCode(context, out, 4), ER_SUCCESS);
  EXPECT_EQ(std::u16string(out), u"EUR");
  vyr::freeContext(context);
}

TEST(Queries, ClientTypeFollowsTheCurrentContextAndTheDirectorySwitchTheHandles) {
  LPBHVRCOM mobile = vyr::createContext({{"clienttype", "2"}, {"ldap", "1"}});
  LPBHVRCOM plain = vyr::createContext();
  std::string types = std::to_string(vyrGetClientType());
  {
    vyr::ContextScope outer(mobile);
    types += std::to_string(vyrGetClientType());
    {
      vyr::ContextScope inner(plain);
      types += std::to_string(vyrGetClientType());
    }
    types += std::to_string(vyrGetClientType());
  }
  EXPECT_EQ(types, "1212");
  HUSER onMobile = nullptr, onPlain = nullptr;
  ASSERT_EQ(VDB_InitBhvr(mobile, &onMobile, nullptr, 0) + VDB_InitBhvr(plain, &onPlain, nullptr, 0), 2 * VDB_SUCCESS);
  int mobileEnabled = -1, plainEnabled = -1;
  vyr::ContextScope current(plain);  // the handle decides, not the current context
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(onMobile, &mobileEnabled), ER_SUCCESS);
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(onPlain, &plainEnabled), ER_SUCCESS);
  EXPECT_TRUE(mobileEnabled == 1 && plainEnabled == 0);
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(onMobile, nullptr), ER_ERROR);
  VDB_FreeBhvr(onMobile);
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(onMobile, &mobileEnabled), ER_ERROR) << "a freed handle is refused";
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(reinterpret_cast<HUSER>(&plainEnabled), &plainEnabled), ER_ERROR);
  VDB_FreeBhvr(onPlain);
  vyr::freeContext(mobile);
  vyr::freeContext(plain);
}

TEST(Queries, CenturyChangeComesFromTheSettingAndEverythingIsReleased) {
  LPBHVRCOM context = vyr::createContext({{"CENTCHG", "30"}});
  LPDDDICT dict = vyrOpenDictionaryX(context);
  LPDDITEM item = vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG   ");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(std::u16string(item->szDict) + u"=" + item->szDefaultValue, u"CENTCHG=30");
  vyrFreeDDItem(item);
  vyrFreeDDItem(item);  // a second free is ignored
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"NOSUCH"), nullptr);
  vyrCloseDictionary(dict);
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG"), nullptr) << "a closed dictionary answers nothing";
  vyrCloseDictionary(dict);

  LPBHVRCOM other = vyr::createContext();
  dict = vyrOpenDictionaryX(other);
  vyr::freeContext(other);  // closes the dictionary left open (the leak check would see it otherwise)
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG"), nullptr);
  ASSERT_TRUE(vyr::setSetting(context, "fail", "vyrOpenDictionaryX", nullptr));
  EXPECT_EQ(vyrOpenDictionaryX(context), nullptr);
  vyr::freeContext(context);
}

TEST(Queries, GuidsAndIdsAreUnique) {
  JCHAR guid[37];
  std::set<std::u16string> seen;
  for (int i = 0; i < 50 && vyrCreateGuidString(guid, 37) == ER_SUCCESS; ++i) seen.insert(guid);
  EXPECT_EQ(seen.size(), 50u);
  const std::u16string text = *seen.begin();  // version 4, dashes where they belong
  EXPECT_TRUE(text.size() == 36 && text.find_first_not_of(u"0123456789abcdef-") == text.npos && text[14] == u'4' &&
              text[8] == u'-' && text[13] == u'-' && text[18] == u'-' && text[23] == u'-')
      << std::string(text.begin(), text.end());
  EXPECT_EQ(vyrCreateGuidString(guid, 36), ER_ERROR) << "no room for the terminator";
  const ID first = vyrUniqueId();
  EXPECT_GT(vyrUniqueId(), first);
}

std::u16string gBox;
void recordBox(std::u16string_view text, std::u16string_view caption) noexcept {
  gBox = std::u16string(caption) + u"|" + std::u16string(text);
}

TEST(Queries, LogEntriesGoToTheTraceAndMessageBoxesToTheHandler) {
  LPBHVRCOM context = vyr::createContext();
  const std::u16string wide(3000, u'w');
  {
    vyr::ContextScope scope(context);
    vyrWriteLogEntry("B0000001", 42, u"value %d of %ls", 7, u"eight");
    vyrWriteLogEntry(nullptr, 1, nullptr);
    vyrWriteLogEntry("LONG", 2, u"%ls", wide.c_str());
  }
  EXPECT_EQ(context->trace, (std::vector<std::u16string>{u"B0000001(42): value 7 of eight", u"LONG(2): " + wide}));
  vyr::freeContext(context);

  vyr::setMessageBoxHandler(recordBox);
  EXPECT_EQ(MessageBoxW(nullptr, u"text", u"caption", 0), 1);
  EXPECT_EQ(gBox, u"caption|text");
  vyr::setMessageBoxHandler(nullptr);
}

}  // namespace
