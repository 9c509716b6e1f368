#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/vmware_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// What a set writes behind the base keys when nothing was filled and the two
// values the job must always give (cores per socket, template flag) are 0
// and false.
char const DEFAULT_KEYS[] =
    R"("vm_uuid":"","instance_uuid":"","parent_uuid":"","vm_name":"","esxi_name":"","esxi_uuid":"",)"
    R"("esxi_moid":"","vcenter_name":"","firmware":"","guestos_id":"","version":"","memory_size":0,)"
    R"("cpu_num":0,"cpu_cores_per_socket":0,"resource_pool_name":"","resource_pool_moid":"","folder_moid":"",)"
    R"("datastore":"","snapshot_id":"","merge_backup_id":"","is_template":false,"controllers":[],)"
    R"("network_adapters":[],"cd_roms":[],"tags":[]})";

char const EMPTY_ARRAYS[] = R"("controllers":[],"network_adapters":[],"cd_roms":[],"tags":[]})";

struct Text_Key {
  char const* key;
  std::string VMware_Backup_Set::*field;
};

// The seventeen text keys, in the order the intake tests them.
Text_Key const TEXT_KEYS[] = {
    {"vm_uuid", &VMware_Backup_Set::vm_uuid},
    {"instance_uuid", &VMware_Backup_Set::instance_uuid},
    {"parent_uuid", &VMware_Backup_Set::parent_uuid},
    {"vm_name", &VMware_Backup_Set::vm_name},
    {"esxi_name", &VMware_Backup_Set::esxi_name},
    {"esxi_uuid", &VMware_Backup_Set::esxi_uuid},
    {"esxi_moid", &VMware_Backup_Set::esxi_moid},
    {"vcenter_name", &VMware_Backup_Set::vcenter_name},
    {"firmware", &VMware_Backup_Set::firmware},
    {"guestos_id", &VMware_Backup_Set::guestos_id},
    {"version", &VMware_Backup_Set::version},
    {"resource_pool_name", &VMware_Backup_Set::resource_pool_name},
    {"resource_pool_moid", &VMware_Backup_Set::resource_pool_moid},
    {"folder_moid", &VMware_Backup_Set::folder_moid},
    {"datastore", &VMware_Backup_Set::datastore},
    {"snapshot_id", &VMware_Backup_Set::snapshot_id},
    {"merge_backup_id", &VMware_Backup_Set::merge_backup_id},
};

struct Number_Key {
  char const* key;
  unsigned long long VMware_Backup_Set::*field;
};

Number_Key const NUMBER_KEYS[] = {
    {"memory_size", &VMware_Backup_Set::memory_size},
    {"cpu_num", &VMware_Backup_Set::cpu_num},
    {"cpu_cores_per_socket", &VMware_Backup_Set::cpu_cores_per_socket},
};

struct Array_Key {
  char const* key;
  Array VMware_Backup_Set::*field;
};

Array_Key const ARRAY_KEYS[] = {
    {"controllers", &VMware_Backup_Set::controllers},
    {"network_adapters", &VMware_Backup_Set::network_adapters},
    {"cd_roms", &VMware_Backup_Set::cd_roms},
    {"tags", &VMware_Backup_Set::tags},
};

// A set with the two values that have no default given.
struct Ready_Set : VMware_Backup_Set {
  Ready_Set() {
    cpu_cores_per_socket = 0;
    is_template = false;
  }
};

// The statement's own columns, in statement order.
Columns vmware_columns() {
  Columns out;
  for (char const* key :
       {"vm_uuid", "instance_uuid", "parent_uuid", "vm_name", "esxi_name", "esxi_uuid", "esxi_moid", "vcenter_name",
        "firmware", "guestos_id", "version", "memory_size", "cpu_num", "cpu_cores_per_socket", "controllers",
        "network_adapters", "cd_roms", "tags", "resource_pool_name", "resource_pool_moid", "folder_moid",
        "datastore", "snapshot_id", "merge_backup_id"})
    out.emplace_back(std::string("g.") + key, key);
  out.emplace_back("g.is_template", "template");
  return out;
}

// The refusals of the operation VMware leaves to Backup_Set name the base's
// source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(VMwareBackupSet, DefaultDocumentIsBaseThenEveryOwnKeyEmptyOrZero) {
  Ready_Set set;
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("vmware") + DEFAULT_KEYS, doc.text);
}

