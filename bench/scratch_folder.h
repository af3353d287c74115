#ifndef BENCH_SCRATCH_FOLDER_H_
#define BENCH_SCRATCH_FOLDER_H_

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

// A folder that goes with the object, with all that is in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    if (mkdtemp(pattern_.data()) == nullptr) throw std::runtime_error("no temporary folder");
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(pattern_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::filesystem::path path() const { return pattern_; }

 private:
  std::string pattern_ = std::filesystem::temp_directory_path() / "lumivault-bench-XXXXXX";
};

#endif  // BENCH_SCRATCH_FOLDER_H_
