#include "photo_database/sweep_sql.h"

#include <array>
#include <optional>
#include <string>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "photo_database/album_name.h"
#include "photo_database/connection.h"

namespace {

// One byte more than a statement's buffer, so that one that does not fit shows.
constexpr std::size_t kFormatSize = kPathSize + 1;

struct KeyedTable {
  PHOTO_TABLE_TYPE type;
  const char* key;
};

// Tables whose rows are marked by themselves, and tables whose rows go with their video.
constexpr std::array kMarkedTables = {KeyedTable{PHOTO_TABLE_IMAGE, "path"},
                                      KeyedTable{PHOTO_TABLE_VIDEO, "path"},
                                      KeyedTable{PHOTO_TABLE_VIDEO_CONVERT, "video_path"}};
constexpr std::array kVideoSideTables = {KeyedTable{PHOTO_TABLE_VIDEO_DESC, "path"},
                                         KeyedTable{PHOTO_TABLE_VIDEO_COMMENT, "path"},
                                         KeyedTable{PHOTO_TABLE_VIDEO_LABEL, "video_path"}};

const char* Prefix() {
  return HGAStatusIsHGARequest() ? kCaseSensitiveLike : "";
}

// The pattern of the keys below FOLDER, as a literal; empty at the root, where every row is meant; nothing on
// failure.
std::optional<std::string> PatternBelow(const char* folder, const std::string& album) {
  if (album == kRootAlbum) return "";
  const char* key = HGAStatusIsHGARequest() ? album.c_str() : folder;
  const Statement pattern = Statement::Build(RequestDatabaseType(), kBelowFolder, key);
  if (!pattern) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to get escaped path from [%s]", folder);
    return std::nullopt;
  }
  return pattern.get();
}

// A statement that does not fit its buffer is not sent: what is left of it could mean other rows.
[[nodiscard]] bool Run(const std::string& sql) {
  if (sql.size() < kPathSize && PhotoDBExec(sql.c_str()) != -1) return true;
  LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s]", Cut(sql, kPathSize).c_str());
  return false;
}

// What narrows a statement to the rows below a folder, after the word that joins it; empty at the root.
std::string Tail(const char* joint, const KeyedTable& table, const std::string& pattern) {
  return pattern.empty() ? "" : FormatText(kFormatSize, kBelow, joint, table.key, pattern.c_str());
}

[[nodiscard]] bool MarkFiles(const KeyedTable& table, const std::string& pattern) {
  return Run(FormatText(kFormatSize, kMarkFiles, Prefix(), PhotoMapping::GetValue(table.type),
                        Tail("WHERE", table, pattern).c_str()));
}

[[nodiscard]] bool SweepFiles(const KeyedTable& table, const std::string& pattern) {
  return Run(FormatText(kFormatSize, kSweepFiles, Prefix(), PhotoMapping::GetValue(table.type),
                        Tail("AND", table, pattern).c_str()));
}

[[nodiscard]] bool SweepOrphans(const KeyedTable& table, const std::string& pattern) {
  return Run(FormatText(kFormatSize, kSweepOrphans, Prefix(), PhotoMapping::GetValue(table.type), table.key,
                        Tail("AND", table, pattern).c_str()));
}

[[nodiscard]] bool MarkAllFiles(const char* folder) {
  const auto album = AlbumName(folder);
  if (!album) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to get share name from [%s]", OrEmpty(folder));
    return false;
  }
  const auto pattern = PatternBelow(folder, *album);
  if (!pattern) return false;
  for (const KeyedTable& table : kMarkedTables) {
    if (!MarkFiles(table, *pattern)) return false;
  }
  return true;
}

[[nodiscard]] bool SweepAllFiles(const char* folder) {
  const auto album = AlbumName(folder);
  if (!album) return false;
  const auto pattern = PatternBelow(folder, *album);
  if (!pattern) return false;
  for (const KeyedTable& table : kMarkedTables) {
    if (!SweepFiles(table, *pattern)) return false;
  }
  for (const KeyedTable& table : kVideoSideTables) {
    if (!SweepOrphans(table, *pattern)) return false;
  }
  return true;
}

// Runs ALL at the root and BELOW under any other folder, whose own album it leaves alone.
[[nodiscard]] bool RunOnAlbums(const char* folder, const char* all, const char* below) {
  const auto album = AlbumName(folder);
  if (!album) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to get share name from [%s]", OrEmpty(folder));
    return false;
  }
  const std::string prefix = HGAStatusIsHGARequest() ? std::string(kCaseSensitiveLike) + " " : "";
  const std::string sql_template = prefix + (*album == kRootAlbum ? all : below);
  const Statement sql = *album == kRootAlbum
                            ? Statement::Build(RequestDatabaseType(), sql_template.c_str())
                            : Statement::Build(RequestDatabaseType(), sql_template.c_str(), album->c_str());
  if (!sql) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to get escaped path from [%s]", folder);
    return false;
  }
  if (PhotoDBExec(sql.get()) == -1) {
    LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s].", sql.get());
    return false;
  }
  return true;
}

}  // namespace

int KAVOPhotoInitAllRows(const char* folder) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return MarkAllFiles(folder) ? 0 : -1; });
}

int KAVOPhotoShareInitAllRows(const char* folder) {
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return RunOnAlbums(folder, kMarkAllAlbums, kMarkAlbumsBelow) ? 0 : -1; });
}

int KAVOPhotoDeleteNoUpdateRows(const char* folder) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return SweepAllFiles(folder) ? 0 : -1; });
}

int KAVOPhotoShareDeleteNoUpdateRows(const char* folder) {
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return RunOnAlbums(folder, kSweepAllAlbums, kSweepAlbumsBelow) ? 0 : -1; });
}
