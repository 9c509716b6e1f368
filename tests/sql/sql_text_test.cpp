#include <gtest/gtest.h>

#include "platform/sql/sql.h"
#include "platform/sql/where_sql.h"

TEST(SqlText, SqliteKeepsNamedParameters) {
  SQL sql("DELETE FROM t WHERE a=:a AND b=:b");
  EXPECT_EQ("DELETE FROM t WHERE a=:a AND b=:b", sql.text(Dialect::SQLite));
}

TEST(SqlText, PostgresNumbersParametersByFirstAppearance) {
  SQL sql("UPDATE t SET a=:a WHERE b=:b OR a=:a");
  std::vector<std::string> names;
  EXPECT_EQ("UPDATE t SET a=$1 WHERE b=$2 OR a=$1", sql.text(Dialect::PostgreSQL, names));
  ASSERT_EQ(2u, names.size());
  EXPECT_EQ(":a", names[0]);
  EXPECT_EQ(":b", names[1]);
}

TEST(SqlText, QuotedTextCastsAndCommentsAreNotParameters) {
  SQL sql("SELECT ':x', \"a:b\", c::text, 'it''s :y' FROM t -- :z\n WHERE d=:d /* :w */ AND e=$q$ :v $q$");
  std::vector<std::string> names;
  std::string text = sql.text(Dialect::PostgreSQL, names);
  EXPECT_EQ("SELECT ':x', \"a:b\", c::text, 'it''s :y' FROM t -- :z\n WHERE d=$1 /* :w */ AND e=$q$ :v $q$", text);
  ASSERT_EQ(1u, names.size());
  EXPECT_EQ(":d", names[0]);
}

TEST(SqlText, LoneColonAndDigitsAreLeftAlone) {
  SQL sql("SELECT '12:30', 5 : 3, :1");
  std::vector<std::string> names;
  sql.text(Dialect::PostgreSQL, names);
  EXPECT_TRUE(names.empty());
}

TEST(SqlBind, NameGetsColonAndRebindReplaces) {
  SQL sql("SELECT :a");
  sql.bind("a", Binding_Value(1LL));
  sql.bind(":a", Binding_Value(std::string("two")));
  ASSERT_EQ(1u, sql.bindings().size());
  EXPECT_EQ(":a", sql.bindings()[0].first);
  ASSERT_NE(nullptr, sql.binding("a"));
  EXPECT_EQ(Binding_Value::text_kind, sql.binding(":a")->kind());
  EXPECT_EQ("two", sql.binding("a")->bytes());
  EXPECT_EQ(nullptr, sql.binding(":b"));
}

TEST(SqlBind, ValuesNeverEnterTheText) {
  SQL sql("INSERT INTO t(a) VALUES (:a)");
  sql.bind(":a", Binding_Value(std::string("x'); DROP TABLE t; --")));
  EXPECT_EQ("INSERT INTO t(a) VALUES (:a)", sql.text(Dialect::SQLite));
  EXPECT_EQ("INSERT INTO t(a) VALUES ($1)", sql.text(Dialect::PostgreSQL));
}

TEST(BindingValue, Kinds) {
  EXPECT_TRUE(Binding_Value().is_null());
  EXPECT_EQ(Binding_Value::integer_kind, Binding_Value(7LL).kind());
  EXPECT_EQ(7, Binding_Value(7LL).integer());
  EXPECT_EQ(Binding_Value::text_kind, Binding_Value(std::string("a")).kind());
  EXPECT_EQ(Binding_Value::text_kind, Binding_Value("lit").kind());
  EXPECT_TRUE(Binding_Value(static_cast<char const*>(nullptr)).is_null());
  std::basic_string<unsigned char> raw{0, 1, 2, 0xff};
  Binding_Value b(raw);
  EXPECT_EQ(Binding_Value::binary_kind, b.kind());
  EXPECT_EQ(raw, b.binary());
  EXPECT_EQ(4u, b.bytes().size());
}

TEST(WhereSql, ConditionsJoinedByAnd) {
  Where_SQL sql("DELETE FROM backup_set");
  sql.where("uuid=:uuid", false).where("status=:s", false);
  EXPECT_EQ("DELETE FROM backup_set WHERE (uuid=:uuid) AND (status=:s)", sql.text(Dialect::SQLite));
}

TEST(WhereSql, ReplaceDropsEarlierConditions) {
  Where_SQL sql("DELETE FROM t");
  sql.where("a=1", false).where("b=2", true);
  EXPECT_EQ("DELETE FROM t WHERE (b=2)", sql.text(Dialect::SQLite));
  sql.where(nullptr, false).where("", false);
  EXPECT_EQ(1u, sql.conditions().size());
}

TEST(WhereSql, NoConditionNoWhere) {
  Where_SQL sql("DELETE FROM t");
  EXPECT_EQ("DELETE FROM t", sql.text(Dialect::PostgreSQL));
}

TEST(SqlBind, ManyParametersKeepTheirValuesAndNumbers) {
  std::string text = "INSERT INTO t(a) VALUES ";
  for (int i = 0; i < 2000; ++i) text += (i ? ",(:a" : "(:a") + std::to_string(i) + ")";
  SQL sql(text);
  for (int i = 0; i < 2000; ++i) sql.bind(":a" + std::to_string(i), Binding_Value(static_cast<long long>(i)));
  for (int i = 0; i < 2000; i += 2) sql.bind("a" + std::to_string(i), Binding_Value(static_cast<long long>(-i)));
  ASSERT_EQ(2000u, sql.bindings().size());
  EXPECT_EQ(-10, sql.binding(":a10")->integer());
  EXPECT_EQ(11, sql.binding("a11")->integer());
  EXPECT_EQ(nullptr, sql.binding(":a2000"));
  std::vector<std::string> names;
  std::string pg = sql.text(Dialect::PostgreSQL, names);
  ASSERT_EQ(2000u, names.size());
  EXPECT_EQ(":a1999", names.back());
  EXPECT_NE(std::string::npos, pg.find(",($2000)"));
  sql.clear_bindings();
  EXPECT_EQ(nullptr, sql.binding(":a10"));
  sql.bind(":a10", Binding_Value(1LL));
  EXPECT_EQ(1, sql.binding(":a10")->integer());
}
