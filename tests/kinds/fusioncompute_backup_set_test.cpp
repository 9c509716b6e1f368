#include <algorithm>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backup/backup_set/common/backup_set_kinds.h"
#include "backup/backup_set/common/fusioncompute_backup_set.h"
#include "platform/sql/select_sql.h"
#include "tests/kinds/kind_test_support.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

char const DEFAULT_KEYS[] =
    R"("vm_uuid":"","vm_name":"","vm_uri":"","location_urn":"","os_type":"","os_version":0,"cpu_count":0,)"
    R"("memory_mbytes":0,"snapshot_urn":"","network_adapters":[],"volumes":[]})";

char const* const COLUMN_KEYS[] = {"vm_name",       "vm_uuid",   "vm_uri",        "location_urn",
                                   "os_type",       "os_version", "cpu_count",    "memory_mbytes",
                                   "network_adapters", "volumes", "snapshot_urn"};

Columns fusioncompute_columns(std::string const& alias) {
  Columns out;
  for (char const* key : COLUMN_KEYS) out.emplace_back(alias + "." + key, key);
  return out;
}

FusionCompute_Network_Adapter adapter(char const* name, char const* ip, char const* mac, char const* port_group,
                                      unsigned int sequence_num) {
  FusionCompute_Network_Adapter a;
  a.name = name;
  a.ip = ip;
  a.mac = mac;
  a.port_group_urn = port_group;
  a.sequence_num = sequence_num;
  return a;
}

FusionCompute_Volume volume(char const* name, char const* uuid, unsigned int sequence_num) {
  FusionCompute_Volume v;
  v.name = name;
  v.uuid = uuid;
  v.sequence_num = sequence_num;
  return v;
}

}  // namespace

// ---- document -------------------------------------------------------------

TEST(FusionComputeBackupSet, DefaultDocumentIsBaseThenEmptyOwnKeys) {
  expect_default_document<FusionCompute_Backup_Set>("fusioncompute", DEFAULT_KEYS);
}

TEST(FusionComputeBackupSet, DefaultSetWritesZerosAndEmptyArrays) {
  FusionCompute_Backup_Set set;
  std::string const keys = own_keys(set, "fusioncompute");
  EXPECT_EQ(DEFAULT_KEYS, keys);
  EXPECT_NE(std::string::npos, keys.find(R"("os_version":0,"cpu_count":0,"memory_mbytes":0,)"));
  EXPECT_NE(std::string::npos, keys.find(R"("network_adapters":[],"volumes":[]})"));
  EXPECT_EQ(0u, set.os_version);
  EXPECT_EQ(0u, set.cpu_count);
  EXPECT_EQ(0u, set.memory_mbytes);
  EXPECT_TRUE(set.network_adapters.empty());
  EXPECT_TRUE(set.volumes.empty());
}

TEST(FusionComputeBackupSet, FilledDocumentHasEveryKeyInOrder) {
  FusionCompute_Backup_Set set;
  set.vm_name = "fc \"vm\"";
  set.vm_uuid = "4f3c-01";
  set.vm_uri = "/service/sites/1/vms/i-1";
  set.location_urn = "urn:sites:1";
  set.os_type = "Linux\\Other";
  set.snapshot_urn = "urn:snap:\xE5\xBF\xAB";  // one CJK character
  set.os_version = 2147483647u;
  set.cpu_count = 4;
  set.memory_mbytes = 8192;
  set.network_adapters.push_back(adapter("eth0", "192.168.0.2", "28:6e:d4:88:c6:01", "urn:pg:1", 1));
  set.network_adapters.push_back(adapter("", "", "", "", 0));
  FusionCompute_Volume v1;
  v1.name = "disk1";
  v1.urn = "urn:vol:1";
  v1.uuid = "vol-uuid-1";
  v1.pci_type = "IDE";
  v1.storage_type = "LOCAL";
  v1.datastore_urn = "urn:ds:1";
  v1.thin = true;
  v1.quantity = 40;
  v1.sequence_num = 1;
  v1.block_size = 1099511627776ULL;
  v1.snapshot.uuid = "snap-1";
  v1.snapshot.snap_name_on_dev = "sd\n1";
  v1.snapshot.chg_id = "chg\\1";
  FusionCompute_Volume v2;
  v2.quantity = 2147483647u;
  v2.sequence_num = 2;
  v2.block_size = 18446744073709551615ULL;
  set.volumes = {v1, v2};
  Generated doc = generate_text(set);
  EXPECT_TRUE(doc.ok);
  EXPECT_EQ(base_prefix("fusioncompute") +
                R"("vm_uuid":"4f3c-01","vm_name":"fc \"vm\"","vm_uri":"/service/sites/1/vms/i-1",)"
                R"("location_urn":"urn:sites:1","os_type":"Linux\\Other","os_version":2147483647,"cpu_count":4,)"
                R"("memory_mbytes":8192,"snapshot_urn":"urn:snap:)"
                "\xE5\xBF\xAB"
                R"(","network_adapters":[{"name":"eth0","ip":"192.168.0.2","mac":"28:6e:d4:88:c6:01",)"
                R"("port_group_urn":"urn:pg:1","sequence_num":1},)"
                R"({"name":"","ip":"","mac":"","port_group_urn":"","sequence_num":0}],)"
                R"("volumes":[{"name":"disk1","urn":"urn:vol:1","uuid":"vol-uuid-1","pci_type":"IDE",)"
                R"("storage_type":"LOCAL","datastore_urn":"urn:ds:1","thin":true,"quantity":40,"sequence_num":1,)"
                R"("block_size":1099511627776,"snapshot":{"uuid":"snap-1","snap_name_on_dev":"sd\n1",)"
                R"("chg_id":"chg\\1"}},)"
                R"({"name":"","urn":"","uuid":"","pci_type":"","storage_type":"","datastore_urn":"","thin":false,)"
                R"("quantity":2147483647,"sequence_num":2,"block_size":18446744073709551615,)"
                R"("snapshot":{"uuid":"","snap_name_on_dev":"","chg_id":""}}]})",
            doc.text);
}

