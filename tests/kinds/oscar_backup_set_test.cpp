#include <algorithm>
#include <climits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oscar_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/json/secure_string.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] = R"("seq":0,"grade":"","backup_files":[],"tablespaces":[]})";

Oscar_Backup_File file(std::string database, std::string schema, std::string table, std::string name) {
  Oscar_Backup_File f;
  f.database = std::move(database);
  f.schema = std::move(schema);
  f.tablename = std::move(table);
  f.file = std::move(name);
  return f;
}

// The message generate throws with, or "" when it returns; the generator is
// freed on both paths.
std::string generate_error(Oscar_Backup_Set& set) {
  std::unique_ptr<yajl_gen_t, void (*)(yajl_gen_t*)> g(yajl_gen_alloc(nullptr), yajl_gen_free);
  try {
    set.generate(g.get());
  } catch (std::runtime_error const& e) {
    return e.what();
  }
  return std::string();
}

}  // namespace

TEST(OscarBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<Oscar_Backup_Set>("oscar", DEFAULT_KEYS);
}

TEST(OscarBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Oscar_Backup_Set set;
  set.seq = 4294967295u;
  set.grade = "\"A\"";
  set.backup_files.push_back(file("osrdb", "public", "orders", "/bk/orders.dmp"));
  set.backup_files.push_back(file("", "\xE6\xA8\xA1\xE5\xBC\x8F", "t\\1", ""));  // two CJK characters
  set.tablespaces = Array{Value("system"), Value("users \"x\""), Value("")};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oscar") +
                R"("seq":4294967295,"grade":"\"A\"","backup_files":[)"
                R"({"database":"osrdb","file":"/bk/orders.dmp","schema":"public","tablename":"orders"},)"
                R"({"database":"","file":"","schema":")"
                "\xE6\xA8\xA1\xE5\xBC\x8F"
                R"(","tablename":"t\\1"}],"tablespaces":["system","users \"x\"",""]})",
            doc.text);
}

TEST(OscarBackupSet, FileKeysAreWrittenDatabaseFileSchemaTablename) {
  Oscar_Backup_Set set;
  set.backup_files.push_back(file("D", "S", "T", "F"));
  EXPECT_EQ(R"("seq":0,"grade":"","backup_files":[{"database":"D","file":"F","schema":"S","tablename":"T"}],)"
            R"("tablespaces":[]})",
            own_keys(set, "oscar"));
}

TEST(OscarBackupSet, TablespaceThatIsNotAStringMakesGenerateThrow) {
  Oscar_Backup_Set set;
  set.tablespaces = Array{Value("system"), Value(7)};
  EXPECT_EQ("JSON value is integer, not string", generate_error(set));
  set.tablespaces = Array{Value(Object{{"name", Value("users")}})};
  EXPECT_EQ("JSON value is object, not string", generate_error(set));
  set.tablespaces = Array{Value()};
  EXPECT_EQ("JSON value is null, not string", generate_error(set));
  set.tablespaces = Array{Value(true)};
  EXPECT_THROW(document_of(set), std::runtime_error);
}

TEST(OscarBackupSet, SecureStringTablespaceIsNotAPlainStringEither) {
  Oscar_Backup_Set set;
  set.tablespaces = Array{Value(json_spirit::Secure_String("secret"))};
  EXPECT_EQ("JSON value is secure string, not string", generate_error(set));
}

TEST(OscarBackupSet, CatalogueModuleIsOscar) {
  expect_catalogue_module<Oscar_Backup_Set>("oscar");
  EXPECT_STREQ("Oscar_Backup_Set", Oscar_Backup_Set::kind().class_name());
  EXPECT_STREQ("oscar_backup_set", Oscar_Backup_Set::kind().table());
  EXPECT_STREQ("oscar", Oscar_Backup_Set::kind().alias());
}

TEST(OscarBackupSet, KindIsRegistered) {
  expect_listed_in_registry<Oscar_Backup_Set>();
  EXPECT_EQ(&Oscar_Backup_Set::kind(), Backup_Set_Kinds::find("oscar"));
}

TEST(OscarBackupSet, StatementAddsSeqAndTablespacesThenTheJoin) {
  expect_statement_joins_its_table<Oscar_Backup_Set>({{"oscar.seq", "seq"}, {"oscar.tablespaces", "tablespaces"}},
                                                     "oscar_backup_set", "oscar");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Oscar_Backup_Set::kind().selection());
}

TEST(OscarBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Oscar_Backup_Set>(2, {"oscar.seq", "seq"}, "oscar");
}

TEST(OscarBackupSet, GradeIsTakenByPrintCstr) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(cstr(set, "grade", "level-0"));
  EXPECT_EQ("level-0", set.grade);
  EXPECT_TRUE(set.print_cstr(0, "grade", "level-1", 5));
  EXPECT_EQ("level", set.grade);
}

