#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/windows_bmr_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/json/secure_string.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Secure_String;
using json_spirit::Value;

namespace {

// What a set writes behind the base keys when nothing was filled and the
// three values the job must always give are false, false and 0.
char const DEFAULT_KEYS[] =
    R"("diskpart_set":{"diskpart_info":"","boot_code":"","module_version":"","action_type":0,"is_mbr_boot":false},)"
    R"("meta_file":"","system_version":"","firmware_type":"","install_dir":"","is_valid_data":false,"arch":"",)"
    R"("app_data_dir":"","extended_attrs":"","backup_files":[]})";

// Everything in front of "backup_files" for such a set.
char const LEADING[] =
    R"("diskpart_set":{"diskpart_info":"","boot_code":"","module_version":"","action_type":0,"is_mbr_boot":false},)"
    R"("meta_file":"","system_version":"","firmware_type":"","install_dir":"","is_valid_data":false,"arch":"",)"
    R"("app_data_dir":"","extended_attrs":"",)";

// A set with the three values that have no default given.
struct Ready_Set : Windows_BMR_Backup_Set {
  Ready_Set() {
    is_valid_data = false;
    is_mbr_boot = false;
    action_type = 0;
  }
};

// Runs generate on a generator that is freed also when generate throws.
bool generate_on_fresh_generator(Windows_BMR_Backup_Set& set) {
  std::unique_ptr<yajl_gen_t, decltype(&yajl_gen_free)> gen(yajl_gen_alloc(nullptr), &yajl_gen_free);
  return set.generate(gen.get());
}

// The refusals of the operations the kind leaves to Backup_Set name the
// base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(WindowsBMRBackupSet, DefaultDocumentIsBaseThenDiskpartSetThenOwnKeys) {
  Ready_Set set;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("windows_bmr") + DEFAULT_KEYS, doc.text);
}

TEST(WindowsBMRBackupSet, FreshSetHasEmptyTextsAndNoFiles) {
  Windows_BMR_Backup_Set set;
  EXPECT_EQ("", set.meta_file);
  EXPECT_EQ("", set.system_version);
  EXPECT_EQ("", set.arch);
  EXPECT_EQ("", set.firmware_type);
  EXPECT_EQ("", set.install_dir);
  EXPECT_TRUE(set.backup_files.empty());
  EXPECT_EQ("", set.app_data_dir);
  EXPECT_EQ("", set.extended_attrs);
  EXPECT_EQ("", set.boot_code);
  EXPECT_EQ("", set.diskpart_info);
  EXPECT_EQ("", set.module_version);
}

TEST(WindowsBMRBackupSet, FilledDocumentHasEveryKeyInOrder) {
  Windows_BMR_Backup_Set set;
  set.diskpart_info = "select disk 0\nclean";
  set.boot_code = "EB52\\90";
  set.module_version = "2.1";
  set.action_type = INT_MIN;
  set.is_mbr_boot = true;
  set.meta_file = "C:\\bmr\\meta.xml";
  set.system_version = "10.0.17763";
  set.firmware_type = "UEFI";
  set.install_dir = "C:\\Windows";
  set.is_valid_data = true;
  set.arch = "x64";
  set.app_data_dir = "C:/ProgramData/\xE5\xA4\x87";  // one CJK character
  set.extended_attrs = R"({"k":1})";
  set.backup_files.push_back(Value(Object{{"name", Value("boot.wim")},
                                          {"size", Value(UINT64_MAX)},
                                          {"offset", Value(LLONG_MIN)},
                                          {"owner", Value("\"sys\"")},
                                          {"flags", Value(true)},
                                          {"nested", Value(Object{{"a", Value("b")}})},
                                          {"list", Value(Array{Value(1)})},
                                          {"nul", Value()},
                                          {"ratio", Value(0.25)},
                                          {"secret", Value(Secure_String("pw"))}}));
  set.backup_files.push_back(Value(Object()));
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("windows_bmr") +
                R"("diskpart_set":{"diskpart_info":"select disk 0\nclean","boot_code":"EB52\\90",)"
                R"("module_version":"2.1","action_type":-2147483648,"is_mbr_boot":true},)"
                R"("meta_file":"C:\\bmr\\meta.xml","system_version":"10.0.17763","firmware_type":"UEFI",)"
                R"("install_dir":"C:\\Windows","is_valid_data":true,"arch":"x64","app_data_dir":"C:/ProgramData/)"
                "\xE5\xA4\x87"
                R"(","extended_attrs":"{\"k\":1}","backup_files":[)"
                R"({"name":"boot.wim","offset":-9223372036854775808,"owner":"\"sys\"","size":18446744073709551615},)"
                R"({}]})",
            doc.text);
}

TEST(WindowsBMRBackupSet, DiskpartSetIsWrittenEvenWhenAllItsTextsAreEmpty) {
  Ready_Set set;
  set.meta_file = "m";
  std::string const keys = own_keys(set, "windows_bmr");
  EXPECT_EQ(0u, keys.find(R"("diskpart_set":{"diskpart_info":"","boot_code":"","module_version":"",)"
                          R"("action_type":0,"is_mbr_boot":false},"meta_file":"m",)"))
      << keys;
}

