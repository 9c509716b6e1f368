#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/gaussdb_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("meta_destination":"","backup_key":"","prior_backup_key":"","nodes_count":0,"series":0,"seq":0,)"
    R"("timeline":"","compression":"","granularity":"","database":"","tables":[]})";

}  // namespace

TEST(GaussDBBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<GaussDB_Backup_Set>("gaussdb", DEFAULT_KEYS);
}

TEST(GaussDBBackupSet, FilledDocumentHasEveryKeyInOrder) {
  GaussDB_Backup_Set set;
  set.seq = LLONG_MAX;
  set.meta_destination = "/gauss/meta \"dest\"";
  set.backup_key = "20231114_221320";
  set.prior_backup_key = "20231113_221320";
  set.timeline = "tl\\1";
  set.compression = "zstd";
  set.granularity = "table";
  set.database = "\xE6\x95\xB0\xE6\x8D\xAE";  // two CJK characters
  set.nodes_count = INT_MIN;
  set.series = INT_MAX;
  set.tables = Array{Value(1), Value("two"), Value(true), Value(), Value(Object{{"k", Value(Array{Value(1.5)})}}),
                     Value(-3), Value(18446744073709551615ULL)};
  EXPECT_EQ(base_prefix("gaussdb") +
                R"("meta_destination":"/gauss/meta \"dest\"","backup_key":"20231114_221320",)"
                R"("prior_backup_key":"20231113_221320","nodes_count":-2147483648,"series":2147483647,)"
                R"("seq":9223372036854775807,"timeline":"tl\\1","compression":"zstd","granularity":"table",)"
                R"("database":")"
                "\xE6\x95\xB0\xE6\x8D\xAE"
                R"(","tables":[1,"two",true,null,{"k":[1.5]},-3,18446744073709551615]})",
            document_of(set));
}

TEST(GaussDBBackupSet, SeqKeepsTheFullSignedRange) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", LLONG_MIN));
  EXPECT_EQ(LLONG_MIN, set.seq);
  EXPECT_NE(std::string::npos, document_of(set).find(R"("series":0,"seq":-9223372036854775808,"timeline")"));
}

TEST(GaussDBBackupSet, TextColumnsAreStoredByPrintCstr) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "meta_destination", "md"));
  EXPECT_TRUE(cstr(set, "backup_key", "bk"));
  EXPECT_TRUE(cstr(set, "prior_backup_key", "pbk"));
  EXPECT_TRUE(cstr(set, "timeline", "tl"));
  EXPECT_TRUE(cstr(set, "compression", "cmp"));
  EXPECT_TRUE(cstr(set, "granularity", "gr"));
  EXPECT_TRUE(cstr(set, "database", "db"));
  EXPECT_EQ("md", set.meta_destination);
  EXPECT_EQ("bk", set.backup_key);
  EXPECT_EQ("pbk", set.prior_backup_key);
  EXPECT_EQ("tl", set.timeline);
  EXPECT_EQ("cmp", set.compression);
  EXPECT_EQ("gr", set.granularity);
  EXPECT_EQ("db", set.database);
}

TEST(GaussDBBackupSet, TextColumnTakesOnlyGivenLength) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "backup_key", "key-and-rest", 3));
  EXPECT_EQ("key", set.backup_key);
}

TEST(GaussDBBackupSet, IntegerColumnsAreStoredByPrintInt) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 77));
  EXPECT_TRUE(set.print_int(0, "nodes_count", 3));
  EXPECT_TRUE(set.print_int(0, "series", -4));
  EXPECT_EQ(77, set.seq);
  EXPECT_EQ(3, set.nodes_count);
  EXPECT_EQ(-4, set.series);
}

TEST(GaussDBBackupSet, SignedThirtyTwoBitColumnsKeepTheLowBits) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "nodes_count", 4294967296LL));
  EXPECT_EQ(0, set.nodes_count);
  EXPECT_TRUE(set.print_int(0, "series", 2147483648LL));
  EXPECT_EQ(INT_MIN, set.series);
  EXPECT_TRUE(set.print_int(0, "nodes_count", -1));
  EXPECT_EQ(-1, set.nodes_count);
  EXPECT_NE(std::string::npos, document_of(set).find(R"("nodes_count":-1,"series":-2147483648,)"));
}

TEST(GaussDBBackupSet, UnknownTextColumnGoesToTheBase) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "gauss-full"));
  EXPECT_TRUE(cstr(set, "uuid", "u-3"));
  EXPECT_EQ("gauss-full", set.name);
  EXPECT_EQ("u-3", set.uuid);
}

TEST(GaussDBBackupSet, UnknownIntegerColumnGoesToTheBase) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 123));
  EXPECT_TRUE(set.print_int(0, "last_scn", 456));
  EXPECT_EQ(123, set.size);
  EXPECT_EQ(456, set.last_scn);
}

TEST(GaussDBBackupSet, ValueOfAnotherTypeUnderOwnKeyChangesNothing) {
  GaussDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "backup_key", 5));
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(cstr(set, "tables", "[1]"));
  EXPECT_TRUE(set.print_json(0, "database", Value("db")));
  EXPECT_EQ(before, document_of(set));
}

TEST(GaussDBBackupSet, TablesArrayIsCopiedByPrintJson) {
  GaussDB_Backup_Set set;
  set.tables = Array{Value("old")};
  Array const tables{Value("public.t1"), Value(Object{{"schema", Value("s")}}), Value(2)};
  EXPECT_TRUE(set.print_json(0, "tables", Value(tables)));
  EXPECT_EQ(tables, set.tables);
  EXPECT_TRUE(set.print_json(0, "tables", Value(Array())));
  EXPECT_TRUE(set.tables.empty());
}

