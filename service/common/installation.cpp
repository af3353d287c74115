#include "common/installation.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

constexpr const char* kSelf = "/proc/self/exe";
constexpr const char* kPluginVariable = "LUMIVAULT_PLUGIN";
// Relative to the program's folder: the build tree first, then installations.
constexpr std::array kPluginPlaces{"../src/libphotoindex.so", "../" LUMIVAULT_LIBDIR "/libphotoindex.so.1",
                                   "../lib/libphotoindex.so.1", "../lib64/libphotoindex.so.1"};
constexpr std::array kWorkerPlaces{"lumivault-worker",
                                   "../" LUMIVAULT_LIBEXECDIR "/lumivault/lumivault-worker"};
constexpr const char* kSchemaPlace = "../share/lumivault/sql/";

template <typename Places>
std::optional<std::string> FirstPresent(const Places& places) {
  const fs::path folder = fs::path(ProgramPath()).parent_path();
  for (const char* place : places) {
    const fs::path candidate = (folder / place).lexically_normal();
    if (access(candidate.c_str(), R_OK) == 0) return candidate.string();
  }
  return std::nullopt;
}

}  // namespace

std::string ProgramPath() {
  std::error_code error;
  const fs::path path = fs::read_symlink(kSelf, error);
  return error ? std::string(kSelf) : path.string();
}

Outcome<FileDescriptor> OpenWorkerProgram() {
  if (const auto found = FirstPresent(kWorkerPlaces)) {
    FileDescriptor program(open(found->c_str(), O_PATH | O_CLOEXEC));
    if (program) return program;
  }
  return Failure{ExitStatus::kFatal,
                 "lumivault-worker: not found beside the program; install Lumivault again"};
}

Outcome<std::string> PluginPath() {
  if (const char* named = secure_getenv(kPluginVariable); named != nullptr && *named != '\0') {
    return fs::absolute(named).string();
  }
  if (auto found = FirstPresent(kPluginPlaces)) return *found;
  return Failure{ExitStatus::kConfiguration,
                 "libphotoindex.so: not found beside the program; set LUMIVAULT_PLUGIN to its path"};
}

Outcome<std::string> SchemaPath(const std::string& name) {
  const std::string place = kSchemaPlace + name;
  if (auto found = FirstPresent(std::array{place.c_str()})) return *found;
  return Failure{ExitStatus::kConfiguration,
                 name + ": not found in ../share/lumivault/sql beside the program"};
}
