#ifndef PHOTO_INDEX_FILE_UPDATE_H_
#define PHOTO_INDEX_FILE_UPDATE_H_

#include "lumivault/photo_database.h"

namespace Json {
class Value;
}

// In what the update of a file by an event differs from that by a full reindex.
struct UpdateRules {
  bool queues_jobs;         // face recognition and watermark of a photo
  bool saves_description;   // the video_desc row of a web video, which a reindex keeps
  bool names_failed_photo;  // the message of a photo that cannot be saved ends with its path
};

inline constexpr UpdateRules kEventRules = {
    .queues_jobs = true, .saves_description = true, .names_failed_photo = false};
inline constexpr UpdateRules kReindexRules = {
    .queues_jobs = false, .saves_description = false, .names_failed_photo = true};

// Completes INFO in place, writes its rows and starts the tools that follow a save. Null is a bad parameter.
// 0 done or not this plug-in's business; -1 failure.
[[nodiscard]] int UpdateFile(Json::Value* info, unsigned index_type, const UpdateRules& rules);

// True, and logged, when PATH is a folder although a file is expected.
[[nodiscard]] bool IsUnexpectedFolder(const char* path);

inline constexpr const char* kSaveMessage = "Failed to save photo info.";

// Writes the row of INFO in TABLE; a failure is logged as FAILURE under the caller's line.
[[nodiscard]] bool SaveRow(PHOTO_TABLE_TYPE table, Json::Value& info, const char* failure = kSaveMessage,
                           int caller = __builtin_LINE());

#endif  // PHOTO_INDEX_FILE_UPDATE_H_
