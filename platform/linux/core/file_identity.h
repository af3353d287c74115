#ifndef PLATFORM_LINUX_CORE_FILE_IDENTITY_H_
#define PLATFORM_LINUX_CORE_FILE_IDENTITY_H_

#include <sys/types.h>

#include <vector>

#include "core/person.h"

// As long as one lives, its thread opens and looks at files with the rights of PERSON, groups included, and
// with none of root's. For a process of root's; other threads keep the rights that they have. One may live
// inside another.
class FileIdentity {
 public:
  explicit FileIdentity(uid_t person);
  // The same with the account of PERSON, for whoever takes it on often.
  FileIdentity(uid_t person, const Person& account);
  ~FileIdentity();
  FileIdentity(const FileIdentity&) = delete;
  FileIdentity& operator=(const FileIdentity&) = delete;

  // False when the person's rights could not be taken on; nothing may be opened then.
  explicit operator bool() const { return taken_; }

 private:
  // What the thread had.
  const uid_t user_;
  const gid_t group_;
  const std::vector<gid_t> groups_;
  bool begun_ = false;
  bool taken_ = false;
};

#endif  // PLATFORM_LINUX_CORE_FILE_IDENTITY_H_
