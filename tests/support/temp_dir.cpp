#include "support/temp_dir.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = fs::temp_directory_path() / "lumivault-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void WriteFile(const fs::path& path, std::string_view content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

void LetTheClockMoveOn() {
  constexpr useconds_t kTicks = 50'000;  // of the coarsest clock several
  usleep(kTicks);
}
