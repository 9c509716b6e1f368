#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/cloudos_backup_set.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

// What a fresh set writes behind the base keys.
char const DEFAULT_KEYS[] =
    R"("host_id":"","host_name":"","vm_id":"","vm_name":"","snapshot_id":"","vm_disks":[],"vm_config":{}})";

char const* const COLUMN_KEYS[] = {"set_uuid", "host_id",  "host_name", "vm_id",
                                   "vm_name",  "vm_disks", "vm_config", "snapshot_id"};

// The statement's columns under `alias`, in order.
Columns cloudos_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

// The intake is all Backup_Set's: its refusals name the base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(CloudOSBackupSet, DefaultDocumentIsBaseThenOwnKeys) {
  expect_default_document<CloudOS_Backup_Set>("cloudos", DEFAULT_KEYS);
}

TEST(CloudOSBackupSet, FreshSetWritesEmptyDisksBeforeEmptyConfig) {
  CloudOS_Backup_Set set;
  std::string const keys = own_keys(set, "cloudos");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  size_t const disks = keys.find(R"("vm_disks":[])");
  size_t const config = keys.find(R"("vm_config":{})");
  ASSERT_NE(std::string::npos, disks);
  ASSERT_NE(std::string::npos, config);
  EXPECT_LT(disks, config);
  EXPECT_NE(std::string::npos, keys.find(R"("vm_disks":[],"vm_config":{}})")) << keys;
}

TEST(CloudOSBackupSet, FreshSetDefaults) {
  CloudOS_Backup_Set set;
  EXPECT_EQ("", set.host_id);
  EXPECT_EQ("", set.host_name);
  EXPECT_EQ("", set.vm_id);
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.snapshot_id);
  EXPECT_TRUE(set.vm_config.empty());
  EXPECT_TRUE(set.vm_disks.empty());
}

TEST(CloudOSBackupSet, FilledDocumentHasEveryKeyInOrder) {
  CloudOS_Backup_Set set;
  set.host_id = "h-1";
  set.host_name = "node\\01";
  set.vm_id = "vm-\"7\"";
  set.vm_name = "db \xE6\x9C\xBA";  // one CJK character
  set.snapshot_id = "snap/3\t";
  set.vm_config = Object{{"memory", Value(UINT64_MAX)},
                         {"cpu", Value(LLONG_MIN)},
                         {"boot", Value(Object{{"order", Value(Array{Value("hd"), Value("cdrom")})}})},
                         {"ha", Value(false)},
                         {"desc", Value()}};
  set.vm_disks = Array{Value(Object{{"id", Value("d1")}, {"size", Value(10)}}), Value(0.5), Value("raw")};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("cloudos") +
                R"("host_id":"h-1","host_name":"node\\01","vm_id":"vm-\"7\"","vm_name":"db )"
                "\xE6\x9C\xBA"
                R"(","snapshot_id":"snap/3\t","vm_disks":[{"id":"d1","size":10},0.5,"raw"],)"
                R"("vm_config":{"boot":{"order":["hd","cdrom"]},"cpu":-9223372036854775808,"desc":null,)"
                R"("ha":false,"memory":18446744073709551615}})",
            doc.text);
}

TEST(CloudOSBackupSet, ConfigMembersAreWrittenInKeyOrder) {
  CloudOS_Backup_Set set;
  set.vm_config.emplace("zone", Value("z"));
  set.vm_config.emplace("Arch", Value("x86"));
  set.vm_config.emplace("cpu", Value(4));
  EXPECT_EQ(R"("host_id":"","host_name":"","vm_id":"","vm_name":"","snapshot_id":"","vm_disks":[],)"
            R"("vm_config":{"Arch":"x86","cpu":4,"zone":"z"}})",
            own_keys(set, "cloudos"));
}

TEST(CloudOSBackupSet, DisksAreWrittenInTheirOrderBeforeTheConfig) {
  CloudOS_Backup_Set set;
  set.vm_config["a"] = Value(1);
  set.vm_disks.push_back(Value("vdb"));
  set.vm_disks.push_back(Value("vda"));
  EXPECT_EQ(R"("host_id":"","host_name":"","vm_id":"","vm_name":"","snapshot_id":"",)"
            R"("vm_disks":["vdb","vda"],"vm_config":{"a":1}})",
            own_keys(set, "cloudos"));
}

