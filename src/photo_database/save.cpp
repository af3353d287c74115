#include "photo_database/save.h"

#include <optional>

#include "base/export_guard.h"
#include "base/json_value.h"
#include "base/limits.h"
#include "base/text.h"
#include "lumivault/photo_util.h"
#include "photo_database/config.h"
#include "photo_database/keywords.h"
#include "photo_database/media_sql.h"
#include "photo_database/people_merge.h"
#include "photo_database/storable_text.h"
#include "photo_database/stored_path.h"
#include "platform/text.h"

namespace {

constexpr const char* kPeopleMergeSwitch = "ms_people_tag_merged";

SaveOutcome SaveRow(PHOTO_TABLE_TYPE type, const SaveRequest& request) {
  switch (type) {
    case PHOTO_TABLE_IMAGE:
      return SavePhoto(request);
    case PHOTO_TABLE_VIDEO_DESC:
      return SaveVideoDescription(request);
    case PHOTO_TABLE_VIDEO:
      return SaveVideo(request);
    default:
      LOG_PARENS(kPhotoDatabaseSource, "Bad table type.");
      return SaveOutcome::kFailed;
  }
}

// The extension of KEY; nothing, and a line in the log, for a key that no row can have.
std::optional<std::string_view> CheckedExtension(const char* key) {
  if (!RLIBCUnicodeIsUTF8(key)) {
    LOG_PARENS(kPhotoDatabaseSource, "Invalid path : %s", key);
    return std::nullopt;
  }
  const auto extension = ExtensionOf(key);
  if (!extension) LOG_BARE("Can't get file extenion: %s", key);
  return extension;
}

bool KeywordsAreDue(SaveOutcome outcome, std::string_view extension) {
  if (outcome == SaveOutcome::kInserted) return true;
  return IsExiv2TagForceUpdateFormat(std::string(extension).c_str()) != 0;
}

// False when the request context is lost.
[[nodiscard]] bool AddKeywords(PHOTO_TABLE_TYPE type, const SaveRequest& request, SaveOutcome outcome) {
  if (type != PHOTO_TABLE_IMAGE || !KeywordsAreDue(outcome, request.extension)) return true;
  return UpdateKeywords(request.path.c_str());
}

int MergePeople(const SaveRequest& request) {
  if (ConfigValue(kPeopleMergeSwitch, kLongConfigSize) == "on") MergePeopleTags(request.path.c_str());
  return 0;
}

// What follows a written row. Whatever happens there is logged and leaves the row as it is; without the
// context of the request the second step would ask another database.
void AddLabels(PHOTO_TABLE_TYPE type, const SaveRequest& request, SaveOutcome outcome) {
  const bool goes_on =
      Guarded(kPhotoDatabaseSource, true, [&] { return AddKeywords(type, request, outcome); });
  if (goes_on) Guarded(kPhotoDatabaseSource, 0, [&] { return MergePeople(request); });
}

int Save(PHOTO_TABLE_TYPE type, const Json::Value& info) {
  const std::string path = JsonText(info, "szPath");
  const bool excluded = IsExcludeFormat(path.c_str()) != 0;
  const RequestConnection connection;
  if (!connection) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to connect to photo database");
    return -1;
  }
  const char* key = StoredPath(path.c_str());
  const auto extension = CheckedExtension(key);
  if (!extension) return -1;
  const SaveRequest request = {info, connection, path, key, *extension, excluded ? "t" : "f"};
  const SaveOutcome outcome = SaveRow(type, request);
  if (outcome == SaveOutcome::kFailed) return -1;
  if (outcome != SaveOutcome::kNothingToDo) AddLabels(type, request, outcome);
  return 0;
}

}  // namespace

int PhotoInfoDBSave(PHOTO_TABLE_TYPE type, Json::Value* info) {
  if (info == nullptr) {
    LOG_PARENS(kPhotoDatabaseSource, "Bad parameter");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return Save(type, *info); });
}

std::string RecordText(const SaveRequest& request, const char* key) {
  return StorableText(JsonText(request.info, key));
}

Statement RowCondition(const SaveRequest& request) {
  auto condition = Statement::Build(request.connection.type(), kMediaByPath, request.key);
  if (!condition) LOG_COLON(kPhotoDatabaseSource, "Failed to KAVODBEscapeStringEX3 path: %s", request.key);
  return condition;
}

ShareIds ShareIdsOf(const std::string& path) {
  ShareIds ids;
  if (getShareIdPrivilegeShareIdByPath(path.c_str(), &ids.share, &ids.rights_share) >= 0) return ids;
  LOG_COLON(kPhotoDatabaseSource, "Get ShareId, Privilege_shareid Error(%s)", path.c_str());
  return {};
}

SaveOutcome RunSave(const SaveRequest& request, const Statement& statement, SaveOutcome outcome) {
  if (!statement) {
    LOG_PARENS(kPhotoDatabaseSource, "Fail to escape string");
    return SaveOutcome::kFailed;
  }
  if (!Execute(request.connection, statement.get())) {
    LOG_PARENS(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", statement.get(), request.connection.error());
    return SaveOutcome::kFailed;
  }
  return outcome;
}

bool IsDefaultTitle(std::string_view name, std::string_view title, std::string_view stem_otherwise) {
  const auto dot = name.find('.');
  const std::size_t length = dot != std::string_view::npos ? dot : stem_otherwise.size();
  return name.substr(0, length) == title.substr(0, length);
}
