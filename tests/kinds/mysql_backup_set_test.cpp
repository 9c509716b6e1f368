#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/mysql_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// What a fresh set writes behind the base keys, without the closing brace.
char const ALWAYS[] = R"("seq":0,"mtf":false,"channels":0,"gtid_type":false,"group_id":0)";

struct Text_Key {
  char const* key;
  std::string MySQL_Backup_Set::*field;
};

// Document order of the string keys.
Text_Key const TEXT_KEYS[] = {
    {"log_branch", &MySQL_Backup_Set::log_branch},
    {"start_log", &MySQL_Backup_Set::start_log},
    {"next_log", &MySQL_Backup_Set::next_log},
    {"stage_id", &MySQL_Backup_Set::stage_id},
    {"snapshot_id", &MySQL_Backup_Set::snapshot_id},
    {"server_uuid", &MySQL_Backup_Set::server_uuid},
    {"charset", &MySQL_Backup_Set::charset},
    {"object", &MySQL_Backup_Set::object},
    {"gbase_cluster_uuid", &MySQL_Backup_Set::gbase_cluster_uuid},
    {"data_type", &MySQL_Backup_Set::data_type},
};

}  // namespace

TEST(MySQLBackupSet, DefaultDocumentIsBaseKeysThenAlwaysWrittenKeys) {
  expect_default_document<MySQL_Backup_Set>("", R"("seq":0,"mtf":false,"channels":0,"gtid_type":false,"group_id":0})");
}

TEST(MySQLBackupSet, FreshSetWritesOnlyTheFiveAlwaysWrittenKeys) {
  MySQL_Backup_Set set;
  EXPECT_EQ(std::string(ALWAYS) + "}", own_keys(set, ""));
}

TEST(MySQLBackupSet, FreshSetHoldsNotKnownMarks) {
  MySQL_Backup_Set set;
  EXPECT_EQ(0, set.backup_time);
  EXPECT_EQ(-1, set.cycle);
  EXPECT_EQ(-1, set.point);
  EXPECT_EQ(-1, set.level);
  EXPECT_EQ(-1, set.timezone_offset);
  EXPECT_EQ(-1, set.start_log_pos);
  EXPECT_EQ(-1, set.next_log_pos);
  EXPECT_EQ(0, set.binlog_create_time);
  EXPECT_EQ(0, set.channels);
  EXPECT_FALSE(set.mtf);
  EXPECT_FALSE(set.gtid_type);
}

TEST(MySQLBackupSet, FilledDocumentKeepsWidthsAndKeyOrder) {
  MySQL_Backup_Set set;
  set.seq = 4294967295u;
  set.mtf = true;
  set.channels = INT_MIN;
  set.gtid_type = true;
  set.group_id = INT_MAX;
  set.timezone_offset = 28800;
  set.start_log_pos = LLONG_MIN;
  set.next_log_pos = LLONG_MAX;
  set.cycle = INT_MIN;
  set.point = INT_MAX;
  set.level = 0;
  set.log_branch = "main";
  set.start_log = "mysql-bin.000001";
  set.next_log = "mysql-bin.000002";
  set.stage_id = "stage \"1\"";
  set.snapshot_id = "snap";
  set.server_uuid = "3e11fa47-71ca-11e1-9e33-c80aa9429562";
  set.charset = "utf8mb4";
  set.object = "db\xc3\xa9";
  set.gbase_cluster_uuid = "gc-1";
  set.data_type = "binlog";
  set.binlog_create_time = -1;
  set.backup_time = 253402300799LL;
  std::string const vc = "vc \"1\"";
  set.add_file("db1", "f1", &vc);
  set.add_file("a.ibd");
  set.start_gtids = Array{Value("3e11fa47:1-5"), Value(3), Value(true), Value(), Value(1.5),
                          Value(Object{{"k", Value("v")}}), Value(Array{Value(1)})};
  set.end_gtids = Array{Value(LLONG_MIN), Value("x")};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("") +
                R"("seq":4294967295,"mtf":true,"channels":-2147483648,"gtid_type":true,"group_id":2147483647,)"
                R"("timezone_offset":28800,"start_log_pos":-9223372036854775808,)"
                R"("next_log_pos":9223372036854775807,"cycle":-2147483648,"point":2147483647,"level":0,)"
                R"("log_branch":"main","start_log":"mysql-bin.000001","next_log":"mysql-bin.000002",)"
                R"("stage_id":"stage \"1\"","snapshot_id":"snap","server_uuid":"3e11fa47-71ca-11e1-9e33-c80aa9429562",)"
                R"("charset":"utf8mb4","object":"db)"
                "\xc3\xa9"
                R"(","gbase_cluster_uuid":"gc-1","data_type":"binlog",)"
                R"("binlog_create_time":"1969-12-31 23:59:59","backup_time":"9999-12-31 23:59:59",)"
                R"("backup_files":[{"database":"db1","vc_name":"vc \"1\"","file":"f1"},)"
                R"({"database":"","vc_name":"","file":"a.ibd"}],)"
                R"("start_gtids":["3e11fa47:1-5",3,true,null,1.5,{"k":"v"},[1]],)"
                R"("end_gtids":[-9223372036854775808,"x"]})",
            doc.text);
}

