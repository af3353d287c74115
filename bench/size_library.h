// A library that is made up: rows of photos in albums of a hundred, two labels each, without their files.
#ifndef BENCH_SIZE_LIBRARY_H_
#define BENCH_SIZE_LIBRARY_H_

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "worker/plugin.h"

class SizeLibrary {
 public:
  // Makes the library of PHOTOS photos in FOLDER, known to the state folder STATE. Throws when that fails.
  SizeLibrary(const Plugin& plugin, const std::filesystem::path& state, const std::filesystem::path& folder,
              std::size_t photos);

  std::string Path(const std::string& key) const { return folder_ / key; }
  std::string database() const;

  // Keys of photos that no other round gets, spread over the whole library.
  std::vector<std::string> SomeFiles(std::size_t round, std::size_t count) const;
  // Albums of ten photos, beside those of a hundred; their folders are there, empty.
  std::vector<std::string> SomeSmallFolders(std::size_t round, std::size_t count) const;
  static std::string FileOfSmallFolder(std::size_t number);

  // Puts a photo with two keywords at PATH, with the folders on the way.
  static void PutPhoto(const std::string& path);

  static constexpr std::size_t kFilesOfSmallFolder = 10;
  static constexpr std::size_t kSmallFolders = 25;

 private:
  void Fill() const;

  std::filesystem::path folder_;
  std::size_t photos_;
};

#endif  // BENCH_SIZE_LIBRARY_H_
