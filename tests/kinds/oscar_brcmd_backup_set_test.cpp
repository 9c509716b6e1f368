#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oscar_brcmd_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("backup_id":"","last_backup_id":"","last_full_backup_id":"","backup_file":"",)"
    R"("backup_lsn":0,"backup_scn":0,"last_backup_lsn":0,"last_backup_scn":0,)"
    R"("last_full_backup_lsn":0,"last_full_backup_scn":0})";

char const* const TEXT_KEYS[] = {"backup_id", "last_backup_id", "last_full_backup_id", "backup_file"};
char const* const NUMBER_KEYS[] = {"backup_lsn",      "backup_scn",           "last_backup_lsn",
                                   "last_backup_scn", "last_full_backup_lsn", "last_full_backup_scn"};

}  // namespace

TEST(OscarBrcmdBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<Oscar_Brcmd_Backup_Set>("oscar_brcmd", DEFAULT_KEYS);
}

TEST(OscarBrcmdBackupSet, NewSetWritesFourEmptyTextsAndSixZeros) {
  Oscar_Brcmd_Backup_Set set;
  std::string const keys = own_keys(set, "oscar_brcmd");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  for (char const* key : TEXT_KEYS) EXPECT_EQ(1u, occurrences(keys, "\"" + std::string(key) + "\":\"\",")) << key;
  for (char const* key : NUMBER_KEYS) EXPECT_EQ(1u, occurrences(keys, "\"" + std::string(key) + "\":0")) << key;
}

TEST(OscarBrcmdBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Oscar_Brcmd_Backup_Set set;
  set.backup_id = "BK_20231114_0003";
  set.last_backup_id = "BK_20231114_0002";
  set.last_full_backup_id = "BK_\"full\"";
  set.backup_file = "/backup/osr/\xE5\xA4\x87\xE4\xBB\xBD.bk";  // two CJK characters
  set.backup_lsn = LLONG_MAX;
  set.backup_scn = LLONG_MIN;
  set.last_backup_lsn = 4294967296LL;
  set.last_backup_scn = -1;
  set.last_full_backup_lsn = 1;
  set.last_full_backup_scn = 2;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oscar_brcmd") +
                R"("backup_id":"BK_20231114_0003","last_backup_id":"BK_20231114_0002",)"
                R"("last_full_backup_id":"BK_\"full\"","backup_file":"/backup/osr/)"
                "\xE5\xA4\x87\xE4\xBB\xBD"
                R"(.bk","backup_lsn":9223372036854775807,"backup_scn":-9223372036854775808,)"
                R"("last_backup_lsn":4294967296,"last_backup_scn":-1,"last_full_backup_lsn":1,)"
                R"("last_full_backup_scn":2})",
            doc.text);
}

TEST(OscarBrcmdBackupSet, CatalogueModuleIsOscarBrcmd) {
  expect_catalogue_module<Oscar_Brcmd_Backup_Set>("oscar_brcmd");
  EXPECT_STREQ("Oscar_Brcmd_Backup_Set", Oscar_Brcmd_Backup_Set::kind().class_name());
  EXPECT_STREQ("oscar_brcmd_backup_set", Oscar_Brcmd_Backup_Set::kind().table());
  EXPECT_STREQ("brcmd", Oscar_Brcmd_Backup_Set::kind().alias());
}

TEST(OscarBrcmdBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Oscar_Brcmd_Backup_Set>();
  EXPECT_EQ(&Oscar_Brcmd_Backup_Set::kind(), Backup_Set_Kinds::find("oscar_brcmd"));
}

TEST(OscarBrcmdBackupSet, StatementAddsTenColumnsThenTheJoin) {
  expect_statement_joins_its_table<Oscar_Brcmd_Backup_Set>(
      {{"brcmd.backup_id", "backup_id"},
       {"brcmd.last_backup_id", "last_backup_id"},
       {"brcmd.last_full_backup_id", "last_full_backup_id"},
       {"brcmd.backup_file", "backup_file"},
       {"brcmd.backup_lsn", "backup_lsn"},
       {"brcmd.backup_scn", "backup_scn"},
       {"brcmd.last_backup_lsn", "last_backup_lsn"},
       {"brcmd.last_backup_scn", "last_backup_scn"},
       {"brcmd.last_full_backup_lsn", "last_full_backup_lsn"},
       {"brcmd.last_full_backup_scn", "last_full_backup_scn"}},
      "oscar_brcmd_backup_set", "brcmd");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Oscar_Brcmd_Backup_Set::kind().selection());
}

TEST(OscarBrcmdBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Oscar_Brcmd_Backup_Set>(10, {"brcmd.backup_id", "backup_id"}, "brcmd");
}

