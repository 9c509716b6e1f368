#ifndef BACKUP_BACKUP_SET_COMMON_KINGBASE_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_KINGBASE_BACKUP_SET_H

#include <map>
#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A Kingbase backup: sequence number and the files it wrote, name to name
// (which name is the key is the job's affair). Module "kingbase", table
// "kingbase_backup_set" as "kb".
class BSET_API Kingbase_Backup_Set : public Backup_Set {
 public:
  Kingbase_Backup_Set();
  ~Kingbase_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  std::map<std::string, std::string> backup_files;
};

#endif
