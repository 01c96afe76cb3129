// Calls by name: errors re-attached to the caller's members, codes passed up
// unchanged, the current context restored after nested calls.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/context.h"
#include "vyrkrnl.h"
#include "vyrl.h"

namespace {

// A callee that sets errors on the members its data structure lists and
// returns the code it is told to.
struct ScriptDS {
  ID errorItems[4];
  ID code;
};

ID ScriptedCallee(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  const auto *ds = static_cast<const ScriptDS *>(lpDS);
  for (ID item : ds->errorItems)
    if (item != 0xFFFFFFFF) vyrErrorSetEx(lpBhvrCom, lpVoid, item, u"CAL1", nullptr, "CALLEE", 1);
  return ds->code;
}

// Calls ScriptedCallee with {5 -> 1}, after setting an error of its own on its member 5.
ID MiddleCaller(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS) {
  vyrErrorSetEx(lpBhvrCom, lpVoid, 5, u"MID1", nullptr, "MIDDLE", 2);
  const CallMapEntry map[] = {{1, 5}};
  return vyrCallObject(u"TestScriptedCallee", nullptr, lpBhvrCom, lpVoid, lpDS, map, 1, nullptr, 0, 0);
}

ID Throwing(LPBHVRCOM, LPVOID, LPVOID) { throw std::runtime_error("boom"); }

// Records what is current while it runs, then calls a function on a second context.
struct NestDS {
  LPBHVRCOM inner;
  std::u16string decimalSeen;
};

ID InnerReporter(LPBHVRCOM, LPVOID, LPVOID lpDS) {
  auto *ds = static_cast<NestDS *>(lpDS);
  ds->decimalSeen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"inner line");
  return ER_WARNING;
}

ID OuterCaller(LPBHVRCOM lpBhvrCom, LPVOID, LPVOID lpDS) {
  auto *ds = static_cast<NestDS *>(lpDS);
  ds->decimalSeen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"outer before");
  const ID code = vyrCallObject(u"TestInnerReporter", nullptr, ds->inner, vyr::userEnvironment(ds->inner), lpDS,
                                nullptr, 0, nullptr, 0, 0);
  EXPECT_EQ(vyr::currentContext(), lpBhvrCom) << "the nested call restored the outer context";
  ds->decimalSeen += vyr::currentSettings().decimalSeparator;
  DebugTraceFn(u"outer after\nsecond line");
  return code;
}

