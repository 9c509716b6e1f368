#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/hive_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("last_repl_id":"","seq":0,"channels":0,"hash_algorithm":"","pool_type":"","multidevice":false,)"
    R"("encryption":"","backup_files":[],"backup_tables":[]})";

// The Hive columns under `alias`, in statement order.
Columns hive_columns(std::string const& alias) {
  Columns out;
  for (char const* key :
       {"last_repl_id", "seq", "channels", "hash_algorithm", "pool_type", "multidevice", "encryption"})
    out.emplace_back(alias + "." + key, key);
  return out;
}

// The refusals of the operations Hive leaves to Backup_Set name the base's
// source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

TEST(HiveBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<Hive_Backup_Set>("hive", DEFAULT_KEYS);
}

TEST(HiveBackupSet, FreshSetWritesZerosFalseEmptyTextsAndEmptyArrays) {
  Hive_Backup_Set set;
  EXPECT_EQ(DEFAULT_KEYS, own_keys(set, "hive"));
  EXPECT_TRUE(set.files.empty());
  EXPECT_TRUE(set.tables.empty());
}

TEST(HiveBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Hive_Backup_Set set;
  set.last_repl_id = "1024";
  set.seq = 4294967295u;
  set.channels = 4294967294u;
  set.hash_algorithm = "sha\"256\"";
  set.pool_type = "hdfs\\pool";
  set.multidevice = true;
  set.encryption = "aes \xE2\x9C\x93";  // a check mark
  set.add_file("sales", "/dump/sales", "hdfs://nn/warehouse/sales.db");
  set.add_file("", "", "");
  set.add_table("sales", "orders");
  set.add_table("\xE5\xBA\x93", "\"t\"");  // one CJK character
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("hive") +
                R"("last_repl_id":"1024","seq":4294967295,"channels":4294967294,"hash_algorithm":"sha\"256\"",)"
                R"("pool_type":"hdfs\\pool","multidevice":true,"encryption":"aes )"
                "\xE2\x9C\x93"
                R"(","backup_files":[{"database":"sales","dump_dir_path":"/dump/sales",)"
                R"("origin_location_path":"hdfs://nn/warehouse/sales.db"},)"
                R"({"database":"","dump_dir_path":"","origin_location_path":""}],)"
                R"("backup_tables":[{"database":"sales","tablename":"orders"},{"database":")"
                "\xE5\xBA\x93"
                R"(","tablename":"\"t\""}]})",
            doc.text);
}

TEST(HiveBackupSet, AddFileAndAddTableAppendKeepingDuplicates) {
  Hive_Backup_Set set;
  set.add_file("b", "d2", "o2");
  set.add_file("a", "d1", "o1");
  set.add_file("b", "d2", "o2");
  set.add_table("db", "t");
  set.add_table("db", "t");
  ASSERT_EQ(3u, set.files.size());
  EXPECT_EQ("b", set.files[0].database);
  EXPECT_EQ("d2", set.files[0].dump_dir_path);
  EXPECT_EQ("o2", set.files[0].origin_location_path);
  EXPECT_EQ("a", set.files[1].database);
  EXPECT_EQ("b", set.files[2].database);
  ASSERT_EQ(2u, set.tables.size());
  EXPECT_EQ("db", set.tables[1].database);
  EXPECT_EQ("t", set.tables[1].tablename);
  std::string const keys = own_keys(set, "hive");
  EXPECT_NE(std::string::npos,
            keys.find(R"("backup_files":[{"database":"b","dump_dir_path":"d2","origin_location_path":"o2"},)"
                      R"({"database":"a","dump_dir_path":"d1","origin_location_path":"o1"},)"
                      R"({"database":"b","dump_dir_path":"d2","origin_location_path":"o2"}],)"
                      R"("backup_tables":[{"database":"db","tablename":"t"},{"database":"db","tablename":"t"}]})"))
      << keys;
}

TEST(HiveBackupSet, CatalogueModuleIsHive) {
  expect_catalogue_module<Hive_Backup_Set>("hive");
  EXPECT_STREQ("Hive_Backup_Set", Hive_Backup_Set::kind().class_name());
  EXPECT_STREQ("hive_backup_set", Hive_Backup_Set::kind().table());
}

TEST(HiveBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Hive_Backup_Set>();
  EXPECT_EQ(&Hive_Backup_Set::kind(), Backup_Set_Kinds::find("hive"));
}

