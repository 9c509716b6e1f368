#ifndef BACKUP_BACKUP_SET_COMMON_ORACLE_ARCH_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_ORACLE_ARCH_BACKUP_SET_H

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of Oracle archived redo logs: one thread/sequence range with the
// SCN and time where the next log starts. Module "oracle_arch", table
// "oracle_arch_backup_set" as "o".
class BSET_API Oracle_Arch_Backup_Set : public Backup_Set {
 public:
  Oracle_Arch_Backup_Set();
  ~Oracle_Arch_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_uint(int index, char const* key, unsigned long long value) override;
  bool print_bool(int index, char const* key, bool value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  long long timezone_offset = 0;
  unsigned long long thread = 1;  // redo threads count from 1
  unsigned long long sequence = 0;
  unsigned long long reset_scn = 0;
  unsigned long long next_scn = 0;
  long long reset_time = 0;  // POSIX seconds
  long long next_time = 0;
  bool archived = false;
};

#endif
