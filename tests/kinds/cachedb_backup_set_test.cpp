#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/cachedb_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] = R"("start_log":"","end_log":"","current_log":"","journal_dir":"","backup_files":[]})";

// generate on a generator that is freed also when generate throws.
void generate_on_own_generator(CacheDB_Backup_Set& set) {
  std::unique_ptr<yajl_gen_t, void (*)(yajl_gen_t*)> gen(yajl_gen_alloc(nullptr), yajl_gen_free);
  set.generate(gen.get());
}

}  // namespace

TEST(CacheDBBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<CacheDB_Backup_Set>("cachedb", DEFAULT_KEYS);
}

TEST(CacheDBBackupSet, FilledDocumentHasEveryKeyInOrder) {
  CacheDB_Backup_Set set;
  set.start_log = "20231114.001";
  set.end_log = "20231114.009";
  set.current_log = "cur \"log\"";
  set.journal_dir = "C:\\InterSystems\\journal\\\xC3\xA9";  // ends in e-acute
  set.backup_files.push_back(Value(Object{{"path", Value("/j/1")}, {"db", Value("\"x\"")}}));
  set.backup_files.push_back(Value(Object()));
  set.backup_files.push_back(Value(Object{{"z", Value("\xE2\x82\xAC")}}));  // euro sign
  EXPECT_EQ(base_prefix("cachedb") +
                R"("start_log":"20231114.001","end_log":"20231114.009","current_log":"cur \"log\"",)"
                R"("journal_dir":"C:\\InterSystems\\journal\\)"
                "\xC3\xA9"
                R"(","backup_files":[{"db":"\"x\"","path":"/j/1"},{},{"z":")"
                "\xE2\x82\xAC"
                R"("}]})",
            document_of(set));
}

TEST(CacheDBBackupSet, OneFileObjectIsWrittenBackExactly) {
  CacheDB_Backup_Set set;
  set.backup_files.push_back(Value(Object{{"file", Value("a")}}));
  std::string const text = document_of(set);
  std::string const tail = R"("journal_dir":"","backup_files":[{"file":"a"}]})";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST(CacheDBBackupSet, FilesAreWrittenInSequenceOrder) {
  CacheDB_Backup_Set set;
  set.backup_files.push_back(Value(Object{{"file", Value("b")}}));
  set.backup_files.push_back(Value(Object{{"file", Value("a")}}));
  EXPECT_NE(std::string::npos, document_of(set).find(R"("backup_files":[{"file":"b"},{"file":"a"}]})"));
}

TEST(CacheDBBackupSet, FileThatIsNotAnObjectMakesGenerateThrow) {
  CacheDB_Backup_Set set;
  set.backup_files.push_back(Value("a"));
  EXPECT_THROW(generate_on_own_generator(set), std::runtime_error);
  set.backup_files.front() = Value(Array{Value(Object{{"file", Value("a")}})});
  EXPECT_THROW(generate_on_own_generator(set), std::runtime_error);
}

TEST(CacheDBBackupSet, FileMemberThatIsNotAStringMakesGenerateThrow) {
  CacheDB_Backup_Set set;
  set.backup_files.push_back(Value(Object{{"file", Value("a")}, {"size", Value(5)}}));
  EXPECT_THROW(generate_on_own_generator(set), std::runtime_error);
  set.backup_files.front() = Value(Object{{"file", Value()}});
  EXPECT_THROW(generate_on_own_generator(set), std::runtime_error);
}

TEST(CacheDBBackupSet, ProducersFileMapIsNotWritten) {
  CacheDB_Backup_Set set;
  std::string const before = document_of(set);
  set.file_map["CACHE.DAT"] = "/backup/CACHE.DAT";
  EXPECT_EQ(before, document_of(set));
  EXPECT_EQ(std::string::npos, before.find("CACHE.DAT"));
}

TEST(CacheDBBackupSet, TextColumnsAreStoredByPrintCstr) {
  CacheDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "start_log", "s"));
  EXPECT_TRUE(cstr(set, "end_log", "e"));
  EXPECT_TRUE(cstr(set, "current_log", "c"));
  EXPECT_TRUE(cstr(set, "journal_dir", "/j"));
  EXPECT_EQ("s", set.start_log);
  EXPECT_EQ("e", set.end_log);
  EXPECT_EQ("c", set.current_log);
  EXPECT_EQ("/j", set.journal_dir);
}