TEST(HiveBackupSet, StatementReadsTheHiveTableUnderTheCallersAliasWithoutAJoin) {
  Select_SQL sql("backup_set", "b");
  Hive_Backup_Set::init_select_sql(sql, "h");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "h");
  EXPECT_EQ("hive_backup_set", sql.from_table());
  EXPECT_EQ("h", sql.from_alias());
  EXPECT_TRUE(sql.joins().empty());
  ASSERT_EQ(base.columns().size() + 7, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("h.uuid", sql.columns().front().first);
  EXPECT_EQ(hive_columns("h"), own_columns(sql));
}

TEST(HiveBackupSet, StatementFollowsWhateverAliasTheCallerGives) {
  for (char const* alias : {"b", "hv", "s2"}) {
    Select_SQL sql("x", "y");
    Hive_Backup_Set::init_select_sql(sql, alias);
    EXPECT_EQ("hive_backup_set", sql.from_table());
    EXPECT_EQ(alias, sql.from_alias());
    EXPECT_TRUE(sql.joins().empty());
    EXPECT_EQ(hive_columns(alias), own_columns(sql));
  }
}

TEST(HiveBackupSet, StatementTextSelectsFromTheHiveTableOnly) {
  Select_SQL sql("backup_set", "b");
  Hive_Backup_Set::init_select_sql(sql, "h");
  std::string const expected =
      "SELECT h.uuid,h.name,h.job_instance_uuid,h.definition_uuid,h.uid,h.host_uuid,h.resource_uuid,"
      "h.minor_resource_id,h.minor_resource_name,h.agent,h.incarnation,h.type,h.first_time,h.last_time,"
      "h.backup_start_time,h.backup_end_time,h.source_size,h.size,h.uri,h.host,h.instance,h.instance_version,"
      "h.first_scn,h.last_scn,h.resource_tree,h.extended_attrs,h.uname,h.lsb,h.last_repl_id,h.seq,h.channels,"
      "h.hash_algorithm,h.pool_type,h.multidevice,h.encryption FROM hive_backup_set h";
  EXPECT_EQ(expected, sql.text(Dialect::SQLite));
  EXPECT_EQ(expected, sql.text(Dialect::PostgreSQL));
}

TEST(HiveBackupSet, TextColumnsAreTakenByPrintCstr) {
  Hive_Backup_Set set;
  EXPECT_TRUE(cstr(set, "last_repl_id", "77"));
  EXPECT_TRUE(cstr(set, "hash_algorithm", "md5"));
  EXPECT_TRUE(cstr(set, "encryption", "sm4"));
  EXPECT_TRUE(cstr(set, "pool_type", "dedup"));
  EXPECT_EQ("77", set.last_repl_id);
  EXPECT_EQ("md5", set.hash_algorithm);
  EXPECT_EQ("sm4", set.encryption);
  EXPECT_EQ("dedup", set.pool_type);
}

TEST(HiveBackupSet, TextColumnTakesOnlyTheGivenLength) {
  Hive_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "last_repl_id", "123456", 3));
  EXPECT_EQ("123", set.last_repl_id);
}

TEST(HiveBackupSet, IntegerColumnsAreTakenByPrintInt) {
  Hive_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 5));
  EXPECT_TRUE(set.print_int(1, "channels", 8));
  EXPECT_EQ(5u, set.seq);
  EXPECT_EQ(8u, set.channels);
}

TEST(HiveBackupSet, SeqTwoToTheThirtyTwoPlusOneIsStoredAsOne) {
  Hive_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967297LL));
  EXPECT_EQ(1u, set.seq);
  EXPECT_TRUE(set.print_int(0, "channels", -1));
  EXPECT_EQ(4294967295u, set.channels);
  EXPECT_NE(std::string::npos, own_keys(set, "hive").find(R"("seq":1,"channels":4294967295,)"));
}

TEST(HiveBackupSet, MultideviceIsTakenByPrintBool) {
  Hive_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "multidevice", true));
  EXPECT_TRUE(set.multidevice);
  EXPECT_TRUE(set.print_bool(0, "multidevice", false));
  EXPECT_FALSE(set.multidevice);
}

