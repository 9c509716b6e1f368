#ifndef BACKUP_BACKUP_SET_COMMON_HYPER_V_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_HYPER_V_BACKUP_SET_H

#include <map>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One virtual disk file of a chain.
struct BSET_API Hyper_V_VHD {
  std::string parent_path;
  std::string path;
  unsigned long long file_size = 0;
};

// A chain of differencing disks on one controller slot.
struct BSET_API Hyper_V_VHD_Chain {
  std::vector<Hyper_V_VHD> vhds;  // in the order the job added them
  std::string id;
  std::string rct_id;
  std::string controller_type;  // text here, a number in a drive
  unsigned long long total_size = 0;
  int address_0 = 0;
  int address_1 = 0;
};

struct BSET_API Hyper_V_Network_Adapter {
  std::string mac;
  std::string name;
  std::string virtual_switch;
  bool is_static_mac = false;
};

struct BSET_API Hyper_V_Controller {
  std::string type;
  int address = 0;
};

struct BSET_API Hyper_V_Drive {
  int controller_address = 0;
  int controller_type = 0;
  int address = 0;
};

// A backup of one Hyper-V virtual machine: its identity and size and its
// hardware, the disk chains nested by chain key. Module "hyperv". Its
// statement reads "hyperv_backup_set" alone (no base columns), and it takes
// no columns of its own: a row reaches only what Backup_Set takes.
class BSET_API Hyper_V_Backup_Set : public Backup_Set {
 public:
  Hyper_V_Backup_Set();
  ~Hyper_V_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  // The kind's columns, for a statement whose table the caller has set.
  static void add_keys(Select_SQL& sql, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // The first storage's pool: false when there is no storage (pool_uuid
  // left alone) or when that pool is empty (pool_uuid emptied).
  bool get_pool_uuid(std::string& pool_uuid) const;
  // A copy of the first piece of that object; false (piece left alone)
  // when there is none.
  bool get_piece(std::string const& object, Backup_Piece& piece) const;

  std::string vm_name;
  std::string vm_guid;
  std::string vm_setting_id;
  std::string vm_prev_setting_id;
  std::string vm_config_version;
  std::map<std::string, Hyper_V_VHD_Chain> vhd_chains;  // written in key order
  std::vector<Hyper_V_Network_Adapter> network_adapters;
  std::vector<Hyper_V_Controller> controllers;
  std::vector<Hyper_V_Drive> drives;
  int memory_mbytes = 0;
  int cpu_count = 1;
  int vm_generation = 1;
};

#endif
