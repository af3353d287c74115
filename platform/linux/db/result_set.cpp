#include "db/result_set.h"

#include <algorithm>

#include "core/ascii.h"

void ResultSet::Clear() {
  columns_.clear();
  values_.clear();
  texts_.clear();
  next_row_ = 0;
  affected_ = 0;
}

void ResultSet::AddText(std::string_view value) {
  values_.push_back(texts_.size());
  texts_.append(value);
  texts_.push_back('\0');
}

ResultSet::Row ResultSet::NextRow() {
  if (next_row_ >= rows()) return nullptr;
  return values_.data() + columns_.size() * next_row_++;
}

const char* ResultSet::Value(Row row, std::string_view column) const {
  const auto found = std::find_if(columns_.begin(), columns_.end(), [&](const std::string& name) {
    return EqualsIgnoreAsciiCase(name, column);
  });
  if (found == columns_.end()) return nullptr;
  const std::size_t begin = row[found - columns_.begin()];
  return begin == kNull ? nullptr : texts_.c_str() + begin;
}
