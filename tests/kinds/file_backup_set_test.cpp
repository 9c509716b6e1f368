#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/file_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"
#include "tests/support/set_rows_printer.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("seq":0,"channels":0,"hash_algorithm":"","pool_type":"","multidevice":false,"encryption":""})";

}  // namespace

TEST(FileBackupSet, DefaultDocumentIsBaseThenFileKeys) {
  File_Backup_Set set;
  EXPECT_EQ(base_prefix("file") + DEFAULT_KEYS, document_of(set));
}

TEST(FileBackupSet, FilledDocumentWritesEveryFieldInOrder) {
  File_Backup_Set set;
  set.seq = 4294967295u;
  set.channels = 4294967294u;
  set.hash_algorithm = "sha\"256\" é";
  set.pool_type = "tape/\\pool";
  set.multidevice = true;
  set.encryption = "aes-256 ✓";
  EXPECT_EQ(base_prefix("file") +
                R"("seq":4294967295,"channels":4294967294,"hash_algorithm":"sha\"256\" é",)"
                R"("pool_type":"tape/\\pool","multidevice":true,"encryption":"aes-256 ✓"})",
            document_of(set));
}

TEST(FileBackupSet, GenerateSucceedsAndLeavesTheRecordAsItWas) {
  File_Backup_Set set;
  set.seq = 3;
  set.encryption = "sm4";
  Generated first = generate_text(set);
  EXPECT_TRUE(first.ok);
  EXPECT_EQ(first.text, document_of(set));
}

TEST(FileBackupSet, CatalogueModuleIsFile) {
  expect_catalogue_module<File_Backup_Set>("file");
}

TEST(FileBackupSet, KindIsRegistered) {
  expect_listed_in_registry<File_Backup_Set>();
  EXPECT_EQ(&File_Backup_Set::kind(), Backup_Set_Kinds::find("file"));
}

TEST(FileBackupSet, StatementReadsFileColumnsFromTheDmTableJoinedAsFile) {
  expect_statement_joins_its_table<File_Backup_Set>({{"file.seq", "seq"},
                                                     {"file.channels", "channels"},
                                                     {"file.hash_algorithm", "hash_algorithm"},
                                                     {"file.pool_type", "pool_type"},
                                                     {"file.multidevice", "multidevice"},
                                                     {"file.encryption", "encryption"}},
                                                    "dmdb_backup_set", "file");
}

TEST(FileBackupSet, StatementKeepsTheCallersAliasForTheBaseOnly) {
  Select_SQL sql("backup_set", "x");
  File_Backup_Set::init_select_sql(sql, "x");
  Select_SQL base("backup_set", "x");
  Backup_Set::init_select_sql(base, "x");
  ASSERT_EQ(base.columns().size() + 6, sql.columns().size());
  EXPECT_TRUE(std::equal(base.columns().begin(), base.columns().end(), sql.columns().begin()));
  EXPECT_EQ("file.seq", sql.columns()[base.columns().size()].first);
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("uuid=file.set_uuid", sql.joins()[0].condition);
}

TEST(FileBackupSet, TextColumnsAreStoredThroughPrintCstr) {
  File_Backup_Set set;
  EXPECT_TRUE(cstr(set, "hash_algorithm", "sha256"));
  EXPECT_TRUE(cstr(set, "pool_type", "dedup"));
  EXPECT_TRUE(cstr(set, "encryption", "aes256"));
  EXPECT_EQ("sha256", set.hash_algorithm);
  EXPECT_EQ("dedup", set.pool_type);
  EXPECT_EQ("aes256", set.encryption);
}

TEST(FileBackupSet, TextColumnTakesOnlyTheGivenLength) {
  File_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "encryption", "aes256-gcm", 6));
  EXPECT_EQ("aes256", set.encryption);
  EXPECT_TRUE(set.print_cstr(0, "hash_algorithm", "md5\0sha1", 8));
  EXPECT_EQ(std::string("md5\0sha1", 8), set.hash_algorithm);
}

TEST(FileBackupSet, IntegerColumnsAreStoredThroughPrintInt) {
  File_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 7));
  EXPECT_TRUE(set.print_int(1, "channels", 4));
  EXPECT_EQ(7u, set.seq);
  EXPECT_EQ(4u, set.channels);
}

TEST(FileBackupSet, UnsignedColumnsKeepTheLow32Bits) {
  File_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "channels", 4294967296LL + 9));
  EXPECT_EQ(9u, set.channels);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_TRUE(set.print_int(0, "channels", -2));
  EXPECT_EQ(base_prefix("file") +
                R"("seq":4294967295,"channels":4294967294,"hash_algorithm":"","pool_type":"",)"
                R"("multidevice":false,"encryption":""})",
            document_of(set));
}

