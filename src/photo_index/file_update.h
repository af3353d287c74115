#ifndef PHOTO_INDEX_FILE_UPDATE_H_
#define PHOTO_INDEX_FILE_UPDATE_H_

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

// Writes the row of INFO in the photo or video table; a failure is logged.
[[nodiscard]] bool SavePhoto(Json::Value& info);
[[nodiscard]] bool SaveVideo(Json::Value& info);

#endif  // PHOTO_INDEX_FILE_UPDATE_H_
