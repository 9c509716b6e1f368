#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/mongodb_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// A fresh set: every log number is the not-known mark, so only the three
// always-written keys appear.
char const DEFAULT_KEYS[] = R"("seq":0,"archive":false,"backup_files":[]})";

MongoDB_Backup_File file(std::string database, std::string name, long long original_size, std::string host,
                         long long seq) {
  MongoDB_Backup_File f;
  f.database = std::move(database);
  f.file = std::move(name);
  f.original_size = original_size;
  f.backup_host_uuid = std::move(host);
  f.seq = seq;
  return f;
}

// The refusals of the operations MongoDB leaves to Backup_Set name the
// base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

TEST(MongoDBBackupSet, DefaultDocumentIsBaseThenSeqArchiveAndFiles) {
  expect_default_document<MongoDB_Backup_Set>("", DEFAULT_KEYS);
}

TEST(MongoDBBackupSet, FreshSetHoldsNotKnownLogNumbers) {
  MongoDB_Backup_Set set;
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(-1, set.arch_log_start);
  EXPECT_EQ(-1, set.arch_log_start_i);
  EXPECT_EQ(-1, set.arch_log_end);
  EXPECT_EQ(-1, set.arch_log_end_i);
  EXPECT_FALSE(set.archive);
  EXPECT_TRUE(set.backup_files.empty());
}

TEST(MongoDBBackupSet, NewSetWritesOnlySeqArchiveAndEmptyFiles) {
  MongoDB_Backup_Set set;
  std::string const keys = own_keys(set, "");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  EXPECT_EQ(std::string::npos, keys.find("arch_log"));
}

TEST(MongoDBBackupSet, FilledDocumentHasEveryKeyInOrder) {
  MongoDB_Backup_Set set;
  set.seq = 4294967295u;
  set.arch_log_start = 1700000000;
  set.arch_log_start_i = 1;
  set.arch_log_end = LLONG_MAX;
  set.arch_log_end_i = LLONG_MIN;
  set.archive = true;
  set.backup_files.push_back(file("admin", "dump/admin/system.users.bson", LLONG_MAX, "host-\"1\"", 3));
  set.backup_files.push_back(file("\xD0\xB1\xD0\xB4", "C:\\dump\\x.bson", 0, "", -7));  // Cyrillic "bd"
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("") +
                R"("seq":4294967295,"arch_log_start":1700000000,"arch_log_start_i":1,)"
                R"("arch_log_end":9223372036854775807,"arch_log_end_i":-9223372036854775808,"archive":true,)"
                R"("backup_files":[{"database":"admin","file":"dump/admin/system.users.bson",)"
                R"("original_size":9223372036854775807,"backup_host_uuid":"host-\"1\"","seq":3},)"
                R"({"database":")"
                "\xD0\xB1\xD0\xB4"
                R"(","file":"C:\\dump\\x.bson","original_size":0,"backup_host_uuid":"","seq":-7}]})",
            doc.text);
}

TEST(MongoDBBackupSet, ZeroLogNumbersAreWritten) {
  MongoDB_Backup_Set set;
  set.arch_log_start = 0;
  set.arch_log_start_i = 0;
  set.arch_log_end = 0;
  set.arch_log_end_i = 0;
  EXPECT_EQ(R"("seq":0,"arch_log_start":0,"arch_log_start_i":0,"arch_log_end":0,"arch_log_end_i":0,)"
            R"("archive":false,"backup_files":[]})",
            own_keys(set, ""));
}

TEST(MongoDBBackupSet, StartWithoutEndWritesEndAsMinusOne) {
  MongoDB_Backup_Set set;
  set.arch_log_start = 10;
  EXPECT_EQ(R"("seq":0,"arch_log_start":10,"arch_log_end":-1,"archive":false,"backup_files":[]})",
            own_keys(set, ""));
}

TEST(MongoDBBackupSet, EndWithoutStartWritesNeitherStartNorEnd) {
  MongoDB_Backup_Set set;
  set.arch_log_end = 20;
  std::string const keys = own_keys(set, "");
  EXPECT_EQ(R"("seq":0,"archive":false,"backup_files":[]})", keys);
  EXPECT_EQ(std::string::npos, keys.find("arch_log_end"));
  EXPECT_EQ(std::string::npos, keys.find("arch_log_start"));
}

TEST(MongoDBBackupSet, CompanionNumbersAreWrittenEachOnItsOwn) {
  MongoDB_Backup_Set set;
  set.arch_log_end_i = 4;
  EXPECT_EQ(R"("seq":0,"arch_log_end_i":4,"archive":false,"backup_files":[]})", own_keys(set, ""));
  set.arch_log_end_i = -1;
  set.arch_log_start_i = 3;
  EXPECT_EQ(R"("seq":0,"arch_log_start_i":3,"archive":false,"backup_files":[]})", own_keys(set, ""));
}

