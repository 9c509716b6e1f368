#ifndef BACKUP_BACKUP_SET_COMMON_ORACLE_EXP_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_ORACLE_EXP_BACKUP_SET_H

#include <string>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A logical export of an Oracle database: how it was exported and what.
// Module "oracle_exp", table "oracle_exp_backup_set" as "o".
class BSET_API Oracle_Exp_Backup_Set : public Backup_Set {
 public:
  Oracle_Exp_Backup_Set();
  ~Oracle_Exp_Backup_Set() override;

  static void init_select_sql(Select_SQL& sql, char const* alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  std::string exp_type;
  std::string exp_mode;
  std::string object_name;
  std::string database;
};

#endif
