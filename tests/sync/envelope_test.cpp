// The sync envelope (B90CA700) and the GetUDC companion: the exact texts of
// the response, the readers of the request, the lookups over F0005 and the
// end of a run's caches, each releasing every XML handle it took.
#include <memory>

#include "frame/companions.h"
#include "support/bsfn_fixture.h"
#include "sync/B90CA700.h"
#include "xml/host.h"

namespace {

using vyr::xml::liveObjects;

#pragma pack(push, 1)
struct UdcRow {  // F0005, every column
  JCHAR sy[5], rt[3], ky[11], dl01[31], dl02[31], sphd[11];
  JCHAR hrdc;
};
#pragma pack(pop)

class EnvelopeTest : public bsfntest::BsfnTest {
 protected:
  void SetUp() override {
    BsfnTest::SetUp();
    scope_ = std::make_unique<vyr::ContextScope>(context_);
    vyrStrcpy(sync_.szUsername, u"U&1");
    vyrStrcpy(sync_.szAppDataType, u"Appointments");
    vyrStrcpy(sync_.szSyncAnchor, u"20240105080309Z");
  }
  void TearDown() override {
    unload();
    EXPECT_EQ(liveObjects(), before_) << "XML handles or strings were left unreleased";
    scope_.reset();
    BsfnTest::TearDown();
  }

  // Parses a request into the sync context (the previous one is released).
  void load(const std::u16string &request) {
    unload();
    ASSERT_EQ(XRCS_getParser(&sync_.hParser), XRCS_SUCCESS);
    ASSERT_EQ(XRCS_parseXMLString(sync_.hParser, request.c_str(), &sync_.hDocument), XRCS_SUCCESS);
    ASSERT_EQ(XRCS_getDocumentElement(sync_.hDocument, &sync_.hRootElement), XRCS_SUCCESS);
  }
  void unload() {
    XRCS_freeElement(sync_.hRootElement);
    XRCS_freeDocument(sync_.hDocument);
    XRCS_freeParser(sync_.hParser);
    sync_.hRootElement = nullptr, sync_.hDocument = nullptr, sync_.hParser = nullptr;
  }
  std::u16string lastTrace() {
    std::u16string line = context_->trace.empty() ? u"" : context_->trace.back();
    context_->trace.clear();
    return line;
  }
  // Writes the row of F0005 with that key (a row starts with its key).
  void udc(const char16_t *sy, const char16_t *rt, const char16_t *ky, const char16_t *dl01, const char16_t *dl02) {
    UdcRow row{};
    vyrStrcpy(row.sy, sy), vyrStrcpy(row.rt, rt), vyrStrcpy(row.ky, ky), vyrStrcpy(row.dl01, dl01);
    vyrStrcpy(row.dl02, dl02);
    HREQUEST request = nullptr;
    ASSERT_EQ(VDB_OpenTable(user(), u"F0005", 1, nullptr, 0, nullptr, &request), 1u);
    VDB_DeleteTable(request, 1, &row, 3);
    EXPECT_EQ(VDB_InsertTable(request, &row), 1u);
    VDB_CloseTable(request);
  }
  // A behaviour handle, released with its context.
  HUSER user(LPBHVRCOM context = nullptr) {
    HUSER hUser = nullptr;
    EXPECT_EQ(VDB_InitBhvr(context ? context : context_, &hUser, nullptr, 0), 1u);
    return hUser;
  }