TEST(FusionComputeBackupSet, VmUuidIsWrittenBeforeVmName) {
  FusionCompute_Backup_Set set;
  set.vm_name = "N";
  set.vm_uuid = "U";
  EXPECT_EQ(0u, own_keys(set, "fusioncompute").find(R"("vm_uuid":"U","vm_name":"N",)"));
}

TEST(FusionComputeBackupSet, ThinVolumeWithTwoToTheFortyBlocksWritesTrueAndTheFullNumber) {
  FusionCompute_Backup_Set set;
  FusionCompute_Volume v;
  v.thin = true;
  v.block_size = 1ULL << 40;
  set.volumes.push_back(v);
  std::string const keys = own_keys(set, "fusioncompute");
  EXPECT_NE(std::string::npos, keys.find(R"("thin":true,)")) << keys;
  EXPECT_NE(std::string::npos, keys.find(R"("block_size":1099511627776,)")) << keys;
}

TEST(FusionComputeBackupSet, DefaultVolumeAndAdapterWriteEveryKey) {
  FusionCompute_Backup_Set set;
  set.network_adapters.emplace_back();
  set.volumes.emplace_back();
  std::string const keys = own_keys(set, "fusioncompute");
  EXPECT_NE(std::string::npos,
            keys.find(R"("network_adapters":[{"name":"","ip":"","mac":"","port_group_urn":"","sequence_num":0}],)"
                      R"("volumes":[{"name":"","urn":"","uuid":"","pci_type":"","storage_type":"",)"
                      R"("datastore_urn":"","thin":false,"quantity":0,"sequence_num":0,"block_size":0,)"
                      R"("snapshot":{"uuid":"","snap_name_on_dev":"","chg_id":""}}]})"))
      << keys;
}

TEST(FusionComputeBackupSet, AdaptersAndVolumesKeepVectorOrder) {
  FusionCompute_Backup_Set set;
  set.network_adapters.push_back(adapter("b", "", "", "", 2));
  set.network_adapters.push_back(adapter("a", "", "", "", 1));
  set.volumes.push_back(volume("z", "u2", 9));
  set.volumes.push_back(volume("y", "u1", 3));
  std::string const keys = own_keys(set, "fusioncompute");
  size_t const b = keys.find(R"("name":"b")");
  size_t const a = keys.find(R"("name":"a")");
  size_t const z = keys.find(R"("name":"z")");
  size_t const y = keys.find(R"("name":"y")");
  ASSERT_NE(std::string::npos, a);
  ASSERT_NE(std::string::npos, y);
  EXPECT_LT(b, a);
  EXPECT_LT(a, z);
  EXPECT_LT(z, y);
}

// ---- kind -----------------------------------------------------------------

TEST(FusionComputeBackupSet, CatalogueModuleIsFusioncompute) {
  expect_kind_names<FusionCompute_Backup_Set>("fusioncompute", "FusionCompute_Backup_Set", "fusioncompute_backup_set");
}

