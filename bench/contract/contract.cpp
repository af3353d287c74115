// What a photo costs, counted and not timed: each figure is the difference between a library of few photos
// and one of more, so that what a run costs once does not count. Fails when a figure is more than a tenth
// above the one in FILE.
//
//   contract FILE          compares
//   contract --update FILE writes FILE anew
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "contract/traced_run.h"
#include "support/media_maker.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFew = 32;
constexpr int kMore = 96;  // both of whole batches
constexpr double kMostGrowth = 1.1;
constexpr int kSkipped = 77;  // as CTest is told

// With a position and keywords in half of them, a person in every eighth, and bytes of the camera's own in
// all.
Tags TagsOf(int number) {
  constexpr int kBytes = 600;
  constexpr int kBytesOfEach = 251;
  std::string note = "1";
  for (int i = 0; i < kBytes; ++i) note += " " + std::to_string(i * number % kBytesOfEach);
  Tags tags{{"Exif.Image.Make", "Maker"},
            {"Exif.Image.Model", "Model " + std::to_string(number)},
            {"Exif.Photo.DateTimeOriginal", "2020:01:02 03:04:05"},
            {"Exif.Photo.ExposureTime", "1/125"},
            {"Exif.Photo.FNumber", "28/10"},
            {"Exif.Photo.ISOSpeedRatings", "200"},
            {"Exif.Photo.MakerNote", note}};
  const auto add = [&](const Tags& more) { tags.insert(tags.end(), more.begin(), more.end()); };
  if (number % 2 == 0) {
    add({{"Exif.GPSInfo.GPSLatitudeRef", "N"},
         {"Exif.GPSInfo.GPSLatitude", "35/1 30/1 20/1"},
         {"Exif.GPSInfo.GPSLongitudeRef", "E"},
         {"Exif.GPSInfo.GPSLongitude", "139/1 4510/100 0/1"}});
  }
  if (number / 2 % 2 == 0)
    add({{"Iptc.Application2.Keywords", "sea"}, {"Iptc.Application2.Keywords", "sun"}});
  if (number % 8 == 0) add(FaceTags("Ann"));
  return tags;
}

// A library in a folder of its own, and what each kind of run costs there.
class Library {
 public:
  Library(const fs::path& base, int photos) : base_(base) {
    for (int i = 0; i < photos; ++i)
      MakeJpeg(base_ / "photos/album" / (std::to_string(i) + ".jpg"), 64, 48, TagsOf(i));
    LetTheClockMoveOn();
  }

  Counts Run() const { return TracedIndex(base_ / "photos", base_ / "state", base_ / "trace"); }
  void MoveAlbum() const {
    fs::rename(base_ / "photos/album", base_ / "photos/moved");
    LetTheClockMoveOn();
  }

 private:
  fs::path base_;
};

// KIND of event -> what each costs, a photo.
using Figures = std::map<std::string, double>;

void AddFigures(const std::string& kind, const Counts& few, Counts more, Figures& figures) {
  for (const auto& [name, count] : few) more.try_emplace(name, 0);
  for (const auto& [name, count] : more) {
    const auto found = few.find(name);
    const double of_few = found != few.end() ? found->second : 0;
    figures[kind + ": " + name] = std::round((count - of_few) / (kMore - kFew) * 100) / 100;
  }
}

Figures Measure() {
  const TempDir scratch;
  const Library few(scratch.path() / "few", kFew);
  const Library more(scratch.path() / "more", kMore);
  Figures figures;
  AddFigures("added", few.Run(), more.Run(), figures);
  AddFigures("unchanged", few.Run(), more.Run(), figures);
  few.MoveAlbum();
  more.MoveAlbum();
  AddFigures("moved", few.Run(), more.Run(), figures);
  std::erase_if(figures, [](const auto& figure) {
    return figure.first.starts_with("unchanged: worker") || figure.first.starts_with("added: run") ||
           figure.first.starts_with("moved: run");
  });
  return figures;
}

// Lines of a figure, a blank and its name; '#' begins a remark.
Figures ReadFigures(const std::string& file) {
  std::ifstream lines(file);
  if (!lines) throw std::runtime_error(file + " cannot be read");
  Figures figures;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream words(line);
    double figure = 0;
    std::string name;
    if (words >> figure && std::getline(words >> std::ws, name)) figures[name] = figure;
  }
  return figures;
}

void WriteFigures(const std::string& file, const Figures& figures) {
  std::ofstream out(file);
  out << "# What a photo costs (bench/contract). scripts/contract-update writes this file anew.\n";
  for (const auto& [name, figure] : figures) out << figure << ' ' << name << '\n';
  if (!out.flush()) throw std::runtime_error(file + " cannot be written");
}

// "" for a figure that is much as TOLD. One that has fallen by half was not counted, or is to be told anew.
const char* Change(double told, double now) {
  constexpr double kRounding = 0.02;
  constexpr double kLeast = 0.5;
  if (now > told * kMostGrowth + kRounding) return "GROWN";
  return now < told * kLeast ? "FALLEN" : "";
}

// One line a figure; false when any has changed, or is in one list alone.
bool Compare(const Figures& told, const Figures& now) {
  bool kept = told.size() == now.size();
  for (const auto& [name, figure] : now) {
    const auto found = told.find(name);
    const char* change = found != told.end() ? Change(found->second, figure) : "NEW";
    std::printf("%-8s %10.2f %10.2f  %s\n", change, found != told.end() ? found->second : 0, figure,
                name.c_str());
    kept = kept && *change == '\0';
  }
  if (!kept) std::printf("Not what is told of a photo. When that is meant: scripts/contract-update\n");
  return kept;
}

bool CanTrace() {
  return std::system(LUMIVAULT_STRACE " -o /dev/null true >/dev/null 2>&1") == 0;
}

int Run(const std::vector<std::string_view>& arguments) {
  const bool update = arguments.size() == 2 && arguments.front() == "--update";
  if (!update && arguments.size() != 1) {
    std::fprintf(stderr, "usage: contract [--update] FILE\n");
    return 2;
  }
  if (!CanTrace()) {
    std::printf("[  SKIPPED ] bench.contract (no strace, or processes may not be traced here)\n");
    return kSkipped;
  }
  const std::string file(arguments.back());
  const Figures now = Measure();
  if (update) WriteFigures(file, now);
  return update || Compare(ReadFigures(file), now) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv + std::min(argc, 1), argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "contract: %s\n", error.what());
    return 1;
  }
}
