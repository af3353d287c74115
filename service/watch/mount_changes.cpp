#include "watch/mount_changes.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

#include "common/atomic_file.h"

namespace {

constexpr const char* kMountTable = "/proc/self/mountinfo";
constexpr std::size_t kOctalDigits = 3;

// Blanks and the like stand in octal.
std::string Unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + kOctalDigits >= text.size()) {
      result += text[i];
      continue;
    }
    result += static_cast<char>(std::stoi(text.substr(i + 1, kOctalDigits), nullptr, 8));
    i += kOctalDigits;
  }
  return result;
}

std::set<MountPoint> MountsNow() {
  return ParseMountPoints(ReadWholeFile(kMountTable).value_or(""));
}

}  // namespace

// The number of a mount is given again when it is gone, so the device counts too.
std::set<MountPoint> ParseMountPoints(std::string_view text) {
  std::set<MountPoint> mounts;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string id;
    std::string parent;
    std::string device;
    std::string root;
    std::string path;
    if (words >> id >> parent >> device >> root >> path)
      mounts.insert({Unescaped(path), id.append(" ").append(device).append(" ").append(root)});
  }
  return mounts;
}

MountChanges::MountChanges(EventLoop& loop, std::function<void(const std::string&)> changed)
    : loop_(loop),
      changed_(std::move(changed)),
      table_(open(kMountTable, O_RDONLY | O_CLOEXEC)),
      events_(epoll_create1(EPOLL_CLOEXEC)),
      known_(MountsNow()) {
  epoll_event wanted{};
  wanted.events = EPOLLPRI | EPOLLET;
  if (table_ && events_) epoll_ctl(events_.get(), EPOLL_CTL_ADD, table_.get(), &wanted);
  loop_.Add(*this);
}

MountChanges::~MountChanges() {
  loop_.Remove(*this);
}

void MountChanges::Serve() {
  // Whoever has waited for it may have taken the event already: the table tells.
  epoll_event event{};
  epoll_wait(events_.get(), &event, 1, 0);
  std::set<MountPoint> now = MountsNow();
  std::vector<MountPoint> differences;
  std::set_symmetric_difference(known_.begin(), known_.end(), now.begin(), now.end(),
                                std::back_inserter(differences));
  known_ = std::move(now);
  for (const MountPoint& mount : differences) changed_(mount.path);
}
