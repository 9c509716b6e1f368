#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/hana_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("lifeline":"","sid":"","system_version":"","instance_num":0,"instance_name":"",)"
    R"("extended_attrs":"","database":"","database_backup_id":0,"files":[]})";

HANA_Backup_Set::Backup_File file(std::string id, std::string origin, std::string name, unsigned long long size,
                                  std::string source, std::string storage) {
  HANA_Backup_Set::Backup_File f;
  f.extern_backup_id = std::move(id);
  f.origin_path = std::move(origin);
  f.filename = std::move(name);
  f.size = size;
  f.source_type = std::move(source);
  f.storage_path = std::move(storage);
  return f;
}

// What generate_files writes for `files` on a generator of its own.
std::string files_text(HANA_Backup_Set const& set, std::vector<HANA_Backup_Set::Backup_File> const& files) {
  std::unique_ptr<yajl_gen_t, void (*)(yajl_gen_t*)> raw(yajl_gen_alloc(nullptr), yajl_gen_free);
  YAJL_Gen gen(raw.get(), false);
  set.generate_files(gen, files);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(raw.get(), &buf, &len);
  return std::string(reinterpret_cast<char const*>(buf), len);
}

// The type of the file list generate_files takes, whatever its constness.
template <typename C, typename G, typename L>
L files_parameter(void (C::*)(G, L) const);
template <typename C, typename G, typename L>
L files_parameter(void (C::*)(G, L));

}  // namespace

TEST(HANABackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<HANA_Backup_Set>("hana", DEFAULT_KEYS);
}

TEST(HANABackupSet, FilledDocumentHasEveryKeyInOrder) {
  HANA_Backup_Set set;
  set.lifeline = "lifeline-7";
  set.sid = "H\"D\\B";
  set.system_version = "2.00.059.00";
  set.instance_num = 18446744073709551615ULL;
  set.instance_name = "\xE5\xAE\x9E\xE4\xBE\x8B";  // two CJK characters
  set.extended_attrs = R"({"k":1})";
  set.database = "SYSTEMDB";
  set.database_backup_id = 4294967296ULL;
  set.files.push_back(file("EBID_1", "/hana/data/1", "f1", 18446744073709551615ULL, "volume", "/pool/1"));
  set.files.push_back(file("", "", "f\"2", 0, "", ""));
  EXPECT_EQ(base_prefix("hana") +
                R"("lifeline":"lifeline-7","sid":"H\"D\\B","system_version":"2.00.059.00",)"
                R"("instance_num":18446744073709551615,"instance_name":")"
                "\xE5\xAE\x9E\xE4\xBE\x8B"
                R"(","extended_attrs":"{\"k\":1}","database":"SYSTEMDB","database_backup_id":4294967296,)"
                R"("files":[{"extern_backup_id":"EBID_1","origin_path":"/hana/data/1","filename":"f1",)"
                R"("size":18446744073709551615,"source_type":"volume","storage_path":"/pool/1"},)"
                R"({"extern_backup_id":"","origin_path":"","filename":"f\"2","size":0,"source_type":"",)"
                R"("storage_path":""}]})",
            document_of(set));
}

TEST(HANABackupSet, ExtendedAttrsKeyIsWrittenTwiceBaseObjectFirst) {
  HANA_Backup_Set set;
  set.Backup_Set::extended_attrs["e"] = Value(1);
  set.extended_attrs = "own text";
  std::string const text = document_of(set);
  std::string const base_key = R"("extended_attrs":{"e":1})";
  std::string const own_key = R"("extended_attrs":"own text")";
  size_t const base_at = text.find(base_key);
  size_t const own_at = text.find(own_key);
  ASSERT_NE(std::string::npos, base_at) << text;
  ASSERT_NE(std::string::npos, own_at) << text;
  EXPECT_LT(base_at, own_at);
  EXPECT_NE(std::string::npos, text.find(R"("instance_name":"","extended_attrs":"own text","database":"")"));
}

TEST(HANABackupSet, TwoFilesAreWrittenInInsertionOrder) {
  HANA_Backup_Set set;
  set.files.push_back(file("b-id", "/o/b", "b", 2, "t", "/s/b"));
  set.files.push_back(file("a-id", "/o/a", "a", 1, "t", "/s/a"));
  std::string const text = document_of(set);
  std::string const expected =
      R"("database_backup_id":0,"files":[)"
      R"({"extern_backup_id":"b-id","origin_path":"/o/b","filename":"b","size":2,"source_type":"t","storage_path":"/s/b"},)"
      R"({"extern_backup_id":"a-id","origin_path":"/o/a","filename":"a","size":1,"source_type":"t","storage_path":"/s/a"}]})";
  ASSERT_GE(text.size(), expected.size());
  EXPECT_EQ(expected, text.substr(text.size() - expected.size()));
}

