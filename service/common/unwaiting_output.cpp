#include "common/unwaiting_output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

bool IsWritable(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

// O_NONBLOCK on the descriptor itself would be seen by all who have inherited it.
FileDescriptor OpenAgain(int descriptor) {
  const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
  return FileDescriptor(open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool TakesSomething(int descriptor) {
  pollfd output{descriptor, POLLOUT, 0};
  return poll(&output, 1, 0) > 0;
}

}  // namespace

UnwaitingOutput::UnwaitingOutput(int descriptor) : descriptor_(descriptor) {
  struct stat status {};
  // What cannot be written says so at once.
  if (!IsWritable(descriptor) || fstat(descriptor, &status) != 0) return;
  const bool is_pipe = S_ISFIFO(status.st_mode);
  if (S_ISSOCK(status.st_mode)) kind_ = Kind::kSocket;
  if (!is_pipe && isatty(descriptor) == 0) return;
  own_ = OpenAgain(descriptor);
  // A terminal or a pipe of another user's, as behind su.
  kind_ = own_ ? Kind::kOwn : Kind::kAsked;
  if (is_pipe) piece_ = PIPE_BUF;
}

ssize_t UnwaitingOutput::WriteSome(std::string_view text) const {
  switch (kind_) {
    case Kind::kOwn:
      return write(own_.get(), text.data(), text.size());
    case Kind::kSocket:
      return send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case Kind::kAsked:
      if (TakesSomething(descriptor_)) return write(descriptor_, text.data(), text.substr(0, piece_).size());
      errno = EAGAIN;
      return -1;
    case Kind::kNeverWaits:
      break;
  }
  return write(descriptor_, text.data(), text.size());
}

std::optional<std::size_t> UnwaitingOutput::Write(std::string_view text) const {
  std::size_t taken = 0;
  while (taken < text.size()) {
    const ssize_t count = WriteSome(text.substr(taken));
    if (count < 0 && errno != EAGAIN && errno != EINTR && taken == 0) return std::nullopt;
    if (count <= 0) break;
    taken += static_cast<std::size_t>(count);
  }
  return taken;
}
