#include <cstring>
#include <filesystem>

#include "base/text.h"
#include "support/both_requests.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VideoConvertTest : public FakeLibraryTest {
 protected:
  void SetUp() override {
    FakeLibraryTest::SetUp();
    WriteFile(Copy(), "12345");
    SetPath(shared() + "/v.avi");
    info_.resolutionX = 1;
    info_.resolutionY = 2;
    info_.frame_bitrate = 3;
    info_.video_bitrate = 99;
    info_.videoProfile = 4;
    info_.videoLevel = 5;
    info_.audio_bitrate = 6;
    info_.frequency = 7;
    info_.channel = 8;
    CopyText(info_.szVideoCodec, sizeof info_.szVideoCodec, "h264");
    CopyText(info_.szContainerType, sizeof info_.szContainerType, "mp4");
    CopyText(info_.szAudioCodec, sizeof info_.szAudioCodec, "aac");
  }

  void SetPath(const std::string& path) { CopyText(info_.szPath, sizeof info_.szPath, path); }
  std::string Copy() const { return shared() + "/v.mp4"; }
  int Save(const std::string& copy) { return PhotoInfoVideoConvertDBSave(&info_, copy.c_str(), "mobile"); }
  void IndexVideo() { Answer({.match = "FROM video WHERE", .rows = {{}}}); }

  KAVO_MEDIA_INFO info_{};
};

TEST_F(VideoConvertTest, NewCopyIsInserted) {
  IndexVideo();
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_THAT(
      Sent("INSERT"),
      ElementsAre(
          "INSERT INTO video_convert(video_path, convert_file_path, filesize, resolutionx, resolutiony, "
          "video_bitrate, vcodec, video_profile, video_level, container_type, acodec, audio_bitrate, "
          "audio_frequency, audio_channel, convert_type, updated) VALUES('" +
          shared() + "/v.avi', '" + Copy() +
          "', 5, 1, 2, 3, 'h264', 4, 5, 'mp4', 'aac', 6, 7, 8, 'mobile', '1')"));
  EXPECT_EQ(Sent("FROM video WHERE").front(), "SELECT * FROM video WHERE path = '" + shared() + "/v.avi'  ");
  EXPECT_EQ(fake().Count("KAVODBSelectLimit(SELECT * FROM video_convert WHERE video_path = '" + shared() +
                         "/v.avi' AND convert_file_path = '" + Copy() + "'  , 0, 0)"),
            1);
}

TEST_F(VideoConvertTest, KnownCopyIsUpdated) {
  IndexVideo();
  Answer({.match = "FROM video_convert", .rows = {{}}});
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_THAT(Sent("INSERT"), IsEmpty());
  EXPECT_THAT(
      Sent("UPDATE"),
      ElementsAre(
          "UPDATE video_convert SET filesize = 5, resolutionx = 1, resolutiony = 2, video_bitrate = 3, "
          "vcodec = 'h264', video_profile =  4, video_level = 5, container_type = 'mp4', acodec = "
          "'aac', audio_bitrate = 6, audio_frequency = 7, audio_channel = 8, convert_type = 'mobile', "
          "updated = '1' WHERE video_path = '" +
          shared() + "/v.avi' AND convert_file_path = '" + Copy() + "'"));
}

TEST_F(VideoConvertTest, BitRatesBeyondAnIntAreStoredWithTheSignOfTheirBits) {
  IndexVideo();
  info_.frame_bitrate = 4'000'000'000U;
  info_.audio_bitrate = 4'294'967'295U;
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_THAT(Sent("INSERT").front(),
              testing::HasSubstr(", 1, 2, -294967296, 'h264', 4, 5, 'mp4', 'aac', -1, 7, 8,"));
}

TEST_F(VideoConvertTest, LongestVideoPathIsCountedWhole) {
  const std::string path = "/" + std::string(4094, 'v');
  SetPath(path);
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1, path = '" + path + "')"), 1);
}