class CallObject : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    vyr::registerFunction({"TestScriptedCallee", ScriptedCallee, nullptr, "TESTCALL"});
    vyr::registerFunction({"TestMiddleCaller", MiddleCaller, nullptr, "TESTCALL"});
    vyr::registerFunction({"TestThrowing", Throwing, nullptr, "TESTCALL"});
    vyr::registerFunction({"TestInnerReporter", InnerReporter, nullptr, "TESTCALL"});
    vyr::registerFunction({"TestOuterCaller", OuterCaller, nullptr, "TESTCALL"});
  }
  void SetUp() override { context = vyr::createContext(); }
  void TearDown() override { vyr::freeContext(context); }
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
    std::vector<ID> expected;
  } const cases[] = {
      {"no mapping detaches every member error", {}, {{3, 0, 7, 0xFFFFFFFF}, ER_SUCCESS}, {0, 0, 0}},
      {"one pair", {{11, 3}}, {{3, 4, 0xFFFFFFFF, 0xFFFFFFFF}, ER_ERROR}, {11, 0}},
      {"several pairs, each its own caller item", {{21, 1}, {22, 2}, {23, 3}},
       {{3, 1, 2, 9}, ER_ERROR}, {23, 21, 22, 0}},
      {"pair for an untouched member changes nothing", {{30, 8}}, {{0, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, 0}, {0}},
      {"negative items in a pair detach rather than map", {{-1, 2}, {4, -2}}, {{2, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, 0}, {0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    context->errors.clear();
    context->errors.push_back({6, u"OLD", u"", "CALLER", 1});  // set before the call: untouched
    ScriptDS ds = c.ds;
    const ID code = vyrCallObject(u"TestScriptedCallee", nullptr, context, vyr::userEnvironment(context), &ds,
                                  c.map.empty() ? nullptr : c.map.data(), ID(c.map.size()), nullptr, 0, 0);
    EXPECT_EQ(code, c.ds.code);
    std::vector<ID> expected{6};
    expected.insert(expected.end(), c.expected.begin(), c.expected.end());
    EXPECT_EQ(items(), expected);
  }
}

TEST_F(CallObject, NestedCalleeErrorsAreMappedAtEachLevel) {
  // Middle maps the callee's 5 to its own 1; the outer call maps middle's 1 to 40 and 5 to 50.
  ScriptDS ds{{5, 2, 0xFFFFFFFF, 0xFFFFFFFF}, ER_WARNING};
  const CallMapEntry map[] = {{40, 1}, {50, 5}};
  const ID code = vyrCallObject(u"TestMiddleCaller", nullptr, context, vyr::userEnvironment(context), &ds, map, 2,
                                nullptr, 0, 0);
  EXPECT_EQ(code, ER_WARNING) << "a warning is passed up unchanged through both levels";
  ASSERT_EQ(context->errors.size(), 3u);
  EXPECT_EQ(context->errors[0].id, u"MID1");
  EXPECT_EQ(context->errors[0].item, 50u);
  EXPECT_EQ(context->errors[1].item, 40u) << "callee 5 -> middle 1 -> caller 40";
  EXPECT_EQ(context->errors[2].item, 0u) << "callee 2 is mapped nowhere";
}

TEST_F(CallObject, UnknownCalleeAndFailingCalleeAreErrorsNotCrashes) {
  DebugTraceFn(u"outside any call");  // no sink for the context: not captured
  EXPECT_EQ(vyrCallObject(u"NoSuchFunction  ", nullptr, context, vyr::userEnvironment(context), nullptr, nullptr, 0,
                          nullptr, 0, 0),
            ER_ERROR);
  ASSERT_EQ(context->errors.size(), 1u);
  EXPECT_EQ(context->errors[0].id, u"BSFNNF");
  EXPECT_EQ(context->errors[0].text, u"NoSuchFunction");
  ASSERT_EQ(context->trace.size(), 1u);
  EXPECT_NE(context->trace[0].find(u"NoSuchFunction"), std::u16string::npos);

  EXPECT_EQ(vyrCallObject(nullptr, nullptr, context, nullptr, nullptr, nullptr, 0, nullptr, 0, 0), ER_ERROR);
  EXPECT_EQ(vyrCallObject(u"TestThrowing", nullptr, context, nullptr, nullptr, nullptr, 0, nullptr, 0, 0), ER_ERROR);
  EXPECT_EQ(context->errors.back().id, u"BSFNEX");
  EXPECT_EQ(vyr::currentContext(), nullptr) << "a throwing callee still restores the current context";

  // A pointer that is no context is refused, not followed.
  int notAContext = 0;
  EXPECT_EQ(vyrCallObject(u"TestScriptedCallee", nullptr, reinterpret_cast<LPBHVRCOM>(&notAContext), nullptr,
                          nullptr, nullptr, 0, nullptr, 0, 0),
            ER_ERROR);
  EXPECT_EQ(vyrCallObject(u"TestScriptedCallee", nullptr, nullptr, nullptr, nullptr, nullptr, 0, nullptr, 0, 0),
            ER_ERROR);

  const BSFN_CATALOG_ENTRY *throwing = vyr::findFunction(std::string_view("TestThrowing"));
  ASSERT_NE(throwing, nullptr);
  EXPECT_EQ(vyr::callFunction(context, *throwing, nullptr), ER_ERROR);
  EXPECT_EQ(context->errors.back().id, u"BSFNEX");
}

TEST_F(CallObject, DirectEntryIsUsedWithoutLookup) {
  ScriptDS ds{{1, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, ER_WARNING};
  const CallMapEntry map[] = {{9, 1}};
  EXPECT_EQ(vyrCallObject(u"not looked up", ScriptedCallee, context, nullptr, &ds, map, 1, nullptr, 0, 0),
            ER_WARNING);
  EXPECT_EQ(items(), std::vector<ID>{9});
}

TEST_F(CallObject, NestedCallsRestoreTheOuterContextSettingsAndTrace) {
  std::string error;
  LPBHVRCOM inner = vyr::createContext({{"decimal", "comma"}}, &error);
  ASSERT_NE(inner, nullptr) << error;
  NestDS ds{inner, {}};
  const BSFN_CATALOG_ENTRY *outer = vyr::findFunction(std::u16string_view(u"TestOuterCaller"));
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(vyr::callFunction(context, *outer, &ds), ER_WARNING);
  EXPECT_EQ(ds.decimalSeen, u".,.");
  EXPECT_EQ(context->trace, (std::vector<std::u16string>{u"outer before", u"outer after", u"second line"}));
  EXPECT_EQ(inner->trace, std::vector<std::u16string>{u"inner line"});
  EXPECT_EQ(vyr::currentContext(), nullptr);
  EXPECT_EQ(vyr::currentSettings().decimalSeparator, u'.');
  vyr::freeContext(inner);
}

TEST_F(CallObject, ErrorWalkVisitsEachErrorOnceWithItsParts) {
  JCHAR substitution[VYR_ERROR_TEXT_SIZE + 10];
  for (JCHAR &c : substitution) c = u'x';  // not terminated within 41: only 40 are read
  vyrErrorSetEx(context, nullptr, 3, u"078D", substitution, "B0000182", 120);
  vyrErrorSetEx(context, nullptr, 0, u"4363", nullptr, nullptr, 7);
  vyrErrorSetEx(nullptr, nullptr, 0, u"LOST", nullptr, "NOWHERE", 1);  // no context: trace only
  EXPECT_EQ(vyrErrorSetToFirstEx(context, nullptr), 2);
  VYRERRORINFO info;
  ASSERT_TRUE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
  EXPECT_EQ(info.idItem, 3u);
  EXPECT_EQ(std::u16string(info.szErrorId), u"078D");
  EXPECT_EQ(std::u16string(info.szText), std::u16string(40, u'x'));
  EXPECT_STREQ(info.szSource, "B0000182");
  EXPECT_EQ(info.nLine, 120);
  ASSERT_TRUE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
  EXPECT_EQ(std::u16string(info.szErrorId), u"4363");
  EXPECT_EQ(std::u16string(info.szText), u"");
  EXPECT_FALSE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
  EXPECT_EQ(vyrErrorSetToFirstEx(context, nullptr), 2) << "a new walk starts over";
  EXPECT_TRUE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, &info));
  EXPECT_FALSE(vyrErrorGetNextDDItemNameInfoEx(context, nullptr, nullptr));
  EXPECT_EQ(vyrErrorSetToFirstEx(nullptr, nullptr), 0);
}

TEST_F(CallObject, EventRuleReturnCodeSlot) {
  EXPECT_EQ(vyrGetEventRuleReturnCode(context), ER_SUCCESS);
  vyrSetEventRuleReturnCode(context, ER_WARNING);
  EXPECT_EQ(vyrGetEventRuleReturnCode(context), ER_WARNING);
  vyrSetEventRuleReturnCode(nullptr, ER_ERROR);
  EXPECT_EQ(vyrGetEventRuleReturnCode(nullptr), ER_SUCCESS);
  EXPECT_EQ(vyrGetBhvrEnvironment(nullptr), nullptr);
}

}  // namespace
