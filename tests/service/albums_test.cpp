#include <set>

#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

class AlbumsTest : public ServiceTest {
 protected:
  Json::Value Albums() {
    const RunResult result = Run({"albums", folder(), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    return StrictJson(result.out);
  }
};

TEST_F(AlbumsTest, EveryAlbumComesWithItsCountsSortedByName) {
  MakeJpeg(File("a.jpg"), 8, 8);
  MakeJpeg(File("2024/b.jpg"), 8, 8);
  MakeJpeg(File("2024/c.jpg"), 8, 8);
  MakeJpeg(File("2024/deep/d.jpg"), 8, 8);
  Index();
  Query(
      "UPDATE photo_share SET title = 'The year', description = 'All', public = 't' WHERE sharename = "
      "'2024'");
  const Json::Value albums = Albums();
  ASSERT_EQ(albums.size(), 3U);
  EXPECT_EQ(albums[0]["name"].asString(), "/");
  EXPECT_EQ(albums[0]["id"].asInt(), 1);
  EXPECT_EQ(albums[0]["photos"].asInt(), 1);
  EXPECT_EQ(albums[1]["name"].asString(), "2024");
  EXPECT_EQ(albums[1]["title"].asString(), "The year");
  EXPECT_EQ(albums[1]["description"].asString(), "All");
  EXPECT_TRUE(albums[1]["public"].asBool());
  EXPECT_EQ(albums[1]["photos"].asInt(), 2);
  EXPECT_EQ(albums[1]["videos"].asInt(), 0);
  EXPECT_EQ(albums[2]["name"].asString(), "2024/deep");
  EXPECT_FALSE(albums[2]["public"].asBool());
}

TEST_F(AlbumsTest, VideosAreCountedBesidePhotos) {
  MakeJpeg(File("x/a.jpg"), 8, 8);
  Index();
  Query("INSERT INTO video (path, shareid) SELECT 'x/v.mp4', shareid FROM photo_share WHERE sharename = 'x'");
  const Json::Value albums = Albums();
  EXPECT_EQ(albums[1]["photos"].asInt(), 1);
  EXPECT_EQ(albums[1]["videos"].asInt(), 1);
}

TEST_F(AlbumsTest, TheTextForPeopleHasOneLineAnAlbum) {
  MakeJpeg(File("2024/b.jpg"), 8, 8);
  Index();
  EXPECT_EQ(Run({"albums", folder()}).out, "0\t0\tpublic\t/\n1\t0\tprivate\t2024\n");
}

TEST_F(AlbumsTest, AnyNameIsGivenAsItIs) {
  std::set<std::string> expected{"/"};
  for (const std::string& name : HostileNames()) {
    if (name.starts_with(".")) continue;
    MakeJpeg(File(name + "/a.jpg"), 8, 8);
    expected.insert(name);
  }
  Index();
  std::set<std::string> names;
  for (const Json::Value& album : Albums()) names.insert(album["name"].asString());
  EXPECT_EQ(names, expected);
}

TEST_F(AlbumsTest, ANameThatIsNotUtf8HasItsBytesBesides) {
  fs::create_directory(folder());
  Index();
  Query("INSERT INTO photo_share (sharename) VALUES (CAST(x'61ff' AS TEXT))");
  const Json::Value albums = Albums();
  EXPECT_EQ(albums[1]["name"].asString(), "a\xEF\xBF\xBD");
  EXPECT_EQ(albums[1]["name_base64"].asString(), "Yf8=");
}

TEST_F(AlbumsTest, AnEmptyLibraryHasTheRootAlbum) {
  fs::create_directory(folder());
  Index();
  const Json::Value albums = Albums();
  ASSERT_EQ(albums.size(), 1U);
  EXPECT_EQ(albums[0]["name"].asString(), "/");
}

// The commands that read one whole library refuse the same folders with the same words.
class WholeLibraryTest : public AlbumsTest, public testing::WithParamInterface<const char*> {
 protected:
  void ExpectRefused(const fs::path& path, const std::string& why) {
    const RunResult result = Run({GetParam(), path});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "lumivault: " + path.string() + ": " + why + "\n");
  }
};

TEST_P(WholeLibraryTest, AFolderThatLiesInNoLibraryIsRefused) {
  ExpectRefused(scratch(), "lies in no library; lumivault index makes one of a folder");
}

TEST_P(WholeLibraryTest, AFolderOfALibraryIsRefused) {
  MakeJpeg(File("sub/a.jpg"), 8, 8);
  Index();
  ExpectRefused(File("sub"), "lies in the library " + folder().string() + ", but is none");
}

TEST_P(WholeLibraryTest, ALibraryWithoutItsDatabaseIsRefused) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  ForgetLibrary();
  ExpectRefused(folder(), "the library has no database");
  EXPECT_FALSE(fs::exists(folder() / ".KAVOHGADB"));
}

TEST_P(WholeLibraryTest, ADatabaseThatIsNoneCannotBeRead) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  ForgetLibrary();
  WriteFile(folder() / ".KAVOHGADB", "this is not a database, but it is long enough to be looked at as one");
  const RunResult result = Run({GetParam(), folder()});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "lumivault: the database cannot be read: file is not a database\n");
}

TEST_P(WholeLibraryTest, ReadingChangesNothing) {
  MakeJpeg(File("a.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
  Index();
  const std::string before = ReadFile(folder() / ".KAVOHGADB");
  EXPECT_EQ(Run({GetParam(), folder()}).status, 0);
  EXPECT_EQ(ReadFile(folder() / ".KAVOHGADB"), before);
}

TEST_P(WholeLibraryTest, ACommandLineWithoutFolderIsWrong) {
  EXPECT_EQ(Run({GetParam()}).status, 2);
}

INSTANTIATE_TEST_SUITE_P(Commands, WholeLibraryTest, testing::Values("albums", "labels", "stats", "export"));

}  // namespace
