#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "photo_database/cursor.h"
#include "support/both_requests.h"

namespace {

// Which of the allocations that report by a null pointer fails, counted down from it; 0: none.
int g_failing_allocation = 0;

bool AllocationFails() {
  return g_failing_allocation > 0 && --g_failing_allocation == 0;
}

}  // namespace

// The throwing forms underneath keep the pairing with delete that sanitizers check.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return AllocationFails() ? nullptr : ::operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return AllocationFails() ? nullptr : ::operator new[](size);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CursorTest : public FakeLibraryTest {
 protected:
  void TearDown() override {
    g_failing_allocation = 0;
    FakeLibraryTest::TearDown();
  }
};

TEST_F(CursorTest, SharedSelectHasEveryClause) {
  Cursor cursor(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, "path, id", "id > 3", "id", "id desc", 5, 2));
  ASSERT_TRUE(cursor);
  EXPECT_THAT(fake().statements,
              ElementsAre("SELECT path, id FROM photo_image WHERE id > 3 GROUP BY id ORDER BY id desc"));
  EXPECT_EQ(fake().Count("KAVODBSelectLimit(" + fake().statements.front() + ", 2, 5)"), 1);
}

TEST_F(CursorTest, AbsentPartsLeaveTheirBlanks) {
  EXPECT_TRUE(Cursor(PhotoInfoDBOpen(PHOTO_TABLE_VIDEO, nullptr, nullptr, nullptr, nullptr, 0, 0)));
  EXPECT_TRUE(Cursor(PhotoInfoDBOpen(PHOTO_TABLE_VIDEO, nullptr, nullptr, "", "", 0, 0)));
  EXPECT_THAT(fake().statements, ElementsAre("SELECT * FROM video    ", "SELECT * FROM video    "));
}

TEST_F(CursorTest, EmptyConditionStillHasItsWhere) {
  EXPECT_TRUE(Cursor(PHOTO_TABLE_VIDEO, nullptr, "", nullptr, 0, 0));
  EXPECT_THAT(fake().statements, ElementsAre("SELECT * FROM video WHERE   "));
}

TEST_F(CursorTest, PersonalSelectAsksForLetterCaseAndKeepsItsConnection) {
  UsePersonal();
  {
    Cursor cursor(PHOTO_TABLE_SHARE, nullptr, "a like 'B'", nullptr, 0, 1);
    EXPECT_EQ(fake().open_connections, 1);
  }
  EXPECT_EQ(fake().open_connections, 0);
  EXPECT_THAT(fake().statements,
              ElementsAre("PRAGMA foreign_keys = ON;",
                          "PRAGMA case_sensitive_like=true; SELECT * FROM photo_share WHERE a like 'B'  "));
}

TEST_F(CursorTest, SharedConnectionOutlivesTheCursor) {
  { const Cursor cursor(PHOTO_TABLE_SHARE, nullptr, nullptr, nullptr, 0, 0); }
  EXPECT_EQ(fake().open_connections, 1);
}

TEST_F(CursorTest, OwnershipFollowsTheRequestOfTheOpening) {
  UsePersonal();
  auto personal_cursor = std::make_unique<Cursor>(PHOTO_TABLE_SHARE, nullptr, nullptr, nullptr, 0, 0);
  ASSERT_EQ(HGAStatusCheck("/shared/a.jpg"), 0);
  auto shared_cursor = std::make_unique<Cursor>(PHOTO_TABLE_SHARE, nullptr, nullptr, nullptr, 0, 0);
  personal_cursor.reset();
  EXPECT_EQ(fake().open_connections, 1);
  ASSERT_EQ(HGAStatusCheck(personal().c_str()), 0);
  shared_cursor.reset();
  EXPECT_EQ(fake().open_connections, 1);
}

TEST_F(CursorTest, CountsRowsAndNotesTheTable) {
  Answer({.match = "video_desc", .rows = {{{"path", "a"}}, {{"path", "b"}}}});
  const Cursor cursor(PHOTO_TABLE_VIDEO_DESC, nullptr, nullptr, nullptr, 0, 0);
  EXPECT_EQ(cursor.count(), 2);
  EXPECT_EQ(cursor.get()->type, PHOTO_TABLE_VIDEO_DESC);
  EXPECT_EQ(cursor.get()->row, nullptr);
}

