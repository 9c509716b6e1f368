#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/dmdb_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("seq":0,"backup_version":0,"object":"","compression":"","backup_set":"","backup_base":"",)"
    R"("arch_log_start":0,"arch_log_end":0,"permanent_db_magic":0,"db_magic":0,"case_sensitive":0,)"
    R"("unicode_flag":0,"page_size":0,"extent_size":0,"backup_files":{}})";

}  // namespace

TEST(DMDBBackupSet, DefaultDocumentIsBaseKeysThenZeroOwnKeys) {
  expect_default_document<DMDB_Backup_Set>("dmdb", DEFAULT_KEYS);
}

TEST(DMDBBackupSet, UnfilledSetWritesZerosEmptyStringsAndEmptyFileObject) {
  DMDB_Backup_Set set;
  EXPECT_EQ(DEFAULT_KEYS, own_keys(set, "dmdb"));
}

TEST(DMDBBackupSet, FilledDocumentKeepsWidthsAndKeyOrder) {
  DMDB_Backup_Set set;
  set.seq = 4294967295u;
  set.backup_version = 3;
  set.object = "DB \"main\" \xc3\xbc";
  set.compression = "zlib\\9";
  set.backup_set = "FULL_2024";
  set.backup_base = "\xe5\x9f\xba\xe7\xa1\x80";
  set.arch_log_start = LLONG_MIN;
  set.arch_log_end = LLONG_MAX;
  set.permanent_db_magic = -7;
  set.db_magic = 1234567890123;
  set.case_sensitive = INT_MIN;
  set.unicode_flag = INT_MAX;
  set.page_size = INT_MIN;
  set.extent_size = INT_MAX;
  set.backup_files["z.dbf"] = "/data/z";
  set.backup_files["a \"q\""] = "\xc3\xa9";
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("dmdb") +
                R"("seq":4294967295,"backup_version":3,"object":"DB \"main\" )"
                "\xc3\xbc"
                R"(","compression":"zlib\\9","backup_set":"FULL_2024","backup_base":")"
                "\xe5\x9f\xba\xe7\xa1\x80"
                R"(","arch_log_start":-9223372036854775808,"arch_log_end":9223372036854775807,)"
                R"("permanent_db_magic":-7,"db_magic":1234567890123,"case_sensitive":-2147483648,)"
                R"("unicode_flag":2147483647,"page_size":-2147483648,"extent_size":2147483647,)"
                R"("backup_files":{"a \"q\"":")"
                "\xc3\xa9"
                R"(","z.dbf":"/data/z"}})",
            doc.text);
}

TEST(DMDBBackupSet, BackupFilesAreWrittenInAscendingKeyOrder) {
  DMDB_Backup_Set set;
  set.backup_files["b"] = "2";
  set.backup_files["a"] = "1";
  std::string const keys = own_keys(set, "dmdb");
  EXPECT_NE(std::string::npos, keys.find(R"("backup_files":{"a":"1","b":"2"}})")) << keys;
}

TEST(DMDBBackupSet, BackupFileKeysCompareByteWise) {
  DMDB_Backup_Set set;
  set.backup_files["\xc3\xa9"] = "e";
  set.backup_files["Z"] = "upper";
  set.backup_files["a"] = "lower";
  std::string const keys = own_keys(set, "dmdb");
  EXPECT_NE(std::string::npos, keys.find("\"backup_files\":{\"Z\":\"upper\",\"a\":\"lower\",\"\xc3\xa9\":\"e\"}}"))
      << keys;
}

TEST(DMDBBackupSet, CatalogueModuleIsDmdb) {
  expect_catalogue_module<DMDB_Backup_Set>("dmdb");
}

TEST(DMDBBackupSet, KindIsRegistered) {
  expect_listed_in_registry<DMDB_Backup_Set>();
  EXPECT_EQ(&DMDB_Backup_Set::kind(), Backup_Set_Kinds::find("dmdb"));
}

TEST(DMDBBackupSet, StatementAddsOwnColumnsAfterBaseThenJoinsDmTable) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  DMDB_Backup_Set::init_select_sql(sql, "b");

  ASSERT_GE(sql.columns().size(), base.columns().size());
  std::vector<Select_SQL::Column> const head(sql.columns().begin(), sql.columns().begin() + base.columns().size());
  EXPECT_EQ(base.columns(), head);
  std::vector<std::pair<std::string, std::string>> const want = {
      {"dm.seq", "seq"},
      {"dm.backup_version", "backup_version"},
      {"dm.object", "object"},
      {"dm.compression", "compression"},
      {"dm.backup_set", "backup_set"},
      {"dm.backup_base", "backup_base"},
      {"dm.arch_log_start", "arch_log_start"},
      {"dm.arch_log_end", "arch_log_end"},
      {"dm.permanent_db_magic", "permanent_db_magic"},
      {"dm.db_magic", "db_magic"},
      {"dm.case_sensitive", "case_sensitive"},
      {"dm.unicode_flag", "unicode_flag"},
      {"dm.page_size", "page_size"},
      {"dm.extent_size", "extent_size"},
  };
  EXPECT_EQ(want, own_columns(sql));
  ASSERT_EQ(base.joins().size() + 1, sql.joins().size());
  Select_SQL::Join const& join = sql.joins().back();
  EXPECT_EQ("dmdb_backup_set", join.table);
  EXPECT_EQ("dm", join.alias);
  EXPECT_EQ("uuid=dm.set_uuid", join.condition);
  EXPECT_FALSE(sql.inner(sql.joins().size() - 1));
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
}

