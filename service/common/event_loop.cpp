#include "common/event_loop.h"

#include <algorithm>

namespace {

using std::chrono::milliseconds;

// A wait may be longer than poll can be told.
constexpr milliseconds kLongestWait{3'600'000};

std::optional<Moment> Earliest(const std::vector<Awaited>& awaited) {
  std::optional<Moment> earliest;
  for (const Awaited& one : awaited) {
    if (one.moment && (!earliest || *one.moment < *earliest)) earliest = one.moment;
  }
  return earliest;
}

// poll leaves out what has a negative number.
pollfd ToPoll(const Awaited& awaited) {
  return {awaited.descriptor, static_cast<short>(awaited.writable ? POLLIN | POLLOUT : POLLIN), 0};
}

}  // namespace

void EventLoop::Remove(const EventHandler& handler) {
  const auto found = std::find(handlers_.begin(), handlers_.end(), &handler);
  if (found == handlers_.end()) return;
  if (turns_ > 0) {
    *found = nullptr;
  } else {
    handlers_.erase(found);
  }
}

void EventLoop::TurnUntil(std::optional<Moment> limit) {
  // What was removed within a turn around this one keeps its place until that has ended, and has no part.
  std::vector<std::size_t> places;
  std::vector<Awaited> awaited;
  std::vector<pollfd> descriptors;
  for (std::size_t place = 0; place < handlers_.size(); ++place) {
    if (handlers_[place] == nullptr) continue;
    places.push_back(place);
    awaited.push_back(handlers_[place]->Awaits());
    descriptors.push_back(ToPoll(awaited.back()));
  }
  Wait(descriptors, limit ? limit : Earliest(awaited));
  ++turns_;
  for (std::size_t i = 0; i < places.size(); ++i) ServeAt(places[i], awaited[i], descriptors[i].revents != 0);
  if (--turns_ == 0) std::erase(handlers_, nullptr);
}

void EventLoop::ServeAt(std::size_t place, const Awaited& awaited, bool ready) {
  if (ready && handlers_[place] != nullptr) handlers_[place]->Serve();
  // What it was served with may have put the moment off.
  if (!awaited.moment || handlers_[place] == nullptr) return;
  const auto moment = handlers_[place]->Awaits().moment;
  if (moment && *moment <= Now()) handlers_[place]->Expire();
}

void EventLoop::Wait(std::vector<pollfd>& descriptors, std::optional<Moment> until) {
  milliseconds limit = kLongestWait;
  if (until) limit = std::clamp(std::chrono::ceil<milliseconds>(*until - Now()), milliseconds(0), limit);
  const bool any = poll(descriptors.data(), descriptors.size(), static_cast<int>(limit.count())) > 0;
  if (any) return;
  for (pollfd& descriptor : descriptors) descriptor.revents = 0;
}