TEST(WindowsBMRBackupSet, ActionTypeKeepsTheSigned32BitRange) {
  Ready_Set set;
  set.action_type = INT_MAX;
  EXPECT_NE(std::string::npos, own_keys(set, "windows_bmr").find(R"("action_type":2147483647,)"));
  set.action_type = -1;
  EXPECT_NE(std::string::npos, own_keys(set, "windows_bmr").find(R"("action_type":-1,)"));
}

TEST(WindowsBMRBackupSet, DocumentCarriesExtendedAttrsTwiceBaseObjectFirst) {
  Ready_Set set;
  set.Backup_Set::extended_attrs = Object{{"base", Value("object")}};
  set.extended_attrs = "kind text";
  Backup_Set base("windows_bmr");
  base.extended_attrs = Object{{"base", Value("object")}};
  std::string expected = document_of(base);
  expected.pop_back();
  expected += ",";
  expected += R"("diskpart_set":{"diskpart_info":"","boot_code":"","module_version":"","action_type":0,)"
              R"("is_mbr_boot":false},"meta_file":"","system_version":"","firmware_type":"","install_dir":"",)"
              R"("is_valid_data":false,"arch":"","app_data_dir":"","extended_attrs":"kind text","backup_files":[]})";
  std::string const doc = document_of(set);
  EXPECT_EQ(expected, doc);
  EXPECT_EQ(2u, occurrences(doc, R"("extended_attrs":)"));
  size_t const object = doc.find(R"("extended_attrs":{"base":"object"})");
  size_t const text = doc.find(R"("extended_attrs":"kind text")");
  ASSERT_NE(std::string::npos, object);
  ASSERT_NE(std::string::npos, text);
  EXPECT_LT(object, text);
}

TEST(WindowsBMRBackupSet, DefaultDocumentAlreadyCarriesBothExtendedAttrs) {
  Ready_Set set;
  std::string const doc = document_of(set);
  EXPECT_EQ(2u, occurrences(doc, R"("extended_attrs":)"));
  EXPECT_LT(doc.find(R"("extended_attrs":{})"), doc.find(R"("extended_attrs":"")"));
}

TEST(WindowsBMRBackupSet, FileElementKeepsOnlyTextAndIntegerMembers) {
  Ready_Set set;
  set.backup_files.push_back(
      Value(Object{{"name", Value("a")}, {"size", Value(5)}, {"hidden", Value(true)}, {"ratio", Value(0.5)}}));
  EXPECT_EQ(std::string(LEADING) + R"("backup_files":[{"name":"a","size":5}]})", own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, SecureTextNullObjectAndArrayMembersAreDropped) {
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"a_secret", Value(Secure_String("pw"))},
                                          {"b_null", Value()},
                                          {"c_object", Value(Object{{"x", Value("y")}})},
                                          {"d_array", Value(Array{Value("x")})},
                                          {"e_false", Value(false)},
                                          {"path", Value("C:\\f")}}));
  EXPECT_EQ(std::string(LEADING) + R"("backup_files":[{"path":"C:\\f"}]})", own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, ElementOfOnlyDroppedMembersIsAnEmptyObject) {
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"hidden", Value(true)}, {"ratio", Value(1.5)}}));
  EXPECT_EQ(std::string(LEADING) + R"("backup_files":[{}]})", own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, MembersAreWrittenInAscendingNameOrder) {
  Ready_Set set;
  Object members;
  members.emplace("zeta", Value("z"));
  members.emplace("alpha", Value(1));
  members.emplace("Mid", Value("m"));
  members.emplace("beta", Value(-2));
  set.backup_files.push_back(Value(members));
  EXPECT_EQ(std::string(LEADING) + R"("backup_files":[{"Mid":"m","alpha":1,"beta":-2,"zeta":"z"}]})",
            own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, IntegersAreWrittenSignedOrUnsignedAsTheValueHoldsThem) {
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"a", Value(UINT64_MAX)},
                                          {"b", Value(LLONG_MIN)},
                                          {"c", Value(LLONG_MAX)},
                                          {"d", Value(-1)},
                                          {"e", Value(0ULL)}}));
  EXPECT_EQ(std::string(LEADING) +
                R"("backup_files":[{"a":18446744073709551615,"b":-9223372036854775808,"c":9223372036854775807,)"
                R"("d":-1,"e":0}]})",
            own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, ElementsAreWrittenInOrder) {
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"name", Value("z")}}));
  set.backup_files.push_back(Value(Object{{"name", Value("a")}}));
  set.backup_files.push_back(Value(Object{{"name", Value("z")}}));
  EXPECT_EQ(std::string(LEADING) + R"("backup_files":[{"name":"z"},{"name":"a"},{"name":"z"}]})",
            own_keys(set, "windows_bmr"));
}

