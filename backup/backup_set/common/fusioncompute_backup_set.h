#ifndef BACKUP_BACKUP_SET_COMMON_FUSIONCOMPUTE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_FUSIONCOMPUTE_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

struct BSET_API FusionCompute_Network_Adapter {
  std::string name;
  std::string ip;
  std::string mac;
  std::string port_group_urn;
  unsigned int sequence_num = 0;
};

// The snapshot taken of one volume for the backup.
struct BSET_API FusionCompute_Snapshot {
  std::string uuid;
  std::string snap_name_on_dev;
  std::string chg_id;
};

struct BSET_API FusionCompute_Volume {
  std::string name;
  std::string urn;
  std::string uuid;
  std::string pci_type;
  std::string storage_type;
  std::string datastore_urn;
  bool thin = false;
  unsigned int quantity = 0;
  unsigned int sequence_num = 0;
  unsigned long long block_size = 0;
  FusionCompute_Snapshot snapshot;
};

// A backup of one FusionCompute virtual machine: identity, operating
// system, size, adapters and volumes. Module "fusioncompute". Its statement
// reads "fusioncompute_backup_set" alone and it takes no columns of its
// own. Its 32-bit numbers are written with the signed writer.
class BSET_API FusionCompute_Backup_Set : public Backup_Set {
 public:
  FusionCompute_Backup_Set();
  ~FusionCompute_Backup_Set() override;

  static void init_select_sql(Select_SQL& select, char const* alias);
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // First match in vector order, or null. A volume is found by its uuid,
  // an adapter by its name.
  FusionCompute_Volume const* get_volume(std::string const& uuid) const;
  FusionCompute_Volume const* get_volume(int sequence_num) const;
  FusionCompute_Network_Adapter const* get_network_adapter(std::string const& name) const;
  FusionCompute_Network_Adapter const* get_network_adapter(int sequence_num) const;

  std::string vm_name;
  std::string vm_uuid;
  std::string vm_uri;
  std::string location_urn;
  std::string os_type;
  std::string snapshot_urn;
  unsigned int os_version = 0;
  unsigned int cpu_count = 0;
  unsigned int memory_mbytes = 0;
  std::vector<FusionCompute_Network_Adapter> network_adapters;
  std::vector<FusionCompute_Volume> volumes;
};

#endif
