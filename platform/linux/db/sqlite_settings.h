// The settings that operations ask of an SQLite connection again and again.
#ifndef PLATFORM_LINUX_DB_SQLITE_SETTINGS_H_
#define PLATFORM_LINUX_DB_SQLITE_SETTINGS_H_

#include <string>
#include <string_view>

struct sqlite3;

// Whether LIKE minds letter case, and whether foreign keys are on. SQLite cannot be asked for the first, so
// the statements that set it are noted. Where statements are kept each of these would cost them all: LIKE is
// only switched when it is used, and foreign keys that are on are let be.
//
// Used by the connection's thread; goes before the connection does.
class SqliteSettings {
 public:
  explicit SqliteSettings(sqlite3* database) : database_(database) {}

  // The statement that switches LIKE.
  [[nodiscard]] static const char* LikePragma(bool case_sensitive);
  // The first statement of SQL is one that every operation begins with. It needs nothing of the file.
  [[nodiscard]] static bool AreFirstIn(std::string_view sql);
  // STATEMENT switches LIKE, in whatever words.
  [[nodiscard]] static bool SwitchesLike(std::string_view statement);

  // As asked for.
  [[nodiscard]] bool case_sensitive_like() const { return case_sensitive_like_; }
  // Passes over the first statement of SQL when it switches LIKE, which is put off, or switches on foreign
  // keys that are on.
  [[nodiscard]] bool Spare(const char*& sql);
  // SQL uses LIKE, and the switch that was put off has to be made.
  [[nodiscard]] bool IsDueFor(std::string_view sql) const;
  // Makes it. SQLite lets go of all its statements.
  [[nodiscard]] bool Apply(std::string& error);
  // STATEMENT is being run.
  void Note(std::string_view statement);

 private:
  sqlite3* const database_;
  bool case_sensitive_like_ = false;     // as asked for
  bool like_is_case_sensitive_ = false;  // as it is
};

#endif  // PLATFORM_LINUX_DB_SQLITE_SETTINGS_H_
