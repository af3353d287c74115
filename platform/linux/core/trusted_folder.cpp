#include "core/trusted_folder.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "core/open_below.h"

namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr uid_t kAdministrator = 0;
constexpr mode_t kUsualMode = 0755;

// The way to a folder, one component after the other, with the links on it.
class Walk {
 public:
  Walk(const std::string& folder, bool make)
      : rest_(folder), make_(make), at_(open(folder.starts_with('/') ? "/" : ".", kFolderFlags)) {}

  Descriptor Run() {
    while (at_ && !rest_.empty()) Step();
    if (at_ && !LinksCount()) {
      errno = EPERM;
      return Descriptor();
    }
    return std::move(at_);
  }

 private:
  static constexpr std::size_t kMaxLinks = 40;  // as the kernel has it

  std::string TakeComponent() {
    rest_.erase(0, std::min(rest_.find_first_not_of('/'), rest_.size()));
    std::string component = rest_.substr(0, rest_.find('/'));
    rest_.erase(0, component.size());
    return component;
  }

  void Step() {
    const std::string name = TakeComponent();
    if (name.empty()) return;
    Descriptor next(openat(at_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!next && errno == ENOENT && make_ && link_owners_.empty()) next = Make(name);
    const auto status = next ? StatusOf(next) : std::nullopt;
    if (status.has_value() && S_ISLNK(status->st_mode)) {
      Follow(next, status->st_uid);
    } else if (status.has_value() && !S_ISDIR(status->st_mode)) {
      Fail(ENOTDIR);
    } else {
      at_ = std::move(next);
    }
  }

  Descriptor Make(const std::string& name) {
    if (mkdirat(at_.get(), name.c_str(), kUsualMode) != 0 && errno != EEXIST) return Descriptor();
    return Descriptor(openat(at_.get(), name.c_str(), kFolderFlags | O_NOFOLLOW));
  }

  void Follow(const Descriptor& link, uid_t owner) {
    link_owners_.push_back(owner);
    if (link_owners_.size() > kMaxLinks) return Fail(ELOOP);
    const auto target = TargetOf(link);
    if (!target.has_value()) return Fail(ENOENT);
    if (target->starts_with('/')) at_ = Descriptor(open("/", kFolderFlags));
    rest_ = *target + "/" + rest_;
  }

  bool LinksCount() const {
    if (geteuid() != kAdministrator) return true;
    const auto folder = StatusOf(at_);
    return folder.has_value() && std::all_of(link_owners_.begin(), link_owners_.end(), [&](uid_t owner) {
             return owner == kAdministrator || owner == folder->st_uid;
           });
  }

  void Fail(int error) {
    at_ = Descriptor();
    errno = error;
  }

  std::string rest_;
  const bool make_;
  Descriptor at_;
  std::vector<uid_t> link_owners_;
};

}  // namespace

Descriptor OpenTrustedFolder(const std::string& folder) {
  if (geteuid() != kAdministrator) return Descriptor(open(folder.c_str(), kFolderFlags));
  const Descriptor root(open("/", kFolderFlags));
  const auto relative = RelativeTo("/", folder);
  if (root && relative.has_value()) {
    Descriptor opened = OpenBelow(root.get(), *relative, kFolderFlags);
    if (opened || errno != ELOOP) return opened;
  }
  return Walk(folder, false).Run();
}

Descriptor MakeTrustedFolder(const std::string& folder) {
  return Walk(folder, true).Run();
}
