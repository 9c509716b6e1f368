#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/fusioncloud_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("vm_id":"","vm_name":"","project_id":"","project_name":"","vm_profile":{},"flavor_profile":{},)"
    R"("interfaces_profile":[],"image_profile":{},"volumes_profile":[]})";

char const* const COLUMN_KEYS[] = {"set_uuid",       "vm_id",          "vm_name",           "project_id",
                                   "project_name",   "vm_profile",     "flavor_profile",    "interfaces_profile",
                                   "image_profile",  "volumes_profile"};

Columns fusioncloud_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

// The base's columns, always under "b".
Columns base_columns() {
  Select_SQL base("backup_set", "b");
  Backup_Set::init_select_sql(base, "b");
  return base.columns();
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(FusionCloudBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<FusionCloud_Backup_Set>("fusioncloud", DEFAULT_KEYS);
}

TEST(FusionCloudBackupSet, FreshSetHasEveryFieldEmpty) {
  FusionCloud_Backup_Set set;
  EXPECT_EQ("", set.vm_id);
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ("", set.project_id);
  EXPECT_EQ("", set.project_name);
  EXPECT_TRUE(set.vm_profile.empty());
  EXPECT_TRUE(set.flavor_profile.empty());
  EXPECT_TRUE(set.interfaces_profile.empty());
  EXPECT_TRUE(set.image_profile.empty());
  EXPECT_TRUE(set.volumes_profile.empty());
}

TEST(FusionCloudBackupSet, FilledDocumentHasEveryKeyInOrder) {
  FusionCloud_Backup_Set set;
  set.vm_id = "fc-1";
  set.vm_name = "vm \"q\"";
  set.project_id = "p-1";
  set.project_name = "proj\\x \xE9\xA1\xB9";  // one CJK character
  set.vm_profile = Object{{"status", Value("ACTIVE")}, {"id", Value("i1")}};
  set.flavor_profile = Object{{"vcpus", Value(2)}, {"ram", Value(4096)}, {"disk", Value(18446744073709551615ULL)}};
  set.interfaces_profile = Array{Value(Object{{"port_id", Value("p")}}), Value("x")};
  set.image_profile = Object{{"min_disk", Value(LLONG_MIN)}, {"tags", Value(Array{Value("a\nb")})}};
  set.volumes_profile = Array{Value(Array()), Value(Object()), Value(), Value(false)};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("fusioncloud") +
                R"("vm_id":"fc-1","vm_name":"vm \"q\"","project_id":"p-1","project_name":"proj\\x )"
                "\xE9\xA1\xB9"
                R"(","vm_profile":{"id":"i1","status":"ACTIVE"},)"
                R"("flavor_profile":{"disk":18446744073709551615,"ram":4096,"vcpus":2},)"
                R"("interfaces_profile":[{"port_id":"p"},"x"],)"
                R"("image_profile":{"min_disk":-9223372036854775808,"tags":["a\nb"]},)"
                R"("volumes_profile":[[],{},null,false]})",
            doc.text);
}

TEST(FusionCloudBackupSet, EachProfileIsWrittenUnderItsOwnKey) {
  FusionCloud_Backup_Set set;
  set.image_profile = Object{{"name", Value("cirros")}};
  set.volumes_profile = Array{Value(1)};
  EXPECT_EQ(R"("vm_id":"","vm_name":"","project_id":"","project_name":"","vm_profile":{},"flavor_profile":{},)"
            R"("interfaces_profile":[],"image_profile":{"name":"cirros"},"volumes_profile":[1]})",
            own_keys(set, "fusioncloud"));
}

// ---- kind -----------------------------------------------------------------

TEST(FusionCloudBackupSet, CatalogueModuleIsFusioncloud) {
  expect_kind_names<FusionCloud_Backup_Set>("fusioncloud", "FusionCloud_Backup_Set", "fusioncloud_backup_set");
}

TEST(FusionCloudBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<FusionCloud_Backup_Set>("fusioncloud");
}

// ---- statement ------------------------------------------------------------

