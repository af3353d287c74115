// Setting up, indexing, reading and examining a shared tree.
#include "support/shared_tree_test.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "support/media_maker.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class InitTest : public SharedTreeTest {
 protected:
  fs::path Link() const { return state() / "var/services/photo"; }
  RunResult Init(const fs::path& tree) { return Run({"init", "--shared", tree}); }
};

TEST_F(InitTest, MakesTheLinkTheMarkerTheSettingsAndTheDatabase) {
  EXPECT_EQ(fs::read_symlink(Link()), folder());
  EXPECT_TRUE(fs::exists(state() / "var/packages/Lumivault/enabled"));
  EXPECT_THAT(ReadFile(state() / "var/packages/Lumivault/etc/settings.conf"),
              HasSubstr("file_modes=\"keep\""));
  EXPECT_EQ(Value("SELECT sharename FROM photo_share"), "/");
  EXPECT_EQ(Value("SELECT config_value FROM photo_config WHERE config_key = 'ms_people_tag_merged'"), "on");
}

TEST_F(InitTest, MakesADatabaseThatIsNotThere) {
  ASSERT_EQ(std::system("dropdb --force -U postgres photo"), 0);
  const RunResult result = Init(folder());
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, folder().string() + ": shared tree, database photo\n");
  EXPECT_EQ(Value("SELECT pg_encoding_to_char(encoding) || ' ' || datcollate AS v FROM pg_database WHERE "
                  "datname = 'photo'"),
            "UTF8 C");
}

TEST_F(InitTest, TwiceChangesNothing) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  const std::string before = Export();
  EXPECT_EQ(Init(folder()).status, 0);
  EXPECT_EQ(Export(), before);
  EXPECT_EQ(Index()["unchanged"].asInt(), 1);
}

TEST_F(InitTest, AddsTablesAndColumnsThatCameLater) {
  Query(
      "DROP TABLE photo_image_label; ALTER TABLE video DROP COLUMN lng; ALTER TABLE photo_share DROP COLUMN "
      "password");
  EXPECT_EQ(Init(folder()).status, 0);
  EXPECT_EQ(Run({"doctor", "--shared"}).out, "all is well\nmemory of a worker: 512 MiB at most\n");
  EXPECT_EQ(
      Value("SELECT data_type FROM information_schema.columns WHERE table_name = 'video' AND column_name "
            "= 'lng'"),
      "double precision");
  EXPECT_EQ(Value("SELECT password FROM photo_share"), "");
}

TEST_F(InitTest, AnotherFolderIsRefused) {
  fs::create_directories(scratch() / "other");
  const RunResult result = Init(scratch() / "other");
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + Link().string() + ": leads to " + folder().string() +
                            "; to choose another folder, remove this link first\n");
  EXPECT_EQ(fs::read_symlink(Link()), folder());
}

TEST_F(InitTest, EachThingThatFailsHasItsLine) {
  fs::create_directories(scratch() / "other");
  Environment("PGHOST", "/nowhere");
  const RunResult result = Init(scratch() / "other");
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err,
              testing::StartsWith("lumivault: " + Link().string() + ": leads to " + folder().string() +
                                  "; to choose another folder, remove this link first\n"
                                  "lumivault: the PostgreSQL server: "));
}

TEST_F(InitTest, AServerThatIsAwayEndsItWithStatusFive) {
  Environment("PGHOST", "/nowhere");
  EXPECT_EQ(Init(folder()).status, 5);
}

TEST_F(InitTest, PrintsOneJsonObject) {
  const Json::Value made = StrictJson(Run({"init", "--shared", folder(), "--json"}).out);
  EXPECT_EQ(made["schema_version"].asInt(), 1);
  EXPECT_EQ(made["library"].asString(), folder().string());
  EXPECT_EQ(made["database"].asString(), "photo");
  fs::create_directories(scratch() / "other");
  Environment("PGHOST", "/nowhere");
  const RunResult result = Run({"init", "--shared", scratch() / "other", "--json"});
  EXPECT_EQ(result.status, 4);
  const Json::Value failed = StrictJson(result.out);
  EXPECT_EQ(failed["status"].asInt(), 4);
  EXPECT_THAT(failed["error"].asString(), HasSubstr("leads to " + folder().string()));
  ASSERT_EQ(failed["also"].size(), 1U);
  EXPECT_EQ(failed["also"][0]["status"].asInt(), 5);
  EXPECT_THAT(failed["also"][0]["error"].asString(), HasSubstr("the PostgreSQL server: "));
}

