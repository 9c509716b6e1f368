#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/oceanbase_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("archive_dest":"","version":"","cluster_name":"","log_archive_round":0,"cluster_id":0,"tenants":[]})";

// OceanBase reads through Backup_Set alone: its refusals name the base's
// source file.
char const BASE_SOURCE[] = "/backup_set.cpp";

OceanBase_Tenant tenant(unsigned long long id, std::string name, std::vector<std::string> pools) {
  OceanBase_Tenant t;
  t.tenant_id = id;
  t.tenant_name = std::move(name);
  t.resource_pools = std::move(pools);
  return t;
}

}  // namespace

TEST(OceanBaseBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<OceanBase_Backup_Set>("oceanbase", DEFAULT_KEYS);
}

TEST(OceanBaseBackupSet, FreshTenantIsZeroAndEmpty) {
  OceanBase_Tenant t;
  EXPECT_EQ(0u, t.tenant_id);
  EXPECT_EQ("", t.tenant_name);
  EXPECT_EQ("", t.data_start_time);
  EXPECT_EQ("", t.log_max_next_time);
  EXPECT_EQ("", t.zone_list);
  EXPECT_EQ("", t.primary_zone);
  EXPECT_EQ("", t.locality);
  EXPECT_TRUE(t.resource_pools.empty());
}

TEST(OceanBaseBackupSet, FilledDocumentHasEveryKeyInOrder) {
  OceanBase_Backup_Set set;
  set.archive_dest = "file:///obbackup/archive";
  set.version = "4.2.1.0";
  set.cluster_name = "ob\"cluster\"";
  set.log_archive_round = 18446744073709551615ULL;
  set.cluster_id = 4294967296ULL;
  OceanBase_Tenant t1;
  t1.tenant_id = 1002;
  t1.tenant_name = "mysql_tenant";
  t1.data_start_time = "2023-11-14 22:13:20.000000";
  t1.log_max_next_time = "2023-11-15 00:13:20";
  t1.zone_list = "zone1;zone2;zone3";
  t1.primary_zone = "RANDOM";
  t1.locality = "FULL{1}@zone1, FULL{1}@zone2";
  t1.resource_pools = {"pool_a", "pool_\xE6\xB1\xA0"};  // one CJK character
  set.tenants.push_back(t1);
  set.tenants.push_back(tenant(18446744073709551615ULL, "t\\2", {"p"}));
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("oceanbase") +
                R"("archive_dest":"file:///obbackup/archive","version":"4.2.1.0","cluster_name":"ob\"cluster\"",)"
                R"("log_archive_round":18446744073709551615,"cluster_id":4294967296,"tenants":[)"
                R"({"tenant_id":1002,"tenant_name":"mysql_tenant","data_start_time":"2023-11-14 22:13:20.000000",)"
                R"("log_max_next_time":"2023-11-15 00:13:20","zone_list":"zone1;zone2;zone3",)"
                R"("primary_zone":"RANDOM","locality":"FULL{1}@zone1, FULL{1}@zone2",)"
                R"("resource_pools":["pool_a","pool_)"
                "\xE6\xB1\xA0"
                R"("]},)"
                R"({"tenant_id":18446744073709551615,"tenant_name":"t\\2","data_start_time":"",)"
                R"("log_max_next_time":"","zone_list":"","primary_zone":"","locality":"",)"
                R"("resource_pools":["p"]}]})",
            doc.text);
}

TEST(OceanBaseBackupSet, TenantWithoutPoolsWritesAnEmptyArray) {
  OceanBase_Backup_Set set;
  set.tenants.push_back(tenant(1, "sys", {}));
  EXPECT_EQ(R"("archive_dest":"","version":"","cluster_name":"","log_archive_round":0,"cluster_id":0,)"
            R"("tenants":[{"tenant_id":1,"tenant_name":"sys","data_start_time":"","log_max_next_time":"",)"
            R"("zone_list":"","primary_zone":"","locality":"","resource_pools":[]}]})",
            own_keys(set, "oceanbase"));
}

TEST(OceanBaseBackupSet, TenantsAndPoolsKeepTheirOrderAndDuplicates) {
  OceanBase_Backup_Set set;
  set.tenants.push_back(tenant(2, "b", {"z", "a", "z"}));
  set.tenants.push_back(tenant(1, "a", {}));
  std::string const keys = own_keys(set, "oceanbase");
  size_t const b = keys.find(R"("tenant_id":2,"tenant_name":"b")");
  size_t const a = keys.find(R"("tenant_id":1,"tenant_name":"a")");
  ASSERT_NE(std::string::npos, b);
  ASSERT_NE(std::string::npos, a);
  EXPECT_LT(b, a);
  EXPECT_NE(std::string::npos, keys.find(R"("resource_pools":["z","a","z"]})"));
}

