// How fast one worker and two index real photos, against two bare limits measured in the same run with the
// files in the page cache: reading the metadata once with Exiv2, and twelve statements a photo on a kept,
// durable SQLite connection. Then how long a run takes that finds nothing changed, against a bare `find`.
//
//   index_bench PHOTO_FOLDER [COUNT]
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bench_main.h"
#include "photo_set.h"
#include "platform/heif_reading.h"
#include "platform/safe_image.h"
#include "process_peak.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kRounds = 3;
constexpr int kUnchangedFiles = 10'000;
constexpr std::size_t kUnchangedRounds = 7;
constexpr std::size_t kPhotosPerTransaction = 32;

double Seconds(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <std::size_t N>
double Median(std::array<double, N> seconds) {
  std::sort(seconds.begin(), seconds.end());
  return seconds[N / 2];
}

template <typename Body>
double MedianSeconds(Body body) {
  std::array<double, kRounds> seconds{};
  for (double& round : seconds) round = body();
  return Median(seconds);
}

double BareMetadata(const std::vector<std::string>& files) {
  const auto start = Clock::now();
  const HeifReading heif;
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
  RemoveDatabase(file);
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

// A fresh library each time.
ProgramRun Index(const fs::path& scratch, const char* workers) {
  RemoveDatabase(scratch / "photos/.KAVOHGADB");
  fs::remove_all(scratch / "state");
  return RunAndWatchIndex({LUMIVAULT_PROGRAM, "index", (scratch / "photos").string(), "-j", workers,
                           "--quiet", "--root", (scratch / "state").string()});
}

// One and two workers in turn, so that both meet the same machine.
struct IndexTimes {
  double one = 0;
  double two = 0;
  ProgramRun last_of_one;
};

IndexTimes MeasureIndex(const fs::path& scratch) {
  std::array<double, kRounds> one{};
  std::array<double, kRounds> two{};
  IndexTimes times;
  for (std::size_t round = 0; round < kRounds; ++round) {
    times.last_of_one = Index(scratch, "1");
    one[round] = times.last_of_one.seconds;
    two[round] = Index(scratch, "2").seconds;
  }
  times.one = Median(one);
  times.two = Median(two);
  return times;
}

// A run that finds nothing changed, and a bare walk that looks at every file.
struct UnchangedTimes {
  double index = 0;
  double find = 0;
};

UnchangedTimes MeasureUnchanged(const std::string& photo, const fs::path& scratch) {
  const fs::path folder = scratch / "unchanged";
  MakeCopies(photo, folder, kUnchangedFiles);
  const std::vector<std::string> command = {LUMIVAULT_PROGRAM, "index",  folder.string(),
                                            "--quiet",         "--root", (scratch / "state2").string()};
  SecondsOf(command);
  std::array<double, kUnchangedRounds> index{};
  std::array<double, kUnchangedRounds> find{};
  for (std::size_t round = 0; round < kUnchangedRounds; ++round) {
    index[round] = SecondsOf(command);
    find[round] = SecondsOf({"find", folder.string(), "-printf", "%s %T@ %i\n"});
  }
  return {Median(index), Median(find)};
}

std::string Smallest(const std::vector<std::string>& files) {
  return *std::min_element(files.begin(), files.end(), [](const std::string& a, const std::string& b) {
    return fs::file_size(a) < fs::file_size(b);
  });
}

void BenchIndex(const fs::path& scratch, const std::vector<std::string>& files) {
  const std::size_t count = files.size();
  const double metadata = MedianSeconds([&] { return BareMetadata(files); });
  const double statements = MedianSeconds([&] { return BareStatements(scratch, count); });
  const IndexTimes index = MeasureIndex(scratch);
  Print("bare Exiv2 open and readMetadata", metadata, count);
  Print("twelve bare statements, durable", statements, count);
  Print("lumivault index, one worker", index.one, count);
  Print("lumivault index, two workers", index.two, count);
  std::printf("index / bare Exiv2                           1 : %.1f\n", index.one / metadata);
  std::printf("index / bare statements                      1 : %.1f\n", index.one / statements);
  std::printf("two workers / one                            %.2f : 1\n", index.one / index.two);
  std::printf("peak memory, one worker: all processes %.1f MiB, the largest %.1f MiB\n",
              index.last_of_one.peak_mib, index.last_of_one.largest_mib);
}

void BenchUnchanged(const fs::path& scratch, const std::string& photo) {
  const UnchangedTimes times = MeasureUnchanged(photo, scratch);
  std::printf("nothing changed in %d files                %.1f ms, find -printf %.1f ms, %.1f : 1\n",
              kUnchangedFiles, times.index * 1e3, times.find * 1e3, times.index / times.find);
}

void Bench(const fs::path& source, std::size_t count) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const TempDir scratch;
  const auto files = MakePhotoSet(source, scratch.path() / "photos", count);
  BenchIndex(scratch.path(), files);
  BenchUnchanged(scratch.path(), Smallest(files));
}

}  // namespace

int main(int argc, char** argv) {
  return BenchMain("index_bench", argc, argv, Bench);
}