TEST(FusionComputeBackupSet, KindIsListedInTheRegistry) {
  expect_registered_as<FusionCompute_Backup_Set>("fusioncompute");
}

// ---- statement ------------------------------------------------------------

TEST(FusionComputeBackupSet, StatementReadsItsOwnTableAloneUnderTheCallersAlias) {
  expect_own_table_statement<FusionCompute_Backup_Set>("fusioncompute_backup_set", fusioncompute_columns, {"f"}, "backup_set", "b");
}

TEST(FusionComputeBackupSet, StatementFollowsOtherAliases) {
  expect_own_table_statement<FusionCompute_Backup_Set>("fusioncompute_backup_set", fusioncompute_columns, {"fc", "vm2", "b"});
}

TEST(FusionComputeBackupSet, StatementNamesVmNameFirstAndSnapshotUrnLast) {
  Select_SQL sql("x", "y");
  FusionCompute_Backup_Set::init_select_sql(sql, "f");
  ASSERT_EQ(11u, sql.columns().size());
  EXPECT_EQ((Select_SQL::Column{"f.vm_name", "vm_name"}), sql.columns()[0]);
  EXPECT_EQ((Select_SQL::Column{"f.vm_uuid", "vm_uuid"}), sql.columns()[1]);
  EXPECT_EQ((Select_SQL::Column{"f.snapshot_urn", "snapshot_urn"}), sql.columns()[10]);
  for (auto const& c : sql.columns()) {
    EXPECT_NE("set_uuid", c.second);
    EXPECT_NE("uuid", c.second);
  }
}

// ---- column intake --------------------------------------------------------

TEST(FusionComputeBackupSet, RowCarryingVmNameLeavesTheRecordUnchanged) {
  FusionCompute_Backup_Set set;
  std::string const before = document_of(set);
  EXPECT_TRUE(cstr(set, "vm_name", "from-row"));
  EXPECT_EQ("", set.vm_name);
  EXPECT_EQ(before, document_of(set));
}

TEST(FusionComputeBackupSet, NoOwnColumnIsTaken) {
  FusionCompute_Backup_Set set;
  std::string const before = document_of(set);
  for (char const* key : {"vm_name", "vm_uuid", "vm_uri", "location_urn", "os_type", "snapshot_urn"})
    EXPECT_TRUE(cstr(set, key, "v")) << key;
  for (char const* key : {"os_version", "cpu_count", "memory_mbytes"}) EXPECT_TRUE(set.print_int(0, key, 7)) << key;
  EXPECT_TRUE(set.print_json(0, "network_adapters", Value(Array{Value(Object{{"name", Value("eth0")}})})));
  EXPECT_TRUE(set.print_json(0, "volumes", Value(Array{Value(Object{{"uuid", Value("u")}})})));
  EXPECT_EQ(before, document_of(set));
}

TEST(FusionComputeBackupSet, BaseColumnsAreTakenByTheBase) {
  FusionCompute_Backup_Set set;
  EXPECT_TRUE(cstr(set, "uuid", "set-1"));
  EXPECT_TRUE(set.print_int(0, "source_size", 9));
  EXPECT_EQ("set-1", set.uuid);
  EXPECT_EQ(9, set.source_size);
}

