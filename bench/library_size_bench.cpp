// What one event costs in a library of 2,000 photos and in one of 200,000: the plug-in's calls through a lent
// connection in one transaction, as a worker makes them. The libraries are made up: only the files that a
// call looks at are there. Processor time, so that a busy machine changes little.
//
//   library_size_bench
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "common/installation.h"
#include "platform/connection_lending.h"
#include "probe/probe.h"
#include "size_library.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array<std::size_t, 2> kSizes = {2'000, 200'000};
constexpr std::size_t kRounds = 5;
constexpr std::size_t kFilesPerRound = 21;
constexpr std::size_t kFoldersPerRound = 5;
constexpr unsigned kIndexType = 1;
constexpr double kMostRatio = 2;

double ProcessorMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

// The calls in the order in which they are first measured.
class Times {
 public:
  template <typename Call>
  void Measure(const std::string& what, Call call) {
    const double start = ProcessorMilliseconds();
    call();
    const double end = ProcessorMilliseconds();
    if (!times_.contains(what)) order_.push_back(what);
    times_[what].push_back(end - start);
  }
  double Median(const std::string& what) const {
    std::vector<double> times = times_.at(what);
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }
  const std::vector<std::string>& order() const { return order_; }

 private:
  std::vector<std::string> order_;
  std::map<std::string, std::vector<double>> times_;
};

void Expect(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what + " failed: " + KAVODBLentErrorGet());
}

// Makes the calls on one library.
class Events {
 public:
  Events(const Plugin& plugin, const SizeLibrary& library, Times& times)
      : plugin_(plugin), library_(library), times_(times) {}

  void FileEvents(const std::string& key) {
    const std::string path = library_.Path(key);
    const std::string renamed = path + ".new.jpg";
    library_.PutPhoto(path);
    Add("IndexAdd, a changed file", path);
    fs::rename(path, renamed);
    Rename(renamed, path);
    fs::rename(renamed, path);
    Rename(path, renamed);
    fs::remove(path);
    times_.Measure("IndexDelete, a file",
                   [&] { Expect(plugin_.IndexDelete(path.c_str()) == 0, "IndexDelete"); });
    library_.PutPhoto(path);
    Add("IndexAdd, a new file", path);
    fs::remove(path);
  }

  // A folder of ten files; its rows are there again at the end.
  void FolderEvents(const std::string& key) {
    const std::string path = library_.Path(key);
    const std::string renamed = path + " new";
    fs::rename(path, renamed);
    RenameFolder(renamed, path);
    fs::rename(renamed, path);
    RenameFolder(path, renamed);
    fs::remove(path);
    times_.Measure("IndexDirDelete, a folder of ten files",
                   [&] { Expect(plugin_.IndexDirDelete(path.c_str()) == 0, "IndexDirDelete"); });
    fs::create_directory(path);
    times_.Measure("IndexDirAdd", [&] { Expect(plugin_.IndexDirAdd(path.c_str()) == 0, "IndexDirAdd"); });
    for (std::size_t i = 0; i < SizeLibrary::kFilesOfSmallFolder; ++i) {
      const std::string file = path + "/" + SizeLibrary::FileOfSmallFolder(i);
      library_.PutPhoto(file);
      Add("IndexAdd, a new file", file);
      fs::remove(file);
    }
  }

 private:
  void Add(const char* what, const std::string& path) {
    Json::Value record = ProbeFile(path, MediaKind::kPhoto).media;
    times_.Measure(what, [&] { Expect(plugin_.IndexAdd_Json(&record, kIndexType) == 0, "IndexAdd"); });
  }
  void Rename(const std::string& path, const std::string& from) {
    Json::Value record = ProbeFile(path, MediaKind::kPhoto).media;
    times_.Measure("IndexRename, a file", [&] {
      Expect(plugin_.IndexRename_Json(&record, kIndexType, from.c_str()) == 0, "IndexRename");
    });
  }
  void RenameFolder(const std::string& path, const std::string& from) {
    times_.Measure("IndexDirRename", [&] {
      Expect(plugin_.IndexDirRename(path.c_str(), from.c_str()) == 0, "IndexDirRename");
    });
  }

  const Plugin& plugin_;
  const SizeLibrary& library_;
  Times& times_;
};

// The library's database, lent to the plug-in.
class Lent {
 public:
  Lent(const Plugin& plugin, const SizeLibrary& library) : plugin_(plugin) {
    Expect(plugin.HGAStatusCheck(library.Path("").c_str()) >= 0, "the check of the library");
    Expect(KAVODBLend(library.database().c_str()) == 0, "the loan");
  }
  ~Lent() {
    KAVODBLendEnd();
    plugin_.IndexDBClose();
  }
  Lent(const Lent&) = delete;
  Lent& operator=(const Lent&) = delete;

 private:
  const Plugin& plugin_;
};

void OneRound(const Plugin& plugin, const SizeLibrary& library, std::size_t round, Times& times) {
  const Lent lent(plugin, library);
  Events events(plugin, library, times);
  Expect(KAVODBBatchBegin() == 0, "the transaction");
  for (const std::string& key : library.SomeFiles(round, kFilesPerRound)) events.FileEvents(key);
  for (const std::string& key : library.SomeSmallFolders(round, kFoldersPerRound)) events.FolderEvents(key);
  Expect(KAVODBBatchCommit() == 0, "the commit");
}

// False when a call for a single file costs more than it may.
bool Report(const Times& small, const Times& large) {
  std::printf("%-42s %9zu %9zu   ratio\n", "processor time of one call, ms", kSizes[0], kSizes[1]);
  bool holds = true;
  for (const std::string& what : small.order()) {
    const double ratio = large.Median(what) / small.Median(what);
    std::printf("%-42s %9.3f %9.3f   %.2f\n", what.c_str(), small.Median(what), large.Median(what), ratio);
    holds = holds && ratio <= kMostRatio;
  }
  return holds;
}

Plugin LoadPlugin() {
  const auto path = PluginPath();
  if (!path) throw std::runtime_error(path.failure().message);
  auto plugin = Plugin::Load(*path);
  if (!plugin) throw std::runtime_error(plugin.failure().message);
  return std::move(*plugin);
}

int Bench() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  const TempDir scratch;
  const Plugin plugin = LoadPlugin();
  std::vector<SizeLibrary> libraries;
  libraries.reserve(kSizes.size());
  for (const std::size_t size : kSizes) {
    libraries.emplace_back(plugin, scratch.path() / "state", scratch.path() / std::to_string(size), size);
  }
  std::array<Times, kSizes.size()> times;
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < kSizes.size(); ++i) OneRound(plugin, libraries[i], round, times[i]);
  }
  return Report(times[0], times[1]) ? 0 : 1;
}

}  // namespace

int main() {
  try {
    return Bench();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "library_size_bench: %s\n", error.what());
    return 1;
  }
}
