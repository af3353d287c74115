#include "watch/folders_above.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <utility>

#include "common/path_parts.h"

namespace {

constexpr std::chrono::milliseconds kLookInterval{10'000};
constexpr unsigned kMask = IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;
constexpr std::size_t kBufferBytes = 4'096;

}  // namespace

FoldersAbove::FoldersAbove(std::string path, EventLoop& loop, std::function<void()> changed,
                           AddWatch add_watch)
    : path_(std::move(path)), loop_(loop), changed_(std::move(changed)), add_watch_(std::move(add_watch)) {
  loop_.Add(*this);
}

FoldersAbove::~FoldersAbove() {
  loop_.Remove(*this);
}

// The root of the file system stays where it is.
void FoldersAbove::Watch() {
  queue_ = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  bool all = static_cast<bool>(queue_);
  for (std::string above = FolderOf(path_); all && !above.empty(); above = FolderOf(above))
    all = add_watch_(queue_.get(), above.c_str(), kMask) >= 0;
  look_ = all ? std::nullopt : std::optional(loop_.Now() + kLookInterval);
}

void FoldersAbove::End() {
  queue_ = FileDescriptor();
  look_.reset();
}

// Whatever is told, the path has to be looked at.
void FoldersAbove::Serve() {
  alignas(inotify_event) std::array<char, kBufferBytes> events;
  bool any = false;
  while (read(queue_.get(), events.data(), events.size()) > 0) any = true;
  if (any) changed_();
}

void FoldersAbove::Expire() {
  look_ = loop_.Now() + kLookInterval;
  changed_();
}
