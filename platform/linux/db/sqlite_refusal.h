// Why SQLite was kept from a file.
#ifndef PLATFORM_LINUX_DB_SQLITE_REFUSAL_H_
#define PLATFORM_LINUX_DB_SQLITE_REFUSAL_H_

#include <cstdint>
#include <string>

// What one connection was refused, as a line for people. SQLite itself tells no more than that a file cannot
// be opened. Used by the connection's thread.
class SqliteRefusal {
 public:
  enum class Why : std::uint8_t {
    kNothing,
    kNoFile,
    kTwoNames,
    kForeign,
    kMorePrivate,
    kNotWritable,  // with the owner's user id
    kHeld,
    kOtherName,
    kTooMuch  // with the bound in bytes
  };

  // Counts unless something was noted since the last Take. Its line tells of the file NAME, which outlives
  // this, and of NUMBER. Allocates nothing: SQLite's own code lies between this and who would catch.
  void Note(Why why, const std::string* name, std::int64_t number = 0);
  // Noted and not taken yet.
  [[nodiscard]] bool Is(Why why) const { return why_ == why; }
  // Empty when nothing was noted.
  [[nodiscard]] std::string Take();
  // Something was noted, be it taken or not.
  [[nodiscard]] bool ever() const { return ever_; }

 private:
  [[nodiscard]] std::string Text() const;

  Why why_ = Why::kNothing;
  const std::string* name_ = nullptr;
  std::int64_t number_ = 0;
  bool ever_ = false;
};

#endif  // PLATFORM_LINUX_DB_SQLITE_REFUSAL_H_
