// End to end, the third group of application kinds, the virtual-machine and
// cloud kinds (VMware, OpenStack, Hyper-V, FusionCompute, ICS, H3C CAS,
// CloudOS, FusionCloud, Windows bare-metal, Kubernetes): sets committed
// through the library's two catalogue operators to catalogd on loopback,
// then read back from the catalogue the way each kind is read: into the
// kind's record where its statement feeds one, as plain rows where the
// statement reads the kind's own table and the record takes none of it,
// and through the "sets" view's "application" object.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/cloudos_backup_set.h"
#include "backup/backup_set/common/fusioncloud_backup_set.h"
#include "backup/backup_set/common/fusioncompute_backup_set.h"
#include "backup/backup_set/common/h3c_cas_backup_set.h"
#include "backup/backup_set/common/hyper_v_backup_set.h"
#include "backup/backup_set/common/ics_backup_set.h"
#include "backup/backup_set/common/k8s_backup_set.h"
#include "backup/backup_set/common/openstack_backup_set.h"
#include "backup/backup_set/common/vmware_backup_set.h"
#include "backup/backup_set/common/windows_bmr_backup_set.h"
#include "platform/json/json_text.h"
#include "platform/sql/select_sql.h"
#include "tests/server/kind_commit_fixture.h"
#include "tests/support/log_capture.h"

namespace {

using namespace kind_commit;

// A machine name with something to lose: CJK, a four-byte character,
// both quotes.
std::string const kMachine = "\xe8\x99\x9a\xe6\x8b\x9f\xe6\x9c\xba \xf0\x9f\x92\xbe 'vm' \"01\"";

void fill(VMware_Backup_Set& s) {
  s.vm_uuid = "564d9a1c-7e2f-4b1d-9c3a-0f5e6d7c8b9a";
  s.instance_uuid = "5029b3d4-1111-2222-3333-444455556666";
  s.parent_uuid = "564d9a1c-0000-0000-0000-000000000001";
  s.vm_name = "web " + kMachine;
  s.esxi_name = "esxi-07.lab.example";
  s.esxi_uuid = "4c4c4544-0038-4810-8056-b4c04f4e3132";
  s.esxi_moid = "host-1021";
  s.vcenter_name = "vcsa 'east'";
  s.firmware = "efi";
  s.guestos_id = "windows2019srv_64Guest";
  s.version = "vmx-19";
  s.memory_size = 18446744073709551615ULL;
  s.cpu_num = 9223372036854775808ULL;  // just beyond the signed range
  s.cpu_cores_per_socket = 18446744073709551614ULL;
  s.controllers = json(R"([{"key": 1000, "type": "ParaVirtualSCSIController", "bus": 0, "sharing": "noSharing",
                            "capacity": 18446744073709551615},
                           {"key": 15000, "type": "VirtualSATAController", "bus": 0, "devices": [16000, 16001]}])")
                      .get_array();
  s.network_adapters = json(R"([{"key": 4000, "type": "VirtualVmxnet3", "mac": "00:50:56:aa:bb:cc",
                                 "network": "VM Network \u00fc", "connected": true, "offset": -9223372036854775808}])")
                           .get_array();
  s.cd_roms = json(R"([{"key": 16000, "iso": "[ds1] iso/'win'.iso", "connected": false}, {"key": 16001, "iso": null}])")
                  .get_array();
  s.tags = json(R"(["prod", "\u865a\u62df", {"category": "owner", "name": "ops \"team\""}])").get_array();
  s.resource_pool_name = long_text("pool");
  s.resource_pool_moid = "resgroup-8";
  s.folder_moid = "group-v3";
  s.datastore = "[datastore 'one'] web/web.vmx";
  s.snapshot_id = "snapshot-77";
  s.merge_backup_id = "7e2d3b5f-aaaa-4d4f-8b62-000000000077";
  s.is_template = true;
}

// Called after fill_common: the member table's key is the set's own uuid.
void fill(OpenStack_Backup_Set& s) {
  s.vm_id = "0b5c3f2e-6a7d-4e8f-9a0b-1c2d3e4f5a6b";
  s.vm_name = "instance " + kMachine;
  s.set_uuid = s.uuid;
  s.backup_uuid = "c0ffee00-1111-4222-8333-444455556666";
  s.last_backup_uuid = "c0ffee00-1111-4222-8333-444455556665";
  s.last_full_backup_uuid = "c0ffee00-1111-4222-8333-444455556660";
  s.profile = object(R"({"flavor": {"name": "m1.large", "vcpus": 4, "ram": 8192, "disk": 18446744073709551615},
                         "metadata": {"owner": "ops 'team'", "note": "\u00fc\u865a \"x\""},
                         "availability_zone": "nova", "security_groups": ["default", "web"], "locked": false,
                         "ratio": 0.25, "gone": null})");
  s.volumes = json(R"([{"id": "vol-1", "size": 9223372036854775807, "bootable": true, "device": "/dev/vda"},
                       {"id": "vol-2", "size": 1, "bootable": false, "device": "/dev/vdb", "attachments": []}])")
                  .get_array();
}

void fill(Hyper_V_Backup_Set& s) {
  s.vm_name = "hv " + kMachine;
  s.vm_guid = "5F1A2B3C-4D5E-6F70-8192-A3B4C5D6E7F8";
  s.vm_setting_id = "Microsoft:5F1A2B3C-4D5E-6F70-8192-A3B4C5D6E7F8";
  s.vm_prev_setting_id = long_text("Microsoft:prev");
  s.vm_config_version = "9.0";
  s.memory_mbytes = INT_MAX;
  s.cpu_count = INT_MIN;
  s.vm_generation = 2;
  Hyper_V_VHD_Chain system;
  system.id = "chain-0";
  system.rct_id = "rctX:c2e6d4a1";
  system.controller_type = "SCSI";
  system.total_size = 18446744073709551615ULL;
  system.address_0 = INT_MIN;
  system.address_1 = INT_MAX;
  system.vhds.push_back({"", "C:\\VMs\\disk \"0\".vhdx", 18446744073709551615ULL});
  system.vhds.push_back({"C:\\VMs\\disk \"0\".vhdx", "C:\\VMs\\disk0_\xe8\x99\x9a.avhdx", 1});
  s.vhd_chains["0:0"] = system;
  Hyper_V_VHD_Chain data;
  data.id = "chain-1";
  data.rct_id = long_text("rct");
  data.controller_type = "IDE";
  data.total_size = 9223372036854775808ULL;
  data.address_0 = 1;
  data.address_1 = -1;
  data.vhds.push_back({"", "D:\\data 'x'.vhdx", 0});
  s.vhd_chains["1:1 'x'"] = data;
  s.network_adapters.push_back({"00-15-5D-01-02-03", "Network Adapter", "vSwitch \"ext\"", true});
  s.network_adapters.push_back({"", "Legacy \xc3\xbc", "", false});
  s.controllers.push_back({"SCSI", INT_MAX});
  s.controllers.push_back({"IDE", INT_MIN});
  s.drives.push_back({0, 1, INT_MAX});
  s.drives.push_back({INT_MIN, -1, 0});
}

void fill(FusionCompute_Backup_Set& s) {
  s.vm_uuid = "fc-vm-0001";
  s.vm_name = "fc " + kMachine;
  s.vm_uri = "/service/sites/4D9A/vms/i-0000001";
  s.location_urn = "urn:sites:4D9A:clusters:117";
  s.os_type = "Linux";
  s.os_version = 4294967295u;  // written -1
  s.cpu_count = 2147483648u;   // written INT_MIN
  s.memory_mbytes = 2147483647u;
  s.snapshot_urn = long_text("urn:sites:4D9A:snapshots:");
  FusionCompute_Network_Adapter a;
  a.name = "eth0";
  a.ip = "192.0.2.10";
  a.mac = "28:6e:d4:88:c6:01";
  a.port_group_urn = "urn:sites:4D9A:dvswitchs:1:portgroups:1";
  a.sequence_num = 4294967295u;
  s.network_adapters.push_back(a);
  a.name = "eth1 'b'";
  a.ip = "";
  a.sequence_num = 1;
  s.network_adapters.push_back(a);
  FusionCompute_Volume v;
  v.name = "system \xe8\x99\x9a";
  v.urn = "urn:sites:4D9A:volumes:1";
  v.uuid = "9c0f2d8e-0000-4000-8000-000000000001";
  v.pci_type = "VIRTIO";
  v.storage_type = "LOCAL";
  v.datastore_urn = "urn:sites:4D9A:datastores:3";
  v.thin = true;
  v.quantity = 4294967295u;
  v.sequence_num = 2147483648u;
  v.block_size = 18446744073709551615ULL;
  v.snapshot.uuid = "snap-1";
  v.snapshot.snap_name_on_dev = "snap \"dev\" 'one'";
  v.snapshot.chg_id = "chg-0007";
  s.volumes.push_back(v);
  v.name = "data";
  v.thin = false;
  v.quantity = 0;
  v.sequence_num = 2;
  v.block_size = 512;
  v.snapshot = FusionCompute_Snapshot();
  s.volumes.push_back(v);
}

