#ifndef BACKUP_BACKUP_SET_COMMON_EXCHANGE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_EXCHANGE_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One Exchange database: the server build, its storage groups and
// mailboxes. Module "", written only. A set with several storage copies
// carries "storages" twice: the base's copies first, the storage groups
// later.
class BSET_API Exchange_Backup_Set : public Backup_Set {
 public:
  Exchange_Backup_Set();
  ~Exchange_Backup_Set() override;

  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string device_uuid;
  std::string database;
  std::string backup_method;
  json_spirit::Array storages;  // the storage groups, not storage copies
  json_spirit::Array mailboxes;
  int rev = 0;
  int exchange_build = 0;
  int channels = 1;
};

#endif