TEST(WindowsBMRBackupSet, EmptyBackupFilesIsWrittenAsEmptyArray) {
  Ready_Set set;
  set.meta_file = "meta";
  std::string const keys = own_keys(set, "windows_bmr");
  EXPECT_EQ(keys.size() - std::string(R"("backup_files":[]})").size(), keys.find(R"("backup_files":[]})"))
      << keys;
}

TEST(WindowsBMRBackupSet, ElementThatIsNotAnObjectMakesGenerateThrow) {
  for (Value const& bad : {Value("file.txt"), Value(5), Value(Array{Value("x")}), Value(), Value(true)}) {
    Ready_Set set;
    set.backup_files.push_back(Value(Object{{"name", Value("ok")}}));
    set.backup_files.push_back(bad);
    EXPECT_THROW(generate_on_fresh_generator(set), std::runtime_error);
  }
}

TEST(WindowsBMRBackupSet, GenerateDoesNotChangeTheRecord) {
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"name", Value("a")}, {"hidden", Value(true)}}));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  ASSERT_EQ(1u, set.backup_files.size());
  EXPECT_EQ(2u, set.backup_files[0].get_obj().size());
}

// ---- module and registry ----------------------------------------------------

TEST(WindowsBMRBackupSet, CatalogueModuleIsWindowsBmr) {
  expect_kind_names<Windows_BMR_Backup_Set>("windows_bmr", "Windows_BMR_Backup_Set", nullptr);
}

TEST(WindowsBMRBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<Windows_BMR_Backup_Set>("windows_bmr");
}

// ---- statement --------------------------------------------------------------

TEST(WindowsBMRBackupSet, SelectPreparedThroughThisClassIsUnchanged) {
  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  sql.join("t", "t", "uuid=t.set_uuid");
  std::vector<Select_SQL::Column> const columns = sql.columns();
  std::string const text = sql.text(Dialect::SQLite);
  Windows_BMR_Backup_Set::init_select_sql(sql, "w");
  EXPECT_EQ(columns, sql.columns());
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ("b", sql.from_alias());
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("t", sql.joins()[0].table);
  EXPECT_EQ(text, sql.text(Dialect::SQLite));
}

TEST(WindowsBMRBackupSet, EmptySelectGetsNoColumnsNotEvenTheBases) {
  Select_SQL sql("x", "y");
  Windows_BMR_Backup_Set::init_select_sql(sql, "b");
  EXPECT_TRUE(sql.columns().empty());
  EXPECT_TRUE(sql.joins().empty());
  EXPECT_EQ("x", sql.from_table());
  EXPECT_EQ("y", sql.from_alias());
}

// ---- intake -----------------------------------------------------------------

TEST(WindowsBMRBackupSet, TextColumnOfAnyKeyChangesNothing) {
  Log_Capture capture;
  Ready_Set set;
  std::string const before = document_of(set);
  for (char const* key : {"meta_file", "system_version", "arch", "extended_attrs", "diskpart_info", "name", "uuid",
                          "host", "backup_start_time", "agent", "no_such_column", ""}) {
    EXPECT_TRUE(cstr(set, key, "2023-11-14 22:13:20")) << key;
  }
  EXPECT_TRUE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_TRUE(set.print_cstr(0, "name", nullptr, 0));
  EXPECT_EQ("", set.meta_file);
  EXPECT_EQ("", set.name);
  EXPECT_EQ("", set.uuid);
  EXPECT_EQ(0, set.backup_start_time);
  EXPECT_EQ(before, document_of(set));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST(WindowsBMRBackupSet, TextColumnIsAcceptedThroughThePrinterBaseAndInsideNestedValues) {
  Log_Capture capture;
  Ready_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(p, "name", "n"));
  EXPECT_TRUE(p.print_cstr(0, "", "x", 1));
  EXPECT_TRUE(p.print_cstr(0, nullptr, "x", 1));
  ASSERT_TRUE(p.start_map(0, "row"));
  EXPECT_TRUE(cstr(p, "arch", "x64"));
  EXPECT_TRUE(p.print_cstr(0, nullptr, "x", 1));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}

TEST(WindowsBMRBackupSet, IntegerAndJsonColumnsAreTheBases) {
  Ready_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 33));
  EXPECT_TRUE(set.print_int(0, "action_type", 7));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_TRUE(set.print_json(0, "backup_files", Value(Array{Value(Object{{"name", Value("x")}})})));
  EXPECT_EQ(1LL << 33, set.size);
  EXPECT_EQ(0, set.action_type);
  EXPECT_EQ((Object{{"k", Value("v")}}), set.Backup_Set::extended_attrs);
  EXPECT_EQ("", set.extended_attrs);
  EXPECT_TRUE(set.backup_files.empty());
}

TEST(WindowsBMRBackupSet, NullOrEmptyKeyOfTheBaseOperationsIsRefusedThere) {
  Log_Capture capture;
  Ready_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 4, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(WindowsBMRBackupSet, LogsNothingWhileWriting) {
  Log_Capture capture;
  Ready_Set set;
  set.backup_files.push_back(Value(Object{{"hidden", Value(true)}}));
  EXPECT_TRUE(generate_text(set).ok);
  EXPECT_EQ(0u, capture.size()) << capture.dump();
}