TEST(HiveBackupSet, UnknownBoolColumnGoesToThePrinterDefault) {
  Hive_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "compressed", true), set.print_bool(0, "compressed", true));
  EXPECT_TRUE(set.print_bool(0, "compressed", true));
  EXPECT_TRUE(set.print_bool(0, "name", true));
  EXPECT_TRUE(set.print_bool(0, "Multidevice", true));
  EXPECT_FALSE(set.multidevice);
  EXPECT_EQ(before, document_of(set));
}

TEST(HiveBackupSet, MultideviceAsIntegerIsNotTaken) {
  Hive_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "multidevice", 1));
  EXPECT_FALSE(set.multidevice);
  EXPECT_EQ(before, document_of(set));
}

TEST(HiveBackupSet, UnknownKeysGoToTheBase) {
  Hive_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "warehouse"));
  EXPECT_TRUE(cstr(set, "host", "hive-1"));
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 33));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Object{{"db", Value("sales")}})));
  EXPECT_EQ("warehouse", set.name);
  EXPECT_EQ("hive-1", set.host);
  EXPECT_EQ(1LL << 33, set.size);
  EXPECT_EQ((Object{{"db", Value("sales")}}), set.resource_tree);
}

TEST(HiveBackupSet, ValueOfTheWrongOperationForAnOwnKeyIsNotTaken) {
  Hive_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(cstr(set, "multidevice", "true"));
  EXPECT_TRUE(set.print_int(0, "last_repl_id", 5));
  EXPECT_TRUE(set.print_bool(0, "encryption", true));
  EXPECT_TRUE(set.print_uint(0, "channels", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(HiveBackupSet, FilesAndTablesAreNeverReadBack) {
  Hive_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"database", Value("x")}})})));
  EXPECT_TRUE(set.print_json(0, "backup_tables", Value(Array{Value(Object{{"database", Value("x")}})})));
  EXPECT_TRUE(set.files.empty());
  EXPECT_TRUE(set.tables.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(HiveBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Hive_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  expect_key_refusals(capture, 6, "hive_backup_set.cpp");
  capture.clear();
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 1, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(HiveBackupSet, LastReplIdArrivingInsideAnOpenMapIsIgnored) {
  Hive_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "extended_attrs"));
  EXPECT_TRUE(cstr(p, "last_repl_id", "99"));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ("", set.last_repl_id);
  EXPECT_TRUE(cstr(p, "last_repl_id", "100"));
  EXPECT_EQ("100", set.last_repl_id);
}

TEST(HiveBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Hive_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_array(0, "pieces"));
  ASSERT_TRUE(p.start_map(0, ""));
  EXPECT_TRUE(cstr(p, "pool_type", "nested"));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  EXPECT_TRUE(p.print_int(0, "channels", 5));
  EXPECT_TRUE(p.print_bool(0, "multidevice", true));
  ASSERT_TRUE(p.end_map());
  EXPECT_TRUE(cstr(p, "encryption", "in-array"));
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_bool(0, "multidevice", true));
  EXPECT_TRUE(set.multidevice);
}

TEST(HiveBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Hive_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "hash_algorithm", "sha1"));
  EXPECT_TRUE(p.print_int(0, "channels", 2));
  EXPECT_TRUE(p.print_bool(0, "multidevice", true));
  EXPECT_EQ("sha1", set.hash_algorithm);
  EXPECT_EQ(2u, set.channels);
  EXPECT_TRUE(set.multidevice);
  Log_Capture capture;
  EXPECT_FALSE(p.print_bool(0, "", true));
  EXPECT_FALSE(p.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(p.print_int(0, "", 1));
  expect_key_refusals(capture, 3, "hive_backup_set.cpp");
}

TEST(HiveBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Hive_Backup_Set set;
  EXPECT_TRUE(cstr(set, "last_repl_id", "r"));
  EXPECT_TRUE(set.print_int(0, "seq", 1));
  EXPECT_TRUE(set.print_int(0, "channels", 2));
  EXPECT_TRUE(cstr(set, "hash_algorithm", "h"));
  EXPECT_TRUE(cstr(set, "pool_type", "p"));
  EXPECT_TRUE(set.print_bool(0, "multidevice", true));
  EXPECT_TRUE(cstr(set, "encryption", "e"));
  EXPECT_EQ(base_prefix("hive") +
                R"("last_repl_id":"r","seq":1,"channels":2,"hash_algorithm":"h","pool_type":"p",)"
                R"("multidevice":true,"encryption":"e","backup_files":[],"backup_tables":[]})",
            document_of(set));
}