TEST_F(CursorTest, StatementIsCutWhereTheBufferEnds) {
  const std::string columns(600, 'c');
  EXPECT_TRUE(Cursor(PHOTO_TABLE_VIDEO, columns.c_str(), "id = 1", nullptr, 0, 0));
  EXPECT_THAT(fake().statements, ElementsAre("SELECT " + std::string(6 + 512 - 1 - 7, 'c')));
}

TEST_F(CursorTest, LongConditionFits) {
  const std::string condition = "path = '" + std::string(4000, 'p') + "'";
  EXPECT_TRUE(Cursor(PHOTO_TABLE_IMAGE, nullptr, condition.c_str(), "id", 0, 0));
  EXPECT_THAT(fake().statements,
              ElementsAre("SELECT * FROM photo_image WHERE " + condition + "  ORDER BY id"));
}

TEST_F(CursorTest, HandlerThatCannotBeAllocated) {
  g_failing_allocation = 1;
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, "1=1", nullptr, nullptr, 0, 0), nullptr);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to malloc"));
  EXPECT_EQ(fake().Count("KAVODBConnect"), 0);
}

TEST_F(CursorTest, StatementThatCannotBeAllocated) {
  UsePersonal();
  g_failing_allocation = 2;
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, "1=1", nullptr, nullptr, 0, 0), nullptr);
  g_failing_allocation = 2;
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to malloc(515)",
                                      "photo_database.cpp (#) Failed to malloc(512)"));
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(CursorTest, OpenWithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database"));
}