TEST(DMDBBackupSet, StatementPassesCallersAliasToBaseButKeepsItsOwn) {
  Select_SQL base("backup_set", "x");
  Backup_Set::init_select_sql(base, "x");
  Select_SQL sql("backup_set", "x");
  DMDB_Backup_Set::init_select_sql(sql, "x");
  ASSERT_EQ(base.columns().size() + 14, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ((Select_SQL::Column{"dm.seq", "seq"}), sql.columns()[base.columns().size()]);
  EXPECT_EQ("uuid=dm.set_uuid", sql.joins().back().condition);
}

TEST(DMDBBackupSet, TextColumnsAreTaken) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "object", "DB"));
  EXPECT_TRUE(cstr(set, "compression", "lz4"));
  EXPECT_TRUE(cstr(set, "backup_set", "FULL_1"));
  EXPECT_TRUE(cstr(set, "backup_base", "BASE_0"));
  EXPECT_EQ("DB", set.object);
  EXPECT_EQ("lz4", set.compression);
  EXPECT_EQ("FULL_1", set.backup_set);
  EXPECT_EQ("BASE_0", set.backup_base);
}

TEST(DMDBBackupSet, IntegerColumnsAreTaken) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 11));
  EXPECT_TRUE(set.print_int(0, "backup_version", 12));
  EXPECT_TRUE(set.print_int(0, "arch_log_start", LLONG_MIN));
  EXPECT_TRUE(set.print_int(0, "arch_log_end", LLONG_MAX));
  EXPECT_TRUE(set.print_int(0, "permanent_db_magic", -15));
  EXPECT_TRUE(set.print_int(0, "db_magic", 1LL << 40));
  EXPECT_TRUE(set.print_int(0, "case_sensitive", 1));
  EXPECT_TRUE(set.print_int(0, "unicode_flag", 2));
  EXPECT_TRUE(set.print_int(0, "page_size", 8192));
  EXPECT_TRUE(set.print_int(0, "extent_size", 16));
  EXPECT_EQ(11u, set.seq);
  EXPECT_EQ(12u, set.backup_version);
  EXPECT_EQ(LLONG_MIN, set.arch_log_start);
  EXPECT_EQ(LLONG_MAX, set.arch_log_end);
  EXPECT_EQ(-15, set.permanent_db_magic);
  EXPECT_EQ(1LL << 40, set.db_magic);
  EXPECT_EQ(1, set.case_sensitive);
  EXPECT_EQ(2, set.unicode_flag);
  EXPECT_EQ(8192, set.page_size);
  EXPECT_EQ(16, set.extent_size);
}

TEST(DMDBBackupSet, RowRoundTripsIntoTheDocument) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 2));
  EXPECT_TRUE(set.print_int(1, "page_size", -1));
  EXPECT_TRUE(cstr(set, "object", "DB"));
  EXPECT_EQ(R"("seq":2,"backup_version":0,"object":"DB","compression":"","backup_set":"","backup_base":"",)"
            R"("arch_log_start":0,"arch_log_end":0,"permanent_db_magic":0,"db_magic":0,"case_sensitive":0,)"
            R"("unicode_flag":0,"page_size":-1,"extent_size":0,"backup_files":{}})",
            own_keys(set, "dmdb"));
}

TEST(DMDBBackupSet, SeqKeepsLow32BitsAndNegativesWrapToUnsigned) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "page_size", -1));
  EXPECT_EQ(-1, set.page_size);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
  std::string const keys = own_keys(set, "dmdb");
  EXPECT_EQ(0u, keys.find(R"("seq":4294967295,)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("page_size":-1,)")) << keys;
}

TEST(DMDBBackupSet, SignedNarrowColumnsKeepLow32Bits) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "case_sensitive", 4294967297LL));
  EXPECT_TRUE(set.print_int(0, "unicode_flag", 0x80000000LL));
  EXPECT_TRUE(set.print_int(0, "extent_size", 0x1FFFFFFFFLL));
  EXPECT_TRUE(set.print_int(0, "backup_version", 0x100000005LL));
  EXPECT_EQ(1, set.case_sensitive);
  EXPECT_EQ(INT_MIN, set.unicode_flag);
  EXPECT_EQ(-1, set.extent_size);
  EXPECT_EQ(5u, set.backup_version);
}

