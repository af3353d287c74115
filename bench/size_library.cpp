#include "size_library.h"

#include <sqlite3.h>

#include <exiv2/exiv2.hpp>
#include <stdexcept>

#include "library/library.h"
#include "library/state_root.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kFilesOfFolder = 100;
constexpr std::size_t kLabels = 200;
constexpr std::size_t kFirstSmallAlbum = 1'000'000;

// The numbers 0 to COUNT - 1, as the rows n.i of the statement that follows.
std::string Numbers(std::size_t count) {
  return "WITH n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
         " - 1) ";
}

// COUNT albums of FILES photos each, called "NAME 0" and so on, with ids from FIRST on.
std::string Albums(const std::string& name, std::size_t first, std::size_t count, std::size_t files) {
  const std::string id = std::to_string(first);
  const std::string each = std::to_string(files);
  const std::string album = "'" + name + " ' || (i / " + each + ")";
  const std::string file = "(i % " + each + ") || '.jpg'";
  const std::string share = "i / " + each + " + " + id;
  return Numbers(count) + "INSERT INTO photo_share (shareid, sharename, is_subdir, ref_shareid) SELECT i + " +
         id + ", '" + name + " ' || i, 'f', i + " + id + " FROM n;" + Numbers(count * files) +
         "INSERT INTO photo_image (path, name, title, album, size, timetaken, shareid, privilege_shareid) "
         "SELECT " +
         album + " || '/' || " + file + ", " + file + ", i % " + each + ", " + album +
         ", 1000 + i, '2020-01-01 00:00:00', " + share + ", " + share + " FROM n;";
}

std::string Labels() {
  // Where both are the same label the photo has one.
  const std::string links =
      "INSERT OR IGNORE INTO photo_image_label (image_id, label_id) SELECT id, 1 + id * ";
  const std::string of_each = " % " + std::to_string(kLabels) + " FROM photo_image;";
  return Numbers(kLabels) +
         "INSERT INTO photo_label (id, category, name) SELECT 1 + i, 2, 'keyword ' || i FROM n;" + links +
         "1" + of_each + links + "7" + of_each;
}

[[noreturn]] void Fail(const std::string& why) {
  throw std::runtime_error(why);
}

void RegisterLibrary(const fs::path& state, const fs::path& folder) {
  const auto root = StateRoot::Locate(state);
  if (!root) Fail(root.failure().message);
  if (const auto prepared = root->Prepare(); !prepared) Fail(prepared.failure().message);
  if (const auto library = MakeLibrary(*root, folder); !library) Fail(library.failure().message);
}

}  // namespace

SizeLibrary::SizeLibrary(const Plugin& plugin, const fs::path& state, const fs::path& folder,
                         std::size_t photos)
    : folder_(folder), photos_(photos) {
  fs::create_directories(folder_);
  RegisterLibrary(state, folder_);
  // The plug-in makes the database.
  if (plugin.HGAStatusCheck(folder_.c_str()) < 0) Fail("no library could be made");
  Fill();
  for (std::size_t i = 0; i < kSmallFolders; ++i)
    fs::create_directory(folder_ / ("small " + std::to_string(i)));
}

std::string SizeLibrary::database() const {
  return Library{folder_, ""}.database();
}

void SizeLibrary::Fill() const {
  const std::string statements =
      "PRAGMA synchronous = OFF; BEGIN; INSERT INTO photo_config VALUES "
      "('ms_people_tag_merged', 'on');" +
      Albums("album", 2, photos_ / kFilesOfFolder, kFilesOfFolder) +
      Albums("small", kFirstSmallAlbum, kSmallFolders, kFilesOfSmallFolder) + Labels() + "COMMIT";
  sqlite3* database = nullptr;
  bool filled =
      sqlite3_open_v2(this->database().c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK;
  filled = filled && sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  const std::string why = sqlite3_errmsg(database);
  sqlite3_close(database);
  if (!filled) Fail("the library could not be filled: " + why);
}

std::vector<std::string> SizeLibrary::SomeFiles(std::size_t round, std::size_t count) const {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t number = i * (photos_ / count) + round;
    keys.push_back("album " + std::to_string(number / kFilesOfFolder) + "/" + std::to_string(number) +
                   ".jpg");
  }
  return keys;
}

std::vector<std::string> SizeLibrary::SomeSmallFolders(std::size_t round, std::size_t count) const {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i) keys.push_back("small " + std::to_string(round * count + i));
  return keys;
}

std::string SizeLibrary::FileOfSmallFolder(std::size_t number) {
  return std::to_string(number) + ".jpg";
}

void SizeLibrary::PutPhoto(const std::string& path) {
  fs::create_directories(fs::path(path).parent_path());
  const auto photo = Exiv2::ImageFactory::create(Exiv2::ImageType::jpeg, path);
  for (const char* keyword : {"keyword 1", "keyword 2"}) {
    Exiv2::StringValue value(keyword);
    photo->iptcData().add(Exiv2::IptcKey("Iptc.Application2.Keywords"), &value);
  }
  photo->writeMetadata();
}
