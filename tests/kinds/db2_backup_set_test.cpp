#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/db2_backup_set.h"
#include "platform/sql/select_sql.h"
#include "platform/time/iso8601.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

// Time 0 in the document's time format, worked out by hand.
char const EPOCH_TEXT[] = "1970-01-01 00:00:00";

char const DEFAULT_KEYS[] =
    R"("database":"","base_start_point":0,"meta_file":"","archive_dir":"","archive_first_log":"",)"
    R"("archive_last_log":"","archive_start_time":"1970-01-01 00:00:00",)"
    R"("archive_end_time":"1970-01-01 00:00:00","is_archive_set":false})";

}  // namespace

TEST(DB2BackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<DB2_Backup_Set>("", DEFAULT_KEYS);
}

TEST(DB2BackupSet, FreshSetWritesArchiveTimesAsFormattedTimeZero) {
  DB2_Backup_Set set;
  std::string const text = document_of(set);
  EXPECT_NE(std::string::npos, text.find(std::string(R"("archive_start_time":")") + EPOCH_TEXT + "\""));
  EXPECT_NE(std::string::npos, text.find(std::string(R"("archive_end_time":")") + EPOCH_TEXT + "\""));
  EXPECT_EQ(std::string::npos, text.find(R"("archive_start_time":"")"));
  EXPECT_EQ(std::string::npos, text.find(R"("archive_end_time":"")"));
  // The host's formatting agrees with the text worked out by hand.
  EXPECT_EQ(EPOCH_TEXT, POSIX_Time_To_ISO8601(0, "%Y-%m-%d %H:%M:%S"));
}

TEST(DB2BackupSet, FilledDocumentHasEveryKeyInOrder) {
  DB2_Backup_Set set;
  set.database = "SAMPLE\"DB";
  set.base_start_point = LLONG_MIN;
  set.meta_file = "/db2/meta/\xD1\x84\xD0\xB0\xD0\xB9\xD0\xBB";  // Cyrillic "file"
  set.archive_dir = "C:\\db2\\arch";
  set.archive_first_log = "S0000001.LOG";
  set.archive_last_log = "S0000009.LOG";
  set.archive_start_time = 1700000000;
  set.archive_end_time = 1700007200;
  set.is_archive_set = true;
  EXPECT_EQ(base_prefix("") +
                R"("database":"SAMPLE\"DB","base_start_point":-9223372036854775808,"meta_file":"/db2/meta/)"
                "\xD1\x84\xD0\xB0\xD0\xB9\xD0\xBB"
                R"(","archive_dir":"C:\\db2\\arch","archive_first_log":"S0000001.LOG",)"
                R"("archive_last_log":"S0000009.LOG","archive_start_time":"2023-11-14 22:13:20",)"
                R"("archive_end_time":"2023-11-15 00:13:20","is_archive_set":true})",
            document_of(set));
}

TEST(DB2BackupSet, BaseStartPointKeepsTheFullSignedRange) {
  DB2_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "base_start_point", LLONG_MAX));
  EXPECT_EQ(LLONG_MAX, set.base_start_point);
  EXPECT_NE(std::string::npos, document_of(set).find(R"("base_start_point":9223372036854775807,)"));
  EXPECT_TRUE(set.print_int(0, "base_start_point", LLONG_MIN));
  EXPECT_EQ(LLONG_MIN, set.base_start_point);
}

TEST(DB2BackupSet, TextColumnsAreStoredByPrintCstr) {
  DB2_Backup_Set set;
  EXPECT_TRUE(cstr(set, "database", "SAMPLE"));
  EXPECT_TRUE(cstr(set, "meta_file", "/m"));
  EXPECT_TRUE(cstr(set, "archive_dir", "/a"));
  EXPECT_TRUE(cstr(set, "archive_first_log", "S1.LOG"));
  EXPECT_TRUE(cstr(set, "archive_last_log", "S2.LOG"));
  EXPECT_EQ("SAMPLE", set.database);
  EXPECT_EQ("/m", set.meta_file);
  EXPECT_EQ("/a", set.archive_dir);
  EXPECT_EQ("S1.LOG", set.archive_first_log);
  EXPECT_EQ("S2.LOG", set.archive_last_log);
}

