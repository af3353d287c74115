#include "db/statement_shape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

std::string Text(const StatementShape::Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  if (const auto* fraction = std::get_if<Fraction>(&value)) return fraction->text;
  return "'" + std::get<std::string>(value) + "'";
}

// "text | value value", or "none".
std::string Shape(std::string_view sql) {
  const auto shape = ShapeOf(sql);
  if (!shape) return "none";
  std::string text = shape->text + " |";
  for (const StatementShape::Value& value : shape->values) text += " " + Text(value);
  return text;
}

TEST(StatementShape, TextsAndWholeNumbersAreValues) {
  EXPECT_EQ(Shape("SELECT a FROM t WHERE path = 'x/y.jpg' AND n=12"),
            "SELECT a FROM t WHERE path = ? AND n=? | 'x/y.jpg' 12");
  EXPECT_EQ(Shape("INSERT INTO t (a, b) VALUES('', 0)"), "INSERT INTO t (a, b) VALUES(?, ?) | '' 0");
  EXPECT_EQ(Shape("UPDATE t SET a = '1', b = -7, c=NULL where d = 'e'"),
            "UPDATE t SET a = ?, b = -?, c=NULL where d = ? | '1' 7 'e'");
  EXPECT_EQ(Shape("delete from t"), "delete from t |");
}

TEST(StatementShape, DoubledQuotesAreOne) {
  EXPECT_EQ(Shape("DELETE FROM t WHERE a = 'it''s' AND b = ''''"),
            "DELETE FROM t WHERE a = ? AND b = ? | 'it's' '''");
}

TEST(StatementShape, AFractionIsAValueWhereItIsAllThatAColumnGets) {
  EXPECT_EQ(Shape("INSERT INTO t (a, b, c) VALUES(35.5, -139.751667 , NULL)"),
            "INSERT INTO t (a, b, c) VALUES(?, -? , NULL) | 35.5 139.751667");
  EXPECT_EQ(Shape("UPDATE t SET a = 0.5, b=-1.25, c = 1.0 WHERE d = 2"),
            "UPDATE t SET a = ?, b=-?, c = ? WHERE d = ? | 0.5 1.25 1.0 2");
  EXPECT_EQ(ShapeOf("update t set a = 1.5", "CAST(? AS REAL)")->text, "update t set a = CAST(? AS REAL)");
}

TEST(StatementShape, NumbersInNamesBelongToThem) {
  EXPECT_EQ(Shape("SELECT lens_v2 FROM t2 WHERE x1=3"), "SELECT lens_v2 FROM t2 WHERE x1=? | 3");
}

TEST(StatementShape, SignsInsideATextAreText) {
  EXPECT_EQ(Shape("DELETE FROM t WHERE a = 'x; -- \"y\" LIKE ? /* 1.5'"),
            "DELETE FROM t WHERE a = ? | 'x; -- \"y\" LIKE ? /* 1.5'");
}

TEST(StatementShape, WhatFollowsOrderGroupOrLimitStays) {
  EXPECT_EQ(Shape("SELECT a FROM t WHERE b = 2 ORDER BY 1, 'c' LIMIT 5"),
            "SELECT a FROM t WHERE b = ? ORDER BY 1, 'c' LIMIT 5 | 2");
  EXPECT_EQ(Shape("SELECT a FROM t group by 1"), "SELECT a FROM t group by 1 |");
}

TEST(StatementShape, WhatMayMeanAnotherThingHasNone) {
  for (const char* sql : {"",
                          " ",
                          "PRAGMA foreign_keys=ON",
                          "BEGIN",
                          "CREATE TABLE t (a DEFAULT 1)",
                          "EXPLAIN SELECT 1",
                          "SELECT 1",
                          "SELECT 'a' AS b FROM t",
                          "SELECT count(1) FROM t",
                          "SELECT count(*) FILTER (WHERE a = b), 'c' FROM t",
                          "SELECT caf\xC3\xA9 FROM t",
                          "SELECT \xC3\xA9 FROM t",
                          "SELECT a FROM t WHERE b \xEF\xBB\xBFLIKE 'c'",
                          "SELECT a FROM t WHERE b like 'c'",
                          "SELECT a FROM t WHERE b GLOB 'c'",
                          "UPDATE t SET a = .5",
                          "UPDATE t SET a = 1.",
                          "UPDATE t SET a = 1.5e3",
                          "UPDATE t SET a = 1.5.5",
                          "UPDATE t SET a = + 1.5",
                          "UPDATE t SET a = b = 1.5",
                          "UPDATE t SET a = (b = 1.5)",
                          "UPDATE t SET a = (1.5)",
                          "UPDATE t SET a = b - 1.5",
                          "UPDATE t SET a = 1.5 + b",
                          "UPDATE t SET a = 1 WHERE b = 1.5",
                          "UPDATE t SET a = 1 FROM u, v = 1.5",
                          "DELETE FROM t WHERE a = 1.5",
                          "SELECT a FROM t WHERE b IN (1.5, 2)",
                          "INSERT INTO t (a) SELECT 1.5",
                          "INSERT INTO t (a) VALUES (abs(1.5))",
                          "INSERT INTO t (a) VALUES (1.5 < b)",
                          "INSERT INTO t (a) VALUES (b < 1.5)",
                          "INSERT INTO t (a) VALUES (1) ON CONFLICT (a) DO UPDATE SET a = 1.5",
                          "UPDATE t SET a = 1e3",
                          "UPDATE t SET a = 0x10",
                          "UPDATE t SET a = 1234567890123456789",
                          "UPDATE t SET a = x'00'",
                          "UPDATE t SET a = 'open",
                          "UPDATE t SET \"a\" = 1",
                          "UPDATE t SET [a] = 1",
                          "UPDATE t SET a = 1; DELETE FROM t",
                          "UPDATE t SET a = ?",
                          "UPDATE t SET a = :b",
                          "UPDATE t SET a = 1 -- b",
                          "UPDATE t SET a = /* b */ 1",
                          "DELETE FROM t RETURNING 1"}) {
    EXPECT_EQ(Shape(sql), "none") << sql;
  }
}

TEST(StatementShape, CutAnywhereItIsHarmless) {
  const std::string sql = "UPDATE t SET a = 'it''s', b = 12 WHERE c = 'd' ORDER BY 1";
  for (std::size_t length = 0; length <= sql.size(); ++length) {
    const auto shape = ShapeOf(sql.substr(0, length));
    const auto quotes = std::count(sql.begin(), sql.begin() + static_cast<std::ptrdiff_t>(length), '\'');
    if (quotes % 2 != 0) {
      EXPECT_FALSE(shape) << length;
    }
  }
}

}  // namespace
