#ifndef BACKUP_BACKUP_SET_COMMON_H3C_CAS_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_H3C_CAS_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one virtual machine of an H3C CAS platform, on a CVK host.
// Module "h3ccas". Its statement reads "h3ccas_backup_set" alone and it
// takes no columns of its own. A fresh set describes a 1-CPU, 1-core,
// 1024 MiB machine.
class BSET_API H3C_CAS_Backup_Set : public Backup_Set {
 public:
  H3C_CAS_Backup_Set();
  ~H3C_CAS_Backup_Set() override;

  static void init_select_sql(Select_SQL& select, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string cvk_host_id;
  std::string cvk_host_name;
  std::string cvk_host_ip;
  std::string vm_id;
  std::string vm_title;
  std::string vm_name;
  std::string vm_config_path;
  std::string cbt_name;
  json_spirit::Array vm_disks;
  int cpu_count = 1;
  int cpu_cores = 1;
  unsigned int memory_mbytes = 1024;
};

#endif
