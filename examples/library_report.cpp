// Lists the photos of a library with their album, the people in them and the orientation that the files
// themselves tell: a tool on the database interface.
//
//   library_report PHOTO_FOLDER       (an absolute path: a personal photo folder, or the shared one)
//
// Exit status: 0 done, 1 the library cannot be read, 2 wrong usage.
#include <lumivault/media_info.h>
#include <lumivault/photo_database.h>
#include <lumivault/photo_exiv2.h>
#include <lumivault/photo_util.h>
#include <lumivault/platform/database.h>
#include <lumivault/platform/string_list.h>
#include <lumivault/request_context.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

constexpr int kUsage = 2;
constexpr int kAll = -1;          // no limit, no offset
constexpr int kFacesOfPhoto = 0;  // the selector of PhotoInfoDBFaceRecognitionDataGet
constexpr std::size_t kNameSize = 4096;

struct CloseCursor {
  void operator()(MEDIA_DB_HANDLER* cursor) const { PhotoInfoDBClose(cursor); }
};
struct FreeList {
  void operator()(RLIBCSZLIST* list) const { RLIBCSzListFree(list); }
};
// The connection of a personal request is its user's, the shared one is the library's.
struct EndConnection {
  void operator()(KAVODB_CONNECTION* connection) const {
    if (HGAStatusIsHGARequest() != 0) KAVODBClose(connection);
  }
};

using Cursor = std::unique_ptr<MEDIA_DB_HANDLER, CloseCursor>;
using List = std::unique_ptr<RLIBCSZLIST, FreeList>;
using Connection = std::unique_ptr<KAVODB_CONNECTION, EndConnection>;

const char* EngineName() {
  const Connection connection(PhotoDBConnect());
  return KAVODBDatabaseTypeGet(connection.get()) == KAVODB_TYPE_SQLITE ? "SQLite" : "PostgreSQL";
}

// PATH as it is called inside its library, or the album that holds it.
std::string Named(int (*naming)(const char*, char*, std::size_t), const char* path) {
  char name[kNameSize];
  return naming(path, name, sizeof name) == 0 ? name : "?";
}

int People(const char* path) {
  return RLIBCSzListCount(List(PhotoInfoDBFaceRecognitionDataGet(path, kFacesOfPhoto, 0)).get());
}

std::string Orientation(const char* path) {
  try {
    return std::to_string(PhotoExiv2(path).GetOrientation());
  } catch (const Exiv2::BasicError<char>&) {
    return "unreadable";
  }
}

void Report() {
  const Cursor cursor(PhotoInfoDBOpen(PHOTO_TABLE_IMAGE, nullptr, nullptr, nullptr, "path", kAll, kAll));
  const auto photo = std::make_unique<KAVO_MEDIA_INFO>();
  while (PhotoInfoDBGet(cursor.get(), photo.get()) == 0) {
    const char* path = photo->szPath;
    std::printf("%s: album %s, people %d, orientation %s\n", Named(PhotoUtilShareNameGet, path).c_str(),
                Named(GetSharenameByFilePath, path).c_str(), People(path), Orientation(path).c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: library_report PHOTO_FOLDER\n");
    return kUsage;
  }
  const int photos =
      HGAStatusCheck(argv[1]) == 0 ? PhotoInfoDBGetCount(PHOTO_TABLE_IMAGE, "id", nullptr, nullptr) : -1;
  if (photos < 0) {
    std::fprintf(stderr, "%s: not a library, or not to be read\n", argv[1]);
    return EXIT_FAILURE;
  }
  std::printf("%d photos in %s\n", photos, EngineName());
  Report();
  PhotoDBConnClose();
  return EXIT_SUCCESS;
}
