// The rows of a statement as text.
#ifndef PLATFORM_LINUX_DB_RESULT_SET_H_
#define PLATFORM_LINUX_DB_RESULT_SET_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// All values lie one behind another, each with its terminator, in blocks that stay where they are: a result
// of any size costs a few allocations and not one a value, and never twice its size.
class ResultSet {
 public:
  void Clear();

  // Columns first, then the values row by row.
  void AddColumn(std::string_view name) { columns_.emplace_back(name); }
  void AddText(std::string_view value);
  void AddNull() { values_.push_back(nullptr); }
  void set_affected(int affected) { affected_ = affected; }

  [[nodiscard]] std::size_t rows() const { return columns_.empty() ? 0 : values_.size() / columns_.size(); }
  [[nodiscard]] int affected() const { return affected_; }
  // What it takes in memory, at most, while it takes the next row.
  [[nodiscard]] std::size_t bytes() const;

  // A row of a result that is complete.
  using Row = const char* const*;
  // Each row once, then null.
  [[nodiscard]] Row NextRow();
  // The value in a row of this result, terminated; null for SQL NULL and for a column that is not there. Of
  // several columns with this name the first counts.
  [[nodiscard]] const char* Value(Row row, std::string_view column) const;

 private:
  [[nodiscard]] char* MakeRoom(std::size_t size);

  std::vector<std::string> columns_;
  std::vector<const char*> values_;
  std::vector<std::unique_ptr<char[]>> blocks_;
  std::size_t in_blocks_ = 0;
  char* free_ = nullptr;  // in the last block
  std::size_t free_size_ = 0;
  std::size_t next_row_ = 0;
  int affected_ = 0;
};

#endif  // PLATFORM_LINUX_DB_RESULT_SET_H_