TEST(VMwareBackupSet, FreshSetHasEmptyTextsZeroSizesAndEmptyArrays) {
  VMware_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ("", set.*t.field) << t.key;
  EXPECT_EQ(0u, set.memory_size);
  EXPECT_EQ(0u, set.cpu_num);
  for (Array_Key const& a : ARRAY_KEYS) EXPECT_TRUE((set.*a.field).empty()) << a.key;
}

TEST(VMwareBackupSet, FilledDocumentHasEveryKeyInOrder) {
  VMware_Backup_Set set;
  set.vm_uuid = "564d1c2e-0000-4000-8000-000000000001";
  set.instance_uuid = "502e-\"inst\"";
  set.parent_uuid = "";
  set.vm_name = "db \xE6\x9C\xBA";  // one CJK character
  set.esxi_name = "esxi-01.lab/local";
  set.esxi_uuid = "e-uuid";
  set.esxi_moid = "host-12";
  set.vcenter_name = "vc\\01";
  set.firmware = "efi";
  set.guestos_id = "windows9Server64Guest";
  set.version = "vmx-19";
  set.memory_size = UINT64_MAX;
  set.cpu_num = 16;
  set.cpu_cores_per_socket = 4294967296ULL;
  set.resource_pool_name = "Resources\n";
  set.resource_pool_moid = "resgroup-8";
  set.folder_moid = "group-v3";
  set.datastore = "[ds1]";
  set.snapshot_id = "snapshot-77";
  set.merge_backup_id = "m\t1";
  set.is_template = true;
  set.controllers = Array{Value(Object{{"type", Value("pvscsi")}, {"bus", Value(0)}}),
                          Value(Object{{"shared", Value(false)}, {"bus", Value(1)}})};
  set.network_adapters = Array{Value(Object{{"mac", Value("00:50:56:aa:bb:cc")}, {"connected", Value(true)}})};
  set.cd_roms = Array{Value(), Value("iso"), Value(0.5)};
  set.tags = Array{Value(Object{{"name", Value("prod")}, {"category", Value("env")}}), Value(LLONG_MIN)};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("vmware") +
                R"("vm_uuid":"564d1c2e-0000-4000-8000-000000000001","instance_uuid":"502e-\"inst\"",)"
                R"("parent_uuid":"","vm_name":"db )"
                "\xE6\x9C\xBA"
                R"(","esxi_name":"esxi-01.lab/local","esxi_uuid":"e-uuid","esxi_moid":"host-12",)"
                R"("vcenter_name":"vc\\01","firmware":"efi","guestos_id":"windows9Server64Guest","version":"vmx-19",)"
                R"("memory_size":18446744073709551615,"cpu_num":16,"cpu_cores_per_socket":4294967296,)"
                R"("resource_pool_name":"Resources\n","resource_pool_moid":"resgroup-8","folder_moid":"group-v3",)"
                R"("datastore":"[ds1]","snapshot_id":"snapshot-77","merge_backup_id":"m\t1","is_template":true,)"
                R"("controllers":[{"bus":0,"type":"pvscsi"},{"bus":1,"shared":false}],)"
                R"("network_adapters":[{"connected":true,"mac":"00:50:56:aa:bb:cc"}],)"
                R"("cd_roms":[null,"iso",0.5],)"
                R"("tags":[{"category":"env","name":"prod"},-9223372036854775808]})",
            doc.text);
}

TEST(VMwareBackupSet, NumbersAreWrittenUnsignedOverTheWholeRange) {
  Ready_Set set;
  set.memory_size = 9223372036854775808ULL;
  set.cpu_num = UINT64_MAX;
  set.cpu_cores_per_socket = 1;
  std::string const keys = own_keys(set, "vmware");
  EXPECT_NE(std::string::npos,
            keys.find(R"("version":"","memory_size":9223372036854775808,"cpu_num":18446744073709551615,)"
                      R"("cpu_cores_per_socket":1,"resource_pool_name":"",)"))
      << keys;
}

