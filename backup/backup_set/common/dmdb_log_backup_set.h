#ifndef BACKUP_BACKUP_SET_COMMON_DMDB_LOG_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_DMDB_LOG_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of a DM database's archived redo logs, with the time range the
// archives cover (kept as the producer's text). Module "dmdb_log", table
// "dmdb_log_backup_set" as "dm".
class BSET_API DMDB_Log_Backup_Set : public Backup_Set {
 public:
  DMDB_Log_Backup_Set();
  ~DMDB_Log_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  unsigned int backup_version = 0;
  // Every producer sets it and every catalogue row delivers it; 0 until then.
  unsigned int dm_type = 0;
  std::string compression;
  std::string backup_set;
  std::string arch_start_time;
  std::string arch_end_time;
  long long permanent_db_magic = 0;
  long long db_magic = 0;
  long long timezone_offset = 0;
  long long number = 0;
  bool active = false;
};

#endif
