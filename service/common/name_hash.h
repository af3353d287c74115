#ifndef SERVICE_COMMON_NAME_HASH_H_
#define SERVICE_COMMON_NAME_HASH_H_

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

// FNV-1a, 64 bits. Libraries are named and losses remembered by it in state folders, so it stays what it is.
class NameHash {
 public:
  void Add(std::string_view bytes) {
    for (const char c : bytes) Add(c);
  }
  void Add(char c) { value_ = (value_ ^ static_cast<unsigned char>(c)) * kFactor; }

  std::uint64_t value() const { return value_; }
  // In hexadecimal digits.
  std::string Text() const {
    constexpr int kHexadecimal = 16;
    std::array<char, sizeof(value_) * 2> digits{};
    const char* end = std::to_chars(digits.begin(), digits.end(), value_, kHexadecimal).ptr;
    return {digits.cbegin(), end};
  }

 private:
  static constexpr std::uint64_t kFactor = 0x100000001b3U;

  std::uint64_t value_ = 0xcbf29ce484222325U;
};

#endif  // SERVICE_COMMON_NAME_HASH_H_