TEST(MySQLBackupSet, ZeroIsWrittenWhereOnlyMinusOneIsLeftOut) {
  MySQL_Backup_Set set;
  set.timezone_offset = 0;
  set.cycle = 0;
  set.point = 0;
  set.level = 0;
  set.start_log_pos = 0;
  set.next_log_pos = 0;
  EXPECT_EQ(std::string(ALWAYS) +
                R"(,"timezone_offset":0,"start_log_pos":0,"next_log_pos":0,"cycle":0,"point":0,"level":0})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, EachNumberLeftOutOnlyAtMinusOne) {
  struct {
    char const* key;
    int MySQL_Backup_Set::*field;
  } const narrow[] = {{"timezone_offset", &MySQL_Backup_Set::timezone_offset},
                      {"cycle", &MySQL_Backup_Set::cycle},
                      {"point", &MySQL_Backup_Set::point},
                      {"level", &MySQL_Backup_Set::level}};
  for (auto const& n : narrow) {
    MySQL_Backup_Set set;
    set.*n.field = -2;
    EXPECT_EQ(std::string(ALWAYS) + ",\"" + n.key + "\":-2}", own_keys(set, "")) << n.key;
    set.*n.field = -1;
    EXPECT_EQ(std::string(ALWAYS) + "}", own_keys(set, "")) << n.key;
  }
  struct {
    char const* key;
    long long MySQL_Backup_Set::*field;
  } const wide[] = {{"start_log_pos", &MySQL_Backup_Set::start_log_pos},
                    {"next_log_pos", &MySQL_Backup_Set::next_log_pos}};
  for (auto const& w : wide) {
    MySQL_Backup_Set set;
    set.*w.field = 4294967295LL;
    EXPECT_EQ(std::string(ALWAYS) + ",\"" + w.key + "\":4294967295}", own_keys(set, "")) << w.key;
    set.*w.field = -1;
    EXPECT_EQ(std::string(ALWAYS) + "}", own_keys(set, "")) << w.key;
  }
}

TEST(MySQLBackupSet, EachStringWrittenOnlyWhenNotEmpty) {
  for (Text_Key const& t : TEXT_KEYS) {
    MySQL_Backup_Set set;
    set.*t.field = "v";
    EXPECT_EQ(std::string(ALWAYS) + ",\"" + t.key + "\":\"v\"}", own_keys(set, "")) << t.key;
  }
}

TEST(MySQLBackupSet, AlwaysWrittenKeysStayAtZero) {
  MySQL_Backup_Set set;
  set.seq = 1;
  set.channels = 2;
  set.group_id = 3;
  set.mtf = true;
  EXPECT_EQ(R"("seq":1,"mtf":true,"channels":2,"gtid_type":false,"group_id":3})", own_keys(set, ""));
}

TEST(MySQLBackupSet, TimesWrittenAsTextOnlyWhenNotZero) {
  MySQL_Backup_Set set;
  set.binlog_create_time = 1699990000;
  EXPECT_EQ(std::string(ALWAYS) + R"(,"binlog_create_time":"2023-11-14 19:26:40"})", own_keys(set, ""));
  set.binlog_create_time = 0;
  set.backup_time = 1700000000;
  EXPECT_EQ(std::string(ALWAYS) + R"(,"backup_time":"2023-11-14 22:13:20"})", own_keys(set, ""));
}

TEST(MySQLBackupSet, OneArgumentAddFileFillsOnlyTheFile) {
  MySQL_Backup_Set set;
  set.add_file("a.ibd");
  ASSERT_EQ(1u, set.backup_files.size());
  EXPECT_EQ("", set.backup_files[0].database);
  EXPECT_EQ("a.ibd", set.backup_files[0].file);
  EXPECT_EQ("", set.backup_files[0].vc_name);
  EXPECT_EQ(std::string(ALWAYS) + R"(,"backup_files":[{"database":"","vc_name":"","file":"a.ibd"}]})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, ThreeArgumentAddFileWithoutVcNameLeavesItEmpty) {
  MySQL_Backup_Set set;
  set.add_file("db1", "f1", nullptr);
  ASSERT_EQ(1u, set.backup_files.size());
  EXPECT_EQ("db1", set.backup_files[0].database);
  EXPECT_EQ("f1", set.backup_files[0].file);
  EXPECT_EQ("", set.backup_files[0].vc_name);
  EXPECT_EQ(std::string(ALWAYS) + R"(,"backup_files":[{"database":"db1","vc_name":"","file":"f1"}]})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, ThreeArgumentAddFileCopiesVcName) {
  MySQL_Backup_Set set;
  std::string vc = "vc1";
  set.add_file("db1", "f1", &vc);
  vc = "changed";
  ASSERT_EQ(1u, set.backup_files.size());
  EXPECT_EQ("vc1", set.backup_files[0].vc_name);
  EXPECT_EQ(std::string(ALWAYS) + R"(,"backup_files":[{"database":"db1","vc_name":"vc1","file":"f1"}]})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, BackupFilesKeepInsertionOrder) {
  MySQL_Backup_Set set;
  set.add_file("z.ibd");
  set.add_file("db", "a.ibd", nullptr);
  EXPECT_EQ(std::string(ALWAYS) +
                R"(,"backup_files":[{"database":"","vc_name":"","file":"z.ibd"},)"
                R"({"database":"db","vc_name":"","file":"a.ibd"}]})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, CatalogueModuleIsEmpty) {
  expect_catalogue_module<MySQL_Backup_Set>("");
}

TEST(MySQLBackupSet, KindIsRegistered) {
  expect_listed_in_registry<MySQL_Backup_Set>();
}

TEST(MySQLBackupSet, StatementAddsNothingAtAll) {
  Select_SQL sql("backup_set", "b");
  MySQL_Backup_Set::init_select_sql(sql, "b");
  EXPECT_TRUE(sql.columns().empty());
  EXPECT_TRUE(sql.joins().empty());
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
}

TEST(MySQLBackupSet, SelectForMySQLSetHasOnlyBaseColumns) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  MySQL_Backup_Set::init_select_sql(sql, "b");
  EXPECT_EQ(base.columns(), sql.columns());
  EXPECT_TRUE(own_columns(sql).empty());
  EXPECT_EQ(base.joins().size(), sql.joins().size());
}

TEST(MySQLBackupSet, TextColumnsAreTaken) {
  MySQL_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(cstr(set, t.key, std::string("v-") + t.key)) << t.key;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ(std::string("v-") + t.key, set.*t.field) << t.key;
}

TEST(MySQLBackupSet, IntegerColumnsAreTaken) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 1));
  EXPECT_TRUE(set.print_int(0, "timezone_offset", -28800));
  EXPECT_TRUE(set.print_int(0, "mtf", 1));
  EXPECT_TRUE(set.print_int(0, "start_log_pos", LLONG_MIN));
  EXPECT_TRUE(set.print_int(0, "next_log_pos", LLONG_MAX));
  EXPECT_TRUE(set.print_int(0, "channels", 4));
  EXPECT_TRUE(set.print_int(0, "gtid_type", 1));
  EXPECT_TRUE(set.print_int(0, "cycle", 5));
  EXPECT_TRUE(set.print_int(0, "point", 6));
  EXPECT_TRUE(set.print_int(0, "level", 7));
  EXPECT_TRUE(set.print_int(0, "group_id", 8));
  EXPECT_EQ(1u, set.seq);
  EXPECT_EQ(-28800, set.timezone_offset);
  EXPECT_TRUE(set.mtf);
  EXPECT_EQ(LLONG_MIN, set.start_log_pos);
  EXPECT_EQ(LLONG_MAX, set.next_log_pos);
  EXPECT_EQ(4, set.channels);
  EXPECT_TRUE(set.gtid_type);
  EXPECT_EQ(5, set.cycle);
  EXPECT_EQ(6, set.point);
  EXPECT_EQ(7, set.level);
  EXPECT_EQ(8, set.group_id);
}

TEST(MySQLBackupSet, IntegerColumnsKeepLow32Bits) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_TRUE(set.print_int(0, "timezone_offset", 0x100000005LL));
  EXPECT_EQ(5, set.timezone_offset);
  EXPECT_TRUE(set.print_int(0, "group_id", 0x80000000LL));
  EXPECT_EQ(INT_MIN, set.group_id);
  // The low 32 bits of 4294967295 are the not-known mark.
  EXPECT_TRUE(set.print_int(0, "cycle", 4294967295LL));
  EXPECT_EQ(-1, set.cycle);
  EXPECT_EQ(R"("seq":4294967295,"mtf":false,"channels":0,"gtid_type":false,"group_id":-2147483648,)"
            R"("timezone_offset":5})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, FlagsAreIntegerNotZero) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "mtf", 2));
  EXPECT_TRUE(set.mtf);
  EXPECT_TRUE(set.print_int(0, "gtid_type", 1LL << 32));
  EXPECT_TRUE(set.gtid_type);
  EXPECT_TRUE(set.print_int(0, "mtf", 0));
  EXPECT_FALSE(set.mtf);
  EXPECT_TRUE(set.print_int(0, "gtid_type", -1));
  EXPECT_TRUE(set.gtid_type);
}

TEST(MySQLBackupSet, FlagsAreNotTakenFromBoolColumns) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "mtf", true));
  EXPECT_TRUE(set.print_bool(0, "gtid_type", true));
  EXPECT_FALSE(set.mtf);
  EXPECT_FALSE(set.gtid_type);
}

