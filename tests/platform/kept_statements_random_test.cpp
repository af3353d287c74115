// Random statements with awkward values on a connection that keeps them, against one that does not.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "db/sqlite.h"
#include "db/statement_shape.h"
#include "support/scaled.h"
#include "support/temp_dir.h"

namespace {

// Behind the highest number SQLite makes random ones.
constexpr const char* kSchema =
    "CREATE TABLE t (id INTEGER PRIMARY KEY CHECK (id < 1000000), a TEXT UNIQUE, n INTEGER DEFAULT 7, r "
    "REAL, m NUMERIC,"
    " x, c TEXT COLLATE NOCASE, k CHECK (k IS NULL OR k <> 3));"
    "CREATE TABLE part (t_id INTEGER REFERENCES t (id) ON DELETE CASCADE, p TEXT);"
    "CREATE INDEX t_n ON t (n); CREATE INDEX t_c ON t (c); CREATE INDEX t_x ON t (x) WHERE x > 1;"
    "CREATE INDEX t_r ON t (substr(a, 1, 2)); CREATE INDEX part_t ON part (t_id);"
    "CREATE UNIQUE INDEX t_m ON t (m) WHERE k = 1";

// $V is a value, $C a column, $T a text, $K a condition.
constexpr const char* kForms[] = {
    "INSERT INTO t (a, n, r, m, x, c, k) VALUES($V, $V, $V, $V, $V, $V, $V)",
    "INSERT INTO t (a, $C) VALUES($V, $V)",
    "INSERT OR REPLACE INTO t (a, x) VALUES ($V, -$V), ($V, +$V)",
    "INSERT OR IGNORE INTO t (id, a) SELECT $V, $V WHERE NOT EXISTS (SELECT 1 FROM t WHERE $K)",
    "INSERT INTO t (a, m, k) VALUES($V, $V, 1) ON CONFLICT (m) WHERE k = 1 DO UPDATE SET x = $V",
    "INSERT INTO t (a) VALUES($V) ON CONFLICT DO NOTHING",
    "INSERT INTO part SELECT id, $V FROM t WHERE $K ORDER BY id LIMIT 3",
    "INSERT INTO part VALUES($V, $V)",
    "UPDATE t SET $C = $V WHERE $K",
    "update t set x = $V || $V, n = n - $V where $K",
    "UPDATE t SET a = replace(a, $V, $T) WHERE $K",
    "UPDATE t SET x = CASE WHEN $K THEN $V ELSE $C END WHERE $K",
    "UPDATE t SET x = CAST($V AS TEXT), m = CAST($V AS VARCHAR(10)) WHERE $K",
    "UPDATE t SET x = json_extract($T, '$.a'), r = abs($V), m = $V / $V WHERE $K",
    "DELETE FROM t WHERE $K AND $K",
    "DELETE FROM t WHERE $C = $V;",
    "SELECT * FROM t WHERE $K",
    "SELECT * FROM t WHERE $K AND $K ORDER BY 1, $C",
    "SELECT a, $V, typeof($C) AS y FROM t WHERE $K",
    "SELECT count(*) FILTER (WHERE $K), $V FROM t WHERE $K",
    "SELECT $C, count(*) AS y FROM t WHERE $K GROUP BY 1 HAVING count(*) > $V",
    "SELECT a FROM t WHERE $K UNION SELECT $V FROM t WHERE $K ORDER BY 1",
    "SELECT A.a, B.p FROM t A, part B WHERE A.id = B.t_id AND A.$C = $V",
    "SELECT a FROM t INNER JOIN part ON t.id = part.t_id AND p = $V WHERE $K",
    "SELECT (SELECT count(*) FROM t) + (SELECT count(*) FROM part) AS y",
    "SELECT a FROM t WHERE $K ORDER BY $C LIMIT 2 OFFSET $V",
    "SELECT a FROM t WHERE $C IN (SELECT p FROM part WHERE p <> $V ORDER BY 1 LIMIT 2) AND $K",
    "PRAGMA case_sensitive_like=true; SELECT a FROM t WHERE $C LIKE $V",
    "PRAGMA case_sensitive_like=false; DELETE FROM t WHERE c like $V",
    "PRAGMA foreign_keys = ON; SELECT a FROM t WHERE c LIKE $T ESCAPE '\\' AND $K",
    "SELECT a FROM t WHERE a GLOB $T OR $K",
    "DELETE FROM part WHERE p = $V; SELECT * FROM part",
    "SELECT a FROM t WHERE $K -- $V",
    "SELECT a /* $V */ FROM t WHERE \"a\" = $V OR [n] = $V OR `x` = $V",
    "SELECT a FROM t WHERE $C $V",
    "SELECT caf\xC3\xA9 FROM t WHERE a = $V",
    "SELECT a FROM t WHERE a \xEF\xBB\xBFLIKE $V",
    "SELECT a FROM t WHERE nothing = $V",
    "SAVEPOINT s",
    "ROLLBACK TO s",
    "RELEASE s",
    "DROP INDEX IF EXISTS t_c",
    "CREATE INDEX IF NOT EXISTS t_c ON t (c)",
};
constexpr const char* kConditions[] = {
    "$C = $V",
    "$C<>$V",
    "$C IN ($V, $V)",
    "$C IN ($V)",
    "$C NOT IN ($V, $V, $V)",
    "$C BETWEEN $V AND $V",
    "$C > $V",
    "$C <= -$V",
    "$C IS $V",
    "$C IS NOT $V",
    "$V = $V",
    "$V < $C",
    "id = $V",
    "a = $V",
    "c = $T",
    "(n, x) = ($V, $V)",
    "typeof($C) = $T",
    "$C || $V = $V",
    "substr(a, 1, 2) = $T",
    "x > 1 AND x < $V",
    "NOT $V",
    "$C == $V OR $C ISNULL",
};
constexpr const char* kValues[] = {
    "0",
    "1",
    "2",
    "3",
    "7",
    "-1",
    "- 5",
    "007",
    "10",
    "1.0",
    "1.5",
    ".5",
    "5.",
    "1e3",
    "2E-1",
    "0x10",
    "0XfF",
    "999999999999999999",
    "1234567890123456789",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775808",
    "99999999999999999999999",
    "51.508722",
    "0.1",
    "''",
    "'1'",
    "' 1'",
    "'01'",
    "'1.0'",
    "'1e3'",
    "'0x10'",
    "'-1'",
    "'abc'",
    "'ABC'",
    "'it''s'",
    "''''",
    "'a%'",
    "'A_c'",
    "'\\%'",
    "'?'",
    "'?1'",
    "':a'",
    "'--'",
    "'/* x'",
    "'; DROP TABLE t'",
    "'\"'",
    "'x''00'''",
    "x'31'",
    "X'00'",
    "NULL",
    "null",
    "TRUE",
    "'true'",
    "'NULL'",
    "'caf\xC3\xA9'",
    "'\xFF\xFE'",
    "'line\nend'",
    "'*'",
    "'text'",
    "'integer'",
    "\"a\"",
    "'{\"a\":1}'",
    "CURRENT_DATE IS NULL",
    "'9223372036854775807'",
    "'like'",
};
constexpr const char* kColumns[] = {"id", "a", "n", "r", "m", "x", "c", "k"};

class StatementMaker {
 public:
  explicit StatementMaker(unsigned seed) : random_(seed) {}

