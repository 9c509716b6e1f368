#include <gtest/gtest.h>

#include "platform/sql/select_sql.h"

TEST(SelectSql, ColumnsJoinsWhereOrderLimit) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("b.uuid", "uuid").add_key("b.name", "name");
  sql.join("dmdb_backup_set", "dm", "uuid=dm.set_uuid");
  sql.where("b.agent=:agent", false);
  sql.order_by("b.backup_start_time", true).limit(10).offset(20);
  sql.bind(":agent", Binding_Value(std::string("a1")));
  EXPECT_EQ(
      "SELECT b.uuid,b.name FROM backup_set b LEFT JOIN dmdb_backup_set dm ON uuid=dm.set_uuid "
      "WHERE (b.agent=:agent) ORDER BY b.backup_start_time DESC LIMIT :_limit OFFSET :_offset",
      sql.text(Dialect::SQLite));
  std::vector<std::string> names;
  EXPECT_EQ(
      "SELECT b.uuid,b.name FROM backup_set b LEFT JOIN dmdb_backup_set dm ON uuid=dm.set_uuid "
      "WHERE (b.agent=$1) ORDER BY b.backup_start_time DESC LIMIT $2 OFFSET $3",
      sql.text(Dialect::PostgreSQL, names));
  EXPECT_EQ((std::vector<std::string>{":agent", ":_limit", ":_offset"}), names);
  EXPECT_EQ(10, sql.binding(":_limit")->integer());
  EXPECT_EQ(20, sql.binding(":_offset")->integer());
}

TEST(SelectSql, KeysAreDeliveredAsGiven) {
  Select_SQL sql("backup_set", "b1");
  sql.add_key("b1.uuid", "uuid").add_key("b1.name", "display").add_key("count(*)", "n");
  ASSERT_EQ(3u, sql.columns().size());
  EXPECT_EQ("b1.uuid", sql.columns()[0].first);
  EXPECT_EQ("uuid", sql.columns()[0].second);
  EXPECT_EQ((std::vector<std::string>{"uuid", "display", "n"}), *sql.keys());
  EXPECT_EQ("SELECT b1.uuid,b1.name AS \"display\",count(*) AS \"n\" FROM backup_set b1", sql.text(Dialect::SQLite));
}

TEST(SelectSql, NullAliasQualifiesByTableName) {
  Select_SQL sql("backup_set_storage", nullptr);
  EXPECT_EQ("", sql.from_alias());
  EXPECT_EQ("backup_set_storage", sql.from_table());
  sql.add_key(".pool_uuid", "pool_uuid");
  EXPECT_EQ("SELECT backup_set_storage.pool_uuid FROM backup_set_storage", sql.text(Dialect::SQLite));
}

TEST(SelectSql, PlainSelectListKeysAreBareColumnNames) {
  Select_SQL sql("backup_set_storage", nullptr);
  sql.select("pool_uuid,state, s.size ,upstream_pool_uuid, count(x) AS c, max(a,b)");
  EXPECT_EQ((std::vector<std::string>{"pool_uuid", "state", "size", "upstream_pool_uuid", "c", "max(a,b)"}),
            *sql.keys());
  EXPECT_EQ("SELECT pool_uuid,state,s.size,upstream_pool_uuid,count(x) AS \"c\",max(a,b) FROM backup_set_storage",
            sql.text(Dialect::SQLite));
}

TEST(SelectSql, SelectReplacesColumnList) {
  Select_SQL sql("t", "a");
  sql.add_key("a.x", "x");
  sql.select("y");
  ASSERT_EQ(1u, sql.columns().size());
  EXPECT_EQ("y", sql.columns()[0].second);
}

TEST(SelectSql, TableResetsFromAndAlias) {
  Select_SQL sql(nullptr, nullptr);
  sql.table("backup_piece", "p");
  EXPECT_EQ("backup_piece", sql.from_table());
  EXPECT_EQ("p", sql.from_alias());
  EXPECT_EQ("SELECT * FROM backup_piece p", sql.text(Dialect::PostgreSQL));
}

TEST(SelectSql, JoinsInspectable) {
  Select_SQL sql("backup_set", "b");
  sql.join("a_t", "a", "uuid=a.set_uuid").inner_join("c_t", nullptr, "uuid=c_t.set_uuid");
  sql.join(nullptr, "x", "1=1");
  ASSERT_EQ(2u, sql.joins().size());
  EXPECT_EQ("a_t", sql.joins()[0].table);
  EXPECT_EQ("a", sql.joins()[0].alias);
  EXPECT_EQ("uuid=a.set_uuid", sql.joins()[0].condition);
  EXPECT_FALSE(sql.inner(0));
  EXPECT_TRUE(sql.inner(1));
  EXPECT_EQ("SELECT * FROM backup_set b LEFT JOIN a_t a ON uuid=a.set_uuid INNER JOIN c_t ON uuid=c_t.set_uuid",
            sql.text(Dialect::SQLite));
}

TEST(SelectSql, OffsetWithoutLimitPerDialect) {
  Select_SQL sql("t", nullptr);
  sql.offset(5);
  EXPECT_EQ("SELECT * FROM t LIMIT -1 OFFSET :_offset", sql.text(Dialect::SQLite));
  EXPECT_EQ("SELECT * FROM t OFFSET $1", sql.text(Dialect::PostgreSQL));
  sql.offset(-1);
  EXPECT_EQ("SELECT * FROM t", sql.text(Dialect::SQLite));
}

TEST(SelectSql, DistinctAndKeyWithQuote) {
  Select_SQL sql("t", nullptr);
  sql.distinct(true).add_key("a", "we\"ird");
  EXPECT_EQ("SELECT DISTINCT a AS \"we\"\"ird\" FROM t", sql.text(Dialect::SQLite));
}

TEST(SelectSql, NullKeyTakesBareName) {
  Select_SQL sql("t", "x");
  sql.add_key("x.col", nullptr);
  EXPECT_EQ("col", sql.columns()[0].second);
}

TEST(SelectSql, SimpleNameListKeysAndText) {
  Select_SQL sql("backup_set_storage", nullptr);
  sql.select("pool_uuid,s.state,,size");
  EXPECT_EQ((std::vector<std::string>{"pool_uuid", "state", "size"}), *sql.keys());
  EXPECT_EQ("s.state", sql.columns()[1].first);
  EXPECT_EQ("SELECT pool_uuid,s.state,size FROM backup_set_storage", sql.text(Dialect::SQLite));
  sql.select("");
  EXPECT_TRUE(sql.columns().empty());
}
