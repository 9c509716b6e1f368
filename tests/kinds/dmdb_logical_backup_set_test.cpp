#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/dmdb_logical_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("seq":0,"backup_version":0,"backup_set":"","case_sensitive":true,"dm_type":"","exp_mode":"",)"
    R"("backup_files":[]})";

}  // namespace

TEST(DMDBLogicalBackupSet, DefaultDocumentIsBaseKeysThenDefaults) {
  expect_default_document<DMDB_Logical_Backup_Set>("dmdb_logical", DEFAULT_KEYS);
}

TEST(DMDBLogicalBackupSet, FreshSetIsCaseSensitiveWithEmptyFileArray) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.case_sensitive);
  std::string const keys = own_keys(set, "dmdb_logical");
  EXPECT_NE(std::string::npos, keys.find(R"("case_sensitive":true,)")) << keys;
  EXPECT_EQ(keys.size() - std::string(R"("backup_files":[]})").size(), keys.find(R"("backup_files":[]})")) << keys;
}

TEST(DMDBLogicalBackupSet, FilledDocumentKeepsWidthsAndKeyOrder) {
  DMDB_Logical_Backup_Set set;
  set.seq = 4294967295u;
  set.backup_version = 1;
  set.case_sensitive = false;
  set.backup_set = "EXP \"full\"";
  set.dm_type = "\xe9\x80\xbb\xe8\xbe\x91";
  set.exp_mode = "SCHEMAS";
  set.backup_files.push_back(Logical_Backup_File{"DMSERVER", "/exp/a.dmp", "SYSDBA", "MAIN", "T\"1\""});
  set.backup_files.push_back(Logical_Backup_File{});
  set.backup_files.push_back(Logical_Backup_File{"", "/exp/b.dmp", "", "S\xc3\xa9", ""});
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("dmdb_logical") +
                R"("seq":4294967295,"backup_version":1,"backup_set":"EXP \"full\"","case_sensitive":false,)"
                R"("dm_type":")"
                "\xe9\x80\xbb\xe8\xbe\x91"
                R"(","exp_mode":"SCHEMAS","backup_files":[)"
                R"({"instance":"DMSERVER","file":"/exp/a.dmp","owner":"SYSDBA","schema":"MAIN","table":"T\"1\""},)"
                R"({"instance":"","file":"","owner":"","schema":"","table":""},)"
                R"({"instance":"","file":"/exp/b.dmp","owner":"","schema":"S)"
                "\xc3\xa9"
                R"(","table":""}]})",
            doc.text);
}

TEST(DMDBLogicalBackupSet, BackupFilesKeepInsertionOrder) {
  DMDB_Logical_Backup_Set set;
  Logical_Backup_File z;
  z.file = "z.dmp";
  Logical_Backup_File a;
  a.file = "a.dmp";
  set.backup_files = {z, a};
  std::string const keys = own_keys(set, "dmdb_logical");
  EXPECT_LT(keys.find("z.dmp"), keys.find("a.dmp")) << keys;
}

TEST(DMDBLogicalBackupSet, CatalogueModuleIsDmdbLogical) {
  expect_catalogue_module<DMDB_Logical_Backup_Set>("dmdb_logical");
}

TEST(DMDBLogicalBackupSet, KindIsRegistered) {
  expect_listed_in_registry<DMDB_Logical_Backup_Set>();
  EXPECT_EQ(&DMDB_Logical_Backup_Set::kind(), Backup_Set_Kinds::find("dmdb_logical"));
}

TEST(DMDBLogicalBackupSet, StatementAddsSixColumnsInFieldOrderThenJoinsLogicalTable) {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  Select_SQL sql("backup_set", "b");
  DMDB_Logical_Backup_Set::init_select_sql(sql, "b");

  ASSERT_GE(sql.columns().size(), base.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  // Field order, which is not the document's order.
  std::vector<std::pair<std::string, std::string>> const want = {
      {"dm.seq", "seq"},
      {"dm.backup_version", "backup_version"},
      {"dm.case_sensitive", "case_sensitive"},
      {"dm.backup_set", "backup_set"},
      {"dm.dm_type", "dm_type"},
      {"dm.exp_mode", "exp_mode"},
  };
  EXPECT_EQ(want, own_columns(sql));
  ASSERT_EQ(base.joins().size() + 1, sql.joins().size());
  Select_SQL::Join const& join = sql.joins().back();
  EXPECT_EQ("dmdb_logical_backup_set", join.table);
  EXPECT_EQ("dm", join.alias);
  EXPECT_EQ("uuid=dm.set_uuid", join.condition);
  EXPECT_FALSE(sql.inner(sql.joins().size() - 1));
}

TEST(DMDBLogicalBackupSet, StatementPassesCallersAliasToBase) {
  Select_SQL base("backup_set", "q");
  Backup_Set::init_select_sql(base, "q");
  Select_SQL sql("backup_set", "q");
  DMDB_Logical_Backup_Set::init_select_sql(sql, "q");
  ASSERT_EQ(base.columns().size() + 6, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
}

TEST(DMDBLogicalBackupSet, TextColumnsAreTaken) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_set", "EXP_1"));
  EXPECT_TRUE(cstr(set, "dm_type", "FULL"));
  EXPECT_TRUE(cstr(set, "exp_mode", "TABLES"));
  EXPECT_EQ("EXP_1", set.backup_set);
  EXPECT_EQ("FULL", set.dm_type);
  EXPECT_EQ("TABLES", set.exp_mode);
}

TEST(DMDBLogicalBackupSet, IntegerColumnsAreTaken) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 3));
  EXPECT_TRUE(set.print_int(0, "backup_version", 4));
  EXPECT_EQ(3u, set.seq);
  EXPECT_EQ(4u, set.backup_version);
}