TEST_F(CursorTest, FailedSelectClosesAPersonalConnection) {
  UsePersonal();
  Answer({.match = "photo_image", .result = -1});
  EXPECT_EQ(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp (#) Failed to exec [PRAGMA case_sensitive_like=true; "
                          "SELECT * FROM photo_image    ] (the error)"));
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(CursorTest, CloseOfNullIsHarmless) {
  PhotoInfoDBClose(nullptr);
  EXPECT_THAT(fake().calls, IsEmpty());
}

// --- Records.

class RecordTest : public FakeLibraryTest {
 protected:
  KAVO_MEDIA_INFO Read(const std::map<std::string, std::string>& row) {
    Answer({.match = "SELECT", .rows = {row}, .once = true});
    const Cursor cursor(PHOTO_TABLE_VIDEO, nullptr, nullptr, nullptr, 0, 0);
    KAVO_MEDIA_INFO record;
    std::memset(&record, 0xff, sizeof record);
    EXPECT_EQ(PhotoInfoDBGet(cursor.get(), &record), 0);
    return record;
  }

  static bool IsZero(const KAVO_MEDIA_INFO& record) {
    const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
    return bytes == std::string(sizeof record, '\0');
  }
};

TEST_F(RecordTest, TextColumns) {
  const auto record = Read({{"path", "/p/a.jpg"},
                            {"name", "a.jpg"},
                            {"description", "d"},
                            {"title", "t"},
                            {"album", "al"},
                            {"timetaken", "2024"},
                            {"video_codec", "h264"},
                            {"audio_codec", "aac"},
                            {"container_type", "mp4"},
                            {"date", "today"},
                            {"mdate", "then"}});
  EXPECT_STREQ(record.szPath, "/p/a.jpg");
  EXPECT_STREQ(record.szName, "a.jpg");
  EXPECT_STREQ(record.szDesc, "d");
  EXPECT_STREQ(record.szTitle, "t");
  EXPECT_STREQ(record.szAlbum, "al");
  EXPECT_STREQ(record.szTakenTime, "2024");
  EXPECT_STREQ(record.szVideoCodec, "h264");
  EXPECT_STREQ(record.szAudioCodec, "aac");
  EXPECT_STREQ(record.szContainerType, "mp4");
  EXPECT_STREQ(record.szDate, "today");
  EXPECT_STREQ(record.szMDate, "then");
}

TEST_F(RecordTest, NumberColumns) {
  const auto record = Read({{"id", "1"},
                            {"resolutionx", "2"},
                            {"resolutiony", "3"},
                            {"frame_rate_num", "4"},
                            {"frame_rate_den", "5"},
                            {"frame_bitrate", "4000000000"},
                            {"video_bitrate", "7"},
                            {"audio_bitrate", "8"},
                            {"video_profile", "9"},
                            {"video_level", "-10"},
                            {"frequency", "11"},
                            {"duration", "12.9"},
                            {"channel", "13"},
                            {"filesize", "5000000000"}});
  EXPECT_EQ(record.ID, 1U);
  EXPECT_EQ(record.resolutionX, 2);
  EXPECT_EQ(record.resolutionY, 3);
  EXPECT_EQ(record.frame_rate_num, 4);
  EXPECT_EQ(record.frame_rate_den, 5);
  EXPECT_EQ(record.frame_bitrate, 4'000'000'000U);
  EXPECT_EQ(record.video_bitrate, 7U);
  EXPECT_EQ(record.audio_bitrate, 8U);
  EXPECT_EQ(record.videoProfile, 9);
  EXPECT_EQ(record.videoLevel, -10);
  EXPECT_EQ(record.frequency, 11);
  EXPECT_EQ(record.duration, 12.0F);
  EXPECT_EQ(record.channel, 13);
  EXPECT_EQ(record.fileSize, 5'000'000'000U);
}

TEST_F(RecordTest, ColumnsAreAskedInTheirOrder) {
  Read({});
  std::vector<std::string> asked;
  for (const auto& call : fake().calls) {
    if (call.starts_with("KAVODBFetchField(")) asked.push_back(call.substr(17, call.size() - 18));
  }
  EXPECT_THAT(asked, ElementsAre("path", "name", "description", "title", "album", "id", "size", "resolutionX",
                                 "resolutionY", "create_time", "timetaken", "video_codec", "audio_codec",
                                 "container_type", "frame_rate_num", "frame_rate_den", "frame_bitrate",
                                 "video_bitrate", "audio_bitrate", "video_profile", "video_level",
                                 "frequency", "duration", "channel", "filesize", "date", "mdate"));
}

TEST_F(RecordTest, PhotoRowEndsWithoutSizeAndDate) {
  const auto record = Read({{"path", "/p/a.jpg"}, {"size", "77"}, {"create_time", "2024-01-01"}});
  EXPECT_EQ(record.fileSize, 0U);
  EXPECT_STREQ(record.szDate, "");
}

TEST_F(RecordTest, EmptyRowIsAZeroRecord) {
  EXPECT_TRUE(IsZero(Read({})));
}

TEST_F(RecordTest, LongTextsAreCutToTheirFields) {
  const std::string text(5000, 'x');
  std::map<std::string, std::string> row;
  for (const char* column : {"path", "name", "description", "title", "album", "create_time", "timetaken",
                             "video_codec", "audio_codec", "container_type", "date", "mdate"}) {
    row[column] = text;
  }
  const auto record = Read(row);
  EXPECT_EQ(std::strlen(record.szPath), 4095U);
  EXPECT_EQ(std::strlen(record.szName), 254U);
  EXPECT_EQ(std::strlen(record.szDesc), 4095U);
  EXPECT_EQ(std::strlen(record.szTitle), 254U);
  EXPECT_EQ(std::strlen(record.szAlbum), 254U);
  EXPECT_EQ(std::strlen(record.szTakenTime), 31U);
  EXPECT_EQ(std::strlen(record.szVideoCodec), 254U);
  EXPECT_EQ(std::strlen(record.szAudioCodec), 254U);
  EXPECT_EQ(std::strlen(record.szContainerType), 254U);
  EXPECT_EQ(std::strlen(record.szDate), 31U);
  EXPECT_EQ(std::strlen(record.szMDate), 31U);
  EXPECT_STREQ(record.szArtist, "");
  EXPECT_STREQ(record.szFsUUID, "");
  EXPECT_EQ(record.track, 0);
}

TEST_F(RecordTest, LongPersonalPathIsCut) {
  UsePersonal();
  const auto record = Read({{"path", std::string(5000, 'x')}});
  EXPECT_EQ(record.szPath, (personal() + "/" + std::string(5000, 'x')).substr(0, 4095));
  EXPECT_STREQ(record.szName, "");
}

TEST_F(RecordTest, PersonalPathIsAbsoluteAgain) {
  UsePersonal();
  EXPECT_EQ(Read({{"path", "trip/a.jpg"}}).szPath, personal() + "/trip/a.jpg");
  EXPECT_EQ(Read({}).szPath, personal() + "/");
}

TEST_F(RecordTest, EndOfRowsLeavesAZeroRecord) {
  const Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, 0, 0);
  ASSERT_EQ(cursor.count(), 0);
  KAVO_MEDIA_INFO record;
  std::memset(&record, 0xff, sizeof record);
  EXPECT_EQ(PhotoInfoDBGet(cursor.get(), &record), -1);
  EXPECT_TRUE(IsZero(record));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RecordTest, GetWithoutHandlerClearsTheRecord) {
  KAVO_MEDIA_INFO record;
  std::memset(&record, 0xff, sizeof record);
  EXPECT_EQ(PhotoInfoDBGet(nullptr, &record), -1);
  EXPECT_TRUE(IsZero(record));
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameter."));
}

TEST_F(RecordTest, GetWithoutRecordStaysAtItsRow) {
  Answer({.match = "SELECT", .rows = {{{"name", "one"}}}});
  const Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, 0, 0);
  EXPECT_EQ(PhotoInfoDBGet(cursor.get(), nullptr), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Bad parameter."));
  KAVO_MEDIA_INFO record;
  EXPECT_EQ(PhotoInfoDBGet(cursor.get(), &record), 0);
  EXPECT_STREQ(record.szName, "one");
}

TEST_F(RecordTest, RecoredReadsTheCurrentRowAgain) {
  Answer({.match = "SELECT", .rows = {{{"name", "one"}}, {{"name", "two"}}}});
  Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, 0, 0);
  ASSERT_TRUE(cursor.Next());
  KAVO_MEDIA_INFO record;
  std::memset(&record, 0xff, sizeof record);
  EXPECT_EQ(PhotoInfoDBGetRecored(cursor.get(), &record), 0);
  EXPECT_STREQ(record.szName, "one");
  EXPECT_EQ(record.iso, 0);
}

TEST_F(RecordTest, RecoredRefusesNull) {
  KAVO_MEDIA_INFO record;
  const Cursor cursor(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, 0, 0);
  EXPECT_EQ(PhotoInfoDBGetRecored(nullptr, &record), -1);
  EXPECT_EQ(PhotoInfoDBGetRecored(cursor.get(), nullptr), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp (#) Bad parameter.", "photo_database.cpp (#) Bad parameter."));
}

// --- One record by its path.

class LookupTest : public FakeLibraryTest {
 protected:
  KAVO_MEDIA_INFO record_{};
};

TEST_F(LookupTest, FindsASharedPath) {
  Answer({.match = "photo_image", .rows = {{{"path", "/p/a.jpg"}, {"title", "T"}}}});
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, "/p/a.jpg", &record_), 0);
  EXPECT_STREQ(record_.szTitle, "T");
  EXPECT_EQ(fake().Count("KAVODBSelectLimit(SELECT * FROM photo_image WHERE path like '/p/a.jpg'  , 0, 0)"),
            1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1, path like '@KAVO:LVAR')"), 1);
}

TEST_F(LookupTest, FindsAPersonalPathByItsKey) {
  UsePersonal();
  Answer({.match = "'trip/a.jpg'", .rows = {{{"path", "trip/a.jpg"}}}});
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, (personal() + "/trip/a.jpg").c_str(), &record_), 0);
  EXPECT_EQ(record_.szPath, personal() + "/trip/a.jpg");
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(0, path like '@KAVO:LVAR')"), 1);
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
}

