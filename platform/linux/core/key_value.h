// key=value files, read once for each state of the file.
//
// One pair a line; blanks around key and value and one pair of double quotes around the value are dropped;
// '#' begins a comment line; of a key that stands twice the last value holds. A line without '=' or without a
// key, or with a NUL byte, is skipped. What is skipped is logged, one line for each state of a file.
#ifndef PLATFORM_LINUX_CORE_KEY_VALUE_H_
#define PLATFORM_LINUX_CORE_KEY_VALUE_H_

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class KeyValues {
 public:
  using Pair = std::pair<std::string, std::string>;

  explicit KeyValues(std::vector<Pair> pairs) : pairs_(std::move(pairs)) {}

  // In the order of the file, repeated keys included.
  const std::vector<Pair>& pairs() const { return pairs_; }
  // Null when absent.
  const std::string* Find(std::string_view key) const;

 private:
  std::vector<Pair> pairs_;
};

struct ParsedKeyValues {
  std::vector<KeyValues::Pair> pairs;
  int malformed_lines = 0;
  int first_malformed = 0;  // its number, from 1
};

ParsedKeyValues ParseKeyValues(std::string_view text);

enum class KeyValueFile {
  kRead,
  kMissing,     // there is nothing under that name
  kUnreadable,  // something is: it cannot be told what it holds, or it is no regular file, or above 1 MiB
};

struct ReadPairs {
  KeyValueFile file;
  std::shared_ptr<const KeyValues> pairs;  // null unless the file was read
};

// The pairs of FILE as it is now. While the file does not change the same object is given again, at the price
// of one stat. Any thread.
ReadPairs TryKeyValues(const std::string& file);
// The same for whom a file that cannot be read is as good as none.
std::shared_ptr<const KeyValues> ReadKeyValues(const std::string& file);

#endif  // PLATFORM_LINUX_CORE_KEY_VALUE_H_