TEST(DB2BackupSet, TextColumnTakesOnlyGivenLength) {
  DB2_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "archive_dir", "/archive/more", 8));
  EXPECT_EQ("/archive", set.archive_dir);
  EXPECT_TRUE(set.print_cstr(0, "meta_file", "m\0n", 3));
  EXPECT_EQ(std::string("m\0n", 3), set.meta_file);
}

TEST(DB2BackupSet, UnknownTextColumnGoesToTheBase) {
  DB2_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "weekly"));
  EXPECT_TRUE(cstr(set, "uuid", "u-2"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("weekly", set.name);
  EXPECT_EQ("u-2", set.uuid);
  EXPECT_EQ(1700000000, set.backup_start_time);
}

TEST(DB2BackupSet, RowArchiveStartTimeLeavesTheMemberTimeAtZero) {
  DB2_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "archive_start_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "archive_end_time", "2023-11-15 00:13:20"));
  EXPECT_EQ(0, set.archive_start_time);
  EXPECT_EQ(0, set.archive_end_time);
  EXPECT_EQ(0, set.backup_start_time);
  EXPECT_EQ(0, set.backup_end_time);
  EXPECT_EQ(before, document_of(set));
}

TEST(DB2BackupSet, ArchiveTimesAsIntegersAreNotTakenEither) {
  DB2_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "archive_start_time", 1700000000));
  EXPECT_TRUE(set.print_int(0, "archive_end_time", 1700007200));
  EXPECT_EQ(0, set.archive_start_time);
  EXPECT_EQ(0, set.archive_end_time);
}

TEST(DB2BackupSet, UnknownIntegerColumnGoesToTheBase) {
  DB2_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 4096));
  EXPECT_TRUE(set.print_int(0, "first_scn", -5));
  EXPECT_EQ(4096, set.size);
  EXPECT_EQ(-5, set.first_scn);
  EXPECT_EQ(0, set.base_start_point);
}

TEST(DB2BackupSet, IntegerUnderTextKeyChangesNothing) {
  DB2_Backup_Set set;
  set.database = "keep";
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "database", 5));
  EXPECT_TRUE(set.print_int(0, "uuid", 5));
  EXPECT_EQ("keep", set.database);
  EXPECT_EQ(before, document_of(set));
}

TEST(DB2BackupSet, ArchiveFlagIsStoredByPrintBool) {
  DB2_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "is_archive_set", true));
  EXPECT_TRUE(set.is_archive_set);
  EXPECT_TRUE(set.print_bool(0, "is_archive_set", false));
  EXPECT_FALSE(set.is_archive_set);
}

TEST(DB2BackupSet, ArchiveFlagAsIntegerGoesToTheBase) {
  DB2_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "is_archive_set", 1));
  EXPECT_FALSE(set.is_archive_set);
  EXPECT_EQ(before, document_of(set));
}

TEST(DB2BackupSet, PrintBoolOfUnknownKeyAcceptsAndStoresNothing) {
  DB2_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "merged", true));
  EXPECT_TRUE(set.print_bool(0, "name", true));
  EXPECT_TRUE(set.print_bool(0, "Is_Archive_Set", true));
  EXPECT_FALSE(set.is_archive_set);
  EXPECT_EQ(before, document_of(set));
}

TEST(DB2BackupSet, KeysMatchCaseSensitively) {
  DB2_Backup_Set set;
  EXPECT_TRUE(cstr(set, "DATABASE", "x"));
  EXPECT_TRUE(set.print_int(0, "Base_Start_Point", 5));
  EXPECT_EQ("", set.database);
  EXPECT_EQ(0, set.base_start_point);
}