TEST_F(LookupTest, SuffixFindsAnyPathThatEndsWithTheKey) {
  Answer({.match = "path like '%/a.jpg'", .rows = {{{"path", "/p/a.jpg"}}}});
  EXPECT_EQ(PhotoInfoDBGetOneEx(PHOTO_TABLE_IMAGE, "/a.jpg", &record_, 1), 0);
  EXPECT_STREQ(record_.szPath, "/p/a.jpg");
}

TEST_F(LookupTest, NoRow) {
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, "/p/a.jpg", &record_), -1);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(LookupTest, WithoutARecordTheRequestStaysWhatItWas) {
  UsePersonal();
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, "/p/a.jpg", nullptr), -1);
  EXPECT_EQ(HGAStatusIsHGARequest(), 1);
}

TEST_F(LookupTest, BadArguments) {
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, nullptr, &record_), -1);
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, "/p", nullptr), -1);
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, "user:", &record_), -1);
  EXPECT_EQ(fake().Count("KAVODB"), 0);
  EXPECT_THAT(Messages(), IsEmpty());
}

using LookupFailureTest = OnBothRequests<LookupTest>;

TEST_P(LookupFailureTest, ConditionThatCannotBeBuiltTellsThePlatformError) {
  fake().failing = {"KAVODBEscapeStringEX3"};
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path("a.jpg").c_str(), &record_), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp (#) Failed to RLIBCStrGetEx()[0x2A00 platform.c:7]"));
}

