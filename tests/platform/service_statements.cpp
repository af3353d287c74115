#include "changes/catalogue_sql.h"
#include "database/library_facts_sql.h"
#include "database/library_tables.h"
#include "database/queries_sql.h"
#include "database/summary_sql.h"
#include "database/table_sql.h"
#include "platform/planned_statements.h"

#define TEXT(constant) #constant, constant

namespace {

using enum Reach;
using List = std::vector<PlannedStatement>;

constexpr const char* kRootOnly = "the root folder: every path is looked at";
constexpr const char* kOnceAReindex = "asks for all, once a reindex";
constexpr const char* kCounts = "counts all";

List QueryStatements() {
  return {
      {TEXT(kRootAlbumSql)},
      {TEXT(kPauseMergeSql)},
      {TEXT(kResumeMergeSql)},
      {TEXT(kMergesPeopleSql)},
      {TEXT(kPhotoSql)},
      {TEXT(kVideoSql)},
      {TEXT(kClearTitleSql)},
      {TEXT(kHasPhotoSql)},
      {TEXT(kHasVideoSql)},
      {TEXT(kVideoDescriptionSql)},
      {TEXT(kPhotoLabelsSql)},
      {TEXT(kPhotoLabelNamesSql)},
      {TEXT(kVideoLabelsSql)},
      {TEXT(kAlbumSql)},
      {TEXT(kAlbumByNameSql)},
      {"kRightsOfAlbumSql", Named(kRightsOfAlbumSql, {"photo_access_right"})},
      {TEXT(kFolderPhotosSql)},
      {TEXT(kFolderVideosSql)},
      {TEXT(kFolderAlbumsSql)},
      {TEXT(kRootPhotosSql), kTable, On::kBoth, kRootOnly},
      {TEXT(kRootVideosSql), kTable, On::kBoth, kRootOnly},
      {TEXT(kRootAlbumsSql), kTable, On::kBoth, kRootOnly},
      {TEXT(kMarkedPhotosSql), kTable, On::kBoth, kOnceAReindex},
      {TEXT(kMarkedVideosSql), kTable, On::kBoth, kOnceAReindex},
      {TEXT(kMarkedAlbumsSql), kTable, On::kBoth, kOnceAReindex},
      {TEXT(kCountMediaSql), kTable, On::kBoth, kOnceAReindex},
  };
}

List SummaryStatements() {
  List list;
  for (const auto& [name, text] : {std::pair{TEXT(kAlbumSummariesSql)},
                                   {TEXT(kLabelSummariesSql)},
                                   {TEXT(kPhotoCountsSql)},
                                   {TEXT(kVideoCountsSql)},
                                   {TEXT(kAlbumCountSql)},
                                   {TEXT(kLabelCountsSql)}}) {
    list.push_back({name, text, kTable, On::kBoth, kCounts});
  }
  return list;
}

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

std::string KeysOf(const LibraryTable& table) {
  return Joined({table.keys.begin(), table.keys.end()});
}

// The part of TABLE that lies between two keys, as an export reads it.
PlannedStatement Part(const LibraryTable& table) {
  const std::string literals = Joined(std::vector<std::string>(table.keys.size(), kKeyLiteral));
  const std::string limits = Named(kAfterKeySql, {KeysOf(table), literals}) + " AND " +
                             Named(kUpToKeySql, {KeysOf(table), literals});
  std::vector<std::string> columns{"T.*"};
  for (const Reference& reference : table.references) columns.emplace_back(reference.sql);
  return {"kPartRowsSql", Named(kPartRowsSql, {Joined(columns), table.rows, limits, KeysOf(table)}), kRange,
          On::kSqlite};
}

PlannedStatement PartEnd(const LibraryTable& table) {
  const std::string keys = KeysOf(table);
  return {"kPartEndSql", Named(kPartEndSql, {keys, table.keys_from, kEveryKeySql, keys}), kRange,
          On::kSqlite};
}

List ExportStatements() {
  List list;
  for (const LibraryTable& table : LibraryTables()) {
    list.push_back(Part(table));
    list.push_back(PartEnd(table));
    if (table.keyless == nullptr) continue;
    const bool by_own_key = std::string(table.rows) == table.keys_from;
    list.push_back({"kKeylessRowsSql", Named(kKeylessRowsSql, {"T.*", table.keyless}),
                    by_own_key ? kRows : kTable, On::kSqlite,
                    "asks for rows that no key reaches, once an export"});
  }
  return list;
}

List FactStatements() {
  constexpr const char* kUnmarks = "looks at every row, after a reindex that did not come to its end";
  return {
      {TEXT(kFactsSql), kTable, On::kBoth, "a handful of rows, once a run"},
      {TEXT(kForgetMarkedSql)},
      {TEXT(kForgetWritersSql)},
      {TEXT(kUnmarkPhotosSql), kTable, On::kBoth, kUnmarks},
      {TEXT(kUnmarkVideosSql), kTable, On::kBoth, kUnmarks},
      {TEXT(kUnmarkConvertedSql), kTable, On::kBoth, kUnmarks},
      {TEXT(kUnmarkAlbumsSql), kTable, On::kBoth, kUnmarks},
  };
}

}  // namespace

