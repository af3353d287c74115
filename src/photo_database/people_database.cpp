#include "photo_database/people_database.h"

#include "base/limits.h"
#include "base/log.h"
#include "base/text.h"
#include "photo_database/label.h"
#include "photo_database/people_sql.h"
#include "photo_database/saved_photo.h"

namespace {

// False on failure.
[[nodiscard]] bool AddFace(const Result& row, People people, RLIBCSZHASH* faces, RLIBCSZHASH* columns) {
  const FaceInfo info = FaceInfoOf(row);
  const bool named = people == People::kNamed;
  const char* key = named ? OrEmpty(row.Field("name")) : info.text;
  if (RLIBCSzHashSetValue(faces, key, named ? info.text : "") < 0) return false;
  return columns == nullptr || RLIBCSzHashSetValue(columns, key, info.column) >= 0;
}

// False, and a line in the log, on failure.
bool Select(const RequestConnection& connection, int photo_id, People people, Result* result) {
  const auto people_template =
      FormatText(kPathSize, kPhotoPeople, people == People::kNamed ? kNamedPeople : kUnnamedPeople);
  const auto statement =
      Statement::Build(connection.type(), people_template.c_str(), kConfirmedLink, photo_id);
  if (Execute(connection, statement.get(), result)) return true;
  LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s] (%s)", OrEmpty(statement.get()), connection.error());
  return false;
}

}  // namespace

OwnedHash GetPhotoPeopleTaggingFromDB(int photo_id, People people, RLIBCSZHASH* columns) {
  if (photo_id < 1) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return nullptr;
  }
  OwnedHash faces(RLIBCSzHashAlloc(kListSize));
  if (faces == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "RLIBCSzHashAlloc failed");
    return nullptr;
  }
  const RequestConnection connection;
  if (!IsConnected(connection)) return nullptr;
  Result result;
  if (!Select(connection, photo_id, people, &result)) return nullptr;
  while (result.Next()) {
    if (!AddFace(result, people, faces.get(), columns)) return nullptr;
  }
  return faces;
}