TEST_F(InitTest, ADatabaseThatCannotBeEnteredTellsWhy) {
  const auto allow = [](const std::string& value) {
    return std::system(
        ("psql -q -U postgres -c 'ALTER DATABASE photo ALLOW_CONNECTIONS " + value + "' postgres").c_str());
  };
  ASSERT_EQ(allow("false"), 0);
  const RunResult result = Init(folder());
  const RunResult doctor = Run({"doctor", "--shared"});
  ASSERT_EQ(allow("true"), 0);
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err, HasSubstr("database \"photo\" is not currently accepting connections\n"));
  EXPECT_THAT(doctor.out, HasSubstr("\n  let the user postgres connect to it\n"));
}

// What a personal run leaves where the link belongs.
class InitAfterPersonalRunTest : public InitTest {
 protected:
  void SetUp() override {
    InitTest::SetUp();
    fs::remove(Link());
    MakeJpeg(scratch() / "own/a.jpg", 8, 8);
    ASSERT_EQ(Run({"index", scratch() / "own"}).status, 0);
    ASSERT_TRUE(fs::is_directory(fs::symlink_status(Link() / "@eaDir")));
  }
};

TEST_F(InitAfterPersonalRunTest, TakesTheFolderOver) {
  const RunResult result = Init(folder());
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(fs::read_symlink(Link()), folder());
  MakeJpeg(File("b.jpg"), 8, 8);
  EXPECT_EQ(Index()["added"].asInt(), 1);
  EXPECT_EQ(Count(), "1");
}

TEST_F(InitAfterPersonalRunTest, LeavesAFolderWithAnythingElseInIt) {
  MakeJpeg(Link() / "a.jpg", 8, 8);
  const RunResult result = Init(folder());
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "lumivault: " + Link().string() +
                            ": is a folder with something in it; to have the link in its place, move that "
                            "elsewhere first\n");
  EXPECT_TRUE(fs::exists(Link() / "a.jpg"));
  EXPECT_TRUE(fs::exists(Link() / "@eaDir"));
}

// Face recognition is still to do them.
TEST_F(InitAfterPersonalRunTest, LeavesJobsThatFaceRecognitionTakes) {
  const fs::path queue = Link() / "@eaDir/kavophoto_face.queue";
  WriteFile(state() / "var/packages/Lumivault/etc/settings.conf", "runfacerecognition=yes\n");
  WriteFile(queue, "f:a.jpg\n");
  const RunResult result = Init(folder());
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err,
            "lumivault: " + Link().string() +
                ": background jobs wait in it, which face recognition is to take; let it take them "
                "first, or delete the folder with them\n");
  EXPECT_EQ(ReadFile(queue), "f:a.jpg\n");
  WriteFile(queue, "");
  EXPECT_EQ(Init(folder()).status, 0);
  EXPECT_TRUE(fs::is_symlink(Link()));
}

TEST_F(InitAfterPersonalRunTest, TheFolderIsNoTree) {
  MakeJpeg(Link() / "a.jpg", 8, 8);
  constexpr const char* kNoTree =
      "lumivault: there is no shared tree; make one with: lumivault init --shared FOLDER\n";
  for (const char* command : {"index", "reindex", "doctor", "ls"}) {
    const RunResult result = Run({command, "--shared"});
    EXPECT_EQ(result.status, 4) << command;
    EXPECT_EQ(result.err, kNoTree) << command;
  }
  EXPECT_EQ(Count(), "0");
}

TEST_F(InitTest, AFolderThatIsNotThereIsRefused) {
  const RunResult result = Init(scratch() / "missing");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "lumivault: " + (scratch() / "missing").string() + ": No such file or directory\n");
}

TEST_F(InitTest, AFolderAroundALibraryIsRefused) {
  fs::create_directories(scratch() / "own/photos");
  MakeJpeg(scratch() / "own/photos/a.jpg", 8, 8);
  fs::remove(Link());
  ASSERT_EQ(Run({"index", scratch() / "own/photos", "--quiet"}).status, 0);
  const RunResult around = Init(scratch() / "own");
  EXPECT_EQ(around.status, 2);
  EXPECT_EQ(around.err, "lumivault: " + (scratch() / "own").string() + ": lies in or around the library " +
                            (scratch() / "own/photos").string() +
                            "; to give that one up, delete its .KAVOHGADB\n");
}