  vyr::xml::LiveObjects before_ = liveObjects();
  std::unique_ptr<vyr::ContextScope> scope_;
  SYNCCONTEXT sync_{};
};

TEST_F(EnvelopeTest, SyncTimestampsFormatAndParseInUtc) {
  UTIME time{}, back{};
  JCHAR out[16];
  ASSERT_EQ(vyrUTime_Set(&time, 2024, 1, 5, 13, 3, 9, u"UTC +05:00"), 0);  // 08:03:09 UTC
  ASSERT_EQ(B90CA700_FormatUTime(out, &time), 1);
  EXPECT_EQ(std::u16string(out), u"20240105080309Z");
  EXPECT_EQ(B90CA700_ParseUTime(&back, u"20240105080309Z"), 1);
  EXPECT_EQ(vyrUTime_Compare(&back, &time), 0);

  // Parts the text does not give are 0, and the platform refuses month 0.
  for (const char16_t *refused : {u"2024", u"20240231000000Z", u"", u"Z"})
    EXPECT_EQ(B90CA700_ParseUTime(&back, refused), 0);
  vyrUTime_SetToNull(&time);
  vyrStrcpy(out, u"untouched");
  EXPECT_EQ(B90CA700_FormatUTime(out, &time), 0);
  EXPECT_EQ(std::u16string(out), u"untouched");
}

TEST_F(EnvelopeTest, HeadersAreWrittenExactlyAndOnlyRecordValuesEscaped) {
  JCHAR buffer[512];
  JCHAR *end = B90CA700_createXMLGetHeader(&sync_, buffer, 1, 2, 3, 1);
  const std::u16string get =
      u"<?xml version=\"1.0\"?> <PIMRESP username=\"U&1\" appDataType=\"Appointments\"><GETRESP startRec=\"1\" "
      u"totalRecs=\"6\" totalNewRecs=\"2\" totalModifyRecs=\"3\" totalDeleteRecs=\"1\" "
      u"currentSyncAnchor=\"20240105080309Z\"/>";
  EXPECT_EQ(std::u16string(buffer), get);
  EXPECT_EQ(end, buffer + get.size());
  const int written = B90CA700_EscapeXMLChars(end, u"<APPT subject=\"%ls\"/>", u"a<b & \"c\"");
  EXPECT_EQ(std::u16string(end), u"<APPT subject=\"a&lt;b &amp; &quot;c&quot;\"/>");
  EXPECT_EQ(written, int(vyrStrlen(end)));

  end = B90CA700_createXMLPutHeader(&sync_, buffer, 4, 3);
  const std::u16string put =
      u"<?xml version=\"1.0\"?> <PIMRESP username=\"U&1\" appDataType=\"Appointments\">"
      u"<PUTRESP numRecsRequested=\"4\" numRecsWritten=\"3\" newSyncAnchor=\"20240105080309Z\"/>";
  EXPECT_EQ(std::u16string(buffer), put);
  EXPECT_EQ(end, buffer + put.size());

  vyrStrcpy(buffer, u"untouched");
  EXPECT_EQ(B90CA700_EscapeXMLChars(buffer, nullptr, u"x") + B90CA700_EscapeXMLChars(buffer, u"%ls", nullptr) +
                B90CA700_EscapeXMLChars(nullptr, u"%ls", u"x"),
            0);
  EXPECT_EQ(std::u16string(buffer), u"untouched");
}

TEST_F(EnvelopeTest, AttributesAreCopiedCutToTheOutputSize) {
  load(u"<PIMREQ command=\"getcount\"/>");
  const std::pair<int, const char16_t *> cases[] = {{5, u"getc"}, {9, u"getcount"}, {40, u"getcount"}, {1, u""}};
  for (const auto &[size, expected] : cases) {
    JCHAR out[40];
    vyrMemset(out, u'#', 40);
    EXPECT_EQ(B90CA700_getElementAttribute(sync_.hRootElement, u"command", out, size), 1);
    EXPECT_EQ(std::u16string(out), expected) << size;
  }
  JCHAR out[8] = u"keep";
  EXPECT_EQ(B90CA700_getElementAttribute(sync_.hRootElement, u"username", out, 8), 0);
  EXPECT_EQ(B90CA700_getElementAttribute(sync_.hRootElement, u"command", out, 0), 0);
  EXPECT_EQ(B90CA700_getElementAttribute(nullptr, u"command", out, 8), 0);
  EXPECT_EQ(std::u16string(out), u"keep");
}

TEST_F(EnvelopeTest, EndSyncIsReadFromTheFirstChildOnly) {
  const struct {
    const char16_t *request;
    bool flagWanted;
    int result, flag;
    const char16_t *trace;
  } cases[] = {
      {u"<R><ENDSYNC SyncResult=\"Success\"/></R>", true, 1, 1, u""},
      {u"<R><ENDSYNC SyncResult=\"success\"/></R>", true, 1, 0, u""},
      {u"<R><ENDSYNC SyncResult=\"Failed\"/><X/></R>", true, 1, 0, u""},
      {u"<R><ENDSYNC/></R>", true, 0, 7, u"B90CA700: failed to get SyncResult attribute from ENDSYNC element"},
      {u"<R><ENDSYNC/></R>", false, 1, 7, u""},
      {u"<R><GETINFO startRec=\"1\"/><ENDSYNC SyncResult=\"Success\"/></R>", true, 0, 7,
       u"B90CA700: wanted to get ENDSYNC element, but got wrong element: GETINFO"},
      {u"<R>ENDSYNC</R>", true, 0, 7, u"B90CA700: failed to get ENDSYNC element"},
  };
  for (const auto &c : cases) {
    load(c.request);
    int flag = 7;
    EXPECT_EQ(B90CA700_ParseEndSync(&sync_, c.flagWanted ? &flag : nullptr), c.result) << vyr::toUtf8(c.request);
    EXPECT_EQ(flag, c.flag) << vyr::toUtf8(c.request);
    EXPECT_EQ(lastTrace(), c.trace);
    unload();
    EXPECT_EQ(liveObjects(), before_) << vyr::toUtf8(c.request);
  }
  EXPECT_EQ(B90CA700_ParseEndSync(nullptr, nullptr), 0);
}

TEST_F(EnvelopeTest, CodesAreFoundByEitherDescriptionLine) {
  udc(u"01", u"SG", u"  PIMSG", u"Meetings", u"Calls");
  HUSER hUser = user();
  JCHAR *code = nullptr;
  EXPECT_EQ(B90CA700_getUDCByDescriptionLineOne(u"01", u"SG", u"Meetings", &code, hUser), 0);
  EXPECT_EQ(std::u16string(code), u"PIMSG");
  vyrFree(code);
  code = nullptr;
  EXPECT_EQ(B90CA700_getUDCByDescriptionLineOne(u"01", u"SG", u"Calls", &code, hUser), 2);
  EXPECT_EQ(code, nullptr);

  JCHAR out[11] = u"keep";
  EXPECT_EQ(B90CA700_getUDCByDescriptionLineTwo(u"01", u"SG", u"Calls", out, hUser), 0);
  EXPECT_EQ(std::u16string(out), u"PIMSG");
  EXPECT_EQ(B90CA700_getUDCByDescriptionLineTwo(u"01", u"SG", u"Meetings", out, hUser), 2);
  EXPECT_EQ(std::u16string(out), u"");
  // A null argument answers as success and writes nothing.
  vyrStrcpy(out, u"keep");
  EXPECT_EQ(B90CA700_getUDCByDescriptionLineTwo(nullptr, u"SG", u"Calls", out, hUser) +
                B90CA700_getUDCByDescriptionLineTwo(u"01", u"SG", u"Calls", out, nullptr) +
                B90CA700_getUDCByDescriptionLineTwo(u"01", u"SG", u"Calls", nullptr, hUser),
            0);
  EXPECT_EQ(std::u16string(out), u"keep");

  B90CA700_UDCKEY key{u"01", u"SG", u"Meetings"};
  EXPECT_EQ(B90CA700_getUDCByDescription(&key, &code, 3, hUser), 2);
  EXPECT_EQ(B90CA700_getUDCByDescription(&key, &code, 1, user(newContext({{"fail", "VDB_OpenTable:F0005"}}))), 2);
  EXPECT_EQ(code, nullptr);
}

TEST_F(EnvelopeTest, GetUdcReturnsTheRowOrNamesWhatFailed) {
  udc(u"01", u"LT", u"M", u"Minutes   ", u"Min");
  DSGETUDC ds{};
  const auto ask = [&](const char16_t *code, JCHAR suppress, LPBHVRCOM context = nullptr) {
    ds = {};
    vyrStrcpy(ds.szProductCode, u"01"), vyrStrcpy(ds.szRecordType, u"LT"), vyrStrcpy(ds.szUserDefinedCode, code);
    ds.cSuppressErrorMessage = suppress;
    return call("GetUDC", &ds, context);
  };
  EXPECT_EQ(ask(u"M", u' '), ER_SUCCESS);
  EXPECT_EQ(std::u16string(ds.szDescription001) + u"|" + ds.szDescription002 + u"|" + ds.szSpecialHandlingCode,
            u"Minutes|Min|");
  EXPECT_EQ(ask(u"H", u' '), ER_ERROR);
  EXPECT_EQ(errors(), (bsfntest::Strings{"UDCNF @3"}));
  EXPECT_EQ(ask(u"H", u'1'), ER_ERROR);
  EXPECT_TRUE(errors().empty());
  // A table that cannot be opened or read is no "code not found", even with the message suppressed.
  for (const char *fault : {"VDB_OpenTable:F0005", "VDB_FetchKeyed:F0005"}) {
    LPBHVRCOM broken = newContext({{"fail", fault}});
    EXPECT_EQ(ask(u"M", u'1', broken), ER_ERROR);
    EXPECT_EQ(errors(broken), (bsfntest::Strings{"078D F0005@0"})) << fault;
  }
  EXPECT_EQ(handlesLeft_, 0u);
}

TEST_F(EnvelopeTest, CategoryFallsBackToTheDefaultWhenGetUdcGivesNone) {
  const struct {
    const char16_t *description;  // of 01/SG/PIMSG; null: no row
    const char16_t *attribute, *trace;
  } cases[] = {
      {nullptr, u" category=\"Quorvantel\"", u"B90CA700_AddCategoryToXML FAILED: return from GetUDC: 2"},
      {u"  ", u" category=\"Quorvantel\"", u"B90CA700_AddCategoryToXML : return from GetUDC was blank or null"},
      {u"Sales & <Calls>", u" category=\"Sales &amp; &lt;Calls&gt;\"", u""},
  };
  for (const auto &c : cases) {
    if (c.description) udc(u"01", u"SG", u"PIMSG", c.description, u"");
    JCHAR buffer[128];
    const JCHAR *end = B90CA700_AddCategoryToXML(context_, vyr::userEnvironment(context_), buffer);
    EXPECT_EQ(std::u16string(buffer), c.attribute);
    EXPECT_EQ(end, buffer + vyrStrlen(buffer));
    EXPECT_EQ(lastTrace(), c.trace);
  }
  EXPECT_TRUE(context_->errors.empty()) << "a missing category is no error of the caller";
}

TEST_F(EnvelopeTest, CachesEndDataFirstAndStopAtTheFirstThatFails) {
  VYRCACHE_INDEX index{1, {{0, sizeof(ID), VYRCACHE_KEY_ID}}};
  const ID record = 1;
  // Opens both caches with a record each; returns the records the named one holds.
  const auto open = [&](HCACHE *cache, const char16_t *name) {
    vyrCacheInit(nullptr, cache, name, &index);
    vyrCacheAdd(*cache, &record, sizeof record);
    return vyrCacheGetNumRecords(*cache);
  };
  EXPECT_EQ(B90CA700_TerminateCache(&sync_), 1) << "a context without caches";
  open(&sync_.hDataCache, u"TEST_Data");
  open(&sync_.hStateCache, u"TEST_State");
  EXPECT_EQ(B90CA700_TerminateCache(&sync_), 1);
  EXPECT_TRUE(sync_.hDataCache == nullptr && sync_.hStateCache == nullptr);
  EXPECT_EQ(open(&sync_.hDataCache, u"TEST_Data") + open(&sync_.hStateCache, u"TEST_State"), 2) << "both ended";

  ASSERT_EQ(vyrCacheTerminateAll(nullptr, sync_.hDataCache), ID(VYRCACHE_SUCCESS));  // a stale data handle
  EXPECT_EQ(B90CA700_TerminateCache(&sync_), 0);
  EXPECT_EQ(vyrCacheGetNumRecords(sync_.hStateCache), 1) << "the state cache is left alone";
  sync_.hDataCache = nullptr;
  EXPECT_EQ(B90CA700_TerminateCache(&sync_), 1);
  EXPECT_EQ(B90CA700_TerminateCache(nullptr), 0);
}

}  // namespace