TEST(DB2BackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  DB2_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  expect_key_refusals(capture, 6, "db2_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(DB2BackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  DB2_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "extended_attrs");
  EXPECT_TRUE(printer.print_cstr(0, "database", "inner", 5));
  EXPECT_TRUE(printer.print_int(1, "base_start_point", 7));
  EXPECT_TRUE(printer.print_bool(2, "is_archive_set", true));
  printer.start_array(3, "list");
  EXPECT_TRUE(printer.print_cstr(0, "meta_file", "m", 1));
  printer.end_array();
  printer.end_map();
  EXPECT_EQ("", set.database);
  EXPECT_EQ("", set.meta_file);
  EXPECT_EQ(0, set.base_start_point);
  EXPECT_FALSE(set.is_archive_set);
  EXPECT_TRUE(printer.print_bool(2, "is_archive_set", true));
  EXPECT_TRUE(set.is_archive_set);
}

TEST(DB2BackupSet, OverridesAreReachedThroughThePrinterBase) {
  DB2_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "archive_first_log", "S7.LOG", 6));
  EXPECT_TRUE(printer.print_int(1, "base_start_point", -42));
  EXPECT_TRUE(printer.print_bool(2, "is_archive_set", true));
  EXPECT_EQ("S7.LOG", set.archive_first_log);
  EXPECT_EQ(-42, set.base_start_point);
  EXPECT_TRUE(set.is_archive_set);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_bool(0, "", true));
  EXPECT_FALSE(printer.print_int(0, nullptr, 1));
  expect_key_refusals(capture, 2, "db2_backup_set.cpp");
}

TEST(DB2BackupSet, RowTakenThroughIntakeIsWrittenBackWithArchiveTimesAtZero) {
  DB2_Backup_Set set;
  EXPECT_TRUE(cstr(set, "database", "D"));
  EXPECT_TRUE(set.print_int(0, "base_start_point", 12));
  EXPECT_TRUE(cstr(set, "meta_file", "M"));
  EXPECT_TRUE(cstr(set, "archive_dir", "A"));
  EXPECT_TRUE(cstr(set, "archive_first_log", "F"));
  EXPECT_TRUE(cstr(set, "archive_last_log", "L"));
  EXPECT_TRUE(cstr(set, "archive_start_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(cstr(set, "archive_end_time", "2023-11-15 00:13:20"));
  EXPECT_TRUE(set.print_bool(0, "is_archive_set", true));
  EXPECT_EQ(base_prefix("") +
                R"("database":"D","base_start_point":12,"meta_file":"M","archive_dir":"A",)"
                R"("archive_first_log":"F","archive_last_log":"L","archive_start_time":"1970-01-01 00:00:00",)"
                R"("archive_end_time":"1970-01-01 00:00:00","is_archive_set":true})",
            document_of(set));
}

TEST(DB2BackupSet, StatementAddsNineColumnsThenTheJoin) {
  expect_statement_joins_its_table<DB2_Backup_Set>({{"ds.database", "database"},
                                                    {"ds.base_start_point", "base_start_point"},
                                                    {"ds.meta_file", "meta_file"},
                                                    {"ds.archive_dir", "archive_dir"},
                                                    {"ds.archive_first_log", "archive_first_log"},
                                                    {"ds.archive_last_log", "archive_last_log"},
                                                    {"ds.archive_start_time", "archive_start_time"},
                                                    {"ds.archive_end_time", "archive_end_time"},
                                                    {"ds.is_archive_set", "is_archive_set"}},
                                                   "db2_backup_set", "ds");
  // The join follows the kind's columns.
  EXPECT_EQ(Backup_Set_Kind::JOIN, DB2_Backup_Set::kind().selection());
}

TEST(DB2BackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<DB2_Backup_Set>(9, {"ds.database", "database"}, "ds");
}

TEST(DB2BackupSet, CatalogueModuleIsEmpty) {
  expect_catalogue_module<DB2_Backup_Set>("");
  EXPECT_STREQ("DB2_Backup_Set", DB2_Backup_Set::kind().class_name());
  EXPECT_STREQ("db2_backup_set", DB2_Backup_Set::kind().table());
  EXPECT_STREQ("ds", DB2_Backup_Set::kind().alias());
}

TEST(DB2BackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<DB2_Backup_Set>();
  // An empty module name does not name the kind.
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
}
