// Calls by name: errors re-attached to the caller's members, codes passed up
// unchanged, the current context restored after nested calls.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/context.h"
#include "vyrkrnl.h"
#include "vyrl.h"

namespace {

constexpr ID kEnd = 0xFFFFFFFF;

// A callee that sets errors on the members listed (up to kEnd) and returns code.
struct ScriptDS {
  ID errorItems[4];
  ID code;
};

ID ScriptedCallee(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  const auto *ds = static_cast<const ScriptDS *>(lpDS);
  for (size_t i = 0; i < 4 && ds->errorItems[i] != kEnd; ++i)
    vyrErrorSetEx(lpBhvrCom, lpVoid, ds->errorItems[i], u"CAL1", nullptr, "CALLEE", 1);
  return ds->code;
}

// Sets an error on its own member 5, then calls ScriptedCallee mapping 5 -> 1.
ID MiddleCaller(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  vyrErrorSetEx(lpBhvrCom, lpVoid, 5, u"MID1", nullptr, "MIDDLE", 2);
  const CallMapEntry map[] = {{1, 5}};
  return vyrCallObject(u"TestScriptedCallee", nullptr, lpBhvrCom, lpVoid, lpDS, map, 1, nullptr, 0, 0);
}

ID Throwing(LPBHVRCOM, LPVOID, LPVOID) { throw std::runtime_error("boom"); }

// Records the decimal separator current at each step; the outer one calls the inner on a second context.
struct NestDS {
  LPBHVRCOM inner;
  std::u16string seen;
};

ID InnerReporter(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  static_cast<NestDS *>(lpDS)->seen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"inner line");
  return ER_WARNING;
}

ID OuterCaller(LPBHVRCOM lpBhvrCom, LPVOID, LPVOID lpDS) {
  auto *ds = static_cast<NestDS *>(lpDS);
  ds->seen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"outer before");
  const ID code = vyrCallObject(u"TestInnerReporter", nullptr, ds->inner, nullptr, lpDS, nullptr, 0, nullptr, 0, 0);
  EXPECT_EQ(vyr::currentContext(), lpBhvrCom);
  ds->seen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"outer after\nsecond line");
  return code;
}

class CallObject : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const BSFN_CATALOG_ENTRY entries[] = {{"TestScriptedCallee", ScriptedCallee, nullptr, "TESTCALL"},
                                          {"TestMiddleCaller", MiddleCaller, nullptr, "TESTCALL"},
                                          {"TestThrowing", Throwing, nullptr, "TESTCALL"},
                                          {"TestInnerReporter", InnerReporter, nullptr, "TESTCALL"},
                                          {"TestOuterCaller", OuterCaller, nullptr, "TESTCALL"}};
    vyr::registerCatalog(entries, std::size(entries));
  }
  void SetUp() override { context = vyr::createContext(); }
  void TearDown() override { vyr::freeContext(context); }
  ID call(const char16_t *name, void *ds, const std::vector<CallMapEntry> &map = {}) {
    return vyrCallObject(name, nullptr, context, vyr::userEnvironment(context), ds, map.empty() ? nullptr : map.data(),
                         ID(map.size()), nullptr, 0, 0);
  }
  std::vector<ID> items() const {
    std::vector<ID> out;
    for (const auto &e : context->errors) out.push_back(e.item);
    return out;
  }
  LPBHVRCOM context = nullptr;
};

