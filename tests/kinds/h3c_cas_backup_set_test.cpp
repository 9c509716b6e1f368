#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/h3c_cas_backup_set.h"
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
    R"("cvk_host_id":"","cvk_host_name":"","cvk_host_ip":"","vm_id":"","vm_title":"","vm_name":"",)"
    R"("vm_config_path":"","cbt_name":"","cpu_count":1,"cpu_cores":1,"memory_mbytes":1024,"vm_disks":[]})";

char const* const COLUMN_KEYS[] = {"set_uuid", "cvk_host_id",    "cvk_host_name", "cvk_host_ip", "vm_id",
                                   "vm_title", "vm_name",        "vm_config_path", "cbt_name",   "vm_disks",
                                   "cpu_count", "cpu_cores",     "memory_mbytes"};

// The statement's columns under `alias`, in order.
Columns h3c_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

// The intake is all Backup_Set's: its refusals name the base's source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

}  // namespace

// ---- document -------------------------------------------------------------

TEST(H3CCASBackupSet, DefaultDocumentIsBaseThenOwnKeys) {
  expect_default_document<H3C_CAS_Backup_Set>("h3ccas", DEFAULT_KEYS);
}

TEST(H3CCASBackupSet, FreshSetWritesOneCpuOneCore1024MiBAndNoDisks) {
  H3C_CAS_Backup_Set set;
  std::string const keys = own_keys(set, "h3ccas");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  EXPECT_NE(std::string::npos, keys.find(R"("cpu_count":1,"cpu_cores":1,"memory_mbytes":1024,"vm_disks":[]})"))
      << keys;
}

TEST(H3CCASBackupSet, FreshSetDefaults) {
  H3C_CAS_Backup_Set set;
  EXPECT_EQ("", set.cvk_host_id);
  EXPECT_EQ("", set.cvk_host_name);
  EXPECT_EQ("", set.cvk_host_ip);
  EXPECT_EQ("", set.vm_id);
  EXPECT_EQ("", set.vm_title);
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.vm_config_path);
  EXPECT_EQ("", set.cbt_name);
  EXPECT_TRUE(set.vm_disks.empty());
  EXPECT_EQ(1, set.cpu_count);
  EXPECT_EQ(1, set.cpu_cores);
  EXPECT_EQ(1024u, set.memory_mbytes);
}

TEST(H3CCASBackupSet, FilledDocumentHasEveryKeyInOrder) {
  H3C_CAS_Backup_Set set;
  set.cvk_host_id = "3";
  set.cvk_host_name = "cvk-\"a\"";
  set.cvk_host_ip = "10.0.0.3";
  set.vm_id = "118";
  set.vm_title = "web \xE6\x9C\xBA";  // one CJK character
  set.vm_name = "web";
  set.vm_config_path = "/etc/libvirt/qemu/web.xml";
  set.cbt_name = "cbt\\1\n";
  set.cpu_count = INT_MIN;
  set.cpu_cores = INT_MAX;
  set.memory_mbytes = UINT_MAX;
  set.vm_disks = Array{Value(Object{{"path", Value("/vms/web.qcow2")}, {"size", Value(UINT64_MAX)},
                                    {"bootable", Value(true)}, {"format", Value()}}),
                       Value(LLONG_MIN), Value(0.5), Value(Array())};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("h3ccas") +
                R"("cvk_host_id":"3","cvk_host_name":"cvk-\"a\"","cvk_host_ip":"10.0.0.3","vm_id":"118",)"
                R"("vm_title":"web )"
                "\xE6\x9C\xBA"
                R"(","vm_name":"web","vm_config_path":"/etc/libvirt/qemu/web.xml","cbt_name":"cbt\\1\n",)"
                R"("cpu_count":-2147483648,"cpu_cores":2147483647,"memory_mbytes":4294967295,)"
                R"("vm_disks":[{"bootable":true,"format":null,"path":"/vms/web.qcow2",)"
                R"("size":18446744073709551615},-9223372036854775808,0.5,[]]})",
            doc.text);
}

TEST(H3CCASBackupSet, EmptyTextsAreWritten) {
  H3C_CAS_Backup_Set set;
  set.vm_name = "only";
  EXPECT_EQ(R"("cvk_host_id":"","cvk_host_name":"","cvk_host_ip":"","vm_id":"","vm_title":"","vm_name":"only",)"
            R"("vm_config_path":"","cbt_name":"","cpu_count":1,"cpu_cores":1,"memory_mbytes":1024,"vm_disks":[]})",
            own_keys(set, "h3ccas"));
}

TEST(H3CCASBackupSet, DisksAreWrittenLastInTheirOrder) {
  H3C_CAS_Backup_Set set;
  set.vm_disks.push_back(Value("vdb"));
  set.vm_disks.push_back(Value("vda"));
  set.memory_mbytes = 0;
  set.cpu_count = 0;
  set.cpu_cores = -1;
  std::string const keys = own_keys(set, "h3ccas");
  EXPECT_NE(std::string::npos,
            keys.find(R"("cpu_count":0,"cpu_cores":-1,"memory_mbytes":0,"vm_disks":["vdb","vda"]})"))
      << keys;
}

