#ifndef PLATFORM_LINUX_CORE_DESCRIPTOR_H_
#define PLATFORM_LINUX_CORE_DESCRIPTOR_H_

#include <errno.h>
#include <unistd.h>

#include <utility>

// An open file that closes itself, or none. Closing leaves errno as it was, so that a failing function can
// let its descriptors go and still tell why it failed.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      number_ = other.Release();
    }
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  [[nodiscard]] int Release() { return std::exchange(number_, -1); }

 private:
  void Close() {
    const int kept = errno;
    if (number_ >= 0) close(number_);
    errno = kept;
  }

  int number_ = -1;
};

#endif  // PLATFORM_LINUX_CORE_DESCRIPTOR_H_