TEST(DMDBBackupSet, TextColumnShorterLengthStoresOnlyThatMany) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "object", "abcdef", 3));
  EXPECT_EQ("abc", set.object);
  EXPECT_TRUE(set.print_cstr(0, "backup_base", "x\0y", 3));
  EXPECT_EQ(std::string("x\0y", 3), set.backup_base);
  EXPECT_TRUE(set.print_cstr(0, "compression", "zlib", 0));
  EXPECT_EQ("", set.compression);
}

TEST(DMDBBackupSet, NestedValueUnderOwnKeyIsIgnored) {
  DMDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "object", "nested", 6));
  EXPECT_TRUE(printer.print_int(1, "seq", 9));
  EXPECT_TRUE(printer.print_cstr(2, "uuid", "u-nested", 8));
  printer.end_map();
  printer.start_array(0, "pieces");
  EXPECT_TRUE(printer.print_cstr(0, "object", "in-array", 8));
  EXPECT_TRUE(printer.print_int(0, "page_size", 4));
  printer.end_array();
  EXPECT_EQ("", set.object);
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(0, set.page_size);
  EXPECT_EQ("", set.uuid);
  EXPECT_TRUE(printer.print_cstr(0, "object", "top", 3));
  EXPECT_EQ("top", set.object);
}

TEST(DMDBBackupSet, NullOrEmptyKeyFailsAndLogsEmergency) {
  Log_Capture capture;
  DMDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 4, "dmdb_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBBackupSet, NullKeyIsRefusedEvenInsideNestedValue) {
  Log_Capture capture;
  DMDB_Backup_Set set;
  set.start_map(0, "");
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  set.end_map();
  expect_key_refusals(capture, 2, "dmdb_backup_set.cpp");
}

TEST(DMDBBackupSet, UuidKeyReachesTheBaseUntouched) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  // The same base record with only its uuid set, followed by untouched own keys.
  Backup_Set base("dmdb");
  base.uuid = "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d";
  std::string expected = document_of(base);
  expected.pop_back();
  EXPECT_EQ(expected + "," + DEFAULT_KEYS, document_of(set));
}

TEST(DMDBBackupSet, OtherBaseColumnsReachTheBase) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(set.print_int(0, "size", 900));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value(1)}})));
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ(1700000000, set.backup_start_time);
  EXPECT_EQ(900, set.size);
  EXPECT_EQ((Object{{"k", Value(1)}}), set.extended_attrs);
}

TEST(DMDBBackupSet, UnknownKeysAreAcceptedAndChangeNothing) {
  DMDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "no_such_column", "x"));
  EXPECT_TRUE(set.print_int(0, "no_such_column", 1));
  EXPECT_TRUE(cstr(set, "Object", "case"));
  EXPECT_TRUE(set.print_int(0, "SEQ", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBBackupSet, ValueOfWrongOperationForOwnKeyIsNotTaken) {
  DMDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "object", 5));
  EXPECT_TRUE(cstr(set, "seq", "7"));
  EXPECT_TRUE(cstr(set, "page_size", "4096"));
  EXPECT_TRUE(set.print_json(0, "seq", Value(7)));
  EXPECT_TRUE(set.print_json(0, "object", Value("DB")));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBBackupSet, JsonOfWrongTypeGoesToBaseAndIsIgnored) {
  DMDB_Backup_Set set;
  set.lsb["DISTRIB_ID"] = Value("Debian");
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Array{Value(1)})));
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Object{{"a", Value("1")}})));
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(set.backup_files.empty());
}

TEST(DMDBBackupSet, BackupFilesAreNeverReadFromRows) {
  DMDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_files", R"({"a":"1"})"));
  EXPECT_TRUE(set.print_int(0, "backup_files", 1));
  EXPECT_TRUE(set.backup_files.empty());
}

TEST(DMDBBackupSet, OverridesAreReachedThroughThePrinterInterface) {
  DMDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "backup_set", "FULL_9", 6));
  EXPECT_TRUE(printer.print_int(1, "arch_log_end", 77));
  EXPECT_TRUE(printer.print_int(2, "seq", -1));
  EXPECT_TRUE(printer.print_cstr(3, "name", "via-printer", 11));
  EXPECT_EQ("FULL_9", set.backup_set);
  EXPECT_EQ(77, set.arch_log_end);
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_EQ("via-printer", set.name);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(printer.print_int(0, nullptr, 1));
  expect_key_refusals(capture, 2, "dmdb_backup_set.cpp");
}

TEST(DMDBBackupSet, GenerateDoesNotChangeTheRecord) {
  DMDB_Backup_Set set;
  set.seq = 5;
  set.backup_files["f"] = "g";
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
}
