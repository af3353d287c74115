// How fast one worker indexes real photos, against two bare limits measured in the same run with the files in
// the page cache: reading the metadata once with Exiv2, and twelve statements a photo on a kept, durable
// SQLite connection.
//
//   index_bench PHOTO_FOLDER [COUNT]
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "photo_set.h"
#include "platform/safe_image.h"
#include "process_peak.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kDefaultCount = 2'000;
constexpr int kRounds = 3;
constexpr std::size_t kPhotosPerTransaction = 32;

double Seconds(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <typename Body>
double MedianSeconds(Body body) {
  double seconds[kRounds];
  for (double& round : seconds) round = body();
  std::sort(std::begin(seconds), std::end(seconds));
  return seconds[kRounds / 2];
}

double BareMetadata(const std::vector<std::string>& files) {
  const auto start = Clock::now();
  for (const std::string& file : files) OpenImageSafely(file)->readMetadata();
  return Seconds(start);
}

class BareDatabase {
 public:
  explicit BareDatabase(const std::string& file) {
    if (sqlite3_open(file.c_str(), &database_) != SQLITE_OK) throw std::runtime_error("no database");
    std::ostringstream schema;
    schema << std::ifstream(LUMIVAULT_SQL_DIR "/pphoto.sql").rdbuf();
    Run(schema.str());
    Run("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
  }
  ~BareDatabase() { sqlite3_close(database_); }
  BareDatabase(const BareDatabase&) = delete;
  BareDatabase& operator=(const BareDatabase&) = delete;

  void Run(const std::string& sql) {
    if (sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(database_));
    }
  }

  void TwelveStatements(const std::string& path) {
    const std::string key = "path = '" + path + "'";
    Run("SELECT * FROM photo_config WHERE config_key = 'excluding_index_format'");
    Run("SELECT path, title, description FROM photo_image WHERE " + key);
    Run("SELECT shareid FROM photo_share WHERE sharename = '/'");
    Run("SELECT shareid FROM photo_share WHERE sharename = '/'");
    Run("INSERT INTO photo_image (path, name, title, description, album, size, camera_make, camera_model, "
        "timetaken) VALUES('" +
        path +
        "', 'name.jpg', 'name', 'a description', 'album', 123456, 'Make', 'Model', '2020-01-01 00:00:00')");
    Run("SELECT id FROM photo_image WHERE " + key);
    Run("DELETE FROM photo_image_label WHERE image_id = 0");
    Run("INSERT OR IGNORE INTO photo_label (category, name) VALUES (2, 'keyword')");
    Run("SELECT * FROM photo_label WHERE category = 2 AND name = 'keyword'");
    Run("INSERT INTO photo_image_label (image_id, label_id) SELECT id, 1 FROM photo_image WHERE " + key);
    Run("SELECT * FROM photo_image_label ORDER BY id DESC LIMIT 1");
    Run("SELECT * FROM photo_config WHERE config_key = 'ms_people_tag_merged'");
  }

 private:
  sqlite3* database_ = nullptr;
};

double BareStatements(const fs::path& folder, std::size_t count) {
  const fs::path file = folder / "bare.db";
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(file.string() + suffix);
  BareDatabase database(file);
  const auto start = Clock::now();
  for (std::size_t i = 0; i < count; ++i) {
    if (i % kPhotosPerTransaction == 0) database.Run(i == 0 ? "BEGIN" : "COMMIT; BEGIN");
    database.TwelveStatements("album/" + std::to_string(i) + ".jpg");
  }
  database.Run("COMMIT");
  return Seconds(start);
}

void Print(const char* what, double seconds, std::size_t count) {
  std::printf("%-44s %8.0f photos/s  %7.3f ms a photo\n", what, static_cast<double>(count) / seconds,
              seconds * 1e3 / static_cast<double>(count));
}

int Bench(const fs::path& source, std::size_t count) {
  std::string pattern = fs::temp_directory_path() / "lumivault-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  const fs::path scratch = pattern;
  const auto files = MakePhotoSet(source, scratch / "photos", count);

  const double metadata = MedianSeconds([&] { return BareMetadata(files); });
  const double statements = MedianSeconds([&] { return BareStatements(scratch, count); });
  ProgramRun index;
  const double indexed = MedianSeconds([&] {
    for (const char* suffix : {"", "-wal", "-shm"})
      fs::remove(scratch / "photos" / (std::string(".KAVOHGADB") + suffix));
    fs::remove_all(scratch / "state");
    index = RunAndWatch({LUMIVAULT_PROGRAM, "index", (scratch / "photos").string(), "-j", "1", "--quiet",
                         "--root", (scratch / "state").string()});
    return index.seconds;
  });
  fs::remove_all(scratch);

  Print("bare Exiv2 open and readMetadata", metadata, count);
  Print("twelve bare statements, durable", statements, count);
  Print("lumivault index, one worker", indexed, count);
  std::printf("index / bare Exiv2                           1 : %.1f\n", indexed / metadata);
  std::printf("index / bare statements                      1 : %.1f\n", indexed / statements);
  std::printf("peak memory: all processes %.1f MiB, the largest %.1f MiB; exit status %d\n", index.peak_mib,
              index.largest_mib, index.status);
  return index.status == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: index_bench PHOTO_FOLDER [COUNT]\n");
    return 2;
  }
  try {
    return Bench(argv[1], argc > 2 ? std::strtoul(argv[2], nullptr, 10) : kDefaultCount);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "index_bench: %s\n", error.what());
    return 1;
  }
}