TEST(FusionCloudBackupSet, StatementGivenFcNamesBaseColumnsWithBAndItsOwnWithFc) {
  Select_SQL sql("backup_set", "b");
  FusionCloud_Backup_Set::init_select_sql(sql, "fc");
  Columns const base = base_columns();
  ASSERT_EQ(base.size() + 10, sql.columns().size());
  EXPECT_TRUE(std::equal(base.begin(), base.end(), sql.columns().begin()));
  for (size_t i = 0; i < base.size(); ++i)
    EXPECT_EQ(0u, sql.columns()[i].first.find("b.")) << sql.columns()[i].first;
  EXPECT_EQ(fusioncloud_columns("fc"), own_columns(sql));
  for (size_t i = base.size(); i < sql.columns().size(); ++i)
    EXPECT_EQ(0u, sql.columns()[i].first.find("fc.")) << sql.columns()[i].first;
}

TEST(FusionCloudBackupSet, StatementReadsItsTableUnderTheCallersAliasWithoutAJoin) {
  Select_SQL sql("backup_set", "b");
  FusionCloud_Backup_Set::init_select_sql(sql, "fc");
  EXPECT_EQ("fusioncloud_backup_set", sql.from_table());
  EXPECT_EQ("fc", sql.from_alias());
  EXPECT_TRUE(sql.joins().empty());
}

TEST(FusionCloudBackupSet, BaseColumnsStayUnderBWhateverTheAlias) {
  for (char const* alias : {"f", "cloud", "s"}) {
    Select_SQL sql("x", "y");
    FusionCloud_Backup_Set::init_select_sql(sql, alias);
    Columns const base = base_columns();
    ASSERT_EQ(base.size() + 10, sql.columns().size()) << alias;
    EXPECT_TRUE(std::equal(base.begin(), base.end(), sql.columns().begin())) << alias;
    EXPECT_EQ((Select_SQL::Column{"b.uuid", "uuid"}), sql.columns().front()) << alias;
    EXPECT_EQ(fusioncloud_columns(alias), own_columns(sql)) << alias;
    EXPECT_EQ("fusioncloud_backup_set", sql.from_table()) << alias;
    EXPECT_EQ(alias, sql.from_alias()) << alias;
    EXPECT_TRUE(sql.joins().empty()) << alias;
  }
}

TEST(FusionCloudBackupSet, OwnColumnsStartWithSetUuid) {
  Select_SQL sql("x", "y");
  FusionCloud_Backup_Set::init_select_sql(sql, "fc");
  Columns const own = own_columns(sql);
  ASSERT_EQ(10u, own.size());
  EXPECT_EQ((Select_SQL::Column{"fc.set_uuid", "set_uuid"}), own.front());
  EXPECT_EQ((Select_SQL::Column{"fc.vm_id", "vm_id"}), own[1]);
  EXPECT_EQ((Select_SQL::Column{"fc.volumes_profile", "volumes_profile"}), own.back());
}

// ---- column intake --------------------------------------------------------

TEST(FusionCloudBackupSet, RowCarryingVmNameLeavesTheRecordUnchanged) {
  FusionCloud_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "vm_name", "from-row"));
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ(before, document_of(set));
}

TEST(FusionCloudBackupSet, NoOwnColumnIsTaken) {
  FusionCloud_Backup_Set set;
  std::string const before = document_of(set);
  for (char const* key : {"set_uuid", "vm_id", "vm_name", "project_id", "project_name"})
    EXPECT_TRUE(cstr(set, key, "v")) << key;
  for (char const* key : {"vm_profile", "flavor_profile", "image_profile"})
    EXPECT_TRUE(set.print_json(0, key, Value(Object{{"k", Value(1)}}))) << key;
  for (char const* key : {"interfaces_profile", "volumes_profile"})
    EXPECT_TRUE(set.print_json(0, key, Value(Array{Value(1)}))) << key;
  EXPECT_EQ(before, document_of(set));
}

TEST(FusionCloudBackupSet, BaseColumnsAreTakenByTheBase) {
  FusionCloud_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "set-1"));
  EXPECT_TRUE(cstr(set, "instance", "nova"));
  EXPECT_TRUE(set.print_json(0, "resource_tree", Value(Object{{"r", Value(1)}})));
  EXPECT_EQ("set-1", set.uuid);
  EXPECT_EQ("nova", set.instance);
  EXPECT_EQ((Object{{"r", Value(1)}}), set.resource_tree);
}

TEST(FusionCloudBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  Log_Capture capture;
  FusionCloud_Backup_Set set;
  EXPECT_FALSE(set.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(set.print_json(0, "", Value(Object())));
  expect_key_refusals(capture, 2, "/backup_set.cpp");
}
