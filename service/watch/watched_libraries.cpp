#include "watch/watched_libraries.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/path_below.h"
#include "watch/fanotify_source.h"
#include "watch/inotify_source.h"
#include "work/worker_identity.h"

namespace {

// Whoever stops the process waits a second.
constexpr std::chrono::milliseconds kStopPatience{600};
// How often a folder is looked for that was not there at the start.
constexpr std::chrono::milliseconds kFirstLook{500};
constexpr std::chrono::milliseconds kMostLook{10'000};

constexpr const char* kNotThere = "the folder is not there; it is waited for";

bool IsMissing(const std::string& folder) {
  std::error_code error;
  return std::filesystem::status(folder, error).type() == std::filesystem::file_type::not_found;
}

}  // namespace

WatchedLibraries::WatchedLibraries(WatchTeller& teller, EventLoop& loop)
    : teller_(teller), loop_(loop), mounts_(loop, [this](const std::string& path) { MountChanged(path); }) {
  loop_.Add(*this);
}

WatchedLibraries::~WatchedLibraries() {
  loop_.Remove(*this);
  for (const auto& watch : watches_) watch->DismissWorkers();
}

Outcome<Done> WatchedLibraries::Add(const std::string& folder, const WatchOptions& options) {
  const auto library = NameLibrary(folder);
  if (library) return Watch(*library, options);
  if (!IsMissing(folder)) return library.failure();
  missing_.push_back({folder, options, loop_.Now(), {}, ""});
  if (LookFor(missing_.back())) missing_.pop_back();
  return Done{};
}

Outcome<Done> WatchedLibraries::Watch(const Library& library, const WatchOptions& options) {
  if (std::any_of(watches_.begin(), watches_.end(),
                  [&](const auto& watch) { return watch->library().folder == library.folder; }))
    return Done{};
  // Whose it is may change later; what cannot be made safe is refused at once.
  const auto owner =
      options.wish.as_root ? Outcome<std::optional<WorkerIdentity>>(std::nullopt) : OwnerToBecome(library);
  if (!owner) return owner.failure();
  if (options.by_fanotify) {
    if (auto usable = FanotifySource::Try(library.folder); !usable) return usable;
  }
  const auto make_source = [&](HintListener& listener) -> std::unique_ptr<HintSource> {
    if (options.by_fanotify) return std::make_unique<FanotifySource>(library.folder, listener, loop_);
    return std::make_unique<InotifySource>(library.folder, listener, loop_);
  };
  watches_.push_back(std::make_unique<LibraryWatch>(library, options, make_source, order_, teller_, loop_));
  return Done{};
}

bool WatchedLibraries::LookFor(Missing& missing) {
  const auto library = NameLibrary(missing.folder);
  const auto watched = library ? Watch(*library, missing.options) : Outcome<Done>(library.failure());
  if (watched) return true;
  missing.next = loop_.Now() + missing.patience.Next(kFirstLook, kMostLook);
  const std::string why = IsMissing(missing.folder) ? kNotThere : watched.failure().message;
  if (std::exchange(missing.told, why) != why)
    teller_.Tell({WatchEvent::kAway, missing.folder, why, std::nullopt});
  return false;
}

void WatchedLibraries::LookForMissing(Moment now) {
  std::erase_if(missing_, [&](Missing& missing) { return missing.next <= now && LookFor(missing); });
}

Awaited WatchedLibraries::Awaits() const {
  Awaited awaited{-1, false, stop_again_};
  for (const Missing& missing : missing_) {
    if (stopped_by_ == 0 && (!awaited.moment || missing.next < *awaited.moment))
      awaited.moment = missing.next;
  }
  return awaited;
}

void WatchedLibraries::Stop(int signal) {
  if (stopped_by_ == 0) stop_again_ = loop_.Now() + kStopPatience;
  stopped_by_ = signal;
  for (const auto& watch : watches_) watch->Stop(signal);
}

void WatchedLibraries::Expire() {
  if (stopped_by_ == 0) return LookForMissing(loop_.Now());
  stop_again_.reset();
  for (const auto& watch : watches_) watch->Stop(stopped_by_);
}

void WatchedLibraries::MountChanged(const std::string& path) {
  for (Missing& missing : missing_) missing.next = loop_.Now();
  for (const auto& watch : watches_) {
    const std::string& folder = watch->library().folder;
    const bool above = path == "/" || IsOrLiesBelow(folder, path);
    if (above || LiesBelow(path, folder)) watch->MountChanged(above ? "" : watch->library().Below(path));
  }
}