TEST(OscarBackupSet, UnknownTextColumnGoesToTheBase) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "osr"));
  EXPECT_TRUE(cstr(set, "last_time", "2023-11-15 00:13:20"));
  EXPECT_EQ("osr", set.name);
  EXPECT_EQ(1700007200, set.last_time);
  EXPECT_EQ("", set.grade);
}

TEST(OscarBackupSet, SeqIsTakenByPrintIntKeepingTheLow32Bits) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 12));
  EXPECT_EQ(12u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", 4294967296LL + 12));
  EXPECT_EQ(12u, set.seq);
  EXPECT_TRUE(set.print_int(0, "seq", -1));
  EXPECT_EQ(4294967295u, set.seq);
}

TEST(OscarBackupSet, UnknownIntegerColumnGoesToTheBase) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "first_scn", 5));
  EXPECT_EQ(5, set.first_scn);
  EXPECT_EQ(0u, set.seq);
}

TEST(OscarBackupSet, TablespacesArrayIsTakenAndReplaced) {
  Oscar_Backup_Set set;
  set.tablespaces = Array{Value("old")};
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value(Array{Value("system"), Value("users")})));
  EXPECT_EQ((Array{Value("system"), Value("users")}), set.tablespaces);
  EXPECT_NE(std::string::npos, own_keys(set, "oscar").find(R"("tablespaces":["system","users"]})"));
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value(Array())));
  EXPECT_TRUE(set.tablespaces.empty());
}

TEST(OscarBackupSet, TablespacesHoldingAnObjectReachesTheBaseAndChangesNothing) {
  Oscar_Backup_Set set;
  set.tablespaces = Array{Value("keep")};
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value(Object{{"system", Value("x")}})));
  EXPECT_EQ((Array{Value("keep")}), set.tablespaces);
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, TablespacesOfAnyOtherTypeChangeNothing) {
  Oscar_Backup_Set set;
  set.tablespaces = Array{Value("keep")};
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value("system")));
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value()));
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value(3)));
  EXPECT_TRUE(cstr(set, "tablespaces", R"(["system"])"));
  EXPECT_EQ((Array{Value("keep")}), set.tablespaces);
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, OtherJsonKeysGoToTheBase) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ((Object{{"k", Value("v")}}), set.extended_attrs);
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"file", Value("f")}})})));
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, ValueOfTheWrongOperationForAnOwnKeyIsNotTaken) {
  Oscar_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "seq", "5"));
  EXPECT_TRUE(set.print_int(0, "grade", 5));
  EXPECT_TRUE(set.print_json(0, "grade", Value("g")));
  EXPECT_TRUE(set.print_json(0, "seq", Value(5)));
  EXPECT_TRUE(set.print_uint(0, "seq", 5));
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, UnknownBoolColumnAnswersAsThePrinterBase) {
  Oscar_Backup_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "grade", true), set.print_bool(0, "grade", true));
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Oscar_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Array())));
  EXPECT_FALSE(set.print_json(0, "", Value(Array())));
  expect_key_refusals(capture, 6, "oscar_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OscarBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Oscar_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "uname"));
  EXPECT_TRUE(cstr(p, "grade", "nested"));
  EXPECT_TRUE(p.print_int(0, "seq", 5));
  EXPECT_TRUE(p.print_json(0, "tablespaces", Value(Array{Value("nested")})));
  EXPECT_TRUE(p.print_json(0, "lsb", Value(Object{{"id", Value("x")}})));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(p.print_json(0, "tablespaces", Value(Array{Value("top")})));
  EXPECT_EQ((Array{Value("top")}), set.tablespaces);
}

TEST(OscarBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Oscar_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "grade", "g"));
  EXPECT_TRUE(p.print_int(0, "seq", 2));
  EXPECT_TRUE(p.print_json(0, "tablespaces", Value(Array{Value("t")})));
  EXPECT_EQ("g", set.grade);
  EXPECT_EQ(2u, set.seq);
  EXPECT_EQ((Array{Value("t")}), set.tablespaces);
  Log_Capture capture;
  EXPECT_FALSE(p.print_json(0, "", Value(Array())));
  expect_key_refusals(capture, 1, "oscar_backup_set.cpp");
}

TEST(OscarBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  Oscar_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "seq", 6));
  EXPECT_TRUE(cstr(set, "grade", "full"));
  EXPECT_TRUE(set.print_json(0, "tablespaces", Value(Array{Value("system"), Value("sysaux")})));
  EXPECT_EQ(base_prefix("oscar") +
                R"("seq":6,"grade":"full","backup_files":[],"tablespaces":["system","sysaux"]})",
            document_of(set));
}
