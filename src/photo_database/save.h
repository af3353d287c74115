// The save of one media file's row, shared by the three tables.
#ifndef PHOTO_DATABASE_SAVE_H_
#define PHOTO_DATABASE_SAVE_H_

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "photo_database/connection.h"

inline constexpr std::size_t kTakenTimeSize = 255;  // the value of the column "timetaken"

// What the entry checks have found out about one save.
struct SaveRequest {
  const Json::Value& info;
  const RequestConnection& connection;
  const std::string& path;     // of the file
  const char* key;             // the stored path
  std::string_view extension;  // of the key
  const char* disabled;        // "t" or "f"
};

enum class SaveOutcome { kFailed, kNothingToDo, kInserted, kUpdated };

[[nodiscard]] SaveOutcome SavePhoto(const SaveRequest& request);
[[nodiscard]] SaveOutcome SaveVideo(const SaveRequest& request);
[[nodiscard]] SaveOutcome SaveVideoDescription(const SaveRequest& request);

// --- Steps that the tables share.

// The text of a member of the record, as a column can hold it.
std::string RecordText(const SaveRequest& request, const char* key);
// The condition that finds the row; a failure is logged.
Statement RowCondition(const SaveRequest& request);

struct ShareIds {
  int share = 0;
  int rights_share = 0;
};
// Zeros, and a line in the log, when they cannot be told.
ShareIds ShareIdsOf(const std::string& path);

// Runs the statement of a row. OUTCOME when it succeeds.
[[nodiscard]] SaveOutcome RunSave(const SaveRequest& request, const Statement& statement,
                                  SaveOutcome outcome);

// TITLE agrees with NAME up to NAME's first '.', that is, it is only the default that the file name gives.
// Without a '.' the length is that of STEM_OTHERWISE.
bool IsDefaultTitle(std::string_view name, std::string_view title, std::string_view stem_otherwise);

// A coordinate as it stands unquoted in a statement.
inline const char* SqlNumber(const std::string& text) {
  return text.empty() ? "NULL" : text.c_str();
}

#endif  // PHOTO_DATABASE_SAVE_H_
