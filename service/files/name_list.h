#ifndef SERVICE_FILES_NAME_LIST_H_
#define SERVICE_FILES_NAME_LIST_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Names with a tag each, packed: a folder of a million files must not cost a million small allocations.
// Used by one thread.
template <typename Tag>
class NameList {
 public:
  void Add(std::string_view name, Tag tag) {
    entries_.push_back(
        {static_cast<std::uint32_t>(text_.size()), static_cast<std::uint16_t>(name.size()), tag});
    text_.append(name);
  }
  void Sort() {
    std::sort(entries_.begin(), entries_.end(),
              [this](const Entry& a, const Entry& b) { return Name(a) < Name(b); });
  }
  void Clear() { *this = NameList(); }

  std::size_t size() const { return entries_.size(); }
  std::string_view name(std::size_t index) const { return Name(entries_[index]); }
  Tag tag(std::size_t index) const { return entries_[index].tag; }

 private:
  struct Entry {
    std::uint32_t offset;
    std::uint16_t length;
    Tag tag;
  };

  std::string_view Name(const Entry& entry) const {
    return std::string_view(text_).substr(entry.offset, entry.length);
  }

  std::string text_;
  std::vector<Entry> entries_;
};

#endif  // SERVICE_FILES_NAME_LIST_H_
