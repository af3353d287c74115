#include "db/result_set.h"

#include <algorithm>
#include <cstring>

#include "base/ascii.h"

void ResultSet::Clear() {
  columns_.clear();
  values_.clear();
  blocks_.clear();
  in_blocks_ = free_size_ = 0;
  next_row_ = 0;
  affected_ = 0;
}

void ResultSet::AddText(std::string_view value) {
  char* text = MakeRoom(value.size() + 1);
  if (!value.empty()) std::memcpy(text, value.data(), value.size());
  text[value.size()] = '\0';
  values_.push_back(text);
}

char* ResultSet::MakeRoom(std::size_t size) {
  constexpr std::size_t kSmallestBlock = 1024;
  constexpr std::size_t kLargestBlock = std::size_t{4} << 20;
  if (size > free_size_) {
    free_size_ = std::max(size, std::clamp(in_blocks_, kSmallestBlock, kLargestBlock));
    free_ = blocks_.emplace_back(new char[free_size_]).get();
    in_blocks_ += free_size_;
  }
  char* room = free_;
  free_ += size;
  free_size_ -= size;
  return room;
}

// The places of the values are copied when there is no room for more.
std::size_t ResultSet::bytes() const {
  const std::size_t places = values_.capacity() * sizeof(values_[0]);
  constexpr std::size_t kOldAndNew = 3;  // twice as many
  const bool grows = values_.size() + columns_.size() > values_.capacity();
  return in_blocks_ + (grows ? kOldAndNew * places : places);
}

ResultSet::Row ResultSet::NextRow() {
  if (next_row_ >= rows()) return nullptr;
  return values_.data() + columns_.size() * next_row_++;
}

const char* ResultSet::Value(Row row, std::string_view column) const {
  const auto found = std::find_if(columns_.begin(), columns_.end(), [&](const std::string& name) {
    return EqualsIgnoreAsciiCase(name, column);
  });
  return found == columns_.end() ? nullptr : row[found - columns_.begin()];
}