TEST(FusionComputeBackupSet, NullOrEmptyKeyIsRefusedByTheBase) {
  Log_Capture capture;
  FusionCompute_Backup_Set set;
  EXPECT_FALSE(set.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(set.print_int(0, nullptr, 1));
  expect_key_refusals(capture, 2, "/backup_set.cpp");
}

// ---- look-ups -------------------------------------------------------------

TEST(FusionComputeBackupSet, GetVolumeByTextFindsTheUuidNotTheName) {
  FusionCompute_Backup_Set set;
  set.volumes.push_back(volume("x", "uuid-1", 1));
  set.volumes.push_back(volume("x", "uuid-2", 2));
  EXPECT_EQ(nullptr, set.get_volume(std::string("x")));
  set.volumes.push_back(volume("other", "x", 3));
  EXPECT_EQ(&set.volumes[2], set.get_volume(std::string("x")));
  EXPECT_EQ(&set.volumes[1], set.get_volume(std::string("uuid-2")));
}

TEST(FusionComputeBackupSet, GetVolumeXIsNullWhileGetNetworkAdapterXFindsTheAdapter) {
  FusionCompute_Backup_Set set;
  set.volumes.push_back(volume("x", "vol-uuid-1", 1));
  set.volumes.push_back(volume("x", "vol-uuid-2", 2));
  set.network_adapters.push_back(adapter("x", "10.0.0.9", "aa:bb", "urn:pg", 1));
  EXPECT_EQ(nullptr, set.get_volume(std::string("x")));
  FusionCompute_Network_Adapter const* found = set.get_network_adapter(std::string("x"));
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(&set.network_adapters[0], found);
  EXPECT_EQ("10.0.0.9", found->ip);
}

TEST(FusionComputeBackupSet, GetVolumeByUuidComparesByteWiseAndTakesTheFirst) {
  FusionCompute_Backup_Set set;
  set.volumes.push_back(volume("a", "u", 1));
  set.volumes.push_back(volume("b", "", 2));
  set.volumes.back().uuid = std::string("u\0v", 3);
  set.volumes.push_back(volume("c", "u", 3));
  EXPECT_EQ(&set.volumes[0], set.get_volume(std::string("u")));
  EXPECT_EQ(&set.volumes[1], set.get_volume(std::string("u\0v", 3)));
  EXPECT_EQ(nullptr, set.get_volume(std::string("U")));
  EXPECT_EQ(nullptr, set.get_volume(std::string("u ")));
  EXPECT_EQ(nullptr, set.get_volume(std::string("")));
}

TEST(FusionComputeBackupSet, GetVolumeBySequenceNumberReturnsTheFirstOfTwo) {
  FusionCompute_Backup_Set set;
  set.volumes.push_back(volume("a", "ua", 1));
  set.volumes.push_back(volume("b", "ub", 3));
  set.volumes.push_back(volume("c", "uc", 3));
  EXPECT_EQ(&set.volumes[1], set.get_volume(3));
  EXPECT_EQ("b", set.get_volume(3)->name);
  EXPECT_EQ(&set.volumes[0], set.get_volume(1));
  EXPECT_EQ(nullptr, set.get_volume(2));
  EXPECT_EQ(nullptr, set.get_volume(0));
}

TEST(FusionComputeBackupSet, GetNetworkAdapterByTextFindsTheName) {
  FusionCompute_Backup_Set set;
  set.network_adapters.push_back(adapter("eth0", "x", "x", "x", 1));
  EXPECT_EQ(nullptr, set.get_network_adapter(std::string("x")));
  set.network_adapters.push_back(adapter("x", "10.0.0.2", "aa:bb", "urn:pg", 2));
  set.network_adapters.push_back(adapter("x", "10.0.0.3", "cc:dd", "urn:pg", 3));
  EXPECT_EQ(&set.network_adapters[1], set.get_network_adapter(std::string("x")));
  EXPECT_EQ("10.0.0.2", set.get_network_adapter(std::string("x"))->ip);
  EXPECT_EQ(&set.network_adapters[0], set.get_network_adapter(std::string("eth0")));
  EXPECT_EQ(nullptr, set.get_network_adapter(std::string("X")));
  EXPECT_EQ(nullptr, set.get_network_adapter(std::string("eth")));
}

TEST(FusionComputeBackupSet, GetNetworkAdapterBySequenceNumberReturnsTheFirst) {
  FusionCompute_Backup_Set set;
  set.network_adapters.push_back(adapter("a", "", "", "", 5));
  set.network_adapters.push_back(adapter("b", "", "", "", 7));
  set.network_adapters.push_back(adapter("c", "", "", "", 7));
  EXPECT_EQ(&set.network_adapters[1], set.get_network_adapter(7));
  EXPECT_EQ(&set.network_adapters[0], set.get_network_adapter(5));
  EXPECT_EQ(nullptr, set.get_network_adapter(6));
}

TEST(FusionComputeBackupSet, LookUpsOnEmptyListsFindNothing) {
  FusionCompute_Backup_Set const set;
  EXPECT_EQ(nullptr, set.get_volume(std::string("u")));
  EXPECT_EQ(nullptr, set.get_volume(0));
  EXPECT_EQ(nullptr, set.get_network_adapter(std::string("eth0")));
  EXPECT_EQ(nullptr, set.get_network_adapter(0));
}

TEST(FusionComputeBackupSet, VolumesAreNotFoundByAdapterNamesNorAdaptersByVolumeUuids) {
  FusionCompute_Backup_Set set;
  set.volumes.push_back(volume("disk", "shared", 1));
  set.network_adapters.push_back(adapter("nic", "", "", "", 2));
  EXPECT_EQ(nullptr, set.get_volume(std::string("nic")));
  EXPECT_EQ(nullptr, set.get_network_adapter(std::string("shared")));
  EXPECT_EQ(nullptr, set.get_volume(2));
  EXPECT_EQ(nullptr, set.get_network_adapter(1));
}