void fill(ICS_Backup_Set& s) {
  s.vm_id = "8a8a8a8a-ics-0001";
  s.vm_uuid = "6f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9";
  s.vm_name = "ics " + kMachine;
  s.vm_version = "6.5.1";
  s.datacenter_id = "dc-'east'";
  s.owner_host_id = "host-42";
  s.owner_host_ip = "198.51.100.7";
  s.owner_host_name = long_text("cvk");
  s.base_info.boot_mode = "UEFI";
  s.base_info.guest_os_type = "Linux";
  s.base_info.guest_os_label = "CentOS \xe8\x99\x9a 7";
  s.base_info.panick_policy = "restart";
  s.base_info.start_priority = "high";
  s.base_info.vnc_password = "p'a\"ss\\word";
  s.base_info.vnc_shared_policy = "force-shared";
  s.base_info.vm_description = long_text("description");
  s.base_info.splash_time = 18446744073709551615ULL;
  s.cpu_info.cpu_arch = "x86_64";
  s.cpu_info.cpu_shares = 18446744073709551615ULL;
  s.cpu_info.cpu_count = 9223372036854775808ULL;
  s.cpu_info.cpu_cores = 64;
  s.cpu_info.cpu_socket = 2;
  s.cpu_info.cpu_core_num_per_socket = 32;
  s.cpu_info.cpu_reservation = 1;
  s.cpu_info.cpu_limit = 18446744073709551614ULL;
  s.cpu_info.cpu_model = "Skylake-Server 'v2'";
  s.cpu_info.cpu_hot_plug_enabled = true;
  s.cpu_info.cpu_model_enabled = true;
  s.mem_info.mem_mbytes = 18446744073709551615ULL;
  s.mem_info.mem_reservation = 4096;
  s.mem_info.enable_huge_page = true;
  s.mem_info.mem_balloon_enabled = true;
  s.mem_info.mem_hot_add_enabled = true;
  s.mem_info.mem_hot_plug_enabled = true;
  ICS_Backup_Set::Aggregate_Info g;
  g.id = "agg-1";
  g.type = INT_MAX;
  s.aggregates.push_back(g);
  g.id = "agg 'b'";
  g.type = 0;
  s.aggregates.push_back(g);
  s.boot_devices = json(R"(["hd", "cdrom", "network"])").get_array();
  s.floppys = json(R"([{"path": "/floppy/a.img", "readonly": true}])").get_array();
  s.cdroms = json(R"([{"iso": "/iso/'x'.iso", "bus": "ide", "size": 18446744073709551615}])").get_array();
  s.nics = json(R"([{"mac": "fa:16:3e:00:00:01", "vlan": 4095, "qos": {"in": -1, "out": 0}}])").get_array();
  s.gpus = json(R"([{"model": "A10 \u00fc", "vram": 24576}])").get_array();
  s.usbs = json(R"([{"vendor": "0x0781", "product": "0x5581", "passthrough": false}])").get_array();
  s.vm_extended_attrs = object(R"({"ha": {"enabled": true, "priority": 9223372036854775807}, "labels": ["a", "b"]})");
}

void fill(H3C_CAS_Backup_Set& s) {
  s.cvk_host_id = "cvk-17";
  s.cvk_host_name = "cvk \xe8\x99\x9a 'node'";
  s.cvk_host_ip = "203.0.113.17";
  s.vm_id = "1042";
  s.vm_title = "title " + kMachine;
  s.vm_name = "cas-vm-1042";
  s.vm_config_path = long_text("/etc/libvirt/qemu/cas-vm-1042.xml");
  s.cbt_name = "cbt-\"1042\"";
  s.vm_disks = json(R"([{"device": "vda", "path": "/vms/isos/a 'b'.qcow2", "size": 18446744073709551615,
                        "format": "qcow2"},
                       {"device": "vdb", "path": "/vms/\u00fc.raw", "size": 0, "format": "raw"}])")
                   .get_array();
  s.cpu_count = INT_MAX;
  s.cpu_cores = INT_MIN;
  s.memory_mbytes = 4294967295u;
}

void fill(CloudOS_Backup_Set& s) {
  s.host_id = "cos-host-3";
  s.host_name = "cloudos \xe8\x99\x9a 'host'";
  s.vm_id = "a3f1c2d4-0000-4000-8000-00000000c0c0";
  s.vm_name = "cos " + kMachine;
  s.snapshot_id = long_text("snapshot");
  s.vm_disks = json(R"([{"id": "disk-1", "size": 18446744073709551615, "boot": true},
                       {"id": "disk 'two'", "size": -1, "boot": false, "tags": {}}])")
                   .get_array();
  s.vm_config = object(R"({"flavor": "c2.large", "vcpus": 2147483647, "memory": 9223372036854775807,
                          "network": [{"id": "net-1", "ip": "10.0.0.8"}], "note": "\u00fc \"q\""})");
}

void fill(FusionCloud_Backup_Set& s) {
  s.vm_id = "d2c1b0a9-8765-4321-8fed-cba987654321";
  s.vm_name = "fcl " + kMachine;
  s.project_id = "0a1b2c3d4e5f";
  s.project_name = long_text("project");
  s.vm_profile = object(R"({"status": "ACTIVE", "created": "2024-02-29T23:59:59Z",
                           "metadata": {"owner": "ops 'team'"}, "locked": true})");
  s.flavor_profile = object(R"({"id": "s3.large.2", "vcpus": 2, "ram": 4096, "disk": 18446744073709551615})");
  s.interfaces_profile =
      json(R"([{"port_id": "p-1", "fixed_ips": ["192.0.2.5"]}, {"port_id": "p-2 \"b\""}])").get_array();
  s.image_profile = object(R"({"id": "img-1", "name": "EulerOS \u865a", "min_disk": -1, "size": 9223372036854775807})");
  s.volumes_profile = json(R"([{"id": "v-1", "size": 40, "bootable": "true"}, {"id": "v-2", "size": 0}])").get_array();
}

void fill(Windows_BMR_Backup_Set& s) {
  s.meta_file = "C:\\BMR\\meta 'one'.xml";
  s.system_version = "Windows Server 2022 \xc3\xbc";
  s.arch = "x64";
  s.firmware_type = "UEFI";
  s.install_dir = "C:\\Windows";
  // A flag, a real and a nested value that the document drops.
  s.backup_files = json(R"([{"path": "C:\\", "size": 18446744073709551615, "volume": "\\\\?\\Volume{1}",
                            "system": true, "ratio": 0.5, "nested": {"a": 1}},
                           {"path": "D:\\data 'x'", "size": -9223372036854775808}])")
                       .get_array();
  s.is_valid_data = true;
  s.app_data_dir = long_text("C:\\ProgramData\\agent");
  s.extended_attrs = "{\"looks\": \"like an object\"} but is the kind's text \xe8\x99\x9a";
  s.is_mbr_boot = true;
  s.boot_code = "bootmgr 'efi'";
  s.diskpart_info = long_text("select disk 0");
  s.module_version = "5.1.2";
  s.action_type = INT_MAX;
}

void fill(K8S_Backup_Set& s) {
  s.seq = LLONG_MIN;
  s.pvc_backup_type = "snapshot 'csi' \xe8\x99\x9a";
  s.channels = LLONG_MAX;
  s.backup_details = json(R"([{"namespace": "prod", "pvcs": ["data-0", "data-1"], "size": 18446744073709551615},
                              {"namespace": "kube-'system'", "pvcs": [], "size": 0}])")
                         .get_array();
}

// The statements under test, each narrowed by the expression holding the
// set's uuid. FusionCloud names the base columns under "b" without a join:
// the reader brings the set's table in.
void hyper_v_statement(Select_SQL& sql) { Hyper_V_Backup_Set::init_select_sql(sql, "hv"); }
void fusioncompute_statement(Select_SQL& sql) { FusionCompute_Backup_Set::init_select_sql(sql, "fc"); }
void ics_statement(Select_SQL& sql) { ICS_Backup_Set::init_select_sql(sql, "ics"); }
void h3c_cas_statement(Select_SQL& sql) { H3C_CAS_Backup_Set::init_select_sql(sql, "cas"); }
void cloudos_statement(Select_SQL& sql) { CloudOS_Backup_Set::init_select_sql(sql, "cos"); }
void fusioncloud_statement(Select_SQL& sql) {
  FusionCloud_Backup_Set::init_select_sql(sql, "fcl");
  sql.inner_join("backup_set", "b", "b.uuid=fcl.set_uuid");
}