TEST(CacheDBBackupSet, TextColumnTakesOnlyGivenLength) {
  CacheDB_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "journal_dir", "/journal/x", 8));
  EXPECT_EQ("/journal", set.journal_dir);
  EXPECT_TRUE(set.print_cstr(0, "start_log", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.start_log);
}

TEST(CacheDBBackupSet, UnknownTextColumnGoesToTheBase) {
  CacheDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "cache-full"));
  EXPECT_TRUE(cstr(set, "uuid", "u-4"));
  EXPECT_TRUE(cstr(set, "last_time", "2023-11-14 23:13:20"));
  EXPECT_EQ("cache-full", set.name);
  EXPECT_EQ("u-4", set.uuid);
  EXPECT_EQ(1700003600, set.last_time);
}

TEST(CacheDBBackupSet, BackupFilesAreNotTakenFromARow) {
  CacheDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"file", Value("a")}})})));
  EXPECT_TRUE(cstr(set, "backup_files", R"([{"file":"a"}])"));
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(CacheDBBackupSet, OtherValueTypesGoToTheBase) {
  CacheDB_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "start_log", 5));
  EXPECT_EQ("", set.start_log);
  EXPECT_TRUE(set.print_int(0, "size", 5));
  EXPECT_EQ(5, set.size);
  EXPECT_TRUE(set.print_json(0, "uname", Value(Object{{"sysname", Value("AIX")}})));
  EXPECT_EQ((Object{{"sysname", Value("AIX")}}), set.uname);
}

TEST(CacheDBBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  CacheDB_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  expect_key_refusals(capture, 2, "cachedb_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(CacheDBBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  CacheDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_map(0, "row");
  EXPECT_TRUE(printer.print_cstr(0, "start_log", "s", 1));
  EXPECT_TRUE(printer.print_cstr(0, "name", "n", 1));
  printer.end_map();
  EXPECT_EQ("", set.start_log);
  EXPECT_EQ("", set.name);
  EXPECT_TRUE(printer.print_cstr(0, "start_log", "s", 1));
  EXPECT_EQ("s", set.start_log);
}

TEST(CacheDBBackupSet, OverridesAreReachedThroughThePrinterBase) {
  CacheDB_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "current_log", "cur", 3));
  EXPECT_EQ("cur", set.current_log);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_cstr(0, nullptr, "x", 1));
  expect_key_refusals(capture, 1, "cachedb_backup_set.cpp");
}

TEST(CacheDBBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  CacheDB_Backup_Set set;
  EXPECT_TRUE(cstr(set, "start_log", "S"));
  EXPECT_TRUE(cstr(set, "end_log", "E"));
  EXPECT_TRUE(cstr(set, "current_log", "C"));
  EXPECT_TRUE(cstr(set, "journal_dir", "J"));
  EXPECT_EQ(base_prefix("cachedb") +
                R"("start_log":"S","end_log":"E","current_log":"C","journal_dir":"J","backup_files":[]})",
            document_of(set));
}

TEST(CacheDBBackupSet, StatementAddsFourColumnsThenTheJoin) {
  expect_statement_joins_its_table<CacheDB_Backup_Set>({{"c.start_log", "start_log"},
                                                        {"c.end_log", "end_log"},
                                                        {"c.current_log", "current_log"},
                                                        {"c.journal_dir", "journal_dir"}},
                                                       "cachedb_backup_set", "c");
  // The join follows the kind's columns.
  EXPECT_EQ(Backup_Set_Kind::JOIN, CacheDB_Backup_Set::kind().selection());
}

TEST(CacheDBBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<CacheDB_Backup_Set>(4, {"c.start_log", "start_log"}, "c");
}

TEST(CacheDBBackupSet, CatalogueModuleIsCachedb) {
  expect_catalogue_module<CacheDB_Backup_Set>("cachedb");
  EXPECT_STREQ("CacheDB_Backup_Set", CacheDB_Backup_Set::kind().class_name());
  EXPECT_STREQ("cachedb_backup_set", CacheDB_Backup_Set::kind().table());
  EXPECT_STREQ("c", CacheDB_Backup_Set::kind().alias());
}

TEST(CacheDBBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<CacheDB_Backup_Set>();
  EXPECT_EQ(&CacheDB_Backup_Set::kind(), Backup_Set_Kinds::find("cachedb"));
}