TEST(HANABackupSet, NoFilesAreWrittenAsEmptyArray) {
  HANA_Backup_Set set;
  std::string const text = document_of(set);
  std::string const tail = R"("database_backup_id":0,"files":[]})";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST(HANABackupSet, GenerateFilesWritesTheListItIsGiven) {
  HANA_Backup_Set set;
  set.files.push_back(file("member", "", "", 0, "", ""));
  std::vector<HANA_Backup_Set::Backup_File> const other{file("x\"1", "/o", "n", 4294967296ULL, "s", "/st")};
  EXPECT_EQ(R"([{"extern_backup_id":"x\"1","origin_path":"/o","filename":"n","size":4294967296,)"
            R"("source_type":"s","storage_path":"/st"}])",
            files_text(set, other));
  EXPECT_EQ("[]", files_text(set, {}));
  ASSERT_EQ(1u, set.files.size());
  EXPECT_EQ("member", set.files[0].extern_backup_id);
}

TEST(HANABackupSet, GenerateFilesTakesItsListByValue) {
  static_assert(std::is_same<decltype(files_parameter(&HANA_Backup_Set::generate_files)),
                             std::vector<HANA_Backup_Set::Backup_File>>::value,
                "generate_files works on a copy of the list");
  SUCCEED();
}

TEST(HANABackupSet, GenerateDoesNotChangeTheRecord) {
  HANA_Backup_Set set;
  set.sid = "HDB";
  set.files.push_back(file("1", "2", "3", 4, "5", "6"));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  ASSERT_EQ(1u, set.files.size());
  EXPECT_EQ("3", set.files[0].filename);
  EXPECT_EQ(4u, set.files[0].size);
}

TEST(HANABackupSet, TextColumnsAreStoredByPrintCstr) {
  HANA_Backup_Set set;
  EXPECT_TRUE(cstr(set, "lifeline", "L1"));
  EXPECT_TRUE(cstr(set, "sid", "HDB"));
  EXPECT_TRUE(cstr(set, "system_version", "2.0"));
  EXPECT_TRUE(cstr(set, "instance_name", "inst"));
  EXPECT_TRUE(cstr(set, "extended_attrs", "{\"a\":1}"));
  EXPECT_TRUE(cstr(set, "database", "TENANT"));
  EXPECT_EQ("L1", set.lifeline);
  EXPECT_EQ("HDB", set.sid);
  EXPECT_EQ("2.0", set.system_version);
  EXPECT_EQ("inst", set.instance_name);
  EXPECT_EQ("{\"a\":1}", set.extended_attrs);
  EXPECT_EQ("TENANT", set.database);
  EXPECT_TRUE(set.Backup_Set::extended_attrs.empty());
  EXPECT_EQ("", set.instance);
}

TEST(HANABackupSet, TextColumnTakesOnlyGivenLength) {
  HANA_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "sid", "HDBXYZ", 3));
  EXPECT_EQ("HDB", set.sid);
  EXPECT_TRUE(set.print_cstr(0, "database", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.database);
}

TEST(HANABackupSet, UnknownTextColumnGoesToTheBase) {
  HANA_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "uuid", "u-1"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("u-1", set.uuid);
  EXPECT_EQ(1700000000, set.backup_start_time);
}

TEST(HANABackupSet, NumberKeysGivenAsTextAreNotTaken) {
  HANA_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "instance_num", "5"));
  EXPECT_TRUE(cstr(set, "database_backup_id", "6"));
  EXPECT_EQ(0u, set.instance_num);
  EXPECT_EQ(0u, set.database_backup_id);
  EXPECT_EQ(before, document_of(set));
}

TEST(HANABackupSet, PrintUintStoresInstanceNumAndBackupId) {
  HANA_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "instance_num", 18446744073709551615ULL));
  EXPECT_TRUE(set.print_uint(1, "database_backup_id", 4294967296ULL));
  EXPECT_EQ(18446744073709551615ULL, set.instance_num);
  EXPECT_EQ(4294967296ULL, set.database_backup_id);
}

TEST(HANABackupSet, PrintUintWithSizeKeyAcceptsAndStoresNothing) {
  HANA_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_uint(0, "size", 77));
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(0u, set.instance_num);
  EXPECT_EQ(0u, set.database_backup_id);
  EXPECT_EQ(before, document_of(set));
}

TEST(HANABackupSet, PrintUintOfTextKeyIsIgnored) {
  HANA_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "sid", 5));
  EXPECT_TRUE(set.print_uint(0, "uuid", 5));
  EXPECT_EQ("", set.sid);
  EXPECT_EQ("", set.uuid);
}

TEST(HANABackupSet, IntegerColumnsGoToTheBase) {
  HANA_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "instance_num", 9));
  EXPECT_TRUE(set.print_int(0, "database_backup_id", 9));
  EXPECT_EQ(0u, set.instance_num);
  EXPECT_EQ(0u, set.database_backup_id);
  EXPECT_TRUE(set.print_int(0, "size", 900));
  EXPECT_EQ(900, set.size);
}

TEST(HANABackupSet, ExtendedAttrsObjectFillsTheBaseMapNotTheText) {
  HANA_Backup_Set set;
  set.extended_attrs = "own";
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"e", Value(2)}})));
  EXPECT_EQ((Object{{"e", Value(2)}}), set.Backup_Set::extended_attrs);
  EXPECT_EQ("own", set.extended_attrs);
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Array{Value(1)})));
  EXPECT_EQ((Object{{"e", Value(2)}}), set.Backup_Set::extended_attrs);
  EXPECT_EQ("own", set.extended_attrs);
}