TEST(VMwareBackupSet, RecordWithNoArraysFilledWritesFourEmptyArrays) {
  VMware_Backup_Set set;
  set.vm_name = "web-01";
  set.memory_size = 4096;
  set.cpu_num = 2;
  set.cpu_cores_per_socket = 2;
  set.is_template = true;
  std::string const keys = own_keys(set, "vmware");
  EXPECT_EQ(std::string(R"("vm_uuid":"","instance_uuid":"","parent_uuid":"","vm_name":"web-01","esxi_name":"",)"
                        R"("esxi_uuid":"","esxi_moid":"","vcenter_name":"","firmware":"","guestos_id":"",)"
                        R"("version":"","memory_size":4096,"cpu_num":2,"cpu_cores_per_socket":2,)"
                        R"("resource_pool_name":"","resource_pool_moid":"","folder_moid":"","datastore":"",)"
                        R"("snapshot_id":"","merge_backup_id":"","is_template":true,)") +
                EMPTY_ARRAYS,
            keys);
}

TEST(VMwareBackupSet, ArraysComeLastAfterTheTemplateFlag) {
  Ready_Set set;
  set.tags = Array{Value("t")};
  set.controllers = Array{Value(1)};
  std::string const keys = own_keys(set, "vmware");
  size_t const flag = keys.find(R"("is_template":)");
  size_t const merge = keys.find(R"("merge_backup_id":)");
  ASSERT_NE(std::string::npos, flag);
  ASSERT_NE(std::string::npos, merge);
  EXPECT_LT(merge, flag);
  EXPECT_EQ(flag, keys.find(R"("is_template":false,"controllers":[1],"network_adapters":[],"cd_roms":[],)"
                            R"("tags":["t"]})"))
      << keys;
}

TEST(VMwareBackupSet, GenerateDoesNotChangeTheRecord) {
  Ready_Set set;
  set.tags = Array{Value("a")};
  set.vm_name = "x";
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ((Array{Value("a")}), set.tags);
  EXPECT_EQ("x", set.vm_name);
}

// ---- module and registry ----------------------------------------------------

TEST(VMwareBackupSet, CatalogueModuleIsVmware) {
  expect_kind_names<VMware_Backup_Set>("vmware", "VMware_Backup_Set", "vmware_backup_set");
  EXPECT_STREQ("g", VMware_Backup_Set::kind().alias());
}

TEST(VMwareBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<VMware_Backup_Set>("vmware");
}

// ---- statement --------------------------------------------------------------

TEST(VMwareBackupSet, StatementAddsTwentyFiveColumnsThenJoinsItsTableAsG) {
  expect_statement_joins_its_table<VMware_Backup_Set>(vmware_columns(), "vmware_backup_set", "g");
}

TEST(VMwareBackupSet, StatementKeepsAliasGWhateverTheBaseAlias) {
  expect_statement_keeps_its_alias<VMware_Backup_Set>(25, {"g.vm_uuid", "vm_uuid"}, "g");
  Select_SQL sql("backup_set", "bs");
  VMware_Backup_Set::init_select_sql(sql, "bs");
  EXPECT_EQ("bs", sql.from_alias());
  EXPECT_EQ("bs.uuid", sql.columns().front().first);
  EXPECT_EQ(vmware_columns(), own_columns(sql));
  ASSERT_EQ(1u, sql.joins().size());
  EXPECT_EQ("vmware_backup_set", sql.joins()[0].table);
  EXPECT_EQ("g", sql.joins()[0].alias);
  EXPECT_EQ("uuid=g.set_uuid", sql.joins()[0].condition);
}

TEST(VMwareBackupSet, TemplateFlagIsSelectedUnderKeyTemplate) {
  Select_SQL sql("backup_set", "b");
  VMware_Backup_Set::init_select_sql(sql, "b");
  EXPECT_EQ((Select_SQL::Column{"g.is_template", "template"}), sql.columns().back());
  for (auto const& column : sql.columns()) EXPECT_NE("is_template", column.second);
}

TEST(VMwareBackupSet, StatementPutsTheArraysBetweenTheNumbersAndThePool) {
  Select_SQL sql("backup_set", "b");
  VMware_Backup_Set::init_select_sql(sql, "b");
  Columns const own = own_columns(sql);
  ASSERT_EQ(25u, own.size());
  EXPECT_EQ("cpu_cores_per_socket", own[13].second);
  EXPECT_EQ("controllers", own[14].second);
  EXPECT_EQ("tags", own[17].second);
  EXPECT_EQ("resource_pool_name", own[18].second);
}