// The keys the base statement delivers.
std::set<std::string> base_keys() {
  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  return std::set<std::string>(sql.keys()->begin(), sql.keys()->end());
}

// The document of a filled set of the kind.
template <typename Kind>
Object filled_document(int n) {
  Kind set;
  fill_common(set, uuid_of(n));
  fill(set);
  return document_object(set);
}

std::set<std::string> operator+(std::set<std::string> a, std::set<std::string> const& b) {
  a.insert(b.begin(), b.end());
  return a;
}

class ApplicationKinds3Test : public Kind_Commit_Test {
 protected:
  // The set's one row of an own-table statement.
  Object only_row(std::function<void(Select_SQL&)> const& statement, char const* key, std::string const& uuid) {
    std::vector<Object> rows = rows_of(statement, key, uuid);
    EXPECT_EQ(1u, rows.size());
    return rows.size() == 1 ? rows[0] : Object();
  }

  // Commits `set`, its common part under uuid_of(n) and then the kind's
  // own: it stands once in `table`, and its one row of `statement` (keyed by
  // `key`), handed back in `row`, and the view's application carry it.
  // False when the commit fails.
  template <typename Kind>
  bool commit_and_read_row(Kind& set, int n, char const* table, std::function<void(Select_SQL&)> const& statement,
                           char const* key, Object& row) {
    fill_common(set, uuid_of(n));
    fill(set);
    bool const committed = op_->commit(set, false);
    EXPECT_TRUE(committed);
    if (!committed) return false;
    EXPECT_EQ(1, count(std::string("SELECT count(*) FROM ") + table));
    row = only_row(statement, key, set.uuid);
    expect_row(set, row);
    expect_application(set);
    return true;
  }

  // Every column of `row` reaches a fresh record of the kind through
  // `statement`, and the record takes none of the kind's own; with
  // `with_common`, the base's columns arrive.
  template <typename Kind>
  void expect_record_leaves_own_columns(Kind const& set, Object const& row,
                                        std::function<void(Select_SQL&)> const& statement, char const* key,
                                        bool with_common = false) {
    Kind got;
    EXPECT_EQ(static_cast<int>(row.size()), read_rows_into(statement, key, set.uuid, got));
    if (with_common) expect_common(set, got);
    expect_untouched(got);
  }

  static void expect_same(VMware_Backup_Set const& want, VMware_Backup_Set const& got) {
    EXPECT_EQ(want.vm_uuid, got.vm_uuid);
    EXPECT_EQ(want.instance_uuid, got.instance_uuid);
    EXPECT_EQ(want.parent_uuid, got.parent_uuid);
    EXPECT_EQ(want.vm_name, got.vm_name);
    EXPECT_EQ(want.esxi_name, got.esxi_name);
    EXPECT_EQ(want.esxi_uuid, got.esxi_uuid);
    EXPECT_EQ(want.esxi_moid, got.esxi_moid);
    EXPECT_EQ(want.vcenter_name, got.vcenter_name);
    EXPECT_EQ(want.firmware, got.firmware);
    EXPECT_EQ(want.guestos_id, got.guestos_id);
    EXPECT_EQ(want.version, got.version);
    EXPECT_EQ(want.memory_size, got.memory_size);
    EXPECT_EQ(want.cpu_num, got.cpu_num);
    EXPECT_EQ(want.cpu_cores_per_socket, got.cpu_cores_per_socket);
    EXPECT_TRUE(Value(want.controllers) == Value(got.controllers)) << JSON_Dump(Value(got.controllers));
    EXPECT_TRUE(Value(want.network_adapters) == Value(got.network_adapters)) << JSON_Dump(Value(got.network_adapters));
    EXPECT_TRUE(Value(want.cd_roms) == Value(got.cd_roms)) << JSON_Dump(Value(got.cd_roms));
    EXPECT_TRUE(Value(want.tags) == Value(got.tags)) << JSON_Dump(Value(got.tags));
    EXPECT_EQ(want.resource_pool_name, got.resource_pool_name);
    EXPECT_EQ(want.resource_pool_moid, got.resource_pool_moid);
    EXPECT_EQ(want.folder_moid, got.folder_moid);
    EXPECT_EQ(want.datastore, got.datastore);
    EXPECT_EQ(want.snapshot_id, got.snapshot_id);
    EXPECT_EQ(want.merge_backup_id, got.merge_backup_id);
    // Selected as "template", taken as "is_template": never filled by a read.
    EXPECT_FALSE(got.is_template);
  }

  static void expect_same(OpenStack_Backup_Set const& want, OpenStack_Backup_Set const& got) {
    EXPECT_EQ(want.vm_id, got.vm_id);
    EXPECT_EQ(want.vm_name, got.vm_name);
    EXPECT_EQ(want.set_uuid, got.set_uuid);
    EXPECT_EQ(want.backup_uuid, got.backup_uuid);
    EXPECT_EQ(want.last_backup_uuid, got.last_backup_uuid);
    EXPECT_EQ(want.last_full_backup_uuid, got.last_full_backup_uuid);
    EXPECT_TRUE(Value(want.profile) == Value(got.profile)) << JSON_Dump(Value(got.profile));
    EXPECT_TRUE(Value(want.volumes) == Value(got.volumes)) << JSON_Dump(Value(got.volumes));
  }

  // The Hyper-V row against the set it was committed from.
  static void expect_row(Hyper_V_Backup_Set& set, Object const& row) {
    expect_columns(row, {"set_uuid", "vm_name", "vm_guid", "vm_setting_id", "vm_prev_setting_id", "vm_config_version",
                         "vm_generation", "memory_mbytes", "cpu_count", "network_adapters", "controllers", "drives",
                         "vhd_chains"});
    expect_column(row, "set_uuid", Value(set.uuid));
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "vm_guid", Value(set.vm_guid));
    expect_column(row, "vm_setting_id", Value(set.vm_setting_id));
    expect_column(row, "vm_prev_setting_id", Value(set.vm_prev_setting_id));
    expect_column(row, "vm_config_version", Value(set.vm_config_version));
    expect_column(row, "vm_generation", Value(set.vm_generation));
    expect_column(row, "memory_mbytes", Value(set.memory_mbytes));
    expect_column(row, "cpu_count", Value(set.cpu_count));
    Object doc = document_object(set);
    for (char const* key : {"vhd_chains", "network_adapters", "controllers", "drives"})
      expect_column(row, key, doc[key]);