TEST(HANABackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  HANA_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_uint(0, nullptr, 1));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  expect_key_refusals(capture, 4, "hana_backup_set.cpp");
  EXPECT_EQ(before, document_of(set));
}

TEST(HANABackupSet, ValuesInsideOpenMapOrArrayAreIgnored) {
  HANA_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  printer.start_array(0, "pieces");
  printer.start_map(0, "");
  EXPECT_TRUE(printer.print_cstr(0, "sid", "HDB", 3));
  EXPECT_TRUE(printer.print_uint(1, "instance_num", 7));
  printer.end_map();
  EXPECT_TRUE(printer.print_cstr(0, "lifeline", "L", 1));
  EXPECT_TRUE(printer.print_uint(1, "database_backup_id", 8));
  printer.end_array();
  EXPECT_EQ("", set.sid);
  EXPECT_EQ("", set.lifeline);
  EXPECT_EQ(0u, set.instance_num);
  EXPECT_EQ(0u, set.database_backup_id);
  EXPECT_TRUE(printer.print_cstr(0, "sid", "TOP", 3));
  EXPECT_EQ("TOP", set.sid);
}

TEST(HANABackupSet, OverridesAreReachedThroughThePrinterBase) {
  HANA_Backup_Set set;
  database::sql::Query_Result_Printer& printer = set;
  EXPECT_TRUE(printer.print_cstr(0, "system_version", "2.00", 4));
  EXPECT_TRUE(printer.print_uint(1, "instance_num", 42));
  EXPECT_TRUE(printer.print_uint(2, "database_backup_id", 4294967295ULL));
  EXPECT_EQ("2.00", set.system_version);
  EXPECT_EQ(42u, set.instance_num);
  EXPECT_EQ(4294967295ULL, set.database_backup_id);
  Log_Capture capture;
  EXPECT_FALSE(printer.print_uint(0, "", 1));
  expect_key_refusals(capture, 1, "hana_backup_set.cpp");
}

TEST(HANABackupSet, RowTakenThroughIntakeIsWrittenBack) {
  HANA_Backup_Set set;
  EXPECT_TRUE(cstr(set, "lifeline", "L"));
  EXPECT_TRUE(cstr(set, "sid", "S"));
  EXPECT_TRUE(cstr(set, "system_version", "V"));
  EXPECT_TRUE(set.print_uint(0, "instance_num", 0));
  EXPECT_TRUE(set.print_uint(0, "instance_num", 3));
  EXPECT_TRUE(cstr(set, "instance_name", "I"));
  EXPECT_TRUE(cstr(set, "extended_attrs", "E"));
  EXPECT_TRUE(cstr(set, "database", "D"));
  EXPECT_TRUE(set.print_uint(0, "database_backup_id", 18446744073709551615ULL));
  EXPECT_EQ(base_prefix("hana") +
                R"("lifeline":"L","sid":"S","system_version":"V","instance_num":3,"instance_name":"I",)"
                R"("extended_attrs":"E","database":"D","database_backup_id":18446744073709551615,"files":[]})",
            document_of(set));
}

TEST(HANABackupSet, StatementJoinsItsTableThenAddsItsColumns) {
  expect_statement_joins_its_table<HANA_Backup_Set>({{"h.lifeline", "lifeline"},
                                                     {"h.sid", "sid"},
                                                     {"h.system_version", "system_version"},
                                                     {"h.instance_num", "instance_num"},
                                                     {"h.instance_name", "instance_name"},
                                                     {"h.extended_attrs", "extended_attrs"},
                                                     {"h.database", "database"},
                                                     {"h.database_backup_id", "database_backup_id"}},
                                                    "hana_backup_set", "h");
  // The join comes before the kind's columns.
  EXPECT_EQ(Backup_Set_Kind::JOIN_FIRST, HANA_Backup_Set::kind().selection());
}

TEST(HANABackupSet, StatementKeepsItsOwnAliasWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<HANA_Backup_Set>(8, {"h.lifeline", "lifeline"}, "h");
  Select_SQL sql("x", "y");
  HANA_Backup_Set::init_select_sql(sql, "bs");
  EXPECT_EQ("bs", sql.from_alias());
}

TEST(HANABackupSet, CatalogueModuleIsHana) {
  expect_catalogue_module<HANA_Backup_Set>("hana");
  EXPECT_STREQ("HANA_Backup_Set", HANA_Backup_Set::kind().class_name());
  EXPECT_STREQ("hana_backup_set", HANA_Backup_Set::kind().table());
  EXPECT_STREQ("h", HANA_Backup_Set::kind().alias());
}

TEST(HANABackupSet, KindIsListedInTheRegistry) {
  expect_listed_in_registry<HANA_Backup_Set>();
  EXPECT_EQ(&HANA_Backup_Set::kind(), Backup_Set_Kinds::find("hana"));
}
