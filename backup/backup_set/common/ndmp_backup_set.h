#ifndef BACKUP_BACKUP_SET_COMMON_NDMP_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_NDMP_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup taken over NDMP from a filer: backup type, sequence number, dump
// level, compression and volumes. Its module name is "", deliberately.
// Table "ndmp_backup_set", always under the alias "ndmp".
class BSET_API NDMP_Backup_Set : public Backup_Set {
 public:
  NDMP_Backup_Set();
  ~NDMP_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string backup_type;
  unsigned long long seq = 0;  // the job sets it
  unsigned long long level = 0;
  std::string compression;
  std::string vols;
};

#endif
