#include "watch/line_output.h"

#include <poll.h>

#include <chrono>
#include <cstddef>

namespace {

constexpr std::size_t kMostWaiting = std::size_t{1} << 20;
constexpr std::chrono::milliseconds kLastMoment{200};

// False where nothing more is taken until END.
bool AwaitRoom(int descriptor, std::chrono::steady_clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  pollfd output{descriptor, POLLOUT, 0};
  return left.count() > 0 && poll(&output, 1, static_cast<int>(left.count())) > 0;
}

}  // namespace

LineOutput::LineOutput(int descriptor, EventLoop& loop)
    : descriptor_(descriptor), loop_(loop), output_(descriptor) {
  loop_.Add(*this);
}

LineOutput::~LineOutput() {
  loop_.Remove(*this);
  const auto end = std::chrono::steady_clock::now() + kLastMoment;
  for (Serve(); !waiting_.empty() && AwaitRoom(descriptor_, end);) Serve();
}

void LineOutput::Put(const std::string& text) {
  if (!waiting_.empty() && waiting_.size() + text.size() > kMostWaiting) return;
  waiting_ += text;
  Serve();
}

// Where nothing can be written any more, nothing has to wait.
void LineOutput::Serve() {
  waiting_.erase(0, output_.Write(waiting_).value_or(waiting_.size()));
}