TEST_F(VideoConvertTest, NullTypeIsAnEmptyText) {
  IndexVideo();
  EXPECT_EQ(PhotoInfoVideoConvertDBSave(&info_, Copy().c_str(), nullptr), 0);
  EXPECT_THAT(Sent("INSERT").front(), testing::EndsWith(", '', '1')"));
}

TEST_F(VideoConvertTest, PersonalKeysAreRelative) {
  UsePersonal();
  WriteFile(personal() + "/a/v.mp4", "1234567");
  SetPath(personal() + "/a/v.avi");
  IndexVideo();
  EXPECT_EQ(Save(personal() + "/a/v.mp4"), 0);
  EXPECT_THAT(Sent("INSERT").front(), testing::HasSubstr("VALUES('a/v.avi', 'a/v.mp4', 7, "));
  EXPECT_EQ(fake().Count("KAVODBEscapeStringEX3(1,"), 0);
  EXPECT_EQ(fake().Count("EscapeConditionEX2(1,"), 0);
  EXPECT_EQ(fake().open_connections, 0);
}

TEST_F(VideoConvertTest, TextsOfTheRecordAreTrimmed) {
  for (char* text :
       {info_.szTitle, info_.szAlbum, info_.szMake, info_.szModel, info_.szExposure, info_.szAperture}) {
    std::strcpy(text, " x \n");
  }
  EXPECT_EQ(Save(Copy()), 0);
  for (const char* text :
       {info_.szTitle, info_.szAlbum, info_.szMake, info_.szModel, info_.szExposure, info_.szAperture}) {
    EXPECT_STREQ(text, "x");
  }
  EXPECT_EQ(fake().Count("StringTrim("), 6);
}

