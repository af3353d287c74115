// How fast one worker and two index real photos into a shared tree, against a personal library of the same
// files in the same minutes. The server is one of the benchmark's own, which has every commit on the disk.
//
//   shared_index_bench PHOTO_FOLDER [COUNT]
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <stdexcept>

#include "bench_main.h"
#include "photo_set.h"
#include "platform/private_cluster.h"
#include "process_peak.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kRounds = 3;

double Index(std::vector<std::string> command, const char* workers, const fs::path& state) {
  command.insert(command.end(), {"-j", workers, "--quiet", "--root", state.string()});
  return RunAndWatchIndex(command).seconds;
}

// A fresh library each time. Both are made of the same files, in turn.
double IndexPersonal(const fs::path& scratch, const char* workers) {
  const fs::path photos = scratch / "photos";
  fs::remove_all(scratch / "personal");
  const double seconds = Index({LUMIVAULT_PROGRAM, "index", photos.string()}, workers, scratch / "personal");
  RemoveDatabase(photos / ".KAVOHGADB");
  return seconds;
}

double IndexShared(const fs::path& scratch, const char* workers) {
  const fs::path state = scratch / "shared";
  fs::remove_all(state);
  if (std::system("dropdb -U postgres --if-exists photo") != 0) throw std::runtime_error("dropdb failed");
  static_cast<void>(SecondsOf(
      {LUMIVAULT_PROGRAM, "init", "--shared", (scratch / "photos").string(), "--root", state.string()}));
  return Index({LUMIVAULT_PROGRAM, "index", "--shared"}, workers, state);
}

// In turn, so that both meet the same machine; the medians.
void Compare(const fs::path& scratch, const char* workers, std::size_t count) {
  std::array<double, kRounds> personal{};
  std::array<double, kRounds> shared{};
  for (std::size_t round = 0; round < kRounds; ++round) {
    personal[round] = IndexPersonal(scratch, workers);
    shared[round] = IndexShared(scratch, workers);
  }
  std::sort(personal.begin(), personal.end());
  std::sort(shared.begin(), shared.end());
  const double of_personal = static_cast<double>(count) / personal[kRounds / 2];
  const double of_shared = static_cast<double>(count) / shared[kRounds / 2];
  std::printf("%s worker(s): personal %.0f photos/s, shared %.0f photos/s, %.2f : 1\n", workers, of_personal,
              of_shared, of_shared / of_personal);
}

void Bench(const fs::path& source, std::size_t count) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  PrivateCluster server;
  if (!server.Make(true)) throw std::runtime_error("no PostgreSQL server could be started");
  const TempDir scratch;
  MakePhotoSet(source, scratch.path() / "photos", count);
  for (const char* workers : {"1", "2"}) Compare(scratch.path(), workers, count);
}

}  // namespace

int main(int argc, char** argv) {
  return BenchMain("shared_index_bench", argc, argv, Bench);
}
