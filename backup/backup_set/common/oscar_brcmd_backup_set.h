#ifndef BACKUP_BACKUP_SET_COMMON_OSCAR_BRCMD_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_OSCAR_BRCMD_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An Oscar backup made by brcmd: its identifiers (own, last, last full), its
// backup file, and the LSN and SCN of itself, of the last and of the last
// full backup. Module "oscar_brcmd", table "oscar_brcmd_backup_set" as
// "brcmd".
class BSET_API Oscar_Brcmd_Backup_Set : public Backup_Set {
 public:
  Oscar_Brcmd_Backup_Set();
  ~Oscar_Brcmd_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string backup_id;
  std::string last_backup_id;
  std::string last_full_backup_id;
  std::string backup_file;
  long long backup_lsn = 0;
  long long backup_scn = 0;
  long long last_backup_lsn = 0;
  long long last_backup_scn = 0;
  long long last_full_backup_lsn = 0;
  long long last_full_backup_scn = 0;
};

#endif