// ---- print_cstr ---------------------------------------------------------------

TEST(VMwareBackupSet, TextColumnsAreTakenByPrintCstr) {
  VMware_Backup_Set set;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_TRUE(cstr(set, t.key, std::string("v-") + t.key)) << t.key;
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ(std::string("v-") + t.key, set.*t.field) << t.key;
  EXPECT_EQ("", set.name);
  EXPECT_EQ("", set.uuid);
}

TEST(VMwareBackupSet, EachTextColumnFillsOnlyItsOwnField) {
  for (Text_Key const& t : TEXT_KEYS) {
    VMware_Backup_Set set;
    EXPECT_TRUE(cstr(set, t.key, "only"));
    for (Text_Key const& other : TEXT_KEYS) EXPECT_EQ(&other == &t ? "only" : "", set.*other.field) << t.key;
  }
}

TEST(VMwareBackupSet, TextColumnTakesExactlyTheGivenLength) {
  VMware_Backup_Set set;
  EXPECT_TRUE(set.print_cstr(0, "vm_name", "web-01-extra", 6));
  EXPECT_EQ("web-01", set.vm_name);
  EXPECT_TRUE(set.print_cstr(0, "datastore", "a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), set.datastore);
  EXPECT_TRUE(set.print_cstr(0, "firmware", "bios", 0));
  EXPECT_EQ("", set.firmware);
}

TEST(VMwareBackupSet, TextColumnReplacesAnEarlierValue) {
  VMware_Backup_Set set;
  set.snapshot_id = "old-snapshot";
  EXPECT_TRUE(cstr(set, "snapshot_id", "s2"));
  EXPECT_EQ("s2", set.snapshot_id);
}

TEST(VMwareBackupSet, UnknownTextColumnsGoToTheBase) {
  VMware_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_TRUE(cstr(set, "name", "nightly"));
  EXPECT_TRUE(cstr(set, "host", "esxi-backup"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  EXPECT_EQ("nightly", set.name);
  EXPECT_EQ("esxi-backup", set.host);
  EXPECT_EQ(1700000000, set.backup_start_time);
  for (Text_Key const& t : TEXT_KEYS) EXPECT_EQ("", set.*t.field) << t.key;
}

TEST(VMwareBackupSet, TextKeysAreMatchedExactlyAndCaseSensitively) {
  Ready_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "VM_UUID", "x"));
  EXPECT_TRUE(cstr(set, "vm_uuid ", "x"));
  EXPECT_TRUE(cstr(set, "vm", "x"));
  EXPECT_TRUE(cstr(set, "template", "x"));
  EXPECT_TRUE(cstr(set, "is_template", "true"));
  EXPECT_TRUE(cstr(set, "memory_size", "5"));
  EXPECT_EQ(before, document_of(set));
}

// ---- print_uint -----------------------------------------------------------------

TEST(VMwareBackupSet, UnsignedColumnsAreTakenByPrintUint) {
  VMware_Backup_Set set;
  EXPECT_TRUE(set.print_uint(0, "memory_size", 8589934592ULL));
  EXPECT_TRUE(set.print_uint(1, "cpu_num", 8));
  EXPECT_TRUE(set.print_uint(2, "cpu_cores_per_socket", 4));
  EXPECT_EQ(8589934592ULL, set.memory_size);
  EXPECT_EQ(8u, set.cpu_num);
  EXPECT_EQ(4u, set.cpu_cores_per_socket);
}

TEST(VMwareBackupSet, UnsignedColumnsKeepTheFull64Bits) {
  for (Number_Key const& n : NUMBER_KEYS) {
    Ready_Set set;
    EXPECT_TRUE(set.print_uint(0, n.key, UINT64_MAX)) << n.key;
    EXPECT_EQ(UINT64_MAX, set.*n.field) << n.key;
    for (Number_Key const& other : NUMBER_KEYS) {
      if (&other == &n) continue;
      EXPECT_NE(UINT64_MAX, set.*other.field) << n.key << " filled " << other.key;
    }
  }
}

TEST(VMwareBackupSet, UnknownUnsignedColumnEndsAtThePrinterDefault) {
  Ready_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_uint(0, "size", 5), set.print_uint(0, "size", 5));
  EXPECT_TRUE(set.print_uint(0, "size", 5));
  EXPECT_TRUE(set.print_uint(0, "source_size", 7));
  EXPECT_TRUE(set.print_uint(0, "first_scn", 9));
  EXPECT_TRUE(set.print_uint(0, "Memory_Size", 9));
  EXPECT_TRUE(set.print_uint(0, "no_such_column", 9));
  // Backup_Set would have taken these as its own sizes.
  EXPECT_EQ(0, set.size);
  EXPECT_EQ(0, set.source_size);
  EXPECT_EQ(0, set.first_scn);
  EXPECT_EQ(before, document_of(set));
}

TEST(VMwareBackupSet, UnsignedColumnsAsSignedIntegersAreNotTaken) {
  Ready_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "memory_size", 1024));
  EXPECT_TRUE(set.print_int(0, "cpu_num", 2));
  EXPECT_TRUE(set.print_int(0, "cpu_cores_per_socket", 2));
  EXPECT_EQ(before, document_of(set));
}