TEST_F(InitTest, PersonalLibrariesKeepOutOfTheTree) {
  fs::create_directories(File("album"));
  const RunResult itself = Run({"index", folder()});
  EXPECT_EQ(itself.status, 2);
  EXPECT_EQ(itself.err, "lumivault: " + folder().string() + ": is the shared tree; name it with --shared\n");
  const RunResult inside = Run({"index", File("album")});
  EXPECT_EQ(inside.status, 2);
  EXPECT_EQ(inside.err, "lumivault: " + File("album").string() + ": lies in or around the shared tree " +
                            folder().string() + "\n");
}

class SharedCommandsTest : public SharedTreeTest {
 protected:
  void SetUp() override {
    SharedTreeTest::SetUp();
    if (IsSkipped()) return;
    MakeJpeg(File("root.jpg"), 8, 8);
    MakeJpeg(File("2024/trip/it's 100%.jpg"), 9, 8, {{"Iptc.Application2.Keywords", "sea"}});
  }
};

TEST_F(SharedCommandsTest, IndexSendsWhatIsNewMovedAndGone) {
  const Json::Value first = Index();
  EXPECT_EQ(first["added"].asInt(), 2);
  EXPECT_EQ(first["database"].asString(), "photo");
  NamePerson("root.jpg", "Ann");
  const std::string id = IdOf("root.jpg");
  EXPECT_EQ(Index()["unchanged"].asInt(), 2);
  fs::rename(File("root.jpg"), File("2024/moved.jpg"));
  fs::remove(File("2024/trip/it's 100%.jpg"));
  EXPECT_THAT(
      Run({"index", "--shared", "--dry-run"}).out,
      HasSubstr("move photo " + File("root.jpg").string() + " -> " + File("2024/moved.jpg").string()));
  const Json::Value second = Index();
  EXPECT_EQ(second["moved"].asInt(), 1);
  EXPECT_EQ(second["deleted"].asInt(), 1);
  EXPECT_EQ(IdOf("2024/moved.jpg"), id);
  EXPECT_EQ(PersonOn("2024/moved.jpg"), "Ann");
  EXPECT_EQ(Count(), "1");
}

TEST_F(SharedCommandsTest, ReindexSweepsWhatIsGone) {
  Index();
  fs::remove(File("root.jpg"));
  const RunResult result = Run({"reindex", "--shared", folder(), "--json", "--quiet"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(StrictJson(result.out)["deleted"].asInt(), 1);
  EXPECT_EQ(Count(), "1");
  EXPECT_NE(Value("SELECT count(*) FROM pg_stats WHERE tablename = 'photo_image'"), "0")
      << "the vacuum of the sweep was left out";
}

TEST_F(SharedCommandsTest, TheLossBrakeHolds) {
  Index();
  fs::rename(folder(), scratch() / "away");
  fs::create_directories(folder());
  EXPECT_EQ(Run({"index", "--shared", "--quiet"}).status, 7);
  EXPECT_EQ(Count(), "2");
}

TEST_F(SharedCommandsTest, ACatalogueThatWasLostIsMadeFromTheRows) {
  Index();
  fs::remove_all(state() / "libraries/shared");
  fs::remove(File("root.jpg"));
  const Json::Value report = Index();
  EXPECT_EQ(report["deleted"].asInt(), 1);
  EXPECT_EQ(Count(), "1");
}

TEST_F(SharedCommandsTest, ADatabaseMadeAnewGetsEverythingAgain) {
  Index();
  ForgetLibrary();
  EXPECT_EQ(Index()["added"].asInt(), 2);
}

TEST_F(SharedCommandsTest, ReadingCommandsShowWhatIsThere) {
  Index();
  const std::string file = File("2024/trip/it's 100%.jpg").string();
  const Json::Value shown = StrictJson(Run({"show", file, "--json"}).out);
  EXPECT_EQ(shown["row"]["path"].asString(), file);
  EXPECT_EQ(shown["album"]["name"].asString(), "2024/trip");
  EXPECT_EQ(shown["labels"][0]["name"].asString(), "sea");
  EXPECT_EQ(shown["library"].asString(), folder().string());
  EXPECT_THAT(Run({"ls", "--shared"}).out, HasSubstr("\troot.jpg\n"));
  EXPECT_THAT(Run({"ls", "--shared"}).out, HasSubstr("album\t\t\t\t2024\n"));
  EXPECT_THAT(Run({"ls", File("2024/trip")}).out, HasSubstr("9x8\tit's 100%.jpg\n"));
  EXPECT_THAT(Run({"ls", folder()}).out, Run({"ls", "--shared"}).out);
  EXPECT_EQ(Run({"albums", "--shared"}).out,
            "1\t0\tpublic\t/\n0\t0\tprivate\t2024\n1\t0\tprivate\t2024/trip\n");
  EXPECT_EQ(Run({"labels", "--shared"}).out, "keyword\t1\t0\tsea\n");
  EXPECT_EQ(StrictJson(Run({"stats", "--shared", "--json"}).out)["photos"]["count"].asInt(), 2);
  EXPECT_THAT(Export(), HasSubstr("\"path\":\"" + folder().string() + "/root.jpg\""));
}

TEST_F(SharedCommandsTest, ExportIsSortedHoweverLongItIs) {
  Query("INSERT INTO photo_image (path) SELECT '/x/' || md5(i::text) FROM generate_series(1, 4500) i");
  std::istringstream lines(Export());
  std::vector<std::string> paths;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("\"table\":\"photo_image\"") != std::string::npos)
      paths.push_back(StrictJson(line + "\n")["path"].asString());
  }
  EXPECT_EQ(paths.size(), 4500U);
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
}