TEST(H3CCASBackupSet, GenerateDoesNotChangeTheRecord) {
  H3C_CAS_Backup_Set set;
  set.vm_disks.push_back(Value(Object{{"a", Value(1)}}));
  std::string const first = document_of(set);
  EXPECT_EQ(first, document_of(set));
  EXPECT_EQ(1u, set.vm_disks.size());
}

// ---- module and registry ----------------------------------------------------

TEST(H3CCASBackupSet, CatalogueModuleIsH3ccas) {
  expect_kind_names<H3C_CAS_Backup_Set>("h3ccas", "H3C_CAS_Backup_Set", "h3ccas_backup_set");
}

TEST(H3CCASBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<H3C_CAS_Backup_Set>("h3ccas");
}

// ---- statement --------------------------------------------------------------

TEST(H3CCASBackupSet, StatementReadsItsOwnTableUnderTheCallersAlias) {
  expect_own_table_statement<H3C_CAS_Backup_Set>("h3ccas_backup_set", h3c_columns, {"h"}, "backup_set", "b");
}

TEST(H3CCASBackupSet, StatementFollowsAnotherAlias) {
  expect_own_table_statement<H3C_CAS_Backup_Set>("h3ccas_backup_set", h3c_columns, {"cas", "b", "t9"});
}

TEST(H3CCASBackupSet, StatementCarriesNoKeyOfTheBaseTable) {
  expect_no_base_column<H3C_CAS_Backup_Set>(13u);
}

TEST(H3CCASBackupSet, StatementTextSelectsFromItsTableOnly) {
  Select_SQL sql("backup_set", "b");
  H3C_CAS_Backup_Set::init_select_sql(sql, "h");
  std::string const expected =
      "SELECT h.set_uuid,h.cvk_host_id,h.cvk_host_name,h.cvk_host_ip,h.vm_id,h.vm_title,h.vm_name,"
      "h.vm_config_path,h.cbt_name,h.vm_disks,h.cpu_count,h.cpu_cores,h.memory_mbytes FROM h3ccas_backup_set h";
  EXPECT_EQ(expected, sql.text(Dialect::SQLite));
  EXPECT_EQ(expected, sql.text(Dialect::PostgreSQL));
}

// ---- intake (all Backup_Set's) ---------------------------------------------

TEST(H3CCASBackupSet, OwnKeysInARowAreNotTaken) {
  H3C_CAS_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "cvk_host_id", "3"));
  EXPECT_TRUE(cstr(set, "vm_name", "web"));
  EXPECT_TRUE(cstr(set, "cbt_name", "c"));
  EXPECT_TRUE(cstr(set, "set_uuid", "s"));
  EXPECT_TRUE(set.print_int(0, "cpu_count", 8));
  EXPECT_TRUE(set.print_int(0, "cpu_cores", 4));
  EXPECT_TRUE(set.print_int(0, "memory_mbytes", 2048));
  EXPECT_TRUE(set.print_uint(0, "memory_mbytes", 2048));
  EXPECT_TRUE(set.print_json(0, "vm_disks", Value(Array{Value("vda")})));
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ(1, set.cpu_count);
  EXPECT_EQ(1, set.cpu_cores);
  EXPECT_EQ(1024u, set.memory_mbytes);
  EXPECT_TRUE(set.vm_disks.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(H3CCASBackupSet, BaseColumnsReachTheBase) {
  H3C_CAS_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d"));
  EXPECT_TRUE(cstr(set, "name", "cas-nightly"));
  EXPECT_TRUE(set.print_int(0, "size", 1LL << 36));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Object{{"cluster", Value("c1")}})));
  EXPECT_EQ("3b1f0c2e-5d7a-4e8b-9c0d-1e2f3a4b5c6d", set.uuid);
  EXPECT_EQ("cas-nightly", set.name);
  EXPECT_EQ(1LL << 36, set.size);
  EXPECT_EQ((Object{{"cluster", Value("c1")}}), set.resource_tree);
}

TEST(H3CCASBackupSet, UnsignedAndBoolColumnsEndAtThePrinterDefault) {
  expect_unsigned_and_bool_end_at_printer_default<H3C_CAS_Backup_Set>();
}

TEST(H3CCASBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  expect_null_or_empty_key_refused_by_base<H3C_CAS_Backup_Set>(Value(Array()), BASE_SOURCE);
}

TEST(H3CCASBackupSet, BaseColumnInsideAnOpenArrayIsIgnored) {
  H3C_CAS_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_array(0, "vm_disks"));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  EXPECT_TRUE(p.print_int(0, "size", 9));
  ASSERT_TRUE(p.end_array());
  EXPECT_EQ("", set.name);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(cstr(p, "name", "top"));
  EXPECT_EQ("top", set.name);
}
