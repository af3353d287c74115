#include "process/spawn_setup.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace {

constexpr const char* kNowhere = "/dev/null";
constexpr int kFirstOtherDescriptor = STDERR_FILENO + 1;
constexpr const char* kLocaleVariable = "LC_ALL=";

#if defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
#define HAVE_SPAWN_CLOSEFROM 1
#endif
#endif

#ifndef HAVE_SPAWN_CLOSEFROM
// The open ones are named one by one where the C library cannot close a range.
void CloseOthers(posix_spawn_file_actions_t& actions) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    const std::string name = entry.path().filename();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    if (descriptor >= kFirstOtherDescriptor) posix_spawn_file_actions_addclose(&actions, descriptor);
  }
}
#else
void CloseOthers(posix_spawn_file_actions_t& actions) {
  posix_spawn_file_actions_addclosefrom_np(&actions, kFirstOtherDescriptor);
}
#endif

}  // namespace

// OUTPUT is put in place before the other two are opened: in a process that runs without standard descriptors
// it may be one of them.
ChildDescriptors::ChildDescriptors(int output, bool keep_errors) {
  posix_spawn_file_actions_init(&actions_);
  if (output >= 0) {
    posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
  } else {
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, kNowhere, O_WRONLY, 0);
  }
  posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, kNowhere, O_RDONLY, 0);
  if (!keep_errors) posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, kNowhere, O_WRONLY, 0);
  CloseOthers(actions_);
}

ChildDescriptors::~ChildDescriptors() {
  posix_spawn_file_actions_destroy(&actions_);
}

ChildAttributes::ChildAttributes() {
  posix_spawnattr_init(&attributes_);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes_, &none);
  sigset_t all;
  sigfillset(&all);
  posix_spawnattr_setsigdefault(&attributes_, &all);
  posix_spawnattr_setpgroup(&attributes_, 0);
  posix_spawnattr_setflags(&attributes_,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

ChildAttributes::~ChildAttributes() {
  posix_spawnattr_destroy(&attributes_);
}

std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  // The interface predates const; the texts are only read.
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> ChildEnvironment() {
  std::vector<std::string> environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(kLocaleVariable)) environment.emplace_back(*entry);
  }
  environment.push_back(std::string(kLocaleVariable) + "C");
  return environment;
}
