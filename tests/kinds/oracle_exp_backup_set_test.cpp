#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oracle_exp_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] = R"("exp_type":"","exp_mode":"","object_name":"","database":""})";

struct Text_Key {
  char const* key;
  std::string Oracle_Exp_Backup_Set::*field;
};

Text_Key const TEXT_KEYS[] = {
    {"exp_type", &Oracle_Exp_Backup_Set::exp_type},
    {"exp_mode", &Oracle_Exp_Backup_Set::exp_mode},
    {"object_name", &Oracle_Exp_Backup_Set::object_name},
    {"database", &Oracle_Exp_Backup_Set::database},
};

Columns const OWN_COLUMNS = {
    {"o.exp_type", "exp_type"},
    {"o.exp_mode", "exp_mode"},
    {"o.object_name", "object_name"},
    {"o.database", "database"},
};

}  // namespace

// ---- document -------------------------------------------------------------

TEST(OracleExpBackupSet, DefaultDocumentWritesTheFourStringsEmpty) {
  expect_default_document<Oracle_Exp_Backup_Set>("oracle_exp", DEFAULT_KEYS);
}

TEST(OracleExpBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Oracle_Exp_Backup_Set set;
  set.exp_type = "expdp";
  set.exp_mode = "schema";
  set.object_name = "SCOTT.\"EMP\"\\1";
  set.database = "\xD0\xB1\xD0\xB0\xD0\xB7\xD0\xB0";  // Cyrillic "base"
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oracle_exp") +
                R"("exp_type":"expdp","exp_mode":"schema","object_name":"SCOTT.\"EMP\"\\1","database":")"
                "\xD0\xB1\xD0\xB0\xD0\xB7\xD0\xB0"
                R"("})",
            doc.text);
}

TEST(OracleExpBackupSet, EachStringIsWrittenAlsoWhenOnlyItIsSet) {
  for (Text_Key const& t : TEXT_KEYS) {
    Oracle_Exp_Backup_Set set;
    set.*t.field = "v";
    std::string const keys = own_keys(set, "oracle_exp");
    EXPECT_EQ(4u, occurrences(keys, "\":\"")) << keys;
    EXPECT_NE(std::string::npos, keys.find(std::string("\"") + t.key + "\":\"v\"")) << keys;
  }
}

// ---- print_cstr -----------------------------------------------------------

TEST(OracleExpBackupSet, TextColumnsAreTaken) {
  Oracle_Exp_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(cstr(set, t.key, std::string("v-") + t.key)) << t.key;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ(std::string("v-") + t.key, set.*t.field) << t.key;
  EXPECT_EQ(base_prefix("oracle_exp") +
                R"("exp_type":"v-exp_type","exp_mode":"v-exp_mode","object_name":"v-object_name",)"
                R"("database":"v-database"})",
            document_of(set));
}

TEST(OracleExpBackupSet, TextColumnTakesOnlyGivenLength) {
  Oracle_Exp_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "object_name", "SCOTT.EMP", 5));
  EXPECT_EQ("SCOTT", set.object_name);
  EXPECT_TRUE(set.print_cstr(0, "exp_mode", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.exp_mode);
}

TEST(OracleExpBackupSet, UnknownTextColumnGoesToTheBase) {
  Oracle_Exp_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "export"));
  EXPECT_TRUE(cstr(set, "instance", "orcl"));
  EXPECT_TRUE(cstr(set, "first_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("export", set.name);
  EXPECT_EQ("orcl", set.instance);
  EXPECT_EQ(1700000000, set.first_time);
  EXPECT_EQ("", set.database);
}

// ---- inherited operations -------------------------------------------------

TEST(OracleExpBackupSet, IntegerColumnsGoToTheBase) {
  Oracle_Exp_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 2048));
  EXPECT_EQ(2048, set.size);
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "exp_type", 1));
  EXPECT_EQ(before, document_of(set));
}