TEST_P(LookupFailureTest, RefusedQuery) {
  Answer({.match = "SELECT", .result = -1});
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path("a.jpg").c_str(), &record_), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to exec [" + LikePragma() +
                                          "SELECT * FROM photo_image WHERE path like '" + Key("a.jpg") +
                                          "'  ] (the error)",
                                      "photo_database.cpp (#) Bad parameter."));
}

TEST_P(LookupFailureTest, RowThatCannotBeFetched) {
  Answer({.match = "SELECT", .rows = {{{"title", "T"}}}, .fetch_fails = true});
  EXPECT_EQ(PhotoInfoDBGetOne(PHOTO_TABLE_IMAGE, Path("a.jpg").c_str(), &record_), -1);
  EXPECT_STREQ(record_.szTitle, "");
}

INSTANTIATE_TEST_SUITE_P(Requests, LookupFailureTest, BothRequests(), RequestName);

// --- Counts.

class CountTest : public FakeLibraryTest {
 protected:
  void TearDown() override {
    g_failing_allocation = 0;
    FakeLibraryTest::TearDown();
  }
};

TEST_F(CountTest, CountsEveryRowOfARawCondition) {
  Answer({.match = "photo_share", .rows = {{}, {}, {}}});
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_SHARE, "*", "sharename='it's'", "shareid"), 3);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, sharename='it's')"), 1);
  EXPECT_EQ(
      fake().Count(
          "KAVODBSelectLimit(SELECT * FROM photo_share WHERE sharename='it's' GROUP BY shareid , -1, -1)"),
      1);
}

TEST_F(CountTest, CountsAllWithoutCondition) {
  Answer({.match = "video", .rows = {{}}});
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "path", nullptr, nullptr), 1);
  EXPECT_THAT(fake().statements, ElementsAre("SELECT path FROM video    "));
  EXPECT_EQ(fake().Count("EscapeConditionEX2"), 0);
}

TEST_F(CountTest, PersonalCountClosesItsConnection) {
  UsePersonal();
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", "a='b'", ""), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(0, a='b')"), 1);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(CountTest, EmptyConditionIsAConditionAllTheSame) {
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", "", ""), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, )"), 1);
  EXPECT_THAT(fake().statements, ElementsAre("SELECT * FROM video WHERE   "));
}

using CountFailureTest = OnBothRequests<CountTest>;

TEST_P(CountFailureTest, RefusedConditionIsSilent) {
  fake().failing = {"EscapeConditionEX2"};
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", "a='b'", ""), -1);
  EXPECT_THAT(fake().statements, IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_P(CountFailureTest, ConditionThatCannotBeAllocatedIsSilent) {
  g_failing_allocation = 1;
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", "a='b'", ""), -1);
  EXPECT_THAT(fake().calls, IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_P(CountFailureTest, WithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(PhotoInfoDBGetCount(PHOTO_TABLE_VIDEO, "*", nullptr, ""), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database"));
}

INSTANTIATE_TEST_SUITE_P(Requests, CountFailureTest, BothRequests(), RequestName);

}  // namespace
