#ifndef BACKUP_BACKUP_SET_COMMON_DMDB_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_DMDB_BACKUP_SET_H

#include <map>
#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A physical full or incremental backup of a DM database: its backup set
// name, the base backup it builds on, the archive-log range and the
// database's identity. Module "dmdb", table "dmdb_backup_set" as "dm".
class BSET_API DMDB_Backup_Set : public Backup_Set {
 public:
  DMDB_Backup_Set();
  ~DMDB_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  unsigned int seq = 0;
  unsigned int backup_version = 0;
  std::string object;
  std::string compression;
  std::string backup_set;
  std::string backup_base;
  long long arch_log_start = 0;
  long long arch_log_end = 0;
  long long permanent_db_magic = 0;
  long long db_magic = 0;
  int case_sensitive = 0;
  int unicode_flag = 0;
  int page_size = 0;
  int extent_size = 0;
  // Filled by the producer; never read back from the catalogue.
  std::map<std::string, std::string> backup_files;
};

#endif