    // The nested values are the record's.
    ASSERT_TRUE(row.count("vhd_chains") && row.at("vhd_chains").type() == json_spirit::obj_type);
    Object const& chains = row.at("vhd_chains").get_obj();
    ASSERT_EQ(set.vhd_chains.size(), chains.size());
    for (auto const& entry : set.vhd_chains) {
      SCOPED_TRACE("chain " + entry.first);
      ASSERT_TRUE(chains.count(entry.first));
      Object const& chain = chains.at(entry.first).get_obj();
      Hyper_V_VHD_Chain const& c = entry.second;
      EXPECT_EQ(c.id, chain.at("id").get_str());
      EXPECT_EQ(c.rct_id, chain.at("rct_id").get_str());
      EXPECT_EQ(c.controller_type, chain.at("controller_type").get_str());
      EXPECT_EQ(c.total_size, chain.at("total_size").get_uint64());
      EXPECT_EQ(c.address_0, chain.at("address_0").get_int64());
      EXPECT_EQ(c.address_1, chain.at("address_1").get_int64());
      Array const& vhds = chain.at("vhds").get_array();
      ASSERT_EQ(c.vhds.size(), vhds.size());
      for (size_t i = 0; i < vhds.size(); ++i) {
        EXPECT_EQ(c.vhds[i].path, vhds[i].get_obj().at("path").get_str());
        EXPECT_EQ(c.vhds[i].parent_path, vhds[i].get_obj().at("parent_path").get_str());
        EXPECT_EQ(c.vhds[i].file_size, vhds[i].get_obj().at("file_size").get_uint64());
      }
    }
    Array const& adapters = row.at("network_adapters").get_array();
    ASSERT_EQ(set.network_adapters.size(), adapters.size());
    for (size_t i = 0; i < adapters.size(); ++i) {
      EXPECT_EQ(set.network_adapters[i].mac, adapters[i].get_obj().at("mac").get_str());
      EXPECT_EQ(set.network_adapters[i].name, adapters[i].get_obj().at("name").get_str());
      EXPECT_EQ(set.network_adapters[i].virtual_switch, adapters[i].get_obj().at("virtual_switch").get_str());
      EXPECT_EQ(set.network_adapters[i].is_static_mac, adapters[i].get_obj().at("is_static_mac").get_bool());
    }
    Array const& controllers = row.at("controllers").get_array();
    ASSERT_EQ(set.controllers.size(), controllers.size());
    for (size_t i = 0; i < controllers.size(); ++i) {
      EXPECT_EQ(set.controllers[i].type, controllers[i].get_obj().at("type").get_str());
      EXPECT_EQ(set.controllers[i].address, controllers[i].get_obj().at("address").get_int64());
    }
    Array const& drives = row.at("drives").get_array();
    ASSERT_EQ(set.drives.size(), drives.size());
    for (size_t i = 0; i < drives.size(); ++i) {
      EXPECT_EQ(set.drives[i].address, drives[i].get_obj().at("address").get_int64());
      EXPECT_EQ(set.drives[i].controller_type, drives[i].get_obj().at("controller_type").get_int64());
      EXPECT_EQ(set.drives[i].controller_address, drives[i].get_obj().at("controller_address").get_int64());
    }
  }

  // A record of the kind that a row reached keeps every field of the kind
  // as a fresh record has it.
  static void expect_untouched(Hyper_V_Backup_Set const& got) {
    Hyper_V_Backup_Set fresh;
    EXPECT_EQ(fresh.vm_name, got.vm_name);
    EXPECT_EQ(fresh.vm_guid, got.vm_guid);
    EXPECT_EQ(fresh.vm_setting_id, got.vm_setting_id);
    EXPECT_EQ(fresh.vm_prev_setting_id, got.vm_prev_setting_id);
    EXPECT_EQ(fresh.vm_config_version, got.vm_config_version);
    EXPECT_EQ(fresh.memory_mbytes, got.memory_mbytes);
    EXPECT_EQ(fresh.cpu_count, got.cpu_count);
    EXPECT_EQ(fresh.vm_generation, got.vm_generation);
    EXPECT_TRUE(got.vhd_chains.empty());
    EXPECT_TRUE(got.network_adapters.empty());
    EXPECT_TRUE(got.controllers.empty());
    EXPECT_TRUE(got.drives.empty());
  }

  static void expect_row(FusionCompute_Backup_Set& set, Object const& row) {
    expect_columns(row, {"vm_name", "vm_uuid", "vm_uri", "location_urn", "os_type", "os_version", "cpu_count",
                         "memory_mbytes", "network_adapters", "volumes", "snapshot_urn"});
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "vm_uuid", Value(set.vm_uuid));
    expect_column(row, "vm_uri", Value(set.vm_uri));
    expect_column(row, "location_urn", Value(set.location_urn));
    expect_column(row, "os_type", Value(set.os_type));
    expect_column(row, "snapshot_urn", Value(set.snapshot_urn));
    // The 32-bit numbers go out signed and stay so.
    expect_column(row, "os_version", Value(static_cast<int>(set.os_version)));
    expect_column(row, "cpu_count", Value(static_cast<int>(set.cpu_count)));
    expect_column(row, "memory_mbytes", Value(static_cast<int>(set.memory_mbytes)));
    Object doc = document_object(set);
    for (char const* key : {"os_version", "cpu_count", "memory_mbytes", "network_adapters", "volumes"})
      expect_column(row, key, doc[key]);

    Array const& adapters = row.at("network_adapters").get_array();
    ASSERT_EQ(set.network_adapters.size(), adapters.size());
    for (size_t i = 0; i < adapters.size(); ++i) {
      Object const& a = adapters[i].get_obj();
      EXPECT_EQ(set.network_adapters[i].name, a.at("name").get_str());
      EXPECT_EQ(set.network_adapters[i].ip, a.at("ip").get_str());
      EXPECT_EQ(set.network_adapters[i].mac, a.at("mac").get_str());
      EXPECT_EQ(set.network_adapters[i].port_group_urn, a.at("port_group_urn").get_str());
      EXPECT_EQ(static_cast<int>(set.network_adapters[i].sequence_num), a.at("sequence_num").get_int64());
    }
    Array const& volumes = row.at("volumes").get_array();
    ASSERT_EQ(set.volumes.size(), volumes.size());
    for (size_t i = 0; i < volumes.size(); ++i) {
      Object const& v = volumes[i].get_obj();
      FusionCompute_Volume const& w = set.volumes[i];
      EXPECT_EQ(w.name, v.at("name").get_str());
      EXPECT_EQ(w.urn, v.at("urn").get_str());
      EXPECT_EQ(w.uuid, v.at("uuid").get_str());
      EXPECT_EQ(w.pci_type, v.at("pci_type").get_str());
      EXPECT_EQ(w.storage_type, v.at("storage_type").get_str());
      EXPECT_EQ(w.datastore_urn, v.at("datastore_urn").get_str());
      EXPECT_EQ(w.thin, v.at("thin").get_bool());
      EXPECT_EQ(static_cast<int>(w.quantity), v.at("quantity").get_int64());
      EXPECT_EQ(static_cast<int>(w.sequence_num), v.at("sequence_num").get_int64());
      EXPECT_EQ(w.block_size, v.at("block_size").get_uint64());
      Object const& snapshot = v.at("snapshot").get_obj();
      EXPECT_EQ(w.snapshot.uuid, snapshot.at("uuid").get_str());
      EXPECT_EQ(w.snapshot.snap_name_on_dev, snapshot.at("snap_name_on_dev").get_str());
      EXPECT_EQ(w.snapshot.chg_id, snapshot.at("chg_id").get_str());
    }
  }

  static void expect_untouched(FusionCompute_Backup_Set const& got) {
    FusionCompute_Backup_Set fresh;
    EXPECT_EQ(fresh.vm_name, got.vm_name);
    EXPECT_EQ(fresh.vm_uuid, got.vm_uuid);
    EXPECT_EQ(fresh.vm_uri, got.vm_uri);
    EXPECT_EQ(fresh.location_urn, got.location_urn);
    EXPECT_EQ(fresh.os_type, got.os_type);
    EXPECT_EQ(fresh.snapshot_urn, got.snapshot_urn);
    EXPECT_EQ(fresh.os_version, got.os_version);
    EXPECT_EQ(fresh.cpu_count, got.cpu_count);
    EXPECT_EQ(fresh.memory_mbytes, got.memory_mbytes);
    EXPECT_TRUE(got.network_adapters.empty());
    EXPECT_TRUE(got.volumes.empty());
  }

  static void expect_row(ICS_Backup_Set& set, Object const& row) {
    expect_columns(row, {"vm_name", "vm_id", "vm_uuid", "vm_version", "datacenter_id", "owner_host_id", "owner_host_ip",
                         "owner_host_name", "base_info", "cpu_info", "mem_info", "aggregates", "boot_devices",
                         "floppys", "cdroms", "nics", "gpus", "usbs", "vm_extended_attrs"});
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "vm_id", Value(set.vm_id));
    expect_column(row, "vm_uuid", Value(set.vm_uuid));
    expect_column(row, "vm_version", Value(set.vm_version));
    expect_column(row, "datacenter_id", Value(set.datacenter_id));
    expect_column(row, "owner_host_id", Value(set.owner_host_id));
    expect_column(row, "owner_host_ip", Value(set.owner_host_ip));
    expect_column(row, "owner_host_name", Value(set.owner_host_name));
    Object doc = document_object(set);
    for (char const* key : {"base_info", "cpu_info", "mem_info", "aggregates"}) expect_column(row, key, doc[key]);
    expect_column(row, "boot_devices", Value(set.boot_devices));
    expect_column(row, "floppys", Value(set.floppys));
    expect_column(row, "cdroms", Value(set.cdroms));
    expect_column(row, "nics", Value(set.nics));
    expect_column(row, "gpus", Value(set.gpus));
    expect_column(row, "usbs", Value(set.usbs));
    expect_column(row, "vm_extended_attrs", Value(set.vm_extended_attrs));

    // The nested records load back from the row as they were.
    ICS_Backup_Set::VM_Base base;
    ASSERT_TRUE(base.from_json(row.at("base_info")));
    EXPECT_EQ(set.base_info.boot_mode, base.boot_mode);
    EXPECT_EQ(set.base_info.guest_os_type, base.guest_os_type);
    EXPECT_EQ(set.base_info.guest_os_label, base.guest_os_label);
    EXPECT_EQ(set.base_info.panick_policy, base.panick_policy);
    EXPECT_EQ(set.base_info.start_priority, base.start_priority);
    EXPECT_EQ(set.base_info.vnc_password, base.vnc_password);
    EXPECT_EQ(set.base_info.vnc_shared_policy, base.vnc_shared_policy);
    EXPECT_EQ(set.base_info.vm_description, base.vm_description);
    EXPECT_EQ(set.base_info.splash_time, base.splash_time);
    ICS_Backup_Set::CPU_Info cpu;
    ASSERT_TRUE(cpu.from_json(row.at("cpu_info")));
    EXPECT_EQ(set.cpu_info.cpu_arch, cpu.cpu_arch);
    EXPECT_EQ(set.cpu_info.cpu_shares, cpu.cpu_shares);
    EXPECT_EQ(set.cpu_info.cpu_count, cpu.cpu_count);
    EXPECT_EQ(set.cpu_info.cpu_cores, cpu.cpu_cores);
    EXPECT_EQ(set.cpu_info.cpu_socket, cpu.cpu_socket);
    EXPECT_EQ(set.cpu_info.cpu_core_num_per_socket, cpu.cpu_core_num_per_socket);
    EXPECT_EQ(set.cpu_info.cpu_reservation, cpu.cpu_reservation);
    EXPECT_EQ(set.cpu_info.cpu_limit, cpu.cpu_limit);
    EXPECT_EQ(set.cpu_info.cpu_model, cpu.cpu_model);
    EXPECT_EQ(set.cpu_info.cpu_hot_plug_enabled, cpu.cpu_hot_plug_enabled);
    EXPECT_EQ(set.cpu_info.cpu_model_enabled, cpu.cpu_model_enabled);
    ICS_Backup_Set::Mem_Info mem;
    ASSERT_TRUE(mem.from_json(row.at("mem_info")));
    EXPECT_EQ(set.mem_info.mem_mbytes, mem.mem_mbytes);
    EXPECT_EQ(set.mem_info.mem_reservation, mem.mem_reservation);
    EXPECT_EQ(set.mem_info.enable_huge_page, mem.enable_huge_page);
    EXPECT_EQ(set.mem_info.mem_balloon_enabled, mem.mem_balloon_enabled);
    EXPECT_EQ(set.mem_info.mem_hot_add_enabled, mem.mem_hot_add_enabled);
    EXPECT_EQ(set.mem_info.mem_hot_plug_enabled, mem.mem_hot_plug_enabled);
    Array const& aggregates = row.at("aggregates").get_array();
    ASSERT_EQ(set.aggregates.size(), aggregates.size());
    for (size_t i = 0; i < aggregates.size(); ++i) {
      ICS_Backup_Set::Aggregate_Info a;
      ASSERT_TRUE(a.from_json(aggregates[i]));
      EXPECT_EQ(set.aggregates[i].id, a.id);
      EXPECT_EQ(set.aggregates[i].type, a.type);
    }
  }

  static void expect_untouched(ICS_Backup_Set const& got) {
    ICS_Backup_Set fresh;
    EXPECT_EQ(fresh.vm_id, got.vm_id);
    EXPECT_EQ(fresh.vm_uuid, got.vm_uuid);
    EXPECT_EQ(fresh.vm_name, got.vm_name);
    EXPECT_EQ(fresh.vm_version, got.vm_version);
    EXPECT_EQ(fresh.datacenter_id, got.datacenter_id);
    EXPECT_EQ(fresh.owner_host_id, got.owner_host_id);
    EXPECT_EQ(fresh.owner_host_ip, got.owner_host_ip);
    EXPECT_EQ(fresh.owner_host_name, got.owner_host_name);
    EXPECT_TRUE(Value(fresh.base_info.to_json()) == Value(got.base_info.to_json()));
    EXPECT_TRUE(Value(fresh.cpu_info.to_json()) == Value(got.cpu_info.to_json()));
    EXPECT_TRUE(Value(fresh.mem_info.to_json()) == Value(got.mem_info.to_json()));
    EXPECT_TRUE(got.aggregates.empty());
    EXPECT_TRUE(got.boot_devices.empty());
    EXPECT_TRUE(got.floppys.empty());
    EXPECT_TRUE(got.cdroms.empty());
    EXPECT_TRUE(got.nics.empty());
    EXPECT_TRUE(got.gpus.empty());
    EXPECT_TRUE(got.usbs.empty());
    EXPECT_TRUE(got.vm_extended_attrs.empty());
  }

  static void expect_row(H3C_CAS_Backup_Set const& set, Object const& row) {
    expect_columns(row, {"set_uuid", "cvk_host_id", "cvk_host_name", "cvk_host_ip", "vm_id", "vm_title", "vm_name",
                         "vm_config_path", "cbt_name", "vm_disks", "cpu_count", "cpu_cores", "memory_mbytes"});
    expect_column(row, "set_uuid", Value(set.uuid));
    expect_column(row, "cvk_host_id", Value(set.cvk_host_id));
    expect_column(row, "cvk_host_name", Value(set.cvk_host_name));
    expect_column(row, "cvk_host_ip", Value(set.cvk_host_ip));
    expect_column(row, "vm_id", Value(set.vm_id));
    expect_column(row, "vm_title", Value(set.vm_title));
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "vm_config_path", Value(set.vm_config_path));
    expect_column(row, "cbt_name", Value(set.cbt_name));
    expect_column(row, "vm_disks", Value(set.vm_disks));
    expect_column(row, "cpu_count", Value(set.cpu_count));
    expect_column(row, "cpu_cores", Value(set.cpu_cores));
    expect_column(row, "memory_mbytes", Value(set.memory_mbytes));
  }

  static void expect_untouched(H3C_CAS_Backup_Set const& got) {
    H3C_CAS_Backup_Set fresh;
    EXPECT_EQ(fresh.cvk_host_id, got.cvk_host_id);
    EXPECT_EQ(fresh.cvk_host_name, got.cvk_host_name);
    EXPECT_EQ(fresh.cvk_host_ip, got.cvk_host_ip);
    EXPECT_EQ(fresh.vm_id, got.vm_id);
    EXPECT_EQ(fresh.vm_title, got.vm_title);
    EXPECT_EQ(fresh.vm_name, got.vm_name);
    EXPECT_EQ(fresh.vm_config_path, got.vm_config_path);
    EXPECT_EQ(fresh.cbt_name, got.cbt_name);
    EXPECT_TRUE(got.vm_disks.empty());
    EXPECT_EQ(fresh.cpu_count, got.cpu_count);
    EXPECT_EQ(fresh.cpu_cores, got.cpu_cores);
    EXPECT_EQ(fresh.memory_mbytes, got.memory_mbytes);
  }

  static void expect_row(CloudOS_Backup_Set const& set, Object const& row) {
    expect_columns(row,
                   {"set_uuid", "host_id", "host_name", "vm_id", "vm_name", "vm_disks", "vm_config", "snapshot_id"});
    expect_column(row, "set_uuid", Value(set.uuid));
    expect_column(row, "host_id", Value(set.host_id));
    expect_column(row, "host_name", Value(set.host_name));
    expect_column(row, "vm_id", Value(set.vm_id));
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "snapshot_id", Value(set.snapshot_id));
    expect_column(row, "vm_disks", Value(set.vm_disks));
    expect_column(row, "vm_config", Value(set.vm_config));
  }

  static void expect_untouched(CloudOS_Backup_Set const& got) {
    EXPECT_EQ("", got.host_id);
    EXPECT_EQ("", got.host_name);
    EXPECT_EQ("", got.vm_id);
    EXPECT_EQ("", got.vm_name);
    EXPECT_EQ("", got.snapshot_id);
    EXPECT_TRUE(got.vm_disks.empty());
    EXPECT_TRUE(got.vm_config.empty());
  }

  static void expect_row(FusionCloud_Backup_Set const& set, Object const& row) {
    expect_columns(row, base_keys() + std::set<std::string>{"set_uuid", "vm_id", "vm_name", "project_id",
                                                            "project_name", "vm_profile", "flavor_profile",
                                                            "interfaces_profile", "image_profile", "volumes_profile"});
    expect_column(row, "uuid", Value(set.uuid));
    expect_column(row, "name", Value(set.name));
    expect_column(row, "set_uuid", Value(set.uuid));
    expect_column(row, "vm_id", Value(set.vm_id));
    expect_column(row, "vm_name", Value(set.vm_name));
    expect_column(row, "project_id", Value(set.project_id));
    expect_column(row, "project_name", Value(set.project_name));
    expect_column(row, "vm_profile", Value(set.vm_profile));
    expect_column(row, "flavor_profile", Value(set.flavor_profile));
    expect_column(row, "interfaces_profile", Value(set.interfaces_profile));
    expect_column(row, "image_profile", Value(set.image_profile));
    expect_column(row, "volumes_profile", Value(set.volumes_profile));
  }

  static void expect_untouched(FusionCloud_Backup_Set const& got) {
    EXPECT_EQ("", got.vm_id);
    EXPECT_EQ("", got.vm_name);
    EXPECT_EQ("", got.project_id);
    EXPECT_EQ("", got.project_name);
    EXPECT_TRUE(got.vm_profile.empty());
    EXPECT_TRUE(got.flavor_profile.empty());
    EXPECT_TRUE(got.interfaces_profile.empty());
    EXPECT_TRUE(got.image_profile.empty());
    EXPECT_TRUE(got.volumes_profile.empty());
  }
};

