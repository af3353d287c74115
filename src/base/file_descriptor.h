#ifndef BASE_FILE_DESCRIPTOR_H_
#define BASE_FILE_DESCRIPTOR_H_

#include <errno.h>
#include <unistd.h>

#include <utility>

// An open file that closes itself, or none. Closing leaves errno as it was, so that a failing function can
// let its descriptors go and still tell why it failed.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : number_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      Close();
      number_ = other.Release();
    }
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  [[nodiscard]] int Release() { return std::exchange(number_, -1); }
  void Close() {
    const int kept = errno;
    if (number_ >= 0) close(number_);
    number_ = -1;
    errno = kept;
  }

 private:
  int number_ = -1;
};

#endif  // BASE_FILE_DESCRIPTOR_H_
