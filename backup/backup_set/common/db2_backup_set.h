#ifndef BACKUP_BACKUP_SET_COMMON_DB2_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_DB2_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An IBM DB2 database backup or archive-log backup. Module "", table
// "db2_backup_set" as "ds". The archive times are selected but not taken
// back: a set read from the catalogue keeps 0 in both.
class BSET_API DB2_Backup_Set : public Backup_Set {
 public:
  DB2_Backup_Set();
  ~DB2_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  long long base_start_point = 0;
  std::string database;
  std::string meta_file;
  std::string archive_dir;
  std::string archive_first_log;
  std::string archive_last_log;
  long long archive_start_time = 0;  // POSIX seconds
  long long archive_end_time = 0;
  bool is_archive_set = false;
};

#endif