TEST_F(CallObject, CalleeErrorsMoveToMappedCallerItemsOrToItemZero) {
  struct Case {
    const char *what;
    std::vector<CallMapEntry> map;
    ScriptDS ds;
    std::vector<ID> expected;  // after the caller's own error on 6, set before the call
  } const cases[] = {
      {"no mapping detaches every member error", {}, {{3, 0, 7, kEnd}, ER_SUCCESS}, {6, 0, 0, 0}},
      {"one pair", {{11, 3}}, {{3, 4, kEnd}, ER_ERROR}, {6, 11, 0}},
      {"several pairs", {{21, 1}, {22, 2}, {23, 3}}, {{3, 1, 2, 9}, ER_ERROR}, {6, 23, 21, 22, 0}},
      {"negative items in a pair detach", {{-1, 2}, {4, -2}}, {{2, kEnd}, ER_SUCCESS}, {6, 0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    context->errors.assign(1, {6, u"OLD", u"", "CALLER", 1});
    ScriptDS ds = c.ds;
    EXPECT_EQ(call(u"TestScriptedCallee", &ds, c.map), c.ds.code);
    EXPECT_EQ(items(), c.expected);
  }
  // A direct entry is used as given, without a look-up.
  ScriptDS ds{{1, kEnd}, ER_WARNING};
  const CallMapEntry map[] = {{9, 1}};
  EXPECT_EQ(vyrCallObject(u"not looked up", ScriptedCallee, context, nullptr, &ds, map, 1, nullptr, 0, 0), ER_WARNING);
  EXPECT_EQ(context->errors.back().item, 9u);
}

TEST_F(CallObject, NestedCalleeErrorsAreMappedAtEachLevelAndWarningsPassUp) {
  ScriptDS ds{{5, 2, kEnd}, ER_WARNING};
  EXPECT_EQ(call(u"TestMiddleCaller", &ds, {{40, 1}, {50, 5}}), ER_WARNING);
  ASSERT_EQ(context->errors.size(), 3u);
  EXPECT_EQ(context->errors[0].id, u"MID1");
  EXPECT_EQ(items(), (std::vector<ID>{50, 40, 0})) << "middle 5 -> 50; callee 5 -> middle 1 -> 40; callee 2 -> 0";
}

TEST_F(CallObject, UnknownOrFailingCalleesAreErrorsNotCrashes) {
  EXPECT_EQ(call(u"NoSuchFunction  ", nullptr), ER_ERROR);
  ASSERT_EQ(context->errors.size(), 1u);
  EXPECT_EQ(context->errors[0].id + u" " + context->errors[0].text, u"BSFNNF NoSuchFunction");
  ASSERT_EQ(context->trace.size(), 1u);
  EXPECT_NE(context->trace[0].find(u"NoSuchFunction"), std::u16string::npos);
  EXPECT_EQ(call(nullptr, nullptr), ER_ERROR);

  EXPECT_EQ(call(u"TestThrowing", nullptr), ER_ERROR);
  EXPECT_EQ(context->errors.back().id, u"BSFNEX");
  EXPECT_EQ(vyr::currentContext(), nullptr) << "a throwing callee still restores the current context";

  int notAContext = 0;  // refused, not followed
  for (LPBHVRCOM bad : {reinterpret_cast<LPBHVRCOM>(&notAContext), LPBHVRCOM(nullptr)})
    EXPECT_EQ(vyrCallObject(u"TestScriptedCallee", nullptr, bad, nullptr, nullptr, nullptr, 0, nullptr, 0, 0),
              ER_ERROR);
}

// A host learns whether the function answered or the call failed around it.
TEST_F(CallObject, HostCallsTellTheFunctionsAnswerFromAPlatformFailure) {
  const BSFN_CATALOG_ENTRY scripted{"TestScriptedCallee", ScriptedCallee, nullptr, "TESTCALL"};
  for (ID code : {ER_SUCCESS, ER_WARNING, ER_ERROR}) {
    ScriptDS ds{{1, kEnd}, code};
    EXPECT_EQ(vyr::callFunction(context, scripted, &ds), code);
  }
  EXPECT_TRUE(context->platformFailures.empty()) << "0, 1 and 2 are the function's own answers";

  for (ID code : {ID(3), ID(0xFFFFFFFF)}) {
    ScriptDS ds{{kEnd}, code};
    EXPECT_EQ(vyr::callFunction(context, scripted, &ds), ER_ERROR) << code;
  }
  ASSERT_EQ(context->errors.size(), 5u);
  EXPECT_EQ(context->errors[4].id + u" " + context->errors[4].text, u"BSFNRC TestScriptedCallee returned -1");
  ASSERT_EQ(context->platformFailures.size(), 2u);
  EXPECT_NE(context->platformFailures[1].find("returned -1"), std::string::npos);

  EXPECT_EQ(vyr::callFunction(context, {"TestThrowing", Throwing, nullptr, "TESTCALL"}, nullptr), ER_ERROR);
  EXPECT_NE(context->platformFailures.back().find("boom"), std::string::npos);
  // Called by name from a function, a callee's code still passes up unchanged.
  ScriptDS ds{{kEnd}, 7};
  EXPECT_EQ(call(u"TestScriptedCallee", &ds), 7u);
}

TEST_F(CallObject, NestedCallsRestoreTheOuterContextSettingsAndTrace) {
  LPBHVRCOM inner = vyr::createContext({{"decimal", "comma"}});
  NestDS ds{inner, {}};
  const BSFN_CATALOG_ENTRY *outer = vyr::findFunction(std::u16string_view(u"TestOuterCaller"));
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(vyr::callFunction(context, *outer, &ds), ER_WARNING);
  EXPECT_EQ(ds.seen, u".,.");
  EXPECT_EQ(context->trace, (std::vector<std::u16string>{u"outer before", u"outer after", u"second line"}));
  EXPECT_EQ(inner->trace, std::vector<std::u16string>{u"inner line"});
  EXPECT_EQ(vyr::currentContext(), nullptr);
  EXPECT_EQ(vyr::currentSettings().decimalSeparator, u'.');
  vyr::freeContext(inner);
}

TEST_F(CallObject, ErrorWalkVisitsEachErrorOnceWithItsParts) {
  JCHAR unterminated[VYR_ERROR_TEXT_SIZE + 10];
  std::fill(std::begin(unterminated), std::end(unterminated), u'x');
  vyrErrorSetEx(context, nullptr, 3, u"078D", unterminated, "B0000182", 120);
  vyrErrorSetEx(context, nullptr, 0, u"4363", nullptr, nullptr, 7);
  vyrErrorSetEx(nullptr, nullptr, 0, u"LOST", nullptr, "NOWHERE", 1);  // no context: trace only
  for (int walk = 0; walk < 2; ++walk) {                               // a new walk starts over
    EXPECT_EQ(vyrErrorSetToFirstEx(context, nullptr), 2);
    VYRERRORINFO info;
    ASSERT_TRUE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
    EXPECT_EQ(std::u16string(info.szErrorId) + info.szText, u"078D" + std::u16string(40, u'x'))
        << "at most 40 characters of text are read";
    EXPECT_TRUE(info.idItem == 3 && std::string(info.szSource) == "B0000182" && info.nLine == 120);
    ASSERT_TRUE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
    EXPECT_EQ(std::u16string(info.szErrorId) + info.szText, u"4363");
    EXPECT_FALSE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
  }
  EXPECT_FALSE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, nullptr));
}

}  // namespace
