// People links with the places of their faces.
#include <string>
#include <string_view>

#include "base/export_guard.h"
#include "base/limits.h"
#include "base/owned_list.h"
#include "base/text.h"
#include "lumivault/request_context.h"
#include "photo_database/label.h"
#include "photo_database/label_sql.h"
#include "photo_database/stored_path.h"

namespace {

constexpr const char* kOn = "on";
constexpr const char* kConfirmed = "t";
constexpr std::size_t kFaceLineSize = 8192;  // of one line, terminator included

bool FacesSwitchedOn() {
  const RequestConnection connection;
  if (!IsConnected(connection)) return false;
  Result config;
  if (!RunStatement(connection, Statement::Build(connection.type(), kFaceSwitch), &config)) return false;
  return config.Next() && std::string_view(OrEmpty(config.Field("config_value"))) == kOn;
}

// "id, info, path, column" with tabs between; the path is absolute.
std::string FaceLine(const Result& row) {
  const FaceInfo info = FaceInfoOf(row);
  const char* id = OrEmpty(row.Field("id"));
  const char* path = OrEmpty(row.Field("path"));
  if (!HGAStatusIsHGARequest()) {
    return FormatText(kFaceLineSize, "%s\t%s\t%s\t%s", id, info.text, path, info.column);
  }
  return FormatText(kFaceLineSize, "%s\t%s\t%s/%s\t%s", id, info.text, HGAStatusPhotoDirGet(), path,
                    info.column);
}

// The query for all named and confirmed faces, or for those of the photo at PATH. Nothing narrows the latter:
// every value of the caller's condition selector stands for all people links of the photo.
Statement FacesQuery(int database_type, bool all, const char* path) {
  constexpr const char* kNoCondition = "";
  if (all) {
    return Statement::Build(database_type, FormatText(kPathSize, kNamedFaces).c_str(), kConfirmed);
  }
  return Statement::Build(database_type, FormatText(kPathSize, kFacesOfPhoto, kNoCondition).c_str(),
                          StoredPath(path));
}

RLIBCSZLIST* ListFaces(const char* path, bool all) {
  if (!CheckPath(path)) return nullptr;
  OwnedList lines(RLIBCSzListAlloc(kListSize));
  if (!lines) {
    LOG_COLON(kPhotoDatabaseSource, "RLIBCSzListAlloc failed");
    return nullptr;
  }
  const RequestConnection connection;
  if (!IsConnected(connection)) return nullptr;
  Result faces;
  if (!RunStatement(connection, FacesQuery(connection.type(), all, path), &faces)) return nullptr;
  while (faces.Next()) {
    if (RLIBCSzListPush(lines.get(), FaceLine(faces).c_str()) < 0) return nullptr;
  }
  return lines.release();
}

int SetLabelOfLink(int link_id, int label_id) {
  const auto sql = FormatText(kPathSize, kSetLabelOfLink, label_id, link_id);
  return RunAlone([&](int type) { return Statement::Build(type, sql.c_str()); });
}

int SetInfoOfLink(int link_id, const char* info_new) {
  const auto sql = FormatText(kPathSize, kSetInfoOfLink, link_id);
  return RunAlone([&](int type) { return Statement::Build(type, sql.c_str(), info_new); });
}

int ReadFaceOfLink(int link_id, const char* path, char* out, std::size_t size) {
  if (!CheckPath(path)) return -1;
  const RequestConnection connection;
  if (!IsConnected(connection)) return -1;
  Result link;
  const auto sql = FormatText(kPathSize, kInfoOfLink, link_id);
  if (!RunStatement(connection, Statement::Build(connection.type(), sql.c_str()), &link)) return -1;
  if (!link.Next()) {
    LOG_COLON(kPhotoDatabaseSource, "KAVODBFetchRow failed.");
    return -1;
  }
  const FaceInfo info = FaceInfoOf(link);
  CopyText(out, size, std::string(info.text) + '\t' + info.column);
  return 0;
}

}  // namespace

bool PhotoInfoDBFaceRecognitionEnableGet() {
  return Guarded(kPhotoDatabaseSource, false, [] { return FacesSwitchedOn(); });
}

RLIBCSZLIST* PhotoInfoDBFaceRecognitionDataGet(const char* path, int selector, int /*condition*/) {
  if (path == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return nullptr;
  }
  return Guarded<RLIBCSZLIST*>(kPhotoDatabaseSource, nullptr, [&] { return ListFaces(path, selector != 0); });
}

int PhotoInfoDBFaceRecognitionUpdateImageLabel(int link_id, int label_id) {
  return Guarded(kPhotoDatabaseSource, -1, [&] { return SetLabelOfLink(link_id, label_id); });
}

int PhotoInfoDBFaceRecognitionImageLabelDataGet(int link_id, const char* path, char* out, int size) {
  if (path == nullptr || out == nullptr || size <= 0) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1,
                 [&] { return ReadFaceOfLink(link_id, path, out, static_cast<std::size_t>(size)); });
}

int PhotoInfoDBFaceRecognitionUpdateDetectionResult(const char* info_new, int link_id) {
  if (info_new == nullptr) {
    LOG_COLON(kPhotoDatabaseSource, "Bad parameter.");
    return -1;
  }
  return Guarded(kPhotoDatabaseSource, -1, [&] { return SetInfoOfLink(link_id, info_new); });
}
