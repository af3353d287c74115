#include "write_turn.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>

#include <string>

// A file without a name. Each worker opens it anew: a lock belongs to an opening, and those who share one
// would all hold it.
FileDescriptor WriteTurn::MakeShared() {
  return FileDescriptor(memfd_create("lumivault-turn", MFD_CLOEXEC));
}

WriteTurn::WriteTurn(int shared)
    : lock_(open(("/proc/self/fd/" + std::to_string(shared)).c_str(), O_RDWR | O_CLOEXEC)) {}

WriteTurn::Holder::Holder(const WriteTurn& turn) : turn_(turn) {
  if (!turn_.lock_) return;
  while (flock(turn_.lock_.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
}

WriteTurn::Holder::~Holder() {
  if (turn_.lock_) flock(turn_.lock_.get(), LOCK_UN);
}