TEST(DMDBLogicalBackupSet, UnsignedColumnsKeepLow32Bits) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "backup_version", -1));
  EXPECT_EQ(4294967295u, set.backup_version);
  std::string const keys = own_keys(set, "dmdb_logical");
  EXPECT_EQ(0u, keys.find(R"("seq":0,"backup_version":4294967295,)")) << keys;
}

TEST(DMDBLogicalBackupSet, CaseSensitiveIsIntegerNotZero) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "case_sensitive", 2));
  EXPECT_TRUE(set.case_sensitive);
  EXPECT_TRUE(set.print_int(0, "case_sensitive", 0));
  EXPECT_FALSE(set.case_sensitive);
  std::string const keys = own_keys(set, "dmdb_logical");
  EXPECT_NE(std::string::npos, keys.find(R"("case_sensitive":false,)")) << keys;
}

TEST(DMDBLogicalBackupSet, CaseSensitiveLooksAtTheWholeValue) {
  DMDB_Logical_Backup_Set set;
  set.case_sensitive = false;
  // Not cut to 32 bits first: only a value of 0 is false.
  EXPECT_TRUE(set.print_int(0, "case_sensitive", 1LL << 32));
  EXPECT_TRUE(set.case_sensitive);
  set.case_sensitive = false;
  EXPECT_TRUE(set.print_int(0, "case_sensitive", -1));
  EXPECT_TRUE(set.case_sensitive);
}

TEST(DMDBLogicalBackupSet, BoolColumnsAreNotTaken) {
  DMDB_Logical_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "case_sensitive", false));
  EXPECT_TRUE(set.case_sensitive);
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogicalBackupSet, ValueOfWrongOperationForOwnKeyIsNotTaken) {
  DMDB_Logical_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "dm_type", 3));
  EXPECT_TRUE(cstr(set, "case_sensitive", "0"));
  EXPECT_TRUE(cstr(set, "seq", "9"));
  EXPECT_TRUE(set.print_json(0, "exp_mode", Value("FULL")));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogicalBackupSet, BackupFilesAreNeverReadFromRows) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"file", Value("a.dmp")}})})));
  EXPECT_TRUE(cstr(set, "backup_files", "a.dmp"));
  EXPECT_TRUE(set.backup_files.empty());
}

TEST(DMDBLogicalBackupSet, TextColumnShorterLengthStoresOnlyThatMany) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "exp_mode", "SCHEMAS", 6));
  EXPECT_EQ("SCHEMA", set.exp_mode);
  EXPECT_TRUE(set.print_cstr(0, "dm_type", "abcdef", 3));
  EXPECT_EQ("abc", set.dm_type);
}

TEST(DMDBLogicalBackupSet, NestedValuesAreIgnored) {
  DMDB_Logical_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "exp_mode", "nested", 6));
  EXPECT_TRUE(printer.print_int(1, "case_sensitive", 0));
  printer.end_map();
  EXPECT_EQ("", set.exp_mode);
  EXPECT_TRUE(set.case_sensitive);
  EXPECT_TRUE(printer.print_int(1, "case_sensitive", 0));
  EXPECT_FALSE(set.case_sensitive);
}

TEST(DMDBLogicalBackupSet, NullOrEmptyKeyFailsAndLogsEmergency) {
  Log_Capture capture;
  DMDB_Logical_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 0));
  EXPECT_FALSE(set.print_int(0, "", 0));
  expect_key_refusals(capture, 4, "dmdb_logical_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogicalBackupSet, UnknownKeysGoToTheBase) {
  DMDB_Logical_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "export"));
  EXPECT_TRUE(cstr(set, "instance", "DMSERVER"));
  EXPECT_TRUE(set.print_int(0, "source_size", 12345));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Object{{"id", Value("x")}})));
  EXPECT_EQ("export", set.name);
  EXPECT_EQ("DMSERVER", set.instance);
  EXPECT_EQ(12345, set.source_size);
  EXPECT_EQ((Object{{"id", Value("x")}}), set.lsb);
}

TEST(DMDBLogicalBackupSet, JsonOfWrongTypeGoesToBaseAndIsIgnored) {
  DMDB_Logical_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Array{Value(1)})));
  EXPECT_TRUE(set.print_json(0, "uname", Value("Linux")));
  EXPECT_EQ(before, document_of(set));
}

TEST(DMDBLogicalBackupSet, OverridesAreReachedThroughThePrinterInterface) {
  DMDB_Logical_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "dm_type", "LOGIC", 5));
  EXPECT_TRUE(printer.print_int(1, "case_sensitive", 0));
  EXPECT_TRUE(printer.print_int(2, "seq", 8));
  EXPECT_TRUE(printer.print_cstr(3, "host", "db-host", 7));
  EXPECT_EQ("LOGIC", set.dm_type);
  EXPECT_FALSE(set.case_sensitive);
  EXPECT_EQ(8u, set.seq);
  EXPECT_EQ("db-host", set.host);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_int(0, "", 1));
  expect_key_refusals(capture, 1, "dmdb_logical_backup_set.cpp");
}
