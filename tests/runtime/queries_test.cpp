// User, system and environment queries from the context's settings, the data
// dictionary, process facts, the log and the message box.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "runtime/context.h"
#include "vyrkrnl.h"
#include "vyrl.h"

namespace {

using Query = ID (*)(LPBHVRCOM, const JCHAR *, JCHAR *, size_t);

std::u16string ask(Query query, LPBHVRCOM context, const JCHAR *item, ID *code, size_t size = 41) {
  JCHAR out[64];
  for (JCHAR &c : out) c = u'?';
  *code = query(context, item, out, size);
  return std::u16string(out);
}

TEST(Queries, AnswerFromSettingsWithDefaultsAndOverrides) {
  std::string error;
  LPBHVRCOM context = vyr::createContext({{"user", "JDOE"}, {"CTR", "JP"}, {"NNO", "2"}, {"env", "PROD"}}, &error);
  ASSERT_NE(context, nullptr) << error;
  struct Case {
    Query query;
    const JCHAR *item;
    std::u16string expected;
    ID code;
  } const cases[] = {
      {vyrGetUserInfo, u"USER", u"JDOE", ER_SUCCESS},
      {vyrGetUserInfo, u"CTR ", u"JP", ER_SUCCESS},  // items from fixed-width members
      {vyrGetUserInfo, u"AN8", u"0", ER_SUCCESS},
      {vyrGetUserInfo, u"ENV", u"PROD", ER_SUCCESS},
      {vyrGetUserInfo, u"PROGRAM", u"FAMOFLAS", ER_SUCCESS},
      {vyrGetUserInfo, u"LNGP", u"", ER_SUCCESS},
      {vyrGetUserInfo, u"NNO", u"", ER_ERROR},  // a system constant, not a user item
      {vyrGetUserInfo, u"user", u"", ER_ERROR},
      {vyrGetUserInfo, nullptr, u"", ER_ERROR},
      {vyrGetSystemConstantValues, u"NNO", u"2", ER_SUCCESS},
      {vyrGetSystemConstantValues, u"XYZ", u"", ER_ERROR},
      {vyrGetEnvironmentValue, u"CRMMSL", u"0", ER_SUCCESS},
      {vyrGetEnvironmentValue, u"CTR", u"", ER_ERROR},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "item #" << (&c - cases));
    ID code;
    EXPECT_EQ(ask(c.query, context, c.item, &code), c.expected);
    EXPECT_EQ(code, c.code);
  }
  ID code;
  EXPECT_EQ(ask(vyrGetUserInfo, context, u"USER", &code, 3), u"JD") << "cut to the buffer, terminated";
  EXPECT_EQ(vyrGetUserInfo(context, u"USER", nullptr, 10), ER_ERROR);
  JCHAR one[1] = {u'?'};
  EXPECT_EQ(vyrGetUserInfo(context, u"USER", one, 0), ER_ERROR);
  EXPECT_EQ(one[0], u'?') << "size 0 writes nothing";

  // Without a context the current one answers; with none current, nothing does.
  EXPECT_EQ(ask(vyrGetUserInfo, nullptr, u"USER", &code), u"");
  EXPECT_EQ(code, ER_ERROR);
  {
    vyr::ContextScope scope(context);
    EXPECT_EQ(ask(vyrGetUserInfo, nullptr, u"USER", &code), u"JDOE");
  }
  JCHAR currency[4];
  EXPECT_EQ(vyrGetCurrencyCode(context, currency, 4), ER_SUCCESS);
  EXPECT_EQ(std::u16string(currency), u"");
  ASSERT_TRUE(vyr::setSetting(context, "currency", "EUR", &error));
  EXPECT_EQ(vyrGetCurrencyCode(context, currency, 4), ER_SUCCESS);
  EXPECT_EQ(std::u16string(currency), u"EUR");
  vyr::freeContext(context);
}

