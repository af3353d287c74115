#include "process/spawn_setup.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace {

constexpr int kFirstOtherDescriptor = STDERR_FILENO + 1;
constexpr const char* kLocaleVariable = "LC_ALL=";

#if defined(__GLIBC_PREREQ) && __GLIBC_PREREQ(2, 34)
void CloseOthers(ProcessStart& start) {
  start.CloseFrom(kFirstOtherDescriptor);
}
#else
// The open ones are named one by one where the C library cannot close a range.
void CloseOthers(ProcessStart& start) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    const std::string name = entry.path().filename();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    if (descriptor >= kFirstOtherDescriptor) start.Close(descriptor);
  }
}
#endif

}  // namespace

// OUTPUT is put in place before the other two are opened: in a process that runs without standard descriptors
// it may be one of them.
void GiveStandardStreams(ProcessStart& start, int output, bool keep_errors) {
  if (output >= 0) {
    start.Give(output, STDOUT_FILENO);
  } else {
    start.GiveNothing(STDOUT_FILENO, O_WRONLY);
  }
  start.GiveNothing(STDIN_FILENO, O_RDONLY);
  if (!keep_errors) start.GiveNothing(STDERR_FILENO, O_WRONLY);
  CloseOthers(start);
}

std::vector<std::string> ChildEnvironment() {
  std::vector<std::string> environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(kLocaleVariable)) environment.emplace_back(*entry);
  }
  environment.push_back(std::string(kLocaleVariable) + "C");
  return environment;
}
