#ifndef SERVICE_COMMON_FILE_DESCRIPTOR_H_
#define SERVICE_COMMON_FILE_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

// Owns one descriptor.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  [[nodiscard]] int Release() { return std::exchange(descriptor_, -1); }
  void Close() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_ = -1;
};

#endif  // SERVICE_COMMON_FILE_DESCRIPTOR_H_
