#ifndef BACKUP_BACKUP_SET_COMMON_MONGODB_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_MONGODB_BACKUP_SET_H

#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// One file a MongoDB backup wrote.
struct BSET_API MongoDB_Backup_File {
  std::string database;
  std::string file;
  long long original_size = 0;
  std::string backup_host_uuid;
  long long seq = 0;
};

// A MongoDB backup: sequence number, the archived-log range it covers (each
// end a number and a companion number, -1 while not known), whether it is
// an archive, the files it wrote. Its module name is "", deliberately.
// Table "mongodb_backup_set" as "m".
class BSET_API MongoDB_Backup_Set : public Backup_Set {
 public:
  MongoDB_Backup_Set();
  ~MongoDB_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  long long arch_log_start = -1;
  long long arch_log_start_i = -1;
  long long arch_log_end = -1;
  long long arch_log_end_i = -1;
  bool archive = false;  // the job sets it
  std::vector<MongoDB_Backup_File> backup_files;
};

#endif
