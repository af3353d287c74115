#include "watch/watched_libraries.h"

#include <algorithm>
#include <chrono>

#include "base/path_below.h"
#include "watch/fanotify_source.h"
#include "watch/inotify_source.h"
#include "work/worker_identity.h"

namespace {

// Whoever stops the process waits a second.
constexpr std::chrono::milliseconds kStopPatience{600};

}  // namespace

WatchedLibraries::WatchedLibraries(WatchTeller& teller, EventLoop& loop)
    : teller_(teller), loop_(loop), mounts_(loop, [this](const std::string& path) { MountChanged(path); }) {
  loop_.Add(*this);
}

WatchedLibraries::~WatchedLibraries() {
  loop_.Remove(*this);
  for (const auto& watch : watches_) watch->DismissWorkers();
}

Outcome<Done> WatchedLibraries::Add(const Library& library, const WatchOptions& options) {
  if (std::any_of(watches_.begin(), watches_.end(),
                  [&](const auto& watch) { return watch->library().folder == library.folder; }))
    return Done{};
  const auto owner =
      options.wish.as_root ? Outcome<std::optional<WorkerIdentity>>(std::nullopt) : OwnerToBecome(library);
  if (!owner) return owner.failure();
  const std::optional<uid_t> looker = *owner ? std::optional((*owner)->user) : std::nullopt;
  if (options.by_fanotify) {
    if (auto usable = FanotifySource::Try(library.folder); !usable) return usable;
  }
  const auto make_source = [&](HintListener& listener) -> std::unique_ptr<HintSource> {
    if (options.by_fanotify) return std::make_unique<FanotifySource>(library.folder, looker, listener, loop_);
    return std::make_unique<InotifySource>(library.folder, looker, listener, loop_);
  };
  watches_.push_back(
      std::make_unique<LibraryWatch>(library, looker, options, make_source, order_, teller_, loop_));
  return Done{};
}

void WatchedLibraries::Stop(int signal) {
  if (stopped_by_ == 0) stop_again_ = loop_.Now() + kStopPatience;
  stopped_by_ = signal;
  for (const auto& watch : watches_) watch->Stop(signal);
}

void WatchedLibraries::Expire() {
  stop_again_.reset();
  for (const auto& watch : watches_) watch->Stop(stopped_by_);
}

void WatchedLibraries::MountChanged(const std::string& path) {
  for (const auto& watch : watches_) {
    const std::string& folder = watch->library().folder;
    const bool above = path == "/" || IsOrLiesBelow(folder, path);
    if (above || LiesBelow(path, folder)) watch->MountChanged(above ? "" : watch->library().Below(path));
  }
}