TEST_F(VideoConvertTest, CopyOfAVideoThatIsNotIndexedIsSkipped) {
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_THAT(Sent("video_convert"), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(VideoConvertTest, CopyThatDoesNotExistIsSkipped) {
  IndexVideo();
  EXPECT_EQ(Save(shared() + "/absent.mp4"), 0);
  EXPECT_EQ(PhotoInfoVideoConvertDBSave(&info_, nullptr, "mobile"), 0);
  EXPECT_THAT(fake().statements, IsEmpty());
}

TEST_F(VideoConvertTest, NullRecord) {
  EXPECT_EQ(PhotoInfoVideoConvertDBSave(nullptr, Copy().c_str(), "mobile"), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter"));
}

class VideoConvertFailureTest : public OnBothRequests<VideoConvertTest> {
 protected:
  void SetUp() override {
    OnBothRequests::SetUp();
    WriteFile(Copy(), "12345");
    SetPath(Path("v.avi"));
  }
  std::string Copy() const { return Path("v.mp4"); }
};

TEST_P(VideoConvertFailureTest, VideoThatCannotBeCountedIsTakenForOneThatIsNotIndexed) {
  IndexVideo();
  fake().failing = {"EscapeConditionEX2"};
  EXPECT_EQ(Save(Copy()), 0);
  EXPECT_THAT(Sent("video"), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_P(VideoConvertFailureTest, TextsAreTrimmedBeforeTheConnectionFails) {
  CopyText(info_.szTitle, sizeof info_.szTitle, " x ");
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_STREQ(info_.szTitle, "x");
}

TEST_P(VideoConvertFailureTest, WithoutConnection) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to connect to database"));
}

TEST_P(VideoConvertFailureTest, KeysThatAreNotText) {
  EXPECT_EQ(Save(Path("v\xff.mp4")), -1);
  SetPath(Path("v\xff.avi"));
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_THAT(Messages(),
              ElementsAre("photo_database.cpp:# Invalid path: " + Key("v.avi") + ", " + Key("v\xff.mp4"),
                          "photo_database.cpp:# Invalid path: " + Key("v\xff.avi") + ", " + Key("v.mp4")));
}

TEST_P(VideoConvertFailureTest, ConditionThatCannotBeBuilt) {
  IndexVideo();
  fake().failing_at["KAVODBEscapeStringEX3"] = 1;
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to KAVODBEscapeStringEX3 path: " +
                                      Key("v.avi") + ", convert_path: " + Key("v.mp4")));
}

TEST_P(VideoConvertFailureTest, RefusedQuery) {
  IndexVideo();
  Answer({.match = "FROM video_convert", .result = -1});
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_EQ(Messages().back(), "photo_database.cpp:# Error occurred, failed to get records.");
  EXPECT_EQ(fake().open_connections, IsPersonal() ? 0 : 1);
}

TEST_P(VideoConvertFailureTest, StatementThatCannotBeBuilt) {
  IndexVideo();
  fake().failing_at["KAVODBEscapeStringEX3"] = 2;
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to KAVODBEscapeStringEX3"));
}

TEST_P(VideoConvertFailureTest, RefusedInsert) {
  IndexVideo();
  Answer({.match = "INSERT", .result = -1});
  EXPECT_EQ(Save(Copy()), -1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Failed to exec [" + Sent("INSERT").front() +
                                      "] (the error)"));
}

INSTANTIATE_TEST_SUITE_P(Requests, VideoConvertFailureTest, BothRequests(), RequestName);

// --- Albums that convert.

class ConversionRuleTest : public FakeLibraryTest {
 protected:
  void SetAlbum(const std::string& name, const std::map<std::string, std::string>& row) {
    Answer({.match = "sharename = '" + name + "'", .rows = {row}});
  }
  int Asks(const std::string& relative) const { return IsPathNeedConversion((shared() + relative).c_str()); }
};

TEST_F(ConversionRuleTest, OnlyFDisables) {
  SetAlbum("off", {{"conversion", "f"}});
  SetAlbum("on", {{"conversion", "t"}});
  SetAlbum("empty", {{"conversion", ""}});
  SetAlbum("null", {});
  SetAlbum("word", {{"conversion", "false"}});
  EXPECT_EQ(Asks("/off/v.avi"), 0);
  EXPECT_EQ(Asks("/on/v.avi"), 1);
  EXPECT_EQ(Asks("/empty/v.avi"), 1);
  EXPECT_EQ(Asks("/null/v.avi"), 1);
  EXPECT_EQ(Asks("/word/v.avi"), 1);
  EXPECT_EQ(Asks("/unknown/v.avi"), 1);
}

TEST_F(ConversionRuleTest, TopLevelAlbumDecidesForItsSubAlbums) {
  SetAlbum("off", {{"conversion", "f"}});
  SetAlbum("off/day", {{"conversion", "t"}});
  EXPECT_EQ(Asks("/off/day/deep/v.avi"), 0);
  EXPECT_THAT(Sent("sharename"), ElementsAre("SELECT * FROM photo_share WHERE sharename = 'off'  "));
}

TEST_F(ConversionRuleTest, FolderIsItsOwnAlbum) {
  SetAlbum("off", {{"conversion", "f"}});
  std::filesystem::create_directories(shared() + "/off");
  EXPECT_EQ(Asks("/off"), 0);
  // A file of that name would lie in the root album.
  EXPECT_EQ(Asks("/off.avi"), 1);
  EXPECT_THAT(Sent("sharename = '/'"), testing::SizeIs(1));
}

TEST_F(ConversionRuleTest, RootAlbum) {
  SetAlbum("/", {{"conversion", "f"}});
  EXPECT_EQ(Asks(""), 0);
  EXPECT_EQ(Asks("/v.avi"), 0);
}

using ConversionRuleFailureTest = OnBothRequests<ConversionRuleTest>;

TEST_P(ConversionRuleFailureTest, AlbumThatCannotBeReadConverts) {
  fake().failing = {"KAVODBConnect"};
  EXPECT_EQ(IsPathNeedConversion(Path("a/v.avi").c_str()), 1);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp (#) Failed to connect to database",
                                      "photo_database.cpp (#) Error occurred, failed to get records."));
}

TEST_P(ConversionRuleFailureTest, ConditionThatCannotBeBuiltConverts) {
  fake().failing = {"KAVODBEscapeStringEX3"};
  EXPECT_EQ(IsPathNeedConversion(Path("a/v.avi").c_str()), 1);
}

INSTANTIATE_TEST_SUITE_P(Requests, ConversionRuleFailureTest, BothRequests(), RequestName);

TEST_F(ConversionRuleTest, NullPath) {
  EXPECT_EQ(IsPathNeedConversion(nullptr), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter."));
}

TEST_F(ConversionRuleTest, PathWithoutAFolder) {
  EXPECT_EQ(IsPathNeedConversion("no-such-file.avi"), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Fail to get parrent path."));
  EXPECT_EQ(fake().Count("KAVODB"), 0);
}

TEST_F(ConversionRuleTest, PathThatIsNoAlbum) {
  const std::string path = shared() + "sibling/v.avi";
  EXPECT_EQ(IsPathNeedConversion(path.c_str()), 0);
  EXPECT_THAT(
      Messages(),
      ElementsAre("photo_database.cpp:# Failed to PhotoUtilShareNameGet, path: " + shared() + "sibling."));
}

// --- Formats that are left out.

class ExcludeFormatTest : public FakeLibraryTest {
 protected:
  void Exclude(const std::string& formats) {
    Answer({.match = "excluding_index_format", .rows = {{{"config_value", formats}}}});
  }
  void TearDown() override {
    EXPECT_EQ(fake().Count("RLIBCSzListAlloc"), fake().Count("RLIBCSzListFree"));
    FakeLibraryTest::TearDown();
  }
};

TEST_F(ExcludeFormatTest, ListedExtensionInAnyLetterCase) {
  Exclude("TIF,bmp");
  EXPECT_EQ(IsExcludeFormat("/p/a.tif"), 1);
  EXPECT_EQ(IsExcludeFormat("a.BMP"), 1);
  EXPECT_EQ(IsExcludeFormat("a.jpg"), 0);
  EXPECT_EQ(IsExcludeFormat("a.tif.jpg"), 0);
  EXPECT_EQ(IsExcludeFormat("a.ti"), 0);
}

TEST_F(ExcludeFormatTest, NamesWithoutExtension) {
  Exclude("tif");
  EXPECT_EQ(IsExcludeFormat("tif"), 0);
  EXPECT_EQ(IsExcludeFormat("a."), 0);
  EXPECT_EQ(IsExcludeFormat(""), 0);
}

TEST_F(ExcludeFormatTest, NothingIsExcludedByDefault) {
  EXPECT_EQ(IsExcludeFormat("a.tif"), 0);
}

using ExcludeFormatFailureTest = OnBothRequests<ExcludeFormatTest>;

TEST_P(ExcludeFormatFailureTest, ListThatCannotBeReadExcludesNothing) {
  Exclude("tif");
  fake().failing = {"KAVODBSelectLimit"};
  EXPECT_EQ(IsExcludeFormat("a.tif"), 0);
}

INSTANTIATE_TEST_SUITE_P(Requests, ExcludeFormatFailureTest, BothRequests(), RequestName);

TEST_F(ExcludeFormatTest, NullName) {
  EXPECT_EQ(IsExcludeFormat(nullptr), 0);
  EXPECT_THAT(Messages(), ElementsAre("photo_database.cpp:# Bad parameter."));
}

TEST(ExcludeFormatWithoutMemory, ExcludesNothing) {
  FakePlatform::Reset();
  FakePlatform::Get().failing = {"RLIBCSzListAlloc"};
  EXPECT_EQ(IsExcludeFormat("a.tif"), 0);
  EXPECT_EQ(FakePlatform::Get().Count("RLIBCSzListFree"), 0);
  EXPECT_THAT(SyslogCapture::Messages(), ElementsAre("photo_database.cpp:# RLIBCSzListAlloc failed"));
}

}  // namespace