List ServiceStatements() {
  List all;
  for (const auto& some : {QueryStatements(), SummaryStatements(), ExportStatements(), FactStatements()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

List CatalogueStatements() {
  return {
      {TEXT(kFilesOfFolder), kRange},
      {TEXT(kFirstFilesOfFolder), kRange},
      {TEXT(kOneEntry)},
      {TEXT(kRemoveFile)},
      {TEXT(kRemoveFolder)},
      {TEXT(kRemoveBelow)},
      {TEXT(kMoveToDevice)},
      {TEXT(kFact)},
      {TEXT(kRemoveFact)},
      {TEXT(kAllFolders), kTable, On::kSqlite, "asks for all folders, once a run"},
      {TEXT(kParentFolders), kTable, On::kSqlite,
       "walks what it has found itself, a step in the index a folder"},
      {TEXT(kCountFiles), kTable, On::kSqlite, "counts all, once a run"},
      {TEXT(kFilesWithRows), kTable, On::kSqlite, "reads all, for doctor"},
      {TEXT(kForgetTrials), kTable, On::kSqlite, "looks at every entry, once after an update"},
      {TEXT(kRemoveEntries), kAll, On::kSqlite, "the whole catalogue goes"},
  };
}

std::set<std::string> UnplannedTexts() {
  return {"kSelect", "kSelectPersonal", "kPhotoColumns", "kVideoColumns", "kVideoDescColumns",
          "kUnnamedPeople", "kNamedPeople", "kHighestIdFirst", "kCaseSensitiveLike", "kBelow", "kBelowFolder",
          // Inserts.
          "kInsertPhoto", "kInsertVideo", "kInsertVideoDesc", "kInsertConvert", "kInsertLabel",
          "kInsertLabelWithId", "kInsertLink", "kInsertAlbum", "kInsertRight", "kPutEntry", "kPutFact",
          "kMergePeopleByDefaultSql", "kRaiseGenerationSql", "kNoteMarkedSql", "kNoteMountsSql",
          // Settings and transactions.
          "kForeignKeysOn", "kVacuum", "kMakeCatalogue", "kDurableCatalogue", "kEndCatalogueLog",
          "kBeginCatalogue", "kCommitCatalogue", "kAnyTableSql", "kLinkStatisticsSql", "kServerAnswersSql",
          "kServerFactsSql", "kServerIdentity", "kDatabaseOfServerSql", "kMakeSharedDatabaseSql",
          "kAddColumnSql", "kColumnsOfSqlite", "kColumnsOfPostgres", "kFactTableOfSqlite",
          "kFactTableOfPostgres", "kNamesOfSqlite", "kNamesOfPostgres",
          // On PostgreSQL an export reads each table whole, through a cursor.
          "kOpenCursorSql", "kFetchSql", "kCloseCursorSql",
          // Asked for by doctor, of the whole file.
          "kQuickCheckSql", "kQuickCheckOfTableSql",
          // A new catalogue is made of every row.
          "kIndexedPhotos", "kIndexedVideos", "kIndexedFolders",
          // Parts that the tables of the library are made of.
          "kKeyLiteral", "kAfterKeySql", "kUpToKeySql", "kEveryKeySql", "kShareOfRowSql",
          "kPrivilegeShareOfRowSql", "kReferredShareOfRowSql", "kImagePathOfRowSql", "kLabelNameOfRowSql",
          "kLabelCategoryOfRowSql", "kPhotoRows", "kVideoRows", "kVideoDescriptionRows", "kVideoCommentRows",
          "kVideoConvertRows", "kAlbumRows", "kLabelRows", "kVideoLabelRows", "kConfigRows", "kConfigKeyless",
          "kPhotoKeysFrom", "kPhotoLabelRows", "kPhotoLabelKeyless", "kAlbumsFrom", "kAccessRightRows",
          "kAccessRightKeyless", "kAccessRightAccountRows", "kAccessRightAccountKeyless", "kManageRightRows",
          "kManageRightKeyless", "kManageRightAccountRows", "kManageRightAccountKeyless", "kUploadRightRows",
          "kUploadRightKeyless", "kUploadRightAccountRows", "kUploadRightAccountKeyless"};
}
