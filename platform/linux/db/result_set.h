// The rows of a statement as text.
#ifndef PLATFORM_LINUX_DB_RESULT_SET_H_
#define PLATFORM_LINUX_DB_RESULT_SET_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// All values lie one behind another in one text, each with its terminator, so that a result of any size costs
// three allocations and not one a value.
class ResultSet {
 public:
  void Clear();

  // Columns first, then the values row by row.
  void AddColumn(std::string_view name) { columns_.emplace_back(name); }
  void AddText(std::string_view value);
  void AddNull() { values_.push_back(kNull); }
  void set_affected(int affected) { affected_ = affected; }

  [[nodiscard]] std::size_t rows() const { return columns_.empty() ? 0 : values_.size() / columns_.size(); }
  [[nodiscard]] int affected() const { return affected_; }
  // What it takes in memory.
  [[nodiscard]] std::size_t bytes() const { return texts_.size() + values_.size() * sizeof(values_[0]); }

  // A row of a result that is complete.
  using Row = const std::size_t*;
  // Each row once, then null.
  [[nodiscard]] Row NextRow();
  // The value in a row of this result, terminated; null for SQL NULL and for a column that is not there. Of
  // several columns with this name the first counts.
  [[nodiscard]] const char* Value(Row row, std::string_view column) const;

 private:
  static constexpr std::size_t kNull = static_cast<std::size_t>(-1);

  std::vector<std::string> columns_;
  std::vector<std::size_t> values_;  // where each begins in texts_, or kNull
  std::string texts_;
  std::size_t next_row_ = 0;
  int affected_ = 0;
};

#endif  // PLATFORM_LINUX_DB_RESULT_SET_H_