TEST(MySQLBackupSet, TimeColumnsAreReadFromIsoText) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "binlog_create_time", "2023-11-14T22:13:20+08:00"));
  EXPECT_EQ(1700000000, set.backup_time);
  EXPECT_EQ(1700000000 - 8 * 3600, set.binlog_create_time);
  EXPECT_EQ(std::string(ALWAYS) +
                R"(,"binlog_create_time":"2023-11-14 14:13:20","backup_time":"2023-11-14 22:13:20"})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, TimeTextIsReadOnlyUpToItsLength) {
  MySQL_Backup_Set set;
  char const text[] = "2023-11-14 22:13:20999";
  EXPECT_TRUE(set.print_cstr(0, "backup_time", text, 19));
  EXPECT_EQ(1700000000, set.backup_time);
}

TEST(MySQLBackupSet, UnparsableTimeTextIsNotReported) {
  Log_Capture capture;
  MySQL_Backup_Set set;
  set.backup_time = 1700000000;
  EXPECT_TRUE(cstr(set, "backup_time", "yesterday"));
  // The host's parser leaves its output alone on failure.
  EXPECT_EQ(1700000000, set.backup_time);
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST(MySQLBackupSet, BackupTimeConvertingToZeroLeavesKeyOut) {
  MySQL_Backup_Set set;
  set.backup_time = 1700000000;
  EXPECT_TRUE(cstr(set, "backup_time", "1970-01-01 00:00:00"));
  EXPECT_EQ(0, set.backup_time);
  std::string const keys = own_keys(set, "");
  EXPECT_EQ(std::string::npos, keys.find("backup_time")) << keys;
  EXPECT_EQ(std::string(ALWAYS) + "}", keys);
}

TEST(MySQLBackupSet, GtidArraysAreTakenAndReplaced) {
  MySQL_Backup_Set set;
  set.start_gtids = Array{Value("old")};
  Array const start{Value("uuid-a:1-10"), Value(7), Value(Object{{"channel", Value("c1")}})};
  Array const end{Value("uuid-a:1-20")};
  EXPECT_TRUE(set.print_json(0, "start_gtids", Value(start)));
  EXPECT_TRUE(set.print_json(1, "end_gtids", Value(end)));
  EXPECT_EQ(start, set.start_gtids);
  EXPECT_EQ(end, set.end_gtids);
  EXPECT_EQ(std::string(ALWAYS) +
                R"(,"start_gtids":["uuid-a:1-10",7,{"channel":"c1"}],"end_gtids":["uuid-a:1-20"]})",
            own_keys(set, ""));
}

TEST(MySQLBackupSet, EmptyGtidArrayIsTakenAndLeavesKeyOut) {
  MySQL_Backup_Set set;
  set.end_gtids = Array{Value("x")};
  EXPECT_TRUE(set.print_json(0, "end_gtids", Value(Array())));
  EXPECT_TRUE(set.end_gtids.empty());
  EXPECT_EQ(std::string(ALWAYS) + "}", own_keys(set, ""));
}

TEST(MySQLBackupSet, GtidKeyWithObjectIsLeftToTheBase) {
  MySQL_Backup_Set set;
  set.start_gtids = Array{Value("keep")};
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "start_gtids", Value(Object{{"uuid", Value("a:1-2")}})));
  EXPECT_TRUE(set.print_json(0, "end_gtids", Value("a:1-2")));
  EXPECT_EQ((Array{Value("keep")}), set.start_gtids);
  EXPECT_TRUE(set.end_gtids.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(MySQLBackupSet, OtherJsonKeysGoToTheBase) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Object{{"id", Value("x")}})));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Array{Value(1)})));
  EXPECT_EQ((Object{{"id", Value("x")}}), set.lsb);
  EXPECT_TRUE(set.extended_attrs.empty());
  // An array under a key the set does not know is not a GTID range.
  EXPECT_TRUE(set.print_json(0, "gtids", Value(Array{Value("a")})));
  EXPECT_TRUE(set.start_gtids.empty());
  EXPECT_TRUE(set.end_gtids.empty());
}