TEST(GaussDBBackupSet, TablesGivenAnObjectGoesToTheBaseAndStaysEmpty) {
  GaussDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "tables", Value(Object{{"t1", Value(1)}})));
  EXPECT_TRUE(set.tables.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(GaussDBBackupSet, TablesGivenAScalarIsNotTaken) {
  GaussDB_Backup_Set set;
  set.tables = Array{Value("keep")};
  EXPECT_TRUE(set.print_json(0, "tables", Value("t1")));
  EXPECT_TRUE(set.print_json(0, "tables", Value()));
  EXPECT_EQ((Array{Value("keep")}), set.tables);
}

TEST(GaussDBBackupSet, UnknownJsonColumnGoesToTheBase) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Object{{"DISTRIB_ID", Value("Euler")}})));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"e", Value(1)}})));
  EXPECT_EQ((Object{{"DISTRIB_ID", Value("Euler")}}), set.lsb);
  EXPECT_EQ((Object{{"e", Value(1)}}), set.extended_attrs);
  EXPECT_TRUE(set.tables.empty());
  // The base takes only objects for its own keys.
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Array{Value(1)})));
  EXPECT_EQ((Object{{"DISTRIB_ID", Value("Euler")}}), set.lsb);
  EXPECT_TRUE(set.tables.empty());
}

TEST(GaussDBBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  GaussDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Array{Value(1)})));
  EXPECT_FALSE(set.print_json(0, "", Value(Array{Value(1)})));
  expect_key_refusals(capture, 6, "gaussdb_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(GaussDBBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  GaussDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "storages");
  EXPECT_TRUE(printer.print_json(0, "tables", Value(Array{Value("t")})));
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "backup_key", "bk", 2));
  EXPECT_TRUE(printer.print_int(1, "seq", 9));
  printer.end_map();
  printer.end_array();
  EXPECT_TRUE(set.tables.empty());
  EXPECT_EQ("", set.backup_key);
  EXPECT_EQ(0, set.seq);
  EXPECT_TRUE(printer.print_int(1, "seq", 9));
  EXPECT_EQ(9, set.seq);
}

TEST(GaussDBBackupSet, OverridesAreReachedThroughThePrinterBase) {
  GaussDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "granularity", "db", 2));
  EXPECT_TRUE(printer.print_int(1, "series", 11));
  EXPECT_TRUE(printer.print_json(2, "tables", Value(Array{Value("t1")})));
  EXPECT_EQ("db", set.granularity);
  EXPECT_EQ(11, set.series);
  EXPECT_EQ((Array{Value("t1")}), set.tables);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_json(0, "", Value(Array())));
  expect_key_refusals(capture, 1, "gaussdb_backup_set.cpp");
}

TEST(GaussDBBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  GaussDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "meta_destination", "M"));
  EXPECT_TRUE(cstr(set, "backup_key", "B"));
  EXPECT_TRUE(cstr(set, "prior_backup_key", "P"));
  EXPECT_TRUE(set.print_int(0, "nodes_count", 2));
  EXPECT_TRUE(set.print_int(0, "series", 3));
  EXPECT_TRUE(cstr(set, "timeline", "T"));
  EXPECT_TRUE(cstr(set, "compression", "C"));
  EXPECT_TRUE(set.print_int(0, "seq", 4));
  EXPECT_TRUE(cstr(set, "granularity", "G"));
  EXPECT_TRUE(cstr(set, "database", "D"));
  EXPECT_TRUE(set.print_json(0, "tables", Value(Array{Value("a"), Value("b")})));
  EXPECT_EQ(base_prefix("gaussdb") +
                R"("meta_destination":"M","backup_key":"B","prior_backup_key":"P","nodes_count":2,"series":3,)"
                R"("seq":4,"timeline":"T","compression":"C","granularity":"G","database":"D","tables":["a","b"]})",
            document_of(set));
}

TEST(GaussDBBackupSet, StatementAddsColumnsInItsOwnOrderThenTheJoin) {
  expect_statement_joins_its_table<GaussDB_Backup_Set>({{"g.meta_destination", "meta_destination"},
                                                        {"g.backup_key", "backup_key"},
                                                        {"g.prior_backup_key", "prior_backup_key"},
                                                        {"g.nodes_count", "nodes_count"},
                                                        {"g.series", "series"},
                                                        {"g.timeline", "timeline"},
                                                        {"g.compression", "compression"},
                                                        {"g.seq", "seq"},
                                                        {"g.granularity", "granularity"},
                                                        {"g.database", "database"}},
                                                       "gaussdb_backup_set", "g");
  // The join follows the kind's columns.
  EXPECT_EQ(Backup_Set_Kind::JOIN, GaussDB_Backup_Set::kind().selection());
}

TEST(GaussDBBackupSet, StatementDoesNotSelectTables) {
  Select_SQL sql("backup_set", "b");
  GaussDB_Backup_Set::init_select_sql(sql, "b");
  for (auto const& column : own_columns(sql)) EXPECT_NE("tables", column.second);
}

TEST(GaussDBBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<GaussDB_Backup_Set>(10, {"g.meta_destination", "meta_destination"}, "g");
}

TEST(GaussDBBackupSet, CatalogueModuleIsGaussdb) {
  expect_catalogue_module<GaussDB_Backup_Set>("gaussdb");
  EXPECT_STREQ("GaussDB_Backup_Set", GaussDB_Backup_Set::kind().class_name());
  EXPECT_STREQ("gaussdb_backup_set", GaussDB_Backup_Set::kind().table());
  EXPECT_STREQ("g", GaussDB_Backup_Set::kind().alias());
}

TEST(GaussDBBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<GaussDB_Backup_Set>();
  EXPECT_EQ(&GaussDB_Backup_Set::kind(), Backup_Set_Kinds::find("gaussdb"));
}
