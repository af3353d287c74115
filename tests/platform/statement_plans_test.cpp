// No statement walks a whole media table, but those that ask for it: they are named here, with the reason.
// Every statement text of the plug-in has its place here; one that is added fails this test until it has one.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "photo_database/config_sql.h"
#include "photo_database/label_sql.h"
#include "photo_database/media_sql.h"
#include "photo_database/people_sql.h"
#include "photo_database/photo_sql.h"
#include "photo_database/removal_sql.h"
#include "photo_database/rename_sql.h"
#include "photo_database/share_sql.h"
#include "photo_database/sweep_sql.h"
#include "photo_database/version_sql.h"
#include "photo_database/video_convert_sql.h"
#include "photo_database/video_desc_sql.h"
#include "photo_database/video_sql.h"
#include "support/schemas.h"
#include "support/temp_dir.h"

namespace {

struct Planned {
  const char* name;
  std::string sql;
};

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// TEMPLATE with its printf conversions replaced by VALUES in turn and its placeholders by something; "table"
// stands for @KAVO:NEVAR.
std::string Filled(std::string text, const std::string& table = "",
                   const std::vector<std::string>& values = {}) {
  std::size_t at = 0;
  for (const std::string& value : values) {
    at = text.find('%', at);
    if (at == std::string::npos) break;
    text.replace(at, 2, value);
    at += value.size();
  }
  text = Replaced(text, "%%", "%");
  text = Replaced(text, "PRAGMA case_sensitive_like=true;", "");
  text = Replaced(text, "@KAVO:NEVAR", table);
  for (const char* number : {"@KAVO:INT", "@KAVO:LLINT"}) text = Replaced(text, number, "1");
  text = Replaced(text, "lat = @KAVO:VAR, lng = @KAVO:VAR", "lat = 1, lng = 1");
  for (const char* word : {"@KAVO:LVAR", "@KAVO:VAR"}) text = Replaced(text, word, "x");
  return text;
}

std::string Where(const std::string& table, const std::string& condition) {
  return "SELECT * FROM " + table + " WHERE " + condition;
}

// Statements that find their rows by an index.
std::vector<Planned> Indexed() {
  return {
      {"kConfigByKey", Where("photo_config", Filled(kConfigByKey))},
      {"kMediaByPath", Where("photo_image", Filled(kMediaByPath))},
      {"kMediaByPath", Where("video", Filled(kMediaByPath))},
      {"kPathEquals", Where("photo_image", "path like 'x'")},
      {"kPhotoRotation", Filled(kPhotoRotation)},
      {"kUpdatePhoto", Filled(kUpdatePhoto)},
      {"kUpdateVideo", Filled(kUpdateVideo)},
      {"kUpdateVideoDesc", Filled(kUpdateVideoDesc)},
      {"kVersionByPath", Filled(kVersionByPath)},
      {"kSetVersion", Filled(kSetVersion)},
      {"kRawVideoByPath", Where("video", Filled(kRawVideoByPath, "", {"x"}))},
      {"kConvertByPaths", Where("video_convert", Filled(kConvertByPaths))},
      {"kUpdateConvert", Filled(kUpdateConvert)},
      {"kFaceSwitch", kFaceSwitch},
      {"kLabelByName", Filled(kLabelByName, "", {"1"})},
      {"kLinkByIds", Filled(kLinkByIds, "", {"1", "1"})},
      {"kDeleteConfirmedLink", Filled(kDeleteConfirmedLink)},
      {"kDeleteKeywordLinks", Filled(kDeleteKeywordLinks)},
      {"kFacesOfPhoto", Filled(kFacesOfPhoto, "", {""})},
      {"kSetLabelOfLink", Filled(kSetLabelOfLink, "", {"1", "1"})},
      {"kInfoOfLink", Filled(kInfoOfLink, "", {"1"})},
      {"kSetInfoOfLink", Filled("update photo_image_label set info_new = 'x' where id = 1")},
      {"kPhotoPeople", Filled(kPhotoPeople, "", {kNamedPeople})},
      {"kPhotoPeople", Filled(kPhotoPeople, "", {kUnnamedPeople})},
      {"kDeletePathPersonal", Filled(kDeletePathPersonal, "photo_image")},
      {"kDeletePathPersonal", Filled(kDeletePathPersonal, "video")},
      {"kDeletePathPersonal", Filled(kDeletePathPersonal, "video_comment")},
      {"kDeletePathPersonal", Filled(kDeletePathPersonal, "video_desc")},
      {"kDeletePathShared", Filled(kDeletePathShared, "photo_image")},
      {"kDeleteVideoPathPersonal", Filled(kDeleteVideoPathPersonal, "photo_video_label")},
      {"kDeleteVideoPathPersonal", Filled(kDeleteVideoPathPersonal, "video_convert")},
      {"kDeleteVideoPathShared", Filled(kDeleteVideoPathShared, "video_convert")},
      {"kDeleteAlbumPersonal", Filled(kDeleteAlbumPersonal)},
      {"kDeleteAlbumShared", Filled(kDeleteAlbumShared)},
      {"kDeleteFolderPersonal", Filled(kDeleteFolderPersonal)},
      {"kDeleteFolderShared", Filled(kDeleteFolderShared)},
      {"kRenamePhotoAndTitle", Filled(kRenamePhotoAndTitle)},
      {"kRenamePhoto", Filled(kRenamePhoto)},
      {"kRenameVideoAndTitle", Filled(kRenameVideoAndTitle, "video_desc")},
      {"kRenameVideoColumn", Filled(kRenameVideoColumn, "photo_video_label", {"video_path", "video_path"})},
      {"kRowsThatBegin", Where("video_comment", "path like 'x%'")},
      {"kAlbumIdByName", Filled(kAlbumIdByName)},
      {"kAlbumByName", Where("photo_share", Filled(kAlbumByName))},
      {"kRawAlbumByName", Where("photo_share", Filled(kRawAlbumByName, "", {"x"}))},
      {"kUpdateAlbum", Filled(kUpdateAlbum)},
      {"kRenameAlbum", Filled(kRenameAlbum)},
      {"kSetAlbumConversion", Filled(kSetAlbumConversion)},
      {"kMoveCoverPersonal", Filled(kMoveCoverPersonal)},
      {"kMoveCoverShared", Filled(kMoveCoverShared, "", {"/p", "/p"})},
      {"kRightsOfAlbum", Where("photo_access_right", Filled(kRightsOfAlbum, "", {"1"}))},
      {"kDeleteRights", Filled(kDeleteRights, "photo_upload_right")},
      {"kDeleteRightsPersonal", Filled(kDeleteRightsPersonal, "photo_manage_right_for_zor_account")},
      {"kMarkFiles", "UPDATE photo_image SET updated = '0' WHERE path LIKE 'x/%'"},
      {"kMarkAlbumsBelow", Filled(kMarkAlbumsBelow)},
      {"kSweepFiles", "DELETE FROM video_convert WHERE updated = '0' AND video_path LIKE 'x/%'"},
      {"kSweepAlbumsBelow", Filled(kSweepAlbumsBelow)},
  };
}

// Statements that ask for every row of a table, and why that is so.
const std::map<std::string, std::string> kWalking{
    {"kPathEndsWith", "the end of a path has no index"},
    {"kNamedFaces", "asks for every face"},
    {"kDeleteUnusedLabels", "looks at every label, once for each deleted photo, video or folder"},
    {"kDeleteTable", "the whole table goes"},
    {"kDeleteAllAlbums", "the whole table goes"},
    {"kDeleteLibrary", "the whole library goes"},
    {"kSweepOrphans", "asks for everything without a video, once a reindex"},
    {"kMarkAllAlbums", "marks every album, once a reindex"},
    {"kSweepAllAlbums", "asks for every marked album, once a reindex"},
    {"kNumberedAlbums", "the highest of all ids, read from the end of the key"},
    {"kHighestIdFirst", "the order of the one above"},
    {"kLastLabel", "the end of the key"},
    {"kLastLink", "the end of the key"},
    {"kVacuum", "the whole database"},
};
// Lists of columns, values and parts of the statements above.
const std::set<std::string> kParts{
    "kSelect",        "kSelectPersonal",    "kPhotoColumns",      "kVideoColumns",    "kVideoDescColumns",
    "kUnnamedPeople", "kNamedPeople",       "kCaseSensitiveLike", "kBelow",           "kBelowFolder",
    "kForeignKeysOn", "kInsertPhoto",       "kInsertVideo",       "kInsertVideoDesc", "kInsertConvert",
    "kInsertLabel",   "kInsertLabelWithId", "kInsertLink",        "kInsertAlbum",     "kInsertRight"};

std::set<std::string> NamesInHeaders() {
  std::set<std::string> names;
  const std::regex definition(R"(inline constexpr const char\*? (k\w+)|inline constexpr char (k\w+))");
  for (const auto& entry : std::filesystem::directory_iterator(LUMIVAULT_STATEMENTS)) {
    if (!entry.path().filename().string().ends_with("_sql.h")) continue;
    const std::string text = ReadFile(entry.path());
    for (std::sregex_iterator found(text.begin(), text.end(), definition), end; found != end; ++found) {
      names.insert((*found)[1].matched ? (*found)[1] : (*found)[2]);
    }
  }
  return names;
}

class StatementPlansTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
    Run(SchemaScript("pphoto.sql"));
    Run("PRAGMA case_sensitive_like=true");
  }
  void TearDown() override { sqlite3_close(database_); }

  // The last column of all rows, a line each.
  std::string Run(const std::string& sql) {
    std::string text;
    char* error = nullptr;
    const auto keep = [](void* out, int columns, char** values, char**) {
      static_cast<std::string*>(out)->append(values[columns - 1]).append("\n");
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), keep, &text, &error), SQLITE_OK) << sql << ": " << error;
    sqlite3_free(error);
    return text;
  }
  // The plans of all statements in SQL. LIKE escapes as the template builder does, which keeps the index.
  std::string Plan(const std::string& sql) {
    std::string plans;
    for (std::size_t at = 0; at < sql.size();) {
      const std::size_t end = std::min(sql.find(';', at), sql.size());
      const std::string statement = sql.substr(at, end - at);
      if (statement.find_first_not_of(' ') != std::string::npos)
        plans += Run("EXPLAIN QUERY PLAN " + statement);
      at = end + 1;
    }
    return plans;
  }

  sqlite3* database_ = nullptr;
};