TEST(VMwareBackupSet, IntegerColumnsOfTheBaseReachTheBase) {
  VMware_Backup_Set set;
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 40));
  EXPECT_TRUE(set.print_int(0, "source_size", LLONG_MAX));
  EXPECT_TRUE(set.print_int(0, "first_scn", LLONG_MIN));
  EXPECT_EQ(1LL << 40, set.size);
  EXPECT_EQ(LLONG_MAX, set.source_size);
  EXPECT_EQ(LLONG_MIN, set.first_scn);
}

// ---- print_bool ---------------------------------------------------------------------

TEST(VMwareBackupSet, TemplateFlagIsTakenUnderIsTemplate) {
  VMware_Backup_Set set;
  set.is_template = false;
  EXPECT_TRUE(set.print_bool(0, "is_template", true));
  EXPECT_TRUE(set.is_template);
  EXPECT_TRUE(set.print_bool(0, "is_template", false));
  EXPECT_FALSE(set.is_template);
}

TEST(VMwareBackupSet, RowWithTemplateFlagSetLeavesIsTemplateUntouched) {
  VMware_Backup_Set set;
  set.is_template = false;
  EXPECT_TRUE(set.print_bool(0, "template", true));
  EXPECT_FALSE(set.is_template);
  set.is_template = true;
  EXPECT_TRUE(set.print_bool(0, "template", false));
  EXPECT_TRUE(set.is_template);
}

TEST(VMwareBackupSet, UnknownBoolColumnEndsAtThePrinterDefault) {
  Ready_Set set;
  std::string const before = document_of(set);
  database::sql::Query_Result_Token_Printer fresh;
  EXPECT_EQ(fresh.print_bool(0, "template", true), set.print_bool(0, "template", true));
  EXPECT_TRUE(set.print_bool(0, "Is_Template", true));
  EXPECT_TRUE(set.print_bool(0, "compressed", true));
  EXPECT_EQ(before, document_of(set));
}

TEST(VMwareBackupSet, TemplateFlagAsIntegerIsNotTaken) {
  Ready_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(set.print_int(0, "is_template", 1));
  EXPECT_TRUE(set.print_int(0, "template", 1));
  EXPECT_FALSE(set.is_template);
  EXPECT_EQ(before, document_of(set));
}

// ---- print_json -------------------------------------------------------------------------

TEST(VMwareBackupSet, ArrayColumnsAreTakenByPrintJson) {
  VMware_Backup_Set set;
  Array const controllers{Value(Object{{"bus", Value(0)}})};
  Array const adapters{Value(Object{{"mac", Value("aa")}}), Value(Object{{"mac", Value("bb")}})};
  Array const cd_roms{Value("cd0")};
  Array const tags{Value("prod"), Value(7)};
  EXPECT_TRUE(set.print_json(0, "controllers", Value(controllers)));
  EXPECT_TRUE(set.print_json(1, "network_adapters", Value(adapters)));
  EXPECT_TRUE(set.print_json(2, "cd_roms", Value(cd_roms)));
  EXPECT_TRUE(set.print_json(3, "tags", Value(tags)));
  EXPECT_EQ(controllers, set.controllers);
  EXPECT_EQ(adapters, set.network_adapters);
  EXPECT_EQ(cd_roms, set.cd_roms);
  EXPECT_EQ(tags, set.tags);
}