TEST_F(SharedCommandsTest, NothingIsSaidTwiceAboutAMissingTree) {
  fs::remove(state() / "var/services/photo");
  for (const char* command : {"index", "reindex", "albums", "labels", "stats", "export", "ls", "doctor"}) {
    const RunResult result = Run({command, "--shared"});
    EXPECT_EQ(result.status, 4) << command;
    EXPECT_THAT(result.err + result.out,
                HasSubstr("there is no shared tree; make one with: lumivault init --shared FOLDER\n"))
        << command;
  }
}

TEST_F(SharedCommandsTest, AServerThatIsAwayIsOneLine) {
  Index();
  Environment("PGHOST", "/nowhere");
  for (const char* command : {"index", "stats", "export"}) {
    const RunResult result = Run({command, "--shared"});
    EXPECT_EQ(result.status, 5) << command;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.err.find("  "), std::string::npos) << result.err;
    EXPECT_THAT(result.err, HasSubstr("/nowhere")) << command;
  }
}

TEST_F(SharedCommandsTest, MissingTablesAreSaidInOneWay) {
  Query("DROP TABLE photo_share");
  for (const char* command : {"index", "albums", "stats", "export"}) {
    const RunResult result = Run({command, "--shared"});
    EXPECT_EQ(result.status, 5) << command;
    EXPECT_EQ(result.err,
              "lumivault: the database photo: its tables are missing or not readable; see lumivault doctor "
              "--shared\n");
  }
}

TEST_F(SharedCommandsTest, TheFirstFailureOfSeveralQueriesIsTold) {
  Query("DROP TABLE photo_image CASCADE");
  EXPECT_THAT(Run({"stats", "--shared"}).err, HasSubstr("relation \"photo_image\" does not exist"));
}

TEST_F(SharedCommandsTest, OneTableMadeAnewIsFilledAgain) {
  Index();
  const std::string before = Export();
  for (const char* tables : {"photo_share", "photo_image_label", "photo_image_label, photo_image"}) {
    Query(std::string("DROP TABLE ") + tables);
    ASSERT_EQ(Run({"init", "--shared", folder()}).status, 0);
    Index();
    EXPECT_EQ(Export(), before) << tables;
  }
}

TEST_F(SharedCommandsTest, ATreeThatIsNotThereIsSaidSo) {
  Index();
  fs::rename(folder(), scratch() / "away");
  const RunResult result = Run({"index", "--shared"});
  EXPECT_EQ(result.status, 7);
  EXPECT_EQ(result.err, "lumivault: " + folder().string() +
                            ": No such file or directory; nothing was deleted (see lumivault doctor "
                            "--shared)\n");
  EXPECT_EQ(Count(), "2");
}

// The rows of an export whose keys begin with ROOT, without what differs by the clock.
std::vector<std::string> RowsBelow(const std::string& root, const std::string& exported) {
  std::vector<std::string> rows;
  std::istringstream lines(exported);
  for (std::string line; std::getline(lines, line);) {
    Json::Value row = StrictJson(line + "\n");
    row.removeMember("create_time");
    row.removeMember("timetaken");
    for (Json::Value& value : row) {
      if (value.isString() && value.asString().starts_with(root))
        value = value.asString().substr(root.size());
    }
    rows.push_back(row.toStyledString());
  }
  return rows;
}