TEST(MySQLBackupSet, UnknownKeysGoToTheBase) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(cstr(set, "name", "binlog"));
  EXPECT_TRUE(set.print_int(0, "size", 42));
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ("binlog", set.name);
  EXPECT_EQ(42, set.size);
}

TEST(MySQLBackupSet, ValueOfWrongOperationForOwnKeyIsNotTaken) {
  MySQL_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "log_branch", 1));
  EXPECT_TRUE(set.print_int(0, "backup_time", 1700000000));
  EXPECT_TRUE(cstr(set, "seq", "3"));
  EXPECT_TRUE(cstr(set, "start_gtids", "[\"a\"]"));
  EXPECT_TRUE(set.print_json(0, "object", Value("x")));
  EXPECT_TRUE(cstr(set, "backup_files", "a.ibd"));
  EXPECT_EQ(before, document_of(set));
}

TEST(MySQLBackupSet, TextColumnShorterLengthStoresOnlyThatMany) {
  MySQL_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "start_log", "mysql-bin.000001", 9));
  EXPECT_EQ("mysql-bin", set.start_log);
  EXPECT_TRUE(set.print_cstr(0, "data_type", "abcdef", 3));
  EXPECT_EQ("abc", set.data_type);
}

TEST(MySQLBackupSet, NestedValuesAreIgnored) {
  MySQL_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "pieces");
  EXPECT_TRUE(printer.print_cstr(0, "start_log", "nested", 6));
  EXPECT_TRUE(printer.print_int(1, "cycle", 3));
  EXPECT_TRUE(printer.print_json(2, "start_gtids", Value(Array{Value("a")})));
  EXPECT_TRUE(printer.print_cstr(3, "backup_time", "2023-11-14 22:13:20", 19));
  printer.end_array();
  EXPECT_EQ("", set.start_log);
  EXPECT_EQ(-1, set.cycle);
  EXPECT_TRUE(set.start_gtids.empty());
  EXPECT_EQ(0, set.backup_time);
  EXPECT_TRUE(printer.print_int(1, "cycle", 3));
  EXPECT_EQ(3, set.cycle);
}

TEST(MySQLBackupSet, NullOrEmptyKeyFailsAndLogsEmergency) {
  Log_Capture capture;
  MySQL_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Array())));
  EXPECT_FALSE(set.print_json(0, "", Value(Array())));
  expect_key_refusals(capture, 6, "mysql_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(MySQLBackupSet, OverridesAreReachedThroughThePrinterInterface) {
  MySQL_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "charset", "utf8", 4));
  EXPECT_TRUE(printer.print_int(1, "level", 2));
  EXPECT_TRUE(printer.print_json(2, "end_gtids", Value(Array{Value("g")})));
  EXPECT_TRUE(printer.print_cstr(3, "binlog_create_time", "2023-11-14 22:13:20", 19));
  EXPECT_EQ("utf8", set.charset);
  EXPECT_EQ(2, set.level);
  EXPECT_EQ((Array{Value("g")}), set.end_gtids);
  EXPECT_EQ(1700000000, set.binlog_create_time);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_json(0, "", Value()));
  expect_key_refusals(capture, 1, "mysql_backup_set.cpp");
}
