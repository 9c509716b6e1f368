#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/kingbase_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] = R"("seq":0,"backup_files":{}})";

// The refusals of the operations Kingbase leaves to Backup_Set name the
// base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

TEST(KingbaseBackupSet, DefaultDocumentIsBaseThenSeqAndEmptyFiles) {
  expect_default_document<Kingbase_Backup_Set>("kingbase", DEFAULT_KEYS);
}

TEST(KingbaseBackupSet, NewSetWritesSeqZeroAndAnEmptyObject) {
  Kingbase_Backup_Set set;
  EXPECT_EQ(DEFAULT_KEYS, own_keys(set, "kingbase"));
}

TEST(KingbaseBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Kingbase_Backup_Set set;
  set.seq = 4294967295u;
  set.backup_files["/data/base/1/1259"] = "1259.bak";
  set.backup_files["/data/global/pg_control"] = "C:\\bk\\\"ctl\"";
  set.backup_files["\xE6\x96\x87\xE4\xBB\xB6"] = "";  // two CJK characters
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("kingbase") +
                R"("seq":4294967295,"backup_files":{"/data/base/1/1259":"1259.bak",)"
                R"("/data/global/pg_control":"C:\\bk\\\"ctl\"",")"
                "\xE6\x96\x87\xE4\xBB\xB6"
                R"(":""}})",
            doc.text);
}

TEST(KingbaseBackupSet, FilesAreWrittenInAscendingKeyOrder) {
  Kingbase_Backup_Set set;
  set.backup_files["b"] = "2";
  set.backup_files["a"] = "1";
  EXPECT_EQ(R"("seq":0,"backup_files":{"a":"1","b":"2"}})", own_keys(set, "kingbase"));
}

TEST(KingbaseBackupSet, KeyOrderIsByteOrder) {
  Kingbase_Backup_Set set;
  set.backup_files["b"] = "";
  set.backup_files["B"] = "";
  set.backup_files["a10"] = "";
  set.backup_files["a9"] = "";
  EXPECT_EQ(R"("seq":0,"backup_files":{"B":"","a10":"","a9":"","b":""}})", own_keys(set, "kingbase"));
}

TEST(KingbaseBackupSet, CatalogueModuleIsKingbase) {
  expect_catalogue_module<Kingbase_Backup_Set>("kingbase");
  EXPECT_STREQ("Kingbase_Backup_Set", Kingbase_Backup_Set::kind().class_name());
  EXPECT_STREQ("kingbase_backup_set", Kingbase_Backup_Set::kind().table());
  EXPECT_STREQ("kb", Kingbase_Backup_Set::kind().alias());
}

TEST(KingbaseBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Kingbase_Backup_Set>();
  EXPECT_EQ(&Kingbase_Backup_Set::kind(), Backup_Set_Kinds::find("kingbase"));
}

TEST(KingbaseBackupSet, StatementAddsSeqThenTheJoin) {
  expect_statement_joins_its_table<Kingbase_Backup_Set>({{"kb.seq", "seq"}}, "kingbase_backup_set", "kb");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Kingbase_Backup_Set::kind().selection());
}

TEST(KingbaseBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Kingbase_Backup_Set>(1, {"kb.seq", "seq"}, "kb");
}

TEST(KingbaseBackupSet, SeqIsTakenByPrintInt) {
  Kingbase_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 17));
  EXPECT_EQ(17u, set.seq);
}

TEST(KingbaseBackupSet, SeqKeepsTheLow32Bits) {
  Kingbase_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL * 3 + 8));
  EXPECT_EQ(8u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
  EXPECT_EQ(R"("seq":4294967295,"backup_files":{}})", own_keys(set, "kingbase"));
}

TEST(KingbaseBackupSet, UnknownIntegerColumnGoesToTheBase) {
  Kingbase_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "last_scn", 99));
  EXPECT_EQ(99, set.last_scn);
  EXPECT_EQ(0u, set.seq);
}

TEST(KingbaseBackupSet, TextColumnsAreAllTheBases) {
  Kingbase_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "kb-full"));
  EXPECT_TRUE(cstr(set, "instance_version", "V8R6"));
  EXPECT_TRUE(cstr(set, "first_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("kb-full", set.name);
  EXPECT_EQ("V8R6", set.instance_version);
  EXPECT_EQ(1700000000, set.first_time);
}

TEST(KingbaseBackupSet, TextColumnTakesNoKeyOfItsOwn) {
  Kingbase_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(cstr(set, "backup_files", R"({"a":"b"})"));
  EXPECT_TRUE(cstr(set, "a", "b"));
  EXPECT_EQ(0u, set.seq);
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(KingbaseBackupSet, FilesAreNeverReadBack) {
  Kingbase_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Object{{"a", Value("b")}})));
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Object{{"db", Value("kb")}})));
  EXPECT_EQ((Object{{"db", Value("kb")}}), set.resource_tree);
}

TEST(KingbaseBackupSet, BoolAndUnsignedColumnsChangeNothing) {
  Kingbase_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_bool(0, "seq", true));
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(KingbaseBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Kingbase_Backup_Set set;
  std::string const before = document_of(set);
  // print_cstr takes no key, but the guards are its own.
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 4, "kingbase_backup_set.cpp");
  capture.clear();
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 1, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(KingbaseBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Kingbase_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_array(0, "storages"));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  ASSERT_TRUE(p.start_map(1, ""));
  EXPECT_TRUE(p.print_int(0, "seq", 6));
  ASSERT_TRUE(p.end_map());
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_int(0, "seq", 7));
  EXPECT_EQ(7u, set.seq);
}

TEST(KingbaseBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Kingbase_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(p.print_int(0, "seq", 3));
  EXPECT_TRUE(cstr(p, "uri", "kb://x"));
  EXPECT_EQ(3u, set.seq);
  EXPECT_EQ("kb://x", set.uri);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(p.print_int(0, nullptr, 1));
  expect_key_refusals(capture, 2, "kingbase_backup_set.cpp");
}