TEST(CloudOSBackupSet, GenerateDoesNotChangeTheRecord) {
  CloudOS_Backup_Set set;
  set.vm_config["k"] = Value("v");
  set.vm_disks.push_back(Value(1));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ(1u, set.vm_config.size());
  EXPECT_EQ(1u, set.vm_disks.size());
}

// ---- module and registry ----------------------------------------------------

TEST(CloudOSBackupSet, CatalogueModuleIsCloudos) {
  expect_kind_names<CloudOS_Backup_Set>("cloudos", "CloudOS_Backup_Set", "cloudos_backup_set");
}

TEST(CloudOSBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<CloudOS_Backup_Set>("cloudos");
}

// ---- statement --------------------------------------------------------------

TEST(CloudOSBackupSet, StatementReadsItsOwnTableUnderTheCallersAlias) {
  expect_own_table_statement<CloudOS_Backup_Set>("cloudos_backup_set", cloudos_columns, {"c"}, "backup_set", "b");
}

TEST(CloudOSBackupSet, StatementFollowsAnotherAlias) {
  expect_own_table_statement<CloudOS_Backup_Set>("cloudos_backup_set", cloudos_columns, {"cos", "b", "v1"});
}

TEST(CloudOSBackupSet, StatementCarriesNoKeyOfTheBaseTable) {
  expect_no_base_column<CloudOS_Backup_Set>(8u);
}

TEST(CloudOSBackupSet, StatementSelectsConfigBeforeSnapshot) {
  Select_SQL sql("backup_set", "b");
  CloudOS_Backup_Set::init_select_sql(sql, "c");
  std::string const expected =
      "SELECT c.set_uuid,c.host_id,c.host_name,c.vm_id,c.vm_name,c.vm_disks,c.vm_config,c.snapshot_id "
      "FROM cloudos_backup_set c";
  EXPECT_EQ(expected, sql.text(Dialect::SQLite));
  EXPECT_EQ(expected, sql.text(Dialect::PostgreSQL));
}

// ---- intake (all Backup_Set's) ---------------------------------------------

TEST(CloudOSBackupSet, OwnKeysInARowAreNotTaken) {
  CloudOS_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "host_id", "h"));
  EXPECT_TRUE(cstr(set, "vm_name", "v"));
  EXPECT_TRUE(cstr(set, "snapshot_id", "s"));
  EXPECT_TRUE(cstr(set, "set_uuid", "u"));
  EXPECT_TRUE(set.print_json(0, "vm_config", Value(Object{{"cpu", Value(2)}})));
  EXPECT_TRUE(set.print_json(0, "vm_disks", Value(Array{Value("vda")})));
  EXPECT_EQ("", set.host_id);
  EXPECT_EQ("", set.snapshot_id);
  EXPECT_TRUE(set.vm_config.empty());
  EXPECT_TRUE(set.vm_disks.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(CloudOSBackupSet, BaseColumnsReachTheBase) {
  CloudOS_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_TRUE(cstr(set, "host", "cloud-agent"));
  EXPECT_TRUE(set.print_int(0, "source_size", 77));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"k", Value(1)}})));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  EXPECT_EQ("cloud-agent", set.host);
  EXPECT_EQ(77, set.source_size);
  EXPECT_EQ((Object{{"k", Value(1)}}), set.extended_attrs);
}

TEST(CloudOSBackupSet, UnsignedAndBoolColumnsEndAtThePrinterDefault) {
  expect_unsigned_and_bool_end_at_printer_default<CloudOS_Backup_Set>();
}

TEST(CloudOSBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  expect_null_or_empty_key_refused_by_base<CloudOS_Backup_Set>(Value(Object()), BASE_SOURCE);
}

TEST(CloudOSBackupSet, BaseColumnInsideAnOpenMapIsIgnored) {
  CloudOS_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "vm_config"));
  EXPECT_TRUE(cstr(p, "host", "nested"));
  EXPECT_TRUE(p.print_json(0, "extended_attrs", Value(Object{{"k", Value(1)}})));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ("", set.host);
  EXPECT_TRUE(set.extended_attrs.empty());
  EXPECT_TRUE(cstr(p, "host", "top"));
  EXPECT_EQ("top", set.host);
}