TEST(MongoDBBackupSet, StartAndCompanionsWithEndUnknownStillWriteEnd) {
  MongoDB_Backup_Set set;
  set.arch_log_start = 1;
  set.arch_log_start_i = 2;
  set.arch_log_end_i = 3;
  EXPECT_EQ(R"("seq":0,"arch_log_start":1,"arch_log_start_i":2,"arch_log_end":-1,"arch_log_end_i":3,)"
            R"("archive":false,"backup_files":[]})",
            own_keys(set, ""));
}

TEST(MongoDBBackupSet, BackupFilesKeepInsertionOrderAndDuplicates) {
  MongoDB_Backup_Set set;
  set.backup_files.push_back(file("b", "2", 2, "h", 2));
  set.backup_files.push_back(file("a", "1", 1, "h", 1));
  set.backup_files.push_back(file("b", "2", 2, "h", 2));
  EXPECT_EQ(R"("seq":0,"archive":false,"backup_files":[)"
            R"({"database":"b","file":"2","original_size":2,"backup_host_uuid":"h","seq":2},)"
            R"({"database":"a","file":"1","original_size":1,"backup_host_uuid":"h","seq":1},)"
            R"({"database":"b","file":"2","original_size":2,"backup_host_uuid":"h","seq":2}]})",
            own_keys(set, ""));
}

TEST(MongoDBBackupSet, ConstructorPassesEmptyModuleToTheBase) {
  MongoDB_Backup_Set set;
  ASSERT_NE(nullptr, set.catalog_module);
  EXPECT_STREQ("", set.catalog_module);
  expect_catalogue_module<MongoDB_Backup_Set>("");
  EXPECT_STREQ("MongoDB_Backup_Set", MongoDB_Backup_Set::kind().class_name());
  EXPECT_STREQ("mongodb_backup_set", MongoDB_Backup_Set::kind().table());
  EXPECT_STREQ("m", MongoDB_Backup_Set::kind().alias());
}

TEST(MongoDBBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<MongoDB_Backup_Set>();
  EXPECT_EQ(nullptr, Backup_Set_Kinds::find(""));
}

TEST(MongoDBBackupSet, StatementAddsSixColumnsEndBeforeCompanionsThenTheJoin) {
  expect_statement_joins_its_table<MongoDB_Backup_Set>({{"m.seq", "seq"},
                                                        {"m.arch_log_start", "arch_log_start"},
                                                        {"m.arch_log_end", "arch_log_end"},
                                                        {"m.arch_log_start_i", "arch_log_start_i"},
                                                        {"m.arch_log_end_i", "arch_log_end_i"},
                                                        {"m.archive", "archive"}},
                                                       "mongodb_backup_set", "m");
  EXPECT_EQ(Backup_Set_Kind::JOIN, MongoDB_Backup_Set::kind().selection());
}

TEST(MongoDBBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<MongoDB_Backup_Set>(6, {"m.seq", "seq"}, "m");
  Select_SQL sql("backup_set", "s");
  MongoDB_Backup_Set::init_select_sql(sql, "s");
  EXPECT_EQ("s", sql.from_alias());
  EXPECT_EQ("s.uuid", sql.columns().front().first);
  EXPECT_EQ((Select_SQL::Column{"m.archive", "archive"}), sql.columns().back());
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("m", sql.joins()[0].alias);
}

TEST(MongoDBBackupSet, IntegerColumnsAreTakenByPrintInt) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 12));
  EXPECT_TRUE(set.print_int(1, "arch_log_start", 100));
  EXPECT_TRUE(set.print_int(2, "arch_log_start_i", 101));
  EXPECT_TRUE(set.print_int(3, "arch_log_end", 200));
  EXPECT_TRUE(set.print_int(4, "arch_log_end_i", 201));
  EXPECT_TRUE(set.print_int(5, "archive", 1));
  EXPECT_EQ(12u, set.seq);
  EXPECT_EQ(100, set.arch_log_start);
  EXPECT_EQ(101, set.arch_log_start_i);
  EXPECT_EQ(200, set.arch_log_end);
  EXPECT_EQ(201, set.arch_log_end_i);
  EXPECT_TRUE(set.archive);
}

TEST(MongoDBBackupSet, LogNumbersKeepTheFullSignedRange) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "arch_log_start", LLONG_MIN));
  EXPECT_TRUE(set.print_int(0, "arch_log_start_i", LLONG_MAX));
  EXPECT_TRUE(set.print_int(0, "arch_log_end", -2));
  EXPECT_TRUE(set.print_int(0, "arch_log_end_i", 4294967296LL));
  EXPECT_EQ(LLONG_MIN, set.arch_log_start);
  EXPECT_EQ(LLONG_MAX, set.arch_log_start_i);
  EXPECT_EQ(-2, set.arch_log_end);
  EXPECT_EQ(4294967296LL, set.arch_log_end_i);
}

TEST(MongoDBBackupSet, CatalogueSeqAboveThirtyTwoBitsKeepsTheLowBits) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL + 7));
  EXPECT_EQ(7u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_EQ(R"("seq":4294967295,"archive":false,"backup_files":[]})", own_keys(set, ""));
}