  std::string Make() { return Filled(Any(kForms)); }

 private:
  template <std::size_t N>
  std::string_view Any(const char* const (&choices)[N]) {
    return choices[random_() % N];
  }

  std::string AnyText() {
    for (;;) {
      if (const std::string_view value = Any(kValues); value.starts_with('\'')) return std::string(value);
    }
  }

  std::string Filled(std::string_view form) {
    std::string sql;
    for (std::size_t at = 0; at < form.size(); ++at) {
      if (form[at] != '$' || at + 1 == form.size() || form[at + 1] == '.') {
        sql += form[at];
      } else {
        sql += Filling(form[++at]);
      }
    }
    return sql;
  }

  std::string Filling(char what) {
    switch (what) {
      case 'C':
        return std::string(Any(kColumns));
      case 'T':
        return AnyText();
      case 'K':
        return Filled(Any(kConditions));
      default:
        return std::string(Any(kValues));
    }
  }

  std::mt19937 random_;
};

// The names of its columns may hold a value, so they are asked for by the names that stand in the texts.
std::string RowText(const ResultSet& rows, ResultSet::Row row) {
  std::string text;
  for (const char* column : {"id", "a", "n", "r", "m", "x", "c", "k", "y", "t_id", "p", "v", "count(*)", "?",
                             "'abc'", "1.0", "0", "kind"}) {
    const char* value = rows.Value(row, column);
    text += value != nullptr ? "[" + std::string(value) + "]" : "-";
  }
  return text;
}

// What SQL does, its rows in an order of their own unless the first column, without equals, gives them one.
std::string Told(SqliteConnection& connection, const std::string& sql) {
  ResultSet rows;
  std::string error;
  if (!connection.Execute(sql.c_str(), Window{}, rows, error)) return "error " + error;
  std::vector<std::string> lines;
  while (const ResultSet::Row row = rows.NextRow()) lines.push_back(RowText(rows, row));
  if (sql.find("ORDER BY 1") == sql.npos) std::sort(lines.begin(), lines.end());
  std::string told = std::to_string(rows.affected()) + " changed, " + std::to_string(rows.rows()) + " rows\n";
  for (const std::string& line : lines) told += line + "\n";
  return told;
}

class KeptStatementsRandom : public testing::Test {
 protected:
  std::unique_ptr<SqliteConnection> Open(const char* name) {
    std::string error;
    auto connection = SqliteConnection::Open((dir_ / name).c_str(), SqliteFile::kMayBeMade, error);
    EXPECT_NE(connection, nullptr) << error;
    EXPECT_TRUE(
        connection->Run("PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY; PRAGMA foreign_keys=ON", error))
        << error;
    EXPECT_TRUE(connection->Run(kSchema, error)) << error;
    return connection;
  }

  TempDir dir_;
};

// LUMIVAULT_RANDOM_STATEMENTS sends as many of other ones.
TEST_F(KeptStatementsRandom, DoWhatPlainOnesDo) {
  constexpr const char* kEverything =
      "SELECT id, a || typeof(a) AS a, n, typeof(n) AS c, r, typeof(r) AS k, m, typeof(m) AS y, x, typeof(x) "
      "AS p, "
      "quote(x) AS v FROM t";
  const char* wanted = std::getenv("LUMIVAULT_RANDOM_STATEMENTS");
  const int count = wanted != nullptr ? std::atoi(wanted) : Scaled(2'000, 500);
  const auto plain = Open("plain.db");
  const auto keeping = Open("keeping.db");
  keeping->KeepStatements();
  int kept_and_done = 0;
  StatementMaker maker(wanted != nullptr ? std::random_device()() : 1);
  for (int i = 0; i < count && !HasFailure(); ++i) {
    const std::string sql = maker.Make();
    const std::string told = Told(*plain, sql);
    ASSERT_EQ(Told(*keeping, sql), told) << sql;
    if (ShapeOf(sql) && !told.starts_with("error")) ++kept_and_done;
    ASSERT_EQ(Told(*keeping, kEverything), Told(*plain, kEverything)) << sql;
  }
  EXPECT_GT(kept_and_done, count / 10);
}

}  // namespace