// But for the album of what lies in the root: the shared photo folder is called so everywhere.
TEST_F(SharedCommandsTest, HasWhatAPersonalLibraryHasUnderOtherKeys) {
  Index();
  const fs::path own = scratch() / "own";
  fs::copy(folder(), own, fs::copy_options::recursive);
  ASSERT_EQ(Run({"index", own, "--quiet"}).status, 0);
  std::string shared = Export();
  const std::string root_album = "\"album\":\"photo\"";
  const std::size_t at = shared.find(root_album);
  ASSERT_NE(at, std::string::npos);
  shared.replace(at, root_album.size(), "\"album\":\"\"");
  EXPECT_EQ(RowsBelow(folder().string() + "/", shared), RowsBelow("", Run({"export", own}).out));
}

class RightsTest : public SharedTreeTest {
 protected:
  void GiveRights(const std::string& suffix) {
    Query("INSERT INTO photo_access_right" + suffix + " VALUES (1026, " + AlbumId("2024") +
          ", 'then'), (1027, " + AlbumId("2024") + ", 'then')");
    Query("INSERT INTO photo_upload_right" + suffix + " VALUES (1027, " + AlbumId("2024") + ", 'then')");
    Query("INSERT INTO photo_manage_right" + suffix + " VALUES (1028, " + AlbumId("2024") + ", 'then')");
  }
  // Of an album that is made in one with rights in both account systems.
  std::vector<std::string> RightsOfASubAlbum() {
    GiveRights("_for_zor_account");
    GiveRights("");
    fs::create_directories(File("2024/trip"));
    Index();
    return RightsOf("2024/trip");
  }
  // right:accounts:user of what `rights` shows, each with a time that is one with its line end.
  std::vector<std::string> RightsOf(const std::string& album) {
    const Json::Value shown = StrictJson(Run({"rights", "--shared", album, "--json"}).out);
    std::vector<std::string> rights;
    for (const Json::Value& right : shown["rights"]) {
      rights.push_back(right["right"].asString() + ":" + right["accounts"].asString() + ":" +
                       right["userid"].asString());
      EXPECT_THAT(right["time"].asString(),
                  testing::MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} [0-9]{4}\n"));
    }
    return rights;
  }
};

TEST_F(RightsTest, NewPrivateSubAlbumsTakeThoseOfTheirParentInThePackagesAccounts) {
  fs::create_directories(File("2024"));
  Index();
  EXPECT_THAT(RightsOfASubAlbum(), ElementsAre("access:package:1026", "access:package:1027",
                                               "upload:package:1027", "manage:package:1028"));
}

TEST_F(RightsTest, AndInTheAppliancesAccounts) {
  fs::create_directories(File("2024"));
  Index();
  Query("INSERT INTO photo_config VALUES ('account_system', '0')");
  EXPECT_THAT(RightsOfASubAlbum(), ElementsAre("access:appliance:1026", "access:appliance:1027",
                                               "upload:appliance:1027", "manage:appliance:1028"));
}

TEST_F(RightsTest, ThatNobodyHasAreOneLine) {
  fs::create_directories(File("it's\n2024"));
  Index();
  EXPECT_EQ(Run({"rights", "--shared", "/"}).out, "/: nobody has been given rights; everybody may see it\n");
  EXPECT_EQ(Run({"rights", "--shared", "it's\n2024"}).out, "it's\\n2024: nobody has been given rights\n");
  EXPECT_EQ(StrictJson(Run({"rights", "--shared", "/", "--json"}).out)["rights"],
            Json::Value(Json::arrayValue));
}

TEST_F(RightsTest, AreShownAsText) {
  fs::create_directories(File("2024"));
  Index();
  Query("INSERT INTO photo_access_right VALUES (1026, " + AlbumId("2024") +
        ", E'Sat Nov 21 20:00:00 2026\\n')");
  const std::string text = "access\tappliance\t1026\tSat Nov 21 20:00:00 2026\n";
  EXPECT_EQ(Run({"rights", File("2024")}).out, text);
  EXPECT_EQ(Run({"rights", "--shared", "./2024/"}).out, text);
}

TEST_F(RightsTest, OfAFolderThatIsNoAlbumThereAreNone) {
  const RunResult missing = Run({"rights", "--shared", "nowhere"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "lumivault: " + File("nowhere").string() + ": no album\n");
}

TEST_F(RightsTest, OfAPathOutsideTheTreeAreNone) {
  fs::create_directories(File("trip"));
  Index();
  // What follows the length of the tree's path is the name of an album here, but of no folder of the tree.
  const std::string neighbour = File("").parent_path().string() + "2/trip";
  for (const std::string& path : {scratch().string(), neighbour}) {
    const RunResult outside = Run({"rights", "--shared", path});
    EXPECT_EQ(outside.status, 1);
    EXPECT_EQ(outside.err, "lumivault: " + path + ": lies outside the shared tree\n");
  }
}

}  // namespace
