#ifndef BACKUP_BACKUP_SET_COMMON_FUSIONCLOUD_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_FUSIONCLOUD_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one FusionCloud virtual machine: its identity, its project
// and five profile documents as the cloud gave them. Module "fusioncloud".
// Its statement names the base columns under the fixed alias "b" and its
// own table under the caller's alias, with no join condition: the caller
// brings the set's table in. It takes no columns of its own.
class BSET_API FusionCloud_Backup_Set : public Backup_Set {
 public:
  FusionCloud_Backup_Set();
  ~FusionCloud_Backup_Set() override;

  static void init_select_sql(Select_SQL& select, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string vm_id;
  std::string vm_name;
  std::string project_id;
  std::string project_name;
  json_spirit::Object vm_profile;
  json_spirit::Object flavor_profile;
  json_spirit::Array interfaces_profile;
  json_spirit::Object image_profile;
  json_spirit::Array volumes_profile;
};

#endif
