#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/dmdb_log_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("seq":0,"backup_version":0,"dm_type":0,"compression":"","backup_set":"","arch_start_time":"",)"
    R"("arch_end_time":"","permanent_db_magic":0,"db_magic":0,"timezone_offset":0,"number":0,"active":false})";

}  // namespace

TEST(DMDBLogBackupSet, DefaultDocumentIsBaseKeysThenZeroOwnKeys) {
  expect_default_document<DMDB_Log_Backup_Set>("dmdb_log", DEFAULT_KEYS);
}

TEST(DMDBLogBackupSet, FilledDocumentKeepsWidthsAndKeyOrder) {
  DMDB_Log_Backup_Set set;
  set.seq = 4294967295u;
  set.backup_version = 2;
  set.dm_type = 4294967295u;
  set.compression = "zlib";
  set.backup_set = "ARCH \"\xe6\x97\xa5\xe5\xbf\x97\"";
  set.arch_start_time = "2024-01-02 03:04:05";
  set.arch_end_time = "\xd0\xbd\xd0\xb5 time";
  set.permanent_db_magic = LLONG_MIN;
  set.db_magic = LLONG_MAX;
  set.timezone_offset = -28800;
  set.number = 9007199254740993LL;
  set.active = true;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("dmdb_log") +
                R"("seq":4294967295,"backup_version":2,"dm_type":4294967295,"compression":"zlib",)"
                R"("backup_set":"ARCH \")"
                "\xe6\x97\xa5\xe5\xbf\x97"
                R"(\"","arch_start_time":"2024-01-02 03:04:05","arch_end_time":")"
                "\xd0\xbd\xd0\xb5"
                R"( time","permanent_db_magic":-9223372036854775808,"db_magic":9223372036854775807,)"
                R"("timezone_offset":-28800,"number":9007199254740993,"active":true})",
            doc.text);
}

TEST(DMDBLogBackupSet, CatalogueModuleIsDmdbLog) {
  expect_catalogue_module<DMDB_Log_Backup_Set>("dmdb_log");
}

TEST(DMDBLogBackupSet, KindIsRegistered) {
  expect_listed_in_registry<DMDB_Log_Backup_Set>();
  EXPECT_EQ(&DMDB_Log_Backup_Set::kind(), Backup_Set_Kinds::find("dmdb_log"));
}

TEST(DMDBLogBackupSet, StatementAddsTwelveColumnsAfterBaseThenJoinsLogTable) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  DMDB_Log_Backup_Set::init_select_sql(sql, "b");

  ASSERT_GE(sql.columns().size(), base.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  std::vector<std::pair<std::string, std::string>> const want = {
      {"dm.seq", "seq"},
      {"dm.backup_version", "backup_version"},
      {"dm.dm_type", "dm_type"},
      {"dm.compression", "compression"},
      {"dm.backup_set", "backup_set"},
      {"dm.arch_start_time", "arch_start_time"},
      {"dm.arch_end_time", "arch_end_time"},
      {"dm.permanent_db_magic", "permanent_db_magic"},
      {"dm.db_magic", "db_magic"},
      {"dm.timezone_offset", "timezone_offset"},
      {"dm.number", "number"},
      {"dm.active", "active"},
  };
  EXPECT_EQ(want, own_columns(sql));
  ASSERT_EQ(base.joins().size() + 1, sql.joins().size());
  Select_SQL::Join const& join = sql.joins().back();
  EXPECT_EQ("dmdb_log_backup_set", join.table);
  EXPECT_EQ("dm", join.alias);
  EXPECT_EQ("uuid=dm.set_uuid", join.condition);
  EXPECT_FALSE(sql.inner(sql.joins().size() - 1));
}

