#ifndef TESTS_SUPPORT_TEMP_DIR_H_
#define TESTS_SUPPORT_TEMP_DIR_H_

#include <filesystem>
#include <string>
#include <string_view>

// A folder below TMPDIR that goes with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// Writes CONTENT to PATH; folders on the way are made.
void WriteFile(const std::filesystem::path& path, std::string_view content);
std::string ReadFile(const std::filesystem::path& path);

// A file is trusted to be unchanged, and told from what was there before, once the clock of its file system
// has moved on.
void LetTheClockMoveOn();

#endif  // TESTS_SUPPORT_TEMP_DIR_H_
