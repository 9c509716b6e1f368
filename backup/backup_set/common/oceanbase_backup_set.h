#ifndef BACKUP_BACKUP_SET_COMMON_OCEANBASE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_OCEANBASE_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One tenant of an OceanBase cluster; its times are the producer's text.
struct BSET_API OceanBase_Tenant {
  unsigned long long tenant_id = 0;
  std::string tenant_name;
  std::string data_start_time;
  std::string log_max_next_time;
  std::string zone_list;
  std::string primary_zone;
  std::string locality;
  std::vector<std::string> resource_pools;
};

// A backup of an OceanBase cluster: archive destination, cluster identity
// and its tenants. Module "oceanbase". Written only: it is read back as a
// plain set. The producer fills the fields directly.
class BSET_API OceanBase_Backup_Set : public Backup_Set {
 public:
  OceanBase_Backup_Set();
  ~OceanBase_Backup_Set() override;

  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string archive_dest;
  std::string version;
  std::string cluster_name;
  unsigned long long log_archive_round = 0;
  unsigned long long cluster_id = 0;
  std::vector<OceanBase_Tenant> tenants;
};

#endif
