#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "platform/sql/select_sql.h"

namespace {

std::vector<std::string> keys_of(Select_SQL const& sql) {
  std::vector<std::string> keys;
  for (auto const& c : sql.columns()) keys.push_back(c.second);
  return keys;
}

std::vector<std::string> expressions_of(Select_SQL const& sql) {
  std::vector<std::string> out;
  for (auto const& c : sql.columns()) out.push_back(c.first);
  return out;
}

std::vector<std::string> const SET_COLUMNS = {
    "uuid", "name", "job_instance_uuid", "definition_uuid", "uid", "host_uuid", "resource_uuid", "minor_resource_id",
    "minor_resource_name", "agent", "incarnation", "type", "first_time", "last_time", "backup_start_time",
    "backup_end_time", "source_size", "size", "uri", "host", "instance", "instance_version", "first_scn", "last_scn",
    "resource_tree", "extended_attrs", "uname", "lsb"};

std::vector<std::string> prefixed(std::string const& alias, std::vector<std::string> const& columns) {
  std::vector<std::string> out;
  for (auto const& c : columns) out.push_back(alias + "." + c);
  return out;
}

}  // namespace

TEST(SelectStatement, SetSelectsItsTableColumnsUnderTheAlias) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "b1");
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b1", sql.from_alias());
  EXPECT_EQ(SET_COLUMNS, keys_of(sql));
  EXPECT_EQ(prefixed("b1", SET_COLUMNS), expressions_of(sql));
  EXPECT_EQ("b1.uuid", sql.columns()[0].first);
  EXPECT_EQ("uuid", sql.columns()[0].second);
  EXPECT_TRUE(sql.joins().empty());
}

TEST(SelectStatement, KeyIsBareColumnNameThoughExpressionHasAlias) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "zz");
  for (auto const& c : sql.columns()) {
    EXPECT_EQ("zz." + c.second, c.first);
    EXPECT_EQ(std::string::npos, c.second.find('.'));
  }
  // Keys need no AS: the bare name is what the expression is known by.
  EXPECT_EQ(std::string::npos, sql.text(Dialect::SQLite).find(" AS "));
}

TEST(SelectStatement, BuildingTwiceAddsTheColumnsTwice) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set::init_select_sql(sql, "b");
  Backup_Set::init_select_sql(sql, "b");
  ASSERT_EQ(2 * SET_COLUMNS.size(), sql.columns().size());
  EXPECT_EQ("uuid", sql.columns()[SET_COLUMNS.size()].second);
  EXPECT_EQ("backup_set", sql.from_table());
}

TEST(SelectStatement, PieceColumns) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Piece::init_select_sql(sql, "p");
  std::vector<std::string> columns = {"id", "set_uuid", "path", "object", "size", "extended_attrs"};
  EXPECT_EQ("backup_piece", sql.from_table());
  EXPECT_EQ("p", sql.from_alias());
  EXPECT_EQ(columns, keys_of(sql));
  EXPECT_EQ(prefixed("p", columns), expressions_of(sql));
}

TEST(SelectStatement, StorageColumns) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Set_Storage::init_select_sql(sql, "s");
  std::vector<std::string> columns = {"id", "set_uuid", "pool_uuid", "size", "state", "upstream_pool_uuid",
                                      "extended_attrs"};
  EXPECT_EQ("backup_set_storage", sql.from_table());
  EXPECT_EQ(columns, keys_of(sql));
  EXPECT_EQ(prefixed("s", columns), expressions_of(sql));
}

TEST(SelectStatement, NullAliasQualifiesColumnsByTheTable) {
  Select_SQL sql(nullptr, nullptr);
  Backup_Piece::init_select_sql(sql, nullptr);
  EXPECT_EQ("", sql.from_alias());
  EXPECT_EQ(".path", sql.columns()[2].first);
  EXPECT_EQ("path", sql.columns()[2].second);
  EXPECT_EQ(
      "SELECT backup_piece.id,backup_piece.set_uuid,backup_piece.path,backup_piece.object,backup_piece.size,"
      "backup_piece.extended_attrs FROM backup_piece",
      sql.text(Dialect::PostgreSQL));
}

TEST(SelectStatement, TableOfTheRecordReplacesAnEarlierTable) {
  Select_SQL sql("something_else", "x");
  Backup_Set_Storage::init_select_sql(sql, "s");
  EXPECT_EQ("backup_set_storage", sql.from_table());
  EXPECT_EQ("s", sql.from_alias());
}