TEST(DMDBLogBackupSet, StatementPassesCallersAliasToBase) {
  Select_SQL base("backup_set", "s");
  Backup_Set::init_select_sql(base, "s");
  Select_SQL sql("backup_set", "s");
  DMDB_Log_Backup_Set::init_select_sql(sql, "s");
  ASSERT_EQ(base.columns().size() + 12, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ((Select_SQL::Column{"dm.active", "active"}), sql.columns().back());
}

TEST(DMDBLogBackupSet, TextColumnsAreTaken) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(cstr(set, "compression", "lz4"));
  EXPECT_TRUE(cstr(set, "backup_set", "ARCH_1"));
  EXPECT_TRUE(cstr(set, "arch_start_time", "2024-01-01 00:00:00"));
  EXPECT_TRUE(cstr(set, "arch_end_time", "2024-01-02 00:00:00"));
  EXPECT_EQ("lz4", set.compression);
  EXPECT_EQ("ARCH_1", set.backup_set);
  EXPECT_EQ("2024-01-01 00:00:00", set.arch_start_time);
  EXPECT_EQ("2024-01-02 00:00:00", set.arch_end_time);
}

TEST(DMDBLogBackupSet, IntegerColumnsAreTaken) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 1));
  EXPECT_TRUE(set.print_int(0, "backup_version", 2));
  EXPECT_TRUE(set.print_int(0, "dm_type", 3));
  EXPECT_TRUE(set.print_int(0, "permanent_db_magic", LLONG_MIN));
  EXPECT_TRUE(set.print_int(0, "db_magic", LLONG_MAX));
  EXPECT_TRUE(set.print_int(0, "timezone_offset", -(1LL << 40)));
  EXPECT_TRUE(set.print_int(0, "number", 1LL << 50));
  EXPECT_EQ(1u, set.seq);
  EXPECT_EQ(2u, set.backup_version);
  EXPECT_EQ(3u, set.dm_type);
  EXPECT_EQ(LLONG_MIN, set.permanent_db_magic);
  EXPECT_EQ(LLONG_MAX, set.db_magic);
  EXPECT_EQ(-(1LL << 40), set.timezone_offset);
  EXPECT_EQ(1LL << 50, set.number);
}

TEST(DMDBLogBackupSet, UnsignedColumnsKeepLow32Bits) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_TRUE(set.print_int(0, "dm_type", -1));
  EXPECT_TRUE(set.print_int(0, "backup_version", 0x100000007LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(4294967295u, set.dm_type);
  EXPECT_EQ(7u, set.backup_version);
  std::string const keys = own_keys(set, "dmdb_log");
  EXPECT_EQ(0u, keys.find(R"("seq":0,"backup_version":7,"dm_type":4294967295,)")) << keys;
}

TEST(DMDBLogBackupSet, ActiveFlagIsTakenByBoolColumn) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "active", true));
  EXPECT_TRUE(set.active);
  std::string const keys = own_keys(set, "dmdb_log");
  EXPECT_NE(std::string::npos, keys.find(R"("active":true})")) << keys;
  EXPECT_TRUE(set.print_bool(0, "active", false));
  EXPECT_FALSE(set.active);
}

TEST(DMDBLogBackupSet, BoolWithUnknownKeyIsAcceptedAndChangesNothing) {
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "valid", true));
  EXPECT_TRUE(set.print_bool(0, "name", true));
  EXPECT_TRUE(set.print_bool(0, "Active", true));
  EXPECT_FALSE(set.active);
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, ActiveIsNotTakenFromIntegerColumn) {
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "active", 1));
  EXPECT_FALSE(set.active);
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, DmTypeAsTextGoesToBaseAndIsNotTaken) {
  DMDB_Log_Backup_Set set;
  set.dm_type = 4;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "dm_type", "7"));
  EXPECT_EQ(4u, set.dm_type);
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, ValueOfWrongOperationForOwnKeyIsNotTaken) {
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "compression", 1));
  EXPECT_TRUE(cstr(set, "number", "5"));
  EXPECT_TRUE(set.print_bool(0, "seq", true));
  EXPECT_TRUE(set.print_json(0, "arch_start_time", Value("2024-01-01")));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, ArchiveTimesAreKeptByteForByte) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(cstr(set, "arch_start_time", "2024-01-02T03:04:05.123+08:00"));
  EXPECT_TRUE(cstr(set, "arch_end_time", "not a time at all"));
  EXPECT_EQ("2024-01-02T03:04:05.123+08:00", set.arch_start_time);
  EXPECT_EQ("not a time at all", set.arch_end_time);
  std::string const keys = own_keys(set, "dmdb_log");
  EXPECT_NE(std::string::npos,
            keys.find(R"("arch_start_time":"2024-01-02T03:04:05.123+08:00","arch_end_time":"not a time at all",)"))
      << keys;
}

