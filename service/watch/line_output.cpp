#include "watch/line_output.h"

#include <cstddef>

namespace {

constexpr std::size_t kMostWaiting = std::size_t{1} << 20;

}  // namespace

LineOutput::LineOutput(int descriptor, EventLoop& loop)
    : descriptor_(descriptor), loop_(loop), output_(descriptor) {
  loop_.Add(*this);
}

LineOutput::~LineOutput() {
  loop_.Remove(*this);
}

void LineOutput::Put(const std::string& text) {
  if (waiting_.size() + text.size() > kMostWaiting) return;
  waiting_ += text;
  Serve();
}

// Where nothing can be written any more, nothing has to wait.
void LineOutput::Serve() {
  waiting_.erase(0, output_.Write(waiting_).value_or(waiting_.size()));
}