// catalogd's own behaviours with the kinds of this group.
class ApplicationKinds3CatalogdTest : public ApplicationKinds3Test {};

}  // namespace

// ---- kinds whose statement feeds the kind's record ----

TEST_P(ApplicationKinds3Test, VmwareSetReadsBackByItsStatementAllButTheTemplateFlag) {
  VMware_Backup_Set set;
  fill_common(set, uuid_of(1));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM vmware_backup_set"));
  VMware_Backup_Set got;
  ASSERT_TRUE(read_kind(set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  expect_application(set);

  // The catalogue holds the flag; the statement hands it over as "template".
  ASSERT_TRUE(set.is_template);
  EXPECT_EQ(1, count("SELECT count(*) FROM vmware_backup_set WHERE is_template"));
  Value stored = value_of("SELECT is_template FROM vmware_backup_set");
  EXPECT_TRUE(stored == Value(true)) << JSON_Dump(stored);
  Object row = only_row([](Select_SQL& sql) { VMware_Backup_Set::init_select_sql(sql, "b"); }, "b.uuid", set.uuid);
  expect_column(row, "template", Value(true));
  EXPECT_FALSE(row.count("is_template")) << JSON_Dump(Value(row));
  EXPECT_TRUE(view_row(set.uuid).at("application").get_obj().at("is_template") == Value(true));
}

TEST_P(ApplicationKinds3Test, OpenstackSetReadsBackByItsStatementWithTheSetsOwnUuid) {
  OpenStack_Backup_Set set;
  fill_common(set, uuid_of(2));
  fill(set);
  ASSERT_EQ(set.uuid, set.set_uuid);
  ASSERT_TRUE(op_->commit(set, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM openstack_backup_set"));
  OpenStack_Backup_Set got;
  ASSERT_TRUE(read_set([](Select_SQL& sql) { OpenStack_Backup_Set::init_select_sql(sql, "os", "b"); }, set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  expect_application(set);

  // The kind's own entry point reads the same under its default alias.
  OpenStack_Backup_Set framed;
  ASSERT_TRUE(
      read_set([](Select_SQL& sql) { OpenStack_Backup_Set::kind().init_select_sql(sql, "b"); }, set.uuid, framed));
  expect_common(set, framed);
  expect_same(set, framed);
}

TEST_P(ApplicationKinds3Test, OpenstackSetWithoutPreviousBackupsReadsThemBackEmpty) {
  OpenStack_Backup_Set set;
  fill_common(set, uuid_of(3));
  fill(set);
  set.last_backup_uuid.clear();
  set.last_full_backup_uuid.clear();
  Object doc = document_object(set);
  ASSERT_FALSE(doc.count("last_backup_uuid"));
  ASSERT_FALSE(doc.count("last_full_backup_uuid"));
  ASSERT_TRUE(op_->commit(set, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM openstack_backup_set WHERE last_backup_uuid IS NULL AND "
                     "last_full_backup_uuid IS NULL"));
  OpenStack_Backup_Set got;
  ASSERT_TRUE(read_set([](Select_SQL& sql) { OpenStack_Backup_Set::init_select_sql(sql, "o", "b"); }, set.uuid, got));
  expect_common(set, got);
  expect_same(set, got);
  EXPECT_EQ("", got.last_backup_uuid);
  EXPECT_EQ("", got.last_full_backup_uuid);
  expect_application(set);
  Object app = view_row(set.uuid).at("application").get_obj();
  EXPECT_FALSE(app.count("last_backup_uuid"));
  EXPECT_FALSE(app.count("last_full_backup_uuid"));
}

// ---- kinds whose statement reads their own table, taken by no record ----

TEST_P(ApplicationKinds3Test, HyperVSetReadsBackAsRowsOfItsStatementWhichItsRecordDoesNotTake) {
  Hyper_V_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 4, "hyperv_backup_set", hyper_v_statement, "hv.set_uuid", row));
  expect_record_leaves_own_columns(set, row, hyper_v_statement, "hv.set_uuid");
}

TEST_P(ApplicationKinds3Test, FusionComputeSetReadsBackAsRowsWithItsNumbersSigned) {
  FusionCompute_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 5, "fusioncompute_backup_set", fusioncompute_statement, "fc.set_uuid", row));
  expect_record_leaves_own_columns(set, row, fusioncompute_statement, "fc.set_uuid");
}

TEST_P(ApplicationKinds3Test, IcsSetReadsBackAsRowsWhoseNestedRecordsLoadAgain) {
  ICS_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 6, "ics_backup_set", ics_statement, "ics.set_uuid", row));
  EXPECT_EQ("incloud", view_row(set.uuid).at("catalog_module").get_str());

  expect_record_leaves_own_columns(set, row, ics_statement, "ics.set_uuid");
}