TEST(VMwareBackupSet, ArrayColumnReplacesTheWholeArray) {
  VMware_Backup_Set set;
  set.cd_roms = Array{Value("a"), Value("b"), Value("c")};
  EXPECT_TRUE(set.print_json(0, "cd_roms", Value(Array{Value("z")})));
  EXPECT_EQ((Array{Value("z")}), set.cd_roms);
  EXPECT_TRUE(set.print_json(0, "cd_roms", Value(Array())));
  EXPECT_TRUE(set.cd_roms.empty());
}

TEST(VMwareBackupSet, EachArrayColumnFillsOnlyItsOwnField) {
  for (Array_Key const& a : ARRAY_KEYS) {
    VMware_Backup_Set set;
    EXPECT_TRUE(set.print_json(0, a.key, Value(Array{Value(a.key)})));
    for (Array_Key const& other : ARRAY_KEYS)
      EXPECT_EQ(&other == &a ? 1u : 0u, (set.*other.field).size()) << a.key << " / " << other.key;
  }
}

TEST(VMwareBackupSet, TagsColumnHoldingAnObjectGoesToTheBaseAndLeavesTagsUnchanged) {
  VMware_Backup_Set set;
  set.tags = Array{Value("kept")};
  EXPECT_TRUE(set.print_json(0, "tags", Value(Object{{"env", Value("prod")}})));
  EXPECT_EQ((Array{Value("kept")}), set.tags);
  EXPECT_TRUE(set.resource_tree.empty());
  EXPECT_TRUE(set.Backup_Set::extended_attrs.empty());
}

TEST(VMwareBackupSet, ArrayColumnOfAnotherTypeLeavesTheArrayAlone) {
  for (Array_Key const& a : ARRAY_KEYS) {
    VMware_Backup_Set set;
    (set.*a.field) = Array{Value("kept")};
    for (Value const& v : {Value(Object{{"k", Value(1)}}), Value("[]"), Value(3), Value(true), Value()}) {
      EXPECT_TRUE(set.print_json(0, a.key, v)) << a.key;
      EXPECT_EQ((Array{Value("kept")}), set.*a.field) << a.key;
    }
  }
}

TEST(VMwareBackupSet, ObjectColumnsOfTheBaseReachTheBase) {
  VMware_Backup_Set set;
  Object const attrs{{"vmx", Value("path")}};
  Object const tree{{"dc", Value("dc1")}};
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(attrs)));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(tree)));
  EXPECT_EQ(attrs, set.extended_attrs);
  EXPECT_EQ(tree, set.resource_tree);
  for (Array_Key const& a : ARRAY_KEYS) EXPECT_TRUE((set.*a.field).empty()) << a.key;
}

TEST(VMwareBackupSet, ArrayKeysAreMatchedCaseSensitively) {
  VMware_Backup_Set set;
  EXPECT_TRUE(set.print_json(0, "Tags", Value(Array{Value(1)})));
  EXPECT_TRUE(set.print_json(0, "cd_rom", Value(Array{Value(1)})));
  EXPECT_TRUE(set.tags.empty());
  EXPECT_TRUE(set.cd_roms.empty());
}

// ---- key checks and nesting -----------------------------------------------------------------

TEST(VMwareBackupSet, NullOrEmptyKeyIsRefusedAndLogged) {
  Log_Capture capture;
  Ready_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_uint(0, nullptr, 1));
  EXPECT_FALSE(set.print_uint(0, "", 1));
  EXPECT_FALSE(set.print_bool(0, nullptr, true));
  EXPECT_FALSE(set.print_bool(0, "", true));
  EXPECT_FALSE(set.print_json(0, nullptr, Value(Array())));
  EXPECT_FALSE(set.print_json(0, "", Value(Array())));
  expect_key_refusals(capture, 8, "vmware_backup_set.cpp");
  capture.clear();
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  expect_key_refusals(capture, 2, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(VMwareBackupSet, NullKeyIsRefusedEvenInsideANestedValue) {
  Log_Capture capture;
  VMware_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "row"));
  EXPECT_FALSE(p.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(p.print_uint(0, "", 1));
  ASSERT_TRUE(p.end_map());
  expect_key_refusals(capture, 2, "vmware_backup_set.cpp");
}

