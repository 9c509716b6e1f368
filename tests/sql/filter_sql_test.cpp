#include <gtest/gtest.h>

#include "platform/sql/select_sql.h"

namespace {
std::string const kA = "0123abcd-0000-1111-2222-333344445555";
std::string const kB = "FFFFFFFF-0000-1111-2222-333344445555";
}  // namespace

TEST(FilterSql, InUuidItemBindsRawBytes) {
  Select_SQL sql("backup_set_storage", nullptr);
  sql.select("pool_uuid").where("set_uuid=:set_uuid", false);
  Filter_SQL* f = sql.and_filter();
  ASSERT_NE(nullptr, f);
  f->add_in_uuid_item("pool_uuid", {json_spirit::Value(kA), json_spirit::Value(kB)});
  EXPECT_EQ("SELECT pool_uuid FROM backup_set_storage WHERE (set_uuid=:set_uuid) AND (pool_uuid IN (:_f0_0,:_f0_1))",
            sql.text(Dialect::SQLite));
  Binding_Value const* b0 = sql.binding(":_f0_0");
  ASSERT_NE(nullptr, b0);
  ASSERT_EQ(Binding_Value::binary_kind, b0->kind());
  std::basic_string<unsigned char> want{0x01, 0x23, 0xab, 0xcd, 0, 0, 0x11, 0x11, 0x22, 0x22, 0x33, 0x33, 0x44, 0x44, 0x55, 0x55};
  EXPECT_EQ(want, b0->binary());
  EXPECT_EQ(0xff, sql.binding(":_f0_1")->binary()[0]);
}

TEST(FilterSql, NonUuidElementsAreLeftOut) {
  Select_SQL sql("t", nullptr);
  sql.and_filter()->add_in_uuid_item("pool_uuid", {json_spirit::Value("nope"), json_spirit::Value(5), json_spirit::Value(kA)});
  EXPECT_EQ("SELECT * FROM t WHERE (pool_uuid IN (:_f0_0))", sql.text(Dialect::SQLite));
}

TEST(FilterSql, NoUsableUuidMatchesNothing) {
  Select_SQL sql("t", nullptr);
  sql.and_filter()->add_in_uuid_item("pool_uuid", {json_spirit::Value("0123abcd-0000-1111-2222-33334444555")});
  EXPECT_EQ("SELECT * FROM t WHERE (0=1)", sql.text(Dialect::SQLite));
  Select_SQL empty("t", nullptr);
  empty.and_filter()->add_in_uuid_item("pool_uuid", {});
  EXPECT_EQ("SELECT * FROM t WHERE (0=1)", empty.text(Dialect::PostgreSQL));
}

TEST(FilterSql, EmptyGroupAddsNothing) {
  Select_SQL sql("t", nullptr);
  sql.and_filter();
  sql.or_filter();
  EXPECT_EQ("SELECT * FROM t", sql.text(Dialect::SQLite));
}

TEST(FilterSql, OrGroupAndSeparateParameterNames) {
  Select_SQL sql("t", nullptr);
  sql.where("a=:a", false);
  Filter_SQL* any = sql.or_filter();
  any->add_item("b=1").add_in_item("c", {Binding_Value(1LL), Binding_Value(2LL)});
  sql.and_filter()->add_in_item("d", {Binding_Value(std::string("x"))});
  std::vector<std::string> names;
  EXPECT_EQ("SELECT * FROM t WHERE (a=$1) AND (b=1 OR c IN ($2,$3)) AND (d IN ($4))",
            sql.text(Dialect::PostgreSQL, names));
  EXPECT_EQ((std::vector<std::string>{":a", ":_f0_0", ":_f0_1", ":_f1_0"}), names);
}
