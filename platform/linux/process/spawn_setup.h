// What posix_spawn needs to know of a child, each piece owned.
#ifndef PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_
#define PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_

#include <spawn.h>

#include <string>
#include <vector>

// The child's descriptors: standard input empty, standard output OUTPUT (-1: thrown away), standard error
// thrown away or kept, everything else closed.
class ChildDescriptors {
 public:
  ChildDescriptors(int output, bool keep_errors);
  ~ChildDescriptors();
  ChildDescriptors(const ChildDescriptors&) = delete;
  ChildDescriptors& operator=(const ChildDescriptors&) = delete;

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// A process group of its own, no signal blocked, every signal with its default action.
class ChildAttributes {
 public:
  ChildAttributes();
  ~ChildAttributes();
  ChildAttributes(const ChildAttributes&) = delete;
  ChildAttributes& operator=(const ChildAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

// TEXTS as the null-terminated vector that exec takes; valid while TEXTS is.
std::vector<char*> PointersTo(const std::vector<std::string>& texts);
// This process's environment with the "C" locale.
std::vector<std::string> ChildEnvironment();

#endif  // PLATFORM_LINUX_PROCESS_SPAWN_SETUP_H_
