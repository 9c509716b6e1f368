#ifndef BACKUP_BACKUP_SET_COMMON_ICS_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_ICS_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one ICS virtual machine: which machine, its data centre and
// owner host, and its configuration at backup time, so that it can be
// rebuilt on restore. Module "incloud". Its statement reads "ics_backup_set"
// alone and it takes no columns of its own.
//
// Each nested record loads from a JSON object (every key required; false,
// with one log record, when one is missing or mistyped, keeping what was
// read before it) and converts back to one.
class BSET_API ICS_Backup_Set : public Backup_Set {
 public:
  struct BSET_API VM_Base {
    std::string boot_mode;
    std::string guest_os_type;
    std::string guest_os_label;
    std::string panick_policy;
    std::string start_priority;
    std::string vnc_password;  // carried as the producer gave it
    std::string vnc_shared_policy;
    std::string vm_description;
    unsigned long long splash_time = 0;

    bool from_json(json_spirit::Value const& value);
    json_spirit::Object to_json() const;
  };
  struct BSET_API CPU_Info {
    std::string cpu_arch;
    unsigned long long cpu_shares = 0;
    unsigned long long cpu_count = 0;
    unsigned long long cpu_cores = 0;
    unsigned long long cpu_socket = 0;
    unsigned long long cpu_core_num_per_socket = 0;
    unsigned long long cpu_reservation = 0;
    unsigned long long cpu_limit = 0;
    std::string cpu_model;
    bool cpu_hot_plug_enabled = false;
    bool cpu_model_enabled = false;

    bool from_json(json_spirit::Value const& value);
    json_spirit::Object to_json() const;
  };
  struct BSET_API Mem_Info {
    unsigned long long mem_mbytes = 0;
    unsigned long long mem_reservation = 0;
    bool enable_huge_page = false;
    bool mem_balloon_enabled = false;
    bool mem_hot_add_enabled = false;
    bool mem_hot_plug_enabled = false;

    bool from_json(json_spirit::Value const& value);
    json_spirit::Object to_json() const;
  };
  struct BSET_API Aggregate_Info {
    std::string id;
    int type = 0;

    bool from_json(json_spirit::Value const& value);
    json_spirit::Object to_json() const;
  };

  ICS_Backup_Set();
  ~ICS_Backup_Set() override;

  static void init_select_sql(Select_SQL& select, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string vm_id;
  std::string vm_uuid;
  std::string vm_name;
  std::string vm_version;
  std::string datacenter_id;
  std::string owner_host_id;
  std::string owner_host_ip;
  std::string owner_host_name;
  VM_Base base_info;
  CPU_Info cpu_info;
  Mem_Info mem_info;
  std::vector<Aggregate_Info> aggregates;
  json_spirit::Array boot_devices;
  json_spirit::Array floppys;
  json_spirit::Array cdroms;
  json_spirit::Array nics;
  json_spirit::Array gpus;
  json_spirit::Array usbs;
  json_spirit::Object vm_extended_attrs;
};

#endif