TEST_P(ApplicationKinds3Test, H3cCasSetReadsBackAsRowsOfItsStatement) {
  H3C_CAS_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 7, "h3ccas_backup_set", h3c_cas_statement, "cas.set_uuid", row));
  expect_record_leaves_own_columns(set, row, h3c_cas_statement, "cas.set_uuid");
}

TEST_P(ApplicationKinds3Test, CloudosSetReadsBackAsRowsOfItsStatement) {
  CloudOS_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 8, "cloudos_backup_set", cloudos_statement, "cos.set_uuid", row));
  expect_record_leaves_own_columns(set, row, cloudos_statement, "cos.set_uuid");
}

TEST_P(ApplicationKinds3Test, FusionCloudSetReadsBackWhenTheReaderJoinsTheSetsTable) {
  FusionCloud_Backup_Set set;
  Object row;
  ASSERT_TRUE(commit_and_read_row(set, 9, "fusioncloud_backup_set", fusioncloud_statement, "fcl.set_uuid", row));

  // Into the record: the base's columns arrive, the kind's are left alone.
  expect_record_leaves_own_columns(set, row, fusioncloud_statement, "fcl.set_uuid", true);
}

// ---- kinds without a member table: the view's application object ----

TEST_P(ApplicationKinds3Test, WindowsBmrSetKeepsItsOwnExtendedAttrsTextBesideTheCommonObject) {
  Windows_BMR_Backup_Set set;
  fill_common(set, uuid_of(10));
  fill(set);
  Backup_Set const& common = set;
  ASSERT_FALSE(common.extended_attrs.empty());
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);

  Object row = view_row(set.uuid);
  Object const& app = row.at("application").get_obj();
  // The kind's text in the application, the set's object in the row.
  expect_column(app, "extended_attrs", Value(set.extended_attrs));
  expect_column(row, "extended_attrs", Value(common.extended_attrs));
  expect_column(app, "meta_file", Value(set.meta_file));
  expect_column(app, "system_version", Value(set.system_version));
  expect_column(app, "arch", Value(set.arch));
  expect_column(app, "firmware_type", Value(set.firmware_type));
  expect_column(app, "install_dir", Value(set.install_dir));
  expect_column(app, "is_valid_data", Value(set.is_valid_data));
  expect_column(app, "app_data_dir", Value(set.app_data_dir));
  ASSERT_TRUE(app.count("diskpart_set"));
  Object const& diskpart = app.at("diskpart_set").get_obj();
  expect_column(diskpart, "diskpart_info", Value(set.diskpart_info));
  expect_column(diskpart, "boot_code", Value(set.boot_code));
  expect_column(diskpart, "module_version", Value(set.module_version));
  expect_column(diskpart, "action_type", Value(set.action_type));
  expect_column(diskpart, "is_mbr_boot", Value(set.is_mbr_boot));
  // A file keeps its text and integer members only.
  Array const& files = app.at("backup_files").get_array();
  ASSERT_EQ(set.backup_files.size(), files.size());
  Object const& first = set.backup_files[0].get_obj();
  expect_columns(files[0].get_obj(), {"path", "size", "volume"});
  for (char const* key : {"path", "size", "volume"}) expect_column(files[0].get_obj(), key, first.at(key));
  expect_column(files[1].get_obj(), "size", set.backup_files[1].get_obj().at("size"));

  // Read back as a plain set, the common object is the set's.
  Backup_Set plain;
  ASSERT_TRUE(read_set([](Select_SQL& sql) { Backup_Set::init_select_sql(sql, "b"); }, set.uuid, plain));
  expect_common(set, plain);
}