TEST(FileBackupSet, MultideviceIsStoredThroughPrintBool) {
  File_Backup_Set set;
  EXPECT_TRUE(set.print_bool(0, "multidevice", true));
  EXPECT_TRUE(set.multidevice);
  EXPECT_TRUE(set.print_bool(0, "multidevice", false));
  EXPECT_FALSE(set.multidevice);
}

TEST(FileBackupSet, MultideviceAsIntegerGoesToTheBaseAndIsIgnored) {
  File_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "multidevice", 1));
  EXPECT_FALSE(set.multidevice);
  EXPECT_EQ(before, document_of(set));
}

TEST(FileBackupSet, ValueOfTheWrongTypeForAnOwnKeyGoesToTheBase) {
  File_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(set.print_int(0, "hash_algorithm", 5));
  EXPECT_TRUE(set.print_bool(0, "encryption", true));
  EXPECT_TRUE(set.print_json(0, "pool_type", Value("dedup")));
  EXPECT_EQ(before, document_of(set));
}

TEST(FileBackupSet, UnknownKeysReachTheBase) {
  File_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 40));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(Object{{"id", Value("x")}})));
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(1LL << 40, set.size);
  EXPECT_EQ((Object{{"id", Value("x")}}), set.lsb);
}

TEST(FileBackupSet, UnknownBooleanKeyAnswersAsThePrinterBase) {
  File_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "compressed", true), set.print_bool(0, "compressed", true));
  EXPECT_EQ(fresh.print_bool(3, "Multidevice", false), set.print_bool(3, "Multidevice", false));
  EXPECT_FALSE(set.multidevice);
  EXPECT_EQ(before, document_of(set));
}

TEST(FileBackupSet, HostFromARowIsTheBaseHostWrittenUnderTheBaseKey) {
  Set_Rows_Printer<File_Backup_Set> rows;
  ASSERT_TRUE(rows.start_map(0, ""));
  ASSERT_TRUE(rows.print_cstr(0, "host", "h1", 2));
  ASSERT_TRUE(rows.print_int(1, "seq", 2));
  ASSERT_TRUE(rows.end_map());
  ASSERT_EQ(1u, rows.sets.size());
  File_Backup_Set& set = rows.sets.front();
  EXPECT_EQ("h1", set.host);

  std::string expected = base_prefix("file");
  std::string const empty_host = R"("host":"",)";
  ASSERT_EQ(1u, occurrences(expected, empty_host));
  expected.replace(expected.find(empty_host), empty_host.size(), R"("host":"h1",)");
  expected += R"("seq":2,"channels":0,"hash_algorithm":"","pool_type":"","multidevice":false,"encryption":""})";
  std::string const text = document_of(set);
  EXPECT_EQ(expected, text);
  EXPECT_EQ(1u, occurrences(text, R"("host":)"));
}

TEST(FileBackupSet, HostLengthIsHonoured) {
  File_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "host", "node-17.example", 7));
  EXPECT_EQ("node-17", set.host);
}

TEST(FileBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  File_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  expect_key_refusals(capture, 6, "file_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(FileBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  File_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_array(0, "pieces"));
  ASSERT_TRUE(p.start_map(0, ""));
  EXPECT_TRUE(cstr(p, "hash_algorithm", "sha1"));
  EXPECT_TRUE(cstr(p, "host", "nested"));
  EXPECT_TRUE(p.print_int(1, "seq", 5));
  EXPECT_TRUE(p.print_int(2, "channels", 5));
  EXPECT_TRUE(p.print_bool(3, "multidevice", true));
  EXPECT_TRUE(p.print_bool(3, "other", true));
  ASSERT_TRUE(p.end_map());
  EXPECT_TRUE(cstr(p, "encryption", "in-array"));
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(cstr(p, "encryption", "top"));
  EXPECT_EQ("top", set.encryption);
}

TEST(FileBackupSet, OverridesAreReachedThroughThePrinterBase) {
  File_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "pool_type", "tape"));
  EXPECT_TRUE(cstr(p, "host", "h2"));
  EXPECT_TRUE(p.print_int(0, "channels", -1));
  EXPECT_TRUE(p.print_bool(0, "multidevice", true));
  EXPECT_EQ("tape", set.pool_type);
  EXPECT_EQ("h2", set.host);
  EXPECT_EQ(4294967295u, set.channels);
  EXPECT_TRUE(set.multidevice);
  Log_Capture capture;
  EXPECT_FALSE(p.print_bool(0, "", true));
  EXPECT_FALSE(p.print_cstr(0, nullptr, "x", 1));
  expect_key_refusals(capture, 2, "file_backup_set.cpp");
}
