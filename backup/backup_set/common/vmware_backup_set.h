#ifndef BACKUP_BACKUP_SET_COMMON_VMWARE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_VMWARE_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one VMware virtual machine: which machine, where it ran, what
// it looked like and which snapshot it was read from. Module "vmware"; the
// facts live in "vmware_backup_set", joined as "g". The controllers,
// adapters, CD-ROM drives and tags are the job's own JSON, carried as is.
//
// The template flag is selected under the key "template" but taken under
// "is_template", so a set read from the catalogue never has it filled;
// kept so on purpose, as readers of the catalogue rely on the same rows.
class BSET_API VMware_Backup_Set : public Backup_Set {
 public:
  VMware_Backup_Set();
  ~VMware_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string vm_uuid;
  std::string instance_uuid;
  std::string parent_uuid;
  std::string vm_name;
  std::string esxi_name;
  std::string esxi_uuid;
  std::string esxi_moid;
  std::string vcenter_name;
  std::string firmware;
  std::string guestos_id;
  std::string version;
  std::string resource_pool_name;
  std::string resource_pool_moid;
  std::string folder_moid;
  std::string datastore;
  std::string snapshot_id;
  std::string merge_backup_id;
  unsigned long long memory_size = 0;
  unsigned long long cpu_num = 0;
  unsigned long long cpu_cores_per_socket = 0;  // the job must set it
  json_spirit::Array controllers;
  json_spirit::Array network_adapters;
  json_spirit::Array cd_roms;
  json_spirit::Array tags;
  bool is_template = false;  // the job must set it
};

#endif
