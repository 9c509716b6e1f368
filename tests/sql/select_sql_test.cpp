#include <string>

#include <gtest/gtest.h>

#include "backup/backup_set/common/domino_backup_set.h"
#include "platform/sql/select_sql.h"

namespace {

// The common columns of a set under alias b, as the statement lists them.
char const BASE_COLUMNS[] =
    "b.uuid,b.name,b.job_instance_uuid,b.definition_uuid,b.uid,b.host_uuid,b.resource_uuid,b.minor_resource_id,"
    "b.minor_resource_name,b.agent,b.incarnation,b.type,b.first_time,b.last_time,b.backup_start_time,"
    "b.backup_end_time,b.source_size,b.size,b.uri,b.host,b.instance,b.instance_version,b.first_scn,b.last_scn,"
    "b.resource_tree,b.extended_attrs,b.uname,b.lsb";

}  // namespace

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

TEST(SelectSql, DominoStatementQuotesItsReservedAliasForPostgreSQL) {
  Select_SQL sql("backup_set", "b");
  Domino_Backup_Set::init_select_sql(sql, "b");
  EXPECT_EQ(std::string("SELECT ") + BASE_COLUMNS +
                ",\"do\".seq,\"do\".source_type,\"do\".data_path,\"do\".compression,\"do\".daos "
                "FROM backup_set b LEFT JOIN domino_backup_set \"do\" ON uuid=\"do\".set_uuid",
            sql.text(Dialect::PostgreSQL));
}

TEST(SelectSql, DominoStatementKeepsItsAliasBareForSQLite) {
  Select_SQL sql("backup_set", "b");
  Domino_Backup_Set::init_select_sql(sql, "b");
  EXPECT_EQ(std::string("SELECT ") + BASE_COLUMNS +
                ",do.seq,do.source_type,do.data_path,do.compression,do.daos "
                "FROM backup_set b LEFT JOIN domino_backup_set do ON uuid=do.set_uuid",
            sql.text(Dialect::SQLite));
}

TEST(SelectSql, QuotingLeavesTheStatementsPartsAsTheyWere) {
  Select_SQL sql("backup_set", "b");
  Domino_Backup_Set::init_select_sql(sql, "b");
  sql.text(Dialect::PostgreSQL);
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("do", sql.joins()[0].alias);
  EXPECT_EQ("uuid=do.set_uuid", sql.joins()[0].condition);
  EXPECT_EQ((Select_SQL::Column{"do.seq", "seq"}), sql.columns()[sql.columns().size() - 5]);
}

TEST(SelectSql, ReservedAliasOfTheMainTableIsQuotedForPostgreSQL) {
  Select_SQL sql("backup_set", "do");
  sql.add_key("do.uuid", "uuid");
  sql.where("do.size > :n", false).bind(":n", Binding_Value(5LL));
  EXPECT_EQ("SELECT \"do\".uuid FROM backup_set \"do\" WHERE (\"do\".size > $1)", sql.text(Dialect::PostgreSQL));
  EXPECT_EQ("SELECT do.uuid FROM backup_set do WHERE (do.size > :n)", sql.text(Dialect::SQLite));
}

TEST(SelectSql, WordThatOnlyContainsTheReservedAliasIsNotTouched) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("undo.x", "x").add_key("do.y", "y").add_key("dox.z", "z").add_key("b.do", "w");
  sql.join("t", "do", "uuid=do.set_uuid AND undo.id=dox.id");
  EXPECT_EQ(
      "SELECT undo.x,\"do\".y,dox.z,b.do AS \"w\" FROM backup_set b LEFT JOIN t \"do\" "
      "ON uuid=\"do\".set_uuid AND undo.id=dox.id",
      sql.text(Dialect::PostgreSQL));
}

TEST(SelectSql, AliasThatOnlyStartsWithAReservedWordIsNotQuoted) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("dox.seq", "seq");
  sql.join("domino_backup_set", "dox", "uuid=dox.set_uuid");
  EXPECT_EQ("SELECT dox.seq FROM backup_set b LEFT JOIN domino_backup_set dox ON uuid=dox.set_uuid",
            sql.text(Dialect::PostgreSQL));
}

TEST(SelectSql, TextInsideQuotesIsNotTouched) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("do.seq", "do.k");
  sql.join("domino_backup_set", "do", "uuid=do.set_uuid");
  sql.where("b.name <> 'do.x' AND \"do.y\" IS NOT NULL", false);
  EXPECT_EQ(
      "SELECT \"do\".seq AS \"do.k\" FROM backup_set b LEFT JOIN domino_backup_set \"do\" ON uuid=\"do\".set_uuid "
      "WHERE (b.name <> 'do.x' AND \"do.y\" IS NOT NULL)",
      sql.text(Dialect::PostgreSQL));
}

TEST(SelectSql, OtherReservedAliasesAreQuotedToo) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("user.name", "name").add_key("order.n", "n");
  sql.join("a", "user", "uuid=user.set_uuid").join("c", "order", "uuid=order.set_uuid");
  EXPECT_EQ(
      "SELECT \"user\".name,\"order\".n FROM backup_set b LEFT JOIN a \"user\" ON uuid=\"user\".set_uuid "
      "LEFT JOIN c \"order\" ON uuid=\"order\".set_uuid",
      sql.text(Dialect::PostgreSQL));
  EXPECT_EQ(
      "SELECT user.name,order.n FROM backup_set b LEFT JOIN a user ON uuid=user.set_uuid "
      "LEFT JOIN c order ON uuid=order.set_uuid",
      sql.text(Dialect::SQLite));
}

TEST(SelectSql, UnreservedAliasIsNeverQuoted) {
  Select_SQL sql("backup_set", "b");
  sql.add_key("dm.seq", "seq");
  sql.join("dmdb_backup_set", "dm", "uuid=dm.set_uuid");
  EXPECT_EQ("SELECT dm.seq FROM backup_set b LEFT JOIN dmdb_backup_set dm ON uuid=dm.set_uuid",
            sql.text(Dialect::PostgreSQL));
}