TEST(OceanBaseBackupSet, CatalogueModuleIsOceanBase) {
  expect_catalogue_module<OceanBase_Backup_Set>("oceanbase");
  EXPECT_STREQ("OceanBase_Backup_Set", OceanBase_Backup_Set::kind().class_name());
}

TEST(OceanBaseBackupSet, KindIsRegistered) {
  expect_listed_in_registry<OceanBase_Backup_Set>();
  EXPECT_EQ(&OceanBase_Backup_Set::kind(), Backup_Set_Kinds::find("oceanbase"));
}

TEST(OceanBaseBackupSet, KindHasNoStatementOrTableOfItsOwn) {
  Backup_Set_Kind const& kind = OceanBase_Backup_Set::kind();
  EXPECT_EQ(Backup_Set_Kind::NONE, kind.selection());
  EXPECT_EQ(nullptr, kind.table());
  EXPECT_EQ(nullptr, kind.alias());
  EXPECT_TRUE(kind.columns().empty());
  EXPECT_TRUE(kind.member_tables().empty());
}

TEST(OceanBaseBackupSet, StatementIsThePlainSetsStatement) {
  Select_SQL sql("backup_set", "b");
  OceanBase_Backup_Set::init_select_sql(sql, "b");
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  EXPECT_EQ(base.columns(), sql.columns());
  EXPECT_TRUE(sql.joins().empty());
  EXPECT_EQ("backup_set", sql.from_table());
  EXPECT_EQ(base.text(Dialect::SQLite), sql.text(Dialect::SQLite));
  // The kind's own table says the same.
  Select_SQL through_kind("backup_set", "b");
  OceanBase_Backup_Set::kind().init_select_sql(through_kind, "b");
  EXPECT_EQ(base.columns(), through_kind.columns());
  EXPECT_TRUE(through_kind.joins().empty());
}

TEST(OceanBaseBackupSet, OwnKeysAreNeverTakenFromARow) {
  OceanBase_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "archive_dest", "file:///x"));
  EXPECT_TRUE(cstr(set, "version", "4"));
  EXPECT_TRUE(cstr(set, "cluster_name", "c"));
  EXPECT_TRUE(set.print_int(0, "log_archive_round", 3));
  EXPECT_TRUE(set.print_int(0, "cluster_id", 4));
  EXPECT_TRUE(set.print_uint(0, "log_archive_round", 3));
  EXPECT_TRUE(set.print_uint(0, "cluster_id", 4));
  EXPECT_TRUE(set.print_json(0, "tenants", Value(Array{Value(Object{{"tenant_id", Value(1)}})})));
  EXPECT_TRUE(set.print_bool(0, "version", true));
  EXPECT_EQ("", set.archive_dest);
  EXPECT_EQ("", set.version);
  EXPECT_EQ("", set.cluster_name);
  EXPECT_EQ(0u, set.log_archive_round);
  EXPECT_EQ(0u, set.cluster_id);
  EXPECT_TRUE(set.tenants.empty());
  EXPECT_EQ(before, document_of(set));
}

TEST(OceanBaseBackupSet, CommonColumnsAreReadAsForAPlainSet) {
  OceanBase_Backup_Set set;
  EXPECT_TRUE(cstr(set, "name", "ob-full"));
  EXPECT_TRUE(cstr(set, "backup_start_time", "2023-11-14 22:13:20"));
  EXPECT_TRUE(set.print_int(0, "size", 123));
  EXPECT_TRUE(set.print_json(0, "extended_attrs", Value(Object{{"round", Value(3)}})));
  EXPECT_EQ("ob-full", set.name);
  EXPECT_EQ(1700000000, set.backup_start_time);
  EXPECT_EQ(123, set.size);
  EXPECT_EQ((Object{{"round", Value(3)}}), set.extended_attrs);
}

TEST(OceanBaseBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  Log_Capture capture;
  OceanBase_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  EXPECT_FALSE(set.print_int(0, "", 1));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 5, BASE_SOURCE);
  EXPECT_EQ(before, document_of(set));
}

TEST(OceanBaseBackupSet, ValuesInsideAnOpenMapOrArrayAreIgnored) {
  OceanBase_Backup_Set set;
  database::sql::Query_Result_Printer& p = set;
  ASSERT_TRUE(p.start_map(0, "resource_tree"));
  EXPECT_TRUE(cstr(p, "name", "nested"));
  EXPECT_TRUE(p.print_int(0, "size", 5));
  ASSERT_TRUE(p.end_map());
  EXPECT_EQ("", set.name);
  EXPECT_EQ(0, set.size);
  EXPECT_TRUE(cstr(p, "name", "top"));
  EXPECT_EQ("top", set.name);
}
