#include "photo_database/config_sql.h"
#include "photo_database/cursor_sql.h"
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
#include "platform/planned_statements.h"

// A constant's name and its text.
#define TEXT(constant) #constant, constant

namespace {

using enum Reach;
using List = std::vector<PlannedStatement>;

// CONDITION of a cursor over TABLE.
std::string Selected(const std::string& table, const std::string& condition, const std::string& order = "") {
  return Formatted(kSelect, {"*", table, "WHERE", condition, "", order});
}

List FileStatements() {
  return {
      {"kMediaByPath", Selected("photo_image", kMediaByPath)},
      {"kMediaByPath", Selected("video", kMediaByPath)},
      {"kPathEquals", Selected("photo_image", kPathEquals)},
      {"kPathEquals", Selected("video", kPathEquals)},
      {TEXT(kPhotoRotation)},
      {TEXT(kUpdatePhoto)},
      {TEXT(kUpdateVideo)},
      {TEXT(kUpdateVideoDesc)},
      {TEXT(kVersionByPath)},
      {TEXT(kSetVersion)},
      {"kRawVideoByPath", Selected("video", Formatted(kRawVideoByPath, {"1"}))},
      {"kConvertByPaths", Selected("video_convert", kConvertByPaths)},
      {TEXT(kUpdateConvert)},
      {TEXT(kRenamePhotoAndTitle)},
      {TEXT(kRenamePhoto)},
      {"kRenameVideoAndTitle", Named(kRenameVideoAndTitle, {"video_desc"})},
      {"kRenameVideoColumn", Named(Formatted(kRenameVideoColumn, {"path", "path"}), {"video_comment"})},
      {"kRenameVideoColumn",
       Named(Formatted(kRenameVideoColumn, {"video_path", "video_path"}), {"photo_video_label"})},
      {"kPathEndsWith", Selected("photo_image", kPathEndsWith), kTable, On::kBoth,
       "the end of a path has no index"},
  };
}

// The rows that a rename of a video looks at.
List RenamedRowStatements() {
  List list;
  for (const char* table : {"video_desc", "video_comment"}) {
    list.push_back(
        {"kRowsThatBegin", Selected(table, Formatted(kRowsThatBegin, {"path"}), "ORDER BY path"), kRange});
  }
  list.push_back(
      {"kRowsThatBegin",
       Selected("photo_video_label", Formatted(kRowsThatBegin, {"video_path"}), "ORDER BY video_path"),
       kRange});
  return list;
}

List RemovalStatements() {
  List list = {
      {TEXT(kDeleteAlbumPersonal), kRows, On::kSqlite},
      {TEXT(kDeleteAlbumShared), kRows, On::kPostgres},
      {TEXT(kDeleteFolderPersonal), kRows, On::kSqlite},
      {TEXT(kDeleteFolderShared), kRows, On::kPostgres},
      {TEXT(kDeleteUnusedLabels), kTable, On::kBoth,
       "asks for every label, after each deleted file or folder"},
      {"kDeleteTable", Named(kDeleteTable, {"photo_image"}), kAll, On::kBoth, "the whole table goes"},
      {TEXT(kDeleteAllAlbums), kAll, On::kBoth, "the whole table goes"},
      {TEXT(kDeleteLibrary), kAll, On::kBoth, "the whole library goes"},
  };
  for (const char* table : {"photo_image", "video", "video_desc", "video_comment"}) {
    list.push_back({"kDeletePathPersonal", Named(kDeletePathPersonal, {table}), kRows, On::kSqlite});
    list.push_back({"kDeletePathShared", Named(kDeletePathShared, {table}), kRows, On::kPostgres});
  }
  for (const char* table : {"photo_video_label", "video_convert"}) {
    list.push_back(
        {"kDeleteVideoPathPersonal", Named(kDeleteVideoPathPersonal, {table}), kRows, On::kSqlite});
    list.push_back({"kDeleteVideoPathShared", Named(kDeleteVideoPathShared, {table}), kRows, On::kPostgres});
  }
  return list;
}

List AlbumStatements() {
  return {
      {TEXT(kAlbumIdByName)},
      {"kAlbumByName", Selected("photo_share", kAlbumByName)},
      {"kRawAlbumByName", Selected("photo_share", Formatted(kRawAlbumByName, {"1"}))},
      {TEXT(kUpdateAlbum)},
      {TEXT(kRenameAlbum)},
      {TEXT(kSetAlbumConversion)},
      {TEXT(kMoveCoverPersonal), kRows, On::kSqlite},
      {"kMoveCoverShared", Formatted(kMoveCoverShared, {"/p", "/p"}), kRows, On::kPostgres},
      {"kRightsOfAlbum", Selected("photo_access_right", Formatted(kRightsOfAlbum, {"1"}))},
      {"kDeleteRights", Named(kDeleteRights, {"photo_upload_right"}), kRows, On::kPostgres},
      {"kDeleteRightsPersonal", Named(kDeleteRightsPersonal, {"photo_manage_right_for_zor_account"}), kRows,
       On::kSqlite},
      {"kNumberedAlbums",
       Selected("photo_share", kNumberedAlbums, std::string("ORDER BY ") + kHighestIdFirst) + " LIMIT 1",
       kRange},
  };
}

List LabelStatements() {
  return {
      {TEXT(kFaceSwitch)},
      {"kConfigByKey", Selected("photo_config", kConfigByKey)},
      {"kLabelByName", Formatted(kLabelByName, {"1"})},
      {TEXT(kLastLabel), kRange},
      {"kLinkByIds", Formatted(kLinkByIds, {"1", "1"})},
      {TEXT(kLastLink), kRange},
      {TEXT(kDeleteConfirmedLink)},
      {TEXT(kDeleteKeywordLinks)},
      {"kFacesOfPhoto", Formatted(kFacesOfPhoto, {""})},
      {"kSetLabelOfLink", Formatted(kSetLabelOfLink, {"1", "1"})},
      {"kInfoOfLink", Formatted(kInfoOfLink, {"1"})},
      {"kSetInfoOfLink", Formatted(kSetInfoOfLink, {"1"})},
      {"kPhotoPeople", Formatted(kPhotoPeople, {kNamedPeople})},
      {"kPhotoPeople", Formatted(kPhotoPeople, {kUnnamedPeople})},
      {"kNamedFaces", Formatted(kNamedFaces, {}), kRows, On::kSqlite},
      {"kNamedFaces", Formatted(kNamedFaces, {}), kTable, On::kPostgres, "asks for every face"},
  };
}

// Below a folder a reindex marks and sweeps by the index; only that of everything asks for everything.
List SweepStatements() {
  const auto below = [](const char* joint, const char* key) {
    return Formatted(kBelow, {joint, key, kBelowFolder});
  };
  return {
      {"kMarkFiles", Formatted(kMarkFiles, {kCaseSensitiveLike, "photo_image", below("WHERE", "path")})},
      {"kMarkFiles", Formatted(kMarkFiles, {"", "video", below("WHERE", "path")})},
      {"kSweepFiles",
       Formatted(kSweepFiles, {kCaseSensitiveLike, "video_convert", below("AND", "video_path")})},
      {TEXT(kMarkAlbumsBelow)},
      {TEXT(kSweepAlbumsBelow)},
      {"kSweepOrphans", Formatted(kSweepOrphans, {kCaseSensitiveLike, "video_desc", "path", ""}), kTable,
       On::kBoth, "asks for everything without a video, once a reindex"},
      {TEXT(kMarkAllAlbums), kTable, On::kBoth, "marks every album, once a reindex"},
      {TEXT(kSweepAllAlbums), kTable, On::kBoth, "asks for every marked album, once a reindex"},
  };
}

}  // namespace

List PluginStatements() {
  List all;
  for (const auto& some : {FileStatements(), RenamedRowStatements(), RemovalStatements(), AlbumStatements(),
                           LabelStatements(), SweepStatements()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}