TEST_P(ApplicationKinds3Test, KubernetesSetKeepsItsKeysInTheViewAndReadsBackAsAPlainSet) {
  K8S_Backup_Set set;
  fill_common(set, uuid_of(11));
  fill(set);
  ASSERT_TRUE(op_->commit(set, false));
  expect_application(set);
  Object const app = view_row(set.uuid).at("application").get_obj();
  expect_columns(app, {"seq", "channels", "pvc_backup_type", "backup_details"});
  expect_column(app, "seq", Value(set.seq));
  expect_column(app, "channels", Value(set.channels));
  expect_column(app, "pvc_backup_type", Value(set.pvc_backup_type));
  expect_column(app, "backup_details", Value(set.backup_details));

  K8S_Backup_Set got;
  ASSERT_TRUE(read_set([](Select_SQL& sql) { Backup_Set::init_select_sql(sql, "b"); }, set.uuid, got));
  expect_common(set, got);
  EXPECT_EQ(0, got.seq);
  EXPECT_EQ(0, got.channels);
  EXPECT_TRUE(got.backup_details.empty());
}

// ---- catalogd's behaviours ----

TEST_P(ApplicationKinds3CatalogdTest, ARetriedCommitLeavesOneMemberRowWithTheSecondValues) {
  // VMware: the joined table, the flag cleared.
  VMware_Backup_Set vm1;
  fill_common(vm1, uuid_of(100));
  fill(vm1);
  ASSERT_TRUE(op_->commit(vm1, false));
  VMware_Backup_Set vm2;
  fill_common(vm2, uuid_of(100));
  vm2.vm_name = "second";
  vm2.memory_size = 4096;
  vm2.cpu_cores_per_socket = 2;
  vm2.tags = json(R"(["second"])").get_array();
  vm2.is_template = false;
  ASSERT_TRUE(op_->commit(vm2, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM vmware_backup_set"));
  EXPECT_EQ(0, count("SELECT count(*) FROM vmware_backup_set WHERE is_template"));
  VMware_Backup_Set vm_got;
  ASSERT_TRUE(read_kind(vm2.uuid, vm_got));
  expect_common(vm2, vm_got);
  expect_same(vm2, vm_got);
  expect_application(vm2);

  // Hyper-V: its own table, the nested chains replaced.
  Hyper_V_Backup_Set hv1;
  fill_common(hv1, uuid_of(101));
  fill(hv1);
  ASSERT_TRUE(op_->commit(hv1, false));
  Hyper_V_Backup_Set hv2;
  fill_common(hv2, uuid_of(101));
  hv2.vm_name = "second";
  hv2.memory_mbytes = 2048;
  Hyper_V_VHD_Chain chain;
  chain.id = "only";
  chain.vhds.push_back({"", "E:\\second.vhdx", 7});
  hv2.vhd_chains["2:0"] = chain;
  ASSERT_TRUE(op_->commit(hv2, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM hyperv_backup_set"));
  expect_row(hv2, only_row(hyper_v_statement, "hv.set_uuid", hv2.uuid));
  expect_application(hv2);

  // OpenStack: the previous backups dropped the second time.
  OpenStack_Backup_Set os1;
  fill_common(os1, uuid_of(102));
  fill(os1);
  ASSERT_TRUE(op_->commit(os1, false));
  OpenStack_Backup_Set os2;
  fill_common(os2, uuid_of(102));
  fill(os2);
  os2.vm_name = "second";
  os2.last_backup_uuid.clear();
  os2.last_full_backup_uuid.clear();
  os2.volumes.clear();
  ASSERT_TRUE(op_->commit(os2, false));
  EXPECT_EQ(1, count("SELECT count(*) FROM openstack_backup_set"));
  OpenStack_Backup_Set os_got;
  ASSERT_TRUE(
      read_set([](Select_SQL& sql) { OpenStack_Backup_Set::init_select_sql(sql, "o", "b"); }, os2.uuid, os_got));
  expect_same(os2, os_got);
  expect_application(os2);

  EXPECT_EQ(3, count("SELECT count(*) FROM backup_set"));
}

TEST_P(ApplicationKinds3CatalogdTest, AnOpenstackMemberRowIsKeyedByTheSetWhateverSetUuidTheDocumentGives) {
  OpenStack_Backup_Set other;
  fill_common(other, uuid_of(110));
  fill(other);
  other.set_uuid = uuid_of(119);  // not a set of the catalogue
  OpenStack_Backup_Set unset;
  fill_common(unset, uuid_of(111));
  fill(unset);
  unset.set_uuid.clear();
  for (OpenStack_Backup_Set* s : {&other, &unset}) {
    SCOPED_TRACE(s->uuid);
    ASSERT_TRUE(op_->commit(*s, false));
    OpenStack_Backup_Set got;
    ASSERT_TRUE(read_set([](Select_SQL& sql) { OpenStack_Backup_Set::init_select_sql(sql, "o", "b"); }, s->uuid, got));
    EXPECT_EQ(s->uuid, got.set_uuid);
    EXPECT_EQ(s->vm_id, got.vm_id);
    EXPECT_EQ(s->backup_uuid, got.backup_uuid);
    // The application part keeps what the document said.
    expect_application(*s);
    expect_column(view_row(s->uuid).at("application").get_obj(), "set_uuid", Value(s->set_uuid));
  }
  EXPECT_EQ(2, count("SELECT count(*) FROM openstack_backup_set"));
}

TEST_P(ApplicationKinds3CatalogdTest, ARetriedCommitUnderAnotherKindLeavesNoRowOfTheFormerKind) {
  Hyper_V_Backup_Set first;
  fill_common(first, uuid_of(120));
  fill(first);
  ASSERT_TRUE(op_->commit(first, false));
  ASSERT_EQ(1, count("SELECT count(*) FROM hyperv_backup_set"));
  VMware_Backup_Set second;
  fill_common(second, uuid_of(120));
  fill(second);
  ASSERT_TRUE(op_->commit(second, false));
  EXPECT_EQ(0, count("SELECT count(*) FROM hyperv_backup_set"));
  EXPECT_EQ(1, count("SELECT count(*) FROM vmware_backup_set"));
  EXPECT_TRUE(rows_of(hyper_v_statement, "hv.set_uuid", second.uuid).empty());
  VMware_Backup_Set got;
  ASSERT_TRUE(read_kind(second.uuid, got));
  expect_same(second, got);
  expect_application(second);
}

TEST_P(ApplicationKinds3CatalogdTest, AnUpdateOfSomeKeysChangesThoseColumnsAndKeepsTheOthers) {
  VMware_Backup_Set vm;
  fill_common(vm, uuid_of(130));
  fill(vm);
  ASSERT_TRUE(op_->commit(vm, false));
  ASSERT_TRUE(op_->update(
      Value(object(R"({"uuid": ")" + vm.uuid + R"(", "memory_size": 8192, "tags": ["updated", {"n": 1}]})"))));
  vm.memory_size = 8192;
  vm.tags = json(R"(["updated", {"n": 1}])").get_array();
  VMware_Backup_Set vm_got;
  ASSERT_TRUE(read_kind(vm.uuid, vm_got));
  expect_common(vm, vm_got);
  expect_same(vm, vm_got);
  expect_application(vm);

  H3C_CAS_Backup_Set cas;
  fill_common(cas, uuid_of(131));
  fill(cas);
  ASSERT_TRUE(op_->commit(cas, false));
  ASSERT_TRUE(op_->update(
      Value(object(R"({"uuid": ")" + cas.uuid + R"(", "cpu_count": 64, "vm_disks": [{"device": "vdc"}]})"))));
  cas.cpu_count = 64;
  cas.vm_disks = json(R"([{"device": "vdc"}])").get_array();
  expect_row(cas, only_row(h3c_cas_statement, "cas.set_uuid", cas.uuid));
  expect_application(cas);

  // The whole record, one nested column changed.
  cas.vm_disks.clear();
  cas.memory_mbytes = 1;
  ASSERT_TRUE(op_->update(cas));
  expect_row(cas, only_row(h3c_cas_statement, "cas.set_uuid", cas.uuid));
  expect_application(cas);
  EXPECT_EQ(1, count("SELECT count(*) FROM vmware_backup_set"));
  EXPECT_EQ(1, count("SELECT count(*) FROM h3ccas_backup_set"));
}

TEST_P(ApplicationKinds3CatalogdTest, AStagedFusionComputeSetGetsItsMemberRow) {
  FusionCompute_Backup_Set set;
  fill_common(set, uuid_of(140));
  fill(set);
  set.pieces.clear();
  ASSERT_TRUE(op_->initialize(set));
  std::vector<Value> batch{json(R"({"path": "/staged/1", "size": 1})"), json(R"({"path": "/staged/2", "size": 2})")};
  ASSERT_TRUE(op_->add_piece(set.uuid, batch));
  set.cpu_count = 3;  // complete carries the final values
  set.volumes.pop_back();
  ASSERT_TRUE(op_->complete(set));
  EXPECT_EQ(1, count("SELECT count(*) FROM fusioncompute_backup_set"));
  EXPECT_EQ(2, count("SELECT count(*) FROM backup_piece"));
  expect_row(set, only_row(fusioncompute_statement, "fc.set_uuid", set.uuid));
  expect_application(set);
}

TEST_P(ApplicationKinds3CatalogdTest, AWronglyTypedKindKeyIsRefusedByNameAndNothingIsStored) {
  std::vector<Mistyped> cases;
  int n = 300;
  auto add = [&](Object doc, char const* key, Value bad, std::vector<std::string> tables) {
    EXPECT_TRUE(doc.count(key)) << key;
    doc[key] = bad;
    cases.push_back({doc, key, bad, tables});
  };
  {
    std::vector<std::string> t{"vmware_backup_set"};
    add(filled_document<VMware_Backup_Set>(n++), "memory_size", Value("8 GiB"), t);
    add(filled_document<VMware_Backup_Set>(n++), "memory_size", Value(-1), t);
    add(filled_document<VMware_Backup_Set>(n++), "cpu_num", Value(1.5), t);
    add(filled_document<VMware_Backup_Set>(n++), "is_template", Value(1), t);
    add(filled_document<VMware_Backup_Set>(n++), "controllers", Value(Object()), t);
    add(filled_document<VMware_Backup_Set>(n++), "vm_name", Value(5), t);
  }
  {
    std::vector<std::string> t{"openstack_backup_set"};
    add(filled_document<OpenStack_Backup_Set>(n++), "profile", Value(Array()), t);
    add(filled_document<OpenStack_Backup_Set>(n++), "volumes", Value(Object()), t);
    add(filled_document<OpenStack_Backup_Set>(n++), "set_uuid", Value(5), t);
    add(filled_document<OpenStack_Backup_Set>(n++), "last_backup_uuid", Value(false), t);
  }
  {
    std::vector<std::string> t{"hyperv_backup_set"};
    add(filled_document<Hyper_V_Backup_Set>(n++), "vhd_chains", Value(Array{Value(Object())}), t);
    add(filled_document<Hyper_V_Backup_Set>(n++), "memory_mbytes", Value("4096"), t);
    add(filled_document<Hyper_V_Backup_Set>(n++), "cpu_count", Value(2147483648LL), t);
    add(filled_document<Hyper_V_Backup_Set>(n++), "drives", Value(Object()), t);
  }
  {
    std::vector<std::string> t{"fusioncompute_backup_set"};
    add(filled_document<FusionCompute_Backup_Set>(n++), "cpu_count", Value(4294967296LL), t);
    add(filled_document<FusionCompute_Backup_Set>(n++), "os_version", Value(-2147483649LL), t);
    add(filled_document<FusionCompute_Backup_Set>(n++), "memory_mbytes", Value("x"), t);
    add(filled_document<FusionCompute_Backup_Set>(n++), "volumes", Value(Object()), t);
  }
  {
    std::vector<std::string> t{"ics_backup_set"};
    add(filled_document<ICS_Backup_Set>(n++), "base_info", Value(Array()), t);
    add(filled_document<ICS_Backup_Set>(n++), "aggregates", Value(Object()), t);
    add(filled_document<ICS_Backup_Set>(n++), "nics", Value("none"), t);
    add(filled_document<ICS_Backup_Set>(n++), "vm_extended_attrs", Value(Array()), t);
    add(filled_document<ICS_Backup_Set>(n++), "vm_id", Value(1), t);
  }
  {
    std::vector<std::string> t{"h3ccas_backup_set"};
    add(filled_document<H3C_CAS_Backup_Set>(n++), "vm_disks", Value(Object()), t);
    add(filled_document<H3C_CAS_Backup_Set>(n++), "memory_mbytes", Value(-1), t);
    add(filled_document<H3C_CAS_Backup_Set>(n++), "cpu_cores", Value("x"), t);
  }
  {
    std::vector<std::string> t{"cloudos_backup_set"};
    add(filled_document<CloudOS_Backup_Set>(n++), "vm_config", Value(Array()), t);
    add(filled_document<CloudOS_Backup_Set>(n++), "vm_disks", Value(Object()), t);
    add(filled_document<CloudOS_Backup_Set>(n++), "snapshot_id", Value(1), t);
  }
  {
    std::vector<std::string> t{"fusioncloud_backup_set"};
    add(filled_document<FusionCloud_Backup_Set>(n++), "vm_profile", Value(Array()), t);
    add(filled_document<FusionCloud_Backup_Set>(n++), "interfaces_profile", Value(Object()), t);
    add(filled_document<FusionCloud_Backup_Set>(n++), "project_id", Value(), t);
  }
  add(filled_document<Windows_BMR_Backup_Set>(n++), "diskpart_set", Value(Array()), {});
  add(filled_document<Windows_BMR_Backup_Set>(n++), "backup_files", Value(Object()), {});
  add(filled_document<Windows_BMR_Backup_Set>(n++), "is_valid_data", Value("yes"), {});
  add(filled_document<K8S_Backup_Set>(n++), "seq", Value("x"), {});
  add(filled_document<K8S_Backup_Set>(n++), "channels", Value(18446744073709551615ULL), {});
  add(filled_document<K8S_Backup_Set>(n++), "backup_details", Value(Object()), {});
  expect_each_refused(cases);
  // The same document with the key as the record wrote it is taken.
  Hyper_V_Backup_Set good;
  fill_common(good, uuid_of(399));
  fill(good);
  ASSERT_TRUE(op_->commit(Value(document_object(good)), false));
  EXPECT_EQ(1, count("SELECT count(*) FROM hyperv_backup_set"));
}

TEST_P(ApplicationKinds3CatalogdTest, TheSetsViewFiltersByEachModuleOfTheGroup) {
  VMware_Backup_Set vmware;
  OpenStack_Backup_Set openstack;
  Hyper_V_Backup_Set hyperv;
  FusionCompute_Backup_Set fusioncompute;
  ICS_Backup_Set ics;
  H3C_CAS_Backup_Set h3ccas;
  CloudOS_Backup_Set cloudos;
  FusionCloud_Backup_Set fusioncloud;
  Windows_BMR_Backup_Set windows_bmr;
  K8S_Backup_Set k8s;
  std::vector<std::pair<Backup_Set*, std::function<void()>>> sets{
      {&vmware, [&] { fill(vmware); }},
      {&openstack, [&] { fill(openstack); }},
      {&hyperv, [&] { fill(hyperv); }},
      {&fusioncompute, [&] { fill(fusioncompute); }},
      {&ics, [&] { fill(ics); }},
      {&h3ccas, [&] { fill(h3ccas); }},
      {&cloudos, [&] { fill(cloudos); }},
      {&fusioncloud, [&] { fill(fusioncloud); }},
      {&windows_bmr, [&] { fill(windows_bmr); }},
      {&k8s, [&] { fill(k8s); }},
  };
  std::map<std::string, std::vector<std::string>> by_module;
  int n = 500;
  for (auto& s : sets) {
    fill_common(*s.first, uuid_of(n++));
    s.second();
    ASSERT_TRUE(op_->commit(*s.first, false)) << s.first->catalog_module;
    by_module[s.first->catalog_module].push_back(s.first->uuid);
  }
  ASSERT_EQ(10u, by_module.size());
  for (auto const& m : by_module) {
    SCOPED_TRACE("module '" + m.first + "'");
    EXPECT_EQ(m.second, view_uuids({{"catalog_module", m.first}}));
  }
  EXPECT_EQ(10u, view_uuids({}).size());
  // Each row carries its own kind's part.
  for (auto& s : sets) {
    SCOPED_TRACE(s.first->uuid);
    expect_application(*s.first);
  }
}

INSTANTIATE_TEST_SUITE_P(EnginesAndProtocols, ApplicationKinds3Test,
                         ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                                            ::testing::Values(JSON_RPC, REST)),
                         param_name);

INSTANTIATE_TEST_SUITE_P(EnginesAndProtocols, ApplicationKinds3CatalogdTest,
                         ::testing::Combine(::testing::Values(Catalog_Target::SQLITE, Catalog_Target::POSTGRESQL),
                                            ::testing::Values(JSON_RPC, REST)),
                         param_name);
