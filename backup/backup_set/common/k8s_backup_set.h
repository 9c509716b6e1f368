#ifndef BACKUP_BACKUP_SET_COMMON_K8S_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_K8S_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A Kubernetes backup: its sequence, stream count, how volume claims were
// backed up and the producer's details. Module "kubernetes". Written only:
// it has no statement or intake of its own, and its keys live in the set's
// application part of the catalogue.
class BSET_API K8S_Backup_Set : public Backup_Set {
 public:
  K8S_Backup_Set();
  ~K8S_Backup_Set() override;

  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  long long seq = 0;
  std::string pvc_backup_type;
  long long channels = 0;  // the producer must set it
  json_spirit::Array backup_details;
};

#endif