TEST(OscarBrcmdBackupSet, TextColumnsAreTakenByPrintCstr) {
  Oscar_Brcmd_Backup_Set set;
  EXPECT_TRUE(cstr(set, "backup_id", "B3"));
  EXPECT_TRUE(cstr(set, "last_backup_id", "B2"));
  EXPECT_TRUE(cstr(set, "last_full_backup_id", "B1"));
  EXPECT_TRUE(cstr(set, "backup_file", "/bk/f"));
  EXPECT_EQ("B3", set.backup_id);
  EXPECT_EQ("B2", set.last_backup_id);
  EXPECT_EQ("B1", set.last_full_backup_id);
  EXPECT_EQ("/bk/f", set.backup_file);
}

TEST(OscarBrcmdBackupSet, TextColumnTakesOnlyTheGivenLength) {
  Oscar_Brcmd_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "backup_file", "/bk/file.bk", 3));
  EXPECT_EQ("/bk", set.backup_file);
}

TEST(OscarBrcmdBackupSet, NumberColumnsAreTakenByPrintIntWithTheFullRange) {
  Oscar_Brcmd_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "backup_lsn", LLONG_MAX));
  EXPECT_TRUE(set.print_int(1, "backup_scn", LLONG_MIN));
  EXPECT_TRUE(set.print_int(2, "last_backup_lsn", 4294967296LL + 1));
  EXPECT_TRUE(set.print_int(3, "last_backup_scn", -5));
  EXPECT_TRUE(set.print_int(4, "last_full_backup_lsn", 6));
  EXPECT_TRUE(set.print_int(5, "last_full_backup_scn", 7));
  EXPECT_EQ(LLONG_MAX, set.backup_lsn);
  EXPECT_EQ(LLONG_MIN, set.backup_scn);
  EXPECT_EQ(4294967297LL, set.last_backup_lsn);
  EXPECT_EQ(-5, set.last_backup_scn);
  EXPECT_EQ(6, set.last_full_backup_lsn);
  EXPECT_EQ(7, set.last_full_backup_scn);
}

TEST(OscarBrcmdBackupSet, UnknownKeysGoToTheBase) {
  Oscar_Brcmd_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "brcmd-full"));
  EXPECT_TRUE(cstr(set, "type", "full"));
  EXPECT_TRUE(set.print_int(0, "first_scn", 10));
  EXPECT_TRUE(set.print_int(0, "last_scn", 20));
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"machine", Value("x86_64")}})));
  EXPECT_EQ("brcmd-full", set.name);
  EXPECT_EQ("full", set.type);
  EXPECT_EQ(10, set.first_scn);
  EXPECT_EQ(20, set.last_scn);
  EXPECT_EQ((Object{{"machine", Value("x86_64")}}), set.uname);
}

TEST(OscarBrcmdBackupSet, ValueOfTheWrongOperationForAnOwnKeyIsNotTaken) {
  Oscar_Brcmd_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "backup_lsn", "5"));
  EXPECT_TRUE(set.print_int(0, "backup_id", 5));
  EXPECT_TRUE(set.print_uint(0, "backup_scn", 5));
  EXPECT_TRUE(set.print_json(0, "backup_file", Value("f")));
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBrcmdBackupSet, UnknownBoolColumnAnswersAsThePrinterBase) {
  Oscar_Brcmd_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "backup_id", true), set.print_bool(0, "backup_id", true));
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBrcmdBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Oscar_Brcmd_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 4, "oscar_brcmd_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBrcmdBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Oscar_Brcmd_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_array(0, "pieces"));
  ASSERT_TRUE(p.start_map(0, ""));
  EXPECT_TRUE(cstr(p, "backup_id", "nested"));
  EXPECT_TRUE(p.print_int(1, "backup_lsn", 5));
  ASSERT_TRUE(p.end_map());
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_int(1, "backup_lsn", 5));
  EXPECT_EQ(5, set.backup_lsn);
}

TEST(OscarBrcmdBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Oscar_Brcmd_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "last_backup_id", "L"));
  EXPECT_TRUE(p.print_int(0, "last_full_backup_scn", 8));
  EXPECT_EQ("L", set.last_backup_id);
  EXPECT_EQ(8, set.last_full_backup_scn);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(p.print_int(0, "", 1));
  expect_key_refusals(capture, 2, "oscar_brcmd_backup_set.cpp");
}

TEST(OscarBrcmdBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Oscar_Brcmd_Backup_Set set;
  long long n = 0;
  for (char const* key : TEXT_KEYS) EXPECT_TRUE(cstr(set, key, std::string(key) + "!"));
  for (char const* key : NUMBER_KEYS) EXPECT_TRUE(set.print_int(0, key, ++n));
  EXPECT_EQ(base_prefix("oscar_brcmd") +
                R"("backup_id":"backup_id!","last_backup_id":"last_backup_id!",)"
                R"("last_full_backup_id":"last_full_backup_id!","backup_file":"backup_file!",)"
                R"("backup_lsn":1,"backup_scn":2,"last_backup_lsn":3,"last_backup_scn":4,)"
                R"("last_full_backup_lsn":5,"last_full_backup_scn":6})",
            document_of(set));
}
