#ifndef BACKUP_BACKUP_SET_COMMON_CLOUDOS_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_CLOUDOS_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one virtual machine of a CloudOS platform: host, machine,
// snapshot, and the machine's disks and configuration as the platform gave
// them. Module "cloudos". Its statement reads "cloudos_backup_set" alone
// and it takes no columns of its own.
class BSET_API CloudOS_Backup_Set : public Backup_Set {
 public:
  CloudOS_Backup_Set();
  ~CloudOS_Backup_Set() override;

  static void init_select_sql(Select_SQL& select, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string host_id;
  std::string host_name;
  std::string vm_id;
  std::string vm_name;
  std::string snapshot_id;
  json_spirit::Object vm_config;
  json_spirit::Array vm_disks;
};

#endif