TEST(OracleExpBackupSet, BaseJsonColumnsAreFilled) {
  Oracle_Exp_Backup_Set set;
  Object const obj{{"k", Value("v")}};
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "uname", Value(obj)));
  EXPECT_TRUE(set.print_json(0, "lsb", Value(obj)));
  EXPECT_EQ(obj, set.extended_attrs);
  EXPECT_EQ(obj, set.resource_tree);
  EXPECT_EQ(obj, set.uname);
  EXPECT_EQ(obj, set.lsb);
}

TEST(OracleExpBackupSet, UnsignedAndFlagColumnsAreAcceptedAndIgnored) {
  Oracle_Exp_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "size", 7));
  EXPECT_TRUE(set.print_bool(0, "size", true));
  EXPECT_TRUE(set.print_bool(0, "exp_type", true));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(before, document_of(set));
}

// ---- guards ---------------------------------------------------------------

TEST(OracleExpBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Oracle_Exp_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  expect_key_refusals(capture, 2, "oracle_exp_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(OracleExpBackupSet, NullOrEmptyKeyOfInheritedOperationsIsRefusedByTheBase) {
  Log_Capture capture;
  Oracle_Exp_Backup_Set set;
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 4, "backup_set.cpp");
  for (auto const& record : capture.records())
    EXPECT_EQ(std::string::npos, record.text.find("oracle_exp_backup_set.cpp")) << record.text;
}

TEST(OracleExpBackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  Oracle_Exp_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "storages");
  printer.start_map(0, "");
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(printer.print_cstr(0, t.key, "inner", 5)) << t.key;
  printer.end_map();
  EXPECT_TRUE(printer.print_cstr(0, "database", "inner", 5));
  printer.end_array();
  EXPECT_EQ(base_prefix("oracle_exp") + DEFAULT_KEYS, document_of(set));
  EXPECT_TRUE(printer.print_cstr(0, "database", "TOP", 3));
  EXPECT_EQ("TOP", set.database);
}

TEST(OracleExpBackupSet, OverridesAreReachedThroughThePrinterBase) {
  Oracle_Exp_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "exp_type", "exp", 3));
  EXPECT_EQ("exp", set.exp_type);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_cstr(0, "", "x", 1));
  expect_key_refusals(capture, 1, "oracle_exp_backup_set.cpp");
}

// ---- statement ------------------------------------------------------------

TEST(OracleExpBackupSet, StatementAddsFourColumnsThenTheJoin) {
  expect_statement_joins_its_table<Oracle_Exp_Backup_Set>(OWN_COLUMNS, "oracle_exp_backup_set", "o");
  EXPECT_EQ(Backup_Set_Kind::JOIN, Oracle_Exp_Backup_Set::kind().selection());
}

TEST(OracleExpBackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<Oracle_Exp_Backup_Set>(4, {"o.exp_type", "exp_type"}, "o");
  Select_SQL sql("x", "y");
  Oracle_Exp_Backup_Set::init_select_sql(sql, "bs");
  EXPECT_EQ(OWN_COLUMNS, own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("oracle_exp_backup_set", sql.joins()[0].table);
  EXPECT_EQ("o", sql.joins()[0].alias);
}

// ---- kind -----------------------------------------------------------------

TEST(OracleExpBackupSet, CatalogueModuleIsOracleExp) {
  expect_catalogue_module<Oracle_Exp_Backup_Set>("oracle_exp");
  EXPECT_STREQ("Oracle_Exp_Backup_Set", Oracle_Exp_Backup_Set::kind().class_name());
  EXPECT_STREQ("oracle_exp_backup_set", Oracle_Exp_Backup_Set::kind().table());
  EXPECT_STREQ("o", Oracle_Exp_Backup_Set::kind().alias());
}

TEST(OracleExpBackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<Oracle_Exp_Backup_Set>();
  EXPECT_EQ(&Oracle_Exp_Backup_Set::kind(), Backup_Set_Kinds::find("oracle_exp"));
}
