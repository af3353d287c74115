// Every statement text of the program, taken from its constant, with what it may cost.
#ifndef TESTS_PLATFORM_PLANNED_STATEMENTS_H_
#define TESTS_PLATFORM_PLANNED_STATEMENTS_H_

#include <set>
#include <string>
#include <vector>

enum class Engine { kSqlite, kPostgres };
enum class On { kBoth, kSqlite, kPostgres };

enum class Reach {
  kRows,   // finds its rows by an index
  kRange,  // reads a range of an index in its order, without sorting
  kTable,  // walks a table, for the reason given
  kAll,    // clears a table, which SQLite does without a look at it
};

struct PlannedStatement {
  std::string name;
  std::string text;  // its printf conversions and @KAVO:NEVAR filled in
  Reach reach = Reach::kRows;
  On on = On::kBoth;
  std::string reason = "";

  bool IsFor(Engine engine) const {
    return on == On::kBoth || on == (engine == Engine::kSqlite ? On::kSqlite : On::kPostgres);
  }
};

// The statements that TEXT holds as ENGINE gets them, every value "1": a number and a text, and the name of
// an album of each filled database.
std::vector<std::string> Filled(const std::string& text, Engine engine);

// FORMAT with its printf conversions replaced by VALUES in turn.
std::string Formatted(const std::string& format, const std::vector<std::string>& values);
// TEXT with each @KAVO:NEVAR replaced by the next of NAMES.
std::string Named(const std::string& text, const std::vector<std::string>& names);
// All columns of the rows of TABLE that meet CONDITION.
std::string Where(const std::string& table, const std::string& condition);

// Those of the plug-in, those of the service on a library's database, and those on its catalogue.
std::vector<PlannedStatement> PluginStatements();
std::vector<PlannedStatement> ServiceStatements();
std::vector<PlannedStatement> CatalogueStatements();

// Inserts, settings, and what is only a part of other statements.
std::set<std::string> UnplannedTexts();

#endif  // TESTS_PLATFORM_PLANNED_STATEMENTS_H_
