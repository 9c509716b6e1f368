#ifndef BACKUP_BACKUP_SET_COMMON_INFORMIX_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_INFORMIX_BACKUP_SET_H

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// An Informix backup; its one datum is the time until which it is sealed.
// Module "informix", table "informix_backup_set" as "ifx".
class BSET_API Informix_Backup_Set : public Backup_Set {
 public:
  // The last second of the year 9999 eight hours east of UTC: never sealed.
  static long long const NEVER = 253402271999LL;

  Informix_Backup_Set();
  ~Informix_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  long long pre_seal_time = NEVER;  // POSIX seconds
};

#endif
