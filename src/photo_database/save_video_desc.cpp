// The title and description of a video.
#include "base/json_value.h"
#include "base/log.h"
#include "photo_database/cursor.h"
#include "photo_database/save.h"
#include "photo_database/video_desc_sql.h"

SaveOutcome SaveVideoDescription(const SaveRequest& request) {
  const std::string title = RecordText(request, "szTitle");
  const std::string description = RecordText(request, "szDesc");
  const std::string name = JsonText(request.info, "szName");
  if (IsDefaultTitle(name, JsonText(request.info, "szTitle"), name) && description.empty()) {
    return SaveOutcome::kNothingToDo;
  }
  const auto condition = RowCondition(request);
  if (!condition) return SaveOutcome::kFailed;
  const Cursor rows(PHOTO_TABLE_VIDEO_DESC, kVideoDescColumns, condition.get(), nullptr, 0, 0);
  if (!rows) {
    LOG_PARENS(kPhotoDatabaseSource, "Error occurred, failed to get records.");
    return SaveOutcome::kFailed;
  }
  const int type = request.connection.type();
  if (rows.count() == 0) {
    const auto insert =
        Statement::Build(type, kInsertVideoDesc, request.key, title.c_str(), description.c_str());
    return RunSave(request, insert, SaveOutcome::kInserted);
  }
  const auto update =
      Statement::Build(type, kUpdateVideoDesc, title.c_str(), description.c_str(), request.key);
  return RunSave(request, update, SaveOutcome::kUpdated);
}