TEST(DMDBLogBackupSet, ArchiveTimeOfAnyFormIsWrittenAsGiven) {
  DMDB_Log_Backup_Set set;
  set.arch_start_time = "1970-01-01 00:00:00";
  set.arch_end_time = "";
  std::string const keys = own_keys(set, "dmdb_log");
  EXPECT_NE(std::string::npos, keys.find(R"("arch_start_time":"1970-01-01 00:00:00","arch_end_time":"",)")) << keys;
}

TEST(DMDBLogBackupSet, TextColumnShorterLengthStoresOnlyThatMany) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "arch_start_time", "2024-01-02 03:04:05", 10));
  EXPECT_EQ("2024-01-02", set.arch_start_time);
  EXPECT_TRUE(set.print_cstr(0, "backup_set", "abcdef", 3));
  EXPECT_EQ("abc", set.backup_set);
}

TEST(DMDBLogBackupSet, NestedValuesAreIgnored) {
  DMDB_Log_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "storages");
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "compression", "nested", 6));
  EXPECT_TRUE(printer.print_int(1, "number", 9));
  EXPECT_TRUE(printer.print_bool(2, "active", true));
  printer.end_map();
  printer.end_array();
  EXPECT_EQ("", set.compression);
  EXPECT_EQ(0, set.number);
  EXPECT_FALSE(set.active);
  EXPECT_TRUE(printer.print_bool(0, "active", true));
  EXPECT_TRUE(set.active);
}

TEST(DMDBLogBackupSet, NullOrEmptyKeyFailsAndLogsEmergency) {
  Log_Capture capture;
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  expect_key_refusals(capture, 6, "dmdb_log_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, UnknownKeysGoToTheBase) {
  DMDB_Log_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "archives"));
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(set.print_int(0, "first_scn", 100));
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"sysname", Value("Linux")}})));
  EXPECT_EQ("archives", set.name);
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(100, set.first_scn);
  EXPECT_EQ((Object{{"sysname", Value("Linux")}}), set.uname);
  EXPECT_EQ("", set.backup_set);
}

TEST(DMDBLogBackupSet, JsonOfWrongTypeGoesToBaseAndIsIgnored) {
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Array{Value("x")})));
  EXPECT_TRUE(set.print_json(0, "active", Value(true)));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, UnsignedValueIsAcceptedAndIgnored) {
  DMDB_Log_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_TRUE(set.print_uint(0, "number", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogBackupSet, OverridesAreReachedThroughThePrinterInterface) {
  DMDB_Log_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "arch_end_time", "end", 3));
  EXPECT_TRUE(printer.print_int(1, "dm_type", -1));
  EXPECT_TRUE(printer.print_bool(2, "active", true));
  EXPECT_TRUE(printer.print_cstr(3, "agent", "dm-agent", 8));
  EXPECT_EQ("end", set.arch_end_time);
  EXPECT_EQ(4294967295u, set.dm_type);
  EXPECT_TRUE(set.active);
  EXPECT_EQ("dm-agent", set.agent);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_bool(0, "", true));
  expect_key_refusals(capture, 1, "dmdb_log_backup_set.cpp");
}
