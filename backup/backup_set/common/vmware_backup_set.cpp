#include "backup/backup_set/common/vmware_backup_set.h"

Backup_Set_Kind const& VMware_Backup_Set::kind() {
  typedef VMware_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"vm_uuid", &K::vm_uuid, COLUMN},
      {"instance_uuid", &K::instance_uuid, COLUMN},
      {"parent_uuid", &K::parent_uuid, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      {"esxi_name", &K::esxi_name, COLUMN},
      {"esxi_uuid", &K::esxi_uuid, COLUMN},
      {"esxi_moid", &K::esxi_moid, COLUMN},
      {"vcenter_name", &K::vcenter_name, COLUMN},
      {"firmware", &K::firmware, COLUMN},
      {"guestos_id", &K::guestos_id, COLUMN},
      {"version", &K::version, COLUMN},
      {"memory_size", &K::memory_size, COLUMN},
      {"cpu_num", &K::cpu_num, COLUMN},
      {"cpu_cores_per_socket", &K::cpu_cores_per_socket, COLUMN},
      {"resource_pool_name", &K::resource_pool_name, COLUMN},
      {"resource_pool_moid", &K::resource_pool_moid, COLUMN},
      {"folder_moid", &K::folder_moid, COLUMN},
      {"datastore", &K::datastore, COLUMN},
      {"snapshot_id", &K::snapshot_id, COLUMN},
      {"merge_backup_id", &K::merge_backup_id, COLUMN},
      // Deliberately selected under another key than the one it is taken by.
      Kind_Field("is_template", &K::is_template, COLUMN).selected_as("template"),
      {"controllers", &K::controllers, COLUMN},
      {"network_adapters", &K::network_adapters, COLUMN},
      {"cd_roms", &K::cd_roms, COLUMN},
      {"tags", &K::tags, COLUMN},
  };
  // The statement names the arrays between the numbers and the pool.
  static char const* const column_order[] = {
      "vm_uuid", "instance_uuid", "parent_uuid", "vm_name", "esxi_name", "esxi_uuid", "esxi_moid", "vcenter_name",
      "firmware", "guestos_id", "version", "memory_size", "cpu_num", "cpu_cores_per_socket", "controllers",
      "network_adapters", "cd_roms", "tags", "resource_pool_name", "resource_pool_moid", "folder_moid", "datastore",
      "snapshot_id", "merge_backup_id", "is_template", nullptr};
  static Backup_Set_Kind const kind("VMware_Backup_Set", "vmware", Backup_Set_Kind::JOIN, "vmware_backup_set", "g",
                                    fields, column_order);
  return kind;
}

VMware_Backup_Set::VMware_Backup_Set() : Backup_Set("vmware") {}
VMware_Backup_Set::~VMware_Backup_Set() = default;

void VMware_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool VMware_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool VMware_Backup_Set::print_uint(int, char const* key, unsigned long long value) {
  return kind().print_uint(*this, key, value);
}

bool VMware_Backup_Set::print_bool(int, char const* key, bool value) { return kind().print_bool(*this, key, value); }

bool VMware_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  return kind().print_json(*this, index, key, value);
}

bool VMware_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