TEST_F(StatementPlansTest, EveryStatementHasItsPlace) {
  std::set<std::string> placed = kParts;
  for (const Planned& planned : Indexed()) placed.insert(planned.name);
  for (const auto& [name, reason] : kWalking) placed.insert(name);
  EXPECT_EQ(NamesInHeaders(), placed);
}

TEST_F(StatementPlansTest, NoneWalksAWholeTable) {
  for (const Planned& planned : Indexed()) {
    const std::string plan = Plan(planned.sql);
    EXPECT_EQ(plan.find("SCAN"), std::string::npos) << planned.name << ": " << planned.sql << "\n" << plan;
    EXPECT_NE(plan.find("SEARCH"), std::string::npos) << planned.name << ": " << planned.sql << "\n" << plan;
  }
}

// What SQL costs in steps of the engine.
int Steps(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr), SQLITE_OK);
  EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
  const int steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
  sqlite3_finalize(statement);
  return steps;
}

// The plan only says that an index is walked, and not that it is walked from label to label.
TEST_F(StatementPlansTest, UnusedLabelsCostNothingForEachLink) {
  constexpr int kLinks = 10'000;
  Run("INSERT INTO photo_image (id, path) VALUES (1, 'a.jpg');"
      "WITH n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5) "
      "INSERT INTO photo_label (id, category, name) SELECT i, 2, i FROM n;");
  const std::string links = "WITH n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                            std::to_string(kLinks) + ") INSERT INTO ";
  Run(links + "photo_image_label (image_id, label_id) SELECT 1, 1 + i % 2 FROM n");
  Run(links + "photo_video_label (video_path, label_id) SELECT 'a.mp4', 3 + i % 2 FROM n");
  EXPECT_LT(Steps(database_, kDeleteUnusedLabels), kLinks / 10);
  EXPECT_EQ(Run("SELECT id FROM photo_label"), "1\n2\n3\n4\n");
}

}  // namespace