TEST(MongoDBBackupSet, ArchiveFromAnIntegerIsAnyNonZeroValue) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "archive", 2));
  EXPECT_TRUE(set.archive);
  EXPECT_TRUE(set.print_int(0, "archive", 0));
  EXPECT_FALSE(set.archive);
  EXPECT_TRUE(set.print_int(0, "archive", -1));
  EXPECT_TRUE(set.archive);
  set.archive = false;
  // Not cut to 32 bits first: only the low bits are zero.
  EXPECT_TRUE(set.print_int(0, "archive", 1LL << 32));
  EXPECT_TRUE(set.archive);
}

TEST(MongoDBBackupSet, UnknownIntegerColumnGoesToTheBase) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 40));
  EXPECT_TRUE(set.print_int(0, "source_size", 5));
  EXPECT_TRUE(set.print_int(0, "first_scn", -3));
  EXPECT_TRUE(set.print_int(0, "last_scn", 9));
  EXPECT_EQ(1LL << 40, set.size);
  EXPECT_EQ(5, set.source_size);
  EXPECT_EQ(-3, set.first_scn);
  EXPECT_EQ(9, set.last_scn);
  EXPECT_EQ(0u, set.seq);
}

TEST(MongoDBBackupSet, UnknownIntegerColumnOfNoOneIsAcceptedAndIgnored) {
  MongoDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "original_size", 5));
  EXPECT_TRUE(set.print_int(0, "Seq", 5));
  EXPECT_TRUE(set.print_int(0, "arch_log", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, TextColumnsAreAllTheBases) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "host", "mongo-1"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("mongo-1", set.host);
  EXPECT_EQ(1700000000, set.backup_start_time);
}

TEST(MongoDBBackupSet, OwnKeysAsTextAreNotTaken) {
  MongoDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(cstr(set, "arch_log_start", "1"));
  EXPECT_TRUE(cstr(set, "arch_log_end", "2"));
  EXPECT_TRUE(cstr(set, "archive", "true"));
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(-1, set.arch_log_start);
  EXPECT_EQ(-1, set.arch_log_end);
  EXPECT_FALSE(set.archive);
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, ArchiveIsNotTakenFromABoolColumn) {
  MongoDB_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "archive", true), set.print_bool(0, "archive", true));
  EXPECT_TRUE(set.print_bool(0, "archive", true));
  EXPECT_TRUE(set.print_bool(0, "other", true));
  EXPECT_FALSE(set.archive);
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, UnsignedValuesAreAcceptedAndIgnored) {
  MongoDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_TRUE(set.print_uint(0, "arch_log_start", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, JsonColumnsAreTheBases) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"sysname", Value("Linux")}})));
  EXPECT_EQ((Object{{"sysname", Value("Linux")}}), set.uname);
  std::string const before = document_of(set);
  // The files are written, never read back.
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"database", Value("x")}})})));
  EXPECT_TRUE(set.print_json(0, "seq", Value(5)));
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(0u, set.seq);
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  MongoDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 2, "mongodb_backup_set.cpp");
  capture.clear();
  // The operations the kind leaves to the base are refused there.
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 4, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(MongoDBBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  MongoDB_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "extended_attrs"));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  EXPECT_TRUE(p.print_int(1, "arch_log_start", 5));
  EXPECT_TRUE(p.print_int(2, "archive", 1));
  EXPECT_TRUE(p.print_int(3, "size", 5));
  ASSERT_TRUE(p.start_array(4, "list"));
  EXPECT_TRUE(p.print_int(0, "arch_log_end_i", 5));
  ASSERT_TRUE(p.end_array());
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  EXPECT_EQ(5u, set.seq);
}

TEST(MongoDBBackupSet, OverridesAreReachedThroughThePrinterBase) {
  MongoDB_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(p.print_int(0, "arch_log_end", 77));
  EXPECT_TRUE(p.print_int(1, "archive", 3));
  EXPECT_TRUE(cstr(p, "agent", "mongo-agent"));
  EXPECT_EQ(77, set.arch_log_end);
  EXPECT_TRUE(set.archive);
  EXPECT_EQ("mongo-agent", set.agent);
  Log_Capture capture;
  EXPECT_FALSE(p.print_int(0, "", 1));
  expect_key_refusals(capture, 1, "mongodb_backup_set.cpp");
}

TEST(MongoDBBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  MongoDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 2));
  EXPECT_TRUE(set.print_int(0, "arch_log_start", 10));
  EXPECT_TRUE(set.print_int(0, "arch_log_end", 20));
  EXPECT_TRUE(set.print_int(0, "arch_log_start_i", 1));
  EXPECT_TRUE(set.print_int(0, "arch_log_end_i", 2));
  EXPECT_TRUE(set.print_int(0, "archive", 1));
  EXPECT_EQ(base_prefix("") +
                R"("seq":2,"arch_log_start":10,"arch_log_start_i":1,"arch_log_end":20,"arch_log_end_i":2,)"
                R"("archive":true,"backup_files":[]})",
            document_of(set));
}
