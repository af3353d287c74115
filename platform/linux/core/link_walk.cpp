#include "core/link_walk.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "core/open_below.h"

namespace {

constexpr std::size_t kMostLinks = 40;  // as the kernel has it
constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

}  // namespace

LinkWalk::LinkWalk(FileDescriptor start, std::string way, Find find)
    : at_(std::move(start)), rest_(std::move(way)), find_(std::move(find)) {
  if (rest_.starts_with('/')) at_ = FileDescriptor(open("/", kFolderFlags));
}

FileDescriptor LinkWalk::Run() {
  while (at_ && !rest_.empty()) {
    const std::string name = TakeName();
    if (!name.empty()) Step(name);
  }
  return std::move(at_);
}

std::string LinkWalk::TakeName() {
  rest_.erase(0, std::min(rest_.find_first_not_of('/'), rest_.size()));
  std::string name = rest_.substr(0, rest_.find('/'));
  rest_.erase(0, name.size());
  return name;
}

void LinkWalk::Step(const std::string& name) {
  FileDescriptor next = find_(at_, name, link_makers_);
  const auto status = next ? StatusOf(next) : std::nullopt;
  if (status.has_value() && S_ISLNK(status->st_mode)) {
    Follow(next, status->st_uid);
  } else {
    folder_ = std::exchange(at_, std::move(next));
  }
}

void LinkWalk::Follow(const FileDescriptor& link, uid_t maker) {
  if (std::find(link_makers_.begin(), link_makers_.end(), maker) == link_makers_.end())
    link_makers_.push_back(maker);
  if (++links_ > kMostLinks) return Fail(ELOOP);
  const auto target = TargetOf(link);
  if (!target.has_value()) return Fail(ENOENT);
  if (target->starts_with('/')) at_ = FileDescriptor(open("/", kFolderFlags));
  rest_ = *target + "/" + rest_;
}

void LinkWalk::Fail(int error) {
  at_ = FileDescriptor();
  errno = error;
}
