// The way to a file, name by name. The kernel follows links with the rights of whoever asks; here they are
// followed one by one, so that it is known who made each.
#ifndef PLATFORM_LINUX_CORE_LINK_WALK_H_
#define PLATFORM_LINUX_CORE_LINK_WALK_H_

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/file_descriptor.h"

class LinkWalk {
 public:
  // Each once, in the order of the links.
  using Makers = std::vector<uid_t>;
  // An O_PATH descriptor of NAME in FOLDER, of a link itself, where who made the links so far lets it be
  // found; empty with errno.
  using Find =
      std::function<FileDescriptor(const FileDescriptor& folder, const std::string& name, const Makers&)>;

  // WAY starts in START, unless it begins with a slash.
  LinkWalk(FileDescriptor start, std::string way, Find find);

  // An O_PATH descriptor of the end, which is no link. Empty with errno on failure.
  FileDescriptor Run();
  [[nodiscard]] const Makers& makers() const { return link_makers_; }
  // The folder in which the end was found.
  [[nodiscard]] const FileDescriptor& folder() const { return folder_; }

 private:
  std::string TakeName();
  void Step(const std::string& name);
  void Follow(const FileDescriptor& link, uid_t maker);
  void Fail(int error);

  FileDescriptor at_;
  FileDescriptor folder_;
  std::string rest_;
  const Find find_;
  Makers link_makers_;
  std::size_t links_ = 0;
};

#endif  // PLATFORM_LINUX_CORE_LINK_WALK_H_
