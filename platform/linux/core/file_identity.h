#ifndef PLATFORM_LINUX_CORE_FILE_IDENTITY_H_
#define PLATFORM_LINUX_CORE_FILE_IDENTITY_H_

#include <sys/types.h>

#include <vector>

// As long as one lives, files are opened with the rights of PERSON, groups included, and with none of root's.
// For a process of root's, in which no other thread opens files meanwhile.
class FileIdentity {
 public:
  explicit FileIdentity(uid_t person);
  ~FileIdentity();
  FileIdentity(const FileIdentity&) = delete;
  FileIdentity& operator=(const FileIdentity&) = delete;

  // False when the person's rights could not be taken on; nothing may be opened then.
  explicit operator bool() const { return taken_; }

 private:
  std::vector<gid_t> groups_;  // of the process
  bool taken_ = false;
};

#endif  // PLATFORM_LINUX_CORE_FILE_IDENTITY_H_
