// Links between photos and labels.
#include <optional>
#include <string_view>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/text.h"
#include "photo_database/label.h"
#include "photo_database/label_sql.h"

namespace {

// The id of the next row of RESULT, or -1.
int FetchId(Result& result) {
  if (result.Next()) return IdOf(result);
  LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed");
  return -1;
}

// The id of the link into ID, which stays empty when there is none; false when the query failed.
[[nodiscard]] bool FindLink(const RequestConnection& connection, int image_id, int label_id,
                            std::optional<int>* id) {
  Result found;
  const auto sql = FormatText(kPathSize, kLinkByIds, image_id, label_id);
  if (!RunStatement(connection, Statement::Build(connection.type(), sql.c_str()), &found)) return false;
  if (KAVODBNumRows(found.get()) > 0) *id = FetchId(found);
  return true;
}

// The id of a new link: the highest one. Another writer of the same database may have added a link between
// the two statements, and then its id is given. When it has just made this very link, only the insert was in
// vain.
int InsertLink(const RequestConnection& connection, int image_id, int label_id, const char* info_new,
               const char* status) {
  const auto sql = FormatText(kPathSize, kInsertLink, image_id, label_id);
  const Statement insert = Statement::Build(connection.type(), sql.c_str(), info_new, status);
  if (!insert) return -1;
  if (!RunStatement(connection, insert)) {
    std::optional<int> id;
    return FindLink(connection, image_id, label_id, &id) ? id.value_or(-1) : -1;
  }
  Result last;
  if (!RunStatement(connection, Statement::Build(connection.type(), kLastLink), &last)) return -1;
  return FetchId(last);
}

int FindOrInsertLink(int image_id, int label_id, const char* info_new, const char* status) {
  const RequestConnection connection;
  if (!IsConnected(connection)) return -1;
  std::optional<int> id;
  if (!FindLink(connection, image_id, label_id, &id)) return -1;
  return id ? *id : InsertLink(connection, image_id, label_id, info_new, status);
}

int DeleteConfirmedLink(int image_id, int label_id) {
  return RunAlone([&](int type) { return Statement::Build(type, kDeleteConfirmedLink, image_id, label_id); });
}

int DeleteKeywordLinks(int image_id) {
  const RequestConnection connection;
  if (!IsConnected(connection)) return -1;
  const Statement sql = Statement::Build(connection.type(), kDeleteKeywordLinks, image_id);
  if (!sql) return -1;
  if (Execute(connection, sql.get())) return 0;
  // With a full stop, unlike the others.
  LOG_COLON(kPhotoDatabaseSource, "Failed to exec [%s] (%s).", sql.get(), connection.error());
  return -1;
}

bool IsStatus(const char* text) {
  using std::string_view;
  return text != nullptr && (string_view(text) == "t" || string_view(text) == "f");
}

}  // namespace

int PhotoInfoDBImageLabelDataAdd(int image_id, int label_id, const char* info_new, const char* status) {
  if (info_new == nullptr || !IsStatus(status)) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return FindOrInsertLink(image_id, label_id, info_new, status); });
}

int PhotoInfoDBImageLabelDataDelete(int image_id, int label_id) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return DeleteConfirmedLink(image_id, label_id); });
}

int PhotoInfoDBImageLabelDeleteByImage(int image_id) {
  if (image_id < 1) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return DeleteKeywordLinks(image_id); });
}