TEST(Queries, ClientTypeAndDirectorySwitchFollowTheCurrentContext) {
  LPBHVRCOM mobile = vyr::createContext({{"clienttype", "2"}, {"ldap", "1"}});
  LPBHVRCOM plain = vyr::createContext();
  int enabled = -1;
  EXPECT_EQ(vyrGetClientType(), 1);
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(nullptr, &enabled), ER_SUCCESS);
  EXPECT_EQ(enabled, 0);
  {
    vyr::ContextScope outer(mobile);
    EXPECT_EQ(vyrGetClientType(), 2);
    EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(nullptr, &enabled), ER_SUCCESS);
    EXPECT_EQ(enabled, 1);
    {
      vyr::ContextScope inner(plain);
      EXPECT_EQ(vyrGetClientType(), 1);
    }
    EXPECT_EQ(vyrGetClientType(), 2);
  }
  EXPECT_EQ(vyrSecIsLDAPAuthenticationEnabled(nullptr, nullptr), ER_ERROR);
  vyr::freeContext(mobile);
  vyr::freeContext(plain);
}

TEST(Queries, CenturyChangeComesFromTheSettingAndItemsAreReleased) {
  LPBHVRCOM context = vyr::createContext({{"CENTCHG", "30"}});
  LPDDDICT dict = vyrOpenDictionaryX(context);
  ASSERT_NE(dict, nullptr);
  LPDDITEM item = vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG   ");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(std::u16string(item->szDict), u"CENTCHG");
  EXPECT_EQ(std::u16string(item->szDefaultValue), u"30");
  vyrFreeDDItem(item);
  vyrFreeDDItem(item);  // a second free is ignored
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"NOSUCH"), nullptr);
  vyrCloseDictionary(dict);
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG"), nullptr) << "a closed dictionary answers nothing";
  vyrCloseDictionary(dict);

  LPBHVRCOM defaults = vyr::createContext();
  dict = vyrOpenDictionaryX(defaults);
  vyr::freeContext(defaults);  // closes what was left open
  EXPECT_EQ(vyrAllocFetchDDItemFromDDItemName(dict, u"CENTCHG"), nullptr);

  ASSERT_TRUE(vyr::setSetting(context, "fail", "vyrOpenDictionaryX", nullptr));
  EXPECT_EQ(vyrOpenDictionaryX(context), nullptr);
  EXPECT_EQ(vyrOpenDictionaryX(nullptr), nullptr);
  vyr::freeContext(context);
}

TEST(Queries, ProcessFacts) {
  JCHAR guid[37];
  std::set<std::u16string> seen;
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(vyrCreateGuidString(guid, 37), ER_SUCCESS);
    const std::u16string text(guid);
    ASSERT_EQ(text.size(), 36u);
    for (size_t p : {8, 13, 18, 23}) EXPECT_EQ(text[p], u'-');
    EXPECT_EQ(text[14], u'4') << "a random GUID";
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 50u);
  EXPECT_EQ(vyrCreateGuidString(guid, 36), ER_ERROR) << "no room for the terminator";

  const ID first = vyrUniqueId(), second = vyrUniqueId();
  EXPECT_NE(first, 0u);
  EXPECT_GT(second, first);
  EXPECT_GT(vyrGetPid(), 0);
  JCHAR host[256];
  EXPECT_EQ(vyrGetHostName(host, 256), ER_SUCCESS);
  EXPECT_GT(std::u16string(host).size(), 0u);
}

std::u16string gBoxText, gBoxCaption;
void recordBox(std::u16string_view text, std::u16string_view caption) noexcept {
  gBoxText = text;
  gBoxCaption = caption;
}

TEST(Queries, LogEntriesGoToTheTraceAndMessageBoxesToTheHandler) {
  LPBHVRCOM context = vyr::createContext();
  {
    vyr::ContextScope scope(context);
    vyrWriteLogEntry("B0000001", 42, u"value %d of %ls", 7, u"eight");
    vyrWriteLogEntry(nullptr, 1, nullptr);
    const std::u16string wide(3000, u'w');
    vyrWriteLogEntry("LONG", 2, u"%ls", wide.c_str());
  }
  ASSERT_EQ(context->trace.size(), 2u);
  EXPECT_EQ(context->trace[0], u"B0000001(42): value 7 of eight");
  EXPECT_EQ(context->trace[1], u"LONG(2): " + std::u16string(3000, u'w')) << "long entries are not cut";
  vyr::freeContext(context);

  vyr::setMessageBoxHandler(recordBox);
  EXPECT_EQ(MessageBoxW(nullptr, u"text", u"caption", 0), 1);
  EXPECT_EQ(gBoxText, u"text");
  EXPECT_EQ(gBoxCaption, u"caption");
  vyr::setMessageBoxHandler(nullptr);
}

}  // namespace