TEST(VMwareBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  Ready_Set set;
  database::sql::Query_Result_Printer& p = set;
  std::string const before = document_of(set);
  ASSERT_TRUE(p.start_map(0, "extended_attrs"));
  EXPECT_TRUE(cstr(p, "vm_uuid", "nested"));
  EXPECT_TRUE(p.print_uint(1, "memory_size", 5));
  EXPECT_TRUE(p.print_bool(2, "is_template", true));
  EXPECT_TRUE(p.print_json(3, "tags", Value(Array{Value("nested")})));
  EXPECT_TRUE(cstr(p, "name", "nested-name"));
  ASSERT_TRUE(p.start_array(4, "list"));
  EXPECT_TRUE(cstr(p, "datastore", "in-array"));
  EXPECT_TRUE(p.print_uint(0, "cpu_num", 3));
  ASSERT_TRUE(p.end_array());
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ(before, document_of(set));
  EXPECT_TRUE(cstr(p, "vm_uuid", "top"));
  EXPECT_TRUE(p.print_uint(0, "memory_size", 5));
  EXPECT_EQ("top", set.vm_uuid);
  EXPECT_EQ(5u, set.memory_size);
}

TEST(VMwareBackupSet, OverridesAreReachedThroughThePrinterBase) {
  VMware_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  EXPECT_TRUE(cstr(p, "esxi_moid", "host-9"));
  EXPECT_TRUE(p.print_uint(0, "cpu_num", 12));
  EXPECT_TRUE(p.print_bool(0, "is_template", true));
  EXPECT_TRUE(p.print_json(0, "network_adapters", Value(Array{Value("nic")})));
  EXPECT_TRUE(p.print_int(0, "size", 3));
  EXPECT_EQ("host-9", set.esxi_moid);
  EXPECT_EQ(12u, set.cpu_num);
  EXPECT_TRUE(set.is_template);
  EXPECT_EQ((Array{Value("nic")}), set.network_adapters);
  EXPECT_EQ(3, set.size);
  Log_Capture capture;
  EXPECT_FALSE(p.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(p.print_uint(0, nullptr, 1));
  EXPECT_FALSE(p.print_bool(0, "", true));
  EXPECT_FALSE(p.print_json(0, nullptr, Value()));
  expect_key_refusals(capture, 4, "vmware_backup_set.cpp");
}

TEST(VMwareBackupSet, RowTakenThroughIntakeIsWrittenBack) {
  VMware_Backup_Set set;
  set.is_template = false;
  set.cpu_cores_per_socket = 0;
  EXPECT_TRUE(cstr(set, "vm_uuid", "u"));
  EXPECT_TRUE(cstr(set, "vm_name", "n"));
  EXPECT_TRUE(cstr(set, "merge_backup_id", "m"));
  EXPECT_TRUE(set.print_uint(0, "memory_size", 2048));
  EXPECT_TRUE(set.print_uint(0, "cpu_num", 2));
  EXPECT_TRUE(set.print_uint(0, "cpu_cores_per_socket", 1));
  EXPECT_TRUE(set.print_json(0, "controllers", Value(Array{Value(Object{{"bus", Value(0)}})})));
  EXPECT_TRUE(set.print_json(0, "tags", Value(Array{Value("x")})));
  EXPECT_TRUE(set.print_bool(0, "template", true));  // selected under "template": not taken
  EXPECT_EQ(base_prefix("vmware") +
                R"("vm_uuid":"u","instance_uuid":"","parent_uuid":"","vm_name":"n","esxi_name":"","esxi_uuid":"",)"
                R"("esxi_moid":"","vcenter_name":"","firmware":"","guestos_id":"","version":"","memory_size":2048,)"
                R"("cpu_num":2,"cpu_cores_per_socket":1,"resource_pool_name":"","resource_pool_moid":"",)"
                R"("folder_moid":"","datastore":"","snapshot_id":"","merge_backup_id":"m","is_template":false,)"
                R"("controllers":[{"bus":0}],"network_adapters":[],"cd_roms":[],"tags":["x"]})",
            document_of(set));
}
